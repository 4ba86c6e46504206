#include "kr/core/connections/unit_delay_connection.h"

#include "kr/core/connections/internal/new_connection.h"
#include "kr/core/connections/internal/unit_delay_functor.h"

namespace Kr {

using KrData::FieldBase;

KrUnitDelayConnection::KrUnitDelayConnection() = default;

KrUnitDelayConnection::~KrUnitDelayConnection() = default;

std::unique_ptr<ConnectionFunctor> KrUnitDelayConnection::_makeFunctor(const FieldBase& source, FieldBase& sink) const {
    return std::make_unique<detail::UnitDelayFunctor>(source, sink, *this);
}

KrConnectionBase* KrUnitDelayConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<KrUnitDelayConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
