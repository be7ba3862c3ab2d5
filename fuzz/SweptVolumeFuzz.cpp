// Arbitrary triangles swept along arbitrary paths: no crash, no hang, and what holds for any input
// whatever: every triangle has points of its own, each of which is a point of the body moved by one
// of the path; the shell of a closed body is closed; a copy gives the same.
//
// Layout of an input: a byte each for the number of the body's points and of the path's; these
// points (a small integer of one byte for each coordinate, of which 127 and -128 stand for NaN and
// infinity), and the rest are indices of one byte, which needn't be valid.

#include <Sorvane/SweptVolume_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Body = Mesh::IndexedPointsBase<3, double>;

using Fuzz::Input;
using Fuzz::Require;

std::vector<Vec3d> PointsOf(Input& input, int count, bool& isFinite)
{
    std::vector<Vec3d> points;
    for (int i = 0; i < count; ++i) {
        Vec3d point;
        for (double& coordinate : point) {
            coordinate = input.Coordinate(false);
            isFinite = isFinite && coordinate - coordinate == 0;
        }
        points.push_back(point);
    }
    return points;
}

/// How much oftener each edge, by its ends, is run one way than the other; only what is not 0.
template <class End, class EndOf>
std::map<std::pair<End, End>, int> Imbalance(const std::vector<int>& indices, const EndOf& endOf)
{
    std::map<std::pair<End, End>, int> balance;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const End a = endOf(indices[i]);
        const End b = endOf(indices[i / 3 * 3 + (i + 1) % 3]);
        if (a < b) {
            ++balance[{a, b}];
        } else if (b < a) {
            --balance[{b, a}];
        }
    }
    std::erase_if(balance, [](const auto& entry) { return entry.second == 0; });
    return balance;
}

/// The triangles that count: three different points that are there.
std::vector<int> SoundIndices(const Body& mesh)
{
    std::vector<int> sound;
    if (IsEmpty(mesh)) {
        return sound;
    }
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const int* const c = &mesh.indices[i];
        const auto [least, greatest] = std::minmax({c[0], c[1], c[2]});
        if (c[0] != c[1] && c[1] != c[2] && c[2] != c[0] && least >= 0 &&
            static_cast<std::size_t>(greatest) < mesh.points.size()) {
            sound.insert(sound.end(), c, c + 3);
        }
    }
    return sound;
}

/// Exactly two triangles at each edge, which run it opposite ways.
bool IsClosed(const std::vector<int>& indices)
{
    std::map<std::pair<int, int>, int> uses;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        ++uses[std::minmax(indices[i], indices[i / 3 * 3 + (i + 1) % 3])];
    }
    return std::all_of(uses.begin(), uses.end(), [](const auto& use) { return use.second == 2; }) &&
           Imbalance<int>(indices, [](int index) { return index; }).empty();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 1000));
    const int pointCount = input.Byte() & 31;
    const int pathCount = input.Byte() & 15;
    bool isFinite = true;
    Body mesh;
    mesh.points = PointsOf(input, pointCount, isFinite);
    const std::vector<Vec3d> path = PointsOf(input, pathCount, isFinite);
    while (input.Left() > 0) {
        mesh.indices.push_back(input.Byte());
    }

    MeshUtils::DirtySweptVolume sweep(mesh);
    const Body shell = sweep(path);
    Require(shell.points.size() == shell.indices.size() && shell.points.size() % 3 == 0);
    for (std::size_t i = 0; i < shell.indices.size(); ++i) {
        Require(shell.indices[i] == static_cast<int>(i));
    }
    const std::vector<int> sound = SoundIndices(mesh);
    if (path.empty() || sound.empty()) {
        Require(shell.points.empty());
    }
    if (!isFinite) {
        return 0;
    }
    for (const Vec3d& point : shell.points) {
        Require(std::any_of(path.begin(), path.end(), [&](const Vec3d& at) {
            return std::find(mesh.points.begin(), mesh.points.end(), point - at) !=
                   mesh.points.end();
        }));
    }
    if (IsClosed(sound)) {
        using End = std::array<double, 3>;
        Require(Imbalance<End>(shell.indices, [&](int index) {
                    const Vec3d& p = shell.points[static_cast<std::size_t>(index)];
                    return End{p.x(), p.y(), p.z()};
                }).empty());
    }
    MeshUtils::DirtySweptVolume copy(sweep);
    Require(copy(path) == shell);
    return 0;
}
