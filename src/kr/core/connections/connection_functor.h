#pragma once

#include "kr/core/transfer_guard.h"
#include "kr/data/fwd.h"
#include "kr/extension/extension.h"
#include "kr/platform/export.h"

namespace Kr {

/// The transfer of a connection: the part that depends on the kinds of the two fields.
///
/// Thread: that of the connection. Ownership: owned by one connection, which destroys it as soon as one of the fields
/// dies, also during a transfer.
class KR_API ConnectionFunctor {
public:
    ConnectionFunctor(const ConnectionFunctor&) = delete;
    ConnectionFunctor& operator=(const ConnectionFunctor&) = delete;
    virtual ~ConnectionFunctor();

    virtual void disable();
    /// Transfers from now on, and once immediately when `transferNow` is set.
    virtual void enable(bool transferNow);
    /// Whether it may transfer now, after a change of `changed`: the source, or a field below it.
    [[nodiscard]] virtual bool mayTransfer(const KrData::FieldBase& changed) const;
    /// Transfers the value without checking the guard.
    virtual void transfer(const KrData::FieldBase& changed) = 0;

    [[nodiscard]] bool isEnabled() const noexcept { return _isEnabled; }
    /// Transfers under the guard, unless this functor is transferring already. The functor may have died afterwards.
    void run(const KrData::FieldBase& changed);
    /// The extension of the sink has changed.
    virtual void setSinkOwner(KrSim::KrExtension* owner);

protected:
    ConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink);

    /// Whether the sink takes no values: its extension is suspended and has no pending work.
    [[nodiscard]] bool _isSinkSuspended() const noexcept { return *_takesNoValues; }
    /// Called instead of a transfer that the guard prevents.
    virtual void _onBlocked(const KrData::FieldBase& changed);
    [[nodiscard]] const KrData::FieldBase& _getSource() const noexcept { return *_source; }
    [[nodiscard]] KrData::FieldBase& _getSink() const noexcept { return *_sink; }

private:
    friend class KrFunctorConnection;

    /// Shares the guard of the connection, which lives longer; before the first transfer.
    void _useGuard(TransferGuard& guard) noexcept { _guard = &guard; }

    TransferGuard _ownGuard;
    bool _isEnabled{true};
    TransferGuard* _guard{&_ownGuard};
    const KrData::FieldBase* _source;
    KrData::FieldBase* _sink;
    const bool* _takesNoValues;  // of the extension of the sink
};

}  // namespace Kr
