#pragma once

#include "kr/core/id.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Properties of an extension: typed values that tools and users store with it, besides its fields, such as a note, an
/// author or its place in an editor. A simulation does not depend on them: they are not connected, and not part of
/// states.
///
///     KrSim::ExtensionProperties::set<std::string>(*car, "Author", "Ada");
///
/// Object files and setups contain them, in every kind of archive, and clones copy them; an instance starts with copies
/// of those of its definition, which are its own from then on. Storage: docs/extensions.md. References to extensions
/// are not saved.
/// Thread: application. Ownership: owned by the extension.
class KR_API ExtensionProperties {
public:
    ExtensionProperties() = delete;

    /// The properties, each a field of this container; null without any. Borrowed from the extension, until its last
    /// property is removed.
    [[nodiscard]] static KrData::Container* find(const KrExtension& extension) noexcept;
    /// Creates the container when it does not exist.
    [[nodiscard]] static KrData::Container& of(KrExtension& extension);

    /// False when the property has another type, or the name has no text.
    template <class T>
    static bool set(KrExtension& extension, const Kr::KrID& name, const T& value) {
        if (name.isEmpty()) return false;
        auto& all = of(extension);
        auto& property = all[name];
        return property.isValid() ? property.set<T>(value) || property.get<T>() == value
                                  : all.add<T>(name, value) != nullptr;
    }
    /// The value; `otherwise` without a property of this name and type.
    template <class T>
    [[nodiscard]] static T get(const KrExtension& extension, const Kr::KrID& name, const T& otherwise = {}) {
        const auto* all = find(extension);
        const auto* property = all != nullptr ? (*all)[name].template as<T>() : nullptr;
        return property != nullptr ? property->getValue() : otherwise;
    }
    /// False without such a property.
    static bool remove(KrExtension& extension, const Kr::KrID& name);

    /// The identifier of the container: "ExtensionProperties".
    [[nodiscard]] static const Kr::KrID& _getStoreID();
    /// Replaces the properties of the extension by copies of these; null removes all. For the framework.
    static void _replace(KrExtension& extension, const KrData::Container* properties);
};

}  // namespace KrSim
