#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>

#include "kr/persistence/archives/internal/document.h"

namespace KrPersistence::detail {

/// Counts the lines of a document that is parsed from front to back. The parser passes texts that it decodes in place:
/// they may contain line feeds that were escapes, and no others.
class LineCounter {
public:
    /// \param text  borrowed; unchanged from the file after the last position.
    explicit LineCounter(const std::string& text) : _text(text) {}

    /// The line of the byte at the offset, which is not before the last offset of at() and pass().
    std::uint32_t at(std::size_t offset) noexcept {
        while (_next < offset) {
            const void* found = std::memchr(_text.data() + _next, '\n', offset - _next);
            if (found == nullptr) break;
            ++_line;
            _next = static_cast<std::size_t>(static_cast<const char*>(found) - _text.data()) + 1;
        }
        pass(offset);
        return _line;
    }
    /// Line feeds before this offset are not counted.
    void pass(std::size_t offset) noexcept { _next = std::max(_next, offset); }

private:
    const std::string& _text;
    std::size_t _next{0};
    std::uint32_t _line{1};
};

/// The origin of a document.
struct DocumentSource {
    std::istream& stream;            ///< read from its position to its end
    std::uint64_t sizeLimit{0};      ///< larger documents are refused
    const char* archiveKind{""};     ///< for the texts of errors, like
    const std::string& archiveName;  ///< the file
    bool mayBreakOff{false};         ///< of a broken document, the part before the break is read

    /// Throws an error about the document, with the place.
    [[noreturn]] void refuse(const std::string& text, std::size_t line) const;
    /// The text of that refusal.
    [[nodiscard]] std::string describe(const std::string& text, std::size_t line) const;
    /// All of the stream. The comment with which our files begin and a byte order mark are left out.
    [[nodiscard]] std::string readAll() const;
};

/// Both throw an ArchiveError for a document of another kind; for a broken document only when `mayBreakOff` is not set,
/// or nothing precedes the break.
[[nodiscard]] Document readJson(const DocumentSource& source);
[[nodiscard]] Document readXml(const DocumentSource& source);

}  // namespace KrPersistence::detail
