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
/// (KrApplication::executeBetweenFrames). After a failure the old file is unchanged.
KR_API Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, const std::string& fileName,
                                          const StateSaveOptions& options = {});

/// The same to a binary stream.
KR_API Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, std::ostream& stream,
                                          const StateSaveOptions& options = {});

/// Restores a state file into an application with the same content and modules: those with the same content IDs get
/// their states. Between two frames. After a failure nothing was changed.
/// \param flags  of KrFile::load: kUnlogged.
KR_API Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application,
                                                              const std::string& fileName, int flags = 0);
/// The same from a binary stream.
KR_API Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application, std::istream& stream,
                                                              int flags = 0);

}  // namespace KrPersistence
