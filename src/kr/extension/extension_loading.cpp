// How an extension takes over saved fields, and keeps what nothing can interpret.

#include <exception>
#include <sstream>

#include "kr/data/container.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/extension_guards.h"

namespace KrSim {

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
        } catch (...) {
            _onNoLoadPossible(saved);
        }
    }
    if (!_hasImplementation && !_isUnknown) addError("Unable to create " + _creationKey.toString(), false);
}

bool KrExtension::_onPreLoadImplementation(KrData::Container* saved) {
    if (_hasImplementation) {
        KrVersioningRegistry::onLoadingExtension(this, saved, _versions);
        Kr::callGuarded(
            detail::kOnLoading, [this] { return getName(); },
            [&] { _implementation->onLoading(*saved, _dataVersion); });
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
    Kr::callGuarded(
        detail::kOnLoaded, [this] { return getName(); }, [&] { _implementation->onLoaded(stream, _dataVersion); });
    _extensionData.clear();
}

// --- State ---------------------------------------------------------------------------------------------------------

void KrExtension::fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const {
    if (!state) return;
    auto own = Kr::makeSmart<KrExtensionState>(*this);
    _fillState(*own);
    state->addExtensionState(std::move(own));
}

void KrExtension::_fillState(KrExtensionState& state) const {
    if (!_hasImplementation) return;
    std::ostringstream stream(std::ios::out | std::ios::binary);
    Kr::callGuarded(
        detail::kOnStateSave, [this] { return getName(); }, [&] { _implementation->onStateSave(stream); });
    state._setImplementationData(std::move(stream).str());
}

void KrExtension::_restoreState(const KrExtensionState& state) {
    _fields->_loadGroupsFrom(state.getFields());
    if (!_hasImplementation) return;
    std::istringstream stream(state.getImplementationData(), std::ios::in | std::ios::binary);
    Kr::callGuarded(
        detail::kOnStateRestore, [this] { return getName(); }, [&] { _implementation->onStateRestore(stream); });
}

void KrExtension::_restorePositionsAndOutputs(const KrExtensionState& state) {
    getOutputContainer().copyValue(state.getFields()[getOutputContainer().getID()]);
}

}  // namespace KrSim
