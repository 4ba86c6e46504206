#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/data/field_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/registration.h"
#include "kr/persistence/states/replay_check.h"
#include "kr/persistence/states/run_record.h"
#include "kr/platform/export.h"
#include "kr/platform/manual_clock.h"
#include "kr/platform/smart_ptr.h"

namespace KrTesting {

/// An application for tests of plug-ins, with any test framework or none. It simulates with a clock that advances by
/// one frame period in each frame, and runs the requested frames without waiting.
///
///     const KrTesting::LogCapture log;
///     KrTesting::TestApplication application;
///     application.usePlugin(argv[1], "RoadVehicle");
///     application.add("Road Vehicle");
///     application.getField("Road Vehicle.Inputs.Force").set(3000.0);
///     application.step(120);
///     EXPECT_NEAR(application.getField("Road Vehicle.Outputs.Speed").toReal(), 4.0, 1e-9);
///     EXPECT_EQ(application.explainReplay(60, 60), "");
///     EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), IsEmpty());
///
/// A request that cannot be met throws std::runtime_error, whose text names what exists instead.
/// Thread: the application thread. One at a time in a process. Ownership: owns the application and the clock.
class KR_API TestApplication {
public:
    /// Simulates, without modules and content.
    /// \param frameRateHz  frames for each second of simulated time, 0.1 to 100,000.
    explicit TestApplication(double frameRateHz = 60.0);
    TestApplication(const TestApplication&) = delete;
    TestApplication& operator=(const TestApplication&) = delete;
    ~TestApplication();

    /// Borrowed: valid as long as this object.
    [[nodiscard]] KrSim::KrApplication& getApplication() const noexcept { return _check.getApplication(); }
    /// The clock of application and events; step advances it.
    [[nodiscard]] Kr::ManualClock& getClock() const noexcept { return _check.getClock(); }

    // --- Setup -----------------------------------------------------------------------------------------------------
    /// Loads the plug-in from the directory and inserts one module of each of its module types.
    /// \param plugin  base name of the file, without ".krp".
    void usePlugin(const std::string& directory, const std::string& plugin);
    /// Makes an extension of a registered type and adds it to the content, or inserts it as a module.
    /// \param type  "Simulation.Road Vehicle" or "Road Vehicle", where only one type has this name.
    /// \param name  of the extension; the name of the type when empty. A name that is already used gets a number.
    /// Borrowed: the application holds the extension.
    KrSim::KrExtension& add(const std::string& type, const std::string& name = {});
    /// The same with a class that is compiled into the test.
    template <KrSim::KrImplementation T>
    T& make(const std::string& name) {
        const auto proxy = Kr::makeSmart<typename T::Proxy>();
        auto* implementation = new T(proxy.get());
        _add(*proxy, name);
        return *implementation;
    }

    // --- Frames ----------------------------------------------------------------------------------------------------
    /// See ReplayCheck::step.
    bool step(std::uint32_t frames = 1) { return _check.step(frames); }

    // --- Results ---------------------------------------------------------------------------------------------------
    /// A field of content or of a module, by the path that krsim prints and records: "Car/Vehicle.Outputs.Speed".
    [[nodiscard]] KrData::FieldBase& getField(const std::string& path) const;
    /// See ReplayCheck: empty when a run that continues from a snapshot equals the first run.
    [[nodiscard]] std::string explainReplay(std::uint32_t framesBefore, std::uint32_t framesReplayed) {
        return _check.explain(framesBefore, framesReplayed);
    }
    /// Runs so many frames and keeps all values after each frame, for comparison with the record of another
    /// application. The record ends with the frame in which the application stops.
    [[nodiscard]] KrPersistence::RunRecord record(std::uint32_t frames);

private:
    void _add(KrSim::KrExtension& extension, const std::string& name) const;
    [[nodiscard]] std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> _getExtensions() const;

    KrPersistence::ReplayCheck _check;
};

}  // namespace KrTesting
