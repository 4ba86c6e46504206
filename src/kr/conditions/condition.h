#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "kr/application/fwd.h"
#include "kr/platform/export.h"

/// Conditions on the fields of a running simulation. The library KrFoundation::Conditions; link it to use them.
namespace KrConditions {

/// What a condition says of a frame.
enum class eConditionState : std::uint8_t {
    kHolds,
    kFails,
    kUndecided,     ///< of "for 2 s": it has held in all frames so far, but not for so long yet
    kNotANumber,    ///< a field is NaN, or NaN was compared
    kFieldRemoved,  ///< a field of the condition does not exist any more
    kPaused,        ///< no frame has ended since the previous evaluation
};

/// Why a text is no condition.
struct ConditionProblem {
    std::string text{};     ///< empty without a problem
    std::size_t column{0};  ///< in the condition, in characters from 1 on; 0 without a problem

    [[nodiscard]] explicit operator bool() const noexcept { return !text.empty(); }
};

/// An expression that is true or false after each frame: "Vehicle.Speed > 90 km/h for 2 s".
///
/// Fields are written as KrExperiments::findOneField takes them: bare, when the path has only letters, digits, _ and
/// points, else in single, double or back quotes; a component of a vector is written behind it, 'Place.X'. A number
/// with a unit is converted to SI units, in which all fields are read. docs/conditions.md has the whole language.
///
///     KrConditions::Condition isFast(application, "Vehicle.Speed > 90 km/h");
///     if (isFast.getProblem()) return report(isFast.describeProblem());
///     while (application.update() && isFast.evaluate() != KrConditions::eConditionState::kHolds) {}
///
/// Thread: application. Ownership: borrows the fields, and knows when they are removed; the application must outlive
/// it.
class KR_API Condition {
public:
    /// Longest text, in bytes.
    static constexpr std::size_t kMostBytes = 2000;

    /// Finds the fields, which must exist.
    Condition(const KrSim::KrApplication& application, std::string_view text);
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    ~Condition();

    [[nodiscard]] const std::string& getText() const noexcept;
    [[nodiscard]] const ConditionProblem& getProblem() const noexcept;
    /// "'Speed > 3 kg', column 9: '3 kg' is no speed, ..."; empty without a problem.
    [[nodiscard]] std::string describeProblem() const;

    /// Evaluates the condition with the values that the fields have now; call it after each frame. Does not allocate.
    /// A state that was restored begins the time of "for" again. With a problem the result is kFails.
    [[nodiscard]] eConditionState evaluate();

    /// The values of the fields in the last evaluation, in SI units, in the order of the fields; valid as long as this
    /// object.
    [[nodiscard]] std::span<const double> getValues() const noexcept;
    /// "Car/Vehicle.Outputs.Speed = 12 m/s, ...": values that getValues returned. Works for removed fields, too.
    [[nodiscard]] std::string formatValues(std::span<const double> values) const;
    /// The path of the first field that has been removed; empty when all exist.
    [[nodiscard]] std::string getRemovedField() const;

private:
    struct Parts;

    [[nodiscard]] eConditionState _evaluateFrame();
    [[nodiscard]] eConditionState _decide(bool isTrue, double seconds);

    std::unique_ptr<Parts> _parts;
};

}  // namespace KrConditions
