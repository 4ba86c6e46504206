#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kr/application/context/application_modes.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/step_rate.h"
#include "kr/extension/extension.h"
#include "kr/extension/implementation_changes.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/export.h"
#include "kr/platform/guard.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace detail {

/// A managed extension with its implementation as the type of the module.
struct ManagedUnit {
    KrExtension* extension{nullptr};
    void* unit{nullptr};  // null when the implementation is of another type
};

/// The units of one rate.
struct KR_API StepGroup {
    StepGroup();
    StepGroup(const StepGroup&) = delete;
    StepGroup& operator=(const StepGroup&) = delete;
    ~StepGroup();

    std::string name;
    StepRate rate;
    double testedRateHz{0.0};  // the frame rate for which `isRefused` was found; 0 before the first step
    bool isRefused{false};
    std::size_t begin{0};  // of its units in the list
    std::size_t end{0};
    /// Of a step of several frames: the simulated time up to which its units are; below 0 before the first step.
    std::optional<Output<double>> until;
    std::optional<Parameter<double>> choice;  // of content, in Hz
    double chosenHz{0.0};                     // the one that was taken
    StepRate declared;                        // without a choice
    /// That of the choice, if there is one, even one that is refused.
    [[nodiscard]] StepRate getWantedRate() const;
    std::unique_ptr<Kr::StepBoundary> boundary;  // of the connections among its units
};

/// The log lines when a step, or other work on a unit, throws.
KR_API extern const Kr::GuardTexts kUnitStepTexts;
KR_API extern const Kr::GuardTexts kUnitWorkTexts;

/// The part of ModuleOf that is independent of the type: keeps the list of units in execution order, and allows adding
/// and removing units during a walk over it. Its names begin with an underscore, to hide no names of derived classes.
/// Thread: application. Ownership: holds the managed extensions.
class KR_API UnitModule : public ISimulatorModule {
public:
    void onExtensionAdded(KrExtension* extension) override;
    void onExtensionRemoved(KrExtension* extension) override;
    void onUpdate(eApplicationMode mode) final;

protected:
    UnitModule(KrSimulatorModule* proxy, int version);
    UnitModule(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate);
    ~UnitModule() override;

    /// See ModuleOf.
    std::size_t addStepGroup(const std::string& name, const StepRate& rate);
    bool setStepRate(const StepRate& rate, std::size_t group = 0);
    [[nodiscard]] const StepRate& getStepRate(std::size_t group = 0) const { return _groups.at(group).rate; }
    void addRateParameter(const char* name, std::size_t group = 0);
    void regroupUnits() noexcept { _isUpToDate = false; }

    /// By group, and in each in execution order. The unit is null for an extension that was removed during the walk,
    /// and for one whose implementation is of another type.
    [[nodiscard]] std::span<ManagedUnit> _currentUnits() noexcept { return _units; }
    [[nodiscard]] std::span<ManagedUnit> _currentUnits(std::size_t group) noexcept {
        return std::span(_units).subspan(_groups[group].begin, _groups[group].end - _groups[group].begin);
    }
    [[nodiscard]] std::size_t _getGroupCount() const noexcept { return _groups.size(); }
    /// Whether an implementation was replaced. Does not read each extension: half of the memory of a walk.
    [[nodiscard]] bool _isOutdated() const noexcept {
        return replacedImplementations.load(std::memory_order_relaxed) != _replaced;
    }
    void _findAgain();
    [[nodiscard]] Kr::GuardedPair _namesOf(const KrExtension& extension) const;
    /// Seconds that the frame simulates; 0 when no unit is to be stepped.
    [[nodiscard]] double _getStepSeconds(eApplicationMode mode) const;

private:
    friend class UnitWalk;
    friend class GroupSteps;
    friend struct StepRateCheck;

    /// The implementation of the extension as a unit; null when it is none.
    [[nodiscard]] virtual void* _findUnit(const KrExtension& extension) const = 0;
    /// The group of a unit; 0 for one that does not exist.
    [[nodiscard]] virtual std::size_t _findGroup(const void* unit) const = 0;
    virtual void _stepAll(double seconds) = 0;
    /// Of the proxy, not held: nothing that uses it may outlive the proxy.
    [[nodiscard]] const ApplicationContext& _getContext() const;
    [[nodiscard]] StepRate::Steps _planSteps(StepGroup& group);
    void _takeChoice(StepGroup& group);
    void _testRate(StepGroup& group, double frameRateHz) const;
    void _arrangeGroups();

    // Only this class manages extensions, always in order.
    using ISimulatorModule::_addManagedExtension;
    using ISimulatorModule::_removeManagedExtension;
    using ISimulatorModule::_sortManagedExtensions;

    void _bringUpToDate();
    void _listUnits();
    void _setBoundaries();
    void _setBoundary(const ManagedUnit& unit, const StepGroup& group);
    [[nodiscard]] bool _isOwnBoundary(const Kr::StepBoundary* boundary) const noexcept;
    void _leaveBoundary(KrExtension& extension);

    std::deque<StepGroup> _groups;  // at least one; they keep their places
    std::vector<ManagedUnit> _units;
    bool _isUpToDate{false};
    std::uint32_t _replaced{0};                         // value of replacedImplementations when the units were found
    std::vector<Kr::KrSmartPtr<KrExtension>> _removed;  // during walks; alive until the last one ends
    int _walks{0};
};

/// Keeps the list of units unchanged during its lifetime, except that removed units become null. The outermost
/// walk brings the list up to date first, in execution order.
class KR_API UnitWalk {
public:
    explicit UnitWalk(UnitModule& module);
    UnitWalk(const UnitWalk&) = delete;
    UnitWalk& operator=(const UnitWalk&) = delete;
    ~UnitWalk();

private:
    UnitModule& _module;
};

/// The steps of a group in this frame: during each the context shows the time and the length of the step. At the end of
/// each, unit delays transfer.
class KR_API GroupSteps {
public:
    GroupSteps(UnitModule& module, std::size_t group);
    GroupSteps(const GroupSteps&) = delete;
    GroupSteps& operator=(const GroupSteps&) = delete;
    ~GroupSteps();

    /// Begins the next step; false after the last one.
    [[nodiscard]] bool next();
    [[nodiscard]] double getSeconds() const noexcept { return _steps.stepSeconds; }

private:
    void _show(double simulatedSeconds, double stepSeconds) const noexcept;

    UnitModule& _module;
    Kr::StepBoundary& _boundary;
    StepRate::Steps _steps;
    std::uint64_t _begun{0};
    double _frameSeconds;  // simulated time at the beginning of the frame
    double _frameStepSeconds;
};

}  // namespace detail

/// Base of a module that simulates all extensions whose implementation is a T: it manages them, keeps them in execution
/// order and steps each once in a frame, or at the rate of its group.
///
///     class RoadTraffic final : public KrSim::ModuleOf<RoadVehicle> {
///     public:
///         static constexpr int kVersion = 1;
///         explicit RoadTraffic(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {}
///
///         void onStep(RoadVehicle& vehicle, double seconds) override { vehicle.step(seconds); }
///     };
///
/// Put other work of a frame into onPreUpdate and onPostUpdate, with stepEach or forEach. An override of
/// onExtensionAdded or onExtensionRemoved must call the function of ModuleOf. An exception during the work on one unit
/// is logged as a warning that names its extension and the module; the other units are still processed.
///
/// Rates: setStepRate and addStepGroup, in the constructor; docs/rates.md.
///
/// Units may be added and removed during a walk over them: an added unit is part of the next walk, a removed unit is
/// skipped and lives until the walk ends.
/// Thread: application. A frame without changes of units and connections allocates nothing. Ownership: holds the
/// managed extensions.
///
/// \tparam T  class of the implementations, or a base of them that need not derive from IExtension. Must be complete.
template <class T>
class ModuleOf : public detail::UnitModule {
protected:
    /// See ISimulatorModule: the version of the saved data, and priorities in the three passes.
    ModuleOf(KrSimulatorModule* proxy, int version) : UnitModule(proxy, version) {}
    ModuleOf(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate)
        : UnitModule(proxy, version, preUpdate, update, postUpdate) {}

    /// Adds a group of units with a rate of its own, beside group 0, which all units are in by default. Each group
    /// makes all of its steps of a frame before the next group does, in the order of their numbers. \param name  for
    /// messages, and in the name of an output of a group of everyFrames: do not change it. \return the number of the
    /// group.
    using UnitModule::addStepGroup;
    /// The rate of a group from the next frame on. False, with a warning that names the nearest rates, and nothing
    /// changes, when it is not valid, or does not divide the frame rate of the application and carries no rest.
    using UnitModule::getStepRate;
    /// In the constructor, after the rate was set: declares a parameter by which content chooses the rate of a group in
    /// Hz; 0 leaves the rate that was set. A choice that is refused, with a warning, leaves the rate as it is.
    using UnitModule::addRateParameter;
    using UnitModule::setStepRate;
    /// The groups of all units are asked for again before the next walk.
    using UnitModule::regroupUnits;
    /// The number of the group of a unit; 0 by default. Asked when units are added or change their order.
    [[nodiscard]] virtual std::size_t findStepGroup([[maybe_unused]] const T& unit) const { return 0; }

    /// Simulates one unit: in the update pass of each frame in simulating mode, sources of connections before their
    /// sinks, as often as the rate of its group says. Not called in other modes, while the application is paused, and
    /// without an application. During the call the context has the time and the length of this step.
    /// \param seconds  simulated time of the step, above 0: the time step of the application, unless its group has a
    ///                 rate of its own.
    virtual void onStep(T& unit, double seconds) = 0;
    /// Before the first and after the last onStep of a frame, with the time step of the application, also without
    /// units: for work on all units together. An exception of onBeforeSteps skips the steps of the frame.
    virtual void onBeforeSteps([[maybe_unused]] double seconds) {}
    virtual void onAfterSteps([[maybe_unused]] double seconds) {}

    /// Calls work(T& unit) for each unit in execution order, in any mode. Walks may be nested.
    template <class Work>
    void forEach(const Work& work) {
        _walk(detail::kUnitWorkTexts, work, [this] { return _currentUnits(); });
    }
    /// Calls work(T& unit, double seconds) in the same way, but only in frames in which onStep is called. For
    /// onPreUpdate and onPostUpdate, with their mode.
    template <class Work>
    void stepEach(eApplicationMode mode, const Work& work) {
        const double seconds = _getStepSeconds(mode);
        if (seconds > 0.0) forEach([&](T& unit) { work(unit, seconds); });
    }

private:
    [[nodiscard]] void* _findUnit(const KrExtension& extension) const final {
        return extension.template getImplementationAs<T>();
    }
    [[nodiscard]] std::size_t _findGroup(const void* unit) const final {
        return unit != nullptr ? findStepGroup(*static_cast<const T*>(unit)) : 0;
    }
    void _stepAll(double seconds) final {
        onBeforeSteps(seconds);
        for (std::size_t group = 0; group < _getGroupCount(); ++group) {
            detail::GroupSteps steps(*this, group);
            while (steps.next()) {
                const double stepSeconds = steps.getSeconds();
                _walk(
                    detail::kUnitStepTexts, [&](T& unit) { onStep(unit, stepSeconds); },
                    [&] { return _currentUnits(group); });
            }
        }
        onAfterSteps(seconds);
    }
    template <class Work, class Units>
    void _walk(const Kr::GuardTexts& texts, const Work& work, const Units& units) {
        const detail::UnitWalk walk(*this);
        for (auto& each : units()) {  // keeps its place during a walk
            if (_isOutdated()) _findAgain();
            if (each.unit == nullptr) continue;
            // Held by the module; each.extension becomes null when the work removes it.
            const KrExtension* extension = each.extension;
            // Reports of crashes name the module only: recording each call would take half as long as the walk.
            Kr::callGuardedUnrecorded(
                texts, [&] { return _namesOf(*extension); }, [&] { work(*static_cast<T*>(each.unit)); }, extension);
        }
    }
};

}  // namespace KrSim
