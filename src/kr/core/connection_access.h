#pragma once

#include <cstdint>

#include "kr/core/connection_base.h"

namespace Kr::detail {

/// What fields, the sorter and the owners of a connection ask of it beside its public face.
struct ConnectionAccess {
    using End = KrConnectionBase::End;

    // Fields
    /// One link of a chain: like transferValue, but may leave it to the caller to notify the sink, and answers whether
    /// it does. The caller enters the guard first, unless the sink has no observers. So long chains run in a loop
    /// instead of a recursion.
    [[nodiscard]] static bool transferStep(KrConnectionBase& connection, const KrData::FieldBase& changed) {
        if (connection._unnotifiedCopy != nullptr) {
            if (connection._guard.isEntered() || *connection._sinkTakesNoValues) return false;
            const auto result = connection._unnotifiedCopy(changed, *connection._sink);  // a field with nothing below
            if (result == UnnotifiedCopyResult::kChanged) return true;
            if (result == UnnotifiedCopyResult::kSame) return false;
        }
        connection.transferValue(changed);
        return false;
    }
    /// Keeps the connection from transferring until the TransferGuard::Scope of the caller ends.
    static void enterGuard(KrConnectionBase& connection) { connection._guard.enter(); }
    static void onFieldDestroyed(KrConnectionBase& connection, const KrData::FieldBase& field) {
        connection._onFieldDestroyed(field);
    }
    static void onFieldMoved(KrConnectionBase& connection) { connection._onFieldMoved(); }
    /// Where the list of the field at that end keeps the connection, so that it is found without a search.
    static std::uint32_t getSlot(const KrConnectionBase& connection, End end) noexcept {
        return end == End::kSource ? connection._sourceSlot : connection._sinkSlot;
    }
    static void setSlot(KrConnectionBase& connection, End end, std::uint32_t slot) noexcept {
        (end == End::kSource ? connection._sourceSlot : connection._sinkSlot) = slot;
    }

    // Owners
    static KrConnectionBase* createBetween(const KrConnectionBase& connection, KrData::FieldBase& source,
                                           KrData::FieldBase& sink) {
        return connection._createBetween(source, sink);
    }
    /// Whether the connection has no known owner, as the factory made it: the code that ends the connections of a field
    /// deletes it then.
    static bool isUnowned(const KrConnectionBase& connection) noexcept { return connection._isOwnerless; }
    static void setUnowned(KrConnectionBase& connection, bool isUnowned) noexcept {
        connection._isOwnerless = isUnowned;
    }
    /// Whether an extension has the connection as its content and makes it anew from that: files, clones and instances
    /// of the two ends leave it out.
    static bool isContentOfOther(const KrConnectionBase& connection) noexcept { return connection._isOthersContent; }
    static void setContentOfOther(KrConnectionBase& connection, bool isContent) noexcept {
        connection._isOthersContent = isContent;
    }
    /// Where the extension that keeps the connection has it. For that extension only.
    static std::uint32_t getKeeperSlot(const KrConnectionBase& connection) noexcept { return connection._keeperSlot; }
    static void setKeeperSlot(KrConnectionBase& connection, std::uint32_t slot) noexcept {
        connection._keeperSlot = slot;
    }

    // The sorter
    static bool isExcludedFromOrdering(const KrConnectionBase& connection) noexcept {
        return connection._isExcludedFromOrdering();
    }
    /// The sorter's place for the connection. For the sorter only, under its lock.
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
