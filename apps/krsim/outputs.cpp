#include "apps/krsim/outputs.h"

#include "apps/krsim/simulated_extensions.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/field_visitor.h"
#include "kr/extension/extension.h"

namespace krsim {
namespace {

std::string formatValue(const KrData::FieldBase& field) {
    using Dimension = Kr::KrPhysicalDimension;
    const auto dimension = field.getPhysicalDimension();
    if (const auto* number = field.as<double>()) {
        return Dimension::format(number->getValue(), dimension, field.getPhysicalDimensionHint());
    }
    const auto units = Dimension::getUnits(dimension);  // the first is that of stored values
    return units.empty() ? field.toString() : field.toString().append(" ").append(units.front().symbol);
}

class Lister final : public KrData::FieldVisitor {
public:
    explicit Lister(std::string& text) : _text(text) {}

    void list(KrSim::KrExtension& extension) {
        _prefix = extension.getPath() + ".";
        extension.getOutputContainer().accept(*this);
    }

    void visitField(KrData::FieldBase& field) override {
        _text.append(_prefix).append(field.getPath()).append(" = ").append(formatValue(field)).append("\n");
    }

private:
    std::string& _text;
    std::string _prefix;
};

}  // namespace

std::string formatOutputs(const KrSim::KrApplication& application) {
    std::string text;
    Lister lister(text);
    for (auto* extension : getSimulatedExtensions(application))
        lister.list(*extension);
    return text;
}

}  // namespace krsim
