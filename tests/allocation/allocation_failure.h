#pragma once

#include <cstddef>

namespace test_support {

/// Lets memory run out for the calling thread: while it lives, the n-th allocation of this thread throws
/// std::bad_alloc (answers null where it must not throw), alone or with all that follow. One at a time.
class AllocationFailure {
public:
    enum class Kind { kSingle, kLasting };

    /// \param number  1 is the next allocation.
    AllocationFailure(std::size_t number, Kind kind) noexcept;
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
    ~AllocationFailure();

    /// Memory is available again from now on.
    void end() noexcept;
    /// Whether an allocation has failed.
    [[nodiscard]] bool hasStruck() const noexcept;
};

}  // namespace test_support
