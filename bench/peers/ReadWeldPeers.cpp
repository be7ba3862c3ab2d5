// Reading and welding a binary STL: this library, plain C++ with the standard hash map, and
// meshoptimizer where it is installed.
//
// The file is the one that SORVANE_BENCH_STL names, or a wavy sheet of 460,800 triangles made here.

#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>
#ifdef SORVANE_HAVE_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

using namespace Velk::Math;

namespace {

std::string WavySheetFile()
{
    constexpr int kSide = 480;
    const auto sheet = Support::GridMesh<float>(kSide, kSide, [](int x, int y) {
        return Vec3d(0.1 * x, 0.1 * y, 3 * std::sin(0.05 * x) * std::cos(0.03 * y));
    });
    const auto path = std::filesystem::temp_directory_path() / "sorvane_bench_sheet.stl";
    Sorvane::MeshUtils::WriteToBinarySTL(sheet.points, sheet.indices, path);
    return path.string();
}

const std::string& InputFile()
{
    static const std::string file = [] {
        const char* named = std::getenv("SORVANE_BENCH_STL");
        return named != nullptr ? std::string(named) : WavySheetFile();
    }();
    return file;
}

/// Corner coordinates of a binary STL as the plain tools read it: one fread, then a copy.
std::vector<float> ReadCorners(const std::string& file)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(std::fopen(file.c_str(), "rb"),
                                                             &std::fclose);
    std::vector<unsigned char> bytes(std::filesystem::file_size(file));
    if (!in || std::fread(bytes.data(), 1, bytes.size(), in.get()) != bytes.size()) {
        return {};
    }
    const std::size_t triangles = (bytes.size() - 84) / 50;
    std::vector<float> corners(triangles * 9);
    for (std::size_t t = 0; t < triangles; ++t) {
        std::memcpy(&corners[9 * t], &bytes[84 + 50 * t + 12], 36);
    }
    return corners;
}

template <class T> void BM_Sorvane(benchmark::State& state)
{
    std::size_t triangles = 0;
    std::size_t survivors = 0;
    for (auto _ : state) {
        std::vector<VecBase<3, T>> points;
        std::vector<int> indices;
        Sorvane::MeshUtils::ReadFromBinarySTL(points, indices, InputFile());
        triangles = points.size() / 3;
        indices = Vector::FilterForUniquenessAndIndex(points, static_cast<T>(1e-9));
        survivors = points.size();
        benchmark::DoNotOptimize(indices.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(triangles));
    state.counters["points"] = static_cast<double>(survivors);
}
BENCHMARK(BM_Sorvane<float>)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sorvane<double>)->UseRealTime()->Unit(benchmark::kMillisecond);

struct CornerHash {
    std::size_t operator()(const std::array<float, 3>& p) const
    {
        std::size_t state = 0;
        for (const float c : p) {
            state = (state ^ std::hash<float>()(c)) * 0x9e3779b97f4a7c15U;
        }
        return state;
    }
};

void BM_StandardHashMap(benchmark::State& state)
{
    std::size_t survivors = 0;
    for (auto _ : state) {
        const std::vector<float> corners = ReadCorners(InputFile());
        std::unordered_map<std::array<float, 3>, int, CornerHash> numbers;
        numbers.reserve(corners.size() / 18);
        std::vector<int> indices(corners.size() / 3);
        for (std::size_t i = 0; i < indices.size(); ++i) {
            indices[i] = numbers
                             .try_emplace({corners[3 * i], corners[3 * i + 1], corners[3 * i + 2]},
                                          static_cast<int>(numbers.size()))
                             .first->second;
        }
        survivors = numbers.size();
        benchmark::DoNotOptimize(indices.data());
    }
    state.counters["points"] = static_cast<double>(survivors);
}
BENCHMARK(BM_StandardHashMap)->UseRealTime()->Unit(benchmark::kMillisecond);

#ifdef SORVANE_HAVE_MESHOPTIMIZER
void BM_Meshoptimizer(benchmark::State& state)
{
    std::size_t survivors = 0;
    for (auto _ : state) {
        const std::vector<float> corners = ReadCorners(InputFile());
        const std::size_t count = corners.size() / 3;
        std::vector<unsigned int> remap(count);
        survivors = meshopt_generateVertexRemap(remap.data(), nullptr, count, corners.data(), count,
                                                3 * sizeof(float));
        std::vector<float> points(survivors * 3);
        meshopt_remapVertexBuffer(points.data(), corners.data(), count, 3 * sizeof(float),
                                  remap.data());
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(survivors);
}
BENCHMARK(BM_Meshoptimizer)->UseRealTime()->Unit(benchmark::kMillisecond);
#endif

} // namespace
