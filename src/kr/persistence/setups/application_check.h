#pragma once

#include <vector>

#include "kr/application/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class KrSetupSection;

// What is probably not as meant in an application, for editors and for krsim verify. What is wrong in the text of a
// file is found when the file is loaded: LoadedObjects::findings, SetupFile::findings, KrFile::getFindings. Thread: the
// application thread, between frames. Each call looks at all content.

/// The content: types without a plug-in, connections and references without their other end (describeOpenEnds), content
/// that is there twice, connected fields of different dimensions, and cycles of connections.
[[nodiscard]] KR_API std::vector<Finding> checkContent(const KrSim::KrApplication& application);

/// The modules of a setup, in the application to which it was applied: those that no plug-in makes, and settings that
/// are no parameters of theirs, have values outside the ranges of these, or texts that their enumerations do not have.
[[nodiscard]] KR_API std::vector<Finding> checkModules(const KrSim::KrApplication& application,
                                                       const KrSim::ApplicationConfig& setup);
/// The same for the setup of a section, if it has one: findings about settings name its file and the lines.
[[nodiscard]] KR_API std::vector<Finding> checkModules(const KrSim::KrApplication& application,
                                                       const KrSetupSection& section);

/// Whether a run simulates: an application without a module, one in editing mode, and content that no module manages.
/// An object counts as managed with what it holds, and with the object that it is in. Content without inputs and
/// outputs needs no module.
[[nodiscard]] KR_API std::vector<Finding> checkSimulation(const KrSim::KrApplication& application);

}  // namespace KrPersistence
