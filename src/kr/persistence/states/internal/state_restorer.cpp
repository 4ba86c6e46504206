#include "kr/persistence/states/internal/state_restorer.h"

#include <algorithm>
#include <span>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/platform/guard.h"

namespace KrPersistence::detail {

using KrSim::KrExtension;

namespace {

constexpr Kr::GuardTexts kPriorityTexts{Kr::eLogLevel::kWarn,
                                        "KrSimulatorModule: fatal error in '%s' getRestoreStatePriority() [%s]\n",
                                        "KrSimulatorModule: unhandled exception in '%s' getRestoreStatePriority()\n"};

/// How often values are put back that observers of restored values have set.
constexpr int kMaximumRounds = 3;

template <class Entries>
void fetchAhead(const Entries& entries, std::size_t index, int steps) {
    KrSim::KrExtensionState::_fetchAhead(
        index, entries.size(), [&](std::size_t at) { return entries[at].state; }, steps);
}

}  // namespace

class StateRestorer::Matcher {
public:
    explicit Matcher(const KrSim::KrSimulationState& state) : _state(state), _states(state.getExtensionStates()) {}

    void add(KrExtension& extension, Entries& entries) {
        KrSim::KrExtensionState::_fetchAhead(
            _next, _states.size(), [&](std::size_t at) { return _states[at].get(); },
            KrSim::KrExtensionState::kStepsBeforeFields);
        const auto* state = _next < _states.size() ? _states[_next].get() : nullptr;
        if (state == nullptr || !state->_isOf(extension)) {
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
        const auto* state = _state._findStateOfItem(extension.getContentID());
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

void StateRestorer::_collectModules(Matcher& matcher, Priority priority, Entries& entries) {
    for (std::size_t i = 0; i < _application.getModuleCount(); ++i) {
        const Kr::KrSmartPtr<KrExtension> module(_application.getModule(i));
        auto own = Priority::kWithContent;
        if (const auto* implementation = _application.getModule(i)->_getModuleImplementation()) {
            Kr::callGuarded(
                kPriorityTexts, [&] { return module->getName(); },
                [&] { own = implementation->getRestoreStatePriority(); });
        }
        if (own != priority) continue;
        matcher.add(*module, entries);
        _held.push_back(module);
    }
}

void StateRestorer::_collectContent(const KrSim::KrObject& object, Matcher& matcher, Entries& entries) {
    const auto below = object._getExtensions();
    if (!below.empty()) _heldBelow.push_back(below);
    for (const auto& each : below) {
        matcher.add(*each, entries);
        if (each->isOfClassType(KrSim::KrObject::getClassType()))
            _collectContent(static_cast<const KrSim::KrObject&>(*each), matcher, entries);
    }
}

template <class AfterEach>
bool StateRestorer::_restoreValues(const Entries& entries, const AfterEach& afterEach) {
    _ranges.clear();
    _changed.clear();
    _missingFields = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& each = entries[i];
        fetchAhead(entries, i, KrSim::KrExtensionState::kFetchSteps);
        const auto before = _changed.size();
        _missingFields += each.extension->_restoreFieldValues(*each.state, _changed);
        if (_changed.size() != before) _ranges.push_back({each.extension, before});
        afterEach(each);
    }
    for (std::size_t i = 0; i < _ranges.size(); ++i) {
        const auto first = _ranges[i].first;
        const auto last = i + 1 < _ranges.size() ? _ranges[i + 1].first : _changed.size();
        _ranges[i].extension->_tellRestored(std::span(_changed).subspan(first, last - first));
    }
    return !_ranges.empty();
}

/// Takes the memory that restoring these needs, before any of them is touched.
void StateRestorer::_prepare(const Entries& entries) {
    std::size_t values = 0;
    for (const auto& each : entries)
        values += each.extension->_prepareRestore(*each.state);
    _valueCount += values;
    _changed.reserve(_valueCount);
    _entryCount += entries.size();
    _ranges.reserve(_entryCount);
}

void StateRestorer::run(RestoreReport& report) {
    Matcher matcher(_state);
    Entries all;
    _collectModules(matcher, Priority::kBeforeContent, all);
    _prepare(all);
    _restoreStage(all);

    // Not before: those modules may have made content.
    Entries stage;
    _collectContent(_application.getInternals().root, matcher, stage);
    _collectModules(matcher, Priority::kWithContent, stage);
    matcher.addOthers(_application.getContentDispatcher(), stage, _held);
    Entries lastStage;
    _collectModules(matcher, Priority::kAfterContent, lastStage);
    _prepare(stage);
    _prepare(lastStage);
    all.reserve(all.size() + stage.size() + lastStage.size());
    for (const auto* each : {&stage, &lastStage}) {
        _restoreStage(*each);
        all.insert(all.end(), each->begin(), each->end());
    }

    bool wasTold =
        _restoreValues(all, [](const Entry& each) { each.extension->_restorePositionsAndOutputs(*each.state); });
    for (int round = 1; wasTold && round < kMaximumRounds; ++round)
        wasTold = _restoreValues(all, [](const Entry&) {});

    const auto count = _state.getExtensionStates().size();
    report.restored = all.size();
    report.missing = count - std::min(count, all.size());
    report.untouched = matcher.untouched;
    report.missingFields = _missingFields;
    report.isRestored = true;
}

void StateRestorer::_restoreStage(const Entries& stage) {
    _restoreValues(stage, [](const Entry&) {});
    for (std::size_t i = 0; i < stage.size(); ++i) {
        const auto& [extension, state] = stage[i];
        fetchAhead(stage, i, KrSim::KrExtensionState::kStepsBeforeFields);
        state->_setValuesAreBack(true);
        extension->_restoreState(*state);
        state->_setValuesAreBack(false);
    }
}

}  // namespace KrPersistence::detail
