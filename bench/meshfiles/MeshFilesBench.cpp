// Mesh files from and to the page cache: bytes of the file a second, for 10^4 to 10^6 triangles of
// a wavy sheet. Reading goes into fresh vectors, as a host's first read does, so it pays for the
// pages too.

#include <Sorvane/MeshFiles_E.h>

#include "bench/meshfiles/MeshFilesInputs.h"

namespace {

namespace fs = std::filesystem;
using namespace Velk::Math;
namespace Files = Velk::Math::Sorvane::MeshUtils;
using Bench::ReportBytes;
using Bench::Sheet;
using Bench::Sizes;
using Bench::TemporaryFile;
using Bench::WavySheet;

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
