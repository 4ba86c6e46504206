#include "kr/extension/extension_state.h"

#include <limits>
#include <unordered_map>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/state_header.h"
#include "kr/extension/state_access.h"

namespace KrSim {

// --- One extension -------------------------------------------------------------------------------------------------

KrExtensionState::KrExtensionState(const KrExtension& extension) : _header(extension._getStateHeader()) {
    _header->plan->take(_values);
}

KrExtensionState::KrExtensionState(const KrContentID& id, const KrFactoryKey& creationKey, const std::string& name,
                                   std::shared_ptr<const KrData::ValuePlan> plan)
    : _header(std::make_shared<const detail::StateHeader>(
          detail::StateHeader{id, creationKey, name, std::move(plan), nullptr, nullptr, nullptr})) {
    _header->plan->take(_values);
}

KrExtensionState::~KrExtensionState() = default;

const KrContentID& KrExtensionState::getContentID() const noexcept {
    return _header->contentID;
}
const KrFactoryKey& KrExtensionState::getCreationKey() const noexcept {
    return _header->creationKey;
}
const std::string& KrExtensionState::getName() const noexcept {
    return _header->name;
}
const KrData::ValuePlan& KrExtensionState::_getPlan() const noexcept {
    return *_header->plan;
}

const KrData::Container& KrExtensionState::getFields() const {
    if (!_fields) _fields = _header->plan->makeContainer("Fields", _values);
    return *_fields;
}

void KrExtensionState::_setImplementationData(std::string data) {
    _implementationData = std::move(data);
    _hasImplementationData = true;
}

std::size_t KrExtensionState::getSizeBytes() const {
    return sizeof(*this) + _values.getSizeBytes() + _implementationData.size();
}

bool KrExtensionState::_isOf(const KrExtension& extension) const {
    return _header == extension._getStateHeader();
}

void KrExtensionState::_retake() {
    _fields.reset();
    _implementationData.clear();
    _hasImplementationData = false;
    _header->plan->take(_values);
}

void KrExtensionState::_fetch(int step) const noexcept {
    constexpr std::size_t kLine = 64;
    const auto fetch = [](const void* first, std::size_t bytes) {
        for (std::size_t at = 0; first != nullptr && at < bytes; at += kLine)
            __builtin_prefetch(static_cast<const char*>(first) + at);
    };
    switch (step) {
        case 0:
            return fetch(this, sizeof(*this));
        case 1:
            fetch(_header.get(), sizeof(detail::StateHeader));
            return fetch(_values._plain.data(), _values._plain.size());
        case 2:
            fetch(_header->extension, KrExtension::kHotBytes);
            fetch(_header->fields, 1);
            fetch(_header->implementation, 1);
            return fetch(_header->plan.get(), sizeof(KrData::ValuePlan));
        case 3:
            return _header->plan->fetchLists();
        default:
            return _header->plan->fetchFields();
    }
}

// --- Many extensions -----------------------------------------------------------------------------------------------

struct KrSimulationState::Index {
    static constexpr std::size_t kSeveral = std::numeric_limits<std::size_t>::max();

    std::unordered_map<KrContentID::Identifier, std::size_t> positions;
    std::size_t indexed{0};
    std::unordered_map<KrContentID::Identifier, std::size_t> itemPositions;  // by raw ID
    std::size_t indexedItems{0};
};

KrSimulationState::KrSimulationState() = default;
KrSimulationState::~KrSimulationState() = default;

void KrSimulationState::addExtensionState(Kr::KrSmartPtr<KrExtensionState> state) {
    if (!state) return;
    state->_isAddedByModule = _isModuleAdding;
    _states.push_back(std::move(state));
}

void KrSimulationState::_bringIndexUpToDate() const {
    if (!_index) _index = std::make_unique<Index>();
    auto kept = _index->indexed;
    for (auto i = kept; i < _states.size(); ++i) {
        if (!_states[i]) continue;  // moved away before memory ran out
        const auto [position, isNew] = _index->positions.emplace(_states[i]->getContentID().getRuntimeID(), kept);
        if (position->second != i) _states[position->second] = std::move(_states[i]);
        if (isNew) _index->indexed = ++kept;
    }
    _states.resize(kept);
}

const std::vector<Kr::KrSmartPtr<KrExtensionState>>& KrSimulationState::getExtensionStates() const {
    _bringIndexUpToDate();
    return _states;
}

const KrExtensionState* KrSimulationState::findExtensionState(const KrContentID& id) const {
    _bringIndexUpToDate();
    const auto found = _index->positions.find(id.getRuntimeID());
    return found != _index->positions.end() ? _states[found->second].get() : nullptr;
}

const KrExtensionState* KrSimulationState::_findStateOfItem(const KrContentID& id) const {
    _bringIndexUpToDate();
    auto& items = _index->itemPositions;
    for (auto& i = _index->indexedItems; i < _states.size(); ++i) {
        const auto [position, isNew] = items.emplace(_states[i]->getContentID().getRawID(), i);
        if (!isNew) position->second = Index::kSeveral;
    }
    const auto found = items.find(id.getRawID());
    return found != items.end() && found->second != Index::kSeveral ? _states[found->second].get() : nullptr;
}

std::size_t KrSimulationState::getSizeBytes() const {
    std::size_t bytes = sizeof(*this);
    for (const auto& state : _states)
        bytes += sizeof(state) + (state ? state->getSizeBytes() : 0);
    return bytes;
}

void KrSimulationState::_recycle() {
    _spare = std::exchange(_states, std::move(_spare));
    _states.clear();
    _index.reset();
    _nextSpare = 0;
}

Kr::KrSmartPtr<KrExtensionState> KrSimulationState::_makeState(const KrExtension& extension) {
    if (_nextSpare < _spare.size()) {
        detail::StateAccess::fetchAhead(_nextSpare, _spare.size(),
                                        [&](std::size_t index) { return _spare[index].get(); });
        auto state = std::move(_spare[_nextSpare++]);
        if (state && state->getRefCount() == 1 && state->_isOf(extension)) {
            state->_retake();
            return state;
        }
    }
    return Kr::makeSmart<KrExtensionState>(extension);
}

}  // namespace KrSim
