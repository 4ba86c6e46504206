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

/// Where a replayed run differs from the first one.
struct ReplayDifference {
    std::uint64_t frame{0};     ///< after which it shows; the frame of the snapshot itself: restoring lost it
    std::string extensionPath;  ///< names from the outermost object down
    std::string fieldPath;      ///< "Outputs.Speed"; empty for the bytes of onStateSave and for a missing extension
    std::string expected;       ///< what the first run had, as text
    std::string actual;

    /// All of it in one line, with the name of the run that was compared with the first one.
    [[nodiscard]] std::string toString(const char* secondRun = "the replay") const;
};

/// Shows plug-in authors whether content replays exactly: runs frames, takes a snapshot, runs on, restores it, runs the
/// same frames again and compares every value and every byte of onStateSave after each. What differs is state that
/// neither a field holds nor onStateSave writes.
///
///     KrPersistence::ReplayCheck check;
///     auto& application = check.getApplication();
///     application.insertModule(myModule);
///     application.add(myCar);
///     application.setApplicationMode(KrSim::eApplicationMode::kSimulating);
///     EXPECT_EQ(check.explain(60, 600), "");
///
/// The clock of application and events is one that goes by the frame, so that times are the same in both runs.
/// Thread: one, the application's. One check at a time in a process.
class KR_API ReplayCheck {
public:
    ReplayCheck();
    ReplayCheck(const ReplayCheck&) = delete;
    ReplayCheck& operator=(const ReplayCheck&) = delete;
    ~ReplayCheck();

    /// In editing mode, at 60 Hz, without modules and content.
    [[nodiscard]] KrSim::KrApplication& getApplication() const noexcept { return *_application; }

    /// The clock of application and events.
    [[nodiscard]] Kr::ManualClock& getClock() const noexcept { return *_clock; }

    /// Runs so many frames, as fast as they go; the clock advances by one time step before each. False when a frame was
    /// the last one, because an exit was requested or an exception has ended it; the frames after it are not run.
    bool step(std::uint32_t frames = 1);

    /// The first difference, or nothing. Memory: one snapshot for each replayed frame.
    [[nodiscard]] std::optional<ReplayDifference> run(std::uint32_t framesBefore, std::uint32_t framesReplayed);
    /// The same as text: empty when there is none.
    [[nodiscard]] std::string explain(std::uint32_t framesBefore, std::uint32_t framesReplayed);

private:
    std::unique_ptr<Kr::ManualClock> _clock;
    Kr::KrSmartPtr<KrSim::KrApplication> _application;
};

}  // namespace KrPersistence
