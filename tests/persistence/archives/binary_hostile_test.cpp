#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "tests/persistence/archives/shapes.h"
#include "tests/support/case_name.h"

namespace binary_hostile_test {

using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;
using KrPersistence::KrArchive;

/// The text of the exception, or nothing when all was read and destroyed again. No object may be left.
std::string load(const std::string& bytes, std::uint32_t flags = 0) {
    const int living = shapes::Shape::living();
    std::string failure;
    {
        std::unique_ptr<shapes::Shape> owner;
        std::istringstream stream(bytes);
        std::unique_ptr<BinaryInArchive> archive;
        try {
            archive = std::make_unique<BinaryInArchive>(stream, flags);
            shapes::Shape* shape = nullptr;
            std::vector<double> values;
            *archive >> shape;
            if (shape != nullptr) archive->adopt(shape);
            owner.reset(shape);
            *archive >> values;
            archive->requireOwned();
        } catch (const std::exception& exception) {
            failure = exception.what();
            if (archive) archive->delete_created_pointers();
        }
    }
    EXPECT_EQ(shapes::Shape::living(), living) << failure;
    return failure;
}

std::string save() {
    shapes::Group root;
    for (int i = 0; i < 3; ++i) {
        auto inner = std::make_unique<shapes::Group>();
        inner->members.push_back(std::make_unique<shapes::Circle>());
        inner->members.back()->name = "circle";
        inner->linked = inner->members.back().get();
        root.members.push_back(std::move(inner));
    }
    const shapes::Shape* pointer = &root;
    std::ostringstream stream;
    BinaryOutArchive(stream, 0) << pointer << std::vector<double>{1, 2, 3};
    return stream.str();
}

TEST(BinaryHostile, EveryCutIsAnErrorAndLeavesNothing) {
    const std::string bytes = save();
    EXPECT_EQ(load(bytes), "");
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_NE(load(bytes.substr(0, size)), "") << size;
}

TEST(BinaryHostile, ChangedBytesLeaveNothing) {
    const std::string bytes = save();
    std::size_t refused = 0;
    std::size_t tried = 0;
    // The sizes and byte order in the header are only logged.
    for (std::size_t at = 74; at < bytes.size(); ++at) {
        for (const int change : {1, 2, 0x7f, 0x80, 0xff}) {
            std::string changed = bytes;
            changed[at] = static_cast<char>(changed[at] ^ change);
            refused += load(changed).empty() ? 0U : 1U;
            ++tried;
        }
    }
    EXPECT_GT(refused, tried / 3);
    std::mt19937 random(20200300);
    for (int i = 0; i < 2000; ++i) {
        std::string changed = bytes;
        for (unsigned int k = random() % 4; k < 4; ++k)
            changed[74 + random() % (bytes.size() - 74)] = static_cast<char>(random());
        load(changed);
    }
}

struct Fault {
    const char* name;
    const char* hex;   // a body without header
    const char* text;  // stands in the error
};

class BinaryFault : public testing::TestWithParam<Fault> {};

constexpr char kCircle[] =
    "0000 0600000000000000 436972636c65 01 0200000000000000 00000000 0100000000000000 63"
    "000000000000e03f 0300000000000000 0000000000000000";

TEST_P(BinaryFault, IsNamed) {
    const auto failure = load(shapes::fromHex(GetParam().hex), KrArchive::kNoHeader);
    EXPECT_NE(failure.find(GetParam().text), std::string::npos) << failure;
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, BinaryFault,
    testing::Values(
        Fault{"CollectionLargerThanFile", "ffff 0000000001000000", "a collection of 4294967296 where 0 bytes are left"},
        Fault{"NameLargerThanFile", "0000 ffffffffffffffff", "a text of 18446744073709551615"},
        Fault{"NameTooLong", "0000 8000000000000000 41414141", "a text of 128 where 4 bytes"},
        Fault{"ClassSkipped", "0100", "class number 1 where 0 are known"},
        Fault{"ClassNegative", "feff", "class number -2"},
        Fault{"ClassUnknown", "0000 0100000000000000 41", "class 'A', which is not known"},
        Fault{"ClassOfAnotherFamily", "0000 0800000000000000 537472616e676572 01 0000000000000000 00000000 05000000",
              "behind a pointer to"},
        Fault{"VersionTooNew", "0000 0600000000000000 436972636c65 01 0300000000000000", "known up to version 2"},
        Fault{"OtherTracking", "0000 0600000000000000 436972636c65 00 0200000000000000", "another tracking"},
        Fault{"TrackingNoBool", "0000 0600000000000000 436972636c65 02 0200000000000000", "a bool of 2"},
        Fault{"ObjectSkipped", "0000 0600000000000000 436972636c65 01 0200000000000000 01000000",
              "object 1 where 0 are known"},
        // A group whose only member is itself.
        Fault{"OwnOwner",
              "0000 0500000000000000 47726f7570 01 0000000000000000 00000000 0000000000000000"
              "0100000000000000 0000 00000000 ffff",
              "belongs to two owners"},
        // A group that knows, but does not own, a second one.
        Fault{"NoOwner",
              "0000 0500000000000000 47726f7570 01 0000000000000000 00000000 0000000000000000"
              "0000000000000000 0000 01000000 0000000000000000 0000000000000000 ffff"
              "0000000000000000",
              "1 objects that belong to nothing"},
        Fault{"ArrayCut", kCircle, "input stream error"}),
    test_support::caseName);

TEST(BinaryHostile, NestingIsLimitedOnBothWays) {
    auto root = std::make_unique<shapes::Group>();
    for (int depth = 0; depth < 600; ++depth) {
        auto outer = std::make_unique<shapes::Group>();
        outer->members.push_back(std::move(root));
        root = std::move(outer);
    }
    const shapes::Shape* pointer = root.get();
    std::ostringstream stream;
    BinaryOutArchive archive(stream, KrArchive::kNoHeader);
    try {
        archive << pointer;
        ADD_FAILURE() << "was saved";
    } catch (const std::exception& exception) {
        EXPECT_NE(std::string(exception.what()).find("more than 512 deep"), std::string::npos) << exception.what();
    }
    // What stands in the stream is a group in a group in a group; a last one follows that is too deep.
    root.reset();
    const std::string failure = load(stream.str() + std::string(100, '\0'), KrArchive::kNoHeader);
    EXPECT_NE(failure.find("more than 512 deep"), std::string::npos) << failure;
}

TEST(BinaryHostile, CompactPointersAreNull) {
    std::istringstream stream(shapes::fromHex(kCircle));
    BinaryInArchive archive(stream, KrArchive::kNoHeader, BinaryInArchive::OptimizationMode::kCompact);
    shapes::Shape* shape = nullptr;
    EXPECT_THROW(archive >> shape, boost::archive::archive_exception);
    EXPECT_EQ(shape, nullptr);
}

TEST(BinaryHostile, SizesAreLimitedWithoutAnEnd) {
    struct : std::stringbuf {
        using std::stringbuf::stringbuf;
        pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return pos_type(off_type(-1)); }
    } pipe;
    pipe.str(shapes::fromHex("0000000001000000"));
    std::istream stream(&pipe);
    BinaryInArchive archive(stream, KrArchive::kNoHeader);
    std::string text;
    EXPECT_THROW(archive >> text, boost::archive::archive_exception);
    EXPECT_EQ(text, "");
}

}  // namespace binary_hostile_test
