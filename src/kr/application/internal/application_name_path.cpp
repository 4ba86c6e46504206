#include "kr/application/internal/application_name_path.h"

#include <functional>
#include <memory>

#include "kr/application/application.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/core/name_path_base_interface.h"

namespace KrSim::detail {

namespace {

using Kr::KrBase;
using Interface = Kr::KrNamePathBaseInterface;

class ProcessNamePath final : public Interface {
public:
    static std::unique_ptr<Interface> create() { return std::make_unique<ProcessNamePath>(); }

    [[nodiscard]] std::vector<KrBase*> getChildren(KrBase& parent) const override {
        return static_cast<ProcessRoot&>(parent).getApplications();
    }
};

class ApplicationNamePath final : public Interface {
public:
    static std::unique_ptr<Interface> create() { return std::make_unique<ApplicationNamePath>(); }

    [[nodiscard]] std::vector<KrBase*> getChildren(KrBase& parent) const override {
        const auto& application = static_cast<KrApplication&>(parent);
        std::vector<KrBase*> children;
        for (std::size_t i = 0; auto* module = application.getModule(i); ++i)
            children.push_back(module);
        for (std::size_t i = 0; auto* extension = application.getExtension(i); ++i)
            children.push_back(extension);
        return children;
    }
};

}  // namespace

ProcessRoot& ProcessRoot::instance() {
    static auto& root =
        [] {
            using Registry = Kr::KrNamePathBaseInterfaceRegistry;
            Registry::registerInterface(typeid(ProcessRoot), &ProcessNamePath::create);
            Registry::registerInterface(typeid(KrApplication), &ApplicationNamePath::create);
            return std::ref(*new ProcessRoot);
        }()
            .get();
    return root;
}

void ProcessRoot::_enter(KrApplication& application) {
    const std::lock_guard lock(_mutex);
    _applications.push_back(&application);
}

void ProcessRoot::_leave(const KrApplication& application) noexcept {
    const std::lock_guard lock(_mutex);
    std::erase(_applications, &application);
}

std::vector<KrBase*> ProcessRoot::getApplications() const {
    const std::lock_guard lock(_mutex);
    return {_applications.begin(), _applications.end()};
}

}  // namespace KrSim::detail
