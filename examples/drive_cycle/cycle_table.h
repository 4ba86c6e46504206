#pragma once

#include <span>
#include <vector>

/// What a driving cycle asks of a car: speed over time, linear between the breakpoints.
struct Breakpoint {
    double seconds;
    double kilometresPerHour;
};

enum class CyclePhase { kIdling, kAccelerating, kSteady, kDecelerating, kDeclutched, kChangingGear };

/// A line of the tables in UN/ECE Regulation 83 (Directive 70/220/EEC, Annex III): what happens from the end of the
/// line before it to its own end. A gear change holds the speed.
struct CycleOperation {
    int number;
    CyclePhase phase;
    double endSeconds;  ///< from the beginning of its part
    double endKilometresPerHour;
};

/// The elementary urban cycle, 195 s, driven four times.
[[nodiscard]] std::span<const CycleOperation> getUrbanCycle();
/// The extra-urban cycle, 400 s.
[[nodiscard]] std::span<const CycleOperation> getExtraUrbanCycle();

/// The whole New European Driving Cycle: both of them one after the other, 1180 s.
[[nodiscard]] const std::vector<Breakpoint>& getEuropeanCycle();

/// In m/s; outside the table that of its first or last breakpoint.
[[nodiscard]] double getSpeedAt(std::span<const Breakpoint> table, double seconds);
/// The way under the whole table, in metres.
[[nodiscard]] double getDistanceOf(std::span<const Breakpoint> table);
