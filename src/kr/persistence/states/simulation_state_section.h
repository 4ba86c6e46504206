#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/persistence/files/named_file_section.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

/// The form of field values in a state file.
enum class eStatePayload : std::int32_t {
    kNormal = 0,  ///< exact: a restored run is equal to the first one
    kCompact =
        1,  ///< in one block for each extension, doubles with the precision of floats: for display, not for replay
};

/// The section of a state file: one SimulationSnapshot. Members: docs/simulation-states.md.
///
/// A section that was read keeps its data independent of the content of this process, so that it can be examined and
/// written again without loss in a process without this content.
/// Thread: application. Ownership: shares the snapshot.
class KR_API KrSimulationStateSection final : public NamedFileSection {
    KR_BASE_CLASS(KrSimulationStateSection, NamedFileSection)

public:
    KrSimulationStateSection();
    ~KrSimulationStateSection() override;

    /// The snapshot to write, shared until then. Null for none.
    void setSnapshot(std::shared_ptr<const SimulationSnapshot> snapshot,
                     eStatePayload payload = eStatePayload::kNormal);
    /// The snapshot that was set or read. Resolves references to extensions in each call, missing ones to null.
    [[nodiscard]] std::shared_ptr<const SimulationSnapshot> getSnapshot() const;

    [[nodiscard]] eStatePayload getPayload() const noexcept { return _payload; }
    /// The number of the next frame.
    [[nodiscard]] std::uint64_t getFrame() const noexcept;
    [[nodiscard]] std::size_t getExtensionCount() const noexcept;

private:
    struct Loaded;

    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;
    void _writeEvents(ArchiveWriter& writer) const;
    void _writeTimeAndRandom(ArchiveWriter& writer) const;
    void _readTimeAndRandom(ArchiveReader& reader);
    void _readEvents(ArchiveReader& reader);

    std::shared_ptr<const SimulationSnapshot> _snapshot;  // set, or null after reading
    std::unique_ptr<Loaded> _loaded;
    eStatePayload _payload{eStatePayload::kNormal};
};

}  // namespace KrPersistence
