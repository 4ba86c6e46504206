#pragma once

#include <cstddef>
#include <string>

namespace KrPersistence {

/// The result of restoring a state.
struct RestoreReport {
    bool isRestored{false};        ///< false: nothing was changed, see `error`
    std::size_t restored{0};       ///< extensions, modules included, whose state was restored
    std::size_t missing{0};        ///< in the state, but not in the application
    std::size_t untouched{0};      ///< in the application, but not in the state: unchanged
    std::size_t missingFields{0};  ///< values of restored extensions whose fields do not exist any more
    std::string error;

    /// Whether the whole state was restored.
    [[nodiscard]] bool isComplete() const noexcept {
        return isRestored && missing == 0 && untouched == 0 && missingFields == 0;
    }
};

}  // namespace KrPersistence
