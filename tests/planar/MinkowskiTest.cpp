// Dilation and contraction by a tool, against Minkowski sums counted point by point; outlines compared.

#include <Sorvane/Minkowski_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

using Polyline = std::vector<Vec2d>;

Polyline RegularPolygon(int corners, double radius)
{
    Polyline polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = 6.283185307179586 * (i + 0.3) / corners;
        polygon.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    return polygon;
}

/// The tool reflected and moved to (x, y): the set of all p with (x, y) - p in the tool.
Polyline ReflectedAt(const Polyline& tool, double x, double y)
{
    Polyline moved;
    for (const Vec2d& point : tool) {
        moved.push_back({x - point.x(), y - point.y()});
    }
    return moved;
}

bool Cross(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const auto side = [](const Vec2d& p, const Vec2d& q, const Vec2d& r) {
        return (q.x() - p.x()) * (r.y() - p.y()) - (q.y() - p.y()) * (r.x() - p.x()) > 0;
    };
    return side(a, b, c) != side(a, b, d) && side(c, d, a) != side(c, d, b);
}

bool IsIn(const Loops& loops, const Vec2d& point)
{
    return WindingNumber(loops, point.x(), point.y()) > 0;
}

/// Does the tool with its reflection at (x, y) meet the path?
bool IsSwept(const Polyline& tool, const Polyline& path, double x, double y)
{
    const Polyline moved = ReflectedAt(tool, x, y);
    for (std::size_t j = 0; j < path.size(); ++j) {
        if (IsIn({moved}, path[j])) {
            return true;
        }
        for (std::size_t i = 0; j + 1 < path.size() && i < moved.size(); ++i) {
            if (Cross(path[j], path[j + 1], moved[i], moved[(i + 1) % moved.size()])) {
                return true;
            }
        }
    }
    return false;
}

/// Is (x, y) the sum of a point of the area and one of the tool?
bool IsInSum(const Polyline& tool, const Loops& area, double x, double y)
{
    for (const Polyline& loop : area) {
        if (IsSwept(tool, loop, x, y)) {
            return true;
        }
    }
    return IsIn(area, ReflectedAt(tool, x, y).front());
}

/// Samples a region against `isInside`, but not nearer than the grid's accuracy to its boundary.
template <class IsInside>
void ExpectRegion(const Loops& region, double low, double high, double resolution,
                  const IsInside& isInside)
{
    constexpr int kAcross = 60;
    for (int i = 0; i < kAcross; ++i) {
        for (int j = 0; j < kAcross; ++j) {
            const double x = low + (high - low) * (i + 0.4142) / kAcross;
            const double y = low + (high - low) * (j + 0.7321) / kAcross;
            if (DistanceToLoops(region, x, y) > 4 * resolution) {
                ASSERT_EQ(WindingNumber(region, x, y), isInside(x, y) ? 1 : 0) << x << " " << y;
            }
        }
    }
}

const Polyline kSquareTool{{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};

std::vector<Polyline> Tools()
{
    return {kSquareTool,
            {{0.2, 0.1}, {1.4, 0.3}, {0.5, 1.6}},                                  // beside its origin
            RegularPolygon(48, 1.3),
            {{-1, -1}, {1, -1}, {1, 1}, {0.3, 1}, {0.3, -0.4}, {-0.3, -0.4}, {-0.3, 1}, {-1, 1}}, // a U
            Rectangle(-0.5, -2, 0.25, 0.5)};                                       // closed
}

TEST(Dilation, OfPathsIsWhatTheToolSweeps)
{
    Random random(3);
    for (const Polyline& tool : Tools()) {
        for (int round = 0; round < 3; ++round) {
            Loops paths(2);
            for (int i = 0; i < 2 + 4 * round; ++i) {
                paths[0].push_back({random.Between(-4, 4), random.Between(-4, 4)});
            }
            paths[1].push_back({random.Between(-4, 4), random.Between(-4, 4)});
            double resolution = 0;
            const Loops swept = DilatePaths(tool, paths, &resolution);
            EXPECT_GT(resolution, 0);
            ExpectRegion(swept, -7, 7, resolution, [&](double x, double y) {
                return IsSwept(tool, paths[0], x, y) || IsSwept(tool, paths[1], x, y);
            });
        }
    }
}

TEST(Dilation, OfAreasIsTheMinkowskiSum)
{
    const Loops areas[] = {
        {Rectangle(-4, -4, 4, 4), Reversed(Rectangle(-2.5, -2.5, 2.5, 2.5))},
        {{{-4, -4}, {4, -4}, {4, 4}, {3, 4}, {3, -3}, {-3, -3}, {-3, 4}, {-4, 4}, {-4, -4}}},
        {Rectangle(-4, -4, -3, -3), Rectangle(2, 2, 4, 3), Rectangle(3, -3, 4, 4)}};
    for (const Polyline& tool : Tools()) {
        for (const Loops& area : areas) {
            double resolution = 0;
            const Loops sum = DilateMultipleAreas(tool, area, &resolution);
            ExpectRegion(sum, -7, 7, resolution,
                         [&](double x, double y) { return IsInSum(tool, area, x, y); });
        }
    }
}

TEST(Contraction, ByAToolFarFromItsOriginIsMovedAsMuch)
{
    for (const double far : {-40.0, -3.0, 5.0, 70.0}) {
        const Polyline tool = Rectangle(far, -far, far + 1, 1 - far);
        const Loops left = ContractMultipleAreas<double>(tool, {Rectangle(0, 0, 4, 4)}, nullptr);
        ASSERT_EQ(left.size(), 1U);
        EXPECT_NEAR(AreaUnder(left), 9, 1e-5);
        EXPECT_EQ(WindingNumber(left, far + 1.1, 1.1 - far), 1);
        EXPECT_EQ(WindingNumber(left, far + 3.9, 3.9 - far), 1);
    }
}

TEST(Contraction, IsWhatTheOutsideDoesNotReach)
{
    const Loops area{Rectangle(-6, -6, 6, 6), Reversed(Rectangle(-1, -1, 2, 1))};
    const Loops outside{Rectangle(-60, -60, 60, 60), Reversed(area[0]), Reversed(area[1])};
    for (const Polyline& tool : Tools()) {
        double resolution = 0;
        const Loops left = ContractArea(tool, area[0], {area[1]}, &resolution);
        ExpectRegion(left, -7, 7, resolution,
                     [&](double x, double y) { return !IsInSum(tool, outside, x, y); });
    }
}

template <class T>
class DilationOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(DilationOf, Scalars);

TYPED_TEST(DilationOf, ASquareByASquareIsASquare)
{
    using T = TypeParam;
    using Tool = std::vector<VecBase<2, T>>;
    const auto area = Rectangle<T>(0, 0, 10, 10);
    const Tool tool{{T(-1), T(-1)}, {T(1), T(-1)}, {T(1), T(1)}, {T(-1), T(1)}};
    // Around the middle of the tool, wherever its first point is; whichever way the loops run.
    const Tool turned{tool[2], tool[3], tool[0], tool[1]};
    for (const Tool& each : {tool, turned}) {
        T resolution{0};
        const auto grown = DilateArea<T>(each, area, {}, &resolution);
        ASSERT_EQ(grown.size(), 1U);
        EXPECT_NEAR(AreaUnder(grown), 144, 1e-4);
        EXPECT_NEAR(resolution, std::sqrt(8.0) * 12 / 1073741824, 1e-14);
        EXPECT_NEAR(AreaUnder(DilateArea<T>(each, Reversed(area), {}, nullptr)), 144, 1e-4);
        EXPECT_NEAR(AreaUnder(ContractArea<T>(each, area, {}, nullptr)), 64, 1e-4);
        EXPECT_NEAR(AreaUnder(ContractArea<T>(each, Reversed(area), {}, nullptr)), 64, 1e-4);
        // A hole shrinks where the area grows.
        const auto hole = Rectangle<T>(3, 3, 7, 7);
        EXPECT_NEAR(AreaUnder(DilateArea<T>(each, area, {hole}, nullptr)), 140, 1e-4);
        EXPECT_NEAR(AreaUnder(DilateArea<T>(each, area, {Reversed(hole)}, nullptr)), 140, 1e-4);
    }
}

TYPED_TEST(DilationOf, ToolsAndAreasWithoutExtent)
{
    using T = TypeParam;
    using Tool = std::vector<VecBase<2, T>>;
    const LoopsOf<T> areas{Rectangle<T>(0, 0, 10, 10)};
    const T bad = std::numeric_limits<T>::quiet_NaN();
    T resolution{5};
    const auto expectNothing = [&](const LoopsOf<T>& result) {
        EXPECT_TRUE(result.empty());
        EXPECT_EQ(resolution, T{0});
        resolution = 5;
    };
    const Tool two{{T(0), T(0)}, {T(1), T(0)}};
    const Tool square{{T(-1), T(-1)}, {T(1), T(-1)}, {T(1), T(1)}, {T(-1), T(1)}};
    expectNothing(DilatePaths<T>({}, areas, &resolution));
    expectNothing(DilatePaths<T>(two, areas, &resolution));
    expectNothing(DilatePaths<T>(square, {}, &resolution));
    expectNothing(DilatePaths<T>(square, {{}, {{bad, T(0)}}}, &resolution));
    expectNothing(DilatePaths<T>({{T(0), T(0)}, {T(1), bad}, {T(1), T(1)}}, areas, &resolution));
    expectNothing(DilateMultipleAreas<T>({}, areas, &resolution));
    expectNothing(DilateMultipleAreas<T>(square, {}, &resolution));
    expectNothing(ContractMultipleAreas<T>({}, areas, &resolution));
    expectNothing(ContractMultipleAreas<T>(square, {}, &resolution));
    expectNothing(ContractMultipleAreas<T>(square, {{}}, &resolution));
    expectNothing(MinkowskiFilterMultipleAreas<T>({}, square, areas, &resolution));
    // A tool of one point moves the area.
    const auto moved = DilateMultipleAreas<T>({{T(3), T(4)}}, areas, &resolution);
    ASSERT_EQ(moved.size(), 1U);
    EXPECT_NEAR(AreaUnder(moved), 100, 1e-4);
    EXPECT_EQ(WindingNumber(moved, 12.9, 13.9), 1);
    EXPECT_EQ(WindingNumber(moved, 3.1, 3.9), 0);
    // Where the tool does not fit, nothing is left.
    EXPECT_TRUE(ContractArea<T>(Rectangle<T>(-6, -6, 6, 6), areas[0], {}, nullptr).empty());
}

TEST(Dilation, IsTakenAboutTheOriginOfTheTool)
{
    const Polyline tool = Rectangle(0, 0, 2, 2);
    const Loops grown = DilateMultipleAreas<double>(tool, {Rectangle(0, 0, 10, 10)}, nullptr);
    EXPECT_NEAR(AreaUnder(grown), 144, 1e-6);
    EXPECT_EQ(WindingNumber(grown, 11.9, 11.9), 1);
    EXPECT_EQ(WindingNumber(grown, -0.1, 5), 0);
    // The tool is not reflected: contraction does not lead back.
    const Loops left = ContractMultipleAreas<double>(tool, grown, nullptr);
    EXPECT_NEAR(AreaUnder(left), 100, 1e-6);
    EXPECT_EQ(WindingNumber(left, 1.9, 5), 0);
    EXPECT_EQ(WindingNumber(left, 11.9, 11.9), 1);
}

TEST(Dilation, TakesLoopsOfManyAreasAsTheyRun)
{
    // The sum of areas is negative, which turns all of them: a clockwise square comes out smaller.
    const Loops region = DilateMultipleAreas<double>(
        kSquareTool, {Reversed(Rectangle(0, 0, 10, 10))}, nullptr);
    EXPECT_NEAR(AreaUnder(region), 64, 1e-6);
    // The closing edge of an open loop isn't swept.
    // The copy of the area, moved by the tool's first point to [1, 11] x [1, 11], leaves a strip of 2 by 8 bare.
    Polyline open = Rectangle(0, 0, 10, 10);
    open.pop_back();
    const Polyline turned{kSquareTool[2], kSquareTool[3], kSquareTool[0], kSquareTool[1]};
    EXPECT_NEAR(AreaUnder(DilateMultipleAreas<double>(turned, {open}, nullptr)), 144 - 16, 1e-6);
}

TEST(Dilation, OfAClockwiseToolIsNotASum)
{
    const Loops path{{{0, 0}, {10, 0}, {10, 10}}};
    EXPECT_NEAR(AreaUnder(DilatePaths<double>(kSquareTool, path, nullptr)), 44, 1e-6);
    EXPECT_NEAR(AreaUnder(DilatePaths<double>(Reversed(kSquareTool), path, nullptr)), 36, 1e-6);
}

TEST(MinkowskiFilter, ClosesGapsAndTellsTheErrorOfBothSteps)
{
    const Loops areas{Rectangle(0, 0, 4, 10), Rectangle(5, 0, 9, 10)};
    double resolution = 0;
    const Loops closed = MinkowskiFilterMultipleAreas(kSquareTool, kSquareTool, areas, &resolution);
    ASSERT_EQ(closed.size(), 1U);
    EXPECT_NEAR(AreaUnder(closed), 90, 1e-6);
    EXPECT_TRUE(MinkowskiFilterMultipleAreas<double>(kSquareTool, kSquareTool, areas, nullptr) ==
                closed);
    double ofDilation = 0;
    double ofContraction = 0;
    ContractMultipleAreas(kSquareTool, DilateMultipleAreas(kSquareTool, areas, &ofDilation),
                          &ofContraction);
    EXPECT_DOUBLE_EQ(resolution, ofDilation + ofContraction);
    // A gap that the tool fits into stays.
    const Loops apart{Rectangle(0, 0, 4, 10), Rectangle(7, 0, 9, 10)};
    EXPECT_NEAR(AreaUnder(MinkowskiFilterMultipleAreas<double>(kSquareTool, kSquareTool, apart,
                                                               nullptr)),
                60, 1e-6);
}

} // namespace
