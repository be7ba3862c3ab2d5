// Paths over an imprintable mesh: what a walk passes, what it cuts, and that the surface stays as
// it is, on simple bodies and on real parts.

#include "tests/imprint/ImprintSupport.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::Imprintable;
using Support::ImprintMesh;
using Support::IndexedMesh;
using Support::MeshLocation;
using Support::NodePoint;
using Support::NodeReplacements;

constexpr double kTolerance = 1e-7;

// What a path does to the mesh, its own checks included.
struct Imprint {
    std::vector<MeshLocation> traced;
    int unlocated = 0;
    int breaks = 0;
};
Imprint Trace(ImprintMesh& mesh, const std::vector<Vec3d>& path, bool closed)
{
    Imprint imprint;
    const std::vector<MeshLocation> locations = mesh.LocatePath(path);
    for (const MeshLocation& location : locations) {
        imprint.unlocated += location.IsLocated() ? 0 : 1;
    }
    imprint.traced = mesh.TracePath(locations, closed);
    imprint.breaks = Support::Breaks(mesh, imprint.traced, closed);
    if (!closed && !imprint.traced.empty() && locations.back().IsLocated() &&
        imprint.traced.back().point != locations.back().point) {
        ++imprint.breaks; // it came to an end before the last place
    }
    mesh.ForgetSplits();
    return imprint;
}

// The nodes of a path without those that follow themselves.
std::vector<int> NodesOf(const std::vector<MeshLocation>& traced)
{
    std::vector<int> nodes;
    for (const MeshLocation& place : traced) {
        nodes.push_back(place.node);
    }
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    return nodes;
}

std::vector<Vec3d> Circle(const Vec3d& center, double radius, int count)
{
    std::vector<Vec3d> circle;
    for (int i = 0; i < count; ++i) {
        const double a = kTwoPi<double> * (i + 0.3) / count;
        circle.push_back(center + Vec3d{radius * std::cos(a), radius * std::sin(a), 0});
    }
    return circle;
}

IndexedMesh Moved(IndexedMesh mesh, const Vec3d& by)
{
    for (Vec3d& point : mesh.points) {
        point += by;
    }
    return mesh;
}

// --- steps --------------------------------------------------------------------------------------

TEST(ImprintableMeshTrace, NoStepsNoPlaces)
{
    ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
    EXPECT_TRUE(mesh.TracePath({}, false).empty());
    EXPECT_TRUE(mesh.TracePath({}, true).empty());
    const std::vector<MeshLocation> one = mesh.LocatePath({{0.3, 0.2, 1}});
    EXPECT_TRUE(mesh.TracePath(one, false).empty());
    // From a place to itself: it is passed, and nothing else is.
    EXPECT_EQ(NodesOf(mesh.TracePath(one, true)), (std::vector<int>{8}));
}

TEST(ImprintableMeshTrace, TwoPlacesInOneFacetAreOneStepWithoutPlacesBetween)
{
    ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
    const Imprint imprint = Trace(mesh, {{0.6, 0.3, 1}, {0.8, 0.4, 1}}, false);
    EXPECT_EQ(imprint.breaks, 0);
    EXPECT_EQ(NodesOf(imprint.traced).size(), 2U);
    EXPECT_EQ(mesh.NodeCount(), 10);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshTrace, ACrossingBecomesANode)
{
    // Across the diagonal of the upper square: it runs from (0, 0) to (1, 1).
    ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
    const Imprint imprint = Trace(mesh, {{0.75, 0.25, 1}, {0.25, 0.75, 1}}, false);
    const std::vector<int> nodes = NodesOf(imprint.traced);
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_EQ(imprint.breaks, 0);
    EXPECT_NEAR(Vector::Length(NodePoint(mesh, nodes[1]) - Vec3d(0.5, 0.5, 1)), 0, 1e-15);
    for (const MeshLocation& place : imprint.traced) {
        EXPECT_EQ(place.pathIndex, 0) << "the step's, not the target's";
    }
}

TEST(ImprintableMeshTrace, ACrossingNearACornerGoesThroughTheNode)
{
    // The diagonal is crossed at 0.4 % and at 0.6 % of its length.
    for (const auto& [offset, isThroughNode] : {std::pair{0.004, true}, std::pair{0.006, false}}) {
        // From either facet: the edge begins at the corner for one and ends there for the other.
        for (const double direction : {0.5, -0.5}) {
            ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
            const Vec3d middle = {offset, offset, 1};
            const Vec3d aside = Vec3d{offset, -offset, 0} * direction;
            const Imprint imprint = Trace(mesh, {middle + aside, middle - aside}, false);
            const std::vector<int> nodes = NodesOf(imprint.traced);
            ASSERT_EQ(nodes.size(), 3U);
            EXPECT_EQ(nodes[1] == 4, isThroughNode);
            EXPECT_EQ(mesh.NodeCount(), isThroughNode ? 10 : 11) << "no sliver is made";
            EXPECT_EQ(imprint.breaks, 0);
            Support::ExpectSound(mesh);
        }
    }
}

TEST(ImprintableMeshTrace, WithoutAPlaneTheNeighborNearestToTheTargetIsNextAndTheFirstOfEquals)
{
    // From each corner of an octahedron to the opposite one: the chord runs along both normals, and
    // all four corners between are as near.
    const IndexedMesh octahedron = Support::Octahedron();
    for (int start = 0; start < 6; ++start) {
        const Vec3d& from = octahedron.points[static_cast<std::size_t>(start)];
        ImprintMesh mesh = Imprintable(octahedron, kTolerance);
        const int first = mesh.NodeNodes(start).front();
        const std::vector<int> nodes = NodesOf(Trace(mesh, {from, from * -1.0}, false).traced);
        ASSERT_EQ(nodes.size(), 3U);
        EXPECT_EQ(nodes[1], first);
        EXPECT_EQ(mesh.NodeCount(), 6);
    }
}

TEST(ImprintableMeshTrace, StepsToAndFromAPlaceOffTheSurfaceAreSkipped)
{
    ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
    const Imprint imprint =
        Trace(mesh, {{0.75, 0.25, 1}, {0.25, 0.75, 1}, {0.5, 0.5, 7}, {0.2, 0.6, 1}, {0.1, 0.7, 1}},
              false);
    EXPECT_EQ(imprint.unlocated, 1);
    std::vector<int> indices;
    for (const MeshLocation& place : imprint.traced) {
        EXPECT_TRUE(place.IsOnNode());
        indices.push_back(place.pathIndex);
    }
    // The start of the step to it is passed all the same; the step from it is not made.
    EXPECT_EQ(std::count(indices.begin(), indices.end(), 1), 1);
    EXPECT_EQ(std::count(indices.begin(), indices.end(), 2), 0);
    EXPECT_GE(std::count(indices.begin(), indices.end(), 3), 2);
}

TEST(ImprintableMeshTrace, WhereNoWayLeadsOnAWalkEndsWithAnUnsetPlace)
{
    // From a corner away from its only facets, toward another component.
    const IndexedMesh grid = Support::Grid(1, 1);
    ImprintMesh mesh = Imprintable(Support::Together(grid, Moved(grid, {-6, 5, 0})), kTolerance);
    const Imprint imprint = Trace(mesh, {{0, 0, 0}, {-5, 5, 0}}, false);
    ASSERT_EQ(imprint.unlocated, 0);
    ASSERT_EQ(imprint.traced.size(), 3U);
    EXPECT_EQ(NodesOf(imprint.traced), (std::vector<int>{0, MeshLocation::kNoNode}));
    EXPECT_FALSE(imprint.traced.back().IsLocated());
    EXPECT_EQ(mesh.NodeCount(), 8);
}

TEST(ImprintableMeshTrace, AWalkThatOnlyTurnsBackLeavesItsStartAlone)
{
    // Two components; the walk comes to the boundary of the first, from which the way nearest to
    // the target is the one back.
    const IndexedMesh grid = Support::Grid(3, 3);
    ImprintMesh mesh = Imprintable(Support::Together(grid, Moved(grid, {10, 0, 0})), kTolerance);
    const Imprint imprint = Trace(mesh, {{1.6, 1.3, 0}, {11.6, 1.3, 0}}, false);
    ASSERT_EQ(NodesOf(imprint.traced).size(), 1U);
    EXPECT_EQ(imprint.traced.front().point, (Vec3d{1.6, 1.3, 0}));
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshTrace, AfterItsPassesAWalkEndsAndTheNextStepGoesOn)
{
    // A strip whose every square is crossed twice: 1024 passes are used up before its end.
    constexpr int kSquares = 700;
    ImprintMesh mesh = Imprintable(Support::Strip(kSquares), kTolerance);
    const Imprint imprint =
        Trace(mesh, {{0.5, 0.3, 0}, {kSquares - 0.5, 0.3, 0}, {kSquares - 2.5, 0.4, 0}}, false);
    const auto count = [&](int pathIndex) {
        return std::count_if(imprint.traced.begin(), imprint.traced.end(),
                             [&](const MeshLocation& p) { return p.pathIndex == pathIndex; });
    };
    EXPECT_EQ(count(0), 1 + 1024) << "the start, and a place for each pass";
    EXPECT_EQ(imprint.breaks, 1) << "where the walk ended";
    EXPECT_GT(count(1), 4);
    EXPECT_LT(count(1), 20);
    Support::ExpectSound(mesh);
}

// --- bodies -------------------------------------------------------------------------------------

TEST(ImprintableMeshTrace, ClosedPathsOnASphereRunAlongEdgesAndKeepIt)
{
    for (const double offset : {0.0, 1e6}) {
        const IndexedMesh sphere = Moved(Support::Sphere(4), {offset, -offset, offset});
        ImprintMesh mesh = Imprintable(sphere, offset > 0 ? 1e-6 : kTolerance);
        const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
        Support::Random random(1);
        for (int i = 0; i < 12; ++i) {
            const Vec3d normal = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
            const Vec3d origin =
                Vec3d{offset, -offset, offset} + normal * random.Between(-0.8, 0.8);
            for (const auto& loop : Support::PlaneLoops(sphere, origin, normal)) {
                const Imprint imprint = Trace(mesh, Support::Thinned(loop, 5), true);
                EXPECT_EQ(imprint.unlocated, 0);
                EXPECT_EQ(imprint.breaks, 0);
                // Every place lies in the plane, but for crossings that went to a node nearby.
                for (const MeshLocation& place : imprint.traced) {
                    EXPECT_LE(std::fabs((place.point - origin) * normal), 0.02);
                }
            }
        }
        Support::ExpectSound(mesh);
        Support::ExpectSameMeasures(mesh, before);
    }
}

TEST(ImprintableMeshTrace, OverTheEdgesOfABox)
{
    const IndexedMesh cube = Support::Cube();
    ImprintMesh mesh = Imprintable(cube, kTolerance);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    Support::Random random(2);
    for (int i = 0; i < 30; ++i) {
        const Vec3d normal = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
        for (const auto& loop :
             Support::PlaneLoops(cube, random.Vector<3, double>(0.3, 0.7), normal)) {
            const Imprint imprint = Trace(mesh, loop, true);
            EXPECT_EQ(imprint.unlocated, 0);
            EXPECT_EQ(imprint.breaks, 0);
        }
    }
    Support::ExpectSound(mesh);
    Support::ExpectSameMeasures(mesh, before);
}

TEST(ImprintableMeshTrace, CirclesOnAPlateCutItsAreaInTwo)
{
    // The area inside is that of the polygon of the circle's points, by the shoelace formula.
    IndexedMesh grid = Support::Grid(10, 10);
    for (const double offset : {0.0, 1e6}) {
        const Vec3d shift = {offset, offset, 0};
        ImprintMesh mesh = Imprintable(Moved(grid, shift), 1e-7);
        const std::vector<Vec3d> circle = Circle(shift + Vec3d{5.03, 4.97, 0}, 3.1, 180);
        const Imprint imprint = Trace(mesh, circle, true);
        ASSERT_EQ(imprint.breaks, 0);
        std::vector<int> nodes = NodesOf(imprint.traced);
        double polygon = 0;
        for (std::size_t i = 0; i < circle.size(); ++i) {
            const Vec3d a = circle[i] - circle[0];
            const Vec3d b = circle[(i + 1) % circle.size()] - circle[0];
            polygon += (a[0] * b[1] - a[1] * b[0]) / 2;
        }
        double cut = 0;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const Vec3d a = NodePoint(mesh, nodes[i]) - circle[0];
            const Vec3d b = NodePoint(mesh, nodes[(i + 1) % nodes.size()]) - circle[0];
            cut += (a[0] * b[1] - a[1] * b[0]) / 2;
        }
        // A crossing may go to a node up to 0.5 % of an edge away, over a step of 0.1.
        EXPECT_NEAR(cut, polygon, 1e-3 * polygon);
        Support::ExpectSound(mesh);
        const Support::SurfaceMeasures after = Support::MeasuresOf(mesh);
        EXPECT_NEAR(static_cast<double>(after.area), 100, offset > 0 ? 1e-7 : 1e-11);
    }
}

TEST(ImprintableMeshTrace, AlongABoundaryFarFromTheOrigin)
{
    // From node to node along the boundary there is nothing to cross: the way on is the boundary's
    // next node, which rounding takes off the plane by more than it would near the origin.
    for (const double offset : {0.0, 1e6}) {
        const Vec3d shift = {offset, offset / 3, -offset};
        IndexedMesh grid = Support::Grid(12, 3);
        for (Vec3d& point : grid.points) {
            const double x = point[0];
            point = {x * 0.6 + shift[0], x * 0.8 + point[1] + shift[1], point[1] * 0.3 + shift[2]};
        }
        ImprintMesh mesh = Imprintable(grid, 1e-6);
        const Imprint imprint = Trace(mesh, {grid.points[0], grid.points[12]}, false);
        EXPECT_EQ(imprint.breaks, 0);
        EXPECT_EQ(NodesOf(imprint.traced).size(), 13U);
        EXPECT_EQ(mesh.NodeCount(), 13 * 4);
    }
}

TEST(ImprintableMeshTrace, TinyFacetsHaveNormalsToo)
{
    // Facets of 1e-8 across: their areas are far below the floor at which a length counts as 0.
    constexpr double kScale = 1e-7;
    IndexedMesh sphere = Support::Sphere(3);
    for (Vec3d& point : sphere.points) {
        point = point * kScale;
    }
    ImprintMesh mesh = Imprintable(sphere, 1e-14);
    const Vec3d origin = Vec3d{0.1, 0.2, 0.3} * kScale;
    const Vec3d normal = {0.6, 0, 0.8};
    const auto loops = Support::PlaneLoops(sphere, origin, normal);
    ASSERT_EQ(loops.size(), 1U);
    const Imprint imprint = Trace(mesh, Support::Thinned(loops[0], 4), true);
    EXPECT_EQ(imprint.breaks, 0);
    // In the plane, but for what the distance of a crossing from a node nearby allows.
    for (const MeshLocation& place : imprint.traced) {
        EXPECT_LE(std::fabs((place.point - origin) * normal), 0.02 * kScale);
    }
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(ImprintableMeshTrace, TheSameInEveryRun)
{
    const IndexedMesh sphere = Support::Sphere(3);
    const auto run = [&] {
        ImprintMesh mesh = Imprintable(sphere, kTolerance);
        for (const double z : {-0.4, 0.1, 0.35}) {
            for (const auto& loop : Support::PlaneLoops(sphere, {0, 0, z}, {0.1, 0.2, 0.97})) {
                Trace(mesh, Support::Thinned(loop, 3), true);
            }
        }
        return Support::Fingerprint(mesh);
    };
    EXPECT_EQ(run(), run());
}

TEST(ImprintableMeshTrace, AnImprintThatIsCrossedStaysClosed)
{
    const IndexedMesh grid = Support::Grid(6, 6);
    ImprintMesh mesh = Imprintable(grid, kTolerance);
    const Imprint first = Trace(mesh, Circle({3.02, 2.97, 0}, 2.2, 60), true);
    const std::vector<int> nodes = NodesOf(first.traced);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const int e = mesh.FindEdge(nodes[i], nodes[(i + 1) % nodes.size()]);
        if (e >= 0) {
            mesh.EdgeRecord(e)->imprinted = mesh.EdgeRecord(e ^ 1)->imprinted = 1;
        }
    }
    const auto loose = [&] {
        int count = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            int imprinted = 0;
            for (const int e : mesh.NodeEdges(n)) {
                imprinted += mesh.EdgeRecord(e)->imprinted;
            }
            count += imprinted % 2;
        }
        return count;
    };
    ASSERT_EQ(loose(), 0);
    for (const double y : {1.71, 2.33, 3.9}) {
        EXPECT_EQ(Trace(mesh, {{0.2, y, 0}, {2.9, y + 0.1, 0}, {5.8, y, 0}}, false).breaks, 0);
        EXPECT_EQ(loose(), 0);
    }
    NodeReplacements replaced;
    mesh.CollapseShortEdges(0.05, replaced);
    EXPECT_FALSE(replaced.empty());
    EXPECT_EQ(loose(), 0);
    Support::ExpectSound(mesh);
}

// --- nodes of several fans ----------------------------------------------------------------------

TEST(ImprintableMeshTrace, APathPassesFromFanToFan)
{
    // Two spheres that touch in a node; its ring shows one of them.
    IndexedMesh twins = Support::Sphere(2);
    const auto count = static_cast<int>(twins.points.size());
    IndexedMesh other = Moved(twins, {2, 0, 0});
    int touching = -1;
    for (int n = 0; n < count; ++n) {
        touching = twins.points[static_cast<std::size_t>(n)] == Vec3d{1, 0, 0} ? n : touching;
    }
    int touched = -1;
    for (int n = 0; n < count; ++n) {
        touched = other.points[static_cast<std::size_t>(n)] == Vec3d{1, 0, 0} ? n : touched;
    }
    ASSERT_GE(touching, 0);
    ASSERT_GE(touched, 0);
    twins = Support::Together(twins, other);
    for (int& index : twins.indices) {
        index = index == count + touched ? touching : index;
    }
    for (const bool forth : {true, false}) {
        ImprintMesh mesh = Imprintable(twins, kTolerance);
        ASSERT_EQ(mesh.PinchNodes(), (std::vector<int>{touching}));
        const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
        // The edges at the node are cut first, on both sides: its fans are known all the same.
        // They are named by the half-edges that come to it, so that those that leave it change.
        std::vector<int> arriving;
        for (int e = 0; e < mesh.EdgeCount(); ++e) {
            if (mesh.EdgeNodes(e)[1] == touching) {
                arriving.push_back(e);
            }
        }
        ASSERT_EQ(static_cast<int>(arriving.size()), mesh.Degree(touching));
        for (const int e : arriving) {
            MeshLocation place;
            place.pathIndex = 0;
            place.edge = e;
            place.point =
                (NodePoint(mesh, mesh.EdgeNodes(e)[0]) + NodePoint(mesh, mesh.EdgeNodes(e)[1])) *
                0.5;
            ASSERT_TRUE(mesh.SplitAtLocation(place));
        }
        const IndexedMesh shot = Support::Snapshot(mesh);
        std::vector<Vec3d> path;
        for (const int side : {0, 1}) {
            // The middle of a facet three rings away or so, on either sphere.
            double nearest = 9;
            Vec3d chosen;
            for (std::size_t t = 0; t < shot.indices.size(); t += 3) {
                const Vec3d middle = (Support::PointOf(shot, t) + Support::PointOf(shot, t + 1) +
                                      Support::PointOf(shot, t + 2)) *
                                     (1.0 / 3);
                const double off = Vector::Length(middle - Vec3d{side == 0 ? 0.5 : 1.5, 0.7, 0.4});
                if (off < nearest) {
                    nearest = off;
                    chosen = middle;
                }
            }
            path.push_back(chosen);
        }
        path.insert(path.begin() + 1, Vec3d{1, 0, 0});
        if (!forth) {
            std::swap(path[0], path[2]);
        }
        const Imprint imprint = Trace(mesh, path, false);
        EXPECT_EQ(imprint.unlocated, 0);
        EXPECT_EQ(imprint.breaks, 0);
        Support::ExpectSound(mesh);
        Support::ExpectSameMeasures(mesh, before);
        NodeReplacements replaced;
        mesh.CollapseShortEdges(0.1, replaced);
        EXPECT_FALSE(replaced.empty());
        Support::ExpectSound(mesh);
        EXPECT_EQ(Trace(mesh, {path[0], Vec3d{1, 0, 0}, path[2]}, false).breaks, 0);
    }
}

TEST(ImprintableMeshTrace, OpenFansAtOneNodeAreAllThere)
{
    for (const int fans : {2, 3, 5}) {
        const IndexedMesh mesh = Support::TrianglesAtOnePoint(fans);
        for (int target = 1; target < fans; ++target) {
            ImprintMesh imprintable = Imprintable(mesh, kTolerance);
            const auto middle = [&](int fan) {
                const double a = kTwoPi<double> * fan / fans + 0.04;
                return Vec3d{0.6 * std::cos(a), 0.6 * std::sin(a), 0};
            };
            const Imprint imprint =
                Trace(imprintable, {middle(0), Vec3d{0, 0, 0}, middle(target)}, false);
            EXPECT_EQ(imprint.unlocated, 0);
            EXPECT_EQ(imprint.breaks, 0);
            Support::ExpectSound(imprintable);
        }
    }
}

// --- long thin facets, real parts ---------------------------------------------------------------

// A prism whose sides are two long facets each.
IndexedMesh Prism(int sides, double height)
{
    IndexedMesh mesh;
    for (int i = 0; i < sides; ++i) {
        const double a = kTwoPi<double> * i / sides;
        mesh.points.push_back({std::cos(a), std::sin(a), 0});
        mesh.points.push_back({std::cos(a), std::sin(a), height});
    }
    for (int i = 0; i < sides; ++i) {
        const int a = 2 * i;
        const int b = 2 * ((i + 1) % sides);
        mesh.indices.insert(mesh.indices.end(), {a, b, b + 1, a, b + 1, a + 1});
    }
    for (int i = 1; i + 1 < sides; ++i) {
        mesh.indices.insert(mesh.indices.end(), {0, 2 * i + 2, 2 * i});
        mesh.indices.insert(mesh.indices.end(), {1, 2 * i + 1, 2 * i + 3});
    }
    return mesh;
}

TEST(ImprintableMeshTrace, LongThinFacetsDontHoldAWalk)
{
    const IndexedMesh prism = Prism(24, 40);
    ImprintMesh mesh = Imprintable(prism, kTolerance);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    Support::Random random(4);
    for (int i = 0; i < 40; ++i) {
        const Vec3d normal =
            Vector::Normalized(Vec3d{0, 0, 1} + random.Vector<3, double>(-0.4, 0.4), 0.0);
        const Vec3d origin = {0, 0, random.Between(19.5, 20.5)};
        for (const auto& loop : Support::PlaneLoops(prism, origin, normal)) {
            const Imprint imprint = Trace(mesh, loop, true);
            EXPECT_EQ(imprint.breaks, 0) << "loop " << i;
            EXPECT_LT(imprint.traced.size(), 100 * loop.size());
            // A step spans a side of the prism at most: none goes the long way round.
            for (const MeshLocation& place : imprint.traced) {
                const Vec3d& start = loop[static_cast<std::size_t>(place.pathIndex)];
                EXPECT_LT(Vector::Length(place.point - start), 1.0);
            }
            // Each step ends where the next one begins, under its own index.
            const auto count = static_cast<int>(loop.size());
            std::vector<Vec3d> begin(loop.size());
            std::vector<Vec3d> end(loop.size());
            for (const MeshLocation& place : imprint.traced) {
                end[static_cast<std::size_t>(place.pathIndex)] = place.point;
            }
            for (auto place = imprint.traced.rbegin(); place != imprint.traced.rend(); ++place) {
                begin[static_cast<std::size_t>(place->pathIndex)] = place->point;
            }
            for (int k = 0; k < count; ++k) {
                EXPECT_EQ(end[static_cast<std::size_t>(k)],
                          begin[static_cast<std::size_t>((k + 1) % count)]);
            }
        }
    }
    Support::ExpectSound(mesh);
    Support::ExpectSameMeasures(mesh, before);
}

// Plane sections of a part laid on it, every point and every third.
void ExpectSectionsAreImprinted(const std::string& name, int planes)
{
    const std::filesystem::path file = Support::SharedData(name);
    SORVANE_NEED_DATA(file);
    const IndexedMesh part = Support::WeldedStl<double>(file);
    ASSERT_FALSE(part.indices.empty());
    Vec3d low = part.points.front();
    Vec3d high = low;
    for (const Vec3d& point : part.points) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    int degenerate = 0;
    for (std::size_t t = 0; t < part.indices.size(); t += 3) {
        degenerate += part.indices[t] == part.indices[t + 1] ||
                              part.indices[t + 1] == part.indices[t + 2] ||
                              part.indices[t + 2] == part.indices[t]
                          ? 1
                          : 0;
    }
    Support::ExpectAssertions(degenerate);
    ImprintMesh mesh = Imprintable(part, 1e-6);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    Support::Random random(7);
    int paths = 0;
    for (int i = 0; i < planes; ++i) {
        const Vec3d normal = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
        Vec3d origin;
        for (int axis = 0; axis < 3; ++axis) {
            origin[axis] = low[axis] + (high[axis] - low[axis]) * random.Between(0.3, 0.7);
        }
        for (const auto& loop : Support::PlaneLoops(part, origin, normal)) {
            const std::vector<Vec3d> path = Support::Thinned(loop, i % 2 == 0 ? 1 : 3);
            if (path.size() >= 3) {
                SCOPED_TRACE(testing::Message() << name << ", plane " << i << ", path " << paths);
                const Imprint imprint = Trace(mesh, path, true);
                EXPECT_EQ(imprint.unlocated, 0);
                EXPECT_EQ(imprint.breaks, 0);
                ++paths;
            }
        }
    }
    EXPECT_GE(paths, planes);
    Support::ExpectSound(mesh);
    Support::ExpectSameMeasures(mesh, before);
}

TEST(ImprintableMeshParts, AnInstrumentHousing)
{
    ExpectSectionsAreImprinted("meshes_nist/nist_ctc_03_asme1_rc.stl", 10);
}
TEST(ImprintableMeshParts, APartWithManyBores)
{
    ExpectSectionsAreImprinted("meshes_nist/nist_ftc_09_asme1_rd.stl", 10);
}
TEST(ImprintableMeshParts, APartWithDegenerateTriangles)
{
    ExpectSectionsAreImprinted("with_degenerate/nist_ftc_06.stl", 6);
}
TEST(ImprintableMeshParts, AFreeForm) { ExpectSectionsAreImprinted("meshes_organic/spot.stl", 6); }

TEST(ImprintableMeshParts, AnOpenPartStaysSound)
{
    // Its boundary stops paths: they break, and the surface is as it was.
    const std::filesystem::path file = Support::SharedData("meshes_cad/angle_block.STL");
    SORVANE_NEED_DATA(file);
    const IndexedMesh part = Support::WeldedStl<double>(file);
    ImprintMesh mesh = Imprintable(part, 1e-9);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    Support::Random random(9);
    Vec3d middle;
    for (const Vec3d& point : part.points) {
        middle += point * (1.0 / static_cast<double>(part.points.size()));
    }
    int paths = 0;
    for (int i = 0; i < 12; ++i) {
        const Vec3d normal = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
        for (const auto& loop : Support::PlaneLoops(part, middle, normal)) {
            Trace(mesh, Support::Thinned(loop, 2), true);
            ++paths;
        }
    }
    EXPECT_GT(paths, 12);
    Support::ExpectSound(mesh);
    const Support::SurfaceMeasures after = Support::MeasuresOf(mesh);
    EXPECT_LE(std::fabs(after.area - before.area), 1e-12L * before.area);
}

// --- hostile paths ------------------------------------------------------------------------------

TEST(ImprintableMeshTrace, HostilePathsEndAndLeaveTheMeshSound)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::vector<Vec3d>> paths = {
        {{nan, 0, 0}, {0.5, 0.5, 1}, {infinity, 0, 0}},
        {{0.3, 0.3, 1}, {0.3, 0.3, 1}, {0.3, 0.3, 1}}, // one place
        {{0.2, 0.2, 1}, {0.6, 0.6, 1}, {0.4, 0.4, 1}}, // to and fro on a diagonal
        {{0.2, 0.7, 1}, {0.2, 0.7, 0}, {0.9, 0.7, 1}}, // opposite normals
        {{0, 0, 0}, {1, 1, 1}, {0, 0, 1}, {1, 1, 0}},  // corner to corner
        {{0.5, 0.5, 0}, {0.5, 0.5, 1}, {0.5, 0, 0.5}, {0, 0.5, 0.5}},
    };
    for (const auto& path : paths) {
        for (const bool closed : {false, true}) {
            ImprintMesh mesh = Imprintable(Support::Cube(), kTolerance);
            const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
            Trace(mesh, path, closed);
            Support::ExpectSound(mesh);
            Support::ExpectSameMeasures(mesh, before);
        }
    }
}

TEST(ImprintableMeshTrace, RandomPathsOnGarbage)
{
    int refused = 0;
    for (int trial = 0; trial < 40; ++trial) {
        Support::Random random(static_cast<std::uint64_t>(trial));
        const IndexedMesh garbage = Support::GarbageMesh<3, double>(random, 12, 40);
        ImprintMesh mesh = Imprintable(garbage, 1e-9);
        refused += 40 - mesh.FaceCount();
        Support::ExpectAssertions(refused);
        std::vector<Vec3d> path;
        const IndexedMesh shot = Support::Snapshot(mesh);
        for (int i = 0; i < 12 && !shot.indices.empty(); ++i) {
            const auto t = 3 * static_cast<std::size_t>(
                                   random.Below(static_cast<int>(shot.indices.size()) / 3));
            path.push_back((Support::PointOf(shot, t) + Support::PointOf(shot, t + 1) +
                            Support::PointOf(shot, t + 2)) *
                           (1.0 / 3));
        }
        Trace(mesh, path, trial % 2 == 0);
        Support::ExpectSound(mesh);
    }
}

} // namespace
