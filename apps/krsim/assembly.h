#pragma once

#include <string>
#include <vector>

#include "apps/krsim/run_plan.h"
#include "apps/krsim/type_catalog.h"
#include "kr/application/application.h"

namespace krsim {

/// Adds the directories to those in which the plug-in manager searches. Throws a Failure for one that does not exist or
/// holds no plug-in.
void addPluginDirectories(const std::vector<std::string>& directories);

/// All that the plug-in manager searches, in order.
[[nodiscard]] std::vector<std::string> getPluginDirectories();

/// Makes the content and the modules of the plan, brings them into the application and sets its mode and pace. Loads
/// the plug-ins that this needs, no others. Content that is in the application already counts as content of the plan.
/// Throws a Failure that names the first type which does not exist, is of the wrong kind or cannot be made.
/// \param hasSetup  the application has settings and modules of a setup, which stay where the plan says nothing.
void assemble(KrSim::KrApplication& application, const RunPlan& plan, const TypeCatalog& catalog, bool hasSetup);

}  // namespace krsim
