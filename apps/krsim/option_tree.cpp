#include "apps/krsim/option_tree.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <string_view>

namespace krsim {
namespace {

OptionFacts describe(const CLI::Option& option) {
    OptionFacts facts{.description = option.get_description(),
                      .isRequired = option.get_required(),
                      .isRepeated = option.get_items_expected_max() > 1};
    for (const auto& each : option.get_snames())
        facts.names.push_back("-" + each);
    for (const auto& each : option.get_lnames())
        facts.names.push_back("--" + each);
    if (facts.names.empty()) facts.names.push_back(option.get_name());
    if (option.get_items_expected_max() > 0) facts.value = option.get_type_name();
    for (const auto* each : option.get_excludes()) {
        if (!each->get_positional()) facts.excluded.push_back(each->get_name());
    }
    return facts;
}

}  // namespace

std::vector<std::string> OptionFacts::getChoices() const {
    std::vector<std::string> choices;
    if (value.find('|') == std::string::npos) return choices;
    for (std::size_t begin = 0; begin <= value.size();) {
        const auto end = std::min(value.find('|', begin), value.size());
        choices.push_back(value.substr(begin, end - begin));
        begin = end + 1;
    }
    return choices;
}

bool OptionFacts::takesFile() const {
    constexpr std::array<std::string_view, 5> kFiles{"FILE", "INPUT", "OUTPUT", "FIRST", "SECOND"};
    const auto& meant = isPositional() ? names.front() : value;
    return std::find(kFiles.begin(), kFiles.end(), meant.substr(0, meant.find(' '))) != kFiles.end();
}

CommandFacts describeCommands(const CLI::App& app) {
    CommandFacts facts{app.get_name(), app.get_description(), app.get_footer()};
    for (const auto* each : app.get_options())
        facts.options.push_back(describe(*each));
    for (const auto* each : app.get_subcommands(nullptr))
        facts.commands.push_back(describeCommands(*each));
    return facts;
}

}  // namespace krsim
