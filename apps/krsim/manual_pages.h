#pragma once

#include <string>
#include <vector>

#include "apps/krsim/option_tree.h"

namespace krsim {

/// A page for man(1).
struct ManualPage {
    std::string file{};  ///< "krsim-run.1"
    std::string text{};  ///< in the man macros of roff
};

struct ManualPlan {
    std::string command{};    ///< whose page is printed; empty for that of the program
    std::string directory{};  ///< gets all pages, when it is not empty
    std::vector<ManualPage> pages{};
};

/// A page for the program, and one for each of its commands.
[[nodiscard]] std::vector<ManualPage> formatManual(const CommandFacts& program);

/// Writes all pages into the folder, which is made. Throws a Failure for one that cannot be written.
void writeManual(const ManualPlan& plan);

}  // namespace krsim
