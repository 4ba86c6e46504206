#include "kr/persistence/archives/archive_error.h"

#include <utility>

namespace KrPersistence {

ArchiveError::ArchiveError(exception_code nearestCode, const std::string& text, Kr::FilePlace place, std::string remedy)
    // NOLINTNEXTLINE(bugprone-throw-keyword-missing): a base, not an exception to throw
    : archive_exception(nearestCode),
      _details(std::make_shared<const Details>(Details{text, std::move(place), std::move(remedy)})) {}

ArchiveError::~ArchiveError() noexcept = default;

const char* ArchiveError::what() const noexcept {
    return _details->text.c_str();
}

}  // namespace KrPersistence
