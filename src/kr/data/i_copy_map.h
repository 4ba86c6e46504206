#pragma once

#include "kr/core/fwd.h"
#include "kr/data/fwd.h"

namespace KrData {

/// Maps extensions and fields of an original tree to their copies.
class ICopyMap {
public:
    /// Null when the extension was not copied.
    [[nodiscard]] virtual KrSim::KrExtension* findExtension(const KrSim::KrExtension* original) const = 0;
    /// Null when its extension was not copied, or when the copy has no such field.
    [[nodiscard]] virtual FieldBase* findField(const FieldBase& original) const = 0;

protected:
    ~ICopyMap() = default;
};

}  // namespace KrData
