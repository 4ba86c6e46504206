// Builds the tree of a vehicle, prints, observes, changes, clones and compares it. Every "ok" line is checked by the
// program itself: it ends with status 1 when one of them does not hold.

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "tree_printer.h"
#include "vehicle.h"

namespace {

using Unit = Kr::KrPhysicalDimension::eDimensionHint;

int failures = 0;

void heading(const char* text) {
    std::printf("\n== %s ==\n", text);
}

void expect(bool holds, const char* claim) {
    std::printf("  %s: %s\n", holds ? "ok" : "WRONG", claim);
    if (!holds) ++failures;
}

/// Who was told since the last question, in order: "tree field".
class Told {
public:
    void add(const char* name) {
        if (!_names.empty()) _names += ' ';
        _names += name;
    }
    [[nodiscard]] std::string take() { return std::exchange(_names, {}); }

private:
    std::string _names;
};

/// An observer that reports each change.
KrData::FieldBase::Observer reporter(const char* name, Told& told) {
    return [name, &told](const KrData::FieldBase& changed) {
        const bool isList = changed.getDataType() == KrData::Types::kContainer;
        std::printf("  [%s] %s %s%s\n", name, changed.getPath().c_str(), isList ? "has other fields now" : "= ",
                    isList ? "" : Demo::valueText(changed).c_str());
        told.add(name);
    };
}

void showTree(Demo::Vehicle& vehicle) {
    heading("The tree of a vehicle");
    Demo::TreePrinter printer;
    vehicle.tree.accept(printer);
}

void showLookup(Demo::Vehicle& vehicle) {
    heading("Fields are found by path and by name");
    auto* found = vehicle.tree.findFieldFromPath("Vehicle.Parameters.Engine.Idle speed");
    expect(found == &vehicle.idleSpeed, "the path \"Vehicle.Parameters.Engine.Idle speed\" leads to the member");
    expect(&vehicle.tree["Parameters"]["Mass"] == &vehicle.mass, "so do the names, one after the other");
    expect(vehicle.mass.getPath() == "Vehicle.Parameters.Mass", "a field knows its path");

    auto& missing = vehicle.tree["Parameters"]["Wings"]["Span"];
    expect(!missing.isValid() && !missing.set(12.0), "a name that is not there leads to a field that takes no value");
    expect(!vehicle.mass.FieldBase::set(7), "a value of another type is refused");
}

void showChanges(Demo::Vehicle& vehicle) {
    heading("Who hears of a change");
    Told told;
    const auto treeWatch = vehicle.tree.addObserver(reporter("tree", told));
    auto fieldWatch = vehicle.throttle.addObserver(reporter("field", told));

    std::printf("Throttle to 25 %%:\n");
    vehicle.throttle = 0.25;
    expect(told.take() == "tree field", "the tree first, with the field that changed; then the field");
    std::printf("Throttle to 25 %% again:\n");
    vehicle.throttle = 0.25;
    expect(told.take().empty(), "an equal value tells nobody");
    std::printf("Throttle to 140 %%:\n");
    vehicle.throttle = 1.4;
    expect(told.take() == "tree field" && vehicle.throttle == 1.0, "the value was clamped before anybody was told");
    std::printf("Throttle to 50 %%, with the observer of the field disconnected:\n");
    fieldWatch.disconnect();
    vehicle.throttle = 0.5;
    expect(told.take() == "tree", "the tree alone was told");

    std::printf("One second of driving:\n");
    vehicle.gear = Kr::KrEnum(Demo::eGear::kDrive);
    vehicle.step(1.0);
    expect(vehicle.speed == 2.0 && vehicle.distance == 2.0, "half of 6 kN brings 1500 kg to 2 m/s in one second");
    expect(told.take() == "tree tree tree", "the tree heard of gear, speed and distance");
}

void showProperties(Demo::Vehicle& vehicle) {
    heading("Properties have observers of their own");
    Told told;
    const auto watch = vehicle.tree.addPropertyObserver(reporter("tree", told));
    std::printf("Mass to be shown in tonnes, asked twice:\n");
    vehicle.mass.setPhysicalDimensionHint(Unit::kTonne);
    vehicle.mass.setPhysicalDimensionHint(Unit::kTonne);
    expect(told.take() == "tree", "told once: the second time nothing changed");
    expect(vehicle.mass == 1500.0, "the value itself is stored in SI units and stays");

    const auto typed = Kr::KrPhysicalDimension::parse("1.75 t", Kr::kMass);
    expect(typed == 1750.0, "what people type, \"1.75 t\", is read as 1750 kg");
}

void printDifference(const KrData::ContainerDiff& difference) {
    for (const auto* path : difference.getRemovedFields())
        std::printf("  removed   %s\n", path->toString().c_str());
    const auto printItems = [](const char* what, const KrData::ContainerDiff::Items& items) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            const auto& field = *items.item(i)->getField();
            const auto value =
                field.isFieldArray() ? std::to_string(field.getChildren().size()) + " items" : Demo::valueText(field);
            std::printf("  %-8s  %s = %s\n", what, items.item(i)->getFieldPath().c_str(), value.c_str());
        }
    };
    printItems("added", difference.getAddedFields());
    printItems("modified", difference.getModifiedFields());
}

void showDifferences(Demo::Vehicle& vehicle) {
    heading("A changed copy, and what differs");
    const std::unique_ptr<KrData::Container> tuned(vehicle.tree.clone("Tuned", nullptr));
    expect(tuned->isEqual(vehicle.tree), "the clone has equal values");
    expect((*tuned)["Parameters"]["Mass"].isDynamic() && !vehicle.mass.isDynamic(),
           "its fields were produced, those of the original declared");

    auto& parameters = (*tuned)["Parameters"];
    parameters["Mass"].set(1320.0);
    parameters["Wheels"]["2"]["Pressure"].set(275e3);
    auto& equipment = static_cast<KrData::Container&>(parameters["Equipment"]);
    equipment.removeField("Roof box");
    equipment.add("Tow bar", 22.0)->setPhysicalDimension(Kr::kMass);
    expect(vehicle.mass == 1500.0 && vehicle.equipment.size() == 1, "changing the clone leaves the original alone");

    KrData::ContainerDiff difference("Tuning");
    difference.diff(vehicle.tree, *tuned);
    printDifference(difference);
    expect(difference.getRemovedFields().size() == 1 && difference.getAddedFields().size() == 1 &&
               difference.getModifiedFields().size() == 2,
           "one field was removed, one added, two modified; an array counts as one");

    std::printf("Applied to the original:\n");
    Told told;
    const auto watch = vehicle.tree.addObserver(reporter("tree", told));
    expect(difference.apply(vehicle.tree), "every entry was applied");
    expect(told.take() == "tree tree tree tree", "the tree heard of each of the four changes, once");
    expect(vehicle.mass == 1320.0 && vehicle.wheels.item(1)->pressure == 275e3, "members have the new values");
    expect(vehicle.tree.isEqual(*tuned), "the original equals the changed copy");
    difference.diff(vehicle.tree, *tuned);
    expect(!difference.hasDifferences(), "nothing differs any more");
}

}  // namespace

int main() {
    Demo::Vehicle vehicle;
    showTree(vehicle);
    showLookup(vehicle);
    showChanges(vehicle);
    showProperties(vehicle);
    showDifferences(vehicle);
    std::printf("\n%s\n", failures == 0 ? "Everything shown holds." : "Something shown does not hold.");
    return failures == 0 ? 0 : 1;
}
