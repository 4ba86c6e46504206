#include "kr/persistence/objects/internal/kept_content.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/platform/thread_id.h"
#include "kr/platform/weak_ptr.h"

namespace KrPersistence::detail {

using KrSim::detail::ExtensionAccess;

namespace {

struct Keeper {
    Kr::KrWeakPtr<KrSim::KrExtension> extension;
    Kr::ThreadId thread;  // which loaded it
};

struct Keepers {
    std::mutex mutex;  // guards the others
    std::map<std::uint64_t, Keeper> all;
    std::uint64_t nextNumber{0};

    static Keepers& instance() {
        static auto& keepers = *new Keepers;
        return keepers;
    }
};

thread_local int pauseCount{0};

bool mayChange(const KrSim::KrExtension& extension, Kr::ThreadId loader, KeptContent::Whose whose) {
    const auto context = extension.getApplicationContext();
    if (context.isRunning()) return context.isApplicationThread();
    return whose == KeptContent::Whose::kAll || loader == Kr::getCurrentThreadId();
}

}  // namespace

RetryPause::RetryPause() noexcept {
    ++pauseCount;
}

RetryPause::~RetryPause() {
    --pauseCount;
}

bool RetryPause::isOn() noexcept {
    return pauseCount > 0;
}

KeptContent::KeptContent(KrSim::KrExtension& extension) {
    auto& keepers = Keepers::instance();
    const std::lock_guard lock(keepers.mutex);
    _number = keepers.nextNumber++;
    keepers.all.emplace(_number, Keeper{Kr::KrWeakPtr<KrSim::KrExtension>(&extension), Kr::getCurrentThreadId()});
    IKeptContent::_setRetry(&retryKeptContent);
}

KeptContent::~KeptContent() {
    auto& keepers = Keepers::instance();
    const std::lock_guard lock(keepers.mutex);
    keepers.all.erase(_number);
}

KeptContent& KeptContent::of(KrSim::KrExtension& extension) {
    auto* kept = static_cast<KeptContent*>(ExtensionAccess::getKeptContent(extension));
    if (kept == nullptr) {
        auto made = std::make_unique<KeptContent>(extension);
        kept = made.get();
        ExtensionAccess::setKeptContent(extension, std::move(made));
    }
    return *kept;
}

const KeptContent* KeptContent::find(const KrSim::KrExtension& extension) {
    return static_cast<const KeptContent*>(ExtensionAccess::getKeptContent(extension));
}

std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> KeptContent::getExtensions(Whose whose) {
    auto& keepers = Keepers::instance();
    std::vector<Keeper> copies;
    {
        const std::lock_guard lock(keepers.mutex);
        for (const auto& [number, keeper] : keepers.all)
            copies.push_back(keeper);
    }
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> held;
    for (const auto& copy : copies) {
        auto extension = copy.extension.lock();
        if (extension && mayChange(*extension, copy.thread, whose)) held.push_back(std::move(extension));
    }
    return held;
}

void KeptContent::_copyTo(KrSim::KrExtension& copy) const {
    if (references.empty() && standIns.empty() && !isAwaitingDefinition && !isFollowingStandIn) return;
    auto& kept = of(copy);
    kept.references = references;
    kept.standIns = standIns;
    kept.isAwaitingDefinition = isAwaitingDefinition;
    kept.isFollowingStandIn = isFollowingStandIn;
}

void KeptContent::dropIfEmpty(KrSim::KrExtension& extension) {
    const auto* kept = find(extension);
    if (kept == nullptr || kept->isAwaitingDefinition || kept->isFollowingStandIn) return;
    if (KeptBefore::holds(extension)) return;
    const bool isEmpty = kept->connections.empty() && kept->references.empty() && kept->standIns.empty() &&
                         kept->standInConnections.empty();
    if (isEmpty) ExtensionAccess::setKeptContent(extension, nullptr);
}

// --- A load that may fail ------------------------------------------------------------------------------------------

thread_local constinit KeptBefore* KeptBefore::_top = nullptr;

KeptBefore::KeptBefore() {
    for (auto& extension : KeptContent::getExtensions()) {
        KeptItems items = KeptContent::of(*extension);
        items.references.reserve(items.references.size() + items.standIns.size());
        items.connections.reserve(items.connections.size() + items.standInConnections.size());
        _entries.push_back({std::move(extension), std::move(items)});
    }
    std::sort(_entries.begin(), _entries.end(),
              [](const Entry& one, const Entry& other) { return one.extension.get() < other.extension.get(); });
    _outer = std::exchange(_top, this);
}

KeptBefore::~KeptBefore() {
    for (auto& [extension, items] : _entries)
        static_cast<KeptItems&>(KeptContent::of(*extension)) = std::move(items);
    keep();
}

void KeptBefore::keep() noexcept {
    for (auto** at = &_top; *at != nullptr; at = &(*at)->_outer) {
        if (*at != this) continue;
        *at = _outer;
        break;
    }
    for (const auto& each : _entries)
        KeptContent::dropIfEmpty(*each.extension);
    _entries.clear();
}

KeptBefore::Entry* KeptBefore::_find(const KrSim::KrExtension& keeper) noexcept {
    const auto found = std::lower_bound(
        _entries.begin(), _entries.end(), &keeper,
        [](const Entry& entry, const KrSim::KrExtension* wanted) { return entry.extension.get() < wanted; });
    return found != _entries.end() && found->extension.get() == &keeper ? &*found : nullptr;
}

bool KeptBefore::holds(const KrSim::KrExtension& keeper) noexcept {
    for (auto* each = _top; each != nullptr; each = each->_outer) {
        if (each->_find(keeper) != nullptr) return true;
    }
    return false;
}

void KeptBefore::onReplaced(const KrSim::KrExtension& keeper, const StandIn& standIn) noexcept {
    for (auto* each = _top; each != nullptr; each = each->_outer) {
        auto* entry = each->_find(keeper);
        if (entry == nullptr) continue;
        auto& standIns = entry->items.standIns;
        const auto found = std::find_if(standIns.begin(), standIns.end(), [&](const StandIn& one) {
            return one.reference.fieldPath == standIn.reference.fieldPath &&
                   one.reference.item == standIn.reference.item;
        });
        if (found == standIns.end()) continue;
        entry->items.references.push_back(std::move(found->reference));
        standIns.erase(found);
    }
}

void KeptBefore::onReplaced(const KrSim::KrExtension& keeper, const StandInConnection& standIn) noexcept {
    const auto endsOf = [](const ConnectionRecord& record) {
        return std::tie(record.source, record.sourceField, record.sink, record.sinkField);
    };
    for (auto* each = _top; each != nullptr; each = each->_outer) {
        auto* entry = each->_find(keeper);
        if (entry == nullptr) continue;
        auto& standIns = entry->items.standInConnections;
        const auto found = std::find_if(standIns.begin(), standIns.end(), [&](const StandInConnection& one) {
            return endsOf(one.meant) == endsOf(standIn.meant);
        });
        if (found == standIns.end()) continue;
        entry->items.connections.push_back(std::move(found->meant));
        standIns.erase(found);
    }
}

}  // namespace KrPersistence::detail
