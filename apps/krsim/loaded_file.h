#pragma once

#include <string>

#include "apps/krsim/file_plans.h"
#include "apps/krsim/tree_writer.h"
#include "kr/persistence/files/file.h"
#include "kr/platform/smart_ptr.h"

namespace krsim {

/// Throws a Failure with the reason when the file is refused.
/// \param referringFile  the setup that names the file, if any.
[[nodiscard]] Kr::KrSmartPtr<KrPersistence::KrFile> loadFile(const std::string& filename,
                                                             const std::string& referringFile = {}, int flags = 0);

/// A folder can be opened, too, but not read. Throws a Failure for one.
void refuseFolder(const std::string& filename);

/// Texts of the library end with line feeds.
[[nodiscard]] std::string trim(std::string text);

/// Throws the Failure of a file of this sort ("state") that cannot be saved, with the reason.
[[noreturn]] void failToSave(const char* what, const std::string& filename, const std::string& reason);

/// Throws a Failure with the reason when it cannot be saved.
void saveFile(KrPersistence::KrFile& file, const std::string& filename, int flags);

/// All that the file holds. What each save writes anew, as the name of the program, is left out.
[[nodiscard]] TreeNode makeTree(const KrPersistence::KrFile& file);

/// What is in a file of this type, for people.
[[nodiscard]] const char* describeType(KrPersistence::KrFile::eFileType type) noexcept;

/// The flags of KrFile for a kind.
[[nodiscard]] int toFlags(eFileKind kind, bool hasChecksum = false) noexcept;

}  // namespace krsim
