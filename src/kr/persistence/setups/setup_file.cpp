#include "kr/persistence/setups/setup_file.h"

#include <memory>

#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/setups/content_list_section.h"
#include "kr/persistence/setups/setup_section.h"

namespace KrPersistence {

namespace {

/// \param save  writes the file.
template <class Save>
bool saveWith(const Save& save, const SetupFile& file, std::string& error) {
    if (!file.setup) {
        error = "there is no setup to save";
        return false;
    }
    const auto saved = Kr::makeSmart<KrFile>();
    saved->addSection(new KrSetupSection(file.setup));
    auto list = std::make_unique<KrContentListSection>();
    list->setFiles(file.contentFiles);
    saved->addSection(list.release());
    if (save(*saved)) return true;
    error = saved->explainLastError();
    return false;
}

}  // namespace

bool saveSetupFile(const SetupFile& file, const std::string& filename, int flags, std::string& error) {
    return saveWith([&](KrFile& saved) { return saved.save(filename, flags); }, file, error);
}

bool saveSetupFile(const SetupFile& file, std::ostream& stream, int flags, std::string& error) {
    return saveWith([&](KrFile& saved) { return saved.save(stream, {}, flags); }, file, error);
}

bool loadSetupFile(SetupFile& file, const std::string& filename, std::string& error) {
    const auto loaded = Kr::makeSmart<KrFile>();
    if (!loaded->load(filename)) {
        error = loaded->explainLastError();
        return false;
    }
    SetupFile result;
    for (auto* each : loaded->getSections()) {
        if (const auto* section = dynamic_cast<const KrSetupSection*>(each)) {
            if (!result.setup) result.setup = section->getSetup();
        } else if (const auto* list = dynamic_cast<const KrContentListSection*>(each)) {
            const auto& files = list->getFiles();
            result.contentFiles.insert(result.contentFiles.end(), files.begin(), files.end());
        }
    }
    if (!result.setup) {
        error = "'" + filename + "' holds no setup";
        return false;
    }
    result.findings = loaded->getFindings();
    file = std::move(result);
    return true;
}

}  // namespace KrPersistence
