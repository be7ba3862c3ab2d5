#include "tests/support/TestSupport.h"

#include <atomic>

#include <unistd.h>

namespace Support {
namespace fs = std::filesystem;

fs::path SharedData(const std::string& name)
{
    std::error_code ignored;
    fs::path file = fs::path(SORVANE_SHARED_DATA) / name;
    return fs::exists(file, ignored) ? file : fs::path();
}

fs::path ExampleData(const std::string& name)
{
    return fs::path(SORVANE_EXAMPLE_DATA) / name;
}

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<int> number{0};
    path_ = fs::temp_directory_path() /
            ("sorvane_test_" + std::to_string(getpid()) + "_" + std::to_string(number++));
    fs::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace Support
