#pragma once

#include <istream>
#include <memory>
#include <string>

#include "apps/krsim/failure.h"
#include "apps/krsim/file_plans.h"
#include "apps/krsim/tree_writer.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/platform/smart_ptr.h"

namespace krsim {

/// The bytes of standard input to its end, read once.
[[nodiscard]] const std::string& readStandardInput();

/// A binary stream from the begin of the file. Throws a Failure for one that cannot be opened, and for a folder.
/// \param filename  "-" is standard input
[[nodiscard]] std::unique_ptr<std::istream> openInput(const std::string& filename);

/// Throws a Failure with the reason when the file is refused, which is not reported elsewhere.
/// \param filename  "-" is standard input: paths in it are relative to the working directory.
[[nodiscard]] Kr::KrSmartPtr<KrPersistence::KrFile> loadFile(const std::string& filename, int flags = 0);

/// Why a file was not loaded, with the exit code; a file that was read and refused is in the log file, too.
[[nodiscard]] Failure toFailure(const Kr::FileResult& result);

/// Throws the Failure of a file of this sort ("state") that cannot be saved, with the reason.
/// \param filename  "-" is standard output
[[noreturn]] void failToSave(const char* what, const std::string& filename, const Kr::FileResult& result);

/// Throws a Failure with the reason when it cannot be saved, and when the rule of requireReplaceable forbids it.
void saveFile(KrPersistence::KrFile& file, const std::string& filename, int flags, bool isForced);

/// The contents of the file, without data that each save replaces, such as the name of the program.
[[nodiscard]] TreeNode makeTree(const KrPersistence::KrFile& file);

/// The same of a file by its name, which is unloaded when this returns: two files may hold the same content.
[[nodiscard]] TreeNode loadTree(const std::string& filename);

/// The whole content in the JSON form of our files, without the tag in front, which JSON tools do not read.
[[nodiscard]] std::string makePlainJson(KrPersistence::KrFile& file);

/// The contents of a file of this type, for people.
[[nodiscard]] const char* describeType(KrPersistence::KrFile::eFileType type) noexcept;

/// The kind of a format; binary for an unknown one.
[[nodiscard]] eFileKind kindOf(KrPersistence::KrMagicTag::eFileFormat format) noexcept;

/// The flags of KrFile for a kind.
[[nodiscard]] int toFlags(eFileKind kind, bool hasChecksum = false) noexcept;

}  // namespace krsim
