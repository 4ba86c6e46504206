#pragma once

#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Named variants of a setup: sets of settings that are applied to it, such as "Fast" with another frame rate. They are
/// part of the setup, as properties (ExtensionProperties), so they are saved, loaded and copied with it.
///
///     KrSim::SetupPresets::store(*setup, "Fast", *fastSetup);   // what fastSetup has otherwise
///     KrSim::SetupPresets::apply(*setup, "Fast");
///     application->applySetup(setup);
///
/// A preset contains parameters of the setup, but no modules and their settings. docs/setups.md.
/// Thread: application. Ownership: stored in the setup.
class KR_API SetupPresets {
public:
    SetupPresets() = delete;

    /// In the order in which they were stored.
    [[nodiscard]] static std::vector<std::string> getNames(const ApplicationConfig& setup);
    /// Stores the settings in which `variant` differs from the setup, replacing a preset of this name. False for an
    /// empty name.
    static bool store(ApplicationConfig& setup, const std::string& name, const ApplicationConfig& variant);
    /// Sets the setup's settings to those of the preset. \return  empty, or the problem: the preset does not exist, and
    /// nothing has changed; or one of its settings is missing or of another type in the setup, and the others are set.
    [[nodiscard]] static std::string apply(ApplicationConfig& setup, const std::string& name);
    /// False without such a preset.
    static bool remove(ApplicationConfig& setup, const std::string& name);
};

}  // namespace KrSim
