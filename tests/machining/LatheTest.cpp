#include <Sorvane/Lathe_E.h>
#include <Sorvane/Minkowski_E.h>

#include "tests/machining/LatheOutlines.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;

Outline Box(double x0, double y0, double x1, double y1)
{
    return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}};
}

/// Convex: corners of a circle's points at random angles.
Outline RandomConvex(Random& random, const Vec2d& center, double radius)
{
    std::vector<double> angles;
    for (int i = 0; i < 3 + random.Below(6); ++i) {
        angles.push_back(random.Between(0, 6.28));
    }
    std::sort(angles.begin(), angles.end());
    Outline outline;
    for (const double angle : angles) {
        outline.push_back(center + Vec2d(std::cos(angle), std::sin(angle)) * radius);
    }
    outline.push_back(outline.front());
    return outline;
}

double LengthOf(const Outlines& lines)
{
    double length = 0;
    for (const Outline& line : lines) {
        for (std::size_t i = 1; i < line.size(); ++i) {
            length += std::hypot(line[i].x() - line[i - 1].x(), line[i].y() - line[i - 1].y());
        }
    }
    return length;
}

/// How deep two convex bodies are in each other, below 0 how far apart at least: by the edges that
/// separate them best. Both run counter-clockwise.
double Penetration(const Outline& a, const Outline& b)
{
    double least = std::numeric_limits<double>::infinity();
    for (const auto& [body, other] : {std::pair(&a, &b), std::pair(&b, &a)}) {
        for (std::size_t i = 1; i < body->size(); ++i) {
            const Vec2d d = (*body)[i] - (*body)[i - 1];
            const double length = std::hypot(d.x(), d.y());
            if (length == 0) {
                continue;
            }
            double depth = -std::numeric_limits<double>::infinity();
            for (const Vec2d& p : *other) {
                const Vec2d way = p - (*body)[i - 1];
                depth = std::max(depth, (d.x() * way.y() - d.y() * way.x()) / length);
            }
            least = std::min(least, depth);
        }
    }
    return least;
}

/// Points along lines, `step` apart, without the ends.
Outline Samples(const Outlines& lines, double step)
{
    Outline samples;
    for (const Outline& line : lines) {
        for (std::size_t i = 1; i < line.size(); ++i) {
            const Vec2d d = line[i] - line[i - 1];
            const int count = 1 + static_cast<int>(std::hypot(d.x(), d.y()) / step);
            for (int k = 0; k < count; ++k) {
                samples.push_back(line[i - 1] + d * ((k + 0.5) / count));
            }
        }
    }
    return samples;
}

struct Regions {
    Outlines tool;
    Outlines holder;
    bool isWhole = false;
};

Regions RegionsOf(const Outline& tool, const Outline& holder, const Outline& target,
                  const Outlines& obstacles = {})
{
    Regions regions;
    regions.isWhole =
        Lathe::OuterOffsetRegions(tool, holder, target, obstacles, regions.tool, regions.holder);
    return regions;
}

const Outline kTool = Box(-1, 0, 1, 2);
const Outline kHolder = Box(-3, 2, 3, 6);
const Outline kTarget = Box(0, -5, 10, 0);

} // namespace

// The tool below its holder touches the top of the target and, down to where the holder meets the
// top, both of its sides; the rest is the holder's.
TEST(LatheRegions, AToolBelowItsHolder)
{
    const auto regions = RegionsOf(kTool, kHolder, kTarget);
    EXPECT_TRUE(regions.isWhole);
    EXPECT_NEAR(LengthOf(regions.tool), 16, 1e-9);
    EXPECT_NEAR(LengthOf(regions.holder), 38, 1e-9);
}

TEST(LatheRegions, WithoutHolderAndObstaclesThereIsNothingElse)
{
    const auto regions = RegionsOf(kTool, {}, kTarget);
    EXPECT_FALSE(regions.isWhole);
    ASSERT_EQ(regions.tool.size(), 1u);
    EXPECT_NEAR(LengthOf(regions.tool), 2 * (12 + 7), 1e-9);
    EXPECT_TRUE(regions.holder.empty());
}

// The tool goes all around the target, 12 by 7 for a tool of 2 by 2 about a block of 10 by 5, and
// there is nothing amiss. Obstacles part its way as they do for one with a holder.
TEST(LatheRegions, AToolWithoutAHolderNeedsNone)
{
    Regions regions;
    for (const Outlines& nothing : {Outlines{}, Outlines{{}}}) {
        EXPECT_TRUE(
            Lathe::OuterOffsetRegions(kTool, kTarget, nothing, regions.tool, regions.holder));
        ASSERT_EQ(regions.tool.size(), 1u);
        EXPECT_NEAR(LengthOf(regions.tool), 2 * (12 + 7), 1e-9);
        EXPECT_TRUE(regions.holder.empty());
    }
    const Outlines chuck{Box(9, -3, 12, -1)};
    EXPECT_TRUE(Lathe::OuterOffsetRegions(kTool, kTarget, chuck, regions.tool, regions.holder));
    const Regions told = RegionsOf(kTool, {}, kTarget, chuck);
    EXPECT_TRUE(told.isWhole);
    EXPECT_EQ(regions.tool, told.tool);
    EXPECT_EQ(regions.holder, told.holder);
    // What does not close is told of, and so is a target that is not there.
    EXPECT_FALSE(
        Lathe::OuterOffsetRegions({{0, 0}}, {{40, 0}, {41, 1}}, {}, regions.tool, regions.holder));
    EXPECT_FALSE(Lathe::OuterOffsetRegions(kTool, {}, {}, regions.tool, regions.holder));
    EXPECT_TRUE(regions.tool.empty() && regions.holder.empty());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(
        Lathe::OuterOffsetRegions(kTool, {{0, 0}, {nan, 1}}, {}, regions.tool, regions.holder));
}

TEST(LatheRegions, WithoutTargetNothingIsTouched)
{
    const auto regions = RegionsOf(kTool, kHolder, {});
    EXPECT_FALSE(regions.isWhole);
    EXPECT_TRUE(regions.tool.empty());
    EXPECT_TRUE(regions.holder.empty());
}

// Of obstacles alone the largest counts: 26 by 24 for the holder, and 22 by 2 above it for the
// tool.
TEST(LatheRegions, WithoutTargetTheLargestOfTheObstaclesIsLeft)
{
    const Outline large = Box(100, 100, 120, 120);
    const Outline small = Box(0, 0, 1, 1);
    for (const Outlines& obstacles : {Outlines{large, small}, Outlines{small, large}}) {
        const auto regions = RegionsOf(kTool, kHolder, {}, obstacles);
        EXPECT_TRUE(regions.tool.empty());
        EXPECT_NEAR(LengthOf(regions.holder), 2 * (26 + 24) + 2 * 2, 1e-9);
    }
}

// The positions of a tip at an open line are that line: no boundary goes around it.
TEST(LatheRegions, BoundariesThatDoNotCloseAreToldOf)
{
    const Outline tip{{0, 0}};
    const Outline line{{40, 0}, {41, 1}};
    EXPECT_TRUE(RegionsOf(tip, kHolder, kTarget).isWhole);
    EXPECT_FALSE(RegionsOf(tip, kHolder, line).isWhole);
    EXPECT_FALSE(RegionsOf(tip, kHolder, kTarget, {line}).isWhole);
}

// A chuck beside the work: what it takes away from the tool is in the holder's regions.
TEST(LatheRegions, AnObstacleLimitsTheTool)
{
    const Outline chuck = Box(10, -8, 14, 3);
    const auto regions = RegionsOf(kTool, kHolder, kTarget, {chuck});
    EXPECT_TRUE(regions.isWhole);
    for (const Vec2d& p : Samples(regions.tool, 0.1)) {
        EXPECT_LT(Penetration(MovedBy(kTool, p), chuck), 1e-9);
        EXPECT_LT(Penetration(MovedBy(kHolder, p), chuck), 1e-9);
    }
    bool seen = false;
    for (const Outline& line : regions.holder) {
        seen = seen ||
               std::any_of(line.begin(), line.end(), [](const Vec2d& p) { return p.x() > 14; });
    }
    EXPECT_TRUE(seen);
}

// Only the holder can run into it, in the midst of positions that would be free: its positions meet
// those of tool and target but not those of holder and target.
TEST(LatheRegions, AnObstacleThatOnlyTheHolderReachesCounts)
{
    const Outline bar = Box(4, 4.5, 6, 5.5);
    const Outline holder = Box(-0.5, 4, 0.5, 6);
    const auto regions = RegionsOf(kTool, holder, kTarget, {bar});
    EXPECT_TRUE(regions.isWhole);
    double covered = 0;
    for (const Vec2d& p : Samples(regions.tool, 0.05)) {
        ASSERT_LT(Penetration(MovedBy(holder, p), bar), 1e-9) << p.x() << ' ' << p.y();
        covered += p.y() > -1e-9 && p.x() > 3.5 && p.x() < 6.5 ? 1 : 0;
    }
    EXPECT_EQ(covered, 0);
}

// Far below, and larger than the work: nothing gets there while the tool touches the work.
TEST(LatheRegions, ObstaclesOutOfReachChangeNothing)
{
    const auto alone = RegionsOf(kTool, kHolder, kTarget);
    for (const Outline& bed : {Box(-5, -102, -4, -100), Box(-500, -900, 500, -100)}) {
        const auto regions = RegionsOf(kTool, kHolder, kTarget, {bed});
        EXPECT_TRUE(regions.isWhole);
        EXPECT_EQ(regions.tool, alone.tool);
        EXPECT_EQ(regions.holder, alone.holder);
    }
}

// Every position that is reported is free, and every free position on the loop of tool and target
// is reported.
TEST(LatheRegions, AreTheFreePositions)
{
    Random random(9);
    for (const double offset : {0.0, 1e4}) {
        for (int round = 0; round < Rounds(60); ++round) {
            const auto tool = RandomConvex(random, {random.Between(-1, 1), random.Between(-1, 1)},
                                           random.Between(0.5, 1.5));
            const auto holder = RandomConvex(random, {random.Between(-1, 1), random.Between(1, 4)},
                                             random.Between(0.5, 2.5));
            const auto target = RandomConvex(random, {offset, -offset}, random.Between(2, 6));
            const auto regions = RegionsOf(tool, holder, target);
            ASSERT_TRUE(regions.isWhole) << round;
            const double bearable = 1e-9 * (1 + offset);
            for (const Vec2d& p : Samples(regions.tool, 0.2)) {
                ASSERT_NEAR(Penetration(MovedBy(tool, p), target), 0, bearable) << round;
                ASSERT_LT(Penetration(MovedBy(holder, p), target), bearable) << round;
            }
            const auto touching = Planar::OuterOffsetLoop<double>(tool, target, 1e-12);
            for (const Vec2d& p : Samples({touching}, 0.2)) {
                if (Penetration(MovedBy(holder, p), target) < -bearable) {
                    double least = std::numeric_limits<double>::infinity();
                    for (const Outline& line : regions.tool) {
                        least = std::min(least, DistanceToLine(line, p));
                    }
                    ASSERT_LT(least, bearable) << round << ' ' << p.x() << ' ' << p.y();
                }
            }
        }
    }
}

TEST(LatheRegions, ObstaclesAreClearOfToolAndHolder)
{
    Random random(10);
    for (int round = 0; round < Rounds(60); ++round) {
        const auto tool = RandomConvex(random, {0, 0}, 1);
        const auto holder = RandomConvex(random, {0, 3}, 2);
        const auto target = RandomConvex(random, {0, 0}, 5);
        Outlines obstacles;
        for (int i = 0; i < 1 + random.Below(3); ++i) {
            obstacles.push_back(RandomConvex(
                random, {random.Between(-12, 12), random.Between(-12, 12)}, random.Between(1, 3)));
        }
        for (const Vec2d& p : Samples(RegionsOf(tool, holder, target, obstacles).tool, 0.2)) {
            ASSERT_LT(Penetration(MovedBy(holder, p), target), 1e-9) << round;
            for (const Outline& obstacle : obstacles) {
                ASSERT_LT(Penetration(MovedBy(tool, p), obstacle), 1e-9) << round;
                ASSERT_LT(Penetration(MovedBy(holder, p), obstacle), 1e-9) << round;
            }
        }
    }
}

TEST(LatheRegions, OutlinesThatAreNotFiniteGiveNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Outline bad{{nan, 0}, {1, 0}, {1, 1}};
    for (const auto& regions :
         {RegionsOf(bad, kHolder, kTarget), RegionsOf(kTool, bad, kTarget),
          RegionsOf(kTool, kHolder, bad), RegionsOf(kTool, kHolder, kTarget, {kTool, bad})}) {
        EXPECT_FALSE(regions.isWhole);
        EXPECT_TRUE(regions.tool.empty());
        EXPECT_TRUE(regions.holder.empty());
    }
    EXPECT_FALSE(RegionsOf({}, {}, {}).isWhole);
}

TEST(LatheRegions, RunOutOfMemoryWithAnExceptionAndKeepTheResults)
{
    WithThreads(1, [&] {
        const auto before = RegionsOf(kTool, kHolder, kTarget);
        // Sorting does without memory; then the results are the new ones.
        const auto check = [&](const Regions& r, bool hasThrown) {
            EXPECT_EQ(r.tool == before.tool, hasThrown);
        };
        const auto call = [](Regions& r) {
            Lathe::OuterOffsetRegions(kTool, kHolder, Box(0, 0, 1, 1), {}, r.tool, r.holder);
        };
        EXPECT_GT(FailEachAllocationOfEither([&] { return before; }, call, check), 5U);
    });
}

// --- sweeps ---

TEST(LatheSweep, NoAnglesGiveNoReports)
{
    EXPECT_TRUE(Lathe::BAxisAngleSweep({}, kTool, kHolder, {0, 0}, kTarget, {}).empty());
}

TEST(LatheSweep, AngleZeroAboutTheOriginLeavesTheToolInPlace)
{
    const auto reports = Lathe::BAxisAngleSweep({0}, kTool, kHolder, {0, 0}, kTarget, {});
    ASSERT_EQ(reports.size(), 1u);
    const auto regions = RegionsOf(kTool, kHolder, kTarget);
    EXPECT_FALSE(reports[0].failed);
    EXPECT_EQ(reports[0].toolRegions, regions.tool);
    EXPECT_EQ(reports[0].holderRegions, regions.holder);
    // The top, and the two sides down to where the holder, 2 above the tip, meets the top.
    EXPECT_NEAR(LengthOf(reports[0].reachable), 10 + 2 + 2, 1e-9);
}

// What is turned beforehand needs no turning, and the pivot is the origin.
TEST(LatheSweep, TurnsCounterClockwiseAboutThePivot)
{
    const Vec2d pivot(3, -2);
    const double angle = 30;
    const auto turned = [&](const Outline& outline) {
        Outline result;
        for (const Vec2d& p : outline) {
            const double c = std::cos(angle * kPi<double> / 180);
            const double s = std::sin(angle * kPi<double> / 180);
            const Vec2d way = p - pivot;
            result.push_back({c * way.x() - s * way.y(), s * way.x() + c * way.y()});
        }
        return result;
    };
    const auto reports = Lathe::BAxisAngleSweep({angle}, kTool, kHolder, pivot, kTarget, {});
    const auto regions = RegionsOf(turned(kTool), turned(kHolder), kTarget);
    EXPECT_NEAR(LengthOf(reports[0].toolRegions), LengthOf(regions.tool), 1e-9);
    ASSERT_FALSE(reports[0].toolRegions.empty());
    for (const Vec2d& p : Samples(reports[0].toolRegions, 0.5)) {
        double least = std::numeric_limits<double>::infinity();
        for (const Outline& line : regions.tool) {
            least = std::min(least, DistanceToLine(line, p));
        }
        EXPECT_LT(least, 1e-9);
    }
}

TEST(LatheSweep, OpenOutlinesFailAndAreWorkedOnAllTheSame)
{
    Outline open = kTool;
    open.back() += Vec2d(1e-9, 0);
    auto reports = Lathe::BAxisAngleSweep({0, 5}, open, kHolder, {0, 0}, kTarget, {});
    EXPECT_TRUE(reports[0].failed && reports[1].failed);
    EXPECT_FALSE(reports[0].toolRegions.empty());
    open = kHolder;
    open.pop_back();
    reports = Lathe::BAxisAngleSweep({0}, kTool, open, {0, 0}, kTarget, {});
    EXPECT_TRUE(reports[0].failed);
    EXPECT_FALSE(reports[0].toolRegions.empty());
}

TEST(LatheSweep, WithoutAHolderTheToolIsAlone)
{
    auto reports = Lathe::BAxisAngleSweep({0}, kTool, {}, {0, 0}, kTarget, {});
    EXPECT_TRUE(reports[0].failed); // nothing else is there that could close
    EXPECT_NEAR(LengthOf(reports[0].toolRegions), 38, 1e-9);
    reports = Lathe::BAxisAngleSweep({0}, kTool, {}, {0, 0}, kTarget, {Box(9, -3, 12, -1)});
    EXPECT_FALSE(reports[0].failed);
}

TEST(LatheSweep, AToolWithoutAHolderDoesNotFail)
{
    const auto reports = Lathe::BAxisAngleSweep({0, 90}, kTool, {0, 0}, kTarget, {});
    ASSERT_EQ(reports.size(), 2u);
    for (const Lathe::BAngleReport& report : reports) {
        EXPECT_FALSE(report.failed);
        EXPECT_NEAR(LengthOf(report.toolRegions), 38, 1e-9);
        EXPECT_TRUE(report.holderRegions.empty());
        EXPECT_NEAR(LengthOf(report.reachable), 30, 1e-9); // all around the target
    }
    EXPECT_EQ(reports[1].angle, 90);
    Outline open = kTool;
    open.pop_back();
    EXPECT_TRUE(Lathe::BAxisAngleSweep({0}, open, {0, 0}, kTarget, {})[0].failed);
    // A tool that is a line moves along a target that is one on the same line: no boundary.
    const Outline line{{0, 0}, {1, 0}, {0, 0}};
    EXPECT_TRUE(Lathe::BAxisAngleSweep({0}, line, {0, 0}, {{0, 0}, {5, 0}}, {})[0].failed);
    EXPECT_TRUE(Lathe::BAxisAngleSweep({0}, kTool, {0, 0}, {}, {})[0].failed);
}

TEST(LatheSweep, AToolThatIsNotThereFails)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& reports :
         {Lathe::BAxisAngleSweep({0, 10}, {}, kHolder, {0, 0}, kTarget, {}),
          Lathe::BAxisAngleSweep({nan, nan}, kTool, kHolder, {0, 0}, kTarget, {}),
          Lathe::BAxisAngleSweep({0, 10}, kTool, kHolder, {nan, 0}, kTarget, {})}) {
        ASSERT_EQ(reports.size(), 2u);
        EXPECT_TRUE(reports[1].failed);
        EXPECT_TRUE(reports[1].toolRegions.empty());
        EXPECT_TRUE(reports[1].reachable.empty());
    }
}

// A turned profile of steps, grooves and a taper, and a slender insert in a holder at many tilts:
// every place that is reported can be touched from a free position, none can where tilts leave it
// out.
TEST(LatheSweep, ReachesWhatItTouchesFromAFreePosition)
{
    const Outline profile{{0, 0}, {0, 6}, {5, 6}, {5, 4}, {8, 4}, {8, 9}, {14, 7}, {14, 0}, {0, 0}};
    const Outline insert{{0, 0}, {0.6, 1.5}, {-0.6, 1.5}, {0, 0}};
    const Outline holder{{-0.5, 1.4}, {0.5, 1.4}, {1.5, 6}, {-1.5, 6}, {-0.5, 1.4}};
    std::vector<double> angles;
    for (int i = -60; i <= 60; i += 15) {
        angles.push_back(i);
    }
    const auto reports = Lathe::BAxisAngleSweep(angles, insert, holder, {0, 0}, profile, {});
    for (const auto& report : reports) {
        EXPECT_FALSE(report.failed) << report.angle;
        const double c = std::cos(report.angle * kPi<double> / 180);
        const double s = std::sin(report.angle * kPi<double> / 180);
        const auto corner =
            Vec2d(c * insert[0].x() - s * insert[0].y(), s * insert[0].x() + c * insert[0].y());
        EXPECT_EQ(corner,
                  Vec2d(0, 0)); // the pivot is the tip: where the tip may be, the target is touched
        EXPECT_FALSE(report.reachable.empty()) << report.angle;
        for (const Vec2d& p : Samples(report.reachable, Support::FullOr(0.1, 0.5))) {
            ASSERT_LT(DistanceToLine(profile, p), 1e-9);
            double least = std::numeric_limits<double>::infinity();
            for (const Vec2d& position : Samples(report.toolRegions, 0.02)) {
                Outline placed;
                for (const Vec2d& q : insert) {
                    placed.push_back(position +
                                     Vec2d(c * q.x() - s * q.y(), s * q.x() + c * q.y()));
                }
                least = std::min(least, DistanceToLine(placed, p));
            }
            ASSERT_LT(least, 0.03) << report.angle << ' ' << p.x() << ' ' << p.y();
        }
    }
    // The wall of the groove at x = 5 looks to the right: the tool must lean to the right to touch
    // it.
    const auto reaches = [&](const Lathe::BAngleReport& report, const Vec2d& p) {
        return std::any_of(report.reachable.begin(), report.reachable.end(),
                           [&](const Outline& line) { return DistanceToLine(line, p) < 1e-9; });
    };
    EXPECT_TRUE(reaches(reports[4], {2, 6}));
    EXPECT_TRUE(reaches(reports[4], {6.5, 4}));
    EXPECT_FALSE(reaches(reports[4], {2, 0}));
}

TEST(LatheSweep, ManyThreadsGiveTheSameReports)
{
    std::vector<double> angles;
    for (int i = 0; i < 40; ++i) {
        angles.push_back(i * 2.25 - 45);
    }
    std::vector<Lathe::BAngleReport> one;
    WithThreads(1, [&] {
        one = Lathe::BAxisAngleSweep(angles, kTool, kHolder, {0, 1}, kTarget, {});
    });
    EXPECT_EQ(Lathe::BAxisAngleSweep(angles, kTool, kHolder, {0, 1}, kTarget, {}), one);
}

// --- sequences ---

namespace {

const Outline kLine{{0, 0}, {4, 0}, {4, 4}, {20, 4}}; // arc lengths 0, 4, 8, 24

Lathe::BAngleReport Reaching(double angle, const std::vector<std::array<double, 2>>& intervals)
{
    const auto at = [](double s) {
        return s <= 4 ? Vec2d(s, 0) : s <= 8 ? Vec2d(4, s - 4) : Vec2d(s - 4, 4);
    };
    Lathe::BAngleReport report;
    report.angle = angle;
    for (const auto& [low, high] : intervals) {
        report.reachable.push_back({at(low), at(high)});
    }
    return report;
}

void ExpectSteps(const Lathe::BAngleSequence& sequence, const std::vector<double>& parameters,
                 const std::vector<std::vector<bool>>& valid)
{
    ASSERT_EQ(sequence.steps.size(), parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        EXPECT_NEAR(sequence.steps[i].parameter, parameters[i], 1e-12) << i;
        EXPECT_EQ(sequence.steps[i].valid, valid[i]) << i;
    }
}

} // namespace

TEST(LatheSequence, TellsWhichAnglesAreValidFromWhere)
{
    const auto sequence = Lathe::SequenceBAxisAngleSweep(
        kLine, {Reaching(-10, {{1, 6}}), Reaching(20, {{12, 16}, {3, 9}})}, {});
    EXPECT_EQ(sequence.angles, (std::vector<double>{-10, 20}));
    ExpectSteps(sequence, {1, 3, 6, 9, 12, 16},
                {{true, false},
                 {true, true},
                 {false, true},
                 {false, false},
                 {false, true},
                 {false, false}});
}

TEST(LatheSequence, IdenticalReportsShareTheirSteps)
{
    const auto sequence =
        Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{1, 6}}), Reaching(5, {{1, 6}})}, {});
    ExpectSteps(sequence, {1, 6}, {{true, true}, {false, false}});
}

TEST(LatheSequence, ATargetOfOnePointIsEmpty)
{
    const auto sequence = Lathe::SequenceBAxisAngleSweep({{1, 1}}, {Reaching(0, {{1, 6}})}, {});
    EXPECT_TRUE(sequence.angles.empty());
    EXPECT_TRUE(sequence.steps.empty());
    EXPECT_TRUE(Lathe::SequenceBAxisAngleSweep(kLine, {}, {}).steps.empty());
    // Two equal points: everything on them is at 0.
    const auto point =
        Lathe::SequenceBAxisAngleSweep({{1, 0}, {1, 0}}, {Reaching(0, {{1, 1}})}, {});
    ExpectSteps(point, {0}, {{false}});
}

TEST(LatheSequence, TouchingIntervalsAreJoinedAndOverlappingOnesAreNot)
{
    ExpectSteps(Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{5, 8}, {1, 5}})}, {}), {1, 8},
                {{true}, {false}});
    // Apart by little is apart.
    ExpectSteps(Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{1, 5}, {5 + 1e-7, 8}})}, {}),
                {1, 5, 5 + 1e-7, 8}, {{true}, {false}, {true}, {false}});
    // The end of the first switches the angle off for good, until another begins.
    ExpectSteps(Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{0, 5}, {3, 8}})}, {}),
                {0, 3, 5, 8}, {{true}, {true}, {false}, {false}});
}

TEST(LatheSequence, AnIntervalWithoutLengthNeverShows)
{
    ExpectSteps(Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{3, 3}})}, {}), {3}, {{false}});
}

TEST(LatheSequence, BridgesGapsOfAnArcUpToTheLargest)
{
    const auto steps = [](const std::vector<std::array<double, 2>>& intervals,
                          const std::vector<Lathe::BAngleArcRegion>& regions) {
        std::vector<double> parameters;
        for (const auto& step :
             Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, intervals)}, regions).steps) {
            parameters.push_back(step.parameter);
        }
        return parameters;
    };
    using Expected = std::vector<double>;
    // Two gaps of 1 within the arc, closed for 1 and not for 0.9.
    EXPECT_EQ(steps({{0, 3}, {4, 6}, {7, 8}}, {{1, 7.5, 1}}), (Expected{0, 8}));
    EXPECT_EQ(steps({{0, 3}, {4, 6}, {7, 8}}, {{1, 7.5, 0.9}}), (Expected{0, 3, 4, 6, 7, 8}));
    // A gap of 2 stays.
    EXPECT_EQ(steps({{0, 3}, {5, 6}, {7, 8}}, {{1, 7.5, 1}}), (Expected{0, 3, 5, 8}));
    // Also beyond the end of the arc, up to the last interval.
    EXPECT_EQ(steps({{0, 3}, {4, 6}, {7, 8}}, {{1, 5, 1.5}}), (Expected{0, 8}));
    // Nothing reaches the arc's end, or its start.
    EXPECT_EQ(steps({{0, 3}, {4, 6}}, {{1, 7, 5}}), (Expected{0, 3, 4, 6}));
    EXPECT_EQ(steps({{2, 3}, {4, 6}}, {{1, 5, 5}}), (Expected{2, 3, 4, 6}));
    // Before the arc nothing is bridged.
    EXPECT_EQ(steps({{0, 1}, {2, 3}, {4, 6}}, {{2.5, 5, 1}}), (Expected{0, 1, 2, 6}));
    // One region after the other, each on what the former left.
    EXPECT_EQ(steps({{0, 3}, {4, 6}, {8, 9}}, {{1, 5, 1}, {1, 8.5, 2}}), (Expected{0, 9}));
}

// From the last point of a run its end counts, not the farthest of all its members.
TEST(LatheSequence, ARunEndsWithItsLastInterval)
{
    const auto sequence =
        Lathe::SequenceBAxisAngleSweep(kLine, {Reaching(0, {{0, 7}, {6.5, 6.8}})}, {{0, 6.6, 1}});
    ExpectSteps(sequence, {0, 6.8}, {{true}, {false}});
}

TEST(LatheSequence, StretchesBesideTheTargetAreLeftOut)
{
    auto report = Reaching(0, {{1, 2}});
    report.reachable.push_back({{1, 1e-7}, {2, 0}});
    report.reachable.push_back({{3, 5e-9}, {3.5, -5e-9}}); // near enough
    report.reachable.emplace_back();
    ExpectSteps(Lathe::SequenceBAxisAngleSweep(kLine, {report}, {}), {1, 2, 3, 3.5},
                {{true}, {false}, {true}, {false}});
}

TEST(LatheSequence, ParametersAscendStrictlyAndAllEndsOff)
{
    Random random(2);
    for (int round = 0; round < Rounds(50); ++round) {
        std::vector<Lathe::BAngleReport> reports;
        for (int i = 0; i < 12; ++i) {
            std::vector<std::array<double, 2>> intervals;
            for (int k = 0; k < random.Below(6); ++k) {
                const double low = random.Between(0, 20);
                intervals.push_back({low, low + random.Between(0, 4)});
            }
            reports.push_back(Reaching(i, intervals));
        }
        const auto sequence = Lathe::SequenceBAxisAngleSweep(kLine, reports, {});
        for (std::size_t i = 1; i < sequence.steps.size(); ++i) {
            ASSERT_LT(sequence.steps[i - 1].parameter, sequence.steps[i].parameter);
        }
        if (!sequence.steps.empty()) {
            ASSERT_EQ(sequence.steps.back().valid, std::vector<bool>(12, false));
        }
    }
}

// --- sequences around a closed target ---

namespace {

/// The same loop from another of its corners on.
Outline StartingAt(const Outline& loop, std::size_t first)
{
    Outline turned(loop.begin() + static_cast<std::ptrdiff_t>(first), loop.end() - 1);
    turned.insert(turned.end(), loop.begin(), loop.begin() + static_cast<std::ptrdiff_t>(first));
    turned.push_back(turned.front());
    return turned;
}

/// 20 by 10, clockwise, with a corner in the middle of each side. From (0, 0) up.
const Outline kBlock{{0, 0},  {0, 5},  {0, 10}, {10, 10}, {20, 10},
                     {20, 5}, {20, 0}, {10, 0}, {0, 0}};

Lathe::BAngleReport ReportOf(const Outlines& reachable)
{
    Lathe::BAngleReport report;
    report.reachable = reachable;
    return report;
}

std::vector<double> StepsAround(const Outline& target, const Outlines& reachable,
                                const std::vector<Lathe::BAngleArcRegion>& regions = {})
{
    std::vector<double> parameters;
    bool isOn = false;
    for (const auto& step :
         Lathe::SequenceBAxisAngleSweepAround(target, {ReportOf(reachable)}, regions).steps) {
        EXPECT_NE(step.valid.front(), isOn) << step.parameter; // each step is a change
        isOn = step.valid.front();
        parameters.push_back(step.parameter);
    }
    EXPECT_FALSE(isOn);
    return parameters;
}

using Places = std::vector<double>;

} // namespace

// A needle below a plate reaches the top of a block and half of each side, 30 of 60, wherever the
// profile starts.
TEST(LatheSequence, AroundAClosedTargetItMayStartAnywhere)
{
    const Outline needle = Box(-0.01, 0, 0.01, 5);
    const Outline plate = Box(-50, 5, 50, 6);
    const Places cornersOf{0, 5, 10, 20, 30, 35, 40, 50};
    for (const Vec2d& far : {Vec2d(0, 0), Vec2d(1e6, -1e6)}) {
        for (std::size_t first = 0; first < 8; ++first) {
            const Outline target = MovedBy(StartingAt(kBlock, first), far);
            const auto sequence = Lathe::SequenceBAxisAngleSweepAround(
                target, Lathe::BAxisAngleSweep({0}, needle, plate, {0, 0}, target, {}), {});
            double valid = 0;
            for (std::size_t i = 0; i + 1 < sequence.steps.size(); ++i) {
                valid += sequence.steps[i].valid[0]
                             ? sequence.steps[i + 1].parameter - sequence.steps[i].parameter
                             : 0;
            }
            EXPECT_NEAR(valid, 30, 1e-7) << first;
            // From 5 to 35 along the block as it is written down.
            const double start = cornersOf[first];
            const auto isValidAt = [&](double place) {
                const double parameter = std::fmod(place - start + 60, 60);
                bool isValid = false;
                for (const auto& step : sequence.steps) {
                    isValid = step.parameter <= parameter ? step.valid[0] : isValid;
                }
                return isValid;
            };
            for (int place = 0; place < 60; ++place) {
                EXPECT_EQ(isValidAt(place + 0.5), place >= 5 && place < 35)
                    << first << ' ' << place;
            }
        }
    }
    // Read as a line, the stretch over the start is the rest of the block.
    const auto asTold = Lathe::SequenceBAxisAngleSweep(
        StartingAt(kBlock, 3), {ReportOf({{{0, 5}, {0, 10}, {20, 10}, {20, 5}}})}, {});
    ExpectSteps(asTold, {15, 45}, {{true}, {false}});
}

TEST(LatheSequence, AroundAClosedTargetAllOfItOrHalfOfItIsReached)
{
    for (std::size_t first = 0; first < 8; ++first) {
        EXPECT_EQ(StepsAround(StartingAt(kBlock, first), {kBlock}), (Places{0, 60}));
    }
    // Both halves have the same ends.
    const Outline half{{10, 0}, {0, 0}, {0, 10}, {10, 10}};
    const Outline other{{10, 10}, {20, 10}, {20, 0}, {10, 0}};
    EXPECT_EQ(StepsAround(kBlock, {half}), (Places{0, 20, 50, 60}));
    EXPECT_EQ(StepsAround(kBlock, {other}), (Places{20, 50}));
    EXPECT_EQ(StepsAround(kBlock, {half, other}), (Places{0, 60}));
    // Up to the start, from the start, and both.
    const Outline before{{10, 0}, {0, 0}};
    const Outline behind{{0, 0}, {0, 5}};
    EXPECT_EQ(StepsAround(kBlock, {before}), (Places{50, 60}));
    EXPECT_EQ(StepsAround(kBlock, {behind}), (Places{0, 5}));
    EXPECT_EQ(StepsAround(kBlock, {before, behind}), (Places{0, 5, 50, 60}));
    // The other way round it is the same stretch.
    EXPECT_EQ(StepsAround(kBlock, {{{0, 5}, {0, 0}, {10, 0}}}), (Places{0, 5, 50, 60}));
    // A place alone never shows, not even at the start.
    EXPECT_TRUE(StepsAround(kBlock, {{{0, 0}, {0, 0}}, {{20, 5}, {20, 5}}, {{3, 10}}, {}}).empty());
}

TEST(LatheSequence, AroundCountsOverlappingStretchesAsOne)
{
    const Outline line{{0, 0}, {20, 0}};
    EXPECT_EQ(StepsAround(line, {{{0, 0}, {5, 0}}, {{3, 0}, {8, 0}}}), (Places{0, 8}));
    EXPECT_EQ(StepsAround(line, {{{1, 0}, {9, 0}}, {{3, 0}, {8, 0}}, {{9, 0}, {10, 0}}}),
              (Places{1, 10}));
    EXPECT_EQ(StepsAround(kBlock, {{{0, 5}, {0, 10}}, {{10, 0}, {0, 0}, {0, 7}}}),
              (Places{0, 10, 50, 60}));
    // On the target within 1e-8, and not beyond; far from the origin within rounding.
    EXPECT_EQ(StepsAround(line, {{{1, 1e-7}, {2, 0}}, {{3, 5e-9}, {3.5, -5e-9}}}),
              (Places{3, 3.5}));
    const Outline far{{1e9, 1e9}, {1e9 + 20, 1e9}};
    EXPECT_EQ(StepsAround(far, {{{1e9 + 4, 1e9 + 2e-7}, {1e9 + 8, 1e9}}}), (Places{4, 8}));
}

TEST(LatheSequence, AroundBridgesGapsThatMeetTheRegion)
{
    const Outline line{{0, 0}, {20, 0}};
    const Outlines three{{{0, 0}, {3, 0}}, {{4, 0}, {6, 0}}, {{7, 0}, {8, 0}}};
    EXPECT_EQ(StepsAround(line, three, {{1, 7.5, 1}}), (Places{0, 8}));
    EXPECT_EQ(StepsAround(line, three, {{1, 7.5, 0.9}}), (Places{0, 3, 4, 6, 7, 8}));
    // Not beyond the end of the region, and also where nothing reaches its ends.
    EXPECT_EQ(StepsAround(line, three, {{1, 5, 1.5}}), (Places{0, 6, 7, 8}));
    EXPECT_EQ(StepsAround(line, three, {{3.5, 12, 1.5}}), (Places{0, 8}));
    EXPECT_EQ(StepsAround(line, three, {{4, 6, 1.5}}), (Places{0, 3, 4, 6, 7, 8}));
    EXPECT_EQ(StepsAround(line, three, {{7.5, 1, 1.5}}), (Places{0, 3, 4, 6, 7, 8}));
    EXPECT_EQ(StepsAround(line, {{{4, 0}, {6, 0}}}, {{0, 20, 20}}), (Places{4, 6}));
    EXPECT_TRUE(StepsAround(line, {}, {{0, 20, 20}}).empty());
    // Over the start, for gaps of 2 there and of 1 beside it.
    const Outlines around{{{0, 1}, {0, 4}}, {{0, 5}, {0, 10}}, {{20, 0}, {1, 0}}};
    EXPECT_EQ(StepsAround(kBlock, around), (Places{1, 4, 5, 10, 40, 59}));
    EXPECT_EQ(StepsAround(kBlock, around, {{58, 2, 2}}), (Places{0, 4, 5, 10, 40, 60}));
    EXPECT_EQ(StepsAround(kBlock, around, {{58, 6, 2}}), (Places{0, 10, 40, 60}));
    EXPECT_EQ(StepsAround(kBlock, around, {{58, 6, 1.5}}), (Places{1, 10, 40, 59}));
    EXPECT_EQ(StepsAround(kBlock, {{{0, 1}, {0, 10}, {20, 10}, {20, 0}, {1, 0}}}, {{55, 5, 2}}),
              (Places{0, 60}));
    // A region all on one side of the start meets the gap that runs over it.
    EXPECT_EQ(StepsAround(kBlock, around, {{0.2, 0.8, 2}}), (Places{0, 4, 5, 10, 40, 60}));
    EXPECT_EQ(StepsAround(kBlock, around, {{59.2, 59.8, 2}}), (Places{0, 4, 5, 10, 40, 60}));
}

TEST(LatheSequence, AroundEndsWithinRoundingOfTheTargetsAreThere)
{
    const Outline line{{0, 0}, {20, 0}};
    EXPECT_EQ(StepsAround(line, {{{5e-13, 0}, {4, 0}}, {{5, 0}, {20 - 5e-13, 0}}}),
              (Places{0, 4, 5, 20}));
    EXPECT_EQ(StepsAround(line, {{{1e-9, 0}, {4, 0}}}), (Places{1e-9, 4}));
    EXPECT_EQ(StepsAround(kBlock, {{{0, 5e-13}, {0, 4}}}), (Places{0, 4}));
}

// Random stretches of random loops, which know themselves which places they hold.
TEST(LatheSequence, AroundIsValidWhereAStretchIs)
{
    Random random(11);
    for (int round = 0; round < Rounds(40); ++round) {
        const int corners = 3 + random.Below(9);
        Outline loop;
        Places lengths{0};
        for (int i = 0; i <= corners; ++i) {
            const double angle = 6.283185307179586 * i / corners;
            const double radius = 10 + 5 * std::sin(3.7 * (i % corners) + round);
            loop.push_back(i == corners
                               ? loop.front()
                               : Vec2d(radius * std::cos(angle), radius * std::sin(angle)));
            if (i > 0) {
                lengths.push_back(lengths.back() + std::hypot(loop[i].x() - loop[i - 1].x(),
                                                              loop[i].y() - loop[i - 1].y()));
            }
        }
        const double whole = lengths.back();
        const auto at = [&](double place) {
            place -= place >= whole ? whole : 0;
            std::size_t i = 1;
            while (i + 1 < lengths.size() && lengths[i] < place) {
                ++i;
            }
            const double t = (place - lengths[i - 1]) / (lengths[i] - lengths[i - 1]);
            return loop[i - 1] + (loop[i] - loop[i - 1]) * t;
        };
        std::vector<std::array<double, 2>> held; // low below the whole, high up to twice that
        Outlines stretches;
        for (int k = random.Below(4); k >= 0; --k) {
            const double low = random.Between(0, 0.999) * whole;
            const double high = low + random.Between(0.001, 0.98) * whole;
            held.push_back({low, high});
            Outline stretch{at(low)};
            for (int turn = 0; turn < 2; ++turn) {
                for (int i = 0; i < corners; ++i) {
                    const double corner = lengths[static_cast<std::size_t>(i)] + turn * whole;
                    if (corner > low && corner < high) {
                        stretch.push_back(loop[static_cast<std::size_t>(i)]);
                    }
                }
            }
            stretch.push_back(at(high));
            if (random.Below(2) == 0) {
                std::reverse(stretch.begin(), stretch.end());
            }
            stretches.push_back(std::move(stretch));
        }
        const auto sequence = Lathe::SequenceBAxisAngleSweepAround(loop, {ReportOf(stretches)}, {});
        for (int i = 0; i < 200; ++i) {
            const double place = random.Between(0, 1) * whole;
            bool isHeld = false;
            bool isNearAnEnd = false;
            for (const auto& [low, high] : held) {
                for (const double p : {place, place + whole}) {
                    isHeld = isHeld || (p > low && p < high);
                    isNearAnEnd =
                        isNearAnEnd || std::fabs(p - low) < 1e-6 || std::fabs(p - high) < 1e-6;
                }
            }
            bool isValid = false;
            for (const auto& step : sequence.steps) {
                isValid = step.parameter <= place ? step.valid[0] : isValid;
            }
            EXPECT_TRUE(isNearAnEnd || isValid == isHeld) << round << ' ' << place;
        }
    }
}

TEST(LatheSequence, AroundWhatIsNotThereOrNotFinite)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const Lathe::BAngleReport report = ReportOf({{{0, 5}, {0, 10}}});
    EXPECT_TRUE(Lathe::SequenceBAxisAngleSweepAround({}, {report}, {}).angles.empty());
    EXPECT_TRUE(Lathe::SequenceBAxisAngleSweepAround({{1, 1}}, {report}, {}).angles.empty());
    EXPECT_TRUE(Lathe::SequenceBAxisAngleSweepAround(kBlock, {}, {}).steps.empty());
    EXPECT_TRUE(StepsAround({{1, 0}, {1, 0}}, {{{1, 0}, {1, 0}}}).empty());
    for (const double bad : {nan, inf, -inf}) {
        EXPECT_TRUE(StepsAround(kBlock, {{{0, bad}, {0, 5}}, {{bad, bad}, {bad, 0}}}).empty());
        EXPECT_TRUE(StepsAround({{0, 0}, {bad, 0}, {0, 0}}, {{{0, 0}, {1, 0}}}).empty());
        StepsAround(kBlock, {{{0, 5}, {0, 6}, {bad, 0}, {0, 10}}});
        EXPECT_EQ(StepsAround(kBlock, report.reachable, {{bad, 7, 1}, {1, bad, 1}}),
                  (Places{5, 10}));
    }
    EXPECT_EQ(StepsAround(kBlock, report.reachable, {{0, 60, nan}}), (Places{5, 10}));
}
