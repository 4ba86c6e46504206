#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/enum.h"
#include "kr/core/enum_table.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/vector.h"
#include "kr/persistence/files/serialize_filename.h"
#include "kr/persistence/setups/internal/settings.h"
#include "kr/platform/fixed_string.h"

namespace KrPersistence::detail {

namespace {

using FileName = Kr::KrString<512>;

// --- Values of each type -------------------------------------------------------------------------------------------

template <class T>
void write(ArchiveWriter& writer, const std::string& name, const T& value) {
    writer.write(name, value);
}

void write(ArchiveWriter& writer, const std::string& name, unsigned short value) {
    writer.write(name, static_cast<unsigned int>(value));
}

void write(ArchiveWriter& writer, const std::string& name, const FileName& value) {
    serializeFilename(writer, value.str(), name.c_str());
}

void write(ArchiveWriter& writer, const std::string& name, const Kr::KrEnum& value) {
    writer.writeChoice(name, value, value.toString());
}

template <class Item>
void write(ArchiveWriter& writer, const std::string& name, const std::vector<Item>& items) {
    writer.sequence(name, items.size(), [&](std::size_t index) { write(writer, "Item", items[index]); });
}

template <class T>
void read(ArchiveReader& reader, const std::string& name, T& value) {
    reader.read(name, value);
}

void read(ArchiveReader& reader, const std::string& name, unsigned short& value) {
    unsigned int wide = 0;
    reader.read(name, wide);
    if (wide > std::numeric_limits<unsigned short>::max()) reader.fail("'" + name + "' is above 65535");
    value = static_cast<unsigned short>(wide);
}

void read(ArchiveReader& reader, const std::string& name, FileName& value) {
    std::string text;
    serializeFilename(reader, text, name.c_str());
    if (value.assign(text)) return;
    reader.fail("file name '" + text + "' is longer than " + std::to_string(FileName::capacity()) +
                " bytes or holds a zero byte");
}

void read(ArchiveReader& reader, const std::string& name, Kr::KrEnum& value) {
    const auto* type = Kr::KrEnum::getEnumeration(value.getTypeString());
    const int present = static_cast<int>(value);
    std::optional<std::string> unknown;
    const auto parse = [&](std::string_view text) -> std::optional<int> {
        const int* number = type != nullptr ? type->findValue(text) : nullptr;
        if (number != nullptr) return *number;
        const bool mayBeNumber = !text.empty() && text.find_first_not_of("-0123456789") == std::string_view::npos;
        if (mayBeNumber) return std::nullopt;  // for the archive to read
        unknown = text;
        return present;
    };
    const int number = reader.readChoice(name, parse);
    if (type == nullptr) return;
    if (!unknown && type->findText(number) == nullptr) unknown = std::to_string(number);
    if (unknown) {
        reader.report(Finding::eKind::kUnknownChoice, "setting '" + name + "' is '" + *unknown +
                                                          "', which does not exist, and stays '" + value.toString() +
                                                          "'" + explainChoice(*unknown, listChoices(*type)));
        return;
    }
    value = Kr::KrEnum(*value.getType(), number);
}

template <class Item>
void read(ArchiveReader& reader, const std::string& name, std::vector<Item>& items) {
    items.clear();
    reader.sequence(name, [&](std::size_t) {
        Item item;
        read(reader, "Item", item);
        items.push_back(std::move(item));
    });
}

/// A number outside the range of its setting was set to the nearest that is inside.
template <class T>
void reportClamped(ArchiveReader& reader, const KrData::Field<T>& field, const T& value) {
    if constexpr (KrData::ValueTraits<T>::kHasRange && std::is_arithmetic_v<T>) {
        if (!field.hasRange() || field.getValue() == value) return;
        reader.report(Finding::eKind::kOutOfRange, "setting '" + field.getID().str() + "' is " +
                                                       describeOutside(value, field.getMinimum(), field.getMaximum()) +
                                                       "; the nearest value in it is taken");
    }
}

// --- Fields --------------------------------------------------------------------------------------------------------

/// Calls the action with the field as a Field<T> of the one T that it is. False when it is none of these.
template <class... T, class FieldType, class Action>
bool withField(FieldType& field, const Action& action) {
    const auto attempt = [&](auto* typed) {
        if (typed != nullptr) action(*typed);
        return typed != nullptr;
    };
    return (attempt(field.template as<T>()) || ...);
}

template <class FieldType, class Action>
bool withValueField(FieldType& field, const Action& action) {
    return withField<bool, int, unsigned int, unsigned short, double, std::string, FileName, Kr::KrEnum>(field, action);
}

template <class FieldType, class Action>
bool withList(FieldType& field, const Action& action) {
    const auto attempt = [&](auto* list) {
        if (list != nullptr) action(*list);
        return list != nullptr;
    };
    return attempt(KrData::Vector<std::string>::from(field)) || attempt(KrData::Vector<FileName>::from(field));
}

/// Null for arrays, too.
template <class FieldType>
auto asContainer(FieldType& field) {
    using Container = std::conditional_t<std::is_const_v<FieldType>, const KrData::Container, KrData::Container>;
    return field.isFieldArray() ? nullptr : dynamic_cast<Container*>(&field);
}

}  // namespace

bool isSetting(const KrData::FieldBase& field, const KrData::FieldBase& standard) {
    if (field.getDataType() != standard.getDataType() || field.getID() != standard.getID()) return false;
    if (const auto* container = asContainer(field)) {
        const auto* other = asContainer(standard);
        return other != nullptr && std::equal(container->begin(), container->end(), other->begin(), other->end(),
                                              [](const auto* each, const auto* its) { return isSetting(*each, *its); });
    }
    const auto nothing = [](const auto&) {};
    return withValueField(field, nothing) || withList(field, nothing);
}

void writeSetting(ArchiveWriter& writer, const KrData::FieldBase& field, const KrData::FieldBase& standard) {
    const std::string& name = field.getID().str();
    writer.optional(!field.isEqual(standard), name, [&] {
        if (const auto* container = asContainer(field)) {
            writer.group(name, [&] {
                for (const auto* each : *container)
                    writeSetting(writer, *each, standard[each->getID()]);
            });
            return;
        }
        withValueField(field, [&](const auto& typed) { write(writer, name, typed.getValue()); }) ||
            withList(field, [&](const auto& list) { write(writer, name, list.getItems()); });
    });
}

void readSetting(ArchiveReader& reader, KrData::FieldBase& field) {
    const std::string& name = field.getID().str();
    reader.optional(name, [&] {
        if (auto* container = asContainer(field)) {
            reader.group(name, [&] {
                for (auto* each : *container)
                    readSetting(reader, *each);
            });
            return;
        }
        withValueField(field,
                       [&](auto& typed) {
                           auto value = typed.getValue();
                           read(reader, name, value);
                           typed.setValue(value);
                           reportClamped(reader, typed, value);
                       }) ||
            withList(field, [&](auto& list) {
                auto items = list.getItems();
                read(reader, name, items);
                list.setItems(std::move(items));
            });
    });
}

}  // namespace KrPersistence::detail
