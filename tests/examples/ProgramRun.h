// Runs an example program and catches what it says.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Support {

/// What a program came to: its exit code, or minus the number of the signal that ended it, and all
/// it said.
struct ProgramRun {
    int code = 0;
    std::string output;
    std::string errors;
};

/// Runs the example `name` in `folder`. Its standard output goes to `outputFile` where one is
/// given.
ProgramRun RunExample(const std::string& name, const std::vector<std::string>& arguments,
                      const std::filesystem::path& folder,
                      const std::filesystem::path& outputFile = {});

} // namespace Support
