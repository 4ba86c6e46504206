#include "kr/conditions/internal/condition_grammar.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "kr/conditions/internal/condition_fault.h"

namespace KrConditions::detail {
namespace {

using Dimension = Kr::KrPhysicalDimension;

std::string describe(const Token& token) {
    if (token.is(kNot)) return "'not'";
    return "'" + std::string(token.text) + "'";
}

/// One pair of brackets.
struct Level {
    std::size_t at{0};
    bool isCall{false};
    bool isCompared{false};              // since the last "and" or the like
    std::vector<std::size_t> choices{};  // bytes of each '?' that has no ':' yet
};

class Grammar {
public:
    explicit Grammar(const std::vector<Token>& tokens) : _tokens(tokens) {}

    void run() {
        for (std::size_t i = 0; i < _tokens.size(); ++i)
            _take(_tokens[i], i > 0 ? _tokens[i - 1] : Token{});
    }

private:
    void _take(const Token& token, const Token& before) {
        if (token.kind == eToken::kEnd) return _takeEnd(token);
        if (token.isOperand()) return _takeOperand(token);
        if (token.is("(")) return _takeOpening(token, before);
        if (token.is(")")) return _takeClosing(token, before);
        const bool isPrefix = token.is("!") || token.is(kNot);
        if (isPrefix && !_needsOperand) _refuse(token, "an operator is missing before " + describe(token));
        if (_needsOperand && !isPrefix && !token.is("-") && !token.is("+"))
            _refuse(token, "an operand is missing before " + describe(token));
        if (token.isComparison()) return _takeComparison(token);
        if (token.is(",") && !_levels.back().isCall)
            _refuse(token, "a comma is possible between arguments of a function only");
        if (token.is("?")) _levels.back().choices.push_back(token.at);
        if (token.is(":")) _takeColon(token);
        if (token.is(",")) _requireColons();
        _needsOperand = true;
        if (token.isLogical() || token.is(",") || token.is("?") || token.is(":") || token.is(kNot))
            _levels.back().isCompared = false;
    }

    void _takeEnd(const Token& token) const {
        if (_tokens.size() == 1) _refuse(token, "there is no condition");
        if (_needsOperand) _refuse(token, "an operand is missing at the end");
        if (_levels.size() > 1) throw ConditionFault{_levels.back().at, "the ')' for this '(' is missing"};
        _requireColons();
    }

    void _takeColon(const Token& token) {
        auto& choices = _levels.back().choices;
        if (choices.empty()) _refuse(token, "there is no '?' for this ':'");
        choices.pop_back();
    }

    void _requireColons() const {
        const auto& choices = _levels.back().choices;
        if (!choices.empty()) throw ConditionFault{choices.back(), "the ':' for this '?' is missing"};
    }

    void _takeOperand(const Token& token) {
        if (!_needsOperand) _refuse(token, "an operator is missing before " + describe(token));
        _needsOperand = false;
    }

    void _takeOpening(const Token& token, const Token& before) {
        const bool isCall = before.kind == eToken::kName;
        if (!_needsOperand && !isCall) _refuse(token, "an operator is missing before '('");
        _levels.push_back({.at = token.at, .isCall = isCall});
        _needsOperand = true;
    }

    void _takeClosing(const Token& token, const Token& before) {
        if (_levels.size() == 1) _refuse(token, "there is no '(' for this ')'");
        if (_needsOperand && !before.is("(")) _refuse(token, "an operand is missing before ')'");
        if (_needsOperand) _refuse(token, "there is nothing in the brackets");
        _requireColons();
        _levels.pop_back();
        _needsOperand = false;
    }

    void _takeComparison(const Token& token) {
        if (_levels.back().isCompared)
            _refuse(token, "the result of a comparison is compared; write 'a < b and b < c', or brackets");
        _levels.back().isCompared = true;
        _needsOperand = true;
    }

    [[noreturn]] static void _refuse(const Token& token, std::string text) {
        throw ConditionFault{token.at, std::move(text)};
    }

    const std::vector<Token>& _tokens;
    std::vector<Level> _levels{Level{}};
    bool _needsOperand{true};
};

[[noreturn]] void refuseFor(const Token& token) {
    throw ConditionFault{token.at, "'for' and a time, 'for 2 s', are possible at the end of a whole condition only"};
}

}  // namespace

std::optional<double> takeDuration(std::vector<Token>& tokens) {
    const auto isFor = [](const Token& each) { return each.kind == eToken::kName && each.text == "for"; };
    const auto found = std::find_if(tokens.begin(), tokens.end(), isFor);
    if (found == tokens.end()) return std::nullopt;
    if (tokens.end() - found != 3 || found[1].kind != eToken::kNumber) refuseFor(*found);
    double seconds = found[1].number;
    if (!found[1].units.empty()) {
        const auto isTime = [](const Dimension::Unit* unit) {
            return Dimension::dimensionOf(unit->hint) == Dimension::ePhysicalDimension::kTime;
        };
        const auto& units = found[1].units;
        const auto unit = std::find_if(units.begin(), units.end(), isTime);
        if (unit == units.end()) throw ConditionFault{found[1].at, describe(found[1]) + " is no time"};
        seconds = Dimension::toSI(seconds, (*unit)->hint);
    }
    Token end{.kind = eToken::kEnd, .at = found->at};
    tokens.erase(found, tokens.end());
    tokens.push_back(std::move(end));
    return seconds;
}

void checkGrammar(const std::vector<Token>& tokens) {
    Grammar(tokens).run();
}

}  // namespace KrConditions::detail
