#include "kr/platform/guard.h"

#include <atomic>
#include <exception>

namespace Kr {

namespace {

constinit std::atomic<FailureObserver> failureObserver{nullptr};

template <class... Named>
void logCaught(const GuardedCall& call, const std::string& name, Named... named) {
    const auto observe = [&](const char* what) {
        if (const auto observer = failureObserver.load(std::memory_order_acquire)) observer(call, name, what);
    };
    const GuardTexts& texts = call.getTexts();
    try {
        throw;
    } catch (const std::exception& exception) {
        observe(exception.what());
        logMessage(texts.level, texts.onException, name.c_str(), named..., exception.what());
    } catch (...) {
        observe(nullptr);
        logMessage(texts.level, texts.onUnknown, name.c_str(), named...);
    }
}

}  // namespace

constinit thread_local const GuardedCall* GuardedCall::_innermost{nullptr};

FailureObserver setFailureObserver(FailureObserver observer) noexcept {
    return failureObserver.exchange(observer, std::memory_order_acq_rel);
}

void GuardedCall::_logCaughtException(const std::string& name) const {
    logCaught(*this, name);
}
void GuardedCall::_logCaughtException(const GuardedNumber& named) const {
    logCaught(*this, named.name, named.number);
}
void GuardedCall::_logCaughtException(const GuardedPair& named) const {
    logCaught(*this, named.name, named.other.c_str());
}

}  // namespace Kr
