#pragma once

#include "apps/krsim/file_plans.h"

namespace krsim {

/// Prints all types that can be chosen, plug-in by plug-in, on standard output. Each plug-in is loaded in a process of
/// its own, to learn the kinds of its types: one that takes the process down is told of, too, and
/// a type that it does not register in spite of its manifest is "missing". Throws a Failure for a
/// directory without plug-ins.
/// For a process with one thread.
void listTypes(const ListPlan& plan);

}  // namespace krsim
