#include <gmock/gmock.h>

#include "kr/content/content_reference.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/vector.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"

namespace field_value_test {

using field_trees::Binary;
using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::detail::ProxyAccess;

std::string bytesOf(const FieldBase& field) {
    return field_trees::written<Binary>([&](auto& writer) { KrPersistence::writeValue(writer, "Value", field); });
}

bool readInto(FieldBase& field, const std::string& bytes, KrPersistence::FieldReadContext& context) {
    bool isTaken = false;
    field_trees::readFrom<Binary>(
        bytes, [&](auto& reader) { isTaken = KrPersistence::readValue(reader, "Value", field, context); });
    return isTaken;
}

bool readInto(FieldBase& field, const std::string& bytes) {
    KrPersistence::FieldReadContext context;
    return readInto(field, bytes, context);
}

// Finds values that a likeness of the tree does not get back.
TEST(FieldValues, ComeBackIntoACopyOfTheTree) {
    const test_support::LogCapture log;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        field_trees::TreeMaker maker(seed);
        Container tree("Tree");
        maker.change(tree);
        const std::unique_ptr<Container> copy(tree.clone(nullptr));
        copy->reset();
        const auto bytes = bytesOf(tree);
        EXPECT_TRUE(readInto(*copy, bytes)) << "seed " << seed;
        ASSERT_TRUE(test_support::areSame(bytesOf(*copy), bytes)) << "seed " << seed;
    }
}

TEST(FieldValues, OfOtherTypesAreConvertedOrRefused) {
    const test_support::LogCapture log;
    Field<int> whole("A", nullptr, 7);
    Field<double> real("B");
    Field<Kr::KrTransform> place("C");
    Container group("D");
    KrData::Vector<float> items("E", nullptr, {1});
    KrData::Vector<double> others("F");
    EXPECT_TRUE(readInto(real, bytesOf(whole)));
    EXPECT_EQ(real.getValue(), 7);
    EXPECT_FALSE(readInto(place, bytesOf(whole)));
    EXPECT_FALSE(readInto(group, bytesOf(whole)));
    EXPECT_FALSE(readInto(whole, bytesOf(group)));
    EXPECT_FALSE(readInto(others, bytesOf(items)));
}

TEST(FieldValues, GoToTheFieldOfTheNameAndMakeNone) {
    Container saved("Saved");
    saved.add<int>("A", 1);
    saved.add<int>("Gone", 2);
    saved.addContainer("Gone, too")->add<int>("A", 3);
    saved.add<int>("B", 4);
    Container now("Now");
    auto* b = now.add<int>("B");
    auto* a = now.add<int>("A");
    EXPECT_FALSE(readInto(now, bytesOf(saved))) << "some found no field";
    EXPECT_EQ(now.size(), 2U);
    EXPECT_EQ(a->getValue(), 1);
    EXPECT_EQ(b->getValue(), 4);
}

TEST(FieldValues, AreNotClampedAndHeardOfOnce) {
    Container tree("Tree");
    auto* field = tree.add<double>("A", 50);
    const auto bytes = bytesOf(tree);
    field->setRange(0, 10);
    field->setValue(3);
    int heard = 0;
    const auto connection = tree.addObserver([&](const FieldBase&) { ++heard; });
    EXPECT_TRUE(readInto(tree, bytes));
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(field->getValue(), 50);
}

TEST(FieldValues, ResizeArraysWithinTheirRange) {
    KrData::FieldArray<Field<int>> saved("Saved");
    KrData::FieldArray<Field<int>> now("Now");
    for (const int value : {1, 2, 3})
        saved.append()->setValue(value);
    for (int i = 0; i < 5; ++i)
        now.append();
    EXPECT_TRUE(readInto(now, bytesOf(saved)));
    EXPECT_TRUE(now.isEqual(saved));
    now.resize(1);
    now.setSizeRange(0, 2);
    EXPECT_FALSE(readInto(now, bytesOf(saved)));
    EXPECT_EQ(now.size(), 2U);
}

TEST(FieldValues, ReferToExtensionsThatAreThereAndNameTheOthers) {
    field_trees::Extensions content;
    const auto id = KrSim::KrContentID::createFromWords(1, 2);
    const auto goneID = KrSim::KrContentID::createFromWords(3, 4);
    auto* extension = content.add(id);
    Container tree("Tree");
    auto* group = tree.addContainer("Group");
    auto* field = group->add<KrSim::KrExtension*>("Target", extension);
    auto* vector = new KrData::Vector<KrSim::KrExtension*>("Targets", group, {nullptr, extension});
    KrPersistence::FieldReadContext context;
    std::string bytes;
    {
        field_trees::Extensions other;
        vector->append(other.add(goneID));
        bytes = bytesOf(tree);
    }
    field->setValue(nullptr);
    vector->setItems({});
    EXPECT_TRUE(readInto(tree, bytes, context));
    EXPECT_EQ(field->getValue(), extension);
    EXPECT_THAT(vector->getItems(), testing::ElementsAre(nullptr, extension, nullptr));
    ASSERT_EQ(context.references.size(), 1U);
    EXPECT_EQ(context.references[0].fieldPath, "Group.Targets");
    EXPECT_EQ(context.references[0].item, 2U);
    EXPECT_EQ(context.references[0].extension, goneID);
}

TEST(FieldValues, OfProxiesAreTheLinksTheyLack) {
    KrData::Proxy saved("Saved", KrData::Types::kDouble);
    KrData::Proxy now("Now");
    for (const auto* path : {"Inputs.A", "Inputs.B"})
        ProxyAccess::addStoredLink(saved, KrSim::KrContentReference(), path);
    ProxyAccess::addStoredLink(now, KrSim::KrContentReference(), "Inputs.B");
    EXPECT_TRUE(readInto(now, bytesOf(saved)));
    EXPECT_EQ(now.getLinkCount(), 2U);
    EXPECT_EQ(now.getProxyDataType(), KrData::Types::kDouble);
}

}  // namespace field_value_test
