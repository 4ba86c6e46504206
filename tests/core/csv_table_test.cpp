#include "kr/core/csv_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

using Kr::CsvTable;
using testing::HasSubstr;

namespace {

std::string write(const CsvTable& table) {
    std::ostringstream stream;
    table.write(stream);
    return stream.str();
}

struct Accepted {
    const char* name;
    std::string text;
    std::string written;
};
class AcceptedTables : public testing::TestWithParam<Accepted> {};
TEST_P(AcceptedTables, AreWrittenLikeThis) {
    const auto table = CsvTable::parse(GetParam().text);
    ASSERT_TRUE(table) << table.toString();
    EXPECT_EQ(write(*table), GetParam().written);
    const auto again = CsvTable::parse(GetParam().written);
    ASSERT_TRUE(again) << again.toString();
    EXPECT_EQ(write(*again), GetParam().written);
}
INSTANTIATE_TEST_SUITE_P(Forms, AcceptedTables,
                         testing::Values(Accepted{"LineFeeds", "A,B\n1,2\n", "A,B\r\n1,2\r\n"},
                                         Accepted{"NoLastLineEnd", "A,B\r\n1,2", "A,B\r\n1,2\r\n"},
                                         Accepted{"ByteOrderMark",
                                                  "\xEF\xBB\xBF"
                                                  "A\n1\n",
                                                  "A\r\n1\r\n"},
                                         Accepted{"Quotes", "\"A,B\",C\n\"x\"\"y\",\"1\n2\"\n",
                                                  "\"A,B\",C\r\n\"x\"\"y\",\"1\n2\"\r\n"},
                                         Accepted{"NeedlessQuotes", "\"A\"\n\"1\"\n", "A\r\n1\r\n"},
                                         Accepted{"EmptyCells", "A,B\n,\n1,\n", "A,B\r\n,\r\n1,\r\n"},
                                         Accepted{"EmptyLines", "A,B\n\n1,2\n\n", "A,B\r\n1,2\r\n"},
                                         Accepted{"Unit", "Speed [km/h]\n36\n", "Speed [km/h]\r\n36\r\n"},
                                         Accepted{"NoUnit", "Speed [fast]\n36\n", "Speed [fast]\r\n36\r\n"},
                                         Accepted{"NoRows", "A,B\n", "A,B\r\n"}),
                         [](const auto& each) { return std::string(each.param.name); });

struct Refused {
    const char* name;
    std::string text;
    const char* problem;
};
class RefusedTables : public testing::TestWithParam<Refused> {};
TEST_P(RefusedTables, NameLineAndColumn) {
    const auto table = CsvTable::parse(GetParam().text, "t.csv");
    EXPECT_FALSE(table);
    EXPECT_THAT(table.toString(), HasSubstr(GetParam().problem));
}
INSTANTIATE_TEST_SUITE_P(
    Faults, RefusedTables,
    testing::Values(
        Refused{"Nothing", "", "t.csv, line 2, column 1: the column has no name"},
        Refused{"Semicolons", "A;B\n1;2\n", "its cells are not separated by commas; save it with commas"},
        Refused{"TwoOfOneName", "A,A\n", "column 2: there are two columns with the name 'A'"},
        Refused{"TooFewCells", "A,B\n1,2\n3\n", "t.csv, line 3, column 2: cells in the row: 1, in the header: 2"},
        Refused{"TooManyCells", "A,B\n1,5,2\n", "t.csv, line 2, column 3: cells in the row: 3, in the header: 2"},
        Refused{"NoNumberInAUnit", "A [km]\n1\n\"1\n2\"\n", "t.csv, line 3, column 1: '1\n2' is no number"},
        Refused{"DecimalComma", "A [km],B\n1,2\n\"1,5\",2\n", "t.csv, line 3, column 1: '1,5' is no number"},
        Refused{"OpenQuotes", "A\n\"x\n", "the quotes of a cell are not closed"},
        Refused{"QuoteInside", "A\nx\"y\n", "line 2, column 1: a quote stands in a cell without quotes"},
        Refused{"BehindQuotes", "A\n\"x\"y\n", "line 2, column 1: a quote ends before its cell does"},
        Refused{"LoneReturn", "A\rB\n", "a carriage return stands alone"},
        Refused{"ZeroByte", std::string("A\n\0\n", 4), "there is a zero byte"},
        Refused{"LongCell", "A\n" + std::string(CsvTable::kLongestCell + 1, 'x'), "the cell is longer than 1 MiB"},
        Refused{"ManyColumns", std::string(CsvTable::kMostColumns, ','), "there are more than 10000 columns"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(CsvTables, TakeTheTypesFromTheCells) {
    const auto table = CsvTable::parse("Whole,Real,Flag,Text,Unit [km],Empty\n1,1.5,true,x,3,\n-2,2,false,1,,\n");
    ASSERT_TRUE(table) << table.toString();
    const CsvTable::eType types[] = {CsvTable::eType::kInteger, CsvTable::eType::kReal, CsvTable::eType::kBoolean,
                                     CsvTable::eType::kText,    CsvTable::eType::kReal, CsvTable::eType::kInteger};
    for (std::size_t i = 0; i < std::size(types); ++i)
        EXPECT_EQ(table->getColumn(i).type, types[i]) << table->getColumn(i).name;
    EXPECT_EQ(table->getInteger(1, 0), -2);
    EXPECT_EQ(table->getReal(0, 1), 1.5);
    EXPECT_EQ(table->getBoolean(1, 2), false);
    EXPECT_EQ(table->getColumn(4).unit, "km");
    EXPECT_TRUE(std::isnan(table->getReal(1, 4)));
    EXPECT_EQ(table->getLine(1), 3U);
}

TEST(CsvTables, KeepAllBitsOfNumbers) {
    CsvTable table;
    table.addColumn({.name = "Value", .type = CsvTable::eType::kReal});
    const double values[] = {0.1, -0.0, 1e300, std::numeric_limits<double>::denorm_min(), 1.0 / 3.0};
    for (const double each : values)
        table.setReal(table.addRow(), 0, each);
    const auto read = CsvTable::parse(write(table));
    ASSERT_TRUE(read) << read.toString();
    for (std::size_t i = 0; i < std::size(values); ++i)
        EXPECT_EQ(std::signbit(read->getReal(i, 0)) ? -read->getReal(i, 0) : read->getReal(i, 0), std::abs(values[i]));
}

TEST(CsvTables, KeepAMarkInTheFirstName) {
    const std::string name = "\xEF\xBB\xBFTime";
    Kr::CsvTable table;
    table.addColumn({.name = name});
    std::ostringstream written;
    table.write(written);
    const auto again = Kr::CsvTable::parse(written.str());
    ASSERT_TRUE(again);
    EXPECT_EQ(again->getColumn(0).name, name);
}

TEST(CsvTables, NameTheFileThatDoesNotExist) {
    const auto table = CsvTable::load("nowhere.csv");
    EXPECT_EQ(table.failure, Kr::FileResult::eFailure::kMissing);
    EXPECT_THAT(table.toString(), HasSubstr("'nowhere.csv'"));
}

}  // namespace
