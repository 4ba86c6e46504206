#include "kr/events/kinematic_recorder.h"

#include "kr/events/event_data.h"

namespace KrSim {

using Recorder = KinematicRecorder;

EventData& operator<<(EventData& data, const Recorder::Status& status) {
    return data << static_cast<int>(status.state) << status.recording << status.timeSeconds << status.durationSeconds
                << status.frameCount << status.error;
}

const EventData& operator>>(const EventData& data, Recorder::Status& status) {
    int state = static_cast<int>(status.state);
    data >> state >> status.recording >> status.timeSeconds >> status.durationSeconds >> status.frameCount >>
        status.error;
    const bool isState = state >= 0 && state <= static_cast<int>(Recorder::eState::kFailed);
    status.state = isState ? static_cast<Recorder::eState>(state) : Recorder::eState::kFailed;
    return data;
}

}  // namespace KrSim
