// Fields of one container that have one identifier: nothing forbids them, so copies keep them apart.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_array.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"

namespace twin_fields_test {

using Kr::KrSmartPtr;
using KrData::Container;
using KrData::Types;
using KrSim::KrExtension;
using KrSim::detail::ExtensionAccess;

/// "identifier#number=value" of each field, those below a container in parentheses.
std::string describe(const Container& container) {
    std::string text;
    for (const auto* field : container) {
        text += (text.empty() ? "" : " ") + field->getID().str() + "#" + std::to_string(field->getInternalIdentifier());
        text += field->getDataType() == Types::kContainer ? "(" + describe(static_cast<const Container&>(*field)) + ")"
                                                          : "=" + field->toString();
    }
    return text;
}

void addTwins(Container& container) {
    container.add<double>("Mass", 1.0);
    container.add<double>("Other", 2.0);
    container.add<double>("Mass", 3.0);
    container.add<std::string>("Mass", "four");
}

struct PlaceCase {
    const char* name;
    void (*fill)(Container& parameters);
    const char* text;
};

class TwinFields : public testing::TestWithParam<PlaceCase> {};

TEST_P(TwinFields, StayApartInAClone) {
    const auto source = Kr::makeSmart<KrExtension>();
    GetParam().fill(source->getParameterContainer());
    ASSERT_EQ(describe(source->getParameterContainer()), GetParam().text);
    EXPECT_EQ(describe(source->clone()->getParameterContainer()), GetParam().text);
}

TEST_P(TwinFields, TakeTheirOwnValuesFromAContainerLikeTheirs) {
    Container source("Source", nullptr, Types::kParameter);
    GetParam().fill(source);
    Container copy(source);
    source.reset();
    source = copy;
    EXPECT_EQ(describe(source), GetParam().text);
    EXPECT_TRUE(source.isEqual(copy));
}

INSTANTIATE_TEST_SUITE_P(
    Places, TwinFields,
    testing::Values(PlaceCase{"OnTop", addTwins, "Mass#1=1 Other#2=2 Mass#3=3 Mass#4=four"},
                    PlaceCase{"InAGroup", [](Container& parameters) { addTwins(*parameters.addContainer("Group")); },
                              "Group#1(Mass#1=1 Other#2=2 Mass#3=3 Mass#4=four)"},
                    PlaceCase{"Groups",
                              [](Container& parameters) {
                                  parameters.addContainer("Group")->add<int>("Count", 1);
                                  parameters.addContainer("Group")->add<int>("Count", 2);
                              },
                              "Group#1(Count#1=1) Group#2(Count#1=2)"},
                    PlaceCase{"InItemsOfAnArray",
                              [](Container& parameters) {
                                  addTwins(*(new KrData::FieldArray<Container>("Items", &parameters))->append());
                              },
                              "Items#1(1#1(Mass#1=1 Other#2=2 Mass#3=3 Mass#4=four))"}),
    test_support::caseName);

struct Weighing : KrSim::IExtension {
    explicit Weighing(KrExtension* proxy) : IExtension(proxy, 1) {}
    KrSim::Parameter<double> mass{this, "Mass"};
    KrSim::Parameter<double> width{this, "Width"};
};

class TwinsOfDeclaredFields : public testing::Test {
protected:
    TwinsOfDeclaredFields() {
        KrSim::registerExtensionType<Weighing>(_key);
        _source = KrSim::KrExtensionFactory::create(_key);
        auto& parameters = _source->getParameterContainer();
        (*parameters.insert(parameters.begin(), "Mass", Types::kDouble))->set(5.0);
        _source->getImplementationAs<Weighing>()->mass = 3.0;
    }
    ~TwinsOfDeclaredFields() override {
        _source.reset();
        KrSim::KrExtensionFactory::unregisterType(_key);
    }

    const KrSim::KrFactoryKey _key{"0a1b2c3d-0000-4000-8000-000000000005", "Test", "Weighing"};
    KrSmartPtr<KrExtension> _source;
};

TEST_F(TwinsOfDeclaredFields, LeaveTheImplementationItsOwnField) {
    const auto copy = _source->clone();
    EXPECT_EQ(describe(copy->getParameterContainer()), "Mass#3=5 Mass#1=3 Width#2=0");
    EXPECT_EQ(copy->getImplementationAs<Weighing>()->mass, 3.0);
}

TEST_F(TwinsOfDeclaredFields, GetTheirOwnValuesFromAState) {
    const KrSim::KrExtensionState state(*_source);
    const auto other = _source->clone();
    auto& parameters = other->getParameterContainer();
    parameters.insert(parameters.begin() + 1, "Between", Types::kDouble);
    parameters[0].set(0.0);
    other->getImplementationAs<Weighing>()->mass = 0.0;
    ExtensionAccess::restoreState(*other, state);
    EXPECT_EQ(describe(parameters), "Mass#3=5 Between#4=0 Mass#1=3 Width#2=0");
}

TEST(ConnectedTwins, AreConnectedAlikeInAClone) {
    const auto object = Kr::makeSmart<KrSim::KrObject>();
    const auto engine = Kr::makeSmart<KrExtension>();
    const auto wheel = Kr::makeSmart<KrExtension>();
    for (const auto& each : {engine, wheel})
        object->add(each.get());
    auto& outputs = engine->getOutputContainer();
    auto& inputs = wheel->getInputContainer();
    for (const double value : {1.0, 2.0}) {
        outputs.add<double>("Torque", value);
        inputs.add<double>("Torque");
    }
    ASSERT_NE(Kr::KrConnectionFactory::connect(&outputs[1], &inputs[1]), nullptr);
    const auto copy = object->clone();
    const auto& copied = static_cast<KrSim::KrObject&>(*copy);
    copied.getExtension(0)->getOutputContainer()[0].set(10.0);
    copied.getExtension(0)->getOutputContainer()[1].set(20.0);
    EXPECT_EQ(describe(copied.getExtension(1)->getInputContainer()), "Torque#1=0 Torque#2=20");
}

}  // namespace twin_fields_test
