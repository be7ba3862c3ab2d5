// The commands that lead from a mesh to the plane, and those on chains, regions and tools.
#pragma once

#include "Command.h"

namespace Cli {

Command SectionCommand();
Command SlicesCommand();
Command SilhouetteCommand();
Command NearestCommand();
Command DistanceCommand();
Command HolesCommand();
Command ImprintCommand();
Command ToolCommand();
Command HeightsCommand();
Command GougesCommand();
Command OffsetCommand();
Command PocketCommand();
Command UnionCommand();
Command LatheCommand();

} // namespace Cli
