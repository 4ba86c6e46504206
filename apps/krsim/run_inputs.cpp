#include "apps/krsim/run_inputs.h"

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <utility>

#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/setups/setup_file.h"
#include "kr/platform/crc32.h"
#include "kr/platform/file_result.h"
#include "kr/platform/log.h"

namespace krsim {
namespace {

/// \param shown  in the place of its name.
std::string describeFile(const std::string& filename, const std::string& shown) {
    const auto stream = openInput(filename);
    const std::string bytes{std::istreambuf_iterator<char>(*stream), std::istreambuf_iterator<char>()};
    char checksum[16];
    std::snprintf(checksum, sizeof checksum, "%08x ", static_cast<unsigned int>(Kr::calculateCRC32(bytes)));
    return checksum + Kr::toOneLine(shown);
}

std::string describeFile(const std::string& filename) {
    return describeFile(filename, filename);
}

/// The files that a setup lists; none for another file. Logs nothing: what is wrong with a setup is told by the run.
std::vector<std::string> listContentFiles(const std::string& filename) {
    using KrPersistence::KrMagicTag;
    if (filename == kStandardStream) return {};
    const struct Silence {
        ~Silence() { Kr::LogSetLevel(level); }

        const Kr::eLogLevel level{Kr::LogGetLevel()};
    } silence;
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    std::vector<std::string> files;
    if (KrMagicTag::createFromFile(filename).getFileType() == KrPersistence::KrFile::eFileType::kUnknown) {
        if (auto setup = KrPersistence::loadSetupFile(filename)) files = std::move(setup->contentFiles);
    }
    return files;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> describeInputs(const RunPlan& plan) {
    std::vector<std::pair<std::string, std::string>> inputs;
    const auto addAll = [&](const char* name, const std::vector<std::string>& values) {
        for (const auto& each : values)
            inputs.emplace_back(name, Kr::toOneLine(each));
    };
    for (const auto& each : plan.files) {
        inputs.emplace_back("file", describeFile(each));
        for (const auto& content : listContentFiles(each))
            inputs.emplace_back("listed", describeFile(content, std::filesystem::path(content).filename().string()));
    }
    addAll("preset", plan.presets);
    addAll("content", plan.content);
    addAll("module", plan.modules);
    if (!plan.stateToRestore.empty()) inputs.emplace_back("state", describeFile(plan.stateToRestore));
    for (const auto& each : plan.assignments)
        inputs.emplace_back("set", Kr::toOneLine(each.pattern + "=" + each.value));
    for (const auto& each : plan.stimuli)
        inputs.emplace_back("play", describeFile(each));
    addAll("override", plan.overrides);
    for (const auto& each : plan.overrideFiles)
        inputs.emplace_back("overrides", describeFile(each));
    return inputs;
}

}  // namespace krsim
