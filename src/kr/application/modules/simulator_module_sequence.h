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

/// The modules of an application in the calling order of each pass: by their priority in that pass, lower ones
/// first, equal ones in the order of their insertion.
///
/// A pass may insert and remove modules, also the running one: a removed module is not called any more, an inserted one
/// takes part in the next pass.
/// Thread: application.
/// Ownership: holds its modules; one that is removed during a pass lives until the pass ends.
class KR_API KrSimulatorModuleSequence {
public:
    KrSimulatorModuleSequence();
    KrSimulatorModuleSequence(const KrSimulatorModuleSequence&) = delete;
    KrSimulatorModuleSequence& operator=(const KrSimulatorModuleSequence&) = delete;
    ~KrSimulatorModuleSequence();

    /// Gives an unnamed module its default name. False for null and for a module of this sequence.
    bool insert(const KrSmartInterface<ISimulatorModule>& module);
    /// False for a module that is not in the sequence.
    bool remove(const KrSmartInterface<ISimulatorModule>& module);

    // --- The passes: call each module with the mode of the application, Editing without one. An exception is logged as
    // a warning, and the other modules are still called. No allocation.
    void preUpdate(const ApplicationContext& context) const;
    /// After preUpdate of all modules.
    void update(const ApplicationContext& context) const;
    /// After update of all modules.
    void postUpdate(const ApplicationContext& context) const;

    /// Adds the states of all modules. Ignores null.
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

    Kr::CopyOnWrite<Lists> _lists;  // keeps the list of a pass unchanged
};

}  // namespace KrSim
