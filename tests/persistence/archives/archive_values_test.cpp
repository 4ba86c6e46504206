#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "tests/persistence/archives/archive_kinds.h"

namespace archive_values_test {

using archive_kinds::read;
using archive_kinds::written;
using KrPersistence::ArchiveReader;
using KrPersistence::ArchiveWriter;

template <class Kind>
class ArchiveValues : public testing::Test {};
TYPED_TEST_SUITE(ArchiveValues, archive_kinds::All, archive_kinds::Names);

// Also names that no XML element may have, and names of bookkeeping.
constexpr const char* kNames[] = {
    "Name", "Listening Port", "a.b",      "Kr::KrBase", "xml", "",  "_id",   "__class", "3D",
    "ref",  "quote\"<&>\n\t", "\xC3\xA9", "bad\xFF",    "-",   ".", "Value", "id"};

template <class Value>
std::vector<Value> numbers() {
    using Limits = std::numeric_limits<Value>;
    std::vector<Value> values = {0, 1, 42, Limits::max(), Limits::min(), Limits::lowest()};
    if constexpr (std::is_floating_point_v<Value>) {
        for (const double each : {-0.0, 0.1, 1e21, 1e-7, 1.0 / 3})
            values.push_back(static_cast<Value>(each));
        for (const Value each : {Limits::denorm_min(), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()})
            values.push_back(each);
        std::mt19937_64 random(20200300);
        for (int i = 0; i < 2000; ++i) {
            const auto bits = random();
            Value value{};
            if constexpr (sizeof(Value) == 8) {
                value = std::bit_cast<Value>(bits);
            } else {
                value = std::bit_cast<Value>(static_cast<std::uint32_t>(bits));
            }
            if (!std::isnan(value)) values.push_back(value);  // of NaN only that it is none is kept
        }
    }
    return values;
}

template <class Value>
bool same(const Value& left, const Value& right) {
    if constexpr (std::is_floating_point_v<Value>) {
        if (std::isnan(left)) return std::isnan(right);
        return left == right && std::signbit(left) == std::signbit(right);
    } else {
        return left == right;
    }
}

template <class Kind, class Value>
void expectKept(const std::vector<Value>& values) {
    const std::string bytes = written<Kind>([&](ArchiveWriter& writer) {
        writer.sequence("Each", values.size(), [&](std::size_t i) { writer.write("Item", values[i]); });
        writer.sequence("Groups", values.size(),
                        [&](std::size_t i) { writer.group("Item", [&] { writer.write("Value", values[i]); }); });
        if constexpr (std::is_floating_point_v<Value>) {
            writer.writeBlock("Block", std::span<const Value>(values));
            writer.writeTuple("Tuple", std::span<const Value>(values));
        } else if constexpr (std::is_same_v<Value, int>) {
            writer.writeBlock("Block", std::span<const Value>(values));
        }
    });
    read<Kind>(bytes, [&](ArchiveReader& reader) {
        const auto check = [&](std::size_t i) {
            Value value{};
            reader.read("Item", value);
            EXPECT_TRUE(same(values[i], value)) << i;
        };
        EXPECT_EQ(reader.sequence("Each", check), values.size());
        const auto checkGroup = [&](std::size_t i) {
            Value value{};
            reader.group("Item", [&] { reader.read("Value", value); });
            EXPECT_TRUE(same(values[i], value)) << i;
        };
        EXPECT_EQ(reader.sequence("Groups", checkGroup), values.size());
        if constexpr (std::is_floating_point_v<Value> || std::is_same_v<Value, int>) {
            std::vector<Value> block;
            reader.readBlock("Block", block);
            EXPECT_TRUE(std::equal(block.begin(), block.end(), values.begin(), values.end(), same<Value>));
        }
        if constexpr (std::is_floating_point_v<Value>) {
            std::vector<Value> tuple(values.size());
            reader.readTuple("Tuple", std::span<Value>(tuple));
            EXPECT_TRUE(std::equal(tuple.begin(), tuple.end(), values.begin(), values.end(), same<Value>));
        }
    });
}

TYPED_TEST(ArchiveValues, NumbersComeBackExactly) {
    expectKept<TypeParam>(numbers<int>());
    expectKept<TypeParam>(numbers<unsigned int>());
    expectKept<TypeParam>(numbers<long long>());
    expectKept<TypeParam>(numbers<unsigned long long>());
    expectKept<TypeParam>(numbers<float>());
    expectKept<TypeParam>(numbers<double>());
    expectKept<TypeParam>(std::vector<double>{});
}

std::vector<std::string> texts() {
    std::vector<std::string> all = {"", " ", "\n", "  two\n lines \r\n", "NaN", "1", "true", "null", "]]>", "<!-- -->"};
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
        all.emplace_back(1, static_cast<char>(i));
    }
    all.push_back(bytes);
    // Real U+EE41 and its neighbours, U+FFFE, a surrogate, overlong, above U+10FFFF, cut.
    for (const char* each : {"\xEE\xB9\x81", "\xEE\xB7\xBF\xEE\xBC\x80", "\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD",
                             "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x98\x80", "\xE2\x82"})
        all.emplace_back(each);
    std::mt19937 random(20200300);
    for (int i = 0; i < 200; ++i) {
        std::string text(random() % 200, '\0');
        for (char& each : text)
            each = static_cast<char>(random());
        all.push_back(text);
    }
    return all;
}

constexpr const char* kAlike[] = {"\xEE\xBB\xBF", "\xFF"};

TYPED_TEST(ArchiveValues, TextsBytesAndNamesComeBackByteForByte) {
    const auto all = texts();
    const std::string bytes = written<TypeParam>([&](ArchiveWriter& writer) {
        for (const char* name : kNames)
            writer.write(name, name);
        writer.group("Groups", [&] {
            for (const char* name : kNames)
                writer.group(name, [&] { writer.sequence(name, 1, [&](std::size_t) { writer.write(name, name); }); });
        });
        // The second of these names is written as what the first one is: neither may be taken for the other.
        writer.sequence("Alike", 2, [&](std::size_t i) {
            writer.group("Pair", [&] {
                writer.write("First", 0);
                writer.write(kAlike[i], static_cast<int>(i));
            });
        });
        writer.sequence("Texts", all.size(), [&](std::size_t i) { writer.write("Text", all[i]); });
        writer.sequence("Repeated", all.size(), [&](std::size_t i) { writer.writeRepeated("Text", all[i % 7 * 30]); });
        writer.sequence("Bytes", all.size(), [&](std::size_t i) { writer.writeBytes("Bytes", all[i]); });
        writer.write("Last", true);
    });
    read<TypeParam>(bytes, [&](ArchiveReader& reader) {
        std::string text;
        for (const char* name : kNames) {
            reader.read(name, text);
            EXPECT_EQ(text, name);
        }
        reader.group("Groups", [&] {
            for (const char* name : kNames)
                reader.group(name, [&] { reader.sequence(name, [&](std::size_t) { reader.read(name, text); }); });
        });
        reader.sequence("Alike", [&](std::size_t i) {
            reader.group("Pair", [&] {
                int number = -1;
                reader.read("First", number);
                reader.read(kAlike[i], number);
                EXPECT_EQ(number, static_cast<int>(i));
            });
        });
        const auto compare = [&](std::size_t i) {
            reader.read("Text", text);
            EXPECT_EQ(text, all[i]);
        };
        EXPECT_EQ(reader.sequence("Texts", compare), all.size());
        std::vector<std::string_view> views;
        reader.sequence("Repeated", [&](std::size_t) { views.push_back(reader.readRepeated("Text")); });
        ASSERT_EQ(views.size(), all.size());
        for (std::size_t i = 0; i < views.size(); ++i)
            EXPECT_EQ(views[i], all[i % 7 * 30]);
        reader.sequence("Bytes", [&](std::size_t i) {
            reader.readBytes("Bytes", text);
            EXPECT_EQ(text, all[i]);
        });
        bool isLast = false;
        reader.read("Last", isLast);
        EXPECT_TRUE(isLast);
    });
}

TYPED_TEST(ArchiveValues, WhatIsLeftOutKeepsItsValue) {
    const std::string bytes = written<TypeParam>([](ArchiveWriter& writer) {
        writer.writeIf(false, "A", 1);
        writer.writeIf(true, "B", 2);
        writer.groupIf(false, "C", [] {});
        writer.groupIf(true, "D", [&] { writer.writeChoice("Mode", 1, "one"); });
        writer.sequence("None", 0, [](std::size_t) {});
        writer.writeChoice("Other", 9, "");
    });
    read<TypeParam>(bytes, [](ArchiveReader& reader) {
        int a = 7;
        int b = 7;
        EXPECT_FALSE(reader.readIf("A", a));
        EXPECT_TRUE(reader.readIf("B", b));
        EXPECT_EQ(a, 7);
        EXPECT_EQ(b, 2);
        EXPECT_FALSE(reader.groupIf("C", [] {}));
        const auto parse = [](std::string_view text) { return text == "one" ? std::optional(1) : std::nullopt; };
        EXPECT_TRUE(reader.groupIf("D", [&] { EXPECT_EQ(reader.readChoice("Mode", parse), 1); }));
        EXPECT_EQ(reader.sequence("None", [](std::size_t) { ADD_FAILURE(); }), 0U);
        EXPECT_EQ(reader.readChoice("Other", parse), 9);
    });
}

/// A tree that says itself what stands in it.
struct Tree {
    void write(ArchiveWriter& writer) const {
        writer.writeIf(flag, "Flag", flag);
        writer.writeIf(!text.empty(), "Some text", text);
        writer.writeBytes("Bytes", text);
        writer.write("Number", numbers[0]);
        writer.writeTuple("Tuple", std::span<const double>(numbers).first<3>());
        writer.writeBlock("Block", std::span<const double>(numbers));
        writer.sequence("Numbers", numbers.size(), [&](std::size_t i) { writer.write("Number", numbers[i]); });
        writer.groupIf(!children.empty(), "First", [&] { children.front().write(writer); });
        writer.sequence("Children", children.size(),
                        [&](std::size_t i) { writer.group("Child", [&] { children[i].write(writer); }); });
    }
    void read(ArchiveReader& reader) {
        reader.readIf("Flag", flag);
        reader.readIf("Some text", text);
        reader.readBytes("Bytes", text);
        reader.read("Number", numbers[0]);
        reader.readTuple("Tuple", std::span<double>(numbers).first<3>());
        reader.readBlock("Block", numbers);
        reader.sequence("Numbers", [&](std::size_t i) { reader.read("Number", numbers.at(i)); });
        Tree first;
        reader.groupIf("First", [&] { first.read(reader); });
        reader.sequence("Children",
                        [&](std::size_t) { reader.group("Child", [&] { children.emplace_back().read(reader); }); });
    }
    static Tree grow(std::mt19937& random, int depth) {
        Tree tree;
        tree.flag = random() % 2 == 0;
        tree.text.resize(random() % 3 == 0 ? random() % 90 : 0);
        for (char& each : tree.text)
            each = static_cast<char>(random());
        tree.numbers.resize(3 + random() % 4);
        for (double& each : tree.numbers) {
            const auto bits = (std::uint64_t{random()} << 32U) | random();
            each = random() % 3 == 0 ? static_cast<double>(random() % 9) : std::bit_cast<double>(bits);
            if (std::isnan(each)) each = std::numeric_limits<double>::quiet_NaN();
        }
        for (auto i = depth < 4 ? random() % 3 : 0; i > 0; --i)
            tree.children.push_back(grow(random, depth + 1));
        return tree;
    }

    bool flag{false};
    std::string text;
    std::vector<double> numbers{0, 0, 0};
    std::vector<Tree> children;
};

#ifdef NDEBUG
constexpr int kTrees = 10'000;
#else
constexpr int kTrees = 300;
#endif

TYPED_TEST(ArchiveValues, TreesAreByteEqualAfterSaveLoadSave) {
    std::mt19937 random(20200300);
    for (int i = 0; i < kTrees; ++i) {
        const Tree tree = Tree::grow(random, 0);
        const std::string bytes = written<TypeParam>([&](ArchiveWriter& writer) { tree.write(writer); });
        Tree loaded;
        read<TypeParam>(bytes, [&](ArchiveReader& reader) { loaded.read(reader); });
        ASSERT_EQ(written<TypeParam>([&](ArchiveWriter& writer) { loaded.write(writer); }), bytes) << "tree " << i;
    }
}

}  // namespace archive_values_test
