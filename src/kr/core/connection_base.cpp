#include "kr/core/connection_base.h"

namespace Kr {

KrConnectionBase::~KrConnectionBase() = default;

void KrConnectionBase::_onFieldDestroyed(const KrData::FieldBase&) {
    _setFields(nullptr, nullptr);
    _setOwners(nullptr, nullptr);
}

void KrConnectionBase::_setFields(KrData::FieldBase* source, KrData::FieldBase* sink) noexcept {
    _source = source;
    _sink = sink;
}

void KrConnectionBase::_setOwners(KrSim::KrExtension* sourceOwner, KrSim::KrExtension* sinkOwner) noexcept {
    _sourceOwner = sourceOwner;
    _sinkOwner = sinkOwner;
}

}  // namespace Kr
