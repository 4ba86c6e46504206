#include "kr/data/internal/description_pool.h"

#include <mutex>
#include <unordered_set>

namespace KrData::detail {

const std::string* emptyDescription() noexcept {
    static const auto& empty = *new std::string;
    return &empty;
}

const std::string* internDescription(const std::string& description) {
    if (description.empty()) return emptyDescription();
    // Never destroyed: fields in static objects of other libraries may die later than this file's.
    static auto& mutex = *new std::mutex;
    static auto& pool = *new std::unordered_set<std::string>;
    const std::lock_guard lock(mutex);
    return &*pool.insert(description).first;
}

}  // namespace KrData::detail
