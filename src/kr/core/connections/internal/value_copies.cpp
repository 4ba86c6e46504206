#include "kr/core/connections/internal/value_copies.h"

#include <cstddef>
#include <typeinfo>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/vector_access.h"
#include "kr/data/vector_base.h"

namespace Kr::detail {

using KrData::Container;
using KrData::FieldBase;
using KrData::Types;
using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;
using KrData::detail::VectorAccess;

const FieldBase* valueOf(const FieldBase& field) {
    return field.getDataType() == Types::kProxy ? static_cast<const KrData::Proxy&>(field).getLinkedField() : &field;
}

namespace {

bool isGroup(const FieldBase& field) {
    return field.getDataType() == Types::kContainer && !field.isFieldArray();
}

}  // namespace

std::unique_ptr<FieldBase> makeCopyOf(const FieldBase& value) {
    if (!isGroup(value)) return std::unique_ptr<FieldBase>(FieldAccess::duplicate(value));
    auto copy = std::make_unique<Container>(value.getID());
    for (const auto* child : value.getChildren()) {
        const auto* childValue = valueOf(*child);
        if (childValue == nullptr) continue;
        auto made = makeCopyOf(*childValue);
        if (!made) continue;
        made->_setDynamic(true);
        made->setID(child->getID());
        FieldAccess::setInternalIdentifier(*made, 0);
        if (ContainerAccess::addNumberedField(*copy, made.get(), copy->end())) static_cast<void>(made.release());
    }
    return copy;
}

namespace {

/// False, with some of the children updated, when the two do not have children of the same identifiers and types.
bool updateChildren(FieldBase& copy, const FieldBase& value) {
    const auto& copies = copy.getChildren();
    std::size_t used = 0;
    for (const auto* child : value.getChildren()) {
        const auto* childValue = valueOf(*child);
        if (childValue == nullptr) continue;
        if (used == copies.size()) return false;
        auto& childCopy = *copies[used++];
        if (!value.isFieldArray() && childCopy.getID() != child->getID()) return false;
        if (!updateCopy(childCopy, *childValue)) return false;
    }
    return used == copies.size();
}

}  // namespace

bool updateCopy(FieldBase& copy, const FieldBase& value) {
    if (copy.getDataType() != value.getDataType() || copy.isFieldArray() != value.isFieldArray()) return false;
    switch (value.getDataType()) {
        case Types::kContainer:
            return updateChildren(copy, value);
        case Types::kVector: {
            // A subclass may have more to copy, and a lock.
            if (typeid(copy) != typeid(value)) return false;
            auto& vector = static_cast<KrData::VectorBase&>(copy);
            VectorAccess::restoreItems(vector, static_cast<const KrData::VectorBase&>(value));
            return VectorAccess::hasIdenticalItems(vector, static_cast<const KrData::VectorBase&>(value));
        }
        case Types::kEnumeration:
            // One of another type would be refused, with a report.
            if (copy.toEnum().getTypeString() != value.toEnum().getTypeString()) return false;
            return copy.copyValue(value);
        default:
            if (!copy.copyValue(value)) return false;
            FieldAccess::takeBits(copy, value);
            return true;
    }
}

}  // namespace Kr::detail
