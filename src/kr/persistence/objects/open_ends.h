#pragma once

#include <string>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// What of an extension waits for content that is not there: connections, references and the definition of an instance
/// that were loaded with it, and links of its proxies. A text each, for people, which also says when several items
/// match, so that none of them was taken (docs/content-identity.md). Empty when all is in place.
/// Thread: that of the content.
[[nodiscard]] KR_API std::vector<std::string> describeOpenEnds(const KrSim::KrExtension& extension);

}  // namespace KrPersistence
