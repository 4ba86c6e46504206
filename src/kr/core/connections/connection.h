#pragma once

#include "kr/core/connections/direct_connection_functor.h"
#include "kr/core/connections/functor_connection.h"
#include "kr/data/transfer_function.h"

namespace Kr {

/// The usual connection: whenever the source changes, the sink has its value before the setter returns.
///
/// | source    | may drive                 |
/// |-----------|---------------------------|
/// | Input     | Input                     |
/// | Output    | Input, Parameter, Output  |
/// | Parameter | Parameter, Input          |
///
/// Containers hand over children with the same identifier, vectors what changed, enumerations go to their own type, and
/// other values wherever they can be converted (CanConvert). docs/connections.md tells what happens in which order.
///
/// A value of the sink's own type is not clamped into its range; one that is converted is.
/// A change of the source by an observer of this very transfer is not transferred: that is what stops a loop.
/// Ownership: made with `new` or as a member; its maker destroys it, before or after the fields.
/// KrConnectionFactory makes the right kind for any two fields, and can leave it to the extension of the sink.
class KR_API KrConnection final : public KrFunctorConnection {
    KR_BASE_CLASS(KrConnection, KrFunctorConnection)

    /// Invalid until init.
    KrConnection();
    /// Connects the fields; ask isValid. Observers must not destroy it before the constructor has ended; with init
    /// they may.
    KrConnection(KrData::FieldBase* source, KrData::FieldBase* sink);
    ~KrConnection() override;

    /// Connects the two fields and transfers once. False when they do not fit: the log says why, and the connection
    /// stays invalid; and when an observer destroyed a field or the connection. One that was valid ends
    /// first. Null is a fault of the caller.
    /// \param transferNow  false leaves the sink as it is until the next change, as loading wants it.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

    /// Applied to every component of the value, in SI units, from now on; transfers once at once. An empty function
    /// copies again. False while invalid, for fields that CanApplyTransferFunction does not take, and for an invalid
    /// KrData::TransferFunction, with a debug line. What the function throws is logged as a warning, and the sink stays
    /// as it is.
    /// A KrData::TransferFunction is saved with the connection; any other function is code, which no file keeps.
    bool setTransferFunction(DirectConnectionFunctor::TransferFunction function);
    [[nodiscard]] bool hasTransferFunction() const noexcept;
    /// The function as data; null without one, and for one that is code. Good until the next function is set, or the
    /// connection ends.
    [[nodiscard]] const KrData::TransferFunction* getTransferFunction() const noexcept;

    /// Whether the kinds of the fields go together, whatever their roles. False for null.
    [[nodiscard]] static bool areFieldsCompatible(const KrData::FieldBase* source, const KrData::FieldBase* sink);

    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
    /// The function, data or code; empty without one.
    [[nodiscard]] DirectConnectionFunctor::TransferFunction _copyTransferFunction() const;
    /// For loading and cloning: setTransferFunction without a transfer.
    bool _restoreTransferFunction(DirectConnectionFunctor::TransferFunction function);
};

}  // namespace Kr
