#pragma once

#include <memory>

#include "kr/data/fwd.h"

namespace Kr::detail {

/// The line from the value of a field to another value.
/// Thread: application. Ownership: owns copies of the values.
class ValueLine {
public:
    ValueLine(const ValueLine&) = delete;
    ValueLine& operator=(const ValueLine&) = delete;
    virtual ~ValueLine();

    /// Null for a field whose type has no values between two others.
    [[nodiscard]] static std::unique_ptr<ValueLine> make(const KrData::FieldBase& field);

    /// From the value of the field that it was made for, to that one, converted. False when that cannot be.
    [[nodiscard]] virtual bool begin(const KrData::FieldBase& field, const KrData::FieldBase& end) = 0;
    /// \param fraction  of the way, 0 to 1; at 1 it is the end to the last bit. \return  good until the next call.
    [[nodiscard]] virtual const KrData::FieldBase& at(double fraction) = 0;

protected:
    ValueLine();
};

}  // namespace Kr::detail
