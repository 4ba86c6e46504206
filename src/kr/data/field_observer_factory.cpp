#include "kr/data/field_observer_factory.h"

#include <utility>

namespace KrData {

DelegateConnection FieldObserverFactory::create(FieldBase& field, FieldBase::Observer function) {
    return field.addObserver(std::move(function));
}

}  // namespace KrData
