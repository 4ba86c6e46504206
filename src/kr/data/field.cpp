#include "kr/data/field.h"

#include <cmath>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/full_path.h"
#include "kr/data/not_finite.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrData {

namespace {
constexpr Kr::GuardTexts kPointerTexts{Kr::eLogLevel::kWarn, "Field: fatal error in '%s' value pointer [%s]\n",
                                       "Field: unhandled exception in '%s' value pointer\n", "value pointer"};

template <class T>
eRealRank rankReals(const T& value) {
    if (isFinite(value)) return eRealRank::kFinite;
    const bool isNumber = areAllReals(value, [](auto number) { return !std::isnan(number); });
    return isNumber ? eRealRank::kInfinite : eRealRank::kNaN;
}
}  // namespace

template <class T>
Field<T>::Field(const Kr::KrID& id, Container* parent, const T& value)
    : FieldBase(id, ValueTraits<T>::kDataType), _value(value) {
    _attachTo(parent);
}

template <class T>
Field<T>::Field(Detached, const Kr::KrID& id) : FieldBase(id, ValueTraits<T>::kDataType) {}

template <class T>
Field<T>::Field(const Field& source) : FieldBase(source), _value(source.getOwnValue()) {
    _copyRange(source);
}

template <class T>
Field<T>::~Field() {
    _detachFromEverything();
}

template <class T>
detail::FieldExtras<T>& Field<T>::_makeExtras() {
    if (!_extras) _extras = std::make_unique<detail::FieldExtras<T>>();
    return *_extras;
}

template <class T>
void Field<T>::_copyRange(const Field& source) {
    if (!source._extras && !_extras) return;
    auto& extras = _makeExtras();
    extras.minimum = source.getMinimum();
    extras.maximum = source.getMaximum();
    extras.hasRange = source.hasRange();
    _noteExtras();
}

// --- The value -----------------------------------------------------------------------------------------------------

template <>
bool Field<Kr::KrEnum>::_store(const Kr::KrEnum& value) {
    _value = value;
    if (!(_value == value)) return false;  // refused, and reported, by the value
    if (isOverridden() && !_replaceValue()) return true;
    _writeThrough();
    if (_needsNotification()) _notifyChanged(*this);
    return true;
}

template <class T>
void Field<T>::_announceNotFinite(T value) const {
    if constexpr (ValueTraits<T>::kHasRange) {
        if (hasRange()) ValueTraits<T>::clamp(value, _extras->minimum, _extras->maximum);
    }
    const auto rank = rankReals(value);
    const T& before = _value;
    if (rank > rankReals(before)) _observeNotFinite(*this, rank);
}

template <class T>
void Field<T>::_readThroughPointer() const {
    const auto& extras = *_extras;
    const auto pointer = extras.pointer;
    if (!pointer || !pointer->getter) return;
    Kr::callGuarded(
        kPointerTexts, [this] { return getFullPath(*this); },
        [&] {
            T value = pointer->getter();
            if (!isFinite(value)) _announceNotFinite(value);
            _value = std::move(value);
        });
    if constexpr (ValueTraits<T>::kHasRange) {
        if (extras.hasRange) ValueTraits<T>::clamp(_value, extras.minimum, extras.maximum);
    }
}

template <class T>
bool Field<T>::_clampAndWriteThrough() {
    if constexpr (ValueTraits<T>::kHasRange) {
        if (_extras->hasRange) ValueTraits<T>::clamp(_value, _extras->minimum, _extras->maximum);
    }
    if (isOverridden()) return _replaceValue();
    _writeThrough();
    return true;
}

template <class T>
void Field<T>::_writeThrough() {
    if (!isBound() || !_extras->pointer->setter) return;
    const auto pointer = _extras->pointer;
    Kr::callGuarded(
        kPointerTexts, [this] { return getFullPath(*this); }, [&] { pointer->setter(_value); });
}

template <class T>
bool Field<T>::copyValue(const FieldBase& source) {
    const auto* same = source.as<T>();
    if (same == nullptr) {
        if (TransferValueConverter(source, *this)) return true;
        Kr::logMessage(Kr::eLogLevel::kDebug, "Field::copyValue: unable to copy value from %s to %s.\n",
                       source.getPath().c_str(), getPath().c_str());
        return false;
    }
    const T& value = same->getValue();
    if (getValue() == value && !isOverridden()) return true;
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        return _store(value);
    } else {
        if (!isFinite(value)) _announceNotFinite(value);
        _value = value;
        if (isOverridden() && !_replaceValue()) return true;
        _writeThrough();
        if (_needsNotification()) _notifyChanged(*this);
        return true;
    }
}

template <class T>
Kr::UnnotifiedCopy Field<T>::_getUnnotifiedCopy(const FieldBase& source) const {
    return typeid(*this) == typeid(Field) ? _getOwnUnnotifiedCopy(source) : nullptr;
}

template <class T>
Kr::UnnotifiedCopy Field<T>::_getOwnUnnotifiedCopy(const FieldBase& source) const {
    // An enumeration value may be refused, with a report.
    const auto* same = source.as<T>();
    if (std::is_same_v<T, Kr::KrEnum> || same == nullptr || same->isBound() || _readsElsewhere()) return nullptr;
    return [](const FieldBase& from, FieldBase& to) {
        const auto& typed = static_cast<const Field&>(from);
        auto& sink = static_cast<Field&>(to);
        const T& value = typed._value;
        if (sink._value == value) return false;
        if (!isFinite(value)) [[unlikely]]
            sink._announceNotFinite(value);
        sink._value = value;
        return true;
    };
}

template <class T>
bool Field<T>::isEqual(const FieldBase& other) const {
    if (other.getDataType() == Types::kProxy) return other.isEqual(*this);
    const auto* same = other.as<T>();
    return same != nullptr && getOwnValue() == same->getOwnValue();
}

template <class T>
void Field<T>::reset() {
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        // An untyped zero would take the type away.
        if (const auto* type = _value.getType()) {
            setValue(Kr::KrEnum(*type, 0));
            return;
        }
    }
    setValue(T{});
}

template <class T>
bool Field<T>::getRawValue(void* out) const {
    if (out == nullptr) return false;
    *static_cast<T*>(out) = getValue();
    return true;
}

template <class T>
bool Field<T>::setRawValue(const void* in) {
    return in != nullptr && setValue(*static_cast<const T*>(in));
}

template <class T>
bool Field<T>::_restoreValue(const T& value) {
    if (isIdentical(getValue(), value)) [[likely]]
        return false;
    // Enumeration values of different types refuse assignment.
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        const T copy(value);
        std::construct_at(std::addressof(_value), copy);
    } else {
        _value = value;
    }
    if (isOverridden()) _extras->overridden->shown = _value;
    _writeThrough();
    return _needsNotification();
}

// --- Range and value pointer ---------------------------------------------------------------------------------------

template <class T>
bool Field<T>::setRange(const T& minimum, const T& maximum) requires ValueTraits<T>::kHasRange {
    if constexpr (ValueTraits<T>::kHasRange) {  // clang 14 instantiates this for types without a range as well
        if (!ValueTraits<T>::isOrdered(minimum, maximum)) return false;
        auto& extras = _makeExtras();
        extras.minimum = minimum;
        extras.maximum = maximum;
        extras.hasRange = true;
        _noteExtras();
        return true;
    } else {
        return false;
    }
}

template <class T>
void Field<T>::clearRange() noexcept {
    if (!_extras) return;
    _extras->hasRange = false;
    _noteExtras();
}

template <class T>
void Field<T>::bindValue(ValuePointer<T> pointer) {
    if (!pointer.getter && !pointer.setter) return unbindValue();
    static_cast<void>(_setOverride({}));
    _makeExtras().pointer = std::make_shared<const ValuePointer<T>>(std::move(pointer));
    _noteExtras();
    detail::FieldAccess::updateConnections(*this);
}

template <class T>
void Field<T>::bindVariable(T* variable) {
    if (variable == nullptr) {
        unbindValue();
    } else {
        bindValue({[variable] { return *variable; }, [variable](const T& value) { *variable = value; }});
    }
}

template <class T>
void Field<T>::unbindValue() {
    if (!isBound()) return;
    _extras->pointer.reset();
    _noteExtras();
    detail::FieldAccess::updateConnections(*this);
}

// --- Overrides -----------------------------------------------------------------------------------------------------

template <class T>
const T& Field<T>::_readOwnValue() const {
    if (!isOverridden()) return getValue();
    const T& own = _extras->overridden->own;
    return own;
}

template <class T>
bool Field<T>::_replaceValue() {
    auto& overridden = *_extras->overridden;
    overridden.own = _value;
    T shown = overridden.replace(overridden.own);
    if constexpr (ValueTraits<T>::kHasRange) {
        if (_extras->hasRange) ValueTraits<T>::clamp(shown, _extras->minimum, _extras->maximum);
    }
    const bool isChanged = !(overridden.shown == shown);
    if (isChanged && !isFinite(shown)) {
        _value = overridden.shown;
        _announceNotFinite(shown);
    }
    overridden.shown = shown;
    _value = shown;
    return isChanged;
}

template <class T>
bool Field<T>::_setOverride(std::function<T(const T& own)> replace) {
    if (isBound()) return false;
    auto& extras = _makeExtras();
    const bool wasOverridden = extras.overridden != nullptr;
    if (!replace && !wasOverridden) return true;
    const T before = _value;
    if (wasOverridden) _value = extras.overridden->own;
    if (replace) {
        if (!wasOverridden) extras.overridden = std::make_unique<detail::OverriddenValue<T>>();
        extras.overridden->shown = before;
        extras.overridden->replace = std::move(replace);
        static_cast<void>(_replaceValue());
    } else {
        extras.overridden.reset();
    }
    _noteExtras();
    if (wasOverridden != isOverridden()) detail::FieldAccess::updateConnections(*this);
    const T& now = _value;
    if (!(before == now) && _needsNotification()) _notifyChanged(*this);
    return true;
}

template <class T>
void Field<T>::_refreshOverride() {
    if (!isOverridden()) return;
    _value = _extras->overridden->own;
    if (_replaceValue() && _needsNotification()) _notifyChanged(*this);
}

template <class T>
void Field<T>::_restoreOverride(const T& own, std::function<T(const T& own)> replace) {
    if (isBound()) return;
    auto& extras = _makeExtras();
    if (replace) {
        if (!extras.overridden) extras.overridden = std::make_unique<detail::OverriddenValue<T>>();
        extras.overridden->own = own;
        extras.overridden->shown = _value;
        extras.overridden->replace = std::move(replace);
    } else {
        extras.overridden.reset();
    }
    _noteExtras();
    detail::FieldAccess::updateConnections(*this);
}

// --- Copies --------------------------------------------------------------------------------------------------------

template <class T>
Field<T>* Field<T>::_duplicate() const {
    auto* copy = new Field(*this);
    copy->_setDynamic(true);
    return copy;
}

template <class T>
Field<T>* Field<T>::clone(const Kr::KrID& id, Container* parent) const {
    return detail::ContainerAccess::adoptAs(id, _duplicate(), parent);
}

template <class T>
Field<T>* Field<T>::clone(Container* parent) const {
    return clone(getID(), parent);
}

template <class T>
void Field<T>::_cloneFrom(const FieldBase& source) {
    FieldBase::_cloneFrom(source);
    const auto* same = source.as<T>();
    if (same == nullptr || same == this) return;
    _value = same->getOwnValue();
    _copyRange(*same);
    if (isOverridden()) static_cast<void>(_replaceValue());
}

#define KR_DEFINE_FIELD(T) template class Field<T>;
KR_FOR_EACH_VALUE_TYPE(KR_DEFINE_FIELD)
#undef KR_DEFINE_FIELD

}  // namespace KrData
