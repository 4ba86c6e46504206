#pragma once

#include <string>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The connections, references and definition of an extension that were loaded with it and wait for missing content,
/// and waiting links of its proxies. One text each, for people, which also says when several items match, so that none
/// of them was taken (docs/content-identity.md). Empty when nothing waits.
/// Thread: application.
[[nodiscard]] KR_API std::vector<std::string> describeOpenEnds(const KrSim::KrExtension& extension);

}  // namespace KrPersistence
