// The example programs on files that are no parts, on devices that are full, and on every file of
// the shared inputs: they end with the exit code that they promise, and say why.

#include <Sorvane/MeshFiles_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using Support::BinaryStlBytes;
using Support::ProgramRun;
using Support::RunExample;
using Support::SmallMesh;
using Support::SolidText;
using Support::TetrahedronAndFin;
using Support::TipcBytes;

/// A program that reads a part, what it is told behind the part's name, and its exit codes.
struct PartProgram {
    const char* name;
    std::vector<std::string> arguments;
    int refusal;         ///< the part can't be read
    std::set<int> codes; ///< it was read
};

const std::vector<PartProgram>& PartPrograms()
{
    static const std::vector<PartProgram> programs{
        {"mesh_convert", {"--out", "out"}, 1, {0}},
        {"mesh_report", {"--svg", "report.svg"}, 2, {0, 1}},
        {"halfedge_walk", {}, 1, {0}},
        {"mesh_bounds", {"--depth", "3"}, 1, {0}},
        {"part_section", {"37%", "section.svg"}, 1, {0, 1, 3}},
        {"slices", {"7", "--svg", "picture.svg", "--table", "table.csv"}, 1, {0, 1, 3}},
        {"part_picture", {"picture.svg"}, 1, {0, 2}},
        {"drill_holes", {"picture.svg"}, 1, {0}},
        {"drop_cutter",
         {"ball", "40", "--step", "40", "--stepover", "60", "--svg", "picture.svg", "--table",
          "table.csv", "--gcode", "program.nc"},
         1,
         {0, 2}},
        {"decimate", {"decimated.stl", "--keep", "30", "--svg", "picture.svg"}, 1, {0, 3}},
        {"remesh", {"remeshed.stl", "--svg", "picture.svg"}, 1, {0, 3}},
        {"aspect_ratio", {"better.stl", "--svg", "picture.svg"}, 1, {0, 1, 3}},
        {"imprint_path", {"out.stl", "0", "0", "0", "5", "picture.svg"}, 1, {0, 3}},
        {"stock_box", {"laid.stl", "--svg", "stock.svg"}, 1, {0, 3}},
        {"solid_cells", {"10", "6", "picture.svg"}, 1, {0, 1, 3}},
        {"subdivide", {"finer.stl", "--svg", "picture.svg"}, 1, {0, 3}},
    };
    return programs;
}

ProgramRun RunOn(const PartProgram& program, const fs::path& part, const fs::path& folder)
{
    std::vector<std::string> arguments{part.string()};
    arguments.insert(arguments.end(), program.arguments.begin(), program.arguments.end());
    return RunExample(program.name, arguments, folder);
}

class ExamplePrograms : public testing::Test {
protected:
    fs::path Folder() const { return folder_ / ""; }

    void ExpectRefusal(const std::string& name, const std::string& reason)
    {
        for (const PartProgram& program : PartPrograms()) {
            SCOPED_TRACE(std::string(program.name) + " " + name);
            const ProgramRun run = RunOn(program, folder_ / name, Folder());
            EXPECT_EQ(run.code, program.refusal) << run.output << run.errors;
            EXPECT_NE(run.errors.find(name + ": " + reason), std::string::npos) << run.errors;
            for (const char* product : {"out", "report.svg", "section.svg", "picture.svg",
                                        "stock.svg", "remeshed.stl", "decimated.stl", "finer.stl",
                                        "better.stl", "laid.stl", "table.csv", "program.nc"}) {
                EXPECT_FALSE(fs::exists(folder_ / product)) << product;
            }
        }
    }

    void ExpectRefusalOf(const std::string& bytes, const std::string& reason)
    {
        Support::WriteBytes(folder_ / "part.stl", bytes);
        ExpectRefusal("part.stl", reason);
    }

    Support::TemporaryFolder folder_;
};

TEST_F(ExamplePrograms, SayWhyAFileIsRefused)
{
    const SmallMesh small = TetrahedronAndFin();
    const std::string stl = BinaryStlBytes(small, "part");
    const std::string text = SolidText(small, "part");
    ExpectRefusal("missing.stl", "there is no such file");
    fs::create_directory(folder_ / "folder.stl");
    ExpectRefusal("folder.stl", "is a folder");
    ExpectRefusalOf("", "is empty");
    ExpectRefusalOf("hello\n", "is neither an STL nor a TIPC file");
    ExpectRefusalOf("<html>" + std::string(500, ' ') + "</html>",
                    "is neither an STL nor a TIPC file");
    ExpectRefusalOf(stl.substr(0, 200), "binary STL cut short: 334 bytes announced, 200 there");
    ExpectRefusalOf(stl + "x", "binary STL longer than it says: 334 bytes announced, 335 there");
    ExpectRefusalOf(BinaryStlBytes(small, "part", 0xFFFFFFFF),
                    "binary STL cut short: 214748364834");
    ExpectRefusalOf(text.substr(0, text.size() / 2), "ASCII STL ends within a solid, in line");
    // What a binary reader would take for half a billion triangles.
    std::string bad = text;
    bad[bad.find("vertex 1.5") + 8] = ',';
    ExpectRefusalOf(bad, "ASCII STL with an error in line 6");
    ExpectRefusalOf("solid\nendsolid\n", "ASCII STL without triangles");
    SmallMesh notFinite = small;
    notFinite.points[3][1] = std::numeric_limits<float>::quiet_NaN();
    ExpectRefusalOf(BinaryStlBytes(notFinite, ""),
                    "binary STL with a coordinate that is not finite or too large in point 5");
    SmallMesh outside = small;
    outside.indices[7] = 5;
    ExpectRefusalOf(TipcBytes(outside, {}, {}), "TIPC with an index out of range in triangle 2");
}

TEST_F(ExamplePrograms, ReadEveryForm)
{
    const SmallMesh small = TetrahedronAndFin();
    for (const std::string& bytes : {SolidText(small, "part"), BinaryStlBytes(small, "solid part"),
                                     TipcBytes(small, {}, {})}) {
        Support::WriteBytes(folder_ / "part", bytes);
        for (const PartProgram& program : PartPrograms()) {
            SCOPED_TRACE(program.name);
            const ProgramRun run = RunOn(program, folder_ / "part", Folder());
            EXPECT_TRUE(program.codes.contains(run.code)) << run.code << run.errors;
        }
    }
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
    const std::vector<std::pair<const char*, std::vector<std::string>>> wrong{
        {"mesh_convert", {}},
        {"mesh_convert", {"part", "--weld", "much"}},
        {"mesh_convert", {"part", "--move", "1,2"}},
        {"mesh_report", {}},
        {"mesh_report", {"part", "--tolerance", "-1"}},
        {"mesh_report", {"part", "--tolerance", "nan"}},
        {"halfedge_walk", {}},
        {"halfedge_walk", {"part", "abc"}},
        {"halfedge_walk", {"part", "-1"}},
        {"halfedge_walk", {"part", "0", "x.stl", "y"}},
        {"mesh_bounds", {}},
        {"mesh_bounds", {"part", "--depth", "10"}},
        {"part_section", {"part"}},
        {"part_section", {"part", "high"}},
        {"part_section", {"part", "inf"}},
        {"part_section", {"part", "%"}},
        {"part_section", {"part", "1", "a", "b"}},
        {"part_section", {"part", "1", "--weld"}},
        {"part_section", {"part", "1", "--weld", "-1"}},
        {"slices", {"part"}},
        {"slices", {"part", "0"}},
        {"slices", {"part", "2.5"}},
        {"slices", {"part", "3", "--axis", "w"}},
        {"slices", {"part", "3", "--axis"}},
        {"slices", {"part", "3", "--depth", "1"}},
        {"drill_holes", {}},
        {"drop_cutter", {}},
        {"drop_cutter", {"part", "ball"}},
        {"drop_cutter", {"part", "drill", "5"}},
        {"drop_cutter", {"part", "ball", "0"}},
        {"drop_cutter", {"part", "ball", "5", "--corner", "1"}},
        {"drop_cutter", {"part", "bull", "5", "--corner", "3"}},
        {"drop_cutter", {"part", "cone", "5", "--angle", "180"}},
        {"drop_cutter", {"part", "flat", "5", "--step", "0"}},
        {"drop_cutter", {"part", "flat", "5", "--holder", "50"}},
        {"drop_cutter", {"part", "flat", "5", "--depth", "3"}},
        {"drill_holes", {"part", "x.svg", "y"}},
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
        {"fit_arcs", {"points", "0"}},
        {"fit_arcs", {"points", "1", "2"}},
        {"fit_tool", {"points", "0"}},
        {"fit_tool", {"points", "1", "2"}},
        {"tool_positions", {"x.svg"}},
        {"solid_cells", {"part", "1", "4"}},
        {"solid_cells", {"part", "1", "13", "x.svg"}},
        {"solid_cells", {"part", "1", "nan", "x.svg"}},
        {"solid_cells", {"part", "high", "4", "x.svg"}},
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

TEST_F(ExamplePrograms, SayWhenTheyCanNotWrite)
{
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no such device on this system";
    }
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const std::string damaged = Support::ExampleData("damaged_box.stl").string();
    Support::WriteBytes(folder_ / "file", "x");
    const std::string noFolder = (folder_ / "file/x.svg").string();
    struct Case {
        const char* program;
        std::vector<std::string> arguments;
        int code;
        std::string said;
    };
    const std::vector<Case> cases{
        {"part_section", {bracket, "50%", "/dev/full"}, 1, "/dev/full: can't be written"},
        {"part_section", {bracket, "50%", noFolder}, 1, noFolder + ": can't be written"},
        {"slices", {bracket, "3", "--table", "/dev/full"}, 1, "/dev/full: can't be written"},
        {"slices", {bracket, "3", "--svg", noFolder}, 1, noFolder + ": can't be written"},
        {"part_picture", {bracket, "/dev/full"}, 1, "/dev/full: can't be written"},
        {"part_picture", {bracket, noFolder}, 1, noFolder + ": can't be written"},
        {"drop_cutter",
         {bracket, "ball", "9", "--svg", noFolder},
         1,
         noFolder + ": can't be written"},
        {"drop_cutter",
         {bracket, "ball", "9", "--table", "/dev/full"},
         1,
         "/dev/full: can't be written"},
        {"drop_cutter",
         {bracket, "ball", "9", "--gcode", "/dev/full"},
         1,
         "/dev/full: can't be written"},
        {"decimate",
         {bracket, "/dev/full", "--keep", "50"},
         1,
         "/dev/full: can't be written (No space"},
        {"remesh", {bracket, "/dev/full"}, 1, "/dev/full: can't be written (No space"},
        {"remesh", {bracket, noFolder}, 1, noFolder + ": its folder is not there"},
        {"remesh", {bracket, "x.stl", "--svg", noFolder}, 1, noFolder + ": can't be written"},
        {"subdivide", {bracket, "/dev/full"}, 1, "/dev/full: can't be written (No space"},
        {"subdivide", {bracket, "x.stl", "--svg", noFolder}, 1, noFolder + ": can't be written"},
        {"contour_solid",
         {"torus", "/dev/full", "--level", "4"},
         1,
         "/dev/full: can't be written (No space"},
        {"contour_solid",
         {"torus", "x.stl", "--level", "4", "--svg", noFolder},
         1,
         noFolder + ": can't be written"},
        {"mesh_report", {bracket, "--svg", "/dev/full"}, 2, "/dev/full: can't be written"},
        {"mesh_report",
         {damaged, "--stl", "/dev/full"},
         2,
         "/dev/full: can't be written (No space"},
        {"mesh_report", {damaged, "--stl", noFolder}, 2, noFolder + ": its folder is not there"},
        {"mesh_convert", {bracket, "--out", "file"}, 1, ": its folder is not there"},
        {"mesh_bounds", {bracket, "--out", "file"}, 1, ": its folder is not there"},
        {"halfedge_walk", {bracket, "0", "/dev/full"}, 1, "/dev/full: has an extension"},
        {"halfedge_walk", {bracket, "0", "file/x.stl"}, 1, "file/x.stl: its folder is not there"},
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
    for (const char* program :
         {"chain_picture", "contact_picture", "fit_arcs", "fit_tool", "join_outlines",
          "node_masks", "svg_sampler", "sweep_tool", "tool_positions", "z_curve"}) {
        const ProgramRun run = RunExample(program, {}, Folder(), "/dev/full");
        EXPECT_EQ(run.code, 1) << program;
        EXPECT_NE(run.errors.find("can't be written"), std::string::npos) << run.errors;
    }
}

TEST_F(ExamplePrograms, FitArcsTurnsPointsOfAFileIntoArcs)
{
    const ProgramRun lever = RunExample("fit_arcs", {}, Folder());
    EXPECT_EQ(lever.code, 0);
    EXPECT_NE(lever.errors.find("2 segments, 5 arcs"), std::string::npos) << lever.errors;

    std::ostringstream spiral;
    spiral.precision(12); // in six digits the bend of a step of 0.1 is lost
    for (int i = 0; i <= 2000; ++i) {
        const double angle = 6.28e-3 * i;
        spiral << (10 + angle) * std::cos(angle) << ' ' << (10 + angle) * std::sin(angle) << '\n';
    }
    Support::WriteBytes(folder_ / "spiral.txt", spiral.str());
    const ProgramRun run = RunExample("fit_arcs", {"spiral.txt", "0.02"}, Folder());
    EXPECT_EQ(run.code, 0);
    std::istringstream told(run.errors.substr(run.errors.find("points,") + 7));
    std::string word;
    int segments = -1;
    int arcs = -1;
    told >> segments >> word >> arcs;
    EXPECT_GE(arcs, 5) << run.errors;
    EXPECT_LE(arcs + segments, 20) << run.errors;

    Support::WriteBytes(folder_ / "words.txt", "no points here");
    EXPECT_EQ(RunExample("fit_arcs", {"words.txt"}, Folder()).code, 1);
}

// Areas and lengths counted by hand from the coordinates in the program.
TEST_F(ExamplePrograms, SweepToolTellsWhatItDraws)
{
    const ProgramRun plate = RunExample("sweep_tool", {}, Folder());
    EXPECT_EQ(plate.code, 0);
    EXPECT_NE(plate.errors.find("plate 464.00"), std::string::npos) << plate.errors; // 540-8-12-56
    const ProgramRun turning = RunExample("sweep_tool", {"turning"}, Folder());
    EXPECT_EQ(turning.code, 0);
    EXPECT_NE(turning.errors.find("of these both touch: 0.00"), std::string::npos)
        << turning.errors;
}

// A plain cylinder of radius 4 and height 9, and the scan that the program makes itself.
TEST_F(ExamplePrograms, FitToolTellsTheToolOfAnOutline)
{
    Support::WriteBytes(folder_ / "cylinder.txt", "10 0\n14 0\n14 9\n");
    const ProgramRun cylinder = RunExample("fit_tool", {"cylinder.txt", "0.01"}, Folder());
    EXPECT_EQ(cylinder.code, 0);
    EXPECT_NE(cylinder.errors.find("tip radius 4.0000"), std::string::npos) << cylinder.errors;
    EXPECT_NE(cylinder.errors.find("taper height 9.0000"), std::string::npos) << cylinder.errors;

    const ProgramRun scan = RunExample("fit_tool", {}, Folder());
    EXPECT_EQ(scan.code, 0);
    EXPECT_NE(scan.errors.find("angle 0.40"), std::string::npos) << scan.errors; // of its taper, drawn as 0.4

    Support::WriteBytes(folder_ / "words.txt", "no points here");
    EXPECT_EQ(RunExample("fit_tool", {"words.txt"}, Folder()).code, 1);
}

TEST_F(ExamplePrograms, SolidCellsEncloseTheAreaOfAnOutline)
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

TEST_F(ExamplePrograms, AReportOfASoundPartWritesNoFaults)
{
    const ProgramRun run =
        RunExample("mesh_report",
                   {Support::ExampleData("bracket.stl").string(), "--stl", "faults.stl"}, Folder());
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(run.output.find("not written"), std::string::npos) << run.output;
    EXPECT_FALSE(fs::exists(folder_ / "faults.stl"));
}

TEST_F(ExamplePrograms, TheBracketIsMadeAsItIsKept)
{
    ASSERT_EQ(RunExample("make_bracket", {"."}, Folder()).code, 0);
    EXPECT_EQ(Support::ReadBytes(folder_ / "bracket.stl"),
              Support::ReadBytes(Support::ExampleData("bracket.stl")));
    EXPECT_EQ(Support::ReadBytes(folder_ / "bracket_ascii.stl"),
              Support::ReadBytes(Support::ExampleData("bracket_ascii.stl")));
}

// --- every file of the shared inputs
// --------------------------------------------------------------

/// The programs, with what they are compiled of, take minutes under a sanitizer: there they are run
/// on the parts of at most so many bytes, and in a folder of nothing but larger ones on the
/// smallest.
constexpr std::uintmax_t kMostBytes =
    Support::FullOr(std::numeric_limits<std::uintmax_t>::max(), std::uintmax_t{300'000});

/// Parts of more bytes are given to one program each, in turn: all parts under a sanitizer.
constexpr std::uintmax_t kMostBytesForAll =
    Support::FullOr(std::uintmax_t{1'000'000}, std::uintmax_t{0});

class ExampleProgramsOnShared : public testing::TestWithParam<const char*> {};

TEST_P(ExampleProgramsOnShared, EndWithAPromisedCodeAndSayWhy)
{
    const fs::path folder = Support::SharedData(GetParam());
    SORVANE_NEED_DATA(folder);
    const Support::TemporaryFolder work;
    std::size_t count = 0;
    std::set<fs::path> paths; // in the same order on every machine
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            paths.insert(entry.path());
        }
    }
    const auto isMeshFile = [](const fs::path& path) {
        return path.extension() == ".stl" || path.extension() == ".STL";
    };
    std::uintmax_t least = std::numeric_limits<std::uintmax_t>::max();
    for (const fs::path& path : paths) {
        least = isMeshFile(path) ? std::min(least, fs::file_size(path)) : least;
    }
    std::set<std::string> seen;
    for (const fs::path& path : paths) {
        ++count;
        const std::string extension = path.extension().string();
        const bool isMesh = isMeshFile(path);
        if (isMesh && fs::file_size(path) > std::max(kMostBytes, least)) {
            continue;
        }
        // All programs read by `ReadMesh`. To start one takes longer than to refuse a file, above
        // all under a sanitizer: every file that is no mesh is refused here and by one of the
        // programs, each in its turn, and without a sanitizer the first of each extension by all of
        // them.
        const bool isFirst = !Support::kSanitized && seen.insert(extension).second;
        if (!isMesh) {
            Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
            const auto result = Velk::Math::Sorvane::MeshUtils::ReadMesh(mesh, path);
            EXPECT_FALSE(result) << path;
            EXPECT_TRUE(mesh.points.empty() && mesh.indices.empty()) << path;
        }
        const std::size_t programCount = PartPrograms().size() + 1; // with chain_picture
        const bool isForAll = isMesh ? fs::file_size(path) <= kMostBytesForAll : isFirst;
        const auto hasTurn = [&](std::size_t number) {
            return isForAll || count % programCount == number;
        };
        for (std::size_t number = 0; number < PartPrograms().size(); ++number) {
            if (!hasTurn(number)) {
                continue;
            }
            const PartProgram& program = PartPrograms()[number];
            SCOPED_TRACE(std::string(program.name) + " " + path.string());
            const ProgramRun run = RunOn(program, path, work / "");
            if (isMesh) {
                EXPECT_TRUE(program.codes.contains(run.code)) << run.code << run.errors;
                const bool isTold = run.code == 0 || !run.errors.empty() ||
                                    run.output.find("verdict       DEFECTIVE") != std::string::npos;
                EXPECT_TRUE(isTold) << run.output;
            } else {
                EXPECT_EQ(run.code, program.refusal);
                EXPECT_NE(run.errors.find(path.string() + ": is neither an STL nor a TIPC file"),
                          std::string::npos)
                    << run.errors;
            }
        }
        if (!hasTurn(PartPrograms().size())) {
            continue;
        }
        const ProgramRun chain = RunExample("chain_picture", {path.string()}, work / "");
        EXPECT_TRUE(chain.code == 0 || chain.code == 1) << chain.code;
        EXPECT_FALSE(chain.errors.empty());
    }
    EXPECT_GT(count, 0U);
}

INSTANTIATE_TEST_SUITE_P(Folders, ExampleProgramsOnShared,
                         testing::Values("meshes_cad", "meshes_defective", "meshes_nist",
                                         "meshes_organic", "with_degenerate", "step", "arc_chains",
                                         "arc_offsets", "cdt", "drop_cutter", "lathe_profiles",
                                         "polygon_booleans", "triangulation"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
