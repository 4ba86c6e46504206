#include "kr/persistence/archives/internal/saved_objects.h"

#include <boost/archive/basic_archive.hpp>
#include <cstring>
#include <string>

#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence::detail {

const char* keyOf(const SavedObjects::Serializer& serializer, const char* archive) {
    const char* key = serializer.get_eti().get_key();
    if (key == nullptr || std::strlen(key) >= BOOST_SERIALIZATION_MAX_KEY_SIZE) {
        throw ArchiveError(ArchiveError::unregistered_class,
                           std::string(archive) + ": class " + serializer.get_eti().get_debug_info() +
                               " is not exported; export it with KR_ARCHIVE_CLASS and a name of at most " +
                               std::to_string(BOOST_SERIALIZATION_MAX_KEY_SIZE - 1) + " bytes");
    }
    return key;
}

void refuseLateValue(const SavedObjects::Serializer& serializer, const char* archive) {
    throw ArchiveError(ArchiveError::pointer_conflict,
                       std::string(archive) + ": an object of class " + serializer.get_eti().get_debug_info() +
                           " was archived behind a pointer and is then archived as a value: it would be two "
                           "objects when read; archive the value first");
}

}  // namespace KrPersistence::detail
