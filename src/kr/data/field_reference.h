#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/liveness.h"

namespace KrData {

/// A pointer to a field that turns null when the field dies. Copyable.
/// Thread: copies may be handed between threads; what get() answers may be used on the application thread only.
class KR_API FieldReference {
public:
    FieldReference() noexcept = default;
    explicit FieldReference(FieldBase* field);

    [[nodiscard]] FieldBase* get() const noexcept { return _liveness ? _liveness->get() : nullptr; }
    [[nodiscard]] bool isAlive() const noexcept { return get() != nullptr; }

private:
    Kr::KrSmartPtr<Kr::Liveness<FieldBase>> _liveness;
};

}  // namespace KrData
