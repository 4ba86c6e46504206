#pragma once

#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Follows the fields that hold references of saved content, while code of plug-ins renames and moves them.
class ReferencePaths {
public:
    /// \param fields  the container that the paths begin below.
    ReferencePaths(const KrData::Container& fields, const std::vector<ExtensionReference>& references);

    /// Brings the paths of the same references up to date. Those whose field is gone stay as they are.
    void update(std::vector<ExtensionReference>& references) const;

private:
    std::vector<KrData::FieldReference> _fields;  // as the references are ordered
};

}  // namespace KrPersistence::detail
