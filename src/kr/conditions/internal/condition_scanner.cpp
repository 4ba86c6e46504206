#include "kr/conditions/internal/condition_scanner.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>
#include <utility>

#include "kr/conditions/internal/condition_fault.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/utf8.h"

namespace KrConditions::detail {
namespace {

using Dimension = Kr::KrPhysicalDimension;

constexpr std::string_view kBlanks = " \t\r\n";

bool isDigit(char each) {
    return each >= '0' && each <= '9';
}

bool isNameStart(char each) {
    return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') || each == '_';
}

/// Of a word in any language.
bool isWordPart(char each) {
    return isNameStart(each) || isDigit(each) || each == '.' || static_cast<unsigned char>(each) >= 0x80;
}

bool isOperatorWord(std::string_view word) {
    return word == "and" || word == "or" || word == "not" || word == "for";
}

template <class Action>
void forEachUnit(Action&& action) {
    for (int i = 0; i < Dimension::kDimensionCount; ++i) {
        for (const auto& unit : Dimension::getUnits(static_cast<Dimension::ePhysicalDimension>(i)))
            if (*unit.symbol != '\0') action(unit);
    }
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : _text(text) {}

    std::vector<Token> run() {
        for (_skipBlanks(); _at < _text.size(); _skipBlanks())
            _tokens.push_back(_read());
        _tokens.push_back({.kind = eToken::kEnd, .at = _text.size()});
        return std::move(_tokens);
    }

private:
    [[nodiscard]] char _peek(std::size_t ahead = 0) const {
        return _at + ahead < _text.size() ? _text[_at + ahead] : '\0';
    }
    [[nodiscard]] std::string_view _getRest() const { return _text.substr(_at); }
    void _skipBlanks() { _at = std::min(_text.find_first_not_of(kBlanks, _at), _text.size()); }

    Token _read() {
        const char first = _peek();
        if (isDigit(first) || (first == '.' && isDigit(_peek(1)))) return _readNumber();
        if (first == '\'' || first == '"' || first == '`') return _readQuoted();
        if (isNameStart(first)) return _readName();
        return _readOperator();
    }

    Token _readNumber() {
        Token token{.kind = eToken::kNumber, .at = _at};
        const auto rest = _getRest();
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), token.number);
        const auto length = static_cast<std::size_t>(end - rest.data());
        token.text = rest.substr(0, length);
        if (error != std::errc()) throw ConditionFault{_at, "the number is too large or too small"};
        _at += length;
        const auto afterNumber = _at;
        _skipBlanks();
        if (_peek() == '[') {
            _readUnitInBrackets(token);
        } else if (!_readUnit(token)) {
            _refuseUnknownUnit();
            _at = afterNumber;
        }
        return token;
    }

    void _readUnitInBrackets(Token& token) {
        const auto open = _at++;
        const auto close = _text.find(']', open);
        if (close == std::string_view::npos) throw ConditionFault{open, "the ']' behind the unit is missing"};
        _skipBlanks();
        if (!_readUnit(token)) _refuseUnit(_text.substr(_at, close - std::min(_at, close)));
        _skipBlanks();
        if (_at != close) _refuseUnit(_text.substr(open + 1, close - open - 1));
        ++_at;
    }

    /// The longest symbol of a unit that ends here with its word.
    bool _readUnit(Token& token) {
        const auto rest = _getRest();
        std::size_t longest = 0;
        const auto measure = [&](std::string_view symbol) {
            const bool isHere =
                rest.starts_with(symbol) && (symbol.size() == rest.size() || !isWordPart(rest[symbol.size()]));
            if (isHere) longest = std::max(longest, symbol.size());
        };
        forEachUnit([&](const Dimension::Unit& unit) {
            measure(unit.symbol);
            measure(unit.plainSymbol);
        });
        if (longest == 0) return false;
        const auto symbol = rest.substr(0, longest);
        forEachUnit([&](const Dimension::Unit& unit) {
            if (symbol == unit.symbol || symbol == unit.plainSymbol) token.units.push_back(&unit);
        });
        token.text = _text.substr(token.at, _at + longest - token.at);
        _at += longest;
        return true;
    }

    /// A word behind a number must be a unit, unless it goes on with the condition.
    void _refuseUnknownUnit() const {
        if (!isWordPart(_peek()) || isDigit(_peek())) return;
        const auto rest = _getRest();
        const auto length = std::find_if_not(rest.begin(), rest.end(), isWordPart) - rest.begin();
        const auto word = rest.substr(0, static_cast<std::size_t>(length));
        if (!isOperatorWord(word)) _refuseUnit(word);
    }

    [[noreturn]] void _refuseUnit(std::string_view word) const {
        std::vector<std::string> known;
        forEachUnit([&](const Dimension::Unit& unit) {
            known.emplace_back(unit.symbol);
            known.emplace_back(unit.plainSymbol);
        });
        throw ConditionFault{_at, "there is no unit '" + std::string(word) + "'" + Kr::suggestName(word, known)};
    }

    Token _readQuoted() {
        const auto begin = _at;
        const auto end = _text.find(_text[begin], begin + 1);
        if (end == std::string_view::npos)
            throw ConditionFault{begin, std::string("the second ") + _text[begin] + " is missing"};
        _at = end + 1;
        return {.kind = eToken::kQuoted, .at = begin, .text = _text.substr(begin + 1, end - begin - 1)};
    }

    Token _readName() {
        const auto rest = _getRest();
        const auto isPart = [](char each) { return isNameStart(each) || isDigit(each) || each == '.'; };
        const auto length = std::find_if_not(rest.begin(), rest.end(), isPart) - rest.begin();
        Token token{.kind = eToken::kName, .at = _at, .text = rest.substr(0, static_cast<std::size_t>(length))};
        constexpr std::pair<std::string_view, std::string_view> kWords[] = {{"and", "&&"}, {"or", "||"}, {"not", kNot}};
        for (const auto& [word, sign] : kWords) {
            if (token.text == word) token = {.kind = eToken::kOperator, .at = _at, .text = sign};
        }
        _at += static_cast<std::size_t>(length);
        return token;
    }

    Token _readOperator() {
        constexpr std::string_view kSigns[] = {"==", "!=", "<=", ">=", "&&", "||", "<", ">", "+", "-",
                                               "*",  "/",  "^",  "(",  ")",  ",",  "?", ":", "!"};
        const auto rest = _getRest();
        const auto* sign = std::find_if(std::begin(kSigns), std::end(kSigns),
                                        [&](std::string_view each) { return rest.starts_with(each); });
        if (sign == std::end(kSigns)) _refuseCharacter();
        Token token{.kind = eToken::kOperator, .at = _at, .text = *sign};
        _at += sign->size();
        return token;
    }

    [[noreturn]] void _refuseCharacter() const {
        const char first = _peek();
        if (first == '=') throw ConditionFault{_at, "'=' compares nothing; write =="};
        if (first == '&' || first == '|')
            throw ConditionFault{
                _at, std::string("write ") + first + first + " or the word " + (first == '&' ? "and" : "or")};
        const std::size_t length = Kr::getUtf8CharacterLength(_text, _at);
        if (length == 0) throw ConditionFault{_at, "this is no text in UTF-8"};
        throw ConditionFault{_at, "'" + std::string(_getRest().substr(0, length)) +
                                      "' is not known here; a path with such characters needs quotes"};
    }

    std::string_view _text;
    std::size_t _at{0};
    std::vector<Token> _tokens;
};

}  // namespace

bool Token::isComparison() const {
    constexpr std::string_view kSigns[] = {"<", ">", "<=", ">=", "==", "!="};
    return kind == eToken::kOperator && std::find(std::begin(kSigns), std::end(kSigns), text) != std::end(kSigns);
}

std::vector<Token> scanCondition(std::string_view text) {
    return Scanner(text).run();
}

}  // namespace KrConditions::detail
