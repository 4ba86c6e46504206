#include "kr/persistence/files/named_file_section.h"

namespace KrPersistence {

NamedFileSection::NamedFileSection() = default;

NamedFileSection::~NamedFileSection() = default;

}  // namespace KrPersistence
