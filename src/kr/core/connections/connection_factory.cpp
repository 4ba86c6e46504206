#include "kr/core/connections/connection_factory.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/connection_access.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_checks.h"
#include "kr/core/connections/field_base_to_proxy_connection.h"
#include "kr/core/connections/internal/new_connection.h"
#include "kr/core/connections/interpolated_connection.h"
#include "kr/core/connections/proxy_to_field_base_connection.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/core/connections/unit_delay_connection.h"
#include "kr/data/field_access.h"
#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;
using KrData::Types;
using KrData::detail::FieldAccess;
using KrSim::detail::FieldsAccess;

namespace {

template <class Connection>
std::unique_ptr<KrConnectionBase> makeOne(FieldBase& source, FieldBase& sink, bool transferNow) {
    detail::NewConnection<Connection> made;
    return made->init(&source, &sink, transferNow) ? made.take() : nullptr;
}

/// Null when they do not fit, and when those who heard of the connection destroyed it.
std::unique_ptr<KrConnectionBase> makeDirect(FieldBase& source, FieldBase& sink, bool transferNow) {
    if (source.getDataType() == Types::kProxy && source.canConvertTo(sink))
        return makeOne<ProxyToFieldBaseConnection>(source, sink, transferNow);
    if (sink.getDataType() == Types::kProxy) return makeOne<FieldBaseToProxyConnection>(source, sink, transferNow);
    return makeOne<KrConnection>(source, sink, transferNow);
}

std::unique_ptr<KrConnectionBase> make(FieldBase& source, FieldBase& sink, bool transferNow, eConnectionKind kind) {
    switch (kind) {
        case eConnectionKind::kDirect:
            break;
        case eConnectionKind::kQueued:
            return makeOne<KrSimQueuedConnection>(source, sink, transferNow);
        case eConnectionKind::kUnitDelay:
            return makeOne<KrUnitDelayConnection>(source, sink, transferNow);
        case eConnectionKind::kInterpolated:
            return makeOne<KrInterpolatedConnection>(source, sink, transferNow);
    }
    return makeDirect(source, sink, transferNow);
}

/// To a caller who owns it from now on.
KrConnectionBase* handOut(std::unique_ptr<KrConnectionBase> made) {
    if (made) detail::ConnectionAccess::setUnowned(*made, true);
    return made.release();
}

}  // namespace

KrConnectionBase* KrConnectionFactory::_create(FieldBase* source, FieldBase* sink, bool transferNow,
                                               eConnectionKind kind) {
    return source != nullptr && sink != nullptr ? handOut(make(*source, *sink, transferNow, kind)) : nullptr;
}

eConnectionKind KrConnectionFactory::findKind(const KrConnectionBase& connection) {
    if (connection.isOfClassType(KrSimQueuedConnection::getClassType())) return eConnectionKind::kQueued;
    if (connection.isOfClassType(KrUnitDelayConnection::getClassType())) return eConnectionKind::kUnitDelay;
    if (connection.isOfClassType(KrInterpolatedConnection::getClassType())) return eConnectionKind::kInterpolated;
    return eConnectionKind::kDirect;
}

namespace {

/// What there is to say of a field that may be missing.
std::string describe(const FieldBase* field) {
    return field != nullptr ? "'" + KrData::getFullPath(*field) + "'" : "no field";
}

KrConnectionBase* refuse(const FieldBase* source, const FieldBase* sink, const std::string& reason) {
    logMessage(eLogLevel::kWarn, "KrConnectionFactory: %s is not connected with %s: %s.\n", describe(source).c_str(),
               describe(sink).c_str(), reason.c_str());
    return nullptr;
}

/// Leaves the new connection to the extension of the sink, or else of the source.
KrConnectionBase* connectFields(FieldBase* source, FieldBase* sink, eConnectionKind kind) {
    if (source == nullptr || sink == nullptr)
        return refuse(source, sink, source == nullptr ? "a source is missing" : "a sink is missing");
    const auto keeperOf = [&] {
        auto* owner = sink->getOwnerExtension();
        return owner != nullptr ? owner : source->getOwnerExtension();
    };
    if (keeperOf() == nullptr)
        return refuse(source, sink, "neither of them belongs to an extension, which could keep a connection");
    // Found before the fields may die.
    const auto reason = explainRefusal(*source, *sink, kind == eConnectionKind::kQueued);
    auto made = make(*source, *sink, true, kind);
    if (!made && !reason.empty()) return refuse(source, sink, reason);
    // Observers of the first transfer may have destroyed fields and extensions, but not while the connection is valid.
    auto* keeper = made ? keeperOf() : nullptr;
    if (keeper == nullptr) {
        logMessage(eLogLevel::kWarn,
                   "KrConnectionFactory: there is no connection: while it was made, an observer destroyed it or one of "
                   "its fields.\n");
        return nullptr;
    }
    auto* connection = made.get();
    FieldsAccess::ownConnection(keeper->getFieldsContainer(), std::move(made));
    return connection;
}

}  // namespace

KrConnectionBase* KrConnectionFactory::connect(FieldBase* source, FieldBase* sink) {
    return connectFields(source, sink, eConnectionKind::kDirect);
}

KrConnectionBase* KrConnectionFactory::connectQueued(FieldBase* source, FieldBase* sink) {
    return connectFields(source, sink, eConnectionKind::kQueued);
}

KrConnectionBase* KrConnectionFactory::connectUnitDelay(FieldBase* source, FieldBase* sink) {
    return connectFields(source, sink, eConnectionKind::kUnitDelay);
}

KrConnectionBase* KrConnectionFactory::connectInterpolated(FieldBase* source, FieldBase* sink) {
    return connectFields(source, sink, eConnectionKind::kInterpolated);
}

bool KrConnectionFactory::disconnect(FieldBase* source, FieldBase* sink) {
    if (source == nullptr || sink == nullptr) return false;
    const auto outgoing = FieldAccess::getOutgoingConnections(*source);
    std::vector<std::unique_ptr<KrConnectionBase>> ended;  // destroyed after the last use of the fields
    ended.reserve(outgoing.size());
    for (auto* connection : outgoing) {
        if (connection->getSink() != sink) continue;
        if (detail::ConnectionAccess::isUnowned(*connection)) {
            ended.emplace_back(connection);
            continue;
        }
        for (auto* keeper : {sink->getOwnerExtension(), source->getOwnerExtension()}) {
            auto kept = keeper != nullptr ? FieldsAccess::releaseConnection(keeper->getFieldsContainer(), *connection)
                                          : nullptr;
            if (!kept) continue;
            ended.push_back(std::move(kept));
            break;
        }
    }
    return !ended.empty();
}

}  // namespace Kr
