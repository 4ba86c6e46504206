#pragma once

#include "kr/core/fwd.h"
#include "kr/data/fwd.h"

namespace KrData {

/// Tells which extensions and fields of a copied tree stand for those of the original.
class ICopyMap {
public:
    /// Null where the extension was not copied.
    [[nodiscard]] virtual KrSim::KrExtension* _findExtension(const KrSim::KrExtension* original) const = 0;
    /// Null where its extension was not copied, or where the copy has no such field.
    [[nodiscard]] virtual FieldBase* _findField(const FieldBase& original) const = 0;

protected:
    ~ICopyMap() = default;
};

}  // namespace KrData
