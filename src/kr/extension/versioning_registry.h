#pragma once

#include <cstdint>
#include <functional>
#include <map>
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
/// Types are told apart by the uuid of their factory key. Thread: any; steps run without a lock held, on the thread
/// that loads.
class KR_API KrVersioningRegistry {
public:
    using Versions = std::map<std::string, std::int32_t>;
    /// Turns saved fields ("Inputs", "Outputs", "Parameters" and the rest) of one version into those of the next.
    using UpgradeStep = std::function<void(KrData::Container& saved)>;

    KrVersioningRegistry() = delete;

    /// Sets the version that a key of a type is at. False for a key without uuid, category and name, and for an empty
    /// version key.
    static bool registerVersion(const KrFactoryKey& type, const std::string& versionKey, std::int32_t version);
    /// The step from `fromVersion` to the next one; versions without a step need none. False as above, for an empty
    /// step, and where the version has one already.
    static bool registerUpgrade(const KrFactoryKey& type, const std::string& versionKey, std::int32_t fromVersion,
                                UpgradeStep step);
    /// Forgets the versions and steps of a type.
    static void unregisterType(const KrFactoryKey& type);

    /// The versions of the extension's type; none for null and for plain extensions.
    [[nodiscard]] static Versions getVersions(const KrExtension* extension);
    /// Upgrades saved fields from the versions in `saved`, where a key that is missing counts as version 0. A step that
    /// throws is logged as a warning and its exception goes on to the loader, which then keeps the data as it is.
    static void onLoadingExtension(const KrExtension* extension, KrData::Container* fields, const Versions& saved);
};

}  // namespace KrSim
