#include "kr/persistence/setups/setup_file.h"

#include <memory>

#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/setups/content_list_section.h"
#include "kr/persistence/setups/setup_section.h"

namespace KrPersistence {

namespace {

using eFailure = Kr::FileResult::eFailure;

/// \param save  writes the file.
template <class Save>
Kr::FileResult saveWith(const Save& save, const SetupFile& file) {
    if (!file.setup) return Kr::FileResult::failed(eFailure::kNotWritten, {}, "there is no setup to save");
    const auto saved = Kr::makeSmart<KrFile>();
    saved->addSection(new KrSetupSection(file.setup));
    auto list = std::make_unique<KrContentListSection>();
    list->setFiles(file.contentFiles);
    saved->addSection(list.release());
    save(*saved);
    return saved->getLastResult();
}

}  // namespace

Kr::FileResult saveSetupFile(const SetupFile& file, const std::string& filename, int flags) {
    return saveWith([&](KrFile& saved) { saved.save(filename, flags); }, file);
}

Kr::FileResult saveSetupFile(const SetupFile& file, std::ostream& stream, int flags) {
    return saveWith([&](KrFile& saved) { saved.save(stream, {}, flags); }, file);
}

Kr::FileResultOf<SetupFile> loadSetupFile(const std::string& filename) {
    const auto loaded = Kr::makeSmart<KrFile>();
    if (!loaded->load(filename)) return loaded->getLastResult();
    SetupFile result{.setup = KrSetupSection::find(*loaded)};
    for (const auto* each : loaded->getSections()) {
        const auto* list = dynamic_cast<const KrContentListSection*>(each);
        if (list == nullptr) continue;
        const auto& files = list->getFiles();
        result.contentFiles.insert(result.contentFiles.end(), files.begin(), files.end());
    }
    if (!result.setup)
        return Kr::FileResult::failed(eFailure::kUnsuitable, filename, "'" + filename + "' holds no setup");
    result.findings = loaded->getFindings();
    return result;
}

}  // namespace KrPersistence
