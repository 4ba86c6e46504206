#include "kr/persistence/archives/internal/document_source.h"

#include <algorithm>
#include <istream>
#include <limits>

#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence::detail {

void DocumentSource::refuse(const std::string& text, std::size_t line) const {
    std::string message = std::string(archiveKind) + ": " + text + ", line " + std::to_string(line);
    if (!archiveName.empty()) message += " of '" + archiveName + "'";
    throw ArchiveError(ArchiveError::input_stream_error, message);
}

std::string DocumentSource::readAll() const {
    // Nodes count bytes with 32 bits.
    const std::uint64_t limit = std::min<std::uint64_t>(sizeLimit, std::numeric_limits<std::uint32_t>::max() - 1);
    std::streambuf& buffer = *stream.rdbuf();
    std::string text;
    const std::streamoff start = buffer.pubseekoff(0, std::ios::cur, std::ios::in);
    if (start >= 0) {
        const std::streamoff end = buffer.pubseekoff(0, std::ios::end, std::ios::in);
        buffer.pubseekpos(start, std::ios::in);
        if (end > start)
            text.reserve(
                static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(end - start), limit)) + 1);
    }
    constexpr std::size_t kPiece = 65536;
    for (;;) {
        const std::size_t size = text.size();
        text.resize(size + kPiece);
        const auto count = static_cast<std::size_t>(buffer.sgetn(&text[size], kPiece));
        text.resize(size + count);
        if (text.size() > limit) refuse("the document has more than " + std::to_string(limit) + " bytes", 1);
        if (count < kPiece) break;
    }

    constexpr std::string_view kMark = "\xEF\xBB\xBF", kCommentBegin = "<!--", kCommentEnd = "-->";
    std::size_t skipped = text.compare(0, kMark.size(), kMark) == 0 ? kMark.size() : 0;
    if (text.compare(skipped, kCommentBegin.size(), kCommentBegin) == 0) {
        const std::size_t end = text.find(kCommentEnd, skipped);
        if (end == std::string::npos) refuse("the comment has no end", 1);
        skipped = end + kCommentEnd.size();
    }
    // Blanks keep lines and bytes in their place; XML takes none in front of a declaration.
    if (text.compare(skipped, 5, "<?xml") == 0) {
        text.erase(0, skipped);
    } else {
        std::fill_n(text.begin(), skipped, ' ');
    }
    return text;
}

}  // namespace KrPersistence::detail
