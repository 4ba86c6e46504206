#pragma once

#include <iosfwd>
#include <string>

#include "kr/application/fwd.h"
#include "kr/persistence/states/restore_report.h"
#include "kr/persistence/states/simulation_state_section.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

struct StateSaveOptions {
    int flags{0};  ///< of KrFile::save: kXml, kJson, kUnlogged
    eStatePayload payload{eStatePayload::kNormal};
};

/// Saves the state of an application as a state file: type kSimulationState, one section. Between two frames
/// (KrApplication::executeBetweenFrames). After a failure the old file is still there.
KR_API Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, const std::string& fileName,
                                          const StateSaveOptions& options = {});

/// The same to a binary stream.
KR_API Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, std::ostream& stream,
                                          const StateSaveOptions& options = {});

/// Restores a state file into an application that has the content and modules of it: those with the same content IDs
/// get their states. Between two frames. Reports what was found; after a failure nothing was touched.
/// \param flags  of KrFile::load: kUnlogged.
KR_API Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application,
                                                              const std::string& fileName, int flags = 0);
/// The same from a binary stream.
KR_API Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application, std::istream& stream,
                                                              int flags = 0);

}  // namespace KrPersistence
