#include "kr/persistence/objects/internal/loaded_files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kr/content/content_directory.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file_paths.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/object_file.h"

namespace KrPersistence::detail {

using KrSim::KrContentID;

namespace {

namespace fs = std::filesystem;

std::string canonical(const std::string& path) {
    std::error_code failure;
    const auto found = fs::weakly_canonical(path, failure);
    return failure ? path : found.string();
}

}  // namespace

LoadedFiles& LoadedFiles::instance() {
    static auto& files = *new LoadedFiles;
    return files;
}

std::string LoadedFiles::chooseName(const std::string& path, const std::string& referringFile) {
    auto name = contentFileName(path, referringFile);
    const fs::path file(path);
    if (!referringFile.empty() || !file.is_absolute()) return name;
    const auto own = canonical(path);
    const std::lock_guard lock(_mutex);
    _forgetDead();
    fs::path wider(name);
    for (auto folder = file.lexically_normal().parent_path(); _isTaken(name, own) && folder.has_filename();
         folder = folder.parent_path()) {
        wider = folder.filename() / wider;
        name = wider.generic_string();
    }
    return name;
}

void LoadedFiles::note(const std::string& name, const std::string& path,
                       const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& roots) {
    if (path.empty() || roots.empty()) return;
    Loaded loaded{name, canonical(path), {roots.begin(), roots.end()}};
    const std::lock_guard lock(_mutex);
    _forgetDead();
    _loaded.push_back(std::move(loaded));
}

std::string LoadedFiles::findPath(const KrSim::KrExtension& extension) {
    std::vector<Kr::KrWeakPtr<KrSim::KrExtension>> above;
    for (const auto* each = &extension; each != nullptr; each = each->getOwner())
        above.emplace_back(const_cast<KrSim::KrExtension*>(each));
    const std::lock_guard lock(_mutex);
    for (const auto& loaded : _loaded) {
        const auto& roots = loaded.roots;
        if (std::find_first_of(roots.begin(), roots.end(), above.begin(), above.end()) != roots.end()) {
            return loaded.path;
        }
    }
    return {};
}

void LoadedFiles::_forgetDead() {
    std::erase_if(_loaded, [](const Loaded& each) {
        return std::all_of(each.roots.begin(), each.roots.end(), [](const auto& root) { return root.isExpired(); });
    });
}

bool LoadedFiles::_isTaken(const std::string& name, const std::string& path) const {
    return std::any_of(_loaded.begin(), _loaded.end(),
                       [&](const Loaded& each) { return each.name == name && each.path != path; });
}

std::string describeChoice(const KrContentID::Identifier& runtimeID, const KrContentID::Identifier& rawID) {
    using Directory = KrSim::KrContentDirectory;
    constexpr std::size_t kMostNamed = 4;
    const auto count = Directory::getCountOf(rawID);
    if (count < 2 || Directory::resolve(runtimeID, rawID).first != nullptr) return {};
    std::string text = "; " + std::to_string(count) + " objects have that content ID, and none is chosen: ";
    const auto items = Directory::holdItems(rawID, kMostNamed);
    for (const auto& [extension, holder] : items)
        text += (extension != items.front().first ? ", " : "") + describeWithFile(*extension);
    if (count > items.size()) text += ", and " + std::to_string(count - items.size()) + " more";
    return text;
}

std::string describeEnds(const ConnectionRecord& connection, const char* state) {
    const auto& [sourceRuntime, sourceRaw] = connection.source;
    const auto& [sinkRuntime, sinkRaw] = connection.sink;
    return "from " + sourceRuntime.toString() + "." + connection.sourceField + " to " + sinkRuntime.toString() + "." +
           connection.sinkField + state + describeChoice(sourceRuntime, sourceRaw) +
           describeChoice(sinkRuntime, sinkRaw);
}

}  // namespace KrPersistence::detail

namespace KrPersistence {

std::string chooseFilePart(const std::string& path, const std::string& referringFile) {
    return detail::LoadedFiles::instance().chooseName(path, referringFile);
}

void noteSourceFile(const std::string& filePart, const std::string& path,
                    const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& extensions) {
    detail::LoadedFiles::instance().note(filePart, path, extensions);
}

}  // namespace KrPersistence
