#pragma once

#include <memory>
#include <utility>

namespace Kr {

/// A value whose readers keep the version that they read: a change copies it while a reader has it. For lists that are
/// reordered, or into which items are inserted, while they are walked over.
/// Thread: one at a time. Ownership: readers share the version that they read.
template <class T>
class CopyOnWrite {
public:
    using Snapshot = std::shared_ptr<const T>;

    CopyOnWrite() : _value(std::make_shared<T>()) {}

    [[nodiscard]] Snapshot read() const noexcept { return _value; }  ///< Keeps this version for the reader.
    /// Whether the value is unchanged since this was read.
    [[nodiscard]] bool isCurrent(const Snapshot& snapshot) const noexcept { return snapshot == _value; }
    const T& operator*() const noexcept { return *_value; }
    const T* operator->() const noexcept { return _value.get(); }
    /// For a change before the next read(). Allocates, and may throw std::bad_alloc, only while a reader has the value.
    [[nodiscard]] T& edit() {
        if (_value.use_count() > 1) _value = std::make_shared<T>(std::as_const(*_value));
        return *_value;
    }

private:
    std::shared_ptr<T> _value;  // never null
};

}  // namespace Kr
