// How an extension takes over saved fields, and keeps what nothing can interpret.

#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/array_resizes.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/value_plan.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/extension_guards.h"
#include "kr/extension/internal/state_header.h"
#include "kr/extension/internal/thread_stream.h"
#include "kr/platform/memory_guard.h"
#include "kr/platform/text_stream.h"

namespace KrSim {

using KrData::detail::FieldAccess;

namespace {

/// Lets upgrades and onLoading rename and move saved fields. What was declared when it was saved counts as that again
/// afterwards.
class ChangeableFields {
public:
    explicit ChangeableFields(const KrData::Container& saved) : _saved(saved) {
        FieldAccess::setTreatedAsDynamic(_saved, true);
    }
    ChangeableFields(const ChangeableFields&) = delete;
    ChangeableFields& operator=(const ChangeableFields&) = delete;
    ~ChangeableFields() { FieldAccess::setTreatedAsDynamic(_saved, false); }

private:
    const KrData::Container& _saved;
};

}  // namespace

void KrExtension::_loadImplementation(KrData::Container* saved) {
    if (saved != nullptr) {
        try {
            if (_onPreLoadImplementation(saved)) {
                // Messages of the run that saved them say nothing about this one.
                saved->removeField(_fields->getErrors().getID());
                saved->removeField(_fields->getInfos().getID());
                _fields->_loadFrom(*saved, _howToLoad());
            }
            _onPostLoadImplementation(saved);
            _updateVersionInfo();  // the data is at the versions of the implementation now
        } catch (const std::bad_alloc&) {
            throw;  // nothing was wrong with the data
        } catch (...) {
            _onNoLoadPossible(saved);
        }
    }
    if (!_hasImplementation && !_isUnknown) addError("Unable to create " + _creationKey.toString(), false);
}

bool KrExtension::_onPreLoadImplementation(KrData::Container* saved) {
    if (_hasImplementation) {
        const ChangeableFields changeable(*saved);
        KrVersioningRegistry::onLoadingExtension(this, saved, _versions);
        Kr::callGuardedButMemory(
            detail::kOnLoading, [this] { return getName(); }, [&] { _implementation->onLoading(*saved, _dataVersion); },
            this);
        return true;
    }
    if (_creationKey.isNull()) return true;
    _onNoLoadPossible(saved);
    return false;
}

void KrExtension::_onNoLoadPossible(const KrData::Container* saved) {
    if (saved != nullptr) _fields->_loadGroupsFrom(*saved, _howToLoad());
}

KrData::FieldLoading KrExtension::_howToLoad() const {
    // What another version declared says nothing about this one.
    return {.withDeclarations = !_hasImplementation || _dataVersion == getImplementationVersion(),
            .keepsDynamic = !_hasImplementation};
}

void KrExtension::_onPostLoadImplementation(KrData::Container*) {
    if (!_hasImplementation) return;  // the bytes stay, to be saved again
    std::istringstream stream(_extensionData, std::ios::in | std::ios::binary);
    Kr::callGuardedButMemory(
        detail::kOnLoaded, [this] { return getName(); }, [&] { _implementation->onLoaded(stream, _dataVersion); },
        this);
    _extensionData.clear();
}

// --- State ---------------------------------------------------------------------------------------------------------

void KrExtension::fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const {
    if (!state) return;
    auto own = state->_makeState(*this);
    _fillState(*own);
    state->addExtensionState(std::move(own));
}

void KrExtension::_fillState(KrExtensionState& state) const {
    _saveImplementationState(state, detail::kOnStateSave);
}

void KrExtension::_saveImplementationState(KrExtensionState& state, const Kr::GuardTexts& texts) const {
    if (!_hasImplementation) return;
    detail::ThreadStream<Kr::TextStream> stream;
    const bool isWhole = Kr::callGuardedButMemory(
        texts, [this] { return getName(); }, [&] { _implementation->onStateSave(stream.get()); }, this);
    const auto text = stream.get().getWhole();
    if (isWhole) state._setImplementationData(std::string(text));
}

const std::shared_ptr<const detail::StateHeader>& KrExtension::_getStateHeader() const {
    const auto& plan = _fields->_getValuePlan();
    // The ID and the key say themselves when they change, for names there are several ways.
    if (!_stateHeader || _stateHeader->plan != plan || _stateHeader->name != getName()) {
        _stateHeader = std::make_shared<const detail::StateHeader>(
            detail::StateHeader{_contentID, _creationKey, getName(), plan, this, &plan, _implementation});
    }
    return _stateHeader;
}

void KrExtension::_restoreState(const KrExtensionState& state) {
    if (!state._valuesAreBack) {
        std::vector<KrData::FieldBase*> changed;
        _restoreFieldValues(state, changed);
        _tellRestored(changed);
    }
    _restoreImplementationState(state, detail::kOnStateRestore);
}

void KrExtension::_restoreImplementationState(const KrExtensionState& state, const Kr::GuardTexts& texts) {
    if (!_hasImplementation || !state.hasImplementationData()) return;
    detail::ThreadStream<Kr::ViewStream> stream(state.getImplementationData());
    Kr::callGuarded(
        texts, [this] { return getName(); }, [&] { _implementation->onStateRestore(stream.get()); }, this);
}

std::size_t KrExtension::_restoreFieldValues(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed) {
    const auto& source = state._getPlan();
    if (_fields->_getValuePlan().get() != &source) {
        KrData::ArrayResizes resizes;
        source.resizeArrays(_fields->_getGroups(), resizes);
        resizes.keep();
    }
    return _fields->_getValuePlan()->restore(state._values, source, changed);
}

std::size_t KrExtension::_prepareRestore(const KrExtensionState& state, KrData::ArrayResizes& resizes) {
    if (_fields->_getValuePlan().get() != &state._getPlan()) {
        state._getPlan().resizeArrays(_fields->_getGroups(), resizes);
    }
    const auto& plan = *_fields->_getValuePlan();
    plan.prepare(state._values, state._getPlan());
    return plan.size();
}

void KrExtension::_tellRestored(std::span<KrData::FieldBase* const> changed) {
    if (changed.empty()) return;
    const auto plan = _fields->_getValuePlan();
    for (auto* field : changed) {
        // Listeners of the first ones may remove others.
        if (_fields->_getValuePlan() == plan || _fields->_getValuePlan()->contains(field))
            FieldAccess::notifyObservers(*field, *field);
    }
}

void KrExtension::_restorePositionsAndOutputs(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed) {
    _fields->_getValuePlan()->restoreGroup(getOutputContainer().getID(), state._values, state._getPlan(), changed);
    _tellRestored(changed);
    changed.clear();
}

}  // namespace KrSim
