#pragma once

#include <string>

#include "kr/application/application.h"

namespace krsim {

/// Saves the state of the application between two frames. The ending of the name chooses the kind: ".xml", ".json",
/// else binary. Throws a Failure when it cannot be saved, and when the rule of requireReplaceable forbids it.
/// \param filename  "-" is standard output
void saveState(const KrSim::KrApplication& application, const std::string& filename, bool isForced);

/// \param filename  "-" is standard input
/// Throws a Failure when the file is refused, or is not of the content and modules of the application.
void restoreState(KrSim::KrApplication& application, const std::string& filename);

}  // namespace krsim
