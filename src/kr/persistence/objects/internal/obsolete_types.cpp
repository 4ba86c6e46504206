#include "kr/persistence/objects/internal/obsolete_types.h"

#include <utility>
#include <vector>

#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/versioning_registry.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/tracked_paths.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace KrPersistence::detail {

using KrSim::KrExtensionFactory;
using KrSim::KrVersioningRegistry;

namespace {

void moveFields(KrData::Container& from, KrData::Container& to) {
    to.clear();
    const std::vector<KrData::FieldBase*> fields(from.begin(), from.end());
    for (auto* field : fields)
        static_cast<void>(field->setParent(&to));
}

/// Turns the record into one of the replacing type. A failure leaves it as it was.
bool replaceObsolete(ExtensionRecord& record) {
    KrData::Container fields{Kr::KrID()};
    for (const auto* group : record.fields)
        static_cast<void>(group->clone(&fields));
    auto data = record.data;
    auto version = record.dataVersion;
    auto versions = record.versions;
    const TrackedPaths paths(fields, record.references);
    KrVersioningRegistry::SavedExtension saved{fields, data, version, versions};
    if (!KrVersioningRegistry::replaceObsoleteExtension(record.name, record.key, saved)) return false;
    paths.update(record.references);
    moveFields(fields, record.fields);
    record.data = std::move(data);
    record.dataVersion = version;
    record.versions = std::move(versions);
    return true;
}

}  // namespace

bool isTypeThere(const KrSim::KrFactoryKey& key) {
    return KrExtensionFactory::isValid(KrVersioningRegistry::findReplacement(key).value_or(key));
}

Kr::KrSmartPtr<KrSim::KrExtension> createOrReplace(ExtensionRecord& record) {
    auto replacing = KrVersioningRegistry::findReplacement(record.key);
    if (!replacing && !record.key.plugin.empty() && !KrExtensionFactory::isValid(record.key)) {
        auto& plugins = KrPluginSystem::KrPluginManager::instance();
        if (!plugins.isLoaded(record.key.plugin)) plugins.load(record.key.plugin);
        replacing = KrVersioningRegistry::findReplacement(record.key);
    }
    if (replacing) {
        auto made = KrExtensionFactory::create(*replacing);
        const bool isFit = made && (!record.isObject || asObject(made.get()) != nullptr);
        if (isFit && replaceObsolete(record)) return made;
        if (!KrExtensionFactory::isValid(record.key)) return {};
    }
    return KrExtensionFactory::create(record.key);
}

}  // namespace KrPersistence::detail
