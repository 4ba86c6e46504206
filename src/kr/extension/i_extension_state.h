#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim {

/// What stores of simulation states know of those who restore themselves.
class KR_API IExtensionState {
public:
    /// When a module restores its state; lower ones come first. The values are stored nowhere.
    enum class eRestoreStatePriority : std::int32_t {
        kBeforeContent,  ///< prepares what the content needs
        kWithContent,    ///< in no particular order
        kAfterContent,   ///< looks at restored content
    };

    IExtensionState() = delete;
};

}  // namespace KrSim
