#include "kr/application/modules/simulator_module_sequence.h"

#include <algorithm>

#include "kr/application/context/application_context.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/internal/module_guards.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/smart_interface.h"
#include "kr/platform/profiling.h"

namespace KrSim {

namespace {

/// A pass: the call of a module, its place in the order and what is logged when it throws.
struct PassCall {
    void (KrSimulatorModule::*call)(eApplicationMode);
    int (KrSimulatorModule::*priority)() const noexcept;
    const Kr::GuardTexts& texts;
};

constexpr PassCall kPasses[] = {
    {&KrSimulatorModule::preUpdate, &KrSimulatorModule::getPreUpdatePriority, detail::kPreUpdatePass},
    {&KrSimulatorModule::update, &KrSimulatorModule::getUpdatePriority, detail::kUpdatePass},
    {&KrSimulatorModule::postUpdate, &KrSimulatorModule::getPostUpdatePriority, detail::kPostUpdatePass},
};

}  // namespace

KrSimulatorModuleSequence::KrSimulatorModuleSequence() = default;
KrSimulatorModuleSequence::~KrSimulatorModuleSequence() = default;

bool KrSimulatorModuleSequence::_contains(const KrSimulatorModule* module) const {
    const auto& modules = (*_lists)[kUpdate];
    return std::any_of(modules.begin(), modules.end(), [&](const auto& each) { return each.get() == module; });
}

bool KrSimulatorModuleSequence::insert(const KrSmartInterface<ISimulatorModule>& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> inserted(module ? module->_getModuleProxy() : nullptr);
    if (!inserted || _contains(inserted.get())) return false;
    if (!inserted->hasName()) inserted->setName(nullptr);
    auto& lists = _lists.edit();
    for (auto& list : lists)
        list.reserve(list.size() + 1);
    for (std::size_t pass = 0; pass < lists.size(); ++pass) {
        const auto priority = kPasses[pass].priority;
        lists[pass].push_back(inserted);
        std::stable_sort(lists[pass].begin(), lists[pass].end(), [&](const auto& left, const auto& right) {
            return (*left.*priority)() < (*right.*priority)();
        });
    }
    return true;
}

bool KrSimulatorModuleSequence::remove(const KrSmartInterface<ISimulatorModule>& module) {
    // Held until the lists are whole again: its destructor is code of others.
    const Kr::KrSmartPtr<KrSimulatorModule> removed(module ? module->_getModuleProxy() : nullptr);
    if (!removed || !_contains(removed.get())) return false;
    for (auto& list : _lists.edit())
        std::erase(list, removed);
    return true;
}

template <KrSimulatorModuleSequence::Pass pass>
void KrSimulatorModuleSequence::_run(const ApplicationContext& context) const {
    constexpr auto& called = kPasses[pass];
    const auto mode = context.getApplicationMode();
    const auto walked = _lists.read();
    for (const auto& module : (*walked)[pass]) {
        if (!_lists.isCurrent(walked) && !_contains(module.get())) continue;
        const Kr::ProfilingSection section("Modules", [&]() -> const std::string& { return module->getName(); });
        Kr::callGuardedUnrecorded(
            called.texts, [&] { return module->getName(); }, [&] { (*module.*called.call)(mode); }, module.get());
    }
}

void KrSimulatorModuleSequence::preUpdate(const ApplicationContext& context) const {
    _run<kPreUpdate>(context);
}
void KrSimulatorModuleSequence::update(const ApplicationContext& context) const {
    _run<kUpdate>(context);
}
void KrSimulatorModuleSequence::postUpdate(const ApplicationContext& context) const {
    _run<kPostUpdate>(context);
}

void KrSimulatorModuleSequence::fillSimulationState(const Kr::KrSmartPtr<KrSimulationState>& state) const {
    const auto walked = _lists.read();
    for (const auto& module : (*walked)[kUpdate])
        module->fillSimulationState(state);
}

std::size_t KrSimulatorModuleSequence::getModuleCount() const noexcept {
    return (*_lists)[kUpdate].size();
}

KrSimulatorModule* KrSimulatorModuleSequence::getModule(std::size_t index) const noexcept {
    const auto& modules = (*_lists)[kUpdate];
    return index < modules.size() ? modules[index].get() : nullptr;
}

}  // namespace KrSim
