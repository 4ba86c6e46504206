#include "kr/persistence/files/producer.h"

#include <mutex>
#include <utility>

#include "kr/platform/version.h"

namespace KrPersistence {

namespace {

Producer theLibrary() {
    return {"Orrery", KR_VERSION_MARKETING_NAME, Kr::getLibraryVersion()};
}

struct Present {
    std::mutex mutex;  // guards the producer
    Producer producer{theLibrary()};
};

Present& present() {
    static auto& all = *new Present;
    return all;
}

}  // namespace

void setProducer(const Producer& producer) {
    auto& all = present();
    Producer next = producer.application.empty() ? theLibrary() : producer;
    const std::lock_guard lock(all.mutex);
    std::swap(all.producer, next);
}

Producer getProducer() {
    auto& all = present();
    const std::lock_guard lock(all.mutex);
    return all.producer;
}

}  // namespace KrPersistence
