#include "kr/core/connections/vector_connection_functor.h"

#include "kr/data/field_access.h"
#include "kr/data/vector_access.h"
#include "kr/signals/death_watch.h"

namespace Kr {

using KrData::detail::FieldAccess;
using KrData::detail::VectorAccess;

namespace {
/// So many waiting ranges are forgotten even when another connection has not seen them; it compares everything then.
constexpr std::size_t kManyRanges = 256;
}  // namespace

VectorConnectionFunctor::VectorConnectionFunctor(const KrData::VectorBase& source, KrData::VectorBase& sink,
                                                 const KrConnectionBase* connection)
    : ConnectionFunctor(source, sink),
      _vector(const_cast<KrData::VectorBase&>(source)),
      _sinkVector(sink),
      _connection(connection) {}

VectorConnectionFunctor::~VectorConnectionFunctor() {
    DeathWatch::announce(this);
}

void VectorConnectionFunctor::transfer(const KrData::FieldBase&) {
    if (_isSinkSuspended()) return;
    const bool isComplete =
        _isInStep && _vector.isTracking() && VectorAccess::getForgottenChangeCount(_vector) <= _seenChanges;
    _ranges.clear();
    if (isComplete) _ranges = _vector.getChanges();
    // Before the sink takes the items: what its observers change meanwhile is a change of the next transfer.
    const bool isLast = _connection == nullptr || FieldAccess::isLastRangeReader(_vector, *_connection);
    if (isLast || _ranges.size() > kManyRanges) _vector.clearChanges();
    _seenChanges = VectorAccess::getChangeCount(_vector);
    _isInStep = false;
    const DeathWatch watch(this);
    if (_ranges.empty()) {
        _sinkVector.copyValue(_vector);
    } else {
        VectorAccess::followItems(_sinkVector, _vector, _ranges);
    }
    if (!watch.died()) _isInStep = true;
}

}  // namespace Kr
