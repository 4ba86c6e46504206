#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"

namespace KrPersistence::detail {

/// Tracks the fields that saved content records as its own, while code of plug-ins renames and moves them.
class OwnPaths {
public:
    /// \param fields  the container in which the paths begin.
    OwnPaths(const KrData::Container& fields, const KrSim::KrExtension& extension);

    /// Updates the record of the extension. Deleted fields keep their paths.
    void update(KrSim::KrExtension& extension) const;

private:
    std::vector<std::pair<std::string, KrData::FieldReference>> _fields;
};

}  // namespace KrPersistence::detail
