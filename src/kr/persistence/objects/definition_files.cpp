#include "kr/persistence/objects/definition_files.h"

#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/kept_content.h"

namespace KrPersistence {

namespace {

std::string nameOf(const std::string& file) {
    std::error_code error;
    auto path = std::filesystem::weakly_canonical(file, error);
    return error ? file : path.string();
}

struct NextFile {
    std::string path;
    std::string referringFile;
};

/// The next file that is not known yet and has a definition that an instance waits for. It is known from then on.
std::optional<NextFile> takeNextFile(std::set<std::string>& known) {
    for (const auto& extension : detail::KeptContent::getExtensions()) {
        const auto* object = detail::asObject(extension.get());
        if (object == nullptr || !detail::KeptContent::find(*extension)->isAwaitingDefinition) continue;
        std::string file(object->getDefinitionFileName().view());
        if (!file.empty() && object->getDefinition() == nullptr && known.insert(nameOf(file)).second) {
            return NextFile{std::move(file), findSourceFile(*object)};
        }
    }
    return std::nullopt;
}

}  // namespace

std::vector<LoadedObjects> loadDefinitions(std::span<const std::string> loadedFiles,
                                           std::vector<Kr::FileResult>& refused) {
    std::set<std::string> known;
    for (const auto& each : loadedFiles)
        known.insert(nameOf(each));
    std::vector<LoadedObjects> all;
    while (const auto file = takeNextFile(known)) {
        const ObjectLoadOptions options{
            .referringFile = file->referringFile, .progress = {}, .flags = KrFile::kUnlogged};
        auto loaded = loadObjects(file->path, options);
        if (loaded) {
            all.push_back(std::move(*loaded));
        } else {
            loaded.text.insert(0, "definitions of the file '" + file->path + "' are not loaded: ");
            refused.push_back(std::move(loaded));
        }
    }
    return all;
}

}  // namespace KrPersistence
