#pragma once

#include <cstdint>
#include <string>

#include "kr/data/field_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/object_access.h"

namespace KrPersistence::detail {

/// Follows the name of a field whose value is written elsewhere.
inline constexpr const char* kMarks = "Marks";
inline constexpr const char* kNameMarks = "NameMarks";

using KrSim::detail::asObject;

/// The path of an extension for a message, without the upper names of a very deep one: many messages about a deep tree
/// would take the square of its depth.
inline std::string describePath(const KrSim::KrExtension& extension) {
    constexpr int kMostNames = 64;
    auto path = extension.getName();
    const auto isBelow = [](const KrSim::KrObject* owner) { return owner != nullptr && !owner->isApplicationRoot(); };
    const auto* owner = extension.getOwner();
    for (int i = 0; isBelow(owner) && i < kMostNames; ++i) {
        path.insert(0, owner->getName() + '/');
        owner = owner->getOwner();
    }
    return isBelow(owner) ? ".../" + path : path;
}

/// The version of the implementation that writes the data of the extension.
inline std::int32_t getSavedVersion(const KrSim::KrExtension& extension) {
    return extension.hasImplementation() ? extension.getImplementationVersion() : extension.getDataVersion();
}

/// Copies the properties of a field other than its value.
inline void takeMarks(KrData::FieldBase& field, const KrData::FieldBase& source) {
    if (const auto* internal = KrData::detail::FieldAccess::getInternalIfAny(source))
        KrData::detail::FieldAccess::replaceInternal(field, internal);
    if (!source.getDescription().empty()) field.setDescription(source.getDescription());
}

}  // namespace KrPersistence::detail
