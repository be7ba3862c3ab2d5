// Writing by `WriteMesh` beside the writer of the one form, for 10^4 to 10^6 triangles of a wavy
// sheet. `WriteMesh` also checks the mesh, writes beside the old file and waits for the disk, so
// its figures are those of the disk as much as its own.

#include <Sorvane/MeshFiles_E.h>

#include "bench/meshfiles/MeshFilesInputs.h"

namespace {

namespace Files = Velk::Math::Sorvane::MeshUtils;
using Files::MeshFileForm;

template <class T, MeshFileForm kForm>
void BM_WriteMesh(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    const Bench::Sheet<T> sheet = Bench::WavySheet<T>(state.range(0));
    for (auto _ : state) {
        if (!Files::WriteMesh(sheet, file.Path(), kForm)) {
            state.SkipWithError("not written");
            break;
        }
    }
    Bench::ReportBytes(state, file.Path());
}

template <class T, MeshFileForm kForm>
void BM_OneForm(benchmark::State& state)
{
    const Bench::TemporaryFile file;
    const Bench::Sheet<T> sheet = Bench::WavySheet<T>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            kForm == MeshFileForm::AsciiStl
                ? Files::WriteToASCIISTL(sheet.points, sheet.indices, file.Path())
                : Files::WriteToBinarySTL(sheet.points, sheet.indices, file.Path()));
    }
    Bench::ReportBytes(state, file.Path());
}

BENCHMARK(BM_WriteMesh<float, MeshFileForm::BinaryStl>)->Apply(Bench::Sizes);
BENCHMARK(BM_OneForm<float, MeshFileForm::BinaryStl>)->Apply(Bench::Sizes);
BENCHMARK(BM_WriteMesh<double, MeshFileForm::AsciiStl>)->Apply(Bench::Sizes);
BENCHMARK(BM_OneForm<double, MeshFileForm::AsciiStl>)->Apply(Bench::Sizes);

} // namespace
