#pragma once

#include <cstdint>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// What recorders of motion and the panels that show them say to each other through events. A recorder itself is the
/// matter of a plug-in or host.
class KR_API KinematicRecorder {
public:
    enum class eState : std::int32_t {
        kIdle,       ///< no recording is open
        kRecording,  ///< frames are added
        kPlaying,    ///< frames are set on the recorded parts
        kPaused,     ///< a recording is open, its time does not go on
        kFailed,     ///< see Status::error
    };

    /// What a recorder publishes about itself when it changes.
    struct Status {
        eState state{eState::kIdle};
        std::string recording;        ///< name or file of the open recording; empty while idle
        double timeSeconds{0.0};      ///< position in the recording
        double durationSeconds{0.0};  ///< of what was recorded so far
        std::uint64_t frameCount{0};  ///< of what was recorded so far
        std::string error;            ///< for people; empty unless failed

        [[nodiscard]] bool operator==(const Status&) const = default;
    };

    KinematicRecorder() = delete;
};

/// State as a number of 4 bytes, then the other members in their order.
KR_API EventData& operator<<(EventData& data, const KinematicRecorder::Status& status);
/// A number that is no state reads as kFailed. Missing bytes leave what EventData says.
KR_API const EventData& operator>>(const EventData& data, KinematicRecorder::Status& status);

}  // namespace KrSim
