#include "kr/persistence/states/internal/state_restorer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/object.h"
#include "kr/extension/state_access.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrPersistence::detail {

using KrSim::KrExtension;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::StateAccess;

namespace {

constexpr Kr::GuardTexts kPriorityTexts{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' getRestoreStatePriority() [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' getRestoreStatePriority()\n", "getRestoreStatePriority"};

/// How often values are put back that observers of restored values have set.
constexpr int kMaximumRounds = 3;

template <class Entries>
void fetchAhead(const Entries& entries, std::size_t index, int steps) {
    StateAccess::fetchAhead(
        index, entries.size(), [&](std::size_t at) { return entries[at].state; }, steps);
}

}  // namespace

class StateRestorer::Matcher {
public:
    explicit Matcher(const KrSim::KrSimulationState& state) : _state(state), _states(state.getExtensionStates()) {}

    void add(KrExtension& extension, Entries& entries) {
        StateAccess::fetchAhead(
            _next, _states.size(), [&](std::size_t at) { return _states[at].get(); },
            KrSim::KrExtensionState::kStepsBeforeFields);
        const auto* state = _next < _states.size() ? _states[_next].get() : nullptr;
        if (state == nullptr || !StateAccess::isOf(*state, extension)) {
            state = _state.findExtensionState(extension.getContentID());
        }
        if (state == nullptr) state = _findOfItem(extension);
        if (state == nullptr) {
            ++untouched;
            return;
        }
        ++_next;
        entries.push_back({&extension, state});
    }

    /// Extensions that modules have added and that are no content.
    void addOthers(const KrSim::KrContentDispatcher& content, Entries& entries,
                   std::vector<Kr::KrSmartPtr<KrExtension>>& held) {
        for (const auto& state : _states) {
            if (!state->isAddedByModule()) continue;
            auto extension = KrSim::KrContentRegistry::instance().resolve(state->getContentID());
            if (!extension || content.contains(extension.get())) continue;
            entries.push_back({extension.get(), state.get()});
            held.push_back(std::move(extension));
        }
    }

    std::size_t untouched{0};

private:
    /// The state of the same item, which came from a file of another name, where there is no doubt.
    [[nodiscard]] const KrSim::KrExtensionState* _findOfItem(const KrExtension& extension) const {
        const auto* state = StateAccess::findStateOfItem(_state, extension.getContentID());
        if (state == nullptr) return nullptr;
        const auto meant = KrSim::KrContentRegistry::instance().resolve(state->getContentID());
        return meant.get() == &extension ? state : nullptr;
    }

    const KrSim::KrSimulationState& _state;
    const std::vector<Kr::KrSmartPtr<KrSim::KrExtensionState>>& _states;
    std::size_t _next{0};
};

StateRestorer::StateRestorer(KrSim::KrApplication& application, const KrSim::KrSimulationState& state)
    : _application(application), _state(state) {}

StateRestorer::~StateRestorer() {
    _giveBack();
}

// --- Collecting ----------------------------------------------------------------------------------------------------

void StateRestorer::_collectModules(Matcher& matcher, Priority priority) {
    for (std::size_t i = 0; i < _application.getModuleCount(); ++i) {
        const Kr::KrSmartPtr<KrExtension> module(_application.getModule(i));
        auto own = Priority::kWithContent;
        if (const auto* implementation = _application.getModule(i)->getModuleImplementation()) {
            Kr::callGuarded(
                kPriorityTexts, [&] { return module->getName(); },
                [&] { own = implementation->getRestoreStatePriority(); }, module.get());
        }
        if (own != priority) continue;
        matcher.add(*module, _all);
        _held.push_back(module);
    }
}

void StateRestorer::_collectContent(const KrSim::KrObject& object, Matcher& matcher) {
    const auto below = object.getExtensions();
    if (!below.empty()) _heldBelow.push_back(below);
    for (const auto& each : below) {
        matcher.add(*each, _all);
        if (each->isOfClassType(KrSim::KrObject::getClassType()))
            _collectContent(static_cast<const KrSim::KrObject&>(*each), matcher);
    }
}

// --- Before anything is touched ------------------------------------------------------------------------------------

void StateRestorer::_takeMemory(std::size_t first) {
    for (const auto& [extension, state] : Stage(_all).subspan(first)) {
        const auto count = ExtensionAccess::prepareRestore(*extension, *state, _resizes);
        _valueCount += count;
        if (_changedOutputs.capacity() < count) _changedOutputs.reserve(count);
    }
    _changed.reserve(_valueCount);
    _ranges.reserve(_all.size());
}

void StateRestorer::_keepStates() {
    Entries kept;
    kept.reserve(_all.size());
    for (const auto& each : _all) {
        const auto& state = _keptStates.emplace_back(Kr::makeSmart<KrSim::KrExtensionState>(*each.extension));
        ExtensionAccess::fillState(*each.extension, *state);
        kept.push_back({each.extension, state.get()});
    }
    _kept = std::move(kept);
}

void StateRestorer::_giveBack() noexcept {
    try {
        if (!_kept.empty()) _restoreStage(_kept);
    } catch (const std::bad_alloc&) {  // since their callbacks have changed their fields
        Kr::logMessage(Kr::eLogLevel::kWarn, "SimulationSnapshot: no memory to take back the restored modules\n");
    }
}

void StateRestorer::prepare() {
    Matcher matcher(_state);
    _collectModules(matcher, Priority::kBeforeContent);
    _contentBegin = _all.size();
    _takeMemory(0);
    _keepStates();
    _restoreStage(_all);

    // Not before: those modules may have made content.
    _collectContent(_application.getInternals().root, matcher);
    _collectModules(matcher, Priority::kWithContent);
    matcher.addOthers(_application.getContentDispatcher(), _all, _held);
    _contentEnd = _all.size();
    _collectModules(matcher, Priority::kAfterContent);
    _takeMemory(_contentBegin);
    _untouched = matcher.untouched;
}

// --- Restoring -----------------------------------------------------------------------------------------------------

void StateRestorer::restore(RestoreReport& report) {
    _kept.clear();
    _resizes.keep();
    const Stage all(_all);
    _restoreStage(all.subspan(_contentBegin, _contentEnd - _contentBegin));
    _restoreStage(all.subspan(_contentEnd));

    bool wasTold = _restoreValues(all, [this](const Entry& each) {
        ExtensionAccess::restorePositionsAndOutputs(*each.extension, *each.state, _changedOutputs);
    });
    for (int round = 1; wasTold && round < kMaximumRounds; ++round)
        wasTold = _restoreValues(all, [](const Entry&) {});

    const auto count = _state.getExtensionStates().size();
    report.restored = all.size();
    report.missing = count - std::min(count, all.size());
    report.untouched = _untouched;
    report.missingFields = _missingFields;
    report.isRestored = true;
}

template <class AfterEach>
bool StateRestorer::_restoreValues(Stage entries, const AfterEach& afterEach) {
    _ranges.clear();
    _changed.clear();
    _missingFields = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& each = entries[i];
        fetchAhead(entries, i, KrSim::KrExtensionState::kFetchSteps);
        const auto before = _changed.size();
        _missingFields += ExtensionAccess::restoreFieldValues(*each.extension, *each.state, _changed);
        if (_changed.size() != before) _ranges.push_back({each.extension, before});
        afterEach(each);
    }
    for (std::size_t i = 0; i < _ranges.size(); ++i) {
        const auto first = _ranges[i].first;
        const auto last = i + 1 < _ranges.size() ? _ranges[i + 1].first : _changed.size();
        ExtensionAccess::tellRestored(*_ranges[i].extension, std::span(_changed).subspan(first, last - first));
    }
    return !_ranges.empty();
}

void StateRestorer::_restoreStage(Stage stage) {
    _restoreValues(stage, [](const Entry&) {});
    for (std::size_t i = 0; i < stage.size(); ++i) {
        const auto& [extension, state] = stage[i];
        fetchAhead(stage, i, KrSim::KrExtensionState::kStepsBeforeFields);
        StateAccess::setValuesAreBack(*state, true);
        ExtensionAccess::restoreState(*extension, *state);
        StateAccess::setValuesAreBack(*state, false);
    }
}

}  // namespace KrPersistence::detail
