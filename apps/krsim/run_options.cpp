#include "apps/krsim/run_options.h"

#include <cstdint>
#include <string>

#include "apps/krsim/option_values.h"

namespace krsim {
namespace {

constexpr const char* kRunExamples =
    R"(A TYPE is a type name, "Content.Scene", its display name, "Scene", where that is enough, or its unique id.
'krsim list' shows them. Ctrl-C or SIGTERM ends the run after the frame; a second one ends the process at once.

Examples:
  krsim run setup.xml car.xml --free --seconds 60 --record speed.csv --record-field "*.Outputs.Speed"
  krsim run setup.xml --free --seconds 60 --set "Mass=1.9 t" --outputs
  krsim run setup.xml --free --seconds 60 --check "Vehicle.Speed < 140 km/h" --stop-when "Vehicle.Distance > 1 km"
  krsim run setup.xml --seconds 60 --save-state minute.krstate
  krsim run setup.xml --restore-state minute.krstate --seconds 60
  krsim run --plugins build/plugins --content "Simulation.Road Vehicle" --seconds 60
  krsim run --plugins build/plugins --content Car --module Traffic --free --frames 100000 --quiet
  krsim run --plugins build/plugins --content Car --rate 120 --log-file /var/log/krsim/car_)";

const Choices<KrSim::eApplicationMode> kModes{{"simulating", KrSim::eApplicationMode::kSimulating},
                                              {"editing", KrSim::eApplicationMode::kEditing},
                                              {"playback", KrSim::eApplicationMode::kPlayback}};

const Choices<Kr::eLogLevel> kLogLevels{{"off", Kr::eLogLevel::kOff},     {"fatal", Kr::eLogLevel::kFatal},
                                        {"error", Kr::eLogLevel::kError}, {"warn", Kr::eLogLevel::kWarn},
                                        {"info", Kr::eLogLevel::kInfo},   {"debug", Kr::eLogLevel::kDebug},
                                        {"trace", Kr::eLogLevel::kTrace}};

const Choices<KrExperiments::ePlayMode> kPlayModes{{"linear", KrExperiments::ePlayMode::kLinear},
                                                   {"step", KrExperiments::ePlayMode::kStep}};

const Choices<KrExperiments::ePlayEnd> kPlayEnds{{"hold", KrExperiments::ePlayEnd::kHold},
                                                 {"stop", KrExperiments::ePlayEnd::kStop},
                                                 {"repeat", KrExperiments::ePlayEnd::kRepeat}};

double parseRate(const std::string& option, const std::string& text) {
    constexpr double kLowestHz = 0.1;
    constexpr double kHighestHz = 100'000.0;
    const auto rateHz = parsePositive<double>(option, text);
    if (rateHz < kLowestHz || rateHz > kHighestHz) {
        throw CLI::ValidationError(option, text + " Hz is out of bounds, it must be from 0.1 to 100000 Hz");
    }
    return rateHz;
}

void addPace(CLI::App& command, RunPlan& plan) {
    auto* paced = command.add_flag_callback(
        "--paced", [&plan] { plan.isPaced = true; }, "Keep to real time (default, unless the setup says otherwise)");
    command
        .add_flag_callback(
            "--free", [&plan] { plan.isPaced = false; }, "Run as fast as possible")
        ->excludes(paced);
}

void addChanges(CLI::App& command, RunPlan& plan) {
    addAssignments(command, plan.assignments, "Set a field before the first frame, \"Car/Vehicle.Mass=1.9 t\"");
    addList(
        command, "--override", plan.overrides, "PATH=KIND...",
        "Show others of a field another value than its own: \"Vehicle.Speed=bias 1 m/s from 400 s until 500 s\"; the "
        "kinds are force, bias, gain, freeze, delay, noise and dropout; may be repeated.");
    addList(command, "--overrides", plan.overrideFiles, "FILE", "Read a line for each override; may be repeated.");
}

void addStimuli(CLI::App& command, RunPlan& plan) {
    addList(
        command, "--play", plan.stimuli, "FILE",
        "Set fields over simulated time from this table (CSV): a column \"Time\" and one with the path of each field, "
        "as --record writes them; may be repeated.");
    addChoice(command, "--play-mode", plan.stimulus.mode, kPlayModes,
              "Numbers between two rows: on the line between them, or those of the row before (linear)");
    addChoice(command, "--play-end", plan.stimulus.end, kPlayEnds,
              "After the last row: its values stay, the run ends, or the table begins again (hold)");
}

void addUnits(CLI::App& command, RunPlan& plan) {
    addChoice(
        command, "--units", plan.units, getUnitSystems(),
        "Show values and read numbers without a unit in these units (those of the Unit System in the content, else "
        "the display units of the fields)");
}

void addLimits(CLI::App& command, RunPlan& plan) {
    auto* frames = command.add_option_function<std::string>(
        "-n,--frames",
        [&plan](const std::string& text) { plan.limits.frames = parsePositive<std::uint64_t>("--frames", text); },
        "End after so many frames");
    auto* seconds = command.add_option_function<std::string>(
        "-t,--seconds",
        [&plan](const std::string& text) { plan.limits.seconds = parsePositive<double>("--seconds", text); },
        "End after so many seconds of simulated time; without a limit the run ends on request");
    frames->type_name("N");
    seconds->type_name("T")->excludes(frames);
}

void addStates(CLI::App& command, RunPlan& plan) {
    command
        .add_option("--restore-state", plan.stateToRestore,
                    "Begin with the state in this file, at its rate and with its random streams; - for standard input")
        ->type_name("FILE")
        ->excludes(command.get_option("--rate"))
        ->excludes(command.get_option("--seed"));
    command
        .add_option("--save-state", plan.stateToSave,
                    "Save the state at the end into this file; - for standard output, on which nothing else is printed "
                    "then")
        ->type_name("FILE");
    command.add_flag("-f,--force", plan.isForced,
                     "Let state, record and hashes replace files that hold something else than these");
    command
        .add_option("--hash", plan.hashFile,
                    "Write a hash of all values after each frame into this file, for 'krsim diff'; - for standard "
                    "output, on which nothing else is printed then")
        ->type_name("FILE");
    auto* record =
        command
            .add_option("-r,--record", plan.record.file,
                        "Write values of fields into this table (CSV), or recording, whose name ends in .mcap; - "
                        "for a table on standard output, on which "
                        "nothing else is printed then")
            ->type_name("FILE");
    command
        .add_option("--record-field", plan.record.patterns,
                    "Record fields of this path, \"Car/Vehicle.Outputs.Speed\", * and ? being any text and character; "
                    "may be repeated. Without it, all outputs are recorded.")
        ->type_name("PATTERN")
        ->allow_extra_args(false)
        ->needs(record);
    command
        .add_flag("--record-on-change", plan.record.isOnChange,
                  "Leave out of a recording what has not changed, for each extension")
        ->needs(record);
    command
        .add_option_function<std::string>(
            "--record-period",
            [&plan](const std::string& text) {
                plan.record.periodSeconds = parsePositive<double>("--record-period", text);
            },
            "Seconds of simulated time between two lines; every frame without it")
        ->type_name("T")
        ->needs(record);
    command
        .add_flag("--record-units", plan.record.hasUnits,
                  "Record values in the units of --units, which the columns name, \"Car/Vehicle.Outputs.Speed [mph]\"; "
                  "else in SI units")
        ->needs(record);
}

void addReports(CLI::App& command, RunPlan& plan) {
    addChoice(command, "--log-level", plan.logLevel, kLogLevels,
              "Messages of this level and graver ones are logged (that of the setup, else info)");
    auto* logFile = command.add_option_function<std::string>(
        "--log-file", [&plan](const std::string& text) { plan.logFilePrefix = text; },
        "Log also into PREFIX<host>_<process id>.log (that of the setup; none without a setup)");
    logFile->type_name("PREFIX");
    command
        .add_flag_callback(
            "--no-log-file", [&plan] { plan.logsToFile = false; }, "Log into no file, whatever the setup says")
        ->excludes(logFile);
    command.add_flag("--outputs", plan.printsOutputs, "Print the outputs of the content at the end, also when quiet");
    command.add_flag(
        "-q,--quiet", plan.isQuiet,
        "Print neither status nor summary, and log warnings and graver messages only, without --log-level");
    command.add_flag("--json", plan.printsJson, "Print nothing but the summary, as a JSON object, also when quiet");
}

void addFailures(CLI::App& command, RunPlan& plan) {
    command.add_flag("--keep-going", plan.keepsGoing,
                     "End with exit code 0 although callbacks threw, extensions have errors or outputs became NaN");
    command.add_flag("--stop-on-nan", plan.stopsOnNaN, "End after the frame in which an output becomes NaN");
}

void addConditions(CLI::App& command, ConditionPlan& plan) {
    addList(command, "--check", plan.checks, "CONDITION",
            "What must hold after each frame, \"Vehicle.Speed < 140 km/h\"; where it fails, the exit code is 1. May be "
            "repeated.");
    command
        .add_option("--stop-when", plan.stop,
                    "End after the frame in which this holds, \"Vehicle.Speed > 90 km/h for 2 s\"")
        ->type_name("CONDITION");
    command.add_flag("--stop-on-failed-check", plan.stopsOnFailedCheck, "End after the frame in which a check fails")
        ->needs(command.get_option("--check"));
}

void addTypes(CLI::App& command, RunPlan& plan) {
    addPluginDirectories(command, plan.pluginDirectories);
    addList(command, "--content", plan.content, "TYPE", "Simulate one extension of this type; may be repeated.");
    addList(command, "--module", plan.modules, "TYPE",
            "Step a module of this type; may be repeated. Without it, all modules of the plug-ins that the content "
            "comes from are stepped, unless there is a setup file.");
    addChoice(command, "--mode", plan.mode, kModes, "Mode of the application (that of the setup, else simulating)");
    command
        .add_option_function<std::string>(
            "--rate", [&plan](const std::string& text) { plan.rateHz = parseRate("--rate", text); },
            "Frames per second of simulated time (that of the setup, else 60)")
        ->type_name("HZ");
    command
        .add_option_function<std::string>(
            "--seed",
            [&plan](const std::string& text) {
                const auto seed = Kr::parseNumber<std::uint32_t>(text);
                if (!seed)
                    throw CLI::ValidationError("--seed", "'" + text + "' is no whole number from 0 to 4294967295");
                plan.seed = *seed;
            },
            "Seed of the random streams (that of the setup, else 0): a run with the same seed takes the same random "
            "numbers")
        ->type_name("N");
}

}  // namespace

void addAssignments(CLI::App& command, std::vector<KrExperiments::Assignment>& assignments,
                    const std::string& description) {
    command
        .add_option_function<std::vector<std::string>>(
            "-s,--set",
            [&assignments](const std::vector<std::string>& texts) {
                for (const auto& each : texts) {
                    auto& assignment = assignments.emplace_back();
                    if (KrExperiments::parseAssignment(each, assignment)) continue;
                    throw CLI::ValidationError("--set", "'" + each + "' is not of the form PATH=VALUE");
                }
            },
            description +
                ": the end of a path is enough where it means one field, * and ? are any text and character; "
                "may be repeated.")
        ->type_name("PATH=VALUE")
        ->allow_extra_args(false);
}

const Choices<Kr::eUnitSystem>& getUnitSystems() {
    static const Choices<Kr::eUnitSystem> kSystems{{"si", Kr::eUnitSystem::kSI}, {"us", Kr::eUnitSystem::kUSCustomary}};
    return kSystems;
}

void addContentOptions(CLI::App& command, RunPlan& plan) {
    addTypes(command, plan);
    addPace(command, plan);
}

void addModelOptions(CLI::App& command, RunPlan& plan) {
    addTypes(command, plan);
    addList(command, "--preset", plan.presets, "NAME",
            "Apply this preset of the setup file over its settings; may be repeated.");
    addChanges(command, plan);
    addStimuli(command, plan);
    addLimits(command, plan);
    addConditions(command, plan.conditions);
    command.add_flag("--allow-missing", plan.allowsMissing,
                     "Run although plug-ins are missing; their extensions do nothing");
}

void addRunOptions(CLI::App& command, RunPlan& plan) {
    command
        .add_option("FILE", plan.files,
                    "A setup file, or an object file, or both: the setup first, then its content. Object files that "
                    "the setup lists need not be named. - for standard input.")
        ->type_name("");
    addModelOptions(command, plan);
    addUnits(command, plan);
    addPace(command, plan);
    addStates(command, plan);
    command.add_flag("--strict", plan.isStrict,
                     "Run nothing when 'krsim verify' would find something wrong, or nothing would be simulated");
    addReports(command, plan);
    addFailures(command, plan);
    command.footer(kRunExamples);
}

}  // namespace krsim
