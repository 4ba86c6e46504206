#pragma once

#include <cstddef>
#include <new>

#include "kr/platform/export.h"

namespace Kr {

/// Base of classes whose objects a simulation uses by the thousand in every frame. `new` puts objects of about one size
/// side by side, in the order of their creation, so that a loop over them reads little memory. Memory of deleted
/// objects is kept for objects of about the same size.
///
/// Objects above 512 bytes and those with an alignment of their own come from the heap, and all objects when a
/// sanitizer is used, which could not detect the use of a deleted object otherwise.
/// Thread: any. Ownership: none.
class KR_API PooledObject {
public:
    static void* operator new(std::size_t bytes);  ///< Throws std::bad_alloc.
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
