#include "kr/persistence/objects/internal/reference_paths.h"

#include "kr/data/stored_path.h"

namespace KrPersistence::detail {

ReferencePaths::ReferencePaths(const KrData::Container& fields, const std::vector<ExtensionReference>& references) {
    _fields.reserve(references.size());
    for (const auto& reference : references)
        _fields.emplace_back(KrData::_findStoredPath(fields, reference.fieldPath));
}

void ReferencePaths::update(std::vector<ExtensionReference>& references) const {
    for (std::size_t i = 0; i < references.size(); ++i) {
        if (const auto* field = _fields[i].get()) references[i].fieldPath = KrData::_getStoredPath(*field);
    }
}

}  // namespace KrPersistence::detail
