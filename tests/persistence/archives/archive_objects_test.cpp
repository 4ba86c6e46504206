#include <boost/serialization/map.hpp>
#include <list>
#include <map>
#include <sstream>

#include "kr/core/base.h"
#include "kr/persistence/archives/archive_object_scope.h"
#include "tests/persistence/archives/archive_kinds.h"
#include "tests/persistence/archives/shapes.h"

namespace archive_objects_test {

struct Left {
    virtual ~Left() = default;
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(left);
    }
    int left{1};
};

struct Right {
    virtual ~Right() = default;
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(right);
    }
    int right{2};
};

struct Both final : Left, Right {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Left);
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Right);
    }
};

}  // namespace archive_objects_test

KR_ARCHIVE_CLASS(archive_objects_test::Both, "Both")
KR_ARCHIVE_CLASS_IMPLEMENT(archive_objects_test::Both)

namespace archive_objects_test {

using KrPersistence::ArchiveObjectScope;

template <class Kind>
class ArchiveObjects : public testing::Test {};
TYPED_TEST_SUITE(ArchiveObjects, archive_kinds::All, archive_kinds::Names);

std::unique_ptr<shapes::Circle> circle(const char* name, double radius) {
    auto made = std::make_unique<shapes::Circle>();
    made->name = name;
    made->radius = radius;
    return made;
}

template <class Kind>
std::string saved(const shapes::Shape* shape) {
    std::ostringstream stream;
    typename Kind::Out(stream, 0) << BOOST_SERIALIZATION_NVP(shape);
    return stream.str();
}

TYPED_TEST(ArchiveObjects, KeepTheirClassesAndSharedAndCircularPointers) {
    shapes::Group root;
    root.name = "root";
    auto inner = std::make_unique<shapes::Group>();
    inner->linked = &root;
    root.members.push_back(circle("one", 0.1));
    root.linked = root.members[0].get();
    root.members.push_back(std::move(inner));
    root.members.emplace_back();
    const std::string bytes = saved<TypeParam>(&root);

    std::istringstream stream(bytes);
    typename TypeParam::In archive(stream, 0);
    shapes::Shape* loaded = nullptr;
    archive >> boost::serialization::make_nvp("shape", loaded);
    EXPECT_THROW(archive.requireOwned(), boost::archive::archive_exception);
    archive.adopt(loaded);
    EXPECT_NO_THROW(archive.requireOwned());
    EXPECT_THROW(archive.adopt(loaded), boost::archive::archive_exception) << "owned twice";
    const std::unique_ptr<shapes::Shape> owner(loaded);
    const auto& group = dynamic_cast<const shapes::Group&>(*loaded);
    ASSERT_EQ(group.members.size(), 3U);
    EXPECT_EQ(group.linked, group.members[0].get());
    EXPECT_EQ(dynamic_cast<const shapes::Group&>(*group.members[1]).linked, loaded);
    EXPECT_EQ(group.members[2], nullptr);
    EXPECT_EQ(dynamic_cast<const shapes::Circle&>(*group.members[0]).radius, 0.1);
    EXPECT_EQ(dynamic_cast<const shapes::Circle&>(*group.members[0]).readVersion, 2U);
    EXPECT_EQ(saved<TypeParam>(loaded), bytes) << "equal bytes after save, load, save";
}

struct Strangers {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        if constexpr (Archive::is_loading::value) {
            KrPersistence::loadSequence(archive, "values", [&](std::size_t) {
                shapes::Stranger value;
                archive >> BOOST_SERIALIZATION_NVP(value);
                values.push_back(value);
                archive.reset_object_address(&values.back(), &value);
            });
        } else {
            KrPersistence::saveSequence(archive, "values", values.size(), [&](std::size_t i) {
                archive << boost::serialization::make_nvp("value", *std::next(values.begin(), static_cast<int>(i)));
            });
        }
        archive& BOOST_SERIALIZATION_NVP(second);
    }
    std::list<shapes::Stranger> values;
    shapes::Stranger* second{nullptr};
};

TYPED_TEST(ArchiveObjects, ThatAContainerMovedAreFoundAtTheirPlace) {
    // By value first, then behind a pointer.
    Strangers strangers;
    strangers.values.resize(2);
    strangers.second = &strangers.values.back();
    std::stringstream stream;
    typename TypeParam::Out(stream, 0) << BOOST_SERIALIZATION_NVP(strangers);
    typename TypeParam::In archive(stream, 0);
    Strangers loaded;
    archive >> boost::serialization::make_nvp("strangers", loaded);
    EXPECT_EQ(loaded.values.size(), 2U);
    EXPECT_EQ(loaded.second, &loaded.values.back());
}

struct ManySides {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(left) & BOOST_SERIALIZATION_NVP(right);
        archive& BOOST_SERIALIZATION_NVP(otherRight) & BOOST_SERIALIZATION_NVP(otherLeft);
        archive& BOOST_SERIALIZATION_NVP(itself);
    }
    Left *left{nullptr}, *otherLeft{nullptr};
    Right *right{nullptr}, *otherRight{nullptr};
    Both* itself{nullptr};
};

TYPED_TEST(ArchiveObjects, AreTheSameBehindPointersToEachOfTheirBases) {
    Both first, second;
    second.left = 3;
    const ManySides sides{&first, &second, &first, &second, &second};
    std::stringstream stream;
    typename TypeParam::Out(stream, 0) << BOOST_SERIALIZATION_NVP(sides);
    typename TypeParam::In archive(stream, 0);
    ManySides loaded;
    archive >> boost::serialization::make_nvp("sides", loaded);
    const std::unique_ptr<Left> owner(loaded.left), otherOwner(loaded.otherLeft);
    EXPECT_EQ(dynamic_cast<Left*>(loaded.right), loaded.left);
    EXPECT_EQ(dynamic_cast<Left*>(loaded.otherRight), loaded.otherLeft);
    EXPECT_EQ(loaded.itself, loaded.otherLeft);
    EXPECT_EQ(loaded.left->left, 1);
    EXPECT_EQ(loaded.otherRight->right, 2);
    EXPECT_EQ(loaded.itself->left, 3);
}

TYPED_TEST(ArchiveObjects, AreNotWrittenAsValuesAfterTheirPointers) {
    const shapes::Stranger stranger;
    const shapes::Stranger* pointer = &stranger;
    std::ostringstream stream;
    typename TypeParam::Out archive(stream, 0);
    const auto saveBoth = [&](std::size_t i) {
        if (i == 0) {
            archive << BOOST_SERIALIZATION_NVP(pointer);
        } else {
            archive << BOOST_SERIALIZATION_NVP(stranger);
        }
    };
    EXPECT_THROW(KrPersistence::saveSequence(archive, "both", 2, saveBoth), boost::archive::archive_exception);
}

TYPED_TEST(ArchiveObjects, ContainersOfBoostComeBack) {
    std::map<std::string, std::vector<shapes::Reading>> readings;
    readings["one"] = {{1, 0.5}, {2, -0.0}};
    readings["none"];
    std::stringstream stream;
    typename TypeParam::Out(stream, 0) << BOOST_SERIALIZATION_NVP(readings);
    decltype(readings) loaded;
    typename TypeParam::In archive(stream, 0);
    archive >> boost::serialization::make_nvp("readings", loaded);
    ASSERT_EQ(loaded["one"].size(), 2U);
    EXPECT_EQ(loaded["one"][1].count, 2);
    EXPECT_EQ(loaded["one"][1].readVersion, 3U);
    EXPECT_EQ(loaded.size(), 2U);
}

class Vehicle : public Kr::KrBase {
    KR_BASE_CLASS(Vehicle, Kr::KrBase)
    Vehicle() = default;
};

TYPED_TEST(ArchiveObjects, AndNamesAreKnownToWriterAndReaderWhileTheyLive) {
    auto outer = std::make_unique<Vehicle>();
    Vehicle inner;
    std::stringstream stream;
    typename TypeParam::Out out(stream, 5);
    EXPECT_EQ(out.getArchiveFlags(), 5U);
    out.setArchiveName("file");
    out.popObject();
    const ArchiveObjectScope scope(out, outer.get());
    typename TypeParam::Out::Writer writer(out);
    EXPECT_EQ(writer.getArchiveName(), "file");
    {
        const ArchiveObjectScope nested(out, &inner);
        EXPECT_EQ(writer.getCurrentObject(), &inner);
    }
    EXPECT_EQ(out.getCurrentObject(), outer.get());
    outer.reset();
    EXPECT_EQ(out.getCurrentObject(), nullptr);
    writer.write("Value", "a literal");

    typename TypeParam::In in(stream, 5);
    in.setArchiveName("other");
    typename TypeParam::In::Reader reader(in);
    reader.pushObject(&inner);
    EXPECT_EQ(in.getCurrentObject(), &inner);
    EXPECT_EQ(reader.getArchiveName(), "other");
    std::string text;
    reader.read("Value", text);
    EXPECT_EQ(text, "a literal");
    EXPECT_THROW(reader.fail("no"), boost::archive::archive_exception);
}

}  // namespace archive_objects_test
