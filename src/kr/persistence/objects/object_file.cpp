#include "kr/persistence/objects/object_file.h"

#include <memory>
#include <new>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"
#include "kr/persistence/objects/object_section.h"

namespace KrPersistence {

namespace {
constexpr const char* kOutOfMemory = "out of memory";  // short enough to need none
}  // namespace

KrSim::KrObject* LoadedObjects::getObject(std::size_t index) const {
    return index < objects.size() ? dynamic_cast<KrSim::KrObject*>(objects[index].get()) : nullptr;
}

bool saveObjects(const std::string& fileName, std::span<KrSim::KrExtension* const> objects, int flags,
                 std::string& error, const KrFile::ProgressHandler& progress) try {
    auto section = std::make_unique<KrObjectSection>();
    for (auto* object : objects)
        section->addObject(object);
    KrFile file;
    file.setFileType(KrFile::eFileType::kObject);
    file.setProgressHandler(progress);
    file.addSection(section.release());
    const bool isSaved = file.save(fileName, flags);
    error = file.explainLastError();
    return isSaved;
} catch (const std::bad_alloc&) {
    error = kOutOfMemory;
    return false;
}

bool saveObjects(const std::string& fileName, std::span<KrSim::KrObject* const> objects, int flags, std::string& error,
                 const KrFile::ProgressHandler& progress) try {
    const std::vector<KrSim::KrExtension*> extensions(objects.begin(), objects.end());
    return saveObjects(fileName, extensions, flags, error, progress);
} catch (const std::bad_alloc&) {
    error = kOutOfMemory;
    return false;
}

std::optional<LoadedObjects> loadObjects(const std::string& fileName, std::string& error,
                                         const KrFile::ProgressHandler& progress) {
    return loadObjects(fileName, {.referringFile = {}, .progress = progress, .flags = 0}, error);
}

std::optional<LoadedObjects> loadObjects(const std::string& fileName, const ObjectLoadOptions& options,
                                         std::string& error) try {
    detail::KeptBefore before;
    KrFile file;
    file.setProgressHandler(options.progress);
    file.setReferringFile(options.referringFile);
    if (!file.load(fileName, options.flags)) {
        error = file.explainLastError();
        return std::nullopt;
    }
    std::optional<LoadedObjects> loaded;
    for (auto* each : file.getSections()) {
        const auto* section = dynamic_cast<const KrObjectSection*>(each);
        if (section == nullptr) continue;
        if (!loaded) loaded.emplace();
        const auto& objects = section->getObjects();
        loaded->objects.insert(loaded->objects.end(), objects.begin(), objects.end());
        loaded->extensionCount += section->getLoadedExtensionCount();
        loaded->connectionCount += section->getLoadedConnectionCount();
        const auto problems = section->getProblems();
        loaded->problems.insert(loaded->problems.end(), problems.begin(), problems.end());
    }
    if (loaded) loaded->findings = file.getFindings();
    error = loaded ? std::string() : "'" + fileName + "' holds no objects";
    before.keep();
    return loaded;
} catch (const std::bad_alloc&) {
    error = kOutOfMemory;
    return std::nullopt;
}

std::string findSourceFile(const KrSim::KrExtension& extension) {
    return detail::LoadedFiles::instance().findPath(extension);
}

std::string describeWithFile(const KrSim::KrExtension& extension) {
    const auto file = findSourceFile(extension);
    return "'" + extension.getPath() + "'" + (file.empty() ? std::string() : " of '" + file + "'");
}

}  // namespace KrPersistence
