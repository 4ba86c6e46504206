#include "kr/core/connections/functor_connection.h"

#include <utility>

#include "kr/application/context/application_modes.h"
#include "kr/core/connections/direct_connection_functor.h"
#include "kr/core/connections/internal/connection_texts.h"
#include "kr/core/connections/internal/functor_selection.h"
#include "kr/data/field_access.h"
#include "kr/data/field_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/platform/log.h"
#include "kr/platform/stack_room.h"
#include "kr/signals/death_watch.h"

namespace Kr {

using KrData::FieldBase;
using KrData::Types;
using KrSim::KrExtensionSorter;

KrFunctorConnection::~KrFunctorConnection() {
    DeathWatch::announce(this);
    _end();
}

bool KrFunctorConnection::_mayConnect(const FieldBase& source, const FieldBase& sink) {
    const bool haveParents = source.getParent() != nullptr && sink.getParent() != nullptr;
    if (!haveParents) logErrorNoThrow("KrConnectionBase: can only use fields that are in a parent container\n");
    const auto from = source.getFieldType();
    const auto to = sink.getFieldType();
    const bool isAllowed = detail::mayDrive(from, to);
    if (!isAllowed) {
        logErrorNoThrow("KrConnection: invalid source/sink pair: %s (%s) -> %s (%s)\n", source.getID().str().c_str(),
                        Types::nameFor(from), sink.getID().str().c_str(), Types::nameFor(to));
    }
    return haveParents && isAllowed;
}

bool KrFunctorConnection::_begin(FieldBase& source, FieldBase& sink, std::unique_ptr<ConnectionFunctor> functor,
                                 Roles roles, bool transferNow) {
    if (!_isCopy) detail::reportDimensions(source, sink);
    _functor = std::move(functor);
    _functor->_useGuard(_getGuard());
    _roles = roles;
    _setFields(&source, &sink);
    _update();
    // A listener may destroy either field, which ends the connection, or the connection.
    const DeathWatch watch(this);
    const auto goesOn = [&] { return !watch.died() && isValid(); };
    source._addConnection(this);
    if (goesOn()) sink._addConnection(this);
    if (goesOn()) KrExtensionSorter::instance()._addConnection(this);
    if (goesOn() && transferNow) transferValue(source);
    return goesOn();
}

bool KrFunctorConnection::_end() noexcept {
    const DeathWatch watch(this);
    if (_isRegisteredInSorter()) KrExtensionSorter::instance()._removeConnection(this);
    if (auto* source = watch.died() ? nullptr : getSource()) source->_removeConnection(this);
    if (auto* sink = watch.died() ? nullptr : getSink()) sink->_removeConnection(this);
    if (watch.died()) return false;
    _setFields(nullptr, nullptr);
    _setOwners(nullptr, nullptr);
    _setUnnotifiedCopy(nullptr, nullptr);
    _functor.reset();
    return true;
}

void KrFunctorConnection::_onFieldDestroyed(const FieldBase& field) {
    _setUnnotifiedCopy(nullptr, nullptr);
    _functor.reset();
    KrConnectionBase::_onFieldDestroyed(field);
}

void KrFunctorConnection::_onFieldMoved() {
    if (isValid()) _update();
}

void KrFunctorConnection::_update() {
    const auto from = getSource()->getFieldType();
    const auto to = getSink()->getFieldType();
    _setOwners(getSource()->getOwnerExtension(), getSink()->getOwnerExtension());
    _setOutputToParameter(from == Types::kOutput && to == Types::kParameter);
    _rolesFit = _roles == Roles::kAny || detail::mayDrive(from, to);
    _functor->setSinkOwner(getSinkOwner());
    const auto* direct = isEnabled() && _rolesFit && !isOutputToParameter() ? _getDirectFunctor() : nullptr;
    const bool isCopy = direct != nullptr && !direct->hasTransferFunction();
    _setUnnotifiedCopy(isCopy ? KrData::detail::FieldAccess::getUnnotifiedCopy(*getSink(), *getSource()) : nullptr,
                       &KrSim::detail::ExtensionAccess::takesNoValues(getSinkOwner()));
}

DirectConnectionFunctor* KrFunctorConnection::_getDirectFunctor() const noexcept {
    return dynamic_cast<DirectConnectionFunctor*>(_functor.get());
}

// --- Transfer ------------------------------------------------------------------------------------------------------

bool KrFunctorConnection::_mayTransfer(const FieldBase& changed) const {
    if (_functor == nullptr || !_rolesFit || !_functor->mayTransfer(changed)) return false;
    return !isOutputToParameter() || getSinkOwner() == nullptr ||
           getSinkOwner()->getApplicationMode() == KrSim::eApplicationMode::kEditing;
}

void KrFunctorConnection::transferValue(const FieldBase& changed) {
    if (!_mayTransfer(changed)) return;
    if (isStackNearlyUsed()) return detail::reportTooDeep(*getSource(), *getSink());
    _functor->run(changed);
}

void KrFunctorConnection::_finishCopy(KrFunctorConnection& made) const {
    if (!isEnabled()) return made.disable(!_isRegisteredInSorter());
    if (!_actsBetweenSteps()) made.transferValue(*made.getSource());
}

void KrFunctorConnection::enable(bool transferNow) {
    if (!isValid()) return;
    const DeathWatch watch(this);
    _functor->enable(false);
    _update();
    if (!_isRegisteredInSorter()) KrExtensionSorter::instance()._addConnection(this);
    if (transferNow && !watch.died() && isValid()) transferValue(*getSource());
}

void KrFunctorConnection::disable(bool leaveSorter) {
    if (!isValid()) return;
    _functor->disable();
    _update();
    if (leaveSorter && _isRegisteredInSorter()) KrExtensionSorter::instance()._removeConnection(this);
}

}  // namespace Kr
