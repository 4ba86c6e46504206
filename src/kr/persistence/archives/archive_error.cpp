#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence {

ArchiveError::ArchiveError(exception_code nearestCode, const std::string& text)
    // NOLINTNEXTLINE(bugprone-throw-keyword-missing): a base, not an exception to throw
    : archive_exception(nearestCode), _text(std::make_shared<const std::string>(text)) {}

ArchiveError::~ArchiveError() noexcept = default;

const char* ArchiveError::what() const noexcept {
    return _text->c_str();
}

}  // namespace KrPersistence
