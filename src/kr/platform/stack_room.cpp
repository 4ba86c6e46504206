#include "kr/platform/stack_room.h"

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Kr {

namespace {

constexpr std::size_t kMostReserve = std::size_t{256} * 1024;

/// The addresses of a stack, which grows downward, and where its reserve ends. All are 0 where the system does not say.
struct Stack {
    std::uintptr_t lowest{0};
    std::uintptr_t reserveEnd{0};
};

Stack findStack() noexcept {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
    void* lowest = nullptr;
    std::size_t size = 0;
    const bool isKnown = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
    pthread_attr_destroy(&attributes);
    if (!isKnown) return {};
    const auto begin = reinterpret_cast<std::uintptr_t>(lowest);
    return {begin, begin + std::min(size / 4, kMostReserve)};
}

}  // namespace

bool isStackNearlyUsed() noexcept {
    thread_local const Stack stack = findStack();
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    return here < stack.reserveEnd && here >= stack.lowest;
}

}  // namespace Kr
