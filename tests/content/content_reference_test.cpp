#include "kr/content/content_reference.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/platform/smart_ptr.h"
#include "tests/support/fake_content.h"
#include "tests/support/log_capture.h"
#include "tests/support/stress.h"

namespace content_reference_test {

using KrSim::KrContentDirectory;
using KrSim::KrContentID;
using KrSim::KrContentReference;
using test_support::FakeContent;
using Content = Kr::KrSmartPtr<FakeContent>;

const KrContentID kId = KrContentID::createFromWords(0xC0FFEE, 1);
const KrContentID kOtherId = KrContentID::createFromWords(0xC0FFEE, 2);

Content make(const KrContentID& id = kId) {
    return Kr::makeSmart<FakeContent>(id);
}

class ContentReference : public testing::Test {
protected:
    test_support::FakeContentScope scope;
};

/// The steps in the life of a reference, seen by get() and by the observer.
TEST_F(ContentReference, FollowsTheLifeOfContentWithItsID) {
    int calls = 0;
    KrContentReference reference(kId);
    reference.setObserver([&] { ++calls; });
    EXPECT_EQ(reference.get(), nullptr);
    Content first = make();
    EXPECT_EQ(reference.get(), first->asExtension());
    Content second = make();
    EXPECT_EQ(calls, 1);
    first.reset();
    EXPECT_EQ(reference.get(), second->asExtension()) << "the next one takes over";
    second.reset();
    EXPECT_EQ(reference.get(), nullptr);
    EXPECT_EQ(calls, 3);
    const Content third = make();
    EXPECT_EQ(reference.get(), third->asExtension());
    reference.setTarget(kOtherId);
    EXPECT_EQ(reference.get(), nullptr);
    EXPECT_EQ(calls, 4) << "the owner knows what it did itself";
}

TEST_F(ContentReference, OfTwoWithOneIDKeepsTheOneItWasMadeFrom) {
    Content first = make();
    Content second = make();
    const KrContentReference named(second->asExtension());
    const KrContentReference copy = named;
    const KrContentReference found(kId);
    EXPECT_EQ(copy.get(), second->asExtension());
    EXPECT_EQ(found.get(), first->asExtension());
    EXPECT_EQ(KrContentDirectory::find(kId.getRuntimeID()), first->asExtension());
    second.reset();
    EXPECT_EQ(named.get(), first->asExtension());
}

TEST_F(ContentReference, FollowsItsContentToAnotherID) {
    const Content content = make();
    const Content twin = make();
    const KrContentReference reference(kId);
    const KrContentReference waiting(kOtherId);
    const KrContentReference atTwin(twin->asExtension());
    content->changeID(kOtherId);
    EXPECT_EQ(reference.get(), content->asExtension());
    EXPECT_EQ(reference.getContentID(), kOtherId);
    EXPECT_EQ(waiting.get(), content->asExtension());
    EXPECT_EQ(atTwin.getContentID(), kId);
    EXPECT_EQ(KrContentDirectory::find(kId.getRuntimeID()), twin->asExtension());

    content->changeID({});
    EXPECT_EQ(KrContentDirectory::find({}), nullptr) << "the empty ID answers for nobody";
    const Content nameless = make({});
    content->leave();
    EXPECT_EQ(reference.get(), nullptr);
    EXPECT_EQ(waiting.get(), nullptr);
}

/// The ID as it is for content of another file.
KrContentID fromFile(const std::string& file) {
    auto id = kId;
    id.setFile(file);
    return id;
}

TEST_F(ContentReference, TakesTheOnlyContentOfItsItemUntilItsOwnComes) {
    int calls = 0;
    KrContentReference toMoved(fromFile("old.kro"));
    toMoved.setObserver([&] { ++calls; });
    const KrContentReference toUnnamed(kId);
    const Content moved = make(fromFile("new.kro"));
    EXPECT_EQ(toMoved.get(), moved->asExtension());
    EXPECT_EQ(toUnnamed.get(), moved->asExtension());
    EXPECT_EQ(KrContentReference(fromFile("old.kro")).get(), moved->asExtension()) << "also when it is there before";
    EXPECT_EQ(toMoved.getContentID(), fromFile("old.kro"));
    {
        const Content own = make(fromFile("old.kro"));
        EXPECT_EQ(toMoved.get(), own->asExtension());
        EXPECT_EQ(toUnnamed.get(), moved->asExtension()) << "one of two is kept by those that have it";
        EXPECT_EQ(KrContentReference(kId).get(), nullptr) << "and none is taken by others";
    }
    EXPECT_EQ(toMoved.get(), moved->asExtension());
    EXPECT_EQ(calls, 3);
    moved->leave();
    EXPECT_EQ(toMoved.get(), nullptr);
    EXPECT_EQ(toUnnamed.get(), nullptr);
    moved->enter();
    EXPECT_EQ(toMoved.get(), moved->asExtension());
}

TEST_F(ContentReference, ToOneOfSeveralOfAnItemWaitsUntilOneIsLeft) {
    const Content first = make(fromFile("a.kro"));
    Content second = make(fromFile("b.kro"));
    const KrContentReference reference(fromFile("c.kro"));
    EXPECT_EQ(reference.get(), nullptr);
    second.reset();
    EXPECT_EQ(reference.get(), first->asExtension());
    first->changeID(fromFile("d.kro"));
    EXPECT_EQ(reference.getContentID(), fromFile("d.kro")) << "its content has another ID now";
    EXPECT_EQ(KrContentReference(fromFile("a.kro")).get(), first->asExtension()) << "and is the same item";
    first->changeID(kOtherId);
    EXPECT_EQ(reference.get(), first->asExtension());
    EXPECT_EQ(KrContentReference(fromFile("a.kro")).get(), nullptr);
}

TEST_F(ContentReference, AStrongOneKeepsTheContentOfItsItem) {
    KrContentReference reference;
    reference.enableStrongReference(true);
    const Content moved = make(fromFile("new.kro"));
    reference.setTarget(fromFile("old.kro"));
    EXPECT_EQ(moved->getRefCount(), 2);
    const Content own = make(fromFile("old.kro"));
    EXPECT_EQ(reference.get(), moved->asExtension());
    reference.enableStrongReference(false);
    EXPECT_EQ(reference.get(), own->asExtension());
}

TEST_F(ContentReference, AStrongOneHoldsAndAWeakOneDoesNot) {
    KrContentReference reference(kId);
    reference.enableStrongReference(true);
    FakeContent* raw = nullptr;
    {
        const Content content = make();
        raw = content.get();
        content->leave();
        content->enter();  // found again, now that somebody holds it
        EXPECT_EQ(content->getRefCount(), 2);
    }
    EXPECT_EQ(reference.get(), raw->asExtension());
    const KrContentReference copy = reference;
    EXPECT_TRUE(copy.isStrongReference());
    EXPECT_EQ(raw->getRefCount(), 2);
    raw->leave();
    EXPECT_EQ(reference.get(), raw->asExtension()) << "unregistered, but held";
    raw->changeID(kOtherId);
    EXPECT_EQ(copy.getContentID(), kOtherId);
    raw->enter();
    reference.enableStrongReference(false);
    EXPECT_EQ(reference.get(), raw->asExtension());
    KrContentReference last = copy;
    last.enableStrongReference(false);
    EXPECT_EQ(raw->getRefCount(), 1);
    const_cast<KrContentReference&>(copy).enableStrongReference(false);
    EXPECT_EQ(reference.get(), nullptr) << "the last holder let go";
}

TEST_F(ContentReference, AStrongOneIsTheFirstHolderOfWhatItIsGiven) {
    KrContentReference reference;
    reference.enableStrongReference(true);
    auto* content = new FakeContent(kId);
    reference.setTarget(content->asExtension());
    EXPECT_EQ(content->getRefCount(), 1);
    reference.reset();
    EXPECT_EQ(KrContentDirectory::find(kId.getRuntimeID()), nullptr);
    EXPECT_TRUE(reference.isEmpty());
    EXPECT_TRUE(reference.isStrongReference());
}

TEST_F(ContentReference, DisconnectedItFindsNothingUntilItIsConnectedOrTold) {
    const Content content = make();
    KrContentReference weak(content->asExtension());
    KrContentReference strong(content->asExtension());
    strong.enableStrongReference(true);
    for (KrContentReference* each : {&weak, &strong})
        each->disconnectFromRegistry();
    EXPECT_EQ(weak.get(), nullptr);
    EXPECT_EQ(strong.get(), content->asExtension());
    EXPECT_FALSE(KrContentReference(weak).isConnectedToRegistry());

    const Content other = make(kOtherId);
    EXPECT_FALSE(weak.onExtensionRegistered(other->asExtension()));
    EXPECT_TRUE(weak.onExtensionRegistered(content->asExtension()));
    weak.disconnectFromRegistry();
    weak.connectToRegistry();
    EXPECT_EQ(weak.get(), content->asExtension());
}

TEST_F(ContentReference, AMovedOneTakesItsObserverAlong) {
    int calls = 0;
    std::vector<KrContentReference> references(1, KrContentReference(kId));
    references.front().setObserver([&] { ++calls; });
    KrContentReference copy = references.front();
    references.resize(5);
    Content content = make();
    EXPECT_EQ(calls, 1) << "once, for the moved one: a copy has no observer";
    copy = std::move(references.front());
    EXPECT_TRUE(references.front().isEmpty());
    content.reset();
    EXPECT_EQ(calls, 2);
}

TEST_F(ContentReference, OwnersMayDieOrThrowWhenTheyAreTold) {
    const test_support::LogCapture log;
    auto dying = std::make_unique<KrContentReference>(kId);
    dying->setObserver([&] { dying.reset(); });
    KrContentReference throwing(kId);
    throwing.setObserver([] { throw std::runtime_error("no"); });
    KrContentReference odd(kId);
    odd.setObserver([] { throw 1; });
    std::optional<Content> nested;
    KrContentReference registering(kId);
    registering.setObserver([&] {
        if (registering.get() && !nested) nested = make();  // the directory is not locked
    });
    {
        const Content content = make();
        EXPECT_EQ(dying, nullptr);
        registering.setObserver(nullptr);
    }
    const std::string name = kId.toString();
    const std::string thrown = "3 KrContentReference: fatal error in '" + name + "' onExtensionRegistered() [no]\n";
    const std::string unknown = "3 KrContentReference: unhandled exception in '" + name + "' onExtensionRegistered()\n";
    EXPECT_THAT(log.lines(), testing::UnorderedElementsAre(thrown, unknown, thrown, unknown));
}

TEST_F(ContentReference, ContentComesAndGoesOnOtherThreads) {
    const auto changeContent = [](int, int round) {
        const Content content = make(round % 2 == 0 ? kId : kOtherId);
        content->changeID(kOtherId);
    };
    KrContentReference kept(kId);
    int dead = 0;
    test_support::runStress(500, changeContent, [&] {
        int calls = 0;  // nobody counts on when the reference is gone
        KrContentReference reference(kId);
        reference.setObserver([&calls] { ++calls; });
        reference.setTarget(kOtherId);
        reference.enableStrongReference(true);
        kept = reference;
        const KrContentDirectory::Held held = KrContentDirectory::hold(kOtherId.getRuntimeID());
        if (held.first && held.second->getRefCount() < 1) ++dead;
        kept.enableStrongReference(false);
    });
    EXPECT_EQ(dead, 0);
    EXPECT_EQ(kept.get(), nullptr);
    EXPECT_EQ(KrContentDirectory::find(kOtherId.getRuntimeID()), nullptr);
}

}  // namespace content_reference_test
