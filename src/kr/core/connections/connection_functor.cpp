#include "kr/core/connections/connection_functor.h"

#include "kr/data/field_base.h"
#include "kr/extension/extension_access.h"

namespace Kr {

using KrSim::detail::ExtensionAccess;

ConnectionFunctor::ConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink)
    : _source(&source), _sink(&sink), _takesNoValues(&ExtensionAccess::takesNoValues(sink.getOwnerExtension())) {}

ConnectionFunctor::~ConnectionFunctor() = default;

void ConnectionFunctor::disable() {
    _isEnabled = false;
}

void ConnectionFunctor::enable(bool transferNow) {
    _isEnabled = true;
    if (transferNow) run(*_source);
}

bool ConnectionFunctor::mayTransfer(const KrData::FieldBase&) const {
    return _isEnabled;
}

void ConnectionFunctor::run(const KrData::FieldBase& changed) {
    if (_guard->isEntered()) return _onBlocked(changed);
    const TransferGuard::Scope scope;
    _guard->enter();
    transfer(changed);
}

void ConnectionFunctor::_onBlocked(const KrData::FieldBase&) {}

void ConnectionFunctor::setSinkOwner(KrSim::KrExtension* owner) {
    _takesNoValues = &ExtensionAccess::takesNoValues(owner);
}

}  // namespace Kr
