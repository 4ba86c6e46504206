#pragma once

#include <string>

#include "apps/krsim/file_plans.h"

namespace krsim {

/// Prints all available types, plug-in by plug-in, on standard output. Each plug-in is loaded in a separate process, to
/// find the kinds of its types: a plug-in that ends the process is reported, too, and a type that it does not register
/// in spite of its manifest is "missing". Throws a Failure for a directory without plug-ins. For a process with one
/// thread.
void listTypes(const ListPlan& plan);

/// Loads the plug-in in a separate process.
/// \return why that fails, to follow the name of the plug-in; empty when it can be loaded. For a process with one
/// thread.
[[nodiscard]] std::string tryToLoad(const std::string& plugin, double limitSeconds = ListPlan().limitSeconds);

}  // namespace krsim
