#pragma once

#include <atomic>

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// The access of clones and instances to the factory, in an upper layer.
/// Thread: any. Ownership: none.
class KR_API IExtensionMaker {
public:
    /// See KrExtensionFactory::create.
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> create(const KrFactoryKey& key) const = 0;

protected:
    ~IExtensionMaker() = default;
};

/// The access of extensions to the sorter, in an upper layer; null before its first use.
/// Thread: any. Ownership: none.
class KR_API IExtensionOrder {
public:
    /// Removes a registered extension that dies.
    virtual void forget(KrExtension& extension) const = 0;
    /// Sets another owner of an extension, so that a build on another thread sees a living one.
    /// \param place  the member of the extension for its owner.
    virtual void changeOwner(const KrExtension& extension, std::atomic<KrObject*>& place, KrObject* owner) const = 0;

protected:
    ~IExtensionOrder() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::IExtensionMaker>;
extern template class KR_API Kr::UpperLayer<KrSim::IExtensionOrder>;
