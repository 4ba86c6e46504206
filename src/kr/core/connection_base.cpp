#include "kr/core/connection_base.h"

#include <atomic>

#include "kr/platform/log.h"

namespace Kr {

namespace {
constinit std::atomic<const KrConnectionBase::SorterFunctions*> sorterFunctions{nullptr};
}  // namespace

KrConnectionBase::~KrConnectionBase() {
    if (!_isInSorter) return;
    sorterFunctions.load(std::memory_order_acquire)->forget(*this);
    logMessage(eLogLevel::kWarn,
               "KrConnectionBase is being deleted without being removed from the KrExtensionSorter. Please check the "
               "derived class constructor.\n");
}

bool KrConnectionBase::_isExcludedFromOrdering() const noexcept {
    return false;
}

void KrConnectionBase::_setSorterFunctions(const SorterFunctions& functions) noexcept {
    sorterFunctions.store(&functions, std::memory_order_release);
}

void KrConnectionBase::_setQuietCopy(QuietCopy copy, const bool* isSinkDeaf) noexcept {
    _quietCopy = copy;
    _isSinkDeaf = isSinkDeaf;
}

void KrConnectionBase::_onFieldMoved() {}

void KrConnectionBase::_onFieldDestroyed(const KrData::FieldBase&) {
    if (_isInSorter) sorterFunctions.load(std::memory_order_acquire)->forget(*this);
    _setFields(nullptr, nullptr);
    _setOwners(nullptr, nullptr);
}

void KrConnectionBase::_setFields(KrData::FieldBase* source, KrData::FieldBase* sink) noexcept {
    _source = source;
    _sink = sink;
    if (_isInSorter) sorterFunctions.load(std::memory_order_acquire)->askAnew(*this);
}

void KrConnectionBase::_setOwners(KrSim::KrExtension* sourceOwner, KrSim::KrExtension* sinkOwner) noexcept {
    _sourceOwner = sourceOwner;
    _sinkOwner = sinkOwner;
    if (_isInSorter) sorterFunctions.load(std::memory_order_acquire)->askAnew(*this);
}

}  // namespace Kr
