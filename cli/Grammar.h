// The words on the command line. The only thing that knows CLI11 stands behind this.
#pragma once

#include "Session.h"

#include <string>
#include <vector>

namespace Cli {

/// The call of a command that the words make, those behind "sorvane", of which the first is the
/// command's name. Wrong ones end in a `Failure` of wrong use that says what to type instead.
Call ParseCall(const Command& command, const std::vector<std::string>& words);

/// The one of `known` that is most like `word`, when it is like it at all; else empty.
std::string Nearest(const std::string& word, const std::vector<std::string>& known);

} // namespace Cli
