// Drives the New European Driving Cycle with the car of the DriveCycle plug-in, as fast as it goes or in real time, and
// checks the distance and the energy. docs/drive-cycle.md explains it.

#include <kr/foundation.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include "bare_car.h"
#include "drive_report.h"

namespace {

using Kr::KrSmartPtr;
using KrSim::KrApplication;
using KrSim::KrObject;

constexpr int kSucceeded = 0;
constexpr int kFailed = 1;
constexpr int kMisused = 2;

struct Options {
    bool isPaced{false};
    double seconds{getEuropeanCycle().back().seconds};
    std::string plugins;  // empty: beside the program
};

void printUsage() {
    std::fputs(
        "drive_cycle [--paced] [--seconds N] [--plugins DIR]\n"
        "  --paced        in real time, with a line every second\n"
        "  --seconds N    only so much of the cycle, which takes 1180 s\n"
        "  --plugins DIR  where DriveCycle.krp is; otherwise in plugins/ beside this program\n",
        stderr);
}

std::optional<double> readSeconds(const char* text) {
    double seconds = 0.0;
    const auto* end = text + std::strlen(text);
    const auto read = std::from_chars(text, end, seconds);
    if (read.ec != std::errc{} || read.ptr != end || !(seconds > 0.0 && seconds <= 1e6)) return {};
    return seconds;
}

/// Nothing when the command line is not understood; says why.
std::optional<Options> readOptions(int count, char** arguments) {
    Options options;
    options.plugins = (std::filesystem::path(arguments[0]).parent_path() / "plugins").string();
    for (int i = 1; i < count; ++i) {
        const std::string option = arguments[i];
        const char* value = i + 1 < count ? arguments[i + 1] : nullptr;
        if (option == "--paced") {
            options.isPaced = true;
        } else if (option == "--seconds" && value != nullptr && readSeconds(value)) {
            options.seconds = *readSeconds(value);
            ++i;
        } else if (option == "--plugins" && value != nullptr) {
            options.plugins = value;
            ++i;
        } else {
            std::fprintf(stderr, "drive_cycle: '%s' is not understood, or lacks its value (seconds: above 0, to 1e6)\n",
                         option.c_str());
            printUsage();
            return {};
        }
    }
    return options;
}

/// By their keys: this program does not have the classes of the plug-in.
KrSmartPtr<KrObject> makeCar() {
    const KrSim::KrFactoryKey key("dd031425-9106-4b42-ba84-1c752e63b2d7", "Drive Cycle", "Electric Car", "DriveCycle");
    auto car = Kr::dynamicPointerCast<KrObject>(KrSim::KrExtensionFactory::create(key));
    if (!car) throw std::runtime_error("there is no electric car: see the log, and --plugins");
    car->setName("Electric Car");
    return car;
}

KrSim::KrSmartInterface<KrSim::ISimulatorModule> makeModule() {
    const KrSim::KrFactoryKey key("cb6ddcca-78d2-45a4-b46f-178922be4b1d", "Drive Cycle", "Drive Module", "DriveCycle");
    const auto module = KrSim::KrExtensionFactory::create(key);
    if (!module) throw std::runtime_error("there is no module that drives: see the log, and --plugins");
    return KrSim::KrSmartInterface<KrSim::ISimulatorModule>(module->getImplementationAs<KrSim::ISimulatorModule>());
}

/// A line for each second of the cycle.
class Status final : public KrSim::IApplicationListener {
public:
    explicit Status(const KrObject& car) : _car(car) {}

    void onFrameEnded(KrApplication* application) override {
        const auto statistics = application->getFrameStatistics();
        if (statistics.simulatedSeconds < _next) return;
        _next = std::floor(statistics.simulatedSeconds) + 1.0;
        const auto get = [&](const char* part, const char* output) {
            const auto* extension = _car.findExtensionByName(part, false);
            const auto* field = extension != nullptr ? extension->getOutput(output) : nullptr;
            return field != nullptr ? field->toReal() : NAN;
        };
        std::printf("%6.0f s  target %6.1f km/h  speed %6.1f km/h  %7.3f km  battery %5.1f %%  real time x %.3f\n",
                    get("Driving Cycle", "Time"), 3.6 * get("Driving Cycle", "Target Speed"),
                    3.6 * get("Vehicle", "Speed"), get("Vehicle", "Distance") / 1e3,
                    100.0 * get("Electric Drive", "Charge"), statistics.meanRealTimeFactor);
        std::fflush(stdout);
    }

private:
    const KrObject& _car;
    double _next{1.0};
};

/// The application that a signal ends.
KrApplication* running = nullptr;

/// Seconds for as many frames of the models alone: the shortest of three, as others may be busy on the machine.
double timeModels(std::uint64_t frames, double stepSeconds) {
    double shortest = std::numeric_limits<double>::infinity();
    for (int run = 0; run < 3; ++run) {
        BareCar car;
        const Kr::Timer timer;
        for (std::uint64_t i = 0; i < frames; ++i)
            car.step(stepSeconds);
        const double seconds = timer.getElapsedSeconds();
        if (car.distance >= 0.0) shortest = std::min(shortest, seconds);  // so the result is used
    }
    return shortest;
}

void printPace(const KrApplication& application, double seconds, bool isPaced) {
    const auto statistics = application.getFrameStatistics();
    const auto frames = static_cast<double>(statistics.frames);
    if (isPaced) {
        std::printf("  real time        x %.5f, %llu late frames, worst overrun %.3f ms\n",
                    statistics.meanRealTimeFactor, static_cast<unsigned long long>(statistics.getLateFrames()),
                    1e3 * statistics.getWorstOverrunSeconds());
        return;
    }
    const double models = timeModels(statistics.frames, application.getSimulationTimeStep());
    std::printf("  pace             %8.0f frames/s, %.0f times real time\n", frames / seconds,
                statistics.simulatedSeconds / seconds);
    std::printf("      a frame takes %.2f us, the models alone %.2f us: the library's share is %.0f %%\n",
                1e6 * seconds / frames, 1e6 * models / frames, 100.0 * (1.0 - models / seconds));
}

int drive(const Options& options) {
    KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(options.plugins);
    const auto car = makeCar();
    const auto application = KrApplication::create();
    application->setSyncMode(options.isPaced ? KrSim::eSynchronizationMode::kSWSync
                                             : KrSim::eSynchronizationMode::kSyncOff);
    application->insertModule(makeModule());
    application->add(car.get());
    application->setApplicationMode(KrSim::eApplicationMode::kSimulating);

    double topSpeed = 0.0;
    auto* vehicle = car->findExtensionByName("Vehicle", false);
    const auto watch = vehicle != nullptr && vehicle->getOutput("Speed") != nullptr
                           ? vehicle->getOutput("Speed")->addObserver(
                                 [&](const KrData::FieldBase& speed) { topSpeed = std::max(topSpeed, speed.toReal()); })
                           : KrData::DelegateConnection();
    Status status(*car);
    if (options.isPaced) application->registerListener(&status);

    running = application.get();
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) { running->requestExitFromSignal(); });
    const Kr::Timer timer;
    const int exitValue = application->run({.seconds = options.seconds});
    const double seconds = timer.getElapsedSeconds();
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, SIG_DFL);
    application->unregisterListener(&status);
    if (exitValue != 0) throw std::runtime_error("the simulation has failed: see the log");

    std::printf("New European Driving Cycle, electric car, %.0f frames at %.0f Hz\n",
                static_cast<double>(application->getFrameStatistics().frames), application->getSimulationFrameRate());
    const bool isGood = printReport(DriveFigures(*car), topSpeed);
    printPace(*application, seconds, options.isPaced);
    return isGood ? kSucceeded : kFailed;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        const auto options = readOptions(count, arguments);
        return options ? drive(*options) : kMisused;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "drive_cycle: %s\n", exception.what());
        return kFailed;
    }
}
