// Bodies that touch along edges, with four triangles or more at each: what makes half-edges of them
// keeps them whole.

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/Decimation_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;

/// Is every edge run as often one way as the other?
bool IsBalanced(const IndexedMesh& mesh)
{
    std::map<std::pair<int, int>, int> runs;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int a = mesh.indices[i + k];
            const int b = mesh.indices[i + (k + 1) % 3];
            runs[std::minmax(a, b)] += a < b ? 1 : -1;
        }
    }
    for (const auto& [edge, sum] : runs) {
        if (sum != 0) {
            return false;
        }
    }
    return true;
}

IndexedMesh CubesAt(const std::vector<Vec3d>& places)
{
    IndexedMesh mesh;
    for (const Vec3d& place : places) {
        mesh = Support::Together(
            mesh, Support::Mapped(Support::Cube(), [&](const Vec3d& p) { return p + place; }));
    }
    FilterForUniqueness(mesh, 1e-12);
    return mesh;
}

struct Bodies {
    std::string name;
    IndexedMesh mesh;
};

std::vector<Bodies> TouchingBodies()
{
    std::vector<Bodies> bodies{
        {"two cubes", CubesAt({{0, 0, 0}, {1, 1, 0}})},
        {"a staircase", CubesAt({{0, 0, 0}, {1, 1, 0}, {2, 2, 0}, {2, 3, 1}})},
        {"a ring of four", CubesAt({{0, 0, 0}, {1, 1, 0}, {0, 2, 0}, {-1, 1, 0}})},
    };
    // Wedges round one edge, six triangles at it.
    IndexedMesh wedges;
    for (int i = 0; i < 3; ++i) {
        const double turn = i * kTwoPi<double> / 3;
        const Vec3d a(std::cos(turn), std::sin(turn), 0);
        const Vec3d b(std::cos(turn + 1), std::sin(turn + 1), 0);
        const Vec3d up(0, 0, 1);
        wedges = Support::Together(
            wedges, {{Vec3d(), a, b, up, a + up, b + up},
                     {0, 2, 1, 3, 4, 5, 0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 4, 2, 0, 3, 2, 3, 5}});
    }
    FilterForUniqueness(wedges, 1e-12);
    bodies.push_back({"three wedges", wedges});
    const std::size_t count = bodies.size();
    for (std::size_t i = 0; i < count; ++i) {
        Support::Random random(i + 1);
        bodies.push_back({bodies[i].name + ", shuffled", Shuffled(bodies[i].mesh, random)});
        bodies.push_back(
            {bodies[i].name + ", far away", Support::Mapped(bodies[i].mesh, [](const Vec3d& p) {
                 return p + Vec3d(1e6, -1e6, 3e5);
             })});
    }
    return bodies;
}

using Operation = std::function<void(const IndexedMesh&, IndexedMesh&)>;

TEST(SheetsApart, BodiesThatTouchAlongAnEdgeKeepTheirTriangles)
{
    const std::vector<std::pair<std::string, Operation>> operations{
        {"isotropic", [](const IndexedMesh& in,
                         IndexedMesh& out) { Mesh::IsotropicRemesh(in, out, 40, 0.3, 4, true); }},
        {"anisotropic",
         [](const IndexedMesh& in, IndexedMesh& out) {
             Mesh::AnisotropicRemesh(in, out, 40, 0.5, 1, 0.01, 4, true);
         }},
        {"loop",
         [](const IndexedMesh& in, IndexedMesh& out) {
             Mesh::SubdivideMesh(in, out, 0, 1, Mesh::SubdivisionMethod::Loop);
         }},
        {"long edges", [](const IndexedMesh& in,
                          IndexedMesh& out) { Mesh::SplitLongMeshEdges(in, out, 0.3, true, 20); }},
        {"decimation",
         [](const IndexedMesh& in, IndexedMesh& out) {
             IndexedMesh fine;
             Mesh::SplitLongMeshEdges(in, fine, 0.3, true, 20);
             Mesh::DecimateMesh(fine, out, 40, 50, 1e-9, true);
             EXPECT_LT(out.indices.size(), fine.indices.size());
         }},
    };
    for (const auto& [name, mesh] : TouchingBodies()) {
        const double volume = Support::VolumeOf(mesh);
        for (const auto& [what, operation] : operations) {
            SCOPED_TRACE(what + " of " + name);
            IndexedMesh out;
            operation(mesh, out);
            EXPECT_TRUE(IsBalanced(out));
            EXPECT_NEAR(Support::VolumeOf(out), volume, 1e-8);
            EXPECT_GE(out.indices.size(), mesh.indices.size());
        }
    }
}

TEST(SheetsApart, EdgesThatAreNoEdgesOfSolidsStayAsTheyAre)
{
    // Wings round an edge that all run it the same way, or lie on each other, or end nowhere.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Vec3d& tip :
         {Vec3d(0, 1, 0), Vec3d(1, 0, 0.5), Vec3d(nan, 0, 0), Vec3d(1e200, 0, 0)}) {
        SCOPED_TRACE(tip);
        const std::vector<Vec3d> points{{0, 0, 0},  {0, 0, 1},  {1, 0, 0},
                                        {-1, 0, 0}, {0, -1, 0}, tip};
        IndexedMesh out;
        Mesh::SubdivideMesh({points, {0, 1, 2, 0, 1, 3, 0, 1, 4, 0, 1, 5}}, out, 30, 0,
                            Mesh::SubdivisionMethod::Loop);
        EXPECT_EQ(out.indices.size(), 3U);
        Mesh::SubdivideMesh({points, {0, 1, 2, 1, 0, 3, 0, 1, 4, 1, 0, 5}}, out, 30, 0,
                            Mesh::SubdivisionMethod::Loop);
        EXPECT_EQ(out.indices.size(), 6U);
    }
}

TEST(SheetsApart, TrianglesGivenTwiceStillCountOnce)
{
    const IndexedMesh cube = Support::Cube();
    IndexedMesh twice = cube;
    twice.indices.insert(twice.indices.end(), cube.indices.begin(), cube.indices.end());
    IndexedMesh once;
    IndexedMesh out;
    Mesh::SplitLongMeshEdges(cube, once, 0.5, true, 20);
    Mesh::SplitLongMeshEdges(twice, out, 0.5, true, 20);
    EXPECT_EQ(out, once);
}

/// A tetrahedron on the edges of whose base, numbered first, three others stand: each edge of that
/// triangle has four triangles.
IndexedMesh BodiesRoundATriangle()
{
    const auto tetrahedron = [](const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& tip) {
        return IndexedMesh{{a, b, c, tip}, {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3}};
    };
    const std::vector<Vec3d> base{{1, 0, 0}, {-0.5, 0.75, 0}, {-0.5, -0.75, 0}};
    IndexedMesh mesh = tetrahedron(base[0], base[1], base[2], {0, 0, 1});
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& a = base[i];
        const Vec3d& b = base[(i + 1) % 3];
        const Vec3d beyond = (a + b) * 0.75;
        mesh = Support::Together(
            mesh, tetrahedron(b, a, beyond - Vec3d(0, 0, 1), beyond * 1.25 - Vec3d(0, 0, 0.25)));
    }
    FilterForUniqueness(mesh, 1e-12);
    return mesh;
}

TEST(SheetsApart, ATriangleGivenTwiceCountsOnceWhereAllItsEdgesAreTakenApart)
{
    const IndexedMesh bodies = BodiesRoundATriangle();
    IndexedMesh once;
    Mesh::SplitLongMeshEdges(bodies, once, 0.5, true, 20);
    EXPECT_TRUE(IsBalanced(once));
    EXPECT_NEAR(Support::VolumeOf(once), Support::VolumeOf(bodies), 1e-12);
    for (std::size_t count = 3; count <= bodies.indices.size(); count += 3) {
        IndexedMesh twice = bodies;
        twice.indices.insert(twice.indices.end(), bodies.indices.begin(),
                             bodies.indices.begin() + static_cast<std::ptrdiff_t>(count));
        IndexedMesh out;
        Mesh::SplitLongMeshEdges(twice, out, 0.5, true, 20);
        EXPECT_EQ(out, once) << count / 3;
    }
}

TEST(SheetsApart, TriplesThatAreNoTrianglesLeaveAnEdgeToTheOthers)
{
    const IndexedMesh bodies = BodiesRoundATriangle();
    IndexedMesh without;
    Mesh::SplitLongMeshEdges(bodies, without, 0.5, true, 20);
    for (std::size_t k = 0; k < 3; ++k) {
        const int a = bodies.indices[k];
        const int b = bodies.indices[(k + 1) % 3];
        for (const std::vector<int>& triple :
             {std::vector<int>{a, a, b}, {b, a, b}, {a, b, b}, {a, a, a}, {a, b, -1}, {99, b, a}}) {
            SCOPED_TRACE(testing::PrintToString(triple));
            IndexedMesh with = bodies;
            with.indices.insert(with.indices.begin(), triple.begin(), triple.end());
            IndexedMesh out;
            Mesh::SplitLongMeshEdges(with, out, 0.5, true, 20);
            EXPECT_TRUE(IsBalanced(out));
            EXPECT_EQ(out.indices.size(), without.indices.size());
            EXPECT_NEAR(Support::VolumeOf(out), Support::VolumeOf(bodies), 1e-12);
        }
    }
}

} // namespace
