// Arbitrary triangles through the mesh report and the gap check: no crash, no hang, and the
// promises that hold for any input whatever.
//
// Layout of an input: a byte of flags (1 raw coordinates), a byte that picks the tolerance, a byte
// for the number of points; then the points (a small integer of one byte for each coordinate, of
// which 127 and -128 stand for NaN and infinity; or, raw, the bits of doubles), and the rest are
// indices of one byte, which needn't be valid for the gap check and are taken modulo the number of
// points for the report.

#include <Sorvane/MeshReport_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::MeshUtils;

using Fuzz::Input;
using Fuzz::Require;

bool AreNumbersBelow(const std::vector<int>& numbers, std::size_t end)
{
    return std::all_of(numbers.begin(), numbers.end(),
                       [&](int n) { return n >= 0 && static_cast<std::size_t>(n) < end; });
}

/// Ascending, each once, and of existing things.
void RequireASet(const std::vector<int>& numbers, std::size_t end)
{
    Require(AreNumbersBelow(numbers, end));
    Require(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) ==
            numbers.end());
}

template <class T>
void RequireSoundReport(const std::vector<Vec3d>& points, const std::vector<int>& corners,
                        double tolerance)
{
    std::vector<std::array<VecBase<3, T>, 3>> soup(corners.size() / 3);
    for (std::size_t i = 0; i < 3 * soup.size(); ++i) {
        soup[i / 3][i % 3] = VecBase<3, T>(points[static_cast<std::size_t>(corners[i])]);
    }
    const MeshReport<T> report = CheckMesh(soup, static_cast<T>(tolerance));
    Require(report.unassigned.empty());
    RequireASet(report.openSlots, 3 * soup.size());
    RequireASet(report.misorientedTriangles, soup.size());
    RequireASet(report.degenerateTriangles, soup.size());
    RequireASet(report.foldedTriangles, soup.size());

    std::vector<int> slots = report.nonManifoldSlots;
    std::sort(slots.begin(), slots.end());
    RequireASet(slots, 3 * soup.size());
    for (const int slot : slots) {
        Require(!std::binary_search(report.misorientedTriangles.begin(),
                                    report.misorientedTriangles.end(), slot / 3));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr double kTolerances[] = {0, 1e-9, 0.125, 0.3,
                                      1, 50,   -1,    std::numeric_limits<double>::quiet_NaN()};
    Input input(data, size);
    const bool isRaw = (input.Byte() & 1) != 0;
    const double tolerance = kTolerances[input.Byte() & 7];
    std::vector<Vec3d> points(static_cast<std::size_t>(input.Byte() & 63));
    for (Vec3d& p : points) {
        for (double& x : p) {
            x = input.Coordinate(isRaw);
        }
    }
    std::vector<int> indices(std::min<std::size_t>(input.Left(), 3000));
    std::generate(indices.begin(), indices.end(), [&] { return input.Byte(); });

    const GapReport gaps = CheckGaps(points, indices);
    Require(gaps.gap >= 0);
    Require(!gaps.invalidMesh || gaps == GapReport{{}, 0, true});

    if (!points.empty()) {
        const int count = static_cast<int>(points.size());
        for (int& index : indices) {
            index = (index % count + count) % count;
        }
        RequireSoundReport<double>(points, indices, tolerance);
        RequireSoundReport<float>(points, indices, tolerance);
    }
    return 0;
}
