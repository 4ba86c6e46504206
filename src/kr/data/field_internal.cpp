#include "kr/data/field_internal.h"

#include "kr/data/container.h"
#include "kr/data/field_access.h"

namespace KrData {

namespace {

Container* makeHiddenContainer() {
    static const Kr::KrID id("Internal");
    return new Container(id, nullptr, Types::kUndefined);
}

}  // namespace

FieldInternal::FieldInternal() noexcept = default;
FieldInternal::FieldInternal(const FieldInternal& source)
    : _fields(source._fields ? new Container(*source._fields) : nullptr) {}
FieldInternal::~FieldInternal() = default;

FieldInternal& FieldInternal::operator=(const FieldInternal& source) {
    if (this != &source && !_refuses) _fields.reset(source._fields ? new Container(*source._fields) : nullptr);
    return *this;
}

void FieldInternal::_adopt(std::unique_ptr<Container> fields) {
    if (!_refuses) _fields = std::move(fields);
}

FieldBase* FieldInternal::addField(const Kr::KrID& id, Types::DataTypeEnum dataType) {
    if (_refuses) return nullptr;
    if (auto& present = getField(id); present.isValid()) {
        return present.getDataType() == dataType ? &present : nullptr;
    }
    if (!_fields) _fields.reset(makeHiddenContainer());
    return _fields->addField(id, dataType);
}

bool FieldInternal::removeField(const Kr::KrID& id) {
    return _fields && _fields->removeField(id);
}

FieldBase& FieldInternal::getField(const Kr::KrID& id) const {
    return _fields ? (*_fields)[id] : FieldBase::getInvalidField();
}

void FieldInternal::copyFieldInternals(const FieldBase& source, FieldBase& destination, bool replace) {
    const auto* from = detail::FieldAccess::getInternalIfAny(source);
    if (&source == &destination || !destination.isValid()) return;
    if (replace) {
        detail::FieldAccess::replaceInternal(destination, from);
        return;
    }
    if (from == nullptr || from->get() == nullptr) return;
    for (const auto* field : *from->get()) {
        auto* own = destination.getInternal().addField(field->getID(), field->getDataType());
        if (own != nullptr) own->initializeFrom(*field);
    }
}

}  // namespace KrData
