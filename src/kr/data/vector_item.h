#pragma once

#include "kr/data/vector.h"
#include "kr/data/vector_item_base.h"

namespace KrData {

/// A view of one item of a Vector<T>; lifetime: see VectorItemBase.
/// Thread: application. Ownership: see VectorItemBase.
template <class T>
class KR_API VectorItem final : public VectorItemBase {
public:
    /// The vector is borrowed; the index may be past its end.
    VectorItem(Vector<T>& vector, std::size_t index);
    ~VectorItem() override;

    /// The default of T when the vector has no such item.
    [[nodiscard]] T getValue() const;
    /// See getValue.
    operator T() const { return getValue(); }
    /// Sets the item, as Vector<T>::setItem does. False when the vector has no such item.
    bool setValue(const T& value);
    VectorItem& operator=(const T& value) {
        setValue(value);
        return *this;
    }
    VectorItem& operator=(const VectorItem&) = delete;

    /// From a Field<T> or an item of the same type.
    bool copyValue(const FieldBase& source) override;
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;
    void reset() override;
    bool getRawValue(void* out) const override;
    bool setRawValue(const void* in) override;

private:
    [[nodiscard]] Vector<T>* _typedVector() const noexcept { return static_cast<Vector<T>*>(getVector()); }
};

}  // namespace KrData
