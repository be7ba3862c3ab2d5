// Edges turned around an upright axis, against points of the edge itself.

#include "tests/support/TestSupport.h"

#include <Sorvane/SpunHyperbola_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::SpinSegment;
using Mill::SpunHyperbola;

const Vec2d kOrigin{0.0, 0.0};

TEST(SpinSegment, PointsOfTheEdgeLieOnTheCurve)
{
    Support::Random random(71);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        const Vec2d axis = random.Vector<2, double>(-3, 3);
        const Vec3d p = random.Vector<3, double>(-5, 5);
        const Vec3d q = random.Vector<3, double>(-5, 5);
        const SpunHyperbola spun = SpinSegment(axis, p, q);
        ASSERT_GT(spun.a2, 0.0);
        const double squaredSlope = spun.b2 / spun.a2;
        double nearest = std::numeric_limits<double>::infinity();
        for (int i = -200; i <= 300; ++i) {
            const Vec3d point = p + (q - p) * (i / 100.0);
            const double r = std::hypot(point.x() - axis.x(), point.y() - axis.y());
            const double rise = point.z() - spun.vertex[1];
            // The curve's equation times a2, so that a vertex near the axis does no harm.
            EXPECT_NEAR(squaredSlope * (r * r - spun.a2), rise * rise, 1e-9 * (1 + rise * rise));
            nearest = std::min(nearest, r);
        }
        EXPECT_LE(spun.vertex[0], nearest + 1e-12);
    }
}

TEST(SpinSegment, EndsAreOrderedByHeight)
{
    const Vec3d low{3, 4, -1};
    const Vec3d high{1, 0, 2};
    const SpunHyperbola spun = SpinSegment(kOrigin, high, low);
    EXPECT_EQ(spun, SpinSegment(kOrigin, low, high));
    EXPECT_EQ(spun.lowPoint, low);
    EXPECT_EQ(spun.highPoint, high);
    EXPECT_EQ(spun.lowEnd, (Vec2d{5, -1}));
    EXPECT_EQ(spun.highEnd, (Vec2d{1, 2}));
    EXPECT_FALSE(spun.flat);
}

TEST(SpinSegment, EndsAtOneHeightKeepTheirOrder)
{
    const Vec3d p{3, 4, 2};
    const Vec3d q{0, 1, 2};
    EXPECT_EQ(SpinSegment(kOrigin, p, q).lowPoint, p);
    EXPECT_EQ(SpinSegment(kOrigin, q, p).lowPoint, q);
}

TEST(SpinSegment, PointsAreRelativeToTheAxis)
{
    const SpunHyperbola spun = SpinSegment({10, 20}, {13, 24, 5}, {11, 20, 7});
    EXPECT_EQ(spun.lowPoint, (Vec3d{3, 4, 5}));
    EXPECT_EQ(spun.highPoint, (Vec3d{1, 0, 7}));
    EXPECT_EQ(spun.lowEnd, (Vec2d{5, 5}));
}

TEST(SpinSegment, TheVertexMayLieBeyondTheEnds)
{
    // The line passes the axis at (2, 0, 0); the edge begins far from there.
    const SpunHyperbola spun = SpinSegment(kOrigin, {2, 3, 3}, {2, 7, 7});
    EXPECT_EQ(spun.vertex, (Vec2d{2, 0}));
    EXPECT_EQ(spun.a2, 4.0);
    EXPECT_EQ(spun.b2, 4.0) << "slope 1, so that the asymptotes rise by 1 as well";
}

TEST(SpinSegment, AnEdgeThroughTheAxisHasNoHyperbola)
{
    const SpunHyperbola spun = SpinSegment(kOrigin, {-1, -1, 0}, {3, 3, 4});
    EXPECT_EQ(spun.a2, 0.0);
    EXPECT_EQ(spun.b2, 0.0);
    EXPECT_TRUE(spun.flat);
}

TEST(SpinSegment, ALineThatPassesTheAxisWithinAMillionthCountsAsMeetingIt)
{
    EXPECT_EQ(SpinSegment(kOrigin, {-1, 1e-6, 0}, {1, 1e-6, 4}).b2, 0.0);
    EXPECT_GT(SpinSegment(kOrigin, {-1, 1.1e-6, 0}, {1, 1.1e-6, 4}).b2, 0.0);
}

TEST(SpinSegment, AnEdgeInAPlaneThroughTheAxisIsFlat)
{
    const SpunHyperbola spun = SpinSegment(kOrigin, {1, 0, 0}, {3, 0, 0.5});
    EXPECT_TRUE(spun.flat);
    EXPECT_EQ(spun.a2, 0.0) << "its line meets the axis";
}

TEST(SpinSegment, ALevelEdgeIsFlat)
{
    const SpunHyperbola spun = SpinSegment(kOrigin, {2, -1, 3}, {2, 5, 3});
    EXPECT_TRUE(spun.flat);
    EXPECT_EQ(spun.b2, 0.0);
    EXPECT_EQ(spun.vertex, (Vec2d{2, 3}));
}

TEST(SpinSegment, AnUprightEdgeIsFlatWithTheLowerEndForVertex)
{
    const SpunHyperbola spun = SpinSegment(kOrigin, {3, 4, 9}, {3, 4, 1});
    EXPECT_TRUE(spun.flat);
    EXPECT_EQ(spun.b2, 0.0);
    EXPECT_EQ(spun.vertex, (Vec2d{5, 1}));
    EXPECT_EQ(spun.a2, 25.0);
}

TEST(SpinSegment, FlatBeginsAtOneTenBillionth)
{
    // b2 = a2 slope^2 with a2 = 1.
    EXPECT_TRUE(SpinSegment(kOrigin, {1, 0, 0}, {1, 1, 0.99e-5}).flat);
    EXPECT_FALSE(SpinSegment(kOrigin, {1, 0, 0}, {1, 1, 1.01e-5}).flat);
}

TEST(SpinSegment, AnEndBesideTheVertexCostsNoDigits)
{
    // The lower end is all but the vertex. Formed from it, z - vertex.z and r^2 / a2 - 1 would both
    // be differences of numbers that agree in all digits but a few.
    const SpunHyperbola spun = SpinSegment(kOrigin, {3, 1e-7, 2e-7}, {3, 4, 8});
    EXPECT_NEAR(spun.b2, 36.0, 1e-12);
}

TEST(SpinSegment, FarFromTheOriginIsTheSameCurve)
{
    const Vec3d shift{1048576, -2097152, 0};
    const SpunHyperbola near = SpinSegment({0.5, 0.25}, {2, 3, 3}, {2, 7, 7});
    const SpunHyperbola far = SpinSegment(Vec2d{0.5, 0.25} + Vec2d{shift[0], shift[1]},
                                          Vec3d{2, 3, 3} + shift, Vec3d{2, 7, 7} + shift);
    EXPECT_EQ(near, far);
}

TEST(SpinSegment, HostileCoordinatesAreNoFault)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, infinity, -infinity, 1e300, -1e300, 5e-324}) {
        (void)SpinSegment({bad, 0}, {1, 2, 3}, {4, 5, 6});
        (void)SpinSegment(kOrigin, {bad, 2, 3}, {4, 5, 6});
        (void)SpinSegment(kOrigin, {1, 2, bad}, {4, bad, 6});
    }
    const SpunHyperbola point = SpinSegment(kOrigin, {3, 4, 5}, {3, 4, 5});
    EXPECT_EQ(point.vertex, (Vec2d{5, 5}));
    EXPECT_TRUE(point.flat);
}

} // namespace
