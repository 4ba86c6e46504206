#include "kr/data/not_finite.h"

#include <atomic>

namespace KrData {

namespace {
constinit std::atomic<NotFiniteObserver> notFiniteObserver{nullptr};
}  // namespace

NotFiniteObserver setNotFiniteObserver(NotFiniteObserver observer) noexcept {
    return notFiniteObserver.exchange(observer, std::memory_order_acq_rel);
}

void _observeNotFinite(const FieldBase& field, eRealRank rank) noexcept {
    if (const auto observer = notFiniteObserver.load(std::memory_order_acquire)) observer(field, rank);
}

}  // namespace KrData
