#pragma once

#include "kr/core/connections/direct_connection_functor.h"
#include "kr/core/connections/functor_connection.h"
#include "kr/data/transfer_function.h"

namespace Kr {

/// The usual connection: when the source changes, the sink has its value before the setter returns.
///
/// | source    | may drive                 |
/// |-----------|---------------------------|
/// | Input     | Input                     |
/// | Output    | Input, Parameter, Output  |
/// | Parameter | Parameter, Input          |
///
/// Containers transfer children with the same identifier, vectors their changes, enumerations only to the same
/// enumeration, and other values to every type to which they convert (CanConvert). Order of the steps:
/// docs/connections.md.
///
/// A value of the sink's own type is not clamped to its range; a converted value is.
/// A change of the source by an observer of this very transfer is not transferred: this ends a loop.
/// Thread: application.
/// Ownership: created with `new` or as a member; its creator destroys it, before or after the fields.
/// KrConnectionFactory creates the right kind for any two fields, and can give it to the extension of the sink.
class KR_API KrConnection final : public KrFunctorConnection {
    KR_BASE_CLASS(KrConnection, KrFunctorConnection)

    /// Invalid until init.
    KrConnection();
    /// Connects the fields; ask isValid. Observers must not destroy it before the constructor has ended; with init
    /// Connects the fields.
    KrConnection(KrData::FieldBase* source, KrData::FieldBase* sink);
    ~KrConnection() override;

    /// Connects the two fields and transfers once; a valid connection is disconnected first. False when they do not
    /// fit: the log says why, and the connection is invalid; false also when an observer destroyed a field or the
    /// connection. Null is a fault of the caller.
    /// \param transferNow  false leaves the sink unchanged until the next change, for loading.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

    /// Applied to every component of the value, in SI units, from now on; transfers once immediately. An empty function
    /// copies again. False while invalid, for fields that CanApplyTransferFunction refuses, and for an invalid
    /// KrData::TransferFunction, with a debug line. An exception of the function is logged; the sink is unchanged then.
    /// A KrData::TransferFunction is saved with the connection; any other function is code, which no file contains.
    bool setTransferFunction(DirectConnectionFunctor::TransferFunction function);
    [[nodiscard]] bool hasTransferFunction() const noexcept;
    /// The function as data; null without one, and for one that is code. Valid until the next one is set, or the end.
    [[nodiscard]] const KrData::TransferFunction* getTransferFunction() const noexcept;

    /// Whether the kinds of the fields fit, independent of their roles. False for null.
    [[nodiscard]] static bool areFieldsCompatible(const KrData::FieldBase* source, const KrData::FieldBase* sink);

    /// The function, data or code; empty without one.
    [[nodiscard]] DirectConnectionFunctor::TransferFunction _copyTransferFunction() const;
    /// For loading and cloning: setTransferFunction without a transfer.
    bool _restoreTransferFunction(DirectConnectionFunctor::TransferFunction function);

private:
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
};

}  // namespace Kr
