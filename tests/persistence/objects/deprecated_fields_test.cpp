#include <gmock/gmock.h>

#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"

namespace deprecated_fields_test {

using KrSim::detail::ExtensionAccess;
using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrData::Types;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class FormerNames : public testing::TestWithParam<int> {
protected:
    TypeScope _types;
};

/// A motor as an earlier release saved it: its pedal was called throttle, and a lever sets it.
std::string saveOldMotors(int flags) {
    const auto lever = make({}, "Lever", 2);
    auto* angle = lever->addOutput("Angle", Types::kDouble);
    const auto motor = make({}, "Motor", 1);
    ExtensionAccess::setCreationKey(*motor, kMotorType);
    auto* throttle = motor->addInput("Throttle", Types::kDouble);
    Kr::KrConnectionFactory::connect(angle, throttle);
    angle->set(0.5);
    return save({motor, lever}, flags);
}

TEST_P(FormerNames, AFieldIsLoadedByItsFormerNameWithItsConnections) {
    const auto bytes = saveOldMotors(GetParam());
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U) << loaded.error;
    EXPECT_THAT(loaded.problems, IsEmpty());
    auto& motor = motorOf(loaded.objects[0]);
    EXPECT_EQ(motor.pedal, 0.5);
    EXPECT_EQ(loaded.objects[0]->getInputContainer().size(), 1U);
    loaded.objects[1]->getOutput("Angle")->set(0.75);
    EXPECT_EQ(motor.pedal, 0.75);
    EXPECT_EQ(loaded.objects[0]->findFieldFromPath("Inputs.Throttle"), motor.pedal.getField());
}

TEST(DeprecatedFields, AreToldOnceForAllExtensionsOfAType) {
    const TypeScope types;
    const LogCapture log;
    const Extensions motors{make(kMotorType, "A", 1), make(kMotorType, "B", 2)};
    for (const auto& each : motors) {
        motorOf(each).mass.addDeprecatedName("Weight of DeprecatedFields");
        EXPECT_EQ(each->getParameter("Weight of DeprecatedFields"), motorOf(each).mass.getField());
        EXPECT_EQ(each->getParameter("Weight of DeprecatedFields"), motorOf(each).mass.getField());
    }
    EXPECT_THAT(log.lines(),
                ElementsAre("3 Container: field 'Parameters.Weight of DeprecatedFields' of type 'Motor' is deprecated; "
                            "use 'Parameters.Mass'.\n"));
}

TEST(DeprecatedFields, TakeOverWhatWasLoadedWithoutTheImplementation) {
    const auto proxy = make({}, "Motor", 1);
    proxy->addInput("Throttle", Types::kDouble)->set(0.5);
    const auto* motor = new Motor(proxy.get());
    EXPECT_EQ(motor->pedal, 0.5);
    EXPECT_EQ(proxy->getInputContainer().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FormerNames, testing::Values(0, KrFile::kXml, KrFile::kJson));

}  // namespace deprecated_fields_test
