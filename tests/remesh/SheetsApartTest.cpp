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

#include <algorithm>
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

using Parts = std::vector<IndexedMesh>;

IndexedMesh Joined(const Parts& parts)
{
    IndexedMesh mesh;
    for (const IndexedMesh& part : parts) {
        mesh = Support::Together(mesh, part);
    }
    FilterForUniqueness(mesh, 1e-12);
    return mesh;
}

Parts CubesAt(const std::vector<Vec3d>& places)
{
    Parts cubes;
    for (const Vec3d& place : places) {
        cubes.push_back(
            Support::Mapped(Support::Cube(), [&](const Vec3d& p) { return p + place; }));
    }
    return cubes;
}

/// The prism on a triangle with one corner at the origin and edges of length `size` from there in
/// the directions `from` and `to`.
IndexedMesh Wedge(double from, double to, double size)
{
    const Vec3d a = Vec3d(std::cos(from), std::sin(from), 0) * size;
    const Vec3d b = Vec3d(std::cos(to), std::sin(to), 0) * size;
    const Vec3d up(0, 0, 1);
    return {{Vec3d(), a, b, up, a + up, b + up},
            {0, 2, 1, 3, 4, 5, 0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 4, 2, 0, 3, 2, 3, 5}};
}

struct Bodies {
    std::string name;
    Parts parts;
};

std::vector<Bodies> TouchingParts()
{
    std::vector<Bodies> bodies{
        {"two cubes", CubesAt({{0, 0, 0}, {1, 1, 0}})},
        {"a staircase", CubesAt({{0, 0, 0}, {1, 1, 0}, {2, 2, 0}, {2, 3, 1}})},
        {"a ring of four", CubesAt({{0, 0, 0}, {1, 1, 0}, {0, 2, 0}, {-1, 1, 0}})},
    };
    Parts wedges; // six triangles at their edge
    for (int i = 0; i < 3; ++i) {
        const double turn = i * kTwoPi<double> / 3;
        wedges.push_back(Wedge(turn, turn + 1, 1));
    }
    bodies.push_back({"three wedges", wedges});
    return bodies;
}

std::vector<std::pair<std::string, IndexedMesh>> TouchingBodies()
{
    std::vector<std::pair<std::string, IndexedMesh>> bodies;
    for (const auto& [name, parts] : TouchingParts()) {
        const IndexedMesh mesh = Joined(parts);
        Support::Random random(bodies.size() + 1);
        bodies.emplace_back(name, mesh);
        bodies.emplace_back(name + ", shuffled", Shuffled(mesh, random));
        bodies.emplace_back(name + ", far away", Support::Mapped(mesh, [](const Vec3d& p) {
                                return p + Vec3d(1e6, -1e6, 3e5);
                            }));
    }
    return bodies;
}

/// The parts of which the bit in `turned` is set are wound the other way.
Parts Turned(Parts parts, std::size_t turned)
{
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if ((turned >> i) % 2 == 1) {
            for (std::size_t k = 0; k < parts[i].indices.size(); k += 3) {
                std::swap(parts[i].indices[k], parts[i].indices[k + 1]);
            }
        }
    }
    return parts;
}

using Operation = std::function<void(const IndexedMesh&, IndexedMesh&)>;

std::vector<std::pair<std::string, Operation>> Operations()
{
    return {
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
}

TEST(SheetsApart, BodiesThatTouchAlongAnEdgeKeepTheirTriangles)
{
    for (const auto& [name, mesh] : TouchingBodies()) {
        const double volume = Support::VolumeOf(mesh);
        for (const auto& [what, operation] : Operations()) {
            SCOPED_TRACE(what + " of " + name);
            IndexedMesh out;
            operation(mesh, out);
            EXPECT_TRUE(IsBalanced(out));
            EXPECT_NEAR(Support::VolumeOf(out), volume, 1e-8);
            EXPECT_GE(out.indices.size(), mesh.indices.size());
        }
    }
}

/// The Loop surface with no edge of a body as a crease.
IndexedMesh Smoothed(const IndexedMesh& mesh)
{
    IndexedMesh out;
    Mesh::SubdivideMesh(mesh, out, 170, 2, Mesh::SubdivisionMethod::Loop);
    return out;
}

/// Is the smooth surface of all what those of the bodies by themselves are?
///
/// Its volume tells: a sheet that runs on from one body to another is drawn to it.
void ExpectEachByItself(const Parts& parts)
{
    double volume = 0;
    std::size_t indices = 0;
    for (const IndexedMesh& part : parts) {
        const IndexedMesh smooth = Smoothed(part);
        volume += Support::VolumeOf(smooth);
        indices += smooth.indices.size();
    }
    const IndexedMesh mesh = Joined(parts);
    Support::Random random(7);
    for (const IndexedMesh& together : {mesh, Shuffled(mesh, random)}) {
        const IndexedMesh smooth = Smoothed(together);
        EXPECT_EQ(smooth.indices.size(), indices);
        EXPECT_NEAR(Support::VolumeOf(smooth), volume, 1e-9);
    }
}

TEST(SheetsApart, EachBodyIsASurfaceByItselfHoweverItIsWound)
{
    const std::vector<Bodies> bodies = TouchingParts();
    for (const auto& [name, parts] : bodies) {
        for (std::size_t turned = 0; turned < std::size_t{1} << parts.size(); ++turned) {
            SCOPED_TRACE(name + ", turned " + std::to_string(turned));
            ExpectEachByItself(Turned(parts, turned));
        }
    }
    // One in another is wound as that is: the other way round it would be a hollow. Edges with
    // points in their middle come apart as well, of which no other triangle knows.
    const Parts nested{Wedge(0.5, 1, 0.25), Wedge(0, 2, 1), Wedge(3, 5, 0.5)};
    for (const std::size_t turned : {0U, 3U, 4U, 7U}) {
        SCOPED_TRACE("nested, turned " + std::to_string(turned));
        const Parts parts = Turned(nested, turned);
        ExpectEachByItself(parts);
        Parts fine(parts.size());
        for (std::size_t i = 0; i < parts.size(); ++i) {
            Mesh::SplitLongMeshEdges(parts[i], fine[i], 0.3, true, 20);
        }
        ExpectEachByItself(fine);
    }
}

TEST(SheetsApart, EveryOtherCubeOfABlockIsASurfaceByItselfHoweverItIsWound)
{
    // Inside of such a block cubes and gaps look alike.
    std::vector<Vec3d> places;
    for (int i = 0; i < 27; i += 2) {
        places.push_back(Vec3d(i % 3, i / 3 % 3, i / 9));
    }
    for (const std::size_t turned : {0x0UL, ~0x0UL, 0x15a5UL}) {
        SCOPED_TRACE(turned);
        ExpectEachByItself(Turned(CubesAt(places), turned));
    }
}

TEST(SheetsApart, HollowsThatTouchInABlockAreSurfacesByThemselves)
{
    Parts parts = Turned(CubesAt({{0, 0, 0}, {1, 1, 0}, {2, 2, 0}}), 7);
    parts.push_back(
        Support::Mapped(Support::Cube(), [](const Vec3d& p) { return p * 8.0 - Vec3d(2, 2, 2); }));
    ExpectEachByItself(parts);
}

TEST(SheetsApart, BodiesWoundInsideOutKeepTheirTriangles)
{
    for (const auto& [name, parts] : TouchingParts()) {
        const std::size_t count = std::size_t{1} << parts.size();
        for (const std::size_t turned : {count - 1, std::size_t{1}}) {
            const IndexedMesh mesh = Joined(Turned(parts, turned));
            const double volume = Support::VolumeOf(mesh);
            for (const auto& [what, operation] : Operations()) {
                SCOPED_TRACE(what + " of " + name + ", turned " + std::to_string(turned));
                IndexedMesh out;
                operation(mesh, out);
                EXPECT_TRUE(IsBalanced(out));
                EXPECT_NEAR(Support::VolumeOf(out), volume, 1e-8);
                EXPECT_GE(out.indices.size(), mesh.indices.size());
            }
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
        // Where the tip lies apart from the others, two sheets come of them.
        Mesh::SubdivideMesh({points, {0, 1, 2, 1, 0, 3, 0, 1, 4, 1, 0, 5}}, out, 30, 0,
                            Mesh::SubdivisionMethod::Loop);
        EXPECT_EQ(out.indices.size(), tip == Vec3d(0, 1, 0) ? 12U : 6U);
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
    for (const std::size_t turned : {0U, 1U}) {
        const IndexedMesh bodies = Turned({BodiesRoundATriangle()}, turned)[0];
        IndexedMesh once;
        Mesh::SplitLongMeshEdges(bodies, once, 0.5, true, 20);
        EXPECT_TRUE(IsBalanced(once));
        EXPECT_NEAR(Support::VolumeOf(once), Support::VolumeOf(bodies), 1e-12);
        for (std::size_t count = 3; count <= bodies.indices.size(); count += 3) {
            IndexedMesh twice = bodies;
            for (std::size_t i = 0; i < count; ++i) { // begun with another corner
                twice.indices.push_back(bodies.indices[i % 3 == 2 ? i - 2 : i + 1]);
            }
            IndexedMesh out;
            Mesh::SplitLongMeshEdges(twice, out, 0.5, true, 20);
            EXPECT_EQ(out, once) << count / 3 << ' ' << turned;
        }
    }
}

TEST(SheetsApart, TrianglesGivenManyTimesSayNothingAboutTheWinding)
{
    for (const std::size_t turned : {0U, 1U, 2U, 3U}) {
        const IndexedMesh cubes = Joined(Turned(CubesAt({{0, 0, 0}, {1, 1, 0}}), turned));
        IndexedMesh once;
        Mesh::SplitLongMeshEdges(cubes, once, 0.5, true, 20);
        for (std::size_t i = 0; i < cubes.indices.size(); i += 3) {
            IndexedMesh often = cubes;
            for (int k = 0; k < 100; ++k) {
                often.indices.insert(often.indices.end(), {cubes.indices[i], cubes.indices[i + 1],
                                                           cubes.indices[i + 2]});
            }
            IndexedMesh out;
            Mesh::SplitLongMeshEdges(often, out, 0.5, true, 20);
            EXPECT_EQ(out, once) << i << ' ' << turned;
        }
    }
}

TEST(SheetsApart, SheetsThatLieOnEachOtherStayAsTheyAre)
{
    // Two wedges with walls on each other, as far as rounding can tell: nobody knows which of them
    // comes first. Two of the four triangles at the edge go.
    for (const double gap : {-1e-11, 0.0, 1e-11, 1e-6}) {
        for (const std::size_t turned : {0U, 1U, 2U, 3U}) {
            const Parts parts{Wedge(0, 1, 1), Wedge(1 + gap, 2, 0.5)};
            const IndexedMesh mesh = Joined(Turned(parts, turned));
            IndexedMesh out;
            Mesh::SubdivideMesh(mesh, out, 30, 0, Mesh::SubdivisionMethod::Loop);
            EXPECT_EQ(out.indices.size(), mesh.indices.size() - (gap < 1e-7 ? 6U : 0U))
                << gap << ' ' << turned;
        }
    }
}

TEST(SheetsApart, TriplesThatNameTheFirstPointMakeNoTriangles)
{
    // Point 0 is an end of an edge that is taken apart, and so are its copies.
    const IndexedMesh cubes = Joined(CubesAt({{0, 0, 0}, {1, 1, 0}}));
    const auto isAt = [&](const Vec3d& p) {
        return static_cast<int>(std::find(cubes.points.begin(), cubes.points.end(), p) -
                                cubes.points.begin());
    };
    const int end = isAt({1, 1, 0});
    const int other = isAt({1, 1, 1});
    IndexedMesh bodies = cubes;
    std::swap(bodies.points[0], bodies.points[static_cast<std::size_t>(end)]);
    for (int& index : bodies.indices) {
        index = index == 0 ? end : index == end ? 0 : index;
    }
    for (const std::vector<int>& triple : {std::vector<int>{0, 0, end},
                                           {0, end, 0},
                                           {end, 0, 0},
                                           {0, 0, 0},
                                           {0, 0, other},
                                           {end, end, other},
                                           {other, other, other},
                                           {0, other, -1},
                                           {99, 0, other}}) {
        SCOPED_TRACE(testing::PrintToString(triple));
        IndexedMesh with = bodies;
        with.indices.insert(with.indices.begin(), triple.begin(), triple.end());
        IndexedMesh out;
        Mesh::SubdivideMesh(with, out, 30, 0, Mesh::SubdivisionMethod::Loop);
        EXPECT_EQ(out.indices.size(), cubes.indices.size());
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
