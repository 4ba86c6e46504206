#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The current versions of extension types, and the steps that upgrade saved data of older versions.
///
/// A type may have several version keys, one for each part that changes independently ("Controller", "Tyres"). Content
/// contains the versions of each extension. When it is loaded, the steps of every key whose stored version is older
/// than the registered one run in order of their version, on the saved fields, before onLoading.
///
/// When another type replaces an obsolete one, registerReplacement declares it, and content of the old type is loaded
/// as content of the new one. Plug-ins register all this when they are loaded, from a static object; the plug-in of the
/// obsolete type, or one of its name, is loaded on demand like any other.
///
/// Types are identified by the uuid of their factory key.
/// Thread: any; steps run without a lock, on the loading thread. Ownership: owns the functions.
class KR_API KrVersioningRegistry {
public:
    using Versions = std::map<std::string, std::int32_t>;
    /// Changes saved fields ("Inputs", "Outputs", "Parameters" and others) of one version into those of the next. All
    /// of them count as produced meanwhile, so setID and setParent work.
    using UpgradeStep = std::function<void(KrData::Container& saved)>;
    /// The saved data of an extension.
    struct SavedExtension {
        KrData::Container& fields;  ///< "Inputs", "Outputs", "Parameters"
        std::string& data;          ///< the bytes of onSaving
        std::int32_t& version;      ///< of the implementation, for onLoading and onLoaded
        Versions& versions;         ///< the versions from which upgrade steps continue
    };
    /// Changes the saved data of an extension of the obsolete type into data of any version of the replacing type.
    using Replacement = std::function<void(SavedExtension& saved)>;

    KrVersioningRegistry() = delete;

    /// Sets the current version for a key of a type. False for an incomplete type or an empty version key.
    static bool registerVersion(const KrFactoryKey& type, const std::string& versionKey, std::int32_t version);
    /// The step from `fromVersion` to the next one; versions without a step need none. False as above, for an empty
    /// step, and when the version has one already.
    static bool registerUpgrade(const KrFactoryKey& type, const std::string& versionKey, std::int32_t fromVersion,
                                UpgradeStep step);
    /// Content of the obsolete type is loaded as content of the other, which may have a replacement itself. Without a
    /// function the data is unchanged: the type only has a new key. False as above, when the obsolete type has a
    /// replacement already, and when the replacement would lead back to it.
    static bool registerReplacement(const KrFactoryKey& obsolete, const KrFactoryKey& replacing,
                                    Replacement function = {});
    /// Removes the versions, steps and replacement of a type, and the types that it replaces.
    static void unregisterType(const KrFactoryKey& type);

    /// The versions of the extension's type; none for null and for plain extensions.
    [[nodiscard]] static Versions getVersions(const KrExtension* extension);
    /// Upgrades saved fields from the versions in `saved`, where a missing key counts as version 0. An exception of a
    /// step is logged as a warning and thrown on to the loader, which then keeps the data unchanged.
    static void onLoadingExtension(const KrExtension* extension, KrData::Container* fields, const Versions& saved);

    /// The type as which content of `type` is loaded, after all replacements; empty without a replacement.
    [[nodiscard]] static std::optional<KrFactoryKey> findReplacement(const KrFactoryKey& type);
    /// Calls the functions between `obsolete` and the result of findReplacement. False, with a warning that has `name`,
    /// when one throws: `saved` is partly changed then.
    static bool replaceObsoleteExtension(const std::string& name, const KrFactoryKey& obsolete, SavedExtension& saved);
};

}  // namespace KrSim
