#pragma once

#include <cstdint>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Events between recorders of motion and the panels that show them. Plug-ins and hosts implement the recorders.
/// Thread: value. Ownership: value.
class KR_API KinematicRecorder {
public:
    enum class eState : std::int32_t {
        kIdle,       ///< no recording is open
        kRecording,  ///< frames are added
        kPlaying,    ///< frames are set on the recorded parts
        kPaused,     ///< a recording is open, its time is stopped
        kFailed,     ///< see Status::error
    };

    /// The state of a recorder, published when it changes.
    struct Status {
        eState state{eState::kIdle};
        std::string recording;        ///< name or file of the open recording; empty while idle
        double timeSeconds{0.0};      ///< position in the recording
        double durationSeconds{0.0};  ///< of the recording so far
        std::uint64_t frameCount{0};  ///< of the recording so far
        std::string error;            ///< for people; empty unless failed

        [[nodiscard]] bool operator==(const Status&) const = default;
    };

    KinematicRecorder() = delete;
};

/// State as a number of 4 bytes, then the other members in their order.
KR_API EventData& operator<<(EventData& data, const KinematicRecorder::Status& status);
/// A number that is no state reads as kFailed. Missing bytes leave their members unchanged, see EventData.
KR_API const EventData& operator>>(const EventData& data, KinematicRecorder::Status& status);

}  // namespace KrSim
