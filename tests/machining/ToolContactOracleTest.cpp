// Drops of all kinds of tools on random triangles, against a search over the triangles.

#include "tests/machining/DropTables.h"
#include "tests/support/ContactOracle.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/ToolContact_E.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ConvexToolContact;
using Report = ConvexToolContact::ContactReport;
using Support::ShapedTool;

/// The drop went down to the first touch: no point of the soup is above the profile, and the place
/// told is a place of the triangle told, on the profile.
void ExpectFirstTouch(const Report& report, const std::vector<Vec3d>& soup, const Vec2d& xy,
                      const ShapedTool& tool)
{
    double lowest = Support::Oracle::kNothing;
    for (int i = 0; 3 * static_cast<std::size_t>(i) < soup.size(); ++i) {
        lowest =
            std::max(lowest, Support::LowestTipOver(Support::RelativeCorners(soup, i, xy), tool));
    }
    if (report.triangle < 0) {
        EXPECT_EQ(lowest, Support::Oracle::kNothing);
        EXPECT_EQ(report.height, -std::numeric_limits<double>::max());
        return;
    }
    EXPECT_GE(report.height, lowest - 1e-9) << "the tool gouges";
    const double r = report.contact[0];
    ASSERT_GE(r, 0.0);
    ASSERT_LE(r, tool.radius + 1e-12);
    // The circle of r and an edge that it touches: half the digits of r are left along the edge.
    EXPECT_LE(report.contact[1],
              Support::TopAtRadius(Support::RelativeCorners(soup, report.triangle, xy), r) + 1e-6);
    EXPECT_NEAR(report.height, report.contact[1] - tool.profile(std::min(r, tool.radius)), 1e-7);
}

TEST(ToolContactOracle, SingleTrianglesOfAllKindsUnderAllTools)
{
    Support::Random random(81);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const ConvexToolContact contact(tool.record);
        ASSERT_NEAR(contact.Radius(), tool.radius, 1e-12);
        for (int trial = 0; trial < 500; ++trial) {
            SCOPED_TRACE(tool.name + " " + std::to_string(trial));
            const std::vector<Vec3d> soup = Support::RandomSoup(random, 1, 6.0);
            const Vec2d xy = random.Vector<2, double>(-2, 2);
            ExpectFirstTouch(contact.DropAt(xy, soup), soup, xy, tool);
        }
    }
}

TEST(ToolContactOracle, SoupsUnderAllTools)
{
    Support::Random random(82);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const ConvexToolContact contact(tool.record);
        for (int trial = 0; trial < 10; ++trial) {
            SCOPED_TRACE(tool.name + " " + std::to_string(trial));
            const std::vector<Vec3d> soup = Support::RandomSoup(random, 30, 8.0);
            const Vec2d xy = random.Vector<2, double>(-8, 8);
            ExpectFirstTouch(contact.DropAt(xy, soup), soup, xy, tool);
        }
    }
}

TEST(ToolContactOracle, FarFromTheOriginAsNear)
{
    Support::Random random(83);
    const Vec3d shift{1e6, -2e6, 5e5};
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const ConvexToolContact contact(tool.record);
        for (int trial = 0; trial < 10; ++trial) {
            SCOPED_TRACE(tool.name + " " + std::to_string(trial));
            const std::vector<Vec3d> soup = Support::RandomSoup(random, 5, 6.0);
            std::vector<Vec3d> moved = soup;
            for (Vec3d& p : moved) {
                p = p + shift;
            }
            const Vec2d xy = random.Vector<2, double>(-2, 2);
            const Report near = contact.DropAt(xy, soup);
            const Report far = contact.DropAt(xy + Vec2d{shift[0], shift[1]}, moved);
            ASSERT_EQ(far.triangle < 0, near.triangle < 0);
            if (near.triangle >= 0) {
                // Coordinates there are multiples of 2e-10, and a shape that comes down on the
                // shoulder of the ball goes down by more than it goes aside.
                EXPECT_NEAR(far.height - shift[2], near.height, 1e-5);
            }
        }
    }
}

TEST(ToolContactOracle, LargeAndSmallUnitsAreTheSameTool)
{
    // Factors of two: meters for millimeters must not change a digit but those of the exponent.
    Support::Random random(84);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const ConvexToolContact contact(tool.record);
        for (const double unit : {0x1p-10, 0x1p-14, 0x1p+12}) {
            auto record = tool.record;
            for (double* length :
                 {&record.tipRadius, &record.lowerCornerRadius, &record.taperHeight,
                  &record.upperCornerRadius, &record.shankLength}) {
                *length *= unit;
            }
            const ConvexToolContact scaled(record);
            for (int trial = 0; trial < 10; ++trial) {
                SCOPED_TRACE(tool.name + " " + std::to_string(unit) + " " + std::to_string(trial));
                std::vector<Vec3d> soup = Support::RandomSoup(random, 5, 6.0);
                const Vec2d xy = random.Vector<2, double>(-2, 2);
                const Report report = contact.DropAt(xy, soup);
                for (Vec3d& p : soup) {
                    p = p * unit;
                }
                const Report inUnit = scaled.DropAt(xy * unit, soup);
                ASSERT_EQ(inUnit.triangle, report.triangle);
                if (report.triangle >= 0) {
                    EXPECT_NEAR(inUnit.height / unit, report.height, 1e-8);
                }
            }
        }
    }
}

/// The height of the tip over one edge, in long double: the difference of the edge's z and the
/// profile, concave along the edge, by golden sections.
double TipOverEdge(const Vec3d& p, const Vec3d& q, const Vec2d& xy,
                   const std::function<long double(long double r)>& profile, long double radius)
{
    const auto at = [&](long double t) -> long double {
        const auto coordinate = [&](int axis) { // relative to the axis first: that is exact
            const long double from = axis < 2 ? xy[axis] : 0.0;
            return (p[axis] - from) + ((q[axis] - from) - (p[axis] - from)) * t;
        };
        const long double r = std::hypot(coordinate(0), coordinate(1));
        return r <= radius ? coordinate(2) - profile(r) : -1e9L * r;
    };
    const long double golden = (std::sqrt(5.0L) - 1) / 2;
    long double low = 0;
    long double high = 1;
    for (int round = 0; round < 120; ++round) {
        const long double a = high - golden * (high - low);
        const long double b = low + golden * (high - low);
        (at(a) < at(b) ? low : high) = at(a) < at(b) ? a : b;
    }
    return static_cast<double>(std::max({at(0), at(1), at(low), at(high)}));
}

TEST(ToolContactOracle, EdgesThatPassTheAxisCloselyDoNotMeetIt)
{
    // A cone as steep as a needle comes down beside an edge that passes the axis, by as much as the
    // distance times its slope. In millimeters, in meters, and far from the origin.
    Support::Random random(86);
    for (const double angle : {0.02, 0.16, 0.5}) {
        for (const double radius : {5.0, 5e-4}) {
            const ConvexToolContact contact(Support::ConeTool(radius, angle).record);
            const auto cone = [&](long double r) { return r / std::tan((long double)angle); };
            for (const double from : {0.0, 1e6}) {
                const Vec2d xy{from, -from};
                for (int trial = 0; trial < 60; ++trial) {
                    const double beside = std::exp(random.Between(std::log(1e-9), std::log(1e-5)));
                    const double turn = random.Between(0, 6.3);
                    const double slope = trial % 4 == 0 ? 0.0 : random.Between(-1, 1) / angle;
                    SCOPED_TRACE(testing::Message() << angle << ' ' << radius << ' ' << from << ' '
                                                    << beside << ' ' << slope);
                    const auto place = [&](double along) {
                        return Vec3d{xy[0] + along * std::cos(turn) - beside * std::sin(turn),
                                     xy[1] + along * std::sin(turn) + beside * std::cos(turn),
                                     slope * along};
                    };
                    const Vec3d p = place(-0.7 * radius);
                    const Vec3d q = place(random.Between(0.1, 0.9) * radius);
                    const double expected = TipOverEdge(p, q, xy, cone, radius);
                    const double height =
                        contact
                            .DropEdgesToHeight(std::numeric_limits<double>::infinity(), xy, {p, q})
                            .height;
                    EXPECT_NEAR(height, expected, 1e-13 * radius / angle);
                }
            }
        }
    }
}

TEST(ToolContactOracle, AFlatEndNeverStandsAboveTheTopOfWhatItTouches)
{
    // Not by a digit, wherever places between corners are rounded to: bounds of heights by the tops
    // of triangles decide which of them are looked at. The rim comes down just beside the upper end
    // of an edge, and the axis just beside a peak.
    Support::Random random(87);
    const ConvexToolContact flat(Support::FlatTool(5).record);
    for (int trial = 0; trial < 4000; ++trial) {
        const double turn = random.Between(0, 6.3);
        const double beyond = 5 * (1 + 0x1p-51 * random.Below(4));
        const Vec3d end{beyond * std::cos(turn), beyond * std::sin(turn), random.Between(-1, 1)};
        const Vec3d low{random.Between(-4, 4), random.Between(-4, 4), random.Between(-9, -1)};
        const Report edge =
            flat.DropEdgesToHeight(std::numeric_limits<double>::infinity(), {0, 0}, {low, end});
        EXPECT_LE(edge.height, end.z()) << trial;

        Vec3d peak = random.Vector<3, double>(-1e-16, 1e-16);
        peak[2] = random.Between(-1, 1);
        const Vec3d other{random.Between(-4, 4), random.Between(-4, 4), random.Between(-9, -1)};
        const Report facet = flat.DropFacesToHeight(std::numeric_limits<double>::infinity(), {0, 0},
                                                    {low, peak, other});
        EXPECT_LE(facet.height, peak.z()) << trial;
    }
}

TEST(ToolContactOracle, NowhereBelowItselfWithMoreTriangles)
{
    Support::Random random(85);
    const ConvexToolContact contact(Support::BullTool(3.5, 1.5).record);
    for (int trial = 0; trial < 50; ++trial) {
        std::vector<Vec3d> soup = Support::RandomSoup(random, 12, 8.0);
        const double height = contact.DropAt({0, 0}, soup).height;
        const double fewer =
            contact.DropAt({0, 0}, std::vector<Vec3d>(soup.begin(), soup.begin() + 18)).height;
        EXPECT_LE(fewer, height);
        // Whatever their order and the order of their corners: the greatest height, to the bit.
        std::vector<Vec3d> turned;
        for (std::size_t i = soup.size(); i > 0; i -= 3) {
            turned.insert(turned.end(), soup.begin() + static_cast<std::ptrdiff_t>(i - 3),
                          soup.begin() + static_cast<std::ptrdiff_t>(i));
        }
        EXPECT_EQ(contact.DropAt({0, 0}, turned).height, height);
    }
}

// --- tables of drops that another program made
// -----------------------------------------------------

class ToolContactTable : public testing::TestWithParam<Support::DropTable> {};

TEST_P(ToolContactTable, EveryThirtySeventhRow)
{
    // One drop goes over all triangles: a sample of the rows; the prepared mesh tries all of them.
    const auto table = Support::SharedData(std::string("drop_cutter/") + GetParam().table);
    const auto mesh = Support::SharedData(GetParam().mesh);
    SORVANE_NEED_DATA(table);
    SORVANE_NEED_DATA(mesh);
    const std::vector<Vec3d> soup = Support::StlCorners<double>(mesh);
    const std::vector<Vec3d> rows = Support::RowsOf(table);
    ASSERT_EQ(rows.size(), 1600U);
    const ConvexToolContact contact(GetParam().tool.record);
    const double missed = Support::BottomOf(soup) - 1000;
    for (std::size_t i = 0; i < rows.size(); i += 37) {
        const Report report = contact.DropAt({rows[i].x(), rows[i].y()}, soup);
        EXPECT_NEAR(report.triangle < 0 ? missed : report.height, rows[i].z(), 1e-4) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Parts, ToolContactTable, testing::ValuesIn(Support::DropTables()),
                         [](const auto& test) { return Support::NameOf(test.param); });

} // namespace
