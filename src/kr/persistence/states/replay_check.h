#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kr/application/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/manual_clock.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence {

/// The first difference between a replayed run and the first run.
struct ReplayDifference {
    std::uint64_t frame{0};     ///< after which it appears; the frame of the snapshot itself: restoring lost it
    std::string extensionPath;  ///< names from the outermost object down
    std::string fieldPath;      ///< "Outputs.Speed"; empty for the bytes of onStateSave and for a missing extension
    std::string expected;       ///< the value of the first run, as text
    std::string actual;

    /// All members in one line, with the name of the run that was compared with the first one.
    [[nodiscard]] std::string toString(const char* secondRun = "the replay") const;
};

/// Checks whether content of a plug-in replays exactly: runs frames, takes a snapshot, continues, restores it, runs the
/// same frames again and compares every value and every byte of onStateSave after each frame. Differing values depend
/// on state that is neither in a field nor written by onStateSave.
///
///     KrPersistence::ReplayCheck check;
///     auto& application = check.getApplication();
///     application.insertModule(myModule);
///     application.add(myCar);
///     application.setApplicationMode(KrSim::eApplicationMode::kSimulating);
///     EXPECT_EQ(check.explain(60, 600), "");
///
/// The clock of application and events advances with the frames, so that times are equal in both runs.
/// Thread: application. One check at a time in a process. Ownership: owns the application and the clock.
class KR_API ReplayCheck {
public:
    ReplayCheck();
    ReplayCheck(const ReplayCheck&) = delete;
    ReplayCheck& operator=(const ReplayCheck&) = delete;
    ~ReplayCheck();

    /// In editing mode, at 60 Hz, without modules and content. Borrowed: valid as long as this object.
    [[nodiscard]] KrSim::KrApplication& getApplication() const noexcept { return *_application; }

    /// The clock of application and events.
    [[nodiscard]] Kr::ManualClock& getClock() const noexcept { return *_clock; }

    /// Runs so many frames without waiting; the clock advances by one time step before each. False when the application
    /// stopped, because an exit was requested or an exception ended a frame; the remaining frames are not run.
    bool step(std::uint32_t frames = 1);

    /// The first difference; empty without one. Memory: one snapshot for each replayed frame.
    [[nodiscard]] std::optional<ReplayDifference> run(std::uint32_t framesBefore, std::uint32_t framesReplayed);
    /// The same as text: empty without a difference.
    [[nodiscard]] std::string explain(std::uint32_t framesBefore, std::uint32_t framesReplayed);

private:
    std::unique_ptr<Kr::ManualClock> _clock;
    Kr::KrSmartPtr<KrSim::KrApplication> _application;
};

}  // namespace KrPersistence
