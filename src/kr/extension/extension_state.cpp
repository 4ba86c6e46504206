#include "kr/extension/extension_state.h"

#include <unordered_map>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace KrSim {

KrExtensionState::KrExtensionState(const KrExtension& extension)
    : _contentID(extension.getContentID()),
      _creationKey(extension.getCreationKey()),
      _name(extension.getName()),
      _fields(Kr::KrID("Fields")) {
    for (const auto* group :
         {&extension.getInputContainer(), &extension.getOutputContainer(), &extension.getParameterContainer()}) {
        static_cast<void>(group->clone(&_fields));
    }
}

KrExtensionState::~KrExtensionState() = default;

struct KrSimulationState::Index {
    std::unordered_map<KrContentID::Identifier, std::size_t> positions;
};

KrSimulationState::KrSimulationState() : _index(std::make_unique<Index>()) {}
KrSimulationState::~KrSimulationState() = default;

void KrSimulationState::addExtensionState(Kr::KrSmartPtr<KrExtensionState> state) {
    if (!state) return;
    const auto [position, isNew] = _index->positions.emplace(state->getContentID().getRuntimeID(), _states.size());
    if (isNew) {
        _states.push_back(std::move(state));
    } else {
        _states[position->second] = std::move(state);
    }
}

const KrExtensionState* KrSimulationState::findExtensionState(const KrContentID& id) const {
    const auto found = _index->positions.find(id.getRuntimeID());
    return found != _index->positions.end() ? _states[found->second].get() : nullptr;
}

}  // namespace KrSim
