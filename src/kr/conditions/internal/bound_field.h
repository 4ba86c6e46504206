#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kr/application/fwd.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"

namespace KrConditions::detail {

/// A number in a field: its value, or a component of it. Keeps what a report needs when the field is gone.
class BoundField {
public:
    /// By the path of a field, with the name of a component behind it where the value has some.
    /// \param problem  why there is none, as the end of a message.
    [[nodiscard]] static std::optional<BoundField> find(const KrSim::KrApplication& application, std::string_view path,
                                                        std::string& problem);

    /// In SI units. Empty when the field has been removed. Does not allocate.
    [[nodiscard]] std::optional<double> read() const;

    [[nodiscard]] bool exists() const noexcept { return _field.isAlive(); }
    [[nodiscard]] const std::string& getPath() const noexcept { return _path; }
    [[nodiscard]] Kr::KrPhysicalDimension::ePhysicalDimension getDimension() const noexcept { return _dimension; }
    [[nodiscard]] bool isEnumeration() const noexcept { return !_enumeration.empty(); }
    /// The number of a value of the enumeration; empty for another text.
    [[nodiscard]] std::optional<int> findEnumerationValue(std::string_view text) const;
    /// "'Park', 'Drive'"
    [[nodiscard]] std::string nameEnumerationValues() const;
    /// The value as people read it, "12 m/s".
    [[nodiscard]] std::string format(double value) const;

private:
    using Read = double (*)(const KrData::FieldBase& field, int component);

    [[nodiscard]] static std::string _bind(KrData::FieldBase& field, int component, BoundField& bound);

    KrData::FieldReference _field;
    std::string _path;
    Read _read{nullptr};
    int _component{0};
    Kr::KrPhysicalDimension::ePhysicalDimension _dimension{};
    Kr::KrPhysicalDimension::eDimensionHint _hint{};
    std::string _enumeration;  // its type
};

}  // namespace KrConditions::detail
