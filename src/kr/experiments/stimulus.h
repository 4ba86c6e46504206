#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"
#include "kr/core/csv_table.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// Between two rows of a stimulus.
enum class ePlayMode : std::uint8_t {
    kLinear,  ///< numbers on the line between the rows; other values those of the row before
    kStep,    ///< the values of the row before
};

/// After the last row of a stimulus.
enum class ePlayEnd : std::uint8_t {
    kHold,    ///< its values stay
    kStop,    ///< the run ends with the frame that begins then
    kRepeat,  ///< it begins again with the first row
};

struct StimulusOptions {
    ePlayMode mode{ePlayMode::kLinear};
    ePlayEnd end{ePlayEnd::kHold};
};

/// Sets fields from a table over simulated time.
///
/// The column "Time" has the time of each row, in seconds or in its unit, ascending. Each other column has the path of
/// a field, as findOneField takes it, with ".X", ".Y" and so on behind it for a number of a vector, and perhaps a unit
/// of its dimension; without one, numbers are in SI units. A table of `krsim run --record` is one. Outputs, which their
/// extensions set, and connected inputs are refused; an empty cell leaves the value as it is.
///
///     auto stimulus = KrExperiments::Stimulus::make(*application, *table, "drive.csv", {}, problem);
///     application->registerListener(stimulus.get());
///
/// The values are those at the beginning of each frame; they depend on simulated time only, so they are right after a
/// restored state. Before the first row it sets nothing. Values out of the range of a field are clamped.
/// A field that is removed is told by a warning, once.
/// Thread: application. A frame allocates nothing, but for texts. Ownership: register it with the application, after
/// what records frames, and unregister it before it dies; borrows application and fields.
class KR_API Stimulus final : public KrSim::IApplicationListener {
public:
    /// Also sets the values of the first frame. Null, with the problem, when the table or a field does not fit: the
    /// message names source, line and column.
    [[nodiscard]] static std::unique_ptr<Stimulus> make(KrSim::KrApplication& application, const Kr::CsvTable& table,
                                                        const std::string& source, const StimulusOptions& options,
                                                        std::string& problem);
    ~Stimulus() override;

    void onFrameEnded(KrSim::KrApplication* application) override;
    /// Whether its end has ended the run.
    [[nodiscard]] bool hasEnded() const noexcept { return _hasEnded; }

private:
    class Track;

    explicit Stimulus(const StimulusOptions& options);
    [[nodiscard]] std::string _read(const KrSim::KrApplication& application, const Kr::CsvTable& table);
    [[nodiscard]] std::string _readTimes(const Kr::CsvTable& table);
    void _set(double seconds);

    const StimulusOptions _options;
    std::vector<double> _times;
    std::vector<std::unique_ptr<Track>> _tracks;
    std::size_t _row{0};  // the last one that was not later, from which the search goes on
    bool _hasEnded{false};
};

}  // namespace KrExperiments
