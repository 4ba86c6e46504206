#pragma once

#include <memory>
#include <string>

#include "kr/platform/array.h"
#include "kr/platform/export.h"

namespace KrPluginSystem {

/// Finds resource files, "<name>.krr".
/// Thread: all operations on any thread.
class KR_API KrResourceManager {
public:
    static KrResourceManager& instance();
    KrResourceManager(const KrResourceManager&) = delete;
    KrResourceManager& operator=(const KrResourceManager&) = delete;

    /// The path of the file in the first search directory that has it; empty when none has, and for a name with a
    /// folder in it.
    [[nodiscard]] std::string findResource(const std::string& resource) const;

    /// Adds a directory, to be searched after those added before. It need not exist yet. A relative one counts from the
    /// current directory at the time of the search. One that is there keeps its place; an empty text, or one with a
    /// zero byte in it, is refused with a warning.
    void addResourceSearchDir(const std::string& directory);
    void resetResourceSearchDirs();
    /// As they were given, in order.
    [[nodiscard]] Kr::KrArray<std::string> getResourceSearchDirs() const;

private:
    struct State;

    KrResourceManager();
    ~KrResourceManager();

    const std::unique_ptr<State> _state;
};

}  // namespace KrPluginSystem
