#include "kr/events/internal/listener_table.h"

#include <iterator>

#include "kr/events/sim_event_listener.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {
namespace {

EventRegistration& asRegistration(const Kr::KrSmartPtr<Kr::KrRefCount>& held) noexcept {
    return static_cast<EventRegistration&>(*held);
}

}  // namespace

ListenerTable& ListenerTable::instance() {
    static auto& table = *new ListenerTable;
    return table;
}

void ListenerTable::add(int id, KrSimEventListener& listener) {
    const std::lock_guard lock(_mutex);
    auto& registrations = listener._registrations;
    for (auto [each, end] = registrations.equal_range(id); each != end; ++each) {
        if (asRegistration(each->second).isConnected()) return;
    }
    auto* list = _find(id);
    if (list == nullptr) {
        auto& first = _lists[_bucketOf(id)];
        list = new List(id, first.load(std::memory_order_relaxed));
        first.store(list, std::memory_order_release);
    }
    const auto made = Kr::makeSmart<EventRegistration>(*list, listener);
    const auto place = registrations.emplace(id, made);
    try {
        list->_add(made);
    } catch (...) {
        registrations.erase(place);
        throw;
    }
    _generation.fetch_add(1, std::memory_order_release);
}

void ListenerTable::remove(int id, KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    auto [each, end] = listener._registrations.equal_range(id);
    while (each != end) {
        auto& registration = asRegistration(each->second);
        if (registration.isConnected()) _end(registration);
        const bool isKnown = registration.getRefCount() > 1;  // to a delivery, perhaps
        each = isKnown ? std::next(each) : listener._registrations.erase(each);
    }
}

void ListenerTable::forget(KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    for (const auto& [id, held] : listener._registrations) {
        auto& registration = asRegistration(held);
        registration.listener.store(nullptr, std::memory_order_relaxed);
        if (registration.isConnected()) _end(registration);
    }
}

void ListenerTable::_end(EventRegistration& registration) noexcept {
    const auto next = _generation.load(std::memory_order_relaxed) + 1;
    registration.ended.store(next, std::memory_order_relaxed);
    _generation.store(next, std::memory_order_release);
    registration.disconnect();
}

}  // namespace KrSim::detail
