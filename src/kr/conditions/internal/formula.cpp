#include "kr/conditions/internal/formula.h"

#include <cmath>
#include <limits>

namespace KrConditions::detail {
namespace {

// Functions of muParser have no state of their own.
thread_local bool hasComparedNaN = false;

template <class Comparison>
double compare(double left, double right, Comparison isTrue) {
    if (std::isnan(left) || std::isnan(right)) hasComparedNaN = true;
    return isTrue(left, right) ? 1.0 : 0.0;
}

double isLess(double left, double right) {
    return compare(left, right, [](double a, double b) { return a < b; });
}
double isLessOrEqual(double left, double right) {
    return compare(left, right, [](double a, double b) { return a <= b; });
}
double isGreater(double left, double right) {
    return compare(left, right, [](double a, double b) { return a > b; });
}
double isGreaterOrEqual(double left, double right) {
    return compare(left, right, [](double a, double b) { return a >= b; });
}
double isEqual(double left, double right) {
    return compare(left, right, [](double a, double b) { return a == b; });
}
double isNotEqual(double left, double right) {
    return compare(left, right, [](double a, double b) { return a != b; });
}
double negate(double value) {
    if (std::isnan(value)) hasComparedNaN = true;
    return value == 0.0 ? 1.0 : 0.0;
}

}  // namespace

Formula::Formula() {
    // Not evaluated before the run: constants with NaN would not be noticed later.
    constexpr bool kIsEvaluatedEarly = false;
    const auto define = [this](const char* name, double (*function)(double, double)) {
        _parser.DefineOprt(name, function, mu::prCMP, mu::oaLEFT, kIsEvaluatedEarly);
    };
    define(kLess, &isLess);
    define(kLessOrEqual, &isLessOrEqual);
    define(kGreater, &isGreater);
    define(kGreaterOrEqual, &isGreaterOrEqual);
    define(kEqual, &isEqual);
    define(kNotEqual, &isNotEqual);
    _parser.DefineInfixOprt("!", &negate, mu::prINFIX, kIsEvaluatedEarly);
    _parser.DefineInfixOprt("~", &negate, mu::prLOGIC, kIsEvaluatedEarly);
}

Formula::~Formula() = default;

bool Formula::isFunction(const std::string& name) const {
    return _parser.GetFunDef().contains(name);
}

bool Formula::isConstant(const std::string& name) const {
    return _parser.GetConst().contains(name);
}

std::vector<std::string> Formula::getFunctions() const {
    std::vector<std::string> names;
    for (const auto& each : _parser.GetFunDef())
        names.push_back(each.first);
    return names;
}

void Formula::defineVariable(const std::string& name, double* value) {
    _parser.DefineVar(name, value);
}

void Formula::defineConstant(const std::string& name, double value) {
    _parser.DefineConst(name, value);
}

void Formula::compile(const std::string& text) {
    _parser.SetExpr(text);
    (void)_parser.Eval();
    // The first call reads the text, the next one has what that has made.
    (void)_parser.Eval();
}

double Formula::evaluate() noexcept {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    hasComparedNaN = false;
    try {
        const double result = _parser.Eval();
        return hasComparedNaN ? kNaN : result;
    } catch (const mu::ParserError&) {
        return kNaN;
    }
}

}  // namespace KrConditions::detail
