#pragma once

#include <istream>
#include <memory>
#include <string>

#include "apps/krsim/file_plans.h"
#include "apps/krsim/tree_writer.h"
#include "kr/persistence/files/file.h"
#include "kr/platform/smart_ptr.h"

namespace krsim {

/// The bytes of standard input to its end, read once.
[[nodiscard]] const std::string& readStandardInput();

/// A binary stream from the begin of the file. Throws a Failure for one that cannot be opened, and for a folder.
/// \param filename  "-" is standard input
[[nodiscard]] std::unique_ptr<std::istream> openInput(const std::string& filename);

/// Throws a Failure with the reason when the file is refused; nothing else tells of it.
/// \param filename       "-" is standard input: paths in it are relative to the working directory.
/// \param referringFile  the setup that names the file, if any.
[[nodiscard]] Kr::KrSmartPtr<KrPersistence::KrFile> loadFile(const std::string& filename,
                                                             const std::string& referringFile = {}, int flags = 0);

/// A text of the library in one line: its line feeds become blanks, and none are at its end.
[[nodiscard]] std::string toOneLine(const std::string& text);

/// Throws the Failure of a file of this sort ("state") that cannot be saved, with the reason.
[[noreturn]] void failToSave(const char* what, const std::string& filename, const std::string& reason);

/// Throws a Failure with the reason when it cannot be saved, and when the rule of requireReplaceable forbids it.
void saveFile(KrPersistence::KrFile& file, const std::string& filename, int flags, bool isForced);

/// All that the file holds. What each save writes anew, as the name of the program, is left out.
[[nodiscard]] TreeNode makeTree(const KrPersistence::KrFile& file);

/// The whole content in the JSON form of our files, without the tag in front, which JSON tools do not read.
[[nodiscard]] std::string makePlainJson(KrPersistence::KrFile& file);

/// Whether the file holds a setup.
[[nodiscard]] bool isSetup(const KrPersistence::KrFile& file);

/// What is in a file of this type, for people.
[[nodiscard]] const char* describeType(KrPersistence::KrFile::eFileType type) noexcept;

/// The flags of KrFile for a kind.
[[nodiscard]] int toFlags(eFileKind kind, bool hasChecksum = false) noexcept;

}  // namespace krsim
