// Planes of polygons and clouds: closed forms, orientation, offset, degenerate and hostile input.

#include <Velk/Math/Transform_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::Random;

template <class T>
constexpr T kEpsilon = std::numeric_limits<T>::epsilon();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

template <class T>
struct Plane {
    VecBase<3, T> origin{7, 7, 7}; // not what a call leaves
    VecBase<3, T> normal{7, 7, 7};
};

template <class T>
Plane<T> OfPolygon(const std::vector<VecBase<3, T>>& loop)
{
    Plane<T> plane;
    Transform::PlaneOfPolygon(loop, plane.origin, plane.normal);
    return plane;
}

template <class T>
Plane<T> OfPoints(const std::vector<VecBase<3, T>>& points)
{
    Plane<T> plane;
    Transform::PlaneOfPoints(points, plane.origin, plane.normal);
    return plane;
}

/// Angle between two directions of lines, small ones accurately.
double AngleOfLines(const Vec3d& a, const Vec3d& b)
{
    return std::atan2(Vector::Length(a ^ b), std::fabs(a * b));
}

/// Random orthonormal frame as three vectors.
std::array<Vec3d, 3> RandomAxes(Random& random)
{
    const Vec3d x = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
    const Vec3d y = Vector::Normalized(x ^ random.Vector<3, double>(-1, 1), 0.0);
    return {x, y, x ^ y};
}

template <class T>
class PlaneFitOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(PlaneFitOf, Scalars);

// --- PlaneOfPolygon -----------------------------------------------------------------------------

TYPED_TEST(PlaneFitOf, PolygonClosedForms)
{
    using V = VecBase<3, TypeParam>;
    const std::vector<V> square{{1, 1, 5}, {3, 1, 5}, {3, 3, 5}, {1, 3, 5}};
    EXPECT_EQ(OfPolygon(square).origin, (V{2, 2, 5}));
    EXPECT_EQ(OfPolygon(square).normal, (V{0, 0, 1})); // counter-clockwise as seen from +z
    const std::vector<V> reversed(square.rbegin(), square.rend());
    EXPECT_EQ(OfPolygon(reversed).origin, (V{2, 2, 5}));
    EXPECT_EQ(OfPolygon(reversed).normal, (V{0, 0, -1}));
    // (3, 4, 0) over its length
    const std::vector<V> slanted{{4, -3, 0}, {4, -3, 1}, {0, 0, 1}, {0, 0, 0}};
    const V normal = OfPolygon(slanted).normal;
    EXPECT_NEAR(normal.x(), -0.6, kEpsilon<TypeParam>);
    EXPECT_NEAR(normal.y(), -0.8, kEpsilon<TypeParam>);
    EXPECT_EQ(normal.z(), TypeParam{0});
}

TYPED_TEST(PlaneFitOf, RepeatedClosingPointCountsOnce)
{
    using V = VecBase<3, TypeParam>;
    const std::vector<V> open{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}};
    std::vector<V> closed = open;
    closed.push_back(open.front());
    EXPECT_EQ(OfPolygon(closed).origin, (V{1, 1, 0}));
    EXPECT_EQ(OfPolygon(closed).origin, OfPolygon(open).origin);
    EXPECT_EQ(OfPolygon(closed).normal, OfPolygon(open).normal);
}

TYPED_TEST(PlaneFitOf, ConcavePolygonIsOrientedByItsArea)
{
    using V = VecBase<3, TypeParam>;
    // The first three corners turn clockwise; the whole runs counter-clockwise.
    const std::vector<V> arrow{{0, 4, 0}, {1, 1, 0}, {4, 0, 0}, {5, 5, 0}};
    EXPECT_EQ(OfPolygon(arrow).normal, (V{0, 0, 1}));
}

TYPED_TEST(PlaneFitOf, PolygonsWithoutAPlane)
{
    using V = VecBase<3, TypeParam>;
    EXPECT_EQ(OfPolygon(std::vector<V>{}).origin, V{});
    EXPECT_EQ(OfPolygon(std::vector<V>{}).normal, V{});
    EXPECT_EQ(OfPolygon(std::vector<V>{{1, 2, 3}}).origin, (V{1, 2, 3}));
    const std::vector<std::vector<V>> flat{
        {{1, 2, 3}},
        {{1, 2, 3}, {3, 4, 5}},
        {{1, 2, 3}, {3, 4, 5}, {1, 2, 3}},
        {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {1, 2, 3}},
        {{0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {5, 10, 15}},
        {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 0, 0}}, // out and back along two legs
        {{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}}, // bow tie: its areas cancel
    };
    for (const auto& loop : flat) {
        EXPECT_EQ(OfPolygon(loop).normal, V{}) << loop.size();
    }
    EXPECT_EQ(OfPolygon(std::vector<V>{{1, 2, 3}, {3, 4, 5}}).origin, (V{2, 3, 4}));
}

TYPED_TEST(PlaneFitOf, CollinearPolygonsInAnyDirectionAndPlaceHaveNoPlane)
{
    using T = TypeParam;
    Random random(61);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        const Vec3d direction = random.Vector<3, double>(-1, 1);
        const Vec3d place = random.Vector<3, double>(-1, 1) * std::pow(10.0, trial % 6);
        std::vector<VecBase<3, T>> loop;
        const int count = trial % 10 == 0 ? 10'000 : 3 + random.Below(20);
        for (int i = 0; i < count; ++i) {
            loop.push_back(VecBase<3, T>(place + direction * random.Between(-1, 1)));
        }
        EXPECT_EQ(OfPolygon(loop).normal, (VecBase<3, T>{}));
    }
}

TYPED_TEST(PlaneFitOf, PolygonsFarFromTheOriginKeepTheirPlane)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Corners on a grid of halves or finer: the shift is exact.
    const T far = std::is_same_v<T, float> ? T(1e6) : T(1e9);
    const V offset{far, -2 * far, 3 * far};
    const std::vector<V> loop{{0, 0, 0}, {2, 0, 1}, {2, 2, 2}, {0, 2, 1}}; // z = x / 2 + y / 2
    std::vector<V> shifted;
    for (const V& p : loop) {
        shifted.push_back(p + offset);
    }
    EXPECT_EQ(OfPolygon(shifted).normal, OfPolygon(loop).normal);
    EXPECT_EQ(OfPolygon(shifted).origin, OfPolygon(loop).origin + offset);
    EXPECT_NEAR(OfPolygon(loop).normal.z(), 2 / std::sqrt(6.0), kEpsilon<T>);
}

TYPED_TEST(PlaneFitOf, ThinTrianglesHaveTheirPlane)
{
    using V = VecBase<3, TypeParam>;
    // The height is far below the rounding of the x coordinates but exact in y.
    const auto thin = static_cast<TypeParam>(1e-30);
    EXPECT_EQ(OfPolygon(std::vector<V>{{1000, 0, 0}, {1001, 0, 0}, {1000, thin, 0}}).normal,
              (V{0, 0, 1}));
}

TEST(PlaneOfPolygon, RandomPlanarLoops)
{
    Random random(62);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        const auto [x, y, z] = RandomAxes(random);
        const double size = std::exp2(random.Between(-60, 60));
        const Vec3d center = random.Vector<3, double>(-1, 1) * size;
        std::vector<Vec3d> loop;
        const int count = 3 + random.Below(30);
        for (int i = 0; i < count; ++i) {
            const double angle = kTwoPi<double> * (i + 0.5 * random.Unit()) / count;
            const double radius = size * random.Between(0.5, 1);
            loop.push_back(center + x * (radius * std::cos(angle)) +
                           y * (radius * std::sin(angle)));
        }
        const auto plane = OfPolygon(loop);
        EXPECT_LE(Vector::Length(plane.normal - z), 1e-14);
        EXPECT_NEAR((plane.origin - center) * z, 0.0, 1e-15 * size);
        // A different first corner is the same polygon.
        std::rotate(loop.begin(), loop.begin() + count / 2, loop.end());
        EXPECT_LE(Vector::Length(OfPolygon(loop).normal - z), 1e-14);
    }
}

TEST(PlaneOfPolygon, NonFiniteLoopsHaveNoNormal)
{
    for (const double bad : {kNan, kInfinity, -kInfinity}) {
        for (std::size_t at = 0; at < 4; ++at) {
            std::vector<Vec3d> loop{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
            loop[at][1] = bad;
            EXPECT_EQ(OfPolygon(loop).normal, Vec3d{}) << bad << " at " << at;
        }
    }
}

// --- PlaneOfPoints ------------------------------------------------------------------------------

TYPED_TEST(PlaneFitOf, PointsClosedForms)
{
    using V = VecBase<3, TypeParam>;
    const auto level = OfPoints(std::vector<V>{{0, 0, 2}, {4, 0, 2}, {0, 2, 2}, {4, 2, 2}});
    EXPECT_EQ(level.origin, (V{2, 1, 2}));
    EXPECT_EQ(level.normal, (V{0, 0, 1}));
    // An octahedron flattened along x: deviations 1 along x, 5 across.
    const auto flat = OfPoints(
        std::vector<V>{{1, 0, 0}, {-1, 0, 0}, {0, 5, 0}, {0, -5, 0}, {0, 0, 5}, {0, 0, -5}});
    EXPECT_EQ(flat.origin, V{});
    EXPECT_NEAR(flat.normal.x(), 1.0, kEpsilon<TypeParam>);
    // z = x + y, through three points
    const auto three = OfPoints(std::vector<V>{{0, 0, 0}, {1, 0, 1}, {0, 1, 1}});
    const double third = 1 / std::sqrt(3.0);
    EXPECT_NEAR(three.normal.x(), third, 2 * kEpsilon<TypeParam>);
    EXPECT_NEAR(three.normal.y(), third, 2 * kEpsilon<TypeParam>);
    EXPECT_NEAR(three.normal.z(), -third, 2 * kEpsilon<TypeParam>);
}

TYPED_TEST(PlaneFitOf, FewOrCoincidentPointsHaveNoPlane)
{
    using V = VecBase<3, TypeParam>;
    EXPECT_EQ(OfPoints(std::vector<V>{}).origin, V{});
    EXPECT_EQ(OfPoints(std::vector<V>{}).normal, V{});
    EXPECT_EQ(OfPoints(std::vector<V>{{1, 2, 3}}).origin, (V{1, 2, 3}));
    EXPECT_EQ(OfPoints(std::vector<V>{{1, 2, 3}}).normal, V{});
    EXPECT_EQ(OfPoints(std::vector<V>{{1, 2, 3}, {3, 4, 5}}).origin, (V{2, 3, 4}));
    EXPECT_EQ(OfPoints(std::vector<V>{{1, 2, 3}, {3, 4, 5}}).normal, V{});
    EXPECT_EQ(OfPoints(std::vector<V>(100, V{TypeParam(0.1), TypeParam(1e6), -7})).normal, V{});
}

TYPED_TEST(PlaneFitOf, CollinearPointsInAnyDirectionAndPlaceHaveNoPlane)
{
    using T = TypeParam;
    Random random(63);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        Vec3d direction = random.Vector<3, double>(-1, 1);
        direction[trial % 3] *=
            std::pow(10.0, -(trial % 7)); // also nearly along a coordinate plane
        const Vec3d place = random.Vector<3, double>(-1, 1) * std::pow(10.0, trial % 6);
        std::vector<VecBase<3, T>> points;
        const int count = trial % 20 == 0 ? 50'000 : 3 + random.Below(20);
        for (int i = 0; i < count; ++i) {
            points.push_back(VecBase<3, T>(place + direction * random.Between(-1, 1)));
        }
        EXPECT_EQ(OfPoints(points).normal, (VecBase<3, T>{}));
    }
}

TEST(PlaneOfPoints, RandomPlanarCloudsAtAnyOffset)
{
    Random random(64);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const auto [x, y, z] = RandomAxes(random);
        const double offset = std::pow(10.0, trial % 10);
        const Vec3d center = random.Vector<3, double>(-1, 1) * offset;
        std::vector<Vec3d> points;
        for (int i = 0; i < 50; ++i) {
            points.push_back(center + x * random.Between(-1, 1) + y * random.Between(-1, 1));
        }
        const auto plane = OfPoints(points);
        // Each point is rounded by half a unit in the last place of the offset.
        EXPECT_LE(AngleOfLines(plane.normal, z), 4 * kEpsilon<double> * (1 + offset));
        EXPECT_NEAR(Vector::Length(plane.normal), 1.0, 4 * kEpsilon<double>);
        for (const Vec3d& p : points) {
            EXPECT_NEAR((p - plane.origin) * plane.normal, 0.0,
                        8 * kEpsilon<double> * (1 + offset));
        }
    }
}

TEST(PlaneOfPoints, NarrowStripsHaveGoodNormals)
{
    // Length 1, width w: the scatter matrix alone would tell the normal to 1e-16 / w^2 only.
    Random random(65);
    for (const double width : {1e-2, 1e-4, 1e-6, 1e-8, 1e-10}) {
        for (int trial = 0; trial < 20; ++trial) {
            const auto [x, y, z] = RandomAxes(random);
            std::vector<Vec3d> points;
            for (int i = 0; i < 200; ++i) {
                points.push_back(x * random.Between(-1, 1) + y * (width * random.Between(-1, 1)));
            }
            EXPECT_LE(AngleOfLines(OfPoints(points).normal, z), 4 * kEpsilon<double> / width)
                << width;
        }
    }
}

TEST(PlaneOfPoints, MinimizesTheSquaredDistances)
{
    Random random(66);
    for (int trial = 0; trial < 100; ++trial) {
        const auto [x, y, z] = RandomAxes(random);
        std::vector<Vec3d> points;
        for (int i = 0; i < 100; ++i) {
            points.push_back(x * random.Between(-5, 5) + y * random.Between(-3, 3) +
                             z * random.Between(-1, 1));
        }
        const auto plane = OfPoints(points);
        const auto squaredDistances = [&](const Vec3d& origin, const Vec3d& normal) {
            double sum = 0.0;
            for (const Vec3d& p : points) {
                const double distance = (p - origin) * normal;
                sum += distance * distance;
            }
            return sum;
        };
        const double best = squaredDistances(plane.origin, plane.normal);
        for (int other = 0; other < 50; ++other) {
            const double far = std::pow(10.0, -random.Below(6));
            const Vec3d normal =
                Vector::Normalized(plane.normal + random.Vector<3, double>(-1, 1) * far, 0.0);
            const Vec3d origin = plane.origin + random.Vector<3, double>(-1, 1) * far;
            EXPECT_GE(squaredDistances(origin, normal), best * (1 - 1e-12));
        }
    }
}

TYPED_TEST(PlaneFitOf, SignDoesNotDependOnTheOrderOfThePoints)
{
    using V = VecBase<3, TypeParam>;
    Random random(67);
    // Planes whose normals have components of equal size, where the last digit decides which is
    // largest.
    const std::vector<std::array<V, 2>> spans{{V{1, 1, 0}, V{0, 0, 1}},
                                              {V{1, -1, 0}, V{0, 0, 1}},
                                              {V{1, 0, 1}, V{0, 1, 0}},
                                              {V{1, -1, 0}, V{0, 1, -1}},
                                              {V{1, 1, 0}, V{0, 1, 1}}};
    for (const auto& [u, v] : spans) {
        std::vector<V> points;
        for (int i = 0; i < 20; ++i) {
            points.push_back(u * static_cast<TypeParam>(random.Between(-1, 1)) +
                             v * static_cast<TypeParam>(random.Between(-1, 1)));
        }
        const V normal = OfPoints(points).normal;
        EXPECT_GT(normal.x() != TypeParam{0} ? std::fabs(normal.x()) : TypeParam{1}, TypeParam{0});
        for (int trial = 0; trial < 100; ++trial) {
            for (std::size_t i = points.size() - 1; i > 0; --i) {
                std::swap(points[i],
                          points[static_cast<std::size_t>(random.Below(static_cast<int>(i) + 1))]);
            }
            EXPECT_GT(OfPoints(points).normal * normal, TypeParam(0.99));
        }
    }
}

TEST(PlaneOfPoints, FirstOfTheLargestComponentsIsPositive)
{
    EXPECT_GT(OfPoints(std::vector<Vec3d>{{0, 0, 0}, {1, 1, 0}, {0, 0, 1}}).normal.x(), 0.0);
    EXPECT_GT(OfPoints(std::vector<Vec3d>{{0, 0, 0}, {1, 0, 0}, {0, 1, 1}}).normal.y(), 0.0);
    EXPECT_GT(OfPoints(std::vector<Vec3d>{{0, 0, 0}, {1, 0, 0.5}, {0, 1, 0}}).normal.z(), 0.0);
}

TEST(PlaneOfPoints, NonFinitePointsHaveNoPlane)
{
    const double huge = std::numeric_limits<double>::max();
    for (const double bad : {kNan, kInfinity, -kInfinity, huge}) {
        std::vector<Vec3d> points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
        points[2][1] = bad;
        points[3][0] = -bad;
        EXPECT_EQ(OfPoints(points).normal, Vec3d{}) << bad;
    }
}

} // namespace
