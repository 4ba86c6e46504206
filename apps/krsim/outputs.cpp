#include "apps/krsim/outputs.h"

#include "kr/data/container.h"
#include "kr/data/field_visitor.h"
#include "kr/experiments/field_search.h"
#include "kr/experiments/field_text.h"
#include "kr/experiments/overrides.h"
#include "kr/extension/extension.h"

namespace krsim {
namespace {

class Lister final : public KrData::FieldVisitor {
public:
    Lister(std::string& text, const KrExperiments::Overrides* overrides, KrExperiments::ShownUnits units)
        : _text(text), _overrides(overrides), _units(units) {}

    void list(KrSim::KrExtension& extension) {
        _prefix = extension.getPath() + ".";
        extension.getOutputContainer().accept(*this);
    }

    void visitField(KrData::FieldBase& field) override {
        _text.append(_prefix).append(field.getPath()).append(" = ").append(KrExperiments::formatField(field, _units));
        if (field.isOverridden() && _overrides != nullptr)
            _text.append(" (overridden: ").append(_overrides->describe(field)).append(")");
        _text.append("\n");
    }

private:
    std::string& _text;
    const KrExperiments::Overrides* _overrides;
    const KrExperiments::ShownUnits _units;
    std::string _prefix;
};

}  // namespace

std::string formatOutputs(const KrSim::KrApplication& application, KrExperiments::ShownUnits units) {
    std::string text;
    Lister lister(text, KrExperiments::Overrides::find(application), units);
    for (auto* extension : KrExperiments::getSimulatedExtensions(application))
        lister.list(*extension);
    return text;
}

}  // namespace krsim
