// The programs that patch holes and show groups of directions as a user runs them.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

Support::SmallMesh Small(const Support::IndexedMesh& mesh)
{
    Support::SmallMesh small;
    for (const auto& p : mesh.points) {
        small.points.push_back(
            {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
    }
    small.indices.assign(mesh.indices.begin(), mesh.indices.end());
    return small;
}

TEST(PatchHoleProgram, ClosesAnOpenCube)
{
    const Support::TemporaryFolder folder;
    // Without the two triangles of its top, and with both of an edge gone, too.
    for (const std::set<int>& dropped : {std::set<int>{2, 3}, std::set<int>{2, 3, 8, 9}}) {
        const auto open = Support::Without(Support::Cube(), dropped);
        Support::WriteBytes(folder / "open.stl", Support::BinaryStlBytes(Small(open), "open"));
        const ProgramRun run =
            RunExample("patch_hole", {"open.stl", "out.stl", "--svg", "picture.svg"}, folder / "");
        EXPECT_EQ(run.code, 0) << run.errors;
        EXPECT_NE(run.output.find(" 0 after"), std::string::npos) << run.output;
        const auto closed = Support::WeldedStl<double>(folder / "out.stl");
        EXPECT_EQ(Support::FaultsOf(closed), Support::EdgeFaults());
        EXPECT_EQ(Support::EulerOf(closed), 2);
        EXPECT_TRUE(fs::exists(folder / "picture.svg"));
        // The top is flat; the cover of the two faces cuts the edge between them.
        const double volume = Support::VolumeOf(closed);
        EXPECT_LE(volume, 1 + 1e-6);
        EXPECT_GE(volume, dropped.size() == 2 ? 1 - 1e-6 : 0.5);
    }
}

TEST(PatchHoleProgram, CutsAHoleToTryItWith)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "ball.stl",
                        Support::BinaryStlBytes(Small(Support::Sphere(3)), "ball"));
    const ProgramRun run = RunExample(
        "patch_hole", {"ball.stl", "out.stl", "--cut", "0", "0", "1", "0.5"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    const auto closed = Support::WeldedStl<double>(folder / "out.stl");
    EXPECT_EQ(Support::FaultsOf(closed), Support::EdgeFaults());
    EXPECT_GT(Support::VolumeOf(closed), 3.7);
    EXPECT_LT(Support::VolumeOf(closed), Support::VolumeOf(Support::Sphere(3)));
}

TEST(PatchHoleProgram, ExitsWithThreeWhereNoSurfaceFits)
{
    const Support::TemporaryFolder folder;
    // A boundary line on a line: the middle point of an edge is missing on one side.
    Support::IndexedMesh crack{{{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {1, -1, 0}, {1, 0, 0}, {0, 1, 1}},
                               {0, 1, 2, 0, 3, 4, 4, 3, 1, 0, 2, 5, 0, 5, 3, 2, 1, 5, 5, 1, 3}};
    Support::WriteBytes(folder / "crack.stl", Support::BinaryStlBytes(Small(crack), "crack"));
    const ProgramRun run = RunExample("patch_hole", {"crack.stl", "out.stl"}, folder / "");
    EXPECT_EQ(run.code, 3) << run.output << run.errors;
    EXPECT_NE(run.errors.find("1 boundary lines without a cover"), std::string::npos) << run.errors;
    EXPECT_TRUE(fs::exists(folder / "out.stl"));
}

TEST(FacetGroupsProgram, TellsTheFacesOfACube)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "cube.stl",
                        Support::BinaryStlBytes(Small(Support::Cube()), "cube"));
    const ProgramRun run = RunExample("facet_groups", {"cube.stl", "picture.svg"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("12 triangles in 6 groups"), std::string::npos) << run.output;
    EXPECT_TRUE(fs::exists(folder / "picture.svg"));
}

TEST(MeshBuildersPrograms, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"part"},
                                               {"part", "out.stl", "more"},
                                               {"part", "out.stl", "--svg"},
                                               {"part", "out.stl", "--cut", "1", "2", "3"},
                                               {"part", "out.stl", "--cut", "1", "2", "3", "x"}}) {
        const ProgramRun run = RunExample("patch_hole", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: patch_hole"), std::string::npos) << run.errors;
    }
    EXPECT_EQ(RunExample("facet_groups", {"part"}, folder / "").code, 2);
    EXPECT_EQ(RunExample("facet_groups", {"part", "picture.svg", "-1"}, folder / "").code, 2);
}

} // namespace
