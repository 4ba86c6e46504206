#include "apps/krsim/manual_pages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

#include "apps/krsim/failure.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr std::pair<char, std::string_view> kEscapes[] = {{'\\', "\\e"},  {'-', "\\-"},    {'~', "\\(ti"},
                                                          {'^', "\\(ha"}, {'\'', "\\(aq"}, {'`', "\\(ga"}};

/// Text for roff: dashes, quotes and the like stay as they are, and no line is taken for a request.
std::string escape(std::string_view text) {
    std::string escaped;
    bool isLineStart = true;
    for (const char each : text) {
        if (isLineStart && each == '.') escaped.append("\\&");
        isLineStart = each == '\n';
        const auto found = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                        [each](const auto& pair) { return pair.first == each; });
        found != std::end(kEscapes) ? escaped.append(found->second) : escaped.append(1, each);
    }
    return escaped;
}

std::string formatHead(const std::string& title) {
    return ".TH \"" + escape(title) + "\" 1 \"\" \"KrFoundation " + escape(Kr::getLibraryVersion()) + "\" \"" +
           escape("Simulation without a display") + "\"\n";
}

std::string formatOption(const OptionFacts& option) {
    std::string text = ".TP\n";
    for (std::size_t i = 0; i < option.names.size(); ++i) {
        if (i != 0) text.append(", ");
        text.append(option.isPositional() ? "\\fI" : "\\fB").append(escape(option.names[i])).append("\\fR");
    }
    if (!option.isPositional() && !option.value.empty())
        text.append(" \\fI").append(escape(option.value)).append("\\fR");
    return text + "\n" + escape(option.description) + "\n";
}

std::string formatSynopsis(const std::string& program, const CommandFacts& command) {
    std::string text = ".SH SYNOPSIS\n\\fB" + escape(program + " " + command.name) + "\\fR";
    for (const auto& each : command.options) {
        if (!each.isPositional() && each.isRequired)
            text.append(" \\fB")
                .append(escape(each.names.back()))
                .append("\\fR \\fI")
                .append(escape(each.value))
                .append("\\fR");
    }
    text.append(" [\\fIOPTIONS\\fR]");
    for (const auto& each : command.options) {
        if (!each.isPositional()) continue;
        const std::string name = "\\fI" + escape(each.names.front()) + "\\fR" + (each.isRepeated ? "..." : "");
        text.append(" ").append(each.isRequired ? name : "[" + name + "]");
    }
    return text + "\n";
}

/// What stands behind the options in the help: paragraphs, and examples, whose lines are kept.
std::string formatNotes(const std::string& notes) {
    std::string text;
    std::istringstream lines(notes);
    bool isExample = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "Example:" || line == "Examples:") {
            text.append(".SH EXAMPLES\n.nf\n");
            isExample = true;
        } else if (line.find_first_not_of(' ') == std::string::npos) {
            if (!isExample) text.append(".PP\n");
        } else {
            const auto first = line.find_first_not_of(' ');
            text.append(escape(std::string_view(line).substr(first))).append("\n");
        }
    }
    return isExample ? text + ".fi\n" : text;
}

std::string formatCommand(const CommandFacts& program, const CommandFacts& command) {
    const std::string name = program.name + "-" + command.name;
    std::string text = formatHead(name) + ".SH NAME\n" + escape(name) + " \\- " + escape(command.description) + "\n" +
                       formatSynopsis(program.name, command);
    std::string arguments;
    std::string options;
    for (const auto& each : command.options)
        (each.isPositional() ? arguments : options).append(formatOption(each));
    if (!arguments.empty()) text.append(".SH ARGUMENTS\n").append(arguments);
    text.append(".SH OPTIONS\n").append(options);
    if (!command.notes.empty()) {
        if (!command.notes.starts_with("Example")) text.append(".SH NOTES\n");
        text.append(formatNotes(command.notes));
    }
    return text + ".SH SEE ALSO\n\\fB" + escape(program.name) + "\\fR(1)\n";
}

std::string formatProgram(const CommandFacts& program) {
    std::string text = formatHead(program.name) + ".SH NAME\n" + escape(program.name) + " \\- " +
                       escape(program.description) + "\n.SH SYNOPSIS\n\\fB" + escape(program.name) +
                       "\\fR \\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n.SH COMMANDS\n";
    for (const auto& each : program.commands)
        text.append(".TP\n\\fB")
            .append(escape(program.name + "-" + each.name))
            .append("\\fR(1)\n")
            .append(escape(each.description) + "\n");
    text.append(".SH OPTIONS\n");
    for (const auto& each : program.options)
        text.append(formatOption(each));
    return text + ".SH EXIT STATUS\n" + formatNotes(program.notes);
}

}  // namespace

std::vector<ManualPage> formatManual(const CommandFacts& program) {
    std::vector<ManualPage> pages{{program.name + ".1", formatProgram(program)}};
    for (const auto& each : program.commands)
        pages.push_back({program.name + "-" + each.name + ".1", formatCommand(program, each)});
    return pages;
}

void writeManual(const ManualPlan& plan) {
    const std::filesystem::path folder(plan.directory);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    for (const auto& each : plan.pages) {
        const auto file = folder / each.file;
        std::ofstream stream(file, std::ios::binary | std::ios::trunc);
        if ((stream << each.text).flush()) continue;
        throw Failure(eExitCode::kFailed,
                      "manual page '" + file.string() + "' cannot be written: " + std::strerror(errno));
    }
}

}  // namespace krsim
