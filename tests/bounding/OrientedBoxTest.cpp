// Oriented boxes and prisms beside plain searches that share nothing with the library, on known
// solids, hostile sets and real parts.

#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Velk/Math/Transform_E.h>

#include "tests/support/Digest.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/PointSets.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;
using Support::PointSet;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <int N>
struct Box {
    bool isFound = false;
    TransformBase<N> transform;
    VecBase<N, double> size;

    double Measure() const
    {
        double product = 1;
        for (const double edge : size) {
            product *= edge;
        }
        return product;
    }
    friend bool operator==(const Box&, const Box&) = default;
};

/// Outputs that hold something before the call: it has to clear them.
template <int N>
Box<N> DirtyBox()
{
    Box<N> box;
    box.transform(0, 0) = 7;
    box.size[0] = 7;
    return box;
}

template <int N>
Box<N> BoxOf(const std::vector<VecBase<N, double>>& points)
{
    Box<N> box = DirtyBox<N>();
    box.isFound = OrientedBoundingBox(points, box.transform, box.size);
    return box;
}

Box<3> MinimalBoxOf(const std::vector<Vec3d>& points)
{
    Box<3> box = DirtyBox<3>();
    box.isFound = MinimalOrientedBox(points, box.transform, box.size);
    return box;
}

Box<3> BoxOfHull(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
{
    Box<3> box = DirtyBox<3>();
    box.isFound = OrientedBoundingBoxOfHull(points, triangles, box.transform, box.size);
    return box;
}

Box<2> BoxOfHull(const std::vector<Vec2d>& points)
{
    Box<2> box = DirtyBox<2>();
    box.isFound = OrientedBoundingBoxOfHull(points, box.transform, box.size);
    return box;
}

template <int N>
void ExpectNone(const Box<N>& box)
{
    EXPECT_EQ(box, Box<N>{});
}

template <int N>
VecBase<N, double> Column(const TransformBase<N>& transform, int c)
{
    VecBase<N, double> column;
    for (int r = 0; r < N; ++r) {
        column[r] = transform(r, c);
    }
    return column;
}

/// A proper rotation; the points lie between zero and the size, touching both, within `share` of
/// the size of the set and the roundings of its coordinates.
template <int N>
void ExpectTightAround(const Box<N>& box, const std::vector<VecBase<N, double>>& points,
                       double share = 1e-9)
{
    ASSERT_TRUE(box.isFound);
    double width = 0;
    double reach = 0;
    for (const auto& p : points) {
        width = std::max(width, Length(p - points.front()));
        reach = std::max(reach, Length(p));
    }
    const double tolerance = share * width + 1e-14 * reach;
    for (int a = 0; a < N; ++a) {
        for (int b = 0; b < N; ++b) {
            EXPECT_NEAR(Column(box.transform, a) * Column(box.transform, b), a == b ? 1 : 0, 1e-12);
        }
        EXPECT_GE(box.size[a], 0);
        double low = kInfinity;
        double high = -kInfinity;
        for (const auto& p : points) {
            const double place = (p - Column(box.transform, N)) * Column(box.transform, a);
            low = std::min(low, place);
            high = std::max(high, place);
        }
        EXPECT_NEAR(low, 0, tolerance) << "axis " << a;
        EXPECT_NEAR(high, box.size[a], tolerance) << "axis " << a;
    }
    if constexpr (N == 3) {
        EXPECT_GT((Column(box.transform, 0) ^ Column(box.transform, 1)) * Column(box.transform, 2),
                  0.99);
    } else {
        EXPECT_GT(Column(box.transform, 0) ^ Column(box.transform, 1), 0.99);
    }
}

double Extent(const auto& points, const auto& direction)
{
    double low = kInfinity;
    double high = -kInfinity;
    for (const auto& p : points) {
        const double place = (p - points.front()) * direction;
        low = std::min(low, place);
        high = std::max(high, place);
    }
    return high - low;
}

/// The least area of all rectangles with an edge through two of the points, and so of all.
double LeastArea(const std::vector<Vec2d>& points)
{
    double least = kInfinity;
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const Vec2d edge = points[i] - points[j];
            const double length = Length(edge);
            if (length > 0) {
                const Vec2d along = edge / length;
                least = std::min(least, Extent(points, along) *
                                            Extent(points, Vec2d{along.y(), -along.x()}));
            }
        }
    }
    return least;
}

/// Two directions that with `axis` make a right-angled frame.
std::array<Vec3d, 2> Across(const Vec3d& axis)
{
    const Vec3d helper = std::fabs(axis.x()) < 0.6 ? Vec3d{1, 0, 0} : Vec3d{0, 1, 0};
    const Vec3d u = axis ^ helper;
    return {u / Length(u), (axis ^ u) / Length(u)};
}

std::vector<Vec2d> SeenAlong(const std::vector<Vec3d>& points, const Vec3d& axis)
{
    const auto [u, v] = Across(axis);
    std::vector<Vec2d> seen;
    for (const Vec3d& p : points) {
        seen.push_back({(p - points.front()) * u, (p - points.front()) * v});
    }
    return seen;
}

/// Directions spread over the sphere: equal steps in z, turned by the golden angle.
std::vector<Vec3d> Spread(int count)
{
    std::vector<Vec3d> directions;
    const double golden = (1 + std::sqrt(5)) / 2;
    for (int i = 0; i < count; ++i) {
        const double z = 1 - 2.0 * i / count;
        const double radius = std::sqrt(std::max(0.0, 1 - z * z));
        const double turns = i * golden - std::floor(i * golden);
        directions.push_back(
            {radius * std::cos(2 * M_PI * turns), radius * std::sin(2 * M_PI * turns), z});
    }
    return directions;
}

/// Least volume over many axes, for each of which every turn about it counts.
double DenseVolume(const std::vector<Vec3d>& points, int axisCount)
{
    double least = kInfinity;
    for (const Vec3d& axis : Spread(axisCount)) {
        least = std::min(least, Extent(points, axis) * LeastArea(SeenAlong(points, axis)));
    }
    return least;
}

/// Least volume among boxes on a triangle with X along its first edge.
double LeastOnTriangles(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
{
    double least = kInfinity;
    for (std::size_t i = 0; i + 2 < triangles.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return points[static_cast<std::size_t>(triangles[i + k])];
        };
        const Vec3d edge = corner(1) - corner(0);
        const Vec3d normal = edge ^ (corner(2) - corner(0));
        if (Length(normal) > 1e-14 * (edge * edge)) {
            const Vec3d x = edge / Length(edge);
            const Vec3d z = normal / Length(normal);
            least = std::min(least, Extent(points, x) * Extent(points, z ^ x) * Extent(points, z));
        }
    }
    return least;
}

/// Area of the hull of points left of the line from `a` to `b`, and of these two: the triangle with
/// the farthest of them, and what lies outside of its other two edges. No order of points decides
/// anything, so that collinear and coincident ones cost a rounding only.
double AreaLeftOf(const Vec2d& a, const Vec2d& b, const std::vector<Vec2d>& points)
{
    std::vector<Vec2d> left;
    double farthest = 0;
    Vec2d apex;
    for (const Vec2d& p : points) {
        if (const double turn = (b - a) ^ (p - a); turn > 0) {
            left.push_back(p);
            if (turn > farthest) {
                farthest = turn;
                apex = p;
            }
        }
    }
    return left.empty() ? 0 : farthest / 2 + AreaLeftOf(a, apex, left) + AreaLeftOf(apex, b, left);
}

double HullArea(const std::vector<Vec2d>& points)
{
    const auto [first, last] =
        std::minmax_element(points.begin(), points.end(), [](auto& a, auto& b) {
            return std::pair(a.x(), a.y()) < std::pair(b.x(), b.y());
        });
    return AreaLeftOf(*first, *last, points) + AreaLeftOf(*last, *first, points);
}

std::vector<Vec3d> CubeCorners()
{
    std::vector<Vec3d> corners;
    for (int i = 0; i < 8; ++i) {
        corners.push_back({i & 1, i >> 1 & 1, i >> 2});
    }
    return corners;
}

/// Twelve triangles of that cube, outward, each beginning with the diagonal of its face when
/// `diagonalFirst` and with an edge otherwise.
std::vector<int> CubeTriangles(bool diagonalFirst)
{
    const std::vector<std::array<int, 4>> faces{{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                                {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    std::vector<int> triangles;
    for (const auto& [a, b, c, d] : faces) {
        if (diagonalFirst) {
            triangles.insert(triangles.end(), {c, a, b, a, c, d});
        } else {
            triangles.insert(triangles.end(), {a, b, c, c, d, a});
        }
    }
    return triangles;
}

std::vector<Vec3d> RegularTetrahedron()
{
    return {{0, 0, 0}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}}; // edge sqrt(2), in the unit cube
}

/// A turn and shift that no axis survives.
TransformBase<3> Askew()
{
    return Transform::BuildTranslationTransform({30, -70, 11}) *
           Transform::BuildRotationFromAxisAngle({1, 2, -0.7}, 0.83);
}

struct Hull {
    std::vector<Vec3d> points;
    std::vector<int> triangles;
};

Hull HullOf(const std::vector<Vec3d>& points)
{
    Hull hull;
    EXPECT_TRUE(ConvexHull(points, hull.points, hull.triangles, false, false));
    return hull;
}

// --- the plane ----------------------------------------------------------------------------------

TEST(OrientedBoxInThePlane, OfATriangleStandsOnItsBestSide)
{
    // 3-4-5: every side gives twice the triangle's area, 12; the shortest perimeter is 3 by 4.
    const Box<2> right = BoxOf<2>({{0, 0}, {4, 0}, {0, 3}});
    ExpectTightAround(right, {{0, 0}, {4, 0}, {0, 3}});
    EXPECT_NEAR(right.Measure(), 12, 1e-12);
    // Obtuse: on the longest side, 10 by 1.
    const std::vector<Vec2d> obtuse{{0, 0}, {10, 0}, {4, 1}};
    const Box<2> flat = BoxOf<2>(obtuse);
    ExpectTightAround(flat, obtuse);
    EXPECT_NEAR(flat.size.x(), 10, 1e-12);
    EXPECT_NEAR(flat.size.y(), 1, 1e-12);
}

TEST(OrientedBoxInThePlane, TurnedRectangleIsItsOwnBox)
{
    const auto turn =
        Transform::BuildTranslationTransform2D({5, -3}) * Transform::BuildRotationFromAngle(0.4);
    const std::vector<Vec2d> corners{turn * Vec2d(0, 0), turn * Vec2d(7, 0), turn * Vec2d(7, 2),
                                     turn * Vec2d(0, 2), turn * Vec2d(3, 1)};
    const Box<2> box = BoxOf(corners);
    ExpectTightAround(box, corners);
    EXPECT_NEAR(box.Measure(), 14, 1e-12);
    EXPECT_NEAR(std::max(box.size.x(), box.size.y()), 7, 1e-12);
    const Box<2> again = BoxOfHull(ConvexHull(corners, false));
    EXPECT_EQ(box, again);
}

TEST(OrientedBoxInThePlane, IsTheLeastOverAllEdges)
{
    Support::Random random(11);
    for (const PointSet set : Support::kPointSets) {
        if (set == PointSet::Line || set == PointSet::NearLine || set == PointSet::Duplicates) {
            continue; // below
        }
        SCOPED_TRACE(NameOf(set));
        for (int round = 0; round < 12; ++round) {
            const auto points = Support::MakePoints<2, double>(set, 4 + 2 * round, random);
            const Box<2> box = BoxOf(points);
            ExpectTightAround(box, points);
            const double least = LeastArea(points);
            EXPECT_NEAR(box.Measure(), least, 1e-11 * least);
        }
    }
}

TEST(OrientedBoxInThePlane, OfThousandsOfVerticesIsNoLargerThanAnyTurnedBox)
{
    Support::Random random(5);
    const auto points = Support::PointsOnSphere<2, double>(20'000, random);
    const Box<2> box = BoxOf(points);
    ExpectTightAround(box, points);
    for (int i = 0; i < 90; ++i) {
        const Vec2d along{std::cos(i * M_PI / 180), std::sin(i * M_PI / 180)};
        EXPECT_LE(box.Measure(),
                  Extent(points, along) * Extent(points, Vec2d{-along.y(), along.x()}) + 1e-12);
    }
}

TEST(OrientedBoxInThePlane, AnyListOfVerticesIsHeld)
{
    // Clockwise, with a dent, a spike and repeats: not what a hull looks like.
    const std::vector<std::vector<Vec2d>> lists{
        {{0, 0}, {0, 2}, {5, 2}, {5, 0}},
        {{0, 0}, {4, 0}, {2, 0.5}, {4, 3}, {0, 3}},
        {{0, 0}, {0, 0}, {4, 0}, {4, 0}, {1, 3}, {1, 3}},
        {{0, 0}, {2, 0}, {4, 0}, {4, 2}, {2, 2}, {0, 2}},
        {{0, 0}, {3, 3}, {3, 0}, {0, 3}, {-1, 1}},
    };
    for (const auto& list : lists) {
        const Box<2> box = BoxOfHull(list);
        ExpectTightAround(box, list);
        EXPECT_NEAR(box.Measure(), LeastArea(list), 1e-12);
    }
    // Twice round the same triangle: every turn is to the left.
    const std::vector<Vec2d> twice{{0, 0}, {4, 0}, {1, 3}, {0, 0}, {4, 0}, {1, 3}};
    EXPECT_NEAR(BoxOfHull(twice).Measure(), LeastArea(twice), 1e-12);
    const std::vector<Vec2d> star{{0, 10}, {-6, -8}, {9.5, 3}, {-9.5, 3}, {6, -8}};
    EXPECT_NEAR(BoxOfHull(star).Measure(), LeastArea(star), 1e-11);
}

TEST(OrientedBoxInThePlane, NoneForNothingOnePointTwoAndALine)
{
    ExpectNone(BoxOf<2>({}));
    ExpectNone(BoxOf<2>({{1, 2}}));
    ExpectNone(BoxOf<2>({{1, 2}, {3, 4}}));
    ExpectNone(BoxOf<2>({{1, 2}, {1, 2}, {1, 2}, {1, 2}}));
    ExpectNone(BoxOf<2>({{0, 0}, {1, 1}, {2, 2}}));
    ExpectNone(BoxOf<2>({{0, 0}, {1, 1}, {2, 2}, {7, 7}, {5, 5}}));
    ExpectNone(BoxOfHull(std::vector<Vec2d>{}));
    ExpectNone(BoxOfHull(std::vector<Vec2d>{{0, 0}, {1, 0}}));
    ExpectNone(BoxOfHull(std::vector<Vec2d>{{1, 0}, {1, 0}, {1, 0}}));
    ExpectNone(BoxOfHull(std::vector<Vec2d>{{0, 0}, {1, 0}, {0, kNaN}}));
    ExpectNone(BoxOfHull(std::vector<Vec2d>{{0, 0}, {1, 0}, {0, kInfinity}}));
}

TEST(OrientedBoxInThePlane, VerticesOnALineHaveARectangleWithoutWidth)
{
    const std::vector<Vec2d> line{{3, 4}, {0, 0}, {6, 8}, {-3, -4}};
    const Box<2> box = BoxOfHull(line);
    ExpectTightAround(box, line);
    EXPECT_NEAR(box.size.x(), 15, 1e-13);
    EXPECT_EQ(box.size.y(), 0);
}

TEST(OrientedBoxInThePlane, PointsThatAreNotFiniteAreLeftOut)
{
    const std::vector<Vec2d> finite{{0, 0}, {4, 1}, {3, 5}, {-1, 2}};
    std::vector<Vec2d> points = finite;
    points.insert(points.begin() + 1, {kNaN, 1});
    points.push_back({2, -kInfinity});
    EXPECT_EQ(BoxOf(points), BoxOf(finite));
}

TEST(OrientedBoxInThePlane, HugeTinyAndFarAwayKeepTheirShape)
{
    const std::vector<Vec2d> shape{{0, 0}, {4, 1}, {3, 5}, {-1, 2}, {-1, 1}};
    const double area = LeastArea(shape);
    for (const double scale : {0x1p498, 0x1p-28, 0x1p20}) {
        std::vector<Vec2d> scaled;
        for (const Vec2d& p : shape) {
            scaled.push_back(p * scale);
        }
        const Box<2> box = BoxOf(scaled);
        ASSERT_TRUE(box.isFound) << scale;
        EXPECT_NEAR(box.size.x() / scale * (box.size.y() / scale), area, 1e-12 * area);
    }
    for (const Vec2d& shift : {Vec2d{1e6, -1e6}, Vec2d{-3e7, 1e3}}) {
        std::vector<Vec2d> moved;
        for (const Vec2d& p : shape) {
            moved.push_back(p + shift);
        }
        const Box<2> box = BoxOf(moved);
        ExpectTightAround(box, moved);
        EXPECT_NEAR(box.Measure(), LeastArea(moved), 1e-12 * area);
    }
}

TEST(OrientedBoxInThePlane, TiesRepeat)
{
    // A square has four equal boxes, in any order of its corners the one on the hull's first edge.
    std::vector<Vec2d> square{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    const Box<2> box = BoxOf(square);
    EXPECT_EQ(Column(box.transform, 0), Vec2d(1, 0));
    EXPECT_EQ(box.size, Vec2d(1, 1));
    do {
        EXPECT_EQ(BoxOf(square), box);
    } while (std::next_permutation(square.begin(), square.end(), [](auto& a, auto& b) {
        return std::pair(a.x(), a.y()) < std::pair(b.x(), b.y());
    }));
}

TEST(OrientedBoxInThePlane, OfEqualAreasTheShorterPerimeter)
{
    // Right triangles with whole sides: each side has the same rectangle area, without a rounding,
    // and the hull begins with the longest side.
    for (const auto& [a, b] : std::vector<std::pair<double, double>>{{4, 3}, {8, 15}, {20, 21}}) {
        const Box<2> box = BoxOf<2>({{0, 0}, {-a, 0}, {0, -b}});
        EXPECT_EQ(box.Measure(), a * b);
        EXPECT_EQ(box.size.x() + box.size.y(), a + b);
    }
}

// --- space: the box on a triangle ---------------------------------------------------------------

TEST(OrientedBoxOnATriangle, OfACubeDependsOnTheFirstEdges)
{
    const Box<3> byEdges = BoxOfHull(CubeCorners(), CubeTriangles(false));
    ExpectTightAround(byEdges, CubeCorners());
    EXPECT_NEAR(byEdges.Measure(), 1, 1e-14);
    const Box<3> byDiagonals = BoxOfHull(CubeCorners(), CubeTriangles(true));
    ExpectTightAround(byDiagonals, CubeCorners());
    EXPECT_NEAR(byDiagonals.Measure(), 2, 1e-14);
}

TEST(OrientedBoxOnATriangle, OfARegularTetrahedronHasTwiceTheCube)
{
    const Box<3> box = BoxOf(RegularTetrahedron());
    ExpectTightAround(box, RegularTetrahedron());
    EXPECT_NEAR(box.Measure(), 2, 1e-13);
}

TEST(OrientedBoxOnATriangle, IsTheLeastOfMeasuringAll)
{
    Support::Random random(3);
    for (const PointSet set : {PointSet::Cube, PointSet::Ball, PointSet::Sphere, PointSet::Lattice,
                               PointSet::Clusters, PointSet::Antipodal}) {
        SCOPED_TRACE(NameOf(set));
        for (const int count : {5, 12, 60, 400}) { // the last by climbing
            const auto points = Support::MakePoints<3, double>(set, count, random);
            const Hull hull = HullOf(points);
            const Box<3> box = BoxOfHull(hull.points, hull.triangles);
            ExpectTightAround(box, hull.points);
            const double least = LeastOnTriangles(hull.points, hull.triangles);
            EXPECT_NEAR(box.Measure(), least, 1e-11 * least);
            EXPECT_EQ(BoxOf(points), box);
        }
    }
}

TEST(OrientedBoxOnATriangle, TrianglesThatAreNoHullAreMeasuredInFull)
{
    // Climbing goes astray on these: open, not convex, and with points that no triangle has.
    Support::Random random(8);
    for (int round = 0; round < 10; ++round) {
        const auto points = Support::MakePoints<3, double>(PointSet::Cube, 150, random);
        std::vector<int> triangles;
        for (int i = 0; i < 3 * 200; ++i) {
            triangles.push_back(random.Below(100));
        }
        const Box<3> box = BoxOfHull(points, triangles);
        ExpectTightAround(box, points);
        const double least = LeastOnTriangles(points, triangles);
        EXPECT_NEAR(box.Measure(), least, 1e-11 * least);
    }
}

TEST(OrientedBoxOnATriangle, OfConesAndSpindlesIsTheLeastOfMeasuringAll)
{
    // Bounds come from climbing past corners that hundreds of triangles meet at.
    for (const double tip : {0.2, 5.0}) {
        for (const bool isDouble : {false, true}) {
            std::vector<Vec3d> points{{0.1, 0.2, tip}};
            if (isDouble) {
                points.push_back({0.3, -0.1, -2 * tip});
            }
            for (int i = 0; i < 500; ++i) {
                const double angle = 2 * M_PI * i / 500;
                points.push_back({3 * std::cos(angle), 2 * std::sin(angle), 0});
            }
            points = Askew() * points;
            const Hull hull = HullOf(points);
            const Box<3> box = BoxOfHull(hull.points, hull.triangles);
            ExpectTightAround(box, hull.points);
            const double least = LeastOnTriangles(hull.points, hull.triangles);
            EXPECT_NEAR(box.Measure(), least, 1e-11 * least);
        }
    }
}

TEST(OrientedBoxOnATriangle, DegenerateTrianglesDoNotWin)
{
    // A needle on an edge of the cube, a point three times, and one with collinear corners.
    std::vector<Vec3d> points = CubeCorners();
    points.push_back({0.5, 0, 0});
    std::vector<int> triangles{0, 1, 8, 3, 3, 3, 0, 8, 1};
    ExpectNone(BoxOfHull(points, triangles));
    const std::vector<int> cube = CubeTriangles(false);
    triangles.insert(triangles.end(), cube.begin(), cube.end());
    const Box<3> box = BoxOfHull(points, triangles);
    ExpectTightAround(box, points);
    EXPECT_NEAR(box.Measure(), 1, 1e-14);
}

TEST(OrientedBoxOnATriangle, NoneForFewIndicesWrongOnesAndWhatIsNotFinite)
{
    const std::vector<Vec3d> points = CubeCorners();
    ExpectNone(BoxOfHull({}, {}));
    ExpectNone(BoxOfHull(points, {}));
    ExpectNone(BoxOfHull(points, {0, 1, 2}));
    EXPECT_TRUE(BoxOfHull(points, {0, 1, 2, 3}).isFound) << "the fourth says nothing";
    ExpectNone(BoxOfHull(points, {0, 1, 2, 0, 1, 8}));
    ExpectNone(BoxOfHull(points, {0, 1, 2, 0, -1, 3}));
    for (const double bad : {kNaN, kInfinity}) {
        std::vector<Vec3d> spoiled = points;
        spoiled[6].y() = bad;
        ExpectNone(BoxOfHull(spoiled, CubeTriangles(false)));
    }
}

TEST(OrientedBoxOnATriangle, NoneForNothingOnePointTwoAndALine)
{
    const std::vector<std::vector<Vec3d>> sets{
        {},
        {{1, 2, 3}},
        {{1, 2, 3}, {4, 5, 6}},
        {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {1, 2, 3}},
        {{0, 0, 0}, {1, 2, 3}, {2, 4, 6}},
        {{0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {-5, -10, -15}, {0.5, 1, 1.5}},
        {{1e6, 1e6, 0}, {1e6 + 0.1, 1e6 + 0.2, 0.3}, {1e6 + 0.3, 1e6 + 0.6, 0.9}},
        {{kNaN, 0, 0}, {0, 1, 0}, {0, 0, 1}},
    };
    for (const auto& set : sets) {
        ExpectNone(BoxOf(set));
        ExpectNone(MinimalBoxOf(set));
    }
}

TEST(OrientedBoxOnATriangle, PointsInOnePlaneHaveNoThickness)
{
    const std::vector<Vec2d> shape{{0, 0}, {0.4, 0.1}, {0.3, 0.5}, {-0.1, 0.2}, {0.2, 0.2}};
    const double area = LeastArea(shape);
    const TransformBase<3> turn = Transform::BuildRotationFromAxisAngle({1, 2, -0.7}, 0.83);
    for (const double scale : {1.0, 1e4, 1e6}) { // the larger ones are flat up to rounding only
        for (const bool isSlanted : {false, true}) {
            std::vector<Vec3d> points;
            for (const Vec2d& p : shape) {
                const Vec3d raised(scale * p.x(), scale * p.y(), 0.5);
                points.push_back(isSlanted ? turn * raised : raised);
            }
            for (const Box<3>& box : {BoxOf(points), MinimalBoxOf(points)}) {
                ASSERT_TRUE(box.isFound) << scale;
                ExpectTightAround(box, points, 1e-11);
                EXPECT_EQ(box.size.z(), 0);
                EXPECT_NEAR(box.size.x() * box.size.y(), area * scale * scale,
                            1e-10 * area * scale * scale);
            }
        }
    }
    ExpectTightAround(BoxOf<3>({{0, 0, 0}, {3, 0, 0}, {0, 4, 0}}),
                      {{0, 0, 0}, {3, 0, 0}, {0, 4, 0}});
}

TEST(OrientedBoxOnATriangle, HugeTinyAndFarAwayKeepTheirShape)
{
    Support::Random random(21);
    const auto shape = Support::MakePoints<3, double>(PointSet::Ball, 40, random);
    for (const auto& boxOf : {BoxOf<3>, MinimalBoxOf}) {
        const double volume = boxOf(shape).Measure();
        for (const double scale : {0x1p498, 0x1p-22, 0x1p20}) {
            std::vector<Vec3d> scaled;
            for (const Vec3d& p : shape) {
                scaled.push_back(p * scale);
            }
            const Box<3> box = boxOf(scaled);
            ASSERT_TRUE(box.isFound) << scale;
            const Vec3d size = box.size / scale;
            EXPECT_NEAR(size.x() * size.y() * size.z(), volume, 1e-6 * volume) << scale;
        }
        std::vector<Vec3d> moved;
        for (const Vec3d& p : shape) {
            moved.push_back(p + Vec3d{1e6, -2e6, 5e5});
        }
        const Box<3> box = boxOf(moved);
        ExpectTightAround(box, moved);
        EXPECT_NEAR(box.Measure(), volume, 1e-7 * volume);
    }
}

TEST(OrientedBoxOnATriangle, PointsThatAreNotFiniteAreLeftOut)
{
    std::vector<Vec3d> points = CubeCorners();
    const Box<3> box = BoxOf(points);
    const Box<3> minimal = MinimalBoxOf(points);
    points.insert(points.begin() + 3, {kNaN, 1, 1});
    points.push_back({1, 1, kInfinity});
    EXPECT_EQ(BoxOf(points), box);
    EXPECT_EQ(MinimalBoxOf(points), minimal);
}

// --- space: the least box -----------------------------------------------------------------------

TEST(MinimalOrientedBox, FindsTheKnownOnes)
{
    // In any position: the cube, which the quick box may miss by a factor of two; the tetrahedron,
    // whose box stands on none of its triangles; a slab.
    std::vector<Vec3d> slab;
    for (const Vec3d& p : CubeCorners()) {
        slab.push_back({100 * p.x(), 30 * p.y(), 2 * p.z()});
    }
    const std::vector<std::pair<std::vector<Vec3d>, double>> solids{
        {CubeCorners(), 1}, {RegularTetrahedron(), 1}, {slab, 6000}};
    for (const auto& [solid, volume] : solids) {
        for (const TransformBase<3>& place : {TransformBase<3>{}, Askew()}) {
            const std::vector<Vec3d> points = place * solid;
            const Box<3> box = MinimalBoxOf(points);
            ExpectTightAround(box, points);
            EXPECT_NEAR(box.Measure(), volume, 1e-9 * volume);
        }
    }
}

TEST(MinimalOrientedBox, IsNoLargerThanADenseSearchOverAllRotations)
{
    Support::Random random(17);
    for (const PointSet set : {PointSet::Cube, PointSet::Ball, PointSet::Sphere, PointSet::Lattice,
                               PointSet::Clusters, PointSet::Antipodal}) {
        SCOPED_TRACE(NameOf(set));
        for (const int count : {5, 6, 10, 16}) {
            const auto points = Support::MakePoints<3, double>(set, count, random);
            const Hull hull = HullOf(points);
            const Box<3> box = MinimalBoxOf(points);
            ExpectTightAround(box, points);
            EXPECT_LE(box.Measure(), DenseVolume(hull.points, 600) * (1 + 1e-9)) << count;
            EXPECT_LE(box.Measure(), BoxOf(points).Measure());
        }
    }
}

// Its edges have none that lie across them but their opposites, to which they are parallel.
TEST(MinimalOrientedBox, BodiesWithACenterOfSymmetryHaveNoSmallerBoxes)
{
    // Halves of bodies, and the first two axes of boxes that were found by turning about each edge.
    struct Case {
        std::vector<Vec3d> half;
        Vec3d x;
        Vec3d y;
    };
    const std::vector<Case> cases{
        {{{-9, -17, -9}, {-13, -14, 9}, {-17, -6, -11}},
         {-0.815541855, -0.573156808, -0.079892157},
         {0.190056320, -0.134878679, -0.972464055}},
        {{{-11, -4, -12}, {11, -20, -1}, {15, 1, -10}, {19, -5, 8}},
         {-0.908532690, 0.378977907, 0.175909344},
         {0.005354135, -0.410428404, 0.911877107}},
        {{{-20, 13, 12}, {3, 14, 5}, {0, 5, 17}, {-4, -19, -19}, {5, -19, 11}},
         {0.284430892, 0.118427388, -0.951353783},
         {-0.203100836, 0.977260229, 0.060930251}}};
    for (const Case& c : cases) {
        std::vector<Vec3d> points = c.half;
        for (const Vec3d& p : c.half) {
            points.push_back(-p);
        }
        const Vec3d x = Vector::Normalized(c.x, 0.0);
        const Vec3d y = Vector::Normalized(c.y - x * (x * c.y), 0.0);
        const double known = Extent(points, x) * Extent(points, y) * Extent(points, x ^ y);
        EXPECT_LE(MinimalBoxOf(points).Measure(), known * (1 + 1e-6));
    }
}

TEST(MinimalOrientedBox, NoSmallTurnMakesItSmaller)
{
    Support::Random random(23);
    for (const PointSet set : {PointSet::Cube, PointSet::Ball, PointSet::Sphere}) {
        SCOPED_TRACE(NameOf(set));
        for (const int count : {6, 10, 20, 60}) {
            const auto points = Support::MakePoints<3, double>(set, count, random);
            const Box<3> box = MinimalBoxOf(points);
            double least = kInfinity;
            for (int i = 0; i < 1500; ++i) {
                const Vec3d axis = Support::RandomDirection<3, double>(random);
                const double angle = std::pow(10, random.Between(-5, -0.5));
                const auto turn = Transform::BuildRotationFromAxisAngle(axis, angle);
                double volume = 1;
                for (int k = 0; k < 3; ++k) {
                    volume *= Extent(points, turn * Column(box.transform, k));
                }
                least = std::min(least, volume);
            }
            EXPECT_GE(least, box.Measure() * (1 - 1e-9)) << count;
        }
    }
}

TEST(MinimalOrientedBox, IsFoundWhereNeitherFacetsNorPairsOfEdgesHaveIt)
{
    // Without the turns these are larger by 1.5 to 6 percent.
    const std::vector<std::pair<PointSet, std::array<int, 2>>> sets{
        {PointSet::Antipodal, {10, 7}}, {PointSet::Antipodal, {8, 7}}, {PointSet::Sphere, {10, 7}}};
    for (const auto& [set, countAndSeed] : sets) {
        Support::Random random(static_cast<std::uint64_t>(countAndSeed[1]));
        const auto points = Support::MakePoints<3, double>(set, countAndSeed[0], random);
        const Box<3> box = MinimalBoxOf(points);
        ExpectTightAround(box, points);
        EXPECT_LE(box.Measure(), DenseVolume(points, 4000) * (1 + 1e-9)) << NameOf(set);
    }
}

TEST(MinimalOrientedBox, IsNoSmallerThanTheHull)
{
    Support::Random random(2);
    const auto points = Support::MakePoints<3, double>(PointSet::Sphere, 500, random);
    const Box<3> box = MinimalBoxOf(points);
    ExpectTightAround(box, points);
    for (const double edge : box.size) {
        EXPECT_GT(edge, 1.9);
        EXPECT_LE(edge, 2 + 1e-12);
    }
}

TEST(MinimalOrientedBox, RealPartsLieInTheirBoxes)
{
    for (const char* name : {"meshes_cad/angle_block.STL", "meshes_nist/nist_ctc_01_asme1_rd.stl",
                             "meshes_cad/voron_z_joint_upper_x4.stl"}) {
        const auto file = Support::SharedData(name);
        SORVANE_NEED_DATA(file);
        SCOPED_TRACE(name);
        const auto points = Askew() * Support::StlCorners<double>(file);
        const Box<3> quick = BoxOf(points);
        const Box<3> least = MinimalBoxOf(points);
        ExpectTightAround(quick, points);
        ExpectTightAround(least, points);
        EXPECT_LE(least.Measure(), quick.Measure());
    }
}

TEST(OrientedBoxes, AreTheSameForAnyNumberOfThreads)
{
    Support::Random random(4);
    const auto points = Support::MakePoints<3, double>(PointSet::Ball, 3000, random);
    const Hull hull = HullOf(points);
    const auto digest = [&] {
        Support::Digest sum;
        const auto add = [&](const TransformBase<3>& transform) {
            for (int c = 0; c < 4; ++c) {
                sum.Add(Column(transform, c));
            }
        };
        for (const Box<3>& box : {BoxOf(points), MinimalBoxOf(points)}) {
            add(box.transform);
            sum.Add(box.size);
        }
        for (const bool byVolume : {false, true}) {
            const auto report =
                MinimalHullPrism(hull.points, hull.triangles, Vec3d{1, 2, 3}, true, byVolume);
            add(report.transform);
            sum.Add(report.area).Add(report.volume).Add(report.high);
        }
        return sum.Text();
    };
    std::set<std::string> digests;
    for (const int threads : {1, 2, 5}) {
        Support::WithThreads(threads, [&] { digests.insert(digest()); });
    }
    EXPECT_EQ(digests.size(), 1U);
}

// --- prisms -------------------------------------------------------------------------------------

/// The z of the points in the frame of the prism run from low to high, and what is seen along it
/// has the area.
template <class T>
void ExpectPrismAround(const HullPrismReport<T>& report, const std::vector<VecBase<3, T>>& points,
                       double share)
{
    double low = kInfinity;
    double high = -kInfinity;
    std::vector<Vec2d> seen;
    for (const auto& p : points) {
        const Vec3d q = report.transform * Vec3d(p);
        low = std::min(low, q.z());
        high = std::max(high, q.z());
        seen.push_back({q.x(), q.y()});
    }
    const double area = HullArea(seen);
    EXPECT_NEAR(report.low, low, share);
    EXPECT_NEAR(report.high, high, share);
    EXPECT_NEAR(report.area, area, share * std::max(1.0, area));
    EXPECT_NEAR(report.volume, area * (high - low), share * std::max(1.0, area * (high - low)));
    for (int a = 0; a < 3; ++a) {
        for (int b = 0; b < 3; ++b) {
            EXPECT_NEAR(Column(report.transform, a) * Column(report.transform, b), a == b ? 1 : 0,
                        1e-12);
        }
    }
}

/// Between which numbers the least area or volume lies.
struct Range {
    double low = kInfinity;
    double high = kInfinity;

    void Add(double value, double slack)
    {
        low = std::min(low, value - slack);
        high = std::min(high, value + slack);
    }
};

/// Least area and least volume over the normals of the triangles and the spread directions, and how
/// much less or more the directions and the measuring in `double` may make of them.
std::array<Range, 2> LeastPrisms(const std::vector<Vec3d>& points,
                                 const std::vector<int>& triangles)
{
    constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
    double reach = 0;
    for (const Vec3d& p : points) {
        reach = std::max(reach, Length(p - points.front()));
    }
    // Each corner is off by four roundings when it is projected, along an outline of up to 2 pi
    // `reach`; each turn and each triangle of the outline by four roundings of the product of two
    // edges, which are up to 2 `reach` long. Both sides do that.
    const double areaRounding =
        (27 + 16 * static_cast<double>(points.size())) * kEpsilon * reach * reach;

    struct Direction {
        Vec3d direction;
        double off;
    };
    // Directions within 1e-12 on every axis are one.
    const double sameOff = std::sqrt(3) * kLengthFloor<double>;
    std::vector<Direction> directions;
    for (const Vec3d& direction : Spread(4096)) {
        // The turn about Z is up to 4096 times the golden angle, a product of four roundings here
        // and there; the angle to Z is hardly less than 1/32, where that many of its cosine count.
        const double turn = static_cast<double>(directions.size()) * 2 * M_PI * 1.62;
        directions.push_back({direction, sameOff + 4 * kEpsilon * turn + 32 * kEpsilon});
    }
    double surface = 0;
    for (std::size_t i = 0; i + 2 < triangles.size(); i += 3) {
        using Wide = std::array<long double, 3>;
        const auto edge = [&](std::size_t from, std::size_t to) {
            const Vec3d& a = points[static_cast<std::size_t>(triangles[i + from])];
            const Vec3d& b = points[static_cast<std::size_t>(triangles[i + to])];
            return Wide{static_cast<long double>(b.x()) - a.x(),
                        static_cast<long double>(b.y()) - a.y(),
                        static_cast<long double>(b.z()) - a.z()};
        };
        const auto length = [](const Wide& w) {
            return std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
        };
        const Wide u = edge(0, 1);
        const Wide v = edge(0, 2);
        const Wide normal{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                          u[0] * v[1] - u[1] * v[0]};
        const long double doubledArea = length(normal);
        if (doubledArea > 0) {
            // Corners are taken relative to the first, a rounding of `reach` each; that moves the
            // normal by as much across the edge on the other side.
            const long double around = length(u) + length(v) + length(edge(1, 2));
            const auto off = static_cast<double>(
                std::min(2.0L, (reach * around / doubledArea + 4) * kEpsilon / 2));
            directions.push_back({{static_cast<double>(normal[0] / doubledArea),
                                   static_cast<double>(normal[1] / doubledArea),
                                   static_cast<double>(normal[2] / doubledArea)},
                                  sameOff + off});
            surface += static_cast<double>(doubledArea / 2);
        }
    }
    std::vector<double> areas;
    for (const Direction& d : directions) {
        areas.push_back(HullArea(SeenAlong(points, d.direction)));
        surface = std::max(surface, 2.01 * areas.back()); // a flat set has two sides
    }
    std::array<Range, 2> least;
    for (std::size_t i = 0; i < directions.size(); ++i) {
        const auto& [direction, off] = directions[i];
        const double area = areas[i];
        const double height = Extent(points, direction);
        // What is seen is half the sum of the area vectors' components, without their signs.
        const double areaSlack = areaRounding + off * surface / 2;
        const double heightSlack = (8 * kEpsilon + off) * 2 * reach;
        least[0].Add(area, areaSlack);
        least[1].Add(area * height,
                     areaSlack * height + area * heightSlack + areaSlack * heightSlack);
    }
    return least;
}

template <class T>
class Prisms : public testing::Test {
protected:
    using Points = std::vector<VecBase<3, T>>;
    static constexpr double kShare = std::is_same_v<T, float> ? 1e-6 : 1e-11;

    static Points Cast(const std::vector<Vec3d>& points) { return {points.begin(), points.end()}; }
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(Prisms, Scalars);

TYPED_TEST(Prisms, OfAUnitCubeHaveAreaAndVolumeOne)
{
    using T = TypeParam;
    const auto points = this->Cast(CubeCorners());
    const auto report =
        MinimalHullPrism(points, CubeTriangles(true), VecBase<3, T>{}, false, false);
    EXPECT_EQ(report.area, T(1));
    EXPECT_EQ(report.volume, T(1));
    ExpectPrismAround(report, points, this->kShare);
    // Of six equal prisms the one along the lexicographically least direction.
    EXPECT_EQ(report.transform * Vec3d(-1, 0, 0), Vec3d(0, 0, 1));
    const auto byVolume =
        MinimalHullPrism(points, CubeTriangles(true), VecBase<3, T>{}, false, true);
    EXPECT_EQ(byVolume.volume, T(1));
    EXPECT_EQ(byVolume.transform, report.transform);
}

TYPED_TEST(Prisms, ReportWhereTheHullBeginsAndEnds)
{
    using T = TypeParam;
    std::vector<Vec3d> slab;
    for (const Vec3d& p : CubeCorners()) {
        slab.push_back({p.x() * 2 + 5, p.y() * 3 - 4, p.z() * 16 + 100});
    }
    const auto points = this->Cast(slab);
    const VecBase<3, T> origin{5, -4, 90};
    const auto free = MinimalHullPrism(points, CubeTriangles(false), origin, false, false);
    EXPECT_EQ(free.area, T(6));
    EXPECT_EQ(free.volume, T(96));
    // The direction -Z comes before +Z, and the slab lies 10 to 26 above the origin.
    EXPECT_EQ(free.low, T(-26));
    EXPECT_EQ(free.high, T(-10));
    ExpectPrismAround(free, points, this->kShare);
    const auto based = MinimalHullPrism(points, CubeTriangles(false), origin, true, false);
    EXPECT_EQ(based.low, T(0));
    EXPECT_EQ(based.high, T(16));
    EXPECT_EQ(based.area, free.area);
    ExpectPrismAround(based, points, this->kShare);
    EXPECT_EQ(free.transform * Vec3d(origin), Vec3d());
    EXPECT_EQ(based.transform * Vec3d(origin), Vec3d(0, 0, 26));
}

TYPED_TEST(Prisms, AreTheLeastOverAllDirections)
{
    using T = TypeParam;
    Support::Random random(9);
    for (const PointSet set : {PointSet::Cube, PointSet::Sphere, PointSet::Lattice,
                               PointSet::Clusters, PointSet::NearLine}) {
        SCOPED_TRACE(NameOf(set));
        for (const int count : {4, 9, 24}) {
            const auto points = Support::MakePoints<3, T>(set, count, random);
            Hull hull;
            const std::vector<Vec3d> wide(points.begin(), points.end());
            ConvexHull(wide, hull.points, hull.triangles, false, false);
            if (hull.triangles.empty()) {
                hull.points = wide; // hardly thicker than rounding
            }
            const auto hullPoints = this->Cast(hull.points);
            const auto least = LeastPrisms(hull.points, hull.triangles);
            for (const bool byVolume : {false, true}) {
                const auto report =
                    MinimalHullPrism(hullPoints, hull.triangles, VecBase<3, T>{}, false, byVolume);
                // Around what it was given: the hull may leave points out by its tolerance.
                ExpectPrismAround(report, hullPoints, this->kShare);
                const double found = byVolume ? report.volume : report.area;
                const auto [low, high] = least[byVolume ? 1 : 0];
                const double rounding = std::numeric_limits<T>::epsilon() * found;
                EXPECT_GE(found, low - rounding);
                EXPECT_LE(found, high + rounding);
            }
        }
    }
}

TYPED_TEST(Prisms, OfEqualAreasTheLeastVolume)
{
    // A bar 3.5 long in Y; its section is a rectangle of 4 by 3 without a corner of 2 by 1.5. Along
    // Y the section is seen, 10.5, along X a rectangle of 3.5 by 3, which is as much; but the bar
    // is 3.5 high there and 4 here.
    using T = TypeParam;
    std::vector<Vec3d> bar;
    for (const double y : {0.0, 3.5}) {
        bar.insert(bar.end(), {{0, y, 0}, {4, y, 0}, {4, y, 1.5}, {2, y, 3}, {0, y, 3}});
    }
    const Hull hull = HullOf(bar);
    const auto report =
        MinimalHullPrism(this->Cast(hull.points), hull.triangles, VecBase<3, T>{}, false, false);
    EXPECT_EQ(report.area, T(10.5));
    EXPECT_EQ(report.volume, T(36.75));
}

TYPED_TEST(Prisms, OfATetrahedronIsTheFaceOrTheSquare)
{
    using T = TypeParam;
    // Of a regular tetrahedron of edge sqrt(2) a face has area sqrt(3)/2, less than the square of
    // area 1 that is seen along the axis through two middles of edges. Nothing is less than
    // sqrt(2)/2, seen along no triangle's normal: across an edge.
    const auto points = this->Cast(RegularTetrahedron());
    const Hull hull = HullOf(RegularTetrahedron());
    const auto report =
        MinimalHullPrism(this->Cast(hull.points), hull.triangles, VecBase<3, T>{}, true, false);
    ExpectPrismAround(report, points, this->kShare);
    EXPECT_GE(report.area, std::sqrt(0.5) - 1e-6);
    EXPECT_LT(report.area, std::sqrt(0.5) + 0.02); // the spiral comes within two degrees
    EXPECT_EQ(report.low, T(0));
}

TYPED_TEST(Prisms, WithoutTrianglesTheSpreadDirectionsAreSearched)
{
    using T = TypeParam;
    const std::vector<Vec3d> askew =
        Transform::BuildRotationFromAxisAngle({1, 2, -0.7}, 0.83) * CubeCorners();
    const auto points = this->Cast(askew);
    const auto report = MinimalHullPrism(points, {}, VecBase<3, T>{}, false, false);
    ExpectPrismAround(report, points, this->kShare);
    EXPECT_GT(report.area, 1);
    EXPECT_LT(report.area, 1.06);
    // Upright the spiral's first direction is the cube's own.
    const auto upright =
        MinimalHullPrism(this->Cast(CubeCorners()), {}, VecBase<3, T>{}, false, false);
    EXPECT_EQ(upright.area, T(1));
    // Wrong indices and triangles without a normal add nothing.
    const auto same =
        MinimalHullPrism(points, {0, 1, 8, -1, 2, 3, 4, 4, 5, 6, 7}, VecBase<3, T>{}, false, false);
    EXPECT_EQ(same.transform, report.transform);
}

TYPED_TEST(Prisms, OfATinyPartStandOnItsFaces)
{
    // A cube of some micrometers in meters: the cross products of its edges are next to nothing.
    using T = TypeParam;
    std::vector<Vec3d> tiny;
    for (const Vec3d& p : CubeCorners()) {
        tiny.push_back(Askew() * p * 0x1p-21 - Askew() * Vec3d{} * 0x1p-21);
    }
    const auto report =
        MinimalHullPrism(this->Cast(tiny), CubeTriangles(false), VecBase<3, T>{}, true, false);
    EXPECT_NEAR(report.area / 0x1p-42, 1, 1e-4); // the spiral alone is off by percents
}

TYPED_TEST(Prisms, OfHardlyAnythingAreZero)
{
    using T = TypeParam;
    using Point = VecBase<3, T>;
    using List = std::vector<Point>;
    const auto nothing = MinimalHullPrism(List{}, {}, Point{1, 2, 3}, false, true);
    EXPECT_EQ(nothing.area, T(0));
    EXPECT_EQ(nothing.volume, T(0));
    EXPECT_EQ(nothing.transform, TransformBase<3>{});
    for (const List& points :
         {List{{1, 2, 3}}, List{{1, 2, 3}, {4, 6, 3}}, List{{1, 2, 3}, {1, 2, 3}, {1, 2, 3}},
          List{{0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {4, 8, 12}}}) {
        for (const bool byVolume : {false, true}) {
            const auto report = MinimalHullPrism(points, {0, 0, 0}, Point{}, true, byVolume);
            EXPECT_NEAR(report.area, T(0), 1e-14);
            EXPECT_NEAR(report.volume, T(0), 1e-13);
            EXPECT_EQ(report.low, T(0));
        }
    }
    const T bad[] = {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity()};
    for (const T value : bad) {
        List points = this->Cast(CubeCorners());
        points[3].z() = value;
        EXPECT_EQ(MinimalHullPrism(points, CubeTriangles(true), Point{}, false, false).area, T(0));
        points[3].z() = 0;
        EXPECT_EQ(
            MinimalHullPrism(points, CubeTriangles(true), Point{0, value, 0}, false, false).area,
            T(0));
    }
}

TYPED_TEST(Prisms, OfAFlatSetAreSeenEdgeOn)
{
    using T = TypeParam;
    const std::vector<Vec3d> sheet{{0, 0, 5}, {4, 0, 5}, {4, 3, 5}, {0, 3, 5}, {2, 1, 5}};
    const auto points = this->Cast(sheet);
    const auto report = MinimalHullPrism(points, {0, 1, 2, 0, 2, 3}, VecBase<3, T>{}, false, false);
    ExpectPrismAround(report, points, this->kShare);
    const auto least = LeastPrisms(sheet, {0, 1, 2, 0, 2, 3});
    const double rounding = std::numeric_limits<T>::epsilon() * report.area;
    EXPECT_GE(report.area, least[0].low - rounding);
    EXPECT_LE(report.area, least[0].high + rounding);
    const auto byVolume =
        MinimalHullPrism(points, {0, 1, 2, 0, 2, 3}, VecBase<3, T>{}, false, true);
    EXPECT_EQ(byVolume.volume, T(0)) << "along its normal it has no height";
    EXPECT_EQ(byVolume.area, T(12));
}

TEST(PrismsOfFloats, AreThoseOfDoublesRoundedOnce)
{
    Support::Random random(31);
    for (int round = 0; round < 4; ++round) {
        const auto points = Support::MakePoints<3, float>(PointSet::Ball, 60, random);
        const std::vector<Vec3d> wide(points.begin(), points.end());
        const Hull hull = HullOf(wide);
        const std::vector<Vec3f> narrow(hull.points.begin(), hull.points.end());
        for (const bool byVolume : {false, true}) {
            const auto a = MinimalHullPrism(narrow, hull.triangles, Vec3f{}, false, byVolume);
            const auto b = MinimalHullPrism(hull.points, hull.triangles, Vec3d{}, false, byVolume);
            EXPECT_EQ(byVolume ? a.volume : a.area,
                      static_cast<float>(byVolume ? b.volume : b.area));
        }
    }
}

TYPED_TEST(Prisms, HugeTinyAndFarAwayKeepTheirShape)
{
    using T = TypeParam;
    using Point = VecBase<3, T>;
    Support::Random random(6);
    const auto shape = Support::MakePoints<3, double>(PointSet::Ball, 30, random);
    const Hull hull = HullOf(shape);
    std::vector<Vec3d> coarse; // with digits to spare for the shift below
    for (const Vec3d& p : hull.points) {
        coarse.push_back({std::round(p.x() * 64), std::round(p.y() * 64), std::round(p.z() * 64)});
    }
    const auto area = [&](const std::vector<Vec3d>& points, const Vec3d& origin) {
        return static_cast<double>(
            MinimalHullPrism(this->Cast(points), hull.triangles, Point(origin), false, false).area);
    };
    const double unscaled = area(coarse, {});
    const std::vector<double> scales = std::is_same_v<T, float>
                                           ? std::vector<double>{0x1p40, 0x1p-40}
                                           : std::vector<double>{0x1p400, 0x1p-60, 0x1p-300};
    for (const double scale : scales) {
        std::vector<Vec3d> scaled;
        for (const Vec3d& p : coarse) {
            scaled.push_back(p * scale);
        }
        EXPECT_NEAR(area(scaled, {}) / scale / scale, unscaled, this->kShare * unscaled) << scale;
    }
    const Vec3d far(1 << 20, -(1 << 20), 1 << 19);
    std::vector<Vec3d> moved;
    for (const Vec3d& p : coarse) {
        moved.push_back(p + far);
    }
    EXPECT_EQ(area(moved, {}), unscaled);
    EXPECT_EQ(area(moved, far), unscaled);
    // The origin says where low and high are counted from, and nothing about the shape.
    const auto prism = [&](const std::vector<Vec3d>& points, const Vec3d& origin) {
        return MinimalHullPrism(this->Cast(points), hull.triangles, Point(origin), true, true);
    };
    const auto near = prism(coarse, {});
    for (const Vec3d& origin : {Vec3d{}, far, far * -4}) {
        EXPECT_EQ(prism(moved, origin).volume, near.volume);
        EXPECT_EQ(prism(moved, origin).high, near.high);
    }
}

TYPED_TEST(Prisms, OfHugePartsAreFoundEvenIfTheirVolumeIsNoNumber)
{
    using T = TypeParam;
    const double scale = std::is_same_v<T, float> ? 0x1p50 : 0x1p400;
    std::vector<Vec3d> slab;
    for (const Vec3d& p : CubeCorners()) {
        slab.push_back(Vec3d{p.x() * 2, p.y() * 3, p.z() * 16} * scale);
    }
    const auto report = MinimalHullPrism(this->Cast(slab), CubeTriangles(false), VecBase<3, T>{},
                                         true, /*byVolume=*/true);
    EXPECT_EQ(report.area, T(6 * scale * scale));
    EXPECT_EQ(report.volume, std::numeric_limits<T>::infinity());
    EXPECT_EQ(report.high, T(16 * scale));
}

} // namespace
