#include "kr/application/modules/module_of.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kr/application/context/application_context.h"
#include "kr/application/context/application_state.h"
#include "kr/application/context/context_access.h"
#include "kr/application/modules/internal/module_guards.h"
#include "kr/core/connections/step_boundary.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

const Kr::GuardTexts kUnitStepTexts = kOnStep;
const Kr::GuardTexts kUnitWorkTexts = kOnUnitWork;

namespace {

/// Of a step of several frames; less is the rounding of times.
constexpr double kRounding = 1e-9;
/// Of a frame; a step that ends so soon ends now. Less is the rounding of times.
constexpr double kNow = 1e-6;

/// Also for NaN.
bool isSame(double one, double another) noexcept {
    return one == another || (std::isnan(one) && std::isnan(another));
}

/// Knows the rate of its group.
class GroupBoundary final : public Kr::StepBoundary {
public:
    explicit GroupBoundary(const StepGroup& group) : _group(group) {}

    double getSecondsAhead(const Kr::StepTime& frame) const override {
        if (_group.isRefused) return 0.0;
        const double ahead =
            _group.until ? *_group.until - frame.begin : _group.rate.getSecondsAhead(frame.begin, frame.seconds);
        return ahead > kNow * frame.seconds ? ahead : 0.0;
    }

private:
    const StepGroup& _group;
};

}  // namespace

StepGroup::StepGroup() : boundary(std::make_unique<GroupBoundary>(*this)) {}

StepGroup::~StepGroup() = default;

StepRate StepGroup::getWantedRate() const {
    if (!choice) return rate;
    const double hz = choice->get();
    return hz == 0.0 ? declared : StepRate::hertz(hz, declared.getRest());
}

UnitModule::UnitModule(KrSimulatorModule* proxy, int version) : ISimulatorModule(proxy, version), _groups(1) {}

UnitModule::UnitModule(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate)
    : ISimulatorModule(proxy, version, preUpdate, update, postUpdate), _groups(1) {}

UnitModule::~UnitModule() {
    for (const auto& each : getManagedExtensions())
        if (each) _leaveBoundary(*each);
}

void UnitModule::onExtensionAdded(KrExtension* extension) {
    auto* unit = _findUnit(*extension);
    if (unit == nullptr) return;
    _addManagedExtension(extension);
    // Before the first step: connections across rates need it at the beginning of the frame.
    _setBoundary({extension, unit}, _groups[std::min(_findGroup(unit), _groups.size() - 1)]);
}

void UnitModule::onExtensionRemoved(KrExtension* extension) {
    for (auto& each : _units) {
        if (_walks == 0) break;  // the next walk makes the list anew
        if (each.extension != extension) continue;
        _removed.emplace_back(extension);
        each = {};
    }
    _leaveBoundary(*extension);
    _removeManagedExtension(extension);
}

void UnitModule::onUpdate(eApplicationMode mode) {
    const double seconds = _getStepSeconds(mode);
    if (seconds > 0.0) return _stepAll(seconds);
    if (mode != eApplicationMode::kEditing) return;
    for (auto& group : _groups)
        group.boundary->endStep();
}

const ApplicationContext& UnitModule::_getContext() const {
    static const auto& none = *new ApplicationContext;
    const KrExtension* proxy = _getProxy();
    return proxy != nullptr ? proxy->getFieldsContainer().getApplicationContext() : none;
}

double UnitModule::_getStepSeconds(eApplicationMode mode) const {
    return mode == eApplicationMode::kSimulating ? _getContext().getStepSeconds() : 0.0;
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
    _arrangeGroups();
}

void UnitModule::_arrangeGroups() {
    if (_groups.size() > 1) {
        const auto groupOf = [this](const ManagedUnit& each) {
            return std::min(_findGroup(each.unit), _groups.size() - 1);
        };
        std::stable_sort(_units.begin(), _units.end(), [&](const ManagedUnit& left, const ManagedUnit& right) {
            return groupOf(left) < groupOf(right);
        });
        auto place = _units.begin();
        for (std::size_t i = 0; i < _groups.size(); ++i) {
            _groups[i].begin = static_cast<std::size_t>(place - _units.begin());
            place = std::find_if(place, _units.end(), [&](const ManagedUnit& each) { return groupOf(each) > i; });
            _groups[i].end = static_cast<std::size_t>(place - _units.begin());
        }
    } else {
        _groups.front().end = _units.size();
    }
    _setBoundaries();
}

// --- Connections among the units of a group ------------------------------------------------------------------------

/// A unit that several modules step stays with the first.
void UnitModule::_setBoundaries() {
    for (std::size_t i = 0; i < _groups.size(); ++i) {
        for (const auto& each : _currentUnits(i))
            _setBoundary(each, _groups[i]);
    }
}

void UnitModule::_setBoundary(const ManagedUnit& unit, const StepGroup& group) {
    auto& fields = unit.extension->getFieldsContainer();
    const auto* before = FieldsAccess::getStepBoundary(fields);
    if (before == nullptr || _isOwnBoundary(before))
        FieldsAccess::setStepBoundary(fields, unit.unit != nullptr ? group.boundary.get() : nullptr);
}

bool UnitModule::_isOwnBoundary(const Kr::StepBoundary* boundary) const noexcept {
    return std::any_of(_groups.begin(), _groups.end(),
                       [&](const auto& group) { return group.boundary.get() == boundary; });
}

void UnitModule::_leaveBoundary(KrExtension& extension) {
    auto& fields = extension.getFieldsContainer();
    if (_isOwnBoundary(FieldsAccess::getStepBoundary(fields))) FieldsAccess::setStepBoundary(fields, nullptr);
}

// --- Rates ---------------------------------------------------------------------------------------------------------

std::size_t UnitModule::addStepGroup(const std::string& name, const StepRate& rate) {
    _groups.emplace_back().name = name;
    regroupUnits();
    setStepRate(rate, _groups.size() - 1);
    return _groups.size() - 1;
}

bool UnitModule::setStepRate(const StepRate& rate, std::size_t number) {
    auto& group = _groups.at(number);
    const double frameRateHz = _getContext().getSimulationFrameRate();
    if (const auto reason = rate.explainRefusal(frameRateHz); !reason.empty()) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrSimulatorModule: '%s' keeps its rate of steps%s%s: %s\n",
                       getName().c_str(), group.name.empty() ? "" : " of group ", group.name.c_str(), reason.c_str());
        return false;
    }
    group.rate = rate;
    group.testedRateHz = 0.0;
    group.isRefused = false;
    if (rate.plan(0, 0.0, 1.0).stepSeconds > 1.0 && !group.until) {
        group.until.emplace(
            this, group.name.empty() ? "StepsUntil" : ("StepsUntil " + group.name).c_str(),
            FieldOptions<double>{
                .value = -1.0, .dimension = Kr::kTime, .description = "Simulated time up to which its units are."});
    }
    return true;
}

void UnitModule::addRateParameter(const char* name, std::size_t number) {
    auto& group = _groups.at(number);
    group.choice.emplace(
        this, name,
        FieldOptions<double>{.min = 0.0,
                             .dimension = Kr::kFrequency,
                             .description = "Steps in a second of simulated time; 0: as the module declares."});
    group.declared = group.rate;
}

/// A choice that is refused leaves the rate as it is.
void UnitModule::_takeChoice(StepGroup& group) {
    group.chosenHz = group.choice->get();
    const auto number = static_cast<std::size_t>(
        std::find_if(_groups.begin(), _groups.end(), [&](const auto& each) { return &each == &group; }) -
        _groups.begin());
    setStepRate(group.getWantedRate(), number);
}

/// A rate that does not divide the first frame rate is refused; one that no longer divides carries the rest.
void UnitModule::_testRate(StepGroup& group, double frameRateHz) const {
    const bool isFirst = group.testedRateHz == 0.0 || group.isRefused;
    group.testedRateHz = frameRateHz;
    group.isRefused = false;
    if (group.rate.getRest() == StepRate::eRest::kCarried || group.rate.divides(frameRateHz)) return;
    group.isRefused = isFirst;
    Kr::logMessage(Kr::eLogLevel::kWarn, "KrSimulatorModule: '%s' %s%s%s: %s\n", getName().c_str(),
                   isFirst ? "does not step its units" : "has frames with different numbers of steps from now on",
                   group.name.empty() ? "" : " of group ", group.name.c_str(), group.rate.explain(frameRateHz).c_str());
}

StepRate::Steps UnitModule::_planSteps(StepGroup& group) {
    if (group.choice && !isSame(group.choice->get(), group.chosenHz)) _takeChoice(group);
    const auto& context = _getContext();
    const double frameSeconds = context.getStepSeconds();
    if (const double rateHz = 1.0 / frameSeconds; rateHz != group.testedRateHz) _testRate(group, rateHz);
    if (group.isRefused) return {};
    const double now = context.getSimulatedSeconds();
    auto steps = group.rate.plan(context.getFrame(), now, frameSeconds);
    if (!group.until || steps.count == 0 || steps.stepSeconds <= frameSeconds) return steps;
    // A step that began at another frame rate was too short or too long for its frames: that is made good.
    const double end = now + steps.stepSeconds;
    const double ahead = *group.until - now;
    const bool isNear = *group.until >= 0.0 && std::abs(ahead) < steps.stepSeconds;
    if (isNear && std::abs(ahead) > kRounding * steps.stepSeconds) steps.stepSeconds -= ahead;
    *group.until = end;
    return steps;
}

GroupSteps::GroupSteps(UnitModule& module, std::size_t group)
    : _module(module),
      _boundary(*module._groups[group].boundary),
      _steps(module._planSteps(module._groups[group])),
      _frameSeconds(module._getContext().getSimulatedSeconds()),
      _frameStepSeconds(module._getContext().getStepSeconds()) {}

GroupSteps::~GroupSteps() {
    if (_begun != 0) _show(_frameSeconds, _frameStepSeconds);
}

bool GroupSteps::next() {
    if (_begun != 0) _boundary.endStep();
    if (_begun == _steps.count) return false;
    const double sinceFirst = static_cast<double>(_begun) * _steps.stepSeconds;
    const double begin = _steps.firstSeconds + sinceFirst;
    _show(begin, _steps.stepSeconds);
    _boundary.beginStep({begin, _steps.stepSeconds, _steps.firstSeconds - _frameSeconds + sinceFirst});
    ++_begun;
    return true;
}

void GroupSteps::_show(double simulatedSeconds, double stepSeconds) const noexcept {
    const auto& state = ContextAccess::getState(_module._getContext());
    if (!state) return;
    state->simulatedSeconds = simulatedSeconds;
    state->stepSeconds = stepSeconds;
}

// --- Walks ---------------------------------------------------------------------------------------------------------

UnitWalk::UnitWalk(UnitModule& module) : _module(module) {
    if (_module._walks == 0) _module._bringUpToDate();
    ++_module._walks;
}

UnitWalk::~UnitWalk() {
    if (--_module._walks > 0) return;
    const auto removed = std::exchange(_module._removed, {});  // their destructors may begin another walk
}

}  // namespace KrSim::detail
