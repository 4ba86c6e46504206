#pragma once

#include <span>
#include <string>
#include <string_view>

#include "kr/core/physical_dimension.h"
#include "kr/platform/export.h"

namespace Kr {

/// A spelling of a unit beside its symbols and its name.
struct UnitAlias {
    KrPhysicalDimension::eDimensionHint hint;
    const char* text;  ///< UTF-8
    bool isWord;       ///< read like a name, in any case and in the plural; else like a symbol
};

/// All aliases, by dimension. Thread: any.
[[nodiscard]] KR_API std::span<const UnitAlias> getUnitAliases() noexcept;

/// The unit of the dimension that a person means, or null.
///
/// Symbols and their aliases: the case counts. Between two factors is a blank, a point, `*`, a hyphen, a middle dot or
/// nothing: "N·m", "N m", "N*m", "Nm". Exponents are superscripts or digits, with or without `^`. Both micro signs and
/// both ohm signs are read, and blanks around `/` and `^`. Names and words: in any case and number, with British or
/// American endings: "kilometers per hour". A text has one meaning in a dimension.
/// Thread: any.
[[nodiscard]] KR_API const KrPhysicalDimension::Unit* findUnitBySpelling(
    KrPhysicalDimension::ePhysicalDimension dimension, std::string_view text) noexcept;

/// For messages: the symbols of the units of a dimension, "kg, g, t, lb, oz". Thread: any.
[[nodiscard]] KR_API std::string listUnits(KrPhysicalDimension::ePhysicalDimension dimension);

/// For messages: "angular speed". Thread: any.
[[nodiscard]] KR_API std::string nameInSentence(KrPhysicalDimension::ePhysicalDimension dimension);

}  // namespace Kr
