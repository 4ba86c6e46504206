#include "kr/persistence/content/internal/kept_content.h"

#include <map>
#include <memory>
#include <mutex>

#include "kr/extension/extension.h"
#include "kr/platform/thread_id.h"
#include "kr/platform/weak_ptr.h"

namespace KrPersistence::detail {

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
    auto* kept = static_cast<KeptContent*>(extension._getKeptContent());
    if (kept == nullptr) {
        auto made = std::make_unique<KeptContent>(extension);
        kept = made.get();
        extension._setKeptContent(std::move(made));
    }
    return *kept;
}

const KeptContent* KeptContent::find(const KrSim::KrExtension& extension) {
    return static_cast<const KeptContent*>(extension._getKeptContent());
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
    const bool isEmpty = kept->connections.empty() && kept->references.empty() && kept->standIns.empty() &&
                         kept->standInConnections.empty();
    if (isEmpty) extension._setKeptContent(nullptr);
}

}  // namespace KrPersistence::detail
