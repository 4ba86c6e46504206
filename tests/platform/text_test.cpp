#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kr/platform/text.h"

namespace text_test {

using namespace std::string_view_literals;

constexpr std::array kThree{1, -2, 3};

struct NumberCase {
    const char* name;
    std::string text;
    std::string_view expected;
};

class NumberText : public testing::TestWithParam<NumberCase> {};

TEST_P(NumberText, IsTheShortestThatReadsBack) {
    EXPECT_EQ(GetParam().text, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, NumberText,
    testing::Values(NumberCase{"Lowest", Kr::toText(std::numeric_limits<long long>::min()), "-9223372036854775808"},
                    NumberCase{"Largest", Kr::toText(std::numeric_limits<unsigned long long>::max()),
                               "18446744073709551615"},
                    NumberCase{"Tenth", Kr::toText(0.1), "0.1"}, NumberCase{"FloatTenth", Kr::toText(0.1F), "0.1"},
                    NumberCase{"NegativeZero", Kr::toText(-0.0), "-0"},
                    NumberCase{"LongestReal", Kr::toText(-2.2250738585072014e-308), "-2.2250738585072014e-308"},
                    NumberCase{"Infinite", Kr::toText(-std::numeric_limits<double>::infinity()), "-inf"},
                    NumberCase{"Several", Kr::toText(std::span(kThree)), "1 -2 3"},
                    NumberCase{"Bytes", Kr::toHex("\0\x7f\xff"sv), "007fff"}),
    [](const auto& each) { return std::string(each.param.name); });

struct ParseCase {
    const char* name;
    std::optional<std::uint8_t> parsed;
    std::optional<std::uint8_t> expected;
};

class ParsedNumber : public testing::TestWithParam<ParseCase> {};

TEST_P(ParsedNumber, IsThatOfTheWholeTextOrNone) {
    EXPECT_EQ(GetParam().parsed, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, ParsedNumber,
                         testing::Values(ParseCase{"Largest", Kr::parseNumber<std::uint8_t>("255"), 255},
                                         ParseCase{"TooLarge", Kr::parseNumber<std::uint8_t>("256"), std::nullopt},
                                         ParseCase{"Empty", Kr::parseNumber<std::uint8_t>(""), std::nullopt},
                                         ParseCase{"Blank", Kr::parseNumber<std::uint8_t>(" 1"), std::nullopt},
                                         ParseCase{"Plus", Kr::parseNumber<std::uint8_t>("+1"), std::nullopt},
                                         ParseCase{"Tail", Kr::parseNumber<std::uint8_t>("1a"), std::nullopt},
                                         ParseCase{"Sixteen", Kr::parseNumber<std::uint8_t>("fA", 16), 0xFA}),
                         [](const auto& each) { return std::string(each.param.name); });

struct CharacterCase {
    const char* name;
    std::string_view text;
    std::size_t length;
};

class Utf8Character : public testing::TestWithParam<CharacterCase> {};

TEST_P(Utf8Character, HasTheLengthOfItsFirstByteWhereItIsWhole) {
    EXPECT_EQ(Kr::getUtf8CharacterLength(GetParam().text, 0), GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Utf8Character,
    testing::Values(CharacterCase{"Letter", "a\x80", 1}, CharacterCase{"Zero", "\0"sv, 1},
                    CharacterCase{"LastOfTwo", "\xDF\xBF", 2}, CharacterCase{"FirstOfThree", "\xE0\xA0\x80", 3},
                    CharacterCase{"LastOfFour", "\xF4\x8F\xBF\xBF", 4}, CharacterCase{"Continuation", "\x80", 0},
                    CharacterCase{"OverlongTwo", "\xC1\xBF", 0}, CharacterCase{"OverlongThree", "\xE0\x9F\xBF", 0},
                    CharacterCase{"OverlongFour", "\xF0\x8F\xBF\xBF", 0}, CharacterCase{"Surrogate", "\xED\xA0\x80", 0},
                    CharacterCase{"Beyond", "\xF4\x90\x80\x80", 0}, CharacterCase{"CutOff", "\xE2\x82", 0},
                    CharacterCase{"Interrupted", "\xE2\x82x", 0}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace text_test
