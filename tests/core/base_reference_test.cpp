#include "kr/core/base_reference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/core/base.h"
#include "kr/core/name_path_base_interface.h"
#include "tests/support/log_capture.h"

namespace base_reference_test {

using Kr::KrBase;
using Kr::KrBaseReference;
using Kr::KrNamePathBaseInterfaceRegistry;

class Node : public KrBase {
    KR_BASE_CLASS(Node, Kr::KrBase)

    explicit Node(const char* name) { setName(name); }
    Node* add(const char* name) { return children.emplace_back(std::make_unique<Node>(name)).get(); }

    std::vector<std::unique_ptr<Node>> children;
    bool isBroken{false};
    int searches{0};
};

class NodeInterface : public Kr::KrNamePathBaseInterface {
public:
    static std::unique_ptr<KrNamePathBaseInterface> create() { return std::make_unique<NodeInterface>(); }

    [[nodiscard]] KrBase* findChild(KrBase& parent, const std::string& className,
                                    const std::string& objectName) const override {
        auto& node = static_cast<Node&>(parent);
        ++node.searches;
        if (node.isBroken) throw std::runtime_error("broken");
        for (const auto& child : node.children) {
            if (child->getClassName() == className && child->getName() == objectName) return child.get();
        }
        return nullptr;
    }
    [[nodiscard]] std::vector<KrBase*> getChildren(KrBase& parent) const override {
        std::vector<KrBase*> children;
        for (const auto& child : static_cast<Node&>(parent).children)
            children.push_back(child.get());
        return children;
    }
};

class BaseReference : public testing::Test {
protected:
    BaseReference() { KrNamePathBaseInterfaceRegistry::registerInterface(typeid(Node), &NodeInterface::create); }
    ~BaseReference() override {
        KrBaseReference::enableCache(false);
        KrNamePathBaseInterfaceRegistry::unregisterInterface(typeid(Node), &NodeInterface::create);
    }

    Node root{"root"};
    Node* house = root.add("house");
    Node* door = house->add("front door");
};

TEST_F(BaseReference, TextLeadsToTheObjectOrSaysOnceThatItDoesNot) {
    struct Case {
        std::string text;
        std::string target;  // name of the object found
        bool isLogged;
    };
    const Case cases[] = {{"null", "", false},
                          {"", "", false},
                          {"base:/", "", false},
                          {"base://", "root", false},
                          {"base:///Node/house/Node/front door", "front door", false},
                          {"base://Node/house", "house", false},
                          {"base:///Node/house/Node/attic", "", true},
                          {"base:///Node/barn/Node/front door", "", true},
                          {"base:///Node/house/Node", "", true},
                          {"base:///", "", true},
                          {"base:///Node/house/", "", true},
                          {"base:////Node/house", "", true},
                          {"http:///Node/house", "house", false},
                          {"missing", "root", false}};
    for (const auto& [text, target, isLogged] : cases) {
        const test_support::LogCapture log;
        KrBaseReference reference(text, &root);
        const std::string message = "5 KrBaseReference: Could not locate object with path " + text + ".\n";
        EXPECT_EQ(log.lines(), std::vector<std::string>(isLogged ? 1 : 0, message));
        const KrBase* found = reference.getBase();
        EXPECT_EQ(found ? found->getName() : "", target) << text;
    }
}

TEST_F(BaseReference, BuiltFromAPathReadsBack) {
    house->setName(nullptr);
    const KrBaseReference built(std::vector<KrBase*>{house, nullptr, door});
    EXPECT_EQ(built.getText(),
              "base:///Node/default_Node_" + std::to_string(house->getCreationIndex()) + "/Node/front door");
    EXPECT_EQ(KrBaseReference(built.getText(), &root).getBase(), door);
    EXPECT_EQ(KrBaseReference(std::vector<KrBase*>{}).getText(), "null");
}

TEST_F(BaseReference, FindsTheSuccessorOfADeadTargetButNotInADeadContext) {
    KrBaseReference reference(house, &root);
    EXPECT_EQ(reference.getBase(), house);
    EXPECT_EQ(root.searches, 0);
    root.children.clear();
    EXPECT_EQ(reference.getBase(), nullptr);
    Node* successor = root.add("house");
    EXPECT_EQ(reference.getBase(), successor);
    EXPECT_EQ(KrBaseReference(&root, &root).getText(), "base://");
    EXPECT_EQ(KrBaseReference(nullptr, &root).getText(), "null");

    auto context = std::make_unique<Node>("context");
    context->add("child");
    KrBaseReference orphan("base:///Node/child", context.get());
    ASSERT_NE(orphan.getBase(), nullptr);
    context.reset();
    EXPECT_EQ(orphan.getBase(), nullptr);
}

/// One place for a node, so that the next one has its address; each has the creation index 0.
class NodeInOnePlace {
public:
    Node& makeAnew() {
        _node.reset();
        KrBase::resetKrBaseCounter();
        return _node.emplace("node");
    }

private:
    std::optional<Node> _node;
};

TEST_F(BaseReference, DoesNotTakeAnotherObjectAtTheAddressOfItsTargetForIt) {
    NodeInOnePlace place;
    KrBaseReference reference(&place.makeAnew(), nullptr);
    place.makeAnew();
    EXPECT_EQ(reference.getBase(), nullptr);
}

TEST_F(BaseReference, DoesNotSearchBelowAnotherObjectAtTheAddressOfItsContext) {
    NodeInOnePlace place;
    KrBaseReference reference("base:///Node/child", &place.makeAnew());
    place.makeAnew().add("child");
    EXPECT_EQ(reference.getBase(), nullptr);
    EXPECT_EQ(reference.getContext(), nullptr);
}

TEST_F(BaseReference, TheCacheKnowsObjectsAtOneAddressApart) {
    NodeInOnePlace place;
    KrBaseReference::enableCache(true);
    auto& first = place.makeAnew();
    first.add("child");
    EXPECT_NE(KrBaseReference("base:///Node/child", &first).getBase(), nullptr);
    auto& second = place.makeAnew();
    EXPECT_EQ(KrBaseReference("base:///Node/child", &second).getBase(), nullptr);
}

TEST_F(BaseReference, AThrowingInterfaceCountsAsAMissingChild) {
    const test_support::LogCapture log;
    root.isBroken = true;
    EXPECT_EQ(KrBaseReference("base:///Node/house", &root).parse(&root), nullptr);
    EXPECT_THAT(log.lines(), testing::Contains("3 KrBaseReference: fatal error in 'Node' findChild() [broken]\n"));
}

TEST_F(BaseReference, OrdersByContextThenTargetThenText) {
    Node other("other");
    const KrBaseReference unresolvedA("null", &root), unresolvedB("base:/", &root), elsewhere("null", &other);
    const KrBaseReference resolved("base://", &root);
    EXPECT_TRUE(unresolvedB < unresolvedA);
    EXPECT_FALSE(unresolvedA < unresolvedB);
    EXPECT_TRUE(unresolvedA < resolved);
    EXPECT_EQ(unresolvedA < elsewhere, std::less<KrBase*>()(&root, &other));
    EXPECT_FALSE(resolved < resolved);
}

TEST_F(BaseReference, CacheSavesTheWalkUntilItIsClearedOrSwitchedOff) {
    const auto searchesAfter = [&](const std::function<void()>& change) {
        change();
        EXPECT_EQ(KrBaseReference("base:///Node/house", &root).getBase(), house);
        EXPECT_EQ(KrBaseReference("base:///Node/house", &root).getBase(), house);
        return root.searches;
    };
    KrBaseReference::fillCache(&root);  // not enabled yet
    EXPECT_EQ(searchesAfter([] { KrBaseReference::enableCache(true); }), 1);
    EXPECT_EQ(searchesAfter([] { KrBaseReference::clearCache(); }), 2);
    EXPECT_EQ(searchesAfter([] { KrBaseReference::enableCache(false); }), 4);
    EXPECT_EQ(searchesAfter([] { KrBaseReference::enableCache(true); }), 5);
}

TEST_F(BaseReference, FilledCacheAnswersTheChildrenOfAnObjectAndNotTheDead) {
    KrBaseReference::enableCache(true);
    KrBaseReference::fillCache(nullptr);
    KrBaseReference::fillCache(&root);
    EXPECT_EQ(KrBaseReference("base:///Node/house", &root).getBase(), house);
    EXPECT_EQ(root.searches, 0);
    root.children.clear();
    EXPECT_EQ(KrBaseReference("base:///Node/house", &root).getBase(), nullptr);
    Node* successor = root.add("house");
    EXPECT_EQ(KrBaseReference("base:///Node/house", &root).getBase(), successor);
}

TEST_F(BaseReference, OneInterfacePerClassAndOnlyItsOwnerTakesItBack) {
    const auto other = []() -> std::unique_ptr<Kr::KrNamePathBaseInterface> { return NodeInterface::create(); };
    EXPECT_FALSE(KrNamePathBaseInterfaceRegistry::registerInterface(typeid(Node), other));
    EXPECT_FALSE(KrNamePathBaseInterfaceRegistry::registerInterface(typeid(KrBase), nullptr));
    EXPECT_FALSE(KrNamePathBaseInterfaceRegistry::unregisterInterface(typeid(Node), other));
    const auto held = Kr::KrNamePathBaseInterface::find(&root);
    EXPECT_TRUE(KrNamePathBaseInterfaceRegistry::unregisterInterface(typeid(Node), &NodeInterface::create));
    EXPECT_EQ(Kr::KrNamePathBaseInterface::find(&root), nullptr);
    EXPECT_EQ(Kr::KrNamePathBaseInterface::find(nullptr), nullptr);
    EXPECT_EQ(held->findChild(root, "Node", "house"), house);
}

}  // namespace base_reference_test
