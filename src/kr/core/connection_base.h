#pragma once

#include <cstdint>

#include "kr/core/base.h"
#include "kr/core/fwd.h"
#include "kr/core/transfer_guard.h"
#include "kr/core/unnotified_copy.h"
#include "kr/platform/export.h"
#include "kr/platform/pooled_object.h"

namespace Kr {

namespace detail {
struct ConnectionAccess;
}  // namespace detail

/// A binding that makes a sink field follow a source field: the part of it that fields and clones use.
///
/// A field that dies while connected makes the connection invalid; the owner of the connection deletes it later.
/// Thread: application. Ownership: fields and extensions are borrowed; the code that created the connection owns it.
class KR_API KrConnectionBase : public KrBase, public PooledObject {
    KR_BASE_CLASS(KrConnectionBase, KrBase)

    enum class End { kSource, kSink };
    static constexpr std::uint32_t kNoSlot = 0xffffffff;

    ~KrConnectionBase() override;

    /// The fields; null before initialisation and after one of them has died.
    [[nodiscard]] KrData::FieldBase* getSource() const noexcept { return _source; }
    [[nodiscard]] KrData::FieldBase* getSink() const noexcept { return _sink; }
    /// The extensions that own the fields; null for a field without one.
    [[nodiscard]] KrSim::KrExtension* getSourceOwner() const noexcept { return _sourceOwner; }
    [[nodiscard]] KrSim::KrExtension* getSinkOwner() const noexcept { return _sinkOwner; }
    /// Whether the source is an Output and the sink a Parameter.
    [[nodiscard]] bool isOutputToParameter() const noexcept { return _isOutputToParameter; }

    /// Whether the fields fit together and both are alive.
    [[nodiscard]] virtual bool isValid() const = 0;
    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Transfers from now on, and once immediately when `transferNow` is set. Does nothing while invalid.
    virtual void enable(bool transferNow) = 0;
    /// Stops transferring; with `leaveSorter` it does not order its extensions any more. Does nothing while invalid.
    virtual void disable(bool leaveSorter) = 0;

    /// Copies the value from source to sink, if the connection may. Called by the source for every outgoing connection
    /// when its value, or that of a field below it, has changed.
    /// \param changed  the field that changed: the source itself or one below it.
    virtual void transferValue(const KrData::FieldBase& changed) = 0;

protected:
    KrConnectionBase() = default;

    /// Called by a dying source or sink, once, after it removed the connection from both fields: the connection drops
    /// both ends, becomes invalid and leaves the sorter. An override calls this one. The field must not be used.
    virtual void _onFieldDestroyed(const KrData::FieldBase& field);
    /// Called for the connections of a field when it, or what contains it, has a new place, application or binding:
    /// updates owners and roles.
    virtual void _onFieldMoved();
    /// Creates a connection of the same class and settings between two other fields, for cloning; null when these do
    /// not fit together. The caller owns the new object.
    [[nodiscard]] virtual KrConnectionBase* _createBetween(KrData::FieldBase& source,
                                                           KrData::FieldBase& sink) const = 0;
    /// Whether the connection does not order its extensions, as one that delivers later. Constant.
    [[nodiscard]] virtual bool _isExcludedFromOrdering() const noexcept;
    /// Whether it reads its source between steps, so that fields do not call it for a change. Constant.
    [[nodiscard]] virtual bool _actsBetweenSteps() const noexcept;
    [[nodiscard]] bool _isRegisteredInSorter() const noexcept { return _isInSorter; }

    /// For connections that only copy from field to field, as long as they do: the function, and a flag that the sink
    /// takes no values, which must live as long as the fields. Null when a transfer does more than that.
    void _setUnnotifiedCopy(UnnotifiedCopy copy, const bool* sinkTakesNoValues) noexcept;
    [[nodiscard]] TransferGuard& _getGuard() noexcept { return _guard; }
    void _setFields(KrData::FieldBase* source, KrData::FieldBase* sink) noexcept;
    void _setOwners(KrSim::KrExtension* sourceOwner, KrSim::KrExtension* sinkOwner) noexcept;
    void _setOutputToParameter(bool isOutputToParameter) noexcept { _isOutputToParameter = isOutputToParameter; }

private:
    friend struct detail::ConnectionAccess;

    KrSim::KrExtension* _sourceOwner{nullptr};
    KrSim::KrExtension* _sinkOwner{nullptr};
    // The data that a link of a chain reads are adjacent: each further cache line is measurable in large simulations.
    KrData::FieldBase* _sink{nullptr};
    UnnotifiedCopy _unnotifiedCopy{nullptr};
    const bool* _sinkTakesNoValues{nullptr};
    TransferGuard _guard;
    bool _isInSorter{false};
    bool _isOutputToParameter{false};
    bool _isOwnerless{false};
    bool _isOthersContent{false};
    KrData::FieldBase* _source{nullptr};
    std::uint32_t _sourceSlot{kNoSlot};
    std::uint32_t _sinkSlot{kNoSlot};
    std::uint32_t _sorterSlot{kNoSlot};
    std::uint32_t _keeperSlot{kNoSlot};
};

}  // namespace Kr
