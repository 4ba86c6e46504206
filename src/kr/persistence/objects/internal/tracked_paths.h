#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Tracks fields that saved content names by their paths, while code of plug-ins renames and moves them. Deleted fields
/// keep their paths.
class TrackedPaths {
public:
    /// \param fields  the container in which the paths begin.
    TrackedPaths(const KrData::Container& fields, const std::vector<ExtensionReference>& references);
    /// The fields that the saved content of the extension records as its own.
    TrackedPaths(const KrData::Container& fields, const KrSim::KrExtension& extension);

    /// Updates the paths of the same references.
    void update(std::vector<ExtensionReference>& references) const;
    /// Updates the record of the same extension.
    void update(KrSim::KrExtension& extension) const;

private:
    [[nodiscard]] std::string _getPath(std::size_t index) const;

    std::vector<std::pair<std::string, KrData::FieldReference>> _fields;
};

}  // namespace KrPersistence::detail
