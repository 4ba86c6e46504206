#include "cycle_table.h"

#include <algorithm>
#include <cstddef>

namespace {

using enum CyclePhase;

constexpr double kMetresPerSecond = 1.0 / 3.6;  // of one kilometre per hour

constexpr CycleOperation kUrban[] = {
    {1, kIdling, 11, 0},          {2, kAccelerating, 15, 15},   {3, kSteady, 23, 15},
    {4, kDecelerating, 25, 10},   {5, kDeclutched, 28, 0},      {6, kIdling, 49, 0},
    {7, kAccelerating, 54, 15},   {8, kChangingGear, 56, 15},   {9, kAccelerating, 61, 32},
    {10, kSteady, 85, 32},        {11, kDecelerating, 93, 10},  {12, kDeclutched, 96, 0},
    {13, kIdling, 117, 0},        {14, kAccelerating, 122, 15}, {15, kChangingGear, 124, 15},
    {16, kAccelerating, 133, 35}, {17, kChangingGear, 135, 35}, {18, kAccelerating, 143, 50},
    {19, kSteady, 155, 50},       {20, kDecelerating, 163, 35}, {21, kSteady, 176, 35},
    {22, kChangingGear, 178, 35}, {23, kDecelerating, 185, 10}, {24, kDeclutched, 188, 0},
    {25, kIdling, 195, 0},
};

constexpr CycleOperation kExtraUrban[] = {
    {1, kIdling, 20, 0},           {2, kAccelerating, 25, 15},    {3, kChangingGear, 27, 15},
    {4, kAccelerating, 36, 35},    {5, kChangingGear, 38, 35},    {6, kAccelerating, 46, 50},
    {7, kChangingGear, 48, 50},    {8, kAccelerating, 61, 70},    {9, kSteady, 111, 70},
    {10, kDecelerating, 119, 50},  {11, kSteady, 188, 50},        {12, kAccelerating, 201, 70},
    {13, kSteady, 251, 70},        {14, kAccelerating, 286, 100}, {15, kSteady, 316, 100},
    {16, kAccelerating, 336, 120}, {17, kSteady, 346, 120},       {18, kDecelerating, 362, 80},
    {19, kDecelerating, 370, 50},  {20, kDeclutched, 380, 0},     {21, kIdling, 400, 0},
};

void append(std::vector<Breakpoint>& table, std::span<const CycleOperation> part) {
    const double start = table.back().seconds;
    for (const auto& each : part)
        table.push_back({start + each.endSeconds, each.endKilometresPerHour});
}

}  // namespace

std::span<const CycleOperation> getUrbanCycle() {
    return kUrban;
}

std::span<const CycleOperation> getExtraUrbanCycle() {
    return kExtraUrban;
}

const std::vector<Breakpoint>& getEuropeanCycle() {
    static const auto table = [] {
        std::vector<Breakpoint> made{{0.0, 0.0}};
        for (int i = 0; i < 4; ++i)
            append(made, kUrban);
        append(made, kExtraUrban);
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
