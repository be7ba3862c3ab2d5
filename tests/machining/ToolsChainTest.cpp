// How tools are read from chains, and what makes one the better fit.

#include "machining/ToolsFit_Impl.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::Impl::FitMeasures;
using Mill::Impl::IsBetterFit;

TEST(ToolsFitRule, MeanMustBeLowerAndTheRestNoWorseThanItsShare)
{
    const FitMeasures best{1, 1, 1};
    constexpr double kTolerance = 0.1;
    const auto replaces = [&](double point, double hull, double mean) {
        return IsBetterFit({point, hull, mean}, best, kTolerance);
    };
    EXPECT_TRUE(replaces(1, 1, 0.999));
    EXPECT_FALSE(replaces(0.5, 0.5, 1)); // equal means: the best stays
    EXPECT_FALSE(replaces(0.5, 0.5, 1.1));
    EXPECT_TRUE(replaces(1, 1.0009, 0.9)); // a hundredth of the tolerance
    EXPECT_FALSE(replaces(1, 1.0011, 0.9));
    EXPECT_TRUE(replaces(1.049, 1, 0.9)); // half of it
    EXPECT_FALSE(replaces(1.051, 1, 0.9));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(replaces(1, 1, nan));
    EXPECT_FALSE(replaces(nan, 1, 0.9));
    EXPECT_FALSE(replaces(1, nan, 0.9));
    EXPECT_FALSE(IsBetterFit({1, 1.0009, 0.9}, best, nan));
}

std::vector<Vec2d> QuarterEllipse(int count)
{
    std::vector<Vec2d> points{{0, 0}};
    for (int i = 1; i <= count; ++i) {
        const double angle = 1.5707963267948966 * i / count;
        points.push_back({10 * std::sin(angle), 6 * (1 - std::cos(angle))});
    }
    return points;
}

// Its chain has some twenty arcs that turn by less than a tenth of a radian each. A tool has two,
// which do not fit each other here, so that the reading ends after the first: one that turns by
// much more, of a radius as the ellipse has there.
TEST(ToolsChain, ElementsAreMergedUntilAToolCanHaveThem)
{
    Mill::Impl::WideTool tool;
    ASSERT_TRUE(Mill::Impl::ToolFromChain(QuarterEllipse(300), std::hypot(10, 6), 0.001, tool));
    EXPECT_GT(tool.lowerCornerAngle - tool.taperAngle, 0.3);
    EXPECT_GT(tool.lowerCornerRadius, 36.0 / 10);
    EXPECT_LT(tool.lowerCornerRadius, 100.0 / 6);
}

TEST(ToolsChain, NoChainAtANegativeTolerance)
{
    Mill::Impl::WideTool tool;
    EXPECT_FALSE(Mill::Impl::ToolFromChain(QuarterEllipse(20), 12, -1, tool));
}

} // namespace
