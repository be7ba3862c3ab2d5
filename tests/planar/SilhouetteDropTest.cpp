#include <Sorvane/Silhouette_E.h>

#include "tests/support/Random.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Outline = std::vector<Vec2d>;
constexpr double kNothing = std::numeric_limits<double>::lowest();

/// Highest (sense 1) or lowest (sense -1) y of a polyline at x, ends of its edges included.
double Extreme(const Outline& line, double x, double sense)
{
    double best = -std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < line.size(); ++i) {
        const Vec2d& a = line[i - 1];
        const Vec2d& b = line[i];
        if (x < std::min(a.x(), b.x()) || x > std::max(a.x(), b.x())) {
            continue;
        }
        const double t = a.x() == b.x() ? 0 : (x - a.x()) / (b.x() - a.x());
        best = std::max(best, sense * (a.y() + t * (b.y() - a.y())));
        best = std::max(best, a.x() == b.x() ? sense * b.y() : best);
    }
    return sense * best;
}

/// The height at which the closed tool first touches: at a vertex of either.
double FirstTouch(double x, Outline tool, const Outline& target)
{
    tool.push_back(tool.front());
    double height = -std::numeric_limits<double>::infinity();
    for (const Vec2d& corner : tool) {
        height = std::max(height, Extreme(target, x + corner.x(), 1) - corner.y());
    }
    for (const Vec2d& corner : target) {
        height = std::max(height, corner.y() - Extreme(tool, corner.x() - x, -1));
    }
    return height;
}

Outline RandomOutline(Support::Random& random, int corners, double size)
{
    Outline outline;
    for (int i = 0; i < corners; ++i) {
        outline.push_back({random.Between(-size, size), random.Between(-size, size)});
    }
    return outline;
}

const Outline kSquareTool{{-1, 0}, {1, 0}, {1, 2}, {-1, 2}};

template <class T>
std::vector<VecBase<2, T>> As(const Outline& outline)
{
    std::vector<VecBase<2, T>> result;
    for (const Vec2d& p : outline) {
        result.push_back({static_cast<T>(p.x()), static_cast<T>(p.y())});
    }
    return result;
}

} // namespace

TEST(SilhouetteDrop, ASquareToolStandsOnTheHighestOfWhatItCovers)
{
    const Outline steps{{0, 0}, {4, 0}, {4, 3}, {8, 3}, {8, 1}, {12, 1}};
    EXPECT_NEAR(VerticalDropOnTarget<double>(2, kSquareTool, steps), 0, 1e-12);
    EXPECT_NEAR(VerticalDropOnTarget<double>(3.5, kSquareTool, steps), 3, 1e-12);
    EXPECT_NEAR(VerticalDropOnTarget<double>(8.5, kSquareTool, steps), 3, 1e-12);
    EXPECT_NEAR(VerticalDropOnTarget<double>(10, kSquareTool, steps), 1, 1e-12);
}

// The half-open test: an edge counts at its smaller x and not at its larger one.
TEST(SilhouetteDrop, StandsAtTheLeftEndAndNotAtTheRightEnd)
{
    const Outline line{{0, 5}, {4, 5}};
    EXPECT_NEAR(VerticalDropOnTarget<double>(-1, kSquareTool, line), 5, 1e-12);
    EXPECT_EQ(VerticalDropOnTarget<double>(5, kSquareTool, line), kNothing);
    EXPECT_EQ(VerticalDropOnTarget<double>(-1.001, kSquareTool, line), kNothing);
    EXPECT_NEAR(VerticalDropOnTarget<double>(4.999, kSquareTool, line), 5, 1e-12);
}

// Tool and target upright: all that the loop has at its only x are upright stretches.
TEST(SilhouetteDrop, UprightEdgesAreNoSupport)
{
    EXPECT_EQ(VerticalDropOnTarget<double>(0, {{0, 0}, {0, 1}}, {{0, 0}, {0, 4}}), kNothing);
}

TEST(SilhouetteDrop, AToolOverhangingBothSidesStandsOnTheTop)
{
    EXPECT_NEAR(VerticalDropOnTarget<double>(0.2, {{-9, 0}, {9, 0}, {9, 1}, {-9, 1}},
                                             {{-1, 0}, {0, 3}, {1, 0}}),
                3, 1e-12);
}

TEST(SilhouetteDrop, TheToolIsClosedAndTheTargetIsNot)
{
    // Without its closing edge, along the bottom, the tool would stand on the lip of its sides
    // alone.
    const Outline open{{1, 0}, {1, 2}, {-1, 2}, {-1, 0}};
    const Outline peg{{-0.1, 0}, {0, 3}, {0.1, 0}};
    EXPECT_NEAR(VerticalDropOnTarget<double>(0, open, peg), 3, 1e-12);
    Outline closed = open;
    closed.push_back({1 + 1e-13, 0});
    EXPECT_NEAR(VerticalDropOnTarget<double>(0, closed, peg), 3, 1e-12);
    // The target's ends are apart: nothing spans the gap between them.
    const Outline cup{{-3, 4}, {-3, 0}, {3, 0}, {3, 4}};
    EXPECT_NEAR(VerticalDropOnTarget<double>(0, kSquareTool, cup), 0, 1e-12);
}

TEST(SilhouetteDrop, AgreesWithAllVerticesOfBoth)
{
    Support::Random random(3);
    for (const double offset : {0.0, 1e5}) {
        for (int round = 0; round < Support::Rounds(300); ++round) {
            const Outline tool = RandomOutline(random, 3 + random.Below(6), 2);
            Outline target = RandomOutline(random, 2 + random.Below(11), 6);
            for (Vec2d& p : target) {
                p += Vec2d(offset, -offset);
            }
            const double x = offset + random.Between(-8, 8);
            const double expected = FirstTouch(x, tool, target);
            const double height = VerticalDropOnTarget<double>(x, tool, target);
            if (std::isfinite(expected)) {
                ASSERT_NEAR(height, expected, 1e-9 * (1 + offset)) << round;
            } else {
                ASSERT_EQ(height, kNothing);
            }
        }
    }
}

TEST(SilhouetteDrop, NothingAndNotANumberTouchNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(VerticalDropOnTarget<double>(0, {}, {{-1, 0}, {1, 0}}), kNothing);
    EXPECT_EQ(VerticalDropOnTarget<double>(0, kSquareTool, {}), kNothing);
    EXPECT_EQ(VerticalDropOnTarget<double>(nan, kSquareTool, {{-1, 0}, {1, 0}}), kNothing);
    EXPECT_EQ(VerticalDropOnTarget<double>(0, kSquareTool, {{nan, 0}, {1, 0}}), kNothing);
    EXPECT_EQ(VerticalDropOnTarget<float>(0, {}, {}), std::numeric_limits<float>::lowest());
}

TEST(SilhouetteDrop, OfFloatIsThatOfDouble)
{
    const Outline target{{0, 0}, {3, 1}, {5, 0.5}};
    for (const double x : {0.25, 1.5, 3.75}) {
        EXPECT_FLOAT_EQ(VerticalDropOnTarget<float>(static_cast<float>(x), As<float>(kSquareTool),
                                                    As<float>(target)),
                        static_cast<float>(VerticalDropOnTarget<double>(x, kSquareTool, target)));
    }
}

// A cone of 45 degrees over a rod of radius 1: the rim of the rod stops it at 1 below its height.
TEST(SilhouetteDropProfile, ConeOverARod)
{
    const Outline cone{{0, 0}, {5, 5}, {0, 5}};
    const Outline rod{{0, 0}, {1, 0}, {1, 7}};
    EXPECT_NEAR(DropProfileOfRevolution<double>(cone, rod, false), 6, 1e-9);
    EXPECT_NEAR(DropProfileOfRevolution<float>(As<float>(cone), As<float>(rod), false), 6, 1e-5);
}

// With its top the rod's outline runs to the axis, and the tip of the cone meets it there.
TEST(SilhouetteDropProfile, AFlatTopCountsUnlessItIsTrimmed)
{
    const Outline cone{{0, 0}, {5, 5}, {0, 5}};
    const Outline rod{{0, 0}, {1, 0}, {1, 7}, {0.5, 7}, {0, 7}};
    EXPECT_NEAR(DropProfileOfRevolution<double>(cone, rod, false), 7, 1e-9);
    EXPECT_NEAR(DropProfileOfRevolution<double>(cone, rod, true), 6, 1e-9);
    // Two points stay, however flat: a disk, which the tip meets in its center.
    EXPECT_NEAR(DropProfileOfRevolution<double>(cone, {{0, 7}, {1, 7}, {0.5, 7}}, true), 7, 1e-9);
}

// The last point of the tool has no mirror image: beside the axis it makes the tool lopsided.
TEST(SilhouetteDropProfile, TheLastPointOfTheToolIsNotMirrored)
{
    // The corners (0, 0), (2, 2), (-2, 2)... without the mirror image of (3, 0): a blade that hangs
    // down to 0 on the right and ends at 2 on the left.
    const Outline tool{{0, 2}, {2, 2}, {3, 0}};
    const Outline left{{-3.5, 1}, {-2.5, 1}};
    const Outline right{{2.5, 1}, {3.5, 1}};
    const auto lowered = [&](const Outline& whole, const Outline& target) {
        return VerticalDropOnTarget<double>(0, whole, target);
    };
    EXPECT_NEAR(lowered({{0, 2}, {2, 2}, {3, 0}, {2, 2}, {0, 2}}, right), 1, 1e-9);
    // Of revolution: both rims would rest on a ring; the one on the right does alone.
    const Outline ring{{0, -9}, {2.9, -9}, {2.9, 1}, {3.1, 1}, {3.1, -9}};
    EXPECT_NEAR(DropProfileOfRevolution<double>(tool, ring, false), 1, 1e-9);
    EXPECT_EQ(lowered({{0, 2}, {2, 2}, {3, 0}, {-2, 2}, {0, 2}}, left), kNothing);
}

// A rod under the skew edge from the rim on the right to the shoulder on the left: the rod's corner
// at 0.1 meets it 2 - 0.4 * 2.1 above the tool's origin. A mirrored rim would close the tool
// straight across, at 0.
TEST(SilhouetteDropProfile, ALopsidedToolRestsOnItsSkewEdge)
{
    EXPECT_NEAR(DropProfileOfRevolution<double>({{0, 2}, {2, 2}, {3, 0}},
                                                {{0, 0}, {0.1, 0}, {0.1, 7}}, false),
                7 - (2 - 0.4 * 2.1), 1e-9);
}

// A bell over a disk rests on its rim; over the middle point alone it would come down by its
// hollow. The disk has two points left, however flat it is.
TEST(SilhouetteDropProfile, TrimmingLeavesTwoPoints)
{
    const Outline bell{{0, 2}, {0.8, 0}, {0.9, 0}, {0.9, 3}, {0, 3}};
    EXPECT_NEAR(DropProfileOfRevolution<double>(bell, {{0, 7}, {1, 7}, {0.5, 7}}, true), 7, 1e-9);
}

// Of a target that begins beside the axis the mirror image of the first point is there once, and
// the line from it runs to the second: (-2, 0) to (3, 5), which passes the axis at 2.
TEST(SilhouetteDropProfile, TheFirstPointOfTheTargetIsThereOnce)
{
    const Outline needle{{0, 0}, {0.001, 9}, {0, 9}};
    EXPECT_NEAR(DropProfileOfRevolution<double>(needle, {{2, 0}, {3, 5}}, false), 2, 0.01);
}

TEST(SilhouetteDropProfile, FewerThanTwoToolPointsGiveZero)
{
    EXPECT_EQ(DropProfileOfRevolution<double>({}, {{0, 0}, {1, 5}}, false), 0);
    EXPECT_EQ(DropProfileOfRevolution<double>({{0, 1}}, {{0, 0}, {1, 5}}, false), 0);
    EXPECT_EQ(DropProfileOfRevolution<double>({{0, 0}, {1, 1}, {0, 1}}, {}, true), kNothing);
}
