// Access to a field without knowledge of its type.

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "kr/data/field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_base.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/internal/number_conversion.h"
#include "kr/data/vector_base.h"
#include "kr/platform/text.h"

namespace KrData {

namespace {

template <class T>
constexpr bool kIsNumber = std::is_arithmetic_v<T>;

/// Calls `action(value)` with the value of the field, and returns its result. The class of the field is known from its
/// data type.
template <class Action>
auto withValue(const FieldBase& field, const Action& action) {
    return withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        return action(static_cast<const Field<T>&>(field).getValue());
    });
}

}  // namespace

int FieldBase::toInteger() const {
    return withValue(*this, []<class T>(const T& value) {
        if constexpr (kIsNumber<T>) return detail::convertNumber<int>(value);
        if constexpr (std::is_same_v<T, Kr::KrEnum>) return static_cast<int>(value);
        return 0;
    });
}

bool FieldBase::toBoolean() const {
    return withValue(*this, []<class T>(const T& value) {
        // A Float is no truth value.
        if constexpr (kIsNumber<T> && !std::is_same_v<T, float>) return detail::convertNumber<bool>(value);
        if constexpr (std::is_same_v<T, std::string>) return !value.empty();
        return false;
    });
}

double FieldBase::toReal() const {
    return withValue(*this, []<class T>(const T& value) {
        if constexpr (kIsNumber<T>) return detail::convertNumber<double>(value);
        if constexpr (std::is_same_v<T, Kr::KrEnum>) return static_cast<double>(static_cast<int>(value));
        return 0.0;
    });
}

std::string FieldBase::toString() const {
    return withValue(*this, []<class T>(const T& value) -> std::string {
        if constexpr (std::is_same_v<T, bool>) {
            return value ? "true" : "false";
        } else if constexpr (kIsNumber<T>) {
            return Kr::toText(value);
        } else if constexpr (kHasComponents<T>) {
            const auto components = getComponents(value);
            return Kr::toText(std::span(components));
        } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
            return value.toString();
        } else if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
            return IExtensionFacts::nameOf(value);
        } else if constexpr (std::is_convertible_v<T, std::string_view>) {
            return std::string(std::string_view(value));
        } else {
            return {};
        }
    });
}

KrMath::Vector2T<double> FieldBase::toVector2() const {
    return get<KrMath::Vector2T<double>>();
}
KrMath::Vector3T<double> FieldBase::toVector3() const {
    return get<KrMath::Vector3T<double>>();
}
KrMath::Vector4T<double> FieldBase::toVector4() const {
    return get<KrMath::Vector4T<double>>();
}
KrMath::QuaternionT<double> FieldBase::toQuaternion() const {
    return get<KrMath::QuaternionT<double>>();
}
KrMath::Matrix44T<double> FieldBase::toMatrix44() const {
    return get<KrMath::Matrix44T<double>>();
}
Kr::KrColor FieldBase::toColor() const {
    return get<Kr::KrColor>();
}
Kr::KrTransform FieldBase::toTransform() const {
    return get<Kr::KrTransform>();
}
Kr::KrEnum FieldBase::toEnum() const {
    return get<Kr::KrEnum>();
}
KrSim::KrExtension* FieldBase::toExtension() const {
    return get<KrSim::KrExtension*>();
}

void FieldBase::_takeBits(const FieldBase& source) {
    if (_dataType != source._dataType) return;
    withValueType(_dataType, [&]<class T>(std::type_identity<T>) {
        auto& field = static_cast<Field<T>&>(*this);
        const auto& value = static_cast<const Field<T>&>(source).getValue();
        if (field.isBound() || field.isOverridden() || source.isOverridden()) return;
        if (field.getValue() == value) detail::FieldAccess::initializeValue(field, value);
    });
}

void FieldBase::_takeDeclaration(const FieldBase& source) {
    setDescription(source.getDescription());
    setPhysicalDimension(source.getPhysicalDimension());
    if (source._has(kForceObservers)) _setState(kForceObservers, true);
    if (_dataType != source._dataType) return;
    withValueType(_dataType, [&]<class T>(std::type_identity<T>) {
        detail::FieldAccess::copyRange(static_cast<Field<T>&>(*this), static_cast<const Field<T>&>(source));
    });
    if (_dataType != Types::kVector) return;
    auto& vector = static_cast<VectorBase&>(*this);
    const bool isIncremental = static_cast<const VectorBase&>(source).isIncrementalDataTransferEnabled();
    if (vector.isIncrementalDataTransferEnabled() != isIncremental) vector.enableIncrementalDataTransfer(isIncremental);
}

}  // namespace KrData
