#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kr/data/field_base.h"
#include "kr/data/value_plan.h"
#include "kr/extension/extension_state.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/states/simulation_state_section.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// The state of one extension in a file: its own copies of fields, and the saved targets of references.
class StateRecord {
public:
    StateRecord();
    StateRecord(StateRecord&&) noexcept;
    ~StateRecord();

    [[nodiscard]] static StateRecord read(ArchiveReader& reader, std::string_view name, eStatePayload payload);
    void write(ArchiveWriter& writer, std::string_view name, eStatePayload payload) const;
    /// The same for a state in memory.
    static void write(ArchiveWriter& writer, std::string_view name, eStatePayload payload,
                      const KrSim::KrExtensionState& state);

    /// With references to existing extensions.
    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtensionState> makeState() const;
    [[nodiscard]] bool isAddedByModule() const noexcept { return _isAddedByModule; }

private:
    struct Source;

    static void _write(ArchiveWriter& writer, std::string_view name, eStatePayload payload, const Source& source);
    static void _writeTree(ArchiveWriter& writer, const Source& source, KrData::ValuePlan::Place place);
    void _readTree(ArchiveReader& reader, KrData::ValuePlan::Builder& builder);

    KrSim::KrContentID _contentID;
    KrSim::KrFactoryKey _creationKey;
    std::string _name;
    std::string _data;
    bool _hasData{false};
    bool _isAddedByModule{false};
    std::shared_ptr<const KrData::ValuePlan> _plan;
    std::vector<std::unique_ptr<KrData::FieldBase>> _fields;             // in the order of reading
    std::vector<std::size_t> _places;                                    // of their values in the plan
    std::map<std::size_t, std::vector<ExtensionReference>> _references;  // by place in _fields
};

/// Sets the references of a field that was read to the extensions that are here.
void resolveReferences(KrData::FieldBase& field, const std::vector<ExtensionReference>& references);

}  // namespace KrPersistence::detail
