#include "apps/krsim/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "apps/krsim/completions.h"
#include "apps/krsim/file_options.h"
#include "apps/krsim/option_tree.h"
#include "apps/krsim/option_values.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/run_options.h"
#include "apps/krsim/sweep_options.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 all went as planned; 1 it failed, or files differ; 2 the command line "
    "asks for what does not exist; 3 a file is refused; 4 a plug-in could not be loaded.";

/// "; did you mean '--frames'?" for words that mean nothing, else empty.
std::string suggestFor(const CLI::App& app, const CLI::Error& error) {
    const auto words = app.remaining(true);
    if (dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr || words.empty()) return {};
    const auto option =
        std::find_if(words.begin(), words.end(), [](const std::string& each) { return each.starts_with("-"); });
    const std::string& meant = option != words.end() ? *option : words.front();
    const auto word = meant.substr(0, meant.find('='));
    const auto commands = app.get_subcommands();  // that were given
    std::vector<std::string> choices;
    if (word.front() == '-') {
        const CLI::App& command = commands.empty() ? app : *commands.front();
        for (const auto* each : command.get_options()) {
            for (const auto& name : each->get_lnames())
                choices.push_back("--" + name);
        }
    } else if (commands.empty()) {
        for (const auto* command : app.get_subcommands(nullptr))
            choices.push_back(command->get_name());
    }
    return Kr::suggestName(word, choices);
}

Answer answer(const CLI::App& app, const CLI::Error& result) {
    std::ostringstream output;
    std::ostringstream errors;
    if (app.exit(result, output, errors) == 0) return {eExitCode::kOk, output.str()};
    return {eExitCode::kUsage, errors.str()};
}

CLI::App* addNewPlugin(CLI::App& app, NewPluginPlan& plan) {
    auto* command = app.add_subcommand(
        "new-plugin", "Write the project of a new plug-in: an extension, a module, a test, a setup and a build");
    command->add_option("NAME", plan.name, "Its name, in letters and digits: RoadVehicle")->required()->type_name("");
    command->add_option("--directory", plan.directory, "The folder to write into (NAME)")->type_name("DIR");
    command->add_flag("-f,--force", plan.isForced,
                      "Write into a folder with files, too, and replace those of the same names");
    command->footer("Example:\n  krsim new-plugin RoadVehicle");
    return command;
}

CLI::App* addTypes(CLI::App& app, TypesPlan& plan) {
    auto* command = app.add_subcommand("types", "Describe all types of the library and of plug-ins, with their fields");
    addPluginDirectories(*command, plan.pluginDirectories);
    auto* json = command->add_flag_callback(
        "--json", [&plan] { plan.form = eTypesForm::kJson; }, "Print them as a JSON object");
    command
        ->add_flag_callback(
            "--html", [&plan] { plan.form = eTypesForm::kHtml; }, "Print one page that needs no other files")
        ->excludes(json);
    command->footer("Example:\n  krsim types --plugins build/plugins --html > types.html");
    return command;
}

CLI::App* addDoctor(CLI::App& app, DoctorPlan& plan) {
    auto* command = app.add_subcommand("doctor", "Tell what would hurt real time on this machine, and what to do");
    addPluginDirectories(*command, plan.pluginDirectories);
    command->add_flag("--json", plan.printsJson, "Print it as a JSON object");
    return command;
}

CLI::App* addCompletion(CLI::App& app, std::string& shell) {
    auto* command = app.add_subcommand("completion", "Print a script that lets a shell complete what you type");
    static const Choices<std::string> kShells{{"bash", "bash"}, {"zsh", "zsh"}};
    addChoice(*command, "SHELL", shell, kShells, "The shell")->required();
    command->footer("Examples:\n  source <(krsim completion bash)\n  krsim completion zsh > ~/.zsh/completions/_krsim");
    return command;
}

CLI::App* addManual(CLI::App& app, ManualPlan& plan) {
    auto* command = app.add_subcommand("manual", "Print a manual page, or write all of them");
    auto* name = command->add_option("COMMAND", plan.command, "Its page; that of krsim without it")->type_name("");
    command->add_option("--directory", plan.directory, "Write all pages into this folder")
        ->type_name("DIR")
        ->excludes(name);
    command->footer("Example:\n  krsim manual run | man -l -");
    return command;
}

Answer printCompletion(const CLI::App& app, const std::string& shell) {
    const auto facts = describeCommands(app);
    return {eExitCode::kOk, shell == "zsh" ? formatZshCompletion(facts) : formatBashCompletion(facts)};
}

Command printManual(const CLI::App& app, ManualPlan& plan) {
    plan.pages = formatManual(describeCommands(app));
    if (!plan.directory.empty()) return plan;
    const auto file = std::string("krsim") + (plan.command.empty() ? "" : "-" + plan.command) + ".1";
    for (const auto& each : plan.pages) {
        if (each.file == file) return Answer{eExitCode::kOk, each.text};
    }
    return answer(app, CLI::ValidationError("COMMAND", "there is no command '" + plan.command + "'"));
}

bool hasContent(const RunPlan& plan) {
    return !plan.content.empty() || !plan.modules.empty();
}

/// Results that would be mixed.
int countStandardOutputs(const RunPlan& plan) {
    return int{plan.printsOutputs} + int{plan.printsJson} + int{plan.record.file == kStandardStream} +
           int{plan.stateToSave == kStandardStream} + int{plan.hashFile == kStandardStream};
}

/// Whether one of the results would replace another.
bool areResultsInOneFile(const RunPlan& plan) {
    std::set<std::filesystem::path> files;
    for (const auto* each : {&plan.record.file, &plan.hashFile, &plan.stateToSave}) {
        if (each->empty() || *each == kStandardStream) continue;
        if (!files.insert(std::filesystem::absolute(*each).lexically_normal()).second) return true;
    }
    return false;
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& arguments) {
    RunPlan runPlan;
    ListPlan listPlan;
    CLI::App app("Runs simulations made of plug-ins and files, without a display.", "krsim");
    app.set_version_flag("--version", std::string("krsim ") + KR_VERSION, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.require_subcommand(0, 1);  // that there is none is said below: CLI11 would say so before it looks at options
    app.footer(kExitCodes);
    app.failure_message([](const CLI::App* command, const CLI::Error& error) {
        return std::string("krsim: ") + error.what() + suggestFor(*command, error) +
               "\n'krsim --help' and 'krsim run --help' show what there is\n";
    });
    auto* run = app.add_subcommand("run", "Build an application from files or plug-ins and run it");
    addRunOptions(*run, runPlan);
    SweepCommandPlan sweepPlan;
    auto* sweep =
        app.add_subcommand("sweep", "Run a simulation many times with other values, and make one table of the results");
    addSweepOptions(*sweep, sweepPlan);
    auto* list = app.add_subcommand("list", "Show the types that can be chosen");
    addPluginDirectories(*list, listPlan.pluginDirectories);
    list->add_flag("--json", listPlan.printsJson, "Print a JSON object");
    list->add_option_function<std::string>(
            "--limit",
            [&listPlan](const std::string& text) { listPlan.limitSeconds = parsePositive<double>("--limit", text); },
            "Seconds that a plug-in may take to load (5); one that takes longer is skipped")
        ->type_name("T");
    TypesPlan typesPlan;
    const auto* types = addTypes(app, typesPlan);
    DoctorPlan doctorPlan;
    const auto* doctor = addDoctor(app, doctorPlan);
    NewPluginPlan newPluginPlan;
    const auto* newPlugin = addNewPlugin(app, newPluginPlan);
    const FileCommands fileCommands(app);
    ManualPlan manualPlan;
    const auto* manual = addManual(app, manualPlan);
    std::string shell;
    const auto* completion = addCompletion(app, shell);

    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // CLI11 takes them last first
    } catch (const CLI::Error& result) {
        return answer(app, result);
    }
    if (list->parsed()) return listPlan;
    if (types->parsed()) return typesPlan;
    if (doctor->parsed()) return doctorPlan;
    if (newPlugin->parsed()) return newPluginPlan;
    if (manual->parsed()) return printManual(app, manualPlan);
    if (completion->parsed()) return printCompletion(app, shell);
    if (sweep->parsed()) {
        if (sweepPlan.run.files.empty() && !hasContent(sweepPlan.run))
            return answer(app, CLI::RequiredError("A setup file, or --content (or --module)"));
        if (sweepPlan.printsJson && sweepPlan.table == kStandardStream)
            return answer(app, CLI::ValidationError("--json", "the table is on standard output already"));
        return sweepPlan;
    }
    if (const auto plan = fileCommands.getParsed()) {
        if (const auto* create = std::get_if<CreatePlan>(&*plan)) {
            if (!hasContent(create->what)) return answer(app, CLI::RequiredError("--content (or --module)"));
            if (create->setupFile.empty() && create->objectFile.empty())
                return answer(app, CLI::RequiredError("--setup or --objects"));
            if (create->setupFile == create->objectFile)
                return answer(app, CLI::ValidationError("--objects", "the setup needs another file than its objects"));
        }
        if (const auto* preset = std::get_if<PresetPlan>(&*plan)) {
            const bool changes = !preset->variant.empty() || preset->isRemoved;
            if (changes == preset->name.empty()) return answer(app, CLI::RequiredError("--from or --remove"));
        }
        return std::visit([](const auto& each) -> Command { return each; }, *plan);
    }
    if (!run->parsed()) {
        return answer(app, CLI::RequiredError("A subcommand, 'run' and 'list' or one of those that work on files,"));
    }
    if (runPlan.files.empty() && !hasContent(runPlan))
        return answer(app, CLI::RequiredError("A setup file, or --content (or --module)"));
    if (countStandardOutputs(runPlan) > 1) {
        return answer(
            app,
            CLI::ValidationError(
                "only one of --outputs, --json, --record -, --hash - and --save-state - can be written to standard "
                "output"));
    }
    if (areResultsInOneFile(runPlan))
        return answer(app, CLI::ValidationError("--record, --hash and --save-state need a file each"));
    runPlan.record.isForced = runPlan.isForced;
    return runPlan;
}

}  // namespace krsim
