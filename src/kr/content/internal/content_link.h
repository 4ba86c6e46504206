#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/thread_id.h"

namespace KrSim::detail {

struct ContentLink;

/// The kinds of ID that content and references are listed under.
enum class eIDKind : std::uint8_t { kRuntime, kRaw };
inline constexpr std::size_t kIDKindCount = 2;

[[nodiscard]] inline const KrContentID::Identifier& keyOf(const KrContentID& id, eIDKind kind) noexcept {
    return kind == eIDKind::kRuntime ? id.getRuntimeID() : id.getRawID();
}

/// The position of a reference in the list of references with the same ID.
struct ContentHook {
    ContentLink* previous{nullptr};
    ContentLink* next{nullptr};
    bool isLinked{false};
};

/// The data that a reference shares with the directory, whose lock guards all members. Reads of the target need none.
struct ContentLink final : Kr::KrRefCount {
    using Observer = std::function<void()>;

    KrContentID id;
    std::atomic<KrExtension*> target{nullptr};
    Kr::KrSmartPtr<Kr::KrRefCount> holder;  // of the target, when strong
    bool isStrong{false};

    std::array<ContentHook, kIDKindCount> hooks;  // in the lists of references to the same ID
    bool isTwin{false};  // the target is the only content with the raw ID, while none has the runtime ID

    std::shared_ptr<const Observer> observer;
    std::uint64_t changeCount{0};  // changes of the target so far
    std::uint64_t toldCount{0};    // of these, reported to the owner
    Kr::ThreadId teller{Kr::ThreadId::kNone};

    [[nodiscard]] ContentHook& hook(eIDKind kind) noexcept { return hooks[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] bool isConnected() const noexcept { return hooks.front().isLinked; }
};

}  // namespace KrSim::detail
