#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "kr/persistence/archives/internal/document.h"

namespace KrPersistence::detail {

/// Where a document comes from.
struct DocumentSource {
    std::istream& stream;            ///< read from its place to its end
    std::uint64_t sizeLimit{0};      ///< larger documents are refused
    const char* archiveKind{""};     ///< for the texts of errors, like
    const std::string& archiveName;  ///< the file
    bool mayBreakOff{false};         ///< of a broken document, what stands before the break is taken

    /// Throws: what is wrong in the document, and where.
    [[noreturn]] void refuse(const std::string& text, std::size_t line) const;
    /// The text of that refusal.
    [[nodiscard]] std::string describe(const std::string& text, std::size_t line) const;
    /// All of the stream. The comment with which our files begin and a byte order mark are left out.
    [[nodiscard]] std::string readAll() const;
};

/// Both throw an ArchiveError for what is no document of the kind; for one that is broken only where `mayBreakOff` is
/// not set, or nothing stands before the break.
[[nodiscard]] Document readJson(const DocumentSource& source);
[[nodiscard]] Document readXml(const DocumentSource& source);

}  // namespace KrPersistence::detail
