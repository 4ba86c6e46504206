#include "benchmarks/bare_property.h"

BareProperty::~BareProperty() = default;

bool BareProperty::set(const void* value) {
    const double next = *static_cast<const double*>(value);
    if (_value == next) return true;
    _value = next;
    _changed = true;
    for (const auto& function : functions)
        function(*this);
    return true;
}
