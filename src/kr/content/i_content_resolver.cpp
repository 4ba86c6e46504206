#include "kr/content/i_content_resolver.h"

#include <atomic>

namespace KrSim {

namespace {

constinit std::atomic<const IContentResolver*> installed{nullptr};

}  // namespace

const IContentResolver* IContentResolver::_get() noexcept {
    return installed.load(std::memory_order_acquire);
}

void IContentResolver::_install(const IContentResolver* resolver) noexcept {
    installed.store(resolver, std::memory_order_release);
}

}  // namespace KrSim
