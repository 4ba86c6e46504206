#include "kr/persistence/archives/archive.h"

#include "kr/core/base.h"

namespace KrPersistence {

KrArchive::KrArchive(std::uint32_t flags) : _archiveFlags(flags), _objects(1) {}

KrArchive::~KrArchive() = default;

void KrArchive::pushObject(Kr::KrBase* object) {
    _objects.push_back(object);
}

void KrArchive::popObject() noexcept {
    if (_objects.size() > 1) _objects.pop_back();
}

Kr::KrBase* KrArchive::getCurrentObject() const noexcept {
    return _objects.back().get();
}

}  // namespace KrPersistence
