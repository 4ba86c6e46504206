// What a field answers to those who do not know its type.

#include <charconv>

#include "kr/data/field.h"
#include "kr/data/field_base.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/internal/number_conversion.h"
#include "kr/data/vector_base.h"

namespace KrData {

namespace {

template <class Number>
std::string toText(Number value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return {text, end};
}

template <class Number>
std::string toText(std::initializer_list<Number> values) {
    std::string text;
    for (const auto value : values) {
        if (!text.empty()) text += ' ';
        text += toText(value);
    }
    return text;
}

template <class Number, std::size_t count>
std::string toText(const Number (&values)[count]) {
    std::string text;
    for (const auto value : values) {
        if (!text.empty()) text += ' ';
        text += toText(value);
    }
    return text;
}

}  // namespace

int FieldBase::toInteger() const {
    switch (_dataType) {
        case Types::kInteger:
            return get<int>();
        case Types::kBoolean:
            return get<bool>() ? 1 : 0;
        case Types::kUnsignedInteger:
            return detail::convertNumber<int>(get<unsigned int>());
        case Types::kShort:
            return get<short>();
        case Types::kUnsignedShort:
            return get<unsigned short>();
        case Types::kDouble:
            return detail::roundTo<int>(get<double>());
        case Types::kFloat:
            return detail::roundTo<int>(static_cast<double>(get<float>()));
        case Types::kEnumeration:
            return get<Kr::KrEnum>();
        default:
            return 0;
    }
}

bool FieldBase::toBoolean() const {
    switch (_dataType) {
        case Types::kInteger:
            return get<int>() != 0;
        case Types::kBoolean:
            return get<bool>();
        case Types::kUnsignedInteger:
            return get<unsigned int>() != 0;
        case Types::kShort:
            return get<short>() != 0;
        case Types::kUnsignedShort:
            return get<unsigned short>() != 0;
        case Types::kDouble:
            return detail::convertNumber<bool>(get<double>());
        case Types::kString:
            return !as<std::string>()->getValue().empty();
        default:
            return false;
    }
}

double FieldBase::toReal() const {
    switch (_dataType) {
        case Types::kInteger:
            return get<int>();
        case Types::kBoolean:
            return get<bool>() ? 1.0 : 0.0;
        case Types::kUnsignedInteger:
            return get<unsigned int>();
        case Types::kShort:
            return get<short>();
        case Types::kUnsignedShort:
            return get<unsigned short>();
        case Types::kDouble:
            return get<double>();
        case Types::kFloat:
            return static_cast<double>(get<float>());
        case Types::kEnumeration:
            return static_cast<int>(get<Kr::KrEnum>());
        default:
            return 0.0;
    }
}

std::string FieldBase::toString() const {
    switch (_dataType) {
        case Types::kInteger:
            return toText(get<int>());
        case Types::kBoolean:
            return get<bool>() ? "true" : "false";
        case Types::kUnsignedInteger:
            return toText(get<unsigned int>());
        case Types::kShort:
            return toText(get<short>());
        case Types::kUnsignedShort:
            return toText(get<unsigned short>());
        case Types::kDouble:
            return toText(get<double>());
        case Types::kFloat:
            return toText(get<float>());
        case Types::kString:
            return get<std::string>();
        case Types::kFilename:
            return std::string(get<Kr::KrString<512>>().view());
        case Types::kEnumeration:
            return get<Kr::KrEnum>().toString();
        case Types::kExtension:
            return IExtensionFacts::nameOf(toExtension());
        case Types::kColor: {
            const auto color = toColor();
            return toText({color.r(), color.g(), color.b(), color.a()});
        }
        case Types::kVector2: {
            const auto vector = toVector2();
            return toText({vector.x, vector.y});
        }
        case Types::kVector3: {
            const auto vector = toVector3();
            return toText({vector.x, vector.y, vector.z});
        }
        case Types::kVector4: {
            const auto vector = toVector4();
            return toText({vector.x, vector.y, vector.z, vector.w});
        }
        case Types::kVector3Float: {
            const auto vector = get<KrMath::Vector3T<float>>();
            return toText({vector.x, vector.y, vector.z});
        }
        case Types::kQuaternion: {
            const auto quaternion = toQuaternion();
            return toText({quaternion.x, quaternion.y, quaternion.z, quaternion.w});
        }
        case Types::kQuaternionFloat: {
            const auto quaternion = get<KrMath::QuaternionT<float>>();
            return toText({quaternion.x, quaternion.y, quaternion.z, quaternion.w});
        }
        case Types::kMatrix44:
            return toText(toMatrix44().m);
        case Types::kMatrix44Float:
            return toText(get<KrMath::Matrix44T<float>>().m);
        case Types::kTransform:
            return toText(toTransform().m);
        default:
            return {};
    }
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
    switch (_dataType) {
#define KR_TAKE_BITS(T)                                                                   \
    case ValueTraits<T>::kDataType: {                                                     \
        auto& field = static_cast<Field<T>&>(*this);                                      \
        const auto& value = source.as<T>()->getValue();                                   \
        if (!field.isBound() && field.getValue() == value) field._initializeValue(value); \
        break;                                                                            \
    }
        KR_FOR_EACH_VALUE_TYPE(KR_TAKE_BITS)
#undef KR_TAKE_BITS
        default:
            break;
    }
}

void FieldBase::_takeDeclaration(const FieldBase& source) {
    setDescription(source.getDescription());
    setPhysicalDimension(source.getPhysicalDimension());
    if (source._isForcingObservers()) _setForcingObservers(true);
    if (_dataType != source._dataType) return;
    switch (_dataType) {
#define KR_TAKE_RANGE(T)                                           \
    case ValueTraits<T>::kDataType:                                \
        static_cast<Field<T>&>(*this)._copyRange(*source.as<T>()); \
        break;
        KR_FOR_EACH_VALUE_TYPE(KR_TAKE_RANGE)
#undef KR_TAKE_RANGE
        case Types::kVector: {
            auto& vector = static_cast<VectorBase&>(*this);
            const bool isIncremental = static_cast<const VectorBase&>(source).isIncrementalDataTransferEnabled();
            if (vector.isIncrementalDataTransferEnabled() != isIncremental) {
                vector.enableIncrementalDataTransfer(isIncremental);
            }
            break;
        }
        default:
            break;
    }
}

}  // namespace KrData
