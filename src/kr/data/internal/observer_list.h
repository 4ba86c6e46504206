#pragma once

#include "kr/data/fwd.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/signals/snapshot_list.h"

namespace KrData::detail {

/// The observers of one field. Its source is the field; a dying field waits for a change of the list in progress.
using ObserverList = Kr::CallbackList<const FieldBase&>;

/// Calls the observers, until the changed field dies. Exceptions are logged.
void notifyObservers(const ObserverList::Reader& observers, const FieldBase& changed, const NotificationFrame& frame);

}  // namespace KrData::detail
