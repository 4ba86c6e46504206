#include "kr/events/sim_event_listener.h"

#include "kr/events/internal/listener_table.h"

namespace KrSim {

KrSimEventListener::~KrSimEventListener() {
    if (!_registrations.empty()) detail::ListenerTable::instance().forget(*this);
}

}  // namespace KrSim
