#pragma once

#include "kr/data/fwd.h"
#include "kr/signals/death_watch.h"

namespace KrData::detail {

/// One running notification on this thread, on its stack, so that a field that dies under its own observers is not
/// accessed afterwards.
class NotificationFrame : private Kr::DeathWatch {
public:
    NotificationFrame(const FieldBase& field, const FieldBase& changed) noexcept : DeathWatch(&field, &changed) {}

    /// The field that runs this notification has died.
    [[nodiscard]] bool fieldDied() const noexcept { return died(); }
    /// The field of the notification has died: it must not be passed any more.
    [[nodiscard]] bool changedDied() const noexcept { return otherDied(); }

    static void onFieldDestroyed(const FieldBase& field) noexcept { announce(&field); }
};

}  // namespace KrData::detail
