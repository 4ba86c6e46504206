#include "kr/core/connections/sim_queued_connection.h"

#include <memory>

#include "kr/core/connections/internal/new_connection.h"
#include "kr/core/connections/queued_connection_functor.h"
#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;
using KrData::Types;

KrSimQueuedConnection::KrSimQueuedConnection() = default;

KrSimQueuedConnection::KrSimQueuedConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    init(source, sink, transferNow);
}

KrSimQueuedConnection::~KrSimQueuedConnection() = default;

bool KrSimQueuedConnection::init(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (!_end()) return false;
    if (source == nullptr) logErrorNoThrow("KrSimQueuedConnection::ctor received a NULL source field.\n");
    if (sink == nullptr) logErrorNoThrow("KrSimQueuedConnection::ctor received a NULL sink field.\n");
    if (source == nullptr || sink == nullptr) return false;
    const bool areContainers = source->getDataType() == Types::kContainer && sink->getDataType() == Types::kContainer;
    if (!areContainers && !source->canConvertTo(*sink)) {
        logMessage(eLogLevel::kDebug,
                   "KrSimQueuedConnection: could not create connection from %s -> %s. Check that types match. \n",
                   source->getPath().c_str(), sink->getPath().c_str());
        return false;
    }
    return _begin(*source, *sink, std::make_unique<QueuedConnectionFunctor>(*source, *sink), Roles::kAny, transferNow);
}

KrConnectionBase* KrSimQueuedConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<KrSimQueuedConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
