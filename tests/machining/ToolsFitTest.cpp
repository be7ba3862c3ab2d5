// Tools fitted to drawn outlines. What is measured here is measured anew: nearest points, hulls and
// containment are computed by brute force, without the library's.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/ToolOffset_E.h>
#include <Sorvane/Tools_E.h>

#include "tests/support/FailingAllocation.h"
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
using Points = std::vector<Vec2d>;
using ConvexTool = Mill::ConvexStandardToolBase<double>;
using Support::Random;

constexpr double kHalfPi = 1.5707963267948966;

// --- independent measures -----------------------------------------------------------------------

double Distance(const Vec2d& p, const Points& polyline)
{
    double least = std::hypot(p[0] - polyline[0][0], p[1] - polyline[0][1]);
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        const Vec2d a = polyline[i - 1];
        const double dx = polyline[i][0] - a[0];
        const double dy = polyline[i][1] - a[1];
        const double length = std::hypot(dx, dy);
        if (length > 0) {
            const double along = ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / length;
            const double t = std::min(std::max(along, 0.0), length) / length;
            least = std::min(least, std::hypot(p[0] - a[0] - t * dx, p[1] - a[1] - t * dy));
        }
    }
    return least;
}

struct Measured {
    double largest = 0;
    double mean = 0;
};

Measured Measure(const Points& a, const Points& b)
{
    Measured result;
    for (const auto& [from, to] : {std::pair(&a, &b), std::pair(&b, &a)}) {
        for (const Vec2d& point : *from) {
            const double distance = Distance(point, *to);
            result.largest = std::max(result.largest, distance);
            result.mean += distance / static_cast<double>(a.size() + b.size());
        }
    }
    return result;
}

/// The outline with its tip at the origin, the first and last points moved.
Points Placed(Points points)
{
    Vec2d low = points[0];
    Vec2d high = points[0];
    for (const Vec2d& p : points) {
        low = {std::min(low[0], p[0]), std::min(low[1], p[1])};
        high = {std::max(high[0], p[0]), std::max(high[1], p[1])};
    }
    points.front() = low;
    points.back() = high;
    for (Vec2d& p : points) {
        p = {p[0] - low[0], p[1] - low[1]};
    }
    return points;
}

/// Hull by wrapping around the points from the origin, cut after the last vertex at the greatest
/// height and closed with the corner.
Points CutHull(const Points& placed)
{
    Points hull{{0, 0}};
    const Vec2d corner = placed.back();
    for (std::size_t guard = 0; guard <= placed.size(); ++guard) {
        const Vec2d at = hull.back();
        const Vec2d* next = nullptr;
        for (const Vec2d& p : placed) {
            if (p == at) {
                continue;
            }
            if (next == nullptr) {
                next = &p;
                continue;
            }
            const double turn =
                (p[0] - at[0]) * ((*next)[1] - at[1]) - (p[1] - at[1]) * ((*next)[0] - at[0]);
            const bool isFarther = std::hypot(p[0] - at[0], p[1] - at[1]) >
                                   std::hypot((*next)[0] - at[0], (*next)[1] - at[1]);
            if (turn > 0 || (turn == 0 && isFarther)) {
                next = &p;
            }
        }
        if (next == nullptr || *next == Vec2d{0, 0}) {
            break;
        }
        hull.push_back(*next);
    }
    std::size_t last = 0;
    for (std::size_t i = 0; i < hull.size(); ++i) {
        last = hull[i][1] == corner[1] ? i : last;
    }
    hull.resize(last + 1);
    if (hull.back() != corner) {
        hull.push_back(corner);
    }
    return hull;
}

template <class Report>
void ExpectHonest(const Report& report, const Points& drawn)
{
    const Points placed = Placed(drawn);
    const Points tool = Planar::ToPolyline(report.tool, report.tolerance).points;
    const Measured toHull = Measure(tool, CutHull(placed));
    EXPECT_NEAR(report.hullDeviation, toHull.largest, 1e-12);
    EXPECT_NEAR(report.meanDeviation, toHull.mean, 1e-12);
    EXPECT_NEAR(report.pointDeviation, Measure(tool, placed).largest, 1e-12);
}

ConvexTool RandomTool(Random& random)
{
    ConvexTool tool;
    tool.tipRadius = random.Below(3) > 0 ? random.Between(0.1, 10) : 0;
    tool.lowerCornerRadius = random.Below(3) > 0 ? random.Between(0.1, 8) : 0;
    tool.taperAngle = random.Below(3) > 0 ? random.Between(0.01, 1.2) : 0;
    tool.lowerCornerAngle =
        random.Below(3) > 0 ? kHalfPi : random.Between(tool.taperAngle, kHalfPi);
    tool.taperHeight = random.Below(3) > 0 ? random.Between(0.2, 20) : 0;
    tool.upperCornerRadius =
        tool.taperAngle > 0 && random.Below(2) > 0 ? random.Between(0.1, 8) : 0;
    tool.shankLength = random.Below(3) > 0 ? random.Between(0.2, 30) : 0;
    return tool;
}

/// Points along a flattened profile, `spacing` apart, each off by up to `noise` in both
/// coordinates.
Points Scanned(const Points& profile, double spacing, double noise, Random& random)
{
    Points points;
    for (std::size_t i = 1; i < profile.size(); ++i) {
        const Vec2d step = profile[i] - profile[i - 1];
        const int count = std::max(1, static_cast<int>(std::hypot(step[0], step[1]) / spacing));
        for (int k = 0; k < count; ++k) {
            points.push_back(profile[i - 1] + step * (double(k) / count) +
                             random.Vector<2, double>(-noise, noise));
        }
    }
    points.push_back(profile.back());
    return points;
}

void ExpectTool(const ConvexTool& found, const ConvexTool& drawn, double within)
{
    EXPECT_NEAR(found.tipRadius, drawn.tipRadius, within);
    EXPECT_NEAR(found.lowerCornerRadius, drawn.lowerCornerRadius, within);
    EXPECT_NEAR(found.lowerCornerAngle, drawn.lowerCornerAngle, within);
    EXPECT_NEAR(found.taperHeight, drawn.taperHeight, within);
    EXPECT_NEAR(found.taperAngle, drawn.taperAngle, within);
    EXPECT_NEAR(found.upperCornerRadius, drawn.upperCornerRadius, within);
    EXPECT_NEAR(found.shankLength, drawn.shankLength, within);
}

// --- convex tools -------------------------------------------------------------------------------

TEST(ConvexToolFromPolyline, RectangleIsThePlainCylinder)
{
    for (const Points& drawn :
         {Points{{0, 0}, {4, 0}, {4, 9}}, Points{{0, 0}, {4, 0}, {4, 9}, {0, 9}},
          Points{{7, -3}, {11, -3}, {11, 6}}}) {
        for (const double tolerance : {0.0, 1e-6, 0.1}) {
            const auto report = Mill::ConvexToolFromPolyline(drawn, tolerance);
            ExpectTool(report.tool, {4, 0, kHalfPi, 9, 0, 0, 0}, 0);
            EXPECT_EQ(report.tolerance, tolerance);
            EXPECT_EQ(report.hullDeviation, 0);
        }
    }
}

// The hull keeps the top flat as far as the axis, and that point is 4 away from the wall.
TEST(ConvexToolFromPolyline, ClosedRectangleMissesByItsWidthAndIsTheCylinder)
{
    const Points drawn{{0, 0}, {4, 0}, {4, 9}, {0, 9}, {0, 0}};
    const auto report = Mill::ConvexToolFromPolyline(drawn, 0.01);
    ExpectTool(report.tool, {4, 0, kHalfPi, 9, 0, 0, 0}, 1e-12);
    EXPECT_EQ(report.hullDeviation, 4);
    ExpectHonest(report, drawn);
}

TEST(ConvexToolFromPolyline, OutlineClosedOverTheTopKeepsItsTool)
{
    const ConvexTool drawn{2, 3, kHalfPi, 0, 0, 0, 12};
    Points points = Planar::ToPolyline(drawn, 0.01).points;
    points.push_back({0, 15});
    points.push_back({0, 0});
    const auto report = Mill::ConvexToolFromPolyline(points, 0.01);
    EXPECT_NEAR(report.tool.tipRadius, 2, 1e-9);
    EXPECT_NEAR(report.tool.lowerCornerRadius, 3, 1e-9);
    EXPECT_NEAR(report.tool.taperHeight + report.tool.shankLength, 12, 1e-9);
    ExpectHonest(report, points);
}

TEST(ConvexToolFromPolyline, NamedToolsComeBackWithTheirFields)
{
    const std::vector<ConvexTool> tools{
        {0, 5, kHalfPi, 0, 0, 0, 0},  // ball without a shank
        {3, 2, kHalfPi, 20, 0, 0, 0}, // bull nose; a straight part above a corner is read as taper
        {0, 5, kHalfPi, 25, 0.1, 0, 0}, // tapered ball
        {4, 0, 0, 6, 0.7, 0, 20},       // chamfer
        {0, 0, 0, 8, 0.5, 0, 12},       // engraver
        {4, 1, kHalfPi, 6, 0.7, 3, 20}, // everything
        {3, 40, 0.9, 0, 0.2, 0, 0},     // lens
    };
    for (const ConvexTool& drawn : tools) {
        SCOPED_TRACE(drawn.lowerCornerRadius);
        const Points points = Planar::ToPolyline(drawn, 1e-3).points;
        const auto report = Mill::ConvexToolFromPolyline(points, 1e-3);
        ConvexTool expected = drawn;
        if (expected.lowerCornerRadius == 0) {
            expected.lowerCornerAngle = report.tool.lowerCornerAngle; // of no corner
        }
        ExpectTool(report.tool, expected, 1e-6);
        EXPECT_LE(report.hullDeviation, 1e-3);
        ExpectHonest(report, points);
    }
}

// A fit is no proof: in a hundred thousand of such tools one comes back with more, and says so.
TEST(ConvexToolFromPolyline, RandomToolsComeBackWithinTheToleranceTheyWereFlattenedAt)
{
    int missed = 0;
    for (const double tolerance : {0.1, 0.01, 0.001}) {
        Random random(5);
        int fitted = 0;
        for (int trial = 0; trial < Support::Rounds(2000); ++trial) {
            const Points points = Planar::ToPolyline(RandomTool(random), tolerance).points;
            if (points.size() > 1) {
                SCOPED_TRACE(trial);
                const auto report = Mill::ConvexToolFromPolyline(points, tolerance);
                const bool isWithin = report.hullDeviation <= tolerance;
                missed += isWithin ? 0 : 1;
                if (isWithin) { // a convex outline is its own hull
                    EXPECT_LE(report.pointDeviation, tolerance * (1 + 1e-9));
                }
                ++fitted;
                if (!isWithin || trial % 20 == 0) {
                    ExpectHonest(report, points);
                }
            }
        }
        EXPECT_GT(fitted, Support::Rounds(2000) / 2);
    }
    EXPECT_LE(missed, 2);
}

// Coordinates up to 60 are off by 2e-6 here.
TEST(ConvexToolFromPolyline, RandomFloatToolsComeBackWithinToleranceAndRounding)
{
    Random random(6);
    for (int trial = 0; trial < Support::Rounds(500); ++trial) {
        SCOPED_TRACE(trial);
        const ConvexTool drawn = RandomTool(random);
        const Mill::ConvexStandardToolBase<float> tool{
            float(drawn.tipRadius),        float(drawn.lowerCornerRadius),
            float(drawn.lowerCornerAngle), float(drawn.taperHeight),
            float(drawn.taperAngle),       float(drawn.upperCornerRadius),
            float(drawn.shankLength)};
        const auto points = Planar::ToPolyline(tool, 0.01F).points;
        if (points.size() > 1) {
            EXPECT_LE(Mill::ConvexToolFromPolyline(points, 0.01F).hullDeviation, 0.01F + 1e-5F);
        }
    }
}

// The hull of a scan is out by the noise, chords of the flattened tool are in by the tolerance.
TEST(ConvexToolFromPolyline, ScannedToolsComeBackWithinToleranceAndNoise)
{
    constexpr double kNoise = 0.002;
    constexpr double kTolerance = 0.01;
    Random random(11);
    int within = 0;
    int all = 0;
    for (int trial = 0; trial < Support::Rounds(160); ++trial) {
        ConvexTool drawn = RandomTool(random);
        drawn.shankLength += 1; // so that the corner of the box is on the profile
        const Points points = Scanned(Planar::ToPolyline(drawn, 1e-3).points, 0.1, kNoise, random);
        const auto report = Mill::ConvexToolFromPolyline(points, kTolerance);
        within += report.hullDeviation <= kTolerance + 3 * kNoise ? 1 : 0;
        ++all;
        if (trial % 10 == 0) {
            ExpectHonest(report, points);
        }
    }
    EXPECT_GE(within, all * 97 / 100);
}

TEST(ConvexToolFromPolyline, FarFromTheOriginAndAnySize)
{
    const ConvexTool drawn{4, 1, kHalfPi, 6, 0.7, 3, 20};
    for (const double size : {1e-6, 1.0, 1e6}) {
        for (const double shift : {0.0, 1e6 * size}) {
            Points points = Planar::ToPolyline(drawn, 1e-3).points;
            for (Vec2d& p : points) {
                p = p * size + Vec2d{shift, -shift};
            }
            const auto report = Mill::ConvexToolFromPolyline(points, 1e-3 * size);
            EXPECT_LE(report.hullDeviation, 1e-3 * size);
            EXPECT_NEAR(report.tool.lowerCornerRadius / size, 1, 1e-5);
            EXPECT_NEAR(report.tool.upperCornerRadius / size, 3, 1e-5);
        }
    }
}

// Flattens the tool, moves it far away, and fits one to that.
void ExpectConvexFarFromTheOrigin(const ConvexTool& drawn)
{
    Points points = Planar::ToPolyline(drawn, 1e-3).points;
    for (Vec2d& p : points) {
        p += Vec2d{1e6, -1e6};
    }
    const auto report = Mill::ConvexToolFromPolyline(points, 0.01);
    EXPECT_LE(report.hullDeviation, 0.01);
    EXPECT_LE(report.tool.lowerCornerAngle, kHalfPi);
    EXPECT_GE(report.tool.taperAngle, 0);
    EXPECT_FALSE(Mill::ConvexToolOffset(report.tool).IsEmpty());
}

// One outline of seven gave a corner that began 1e-9 beyond the quarter turn, to the right of the
// flat: a tool of which the offset was empty.
TEST(ConvexToolFromPolyline, ToolsOfOutlinesFarFromTheOriginAreConvex)
{
    Random random(3);
    for (int trial = 0; trial < Support::Rounds(500); ++trial) {
        SCOPED_TRACE(trial);
        ConvexTool drawn = RandomTool(random);
        drawn.shankLength += 1;
        ExpectConvexFarFromTheOrigin(drawn);
    }
}

// Arcs through the hulls of these dip below the tip, within the tolerance, and such a tool has no
// offset; a convex one is as near.
TEST(ConvexToolFromPolyline, ADipWithinTheToleranceIsNoneOfTheTools)
{
    for (const ConvexTool& drawn :
         {ConvexTool{0.3042298006887722, 1.3061704576809099, kHalfPi, 0, 0.33206959622871207,
                     0.20002280536692688, 1},
          ConvexTool{2.3972057921441587, 3.8887329712863141, kHalfPi, 0, 0.071395870729405661,
                     2.0065260145433537, 8.3428415251020702},
          ConvexTool{0.10828560541660398, 2.1246292779599374, 1.5454266082547548, 6.665910638682341,
                     0.65544328665017981, 0, 15.903429771861786}}) {
        SCOPED_TRACE(drawn.lowerCornerRadius);
        ExpectConvexFarFromTheOrigin(drawn);
    }
}

TEST(ConvexToolFromPolyline, FloatKeepsItsDigits)
{
    const Mill::ConvexStandardToolBase<float> drawn{4, 1, float(kHalfPi), 6, 0.7F, 3, 20};
    const auto points = Planar::ToPolyline(drawn, 1e-3F).points;
    const auto report = Mill::ConvexToolFromPolyline(points, 1e-3F);
    EXPECT_LE(report.hullDeviation, 1e-3F);
    EXPECT_NEAR(report.tool.tipRadius, 4, 1e-3);
    EXPECT_NEAR(report.tool.lowerCornerRadius, 1, 1e-3);
    EXPECT_NEAR(report.tool.taperAngle, 0.7, 1e-3);
    EXPECT_NEAR(report.tool.upperCornerRadius, 3, 1e-3);
}

TEST(ConvexToolFromPolyline, SmallCornerComesBackWithItsRadius)
{
    const ConvexTool drawn{4, 0.1, kHalfPi, 0, 0, 0, 10};
    const Points points = Planar::ToPolyline(drawn, 1e-4).points;
    const auto report = Mill::ConvexToolFromPolyline(points, 0.035);
    EXPECT_NEAR(report.tool.lowerCornerRadius, 0.1, 1e-6);
    EXPECT_NEAR(report.tool.tipRadius, 4, 1e-6);
    ExpectHonest(report, points);
}

// Hull of a scan, off by up to 0.003, of a bull nose: a flat of 6.678 and a corner of 5.567. The
// chain's arc begins at more than a quarter turn and dips below the tip, 0.059 off. Its mean is the
// lower one all the same.
TEST(ConvexToolFromPolyline, ToolFarNearerToTheHullIsPreferredToOneOfLowerMean)
{
    const Points hull{{0.0000, 0.0000},  {6.6261, 0.0000},  {6.8839, 0.0053},  {7.0411, 0.0132},
                      {7.2987, 0.0355},  {7.5081, 0.0642},  {7.8159, 0.1185},  {7.9153, 0.1416},
                      {8.1191, 0.1903},  {8.3199, 0.2479},  {8.4187, 0.2808},  {8.6631, 0.3682},
                      {8.8570, 0.4448},  {8.9504, 0.4870},  {9.0894, 0.5516},  {9.2796, 0.6460},
                      {9.3690, 0.6966},  {9.5063, 0.7776},  {9.5920, 0.8284},  {9.8137, 0.9674},
                      {10.1058, 1.1838}, {10.1441, 1.2147}, {10.2661, 1.3147}, {10.3066, 1.3488},
                      {10.4263, 1.4518}, {10.5760, 1.5980}, {10.6863, 1.7069}, {10.8627, 1.8993},
                      {10.8986, 1.9393}, {11.0292, 2.0962}, {11.1237, 2.2213}, {11.1850, 2.3048},
                      {11.2759, 2.4339}, {11.3340, 2.5184}, {11.4183, 2.6528}, {11.5238, 2.8324},
                      {11.6000, 2.9671}, {11.6918, 3.1536}, {11.7804, 3.3438}, {11.7990, 3.3893},
                      {11.9317, 3.7283}, {11.9800, 3.8789}, {12.0112, 3.9799}, {12.0410, 4.0802},
                      {12.0925, 4.2827}, {12.1146, 4.3806}, {12.1369, 4.4868}, {12.1462, 4.5356},
                      {12.1744, 4.6864}, {12.1891, 4.7938}, {12.2100, 4.9479}, {12.2149, 5.0001},
                      {12.2229, 5.1010}, {12.2346, 5.2592}, {12.2400, 5.3631}, {12.2435, 5.5180},
                      {12.2438, 5.5689}, {12.2452, 5.9197}, {12.2457, 6.6681}, {12.2460, 10.1234},
                      {12.2460, 17.3027}};
    const auto report = Mill::ConvexToolFromPolyline(hull, 0.01);
    EXPECT_LT(report.hullDeviation, 0.015);
    EXPECT_NEAR(report.tool.tipRadius, 6.678, 0.05);
    ExpectHonest(report, hull);
}

// The corner of the box is 0.1 (sqrt 2 - 1) off the arc: at a tolerance of 0.05 no arc is looked
// for.
TEST(ConvexToolFromPolyline, CylinderWithinTheToleranceIsTakenThoughACornerIsNearer)
{
    const ConvexTool drawn{4, 0.1, kHalfPi, 0, 0, 0, 10};
    const auto report = Mill::ConvexToolFromPolyline(Planar::ToPolyline(drawn, 1e-4).points, 0.05);
    ExpectTool(report.tool, {4.1, 0, kHalfPi, 10.1, 0, 0, 0}, 1e-12);
    EXPECT_NEAR(report.hullDeviation, 0.1 * (std::sqrt(2.0) - 1), 1e-4);
}

TEST(ConvexToolFromPolyline, EmptyAndBadInputLeaveTheReportAsItBegins)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const Mill::GenericToolFitReport<ConvexTool, double> fresh{{}, 0.25};
    for (const Points& points :
         {Points{}, Points{{0, 0}, {nan, 1}, {2, 2}}, Points{{0, 0}, {1, infinity}},
          Points{{0, 0}, {1e200, 1}, {1e200, 2}}}) {
        EXPECT_EQ(Mill::ConvexToolFromPolyline(points, 0.25), fresh);
        EXPECT_EQ(
            Mill::CylindricalToolFromPolyline(points, 0.25),
            (Mill::GenericToolFitReport<Mill::CylindricalToolBase<double>, double>{{}, 0.25}));
        EXPECT_EQ(Mill::BestConvexToolFromPolyline(points, 0.25, 1.0), fresh);
    }
    EXPECT_EQ(Mill::ConvexToolFromPolyline(Points{{3, 3}}, 0.25).hullDeviation,
              fresh.hullDeviation);
    EXPECT_EQ(Mill::CylindricalToolFromPolyline(Points{{3, 3}}, 0.25).hullDeviation,
              fresh.hullDeviation);
}

TEST(ConvexToolFromPolyline, DegenerateOutlines)
{
    // A flat, a needle, one point drawn thrice, a line to and fro.
    EXPECT_EQ(Mill::ConvexToolFromPolyline(Points{{0, 0}, {4, 0}}, 0.1).tool.tipRadius, 4);
    EXPECT_EQ(Mill::ConvexToolFromPolyline(Points{{0, 0}, {0, 4}}, 0.1).tool.taperHeight, 4);
    EXPECT_EQ(Mill::ConvexToolFromPolyline(Points{{1, 1}, {1, 1}, {1, 1}}, 0.1).tool.tipRadius, 0);
    const auto cone =
        Mill::ConvexToolFromPolyline(Points{{0, 0}, {1, 1}, {0.5, 0.5}, {3, 3}}, 1e-3);
    EXPECT_LE(cone.hullDeviation, 1e-3);
    EXPECT_NEAR(cone.tool.taperAngle, kHalfPi / 2, 1e-9);
}

TEST(ConvexToolFromPolyline, HostileTolerancesEndInSomeTool)
{
    const Points points =
        Planar::ToPolyline(ConvexTool{4, 1, kHalfPi, 6, 0.7, 3, 20}, Support::FullOr(0.01, 0.1))
            .points;
    for (const double tolerance :
         {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e-9, 1e-300, 1.0, 2.0, 1e3,
          std::numeric_limits<double>::infinity()}) {
        SCOPED_TRACE(tolerance);
        const auto report = Mill::ConvexToolFromPolyline(points, tolerance);
        EXPECT_LE(report.hullDeviation, 10);
        EXPECT_LE(Mill::CylindricalToolFromPolyline(points, tolerance).hullDeviation, 10);
    }
}

Points QuarterEllipse(int count)
{
    Points points{{0, 0}};
    for (int i = 1; i <= count; ++i) {
        const double angle = kHalfPi * i / count;
        points.push_back({10 * std::sin(angle), 6 * (1 - std::cos(angle))});
    }
    return points;
}

// Hundreds of elements must be merged here, at a tolerance that no tool meets.
TEST(ConvexToolFromPolyline, FarTooManyElementsAreMerged)
{
    const auto report = Mill::ConvexToolFromPolyline(QuarterEllipse(1000), 1e-6);
    EXPECT_LT(report.hullDeviation, 0.2); // two arcs in the places of an ellipse
    EXPECT_GT(report.hullDeviation, 1e-6);
}

// So dense that the filter takes all of it for one run, whose arc it then drops: no chain, and yet
// a tool.
TEST(ConvexToolFromPolyline, DenseCurveWithoutAChainIsFitted)
{
    EXPECT_LT(Mill::ConvexToolFromPolyline(QuarterEllipse(10000), 0.01).hullDeviation, 0.2);
}

// --- cylindrical tools --------------------------------------------------------------------------

bool Contains(const Mill::CylindricalToolBase<double>& tool, const Points& hull, double margin)
{
    const double r = tool.cornerRadius;
    return std::all_of(hull.begin() + 1, hull.end() - 1, [&](const Vec2d& p) {
        const double dx = p[0] - tool.tipRadius;
        const double dy = p[1] - r;
        const bool isInCorner = dx > 0 && dy < 0;
        return p[1] >= -margin && p[0] <= tool.tipRadius + r + margin &&
               (!isInCorner || std::hypot(dx, dy) <= r + margin);
    });
}

TEST(CylindricalToolFromPolyline, NamedToolsComeBack)
{
    using Tool = Mill::CylindricalToolBase<double>;
    for (const Tool& drawn :
         {Tool{4, 0, 9}, Tool{0, 5, 20}, Tool{0, 5, 0}, Tool{3, 2, 15}, Tool{8, 0.5, 1}}) {
        const Points points = Planar::ToPolyline(drawn, 1e-3).points;
        const auto report = Mill::CylindricalToolFromPolyline(points, 1e-3);
        EXPECT_NEAR(report.tool.tipRadius, drawn.tipRadius, 1e-9);
        EXPECT_NEAR(report.tool.cornerRadius, drawn.cornerRadius, 1e-9);
        EXPECT_NEAR(report.tool.shankLength, drawn.shankLength, 1e-9);
        EXPECT_LE(report.hullDeviation, 1e-9);
        ExpectHonest(report, points);
    }
}

TEST(CylindricalToolFromPolyline, ResultContainsTheHullAndIsNoWorseThanAnyOtherCorner)
{
    constexpr double kTolerance = 0.01;
    Random random(3);
    for (int trial = 0; trial < Support::Rounds(150); ++trial) {
        SCOPED_TRACE(trial);
        const Mill::CylindricalToolBase<double> drawn{random.Between(0, 5), random.Between(0.5, 5),
                                                      random.Between(1, 20)};
        const Points points = Scanned(Planar::ToPolyline(drawn, 1e-3).points, 0.1, 0.01, random);
        const auto report = Mill::CylindricalToolFromPolyline(points, kTolerance);
        const Points hull = CutHull(Placed(points));
        EXPECT_TRUE(Contains(report.tool, hull, 1e-9));
        ExpectHonest(report, points);
        // Any other corner within the same box, by the rule: none that contains the hull is clearly
        // nearer to it.
        const double width = hull.back()[0];
        const double height = hull.back()[1];
        for (int i = 1; i < 40; ++i) {
            const double radius = std::min(width, height) * i / 40;
            const Mill::CylindricalToolBase<double> other{width - radius, radius, height - radius};
            if (Contains(other, hull, 0)) {
                EXPECT_GE(Measure(Planar::ToPolyline(other, kTolerance).points, hull).largest,
                          report.hullDeviation - kTolerance);
            }
        }
    }
}

TEST(CylindricalToolFromPolyline, FloatAndSameForAnyNumberOfThreads)
{
    const auto points =
        Planar::ToPolyline(Mill::CylindricalToolBase<float>{3, 2, 15}, 1e-3F).points;
    const auto report = Mill::CylindricalToolFromPolyline(points, 1e-3F);
    EXPECT_NEAR(report.tool.cornerRadius, 2, 1e-5);
    Support::WithThreads(
        1, [&] { EXPECT_EQ(Mill::CylindricalToolFromPolyline(points, 1e-3F), report); });
}

// --- the best of many ---------------------------------------------------------------------------

TEST(BestConvexToolFromPolyline, EqualBoundsReachAHundredfoldUpward)
{
    // Only the last of the sweep, 100 times the bound, holds more than 99: of the deviations, which
    // are the same for a tool without arcs, the smallest tolerance wins.
    const Points rectangle{{0, 0}, {4, 0}, {4, 9}};
    EXPECT_EQ(Mill::BestConvexToolFromPolyline(rectangle, 0.01, 0.01).tolerance, 0.01);
    EXPECT_EQ(Mill::BestConvexToolFromPolyline(rectangle, 0.5, 0.02).tolerance, 0.02);
    EXPECT_EQ(Mill::BestConvexToolFromPolyline(rectangle, 0.0, 0.0).tolerance, 1e-5);
    EXPECT_EQ(Mill::BestConvexToolFromPolyline(rectangle, 1e-13, 0.0).tolerance, 1e-5);
}

TEST(BestConvexToolFromPolyline, IsTheLeastOfAllFitsOfTheSweep)
{
    Random random(23);
    const Points points =
        Scanned(Planar::ToPolyline(ConvexTool{4, 1, kHalfPi, 6, 0.7, 3, 20}, 1e-3).points, 0.5,
                0.01, random);
    struct Bounds {
        double one, other, low, high;
    };
    for (const Bounds& bounds :
         {Bounds{0.02, 0.02, 0.02, 2}, Bounds{0, 0, 1e-5, 1e-3}, Bounds{0.4, 0.1, 0.1, 0.4}}) {
        if (Support::kSanitized && bounds.one != 0.4) {
            continue; // six hundred fits more, of the same steps
        }
        const auto best = Mill::BestConvexToolFromPolyline(points, bounds.one, bounds.other);
        auto expected = Mill::ConvexToolFromPolyline(points, bounds.low);
        for (int i = 1; i < 200; ++i) { // (high - low) / low + 1 is below 200 in all three
            const double tolerance = bounds.low + i * ((bounds.high - bounds.low) / 199);
            const auto report = Mill::ConvexToolFromPolyline(points, tolerance);
            const bool isLess = report.hullDeviation != expected.hullDeviation
                                    ? report.hullDeviation < expected.hullDeviation
                                    : report.pointDeviation < expected.pointDeviation;
            expected = isLess ? report : expected;
        }
        EXPECT_NEAR(best.tolerance, expected.tolerance, 1e-12);
        EXPECT_NEAR(best.hullDeviation, expected.hullDeviation, 1e-12);
        ExpectHonest(best, points);
    }
}

TEST(BestConvexToolFromPolyline, HostileBoundsSurvive)
{
    const Points points = Planar::ToPolyline(ConvexTool{4, 1, kHalfPi, 6, 0.7, 3, 20}, 0.01).points;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const auto& [a, b] : {std::pair(nan, 1.0), std::pair(1.0, nan), std::pair(0.1, infinity),
                               std::pair(-infinity, 1.0)}) {
        const auto report = Mill::BestConvexToolFromPolyline(points, a, b);
        EXPECT_EQ(report.tool, ConvexTool{});
        EXPECT_EQ(report.hullDeviation, std::numeric_limits<double>::max());
    }
    EXPECT_LE(Mill::BestConvexToolFromPolyline(points, -1.0, -1.0).hullDeviation, 10);
    // A hundred times this is infinite.
    EXPECT_EQ(Mill::BestConvexToolFromPolyline(points, 1e307, 1e307).tool, ConvexTool{});
    EXPECT_LE(Mill::BestConvexToolFromPolyline(points, -0.5, 0.5).hullDeviation, 0.5);
}

TEST(BestConvexToolFromPolyline, SameForAnyNumberOfThreadsAndInFloat)
{
    const auto points =
        Planar::ToPolyline(
            Mill::ConvexStandardToolBase<float>{4, 1, float(kHalfPi), 6, 0.7F, 3, 20}, 0.01F)
            .points;
    const auto report = Mill::BestConvexToolFromPolyline(points, 0.01F, 0.1F);
    EXPECT_LE(report.hullDeviation, 0.01F);
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            EXPECT_EQ(Mill::BestConvexToolFromPolyline(points, 0.01F, 0.1F), report);
        });
    }
}

// --- memory -------------------------------------------------------------------------------------

TEST(ConvexToolFromPolyline, LackOfMemoryPassesThrough)
{
    const Points points = Planar::ToPolyline(ConvexTool{4, 1, kHalfPi, 6, 0.7, 3, 20}, 0.1).points;
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return Mill::ConvexToolFromPolyline(points, 0.01); }),
                  10U);
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return Mill::CylindricalToolFromPolyline(points, 0.01); }),
                  10U);
    });
}

} // namespace
