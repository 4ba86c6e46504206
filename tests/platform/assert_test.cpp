#include "kr/platform/assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kr/platform/log.h"

namespace assert_test {

std::vector<std::string>& failures() {
    static std::vector<std::string> texts;
    return texts;
}

void record(const Kr::AssertionFailure& failure) {
    failures().push_back(std::string(failure.condition) + ": " + failure.message);
}

TEST(Assertion, ReplacedHandlerSeesOnlyFailuresAndTheProgramGoesOn) {
    failures().clear();
    const Kr::AssertionHandler original = Kr::setAssertionHandler(&record);
    int evaluations = 0;
    KR_ASSERT(++evaluations == 1, "holds");
    KR_ASSERT(++evaluations == 1, "counted twice");
    EXPECT_EQ(Kr::setAssertionHandler(nullptr), &record);
    EXPECT_EQ(Kr::setAssertionHandler(nullptr), original);
    EXPECT_EQ(evaluations, 2);
    EXPECT_THAT(failures(), testing::ElementsAre("++evaluations == 1: counted twice"));
}

TEST(AssertionDeathTest, DefaultEndsADebugProgramAndWarnsOtherwise) {
#ifdef NDEBUG
    testing::internal::CaptureStderr();
    KR_ASSERT(1 + 1 == 3, "arithmetic");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("WARN - Assertion failed: arithmetic"));
#else
    EXPECT_DEATH(KR_ASSERT(1 + 1 == 3, "arithmetic"), "FATAL - Assertion failed: arithmetic \\(1 \\+ 1 == 3\\)");
#endif
}

}  // namespace assert_test
