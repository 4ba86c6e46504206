#pragma once

#include <cstddef>
#include <memory>

#include "kr/core/id.h"
#include "kr/data/field_base.h"
#include "kr/data/value_plan.h"

namespace KrData {

/// The operations of a plan on the values of fields of one type, which are adjacent in one of the stores of
/// FieldValues. `place` is that of the first field in the store of its type.
struct ValuePlan::Operations {
    std::size_t ValuePlan::*total;  // what counts the room in the store
    std::size_t size;               // of one value there
    void (*take)(FieldBase* const* fields, std::size_t count, std::size_t place, FieldValues& values);
    void (*restore)(FieldBase* const* fields, std::size_t count, std::size_t place, const FieldValues& values,
                    Changed& changed);
    /// Allocates memory in the fields, so that restoring allocates nothing. Null when values need none.
    void (*prepare)(FieldBase* const* fields, std::size_t count, std::size_t place, const FieldValues& values);
    bool (*isSame)(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace);
    std::unique_ptr<FieldBase> (*make)(const Kr::KrID& id, std::size_t place, const FieldValues& values);
};

}  // namespace KrData
