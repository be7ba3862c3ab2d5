// Reading by `ReadMesh` beside the reader of the one form, from the page cache into fresh memory,
// for 10^4 to 10^6 triangles of a wavy sheet. Each pair reads the same file and comes to the same
// mesh: the binary STL reader gives no indices, so they are made behind it.

#include <Sorvane/MeshFiles_E.h>

#include "bench/meshfiles/MeshFilesInputs.h"

#include <numeric>

namespace {

namespace Files = Velk::Math::Sorvane::MeshUtils;
namespace Mesh = Velk::Math::Sorvane::Mesh;
using Files::MeshFileForm;

template <class T, MeshFileForm kForm>
void BM_ReadMesh(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    Files::WriteMesh(Bench::WavySheet<T>(state.range(0)), file.Path(), kForm);
    for (auto _ : state) {
        Bench::Sheet<T> sheet;
        if (!Files::ReadMesh(sheet, file.Path())) {
            state.SkipWithError("not read");
            break;
        }
        benchmark::DoNotOptimize(sheet.points.data());
    }
    Bench::ReportBytes(state, file.Path());
}

template <class T>
void BM_ReadSoup(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    Files::WriteMesh(Bench::WavySheet<T>(state.range(0)), file.Path(), MeshFileForm::BinaryStl);
    for (auto _ : state) {
        Mesh::TriangleSoup<3, T> soup;
        if (!Files::ReadMesh(soup, file.Path())) {
            state.SkipWithError("not read");
            break;
        }
        benchmark::DoNotOptimize(soup.data());
    }
    Bench::ReportBytes(state, file.Path());
}

template <class T>
bool ReadOneForm(Bench::Sheet<T>& sheet, const Bench::fs::path& path, MeshFileForm form)
{
    if (form == MeshFileForm::AsciiStl) {
        return Files::ReadFromASCIISTL(sheet.points, sheet.indices, path);
    }
    if constexpr (std::is_same_v<T, double>) {
        if (form == MeshFileForm::Tipc) {
            return Files::ReadFromTIPC(sheet.points, sheet.indices, path.string());
        }
    }
    const bool isRead = Files::ReadFromBinarySTL(sheet.points, sheet.indices, path);
    sheet.indices.resize(sheet.points.size());
    std::iota(sheet.indices.begin(), sheet.indices.end(), 0);
    return isRead;
}

template <class T, MeshFileForm kForm>
void BM_OneForm(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    Files::WriteMesh(Bench::WavySheet<T>(state.range(0)), file.Path(), kForm);
    for (auto _ : state) {
        Bench::Sheet<T> sheet;
        if (!ReadOneForm(sheet, file.Path(), kForm)) {
            state.SkipWithError("not read");
            break;
        }
        benchmark::DoNotOptimize(sheet.points.data());
    }
    Bench::ReportBytes(state, file.Path());
}

/// The soup alone, as the binary reader gives it.
template <class T>
void BM_OneFormSoup(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    Files::WriteMesh(Bench::WavySheet<T>(state.range(0)), file.Path(), MeshFileForm::BinaryStl);
    for (auto _ : state) {
        Bench::Sheet<T> sheet;
        benchmark::DoNotOptimize(
            Files::ReadFromBinarySTL(sheet.points, sheet.indices, file.Path()));
    }
    Bench::ReportBytes(state, file.Path());
}

#define SORVANE_PAIR(T, FORM)                                           \
    BENCHMARK(BM_ReadMesh<T, MeshFileForm::FORM>)->Apply(Bench::Sizes); \
    BENCHMARK(BM_OneForm<T, MeshFileForm::FORM>)->Apply(Bench::Sizes)
SORVANE_PAIR(float, BinaryStl);
SORVANE_PAIR(double, BinaryStl);
SORVANE_PAIR(double, Tipc);
SORVANE_PAIR(float, AsciiStl);
SORVANE_PAIR(double, AsciiStl);
#undef SORVANE_PAIR
BENCHMARK(BM_ReadSoup<float>)->Apply(Bench::Sizes);
BENCHMARK(BM_OneFormSoup<float>)->Apply(Bench::Sizes);
BENCHMARK(BM_ReadSoup<double>)->Apply(Bench::Sizes);
BENCHMARK(BM_OneFormSoup<double>)->Apply(Bench::Sizes);

} // namespace
