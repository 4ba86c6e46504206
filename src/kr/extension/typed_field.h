#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <type_traits>

#include "kr/core/physical_dimension.h"
#include "kr/data/field.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The description of a field by its implementation; every member is optional.
template <class T, bool hasRange = KrData::ValueTraits<T>::kHasRange>
struct FieldOptions {
    T value{};                  ///< the default value
    std::optional<T> min = {};  ///< set values are clamped to [min, max]; a number may have one of the two,
    std::optional<T> max = {};  ///< other types need both
    Kr::KrPhysicalDimension::ePhysicalDimension dimension = Kr::KrPhysicalDimension::ePhysicalDimension::kNone;
    const char* description = "";
};

/// Types without a range.
template <class T>
struct FieldOptions<T, false> {
    T value{};
    Kr::KrPhysicalDimension::ePhysicalDimension dimension = Kr::KrPhysicalDimension::ePhysicalDimension::kNone;
    const char* description = "";
};

namespace detail {

template <class T>
class TypedField;

/// A field that an implementation declared; it notifies its handle when it is destroyed.
template <class T>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): in a template it misses that the base has a virtual one
class DeclaredField final : public KrData::Field<T> {
public:
    DeclaredField(const Kr::KrID& id, const T& value) : KrData::Field<T>(id, nullptr, value) {}
    ~DeclaredField() override {
        if (_handle != nullptr) _handle->_field = nullptr;
        this->_detachFromEverything();
    }

private:
    friend class TypedField<T>;

    [[nodiscard]] Kr::UnnotifiedCopy _getUnnotifiedCopy(const KrData::FieldBase& source) const override {
        return this->_getOwnUnnotifiedCopy(source);
    }

    TypedField<T>* _handle{nullptr};
};

/// Puts a declared field into the container of its role in the proxy; where a field of that name is there, it takes its
/// place and value if the type is the same, and another name if not. Without a proxy it destroys the field.
/// \return whether the field lives.
KR_API bool placeDeclaredField(IExtension* owner, KrData::Types::FieldTypeEnum role, KrData::FieldBase* field);

/// Declares a former name of a declared field, which takes the value of a field of that name, if any.
KR_API bool addDeprecatedFieldName(KrData::FieldBase& field, const Kr::KrID& former);

/// The common part of inputs, outputs and parameters.
template <class T>
class TypedField {
public:
    TypedField(const TypedField&) = delete;
    TypedField& operator=(const TypedField&) = delete;

    /// The value, or the default of T without a field.
    [[nodiscard]] const T& get() const { return _field != nullptr ? _field->getValue() : _none(); }
    operator const T&() const { return get(); }
    /// Sets the value as the field itself does: clamped, notifying observers and connections. False without a field.
    bool set(const T& value) { return _field != nullptr && _field->setValue(value); }
    /// The field in the container, to observe, connect or describe it. Null for an implementation without a proxy and
    /// after the field was removed.
    [[nodiscard]] KrData::Field<T>* getField() const noexcept { return _field; }
    /// In the constructor of the implementation: content of earlier releases has the field under this name. See
    /// KrData::Container::addDeprecatedName; also false without a field.
    bool addDeprecatedName(const Kr::KrID& former) {
        return _field != nullptr && addDeprecatedFieldName(*_field, former);
    }

protected:
    TypedField(IExtension* owner, KrData::Types::FieldTypeEnum role, const Kr::KrID& id,
               const FieldOptions<T>& options) {
        auto field = std::make_unique<DeclaredField<T>>(id, options.value);
        if constexpr (KrData::ValueTraits<T>::kHasRange) {
            _setRange(*field, options.min, options.max);
        }
        field->setPhysicalDimension(options.dimension);
        field->setDescription(options.description);
        field->_handle = this;
        _field = field.get();
        placeDeclaredField(owner, role, field.release());
    }
    ~TypedField() {
        if (_field == nullptr) return;
        // The field outlives the implementation: its value is content. From now on it is like one added by hand.
        _field->_handle = nullptr;
        _field->_setDynamic(true);
    }

private:
    friend class DeclaredField<T>;

    static void _setRange(KrData::Field<T>& field, std::optional<T> min, std::optional<T> max) {
        if constexpr (std::is_arithmetic_v<T>) {
            if (min && !max) max = std::numeric_limits<T>::max();
            if (max && !min) min = std::numeric_limits<T>::lowest();
        }
        if (min && max) field.setRange(*min, *max);
    }

    [[nodiscard]] static const T& _none() {
        static const T& value = *new T{};
        return value;
    }

    DeclaredField<T>* _field{nullptr};
};

}  // namespace detail

/// An input of an implementation: a member that makes the field and reads it.
///
///     KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce, .description = "At the wheels."}};
///
/// Reads as its value. Connections set it; the implementation may set a start value with set().
/// Thread: application. Ownership: the handle is a member of the implementation; the field belongs to the extension.
template <class T>
class Input final : public detail::TypedField<T> {
public:
    /// \param id  the name of the field; content stores it, so it must not change (see addDeprecatedName).
    Input(IExtension* owner, const Kr::KrID& id, const FieldOptions<T>& options = {})
        : detail::TypedField<T>(owner, KrData::Types::kInput, id, options) {}
};

/// An output: `speed = 12.0;` sets it and notifies connections and observers. See Input.
template <class T>
class Output final : public detail::TypedField<T> {
public:
    Output(IExtension* owner, const Kr::KrID& id, const FieldOptions<T>& options = {})
        : detail::TypedField<T>(owner, KrData::Types::kOutput, id, options) {}
    /// The value that was set, also while an override shows observers and connections another one.
    [[nodiscard]] const T& get() const {
        const auto* field = this->getField();
        return field != nullptr ? field->getOwnValue() : detail::TypedField<T>::get();
    }
    operator const T&() const { return get(); }
    Output& operator=(const T& value) {
        this->set(value);
        return *this;
    }
};

/// A parameter, which users set in an editor. See Input.
template <class T>
class Parameter final : public detail::TypedField<T> {
public:
    Parameter(IExtension* owner, const Kr::KrID& id, const FieldOptions<T>& options = {})
        : detail::TypedField<T>(owner, KrData::Types::kParameter, id, options) {}
    Parameter& operator=(const T& value) {
        this->set(value);
        return *this;
    }
};

}  // namespace KrSim
