#include "kr/persistence/fields/transfer_function_archive.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace KrPersistence {

namespace {

using KrData::TransferFunction;
using eKind = TransferFunction::eKind;
using Point = TransferFunction::Point;
using Step = TransferFunction::Step;

constexpr std::array<std::string_view, 3> kKinds{"Gain", "Table", "Curve"};
constexpr std::array<std::string_view, 2> kInterpolations{"Step", "Linear"};
constexpr std::array<std::string_view, 3> kExtrapolations{"Clamp", "Linear", "Repeat"};

template <class Enum, std::size_t count>
void writeEnum(ArchiveWriter& writer, std::string_view name, const std::array<std::string_view, count>& texts,
               Enum value) {
    const auto number = static_cast<std::size_t>(value);
    writer.writeChoice(name, static_cast<int>(number), texts[number]);
}

template <class Enum, std::size_t count>
Enum readEnum(ArchiveReader& reader, std::string_view name, const std::array<std::string_view, count>& texts) {
    const auto parse = [&](std::string_view text) -> std::optional<int> {
        const auto found = std::find(texts.begin(), texts.end(), text);
        return found != texts.end() ? std::optional(static_cast<int>(found - texts.begin())) : std::nullopt;
    };
    const auto choices = [&] { return std::vector<std::string>(texts.begin(), texts.end()); };
    const int number = reader.readChoice(name, parse, choices);
    if (number < 0 || number >= static_cast<int>(count)) {
        reader.fail("'" + std::string(name) + "' of a transfer function is the unknown " + std::to_string(number));
    }
    return static_cast<Enum>(number);
}

void writeNumbers(ArchiveWriter& writer, std::string_view name, const TransferFunction::Points& points,
                  double Point::*member) {
    std::vector<double> numbers;
    numbers.reserve(points.size());
    for (const auto& point : points)
        numbers.push_back(point.*member);
    writer.writeBlock(name, std::span<const double>(numbers));
}

void readNumbers(ArchiveReader& reader, std::string_view name, TransferFunction::Points& points,
                 double Point::*member) {
    std::vector<double> numbers;
    reader.readBlock(name, numbers);
    if (points.empty()) points.resize(numbers.size());
    if (numbers.size() != points.size()) {
        reader.fail("a transfer function has " + std::to_string(points.size()) + " X and " +
                    std::to_string(numbers.size()) + " " + std::string(name));
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        points[i].*member = numbers[i];
}

void writeStep(ArchiveWriter& writer, const Step& step) {
    writeEnum(writer, "Kind", kKinds, step.kind);
    if (step.kind == eKind::kGain) {
        writer.write("Gain", step.gain);
        writer.write("Offset", step.offset);
        return;
    }
    if (step.kind == eKind::kTable) writeEnum(writer, "Interpolation", kInterpolations, step.interpolation);
    writeEnum(writer, "Below", kExtrapolations, step.ends.below);
    writeEnum(writer, "Above", kExtrapolations, step.ends.above);
    writeNumbers(writer, "X", step.points, &Point::x);
    writeNumbers(writer, "Y", step.points, &Point::y);
    if (step.kind == eKind::kCurve) writeNumbers(writer, "Slope", step.points, &Point::slope);
}

Step readStep(ArchiveReader& reader) {
    Step step;
    step.kind = readEnum<eKind>(reader, "Kind", kKinds);
    if (step.kind == eKind::kGain) {
        reader.read("Gain", step.gain);
        reader.read("Offset", step.offset);
        return step;
    }
    if (step.kind == eKind::kTable) {
        step.interpolation = readEnum<TransferFunction::eInterpolation>(reader, "Interpolation", kInterpolations);
    }
    step.ends.below = readEnum<TransferFunction::eExtrapolation>(reader, "Below", kExtrapolations);
    step.ends.above = readEnum<TransferFunction::eExtrapolation>(reader, "Above", kExtrapolations);
    readNumbers(reader, "X", step.points, &Point::x);
    readNumbers(reader, "Y", step.points, &Point::y);
    if (step.kind == eKind::kCurve) readNumbers(reader, "Slope", step.points, &Point::slope);
    return step;
}

}  // namespace

void writeTransferFunction(ArchiveWriter& writer, std::string_view name, const TransferFunction& function) {
    const auto& steps = function.getSteps();
    writer.sequence(name, steps.size(),
                    [&](std::size_t index) { writer.group("Step", [&] { writeStep(writer, steps[index]); }); });
}

TransferFunction readTransferFunction(ArchiveReader& reader, std::string_view name) {
    TransferFunction::Steps steps;
    reader.sequence(name, [&](std::size_t) {
        reader.group("Step", [&] { steps.push_back(readStep(reader)); });
        if (steps.size() > TransferFunction::kMaxSteps) reader.fail("a transfer function has too many steps");
    });
    const TransferFunction function(std::move(steps));
    if (!function.isValid()) reader.fail("a transfer function is refused: " + function.getFault());
    return function;
}

}  // namespace KrPersistence
