#include "apps/krsim/file_commands.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <istream>
#include <sstream>
#include <string>
#include <vector>

#include "apps/krsim/assembly.h"
#include "apps/krsim/findings.h"
#include "apps/krsim/hash_comparison.h"
#include "apps/krsim/json_writer.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/simulation_files.h"
#include "apps/krsim/tree_units.h"
#include "apps/krsim/tree_writer.h"
#include "apps/krsim/type_catalog.h"
#include "apps/krsim/work_notice.h"
#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/extension/extension.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/objects/definition_files.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/persistence/setups/application_check.h"
#include "kr/persistence/setups/setup_section.h"
#include "kr/platform/log.h"
#include "kr/platform/text.h"
#include "kr/recording/recording_file.h"

namespace krsim {
namespace {

using KrPersistence::KrMagicTag;

/// The log shows warnings, whatever a setup says.
KrPersistence::SimulationLoadOptions withWarnings(const std::vector<std::string>& pluginDirectories) {
    return {.pluginDirectories = pluginDirectories,
            .adjustSetup = LogChoice{.level = Kr::eLogLevel::kWarn, .hasFile = false}};
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);  // main asks whether it was written
}

const char* nameFor(KrMagicTag::eFileFormat format) {
    switch (format) {
        case KrMagicTag::eFileFormat::kBinary:
            return "binary";
        case KrMagicTag::eFileFormat::kXml:
            return "XML";
        case KrMagicTag::eFileFormat::kJson:
            return "JSON";
        case KrMagicTag::eFileFormat::kUnknownFormat:
            break;
    }
    return "unknown";
}

KrMagicTag readTag(const std::string& filename) {
    KrMagicTag tag;
    tag.load(*openInput(filename));
    return tag;
}

/// The contents of the file. The tag of a setup has no separate type.
std::string describeContent(const std::string& filename, const KrMagicTag& tag) {
    if (tag.getFileType() != KrPersistence::KrFile::eFileType::kUnknown) return describeType(tag.getFileType());
    try {
        return KrPersistence::KrSetupSection::find(*loadFile(filename)) ? "setup" : "no type";
    } catch (const Failure&) {
        return "no type, and its content cannot be read";
    }
}

/// What the first bytes of a file say.
struct FileFacts {
    std::string format{};
    std::string content{};
    std::string release{};
    bool isSigned{false};
    std::uint64_t bytes{0};
};

bool isRecordingFile(const std::string& filename) {
    if (!std::filesystem::is_regular_file(filename)) return false;  // a pipe is read once
    char bytes[8]{};
    openInput(filename)->read(bytes, sizeof bytes);
    return KrRecording::isRecording({bytes, sizeof bytes});
}

/// "recording of 3 channels, 180 messages from 0 s to 60 s"
std::string describeRecording(const KrRecording::RecordingSummary& recording) {
    const auto text = "recording of " + std::to_string(recording.channels.size()) + " channels, " +
                      std::to_string(recording.messages) + " messages from " + Kr::toText(recording.firstSeconds) +
                      " s to " + Kr::toText(recording.lastSeconds) + " s";
    return recording.problem.empty() ? text : text + "; " + recording.problem + ", 'krsim recover' saves what is there";
}

FileFacts readFacts(const std::string& filename) {
    if (isRecordingFile(filename)) {
        const WorkNotice notice("reading '" + filename + "'");
        const auto recording = KrRecording::readRecordingSummary(filename);
        if (!recording) throw toFailure(recording);
        return {.format = "MCAP",
                .content = describeRecording(*recording),
                .release = recording->producer,
                .bytes = std::filesystem::file_size(filename)};
    }
    const KrMagicTag tag = readTag(filename);
    if (tag.getFileFormat() == KrMagicTag::eFileFormat::kUnknownFormat) {
        static_cast<void>(loadFile(filename));  // says why it is none
        throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is not one of the framework's");
    }
    unsigned major = 0;
    unsigned minor = 0;
    tag.getOrreryVersion(major, minor);
    const auto stream = openInput(filename);
    stream->seekg(0, std::ios::end);
    return {.format = nameFor(tag.getFileFormat()),
            .content = describeContent(filename, tag),
            .release = std::to_string(major) + "." + std::to_string(minor),
            .isSigned = tag.isSigned(),
            .bytes = static_cast<std::uint64_t>(static_cast<std::streamoff>(stream->tellg()))};
}

/// A sentence for an operator.
std::string describe(const std::string& filename, const FileFacts& facts) {
    return filename + ": " + facts.format + ", " + facts.content + ", release " + facts.release +
           (facts.isSigned ? ", signed" : "") + ", " + std::to_string(facts.bytes) + " bytes\n";
}

void writeFacts(JsonWriter& writer, const std::string& filename, const FileFacts& facts) {
    writer.StartObject();
    writeText(writer, "file", filename);
    writeText(writer, "format", facts.format);
    writeText(writer, "content", facts.content);
    writeText(writer, "release", facts.release);
    writeFlag(writer, "isSigned", facts.isSigned);
    writeCount(writer, "bytes", facts.bytes);
    writer.EndObject();
}

/// For programs, what `verify` found.
std::string describeAsJson(const KrSim::KrApplication& application, const std::vector<Failure>& refused,
                           const Findings& findings) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    std::vector<std::string> texts;
    texts.reserve(refused.size());
    for (const auto& each : refused)
        texts.emplace_back(each.what());
    writeTexts(writer, "refused", texts);
    writeFindings(writer, findings);
    writeCount(writer, "extensions", application.getContentDispatcher().getExtensions().size());
    writeCount(writer, "modules", application.getModuleCount());
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

/// Content whose plug-in is missing keeps its data, which suffices here.
void addPluginsQuietly(const std::vector<std::string>& directories) {
    Kr::LogSetLevel(Kr::eLogLevel::kError);
    addPluginDirectories(directories);
}

}  // namespace

eExitCode showInfo(const InfoPlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kError);
    auto code = eExitCode::kOk;
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("files");
    writer.StartArray();
    for (const auto& each : plan.files) {
        try {
            const auto facts = readFacts(each);
            writeFacts(writer, each, facts);
            if (!plan.printsJson) print(describe(each, facts));
        } catch (const Failure& failure) {  // the others are shown all the same
            std::fprintf(stderr, "krsim: %s\n", failure.what());
            code = failure.getCode();
        }
    }
    writer.EndArray();
    writer.EndObject();
    if (plan.printsJson) print(std::string(buffer.GetString(), buffer.GetSize()) + "\n");
    return code;
}

namespace {

TreeNode loadTreeFor(const DumpPlan& plan) {
    auto tree = loadTree(plan.file);
    if (plan.units) addShownUnits(tree, *plan.units);
    return tree;
}

}  // namespace

void dumpFile(const DumpPlan& plan) {
    addPluginsQuietly(plan.pluginDirectories);
    switch (plan.form) {
        case eDumpForm::kTree:
            return print(formatTree(loadTreeFor(plan), plan.isLong));
        case eDumpForm::kFlat:
            return print(formatPaths(loadTreeFor(plan), plan.isLong));
        case eDumpForm::kJson:
            return print(makePlainJson(*loadFile(plan.file)));
    }
}

namespace {

/// Of the instances in a loaded file.
std::vector<KrPersistence::LoadedObjects> loadDefinitionsFor(const std::string& filename) {
    std::vector<Kr::FileResult> refused;
    auto definitions = KrPersistence::loadDefinitions({{filename}}, refused);
    if (!refused.empty()) throw toFailure(refused.front());
    return definitions;
}

}  // namespace

void convertFile(const ConvertPlan& plan) {
    addPluginsQuietly(plan.pluginDirectories);
    const auto file = loadFile(plan.input);
    auto flags = toFlags(plan.kind, plan.hasChecksum);
    std::vector<KrPersistence::LoadedObjects> definitions;
    if (plan.isSelfContained) {
        flags |= KrPersistence::KrFile::kSelfContained;
        definitions = loadDefinitionsFor(plan.input);
    }
    saveFile(*file, plan.output, flags, plan.isForced);
}

namespace {

eExitCode recoverRecordingFile(const RecoverPlan& plan) {
    std::error_code error;
    if (plan.output == kStandardStream || std::filesystem::equivalent(plan.input, plan.output, error))
        throw Failure(eExitCode::kUsage, "a recording is recovered into another file");
    if (plan.kind) throw Failure(eExitCode::kUsage, "--to is for files of the framework; a recording stays one");
    if (std::filesystem::exists(plan.output, error) && !plan.isForced)
        throw Failure(eExitCode::kUsage, "file '" + plan.output + "' exists; --force replaces it");
    requireWritable(eOutputKind::kRecording, plan.output, plan.isForced);
    const WorkNotice notice("recovering '" + plan.input + "'");
    const auto recovered = KrRecording::recoverRecording(plan.input, plan.output);
    if (!recovered) throw toFailure(recovered);
    if (recovered->problem.empty()) return eExitCode::kOk;
    std::fprintf(stderr, "%s: %s; %s\n", plan.input.c_str(), recovered->problem.c_str(),
                 (std::to_string(recovered->messages) + " messages were saved").c_str());
    return eExitCode::kFailed;
}

}  // namespace

eExitCode recoverFile(const RecoverPlan& plan) {
    if (isRecordingFile(plan.input)) return recoverRecordingFile(plan);
    addPluginsQuietly(plan.pluginDirectories);
    const auto file = loadFile(plan.input, KrPersistence::KrFile::kRecover);
    auto texts = file->getDoubts();
    const bool isWhole = texts.empty();
    for (const auto* each : file->getSections()) {
        const auto* objects = dynamic_cast<const KrPersistence::KrObjectSection*>(each);
        if (objects == nullptr) continue;
        const auto problems = objects->getProblems();
        texts.insert(texts.end(), problems.begin(), problems.end());
    }
    const auto kind = plan.kind.value_or(kindOf(readTag(plan.input).getFileFormat()));
    saveFile(*file, plan.output, toFlags(kind), plan.isForced);
    // Not between the bytes of a file on standard output.
    for (const auto& each : texts)
        std::fprintf(stderr, "%s: %s\n", plan.input.c_str(), each.c_str());
    return isWhole ? eExitCode::kOk : eExitCode::kFailed;
}

eExitCode verifyFiles(const VerifyPlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    const auto application = KrSim::KrApplication::create();
    const auto simulation = loadAllFiles(*application, plan.files, withWarnings(plan.pluginDirectories));
    std::vector<Failure> refused;
    for (const auto& each : simulation.problems) {
        const auto& failure = refused.emplace_back(toFailure(each));
        if (!plan.printsJson) print(failure.what() + std::string("\n"));
    }
    auto findings = simulation.getFindings();
    if (!simulation.setupFile.empty()) {
        const auto more = KrPersistence::checkSimulation(*application);
        findings.insert(findings.end(), more.begin(), more.end());
    }
    if (plan.printsJson) print(describeAsJson(*application, refused, findings));
    const auto code = plan.printsJson ? chooseExitCode(findings) : printFindings(findings);
    if (!refused.empty()) return refused.front().getCode();
    if (code != eExitCode::kOk || plan.printsJson) return code;
    print(std::to_string(application->getContentDispatcher().getExtensions().size()) + " extensions, " +
          std::to_string(application->getModuleCount()) + " modules: no fault was found\n");
    return eExitCode::kOk;
}

eExitCode compareFiles(const DiffPlan& plan) {
    addPluginsQuietly(plan.pluginDirectories);
    if (const auto differences = compareIfHashes(plan)) {
        print(*differences);
        return differences->empty() ? eExitCode::kOk : eExitCode::kFailed;
    }
    const auto first = loadTree(plan.first);
    const auto differences = compareTrees(first, loadTree(plan.second), plan.ignored);
    print(differences);
    return differences.empty() ? eExitCode::kOk : eExitCode::kFailed;
}

void drawGraph(const GraphPlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    const auto application = KrSim::KrApplication::create();
    const auto simulation = loadFiles(*application, plan.files, withWarnings(plan.pluginDirectories));
    std::ostringstream graph;
    KrSim::KrExtensionSorter::instance().toDot(graph);
    const auto file = openOutput(eOutputKind::kGraph, plan.output, plan.isForced);
    const auto text = graph.str();
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    if (!isWritten || std::fflush(file.get()) != 0) failToWrite(eOutputKind::kGraph, plan.output, errno);
}

void createFiles(const CreatePlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    if (!plan.objectFile.empty()) requireReplaceable(eOutputKind::kObjects, plan.objectFile, plan.isForced);
    if (!plan.setupFile.empty()) requireReplaceable(eOutputKind::kSetup, plan.setupFile, plan.isForced);
    addPluginDirectories(plan.what.pluginDirectories);
    const auto application = KrSim::KrApplication::create();
    assemble(*application, plan.what, TypeCatalog(getPluginDirectories()), false);
    saveSimulation(*application, plan);
}

}  // namespace krsim
