#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "kr/data/value_traits.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence::detail {

/// Pointers are written by code that knows their meaning.
template <class T>
inline constexpr bool kIsPlainValue = !std::is_pointer_v<T>;

// One value, or one group, of this name. Reading replaces a default value.

template <class T>
void writeItem(ArchiveWriter& writer, std::string_view name, const T& value);
template <class T>
void readItem(ArchiveReader& reader, std::string_view name, T& value);

/// Appends one step, as in FieldBase::getPath: an identifier without text adds nothing.
inline void appendStep(std::string& path, const std::string& step) {
    if (!path.empty() && !step.empty()) path += '.';
    path += step;
}

// A choice among data types, with their names for people.
void writeDataType(ArchiveWriter& writer, std::string_view name, KrData::Types::DataTypeEnum dataType);
/// Throws for numbers and texts without meaning.
[[nodiscard]] KrData::Types::DataTypeEnum readDataType(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence::detail
