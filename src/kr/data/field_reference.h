#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/liveness.h"

namespace KrData {

/// A pointer to a field that becomes null when the field dies. Copyable.
/// Thread: copies may be passed between threads; use the result of get() on the application thread only. Ownership:
/// borrows the field.
class KR_API FieldReference {
public:
    FieldReference() noexcept = default;
    explicit FieldReference(FieldBase* field);

    /// Null after the field died.
    [[nodiscard]] FieldBase* get() const noexcept { return _liveness ? _liveness->get() : nullptr; }
    [[nodiscard]] bool isAlive() const noexcept { return get() != nullptr; }

private:
    Kr::KrSmartPtr<Kr::Liveness<FieldBase>> _liveness;
};

}  // namespace KrData
