// Sections by the example part_section on planes through faces, edges and corners of real parts,
// against areas that are derived here from planes above them.
//
// Between two neighboring heights of corners the area of a section is a polynomial of degree two in
// the height: outlines are polygons whose corners move along straight edges. Three sections within
// such an interval give it, and its value at the lower end is the area just above the plane there.
// The area of a section through no corner is summed over the chords of its triangles, in plain
// arithmetic on the file's numbers.

#include <Sorvane/MeshFiles_E.h>

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;
using Soup = std::vector<std::array<Velk::Math::Vec3d, 3>>;

Soup PartOf(const fs::path& path)
{
    Soup soup;
    EXPECT_TRUE(Velk::Math::Sorvane::MeshUtils::ReadMesh(soup, path));
    return soup;
}

/// Area of the section at a height at which no corner lies. The chord of a triangle runs from the
/// edge that goes down through the plane to the one that goes up, with the material on its left.
long double AreaAt(const Soup& soup, long double height)
{
    long double doubled = 0;
    for (const auto& triangle : soup) {
        std::array<std::array<long double, 2>, 2> chord{};
        int crossings = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto& p = triangle[k];
            const auto& q = triangle[(k + 1) % 3];
            if ((p.z() > height) == (q.z() > height)) {
                continue;
            }
            const long double t = (height - p.z()) / (static_cast<long double>(q.z()) - p.z());
            ++crossings;
            chord[p.z() > height ? 0 : 1] = {p.x() + t * (static_cast<long double>(q.x()) - p.x()),
                                             p.y() + t * (static_cast<long double>(q.y()) - p.y())};
        }
        if (crossings == 2) {
            doubled += chord[0][0] * chord[1][1] - chord[0][1] * chord[1][0];
        }
    }
    return doubled / 2;
}

/// Area just above `height`, by the sections between it and the next corner above. Corners nearer
/// than `noise` to the height count as lying at it.
double AreaJustAbove(const Soup& soup, double height, double noise)
{
    std::set<double> heights;
    for (const auto& triangle : soup) {
        for (const auto& corner : triangle) {
            heights.insert(corner.z());
        }
    }
    const double next = *heights.upper_bound(height + noise);
    const auto at = [&](long double share) {
        return height + noise + share * (next - height - noise);
    };
    // The polynomial through three places, at the height itself.
    const std::array<long double, 3> places{at(0.25L), at(0.5L), at(0.75L)};
    long double area = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        long double weight = 1;
        for (std::size_t j = 0; j < 3; ++j) {
            if (j != i) {
                weight *= (height - places[j]) / (places[i] - places[j]);
            }
        }
        area += weight * AreaAt(soup, places[i]);
    }
    return static_cast<double>(area);
}

double AreaSaid(const ProgramRun& run)
{
    const std::size_t at = run.output.find("area ");
    EXPECT_NE(at, std::string::npos) << run.output << run.errors;
    return at == std::string::npos ? -1 : std::stod(run.output.substr(at + 5));
}

std::string Written(double number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", number);
    return text;
}

struct PlaneCase {
    const char* name;
    const char* part;
    double height;
    double noise; ///< of corners that are meant to lie in the plane
};

class PartSectionInAPlaneOfFaces : public testing::TestWithParam<PlaneCase> {};

TEST_P(PartSectionInAPlaneOfFaces, HasTheAreaOfThePartJustAbove)
{
    const PlaneCase& c = GetParam();
    const fs::path part = Support::SharedData(c.part);
    SORVANE_NEED_DATA(part);
    const Support::TemporaryFolder folder;
    const ProgramRun run =
        RunExample("part_section", {part.string(), Written(c.height)}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find(" 0 of them open"), std::string::npos) << run.output;
    const double expected = AreaJustAbove(PartOf(part), c.height, c.noise);
    EXPECT_NEAR(AreaSaid(run), expected, 2e-7 * expected);
}

INSTANTIATE_TEST_SUITE_P(
    Planes, PartSectionInAPlaneOfFaces,
    testing::Values(PlaneCase{"NistCtc03", "meshes_nist/nist_ctc_03_asme1_rc.stl",
                              76.19999694824219, 0},
                    PlaneCase{"NistCtc03Bottom", "meshes_nist/nist_ctc_03_asme1_rc.stl", 0, 1e-6},
                    PlaneCase{"IdlerRiser", "meshes_cad/idler_riser.STL", 0, 1e-9},
                    PlaneCase{"AngleBlock", "meshes_cad/angle_block.STL", -0.12074072659015656, 0},
                    PlaneCase{"OctagonalPocket", "meshes_cad/octagonal_pocket.stl", 0, 1e-9},
                    // The floor of the pocket, beside which two outlines nearly share a side.
                    PlaneCase{"OctagonalPocketFloor", "meshes_cad/octagonal_pocket.stl", 0.00635, 1e-8},
                    PlaneCase{"ZJoint", "meshes_cad/voron_z_joint_upper_x4.stl", 0, 1e-6}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(PartSection, AHeightTypedWithFewDigitsIsThatOfTheFacesBesideIt)
{
    // The faces lie at 76.19999694824219, the float nearest to 76.2.
    const fs::path part = Support::SharedData("meshes_nist/nist_ctc_03_asme1_rc.stl");
    SORVANE_NEED_DATA(part);
    const Support::TemporaryFolder folder;
    const double exact =
        AreaSaid(RunExample("part_section", {part.string(), "76.19999694824219"}, folder / ""));
    const ProgramRun run = RunExample("part_section", {part.string(), "76.199997"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NEAR(AreaSaid(run), exact, 1e-6 * exact);
    EXPECT_NEAR(exact, 67314.5, 0.1);
    EXPECT_NEAR(AreaSaid(RunExample("part_section", {part.string(), "76.199997", "--weld", "0"},
                                    folder / "")),
                static_cast<double>(AreaAt(PartOf(part), 76.199997L)), 0.01)
        << "without a weld length the plane is where it is said to be";
}

TEST(PartSection, EveryPlaneOfCornersOfAPart)
{
    const fs::path part = Support::SharedData("meshes_nist/nist_ctc_01_asme1_rd.stl");
    SORVANE_NEED_DATA(part);
    const Support::TemporaryFolder folder;
    const Soup soup = PartOf(part);
    std::set<double> heights;
    for (const auto& triangle : soup) {
        for (const auto& corner : triangle) {
            heights.insert(corner.z());
        }
    }
    int sections = 0;
    for (auto h = heights.begin(); std::next(h) != heights.end(); std::advance(h, 1)) {
        // Planes that have no corners within the weld length but above it.
        if (*std::next(h) - *h < 1e-3 || ++sections % Support::FullOr(8, 32) != 1) {
            continue;
        }
        const ProgramRun run =
            RunExample("part_section", {part.string(), Written(*h)}, folder / "");
        const double expected = AreaJustAbove(soup, *h, 0);
        EXPECT_EQ(run.code, 0) << Written(*h) << run.errors;
        EXPECT_NEAR(AreaSaid(run), expected, 1e-6 * expected) << Written(*h);
    }
    EXPECT_GT(sections, 10);
}

// --- by hand
// --------------------------------------------------------------------------------------

/// A box, wound outward.
void AddBox(Support::SmallMesh& mesh, std::array<float, 3> low, std::array<float, 3> high)
{
    const int first = static_cast<int>(mesh.points.size());
    for (int corner = 0; corner < 8; ++corner) {
        std::array<float, 3> point{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            point[axis] = (corner >> axis & 1) != 0 ? high[axis] : low[axis];
        }
        mesh.points.push_back(point);
    }
    for (const int corner : {0, 2, 3, 0, 3, 1, 4, 5, 7, 4, 7, 6, 0, 1, 5, 0, 5, 4,
                             2, 6, 7, 2, 7, 3, 0, 4, 6, 0, 6, 2, 1, 3, 7, 1, 7, 5}) {
        mesh.indices.push_back(first + corner);
    }
}

class PartSectionByHand : public testing::Test {
protected:
    ProgramRun Section(const Support::SmallMesh& mesh, const std::string& height)
    {
        Support::WriteBytes(folder_ / "part.stl", Support::BinaryStlBytes(mesh, "by hand"));
        return RunExample("part_section", {"part.stl", height, "section.svg"}, folder_ / "");
    }

    Support::TemporaryFolder folder_;
};

TEST_F(PartSectionByHand, AStepIsCutAboveItsFace)
{
    // Two blocks beside each other, as one body would have them: at the height of the lower one
    // their common wall has chords in both directions, which cancel below the step.
    Support::SmallMesh mesh;
    AddBox(mesh, {0, 0, 0}, {2, 3, 1});
    AddBox(mesh, {2, 0, 0}, {7, 3, 2});
    for (const auto& [height, area] : std::initializer_list<std::pair<const char*, double>>{
             {"0", 21}, {"0.5", 21}, {"1", 15}, {"1.0000005", 15}, {"1.5", 15}}) {
        const ProgramRun run = Section(mesh, height);
        EXPECT_EQ(run.code, 0) << run.errors;
        EXPECT_NEAR(AreaSaid(run), area, 1e-5) << height;
    }
    EXPECT_NE(Section(mesh, "0").output.find("1 outlines"), std::string::npos)
        << "the wall between the blocks is no outline";
    const ProgramRun top = Section(mesh, "2");
    EXPECT_EQ(top.code, 1);
    EXPECT_NE(top.errors.find("nothing lies just above height 2"), std::string::npos) << top.errors;
}

TEST_F(PartSectionByHand, AnOpenOutlineIsToldAndNoSuccess)
{
    Support::SmallMesh mesh;
    AddBox(mesh, {0, 0, 0}, {2, 3, 1});
    mesh.indices.erase(mesh.indices.begin() + 12, mesh.indices.begin() + 18); // a wall
    const ProgramRun run = Section(mesh, "0.5");
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.errors.find("1 outlines are open"), std::string::npos) << run.errors;
    EXPECT_TRUE(fs::exists(folder_ / "section.svg")) << "a picture shows where";
}

TEST_F(PartSectionByHand, BodiesThatOverlapAreToldAndNoSuccess)
{
    // 4 + 4 of which 1 is in both; an odd number of outlines leaves that out.
    Support::SmallMesh mesh;
    AddBox(mesh, {0, 0, 0}, {2, 2, 1});
    AddBox(mesh, {1, 1, 0}, {3, 3, 1});
    const ProgramRun run = Section(mesh, "0.5");
    EXPECT_EQ(run.code, 3);
    EXPECT_NEAR(AreaSaid(run), 6, 1e-9);
    EXPECT_NE(run.errors.find("enclose an area of 8 "), std::string::npos) << run.errors;
}

TEST_F(PartSectionByHand, OneTurnedTriangleDoesNotSpoilTheSection)
{
    Support::SmallMesh mesh;
    AddBox(mesh, {0, 0, 0}, {2, 3, 1});
    for (std::size_t t = 4; t < 12; ++t) { // the walls
        Support::SmallMesh turned = mesh;
        std::swap(turned.indices[3 * t], turned.indices[3 * t + 1]);
        const ProgramRun run = Section(turned, "0.5");
        EXPECT_EQ(run.code, 0) << t << run.errors;
        EXPECT_NEAR(AreaSaid(run), 6, 1e-9);
    }
}

TEST_F(PartSectionByHand, TwoBlocksOnOneEdge)
{
    // They touch along an upright edge: two outlines with a common corner.
    Support::SmallMesh mesh;
    AddBox(mesh, {0, 0, 0}, {1, 1, 1});
    AddBox(mesh, {1, 1, 0}, {3, 3, 1});
    const ProgramRun run = Section(mesh, "0.5");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NEAR(AreaSaid(run), 5, 1e-9);
}

} // namespace
