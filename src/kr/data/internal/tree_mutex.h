#pragma once

#include <mutex>

namespace KrData::detail {

/// Guards parents, child lists and the "observed above" flags against the threads that add the first observer of a
/// field or remove its last one. The application thread, the only one that changes parents and lists, reads without it.
/// Owners count their watched outputs under it; no other callback runs. Order: the mutex of an observer list, then this
/// one.
[[nodiscard]] inline std::mutex& treeMutex() noexcept {
    static auto& mutex = *new std::mutex;
    return mutex;
}

}  // namespace KrData::detail
