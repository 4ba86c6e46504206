#include "benchmarks/bare_event.h"

BareListener::~BareListener() = default;

void BareListener::onEvent(const BareEvent& event) {
    _calls += event.id == _id && event.payload[1] == 0;
}
