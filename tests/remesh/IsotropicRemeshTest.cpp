// Remeshing of indexed meshes toward one edge length: its lengths, its features, its stars, what it
// promises on real parts and scans, and hostile input.

#include <Sorvane/Remesh_E.h>

#include "tests/support/MeshMeasures.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <array>
#include <limits>
#include <map>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;
using Support::PlaneMesh;
using Support::Tags;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

PlaneMesh InThePlane(const IndexedMesh& mesh)
{
    PlaneMesh plane;
    for (const Vec3d& p : mesh.points) {
        plane.points.push_back({p[0], p[1]});
    }
    plane.indices = mesh.indices;
    return plane;
}

IndexedMesh Remeshed(const IndexedMesh& mesh, double angle, double length, unsigned iterations,
                     bool keepBoundary)
{
    IndexedMesh out;
    Mesh::IsotropicRemesh(mesh, out, angle, length, iterations, keepBoundary);
    return out;
}

bool HasPoint(const IndexedMesh& mesh, const Vec3d& p, double tolerance)
{
    return std::any_of(mesh.points.begin(), mesh.points.end(),
                       [&](const Vec3d& q) { return Matches(p, q, tolerance); });
}

/// The same points and triangles in whatever order.
std::vector<std::array<std::array<double, 3>, 3>> SetOf(const IndexedMesh& mesh)
{
    return Support::TriangleSet(mesh);
}

// --- lengths ------------------------------------------------------------------------------------

TEST(IsotropicRemesh, ALengthOfZeroIsTheMeanEdgeOfTheInput)
{
    const IndexedMesh square = Support::Grid(12, 12);
    const double mean = Support::MeanEdge(square);
    const IndexedMesh out = Remeshed(square, 10, 0, 10, false);
    EXPECT_EQ(SetOf(out), SetOf(Remeshed(square, 10, mean, 10, false)));
    EXPECT_EQ(SetOf(out), SetOf(Remeshed(square, 10, -1, 10, false)));
    EXPECT_NE(SetOf(out), SetOf(Remeshed(square, 10, 0.7 * mean, 10, false)));
    EXPECT_GT(Support::ShareWithin(out, 0.8 * mean, 4.0 / 3 * mean), 0.9);
}

TEST(IsotropicRemesh, ANegativeLengthIsAFactorOfTheMean)
{
    const IndexedMesh square = Support::Grid(12, 12);
    const double half = 0.5 * Support::MeanEdge(square);
    const IndexedMesh out = Remeshed(square, 10, -0.5, 10, false);
    EXPECT_EQ(SetOf(out), SetOf(Remeshed(square, 10, half, 10, false)));
    EXPECT_NEAR(Support::MeanEdge(out), half, 0.15 * half);
}

TEST(IsotropicRemesh, EdgesComeToTheLengthInBothDirections)
{
    const IndexedMesh sphere = Support::Sphere(4); // edges of about 0.07
    for (const double length : {0.035, 0.07, 0.2}) {
        const IndexedMesh out = Remeshed(sphere, 60, length, 20, true);
        EXPECT_GT(Support::ShareWithin(out, 0.8 * length, 4.0 / 3 * length), 0.95) << length;
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(out), 2);
    }
}

TEST(IsotropicRemesh, CountsTheIterationsTheIdleOneToo)
{
    // A regular sheet of six-valent nodes at its own length: one iteration, in which nothing
    // happens.
    IndexedMesh sheet = Support::Grid(6, 6);
    for (Vec3d& p : sheet.points) {
        p = {p[0] - p[1] / 2, p[1] * std::sqrt(3.0) / 2, 0};
    }
    IndexedMesh out;
    EXPECT_EQ(Mesh::IsotropicRemesh(sheet, out, 10, 1.0, 10, true), 1U);
    EXPECT_EQ(SetOf(out), SetOf(sheet));
    EXPECT_EQ(Mesh::IsotropicRemesh(sheet, out, 10, 0.4, 3, true), 3U);
    EXPECT_EQ(Mesh::IsotropicRemesh(sheet, out, 10, 0.4, 0, true), 0U);
}

TEST(IsotropicRemesh, WithoutIterationsTheMeshIsRebuilt)
{
    // Two corners in one place are joined, unused points go, a star within 4/3 of the length goes.
    IndexedMesh mesh = Support::Octahedron();
    const Vec3d centroid =
        (Support::PointOf(mesh, 0) + Support::PointOf(mesh, 1) + Support::PointOf(mesh, 2)) / 3.0;
    const std::vector<int> first(mesh.indices.begin(), mesh.indices.begin() + 3);
    mesh.points.push_back({9, 9, 9}); // unused
    mesh.points.push_back(centroid);
    const int n = 7;
    mesh.indices.erase(mesh.indices.begin(), mesh.indices.begin() + 3);
    mesh.indices.insert(mesh.indices.end(),
                        {n, first[0], first[1], n, first[1], first[2], n, first[2], first[0]});
    // The spokes are sqrt(2 / 3) = 0.8165 long.
    const IndexedMesh near = Remeshed(mesh, 10, 0.62, 0, true); // 4/3 of it is 0.827
    EXPECT_EQ(SetOf(near), SetOf(Support::Octahedron()));
    const IndexedMesh far = Remeshed(mesh, 10, 0.61, 0, true); // 0.813
    EXPECT_EQ(far.indices.size(), mesh.indices.size()) << "farther than 4/3 of the length: stays";
    EXPECT_EQ(far.points.size(), 7U);
}

// --- features -----------------------------------------------------------------------------------

TEST(IsotropicRemesh, ACubeKeepsItsTwelveEdges)
{
    for (const bool keepBoundary : {true, false}) {
        const IndexedMesh out = Remeshed(Support::Cube(), 10, 0.2, 12, keepBoundary);
        EXPECT_NEAR(Support::VolumeOf(out), 1, 1e-12);
        for (const Vec3d& corner : Support::Cube().points) {
            EXPECT_TRUE(HasPoint(out, corner, 0));
        }
        // Every crease of the result is a stretch of an edge of the cube, and they cover all 12.
        double creased = 0;
        for (const auto& [a, b] : Support::FeatureSegments(out, 10)) {
            int constant = 0;
            for (int axis = 0; axis < 3; ++axis) {
                constant += std::fabs(a[axis] - b[axis]) < 1e-12 &&
                                    std::fabs(a[axis] - std::round(a[axis])) < 1e-12
                                ? 1
                                : 0;
            }
            EXPECT_EQ(constant, 2);
            creased += Length(b - a);
        }
        EXPECT_NEAR(creased, 12, 1e-9);
        EXPECT_GT(Support::ShareWithin(out, 0.16, 0.2667), 0.85);
    }
}

/// A cube one of whose edges has more points in it on one side than on the other, with triangles
/// without area between: a fan from one end of the edge, or ears cut off in the middle.
IndexedMesh CubeWithTJoints(const std::vector<double>& places, bool isFan)
{
    // Tops y = 0 and z = 0 meet in the edge along x. The face y = 0 is a fan from its far corner.
    IndexedMesh mesh;
    mesh.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                   {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    mesh.indices = {0, 3, 2, 0, 2, 1, 4, 5, 6, 4, 6, 7, 3, 7, 6, 3, 6, 2, // z = 0, z = 1, y = 1
                    0, 4, 7, 0, 7, 3, 1, 2, 6, 1, 6, 5, 4, 1, 5};         // x = 0, x = 1, y = 0
    std::vector<int> onEdge{0};
    for (const double x : places) {
        onEdge.push_back(static_cast<int>(mesh.points.size()));
        mesh.points.push_back({x, 0, 0});
    }
    onEdge.push_back(1);
    for (std::size_t i = 0; i + 1 < onEdge.size(); ++i) {
        mesh.indices.insert(mesh.indices.end(), {4, onEdge[i], onEdge[i + 1]});
    }
    // What is between 0-1 and the points on it: a fan from its beginning, or ears.
    while (onEdge.size() > 2) {
        const std::size_t ear = isFan ? onEdge.size() - 2 : onEdge.size() / 2;
        const std::size_t at = std::max<std::size_t>(1, std::min(ear, onEdge.size() - 2));
        mesh.indices.insert(mesh.indices.end(), {onEdge[at], onEdge[at - 1], onEdge[at + 1]});
        onEdge.erase(onEdge.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return mesh;
}

TEST(IsotropicRemesh, TrianglesWithoutAreaOnACreaseDoNotHideIt)
{
    // One point on the edge, several, one on an end of it (a needle), far from the origin as well.
    for (const auto& places :
         {std::vector<double>{0.5}, {0.3}, {0.1, 0.35, 0.6, 0.7, 0.9}, {0.0}, {1.0}, {0.0, 0.4}}) {
        for (const bool isFan : {true, false}) {
            // Turned, the points on the edge are on it but for the rounding of their coordinates.
            for (const auto& [far, turn] : {std::pair{Vec3d(), 0.0},
                                            {Vec3d(1e6, -2e6, 1e6), 0.0},
                                            {Vec3d(), 0.7},
                                            {Vec3d(1e6, -2e6, 1e6), 0.7}}) {
                const Vec3d u(std::cos(turn), std::sin(turn), 0);
                const Vec3d v =
                    Vec3d(-u.y(), u.x(), 0) * std::cos(turn) + Vec3d(0, 0, 1) * std::sin(turn);
                IndexedMesh cube = CubeWithTJoints(places, isFan);
                ASSERT_NEAR(Support::VolumeOf(cube), 1, 1e-12);
                for (Vec3d& p : cube.points) {
                    p = far + p.x() * u + p.y() * v + p.z() * (u ^ v);
                }
                for (const double length : {0.17, 0.3, 0.8}) {
                    IndexedMesh out = Remeshed(cube, 30, length, 8, true);
                    for (Vec3d& point : out.points) {
                        point -= far;
                    }
                    EXPECT_NEAR(Support::VolumeOf(out), 1, far == Vec3d() ? 1e-12 : 1e-8)
                        << places.front() << ' ' << places.size() << ' ' << length << ' ' << turn;
                }
            }
        }
    }
}

TEST(IsotropicRemesh, TheCreaseAngleIncludesItself)
{
    // A roof of two squares folded by an angle: the ridge stays straight from that angle on.
    const auto ridgeIsKept = [](double fold, double limit) {
        const double c = std::cos(fold * kRadiansPerDegree);
        const double s = std::sin(fold * kRadiansPerDegree);
        const IndexedMesh roof = Support::GridMesh<double>(8, 6, [&](int x, int y) {
            const double d = x - 4;
            return d <= 0 ? Vec3d(d, 0.9 * y, 0) : Vec3d(d * c, 0.9 * y, -d * s);
        });
        const IndexedMesh out = Remeshed(roof, limit, 1.6, 10, true);
        double onRidge = 0;
        for (const auto& [a, b] : Support::FeatureSegments(out, fold / 2)) {
            onRidge += std::fabs(a[0]) < 1e-12 && std::fabs(b[0]) < 1e-12 ? Length(b - a) : 0;
        }
        return std::fabs(onRidge - 5.4) < 1e-9;
    };
    EXPECT_TRUE(ridgeIsKept(30, 29.999));
    EXPECT_FALSE(ridgeIsKept(30, 40));
}

TEST(IsotropicRemesh, TagsKeepTheirAreas)
{
    // A disc of tag 1 in a square of tag 0, both flat: its outline is a feature.
    const IndexedMesh grid = Support::Grid(20, 20);
    const auto isInside = [](const Vec3d& p) { return Length(p - Vec3d(10, 10, 0)) < 6; };
    Tags tags;
    double insideArea = 0;
    for (std::size_t i = 0; i < grid.indices.size(); i += 3) {
        const Vec3d center = (Support::PointOf(grid, i) + Support::PointOf(grid, i + 1) +
                              Support::PointOf(grid, i + 2)) /
                             3.0;
        tags.push_back(isInside(center) ? 1 : 0);
        insideArea += isInside(center) ? 0.5 : 0;
    }
    const auto areaOfTag = [](const auto& mesh, const Tags& outTags, unsigned char tag) {
        double area = 0;
        for (std::size_t t = 0; t < outTags.size(); ++t) {
            if (outTags[t] == tag) {
                const auto u = Support::PointOf(mesh, 3 * t + 1) - Support::PointOf(mesh, 3 * t);
                const auto v = Support::PointOf(mesh, 3 * t + 2) - Support::PointOf(mesh, 3 * t);
                area += std::fabs(u[0] * v[1] - u[1] * v[0]) / 2;
            }
        }
        return area;
    };
    for (const double length : {0.5, 1.0, 3.0}) {
        SCOPED_TRACE(length);
        IndexedMesh out;
        Tags outTags;
        Mesh::IsotropicRemesh(grid, tags, out, outTags, 10, length, 8, true);
        ASSERT_EQ(outTags.size(), out.indices.size() / 3);
        EXPECT_NEAR(areaOfTag(out, outTags, 1), insideArea, 1e-9);
        EXPECT_NEAR(areaOfTag(out, outTags, 0), 400 - insideArea, 1e-9);

        PlaneMesh plane;
        Mesh::IsotropicRemesh(InThePlane(grid), tags, plane, outTags, length, 8, true);
        ASSERT_EQ(outTags.size(), plane.indices.size() / 3);
        EXPECT_NEAR(areaOfTag(plane, outTags, 1), insideArea, 1e-9);
        EXPECT_NEAR(areaOfTag(plane, outTags, 0), 400 - insideArea, 1e-9);
    }
}

TEST(IsotropicRemesh, MissingTagsAreZeroAndTheFormsWithoutTagsAgree)
{
    const IndexedMesh sphere = Support::Sphere(3);
    IndexedMesh out;
    Tags outTags{9, 9};
    EXPECT_EQ(Mesh::IsotropicRemesh(sphere, {}, out, outTags, 60, 0.2, 4, true), 4U);
    EXPECT_EQ(outTags, Tags(out.indices.size() / 3, 0));
    EXPECT_EQ(SetOf(out), SetOf(Remeshed(sphere, 60, 0.2, 4, true)));
    PlaneMesh tagged;
    PlaneMesh plain;
    const PlaneMesh grid = InThePlane(Support::Grid(5, 5));
    Mesh::IsotropicRemesh(grid, Tags(3, 0), tagged, outTags, 0.6, 4, true);
    Mesh::IsotropicRemesh(grid, plain, 0.6, 4, true);
    EXPECT_EQ(tagged, plain);
    EXPECT_EQ(outTags.size(), plain.indices.size() / 3);
}

TEST(IsotropicRemesh, KeepBoundaryNeitherSplitsNorLosesBoundaryPoints)
{
    for (const double length : {0.4, 3.0}) {
        const IndexedMesh grid = Support::Grid(6, 6);
        const PlaneMesh plane = InThePlane(grid);
        PlaneMesh out;
        Mesh::IsotropicRemesh(plane, out, length, 10, true);
        EXPECT_EQ(Support::FaultsOf(out).open, 24) << "no boundary edge is split, none is lost";
        Mesh::IsotropicRemesh(plane, out, length, 10, false);
        // With 4/3 of 0.4 below 1 the boundary is split, once: 4/3 of it is above 0.5.
        EXPECT_EQ(Support::FaultsOf(out).open, length < 1 ? 48 : 24);
    }
}

TEST(IsotropicRemesh, APointOffItsFeatureLineStays)
{
    // A boundary with a kink of 1e-9: its point is no end and no corner to look at, but it stays.
    IndexedMesh grid = Support::Grid(6, 6);
    grid.points[3] = {3.2, 1e-9, 0};
    grid.points[2] = {2.2, 0, 0}; // on the line between 1 and 3 up to 5e-10: stays
    const IndexedMesh out = Remeshed(grid, 10, 1.2, 10, true);
    EXPECT_TRUE(HasPoint(out, grid.points[3], 0));
    EXPECT_TRUE(HasPoint(out, grid.points[2], 0));
    // On the straight line a point slides.
    IndexedMesh straight = Support::Grid(6, 6);
    straight.points[3] = {3.2, 0, 0};
    EXPECT_FALSE(HasPoint(Remeshed(straight, 10, 1.2, 10, true), straight.points[3], 1e-3));
}

// --- stars --------------------------------------------------------------------------------------

/// The octahedron with a star in its first face, raised, and tags of the star's triangles; 7 for
/// the rest.
IndexedMesh Starred(double height, Tags tagsOfStar, Tags& tags)
{
    IndexedMesh mesh = Support::Octahedron();
    const Vec3d a = Support::PointOf(mesh, 0);
    const Vec3d b = Support::PointOf(mesh, 1);
    const Vec3d c = Support::PointOf(mesh, 2);
    const std::vector<int> first(mesh.indices.begin(), mesh.indices.begin() + 3);
    // Nearer to a: the triangle across from a is the largest.
    mesh.points.push_back(a * 0.4 + b * 0.3 + c * 0.3 + Normalized(a + b + c, 0.0) * height);
    mesh.indices.erase(mesh.indices.begin(), mesh.indices.begin() + 3);
    mesh.indices.insert(mesh.indices.end(),
                        {6, first[0], first[1], 6, first[1], first[2], 6, first[2], first[0]});
    tags = Tags(7, 7);
    tags.insert(tags.end(), tagsOfStar.begin(), tagsOfStar.end());
    return mesh;
}
std::size_t TrianglesWithoutIterations(double height, const Tags& tagsOfStar, double angle,
                                       Tags& outTags)
{
    Tags tags;
    const IndexedMesh mesh = Starred(height, tagsOfStar, tags);
    IndexedMesh out;
    Mesh::IsotropicRemesh(mesh, tags, out, outTags, angle, 2, 0, true);
    EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
    EXPECT_EQ(Support::EulerOf(out), 2);
    return out.indices.size() / 3;
}

TEST(IsotropicRemeshStars, GoWhereTheyAreFlat)
{
    Tags outTags;
    EXPECT_EQ(TrianglesWithoutIterations(0, {7, 7, 7}, 10, outTags), 8U);
    EXPECT_EQ(outTags, Tags(8, 7));
    EXPECT_EQ(TrianglesWithoutIterations(0, {3, 3, 3}, 10, outTags), 8U);
    EXPECT_EQ(std::count(outTags.begin(), outTags.end(), 3), 1);
}

TEST(IsotropicRemeshStars, StayWhereACreaseOrATagBoundaryMeetsThem)
{
    Tags outTags;
    EXPECT_EQ(TrianglesWithoutIterations(0.5, {7, 7, 7}, 10, outTags), 10U) << "a spike";
    EXPECT_EQ(TrianglesWithoutIterations(0, {7, 7, 3}, 10, outTags), 10U) << "a tag's corner";
}

TEST(IsotropicRemeshStars, WithoutCreasesTheGreatestAreaNamesTheTag)
{
    Tags outTags;
    EXPECT_EQ(TrianglesWithoutIterations(0.5, {7, 7, 7}, 180, outTags), 8U);
    // Areas 0.3, 0.4 and 0.3 of the face, for the triangles across from c, a and b.
    EXPECT_EQ(TrianglesWithoutIterations(0, {3, 4, 5}, 180, outTags), 8U);
    EXPECT_EQ(std::count(outTags.begin(), outTags.end(), 4), 1);
    EXPECT_EQ(TrianglesWithoutIterations(0, {3, 4, 3}, 180, outTags), 8U);
    EXPECT_EQ(std::count(outTags.begin(), outTags.end(), 3), 1) << "0.6 in two triangles";
}

TEST(IsotropicRemeshStars, CreasesAreKeptBelowHalfATurn)
{
    // At 180 degrees the line between tags is none to keep a star for, just below it is.
    Tags outTags;
    EXPECT_EQ(TrianglesWithoutIterations(0, {7, 7, 3}, 179.9, outTags), 10U);
    EXPECT_EQ(TrianglesWithoutIterations(0, {7, 7, 3}, 180, outTags), 8U);
    EXPECT_EQ(TrianglesWithoutIterations(0, {7, 7, 3}, 200, outTags), 8U);
}

TEST(IsotropicRemeshStars, InThePlaneATagBoundaryKeepsThem)
{
    const PlaneMesh star{{{0, 0}, {3, 0}, {0, 3}, {1, 1}}, {3, 0, 1, 3, 1, 2, 3, 2, 0}};
    PlaneMesh out;
    Tags outTags;
    Mesh::IsotropicRemesh(star, {4, 4, 4}, out, outTags, 2, 0, true);
    EXPECT_EQ(outTags, Tags{4});
    Mesh::IsotropicRemesh(star, {4, 4, 5}, out, outTags, 2, 0, true);
    EXPECT_EQ(outTags, Tags({4, 4, 5}));
}

TEST(IsotropicRemeshStars, GoByTheMeanOfAllEdgesTheRestByTheMeanWithoutThem)
{
    // Every second triangle of a sheet is a star. Edges of the sheet are 1 and 1.414 long, spokes
    // 0.47 and 0.75: with them the mean is lower, and 4/3 of it reach across a star.
    const IndexedMesh sheet = Support::Grid(10, 10);
    IndexedMesh starred = sheet;
    for (std::size_t i = 0; i < sheet.indices.size(); i += 6) {
        const int a = sheet.indices[i];
        const int b = sheet.indices[i + 1];
        const int c = sheet.indices[i + 2];
        const int n = static_cast<int>(starred.points.size());
        starred.points.push_back((Support::PointOf(sheet, i) + Support::PointOf(sheet, i + 1) +
                                  Support::PointOf(sheet, i + 2)) /
                                 3.0);
        starred.indices[i + 2] = n;
        starred.indices.insert(starred.indices.end(), {b, c, n, c, a, n});
    }
    ASSERT_LT(Support::MeanEdge(starred), 0.9 * Support::MeanEdge(sheet));
    ASSERT_GT(Support::MeanEdge(starred), 0.7);
    const auto trianglesOf = [](const IndexedMesh& mesh, double length, unsigned iterations) {
        return Remeshed(mesh, 10, length, iterations, false).indices.size() / 3;
    };
    EXPECT_EQ(trianglesOf(starred, 0, 0), sheet.indices.size() / 3) << "all of them go";
    // Without its stars it is the sheet, whose edges are within 0.8 and 4/3 of their own mean; the
    // diagonals are longer than 4/3 of the mean with stars.
    for (const double factor : {-1.0, -1.5, 0.0}) {
        EXPECT_NEAR(Support::MeanEdge(Remeshed(starred, 10, factor, 8, false)),
                    Support::MeanEdge(Remeshed(sheet, 10, factor, 8, false)), 0.03)
            << factor;
    }

    // A point near a corner of its triangle, with spokes of 0.1, 1.63 and 1.65, and 8 smaller
    // triangles elsewhere: 4/3 of the mean of all do not reach that far. In any unit of length.
    for (const double unit : {1e-3, 1.0, 1e3}) {
        IndexedMesh lopsided{{{0, 0, 0}, {1.73, 0, 0}, {0.865, 1.5, 0}, {0.08, 0.05, 0}},
                             {3, 0, 1, 3, 1, 2, 3, 2, 0}};
        IndexedMesh small = Support::Grid(2, 2);
        for (Vec3d& p : small.points) {
            p = p * 0.5 + Vec3d(10, 0, 0);
        }
        lopsided = Support::Together(lopsided, small);
        for (Vec3d& p : lopsided.points) {
            p *= unit;
        }
        const double reach = 4.0 / 3 * Support::MeanEdge(lopsided);
        const double longest = Length(lopsided.points[3] - lopsided.points[1]);
        ASSERT_GT(longest, 1.2 * reach);
        EXPECT_EQ(trianglesOf(lopsided, 0, 0), 11U);
        EXPECT_EQ(trianglesOf(lopsided, -0.99 * longest / reach, 0), 11U);
        EXPECT_EQ(trianglesOf(lopsided, -1.01 * longest / reach, 0), 9U);
    }
}

TEST(IsotropicRemeshStars, ATetrahedronStays)
{
    // Each of its points is the middle of a star; without one it would be two triangles back to
    // back.
    const IndexedMesh out = Remeshed(Support::Tetrahedron(), 180, 10, 0, true);
    EXPECT_EQ(SetOf(out), SetOf(Support::Tetrahedron()));
}

TEST(IsotropicRemeshStars, StarsInStarsGoWithinFivePasses)
{
    // In descending order of their numbers one goes in each pass: of seven two stay.
    for (const int levels : {4, 5, 7}) {
        IndexedMesh mesh = Support::Octahedron();
        for (int level = 0; level < levels; ++level) {
            const int n = static_cast<int>(mesh.points.size());
            const int a = mesh.indices[0];
            const int b = mesh.indices[1];
            const int c = mesh.indices[2];
            mesh.points.push_back((Support::PointOf(mesh, 0) + Support::PointOf(mesh, 1) +
                                   Support::PointOf(mesh, 2)) /
                                  3.0);
            mesh.indices.erase(mesh.indices.begin(), mesh.indices.begin() + 3);
            mesh.indices.insert(mesh.indices.begin(), {n, a, b, n, b, c, n, c, a});
        }
        const IndexedMesh out = Remeshed(mesh, 10, 5, 0, true);
        EXPECT_EQ(out.indices.size() / 3,
                  static_cast<std::size_t>(8 + 2 * std::max(0, levels - 5)));
    }
}

TEST(IsotropicRemeshStars, TheirCornersMoveAfterward)
{
    // A point whose own half-edge was a spoke takes part in the passes like any other.
    IndexedMesh fan = Support::Fan(6, true);
    fan.points[0] = {0.3, 0.1, 0};
    const Vec3d center = (fan.points[0] + fan.points[1] + fan.points[2]) / 3.0;
    fan.points.push_back(center);
    fan.indices.erase(fan.indices.begin(), fan.indices.begin() + 3);
    fan.indices.insert(fan.indices.begin(), {7, 0, 1, 7, 1, 2, 7, 2, 0});
    const IndexedMesh out = Remeshed(fan, 10, 1, 60, true);
    ASSERT_EQ(out.points.size(), 7U);
    EXPECT_TRUE(HasPoint(out, {0, 0, 0}, 1e-6));
}

TEST(IsotropicRemeshStars, GoInThePlaneToo)
{
    const PlaneMesh star{{{0, 0}, {3, 0}, {0, 3}, {1, 1}}, {3, 0, 1, 3, 1, 2, 3, 2, 0}};
    PlaneMesh out;
    Mesh::IsotropicRemesh(star, out, 2, 0, true); // the longest spoke is 2.236
    EXPECT_EQ(out.indices.size(), 3U);
    EXPECT_EQ(out.points.size(), 3U);
    Mesh::IsotropicRemesh(star, out, 1.6, 0, true);
    EXPECT_EQ(out.indices.size(), 9U);
}

// --- in the plane -------------------------------------------------------------------------------

TEST(IsotropicRemeshPlane, NoTriangleTurnsOver)
{
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        Support::Random random(static_cast<std::uint64_t>(trial));
        PlaneMesh mesh = InThePlane(Support::Grid(14, 14));
        for (Vec2d& p : mesh.points) {
            const bool isInner = p[0] > 0 && p[0] < 14 && p[1] > 0 && p[1] < 14;
            p += isInner ? random.Vector<2, double>(-0.3, 0.3) : Vec2d{};
        }
        const double sign = trial % 2 == 0 ? 1 : -1;
        if (sign < 0) { // clockwise throughout
            for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
                std::swap(mesh.indices[i], mesh.indices[i + 1]);
            }
        }
        PlaneMesh out;
        Mesh::IsotropicRemesh(mesh, out, random.Between(0.5, 2.5), 10, trial % 3 == 0);
        double area = 0;
        for (const double a : Support::AreasOf(out)) {
            EXPECT_GT(sign * a, 0);
            area += a;
        }
        EXPECT_NEAR(sign * area, 196, 1e-9);
        EXPECT_EQ(Support::EulerOf(out), 1);
    }
}

// --- thin sheets --------------------------------------------------------------------------------

TEST(IsotropicRemeshThinSheet, NodesReturnToTheirOwnWall)
{
    // A shell of two spheres, radii 1 and 0.97, and an edge length whose chords bend away by 0.04.
    IndexedMesh shell = Support::Sphere(4);
    IndexedMesh inner = shell;
    for (Vec3d& p : inner.points) {
        p *= 0.97;
    }
    for (std::size_t i = 0; i < inner.indices.size(); i += 3) {
        std::swap(inner.indices[i], inner.indices[i + 1]);
    }
    shell = Support::Together(shell, inner);
    const IndexedMesh out = Remeshed(shell, 60, 0.55, 10, true);
    EXPECT_EQ(Support::EulerOf(out), 4);
    int wrong = 0;
    for (std::size_t i = 0; i < out.indices.size(); i += 3) {
        const Vec3d a = Support::PointOf(out, i);
        const Vec3d normal =
            (Support::PointOf(out, i + 1) - a) ^ (Support::PointOf(out, i + 2) - a);
        const bool isOuter = normal * a > 0;
        for (std::size_t corner = 0; corner < 3; ++corner) {
            const double radius = Length(Support::PointOf(out, i + corner));
            wrong += isOuter == (radius > 0.985) ? 0 : 1;
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(IsotropicRemeshThinSheet, ATubeKeepsItsWall)
{
    const auto file = Support::SharedData("meshes_cad/round.stl");
    SORVANE_NEED_DATA(file);
    const IndexedMesh tube = Support::WeldedStl<double>(file);
    // A wall of 0.3 and a radius of 2.5: chords of 2 bend away by 0.2.
    const double drift =
        Support::VolumeOf(Remeshed(tube, 40, 2, 5, true)) / Support::VolumeOf(tube) - 1;
    EXPECT_LT(std::fabs(drift), 0.05) << "by the nearest facet alone it is -0.12";
}

// --- real parts ---------------------------------------------------------------------------------

struct PartCase {
    const char* name;
    const char* file;
    double angle;
    double factor; ///< of the mean edge
    double
        drift; ///< share of the volume that may change: on CAD parts the edges are as long as radii
    double within; ///< share of edges between 0.8 and 4/3 of the length, at least
};

class IsotropicRemeshPart : public testing::TestWithParam<PartCase> {};

TEST_P(IsotropicRemeshPart, KeepsWhatItPromises)
{
    const PartCase& part = GetParam();
    const auto file = Support::SharedData(part.file);
    SORVANE_NEED_DATA(file);
    const IndexedMesh source = Support::WeldedStl<double>(file);
    const double length = part.factor * Support::MeanEdge(source);
    IndexedMesh out;
    const unsigned iterations = Mesh::IsotropicRemesh(source, out, part.angle, length, 5, true);
    EXPECT_LE(iterations, 5U);

    // The result is welded within 1e-12, which closes cracks of a part in meters: so is what it is
    // compared with.
    IndexedMesh welded = source;
    Mesh::FilterForUniqueness(welded, 1e-12);
    EXPECT_EQ(Support::FaultsOf(out).overfull, 0);
    EXPECT_EQ(Support::FaultsOf(out).open, Support::FaultsOf(welded).open);
    EXPECT_EQ(Support::EulerOf(out), Support::EulerOf(welded));
    EXPECT_NEAR(Support::VolumeOf(out) / Support::VolumeOf(source), 1, part.drift);
    EXPECT_GE(Support::ShareWithin(out, 0.8 * length, 4.0 / 3 * length), part.within);

    // Every point lies on the source.
    double extent = 0;
    for (const Vec3d& p : source.points) {
        extent = std::max(extent, Length(p - source.points.front()));
    }
    EXPECT_LE(Support::GreatestDistance(out, source, 200), 1e-12 * extent);

    // Creases and boundaries are where they were.
    const auto features = Support::FeatureSegments(source, part.angle);
    const auto edges = Support::EdgeUses(out);
    const std::size_t step = features.size() / 60 + 1;
    for (std::size_t i = 0; i < features.size(); i += step) {
        const auto& [a, b] = features[i];
        for (const double t : {0.0, 0.3, 0.5, 1.0}) {
            const Vec3d p = a + (b - a) * t;
            double nearest = kInfinity;
            for (const auto& [edge, count] : edges) {
                const Vec3d& u = out.points[static_cast<std::size_t>(edge.first)];
                const Vec3d& v = out.points[static_cast<std::size_t>(edge.second)];
                // Far ones are left out by their box.
                bool isNear = true;
                for (int axis = 0; axis < 3; ++axis) {
                    isNear = isNear && p[axis] >= std::min(u[axis], v[axis]) - 1e-3 * extent &&
                             p[axis] <= std::max(u[axis], v[axis]) + 1e-3 * extent;
                }
                if (isNear) {
                    nearest = std::min(nearest, Support::DistanceToTriangle(p, u, v, v));
                }
            }
            EXPECT_LE(nearest, 1e-9) << p;
        }
    }
}

/// The largest part and the two scans last, which take most of the time: a sanitizer is content
/// with the other parts.
constexpr std::array kParts{
    PartCase{"PlateHoles", "meshes_cad/plate_holes.STL", 30, 0.3, 0.01, 0.4},
    PartCase{"IdlerRiser", "meshes_cad/idler_riser.STL", 30, 0.5, 0.01, 0.3},
    PartCase{"NistCtc01", "meshes_nist/nist_ctc_01_asme1_rd.stl", 30, 0.5, 0.01, 0.4},
    PartCase{"NistFtc11", "meshes_nist/nist_ftc_11_asme1_rb.stl", 30, 0.5, 0.01, 0.4},
    PartCase{"Spot", "meshes_organic/spot.stl", 60, 1, 0.002, 0.95},
    PartCase{"Fish", "meshes_organic/fish.stl", 60, 1.5, 0.01, 0.9}};

INSTANTIATE_TEST_SUITE_P(Shared, IsotropicRemeshPart,
                         testing::ValuesIn(kParts.begin(), kParts.begin() + Support::FullOr(6, 3)),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(IsotropicRemesh, NeedlesAlongFeaturesAreNoEndlessWork)
{
    // Feature chords far shorter than the length: what remeshers that protect them never finish.
    // The result is as long as the surface asks for, about area over the area of an equilateral
    // triangle, and what the features hold besides.
    const auto file = Support::SharedData("meshes_nist/nist_ftc_06_asme1_rd.stl");
    SORVANE_NEED_DATA(file);
    const IndexedMesh source = Support::WeldedStl<double>(file);
    IndexedMesh out;
    const unsigned most = Support::FullOr(30U, 4U);
    EXPECT_LE(Mesh::IsotropicRemesh(source, out, 40, 5, most, true), most);
    double area = 0;
    for (std::size_t i = 0; i < source.indices.size(); i += 3) {
        area += Length((Support::PointOf(source, i + 1) - Support::PointOf(source, i)) ^
                       (Support::PointOf(source, i + 2) - Support::PointOf(source, i))) /
                2;
    }
    const double ideal = area / (std::sqrt(3.0) / 4 * 25);
    EXPECT_LT(static_cast<double>(out.indices.size() / 3),
              3 * ideal + 8 * static_cast<double>(Support::FeatureSegments(source, 40).size()));
    EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
}

TEST(IsotropicRemesh, PartsWithDegenerateTrianglesAndPinches)
{
    for (const char* name :
         {"with_degenerate/nist_ctc_05.stl", "with_degenerate/nist_ftc_06.stl"}) {
        const auto file = Support::SharedData(name);
        SORVANE_NEED_DATA(file);
        const IndexedMesh source = Support::WeldedStl<double>(file);
        // Without the triples that name a point twice, as a mesh takes them.
        IndexedMesh clean = source;
        clean.indices.clear();
        for (std::size_t i = 0; i < source.indices.size(); i += 3) {
            const int a = source.indices[i];
            const int b = source.indices[i + 1];
            const int c = source.indices[i + 2];
            if (a != b && b != c && c != a) {
                clean.indices.insert(clean.indices.end(), {a, b, c});
            }
        }
        ASSERT_LT(clean.indices.size(), source.indices.size()) << "nothing degenerate in it";
        const IndexedMesh out = Remeshed(source, 40, 0, 3, true);
        EXPECT_EQ(Support::FaultsOf(out), Support::FaultsOf(clean)) << name;
        EXPECT_EQ(Support::EulerOf(out), Support::EulerOf(clean)) << name;
        EXPECT_NEAR(Support::VolumeOf(out) / Support::VolumeOf(clean), 1, 0.02) << name;
    }
}

// --- bodies of any genus, far from the origin -------------------------------------------------

/// The surface of the cells of a lattice for which `isSolid` holds, in a box of so many cells, with
/// one tag for each of the six directions. A cell's corner is moved as `place` says.
template <class IsSolid, class Place>
IndexedMesh SurfaceOfCells(const std::array<int, 3>& cells, IsSolid isSolid, Place place,
                           Tags& tags)
{
    IndexedMesh mesh;
    tags.clear();
    std::map<std::array<int, 3>, int> number;
    const auto corner = [&](const std::array<int, 3>& at) {
        const auto [entry, isNew] = number.try_emplace(at, static_cast<int>(mesh.points.size()));
        if (isNew) {
            mesh.points.push_back(place(Vec3d(at[0], at[1], at[2])));
        }
        return entry->second;
    };
    const auto isInside = [&](const std::array<int, 3>& cell) {
        for (std::size_t i = 0; i < 3; ++i) {
            if (cell[i] < 0 || cell[i] >= cells[i]) {
                return false;
            }
        }
        return isSolid(cell);
    };
    for (int x = 0; x < cells[0]; ++x) {
        for (int y = 0; y < cells[1]; ++y) {
            for (int z = 0; z < cells[2]; ++z) {
                const std::array<int, 3> cell{x, y, z};
                for (std::size_t axis = 0; isInside(cell) && axis < 3; ++axis) {
                    for (const int side : {0, 1}) {
                        std::array<int, 3> beyond = cell;
                        beyond[axis] += side == 1 ? 1 : -1;
                        if (isInside(beyond)) {
                            continue;
                        }
                        // Counter-clockwise as seen from outside.
                        std::array<int, 4> loop;
                        for (std::size_t k = 0; k < 4; ++k) {
                            std::array<int, 3> at = cell;
                            at[axis] += side;
                            at[(axis + 1) % 3] += k == 1 || k == 2 ? 1 : 0;
                            at[(axis + 2) % 3] += k >= 2 ? 1 : 0;
                            loop[side == 1 ? k : 3 - k] = corner(at);
                        }
                        const auto& [a, b, c, d] = loop;
                        mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
                        const auto tag = static_cast<unsigned char>(2 * axis) + side;
                        tags.insert(tags.end(), 2, static_cast<unsigned char>(tag));
                    }
                }
            }
        }
    }
    return mesh;
}

TEST(IsotropicRemeshFar, BodiesOfAnyGenusKeepFacesVolumeAndTags)
{
    // Plates with up to three square holes and a step, stretched and moved away. All faces are
    // flat, so that nothing may be lost of the area that faces each way; were one triangle turned
    // over, more than that would face its way. The second round has coordinates that are those of
    // floats.
    for (int trial = 0; trial < 16; ++trial) {
        Support::Random random(static_cast<std::uint64_t>(trial) + 100);
        const int holes = trial % 4;
        const bool isFloat = trial >= 8;
        const double far = trial % 8 < 4 ? 1e6 : 0;
        SCOPED_TRACE(testing::Message() << trial << ": " << holes << " holes, " << far);
        const Vec3d scale(random.Between(0.5, 2), random.Between(0.5, 2), random.Between(0.5, 2));
        const auto isSolid = [&](const std::array<int, 3>& cell) {
            const bool isHole = cell[1] == 1 && cell[0] % 2 == 1 && cell[0] < 2 * holes;
            return !isHole && (cell[2] == 0 || cell[0] < 1);
        };
        const auto place = [&](const Vec3d& p) {
            Vec3d moved(p[0] * scale[0] + far, p[1] * scale[1] - far, p[2] * scale[2] + far);
            for (int i = 0; isFloat && i < 3; ++i) {
                moved[i] = static_cast<double>(static_cast<float>(moved[i]));
            }
            return moved;
        };
        Tags tags;
        const IndexedMesh body = SurfaceOfCells({8, 3, 2}, isSolid, place, tags);
        ASSERT_EQ(Support::FaultsOf(body), Support::EdgeFaults{});
        ASSERT_EQ(Support::EulerOf(body), 2 - 2 * holes);

        IndexedMesh out;
        Tags outTags;
        const double length = random.Between(0.25, 1.2);
        Mesh::IsotropicRemesh(body, tags, out, outTags, 40, length, 5, trial % 2 == 0);
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(out), 2 - 2 * holes);
        ASSERT_EQ(outTags.size(), out.indices.size() / 3);
        // For each tag the sum of areas, and of their shares along the tag's own direction.
        const auto measure = [](const IndexedMesh& mesh, const Tags& tagOf) {
            std::array<std::array<double, 2>, 6> sums{};
            for (std::size_t t = 0; t < tagOf.size(); ++t) {
                const Vec3d a = Support::PointOf(mesh, 3 * t);
                const Vec3d normal = (Support::PointOf(mesh, 3 * t + 1) - a) ^
                                     (Support::PointOf(mesh, 3 * t + 2) - a);
                const double sense = tagOf[t] % 2 == 1 ? 1 : -1;
                sums[tagOf[t]][0] += Length(normal) / 2;
                sums[tagOf[t]][1] += sense * normal[tagOf[t] / 2] / 2;
            }
            return sums;
        };
        const auto before = measure(body, tags);
        const auto after = measure(out, outTags);
        const double close = far > 0 ? 1e-6 : 1e-9;
        for (std::size_t tag = 0; tag < 6; ++tag) {
            EXPECT_NEAR(before[tag][0], before[tag][1], 1e-9);
            EXPECT_NEAR(after[tag][0], before[tag][0], close) << tag;
            EXPECT_NEAR(after[tag][1], before[tag][1], close) << tag;
        }
        IndexedMesh near = body;
        IndexedMesh nearOut = out;
        for (IndexedMesh* mesh : {&near, &nearOut}) {
            for (Vec3d& p : mesh->points) {
                p = p - Vec3d(far, -far, far);
            }
        }
        EXPECT_NEAR(Support::VolumeOf(nearOut), Support::VolumeOf(near), close);
    }
}

// --- threads ------------------------------------------------------------------------------------

TEST(IsotropicRemesh, TheSameBitsForAnyNumberOfThreads)
{
    IndexedMesh one;
    Support::WithThreads(1, [&] { one = Remeshed(Support::Sphere(5), 60, 0, 3, true); });
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] {
            EXPECT_EQ(Remeshed(Support::Sphere(5), 60, 0, 3, true), one) << threads;
        });
    }
}

// --- hostile input ------------------------------------------------------------------------------

TEST(IsotropicRemeshHostile, EmptyMeshesAndNaNLengthsGiveNothing)
{
    IndexedMesh out = Support::Cube();
    Tags outTags{1, 2};
    const IndexedMesh incomplete{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, 0}};
    for (const IndexedMesh& mesh : {IndexedMesh{}, IndexedMesh{{{1, 2, 3}}, {}}, incomplete}) {
        out = Support::Cube();
        outTags = {1, 2};
        EXPECT_EQ(Mesh::IsotropicRemesh(mesh, {}, out, outTags, 10, 1, 3, true), 0U);
        EXPECT_EQ(out, IndexedMesh{});
        EXPECT_EQ(outTags, Tags{});
    }
    out = Support::Cube();
    outTags = {1, 2};
    EXPECT_EQ(Mesh::IsotropicRemesh(Support::Cube(), {}, out, outTags, 10, kNaN, 3, true), 0U);
    EXPECT_EQ(out, IndexedMesh{});
    EXPECT_EQ(outTags, Tags{});
    PlaneMesh plane = InThePlane(Support::Grid(1, 1));
    EXPECT_EQ(Mesh::IsotropicRemesh(PlaneMesh{}, plane, 1, 3, true), 0U);
    EXPECT_EQ(plane, PlaneMesh{});
}

TEST(IsotropicRemeshHostile, InfiniteLengthsAndAnglesThatAreNoNumbersEnd)
{
    const IndexedMesh sphere = Support::Sphere(3);
    for (const double length : {kInfinity, -kInfinity, 1e300, -1e300}) {
        const IndexedMesh out = Remeshed(sphere, 60, length, 4, true);
        EXPECT_LE(out.indices.size(), sphere.indices.size()) << length;
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(out), 2);
    }
    for (const double angle : {kNaN, kInfinity, -kInfinity, -5.0, 0.0, 400.0}) {
        const IndexedMesh out = Remeshed(sphere, angle, 0.2, 4, true);
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{}) << angle;
        EXPECT_EQ(Support::EulerOf(out), 2) << angle;
    }
}

TEST(IsotropicRemeshHostile, ACoordinateThatIsNoNumberSpoilsItsNeighborsOnly)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (const double length : {0.0, 0.5}) {
            IndexedMesh grid = Support::Grid(8, 8);
            grid.points[40][1] = bad;
            const IndexedMesh out = Remeshed(grid, 10, length, 12, true);
            const auto notFinite =
                std::count_if(out.points.begin(), out.points.end(),
                              [](const Vec3d& p) { return !std::isfinite(p[0] + p[1] + p[2]); });
            EXPECT_EQ(notFinite, 1) << bad << ": no edge to it is split";
            EXPECT_LT(out.indices.size() / 3, 20000U) << "no explosion";
            EXPECT_EQ(Support::FaultsOf(out).overfull, 0);
            for (const Vec3d& corner : {Vec3d(0, 0, 0), Vec3d(8, 8, 0)}) {
                EXPECT_TRUE(HasPoint(out, corner, 0));
            }
        }
    }
    IndexedMesh all = Support::Cube();
    for (Vec3d& p : all.points) {
        p = {kNaN, kNaN, kNaN};
    }
    Remeshed(all, 10, 0.1, 3, true);
    PlaneMesh plane = InThePlane(Support::Grid(4, 4));
    plane.points[12] = {kNaN, 0};
    PlaneMesh out;
    Mesh::IsotropicRemesh(plane, out, 0.3, 4, true);
    EXPECT_LT(out.indices.size() / 3, 5000U);
}

TEST(IsotropicRemeshHostile, NeighborsOfACoordinateThatIsNoNumberStay)
{
    for (const double bad : {kNaN, kInfinity}) {
        for (const double length : {1.5, 2.0, 3.0}) {
            for (const unsigned iterations : {0U, 1U, 12U}) {
                SCOPED_TRACE(length);
                SCOPED_TRACE(iterations);
                // Oblique, so that no other triangle of the surface has these points.
                IndexedMesh grid = Support::Grid(8, 8);
                for (Vec3d& p : grid.points) {
                    p = {p[0] + 0.23 * p[1], p[1], 0.1 * p[0] * p[1]};
                }
                const IndexedMesh before = grid;
                grid.points[40][1] = bad;
                const IndexedMesh out = Remeshed(grid, 10, length, iterations, true);
                for (std::size_t t = 0; t < grid.indices.size(); t += 3) {
                    const auto* corners = &grid.indices[t];
                    if (std::find(corners, corners + 3, 40) == corners + 3) {
                        continue;
                    }
                    for (std::size_t k = 0; k < 3; ++k) {
                        if (corners[k] != 40) {
                            EXPECT_TRUE(HasPoint(
                                out, before.points[static_cast<std::size_t>(corners[k])], 0))
                                << corners[k];
                        }
                    }
                }
            }
        }
    }
}

TEST(IsotropicRemeshHostile, InThePlaneNeighborsOfACoordinateThatIsNoNumberStay)
{
    // The centroid of the ring is a number also where the node is none: it must not go there, or
    // its neighbors follow.
    constexpr int kBad = 40;
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (const int axis : {0, 1}) {
            for (const double length : {0.6, 1.5, 2.0}) {
                for (const unsigned iterations : {1U, 2U, 12U}) {
                    SCOPED_TRACE(testing::Message() << bad << " in " << axis << ", length "
                                                    << length << ", " << iterations);
                    PlaneMesh grid = InThePlane(Support::Grid(8, 8));
                    for (Vec2d& p : grid.points) {
                        p = {p[0] + 0.23 * p[1], p[1]};
                    }
                    const PlaneMesh before = grid;
                    grid.points[kBad][axis] = bad;
                    PlaneMesh out;
                    Mesh::IsotropicRemesh(grid, out, length, iterations, true);
                    EXPECT_EQ(
                        std::count_if(out.points.begin(), out.points.end(),
                                      [](const Vec2d& p) { return !std::isfinite(p[0] + p[1]); }),
                        1);
                    for (const int neighbor : {30, 31, 39, 41, 49, 50}) {
                        const Vec2d& p = before.points[static_cast<std::size_t>(neighbor)];
                        EXPECT_EQ(std::count(out.points.begin(), out.points.end(), p), 1)
                            << neighbor;
                    }
                }
            }
        }
    }
}

TEST(IsotropicRemeshHostile, CornersOfATriangleThatIsNotFiniteAreNotProjectedElsewhere)
{
    IndexedMesh grid = Support::Grid(4, 4);
    const int first = static_cast<int>(grid.points.size());
    grid.points.insert(grid.points.end(), {{1.3, 2.2, 3}, {3.4, 2.2, 3}, {2, kNaN, 3}});
    grid.indices.insert(grid.indices.end(), {first, first + 1, first + 2});
    const IndexedMesh out = Remeshed(grid, 10, 1, 0, true);
    EXPECT_TRUE(HasPoint(out, {1.3, 2.2, 3}, 0));
    EXPECT_TRUE(HasPoint(out, {3.4, 2.2, 3}, 0));
}

TEST(IsotropicRemeshHostile, WrongSubscriptsAreLeftOut)
{
    IndexedMesh grid = Support::Grid(3, 3);
    grid.indices.insert(grid.indices.end(),
                        {0, 1, 99, -1, 2, 3, 4, 4, 5, std::numeric_limits<int>::max(), 0, 1});
    const Tags tags(grid.indices.size() / 3, 3);
    IndexedMesh out;
    Tags outTags;
    Mesh::IsotropicRemesh(grid, tags, out, outTags, 10, 0, 0, true);
    EXPECT_EQ(SetOf(out), SetOf(Support::Grid(3, 3)));
    EXPECT_EQ(outTags, Tags(18, 3));
    IndexedMesh none{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 7}};
    EXPECT_EQ(Remeshed(none, 10, 0, 3, true), IndexedMesh{});
}

TEST(IsotropicRemeshHostile, ThirdTrianglesOfAnEdgeAreLeftOut)
{
    const IndexedMesh out = Remeshed(Support::Fins(5), 10, 0.2, 4, true);
    EXPECT_EQ(Support::FaultsOf(out).overfull, 0);
    Support::Random random(11);
    for (int trial = 0; trial < 100; ++trial) {
        const auto garbage = Support::GarbageMesh<3, double>(random, 20, 40);
        const IndexedMesh remeshed = Remeshed(garbage, 40, 0.4, 3, trial % 2 == 0);
        // Where sheets touch along an edge, all of them stay.
        std::map<std::pair<int, int>, int> surplus;
        for (std::size_t i = 0; i < remeshed.indices.size(); ++i) {
            const int from = remeshed.indices[i];
            const int to = remeshed.indices[i / 3 * 3 + (i + 1) % 3];
            surplus[std::minmax(from, to)] += from < to ? 1 : -1;
        }
        for (const auto& [edge, count] : Support::EdgeUses(remeshed)) {
            EXPECT_TRUE(count <= 2 || surplus[edge] == 0) << trial;
        }
        const auto flat = Support::GarbageMesh<2, double>(random, 20, 40);
        PlaneMesh plane;
        Mesh::IsotropicRemesh({flat.points, flat.indices}, plane, 0.4, 3, trial % 2 == 0);
    }
}

TEST(IsotropicRemeshHostile, BodiesThatTouchInAPointStayTogether)
{
    // Two cubes corner to corner: the point where both meet stays, with both fans.
    IndexedMesh other = Support::Cube();
    for (Vec3d& p : other.points) {
        p += Vec3d(1, 1, 1);
    }
    IndexedMesh both = Support::Together(Support::Cube(), other);
    Mesh::FilterForUniqueness(both, 0.0);
    ASSERT_EQ(both.points.size(), 15U);
    const IndexedMesh out = Remeshed(both, 30, 0.3, 6, true);
    EXPECT_TRUE(HasPoint(out, {1, 1, 1}, 0));
    EXPECT_NEAR(Support::VolumeOf(out), 2, 1e-12);
    EXPECT_EQ(Support::EulerOf(out), 3);
    EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
}

TEST(IsotropicRemeshHostile, SmallAndFarBodiesAreRemeshedAlike)
{
    const IndexedMesh sphere = Support::Sphere(3);
    const std::size_t expected = Remeshed(sphere, 60, 0.25, 6, true).indices.size();
    IndexedMesh far = sphere;
    for (Vec3d& p : far.points) {
        p += Vec3d(1e6, -1e6, 1e6);
    }
    const IndexedMesh farOut = Remeshed(far, 60, 0.25, 6, true);
    EXPECT_EQ(Support::EulerOf(farOut), 2);
    EXPECT_NEAR(static_cast<double>(farOut.indices.size()), static_cast<double>(expected),
                0.05 * static_cast<double>(expected));
    IndexedMesh small = sphere;
    for (Vec3d& p : small.points) {
        p *= 1e-3; // a model in meters
    }
    EXPECT_EQ(Remeshed(small, 60, 0.25e-3, 6, true).indices.size(), expected);
}

TEST(IsotropicRemeshHostile, SurfacesWhoseSquaredAreasAreNoNumbersKeepTheirTopology)
{
    for (const double size : {1e80, 1e150}) {
        for (const double angle : {10.0, 60.0}) {
            for (const bool isClosed : {true, false}) {
                SCOPED_TRACE(testing::Message() << size << ", angle " << angle);
                IndexedMesh mesh = isClosed ? Support::Sphere(3) : Support::Grid(3, 3);
                for (Vec3d& p : mesh.points) {
                    p *= size;
                }
                const IndexedMesh out = Remeshed(mesh, angle, 0.1 * size, 5, true);
                EXPECT_GT(out.indices.size(), 2 * mesh.indices.size());
                EXPECT_EQ(Support::FaultsOf(out), Support::FaultsOf(mesh));
                EXPECT_EQ(Support::EulerOf(out), Support::EulerOf(mesh));
            }
        }
    }
}

TEST(IsotropicRemeshHostile, CollapsedBodiesEnd)
{
    IndexedMesh line = Support::Sphere(2);
    for (Vec3d& p : line.points) {
        p = {p[0], 0, 0};
    }
    Remeshed(line, 40, 0.1, 4, true);
    IndexedMesh point = Support::Sphere(2);
    for (Vec3d& p : point.points) {
        p = {1, 2, 3};
    }
    const IndexedMesh out = Remeshed(point, 40, 0, 4, true);
    EXPECT_LE(out.points.size(), 1U) << "welded";
}

TEST(IsotropicRemeshHostile, AMeshMayBeItsOwnOutput)
{
    IndexedMesh mesh = Support::Sphere(3);
    Tags tags(mesh.indices.size() / 3, 4);
    const IndexedMesh expected = Remeshed(mesh, 60, 0.2, 3, true);
    EXPECT_EQ(Mesh::IsotropicRemesh(mesh, tags, mesh, tags, 60, 0.2, 3, true), 3U);
    EXPECT_EQ(mesh, expected);
    EXPECT_EQ(tags, Tags(mesh.indices.size() / 3, 4));
}

} // namespace
