#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/persistence/files/named_file_section.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

/// How a state file keeps the values of fields.
enum class eStatePayload : std::int32_t {
    kNormal = 0,  ///< as they are: a restored run is exact
    kCompact =
        1,  ///< in one block for each extension, doubles with the precision of floats: for display, not for replay
};

/// The section of a state file: one SimulationSnapshot. docs/simulation-states.md has its members.
///
/// A section that was read keeps what it holds apart from the content of this process, so that it can be looked at and
/// written again without loss where no such content is.
class KR_API KrSimulationStateSection final : public NamedFileSection {
    KR_BASE_CLASS(KrSimulationStateSection, NamedFileSection)

public:
    KrSimulationStateSection();
    ~KrSimulationStateSection() override;

    /// What is to be written; held until then. Null for nothing.
    void setSnapshot(std::shared_ptr<const SimulationSnapshot> snapshot,
                     eStatePayload payload = eStatePayload::kNormal);
    /// What was set or read. References to extensions are resolved now: those that are not there become null.
    [[nodiscard]] std::shared_ptr<const SimulationSnapshot> getSnapshot() const;

    [[nodiscard]] eStatePayload getPayload() const noexcept { return _payload; }
    /// The number of the frame that follows.
    [[nodiscard]] std::uint64_t getFrame() const noexcept;
    [[nodiscard]] std::size_t getExtensionCount() const noexcept;

    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

private:
    struct Loaded;

    void _writeEvents(ArchiveWriter& writer) const;
    void _readEvents(ArchiveReader& reader);

    std::shared_ptr<const SimulationSnapshot> _snapshot;  // set, or null after reading
    std::unique_ptr<Loaded> _loaded;
    eStatePayload _payload{eStatePayload::kNormal};
};

}  // namespace KrPersistence
