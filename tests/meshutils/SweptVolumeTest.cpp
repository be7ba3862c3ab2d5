// Shells of swept bodies: counts by hand, closed surfaces, volumes by projected areas, and winding
// numbers against how often the body comes over a point, found by clipping lines.

#include <Sorvane/SweptVolume_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::IndexedMesh;
using Support::Random;
using Velk::Math::Sorvane::MeshUtils::DirtySweptVolume;
using Path = std::vector<Vec3d>;
using Corners = std::array<Vec3d, 3>;

IndexedMesh Sweep(const IndexedMesh& body, const Path& path)
{
    return DirtySweptVolume(body)(path);
}

std::size_t TriangleCount(const IndexedMesh& mesh) { return mesh.indices.size() / 3; }

Corners CornersOf(const IndexedMesh& mesh, std::size_t triangle)
{
    return {Support::PointOf(mesh, 3 * triangle), Support::PointOf(mesh, 3 * triangle + 1),
            Support::PointOf(mesh, 3 * triangle + 2)};
}

/// Every triangle has three points of its own, in order.
void ExpectOwnPoints(const IndexedMesh& shell)
{
    std::vector<int> numbers(shell.points.size());
    std::iota(numbers.begin(), numbers.end(), 0);
    EXPECT_EQ(shell.indices, numbers);
    EXPECT_EQ(shell.points.size() % 3, 0U);
}

std::array<double, 3> KeyOf(const Vec3d& p) { return {p.x() + 0.0, p.y() + 0.0, p.z() + 0.0}; }

/// Each edge, by the very bits of its two points, is run as often one way as the other.
bool IsClosed(const IndexedMesh& shell)
{
    std::map<std::pair<std::array<double, 3>, std::array<double, 3>>, int> balance;
    for (std::size_t i = 0; i < shell.indices.size(); ++i) {
        const auto a = KeyOf(Support::PointOf(shell, i));
        const auto b = KeyOf(Support::PointOf(shell, i / 3 * 3 + (i + 1) % 3));
        a < b ? ++balance[{a, b}] : --balance[{b, a}];
    }
    return std::all_of(balance.begin(), balance.end(),
                       [](const auto& entry) { return entry.second == 0; });
}

/// Volume that a closed body and its shell have: its own, and for each step the length times the
/// area seen along it, which is half of what all triangles show.
double SweptVolumeOf(const IndexedMesh& body, const Path& path)
{
    long double volume = Support::VolumeOf(body);
    for (std::size_t s = 0; s + 1 < path.size(); ++s) {
        const Vec3d d = path[s + 1] - path[s];
        for (std::size_t t = 0; t < TriangleCount(body); ++t) {
            const Corners c = CornersOf(body, t);
            const Vec3d u = c[1] - c[0];
            const Vec3d v = c[2] - c[0];
            volume += std::fabs(d.x() * (u.y() * v.z() - u.z() * v.y()) +
                                d.y() * (u.z() * v.x() - u.x() * v.z()) +
                                d.z() * (u.x() * v.y() - u.y() * v.x())) /
                      4.0L;
        }
    }
    return static_cast<double>(volume);
}

/// How often a closed surface winds round a point: the solid angles of its triangles (A. van
/// Oosterom and J. Strackee, "The solid angle of a plane triangle", 1983).
double WindingNumber(const IndexedMesh& surface, const Vec3d& x)
{
    double angle = 0;
    for (std::size_t t = 0; t < TriangleCount(surface); ++t) {
        const Corners corners = CornersOf(surface, t);
        const Vec3d a = corners[0] - x;
        const Vec3d b = corners[1] - x;
        const Vec3d c = corners[2] - x;
        const double la = std::sqrt(a * a);
        const double lb = std::sqrt(b * b);
        const double lc = std::sqrt(c * c);
        angle +=
            2 * std::atan2(a * (b ^ c), la * lb * lc + (a * b) * lc + (b * c) * la + (c * a) * lb);
    }
    return angle / (4 * kPi<double>);
}

/// A closed body as a mesh and as a union of convex parts, each of which is where all of its
/// half-spaces n * x <= c are.
struct HalfSpace {
    Vec3d normal;
    double limit = 0;
};
using ConvexPart = std::vector<HalfSpace>;
struct Body {
    std::string name;
    IndexedMesh mesh;
    std::vector<ConvexPart> parts;
};

Body ConvexBody(std::string name, IndexedMesh mesh)
{
    ConvexPart part;
    for (std::size_t t = 0; t < TriangleCount(mesh); ++t) {
        const Corners c = CornersOf(mesh, t);
        const Vec3d normal = (c[1] - c[0]) ^ (c[2] - c[0]);
        const double length = std::sqrt(normal * normal);
        if (length > 1e-12) {
            part.push_back({normal / length, normal * c[0] / length});
        }
    }
    return {std::move(name), std::move(mesh), {part}};
}

ConvexPart BoxPart(const Vec3d& low, const Vec3d& high)
{
    ConvexPart part;
    for (int axis = 0; axis < 3; ++axis) {
        Vec3d normal;
        normal[axis] = 1;
        part.push_back({normal, high[axis]});
        part.push_back({-normal, -low[axis]});
    }
    return part;
}

/// An L of two arms of 3 by 1, 1 thick: not convex, so that a straight step can come twice over a
/// point.
Body Angle()
{
    const std::vector<Vec2d> outline{{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}};
    IndexedMesh mesh;
    for (const double z : {0.0, 1.0}) {
        for (const Vec2d& p : outline) {
            mesh.points.push_back({p.x(), p.y(), z});
        }
    }
    for (int i = 0; i < 6; ++i) {
        const int j = (i + 1) % 6;
        mesh.indices.insert(mesh.indices.end(), {i, j, j + 6, i, j + 6, i + 6});
        if (i > 0 && j > 0) {
            mesh.indices.insert(mesh.indices.end(), {0, j, i, 6, i + 6, j + 6});
        }
    }
    return {"angle", mesh, {BoxPart({0, 0, 0}, {3, 1, 1}), BoxPart({0, 0, 0}, {1, 3, 1})}};
}

/// A cutter: flat end, chamfer, shank, and a cone on top; in 16 flat sides.
IndexedMesh Cutter()
{
    return Support::TurnedBody({{0, 0}, {0.7, 0}, {1, 0.3}, {1, 2}, {0.4, 2.5}, {0, 2.5}}, 16);
}

std::vector<Body> Bodies()
{
    std::vector<Body> bodies;
    bodies.push_back(ConvexBody("cube", Support::Cube()));
    bodies.push_back(ConvexBody("tetrahedron", Support::Tetrahedron()));
    bodies.push_back(ConvexBody("octahedron", Support::Octahedron()));
    bodies.push_back(ConvexBody("cutter", Cutter()));
    bodies.push_back(Angle());
    return bodies;
}

/// A point in the body, off its faces: in the planes of these the sheets within a shell lie, where
/// winding numbers jump.
Vec3d InsideOf(const Body& body, Random& random)
{
    if (body.name == "angle") {
        const double along = random.Between(0.01, 2.99);
        const double across = random.Between(0.01, 0.99);
        const double z = random.Between(0.01, 0.99);
        return random.Below(2) == 0 ? Vec3d(along, across, z) : Vec3d(across, along, z);
    }
    Vec3d inside;
    double sum = 0;
    for (const Vec3d& p : body.mesh.points) {
        const double weight = 0.01 + random.Unit() * random.Unit();
        inside += p * weight;
        sum += weight;
    }
    return inside / sum;
}

/// Separate stretches of the path along which x is in the body, every part of which is grown by
/// `slack`.
int VisitsOf(const Body& body, const Path& path, const Vec3d& x, double slack)
{
    std::vector<std::pair<double, double>> stretches;
    for (std::size_t s = 0; s == 0 || s + 1 < path.size(); ++s) {
        const Vec3d p = path[s];
        const Vec3d d = s + 1 < path.size() ? path[s + 1] - p : Vec3d();
        for (const ConvexPart& part : body.parts) {
            double from = 0;
            double to = 1;
            for (const HalfSpace& half : part) {
                // normal * (x - p - t d) <= limit
                const double excess = half.normal * (x - p) - half.limit - slack;
                const double rate = half.normal * d;
                if (rate == 0) {
                    to = excess > 0 ? -1 : to;
                } else if (rate > 0) {
                    from = std::max(from, excess / rate);
                } else {
                    to = std::min(to, excess / rate);
                }
            }
            if (from <= to) {
                stretches.emplace_back(static_cast<double>(s) + from, static_cast<double>(s) + to);
            }
        }
    }
    std::sort(stretches.begin(), stretches.end());
    int visits = 0;
    double end = -1;
    for (const auto& [from, to] : stretches) {
        visits += from > end + 1e-12 ? 1 : 0;
        end = std::max(end, to);
    }
    return visits;
}

/// Steps in all directions, also along axes, back where they came from, of no length, and home.
Path RandomPath(Random& random, const Vec3d& start)
{
    Path path{start};
    const int steps = 1 + random.Below(7);
    while (static_cast<int>(path.size()) <= steps) {
        const Vec3d here = path.back();
        switch (random.Below(6)) {
        case 0: {
            Vec3d step;
            step[random.Below(3)] = random.Between(-3, 3);
            path.push_back(here + step);
            break;
        }
        case 1:
            path.push_back(path[path.size() < 2 ? 0 : path.size() - 2]);
            break;
        case 2:
            path.push_back(here);
            break;
        default:
            path.push_back(here + random.Vector<3, double>(-3, 3));
        }
    }
    if (random.Below(3) == 0) {
        path.push_back(start);
    }
    return path;
}

// --- counts by hand -----------------------------------------------------------------------------

TEST(SweptVolume, APathOfOnePointGivesTheBodyThere)
{
    const IndexedMesh cube = Support::Cube();
    const IndexedMesh shell = Sweep(cube, {{5, 6, 7}});
    ExpectOwnPoints(shell);
    ASSERT_EQ(TriangleCount(shell), 12U);
    for (std::size_t i = 0; i < shell.points.size(); ++i) {
        EXPECT_EQ(shell.points[i], Vec3d(5, 6, 7) + Support::PointOf(cube, i));
    }
}

TEST(SweptVolume, AnEmptyPathGivesNothing) { EXPECT_EQ(Sweep(Support::Cube(), {}), IndexedMesh()); }

// Its triangles have points of their own, so that no edge has two: nothing comes of it at all, not
// even for a path of one point.
TEST(SweptVolume, ABodyWithoutSharedEdgesGivesNothing)
{
    IndexedMesh soup;
    const IndexedMesh cube = Support::Cube();
    for (std::size_t i = 0; i < cube.indices.size(); ++i) {
        soup.points.push_back(Support::PointOf(cube, i));
        soup.indices.push_back(static_cast<int>(i));
    }
    for (const Path& path : std::vector<Path>{{{0, 0, 0}}, {{0, 0, 0}, {1, 2, 3}}}) {
        EXPECT_EQ(Sweep(soup, path), IndexedMesh());
        // Fins: one edge of three triangles, the others of one.
        EXPECT_EQ(Sweep(Support::Fins(3), path), IndexedMesh());
    }
}

// In general direction three faces of a cube face forward and three backward, with six edges
// between them.
TEST(SweptVolume, ACubeInGeneralDirectionHasTwelveCapsAndSixWalls)
{
    const IndexedMesh shell = Sweep(Support::Cube(), {{0, 0, 0}, {1, 2, 3}});
    ExpectOwnPoints(shell);
    ASSERT_EQ(TriangleCount(shell), 12U + 2U * 6U);
    // Walls, the start, the end. The walls are parallelograms of two triangles, run outward.
    for (std::size_t wall = 0; wall < 6; ++wall) {
        const Corners lower = CornersOf(shell, 2 * wall);
        const Corners upper = CornersOf(shell, 2 * wall + 1);
        const Vec3d step(1, 2, 3);
        EXPECT_EQ(lower[2], lower[0] + step);
        EXPECT_EQ(upper[0], lower[1]);
        EXPECT_EQ(upper[1], lower[1] + step);
        EXPECT_EQ(upper[2], lower[2]);
        const Vec3d middle = (lower[0] + upper[1]) / 2.0 - Vec3d(1, 1.5, 2);
        EXPECT_GT(((lower[1] - lower[0]) ^ (lower[2] - lower[0])) * middle, 0);
    }
    for (std::size_t t = 12; t < 24; ++t) {
        const Corners c = CornersOf(shell, t);
        const Vec3d from = t < 18 ? Vec3d() : Vec3d(1, 2, 3);
        int axis = 0;
        while (c[0][axis] != c[1][axis] || c[1][axis] != c[2][axis]) {
            ++axis;
        }
        EXPECT_EQ(c[0][axis], from[axis] + (t < 18 ? 0 : 1));
    }
}

// Faces along the step count as facing forward: the walls stand on the four edges of the one face
// at the back, and lie on the sides that have moved along.
TEST(SweptVolume, ACubeAlongAnAxisHasFourWallsAtItsBack)
{
    for (int axis = 0; axis < 3; ++axis) {
        for (const double sign : {1.0, -1.0}) {
            Vec3d step;
            step[axis] = 4 * sign;
            const IndexedMesh shell = Sweep(Support::Cube(), {{0, 0, 0}, step});
            ASSERT_EQ(TriangleCount(shell), 12U + 2U * 4U);
            const double back = sign > 0 ? 0 : 1;
            for (std::size_t wall = 0; wall < 4; ++wall) {
                const Corners c = CornersOf(shell, 2 * wall);
                EXPECT_EQ(c[0][axis], back);
                EXPECT_EQ(c[1][axis], back);
                EXPECT_EQ(c[2][axis], back + 4 * sign);
            }
            EXPECT_TRUE(IsClosed(shell));
            EXPECT_DOUBLE_EQ(Support::VolumeOf(shell), 5);
        }
    }
}

TEST(SweptVolume, CollinearStepsLeaveNoCapsBetweenThem)
{
    const IndexedMesh cube = Support::Cube();
    const IndexedMesh shell = Sweep(cube, {{0, 0, 0}, {1, 2, 3}, {1.5, 3, 4.5}, {3, 6, 9}});
    EXPECT_EQ(TriangleCount(shell), 12U + 3U * 12U);
    EXPECT_TRUE(IsClosed(shell));
    EXPECT_EQ(TriangleCount(Sweep(cube, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}})), 12U + 2U * 8U);
}

// Back where it came from: all triangles that are not along the step turn over at the joint.
TEST(SweptVolume, AReversalLeavesTheWholeBodyAtTheJoint)
{
    const IndexedMesh shell = Sweep(Support::Cube(), {{0, 0, 0}, {1, 2, 3}, {0, 0, 0}});
    // Walls, start; walls, joint (all twelve); end.
    EXPECT_EQ(TriangleCount(shell), (12U + 6U) + (12U + 12U) + 6U);
    EXPECT_TRUE(IsClosed(shell));
}

// Along no step all triangles face forward, so that the backward ones turn over, and back again in
// the next step. What that adds cancels.
TEST(SweptVolume, AStepWithoutLengthTurnsAllForward)
{
    const IndexedMesh cube = Support::Cube();
    const IndexedMesh once = Sweep(cube, {{0, 0, 0}, {1, 2, 3}});
    // At the end: six turned over, and at the last point all twelve.
    const IndexedMesh atTheEnd = Sweep(cube, {{0, 0, 0}, {1, 2, 3}, {1, 2, 3}});
    EXPECT_EQ(TriangleCount(atTheEnd), 12U + 6U + 6U + 12U);
    // At the start it says nothing that is not so already.
    EXPECT_EQ(Sweep(cube, {{0, 0, 0}, {0, 0, 0}, {1, 2, 3}}), once);
    EXPECT_EQ(TriangleCount(Sweep(cube, {{0, 0, 0}, {0, 0, 0}})), 12U);
    // In the middle six turn over and back.
    const IndexedMesh inside = Sweep(cube, {{0, 0, 0}, {1, 2, 3}, {1, 2, 3}, {2, 4, 6}});
    EXPECT_EQ(TriangleCount(inside), 12U + 6U + 6U + 12U + 6U + 6U);
    const double volume = Support::VolumeOf(once);
    for (const IndexedMesh& shell : {atTheEnd, inside}) {
        EXPECT_TRUE(IsClosed(shell));
    }
    EXPECT_NEAR(Support::VolumeOf(atTheEnd), volume, 1e-12);
    EXPECT_NEAR(Support::VolumeOf(inside), 2 * volume - 1, 1e-12);
}

/// Two tetrahedra, the second of which stands on an edge of the first with other slopes.
IndexedMesh TetrahedraAtOneEdge(bool doShareItsPoints)
{
    IndexedMesh mesh{{{0, 0, 0}, {0, 0, 2}, {2, 0, 1}, {2, 1, 1}, {-1, 2, 1}, {-2, 1, 1}},
                     {0, 1, 3, 0, 3, 2, 0, 2, 1, 1, 2, 3, 0, 1, 5, 0, 5, 4, 0, 4, 1, 1, 4, 5}};
    if (!doShareItsPoints) {
        mesh.points.insert(mesh.points.end(), {{0, 0, 0}, {0, 0, 2}});
        std::transform(mesh.indices.begin() + 12, mesh.indices.end(), mesh.indices.begin() + 12,
                       [](int index) { return index < 2 ? index + 6 : index; });
    }
    return mesh;
}

// Four triangles at an edge leave no wall there, which opens the shell although the body is closed,
// in directions in which their walls would not cancel. With points of its own each of the two
// bodies keeps its walls.
TEST(SweptVolume, AnEdgeOfFourTrianglesLeavesAGap)
{
    const IndexedMesh shared = TetrahedraAtOneEdge(true);
    const IndexedMesh apart = TetrahedraAtOneEdge(false);
    ASSERT_TRUE(IsClosed(shared));
    ASSERT_GT(Support::VolumeOf(shared), 0);
    const Path path{{0, 0, 0}, {-4, 1, 0.5}};
    const IndexedMesh open = Sweep(shared, path);
    const IndexedMesh closed = Sweep(apart, path);
    EXPECT_FALSE(IsClosed(open));
    EXPECT_TRUE(IsClosed(closed));
    EXPECT_NEAR(Support::VolumeOf(closed), SweptVolumeOf(apart, path), 1e-12);
    EXPECT_EQ(TriangleCount(closed), TriangleCount(open) + 2 * 2);
    // A path of one point has no walls to lack.
    EXPECT_TRUE(IsClosed(Sweep(shared, {{1, 2, 3}})));
}

TEST(SweptVolume, TrianglesThatNameAPointTwiceOrOneThatIsNotThereAreLeftOut)
{
    const IndexedMesh cube = Support::Cube();
    const Path path{{0, 0, 0}, {1, 2, 3}, {-2, 5, 1}};
    const IndexedMesh expected = Sweep(cube, path);
    const int most = std::numeric_limits<int>::max();
    for (const std::array<int, 3> bad :
         {std::array{0, 0, 1}, std::array{1, 0, 1}, std::array{3, 2, 2}, std::array{5, 5, 5},
          std::array{0, 1, 8}, std::array{-1, 2, 3}, std::array{most, 0, 1},
          std::array{0, -most - 1, 1}}) {
        for (const std::ptrdiff_t place : {0, 9, 36}) {
            IndexedMesh mesh = cube;
            mesh.indices.insert(mesh.indices.begin() + place, bad.begin(), bad.end());
            EXPECT_EQ(Sweep(mesh, path), expected);
        }
    }
    // A mesh with an incomplete triple counts as one without triangles.
    IndexedMesh incomplete = cube;
    incomplete.indices.push_back(0);
    EXPECT_EQ(Sweep(incomplete, path), IndexedMesh());
}

// --- order --------------------------------------------------------------------------------------

/// The shell by the letter of its order, on whole coordinates, for which sides are exact.
IndexedMesh PlainSweep(const IndexedMesh& body, const Path& path)
{
    std::vector<std::pair<int, int>> order;
    std::map<std::pair<int, int>, std::vector<std::size_t>> edges;
    std::vector<std::array<long long, 3>> normals;
    for (std::size_t i = 0; i < body.indices.size(); ++i) {
        const std::pair<int, int> edge =
            std::minmax(body.indices[i], body.indices[i / 3 * 3 + (i + 1) % 3]);
        if (edges[edge].empty()) {
            order.push_back(edge);
        }
        edges[edge].push_back(i);
    }
    for (std::size_t t = 0; t < TriangleCount(body); ++t) {
        const Corners c = CornersOf(body, t);
        std::array<long long, 3> u;
        std::array<long long, 3> v;
        for (int axis = 0; axis < 3; ++axis) {
            u[static_cast<std::size_t>(axis)] = std::llround(c[1][axis] - c[0][axis]);
            v[static_cast<std::size_t>(axis)] = std::llround(c[2][axis] - c[0][axis]);
        }
        normals.push_back(
            {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]});
    }
    const auto facesForward = [&](std::size_t t, const Vec3d& step) {
        return normals[t][0] * std::llround(step[0]) + normals[t][1] * std::llround(step[1]) +
                   normals[t][2] * std::llround(step[2]) >=
               0;
    };
    IndexedMesh shell;
    const auto add = [&](const Vec3d& a, const Vec3d& b, const Vec3d& c) {
        for (const Vec3d& p : {a, b, c}) {
            shell.indices.push_back(static_cast<int>(shell.points.size()));
            shell.points.push_back(p);
        }
    };
    std::vector<bool> before(normals.size(), true);
    for (std::size_t s = 0; s + 1 < path.size(); ++s) {
        const Vec3d p = path[s];
        const Vec3d q = path[s + 1];
        std::vector<bool> now;
        for (std::size_t t = 0; t < normals.size(); ++t) {
            now.push_back(facesForward(t, q - p));
        }
        for (const auto& edge : order) {
            const std::vector<std::size_t>& places = edges[edge];
            if (places.size() != 2 || now[places[0] / 3] == now[places[1] / 3]) {
                continue;
            }
            const std::size_t place = now[places[0] / 3] ? places[0] : places[1];
            const Vec3d a = Support::PointOf(body, place);
            const Vec3d b = Support::PointOf(body, place / 3 * 3 + (place + 1) % 3);
            add(p + a, p + b, q + a);
            add(p + b, q + b, q + a);
        }
        for (std::size_t t = 0; t < normals.size(); ++t) {
            const Corners c = CornersOf(body, t);
            if (now[t] && !before[t]) {
                add(p + c[1], p + c[0], p + c[2]);
            } else if (!now[t] && before[t]) {
                add(p + c[0], p + c[1], p + c[2]);
            }
        }
        before = now;
    }
    for (std::size_t t = 0; t < normals.size(); ++t) {
        const Corners c = CornersOf(body, t);
        if (before[t]) {
            add(path.back() + c[0], path.back() + c[1], path.back() + c[2]);
        }
    }
    return shell;
}

Vec3d Whole(const Vec3d& p) { return {std::round(p.x()), std::round(p.y()), std::round(p.z())}; }

// Bodies with edges of any number of triangles, triangles without area, 63 to 65 triangles and
// more; steps along axes, planes and of no length.
TEST(SweptVolume, ComesInTheToldOrder)
{
    Random random(20);
    for (int trial = 0; trial < Support::Rounds(300); ++trial) {
        SCOPED_TRACE(trial);
        IndexedMesh body;
        switch (trial % 5) {
        case 0:
            body = Support::Sphere(1 + random.Below(3));
            break;
        case 1:
            body = Support::Torus(3 + random.Below(9), 3 + random.Below(5));
            break;
        case 2:
            body = Support::GarbageMesh<3, double>(random, 40, 63 + random.Below(3));
            break;
        case 3:
            body = Support::GarbageMesh<3, double>(random, 9, random.Below(130));
            break;
        default:
            body = Support::Together(Support::Cube(), Support::Grid(3, 4));
        }
        for (Vec3d& p : body.points) {
            p = Whole(p * 20.0);
        }
        IndexedMesh sound{body.points, {}};
        for (std::size_t i = 0; i < body.indices.size(); i += 3) {
            const int* const c = &body.indices[i];
            if (c[0] != c[1] && c[1] != c[2] && c[2] != c[0]) {
                sound.indices.insert(sound.indices.end(), c, c + 3);
            }
        }
        DirtySweptVolume sweep(body);
        bool hasPairs = false;
        for (const auto& [edge, count] : Support::EdgeUses(sound)) {
            hasPairs = hasPairs || count == 2;
        }
        // Several paths with one object: nothing is left of the one before.
        for (int i = 0; i < 3; ++i) {
            Path path = RandomPath(random, {0, 0, 0});
            for (Vec3d& p : path) {
                p = Whole(p);
            }
            EXPECT_EQ(sweep(path), hasPairs ? PlainSweep(sound, path) : IndexedMesh());
        }
    }
}

// --- properties ---------------------------------------------------------------------------------

TEST(SweptVolume, OfAClosedBodyIsClosedWithTheVolumeOfItsSteps)
{
    Random random(3);
    std::vector<IndexedMesh> meshes{Support::Sphere(2), Support::Torus(12, 8)};
    for (const Body& body : Bodies()) {
        meshes.push_back(body.mesh);
    }
    for (int trial = 0; trial < Support::Rounds(120); ++trial) {
        SCOPED_TRACE(trial);
        const IndexedMesh& body = meshes[static_cast<std::size_t>(trial) % meshes.size()];
        const Path path = RandomPath(random, random.Vector<3, double>(-5, 5));
        const IndexedMesh shell = Sweep(body, path);
        ExpectOwnPoints(shell);
        EXPECT_TRUE(IsClosed(shell));
        const double expected = SweptVolumeOf(body, path);
        EXPECT_NEAR(Support::VolumeOf(shell), expected, 1e-11 * (1 + expected));
    }
}

// Far from the origin sums are rounded, by the same bits for all triangles at a corner.
TEST(SweptVolume, IsClosedFarFromTheOriginAndAtAnyScale)
{
    Random random(4);
    for (const double scale : {1e-30, 1e-6, 1.0, 1e6, 1e30}) {
        for (const double shift : {0.0, 1e6}) {
            for (const Body& body : Bodies()) {
                const auto place = [&](Vec3d p) {
                    return (p + Vec3d(shift, -shift, shift / 3)) * scale;
                };
                const IndexedMesh mesh = Support::Mapped(body.mesh, place);
                Path path = RandomPath(random, {0, 0, 0});
                for (Vec3d& p : path) {
                    p = place(p);
                }
                const IndexedMesh shell = Sweep(mesh, path);
                EXPECT_GT(TriangleCount(shell), 0U);
                EXPECT_TRUE(IsClosed(shell)) << body.name << " " << scale << " " << shift;
            }
        }
    }
}

// The surface winds as often round a point as the body comes over it, where the path is straight as
// well as at its joints; a point in the body anywhere along the path is wound round at least once.
TEST(SweptVolume, WindsRoundAPointAsOftenAsTheBodyComesOverIt)
{
    Random random(5);
    std::map<int, int> met;
    const auto expectVisits = [&](const Body& body, const Path& path, const IndexedMesh& shell,
                                  const Vec3d& x, bool isInside) {
        // Where it matters on which side of a face rounding puts a point, the point says nothing.
        const int visits = VisitsOf(body, path, x, 1e-5);
        if (visits != VisitsOf(body, path, x, -1e-5)) {
            return;
        }
        const double winding = WindingNumber(shell, x);
        EXPECT_NEAR(winding, visits, 1e-3);
        EXPECT_GE(winding, isInside ? 1 - 1e-3 : -1e-3);
        ++met[visits];
    };
    for (const double shift : {0.0, 1e6}) {
        for (const Body& body : Bodies()) {
            for (int trial = 0; trial < Support::Rounds(30); ++trial) {
                SCOPED_TRACE(body.name + ", path " + std::to_string(trial));
                const Path path =
                    RandomPath(random, random.Vector<3, double>(-1, 1) + Vec3d(shift, shift, 0));
                const IndexedMesh shell = Sweep(body.mesh, path);
                for (int i = 0; i < 20; ++i) {
                    const auto s =
                        static_cast<std::size_t>(random.Below(static_cast<int>(path.size())));
                    const Vec3d next = path[std::min(s + 1, path.size() - 1)];
                    const Vec3d place = path[s] + (next - path[s]) * random.Unit();
                    expectVisits(body, path, shell, place + InsideOf(body, random), true);
                    expectVisits(body, path, shell, place + random.Vector<3, double>(-4, 4), false);
                }
            }
        }
    }
    // The trial is worth something only with points of all kinds.
    EXPECT_GT(met[0], Support::Rounds(1000));
    EXPECT_GT(met[1], Support::Rounds(1000));
    EXPECT_GT(met[2], Support::Rounds(200));
    EXPECT_GT(met[3], Support::Rounds(20));
}

// Faces along a step are forward or backward as rounding has it, step by step, when the step is not
// along an axis: they turn at joints where nothing does, and their copies and walls enclose
// nothing.
TEST(SweptVolume, FacesAlongAStepMayTurnAndEncloseNothing)
{
    const auto turned = [](const Vec3d& p) {
        const double x = (3 * p.x() - 4 * p.y()) / 5;
        const double y = (4 * p.x() + 3 * p.y()) / 5;
        return Vec3d((12 * x - 5 * p.z()) / 13, y, (5 * x + 12 * p.z()) / 13);
    };
    const Body cube = ConvexBody("cube", Support::Mapped(Support::Cube(), turned));
    Path path;
    for (int i = 0; i <= 50; ++i) {
        path.push_back(turned({0.37 * i, 0, 0}));
    }
    const IndexedMesh shell = Sweep(cube.mesh, path);
    EXPECT_GT(TriangleCount(shell), 12U + 50U * 8U) << "none turns: the test says nothing";
    EXPECT_TRUE(IsClosed(shell));
    EXPECT_NEAR(Support::VolumeOf(shell), 1 + 50 * 0.37, 1e-12);
    Random random(9);
    for (int i = 0; i < Support::Rounds(200); ++i) {
        const Vec3d x(random.Between(-1, 20), random.Between(-0.5, 1.5), random.Between(-0.5, 1.5));
        EXPECT_NEAR(WindingNumber(shell, turned(x)), VisitsOf(cube, path, turned(x), 0), 1e-3);
    }
}

// Parts as programs write them, of which one has triangles without area and such that name a corner
// twice: at any place of the path, what is in the part is wound round.
TEST(SweptVolume, OfARealPartWindsRoundAllThatIsInIt)
{
    for (const char* const name : {"meshes_cad/round.stl", "with_degenerate/nist_ftc_06.stl"}) {
        SCOPED_TRACE(name);
        const auto file = Support::SharedData(name);
        SORVANE_NEED_DATA(file);
        const IndexedMesh part = Support::WeldedStl<double>(file);
        ASSERT_FALSE(part.points.empty());
        Vec3d low = part.points[0];
        Vec3d high = low;
        for (const Vec3d& p : part.points) {
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = std::min(low[axis], p[axis]);
                high[axis] = std::max(high[axis], p[axis]);
            }
        }
        const Vec3d size = high - low;
        // Along axes and in general, there and back.
        const std::vector<Vec3d> shares{
            {1e6, 0, -1e6}, {1e6, 0.5, -1e6}, {1e6 + 0.3, 0.7, -1e6}, {1e6, 0.5, -1e6}};
        Path path;
        for (const Vec3d& share : shares) {
            path.push_back({share[0] * size[0], share[1] * size[1], share[2] * size[2]});
        }
        const IndexedMesh shell = Sweep(part, path);
        EXPECT_TRUE(IsClosed(shell));
        Random random(7);
        int inside = 0;
        while (inside < Support::Rounds(20)) {
            Vec3d x = low;
            for (int axis = 0; axis < 3; ++axis) {
                x[axis] += size[axis] * random.Unit();
            }
            if (WindingNumber(part, x) < 0.5) {
                continue;
            }
            ++inside;
            const auto s =
                static_cast<std::size_t>(random.Below(static_cast<int>(path.size()) - 1));
            const Vec3d place = path[s] + (path[s + 1] - path[s]) * random.Unit();
            EXPECT_GT(WindingNumber(shell, place + x), 1 - 1e-3);
        }
    }
}

// More triangles than a few tasks take, the last of which is not full.
TEST(SweptVolume, HasTheSameBitsOnAnyNumberOfThreads)
{
    const IndexedMesh body = Support::Torus(150, 91);
    ASSERT_EQ(TriangleCount(body), 3U * 8192U + 2724U);
    Random random(6);
    const Path path = RandomPath(random, {0, 0, 0});
    std::vector<IndexedMesh> shells;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { shells.push_back(Sweep(body, path)); });
    }
    EXPECT_TRUE(shells[0] == shells[1]);
    EXPECT_TRUE(shells[0] == shells[2]);
    const double expected = SweptVolumeOf(body, path);
    EXPECT_NEAR(Support::VolumeOf(shells[0]), expected, 1e-11 * expected);
}

// --- copies -------------------------------------------------------------------------------------

TEST(SweptVolume, ACopyOutlivesWhatItIsMadeOf)
{
    const Path path{{0, 0, 0}, {1, 2, 3}, {4, 1, 0}};
    const IndexedMesh expected = Sweep(Support::Torus(9, 5), path);
    auto source = std::make_unique<DirtySweptVolume>(Support::Torus(9, 5));
    DirtySweptVolume copy(*source);
    DirtySweptVolume assigned(Support::Cube());
    assigned = *source;
    DirtySweptVolume moved(std::move(*source)); // a copy: there is nothing else
    EXPECT_EQ((*source)(path), expected);
    source.reset();
    // Something else where the source was.
    const auto other = std::make_unique<DirtySweptVolume>(Support::Torus(7, 3));
    EXPECT_EQ(copy(path), expected);
    EXPECT_EQ(assigned(path), expected);
    EXPECT_EQ(moved(path), expected);
    EXPECT_NE((*other)(path), expected);
}

TEST(SweptVolume, AnObjectAssignedToItselfStaysWhatItIs)
{
    const Path path{{0, 0, 0}, {1, 2, 3}};
    DirtySweptVolume sweep(Support::Cube());
    const DirtySweptVolume& same = sweep;
    sweep = same;
    EXPECT_EQ(sweep(path), Sweep(Support::Cube(), path));
}

TEST(SweptVolume, AnAssignmentTakesOverBodiesWithoutTrianglesToo)
{
    const Path path{{0, 0, 0}, {1, 2, 3}};
    DirtySweptVolume sweep(Support::Cube());
    DirtySweptVolume empty{IndexedMesh()};
    const DirtySweptVolume copyOfEmpty(empty);
    empty = sweep;
    sweep = copyOfEmpty;
    EXPECT_EQ(sweep(path), IndexedMesh());
    EXPECT_EQ(empty(path), Sweep(Support::Cube(), path));
}

// Where the one object is called in turns with the other, neither sees the other's path.
TEST(SweptVolume, ACopyHasSidesOfItsOwn)
{
    const Path there{{0, 0, 0}, {1, 2, 3}};
    const Path back{{1, 2, 3}, {0, 0, 0}};
    DirtySweptVolume first(Cutter());
    const IndexedMesh expectedThere = first(there);
    DirtySweptVolume second(first);
    EXPECT_EQ(second(back), Sweep(Cutter(), back));
    EXPECT_EQ(first(there), expectedThere);
}

// --- what is hostile ----------------------------------------------------------------------------

TEST(SweptVolume, OddBodiesAndPathsEndWell)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    Random random(8);
    std::vector<IndexedMesh> bodies{{},
                                    {{{0, 0, 0}}, {}},
                                    {{}, {0, 1, 2}},
                                    {{{0, 0, 0}, {1, 0, 0}}, {0, 1, 2}},
                                    Support::MoebiusStrip(5),
                                    Support::TrianglesAtOnePoint(4)};
    for (const double odd : {nan, infinity, -infinity, 1e308, 5e-324}) {
        IndexedMesh body = Support::Cube();
        body.points[3][1] = odd;
        bodies.push_back(body);
        for (Vec3d& p : body.points) {
            p *= odd;
        }
        bodies.push_back(body);
    }
    IndexedMesh point = Support::Cube();
    for (Vec3d& p : point.points) {
        p = {1, 1, 1};
    }
    bodies.push_back(point);
    std::vector<Path> paths{{}, {{0, 0, 0}}, {{0, 0, 0}, {1, 2, 3}, {-5, 1, 2}}};
    for (const double odd : {nan, infinity, -infinity, 1.7e308, 5e-324}) {
        paths.push_back({{0, 0, 0}, {odd, 0, 0}, {1, 1, 1}, {-odd, 2, odd}});
        paths.push_back({{odd, odd, odd}});
    }
    for (const IndexedMesh& body : bodies) {
        DirtySweptVolume sweep(body);
        for (const Path& path : paths) {
            ExpectOwnPoints(sweep(path));
        }
    }
}

// A corner that is no number spoils the triangles at it and no others: they face backward. In each
// of the two faces without the corner the wall triangles are as they were.
TEST(SweptVolume, ACornerThatIsNoNumberSpoilsItsTrianglesOnly)
{
    IndexedMesh body = Support::Cube();
    body.points[0][2] = std::numeric_limits<double>::quiet_NaN();
    int touched = 0;
    for (std::size_t t = 0; t < TriangleCount(body); ++t) {
        touched += std::count(&body.indices[3 * t], &body.indices[3 * t] + 3, 0) > 0 ? 1 : 0;
    }
    // From the corner upward: what faces forward has nothing to do with the corner.
    const IndexedMesh shell = Sweep(body, {{0, 0, 0}, {1, 2, 3}});
    int spoiled = 0;
    for (std::size_t t = 0; t < TriangleCount(shell); ++t) {
        const Corners c = CornersOf(shell, t);
        spoiled += std::isnan(c[0].z() + c[1].z() + c[2].z()) ? 1 : 0;
    }
    EXPECT_EQ(spoiled, touched);
    EXPECT_EQ(TriangleCount(shell), 24U);
}

// Two sides of a triangle have three walls a step; so many that `int` can't number their points end
// in the standard library's exception, before any memory for them is asked for.
TEST(SweptVolume, MorePointsThanIndicesEndInALengthError)
{
    constexpr int kLeaves = 100'000;
    IndexedMesh leaves;
    for (int i = 0; i < kLeaves; ++i) {
        leaves.points.insert(leaves.points.end(), {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
        leaves.indices.insert(leaves.indices.end(),
                              {3 * i, 3 * i + 1, 3 * i + 2, 3 * i, 3 * i + 2, 3 * i + 1});
    }
    Path path;
    for (int s = 0; s <= 0x7fffffff / (18 * kLeaves) + 1; ++s) {
        path.push_back({0, 0, 1.0 * s});
    }
    DirtySweptVolume sweep(leaves);
    EXPECT_THROW(sweep(path), std::length_error);
    // The path's rest isn't walked: all of this one would take a minute.
    while (path.size() < 400'000) {
        path.push_back({0, 0, 1.0 * static_cast<double>(path.size())});
    }
    EXPECT_THROW(sweep(path), std::length_error);
    path.resize(2);
    EXPECT_EQ(TriangleCount(sweep(path)), 8U * kLeaves);
}

// --- memory -------------------------------------------------------------------------------------

TEST(SweptVolumeWithoutMemory, PassTheExceptionOnAndLeaveThingsAsTheyWere)
{
    const Path path{{0, 0, 0}, {1, 2, 3}, {4, 1, 0}, {4, 1, 0}, {0, 2, 0}};
    const IndexedMesh cutter = Cutter();
    const IndexedMesh ofCutter = Sweep(cutter, path);
    const IndexedMesh ofCube = Sweep(Support::Cube(), path);
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult([&] { return Sweep(cutter, path); }), 12U);
        const DirtySweptVolume source(cutter);
        EXPECT_GT(
            Support::FailEachAllocationOfResult([&] { return DirtySweptVolume(source)(path); }),
            8U);
        EXPECT_GT(Support::FailEachAllocation(
                      [] { return std::make_unique<DirtySweptVolume>(Support::Cube()); },
                      [&](auto& sweep) { *sweep = source; },
                      [&](auto& sweep) { EXPECT_EQ((*sweep)(path), ofCube); }),
                  5U);
        EXPECT_GT(
            Support::FailEachAllocation([&] { return std::make_unique<DirtySweptVolume>(cutter); },
                                        [&](auto& sweep) { (*sweep)(path); },
                                        [&](auto& sweep) { EXPECT_EQ((*sweep)(path), ofCutter); }),
            3U);
    });
}

} // namespace
