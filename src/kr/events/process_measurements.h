#pragma once

#include <cstdint>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// What this process has taken of the machine so far, as monitors of a distributed simulation exchange it.
struct KR_API ProcessMeasurements {
    double userSeconds{0.0};                      ///< of processor time in the program, of all threads
    double systemSeconds{0.0};                    ///< of processor time in the system on its behalf
    std::uint64_t residentBytes{0};               ///< in memory now; 0 where the system does not say
    std::uint64_t peakResidentBytes{0};           ///< the most that was in memory
    std::uint64_t majorPageFaults{0};             ///< that read from a disk
    std::uint64_t involuntaryContextSwitches{0};  ///< a processor was taken away

    /// As of now. Any thread; a few microseconds.
    [[nodiscard]] static ProcessMeasurements take() noexcept;

    /// The members in their order, 8 bytes each.
    void appendToEventData(EventData& data) const;
    /// Takes what appendToEventData wrote. A member whose bytes are missing stays as it is, with an error in the log.
    void extractFromEventData(const EventData& data);

    [[nodiscard]] bool operator==(const ProcessMeasurements&) const = default;
};

}  // namespace KrSim
