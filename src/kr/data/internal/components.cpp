#include "kr/data/internal/components.h"

#include <algorithm>
#include <iterator>

#include "kr/data/field.h"
#include "kr/data/internal/conversion_table.h"
#include "kr/data/internal/number_conversion.h"
#include "kr/data/internal/set_converted.h"

namespace KrData::detail {

std::size_t componentCountOf(Types::DataTypeEnum dataType) noexcept {
    switch (dataType) {
        case Types::kBoolean:
        case Types::kInteger:
        case Types::kUnsignedInteger:
        case Types::kShort:
        case Types::kUnsignedShort:
        case Types::kDouble:
        case Types::kFloat:
        case Types::kEnumeration:
            return 1;
        case Types::kVector2:
            return 2;
        case Types::kVector3:
        case Types::kVector3Float:
            return 3;
        case Types::kVector4:
            return 4;
        case Types::kTransform:
            return 16;
        default:
            return 0;
    }
}

Components componentsOf(const FieldBase& source) {
    Components values;
    const auto take = [&](const auto&... components) {
        std::size_t i = 0;
        ((values[i++] = static_cast<double>(components)), ...);
    };
    switch (source.getDataType()) {
        case Types::kVector2: {
            const auto vector = source.toVector2();
            take(vector.x, vector.y);
            break;
        }
        case Types::kVector3: {
            const auto vector = source.toVector3();
            take(vector.x, vector.y, vector.z);
            break;
        }
        case Types::kVector3Float: {
            const auto vector = source.get<KrMath::Vector3T<float>>();
            take(vector.x, vector.y, vector.z);
            break;
        }
        case Types::kVector4: {
            const auto vector = source.toVector4();
            take(vector.x, vector.y, vector.z, vector.w);
            break;
        }
        case Types::kTransform: {
            const auto transform = source.toTransform();
            std::copy(std::begin(transform.m), std::end(transform.m), values.begin());
            break;
        }
        default:
            take(source.toReal());
    }
    return values;
}

bool setComponents(FieldBase& sink, const Components& values) {
    switch (sink.getDataType()) {
        case Types::kVector2:
            return setConverted(sink, KrMath::Vector2T<double>{values[0], values[1]});
        case Types::kVector3:
            return setConverted(sink, KrMath::Vector3T<double>{values[0], values[1], values[2]});
        case Types::kVector3Float:
            return setConverted(sink,
                                KrMath::Vector3T<float>{toFloat(values[0]), toFloat(values[1]), toFloat(values[2])});
        case Types::kVector4:
            return setConverted(sink, KrMath::Vector4T<double>{values[0], values[1], values[2], values[3]});
        case Types::kTransform: {
            Kr::KrTransform transform;
            std::copy(values.begin(), values.end(), transform.m);
            return setConverted(sink, transform);
        }
        default:
            return setNumber(sink, values[0]);
    }
}

}  // namespace KrData::detail
