#include "kr/application/modules/module_of.h"

#include <utility>

#include "kr/application/context/application_context.h"
#include "kr/application/modules/internal/module_guards.h"

namespace KrSim::detail {

const Kr::GuardTexts kUnitStepTexts = kOnStep;
const Kr::GuardTexts kUnitWorkTexts = kOnUnitWork;

UnitModule::~UnitModule() = default;

void UnitModule::onExtensionAdded(KrExtension* extension) {
    if (_findUnit(*extension) != nullptr) _addManagedExtension(extension);
}

void UnitModule::onExtensionRemoved(KrExtension* extension) {
    for (auto& each : _units) {
        if (_walks == 0) break;  // the next walk makes the list anew
        if (each.extension != extension) continue;
        _removed.emplace_back(extension);
        each = {};
    }
    _removeManagedExtension(extension);
}

void UnitModule::onUpdate(eApplicationMode mode) {
    const double seconds = _getStepSeconds(mode);
    if (seconds > 0.0) _stepAll(seconds);
}

double UnitModule::_getStepSeconds(eApplicationMode mode) const {
    return mode == eApplicationMode::kSimulating ? getApplicationContext().getStepSeconds() : 0.0;
}

Kr::GuardedPair UnitModule::_namesOf(const KrExtension& extension) const {
    return {extension.getName(), getName()};
}

void UnitModule::_findAgain() {
    _replaced = replacedImplementations.load(std::memory_order_relaxed);
    for (auto& each : _units) {
        if (each.extension != nullptr) each.unit = _findUnit(*each.extension);
    }
}

void UnitModule::_bringUpToDate() {
    // False meanwhile: should memory run out, the next walk makes the list anew.
    const bool wasUpToDate = std::exchange(_isUpToDate, false);
    const bool isOther = _sortManagedExtensions() || !wasUpToDate;
    if (isOther) _listUnits();
    _isUpToDate = true;
}

void UnitModule::_listUnits() {
    const auto& managed = getManagedExtensions();
    _units.clear();
    _units.reserve(managed.size());
    for (const auto& each : managed) {
        if (each) _units.push_back({each.get(), nullptr});
    }
    _findAgain();
}

UnitWalk::UnitWalk(UnitModule& module) : _module(module) {
    if (_module._walks == 0) _module._bringUpToDate();
    ++_module._walks;
}

UnitWalk::~UnitWalk() {
    if (--_module._walks > 0) return;
    const auto removed = std::exchange(_module._removed, {});  // their destructors may begin another walk
}

}  // namespace KrSim::detail
