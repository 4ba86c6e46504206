#include "kr/core/transfer_guard.h"

#include <pthread.h>

#include <algorithm>

namespace Kr {

thread_local constinit TransferGuard::Entered TransferGuard::_entered{nullptr, 0, 0};

void TransferGuard::_grow() {
    // A key of pthreads frees it after all thread-local objects, and on the main thread never: static objects may still
    // transfer while they die.
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, [](void* guards) {
            delete[] static_cast<TransferGuard**>(guards);
            _entered = {nullptr, 0, 0};
        });
        return made;
    }();
    const auto capacity = std::max<std::uint32_t>(64, _entered.capacity * 2);
    auto* larger = new TransferGuard*[capacity];
    std::copy_n(_entered.guards, _entered.count, larger);
    delete[] _entered.guards;
    pthread_setspecific(key, larger);
    _entered.guards = larger;
    _entered.capacity = capacity;
}

}  // namespace Kr
