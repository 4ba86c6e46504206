#pragma once

#include <functional>
#include <memory>

#include "kr/data/extension_pointer.h"
#include "kr/data/field_base.h"
#include "kr/data/value_pointer.h"
#include "kr/data/value_traits.h"

namespace KrData {

namespace detail {
/// An override: what others see in the place of the value that was set.
template <class T>
struct OverriddenValue {
    Stored<T> own{};    // as set
    Stored<T> shown{};  // the value of the field
    std::function<T(const T& own)> replace;
};

template <class T>
struct FieldExtras {
    T minimum{};
    T maximum{};
    bool hasRange{false};
    std::unique_ptr<OverriddenValue<T>> overridden;
    std::shared_ptr<const ValuePointer<T>> pointer;  // shared with the call in progress: a function may end its binding
};
}  // namespace detail

/// A field with a value of type T, one of the value types of Types::DataTypeEnum.
///
/// Numbers and vectors may have a range, to which a set value is clamped, each component separately. Setting an equal
/// value changes nothing and notifies no observer; values are compared before clamping, so a value that is clamped to
/// the stored one does notify. NaN differs from itself.
/// Thread: application. Ownership: see FieldBase.
template <class T>
class KR_API Field : public FieldBase {
public:
    /// With a parent the field adds itself to it, and is owned by it from then on.
    explicit Field(const Kr::KrID& id, Container* parent = nullptr, const T& value = T{});
    /// A detached copy of identifier, properties, value and range; not of value pointer, observers, connections.
    Field(const Field& source);
    ~Field() override;

    // --- The value -------------------------------------------------------------------------------------------------
    /// The value, from the bound getter if there is one. The reference is valid until the value changes.
    [[nodiscard]] const T& getValue() const {
        if (_isBoundToValue()) [[unlikely]]
            _readThroughPointer();
        return _value;
    }
    operator const T&() const { return getValue(); }
    /// The value as it was set, also while an override shows another one. Saved content has it, and the implementation
    /// of an output reads it back. Valid until the value changes.
    [[nodiscard]] const T& getOwnValue() const {
        if (_readsElsewhere()) [[unlikely]]
            return _readOwnValue();
        return _value;
    }
    /// Always true, except for an Enumeration value of another type than the stored one, which is refused.
    bool setValue(const T& value) { return (_value == value && !isOverridden()) || _store(value); }
    Field& operator=(const T& value) {
        setValue(value);
        return *this;
    }
    Field& operator=(const Field&) = delete;

    // --- Range -----------------------------------------------------------------------------------------------------
    /// Values set from now on are clamped to [minimum, maximum]; the stored value is unchanged. False, and nothing
    /// changes, unless every minimum is below its maximum.
    bool setRange(const T& minimum, const T& maximum) requires ValueTraits<T>::kHasRange;
    /// Stops clamping; minimum and maximum are kept.
    void clearRange() noexcept;
    /// Whether set values are clamped.
    [[nodiscard]] bool hasRange() const noexcept { return _isRestricted() && _extras->hasRange; }
    /// The default value before the first setRange.
    [[nodiscard]] T getMinimum() const { return _extras ? _extras->minimum : T{}; }
    /// The default value before the first setRange.
    [[nodiscard]] T getMaximum() const { return _extras ? _extras->maximum : T{}; }
    /// 2 to 4 for a vector, 1 for every other type.
    [[nodiscard]] static constexpr int getComponentCount() noexcept {
        return ValueTraits<T>::kHasRange ? ValueTraits<T>::kComponentCount : 1;
    }

    // --- Binding to a variable -------------------------------------------------------------------------------------
    /// Reads and writes the value through these functions from now on, instead of an earlier binding. Two empty
    /// functions end a binding.
    void bindValue(ValuePointer<T> pointer);
    /// Binds the field to `variable`, which must outlive the binding; null ends a binding.
    void bindVariable(T* variable);
    /// The field keeps its last stored value.
    void unbindValue();
    /// Whether bindValue or bindVariable is in effect.
    [[nodiscard]] bool isBound() const noexcept { return _isBoundToValue(); }

    // --- The field independent of its type -------------------------------------------------------------------------
    [[nodiscard]] Field* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Field* clone(Container* parent) const override;
    /// Stores the value of `source` without clamping it.
    bool copyValue(const FieldBase& source) override;
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;
    void reset() override;
    bool getRawValue(void* out) const override;
    bool setRawValue(const void* in) override;
    void _cloneFrom(const FieldBase& source) override;

protected:
    [[nodiscard]] Kr::UnnotifiedCopy _getUnnotifiedCopy(const FieldBase& source) const override;
    /// For derived classes that copy and notify in the same way as this class.
    [[nodiscard]] Kr::UnnotifiedCopy _getOwnUnnotifiedCopy(const FieldBase& source) const;
    /// For derived classes that add themselves to their parent when they are complete.
    struct Detached {};
    Field(Detached, const Kr::KrID& id);
    [[nodiscard]] Field* _duplicate() const override;

private:
    friend struct detail::FieldAccess;

    /// Takes minimum, maximum and whether they count, as they are.
    void _copyRange(const Field& source);
    /// For loading, before anything refers to the field: stores the value exactly, also -0.0 instead of 0.0.
    void _initializeValue(const T& value) { _value = value; }
    /// Stores the value without clamping or notification. Returns whether it differs from the previous one, bit by bit,
    /// and there are observers or connections to notify.
    bool _restoreValue(const T& value);

    bool _store(const T& value) {
        if (!isFinite(value)) [[unlikely]]
            _announceNotFinite(value);
        _value = value;
        if (_takesMoreThanStoring()) {
            if (_isRestricted() && !_clampAndWriteThrough()) return true;
            if (_needsNotification()) _notifyChanged(*this);
        }
        return true;
    }
    /// Notifies the observer of such values when the new value is worse than the stored one.
    void _announceNotFinite(T value) const;  // by value, so that the caller may keep it in registers
    void _readThroughPointer() const;
    [[nodiscard]] const T& _readOwnValue() const;
    /// False when an override shows the same value as before.
    bool _clampAndWriteThrough();
    void _writeThrough();
    [[nodiscard]] detail::FieldExtras<T>& _makeExtras();
    /// The stored value was set and becomes the own one. Returns whether the shown value is another one than before.
    bool _replaceValue();
    /// Shows the value that `replace` returns for the own value, from now on; an empty function shows the own value
    /// again. False, and nothing changes, for a bound field. `replace` must not throw.
    bool _setOverride(std::function<T(const T& own)> replace);
    /// Calls `replace` again, for one that changes with time.
    void _refreshOverride();
    /// For restoring: the stored value is the shown one. An empty function makes it the own one.
    void _restoreOverride(const T& own, std::function<T(const T& own)> replace);
    /// After each change of range and binding.
    void _noteExtras() const noexcept {
        _setRestricted(_extras && _extras->pointer, _extras && _extras->hasRange, _extras && _extras->overridden);
    }

    mutable detail::Stored<T> _value{};
    std::unique_ptr<detail::FieldExtras<T>> _extras;  // range and value pointer, which few fields have
};

template <>
bool Field<Kr::KrEnum>::_store(const Kr::KrEnum& value);

}  // namespace KrData
