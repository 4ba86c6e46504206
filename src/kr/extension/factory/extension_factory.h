#pragma once

#include <cstdint>
#include <span>
#include <typeinfo>

#include "kr/extension/extension.h"
#include "kr/extension/factory_key.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Makes extensions by the key of their type, and loads the plug-in that a key names where the type is not there yet.
///
/// The library registers its own types when it starts, a plug-in its types when it is loaded (KR_PLUGIN), a program
/// its own with registerExtensionType. A type stays as long as instances of it live.
///
/// Thread: any. Nothing is locked while a plug-in is loaded, an extension is made or a line is logged.
class KR_API KrExtensionFactory {
public:
    /// What a type makes. The values are stored nowhere.
    enum class eType : std::uint8_t {
        kExtension,        ///< a KrExtension
        kObject,           ///< a KrObject, which holds other extensions
        kSimulatorModule,  ///< a module of an application
    };

    /// Makes both halves of an extension and gives it the key. The result has no holder yet. Null, or an exception,
    /// when it cannot be made.
    using CreateFunction = KrExtension* (*)(const KrFactoryKey& key);
    using PrepareFunction = void (*)(KrExtension* extension, const KrFactoryKey& key);

    /// All that is registered of a type.
    struct TypeDescription {
        KrFactoryKey key;
        CreateFunction create{nullptr};
        PrepareFunction prepare{nullptr};  ///< kept with the type; may be null
        eType kind{eType::kExtension};
        const std::type_info* type{nullptr};  ///< of the implementation
    };

    KrExtensionFactory() = delete;

    // Extensions

    /// A new extension of the type, made on this thread. Null, with a warning, when it cannot be made.
    ///
    /// A type that is not registered is looked for in the plug-in that the key names, and then by category and name;
    /// the extension carries the key of the type that was found. A create function that throws counts as having made
    /// nothing, but for std::bad_alloc, which goes on to the caller once it is logged.
    [[nodiscard]] static Kr::KrSmartPtr<KrExtension> create(const KrFactoryKey& key);

    /// The living extensions that the factory made of the type, in the order of their making. Nothing keeps them alive:
    /// use them on the thread that owns them.
    [[nodiscard]] static Kr::KrArray<KrExtension*> getInstances(const KrFactoryKey& key);

    // Types

    /// Whether a type is registered under the uuid of the key, or where that is null, of its category and name. Loads
    /// nothing.
    [[nodiscard]] static bool isValid(const KrFactoryKey& key);

    /// The keys of all types of that kind, in the order of their uuids.
    [[nodiscard]] static Kr::KrArray<KrFactoryKey> getAvailableTypes(eType kind);

    /// Withdraws a type. True when it is not registered any more; false, with a warning, while instances of it live,
    /// and once the library is shutting down.
    static bool unregisterType(const KrFactoryKey& key);

    // For registration.h and plugin.h, which supply the functions

    /// Registers a type. False, with a warning, when the key is not complete or its uuid is taken: the first one stays.
    static bool _registerType(const KrFactoryKey& key, CreateFunction create, PrepareFunction prepare, eType kind,
                              const std::type_info& type);
    /// Registers all of the types or, with a warning about the first that is refused, none.
    static bool _registerTypes(std::span<const TypeDescription> types);
    /// Withdraws those of the types that are registered as described here, so none that another plug-in registered
    /// under the same uuid. All of them or, with a warning about the first that has living instances, none.
    static bool _unregisterTypes(std::span<const TypeDescription> types);
    /// The second function of a registered type; null when there is none.
    [[nodiscard]] static PrepareFunction _getPrepareFunction(const KrFactoryKey& key);
};

}  // namespace KrSim
