#include "kr/extension/extension_properties.h"

#include <gmock/gmock.h>

#include "tests/persistence/objects/garage.h"
#include "tests/support/same_bytes.h"

namespace extension_properties_test {

using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrSim::ExtensionProperties;
using test_support::areSame;

class SavedProperties : public testing::TestWithParam<int> {
protected:
    TypeScope _types;
};

void addProperties(KrExtension& extension) {
    ExtensionProperties::set<std::string>(extension, "Author", "Ada & <Co>");
    ExtensionProperties::set<double>(extension, "Weight of wheels", 0.1 + 0.2);
    ExtensionProperties::set<KrMath::Vector3T<double>>(extension, "Place in the editor", {1.0, -0.0, 3.0});
    ExtensionProperties::of(extension).addContainer("Tags")->add<bool>("Heavy", true);
}

TEST_P(SavedProperties, PropertiesAreSavedWithTheirTypes) {
    const auto motor = make(kMotorType, "Motor", 1);
    addProperties(*motor);
    const auto bytes = save({motor}, GetParam());
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U) << loaded.error;
    const auto& again = *loaded.objects[0];
    EXPECT_EQ(ExtensionProperties::get<std::string>(again, "Author"), "Ada & <Co>");
    ASSERT_NE(ExtensionProperties::find(again), nullptr);
    EXPECT_TRUE(ExtensionProperties::find(again)->isEqual(*ExtensionProperties::find(*motor)));
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
}

TEST_P(SavedProperties, WithoutPropertiesFilesAreAsBefore) {
    const auto motor = make(kMotorType, "Motor", 1);
    const auto bytes = save({motor}, GetParam());
    ExtensionProperties::set<int>(*motor, "Count", 1);
    EXPECT_TRUE(ExtensionProperties::remove(*motor, "Count"));
    EXPECT_FALSE(ExtensionProperties::remove(*motor, "Count"));
    EXPECT_EQ(ExtensionProperties::find(*motor), nullptr);
    EXPECT_TRUE(areSame(save({motor}, GetParam()), bytes));
}

TEST(Properties, KeepTheirTypeAndRefuseOthersAndNamesWithoutText) {
    const auto motor = Kr::makeSmart<KrExtension>();
    EXPECT_TRUE(ExtensionProperties::set<int>(*motor, "Count", 1));
    EXPECT_TRUE(ExtensionProperties::set<int>(*motor, "Count", 2));
    EXPECT_FALSE(ExtensionProperties::set<double>(*motor, "Count", 3.0));
    EXPECT_FALSE(ExtensionProperties::set<double>(*motor, "", 3.0));
    EXPECT_EQ(ExtensionProperties::get<int>(*motor, "Count"), 2);
    EXPECT_EQ(ExtensionProperties::get<double>(*motor, "Count", -1.0), -1.0);
}

TEST(Properties, AreCopiedByClonesAndBeginInInstancesAsInTheirDefinition) {
    const auto definition = Kr::makeSmart<KrObject>();
    const auto wheel = make({}, "Wheel", 1);
    definition->add(wheel.get());
    for (auto* each : {static_cast<KrExtension*>(definition.get()), wheel.get()})
        addProperties(*each);
    const auto clone = wheel->clone();
    const auto instance = definition->instantiate();
    ExtensionProperties::set<std::string>(*wheel, "Author", "Bob");
    EXPECT_EQ(ExtensionProperties::get<std::string>(*clone, "Author"), "Ada & <Co>");
    EXPECT_EQ(ExtensionProperties::get<std::string>(*instance, "Author"), "Ada & <Co>");
    ExtensionProperties::set<std::string>(*instance->getExtension(0), "Author", "Eve");
    instance->sync();
    EXPECT_EQ(ExtensionProperties::get<std::string>(*instance->getExtension(0), "Author"), "Eve");
}

INSTANTIATE_TEST_SUITE_P(Kinds, SavedProperties, testing::Values(0, KrFile::kXml, KrFile::kJson));

}  // namespace extension_properties_test
