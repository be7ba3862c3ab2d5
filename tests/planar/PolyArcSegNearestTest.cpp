// Nearest points of chains, their normals, and the side of a chain.

#include <Sorvane/PolyArcSeg_E.h>

#include "tests/planar/ChainSupport.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class ChainNearest : public testing::Test {
public:
    using Point = VecBase<2, T>;
    static constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
    static constexpr T kMax = std::numeric_limits<T>::max();

    static void ExpectNear(const Point& actual, double x, double y)
    {
        EXPECT_NEAR(actual[0], x, kNear<T>);
        EXPECT_NEAR(actual[1], y, kNear<T>);
    }

    static bool InSpace(const PolyArcSegBase<T>& chain, const Point& p, bool right)
    {
        return PointInPolyArcSegSpace<T>(chain, p, right, nullptr);
    }
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainNearest, Coordinates);

template <class T>
PolyArcSegBase<T> Alone(const ArcSegBase<T>& element)
{
    PolyArcSegBase<T> chain;
    chain.elements = {element};
    return chain;
}

/// The chain, and back along itself: closed, with cusps at both its ends.
template <class T>
PolyArcSegBase<T> ThereAndBack(PolyArcSegBase<T> chain)
{
    for (std::size_t i = chain.elements.size(); i-- > 0;) {
        ArcSegBase<T> element = chain.elements[i];
        element.Reverse();
        chain.elements.push_back(element);
    }
    return chain;
}

template <class T>
void Shift(PolyArcSegBase<T>& chain, const VecBase<2, T>& by)
{
    for (auto& element : chain.elements) {
        if (auto* segment = element.AsSegment()) {
            segment->start += by;
            segment->end += by;
        } else {
            element.AsArc()->center += by;
            element.AsArc()->start += by;
        }
    }
}

/// Points whose nearest points are ties, corners, or near to one: random ones, ends, centers, and
/// points of the elements and of their axes.
template <class T>
std::vector<VecBase<2, T>> TellingPoints(Random& random, const PolyArcSegBase<T>& chain)
{
    std::vector<VecBase<2, T>> points;
    for (const auto& element : chain.elements) {
        points.push_back(element.StartPoint() + random.Vector<2, T>(-4, 4));
        points.push_back(element.StartPoint());
        points.push_back(element.EndPoint());
        points.emplace_back(PointOf(element, random.Unit()));
        if (const auto* arc = element.AsArc()) {
            points.push_back(arc->center);
            for (const double radii : {-9.0, -2.0, -0.5, -1e-7, 1e-7, 0.5, 2.0, 9.0}) {
                const Vec2d center(arc->center[0], arc->center[1]);
                points.emplace_back(center + (PointOf(element, 0.5) - center) * radii);
            }
        }
    }
    return points;
}

// --- nearest points -----------------------------------------------------------------------------

TYPED_TEST(ChainNearest, ASegmentWithAnEndThatIsNoNumberHasNoPoint)
{
    using T = TypeParam;
    const T nan = TestFixture::kNaN;
    PolyArcSegBase<T> chain;
    chain.elements = {SegBase<T>{{0, 0}, {1, 0}}, SegBase<T>{{5, 0}, {nan, 0}},
                      SegBase<T>{{7, nan}, {7, 1}}};
    this->ExpectNear(ClosestPointOnPolyArcSeg<T>(chain, {5, 1}), 1, 0);
    this->ExpectNear(ClosestPointOnPolyArcSeg<T>(chain, {7, 2}), 1, 0);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(chain, {5, 0}, T{1}), T{-1});
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(chain, {T(0.5), 0}, T(1e-6)), T(0.5));
}

TYPED_TEST(ChainNearest, AgreesWithDenseSampling)
{
    using T = TypeParam;
    const double step = 0.01;
    Random random(31);
    for (int trial = 0; trial < 30; ++trial) {
        SCOPED_TRACE(trial);
        const auto chain = RandomChain<T>(random, 1 + random.Below(12));
        const auto samples = Samples(chain, step);
        for (int i = 0; i < 40; ++i) {
            const auto p = random.Vector<2, T>(-8, 8);
            const auto q = ClosestPointOnPolyArcSeg(chain, p);
            const Vec2d at(p[0], p[1]);
            const double distance = Vector::Length(Vec2d(q[0], q[1]) - at);
            const double sampled = DistanceToPoints(at, samples);
            EXPECT_LE(distance, sampled + kNear<T>);
            // A sample is no farther than half a step from the nearest point.
            EXPECT_LE(sampled, distance + step / 2 + kNear<T>);
            EXPECT_LE(DistanceToPoints(Vec2d(q[0], q[1]), samples), step / 2 + kNear<T>);
        }
    }
}

TYPED_TEST(ChainNearest, EarliestOfEquallyNearElementsWins)
{
    using T = TypeParam;
    // Between two parallel legs of the hairpin the lower, earlier one; its end caps the rest.
    const auto hairpin = Hairpin<T>();
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(hairpin, {2, 1}), (VecBase<2, T>(2, 0)));
    auto back = hairpin;
    std::swap(back.elements[0], back.elements[2]);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(back, {2, 1}), (VecBase<2, T>(2, 2)));
    // The normal tells which of two coincident segments it was.
    PolyArcSegBase<T> there = Lines<T>({{0, 0}, {4, 0}, {0, 0}});
    EXPECT_EQ((ClosestPointAndNormalOnPolyArcSeg<T>(there, {2, 1}, true).second),
              (VecBase<2, T>(0, -1)));
}

TYPED_TEST(ChainNearest, FarElementsAreRuledOutWithoutChangingAnything)
{
    using T = TypeParam;
    // The same elements one by one: what the chain says is the best of them, the first on ties.
    // Each chain runs back to its start, so that every element has a twin as near up to rounding.
    Random random(32);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        auto chain = ThereAndBack(RandomChain<T>(random, 10));
        const auto shift = random.Vector<2, T>(-1, 1) * T(trial % 3 == 0 ? 1000 : 0);
        Shift(chain, shift);
        for (const auto& p : TellingPoints(random, chain)) {
            const ArcSegBase<T>* winner = nullptr;
            double least = std::numeric_limits<double>::infinity();
            for (const auto& element : chain.elements) {
                const auto q = ClosestPointOnPolyArcSeg(Alone(element), p);
                const double squared = Vector::SquaredLength(Vec2d(q[0], q[1]) - Vec2d(p[0], p[1]));
                if (squared < least) {
                    least = squared;
                    winner = &element;
                }
            }
            EXPECT_EQ(ClosestPointAndNormalOnPolyArcSeg(chain, p, true),
                      ClosestPointAndNormalOnPolyArcSeg(Alone(*winner), p, true))
                << p;
        }
    }
}

TYPED_TEST(ChainNearest, EndOfAnArcThatIsNearerByTheLastDigitIsTheNearest)
{
    using T = TypeParam;
    // Half circles seen from their axes and centers: neither end may beat the answer by anything.
    int ends = 0;
    int starts = 0;
    for (int i = 0; i < 40; ++i) {
        const T axis = T(2) + T(0.1) * static_cast<T>(i);
        const ArcSegBase<T> arc(Geometry::ArcBase<T>{
            {axis, 4}, {axis + T(1.5), 4}, T(-1.5) * static_cast<T>(kHalfTurn)});
        for (const T height : {std::nextafter(T(4), T(0)), T(4), T(4.125), T(5), T(7), T(100)}) {
            // Just off the center all of the arc is as near but for rounding.
            const T aside = height < T(4) ? std::nextafter(axis, T(0)) : axis;
            const VecBase<2, T> p(aside, height);
            const auto toSquare = [&](const VecBase<2, T>& q) {
                return Vector::SquaredLength(Vec2d(q[0], q[1]) - Vec2d(p[0], p[1]));
            };
            const auto q = ClosestPointOnPolyArcSeg(Alone(arc), p);
            EXPECT_LE(toSquare(q), toSquare(arc.StartPoint()));
            EXPECT_LE(toSquare(q), toSquare(arc.EndPoint()));
            ends += q == arc.EndPoint() ? 1 : 0;
            starts += q == arc.StartPoint() ? 1 : 0;
        }
    }
    EXPECT_GT(ends, 0);
    EXPECT_GT(starts, 0);
}

TYPED_TEST(ChainNearest, SegmentNoLongerThanTheFloorIsItsStart)
{
    using T = TypeParam;
    const T floor = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);
    const auto nearest = [](T length) {
        return ClosestPointOnPolyArcSeg<T>(Alone<T>(Geometry::SegBase<T>{{0, 0}, {length, 0}}),
                                           {5, 0});
    };
    EXPECT_EQ(nearest(floor / 2), (VecBase<2, T>()));
    EXPECT_EQ(nearest(floor * 2), (VecBase<2, T>(floor * 2, 0)));
}

TYPED_TEST(ChainNearest, NoNearestPoint)
{
    using T = TypeParam;
    const VecBase<2, T> none(-TestFixture::kMax, -TestFixture::kMax);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(PolyArcSegBase<T>(), {1, 1}), none);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(Square<T>(), {TestFixture::kNaN, 1}), none);
    const auto [point, normal] =
        ClosestPointAndNormalOnPolyArcSeg<T>(PolyArcSegBase<T>(), {1, 1}, true);
    EXPECT_EQ(point, none);
    EXPECT_EQ(normal, (VecBase<2, T>()));

    auto broken = Square<T>();
    broken.elements[0].AsSegment()->end = {TestFixture::kNaN, 0};
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(broken, {3, 1}), (VecBase<2, T>(2, 1)));
}

// --- normals ------------------------------------------------------------------------------------

TYPED_TEST(ChainNearest, NormalIsRightOfTravelOrLeft)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const auto right = ClosestPointAndNormalOnPolyArcSeg<T>(square, {1, T(0.5)}, true);
    EXPECT_EQ(right.first, (VecBase<2, T>(1, 0)));
    EXPECT_EQ(right.second, (VecBase<2, T>(0, -1)));
    const auto left = ClosestPointAndNormalOnPolyArcSeg<T>(square, {1, T(0.5)}, false);
    EXPECT_EQ(left.second, (VecBase<2, T>(0, 1)));
}

TYPED_TEST(ChainNearest, NormalOfAnArcIsOutwardWhenCounterClockwise)
{
    using T = TypeParam;
    for (const T height : {T(1), T(5)}) { // inside and outside
        const auto left = ClosestPointAndNormalOnPolyArcSeg<T>(Circle<T>(2, 1), {0, height}, true);
        this->ExpectNear(left.first, 0, 2);
        this->ExpectNear(left.second, 0, 1);
        const auto right =
            ClosestPointAndNormalOnPolyArcSeg<T>(Circle<T>(2, -1), {0, height}, true);
        this->ExpectNear(right.second, 0, -1);
        const auto negated =
            ClosestPointAndNormalOnPolyArcSeg<T>(Circle<T>(2, -1), {0, height}, false);
        this->ExpectNear(negated.second, 0, 1);
    }
}

TYPED_TEST(ChainNearest, NormalIsPerpendicularToTravelEverywhere)
{
    using T = TypeParam;
    Random random(33);
    for (int trial = 0; trial < 40; ++trial) {
        const auto chain = RandomChain<T>(random, 1);
        const auto& element = chain.elements[0];
        for (int i = 1; i < 10; ++i) {
            const double h = 1e-4;
            const Vec2d at = PointOf(element, 0.1 * i);
            const Vec2d ahead = PointOf(element, 0.1 * i + h) - PointOf(element, 0.1 * i - h);
            const Vec2d expected = Vec2d(ahead[1], -ahead[0]) / Vector::Length(ahead);
            const auto normal =
                ClosestPointAndNormalOnPolyArcSeg(chain, VecBase<2, T>(at), true).second;
            EXPECT_NEAR(normal[0], expected[0], 1e-4);
            EXPECT_NEAR(normal[1], expected[1], 1e-4);
        }
    }
}

TYPED_TEST(ChainNearest, NoNormalWithoutDirection)
{
    using T = TypeParam;
    PolyArcSegBase<T> point;
    point.AppendSegment({1, 1}, {1, 1});
    EXPECT_EQ((ClosestPointAndNormalOnPolyArcSeg<T>(point, {3, 3}, true).second),
              (VecBase<2, T>()));
    PolyArcSegBase<T> dot; // its points are its center
    dot.AppendArc({1, 1}, {1, 1}, 1);
    EXPECT_EQ((ClosestPointAndNormalOnPolyArcSeg<T>(dot, {3, 3}, true).second), (VecBase<2, T>()));
    EXPECT_TRUE(this->InSpace(point, {3, 3}, true));
    EXPECT_TRUE(this->InSpace(dot, {3, 3}, false));
}

// --- sides --------------------------------------------------------------------------------------

TYPED_TEST(ChainNearest, SideAgreesWithTheWindingOfTheTessellation)
{
    using T = TypeParam;
    const T tol = T(1e-4);
    Random random(34);
    int inside = 0;
    int corners = 0;
    for (int trial = 0; trial < 120; ++trial) {
        SCOPED_TRACE(trial);
        const int sense = trial % 2 == 0 ? 1 : -1;
        const auto outline = RandomOutline<T>(random, sense);
        ASSERT_TRUE(outline.IsClosed());
        const auto loop = Tessellate(outline, tol);
        for (int i = 0; i < 60; ++i) {
            const auto p = random.Vector<2, T>(-6, 6);
            const Vec2d at(p[0], p[1]);
            if (DistanceToPolyline(at, loop) < 10 * static_cast<double>(tol)) {
                continue;
            }
            const bool isLeft = IsInside(at, loop) == (sense > 0);
            VecBase<2, T> closest;
            EXPECT_EQ(PointInPolyArcSegSpace(outline, p, true, &closest), isLeft) << p;
            EXPECT_EQ(closest, ClosestPointOnPolyArcSeg(outline, p));
            EXPECT_EQ(this->InSpace(outline, p, false), !isLeft) << p;
            inside += isLeft ? 1 : 0;
            for (const auto& element : outline.elements) {
                corners += closest == element.StartPoint() ? 1 : 0;
            }
        }
    }
    EXPECT_GT(inside, 500);
    EXPECT_GT(corners, 500);
}

TYPED_TEST(ChainNearest, OutsideOfAClockwiseCircleIsItsLeft)
{
    const auto circle = Circle<TypeParam>(2, -1);
    EXPECT_TRUE(this->InSpace(circle, {3, 1}, true));
    EXPECT_TRUE(this->InSpace(circle, {-5, 0}, true));
    EXPECT_FALSE(this->InSpace(circle, {1, 1}, true));
    EXPECT_TRUE(this->InSpace(circle, {1, 1}, false));
    EXPECT_FALSE(this->InSpace(circle, {3, 1}, false));
}

TYPED_TEST(ChainNearest, PointsOnTheChainAreInBothSpaces)
{
    using T = TypeParam;
    const auto square = Square<T>();
    for (const auto& p : Tessellate(square, T(1))) {
        EXPECT_TRUE(this->InSpace(square, p, true));
        EXPECT_TRUE(this->InSpace(square, p, false));
    }
    for (const bool right : {true, false}) {
        EXPECT_TRUE(this->InSpace(square, {1, 0}, right));
        EXPECT_TRUE(this->InSpace(square, {2, T(0.7)}, right));
        EXPECT_TRUE(this->InSpace(Circle<T>(2, -1), {2, 0}, right));
        EXPECT_TRUE(this->InSpace(Hairpin<T>(), {4, 0}, right));
    }
}

TYPED_TEST(ChainNearest, CornersOfASquareSeeBothSides)
{
    using T = TypeParam;
    const auto square = Square<T>();
    // Straight out from a corner both sides' nearest points are the corner, the closing one too.
    for (const auto& p : {VecBase<2, T>(3, T(-0.1)), VecBase<2, T>(T(2.1), -3),
                          VecBase<2, T>(T(-0.1), -3), VecBase<2, T>(-3, T(-0.1))}) {
        EXPECT_FALSE(this->InSpace(square, p, true)) << p;
        EXPECT_TRUE(this->InSpace(square, p, false)) << p;
    }
}

TYPED_TEST(ChainNearest, SharpCornerIsJudgedByBothNormals)
{
    using T = TypeParam;
    // A spike to (10, 0) with material on its right. Beside the tip the line of one leg, extended,
    // would put the point on the wrong side: below the axis the first leg's, above it the second's.
    const auto spike = Lines<T>({{0, 1}, {10, 0}, {0, -1}});
    const auto backward = Lines<T>({{0, -1}, {10, 0}, {0, 1}});
    for (const T height : {T(0.5), T(-0.5), T(0)}) {
        const VecBase<2, T> p(11, height);
        EXPECT_TRUE(this->InSpace(spike, p, true)) << p;
        EXPECT_FALSE(this->InSpace(spike, p, false)) << p;
        EXPECT_FALSE(this->InSpace(backward, p, true)) << p;
        EXPECT_TRUE(this->InSpace(backward, p, false)) << p;
    }
}

/// The side, step by step, from the functions for nearest points and normals alone. `margin`: how
/// far `p` is from the line that decides.
template <class T>
bool SideByItsSteps(const PolyArcSegBase<T>& chain, const VecBase<2, T>& p, bool right,
                    double& margin)
{
    auto [q, n] = ClosestPointAndNormalOnPolyArcSeg(chain, p, right);
    const T floor = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);
    const std::size_t count = chain.elements.size();
    for (std::size_t i = 0; i < count; ++i) {
        const VecBase<2, T> gap = chain.elements[i].EndPoint() - q;
        if (std::fabs(gap[0]) <= floor && std::fabs(gap[1]) <= floor) {
            if (i + 1 < count || chain.IsClosed()) {
                n = ClosestPointAndNormalOnPolyArcSeg(Alone(chain.elements[i]), p, right).second;
                n += ClosestPointAndNormalOnPolyArcSeg(Alone(chain.elements[(i + 1) % count]), p,
                                                       right)
                         .second;
                const T length = std::hypot(n[0], n[1]);
                n = length > floor ? n / length : VecBase<2, T>();
            }
            break;
        }
    }
    const double s =
        (double(p[0]) - double(q[0])) * double(n[0]) + (double(p[1]) - double(q[1])) * double(n[1]);
    margin = std::fabs(s);
    return std::fabs(s) <= static_cast<double>(floor) || s < 0;
}

TYPED_TEST(ChainNearest, SideIsWhatItsStepsGive)
{
    using T = TypeParam;
    Random random(35);
    int compared = 0;
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const auto chain = trial % 2 == 0 ? RandomChain<T>(random, 1 + random.Below(8))
                                          : RandomOutline<T>(random, trial % 4 == 1 ? 1 : -1);
        for (const auto& p : TellingPoints(random, chain)) {
            for (const bool right : {true, false}) {
                double margin = 0;
                const bool expected = SideByItsSteps(chain, p, right, margin);
                // Closer than that the rounding of the normals to T decides.
                if (margin > 10 * kNear<T> || margin == 0) {
                    EXPECT_EQ(this->InSpace(chain, p, right), expected) << p << ' ' << margin;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 1000);
}

TYPED_TEST(ChainNearest, CornerTakesTheOtherEndOfAnArcWhenThatIsExactlyAsNear)
{
    using T = TypeParam;
    // A half round notch in the upper edge y = 0, from the middle between its corners: they are as
    // far as each other to the last digit. The plate begins at the left one, which is taken; but
    // the notch alone answers with its start, at the right, and its normal there points to -x.
    // Together with the edge's, to +y, that turns the answer round.
    PolyArcSegBase<T> plate;
    plate.tolerance = T(1e-5);
    const Geometry::ArcBase<T> notch{{0, 0}, {2, 0}, T(-2) * static_cast<T>(kHalfTurn)};
    const VecBase<2, T> left = Geometry::EndPoint(notch);
    ASSERT_TRUE(plate.AppendSegment(left, {-8, 0}));
    ASSERT_TRUE(plate.AppendSegment({-8, 0}, {-8, -8}));
    ASSERT_TRUE(plate.AppendSegment({-8, -8}, {8, -8}));
    ASSERT_TRUE(plate.AppendSegment({8, -8}, {8, 0}));
    ASSERT_TRUE(plate.AppendSegment({8, 0}, notch.start));
    ASSERT_TRUE(plate.AppendArc(notch.center, notch.start, notch.length));
    ASSERT_TRUE(plate.IsClosed());
    const VecBase<2, T> p(0, left[1] / 2);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(plate, p), left);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(Alone(plate.elements.back()), p), notch.start);
    EXPECT_TRUE(this->InSpace(plate, p, true));
    EXPECT_FALSE(this->InSpace(plate, p, false));
    // Begun at the notch instead, its own start comes first, and is judged by its own normal.
    std::rotate(plate.elements.begin(), plate.elements.end() - 1, plate.elements.end());
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(plate, p), notch.start);
    EXPECT_FALSE(this->InSpace(plate, p, true));
    EXPECT_TRUE(this->InSpace(plate, p, false));
}

TYPED_TEST(ChainNearest, CornerOfAnArcWhoseEndsAreEquallyNear)
{
    using T = TypeParam;
    // A plate with a half round notch in its upper edge; points on the notch's axis are as far from
    // one of its corners as from the other, whose normal would turn the answer round. Which of the
    // two is taken for the nearest is a matter of rounding, so the notch wanders.
    const T radius = T(1.5);
    for (int i = 0; i < 40; ++i) {
        const T axis = T(2) + T(0.1) * static_cast<T>(i);
        PolyArcSegBase<T> plate;
        plate.tolerance = T(1e-5);
        ASSERT_TRUE(plate.AppendSegment({0, 0}, {8, 0}));
        ASSERT_TRUE(plate.AppendSegment({8, 0}, {8, 4}));
        ASSERT_TRUE(plate.AppendSegment({8, 4}, {axis + radius, 4}));
        ASSERT_TRUE(plate.AppendArc({axis, 4}, End(plate), -radius * static_cast<T>(kHalfTurn)));
        ASSERT_TRUE(plate.AppendSegment(End(plate), {0, 4}));
        ASSERT_TRUE(plate.AppendSegment({0, 4}, {0, 0}));
        for (const T height : {T(4.125), T(4.5), T(5), T(7), T(100)}) {
            EXPECT_FALSE(this->InSpace(plate, {axis, height}, true)) << axis << ' ' << height;
            EXPECT_TRUE(this->InSpace(plate, {axis, height}, false)) << axis << ' ' << height;
        }
        EXPECT_TRUE(this->InSpace(plate, {axis, 1}, true));
    }
}

TYPED_TEST(ChainNearest, OpenChainHasNoCornerAtItsFarEnd)
{
    using T = TypeParam;
    // Beyond the end of the second leg, to its left and right; the first leg has no say.
    const auto bend = Lines<T>({{0, 0}, {4, 0}, {4, 4}});
    EXPECT_TRUE(this->InSpace(bend, {3, 6}, true));
    EXPECT_FALSE(this->InSpace(bend, {5, 6}, true));
    EXPECT_FALSE(this->InSpace(bend, {3, 6}, false));
    // Exactly ahead: on the line, in both.
    EXPECT_TRUE(this->InSpace(bend, {4, 6}, true));
    EXPECT_TRUE(this->InSpace(bend, {4, 6}, false));
    // Before the start.
    EXPECT_TRUE(this->InSpace(bend, {-1, 1}, true));
    EXPECT_FALSE(this->InSpace(bend, {-1, -1}, true));
}

// A crescent: out along an arc of radius 4 and back along one of radius 5 that has a common tangent
// with it at the tip, and along the axis. Which arc is the outer one decides what lies in front of
// the tip.
TYPED_TEST(ChainNearest, TipsOfCrescentsPointOutward)
{
    using T = TypeParam;
    for (const auto& place : {Vec2d(0, 0), Vec2d(1000, -500)}) {
        const auto at = [&](double x, double y) {
            return VecBase<2, T>(static_cast<T>(place.x() + x), static_cast<T>(place.y() + y));
        };
        const T quarter = static_cast<T>(kHalfTurn / 2);
        // The tip is the origin, its tangent the x axis; both arcs lie above it.
        PolyArcSegBase<T> crescent;
        crescent.tolerance = std::is_same_v<T, float> ? T(1e-2) : T(1e-9);
        crescent.AppendArc(at(0, 5), at(-5, 5), 5 * quarter); // the outer arc, to the tip
        crescent.AppendArc(at(0, 4), at(0, 0), -4 * quarter); // back along the inner one
        crescent.AppendSegment(at(-4, 4), at(-5, 5));
        ASSERT_TRUE(crescent.IsClosed());
        const auto reversed = TurnedRound(crescent);
        for (const auto& [x, y] : {std::pair(1.0, 0.0), {3.0, 1.0}, {0.5, -0.25}, {2.0, -2.0}}) {
            SCOPED_TRACE(testing::Message() << place.x() << ": " << x << ", " << y);
            EXPECT_FALSE(this->InSpace(crescent, at(x, y), true));
            EXPECT_TRUE(this->InSpace(crescent, at(x, y), false));
            EXPECT_TRUE(this->InSpace(reversed, at(x, y), true));
            EXPECT_FALSE(this->InSpace(reversed, at(x, y), false));
        }
        EXPECT_TRUE(this->InSpace(crescent, at(-4, 3.5), true)); // between the arcs
        EXPECT_TRUE(this->InSpace(crescent, at(0, 0), true));    // the tip itself
        EXPECT_TRUE(this->InSpace(crescent, at(0, 0), false));
    }
}

// A line to the tip and an arc back from it, which lies to the left of the line when it turns
// right: then the front of the tip is the right space. Beside the rounding of coordinates the line
// is so short that its direction is off by far more than that of the arc.
TYPED_TEST(ChainNearest, CuspOfAShortLineAndALongArcPointsOutward)
{
    using T = TypeParam;
    Random random(23);
    const Vec2d tip(1000, -500);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const double angle = random.Between(-kHalfTurn, kHalfTurn);
        const Vec2d along(std::cos(angle), std::sin(angle));
        const Vec2d left(-along.y(), along.x());
        const double sense = trial % 2 == 0 ? 1 : -1;
        PolyArcSegBase<T> cusp;
        cusp.elements = {Geometry::SegBase<T>{VecBase<2, T>(tip - along / 16), VecBase<2, T>(tip)},
                         Geometry::ArcBase<T>{VecBase<2, T>(tip + left * (5 * sense)),
                                              VecBase<2, T>(tip), static_cast<T>(-sense * 5)}};
        for (const double aside : {-0.3, 0.0, 0.3}) {
            const VecBase<2, T> p(tip + along * 2 + left * aside);
            EXPECT_EQ(this->InSpace(cusp, p, true), sense < 0) << p;
            EXPECT_EQ(this->InSpace(cusp, p, false), sense > 0) << p;
        }
    }
}

// The same as an arc there and one back whose tangents at the tip differ by less than the floor,
// and by more than rounding.
TEST(ChainNearestDouble, TangentsThatDifferByLessThanTheFloorAreACusp)
{
    const double tilt = 5e-13;
    PolyArcSegBase<double> crescent;
    crescent.tolerance = 1e-9;
    crescent.AppendArc({0, 5}, {-5, 5}, 2.5 * kHalfTurn);
    crescent.AppendArc({4 * std::sin(tilt), 4 * std::cos(tilt)}, {0, 0}, -2 * kHalfTurn);
    for (const Vec2d& p : {Vec2d(1, 0), Vec2d(3, 1), Vec2d(2, -2)}) {
        EXPECT_FALSE(PointInPolyArcSegSpace<double>(crescent, p, true, nullptr)) << p;
        EXPECT_TRUE(PointInPolyArcSegSpace<double>(crescent, p, false, nullptr)) << p;
    }
}

// There and back along one arc, whose radius comes out one digit less or more from its other end:
// neither way lies to a side of the other.
TYPED_TEST(ChainNearest, ArcThereAndBackIsInBothSpaces)
{
    using T = TypeParam;
    Random random(29);
    int unequal = 0;
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const auto center = random.Vector<2, T>(-3, 3);
        const Vec2d spoke = random.Vector<2, double>(1, 2);
        const double radius = std::hypot(spoke[0], spoke[1]);
        const Geometry::ArcBase<T> arc{center, VecBase<2, T>(Vec2d(center) + spoke),
                                       static_cast<T>((trial % 2 == 0 ? 1 : -1) * radius)};
        ArcSegBase<T> back = arc;
        back.Reverse();
        unequal += Geometry::Radius(*back.AsArc()) != Geometry::Radius(arc) ? 1 : 0;
        PolyArcSegBase<T> cusp;
        cusp.elements = {arc, back};
        const Vec2d tip(Geometry::EndPoint(arc));
        const Vec2d out = tip - Vec2d(center);
        const Vec2d ahead = Vec2d(-out.y(), out.x()) * (trial % 2 == 0 ? 1 : -1);
        const VecBase<2, T> p(tip + ahead * 0.5);
        EXPECT_TRUE(this->InSpace(cusp, p, true)) << p;
        EXPECT_TRUE(this->InSpace(cusp, p, false)) << p;
    }
    EXPECT_GT(unequal, 10);
}

// Two arcs with radii of nine units in the last place and a corner between them. Their directions
// are off by more than a radian for all that rounding tells, but the corner does not turn back.
TYPED_TEST(ChainNearest, CornerAsSmallAsRoundingIsNoCusp)
{
    using T = TypeParam;
    using Place = VecBase<2, T>;
    const Place corner(std::is_same_v<T, float> ? T(1024) : T(1048576), T(0));
    const T unit = std::nextafter(corner[0], T(2) * corner[0]) - corner[0];
    // The spokes to the corner, outward, are 81 degrees apart.
    const Place before = Place(7, -6) * unit;
    const Place after = Place(7, 6) * unit;
    const T quarter =
        static_cast<T>(kHalfTurn / 2 * std::hypot(double(before[0]), double(before[1])));
    PolyArcSegBase<T> bend;
    bend.elements = {
        Geometry::ArcBase<T>{corner - before, corner - before + Place(-6, -7) * unit, quarter},
        Geometry::ArcBase<T>{corner - after, corner, quarter}};
    const Place out = corner + Place(1, 0);
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(bend, out)[0], corner[0]);
    EXPECT_FALSE(this->InSpace(bend, out, true));
    EXPECT_TRUE(this->InSpace(bend, out, false));
    PolyArcSegBase<T> back = TurnedRound(bend);
    EXPECT_TRUE(this->InSpace(back, out, true));
    EXPECT_FALSE(this->InSpace(back, out, false));
}

TYPED_TEST(ChainNearest, CuspIsInBothSpaces)
{
    using T = TypeParam;
    const auto cusp = Lines<T>({{0, 0}, {4, 0}, {1, 0}});
    EXPECT_TRUE(this->InSpace(cusp, {6, 1}, true));
    EXPECT_TRUE(this->InSpace(cusp, {6, 1}, false));
}

TYPED_TEST(ChainNearest, WideJointIsNoCorner)
{
    using T = TypeParam;
    // The spike with its tip torn, by less than the chain's tolerance, and its legs crossed: above
    // the axis the start of the second leg is nearest, below it the end of the first leg. Both are
    // the one corner: the spike runs clockwise, and what lies beyond its tip is on its left.
    PolyArcSegBase<T> torn;
    torn.tolerance = T(0.01);
    torn.elements = {Geometry::SegBase<T>{{0, 1}, {10, T(-0.001)}},
                     Geometry::SegBase<T>{{10, T(0.001)}, {0, -1}},
                     Geometry::SegBase<T>{{0, -1}, {0, 1}}};
    ASSERT_TRUE(torn.IsClosed());
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(torn, {11, T(0.2)}), (VecBase<2, T>(10, T(0.001))));
    EXPECT_TRUE(this->InSpace(torn, {11, T(0.2)}, true));
    EXPECT_FALSE(this->InSpace(torn, {11, T(0.2)}, false));
    EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(torn, {11, T(-0.2)}), (VecBase<2, T>(10, T(-0.001))));
    EXPECT_TRUE(this->InSpace(torn, {11, T(-0.2)}, true));
}

TYPED_TEST(ChainNearest, CornersMatchWithinTheTolerance)
{
    using T = TypeParam;
    // A spike that points to -x: an arc that falls to its tip, and a line straight back that starts
    // a gap off, up and to the right. For a point above, its start is nearest: by the line alone
    // the point is on its left, in front of the corner on the right. Small, so that the floor of
    // `float` is above its rounding. A gap wider than the tolerance leaves two ends and no corner.
    const double floor = std::is_same_v<T, float> ? 1e-8 : 1e-12;
    const Vec2d normal = Vec2d(-0.2, 1) / std::hypot(0.2, 1.0);
    const T r = T(1e-3);
    const VecBase<2, T> center(normal * -1e-3);
    const VecBase<2, T> start(Vec2d(center) + Vec2d(1e-3, 0));
    const double sweep = std::atan2(normal[1], normal[0]);
    const Geometry::ArcBase<T> arc{center, start, static_cast<T>(1e-3 * sweep)};
    const VecBase<2, T> tip = Geometry::EndPoint(arc);
    const VecBase<2, T> p(-r, 3 * r);
    for (const auto& [gap, isCorner] :
         {std::pair{0.9 * floor, true}, {1.1 * floor, true}, {0.7e-6, true}, {0.8e-6, false}}) {
        PolyArcSegBase<T> spike;
        spike.tolerance = T(1e-6);
        const VecBase<2, T> back = tip + VecBase<2, T>(Vec2d(gap, gap));
        spike.elements = {arc, Geometry::SegBase<T>{back, {r, back[1]}}};
        EXPECT_EQ(ClosestPointOnPolyArcSeg<T>(spike, p), back);
        EXPECT_EQ(this->InSpace(spike, p, true), !isCorner) << gap;
        EXPECT_EQ(this->InSpace(spike, p, false), isCorner) << gap;
    }
}

/// Two arcs of one radius that meet in two sharp tips: what two discs have in common.
template <class T>
struct Lens {
    PolyArcSegBase<T> chain;
    Vec2d right; ///< center of the disc on the right, whose arc is the left one
    Vec2d left;
    double radius;

    /// Positive inside. From the discs alone.
    double Depth(const Vec2d& p) const
    {
        return radius - std::max(std::hypot(p[0] - left[0], p[1] - left[1]),
                                 std::hypot(p[0] - right[0], p[1] - right[1]));
    }
};

template <class T>
Lens<T> LensAbout(const VecBase<2, T>& middle, double radius, double thickness)
{
    const double offset = radius - thickness / 2;
    const double height = std::sqrt(radius * radius - offset * offset);
    const double length = 2 * radius * std::asin(height / radius);
    const auto at = [&](double x, double y) { return VecBase<2, T>(Vec2d(middle) + Vec2d(x, y)); };
    Lens<T> lens{{}, Vec2d(at(offset, 0)), Vec2d(at(-offset, 0)), radius};
    lens.chain.elements = {
        Geometry::ArcBase<T>{at(-offset, 0), at(0, -height), static_cast<T>(length)},
        Geometry::ArcBase<T>{at(offset, 0), at(0, height), static_cast<T>(length)}};
    return lens;
}

TYPED_TEST(ChainNearest, SideBeyondTheSharpTipsOfALens)
{
    using T = TypeParam;
    // The derived ends of the arcs miss each other by rounding, which is wider than the floor.
    Random random(77);
    for (const double radius : {1e-3, 1.0, 10.0, 5000.0, 1e5}) {
        for (const double away : {0.0, 3.0, 100.0}) {
            SCOPED_TRACE(radius);
            SCOPED_TRACE(away);
            const auto lens = LensAbout<T>(VecBase<2, T>(Vec2d(away, -0.7 * away) * radius), radius,
                                           0.3 * radius);
            const double margin =
                64 * double(std::numeric_limits<T>::epsilon()) * (1 + away) * radius;
            int told = 0;
            for (int i = 0; i < 2000; ++i) {
                const Vec2d p =
                    Vec2d(lens.left + lens.right) * 0.5 + random.Vector<2, double>(-2, 2) * radius;
                const VecBase<2, T> q(p);
                const double depth = lens.Depth(Vec2d(q));
                if (std::fabs(depth) > margin) {
                    ++told;
                    EXPECT_EQ(this->InSpace(lens.chain, q, true), depth > 0) << q;
                    EXPECT_EQ(this->InSpace(lens.chain, q, false), depth < 0) << q;
                }
            }
            EXPECT_GT(told, 1500);
        }
    }
}

TYPED_TEST(ChainNearest, PointsWithinTheFloorOfTheChainAreOnIt)
{
    using T = TypeParam;
    const T floor = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);
    const T beyond = std::nextafter(floor, T(1));
    const auto line = Lines<T>({{0, 0}, {2, 0}});
    EXPECT_TRUE(this->InSpace(line, {1, -floor}, true));
    EXPECT_TRUE(this->InSpace(line, {1, floor}, false));
    EXPECT_FALSE(this->InSpace(line, {1, -beyond}, true));
    EXPECT_FALSE(this->InSpace(line, {1, beyond}, false));
}

TYPED_TEST(ChainNearest, EmptyChainBoundsNothing)
{
    using T = TypeParam;
    VecBase<2, T> closest(5, 5);
    for (const bool right : {true, false}) {
        EXPECT_TRUE(PointInPolyArcSegSpace<T>(PolyArcSegBase<T>(), {1, 1}, right, &closest));
        EXPECT_EQ(closest, (VecBase<2, T>(-TestFixture::kMax, -TestFixture::kMax)));
        EXPECT_TRUE(this->InSpace(PolyArcSegBase<T>(), {TestFixture::kMax, 1}, right));
    }
}

TYPED_TEST(ChainNearest, NaNIsOnNoSide)
{
    using T = TypeParam;
    for (const bool right : {true, false}) {
        EXPECT_FALSE(this->InSpace(Square<T>(), {TestFixture::kNaN, 1}, right));
        EXPECT_FALSE(this->InSpace(PolyArcSegBase<T>(), {TestFixture::kNaN, 1}, right));
    }
}

} // namespace
