#include <gtest/gtest.h>

#include "kr/data/field_access.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/versioning_registry.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"

namespace obsolete_types_test {

using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrSim::KrFactoryKey;
using Registry = KrSim::KrVersioningRegistry;
using Saved = Registry::SavedExtension;
using test_support::LogCapture;

const KrFactoryKey kSteamType{"5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a03", "Garage", "Steam engine"};
const KrFactoryKey kDieselType{"5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a04", "Garage", "Diesel"};

class ObsoleteTypes : public testing::Test {
protected:
    ~ObsoleteTypes() override {
        for (const auto& type : {kSteamType, kDieselType, kMotorType})
            Registry::unregisterType(type);
    }
    TypeScope _types;
};

/// A steam engine with 7 bytes of data, and a motor that it drives.
std::string saveSteamEngine(bool isObject) {
    auto steam = isObject ? KrSmartPtr<KrExtension>(makeObject({}, "Old", 1)) : make({}, "Old", 1);
    ExtensionAccess::setCreationKey(*steam, kSteamType);
    steam->addParameter("Weight", KrData::Types::kDouble)->set(12.0);
    auto* speed = steam->addOutput("Speed", KrData::Types::kDouble);
    ExtensionAccess::setDataVersion(*steam, 9);
    ExtensionAccess::setExtensionData(*steam, "5 cogs.");
    const auto motor = make(kMotorType, "Wheel", 2);
    Kr::KrConnectionFactory::connect(speed, motorOf(motor).pedal.getField());
    steam->addInput("Follower", Kr::KrID("Motor"))->set<KrExtension*>(motor.get());
    return save({steam, motor});
}

std::string describe(const KrExtension& extension) {
    auto text = extension.getCreationKey().name;
    for (const char* name : {"Weight", "Mass"}) {
        if (const auto* field = extension.getParameter(name)) text += std::string(" ") + name + "=" + field->toString();
    }
    for (const char* name : {"Driven", "Led"}) {
        const auto* field = extension.getInput(name);
        if (field != nullptr) text += std::string(" ") + name + "=" + field->toExtension()->getName();
    }
    if (const auto* motor = extension.getImplementationAs<Motor>()) {
        text += " " + std::to_string(motor->revolutions) + "/" + std::to_string(motor->loadedVersion);
    }
    if (extension.getErrorCount() > 0) text += " waits";
    return text;
}

void weigh(Saved& saved) {
    auto& parameters = static_cast<KrData::Container&>(saved.fields["Parameters"]);
    parameters["Weight"].setID("Mass");
    static_cast<KrData::Container&>(saved.fields["Inputs"])["Follower"].setID("Driven");
    saved.data = "30";
    saved.version = 1;
}

TEST_F(ObsoleteTypes, AreLoadedAsWhatReplacesThem) {
    const auto toMotor = [](Registry::Replacement function) {
        return [function = std::move(function)] { Registry::registerReplacement(kSteamType, kMotorType, function); };
    };
    const struct {
        const char* name;
        std::function<void()> prepare;
        const char* expected;
        const char* lastLog{""};
        bool isObject{false};
    } cases[] = {
        {"nothing known", [] {}, "Steam engine Weight=12 waits"},
        {"a new key", toMotor({}), "Motor Weight=12 Mass=1 5/9"},
        {"another type", toMotor(weigh), "Motor Mass=12 Driven=Wheel 30/1"},
        {"over another one",
         [] {
             Registry::registerReplacement(kDieselType, kMotorType, [](Saved& saved) { saved.data += "1"; });
             Registry::registerReplacement(kSteamType, kDieselType, weigh);
         },
         "Motor Mass=12 Driven=Wheel 301/1"},
        {"its upgrade steps go on",
         [] {
             Registry::registerVersion(kMotorType, "Fields", 2);
             for (const int from : {0, 1}) {
                 Registry::registerUpgrade(kMotorType, "Fields", from, [from](KrData::Container& fields) {
                     static_cast<KrData::Container&>(fields["Parameters"])["Mass"].set(from == 0 ? -1.0 : 100.0);
                     static_cast<KrData::Container&>(fields["Inputs"])["Driven"].setID("Led");
                 });
             }
             Registry::registerReplacement(kSteamType, kMotorType, [](Saved& saved) {
                 weigh(saved);
                 saved.versions["Fields"] = 1;
             });
         },
         "Motor Mass=100 Led=Wheel 30/1"},
        {"fails half-way", toMotor([](Saved& saved) {
             weigh(saved);
             throw std::runtime_error("rust");
         }),
         "Steam engine Weight=12 waits", "3 KrExtension: fatal error in 'Old' replaceObsoleteExtension() [rust]\n"},
        {"the other is missing", [] { Registry::registerReplacement(kSteamType, kDieselType, weigh); },
         "Steam engine Weight=12 waits",
         "3 KrExtensionFactory: Unable to create Garage.Diesel {5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a04}, extension is "
         "not "
         "registered.\n"},
        {"holds nothing below it", toMotor(weigh), "Steam engine Weight=12 waits", "", true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const auto bytes = saveSteamEngine(each.isObject);
        each.prepare();
        const LogCapture log;
        const auto loaded = load(bytes);
        ASSERT_EQ(loaded.objects.size(), 2U) << loaded.error;
        EXPECT_EQ(describe(*loaded.objects[0]), each.expected);
        const auto lines = log.lines();
        if (*each.lastLog != '\0') {
            EXPECT_EQ(lines.empty() ? "" : lines.back(), each.lastLog);
        }
        // Its place in the content is the same.
        EXPECT_EQ(loaded.objects[0]->getContentID(), KrContentID::createFromWords(7, 1));
        EXPECT_EQ(FieldAccess::getIncomingConnections(*motorOf(loaded.objects[1]).pedal.getField()).size(), 1U);
        for (const auto& type : {kSteamType, kDieselType, kMotorType})
            Registry::unregisterType(type);
        // What still waits has lost nothing.
        if (loaded.objects[0]->getErrorCount() > 0) {
            EXPECT_EQ(save(loaded.objects), bytes);
        }
    }
}

TEST_F(ObsoleteTypes, HaveOneReplacementThatDoesNotLeadBack) {
    EXPECT_FALSE(Registry::registerReplacement({}, kMotorType));
    EXPECT_FALSE(Registry::registerReplacement(kMotorType, {}));
    EXPECT_FALSE(Registry::registerReplacement(kMotorType, kMotorType));
    EXPECT_TRUE(Registry::registerReplacement(kSteamType, kDieselType));
    EXPECT_FALSE(Registry::registerReplacement(kSteamType, kMotorType));
    EXPECT_TRUE(Registry::registerReplacement(kDieselType, kMotorType));
    EXPECT_FALSE(Registry::registerReplacement(kMotorType, kSteamType));
    EXPECT_EQ(Registry::findReplacement(kSteamType), kMotorType);
    Registry::unregisterType(kDieselType);
    EXPECT_FALSE(Registry::findReplacement(kSteamType));
}

}  // namespace obsolete_types_test
