// What the program tells about itself, all from the records of the commands.
#pragma once

#include "Command.h"

#include <string>

namespace Cli {

/// The name and the version of the library that runs.
std::string VersionLine();
/// The first page: all commands with a line each.
std::string MainHelp();
/// The page of one command.
std::string CommandHelp(const Command& command);
/// The manual page, for man(1).
std::string ManualPage();
/// The completion for bash.
std::string BashCompletion();

} // namespace Cli
