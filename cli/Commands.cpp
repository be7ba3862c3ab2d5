// The list of all commands. Each is made by a function of its own file.

#include "Commands.h"

#include <vector>

namespace Cli {

const std::vector<Command>& Commands()
{
    static const std::vector<Command> commands{
        ReportCommand(),   ConvertCommand(),  WeldCommand(),      ComponentsCommand(),
        DecimateCommand(), RemeshCommand(),   SubdivideCommand(), HullCommand(),
        BoxCommand(),      SectionCommand(),  SlicesCommand(),    SilhouetteCommand(),
        NearestCommand(),  DistanceCommand(), HolesCommand(),     ImprintCommand(),
        OffsetCommand(),   PocketCommand(),   UnionCommand(),     LatheCommand(),
        HeightsCommand(),  GougesCommand(),   ToolCommand(),
    };
    return commands;
}

} // namespace Cli
