#pragma once

#include <boost/archive/archive_exception.hpp>
#include <memory>
#include <string>

#include "kr/platform/export.h"

namespace KrPersistence {

/// An archive exception whose text says what was found and where. `code` is the nearest of Boost's.
class KR_API ArchiveError : public boost::archive::archive_exception {
public:
    ArchiveError(exception_code nearestCode, const std::string& text);
    ArchiveError(const ArchiveError&) noexcept = default;
    ArchiveError& operator=(const ArchiveError&) = delete;
    ~ArchiveError() noexcept override;

    [[nodiscard]] const char* what() const noexcept override;

private:
    std::shared_ptr<const std::string> _text;  // shared, since copying an exception must not throw
};

}  // namespace KrPersistence
