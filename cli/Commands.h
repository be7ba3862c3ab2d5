// The functions that make the records of the commands.
#pragma once

#include "Command.h"

namespace Cli {

Command ReportCommand();

} // namespace Cli
