// Length parameters of chains: joints, points to parameters and back.

#include <Sorvane/PolyArcSeg_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/ThreadLimit.h"

#include <cstring>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class ChainLength : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainLength, Coordinates);

template <class T>
constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();

/// The point of the chain at a length from its start, element by element.
template <class T>
Vec2d PointAtLength(const PolyArcSegBase<T>& chain, double length)
{
    for (const auto& element : chain.elements) {
        if (length <= LengthOf(element)) {
            return PointOf(element, length / LengthOf(element));
        }
        length -= LengthOf(element);
    }
    return PointOf(chain.elements.back(), 1);
}

template <class T>
double Gap(const VecBase<2, T>& a, const Vec2d& b)
{
    return std::hypot(static_cast<double>(a[0]) - b[0], static_cast<double>(a[1]) - b[1]);
}

// --- joints -------------------------------------------------------------------------------------

TYPED_TEST(ChainLength, SquareRunsToFourSides)
{
    using T = TypeParam;
    const auto square = Square<T>();
    EXPECT_EQ(PolyArcSegParameters(square, false), (std::vector<T>{0, 2, 4, 6, 8}));
    EXPECT_EQ(PolyArcSegParameters(square, true), (std::vector<T>{0, T(0.25), T(0.5), T(0.75), 1}));
}

TYPED_TEST(ChainLength, NormalizedEndsInExactlyOne)
{
    Random random(21);
    for (int trial = 0; trial < 100; ++trial) {
        const auto chain = RandomChain<TypeParam>(random, 1 + random.Below(30));
        const auto joints = PolyArcSegParameters(chain, true);
        EXPECT_EQ(joints.size(), chain.elements.size() + 1);
        EXPECT_EQ(joints.front(), 0);
        EXPECT_EQ(joints.back(), 1);
        EXPECT_TRUE(std::is_sorted(joints.begin(), joints.end()));
    }
}

TYPED_TEST(ChainLength, EmptyChainHasTheSingleValueZero)
{
    for (const bool normalized : {false, true}) {
        EXPECT_EQ(PolyArcSegParameters(PolyArcSegBase<TypeParam>(), normalized),
                  std::vector<TypeParam>{0});
    }
}

TYPED_TEST(ChainLength, NormalizedParametersOfNoLengthAreZeroNotNaN)
{
    PolyArcSegBase<TypeParam> chain;
    chain.AppendSegment({1, 1}, {1, 1});
    chain.AppendArc({1, 1}, {1, 1}, 0);
    EXPECT_EQ(PolyArcSegParameters(chain, true), (std::vector<TypeParam>{0, 0, 0}));
}

TYPED_TEST(ChainLength, ClockwiseArcsCountWithTheirMagnitude)
{
    const auto circle = Circle<TypeParam>(1, -1);
    EXPECT_NEAR(PolyArcSegParameters(circle, false).back(), 2 * kHalfTurn, kNear<TypeParam>);
}

// --- points to parameters -----------------------------------------------------------------------

TYPED_TEST(ChainLength, JointBelongsToTheEarlierElement)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const T tol = T(1e-6);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {2, 0}, tol), 2);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {2, 2}, tol), 4);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {0, 2}, tol), 6);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {1, 2}, tol), 5);
}

TYPED_TEST(ChainLength, CommonStartAndEndOfAClosedChainIsZero)
{
    using T = TypeParam;
    const T tol = T(1e-6);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(Square<T>(), {0, 0}, tol), 0);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(Circle<T>(2, 1), {2, 0}, tol), 0);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(Circle<T>(2, -1), {2, 0}, tol), 0);
}

TYPED_TEST(ChainLength, FractionsOfAnArcRunAlongItsTravel)
{
    using T = TypeParam;
    const T tol = T(1e-5);
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(Circle<T>(2, 1), {0, 2}, tol), kHalfTurn, 1e-5);
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(Circle<T>(2, -1), {0, 2}, tol), 3 * kHalfTurn, 1e-5);
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(Hairpin<T>(), {5, 1}, tol), 4 + kHalfTurn / 2, 1e-5);
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(Hairpin<T>(), {1, 2}, tol), 7 + kHalfTurn, 1e-5);
}

TYPED_TEST(ChainLength, MissesAreMinusOne)
{
    using T = TypeParam;
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(PolyArcSegBase<T>(), {0, 0}, T(1)), -1);
    const auto square = Square<T>();
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {1, 1}, T(0.5)), -1);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {1, 0}, T(-1)), -1);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {1, 0}, kNaN<T>), -1);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(square, {kNaN<T>, 0}, T(1)), -1);
    // The rest of the circle is not on the arc.
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(Hairpin<T>(), {3, 1}, T(1e-3)), -1);
}

TYPED_TEST(ChainLength, ContainmentIsPerCoordinateAndTakesTheToleranceItself)
{
    using T = TypeParam;
    const auto line = Lines<T>({{0, 0}, {4, 0}});
    const T tol = T(0.25);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(line, {2, T(0.25)}, tol), std::hypot(T(2), T(0.25)));
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(line, {2, T(0.2500001)}, tol), -1);
    // Beyond the end by the tolerance on both axes: farther than it as the crow flies.
    EXPECT_NE(PointParameterOnPolyArcSeg<T>(line, {T(4.25), T(0.25)}, tol), -1);
    // Off an arc by nearly the tolerance on both axes.
    const T out = static_cast<T>(std::sqrt(2.0) + 0.24);
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(Circle<T>(2, 1), {out, out}, tol), kHalfTurn / 2,
                1e-5);
    // The same beyond an arc's end, (4, 2) of the hairpin's half circle.
    auto half = Hairpin<T>();
    half.elements.erase(half.elements.begin());
    half.elements.pop_back();
    EXPECT_NEAR(PointParameterOnPolyArcSeg<T>(half, {T(3.76), T(2.2)}, tol), kHalfTurn, 1e-5);
}

TYPED_TEST(ChainLength, SegmentParameterIsTheDistanceToThePointItself)
{
    using T = TypeParam;
    const auto line = Lines<T>({{0, 0}, {4, 0}, {4, 8}});
    // 3-4-5: the projection is at 3.
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(line, {3, 4}, T(4)), 5);
    // Before the start, and beyond the first segment's own end.
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(line, {-1, 0}, T(1)), 1);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(line, {5, 0}, T(1)), 5);
}

TYPED_TEST(ChainLength, FirstElementWithinToleranceWinsOverAnExactOne)
{
    using T = TypeParam;
    const auto bend = Lines<T>({{0, 0}, {4, 0}, {4, 4}});
    // On the second segment, and within 0.5 of the first.
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(bend, {4, T(0.5)}, T(0.5)), std::hypot(T(4), T(0.5)));
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(bend, {4, T(0.5)}, T(0.1)), T(4.5));
}

TYPED_TEST(ChainLength, ElementsWithoutLengthHoldTheirPoint)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.AppendSegment({1, 1}, {1, 1});
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(chain, {1, 1}, T(0)), 0);
    PolyArcSegBase<T> dot;
    dot.AppendArc({1, 1}, {1, 1}, 0);
    EXPECT_EQ(PointParameterOnPolyArcSeg<T>(dot, {1, 1}, T(0)), 0);
}

TYPED_TEST(ChainLength, ManyPointsGiveTheBitsOfEach)
{
    using T = TypeParam;
    Random random(22);
    for (const int elements : {0, 1, 2, 3, 7, 64, 200}) {
        const auto chain = elements > 0 ? RandomChain<T>(random, elements) : PolyArcSegBase<T>();
        std::vector<VecBase<2, T>> points;
        for (const Vec2d& sample : Samples(chain, elements > 10 ? 0.7 : 0.1)) {
            points.emplace_back(sample);
            points.push_back(points.back() + random.Vector<2, T>(-0.01, 0.01));
        }
        points.push_back({kNaN<T>, 0});
        points.push_back({std::numeric_limits<T>::infinity(), 0});
        for (const double tol :
             {0.0, 1e-12, 1e-6, 0.005, 0.5, 1e30, -1.0, std::numeric_limits<double>::infinity(),
              std::numeric_limits<double>::quiet_NaN()}) {
            const auto parameters = PointParametersOnPolyArcSeg(chain, points, static_cast<T>(tol));
            ASSERT_EQ(parameters.size(), points.size());
            for (std::size_t i = 0; i < points.size(); ++i) {
                const T single = PointParameterOnPolyArcSeg(chain, points[i], static_cast<T>(tol));
                ASSERT_EQ(std::memcmp(&single, &parameters[i], sizeof(T)), 0)
                    << elements << " elements, tolerance " << tol << ", point " << points[i];
            }
        }
    }
    EXPECT_TRUE(PointParametersOnPolyArcSeg(Square<T>(), {}, T(1)).empty());
}

TYPED_TEST(ChainLength, ManyPointsOnAChainThatIsNotFinite)
{
    using T = TypeParam;
    const T inf = std::numeric_limits<T>::infinity();
    auto chain = Hairpin<T>();
    chain.elements.emplace_back(Geometry::SegBase<T>{{2, 7}, {kNaN<T>, 7}});
    chain.elements.emplace_back(Geometry::ArcBase<T>{{2, 8}, {3, 8}, kNaN<T>});
    chain.elements.emplace_back(Geometry::ArcBase<T>{{inf, 8}, {3, 8}, 1});
    chain.elements.emplace_back(Geometry::SegBase<T>{{-inf, 9}, {inf, 9}});
    const std::vector<VecBase<2, T>> points{{2, 7}, {3, 8}, {2, 8}, {0, 9}, {1, 2}, {inf, 9}};
    for (const T tol : {T(1e-6), T(3)}) {
        const auto parameters = PointParametersOnPolyArcSeg(chain, points, tol);
        for (std::size_t i = 0; i < points.size(); ++i) {
            const T single = PointParameterOnPolyArcSeg(chain, points[i], tol);
            EXPECT_EQ(std::memcmp(&single, &parameters[i], sizeof(T)), 0) << points[i];
        }
    }
}

TYPED_TEST(ChainLength, SameBitsOnAnyNumberOfThreads)
{
    using T = TypeParam;
    Random random(23);
    const auto chain = RandomChain<T>(random, 100);
    std::vector<VecBase<2, T>> points;
    for (const Vec2d& sample : Samples(chain, 0.05)) {
        points.emplace_back(sample);
    }
    ASSERT_GT(points.size(), 2000u);
    std::vector<T> reference;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto parameters = PointParametersOnPolyArcSeg(chain, points, T(1e-4));
            if (reference.empty()) {
                reference = parameters;
            }
            EXPECT_EQ(parameters, reference);
        });
    }
}

// --- parameters to points -----------------------------------------------------------------------

TYPED_TEST(ChainLength, ParameterOfThePointAtAParameterIsTheParameter)
{
    using T = TypeParam;
    const T tol = std::is_same_v<T, float> ? T(1e-4) : T(1e-10);
    const double near = 10 * static_cast<double>(tol);
    Random random(24);
    for (int trial = 0; trial < 40; ++trial) {
        SCOPED_TRACE(trial);
        const auto chain = RandomChain<T>(random, 1 + random.Below(12));
        const T length = PolyArcSegParameters(chain, false).back();
        for (int i = 0; i < 50; ++i) {
            const T parameter = static_cast<T>(random.Unit()) * length;
            VecBase<2, T> point;
            ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, parameter, false, point));
            EXPECT_LE(Gap(point, PointAtLength(chain, parameter)), 40 * kNear<T>);

            VecBase<2, T> same;
            ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, parameter / length, true, same));
            EXPECT_LE(Gap(same, PointAtLength(chain, parameter)), 40 * kNear<T>);

            const T back = PointParameterOnPolyArcSeg(chain, point, tol);
            ASSERT_GE(back, 0);
            // Where the chain crosses itself the first pass counts.
            EXPECT_LE(back, parameter + static_cast<T>(near));
            EXPECT_LE(Gap(point, PointAtLength(chain, back)), near);
        }
    }
}

TYPED_TEST(ChainLength, PointsAtManyParametersAreThoseAtEach)
{
    using T = TypeParam;
    Random random(26);
    const auto chain = RandomChain<T>(random, 9);
    for (const bool normalized : {false, true}) {
        std::vector<T> parameters = PolyArcSegParameters(chain, normalized);
        const T last = parameters.back();
        for (int i = 0; i < 50; ++i) {
            parameters.push_back(static_cast<T>(random.Between(-0.1, 1.1)) * last);
        }
        parameters.push_back(std::numeric_limits<T>::quiet_NaN());
        std::vector<VecBase<2, T>> points;
        const std::vector<bool> areOn =
            PointsAtParametersOnPolyArcSeg(chain, parameters, normalized, points);
        ASSERT_EQ(areOn.size(), parameters.size());
        ASSERT_EQ(points.size(), parameters.size());
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            VecBase<2, T> point;
            EXPECT_EQ(areOn[i],
                      PointAtParameterOnPolyArcSeg(chain, parameters[i], normalized, point));
            EXPECT_TRUE(points[i] == point);
        }
    }
    std::vector<VecBase<2, T>> none{{1, 1}};
    EXPECT_TRUE(PointsAtParametersOnPolyArcSeg(chain, std::vector<T>(), false, none).empty());
    EXPECT_TRUE(none.empty());
    EXPECT_FALSE(
        PointsAtParametersOnPolyArcSeg(PolyArcSegBase<T>(), std::vector<T>{0}, false, none)[0]);
}

TYPED_TEST(ChainLength, ParameterComesBackOnChainsThatDoNotCross)
{
    using T = TypeParam;
    constexpr T kTol = 1e-5F;
    Random random(25);
    int justBehindJoints = 0;
    for (int trial = 0; trial < 40; ++trial) {
        const auto outline = RandomOutline<T>(random, trial % 2 == 0 ? 1 : -1);
        const std::vector<T> joints = PolyArcSegParameters(outline, false);
        for (int i = 0; i < 50; ++i) {
            const T parameter = static_cast<T>(random.Between(0.001, 0.999)) * joints.back();
            VecBase<2, T> point;
            ASSERT_TRUE(PointAtParameterOnPolyArcSeg(outline, parameter, false, point));
            const T found = PointParameterOnPolyArcSeg(outline, point, kTol);
            const auto joint = std::prev(std::upper_bound(joints.begin(), joints.end(), parameter));
            // Coordinates and parameters below 16 are rounded in T a few times, the arms of an arc
            // as long as its radius in double.
            const auto* arc =
                outline.elements[static_cast<std::size_t>(joint - joints.begin())].AsArc();
            const double radius = arc == nullptr
                                      ? 0.0
                                      : std::hypot(double(arc->start[0]) - arc->center[0],
                                                   double(arc->start[1]) - arc->center[1]);
            const double near = 8 * 16 * std::numeric_limits<T>::epsilon() +
                                16 * radius * std::numeric_limits<double>::epsilon();
            if (parameter - *joint < 100 * kTol && found < parameter - near) {
                // Within the tolerance of the element before, which decides then.
                VecBase<2, T> other;
                ASSERT_TRUE(PointAtParameterOnPolyArcSeg(outline, found, false, other));
                EXPECT_LE(std::hypot(other[0] - point[0], other[1] - point[1]), 2 * kTol);
                ++justBehindJoints;
                continue;
            }
            EXPECT_NEAR(found, parameter, near);
        }
    }
    // Of 2000 places on some 13 units with 8 joints there is one in ten runs.
    EXPECT_LE(justBehindJoints, 5);
}

TYPED_TEST(ChainLength, EndsOfTheChainAreExact)
{
    using T = TypeParam;
    Random random(26);
    for (int trial = 0; trial < 50; ++trial) {
        const auto chain = RandomChain<T>(random, 1 + random.Below(20));
        for (const bool normalized : {false, true}) {
            const T last = PolyArcSegParameters(chain, normalized).back();
            VecBase<2, T> point;
            ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, T(0), normalized, point));
            EXPECT_EQ(point, chain.elements.front().StartPoint());
            ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, last, normalized, point));
            EXPECT_EQ(point, End(chain));
            EXPECT_FALSE(PointAtParameterOnPolyArcSeg(chain, std::nextafter(last, T(1e9)),
                                                      normalized, point));
            EXPECT_EQ(point, (VecBase<2, T>())); // cleared
            EXPECT_FALSE(PointAtParameterOnPolyArcSeg(chain, T(-1e-9), normalized, point));
        }
    }
}

TYPED_TEST(ChainLength, JointsAreTheEndsOfEarlierElements)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.tolerance = T(0.25);
    ASSERT_TRUE(chain.AppendSegment({0, 0}, {2, 0}));
    ASSERT_TRUE(chain.AppendArc({2, 2}, {2, T(0.125)}, 1)); // a joint with a gap
    for (const bool normalized : {false, true}) {
        VecBase<2, T> point;
        ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, PolyArcSegParameters(chain, normalized)[1],
                                                 normalized, point));
        EXPECT_EQ(point, (VecBase<2, T>(2, 0)));
    }
}

TYPED_TEST(ChainLength, PointAtOfAnEmptyChainAndOfNaNIsFalse)
{
    using T = TypeParam;
    VecBase<2, T> point(7, 7);
    for (const bool normalized : {false, true}) {
        EXPECT_FALSE(PointAtParameterOnPolyArcSeg(PolyArcSegBase<T>(), T(0), normalized, point));
        EXPECT_EQ(point, (VecBase<2, T>()));
        EXPECT_FALSE(PointAtParameterOnPolyArcSeg(Square<T>(), kNaN<T>, normalized, point));
    }
    auto broken = Square<T>();
    broken.elements[2].AsSegment()->end = {kNaN<T>, 0};
    EXPECT_FALSE(PointAtParameterOnPolyArcSeg(broken, T(1), false, point));
}

TYPED_TEST(ChainLength, FirstElementWithoutLengthGivesItsStart)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.AppendSegment({1, 1}, {1, 1});
    VecBase<2, T> point;
    for (const bool normalized : {false, true}) {
        ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, T(0), normalized, point));
        EXPECT_EQ(point, (VecBase<2, T>(1, 1)));
    }
    ASSERT_TRUE(chain.AppendSegment({1, 1}, {3, 1}));
    for (const bool normalized : {false, true}) {
        ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, T(0), normalized, point));
        EXPECT_EQ(point, (VecBase<2, T>(1, 1)));
    }
    ASSERT_TRUE(PointAtParameterOnPolyArcSeg(chain, T(0.5), true, point));
    EXPECT_EQ(point, (VecBase<2, T>(2, 1)));
}

TEST(ChainLengthQuirks, WithinTheFloorOfAJointItIsTheJoint)
{
    const auto square = Square<double>();
    Vec2d point;
    for (const double offset : {-9e-13, 9e-13}) {
        ASSERT_TRUE(PointAtParameterOnPolyArcSeg(square, 2 + offset, false, point));
        EXPECT_EQ(point, Vec2d(2, 0));
    }
    // In fractions of the element: 2e-12 of its length 2.
    ASSERT_TRUE(PointAtParameterOnPolyArcSeg(square, 0.25 + 0.25 * 9e-13, true, point));
    EXPECT_EQ(point, Vec2d(2, 0));
    ASSERT_TRUE(PointAtParameterOnPolyArcSeg(square, 2 + 1e-9, false, point));
    EXPECT_NEAR(point.y(), 1e-9, 1e-15);
}

TEST(ChainLengthQuirks, FloorOfFloatIsWider)
{
    // A long step before, so that fractions of the second element are fine enough.
    const auto line = Lines<float>({{0, 0}, {1, 0}});
    VecBase<2, float> point;
    ASSERT_TRUE(PointAtParameterOnPolyArcSeg(line, 9e-9F, false, point));
    EXPECT_EQ(point, (VecBase<2, float>(0, 0)));
    ASSERT_TRUE(PointAtParameterOnPolyArcSeg(line, 2e-8F, false, point));
    EXPECT_EQ(point, (VecBase<2, float>(2e-8F, 0)));
}

TEST(ChainLengthQuirks, PieceShorterThanTheFloorIsFalse)
{
    // A fraction of 5e-10 is told from the start, but the piece of 5e-13 before it is no piece.
    const auto tiny = Lines<double>({{0, 0}, {1e-3, 0}});
    Vec2d point(7, 7);
    EXPECT_FALSE(PointAtParameterOnPolyArcSeg(tiny, 5e-10, true, point));
    EXPECT_EQ(point, Vec2d());
    EXPECT_TRUE(PointAtParameterOnPolyArcSeg(tiny, 5e-9, true, point));
}

// --- area ---------------------------------------------------------------------------------------

TYPED_TEST(ChainLength, AreaOfClosedAndOpenChains)
{
    using T = TypeParam;
    EXPECT_EQ(PolyArcSegArea(PolyArcSegBase<T>()), T(0));
    EXPECT_EQ(PolyArcSegArea(Square<T>()), T(4));
    EXPECT_EQ(PolyArcSegArea(Lines<T>({{0, 0}, {0, 2}, {2, 2}, {2, 0}, {0, 0}})), T(-4));
    EXPECT_NEAR(PolyArcSegArea(Circle<T>(T(3), -1)), -9 * kHalfTurn, 1e-5);
    // Open: closed by the segment across. Half a disc; a triangle.
    PolyArcSegBase<T> half;
    half.AppendArc({0, 0}, {3, 0}, static_cast<T>(3 * kHalfTurn));
    EXPECT_NEAR(PolyArcSegArea(half), 4.5 * kHalfTurn, 1e-5);
    EXPECT_EQ(PolyArcSegArea(Lines<T>({{0, 0}, {4, 0}, {4, 2}})), T(4));
    // So is a gap between two elements: the right edge of a square here.
    PolyArcSegBase<T> torn;
    torn.elements = {SegBase<T>{{0, 0}, {2, 0}}, SegBase<T>{{2, 2}, {0, 2}}};
    EXPECT_EQ(PolyArcSegArea(torn), T(4));
    auto hostile = Square<T>();
    hostile.elements[1].AsSegment()->end[0] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(std::isnan(PolyArcSegArea(hostile)));
    // Far out to the bit, where coordinates are.
    const T far = std::is_same_v<T, float> ? T(65536) : T(1 << 30);
    EXPECT_EQ(PolyArcSegArea(Moved(Square<T>(), VecBase<2, T>(far, -far))), T(4));
    // As the sum of many small triangles of the flattened outline.
    Random random(2);
    for (int trial = 0; trial < 20; ++trial) {
        const auto outline = RandomOutline<T>(random, trial % 2 == 0 ? 1 : -1);
        const auto samples = Samples(outline, 1e-3);
        double area = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            area += 0.5 * (samples[i] ^ samples[(i + 1) % samples.size()]);
        }
        EXPECT_NEAR(PolyArcSegArea(outline), area, 1e-5);
    }
}

} // namespace
