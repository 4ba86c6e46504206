#include <exception>
#include <filesystem>
#include <new>
#include <ostream>
#include <system_error>
#include <utility>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/file_object_numbers.h"
#include "kr/persistence/files/internal/atomic_file.h"
#include "kr/persistence/files/internal/checksum.h"
#include "kr/persistence/files/internal/quiet_log.h"
#include "kr/persistence/files/magic_tag.h"

namespace KrPersistence {

namespace {

using eFailure = Kr::FileResult::eFailure;

KrMagicTag::eFileFormat formatOf(int flags) {
    if ((flags & KrFile::kXml) != 0) return KrMagicTag::eFileFormat::kXml;
    if ((flags & KrFile::kJson) != 0) return KrMagicTag::eFileFormat::kJson;
    return KrMagicTag::eFileFormat::kBinary;
}

bool wantsChecksum(KrMagicTag::eFileFormat format, int flags) {
    if (format == KrMagicTag::eFileFormat::kBinary) return (flags & KrFile::kNoChecksum) == 0;
    return (flags & KrFile::kChecksum) != 0;
}

/// Lets the file be written to the stream, and its checksum behind it.
template <class Action>
void write(std::ostream& stream, KrMagicTag::eFileFormat format, int flags, const Action& writeFile) {
    if (!wantsChecksum(format, flags)) return writeFile(stream);
    detail::ChecksumOutput checked(*stream.rdbuf());
    std::ostream output(&checked);
    writeFile(output);
    if (!output || !checked.finish(format)) throw std::ios_base::failure("the stream takes no more bytes");
}

/// What is saved stays saved where there is no memory for a line about it.
template <class MakeText>
void reportSaved(Kr::eLogLevel level, const MakeText& makeText) noexcept {
    try {
        detail::logQuietly(level, makeText());
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

bool KrFile::save(std::ostream& stream, const std::string& archiveName, int flags) {
    return _saveTo(stream, archiveName, flags, nullptr);
}

bool KrFile::save(const std::string& filename, int flags, const std::string& archiveName) try {
    _forgetError(flags);
    if (!filename.empty()) _currentFilename = filename;
    if (_currentFilename.empty())
        return _fail(Kr::FileResult::failed(eFailure::kNoName, {}, "KrFile: no filename was given for saving.\n"));

    const std::string target = _currentFilename;  // sections could change it
    const auto fail = [&](std::string text, std::string reason = {}) {
        return _fail(
            {.failure = eFailure::kNotWritten, .file = target, .text = std::move(text), .reason = std::move(reason)});
    };
    // States are saved under names that others can foretell, and by processes that run for long.
    const bool isState = _fileType == eFileType::kSimulationState;
    detail::AtomicFile file(target,
                            isState ? detail::AtomicFile::eLinks::kRefuse : detail::AtomicFile::eLinks::kFollow);
    if (!file.resolve()) return fail("KrFile: cannot overwrite existing " + target + ".\n" + file.getReason());
    if (!file.open()) {
        return fail("KrFile: cannot create a temporary file to save " + target + ".\n",
                    "'" + file.getTemporaryName() + "': " + file.getReason());
    }
    std::ostream stream(&file);
    if (!_saveTo(stream, archiveName.empty() ? target : archiveName, flags, &file)) return false;

    std::error_code ignored;
    const bool hadTarget = std::filesystem::exists(std::filesystem::symlink_status(target, ignored));
    switch (file.commit()) {
        case detail::AtomicFile::eOutcome::kNotReplaced:
            if (hadTarget) {
                return fail("KrFile: cannot overwrite existing " + target + ".\n" + file.getReason());
            }
            [[fallthrough]];
        case detail::AtomicFile::eOutcome::kNotWritten:
            return fail("KrFile: cannot save to " + target + ".\n" + file.getReason());
        case detail::AtomicFile::eOutcome::kFolderNotFlushed:
            reportSaved(Kr::eLogLevel::kWarn, [&] {
                return "KrFile: saved '" + target + "', but not its folder: " + file.getReason() + ".\n";
            });
            break;
        case detail::AtomicFile::eOutcome::kDone:
            break;
    }
    reportSaved(Kr::eLogLevel::kInfo, [&] { return "KrFile: saved '" + target + "'.\n"; });
    return true;
} catch (const std::bad_alloc&) {
    return _failForMemory();
}

/// \param target  behind the stream; it knows more of a failure than the stream. May be null.
bool KrFile::_saveTo(std::ostream& stream, const std::string& archiveName, int flags,
                     const detail::AtomicFile* target) {
    _forgetError(flags);
    const FileObjectNumbers::Scope numbers;
    bool isSaved = false;
    try {
        prepareBeforeSaving(flags);
        KrMagicTag tag;
        tag.setFileType(_fileType);
        tag.setFileFormat(formatOf(flags));
        tag.setVersionSavedAsChar((static_cast<std::uint32_t>(flags) & KrArchive::kByteVersions) != 0);
        write(stream, tag.getFileFormat(), flags, [&](std::ostream& output) {
            tag.save(output);
            _writeBody(output, tag, archiveName, flags);
        });
        stream.flush();
        if (!stream) throw std::ios_base::failure("the stream takes no more bytes");
        isSaved = true;
    } catch (const std::exception& exception) {
        _failWith([&] {
            const std::string text = target != nullptr && target->hasFailed()
                                         ? "'" + target->getTemporaryName() + "': " + target->getReason()
                                         : exception.what();
            return Kr::FileResult::failed(eFailure::kNotWritten, _shownName(archiveName),
                                          "KrPersistence: error " + text + " when saving.\n");
        });
    } catch (...) {
        _failWith([&] {
            return Kr::FileResult::failed(eFailure::kNotWritten, _shownName(archiveName),
                                          "KrPersistence: exception when saving.\n");
        });
    }
    _finish();
    return isSaved;
}

}  // namespace KrPersistence
