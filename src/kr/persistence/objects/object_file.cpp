#include "kr/persistence/objects/object_file.h"

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"
#include "kr/persistence/objects/object_section.h"

namespace KrPersistence {

KrSim::KrObject* LoadedObjects::getObject(std::size_t index) const {
    return index < objects.size() ? dynamic_cast<KrSim::KrObject*>(objects[index].get()) : nullptr;
}

Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrExtension* const> objects, int flags,
                           const KrFile::ProgressHandler& progress) try {
    auto section = std::make_unique<KrObjectSection>();
    for (auto* object : objects)
        section->addObject(object);
    KrFile file;
    file.setFileType(KrFile::eFileType::kObject);
    file.setProgressHandler(progress);
    file.addSection(section.release());
    file.save(fileName, flags);
    return file.getLastResult();
} catch (const std::bad_alloc&) {
    return Kr::FileResult::noMemory();
}

Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrObject* const> objects, int flags,
                           const KrFile::ProgressHandler& progress) try {
    const std::vector<KrSim::KrExtension*> extensions(objects.begin(), objects.end());
    return saveObjects(fileName, extensions, flags, progress);
} catch (const std::bad_alloc&) {
    return Kr::FileResult::noMemory();
}

Kr::FileResultOf<LoadedObjects> loadObjects(const std::string& fileName, const ObjectLoadOptions& options) try {
    detail::KeptBefore before;
    KrFile file;
    file.setProgressHandler(options.progress);
    file.setReferringFile(options.referringFile);
    if (!file.load(fileName, options.flags)) return file.getLastResult();
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
    if (!loaded) {
        using eFailure = Kr::FileResult::eFailure;
        return Kr::FileResult::failed(eFailure::kUnsuitable, fileName, "'" + fileName + "' holds no objects");
    }
    loaded->findings = file.getFindings();
    before.keep();  // nothing fails any more
    return std::move(*loaded);
} catch (const std::bad_alloc&) {
    return Kr::FileResult::noMemory();
}

std::string findSourceFile(const KrSim::KrExtension& extension) {
    return detail::LoadedFiles::instance().findPath(extension);
}

std::string describeWithFile(const KrSim::KrExtension& extension) {
    const auto file = findSourceFile(extension);
    return "'" + extension.getPath() + "'" + (file.empty() ? std::string() : " of '" + file + "'");
}

}  // namespace KrPersistence
