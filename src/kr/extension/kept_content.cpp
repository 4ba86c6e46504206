#include "kr/extension/kept_content.h"

#include <atomic>

namespace KrSim {

namespace {

std::atomic<IKeptContent::Retry> installedRetry{nullptr};

}  // namespace

IKeptContent::~IKeptContent() = default;

void IKeptContent::_setRetry(Retry retry) noexcept {
    installedRetry = retry;
}

void IKeptContent::_retryAll() {
    if (const auto retry = installedRetry.load()) retry();
}

}  // namespace KrSim
