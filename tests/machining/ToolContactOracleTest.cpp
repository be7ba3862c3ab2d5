// Drops of all kinds of tools on random triangles, against a search over the triangles.

#include "tests/support/ContactOracle.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/ToolContact_E.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
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

struct TableCase {
    const char* table;
    const char* mesh;
    ShapedTool tool;
};
void PrintTo(const TableCase& c, std::ostream* os) { *os << c.table; }

class ToolContactTable : public testing::TestWithParam<TableCase> {};

TEST_P(ToolContactTable, EveryThirtySeventhRow)
{
    // One drop goes over all triangles; a sample of rows does here, all rows are tried on the
    // prepared mesh.
    const auto table = Support::SharedData(std::string("drop_cutter/") + GetParam().table);
    const auto mesh = Support::SharedData(GetParam().mesh);
    SORVANE_NEED_DATA(table);
    SORVANE_NEED_DATA(mesh);
    const std::vector<Vec3d> soup = Support::StlCorners<double>(mesh);
    ASSERT_FALSE(soup.empty());
    double bottom = std::numeric_limits<double>::max();
    for (const Vec3d& p : soup) {
        bottom = std::min(bottom, p.z());
    }
    const ConvexToolContact contact(GetParam().tool.record);
    std::ifstream stream(table);
    std::string line;
    std::getline(stream, line);
    int tried = 0;
    for (int row = 0; std::getline(stream, line); ++row) {
        if (row % 37 != 0) {
            continue;
        }
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream numbers(line);
        double x = 0;
        double y = 0;
        double z = 0;
        numbers >> x >> y >> z;
        const Report report = contact.DropAt({x, y}, soup);
        EXPECT_NEAR(report.triangle < 0 ? bottom - 1000 : report.height, z, 1e-4) << line;
        ++tried;
    }
    EXPECT_EQ(tried, 44); // of 1600
}

constexpr const char* kFtc06 = "meshes_nist/nist_ftc_06_asme1_rd.stl";
constexpr const char* kVoron = "meshes_cad/voron_z_joint_upper_x4.stl";

INSTANTIATE_TEST_SUITE_P(
    Parts, ToolContactTable,
    testing::Values(TableCase{"ftc06_ball_d10_40x40.csv", kFtc06, Support::BallTool(5)},
                    TableCase{"ftc06_cyl_d10_40x40.csv", kFtc06, Support::FlatTool(5)},
                    TableCase{"ftc06_bull_d12_40x40.csv", kFtc06, Support::BullTool(4.5, 1.5)},
                    TableCase{"voron_z_joint_ball_d3_40x40.csv", kVoron, Support::BallTool(1.5)},
                    TableCase{"voron_z_joint_cyl_d3_40x40.csv", kVoron, Support::FlatTool(1.5)},
                    TableCase{"voron_z_joint_bull_d3_40x40.csv", kVoron,
                              Support::BullTool(1.125, 0.375)}),
    [](const auto& test) {
        std::string name = test.param.table;
        return name.substr(0, name.find("_40x40"));
    });

} // namespace
