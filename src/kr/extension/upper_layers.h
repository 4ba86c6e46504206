#pragma once

#include <atomic>

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// What clones and instances ask of the factory, above.
class KR_API IExtensionMaker {
public:
    /// As KrExtensionFactory::create.
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> create(const KrFactoryKey& key) const = 0;

protected:
    ~IExtensionMaker() = default;
};

/// What extensions ask of the sorter, above; there is none before the first use of it.
class KR_API IExtensionOrder {
public:
    /// Takes out a registered extension that dies.
    virtual void forget(KrExtension& extension) const = 0;
    /// Gives an extension another owner, so that a build on another thread sees one that lives.
    /// \param place  where the extension keeps its owner.
    virtual void changeOwner(const KrExtension& extension, std::atomic<KrObject*>& place, KrObject* owner) const = 0;

protected:
    ~IExtensionOrder() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::IExtensionMaker>;
extern template class KR_API Kr::UpperLayer<KrSim::IExtensionOrder>;
