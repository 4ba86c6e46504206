#pragma once

#include <string>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// What was loaded with an extension and waits for content that is not there: connections, references and the
/// definition of an instance, a text each, for people. Empty when all is in place.
/// Thread: that of the content.
[[nodiscard]] KR_API std::vector<std::string> describeOpenEnds(const KrSim::KrExtension& extension);

}  // namespace KrPersistence
