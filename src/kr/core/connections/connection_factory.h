#pragma once

#include <cstdint>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// When a connection transfers.
enum class eConnectionKind : std::uint8_t {
    kDirect,        ///< when the source changes
    kQueued,        ///< when its event is delivered: KrSimQueuedConnection
    kUnitDelay,     ///< at the end of the step: KrUnitDelayConnection
    kInterpolated,  ///< at the faster steps of the sink, too: KrInterpolatedConnection
};

/// Creates the connection that fits two fields.
/// Thread: application. Ownership: see the functions.
class KR_API KrConnectionFactory {
public:
    KrConnectionFactory() = delete;

    /// Connects the two fields, transfers once, and gives the connection to the extension of the sink (of the source,
    /// when the sink has none): it lives as long as the extension, or until one of its fields dies, so do not keep the
    /// address longer. Null, and the log says why, when the fields do not fit, one is missing, or neither has an
    /// extension; null, too, when an observer of the connection, or of its first transfer, destroyed it or a field.
    ///
    ///     Kr::KrConnectionFactory::connect(pedal.position.getField(), motor.pedal.getField());
    static KrConnectionBase* connect(KrData::FieldBase* source, KrData::FieldBase* sink);
    static KrConnectionBase* connect(KrData::FieldBase& source, KrData::FieldBase& sink) {
        return connect(&source, &sink);
    }
    /// The same with a KrSimQueuedConnection: the sink is set when the event is delivered.
    static KrConnectionBase* connectQueued(KrData::FieldBase* source, KrData::FieldBase* sink);
    /// The same with a KrUnitDelayConnection: the sink is set at the end of each step, for feedback.
    static KrConnectionBase* connectUnitDelay(KrData::FieldBase* source, KrData::FieldBase* sink);
    /// The same with a KrInterpolatedConnection: the faster steps of the sink have values between those of the source.
    static KrConnectionBase* connectInterpolated(KrData::FieldBase* source, KrData::FieldBase* sink);
    /// Destroys the connections between the two fields that were created by these functions, and those without an
    /// owner. Returns whether there were any.
    static bool disconnect(KrData::FieldBase* source, KrData::FieldBase* sink);

    /// A ProxyToFieldBaseConnection, a FieldBaseToProxyConnection or a KrConnection, depending on the fields; null when
    /// they do not fit, and for null. The caller owns it. Until an extension keeps it,
    /// KrExtensionSorter::destroyConnections may destroy it.
    /// \param transferNow  false leaves the sink unchanged until the next change, for loading.
    [[nodiscard]] static KrConnectionBase* _create(KrData::FieldBase* source, KrData::FieldBase* sink,
                                                   bool transferNow = true,
                                                   eConnectionKind kind = eConnectionKind::kDirect);
    /// The kind of any connection.
    [[nodiscard]] static eConnectionKind findKind(const KrConnectionBase& connection);
};

}  // namespace Kr
