// Runs every C++ block of the guide pages, on the data that its page gives it.
// Usage: code_blocks COUNT      the number of blocks that the pages have, lest one get lost
// Blocks may write files: they go beside this program, wherever it is started.
#include "tests/docs/CodeBlocks.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace CodeBlocks {
namespace {

struct Block {
    const char* page;
    int line;
    void (*run)();
};

std::vector<Block>& Blocks()
{
    static std::vector<Block> blocks;
    return blocks;
}

} // namespace

bool Register(const char* page, int line, void (*run)())
{
    Blocks().push_back({page, line, run});
    return true;
}

} // namespace CodeBlocks

int main(int argc, char** argv)
{
    // Where the program was found by its name alone there is no folder to go to.
    if (const auto folder = std::filesystem::path(argc > 0 ? argv[0] : "").parent_path();
        !folder.empty()) {
        std::filesystem::current_path(folder);
    }
    const std::size_t expected =
        argc == 2 ? static_cast<std::size_t>(std::strtoul(argv[1], nullptr, 10)) : 0;
    for (const auto& [page, line, run] : CodeBlocks::Blocks()) {
        std::printf("%s:%d%s\n", page, line, run == nullptr ? " (a program)" : "");
        std::fflush(stdout);
        if (run != nullptr) {
            run();
        }
    }
    if (CodeBlocks::Blocks().size() != expected || expected == 0) {
        std::printf("%zu blocks, but the pages have %zu\n", CodeBlocks::Blocks().size(), expected);
        return 1;
    }
    return 0;
}
