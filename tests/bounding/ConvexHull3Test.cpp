// Convex hulls in space: known solids, brute force, invariants on hostile sets, real parts.

#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/bounding/HullChecks.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <string>

using namespace Velk::Math;
using Sorvane::Bounding::ConvexHull;

namespace {

template <class T>
struct Hull {
    bool isSolid = false;
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;
};

template <class T>
Hull<T> HullOf(const std::vector<VecBase<3, T>>& points, bool sortedUnique = false,
               bool indicesOnly = false)
{
    Hull<T> hull;
    hull.points = {{1, 2, 3}}; // outputs are cleared
    hull.indices = {7};
    hull.isSolid = ConvexHull(points, hull.points, hull.indices, sortedUnique, indicesOnly);
    EXPECT_EQ(hull.isSolid, !hull.indices.empty());
    return hull;
}

template <class T>
std::vector<VecBase<3, T>> Cast(const std::vector<Vec3d>& points)
{
    return {points.begin(), points.end()};
}

/// side^3 points 0 ... side - 1 along each axis.
std::vector<Vec3d> Lattice(int side)
{
    std::vector<Vec3d> points;
    for (int i = 0; i < side * side * side; ++i) {
        points.push_back({i % side, i / side % side, i / side / side});
    }
    return points;
}

/// A turn about an axis that is no simple direction.
Vec3d Turned(const Vec3d& p)
{
    const Vec3d axis = Vector::Normalized(Vec3d(1, 2, -3), 0.0);
    const double c = std::cos(0.7);
    const double s = std::sin(0.7);
    return p * c + (axis ^ p) * s + axis * (axis * p * (1 - c));
}

std::vector<Vec3d> Turned(std::vector<Vec3d> points)
{
    for (Vec3d& p : points) {
        p = Turned(p);
    }
    return points;
}

Vec3d OnSphere(Support::Random& random)
{
    for (;;) {
        const Vec3d p = random.Vector<3, double>(-1, 1);
        if (p * p < 1 && p * p > 0.01) {
            return Vector::Normalized(p, 0.0);
        }
    }
}

template <class T>
class ConvexHull3 : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ConvexHull3, Coordinates);

} // namespace

// --- no solid -----------------------------------------------------------------------------------

TYPED_TEST(ConvexHull3, FewerThanFourPointsAreNoSolid)
{
    std::vector<VecBase<3, TypeParam>> points;
    for (int count = 0; count < 4; ++count) {
        for (const bool sortedUnique : {false, true}) {
            const auto hull = HullOf(points, sortedUnique);
            EXPECT_FALSE(hull.isSolid);
            EXPECT_TRUE(hull.points.empty());
        }
        points.push_back({count, count * count, 1});
    }
}

TYPED_TEST(ConvexHull3, EqualPointsAreNoSolid)
{
    const std::vector<VecBase<3, TypeParam>> points(50, {3, -4, 5});
    EXPECT_FALSE(HullOf(points).isSolid);
    EXPECT_FALSE(HullOf(points, true).isSolid);
    EXPECT_FALSE(HullOf(std::vector<VecBase<3, TypeParam>>(20'000, {3, -4, 5})).isSolid);
}

TYPED_TEST(ConvexHull3, PointsOnAnAxisPlaneOrLineAreNoSolid)
{
    Support::Random random(1);
    std::vector<VecBase<3, TypeParam>> plane;
    std::vector<VecBase<3, TypeParam>> line;
    for (int i = 0; i < 5000; ++i) {
        const auto p = random.Vector<3, TypeParam>(-10, 10);
        plane.push_back({p[0], TypeParam(0.1), p[2]});
        line.push_back({TypeParam(0.3), p[1], TypeParam(0.1)});
    }
    EXPECT_FALSE(HullOf(plane).isSolid);
    EXPECT_FALSE(HullOf(line).isSolid);
}

// Rounding lifts the points of a slanted plane off it, by some 1e-16 of their coordinates.
TEST(ConvexHull3Flat, SlantedPlanesAndLinesAreNoSolid)
{
    Support::Random random(2);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const double away = std::pow(10.0, trial % 5) * (trial % 2);
        const auto origin = random.Vector<3, double>(-away, away);
        const Vec3d u = OnSphere(random);
        const Vec3d v = OnSphere(random);
        std::vector<Vec3d> plane;
        std::vector<Vec3d> line;
        for (int i = 0; i < 40; ++i) {
            plane.push_back(origin + u * random.Between(-1, 1) + v * random.Between(-1, 1));
            line.push_back(origin + u * random.Between(-1, 1));
        }
        EXPECT_FALSE(HullOf(plane).isSolid);
        EXPECT_FALSE(HullOf(line).isSolid);
    }
}

TEST(ConvexHull3Flat, SlantedPlanesInFloatAreNoSolid)
{
    Support::Random random(3);
    for (int trial = 0; trial < 100; ++trial) {
        const Vec3d u = OnSphere(random);
        const Vec3d v = Vector::Normalized(u ^ OnSphere(random), 0.0);
        std::vector<Vec3f> plane;
        for (int i = 0; i < 40; ++i) {
            plane.emplace_back(u * random.Between(-1, 1) + v * random.Between(-1, 1));
        }
        EXPECT_FALSE(HullOf(plane).isSolid) << trial;
    }
}

TEST(ConvexHull3Flat, ThinPlatesAreSolid)
{
    for (const double thickness : {1e-3, 1e-6, 1e-9, 1e-10}) {
        SCOPED_TRACE(thickness);
        std::vector<Vec3d> plate;
        for (Vec3d p : Lattice(2)) {
            p[2] *= thickness;
            plate.push_back(p);
        }
        const auto hull = HullOf(plate);
        ASSERT_TRUE(hull.isSolid);
        Support::ExpectHull(plate, hull.points, hull.indices);
        EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume / thickness, 1, 1e-12);
        EXPECT_TRUE(HullOf(Turned(plate)).isSolid);
    }
}

// --- known solids -------------------------------------------------------------------------------

TYPED_TEST(ConvexHull3, CubeHasItsCornersOnly)
{
    for (int side = 2; side < 8; ++side) {
        const auto points = Cast<TypeParam>(Lattice(side));
        const auto hull = HullOf(points);
        ASSERT_TRUE(hull.isSolid);
        EXPECT_EQ(hull.points.size(), 8U);
        EXPECT_EQ(hull.indices.size(), 36U);
        Support::ExpectHull(points, hull.points, hull.indices);
        const auto [volume, area] = Support::MeasureHull(hull.points, hull.indices);
        EXPECT_DOUBLE_EQ(volume, std::pow(side - 1, 3));
        EXPECT_DOUBLE_EQ(area, 6 * std::pow(side - 1, 2));
    }
}

TYPED_TEST(ConvexHull3, TetrahedronHasFourOutwardFaces)
{
    const std::vector<VecBase<3, TypeParam>> points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    EXPECT_EQ(hull.indices.size(), 12U);
    Support::ExpectHull(points, hull.points, hull.indices);
    EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume, 1.0 / 6, 1e-15);
}

TYPED_TEST(ConvexHull3, EveryPointOfASphereIsANode)
{
    Support::Random random(4);
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < Support::Rounds(20'000); ++i) {
        points.emplace_back(OnSphere(random) * 100.0);
    }
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    if (sizeof(TypeParam) == sizeof(double)) {
        EXPECT_EQ(hull.points.size(), points.size());
    }
    Support::ExpectHull(points, hull.points, hull.indices);
}

// Two nodes that see the whole rim: what is linear there must not become quadratic.
TEST(ConvexHull3Solids, DoubleConeOverAWideRim)
{
    std::vector<Vec3d> points = {{0, 0, 1}, {0, 0, -1}};
    constexpr int kRim = 3000;
    for (int i = 0; i < kRim; ++i) {
        const double a = kTwoPi<double> * i / kRim;
        points.push_back({std::cos(a), std::sin(a), 0});
    }
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    EXPECT_EQ(hull.points.size(), points.size());
    Support::ExpectHull(points, hull.points, hull.indices);
    // Base a regular polygon of the unit circle, height 1 twice.
    const double base = 0.5 * kRim * std::sin(kTwoPi<double> / kRim);
    EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume, base * 2 / 3, 1e-12);
}

TEST(ConvexHull3Solids, CylinderWithRowsOfPointsOnItsSide)
{
    for (const bool isTurned : {false, true}) {
        std::vector<Vec3d> points;
        constexpr int kRim = 32;
        for (int i = 0; i < kRim; ++i) {
            for (int row = 0; row < 20; ++row) {
                const double a = kTwoPi<double> * i / kRim;
                const Vec3d p(std::cos(a), std::sin(a), 0.25 * row);
                points.push_back(isTurned ? Turned(p) : p);
            }
        }
        const auto hull = HullOf(points);
        ASSERT_TRUE(hull.isSolid);
        Support::ExpectHull(points, hull.points, hull.indices);
        const double base = 0.5 * kRim * std::sin(kTwoPi<double> / kRim);
        EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume, base * 4.75, 1e-9);
        if (!isTurned) {
            EXPECT_EQ(hull.points.size(), 2U * kRim);
        }
    }
}

// --- flags --------------------------------------------------------------------------------------

TYPED_TEST(ConvexHull3, IndicesOnlyReferToTheSortedInput)
{
    Support::Random random(5);
    for (const int count : {60, 10'000}) {
        std::vector<VecBase<3, TypeParam>> points;
        for (int i = 0; i < count; ++i) {
            points.push_back(random.Vector<3, TypeParam>(-1, 1));
        }
        Vector::FilterForUniqueness(points, kLengthFloor<TypeParam>);
        const auto own = HullOf(points, true, false);
        const auto shared = HullOf(points, true, true);
        ASSERT_TRUE(own.isSolid && shared.isSolid);
        EXPECT_TRUE(shared.points.empty());
        ASSERT_EQ(shared.indices.size(), own.indices.size());
        for (std::size_t i = 0; i < own.indices.size(); ++i) {
            EXPECT_EQ(points[shared.indices[i]], own.points[own.indices[i]]);
        }
        Support::ExpectHull(points, own.points, own.indices);
    }
}

TYPED_TEST(ConvexHull3, IndicesOnlyNeedsSortedUnique)
{
    Support::Random random(6);
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < 100; ++i) {
        points.push_back(random.Vector<3, TypeParam>(-1, 1));
    }
    const auto hull = HullOf(points, false, true);
    ASSERT_TRUE(hull.isSolid);
    EXPECT_FALSE(hull.points.empty());
    const auto plain = HullOf(points, false, false);
    EXPECT_EQ(hull.points, plain.points);
    EXPECT_EQ(hull.indices, plain.indices);
}

TYPED_TEST(ConvexHull3, OrderAndRepeatsOfTheInputChangeNothing)
{
    Support::Random random(7);
    for (const int count : {50, 8000}) {
        std::vector<VecBase<3, TypeParam>> points;
        for (int i = 0; i < count; ++i) {
            points.push_back(random.Vector<3, TypeParam>(-1, 1));
        }
        const auto expected = HullOf(points);
        auto sorted = points;
        Vector::FilterForUniqueness(sorted, kLengthFloor<TypeParam>);
        EXPECT_EQ(HullOf(sorted, true).points, expected.points);

        auto shuffled = points;
        shuffled.insert(shuffled.end(), points.begin(), points.begin() + count / 2);
        for (std::size_t i = shuffled.size() - 1; i > 0; --i) {
            std::swap(shuffled[i], shuffled[random.Below(static_cast<int>(i))]);
        }
        EXPECT_EQ(HullOf(shuffled).points, expected.points);
    }
}

TYPED_TEST(ConvexHull3, NodesComeInLexicographicOrder)
{
    Support::Random random(8);
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < 6000; ++i) {
        points.push_back(random.Vector<3, TypeParam>(-1, 1));
    }
    const auto hull = HullOf(points);
    EXPECT_TRUE(
        std::is_sorted(hull.points.begin(), hull.points.end(), [](const auto& a, const auto& b) {
            return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
        }));
}

TEST(ConvexHull3Flags, PointsWithinTheLengthFloorAreOne)
{
    // The corners of the cube twice, 5e-13 apart: the first of each pair stays.
    std::vector<Vec3d> points = Support::Cube().points;
    for (int i = 0; i < 8; ++i) {
        points.push_back(points[i] + Vec3d(5e-13, 5e-13, 5e-13));
    }
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    EXPECT_EQ(hull.points.size(), 8U);
    for (const Vec3d& p : hull.points) {
        EXPECT_EQ(p, Vec3d(std::round(p[0]), std::round(p[1]), std::round(p[2])));
    }
}

// Two corners of a small cube that the caller should have merged: both are nodes, but one point.
TEST(ConvexHull3Flags, OwnPointsAreUniqueWhateverTheCallerVouchesFor)
{
    std::vector<Vec3d> points;
    for (const Vec3d& p : Lattice(2)) {
        points.push_back(p * 1e-3);
    }
    points.push_back({1e-3 + 5e-13, 1e-3 - 2e-13, 1e-3});
    Vector::FilterForUniqueness(points, 0.0);
    const auto shared = HullOf(points, true, true);
    ASSERT_TRUE(shared.isSolid);
    EXPECT_EQ(std::set<int>(shared.indices.begin(), shared.indices.end()).size(), 9U);
    const auto own = HullOf(points, true, false);
    ASSERT_EQ(own.points.size(), 8U);
    ASSERT_EQ(own.indices.size(), shared.indices.size());
    for (std::size_t i = 0; i < own.indices.size(); ++i) {
        ASSERT_LT(own.indices[i], 8);
        EXPECT_LE(Length(own.points[own.indices[i]] - points[shared.indices[i]]), 1e-12);
    }
}

TYPED_TEST(ConvexHull3, ResultMayReplaceTheInput)
{
    Support::Random random(9);
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < 200; ++i) {
        points.push_back(random.Vector<3, TypeParam>(-1, 1));
    }
    const auto expected = HullOf(points);
    std::vector<int> indices;
    EXPECT_TRUE(ConvexHull(points, points, indices, false, false));
    EXPECT_EQ(points, expected.points);
    EXPECT_EQ(indices, expected.indices);
}

// --- brute force --------------------------------------------------------------------------------

// In general position a triple is a face exactly when all other points are on one side.
TYPED_TEST(ConvexHull3, FacesOfSmallSetsAreThoseOfBruteForce)
{
    Support::Random random(10);
    for (int trial = 0; trial < Support::Rounds(150); ++trial) {
        SCOPED_TRACE(trial);
        std::vector<VecBase<3, TypeParam>> points;
        const int count = 4 + trial % 20;
        for (int i = 0; i < count; ++i) {
            points.push_back(random.Vector<3, TypeParam>(-1, 1));
        }
        Vector::FilterForUniqueness(points, kLengthFloor<TypeParam>);
        std::set<std::array<int, 3>> expected; // begun at the least corner, outward
        for (int a = 0; a < count; ++a) {
            for (int b = a + 1; b < count; ++b) {
                for (int c = b + 1; c < count; ++c) {
                    const Support::FaceHeights heights{Vec3d(points[a]), Vec3d(points[b]),
                                                       Vec3d(points[c])};
                    int above = 0;
                    int below = 0;
                    for (int d = 0; d < count; ++d) {
                        if (d != a && d != b && d != c) {
                            const auto [height, error] = heights.Height(Vec3d(points[d]));
                            ASSERT_GT(std::fabs(height), error) << "not in general position";
                            (height > 0 ? above : below) += 1;
                        }
                    }
                    if (above == 0) {
                        expected.insert({a, b, c});
                    } else if (below == 0) {
                        expected.insert({a, c, b});
                    }
                }
            }
        }
        const auto hull = HullOf(points, true, true);
        std::set<std::array<int, 3>> found;
        for (std::size_t i = 0; i < hull.indices.size(); i += 3) {
            std::array<int, 3> face{hull.indices[i], hull.indices[i + 1], hull.indices[i + 2]};
            std::rotate(face.begin(), std::min_element(face.begin(), face.end()), face.end());
            found.insert(face);
        }
        EXPECT_EQ(found, expected);
    }
}

// Small whole numbers: flat sides, rows on edges and repeats everywhere, and integer arithmetic
// tells the corners. A point is one when the supporting planes through it have it alone in common.
TYPED_TEST(ConvexHull3, CornersOfLatticeSetsAreThoseOfBruteForce)
{
    using Whole = VecBase<3, long long>;
    Support::Random random(11);
    for (int trial = 0; trial < Support::Rounds(200); ++trial) {
        SCOPED_TRACE(trial);
        const int side = 2 + trial % 4;
        std::set<std::array<long long, 3>> chosen;
        for (int i = 0; i < 5 + trial % 25; ++i) {
            chosen.insert({random.Below(side), random.Below(side), random.Below(side)});
        }
        std::vector<Whole> points;
        std::vector<VecBase<3, TypeParam>> input;
        for (const auto& [x, y, z] : chosen) {
            points.push_back({x, y, z});
            input.push_back({x, y, z});
        }
        std::vector<std::vector<Whole>> normals(
            points.size()); // of supporting planes at each point
        for (std::size_t a = 0; a < points.size(); ++a) {
            for (std::size_t b = a + 1; b < points.size(); ++b) {
                for (std::size_t c = b + 1; c < points.size(); ++c) {
                    const Whole n = (points[b] - points[a]) ^ (points[c] - points[a]);
                    int above = 0;
                    int below = 0;
                    for (const Whole& p : points) {
                        above += n * (p - points[a]) > 0 ? 1 : 0;
                        below += n * (p - points[a]) < 0 ? 1 : 0;
                    }
                    if (n != Whole{} && (above == 0) != (below == 0)) {
                        for (std::size_t i = 0; i < points.size(); ++i) {
                            if (n * (points[i] - points[a]) == 0) {
                                normals[i].push_back(n);
                            }
                        }
                    }
                }
            }
        }
        std::vector<VecBase<3, TypeParam>> corners;
        for (std::size_t i = 0; i < points.size(); ++i) {
            bool isCorner = false;
            for (const Whole& u : normals[i]) {
                for (const Whole& v : normals[i]) {
                    for (const Whole& w : normals[i]) {
                        isCorner = isCorner || (u ^ v) * w != 0;
                    }
                    if (isCorner) {
                        break;
                    }
                }
            }
            if (isCorner) {
                corners.push_back(input[i]);
            }
        }
        const auto hull = HullOf(input);
        ASSERT_EQ(hull.isSolid, !corners.empty());
        EXPECT_EQ(hull.points, corners);
        if (hull.isSolid) {
            Support::ExpectHull(input, hull.points, hull.indices);
        }
    }
}

// --- hostile sets -------------------------------------------------------------------------------

// Sides and edges that are flat but for noise: slivers everywhere whose planes rounding decides.
TEST(ConvexHull3Hostile, NoisyTurnedGridsStayClosed)
{
    Support::Random random(12);
    for (int decade = 5; decade <= 16; ++decade) {
        for (int trial = 0; trial < 8; ++trial) {
            SCOPED_TRACE(testing::Message() << "noise 1e-" << decade << " trial " << trial);
            const double noise = 4 * std::pow(10.0, -decade) * (1 + trial);
            std::vector<Vec3d> points = Turned(Lattice(5));
            for (Vec3d& p : points) {
                p += random.Vector<3, double>(-noise, noise);
            }
            const auto hull = HullOf(points);
            ASSERT_TRUE(hull.isSolid);
            Support::ExpectHull(points, hull.points, hull.indices);
            EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume, 64,
                        1e-8 + 400 * noise);
        }
    }
}

TEST(ConvexHull3Hostile, NoisyTurnedGridsInFloatStayClosed)
{
    Support::Random random(13);
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        const double noise = std::pow(10.0, -2 - trial % 7);
        std::vector<Vec3f> points;
        for (const Vec3d& p : Turned(Lattice(6))) {
            points.emplace_back(p + random.Vector<3, double>(-noise, noise));
        }
        const auto hull = HullOf(points);
        ASSERT_TRUE(hull.isSolid);
        Support::ExpectHull(points, hull.points, hull.indices);
    }
}

TEST(ConvexHull3Hostile, NearlyCollinearSetsStayClosed)
{
    Support::Random random(14);
    for (int decade = 1; decade <= 10; ++decade) {
        for (int trial = 0; trial < Support::Rounds(4, 1); ++trial) {
            SCOPED_TRACE(testing::Message() << "width 1e-" << decade << " trial " << trial);
            const double width = std::pow(10.0, -decade);
            std::vector<Vec3d> points;
            for (int i = 0; i < 100; ++i) {
                const auto p = random.Vector<3, double>(-1, 1);
                points.push_back(Turned(Vec3d(p[0], width * p[1], width * p[2])));
            }
            const auto hull = HullOf(points);
            ASSERT_TRUE(hull.isSolid);
            Support::ExpectHull(points, hull.points, hull.indices);
        }
    }
}

TEST(ConvexHull3Hostile, NearlyCoplanarSetsStayClosed)
{
    Support::Random random(15);
    for (int decade = 1; decade <= 10; ++decade) {
        for (int trial = 0; trial < 10; ++trial) {
            SCOPED_TRACE(testing::Message() << "height 1e-" << decade << " trial " << trial);
            const double height = std::pow(10.0, -decade);
            std::vector<Vec3d> points;
            for (int i = 0; i < 150; ++i) {
                const auto p = random.Vector<3, double>(-1, 1);
                points.push_back(Turned(Vec3d(p[0], p[1], height * p[2])));
            }
            const auto hull = HullOf(points);
            ASSERT_TRUE(hull.isSolid);
            Support::ExpectHull(points, hull.points, hull.indices);
        }
    }
}

// Clusters far narrower than their distances, and nodes as crowded as the tolerance.
TEST(ConvexHull3Hostile, CrowdedCornersStayClosed)
{
    Support::Random random(16);
    for (int decade = 6; decade <= 14; ++decade) {
        SCOPED_TRACE(decade);
        const double crowd = std::pow(10.0, -decade);
        std::vector<Vec3d> points;
        for (const Vec3d& corner : Turned(Lattice(2))) {
            for (int i = 0; i < 30; ++i) {
                points.push_back(corner + random.Vector<3, double>(-crowd, crowd));
            }
        }
        const auto hull = HullOf(points);
        ASSERT_TRUE(hull.isSolid);
        Support::ExpectHull(points, hull.points, hull.indices);
    }
}

// Powers of two change no digit: the same triangles from the smallest to the largest numbers.
TEST(ConvexHull3Hostile, UnitsDoNotMatter)
{
    Support::Random random(17);
    std::vector<Vec3d> points;
    for (int i = 0; i < 5000; ++i) {
        points.push_back(random.Vector<3, double>(-1, 1));
    }
    Vector::FilterForUniqueness(points, 1e-12);
    const auto expected = HullOf(points, true, true);
    ASSERT_TRUE(expected.isSolid);
    for (const int exponent : {-900, -300, -40, 40, 300, 900, 1023}) {
        SCOPED_TRACE(exponent);
        std::vector<Vec3d> scaled = points;
        for (Vec3d& p : scaled) {
            p = p * std::ldexp(1.0, exponent);
        }
        EXPECT_EQ(HullOf(scaled, true, true).indices, expected.indices);
    }
}

// Coordinates from 1 down to where products underflow.
TEST(ConvexHull3Hostile, MixedMagnitudesStayClosed)
{
    Support::Random random(21);
    for (int trial = 0; trial < 50; ++trial) {
        SCOPED_TRACE(trial);
        const double decades = trial % 2 == 0 ? 300 : 20;
        std::vector<Vec3d> points;
        for (int i = 0; i < 300; ++i) {
            Vec3d p;
            for (double& x : p) {
                x = random.Between(-1, 1) * std::pow(10.0, -decades * random.Unit());
            }
            points.push_back(p);
        }
        Vector::FilterForUniqueness(points, 0.0);
        const auto hull = HullOf(points, true);
        ASSERT_TRUE(hull.isSolid);
        EXPECT_EQ(Support::SurfaceFault(hull.indices, hull.points.size()), "");
        const double limit = 1e-11 * Support::Diagonal(points);
        EXPECT_LE(Support::WorstHeight(points, hull.points, hull.indices, limit, 100'000), limit);
    }
}

TEST(ConvexHull3Hostile, SetsNoWiderThanTheLengthFloorAreOnePoint)
{
    std::vector<Vec3d> points = Support::Cube().points;
    for (Vec3d& p : points) {
        p = p * 1e-13;
    }
    EXPECT_FALSE(HullOf(points).isSolid);
    EXPECT_TRUE(HullOf(points, true).isSolid) << "on the caller's word nothing is merged before";
}

TYPED_TEST(ConvexHull3, FarFromTheOriginStaysClosed)
{
    Support::Random random(18);
    const double away = sizeof(TypeParam) == sizeof(double) ? 1e8 : 1e3;
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < 6000; ++i) {
        points.emplace_back(Vec3d(away, -away, 2 * away) + random.Vector<3, double>(-1, 1));
    }
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    Support::ExpectHull(points, hull.points, hull.indices);
}

TYPED_TEST(ConvexHull3, PointsThatAreNotFiniteAreLeftOut)
{
    constexpr TypeParam kNan = std::numeric_limits<TypeParam>::quiet_NaN();
    constexpr TypeParam kInf = std::numeric_limits<TypeParam>::infinity();
    for (const int side : {3, 18}) {
        auto points = Cast<TypeParam>(Lattice(side));
        const auto expected = HullOf(points);
        points.insert(points.begin(), {kNan, 0, 0});
        points.insert(points.begin() + 9, {0, kInf, 0});
        points.insert(points.end(), {kNan, -kInf, kNan});
        const auto hull = HullOf(points);
        EXPECT_TRUE(hull.isSolid);
        EXPECT_EQ(hull.points, expected.points);
    }
    EXPECT_FALSE(HullOf(std::vector<VecBase<3, TypeParam>>(10, {kNan, kInf, 1})).isSolid);
}

TEST(ConvexHull3Hostile, LargestNumbersDoNotOverflow)
{
    constexpr double kMax = std::numeric_limits<double>::max();
    std::vector<Vec3d> points;
    for (const Vec3d& p : Lattice(3)) {
        points.push_back((p - Vec3d(1, 1, 1)) * kMax);
    }
    const auto hull = HullOf(points);
    EXPECT_TRUE(hull.isSolid);
    EXPECT_EQ(hull.points.size(), 8U);
    EXPECT_EQ(Support::SurfaceFault(hull.indices, hull.points.size()), "");
}

// --- large sets ---------------------------------------------------------------------------------

TYPED_TEST(ConvexHull3, LargeSetsWithMostPointsInside)
{
    Support::Random random(19);
    std::vector<VecBase<3, TypeParam>> ball;
    std::vector<VecBase<3, TypeParam>> box;
    for (int i = 0; i < 60'000; ++i) {
        const double radius = std::cbrt(random.Unit());
        ball.emplace_back(OnSphere(random) * radius * 30.0);
        const auto p = random.Vector<3, double>(-1, 1);
        box.emplace_back(Turned(Vec3d(100 * p[0], 20 * p[1], p[2])));
    }
    for (const auto& points : {ball, box}) {
        const auto hull = HullOf(points);
        ASSERT_TRUE(hull.isSolid);
        Support::ExpectHull(points, hull.points, hull.indices);
    }
}

// The faces between the circles form fans of thousands on either side.
TEST(ConvexHull3Large, TwoCirclesAcrossEachOther)
{
    Support::Random random(20);
    std::vector<Vec3d> points;
    for (int i = 0; i < Support::Rounds(30'000); ++i) {
        const double a = random.Between(0, kTwoPi<double>);
        points.push_back(i % 2 == 0 ? Vec3d(std::cos(a), std::sin(a), 0)
                                    : Vec3d(0, std::cos(a), std::sin(a) + 3));
    }
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    Support::ExpectHull(points, hull.points, hull.indices);
}

TEST(ConvexHull3Large, TurnedLatticeOfManyPoints)
{
    const std::vector<Vec3d> points = Turned(Lattice(40));
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    Support::ExpectHull(points, hull.points, hull.indices);
    EXPECT_NEAR(Support::MeasureHull(hull.points, hull.indices).volume, 39.0 * 39 * 39, 1e-5);
}

// --- real parts ---------------------------------------------------------------------------------

namespace {

/// The number after `key` in the record of a mesh's hull.
double HullFigure(const std::string& text, const std::string& mesh, const std::string& key)
{
    const std::size_t record = text.find('"' + mesh + '"');
    const std::size_t hull = text.find("\"hull\"", record);
    const std::size_t at = text.find('"' + key + '"', hull);
    return at == std::string::npos ? -1 : std::stod(text.substr(text.find(':', at) + 1, 40));
}

class ConvexHull3Parts : public testing::TestWithParam<const char*> {};

} // namespace

// The reference figures are another program's, on the same float vertices.
TEST_P(ConvexHull3Parts, VolumeAndAreaAreTheReference)
{
    const auto reference = Support::SharedData("reference_figures.json");
    const auto file = Support::SharedData(GetParam());
    SORVANE_NEED_DATA(reference);
    SORVANE_NEED_DATA(file);
    std::ifstream stream(reference);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};

    const auto points = Support::WeldedStl<double>(file).points;
    ASSERT_FALSE(points.empty());
    const auto hull = HullOf(points);
    ASSERT_TRUE(hull.isSolid);
    Support::ExpectHull(points, hull.points, hull.indices);
    const auto [volume, area] = Support::MeasureHull(hull.points, hull.indices);
    EXPECT_NEAR(volume / HullFigure(text, GetParam(), "volume"), 1, 1e-9);
    EXPECT_NEAR(area / HullFigure(text, GetParam(), "area"), 1, 1e-9);

    if (points.size() > Support::FullOr<std::size_t>(1'000'000, 5'000)) {
        return; // of the smaller parts alone
    }
    const auto pointsInFloat = Support::WeldedStl<float>(file).points;
    const auto hullInFloat = HullOf(pointsInFloat);
    ASSERT_TRUE(hullInFloat.isSolid);
    Support::ExpectHull(pointsInFloat, hullInFloat.points, hullInFloat.indices);
    EXPECT_NEAR(Support::MeasureHull(hullInFloat.points, hullInFloat.indices).volume / volume, 1,
                1e-5);
}

INSTANTIATE_TEST_SUITE_P(
    Shared, ConvexHull3Parts,
    testing::Values("meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ctc_03_asme1_rc.stl",
                    "meshes_nist/nist_ctc_05_asme1_rd.stl", "meshes_nist/nist_ftc_06_asme1_rd.stl",
                    "meshes_nist/nist_ftc_09_asme1_rd.stl", "meshes_nist/nist_ftc_11_asme1_rb.stl",
                    "meshes_cad/round.stl", "meshes_cad/voron_z_joint_upper_x4.stl",
                    "meshes_organic/nefertiti_lowres.stl", "meshes_organic/koala.stl",
                    "meshes_organic/fish.stl", "meshes_organic/spot.stl"),
    [](const auto& test) {
        std::string name(test.param);
        name = name.substr(name.find('/') + 1);
        return name.substr(0, name.find('.'));
    });
