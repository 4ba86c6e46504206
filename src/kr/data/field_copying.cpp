#include "kr/data/field_copying.h"

#include <algorithm>
#include <type_traits>

#include "kr/data/field_access.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/vector.h"
#include "kr/data/vector_access.h"

namespace KrData {

namespace {

using ExtensionVector = Vector<KrSim::KrExtension*>;
using Changed = std::vector<FieldBase*>;

bool isContainer(const FieldBase& field) {
    return field.getDataType() == Types::kContainer;
}

/// Calls `action` with each field below `copy` that is no container, and its counterpart below `source`.
template <class Action>
void forEachPair(Container& copy, const Container& source, const Action& action) {
    const detail::NotificationFrame frame(copy, source);
    detail::ChildPairs pairs(copy.getChildren(), source.getChildren());
    for (std::size_t i = 0; i < copy.size(); ++i) {
        auto& child = copy[i];
        const auto* from = copy.isFieldArray() && i < source.size() ? &source[i] : pairs.find(i);
        if (from == nullptr || from->getDataType() != child.getDataType()) continue;
        if (!isContainer(child)) {
            action(child, *from);
        } else if (child.isFieldArray() == from->isFieldArray()) {
            forEachPair(static_cast<Container&>(child), static_cast<const Container&>(*from), action);
        }
        if (frame.fieldDied() || frame.changedDied()) return;
    }
}

template <class T>
T mapValue(const T& value, const ICopyMap& map) {
    if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
        auto* copy = value != nullptr ? map.findExtension(value) : nullptr;
        return copy != nullptr ? copy : value;
    } else {
        return value;
    }
}

/// Whether there are observers of the new items to notify.
bool copyItems(VectorBase& copy, const VectorBase& source, const ICopyMap& map) {
    const auto* references = ExtensionVector::from(source);
    if (references == nullptr) return detail::VectorAccess::restoreItems(copy, source);
    ExtensionVector mapped(source.getID());
    for (auto* item : references->getItems())
        mapped.append(mapValue(item, map));
    return detail::VectorAccess::restoreItems(copy, mapped);
}

/// Whether there are observers of the new value to notify.
bool copyOne(FieldBase& copy, const FieldBase& source, const ICopyMap& map) {
    if (copy.getDataType() == Types::kVector) {
        return copyItems(static_cast<VectorBase&>(copy), static_cast<const VectorBase&>(source), map);
    }
    return withValueType(copy.getDataType(), [&]<class T>(std::type_identity<T>) {
        return detail::FieldAccess::restoreValue(static_cast<Field<T>&>(copy),
                                                 mapValue(static_cast<const Field<T>&>(source).getOwnValue(), map));
    });
}

}  // namespace

FieldBase* _findCounterpartIn(const Container& copy, const FieldBase& field) {
    const auto* parent = field.getParent();
    if (parent == nullptr) return nullptr;
    if (!parent->isFieldArray() && *parent->find(field.getID()) == &field) {
        // The usual case, found without a search through all siblings. Two fields of one number belong together in any
        // case.
        const auto found = copy.find(field.getID());
        if (found == copy.end()) return nullptr;
        const bool isSame = (*found)->getInternalIdentifier() == field.getInternalIdentifier() &&
                            (*found)->isDynamic() == field.isDynamic();
        if (isSame) return *found;
    }
    const auto& siblings = parent->getChildren();
    const auto index = static_cast<std::size_t>(std::find(siblings.begin(), siblings.end(), &field) - siblings.begin());
    if (parent->isFieldArray() && copy.isFieldArray()) {
        return index < copy.size() ? copy.getChildren()[index] : nullptr;
    }
    return detail::ChildPairs(siblings, copy.getChildren()).find(index);
}

FieldBase* _findCounterpart(const FieldBase& field, Container& copy) {
    const auto* parent = field.getParent();
    if (parent == nullptr) return isContainer(field) ? &copy : nullptr;
    auto* above = _findCounterpart(*parent, copy);
    if (above == nullptr || !isContainer(*above)) return nullptr;
    return _findCounterpartIn(static_cast<const Container&>(*above), field);
}

void _copyValues(Container& copy, const Container& source, const ICopyMap& map, Changed& changed) {
    forEachPair(copy, source, [&](FieldBase& child, const FieldBase& from) {
        if (copyOne(child, from, map)) changed.push_back(&child);
    });
}

void _redirectReferences(Container& copy, const ICopyMap& map, Changed& changed) {
    for (auto* child : copy) {
        if (isContainer(*child)) {
            _redirectReferences(static_cast<Container&>(*child), map, changed);
        } else if (child->getDataType() == Types::kExtension || ExtensionVector::from(*child) != nullptr) {
            if (copyOne(*child, *child, map)) changed.push_back(child);
        }
    }
}

void _copyLinks(Container& copy, const Container& source, const ICopyMap& map) {
    forEachPair(copy, source, [&](FieldBase& child, const FieldBase& from) {
        if (child.getDataType() != Types::kProxy) return;
        detail::ProxyAccess::copyLinks(static_cast<Proxy&>(child), static_cast<const Proxy&>(from), map);
    });
}

void _dropLinks(FieldBase& copy) {
    if (copy.getDataType() == Types::kProxy) static_cast<Proxy&>(copy).removeAllLinks();
    for (auto* child : copy.getChildren())
        _dropLinks(*child);
}

}  // namespace KrData
