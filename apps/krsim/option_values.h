#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/platform/text.h"

namespace krsim {

/// Names of the values of an option, in the order of the help.
template <class Value>
using Choices = std::vector<std::pair<std::string, Value>>;

/// The whole text as a number above zero. CLI11 itself takes "-5" for a huge count, "010" for eight and lets NaN pass.
template <class T>
T parsePositive(const std::string& option, const std::string& text) {
    const auto value = Kr::parseNumber<T>(text);
    if (!value || !(*value > 0) || std::isinf(static_cast<double>(*value))) {
        throw CLI::ValidationError(
            option, "'" + text + "' is no " + (std::is_integral_v<T> ? "whole number above 0" : "number above 0"));
    }
    return *value;
}

/// An option with one of the names as its value, any case. `Target` takes a Value: a variable, optional or not.
template <class Value, class Target>
CLI::Option* addChoice(CLI::App& command, const std::string& option, Target& target, const Choices<Value>& choices,
                       const std::string& description) {
    std::string names;
    for (const auto& [name, each] : choices)
        names += (names.empty() ? "" : "|") + name;
    const auto parse = [&target, &choices, option, names](const std::string& text) {
        const auto found = std::find_if(choices.begin(), choices.end(),
                                        [&](const auto& each) { return each.first == CLI::detail::to_lower(text); });
        if (found == choices.end()) throw CLI::ValidationError(option, "'" + text + "' is none of " + names);
        target = found->second;
    };
    return command.add_option_function<std::string>(option, parse, description)->type_name(names);
}

/// One value each time the option is given, so that the next word is never taken for another value.
inline void addList(CLI::App& command, const std::string& option, std::vector<std::string>& values,
                    const std::string& type, const std::string& description) {
    command.add_option(option, values, description)->type_name(type)->allow_extra_args(false);
}

inline void addPluginDirectories(CLI::App& command, std::vector<std::string>& directories) {
    addList(command, "-p,--plugins", directories, "DIR",
            "Directory with plug-ins; may be repeated. The one of the library is searched last.");
}

}  // namespace krsim
