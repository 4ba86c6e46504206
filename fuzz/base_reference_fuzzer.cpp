#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/core/base.h"
#include "kr/core/base_reference.h"
#include "kr/core/name_path_base_interface.h"

namespace {

class Node : public Kr::KrBase {
    KR_BASE_CLASS(Node, Kr::KrBase)

    explicit Node(const char* name) { setName(name); }
    Node* add(const char* name) { return children.emplace_back(std::make_unique<Node>(name)).get(); }

    std::vector<std::unique_ptr<Node>> children;
};

class NodeInterface : public Kr::KrNamePathBaseInterface {
public:
    static std::unique_ptr<KrNamePathBaseInterface> create() { return std::make_unique<NodeInterface>(); }

    [[nodiscard]] Kr::KrBase* findChild(Kr::KrBase& parent, const std::string& className,
                                        const std::string& objectName) const override {
        for (Kr::KrBase* child : getChildren(parent)) {
            if (child->getClassName() == className && child->getName() == objectName) return child;
        }
        return nullptr;
    }
    [[nodiscard]] std::vector<Kr::KrBase*> getChildren(Kr::KrBase& parent) const override {
        std::vector<Kr::KrBase*> children;
        for (const auto& child : static_cast<Node&>(parent).children)
            children.push_back(child.get());
        return children;
    }
};

struct Tree {
    Tree() {
        Kr::KrNamePathBaseInterfaceRegistry::registerInterface(typeid(Node), &NodeInterface::create);
        car = root.add("Car");
        wheel = car->add("Wheel");
        blank = car->add("");
    }
    Node root{"Root"};
    Node* car;
    Node* wheel;
    Node* blank;
};

}  // namespace

// Any text resolves to nothing or to an object of the tree, and says the same with the cache.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Tree tree;
    const std::string text(reinterpret_cast<const char*>(data), size);

    Kr::KrBaseReference reference(text, &tree.root);
    Kr::KrBase* const found = reference.getBase();
    Kr::KrBase* const known[] = {nullptr, &tree.root, tree.car, tree.wheel, tree.blank};
    if (std::find(std::begin(known), std::end(known), found) == std::end(known)) std::abort();

    Kr::KrBaseReference::enableCache(true);
    Kr::KrBaseReference::fillCache(&tree.root);
    const bool isSame = Kr::KrBaseReference(text, &tree.root).getBase() == found &&
                        Kr::KrBaseReference(text, &tree.root).getBase() == found;
    Kr::KrBaseReference::enableCache(false);
    if (!isSame) std::abort();
    return 0;
}
