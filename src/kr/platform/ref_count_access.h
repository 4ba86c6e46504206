#pragma once

#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace Kr::detail {

/// Counts holders by hand; ref_count.h and smart_ptr.h say what each function does. Thread: any.
struct RefCountAccess {
    static void addRef(const KrRefCount& object) noexcept { object._addRef(); }
    static void release(const KrRefCount& object) noexcept { object._release(); }
    static void releaseAlive(const KrRefCount& object) noexcept { object._releaseAlive(); }
    [[nodiscard]] static bool isBeingDestroyed(const KrRefCount& object) noexcept { return object._isBeingDestroyed(); }
    static void markBeingDestroyed(KrRefCount& object) noexcept { object._markBeingDestroyed(); }
    template <class T>
    [[nodiscard]] static T* detach(KrSmartPtr<T>& holder) noexcept {
        return holder._detach();
    }
};

}  // namespace Kr::detail
