// The example programs as a user runs them: their figures on the bracket, counted by hand, what they
// refuse and why, and every mesh of the shared inputs.

#include <Sorvane/PolyArcSeg_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace Planar = Velk::Math::Sorvane::Planar;
using Support::BinaryStlBytes;
using Support::ProgramRun;
using Support::RunExample;
using Support::SmallMesh;
using Support::SolidText;
using Support::TetrahedronAndFin;
using Support::TipcBytes;

const std::string kBracket = Support::ExampleData("bracket.stl").string();

/// A program that reads a part, what follows on the part's name, and its exit codes.
struct PartProgram {
    const char* name;
    std::vector<std::string> arguments;
    int refusal;         ///< the part can't be read
    std::set<int> codes; ///< it was read
};

const std::vector<PartProgram>& PartPrograms()
{
    static const std::vector<PartProgram> programs{
        {"aspect_ratio", {"out.stl"}, 1, {0, 1}},
        {"compare_parts", {kBracket}, 1, {0, 1}},
        {"decimate", {"out.stl", "30", "0.1"}, 1, {0, 1}},
        {"drill_holes", {}, 1, {0}},
        {"drop_cutter", {"8"}, 1, {0, 3}},
        {"halfedge_walk", {}, 1, {0}},
        {"imprint_path", {"out.stl", "0", "0", "0", "5"}, 1, {0, 1, 3}},
        {"mesh_bounds", {"out.stl"}, 1, {0, 1}},
        {"mesh_convert", {"out.stl"}, 1, {0}},
        {"mesh_report", {}, 2, {0, 1}},
        {"part_section", {"1", "out.svg"}, 1, {0, 1, 3}},
        {"remesh", {"out.stl", "5"}, 1, {0, 1}},
        {"silhouette", {"out.svg"}, 1, {0, 1}},
        {"slices", {"7"}, 1, {0, 3}},
        {"split_part", {"1", "out.stl", "above.stl"}, 1, {0, 1, 3}},
        {"stock_box", {}, 1, {0, 1}},
        {"subdivide", {"out.stl", "cut.stl"}, 1, {0, 1}},
    };
    return programs;
}

ProgramRun RunOn(const PartProgram& program, const fs::path& part, const fs::path& folder)
{
    std::vector<std::string> arguments{part.string()};
    arguments.insert(arguments.end(), program.arguments.begin(), program.arguments.end());
    return RunExample(program.name, arguments, folder);
}

double NumberBehind(const std::string& text, const std::string& words)
{
    const std::size_t at = text.find(words);
    EXPECT_NE(at, std::string::npos) << words << " in " << text;
    return at == std::string::npos ? 0 : std::stod(text.substr(at + words.size()));
}

class ExamplePrograms : public testing::Test {
protected:
    fs::path Folder() const { return folder_ / ""; }

    /// What a program says of the bracket.
    std::string Said(const std::string& name, std::vector<std::string> arguments, int code = 0)
    {
        arguments.insert(arguments.begin(), kBracket);
        const ProgramRun run = RunExample(name, arguments, Folder());
        EXPECT_EQ(run.code, code) << name << ": " << run.errors;
        return run.output;
    }

    void ExpectRefusal(const std::string& name, const std::string& reason)
    {
        for (const PartProgram& program : PartPrograms()) {
            SCOPED_TRACE(std::string(program.name) + " " + name);
            const ProgramRun run = RunOn(program, folder_ / name, Folder());
            EXPECT_EQ(run.code, program.refusal) << run.output << run.errors;
            EXPECT_NE(run.errors.find(name + ": " + reason), std::string::npos) << run.errors;
            EXPECT_FALSE(fs::exists(folder_ / "out.stl"));
            EXPECT_FALSE(fs::exists(folder_ / "out.svg"));
        }
    }

    void ExpectRefusalOf(const std::string& bytes, const std::string& reason)
    {
        Support::WriteBytes(folder_ / "part.stl", bytes);
        ExpectRefusal("part.stl", reason);
    }

    Support::TemporaryFolder folder_;
};

// --- the bracket: 80 x 60 x 50, a base of 8 with two holes of radius 6, and 48 corners a circle ---

const double kHoleArea = 24 * 36 * std::sin(std::acos(-1.0) / 24);

TEST_F(ExamplePrograms, TellThatTheBracketIsSound)
{
    const std::string said = Said("mesh_report", {});
    EXPECT_NE(said.find("0 edges without two triangles, 0 places"), std::string::npos) << said;
    EXPECT_NE(said.find("\nsound"), std::string::npos) << said;
    // A closed surface with two holes through it: Euler characteristic 2 - 2 * 2.
    const std::string walk = Said("halfedge_walk", {});
    EXPECT_NE(walk.find("no triangle turned"), std::string::npos) << walk;
    EXPECT_NE(walk.find("0 boundary loops, Euler characteristic -2"), std::string::npos) << walk;
}

TEST_F(ExamplePrograms, CutTheBracketsBase)
{
    const double area = NumberBehind(Said("part_section", {"4", "section.svg"}), "area ");
    EXPECT_NEAR(area, 60 * 80 - 2 * kHoleArea, 1e-4);
    EXPECT_TRUE(fs::exists(folder_ / "section.svg"));
    const ProgramRun above = RunExample("part_section", {kBracket, "99", "none.svg"}, Folder());
    EXPECT_EQ(above.code, 1);
    EXPECT_NE(above.errors.find("nothing lies"), std::string::npos) << above.errors;

    const double volume = NumberBehind(Said("mesh_report", {}), "volume ");
    const double layers = NumberBehind(Said("slices", {"500"}), "500 layers, volume ");
    EXPECT_NEAR(layers, volume, 1e-3 * volume);

    const std::string halves = Said("split_part", {"20", "below.stl", "above.stl"});
    EXPECT_NE(halves.find(" 0 open edges"), std::string::npos) << halves;
    const auto volumeOf = [&](const char* file) {
        const ProgramRun run = RunExample("mesh_report", {file}, Folder());
        return NumberBehind(run.output, "volume ");
    };
    EXPECT_NEAR(volumeOf("below.stl") + volumeOf("above.stl"), volume, 1e-5 * volume);
}

TEST_F(ExamplePrograms, FindTheBracketsHoles)
{
    const std::string said = Said("drill_holes", {});
    std::size_t holes = 0;
    for (std::size_t at = said.find("hole at 38.000"); at != std::string::npos;
         at = said.find("hole at 38.000", at + 1)) {
        ++holes;
        EXPECT_NE(said.find("[diameter 12.000, 0.000 to 8.000 deep] through", at),
                  std::string::npos);
    }
    EXPECT_EQ(holes, 2U) << said;
}

TEST_F(ExamplePrograms, SurroundTheBracket)
{
    const std::string said = Said("mesh_bounds", {"hull.stl"});
    EXPECT_NE(said.find("box: 60 x 80 x 50"), std::string::npos) << said;
    // Two opposite corners of the box belong to the bracket, so that nothing smaller holds it.
    EXPECT_NEAR(NumberBehind(said, "radius "), std::sqrt(60 * 60 + 80 * 80 + 50 * 50) / 2, 2.0);
    EXPECT_TRUE(fs::exists(folder_ / "hull.stl"));
    const std::string block = Said("stock_box", {});
    EXPECT_NE(block.find("as it stands 60 x 80 x 50, volume 240000"), std::string::npos) << block;
    EXPECT_LE(NumberBehind(block.substr(block.find("turned")), "volume "), 240000);
    const double shadow = NumberBehind(Said("silhouette", {"shadow.svg"}), "area ");
    EXPECT_NEAR(shadow, 60 * 80 - 2 * kHoleArea, 1e-3);
}

TEST_F(ExamplePrograms, ChangeTheBracketsTriangles)
{
    Said("remesh", {"fine.stl", "3"});
    const std::string off = RunExample("compare_parts", {"fine.stl", kBracket}, Folder()).output;
    // Edges of up to 4 on rims of radius 6 leave them by a third.
    EXPECT_LT(NumberBehind(off, " to "), 0.4) << off;
    const ProgramRun coarse = RunExample("decimate", {"fine.stl", "coarse.stl", "10", "0.01"},
                                         Folder());
    EXPECT_EQ(coarse.code, 0) << coarse.errors;
    EXPECT_LE(NumberBehind(coarse.output, "off the part by "), 0.01);

    const std::string finer = Said("subdivide", {"smooth.stl", "cut.stl"});
    const double triangles = NumberBehind(finer, "");
    EXPECT_EQ(NumberBehind(finer, "smoothed "), 4 * triangles);
    EXPECT_EQ(NumberBehind(finer, "cut "), 4 * triangles);

    const std::string ratios = Said("aspect_ratio", {"better.stl"});
    EXPECT_GE(NumberBehind(ratios, "before, "), NumberBehind(ratios, "ratio "));
}

TEST_F(ExamplePrograms, TurnAndMoveTheBracket)
{
    Said("mesh_convert", {"moved.tipc"});
    const ProgramRun run = RunExample("mesh_bounds", {"moved.tipc", "hull.stl"}, Folder());
    EXPECT_NE(run.output.find("box: 80 x 60 x 50"), std::string::npos) << run.output;
}

TEST_F(ExamplePrograms, LowerAToolOnTheBracket)
{
    const std::string said = Said("drop_cutter", {"8"}, 3); // the holder meets the upright
    // It falls through the holes where it is within 2 of their axes.
    int through = 0;
    for (int i = 0; i < 2500; ++i) {
        const double x = 60.0 / 49 * (i % 50);
        const double y = 80.0 / 49 * (i / 50);
        through += std::hypot(x - 38, std::min(std::fabs(y - 15), std::fabs(y - 65))) < 2 ? 1 : 0;
    }
    EXPECT_EQ(NumberBehind(said, ""), 2500 - through) << said;
    EXPECT_GT(NumberBehind(said, "gouges at "), 0);
    const std::string small = Said("drop_cutter", {"60"}); // above all of it
    EXPECT_EQ(NumberBehind(small, "gouges at "), 0) << small;
}

TEST_F(ExamplePrograms, ImprintADiscOnTheBracketsTop)
{
    Said("imprint_path", {"disc.stl", "20", "40", "0", "5"});
    const ProgramRun run = RunExample("mesh_bounds", {"disc.stl", "hull.stl"}, Folder());
    EXPECT_EQ(run.code, 1); // the underside of the base: flat
    EXPECT_NE(run.output.find("box: 10 x 10 x 0"), std::string::npos) << run.output;
}

TEST_F(ExamplePrograms, CombineRegionsOfKnownArea)
{
    const ProgramRun run = RunExample("region_boolean", {"2", "regions.svg"}, Folder());
    EXPECT_EQ(run.code, 0) << run.errors;
    // The plate is 600 less a window of 100; the bar covers 200 of it, 50 of these in the window.
    EXPECT_NE(run.output.find("area 650.000000\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("area 350.000000\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("area 150.000000\n"), std::string::npos) << run.output;
}

TEST_F(ExamplePrograms, ClearAPocketByRings)
{
    Planar::PolyArcSegBase<double> square;
    square.tolerance = 1e-9;
    square.AppendSegment({0, 0}, {20, 0});
    square.AppendSegment({20, 0}, {20, 20});
    square.AppendSegment({20, 20}, {0, 20});
    square.AppendSegment({0, 20}, {0, 0});
    ASSERT_TRUE(Planar::WritePolySegArcToFile(square, (folder_ / "square.txt").string()));
    // Squares of 20 - 2 * 4 and 20 - 4 * 4, and nothing at 12.
    const ProgramRun run = RunExample("pocket", {"square.txt", "4"}, Folder());
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.output, "ring 1: 1 curves, length 48\nring 2: 1 curves, length 16\n");
    EXPECT_EQ(RunExample("pocket", {"square.txt", "11"}, Folder()).code, 3);
    const ProgramRun missing = RunExample("pocket", {"nothing.txt", "4"}, Folder());
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.errors.find("holds no closed chain"), std::string::npos);
}

TEST_F(ExamplePrograms, TellWhichTiltsReachABar)
{
    // Upright, the flanks of the insert are nowhere as steep as the walls, but its upper corner stands out of
    // the holder, by 0.8 to 0.7 + 0.2 * 2.3 / 11.2: it reaches down a wall until the holder meets the edge,
    // 0.1 * 11.2 / 2.3 - 0.2 lower. The edges of the bar are at 38 and 98.
    const double down = 0.1 * 11.2 / 2.3 - 0.2;
    std::array<char, 80> expected{};
    std::snprintf(expected.data(), expected.size(), "from %.6g on: 0\nfrom %.6g on:\n", 38 - down, 98 + down);
    const ProgramRun run = RunExample("b_axis", {"0"}, Folder());
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.output, expected.data());
    // The bar is its own mirror image, and its profile 136 long.
    double from[2] = {0, 0};
    double to[2] = {0, 0};
    for (const int side : {0, 1}) {
        const ProgramRun tilted = RunExample("b_axis", {side == 0 ? "45" : "-45"}, Folder());
        ASSERT_EQ(std::sscanf(tilted.output.c_str(), "from %lf on: %*d\nfrom %lf on:", &from[side], &to[side]), 2)
            << tilted.output;
    }
    EXPECT_NEAR(from[0] + to[1], 136, 1e-3);
    EXPECT_NEAR(to[0] + from[1], 136, 1e-3);
    EXPECT_LT(from[0], 30 + 1e-3); // all of one wall
    EXPECT_LT(to[0], 106);         // and not all of the other
}

// --- what they refuse ----------------------------------------------------------------------------

TEST_F(ExamplePrograms, SayWhyAFileIsRefused)
{
    const SmallMesh small = TetrahedronAndFin();
    const std::string stl = BinaryStlBytes(small, "part");
    const std::string text = SolidText(small, "part");
    ExpectRefusal("missing.stl", "there is no such file");
    ExpectRefusalOf("hello\n", "is neither an STL nor a TIPC file");
    ExpectRefusalOf(stl.substr(0, 200), "binary STL cut short: 334 bytes announced, 200 there");
    // What a reader of binary STL that believes counts would take for half a billion triangles.
    std::string bad = text;
    bad[bad.find("vertex 1.5") + 8] = ',';
    ExpectRefusalOf(bad, "ASCII STL with an error in line 6");
    SmallMesh outside = small;
    outside.indices[7] = 5;
    ExpectRefusalOf(TipcBytes(outside, {}, {}), "TIPC with an index out of range in triangle 2");
}

TEST_F(ExamplePrograms, DegeneratePartsAreNoReasonToFail)
{
    // All corners in one place, on a line, in a plane upright and level.
    SmallMesh point;
    point.points = {{1, 2, 3}};
    point.indices = {0, 0, 0, 0, 0, 0};
    SmallMesh line;
    line.points = {{0, 0, 0}, {1, 1, 1}, {3, 3, 3}};
    line.indices = {0, 1, 2, 2, 1, 0};
    SmallMesh upright;
    upright.points = {{0, 0, 0}, {1, 0, 0}, {0, 0, 1}};
    upright.indices = {0, 1, 2};
    SmallMesh level;
    level.points = {{0, 0, 5}, {1, 0, 5}, {0, 1, 5}};
    level.indices = {0, 1, 2};
    for (const SmallMesh& mesh : {point, line, upright, level}) {
        Support::WriteBytes(folder_ / "part", BinaryStlBytes(mesh, "x"));
        for (const PartProgram& program : PartPrograms()) {
            SCOPED_TRACE(program.name);
            const ProgramRun run = RunOn(program, folder_ / "part", Folder());
            EXPECT_TRUE(program.codes.contains(run.code)) << run.code << run.errors;
        }
    }
}

TEST_F(ExamplePrograms, WrongUseIsToldWithTheRightOne)
{
    Support::WriteBytes(folder_ / "part", SolidText(TetrahedronAndFin(), "x"));
    for (const PartProgram& program : PartPrograms()) {
        SCOPED_TRACE(program.name);
        std::vector<std::vector<std::string>> wrong{{}};
        wrong.push_back({"part"});
        wrong.back().insert(wrong.back().end(), program.arguments.begin(), program.arguments.end());
        wrong.back().push_back("further");
        for (const auto& arguments : wrong) {
            const ProgramRun run = RunExample(program.name, arguments, Folder());
            EXPECT_EQ(run.code, 2);
            EXPECT_NE(run.errors.find("usage: " + std::string(program.name)), std::string::npos);
        }
    }
    for (const auto& [program, arguments] :
         std::multimap<std::string, std::vector<std::string>>{
             {"b_axis", {}},
             {"b_axis", {"10", "181"}},
             {"decimate", {"part", "out.stl", "-1", "1"}},
             {"drop_cutter", {"part", "0"}},
             {"imprint_path", {"part", "out.stl", "0", "0", "nan", "1"}},
             {"part_section", {"part", "inf", "out.svg"}},
             {"pocket", {"chain", "0"}},
             {"region_boolean", {"-1", "out.svg"}},
             {"remesh", {"part", "out.stl", "x"}},
             {"slices", {"part", "0"}},
             {"slices", {"part", "1e99"}},
             {"split_part", {"part", "high", "a.stl", "b.stl"}}}) {
        EXPECT_EQ(RunExample(program, arguments, Folder()).code, 2) << program;
    }
}

// --- every mesh of the shared inputs ---------------------------------------------------------------

class ExampleProgramsOnShared : public testing::TestWithParam<const char*> {};

TEST_P(ExampleProgramsOnShared, EndWithAPromisedCodeAndSayWhy)
{
    const fs::path folder = Support::SharedData(GetParam());
    SORVANE_NEED_DATA(folder);
    const Support::TemporaryFolder work;
    std::set<fs::path> meshes; // in the same order on every machine
    std::uintmax_t least = std::numeric_limits<std::uintmax_t>::max();
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".stl" || extension == ".STL") {
            meshes.insert(entry.path());
            least = std::min(least, entry.file_size());
        }
    }
    EXPECT_FALSE(meshes.empty());
    // Large ones, and all of them under a sanitizer, are given to one of the programs each, in turn.
    constexpr std::uintmax_t kMostBytes =
        Support::FullOr(std::numeric_limits<std::uintmax_t>::max(), std::uintmax_t{300'000});
    constexpr std::uintmax_t kMostBytesForAll =
        Support::FullOr(std::uintmax_t{60'000}, std::uintmax_t{0});
    std::size_t count = 0;
    for (const fs::path& path : meshes) {
        const std::uintmax_t size = fs::file_size(path);
        if (size > std::max(kMostBytes, least)) {
            continue;
        }
        ++count;
        for (std::size_t number = 0; number < PartPrograms().size(); ++number) {
            if (size > kMostBytesForAll && count % PartPrograms().size() != number) {
                continue;
            }
            const PartProgram& program = PartPrograms()[number];
            SCOPED_TRACE(std::string(program.name) + " " + path.string());
            const ProgramRun run = RunOn(program, path, work / "");
            EXPECT_TRUE(program.codes.contains(run.code)) << run.code << run.errors;
        }
    }
    EXPECT_GT(count, 0U);
}

INSTANTIATE_TEST_SUITE_P(Folders, ExampleProgramsOnShared,
                         testing::Values("meshes_cad", "meshes_defective", "meshes_nist",
                                         "meshes_organic", "with_degenerate"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
