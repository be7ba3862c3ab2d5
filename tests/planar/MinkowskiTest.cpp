// Dilation and contraction by a tool, against Minkowski sums counted point by point; outlines
// compared.

#include <Sorvane/Minkowski_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
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
    constexpr int kAcross = Support::FullOr(60, 30);
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
    return {
        kSquareTool,
        {{0.2, 0.1}, {1.4, 0.3}, {0.5, 1.6}}, // beside its origin
        RegularPolygon(48, 1.3),
        {{-1, -1}, {1, -1}, {1, 1}, {0.3, 1}, {0.3, -0.4}, {-0.3, -0.4}, {-0.3, 1}, {-1, 1}}, // a U
        Rectangle(-0.5, -2, 0.25, 0.5)}; // closed
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
    const Loops region =
        DilateMultipleAreas<double>(kSquareTool, {Reversed(Rectangle(0, 0, 10, 10))}, nullptr);
    EXPECT_NEAR(AreaUnder(region), 64, 1e-6);
    // The closing edge of an open loop isn't swept.
    // The copy of the area, moved by the tool's first point to [1, 11] x [1, 11], leaves a strip of
    // 2 by 8 bare.
    Polyline open = Rectangle(0, 0, 10, 10);
    open.pop_back();
    const Polyline turned{kSquareTool[2], kSquareTool[3], kSquareTool[0], kSquareTool[1]};
    EXPECT_NEAR(AreaUnder(DilateMultipleAreas<double>(turned, {open}, nullptr)), 144 - 16, 1e-6);
    // With a first point to the left the copy covers what the missing edge would have swept.
    const Polyline left{kSquareTool[3], kSquareTool[0], kSquareTool[1], kSquareTool[2]};
    EXPECT_NEAR(AreaUnder(DilateMultipleAreas<double>(left, {open}, nullptr)), 144, 1e-6);
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
    EXPECT_NEAR(
        AreaUnder(MinkowskiFilterMultipleAreas<double>(kSquareTool, kSquareTool, apart, nullptr)),
        60, 1e-6);
}

Polyline ReflectedTool(const Polyline& tool) { return ReflectedAt(tool, 0, 0); }

TEST(MinkowskiFilter, WithTheReflectedToolHoldsTheAreaAndClosesOnce)
{
    const Loops area{
        {{0, 0}, {30, 0}, {30, 18}, {19, 18}, {19, 10}, {17.5, 10}, {17.5, 18}, {0, 18}, {0, 0}},
        Reversed(Rectangle(5, 4, 12, 12)),
        Reversed(Rectangle(22, 4, 23, 5))};
    for (const Polyline& tool :
         {Polyline{{0, 0}, {2, 0.5}, {2.5, 2}, {0.5, 2}}, RegularPolygon(31, 1.1)}) {
        double resolution = 0;
        const Loops closed =
            MinkowskiFilterMultipleAreas(tool, ReflectedTool(tool), area, &resolution);
        // The slot and the small window are gone, the large window is not.
        EXPECT_EQ(WindingNumber(closed, 18.2, 12), 1);
        EXPECT_EQ(WindingNumber(closed, 22.5, 4.5), 1);
        EXPECT_EQ(WindingNumber(closed, 8, 8), 0);
        ExpectRegion(area, -1, 31, resolution, [&](double x, double y) {
            return IsIn(area, {x, y}) && IsIn(closed, {x, y});
        });
        const Loops again =
            MinkowskiFilterMultipleAreas<double>(tool, ReflectedTool(tool), closed, nullptr);
        EXPECT_NEAR(AreaUnder(again), AreaUnder(closed), 1e-4);
    }
}

TEST(Contraction, ByTheReflectedToolIsWhereTheToolFits)
{
    const Polyline tool{{0.2, 0.1}, {1.4, 0.3}, {0.5, 1.6}};
    const Loops area{Rectangle(0, 0, 12, 9), Reversed(Rectangle(4, 3, 6, 6))};
    double resolution = 0;
    const Loops left = ContractMultipleAreas(ReflectedTool(tool), area, &resolution);
    ExpectRegion(left, -1, 13, resolution, [&](double x, double y) {
        // Neither does an edge of the tool cross one of the area, nor is the area's window in the
        // tool.
        Polyline placed;
        for (const Vec2d& point : tool) {
            placed.push_back({point.x() + x, point.y() + y});
            if (!IsIn(area, placed.back())) {
                return false;
            }
        }
        for (std::size_t i = 0; i < placed.size(); ++i) {
            for (const Polyline& loop : area) {
                for (std::size_t j = 0; j + 1 < loop.size(); ++j) {
                    if (Cross(placed[i], placed[(i + 1) % placed.size()], loop[j], loop[j + 1])) {
                        return false;
                    }
                }
            }
        }
        return true;
    });
}

double Extent(const Polyline& line, int axis)
{
    const auto [low, high] =
        std::minmax_element(line.begin(), line.end(),
                            [axis](const Vec2d& p, const Vec2d& q) { return p[axis] < q[axis]; });
    return (*high)[axis] - (*low)[axis];
}

TEST(Contraction, TellsTheGridOfItsFrame)
{
    double resolution = 0;
    ContractArea(kSquareTool, Rectangle(0, 0, 10, 8), {}, &resolution);
    // The longer side, the diagonal of the tool on both ends, and what the frame grows by.
    EXPECT_NEAR(resolution, std::sqrt(8.0) * (10 + 2 * std::sqrt(8.0) + 2) * 0x1p-30, 1e-16);
}

TEST(Contraction, ByToolsOfLittleExtent)
{
    const Polyline lShape{{0, 0}, {10, 0}, {10, 4}, {4, 4}, {4, 10}, {0, 10}, {0, 0}};
    // One point moves the area, two move it by their first.
    for (const Polyline& tool :
         {Polyline{{3, 4}}, Polyline{{3, 4}, {5, 4}}, Polyline{{3, 4}, {3, 4}, {3, 4}}}) {
        const Loops left = ContractMultipleAreas<double>(tool, {lShape}, nullptr);
        ASSERT_EQ(left.size(), 1U);
        EXPECT_NEAR(AreaUnder(left), 64, 1e-6);
        EXPECT_EQ(WindingNumber(left, 12.9, 7.9), 1);
        EXPECT_EQ(WindingNumber(left, 3.1, 4.1), 1);
        EXPECT_EQ(WindingNumber(left, 8, 9), 0);
    }
    // Off a rectangle goes the box of the tool, however small, narrow or far away it is.
    Random random(4);
    for (int round = 0; round < 200; ++round) {
        const double size = std::pow(10.0, random.Between(-12, 1));
        const double squeeze = std::pow(10.0, random.Between(-3, 0));
        const Vec2d away(size * random.Between(-1000, 1000), random.Between(-40, 40));
        Polyline tool = RegularPolygon(3 + random.Below(9), size);
        for (Vec2d& point : tool) {
            point.y() *= squeeze;
        }
        for (Vec2d& point : tool) {
            point += away;
        }
        const Loops left = ContractArea<double>(tool, Rectangle(0, 0, 40, 30), {}, nullptr);
        const double expected =
            std::max(0.0, 40 - Extent(tool, 0)) * std::max(0.0, 30 - Extent(tool, 1));
        EXPECT_NEAR(AreaUnder(left), expected, 1e-5) << round;
    }
}

/// Area of the sum of two convex polygons that run counter-clockwise: theirs, and for each edge of
/// the first its length times how far the second reaches outward from it.
double AreaOfConvexSum(const Polyline& a, const Polyline& b)
{
    double area = AreaUnder<double>({a}) + AreaUnder<double>({b});
    for (std::size_t i = 0; i < a.size(); ++i) {
        const Vec2d& from = a[i];
        const Vec2d& to = a[(i + 1) % a.size()];
        double reach = -1e300;
        for (const Vec2d& point : b) {
            reach =
                std::max(reach, point.x() * (to.y() - from.y()) - point.y() * (to.x() - from.x()));
        }
        area += reach;
    }
    return area;
}

TEST(Dilation, OfConvexShapesHasTheMixedArea)
{
    for (const int corners : {3, 32, 400}) {
        for (const int points : {4, 60, 3000}) {
            const Polyline tool = RegularPolygon(corners, 2);
            Polyline area = RegularPolygon(points, 20);
            area.push_back(area.front());
            for (const double far : {0.0, 1e6}) {
                Polyline moved = area;
                for (Vec2d& point : moved) {
                    point += Vec2d(far, -far);
                }
                double resolution = 0;
                const Loops sum = DilateArea(tool, moved, {}, &resolution);
                ASSERT_EQ(sum.size(), 1U);
                // Each point within a cell: the area to the resolution times the length around.
                EXPECT_NEAR(AreaUnder(sum), AreaOfConvexSum(tool, area), 150 * resolution);
                const double longer =
                    std::max(Extent(tool, 0) + Extent(area, 0), Extent(tool, 1) + Extent(area, 1));
                EXPECT_NEAR(resolution, std::sqrt(8.0) * longer * 0x1p-30, 1e-16);
            }
        }
    }
}

TEST(Dilation, RepeatedPointsAndSignsOfZeroChangeNothing)
{
    const Polyline square{{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    const Polyline repeats{{-1, -1}, {-1, -1}, {0, -1}, {1, -1},
                           {1, 1},   {1, 1},   {-1, 1}, {-1, -1 + 5e-13}};
    const Polyline path{{0, 0}, {10, -0.0}, {10, 10}};
    const Polyline slowPath{{0, 0}, {0, 0}, {5, 0.0}, {10, -0.0}, {10, 0.0}, {10, 10}, {10, 10}};
    for (const Polyline& tool : {square, repeats}) {
        for (const Polyline& each : {path, slowPath}) {
            const Loops swept = DilatePaths<double>(tool, {each}, nullptr);
            ASSERT_EQ(swept.size(), 1U);
            EXPECT_NEAR(AreaUnder(swept), 44, 1e-6);
        }
    }
    // A path of one point is the tool there; there and back is as good as there.
    EXPECT_NEAR(AreaUnder(DilatePaths<double>(square, {{{5, 5}}}, nullptr)), 4, 1e-6);
    EXPECT_NEAR(AreaUnder(DilatePaths<double>(square, {{{0, 0}, {5, 0}, {0, 0}}}, nullptr)), 14,
                1e-6);
    // A point on the left edge of the result, and none beside it, from a tool that is -0 wide
    // there.
    EXPECT_NEAR(AreaUnder(DilatePaths<double>({{-0.0, 0.0}, {2, 0}, {0.0, 2}}, {{{0, 0}, {0, -3}}},
                                              nullptr)),
                2 + 6, 1e-6);
}

TEST(Dilation, PassesTheExceptionOn)
{
    const Loops area{Rectangle(0, 0, 4, 4)};
    const Polyline path{{0, 0}, {3, 1}};
    EXPECT_GT(FailEachAllocationOfResult(
                  [&] { return DilatePaths<double>(kSquareTool, {path}, nullptr); }),
              8U);
    EXPECT_GT(FailEachAllocationOfResult(
                  [&] { return ContractArea<double>(kSquareTool, area[0], {}, nullptr); }),
              8U);
    EXPECT_GT(FailEachAllocationOfResult([&] {
                  return MinkowskiFilterMultipleAreas<double>(kSquareTool, kSquareTool, area,
                                                              nullptr);
              }),
              8U);
}

} // namespace
