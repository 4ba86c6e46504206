#include "kr/core/connections/sim_queued_connection.h"

#include <memory>

#include "kr/core/connections/internal/connection_texts.h"
#include "kr/core/connections/queued_connection_functor.h"
#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;
using KrData::Types;

KrSimQueuedConnection::KrSimQueuedConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (source == nullptr) logErrorNoThrow("KrSimQueuedConnection::ctor received a NULL source field.\n");
    if (sink == nullptr) logErrorNoThrow("KrSimQueuedConnection::ctor received a NULL sink field.\n");
    if (source == nullptr || sink == nullptr) return;
    const bool areContainers = source->getDataType() == Types::kContainer && sink->getDataType() == Types::kContainer;
    if (!areContainers && !source->canConvertTo(*sink)) {
        logMessage(eLogLevel::kDebug,
                   "KrSimQueuedConnection: could not create connection from %s -> %s. Check that types match. \n",
                   source->getPath().c_str(), sink->getPath().c_str());
        return;
    }
    detail::reportDimensions(*source, *sink);
    _begin(*source, *sink, std::make_unique<QueuedConnectionFunctor>(*source, *sink), Roles::kAny, transferNow);
}

KrSimQueuedConnection::~KrSimQueuedConnection() = default;

KrConnectionBase* KrSimQueuedConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    return _finishCopy(std::make_unique<KrSimQueuedConnection>(&source, &sink, false));
}

}  // namespace Kr
