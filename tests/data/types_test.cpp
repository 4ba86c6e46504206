#include "kr/data/types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "kr/data/extension_field.h"
#include "kr/data/i_extension_facts.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace types_test {

using namespace test_support;
using KrData::ExtensionField;

/// A data type as it is written into content.
struct DataType {
    const char* name;
    const std::type_info* value{nullptr};  // null for a type without a value
    const char* interfaceId{""};           // empty for a type that is no interface
};
const std::map<int, DataType> kDataTypes{
    {0, {"Unknown data type"}},
    {1, {"Integer", &typeid(int)}},
    {2, {"Boolean", &typeid(bool)}},
    {3, {"Double", &typeid(double)}},
    {4, {"Vector 3", &typeid(KrMath::Vector3T<double>)}},
    {5, {"Color", &typeid(Kr::KrColor)}},
    {6, {"String", &typeid(std::string)}},
    {7, {"Transform", &typeid(Kr::KrTransform)}},
    {8, {"Unsigned Integer", &typeid(unsigned int)}},
    {11, {"Short Integer", &typeid(short)}},
    {12, {"Unsigned Short Integer", &typeid(unsigned short)}},
    {24, {"Enumeration", &typeid(Kr::KrEnum)}},
    {25, {"Filename", &typeid(Kr::KrString<512>)}},
    {26, {"Data Container"}},
    {27, {"Extension Pointer", &typeid(KrSim::KrExtension*)}},
    {29, {"Quaternion", &typeid(KrMath::QuaternionT<double>)}},
    {30, {"Material Pointer", &typeid(KrGraphics::Material*)}},
    {31, {"Vector"}},
    {32, {"Vector Item"}},
    {33, {"Vector 2", &typeid(KrMath::Vector2T<double>)}},
    {34, {"Matrix 4x4", &typeid(KrMath::Matrix44T<double>)}},
    {35, {"Vector 4", &typeid(KrMath::Vector4T<double>)}},
    {36, {"Part", nullptr, "KrDynamics::Part"}},
    {37, {"Assembly", nullptr, "KrDynamics::Assembly"}},
    {38, {"Attachment", nullptr, "KrDynamics::Attachment"}},
    {39, {"Attachment Point", nullptr, "KrDynamics::AttachmentPoint"}},
    {41, {"Constraint", nullptr, "KrDynamics::Constraint"}},
    {42, {"Collision Geometry", nullptr, "KrDynamics::CollisionGeometry"}},
    {43, {"Mechanism", nullptr, "KrDynamics::Mechanism"}},
    {44, {"Graphics Node", nullptr, "KrGraphics::Node"}},
    {45, {"Graphics Geometry", nullptr, "KrGraphics::Geometry"}},
    {46, {"Graphics Material", nullptr, "KrGraphics::Material"}},
    {47, {"Texture", nullptr, "KrGraphics::Texture"}},
    {48, {"Proxy"}},
    {49, {"Simulator Module", nullptr, "KrSim::ISimulatorModule"}},
    {50, {"Skeleton", nullptr, "KrGraphics::Skeleton"}},
    {51, {"Float", &typeid(float)}},
    {52, {"Vector 3 float", &typeid(KrMath::Vector3T<float>)}},
    {53, {"Quaternion float", &typeid(KrMath::QuaternionT<float>)}},
    {54, {"Matrix44 float", &typeid(KrMath::Matrix44T<float>)}},
};

TEST(Types, NameMapAndProduceEveryNumber) {
    Container parent("Parent", nullptr, Types::kInput);
    for (int number = 0; number <= 255; ++number) {
        SCOPED_TRACE(number);
        parent.clear();
        const auto dataType = static_cast<Types::DataTypeEnum>(number);
        const auto known = kDataTypes.find(number);
        const DataType given = known != kDataTypes.end() ? known->second : DataType{"Invalid data type"};
        EXPECT_STREQ(Types::nameFor(dataType), given.name);
        EXPECT_EQ(Types::mapType(dataType), given.value ? *given.value : typeid(void));
        EXPECT_EQ(Types::mapType(given.value ? *given.value : typeid(long)), given.value ? number : 0);

        const bool isReference = *given.interfaceId != '\0';
        FieldBase* field = Types::produce(dataType, "Field", &parent);
        ASSERT_EQ(field != nullptr,
                  given.value || isReference || dataType == Types::kContainer || dataType == Types::kProxy);
        ASSERT_EQ(parent.size(), field ? 1U : 0U);
        if (!field) continue;
        EXPECT_TRUE(field->isDynamic());
        EXPECT_EQ(field->getDataType(), isReference ? Types::kExtension : dataType);
        EXPECT_EQ(field->getFieldType(), Types::kInput);
        const auto* reference = dynamic_cast<ExtensionField*>(field);
        EXPECT_EQ(reference ? reference->getInterfaceId().str() : "", given.interfaceId);
        const auto* same = given.value ? Types::produce(*given.value, "Same", &parent) : field;
        EXPECT_EQ(same->getDataType(), field->getDataType());
    }
    EXPECT_EQ(Types::produce(typeid(long), "Field", &parent), nullptr);
    const char* roles[] = {"Field", "Input", "Output", "Parameter", "Undefined", "Invalid field type"};
    for (int number = 0; number < 6; ++number)
        EXPECT_STREQ(Types::nameFor(static_cast<Types::FieldTypeEnum>(number)), roles[number]);
    EXPECT_STREQ(Types::nameFor(static_cast<Types::FieldTypeEnum>(-1)), "Invalid field type");
}

TEST(ExtensionFields, KeepTheirInterfaceInClones) {
    Container parent("Parent");
    const FieldBase* field = parent.addExtensionField("Wheel", "Demo::IWheel");
    ExtensionField likeness("Likeness", "Demo::IOther");
    likeness._cloneFrom(*field->clone("Copy", &parent));
    EXPECT_EQ(likeness.getInterfaceId().str(), "Demo::IWheel");
}

/// Extensions of which data/ sees addresses only: one with an implementation, one without.
class InterfaceTypes : public testing::Test {
protected:
    InterfaceTypes() {
        struct Facts final : KrData::IExtensionFacts {
            [[nodiscard]] KrSim::IExtension* getImplementation(KrSim::KrExtension& extension) const override {
                return reinterpret_cast<int*>(&extension) == &_whole ? reinterpret_cast<KrSim::IExtension*>(&_half)
                                                                     : nullptr;
            }
        };
        static const Facts facts;
        Kr::UpperLayer<KrData::IExtensionFacts>::install(&facts);
    }
    ~InterfaceTypes() override {
        Kr::UpperLayer<KrData::IExtensionFacts>::install(nullptr);
        Types::_unregisterInterfaceFieldType("Demo::IWheel");
    }

    KrSim::KrExtension* whole = reinterpret_cast<KrSim::KrExtension*>(&_whole);
    KrSim::KrExtension* empty = reinterpret_cast<KrSim::KrExtension*>(&_empty);
    Kr::KrID wheel{"Demo::IWheel"};

    static inline int _whole, _empty, _half;
};

TEST_F(InterfaceTypes, AreNamedWhileTheyAreRegistered) {
    EXPECT_EQ(Types::nameFor(wheel), "Extension Pointer");
    EXPECT_EQ(Types::_registerInterfaceFieldType("Demo::IWheel", "Wheel", {}), wheel);
    EXPECT_EQ(Types::nameFor(wheel), "Wheel");
    Types::_registerInterfaceFieldType("Demo::IWheel", "Big wheel", {});
    EXPECT_EQ(Types::nameFor(wheel), "Big wheel");
    Types::_unregisterInterfaceFieldType("Demo::IWheel");
    Types::_unregisterInterfaceFieldType("Demo::IWheel");
    EXPECT_EQ(Types::nameFor(wheel), "Extension Pointer");
}

TEST_F(InterfaceTypes, LetTheirPredicateDecideOnAnImplementation) {
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel)) << "not registered";
    Types::_registerInterfaceFieldType("Demo::IWheel", "Wheel", {});
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel)) << "without a predicate";
    KrSim::IExtension* asked = nullptr;
    bool answer = true;
    Types::_registerInterfaceFieldType("Demo::IWheel", "Wheel", [&](KrSim::IExtension* implementation) {
        asked = implementation;
        return answer;
    });
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(nullptr, wheel));
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(empty, wheel));
    EXPECT_EQ(asked, nullptr) << "never asked of nothing";
    EXPECT_TRUE(ExtensionField("Field", wheel).accepts(whole));
    EXPECT_EQ(reinterpret_cast<int*>(asked), &_half);
    answer = false;
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel));
    answer = true;
    Kr::UpperLayer<KrData::IExtensionFacts>::install(nullptr);
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel)) << "no extension layer";
}

TEST_F(InterfaceTypes, APredicateMayThrowOrUnregisterItself) {
    const LogCapture log;
    Types::_registerInterfaceFieldType("Demo::IWheel", "Wheel",
                                       [](KrSim::IExtension*) -> bool { throw std::runtime_error("flat tyre"); });
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel));
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(testing::AllOf(testing::StartsWith("3 "), testing::HasSubstr("[flat tyre]\n"))));
    const auto witness = std::make_shared<bool>(true);
    Types::_registerInterfaceFieldType("Demo::IWheel", "Wheel", [witness](KrSim::IExtension*) {
        Types::_unregisterInterfaceFieldType("Demo::IWheel");
        return *witness;
    });
    EXPECT_TRUE(Types::extensionIsInterfaceFieldType(whole, wheel));
    EXPECT_FALSE(Types::extensionIsInterfaceFieldType(whole, wheel));
}

}  // namespace types_test
