#pragma once

#include "kr/data/fwd.h"

namespace KrData::detail {

/// One running notification on this thread, kept on its stack, so that a field which dies under its own observers is
/// not touched afterwards.
class NotificationFrame {
public:
    NotificationFrame(const FieldBase& field, const FieldBase& changed) noexcept
        : _field(&field), _changed(&changed), _previous(_top) {
        _top = this;
    }
    NotificationFrame(const NotificationFrame&) = delete;
    NotificationFrame& operator=(const NotificationFrame&) = delete;
    ~NotificationFrame() { _top = _previous; }

    /// The field that runs this notification is gone.
    [[nodiscard]] bool fieldDied() const noexcept { return _field == nullptr; }
    /// The field that the notification is about is gone: it must not be announced any more.
    [[nodiscard]] bool changedDied() const noexcept { return _changed == nullptr; }

    static void onFieldDestroyed(const FieldBase& field) noexcept {
        for (auto* frame = _top; frame != nullptr; frame = frame->_previous) {
            if (frame->_field == &field) frame->_field = nullptr;
            if (frame->_changed == &field) frame->_changed = nullptr;
        }
    }

private:
    const FieldBase* _field;
    const FieldBase* _changed;
    NotificationFrame* _previous;
    // Reached on every notification; the default model of a shared library costs a function call each time.
    [[gnu::tls_model("initial-exec")]] static thread_local constinit NotificationFrame* _top;
};

}  // namespace KrData::detail
