// Replays a corpus: runs a fuzz target on every file of the folder given as argument. Fails when
// the folder is missing or holds nothing, so that a lost corpus does not pass for a sound one.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: replay FOLDER\n", stderr);
        return 2;
    }
    std::size_t fileCount = 0;
    std::error_code isMissing;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1], isMissing)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file),
                                std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++fileCount;
    }
    if (fileCount == 0) {
        std::fprintf(stderr, "no corpus in %s\n", argv[1]);
        return 1;
    }
    return 0;
}
