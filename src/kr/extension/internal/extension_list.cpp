#include "kr/extension/internal/extension_list.h"

namespace KrSim::detail {

namespace {

/// Objects inside one another that are destroyed by recursion.
constexpr int kMostLevels = 64;

struct Releases {
    int levels;
    ExtensionList* waiting;
};

constinit thread_local Releases releases{0, nullptr};

}  // namespace

void ExtensionList::release(std::unique_ptr<ExtensionList> list) noexcept {
    if (releases.levels == kMostLevels) {
        list->_next = releases.waiting;
        releases.waiting = list.release();
        return;
    }
    ++releases.levels;
    list.reset();
    while (releases.levels == kMostLevels && releases.waiting != nullptr) {
        const std::unique_ptr<ExtensionList> next(releases.waiting);
        releases.waiting = next->_next;
    }
    --releases.levels;
}

}  // namespace KrSim::detail
