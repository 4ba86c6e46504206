#include "apps/krsim/tree_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace krsim_tree_writer_test {

using krsim::TreeWriter;

void writeItem(TreeWriter& writer, const std::string& name, double value) {
    writer.group("Part", [&] {
        if (!name.empty()) writer.write("Name", name);
        writer.write("Value", value);
    });
}

void writeParts(TreeWriter& writer, const std::vector<std::pair<std::string, double>>& parts) {
    writer.sequence("Parts", parts.size(),
                    [&](std::size_t index) { writeItem(writer, parts[index].first, parts[index].second); });
}

TEST(KrsimTree, ShowsEachValueInALineExactly) {
    TreeWriter writer("File", "");
    writer.write("Text", std::string_view("one\ntwo\x01\\"));
    writer.write("Tenth", 0.1);
    writer.write("TenthOfAFloat", 0.1F);
    writer.writeChoice("Mode", 2, "Playback");
    writer.writeChoice("Unnamed", 7, "");
    writer.writeBytes("Bytes", std::string_view("\0\xff", 2));
    writer.writeTuple("Position", std::span<const double>(std::vector<double>{1, -0.0, NAN}));
    writer.write("Long", std::string(200, 'x'));
    writeParts(writer, {{"Wheel", 1}, {"Wheel", 2}});
    writer.optional(false, "Absent", [] {});
    EXPECT_EQ(krsim::formatTree(writer.getRoot()),
              "File\n"
              "  Text: one\\ntwo\\x01\\\\\n"
              "  Tenth: 0.1\n"
              "  TenthOfAFloat: 0.1\n"
              "  Mode: Playback\n"
              "  Unnamed: 7\n"
              "  Bytes: 00ff\n"
              "  Position: 1 -0 nan\n"
              "  Long: " +
                  std::string(160, 'x') +
                  "... (200 characters, CRC-32 7ecb6ba6)\n"
                  "  Parts\n"
                  "    [0]\n"
                  "      Name: Wheel\n"
                  "      Value: 1\n"
                  "    [1]\n"
                  "      Name: Wheel\n"
                  "      Value: 2\n");
}

TEST(KrsimTree, ShowsEachValueWithItsPath) {
    TreeWriter writer("File", "");
    writer.write("Type", std::string_view("objects"));
    writeParts(writer, {{"Wheel", 1}, {"Axle", 2}});
    writer.group("Empty", [] {});
    EXPECT_EQ(krsim::formatPaths(writer.getRoot()),
              "Type: objects\n"
              "Parts[Wheel]/Name: Wheel\n"
              "Parts[Wheel]/Value: 1\n"
              "Parts[Axle]/Name: Axle\n"
              "Parts[Axle]/Value: 2\n"
              "Empty\n");
}

TEST(KrsimTree, ShowsLongValuesWhereTheyDiffer) {
    const std::string same(1000, 'x');
    TreeWriter first("File", "");
    TreeWriter second("File", "");
    first.write("Text", same + "a");
    second.write("Text", same + "bc" + same);
    EXPECT_EQ(krsim::compareTrees(first.getRoot(), second.getRoot()),
              "Text: ..." + std::string(40, 'x') + "a -> ..." + std::string(40, 'x') + "bc" + std::string(118, 'x') +
                  "... (from character 1001 on, of 1001 and 2002)\n");
}

struct Difference {
    const char* name;
    std::vector<std::pair<std::string, double>> first, second;
    const char* text;
};
class KrsimTreeDifferences : public testing::TestWithParam<Difference> {};

TEST_P(KrsimTreeDifferences, AreToldItemByItem) {
    TreeWriter first("File", "");
    TreeWriter second("File", "");
    writeParts(first, GetParam().first);
    writeParts(second, GetParam().second);
    EXPECT_EQ(krsim::compareTrees(first.getRoot(), second.getRoot()), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    All, KrsimTreeDifferences,
    testing::Values(
        Difference{"None", {{"A", 1}}, {{"A", 1}}, ""},
        Difference{"Value", {{"A", 1}, {"B", 0.1}}, {{"A", 1}, {"B", 0.2}}, "Parts[B]/Value: 0.1 -> 0.2\n"},
        Difference{"SignOfZero", {{"A", 0.0}}, {{"A", -0.0}}, "Parts[A]/Value: 0 -> -0\n"},
        Difference{"ItemMore", {{"A", 1}, {"C", 3}}, {{"A", 1}, {"B", 2}, {"C", 3}}, "Parts[B]: only in the second\n"},
        Difference{"ItemLess", {{"A", 1}, {"B", 2}}, {{"B", 2}}, "Parts[A]: only in the first\n"},
        Difference{"Order", {{"A", 1}, {"B", 2}}, {{"B", 2}, {"A", 1}}, "Parts: in another order\n"},
        Difference{"NamelessItems", {{"", 1}, {"", 2}}, {{"", 1}}, "Parts[1]: only in the first\n"}),
    [](const auto& each) { return std::string(each.param.name); });

// More levels than the stack of a thread has room for, if each took its share of it.
TEST(KrsimTree, IsShownAndComparedAtAnyDepth) {
    constexpr int kDepth = 50'000;
    const auto write = [](TreeWriter& writer, double leaf) {
        for (int i = 0; i < kDepth; ++i)
            writer.beginGroup("G");
        writer.write("Leaf", leaf);
        for (int i = 0; i < kDepth; ++i)
            writer.endGroup();
    };
    TreeWriter first("File", "");
    TreeWriter second("File", "");
    write(first, 1);
    write(second, 2);
    const auto text = krsim::formatTree(first.getRoot());
    EXPECT_LT(text.size(), std::size_t{100} * kDepth);
    EXPECT_TRUE(text.ends_with("  G\n" + std::string(64, ' ') + "Leaf: 1\n"));
    const auto differences = krsim::compareTrees(first.getRoot(), second.getRoot());
    EXPECT_TRUE(differences.ends_with("/G/Leaf: 1 -> 2\n"));
    EXPECT_EQ(differences.size(), std::size_t{2} * kDepth + std::string("Leaf: 1 -> 2\n").size());
}

}  // namespace krsim_tree_writer_test
