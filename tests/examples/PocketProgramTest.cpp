// The program that clears pockets by rings: what it writes is measured against the walls, on a grid
// of samples and along every curve.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/planar/Drawings.h"
#include "tests/planar/OffsetMeasures.h"
#include "tests/support/FileSupport.h"

#include <string>

namespace {

namespace fs = std::filesystem;
using namespace Velk::Math;
using namespace Support;
using Chain = PolyArcSegBase<double>;

class PocketProgram : public testing::Test {
protected:
    /// Runs the program on the walls, the outline first, and reads its rings.
    std::vector<Chains<double>> RingsIn(const Chains<double>& walls, double radius, double step)
    {
        std::vector<std::string> arguments{
            "picture.svg", "--radius", std::to_string(radius), "--step", std::to_string(step),
            "--rings",     "ring"};
        for (std::size_t i = 0; i < walls.size(); ++i) {
            const std::string name = "wall" + std::to_string(i) + ".txt";
            EXPECT_TRUE(Planar::WritePolySegArcToFile(walls[i], (folder_ / name).string()));
            arguments.push_back(name);
        }
        run_ = RunExample("pocket", arguments, folder_ / "");
        std::vector<Chains<double>> rings;
        const auto nameOf = [&](std::size_t ring, std::size_t curve) {
            return folder_ /
                   ("ring-" + std::to_string(ring) + "-" + std::to_string(curve) + ".txt");
        };
        for (std::size_t ring = 1; fs::exists(nameOf(ring, 1)); ++ring) {
            rings.emplace_back();
            for (std::size_t i = 1; fs::exists(nameOf(ring, i)); ++i) {
                rings.back().push_back(Planar::ReadPolySegArcFromFile(nameOf(ring, i).string()));
            }
        }
        return rings;
    }

    /// Every curve is closed and at its distance from the walls, and no sample of the pocket that
    /// the tool's center may reach is farther than a step from the ring outside of it.
    void ExpectCleared(const Chains<double>& walls, double radius, double step)
    {
        const auto rings = RingsIn(walls, radius, step);
        ASSERT_EQ(run_.code, 0) << run_.output << run_.errors;
        ASSERT_FALSE(rings.empty());
        EXPECT_TRUE(fs::exists(folder_ / "picture.svg"));
        EXPECT_NE(run_.output.find(std::to_string(rings.size()) + " rings"), std::string::npos)
            << run_.output;

        Chain all;
        for (const Chain& wall : walls) {
            all.elements.insert(all.elements.end(), wall.elements.begin(), wall.elements.end());
        }
        std::vector<std::vector<Vec2d>> loops;
        for (const Chain& wall : walls) {
            loops.push_back(Samples(wall, 0.05 * step));
        }
        const auto isInPocket = [&](const Vec2d& p) {
            bool inside = IsInside(p, loops[0]);
            for (std::size_t i = 1; i < loops.size(); ++i) {
                inside = inside && !IsInside(p, loops[i]);
            }
            return inside;
        };
        const double near = 1e-6 * radius;
        for (std::size_t k = 0; k < rings.size(); ++k) {
            SCOPED_TRACE(k);
            const double distance = radius + static_cast<double>(k) * step;
            for (const Chain& curve : rings[k]) {
                EXPECT_TRUE(curve.IsClosed());
                EXPECT_TRUE(isInPocket(PointOf(curve.elements.front(), 0.5)));
            }
            ExpectAtDistance(rings[k], all, distance, near);
        }

        Vec2d low = loops[0][0];
        Vec2d high = low;
        for (const Vec2d& p : loops[0]) {
            low = {std::min(low[0], p[0]), std::min(low[1], p[1])};
            high = {std::max(high[0], p[0]), std::max(high[1], p[1])};
        }
        constexpr int kAcross = 41;
        int sampleCount = 0;
        for (int i = 0; i < kAcross; ++i) {
            for (int j = 0; j < kAcross; ++j) {
                const Vec2d p = low + Vec2d((high - low)[0] * (i + 0.37) / kAcross,
                                            (high - low)[1] * (j + 0.61) / kAcross);
                const double depth = isInPocket(p) ? DistanceToChain(p, all) : 0.0;
                if (depth < radius + near) {
                    continue;
                }
                ++sampleCount;
                const auto ring = static_cast<std::size_t>((depth - radius) / step);
                ASSERT_LT(ring, rings.size()) << p[0] << ", " << p[1];
                double least = step * 1e3;
                for (const Chain& curve : rings[ring]) {
                    least = std::min(least, DistanceToChain(p, curve));
                }
                ASSERT_LE(least, step) << p[0] << ", " << p[1] << " of ring " << ring;
            }
        }
        EXPECT_GT(sampleCount, 100);
    }

    TemporaryFolder folder_;
    ProgramRun run_;
};

/// 40 x 30 with one round end.
Chain Outline()
{
    Chain chain = Lines<double>({{0, 0}, {40, 0}});
    chain.tolerance = 1e-9;
    chain.AppendArc({40, 15}, {40, 0}, 15 * kHalfTurn);
    chain.AppendSegment(End(chain), {0, 30});
    chain.AppendSegment({0, 30}, {0, 0});
    return chain;
}

/// One element alone.
Chain CircleAt(const Vec2d& center, double radius)
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendArc(center, center + Vec2d(radius, 0), 2 * kHalfTurn * radius);
    return chain;
}

TEST_F(PocketProgram, RingsAreRightWhereOffsetsOfWallsMeet)
{
    const Chain boss = Lines<double>({{8, 8}, {18, 6}, {14, 15}, {8, 8}});
    ExpectCleared({Outline(), CircleAt({37, 16}, 5), boss}, 1.3, 1.3);
}

// A clamp across the wall, and two bosses that overlap: walls within walls bound nothing.
TEST_F(PocketProgram, IslandsMayOverlapEachOtherAndTheOutline)
{
    const Chain clamp = Lines<double>({{-3, 10}, {9, 10}, {9, 19}, {-3, 19}, {-3, 10}});
    ExpectCleared({Outline(), clamp, CircleAt({28, 14}, 4), CircleAt({33, 16}, 3)}, 1.1, 0.9);
}

// The last ring round a lens has two arcs between two points; a round pocket has rings of one.
TEST_F(PocketProgram, RingsOfOneAndTwoElementsAreNotLost)
{
    Chain lens;
    lens.tolerance = 1e-9;
    for (const double side : {-1.0, 1.0}) {
        const auto arc = Geometry::ArcThroughPoints(Vec2d(side * 10, 0), Vec2d(0, side * 4),
                                                    Vec2d(-side * 10, 0));
        lens.elements.emplace_back(arc);
    }
    ASSERT_TRUE(lens.IsClosed());
    ExpectCleared({lens}, 0.9, 0.7);
    ExpectCleared({CircleAt({3, 1}, 7), CircleAt({4.5, 1}, 1.5)}, 0.6, 0.5);
    // Rings that end as crescents, away from where the circles are likely to have joints.
    for (const double angle : {0.3, 0.7, 1.1}) {
        const Vec2d boss(3 + 2.5 * std::cos(angle), 1 + 2.5 * std::sin(angle));
        ExpectCleared({CircleAt({3, 1}, 7), CircleAt(boss, 1.5)}, 0.3, 0.19);
    }
}

TEST_F(PocketProgram, ClearsTheBuiltInSeat)
{
    const ProgramRun run = RunExample("pocket", {"seat.svg"}, folder_ / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("8 rings"), std::string::npos) << run.output;
    EXPECT_TRUE(fs::exists(folder_ / "seat.svg"));
}

TEST_F(PocketProgram, SaysWhatItCannotDo)
{
    const auto codeOf = [&](const std::vector<std::string>& arguments) {
        return RunExample("pocket", arguments, folder_ / "").code;
    };
    EXPECT_EQ(codeOf({}), 2);
    EXPECT_EQ(codeOf({"a.svg", "--radius", "0"}), 2);
    EXPECT_EQ(codeOf({"a.svg", "--radius", "x"}), 2);
    EXPECT_EQ(codeOf({"a.svg", "--radius", "2", "--step", "3"}), 2);
    EXPECT_EQ(codeOf({"a.svg", "--depth", "2"}), 2);
    EXPECT_EQ(codeOf({"a.svg", "nowhere.txt"}), 1);
    Chain open = Outline();
    open.elements.pop_back();
    ASSERT_TRUE(Planar::WritePolySegArcToFile(open, (folder_ / "open.txt").string()));
    EXPECT_EQ(codeOf({"a.svg", "open.txt"}), 1);
    EXPECT_EQ(codeOf({"nowhere/a.svg"}), 1);
    EXPECT_EQ(codeOf({"a.svg", "--rings", "nowhere/ring"}), 1);
    EXPECT_EQ(codeOf({"b.svg", "--radius", "40"}), 3);
    EXPECT_FALSE(fs::exists(folder_ / "b.svg"));
}

// A mounting plate from a public collection with all its holes as islands.
TEST_F(PocketProgram, ClearsARealOutlineWithIslands)
{
    const auto path = SharedData("arc_chains/apu-mount.json");
    SORVANE_NEED_DATA(path);
    const JsonValue drawing = JsonReader(ReadBytes(path)).Value();
    std::vector<ArcSegBase<double>> loose;
    Chains<double> walls;
    for (const JsonValue& entity : drawing["entities"].items) {
        const auto elements = ElementsOf(entity);
        if (entity["kind"].text == "circle") {
            walls.push_back(CircleAt(PointOf(entity["center"]), entity["radius"].number));
        } else {
            loose.insert(loose.end(), elements.begin(), elements.end());
        }
    }
    for (const Chain& chain : Planar::CombineArcsSegs(loose, 1e-4)) {
        if (chain.IsClosed()) {
            walls.push_back(chain);
        }
    }
    const auto outline = std::max_element(walls.begin(), walls.end(), [](auto& a, auto& b) {
        return std::fabs(AreaOf(a)) < std::fabs(AreaOf(b));
    });
    std::iter_swap(walls.begin(), outline);
    ASSERT_GT(walls.size(), 10U);
    ExpectCleared(walls, 0.1, 0.1);
}

} // namespace
