#pragma once

#include "kr/data/field_base.h"

namespace KrData {

/// Creates observers outside a class: the same as field.addObserver(function).
/// Thread: that of addObserver. Ownership: the handle owns the function.
class KR_API FieldObserverFactory {
public:
    FieldObserverFactory() = delete;
    /// See FieldBase::addObserver.
    [[nodiscard]] static DelegateConnection create(FieldBase& field, FieldBase::Observer function);
};

}  // namespace KrData
