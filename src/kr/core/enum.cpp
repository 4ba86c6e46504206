#include "kr/core/enum.h"

#include "kr/core/internal/enum_names.h"
#include "kr/platform/log.h"
#include "kr/platform/type_name.h"

namespace Kr {

namespace {

const std::string& emptyText() noexcept {
    static const auto& empty = *new std::string;
    return empty;
}

const std::string& textOf(const KrEnum::EnumType& type, int value) noexcept {
    const std::string* text = type.findText(value);
    return text ? *text : emptyText();
}

}  // namespace

KrEnum::KrEnum() noexcept : _text(&emptyText()), _typeName(&emptyText()) {}

KrEnum::KrEnum(const std::type_info& type, int value) : _value(value), _type(getEnumeration(type)) {
    _text = _type ? &textOf(*_type, value) : &emptyText();
    _typeName = _type ? &_type->getTypeName() : &detail::keepEnumText(getTypeName(type));
}

KrEnum KrEnum::_fromStored(const std::string& typeName, int value, const std::string& text) {
    KrEnum made;
    made._value = value;
    made._type = typeName.empty() ? nullptr : getEnumeration(typeName);
    if (made._type != nullptr) {
        if (const int* current = made._type->findValue(text)) made._value = *current;
        made._typeName = &made._type->getTypeName();
        made._text = &textOf(*made._type, made._value);
    } else {
        made._typeName = &detail::keepEnumText(typeName);
        made._text = &detail::keepEnumText(text);
    }
    return made;
}

KrEnum& KrEnum::operator=(const KrEnum& other) {
    if (this == &other) return *this;
    const EnumType* mine = _resolve();
    const EnumType* theirs = other._resolve();
    if (mine && theirs && mine != theirs) {
        logMessage(eLogLevel::kWarn, "KrEnum: Cannot assign a %s to a %s variable.", theirs->getTypeName().c_str(),
                   mine->getTypeName().c_str());
        return *this;
    }
    _text = &other.toString();
    _typeName = &other.getTypeString();
    _value = other._value;
    _type = theirs;
    return *this;
}

const KrEnum::EnumType* KrEnum::_resolve() const {
    if (_type && _type->isRegistered()) return _type;
    return _typeName->empty() ? nullptr : getEnumeration(*_typeName);
}

const KrEnum::EnumType* KrEnum::_validate() {
    const EnumType* type = _resolve();
    if (type && type != _type) {
        _type = type;
        _typeName = &type->getTypeName();
        _text = &textOf(*type, _value);
    }
    return type;
}

bool KrEnum::_hasTypeOf(const KrEnum& other) const {
    const EnumType* mine = _resolve();
    const EnumType* theirs = other._resolve();
    if (mine || theirs) return mine == theirs;
    return *_typeName == *other._typeName;
}

const std::type_info* KrEnum::getType() const {
    const EnumType* type = _resolve();
    return type ? type->getType() : nullptr;
}

const std::string& KrEnum::getTypeString() const {
    const EnumType* type = _resolve();
    return type ? type->getTypeName() : *_typeName;
}

const std::string& KrEnum::toString() const {
    const EnumType* type = _resolve();
    return type && type != _type ? textOf(*type, _value) : *_text;
}

bool KrEnum::fromString(const std::string& text) {
    const EnumType* type = _validate();
    if (!type) return false;
    const int* value = type->findValue(text);
    if (!value) {
        logMessage(eLogLevel::kWarn, "KrEnum:: Cannot find value %s in enumeration %s.\n", text.c_str(),
                   type->getTypeName().c_str());
        return false;
    }
    _value = *value;
    _text = &textOf(*type, *value);
    return true;
}

bool KrEnum::setValue(int value) {
    const EnumType* type = _validate();
    if (!type) {
        logMessage(eLogLevel::kWarn,
                   "KrEnum::setValue can not work on type %s that is not registered in the reflection.\n",
                   _typeName->c_str());
        _value = value;
        _text = &emptyText();
    } else if (const std::string* text = type->findText(value)) {
        _value = value;
        _text = text;
    } else {
        logMessage(eLogLevel::kWarn, "KrEnum: %d is not a valid enum value for %s.\n", value,
                   type->getTypeName().c_str());
    }
    return true;
}

// The table

bool KrEnum::isTypeEnum(const std::type_info& type) {
    return getEnumeration(type) != nullptr;
}

const KrEnum::EnumType* KrEnum::getEnumeration(const std::string& typeName) {
    return _getTable().find(typeName);
}

const KrEnum::EnumType* KrEnum::getEnumeration(const std::type_info& type) {
    return _getTable().find(type);
}

const KrEnum::EnumType* KrEnum::_registerEnumeration(const std::type_info& type, const std::string& name,
                                                     EnumType::Values values) {
    return _getTable().registerEnumeration(EnumType(type, name, std::move(values)));
}

bool KrEnum::_unregisterEnumeration(const std::type_info& type) {
    return _getTable().unregisterEnumeration(type);
}

KrSim::KrEnumTable& KrEnum::_getTable() {
    return KrSim::KrEnumTable::_instance();
}

KrEnum::Register::Register(const EnumType& type)
    : _type(_getTable().registerEnumeration(type) ? type.getType() : nullptr) {}

KrEnum::Register::~Register() {
    if (_type) _unregisterEnumeration(*_type);
}

}  // namespace Kr
