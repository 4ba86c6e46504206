#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence {

ArchiveError::ArchiveError(exception_code nearestCode, const std::string& text)
    : archive_exception(nearestCode), _text(std::make_shared<const std::string>(text)) {}

ArchiveError::~ArchiveError() noexcept = default;

const char* ArchiveError::what() const noexcept {
    return _text->c_str();
}

}  // namespace KrPersistence
