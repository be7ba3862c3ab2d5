// The example slices: layers of a bracket add up to its volume, along every axis, and an open part
// is told.

#include <Sorvane/MeshFiles_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <fstream>
#include <sstream>

namespace {

using Support::ProgramRun;
using Support::RunExample;

TEST(Slices, LayersOfTheBracketAddUpToItsVolume)
{
    const auto part = Support::ExampleData("bracket.stl");
    Support::IndexedMesh mesh;
    ASSERT_TRUE(Velk::Math::Sorvane::MeshUtils::ReadMesh(mesh, part));
    const double volume = Support::VolumeOf(mesh);
    const Support::TemporaryFolder folder;
    for (const char* axis : {"x", "y", "z"}) {
        const ProgramRun run = RunExample(
            "slices",
            {part.string(), "400", "--axis", axis, "--table", "table.csv", "--svg", "picture.svg"},
            folder / "");
        ASSERT_EQ(run.code, 0) << run.output << run.errors;
        EXPECT_NE(run.output.find(" 0 open ones"), std::string::npos) << run.output;
        const double said = std::stod(run.output.substr(run.output.find("volume ") + 7));
        EXPECT_NEAR(said, volume, 0.01 * volume) << axis;
        std::ifstream table(folder / "table.csv");
        std::string line;
        ASSERT_TRUE(std::getline(table, line));
        EXPECT_EQ(line, "height,loops,chains,area,length,open length");
        int layers = 0;
        double previous = -1e300;
        for (; std::getline(table, line); ++layers) {
            const double height = std::stod(line);
            EXPECT_GT(height, previous);
            previous = height;
        }
        EXPECT_EQ(layers, 400);
        EXPECT_TRUE(std::filesystem::exists(folder / "picture.svg"));
    }
}

TEST(Slices, AnOpenPartIsToldAndAFlatOneIsRefused)
{
    // The faces of a cube but for one wall, and two triangles in a level plane.
    Support::SmallMesh open;
    open.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                   {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    open.indices = {0, 2, 1, 0, 3, 2, 4, 5, 6, 4, 6, 7, 0, 1, 5,
                    0, 5, 4, 1, 2, 6, 1, 6, 5, 2, 3, 7, 2, 7, 6};
    Support::SmallMesh flat;
    flat.points = {{0, 0, 2}, {1, 0, 2}, {1, 1, 2}, {0, 1, 2}};
    flat.indices = {0, 1, 2, 0, 2, 3};
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "open.stl", Support::BinaryStlBytes(open, "by hand"));
    Support::WriteBytes(folder / "flat.stl", Support::BinaryStlBytes(flat, "by hand"));
    const ProgramRun told =
        RunExample("slices", {"open.stl", "5", "--svg", "open.svg"}, folder / "");
    EXPECT_EQ(told.code, 3);
    EXPECT_NE(told.output.find("0 outlines, 5 open ones"), std::string::npos) << told.output;
    EXPECT_NE(told.errors.find("open.stl: 5 outlines are open"), std::string::npos) << told.errors;
    std::ifstream picture(folder / "open.svg");
    const std::string text{std::istreambuf_iterator<char>(picture), {}};
    EXPECT_NE(text.find("#d22"), std::string::npos);
    const ProgramRun refused = RunExample("slices", {"flat.stl", "5"}, folder / "");
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.errors.find("has no height along that axis"), std::string::npos);
}

} // namespace
