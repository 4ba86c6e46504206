#pragma once

#include <vector>

#include "kr/application/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class KrSetupSection;

// Probable mistakes in an application, for editors and for krsim verify. Mistakes in the text of a file are found when
// the file is loaded: LoadedObjects::findings, SetupFile::findings, KrFile::getFindings. Thread: application, between
// frames. Each call examines all content.

/// The content: types without a plug-in, connections and references without their other end (describeOpenEnds),
/// duplicate content, connected fields of different dimensions, and cycles of connections.
[[nodiscard]] KR_API std::vector<Finding> checkContent(const KrSim::KrApplication& application);

/// The modules of a setup, in the application to which it was applied: modules that no plug-in provides, and settings
/// that are no parameters of their module, have values outside their range, or unknown texts of enumerations, and rates
/// of steps that do not fit the frame rate of the application.
[[nodiscard]] KR_API std::vector<Finding> checkModules(const KrSim::KrApplication& application,
                                                       const KrSim::ApplicationConfig& setup);
/// The same for the setup of a section, if it has one; findings about settings have file and line.
[[nodiscard]] KR_API std::vector<Finding> checkModules(const KrSim::KrApplication& application,
                                                       const KrSetupSection& section);

/// Whether a run simulates: an application without a module, one in editing mode, and content that no module manages.
/// An object counts as managed together with its parts and with the object that contains it. Content without inputs and
/// outputs needs no module.
[[nodiscard]] KR_API std::vector<Finding> checkSimulation(const KrSim::KrApplication& application);

}  // namespace KrPersistence
