#pragma once

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Finds and lists the children of objects of one class, so that references can walk from object to object.
///
/// Thread: an interface is asked on the threads that resolve references; it keeps no state of its own.
class KR_API KrNamePathBaseInterface {
public:
    virtual ~KrNamePathBaseInterface();

    /// The interface registered for the exact class of the object; null for null and for a class without one.
    /// The object must be alive. The answer stays good after the interface was unregistered.
    [[nodiscard]] static std::shared_ptr<const KrNamePathBaseInterface> find(KrBase* object);

    /// The child of `parent` with this class name and object name, or null. Without an override, the first one of
    /// getChildren.
    [[nodiscard]] virtual KrBase* findChild(KrBase& parent, const std::string& className,
                                            const std::string& objectName) const;
    /// All children of `parent` that findChild can find, in no special order.
    [[nodiscard]] virtual std::vector<KrBase*> getChildren(KrBase& parent) const = 0;
};

/// The name-path interfaces of the process, one for each class. Any thread; never destroyed.
class KR_API KrNamePathBaseInterfaceRegistry {
public:
    using Factory = std::unique_ptr<KrNamePathBaseInterface> (*)();

    KrNamePathBaseInterfaceRegistry() = delete;

    /// Registers the interface of a class. The factory is called at once. False when the class has one already, or
    /// when the factory is null or gives nothing.
    static bool registerInterface(const std::type_info& type, Factory factory);
    /// Takes back what was registered with this very factory; false when that is not what the class has.
    static bool unregisterInterface(const std::type_info& type, Factory factory);
};

}  // namespace Kr
