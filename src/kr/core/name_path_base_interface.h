#pragma once

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Finds and lists the children of objects of one class, so that references can be resolved from object to object.
///
/// Thread: those that resolve references; it keeps no state. Ownership: shared with the registry.
class KR_API KrNamePathBaseInterface {
public:
    virtual ~KrNamePathBaseInterface();

    /// The interface registered for the exact class of the object; null for null and for a class without one. The
    /// object must be alive. The result is valid after the interface was unregistered, too.
    [[nodiscard]] static std::shared_ptr<const KrNamePathBaseInterface> find(KrBase* object);

    /// The child of `parent` with this class name and object name, or null. The default searches getChildren.
    [[nodiscard]] virtual KrBase* findChild(KrBase& parent, const std::string& className,
                                            const std::string& objectName) const;
    /// All children of `parent` that findChild can find, in no special order.
    [[nodiscard]] virtual std::vector<KrBase*> getChildren(KrBase& parent) const = 0;
};

/// The name-path interfaces of the process, one for each class.
/// Thread: any. Ownership: never destroyed.
class KR_API KrNamePathBaseInterfaceRegistry {
public:
    using Factory = std::unique_ptr<KrNamePathBaseInterface> (*)();

    KrNamePathBaseInterfaceRegistry() = delete;

    /// Registers the interface of a class and calls the factory immediately. False when the class has one already, or
    /// when the factory is null or returns null.
    static bool registerInterface(const std::type_info& type, Factory factory);
    /// Removes the interface registered with this very factory; false when the class has another one.
    static bool unregisterInterface(const std::type_info& type, Factory factory);
};

}  // namespace Kr
