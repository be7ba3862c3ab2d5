// Triangles against points, rays, segments, balls and each other; nearest pairs of lines. Closed
// forms, degenerate shapes, and twins that sample, clip or compare everything with everything.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Intersect = Velk::Math::Intersect;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

using Corners = std::array<Vec3d, 3>;

Corners RandomTriangle(Support::Random& random, double extent)
{
    return {random.Vector<3, double>(-extent, extent), random.Vector<3, double>(-extent, extent),
            random.Vector<3, double>(-extent, extent)};
}

double Distance(const Vec3d& p, const Vec3d& q) { return Vector::Length(p - q); }

Vec3d NearestOn(const Corners& t, const Vec3d& p)
{
    return Intersect::ClosestPointOnTriangle(t[0], t[1], t[2], p);
}

template <class T>
class IntersectTriangles : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(IntersectTriangles, Scalars);

// --- ClosestPointOnTriangle ---------------------------------------------------------------------

TYPED_TEST(IntersectTriangles, NearestInThePlane)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const V a{0, 0};
    const V b{4, 0};
    const V c{0, 4};
    for (const auto& [p, q, r] : {std::array{a, b, c}, std::array{a, c, b}}) {
        const V inside{T(0.1), T(0.7)};
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, inside), inside); // its own bits
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{2, 2}), (V{2, 2}));
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{3, -5}), (V{3, 0}));
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{3, 3}), (V{2, 2}));
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{-1, -2}), a);
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{9, 1}), b);
        EXPECT_EQ(Intersect::ClosestPointOnTriangle(p, q, r, V{1, 9}), c);
    }
    // Without area: the segment, the point.
    EXPECT_EQ(Intersect::ClosestPointOnTriangle(V{0, 0}, V{4, 4}, V{2, 2}, V{3, 1}), (V{2, 2}));
    EXPECT_EQ(Intersect::ClosestPointOnTriangle(V{0, 0}, V{2, 2}, V{4, 4}, V{9, 9}), (V{4, 4}));
    EXPECT_EQ(Intersect::ClosestPointOnTriangle(V{1, 2}, V{1, 2}, V{1, 2}, V{9, 9}), (V{1, 2}));
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(std::isnan(Intersect::ClosestPointOnTriangle(a, b, c, V{nan, 0}).x()));
}

/// The nearest point never leaves the box of the corners, not by the last digit.
template <int N, class T>
void ExpectNearestWithinBox(const std::array<VecBase<N, T>, 3>& t, const VecBase<N, T>& p)
{
    const VecBase<N, T> nearest = Intersect::ClosestPointOnTriangle(t[0], t[1], t[2], p);
    for (int i = 0; i < N; ++i) {
        ASSERT_GE(nearest[i], std::min({t[0][i], t[1][i], t[2][i]}));
        ASSERT_LE(nearest[i], std::max({t[0][i], t[1][i], t[2][i]}));
    }
}

template <int N, class T>
void ExpectNearestWithinBoxes(Support::Random& random)
{
    for (int trial = 0; trial < 20000; ++trial) {
        const double thinness = std::exp2(-random.Below(56)); // needles of all degrees
        const auto a = random.Vector<N, T>(-1, 1);
        const VecBase<N, T> ab = random.Vector<N, T>(-1, 1);
        const VecBase<N, T> c =
            a + ab * T(random.Unit()) + random.Vector<N, T>(-1, 1) * T(thinness);
        std::array<VecBase<N, T>, 3> t{a, a + ab, c};
        if (trial % 3 == 0) {
            t[1][trial % N] = t[0][trial % N]; // a side across an axis
            t[2][trial % N] = t[0][trial % N];
        }
        ASSERT_NO_FATAL_FAILURE((ExpectNearestWithinBox<N, T>(t, random.Vector<N, T>(-2, 2))));
    }
}

TEST(ClosestPointOnTriangle, LiesInTheBoxOfTheCorners)
{
    Support::Random random(52);
    ASSERT_NO_FATAL_FAILURE((ExpectNearestWithinBoxes<2, float>(random)));
    ASSERT_NO_FATAL_FAILURE((ExpectNearestWithinBoxes<2, double>(random)));
    ASSERT_NO_FATAL_FAILURE((ExpectNearestWithinBoxes<3, double>(random)));
}

TEST(ClosestPointOnTriangle, EachRegionInSpace)
{
    const Corners t{Vec3d{0, 0, 1}, Vec3d{4, 0, 1}, Vec3d{0, 4, 1}};
    EXPECT_EQ(NearestOn(t, {1, 1, 7}), (Vec3d{1, 1, 1}));
    EXPECT_EQ(NearestOn(t, {1, 1, -7}), (Vec3d{1, 1, 1}));
    EXPECT_EQ(NearestOn(t, {3, -5, 2}), (Vec3d{3, 0, 1}));
    EXPECT_EQ(NearestOn(t, {-5, 3, 2}), (Vec3d{0, 3, 1}));
    EXPECT_EQ(NearestOn(t, {3, 3, 2}), (Vec3d{2, 2, 1}));
    EXPECT_EQ(NearestOn(t, {-1, -1, 2}), t[0]);
    EXPECT_EQ(NearestOn(t, {9, 1, 2}), t[1]);
    EXPECT_EQ(NearestOn(t, {1, 9, 2}), t[2]);
    for (const Vec3d& corner : t) {
        EXPECT_EQ(NearestOn(t, corner), corner);
    }
}

TEST(ClosestPointOnTriangle, DegenerateTriangles)
{
    EXPECT_EQ(NearestOn({Vec3d{0, 0, 0}, {4, 4, 0}, {2, 2, 0}}, {3, 1, 5}), (Vec3d{2, 2, 0}));
    EXPECT_EQ(NearestOn({Vec3d{2, 2, 0}, {0, 0, 0}, {4, 4, 0}}, {9, 9, 9}), (Vec3d{4, 4, 0}));
    EXPECT_EQ(NearestOn({Vec3d{1, 1, 1}, {1, 1, 1}, {3, 1, 1}}, {2, 5, 5}), (Vec3d{2, 1, 1}));
    EXPECT_EQ(NearestOn({Vec3d{1, 2, 3}, {1, 2, 3}, {1, 2, 3}}, {9, 9, 9}), (Vec3d{1, 2, 3}));
    // Decimals in a row are collinear up to rounding only.
    EXPECT_NEAR(
        Distance(NearestOn({Vec3d{0.1, 0.2, 0.3}, {0.2, 0.4, 0.6}, {0.3, 0.6, 0.9}}, {1, 2, 3}),
                 {0.3, 0.6, 0.9}),
        0, 1e-15);
    EXPECT_TRUE(std::isnan(NearestOn({Vec3d{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {kNan, 0, 0}).x()));
    EXPECT_TRUE(std::isnan(NearestOn({Vec3d{0, 0, kNan}, {1, 0, 0}, {0, 1, 0}}, {0, 0, 1}).z()));
    (void)NearestOn({Vec3d{0, 0, kInf}, {1e300, 0, 0}, {0, 1e300, 0}}, {0, -1e300, 1});
    EXPECT_EQ(NearestOn({Vec3d{0, 0, 0}, {1e-160, 0, 0}, {0, 1e-160, 0}}, {0, -1, 0}), Vec3d{});
}

/// The point is nearest on the convex triangle exactly if no corner lies on the far side of it:
/// (p - q) * (corner - q) <= 0 for each corner. That needs no second way of finding it.
double FarthestCornerBeyond(const Corners& t, const Vec3d& p, const Vec3d& q)
{
    double beyond = -kInf;
    for (const Vec3d& corner : t) {
        beyond = std::max(beyond, (p - q) * (corner - q));
    }
    return beyond;
}

TEST(ClosestPointOnTriangle, SatisfiesTheConditionOfANearestPoint)
{
    Support::Random random(41);
    for (int trial = 0; trial < 50'000; ++trial) {
        const double offset = trial % 2 == 0 ? 0.0 : 1000.0;
        const Vec3d shift = random.Vector<3, double>(-offset, offset);
        Corners t = RandomTriangle(random, 1);
        for (Vec3d& corner : t) {
            corner += shift;
        }
        const Vec3d p = shift + random.Vector<3, double>(-3, 3);
        const Vec3d q = NearestOn(t, p);
        const double rounding = 1e-14 * (1 + offset);
        ASSERT_LE(FarthestCornerBeyond(t, p, q), 10 * rounding) << trial;
        double u = 0;
        double v = 0;
        // On the triangle: among random points of it none is nearer, and q itself is one.
        ASSERT_NEAR(Distance(NearestOn(t, q), q), 0, rounding);
        for (int i = 0; i < 10; ++i) {
            u = random.Unit();
            v = random.Unit();
            if (u + v > 1) {
                u = 1 - u;
                v = 1 - v;
            }
            ASSERT_LE(Distance(p, q),
                      Distance(p, t[0] + (t[1] - t[0]) * u + (t[2] - t[0]) * v) + rounding);
        }
    }
}

TEST(ClosestPointOnTriangle, ThinTrianglesKeepTheirDigits)
{
    // Needles and caps down to a width of 1e-13 of their length, turned at random. A point built
    // from the normal of the unturned triangle has a known foot.
    Support::Random random(42);
    for (const double width : {1e-2, 1e-4, 1e-6, 1e-8, 1e-10, 1e-13}) {
        for (int trial = 0; trial < 2000; ++trial) {
            // A frame by Gram-Schmidt; its rounding of 1e-16 is that of the expectation.
            Vec3d e1 = Vector::Normalized(random.Vector<3, double>(-1, 1), 1e-12);
            Vec3d e2 = random.Vector<3, double>(-1, 1);
            e2 = Vector::Normalized(e2 - e1 * (e1 * e2), 1e-12);
            const double apex = trial % 2 == 0 ? random.Between(0, 1) : 0.0; // cap or needle
            const Corners t{Vec3d{}, e1, e1 * apex + e2 * width};
            const Vec3d p = random.Vector<3, double>(-2, 2);
            const Vec3d q = NearestOn(t, p);
            // Some sixteen roundings of the distance, whatever the width.
            const double rounding =
                16 * std::numeric_limits<double>::epsilon() * (1 + Vector::Length(p));
            ASSERT_LE(FarthestCornerBeyond(t, p, q), rounding * (1 + Vector::Length(p)))
                << width << ' ' << trial;
            ASSERT_NEAR(Distance(NearestOn(t, q), q), 0, rounding) << width << ' ' << trial;
        }
    }
}

// --- ClosestPointsOfTwoLines --------------------------------------------------------------------

template <class T>
struct PairOnLines {
    bool found;
    T s;
    T t;
    VecBase<3, T> pa;
    VecBase<3, T> pb;
};

template <class T>
PairOnLines<T> NearestPair(const VecBase<3, T>& a0, const VecBase<3, T>& a1,
                           const VecBase<3, T>& b0, const VecBase<3, T>& b1, bool clamp)
{
    PairOnLines<T> r{false, 77, 77, {77, 77, 77}, {77, 77, 77}};
    r.found = Intersect::ClosestPointsOfTwoLines(a0, a1, b0, b1, clamp, r.s, r.t, r.pa, r.pb);
    return r;
}

TYPED_TEST(IntersectTriangles, NearestPairOfLinesAndSegments)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    for (const bool clamp : {false, true}) {
        const auto skew = NearestPair(V{0, 0, 0}, V{4, 0, 0}, V{1, -2, 3}, V{1, 2, 3}, clamp);
        ASSERT_TRUE(skew.found);
        EXPECT_EQ(skew.s, T(0.25));
        EXPECT_EQ(skew.t, T(0.5));
        EXPECT_EQ(skew.pa, (V{1, 0, 0}));
        EXPECT_EQ(skew.pb, (V{1, 0, 3}));
    }
    const auto line = NearestPair(V{0, 0, 0}, V{1, 0, 0}, V{5, 1, 0}, V{5, 2, 0}, false);
    EXPECT_EQ(line.s, T{5});
    EXPECT_EQ(line.t, T{-1});
    const auto clamped = NearestPair(V{0, 0, 0}, V{1, 0, 0}, V{5, 1, 0}, V{5, 2, 0}, true);
    EXPECT_EQ(clamped.s, T{1});
    EXPECT_EQ(clamped.t, T{0});
    EXPECT_EQ(clamped.pa, (V{1, 0, 0}));
    EXPECT_EQ(clamped.pb, (V{5, 1, 0}));
}

TYPED_TEST(IntersectTriangles, NearestPairOfParallelsAndPoints)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const auto parallel = NearestPair(V{0, 0, 0}, V{4, 0, 0}, V{2, 1, 0}, V{8, 1, 0}, true);
    EXPECT_TRUE(parallel.found);
    EXPECT_EQ(Vector::Length(parallel.pa - parallel.pb), T{1});
    const auto apart = NearestPair(V{0, 0, 0}, V{4, 0, 0}, V{7, 4, 0}, V{9, 4, 0}, true);
    EXPECT_EQ(apart.pa, (V{4, 0, 0}));
    EXPECT_EQ(apart.pb, (V{7, 4, 0}));
    const auto pointAndSegment = NearestPair(V{1, 1, 0}, V{1, 1, 0}, V{0, 0, 0}, V{4, 0, 0}, true);
    EXPECT_TRUE(pointAndSegment.found);
    EXPECT_EQ(pointAndSegment.pb, (V{1, 0, 0}));
    EXPECT_EQ(pointAndSegment.t, T(0.25));
    const auto points = NearestPair(V{1, 1, 0}, V{1, 1, 0}, V{4, 5, 0}, V{4, 5, 0}, true);
    EXPECT_TRUE(points.found);
    EXPECT_EQ(points.pa, (V{1, 1, 0}));
    EXPECT_EQ(points.pb, (V{4, 5, 0}));

    // Unclamped: false, outputs as they were.
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    for (const auto& r : {NearestPair(V{0, 0, 0}, V{4, 0, 0}, V{2, 1, 0}, V{8, 1, 0}, false),
                          NearestPair(V{0, 0, 0}, V{0, 0, 0}, V{2, 1, 0}, V{8, 1, 0}, false),
                          NearestPair(V{0, 0, 0}, V{1, 1, 0}, V{2, 1, 0}, V{2, 1, 0}, false),
                          NearestPair(V{0, 0, 0}, V{1, nan, 0}, V{2, 1, 0}, V{2, 5, 1}, false),
                          NearestPair(V{0, 0, 0}, V{1, nan, 0}, V{2, 1, 0}, V{2, 5, 1}, true),
                          NearestPair(V{0, 0, 0}, V{1, 1, 0}, V{2, 1, 0}, V{2, nan, 1}, true),
                          NearestPair(V{0, inf, 0}, V{1, 1, 0}, V{2, 1, 0}, V{2, 3, 1}, true),
                          NearestPair(V{0, 0, 0}, V{1, 1, 0}, V{2, 1, 0}, V{2, inf, 1}, true)}) {
        EXPECT_FALSE(r.found);
        EXPECT_EQ(r.s, T{77});
        EXPECT_EQ(r.t, T{77});
        EXPECT_EQ(r.pa, (V{77, 77, 77}));
        EXPECT_EQ(r.pb, (V{77, 77, 77}));
    }
}

TYPED_TEST(IntersectTriangles, NoPairOfTwoSegmentsIsNearer)
{
    using T = TypeParam;
    Support::Random random(43);
    for (int trial = 0; trial < Support::Rounds(20'000); ++trial) {
        const auto a0 = random.Vector<3, T>(-1, 1);
        auto a1 = random.Vector<3, T>(-1, 1);
        const auto b0 = random.Vector<3, T>(-1, 1);
        auto b1 = random.Vector<3, T>(-1, 1);
        if (trial % 4 == 1) { // almost parallel, down to the last bits
            b1 =
                b0 + (a1 - a0) * T(2) +
                random.Vector<3, T>(-1, 1) * static_cast<T>(std::pow(10.0, -random.Between(3, 17)));
        }
        if (trial % 16 == 2) {
            a1 = a0;
        }
        const auto pair = NearestPair(a0, a1, b0, b1, true);
        ASSERT_TRUE(pair.found);
        ASSERT_TRUE(pair.s >= 0 && pair.s <= 1 && pair.t >= 0 && pair.t <= 1);
        const double eps = std::numeric_limits<T>::epsilon();
        ASSERT_NEAR(Vector::Length(a0 + (a1 - a0) * pair.s - pair.pa), 0, 8 * eps);
        ASSERT_NEAR(Vector::Length(b0 + (b1 - b0) * pair.t - pair.pb), 0, 8 * eps);
        const double distance = Vector::Length(pair.pa - pair.pb);
        // Twin: the distance to a segment is convex along the other one; golden-section search.
        const Vec3d p0(Vec3d{double(a0[0]), double(a0[1]), double(a0[2])});
        const Vec3d p1(Vec3d{double(a1[0]), double(a1[1]), double(a1[2])});
        const Vec3d q0(Vec3d{double(b0[0]), double(b0[1]), double(b0[2])});
        const Vec3d q1(Vec3d{double(b1[0]), double(b1[1]), double(b1[2])});
        const auto fromB = [&](double s) {
            const Vec3d p = p0 + (p1 - p0) * s;
            const Vec3d d = q1 - q0;
            return Distance(p, q0 + d * std::clamp((p - q0) * d / (d * d), 0.0, 1.0));
        };
        double low = 0;
        double high = 1;
        for (int i = 0; i < 60; ++i) {
            const double left = low + (high - low) * 0.381966;
            const double right = low + (high - low) * 0.618034;
            (fromB(left) < fromB(right) ? high : low) = fromB(left) < fromB(right) ? right : left;
        }
        const double expected = std::min({fromB((low + high) / 2), fromB(0), fromB(1)});
        ASSERT_NEAR(distance, expected, 1e-7 * (expected < 1e-6) + 8 * eps) << trial;
    }
}

TYPED_TEST(IntersectTriangles, NearestPairOfLinesIsPerpendicularToBoth)
{
    using T = TypeParam;
    Support::Random random(44);
    for (int trial = 0; trial < 10'000; ++trial) {
        const auto a0 = random.Vector<3, T>(-1, 1);
        const auto a1 = random.Vector<3, T>(-1, 1);
        const auto b0 = random.Vector<3, T>(-1, 1);
        const auto b1 = random.Vector<3, T>(-1, 1);
        const auto pair = NearestPair(a0, a1, b0, b1, false);
        ASSERT_TRUE(pair.found);
        const auto between = pair.pb - pair.pa;
        const double reach = 1 + std::fabs(double(pair.s)) + std::fabs(double(pair.t));
        const double eps = 32 * std::numeric_limits<T>::epsilon() * reach;
        ASSERT_NEAR(between * (a1 - a0), 0, eps) << trial;
        ASSERT_NEAR(between * (b1 - b0), 0, eps) << trial;
    }
}

// --- ProjectZAxisOnTriangle ---------------------------------------------------------------------

struct AxisHit {
    bool found;
    Vec3d hit;
    Vec3d first;
    Vec3d second;

    friend bool operator==(const AxisHit&, const AxisHit&) = default;
};

AxisHit Pierce(const Vec3d& a, const Vec3d& b, const Vec3d& c)
{
    AxisHit r{false, {7, 7, 7}, {7, 7, 7}, {7, 7, 7}};
    r.found = Intersect::ProjectZAxisOnTriangle(a, b, c, r.hit, r.first, r.second);
    return r;
}

const AxisHit kNoAxisHit{false, Vec3d{}, Vec3d{}, Vec3d{}};

TEST(ProjectZAxisOnTriangle, SteepestLineFromLowToHigh)
{
    // z = x + 5 over the square's half: steepest along x, between x = -1 and the slanted side.
    const AxisHit slope = Pierce({-1, -2, 4}, {3, -2, 8}, {-1, 2, 4});
    EXPECT_EQ(slope, (AxisHit{true, {0, 0, 5}, {-1, 0, 4}, {1, 0, 6}}));
    EXPECT_EQ(Pierce({-1, -2, 4}, {-1, 2, 4}, {3, -2, 8}), slope); // from below
    // The same, falling along x.
    EXPECT_EQ(Pierce({-1, -2, 6}, {3, -2, 2}, {-1, 2, 6}),
              (AxisHit{true, {0, 0, 5}, {1, 0, 4}, {-1, 0, 6}}));
}

TEST(ProjectZAxisOnTriangle, HorizontalTrianglesTakeTheLineAlongX)
{
    const AxisHit flat = Pierce({-1, -2, 4}, {3, -2, 4}, {-1, 2, 4});
    EXPECT_EQ(flat, (AxisHit{true, {0, 0, 4}, {-1, 0, 4}, {1, 0, 4}}));
    EXPECT_EQ(Pierce({-1, -2, 4}, {-1, 2, 4}, {3, -2, 4}), flat);
}

TEST(ProjectZAxisOnTriangle, SidesAndCornersBelong)
{
    // Axis through a side, through a corner; the line along a side.
    EXPECT_EQ(Pierce({0, -1, 1}, {0, 1, 1}, {2, 0, 3}),
              (AxisHit{true, {0, 0, 1}, {0, 0, 1}, {2, 0, 3}}));
    EXPECT_EQ(Pierce({0, 0, 1}, {2, -1, 3}, {2, 1, 3}),
              (AxisHit{true, {0, 0, 1}, {0, 0, 1}, {2, 0, 3}}));
    EXPECT_EQ(Pierce({-1, 0, 1}, {1, 0, 3}, {0, 2, 2}),
              (AxisHit{true, {0, 0, 2}, {-1, 0, 1}, {1, 0, 3}}));
    EXPECT_EQ(Pierce({1, -1, 1}, {1, 1, 1}, {2, 0, 3}), kNoAxisHit);
}

TEST(ProjectZAxisOnTriangle, VerticalDegenerateAndHostileTriangles)
{
    EXPECT_EQ(Pierce({-1, 0, 0}, {1, 0, 0}, {0, 0, 5}), kNoAxisHit); // the axis lies in it
    EXPECT_EQ(Pierce({-1, 0, 0}, {1, 0, 0}, {0.5, 0, 0}), kNoAxisHit);
    EXPECT_EQ(Pierce({0, 0, 0}, {0, 0, 0}, {0, 0, 0}), kNoAxisHit);
    for (const double bad : {kNan, kInf}) {
        EXPECT_EQ(Pierce({-1, -1, bad}, {1, -1, 0}, {0, 1, 0}), kNoAxisHit);
        EXPECT_EQ(Pierce({bad, -1, 0}, {1, -1, 0}, {0, 1, 0}), kNoAxisHit);
    }
    // Steep, but not vertical: a rise of 1e6 over 2.
    EXPECT_TRUE(Pierce({-1, -1, 0}, {1, -1, 1e6}, {0, 1, 0}).found);
}

TEST(ProjectZAxisOnTriangle, ExitsLieOnTheOutlineAlongTheGradient)
{
    Support::Random random(45);
    int found = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        const Corners t = RandomTriangle(random, 1);
        const AxisHit r = Pierce(t[0], t[1], t[2]);
        const double area =
            (t[1] - t[0])[0] * (t[2] - t[0])[1] - (t[1] - t[0])[1] * (t[2] - t[0])[0];
        // Twin for the decision: the planar test, on the triangle seen from above.
        const bool inside =
            Intersect::PointInOrOnTriangle(Vec2d{t[0][0], t[0][1]}, Vec2d{t[1][0], t[1][1]},
                                           Vec2d{t[2][0], t[2][1]}, Vec2d{}, 0.0);
        ASSERT_EQ(r.found, inside) << trial;
        if (!r.found || std::fabs(area) < 1e-2) {
            continue;
        }
        ++found;
        const double rounding = 1e-12;
        ASSERT_LE(r.first.z(), r.second.z());
        ASSERT_EQ(r.hit.x(), 0.0);
        ASSERT_EQ(r.hit.y(), 0.0);
        const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
        for (const Vec3d& p : {r.hit, r.first, r.second}) {
            ASSERT_NEAR(normal * (p - t[0]), 0, rounding);
            ASSERT_NEAR(normal[0] * p[1] - normal[1] * p[0], 0, rounding); // along the gradient
        }
        for (const Vec3d& p : {r.first, r.second}) { // on a side
            double nearest = kInf;
            for (std::size_t i = 0; i < 3; ++i) {
                const Vec3d d = t[(i + 1) % 3] - t[i];
                nearest = std::min(nearest, Distance(p, t[i] + d * ((p - t[i]) * d / (d * d))));
            }
            ASSERT_NEAR(nearest, 0, rounding);
        }
        const Vec2d toFirst{r.first[0], r.first[1]};
        const Vec2d toSecond{r.second[0], r.second[1]};
        ASSERT_LE(toFirst * toSecond, 0.0); // on either side of the axis
    }
    EXPECT_GT(found, 2000);
}

// --- RayTriangleHitPoint ------------------------------------------------------------------------

struct RayHit {
    bool found;
    Vec3d hit;
    double distance;

    friend bool operator==(const RayHit&, const RayHit&) = default;
};

RayHit Cast(const Corners& t, const Vec3d& origin, const Vec3d& direction, bool twoSided = true,
            double tolerance = 1e-12)
{
    RayHit r{false, {7, 7, 7}, 7};
    r.found = Intersect::RayTriangleHitPoint(t[0], t[1], t[2], origin, direction, &r.hit,
                                             &r.distance, twoSided, tolerance);
    return r;
}

const RayHit kUntouched{false, {7, 7, 7}, 7};

TEST(RayTriangleHitPoint, FromBothSidesAndBothWays)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, -1}), (RayHit{true, {1, 1, 2}, 3}));
    EXPECT_EQ(Cast(t, {1, 1, -5}, {0, 0, 1}), (RayHit{true, {1, 1, 2}, 7}));
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, -0.125}), (RayHit{true, {1, 1, 2}, 3})); // length units
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, 1}), (RayHit{true, {1, 1, 2}, -3}));     // behind
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, 1}, false), kUntouched);
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, -1}, false), (RayHit{true, {1, 1, 2}, 3}));
    EXPECT_EQ(Cast(t, {1, 1, 2}, {0, 0, 1}, false), (RayHit{true, {1, 1, 2}, 0})); // at the origin
    EXPECT_TRUE(Cast(t, {1, 1, 2.25}, {0, 0, 1}, false, 0.5).found); // -0.25 within tolerance
    EXPECT_EQ(Cast(t, {3, 3, 5}, {0, 0, -1}), kUntouched);
    // Null outputs.
    EXPECT_TRUE(Intersect::RayTriangleHitPoint(t[0], t[1], t[2], {1, 1, 5}, {0, 0, -1}, nullptr,
                                               nullptr, true, 1e-12));
}

TEST(RayTriangleHitPoint, SidesCornersAndTheToleranceOnWeights)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    for (const Vec3d& on : {t[0], t[1], t[2], Vec3d{2, 0, 2}, Vec3d{2, 2, 2}, Vec3d{0, 1, 2}}) {
        EXPECT_EQ(Cast(t, on + Vec3d{0, 0, 3}, {0, 0, -1}, true, 0.0), (RayHit{true, on, 3}));
    }
    // Weight of the far corner at y = -0.1 is -0.025.
    EXPECT_FALSE(Cast(t, {1, -0.1, 5}, {0, 0, -1}, true, 0.02).found);
    EXPECT_TRUE(Cast(t, {1, -0.1, 5}, {0, 0, -1}, true, 0.03).found);
    EXPECT_FALSE(Cast(t, {1, -0.1, 5}, {0, 0, -1}, true, -1).found);
}

TEST(RayTriangleHitPoint, EdgeOnDegenerateAndHostile)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    EXPECT_EQ(Cast(t, {-1, 1, 2}, {1, 0, 0}), kUntouched); // in the plane
    EXPECT_EQ(Cast(t, {-1, 1, 3}, {1, 0, 0}), kUntouched); // parallel to it
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, 0}), kUntouched);
    EXPECT_EQ(Cast({t[0], t[0], t[1]}, {0, 0, 5}, {0, 0, -1}), kUntouched);
    EXPECT_EQ(
        Cast({Vec3d{0.1, 0.2, 0.3}, {0.2, 0.4, 0.6}, {0.3, 0.6, 0.9}}, {0.2, 0.4, 5}, {0, 0, -1}),
        kUntouched); // collinear up to rounding
    for (const double bad : {kNan, kInf}) {
        EXPECT_EQ(Cast(t, {1, 1, bad}, {0, 0, -1}), kUntouched);
        EXPECT_EQ(Cast(t, {bad, 1, 5}, {0, 0, -1}), kUntouched);
        EXPECT_EQ(Cast(t, {1, 1, 5}, {0, bad, -1}), kUntouched);
        EXPECT_EQ(Cast({Vec3d{0, 0, bad}, t[1], t[2]}, {1, 1, 5}, {0, 0, -1}), kUntouched);
    }
    EXPECT_EQ(Cast(t, {1, 1, 5}, {0, 0, -1}, true, kNan), kUntouched);
}

TEST(RayTriangleHitPoint, AgreesWithWeightsByDeterminants)
{
    // Twin: Cramer's rule for origin + d t = a + v ab + w ac in long double.
    using L = long double;
    Support::Random random(46);
    int hits = 0;
    for (int trial = 0; trial < 50'000; ++trial) {
        const Corners t = RandomTriangle(random, 1);
        const auto origin = random.Vector<3, double>(-2, 2);
        const Vec3d direction = random.Vector<3, double>(-1, 1) - origin;
        const auto det = [](const Vec3d& x, const Vec3d& y, const Vec3d& z) {
            return L(x[0]) * (L(y[1]) * z[2] - L(y[2]) * z[1]) -
                   L(x[1]) * (L(y[0]) * z[2] - L(y[2]) * z[0]) +
                   L(x[2]) * (L(y[0]) * z[1] - L(y[1]) * z[0]);
        };
        const Vec3d ab = t[1] - t[0];
        const Vec3d ac = t[2] - t[0];
        const Vec3d ao = origin - t[0];
        const L d = det(ab, ac, -direction);
        const L v = det(ao, ac, -direction) / d;
        const L w = det(ab, ao, -direction) / d;
        const L depth = det(ab, ac, ao) / d;
        const L least = std::min({v, w, 1 - v - w});
        if (std::fabs(least) < 1e-9L || std::fabs(d) < 1e-6L) {
            continue;
        }
        const RayHit r = Cast(t, origin, direction);
        ASSERT_EQ(r.found, least > 0) << trial;
        if (r.found) {
            ++hits;
            ASSERT_NEAR(r.distance, double(depth) * Vector::Length(direction), 1e-9);
            ASSERT_NEAR(Distance(r.hit, origin + direction * double(depth)), 0, 1e-9);
        }
        ASSERT_EQ(Cast(t, origin, direction, false).found, least > 0 && depth > 0);
    }
    EXPECT_GT(hits, 4000);
}

/// A closed surface: a bumpy ball of 8 * 4^levels triangles about the origin, star-shaped.
std::vector<Corners> BumpyBall(Support::Random& random, int levels, const Vec3d& center)
{
    std::vector<Corners> triangles;
    const std::array<Vec3d, 6> p{Vec3d{1, 0, 0},  Vec3d{0, 1, 0}, Vec3d{-1, 0, 0},
                                 Vec3d{0, -1, 0}, Vec3d{0, 0, 1}, Vec3d{0, 0, -1}};
    for (std::size_t i = 0; i < 4; ++i) {
        triangles.push_back({p[i], p[(i + 1) % 4], p[4]});
        triangles.push_back({p[(i + 1) % 4], p[i], p[5]});
    }
    for (int level = 0; level < levels; ++level) {
        std::vector<Corners> finer;
        for (const auto& [a, b, c] : triangles) {
            const Vec3d ab = Vector::Normalized(a + b, 0.0); // a + b == b + a: same bits from both
            const Vec3d bc = Vector::Normalized(b + c, 0.0);
            const Vec3d ca = Vector::Normalized(c + a, 0.0);
            finer.insert(finer.end(), {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}});
        }
        triangles = finer;
    }
    const double phase = random.Between(0, 6);
    for (Corners& t : triangles) {
        for (Vec3d& v : t) {
            v = center + v * (1 + 0.2 * std::sin(7 * v[0] + phase) * std::cos(5 * v[1] - 3 * v[2]));
        }
    }
    return triangles;
}

TEST(RayTriangleHitPoint, NoRaySlipsThroughASideOrACornerOfAClosedSurface)
{
    // From the center every ray leaves through the surface exactly once; aimed at sides and corners
    // it must hit at least one of the triangles there. With tolerance 0 nothing but the signs holds
    // it.
    Support::Random random(47);
    for (const double offset : {0.0, 1e3}) {
        const Vec3d center = random.Vector<3, double>(-offset, offset);
        const auto ball = BumpyBall(random, 2, center);
        for (int trial = 0; trial < 4000; ++trial) {
            const Corners& t =
                ball[static_cast<std::size_t>(random.Below(static_cast<int>(ball.size())))];
            const auto corner = static_cast<std::size_t>(random.Below(3));
            const double share = trial % 2 == 0 ? 0.0 : random.Unit();
            const Vec3d target = t[corner] + (t[(corner + 1) % 3] - t[corner]) * share;
            const Vec3d origin = center + random.Vector<3, double>(-0.1, 0.1);
            Vec3d direction = target - origin;
            if (trial % 3 == 0) {
                direction = Vector::Normalized(direction, 0.0);
            }
            int ahead = 0;
            int behind = 0;
            for (const Corners& u : ball) {
                const RayHit r = Cast(u, origin, direction, true, 0.0);
                ahead += r.found && r.distance > 0;
                behind += r.found && r.distance < 0;
            }
            ASSERT_GE(ahead, 1) << offset << ' ' << trial;
            ASSERT_GE(behind, 1) << offset << ' ' << trial;
            ASSERT_LE(ahead, 6); // at most the triangles round a corner of this ball
        }
    }
}

TEST(RayTriangleHitPoint, VerticalRaysKeepXAndYAndTakeZFromTheTriangle)
{
    Support::Random random(48);
    for (int trial = 0; trial < 5000; ++trial) {
        Corners t = RandomTriangle(random, 1);
        const double u = random.Between(0.1, 0.4);
        const double v = random.Between(0.1, 0.4);
        const Vec3d inside = t[0] + (t[1] - t[0]) * u + (t[2] - t[0]) * v;
        const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
        if (std::fabs(normal.z()) < 0.1) {
            continue;
        }
        const Vec3d origin{inside.x(), inside.y(), 1e9}; // far above: no digits are lost
        const RayHit r = Cast(t, origin, {0, 0, -1});
        ASSERT_TRUE(r.found);
        ASSERT_EQ(r.hit.x(), inside.x());
        ASSERT_EQ(r.hit.y(), inside.y());
        ASSERT_NEAR(r.hit.z(), inside.z(), 1e-14);
    }
}

// --- SegmentTriangle ----------------------------------------------------------------------------

struct SegmentHit {
    bool found;
    Vec3d hit;

    friend bool operator==(const SegmentHit&, const SegmentHit&) = default;
};

SegmentHit Cross(const Corners& t, const Vec3d& s0, const Vec3d& s1, double tolerance = 1e-12)
{
    SegmentHit r{false, {7, 7, 7}};
    r.found = Intersect::SegmentTriangleHitPoint(t[0], t[1], t[2], s0, s1, &r.hit, tolerance);
    EXPECT_EQ(r.found, Intersect::SegmentTriangle(t[0], t[1], t[2], s0, s1, tolerance));
    EXPECT_EQ(r.found,
              Intersect::SegmentTriangleHitPoint(t[0], t[1], t[2], s0, s1, nullptr, tolerance));
    return r;
}

TEST(SegmentTriangle, ThroughTheTriangleAndItsEnds)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    const SegmentHit miss{false, {7, 7, 7}};
    EXPECT_EQ(Cross(t, {1, 1, 0}, {1, 1, 5}), (SegmentHit{true, {1, 1, 2}}));
    EXPECT_EQ(Cross(t, {1, 1, 5}, {1, 1, 0}), (SegmentHit{true, {1, 1, 2}}));
    EXPECT_EQ(Cross(t, {1, 1, 3}, {1, 1, 5}), miss);
    EXPECT_EQ(Cross(t, {3, 3, 0}, {3, 3, 5}), miss);
    EXPECT_EQ(Cross(t, {1, 1, 2}, {1, 1, 5}), (SegmentHit{true, {1, 1, 2}})); // begins on it
    EXPECT_EQ(Cross(t, {1, 1, 5}, {2, 2, 2}), (SegmentHit{true, {2, 2, 2}})); // ends on a side
    EXPECT_EQ(Cross(t, {0, 0, 5}, {0, 0, 0}), (SegmentHit{true, {0, 0, 2}})); // through a corner
    // Ends within the tolerance of the plane give their own bits.
    EXPECT_EQ(Cross(t, {1, 1, 2.4}, {1, 1, 5}, 0.5), (SegmentHit{true, {1, 1, 2.4}}));
    EXPECT_EQ(Cross(t, {1, 1, 2.6}, {1, 1, 5}, 0.5), miss);
    EXPECT_EQ(Cross(t, {-0.3, 1, 2.3}, {-0.3, 1, 9}, 0.5), (SegmentHit{true, {-0.3, 1, 2.3}}));
    EXPECT_EQ(Cross(t, {-0.4, 1, 2.4}, {-0.4, 1, 9}, 0.5), miss); // 0.57 away
}

TEST(SegmentTriangle, InPlaneDegenerateAndHostile)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    const SegmentHit miss{false, {7, 7, 7}};
    EXPECT_EQ(Cross(t, {-1, 1, 2}, {5, 1, 2}), miss); // in the plane
    EXPECT_EQ(Cross(t, {1, 1, 2}, {1, 1, 2}), miss);
    EXPECT_EQ(Cross({t[0], t[0], t[1]}, {2, 0, 0}, {2, 0, 5}), miss);
    for (const double bad : {kNan, kInf}) {
        EXPECT_EQ(Cross(t, {1, 1, bad}, {1, 1, 5}), miss);
        EXPECT_EQ(Cross(t, {1, bad, 0}, {1, 1, 5}), miss);
        EXPECT_EQ(Cross({t[0], Vec3d{4, bad, 2}, t[2]}, {1, 1, 0}, {1, 1, 5}), miss);
    }
    EXPECT_EQ(Cross(t, {1, 1, 0}, {1, 1, 5}, kNan), miss);
    // A grazing segment whose end is near the plane, but far beside the triangle.
    EXPECT_EQ(Cross(t, {100, 1, 2.001}, {50, 1, 3}, 0.01), miss);
}

TEST(SegmentTriangle, AnEndJustTheToleranceBesideTheTriangleCounts)
{
    const Vec3d a{0, 0, 0};
    const Vec3d b{0.5, 0, 0};
    const Vec3d c{0, 0.5, 0};
    EXPECT_TRUE(
        Velk::Math::Intersect::SegmentTriangle(a, b, c, {-0.25, 0.25, 0}, {-0.25, 0.25, 1}, 0.25));
    EXPECT_FALSE(Velk::Math::Intersect::SegmentTriangle(a, b, c, {-0.375, 0.25, 0},
                                                        {-0.375, 0.25, 1}, 0.25));
}

TEST(RayTriangleHitPoint, ADirectionOfInfiniteLengthHitsNothing)
{
    const Vec3d a{-1, -1, 5};
    const Vec3d b{2, -1, 5};
    const Vec3d c{-1, 2, 5};
    EXPECT_TRUE(Velk::Math::Intersect::RayTriangleHitPoint(a, b, c, {0, 0, 0}, {0, 0, 1e150},
                                                           nullptr, nullptr, true, 1e-12));
    EXPECT_FALSE(Velk::Math::Intersect::RayTriangleHitPoint(a, b, c, {0, 0, 0}, {0, 0, 1e200},
                                                            nullptr, nullptr, true, 1e-12));
}

TEST(SegmentTriangle, AgreesWithTheRay)
{
    Support::Random random(49);
    int crossings = 0;
    for (int trial = 0; trial < 50'000; ++trial) {
        const Corners t = RandomTriangle(random, 1);
        const auto s0 = random.Vector<3, double>(-1, 1);
        const auto s1 = random.Vector<3, double>(-1, 1);
        const RayHit ray = Cast(t, s0, s1 - s0);
        const double length = Distance(s0, s1);
        if (ray.found &&
            std::min(std::fabs(ray.distance), std::fabs(ray.distance - length)) < 1e-9) {
            continue;
        }
        const SegmentHit segment = Cross(t, s0, s1);
        ASSERT_EQ(segment.found, ray.found && ray.distance > 0 && ray.distance < length) << trial;
        if (segment.found) {
            ++crossings;
            ASSERT_EQ(segment.hit, ray.hit);
        }
    }
    EXPECT_GT(crossings, 2000);
}

TEST(SegmentTriangle, NoPathSlipsThroughAVertexOnTheSurface)
{
    // A path of two segments whose joint lies in the triangle up to rounding: one of them crosses.
    Support::Random random(50);
    for (const double offset : {0.0, 1e3, 1e6}) {
        for (int trial = 0; trial < 10'000; ++trial) {
            const Vec3d shift = random.Vector<3, double>(-offset, offset);
            Corners t = RandomTriangle(random, 1);
            for (Vec3d& corner : t) {
                corner += shift;
            }
            const double u = random.Between(0.1, 0.4);
            const double v = random.Between(0.1, 0.4);
            const Vec3d joint = t[0] + (t[1] - t[0]) * u + (t[2] - t[0]) * v;
            const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
            const double area = Vector::Length(normal);
            if (area < 0.05) {
                continue;
            }
            const Vec3d up = normal * (1 / area);
            const Vec3d s0 =
                joint + up * random.Between(0.5, 2) + random.Vector<3, double>(-0.2, 0.2);
            const Vec3d s1 =
                joint - up * random.Between(0.5, 2) + random.Vector<3, double>(-0.2, 0.2);
            ASSERT_TRUE(Cross(t, s0, joint, 0.0).found || Cross(t, joint, s1, 0.0).found)
                << offset << ' ' << trial;
        }
    }
}

// --- SphereTriangle -----------------------------------------------------------------------------

TEST(SphereTriangle, TouchingCounts)
{
    const Corners t{Vec3d{0, 0, 2}, Vec3d{4, 0, 2}, Vec3d{0, 4, 2}};
    const auto meets = [&](const Vec3d& center, double radius) {
        return Intersect::SphereTriangle(center, radius, t[0], t[1], t[2]);
    };
    EXPECT_TRUE(meets({1, 1, 5}, 3)); // touches the face
    EXPECT_FALSE(meets({1, 1, 5}, std::nextafter(3.0, 0.0)));
    EXPECT_TRUE(meets({2, -3, 6}, 5)); // touches a side: 3, 4
    EXPECT_FALSE(meets({2, -3, 6}, 4.999));
    EXPECT_TRUE(meets({-2, -1, 4}, 3)); // touches a corner: 2, 1, 2
    EXPECT_FALSE(meets({-2, -1, 4}, 2.999));
    EXPECT_TRUE(meets({1, 1, 2}, 0));
    EXPECT_FALSE(meets({1, 1, 2}, -1));
    EXPECT_FALSE(meets({1, 1, 2}, kNan));
    EXPECT_FALSE(meets({1, kNan, 2}, 5));
    EXPECT_TRUE(meets({1, 1, 2}, kInf));
    // The inside of the triangle counts, not only its outline.
    EXPECT_TRUE(Intersect::SphereTriangle({0, 0, 0}, 0.1, {-9, -9, 0}, {9, -9, 0}, {0, 9, 0}));
    // A degenerate triangle.
    EXPECT_TRUE(Intersect::SphereTriangle({1, 2, 0}, 2, {0, 0, 0}, {2, 0, 0}, {1, 0, 0}));
}

TEST(SphereTriangle, ABallOfNegativeRadiusIsEmpty)
{
    const Corners t{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    EXPECT_TRUE(Intersect::SphereTriangle({1, 1, 0}, 0, t[0], t[1], t[2]));
    for (const double radius : {-1e-300, -1.0, -9.0, -kInf}) {
        EXPECT_FALSE(Intersect::SphereTriangle({1, 1, 0}, radius, t[0], t[1], t[2])) << radius;
    }
}

TEST(SphereTriangle, AgreesWithSampling)
{
    Support::Random random(51);
    int met = 0;
    for (int trial = 0; trial < Support::Rounds(2000); ++trial) {
        const Corners t = RandomTriangle(random, 1);
        const auto center = random.Vector<3, double>(-1.5, 1.5);
        const double radius = random.Between(0, 1.5);
        double nearest = kInf;
        constexpr int kSteps = 60;
        for (int i = 0; i <= kSteps; ++i) {
            for (int j = 0; j + i <= kSteps; ++j) {
                nearest =
                    std::min(nearest, Distance(center, t[0] + (t[1] - t[0]) * (double(i) / kSteps) +
                                                           (t[2] - t[0]) * (double(j) / kSteps)));
            }
        }
        if (nearest > radius && nearest < radius + 0.06) {
            continue; // samples are up to 3.5 / 60 apart
        }
        met += nearest <= radius;
        ASSERT_EQ(Intersect::SphereTriangle(center, radius, t[0], t[1], t[2]), nearest <= radius);
    }
    EXPECT_GT(met, Support::Rounds(300, 1));
}

// --- TriangleTriangle ---------------------------------------------------------------------------

struct TrianglesMeet {
    bool found;
    Vec3d p;
    Vec3d q;
    bool coplanar;
};

TrianglesMeet Meet(const Corners& a, const Corners& b, double tolerance = 1e-12)
{
    TrianglesMeet r{false, {7, 7, 7}, {7, 7, 7}, true};
    r.found = Intersect::TriangleTriangle(a[0], a[1], a[2], b[0], b[1], b[2], r.p, r.q, r.coplanar,
                                          tolerance);
    EXPECT_EQ(r.found, Intersect::TriangleTriangle(a[0], a[1], a[2], b[0], b[1], b[2], tolerance));
    if (!r.found) { // outputs are reset
        EXPECT_EQ(r.p, Vec3d{});
        EXPECT_EQ(r.q, Vec3d{});
        EXPECT_FALSE(r.coplanar);
    }
    return r;
}

void ExpectEnds(const TrianglesMeet& r, const Vec3d& p, const Vec3d& q)
{
    EXPECT_TRUE(r.found);
    EXPECT_FALSE(r.coplanar);
    const double forth = std::max(Distance(r.p, p), Distance(r.q, q));
    const double back = std::max(Distance(r.p, q), Distance(r.q, p));
    EXPECT_LE(std::min(forth, back), 1e-12) << r.p << r.q;
}

TEST(TriangleTriangle, TheSegmentTheyShare)
{
    const Corners floor{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    // Upright, in the plane y = 1: cut by the floor from x = 1 to x = 2.
    ExpectEnds(Meet(floor, {Vec3d{1, 1, -1}, {2, 1, 0}, {1, 1, 1}}), {1, 1, 0}, {2, 1, 0});
    // Larger than the floor: the floor's own width at y = 1.
    ExpectEnds(Meet(floor, {Vec3d{-9, 1, -9}, {9, 1, -9}, {0, 1, 9}}), {0, 1, 0}, {3, 1, 0});
    // Overlapping intervals.
    ExpectEnds(Meet(floor, {Vec3d{2, 1, -1}, {8, 1, -1}, {5, 1, 2}}), {3, 1, 0}, {3, 1, 0});
    // Apart on the common line.
    EXPECT_FALSE(Meet(floor, {Vec3d{4, 1, -1}, {8, 1, -1}, {6, 1, 2}}).found);
    // Above.
    EXPECT_FALSE(Meet(floor, {Vec3d{1, 1, 1}, {2, 1, 1}, {1, 1, 2}}).found);
}

TEST(TriangleTriangle, Touching)
{
    const Corners floor{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    ExpectEnds(Meet(floor, {Vec3d{1, 1, 0}, {2, 1, 3}, {1, 2, 3}}), {1, 1, 0}, {1, 1, 0}); // corner
    ExpectEnds(Meet(floor, {Vec3d{1, 1, 0}, {2, 1, 0}, {1, 1, 3}}), {1, 1, 0}, {2, 1, 0}); // side
    ExpectEnds(Meet(floor, {Vec3d{0, 0, 0}, {4, 0, 0}, {2, 0, 3}}), {0, 0, 0}, {4, 0, 0}); // shared
    ExpectEnds(Meet(floor, {Vec3d{0, 0, 0}, {-4, 0, 1}, {-2, 0, 3}}), {0, 0, 0}, {0, 0, 0});
    ExpectEnds(Meet(floor, {Vec3d{2, -1, 0}, {2, 1, 0}, {2, 0, 3}}), {2, 0, 0}, {2, 1, 0});
    // Side on side, crossing.
    ExpectEnds(Meet(floor, {Vec3d{1, 0, -1}, {1, 0, 1}, {1, -3, 0}}), {1, 0, 0}, {1, 0, 0});
}

TEST(TriangleTriangle, TheToleranceIsADistance)
{
    const Corners floor{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    for (const double gap : {0.09, 0.11}) {
        const bool near = gap < 0.1;
        // Corner over the face, side over side, corner beside corner, parallel face over face.
        EXPECT_EQ(Meet(floor, {Vec3d{1, 1, gap}, {2, 1, 3}, {1, 2, 3}}, 0.1).found, near);
        EXPECT_EQ(Meet(floor, {Vec3d{1, -gap, -1}, {1, -gap, 1}, {1, -3, 0}}, 0.1).found, near);
        EXPECT_EQ(Meet(floor, {Vec3d{4 + gap, 0, 0}, {9, 1, 2}, {9, -1, 2}}, 0.1).found, near);
        EXPECT_EQ(Meet(floor, {Vec3d{0, 0, gap}, {4, 0, gap}, {0, 4, gap}}, 0.1).found, near);
        EXPECT_EQ(Meet(floor, {Vec3d{-gap, 0, 0}, {-4, 0, 0}, {-gap, 4, 0}}, 0.1).found, near);
    }
}

TEST(TriangleTriangle, Coplanar)
{
    const Corners floor{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    const auto inPlane = [&](const Corners& other) {
        const TrianglesMeet forth = Meet(floor, other);
        const TrianglesMeet back = Meet(other, floor);
        EXPECT_EQ(forth.found, back.found);
        EXPECT_EQ(forth.coplanar, forth.found);
        EXPECT_EQ(back.coplanar, forth.found);
        return forth.found;
    };
    EXPECT_TRUE(inPlane(floor));
    EXPECT_TRUE(inPlane({Vec3d{1, 1, 0}, {1.5, 1, 0}, {1, 1.5, 0}}));   // inside
    EXPECT_TRUE(inPlane({Vec3d{-9, -9, 0}, {30, -9, 0}, {-9, 30, 0}})); // around
    EXPECT_TRUE(inPlane({Vec3d{3, 3, 0}, {-1, 1, 0}, {1, -1, 0}}));     // a star: no corner inside
    EXPECT_TRUE(inPlane({Vec3d{4, 0, 0}, {8, 0, 0}, {8, 4, 0}}));       // a corner
    EXPECT_TRUE(inPlane({Vec3d{2, 2, 0}, {4, 4, 0}, {8, 0, 0}}));       // corner on side
    EXPECT_FALSE(inPlane({Vec3d{3, 3, 0}, {4, 4, 0}, {3, 4, 0}}));
    EXPECT_FALSE(Meet(floor, {Vec3d{0, 0, 1}, {4, 0, 1}, {0, 4, 1}}).found); // parallel
}

TEST(TriangleTriangle, DegenerateAndHostile)
{
    const Corners floor{Vec3d{0, 0, 0}, Vec3d{4, 0, 0}, Vec3d{0, 4, 0}};
    // A segment through the floor, one in it, a point on it, two segments.
    ExpectEnds(Meet(floor, {Vec3d{1, 1, -1}, {1, 1, 1}, {1, 1, 0.5}}), {1, 1, 0}, {1, 1, 0});
    ExpectEnds(Meet(floor, {Vec3d{1, 1, 0}, {9, 1, 0}, {5, 1, 0}}), {1, 1, 0}, {3, 1, 0});
    ExpectEnds(Meet(floor, {Vec3d{1, 1, 0}, {1, 1, 0}, {1, 1, 0}}), {1, 1, 0}, {1, 1, 0});
    ExpectEnds(Meet({Vec3d{0, 0, 0}, {2, 2, 0}, {1, 1, 0}}, {Vec3d{0, 2, 0}, {2, 0, 0}, {2, 0, 0}}),
               {1, 1, 0}, {1, 1, 0});
    EXPECT_FALSE(Meet(floor, {Vec3d{1, 1, 1}, {1, 1, 2}, {1, 1, 1.5}}).found);
    EXPECT_FALSE(Meet(floor, {Vec3d{9, 9, 0}, {9, 9, 0}, {9, 9, 0}}).found);
    for (const double bad : {kNan, kInf, -kInf}) {
        for (std::size_t i = 0; i < 3; ++i) {
            Corners wall{Vec3d{1, 1, -1}, {2, 1, 0}, {1, 1, 1}};
            wall[i][static_cast<int>(i)] = bad;
            EXPECT_FALSE(Meet(floor, wall).found);
            EXPECT_FALSE(Meet(wall, floor).found);
        }
    }
    EXPECT_FALSE(Meet(floor, {Vec3d{1, 1, -1}, {2, 1, 0}, {1, 1, 1}}, kNan).found);
    EXPECT_TRUE(Meet(floor, {Vec3d{1, 1, -1}, {2, 1, 0}, {1, 1, 1}}, -1).found);
}

/// Sides of one against the other triangle, by long double determinants: +1 pierces, -1 does not, 0
/// too close to tell.
int PiercesByDeterminants(const Corners& from, const Corners& to)
{
    using L = long double;
    const auto volume = [](const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d) {
        const L x1 = L(b[0]) - a[0], y1 = L(b[1]) - a[1], z1 = L(b[2]) - a[2];
        const L x2 = L(c[0]) - a[0], y2 = L(c[1]) - a[1], z2 = L(c[2]) - a[2];
        const L x3 = L(d[0]) - a[0], y3 = L(d[1]) - a[1], z3 = L(d[2]) - a[2];
        return x1 * (y2 * z3 - z2 * y3) - y1 * (x2 * z3 - z2 * x3) + z1 * (x2 * y3 - y2 * x3);
    };
    int verdict = -1;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& s0 = from[i];
        const Vec3d& s1 = from[(i + 1) % 3];
        const std::array<L, 2> plane{volume(to[0], to[1], to[2], s0),
                                     volume(to[0], to[1], to[2], s1)};
        const std::array<L, 3> side{volume(s0, s1, to[0], to[1]), volume(s0, s1, to[1], to[2]),
                                    volume(s0, s1, to[2], to[0])};
        if (std::any_of(plane.begin(), plane.end(), [](L v) { return std::fabs(v) < 1e-9L; }) ||
            std::any_of(side.begin(), side.end(), [](L v) { return std::fabs(v) < 1e-9L; })) {
            return 0;
        }
        if ((plane[0] > 0) != (plane[1] > 0) && (side[0] > 0) == (side[1] > 0) &&
            (side[1] > 0) == (side[2] > 0)) {
            verdict = 1;
        }
    }
    return verdict;
}

TEST(TriangleTriangle, AgreesWithPiercingSidesAndIsSymmetric)
{
    Support::Random random(52);
    int met = 0;
    for (int trial = 0; trial < Support::Rounds(50'000); ++trial) {
        const Corners a = RandomTriangle(random, 1);
        const Corners b = RandomTriangle(random, 1);
        const int aPierces = PiercesByDeterminants(a, b);
        const int bPierces = PiercesByDeterminants(b, a);
        if (aPierces == 0 || bPierces == 0) {
            continue;
        }
        const bool expected = aPierces > 0 || bPierces > 0;
        const TrianglesMeet forth = Meet(a, b);
        const TrianglesMeet back = Meet(b, a);
        ASSERT_EQ(forth.found, expected) << trial;
        ASSERT_EQ(back.found, expected) << trial;
        ASSERT_FALSE(forth.coplanar);
        if (!expected) {
            continue;
        }
        ++met;
        ASSERT_LE(std::min(Distance(forth.p, back.p) + Distance(forth.q, back.q),
                           Distance(forth.p, back.q) + Distance(forth.q, back.p)),
                  1e-11);
        for (const Vec3d& end : {forth.p, forth.q}) {
            ASSERT_NEAR(Distance(NearestOn(a, end), end), 0, 1e-12) << trial;
            ASSERT_NEAR(Distance(NearestOn(b, end), end), 0, 1e-12) << trial;
        }
        // The segment is all of it: beyond its ends a point of the common line leaves one triangle.
        const Vec3d along = forth.q - forth.p;
        const double length = Vector::Length(along);
        if (length > 1e-3) {
            for (const Vec3d& beyond :
                 {forth.q + along * (1e-3 / length), forth.p - along * (1e-3 / length)}) {
                ASSERT_GT(std::max(Distance(NearestOn(a, beyond), beyond),
                                   Distance(NearestOn(b, beyond), beyond)),
                          1e-9)
                    << trial;
            }
        }
    }
    EXPECT_GT(met, Support::Rounds(5000, 1));
}

/// Distance of two triangles that don't pierce each other: corners to faces and sides to sides.
double DistanceByParts(const Corners& a, const Corners& b)
{
    double nearest = kInf;
    for (std::size_t i = 0; i < 3; ++i) {
        nearest = std::min(
            {nearest, Distance(NearestOn(b, a[i]), a[i]), Distance(NearestOn(a, b[i]), b[i])});
        for (std::size_t j = 0; j < 3; ++j) {
            double s = 0;
            double t = 0;
            Vec3d pa;
            Vec3d pb;
            EXPECT_TRUE(Intersect::ClosestPointsOfTwoLines(a[i], a[(i + 1) % 3], b[j],
                                                           b[(j + 1) % 3], true, s, t, pa, pb));
            nearest = std::min(nearest, Distance(pa, pb));
        }
    }
    return nearest;
}

TEST(TriangleTriangle, MeetsExactlyWithinTheTolerance)
{
    Support::Random random(53);
    int near = 0;
    int far = 0;
    for (int trial = 0; trial < Support::Rounds(30'000); ++trial) {
        const Corners a = RandomTriangle(random, 1);
        Corners b = RandomTriangle(random, 1);
        if (trial % 4 == 0) { // almost coplanar
            for (Vec3d& p : b) {
                const Vec3d foot = a[0] + (a[1] - a[0]) * random.Between(-1, 2) +
                                   (a[2] - a[0]) * random.Between(-1, 2);
                p = foot + random.Vector<3, double>(-0.1, 0.1);
            }
        }
        const double tolerance = random.Between(0.01, 0.3);
        const TrianglesMeet r = Meet(a, b, tolerance);
        const int pierces = std::max(PiercesByDeterminants(a, b), PiercesByDeterminants(b, a));
        if (pierces == 0) {
            continue;
        }
        const double distance = pierces > 0 ? 0.0 : DistanceByParts(a, b);
        if (std::fabs(distance - tolerance) > 1e-9) {
            ASSERT_EQ(r.found, distance < tolerance) << trial;
            ASSERT_EQ(Meet(b, a, tolerance).found, r.found) << trial;
        }
        near += distance > 0 && distance < tolerance;
        far += distance > tolerance;
        if (r.found) {
            for (const Vec3d& end : {r.p, r.q}) {
                ASSERT_LE(Distance(NearestOn(a, end), end), tolerance + 1e-12) << trial;
                ASSERT_LE(Distance(NearestOn(b, end), end), tolerance + 1e-12) << trial;
            }
        }
    }
    EXPECT_GT(near, Support::Rounds(2000, 1));
    EXPECT_GT(far, Support::Rounds(2000, 1));
}

TEST(TriangleTriangle, NoMeetingOnALatticeIsLost)
{
    // Small integers: touches of every kind. The distance tells, to rounding, whether they meet.
    Support::Random random(54);
    int touches = 0;
    for (int trial = 0; trial < Support::Rounds(30'000); ++trial) {
        const auto point = [&] {
            return Vec3d{double(random.Below(3)), double(random.Below(3)), double(random.Below(3))};
        };
        const Corners a{point(), point(), point()};
        const Corners b{point(), point(), point()};
        const double distance = DistanceByParts(a, b); // a piercing side has distance > 0 here
        const TrianglesMeet r = Meet(a, b);
        if (distance < 1e-13) {
            ++touches;
            ASSERT_TRUE(r.found) << trial;
        }
        ASSERT_EQ(Meet(b, a).found, r.found) << trial;
        ASSERT_EQ(Meet(b, a).coplanar, r.coplanar) << trial;
        if (r.found) {
            for (const Vec3d& end : {r.p, r.q}) {
                ASSERT_LE(Distance(NearestOn(a, end), end), 1.1e-12) << trial;
                ASSERT_LE(Distance(NearestOn(b, end), end), 1.1e-12) << trial;
            }
        }
    }
    EXPECT_GT(touches, Support::Rounds(10'000, 1));
}

// --- triangles in one plane
// -----------------------------------------------------------------------

/// A triangle in the plane with whole coordinates, for exact answers.
using WholeCorners = std::array<std::array<long long, 2>, 3>;

long long WholeTurn(const std::array<long long, 2>& a, const std::array<long long, 2>& b,
                    const std::array<long long, 2>& c)
{
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

int SignOf(long long value) { return (value > 0) - (value < 0); }

bool WholeOnSegment(const std::array<long long, 2>& a, const std::array<long long, 2>& b,
                    const std::array<long long, 2>& p)
{
    return WholeTurn(a, b, p) == 0 && p[0] >= std::min(a[0], b[0]) &&
           p[0] <= std::max(a[0], b[0]) && p[1] >= std::min(a[1], b[1]) &&
           p[1] <= std::max(a[1], b[1]);
}

/// Sides that cross or touch, or a corner inside: another way than by separating lines.
bool WholeOverlap(const WholeCorners& a, const WholeCorners& b)
{
    const auto holds = [](const WholeCorners& t, const std::array<long long, 2>& p) {
        const int s0 = SignOf(WholeTurn(t[0], t[1], p));
        const int s1 = SignOf(WholeTurn(t[1], t[2], p));
        const int s2 = SignOf(WholeTurn(t[2], t[0], p));
        return s0 == s1 && s1 == s2 && s0 != 0;
    };
    for (std::size_t i = 0; i < 3; ++i) {
        if (holds(a, b[i]) || holds(b, a[i])) {
            return true;
        }
        for (std::size_t j = 0; j < 3; ++j) {
            const auto& a0 = a[i];
            const auto& a1 = a[(i + 1) % 3];
            const auto& b0 = b[j];
            const auto& b1 = b[(j + 1) % 3];
            if (WholeOnSegment(a0, a1, b0) || WholeOnSegment(a0, a1, b1) ||
                WholeOnSegment(b0, b1, a0) || WholeOnSegment(b0, b1, a1) ||
                (SignOf(WholeTurn(a0, a1, b0)) * SignOf(WholeTurn(a0, a1, b1)) < 0 &&
                 SignOf(WholeTurn(b0, b1, a0)) * SignOf(WholeTurn(b0, b1, a1)) < 0)) {
                return true;
            }
        }
    }
    return false;
}

WholeCorners RandomWholeTriangle(Support::Random& random, int size)
{
    WholeCorners t{};
    do {
        for (auto& corner : t) {
            corner = {random.Below(size), random.Below(size)};
        }
    } while (WholeTurn(t[0], t[1], t[2]) == 0);
    return t;
}

/// The same answer for the triangles and their corners in every order.
bool MeetInEveryOrder(const Corners& a, const Corners& b, double tolerance)
{
    const bool found = Meet(a, b, tolerance).found;
    for (std::size_t i = 0; i < 3; ++i) {
        const Corners turned{b[i], b[(i + 1) % 3], b[(i + 2) % 3]};
        const Corners reversed{a[i], a[(i + 2) % 3], a[(i + 1) % 3]};
        EXPECT_EQ(Meet(turned, reversed, tolerance).found, found);
        EXPECT_EQ(Meet(reversed, turned, tolerance).found, found);
    }
    return found;
}

// Coordinates with up to 30 digits: a product has more than a double holds.
TEST(TriangleTriangle, CoplanarOverlapIsExactAlsoWithoutATolerance)
{
    Support::Random random(61);
    int met = 0;
    int touched = 0;
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        const int size = trial % 3 == 0 ? 5 : (trial % 3 == 1 ? 1000 : 1 << 30);
        const WholeCorners a = RandomWholeTriangle(random, size);
        WholeCorners b = RandomWholeTriangle(random, size);
        if (trial % 5 == 0) { // a common corner
            b[0] = a[0];
            if (WholeTurn(b[0], b[1], b[2]) == 0) {
                continue;
            }
            ++touched;
        }
        for (const int axis : {0, 1, 2}) {
            for (const double level : {0.0, 0.1, 12345.678}) {
                const auto lifted = [&](const WholeCorners& t) {
                    Corners corners;
                    for (std::size_t i = 0; i < 3; ++i) {
                        corners[i][axis] = level;
                        corners[i][(axis + 1) % 3] = 0x1p-20 * static_cast<double>(t[i][0]);
                        corners[i][(axis + 2) % 3] = 0x1p-20 * static_cast<double>(t[i][1]);
                    }
                    return corners;
                };
                const bool overlap = WholeOverlap(a, b);
                const Corners cornersA = lifted(a);
                const Corners cornersB = lifted(b);
                met += overlap ? 1 : 0;
                if (trial % 10 == 0) {
                    ASSERT_EQ(MeetInEveryOrder(cornersA, cornersB, 0.0), overlap) << trial;
                }
                const TrianglesMeet r = Meet(cornersA, cornersB, 0.0);
                ASSERT_EQ(r.found, overlap) << trial;
                ASSERT_EQ(Meet(cornersB, cornersA, 0.0).found, overlap) << trial;
                ASSERT_EQ(r.coplanar, overlap) << trial;
            }
        }
    }
    EXPECT_GT(met, Support::Rounds(5000, 1));
    EXPECT_GT(touched, Support::Rounds(300, 1));
}

// In a tilted plane corners are off the plane by the rounding of their coordinates. Triangles that
// clearly overlap there meet, those that are clearly beside each other don't.
TEST(TriangleTriangle, OverlapInATiltedPlaneWithAToleranceBelowRounding)
{
    Support::Random random(62);
    int met = 0;
    int apart = 0;
    for (int trial = 0; trial < Support::Rounds(4000); ++trial) {
        const WholeCorners a = RandomWholeTriangle(random, 1000);
        const WholeCorners b = RandomWholeTriangle(random, 1000);
        // Grown and shrunk about their centers: the answer is clear when neither changes it.
        const auto scaled = [](const WholeCorners& t, long long factor) {
            WholeCorners result{};
            for (std::size_t k = 0; k < 2; ++k) {
                const long long sum = t[0][k] + t[1][k] + t[2][k];
                for (std::size_t i = 0; i < 3; ++i) {
                    result[i][k] = 1000 * sum + factor * (3 * t[i][k] - sum); // of 3000
                }
            }
            return result;
        };
        const bool overlap = WholeOverlap(scaled(a, 900), scaled(b, 900));
        if (overlap != WholeOverlap(scaled(a, 1100), scaled(b, 1100)) ||
            std::abs(WholeTurn(a[0], a[1], a[2])) < 20'000 ||
            std::abs(WholeTurn(b[0], b[1], b[2])) < 20'000) {
            continue;
        }
        const Vec3d u = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
        const Vec3d v = Vector::Normalized(u ^ random.Vector<3, double>(-1, 1), 0.0);
        const double offset = std::array{0.0, 1.0, 1e4, 1e6}[static_cast<std::size_t>(trial % 4)];
        const Vec3d origin = random.Vector<3, double>(-1, 1) * offset;
        const auto tilted = [&](const WholeCorners& t, double height) {
            Corners corners;
            for (std::size_t i = 0; i < 3; ++i) {
                corners[i] = origin + u * (1e-3 * static_cast<double>(t[i][0])) +
                             v * (1e-3 * static_cast<double>(t[i][1])) + (u ^ v) * height;
            }
            return corners;
        };
        const Corners cornersA = tilted(a, 0.0);
        const Corners cornersB = tilted(b, 0.0);
        (overlap ? met : apart) += 1;
        for (const double tolerance : {0.0, 1e-17, 1e-12}) {
            ASSERT_EQ(MeetInEveryOrder(cornersA, cornersB, tolerance), overlap)
                << trial << ' ' << tolerance;
        }
        // A thousand units of rounding above it is another plane.
        const double gap = 1e-13 * (1.0 + offset);
        ASSERT_FALSE(Meet(cornersA, tilted(b, gap), 0.0).found) << trial;
    }
    EXPECT_GT(met, Support::Rounds(500, 1));
    EXPECT_GT(apart, Support::Rounds(300, 1));
}

// Triangles of length 2 about a common center in a tilted plane. There differences are larger than
// coordinates, so that plain heights above a thin triangle lose more than its corners did.
TEST(TriangleTriangle, OverlapOfThinTiltedTrianglesAboutACommonCenter)
{
    using Flat = std::array<Vec2d, 3>;
    // How far the second triangle reaches over the side of the first that it reaches over least.
    const auto leastReach = [](const Flat& a, const Flat& b) {
        const double turn = ((a[1] - a[0]) ^ (a[2] - a[0])) > 0 ? 1 : -1;
        double least = kInf;
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec2d side = a[(i + 1) % 3] - a[i];
            double reach = -kInf;
            for (const Vec2d& p : b) {
                reach = std::max(reach, turn * (side ^ (p - a[i])) / Vector::Length(side));
            }
            least = std::min(least, reach);
        }
        return least;
    };
    Support::Random random(1301);
    int met = 0;
    int apart = 0;
    for (int trial = 0; trial < Support::Rounds(30'000); ++trial) {
        const double width = std::array{0.1, 0.03, 0.01}[static_cast<std::size_t>(trial % 3)];
        const Vec3d u = Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0);
        const Vec3d v = Vector::Normalized(u ^ random.Vector<3, double>(-1, 1), 0.0);
        std::array<Flat, 2> flat;
        std::array<Corners, 2> t;
        for (std::size_t k = 0; k < 2; ++k) {
            const double angle = random.Between(-M_PI, M_PI);
            const Vec2d along{std::cos(angle), std::sin(angle)};
            const std::array<double, 3> place{1.0, -1.0, random.Between(-1, 1)};
            for (std::size_t i = 0; i < 3; ++i) {
                flat[k][i] = along * place[i] +
                             Vec2d(-along.y(), along.x()) * (width * random.Between(-1, 1));
                for (int axis = 0; axis < 3; ++axis) { // rounded once
                    using L = long double;
                    t[k][i][axis] = static_cast<double>(L(u[axis]) * L(flat[k][i].x()) +
                                                        L(v[axis]) * L(flat[k][i].y()));
                }
            }
        }
        const double reach = std::min(leastReach(flat[0], flat[1]), leastReach(flat[1], flat[0]));
        if (std::fabs(reach) < 1e-6) {
            continue;
        }
        (reach > 0 ? met : apart) += 1;
        ASSERT_EQ(Meet(t[0], t[1], 0.0).found, reach > 0) << trial;
        ASSERT_EQ(Meet(t[1], t[0], 0.0).found, reach > 0) << trial;
    }
    EXPECT_GT(met, Support::Rounds(10'000, 1));
    EXPECT_GT(apart, Support::Rounds(100, 1));
    const Corners a{Vec3d{0.24932403534916098, -0.39640738752644167, 0.67020658120522658},
                    {-0.44992855260358489, 0.62297509892907976, -0.90202278009965131},
                    {0.20060451725442391, -0.22656771140263821, 0.23181619889442481}};
    const Corners b{Vec3d{-0.43980479339429651, 0.60762302053683626, -0.87728502564391531},
                    {0.38252756385860698, -0.47612081636248427, 0.58875344254648909},
                    {0.057277229525689546, -0.13150220417435199, 0.28853158309742644}};
    EXPECT_TRUE(MeetInEveryOrder(a, b, 0.0));
}

TEST(TriangleTriangle, SizesAtTheEndsOfTheNumberRange)
{
    Support::Random random(1302);
    int met = 0;
    for (int trial = 0; trial < Support::Rounds(1500); ++trial) {
        const WholeCorners a = RandomWholeTriangle(random, 50);
        const WholeCorners b = RandomWholeTriangle(random, 50);
        const bool overlap = WholeOverlap(a, b);
        met += overlap ? 1 : 0;
        for (const int exponent : {240, 280, 310, 500, 900, -230, -290, -310, -500, -900}) {
            const auto lifted = [&](const WholeCorners& t, bool tilted) {
                Corners corners;
                for (std::size_t i = 0; i < 3; ++i) {
                    const double x = std::ldexp(static_cast<double>(t[i][0]), exponent);
                    const double y = std::ldexp(static_cast<double>(t[i][1]), exponent);
                    corners[i] = {x, y, tilted ? x + 2 * y : 0};
                }
                return corners;
            };
            for (const bool tilted : {false, true}) {
                const TrianglesMeet r = Meet(lifted(a, tilted), lifted(b, tilted), 0.0);
                ASSERT_EQ(r.found, overlap) << trial << ' ' << exponent << ' ' << tilted;
                ASSERT_EQ(r.coplanar, overlap) << trial << ' ' << exponent << ' ' << tilted;
            }
        }
    }
    EXPECT_GT(met, Support::Rounds(300, 1));
    // An upright triangle through a lying one: the common segment has the size of both.
    for (const int exponent : {300, 600, -300, -600}) {
        const auto sized = [&](Corners t) {
            for (Vec3d& p : t) {
                p = p * std::ldexp(1.0, exponent);
            }
            return t;
        };
        const TrianglesMeet r = Meet(sized({Vec3d{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}),
                                     sized({Vec3d{1, 1, -1}, {2, 1, 0}, {1, 1, 1}}), 0.0);
        EXPECT_TRUE(r.found);
        EXPECT_EQ(r.p + r.q, Vec3d(3, 2, 0) * std::ldexp(1.0, exponent));
    }
}

// A triangle without area is a segment or a point. Oracle: no direction separates two plane figures
// exactly when none along or across one of their sides does, in whole numbers.
TEST(TriangleTriangle, TrianglesWithoutAreaMeetExactly)
{
    const auto separates = [](const WholeCorners& a, const WholeCorners& b, long long x,
                              long long y) {
        const auto range = [&](const WholeCorners& t) {
            std::array<long long, 3> at{};
            for (std::size_t i = 0; i < 3; ++i) {
                at[i] = t[i][0] * x + t[i][1] * y;
            }
            return std::pair{*std::min_element(at.begin(), at.end()),
                             *std::max_element(at.begin(), at.end())};
        };
        const auto [lowA, highA] = range(a);
        const auto [lowB, highB] = range(b);
        return highA < lowB || highB < lowA;
    };
    const auto meet = [&](const WholeCorners& a, const WholeCorners& b) {
        if (separates(a, b, 1, 0) || separates(a, b, 0, 1)) {
            return false;
        }
        for (const WholeCorners* t : {&a, &b}) {
            for (std::size_t i = 0; i < 3; ++i) {
                const long long x = (*t)[(i + 1) % 3][0] - (*t)[i][0];
                const long long y = (*t)[(i + 1) % 3][1] - (*t)[i][1];
                if (separates(a, b, x, y) || separates(a, b, -y, x)) {
                    return false;
                }
            }
        }
        return true;
    };
    Support::Random random(1303);
    std::array<int, 2> seen{};
    for (int trial = 0; trial < Support::Rounds(6000); ++trial) {
        const int size = trial % 2 == 0 ? 4 : 1'000'000;
        const auto whole = [&] { return random.Below(2 * size + 1) - size; };
        WholeCorners line{};
        line[0] = {whole(), whole()};
        line[1] = {whole(), whole()};
        line[2] = line[static_cast<std::size_t>(trial % 3 == 0)];
        if (trial % 7 == 0) { // three on a line
            line[2] = {2 * line[1][0] - line[0][0], 2 * line[1][1] - line[0][1]};
        } else if (trial % 11 == 0) {
            line[1] = line[2] = line[0];
        }
        WholeCorners other{};
        for (auto& p : other) {
            p = {whole(), whole()};
        }
        if (trial % 5 == 0) {
            other[2] = other[1];
        }
        const bool expected = meet(line, other);
        for (int axis = 0; axis < 4; ++axis) { // 3: a tilted plane
            const auto lifted = [&](const WholeCorners& t) {
                Corners corners;
                for (std::size_t i = 0; i < 3; ++i) {
                    const auto x = static_cast<double>(t[i][0]);
                    const auto y = static_cast<double>(t[i][1]);
                    if (axis == 3) {
                        corners[i] = {x, y, x + 2 * y};
                    } else {
                        corners[i][axis] = 0.1;
                        corners[i][(axis + 1) % 3] = x;
                        corners[i][(axis + 2) % 3] = y;
                    }
                }
                return corners;
            };
            const Corners a = lifted(line);
            const Corners b = lifted(other);
            ASSERT_EQ(MeetInEveryOrder(a, b, 0.0), expected) << trial << ' ' << axis;
            const TrianglesMeet r = Meet(a, b, 0.0);
            ++seen[expected ? 1 : 0];
            if (expected) {
                for (const Vec3d& p : {r.p, r.q}) {
                    ASSERT_LE(Distance(p, NearestOn(a, p)), 1e-14 * size) << trial;
                    ASSERT_LE(Distance(p, NearestOn(b, p)), 1e-14 * size) << trial;
                }
            }
        }
    }
    EXPECT_GT(seen[0], Support::Rounds(3000, 1));
    EXPECT_GT(seen[1], Support::Rounds(1500, 1));
    EXPECT_TRUE(MeetInEveryOrder({Vec3d{2, 0, 0}, {-3, 2, 0}, {-3, 2, 0}},
                                 {Vec3d{3, -2, 0}, {-1, 3, 0}, {-3, -4, 0}}, 0.0));
}

// --- FindCircumsphere ---------------------------------------------------------------------------

TYPED_TEST(IntersectTriangles, CircumcircleOfARightTriangle)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    V center;
    T radius{};
    EXPECT_TRUE(Intersect::FindCircumsphere(V{0, 0, 2}, V{6, 0, 2}, V{0, 8, 2}, center, radius,
                                            false, kLengthFloor<T>));
    EXPECT_EQ(center, (V{3, 4, 2})); // the middle of the long side
    EXPECT_EQ(radius, T{5});
    EXPECT_TRUE(Intersect::FindCircumsphere(V{0, 0, 2}, V{6, 0, 2}, V{0, 8, 2}, center, radius,
                                            true, kLengthFloor<T>));
    EXPECT_EQ(radius, T{25});
}

TYPED_TEST(IntersectTriangles, NoCircumcircleOfADegenerateTriangle)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const std::array<std::array<V, 3>, 6> degenerate{
        {{V{0, 0, 0}, V{1, 1, 1}, V{2, 2, 2}},
         {V{1, 1, 1}, V{1, 1, 1}, V{2, 3, 4}},
         {V{1, 1, 1}, V{1, 1, 1}, V{1, 1, 1}},
         {V{0, 0, nan}, V{1, 0, 0}, V{0, 1, 0}},
         {V{0, 0, 0}, V{inf, 0, 0}, V{0, 1, 0}},
         {V{0, 0, 0}, V{2, 0, 0}, V{1, kLengthFloor<T>, 0}}}};
    for (const auto& [a, b, c] : degenerate) {
        V center{7, 7, 7};
        T radius{7};
        EXPECT_FALSE(Intersect::FindCircumsphere(a, b, c, center, radius, false, kLengthFloor<T>));
        EXPECT_EQ(center, V{});
        EXPECT_EQ(radius, T{0});
    }
    V center;
    T radius{};
    // A pure number decides, not an area: a tiny triangle is as good as a large one.
    const T tiny = T(1e-9);
    EXPECT_TRUE(Intersect::FindCircumsphere(V{0, 0, 0}, V{tiny, 0, 0}, V{0, tiny, 0}, center,
                                            radius, false, kLengthFloor<T>));
    EXPECT_FALSE(Intersect::FindCircumsphere(V{0, 0, 0}, V{1, 0, 0}, V{0, 1, 0}, center, radius,
                                             false, nan));
}

TYPED_TEST(IntersectTriangles, ThicknessMustExceedTheToleranceStrictly)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Doubled area 1, longest edge squared 2.
    V center;
    T radius;
    EXPECT_FALSE(Velk::Math::Intersect::FindCircumsphere(V{0, 0, 0}, V{1, 0, 0}, V{0, 1, 0}, center,
                                                         radius, false, T(0.5)));
    EXPECT_TRUE(Velk::Math::Intersect::FindCircumsphere(V{0, 0, 0}, V{1, 0, 0}, V{0, 1, 0}, center,
                                                        radius, false, T(0.4375)));
}

TYPED_TEST(IntersectTriangles, TheCircumcenterIsAsFarFromEachCornerAndInThePlane)
{
    using T = TypeParam;
    Support::Random random(55);
    for (const double offset : {0.0, 1e3, 1e6}) {
        for (int trial = 0; trial < 5000; ++trial) {
            const auto shift = random.Vector<3, T>(-offset, offset);
            const VecBase<3, T> a = shift + random.Vector<3, T>(-1, 1);
            const VecBase<3, T> b = shift + random.Vector<3, T>(-1, 1);
            const VecBase<3, T> c = shift + random.Vector<3, T>(-1, 1);
            VecBase<3, T> center;
            T radius{};
            if (!Intersect::FindCircumsphere(a, b, c, center, radius, false, T(1e-2))) {
                continue;
            }
            // Measured in double, the given corners being exact; the center is rounded to T.
            const auto wide = [](const VecBase<3, T>& v) {
                return Vec3d{double(v[0]), double(v[1]), double(v[2])};
            };
            const double rounding =
                4 * std::numeric_limits<T>::epsilon() * (1 + offset + double(radius)) + 1e-12;
            for (const auto& corner : {a, b, c}) {
                ASSERT_NEAR(Distance(wide(corner), wide(center)), radius, rounding) << trial;
            }
            const Vec3d normal = (wide(b) - wide(a)) ^ (wide(c) - wide(a));
            ASSERT_NEAR(normal * (wide(center) - wide(a)) / Vector::Length(normal), 0, rounding);
        }
    }
}

} // namespace
