// Mesh files from and to the page cache: bytes of the file a second, for 10^4 to 10^6 triangles of
// a wavy sheet. Reading goes into fresh vectors, as a host's first read does, so it pays for the
// pages too.

#include <Sorvane/MeshFiles_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace Velk::Math;
namespace Files = Velk::Math::Sorvane::MeshUtils;

template <class T>
struct Sheet {
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;
};

/// `triangleCount` triangles of the height field z = 3 sin x/7 cos y/5 over a square grid of pitch
/// 0.37, whose coordinates take all the digits of their type.
template <class T>
Sheet<T> WavySheet(std::int64_t triangleCount)
{
    const auto side =
        static_cast<int>(std::ceil(std::sqrt(static_cast<double>(triangleCount) / 2)));
    Sheet<T> sheet;
    for (int row = 0; row <= side; ++row) {
        for (int column = 0; column <= side; ++column) {
            const double x = 0.37 * column;
            const double y = 0.37 * row;
            sheet.points.push_back(VecBase<3, T>(x, y, 3 * std::sin(x / 7) * std::cos(y / 5)));
        }
    }
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
            const int a = row * (side + 1) + column;
            const int c = a + side + 1;
            sheet.indices.insert(sheet.indices.end(), {a, a + 1, c + 1, a, c + 1, c});
        }
    }
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

void ReportBytes(benchmark::State& state, const fs::path& path)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(fs::file_size(path)));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class T>
struct Ascii {
    using Scalar = T;
    static bool Write(const Sheet<T>& sheet, const fs::path& path)
    {
        return Files::WriteToASCIISTL(sheet.points, sheet.indices, path);
    }
    static bool Read(Sheet<T>& sheet, const fs::path& path)
    {
        return Files::ReadFromASCIISTL(sheet.points, sheet.indices, path);
    }
};

template <class T>
struct Binary {
    using Scalar = T;
    static bool Write(const Sheet<T>& sheet, const fs::path& path)
    {
        return Files::WriteToBinarySTL(sheet.points, sheet.indices, path);
    }
    static bool Read(Sheet<T>& sheet, const fs::path& path)
    {
        return Files::ReadFromBinarySTL(sheet.points, sheet.indices, path);
    }
};

struct Tipc {
    using Scalar = double;
    static bool Write(const Sheet<double>& sheet, const fs::path& path)
    {
        return Files::WriteToTIPC(sheet.points, sheet.indices, path.string());
    }
    static bool Read(Sheet<double>& sheet, const fs::path& path)
    {
        return Files::ReadFromTIPC(sheet.points, sheet.indices, path.string());
    }
};

template <class Format>
void BM_Read(benchmark::State& state)
{
    const TemporaryFile file;
    Format::Write(WavySheet<typename Format::Scalar>(state.range(0)), file.Path());
    for (auto _ : state) {
        Sheet<typename Format::Scalar> sheet;
        if (!Format::Read(sheet, file.Path())) {
            state.SkipWithError("not read");
            break;
        }
        benchmark::DoNotOptimize(sheet.points.data());
    }
    ReportBytes(state, file.Path());
}

template <class Format>
void BM_Write(benchmark::State& state)
{
    const TemporaryFile file;
    const auto sheet = WavySheet<typename Format::Scalar>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Format::Write(sheet, file.Path()));
    }
    ReportBytes(state, file.Path());
}

/// Three points for each triangle, so that its figures stand beside those of the meshes.
void BM_WritePoints(benchmark::State& state)
{
    const TemporaryFile file;
    auto points = WavySheet<double>(state.range(0) * 6).points;
    points.resize(static_cast<std::size_t>(3 * state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Files::WriteArdenwickPointsFile(points, file.Path().string()));
    }
    ReportBytes(state, file.Path());
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Read<Ascii<float>>)->Apply(Sizes);
BENCHMARK(BM_Read<Ascii<double>>)->Apply(Sizes);
BENCHMARK(BM_Read<Binary<float>>)->Apply(Sizes);
BENCHMARK(BM_Read<Binary<double>>)->Apply(Sizes);
BENCHMARK(BM_Read<Tipc>)->Apply(Sizes);
BENCHMARK(BM_Write<Ascii<float>>)->Apply(Sizes);
BENCHMARK(BM_Write<Ascii<double>>)->Apply(Sizes);
BENCHMARK(BM_Write<Binary<float>>)->Apply(Sizes);
BENCHMARK(BM_Write<Binary<double>>)->Apply(Sizes);
BENCHMARK(BM_Write<Tipc>)->Apply(Sizes);
BENCHMARK(BM_WritePoints)->Apply(Sizes);

} // namespace
