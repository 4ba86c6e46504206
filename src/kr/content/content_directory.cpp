#include "kr/content/content_directory.h"

#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "kr/content/i_content_resolver.h"
#include "kr/content/internal/content_index.h"
#include "kr/content/internal/content_link.h"
#include "kr/platform/guard.h"
#include "kr/platform/weak_ptr.h"

namespace KrSim {

namespace {

using detail::ContentLink;
using Holder = Kr::KrSmartPtr<Kr::KrRefCount>;

constexpr Kr::GuardTexts kObserverTexts{
    Kr::eLogLevel::kWarn, "KrContentReference: fatal error in '%s' onExtensionRegistered() [%s]\n",
    "KrContentReference: unhandled exception in '%s' onExtensionRegistered()\n", "onExtensionRegistered"};

struct Directory {
    std::mutex mutex;                 // guards the index and the members of all links
    std::condition_variable hasTold;  // an owner has been told
    detail::ContentIndex index;

    // Never destroyed: static objects are content too, to the very end.
    static Directory& instance() {
        static auto& directory = *new Directory;
        return directory;
    }
};

/// A holder of a registered extension; empty when it has no other holder yet or is being destroyed.
/// Under the lock, which keeps the extension from leaving the directory, and so from being destroyed further.
Holder tryHold(KrExtension* extension) {
    const IContentResolver* resolver = Kr::UpperLayer<IContentResolver>::get();
    if (!extension || !resolver) return {};
    return Kr::KrWeakPtr<Kr::KrRefCount>(resolver->asRefCount(extension)).lock();
}

/// What a change leaves to be done without the lock. Declare it before the lock is taken.
class WorkAfterUnlock {
public:
    WorkAfterUnlock() = default;
    WorkAfterUnlock(const WorkAfterUnlock&) = delete;
    WorkAfterUnlock& operator=(const WorkAfterUnlock&) = delete;
    ~WorkAfterUnlock() {
        for (const auto& link : _toTell)
            _tell(*link);
    }

    /// Under the lock. Gives the link another target, and a holder of it when it is strong: the one given, or a new
    /// one. Memory may run out while an extension is being destroyed: then the owner is not told, or the target not
    /// held.
    void retarget(ContentLink& link, KrExtension* target, Holder holder = {}) noexcept {
        const bool isChanged = link.target.load(std::memory_order_relaxed) != target;
        if (!isChanged && (link.holder || !link.isStrong)) return;
        try {
            if (link.isStrong && !holder) holder = tryHold(target);
            if (isChanged && link.observer) _toTell.emplace_back(&link);
        } catch (const std::bad_alloc&) {
        }
        release(link);
        if (link.isStrong) link.holder = std::move(holder);
        if (!isChanged) return;
        link.target.store(target, std::memory_order_release);
        ++link.changeCount;
    }
    /// Under the lock. Releases the target afterwards, since that may destroy it. For one link only: no other change
    /// takes the target from a link that holds it.
    void release(ContentLink& link) noexcept {
        if (link.holder) _released.swap(link.holder);
    }

private:
    /// Calls the observer until it has been called after the last change. One thread at a time does so for one link;
    /// the others leave it to that one.
    static void _tell(ContentLink& link) noexcept {
        Directory& directory = Directory::instance();
        std::unique_lock lock(directory.mutex);
        if (link.teller != Kr::ThreadId::kNone) return;
        link.teller = Kr::getCurrentThreadId();
        while (link.observer && link.toldCount != link.changeCount) {
            link.toldCount = link.changeCount;
            auto observer = link.observer;  // outlives its owner
            const KrContentID id = link.id;
            lock.unlock();
            Kr::callGuarded(
                kObserverTexts, [&] { return id.toString(); }, *observer);
            observer.reset();
            lock.lock();
        }
        link.teller = Kr::ThreadId::kNone;
        lock.unlock();
        directory.hasTold.notify_all();
    }

    std::vector<Kr::KrSmartPtr<ContentLink>> _toTell;
    Holder _released;
};

/// The extension for a reference: the first with its runtime ID, else the only one with its raw ID. Those with the
/// empty ID differ by their address only.
void aim(const detail::ContentIndex& index, ContentLink& link, WorkAfterUnlock& afterUnlock) noexcept {
    KrExtension* target = index.findFirst(link.id.getRuntimeID());
    const bool isExact = target != nullptr;
    if (!isExact) target = index.findOnly(link.id.getRawID());
    afterUnlock.retarget(link, target);
    link.isTwin = target && !isExact;
}

/// Resolves the references that wait for an extension that has come.
void offerToWaiting(const detail::ContentIndex& index, const KrContentID& id, KrExtension* extension,
                    WorkAfterUnlock& afterUnlock) {
    index.forEachLinkToItem(id, [&](ContentLink& link) {
        const auto* target = link.target.load(std::memory_order_relaxed);
        const bool isBetter = link.isTwin && !link.holder && target != extension && link.id == id;
        if (!target || isBetter) aim(index, link, afterUnlock);
    });
}

/// Returns when no other thread is telling the owner.
void waitForOthers(std::unique_lock<std::mutex>& lock, const ContentLink& link) {
    const Kr::ThreadId self = Kr::getCurrentThreadId();
    Directory::instance().hasTold.wait(lock, [&] { return link.teller == Kr::ThreadId::kNone || link.teller == self; });
}

}  // namespace

// Extensions

void KrContentDirectory::add(KrExtension* extension, const KrContentID& id) {
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    if (directory.index.add(extension, id)) offerToWaiting(directory.index, id, extension, afterUnlock);
}

bool KrContentDirectory::remove(KrExtension* extension, const KrContentID& id) noexcept {
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    if (!directory.index.remove(extension, id)) return false;
    directory.index.forEachLinkToItem(id, [&](ContentLink& link) {
        const auto* target = link.target.load(std::memory_order_relaxed);
        // One that waits because there were two of the item may find the other one now.
        if ((target == extension && !link.holder) || !target) aim(directory.index, link, afterUnlock);
    });
    return true;
}

void KrContentDirectory::changeID(KrExtension* extension, const KrContentID& before, const KrContentID& after) {
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    detail::ContentIndex& index = directory.index;
    if (index.contains(extension, before.getRuntimeID())) {
        index.changeID(extension, before, after);
        if (before != after) offerToWaiting(index, after, extension, afterUnlock);
    }
    index.forEachLinkToItem(before, [&](ContentLink& link) {
        if (link.target.load(std::memory_order_relaxed) != extension) return;
        index.removeLink(link);
        link.id = after;
        link.isTwin = false;
        index.addLink(link);
    });
}

bool KrContentDirectory::contains(const KrExtension* extension, const KrContentID::Identifier& id) {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    return directory.index.contains(extension, id);
}

KrExtension* KrContentDirectory::find(const KrContentID::Identifier& id) {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    return directory.index.findFirst(id);
}

namespace {

KrContentDirectory::Held holdNow(KrExtension* extension) {
    Holder holder = tryHold(extension);
    return holder ? KrContentDirectory::Held(extension, std::move(holder)) : KrContentDirectory::Held();
}

}  // namespace

KrContentDirectory::Held KrContentDirectory::hold(const KrContentID::Identifier& id) {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    return holdNow(directory.index.findFirst(id));
}

KrContentDirectory::Held KrContentDirectory::resolve(const KrContentID::Identifier& runtimeID,
                                                     const KrContentID::Identifier& rawID) {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    KrExtension* const exact = directory.index.findFirst(runtimeID);
    return holdNow(exact ? exact : directory.index.findOnly(rawID));
}

std::size_t KrContentDirectory::getCountOf(const KrContentID::Identifier& rawID) {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    return directory.index.countOf(rawID);
}

std::vector<KrContentDirectory::Held> KrContentDirectory::holdItems(const KrContentID::Identifier& rawID,
                                                                    std::size_t most) {
    std::vector<Held> items;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    for (auto* extension : directory.index.findItems(rawID, most)) {
        if (auto held = holdNow(extension); held.first) items.push_back(std::move(held));
    }
    return items;
}

std::size_t KrContentDirectory::getCount() {
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    return directory.index.count();
}

// References

void KrContentDirectory::connect(ContentLink& link, const KrContentID& id, const Held& preferred) {
    const auto& key = id.getRuntimeID();
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    detail::ContentIndex& index = directory.index;
    index.removeLink(link);
    link.id = id;
    const bool isPreferred = index.contains(preferred.first, key) || (link.isStrong && preferred.second);
    if (isPreferred || !key.isNull()) index.addLink(link);
    if (isPreferred) {
        afterUnlock.retarget(link, preferred.first, preferred.second);
        link.isTwin = false;
    } else {
        aim(index, link, afterUnlock);
    }
    link.toldCount = link.changeCount;  // the owner caused it
}

void KrContentDirectory::disconnect(ContentLink& link) noexcept {
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    directory.index.removeLink(link);
    if (!link.holder) afterUnlock.retarget(link, nullptr);
    link.toldCount = link.changeCount;
}

void KrContentDirectory::close(ContentLink& link) noexcept {
    Holder holder;
    std::shared_ptr<const ContentLink::Observer> observer;
    Directory& directory = Directory::instance();
    std::unique_lock lock(directory.mutex);
    directory.index.removeLink(link);
    link.target.store(nullptr, std::memory_order_relaxed);
    holder.swap(link.holder);
    observer.swap(link.observer);
    waitForOthers(lock, link);
    lock.unlock();
}

void KrContentDirectory::setObserver(ContentLink& link, std::function<void()> function) {
    std::shared_ptr<const ContentLink::Observer> observer;
    if (function) observer = std::make_shared<const ContentLink::Observer>(std::move(function));
    Directory& directory = Directory::instance();
    std::unique_lock lock(directory.mutex);
    observer.swap(link.observer);
    link.toldCount = link.changeCount;
    waitForOthers(lock, link);
    lock.unlock();
}

void KrContentDirectory::setStrong(ContentLink& link, bool isStrong) {
    WorkAfterUnlock afterUnlock;
    Directory& directory = Directory::instance();
    const std::lock_guard lock(directory.mutex);
    if (link.isStrong == isStrong) return;
    KrExtension* const target = link.target.load(std::memory_order_relaxed);
    link.isStrong = isStrong;
    if (isStrong) {
        link.holder = tryHold(target);
        return;
    }
    afterUnlock.release(link);
    // It may have left the directory while it was held.
    const auto& key = link.id.getRuntimeID();
    if (!link.isConnected()) {
        afterUnlock.retarget(link, nullptr);
    } else if (!directory.index.contains(target, key)) {
        aim(directory.index, link, afterUnlock);
    }
    link.toldCount = link.changeCount;
}

bool KrContentDirectory::isStrong(const ContentLink& link) {
    const std::lock_guard lock(Directory::instance().mutex);
    return link.isStrong;
}

bool KrContentDirectory::isConnected(const ContentLink& link) {
    const std::lock_guard lock(Directory::instance().mutex);
    return link.isConnected();
}

KrContentID KrContentDirectory::idOf(const ContentLink& link) {
    const std::lock_guard lock(Directory::instance().mutex);
    return link.id;
}

KrContentDirectory::Held KrContentDirectory::hold(const ContentLink& link) {
    const std::lock_guard lock(Directory::instance().mutex);
    KrExtension* const target = link.target.load(std::memory_order_relaxed);
    Holder holder = link.holder ? link.holder : tryHold(target);
    return holder ? Held(target, std::move(holder)) : Held();
}

}  // namespace KrSim
