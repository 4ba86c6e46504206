#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/persistence/states/replay_check.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class SimulationSnapshot;

/// All values of a run at several moments, for comparison with another run of the same content: every field of content
/// and modules, and the bytes of onStateSave. Two runs that begin equal must stay equal, bit by bit; otherwise some
/// code depends on the clock, on addresses, on random numbers or on data that the first run left in the process.
///
/// Thread: application. Ownership: value. Memory: one snapshot for each moment.
class KR_API RunRecord {
public:
    RunRecord();
    RunRecord(RunRecord&& other) noexcept;
    RunRecord& operator=(RunRecord&& other) noexcept;
    RunRecord(const RunRecord&) = delete;
    RunRecord& operator=(const RunRecord&) = delete;
    ~RunRecord();

    /// Adds the current values. False, with a warning, while a frame is in progress.
    bool take(const KrSim::KrApplication& application);
    /// Number of moments.
    [[nodiscard]] std::size_t size() const noexcept { return _moments.size(); }

    /// The first difference; empty without one. Extensions are compared with those of the same path, fields with those
    /// of the same path in them. `expected` is the value of this run, `actual` that of the other run.
    [[nodiscard]] std::optional<ReplayDifference> findDifference(const RunRecord& other) const;
    /// The same as text: empty without a difference.
    [[nodiscard]] std::string explainDifference(const RunRecord& other) const;

private:
    using Paths = std::vector<std::string>;

    struct Moment {
        std::shared_ptr<const SimulationSnapshot> snapshot;
        std::shared_ptr<const Paths> paths;  // of its states, in their order
    };

    static std::optional<ReplayDifference> _findDifference(const Moment& first, const Moment& second);

    std::vector<Moment> _moments;
};

}  // namespace KrPersistence
