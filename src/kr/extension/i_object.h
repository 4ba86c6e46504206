#pragma once

#include <string>

#include "kr/extension/i_extension.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The implementation half of an object: decides which extensions the object accepts, and is notified of them.
///
/// Everything else is as in IExtension. onAddToOwner of the extension is called before onExtensionAdded of the object,
/// and onExtensionRemoved of the object before onRemoveFromOwner of the extension.
/// Thread: application. Ownership: owned by its proxy.
class KR_API IObject : public IExtension {
public:
    using Proxy = KrObject;

    /// See IExtension.
    IObject(KrObject* proxy, int version);
    ~IObject() override;

    // --- Callbacks, in slot order after those of IExtension ---------------------------------------------------------
    /// Whether the object accepts this extension. The default accepts every extension that is no object.
    [[nodiscard]] virtual bool isCompatible(KrExtension* extension) const;
    /// The result is reserved; return true.
    virtual bool onExtensionAdded(KrExtension* extension);
    /// The extension is being removed; during the call it still belongs to the object.
    virtual void onExtensionRemoved(KrExtension* extension);
    /// Called after everything below the object was loaded.
    virtual void buildHierarchy();

    // --- The proxy; without one they do nothing and find nothing ---------------------------------------------------
    /// See KrObject.
    bool add(const KrSmartInterface<IExtension>& extension);
    void remove(const KrSmartInterface<IExtension>& extension);
    [[nodiscard]] KrExtension* findExtensionByName(const std::string& name, bool recursive) const;
    [[nodiscard]] Kr::KrArray<KrExtension*> findExtensionsByKey(const KrFactoryKey& key, bool recursive) const;

    [[nodiscard]] KrObject* _getObjectProxy() const noexcept { return _object; }

private:
    KrObject* _object;
};

}  // namespace KrSim
