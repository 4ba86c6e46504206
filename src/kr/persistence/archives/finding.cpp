#include "kr/persistence/archives/finding.h"

#include <limits>

#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"

namespace KrPersistence {

std::string Finding::toString() const {
    std::string place = file;
    if (line != 0) place += (place.empty() ? "line " : ", line ") + std::to_string(line);
    return place.empty() ? text : place + ": " + text;
}

std::string describeOutside(double value, double minimum, double maximum) {
    using Limits = std::numeric_limits<double>;
    std::string text = Kr::toText(value) + ", outside its range";
    if (minimum > Limits::lowest()) text += " from " + Kr::toText(minimum);
    return maximum < Limits::max() ? text + " to " + Kr::toText(maximum) : text + " on";
}

std::vector<std::string> listChoices(const KrSim::KrEnumTable::EnumType& enumeration) {
    std::vector<std::string> texts;
    for (const auto& [number, text] : enumeration.getValues())
        texts.push_back(text);
    return texts;
}

std::string explainChoice(std::string_view text, std::span<const std::string> choices) {
    auto explanation = Kr::suggestName(text, choices);
    if (explanation.empty()) explanation = ";";
    explanation += " the choices are";
    for (const auto& each : choices)
        explanation += (&each == choices.data() ? " '" : ", '") + each + "'";
    return explanation;
}

}  // namespace KrPersistence
