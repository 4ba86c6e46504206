#pragma once

#include "kr/core/id.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Properties of an extension: typed values that tools and users keep beside its fields, such as a note, an author or
/// the place in an editor. A simulation does not depend on them: they are not connected, and states do not hold them.
///
///     KrSim::ExtensionProperties::set<std::string>(*car, "Author", "Ada");
///
/// Object files and setups keep them, in every kind of archive, and clones copy them; an instance begins with copies of
/// those of its definition, which are its own from then on. Where they lie: docs/extensions.md. References to
/// extensions are not saved. Thread: the application thread.
class KR_API ExtensionProperties {
public:
    ExtensionProperties() = delete;

    /// The properties, each a field of this container; null while there are none. Borrowed from the extension, until
    /// its last property is removed.
    [[nodiscard]] static KrData::Container* find(const KrExtension& extension) noexcept;
    /// Makes the container where there is none.
    [[nodiscard]] static KrData::Container& of(KrExtension& extension);

    /// False where the property has another type, or a name without text.
    template <class T>
    static bool set(KrExtension& extension, const Kr::KrID& name, const T& value) {
        if (name.isEmpty()) return false;
        auto& all = of(extension);
        auto& property = all[name];
        return property.isValid() ? property.set<T>(value) || property.get<T>() == value
                                  : all.add<T>(name, value) != nullptr;
    }
    /// The value; `otherwise` where there is no property of this name and type.
    template <class T>
    [[nodiscard]] static T get(const KrExtension& extension, const Kr::KrID& name, const T& otherwise = {}) {
        const auto* all = find(extension);
        const auto* property = all != nullptr ? (*all)[name].template as<T>() : nullptr;
        return property != nullptr ? property->getValue() : otherwise;
    }
    /// False when there is none of this name.
    static bool remove(KrExtension& extension, const Kr::KrID& name);

    /// The identifier of the container: "ExtensionProperties".
    [[nodiscard]] static const Kr::KrID& _getStoreID();
    /// Gives the extension copies of these, in place of its own; null takes all away. For the framework.
    static void _replace(KrExtension& extension, const KrData::Container* properties);
};

}  // namespace KrSim
