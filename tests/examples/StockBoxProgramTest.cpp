// The program that chooses stock, as a user runs it: what it says agrees with what it writes.

#include <Velk/Math/Transform_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <string>

namespace {

namespace fs = std::filesystem;
namespace Transform = Velk::Math::Transform;
using Support::ProgramRun;
using Support::RunExample;
using Velk::Math::Vec3d;

/// The numbers behind the first place where the output has these words, up to the end of the line.
std::vector<double> NumbersAfter(const std::string& output, const std::string& words)
{
    const std::size_t at = output.find(words);
    EXPECT_NE(at, std::string::npos) << words << "\n" << output;
    std::vector<double> numbers;
    for (std::size_t i = at == std::string::npos ? output.size() : at + words.size();
         i < output.size() && output[i] != '\n';) {
        std::size_t length = 0;
        if (std::string("-0123456789").find(output[i]) != std::string::npos) {
            numbers.push_back(std::stod(output.substr(i), &length));
        }
        i += std::max<std::size_t>(length, 1);
    }
    return numbers;
}

std::array<Vec3d, 2> BoundsOf(const std::vector<Vec3d>& points)
{
    Vec3d low = points.front();
    Vec3d high = low;
    for (const Vec3d& p : points) {
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], p[k]);
            high[k] = std::max(high[k], p[k]);
        }
    }
    return {low, high};
}

/// The bracket, 80 x 60 x 50, in a position that no edge of it is parallel to an axis in.
class StockBoxProgram : public testing::Test {
protected:
    StockBoxProgram()
    {
        part_ = Support::WeldedStl<double>(Support::ExampleData("bracket.stl"));
        const auto place = Transform::BuildTranslationTransform({300, -20, 45}) *
                           Transform::BuildRotationFromAxisAngle({1, 2, -0.7}, 0.83);
        for (Vec3d& p : part_.points) {
            p = place * p;
        }
        Support::SmallMesh narrow;
        for (const Vec3d& p : part_.points) {
            narrow.points.push_back(
                {static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())});
        }
        narrow.indices = part_.indices;
        Support::WriteBytes(folder_ / "askew.stl", Support::BinaryStlBytes(narrow, "askew"));
    }

    ProgramRun Run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"askew.stl", "laid.stl"});
        return RunExample("stock_box", arguments, folder_ / "");
    }

    Support::TemporaryFolder folder_;
    Support::IndexedMesh part_;
};

TEST_F(StockBoxProgram, LaysThePartIntoABlockWithTheAllowance)
{
    const ProgramRun run = Run({"--allowance", "1.5", "--as", "block", "--svg", "picture.svg"});
    ASSERT_EQ(run.code, 0) << run.errors;
    const auto block = NumbersAfter(run.output, "block ");
    ASSERT_EQ(block.size(), 5U) << run.output;
    EXPECT_NEAR(block[0], 83, 1e-3);
    EXPECT_NEAR(block[1], 63, 1e-3);
    EXPECT_NEAR(block[2], 53, 1e-3);
    EXPECT_NEAR(block[3], 83.0 * 63 * 53, 20);
    EXPECT_NEAR(block[4], 100 * Support::VolumeOf(part_) / (83.0 * 63 * 53), 0.01);

    const auto laid = Support::WeldedStl<double>(folder_ / "laid.stl");
    EXPECT_NEAR(Support::VolumeOf(laid), Support::VolumeOf(part_), 1);
    const auto [low, high] = BoundsOf(laid.points);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(low[k], 1.5, 1e-4);
        EXPECT_NEAR(high[k], block[static_cast<std::size_t>(k)] - 1.5, 1e-3);
    }
    EXPECT_TRUE(fs::exists(folder_ / "picture.svg"));
}

TEST_F(StockBoxProgram, TheTurnsAndTheMatrixAreWhatHappened)
{
    const ProgramRun run = Run({});
    ASSERT_EQ(run.code, 0) << run.errors;
    const auto turns = NumbersAfter(run.output, "turn: ");
    const auto rows = NumbersAfter(run.output.substr(run.output.find("to the stock:") + 13), "\n");
    ASSERT_EQ(turns.size(), 3U) << run.output;
    ASSERT_EQ(rows.size(), 4U) << run.output;
    const double radians = std::acos(-1.0) / 180;
    const auto byTurns = Transform::BuildRotationFromAxisAngle({0, 0, 1}, turns[2] * radians) *
                         Transform::BuildRotationFromAxisAngle({0, 1, 0}, turns[1] * radians) *
                         Transform::BuildRotationFromAxisAngle({1, 0, 0}, turns[0] * radians);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(byTurns(0, k), rows[static_cast<std::size_t>(k)], 1e-7);
    }
    // Turned so, the part is the written one but for a shift. Welded points are in another order.
    std::vector<Vec3d> turned;
    for (const Vec3d& p : part_.points) {
        turned.push_back(byTurns * p);
    }
    const auto laid = Support::WeldedStl<double>(folder_ / "laid.stl");
    const auto from = BoundsOf(turned);
    const auto to = BoundsOf(laid.points);
    EXPECT_NEAR(Length((from[1] - from[0]) - (to[1] - to[0])), 0, 1e-3);
    EXPECT_NEAR(rows[3], (to[0] - from[0])[0], 1e-3);
}

TEST_F(StockBoxProgram, ChoosesFromTheSizesThatThereAre)
{
    const ProgramRun run = Run({"--allowance", "1", "--plate", "40,55,70", "--bar",
                                "50x60,120x65,65x70", "--round", "60,100,120", "--as", "plate"});
    ASSERT_EQ(run.code, 0) << run.errors;
    const auto plate = NumbersAfter(run.output, "plate ");
    ASSERT_EQ(plate.size(), 5U) << run.output;
    EXPECT_NEAR(plate[0], 82, 1e-3);
    EXPECT_NEAR(plate[1], 62, 1e-3);
    EXPECT_EQ(plate[2], 55) << "the least that 50 and twice 1 fit into";
    const auto bar = NumbersAfter(run.output, "bar ");
    ASSERT_EQ(bar.size(), 5U) << run.output;
    EXPECT_NEAR(bar[0], 82, 1e-3) << "82 of 70 x 65 are less than 52 of 120 x 65";
    EXPECT_EQ(bar[1], 70);
    EXPECT_EQ(bar[2], 65);
    // Lying along its shortest edge the bracket needs sqrt(80^2 + 60^2) + 2 = 102 at most.
    const auto round = NumbersAfter(run.output, "round diameter ");
    ASSERT_EQ(round.size(), 4U) << run.output;
    EXPECT_TRUE(round[0] == 100 || round[0] == 120);
    // In the middle of the plate's thickness.
    const auto [low, high] = BoundsOf(Support::WeldedStl<double>(folder_ / "laid.stl").points);
    EXPECT_NEAR(low[2], 2.5, 1e-4);
    EXPECT_NEAR(high[2], 52.5, 1e-4);
}

TEST_F(StockBoxProgram, ARoundBarStandsOnTheOrigin)
{
    const ProgramRun run = Run({"--allowance", "2", "--as", "round"});
    ASSERT_EQ(run.code, 0) << run.errors;
    const auto round = NumbersAfter(run.output, "round diameter ");
    ASSERT_EQ(round.size(), 4U) << run.output;
    const auto laid = Support::WeldedStl<double>(folder_ / "laid.stl");
    double reach = 0;
    for (const Vec3d& p : laid.points) {
        reach = std::max(reach, std::hypot(p.x(), p.y()));
    }
    EXPECT_NEAR(2 * (reach + 2), round[0], 1e-3);
    const auto [low, high] = BoundsOf(laid.points);
    EXPECT_NEAR(low.z(), 2, 1e-4);
    EXPECT_NEAR(high.z(), round[1] - 2, 1e-3);
    EXPECT_NEAR(round[2], std::acos(-1.0) / 4 * round[0] * round[0] * round[1], 1e-4 * round[2]);
}

TEST_F(StockBoxProgram, APartThatNeedsNoTurnStaysAsItIs)
{
    Support::SmallMesh slab;
    const auto cube = Support::Cube();
    for (const Vec3d& p : cube.points) {
        slab.points.push_back({static_cast<float>(30 * p.x()), static_cast<float>(20 * p.y() - 5),
                               static_cast<float>(10 * p.z())});
    }
    slab.indices = cube.indices;
    Support::WriteBytes(folder_ / "slab.stl", Support::BinaryStlBytes(slab, "slab"));
    const ProgramRun run = RunExample("stock_box", {"slab.stl"}, folder_ / "");
    ASSERT_EQ(run.code, 0) << run.errors;
    const auto turns = NumbersAfter(run.output, "turn: ");
    for (const double turn : turns) {
        EXPECT_EQ(turn, 0);
    }
    EXPECT_FALSE(fs::exists(folder_ / "laid.stl")) << "none was asked for";
}

TEST_F(StockBoxProgram, SaysSoWhenNothingIsLargeEnough)
{
    const ProgramRun run = Run({"--bar", "20x10", "--as", "bar"});
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.output.find("bar   none of the sizes is large enough"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_ / "laid.stl"));
    EXPECT_EQ(Run({"--round", "20"}).code, 0) << "the block is left";
    EXPECT_EQ(Run({"--as", "plate"}).code, 3) << "without sizes there are no plates";
}

TEST_F(StockBoxProgram, OpenFlatAndThinPartsAreTold)
{
    Support::SmallMesh sheet;
    sheet.points = {{0, 0, 7}, {4, 0, 7}, {4, 3, 7}, {0, 3, 7}};
    sheet.indices = {0, 1, 2, 0, 2, 3};
    Support::WriteBytes(folder_ / "sheet.stl", Support::BinaryStlBytes(sheet, "sheet"));
    const ProgramRun flat =
        RunExample("stock_box", {"sheet.stl", "--allowance", "1"}, folder_ / "");
    EXPECT_EQ(flat.code, 0) << flat.errors;
    EXPECT_NE(flat.output.find("its volume says nothing"), std::string::npos);
    EXPECT_EQ(flat.output.find("utilization"), std::string::npos);
    EXPECT_NE(flat.output.find("block 6 x 5 x 2, volume 60"), std::string::npos) << flat.output;

    sheet.points = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}};
    Support::WriteBytes(folder_ / "line.stl", Support::BinaryStlBytes(sheet, "line"));
    EXPECT_EQ(RunExample("stock_box", {"line.stl"}, folder_ / "").code, 3);
}

TEST_F(StockBoxProgram, WrongUseIsToldWithTheRightOne)
{
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"askew.stl", "out.stl", "more"},
        {"askew.stl", "--allowance"},
        {"askew.stl", "--allowance", "-1"},
        {"askew.stl", "--plate", "10,"},
        {"askew.stl", "--plate", ""},
        {"askew.stl", "--plate", "0"},
        {"askew.stl", "--bar", "10"},
        {"askew.stl", "--bar", "10x20,30"},
        {"askew.stl", "--bar", "10x"},
        {"askew.stl", "--round", "10x20"},
        {"askew.stl", "--as", "tube"},
        {"askew.stl", "--unknown", "1"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const ProgramRun run = RunExample("stock_box", arguments, folder_ / "");
        EXPECT_EQ(run.code, 2) << (arguments.empty() ? "" : arguments.back());
        EXPECT_NE(run.errors.find("usage: stock_box"), std::string::npos) << run.errors;
    }
    EXPECT_EQ(RunExample("stock_box", {"missing.stl"}, folder_ / "").code, 1);
}

} // namespace
