#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Returns the ID to write, or to refer to, instead of another one; see FieldWriteContext and FieldReadContext.
using ContentIDMapping = std::function<KrSim::KrContentID(const KrSim::KrContentID&)>;

/// The target of an extension field, or of an item of a vector of extensions, as it was written.
struct ExtensionReference {
    static constexpr std::size_t kNoItem = std::numeric_limits<std::size_t>::max();

    std::string fieldPath;      ///< identifiers below the field that was read, joined by ".": "Inputs.Target"
    std::size_t item{kNoItem};  ///< index in a vector; kNoItem for a field
    KrSim::KrContentID extension;
};

/// The line of a field in an XML or JSON archive.
struct FieldLine {
    const KrData::FieldBase* field;  ///< for comparison only: it may have died since
    std::size_t line;
};

struct FieldReadContext {
    /// References that could not be resolved, in the order of reading. The fields are null until they are set.
    std::vector<ExtensionReference> references{};
    /// Maps IDs in the archive to those of live content; null: they are equal. Borrowed for the call.
    const ContentIDMapping* toLive{nullptr};
    /// Receives the lines of the fields, in the order of reading, when the archive has lines; null: not recorded.
    /// Borrowed for the call.
    std::vector<FieldLine>* lines{nullptr};
};

struct FieldWriteContext {
    /// The targets of null references, as recorded in FieldReadContext: written for these references, so that a
    /// reference to missing content survives. In any order; borrowed for the call.
    std::span<const ExtensionReference> unresolved{};
    /// Maps IDs of live content to those in the archive; null: they are equal. Borrowed for the call.
    const ContentIDMapping* toStored{nullptr};
    /// The only fields that are written, each without those below it that are not in the set; null: all of them.
    /// Borrowed for the call.
    const std::unordered_set<const KrData::FieldBase*>* chosen{nullptr};
};

// All members in their order: docs/field-format.md.
//
// Pointers to materials, extensions in hidden metadata and value pointers are not written: pointers read as null, a
// bound field as its value. All functions throw archive exceptions that name the field. Thread: application.

/// Writes the field completely: identifier, type, properties, hidden metadata, value, range, and the fields below it.
/// Not its observers and connections.
KR_API void writeField(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                       const FieldWriteContext& context = {});

/// Makes a new field without parent. A container gets plain children, whatever class wrote it, and an array one whose
/// items may be of any class; KrExtension::_loadImplementation passes them to the fields that an implementation
/// declares. References to extensions are null and recorded in the context.
[[nodiscard]] KR_API std::unique_ptr<KrData::FieldBase> readField(ArchiveReader& reader, std::string_view name,
                                                                  FieldReadContext& context);
/// The same for a field that must be a container and no array.
[[nodiscard]] KR_API std::unique_ptr<KrData::Container> readContainer(ArchiveReader& reader, std::string_view name,
                                                                      FieldReadContext& context);

/// Writes the fields in a container as a sequence of this name, without the container itself. References use the paths
/// in the container.
KR_API void writeFields(ArchiveWriter& writer, std::string_view name, const KrData::Container& container,
                        const FieldWriteContext& context = {});
/// Adds the fields of writeFields to a container of the same role.
KR_API void readFields(ArchiveReader& reader, std::string_view name, KrData::Container& container,
                       FieldReadContext& context);

/// Writes the value with its type; for a container the values below it with their identifiers.
KR_API void writeValue(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                       const FieldWriteContext& context = {});

/// Sets the field to a written value without clamping it; observers and connections are notified. A value of another
/// type is converted when the types allow it. In containers values are assigned to the children of the same identifier,
/// arrays get as many items, and proxies get missing links.
/// References to registered extensions are resolved, the others are recorded in the context.
/// False when a value found no field that accepts it; the other values are set nevertheless.
KR_API bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field,
                      FieldReadContext& context);
KR_API bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field);

}  // namespace KrPersistence
