#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/conditions/internal/bound_field.h"
#include "kr/conditions/internal/condition_scanner.h"
#include "kr/conditions/internal/formula.h"

namespace KrConditions::detail {

/// What a condition reads; `values` has those of the fields in their order.
struct ConditionInputs {
    std::vector<BoundField> fields{};
    std::vector<double> values{};
    double seconds{0.0};
    double frame{0.0};
    bool usesTime{false};
    bool usesFrame{false};
};

/// Turns the parts of a condition into a formula: fields become variables, quantities become constants in SI units.
class ConditionBinder {
public:
    /// \param inputs  borrowed; the formula reads its members from then on.
    ConditionBinder(const KrSim::KrApplication& application, const std::vector<Token>& tokens, Formula& formula,
                    ConditionInputs& inputs);

    /// Compiles the formula. Throws ConditionFault.
    void run();

private:
    /// What an operand means.
    struct Operand {
        std::optional<std::size_t> field{};  ///< place in the inputs
        std::string name{};                  ///< in the formula
    };

    void _findFields();
    std::size_t _addField(const Token& token, const std::string& path);
    [[nodiscard]] const BoundField* _getField(std::size_t token) const;
    [[nodiscard]] bool _isCall(std::size_t token) const;
    [[nodiscard]] bool _isBoundary(std::size_t token) const;
    /// The field that is compared with the operand, when both stand alone on their sides.
    [[nodiscard]] const BoundField* _findCompared(std::size_t first, std::size_t last) const;
    [[nodiscard]] std::optional<int> _findEnumerationValue(std::size_t token) const;
    [[nodiscard]] bool _isSign(std::size_t token) const;
    [[nodiscard]] double _toSI(std::size_t token, bool isNegative) const;

    void _write();
    void _writeOperand(std::size_t token);
    void _writeNumber(std::size_t token);
    void _writeConstant(const Token& token, double value);
    void _append(const Token& token, const std::string& text, bool isCall = false);
    [[noreturn]] void _refuse(const mu::ParserError& error) const;

    const KrSim::KrApplication& _application;
    const std::vector<Token>& _tokens;
    Formula& _formula;
    ConditionInputs& _inputs;
    std::vector<Operand> _operands;  // one for each token
    std::string _text;
    std::vector<std::pair<std::size_t, std::size_t>> _places;  // in the text of the formula, of the token
    std::size_t _constants{0};
};

}  // namespace KrConditions::detail
