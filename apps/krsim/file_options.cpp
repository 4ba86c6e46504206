#include "apps/krsim/file_options.h"

#include "apps/krsim/option_values.h"
#include "apps/krsim/run_options.h"

namespace krsim {
namespace {

const Choices<eFileKind> kKinds{{"binary", eFileKind::kBinary}, {"xml", eFileKind::kXml}, {"json", eFileKind::kJson}};

void addFile(CLI::App& command, const char* name, std::string& file, const char* description) {
    command.add_option(name, file, description)->required()->type_name("");
}

void addFiles(CLI::App& command, std::vector<std::string>& files, const char* description) {
    command.add_option("FILE", files, description)->required()->type_name("");
}

void addChecksum(CLI::App& command, bool& hasChecksum) {
    command.add_flag("--checksum", hasChecksum,
                     "Write a checksum into XML and JSON, too; loading warns of files that were changed since");
}

void addForce(CLI::App& command, bool& isForced) {
    command.add_flag("-f,--force", isForced, "Replace the output, whatever is in it");
}

constexpr const char* kSetupFirst = "A setup file, object files, or both: the setup first";

}  // namespace

FileCommands::FileCommands(CLI::App& app) {
    _info.command = app.add_subcommand("info", "Show what files are, from their first bytes");
    addFiles(*_info.command, _info.plan.files, "Any file of the framework; - for standard input");
    _info.command->add_flag("--json", _info.plan.printsJson, "Print a JSON object");

    _dump.command = app.add_subcommand("dump", "Print what a file holds");
    addFile(*_dump.command, "FILE", _dump.plan.file, "Any file of the framework; - for standard input");
    _dump.command->add_flag("--long", _dump.plan.isLong, "Print values of more than 160 bytes whole");
    auto* json = _dump.command->add_flag_callback(
        "--json", [this] { _dump.plan.form = eDumpForm::kJson; },
        "Print the whole content as plain JSON, for other tools");
    _dump.command
        ->add_flag_callback(
            "--flat", [this] { _dump.plan.form = eDumpForm::kFlat; }, "Print each value in a line with its path")
        ->excludes(json);
    addChoice(*_dump.command, "--units", _dump.plan.units, getUnitSystems(),
              "Add to each number of a dimension its value in these units")
        ->excludes(json);
    addPluginDirectories(*_dump.command, _dump.plan.pluginDirectories);

    _convert.command = app.add_subcommand("convert", "Save a file in another kind");
    addFile(*_convert.command, "INPUT", _convert.plan.input, "Any file of the framework; - for standard input");
    addFile(*_convert.command, "OUTPUT", _convert.plan.output, "The file to write; - for standard output");
    addChoice(*_convert.command, "--to", _convert.plan.kind, kKinds, "The kind to write")->required();
    addChecksum(*_convert.command, _convert.plan.hasChecksum);
    _convert.command->add_flag("--self-contained", _convert.plan.isSelfContained,
                               "Store instances complete, with what their definitions in this and other files have");
    addForce(*_convert.command, _convert.plan.isForced);
    addPluginDirectories(*_convert.command, _convert.plan.pluginDirectories);

    _recover.command = app.add_subcommand("recover", "Save what can be read of a damaged file, and tell what is wrong");
    addFile(*_recover.command, "INPUT", _recover.plan.input, "Any file of the framework; - for standard input");
    addFile(*_recover.command, "OUTPUT", _recover.plan.output, "The file to write; - for standard output");
    addChoice(*_recover.command, "--to", _recover.plan.kind, kKinds, "The kind to write (that of the input)");
    addForce(*_recover.command, _recover.plan.isForced);
    addPluginDirectories(*_recover.command, _recover.plan.pluginDirectories);

    _verify.command = app.add_subcommand("verify", "Load files, resolve their references and tell what is wrong");
    addFiles(*_verify.command, _verify.plan.files, kSetupFirst);
    addPluginDirectories(*_verify.command, _verify.plan.pluginDirectories);
    _verify.command->add_flag("--json", _verify.plan.printsJson, "Print a JSON object");

    _diff.command = app.add_subcommand("diff", "Tell what differs between two files, of whatever kind they are");
    addFile(*_diff.command, "FIRST", _diff.plan.first, "Any file of the framework; - for standard input");
    addFile(*_diff.command, "SECOND", _diff.plan.second, "The one to compare it with");
    addList(
        *_diff.command, "--ignore", _diff.plan.ignored, "PATTERN",
        "Pass over places of this path, \"*/ElapsedSeconds\", * and ? being any text and character; may be repeated");
    _diff.command
        ->add_option("--states", _diff.plan.states,
                     "For two files of frame hashes: the states of both runs after the first frame that differs, to "
                     "tell the first field")
        ->type_name("FIRST SECOND")
        ->expected(2);
    addPluginDirectories(*_diff.command, _diff.plan.pluginDirectories);

    _graph.command = app.add_subcommand("graph", "Write the graph of connections in the dot language of Graphviz");
    addFiles(*_graph.command, _graph.plan.files, kSetupFirst);
    _graph.command
        ->add_option("-o,--output", _graph.plan.output, "The file to write; standard output without it, or for -")
        ->type_name("FILE");
    addForce(*_graph.command, _graph.plan.isForced);
    addPluginDirectories(*_graph.command, _graph.plan.pluginDirectories);

    _create.command = app.add_subcommand("create", "Write a setup file and an object file from types of plug-ins");
    auto& create = *_create.command;
    create
        .add_option("--setup", _create.plan.setupFile,
                    "The setup file to write; it lists the object file; - for standard output")
        ->type_name("FILE");
    create.add_option("--objects", _create.plan.objectFile, "The object file to write; - for standard output")
        ->type_name("FILE");
    addChoice(create, "--as", _create.plan.kind, kKinds, "The kind of both (xml)");
    addChecksum(create, _create.plan.hasChecksum);
    addForce(create, _create.plan.isForced);
    addContentOptions(create, _create.plan.what);
    create.footer(
        "Example:\n  krsim create --plugins build/plugins --content Car --setup setup.xml --objects car.xml --free");

    _preset.command = app.add_subcommand("preset", "List the presets of a setup file, keep one in it or remove one");
    auto& preset = *_preset.command;
    addFile(preset, "FILE", _preset.plan.setupFile, "The setup file");
    auto* name = preset.add_option("NAME", _preset.plan.name, "The preset; without it, all are listed")->type_name("");
    auto* from = preset
                     .add_option("--from", _preset.plan.variant,
                                 "Keep as preset NAME what this setup file has otherwise than FILE")
                     ->type_name("FILE")
                     ->needs(name);
    preset.add_flag("--remove", _preset.plan.isRemoved, "Remove preset NAME")->needs(name)->excludes(from);
    addChecksum(preset, _preset.plan.hasChecksum);
    _addEditing(app);
    preset.footer("Example:\n  krsim preset setup.xml Fast --from fast.xml\n  krsim run setup.xml --preset Fast");
}

void FileCommands::_addEditing(CLI::App& app) {
    const auto addCommon = [](CLI::App& command, EditPlan& plan) {
        addPluginDirectories(command, plan.pluginDirectories);
        command.add_option("-o,--output", plan.output, "Write this file, and leave FILE as it is")->type_name("FILE");
        addForce(command, plan.isForced);
    };
    const auto addParent = [](CLI::App& command, EditPlan& plan) {
        command.add_option("--in", plan.parent, "The object that gets it, by path; the top of the file without it")
            ->type_name("PATH");
    };
    constexpr const char* kFile = "An object file, which is changed";

    _edit.command = app.add_subcommand("edit", "Set fields of an object file, add and remove extensions");
    auto& edit = *_edit.command;
    addFile(edit, "FILE", _edit.plan.file, kFile);
    addAssignments(edit, _edit.plan.assignments, "Set a field, \"Car/Vehicle.Mass=1.9 t\"");
    addList(edit, "--add", _edit.plan.added, "TYPE", "Add an extension of this type; may be repeated.");
    edit.add_option("--name", _edit.plan.name, "The name of what is added")->type_name("NAME");
    addParent(edit, _edit.plan);
    addList(edit, "--remove", _edit.plan.removed, "PATH",
            "Remove an extension with all below it and their connections; may be repeated.");
    addCommon(edit, _edit.plan);
    edit.footer(
        "First is removed, then added, then set.\n\nExamples:\n  krsim edit car.xml --set \"Vehicle.Mass=1.9 t\"\n"
        "  krsim edit town.kro --plugins build/plugins --add \"Road Vehicle\" --name Taxi --in Traffic");

    _connect.command = app.add_subcommand("connect", "Connect two fields of an object file");
    auto& connect = *_connect.command;
    addFile(connect, "FILE", _connect.plan.file, kFile);
    connect.add_option("SOURCE", _connect.plan.source, "The field that is read, by path")->required()->type_name("");
    connect.add_option("SINK", _connect.plan.sink, "The field that is set, by path")->required()->type_name("");
    const auto addKind = [&](const char* name, Kr::eConnectionKind kind, const char* description) {
        return connect.add_flag_callback(
            name, [this, kind] { _connect.plan.connectionKind = kind; }, description);
    };
    auto* delay = addKind("--delay", Kr::eConnectionKind::kUnitDelay,
                          "A unit delay: the sink gets the value at the end of the last step, for feedback");
    auto* queued = addKind("--queued", Kr::eConnectionKind::kQueued, "The sink is set by an event")->excludes(delay);
    auto* interpolated = addKind("--interpolated", Kr::eConnectionKind::kInterpolated,
                                 "The faster steps of the sink get values between those of the source")
                             ->excludes(delay)
                             ->excludes(queued);
    connect.add_flag("--remove", _connect.plan.isDisconnected, "End the connections between the two instead")
        ->excludes(delay)
        ->excludes(queued)
        ->excludes(interpolated);
    addCommon(connect, _connect.plan);
    connect.footer("Example:\n  krsim connect car.xml Driver.Pedal \"Electric Drive.Pedal\" --delay");

    _instantiate.command = app.add_subcommand("instantiate", "Place instances of an object into an object file");
    auto& instantiate = *_instantiate.command;
    addFile(instantiate, "FILE", _instantiate.plan.file, kFile);
    instantiate.add_option("DEFINITION", _instantiate.plan.definition, "The object, by path")
        ->required()
        ->type_name("");
    instantiate
        .add_option("--from", _instantiate.plan.definitionFile, "The object file that has it, if it is another one")
        ->type_name("FILE");
    instantiate
        .add_option_function<std::string>(
            "--count",
            [this](const std::string& text) {
                _instantiate.plan.instances = parsePositive<std::size_t>("--count", text);
            },
            "How many (1)")
        ->type_name("N");
    instantiate.add_option("--name", _instantiate.plan.name, "Their name; several get numbers")->type_name("NAME");
    addParent(instantiate, _instantiate.plan);
    addAssignments(instantiate, _instantiate.plan.assignments, "Set a field of the file, once they are there");
    addCommon(instantiate, _instantiate.plan);
    instantiate.footer("Example:\n  krsim instantiate fleet.xml Car --from car.xml --count 100 --name Taxi");
}

std::optional<FilePlan> FileCommands::getParsed() const {
    std::optional<FilePlan> parsed;
    const auto take = [&parsed](const auto& entry) {
        if (entry.command->parsed()) parsed = entry.plan;
    };
    take(_info);
    take(_dump);
    take(_convert);
    take(_recover);
    take(_verify);
    take(_diff);
    take(_graph);
    take(_create);
    take(_preset);
    take(_edit);
    take(_connect);
    take(_instantiate);
    return parsed;
}

}  // namespace krsim
