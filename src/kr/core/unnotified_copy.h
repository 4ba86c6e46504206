#pragma once

#include "kr/core/fwd.h"

namespace Kr {

/// Copies the value of a field to another one without notification. Returns whether the sink has another value now.
using UnnotifiedCopy = bool (*)(const KrData::FieldBase& source, KrData::FieldBase& sink);

}  // namespace Kr
