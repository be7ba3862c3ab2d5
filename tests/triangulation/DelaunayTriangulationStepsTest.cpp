// Steps of the mesher that a host can't take by themselves.

#include "triangulation/DelaunayTriangulationLocation_Impl.h"
#include "triangulation/DelaunayTriangulation_Impl.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using Velk::Math::Sorvane::HalfEdge::Impl::MesherSteps;
using Kind = DelaunayLocation::Kind;
using Mesher = DelaunayMesher<DelaunayNode<double>, DelaunayEdge, DelaunayFacet>;

/// Distance of a point from the border of what it was found on, or from the node.
double DistanceTo(const Mesher& mesher, const DelaunayLocation& found, const Vec2d& p)
{
    const std::vector<int> nodes = found.kind == Kind::Node   ? std::vector<int>{found.index}
                                   : found.kind == Kind::Edge ? mesher.EdgeNodes(found.index)
                                                              : mesher.FaceNodes(found.index);
    double distance =
        std::hypot(p.x() - mesher.GetVertex(nodes[0]).x(), p.y() - mesher.GetVertex(nodes[0]).y());
    for (std::size_t k = 0; nodes.size() > 1 && k < nodes.size(); ++k) {
        const Vec2d a = mesher.GetVertex(nodes[k]);
        const Vec2d d = mesher.GetVertex(nodes[(k + 1) % nodes.size()]) - a;
        const double t = std::clamp(((p - a) * d) / (d * d), 0.0, 1.0);
        distance =
            std::min(distance, std::hypot(p.x() - a.x() - t * d.x(), p.y() - a.y() - t * d.y()));
    }
    return distance;
}

// The walk by nearest points finds, where it arrives, what the walk over sides finds, or something
// near by the floor: the nearest point of the face matches the point in each coordinate, and what
// is found matches that.
TEST(DelaunayTriangulationSteps, BothWalksFindTheSame)
{
    const double twoMatches = 2 * std::sqrt(2.0) * 1.001e-12;
    Mesher mesher;
    Support::Random random(52);
    for (int i = 0; i < 40; ++i) {
        mesher.points.push_back(random.Vector<2, double>(0, 1));
    }
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_TRUE(mesher.InsertEdge(3, 42));
    ASSERT_TRUE(mesher.InsertEdge(10, 30));

    std::vector<Vec2d> queries;
    for (int i = 0; i < 60; ++i) {
        queries.push_back(random.Vector<2, double>(-1, 2));
    }
    for (int node = 3; node < mesher.NodeCount(); ++node) {
        for (const double off : {0.0, 0.9e-12, 3e-12}) {
            queries.push_back(mesher.GetVertex(node) + Vec2d(off, 0.9e-12));
        }
    }
    for (int edge = 0; edge < mesher.EdgeCount(); edge += 3) {
        const std::vector<int> ends = mesher.EdgeNodes(edge);
        const double t = random.Between(0.1, 0.9);
        queries.push_back((1 - t) * mesher.GetVertex(ends[0]) + t * mesher.GetVertex(ends[1]));
    }
    int arrived = 0;
    for (const Vec2d& p : queries) {
        for (int start = 0; start < 6; ++start) {
            mesher.hintFace = (start * 13 + 1) % mesher.FaceCount();
            const MesherSteps steps(std::as_const(mesher));
            const DelaunayLocation straight = steps.WalkStraight(p);
            const DelaunayLocation slow = steps.WalkByClosestPoints(p);
            if (slow.kind != Kind::Nowhere) {
                ++arrived;
                EXPECT_TRUE((slow.kind == straight.kind && slow.index == straight.index) ||
                            DistanceTo(mesher, slow, p) < twoMatches)
                    << p.x() << " " << p.y();
            }
        }
    }
    EXPECT_GT(arrived, 3 * static_cast<int>(queries.size()));
}

// Of an edge between two triangles the areas decide, not the test for boundary edges.
TEST(DelaunayTriangulationSteps, APointBeyondTheQuadDoesNotSplitItsEdge)
{
    Mesher mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 5}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    MesherSteps steps(mesher);
    const int edges = mesher.EdgeCount();
    EXPECT_EQ(steps.InsertOnEdge(mesher.FindEdge(3, 4), {1, 40}), kNoNode);
    EXPECT_EQ(mesher.EdgeCount(), edges);
    EXPECT_EQ(steps.InsertOnEdge(mesher.FindEdge(3, 4), {1, 0}), 7);
}

} // namespace
