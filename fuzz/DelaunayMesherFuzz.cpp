// Arbitrary points and constraints through the mesher, step by step and by way of
// `TessellateFlatBoundaries`: no crash, no hang, and a mesh whose topology is sound after each
// step.
//
// Layout of an input: a byte of flags (1 float, 2 raw coordinates, 4 flat boundaries), a byte for
// the size of a unit, a byte for the share of the points that are interior, a byte for the
// tolerance; then the points. The mesher's constraints join each point with one at a distance in
// the list.

#include "fuzz/FuzzPoints.h"

#include "tests/support/CheckTopology.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Tessellation_E.h>

#include <array>
#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr std::size_t kMostPoints = 150;

template <class T>
void ExerciseMesher(const std::vector<VecBase<2, T>>& points, int distance)
{
    HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<T>, HalfEdge::DelaunayEdge,
                             HalfEdge::DelaunayFacet>
        mesher;
    mesher.points = points;
    mesher.Triangulate();
    Fuzz::Require(Support::CheckTopology(mesher).empty());
    for (int node = 3; node < mesher.NodeCount(); ++node) {
        if (mesher.InsertEdge(node, 3 + (node + distance) % static_cast<int>(points.size()))) {
            mesher.noConstraints = distance % 2 == 0;
        }
    }
    std::vector<VecBase<2, T>> resultPoints;
    std::vector<int> indices;
    mesher.ExtractMesh(resultPoints, indices);
    Fuzz::Require(Support::CheckTopology(mesher).empty());
    Fuzz::RequireTriples(indices, resultPoints.size());
}

template <class T>
void Exercise(const std::vector<VecBase<2, T>>& points, bool flat, int share, T tolerance)
{
    if (points.empty()) {
        return;
    }
    if (!flat) {
        ExerciseMesher(points, share);
        return;
    }
    const auto interior =
        points.begin() +
        static_cast<std::ptrdiff_t>(points.size() * static_cast<std::size_t>(share) / 255);
    const auto middle = interior + (points.end() - interior) / 2;
    const auto mesh = Mesh::TessellateFlatBoundaries<2, T>(
        {{interior, middle}, {middle, points.end()}}, {points.begin(), interior}, tolerance);
    Fuzz::RequireTriples(mesh.indices, mesh.points.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 4) {
        return 0;
    }
    constexpr std::array<double, 6> kTolerances{1e-6, 0, 0.3, 5, -1, 1e30};
    const bool raw = (data[0] & 2) != 0;
    const bool flat = (data[0] & 4) != 0;
    const double scale = std::pow(10.0, data[1] % 12 - 8);
    const double tolerance = scale * kTolerances[data[3] % kTolerances.size()];
    if ((data[0] & 1) != 0) {
        Exercise(Fuzz::ReadPoints<float>(data + 4, size - 4, raw, scale, kMostPoints), flat,
                 data[2], static_cast<float>(tolerance));
    } else {
        Exercise(Fuzz::ReadPoints<double>(data + 4, size - 4, raw, scale, kMostPoints), flat,
                 data[2], tolerance);
    }
    return 0;
}
