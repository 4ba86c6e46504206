#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "kr/application/context/application_modes.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/extension/extension.h"
#include "kr/extension/implementation_changes.h"
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
    using ISimulatorModule::ISimulatorModule;
    ~UnitModule() override;

    /// In execution order. The unit is null for an extension that was removed during the walk, and for one whose
    /// implementation is of another type.
    [[nodiscard]] std::span<ManagedUnit> _currentUnits() noexcept { return _units; }
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

    /// The implementation of the extension as a unit; null when it is none.
    [[nodiscard]] virtual void* _findUnit(const KrExtension& extension) const = 0;
    virtual void _stepAll(double seconds) = 0;

    // Only this class manages extensions, always in order.
    using ISimulatorModule::_addManagedExtension;
    using ISimulatorModule::_removeManagedExtension;
    using ISimulatorModule::_sortManagedExtensions;

    void _bringUpToDate();
    void _listUnits();

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

}  // namespace detail

/// Base of a module that simulates all extensions whose implementation is a T: it manages them, keeps them in execution
/// order and steps each once in a frame.
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

    /// Simulates one unit: in the update pass of each frame in simulating mode, sources of connections before their
    /// sinks. Not called in other modes, while the application is paused, and without an application.
    /// \param seconds  simulated time of the step, above 0: the time step of the application.
    virtual void onStep(T& unit, double seconds) = 0;
    /// Before the first and after the last onStep of a frame, also without units: for work on all units together. An
    /// exception of onBeforeSteps skips the steps of the frame.
    virtual void onBeforeSteps([[maybe_unused]] double seconds) {}
    virtual void onAfterSteps([[maybe_unused]] double seconds) {}

    /// Calls work(T& unit) for each unit in execution order, in any mode. Walks may be nested.
    template <class Work>
    void forEach(const Work& work) {
        _walk(detail::kUnitWorkTexts, work);
    }
    /// Calls work(T& unit, double seconds) in the same way, but only in frames in which onStep is called. For
    /// onPreUpdate and onPostUpdate, with their mode.
    template <class Work>
    void stepEach(eApplicationMode mode, const Work& work) {
        const double seconds = _getStepSeconds(mode);
        if (seconds > 0.0) _walk(detail::kUnitWorkTexts, [&](T& unit) { work(unit, seconds); });
    }

private:
    [[nodiscard]] void* _findUnit(const KrExtension& extension) const final {
        return extension.template getImplementationAs<T>();
    }
    void _stepAll(double seconds) final {
        onBeforeSteps(seconds);
        _walk(detail::kUnitStepTexts, [&](T& unit) { onStep(unit, seconds); });
        onAfterSteps(seconds);
    }
    template <class Work>
    void _walk(const Kr::GuardTexts& texts, const Work& work) {
        const detail::UnitWalk walk(*this);
        for (auto& each : _currentUnits()) {  // keeps its place during a walk
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
