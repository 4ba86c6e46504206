#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "kr/application/application_config.h"
#include "kr/extension/extension.h"  // the interface holds one
#include "kr/extension/smart_interface.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

/// The contents of a setup file: the setup of an application, and the object files to load into it.
struct SetupFile {
    KrSim::KrSmartInterface<KrSim::ApplicationConfig> setup{};
    std::vector<std::string> contentFiles{};  ///< absolute after loading; relative ones are relative to the setup file
    /// After loading: probable mistakes, such as settings that do not exist.
    std::vector<Finding> findings{};
};

/// Saves a setup file.
/// \param flags  of KrFile: kXml, kJson, or 0 for a binary file.
KR_API Kr::FileResult saveSetupFile(const SetupFile& file, const std::string& filename, int flags = 0);

/// The same to a binary stream, which is in no folder: paths are unchanged.
KR_API Kr::FileResult saveSetupFile(const SetupFile& file, std::ostream& stream, int flags = 0);

/// Loads a setup file. Nothing is applied and no content is loaded.
/// A failure when it cannot be loaded or holds no setup (kUnsuitable).
[[nodiscard]] KR_API Kr::FileResultOf<SetupFile> loadSetupFile(const std::string& filename);

}  // namespace KrPersistence
