#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrRecording {

/// What a recording has, and how often.
struct RecordingOptions {
    /// As KrExperiments::findFields takes them; empty for all outputs of content and modules.
    std::vector<std::string> patterns{};
    double periodSeconds{0.0};  ///< of simulated time between two records; 0 for every frame
    bool isOnChange{false};     ///< values of an extension that are those of the last record are left out
    /// When the disk is slower than the frames: wait for it, for runs without pace. Else frames are dropped, and
    /// counted.
    bool mayWait{false};
    std::vector<std::pair<std::string, std::string>> metadata{};  ///< of the recording, for its readers
};

/// What was recorded.
struct RecordingResult {
    std::uint64_t frames{0};   ///< handed to the file; some of the last ones are lost where there is a problem
    std::uint64_t dropped{0};  ///< since the queue was full
    std::uint64_t bytes{0};    ///< of the file
    std::string problem{};     ///< why the recording ended early, with the file; empty when all is there
};

/// Records values of fields into a file of the format MCAP (mcap.dev), which many tools read.
///
///     KrRecording::Recorder recorder("drive.mcap", {.patterns = {"*.Speed"}});
///     application->registerListener(&recorder);
///     ...
///     const auto result = recorder.finish();
///     if (!result.problem.empty()) report(result.problem);
///
/// There is a channel for each extension and role, "Car/Vehicle.Outputs". Its messages are of protobuf; their types
/// follow from the fields, a vector being a message of its components. Values are in SI units; metadata of the
/// channel has the path of each field, "field:Wheel_Speed" = "Outputs.Wheel.Speed", and its unit, "unit:Wheel_Speed" =
/// "m/s". The time of a message is simulated time at the end of its frame, its time of publication the wall clock.
///
/// The fields are chosen by start(), or when the first frame ends, and again after content or modules were added or
/// removed. Fields that exist no more are left out of messages. A thread of its own writes the file; what it took is
/// safe from a kill of the process after half a second. When the file cannot be written, the recording ends, and the
/// run goes on. Thread: application. A frame allocates nothing, but for texts that grow. Ownership: register it with
/// the application, which borrows it.
class KR_API Recorder final : public KrSim::IApplicationListener {
public:
    /// Replaces a file of this name when the fields are chosen.
    explicit Recorder(std::string filename, RecordingOptions options = {});
    ~Recorder() override;  ///< finish()

    /// Records the values at the begin of the run, of fields that exist already. Without it the first record is that of
    /// the first frame.
    void start(KrSim::KrApplication& application);
    void onExtensionAdded(KrSim::KrApplication* application, KrSim::KrExtension* extension) override;
    void onExtensionRemoved(KrSim::KrApplication* application, KrSim::KrExtension* extension) override;
    void onModuleInserted(KrSim::KrApplication* application, KrSim::KrSimulatorModule* module) override;
    void onModuleRemoved(KrSim::KrApplication* application, KrSim::KrSimulatorModule* module) override;
    /// Takes the values of a frame; a paused one does not count.
    void onFrameEnded(KrSim::KrApplication* application) override;

    /// Whether the patterns have meant fields, so that there is a file.
    [[nodiscard]] bool hasFields() const;
    /// Why nothing is recorded any more, with the file; empty while all is well. A pattern that means no field ends the
    /// recording, too.
    [[nodiscard]] const std::string& getProblem() const;
    /// Ends the file. Once; later calls return the same.
    RecordingResult finish();

private:
    struct Parts;

    void _choose(const KrSim::KrApplication& application);
    void _record(double seconds);

    std::unique_ptr<Parts> _parts;
};

}  // namespace KrRecording
