#include "kr/persistence/objects/internal/tracked_paths.h"

#include "kr/data/container.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/own_record.h"

namespace KrPersistence::detail {

TrackedPaths::TrackedPaths(const KrData::Container& fields, const std::vector<ExtensionReference>& references) {
    for (const auto& each : references)
        _fields.emplace_back(each.fieldPath, KrData::_findStoredPath(fields, each.fieldPath));
}

TrackedPaths::TrackedPaths(const KrData::Container& fields, const KrSim::KrExtension& extension) {
    for (const auto& [path, parts] : KrSim::OwnRecord::of(extension).fields)
        _fields.emplace_back(path, KrData::_findStoredPath(fields, path));
}

std::string TrackedPaths::_getPath(std::size_t index) const {
    const auto& [path, reference] = _fields[index];
    const auto* field = reference.get();
    return field != nullptr ? KrData::_getStoredPath(*field) : path;
}

void TrackedPaths::update(std::vector<ExtensionReference>& references) const {
    for (std::size_t i = 0; i < references.size(); ++i)
        references[i].fieldPath = _getPath(i);
}

void TrackedPaths::update(KrSim::KrExtension& extension) const {
    if (_fields.empty()) return;
    auto record = KrSim::OwnRecord::of(extension);
    bool isRenamed = false;
    KrData::OwnFields::Paths paths;
    for (std::size_t i = 0; i < _fields.size(); ++i) {
        auto now = _getPath(i);
        isRenamed = isRenamed || now != _fields[i].first;
        paths[std::move(now)] |= record.fields[_fields[i].first];
    }
    if (!isRenamed) return;
    record.fields = std::move(paths);
    record.setOn(extension);
}

}  // namespace KrPersistence::detail
