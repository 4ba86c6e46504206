#pragma once

#include "kr/data/fwd.h"
#include "kr/signals/death_watch.h"

namespace KrData::detail {

/// One running notification on this thread, kept on its stack, so that a field which dies under its own observers is
/// not touched afterwards.
class NotificationFrame : private Kr::DeathWatch {
public:
    NotificationFrame(const FieldBase& field, const FieldBase& changed) noexcept : DeathWatch(&field, &changed) {}

    /// The field that runs this notification is gone.
    [[nodiscard]] bool fieldDied() const noexcept { return died(); }
    /// The field that the notification is about is gone: it must not be announced any more.
    [[nodiscard]] bool changedDied() const noexcept { return otherDied(); }

    static void onFieldDestroyed(const FieldBase& field) noexcept { announce(&field); }
};

}  // namespace KrData::detail
