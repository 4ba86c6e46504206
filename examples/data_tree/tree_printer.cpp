#include "tree_printer.h"

#include <cstdio>

namespace Demo {

namespace {

using Types = KrData::Types;
using Dimension = Kr::KrPhysicalDimension;

std::string numberText(double value, const KrData::FieldBase& field) {
    return Dimension::format(value, field.getPhysicalDimension(), field.getPhysicalDimensionHint());
}

int depthOf(const KrData::FieldBase& field) {
    int depth = 0;
    for (const auto* above = field.getParent(); above != nullptr; above = above->getParent())
        ++depth;
    return depth;
}

/// Everything but name and value that an editor would show.
std::string notesOf(const KrData::FieldBase& field) {
    std::string notes = Types::nameFor(field.getDataType());
    if (field.isReadOnlyHint()) notes += ", read-only";
    if (const auto* number = field.as<double>(); number != nullptr && number->hasRange()) {
        notes.append(", ").append(numberText(number->getMinimum(), field));
        notes.append(" to ").append(numberText(number->getMaximum(), field));
    }
    if (!field.getDescription().empty()) notes.append(": ").append(field.getDescription());
    return notes;
}

}  // namespace

std::string valueText(const KrData::FieldBase& field) {
    if (const auto* number = field.as<double>()) return numberText(number->getValue(), field);
    if (const auto* numbers = KrData::Vector<double>::from(field)) {
        std::string text;
        for (const double each : numbers->getItems()) {
            if (!text.empty()) text += ", ";
            text += numberText(each, field);
        }
        return text;
    }
    auto text = field.toString();
    const auto units = Dimension::getUnits(field.getPhysicalDimension());
    if (!units.empty()) text.append(" ").append(units.front().symbol);
    return text;
}

void TreePrinter::visitContainer(KrData::Container& container) {
    const int indent = 2 * depthOf(container);
    const auto type = container.isFieldArray() ? "array" : Types::nameFor(container.getFieldType());
    std::printf("%*s%s  (%s)\n", indent, "", container.getID().str().c_str(), type);
}

void TreePrinter::visitField(KrData::FieldBase& field) {
    const int indent = 2 * depthOf(field);
    std::printf("%*s%-*s = %-16s  %s\n", indent, "", 22 - indent, field.getID().str().c_str(), valueText(field).c_str(),
                notesOf(field).c_str());
}

}  // namespace Demo
