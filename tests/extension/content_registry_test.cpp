#include "kr/extension/content_registry.h"

#include <gmock/gmock.h>

#include "kr/content/content_reference.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_hash_map.h"
#include "kr/platform/smart_ptr.h"
#include "tests/support/log_capture.h"

namespace content_registry_test {

using Kr::makeSmart;
using KrSim::KrContentID;
using KrSim::KrContentReference;
using KrSim::KrContentRegistry;
using KrSim::KrExtension;
using KrSim::KrExtensionHashMap;
using KrSim::detail::ExtensionAccess;
using testing::ElementsAre;

const KrContentID kId = KrContentID::createFromWords(0xABBA, 1);
const KrContentID kOtherId = KrContentID::createFromWords(0xABBA, 2);

TEST(ContentRegistry, KnowsExtensionsFromBirthToDeathAndByTheirPresentID) {
    KrContentRegistry& registry = KrContentRegistry::instance();
    const std::size_t before = registry.getExtensionCount();
    KrContentReference reference(kId);
    auto extension = makeSmart<KrExtension>();
    const KrContentID born = extension->getContentID();
    EXPECT_EQ(registry.lock(born), extension);
    ExtensionAccess::setContentID(*extension, kId);
    EXPECT_EQ(registry.find(born), nullptr);
    EXPECT_EQ(reference.lock(), extension);

    registry.unregisterExtension(extension.get());
    EXPECT_FALSE(registry.isRegistered(extension.get()));
    EXPECT_EQ(reference.get(), nullptr);
    ExtensionAccess::setContentID(*extension, kOtherId);
    EXPECT_EQ(registry.find(kOtherId), nullptr) << "a new ID registers nobody";
    registry.registerExtension(extension.get());
    registry.registerExtension(extension.get());
    EXPECT_EQ(registry.find(kOtherId), extension.get());
    EXPECT_EQ(registry.getExtensionCount(), before + 1);
    extension.reset();
    EXPECT_EQ(registry.find(kOtherId), nullptr);
    EXPECT_EQ(registry.getExtensionCount(), before);
}

TEST(ContentRegistry, AReferenceInADestructorSeesNoHolderOfTheDying) {
    struct Dying final : KrExtension {
        ~Dying() override { *wasHeld = reference.lock() != nullptr; }
        KrContentReference reference;
        bool* wasHeld{nullptr};
    };
    bool wasHeld = true;
    auto extension = makeSmart<Dying>();
    extension->reference.setTarget(extension.get());
    extension->wasHeld = &wasHeld;
    EXPECT_NE(extension->reference.lock(), nullptr);
    extension.reset();
    EXPECT_FALSE(wasHeld);
}

TEST(ExtensionHashMap, KeepsOneExtensionForEachHash) {
    const auto first = makeSmart<KrExtension>();
    const auto second = makeSmart<KrExtension>();
    ExtensionAccess::setContentID(*first, kId);
    first->setName("First");
    ExtensionAccess::setContentID(*second, kOtherId);
    second->setName("Second");
    KrExtensionHashMap map;
    for (KrExtension* each : {first.get(), first.get(), second.get(), static_cast<KrExtension*>(nullptr)})
        map.registerExtension(each);
    EXPECT_EQ(map.getExtensionsCount(), 2U);
    EXPECT_EQ(map[kId.getRuntimeIDAsWords()], first.get());
    EXPECT_EQ(map[second.get()], kOtherId.getRuntimeIDAsWords());

    const test_support::LogCapture log;
    ExtensionAccess::setContentID(*first, kOtherId);
    EXPECT_FALSE(map.isValid());
    map.registerExtension(first.get());
    EXPECT_EQ(map[first.get()], kId.getRuntimeIDAsWords());
    map.unregisterExtension(first.get());
    EXPECT_FALSE(map.isRegistered(first.get()));
    EXPECT_EQ(map[kId.getRuntimeIDAsWords()], nullptr);
    map.registerExtension(first.get());
    EXPECT_EQ(map[first.get()], KrExtensionHashMap::Hash(0, 0));
    EXPECT_EQ(map[kOtherId.getRuntimeIDAsWords()], second.get());
    EXPECT_TRUE(map.isValid());
    EXPECT_THAT(log.lines(),
                ElementsAre("2 KrExtensionHashMap: Inconsistency detected for 'First (KrExtension)', was it added "
                            "previously under a different name?\n",
                            "2 KrExtensionHashMap: An extension with the same hash code already exists, added: 'First "
                            "(KrExtension)', conflicts with: 'Second (KrExtension)'\n"));
}

}  // namespace content_registry_test
