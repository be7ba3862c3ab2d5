// Half profiles of tools.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/Tools_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

template <class T>
class Tools : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(Tools, Coordinates);

template <class T>
constexpr T kHalfPi = static_cast<T>(1.5707963267948966);
/// A few roundings of a length of about 10.
template <class T>
constexpr double kRounding = std::is_same_v<T, float> ? 1e-5 : 1e-14;

template <class T>
void ExpectPoint(const VecBase<2, T>& point, double x, double y)
{
    EXPECT_NEAR(static_cast<double>(point.x()), x, kRounding<T>);
    EXPECT_NEAR(static_cast<double>(point.y()), y, kRounding<T>);
}

TYPED_TEST(Tools, FieldsAreZeroAndInTheirOrder)
{
    using T = TypeParam;
    const Mill::ConvexStandardToolBase<T> tool{1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(tool.tipRadius, 1);
    EXPECT_EQ(tool.lowerCornerRadius, 2);
    EXPECT_EQ(tool.lowerCornerAngle, 3);
    EXPECT_EQ(tool.taperHeight, 4);
    EXPECT_EQ(tool.taperAngle, 5);
    EXPECT_EQ(tool.upperCornerRadius, 6);
    EXPECT_EQ(tool.shankLength, 7);
    EXPECT_EQ((Mill::ConvexStandardToolBase<T>{}),
              (Mill::ConvexStandardToolBase<T>{0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ((Mill::CylindricalToolBase<T>{}), (Mill::CylindricalToolBase<T>{0, 0, 0}));
    const Mill::GenericToolFitReport<Mill::CylindricalToolBase<T>, T> report;
    EXPECT_EQ(report.tolerance, 0);
    EXPECT_EQ(report.pointDeviation, std::numeric_limits<T>::max());
    EXPECT_EQ(report.hullDeviation, std::numeric_limits<T>::max());
    EXPECT_EQ(report.meanDeviation, std::numeric_limits<T>::max());
}

TYPED_TEST(Tools, AllZeroIsTheEmptyChain)
{
    using T = TypeParam;
    EXPECT_TRUE(Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{}).elements.empty());
    EXPECT_TRUE(Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{}).elements.empty());
    EXPECT_TRUE(Planar::ToPolyline(Mill::ConvexStandardToolBase<T>{}, T(0.1)).points.empty());
}

TYPED_TEST(Tools, ShankAloneStartsAtTheOrigin)
{
    using T = TypeParam;
    const auto chain =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{0, 0, 0, 0, 0, 0, 7});
    ASSERT_EQ(chain.elements.size(), 1U);
    ExpectPoint(chain.elements[0].StartPoint(), 0, 0);
    ExpectPoint(chain.elements[0].EndPoint(), 0, 7);
    EXPECT_EQ(chain, Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{0, 0, 7}));
    EXPECT_EQ(chain.tolerance, T(1e-12));
}

TYPED_TEST(Tools, BallIsOneQuarterCircle)
{
    using T = TypeParam;
    const auto chain =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{0, 5, kHalfPi<T>, 0, 0, 0, 0});
    ASSERT_EQ(chain.elements.size(), 1U);
    const auto* arc = chain.elements[0].AsArc();
    ASSERT_NE(arc, nullptr);
    ExpectPoint(arc->center, 0, 5);
    ExpectPoint(arc->start, 0, 0);
    ExpectPoint(chain.elements[0].EndPoint(), 5, 5);
    EXPECT_NEAR(arc->length, 5 * 1.5707963267948966, 10 * kRounding<T>);
}

// By hand: a flat of 2; a quarter turn less 30 degrees of radius 4 about (2, 4), to the point (2 +
// 4 cos 30, 4 - 4 sin 30); a cone of 30 degrees, 3 high, so sqrt 3 wide; 30 degrees of radius 2; a
// wall of 5.
// To the last bit: what a host asks for is what it is told, and an edge that far from the axis is
// touched as it is by a flat end.
TYPED_TEST(Tools, BallIsAsWideAsItsRadius)
{
    using T = TypeParam;
    for (int i = 1; i <= 1000; ++i) {
        const T radius = T(i) / T(40);
        const auto ball = Mill::PolyArcSegFromTool(
            Mill::ConvexStandardToolBase<T>{0, radius, kHalfPi<T>, 0, 0, 0, 5});
        ASSERT_EQ(ball.elements.size(), 2u);
        EXPECT_EQ(ball.elements[0].AsArc()->center, (VecBase<2, T>{T(0), radius}));
        EXPECT_EQ(ball.elements[0].EndPoint().x(), radius);
        EXPECT_EQ(ball.elements[1].EndPoint().x(), radius);
    }
    const auto bull =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{1, 0.5, kHalfPi<T>, 0, 0, 0, 5});
    EXPECT_EQ(bull.elements[1].EndPoint().x(), T(1.5));
}

TYPED_TEST(Tools, AllElementsInTheirPlaces)
{
    using T = TypeParam;
    const T thirty = static_cast<T>(0.52359877559829887);
    const Mill::ConvexStandardToolBase<T> tool{2, 4, kHalfPi<T>, 3, thirty, 2, 5};
    const auto chain = Mill::PolyArcSegFromTool(tool);
    ASSERT_EQ(chain.elements.size(), 5U);
    const double root = std::sqrt(3.0);
    ExpectPoint(chain.elements[0].EndPoint(), 2, 0);
    ExpectPoint(chain.elements[1].AsArc()->center, 2, 4);
    ExpectPoint(chain.elements[1].EndPoint(), 2 + 2 * root, 2);
    ExpectPoint(chain.elements[2].EndPoint(), 2 + 3 * root, 5);
    ExpectPoint(chain.elements[3].AsArc()->center, 2 + 2 * root, 6);
    ExpectPoint(chain.elements[3].EndPoint(), 4 + 2 * root, 6);
    ExpectPoint(chain.elements[4].EndPoint(), 4 + 2 * root, 11);
}

// From a start at 0.3 below the level of its center to an end at 0.8 below: downward, and no convex
// tool.
TYPED_TEST(Tools, CornerThatStartsAboveItsEndRunsClockwise)
{
    using T = TypeParam;
    const auto chain =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{4, 2, T(0.3), 0, T(0.8), 0, 0});
    ASSERT_EQ(chain.elements.size(), 2U);
    EXPECT_NEAR(chain.elements[1].AsArc()->length, -1, kRounding<T>);
    const auto end = chain.elements[1].EndPoint();
    EXPECT_LT(end.y(), -0.8);
    EXPECT_LT(end.x(), 4);
}

TYPED_TEST(Tools, CylindricalElementsInTheirPlaces)
{
    using T = TypeParam;
    const auto chain = Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{3, 2, 9});
    ASSERT_EQ(chain.elements.size(), 3U);
    ExpectPoint(chain.elements[0].EndPoint(), 3, 0);
    EXPECT_EQ(chain.elements[1].AsArc()->center, (VecBase<2, T>{3, 2}));
    ExpectPoint(chain.elements[1].EndPoint(), 5, 2);
    ExpectPoint(chain.elements[2].EndPoint(), 5, 11);
}

// The corner's start would otherwise be a formula for the end of what stands below it, and miss it
// by a rounding in one `float` tool of nine.
TYPED_TEST(Tools, RoundingLosesNoElement)
{
    using T = TypeParam;
    Support::Random random(17);
    for (int trial = 0; trial < Support::Rounds(20000); ++trial) {
        SCOPED_TRACE(trial);
        const double taper = random.Between(0.05, 1.2);
        const Mill::ConvexStandardToolBase<T> tool{T(random.Between(0.1, 10)),
                                                   T(random.Between(0.1, 10)),
                                                   T(random.Between(taper + 0.1, 1.57)),
                                                   T(random.Between(0.1, 30)),
                                                   T(taper),
                                                   T(random.Between(0.1, 10)),
                                                   T(random.Between(0.1, 50))};
        const auto chain = Mill::PolyArcSegFromTool(tool);
        ASSERT_EQ(chain.elements.size(), 5U);
        for (std::size_t i = 1; i < 5; ++i) {
            ASSERT_EQ(chain.elements[i].StartPoint(), chain.elements[i - 1].EndPoint());
        }
        // Tangent: corner to cone, cone to corner, corner to wall.
        for (std::size_t i = 2; i < 5; ++i) {
            const auto before = chain.elements[i - 1].EndTangent();
            const auto after = chain.elements[i].StartTangent();
            ASSERT_LE(std::fabs(double(before ^ after)), (std::is_same_v<T, float> ? 1e-3 : 1e-12));
        }
    }
}

TYPED_TEST(Tools, WhatIsMissingIsSkipped)
{
    using T = TypeParam;
    const auto kinds = [](const Mill::ConvexStandardToolBase<T>& tool) {
        std::string result;
        for (const auto& element : Mill::PolyArcSegFromTool(tool).elements) {
            result += element.AsArc() != nullptr ? 'A' : 'L';
        }
        return result;
    };
    const T b = T(0.3);
    EXPECT_EQ(kinds({4, 0, 0, 9, b, 0, 0}), "LL");
    EXPECT_EQ(kinds({0, 0, 0, 9, b, 0, 0}), "L");
    EXPECT_EQ(kinds({0, 0, 0, 9, b, 2, 6}), "LAL");
    EXPECT_EQ(kinds({4, 2, kHalfPi<T>, 0, b, 2, 6}), "LAAL");
    EXPECT_EQ(kinds({-4, -2, kHalfPi<T>, 0, b, -2, -6}), "");
    // A corner over no angle is an arc of length 0.
    EXPECT_EQ(kinds({4, 2, b, 9, b, 0, 0}), "LAL");
    EXPECT_EQ(kinds({4, 0, 0, 9, 0, 2, 0}), "LLA");
}

TYPED_TEST(Tools, UpperCornerAloneAndTaperStartAtTheOrigin)
{
    using T = TypeParam;
    const auto corner =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{0, 0, 0, 0, kHalfPi<T>, 3, 0});
    ASSERT_EQ(corner.elements.size(), 1U);
    EXPECT_EQ(corner.elements[0].StartPoint(), (VecBase<2, T>{}));
    ExpectPoint(corner.elements[0].EndPoint(), 3, 3);
    const auto cone = Mill::PolyArcSegFromTool(
        Mill::ConvexStandardToolBase<T>{0, 0, 0, 2, T(0.7853981633974483), 0, 0});
    EXPECT_EQ(cone.elements[0].StartPoint(), (VecBase<2, T>{}));
    ExpectPoint(cone.elements[0].EndPoint(), 2, 2);
}

TYPED_TEST(Tools, NegativeTaperIsTakenAsItIs)
{
    using T = TypeParam;
    const auto chain = Mill::PolyArcSegFromTool(
        Mill::ConvexStandardToolBase<T>{4, 0, 0, -2, T(0.7853981633974483), 0, 0});
    ASSERT_EQ(chain.elements.size(), 2U);
    ExpectPoint(chain.elements[1].EndPoint(), 2, -2);
}

TYPED_TEST(Tools, HostileFieldsGiveTheEmptyChain)
{
    using T = TypeParam;
    for (const T bad : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                        -std::numeric_limits<T>::infinity()}) {
        const Mill::ConvexStandardToolBase<T> sound{2, 4, kHalfPi<T>, 3, T(0.5), 2, 5};
        using Record = Mill::ConvexStandardToolBase<T>;
        for (T Record::*field :
             {&Record::tipRadius, &Record::lowerCornerRadius, &Record::lowerCornerAngle,
              &Record::taperHeight, &Record::taperAngle, &Record::upperCornerRadius,
              &Record::shankLength}) {
            auto tool = sound;
            tool.*field = bad;
            EXPECT_TRUE(Mill::PolyArcSegFromTool(tool).elements.empty());
            EXPECT_TRUE(Planar::ToPolyline(tool, T(0.01)).points.empty());
        }
        EXPECT_TRUE(
            Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{bad, 1, 1}).elements.empty());
        EXPECT_TRUE(
            Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{1, bad, 1}).elements.empty());
        EXPECT_TRUE(
            Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{1, 1, bad}).elements.empty());
    }
    const T most = std::numeric_limits<T>::max();
    EXPECT_TRUE(Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{most, most, kHalfPi<T>,
                                                                         most, T(1.5), most, most})
                    .elements.empty());
}

TYPED_TEST(Tools, PolylineIsThatOfTheChain)
{
    using T = TypeParam;
    const Mill::ConvexStandardToolBase<T> convex{2, 4, kHalfPi<T>, 3, T(0.5), 2, 5};
    const Mill::CylindricalToolBase<T> cylinder{3, 2, 9};
    for (const T tol : {T(0.5), T(0.01), T(0), T(-1), std::numeric_limits<T>::quiet_NaN()}) {
        EXPECT_EQ(Planar::ToPolyline(convex, tol),
                  Planar::ToPolyline(Mill::PolyArcSegFromTool(convex), tol));
        EXPECT_EQ(Planar::ToPolyline(cylinder, tol),
                  Planar::ToPolyline(Mill::PolyArcSegFromTool(cylinder), tol));
    }
    // Both names spelled out, and the form for chains beside them.
    EXPECT_EQ((Planar::ToPolyline<Mill::CylindricalToolBase<T>, T>(cylinder, T(0.1))),
              Planar::ToPolyline<T>(
                  Mill::PolyArcSegFromTool<Mill::CylindricalToolBase<T>, T>(cylinder), T(0.1)));
}

} // namespace
