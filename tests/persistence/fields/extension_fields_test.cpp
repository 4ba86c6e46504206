#include <gtest/gtest.h>

#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/typed_field.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/support/same_bytes.h"

namespace extension_fields_test {

using KrData::detail::FieldAccess;
using KrData::detail::ProxyAccess;
using KrSim::detail::ExtensionAccess;
using namespace field_trees;  // NOLINT(google-build-using-namespace): what this file is about
using KrData::Container;
using KrData::Field;
using KrData::Types;
using KrSim::KrExtension;

class Axle final : public Container {
public:
    explicit Axle(const Kr::KrID& id, Container* parent = nullptr) : Container(id, parent) {}
    ~Axle() override { _detachFromEverything(); }
    Field<double> width{"Width", this, 1.5};
};

/// Declares a field of each kind.
class Vehicle final : public KrSim::IExtension {
public:
    explicit Vehicle(KrExtension* owner, int version = 1) : IExtension(owner, version), _group(groupOf(*owner)) {}

    KrSim::Input<double> force{this, "Force", {.value = 1, .min = 0, .max = 10, .description = "declared"}};
    KrSim::Input<int> gear{this, "Gear", {.value = 2}};
    KrSim::Output<float> speed{this, "Speed"};
    KrSim::Parameter<bool> isOn{this, "Is on"};
    KrSim::Parameter<std::string> text{this, "Text"};
    KrSim::Parameter<Kr::KrTransform> place{this, "Place"};
    KrSim::Parameter<KrExtension*> target{this, "Target"};

    static Container& groupOf(KrExtension& owner) { return owner.getFieldsContainer().getParameters(); }

private:
    Container& _group;

public:
    KrData::FieldArray<Axle> axles{"Axles", &_group};
    KrData::FieldArray<Field<int>> teeth{"Teeth", &_group};
    KrData::Vector<double> curve{"Curve", &_group};
    KrData::Vector<Kr::KrEnum> gears{"Gears", &_group};
    KrData::Proxy control{"Proxy", Types::kUnknown, &_group};
    Container details{"Details", &_group};
    Field<double> depth{"Depth", &details};
};

struct Loaded {
    Kr::KrSmartPtr<KrExtension> extension = Kr::makeSmart<KrExtension>();
    KrPersistence::FieldReadContext context;

    void load(const std::string& bytes, int version) {
        std::unique_ptr<Container> fields;
        readFrom<Binary>(bytes, [&](auto& reader) { fields = KrPersistence::readContainer(reader, "Field", context); });
        ExtensionAccess::setDataVersion(*extension, version);
        ExtensionAccess::loadImplementation(*extension, fields.get());
    }
    [[nodiscard]] std::string savedAgain() const {
        return saved<Binary>(extension->getFieldsContainer(), {context.references});
    }
};

void change(KrExtension& extension, TreeMaker& maker) {
    auto& vehicle = static_cast<Vehicle&>(*extension.getImplementation());
    for (int i = 0; i < 3; ++i)
        maker.change(*vehicle.axles.append());
    vehicle.axles.remove(1);
    vehicle.axles.setSizeRange(1, 4);
    vehicle.teeth.append()->setValue(7);
    vehicle.curve.setItems({1, 2, -0.0});
    vehicle.gears.append(Kr::KrEnum::_fromStored("Gone::eGear", 1, "One"));
    ProxyAccess::addStoredLink(vehicle.control, KrSim::KrContentReference(), "Parameters.Not there");
    auto& fields = extension.getFieldsContainer();
    for (auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters(), &vehicle.details})
        maker.change(*group);
    // Another order than that of the declarations.
    auto& first = fields.getInputs().at(0);
    auto& second = fields.getInputs().at(1);
    FieldAccess::setInternalIdentifier(first, 2);
    FieldAccess::setInternalIdentifier(second, 1);
}

// Finds what gets lost between a file and the fields that an implementation declares.
TEST(ExtensionFields, ComeBackIntoTheSameVersionWhole) {
    for (std::uint32_t seed = 1; seed <= 100; ++seed) {
        auto original = Kr::makeSmart<KrExtension>();
        new Vehicle(original.get());
        original->setName("Car");
        TreeMaker maker(seed);
        change(*original, maker);
        const auto bytes = saved<Binary>(original->getFieldsContainer());

        Loaded again;
        new Vehicle(again.extension.get());
        again.load(bytes, 1);
        ASSERT_TRUE(test_support::areSame(again.savedAgain(), bytes)) << "seed " << seed;

        const auto& group = original->getParameterContainer();
        Loaded without;
        ExtensionAccess::createUnknownImplementation(*without.extension);
        without.load(bytes, 1);
        // One level up the path of references has a step less.
        for (auto& each : without.context.references)
            each.fieldPath.erase(0, each.fieldPath.find('.') + 1);
        const auto kept = saved<Binary>(without.extension->getParameterContainer(), {without.context.references});
        ASSERT_TRUE(test_support::areSame(kept, saved<Binary>(group))) << "without a plug-in, seed " << seed;
    }
}

TEST(ExtensionFields, OfAnotherVersionTakeValuesOnly) {
    auto original = Kr::makeSmart<KrExtension>();
    auto* old = new Vehicle(original.get());
    old->force.getField()->setRange(0, 100);
    old->force.getField()->setDescription("old");
    old->force.set(50.0);
    Loaded again;
    auto* vehicle = new Vehicle(again.extension.get(), 2);
    again.load(saved<Binary>(original->getFieldsContainer()), 1);
    EXPECT_EQ(vehicle->force.getField()->getMaximum(), 10);
    EXPECT_EQ(vehicle->force.getField()->getDescription(), "declared");
    EXPECT_EQ(vehicle->force.getField()->as<double>()->getValue(), 50) << "loaded values are not clamped";
}

}  // namespace extension_fields_test
