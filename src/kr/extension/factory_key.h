#pragma once

#include <string>

#include "kr/platform/export.h"
#include "kr/platform/uuid.h"

namespace KrSim {

/// Identifies an extension type permanently: content files contain the key of every extension, so a published key must
/// never change. A null uuid is no type, unless category and name are both given (see completed()).
/// Thread: value. Ownership: value.
class KR_API KrFactoryKey {
public:
    KrUuid uuid;           ///< the identity of the type; the other members are for people and for finding the plug-in
    std::string category;  ///< a grouping word such as "Simulation", "Content", "Application"
    std::string name;      ///< the display name of the type, such as "Simulator"
    std::string plugin;    ///< base name of the plug-in file, without ".krp"; empty for types built into the library

    KrFactoryKey() = default;
    KrFactoryKey(const KrUuid& typeUuid, std::string typeCategory, std::string typeName, std::string pluginName = {});
    /// The uuid as text, with or without braces; text that is no uuid gives the null one.
    KrFactoryKey(const char* uuidText, std::string typeCategory, std::string typeName, std::string pluginName = {});

    /// Whether the key identifies no type: the uuid is null.
    [[nodiscard]] bool isNull() const noexcept { return uuid.isNull(); }
    /// The key, with its uuid made from category and name if it is null and both are given.
    [[nodiscard]] KrFactoryKey completed() const;
    /// "Category.Name {uuid}"; missing parts are omitted, so the null key gives an empty text.
    [[nodiscard]] std::string toString() const;

    [[nodiscard]] bool operator==(const KrFactoryKey&) const = default;
};

}  // namespace KrSim
