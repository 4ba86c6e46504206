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

template <class Number>
std::string describeOutside(Number value, Number minimum, Number maximum) {
    using Limits = std::numeric_limits<Number>;
    std::string text = Kr::toText(value) + ", outside its range";
    if (minimum > Limits::lowest()) text += " from " + Kr::toText(minimum);
    return maximum < Limits::max() ? text + " to " + Kr::toText(maximum) : text + " on";
}

template KR_API std::string describeOutside(double, double, double);
template KR_API std::string describeOutside(float, float, float);
template KR_API std::string describeOutside(int, int, int);
template KR_API std::string describeOutside(unsigned int, unsigned int, unsigned int);
template KR_API std::string describeOutside(short, short, short);
template KR_API std::string describeOutside(unsigned short, unsigned short, unsigned short);
template KR_API std::string describeOutside(unsigned long long, unsigned long long, unsigned long long);

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
