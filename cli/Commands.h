// The functions that make the records of the commands.
#pragma once

#include "Command.h"

namespace Cli {

Command ReportCommand();
Command ConvertCommand();
Command WeldCommand();
Command ComponentsCommand();
Command DecimateCommand();
Command RemeshCommand();
Command SubdivideCommand();
Command HullCommand();
Command BoxCommand();

} // namespace Cli
