// Drops on a prepared mesh: the same heights as single drops, whatever the mesh, the order and the
// threads.

#include "tests/machining/DropTables.h"
#include "tests/support/ContactOracle.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/ContactSurface_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ContactSurface;
using Mill::ConvexToolContact;
using Mill::DropRaster;
using Mill::SurfaceDrops;
using Support::ShapedTool;
using Soup = std::vector<Vec3d>;

constexpr double kNothing = -std::numeric_limits<double>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Each height has the bits of the single drop, and so has the drop on the triangle told alone.
void ExpectSingleDrops(const SurfaceDrops& drops, const ConvexToolContact& tool, const Soup& soup,
                       const std::vector<Vec2d>& positions)
{
    ASSERT_EQ(drops.heights.size(), positions.size());
    ASSERT_EQ(drops.triangles.size(), positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(drops.heights[i], tool.DropAt(positions[i], soup).height);
        ASSERT_EQ(drops.triangles[i] < 0, drops.heights[i] == kNothing);
        if (drops.triangles[i] >= 0) {
            const auto first = soup.begin() + 3 * static_cast<std::ptrdiff_t>(drops.triangles[i]);
            ASSERT_EQ(drops.heights[i], tool.DropAt(positions[i], Soup(first, first + 3)).height);
        }
    }
}

std::vector<Vec2d> RandomPositions(Support::Random& random, int count, double extent)
{
    std::vector<Vec2d> positions;
    for (int i = 0; i < count; ++i) {
        positions.push_back(random.Vector<2, double>(-extent, extent));
    }
    return positions;
}

/// Two triangles for each cell of a square grid.
template <class Height>
Soup Grid(int cells, double extent, const Height& height)
{
    Soup soup;
    const auto at = [&](int column, int row) {
        const double x = extent * (2.0 * column / cells - 1);
        const double y = extent * (2.0 * row / cells - 1);
        return Vec3d{x, y, height(x, y)};
    };
    for (int row = 0; row < cells; ++row) {
        for (int column = 0; column < cells; ++column) {
            const Vec3d a = at(column, row);
            const Vec3d b = at(column + 1, row);
            const Vec3d c = at(column + 1, row + 1);
            const Vec3d d = at(column, row + 1);
            soup.insert(soup.end(), {a, b, c, a, c, d});
        }
    }
    return soup;
}

TEST(ContactSurface, RandomSoupsGiveTheBitsOfSingleDrops)
{
    Support::Random random(101);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        SCOPED_TRACE(tool.name);
        const ConvexToolContact contact(tool.record);
        const Soup soup = Support::RandomSoup(random, 200, 20.0);
        const std::vector<Vec2d> positions = RandomPositions(random, 60, 25.0);
        ExpectSingleDrops(ContactSurface(soup).DropAtPoints(contact, positions, {}), contact, soup,
                          positions);
    }
}

TEST(ContactSurface, ArrangementsFullOfTiesGiveTheBitsOfSingleDrops)
{
    const std::vector<std::pair<const char*, Soup>> soups{
        {"level", Grid(20, 20, [](double, double) { return 1.5; })},
        {"slope", Grid(20, 20, [](double x, double y) { return 0.3 * x - 0.7 * y; })},
        {"bowl of the ball",
         Grid(24, 5,
              [](double x, double y) { return 5 - std::sqrt(std::max(25 - x * x - y * y, 0.0)); })},
        {"spikes",
         Grid(20, 20,
              [](double x, double y) {
                  return std::fmod(std::fabs(std::round(x / 2) + std::round(y / 2)), 2.0) * 9;
              })},
        {"stairs", Grid(20, 20, [](double x, double) { return std::floor(x / 4); })}};
    Support::Random random(102);
    for (const auto& [name, soup] : soups) {
        const ContactSurface surface(soup);
        std::vector<Vec2d> positions = RandomPositions(random, 15, 21.0);
        positions.insert(positions.end(),
                         {{0, 0}, {2, 2}, {1, 0}, {-20, -20}, {25, 0}, {24.999, 0}});
        for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
            SCOPED_TRACE(name + (" " + tool.name));
            const ConvexToolContact contact(tool.record);
            ExpectSingleDrops(surface.DropAtPoints(contact, positions, {}), contact, soup,
                              positions);
        }
    }
}

TEST(ContactSurface, FineMeshesGiveTheBitsOfSingleDrops)
{
    // Neighbors hold the tool up by next to nothing more or less than the one that stops it.
    const Soup soup = Grid(
        50, 1.5, [](double x, double y) { return 0.1 * std::sin(3 * x + 1) * std::cos(2 * y); });
    const ContactSurface surface(soup);
    Support::Random random(107);
    const std::vector<Vec2d> positions = RandomPositions(random, 25, 0.25);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        SCOPED_TRACE(tool.name);
        auto record = tool.record;
        for (double* length : {&record.tipRadius, &record.lowerCornerRadius, &record.taperHeight,
                               &record.upperCornerRadius}) {
            *length *= 0.02;
        }
        const ConvexToolContact contact(record);
        ExpectSingleDrops(surface.DropAtPoints(contact, positions, {}), contact, soup, positions);
    }
}

TEST(ContactSurface, ToolsThatAreNotConvexGiveTheBitsOfSingleDrops)
{
    const std::vector<Mill::ConvexStandardToolBase<double>> records{
        // A dovetail, a lollipop, a corner that is hollow, a cone of negative height, a steep cone
        // in front
        // of a flat round.
        {.tipRadius = 4, .taperHeight = 3, .taperAngle = -0.6, .shankLength = 9},
        {.lowerCornerRadius = 4,
         .lowerCornerAngle = M_PI / 2,
         .taperAngle = -0.7,
         .shankLength = 9},
        {.tipRadius = 1,
         .lowerCornerRadius = 3,
         .lowerCornerAngle = 0.3,
         .taperHeight = 1,
         .taperAngle = 1.3},
        {.tipRadius = 1, .taperHeight = -2, .taperAngle = -0.9, .shankLength = 9},
        {.taperHeight = 3, .taperAngle = 0.4, .upperCornerRadius = 9, .shankLength = 2},
        {.tipRadius = 1,
         .lowerCornerRadius = 2,
         .lowerCornerAngle = 3,
         .taperHeight = 1,
         .taperAngle = 0.5}};
    Support::Random random(108);
    for (std::size_t i = 0; i < records.size(); ++i) {
        SCOPED_TRACE(i);
        const ConvexToolContact contact(records[i]);
        const Soup soup = Support::RandomSoup(random, 300, 12.0);
        const std::vector<Vec2d> positions = RandomPositions(random, 40, 14.0);
        ExpectSingleDrops(ContactSurface(soup).DropAtPoints(contact, positions, {}), contact, soup,
                          positions);
        const Soup waves =
            Grid(25, 10, [](double x, double y) { return 3 * std::sin(x) * std::cos(y); });
        ExpectSingleDrops(ContactSurface(waves).DropAtPoints(contact, positions, {}), contact,
                          waves, positions);
    }
}

TEST(ContactSurface, FarFromTheOriginGivesTheBitsOfSingleDrops)
{
    Support::Random random(103);
    for (const Vec3d& shift : {Vec3d{1e6, -3e6, 2e6}, Vec3d{0, 0, -1e6}, Vec3d{-1e9, 1e9, 1e9}}) {
        Soup soup = Support::RandomSoup(random, 100, 20.0);
        for (Vec3d& p : soup) {
            p = p + shift;
        }
        std::vector<Vec2d> positions = RandomPositions(random, 20, 20.0);
        for (Vec2d& p : positions) {
            p = p + Vec2d{shift[0], shift[1]};
        }
        const ContactSurface surface(soup);
        for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
            SCOPED_TRACE(tool.name);
            const ConvexToolContact contact(tool.record);
            ExpectSingleDrops(surface.DropAtPoints(contact, positions, {}), contact, soup,
                              positions);
        }
    }
}

TEST(ContactSurface, MeshesWithDegenerateTrianglesGiveTheBitsOfSingleDrops)
{
    const auto file = Support::SharedData("with_degenerate/nist_ftc_06.stl");
    SORVANE_NEED_DATA(file);
    const Soup soup = Support::StlCorners<double>(file);
    ASSERT_FALSE(soup.empty());
    Vec3d low = soup[0];
    Vec3d high = soup[0];
    for (const Vec3d& p : soup) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    Support::Random random(104);
    std::vector<Vec2d> positions;
    for (int i = 0; i < 20; ++i) {
        positions.push_back({random.Between(low[0], high[0]), random.Between(low[1], high[1])});
    }
    const ConvexToolContact contact(
        Support::BullTool((high[0] - low[0]) / 40, (high[0] - low[0]) / 80).record);
    ExpectSingleDrops(ContactSurface(soup).DropAtPoints(contact, positions, {}), contact, soup,
                      positions);
}

// --- tables of drops that another program made
// -----------------------------------------------------

class ContactSurfaceTable : public testing::TestWithParam<Support::DropTable> {};

TEST_P(ContactSurfaceTable, EveryRow)
{
    const Support::DropTable& param = GetParam();
    const auto table = Support::SharedData(std::string("drop_cutter/") + param.table);
    const auto mesh = Support::SharedData(param.mesh);
    SORVANE_NEED_DATA(table);
    SORVANE_NEED_DATA(mesh);
    const Soup soup = Support::StlCorners<double>(mesh);
    const std::vector<Vec3d> rows = Support::RowsOf(table);
    ASSERT_EQ(rows.size(), 1600U);
    std::vector<Vec2d> positions;
    for (const Vec3d& row : rows) {
        positions.push_back({row.x(), row.y()});
    }
    const SurfaceDrops drops =
        ContactSurface(soup).DropAtPoints(ConvexToolContact(param.tool.record), positions, {});
    const double missed = Support::BottomOf(soup) - 1000;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_NEAR(drops.triangles[i] < 0 ? missed : drops.heights[i], rows[i].z(), 1e-4) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Parts, ContactSurfaceTable, testing::ValuesIn(Support::DropTables()),
                         [](const auto& test) { return Support::NameOf(test.param); });

// --- the batch
// --------------------------------------------------------------------------------------

TEST(ContactSurface, SameBitsOnAnyThreadCount)
{
    if (!Support::CanLimitThreads()) {
        GTEST_SKIP() << "the number of threads is not ours to set";
    }
    // Level stretches, so that the triangle told is one of many.
    const Soup soup =
        Grid(40, 20, [](double x, double y) { return std::round(std::sin(x) + std::cos(y)); });
    const ContactSurface surface(soup);
    const ConvexToolContact contact(Support::FlatTool(3).record);
    const DropRaster raster{{-20, -20}, {0.4, 0.4}, 101, 101};
    const std::vector<Mill::ToolPart> parts{{Support::FlatTool(3).record, 0},
                                            {Support::FlatTool(6).record, 2}};
    std::vector<Vec3d> tips;
    for (int i = 0; i < 3000; ++i) {
        tips.push_back({0.013 * (i - 1500), std::sin(0.01 * i) * 20, -0.5});
    }
    SurfaceDrops drops;
    std::vector<Mill::GougeReport> gouges;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            const SurfaceDrops again = surface.DropOnRaster(contact, raster, {});
            const auto gougesAgain = surface.FindGouges(parts, tips, 0.0, {});
            if (threads == 1) {
                drops = again;
                gouges = gougesAgain;
            }
            EXPECT_EQ(drops, again) << threads;
            EXPECT_EQ(gouges, gougesAgain) << threads;
        });
    }
    EXPECT_EQ(drops.heights.size(), 101U * 101U);
}

TEST(ContactSurface, RastersAreNumberedRowByRow)
{
    const ContactSurface surface(Grid(1, 100, [](double x, double y) { return x + 1000 * y; }));
    const ConvexToolContact needle({.shankLength = 1});
    const SurfaceDrops drops = surface.DropOnRaster(needle, {{1, 2}, {3, -4}, 3, 2}, {});
    ASSERT_EQ(drops.heights.size(), 6U);
    const std::vector<double> expected{2001, 2004, 2007, -1999, -1996, -1993};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(drops.heights[i], expected[i], 1e-9);
    }
}

TEST(ContactSurface, RastersWithoutPositionsGiveNothing)
{
    const ContactSurface surface(Grid(1, 100, [](double, double) { return 0.0; }));
    const ConvexToolContact ball(Support::BallTool(5).record);
    for (const auto& [columns, rows] : {std::pair{0, 5}, {5, 0}, {-1, -1}, {-2147483647 - 1, 3}}) {
        EXPECT_EQ(surface.DropOnRaster(ball, {{0, 0}, {1, 1}, columns, rows}, {}), SurfaceDrops{});
    }
    EXPECT_EQ(surface.DropAtPoints(ball, {}, {}), SurfaceDrops{});
    // All at one place, or nowhere.
    EXPECT_EQ(surface.DropOnRaster(ball, {{0, 0}, {0, 0}, 2, 2}, {}).heights,
              std::vector<double>(4, 0.0));
    EXPECT_EQ(surface.DropOnRaster(ball, {{0, kNaN}, {1, 1}, 2, 2}, {}).triangles,
              std::vector<int>(4, -1));
}

// Of corners at -0 and 0 whichever is met first holds the tool, so that the order of positions would
// show. The axis is beside the corner: under it the facet counts, whose height has no sign.
TEST(ContactSurface, AHeightOfZeroHasNoSign)
{
    const Soup soup{{-1, -1, -0.0}, {1, -1, -0.0}, {0, 1, -0.0}};
    const ConvexToolContact flat({.tipRadius = 0.25, .shankLength = 1});
    const SurfaceDrops drops = ContactSurface(soup).DropAtPoints(flat, {{0, 1.1}}, {});
    ASSERT_EQ(drops.heights.size(), 1U);
    EXPECT_EQ(drops.heights[0], 0);
    EXPECT_FALSE(std::signbit(drops.heights[0]));
    EXPECT_FALSE(std::signbit(flat.DropAt({0, 1.1}, soup).height));
}

TEST(ContactSurface, TheOrderOfPositionsChangesNoHeight)
{
    Support::Random random(105);
    const Soup soup = Support::RandomSoup(random, 100, 20.0);
    const ContactSurface surface(soup);
    const ConvexToolContact ball(Support::BallTool(5).record);
    std::vector<Vec2d> positions = RandomPositions(random, 700, 22.0);
    const SurfaceDrops drops = surface.DropAtPoints(ball, positions, {});
    std::vector<double> backward(drops.heights.rbegin(), drops.heights.rend());
    std::reverse(positions.begin(), positions.end());
    EXPECT_EQ(surface.DropAtPoints(ball, positions, {}).heights, backward);
}

TEST(ContactSurface, ProgressAscendsToOne)
{
    const ContactSurface surface(Grid(4, 100, [](double, double) { return 0.0; }));
    const ConvexToolContact ball(Support::BallTool(5).record);
    const DropRaster raster{{-50, -50}, {0.5, 0.5}, 200, 100};
    std::vector<double> shares;
    const auto note = [&](double share) {
        shares.push_back(share);
        return true;
    };
    const SurfaceDrops drops = surface.DropOnRaster(ball, raster, note);
    EXPECT_EQ(drops.heights.size(), 20000U);
    EXPECT_GT(shares.size(), 1U);
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_GT(shares.front(), 0.0);
    EXPECT_EQ(shares.back(), 1.0);
    const std::vector<Vec3d> tips(20000, Vec3d{0, 0, 0});
    shares.clear();
    EXPECT_EQ(surface.FindGouges({{Support::BallTool(5).record, 0}}, tips, 0.0, note).size(),
              tips.size());
    EXPECT_EQ(shares.back(), 1.0);
}

TEST(ContactSurface, CancelEndsWithNothing)
{
    const ContactSurface surface(Grid(4, 100, [](double, double) { return 0.0; }));
    const ConvexToolContact ball(Support::BallTool(5).record);
    int calls = 0;
    const auto cancel = [&](double) { return ++calls < 2; };
    EXPECT_EQ(surface.DropOnRaster(ball, {{-50, -50}, {0.5, 0.5}, 200, 100}, cancel),
              SurfaceDrops{});
    EXPECT_EQ(calls, 2);
    calls = 1;
    const std::vector<Vec3d> tips(20000, Vec3d{0, 0, 0});
    EXPECT_TRUE(surface.FindGouges({{Support::BallTool(5).record, 0}}, tips, 0.0, cancel).empty());
    EXPECT_EQ(calls, 2);
}

// --- what a surface is made of
// ----------------------------------------------------------------------

TEST(ContactSurface, IndexedMeshesAreTheirSoups)
{
    const std::vector<Vec3d> points{{-50, -50, 0}, {50, -50, 1}, {50, 50, 2}, {-50, 50, 4}};
    const std::vector<int> triples{0, 1, 2, 0, 2, 3};
    Soup soup;
    for (const int number : triples) {
        soup.push_back(points[static_cast<std::size_t>(number)]);
    }
    const ConvexToolContact bull(Support::BullTool(2, 3).record);
    const DropRaster raster{{-60, -60}, {7, 7}, 18, 18};
    EXPECT_EQ(ContactSurface(points, triples).DropOnRaster(bull, raster, {}),
              ContactSurface(soup).DropOnRaster(bull, raster, {}));
}

TEST(ContactSurface, TrianglesThatAreNoneStayOutAndKeepTheNumbers)
{
    const std::vector<Vec3d> points{{-50, -50, 1}, {50, -50, 1},      {0, 50, 1},
                                    {0, 0, kNaN},  {kInfinity, 0, 9}, {0, 1e80, 9}};
    const std::vector<int> triples{0, 1, 3, 0, 1, 4,          0, 1, 5, 0, 1, -1,
                                   0, 1, 6, 0, 1, 2147483647, 0, 1, 2, 0, 1};
    const ContactSurface surface(points, triples);
    EXPECT_EQ(surface.TriangleCount(), 1U);
    const SurfaceDrops drops =
        surface.DropAtPoints(ConvexToolContact(Support::BallTool(5).record), {{0, 0}}, {});
    EXPECT_EQ(drops.heights, std::vector<double>{1.0});
    EXPECT_EQ(drops.triangles, std::vector<int>{6});
}

TEST(ContactSurface, SurfacesWithoutTrianglesTouchNothing)
{
    const ConvexToolContact ball(Support::BallTool(5).record);
    ContactSurface moved(Grid(1, 9, [](double, double) { return 0.0; }));
    const ContactSurface target(std::move(moved));
    EXPECT_EQ(target.TriangleCount(), 2U);
    const Soup four(4, Vec3d{0, 0, 0});
    const ContactSurface wrongSize(four);
    const ContactSurface none;
    for (const ContactSurface* surface :
         {&none, &wrongSize, static_cast<const ContactSurface*>(&moved)}) {
        EXPECT_EQ(surface->TriangleCount(), 0U);
        const SurfaceDrops drops = surface->DropAtPoints(ball, {{0, 0}}, {});
        EXPECT_EQ(drops.heights, std::vector<double>{kNothing});
        EXPECT_EQ(drops.triangles, std::vector<int>{-1});
        EXPECT_EQ(
            surface->FindGouges({{Support::BallTool(5).record, 0}}, {{0, 0, 0}}, 0.0, {}).size(),
            1U);
    }
    moved = ContactSurface(Grid(1, 9, [](double, double) { return 0.0; }));
    EXPECT_EQ(moved.TriangleCount(), 2U);
}

TEST(ContactSurface, ToolsWithoutAProfileTouchNothing)
{
    const ContactSurface surface(Grid(1, 9, [](double, double) { return 0.0; }));
    EXPECT_EQ(surface.DropAtPoints(ConvexToolContact({}), {{0, 0}}, {}).triangles,
              std::vector<int>{-1});
}

TEST(ContactSurface, ToolsLargerThanThePartAndSmallerThanAnything)
{
    Support::Random random(106);
    const Soup soup = Support::RandomSoup(random, 60, 1.0);
    const ContactSurface surface(soup);
    const std::vector<Vec2d> positions = RandomPositions(random, 20, 2.0);
    for (const double size : {1e-9, 1e-6, 1e3, 1e9}) {
        for (const ShapedTool& tool : {Support::BallTool(size), Support::FlatTool(size),
                                       Support::BullTool(size, size / 3)}) {
            SCOPED_TRACE(tool.name + std::to_string(size));
            const ConvexToolContact contact(tool.record);
            ExpectSingleDrops(surface.DropAtPoints(contact, positions, {}), contact, soup,
                              positions);
        }
    }
}

TEST(ContactSurface, PositionsThatAreNotFiniteTouchNothing)
{
    const ContactSurface surface(Grid(1, 9, [](double, double) { return 0.0; }));
    const ConvexToolContact ball(Support::BallTool(5).record);
    const SurfaceDrops drops = surface.DropAtPoints(
        ball, {{kNaN, 0}, {0, kInfinity}, {0, 0}, {-kInfinity, kNaN}, {1e300, 0}}, {});
    EXPECT_EQ(drops.triangles.at(0), -1);
    EXPECT_EQ(drops.triangles.at(1), -1);
    EXPECT_EQ(drops.heights.at(2), 0.0);
    EXPECT_EQ(drops.triangles.at(3), -1);
    EXPECT_EQ(drops.triangles.at(4), -1);
}

} // namespace
