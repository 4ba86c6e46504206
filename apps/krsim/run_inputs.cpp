#include "apps/krsim/run_inputs.h"

#include <cstdio>
#include <iterator>

#include "apps/krsim/loaded_file.h"
#include "kr/platform/crc32.h"
#include "kr/platform/file_result.h"

namespace krsim {
namespace {

std::string describeFile(const std::string& filename) {
    const auto stream = openInput(filename);
    const std::string bytes{std::istreambuf_iterator<char>(*stream), std::istreambuf_iterator<char>()};
    char checksum[16];
    std::snprintf(checksum, sizeof checksum, "%08x ", static_cast<unsigned int>(Kr::calculateCRC32(bytes)));
    return checksum + Kr::toOneLine(filename);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> describeInputs(const RunPlan& plan) {
    std::vector<std::pair<std::string, std::string>> inputs;
    const auto addAll = [&](const char* name, const std::vector<std::string>& values) {
        for (const auto& each : values)
            inputs.emplace_back(name, Kr::toOneLine(each));
    };
    for (const auto& each : plan.files)
        inputs.emplace_back("file", describeFile(each));
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
