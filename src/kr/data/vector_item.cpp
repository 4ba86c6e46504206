#include "kr/data/vector_item.h"

#include "kr/data/field.h"

namespace KrData {

template <class T>
VectorItem<T>::VectorItem(Vector<T>& vector, std::size_t index) : VectorItemBase(vector, index) {}

template <class T>
VectorItem<T>::~VectorItem() = default;

template <class T>
T VectorItem<T>::getValue() const {
    const auto* vector = _typedVector();
    return vector != nullptr ? vector->getItem(getIndex()) : T{};
}

template <class T>
bool VectorItem<T>::setValue(const T& value) {
    auto* vector = _typedVector();
    return vector != nullptr && vector->setItem(getIndex(), value);
}

template <class T>
bool VectorItem<T>::copyValue(const FieldBase& source) {
    if (const auto* field = source.as<T>()) return setValue(field->getValue());
    const auto* item = dynamic_cast<const VectorItem*>(&source);
    return item != nullptr && item->hasItem() && setValue(item->getValue());
}

template <class T>
bool VectorItem<T>::isEqual(const FieldBase& other) const {
    if (!hasItem()) return false;
    if (const auto* field = other.as<T>()) return getValue() == field->getValue();
    const auto* item = dynamic_cast<const VectorItem*>(&other);
    return item != nullptr && item->hasItem() && getValue() == item->getValue();
}

template <class T>
void VectorItem<T>::reset() {
    setValue(T{});
}

template <class T>
bool VectorItem<T>::getRawValue(void* out) const {
    if (out == nullptr || !hasItem()) return false;
    *static_cast<T*>(out) = getValue();
    return true;
}

template <class T>
bool VectorItem<T>::setRawValue(const void* in) {
    return in != nullptr && setValue(*static_cast<const T*>(in));
}

#define KR_DEFINE_VECTOR_ITEM(T) template class VectorItem<T>;
KR_FOR_EACH_VALUE_TYPE(KR_DEFINE_VECTOR_ITEM)
#undef KR_DEFINE_VECTOR_ITEM

}  // namespace KrData
