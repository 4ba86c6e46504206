#include "kr/extension/input_output_container.h"

#include <algorithm>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/core/id.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/value_plan.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/internal/extension_guards.h"

namespace Kr {

using KrData::detail::FieldAccess;
using namespace Kr::literals;

KrInputOutputContainer::NameField::NameField(KrSim::KrExtension& owner, KrData::Container* parent)
    : Field("Name"_id), _owner(owner) {
    _attachTo(parent);
    // Without this a change of an unobserved name would not be noticed.
    _setAlwaysCallObservers(*this, true);
}

KrInputOutputContainer::NameField::~NameField() {
    _detachFromEverything();
}

void KrInputOutputContainer::NameField::_notifyChanged(const KrData::FieldBase& changed) const {
    // A subscriber notified of the new name may drop the last holder of the extension.
    const KrSmartPtr<KrSim::KrExtension> keep(_owner.getRefCount() > 0 ? &_owner : nullptr);
    _owner._onNameFieldChanged();
    Field::_notifyChanged(changed);
}

KrInputOutputContainer::KrInputOutputContainer(KrSim::KrExtension& owner)
    : Container(KrID()),
      _owner(owner),
      _name(owner, this),
      _inputs("Inputs"_id, this, KrData::Types::kInput),
      _outputs("Outputs"_id, this, KrData::Types::kOutput),
      _parameters("Parameters"_id, this, KrData::Types::kParameter),
      _errors("Errors"_id, this),
      _infos("Infos"_id, this) {
    _isComplete = true;
}

KrInputOutputContainer::~KrInputOutputContainer() {
    _detachFromEverything();
    _endKept();
}

// --- Application and activation ------------------------------------------------------------------------------------

void KrInputOutputContainer::_activate() {
    if (_activationCount++ != 0) return;
    // The fields first: without the mark no observer would be notified of values that onActive sets.
    _setOwnerIsActive(true);
    if (!_owner.hasImplementation()) return;
    callGuarded(
        KrSim::detail::kOnActive, [&] { return _owner.getName(); }, [&] { _owner.getImplementation()->onActive(); },
        &_owner);
}

void KrInputOutputContainer::_deactivate() {
    if (_activationCount == 0 || --_activationCount != 0) return;
    _setOwnerIsActive(_isActiveInApplication());
    if (!_owner.hasImplementation()) return;
    callGuarded(
        KrSim::detail::kOnInactive, [&] { return _owner.getName(); }, [&] { _owner.getImplementation()->onInactive(); },
        &_owner);
}

void KrInputOutputContainer::_setApplicationContext(const KrSim::ApplicationContext& context) {
    _context = context;
    const bool isEditing = context.getApplicationMode() == KrSim::eApplicationMode::kEditing;
    if (FieldAccess::isApplicationModeEditing(*this) != isEditing) _setApplicationModeIsEditing(isEditing);
    if (FieldAccess::isOwnerActive(*this) != _isActiveInApplication()) _setOwnerIsActive(_isActiveInApplication());
    if (_hasSteppedConnections) FieldAccess::updateConnections(*this);
}

void KrInputOutputContainer::_setStepBoundary(StepBoundary* boundary) {
    if (_stepBoundary == boundary) return;
    _stepBoundary = boundary;
    if (_hasSteppedConnections) FieldAccess::updateConnections(*this);
}

bool KrInputOutputContainer::_isActiveInApplication() const noexcept {
    return _activationCount > 0 || (_context.isValid() && !_context.isActivationTracked());
}

// --- Copying and loading -------------------------------------------------------------------------------------------

namespace {

void loadMessages(KrSim::KrMessageList& list, const KrData::FieldBase& saved) {
    if (saved.isValid()) list.copyValue(saved);
}

}  // namespace

void KrInputOutputContainer::_loadGroupsFrom(const KrData::Container& saved, KrData::FieldLoading how) {
    for (auto* group : {&_inputs, &_outputs, &_parameters}) {
        const auto& source = saved[group->getID()];
        if (source.getDataType() != KrData::Types::kContainer) continue;
        if (how.withDeclarations) {
            FieldAccess::takeDeclaration(*group, source);
            FieldAccess::replaceInternal(*group, FieldAccess::getInternalIfAny(source));
        }
        KrData::_loadFields(*group, static_cast<const KrData::Container&>(source), how);
    }
}

void KrInputOutputContainer::_loadFrom(const KrData::Container& saved, KrData::FieldLoading how) {
    const auto* name = saved[_name.getID()].as<std::string>();
    if (name != nullptr && !name->getValue().empty()) _name.setValue(name->getValue());
    _loadGroupsFrom(saved, how);
    loadMessages(_errors, saved[_errors.getID()]);
    loadMessages(_infos, saved[_infos.getID()]);
}

const std::shared_ptr<const KrData::ValuePlan>& KrInputOutputContainer::_getValuePlan() const {
    if (!_valuePlan) {
        _valuePlan = std::make_shared<const KrData::ValuePlan>(const_cast<KrInputOutputContainer*>(this)->_getGroups());
    }
    return _valuePlan;
}

// --- Connections ---------------------------------------------------------------------------------------------------

void KrInputOutputContainer::_ownConnection(std::unique_ptr<KrConnectionBase> connection) {
    // Only where the list would grow, and not again for the next ones: many connections cost no search each.
    if (_connections.size() == _connections.capacity()) {
        std::erase_if(_connections, [](const auto& each) { return !each || !each->isValid(); });
        _numberKept();
        _connections.reserve(2 * _connections.size());
    }
    if (!connection) return;
    detail::ConnectionAccess::setUnowned(*connection, false);
    detail::ConnectionAccess::setKeeperSlot(*connection, static_cast<std::uint32_t>(_connections.size()));
    _connections.push_back(std::move(connection));
}

std::unique_ptr<KrConnectionBase> KrInputOutputContainer::_releaseConnection(const KrConnectionBase& connection) {
    const auto slot = detail::ConnectionAccess::getKeeperSlot(connection);
    if (slot >= _connections.size() || _connections[slot].get() != &connection) return nullptr;
    auto released = std::move(_connections[slot]);
    if (2 * ++_releasedCount > _connections.size()) {
        std::erase(_connections, nullptr);
        _numberKept();
    }
    return released;
}

void KrInputOutputContainer::_numberKept() noexcept {
    _releasedCount = 0;
    for (std::size_t i = 0; i < _connections.size(); ++i)
        detail::ConnectionAccess::setKeeperSlot(*_connections[i], static_cast<std::uint32_t>(i));
}

void KrInputOutputContainer::_endKept() noexcept {
    // Listeners of one end may request others.
    const auto ending = std::exchange(_connections, {});
    _releasedCount = 0;
}

void KrInputOutputContainer::_release() {
    _endKept();
    _clearObservers();
    KrData::detail::ContainerAccess::endConnections(*this);
}

// --- The field -----------------------------------------------------------------------------------------------------

bool KrInputOutputContainer::_mayRemove(std::size_t) const {
    return false;
}

bool KrInputOutputContainer::_accepts(const KrData::FieldBase&) const {
    return !_isComplete;
}

KrData::IFieldOwner* KrInputOutputContainer::_getFieldOwner() const {
    return const_cast<KrInputOutputContainer*>(this);
}

void KrInputOutputContainer::onOutputCountsChanged(int connectedDelta, int watchedDelta) {
    _connectedOutputs += connectedDelta;
    _watchedOutputs += watchedDelta;
}

}  // namespace Kr
