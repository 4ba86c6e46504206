#pragma once

namespace KrSim {
class ApplicationConfig;
class KrApplication;
}  // namespace KrSim

namespace KrSim::detail {

// A setup contains one plain extension for each module, with its name: the key of its type and copies of its
// parameters. A module itself cannot be part of an object.

void captureModules(const KrApplication& application, ApplicationConfig& setup);
/// Sets the parameters of the modules of the same type and name; creates and inserts missing modules.
void applyModules(KrApplication& application, const ApplicationConfig& setup);

}  // namespace KrSim::detail
