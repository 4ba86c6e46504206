#include "kr/extension/content_registry.h"

#include "kr/content/content_directory.h"
#include "kr/content/i_content_resolver.h"
#include "kr/extension/extension.h"

namespace KrSim {

namespace {

class Resolver final : public IContentResolver {
public:
    [[nodiscard]] KrContentID getContentID(KrExtension* extension) const override { return extension->getContentID(); }
    [[nodiscard]] Kr::KrRefCount* asRefCount(KrExtension* extension) const noexcept override { return extension; }
};

}  // namespace

KrContentRegistry& KrContentRegistry::instance() {
    static auto& registry = *new KrContentRegistry;
    return registry;
}

KrContentRegistry::KrContentRegistry() {
    static const auto& resolver = *new Resolver;
    Kr::UpperLayer<IContentResolver>::install(&resolver);
}

void KrContentRegistry::registerExtension(KrExtension* extension) {
    if (extension) KrContentDirectory::add(extension, extension->getContentID());
}

void KrContentRegistry::unregisterExtension(KrExtension* extension) noexcept {
    if (extension) KrContentDirectory::remove(extension, extension->getContentID());
}

bool KrContentRegistry::isRegistered(const KrExtension* extension) const {
    return extension && KrContentDirectory::contains(extension, extension->getContentID().getRuntimeID());
}

KrExtension* KrContentRegistry::find(const KrContentID::Identifier& runtimeID) const {
    return KrContentDirectory::find(runtimeID);
}

Kr::KrSmartPtr<KrExtension> KrContentRegistry::lock(const KrContentID& id) const {
    const KrContentDirectory::Held held = KrContentDirectory::hold(id.getRuntimeID());
    return Kr::KrSmartPtr<KrExtension>(held.first);
}

Kr::KrSmartPtr<KrExtension> KrContentRegistry::resolve(const KrContentID& id) const {
    const KrContentDirectory::Held held = KrContentDirectory::resolve(id.getRuntimeID(), id.getRawID());
    return Kr::KrSmartPtr<KrExtension>(held.first);
}

std::size_t KrContentRegistry::getExtensionCount() const {
    return KrContentDirectory::getCount();
}

void KrContentRegistry::_onContentIDChanged(KrExtension* extension, const KrContentID& oldID,
                                            const KrContentID& newID) {
    if (extension) KrContentDirectory::changeID(extension, oldID, newID);
}

}  // namespace KrSim
