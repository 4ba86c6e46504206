#include "apps/krsim/loaded_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "apps/krsim/output_file.h"
#include "apps/krsim/work_notice.h"
#include "kr/persistence/files/file_section.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/files/named_file_section.h"

namespace krsim {

using KrPersistence::KrFile;
using eFailure = Kr::FileResult::eFailure;

namespace {

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

}  // namespace

const char* describeType(KrFile::eFileType type) noexcept {
    switch (type) {
        case KrFile::eFileType::kUnknown:
            return "no type";
        case KrFile::eFileType::kObject:
            return "objects";
        case KrFile::eFileType::kSimulationState:
            return "simulation state";
        default:
            return "earlier content";
    }
}

eFileKind kindOf(KrPersistence::KrMagicTag::eFileFormat format) noexcept {
    using eFormat = KrPersistence::KrMagicTag::eFileFormat;
    if (format == eFormat::kXml) return eFileKind::kXml;
    return format == eFormat::kJson ? eFileKind::kJson : eFileKind::kBinary;
}

int toFlags(eFileKind kind, bool hasChecksum) noexcept {
    const int checksum = hasChecksum ? KrFile::kChecksum : 0;
    switch (kind) {
        case eFileKind::kXml:
            return KrFile::kXml | checksum;
        case eFileKind::kJson:
            return KrFile::kJson | checksum;
        case eFileKind::kBinary:
            break;
    }
    return checksum;
}

const std::string& readStandardInput() {
    static const std::string bytes{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    return bytes;
}

std::unique_ptr<std::istream> openInput(const std::string& filename) {
    if (filename == kStandardStream) return std::make_unique<std::istringstream>(readStandardInput());
    auto stream = std::make_unique<std::ifstream>(filename, std::ios::binary);
    const int error = errno;
    if (!*stream) {
        throw toFailure({.failure = error == ENOENT ? eFailure::kMissing : eFailure::kNotOpened,
                         .file = filename,
                         .reason = std::strerror(error)});
    }
    if (isFolder(filename)) throw toFailure({.failure = eFailure::kRefused, .file = filename});
    return stream;
}

Failure toFailure(const Kr::FileResult& result) {
    const std::string file = "file '" + result.file + "' ";
    switch (result.failure) {
        case eFailure::kMissing:
            return {eExitCode::kUsage, file + "does not exist"};
        case eFailure::kNotOpened:
            return {eExitCode::kUsage, file + "cannot be opened: " + result.reason};
        case eFailure::kUnsuitable:
            return {eExitCode::kUsage, result.toString()};
        case eFailure::kNotTaken:
            return {eExitCode::kFailed, result.toString()};
        default:
            break;
    }
    if (isFolder(result.file)) return {eExitCode::kRefusedFile, file + "is refused: it is a folder"};
    return logFailure(eExitCode::kRefusedFile, file + "is refused: " + Kr::toOneLine(result.toString()));
}

Kr::KrSmartPtr<KrFile> loadFile(const std::string& filename, int flags) {
    const WorkNotice notice("loading '" + filename + "'");
    flags |= KrFile::kUnlogged;
    auto file = Kr::makeSmart<KrFile>();
    if (filename == kStandardStream ? file->load(*openInput(filename), {}, flags) : file->load(filename, flags))
        return file;
    auto result = file->getLastResult();
    result.file = filename;
    throw toFailure(result);
}

void failToSave(const char* what, const std::string& filename, const Kr::FileResult& result) {
    const auto folder = std::filesystem::path(filename).parent_path();
    std::error_code error;
    const bool hasFolder = folder.empty() || std::filesystem::is_directory(folder, error);
    auto text = hasFolder ? Kr::toOneLine(result.toString()) : "there is no folder '" + folder.string() + "'";
    if (std::filesystem::is_other(std::filesystem::status(filename, error))) text += kUseStandardOutput;
    failInLog(eExitCode::kFailed, what + (" '" + filename + "' cannot be saved: ") + text);
}

void saveFile(KrFile& file, const std::string& filename, int flags, bool isForced) {
    const bool isState = file.getFileType() == KrFile::eFileType::kSimulationState;
    requireReplaceable(isState ? eOutputKind::kState : eOutputKind::kObjects, filename, isForced);
    const WorkNotice notice("saving '" + filename + "'");
    flags |= KrFile::kUnlogged;
    // Standard output lies in no folder: paths in the file stay as they are.
    const bool isSaved = filename == kStandardStream ? file.save(std::cout, file.getCurrentFilename(), flags)
                                                     : file.save(filename, flags);
    if (isSaved) return;
    failToSave("file", filename, file.getLastResult());
}

std::string makePlainJson(KrFile& file) {
    std::stringstream stream;
    if (!file.save(stream, file.getCurrentFilename(), KrFile::kJson | KrFile::kUnlogged)) {
        throw Failure(eExitCode::kFailed,
                      "the content cannot be written as JSON: " + Kr::toOneLine(file.getLastError()));
    }
    KrPersistence::KrMagicTag().load(stream);
    return stream.str().substr(static_cast<std::size_t>(stream.tellg()));
}

TreeNode loadTree(const std::string& filename) {
    return makeTree(*loadFile(filename));
}

TreeNode makeTree(const KrFile& file) {
    TreeWriter writer("File", file.getCurrentFilename());
    writer.write("Type", describeType(file.getFileType()));
    if (!file.getDescription().empty()) writer.write("Description", file.getDescription());
    for (const auto* section : file.getSections()) {
        writer.group(section->getClassName(), [&] {
            if (section->hasName()) writer.write("Name", section->getName());
            if (const auto* named = dynamic_cast<const KrPersistence::NamedFileSection*>(section)) {
                named->write(writer);
            } else {
                writer.write("Content", "of a kind that cannot be shown");
            }
        });
    }
    return writer.takeRoot();
}

}  // namespace krsim
