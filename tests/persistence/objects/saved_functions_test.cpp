// Transfer functions of connections, through files and copies.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "kr/core/connections/connection.h"
#include "kr/data/field_access.h"
#include "kr/extension/input_output_container.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"

namespace saved_functions_test {

using garage::Extensions;
using garage::KrFile;
using garage::KrObject;
using garage::KrSmartPtr;
using garage::load;
using garage::make;
using garage::makeObject;
using garage::save;
using Kr::KrConnection;
using KrData::TransferFunction;
using KrData::Types;
using KrData::detail::FieldAccess;
using test_support::areSame;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using eExtrapolation = TransferFunction::eExtrapolation;

KrConnection& connect(KrSim::KrExtension& source, KrSim::KrExtension& sink) {
    return static_cast<KrConnection&>(
        *Kr::KrConnectionFactory::connect(source.getOutput("Force"), sink.getInput("Push")));
}

KrConnection& connectionTo(const KrSim::KrExtension& sink) {
    return static_cast<KrConnection&>(*FieldAccess::getIncomingConnections(*sink.getInput("Push")).front());
}

/// Numbers that no text of few digits holds, and all kinds of steps.
TransferFunction makeFunction() {
    const double tiny = std::numeric_limits<double>::denorm_min();
    return TransferFunction::gain(1.0 / 3.0, -0.0)
        .then(TransferFunction::table({{-1.0, tiny}, {0.1, 1e308}, {0.3, 0.2}}, TransferFunction::eInterpolation::kStep,
                                      {eExtrapolation::kLinear, eExtrapolation::kClamp}))
        .then(TransferFunction::curveThrough({{0.0, 0.0}, {1.0, 0.7}, {3.0, 0.1}},
                                             {eExtrapolation::kRepeat, eExtrapolation::kRepeat}));
}

class SavedFunctions : public testing::TestWithParam<int> {
protected:
    SavedFunctions() {
        _left->addOutput("Force", Types::kDouble)->set(0.6);
        _right->addInput("Push", Types::kDouble);
    }

    KrSmartPtr<KrSim::KrExtension> _left = make({}, "Left", 1);
    KrSmartPtr<KrSim::KrExtension> _right = make({}, "Right", 2);
};

TEST_P(SavedFunctions, ComeBackToTheLastBit) {
    ASSERT_TRUE(connect(*_left, *_right).setTransferFunction(makeFunction()));
    const auto expected = _right->getInput("Push")->toReal();
    const auto bytes = save({_left, _right}, GetParam());
    _left.reset();
    _right.reset();
    const auto loaded = load(bytes);
    EXPECT_THAT(loaded.problems, IsEmpty());
    ASSERT_EQ(loaded.objects.size(), 2U) << loaded.error;
    const auto* function = connectionTo(*loaded.objects[1]).getTransferFunction();
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(*function, makeFunction());
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
    loaded.objects[0]->getOutput("Force")->set(0.0);
    loaded.objects[0]->getOutput("Force")->set(0.6);
    EXPECT_EQ(loaded.objects[1]->getInput("Push")->toReal(), expected);
}

TEST_P(SavedFunctions, WaitWithTheirConnectionForTheOtherEnd) {
    ASSERT_TRUE(connect(*_left, *_right).setTransferFunction(TransferFunction::gain(2.0)));
    const auto right = save({_right}, GetParam());
    const auto left = save({_left}, GetParam());
    _left.reset();
    _right.reset();
    const auto first = load(save(load(right).objects, GetParam()));
    const auto second = load(left);
    EXPECT_EQ(*connectionTo(*first.objects[0]).getTransferFunction(), TransferFunction::gain(2.0));
}

INSTANTIATE_TEST_SUITE_P(Kinds, SavedFunctions, testing::Values(0, KrFile::kJson, KrFile::kXml), [](const auto& each) {
    return each.param == KrFile::kXml ? "Xml" : each.param == KrFile::kJson ? "Json" : "Binary";
});

class Functions : public SavedFunctions {};
INSTANTIATE_TEST_SUITE_P(In, Functions, testing::Values(KrFile::kJson), [](const auto&) { return "Json"; });

TEST_P(Functions, ThatAreCodeAreNamedWhenTheyAreNotSaved) {
    ASSERT_TRUE(connect(*_left, *_right).setTransferFunction([](double x) { return 2.0 * x; }));
    EXPECT_EQ(connectionTo(*_right).getTransferFunction(), nullptr);
    std::string bytes;
    {
        const LogCapture log;
        bytes = save({_left, _right}, GetParam());
        EXPECT_THAT(log.lines(), testing::Contains(testing::AllOf(
                                     testing::StartsWith("3 KrObjectSection: transfer functions that are code"),
                                     HasSubstr("'Left.Outputs.Force' -> 'Right.Inputs.Push'"))));
    }
    _left.reset();
    _right.reset();
    EXPECT_FALSE(connectionTo(*load(bytes).objects[1]).hasTransferFunction());
}

TEST_P(Functions, GoAlongWithClones) {
    const auto box = makeObject({}, "Box", 3);
    box->add(_left.get());
    box->add(_right.get());
    ASSERT_TRUE(connect(*_left, *_right).setTransferFunction(makeFunction()));
    const auto clone = box->clone();
    const auto* copy = static_cast<const KrObject&>(*clone).findExtensionByName("Right", false);
    ASSERT_NE(connectionTo(*copy).getTransferFunction(), nullptr);
    EXPECT_EQ(*connectionTo(*copy).getTransferFunction(), makeFunction());
}

TEST_P(Functions, OfFieldsThatTakeNoneAnyMoreKeepTheirConnectionWaiting) {
    ASSERT_TRUE(connect(*_left, *_right).setTransferFunction(TransferFunction::gain(2.0)));
    auto bytes = save({_left, _right}, GetParam());
    _left.reset();
    _right.reset();
    const auto place = bytes.find("\"Double\"", bytes.find("\"Push\""));
    bytes.replace(place, 8, "\"String\"");
    const auto value = bytes.find("\"Value\": ", place);
    bytes.replace(value, bytes.find('\n', value) - value, "\"Value\": \"none\"");
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U) << loaded.error;
    EXPECT_THAT(loaded.problems, ElementsAre(HasSubstr("is kept, but cannot be made now")));
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
}

struct DamageCase {
    const char* name;
    const char* what;
    const char* instead;
    const char* error;
};

class DamagedFunctions : public testing::TestWithParam<DamageCase> {};

TEST_P(DamagedFunctions, AreRefusedWithTheReason) {
    const auto& [name, what, instead, error] = GetParam();
    const auto left = make({}, "Left", 1);
    const auto right = make({}, "Right", 2);
    left->addOutput("Force", Types::kDouble);
    right->addInput("Push", Types::kDouble);
    ASSERT_TRUE(
        connect(*left, *right)
            .setTransferFunction(TransferFunction::gain(2.5).then(TransferFunction::table({{0.5, 0.0}, {1.5, 8.0}}))));
    auto bytes = save({left, right}, KrFile::kJson);
    const auto place = bytes.find(what, bytes.find("TransferFunction"));
    ASSERT_NE(place, std::string::npos) << bytes;
    bytes.replace(place, std::string(what).size(), instead);
    const LogCapture log;
    EXPECT_THAT(load(bytes).error, HasSubstr(error));
}

INSTANTIATE_TEST_SUITE_P(
    Of, DamagedFunctions,
    testing::Values(DamageCase{"Kind", "\"Gain\",", "\"Gin\",", "Gin"},
                    DamageCase{"KindNumber", "\"Gain\",", "7,", "'Kind' of a transfer function is the unknown 7"},
                    DamageCase{"FallingX", "0.5", "4.5", "step 2 (table): the x of point 2 is not above"},
                    DamageCase{"Ends", "\"Clamp\"", "\"Repeat\"", "one end repeats and the other does not"},
                    DamageCase{"FewerY", ",\n         8.0", "", "a transfer function has 2 X and 1 Y"}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace saved_functions_test
