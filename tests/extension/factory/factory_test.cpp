#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/core/base.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/internal/type_registration.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/i_extension.h"
#include "tests/support/log_capture.h"
#include "tests/support/stress.h"

namespace factory_test {

using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;
using KrSim::KrUuid;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::StartsWith;

using ExtensionPtr = Kr::KrSmartPtr<KrExtension>;

const char* const kLowUuid = "00000000-0000-4000-8000-000000000001";
const char* const kHighUuid = "{FFFFFFFF-0000-4000-8000-000000000002}";

class Wheel : public KrSim::IExtension {
public:
    // A constructor may let others hold its proxy for a moment.
    explicit Wheel(KrExtension* proxy) : IExtension(proxy, 3) { const ExtensionPtr held(proxy); }
};

/// Registers a type for as long as it lives.
template <class T = Wheel>
struct Registered {
    explicit Registered(KrFactoryKey typeKey)
        : key(std::move(typeKey)), isAccepted(KrSim::registerExtensionType<T>(key)) {}
    Registered(const Registered&) = delete;
    Registered& operator=(const Registered&) = delete;
    ~Registered() {
        if (isAccepted) KrExtensionFactory::unregisterType(key);
    }

    const KrFactoryKey key;
    const bool isAccepted;
};

TEST(Factory, RefusesIncompleteKeys) {
    const KrFactoryKey keys[] = {
        {}, {"", "Zoo", ""}, {"", "", "Wheel"}, {kLowUuid, "Zoo", ""}, {kLowUuid, "", "Wheel"}};
    for (const auto& key : keys) {
        const LogCapture log;
        EXPECT_FALSE(Registered<Wheel>(key).isAccepted);
        EXPECT_THAT(log.lines(),
                    ElementsAre("3 KrExtensionFactory: The factory key for 'factory_test::Wheel' is incomplete. "
                                "Cannot register the type to the factory.\n"));
    }
}

TEST(Factory, RegistersSeveralTypesWholeOrNotAtAllAndWithdrawsOnlyItsOwn) {
    const Registered<> other({kLowUuid, "Zoo", "Wheel", "Others"});
    const auto describe = [](const char* uuid) {
        return KrExtensionFactory::TypeDescription{{uuid, "Zoo", "Axle", "Ours"},
                                                   &KrSim::detail::createExtension<Wheel>,
                                                   nullptr,
                                                   KrExtensionFactory::eType::kExtension,
                                                   &typeid(Wheel)};
    };
    const KrExtensionFactory::TypeDescription ours[] = {describe(kHighUuid), describe(kLowUuid)};
    const LogCapture log;
    EXPECT_FALSE(KrSim::detail::registerTypes(ours));
    EXPECT_FALSE(KrExtensionFactory::isValid(ours[0].key));
    EXPECT_TRUE(KrSim::detail::unregisterTypes(ours));
    EXPECT_TRUE(KrExtensionFactory::isValid(other.key));

    EXPECT_TRUE(KrSim::detail::registerTypes({ours, 1}));
    auto instance = KrExtensionFactory::create(ours[0].key);
    EXPECT_FALSE(KrSim::detail::unregisterTypes(ours));
    instance.reset();
    EXPECT_TRUE(KrSim::detail::unregisterTypes(ours));
    EXPECT_TRUE(!KrExtensionFactory::isValid(ours[0].key));
}

TEST(Factory, MakesTheUuidOfAKeyFromItsNames) {
    const Registered<> plain({"", "Zoo", "Wheel"});
    const Registered<> module({KrUuid::createFromName("Zoo_KrSimulatorModule_Engine"), "Zoo", "Motor"});
    const auto made = KrExtensionFactory::create({"", "Zoo", "Wheel"});
    ASSERT_TRUE(made);
    EXPECT_EQ(made->getCreationKey().uuid, KrUuid::createFromName("Zoo_KrExtensionFactory_Wheel"));
    EXPECT_EQ(made->getImplementationVersion(), 3);
    EXPECT_THAT(made->getName(), StartsWith("Wheel_default_"));
    EXPECT_TRUE(KrExtensionFactory::isValid({"", "Zoo", "Engine"}));
    EXPECT_FALSE(KrExtensionFactory::isValid({kHighUuid, "Zoo", "Wheel"}));
}

TEST(Factory, FindsATypeByItsNamesAndGivesTheExtensionTheRegisteredKey) {
    const Registered<> high({kHighUuid, "Zoo", "Wheel", "B"}), low({kLowUuid, "Zoo", "Wheel", "A"});
    const auto made = KrExtensionFactory::create({"5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e43", "Zoo", "Wheel"});
    ASSERT_TRUE(made);
    EXPECT_EQ(made->getCreationKey(), low.key);
    EXPECT_THAT(KrExtensionFactory::getInstances(low.key), ElementsAre(made.get()));
    EXPECT_THAT(KrExtensionFactory::getInstances(high.key), ElementsAre());
}

TEST(Factory, GivesNullForUnknownKeysAndIsSilentAboutFoldersAndViews) {
    const LogCapture log;
    EXPECT_FALSE(KrExtensionFactory::create({kLowUuid, "Zoo", "Folder"}));
    EXPECT_FALSE(KrExtensionFactory::create(KrSim::Keys::HierarchyView::kInternalFactoryKey));
    EXPECT_FALSE(KrExtensionFactory::create({}));
    EXPECT_FALSE(KrExtensionFactory::create({kLowUuid, "Zoo", "Wheel"}));
    EXPECT_THAT(log.lines(),
                ElementsAre("3 KrExtensionFactory: Unable to create , extension is not registered.\n",
                            "3 KrExtensionFactory: Unable to create Zoo.Wheel {00000000-0000-4000-8000-000000000001}, "
                            "extension is not registered.\n"));
}

TEST(Factory, KeepsATypeWhileInstancesOfItLive) {
    const Registered<> type({kLowUuid, "Zoo", "Wheel"});
    std::vector<ExtensionPtr> wheels;
    for (int count = 0; count < 4; ++count)
        wheels.push_back(KrExtensionFactory::create(type.key));
    wheels.erase(wheels.begin() + 1);
    wheels.pop_back();
    EXPECT_THAT(KrExtensionFactory::getInstances(type.key), ElementsAre(wheels[0].get(), wheels[1].get()));
    {
        const LogCapture log;
        EXPECT_FALSE(KrExtensionFactory::unregisterType(type.key));
        EXPECT_THAT(log.lines(), ElementsAre("3 KrExtensionFactory: 2 objects still exist. Cannot unregister Zoo.Wheel "
                                             "{00000000-0000-4000-8000-000000000001}.\n"));
    }
    wheels.clear();
    EXPECT_THAT(KrExtensionFactory::getInstances(type.key), ElementsAre());
    EXPECT_TRUE(KrExtensionFactory::unregisterType(type.key));
    EXPECT_TRUE(KrExtensionFactory::unregisterType(type.key));
}

enum class eFailure { kException, kNumber, kNoProxy };
template <eFailure failure>
class Broken : public KrSim::IExtension {
public:
    explicit Broken(KrExtension* proxy) : IExtension(failure == eFailure::kNoProxy ? nullptr : proxy, 1) {
        if (failure == eFailure::kException) throw std::runtime_error("no axle");
        if (failure == eFailure::kNumber) throw 7;
    }
};
template <eFailure failure>
void expectNothingMade(const testing::Matcher<const std::vector<std::string>&>& reported) {
    const Registered<Broken<failure>> type({kLowUuid, "Zoo", "Wheel"});
    const std::size_t before = Kr::KrBase::getKrBaseList().size();
    const LogCapture log;
    EXPECT_FALSE(KrExtensionFactory::create(type.key));
    EXPECT_EQ(Kr::KrBase::getKrBaseList().size(), before);
    EXPECT_THAT(log.lines(), reported);
    EXPECT_TRUE(KrExtensionFactory::unregisterType(type.key));
}
TEST(Factory, TakesAFailingConstructorForNothingMadeAndTriesItOnce) {
    const std::string key = "Zoo.Wheel {00000000-0000-4000-8000-000000000001}";
    expectNothingMade<eFailure::kException>(
        ElementsAre("3 KrExtensionFactory: fatal error while creating " + key + " [no axle]\n"));
    expectNothingMade<eFailure::kNumber>(
        ElementsAre("3 KrExtensionFactory: unhandled exception while creating " + key + "\n"));
    expectNothingMade<eFailure::kNoProxy>(
        ElementsAre("2 IExtension can't be created with a NULL proxy.\n",
                    StartsWith("3 KrExtensionFactory: Unable to create Zoo.Wheel {")));
}

TEST(Factory, CountsInstancesThatComeAndGoOnManyThreads) {
    const LogCapture quiet;
    const Registered<> type({kLowUuid, "Zoo", "Wheel"});
    const auto kept = KrExtensionFactory::create(type.key);
    std::atomic<int> withdrawn{0};
    const auto work = [&](int, int) {
        const auto first = KrExtensionFactory::create(type.key);
        const auto second = KrExtensionFactory::create(type.key);
        if (KrExtensionFactory::getInstances(type.key).size() < 3) ++withdrawn;
        if (KrExtensionFactory::unregisterType(type.key)) ++withdrawn;
    };
    test_support::runStress(100, work, [] {});
    EXPECT_EQ(withdrawn, 0);
    EXPECT_THAT(KrExtensionFactory::getInstances(type.key), ElementsAre(kept.get()));
}

bool isProbingShutdown = false;
void probeShutdown(int, void*) {
    if (isProbingShutdown) _exit(KrExtensionFactory::unregisterType({kLowUuid, "Zoo", "Wheel"}) ? 1 : 42);
}
// What is registered before any library starts runs after all of them have ended.
[[gnu::section(".preinit_array"), gnu::used]] void (*const kRegisterProbe)() = [] { on_exit(&probeShutdown, nullptr); };
TEST(FactoryDeathTest, WithdrawsNothingOnceTheLibraryShutsDown) {
    const auto end = [] {
        isProbingShutdown = true;
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(42), "");
}

}  // namespace factory_test
