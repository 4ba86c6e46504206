#pragma once

#include "kr/application/application.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// What states of the simulation do with an application.
struct KR_API ApplicationAccess {
    /// Whether no frame is under way, and this thread may change the content now.
    [[nodiscard]] static bool isBetweenFrames(const KrApplication& application) noexcept;
    /// Between two frames only.
    [[nodiscard]] static FramePosition getFramePosition(const KrApplication& application);
    /// The next frame continues from this position: its number, the elapsed time and the frame rate. Limits and
    /// statistics count on. Between two frames only.
    static void setFramePosition(KrApplication& application, const FramePosition& position);
};

}  // namespace KrSim::detail
