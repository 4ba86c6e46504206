#include "kr/persistence/objects/internal/own_paths.h"

#include "kr/data/container.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/own_record.h"

namespace KrPersistence::detail {

OwnPaths::OwnPaths(const KrData::Container& fields, const KrSim::KrExtension& extension) {
    for (const auto& [path, parts] : KrSim::OwnRecord::of(extension).fields)
        _fields.emplace_back(path, KrData::_findStoredPath(fields, path));
}

void OwnPaths::update(KrSim::KrExtension& extension) const {
    if (_fields.empty()) return;
    auto record = KrSim::OwnRecord::of(extension);
    bool isRenamed = false;
    KrData::OwnFields::Paths paths;
    for (const auto& [path, reference] : _fields) {
        const auto* field = reference.get();
        auto now = field != nullptr ? KrData::_getStoredPath(*field) : path;
        isRenamed = isRenamed || now != path;
        paths[std::move(now)] |= record.fields[path];
    }
    if (!isRenamed) return;
    record.fields = std::move(paths);
    record.setOn(extension);
}

}  // namespace KrPersistence::detail
