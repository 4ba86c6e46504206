#include "kr/persistence/archives/internal/document_source.h"

#include <algorithm>
#include <array>
#include <istream>
#include <limits>

#include "kr/persistence/archives/archive_error.h"
#include "kr/platform/large_pages.h"

namespace KrPersistence::detail {
namespace {

constexpr std::size_t kRoomBehind = 64;  // so that a reader can add a little without moving all

}  // namespace

std::string DocumentSource::describe(const std::string& text, std::size_t line) const {
    const std::string message = std::string(archiveKind) + ": " + text + ", line " + std::to_string(line);
    return archiveName.empty() ? message : message + " of '" + archiveName + "'";
}

void DocumentSource::refuse(const std::string& text, std::size_t line) const {
    throw ArchiveError(ArchiveError::input_stream_error, describe(text, line), {.line = line, .byte = {}, .path = {}});
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
        const auto left = static_cast<std::uint64_t>(std::max<std::streamoff>(end - start, 0));
        text.reserve(static_cast<std::size_t>(std::min(left, limit)) + kRoomBehind);
        Kr::preferLargePages(text.data(), text.capacity());
    }
    // By pieces: a string would fill with zeros what is then written over.
    std::array<char, 16384> piece{};
    for (std::size_t count = piece.size(); count == piece.size();) {
        count = static_cast<std::size_t>(buffer.sgetn(piece.data(), static_cast<std::streamsize>(piece.size())));
        text.append(piece.data(), count);
        if (text.size() > limit) refuse("the document has more than " + std::to_string(limit) + " bytes", 1);
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
        const auto end = text.begin() + static_cast<std::ptrdiff_t>(skipped);
        std::replace_if(
            text.begin(), end, [](char each) { return each != '\n'; }, ' ');
    }
    return text;
}

}  // namespace KrPersistence::detail
