#pragma once

namespace KrSim {
class ApplicationConfig;
class KrApplication;
}  // namespace KrSim

namespace KrSim::detail {

// A setup holds one plain extension for each module, under its name: the key of its type and copies of its parameters.
// A module itself cannot be held by an object.

void captureModules(const KrApplication& application, ApplicationConfig& setup);
/// Gives the modules of the same type and name their parameters; makes and inserts those that are not there.
void applyModules(KrApplication& application, const ApplicationConfig& setup);

}  // namespace KrSim::detail
