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
Command SectionCommand();
Command SlicesCommand();
Command SilhouetteCommand();
Command NearestCommand();
Command DistanceCommand();
Command HolesCommand();
Command ImprintCommand();
Command OffsetCommand();
Command PocketCommand();
Command UnionCommand();
Command LatheCommand();
Command HeightsCommand();
Command GougesCommand();
Command ToolCommand();

} // namespace Cli
