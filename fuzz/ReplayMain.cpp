// Feeds every file of the folders given on the command line to a fuzz target, once, in the order of
// their names: what the fuzzer has found stays found, under any compiler. A folder that is missing
// or empty is an error, so that a test cannot pass by replaying nothing.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> FilesIn(const fs::path& folder)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->is_regular_file(error)) {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FOLDER...\n", argv[0]);
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        const std::vector<fs::path> files = FilesIn(argv[i]);
        if (files.empty()) {
            std::fprintf(stderr, "%s: no files to replay\n", argv[i]);
            return 1;
        }
        for (const fs::path& file : files) {
            std::ifstream stream(file, std::ios::binary);
            const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)),
                                          std::istreambuf_iterator<char>());
            if (!stream) {
                std::fprintf(stderr, "%s: cannot be read\n", file.string().c_str());
                return 1;
            }
            std::fprintf(stderr, "%s: %zu bytes\n", file.string().c_str(), bytes.size());
            // A copy of the exact size, so that a sanitizer sees the first byte beyond it.
            const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
        }
    }
    return 0;
}
