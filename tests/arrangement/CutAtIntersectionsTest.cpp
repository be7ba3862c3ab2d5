// Cutting sets of segments and arcs: crossings, touches, overlaps, tangency, repetitions, bad
// input; against a twin in exact integer arithmetic, and one by plain formulas for arcs.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using Velk::Math::kPi;
using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::VecBase;
using Velk::Math::Geometry::ArcBase;
using Velk::Math::Geometry::SegBase;
using Velk::Math::Intersect::CutAtIntersections;

template <class T>
using Segments = std::vector<SegBase<T>>;
template <class T>
using Arcs = std::vector<ArcBase<T>>;

template <class T>
constexpr T kTolerance = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);
/// A few roundings of coordinates around 10.
template <class T>
constexpr double kClose = std::is_same_v<T, float> ? 1e-5 : 1e-13;

template <class T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

template <class T>
double Distance(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return Length(Vec2d(a) - Vec2d(b));
}

/// End of an arc, in double, by turning the start about the center.
template <class T>
Vec2d ArcPoint(const ArcBase<T>& arc, double fraction)
{
    const Vec2d radial = Vec2d(arc.start) - Vec2d(arc.center);
    const double angle = fraction * static_cast<double>(arc.length) / Length(radial);
    return Vec2d(arc.center) + Vec2d(radial.x() * std::cos(angle) - radial.y() * std::sin(angle),
                                     radial.x() * std::sin(angle) + radial.y() * std::cos(angle));
}

template <class T>
ArcBase<T> ArcAt(Vec2d center, double radius, double angle, double sweep)
{
    return {VecBase<2, T>(center),
            VecBase<2, T>(center + radius * Vec2d(std::cos(angle), std::sin(angle))),
            static_cast<T>(radius * sweep)};
}

template <class T>
class CutSegments : public testing::Test {
};
template <class T>
class CutArcs : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(CutSegments, Coordinates);
TYPED_TEST_SUITE(CutArcs, Coordinates);

// --- segments, by hand
// ----------------------------------------------------------------------------

TYPED_TEST(CutSegments, CrossingGivesFourPiecesThatShareThePoint)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {4, 4}}, {{0, 4}, {4, 0}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{
        {{0, 0}, {2, 2}}, {{2, 2}, {4, 4}}, {{0, 4}, {2, 2}}, {{2, 2}, {4, 0}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, CrossingWithoutAnExactPointStillSharesBits)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {3, 1}}, {{T(0.1), 1}, {2, T(-0.7)}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    ASSERT_EQ(s.size(), 4U);
    EXPECT_EQ(s[0].end, s[1].start);
    EXPECT_EQ(s[0].end, s[2].end);
    EXPECT_EQ(s[0].end, s[3].start);
}

TYPED_TEST(CutSegments, TouchingEndGivesItsOwnBitsToTheOther)
{
    using T = TypeParam;
    const VecBase<2, T> touch{T(1) / 3, T(1) / 9}; // on y = x / 3 only up to rounding
    Segments<T> s{{{0, 0}, {3, 1}}, {touch, {0, 1}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{{{0, 0}, touch}, {touch, {3, 1}}, {touch, {0, 1}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, CommonEndsCutNothing)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {4, 0}}, {{4, 0}, {4, 4}}, {{4, 4}, {0, 0}}};
    const Segments<T> before = s;
    EXPECT_FALSE(CutAtIntersections(s, kTolerance<T>));
    EXPECT_TRUE(SameBits(s, before));
}

TYPED_TEST(CutSegments, CollinearOverlapIsCutAtBothOfItsEnds)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {4, 2}}, {{6, 3}, {2, 1}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{
        {{0, 0}, {2, 1}}, {{2, 1}, {4, 2}}, {{6, 3}, {4, 2}}, {{4, 2}, {2, 1}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, ContainedOverlapCutsTheLongOneTwice)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {9, 0}}, {{5, 0}, {2, 0}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{
        {{0, 0}, {2, 0}}, {{2, 0}, {5, 0}}, {{5, 0}, {9, 0}}, {{5, 0}, {2, 0}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, OverlapFromACommonEndCutsTheLongOneOnce)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {9, 0}}, {{0, 0}, {2, 0}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{{{0, 0}, {2, 0}}, {{2, 0}, {9, 0}}, {{0, 0}, {2, 0}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, RepeatedAndReversedOnesSurviveAndCutNothing)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {4, 1}}, {{0, 0}, {4, 1}}, {{4, 1}, {0, 0}}};
    const Segments<T> before = s;
    EXPECT_FALSE(CutAtIntersections(s, kTolerance<T>));
    EXPECT_TRUE(SameBits(s, before));
}

TYPED_TEST(CutSegments, RepetitionsAreCutAlikeEachInItsDirection)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {6, 0}}, {{6, 0}, {0, 0}}, {{2, -1}, {2, 1}}, {{4, -1}, {4, 1}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{
        {{0, 0}, {2, 0}}, {{2, 0}, {4, 0}},  {{4, 0}, {6, 0}}, {{6, 0}, {4, 0}},  {{4, 0}, {2, 0}},
        {{2, 0}, {0, 0}}, {{2, -1}, {2, 0}}, {{2, 0}, {2, 1}}, {{4, -1}, {4, 0}}, {{4, 0}, {4, 1}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, ZeroLengthOnesSurviveAndCutWhatTheyLieOn)
{
    using T = TypeParam;
    Segments<T> s{{{2, 0}, {2, 0}}, {{0, 0}, {4, 0}}, {{7, 7}, {7, 7}}, {{4, 0}, {4, 0}}};
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    const Segments<T> expected{
        {{2, 0}, {2, 0}}, {{0, 0}, {2, 0}}, {{2, 0}, {4, 0}}, {{7, 7}, {7, 7}}, {{4, 0}, {4, 0}}};
    EXPECT_EQ(s, expected);
}

TYPED_TEST(CutSegments, UncutOnesKeepPlaceAndBits)
{
    using T = TypeParam;
    const SegBase<T> minusZero{{T(-0.0), 5}, {3, 5}};
    Segments<T> s{
        minusZero, {{0, 0}, {4, 4}}, {{9, 9}, {8, 7}}, {{0, 4}, {4, 0}}, {{-1, -1}, {-1, -5}}};
    const Segments<T> before = s;
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    ASSERT_EQ(s.size(), 7U);
    EXPECT_TRUE(
        SameBits(Segments<T>{s[0], s[3], s[6]}, Segments<T>{before[0], before[2], before[4]}));
}

TYPED_TEST(CutSegments, NoCutWithinToleranceOfAnOwnEnd)
{
    using T = TypeParam;
    // The vertical crosses the other 0.05 before its end, and passes its own start by 0.05.
    const Segments<T> s{{{0, 0}, {4, 0}}, {{T(3.95), T(-0.05)}, {T(3.95), 4}}};
    Segments<T> coarse = s;
    EXPECT_FALSE(CutAtIntersections(coarse, T(0.1)));
    EXPECT_EQ(coarse, s);
    Segments<T> fine = s;
    EXPECT_TRUE(CutAtIntersections(fine, T(0.01)));
    EXPECT_EQ(fine.size(), 4U);
}

TYPED_TEST(CutSegments, ToleranceIsInclusive)
{
    using T = TypeParam;
    const T tolerance = T(0.5);
    // An end beside the inside of another, just as far as the tolerance, and a little farther.
    Segments<T> beside{{{0, 0}, {8, 0}}, {{4, T(0.5)}, {4, 8}}};
    EXPECT_TRUE(CutAtIntersections(beside, tolerance));
    EXPECT_EQ(beside.size(), 3U);
    Segments<T> apart{{{0, 0}, {8, 0}}, {{4, T(0.625)}, {4, 8}}};
    EXPECT_FALSE(CutAtIntersections(apart, tolerance));
    // An end on the line just as far from its end, and a little farther.
    Segments<T> near{{{0, 0}, {8, 0}}, {{T(0.5), 0}, {4, 8}}};
    EXPECT_FALSE(CutAtIntersections(near, tolerance));
    Segments<T> inside{{{0, 0}, {8, 0}}, {{T(0.625), 0}, {4, 8}}};
    EXPECT_TRUE(CutAtIntersections(inside, tolerance));
    // Two crossings just that far apart are one point, the first found, for all three.
    Segments<T> pair{{{0, 0}, {8, 0}}, {{4, -8}, {4, 8}}, {{T(4.5), -8}, {T(4.5), 8}}};
    EXPECT_TRUE(CutAtIntersections(pair, tolerance));
    const Segments<T> united{{{0, 0}, {4, 0}}, {{4, 0}, {8, 0}},       {{4, -8}, {4, 0}},
                             {{4, 0}, {4, 8}}, {{T(4.5), -8}, {4, 0}}, {{4, 0}, {T(4.5), 8}}};
    EXPECT_EQ(pair, united);
    Segments<T> two{{{0, 0}, {8, 0}}, {{4, -8}, {4, 8}}, {{T(4.625), -8}, {T(4.625), 8}}};
    EXPECT_TRUE(CutAtIntersections(two, tolerance));
    EXPECT_EQ(two.size(), 7U);
}

TYPED_TEST(CutSegments, AMeetingWhoseFootIsAtAnOwnEndIsThatEnd)
{
    using T = TypeParam;
    // The end at distance 1.2 from that of the long one touches it with a foot 0.8 short of it.
    for (const bool atStart : {false, true}) {
        Segments<T> s{{{0, 0}, {10, 0}}, {{T(9.2), T(0.9)}, {T(9.2), 5}}};
        if (atStart) {
            std::swap(s[0].start, s[0].end);
        }
        const Segments<T> before = s;
        EXPECT_FALSE(CutAtIntersections(s, T(1)));
        EXPECT_TRUE(SameBits(s, before));
    }
}

TYPED_TEST(CutSegments, ToleranceIsALengthWhateverTheElementsLength)
{
    using T = TypeParam;
    // The end stops 0.02 short of a line of length 1000, or of length 1.
    for (const T length : {T(1), T(1000)}) {
        const Segments<T> s{{{-length / 2, 0}, {length / 2, 0}}, {{T(0.1), T(0.02)}, {T(0.1), 1}}};
        Segments<T> reached = s;
        EXPECT_TRUE(CutAtIntersections(reached, T(0.03)));
        EXPECT_EQ(reached.size(), 3U);
        EXPECT_EQ(reached[0].end, s[1].start);
        Segments<T> missed = s;
        EXPECT_FALSE(CutAtIntersections(missed, T(0.01)));
    }
}

TYPED_TEST(CutSegments, ThreeThroughOnePointShareIt)
{
    using T = TypeParam;
    Support::Random random(11);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const Vec2d hub = random.Vector<2, double>(-3, 3);
        Segments<T> s;
        const double turn = random.Between(0, 1);
        for (int i = 0; i < 5; ++i) { // 36 degrees apart: the crossings of pairs stay together
            const double angle = turn + i * kPi<double> / 5;
            const Vec2d unit(std::cos(angle), std::sin(angle));
            s.push_back({VecBase<2, T>(hub - random.Between(1, 2) * unit),
                         VecBase<2, T>(hub + random.Between(1, 2) * unit)});
        }
        // Rounded ends leave the crossings a few roundings apart, so the tolerance is some more.
        const T tolerance = std::is_same_v<T, float> ? T(1e-5) : T(1e-13);
        ASSERT_TRUE(CutAtIntersections(s, tolerance));
        ASSERT_EQ(s.size(), 10U);
        for (std::size_t i = 0; i < s.size(); i += 2) {
            EXPECT_EQ(s[i].end, s[0].end);
            EXPECT_EQ(s[i + 1].start, s[0].end);
        }
    }
}

TYPED_TEST(CutSegments, ARowOfNearCrossingsDoesNotDragCutsAlong)
{
    using T = TypeParam;
    // Verticals 0.6 tolerances apart over a width of 60 tolerances: cuts may merge in pairs, but
    // none may wander more than two tolerances, and those that stay are more than one apart.
    const T tolerance = T(0.01);
    Segments<T> s{{{-1, 0}, {1, 0}}};
    for (int i = 0; i < 100; ++i) {
        const T x = T(0.006) * static_cast<T>(i);
        s.push_back({{x, -1}, {x, 1}});
    }
    ASSERT_TRUE(CutAtIntersections(s, tolerance));
    std::size_t next = 0;
    for (; s[next].start.y() == 0 && s[next].end.y() == 0; ++next) {
        EXPECT_GT(Distance(s[next].start, s[next].end), 0.01);
    }
    EXPECT_GT(next, 25U);
    for (int i = 0; i < 100; ++i, next += 2) {
        ASSERT_LT(next + 1, s.size());
        EXPECT_EQ(s[next].end, s[next + 1].start);
        EXPECT_NEAR(s[next].end.x(), 0.006 * i, 0.0201);
    }
    EXPECT_EQ(next, s.size());
}

TYPED_TEST(CutSegments, AThicketOfCrossingsMovesNoCutFar)
{
    using T = TypeParam;
    // Sixty lines in all directions through a disc of ten tolerances: nearly every crossing is near
    // another, in chains right across the disc. No cut may leave its line by more than two
    // tolerances.
    Support::Random random(23);
    const double tolerance = 1e-3;
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        Segments<T> s;
        for (int i = 0; i < 60; ++i) {
            const double angle = random.Between(0, 7);
            const Vec2d along(std::cos(angle), std::sin(angle));
            const Vec2d middle = random.Vector<2, double>(-10 * tolerance, 10 * tolerance);
            s.push_back({VecBase<2, T>(middle - along), VecBase<2, T>(middle + along)});
        }
        const Segments<T> before = s;
        ASSERT_TRUE(CutAtIntersections(s, static_cast<T>(tolerance)));
        std::size_t next = 0;
        for (const SegBase<T>& line : before) {
            const Vec2d start(line.start);
            const Vec2d along = (Vec2d(line.end) - start) * (1 / Distance(line.start, line.end));
            for (; !(s[next].end == line.end); ++next) {
                ASSERT_LT(next + 1, s.size());
                EXPECT_LE(std::fabs(along ^ (Vec2d(s[next].end) - start)), 2.001 * tolerance);
                EXPECT_GT(Distance(s[next].start, s[next].end), tolerance);
            }
            ++next;
        }
        EXPECT_EQ(next, s.size());
    }
}

TYPED_TEST(CutSegments, OnesBehindEachOtherOnALineAreNotCut)
{
    using T = TypeParam;
    // One line in any direction, and a gap of some tolerances. All heights over the line are
    // rounding, of either sign, so that it may look as if the two crossed somewhere.
    Support::Random random(37);
    const double tolerance = std::is_same_v<T, float> ? 1e-4 : 1e-9;
    for (int trial = 0; trial < 5000; ++trial) {
        const double angle = random.Between(0, 7);
        const Vec2d along(std::cos(angle), std::sin(angle));
        const Vec2d start = random.Vector<2, double>(-10, 10);
        const double length = random.Between(1, 50);
        const double gap = tolerance * random.Between(1.5, 2.5);
        const auto at = [&](double place) { return VecBase<2, T>(start + along * place); };
        Segments<T> s{{at(0), at(length)}, {at(length + gap), at(length + gap + 20)}};
        const Segments<T> before = s;
        ASSERT_FALSE(CutAtIntersections(s, static_cast<T>(tolerance))) << trial;
        ASSERT_TRUE(SameBits(s, before));
    }
}

TYPED_TEST(CutSegments, ManySpokesAreCutByOneRingAndNotByEachOther)
{
    using T = TypeParam;
    // 720 spokes from one end, and a square around it whose corners lie between spokes.
    Segments<T> s;
    for (int i = 0; i < 720; ++i) {
        const double angle = kTwoPi<double> * (i + 0.5) / 720;
        s.push_back(
            {{1, 2},
             {static_cast<T>(1 + 4 * std::cos(angle)), static_cast<T>(2 + 4 * std::sin(angle))}});
    }
    s.push_back({{0, 1}, {2, 1}});
    s.push_back({{2, 1}, {2, 3}});
    s.push_back({{2, 3}, {0, 3}});
    s.push_back({{0, 3}, {0, 1}});
    ASSERT_TRUE(CutAtIntersections(s, T(1e-5)));
    ASSERT_EQ(s.size(), 2 * 720U + 4 * 181); // two pieces of each spoke, and 181 of each side
    for (std::size_t i = 0; i < 1440; i += 2) {
        EXPECT_EQ(s[i].start, (VecBase<2, T>{1, 2}));
        EXPECT_EQ(s[i].end, s[i + 1].start);
        const double reach = std::max(std::fabs(static_cast<double>(s[i].end.x()) - 1),
                                      std::fabs(static_cast<double>(s[i].end.y()) - 2));
        EXPECT_NEAR(reach, 1, 1e-6);
    }
}

TYPED_TEST(CutSegments, SpokesThatOverlapAreCutAtEachOthersEnds)
{
    using T = TypeParam;
    // Sixty from one end in one direction, of lengths 1 to 60, among sixty in other directions. The
    // one of length k passes the ends of all shorter ones.
    Segments<T> s;
    for (int k = 1; k <= 60; ++k) {
        s.push_back({{0, 0}, {static_cast<T>(4 * k), static_cast<T>(3 * k)}});
        s.push_back({{0, 0}, {static_cast<T>(-4 * k), static_cast<T>(5)}});
    }
    ASSERT_TRUE(CutAtIntersections(s, T(1e-4)));
    ASSERT_EQ(s.size(), 60U + 60 * 61 / 2);
    std::size_t next = 0;
    for (int k = 1; k <= 60; ++k, ++next) {
        for (int i = 1; i <= k; ++i, ++next) {
            EXPECT_EQ(s[next].end, (VecBase<2, T>{static_cast<T>(4 * i), static_cast<T>(3 * i)}));
        }
    }
}

TYPED_TEST(CutSegments, ToleranceBelowRoundingStillSeesATouch)
{
    using T = TypeParam;
    // Far from the origin the end cannot lie on the slanted line exactly; zero tolerance means
    // rounding.
    const T far = T(4000);
    const VecBase<2, T> touch{far + T(1.1), far + T(1.1) / 3};
    Segments<T> s{{{far, far}, {far + 3, far + 1}}, {touch, {far, far + 5}}};
    EXPECT_TRUE(CutAtIntersections(s, T(0)));
    ASSERT_EQ(s.size(), 3U);
    EXPECT_EQ(s[0].end, touch);
}

TYPED_TEST(CutSegments, EmptyAndSingle)
{
    using T = TypeParam;
    Segments<T> none;
    EXPECT_FALSE(CutAtIntersections(none, kTolerance<T>));
    Segments<T> one{{{0, 0}, {1, 1}}};
    EXPECT_FALSE(CutAtIntersections(one, kTolerance<T>));
    EXPECT_EQ(one.size(), 1U);
}

TYPED_TEST(CutSegments, NonFiniteOnesAreLeftAloneAndTheRestIsCut)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const T huge = std::numeric_limits<T>::max();
    Segments<T> s{{{nan, 0}, {1, 1}},     {{0, 0}, {4, 4}},   {{-inf, 2}, {inf, 2}},
                  {{0, 4}, {4, 0}},       {{0, nan}, {4, 0}}, {{inf, inf}, {inf, inf}},
                  {{0, 1}, {-huge, huge}}};
    const Segments<T> before = s;
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    ASSERT_EQ(s.size(), before.size() + 2);
    EXPECT_TRUE(SameBits(Segments<T>{s[0], s[3], s[6], s[7]},
                         Segments<T>{before[0], before[2], before[4], before[5]}));
}

TYPED_TEST(CutSegments, HostileTolerances)
{
    using T = TypeParam;
    const Segments<T> s{{{0, 0}, {4, 4}}, {{0, 4}, {4, 0}}, {{5, 5}, {6, 5}}};
    for (const T tolerance : {T(-1), T(0), std::numeric_limits<T>::quiet_NaN()}) {
        Segments<T> cut = s; // these stand for the rounding of the coordinates
        EXPECT_TRUE(CutAtIntersections(cut, tolerance));
        EXPECT_EQ(cut.size(), 5U);
    }
    for (const T tolerance :
         {T(100), std::numeric_limits<T>::max(), std::numeric_limits<T>::infinity()}) {
        Segments<T> cut = s; // everything is near an end
        EXPECT_FALSE(CutAtIntersections(cut, tolerance));
        EXPECT_EQ(cut, s);
    }
}

TYPED_TEST(CutSegments, GiantAmongTinyOnes)
{
    using T = TypeParam;
    // 1000 ticks of length 0.2 across a line of length 1000; another 1000 miss it.
    Segments<T> s{{{T(-0.5), 0}, {T(999.5), 0}}};
    for (int i = 0; i < 1000; ++i) {
        const T x = static_cast<T>(i);
        s.push_back({{x, T(-0.1)}, {x, T(0.1)}});
        s.push_back({{x, 1}, {x, T(1.2)}});
    }
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    ASSERT_EQ(s.size(), 1001U + 2000U + 1000U);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_NEAR(s[static_cast<std::size_t>(i)].end.x(), i, 1e-4);
    }
}

TEST(CutManySegments, ThousandsOfEqualOnesAreOne)
{
    // As pairs these would be 5e9; as repetitions they take no time.
    Segments<double> s(100'000, SegBase<double>{{0, 0}, {4, 4}});
    for (std::size_t i = 1; i < s.size(); i += 2) {
        std::swap(s[i].start, s[i].end);
    }
    s.push_back({{0, 4}, {4, 0}});
    EXPECT_TRUE(CutAtIntersections(s, 1e-12));
    EXPECT_EQ(s.size(), 200'002U);
}

// --- segments, against exact arithmetic
// -----------------------------------------------------------

using Integer = long long;
struct Lattice {
    Integer x;
    Integer y;
};
struct LatticeSegment {
    Lattice start;
    Lattice end;
};
Lattice operator-(const Lattice& a, const Lattice& b) { return {a.x - b.x, a.y - b.y}; }
Integer Cross(const Lattice& a, const Lattice& b) { return a.x * b.y - a.y * b.x; }
Integer Dot(const Lattice& a, const Lattice& b) { return a.x * b.x + a.y * b.y; }

/// A place strictly inside a segment as the fraction part / whole of it, 0 < part < whole, reduced.
using Fraction = std::pair<Integer, Integer>;

Fraction Reduced(Integer part, Integer whole)
{
    if (whole < 0) {
        part = -part;
        whole = -whole;
    }
    const Integer common = std::gcd(part, whole);
    return {part / common, whole / common};
}

struct ByValue {
    bool operator()(const Fraction& a, const Fraction& b) const
    {
        return a.first * b.second < b.first * a.second;
    }
};

/// All places where the others meet the inside of segment `i`, exactly.
std::vector<Fraction> ExactCuts(const std::vector<LatticeSegment>& all, std::size_t i)
{
    std::map<Fraction, int, ByValue> cuts;
    const auto add = [&](Integer part, Integer whole) {
        const Fraction f = Reduced(part, whole);
        if (f.first > 0 && f.first < f.second) {
            cuts[f] = 1;
        }
    };
    const Lattice d = all[i].end - all[i].start;
    for (std::size_t j = 0; j < all.size(); ++j) {
        if (j == i || (d.x == 0 && d.y == 0)) {
            continue;
        }
        const Lattice e = all[j].end - all[j].start;
        for (const Lattice& p : {all[j].start, all[j].end}) {
            if (Cross(d, p - all[i].start) == 0) {
                add(Dot(p - all[i].start, d), Dot(d, d));
            }
        }
        const Integer sine = Cross(d, e);
        if (sine != 0) {
            const Lattice between = all[j].start - all[i].start;
            const Fraction onOther = Reduced(Cross(between, d), sine);
            if (onOther.first >= 0 && onOther.first <= onOther.second) {
                add(Cross(between, e), sine);
            }
        }
    }
    std::vector<Fraction> sorted;
    for (const auto& [fraction, one] : cuts) {
        sorted.push_back(fraction);
    }
    return sorted;
}

TYPED_TEST(CutSegments, MatchesExactArithmeticOnALattice)
{
    using T = TypeParam;
    Support::Random random(2026);
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        SCOPED_TRACE(trial);
        // A small lattice makes touches, overlaps, repetitions and common crossings plentiful.
        const int side = 3 + random.Below(6);
        std::vector<LatticeSegment> lattice(static_cast<std::size_t>(1 + random.Below(14)));
        for (LatticeSegment& s : lattice) {
            s = {{random.Below(side), random.Below(side)},
                 {random.Below(side), random.Below(side)}};
        }
        Segments<T> s;
        for (const LatticeSegment& l : lattice) {
            s.push_back({{l.start.x, l.start.y}, {l.end.x, l.end.y}});
        }
        const bool cut = CutAtIntersections(s, kTolerance<T>);

        std::size_t next = 0;
        for (std::size_t i = 0; i < lattice.size(); ++i) {
            const std::vector<Fraction> cuts = ExactCuts(lattice, i);
            ASSERT_LE(next + cuts.size() + 1, s.size());
            const Vec2d start(lattice[i].start.x, lattice[i].start.y);
            const Vec2d end(lattice[i].end.x, lattice[i].end.y);
            EXPECT_EQ(Vec2d(s[next].start), start);
            for (const auto& [part, whole] : cuts) {
                const double fraction = static_cast<double>(part) / static_cast<double>(whole);
                const Vec2d expected = start + fraction * (end - start);
                EXPECT_LT(Distance(Vec2d(s[next].end), expected), kClose<T>);
                EXPECT_EQ(s[next].end, s[next + 1].start);
                ++next;
            }
            EXPECT_EQ(Vec2d(s[next].end), end);
            ++next;
        }
        ASSERT_EQ(next, s.size());
        EXPECT_EQ(cut, s.size() > lattice.size());

        // Distinct crossings of such lines are farther apart than 1e-4: whatever is nearer is one
        // point.
        for (const SegBase<T>& a : s) {
            for (const SegBase<T>& b : s) {
                if (Distance(a.end, b.end) < 2e-5) {
                    EXPECT_EQ(a.end, b.end);
                }
                if (Distance(a.end, b.start) < 2e-5) {
                    EXPECT_EQ(a.end, b.start);
                }
            }
        }
        Segments<T> again = s;
        EXPECT_FALSE(CutAtIntersections(again, kTolerance<T>));
        EXPECT_TRUE(SameBits(again, s));
    }
}

double TotalLength(const Segments<double>& segments)
{
    double sum = 0;
    for (const auto& s : segments) {
        sum += Distance(s.start, s.end);
    }
    return sum;
}

/// A pair of segments by the signs of the four turns.
struct PairOfSegments {
    std::array<double, 4> heights; ///< of each end over the line of the other segment
    bool crosses;                  ///< whatever the margin
    bool isClear;                  ///< all ends lie farther than the margin from the other line
};

PairOfSegments Compare(const SegBase<double>& first, const SegBase<double>& second, double margin)
{
    // The ends are differences of given numbers: a height has an error of some epsilons.
    const auto height = [](const Vec2d& p, const Vec2d& q, const Vec2d& r) {
        return ((q - p) ^ (r - p)) / Length(q - p);
    };
    const auto& [a, b] = first;
    const auto& [c, d] = second;
    const std::array<double, 4> h{height(a, b, c), height(a, b, d), height(c, d, a),
                                  height(c, d, b)};
    return {h, (h[0] > 0) != (h[1] > 0) && (h[2] > 0) != (h[3] > 0),
            std::all_of(h.begin(), h.end(), [&](double x) { return std::fabs(x) > margin; })};
}

/// Pairs that cross properly, each end farther than `margin` from the other line.
int ProperCrossings(const Segments<double>& segments, double margin)
{
    int count = 0;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const PairOfSegments pair = Compare(segments[i], segments[j], margin);
            count += pair.crosses && pair.isClear ? 1 : 0;
        }
    }
    return count;
}

/// How many cuts there are at least and at most, of all pairs. Hardly ever two numbers: they differ
/// where an end all but touches, and where crossings on a segment are about the tolerance apart.
struct CutCounts {
    int least = 0;
    int most = 0;
};

CutCounts CountCuts(const Segments<double>& segments, double tolerance)
{
    // A crossing on a segment, and by how much the place of a flat one may be wrong.
    struct Place {
        double along;
        double error;
    };
    std::vector<std::vector<Place>> places(segments.size());
    CutCounts counts;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const PairOfSegments pair = Compare(segments[i], segments[j], 1.01 * tolerance);
            const auto& h = pair.heights;
            const auto isOffOneSide = [&](double p, double q) {
                return (p > 0) == (q > 0) &&
                       std::min(std::fabs(p), std::fabs(q)) > 1.01 * tolerance;
            };
            if (pair.crosses && pair.isClear) {
                const double sine =
                    std::fabs(h[2] - h[3]) / Length(segments[i].end - segments[i].start);
                const double error = 4e-15 / sine;
                const auto along = [](const SegBase<double>& s, double from, double to) {
                    return Length(s.end - s.start) * (from / (from - to));
                };
                places[i].push_back({along(segments[i], h[2], h[3]), error});
                places[j].push_back({along(segments[j], h[0], h[1]), error});
            } else if (!isOffOneSide(h[0], h[1]) && !isOffOneSide(h[2], h[3])) {
                counts.most += 2;
            }
        }
    }
    // Crossings within the tolerance of each other are one cut. What is drawn together with others
    // moves by two tolerances at most: from a gap of five, one is left.
    for (std::vector<Place>& own : places) {
        std::sort(own.begin(), own.end(),
                  [](const Place& a, const Place& b) { return a.along < b.along; });
        for (std::size_t k = 0; k < own.size(); ++k) {
            const double gap = k == 0 ? 1.0 : own[k].along - own[k - 1].along;
            const double error = k == 0 ? 0.0 : own[k].error + own[k - 1].error;
            counts.least += gap > 5.05 * tolerance + error ? 1 : 0;
            counts.most += gap > 0.99 * tolerance - error ? 1 : 0;
        }
    }
    return counts;
}

TEST(CutManySegments, RandomOnesCrossNoMoreAndKeepTheirLength)
{
    Support::Random random(5);
    for (const double length : {0.02, 0.2, 2.0}) { // beside a square of side 2
        Segments<double> s;
        for (int i = 0; i < Support::Rounds(600, 150); ++i) {
            const Vec2d middle = random.Vector<2, double>(-1, 1);
            const Vec2d half = random.Vector<2, double>(-length, length);
            s.push_back({middle - half, middle + half});
        }
        const std::size_t before = s.size();
        const double lengthBefore = TotalLength(s);
        const CutCounts cuts = CountCuts(s, 1e-12);
        ASSERT_TRUE(CutAtIntersections(s, 1e-12));
        EXPECT_GE(s.size(), before + static_cast<std::size_t>(cuts.least));
        EXPECT_LE(s.size(), before + static_cast<std::size_t>(cuts.most));
        EXPECT_NEAR(TotalLength(s), lengthBefore, 1e-9);
        if (s.size() < 6000) {
            EXPECT_EQ(ProperCrossings(s, 1e-11), 0);
        }
        Segments<double> again = s;
        EXPECT_FALSE(CutAtIntersections(again, 1e-12));
    }
}

TEST(CutManySegments, MixedLengthsFindTheSameCrossingsAsAllPairs)
{
    // Lengths over five decades, clustered: every level of the grid and its splits takes part.
    Support::Random random(77);
    int cutsInDoubt = 0;
    for (int trial = 0; trial < Support::Rounds(20); ++trial) {
        SCOPED_TRACE(trial);
        Segments<double> s;
        for (int i = 0; i < 500; ++i) {
            const double scale = std::pow(10.0, -5 * random.Unit());
            const Vec2d middle = random.Vector<2, double>(-1, 1) * (i % 2 == 0 ? 1.0 : scale);
            const Vec2d half = scale * random.Vector<2, double>(-1, 1);
            s.push_back({middle - half, middle + half});
        }
        const CutCounts cuts = CountCuts(s, 1e-12);
        CutAtIntersections(s, 1e-12);
        EXPECT_GE(s.size(), 500U + static_cast<std::size_t>(cuts.least));
        EXPECT_LE(s.size(), 500U + static_cast<std::size_t>(cuts.most));
        cutsInDoubt += cuts.most - cuts.least;
    }
    EXPECT_LE(cutsInDoubt, 12) << "so few that the counts still say something";
}

// --- arcs, by hand
// --------------------------------------------------------------------------------

TYPED_TEST(CutArcs, SegmentThroughACircle)
{
    using T = TypeParam;
    // x = 3 cuts the circle of radius 5 at y = 4 and -4.
    Segments<T> s{{{3, -6}, {3, 6}}};
    Arcs<T> a{{{0, 0}, {5, 0}, T(10) * kPi<T>}};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(s.size(), 3U);
    ASSERT_EQ(a.size(), 3U);
    EXPECT_LT(Distance(Vec2d(s[0].end), Vec2d(3, -4)), kClose<T>);
    EXPECT_LT(Distance(Vec2d(s[1].end), Vec2d(3, 4)), kClose<T>);
    EXPECT_EQ(a[1].start, s[1].end);
    EXPECT_EQ(a[2].start, s[0].end);
    const double first = 5 * std::atan2(4, 3);
    EXPECT_NEAR(a[0].length, first, kClose<T>);
    EXPECT_NEAR(a[1].length, 10 * kPi<double> - 2 * first, 2 * kClose<T>);
    EXPECT_NEAR(a[2].length, first, 2 * kClose<T>);
}

TYPED_TEST(CutArcs, ClockwisePiecesRunInTheArcsDirection)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {0, 4}}};
    Arcs<T> a{{{0, 0}, {2, 0}, T(2) * -kPi<T>}, {{0, 0}, {-2, 0}, T(2) * -kPi<T>}};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>)); // the second half passes (0, 2)
    ASSERT_EQ(a.size(), 3U);
    ASSERT_EQ(s.size(), 2U);
    EXPECT_EQ(a[0], (ArcBase<T>{{0, 0}, {2, 0}, T(2) * -kPi<T>}));
    EXPECT_NEAR(a[1].length, -kPi<double>, kClose<T>);
    EXPECT_NEAR(a[2].length, -kPi<double>, kClose<T>);
    EXPECT_EQ(a[2].start, s[0].end);
    EXPECT_EQ(a[2].center, a[1].center);
}

TYPED_TEST(CutArcs, TwoCirclesCrossTwice)
{
    using T = TypeParam;
    // Radii 5 about (0, 0) and (6, 0) cross at (3, 4) and (3, -4).
    Segments<T> s;
    Arcs<T> a{{{0, 0}, {-5, 0}, T(10) * kPi<T>}, {{6, 0}, {11, 0}, T(-10) * kPi<T>}};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(a.size(), 6U);
    EXPECT_LT(Distance(Vec2d(a[1].start), Vec2d(3, -4)), kClose<T>);
    EXPECT_LT(Distance(Vec2d(a[2].start), Vec2d(3, 4)), kClose<T>);
    EXPECT_EQ(a[4].start, a[1].start);
    EXPECT_EQ(a[5].start, a[2].start);
}

TYPED_TEST(CutArcs, ConcentricOverlapIsCutAtBothOfItsEnds)
{
    using T = TypeParam;
    Segments<T> s;
    Arcs<T> a{ArcAt<T>({1, 1}, 2, 0, 2), ArcAt<T>({1, 1}, 2, 3, -2)}; // 0 to 2, and 3 down to 1
    const Arcs<T> before = a;
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(a.size(), 4U);
    EXPECT_NEAR(a[0].length, 2, kClose<T>);  // 0 to 1
    EXPECT_NEAR(a[1].length, 2, kClose<T>);  // 1 to 2
    EXPECT_NEAR(a[2].length, -2, kClose<T>); // 3 to 2
    EXPECT_NEAR(a[3].length, -2, kClose<T>); // 2 to 1
    EXPECT_LT(Distance(Vec2d(a[1].start), ArcPoint(before[1], 1)), kClose<T>);
    EXPECT_LT(Distance(Vec2d(a[3].start), ArcPoint(before[0], 1)), kClose<T>);
}

TYPED_TEST(CutArcs, ArcOnACircleAndTheCirclesSeam)
{
    using T = TypeParam;
    Segments<T> s;
    // The circle's seam lies at angle 0.5, inside the arc from 0 to 1.
    Arcs<T> a{ArcAt<T>({0, 0}, 3, 0.5, kTwoPi<double>), ArcAt<T>({0, 0}, 3, 0, 1)};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(a.size(), 5U);
    EXPECT_NEAR(a[0].length, 1.5, kClose<T>);
    EXPECT_NEAR(a[1].length, 3 * (kTwoPi<double> - 1), kClose<T>);
    EXPECT_NEAR(a[2].length, 1.5, kClose<T>);
    EXPECT_NEAR(a[3].length, 1.5, kClose<T>);
    EXPECT_NEAR(a[4].length, 1.5, kClose<T>);
    EXPECT_EQ(a[4].start, a[0].start);
    EXPECT_EQ(a[2].start, a[3].start);
}

TYPED_TEST(CutArcs, EqualArcsAndCirclesCutNothing)
{
    using T = TypeParam;
    Segments<T> s;
    Arcs<T> a{{{0, 0}, {5, 0}, T(3)},
              {{0, 0}, {5, 0}, T(3)},
              {{9, 0}, {8, 0}, kTwoPi<T>},
              {{9, 0}, {8, 0}, kTwoPi<T>}};
    const Arcs<T> before = a;
    EXPECT_FALSE(CutAtIntersections(s, a, kTolerance<T>));
    EXPECT_TRUE(SameBits(a, before));
}

TYPED_TEST(CutArcs, CrossingAtTheSeamOfACircleCutsOnlyTheOther)
{
    using T = TypeParam;
    Segments<T> s{{{4, -1}, {6, 1}}};
    Arcs<T> a{{{0, 0}, {5, 0}, T(10) * kPi<T>}};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    EXPECT_EQ(s.size(), 2U);
    EXPECT_EQ(s[0].end, a[0].start);
    // The line x - y = 5 leaves the circle at (5, 0) and (0, -5); the segment ends before the
    // latter.
    EXPECT_EQ(a.size(), 1U);
}

TYPED_TEST(CutArcs, TangentLineAndCirclesCutOnce)
{
    using T = TypeParam;
    Segments<T> s{{{-3, 2}, {4, 2}}};
    Arcs<T> a{{{0, 0}, {0, -2}, T(4) * kPi<T>},   // the line touches its top
              {{5, 0}, {8, 0}, T(6) * kPi<T>},    // externally tangent at (2, 0)
              {{-1, 0}, {-1, 1}, T(2) * kPi<T>}}; // internally tangent at (-2, 0)
    // The line also meets the circle about (5, 0) of radius 3 at x = 5 - sqrt(5) = 2.76.
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(s.size(), 3U);
    EXPECT_LT(Distance(Vec2d(s[0].end), Vec2d(0, 2)), kClose<T>);
    ASSERT_EQ(a.size(), 4U + 3U + 2U);
    // Counter-clockwise from the bottom: right, top, left.
    EXPECT_LT(Distance(Vec2d(a[1].start), Vec2d(2, 0)), kClose<T>);
    EXPECT_EQ(a[2].start, s[0].end);
    EXPECT_LT(Distance(Vec2d(a[3].start), Vec2d(-2, 0)), kClose<T>);
    EXPECT_EQ(a[8].start, a[3].start);
}

TYPED_TEST(CutArcs, SmoothJointIsNotCut)
{
    using T = TypeParam;
    // A slot in any position: two lines that run into half circles tangentially, up to rounding.
    // Near the joints line and circle stay within the tolerance of each other for long.
    Support::Random random(3);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        const double turn = random.Between(0, 7);
        const double radius = std::pow(10, random.Between(-2, 2));
        const Vec2d along(std::cos(turn), std::sin(turn));
        const Vec2d left(-along.y(), along.x());
        const Vec2d c0 = random.Vector<2, double>(-10, 10);
        const Vec2d c1 = c0 + along * random.Between(0.5, 20);
        Segments<T> s{{VecBase<2, T>(c0 - radius * left), VecBase<2, T>(c1 - radius * left)},
                      {VecBase<2, T>(c1 + radius * left), VecBase<2, T>(c0 + radius * left)}};
        Arcs<T> a{{VecBase<2, T>(c1), s[0].end, static_cast<T>(kPi<double> * radius)},
                  {VecBase<2, T>(c0), s[1].end, static_cast<T>(kPi<double> * radius)}};
        // In float the ends of the arcs miss those of the lines by several roundings of radius and
        // place.
        const T tolerance = std::is_same_v<T, float> ? T(2e-4) : T(1e-12);
        const Segments<T> segmentsBefore = s;
        EXPECT_FALSE(CutAtIntersections(s, a, tolerance));
        EXPECT_TRUE(SameBits(s, segmentsBefore));
        EXPECT_EQ(a.size(), 2U);
    }
}

TEST(CutArcsAtShallowAngles, NearlyTangentJointIsNotCutBesideItself)
{
    // Directions good to seven digits only: the line passes into the circle by up to 1e-14 over
    // 1e-7.
    for (const double error : {-1e-7, -1e-9, 1e-9, 1e-7}) {
        Segments<double> s{{{-4, -1 - 4 * error}, {0, -1}}};
        Arcs<double> a{{{0, 0}, {0, -1}, 2}};
        EXPECT_FALSE(CutAtIntersections(s, a, 1e-12)) << error;
        // The same joint, from the other end of the line, with the arc running back along it.
        Segments<double> t{{{4, -1 + 4 * error}, {0, -1}}};
        EXPECT_FALSE(CutAtIntersections(t, a, 1e-12)) << error;
    }
}

TEST(CutArcsAtShallowAngles, AnEndOnTheCircleStandsForTheCrossingBesideIt)
{
    // The segment starts 0.9 tolerances inside the circle and leaves it at an angle of 1e-4: the
    // circle is crossed only 9e-9 farther on. That is the same meeting as the end.
    const double angle = 1e-4;
    const Vec2d start(0, -1 + 9e-13);
    Segments<double> s{{start, start + Vec2d(std::cos(angle), -std::sin(angle))}};
    Arcs<double> a{{{0, 0}, {0, 1}, kTwoPi<double>}};
    EXPECT_TRUE(CutAtIntersections(s, a, 1e-12));
    EXPECT_EQ(s.size(), 1U);
    ASSERT_EQ(a.size(), 2U);
    EXPECT_EQ(a[1].start, start);
    // Half a tolerance would not reach the end: then it is a crossing like any other.
    Arcs<double> b{{{0, 0}, {0, 1}, kTwoPi<double>}};
    EXPECT_TRUE(CutAtIntersections(s, b, 5e-13));
    EXPECT_EQ(s.size(), 2U);
    ASSERT_EQ(b.size(), 2U);
    EXPECT_NEAR(b[1].start.x(), 9e-9, 1e-11);
}

TEST(CutArcsAtShallowAngles, TwoCirclesThatShareAnEndAreNotCutBesideIt)
{
    // Arcs of radius 2 and 1 start together near (1, 0), the smaller 0.9 tolerances inside the
    // larger circle and turned by 1e-4 against it. Downwards its height over the larger circle at
    // the distance x is 1e-4 x - x^2 / 4 - 9e-13: a crossing at 9e-9, which is the common end, and
    // one at 4e-4, which is not. Upwards there is none.
    const double turn = 1e-4;
    const Vec2d joint(1 - 9e-13, 0);
    const Vec2d center = joint - Vec2d(std::cos(turn), std::sin(turn));
    Segments<double> none;
    Arcs<double> upwards{{{-1, 0}, {1, 0}, 1}, {center, joint, 1}};
    EXPECT_FALSE(CutAtIntersections(none, upwards, 1e-12));
    Arcs<double> downwards{{{-1, 0}, {1, 0}, -1}, {center, joint, -1}};
    EXPECT_TRUE(CutAtIntersections(none, downwards, 1e-12));
    ASSERT_EQ(downwards.size(), 4U);
    EXPECT_NEAR(downwards[0].length, -4e-4, 1e-7);
    EXPECT_NEAR(downwards[2].length, -4e-4, 1e-7);
    EXPECT_EQ(downwards[3].start, downwards[1].start);
}

TYPED_TEST(CutArcs, ArcEndOnASegmentAndSegmentEndOnAnArc)
{
    using T = TypeParam;
    Segments<T> s{{{-4, 0}, {4, 0}}, {{0, 2}, {0, 5}}};
    Arcs<T> a{{{0, 0}, {2, 0}, T(2) * kPi<T>}};
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(s.size(), 4U);
    ASSERT_EQ(a.size(), 2U);
    EXPECT_LT(Distance(Vec2d(s[0].end), Vec2d(-2, 0)), kClose<T>);
    EXPECT_EQ(s[1].end, (VecBase<2, T>{2, 0}));   // the arc's start, bit for bit
    EXPECT_EQ(a[1].start, (VecBase<2, T>{0, 2})); // the segment's
}

TEST(CutArcsOfDifferentSize, CrossingsLieOnBothCircles)
{
    // A circle of radius about 1 and an arc of a much larger one right through it. From the center
    // of the large one a crossing would come out with the rounding of its radius times the ratio of
    // the two. The crossings of the small circle, in long double, tell how far off a cut is.
    Support::Random random(41);
    for (int trial = 0; trial < 2000; ++trial) {
        SCOPED_TRACE(trial);
        const double radius = random.Between(0.5, 3);
        const double large = std::pow(10.0, random.Between(2, 6));
        const Vec2d center = random.Vector<2, double>(-5, 5);
        const double angle = random.Between(0, 7);
        const Vec2d out(std::cos(angle), std::sin(angle));
        const Vec2d far = center + out * (large + radius * random.Between(-0.9, 0.9));
        const double half = 10 / large;
        Segments<double> none;
        Arcs<double> a{ArcAt<double>(far, large, angle + kPi<double> - half, 2 * half),
                       ArcAt<double>(center, radius, angle, kTwoPi<double>)};
        const Arcs<double> before = a;
        ASSERT_TRUE(CutAtIntersections(none, a, 1e-12));
        ASSERT_EQ(a.size(), 6U);
        for (const std::size_t cut :
             {std::size_t{1}, std::size_t{2}, std::size_t{4}, std::size_t{5}}) {
            for (const ArcBase<double>& arc : before) {
                const auto apart = [](const Vec2d& p, const Vec2d& q) {
                    return std::hypot(static_cast<long double>(p.x()) - q.x(),
                                      static_cast<long double>(p.y()) - q.y());
                };
                const long double off =
                    std::fabs(apart(a[cut].start, arc.center) - apart(arc.start, arc.center));
                EXPECT_LT(off, 2e-15 * large);
            }
        }
    }
}

TEST(CutArcsOfDifferentSize, ArcsThatEndShortOfEachOtherAreNotCut)
{
    // Met by chance: the large arc ends 6e-8 from the start of the small one, 60 tolerances, and
    // their circles cross beyond that end. Computed from the large center the crossing seemed to
    // lie on both arcs.
    Segments<double> none;
    Arcs<double> a{{{-79979.681512501411, -160847.67674422328}, {1000, -500}, 1118.2598538961329},
                   {{2.8031580498852922, 0.94223584807576899}, {0.25, 1}, 0.37231647245861632}};
    EXPECT_FALSE(CutAtIntersections(none, a, 1e-9));
    EXPECT_EQ(a.size(), 2U);
}

TEST(CutArcsNearTheLimit, FloatArcsThatEndBeyondTheirTypeAreLeftAlone)
{
    // The first arc begins within the range of float and ends beyond: its end is not finite, and
    // the third segment, which crosses it near its start, is not cut by it.
    const float most = std::numeric_limits<float>::max();
    Segments<float> s{{{-4, 0}, {4, 0}},
                      {{0, -4}, {0, 4}},
                      {{0.94F * most, 0.4F * most}, {0.94F * most, 0.6F * most}}};
    Arcs<float> a{{{0.9F * most, 0}, {0.9F * most, 0.5F * most}, -0.7F * most},
                  {{0, 0}, {2, 0}, 12}};
    const Arcs<float> before = a;
    EXPECT_TRUE(CutAtIntersections(s, a, 1e-8F));
    EXPECT_TRUE(SameBits(Arcs<float>{a[0]}, Arcs<float>{before[0]}));
    EXPECT_EQ(s.size(), 9U); // both lines at each other and twice at the circle
    EXPECT_EQ(a.size(), 5U);
    Support::Random random(43);
    for (int trial = 0; trial < 500; ++trial) {
        Segments<float> t;
        Arcs<float> b;
        for (int i = 0; i < 40; ++i) {
            const auto any = [&] { return static_cast<float>(random.Between(-1, 1) * most); };
            t.push_back({{any(), any()}, {any(), any()}});
            b.push_back({{any(), any()}, {any(), any()}, any()});
        }
        const std::size_t count = t.size() + b.size();
        const bool cut = CutAtIntersections(t, b, 1e-8F);
        EXPECT_EQ(cut, t.size() + b.size() > count);
    }
}

TYPED_TEST(CutArcs, TinyArcsThatEndWhereTheyStartAreNeverCut)
{
    using T = TypeParam;
    // A radius of 5e-13 is below the floor at which an arc has an angle: its end is its start.
    Segments<T> s{{{0, T(-1)}, {0, T(1)}}};
    Arcs<T> a{{{T(1e-13), 0}, {T(6e-13), 0}, T(3e-12)}};
    const Arcs<T> before = a;
    CutAtIntersections(s, a, T(0));
    EXPECT_TRUE(SameBits(a, before));
}

TYPED_TEST(CutArcs, DegenerateAndNonFiniteArcsAreLeftAlone)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    Segments<T> s{{{-4, 0}, {4, 0}}};
    Arcs<T> a{{{0, 0}, {0, 0}, 3}, // radius 0: the point (0, 0), which cuts the segment
              {{0, 1}, {1, 1}, 0}, // length 0
              {{nan, 0}, {1, 0}, 3}, {{0, 0}, {1, nan}, 3},   {{0, 0}, {1, 0}, nan},
              {{0, 0}, {1, 0}, inf}, {{inf, 0}, {inf, 1}, 3}, {{0, 0}, {-inf, 0}, 3}};
    const Arcs<T> before = a;
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    EXPECT_TRUE(SameBits(a, before));
    EXPECT_EQ(s, (Segments<T>{{{-4, 0}, {0, 0}}, {{0, 0}, {4, 0}}}));
}

TYPED_TEST(CutArcs, MoreThanAWholeTurnIsCutOnItsFirst)
{
    using T = TypeParam;
    Segments<T> s{{{0, 0}, {0, 4}}};
    Arcs<T> a{{{0, 0}, {2, 0}, T(12) * kPi<T>}}; // three turns
    EXPECT_TRUE(CutAtIntersections(s, a, kTolerance<T>));
    ASSERT_EQ(a.size(), 2U);
    EXPECT_NEAR(a[0].length, kPi<double>, kClose<T>);
    EXPECT_NEAR(a[1].length, 11 * kPi<double>, 2 * kClose<T>);
}

TYPED_TEST(CutArcs, BothFormsAgreeWithoutArcs)
{
    using T = TypeParam;
    Support::Random random(8);
    Segments<T> s;
    for (int i = 0; i < 200; ++i) {
        s.push_back({random.Vector<2, T>(-1, 1), random.Vector<2, T>(-1, 1)});
    }
    Segments<T> t = s;
    Arcs<T> none;
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    EXPECT_TRUE(CutAtIntersections(t, none, kTolerance<T>));
    EXPECT_TRUE(SameBits(s, t));
}

// --- arcs, against plain formulas
// -----------------------------------------------------------------

/// A segment or an arc of the twin.
struct Curve {
    bool isArc;
    Vec2d start, end;
    Vec2d center;
    double radius, sweep;

    /// Fraction of the curve at a point that lies on its line or circle.
    double FractionOf(const Vec2d& p) const
    {
        if (!isArc) {
            return ((p - start) * (end - start)) / ((end - start) * (end - start));
        }
        const Vec2d a = start - center;
        const Vec2d b = p - center;
        double angle = std::atan2(a ^ b, a * b) * (sweep < 0 ? -1 : 1);
        angle = angle < 0 ? angle + kTwoPi<double> : angle;
        return angle / std::fabs(sweep);
    }
};

/// Crossings of two carriers, lines or circles, by the textbook formulas. `clear` becomes false
/// when they come so near to tangency that the twin would not like to decide.
std::vector<Vec2d> CarrierCrossings(const Curve& a, const Curve& b, bool& clear)
{
    constexpr double kMargin = 1e-4;
    if (!a.isArc && !b.isArc) {
        const Vec2d d = a.end - a.start;
        const Vec2d e = b.end - b.start;
        clear = clear && std::fabs(d ^ e) > kMargin;
        return {a.start + d * (((b.start - a.start) ^ e) / (d ^ e))};
    }
    if (a.isArc != b.isArc) {
        const Curve& line = a.isArc ? b : a;
        const Curve& circle = a.isArc ? a : b;
        const Vec2d d = line.end - line.start;
        const Vec2d f = line.start - circle.center;
        const double qa = d * d;
        const double qb = 2 * (f * d);
        const double qc = f * f - circle.radius * circle.radius;
        const double discriminant = qb * qb - 4 * qa * qc;
        clear = clear && std::fabs(discriminant) > kMargin;
        if (discriminant < 0) {
            return {};
        }
        const double root = std::sqrt(discriminant);
        return {line.start + d * ((-qb - root) / (2 * qa)),
                line.start + d * ((-qb + root) / (2 * qa))};
    }
    const double distance = Length(b.center - a.center);
    const double angle = (a.radius * a.radius + distance * distance - b.radius * b.radius) /
                         (2 * a.radius * distance); // cosine at the first center
    clear = clear && std::fabs(std::fabs(angle) - 1) > kMargin && distance > kMargin;
    if (std::fabs(angle) > 1) {
        return {};
    }
    const double base = std::atan2((b.center - a.center).y(), (b.center - a.center).x());
    const double half = std::acos(angle);
    const auto at = [&](double t) { return a.center + a.radius * Vec2d(std::cos(t), std::sin(t)); };
    return {at(base - half), at(base + half)};
}

TYPED_TEST(CutArcs, MatchesPlainFormulasOnRandomSets)
{
    using T = TypeParam;
    Support::Random random(99);
    int examined = 0;
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        SCOPED_TRACE(trial);
        Segments<T> s;
        Arcs<T> a;
        std::vector<Curve> curves;
        const int segmentCount = random.Below(5);
        const int arcCount = 1 + random.Below(5);
        for (int i = 0; i < segmentCount; ++i) {
            s.push_back({random.Vector<2, T>(-3, 3), random.Vector<2, T>(-3, 3)});
            curves.push_back({false, Vec2d(s.back().start), Vec2d(s.back().end), {}, 0, 0});
        }
        for (int i = 0; i < arcCount; ++i) {
            const double full = random.Below(4) == 0 ? kTwoPi<double> : random.Between(0.1, 6);
            const double sweep = random.Below(2) == 0 ? full : -full;
            a.push_back(ArcAt<T>(random.Vector<2, double>(-2, 2), random.Between(0.2, 3),
                                 random.Between(0, 7), sweep));
            const Vec2d center(a.back().center);
            const Vec2d start(a.back().start);
            const double radius = Length(start - center);
            curves.push_back({true, start, ArcPoint(a.back(), 1), center, radius,
                              static_cast<double>(a.back().length) / radius});
        }
        bool clear = true;
        std::vector<std::vector<double>> fractions(curves.size());
        for (std::size_t i = 0; i < curves.size(); ++i) {
            for (std::size_t j = i + 1; j < curves.size(); ++j) {
                for (const Vec2d& p : CarrierCrossings(curves[i], curves[j], clear)) {
                    const double f = curves[i].FractionOf(p);
                    const double g = curves[j].FractionOf(p);
                    for (const double x : {f, g}) {
                        clear = clear && std::fabs(x) > 1e-4 && std::fabs(x - 1) > 1e-4;
                    }
                    if (f > 0 && f < 1 && g > 0 && g < 1) {
                        fractions[i].push_back(f);
                        fractions[j].push_back(g);
                    }
                }
            }
        }
        for (auto& list : fractions) {
            std::sort(list.begin(), list.end());
            for (std::size_t k = 1; k < list.size(); ++k) {
                clear = clear && list[k] - list[k - 1] > 1e-4;
            }
        }
        if (!clear) {
            continue;
        }
        ++examined;
        const Segments<T> segmentsBefore = s;
        const Arcs<T> arcsBefore = a;
        const bool cut = CutAtIntersections(s, a, kTolerance<T>);
        std::size_t pieces = 0;
        const double close = std::is_same_v<T, float> ? 1e-3 : 1e-10; // crossings as flat as 1e-2
        for (std::size_t i = 0, next = 0; i < segmentsBefore.size(); ++i) {
            for (const double f : fractions[i]) {
                ASSERT_LT(next + 1, s.size());
                const Vec2d expected = curves[i].start + f * (curves[i].end - curves[i].start);
                EXPECT_LT(Distance(Vec2d(s[next].end), expected), close);
                EXPECT_EQ(s[next].end, s[next + 1].start);
                ++next;
                ++pieces;
            }
            ++next;
        }
        std::size_t next = 0;
        for (std::size_t i = 0; i < arcsBefore.size(); ++i) {
            const std::vector<double>& list = fractions[segmentsBefore.size() + i];
            T sum = 0;
            EXPECT_EQ(a[next].start, arcsBefore[i].start);
            for (const double f : list) {
                ASSERT_LT(next + 1, a.size());
                EXPECT_LT(Distance(Vec2d(a[next + 1].start), ArcPoint(arcsBefore[i], f)), close);
                EXPECT_EQ(a[next].center, arcsBefore[i].center);
                EXPECT_LT(Distance(ArcPoint(a[next], 1), Vec2d(a[next + 1].start)), kClose<T>);
                sum += a[next].length;
                ++next;
                ++pieces;
            }
            sum += a[next].length;
            EXPECT_LT(Distance(ArcPoint(a[next], 1), ArcPoint(arcsBefore[i], 1)), 2 * kClose<T>);
            EXPECT_NEAR(sum, arcsBefore[i].length,
                        2 * std::fabs(sum) * std::numeric_limits<T>::epsilon());
            ++next;
        }
        ASSERT_EQ(next, a.size());
        EXPECT_EQ(s.size() + a.size(), segmentsBefore.size() + arcsBefore.size() + pieces);
        EXPECT_EQ(cut, pieces > 0);
        // Every crossing has the same bits on both: each cut point occurs on two elements at least.
        Segments<T> segmentsAgain = s;
        Arcs<T> arcsAgain = a;
        EXPECT_FALSE(CutAtIntersections(segmentsAgain, arcsAgain, kTolerance<T>));
        EXPECT_TRUE(SameBits(segmentsAgain, s));
        EXPECT_TRUE(SameBits(arcsAgain, a));
    }
    EXPECT_GT(examined, Support::Rounds(1000, 1));
}

TEST(CutManyArcs, GiantArcAmongTinySegments)
{
    // 2000 ticks across an arc of radius 1e5 over a stretch of 2000, one per unit of arc length.
    Segments<double> s;
    const double radius = 1e5;
    for (int i = 0; i < 2000; ++i) {
        const double angle = (i + 0.5) / radius;
        const Vec2d unit(std::cos(angle), std::sin(angle));
        s.push_back({(radius - 0.1) * unit, (radius + 0.1) * unit});
    }
    Arcs<double> a{{{0, 0}, {radius, 0}, 3 * radius}};
    EXPECT_TRUE(CutAtIntersections(s, a, 1e-12));
    EXPECT_EQ(s.size(), 4000U);
    ASSERT_EQ(a.size(), 2001U);
    for (std::size_t i = 1; i + 1 < a.size(); ++i) {
        EXPECT_NEAR(a[i].length, 1, 1e-7);
    }
}

TEST(CutManyArcs, CirclesOnALatticeShareTheirCommonPoints)
{
    // Unit circles about the points of a lattice of step 1: each passes its neighbors' centers'
    // sides, four tangent circles at distance 2 and many crossings where several circles meet in
    // one point.
    Segments<double> s;
    Arcs<double> a;
    const int side = 5;
    for (int x = 0; x < side; ++x) {
        for (int y = 0; y < side; ++y) {
            a.push_back({{x, y}, {x + std::cos(0.3), y + std::sin(0.3)}, kTwoPi<double>});
        }
    }
    ASSERT_TRUE(CutAtIntersections(s, a, 1e-12));
    for (const auto& first : a) {
        for (const auto& second : a) {
            const double distance = Distance(first.start, second.start);
            EXPECT_TRUE(distance == 0 || distance > 0.01);
        }
    }
    // By symmetry a full inner circle has the points (+-1, 0), (0, +-1) [lattice points, where up
    // to four circles meet], (+-1/2, +-sqrt(3)/2) and (+-sqrt(3)/2, +-1/2): 12 cuts and the seam,
    // 13 pieces. The seams of the others do not lie on it.
    std::size_t inner = 0;
    for (const auto& piece : a) {
        inner += piece.center == Vec2d(2, 2) ? 1 : 0;
    }
    EXPECT_EQ(inner, 13U);
    Arcs<double> again = a;
    EXPECT_FALSE(CutAtIntersections(s, again, 1e-12));
}

} // namespace
