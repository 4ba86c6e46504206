#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/weak_ptr.h"

namespace KrPersistence::detail {

/// The files that living content was loaded from.
/// Thread: any.
class LoadedFiles {
public:
    /// Never destroyed.
    [[nodiscard]] static LoadedFiles& instance();

    /// See chooseFilePart.
    [[nodiscard]] std::string chooseName(const std::string& path, const std::string& referringFile);
    /// See noteSourceFile.
    void note(const std::string& name, const std::string& path,
              const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& roots);
    /// Where the extension, or an object above it, was loaded from; empty for what does not come from a file.
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

/// Of an ID that finds no content because several extensions have the raw ID: that they are there, with their files.
/// Empty where that is not the reason. To be put behind a message.
[[nodiscard]] std::string describeChoice(const KrSim::KrContentID::Identifier& runtimeID,
                                         const KrSim::KrContentID::Identifier& rawID);

}  // namespace KrPersistence::detail
