#pragma once

#include <muParser.h>

#include <cstddef>
#include <string>
#include <vector>

namespace KrConditions::detail {

/// A formula of muParser with the operators that conditions need beside those of muParser.
class Formula {
public:
    /// What comparisons are called in the text of a formula. Those of muParser are not used: with a NaN they are
    /// false, and it would not be noticed.
    static constexpr const char* kLess = "#lt";
    static constexpr const char* kLessOrEqual = "#le";
    static constexpr const char* kGreater = "#gt";
    static constexpr const char* kGreaterOrEqual = "#ge";
    static constexpr const char* kEqual = "#eq";
    static constexpr const char* kNotEqual = "#ne";

    Formula();
    Formula(const Formula&) = delete;
    Formula& operator=(const Formula&) = delete;
    ~Formula();

    [[nodiscard]] bool isFunction(const std::string& name) const;
    [[nodiscard]] bool isConstant(const std::string& name) const;
    [[nodiscard]] std::vector<std::string> getFunctions() const;
    /// \param value  borrowed, read in each evaluation.
    void defineVariable(const std::string& name, double* value);
    void defineConstant(const std::string& name, double value);
    /// Throws mu::ParserError.
    void compile(const std::string& text);
    /// NaN also when a NaN was compared. Does not allocate.
    [[nodiscard]] double evaluate() noexcept;

private:
    mu::Parser _parser;
};

}  // namespace KrConditions::detail
