#include "kr/core/connections/internal/queued_copies.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kr/core/connections/internal/value_copies.h"
#include "kr/data/field_base.h"

namespace Kr::detail {

using KrData::FieldBase;

namespace {

/// In the place of the list of a store that is closed. There is no copy.
QueuedCopy* closedMark() noexcept {
    alignas(QueuedCopy) static char mark = 0;
    return reinterpret_cast<QueuedCopy*>(&mark);
}

void destroyList(QueuedCopy* first) noexcept {
    while (first != nullptr)
        OwnedCopy(std::exchange(first, first->next)).reset();
}

}  // namespace

// --- All copies ----------------------------------------------------------------------------------------------------

QueuedCopies& QueuedCopies::instance() {
    static auto& copies = *new QueuedCopies;
    static const struct AtExit {
        ~AtExit() { copies._free(); }
    } atExit;
    return copies;
}

OwnedCopy QueuedCopies::make(KrData::FieldReference sink, std::shared_ptr<CopyStore> store) {
    OwnedCopy made(new QueuedCopy);
    made->sink = std::move(sink);
    made->store = std::move(store);
    const std::lock_guard lock(_mutex);
    _all.insert(made.get());
    return made;
}

void DestroyCopy::operator()(QueuedCopy* copy) const noexcept {
    QueuedCopies::instance().forget(*copy);
    delete copy;
}

void QueuedCopies::forget(const QueuedCopy& copy) noexcept {
    const std::lock_guard lock(_mutex);
    _all.erase(&copy);
}

const void* QueuedCopies::send(OwnedCopy copy) noexcept {
    copy->isUnderWay.store(true, std::memory_order_release);
    return copy.release();
}

OwnedCopy QueuedCopies::take(const void* payload) noexcept {
    const std::lock_guard lock(_mutex);
    if (_all.find(payload) == _all.end()) return {};
    auto* copy = static_cast<QueuedCopy*>(const_cast<void*>(payload));
    return OwnedCopy(copy->isUnderWay.exchange(false, std::memory_order_acq_rel) ? copy : nullptr);
}

QueuedCopies::Peeked QueuedCopies::peek(const void* payload) {
    const std::lock_guard lock(_mutex);
    if (_all.find(payload) == _all.end()) return {};
    auto* copy = static_cast<QueuedCopy*>(const_cast<void*>(payload));
    if (!copy->isUnderWay.load(std::memory_order_acquire)) return {};
    copy->isShared = true;
    return {copy->value, copy->sink};
}

std::size_t QueuedCopies::count() {
    const std::lock_guard lock(_mutex);
    return static_cast<std::size_t>(std::count_if(_all.begin(), _all.end(), [](const void* each) {
        return static_cast<const QueuedCopy*>(each)->isUnderWay.load(std::memory_order_relaxed);
    }));
}

void QueuedCopies::_free() {
    std::vector<OwnedCopy> underWay;  // destroyed without the lock
    const std::lock_guard lock(_mutex);
    for (const auto* each : _all) {
        auto* copy = static_cast<QueuedCopy*>(const_cast<void*>(each));
        if (copy->isUnderWay.exchange(false, std::memory_order_acq_rel)) underWay.emplace_back(copy);
    }
}

// --- Copies used again ---------------------------------------------------------------------------------------------

OwnedCopy CopyStore::makeCopy(const FieldBase& source) {
    const auto* value = valueOf(source);
    if (value == nullptr) return {};
    auto copy = _takeSpare();
    if (!copy) copy = QueuedCopies::instance().make(_sink, shared_from_this());
    const bool mayChange = copy->value != nullptr && !copy->isShared;
    if (!mayChange || !updateCopy(*copy->value, *value)) {
        copy->value = makeCopyOf(*value);
        copy->isShared = false;
    }
    if (copy->value == nullptr) copy.reset();
    return copy;
}

OwnedCopy CopyStore::_takeSpare() noexcept {
    if (_spares == nullptr) _spares = _returned.exchange(nullptr, std::memory_order_acquire);
    auto* spare = _spares;
    if (spare != nullptr) _spares = spare->next;
    return OwnedCopy(spare);
}

void CopyStore::finish(OwnedCopy copy) noexcept {
    if (!copy || copy->store == nullptr) return;
    auto& returned = copy->store->_returned;
    auto* first = returned.load(std::memory_order_relaxed);
    do {
        if (first == closedMark()) return;
        copy->next = first;
    } while (!returned.compare_exchange_weak(first, copy.get(), std::memory_order_release, std::memory_order_relaxed));
    static_cast<void>(copy.release());
}

void CopyStore::close() noexcept {
    destroyList(std::exchange(_spares, nullptr));
    destroyList(_returned.exchange(closedMark(), std::memory_order_acquire));
}

}  // namespace Kr::detail
