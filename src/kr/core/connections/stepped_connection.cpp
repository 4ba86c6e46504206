#include "kr/core/connections/stepped_connection.h"

#include "kr/core/connections/connection_checks.h"
#include "kr/data/full_path.h"
#include "kr/platform/log.h"

namespace Kr {

KrSteppedConnection::KrSteppedConnection() = default;

KrSteppedConnection::~KrSteppedConnection() = default;

bool KrSteppedConnection::init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow) {
    if (!_end() || source == nullptr || sink == nullptr) return false;
    if (!_mayConnect(*source, *sink)) return false;
    if (const auto reason = explainRefusal(*source, *sink); !reason.empty()) {
        logMessage(eLogLevel::kDebug, "%s: '%s' is not connected with '%s': %s.\n", getClassName().c_str(),
                   KrData::getFullPath(*source).c_str(), KrData::getFullPath(*sink).c_str(), reason.c_str());
        return false;
    }
    return _begin(*source, *sink, _makeFunctor(*source, *sink), Roles::kChecked, transferNow);
}

}  // namespace Kr
