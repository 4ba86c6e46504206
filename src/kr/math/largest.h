#pragma once

namespace KrMath::detail {

/// The larger value. For NaN the first one; callers ask for finite values themselves. (The <algorithm> of std::max is
/// a tenth of what a plug-in's source takes to compile.)
template <class T>
[[nodiscard]] constexpr T getLarger(T first, T second) noexcept {
    return first < second ? second : first;
}

}  // namespace KrMath::detail
