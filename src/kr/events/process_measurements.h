#pragma once

#include <cstdint>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The resources that this process has used so far, for monitors of a distributed simulation.
/// Thread: value. Ownership: value.
struct KR_API ProcessMeasurements {
    double userSeconds{0.0};                      ///< of processor time in the program, of all threads
    double systemSeconds{0.0};                    ///< of processor time in the system on its behalf
    std::uint64_t residentBytes{0};               ///< in memory now; 0 when the system does not report it
    std::uint64_t peakResidentBytes{0};           ///< the most that was in memory
    std::uint64_t majorPageFaults{0};             ///< page faults that read from a disk
    std::uint64_t involuntaryContextSwitches{0};  ///< a processor was taken away

    /// The current values. Any thread; takes a few microseconds.
    [[nodiscard]] static ProcessMeasurements take() noexcept;

    /// The members in their order, 8 bytes each.
    void appendToEventData(EventData& data) const;
    /// Reads the bytes of appendToEventData. A member whose bytes are missing is unchanged, with an error in the log.
    void extractFromEventData(const EventData& data);

    [[nodiscard]] bool operator==(const ProcessMeasurements&) const = default;
};

}  // namespace KrSim
