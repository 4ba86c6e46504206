#pragma once

#include <atomic>

namespace Kr {

/// The one answer of an upper layer to what a lower layer must ask it.
///
/// The lower layer declares an abstract class, whose functions answer "none" by default, exports the instantiation for
/// it, and asks `UpperLayer<IQuestion>::get()`. The upper layer installs its implementation while the library is
/// loaded, so that includes still lead downwards only. Thread: any. Ownership: an implementation is borrowed for as
/// long as the process lives.
template <class Question>
class UpperLayer {
public:
    UpperLayer() = delete;

    /// Null before an implementation is installed.
    [[nodiscard]] static const Question* get() noexcept { return _installed.load(std::memory_order_acquire); }
    /// Replaces the implementation; null takes it away.
    static void install(const Question* implementation) noexcept {
        _installed.store(implementation, std::memory_order_release);
    }

private:
    static inline constinit std::atomic<const Question*> _installed{nullptr};
};

}  // namespace Kr
