#pragma once

#include <atomic>

namespace Kr {

/// Gives a lower layer access to a function of an upper layer.
///
/// The lower layer declares an abstract class, whose functions return "none" by default, exports the instantiation for
/// it, and calls `UpperLayer<IQuestion>::get()`. The upper layer installs its implementation while the library is
/// loaded, so that includes lead downwards only.
/// Thread: any. Ownership: an implementation is borrowed until the process ends.
template <class Question>
class UpperLayer {
public:
    UpperLayer() = delete;

    /// Null before an implementation is installed.
    [[nodiscard]] static const Question* get() noexcept { return _installed.load(std::memory_order_acquire); }
    /// Replaces the implementation; null removes it.
    static void install(const Question* implementation) noexcept {
        _installed.store(implementation, std::memory_order_release);
    }

private:
    static inline constinit std::atomic<const Question*> _installed{nullptr};
};

}  // namespace Kr
