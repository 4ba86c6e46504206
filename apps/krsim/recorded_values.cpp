#include "apps/krsim/recorded_values.h"

#include <charconv>
#include <initializer_list>

#include "kr/data/field.h"
#include "kr/data/vector_base.h"

namespace krsim {
namespace {

using KrData::FieldBase;
using KrData::Types;
using Endings = std::vector<std::string>;

template <class Number>
void appendNumbers(std::string& line, std::initializer_list<Number> numbers) {
    for (const Number each : numbers) {
        char text[32];
        line += ',';
        line.append(text, std::to_chars(text, text + sizeof text, each).ptr);
    }
}

template <class Number>
void appendNumbers(std::string& line, const Number (&numbers)[16]) {
    for (const Number each : numbers)
        appendNumbers(line, {each});
}

template <class Vector>
void appendXyzw(std::string& line, const Vector& vector) {
    appendNumbers(line, {vector.x, vector.y, vector.z, vector.w});
}

Endings makeMatrixEndings() {
    Endings endings;
    for (const char row : {'0', '1', '2', '3'}) {
        for (const char column : {'0', '1', '2', '3'})
            endings.push_back(std::string(".M") + row + column);
    }
    return endings;
}

}  // namespace

void appendCell(std::string& line, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        line += text;
        return;
    }
    line += '"';
    for (const char each : text) {
        if (each == '"') line += '"';
        line += each;
    }
    line += '"';
}

const std::vector<std::string>& getColumnEndings(const FieldBase& field) {
    static const Endings kOne{""};
    static const Endings kXy{".X", ".Y"};
    static const Endings kXyz{".X", ".Y", ".Z"};
    static const Endings kXyzw{".X", ".Y", ".Z", ".W"};
    static const Endings kColor{".R", ".G", ".B", ".A"};
    static const Endings kMatrix = makeMatrixEndings();
    switch (field.getDataType()) {
        case Types::kVector2:
            return kXy;
        case Types::kVector3:
        case Types::kVector3Float:
            return kXyz;
        case Types::kVector4:
        case Types::kQuaternion:
        case Types::kQuaternionFloat:
            return kXyzw;
        case Types::kColor:
            return kColor;
        case Types::kMatrix44:
        case Types::kMatrix44Float:
        case Types::kTransform:
            return kMatrix;
        default:
            return kOne;
    }
}

void appendValue(std::string& line, const FieldBase& field) {
    switch (field.getDataType()) {
        case Types::kDouble:
            return appendNumbers(line, {field.get<double>()});
        case Types::kFloat:
            return appendNumbers(line, {field.get<float>()});
        case Types::kVector2: {
            const auto vector = field.toVector2();
            return appendNumbers(line, {vector.x, vector.y});
        }
        case Types::kVector3: {
            const auto vector = field.toVector3();
            return appendNumbers(line, {vector.x, vector.y, vector.z});
        }
        case Types::kVector3Float: {
            const auto vector = field.get<KrMath::Vector3T<float>>();
            return appendNumbers(line, {vector.x, vector.y, vector.z});
        }
        case Types::kVector4:
            return appendXyzw(line, field.toVector4());
        case Types::kQuaternion:
            return appendXyzw(line, field.toQuaternion());
        case Types::kQuaternionFloat:
            return appendXyzw(line, field.get<KrMath::QuaternionT<float>>());
        case Types::kColor: {
            const auto color = field.toColor();
            return appendNumbers(line, {color.r(), color.g(), color.b(), color.a()});
        }
        case Types::kMatrix44:
            return appendNumbers(line, field.toMatrix44().m);
        case Types::kMatrix44Float:
            return appendNumbers(line, field.get<KrMath::Matrix44T<float>>().m);
        case Types::kTransform:
            return appendNumbers(line, field.toTransform().m);
        case Types::kVector:
            line += ',';
            return appendCell(line, static_cast<const KrData::VectorBase&>(field)._getText());
        default:
            line += ',';
            appendCell(line, field.toString());
    }
}

}  // namespace krsim
