#include "kr/platform/guard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace guard_test {

using Kr::GuardedCall;
using testing::ElementsAre;

constexpr Kr::GuardTexts kOuter{Kr::eLogLevel::kDebug, "Test: fatal error in '%s' outer() [%s]\n",
                                "Test: unhandled exception in '%s' outer()\n", "outer"};
constexpr Kr::GuardTexts kInner{Kr::eLogLevel::kDebug, "Test: fatal error in '%s' inner() [%s]\n",
                                "Test: unhandled exception in '%s' inner()\n", "inner"};

/// The callbacks under way on this thread, the innermost first, with the names of their subjects.
std::vector<std::string> getUnderWay() {
    std::vector<std::string> all;
    for (const auto* each = GuardedCall::getInnermost(); each != nullptr; each = each->getOuter()) {
        const char* const name = each->getSubject().name;
        all.push_back(each->getTexts().callback + std::string(name != nullptr ? " of " : "") +
                      (name != nullptr ? name : ""));
    }
    return all;
}

/// Takes what is reported while it lives.
struct Reports {
    Reports() { Kr::setFailureObserver(&observe); }
    ~Reports() {
        Kr::setFailureObserver(nullptr);
        all.clear();
    }
    static void observe(const GuardedCall& call, const std::string& name, const char* what) noexcept {
        all.push_back(name + " " + call.getTexts().callback + ": " + (what != nullptr ? what : "unknown"));
    }
    static inline std::vector<std::string> all;
};

const auto nameOf = [] { return std::string("Ox"); };

TEST(Guard, NamesTheCallsThatAreUnderWayAndForgetsThoseThatThrew) {
    std::vector<std::string> inside;
    Kr::callGuarded(
        kOuter, nameOf,
        [&] {
            Kr::callGuarded(kInner, nameOf, [] { throw 42; });
            Kr::callGuarded(kInner, nameOf, [&] { inside = getUnderWay(); });
        },
        "Farm");
    EXPECT_THAT(inside, ElementsAre("inner", "outer of Farm"));
    EXPECT_THAT(getUnderWay(), ElementsAre());
}

TEST(Guard, ReportsEachExceptionOnceAlsoBelowTheLevelOfTheLog) {
    const Reports reports;
    ASSERT_LT(Kr::LogGetLevel(), Kr::eLogLevel::kDebug);
    Kr::callGuarded(kOuter, nameOf, [] {
        Kr::callGuarded(kInner, nameOf, [] { throw std::runtime_error("out of order"); });
        Kr::callGuarded(kInner, nameOf, [] { throw 42; });
    });
    EXPECT_THAT(Reports::all, ElementsAre("Ox inner: out of order", "Ox inner: unknown"));
}

}  // namespace guard_test
