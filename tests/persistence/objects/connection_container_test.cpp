#include "kr/application/connections/connection_container.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"

namespace connection_container_test {

using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrData::Types;
using KrSim::ConnectionContainer;
using test_support::areSame;
using test_support::LogCapture;
using testing::ElementsAre;

class Contained : public testing::TestWithParam<int> {};

/// Two motors, and a container of connections for them, in an application with a module for it.
struct Wired {
    Wired() {
        KrSim::registerExtensionType<ConnectionContainer>(kType);
        wiring = make(kType, "Wiring", 9);
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->insertModule(
            KrSim::KrSmartInterface<KrSim::ISimulatorModule>(module->getImplementationAs<KrSim::ISimulatorModule>()));
    }
    Wired(const Wired&) = delete;
    Wired& operator=(const Wired&) = delete;
    ~Wired() {
        application.reset();
        wiring.reset();
        KrSim::KrExtensionFactory::unregisterType(kType);
    }
    [[nodiscard]] ConnectionContainer& container() const { return *wiring->getImplementationAs<ConnectionContainer>(); }

    static inline const KrSim::KrFactoryKey kType{"5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a09", "Garage", "Wiring"};

    TypeScope types;
    KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
    KrSmartPtr<KrExtension> module =
        KrSim::KrExtensionFactory::create(KrSim::Keys::ConnectionModule::kInternalFactoryKey);
    KrSmartPtr<KrExtension> one = make(kMotorType, "One", 1);
    KrSmartPtr<KrExtension> other = make(kMotorType, "Other", 2);
    KrSmartPtr<KrExtension> wiring;
};

TEST(ConnectionsAsContent, AreMadeWhileTheContainerIsInTheApplication) {
    const Wired wired;
    auto& container = wired.container();
    motorOf(wired.one).speed = 2.0;
    ASSERT_TRUE(container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).pedal.getField()));
    ASSERT_TRUE(container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).mass.getField(),
                              {.gain = 10.0, .offset = 1.0}));
    EXPECT_EQ(motorOf(wired.other).pedal, 0.0);
    wired.application->add(wired.wiring.get());
    EXPECT_EQ(motorOf(wired.other).pedal, 2.0);
    EXPECT_EQ(motorOf(wired.other).mass, 21.0);
    EXPECT_TRUE(container.add(*motorOf(wired.other).speed.getField(), *motorOf(wired.one).pedal.getField()));
    ASSERT_NE(container.getConnection(2), nullptr);
    EXPECT_TRUE(container.remove(1));
    EXPECT_FALSE(container.remove(2));
    motorOf(wired.one).speed = 3.0;
    EXPECT_EQ(motorOf(wired.other).pedal, 3.0);
    EXPECT_EQ(motorOf(wired.other).mass, 21.0);
    wired.application->remove(wired.wiring.get());
    motorOf(wired.one).speed = 4.0;
    EXPECT_EQ(motorOf(wired.other).pedal, 3.0);
    EXPECT_EQ(container.size(), 2U);
}

TEST(ConnectionsAsContent, AreEnabledAndDisabledTogetherAndOneByOne) {
    const Wired wired;
    auto& container = wired.container();
    container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).pedal.getField());
    container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).mass.getField(), {.isEnabled = false});
    wired.application->add(wired.wiring.get());
    const auto set = [&](double speed) {
        motorOf(wired.one).speed = speed;
        return std::vector<double>{motorOf(wired.other).pedal, motorOf(wired.other).mass};
    };
    EXPECT_THAT(set(2.0), ElementsAre(2.0, 1.0));
    container.enabled = false;
    EXPECT_THAT(set(3.0), ElementsAre(2.0, 1.0));
    auto& second = *wired.wiring->findFieldFromPath("Parameters.Connections.Connection 2.Enabled");
    second.set(true);
    EXPECT_THAT(set(4.0), ElementsAre(2.0, 1.0));
    container.enabled = true;
    EXPECT_THAT(set(5.0), ElementsAre(5.0, 5.0));
}

TEST(ConnectionsAsContent, ThatCannotBeMadeAreErrorsWithTheReason) {
    const Wired wired;
    auto* colour = wired.other->addInput("Colour", Types::kColor);
    wired.container().add(*motorOf(wired.one).speed.getField(), *colour);
    const LogCapture log;
    wired.application->add(wired.wiring.get());
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn),
                ElementsAre(testing::AllOf(
                    testing::StartsWith("3 Wiring: 'One.Outputs.Speed' -> 'Other.Inputs.Colour' is not connected: "),
                    testing::HasSubstr("Color"))));
}

TEST(ConnectionsAsContent, AreOfOneKindOrAnError) {
    using Kr::eConnectionKind;
    const Wired wired;
    auto& container = wired.container();
    const auto add = [&](const KrSim::ContainedConnectionOptions& options) {
        container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).pedal.getField(), options);
    };
    add({});
    add({.isQueued = true});
    add({.isUnitDelay = true});
    add({.isInterpolated = true});
    add({.isQueued = true, .isUnitDelay = true});
    add({.isUnitDelay = true, .gain = 2.0});
    const LogCapture log;
    wired.application->add(wired.wiring.get());
    std::vector<eConnectionKind> kinds;
    for (const std::size_t i : {0U, 1U, 2U, 3U}) {
        ASSERT_NE(container.getConnection(i), nullptr) << i;
        kinds.push_back(Kr::KrConnectionFactory::findKind(*container.getConnection(i)));
    }
    EXPECT_THAT(kinds, ElementsAre(eConnectionKind::kDirect, eConnectionKind::kQueued, eConnectionKind::kUnitDelay,
                                   eConnectionKind::kInterpolated));
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn),
                ElementsAre(testing::HasSubstr("it can be only one of queued, a unit delay and interpolated"),
                            testing::HasSubstr("these fields take no gain and offset")));
}

TEST(ConnectionsAsContent, WhoseEndsAreMissingAreErrorsUntilContentComes) {
    const Wired wired;
    auto& container = wired.container();
    auto* late = wired.other->addInput("Late", Types::kDouble);
    container.add(*motorOf(wired.one).speed.getField(), *late);
    wired.other->removeInput("Late");
    const LogCapture log;
    wired.application->add(wired.wiring.get());
    EXPECT_THAT(log.lines(), ElementsAre("3 Wiring: 'One.Outputs.Speed' -> 'Other.Inputs.Late' is not connected: the "
                                         "sink does not exist\n"));
    EXPECT_EQ(wired.wiring->getErrorCount(), 1U);
    late = wired.other->addInput("Late", Types::kDouble);
    motorOf(wired.one).speed = 2.0;
    wired.application->add(wired.other.get());
    wired.application->update();
    EXPECT_EQ(late->toReal(), 2.0);
    EXPECT_EQ(wired.wiring->getErrorCount(), 0U);
}

TEST(ConnectionsAsContent, FollowChangesOfTheListWithTheNextFrame) {
    const Wired wired;
    auto& container = wired.container();
    container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).pedal.getField());
    wired.application->add(wired.wiring.get());
    motorOf(wired.one).speed = 2.0;
    wired.wiring->findFieldFromPath("Parameters.Connections.Connection.SinkField")->set<std::string>("Parameters.Mass");
    wired.application->update();
    motorOf(wired.one).speed = 3.0;
    EXPECT_EQ(motorOf(wired.other).pedal, 2.0);
    EXPECT_EQ(motorOf(wired.other).mass, 3.0);
}

TEST(ConnectionsAsContent, OfFieldsWithoutAnExtensionAreRefused) {
    const Wired wired;
    const KrData::Field<double> field("Loose");
    const LogCapture log;
    EXPECT_FALSE(wired.container().add(field, *motorOf(wired.one).pedal.getField()));
    EXPECT_THAT(log.lines(), ElementsAre("3 ConnectionContainer: 'Wiring' cannot hold a connection from 'Loose' to "
                                         "'Inputs.Pedal': both fields must belong to extensions.\n"));
    EXPECT_EQ(wired.container().size(), 0U);
}

TEST_P(Contained, ConnectionsAsContentAreSavedAsTheirListAndNotTwice) {
    const Wired wired;
    auto& container = wired.container();
    container.add(*motorOf(wired.one).speed.getField(), *motorOf(wired.other).pedal.getField(), {.gain = 2.0});
    const Extensions all{wired.one, wired.other, wired.wiring};
    const auto before = save(all, GetParam());
    container.connect();
    motorOf(wired.one).speed = 0.0;
    EXPECT_TRUE(areSame(save(all, GetParam()), before));
    const auto loaded = load(before);
    ASSERT_EQ(loaded.objects.size(), 3U) << loaded.error;
    auto& again = *loaded.objects[2]->getImplementationAs<ConnectionContainer>();
    EXPECT_EQ(again.connect(), 0U);
    motorOf(loaded.objects[0]).speed = 1.5;
    EXPECT_EQ(motorOf(loaded.objects[1]).pedal, 3.0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Contained, testing::Values(0, KrFile::kXml, KrFile::kJson));

}  // namespace connection_container_test
