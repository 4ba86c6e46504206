#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "kr/application/application_config.h"
#include "kr/extension/extension.h"  // the interface holds one
#include "kr/extension/smart_interface.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// What a setup file holds: from what an application is built, and the object files to load into it.
struct SetupFile {
    KrSim::KrSmartInterface<KrSim::ApplicationConfig> setup{};
    std::vector<std::string>
        contentFiles{};  ///< absolute after loading; relative ones are meant from the setup file on
    /// After loading: what is probably not as its author meant it, as settings that do not exist.
    std::vector<Finding> findings{};
};

/// Saves a setup file.
/// \param flags  of KrFile: kXml, kJson, or 0 for a binary file.
/// \param error  why, when the answer is false.
[[nodiscard]] KR_API bool saveSetupFile(const SetupFile& file, const std::string& filename, int flags,
                                        std::string& error);

/// The same to a binary stream, which lies in no folder: paths stay as they are.
[[nodiscard]] KR_API bool saveSetupFile(const SetupFile& file, std::ostream& stream, int flags, std::string& error);

/// Loads a setup file. Nothing is applied and no content is loaded.
/// False, with the reason, when it cannot be loaded or holds no setup; `file` is as it was then.
[[nodiscard]] KR_API bool loadSetupFile(SetupFile& file, const std::string& filename, std::string& error);

}  // namespace KrPersistence
