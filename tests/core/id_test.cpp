#include "kr/core/id.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace id_test {

using Kr::KrID;
using namespace Kr::literals;

// Made while the program starts, before any code of the library was called from here.
const KrID earlyId("Early bird");

TEST(Id, NumberAndTextComeFromTheBytes) {
    using namespace std::string_view_literals;
    EXPECT_EQ(KrID(nullptr), KrID(""));
    const std::pair<std::string_view, std::int32_t> textsAndNumbers[] = {
        {"", -1}, {{}, -1}, {"123456789", -873187034}, {"a b.c/\"\xC3\xA9", 658466095}, {"a\0b"sv, 367556721},
    };
    for (const auto& [text, number] : textsAndNumbers) {
        const KrID id(text);
        EXPECT_EQ(id.getNumber(), number);
        EXPECT_EQ(KrID::numberFor(text), number);
        EXPECT_EQ(id.str(), text);
        EXPECT_EQ(id.isEmpty(), text.empty());
        EXPECT_EQ(&KrID(std::string(text)).str(), &id.str());
    }
}

TEST(Id, TextWithTheNumberOfTheEmptyIdentifierKeepsItsText) {
    const KrID id("\xFF\xFF\xFF\xFF");
    EXPECT_EQ(id, KrID());
    EXPECT_FALSE(id.isEmpty());
    EXPECT_EQ(id.str(), "\xFF\xFF\xFF\xFF");
    EXPECT_TRUE(KrID("").isEmpty());
}

TEST(Id, LiteralIsInternedOnceAndHasItsNumberAtCompileTime) {
    static_assert(KrID::numberFor("123456789") == -873187034);
    EXPECT_EQ("Literal"_id, KrID("Literal"));
    EXPECT_EQ(&"Literal"_id.str(), &KrID("Literal").str());
    EXPECT_TRUE(""_id.isEmpty());
    EXPECT_EQ(earlyId.str(), "Early bird");
    EXPECT_EQ(KrID::_get(KrID::numberFor("nobody ever interned this")), nullptr);
}

// A text that moved or was entered twice when the table grew would show here.
TEST(Id, TextsStayInPlaceWhileTheTableGrows) {
    const auto make = [](int number) { return KrID("Growing " + std::to_string(number)); };
    std::vector<const std::string*> texts;
    for (int i = 0; i < 20000; ++i)
        texts.push_back(&make(i).str());
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(&make(i).str(), texts[static_cast<std::size_t>(i)]);
}

TEST(Id, ThreadsThatInternTheSameTextsGetTheSameStrings) {
    std::vector<const std::string*> found[4];
    std::latch start(4);
    std::vector<std::jthread> threads;
    for (auto& texts : found) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < 5000; ++i) {
                const KrID id("Shared " + std::to_string(i));
                ASSERT_EQ(id.str(), "Shared " + std::to_string(i));
                texts.push_back(&id.str());
            }
        });
    }
    threads.clear();
    EXPECT_THAT(found, testing::Each(found[0]));
}

}  // namespace id_test
