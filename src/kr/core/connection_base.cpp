#include "kr/core/connection_base.h"

#include "kr/core/i_connection_sorter.h"
#include "kr/platform/log.h"

template class Kr::UpperLayer<Kr::IConnectionSorter>;

namespace Kr {

KrConnectionBase::~KrConnectionBase() {
    if (!_isInSorter) return;
    UpperLayer<IConnectionSorter>::get()->forget(*this);
    logMessage(eLogLevel::kWarn,
               "KrConnectionBase is being deleted without being removed from the KrExtensionSorter. Please check the "
               "derived class constructor.\n");
}

bool KrConnectionBase::_isExcludedFromOrdering() const noexcept {
    return false;
}

bool KrConnectionBase::_actsBetweenSteps() const noexcept {
    return false;
}

void KrConnectionBase::_setUnnotifiedCopy(UnnotifiedCopy copy, const bool* sinkTakesNoValues) noexcept {
    _unnotifiedCopy = copy;
    _sinkTakesNoValues = sinkTakesNoValues;
}

void KrConnectionBase::_onFieldMoved() {}

void KrConnectionBase::_onFieldDestroyed(const KrData::FieldBase&) {
    if (_isInSorter) UpperLayer<IConnectionSorter>::get()->forget(*this);
    _setFields(nullptr, nullptr);
    _setOwners(nullptr, nullptr);
}

void KrConnectionBase::_setFields(KrData::FieldBase* source, KrData::FieldBase* sink) noexcept {
    _source = source;
    _sink = sink;
    if (_isInSorter) UpperLayer<IConnectionSorter>::get()->askAnew(*this);
}

void KrConnectionBase::_setOwners(KrSim::KrExtension* sourceOwner, KrSim::KrExtension* sinkOwner) noexcept {
    _sourceOwner = sourceOwner;
    _sinkOwner = sinkOwner;
    if (_isInSorter) UpperLayer<IConnectionSorter>::get()->askAnew(*this);
}

}  // namespace Kr
