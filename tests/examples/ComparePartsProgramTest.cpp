// The program that compares two parts as a user runs it: parts whose distance is known.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

/// A box from (0, 0, 0) to (10, 10, height) as ASCII STL.
std::string Box(double height)
{
    const double z[2] = {0, height};
    const int squares[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                               {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    std::string text = "solid box\n";
    for (const auto& s : squares) {
        for (const std::vector<int>& t : {std::vector<int>{s[0], s[1], s[2]}, {s[0], s[2], s[3]}}) {
            text += "facet normal 0 0 0\nouter loop\n";
            for (const int p : t) {
                text += "vertex " + std::to_string(10 * (p & 1)) + " " +
                        std::to_string(10 * ((p >> 1) & 1)) + " " + std::to_string(z[p >> 2]) +
                        "\n";
            }
            text += "endloop\nendfacet\n";
        }
    }
    return text + "endsolid box\n";
}

TEST(ComparePartsProgram, TellsTheDistanceAndItsPlaces)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "box.stl", Box(5));
    Support::WriteBytes(folder / "higher.stl", Box(5.25));
    const std::vector<std::string> arguments{"higher.stl", "box.stl", "--accuracy",
                                             "0.001",      "--svg",   "picture.svg"};
    ProgramRun run = RunExample("compare_parts", arguments, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("Hausdorff distance       0.25 to 0.25"), std::string::npos)
        << run.output;
    // The top and the four walls, whose upper corners are out by as much.
    EXPECT_NE(run.output.find("+0.179 to +0.25              10 triangles,  83.3 %"),
              std::string::npos)
        << run.output;
    EXPECT_TRUE(fs::exists(folder / "picture.svg"));
    run = RunExample("compare_parts", {"box.stl", "higher.stl", "--within", "0.3"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("-0.25 to -0.179"), std::string::npos) << run.output;
    run = RunExample("compare_parts", {"box.stl", "higher.stl", "--within", "0.2"}, folder / "");
    EXPECT_EQ(run.code, 3);
}

TEST(ComparePartsProgram, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {bracket},
                                               {bracket, bracket, bracket},
                                               {bracket, bracket, "--accuracy"},
                                               {bracket, bracket, "--accuracy", "-1"},
                                               {bracket, bracket, "--within", "much"},
                                               {bracket, bracket, "--svg"},
                                               {bracket, bracket, "--what", "1"}}) {
        const ProgramRun run = RunExample("compare_parts", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: compare_parts PART REFERENCE"), std::string::npos);
    }
}

} // namespace
