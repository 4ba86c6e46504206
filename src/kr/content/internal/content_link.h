#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/thread_id.h"

namespace KrSim::detail {

/// What a reference shares with the directory, whose lock guards all members. The target may be read without it.
struct ContentLink final : Kr::KrRefCount {
    using Observer = std::function<void()>;

    KrContentID id;
    std::atomic<KrExtension*> target{nullptr};
    Kr::KrSmartPtr<Kr::KrRefCount> holder;  // of the target, when strong
    bool isStrong{false};

    bool isConnected{false};  // in the list of those that follow the same ID
    ContentLink* previous{nullptr};
    ContentLink* next{nullptr};

    std::shared_ptr<const Observer> observer;
    std::uint64_t changeCount{0};  // changes of the target so far
    std::uint64_t toldCount{0};    // of these, known to the owner
    Kr::ThreadId teller{Kr::ThreadId::kNone};
};

}  // namespace KrSim::detail
