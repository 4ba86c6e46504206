#include <gtest/gtest.h>

#include <list>
#include <sstream>

#include "kr/core/base.h"
#include "kr/persistence/archives/archive_object_scope.h"
#include "tests/persistence/archives/shapes.h"

namespace binary_objects_test {

using KrPersistence::ArchiveObjectScope;
using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;

std::unique_ptr<shapes::Circle> circle(const char* name, double radius) {
    auto made = std::make_unique<shapes::Circle>();
    made->name = name;
    made->radius = radius;
    return made;
}

std::string saved(const shapes::Shape* shape) {
    std::ostringstream stream;
    BinaryOutArchive(stream, 0) << shape;
    return stream.str();
}

TEST(BinaryObjects, KeepTheirClassesAndSharedAndCircularPointers) {
    shapes::Group root;
    root.name = "root";
    auto inner = std::make_unique<shapes::Group>();
    inner->linked = &root;
    root.members.push_back(circle("one", 0.1));
    root.linked = root.members[0].get();
    root.members.push_back(std::move(inner));
    root.members.emplace_back();
    const std::string bytes = saved(&root);

    std::istringstream stream(bytes);
    BinaryInArchive archive(stream, 0);
    shapes::Shape* loaded = nullptr;
    archive >> loaded;
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
    EXPECT_EQ(saved(loaded), bytes) << "equal bytes after save, load, save";
}

TEST(BinaryObjects, ThatAContainerMovedAreFoundAtTheirPlace) {
    // By value first, then behind a pointer.
    std::list<shapes::Stranger> values(2);
    const shapes::Stranger* second = &values.back();
    std::stringstream stream;
    {
        BinaryOutArchive archive(stream, 0);
        for (const auto& each : values)
            archive << each;
        archive << second;
    }
    BinaryInArchive archive(stream, 0);
    std::list<shapes::Stranger> loaded;
    for (int i = 0; i < 2; ++i) {
        shapes::Stranger local;
        archive >> local;
        loaded.push_back(local);
        archive.reset_object_address(&loaded.back(), &local);
    }
    shapes::Stranger* pointer = nullptr;
    archive >> pointer;
    EXPECT_EQ(pointer, &loaded.back());
}

TEST(BinaryObjects, AreNotWrittenAsValuesAfterTheirPointers) {
    const shapes::Stranger stranger;
    const shapes::Stranger* pointer = &stranger;
    std::ostringstream stream;
    BinaryOutArchive archive(stream, 0);
    archive << pointer;
    EXPECT_THROW(archive << stranger, boost::archive::archive_exception);
}

class Vehicle : public Kr::KrBase {
    KR_BASE_CLASS(Vehicle, Kr::KrBase)
    Vehicle() = default;
};

TEST(KrArchive, KnowsTheObjectBeingArchivedWhileItLives) {
    KrPersistence::KrArchive archive(5);
    EXPECT_EQ(archive.getArchiveFlags(), 5U);
    archive.popObject();
    EXPECT_EQ(archive.getCurrentObject(), nullptr);
    auto outer = std::make_unique<Vehicle>();
    Vehicle inner;
    const ArchiveObjectScope scope(archive, outer.get());
    {
        const ArchiveObjectScope nested(archive, &inner);
        EXPECT_EQ(archive.getCurrentObject(), &inner);
    }
    EXPECT_EQ(archive.getCurrentObject(), outer.get());
    outer.reset();
    EXPECT_EQ(archive.getCurrentObject(), nullptr);
}

}  // namespace binary_objects_test
