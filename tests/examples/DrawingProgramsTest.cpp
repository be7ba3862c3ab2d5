// The programs that draw the pictures of the pages: what they tell, against what is known of what
// they draw, what they refuse, and what they say when they can't write.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;
using Support::SolidText;
using Support::TetrahedronAndFin;

class DrawingPrograms : public testing::Test {
protected:
    fs::path Folder() const { return folder_ / ""; }

    Support::TemporaryFolder folder_;
};

TEST_F(DrawingPrograms, WrongUseIsToldWithTheRightOne)
{
    Support::WriteBytes(folder_ / "part", SolidText(TetrahedronAndFin(), "x"));
    const std::vector<std::pair<const char*, std::vector<std::string>>> wrong{
        {"part_picture", {"part"}},
        {"part_picture", {"part", "x.svg", "0"}},
        {"part_picture", {"part", "x.svg", "1e"}},
        {"chain_picture", {"chain", "0"}},
        {"chain_picture", {"chain", "x"}},
        {"chain_picture", {"-", "0.1", "far"}},
        {"content_tree_picture", {}},
        {"contour_solid", {"torus"}},
        {"contour_solid", {"cube", "x.stl"}},
        {"contour_solid", {"torus", "x.stl", "--level"}},
        {"contour_solid", {"torus", "x.stl", "--level", "10"}},
        {"contour_solid", {"torus", "x.stl", "--level", "0"}},
        {"contour_solid", {"torus", "x.stl", "--tolerance", "-1"}},
        {"contour_solid", {"torus", "x.stl", "--tolerance", "nan"}},
        {"contour_solid", {"torus", "x.stl", "--far", "1"}},
        {"tool_positions", {"x.svg"}},
        {"solid_cells", {"part", "1", "4"}},
        {"solid_cells", {"part", "1", "13", "x.svg"}},
        {"solid_cells", {"part", "1", "nan", "x.svg"}},
        {"solid_cells", {"part", "high", "4", "x.svg"}},
        {"surface_cells", {"part", "4"}},
        {"surface_cells", {"part", "10", "x.svg"}},
        {"sweep_tool", {"elsewhere"}},
        {"sweep_tool", {"plate", "turning"}},
        {"tessellate_plate", {}},
        {"make_bracket", {}},
    };
    for (const auto& [program, arguments] : wrong) {
        SCOPED_TRACE(program);
        const ProgramRun run = RunExample(program, arguments, Folder());
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: " + std::string(program)), std::string::npos)
            << run.errors;
    }
    const ProgramRun fine = RunExample("part_picture", {"part", "x.svg", "1e-300"}, Folder());
    EXPECT_EQ(fine.code, 2);
    EXPECT_NE(fine.errors.find("more than 10000 level lines"), std::string::npos) << fine.errors;
}

TEST_F(DrawingPrograms, SayWhenTheyCanNotWrite)
{
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no such device on this system";
    }
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    Support::WriteBytes(folder_ / "file", "x");
    const std::string noFolder = (folder_ / "file/x.svg").string();
    struct Case {
        const char* program;
        std::vector<std::string> arguments;
        int code;
        std::string said;
    };
    const std::vector<Case> cases{
        {"part_picture", {bracket, "/dev/full"}, 1, "/dev/full: can't be written"},
        {"part_picture", {bracket, noFolder}, 1, noFolder + ": can't be written"},
        {"contour_solid",
         {"torus", "/dev/full", "--level", "4"},
         1,
         "/dev/full: can't be written (No space"},
        {"contour_solid",
         {"torus", "x.stl", "--level", "4", "--svg", noFolder},
         1,
         noFolder + ": can't be written"},
        {"content_tree_picture", {"/dev/full"}, 1, "/dev/full: can't be written"},
        {"solid_cells", {bracket, "4", "3", "/dev/full"}, 1, "/dev/full: can't be written"},
        {"solid_cells", {bracket, "99", "3", "x.svg"}, 1, "nothing lies at that height"},
        {"tessellate_plate", {"/dev/full"}, 1, "/dev/full: can't be written"},
        {"make_bracket", {"file"}, 1, "file is not a folder"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.program) + ", " + c.said);
        const ProgramRun run = RunExample(c.program, c.arguments, Folder());
        EXPECT_EQ(run.code, c.code);
        EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    }
    for (const char* program : {"chain_picture", "contact_picture", "node_masks", "svg_sampler",
                                "sweep_tool", "tool_positions", "z_curve"}) {
        const ProgramRun run = RunExample(program, {}, Folder(), "/dev/full");
        EXPECT_EQ(run.code, 1) << program;
        EXPECT_NE(run.errors.find("can't be written"), std::string::npos) << run.errors;
    }
}

// Areas and lengths counted by hand from the coordinates in the program.
TEST_F(DrawingPrograms, SweepToolTellsWhatItDraws)
{
    const ProgramRun plate = RunExample("sweep_tool", {}, Folder());
    EXPECT_EQ(plate.code, 0);
    EXPECT_NE(plate.errors.find("plate 464.00"), std::string::npos) << plate.errors; // 540-8-12-56
    const ProgramRun turning = RunExample("sweep_tool", {"turning"}, Folder());
    EXPECT_EQ(turning.code, 0);
    EXPECT_NE(turning.errors.find("of these both touch: 0.00"), std::string::npos)
        << turning.errors;
}

TEST_F(DrawingPrograms, SolidCellsEncloseTheAreaOfAnOutline)
{
    // The base of the bracket is a plate of 60 x 80 with two holes, which are closed and so within.
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    double widest = 1e9;
    for (const char* depth : {"4", "6", "8"}) {
        const ProgramRun run = RunExample("solid_cells", {bracket, "4", depth, "x.svg"}, Folder());
        EXPECT_EQ(run.code, 0) << run.errors;
        const std::string words = "outlines: ";
        const std::size_t place = run.output.find(words);
        ASSERT_NE(place, std::string::npos) << run.output;
        std::istringstream figures(run.output.substr(place + words.size()));
        double low = 0;
        double high = 0;
        std::string to;
        ASSERT_TRUE(figures >> low >> to >> high) << run.output;
        EXPECT_LE(low, 60 * 80);
        EXPECT_GE(high, 60 * 80);
        EXPECT_LT(high - low, widest / 2); // finer cells, narrower bounds
        widest = high - low;
        EXPECT_TRUE(fs::exists(folder_ / "x.svg"));
    }
}

// The surface around the cells encloses each of them once.
TEST_F(DrawingPrograms, SurfaceCellsEncloseTheirVolume)
{
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const ProgramRun run =
        RunExample("surface_cells", {bracket, "5", "x.svg", "cells.stl"}, Folder());
    EXPECT_EQ(run.code, 0) << run.errors;
    std::istringstream told(run.output);
    double cells = 0;
    std::string word;
    double edge = 0;
    told >> cells >> word >> word >> word >> edge;
    EXPECT_NEAR(edge, 1.0371 * 80 / 32, 1e-5);
    const auto surface = Support::WeldedStl<double>(folder_ / "cells.stl");
    const double volume = cells * edge * edge * edge;
    EXPECT_NEAR(Support::VolumeOf(surface), volume, 1e-4 * volume);
}

TEST_F(DrawingPrograms, TheBracketIsMadeAsItIsKept)
{
    ASSERT_EQ(RunExample("make_bracket", {"."}, Folder()).code, 0);
    EXPECT_EQ(Support::ReadBytes(folder_ / "bracket.stl"),
              Support::ReadBytes(Support::ExampleData("bracket.stl")));
    EXPECT_EQ(Support::ReadBytes(folder_ / "bracket_ascii.stl"),
              Support::ReadBytes(Support::ExampleData("bracket_ascii.stl")));
}

} // namespace
