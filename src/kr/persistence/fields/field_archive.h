#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Answers the ID to write, or to refer to, in the place of one; see FieldWriteContext and FieldReadContext.
using ContentIDMapping = std::function<KrSim::KrContentID(const KrSim::KrContentID&)>;

/// What an extension field, or an item of a vector of extensions, referred to when it was written.
struct ExtensionReference {
    static constexpr std::size_t kNoItem = std::numeric_limits<std::size_t>::max();

    std::string fieldPath;      ///< identifiers below the field that was read, joined by ".": "Inputs.Target"
    std::size_t item{kNoItem};  ///< index in a vector; kNoItem for a field
    KrSim::KrContentID extension;
};

/// Where a field stands in an XML or JSON archive.
struct FieldLine {
    const KrData::FieldBase* field;  ///< that was made; to be compared, as it may have died since
    std::size_t line;
};

struct FieldReadContext {
    /// References that could not be resolved, in the order of reading. The fields are null until they are set.
    std::vector<ExtensionReference> references{};
    /// From IDs as they stand in the archive to those of live content; null: they are the same. Borrowed for the call.
    const ContentIDMapping* toLive{nullptr};
    /// Gets the lines of the fields, in the order of reading, where the archive has lines; null: not noted. Borrowed
    /// likewise.
    std::vector<FieldLine>* lines{nullptr};
};

struct FieldWriteContext {
    /// What null references were meant to refer to, as FieldReadContext had it: written in their place, so that a
    /// reference to content that is not there survives. Sorted or not; borrowed for the call.
    std::span<const ExtensionReference> unresolved{};
    /// From IDs of live content to those that are to stand in the archive; null: they are the same. Borrowed likewise.
    const ContentIDMapping* toStored{nullptr};
};

// docs/field-format.md has all members in their order.
//
// Pointers to materials, extensions in hidden metadata and value pointers are not written: pointers read as null, a
// bound field as its value. Failure: archive exceptions that name the field. Thread: the application thread.

/// Writes the field with all that belongs to it: identifier, type, properties, hidden metadata, value, range, and what
/// lies below it. Not its observers and connections.
KR_API void writeField(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                       const FieldWriteContext& context = {});

/// Makes the field anew, without parent. A container gets plain children, whatever class wrote it, and an array one
/// whose items may be of any class; KrExtension::_loadImplementation hands it all to the fields that an implementation
/// declares. References to extensions stay null and come into the context.
[[nodiscard]] KR_API std::unique_ptr<KrData::FieldBase> readField(ArchiveReader& reader, std::string_view name,
                                                                  FieldReadContext& context);
/// The same for a field that must be a container and no array.
[[nodiscard]] KR_API std::unique_ptr<KrData::Container> readContainer(ArchiveReader& reader, std::string_view name,
                                                                      FieldReadContext& context);

/// Writes the fields in a container as a sequence of this name, without the container itself. References go by their
/// paths in the container.
KR_API void writeFields(ArchiveWriter& writer, std::string_view name, const KrData::Container& container,
                        const FieldWriteContext& context = {});
/// Adds what writeFields wrote to a container of the same role.
KR_API void readFields(ArchiveReader& reader, std::string_view name, KrData::Container& container,
                       FieldReadContext& context);

/// Writes the value with its type, of a container the values below it with their identifiers.
KR_API void writeValue(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                       const FieldWriteContext& context = {});

/// Sets the field to a value that was written, without clamping it; observers and connections are notified. A value of
/// another type is converted where types allow. In containers values go to the children of the same identifier, and
/// arrays get as many items; proxies get the links that they lack.
/// References to extensions that are registered are resolved, the others come into the context.
/// False when a value found no field that takes it; the other values are set all the same.
KR_API bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field,
                      FieldReadContext& context);
KR_API bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field);

}  // namespace KrPersistence
