#include "kr/core/enum.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "kr/core/physical_dimension.h"
#include "kr/platform/log.h"
#include "tests/support/log_capture.h"

namespace enum_test {
enum class eGear { kPark, kDrive, kReverse = -1 };
enum class eFuel { kPetrol, kDiesel };
enum class eLate { kFirst, kSecond };
enum class eUnknown { kOnly };
}  // namespace enum_test

KR_REGISTER_ENUM(enum_test::eGear, {enum_test::eGear::kPark, "Park"}, {enum_test::eGear::kDrive, "Drive"},
                 {enum_test::eGear::kReverse, "Reverse"});
KR_REGISTER_ENUM(enum_test::eFuel, {enum_test::eFuel::kPetrol, "Petrol"}, {enum_test::eFuel::kDiesel, "Diesel"});

namespace enum_test {

using Kr::KrEnum;
using EnumType = KrSim::KrEnumTable::EnumType;
using testing::ElementsAre;

// Made before main: the enumeration exists in any order of initialisation.
const KrEnum earlyLevel(Kr::eLogLevel::kWarn);

std::string describe(const KrEnum& value) {
    return std::to_string(value) + " '" + value.toString() + "' " + (value.getType() ? "typed " : "untyped ") +
           value.getTypeString();
}

EnumType lateType() {
    return EnumType::of<eLate>("enum_test::eLate", {{eLate::kFirst, "First"}});
}

TEST(Enum, BuiltInEnumerationsAreThereFromTheStart) {
    EXPECT_EQ(describe(earlyLevel), "3 'Warn' typed Kr::eLogLevel");
    EXPECT_THAT(KrEnum::getEnumeration("Kr::eLogLevel")->getValues(),
                ElementsAre(std::pair(0, "Off"), std::pair(1, "Fatal"), std::pair(2, "Error"), std::pair(3, "Warn"),
                            std::pair(4, "Info"), std::pair(5, "Debug"), std::pair(6, "Trace"), std::pair(7, "All")));
    const KrEnum hint(Kr::KrPhysicalDimension::eDimensionHint::kKilometrePerHour);
    EXPECT_EQ(hint.toString(), "Kilometre per hour");
}

TEST(Enum, ReadsAndComparesAsItsOwnTypeOnly) {
    const KrEnum park(eGear::kPark);
    EXPECT_EQ(park.get<eGear>(), eGear::kPark);
    EXPECT_EQ(park.get<eFuel>(), std::nullopt);
    EXPECT_EQ(park, KrEnum(typeid(eGear), 0));
    for (const KrEnum& other : {KrEnum(eFuel::kPetrol), KrEnum(eGear::kDrive), KrEnum()})
        EXPECT_FALSE(park == other) << other.toString();
    EXPECT_FALSE(KrEnum(eUnknown::kOnly) == KrEnum());
    EXPECT_EQ(describe(KrEnum(eUnknown::kOnly)), "0 '' untyped enum_test::eUnknown");
    EXPECT_EQ(KrEnum(), KrEnum());
}

TEST(Enum, AssignmentFollowsTheTypes) {
    struct Case {
        KrEnum target, source;
        const char* result;
    };
    const KrEnum park(eGear::kPark), reverse(eGear::kReverse), diesel(eFuel::kDiesel);
    const test_support::LogCapture log;
    for (const auto& [before, source, result] : {
             Case{park, reverse, "-1 'Reverse' typed enum_test::eGear"},
             Case{park, diesel, "0 'Park' typed enum_test::eGear"},
             Case{park, KrEnum(), "0 '' untyped "},
             Case{park, KrEnum(typeid(eUnknown), 5), "5 '' untyped enum_test::eUnknown"},
             Case{KrEnum(), diesel, "1 'Diesel' typed enum_test::eFuel"},
         }) {
        KrEnum target = before;
        target = source;
        EXPECT_EQ(describe(target), result);
    }
    EXPECT_THAT(log.lines(), ElementsAre("3 KrEnum: Cannot assign a enum_test::eFuel to a enum_test::eGear variable."));
}

TEST(Enum, SetsByTextAndNumberWhatTheEnumerationKnows) {
    const test_support::LogCapture log;
    KrEnum gear(eGear::kPark);
    EXPECT_TRUE(gear.fromString("Reverse"));
    EXPECT_EQ(describe(gear), "-1 'Reverse' typed enum_test::eGear");
    EXPECT_TRUE(gear.setValue(1));
    EXPECT_FALSE(gear.fromString("%s"));
    EXPECT_TRUE(gear.setValue(2));
    EXPECT_EQ(describe(gear), "1 'Drive' typed enum_test::eGear");
    KrEnum unknown(eUnknown::kOnly);
    EXPECT_FALSE(unknown.fromString("Only"));
    EXPECT_TRUE(unknown.setValue(8));
    EXPECT_EQ(describe(unknown), "8 '' untyped enum_test::eUnknown");
    EXPECT_FALSE(KrEnum().fromString(""));
    EXPECT_THAT(log.lines(),
                ElementsAre("3 KrEnum:: Cannot find value %s in enumeration enum_test::eGear.\n",
                            "3 KrEnum: 2 is not a valid enum value for enum_test::eGear.\n",
                            "3 KrEnum::setValue can not work on type enum_test::eUnknown that is not registered in the "
                            "reflection.\n"));
}

// As when a plug-in is loaded after the content that uses its enumeration, unloaded, and loaded again.
TEST(Enum, FollowsTheRegistrationOfItsType) {
    KrEnum value(eLate::kFirst);
    EXPECT_EQ(describe(value), "0 '' untyped enum_test::eLate");
    auto registration = std::make_unique<KrEnum::Register>(lateType());
    EXPECT_EQ(describe(value), "0 'First' typed enum_test::eLate");
    EXPECT_TRUE(value.fromString("First"));
    registration.reset();
    EXPECT_EQ(describe(value), "0 'First' untyped enum_test::eLate");
    EXPECT_EQ(value.get<eLate>(), std::nullopt);
    const EnumType changed = EnumType::of<eLate>("enum_test::eLate", {{eLate::kFirst, "Primo"}});
    registration = std::make_unique<KrEnum::Register>(changed);
    EXPECT_EQ(describe(value), "0 'Primo' typed enum_test::eLate");
    EXPECT_EQ(value, KrEnum(eLate::kFirst));
}

TEST(EnumTable, CountsTheModulesThatRegisterOneEnumeration) {
    auto host = std::make_unique<KrEnum::Register>(lateType());
    auto plugIn = std::make_unique<KrEnum::Register>(lateType());
    host.reset();
    EXPECT_EQ(describe(KrEnum(eLate::kFirst)), "0 'First' typed enum_test::eLate");
    plugIn.reset();
    EXPECT_FALSE(KrEnum::isTypeEnum(typeid(eLate)));
}

TEST(EnumTable, RefusesASecondNameAndASecondType) {
    const test_support::LogCapture log;
    {
        const KrEnum::Register otherName(EnumType::of<eGear>("Gear", {}));
        const KrEnum::Register otherType(EnumType::of<eLate>("enum_test::eGear", {}));
    }
    EXPECT_EQ(KrEnum::getEnumeration("Gear"), nullptr);
    EXPECT_FALSE(KrEnum::isTypeEnum(typeid(eLate)));
    EXPECT_EQ(KrEnum(eGear::kDrive).toString(), "Drive");
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(EnumTable, IsReadWhileAnEnumerationComesAndGoes) {
    const KrEnum shared(eLate::kFirst);
    const auto read = [&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const std::string& text = shared.toString();
            ASSERT_TRUE(text.empty() || text == "First");
            ASSERT_EQ(KrEnum(eGear::kDrive).toString(), "Drive");
        }
    };
    const std::jthread first(read), second(read);
    for (int i = 0; i < 500; ++i) {
        const KrEnum::Register registration(lateType());
        EXPECT_EQ(KrEnum(eLate::kFirst).toString(), "First");
    }
}

}  // namespace enum_test
