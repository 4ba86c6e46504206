#include <exception>
#include <fstream>
#include <istream>
#include <new>
#include <span>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/file_object_numbers.h"
#include "kr/persistence/files/file_section.h"
#include "kr/persistence/files/internal/load_source.h"
#include "kr/persistence/files/internal/quiet_log.h"
#include "kr/persistence/files/internal/version_gate.h"
#include "kr/persistence/files/magic_tag.h"

namespace KrPersistence {

bool KrFile::load(const std::string& filename, int flags, const std::string& archiveName) try {
    _forgetError();
    clear();
    if (!filename.empty()) _currentFilename = filename;
    if (_currentFilename.empty()) return _fail("KrFile: no filename was given for loading.\n");

    const std::string source = _currentFilename;
    std::ifstream stream(source, std::ios::binary);
    if (!stream) return _fail("KrFile: cannot open " + source + " for loading.\n");
    detail::logQuietly(Kr::eLogLevel::kInfo, "KrFile: loading '" + source + "'.\n");
    return _load(stream, archiveName.empty() ? source : archiveName, flags, true);
} catch (const std::bad_alloc&) {
    return _failForMemory();
}

bool KrFile::load(std::istream& stream, const std::string& archiveName, int flags) {
    return _load(stream, archiveName, flags, false);
}

bool KrFile::_load(std::istream& stream, const std::string& archiveName, int flags, bool isWholeStream) {
    _forgetError();
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
            return std::string("KrPersistence: An error occurred while loading:\n\n") + exception.what() + "\n";
        });
    } catch (...) {
        isLoaded = false;
        clear();
        _failWith([&] { return "KrPersistence: exception when loading\".\n" + archiveName + "\"\n"; });
    }
    _finish();
    for (auto* section : isLoaded ? std::span(_sections) : std::span<KrFileSection*>())
        section->_onLoaded();
    return isLoaded;
}

bool KrFile::_loadFrom(const detail::LoadSource& source, const std::string& archiveName, int flags) {
    std::istream& stream = source.stream;
    const std::string& shownName = _currentFilename.empty() ? archiveName : _currentFilename;
    KrMagicTag tag;
    tag.load(stream);
    _fileType = tag.getFileType();
    unsigned int major = 0;
    unsigned int minor = 0;
    tag.getOrreryVersion(major, minor);
    if (const std::string refusal = detail::checkFileVersion(major, minor, archiveName); !refusal.empty()) {
        return _fail(refusal);
    }
    if (source.size > _sizeLimit) {
        return _fail("KrPersistence: Cannot load " + shownName + ", it has " + std::to_string(source.size) +
                     " bytes, and the limit is " + std::to_string(_sizeLimit) + ".\n");
    }
    if (_fileType == eFileType::kObject && tag.isSigned()) {
        return _fail("KrPersistence: Cannot load " + shownName +
                     ", its objects are signed, and this release cannot decipher them.\n");
    }
    if (tag.getVersionSavedAsChar()) flags |= static_cast<int>(KrArchive::kByteVersions);
    if (_loadChecked(source, tag, archiveName, flags)) return true;
    return _fail("KrPersistence: Cannot load " + shownName + ", invalid format.\n");
}

}  // namespace KrPersistence
