// Whether a file is what was saved.

#include <istream>
#include <string>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/internal/checksum.h"
#include "kr/persistence/files/internal/load_source.h"
#include "kr/persistence/files/internal/quiet_log.h"
#include "kr/persistence/files/magic_tag.h"

namespace KrPersistence {

namespace {

std::string countBytes(std::uint64_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

}  // namespace

void KrFile::_refuseChecksum(const std::string& reason) {
    if (_isRecovering) return _doubt(reason);
    const std::string remedy = "'krsim recover' saves what can be read of it";
    throw ArchiveError(ArchiveError::input_stream_error, reason + ": the file is damaged; " + remedy, {}, remedy);
}

bool KrFile::_loadChecked(const detail::LoadSource& source, const KrMagicTag& tag, const std::string& archiveName,
                          int flags) {
    std::istream& stream = source.stream;
    const auto format = tag.getFileFormat();
    const bool isBinary = format == KrMagicTag::eFileFormat::kBinary;
    const auto compare = [this](const detail::StoredChecksum& stored, std::uint64_t length, std::uint32_t value) {
        if (stored.length != length) {
            _refuseChecksum("it has " + countBytes(length) + " where " + countBytes(stored.length) + " were saved");
        } else if (stored.value != value) {
            _refuseChecksum("its checksum does not fit");
        }
    };
    if (source.counted != nullptr) {
        if (!_readBody(stream, tag, archiveName, flags)) return false;
        const auto length = source.counted->getLength();
        const auto value = source.counted->getChecksum();
        if (!isBinary || _isCut) return true;
        if (const auto stored = detail::takeTrailer(*source.behind)) compare(*stored, length, value);
        return true;
    }

    // Before anything is made of the content.
    const auto found = detail::findChecksum(stream, source.start, format);
    const bool isOurs = found && (!isBinary || found->length + detail::kTrailerSize == source.size);
    const auto valueOf = [&](std::uint64_t length) { return detail::calculateChecksum(stream, source.start, length); };
    if (isBinary && found && (isOurs || source.isWholeStream)) {
        compare(*found, source.size - detail::kTrailerSize, isOurs ? valueOf(found->length) : 0);
    } else if (!isBinary && found && (!found->isReadable || valueOf(found->length) != found->value)) {
        const std::string text = "it was changed after it was saved: its checksum does not fit";
        if (_isRecovering) _doubt(text);
        detail::logQuietly(Kr::eLogLevel::kWarn, "KrFile: '" + archiveName + "': " + text + ".\n");
    }
    if (!_readBody(stream, tag, archiveName, flags)) return false;
    if (!isBinary || _isCut) return true;

    // In a stream with something behind the file, its end is known only now.
    const auto length = static_cast<std::uint64_t>(stream.tellg()) - source.start;
    const auto behind = detail::takeTrailer(*stream.rdbuf());
    if (behind && !isOurs) compare(*behind, length, valueOf(length));
    if (!behind && isOurs)
        _refuseChecksum("its archive ends after " + countBytes(length) + " of " + countBytes(found->length));
    const auto end = length + (behind ? detail::kTrailerSize : 0);
    if (source.isWholeStream && end < source.size) {
        detail::logQuietly(Kr::eLogLevel::kWarn, "KrFile: '" + archiveName + "' has " + countBytes(source.size - end) +
                                                     " behind its end, which mean nothing.\n");
    }
    return true;
}

}  // namespace KrPersistence
