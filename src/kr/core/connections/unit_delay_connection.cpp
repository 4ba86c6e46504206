#include "kr/core/connections/unit_delay_connection.h"

#include <memory>

#include "kr/core/connections/connection_checks.h"
#include "kr/core/connections/internal/new_connection.h"
#include "kr/core/connections/internal/unit_delay_functor.h"
#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

KrUnitDelayConnection::KrUnitDelayConnection() = default;

KrUnitDelayConnection::~KrUnitDelayConnection() = default;

bool KrUnitDelayConnection::init(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (!_end() || source == nullptr || sink == nullptr) return false;
    if (!_mayConnect(*source, *sink)) return false;
    if (const auto reason = explainRefusal(*source, *sink); !reason.empty()) {
        logMessage(eLogLevel::kDebug, "KrUnitDelayConnection: '%s' is not connected with '%s': %s.\n",
                   KrData::getFullPath(*source).c_str(), KrData::getFullPath(*sink).c_str(), reason.c_str());
        return false;
    }
    return _begin(*source, *sink, std::make_unique<detail::UnitDelayFunctor>(*source, *sink, *this), Roles::kChecked,
                  transferNow);
}

KrConnectionBase* KrUnitDelayConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<KrUnitDelayConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
