#include "cycle_table.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "cycle_texts.h"
#include "kr/core/csv_table.h"

namespace {

using enum CyclePhase;

constexpr double kMetresPerSecond = 1.0 / 3.6;  // of one kilometre per hour

constexpr std::pair<std::string_view, CyclePhase> kPhases[] = {
    {"Idling", kIdling},         {"Accelerating", kAccelerating}, {"Steady", kSteady}, {"Decelerating", kDecelerating},
    {"Declutched", kDeclutched}, {"Changing Gear", kChangingGear}};

CyclePhase findPhase(const std::string& name) {
    const auto found =
        std::find_if(std::begin(kPhases), std::end(kPhases), [&](const auto& each) { return each.first == name; });
    if (found == std::end(kPhases)) throw std::runtime_error("there is no phase '" + name + "' of a driving cycle");
    return found->second;
}

/// Reads a table that is part of the program. \param name  of its file
std::vector<CycleOperation> readOperations(std::string_view text, const char* name) {
    const auto table = Kr::CsvTable::parse(text, name);
    if (!table) throw std::runtime_error(table.toString());
    const auto column = [&](const char* wanted) { return table->findColumn(wanted).value(); };
    std::vector<CycleOperation> operations;
    for (std::size_t row = 0; row < table->getRowCount(); ++row) {
        operations.push_back({static_cast<int>(table->getInteger(row, column("Operation")).value()),
                              findPhase(table->getText(row, column("Phase"))), table->getReal(row, column("Time")),
                              table->getReal(row, column("Speed"))});
    }
    return operations;
}

void append(std::vector<Breakpoint>& table, std::span<const CycleOperation> part) {
    const double start = table.back().seconds;
    for (const auto& each : part)
        table.push_back({start + each.endSeconds, each.endKilometresPerHour});
}

}  // namespace

std::span<const CycleOperation> getUrbanCycle() {
    static const auto operations = readOperations(getUrbanCycleText(), "urban_cycle.csv");
    return operations;
}

std::span<const CycleOperation> getExtraUrbanCycle() {
    static const auto operations = readOperations(getExtraUrbanCycleText(), "extra_urban_cycle.csv");
    return operations;
}

const std::vector<Breakpoint>& getEuropeanCycle() {
    static const auto table = [] {
        std::vector<Breakpoint> made{{0.0, 0.0}};
        for (int i = 0; i < 4; ++i)
            append(made, getUrbanCycle());
        append(made, getExtraUrbanCycle());
        return made;
    }();
    return table;
}

double getSpeedAt(std::span<const Breakpoint> table, double seconds) {
    if (table.empty()) return 0.0;
    const auto after = std::upper_bound(table.begin(), table.end(), seconds,
                                        [](double time, const Breakpoint& each) { return time < each.seconds; });
    if (after == table.begin()) return table.front().kilometresPerHour * kMetresPerSecond;
    const auto& from = *(after - 1);
    if (after == table.end()) return from.kilometresPerHour * kMetresPerSecond;
    const double share = (seconds - from.seconds) / (after->seconds - from.seconds);
    return (from.kilometresPerHour + share * (after->kilometresPerHour - from.kilometresPerHour)) * kMetresPerSecond;
}

double getDistanceOf(std::span<const Breakpoint> table) {
    double sum = 0.0;
    for (std::size_t i = 1; i < table.size(); ++i) {
        const double mean = 0.5 * (table[i - 1].kilometresPerHour + table[i].kilometresPerHour);
        sum += mean * (table[i].seconds - table[i - 1].seconds);
    }
    return sum * kMetresPerSecond;
}
