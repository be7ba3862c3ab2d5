// Holes of several diameters on one axis.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::DrillHoleStack;
using Sorvane::MeshUtils::DrillHoleStacks;
using Sorvane::MeshUtils::HoleEnd;
using Sorvane::MeshUtils::HoleStep;
using Support::IndexedMesh;
using Support::TurnedBody;

constexpr double kFit = 1e-4;
constexpr double kClose = 1e-9;

std::vector<DrillHoleStack> StacksOf(const IndexedMesh& mesh)
{
    return DrillHoleStacks(mesh, 0.4, kFit, 0.8, 0.02);
}

/// What one hole must be like; diameters and depths from the mouth down.
struct Step {
    double diameter;
    double endDiameter;
    double from;
    double to;
};
void ExpectSteps(const DrillHoleStack& stack, const std::vector<Step>& steps)
{
    ASSERT_EQ(stack.steps.size(), steps.size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        EXPECT_NEAR(stack.steps[i].diameter, steps[i].diameter, kClose) << i;
        EXPECT_NEAR(stack.steps[i].endDiameter, steps[i].endDiameter, kClose) << i;
        EXPECT_NEAR(stack.steps[i].from, steps[i].from, kClose) << i;
        EXPECT_NEAR(stack.steps[i].to, steps[i].to, kClose) << i;
        EXPECT_EQ(stack.steps[i].isCone, steps[i].diameter != steps[i].endDiameter) << i;
    }
}

TEST(DrillHoleStacks, PlainThroughHoleIsEnteredFromAbove)
{
    const auto stacks = StacksOf(Support::DrilledRing(3, 30, 24));
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_NEAR(Length(stacks[0].entry - Vec3d(0, 0, 30)), 0, kClose);
    EXPECT_NEAR(Length(stacks[0].axis - Vec3d(0, 0, -1)), 0, kClose);
    ExpectSteps(stacks[0], {{6, 6, 0, 30}});
    EXPECT_EQ(stacks[0].end, HoleEnd::Through);
    EXPECT_NEAR(stacks[0].tipDepth, 30, kClose);
    EXPECT_FALSE(stacks[0].isCounterbored);
    EXPECT_FALSE(stacks[0].isCountersunk);
}

TEST(DrillHoleStacks, PegsAndOutsidesAreNoHoles)
{
    EXPECT_TRUE(StacksOf(TurnedBody({{0, 0}, {3, 0}, {3, 30}, {0, 30}}, 24)).empty());
    EXPECT_TRUE(
        StacksOf(TurnedBody({{0, 0}, {5, 0}, {5, 10}, {3, 10}, {3, 30}, {0, 30}}, 24)).empty());
}

TEST(DrillHoleStacks, BlindHoleWithAFlatFloor)
{
    const auto stacks =
        StacksOf(TurnedBody({{0, 0}, {10, 0}, {10, 30}, {2, 30}, {2, 12}, {0, 12}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    ExpectSteps(stacks[0], {{4, 4, 0, 18}});
    EXPECT_EQ(stacks[0].end, HoleEnd::Flat);
    EXPECT_NEAR(stacks[0].tipDepth, 18, kClose);
}

TEST(DrillHoleStacks, BlindHoleIsEnteredAtItsMouthAlsoFromBelow)
{
    const auto stacks =
        StacksOf(TurnedBody({{2, 0}, {10, 0}, {10, 30}, {0, 30}, {0, 18}, {2, 18}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_NEAR(Length(stacks[0].entry), 0, kClose);
    EXPECT_NEAR(Length(stacks[0].axis - Vec3d(0, 0, 1)), 0, kClose);
    ExpectSteps(stacks[0], {{4, 4, 0, 18}});
    EXPECT_EQ(stacks[0].end, HoleEnd::Flat);
}

TEST(DrillHoleStacks, DrillPointsFromSixtyDegreesToFlatOnes)
{
    for (const double pointAngle : {60.0, 90.0, 118.0, 135.0, 160.0}) {
        const double tip = 2 / std::tan(pointAngle / 2 * kRadiansPerDegree);
        const auto stacks =
            StacksOf(TurnedBody({{0, 0}, {10, 0}, {10, 30}, {2, 30}, {2, 12}, {0, 12 - tip}}, 24));
        ASSERT_EQ(stacks.size(), 1U) << pointAngle;
        ExpectSteps(stacks[0], {{4, 4, 0, 18}});
        EXPECT_EQ(stacks[0].end, HoleEnd::Pointed) << pointAngle;
        EXPECT_NEAR(stacks[0].tipDepth, 18 + tip, kClose) << pointAngle;
    }
}

TEST(DrillHoleStacks, Counterbore)
{
    const auto stacks =
        StacksOf(TurnedBody({{2, 0}, {10, 0}, {10, 30}, {4, 30}, {4, 25}, {2, 25}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_NEAR(stacks[0].entry.z(), 30, kClose);
    ExpectSteps(stacks[0], {{8, 8, 0, 5}, {4, 4, 5, 30}});
    EXPECT_TRUE(stacks[0].isCounterbored);
    EXPECT_FALSE(stacks[0].isCountersunk);
    EXPECT_EQ(stacks[0].end, HoleEnd::Through);
}

TEST(DrillHoleStacks, CounterboreFromBelowIsEnteredFromBelow)
{
    const auto stacks =
        StacksOf(TurnedBody({{4, 0}, {10, 0}, {10, 30}, {2, 30}, {2, 5}, {4, 5}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_NEAR(Length(stacks[0].entry), 0, kClose);
    EXPECT_NEAR(stacks[0].axis.z(), 1, kClose);
    ExpectSteps(stacks[0], {{8, 8, 0, 5}, {4, 4, 5, 30}});
    EXPECT_TRUE(stacks[0].isCounterbored);
}

TEST(DrillHoleStacks, Countersink)
{
    const auto stacks = StacksOf(TurnedBody({{2, 0}, {10, 0}, {10, 30}, {5, 30}, {2, 27}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    ExpectSteps(stacks[0], {{10, 4, 0, 3}, {4, 4, 3, 30}});
    EXPECT_TRUE(stacks[0].isCountersunk);
    EXPECT_FALSE(stacks[0].isCounterbored);
}

TEST(DrillHoleStacks, EverythingAtOnce)
{
    // A chamfered counterbore, a chamfer into the core hole, a second shoulder, a drill point.
    const auto stacks = StacksOf(TurnedBody({{0, 0},
                                             {20, 0},
                                             {20, 60},
                                             {9, 60},
                                             {8, 59},
                                             {8, 50},
                                             {5, 50},
                                             {4, 49},
                                             {4, 30},
                                             {2, 30},
                                             {2, 20},
                                             {0, 19}},
                                            32));
    ASSERT_EQ(stacks.size(), 1U);
    ExpectSteps(stacks[0],
                {{18, 16, 0, 1}, {16, 16, 1, 10}, {10, 8, 10, 11}, {8, 8, 11, 30}, {4, 4, 30, 40}});
    EXPECT_TRUE(stacks[0].isCounterbored);
    EXPECT_TRUE(stacks[0].isCountersunk);
    EXPECT_EQ(stacks[0].end, HoleEnd::Pointed);
    EXPECT_NEAR(stacks[0].tipDepth, 41, kClose);
}

TEST(DrillHoleStacks, BoredFromBothSidesAndUndercut)
{
    // Wide, narrow, wider still: entered at the widest.
    const auto stacks = StacksOf(
        TurnedBody({{6, 0}, {10, 0}, {10, 30}, {5, 30}, {5, 25}, {3, 25}, {3, 8}, {6, 8}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_NEAR(stacks[0].entry.z(), 0, kClose);
    ExpectSteps(stacks[0], {{12, 12, 0, 8}, {6, 6, 8, 25}, {10, 10, 25, 30}});
    EXPECT_TRUE(stacks[0].isCounterbored);
    // A groove in the wall.
    const auto grooved = StacksOf(
        TurnedBody({{3, 0}, {10, 0}, {10, 30}, {3, 30}, {3, 20}, {4, 20}, {4, 15}, {3, 15}}, 24));
    ASSERT_EQ(grooved.size(), 1U);
    ExpectSteps(grooved[0], {{6, 6, 0, 10}, {8, 8, 10, 15}, {6, 6, 15, 30}});
}

/// A groove, or a land where `groove` is the smaller one, in a bore through a tube; radii and
/// width.
struct Groove {
    double bore;
    double groove;
    double width;
};
void PrintTo(const Groove& g, std::ostream* os)
{
    *os << g.bore << " / " << g.groove << " x " << g.width;
}
class NarrowGroove : public testing::TestWithParam<Groove> {};

TEST_P(NarrowGroove, IsASectionOfTheOneHole)
{
    const auto& [bore, groove, width] = GetParam();
    const double length = 3 * bore;
    const double upper = 2 * bore;
    const double lower = upper - width;
    const double out = 2 * std::max(bore, groove);
    for (const int sides : {17, 24, 48}) {
        const IndexedMesh tube = TurnedBody({{bore, 0},
                                             {out, 0},
                                             {out, length},
                                             {bore, length},
                                             {bore, upper},
                                             {groove, upper},
                                             {groove, lower},
                                             {bore, lower}},
                                            sides);
        // Along z, and leaning far from the origin.
        const Vec3d axis = Normalized(Vec3d(1, 2, 3), 0.0);
        const Vec3d across = Normalized(Vec3d(2, -1, 0), 0.0);
        const Vec3d third = axis ^ across;
        const IndexedMesh leaning = Support::Mapped(tube, [&](const Vec3d& p) {
            return Vec3d(1e4, -2e4, 1e4) + p.x() * across + p.y() * third + p.z() * axis;
        });
        for (const IndexedMesh& mesh : {tube, leaning}) {
            const auto stacks = DrillHoleStacks(mesh, 0.4, 0.02, 0.8, 0.02);
            ASSERT_EQ(stacks.size(), 1U) << sides;
            ExpectSteps(stacks[0], {{2 * bore, 2 * bore, 0, length - upper},
                                    {2 * groove, 2 * groove, length - upper, length - lower},
                                    {2 * bore, 2 * bore, length - lower, length}});
            EXPECT_EQ(stacks[0].end, HoleEnd::Through);
        }
    }
}

// Grooves for retaining rings by their standard, and lands and grooves of no standard: so narrow
// and so shallow that all of them is nearer to the bore than a facet of it may be.
INSTANTIATE_TEST_SUITE_P(Sizes, NarrowGroove,
                         testing::Values(Groove{10, 10.5, 1.1}, Groove{10, 10.5, 1},
                                         Groove{4, 4.2, 0.9}, Groove{5, 5.2, 1.1},
                                         Groove{25, 26.5, 2.15}, Groove{50, 51.75, 3.15},
                                         Groove{25, 26.5, 1.6}, Groove{3, 4, 0.2},
                                         Groove{50, 50.1, 3}, Groove{10, 9.8, 3},
                                         Groove{10, 9.5, 0.6}));

TEST(DrillHoleStacks, AWebOfNoThicknessToSpeakOfIsNoWall)
{
    // Two blind holes, floor to floor, with a thin web between them, and two tubes with a narrow
    // gap between: the floors, and the faces at the gap, are near the rims and are not the wall.
    const auto stacks = StacksOf(TurnedBody(
        {{0, 20}, {3, 20}, {3, 0}, {10, 0}, {10, 40}, {3, 40}, {3, 20.3}, {0, 20.3}}, 24));
    ASSERT_EQ(stacks.size(), 2U);
    for (const DrillHoleStack& stack : stacks) {
        ASSERT_EQ(stack.steps.size(), 1U);
        EXPECT_EQ(stack.end, HoleEnd::Flat);
    }
    IndexedMesh tubes = Support::DrilledRing(3, 20, 24);
    tubes = Support::Together(
        tubes, Support::Mapped(tubes, [](const Vec3d& p) { return p + Vec3d(0, 0, 20.3); }));
    ASSERT_EQ(StacksOf(tubes).size(), 2U);
    EXPECT_EQ(StacksOf(tubes)[0].steps.size(), 1U);
}

TEST(DrillHoleStacks, ABossRoundTheMouthIsNoPartOfTheHole)
{
    const auto stacks =
        StacksOf(TurnedBody({{2, 0}, {10, 0}, {10, 5}, {4, 5}, {4, 12}, {2, 12}}, 24));
    ASSERT_EQ(stacks.size(), 1U);
    ExpectSteps(stacks[0], {{4, 4, 0, 12}});
}

TEST(DrillHoleStacks, AHollowWithoutAMouthIsLeftOut)
{
    IndexedMesh body = TurnedBody({{0, 0}, {10, 0}, {10, 30}, {0, 30}}, 24);
    IndexedMesh hollow = TurnedBody({{0, 10}, {3, 10}, {3, 20}, {0, 20}}, 24);
    for (std::size_t i = 0; i < hollow.indices.size(); i += 3) {
        std::swap(hollow.indices[i], hollow.indices[i + 1]);
    }
    EXPECT_TRUE(StacksOf(Support::Together(body, hollow)).empty());
}

TEST(DrillHoleStacks, TwoPlatesInLineHaveAHoleEach)
{
    IndexedMesh plates = Support::DrilledRing(3, 4, 24);
    plates = Support::Together(
        plates, Support::Mapped(plates, [](const Vec3d& p) { return p + Vec3d(0, 0, 15); }));
    const auto stacks = StacksOf(plates);
    ASSERT_EQ(stacks.size(), 2U);
    ExpectSteps(stacks[0], {{6, 6, 0, 4}});
    ExpectSteps(stacks[1], {{6, 6, 0, 4}});
    EXPECT_EQ(stacks[0].end, HoleEnd::Through);
}

TEST(DrillHoleStacks, ManyPlatesInLineHaveAHoleEach)
{
    // Between the first rim and the last one of three plates of 30 with gaps of 10 every fifth part
    // of the way is within a plate: no gap shows there.
    for (const int count : {3, 5, 12}) {
        IndexedMesh plates;
        for (int i = 0; i < count; ++i) {
            plates = Support::Together(
                plates, Support::Mapped(Support::DrilledRing(3, 30, 24),
                                        [i](const Vec3d& p) { return p + Vec3d(0, 0, 40.0 * i); }));
        }
        const auto stacks = StacksOf(plates);
        ASSERT_EQ(stacks.size(), static_cast<std::size_t>(count));
        for (const DrillHoleStack& stack : stacks) {
            ExpectSteps(stack, {{6, 6, 0, 30}});
        }
    }
}

TEST(DrillHoleStacks, AnyDirectionFarFromTheOriginAndAnyScale)
{
    const std::vector<Vec2d> profile{{2, 0}, {10, 0}, {10, 30}, {5, 30}, {4, 29}, {4, 20}, {2, 20}};
    const Vec3d axis = Normalized(Vec3d(1, 2, -3), 0.0);
    const Vec3d across = Normalized(Vec3d(2, -1, 0), 0.0);
    const Vec3d third = axis ^ across;
    for (const double scale : {1e-2, 1.0, 1e3}) {
        for (const Vec3d& far : {Vec3d(), scale * Vec3d(1e5, -1e5, 1e5)}) {
            const IndexedMesh mesh = Support::Mapped(TurnedBody(profile, 24), [&](const Vec3d& p) {
                return far + scale * (p.x() * across + p.y() * third + p.z() * axis);
            });
            const auto stacks = DrillHoleStacks(mesh, 0.4, 1e-4 * scale, 0.8, 0.02);
            ASSERT_EQ(stacks.size(), 1U) << scale;
            EXPECT_NEAR(Length(stacks[0].axis + axis), 0, 1e-6);
            EXPECT_NEAR(Length(stacks[0].entry - far - 30 * scale * axis), 0, 1e-6 * scale);
            ASSERT_EQ(stacks[0].steps.size(), 3U);
            EXPECT_NEAR(stacks[0].steps[1].to, 10 * scale, 1e-6 * scale);
            EXPECT_TRUE(stacks[0].isCounterbored && stacks[0].isCountersunk);
        }
    }
}

TEST(DrillHoleStacks, PartOfAWallMayBeMissingUpToTheFraction)
{
    // A slot through the wall from top to bottom but not through the rims would need a cross hole;
    // here the triangles of some of its 40 sides are gone, and the rims stay as boundaries.
    const auto without = [](int sides) {
        const IndexedMesh ring = Support::DrilledRing(3, 30, 40);
        std::set<int> dropped;
        for (int k = 0; k < sides; ++k) {
            dropped.insert(2 * (3 * 40 + k)); // the last profile edge is the hole's wall
            dropped.insert(2 * (3 * 40 + k) + 1);
        }
        return Support::Without(ring, dropped);
    };
    EXPECT_EQ(StacksOf(without(4)).size(), 1U);
    EXPECT_EQ(StacksOf(without(20)).size(), 0U);
}

TEST(DrillHoleStacks, DefectiveTriplesAndTouchingBodiesCostNoHole)
{
    const IndexedMesh ring = TurnedBody({{2, 0}, {10, 0}, {10, 30}, {4, 30}, {4, 25}, {2, 25}}, 24);
    const auto expected = StacksOf(ring);
    ASSERT_EQ(expected.size(), 1U);
    IndexedMesh mesh = ring;
    for (const int first : {0, 24, 48, 72, 96, 120}) {
        const std::vector<int> triple{first, first + 1, first};
        mesh.indices.insert(mesh.indices.begin(), triple.begin(), triple.end());
    }
    EXPECT_EQ(StacksOf(mesh), expected);

    const IndexedMesh peg = Support::Mapped(TurnedBody({{0, 0}, {1, 0}, {1, 5}, {0, 5}}, 16),
                                            [](const Vec3d& p) { return p + Vec3d(3, 0, 30); });
    IndexedMesh both = Support::Together(peg, ring);
    Sorvane::Mesh::FilterForUniqueness(both, 1e-9);
    const auto stacks = StacksOf(both);
    ASSERT_EQ(stacks.size(), 1U);
    ExpectSteps(stacks[0], {{8, 8, 0, 5}, {4, 4, 5, 30}});
}

TEST(DrillHoleStacks, NothingForNothingAndHostileInputEnds)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    EXPECT_TRUE(StacksOf({}).empty());
    EXPECT_TRUE(StacksOf(Support::Cube()).empty());
    EXPECT_TRUE(DrillHoleStacks(ring, nan, kFit, 0.8, 0.02).empty());
    EXPECT_TRUE(DrillHoleStacks(ring, 0.4, nan, 0.8, 0.02).empty());
    EXPECT_TRUE(DrillHoleStacks(ring, 0.4, kFit, nan, 0.02).empty());
    EXPECT_TRUE(DrillHoleStacks(ring, 0.4, kFit, 0.8, nan).empty());
    IndexedMesh bad = ring;
    bad.points[3][1] = nan;
    EXPECT_TRUE(StacksOf(bad).empty());
    Support::Random random(78);
    for (int round = 0; round < 40; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 14, 50);
        for (const DrillHoleStack& stack : DrillHoleStacks(mesh, 0.2, 10, 0, 1)) {
            EXPECT_FALSE(stack.steps.empty());
        }
    }
}

TEST(DrillHoleStacks, NumberOfThreadsDoesNotMatter)
{
    IndexedMesh bodies;
    for (int i = 0; i < 30; ++i) {
        bodies = Support::Together(
            bodies,
            Support::Mapped(
                TurnedBody({{2, 0}, {10, 0}, {10, 30}, {4, 30}, {4, 17.5 - 0.05 * i}, {2, 15}},
                           16 + i),
                [i](const Vec3d& p) { return p + Vec3d(30.0 * i, 0, 0); }));
    }
    std::vector<std::vector<DrillHoleStack>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { results.push_back(StacksOf(bodies)); });
    }
    EXPECT_EQ(results[0].size(), 30U);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
