// The list of all commands. Each is made by a function of its own file.

#include "Commands.h"

#include <vector>

namespace Cli {

const std::vector<Command>& Commands()
{
    static const std::vector<Command> commands{
        ReportCommand(),
    };
    return commands;
}

} // namespace Cli
