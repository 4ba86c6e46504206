#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "kr/data/connection_list.h"
#include "kr/data/field_internal.h"
#include "kr/data/field_reference.h"
#include "kr/data/internal/observer_list.h"
#include "kr/data/internal/proxy_list.h"

namespace KrData::detail {

/// What few fields have, behind one pointer. The observer lists are made on any thread, the rest on the application's.
struct FieldRareState {
    Kr::KrSmartPtr<FieldLiveness> liveness;
    std::unique_ptr<FieldInternal> internal;
    std::atomic<ObserverList*> observers{nullptr};
    std::atomic<ObserverList*> propertyObservers{nullptr};
    ProxyList proxies;
    ConnectionList incoming;
    std::vector<FieldListener*> listeners;  // null where one has gone while they are told
    std::uint32_t listenerWalks{0};
};

}  // namespace KrData::detail
