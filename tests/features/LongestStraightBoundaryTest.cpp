// The longest straight stretch of a boundary.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::LongestStraightBoundary;
using Soup = Sorvane::Mesh::TriangleSoup<3, double>;
using Ends = std::array<Vec3d, 2>;

Soup SoupOf(const Support::IndexedMesh& mesh) { return Sorvane::Mesh::SoupFromIndexedPoints(mesh); }

/// The two ends in a fixed order.
Ends Sorted(Ends ends)
{
    if (std::lexicographical_compare(ends[1].begin(), ends[1].end(), ends[0].begin(),
                                     ends[0].end())) {
        std::swap(ends[0], ends[1]);
    }
    return ends;
}

TEST(LongestStraightBoundary, LongestSideOfAPlateOfManyPoints)
{
    const auto ends = Sorted(LongestStraightBoundary(SoupOf(Support::Grid(40, 15)), 1e-6));
    // Of the two long sides whichever comes first.
    EXPECT_EQ(ends[1] - ends[0], Vec3d(40, 0, 0));
    EXPECT_TRUE(ends[0] == Vec3d(0, 0, 0) || ends[0] == Vec3d(0, 15, 0));
}

TEST(LongestStraightBoundary, WhereverTheBoundaryLineBegins)
{
    // The line begins at the first triangle on it, in the middle of the only long side, say. A
    // trapezoid: the sides at y = 0 and at y = 8 have the lengths 40 and 24.
    const Soup plate = SoupOf(Support::Mapped(Support::Grid(40, 8), [](const Vec3d& p) {
        return Vec3d(p.x() * (1 - p.y() / 20), p.y(), 0);
    }));
    for (std::size_t first = 0; first < plate.size(); first += 7) {
        Soup turned = plate;
        std::rotate(turned.begin(), turned.begin() + static_cast<std::ptrdiff_t>(first),
                    turned.end());
        const auto ends = Sorted(LongestStraightBoundary(turned, 1e-9));
        EXPECT_EQ(ends[0], Vec3d(0, 0, 0)) << first;
        EXPECT_EQ(ends[1], Vec3d(40, 0, 0)) << first;
    }
}

TEST(LongestStraightBoundary, OfEquallyLongOnesTheFirst)
{
    // The boundary is linked from the first triangle's edge on, along y = 0.
    const auto ends = LongestStraightBoundary(SoupOf(Support::Grid(10, 10)), 1e-6);
    EXPECT_EQ(ends[0], Vec3d(0, 0, 0));
    EXPECT_EQ(ends[1], Vec3d(10, 0, 0));
}

TEST(LongestStraightBoundary, ClosedMeshHasNone)
{
    EXPECT_EQ(LongestStraightBoundary(SoupOf(Support::Cube()), 1e-6), Ends{});
    EXPECT_EQ(LongestStraightBoundary({}, 1e-6), Ends{});
}

TEST(LongestStraightBoundary, ToleranceZeroDoesNotWeldSoThatEveryEdgeIsBoundary)
{
    const auto ends = LongestStraightBoundary(SoupOf(Support::Cube()), 0);
    EXPECT_NEAR(Length(ends[1] - ends[0]), std::sqrt(2.0), 1e-15); // a diagonal of a face
}

TEST(LongestStraightBoundary, PointsMayBeAHundredTolerancesOffTheLine)
{
    // A strip whose lower boundary has one point 0.01 below the line of the others.
    Support::IndexedMesh strip = Support::Grid(20, 1);
    strip.points[7][1] = -0.01;
    for (int x = 0; x <= 20; ++x) {
        strip.points[static_cast<std::size_t>(21 + x)][0] = 5 + 0.5 * x; // the upper one is short
    }
    const auto length = [&](double tolerance) {
        const auto ends = LongestStraightBoundary(SoupOf(strip), tolerance);
        return Length(ends[1] - ends[0]);
    };
    EXPECT_NEAR(length(1.01e-4), 20, 1e-12);
    EXPECT_LT(length(0.5e-4), 14.1);
}

TEST(LongestStraightBoundary, AgreesWithPlainGrowing)
{
    // On open and closed lines of many kinds: the stretches from each anchor, by testing every
    // point.
    Support::Random random(41);
    for (int round = 0; round < 60; ++round) {
        const int columns = 3 + random.Below(40);
        const double rough = std::pow(10, random.Between(-6, -1));
        const double bend = random.Below(2) == 0 ? 0 : random.Between(0, 0.3);
        Support::IndexedMesh strip = Support::GridMesh<double>(columns, 1, [&](int x, int y) {
            return Vec3d(x, 3 * y + bend * std::sin(0.2 * x) + random.Between(-rough, rough),
                         random.Between(-rough, rough));
        });
        const double tolerance = 1e-4;
        const auto found = LongestStraightBoundary(SoupOf(strip), tolerance);

        // The line, from the first boundary edge of the first triangle on.
        std::vector<Vec3d> line;
        for (int x = 0; x <= columns; ++x) {
            line.push_back(strip.points[static_cast<std::size_t>(x)]);
        }
        for (int x = columns; x >= 0; --x) {
            line.push_back(strip.points[static_cast<std::size_t>(columns + 1 + x)]);
        }
        line.push_back(line.front());
        const auto isStraight = [&](std::size_t a, std::size_t b) {
            for (std::size_t i = a + 1; i < b; ++i) {
                const Vec3d along = line[b] - line[a];
                const double t =
                    std::clamp((line[i] - line[a]) * along / (along * along), 0.0, 1.0);
                if (Length(line[a] + t * along - line[i]) > 100 * tolerance) {
                    return false;
                }
            }
            return true;
        };
        double longest = 0;
        std::size_t anchor = 0;
        for (std::size_t m = 1; m < line.size(); ++m) {
            if (m + 1 == line.size() || !isStraight(anchor, m + 1)) {
                longest = std::max(longest, Length(line[m] - line[anchor]));
                anchor = m;
            }
        }
        EXPECT_NEAR(Length(found[1] - found[0]), longest, 1e-12) << round;
    }
}

TEST(LongestStraightBoundary, TrianglesThatLoseACornerHideNoEdge)
{
    Soup plate = SoupOf(Support::Grid(40, 3));
    // On each edge of the side y = 0, before all others.
    for (int x = 0; x < 40; ++x) {
        plate.insert(plate.begin(), {{{1.0 * x, 0, 0}, {x + 1.0, 0, 0}, {1.0 * x, 0, 0}}});
        plate.insert(plate.begin(), {{{1.0 * x, 3, 0}, {x + 1.0, 3, 0}, {1.0 * x, 3, 0}}});
    }
    const auto ends = LongestStraightBoundary(plate, 1e-6);
    EXPECT_NEAR(Length(ends[1] - ends[0]), 40, 1e-12);
}

TEST(LongestStraightBoundary, ALongStraightLineIsNotQuadratic)
{
    // 50,000 points a side: testing all of them for each would take minutes, also of the fifth of
    // them under a sanitizer. The rough line is one that uses up most of the tolerance, so that no
    // run of it lies near the line by far.
    const int count = Support::FullOr(50000, 10000);
    for (const double rough : {0.0, 0.45e-4}) {
        const auto strip = Support::GridMesh<double>(
            count, 1, [rough](int x, int y) { return Vec3d(x, y + rough * std::sin(1.7 * x), 0); });
        const auto ends = LongestStraightBoundary(SoupOf(strip), 1e-6);
        EXPECT_NEAR(Length(ends[1] - ends[0]), count, 1e-6);
    }
}

TEST(LongestStraightBoundary, APointThatIsNotFiniteEndsNoStretch)
{
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // The plate's longest side is from x = 0 to 40 at y = 0; one of its points is spoiled.
    for (const Vec3d& bad : {Vec3d(5, inf, 0), Vec3d(-inf, 0, 0), Vec3d(5, 0, nan)}) {
        for (const double tolerance : {1e-6, 1e300, inf}) {
            Support::IndexedMesh plate = Support::Mapped(Support::Grid(40, 8), [](const Vec3d& p) {
                return Vec3d(p.x() * (1 - p.y() / 20), p.y(), 0);
            });
            plate.points[5] = bad;
            const auto ends = Sorted(LongestStraightBoundary(SoupOf(plate), tolerance));
            if (tolerance == 1e-6) {
                EXPECT_EQ(ends[0], Vec3d(6, 0, 0));
                EXPECT_EQ(ends[1], Vec3d(40, 0, 0));
            } else {
                // Whatever it is, it is between points of the plate, and not of length zero.
                EXPECT_TRUE(std::isfinite(Length(ends[0]) + Length(ends[1])));
                EXPECT_GT(Length(ends[1] - ends[0]), 1);
            }
        }
    }
}

TEST(LongestStraightBoundary, AToleranceBeyondThePartGivesALongStretch)
{
    // All points are near every line, so the stretch from the first corner on ends at what is
    // farthest from it: the corner across.
    const double inf = std::numeric_limits<double>::infinity();
    for (const double tolerance : {1.0, 1e10, 1e300, inf}) {
        const auto ends = LongestStraightBoundary(SoupOf(Support::Grid(40, 15)), tolerance);
        EXPECT_NEAR(Length(ends[1] - ends[0]), std::hypot(40, 15), 1e-12) << tolerance;
    }
}

TEST(LongestStraightBoundary, NonFiniteInputEnds)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, inf, 1e300}) {
        Support::IndexedMesh plate = Support::Grid(10, 10);
        plate.points[5][1] = bad;
        const auto ends = LongestStraightBoundary(SoupOf(plate), 1e-6);
        EXPECT_GE(Length(ends[1] - ends[0]), 10);
    }
    EXPECT_EQ(LongestStraightBoundary(SoupOf(Support::Grid(3, 3)), nan), Ends{});
    const auto single = LongestStraightBoundary(SoupOf(Support::Grid(3, 3)), -1);
    EXPECT_NEAR(Length(single[1] - single[0]), 1, 1e-15); // nothing is within less than nothing
}

} // namespace
