#include "kr/core/connections/internal/unit_delay_functor.h"

#include <utility>

#include "kr/application/context/context_access.h"
#include "kr/core/connections/internal/value_copies.h"
#include "kr/core/connections/stepped_connection.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"

namespace Kr::detail {

using KrData::FieldBase;
using KrData::detail::FieldAccess;
using KrSim::KrExtension;
using KrSim::detail::FieldsAccess;

namespace {

StepBoundary* applicationOf(const KrExtension* extension) {
    if (extension == nullptr) return nullptr;
    return KrSim::detail::ContextAccess::getStepBoundary(extension->getFieldsContainer().getApplicationContext());
}

}  // namespace

UnitDelayFunctor::UnitDelayFunctor(const FieldBase& source, FieldBase& sink, const KrSteppedConnection& connection)
    : ConnectionFunctor(source, sink), _connection(connection) {}

UnitDelayFunctor::~UnitDelayFunctor() = default;

StepBoundary* UnitDelayFunctor::getGroupBoundary(KrExtension* extension) {
    return extension != nullptr ? FieldsAccess::getStepBoundary(extension->getFieldsContainer()) : nullptr;
}

StepBoundary* UnitDelayFunctor::_findApplicationBoundary(KrExtension* sinkOwner) const {
    auto* boundary = applicationOf(sinkOwner);
    return boundary != nullptr ? boundary : applicationOf(_getSourceOwner());
}

void UnitDelayFunctor::_followOwners(KrExtension* sinkOwner) {
    ConnectionFunctor::setSinkOwner(sinkOwner);
    for (auto* each : {_getSourceOwner(), sinkOwner})
        if (each != nullptr) FieldsAccess::setHasSteppedConnections(each->getFieldsContainer());
}

KrExtension* UnitDelayFunctor::_getSourceOwner() const {
    return _connection.getSourceOwner();
}

bool UnitDelayFunctor::_mayTransferNow() const {
    return _connection._transfersNow() && !_isSinkSuspended();
}

void UnitDelayFunctor::transfer(const FieldBase&) {
    if (_isSinkSuspended()) return;
    if (_getSource().getDataType() == KrData::Types::kContainer) {  // proxies in it are copied as their values
        readSource();
        setSink();
    } else if (const auto* value = valueOf(_getSource())) {
        _getSink().copyValue(*value);
    }
}

void UnitDelayFunctor::setSinkOwner(KrExtension* owner) {
    _followOwners(owner);
    if (!isEnabled()) return _join(nullptr, {});
    Copy copy{};
    if (_connection._onlyCopies()) {
        copy = {FieldAccess::getUnnotifiedCopy(_getSink(), _getSource()), &_getSource(), &_getSink(),
                &KrSim::detail::ExtensionAccess::takesNoValues(owner)};
    }
    auto* group = getGroupBoundary(owner);
    const bool isInGroup = group != nullptr && group == getGroupBoundary(_getSourceOwner());
    _join(isInGroup ? group : _findApplicationBoundary(owner), copy);
}

void UnitDelayFunctor::readSource() {
    _isWaiting = false;
    if (!_mayTransferNow()) return;
    if (const auto* value = valueOf(_getSource())) _keep(*value);
}

void UnitDelayFunctor::_keep(const FieldBase& value) {
    // A sink may still be taking the value of an inner step.
    const bool mayChange = _value != nullptr && _value.use_count() == 1;
    if (!mayChange || !updateCopy(*_value, value)) _value = makeCopyOf(value);
    _isWaiting = _value != nullptr;
}

void UnitDelayFunctor::setSink() {
    if (!std::exchange(_isWaiting, false)) return;
    const auto value = _value;  // an observer of the sink may destroy this functor
    _getSink().copyValue(*value);
}

}  // namespace Kr::detail
