// Segments, lines, arcs and triangles in the plane: closed forms, the rules at ends and overlaps,
// and twins that decide the same questions exactly on small integers or by brute force.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <boost/multiprecision/cpp_int.hpp>

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

template <class T>
class IntersectPlanar : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(IntersectPlanar, Scalars);

// --- SegmentSegment -----------------------------------------------------------------------------

template <class T>
struct SegmentsMeet {
    bool found;
    VecBase<2, T> hit;
    bool overlap;

    friend bool operator==(const SegmentsMeet&, const SegmentsMeet&) = default;
};

template <class T>
SegmentsMeet<T> Meet(const VecBase<2, T>& a0, const VecBase<2, T>& a1, const VecBase<2, T>& b0,
                     const VecBase<2, T>& b1, bool commonEnds, T tolerance = kLengthFloor<T>)
{
    SegmentsMeet<T> result{false, {99, 99}, true}; // to be overwritten in any case
    result.found = Intersect::SegmentSegment(a0, a1, b0, b1, result.hit, result.overlap, commonEnds,
                                             tolerance);
    return result;
}

TYPED_TEST(IntersectPlanar, SegmentsThatCross)
{
    using V = VecBase<2, TypeParam>;
    for (const bool flag : {true, false}) {
        const auto diagonals = Meet(V{0, 0}, V{4, 4}, V{0, 2}, V{2, 0}, flag);
        EXPECT_TRUE(diagonals.found);
        EXPECT_FALSE(diagonals.overlap);
        EXPECT_EQ(diagonals.hit, (V{1, 1}));
        EXPECT_EQ(Meet(V{0, 0}, V{1, 0}, V{2, -1}, V{2, 1}, flag),
                  (SegmentsMeet<TypeParam>{false, V{}, false}));
        EXPECT_FALSE(Meet(V{0, 0}, V{1, 1}, V{0, 1}, V{1, 2}, flag).found); // parallel
    }
}

TYPED_TEST(IntersectPlanar, EndTouchesGiveTheEndsOwnBits)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // A quarter of the tolerance off the other segment, from either side.
    const T off = kLengthFloor<T> / T{4};
    for (const bool flag : {true, false}) {
        for (const V& end : {V{T(0.3), off}, V{T(0.3), -off}}) {
            EXPECT_EQ(Meet(V{0, 0}, V{1, 0}, end, V{T(0.3), 1}, flag),
                      (SegmentsMeet<T>{true, end, false}));
            EXPECT_EQ(Meet(V{T(0.3), 1}, end, V{0, 0}, V{1, 0}, flag),
                      (SegmentsMeet<T>{true, end, false}));
        }
    }
    // Just beyond the tolerance: no touch and no crossing.
    const T beyond = kLengthFloor<T> * T(1.01);
    EXPECT_FALSE(Meet(V{0, 0}, V{1, 0}, V{T(0.5), beyond}, V{T(0.5), 1}, true).found);
    EXPECT_FALSE(Meet(V{0, 0}, V{1, 0}, V{1 + T(1e-3), 0}, V{2, 1}, true).found);
}

TYPED_TEST(IntersectPlanar, ACommonEndCountsOnlyWithTheFlag)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const V joint{1, 2};
    EXPECT_EQ(Meet(V{0, 0}, joint, joint, V{3, 1}, true), (SegmentsMeet<T>{true, joint, false}));
    EXPECT_EQ(Meet(V{0, 0}, joint, joint, V{3, 1}, false), (SegmentsMeet<T>{false, V{}, false}));
    // Straight on: still only an end in common.
    EXPECT_EQ(Meet(V{0, 0}, V{1, 0}, V{1, 0}, V{2, 0}, true),
              (SegmentsMeet<T>{true, V{1, 0}, false}));
    EXPECT_FALSE(Meet(V{0, 0}, V{1, 0}, V{1, 0}, V{2, 0}, false).found);
    // Folding back: a common end and a common stretch.
    EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{4, 0}, V{1, 0}, false),
              (SegmentsMeet<T>{true, V{1, 0}, true}));
}

TYPED_TEST(IntersectPlanar, CollinearOverlapStartsAtItsEndNearerToTheFirstPoint)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    for (const bool flag : {true, false}) {
        const SegmentsMeet<T> fromTwo{true, V{2, 0}, true};
        EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{2, 0}, V{9, 0}, flag), fromTwo);
        EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{9, 0}, V{2, 0}, flag), fromTwo);
        EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{2, 0}, V{3, 0}, flag), fromTwo); // inside
        EXPECT_EQ(Meet(V{2, 0}, V{3, 0}, V{0, 0}, V{4, 0}, flag), fromTwo);
        EXPECT_EQ(Meet(V{4, 0}, V{0, 0}, V{2, 0}, V{9, 0}, flag),
                  (SegmentsMeet<T>{true, V{4, 0}, true}));
        EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{0, 0}, V{4, 0}, flag),
                  (SegmentsMeet<T>{true, V{0, 0}, true})); // the same segment
        EXPECT_FALSE(Meet(V{0, 0}, V{4, 0}, V{5, 0}, V{9, 0}, flag).found);
    }
}

TYPED_TEST(IntersectPlanar, TolerancesOfSegmentsAreInclusive)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T tolerance = T(0.25);
    // A gap as long as the tolerance is a touch; of the two ends the one nearer to a0 is the hit.
    EXPECT_EQ(Meet(V{0, 0}, V{1, 0}, V{T(1.25), 0}, V{2, 0}, true, tolerance),
              (SegmentsMeet<T>{true, V{1, 0}, false}));
    EXPECT_FALSE(Meet(V{0, 0}, V{1, 0}, V{T(1.375), 0}, V{2, 0}, true, tolerance).found);
    // A common stretch as long as the tolerance is a common end.
    EXPECT_EQ(Meet(V{0, 0}, V{4, 0}, V{T(3.75), 0}, V{9, 0}, true, tolerance),
              (SegmentsMeet<T>{true, V{T(3.75), 0}, false}));
    EXPECT_FALSE(Meet(V{0, 0}, V{4, 0}, V{T(3.75), 0}, V{9, 0}, false, tolerance).found);
    EXPECT_TRUE(Meet(V{0, 0}, V{4, 0}, V{T(3.625), 0}, V{9, 0}, false, tolerance).overlap);
}

TYPED_TEST(IntersectPlanar, TolerancesOfTrianglesAndTangencyAreInclusive)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T tolerance = T(0.25);
    EXPECT_TRUE(Velk::Math::Intersect::PointInOrOnTriangle(V{0, 0}, V{1, 0}, V{0, 1},
                                                           V{T(-0.25), T(0.5)}, tolerance));
    EXPECT_FALSE(Velk::Math::Intersect::PointInOrOnTriangle(V{0, 0}, V{1, 0}, V{0, 1},
                                                            V{T(-0.375), T(0.5)}, tolerance));
    // Heights of a line over the center of the unit circle, and its hits with the upper half.
    const std::array<std::pair<T, int>, 4> cases{
        {{T(1.375), 0}, {T(1.25), 1}, {T(0.75), 1}, {T(0.625), 2}}};
    for (const auto& [height, count] : cases) {
        V hit0;
        V hit1;
        T parameter0;
        T parameter1;
        EXPECT_EQ(Velk::Math::Intersect::ArcSegment(V{0, 0}, V{1, 0}, kPi<T>, V{-3, height},
                                                    V{3, height}, hit0, parameter0, hit1,
                                                    parameter1, true, tolerance),
                  count)
            << height;
    }
}

TYPED_TEST(IntersectPlanar, SegmentsThatArePoints)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const V p{2, 1};
    for (const bool flag : {true, false}) {
        EXPECT_EQ(Meet(p, p, V{0, 0}, V{4, 2}, flag), (SegmentsMeet<T>{true, p, false}));
        EXPECT_EQ(Meet(V{0, 0}, V{4, 2}, p, p, flag), (SegmentsMeet<T>{true, p, false}));
        EXPECT_FALSE(Meet(p, p, V{0, 0}, V{4, T(2.01)}, flag).found);
        EXPECT_EQ(Meet(p, p, p, p, flag).found, flag); // their ends are common
        EXPECT_EQ(Meet(p, p, p, V{5, 5}, flag).found, flag);
    }
    // No longer than the tolerance is a point, and a point overlaps nothing.
    const T tolerance = T(0.25);
    EXPECT_EQ(Meet(V{0, 0}, V{T(0.25), 0}, V{-1, 0}, V{1, 0}, true, tolerance),
              (SegmentsMeet<T>{true, V{0, 0}, false}));
    EXPECT_TRUE(Meet(V{0, 0}, V{T(0.5), 0}, V{-1, 0}, V{1, 0}, true, tolerance).overlap);
}

TYPED_TEST(IntersectPlanar, SegmentToleranceIsADistanceOnLongSegmentsToo)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T tolerance = T(0.125);
    for (const T length : {T{1}, T{1024}, T{1048576}}) {
        EXPECT_TRUE(
            Meet(V{0, 0}, V{length, 0}, V{length / 2, T(0.125)}, V{length / 2, 9}, true, tolerance)
                .found);
        EXPECT_FALSE(
            Meet(V{0, 0}, V{length, 0}, V{length / 2, T(0.1251)}, V{length / 2, 9}, true, tolerance)
                .found);
        // Beyond an end the distance is Euclidean: (0.1, 0.1) is 0.141 away, (0.08, 0.08) 0.113.
        EXPECT_FALSE(
            Meet(V{-length, 0}, V{0, 0}, V{T(0.1), T(0.1)}, V{9, 9}, true, tolerance).found);
        EXPECT_TRUE(
            Meet(V{-length, 0}, V{0, 0}, V{T(0.08), T(0.08)}, V{9, 9}, true, tolerance).found);
    }
}

TYPED_TEST(IntersectPlanar, SegmentSegmentOnHostileInput)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const SegmentsMeet<T> nothing{false, V{}, false};
    for (const T bad : {nan, inf, -inf}) {
        for (int point = 0; point < 4; ++point) {
            std::array<V, 4> p{V{0, 0}, V{2, 2}, V{0, 2}, V{2, 0}};
            p[static_cast<std::size_t>(point)].y() = bad;
            EXPECT_EQ(Meet(p[0], p[1], p[2], p[3], true), nothing);
        }
    }
    EXPECT_EQ(Meet(V{0, 0}, V{2, 2}, V{0, 2}, V{2, 0}, true, nan), nothing);
    // A negative tolerance counts as 0: exact touches and crossings stay.
    EXPECT_TRUE(Meet(V{0, 0}, V{2, 2}, V{0, 2}, V{2, 0}, true, T{-1}).found);
    EXPECT_TRUE(Meet(V{0, 0}, V{2, 0}, V{1, 0}, V{2, 5}, true, T{-1}).found);
    const T huge = std::numeric_limits<T>::max();
    (void)Meet(V{-huge, -huge}, V{huge, huge}, V{-huge, huge}, V{huge, -huge}, true);
    const T tiny = std::numeric_limits<T>::denorm_min();
    (void)Meet(V{-tiny, -tiny}, V{tiny, tiny}, V{-tiny, tiny}, V{tiny, -tiny}, true, T{0});
}

// Lengths whose squares overflow or vanish: the answers are those of the same figure at size 1, its
// crossing point a power of two away.
TEST(SegmentSegment, SizesAtTheEndsOfTheNumberRange)
{
    Support::Random random(71);
    for (const int exponent : {505, 512, 700, 1020, -505, -540, -800}) {
        int met = 0;
        for (int trial = 0; trial < 500; ++trial) {
            std::array<Vec2d, 4> p;
            for (Vec2d& q : p) {
                q = random.Vector<2, double>(-1, 1);
            }
            if (trial % 3 == 0) {
                p[2] = p[1]; // a common end
            } else if (trial % 3 == 1) {
                p[2] = p[0] + (p[1] - p[0]) * 0.5;
            }
            std::array<Vec2d, 4> scaled;
            for (std::size_t i = 0; i < 4; ++i) {
                scaled[i] = {std::ldexp(p[i].x(), exponent), std::ldexp(p[i].y(), exponent)};
            }
            const double tolerance = trial % 2 == 0 ? 0.0 : 1e-12;
            const auto expected = Meet(p[0], p[1], p[2], p[3], true, tolerance);
            const auto found = Meet(scaled[0], scaled[1], scaled[2], scaled[3], true,
                                    std::ldexp(tolerance, exponent));
            ASSERT_EQ(found.found, expected.found) << exponent << ' ' << trial;
            ASSERT_EQ(found.overlap, expected.overlap) << exponent << ' ' << trial;
            ASSERT_EQ(found.hit, Vec2d(std::ldexp(expected.hit.x(), exponent),
                                       std::ldexp(expected.hit.y(), exponent)))
                << exponent << ' ' << trial;
            met += expected.found ? 1 : 0;
        }
        EXPECT_GT(met, 100);
    }
    const double largest = std::numeric_limits<double>::max();
    const auto crossing = Meet(Vec2d(-largest, -largest), Vec2d(largest, largest),
                               Vec2d(-largest, largest), Vec2d(largest, -largest), true, 1e-12);
    EXPECT_TRUE(crossing.found);
    EXPECT_EQ(crossing.hit, Vec2d(0, 0));
}

/// Distance of `p` from the segment, without rounding until the end.
double ExactDistance(const Vec2d& p, const Vec2d& start, const Vec2d& end)
{
    using Fraction = boost::multiprecision::cpp_rational;
    const Fraction px(p.x()), py(p.y()), sx(start.x()), sy(start.y());
    const Fraction alongX = Fraction(end.x()) - sx;
    const Fraction alongY = Fraction(end.y()) - sy;
    const Fraction squared = alongX * alongX + alongY * alongY;
    Fraction share = 0;
    if (squared != 0) {
        share = ((px - sx) * alongX + (py - sy) * alongY) / squared;
        share = share < 0 ? Fraction(0) : share > 1 ? Fraction(1) : share;
    }
    return std::hypot(static_cast<double>(Fraction(px - sx - share * alongX)),
                      static_cast<double>(Fraction(py - sy - share * alongY)));
}

TYPED_TEST(IntersectPlanar, SegmentsWithEndsOfMixedSizeMeetInAPointOfBoth)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const auto check = [](const std::array<V, 4>& p, T tolerance) {
        const auto met = Meet(p[0], p[1], p[2], p[3], true, tolerance);
        if (!met.found) {
            EXPECT_EQ(met.hit, V{});
            return 0;
        }
        const std::array<Vec2d, 4> wide{Vec2d(p[0]), Vec2d(p[1]), Vec2d(p[2]), Vec2d(p[3])};
        double largest = 0;
        for (const Vec2d& q : wide) {
            largest = std::max({largest, std::fabs(q.x()), std::fabs(q.y())});
        }
        EXPECT_TRUE(std::isfinite(met.hit.x()) && std::isfinite(met.hit.y()));
        if (std::isfinite(met.hit.x()) && std::isfinite(met.hit.y())) {
            const double allowed =
                static_cast<double>(tolerance) +
                4 * static_cast<double>(std::numeric_limits<T>::epsilon()) * largest;
            EXPECT_LE(ExactDistance(Vec2d(met.hit), wide[0], wide[1]), allowed);
            EXPECT_LE(ExactDistance(Vec2d(met.hit), wide[2], wide[3]), allowed);
            for (const auto& other : {Meet(p[2], p[3], p[0], p[1], true, tolerance),
                                      Meet(p[1], p[0], p[2], p[3], true, tolerance)}) {
                EXPECT_TRUE(std::isfinite(other.hit.x()) && std::isfinite(other.hit.y()));
            }
        }
        return 1;
    };
    EXPECT_EQ(
        check({V{T(1e-30), T(2e-30)}, V{-1, -1}, V{T(-2e-30), T(1e-30)}, V{T(1e-20), T(-3e-20)}},
              0),
        1);
    check({V{T(2.09e-11), T(2.21e-11)}, V{T(-4.94e7), T(8.91e7)}, V{T(5.72e-10), T(1.83e-9)},
           V{T(-8.23e-11), T(6.83e-11)}},
          T(1e-12));

    Support::Random random(1201);
    int met = 0;
    for (const double decades : {12.0, 36.0}) {
        for (int trial = 0; trial < Support::Rounds(10000); ++trial) {
            std::array<V, 4> p;
            for (V& q : p) {
                const double size = std::pow(10.0, random.Between(-decades, decades));
                q = V(random.Vector<2, double>(-1, 1) * size);
            }
            met += check(p, trial % 2 == 0 ? T{0} : T(1e-12));
        }
    }
    EXPECT_GT(met, Support::Rounds(3000, 1));
}

/// Ends of all sizes that a `double` has.
TEST(SegmentSegment, NoHitIsNanWhateverTheSizes)
{
    Support::Random random(1202);
    int met = 0;
    for (int trial = 0; trial < 40000; ++trial) {
        std::array<Vec2d, 4> p;
        for (Vec2d& q : p) {
            const double size = std::pow(10.0, random.Between(-300, 300));
            q = random.Vector<2, double>(-1, 1) * size;
        }
        const auto meeting = Meet(p[0], p[1], p[2], p[3], true, 0.0);
        ASSERT_TRUE(std::isfinite(meeting.hit.x()) && std::isfinite(meeting.hit.y())) << trial;
        met += meeting.found ? 1 : 0;
    }
    EXPECT_GT(met, 3000);
}

/// The same questions on integer points, decided exactly.
struct LatticeTwin {
    using P = VecBase<2, int>;
    P a0, a1, b0, b1;

    static bool On(const P& p, const P& s, const P& e)
    {
        return ((e - s) ^ (p - s)) == 0 && (p - s) * (p - e) <= 0;
    }

    bool Crosses() const
    {
        const auto sign = [](int v) { return (v > 0) - (v < 0); };
        return sign((a1 - a0) ^ (b0 - a0)) * sign((a1 - a0) ^ (b1 - a0)) < 0 &&
               sign((b1 - b0) ^ (a0 - b0)) * sign((b1 - b0) ^ (a1 - b0)) < 0;
    }

    std::vector<P> Touching() const
    {
        std::vector<P> ends;
        for (const P& p : {a0, a1}) {
            if (On(p, b0, b1)) {
                ends.push_back(p);
            }
        }
        for (const P& p : {b0, b1}) {
            if (On(p, a0, a1)) {
                ends.push_back(p);
            }
        }
        return ends;
    }

    bool HasCommonEnd() const { return a0 == b0 || a0 == b1 || a1 == b0 || a1 == b1; }
};

TYPED_TEST(IntersectPlanar, SegmentSegmentAgreesWithExactArithmeticOnALattice)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    Support::Random random(21);
    int crossings = 0;
    int overlaps = 0;
    for (int trial = 0; trial < Support::Rounds(40'000); ++trial) {
        const auto point = [&] { return VecBase<2, int>{random.Below(6), random.Below(6)}; };
        const LatticeTwin twin{point(), point(), point(), point()};
        SCOPED_TRACE(testing::Message()
                     << "trial " << trial << ' ' << twin.a0 << twin.a1 << twin.b0 << twin.b1);
        const auto ends = twin.Touching();
        const bool overlap =
            std::any_of(ends.begin(), ends.end(), [&](const auto& p) { return p != ends.front(); });
        for (const bool flag : {true, false}) {
            const auto result = Meet(V(twin.a0), V(twin.a1), V(twin.b0), V(twin.b1), flag);
            const bool touches = !ends.empty() && (flag || overlap || !twin.HasCommonEnd());
            ASSERT_EQ(result.found, twin.Crosses() || touches);
            ASSERT_EQ(result.overlap, overlap);
            if (touches) {
                const auto nearest =
                    *std::min_element(ends.begin(), ends.end(), [&](const auto& p, const auto& q) {
                        return Vector::SquaredLength(p - twin.a0) <
                               Vector::SquaredLength(q - twin.a0);
                    });
                ASSERT_EQ(result.hit, V(nearest));
            }
        }
        crossings += twin.Crosses();
        overlaps += overlap;
    }
    EXPECT_GT(crossings, Support::Rounds(1000, 1));
    EXPECT_GT(overlaps, Support::Rounds(100, 1));
}

TYPED_TEST(IntersectPlanar, CrossingsHaveTheSameBitsInAnyOrderAndLieOnBoth)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    Support::Random random(22);
    int crossings = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        const double offset = trial % 2 == 0 ? 0.0 : 1000.0;
        const auto point = [&] { return random.Vector<2, T>(offset - 1, offset + 1); };
        const V a0 = point();
        const V a1 = point();
        const V b0 = point();
        const V b1 = point();
        const auto first = Meet(a0, a1, b0, b1, true);
        crossings += first.found;
        ASSERT_EQ(first, Meet(b0, b1, a0, a1, true));
        ASSERT_EQ(first, Meet(a1, a0, b0, b1, true));
        ASSERT_EQ(first, Meet(b1, b0, a1, a0, true));
        if (first.found) {
            // The point is rounded to T; it lies on both lines to that accuracy.
            const auto distance = [&](const V& p0, const V& p1) {
                const Vec2d d = Vec2d{p1.x(), p1.y()} - Vec2d{p0.x(), p0.y()};
                return std::fabs(d ^
                                 (Vec2d{first.hit.x(), first.hit.y()} - Vec2d{p0.x(), p0.y()})) /
                       Vector::Length(d);
            };
            const double rounding = 4 * std::numeric_limits<T>::epsilon() * (offset + 1);
            ASSERT_LE(distance(a0, a1), rounding);
            ASSERT_LE(distance(b0, b1), rounding);
        }
    }
    EXPECT_GT(crossings, 2000);
}

TEST(SegmentSegment, MeetingsFollowTheDistanceOnRandomSegments)
{
    // Distance by long double: 0 where the segments cross, else the least of the four end
    // distances.
    using L = long double;
    const auto endDistance = [](const Vec2d& p, const Vec2d& a, const Vec2d& b) {
        const L dx = L(b[0]) - a[0];
        const L dy = L(b[1]) - a[1];
        const L t = std::clamp(
            ((L(p[0]) - a[0]) * dx + (L(p[1]) - a[1]) * dy) / (dx * dx + dy * dy), L(0), L(1));
        return std::hypot(L(p[0]) - a[0] - t * dx, L(p[1]) - a[1] - t * dy);
    };
    const auto cross = [](const Vec2d& a, const Vec2d& b, const Vec2d& p) {
        return (L(b[0]) - a[0]) * (L(p[1]) - a[1]) - (L(b[1]) - a[1]) * (L(p[0]) - a[0]);
    };
    Support::Random random(23);
    int near = 0;
    for (int trial = 0; trial < 30'000; ++trial) {
        const auto point = [&] { return random.Vector<2, double>(-1, 1); };
        const Vec2d a0 = point();
        const Vec2d a1 = point();
        const Vec2d b0 = point();
        const Vec2d b1 = point();
        const double tolerance = trial % 3 == 0 ? 1e-12 : 0.1;
        const bool crosses = (cross(a0, a1, b0) > 0) != (cross(a0, a1, b1) > 0) &&
                             (cross(b0, b1, a0) > 0) != (cross(b0, b1, a1) > 0);
        const L distance = crosses ? 0
                                   : std::min({endDistance(a0, b0, b1), endDistance(a1, b0, b1),
                                               endDistance(b0, a0, a1), endDistance(b1, a0, a1)});
        if (std::fabs(distance - tolerance) < 1e-14L) {
            continue; // rounding decides
        }
        near += distance > 0 && distance < tolerance;
        ASSERT_EQ(Meet(a0, a1, b0, b1, true, tolerance).found, distance < tolerance) << trial;
    }
    EXPECT_GT(near, 500);
}

TEST(SegmentSegment, NoPathSlipsThroughAVertexOfAPolyline)
{
    // A polyline from left to right and a segment from far below to far above one of its vertices:
    // one of the two segments at the vertex is met, however the rounding falls.
    Support::Random random(24);
    for (const double offset : {0.0, 1e3, 1e6}) {
        for (int trial = 0; trial < 5000; ++trial) {
            const Vec2d origin = random.Vector<2, double>(-offset, offset);
            const Vec2d vertex = origin + random.Vector<2, double>(-0.1, 0.1);
            const Vec2d left = origin + Vec2d{-1, random.Between(-1, 1)};
            const Vec2d right = origin + Vec2d{1, random.Between(-1, 1)};
            const Vec2d shift = Vec2d{random.Between(-0.3, 0.3), 1} * random.Between(5, 50);
            const Vec2d below = vertex - shift;
            const Vec2d above = vertex + shift;
            ASSERT_TRUE(Meet(left, vertex, below, above, true, 0.0).found ||
                        Meet(vertex, right, below, above, true, 0.0).found)
                << offset << ' ' << trial;
        }
    }
}

// --- LineLine -----------------------------------------------------------------------------------

TEST(LineLine, CrossesBeyondTheGivenPoints)
{
    Vec2d hit;
    EXPECT_TRUE(Intersect::LineLine({0, 0}, {1, 0}, {5, 1}, {5, 2}, hit, 1e-12));
    EXPECT_EQ(hit, (Vec2d{5, 0}));
    EXPECT_TRUE(Intersect::LineLine({0, 0}, {1, 1}, {0, 4}, {1, 3}, hit, 1e-12));
    EXPECT_EQ(hit, (Vec2d{2, 2})); // x = 4 - x
}

TEST(LineLine, ParallelOrUndirectedLinesAreFalseWithAZeroHit)
{
    Vec2d hit{7, 7};
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, 0}, {0, 1}, {-3, 1}, hit, 1e-12));
    EXPECT_EQ(hit, (Vec2d{}));
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {0, 0}, {0, 1}, {1, 1}, hit, 1e-12));
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, 0}, {0, 1}, {0, 1}, hit, -1.0));
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, kNan}, {0, 1}, {1, 1}, hit, 1e-12));
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, kInf}, {0, 1}, {1, 1}, hit, 1e-12));
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, 1}, {0, 4}, {1, 3}, hit, kNan));
    EXPECT_EQ(hit, (Vec2d{}));
}

TEST(LineLine, TheToleranceIsASineWhateverTheLengths)
{
    Vec2d hit;
    for (const double length : {1e-3, 1.0, 1e6}) {
        // Slope 1e-3: the sine is 1e-3 less 5e-10.
        const Vec2d a1{length, 0};
        const Vec2d b0{0, 1};
        const Vec2d b1{length, 1 + 1e-3 * length};
        EXPECT_TRUE(Intersect::LineLine({0, 0}, a1, b0, b1, hit, 0.999e-3));
        EXPECT_NEAR(hit.x(), -1000, 1e-6);
        EXPECT_FALSE(Intersect::LineLine({0, 0}, a1, b0, b1, hit, 1.001e-3));
    }
    EXPECT_FALSE(Intersect::LineLine({0, 0}, {1, 0}, {0, 0}, {0, 1}, hit, 1.0)); // strictly greater
}

TEST(LineLine, TheHitLiesOnBothLines)
{
    Support::Random random(25);
    for (int trial = 0; trial < 10'000; ++trial) {
        const auto a0 = random.Vector<2, double>(-1, 1);
        const auto a1 = random.Vector<2, double>(-1, 1);
        const auto b0 = random.Vector<2, double>(-1, 1);
        const auto b1 = random.Vector<2, double>(-1, 1);
        Vec2d hit;
        if (!Intersect::LineLine(a0, a1, b0, b1, hit, 1e-2)) {
            continue;
        }
        const double reach = 1 + Vector::Length(hit);
        ASSERT_NEAR((a1 - a0) ^ (hit - a0), 0, 1e-13 * reach);
        ASSERT_NEAR((b1 - b0) ^ (hit - b0), 0, 1e-13 * reach);
    }
}

// --- PointInOrOnTriangle ------------------------------------------------------------------------

TYPED_TEST(IntersectPlanar, PointInTriangleOfEitherOrientation)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const V a{0, 0};
    const V b{4, 0};
    const V c{0, 3};
    const T floor = kLengthFloor<T>;
    for (const auto& [p, q, r] : {std::array{a, b, c}, std::array{a, c, b}, std::array{c, a, b}}) {
        EXPECT_TRUE(Intersect::PointInOrOnTriangle(p, q, r, V{1, 1}, floor));
        for (const V& boundary : {a, b, c, V{2, 0}, V{0, 1}, V{2, T(1.5)}}) {
            EXPECT_TRUE(Intersect::PointInOrOnTriangle(p, q, r, boundary, T{0})) << boundary;
        }
        EXPECT_FALSE(Intersect::PointInOrOnTriangle(p, q, r, V{3, 3}, floor));
        EXPECT_FALSE(Intersect::PointInOrOnTriangle(p, q, r, V{5, 0}, floor)); // on a side's line
        // The normal of the long side is (3, 4) / 5: (2.3, 1.9) lies 0.5 beyond (2, 1.5).
        EXPECT_TRUE(Intersect::PointInOrOnTriangle(p, q, r, V{T(2.3), T(1.9)}, T(0.501)));
        EXPECT_FALSE(Intersect::PointInOrOnTriangle(p, q, r, V{T(2.3), T(1.9)}, T(0.499)));
        // Round the corner the tolerance is Euclidean: (-0.3, -0.4) is 0.5 away.
        EXPECT_TRUE(Intersect::PointInOrOnTriangle(p, q, r, V{T(-0.3), T(-0.4)}, T(0.501)));
        EXPECT_FALSE(Intersect::PointInOrOnTriangle(p, q, r, V{T(-0.3), T(-0.4)}, T(0.499)));
    }
}

TYPED_TEST(IntersectPlanar, DegenerateTrianglesAreSegmentsOrPoints)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T floor = kLengthFloor<T>;
    EXPECT_TRUE(
        Intersect::PointInOrOnTriangle(V{0, 0}, V{2, 2}, V{1, 1}, V{T(1.5), T(1.5)}, floor));
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{0, 0}, V{2, 2}, V{1, 1}, V{3, 3}, floor));
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{0, 0}, V{2, 2}, V{1, 1}, V{1, T(1.1)}, floor));
    EXPECT_TRUE(Intersect::PointInOrOnTriangle(V{1, 1}, V{1, 1}, V{1, 1}, V{1, 1}, T{0}));
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{1, 1}, V{1, 1}, V{1, 1}, V{1, 2}, floor));
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{0, 0}, V{4, 0}, V{0, 3}, V{1, nan}, floor));
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{0, nan}, V{4, 0}, V{0, 3}, V{1, 1}, floor));
    EXPECT_FALSE(Intersect::PointInOrOnTriangle(V{0, 0}, V{4, 0}, V{0, 3}, V{1, 1}, nan));
}

TEST(PointInOrOnTriangle, AgreesWithIntegerArithmetic)
{
    using P = VecBase<2, int>;
    Support::Random random(26);
    int inside = 0;
    for (int trial = 0; trial < 40'000; ++trial) {
        const auto point = [&] { return P{random.Below(7), random.Below(7)}; };
        const P a = point();
        const P b = point();
        const P c = point();
        const P p = point();
        const int ab = (b - a) ^ (p - a);
        const int bc = (c - b) ^ (p - b);
        const int ca = (a - c) ^ (p - c);
        const bool flat = ((b - a) ^ (c - a)) == 0;
        const bool expected =
            flat ? LatticeTwin::On(p, a, b) || LatticeTwin::On(p, b, c) || LatticeTwin::On(p, c, a)
                 : (ab >= 0 && bc >= 0 && ca >= 0) || (ab <= 0 && bc <= 0 && ca <= 0);
        inside += expected;
        ASSERT_EQ(Intersect::PointInOrOnTriangle(Vec2d(a), Vec2d(b), Vec2d(c), Vec2d(p), 0.0),
                  expected);
        ASSERT_EQ(Intersect::PointInOrOnTriangle(Vec2f(a), Vec2f(b), Vec2f(c), Vec2f(p), 1e-8F),
                  expected);
    }
    EXPECT_GT(inside, 5000);
}

TEST(PointInOrOnTriangle, NoPointOfACommonSideIsDisownedByBothTriangles)
{
    Support::Random random(27);
    for (int trial = 0; trial < 50'000; ++trial) {
        const double offset = trial % 2 == 0 ? 0.0 : 1e5;
        const Vec2d origin = random.Vector<2, double>(-offset, offset);
        const Vec2d p = origin + Vec2d{random.Between(-1, 0), random.Between(-1, 0)};
        const Vec2d q = origin + Vec2d{random.Between(0, 1), random.Between(0, 1)};
        const Vec2d left = origin + Vec2d{-2, 2};
        const Vec2d right = origin + Vec2d{2, -2};
        const double t = random.Between(0.01, 0.99); // rounded off the line either way
        const Vec2d on = p + (q - p) * t;
        ASSERT_TRUE(Intersect::PointInOrOnTriangle(p, q, left, on, 0.0) ||
                    Intersect::PointInOrOnTriangle(q, p, right, on, 0.0));
    }
}

// --- ClosestPointOnArc --------------------------------------------------------------------------

template <class T>
struct OnArc {
    VecBase<2, T> point;
    T parameter;
};

template <class T>
OnArc<T> Nearest(const ArcBase<T>& arc, const VecBase<2, T>& p, bool snap = false)
{
    OnArc<T> result{{}, T{-1}};
    result.point =
        Intersect::ClosestPointOnArc(arc.center, arc.start, arc.length, p, result.parameter, snap);
    return result;
}

/// Point of an arc at a fraction, by rotation: independent of the library.
template <class T>
Vec2d At(const ArcBase<T>& arc, double fraction)
{
    const Vec2d spoke{double(arc.start.x()) - arc.center.x(),
                      double(arc.start.y()) - arc.center.y()};
    const double angle = double(arc.length) / Vector::Length(spoke) * fraction;
    return Vec2d{double(arc.center.x()), double(arc.center.y())} +
           Vec2d{spoke.x() * std::cos(angle) - spoke.y() * std::sin(angle),
                 spoke.x() * std::sin(angle) + spoke.y() * std::cos(angle)};
}

TYPED_TEST(IntersectPlanar, NearestOnAQuarterOfTheUnitCircle)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T eps = 4 * std::numeric_limits<T>::epsilon();
    const ArcBase<T> quarter{{0, 0}, {1, 0}, kPi<T> / 2};
    const auto diagonal = Nearest(quarter, V{3, 3});
    EXPECT_NEAR(diagonal.point.x(), std::sqrt(0.5), eps);
    EXPECT_NEAR(diagonal.point.y(), std::sqrt(0.5), eps);
    EXPECT_NEAR(diagonal.parameter, 0.5, eps);
    EXPECT_NEAR(Nearest(quarter, V{T(0.1), T(0.1)}).parameter, 0.5, eps); // from inside
    EXPECT_EQ(Nearest(quarter, V{2, 0}).point, (V{1, 0}));
    EXPECT_EQ(Nearest(quarter, V{2, 0}).parameter, T{0});
    EXPECT_EQ(Nearest(quarter, V{2, -1}).point, (V{1, 0})); // beyond the start: its bits
    EXPECT_EQ(Nearest(quarter, V{-1, 2}).parameter, T{1});  // beyond the end
    EXPECT_NEAR(Nearest(quarter, V{-1, 2}).point.y(), 1, eps);
    EXPECT_EQ(Nearest(quarter, V{-5, -5}).parameter, T{0}); // both ends equally near: the start
    EXPECT_EQ(Nearest(quarter, V{0, 0}).point, (V{1, 0}));  // the center
    EXPECT_EQ(Nearest(quarter, V{0, 0}).parameter, T{0});
    // Clockwise: a third of the way down from (0, 1) is at 60 degrees.
    const ArcBase<T> down{{0, 0}, {0, 1}, -kPi<T> / 2};
    const auto third = Nearest(down, V{std::cos(kPi<T> / 3), std::sin(kPi<T> / 3)} * T{5});
    EXPECT_NEAR(third.parameter, 1.0 / 3, eps);
    EXPECT_NEAR(third.point.x(), 0.5, eps);
}

TYPED_TEST(IntersectPlanar, NearestOnFullCirclesAndBeyondATurn)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T eps = 8 * std::numeric_limits<T>::epsilon();
    for (const T sense : {T{1}, T{-1}}) {
        const ArcBase<T> circle{{3, 4}, {5, 4}, sense * kTwoPi<T> * 2};
        EXPECT_EQ(Nearest(circle, V{9, 4}).parameter, T{0});
        EXPECT_EQ(Nearest(circle, V{9, 4}).point, (V{5, 4}));
        EXPECT_NEAR(Nearest(circle, V{3, 9}).parameter, sense > 0 ? 0.25 : 0.75, eps);
        EXPECT_NEAR(Nearest(circle, V{0, 4}).parameter, 0.5, eps);
        EXPECT_NEAR(Nearest(circle, V{3, 0}).point.y(), 2, eps);
        // Two turns: the places of the first.
        const ArcBase<T> twoTurns{{3, 4}, {5, 4}, sense * kTwoPi<T> * 4};
        EXPECT_NEAR(Nearest(twoTurns, V{0, 4}).parameter, 0.25, eps);
    }
}

TYPED_TEST(IntersectPlanar, NearestOnArcsWithoutExtentIsTheirStart)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    for (const ArcBase<T>& arc :
         {ArcBase<T>{{1, 2}, {1, 2}, 5}, ArcBase<T>{{1, 2}, {3, 2}, 0},
          ArcBase<T>{{1, 2}, {3, 2}, nan}, ArcBase<T>{{1, nan}, {3, 2}, 1}}) {
        const auto nearest = Nearest(arc, V{7, 8});
        EXPECT_EQ(nearest.point, arc.start);
        EXPECT_EQ(nearest.parameter, T{0});
    }
    const auto fromNan = Nearest(ArcBase<T>{{0, 0}, {1, 0}, 1}, V{nan, 0});
    EXPECT_EQ(fromNan.point, (V{1, 0}));
    EXPECT_EQ(fromNan.parameter, T{0});
}

TYPED_TEST(IntersectPlanar, SnappingTakesPointsAtTheEndsToTheEnds)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // A small arc, so that the length floor of float is not below its rounding.
    const T r = T(1e-3);
    const ArcBase<T> arc{{0, 0}, {r, 0}, r * kPi<T> / 2};
    const T inside = kLengthFloor<T> / 2 / r; // half the floor along the arc, as an angle
    const V nearStart{std::cos(inside), std::sin(inside)};
    EXPECT_GT(Nearest(arc, nearStart).parameter, T{0});
    EXPECT_EQ(Nearest(arc, nearStart, true).parameter, T{0});
    EXPECT_EQ(Nearest(arc, nearStart, true).point, arc.start);
    const V nearEnd{std::sin(inside), std::cos(inside)};
    EXPECT_LT(Nearest(arc, nearEnd).parameter, T{1});
    EXPECT_EQ(Nearest(arc, nearEnd, true).parameter, T{1});
    EXPECT_EQ(Nearest(arc, nearEnd, true).point, Nearest(arc, V{-1, 1}).point);
    const V middle{1, 1};
    EXPECT_EQ(Nearest(arc, middle, true).parameter, Nearest(arc, middle).parameter);
    // Closed: start and end are one place, and it is the start.
    const ArcBase<T> circle{{0, 0}, {r, 0}, r * kTwoPi<T>};
    EXPECT_EQ(Nearest(circle, V{std::cos(inside), -std::sin(inside)}, true).parameter, T{0});
}

TYPED_TEST(IntersectPlanar, NearestOnArcAgreesWithSampling)
{
    using T = TypeParam;
    Support::Random random(28);
    for (int trial = 0; trial < 3000; ++trial) {
        ArcBase<T> arc;
        arc.center = random.Vector<2, T>(-2, 2);
        arc.start = random.Vector<2, T>(-2, 2);
        arc.length = static_cast<T>(random.Between(-1, 1) * 6.28 * double(Geometry::Radius(arc)));
        const auto p = random.Vector<2, T>(-4, 4);
        const auto nearest = Nearest(arc, p);
        const Vec2d pd{double(p.x()), double(p.y())};
        // An end lies where an angle of up to 4 pi says, before it is reduced to a turn.
        const double rounding =
            4 * M_PI * std::numeric_limits<T>::epsilon() * (1 + double(Geometry::Radius(arc)));
        // The point is where the parameter says.
        const Vec2d place = At(arc, nearest.parameter);
        ASSERT_NEAR(nearest.point.x(), place.x(), rounding) << trial;
        ASSERT_NEAR(nearest.point.y(), place.y(), rounding) << trial;
        ASSERT_GE(nearest.parameter, T{0});
        ASSERT_LE(nearest.parameter, T{1});
        const double distance =
            Vector::Length(Vec2d{double(nearest.point.x()), double(nearest.point.y())} - pd);
        for (int i = 0; i <= 200; ++i) {
            ASSERT_LE(distance - Vector::Length(At(arc, i / 200.0) - pd), rounding) << trial;
        }
    }
}

TEST(ClosestPointOnArc, PlacesNearTheStartKeepTheirDigits)
{
    // The start at a polar angle of 3 radians: an angle difference would keep 1e-16 of it
    // absolutely.
    const Vec2d start{std::cos(3.0), std::sin(3.0)};
    const Vec2d tangent{-start.y(), start.x()};
    for (const double place : {1e-3, 1e-6, 1e-9}) {
        double parameter = 0;
        (void)Intersect::ClosestPointOnArc({0.0, 0.0}, start, 1.0,
                                           start + tangent * std::tan(place), parameter, false);
        // The point itself is rounded at 1e-16; beyond that nothing is lost.
        EXPECT_NEAR(parameter, place, 3e-16);
    }
}

// --- ArcSegment ---------------------------------------------------------------------------------

template <class T>
struct ArcMeets {
    int count = -1;
    std::array<VecBase<2, T>, 2> hit{VecBase<2, T>{99, 99}, VecBase<2, T>{99, 99}};
    std::array<T, 2> parameter{99, 99};
};

template <class T>
ArcMeets<T> Meet(const ArcBase<T>& arc, const VecBase<2, T>& s0, const VecBase<2, T>& s1,
                 bool bounded = true, T tolerance = kLengthFloor<T>)
{
    ArcMeets<T> r;
    r.count = Intersect::ArcSegment(arc.center, arc.start, arc.length, s0, s1, r.hit[0],
                                    r.parameter[0], r.hit[1], r.parameter[1], bounded, tolerance);
    return r;
}

TYPED_TEST(IntersectPlanar, ArcSegmentTwoHitsInOrderAlongTheSegment)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T eps = 8 * std::numeric_limits<T>::epsilon();
    const ArcBase<T> circle{{1, 1}, {6, 1}, kTwoPi<T> * 5};
    // Height 3 above the center: the half chord is 4.
    const auto right = Meet(circle, V{-9, 4}, V{9, 4});
    ASSERT_EQ(right.count, 2);
    EXPECT_NEAR(right.hit[0].x(), -3, eps);
    EXPECT_NEAR(right.hit[0].y(), 4, eps);
    EXPECT_NEAR(right.hit[1].x(), 5, 4 * eps);
    EXPECT_NEAR(right.parameter[1], std::atan2(3.0, 4.0) / (2 * M_PI), eps);
    EXPECT_NEAR(right.parameter[0], 0.5 - std::atan2(3.0, 4.0) / (2 * M_PI), eps);
    const auto left = Meet(circle, V{9, 4}, V{-9, 4});
    ASSERT_EQ(left.count, 2);
    EXPECT_NEAR(left.hit[0].x(), 5, 4 * eps);
    const auto clockwise = Meet(ArcBase<T>{{1, 1}, {6, 1}, -kTwoPi<T> * 5}, V{-9, 4}, V{9, 4});
    EXPECT_NEAR(clockwise.parameter[1], 1 - std::atan2(3.0, 4.0) / (2 * M_PI), eps);

    const auto one = Meet(circle, V{1, 4}, V{9, 4}); // begins inside
    ASSERT_EQ(one.count, 1);
    EXPECT_NEAR(one.hit[0].x(), 5, 4 * eps);
    EXPECT_EQ(one.hit[1], V{});
    EXPECT_EQ(one.parameter[1], T{0});
    EXPECT_EQ(Meet(circle, V{1, 4}, V{2, 4}).count, 0);        // all inside
    EXPECT_EQ(Meet(circle, V{1, 4}, V{2, 4}, false).count, 2); // its line
    EXPECT_EQ(Meet(circle, V{-9, 7}, V{9, 7}).count, 0);
}

TYPED_TEST(IntersectPlanar, ArcSegmentTangencyIsOneHit)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const ArcBase<T> upper{{0, 0}, {1, 0}, kPi<T>};
    const T tolerance = T(1e-3);
    for (const T height : {T{1}, T(1.0009), T(0.9991)}) {
        const auto touch = Meet(upper, V{-3, height}, V{3, height}, true, tolerance);
        ASSERT_EQ(touch.count, 1) << height;
        EXPECT_NEAR(touch.hit[0].x(), 0, 1e-6);
        EXPECT_EQ(touch.hit[0].y(), height); // on the segment
        EXPECT_NEAR(touch.parameter[0], 0.5, 1e-6);
    }
    EXPECT_EQ(Meet(upper, V{-3, T(1.0011)}, V{3, T(1.0011)}, true, tolerance).count, 0);
    EXPECT_EQ(Meet(upper, V{-3, T(0.9989)}, V{3, T(0.9989)}, true, tolerance).count, 2);
    EXPECT_EQ(Meet(upper, V{-3, -1}, V{3, -1}, true, tolerance).count, 0); // not on this half
    // The segment begins beyond the foot, still within tolerance of the circle (0.02^2 / 2 = 2e-4).
    const auto late = Meet(upper, V{T(0.02), 1}, V{3, 1}, true, tolerance);
    ASSERT_EQ(late.count, 1);
    EXPECT_EQ(late.hit[0], (V{T(0.02), 1}));
    EXPECT_EQ(Meet(upper, V{T(0.06), 1}, V{3, 1}, true, tolerance).count, 0); // 0.06^2 / 2 = 1.8e-3
    // The arc begins beyond the foot.
    const T angle = T(0.02);
    const ArcBase<T> lateArc{{0, 0}, {std::sin(angle), std::cos(angle)}, -1};
    const auto end = Meet(lateArc, V{-3, 1}, V{3, 1}, true, tolerance);
    ASSERT_EQ(end.count, 1);
    EXPECT_EQ(end.hit[0], lateArc.start);
    EXPECT_EQ(end.parameter[0], T{0});
}

TYPED_TEST(IntersectPlanar, ArcSegmentEndsBelongWithinTolerance)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T tolerance = T(0.01);
    const ArcBase<T> quarter{{0, 0}, {1, 0}, kPi<T> / 2};
    // Through the start at a right angle, and past it by less and by more than the tolerance.
    for (const T y : {T{0}, T(0.009), T(-0.009)}) {
        const auto atStart = Meet(quarter, V{0, y}, V{2, y}, true, tolerance);
        ASSERT_EQ(atStart.count, 1) << y;
        EXPECT_NEAR(atStart.parameter[0], std::max(T{0}, y) / (M_PI / 2), 1e-6);
        if (y < 0) {
            EXPECT_EQ(atStart.hit[0], quarter.start);
        }
    }
    EXPECT_EQ(Meet(quarter, V{0, T(-0.011)}, V{2, T(-0.011)}, true, tolerance).count, 0);
    const auto atEnd = Meet(quarter, V{T(-0.009), 0}, V{T(-0.009), 2}, true, tolerance);
    ASSERT_EQ(atEnd.count, 1);
    EXPECT_EQ(atEnd.parameter[0], T{1});
    EXPECT_EQ(Meet(quarter, V{T(-0.011), 0}, V{T(-0.011), 2}, true, tolerance).count, 0);
    // The segment stops short of the circle, by less and by more.
    const auto atS1 = Meet(quarter, V{0, 0}, V{T(0.595), T(0.79333333)}, true, tolerance);
    ASSERT_EQ(atS1.count, 1); // length 0.99167
    EXPECT_EQ(atS1.hit[0], (V{T(0.595), T(0.79333333)}));
    EXPECT_EQ(Meet(quarter, V{0, 0}, V{T(0.59), T(0.78666667)}, true, tolerance).count, 0);
    // A full circle has no gap at its joint.
    const ArcBase<T> circle{{0, 0}, {1, 0}, kTwoPi<T>};
    for (const T y : {T{0}, T(1e-4), T(-1e-4)}) {
        EXPECT_EQ(Meet(circle, V{0, y}, V{2, y}).count, 1) << y;
    }
}

TYPED_TEST(IntersectPlanar, ArcSegmentDegenerateElements)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const ArcBase<T> point{{2, 1}, {2, 1}, 3};
    const ArcBase<T> noLength{{0, 0}, {2, 1}, 0};
    for (const ArcBase<T>& arc : {point, noLength}) {
        const auto on = Meet(arc, V{0, 0}, V{4, 2});
        EXPECT_EQ(on.count, 1);
        EXPECT_EQ(on.hit[0], (V{2, 1}));
        EXPECT_EQ(on.parameter[0], T{0});
        EXPECT_EQ(Meet(arc, V{0, 0}, V{1, T(0.5)}).count, 0);
        EXPECT_EQ(Meet(arc, V{0, 0}, V{1, T(0.5)}, false).count, 1);
        EXPECT_EQ(Meet(arc, V{0, 0}, V{4, T(2.5)}).count, 0);
        EXPECT_EQ(Meet(arc, V{2, 1}, V{2, 1}).count, 1);
    }
    const ArcBase<T> quarter{{0, 0}, {5, 0}, 5 * kPi<T> / 2};
    const auto spot = Meet(quarter, V{4, 3}, V{4, 3});
    EXPECT_EQ(spot.count, 1);
    EXPECT_EQ(spot.hit[0], (V{4, 3}));
    EXPECT_EQ(Meet(quarter, V{4, -3}, V{4, -3}).count, 0);
    EXPECT_EQ(Meet(quarter, V{4, 2}, V{4, 2}).count, 0);
    EXPECT_EQ(Meet(quarter, V{4, 3}, V{4, 3}, false).count, 0); // no line
}

TYPED_TEST(IntersectPlanar, ArcSegmentOnHostileInput)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    for (const T bad : {nan, inf}) {
        EXPECT_EQ(Meet(ArcBase<T>{{bad, 0}, {1, 0}, 3}, V{0, -2}, V{0, 2}).count, 0);
        EXPECT_EQ(Meet(ArcBase<T>{{0, 0}, {1, bad}, 3}, V{0, -2}, V{0, 2}).count, 0);
        EXPECT_EQ(Meet(ArcBase<T>{{0, 0}, {1, 0}, bad}, V{0, -2}, V{0, 2}).count, 0);
        EXPECT_EQ(Meet(ArcBase<T>{{0, 0}, {1, 0}, 3}, V{0, bad}, V{0, 2}).count, 0);
        const auto miss = Meet(ArcBase<T>{{0, 0}, {1, 0}, 3}, V{0, -2}, V{bad, 2}, false);
        EXPECT_EQ(miss.count, 0);
        EXPECT_EQ(miss.hit[0], V{});
        EXPECT_EQ(miss.parameter[1], T{0});
    }
    EXPECT_EQ(Meet(ArcBase<T>{{0, 0}, {1, 0}, 3}, V{0, -2}, V{0, 2}, true, nan).count, 0);
    EXPECT_EQ(Meet(ArcBase<T>{{0, 0}, {1, 0}, 3}, V{0, -2}, V{0, 2}, true, T{-1}).count, 1);
    const T huge = std::numeric_limits<T>::max();
    (void)Meet(ArcBase<T>{{huge, 0}, {-huge, 0}, huge}, V{0, -huge}, V{huge, huge});
}

TYPED_TEST(IntersectPlanar, ArcSegmentOfAnySizesHasFiniteHits)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const double mostDecades = std::numeric_limits<T>::max_exponent10 - 1;
    Support::Random random(1203);
    int met = 0;
    for (int trial = 0; trial < 40000; ++trial) {
        const auto size = [&] { return std::pow(10.0, random.Between(-mostDecades, mostDecades)); };
        const auto point = [&] { return V(random.Vector<2, double>(-1, 1) * size()); };
        ArcBase<T> arc{point(), point(), 0};
        if (trial % 4 == 0) {
            arc.center = V{};
        }
        const double radians = trial % 5 == 0 ? random.Between(-6, 6) : 6.2;
        arc.length = static_cast<T>(radians * double(Geometry::Radius(arc)));
        if (!std::isfinite(arc.length)) {
            continue;
        }
        V s0 = trial % 3 == 0 ? arc.start : point();
        V s1 = point();
        if (trial % 2 == 0) { // both ends of one size
            const double common = size();
            s0 = V(random.Vector<2, double>(-1, 1) * common);
            s1 = V(random.Vector<2, double>(-1, 1) * common);
        }
        const auto hits = Meet(arc, s0, s1, trial % 4 < 2, T{0});
        for (std::size_t i = 0; i < 2; ++i) {
            ASSERT_TRUE(std::isfinite(hits.hit[i].x()) && std::isfinite(hits.hit[i].y())) << trial;
            ASSERT_TRUE(hits.parameter[i] >= 0 && hits.parameter[i] <= 1) << trial;
        }
        if (hits.count < 2) {
            ASSERT_EQ(hits.hit[1], V{}) << trial;
            ASSERT_EQ(hits.parameter[1], T{0}) << trial;
        }
        met += hits.count;
    }
    EXPECT_GT(met, 3000);
}

// Products of these sizes overflow on the way to the crossings.
TEST(ArcSegment, CrossingsThatAreNoFinitePointsAreNoHits)
{
    const ArcBase<double> large{{-4.8e-174, -4.7e-174}, {5.83e247, 4.67e247}, 4.6e248};
    const ArcBase<double> far{{-6.09e283, -4.44e282}, {2.4e-175, 6.2e-175}, 3.788e284};
    for (const ArcBase<double>& arc : {large, far}) {
        const auto hits = Meet(arc, Vec2d{5.36e-156, 8.93e-156}, Vec2d{-7.35e-156, 3.28e-156},
                               false, 0.0);
        for (std::size_t i = 0; i < 2; ++i) {
            EXPECT_TRUE(std::isfinite(hits.hit[i].x()) && std::isfinite(hits.hit[i].y()));
            EXPECT_TRUE(i < static_cast<std::size_t>(hits.count) || hits.hit[i] == Vec2d{});
        }
    }
}

// Over the radius such a length is no angle at all; the arc is its start.
TYPED_TEST(IntersectPlanar, ArcSegmentOfADenormalLengthHasAPlaceAtTheStart)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T least = std::numeric_limits<T>::denorm_min();
    for (const T length : {least, -least, 3 * least}) {
        for (const T radius : {T{4}, T{1000}}) {
            const auto hits = Meet(ArcBase<T>{{0, 0}, {radius, 0}, length}, V{radius, -2},
                                   V{radius, 2}, true, T{0});
            ASSERT_EQ(hits.count, 1);
            EXPECT_EQ(hits.hit[0], V(radius, 0));
            EXPECT_EQ(hits.parameter[0], T{0});
        }
    }
}

TYPED_TEST(IntersectPlanar, ArcSegmentAgreesWithChordsOfTheArc)
{
    // Twin: the arc as 20,000 chords, crossings by sign. Cases near tangency or an end are left out
    // by the distance to both, which the fine chords (sagitta 5e-8 and less) can't tell.
    using T = TypeParam;
    Support::Random random(29);
    std::array<int, 3> seen{};
    for (int trial = 0; trial < Support::Rounds(300); ++trial) {
        ArcBase<T> arc;
        arc.center = random.Vector<2, T>(-1, 1);
        arc.start = random.Vector<2, T>(-1, 1);
        const double r = double(Geometry::Radius(arc));
        arc.length = static_cast<T>(random.Between(-1, 1) * 6.2 * r);
        const auto s0 = random.Vector<2, T>(-2, 2);
        const auto s1 = random.Vector<2, T>(-2, 2);
        const Vec2d p{double(s0.x()), double(s0.y())};
        const Vec2d d = Vec2d{double(s1.x()), double(s1.y())} - p;

        const Vec2d center{double(arc.center.x()), double(arc.center.y())};
        const double lineDistance = std::fabs(d ^ (center - p)) / Vector::Length(d);
        const auto nearEnd = [&](const Vec2d& q) { // an arc end near the line
            return std::fabs(d ^ (q - p)) < 1e-4 * Vector::Length(d);
        };
        const auto nearCircle = [&](const Vec2d& q) {
            return std::fabs(Vector::Length(q - center) - r) < 1e-4;
        };
        if (std::fabs(lineDistance - r) < 1e-4 || r < 0.05 || nearEnd(At(arc, 0)) ||
            nearEnd(At(arc, 1)) || nearCircle(p) || nearCircle(p + d)) {
            continue;
        }
        std::vector<std::pair<double, double>> expected; // along the segment, fraction of the arc
        constexpr int kChords = 20'000;
        for (int i = 0; i < kChords; ++i) {
            const Vec2d q0 = At(arc, double(i) / kChords);
            const Vec2d q1 = At(arc, double(i + 1) / kChords);
            const double side0 = d ^ (q0 - p);
            const double side1 = d ^ (q1 - p);
            if ((side0 > 0) != (side1 > 0)) {
                const double share = side0 / (side0 - side1);
                const double along = ((q0 + (q1 - q0) * share - p) * d) / (d * d);
                if (along >= 0 && along <= 1) {
                    expected.emplace_back(along, (i + share) / kChords);
                }
            }
        }
        std::sort(expected.begin(), expected.end());
        const auto found = Meet(arc, s0, s1);
        ASSERT_EQ(found.count, static_cast<int>(expected.size())) << trial;
        ++seen[static_cast<std::size_t>(found.count)];
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_NEAR(found.parameter[i], expected[i].second, 1e-4) << trial;
            const Vec2d hit{double(found.hit[i].x()), double(found.hit[i].y())};
            ASSERT_NEAR(((hit - p) * d) / (d * d), expected[i].first, 1e-4) << trial;
        }
    }
    EXPECT_GT(seen[0], Support::Rounds(20, 1));
    EXPECT_GT(seen[1], Support::Rounds(20, 1));
    EXPECT_GT(seen[2], Support::Rounds(5, 1));
}

TYPED_TEST(IntersectPlanar, ArcSegmentHitsLieOnBoth)
{
    using T = TypeParam;
    Support::Random random(30);
    int hits = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        ArcBase<T> arc;
        arc.center = random.Vector<2, T>(-1, 1);
        arc.start = random.Vector<2, T>(-1, 1);
        const double r = double(Geometry::Radius(arc));
        arc.length = static_cast<T>(random.Between(-1, 1) * 7 * r); // at times more than a turn
        const auto s0 = random.Vector<2, T>(-2, 2);
        const auto s1 = random.Vector<2, T>(-2, 2);
        const auto found = Meet(arc, s0, s1);
        const double rounding = 16 * std::numeric_limits<T>::epsilon();
        const Vec2d p{double(s0.x()), double(s0.y())};
        const Vec2d q{double(s1.x()), double(s1.y())};
        for (std::size_t i = 0; i < static_cast<std::size_t>(found.count); ++i) {
            ++hits;
            const Vec2d hit{double(found.hit[i].x()), double(found.hit[i].y())};
            ASSERT_NEAR(std::fabs((q - p) ^ (hit - p)), 0, rounding * Vector::Length(q - p));
            const Vec2d center{double(arc.center.x()), double(arc.center.y())};
            ASSERT_NEAR(Vector::Length(hit - center), r, rounding) << trial;
            const Vec2d place = At(arc, found.parameter[i]);
            ASSERT_NEAR(Vector::Length(place - hit), 0, 2 * rounding) << trial;
        }
        if (found.count == 2) {
            ASSERT_GT((found.hit[1] - found.hit[0]) * (s1 - s0), T{0});
        }
    }
    EXPECT_GT(hits, 5000);
}

TEST(ArcSegment, AlmostTangentLinesKeepTheirHalfChord)
{
    // Depth h below the top of the unit circle cuts the half chord sqrt(h (2 - h)).
    for (const double depth : {1e-2, 1e-5, 1e-8, 1e-11}) {
        const double height = 1.0 - depth;
        const double exactDepth = 1.0 - height; // what the rounded height leaves
        const auto found =
            Meet(ArcBase<double>{{0, 0}, {1, 0}, kPi<double>}, Vec2d{-2, height}, Vec2d{2, height});
        ASSERT_EQ(found.count, 2);
        const double half = std::sqrt(exactDepth * (2 - exactDepth));
        EXPECT_NEAR(found.hit[1].x(), half, 1e-14 * half + 1e-16);
        EXPECT_NEAR(found.hit[0].x(), -half, 1e-14 * half + 1e-16);
    }
}

} // namespace
