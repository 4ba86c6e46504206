#include "kr/core/connections/internal/unit_delay_functor.h"

#include <utility>

#include "kr/application/context/context_access.h"
#include "kr/core/connections/internal/value_copies.h"
#include "kr/core/connections/unit_delay_connection.h"
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

StepBoundary* groupOf(KrExtension* extension) {
    return extension != nullptr ? FieldsAccess::getStepBoundary(extension->getFieldsContainer()) : nullptr;
}

StepBoundary* applicationOf(const KrExtension* extension) {
    if (extension == nullptr) return nullptr;
    return KrSim::detail::ContextAccess::getStepBoundary(extension->getFieldsContainer().getApplicationContext());
}

StepBoundary* findBoundary(KrExtension* source, KrExtension* sink) {
    if (auto* group = groupOf(sink); group != nullptr && group == groupOf(source)) return group;
    auto* boundary = applicationOf(sink);
    return boundary != nullptr ? boundary : applicationOf(source);
}

}  // namespace

UnitDelayFunctor::UnitDelayFunctor(const FieldBase& source, FieldBase& sink, const KrUnitDelayConnection& connection)
    : ConnectionFunctor(source, sink), _connection(connection) {}

UnitDelayFunctor::~UnitDelayFunctor() = default;

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
    ConnectionFunctor::setSinkOwner(owner);
    auto* sourceOwner = _connection.getSourceOwner();
    for (auto* each : {sourceOwner, owner})
        if (each != nullptr) FieldsAccess::setHasSteppedConnections(each->getFieldsContainer());
    if (!isEnabled()) return _join(nullptr, {});
    Copy copy{};
    if (_connection._onlyCopies()) {
        copy = {FieldAccess::getUnnotifiedCopy(_getSink(), _getSource()), &_getSource(), &_getSink(),
                &KrSim::detail::ExtensionAccess::takesNoValues(owner)};
    }
    _join(findBoundary(sourceOwner, owner), copy);
}

void UnitDelayFunctor::readSource() {
    _isWaiting = false;
    if (!_connection._transfersNow() || _isSinkSuspended()) return;
    const auto* value = valueOf(_getSource());
    if (value == nullptr) return;
    // A sink may still be taking the value of an inner step.
    const bool mayChange = _value != nullptr && _value.use_count() == 1;
    if (!mayChange || !updateCopy(*_value, *value)) _value = makeCopyOf(*value);
    _isWaiting = _value != nullptr;
}

void UnitDelayFunctor::setSink() {
    if (!std::exchange(_isWaiting, false)) return;
    const auto value = _value;  // an observer of the sink may destroy this functor
    _getSink().copyValue(*value);
}

}  // namespace Kr::detail
