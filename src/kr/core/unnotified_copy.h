#pragma once

#include <cstdint>

#include "kr/core/fwd.h"

namespace Kr {

enum class UnnotifiedCopyResult : std::uint8_t {
    kSame,        ///< the values were equal
    kChanged,     ///< the sink has another value now
    kImpossible,  ///< copying takes more than that, and nothing was done
};

/// Copies the value of a field to another one without notification.
using UnnotifiedCopy = UnnotifiedCopyResult (*)(const KrData::FieldBase& source, KrData::FieldBase& sink);

}  // namespace Kr
