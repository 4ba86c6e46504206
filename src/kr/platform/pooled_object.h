#pragma once

#include <cstddef>
#include <new>

#include "kr/platform/export.h"

namespace Kr {

/// Base of classes whose objects a simulation touches by the thousand in every frame. `new` puts objects of about one
/// size side by side, in the order of their making, whatever else is allocated between, so that a walk over them reads
/// little memory. What they leave is kept for others like them.
///
/// Objects above 512 bytes and those with an alignment of their own come from the heap as usual. So do all where a
/// sanitizer watches, which could not tell a dead object otherwise.
/// Thread: any.
class KR_API PooledObject {
public:
    static void* operator new(std::size_t bytes);
    static void* operator new(std::size_t bytes, std::align_val_t alignment) {
        return ::operator new(bytes, alignment);
    }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t bytes) noexcept;
    static void operator delete(void* object, std::size_t, std::align_val_t alignment) noexcept {
        ::operator delete(object, alignment);
    }
    static void operator delete(void*, void*) noexcept {}

protected:
    PooledObject() noexcept = default;
    ~PooledObject() = default;
};

}  // namespace Kr
