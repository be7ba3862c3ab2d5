#include "tests/examples/ProgramRun.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Support {
namespace {

namespace fs = std::filesystem;

std::string TextOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What happens between the fork and the program: only what is allowed there.
[[noreturn]] void Become(const char* program, char* const* words, const char* folder,
                         const char* output, const char* errors)
{
    const int out = ::open(output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(errors, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out >= 0 && err >= 0 && ::dup2(out, 1) >= 0 && ::dup2(err, 2) >= 0 &&
        ::chdir(folder) == 0) {
        ::execv(program, words);
    }
    ::_exit(127);
}

} // namespace

ProgramRun RunExample(const std::string& name, const std::vector<std::string>& arguments,
                      const fs::path& folder, const fs::path& outputFile)
{
    const std::string program = std::string(SORVANE_EXAMPLE_PROGRAMS) + '/' + name;
    const std::string output =
        outputFile.empty() ? (folder / "said.out").string() : outputFile.string();
    const std::string errors = (folder / "said.err").string();
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const std::string folderName = folder.string();

    ProgramRun run;
    const pid_t child = ::fork();
    if (child == 0) {
        Become(program.c_str(), pointers.data(), folderName.c_str(), output.c_str(),
               errors.c_str());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    EXPECT_NE(run.code, 127) << program << " can't be run";
    run.output = outputFile.empty() ? TextOf(output) : std::string();
    run.errors = TextOf(errors);
    return run;
}

} // namespace Support
