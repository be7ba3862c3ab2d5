// The program that splits parts as a user runs it.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

Support::SmallMesh FileOf(const Support::IndexedMesh& mesh)
{
    Support::SmallMesh file;
    for (const auto& p : mesh.points) {
        file.points.push_back(
            {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
    }
    file.indices.assign(mesh.indices.begin(), mesh.indices.end());
    return file;
}

TEST(SplitPartProgram, WritesTwoClosedHalves)
{
    const Support::TemporaryFolder folder;
    const Support::IndexedMesh ring = Support::DrilledRing(4, 8, 24);
    Support::WriteBytes(folder / "ring.stl", Support::BinaryStlBytes(FileOf(ring), "ring"));
    const ProgramRun run = RunExample(
        "split_part", {"ring.stl", "low.stl", "high.stl", "0", "0", "1", "25%", "picture.svg"},
        folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    const auto low = Support::WeldedStl<double>(folder / "low.stl");
    const auto high = Support::WeldedStl<double>(folder / "high.stl");
    const double whole = Support::VolumeOf(ring);
    EXPECT_NEAR(Support::VolumeOf(low), 0.25 * whole, 1e-5 * whole);
    EXPECT_NEAR(Support::VolumeOf(high), 0.75 * whole, 1e-5 * whole);
    for (const auto& half : {low, high}) {
        const Support::EdgeFaults faults = Support::FaultsOf(half);
        EXPECT_EQ(faults.open, 0);
        EXPECT_EQ(faults.overfull, 0);
    }
    EXPECT_TRUE(fs::exists(folder / "picture.svg"));
    EXPECT_NE(run.output.find("0 open edges"), std::string::npos) << run.output;
}

TEST(SplitPartProgram, SaysWhenTheHalvesAreOpen)
{
    const Support::TemporaryFolder folder;
    Support::IndexedMesh open = Support::Cube();
    open.indices.resize(open.indices.size() - 6);
    Support::WriteBytes(folder / "open.stl", Support::BinaryStlBytes(FileOf(open), "open"));
    const ProgramRun run = RunExample(
        "split_part", {"open.stl", "low.stl", "high.stl", "0", "0", "1", "50"}, folder / "");
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.errors.find("open.stl: the halves are not closed"), std::string::npos);
    EXPECT_TRUE(fs::exists(folder / "low.stl") && fs::exists(folder / "high.stl"));
}

} // namespace
