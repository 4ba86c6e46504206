#include "kr/conditions/internal/condition_binder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "kr/conditions/internal/condition_fault.h"
#include "kr/core/unit_spelling.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"

namespace KrConditions::detail {
namespace {

using Dimension = Kr::KrPhysicalDimension;
using ePhysicalDimension = Dimension::ePhysicalDimension;
using Unit = Dimension::Unit;

/// The operator in the formula.
std::string toFormula(std::string_view sign) {
    constexpr std::pair<std::string_view, const char*> kNames[] = {
        {"<", Formula::kLess},    {"<=", Formula::kLessOrEqual},
        {">", Formula::kGreater}, {">=", Formula::kGreaterOrEqual},
        {"==", Formula::kEqual},  {"!=", Formula::kNotEqual}};
    const auto* name =
        std::find_if(std::begin(kNames), std::end(kNames), [&](const auto& each) { return each.first == sign; });
    return name != std::end(kNames) ? name->second : std::string(sign);
}

}  // namespace

ConditionBinder::ConditionBinder(const KrSim::KrApplication& application, const std::vector<Token>& tokens,
                                 Formula& formula, ConditionInputs& inputs)
    : _application(application), _tokens(tokens), _formula(formula), _inputs(inputs), _operands(tokens.size()) {}

void ConditionBinder::run() {
    _findFields();
    _inputs.values.resize(_inputs.fields.size());
    for (std::size_t i = 0; i < _inputs.values.size(); ++i)
        _formula.defineVariable("F" + std::to_string(i), &_inputs.values[i]);
    _formula.defineVariable("T", &_inputs.seconds);
    _formula.defineVariable("N", &_inputs.frame);
    _write();
    try {
        _formula.compile(_text);
    } catch (const mu::ParserError& error) {
        _refuse(error);
    }
}

// --- Fields --------------------------------------------------------------------------------------------------------

void ConditionBinder::_findFields() {
    for (std::size_t i = 0; i < _tokens.size(); ++i) {
        const auto& token = _tokens[i];
        const std::string name(token.text);
        if (token.kind != eToken::kName) continue;
        if (_isCall(i)) {
            if (!_formula.isFunction(name)) {
                throw ConditionFault{token.at, "there is no function " + Kr::quote(name) +
                                                   Kr::suggestName(name, _formula.getFunctions())};
            }
        } else if (name == "time") {
            _operands[i].name = "T";
            _inputs.usesTime = true;
        } else if (name == "frame") {
            _operands[i].name = "N";
            _inputs.usesFrame = true;
        } else if (name == "true" || name == "false") {
            _operands[i].name = name == "true" ? "1" : "0";
        } else if (_formula.isConstant(name)) {
            _operands[i].name = name;
        } else {
            _operands[i].field = _addField(token, name);
        }
    }
    // Values of enumerations are read by the fields that they are compared with, which may be quoted, too.
    for (std::size_t i = 0; i < _tokens.size(); ++i) {
        const auto& token = _tokens[i];
        if (token.kind != eToken::kQuoted || _findEnumerationValue(i)) continue;
        std::string problem;
        if (!BoundField::find(_application, token.text, problem)) continue;
        _operands[i].field = _addField(token, std::string(token.text));
    }
    for (std::size_t i = 0; i < _tokens.size(); ++i) {
        if (_tokens[i].kind != eToken::kQuoted || _findEnumerationValue(i) || _operands[i].field) continue;
        const auto* compared = _findCompared(i, i);
        if (compared != nullptr && compared->isEnumeration()) {
            throw ConditionFault{_tokens[i].at, Kr::quote(_tokens[i].text) + " is no value of " +
                                                    Kr::quote(compared->getPath()) + "; they are " +
                                                    compared->nameEnumerationValues()};
        }
        (void)_addField(_tokens[i], std::string(_tokens[i].text));  // throws
    }
}

std::size_t ConditionBinder::_addField(const Token& token, const std::string& path) {
    std::string problem;
    auto bound = BoundField::find(_application, path, problem);
    if (!bound) throw ConditionFault{token.at, problem};
    auto& fields = _inputs.fields;
    const auto known = std::find_if(fields.begin(), fields.end(),
                                    [&](const BoundField& each) { return each.getPath() == bound->getPath(); });
    const auto place = static_cast<std::size_t>(known - fields.begin());
    if (known == fields.end()) fields.push_back(std::move(*bound));
    return place;
}

const BoundField* ConditionBinder::_getField(std::size_t token) const {
    const auto& field = _operands[token].field;
    return field ? &_inputs.fields[*field] : nullptr;
}

bool ConditionBinder::_isCall(std::size_t token) const {
    return _tokens[token].kind == eToken::kName && _tokens[token + 1].is("(");
}

bool ConditionBinder::_isBoundary(std::size_t token) const {
    const auto& each = _tokens[token];
    return each.kind == eToken::kEnd || each.isLogical() || each.is("(") || each.is(")") || each.is(",") ||
           each.is("?") || each.is(":") || each.is("!") || each.is(kNot);
}

const BoundField* ConditionBinder::_findCompared(std::size_t first, std::size_t last) const {
    const auto isFree = [this](std::size_t before) { return before == 0 || _isBoundary(before - 1); };
    if (first >= 2 && _tokens[first - 1].isComparison() && isFree(first - 2) && _isBoundary(last + 1))
        return _getField(first - 2);
    // The last token is the end, which no comparison is.
    if (_tokens[last + 1].isComparison() && isFree(first) && _isBoundary(last + 3)) return _getField(last + 2);
    return nullptr;
}

std::optional<int> ConditionBinder::_findEnumerationValue(std::size_t token) const {
    const auto* compared = _findCompared(token, token);
    if (compared == nullptr || !compared->isEnumeration()) return std::nullopt;
    return compared->findEnumerationValue(_tokens[token].text);
}

// --- Formula -------------------------------------------------------------------------------------------------------

/// Whether it is a minus or plus in front of an operand, not between two.
bool ConditionBinder::_isSign(std::size_t token) const {
    if (!_tokens[token].is("-") && !_tokens[token].is("+")) return false;
    return token == 0 || (_tokens[token - 1].kind == eToken::kOperator && !_tokens[token - 1].is(")"));
}

double ConditionBinder::_toSI(std::size_t token, bool isNegative) const {
    const auto& each = _tokens[token];
    const auto* compared = _findCompared(isNegative ? token - 1 : token, token);
    const auto wanted = compared != nullptr ? compared->getDimension() : ePhysicalDimension::kNone;
    const auto isWanted = [&](const Unit* unit) { return Dimension::dimensionOf(unit->hint) == wanted; };
    auto unit = std::find_if(each.units.begin(), each.units.end(), isWanted);
    if (unit == each.units.end() && compared != nullptr && wanted != ePhysicalDimension::kNone) {
        throw ConditionFault{each.at, Kr::quote(each.text) + " is no " + Kr::nameInSentence(wanted) + ", as " +
                                          Kr::quote(compared->getPath()) + " is; its units are " +
                                          Kr::listUnits(wanted)};
    }
    if (unit == each.units.end() && each.units.size() > 1) {
        std::string dimensions;
        for (const auto* one : each.units) {
            const auto dimension = Dimension::dimensionOf(one->hint);
            dimensions.append(dimensions.empty() ? "" : " and of ").append(Kr::nameInSentence(dimension));
        }
        throw ConditionFault{each.at, "the unit of " + Kr::quote(each.text) + " is one of " + dimensions +
                                          "; compare it with a field alone, or write another unit"};
    }
    if (unit == each.units.end()) unit = each.units.begin();
    return Dimension::toSI(isNegative ? -each.number : each.number, (*unit)->hint);
}

void ConditionBinder::_write() {
    for (std::size_t i = 0; i + 1 < _tokens.size(); ++i) {
        const auto& token = _tokens[i];
        // -5 °C is one quantity: 268.15 K, not the negative of 278.15 K.
        const bool isOfQuantity = _isSign(i) && token.is("-") && !_tokens[i + 1].units.empty();
        if (isOfQuantity) continue;
        if (token.kind == eToken::kOperator) {
            _append(token, toFormula(token.text));
        } else {
            _writeOperand(i);
        }
    }
}

void ConditionBinder::_writeOperand(std::size_t token) {
    const auto& each = _tokens[token];
    if (each.kind == eToken::kNumber) return _writeNumber(token);
    if (_isCall(token)) return _append(each, std::string(each.text), true);
    if (const auto& field = _operands[token].field) return _append(each, "F" + std::to_string(*field));
    if (!_operands[token].name.empty()) return _append(each, _operands[token].name);
    _writeConstant(each, _findEnumerationValue(token).value_or(0));
}

void ConditionBinder::_writeNumber(std::size_t token) {
    const auto& each = _tokens[token];
    if (each.units.empty()) return _writeConstant(each, each.number);
    const bool isNegative = token > 0 && _tokens[token - 1].is("-") && _isSign(token - 1);
    _writeConstant(each, _toSI(token, isNegative));
}

void ConditionBinder::_writeConstant(const Token& token, double value) {
    const auto name = "C" + std::to_string(_constants++);
    _formula.defineConstant(name, value);
    _append(token, name);
}

void ConditionBinder::_append(const Token& token, const std::string& text, bool isCall) {
    _places.emplace_back(_text.size(), token.at);
    _text.append(text).append(isCall ? "" : " ");  // muParser wants the bracket directly behind
}

void ConditionBinder::_refuse(const mu::ParserError& error) const {
    const auto isLater = [](int position, const auto& place) { return position < static_cast<int>(place.first); };
    const auto after = std::upper_bound(_places.begin(), _places.end(), error.GetPos(), isLater);
    const std::size_t at = after != _places.begin() ? std::prev(after)->second : 0;
    const auto say = [](mu::EErrorCodes code) -> const char* {
        switch (code) {
            case mu::ecTOO_MANY_PARAMS:
                return "the function has too many arguments";
            case mu::ecTOO_FEW_PARAMS:
                return "the function has too few arguments";
            case mu::ecEXPRESSION_TOO_LONG:
                return "the condition is too long";
            default:
                return "the condition cannot be understood here";
        }
    };
    throw ConditionFault{at, say(error.GetCode())};
}

}  // namespace KrConditions::detail
