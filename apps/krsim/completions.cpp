#include "apps/krsim/completions.h"

#include <string_view>
#include <vector>

namespace krsim {
namespace {

std::string join(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const auto& each : words)
        text.append(text.empty() ? "" : separator).append(each);
    return text;
}

std::string replaceAll(std::string_view text, std::string_view special, std::string_view before) {
    std::string replaced;
    for (const char each : text) {
        if (special.find(each) != std::string_view::npos) replaced.append(before);
        replaced += each;
    }
    return replaced;
}

// --- bash ------------------------------------------------------------------------------------------------------------

std::string formatBashCommand(const CommandFacts& command) {
    std::string words;
    std::string values;
    bool takesFiles = false;
    for (const auto& each : command.options) {
        if (each.isPositional()) {
            takesFiles = takesFiles || each.takesFile();
            for (const auto& choice : each.getChoices())
                words.append(" ").append(choice);
            continue;
        }
        words.append(" ").append(join(each.names, " "));
        if (each.value.empty()) continue;
        const auto choices = each.getChoices();
        values.append("        ").append(join(each.names, " | ")).append(") ");
        if (!choices.empty()) {
            values.append("_krsim_words \"").append(join(choices, " ")).append("\"");
        } else if (each.takesFolder()) {
            values.append("_krsim_files -d");
        } else if (each.takesFile()) {
            values.append("_krsim_files -f");
        }
        values.append(values.back() == ' ' ? "return ;;\n" : "; return ;;\n");
    }
    std::string text = "    " + command.name + ")\n      case \"$previous\" in\n" + values + "      esac\n";
    text.append("      _krsim_words \"").append(words.substr(words.empty() ? 0 : 1)).append("\"\n");
    if (takesFiles) text.append("      [[ $current == -* ]] || _krsim_files -f\n");
    return text + "      ;;\n";
}

}  // namespace

std::string formatBashCompletion(const CommandFacts& program) {
    std::string commands;
    std::string cases;
    for (const auto& each : program.commands) {
        commands.append(commands.empty() ? "" : " ").append(each.name);
        cases.append(formatBashCommand(each));
    }
    for (const auto& each : program.options)
        commands.append(" ").append(join(each.names, " "));
    return "# Completion of " + program.name + R"( for bash. Made from its options.

_krsim_words() {
  local word
  for word in $1; do
    [[ $word == "$current"* ]] && COMPREPLY+=("$word")
  done
}

_krsim_files() {
  local file
  compopt -o filenames 2>/dev/null
  while IFS= read -r file; do
    COMPREPLY+=("$file")
  done < <(compgen "$1" -- "$current")
}

_krsim() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # "--option=value" comes as three words.
  if [[ $current == "=" ]]; then
    current=""
  elif [[ $previous == "=" ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  if ((COMP_CWORD == 1)); then
    _krsim_words ")" +
           commands + R"("
    return
  fi
  case "${COMP_WORDS[1]}" in
)" + cases +
           R"(  esac
}

complete -F _krsim )" +
           program.name + "\n";
}

// --- zsh -------------------------------------------------------------------------------------------------------------

namespace {

/// Within single quotes.
std::string quoteForZsh(std::string_view text) {
    std::string quoted;
    for (const char each : text)
        each == '\'' ? quoted.append("'\\''") : quoted.append(1, each);
    return quoted;
}

/// "'(--paced)--free[Run as fast as possible]'" for _arguments.
std::string formatZshOption(const OptionFacts& option) {
    std::string action;
    if (!option.value.empty() || option.isPositional()) {
        const auto choices = option.getChoices();
        const auto& name = option.value.empty() ? option.names.front() : option.value;
        action.append(":").append(choices.empty() ? replaceAll(name, ":", "\\") : "value").append(":");
        if (!choices.empty()) {
            action.append("(").append(join(choices, " ")).append(")");
        } else if (option.takesFolder()) {
            action.append("_files -/");
        } else if (option.takesFile()) {
            action.append("_files");
        }
    }
    if (option.isPositional()) return "'" + std::string(option.isRepeated ? "*" : "") + quoteForZsh(action) + "'";
    const std::string description = "[" + replaceAll(option.description, "[]\\:", "\\") + "]";
    std::string all;
    for (const auto& each : option.names) {
        auto excluded = option.excluded;
        if (!option.isRepeated) excluded.insert(excluded.end(), option.names.begin(), option.names.end());
        all.append(all.empty() ? "'" : " '");
        all.append(option.isRepeated ? "*" : "(" + join(excluded, " ") + ")");
        all.append(each).append(quoteForZsh(description + action)).append("'");
    }
    return all;
}

}  // namespace

std::string formatZshCompletion(const CommandFacts& program) {
    std::string commands;
    std::string cases;
    for (const auto& each : program.commands) {
        commands.append("    '")
            .append(each.name)
            .append(":")
            .append(quoteForZsh(replaceAll(each.description, ":", "\\")))
            .append("'\n");
        cases.append("        ").append(each.name).append(")\n          _arguments");
        for (const auto& option : each.options)
            cases.append(" \\\n            ").append(formatZshOption(option));
        cases.append("\n          ;;\n");
    }
    std::string options;
    for (const auto& each : program.options)
        options.append("    ").append(formatZshOption(each)).append(" \\\n");
    return "#compdef " + program.name + "\n# Completion for zsh. Made from the options.\n\n_" + program.name +
           "() {\n  local context state state_descr line\n  typeset -A opt_args\n  local -a commands\n  commands=(\n" +
           commands + "  )\n  _arguments -C \\\n" + options +
           "    '1: :->command' \\\n    '*:: :->arguments'\n  case $state in\n    command) _describe command commands "
           ";;\n    arguments)\n      case $words[1] in\n" +
           cases + "      esac\n      ;;\n  esac\n}\n\n_" + program.name + " \"$@\"\n";
}

}  // namespace krsim
