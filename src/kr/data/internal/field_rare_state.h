#pragma once

#include <atomic>
#include <forward_list>
#include <memory>

#include "kr/core/id.h"
#include "kr/data/connection_list.h"
#include "kr/data/field_internal.h"
#include "kr/data/field_reference.h"
#include "kr/data/internal/observer_list.h"
#include "kr/data/internal/proxy_list.h"
#include "kr/signals/listener_list.h"

namespace KrData::detail {

/// A name that a child of a container had in earlier releases.
struct DeprecatedName {
    DeprecatedName(const Kr::KrID& itsFormer, const Kr::KrID& itsPresent) : former(itsFormer), present(itsPresent) {}

    Kr::KrID former;
    Kr::KrID present;
    mutable std::atomic<bool> isTold{false};
};

/// The state that few fields have, behind one pointer. The observer lists are created on any thread.
struct FieldRareState {
    Kr::KrSmartPtr<Kr::Liveness<FieldBase>> liveness;
    std::unique_ptr<FieldInternal> internal;
    std::atomic<ObserverList*> observers{nullptr};
    std::atomic<ObserverList*> propertyObservers{nullptr};
    ProxyList proxies;
    ConnectionList incoming;
    ConnectionList stepped;  // outgoing ones that act between steps
    Kr::ListenerList<FieldListener> listeners;
    std::forward_list<DeprecatedName> deprecatedNames;  // of containers
};

}  // namespace KrData::detail
