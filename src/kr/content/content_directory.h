#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace detail {
struct ContentLink;
}  // namespace detail

/// Which live extension carries which runtime ID, and the references that follow it: the working half of the content
/// registry, which is what extensions and hosts use.
///
/// Several extensions may carry one ID, as when a file is loaded twice. The first answers for it; when it goes, the
/// next one does. No extension is found by the empty ID. A reference whose extension changes its ID follows the
/// extension. One whose ID no extension carries takes the only extension with the same raw ID, until one with the ID
/// comes. Thread: any. One lock covers the bookkeeping; owners of references are told without it, on the thread that
/// makes the change, before the call returns, or by a thread that is just telling the same owner.
class KR_API KrContentDirectory {
public:
    /// An extension with a holder that keeps it alive, or null with an empty holder.
    using Held = std::pair<KrExtension*, Kr::KrSmartPtr<Kr::KrRefCount>>;

    KrContentDirectory() = delete;

    // --- Extensions ------------------------------------------------------------------------------------------------
    /// Nothing happens when it is there already.
    static void _add(KrExtension* extension, const KrContentID& id);
    /// Answers whether it was there. What it is, or was, is not looked at: it may be half destroyed.
    static bool _remove(KrExtension* extension, const KrContentID& id) noexcept;
    static void _changeID(KrExtension* extension, const KrContentID& before, const KrContentID& after);
    [[nodiscard]] static bool _contains(const KrExtension* extension, const KrContentID::Identifier& id);
    /// The pointer is good as long as no other thread lets go of the extension.
    [[nodiscard]] static KrExtension* _find(const KrContentID::Identifier& id);
    /// Null for an extension without a holder or one that is being destroyed.
    [[nodiscard]] static Held _hold(const KrContentID::Identifier& id);
    /// The same, and where none has the runtime ID, the only one with the raw ID.
    [[nodiscard]] static Held _resolve(const KrContentID::Identifier& runtimeID, const KrContentID::Identifier& rawID);
    /// How many have this raw ID: the same item from several files, or several times from one.
    [[nodiscard]] static std::size_t _getCountOf(const KrContentID::Identifier& rawID);
    /// The first of these, at most so many, with holders; without those that cannot be held.
    [[nodiscard]] static std::vector<Held> _holdItems(const KrContentID::Identifier& rawID, std::size_t most);
    /// How many extensions are there.
    [[nodiscard]] static std::size_t _getCount();

    // --- References ------------------------------------------------------------------------------------------------
    /// Lets a reference follow an ID. It gets the preferred extension if that is in the directory under the ID or the
    /// reference is strong and given a holder of it; else the one that answers for the ID, or none.
    static void _connect(detail::ContentLink& link, const KrContentID& id, const Held& preferred);
    /// The reference follows no extension any more; a strong one keeps what it holds.
    static void _disconnect(detail::ContentLink& link) noexcept;
    /// The same for good. Returns when no other thread is telling the owner.
    static void _close(detail::ContentLink& link) noexcept;

    /// Returns when no other thread is in a call of the observer before.
    static void _setObserver(detail::ContentLink& link, std::function<void()> observer);
    static void _setStrong(detail::ContentLink& link, bool isStrong);
    [[nodiscard]] static bool _isStrong(const detail::ContentLink& link);
    [[nodiscard]] static bool _isConnected(const detail::ContentLink& link);
    [[nodiscard]] static KrContentID _idOf(const detail::ContentLink& link);
    [[nodiscard]] static Held _hold(const detail::ContentLink& link);
};

}  // namespace KrSim
