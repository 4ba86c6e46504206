#include "kr/extension/internal/object_name_path.h"

#include <memory>
#include <vector>

#include "kr/core/name_path_base_interface.h"
#include "kr/extension/object.h"

namespace KrSim::detail {

namespace {

class ObjectNamePath final : public Kr::KrNamePathBaseInterface {
public:
    static std::unique_ptr<KrNamePathBaseInterface> create() { return std::make_unique<ObjectNamePath>(); }

    [[nodiscard]] std::vector<Kr::KrBase*> getChildren(Kr::KrBase& parent) const override {
        std::vector<Kr::KrBase*> children;
        for (const auto& each : static_cast<KrObject&>(parent).getExtensions())
            children.push_back(each.get());
        return children;
    }
};

}  // namespace

bool registerObjectNamePath() {
    return Kr::KrNamePathBaseInterfaceRegistry::registerInterface(typeid(KrObject), &ObjectNamePath::create);
}

}  // namespace KrSim::detail
