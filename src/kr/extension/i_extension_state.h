#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim {

/// The order of restoring simulation states.
/// Thread: value. Ownership: none.
class KR_API IExtensionState {
public:
    /// When a module restores its state; lower values first. The values are not stored.
    enum class eRestoreStatePriority : std::int32_t {
        kBeforeContent,  ///< prepares data that the content needs
        kWithContent,    ///< in no particular order
        kAfterContent,   ///< uses restored content
    };

    IExtensionState() = delete;
};

}  // namespace KrSim
