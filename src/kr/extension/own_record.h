#pragma once

#include <memory>
#include <set>
#include <string>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// A connection between two extensions of one tree, by their IDs and the stored paths of fields.
struct InnerConnection {
    KrContentID::Identifier source;
    std::string sourcePath;
    KrContentID::Identifier sink;
    std::string sinkPath;

    friend auto operator<=>(const InnerConnection&, const InnerConnection&) = default;
};
using InnerConnections = std::set<InnerConnection>;

/// The own data of an extension of an instance in the form of content: a hidden field of its name. Lost extensions
/// always have it, others from a load to the first sync. For the framework.
/// Thread: application. Ownership: value.
struct KR_API OwnRecord {
    /// The path of the name field in a record: its value is the name, its order the position, the field itself the
    /// definition of an inner instance.
    static constexpr const char* kNamePath = "Name";

    KrData::OwnFields::Paths fields;
    /// Connections that end at the extension, by the raw IDs in the instance, which do not depend on files.
    InnerConnections added;
    InnerConnections removed;
    InnerConnections changed;  ///< those of the definition that have their own settings
    /// Of the instance itself: connections that are not recorded follow the definition. Content of releases before this
    /// record does not say so.
    bool isComplete{false};
    /// Of the instance itself: nothing else of it was stored, so that everything that is not recorded, state included,
    /// comes from the definition.
    bool isOwnOnly{false};

    [[nodiscard]] bool hasConnections() const noexcept {
        return !added.empty() || !removed.empty() || !changed.empty();
    }
    [[nodiscard]] bool empty() const noexcept {
        return fields.empty() && !hasConnections() && !isComplete && !isOwnOnly;
    }
    /// Null for an empty record.
    [[nodiscard]] std::unique_ptr<KrData::Container> toField() const;
    /// Adds the result of toField() to the hidden metadata of a name field.
    static void addTo(KrData::FieldBase& name, const KrData::Container& record);
    /// Empty when the extension has none.
    [[nodiscard]] static OwnRecord of(const KrExtension& extension);
    /// Replaces the record of the extension.
    void setOn(KrExtension& extension) const;
    static void dropFrom(KrExtension& extension);
    /// The same for a copy of its name field.
    static void dropFrom(KrData::FieldBase& name);
};

}  // namespace KrSim
