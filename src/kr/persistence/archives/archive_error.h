#pragma once

#include <boost/archive/archive_exception.hpp>
#include <memory>
#include <string>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

/// An archive exception whose text says what was found and where. `code` is the nearest of Boost's.
class KR_API ArchiveError : public boost::archive::archive_exception {
public:
    /// \param text    complete: it names the place and the remedy, too.
    /// \param remedy  what to do; empty where nothing is known to help.
    ArchiveError(exception_code nearestCode, const std::string& text, Kr::FilePlace place = {},
                 std::string remedy = {});
    ArchiveError(const ArchiveError&) noexcept = default;
    ArchiveError& operator=(const ArchiveError&) = delete;
    ~ArchiveError() noexcept override;

    [[nodiscard]] const char* what() const noexcept override;
    [[nodiscard]] const Kr::FilePlace& getPlace() const noexcept { return _details->place; }
    [[nodiscard]] const std::string& getRemedy() const noexcept { return _details->remedy; }

private:
    struct Details {
        std::string text;
        Kr::FilePlace place;
        std::string remedy;
    };
    std::shared_ptr<const Details> _details;  // shared, since copying an exception must not throw
};

}  // namespace KrPersistence
