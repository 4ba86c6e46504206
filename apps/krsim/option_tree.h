#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace krsim {

/// An option or a positional argument, as the command line declares it.
struct OptionFacts {
    std::vector<std::string> names{};  ///< "-n", "--frames"; one without dashes for a positional argument
    std::string value{};               ///< what it takes, "FILE" or "linear|step"; empty for a flag
    std::string description{};
    bool isRequired{false};
    bool isRepeated{false};
    std::vector<std::string> excluded{};  ///< long names of options that cannot be given with it

    [[nodiscard]] bool isPositional() const { return !names.front().starts_with("-"); }
    [[nodiscard]] std::vector<std::string> getChoices() const;  ///< of the value; empty when any text is one
    [[nodiscard]] bool takesFile() const;
    [[nodiscard]] bool takesFolder() const { return value == "DIR"; }
};

/// The program, or one of its commands.
struct CommandFacts {
    std::string name{};
    std::string description{};
    std::string notes{};  ///< examples and the like, printed behind the options
    std::vector<OptionFacts> options{};
    std::vector<CommandFacts> commands{};
};

/// The commands with their options, from which manual pages and completions are made.
[[nodiscard]] CommandFacts describeCommands(const CLI::App& app);

}  // namespace krsim
