#include "kr/persistence/fields/internal/value_archive.h"

#include <array>
#include <bit>
#include <limits>
#include <span>
#include <unordered_map>
#include <utility>

namespace KrPersistence::detail {

namespace {

using KrData::Types;

template <class T>
inline constexpr bool kIsShort = std::is_same_v<T, short> || std::is_same_v<T, unsigned short>;
template <class T>
inline constexpr bool kIsScalar = std::is_arithmetic_v<T> && !kIsShort<T>;

}  // namespace

template <class T>
void writeItem(ArchiveWriter& writer, std::string_view name, const T& value) {
    if constexpr (kIsScalar<T>) {
        writer.write(name, value);
    } else if constexpr (kIsShort<T>) {
        writer.write(name, int{value});
    } else if constexpr (std::is_same_v<T, std::string>) {
        writer.write(name, std::string_view(value));
    } else if constexpr (std::is_same_v<T, Kr::KrString<512>>) {
        writer.write(name, value.view());
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        writer.group(name, [&] {
            writer.writeRepeated("Enumeration", value.getTypeString());
            writer.writeRepeated("Text", value.toString());
            writer.write("Number", static_cast<int>(value));
        });
    } else {
        const auto components = KrData::getComponents(value);
        writer.writeTuple(name, std::span(components));
    }
}

template <class T>
void readItem(ArchiveReader& reader, std::string_view name, T& value) {
    if constexpr (kIsScalar<T> || std::is_same_v<T, std::string>) {
        reader.read(name, value);
    } else if constexpr (kIsShort<T>) {
        int number = 0;
        reader.read(name, number);
        if (number < std::numeric_limits<T>::min() || number > std::numeric_limits<T>::max()) {
            reader.fail("'" + std::string(name) + "' is " + std::to_string(number) + ", which does not fit into " +
                        Types::nameFor(KrData::ValueTraits<T>::kDataType));
        }
        value = static_cast<T>(number);
    } else if constexpr (std::is_same_v<T, Kr::KrString<512>>) {
        std::string text;
        reader.read(name, text);
        value = text;
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        reader.group(name, [&] {
            const std::string typeName(reader.readRepeated("Enumeration"));
            const std::string text(reader.readRepeated("Text"));
            int number = 0;
            reader.read("Number", number);
            value = Kr::KrEnum::_fromStored(typeName, number, text);
            const auto* type = Kr::KrEnum::getEnumeration(typeName);
            if (type == nullptr || text.empty() || type->findValue(text) != nullptr) return;
            reader.report(Finding::eKind::kUnknownChoice,
                          "enumeration '" + typeName + "' has no '" + text + "', so that its number counts, " +
                              std::to_string(number) + explainChoice(text, listChoices(*type)));
        });
    } else {
        auto components = KrData::getComponents(T{});
        reader.readTuple(name, std::span(components));
        value = std::bit_cast<T>(components);
    }
}

// NOLINTBEGIN(bugprone-macro-parentheses): types stand in no parentheses
#define KR_DEFINE_ITEM(T)                                                   \
    template void writeItem<T>(ArchiveWriter&, std::string_view, const T&); \
    template void readItem<T>(ArchiveReader&, std::string_view, T&);
// NOLINTEND(bugprone-macro-parentheses)
KR_FOR_EACH_PLAIN_VALUE_TYPE(KR_DEFINE_ITEM)
#undef KR_DEFINE_ITEM

// --- Data types ----------------------------------------------------------------------------------------------------

namespace {

constexpr int kDataTypeNumbers = 256;

/// Called for every field, so it compares no texts.
bool hasMeaning(int number) {
    static const auto known = [] {
        std::array<bool, kDataTypeNumbers> made{};
        const std::string_view none = Types::nameFor(Types::kInvalid);
        for (std::size_t i = 0; i < made.size(); ++i)
            made[i] = Types::nameFor(static_cast<Types::DataTypeEnum>(i)) != none;
        return made;
    }();
    return number >= 0 && number < kDataTypeNumbers && known[static_cast<std::size_t>(number)];
}

std::vector<std::string> namesOfDataTypes() {
    std::vector<std::string> names;
    for (int number = 0; number < kDataTypeNumbers; ++number)
        if (hasMeaning(number)) names.emplace_back(Types::nameFor(static_cast<Types::DataTypeEnum>(number)));
    return names;
}

std::optional<int> numberOfDataType(std::string_view text) {
    static const auto& numbers = *[] {
        auto* made = new std::unordered_map<std::string_view, int>;
        for (int number = 0; number < kDataTypeNumbers; ++number) {
            if (hasMeaning(number)) made->emplace(Types::nameFor(static_cast<Types::DataTypeEnum>(number)), number);
        }
        return made;
    }();
    const auto found = numbers.find(text);
    return found != numbers.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace

void writeDataType(ArchiveWriter& writer, std::string_view name, Types::DataTypeEnum dataType) {
    writer.writeChoice(name, dataType, Types::nameFor(dataType));
}

Types::DataTypeEnum readDataType(ArchiveReader& reader, std::string_view name) {
    static const ArchiveReader::ChoiceParser parse = numberOfDataType;
    static const ArchiveReader::ChoiceList choices = namesOfDataTypes;
    const int number = reader.readChoice(name, parse, choices);
    if (!hasMeaning(number))
        reader.fail("'" + std::string(name) + "' is the unknown data type " + std::to_string(number));
    return static_cast<Types::DataTypeEnum>(number);
}

}  // namespace KrPersistence::detail
