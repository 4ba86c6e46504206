#pragma once

#include <cstdint>
#include <memory>

#include "kr/core/connection_base.h"
#include "kr/core/connections/connection_functor.h"
#include "kr/platform/export.h"

namespace Kr {

class DirectConnectionFunctor;

/// The common part of all connections of this library: a functor that transfers values, a place in both fields and in
/// the extension sorter, and the gate of parameters.
///
/// Gate: an Output drives a Parameter only while the extension of the parameter is in editing mode, which is also the
/// mode of an extension outside any application. A sink without an extension always takes values.
/// A dynamic field may move: owners and roles are updated then. While the roles do not fit, nothing is transferred.
/// Thread: application. Ownership: see KrConnectionBase; owns its functor.
class KR_API KrFunctorConnection : public KrConnectionBase {
    KR_BASE_CLASS(KrFunctorConnection, KrConnectionBase)

    /// Leaves both fields and the sorter.
    ~KrFunctorConnection() override;

    [[nodiscard]] bool isValid() const final { return _functor != nullptr; }
    [[nodiscard]] bool isEnabled() const final { return _functor != nullptr && _functor->isEnabled(); }
    void enable(bool transferNow) final;
    void disable(bool leaveSorter) final;
    void transferValue(const KrData::FieldBase& changed) final;

protected:
    /// Whether the roles of the fields must fit (the table of KrConnection), or are not checked.
    enum class Roles : std::uint8_t { kChecked, kAny };

    KrFunctorConnection() = default;

    /// Binds the fields to the functor, registers, and transfers once when `transferNow` is set; a connection that does
    /// not transfer now is enabled, too. Only while invalid. False when an observer destroyed a field, so that it is
    /// invalid again, or the connection itself.
    bool _begin(KrData::FieldBase& source, KrData::FieldBase& sink, std::unique_ptr<ConnectionFunctor> functor,
                Roles roles, bool transferNow);
    /// Before _begin: problems that were reported for the original are not reported for the copy.
    void _setCopy() noexcept { _isCopy = true; }
    [[nodiscard]] bool _isCopied() const noexcept { return _isCopy; }
    /// Leaves both fields and the sorter, and becomes invalid. False when an observer destroyed it.
    bool _end() noexcept;
    /// Whether both have a parent, and roles that fit; else logs the reason at error level.
    [[nodiscard]] static bool _mayConnect(const KrData::FieldBase& source, const KrData::FieldBase& sink);
    /// The functor, if it is direct; else null.
    [[nodiscard]] DirectConnectionFunctor* _getDirectFunctor() const noexcept;
    /// Gives a new connection, created without a transfer, the state of this one, and transfers if that acts at changes
    /// of the source; it may have died afterwards.
    void _finishCopy(KrFunctorConnection& made) const;
    /// Call it after a change of anything that decides how to transfer.
    void _update();

    /// Whether a change of `changed` is transferred now: enabled, between roles that go together, to a parameter of an
    /// output only while editing. The functor decides about the guard and about a suspended sink.
    [[nodiscard]] bool _mayTransfer(const KrData::FieldBase& changed) const;
    /// Whether the roles of the fields fit together where they are now.
    [[nodiscard]] bool _doRolesFit() const noexcept { return _rolesFit; }

private:
    void _onFieldDestroyed(const KrData::FieldBase& field) final;
    void _onFieldMoved() final;

    Roles _roles{Roles::kChecked};
    bool _rolesFit{true};
    bool _isCopy{false};
    std::unique_ptr<ConnectionFunctor> _functor;
};

}  // namespace Kr
