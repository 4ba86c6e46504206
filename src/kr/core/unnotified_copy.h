#pragma once

#include <cstdint>

#include "kr/core/fwd.h"

namespace Kr {

enum class UnnotifiedCopyResult : std::uint8_t {
    kSame,        ///< the values were equal
    kChanged,     ///< the sink has a new value
    kImpossible,  ///< copying takes more than that, and nothing was copied
};

/// Copies the value of a field to another one without notification.
using UnnotifiedCopy = UnnotifiedCopyResult (*)(const KrData::FieldBase& source, KrData::FieldBase& sink);

}  // namespace Kr
