#include "apps/krsim/loaded_file.h"

#include <filesystem>
#include <iostream>

#include "apps/krsim/failure.h"
#include "apps/krsim/output_file.h"
#include "kr/persistence/files/file_section.h"
#include "kr/persistence/files/named_file_section.h"

namespace krsim {

using KrPersistence::KrFile;

std::string trim(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

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

void refuseFolder(const std::string& filename) {
    std::error_code error;
    if (std::filesystem::is_directory(filename, error)) {
        throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is refused: it is a folder");
    }
}

Kr::KrSmartPtr<KrFile> loadFile(const std::string& filename, const std::string& referringFile, int flags) {
    std::error_code error;
    if (!std::filesystem::exists(filename, error)) {
        throw Failure(eExitCode::kUsage, "file '" + filename + "' does not exist");
    }
    refuseFolder(filename);
    auto file = Kr::makeSmart<KrFile>();
    file->setReferringFile(referringFile);
    if (file->load(filename, flags)) return file;
    throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is refused: " + trim(file->getLastError()));
}

void failToSave(const char* what, const std::string& filename, const std::string& reason) {
    const auto folder = std::filesystem::path(filename).parent_path();
    std::error_code error;
    const bool hasFolder = folder.empty() || std::filesystem::is_directory(folder, error);
    auto text = hasFolder ? trim(reason) : "there is no folder '" + folder.string() + "'";
    if (std::filesystem::is_other(std::filesystem::status(filename, error))) text += kUseStandardOutput;
    throw Failure(eExitCode::kFailed, what + (" '" + filename + "' cannot be saved: ") + text);
}

void saveFile(KrFile& file, const std::string& filename, int flags) {
    // Standard output lies in no folder: paths in the file stay as they are.
    const bool isSaved = filename == kStandardOutput ? file.save(std::cout, file.getCurrentFilename(), flags)
                                                     : file.save(filename, flags);
    if (isSaved) return;
    failToSave("file", filename, file.explainLastError());
}

TreeNode makeTree(const KrFile& file) {
    TreeWriter writer("File", file.getCurrentFilename());
    writer.write("Type", describeType(file.getFileType()));
    if (!file.getDescription().empty()) writer.write("Description", file.getDescription());
    for (const auto* section : file.getSections()) {
        writer.group(section->getClassName(), [&] {
            if (section->hasName()) writer.write("Name", section->getName());
            if (const auto* named = dynamic_cast<const KrPersistence::NamedFileSection*>(section)) {
                named->_write(writer);
            } else {
                writer.write("Content", "of a kind that cannot be shown");
            }
        });
    }
    return writer.takeRoot();
}

}  // namespace krsim
