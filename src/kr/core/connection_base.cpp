#include "kr/core/connection_base.h"

#include <atomic>

#include "kr/platform/log.h"

namespace Kr {

namespace {
constinit std::atomic<KrConnectionBase::ForgetFunction> forgetFunction{nullptr};
}  // namespace

KrConnectionBase::~KrConnectionBase() {
    if (!_isInSorter) return;
    if (const auto forget = forgetFunction.load(std::memory_order_acquire)) forget(*this);
    logMessage(eLogLevel::kWarn,
               "KrConnectionBase is being deleted without being removed from the KrExtensionSorter. Please check the "
               "derived class constructor.\n");
}

bool KrConnectionBase::_isExcludedFromOrdering() const noexcept {
    return false;
}

void KrConnectionBase::_setForgetFunction(ForgetFunction forget) noexcept {
    forgetFunction.store(forget, std::memory_order_release);
}

bool KrConnectionBase::_transferStep(const KrData::FieldBase& changed) {
    transferValue(changed);
    return false;
}

void KrConnectionBase::_onFieldMoved() {}

void KrConnectionBase::_onFieldDestroyed(const KrData::FieldBase&) {
    const auto forget = _isInSorter ? forgetFunction.load(std::memory_order_acquire) : nullptr;
    if (forget != nullptr) forget(*this);
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
