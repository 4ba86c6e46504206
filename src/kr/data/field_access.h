#pragma once

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/data/field.h"

namespace KrData::detail {

/// The functions of a field for the framework; field_base.h says what each does.
struct FieldAccess {
    // Connections and proxies
    static auto getIncomingConnections(const FieldBase& field) { return field._getIncomingConnections(); }
    static auto getOutgoingConnections(const FieldBase& field) { return field._getOutgoingConnections(); }
    static bool hasIncomingConnections(const FieldBase& field) noexcept { return field._hasIncomingConnections(); }
    static bool hasOutgoingConnections(const FieldBase& field) noexcept {
        return field._has(FieldBase::kHasOutgoing | FieldBase::kHasStepped);
    }
    static bool isLastRangeReader(const FieldBase& field, const Kr::KrConnectionBase& connection) noexcept {
        return field._isLastRangeReader(connection);
    }
    static auto getUnnotifiedCopy(const FieldBase& field, const FieldBase& source) {
        return field._getUnnotifiedCopy(source);
    }
    /// The connections of the field, and of those below it, look at their fields and owners anew.
    static void updateConnections(const FieldBase& field) { field._tellConnectionsOfMove(); }
    /// Whether a change of the value notifies nothing, and no connection that acts between steps reads the field.
    static bool isQuiet(const FieldBase& field) noexcept {
        return !field._has(FieldBase::kHasReceivers | FieldBase::kHasStepped);
    }
    static void addProxy(FieldBase& field, Proxy* proxy) { field._addProxy(proxy); }
    static void removeProxy(FieldBase& field, Proxy* proxy) { field._removeProxy(proxy); }
    static auto getProxies(const FieldBase& field) { return field._getProxies(); }

    // State and place
    static bool isOwnerActive(const FieldBase& field) noexcept { return field._has(FieldBase::kOwnerIsActive); }
    static bool isApplicationModeEditing(const FieldBase& field) noexcept {
        return field._has(FieldBase::kModeIsEditing);
    }
    static bool isForcingObservers(const FieldBase& field) noexcept { return field._has(FieldBase::kForceObservers); }
    static void setAlwaysNotifyLocally(FieldBase& field, bool always) { field._setAlwaysNotifyLocally(always); }
    static IFieldOwner* getFieldOwner(const FieldBase& field) { return field._getFieldOwner(); }
    static const FieldBase* getHolder(const FieldBase& field) noexcept { return field._getHolder(); }
    static const auto& getLiveness(const FieldBase& field) { return field._getLiveness(); }

    // Loading and cloning
    [[nodiscard]] static FieldBase* duplicate(const FieldBase& field) { return field._duplicate(); }
    static void setTreatedAsDynamic(const FieldBase& field, bool on) noexcept { field._setTreatedAsDynamic(on); }
    /// Sets the bit of this field only, not of its descendants.
    static void setForcingObservers(const FieldBase& field, bool forcing) noexcept {
        field._setState(FieldBase::kForceObservers, forcing);
    }
    template <class T>
    static void copyRange(Field<T>& field, const Field<T>& source) {
        field._copyRange(source);
    }
    template <class T>
    static void initializeValue(Field<T>& field, const std::type_identity_t<T>& value) {
        field._initializeValue(value);
    }
    template <class T>
    static bool restoreValue(Field<T>& field, const std::type_identity_t<T>& value) {
        return field._restoreValue(value);
    }
    // Overrides; see the functions of Field.
    template <class T>
    static bool setOverride(Field<T>& field, std::function<T(const T& own)> replace) {
        return field._setOverride(std::move(replace));
    }
    template <class T>
    static void refreshOverride(Field<T>& field) {
        field._refreshOverride();
    }
    template <class T>
    static void restoreOverride(Field<T>& field, const std::type_identity_t<T>& own,
                                std::function<T(const T& own)> replace) {
        field._restoreOverride(own, std::move(replace));
    }
    static void takeBits(FieldBase& field, const FieldBase& source) { field._takeBits(source); }
    static void takeDeclaration(FieldBase& field, const FieldBase& source) { field._takeDeclaration(source); }
    static void setInternalIdentifier(FieldBase& field, std::uint32_t identifier) noexcept {
        field._setInternalIdentifier(identifier);
    }
    static FieldInternal* getInternalIfAny(const FieldBase& field) noexcept { return field._getInternalIfAny(); }
    static void replaceInternal(FieldBase& field, const FieldInternal* source) { field._replaceInternal(source); }
    static void notifyObservers(const FieldBase& field, const FieldBase& changed) { field._notifyObservers(changed); }
};

}  // namespace KrData::detail
