// The program that makes finishing passes, as a user runs it, on the bracket of the examples: a
// base of 60 x 80 x 8 with a wall up to 50, each with holes.

#include "tests/examples/ProgramRun.h"
#include "tests/support/ContactOracle.h"
#include "tests/support/FileSupport.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;
using Velk::Math::Vec3d;

struct Row {
    Vec3d tip;
    int triangle = -1;
};

std::vector<Row> RowsOf(const fs::path& file)
{
    std::vector<Row> rows;
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line, "x,y,z,triangle");
    while (std::getline(stream, line)) {
        Row row;
        const bool isTouched = line.back() != ',';
        for (char& c : line) {
            c = c == ',' ? ' ' : c;
        }
        std::istringstream numbers(line);
        numbers >> row.tip[0] >> row.tip[1];
        if (isTouched) {
            numbers >> row.tip[2] >> row.triangle;
        }
        EXPECT_TRUE(numbers) << line;
        rows.push_back(row);
    }
    return rows;
}

class DropCutterProgram : public testing::Test {
protected:
    ProgramRun Run(const std::vector<std::string>& words)
    {
        std::vector<std::string> arguments{bracket_};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return RunExample("drop_cutter", arguments, folder_ / "");
    }

    std::string bracket_ = Support::ExampleData("bracket.stl").string();
    Support::TemporaryFolder folder_;
};

TEST_F(DropCutterProgram, TheTableHoldsTheHeightsOfEachTool)
{
    const std::vector<Vec3d> soup = Support::StlCorners<double>(bracket_);
    struct Case {
        std::vector<std::string> words;
        Support::ShapedTool tool;
    };
    const std::vector<Case> cases{
        {{"ball", "10"}, Support::BallTool(5)},
        {{"flat", "10"}, Support::FlatTool(5)},
        {{"bull", "10", "--corner", "2"}, Support::BullTool(3, 2)},
        {{"cone", "10", "--angle", "60"}, Support::ConeTool(5, M_PI / 6)}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tool.name);
        std::vector<std::string> words = c.words;
        words.insert(words.end(), {"--step", "19", "--stepover", "23", "--table", "heights.csv"});
        const ProgramRun run = Run(words);
        EXPECT_EQ(run.code, 0) << run.errors;
        const std::vector<Row> rows = RowsOf(folder_ / "heights.csv");
        ASSERT_GE(rows.size(), 8U);
        for (const Row& row : rows) {
            double lowest = Support::Oracle::kNothing;
            for (int i = 0; 3 * static_cast<std::size_t>(i) < soup.size(); ++i) {
                lowest = std::max(
                    lowest,
                    Support::LowestTipOver(
                        Support::RelativeCorners(soup, i, {row.tip[0], row.tip[1]}), c.tool));
            }
            if (row.triangle < 0) {
                EXPECT_EQ(lowest, Support::Oracle::kNothing);
            } else {
                // Nine digits are written.
                EXPECT_NEAR(row.tip[2], lowest, 1e-5) << row.tip[0] << " " << row.tip[1];
            }
        }
    }
}

TEST_F(DropCutterProgram, TheProgramRunsThePassesToAndFroAndClearOfThePart)
{
    const ProgramRun run = Run({"ball", "6", "--step", "4", "--stepover", "7", "--table",
                                "heights.csv", "--gcode", "program.nc"});
    EXPECT_EQ(run.code, 0) << run.errors;
    const std::vector<Row> rows = RowsOf(folder_ / "heights.csv");
    const std::vector<Vec3d> soup = Support::StlCorners<double>(bracket_);
    double top = soup[0].z();
    for (const Vec3d& p : soup) {
        top = std::max(top, p.z());
    }
    // A machine that reads the words it knows: where it goes at feed is where the table has its
    // tips.
    std::ifstream stream(folder_ / "program.nc");
    Vec3d at{0, 0, 1e9};
    bool isRapid = true;
    int feeds = 0;
    std::string line;
    std::vector<double> lastX;
    while (std::getline(stream, line)) {
        const Vec3d before = at;
        std::istringstream words(line);
        std::string word;
        while (words >> word) {
            if (word == "G0" || word == "G1") {
                isRapid = word == "G0";
            } else if (word[0] >= 'X' && word[0] <= 'Z') {
                at[word[0] - 'X'] = std::stod(word.substr(1));
            }
        }
        if (isRapid) {
            EXPECT_TRUE(at[2] >= top + 2.9999 || (at[0] == before[0] && at[1] == before[1]))
                << line;
            continue;
        }
        ++feeds;
        bool isTip = false;
        for (const Row& row : rows) {
            isTip |= row.triangle >= 0 && std::fabs(row.tip[0] - at[0]) < 1e-4 &&
                     std::fabs(row.tip[1] - at[1]) < 1e-4 && std::fabs(row.tip[2] - at[2]) < 1e-4;
        }
        EXPECT_TRUE(isTip) << line;
        if (before[1] == at[1]) {
            lastX.push_back(at[0] - before[0]);
        }
    }
    const auto touched =
        std::count_if(rows.begin(), rows.end(), [](const Row& row) { return row.triangle >= 0; });
    EXPECT_EQ(feeds, touched) << "every position once";
    EXPECT_GT(*std::max_element(lastX.begin(), lastX.end()), 0.0);
    EXPECT_LT(*std::min_element(lastX.begin(), lastX.end()), 0.0);
}

TEST_F(DropCutterProgram, AHolderThatMeetsTheWallIsTold)
{
    const ProgramRun gouging =
        Run({"ball", "6", "--step", "5", "--stepover", "5", "--holder", "50", "20"});
    EXPECT_EQ(gouging.code, 3) << gouging.output;
    // The tip stands on the base, at 8, or lower in a hole; the wall is 50 high, the holder begins
    // 20 above the tip, and reaches into the wall.
    EXPECT_NE(gouging.output.find("the holder by "), std::string::npos) << gouging.output;
    const ProgramRun clear =
        Run({"ball", "6", "--step", "5", "--stepover", "5", "--holder", "50", "60"});
    EXPECT_EQ(clear.code, 0) << clear.output;
    EXPECT_NE(clear.output.find("0 positions where shank or holder gouge"), std::string::npos);
}

TEST_F(DropCutterProgram, APictureIsDrawn)
{
    EXPECT_EQ(Run({"ball", "6", "--svg", "passes.svg"}).code, 0);
    const std::string picture = Support::ReadBytes(folder_ / "passes.svg");
    EXPECT_NE(picture.find("<svg"), std::string::npos);
    EXPECT_NE(picture.find("</svg>"), std::string::npos);
}

TEST_F(DropCutterProgram, StepsInTheWrongUnitAreRefused)
{
    const ProgramRun run = Run({"ball", "6", "--step", "1e-6", "--stepover", "1e-6"});
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.errors.find("mind the unit"), std::string::npos) << run.errors;
}

} // namespace
