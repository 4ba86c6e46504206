#include "kr/persistence/content/internal/kept_content.h"

#include <map>
#include <memory>
#include <mutex>

#include "kr/extension/extension.h"

namespace KrPersistence::detail {

namespace {

struct Keepers {
    std::mutex mutex;  // guards the others
    std::map<std::uint64_t, const Kr::KrWeakPtr<KrSim::KrExtension>*> all;
    std::uint64_t nextNumber{0};

    static Keepers& instance() {
        static auto& keepers = *new Keepers;
        return keepers;
    }
};

thread_local int pauseCount{0};

bool isOfAnotherThread(const KrSim::KrExtension& extension) {
    const auto context = extension.getApplicationContext();
    return context.isRunning() && !context.isApplicationThread();
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

KeptContent::KeptContent(KrSim::KrExtension& extension) : _extension(&extension) {
    auto& keepers = Keepers::instance();
    const std::lock_guard lock(keepers.mutex);
    _number = keepers.nextNumber++;
    keepers.all.emplace(_number, &_extension);
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

std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> KeptContent::getExtensions() {
    auto& keepers = Keepers::instance();
    std::vector<Kr::KrWeakPtr<KrSim::KrExtension>> copies;
    {
        const std::lock_guard lock(keepers.mutex);
        for (const auto& [number, extension] : keepers.all)
            copies.push_back(*extension);
    }
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> held;
    for (const auto& copy : copies) {
        auto extension = copy.lock();
        if (extension && !isOfAnotherThread(*extension)) held.push_back(std::move(extension));
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
