#include "kr/recording/internal/message_encoding.h"

#include <cstdint>
#include <cstring>
#include <set>
#include <string_view>

#include "kr/recording/internal/little_endian.h"

// The wire format and the descriptors are those of protobuf (protobuf.dev/programming-guides/encoding,
// descriptor.proto).

namespace KrRecording::detail {
namespace {

enum class eWire : std::uint8_t { kVarint = 0, kFixed64 = 1, kLengthDelimited = 2, kFixed32 = 5 };

/// FieldDescriptorProto.Type
enum class eProtobufType : std::uint8_t {
    kDouble = 1,
    kFloat = 2,
    kBool = 8,
    kString = 9,
    kMessage = 11,
    kUint32 = 13,
    kSint32 = 17,
};

eProtobufType typeOf(eNumber number) {
    switch (number) {
        case eNumber::kDouble:
            return eProtobufType::kDouble;
        case eNumber::kFloat:
            return eProtobufType::kFloat;
        case eNumber::kInteger:
        case eNumber::kShort:
            return eProtobufType::kSint32;
        case eNumber::kUnsigned:
        case eNumber::kUnsignedShort:
            return eProtobufType::kUint32;
        case eNumber::kBoolean:
            return eProtobufType::kBool;
        case eNumber::kText:
            break;
    }
    return eProtobufType::kString;
}

/// Of the field at this place of a channel. 19000 to 19999 are reserved.
std::size_t numberOf(std::size_t place) {
    constexpr std::size_t kFirstReserved = 19'000;
    constexpr std::size_t kReserved = 1'000;
    return place + 1 < kFirstReserved ? place + 1 : place + 1 + kReserved;
}

void appendVarint(std::string& bytes, std::uint64_t number) {
    constexpr std::uint64_t kLow = 0x7F;
    while (number > kLow) {
        bytes += static_cast<char>((number & kLow) | 0x80U);
        number >>= 7U;
    }
    bytes += static_cast<char>(number);
}

void appendKey(std::string& bytes, std::size_t field, eWire wire) {
    appendVarint(bytes, (std::uint64_t{field} << 3U) | static_cast<std::uint64_t>(wire));
}

void appendText(std::string& bytes, std::size_t field, std::string_view text) {
    appendKey(bytes, field, eWire::kLengthDelimited);
    appendVarint(bytes, text.size());
    bytes.append(text);
}

void appendCount(std::string& bytes, std::size_t field, std::uint64_t count) {
    appendKey(bytes, field, eWire::kVarint);
    appendVarint(bytes, count);
}

// --- Schemas ---------------------------------------------------------------------------------------------------------

/// A FieldDescriptorProto. \param typeName  of a message; else empty
std::string describeField(std::string_view name, std::size_t number, eProtobufType type, std::string_view typeName) {
    constexpr std::uint64_t kOptional = 1;
    std::string field;
    appendText(field, 1, name);
    appendCount(field, 3, number);
    appendCount(field, 4, kOptional);
    appendCount(field, 5, static_cast<std::uint64_t>(type));
    if (!typeName.empty()) appendText(field, 6, typeName);
    return field;
}

/// "Vector3" for the values of several numbers.
std::string nameOf(KrData::Types::DataTypeEnum dataType) {
    std::string name;
    for (const char* each = KrData::Types::nameFor(dataType); *each != '\0'; ++each) {
        if (*each != ' ') name += *each;
    }
    return name;
}

std::string describeComponents(const RecordedField& field) {
    std::string type;
    appendText(type, 1, nameOf(field.dataType));
    for (std::size_t i = 0; i < field.components.size(); ++i)
        appendText(type, 2, describeField(field.components[i], i + 1, typeOf(field.number), {}));
    return type;
}

// --- Messages --------------------------------------------------------------------------------------------------------

template <class Number>
Number readNumber(const std::byte* bytes) {
    Number number{};
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

void appendSigned(std::string& message, std::size_t field, std::int32_t number) {
    const auto bits = static_cast<std::uint32_t>(number);
    appendCount(message, field, (bits << 1U) ^ (number < 0 ? ~std::uint32_t{0} : 0U));  // "zigzag"
}

/// One number. \return its size in the frame
std::size_t appendNumber(std::string& message, std::size_t field, eNumber number, const std::byte* bytes) {
    switch (number) {
        case eNumber::kDouble:
            appendKey(message, field, eWire::kFixed64);
            appendLittleEndian(message, readNumber<double>(bytes));
            return sizeof(double);
        case eNumber::kFloat:
            appendKey(message, field, eWire::kFixed32);
            appendLittleEndian(message, readNumber<float>(bytes));
            return sizeof(float);
        case eNumber::kInteger:
            appendSigned(message, field, readNumber<int>(bytes));
            return sizeof(int);
        case eNumber::kShort:
            appendSigned(message, field, readNumber<short>(bytes));
            return sizeof(short);
        case eNumber::kUnsigned:
            appendCount(message, field, readNumber<unsigned int>(bytes));
            return sizeof(unsigned int);
        case eNumber::kUnsignedShort:
            appendCount(message, field, readNumber<unsigned short>(bytes));
            return sizeof(unsigned short);
        case eNumber::kBoolean:
            appendCount(message, field, readNumber<bool>(bytes) ? 1 : 0);
            return sizeof(bool);
        case eNumber::kText:
            break;
    }
    return 0;
}

}  // namespace

std::string makeSchema(const RecordedChannel& channel) {
    const auto point = channel.schemaName.rfind('.');
    const auto package = channel.schemaName.substr(0, point);
    std::string type;
    appendText(type, 1, std::string_view(channel.schemaName).substr(point + 1));
    std::string parts;  // beside it: within it, a field "Color" and a type "Color" would be one name
    std::set<std::string> names;
    for (std::size_t i = 0; i < channel.fields.size(); ++i) {
        const auto& field = channel.fields[i];
        if (field.components.empty()) {
            appendText(type, 2, describeField(field.name, numberOf(i), typeOf(field.number), {}));
            continue;
        }
        const auto name = nameOf(field.dataType);
        if (names.insert(name).second) appendText(parts, 4, describeComponents(field));
        appendText(type, 2,
                   describeField(field.name, numberOf(i), eProtobufType::kMessage,
                                 std::string(".").append(package).append(".").append(name)));
    }
    std::string file;
    appendText(file, 1, channel.schemaName + ".proto");
    appendText(file, 2, package);
    appendText(file, 4, type);
    file.append(parts);
    std::string set;
    appendText(set, 1, file);
    return set;
}

bool appendMessage(std::string& message, const RecordedChannel& channel, const RecordedFrame& frame) {
    std::string value;
    bool hasValue = false;
    for (std::size_t i = 0; i < channel.fields.size(); ++i) {
        const auto& field = channel.fields[i];
        if (frame.isThere[field.index] == 0) continue;
        hasValue = true;
        if (field.number == eNumber::kText) {
            appendText(message, numberOf(i), frame.texts[field.place]);
            continue;
        }
        const std::byte* bytes = frame.numbers.data() + field.place;
        if (field.components.empty()) {
            appendNumber(message, numberOf(i), field.number, bytes);
            continue;
        }
        value.clear();
        for (std::size_t component = 0; component < field.components.size(); ++component)
            bytes += appendNumber(value, component + 1, field.number, bytes);
        appendText(message, numberOf(i), value);
    }
    return hasValue;
}

}  // namespace KrRecording::detail
