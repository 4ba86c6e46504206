#include <algorithm>
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
    constexpr bool isFloating = std::is_floating_point_v<Value>;
    constexpr bool hasBlocks = isFloating || std::is_same_v<Value, int>;
    const std::string bytes = written<Kind>([&](ArchiveWriter& writer) {
        writer.sequence("Each", values.size(), [&](std::size_t i) { writer.write("Item", values[i]); });
        if constexpr (hasBlocks) writer.writeBlock("Block", std::span<const Value>(values));
        if constexpr (isFloating) writer.writeTuple("Tuple", std::span<const Value>(values));
    });
    read<Kind>(bytes, [&](ArchiveReader& reader) {
        const auto check = [&](std::size_t i) {
            Value value{};
            reader.read("Item", value);
            EXPECT_TRUE(same(values[i], value)) << i;
        };
        EXPECT_EQ(reader.sequence("Each", check), values.size());
        std::vector<Value> again;
        const auto checkAll = [&] {
            EXPECT_TRUE(std::equal(again.begin(), again.end(), values.begin(), values.end(), same<Value>));
        };
        if constexpr (hasBlocks) {
            reader.readBlock("Block", again);
            checkAll();
        }
        if constexpr (isFloating) {
            again.assign(values.size(), Value{1});
            reader.readTuple("Tuple", std::span<Value>(again));
            checkAll();
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

}  // namespace archive_values_test
