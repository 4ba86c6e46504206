#include "kr/core/transfer_guard.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Kr {

thread_local constinit TransferGuard::Entered TransferGuard::_entered{nullptr, 0, 0};

void TransferGuard::_grow() {
    // Freed with the thread, after everything on its stack.
    static thread_local std::unique_ptr<TransferGuard*[]> owned;
    const auto capacity = std::max<std::uint32_t>(64, _entered.capacity * 2);
    auto larger = std::make_unique<TransferGuard*[]>(capacity);
    std::copy_n(_entered.guards, _entered.count, larger.get());
    owned = std::move(larger);
    _entered.guards = owned.get();
    _entered.capacity = capacity;
}

}  // namespace Kr
