#include "apps/krsim/run_reporter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

#include "kr/application/application.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/recording_module.h"
#include "tests/support/scripted_clock.h"

namespace krsim_run_reporter_test {

using KrSim::KrApplication;

/// A pipe whose reader reads only on request.
struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_NONBLOCK), 0); }
    ~Pipe() {
        for (const int end : ends)
            ::close(end);
    }
    std::string read() const {
        std::array<char, 1 << 16> block;
        const auto count = ::read(ends[0], block.data(), block.size());
        return {block.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
    }
    std::array<int, 2> ends{};
};

/// An application that runs free, one second a frame by its clock and half a second simulated.
struct Host {
    explicit Host(int descriptor) : output(descriptor) {
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->setSimulationFrameRate(2.0);
        test_support::recording(module).onEachCall = [this](const std::string& callback) {
            if (callback == "onUpdate") clock.work(1.0);
        };
        application->insertModule(module);
        application->registerListener(&reporter);
    }
    ~Host() { application->unregisterListener(&reporter); }

    test_support::ScriptedClock clock{1e-3};
    test_support::RecordingModule::Calls calls;  // the module writes to the end
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrApplication> application = KrApplication::create(clock);
    test_support::RecordingModule::Holder module = test_support::makeModule("M", calls);
    krsim::StatusOutput output;
    krsim::RunReporter reporter{output};
};

TEST(KrsimReporter, WritesALineEveryTenSecondsWhereThereIsNoTerminal) {
    const Pipe pipe;
    Host host(pipe.ends[1]);
    host.application->run({.frames = 25});
    EXPECT_EQ(pipe.read(),
              "frame 11 | 5.50 s | real time x 0.550 | late 0\n"
              "frame 21 | 10.50 s | real time x 0.500 | late 0\n");
}

TEST(KrsimReporter, LeavesTheStatusOutWhileNobodyReads) {
    const Pipe pipe;
    Host host(pipe.ends[1]);
    while (::write(pipe.ends[1], "x", 1) == 1) {
    }
    host.application->run({.frames = 15});
    EXPECT_THAT(pipe.read(), testing::Not(testing::HasSubstr("frame")));
    host.application->run({.frames = 15});
    EXPECT_EQ(pipe.read(), "frame 21 | 10.50 s | real time x 0.500 | late 0\n");
}

TEST(KrsimStatus, FitsTheTerminal) {
    std::array<int, 2> ends{};
    const winsize size{.ws_row = 25, .ws_col = 20, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(::openpty(&ends[0], &ends[1], nullptr, nullptr, &size), 0);
    {
        krsim::StatusOutput output(ends[1]);
        output.showStatus("frame 582 | 9.70 s | real time x 1.000 | late 0");
        std::array<char, 256> shown;
        const auto count = ::read(ends[0], shown.data(), shown.size());
        EXPECT_EQ(std::string_view(shown.data(), static_cast<std::size_t>(count)), "\r\x1b[Kframe 582 | 9.70 s ");
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(KrsimStatus, KnowsThatItCouldNotBeWritten) {
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    krsim::StatusOutput output(full);
    EXPECT_EQ(output.getError(), 0);
    output.print("lost\n");
    EXPECT_EQ(output.getError(), ENOSPC);
    ::close(full);
}

TEST(KrsimSummary, TellsLateFramesApart) {
    KrSim::FrameStatistics statistics;
    statistics.frames = 6;
    statistics.simulatedSeconds = 3.0;
    statistics.meanRealTimeFactor = 0.5;
    statistics.overworked = {.count = 2, .worstSeconds = 0.25, .totalSeconds = 0.3};
    statistics.overslept = {.count = 1, .worstSeconds = 0.0015, .totalSeconds = 0.0015};
    EXPECT_EQ(
        krsim::formatSummary(
            {},
            {.signal = "SIGTERM", .isPaced = true, .realSeconds = 6.0, .stepSeconds = 0.5, .statistics = statistics}),
        "krsim: ended by SIGTERM: 6 frames, 3.000 s simulated in 6.000 s (real time x 0.500, 1 frames/s)\n"
        "krsim: late frames: 3; 2 after too much work (worst 250.000 ms); 1 woken too late (worst 1.500 ms)\n");
}

}  // namespace krsim_run_reporter_test
