#include "kr/core/connections/interpolated_connection.h"

#include "kr/core/connections/internal/interpolating_functor.h"
#include "kr/core/connections/internal/new_connection.h"
#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/data/types.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

KrInterpolatedConnection::KrInterpolatedConnection() = default;

KrInterpolatedConnection::~KrInterpolatedConnection() = default;

std::unique_ptr<ConnectionFunctor> KrInterpolatedConnection::_makeFunctor(const FieldBase& source,
                                                                          FieldBase& sink) const {
    auto functor = std::make_unique<detail::InterpolatingFunctor>(source, sink, *this);
    if (!functor->hasLine() && !_isCopied()) {
        logMessage(eLogLevel::kWarn,
                   "KrInterpolatedConnection: '%s' has no values between two others (%s): it gets the newest value of "
                   "'%s' at the end of each frame; connect with a unit delay to say so.\n",
                   KrData::getFullPath(sink).c_str(), KrData::Types::nameFor(sink.getDataType()),
                   KrData::getFullPath(source).c_str());
    }
    return functor;
}

KrConnectionBase* KrInterpolatedConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<KrInterpolatedConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
