#include "apps/krsim/loaded_file.h"

#include <filesystem>

#include "apps/krsim/failure.h"
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

int toFlags(eFileKind kind) noexcept {
    switch (kind) {
        case eFileKind::kXml:
            return KrFile::kXml;
        case eFileKind::kJson:
            return KrFile::kJson;
        case eFileKind::kBinary:
            break;
    }
    return 0;
}

void refuseFolder(const std::string& filename) {
    std::error_code error;
    if (std::filesystem::is_directory(filename, error)) {
        throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is refused: it is a folder");
    }
}

Kr::KrSmartPtr<KrFile> loadFile(const std::string& filename, const std::string& referringFile) {
    std::error_code error;
    if (!std::filesystem::exists(filename, error)) {
        throw Failure(eExitCode::kUsage, "file '" + filename + "' does not exist");
    }
    refuseFolder(filename);
    auto file = Kr::makeSmart<KrFile>();
    file->setReferringFile(referringFile);
    if (file->load(filename)) return file;
    throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is refused: " + trim(file->getLastError()));
}

void failToSave(const char* what, const std::string& filename, const std::string& reason) {
    const auto folder = std::filesystem::path(filename).parent_path();
    std::error_code error;
    const bool hasFolder = folder.empty() || std::filesystem::is_directory(folder, error);
    throw Failure(eExitCode::kFailed, what + (" '" + filename + "' cannot be saved: ") +
                                          (hasFolder ? trim(reason) : "there is no folder '" + folder.string() + "'"));
}

void saveFile(KrFile& file, const std::string& filename, eFileKind kind) {
    if (file.save(filename, toFlags(kind))) return;
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
    return writer.getRoot();
}

}  // namespace krsim
