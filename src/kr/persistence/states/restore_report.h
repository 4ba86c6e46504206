#pragma once

#include <cstddef>
#include <string>

namespace KrPersistence {

/// What became of a state that was to be restored.
struct RestoreReport {
    bool isRestored{false};        ///< false: nothing was touched, see `error`
    std::size_t restored{0};       ///< extensions, modules included, that have their state again
    std::size_t missing{0};        ///< of the state, but not here any more
    std::size_t untouched{0};      ///< here, but not of the state: they stay as they are
    std::size_t missingFields{0};  ///< values of restored extensions whose fields are not there any more
    std::string error;

    /// Whether everything is as it was.
    [[nodiscard]] bool isComplete() const noexcept {
        return isRestored && missing == 0 && untouched == 0 && missingFields == 0;
    }
};

}  // namespace KrPersistence
