#pragma once

#include "kr/data/field_base.h"

namespace KrData {

/// Makes observers from outside a class: the same as field.addObserver(function).
class KR_API FieldObserverFactory {
public:
    FieldObserverFactory() = delete;
    [[nodiscard]] static DelegateConnection create(FieldBase& field, FieldBase::Observer function);
};

}  // namespace KrData
