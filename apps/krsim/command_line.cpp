#include "apps/krsim/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <system_error>
#include <utility>

#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr const char* kRunExamples =
    R"(A TYPE is a type name, "Content.Scene", its display name, "Scene", where that is enough, or its unique id.
'krsim list' shows them. Ctrl-C or SIGTERM ends the run after the frame; a second one ends the process at once.

Examples:
  krsim run --plugins build/plugins --content "Simulation.Road Vehicle" --seconds 60
  krsim run --plugins build/plugins --content Car --module Traffic --free --frames 100000 --quiet
  krsim run --plugins build/plugins --content Car --rate 120 --log-file /var/log/krsim/car_)";

constexpr const char* kExitCodes =
    "Exit codes: 0 the run ended as planned or on request, 1 it failed, 2 the command line asks for what does not "
    "exist.";

/// In the order of the help.
template <class Enumeration>
using Choices = std::vector<std::pair<std::string, Enumeration>>;

const Choices<KrSim::eApplicationMode> kModes{{"simulating", KrSim::eApplicationMode::kSimulating},
                                              {"editing", KrSim::eApplicationMode::kEditing},
                                              {"playback", KrSim::eApplicationMode::kPlayback}};

const Choices<Kr::eLogLevel> kLogLevels{{"off", Kr::eLogLevel::kOff},     {"fatal", Kr::eLogLevel::kFatal},
                                        {"error", Kr::eLogLevel::kError}, {"warn", Kr::eLogLevel::kWarn},
                                        {"info", Kr::eLogLevel::kInfo},   {"debug", Kr::eLogLevel::kDebug},
                                        {"trace", Kr::eLogLevel::kTrace}};

/// The whole text as a number above zero. CLI11 itself takes "-5" for a huge count, "010" for eight and lets NaN pass.
template <class T>
T parsePositive(const std::string& option, const std::string& text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || !(value > 0) || std::isinf(static_cast<double>(value))) {
        throw CLI::ValidationError(
            option, "'" + text + "' is no " + (std::is_integral_v<T> ? "whole number above 0" : "number above 0"));
    }
    return value;
}

double parseRate(const std::string& option, const std::string& text) {
    constexpr double kLowestHz = 0.1;
    constexpr double kHighestHz = 100'000.0;
    const auto rateHz = parsePositive<double>(option, text);
    if (rateHz < kLowestHz || rateHz > kHighestHz) {
        throw CLI::ValidationError(option, text + " Hz is out of bounds, it must be from 0.1 to 100000 Hz");
    }
    return rateHz;
}

/// An option with one of the names as its value, any case.
template <class Enumeration>
CLI::Option* addChoice(CLI::App& command, const std::string& option, Enumeration& value,
                       const Choices<Enumeration>& choices, const std::string& description) {
    std::string names;
    for (const auto& [name, each] : choices)
        names += (names.empty() ? "" : "|") + name;
    const auto parse = [&value, &choices, option, names](const std::string& text) {
        const auto found = std::find_if(choices.begin(), choices.end(),
                                        [&](const auto& each) { return each.first == CLI::detail::to_lower(text); });
        if (found == choices.end()) throw CLI::ValidationError(option, "'" + text + "' is none of " + names);
        value = found->second;
    };
    return command.add_option_function<std::string>(option, parse, description)->type_name(names);
}

/// One value each time the option is given, so that the next word is never taken for another value.
void addList(CLI::App& command, const std::string& option, std::vector<std::string>& values, const std::string& type,
             const std::string& description) {
    command.add_option(option, values, description)->type_name(type)->allow_extra_args(false);
}

void addPluginDirectories(CLI::App& command, std::vector<std::string>& directories) {
    addList(command, "--plugins", directories, "DIR",
            "Directory with plug-ins; may be repeated. The one of the library is searched last.");
}

void addWhat(CLI::App& command, RunPlan& plan) {
    addPluginDirectories(command, plan.pluginDirectories);
    addList(command, "--content", plan.content, "TYPE", "Simulate one extension of this type; may be repeated.");
    addList(command, "--module", plan.modules, "TYPE",
            "Step a module of this type; may be repeated. Without it, all modules of the plug-ins that the content "
            "comes from are stepped.");
    addChoice(command, "--mode", plan.mode, kModes, "Mode of the application (simulating)");
}

void addPace(CLI::App& command, RunPlan& plan) {
    auto* frames = command.add_option_function<std::string>(
        "--frames",
        [&plan](const std::string& text) { plan.limits.frames = parsePositive<std::uint64_t>("--frames", text); },
        "End after so many frames");
    auto* seconds = command.add_option_function<std::string>(
        "--seconds",
        [&plan](const std::string& text) { plan.limits.seconds = parsePositive<double>("--seconds", text); },
        "End after so many seconds of simulated time; without a limit the run ends on request");
    frames->type_name("N");
    seconds->type_name("T")->excludes(frames);
    auto* paced = command.add_flag_callback(
        "--paced", [&plan] { plan.isPaced = true; }, "Keep to real time (default)");
    command
        .add_flag_callback(
            "--free", [&plan] { plan.isPaced = false; }, "Run as fast as possible")
        ->excludes(paced);
    command
        .add_option_function<std::string>(
            "--rate", [&plan](const std::string& text) { plan.rateHz = parseRate("--rate", text); },
            "Frames per second of simulated time (60)")
        ->type_name("HZ");
}

void addReports(CLI::App& command, RunPlan& plan) {
    addChoice(command, "--log-level", plan.logLevel, kLogLevels,
              "Messages of this level and graver ones are logged (info)");
    command
        .add_option_function<std::string>(
            "--log-file", [&plan](const std::string& text) { plan.logFilePrefix = text; },
            "Log also into PREFIX<host>_<process id>.log")
        ->type_name("PREFIX");
    command.add_flag("--outputs", plan.printsOutputs, "Print the outputs of the content at the end, also when quiet");
    command.add_flag("--quiet", plan.isQuiet, "Print neither status nor summary");
}

Answer answer(const CLI::App& app, const CLI::Error& result) {
    std::ostringstream output;
    std::ostringstream errors;
    if (app.exit(result, output, errors) == 0) return {eExitCode::kOk, output.str()};
    return {eExitCode::kUsage, errors.str()};
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& arguments) {
    RunPlan runPlan;
    ListPlan listPlan;
    CLI::App app("Runs simulations made of plug-ins, without a display.", "krsim");
    app.set_version_flag("--version", std::string("krsim ") + KR_VERSION, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.require_subcommand(0, 1);  // none is told below: CLI11 would do so before it looks at what is there
    app.footer(kExitCodes);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("krsim: ") + error.what() + "\n'krsim --help' and 'krsim run --help' show what there is\n";
    });
    auto* run = app.add_subcommand("run", "Build an application from plug-ins and run it");
    addWhat(*run, runPlan);
    addPace(*run, runPlan);
    addReports(*run, runPlan);
    run->footer(kRunExamples);
    auto* list = app.add_subcommand("list", "Show the types that can be chosen");
    addPluginDirectories(*list, listPlan.pluginDirectories);

    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // CLI11 takes them last first
    } catch (const CLI::Error& result) {
        return answer(app, result);
    }
    if (list->parsed()) return listPlan;
    if (!run->parsed()) return answer(app, CLI::RequiredError("One of the subcommands 'run' and 'list'"));
    if (runPlan.content.empty() && runPlan.modules.empty()) {
        return answer(app, CLI::RequiredError("--content (or --module)"));
    }
    return runPlan;
}

}  // namespace krsim
