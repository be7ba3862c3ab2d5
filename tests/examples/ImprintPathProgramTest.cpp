// The imprinting program as a user runs it: the region that it cuts out of a part.

#include "tests/examples/ProgramRun.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <cmath>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace Velk::Math;
using Support::ProgramRun;
using Support::RunExample;

double AreaAfter(const std::string& output)
{
    const std::size_t at = output.rfind("area ");
    EXPECT_NE(at, std::string::npos) << output;
    return at == std::string::npos ? 0 : std::stod(output.substr(at + 5));
}

TEST(ImprintPathProgram, CutsADiscOutOfABracket)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const auto part = Support::WeldedStl<double>(Support::ExampleData("bracket.stl"));
    // In a triangle with room: the disc lies in a plane, or round an edge, which unfolds to one.
    const Vec3d center =
        (Support::PointOf(part, 0) + Support::PointOf(part, 1) + Support::PointOf(part, 2)) / 3.0;
    const auto text = [&](int i) { return std::to_string(center[i]); };
    const ProgramRun run = RunExample(
        "imprint_path", {bracket, "out.stl", text(0), text(1), text(2), "1.5", "picture.svg"},
        folder / "");
    ASSERT_EQ(run.code, 0) << run.errors;
    // A polygon of 360 corners of radius 1.5.
    const double disc = 180 * 1.5 * 1.5 * std::sin(kTwoPi<double> / 360);
    EXPECT_NEAR(AreaAfter(run.output), disc, 0.01 * disc);
    const auto inside = Support::WeldedStl<double>(folder / "out.stl");
    EXPECT_GT(inside.indices.size(), 300U);
    EXPECT_EQ(Support::FaultsOf(inside).overfull, 0);
    EXPECT_TRUE(fs::exists(folder / "picture.svg"));
}

TEST(ImprintPathProgram, WrongUseIsSaid)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{bracket, "out.stl", "0", "0", "0"},
          std::vector<std::string>{bracket, "out.stl", "0", "0", "0", "-1"},
          std::vector<std::string>{bracket, "out.stl", "0", "x", "0", "1"}}) {
        const ProgramRun run = RunExample("imprint_path", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage"), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(folder / "out.stl"));
}

} // namespace
