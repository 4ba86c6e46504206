#include "kr/data/field_listener.h"

namespace KrData {

FieldListener::~FieldListener() = default;
void FieldListener::onIncomingConnectionAdded(Kr::KrConnectionBase*) {}
void FieldListener::onIncomingConnectionRemoved(Kr::KrConnectionBase*) {}
void FieldListener::onOutgoingConnectionAdded(Kr::KrConnectionBase*) {}
void FieldListener::onOutgoingConnectionRemoved(Kr::KrConnectionBase*) {}

}  // namespace KrData
