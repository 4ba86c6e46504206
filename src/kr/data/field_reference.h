#pragma once

#include <atomic>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrData {

namespace detail {
/// Shared with everything that must learn whether a field still exists; made on first need.
class KR_API FieldLiveness final : public Kr::KrRefCount {
public:
    explicit FieldLiveness(FieldBase* field) noexcept : _field(field) {}
    ~FieldLiveness() override;

    [[nodiscard]] FieldBase* getField() const noexcept { return _field.load(std::memory_order_acquire); }
    void _fieldDied() noexcept { _field.store(nullptr, std::memory_order_release); }

private:
    std::atomic<FieldBase*> _field;
};
}  // namespace detail

/// A pointer to a field that turns null when the field dies. Copyable.
/// Thread: copies may be handed between threads; what get() answers may be used on the application thread only.
class KR_API FieldReference {
public:
    FieldReference() noexcept = default;
    explicit FieldReference(FieldBase* field);

    [[nodiscard]] FieldBase* get() const noexcept { return _liveness ? _liveness->getField() : nullptr; }
    [[nodiscard]] bool isAlive() const noexcept { return get() != nullptr; }

private:
    Kr::KrSmartPtr<detail::FieldLiveness> _liveness;
};

}  // namespace KrData
