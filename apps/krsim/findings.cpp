#include "apps/krsim/findings.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>

#include "kr/platform/file_result.h"
#include "kr/platform/log.h"

namespace krsim {
namespace {

using KrPersistence::Finding;
using eKind = KrPersistence::Finding::eKind;

bool isMissingType(const Finding& finding) {
    return finding.kind == eKind::kMissingType;
}

/// The library warns of these itself.
bool isInLog(const Finding& finding) {
    return finding.kind == eKind::kDimensions || finding.kind == eKind::kCycle;
}

bool isAskedFor(const Finding& finding, const RunPlan& plan) {
    return (finding.kind == eKind::kEditingMode && plan.mode) || (isMissingType(finding) && plan.allowsMissing);
}

}  // namespace

eExitCode printFindings(const Findings& findings) {
    for (const auto& each : findings)
        std::printf("%s%s\n", isMissingType(each) ? "missing: " : "", Kr::toOneLine(each.toString()).c_str());
    return chooseExitCode(findings);
}

eExitCode chooseExitCode(const Findings& findings) {
    if (std::any_of(findings.begin(), findings.end(), isMissingType)) return eExitCode::kMissingPlugin;
    return findings.empty() ? eExitCode::kOk : eExitCode::kRefusedFile;
}

void writeFindings(JsonWriter& writer, const Findings& findings) {
    writer.Key("findings");
    writer.StartArray();
    for (const auto& each : findings) {
        writer.StartObject();
        writeFlag(writer, "isMissingType", isMissingType(each));
        writeText(writer, "text", Kr::toOneLine(each.text));
        writeText(writer, "file", each.file);
        writeCount(writer, "line", each.line);
        writer.EndObject();
    }
    writer.EndArray();
}

void requireTypes(const Findings& findings) {
    const auto first = std::find_if(findings.begin(), findings.end(), isMissingType);
    if (first == findings.end()) return;
    const auto others = std::count_if(findings.begin(), findings.end(), isMissingType) - 1;
    throw Failure(eExitCode::kMissingPlugin,
                  "no plug-in makes " + first->text + (others > 0 ? " (and " + std::to_string(others) + " more)" : "") +
                      "; --plugins DIR tells where to look, --allow-missing runs without it");
}

void reportFindings(const Findings& findings, const RunPlan& plan) {
    std::size_t count = 0;
    for (const auto& each : findings) {
        if (isAskedFor(each, plan)) continue;
        ++count;
        if (plan.isStrict) {
            std::fprintf(stderr, "krsim: %s\n", Kr::toOneLine(each.toString()).c_str());
        } else if (!isInLog(each)) {
            Kr::logMessage(Kr::eLogLevel::kWarn, "krsim: %s\n", Kr::toOneLine(each.toString()).c_str());
        }
    }
    if (!plan.isStrict || count == 0) return;
    throw Failure(eExitCode::kRefusedFile, "nothing is run, as --strict asks for: " + std::to_string(count) +
                                               (count == 1 ? " finding" : " findings"));
}

}  // namespace krsim
