// The program that flips edges as a user runs it: what it writes, what it says, and when it warns.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

/// Two triangles over a thin quadrilateral, the second pair of points higher by 1: the diagonals
/// are 1 apart.
Support::SmallMesh SkewRhombus()
{
    Support::SmallMesh mesh;
    mesh.points = {{-8, 0, 0}, {8, 0, 0}, {0, 4, 1}, {0, -4, 1}};
    mesh.indices = {0, 1, 2, 1, 0, 3};
    return mesh;
}

TEST(AspectRatioProgram, WritesWhatItSays)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "skew.stl", Support::BinaryStlBytes(SkewRhombus(), "skew"));
    const ProgramRun run = RunExample(
        "aspect_ratio",
        {"skew.stl", "out.stl", "--angle", "60", "--drift", "1.01", "--svg", "picture.svg"},
        folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("2 triangles changed"), std::string::npos) << run.output;
    const auto result = Support::WeldedStl<double>(folder / "out.stl");
    ASSERT_EQ(result.indices.size(), 6U);
    // The new diagonal joins the two high points.
    int high = 0;
    for (const int index : result.indices) {
        high += result.points[static_cast<std::size_t>(index)][2] == 1 ? 1 : 0;
    }
    EXPECT_EQ(high, 4);
    EXPECT_TRUE(fs::exists(folder / "picture.svg"));
    // The middle of the new diagonal lies a little nearer than 1 to the old faces.
    const std::string words = "the result lies off the part by: ";
    const std::size_t at = run.output.find(words);
    ASSERT_NE(at, std::string::npos);
    EXPECT_NEAR(std::stod(run.output.substr(at + words.size())),
                Support::DistanceToMesh(
                    {0, 0, 1}, Support::IndexedMesh{{{-8, 0, 0}, {8, 0, 0}, {0, 4, 1}, {0, -4, 1}},
                                                    {0, 1, 2, 1, 0, 3}}),
                1e-4);
}

TEST(AspectRatioProgram, ExitsWithThreeWhereTheSurfaceMovesTooFar)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "skew.stl", Support::BinaryStlBytes(SkewRhombus(), "skew"));
    std::vector<std::string> arguments{"skew.stl", "out.stl", "--angle", "60",
                                       "--drift",  "2",       "--most",  "0.5"};
    EXPECT_EQ(RunExample("aspect_ratio", arguments, folder / "").code, 3);
    EXPECT_TRUE(fs::exists(folder / "out.stl")) << "to look at";
    arguments.back() = "1.1";
    EXPECT_EQ(RunExample("aspect_ratio", arguments, folder / "").code, 0);
    // Without a flip nothing moves.
    const ProgramRun still = RunExample(
        "aspect_ratio", {"skew.stl", "out.stl", "--drift", "0.9", "--most", "0"}, folder / "");
    EXPECT_EQ(still.code, 0) << still.errors;
    EXPECT_NE(still.output.find(" 0 triangles changed"), std::string::npos) << still.output;
}

TEST(AspectRatioProgram, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"part"},
                                               {"part", "out.stl", "more"},
                                               {"part", "out.stl", "--angle"},
                                               {"part", "out.stl", "--angle", "nan"},
                                               {"part", "out.stl", "--drift", "-1"},
                                               {"part", "out.stl", "--unknown", "1"}}) {
        const ProgramRun run = RunExample("aspect_ratio", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: aspect_ratio"), std::string::npos) << run.errors;
    }
    EXPECT_EQ(RunExample("aspect_ratio", {"missing.stl", "out.stl"}, folder / "").code, 1);
    EXPECT_FALSE(fs::exists(folder / "out.stl"));
}

} // namespace
