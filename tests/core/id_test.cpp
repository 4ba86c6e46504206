#include "kr/core/id.h"

#include <gtest/gtest.h>

#include <latch>
#include <set>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace id_test {

using Kr::KrID;
using namespace Kr::literals;

// Made while the program starts, before any code of the library was called from here.
const KrID earlyId("Early bird");

struct TextCase {
    const char* name;
    std::string_view text;
    std::int32_t number;
};

class IdText : public testing::TestWithParam<TextCase> {};

TEST_P(IdText, NumberAndTextComeFromTheBytes) {
    const auto& [name, text, number] = GetParam();
    const KrID id(text);
    EXPECT_EQ(id.getNumber(), number);
    EXPECT_EQ(KrID::numberFor(text), number);
    EXPECT_EQ(id.str(), text);
    EXPECT_EQ(id.isEmpty(), text.empty());
    EXPECT_EQ(&KrID(std::string(text)).str(), &id.str());
}

INSTANTIATE_TEST_SUITE_P(Texts, IdText,
                         testing::Values(TextCase{"Empty", "", -1}, TextCase{"NullView", std::string_view(), -1},
                                         TextCase{"Digits", "123456789", -873187034},
                                         TextCase{"OddCharacters", "a b.c/\"\xC3\xA9", 658466095},
                                         TextCase{"ZeroByteInside", std::string_view("a\0b", 3), 367556721}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(Id, NullTextIsEmpty) {
    KrID id(nullptr);
    EXPECT_EQ(id, KrID());
    EXPECT_EQ(id.str(), "");
    id.reset("Speed");
    EXPECT_EQ(id, "Speed"_id);
    id.reset(nullptr);
    EXPECT_TRUE(id.isEmpty());
}

TEST(Id, TextsWithOneCrcShareTheFirstText) {
    const KrID first("plumless");
    const KrID second("buckeroo");
    EXPECT_EQ(first, second);
    EXPECT_EQ(second.str(), "plumless");
    EXPECT_EQ(KrID::_get(second.getNumber()), &first.str());
}

TEST(Id, TextWithTheNumberOfTheEmptyIdentifierKeepsItsText) {
    const KrID id("\xFF\xFF\xFF\xFF");
    EXPECT_EQ(id, KrID());
    EXPECT_FALSE(id.isEmpty());
    EXPECT_EQ(id.str(), "\xFF\xFF\xFF\xFF");
    EXPECT_TRUE(KrID("").isEmpty());
}

TEST(Id, UnknownNumberHasNoText) {
    EXPECT_EQ(KrID::_get(KrID::numberFor("nobody ever interned this")), nullptr);
}

TEST(Id, LiteralIsInternedOnceAndHasItsNumberAtCompileTime) {
    static_assert(KrID::numberFor("123456789") == -873187034);
    EXPECT_EQ("Literal"_id, KrID("Literal"));
    EXPECT_EQ(&"Literal"_id.str(), &KrID("Literal").str());
    EXPECT_TRUE(""_id.isEmpty());
    EXPECT_EQ(earlyId.str(), "Early bird");
}

TEST(Id, OrderAndHashFollowTheNumber) {
    const KrID first("a"), second("b");
    EXPECT_EQ(first < second, first.getNumber() < second.getNumber());
    EXPECT_NE(first, second);
    EXPECT_EQ(std::unordered_set<KrID>({first, second, KrID("a")}).size(), 2U);
}

// A text that moved or was entered twice when the table grew would show here.
TEST(Id, TextsStayInPlaceWhileTheTableGrows) {
    std::vector<KrID> ids;
    std::vector<const std::string*> texts;
    for (int i = 0; i < 20000; ++i) {
        ids.emplace_back("Growing " + std::to_string(i));
        texts.push_back(&ids.back().str());
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(KrID::_get(ids[i].getNumber()), texts[i]);
        EXPECT_EQ(&KrID("Growing " + std::to_string(i)).str(), texts[i]);
    }
}

TEST(Id, ThreadsThatInternTheSameTextsGetTheSameStrings) {
    constexpr int kThreads = 4;
    constexpr int kTexts = 5000;
    std::vector<std::vector<const std::string*>> found(kThreads);
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (int i = 0; i < kTexts; ++i) {
                const KrID id("Shared " + std::to_string(i));
                ASSERT_EQ(id.str(), "Shared " + std::to_string(i));
                found[static_cast<std::size_t>(thread)].push_back(&id.str());
            }
        });
    }
    threads.clear();
    for (const auto& texts : found)
        EXPECT_EQ(texts, found.front());
    EXPECT_EQ(std::set<const std::string*>(found[0].begin(), found[0].end()).size(), std::size_t{kTexts});
}

}  // namespace id_test
