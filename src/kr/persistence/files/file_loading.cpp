#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <istream>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/file_object_numbers.h"
#include "kr/persistence/files/file_section.h"
#include "kr/persistence/files/internal/load_source.h"
#include "kr/persistence/files/internal/quiet_log.h"
#include "kr/persistence/files/internal/version_gate.h"
#include "kr/persistence/files/magic_tag.h"

namespace KrPersistence {

namespace {

using eFailure = Kr::FileResult::eFailure;

/// Why a file has no format of ours, and what to do, for causes that people can mend; else empty.
struct FormatCause {
    std::string_view mark;
    const char* text;
    const char* remedy;
};

FormatCause explainFormat(const detail::LoadSource& source) {
    if (source.counted != nullptr) return {{}, "", ""};  // it cannot be read twice
    constexpr const char* kSaveAsText = "save it as UTF-8 without a byte order mark";
    constexpr FormatCause kCauses[] = {
        {"\xEF\xBB\xBF", "it begins with a byte order mark; ", "save it as UTF-8 without one"},
        {"\xFF\xFE", "it is a text in UTF-16; ", kSaveAsText},
        {"\xFE\xFF", "it is a text in UTF-16; ", kSaveAsText},
    };
    std::istream& stream = source.stream;
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(source.start));
    char bytes[3];
    stream.read(bytes, sizeof bytes);
    const std::string_view begin(bytes, static_cast<std::size_t>(stream.gcount()));
    if (begin.empty()) return {{}, "it is empty", ""};
    for (const auto& each : kCauses)
        if (begin.substr(0, each.mark.size()) == each.mark) return each;
    return {{}, "", ""};
}

/// The exception that ended the load.
Kr::FileResult describeFailure(const std::exception& exception) {
    Kr::FileResult result;
    const bool isMemory = dynamic_cast<const std::bad_alloc*>(&exception) != nullptr;
    result.failure = isMemory ? eFailure::kNoMemory : eFailure::kRefused;
    result.text = std::string("KrPersistence: An error occurred while loading:\n\n") + exception.what() + "\n";
    if (const auto* error = dynamic_cast<const ArchiveError*>(&exception)) {
        result.place = error->getPlace();
        result.remedy = error->getRemedy();
    }
    return result;
}

}  // namespace

bool KrFile::load(const std::string& filename, int flags, const std::string& archiveName) try {
    _forgetError(flags);
    clear();
    if (!filename.empty()) _currentFilename = filename;
    if (_currentFilename.empty())
        return _fail(Kr::FileResult::failed(eFailure::kNoName, {}, "KrFile: no filename was given for loading.\n"));

    const std::string source = _currentFilename;
    std::ifstream stream(source, std::ios::binary);
    if (!stream) {
        const int error = errno;
        const auto failure = error == ENOENT ? eFailure::kMissing : eFailure::kNotOpened;
        return _fail(Kr::FileResult::failed(failure, source, "KrFile: cannot open " + source + " for loading.\n",
                                            std::strerror(error)));
    }
    stream.exceptions(std::ios::badbit);  // what cannot be read says why
    detail::logQuietly(Kr::eLogLevel::kInfo, "KrFile: loading '" + source + "'.\n");
    return _load(stream, archiveName.empty() ? source : archiveName, flags, true);
} catch (const std::bad_alloc&) {
    return _failForMemory();
}

bool KrFile::load(std::istream& stream, const std::string& archiveName, int flags) {
    return _load(stream, archiveName, flags, false);
}

bool KrFile::_load(std::istream& stream, const std::string& archiveName, int flags, bool isWholeStream) {
    _forgetError(flags);
    clear();
    _isRecovering = (flags & kRecover) != 0;
    const FileObjectNumbers::Scope numbers;
    bool isLoaded = false;
    try {
        isLoaded =
            detail::withSource(stream, isWholeStream, _isRecovering ? &_doubts : nullptr,
                               [&](const detail::LoadSource& source) { return _loadFrom(source, archiveName, flags); });
        if (isLoaded && _currentFilename.empty()) _currentFilename = archiveName;
    } catch (const std::exception& exception) {
        isLoaded = false;
        clear();
        _failWith([&] {
            auto result = describeFailure(exception);
            result.file = _shownName(archiveName);
            if (result.place.path.empty()) result.place.path = std::move(_result.place.path);
            return result;
        });
    } catch (...) {
        isLoaded = false;
        clear();
        _failWith([&] {
            return Kr::FileResult::failed(eFailure::kRefused, _shownName(archiveName),
                                          "KrPersistence: exception when loading\".\n" + archiveName + "\"\n");
        });
    }
    _finish();
    std::stable_sort(_findings.begin(), _findings.end(),
                     [](const Finding& left, const Finding& right) { return left.line < right.line; });
    for (auto* section : isLoaded ? std::span(_sections) : std::span<KrFileSection*>())
        section->_onLoaded();
    return isLoaded;
}

bool KrFile::_loadFrom(const detail::LoadSource& source, const std::string& archiveName, int flags) {
    std::istream& stream = source.stream;
    const std::string& shownName = _shownName(archiveName);
    const auto refuse = [&](std::string text, const FormatCause& cause = {{}, "", ""}) {
        return _fail(Kr::FileResult::failed(eFailure::kRefused, shownName, std::move(text),
                                            std::string(cause.text) + cause.remedy, cause.remedy));
    };
    KrMagicTag tag;
    tag.load(stream);
    if (stream.bad()) throw std::ios_base::failure("the stream cannot be read");
    _fileType = tag.getFileType();
    unsigned int major = 0;
    unsigned int minor = 0;
    tag.getOrreryVersion(major, minor);
    if (auto version = detail::checkFileVersion(major, minor, archiveName); !version) {
        version.file = shownName;
        return _fail(std::move(version));
    }
    if (source.size > _sizeLimit) {
        return refuse("KrPersistence: Cannot load " + shownName + ", it has " + std::to_string(source.size) +
                      " bytes, and the limit is " + std::to_string(_sizeLimit) + ".\n");
    }
    if (_fileType == eFileType::kObject && tag.isSigned()) {
        return refuse("KrPersistence: Cannot load " + shownName +
                      ", its objects are signed, and this release cannot decipher them.\n");
    }
    if (tag.getVersionSavedAsChar()) flags |= static_cast<int>(KrArchive::kByteVersions);
    if (_loadChecked(source, tag, archiveName, flags)) return true;
    // The text is fixed: a stream that was given only an archive name shows none.
    return refuse("KrPersistence: Cannot load " + _currentFilename + ", invalid format.\n", explainFormat(source));
}

}  // namespace KrPersistence
