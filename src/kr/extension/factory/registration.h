#pragma once

#include <concepts>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/object.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// A class that the factory can create: an implementation with a constructor that takes its proxy, a KrExtension*, for
/// classes derived from IObject a KrObject*, and for modules a KrSimulatorModule*.
template <class T>
concept KrImplementation = std::derived_from<T, IExtension> && std::constructible_from<T, typename T::Proxy*>;

namespace detail {

template <KrImplementation T>
inline constexpr KrExtensionFactory::eType kKindOf =
    std::derived_from<typename T::Proxy, KrObject> ? KrExtensionFactory::eType::kObject
                                                   : KrExtensionFactory::eType::kExtension;

/// Gives a new framework half its type and its default name.
KR_API void setCreationKey(KrExtension& proxy, const KrFactoryKey& key);
/// The same object without its holder.
KR_API KrExtension* releaseAlive(Kr::KrSmartPtr<KrExtension> held) noexcept;

template <KrImplementation T>
KrExtension* createExtension(const KrFactoryKey& key) {
    // Held meanwhile: a constructor may form and drop a holder of its proxy.
    auto proxy = Kr::makeSmart<typename T::Proxy>();
    setCreationKey(*proxy, key);
    auto implementation = std::make_unique<T>(proxy.get());
    // An implementation that gave its base no proxy, or another one, cannot be used here.
    if (proxy->getImplementation() != implementation.get()) return nullptr;
    static_cast<void>(implementation.release());
    return releaseAlive(std::move(proxy));
}

}  // namespace detail

/// Registers an implementation class under a key, for programs with their own types; plug-ins use KR_PLUGIN. False,
/// with a warning, when the key is incomplete or its uuid is taken. Any thread.
template <KrImplementation T>
bool registerExtensionType(const KrFactoryKey& key) {
    return KrExtensionFactory::_registerType(key, &detail::createExtension<T>, nullptr, detail::kKindOf<T>, typeid(T));
}

}  // namespace KrSim
