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

/// The versions that extension types are at, and the steps that bring saved data of older versions up to them.
///
/// A type may have several version keys, one for each thing in it that changes for itself ("Controller", "Tyres").
/// Content stores the versions of each extension. When it is loaded, every key whose stored version is older than the
/// registered one has its steps run in order of their version, on the saved fields, before onLoading.
///
/// Where another type takes the place of an obsolete one, registerReplacement says so, and content of the old type is
/// loaded as content of the new one. Plug-ins register all this when they are loaded, from a static object; the plug-in
/// that had the obsolete type, or one of its name, is loaded on demand like any other.
///
/// Types are told apart by the uuid of their factory key. Thread: any; steps run without a lock held, on the thread
/// that loads.
class KR_API KrVersioningRegistry {
public:
    using Versions = std::map<std::string, std::int32_t>;
    /// Turns saved fields ("Inputs", "Outputs", "Parameters" and the rest) of one version into those of the next. All
    /// of them count as produced meanwhile, so setID and setParent work.
    using UpgradeStep = std::function<void(KrData::Container& saved)>;
    /// What was saved of an extension.
    struct SavedExtension {
        KrData::Container& fields;  ///< "Inputs", "Outputs", "Parameters"
        std::string& data;          ///< the bytes of onSaving
        std::int32_t& version;      ///< of the implementation, for onLoading and onLoaded
        Versions& versions;         ///< where upgrade steps go on
    };
    /// Turns what an extension of the obsolete type saved into what one of the replacing type could have saved, at any
    /// version of it.
    using Replacement = std::function<void(SavedExtension& saved)>;

    KrVersioningRegistry() = delete;

    /// Sets the version that a key of a type is at. False for a key without uuid, category and name, and for an empty
    /// version key.
    static bool registerVersion(const KrFactoryKey& type, const std::string& versionKey, std::int32_t version);
    /// The step from `fromVersion` to the next one; versions without a step need none. False as above, for an empty
    /// step, and where the version has one already.
    static bool registerUpgrade(const KrFactoryKey& type, const std::string& versionKey, std::int32_t fromVersion,
                                UpgradeStep step);
    /// Content of the obsolete type is loaded as content of the other, which may have a replacement itself. Without a
    /// function it is as the obsolete type saved it: the type has a new key and nothing else. False as above, where the
    /// obsolete type has a replacement already, and where the replacement would lead back to it.
    static bool registerReplacement(const KrFactoryKey& obsolete, const KrFactoryKey& replacing,
                                    Replacement function = {});
    /// Forgets the versions, steps and replacement of a type, and what it replaces.
    static void unregisterType(const KrFactoryKey& type);

    /// The versions of the extension's type; none for null and for plain extensions.
    [[nodiscard]] static Versions getVersions(const KrExtension* extension);
    /// Upgrades saved fields from the versions in `saved`, where a key that is missing counts as version 0. A step that
    /// throws is logged as a warning and its exception goes on to the loader, which then keeps the data as it is.
    static void onLoadingExtension(const KrExtension* extension, KrData::Container* fields, const Versions& saved);

    /// The type that content of `type` is loaded as, after all replacements; none where it has no replacement.
    [[nodiscard]] static std::optional<KrFactoryKey> findReplacement(const KrFactoryKey& type);
    /// Calls the functions between `obsolete` and what findReplacement answers. False, with a warning that has `name`,
    /// when one throws: `saved` is half changed then.
    static bool replaceObsoleteExtension(const std::string& name, const KrFactoryKey& obsolete, SavedExtension& saved);
};

}  // namespace KrSim
