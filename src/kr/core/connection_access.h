#pragma once

#include <cstdint>

#include "kr/core/connection_base.h"

namespace Kr::detail {

/// The functions of a connection for fields, the sorter and owners.
struct ConnectionAccess {
    using End = KrConnectionBase::End;

    // Fields
    /// One link of a chain: like transferValue, but may leave the notification of the sink to the caller, and returns
    /// whether it does. The caller enters the guard first, unless the sink has no observers. Long chains run in a loop
    /// instead of a recursion this way.
    [[nodiscard]] static bool transferStep(KrConnectionBase& connection, const KrData::FieldBase& changed) {
        if (connection._unnotifiedCopy != nullptr) {
            if (connection._guard.isEntered() || *connection._sinkTakesNoValues) return false;
            return connection._unnotifiedCopy(changed, *connection._sink);  // a field with nothing below
        }
        connection.transferValue(changed);
        return false;
    }
    /// Whether transferStep copies, and does nothing else.
    [[nodiscard]] static bool isCopy(const KrConnectionBase& connection) noexcept {
        return connection._unnotifiedCopy != nullptr;
    }
    /// Prevents transfers of the connection until the TransferGuard::Scope of the caller ends.
    static void enterGuard(KrConnectionBase& connection) { connection._guard.enter(); }
    static void onFieldDestroyed(KrConnectionBase& connection, const KrData::FieldBase& field) {
        connection._onFieldDestroyed(field);
    }
    static void onFieldMoved(KrConnectionBase& connection) { connection._onFieldMoved(); }
    /// The place of the connection in the list of the field at that end, which saves a search.
    static std::uint32_t getSlot(const KrConnectionBase& connection, End end) noexcept {
        return end == End::kSource ? connection._sourceSlot : connection._sinkSlot;
    }
    static void setSlot(KrConnectionBase& connection, End end, std::uint32_t slot) noexcept {
        (end == End::kSource ? connection._sourceSlot : connection._sinkSlot) = slot;
    }

    /// Whether the connection acts between steps, so that a change of its source does not run it.
    static bool actsBetweenSteps(const KrConnectionBase& connection) noexcept { return connection._actsBetweenSteps(); }

    // Owners
    static KrConnectionBase* createBetween(const KrConnectionBase& connection, KrData::FieldBase& source,
                                           KrData::FieldBase& sink) {
        return connection._createBetween(source, sink);
    }
    /// Whether the connection has no known owner, as created by the factory: code that ends the connections of a field
    /// deletes it then.
    static bool isUnowned(const KrConnectionBase& connection) noexcept { return connection._isOwnerless; }
    static void setUnowned(KrConnectionBase& connection, bool isUnowned) noexcept {
        connection._isOwnerless = isUnowned;
    }
    /// Whether an extension has the connection as its content and creates it from that: files, clones and instances of
    /// the two ends omit it.
    static bool isContentOfOther(const KrConnectionBase& connection) noexcept { return connection._isOthersContent; }
    static void setContentOfOther(KrConnectionBase& connection, bool isContent) noexcept {
        connection._isOthersContent = isContent;
    }
    /// The place in the list of the extension that keeps the connection. For that extension only.
    static std::uint32_t getKeeperSlot(const KrConnectionBase& connection) noexcept { return connection._keeperSlot; }
    static void setKeeperSlot(KrConnectionBase& connection, std::uint32_t slot) noexcept {
        connection._keeperSlot = slot;
    }

    // The sorter
    static bool isExcludedFromOrdering(const KrConnectionBase& connection) noexcept {
        return connection._isExcludedFromOrdering();
    }
    /// The place in the lists of the sorter. For the sorter only, under its lock.
    static std::uint32_t getSorterSlot(const KrConnectionBase& connection) noexcept { return connection._sorterSlot; }
    static void setSorterSlot(KrConnectionBase& connection, std::uint32_t slot) noexcept {
        connection._sorterSlot = slot;
    }
    static bool isRegisteredInSorter(const KrConnectionBase& connection) noexcept { return connection._isInSorter; }
    static void setRegisteredInSorter(KrConnectionBase& connection, bool isRegistered) noexcept {
        connection._isInSorter = isRegistered;
    }
};

}  // namespace Kr::detail
