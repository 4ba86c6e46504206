#pragma once

#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Tracks the fields with references of saved content, while code of plug-ins renames and moves them.
class ReferencePaths {
public:
    /// \param fields  the container in which the paths begin.
    ReferencePaths(const KrData::Container& fields, const std::vector<ExtensionReference>& references);

    /// Updates the paths of the same references. Those of deleted fields are unchanged.
    void update(std::vector<ExtensionReference>& references) const;

private:
    std::vector<KrData::FieldReference> _fields;  // in the order of the references
};

}  // namespace KrPersistence::detail
