#pragma once

#include <string>

#include "apps/krsim/option_tree.h"

namespace krsim {

/// A script that lets bash complete the commands, options, choices and file names of the program.
[[nodiscard]] std::string formatBashCompletion(const CommandFacts& program);
/// The same for zsh, as a file "_krsim" in a folder of its fpath.
[[nodiscard]] std::string formatZshCompletion(const CommandFacts& program);

}  // namespace krsim
