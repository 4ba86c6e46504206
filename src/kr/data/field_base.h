#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/core/color.h"
#include "kr/core/enum.h"
#include "kr/core/id.h"
#include "kr/core/physical_dimension.h"
#include "kr/core/unnotified_copy.h"
#include "kr/data/connection_list.h"
#include "kr/data/fwd.h"
#include "kr/data/metadata.h"
#include "kr/data/types.h"
#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/transform.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"
#include "kr/platform/export.h"
#include "kr/platform/pooled_object.h"
#include "kr/signals/delegate_connection.h"
#include "kr/signals/liveness.h"

namespace KrData {

namespace detail {
class NotificationFrame;
struct FieldAccess;
struct FieldRareState;
}  // namespace detail

/// The unit of reflective data: a typed, named value in at most one container, which can be found by its identifier,
/// observed, connected, made read-only or hidden, and copied without knowledge of its type.
///
/// Order of notification, lifetime, containers, copies: docs/data-model.md.
///
/// Thread: application. Observers may be added and removed on any thread while the field is alive.
/// Ownership: a field with a parent is owned by it and was created with `new`, or it is a member of an object that dies
/// before the container; a field without a parent is owned by its creator. A dying field leaves its container, makes
/// its connections invalid and ends its observers.
/// Errors: no function throws for bad input. Lookups return the invalid field, setters that refuse return false.
class KR_API FieldBase : public Kr::PooledObject {
public:
    using Observer = std::function<void(const FieldBase&)>;
    using Children = std::vector<FieldBase*>;

    FieldBase& operator=(const FieldBase&) = delete;
    virtual ~FieldBase();

protected:
    /// A detached copy: same identifier, value, range and metadata, dynamic, without parent. The caller owns it.
    [[nodiscard]] virtual FieldBase* _duplicate() const = 0;

public:
    // --- Virtual operations, in slot order -------------------------------------------------------------------------
    /// Copies the value of `source`, converted if types allow. False, with a debug line, if they do not.
    virtual bool copyValue(const FieldBase& source) = 0;
    /// copyValue, then replaces this field's hidden metadata by those of `source`. False when copyValue fails.
    virtual bool initializeFrom(const FieldBase& source);
    /// The extension at the top of the containers, or null.
    [[nodiscard]] virtual KrSim::KrExtension* getOwnerExtension() const;
    /// The child fields, in order; empty for a plain field.
    [[nodiscard]] virtual const Children& getChildren() const;
    /// The role given by the parent container; kField without a parent.
    [[nodiscard]] virtual Types::FieldTypeEnum getFieldType() const;
    virtual void setVisible(bool visible);                        ///< Whether user interfaces should show the field.
    virtual void setReadOnlyHint(bool readOnly);                  ///< Only a hint for editors: setters still work.
    virtual void setDescription(const std::string& description);  ///< For people.
    /// A dynamic copy named `id` at the end of `parent`, with the same value, range and metadata, but without observers
    /// and connections. Null when the parent refuses it. The parent owns the copy; without a parent the caller.
    [[nodiscard]] virtual FieldBase* clone(const Kr::KrID& id, Container* parent) const = 0;
    /// The same with the identifier of this field.
    [[nodiscard]] virtual FieldBase* clone(Container* parent) const = 0;
    /// Whether both have equal values of one type. False by default.
    [[nodiscard]] virtual bool isEqual(const FieldBase& other) const;
    /// Sets the default value of the type, as a setter would; containers reset their children.
    virtual void reset() = 0;
    /// Updates the "observed" and "connected" flags of all descendants from their observers and connections.
    virtual void refreshObservers() const;
    /// Whether a value of this field can be converted to the type, or to the sink's type; see CanConvert.
    [[nodiscard]] virtual bool canConvertTo(Types::DataTypeEnum dataType) const;
    [[nodiscard]] virtual bool canConvertTo(const FieldBase& sink) const;
    /// Copies the value into `*out`, an object of the value type (Types::mapType). False for fields without one.
    virtual bool getRawValue(void* out) const;
    /// Sets the value from `*in`, an object of the value type. False for fields without one.
    virtual bool setRawValue(const void* in);
    /// The first child with this identifier, else the invalid field.
    [[nodiscard]] virtual FieldBase& operator[](const Kr::KrID& id);
    [[nodiscard]] virtual const FieldBase& operator[](const Kr::KrID& id) const;
    /// Notifies connections, containers and observers that `changed`, this field or one below it, has a new value.
    /// Setters call it only when there may be observers.
    virtual void _notifyChanged(const FieldBase& changed) const;
    /// Notifies property observers only.
    virtual void _notifyPropertyChangedToParents(const FieldBase& changed) const;
    /// Makes this field a dynamic copy of `source`: properties, internal identifier, hidden metadata, value.
    virtual void _cloneFrom(const FieldBase& source);
    /// Ends every registration of a value or property observer.
    virtual void _clearObservers();

    // --- Identity and place ----------------------------------------------------------------------------------------
    [[nodiscard]] const Kr::KrID& getID() const noexcept { return _id; }
    /// False for a field that is not dynamic (declared, not produced). Identifiers need not be unique in a container.
    bool setID(const Kr::KrID& id);
    [[nodiscard]] Container* getParent() const noexcept { return _parent; }  ///< Null without a parent.
    /// Moves the field to the end of `parent`; with null the caller becomes its owner. False, and nothing changes, for
    /// a field that is not dynamic, for a parent at or below this field, and when either container refuses.
    bool setParent(Container* parent);
    /// Identifiers from the outermost container down, joined by "."; without a top container that belongs to an
    /// extension. An identifier without text adds nothing.
    [[nodiscard]] std::string getPath() const;
    /// Constant during the lifetime of the field.
    [[nodiscard]] Types::DataTypeEnum getDataType() const noexcept { return _dataType; }
    /// False only for the invalid field.
    [[nodiscard]] bool isValid() const noexcept { return _dataType != Types::kInvalid; }
    /// Whether it was produced at run time, so that its identifier and parent may change.
    [[nodiscard]] bool isDynamic() const noexcept { return _has(kDynamic); }
    /// Whether it is a FieldArray of any class.
    [[nodiscard]] bool isFieldArray() const noexcept { return _isFieldArray(); }
    /// Number among the children of one container, unchanged by renames; 0 before the first container.
    [[nodiscard]] std::uint32_t getInternalIdentifier() const noexcept { return _internalIdentifier; }
    /// The field that every failed lookup returns: identifier "__Invalid__", never changes. Any thread.
    [[nodiscard]] static FieldBase& getInvalidField();

    // --- Properties ------------------------------------------------------------------------------------------------
    /// Each setter does nothing when the value is unchanged, and else notifies the property observers of this field and
    /// of its containers.
    [[nodiscard]] bool isVisible() const { return !getMetadataAsBool(eMetadata::kHidden); }
    /// True for outputs, for fields with an incoming connection, with the hint set, or below a read-only container.
    [[nodiscard]] bool isReadOnlyHint() const;
    [[nodiscard]] const std::string& getDescription() const noexcept { return *_description; }
    /// kNone for a number without a dimension.
    [[nodiscard]] Kr::KrPhysicalDimension::ePhysicalDimension getPhysicalDimension() const noexcept {
        return static_cast<Kr::KrPhysicalDimension::ePhysicalDimension>(_physicalDimension);
    }
    void setPhysicalDimension(Kr::KrPhysicalDimension::ePhysicalDimension dimension);  ///< Does not convert the value.
    /// The unit for showing and parsing the value; values are stored in SI units.
    [[nodiscard]] Kr::KrPhysicalDimension::eDimensionHint getPhysicalDimensionHint() const;
    void setPhysicalDimensionHint(Kr::KrPhysicalDimension::eDimensionHint hint);  ///< Does not convert the value.
    /// True when all the given bits are set; false for no bits.
    [[nodiscard]] bool getMetadataAsBool(eMetadata bits) const;
    void setMetadata(eMetadata bits, bool on);  ///< Sets or clears all the given bits.
    /// Whether an override is in effect: the value is not the one that was set. See Field::getOwnValue.
    [[nodiscard]] bool isOverridden() const noexcept { return _has(kOverridden); }
    /// The store of hidden fields, created with the first call.
    FieldInternal& getInternal();

    // --- Values, independent of the type ---------------------------------------------------------------------------
    /// Number of a numeric, Boolean or Enumeration field, 0 for others. Reals round half to even and saturate.
    [[nodiscard]] int toInteger() const;
    /// True for non-zero integers, reals whose absolute value exceeds KrMath::kSmallReal, true, non-empty texts.
    [[nodiscard]] bool toBoolean() const;
    /// Number of a numeric, Boolean or Enumeration field, 0 for others.
    [[nodiscard]] double toReal() const;
    /// Text of any value: the shortest number that reads back exactly, components separated by blanks, "true" or
    /// "false", the text of an enumeration value, the name of an extension. Empty for containers and vectors.
    [[nodiscard]] std::string toString() const;
    /// The value if the data type is exactly this one (Vector 3 for toVector3, and so on), else the default.
    [[nodiscard]] KrMath::Vector2T<double> toVector2() const;
    [[nodiscard]] KrMath::Vector3T<double> toVector3() const;
    [[nodiscard]] KrMath::Vector4T<double> toVector4() const;
    [[nodiscard]] KrMath::QuaternionT<double> toQuaternion() const;  ///< The identity for other types.
    [[nodiscard]] KrMath::Matrix44T<double> toMatrix44() const;
    [[nodiscard]] Kr::KrColor toColor() const;
    [[nodiscard]] Kr::KrTransform toTransform() const;      ///< The identity for other types.
    [[nodiscard]] Kr::KrEnum toEnum() const;                ///< Untyped and 0 for other types.
    [[nodiscard]] KrSim::KrExtension* toExtension() const;  ///< Borrowed; null for other types and after its death.

    /// This field as Field<T>, or null for another data type. Include "kr/data/field.h".
    template <class T>
    [[nodiscard]] Field<T>* as() noexcept;
    template <class T>
    [[nodiscard]] const Field<T>* as() const noexcept;
    /// The value of a Field<T>; the default value for another data type.
    template <class T>
    [[nodiscard]] T get() const;
    /// Sets the value of a Field<T>; false, and nothing changes, for another data type.
    template <class T>
    bool set(const T& value);

    // --- Observers and listeners -----------------------------------------------------------------------------------
    /// Calls `observer` with the changed field (this one, or the changed one below it) after each change, in the order
    /// of registration, until the returned handle is destroyed or disconnected. An observer may change this field, add
    /// and remove observers, and destroy this field. An exception is reported as a warning.
    [[nodiscard]] DelegateConnection addObserver(Observer observer);
    /// The same for identifier, parent, description, visibility, read-only hint and physical dimension.
    [[nodiscard]] DelegateConnection addPropertyObserver(Observer observer);
    /// Whether a change would notify anything, proxies included; producers of costly values may test it first.
    [[nodiscard]] bool hasWatchers() const;
    /// Ignores a listener that is registered already. Borrowed: unregister it before it dies. Rules of a delivery:
    /// docs/notification.md.
    void registerListener(FieldListener* listener);
    void unregisterListener(FieldListener* listener);  ///< Ignores null and one that is not registered.
    /// The same for a shared listener: it lives until the handle ends the registration and the calls in progress have
    /// ended. An empty handle when it is registered already.
    [[nodiscard]] DelegateConnection holdListener(std::shared_ptr<FieldListener> listener);

    // --- For connections and owners, not for plug-ins --------------------------------------------------------------
    void _addConnection(Kr::KrConnectionBase* connection);
    void _removeConnection(Kr::KrConnectionBase* connection);  ///< Ignores null and connections of other fields.

    void _setOwnerIsActive(bool active);
    void _setApplicationModeIsEditing(bool editing);

    /// Marks the field as produced at run time. For producers only.
    void _setDynamic(bool dynamic) noexcept;
    void _notifyPropertyChangedToChildren(const FieldBase& changed) const;

protected:
    /// Data types with a value type belong to Field<T>; other classes take one of the others.
    FieldBase(const Kr::KrID& id, Types::DataTypeEnum dataType);
    /// Copies identifier, internal identifier, data type, physical dimension, description and hidden metadata.
    FieldBase(const FieldBase& source);

    /// Adds the complete object to its parent, if any; the last step of a constructor.
    void _attachTo(Container* parent);
    /// Leaves container, connections and observers first in each destructor, while the object is complete.
    void _detachFromEverything() noexcept;
    [[nodiscard]] bool _needsNotification() const noexcept { return _has(kHasReceivers); }
    // For classes with a value: what reading and setting it takes is one test of the state, beside the value.
    [[nodiscard]] bool _isBoundToValue() const noexcept { return _has(kBound); }
    [[nodiscard]] bool _readsElsewhere() const noexcept { return _has(kBound | kOverridden); }
    [[nodiscard]] bool _isRestricted() const noexcept { return _has(kRestricted); }
    [[nodiscard]] bool _takesMoreThanStoring() const noexcept { return _has(kRestricted | kHasReceivers); }
    void _setRestricted(bool isBound, bool hasRange, bool isOverridden) const noexcept;
    /// The function that copies the value of `source` to this field as copyValue does, but without notification. Null
    /// when copying may do more: for different types, while either field is bound, and in derived classes, which may
    /// override copyValue or _notifyChanged. Connections ask again when a binding changes.
    [[nodiscard]] virtual Kr::UnnotifiedCopy _getUnnotifiedCopy(const FieldBase& source) const;
    /// The owner behind getOwnerExtension, or null; overridden by the top container of an extension.
    [[nodiscard]] virtual IFieldOwner* _getFieldOwner() const;
    /// The parent of this field in its path: the container, or the vector of a vector item.
    [[nodiscard]] virtual const FieldBase* _getHolder() const noexcept;
    [[nodiscard]] virtual bool _isFieldArray() const noexcept;

private:
    friend class Container;
    friend struct detail::FieldAccess;

    // --- For the framework, through detail::FieldAccess ------------------------------------------------------------
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> _getIncomingConnections() const;
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> _getOutgoingConnections() const;
    [[nodiscard]] bool _hasIncomingConnections() const noexcept;
    /// Whether this is the last connection of a vector that reads the changed ranges in its transfer: enabled, to a
    /// vector, and not queued.
    [[nodiscard]] bool _isLastRangeReader(const Kr::KrConnectionBase& connection) const noexcept;
    /// The proxies that link this field, in the order of linking.
    void _addProxy(Proxy* proxy);
    void _removeProxy(Proxy* proxy);
    [[nodiscard]] std::vector<Proxy*> _getProxies() const;
    void _setAlwaysNotifyLocally(bool always);
    /// For loading: while enabled, all fields below this one are dynamic, so that upgrades can rename and move them.
    /// Disabling restores declared fields among those that are below this field then.
    void _setTreatedAsDynamic(bool on) const noexcept;
    /// For loading, before copyValue, which ignores equal values: makes values equal to the last bit, such as -0.0 and
    /// 0.0. Notifies no observer.
    void _takeBits(const FieldBase& source);
    /// For loading: copies the properties of `source` other than value and hidden metadata: description, physical
    /// dimension and, for equal types, the range. A bit that forces observers is set, but never cleared.
    void _takeDeclaration(const FieldBase& source);
    /// For loading and cloning, before the field is added to a container.
    void _setInternalIdentifier(std::uint32_t identifier) noexcept;
    [[nodiscard]] FieldInternal* _getInternalIfAny() const noexcept;
    void _replaceInternal(const FieldInternal* source);
    /// Notifies observers, also those of containers and proxies, of a value that connections must not transfer.
    void _notifyObservers(const FieldBase& changed) const;
    [[nodiscard]] const Kr::KrSmartPtr<Kr::Liveness<FieldBase>>& _getLiveness() const;

    // The low byte is saved with the field. The other bits contain all that notification must know, so that a change of
    // an unobserved field costs one load and one test.
    enum StateBit : std::uint16_t {
        kDynamic = 0x01,
        kOwnerIsActive = 0x02,
        kModeIsEditing = 0x04,
        kAncestorObserved = 0x08,
        kAncestorConnected = 0x10,
        kNotifyLocally = 0x20,
        kForceObservers = 0x40,
        kHasOutgoing = 0x100,
        kHasObservers = 0x200,
        kHasProxies = 0x400,
        kTreatedAsDynamic = 0x800,  // dynamic during upgrades, declared before and after
        kHasStepped = 0x1000,       // outgoing connections that act between steps: a change does not notify them
        kBound = 0x2000,            // to a variable or functions
        kRestricted = 0x4000,       // bound, overridden, or has a range: setting a value takes more than storing it
        kOverridden = 0x8000,       // another value is in the place of the one that was set
        kLocal = kOwnerIsActive | kModeIsEditing | kNotifyLocally,
        kTransfers = kHasOutgoing | kHasProxies,
        kIsConnected = kTransfers | kHasStepped,
        kHasReceivers = kAncestorObserved | kAncestorConnected | kForceObservers | kTransfers | kHasObservers,
    };

    [[nodiscard]] bool _has(unsigned bits) const noexcept {
        return (_state.load(std::memory_order_relaxed) & bits) != 0;
    }
    /// Loads with acquire, so that the list of an observer from another thread is visible when its bit is.
    [[nodiscard]] unsigned _receivers() const noexcept {
        return _state.load(std::memory_order_acquire) & kHasReceivers;
    }
    void _setState(std::uint16_t bits, bool on) const noexcept;
    void _setStateDownward(std::uint16_t bits, bool on);
    void _inheritWatching(std::uint16_t bit, bool ancestorHasIt);
    void _passWatchingToChildren(std::uint16_t bit) const;
    void _countOutputsBelow(int sign, int& connected, int& watched) const;
    void _tellOwner(int connectedDelta, int watchedDelta) const;
    void _tellOwnerOfTree() const noexcept;
    void _tellListeners(void (FieldListener::*told)(Kr::KrConnectionBase*), Kr::KrConnectionBase* connection) const;
    void _listOutgoing(Kr::KrConnectionBase* connection);
    void _unlistOutgoing(Kr::KrConnectionBase* connection);
    [[nodiscard]] Kr::KrConnectionBase* _firstOutgoing() const noexcept;
    void _dropConnections() noexcept;
    /// The one walk over connections, proxies, containers and observers; without connections when nothing is to be
    /// transferred.
    template <bool transfers>
    [[gnu::always_inline]] inline void _tellReceivers(const FieldBase& changed, unsigned receivers) const;
    [[gnu::noinline]] void _notifyAll(const FieldBase& changed, unsigned receivers) const;
    void _tellProxies(const detail::NotificationFrame& frame, bool transfers) const;
    [[nodiscard]] bool _copyToQuietSinks() const;
    static void _followChain(Kr::KrConnectionBase& first);
    /// The fields and their owners are not what they were for the connections of this field and those below it.
    void _tellConnectionsOfMove() const;
    void _walkOutgoing(const FieldBase& changed, const detail::NotificationFrame& frame) const;
    void _setConnected(std::uint16_t bit, bool on);
    [[nodiscard]] bool _tellPropertyObservers(const FieldBase& changed) const;
    void _notifyPropertyChangedBothWays() const;
    [[nodiscard]] detail::FieldRareState& _rareState() const;
    [[nodiscard]] detail::FieldRareState* _rareIfAny() const noexcept { return _rare.load(std::memory_order_acquire); }

    Kr::KrID _id;
    const std::string* _description;  // in the shared pool, never null
    Container* _parent{nullptr};
    // State that few fields have: hidden metadata, observers, incoming connections, listeners, liveness handle.
    mutable std::atomic<detail::FieldRareState*> _rare{nullptr};
    // The data that a transfer reads are last, beside the value of the derived class, to touch few cache lines.
    detail::ConnectionList _outgoing;
    std::uint32_t _internalIdentifier{0};
    mutable std::atomic<std::uint16_t> _state{kModeIsEditing};
    Types::DataTypeEnum _dataType;
    std::uint8_t _physicalDimension{0};
};

// Here, so that a call without "kr/data/field.h" is refused by the compiler and not only when the program is linked.

template <class T>
Field<T>* FieldBase::as() noexcept {
    return _dataType == ValueTraits<T>::kDataType ? static_cast<Field<T>*>(this) : nullptr;
}

template <class T>
const Field<T>* FieldBase::as() const noexcept {
    return _dataType == ValueTraits<T>::kDataType ? static_cast<const Field<T>*>(this) : nullptr;
}

template <class T>
T FieldBase::get() const {
    const auto* field = as<T>();
    return field != nullptr ? field->getValue() : T{};
}

template <class T>
bool FieldBase::set(const T& value) {
    auto* field = as<T>();
    return field != nullptr && field->setValue(value);
}

}  // namespace KrData
