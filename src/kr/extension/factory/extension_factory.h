#pragma once

#include <cstdint>
#include <typeinfo>

#include "kr/extension/extension.h"
#include "kr/extension/factory_key.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Creates extensions by the key of their type, and loads the plug-in that a key names when the type is not registered.
///
/// The library registers its own types when it starts, a plug-in its types when it is loaded (KR_PLUGIN), a program its
/// own with registerExtensionType. A type remains registered as long as it has instances.
///
/// Thread: any. No lock is held while a plug-in is loaded, an extension is created or a line is logged. Ownership: the
/// caller holds created extensions.
class KR_API KrExtensionFactory {
public:
    /// The product of a type. The values are not stored.
    enum class eType : std::uint8_t {
        kExtension,        ///< a KrExtension
        kObject,           ///< a KrObject, which contains other extensions
        kSimulatorModule,  ///< a module of an application
    };

    /// Creates both halves of an extension and sets the key. The result has no holder yet. Null, or an exception, after
    /// a failure.
    using CreateFunction = KrExtension* (*)(const KrFactoryKey& key);
    using PrepareFunction = void (*)(KrExtension* extension, const KrFactoryKey& key);

    /// The registered data of a type.
    struct TypeDescription {
        KrFactoryKey key;
        CreateFunction create{nullptr};
        PrepareFunction prepare{nullptr};  ///< stored with the type; may be null
        eType kind{eType::kExtension};
        const std::type_info* type{nullptr};  ///< of the implementation
    };

    KrExtensionFactory() = delete;

    // Extensions

    /// A new extension of the type, created on this thread. Null, with a warning, after a failure.
    ///
    /// A type that is not registered is searched in the plug-in that the key names, and then by category and name; the
    /// extension has the key of the type that was found. An exception of a create function counts as a failure, except
    /// std::bad_alloc, which is logged and thrown on to the caller.
    [[nodiscard]] static Kr::KrSmartPtr<KrExtension> create(const KrFactoryKey& key);

    /// The living extensions of the type that the factory created, in the order of creation. Nothing keeps them alive:
    /// use them on the thread that owns them.
    [[nodiscard]] static Kr::KrArray<KrExtension*> getInstances(const KrFactoryKey& key);

    // Types

    /// Whether a type is registered under the uuid of the key, or if that is null, category and name. Loads no plug-in.
    [[nodiscard]] static bool isValid(const KrFactoryKey& key);

    /// The keys of all types of that kind, in the order of their uuids.
    [[nodiscard]] static Kr::KrArray<KrFactoryKey> getAvailableTypes(eType kind);

    /// Withdraws a type. True when it is not registered any more; false, with a warning, while it has instances, and
    /// while the library is shutting down.
    static bool unregisterType(const KrFactoryKey& key);

    // For registration.h, which passes the functions

    /// Registers a type. False, with a warning, when the key is incomplete or its uuid is taken by an earlier type.
    static bool _registerType(const KrFactoryKey& key, CreateFunction create, PrepareFunction prepare, eType kind,
                              const std::type_info& type);
};

}  // namespace KrSim
