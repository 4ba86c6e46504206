#include "apps/krsim/sweep_table.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>

#include "apps/krsim/json_writer.h"
#include "apps/krsim/output_file.h"
#include "kr/core/csv_table.h"
#include "kr/core/physical_dimension.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

using KrExperiments::FieldStatistics;
using KrExperiments::SweepRun;

std::string getUnit(const FieldStatistics& field) {
    const auto units = Kr::KrPhysicalDimension::getUnits(field.dimension);
    return units.empty() ? "" : units.front().symbol;
}

std::string formatHeader(const SweepCommandPlan& plan, const std::vector<SweepOutcome>& outcomes) {
    std::string line = "Run,Seed";
    for (const auto& each : plan.sweep.variations) {
        line += ',';
        Kr::CsvTable::appendCell(line, each.pattern);
    }
    line += ",Exit Code,Failure";
    const auto first = std::find_if(outcomes.begin(), outcomes.end(), [](const auto& each) { return each.result; });
    if (first == outcomes.end()) return line + "\r\n";
    for (const auto& each : first->result->fields) {
        auto unit = getUnit(each);
        if (!unit.empty()) unit.insert(0, " [").append("]");
        for (const auto& [name, member] : kStatistics) {
            line += ',';
            Kr::CsvTable::appendCell(line, std::string(each.path).append(" ").append(name).append(unit));
        }
    }
    return line + "\r\n";
}

std::string formatRow(const SweepRun& run, const SweepOutcome& outcome) {
    std::string line = std::to_string(run.number) + "," + std::to_string(run.seed);
    for (const auto& each : run.assignments) {
        line += ',';
        Kr::CsvTable::appendCell(line, each.value);
    }
    line += ',';
    if (outcome.result) line += std::to_string(outcome.result->exitCode);
    line += ',';
    Kr::CsvTable::appendCell(line, outcome.getFailure());
    if (!outcome.result) return line + "\r\n";
    for (const auto& each : outcome.result->fields) {
        for (const auto& [name, member] : kStatistics) {
            line += ',';
            Kr::appendNumber(line, each.*member);
        }
    }
    return line + "\r\n";
}

void writeNumberOrNull(JsonWriter& writer, const char* name, double number) {
    if (std::isfinite(number)) return writeNumber(writer, name, number);
    writer.Key(name);
    writer.Null();
}

void writeRun(JsonWriter& writer, const SweepRun& run, const SweepOutcome& outcome) {
    writer.StartObject();
    writeCount(writer, "run", run.number);
    writeCount(writer, "seed", run.seed);
    writer.Key("values");
    writer.StartObject();
    for (const auto& each : run.assignments)
        writeText(writer, each.pattern.c_str(), each.value);
    writer.EndObject();
    writer.Key("exitCode");
    outcome.result ? writer.Int(outcome.result->exitCode) : writer.Null();
    writeText(writer, "failure", outcome.getFailure());
    writer.Key("fields");
    writer.StartArray();
    if (outcome.result) {
        for (const auto& each : outcome.result->fields) {
            writer.StartObject();
            writeText(writer, "path", each.path);
            writeText(writer, "unit", getUnit(each));
            for (const auto& [name, member] : kStatistics)
                writeNumberOrNull(writer, name, each.*member);
            writer.EndObject();
        }
    }
    writer.EndArray();
    writer.EndObject();
}

}  // namespace

void writeSweepTable(const SweepCommandPlan& plan, const std::string& filename, const std::vector<SweepRun>& runs,
                     const std::vector<SweepOutcome>& outcomes) {
    constexpr auto kKind = eOutputKind::kTable;
    const auto file = openOutput(kKind, filename, plan.isForced);
    std::string text = formatHeader(plan, outcomes);
    for (std::size_t i = 0; i < runs.size(); ++i)
        text += formatRow(runs[i], outcomes[i]);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    if (!isWritten || std::fflush(file.get()) != 0) failToWrite(kKind, filename, errno);
}

std::string formatSweepJson(const std::vector<SweepRun>& runs, const std::vector<SweepOutcome>& outcomes) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    const auto failed = std::count_if(outcomes.begin(), outcomes.end(),
                                      [](const SweepOutcome& each) { return !each.isGood() && each.isEnded(); });
    const auto missing =
        std::count_if(outcomes.begin(), outcomes.end(), [](const SweepOutcome& each) { return !each.isEnded(); });
    writer.StartObject();
    writeCount(writer, "failed", static_cast<std::uint64_t>(failed));
    writeCount(writer, "missing", static_cast<std::uint64_t>(missing));
    writer.Key("runs");
    writer.StartArray();
    for (std::size_t i = 0; i < runs.size(); ++i)
        writeRun(writer, runs[i], outcomes[i]);
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace krsim
