// What the benchmarks of mesh files have in common: a sheet of triangles to write and read, and a
// file that is removed at the end.
#pragma once

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace Bench {

namespace fs = std::filesystem;

template <class T>
using Sheet = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T>;

/// `triangleCount` triangles of the height field z = 3 sin x/7 cos y/5 over a square grid of pitch
/// 0.37, whose coordinates take all the digits of their type.
template <class T>
Sheet<T> WavySheet(std::int64_t triangleCount)
{
    const int side = Support::GridSide(triangleCount);
    auto sheet = Support::GridMesh<T>(side, side, [](int column, int row) {
        const double x = 0.37 * column;
        const double y = 0.37 * row;
        return Velk::Math::Vec3d(x, y, 3 * std::sin(x / 7) * std::cos(y / 5));
    });
    sheet.indices.resize(static_cast<std::size_t>(3 * triangleCount));
    return sheet;
}

/// A path of its own for each process; the file is removed at the end.
class TemporaryFile {
public:
    TemporaryFile()
        : path_(fs::temp_directory_path() / ("sorvane_bench_" + std::to_string(getpid())))
    {
    }
    ~TemporaryFile()
    {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const fs::path& Path() const { return path_; }

private:
    fs::path path_;
};

inline void ReportBytes(benchmark::State& state, const fs::path& path)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(fs::file_size(path)));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

inline void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace Bench
