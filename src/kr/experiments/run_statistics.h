#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/field_reference.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// What a field was in the frames of a run, in SI units. All are NaN without a frame; after a frame with NaN, all but
/// the last value.
struct FieldStatistics {
    std::string path{};  ///< the full one
    Kr::KrPhysicalDimension::ePhysicalDimension dimension{};
    std::uint64_t frames{0};  ///< in which it existed
    double last{std::numeric_limits<double>::quiet_NaN()};
    double minimum{std::numeric_limits<double>::quiet_NaN()};
    double maximum{std::numeric_limits<double>::quiet_NaN()};
    double mean{std::numeric_limits<double>::quiet_NaN()};
    double rms{std::numeric_limits<double>::quiet_NaN()};  ///< square root of the mean of the squares
};

/// Last value, minimum, maximum, mean and RMS of number fields over the frames of a run: each frame counts alike, with
/// the value at its end. The sums are compensated after Neumaier (1974), so that long runs lose no digits.
/// Thread: application. A frame allocates nothing. Ownership: register it with the application, which borrows it.
class KR_API RunStatistics final : public KrSim::IApplicationListener {
public:
    /// \param patterns  as findFields takes them, of numbers and Booleans; empty for all outputs that are numbers.
    /// \param problem   why a pattern has no such fields, as the end of a message; else empty.
    RunStatistics(const KrSim::KrApplication& application, std::span<const std::string> patterns, std::string& problem);
    ~RunStatistics() override;

    /// Takes the values of a frame; a paused one does not count.
    void onFrameEnded(KrSim::KrApplication* application) override;

    /// In the order of the application.
    [[nodiscard]] std::vector<FieldStatistics> get() const;

private:
    struct Sum {
        double total{0.0};
        double lost{0.0};

        void add(double value) noexcept;
        [[nodiscard]] double get() const noexcept { return total + lost; }
    };
    struct Entry {
        KrData::FieldReference field;
        FieldStatistics statistics;
        Sum values{};
        Sum squares{};
    };

    std::vector<Entry> _entries;
    std::int64_t _lastFrame{-1};
};

}  // namespace KrExperiments
