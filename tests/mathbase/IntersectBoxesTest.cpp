// Boxes against boxes, triangles, rays and points: closed forms, faces and corners exactly touched,
// and twins by clipping and by sampling.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Intersect = Velk::Math::Intersect;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMax = std::numeric_limits<double>::max();

struct Box {
    Vec3d min;
    Vec3d max;
};

Box RandomBox(Support::Random& random, double extent)
{
    const auto p = random.Vector<3, double>(-extent, extent);
    const auto q = random.Vector<3, double>(-extent, extent);
    return {{std::min(p[0], q[0]), std::min(p[1], q[1]), std::min(p[2], q[2])},
            {std::max(p[0], q[0]), std::max(p[1], q[1]), std::max(p[2], q[2])}};
}

bool Contains(const Box& box, const Vec3d& p)
{
    return p[0] >= box.min[0] && p[0] <= box.max[0] && p[1] >= box.min[1] && p[1] <= box.max[1] &&
           p[2] >= box.min[2] && p[2] <= box.max[2];
}

// --- AABBAABB -----------------------------------------------------------------------------------

TEST(AABBAABB, TouchingCountsWhateverTheFlag)
{
    for (const bool flag : {true, false}) {
        const auto meet = [&](const Box& a, const Box& b) {
            const bool forth = Intersect::AABBAABB(a.min, a.max, b.min, b.max, flag);
            EXPECT_EQ(forth, Intersect::AABBAABB(b.min, b.max, a.min, a.max, flag));
            return forth;
        };
        const Box unit{{0, 0, 0}, {1, 1, 1}};
        EXPECT_TRUE(meet(unit, unit));
        EXPECT_TRUE(meet(unit, {{0.2, 0.2, 0.2}, {0.3, 0.3, 0.3}})); // inside
        EXPECT_TRUE(meet(unit, {{1, 0, 0}, {2, 1, 1}}));             // a face
        EXPECT_TRUE(meet(unit, {{1, 1, 0}, {2, 2, 1}}));             // an edge
        EXPECT_TRUE(meet(unit, {{1, 1, 1}, {2, 2, 2}}));             // a corner
        EXPECT_TRUE(meet(unit, {{-kInf, -kInf, -kInf}, {kInf, kInf, kInf}}));
        const double beyond = std::nextafter(1.0, 2.0);
        for (int axis = 0; axis < 3; ++axis) {
            Box apart{{0, 0, 0}, {2, 2, 2}};
            apart.min[axis] = beyond;
            EXPECT_FALSE(meet(unit, apart));
            Box unknown = unit;
            unknown.max[axis] = kNan;
            EXPECT_FALSE(meet(unit, unknown));
        }
        EXPECT_FALSE(meet(unit, {{kMax, kMax, kMax}, {-kMax, -kMax, -kMax}})); // nothing grown yet
    }
}

// --- TriangleAABB -------------------------------------------------------------------------------

TEST(TriangleAABB, TouchesAtCornersEdgesAndFaces)
{
    const auto meets = [](const Vec3d& a, const Vec3d& b, const Vec3d& c) {
        return Intersect::TriangleAABB(a, b, c, {0.1, 0.1, 0.1}, {0.3, 0.3, 0.3});
    };
    EXPECT_TRUE(meets({0.3, 0.3, 0.3}, {1, 1, 1}, {1, 1, 2})); // corner on corner, rounded decimals
    EXPECT_TRUE(meets({0.3, 0.2, 0.2}, {1, 0, 0}, {1, 1, 0})); // corner on face
    EXPECT_TRUE(meets({0.15, 0.15, 0.15}, {0.2, 0.2, 0.2}, {0.25, 0.2, 0.2})); // inside
    EXPECT_TRUE(meets({-9, -9, 0.2}, {9, -9, 0.2}, {0, 9, 0.2}));  // cuts through, no corner inside
    EXPECT_TRUE(meets({0.9, 0, 0}, {0, 0.9, 0}, {0, 0, 0.9}));     // plane through the far corner
    EXPECT_FALSE(meets({0.91, 0, 0}, {0, 0.91, 0}, {0, 0, 0.91})); // just beyond it
    EXPECT_TRUE(
        meets({0.6, 0, 0.2}, {0, 0.6, 0.2}, {1, 1, 0.2})); // side through an edge of the box
    EXPECT_FALSE(meets({0.61, 0, 0.2}, {0, 0.61, 0.2}, {1, 1, 0.2}));
    EXPECT_FALSE(meets({0.3000001, 0.2, 0.2}, {1, 0, 0}, {1, 1, 0}));
}

TEST(TriangleAABB, DegenerateTrianglesAndOddBoxes)
{
    const Vec3d low{0, 0, 0};
    const Vec3d high{1, 1, 1};
    EXPECT_TRUE(Intersect::TriangleAABB({1, 1, 1}, {1, 1, 1}, {1, 1, 1}, low, high)); // a point
    EXPECT_FALSE(Intersect::TriangleAABB({1, 1, 2}, {1, 1, 2}, {1, 1, 2}, low, high));
    EXPECT_TRUE(Intersect::TriangleAABB({-1, 2, 0.5}, {2, -1, 0.5}, {0.5, 0.5, 0.5}, low, high));
    EXPECT_FALSE(Intersect::TriangleAABB({-1, 4, 0.5}, {4, -1, 0.5}, {1.5, 1.5, 0.5}, low, high));
    const Vec3d a{0.2, 0.2, 0.2};
    const Vec3d b{0.4, 0.2, 0.2};
    const Vec3d c{0.2, 0.4, 0.2};
    EXPECT_TRUE(Intersect::TriangleAABB(a, b, c, {-kInf, -kInf, -kInf}, {kInf, kInf, kInf}));
    EXPECT_TRUE(Intersect::TriangleAABB(a, b, c, {-kInf, 0, -kInf}, {kInf, 1, 1}));
    EXPECT_FALSE(Intersect::TriangleAABB(a, b, c, {-kInf, 1, -kInf}, {kInf, 2, 1}));
    EXPECT_FALSE(Intersect::TriangleAABB(a, b, c, high, low));               // inverted
    EXPECT_TRUE(Intersect::TriangleAABB(a, b, c, {0, 0, 0.2}, {1, 1, 0.2})); // flat
    for (const double bad : {kNan, kInf, -kInf}) {
        EXPECT_FALSE(Intersect::TriangleAABB({0.2, bad, 0.2}, b, c, low, high));
        EXPECT_FALSE(Intersect::TriangleAABB(a, b, {0.2, 0.4, bad}, low, high));
    }
    EXPECT_FALSE(Intersect::TriangleAABB(a, b, c, {0, kNan, 0}, high));
    EXPECT_FALSE(Intersect::TriangleAABB(a, b, c, low, {1, 1, kNan}));
}

/// Sutherland-Hodgman: what of the triangle is left inside the six faces, moved outwards by
/// `margin`.
bool MeetsByClipping(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Box& box, double margin)
{
    std::vector<Vec3d> polygon{a, b, c};
    for (int axis = 0; axis < 3; ++axis) {
        for (const double sign : {1.0, -1.0}) {
            const double face = sign > 0 ? box.max[axis] + margin : -(box.min[axis] - margin);
            std::vector<Vec3d> kept;
            for (std::size_t i = 0; i < polygon.size(); ++i) {
                const Vec3d& p = polygon[i];
                const Vec3d& q = polygon[(i + 1) % polygon.size()];
                const double overP = sign * p[axis] - face;
                const double overQ = sign * q[axis] - face;
                if (overP <= 0) {
                    kept.push_back(p);
                }
                if ((overP < 0 && overQ > 0) || (overP > 0 && overQ < 0)) {
                    kept.push_back(p + (q - p) * (overP / (overP - overQ)));
                }
            }
            polygon = kept;
        }
    }
    return !polygon.empty();
}

TEST(TriangleAABB, AgreesWithClipping)
{
    Support::Random random(31);
    int met = 0;
    int decided = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        const Box box = RandomBox(random, 1);
        const Vec3d a = random.Vector<3, double>(-1, 1);
        const Vec3d b = a + random.Vector<3, double>(-2, 2);
        const Vec3d c = trial % 5 == 0 ? a + (b - a) * random.Between(-1, 2) // a segment
                                       : a + random.Vector<3, double>(-2, 2);
        const bool surely = MeetsByClipping(a, b, c, box, -1e-9);
        if (surely != MeetsByClipping(a, b, c, box, 1e-9)) {
            continue; // too close to tell
        }
        ++decided;
        met += surely;
        ASSERT_EQ(Intersect::TriangleAABB(a, b, c, box.min, box.max), surely) << trial;
    }
    EXPECT_GT(decided, 19'900);
    EXPECT_GT(met, 2000);
    EXPECT_LT(met, 18'000);
}

TEST(TriangleAABB, NoTouchOnALatticeIsLost)
{
    // Small integers: clipping is exact up to divisions, and what it finds may not be missed.
    Support::Random random(32);
    int touches = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        const auto point = [&] {
            return Vec3d{random.Below(5) - 1, random.Below(5) - 1, random.Below(5) - 1};
        };
        const Vec3d a = point();
        const Vec3d b = point();
        const Vec3d c = point();
        const Box box{{0, 0, 0}, {1.0 + random.Below(2), 1.0 + random.Below(2), 1}};
        const bool inside = MeetsByClipping(a, b, c, box, -1e-9);
        const bool touching = MeetsByClipping(a, b, c, box, 1e-12);
        touches += touching && !inside;
        ASSERT_EQ(Intersect::TriangleAABB(a, b, c, box.min, box.max), touching) << trial;
    }
    EXPECT_GT(touches, 2000);
}

// --- RayAABB ------------------------------------------------------------------------------------

struct RayMeets {
    bool found;
    Vec3d hit;
    double distance;

    friend bool operator==(const RayMeets&, const RayMeets&) = default;
};

RayMeets Cast(const Vec3d& origin, const Vec3d& direction, const Box& box)
{
    RayMeets r{false, {99, 99, 99}, 99};
    r.found = Intersect::RayAABB(origin, direction, box.min, box.max, r.hit, r.distance);
    return r;
}

const RayMeets kMiss{false, Vec3d{}, 0.0};

TEST(RayAABB, FirstPointAndDistanceInLengthUnits)
{
    const Box box{{1, 1, 1}, {3, 3, 3}};
    EXPECT_EQ(Cast({-1, 2, 2}, {1, 0, 0}, box), (RayMeets{true, {1, 2, 2}, 2}));
    EXPECT_EQ(Cast({-1, 2, 2}, {8, 0, 0}, box), (RayMeets{true, {1, 2, 2}, 2})); // any length
    EXPECT_EQ(Cast({5, 2, 2}, {-0.5, 0, 0}, box), (RayMeets{true, {3, 2, 2}, 2}));
    EXPECT_EQ(Cast({2, 2, 2}, {0, 1, 0}, box), (RayMeets{true, {2, 2, 2}, 0})); // from inside
    EXPECT_EQ(Cast({-1, 2, 2}, {-1, 0, 0}, box), kMiss);                        // behind
    EXPECT_EQ(Cast({-1, 2, 2}, {0, 1, 0}, box), kMiss);
    EXPECT_EQ(Cast({-1, 3.01, 2}, {1, 0, 0}, box), kMiss);
    const RayMeets diagonal = Cast({0, 0, 0}, {1, 1, 1}, box);
    EXPECT_TRUE(diagonal.found);
    EXPECT_EQ(diagonal.hit, (Vec3d{1, 1, 1}));
    EXPECT_DOUBLE_EQ(diagonal.distance, std::sqrt(3.0));
}

TEST(RayAABB, OriginsAndRaysOnFacesCount)
{
    const Box box{{1, 1, 1}, {3, 3, 3}};
    // Along a face, an edge, through a corner; directions with zeros of either sign.
    for (const double zero : {0.0, -0.0}) {
        EXPECT_EQ(Cast({0, 1, 2}, {1, zero, zero}, box), (RayMeets{true, {1, 1, 2}, 1}));
        EXPECT_EQ(Cast({0, 3, 3}, {1, zero, zero}, box), (RayMeets{true, {1, 3, 3}, 1}));
        EXPECT_EQ(Cast({0, std::nextafter(3.0, 4.0), 3}, {1, zero, zero}, box), kMiss);
    }
    EXPECT_EQ(Cast({1, 2, 2}, {-1, 0, 0}, box), (RayMeets{true, {1, 2, 2}, 0})); // leaves at once
    EXPECT_EQ(Cast({3, 2, 2}, {-1, 0, 0}, box), (RayMeets{true, {3, 2, 2}, 0}));
    EXPECT_EQ(Cast({1, 2, 2}, {0, 1, 0}, box), (RayMeets{true, {1, 2, 2}, 0})); // 0 / 0 avoided
    // A flat box, in its plane and across it.
    const Box flat{{0, 0, 1}, {2, 2, 1}};
    EXPECT_EQ(Cast({-1, 1, 1}, {1, 0, 0}, flat), (RayMeets{true, {0, 1, 1}, 1}));
    EXPECT_EQ(Cast({1, 1, 5}, {0, 0, -1}, flat), (RayMeets{true, {1, 1, 1}, 4}));
}

TEST(RayAABB, OddBoxesAndHostileInput)
{
    const Box box{{1, 1, 1}, {3, 3, 3}};
    EXPECT_EQ(Cast({2, 2, 2}, {0, 0, 0}, box), kMiss);
    EXPECT_EQ(Cast({2, 2, 2}, {1, 0, 0}, {{3, 1, 1}, {1, 3, 3}}), kMiss); // inverted
    EXPECT_EQ(Cast({2, 2, 2}, {1, 0, 0}, {{kMax, kMax, kMax}, {-kMax, -kMax, -kMax}}), kMiss);
    const Box all{{-kInf, -kInf, -kInf}, {kInf, kInf, kInf}};
    EXPECT_EQ(Cast({2, 2, 2}, {1, 0, 1}, all), (RayMeets{true, {2, 2, 2}, 0}));
    const Box half{{4, -kInf, -kInf}, {kInf, kInf, kInf}};
    EXPECT_EQ(Cast({2, 2, 2}, {2, 0, 0}, half), (RayMeets{true, {4, 2, 2}, 2}));
    for (const double bad : {kNan, kInf, -kInf}) {
        for (int axis = 0; axis < 3; ++axis) {
            Vec3d origin{0, 2, 2};
            origin[axis] = bad;
            EXPECT_EQ(Cast(origin, {1, 0.1, 0.1}, box), kMiss) << bad << axis;
            EXPECT_EQ(Cast(origin, {1, 0, 0}, box), kMiss) << bad << axis;
            Vec3d direction{1, 0.1, 0.1};
            direction[axis] = bad;
            EXPECT_EQ(Cast({0, 2, 2}, direction, box), kMiss) << bad << axis;
        }
    }
    for (int axis = 0; axis < 3; ++axis) {
        Box unknown = box;
        unknown.min[axis] = kNan;
        EXPECT_EQ(Cast({0, 2, 2}, {1, 0, 0}, unknown), kMiss);
    }
    // A component so small that its reciprocal overflows.
    EXPECT_EQ(Cast({0, 1, 2}, {1, 5e-324, 0}, box), (RayMeets{true, {1, 1, 2}, 1}));
}

TEST(RayAABB, AgreesWithSamplingAlongTheRay)
{
    Support::Random random(33);
    int hits = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        const Box box = RandomBox(random, 1);
        const auto origin = random.Vector<3, double>(-2, 2);
        const Vec3d direction = random.Vector<3, double>(-1, 1) - origin; // toward the boxes
        const RayMeets result = Cast(origin, direction, box);
        hits += result.found;
        const double length = Vector::Length(direction);
        if (result.found) {
            ASSERT_TRUE(Contains(box, result.hit));
            ASSERT_NEAR(
                Vector::Length(origin + direction * (result.distance / length) - result.hit), 0,
                1e-15 * 8);
        }
        // No point of the ray before the hit, and none at all after a miss, is in the box.
        for (int i = 0; i < 400; ++i) {
            const double distance = (result.found ? result.distance - 1e-12 : 8.0) * i / 400;
            ASSERT_FALSE(i > 0 && distance > 0 &&
                         Contains(box, origin + direction * (distance / length)))
                << trial;
        }
    }
    EXPECT_GT(hits, 300);
}

TEST(RayAABB, GrazingRaysAreNotLost)
{
    // Rays aimed at a corner of the box from afar, past everything else of it: rounding must not
    // lose them, since what lies in the box may touch that corner.
    Support::Random random(34);
    for (int trial = 0; trial < 50'000; ++trial) {
        const Box box = RandomBox(random, 1);
        const Vec3d corner{box.max[0], box.min[1], random.Between(box.min[2], box.max[2])};
        const Vec3d away{random.Between(0.1, 1), random.Between(0.1, 1), random.Between(-1, 1)};
        const Vec3d origin = corner - away * random.Between(1, 1000);
        const Vec3d direction = Vector::Normalized(corner - origin, 0.0);
        ASSERT_TRUE(Cast(origin, direction, box).found) << trial;
        ASSERT_TRUE(Contains(box, Cast(origin, direction, box).hit)) << trial;
    }
}

// --- DistanceToAABB -----------------------------------------------------------------------------

template <class T>
class DistanceToAABB : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(DistanceToAABB, Scalars);

TYPED_TEST(DistanceToAABB, ClosedForms)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    using W = VecBase<2, T>;
    const V low{0, 0, 0};
    const V high{1, 2, 3};
    EXPECT_EQ(Intersect::DistanceToAABB(low, high, V{T(0.5), 1, 1}, true), T{0});
    EXPECT_EQ(Intersect::DistanceToAABB(low, high, V{1, 2, 3}, false), T{0}); // a corner
    EXPECT_EQ(Intersect::DistanceToAABB(low, high, V{4, 6, 3}, false), T{5}); // 3, 4, 0
    EXPECT_EQ(Intersect::DistanceToAABB(low, high, V{4, 6, 3}, true), T{25});
    EXPECT_EQ(Intersect::DistanceToAABB(low, high, V{-1, -2, 5}, true), T{9}); // 1, 2, 2
    EXPECT_EQ(Intersect::DistanceToAABB(W{0, 0}, W{1, 2}, W{-3, 6}, false), T{5});
    EXPECT_EQ(Intersect::DistanceToAABB(W{0, 0}, W{1, 2}, W{1, T(1.5)}, true), T{0});
    EXPECT_EQ(Intersect::DistanceToAABB(W{1, 1}, W{1, 1}, W{1, 1}, true), T{0}); // a point
}

TYPED_TEST(DistanceToAABB, AnyNanGivesNan)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const auto check = [&]<int N>(std::integral_constant<int, N>) {
        using V = VecBase<N, T>;
        for (int axis = 0; axis < N; ++axis) {
            for (const T elsewhere : {T(0.5), T{7}, T{-7}}) {
                V low;
                V high;
                V point;
                for (int i = 0; i < N; ++i) {
                    high[i] = T{1};
                    point[i] = elsewhere;
                }
                for (V* bad : {&low, &high, &point}) {
                    const T kept = (*bad)[axis];
                    (*bad)[axis] = nan;
                    EXPECT_TRUE(std::isnan(Intersect::DistanceToAABB(low, high, point, true)));
                    EXPECT_TRUE(std::isnan(Intersect::DistanceToAABB(low, high, point, false)));
                    (*bad)[axis] = kept;
                }
            }
        }
    };
    check(std::integral_constant<int, 2>{});
    check(std::integral_constant<int, 3>{});
}

TYPED_TEST(DistanceToAABB, InvertedAndUnboundedBoxes)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T inf = std::numeric_limits<T>::infinity();
    const T max = std::numeric_limits<T>::max();
    // min 3 and max 1: from 1.5 the face at 3 is farther (1.5), from 9 the one at 1 (8).
    EXPECT_EQ(Intersect::DistanceToAABB(V{3, 0}, V{1, 1}, V{T(1.5), 0}, false), T(1.5));
    EXPECT_EQ(Intersect::DistanceToAABB(V{3, 0}, V{1, 1}, V{9, 0}, false), T{8});
    EXPECT_EQ(Intersect::DistanceToAABB(V{3, 0}, V{1, 1}, V{-1, 0}, false), T{4});
    EXPECT_GT(Intersect::DistanceToAABB(V{max, max}, V{-max, -max}, V{0, 0}, false), T{1});
    EXPECT_EQ(Intersect::DistanceToAABB(V{-inf, -inf}, V{inf, inf}, V{5, inf}, false), T{0});
    EXPECT_EQ(Intersect::DistanceToAABB(V{0, 0}, V{1, 1}, V{inf, 0}, false), inf);
    EXPECT_EQ(Intersect::DistanceToAABB(V{0, -inf}, V{1, inf}, V{3, 8}, false), T{2});
}

TYPED_TEST(DistanceToAABB, IsTheDistanceToTheNearestPoint)
{
    using T = TypeParam;
    Support::Random random(35);
    for (int trial = 0; trial < 5000; ++trial) {
        const auto p = random.Vector<3, T>(-1, 1);
        const auto q = random.Vector<3, T>(-1, 1);
        const auto point = random.Vector<3, T>(-2, 2);
        VecBase<3, T> low;
        VecBase<3, T> high;
        VecBase<3, T> nearest;
        for (int i = 0; i < 3; ++i) {
            low[i] = std::min(p[i], q[i]);
            high[i] = std::max(p[i], q[i]);
            nearest[i] = std::clamp(point[i], low[i], high[i]);
        }
        const T distance = Intersect::DistanceToAABB(low, high, point, false);
        ASSERT_EQ(distance, Vector::Length(point - nearest));
        ASSERT_EQ(Intersect::DistanceToAABB(low, high, point, true),
                  Vector::SquaredLength(point - nearest));
        ASSERT_EQ(distance == T{0}, nearest == point);
    }
}

} // namespace
