#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kr/application/application.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/platform/profiling.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_module.h"
#include "tests/support/recording_profiler.h"
#include "tests/support/scripted_clock.h"

namespace frame_profiling_test {

using test_support::recording;
using test_support::RecordingProfiler;
using testing::ElementsAre;
using testing::IsEmpty;

struct Host {
    Host() {
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->insertModule(module);
    }

    test_support::ScriptedClock clock{1e-3};
    std::vector<std::string> calls;
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create(clock);
    test_support::RecordingModule::Holder module = test_support::makeModule("Car", calls);
};

TEST(FrameProfiling, ReportsSectionsAndMetricsInTheOrderOfTheFrame) {
    Host host;
    recording(host.module).onEachCall = [&](const std::string& callback) {
        if (callback == "onUpdate") recording(host.module)._sortManagedExtensions();
    };
    host.application->update();
    RecordingProfiler profiler;
    host.application->update();
    EXPECT_THAT(profiler.lines,
                ElementsAre("Application.Frame", "  Events.PreUpdate", "  FrameNumber = 1",
                            testing::StartsWith("  ElapsedSeconds = "), "  Modules.Car", "  Modules.Car",
                            "    Modules.SortManagedExtensions", "  Modules.Car", "  Events.PostUpdate"));
    EXPECT_EQ(profiler.depth, 0);
}

TEST(FrameProfiling, APausedFrameHasSectionsButNoMetrics) {
    Host host;
    host.application->pause();
    RecordingProfiler profiler;
    host.application->update();
    EXPECT_THAT(profiler.lines, ElementsAre("Application.Frame", "  Events.PreUpdate", "  Events.PostUpdate"));
}

TEST(FrameProfiling, ClosesAllSectionsWhenAnExceptionLeavesTheFrame) {
    struct Thrower final : KrSim::KrSimEventListener {
        void onSimEvent(const KrSim::KrSimEvent&) override { throw std::runtime_error("no"); }
    } thrower;
    Host host;
    const test_support::LogCapture log;
    KrSim::KrEventDispatcher::registerListener(77, &thrower);
    KrSim::KrSimEvent delayed(77);
    delayed.setDelay(-1.0);  // with the next frame
    KrSim::KrEventDispatcher::sendEventLocally(delayed);
    RecordingProfiler profiler;
    EXPECT_FALSE(host.application->update());
    EXPECT_THAT(profiler.lines, ElementsAre("Application.Frame", "  Events.PreUpdate"));
    EXPECT_EQ(profiler.depth, 0);
}

TEST(FrameProfiling, ASectionEndsWithTheProfilerThatItBeganWith) {
    RecordingProfiler first;
    Kr::ProfilingSection section("Tests", "Long");
    {
        const RecordingProfiler second;
        section.close();
        EXPECT_THAT(second.lines, IsEmpty());
        EXPECT_EQ(second.depth, 0);
    }
    EXPECT_EQ(first.depth, 0);
    EXPECT_EQ(Kr::getProfiler(), &first);
}

TEST(FrameProfiling, AsksForNoNameWithoutAProfiler) {
    const Kr::ProfilingSection section("Tests", [] {
        ADD_FAILURE() << "the name was made";
        return std::string();
    });
}

struct ThrowingCase {
    const char* name;
    const char* throwsIn;
    const char* logged;
};
class ThrowingProfilers : public testing::TestWithParam<ThrowingCase> {};

TEST_P(ThrowingProfilers, AreLoggedAndTheFrameGoesOn) {
    Host host;
    const test_support::LogCapture log;
    RecordingProfiler profiler;
    profiler.throwsIn = GetParam().throwsIn;
    host.calls.clear();
    EXPECT_TRUE(host.application->update());
    EXPECT_THAT(host.calls, ElementsAre("Car onPreUpdate 1", "Car onUpdate 1", "Car onPostUpdate 1"));
    EXPECT_EQ(profiler.depth, 0);
    EXPECT_THAT(log.lines(), testing::Contains(GetParam().logged));
}

const ThrowingCase kThrowing[] = {
    {"Opening", "Car", "3 IProfiler: fatal error when section 'Car' began [no]\n"},
    {"Closing", "closing", "3 IProfiler: unhandled exception at the end of a section\n"},
    {"Metric", "FrameNumber", "3 IProfiler: fatal error in metric 'FrameNumber' [no]\n"},
};
INSTANTIATE_TEST_SUITE_P(Profiler, ThrowingProfilers, testing::ValuesIn(kThrowing), test_support::caseName);

}  // namespace frame_profiling_test
