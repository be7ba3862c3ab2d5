// Arbitrary triangles through edge flips: no crash, no hang, and what holds for any input whatever:
// the points are the same, the triangles as many as were triangles, and of all edges only those of
// two triangles are exchanged, for others of two.
//
// Layout of an input: flags (1 in the plane, 2 in `float`), a signed byte each for the angle and
// the bound of the drift, a byte for the number of points; then the points (a small integer of one
// byte for each of three coordinates, of which 127 and -128 stand for NaN and infinity), and the
// rest are indices of one byte, which needn't be valid.

#include <Sorvane/AspectRatio_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

using Fuzz::Input;
using Fuzz::Require;

/// The edges that don't have two triangles, with the number of those that they have.
std::map<std::pair<int, int>, int> UnpairedEdges(const std::vector<int>& indices)
{
    std::map<std::pair<int, int>, int> uses;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        ++uses[std::minmax(indices[i], indices[i / 3 * 3 + (i + 1) % 3])];
    }
    std::erase_if(uses, [](const auto& use) { return use.second == 2; });
    return uses;
}

template <int D, class T>
void Flip(Input& input, T angle, T drift)
{
    Mesh::IndexedPointsBase<D, T> mesh;
    const int count = input.Byte() & 63;
    for (int i = 0; i < count; ++i) {
        VecBase<D, T> point;
        for (int axis = 0; axis < 3; ++axis) {
            const double coordinate = input.Coordinate(false);
            if (axis < D) {
                point[axis] = static_cast<T>(coordinate);
            }
        }
        mesh.points.push_back(point);
    }
    std::vector<int> sound;
    while (input.Left() > 0) {
        mesh.indices.push_back(input.Byte());
        if (mesh.indices.size() % 3 == 0) {
            const int* c = &mesh.indices[mesh.indices.size() - 3];
            const auto [least, greatest] = std::minmax({c[0], c[1], c[2]});
            if (c[0] != c[1] && c[1] != c[2] && c[2] != c[0] && least >= 0 && greatest < count) {
                sound.insert(sound.end(), c, c + 3);
            }
        }
    }

    const auto out = MeshUtils::MaximizeAspectRatio(mesh, angle, drift);
    Require(out.points.size() == mesh.points.size());
    for (std::size_t i = 0; i < out.points.size(); ++i) {
        for (int axis = 0; axis < D; ++axis) {
            Require(out.points[i][axis] == mesh.points[i][axis] ||
                    mesh.points[i][axis] != mesh.points[i][axis]);
        }
    }
    Require(out.indices.size() == sound.size());
    Require(UnpairedEdges(out.indices) == UnpairedEdges(sound));
    if (drift < 0) {
        Require(out.indices == sound);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 2000));
    const int flags = input.Byte();
    const double angle = 2.0 * input.Byte();
    const double drift = 0.25 * (input.Byte() - 16);
    switch (flags & 3) {
    case 0:
        Flip<3, double>(input, angle, drift);
        break;
    case 1:
        Flip<2, double>(input, angle, drift);
        break;
    case 2:
        Flip<3, float>(input, static_cast<float>(angle), static_cast<float>(drift));
        break;
    default:
        Flip<2, float>(input, static_cast<float>(angle), static_cast<float>(drift));
    }
    return 0;
}
