#pragma once

#include <boost/archive/archive_exception.hpp>
#include <memory>
#include <string>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

/// An archive exception whose text says what was found and where. Its code is the nearest one of Boost.
/// Thread: value. Ownership: value.
class KR_API ArchiveError : public boost::archive::archive_exception {
public:
    /// \param text    complete: includes the place and the remedy.
    /// \param remedy  what to do; empty when nothing is known to help.
    ArchiveError(exception_code nearestCode, const std::string& text, Kr::FilePlace place = {},
                 std::string remedy = {});
    ArchiveError(const ArchiveError&) noexcept = default;
    ArchiveError& operator=(const ArchiveError&) = delete;
    ~ArchiveError() noexcept override;

    /// The complete text.
    [[nodiscard]] const char* what() const noexcept override;
    [[nodiscard]] const Kr::FilePlace& getPlace() const noexcept { return _details->place; }
    /// Empty when nothing is known to help.
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
