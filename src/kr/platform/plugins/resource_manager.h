#pragma once

#include <memory>
#include <string>

#include "kr/platform/array.h"
#include "kr/platform/export.h"

namespace KrPluginSystem {

/// Finds resource files, "<name>.krr".
/// Thread: any. Ownership: one instance, never destroyed.
class KR_API KrResourceManager {
public:
    static KrResourceManager& instance();
    KrResourceManager(const KrResourceManager&) = delete;
    KrResourceManager& operator=(const KrResourceManager&) = delete;

    /// The path of the file in the first search directory that contains it; else, and for a name with a folder, empty.
    [[nodiscard]] std::string findResource(const std::string& resource) const;

    /// Adds a directory, searched after those added before. It need not exist yet. A relative directory counts from the
    /// current directory at the time of the search. A directory that was added already keeps its place. An empty text,
    /// or one with a zero byte, is refused with a warning.
    void addResourceSearchDir(const std::string& directory);
    /// Removes all added directories.
    void resetResourceSearchDirs();
    /// The added directories as they were given, in order.
    [[nodiscard]] Kr::KrArray<std::string> getResourceSearchDirs() const;

private:
    struct State;

    KrResourceManager();
    ~KrResourceManager();

    const std::unique_ptr<State> _state;
};

}  // namespace KrPluginSystem
