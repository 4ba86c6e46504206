#include <gtest/gtest.h>

#include "kr/content/content_id_access.h"
#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "tests/persistence/fields/field_trees.h"

namespace content_id_archive_test {

using field_trees::Binary;
using KrSim::KrContentID;
using KrSim::KrUuid;
using KrSim::detail::ContentIDAccess;

std::string textOf(const KrContentID& id) {
    std::string text =
        id.toString() + " " + id.getRawID().toString() + " " + id.getOwnIdentifier().toString() + " " + id.getFile();
    for (const auto& each : id.getParentInstances())
        text += " [" + textOf(each) + "]";
    return text;
}

KrContentID nested(int depth) {
    auto id = KrContentID::createFromWords(1, 2);
    for (int i = 0; i < depth; ++i)
        id = ContentIDAccess::fromParts({}, {3, 4}, {5, 6}, {}, {id});
    return id;
}

KrContentID roundTrip(const KrContentID& id) {
    const auto bytes =
        field_trees::written<Binary>([&](auto& writer) { KrPersistence::writeContentID(writer, "ID", id); });
    KrContentID again;
    field_trees::readFrom<Binary>(bytes, [&](auto& reader) { again = KrPersistence::readContentID(reader, "ID"); });
    return again;
}

TEST(ContentIDs, ComeBackWithAllParts) {
    auto inFile = KrContentID::createFromWords(7, 8);
    inFile.setFile("wheel.kro");
    const auto placed = KrContentID::createFromParentInstance(KrContentID::createUnique(), inFile);
    const KrContentID cases[] = {{},         KrContentID::createFromWords(1, 2),
                                 inFile,     placed,
                                 nested(64), KrContentID::createFromParentInstance(placed, inFile)};
    for (const auto& each : cases)
        EXPECT_EQ(textOf(roundTrip(each)), textOf(each));
}

TEST(ContentIDs, NestedTooDeepAreRefusedWhenWritten) {
    EXPECT_THROW(static_cast<void>(roundTrip(nested(65))), boost::archive::archive_exception);
}

struct TextCase {
    const char* text;
    bool isUuid;
    bool isContentID;
};

TEST(ContentIDs, TakeNothingElseForOne) {
    const TextCase cases[] = {{"00000000-0000-0000-0000-0000000000ff", true, false},
                              {"00000000-0000-0000-0000-0000000000ff/255", true, false},
                              {"00000000-0000-0000-0000-0000000000ff/256", false, false},
                              {"00000000-0000-0000-0000-0000000000ff/", false, false},
                              {"00000000-0000-0000-0000-0000000000ff/1x", false, false},
                              {"00000000000000AB-0123456789abcdef", false, true},
                              {"00000000000000AB-0123456789abcde", false, false},
                              {"", false, false}};
    for (const auto& each : cases) {
        const auto bytes = field_trees::written<Binary>([&](auto& writer) {
            writer.write("ID", each.text);
            writer.write("IDOrigin", false);
        });
        const auto isRead = [&](auto&& read) {
            try {
                field_trees::readFrom<Binary>(bytes, read);
                return true;
            } catch (const boost::archive::archive_exception&) {
                return false;
            }
        };
        EXPECT_EQ(isRead([](auto& reader) { static_cast<void>(KrPersistence::readUuid(reader, "ID")); }), each.isUuid)
            << each.text;
        EXPECT_EQ(isRead([](auto& reader) { static_cast<void>(KrPersistence::readContentID(reader, "ID")); }),
                  each.isContentID)
            << each.text;
    }
}

TEST(Uuids, ComeBackWithTheStoredByte) {
    KrUuid::Bytes bytes = KrUuid::createRandom().getBytes();
    for (const int stored : {0, 9, 255}) {
        bytes.back() = static_cast<std::uint8_t>(stored);
        const auto archived =
            field_trees::written<Binary>([&](auto& writer) { KrPersistence::writeUuid(writer, "ID", KrUuid(bytes)); });
        field_trees::readFrom<Binary>(
            archived, [&](auto& reader) { EXPECT_EQ(KrPersistence::readUuid(reader, "ID").getBytes(), bytes); });
    }
}

}  // namespace content_id_archive_test
