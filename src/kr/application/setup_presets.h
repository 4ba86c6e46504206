#pragma once

#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Named variants of a setup: sets of settings that are applied over it, such as "Fast" with another frame rate. They
/// are part of the setup, as properties (ExtensionProperties), so they are saved, loaded and copied with it.
///
///     KrSim::SetupPresets::store(*setup, "Fast", *fastSetup);   // what fastSetup has otherwise
///     KrSim::SetupPresets::apply(*setup, "Fast");
///     application->applySetup(setup);
///
/// A preset holds parameters of the setup; modules and their settings are not in it. docs/setups.md.
/// Thread: the application thread.
class KR_API SetupPresets {
public:
    SetupPresets() = delete;

    /// In the order in which they were stored.
    [[nodiscard]] static std::vector<std::string> getNames(const ApplicationConfig& setup);
    /// Keeps the settings in which `variant` differs from the setup, in place of a preset of this name. False for an
    /// empty name.
    static bool store(ApplicationConfig& setup, const std::string& name, const ApplicationConfig& variant);
    /// Gives the setup the settings of the preset. \return  empty, or what went wrong: there is no preset of this name,
    /// and nothing has changed; or a setting of it does not exist here or has another type, and the others are set.
    [[nodiscard]] static std::string apply(ApplicationConfig& setup, const std::string& name);
    /// False when there is none.
    static bool remove(ApplicationConfig& setup, const std::string& name);
};

}  // namespace KrSim
