#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/data/vector.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Makes new fields, and reads values of single fields, from the output of a FieldWriter.
class FieldReader {
public:
    using FieldBase = KrData::FieldBase;
    using Types = KrData::Types;

    FieldReader(ArchiveReader& reader, FieldReadContext& context);

    [[nodiscard]] std::unique_ptr<FieldBase> readField(std::string_view name);
    void readChildren(std::string_view listName, KrData::Container& container);

    // --- Parts of a field, for readers of values -------------------------------------------------------------------
    /// \param container  to which the field will be added, when it does not contain it yet; may be null.
    void enter(const Kr::KrID& id, const KrData::Container* container = nullptr) { _path.push_back({id, container}); }
    void leave() noexcept { _path.pop_back(); }
    /// A new field of this type; reads the data that identify the type.
    [[nodiscard]] std::unique_ptr<FieldBase> make(Types::DataTypeEnum type, const Kr::KrID& id,
                                                  Types::FieldTypeEnum usualRole);
    /// Reads the value of a field of make() that is no container.
    void readLeaf(FieldBase& field);
    /// Empty for a null reference.
    [[nodiscard]] KrSim::KrContentID readReference();
    void noteReference(const KrSim::KrContentID& id, std::size_t item);
    [[nodiscard]] std::string getPath() const;
    /// Throws.
    void fail(const std::string& text) const;

private:
    struct Step {
        Kr::KrID id;
        const KrData::Container* container;
    };

    [[nodiscard]] std::unique_ptr<FieldBase> _readField(std::string_view name, Types::FieldTypeEnum usualRole,
                                                        std::uint32_t usualNumber, const KrData::Container* container);
    [[nodiscard]] std::unique_ptr<FieldBase> _makeContainer(const Kr::KrID& id, Types::FieldTypeEnum usualRole);
    [[nodiscard]] std::unique_ptr<FieldBase> _makeVector(const Kr::KrID& id);
    void _readProperties(FieldBase& field, std::uint32_t usualNumber);
    void _readMetadata(FieldBase& field);
    void _readChildren(std::string_view listName, std::string_view itemName, KrData::Container& container);
    void _readSizeRange(FieldBase& field);
    void _readContent(FieldBase& field);
    template <class T>
    void _readRange(KrData::Field<T>& field);
    void _readItems(FieldBase& field);
    template <class T>
    [[nodiscard]] std::vector<T> _readItemsOf();
    void _readLinks(FieldBase& field);

    ArchiveReader& _reader;
    FieldReadContext& _context;
    int _hiddenDepth{0};      // levels of metadata around the field being read
    std::vector<Step> _path;  // from the root down, the root included
};

}  // namespace KrPersistence::detail
