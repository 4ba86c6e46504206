#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kr/core/physical_dimension.h"

namespace KrConditions::detail {

enum class eToken : std::uint8_t { kNumber, kQuoted, kName, kOperator, kEnd };

/// A part of the text of a condition, which it borrows.
struct Token {
    eToken kind{eToken::kEnd};
    std::size_t at{0};        ///< byte in the text
    std::string_view text{};  ///< without quotes; of an operator the sign: && for "and", || for "or"
    double number{0.0};       ///< as it was written, in its unit
    std::vector<const Kr::KrPhysicalDimension::Unit*> units{};  ///< all with this symbol; empty without a unit

    [[nodiscard]] bool is(std::string_view sign) const { return kind == eToken::kOperator && text == sign; }
    [[nodiscard]] bool isComparison() const;
    /// and, or
    [[nodiscard]] bool isLogical() const { return is("&&") || is("||"); }
    /// A field, a number, a function without its arguments.
    [[nodiscard]] bool isOperand() const { return kind != eToken::kOperator && kind != eToken::kEnd; }
};

/// The sign of the word "not", which binds weaker than comparisons; "!" binds stronger.
inline constexpr std::string_view kNot = "~";

/// The parts of the text; the last one is kEnd. Throws ConditionFault.
[[nodiscard]] std::vector<Token> scanCondition(std::string_view text);

}  // namespace KrConditions::detail
