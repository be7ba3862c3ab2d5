// Half profiles of tools.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/Tools_E.h>

#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

template <class T>
class ToolProfile : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ToolProfile, Coordinates);

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

TYPED_TEST(ToolProfile, AllZeroIsTheEmptyChain)
{
    using T = TypeParam;
    EXPECT_TRUE(Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{}).elements.empty());
    EXPECT_TRUE(Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{}).elements.empty());
}

TYPED_TEST(ToolProfile, ShankAloneStartsAtTheOrigin)
{
    using T = TypeParam;
    const auto chain =
        Mill::PolyArcSegFromTool(Mill::ConvexStandardToolBase<T>{0, 0, 0, 0, 0, 0, 7});
    ASSERT_EQ(chain.elements.size(), 1U);
    ExpectPoint(chain.elements[0].StartPoint(), 0, 0);
    ExpectPoint(chain.elements[0].EndPoint(), 0, 7);
    EXPECT_EQ(chain, Mill::PolyArcSegFromTool(Mill::CylindricalToolBase<T>{0, 0, 7}));
}

TYPED_TEST(ToolProfile, BallIsOneQuarterCircle)
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

} // namespace
