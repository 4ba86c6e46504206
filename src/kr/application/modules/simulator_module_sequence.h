#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "kr/application/context/fwd.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/copy_on_write.h"

namespace KrSim {

/// The modules of an application in the order in which each pass calls them: by the priority for that pass, lower ones
/// first, equal ones in the order of their insertion.
///
/// A pass may insert and remove modules, itself included: one that is removed is not called any more, one that is
/// inserted takes part in the next pass.
/// Thread: the application thread.
/// Ownership: holds its modules; one that is removed during a pass lives until the pass ends.
class KR_API KrSimulatorModuleSequence {
public:
    KrSimulatorModuleSequence();
    KrSimulatorModuleSequence(const KrSimulatorModuleSequence&) = delete;
    KrSimulatorModuleSequence& operator=(const KrSimulatorModuleSequence&) = delete;
    ~KrSimulatorModuleSequence();

    /// Gives a module without a name its default name. False for null and for a module that is here already.
    bool insert(const KrSmartInterface<ISimulatorModule>& module);
    /// False when it is not here.
    bool remove(const KrSmartInterface<ISimulatorModule>& module);

    // --- The passes: call each module with the mode of the application, Editing without one. One that throws is logged
    // as a warning, and the others are called all the same. No allocation.
    void preUpdate(const ApplicationContext& context) const;
    void update(const ApplicationContext& context) const;
    void postUpdate(const ApplicationContext& context) const;

    /// Adds the states of all modules. Null is ignored.
    void fillSimulationState(const Kr::KrSmartPtr<KrSimulationState>& state) const;

    [[nodiscard]] std::size_t getModuleCount() const noexcept;
    /// In the order of the update pass; null past the end. Borrowed.
    [[nodiscard]] KrSimulatorModule* getModule(std::size_t index) const noexcept;

private:
    enum Pass : std::size_t { kPreUpdate, kUpdate, kPostUpdate };
    using Modules = std::vector<Kr::KrSmartPtr<KrSimulatorModule>>;
    using Lists = std::array<Modules, 3>;

    template <Pass pass>
    void _run(const ApplicationContext& context) const;
    [[nodiscard]] bool _contains(const KrSimulatorModule* module) const;

    Kr::CopyOnWrite<Lists> _lists;  // a pass keeps what it walks over
};

}  // namespace KrSim
