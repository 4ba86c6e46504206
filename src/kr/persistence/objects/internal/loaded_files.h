#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/weak_ptr.h"

namespace KrPersistence::detail {

/// The files from which living content was loaded.
/// Thread: any.
class LoadedFiles {
public:
    /// The one instance, never destroyed.
    [[nodiscard]] static LoadedFiles& instance();

    /// See chooseFilePart.
    [[nodiscard]] std::string chooseName(const std::string& path, const std::string& referringFile);
    /// See noteSourceFile.
    void note(const std::string& name, const std::string& path,
              const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& roots);
    /// The file of the extension, or of an object above it; empty for content that does not come from a file.
    [[nodiscard]] std::string findPath(const KrSim::KrExtension& extension);

private:
    struct Loaded {
        std::string name;
        std::string path;
        std::vector<Kr::KrWeakPtr<KrSim::KrExtension>> roots;
    };

    void _forgetDead();
    [[nodiscard]] bool _isTaken(const std::string& name, const std::string& path) const;

    std::mutex _mutex;  // guards the list
    std::vector<Loaded> _loaded;
};

/// Explains, after a message, that an ID finds no content because several extensions have its raw ID, and names their
/// files. Empty for another reason.
[[nodiscard]] std::string describeChoice(const KrSim::KrContentID::Identifier& runtimeID,
                                         const KrSim::KrContentID::Identifier& rawID);

/// "from <ID>.<field> to <ID>.<field><state>", then the reasons of describeChoice.
[[nodiscard]] std::string describeEnds(const ConnectionRecord& connection, const char* state);

}  // namespace KrPersistence::detail
