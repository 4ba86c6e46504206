#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "kr/extension/factory_keys.h"
#include "tests/persistence/content/garage.h"
#include "tests/support/log_capture.h"

namespace object_hostile_test {

using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using test_support::LogCapture;

#ifdef NDEBUG
constexpr int kMutations = 2'000;
#else
constexpr int kMutations = 300;
#endif

class BrokenFiles : public testing::TestWithParam<int> {
protected:
    static std::string makeFile(int flags) {
        auto top = makeObject(kGarageType, "Top", 1);
        const auto motor = make(kMotorType, "Motor", 2);
        top->add(motor.get());
        top->add(make({"11111111-2222-4333-8444-555555555555", "No", "Type", "none"}, "Lost", 3).get());
        top->getExtension(0)->addParameter("Target", Kr::KrID("Motor"))->set(motor.get());
        Kr::KrConnectionFactory::connect(motorOf(motor).speed.getField(),
                                         top->getExtension(0)->getImplementationAs<Motor>()->pedal.getField());
        const auto instance = top->instantiate(KrContentID::createFromWords(8, 8));
        return save({top, instance}, flags);
    }

    TypeScope _types;
};

TEST_P(BrokenFiles, AreReadWholeOrLeaveNothing) {
    LogCapture log;  // much would be printed
    const auto bytes = makeFile(GetParam());
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    std::size_t refused = 0;
    for (int seed = 0; seed < kMutations; ++seed) {
        std::mt19937 random(static_cast<unsigned>(seed));
        auto broken = bytes;
        for (auto count = 1 + random() % 3; count > 0; --count) {
            const auto place = 27 + random() % (broken.size() - 27);
            switch (random() % 3) {
                case 0:
                    broken[place] = static_cast<char>(random());
                    break;
                case 1:
                    broken[place] = static_cast<char>(broken[place] ^ (1 << random() % 8));
                    break;
                default:
                    broken.erase(place, 1 + random() % 16);
            }
        }
        auto loaded = load(broken);
        if (!loaded.error.empty()) {
            ++refused;
            ASSERT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before) << "seed " << seed;
        } else {
            static_cast<void>(save(loaded.objects, GetParam()));
        }
        loaded = {};
        ASSERT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before) << "seed " << seed;
    }
    EXPECT_GT(refused, kMutations / 10U) << "most bytes matter";
}

INSTANTIATE_TEST_SUITE_P(Kinds, BrokenFiles, testing::Values(0, KrFile::kJson, KrFile::kXml), [](const auto& each) {
    return each.param == KrFile::kXml ? "Xml" : each.param == KrFile::kJson ? "Json" : "Binary";
});

}  // namespace object_hostile_test
