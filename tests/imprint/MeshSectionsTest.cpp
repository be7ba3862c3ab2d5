// Plane sections: against sums over the chords of single triangles, figures computed elsewhere,
// shapes of known sections, and the volume. Bodies of unit cubes have all that is awkward at once
// (faces and corners in the planes, edges of four triangles, bodies that touch in corners), and
// sections that can be counted.

#include "tests/support/FailingAllocation.h"
#include "tests/support/JsonText.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshSections_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Mesh;
using Support::IndexedMesh;
using Support::Random;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
const Vec3d kUp(0, 0, 1);
const SectionOptions kBelow{SectionSide::Below, 0};

std::size_t PointCount(const MeshSection& section)
{
    std::size_t count = 0;
    for (const auto& loop : section.loops) {
        count += loop.size();
    }
    return count;
}

/// What the chords of a plane through no corner add up to, triangle by triangle, and the lines that
/// they make by their cut edges alone.
struct ChordSums {
    double area = 0;
    double length = 0;
    int loops = 0;
    int chains = 0;
    std::size_t chords = 0;
};

ChordSums SumChords(const IndexedMesh& mesh, long double height)
{
    using Wide2 = std::array<long double, 2>;
    ChordSums sums;
    long double doubled = 0;
    long double length = 0;
    std::map<std::pair<int, int>, std::vector<std::pair<int, int>>> links;
    for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
        std::array<Wide2, 2> chord{};
        std::array<std::pair<int, int>, 2> edges;
        int crossings = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const int a = mesh.indices[t + k];
            const int b = mesh.indices[t + (k + 1) % 3];
            const Vec3d& p = mesh.points[static_cast<std::size_t>(a)];
            const Vec3d& q = mesh.points[static_cast<std::size_t>(b)];
            if ((p.z() > height) == (q.z() > height)) {
                continue;
            }
            const long double share = (height - p.z()) / (static_cast<long double>(q.z()) - p.z());
            const std::size_t at = p.z() > height ? 0 : 1;
            chord[at] = {p.x() + share * (static_cast<long double>(q.x()) - p.x()),
                         p.y() + share * (static_cast<long double>(q.y()) - p.y())};
            edges[at] = std::minmax(a, b);
            ++crossings;
        }
        if (crossings == 2) {
            doubled += chord[0][0] * chord[1][1] - chord[0][1] * chord[1][0];
            length += std::hypot(chord[1][0] - chord[0][0], chord[1][1] - chord[0][1]);
            links[edges[0]].push_back(edges[1]);
            links[edges[1]].push_back(edges[0]);
            ++sums.chords;
        }
    }
    sums.area = static_cast<double>(doubled / 2);
    sums.length = static_cast<double>(length);
    std::set<std::pair<int, int>> seen;
    for (const auto& [start, next] : links) {
        if (!seen.insert(start).second) {
            continue;
        }
        bool isOpen = false;
        std::vector<std::pair<int, int>> waiting{start};
        while (!waiting.empty()) {
            const auto edge = waiting.back();
            waiting.pop_back();
            isOpen = isOpen || links[edge].size() < 2;
            for (const auto& other : links[edge]) {
                if (seen.insert(other).second) {
                    waiting.push_back(other);
                }
            }
        }
        (isOpen ? sums.chains : sums.loops) += 1;
    }
    return sums;
}

IndexedMesh PartOf(const std::filesystem::path& path)
{
    // As the reference takes them: text is rounded to float like the rest.
    IndexedPointsBase<3, float> rounded;
    EXPECT_TRUE(MeshUtils::ReadMesh(rounded, path));
    FilterForUniqueness(rounded, 0.0F);
    IndexedMesh mesh;
    for (const Vec3f& p : rounded.points) {
        mesh.points.push_back(Vec3d(p));
    }
    mesh.indices = rounded.indices;
    return mesh;
}

void AppendBox(IndexedMesh& mesh, const Vec3d& low, const Vec3d& high)
{
    IndexedMesh box = Support::Cube();
    for (Vec3d& p : box.points) {
        for (int axis = 0; axis < 3; ++axis) {
            p[axis] = p[axis] > 0 ? high[axis] : low[axis];
        }
    }
    mesh = Support::Together(std::move(mesh), box);
}

IndexedMesh Box(const Vec3d& low, const Vec3d& high)
{
    IndexedMesh mesh;
    AppendBox(mesh, low, high);
    return mesh;
}

/// A frame of three unit vectors at right angles, by Gram and Schmidt.
std::array<Vec3d, 3> RandomFrame(Random& random)
{
    const Vec3d a = Vector::Normalized(random.Vector<3, double>(-1, 1) + Vec3d(1e-3, 0, 0), 0.0);
    Vec3d b = random.Vector<3, double>(-1, 1);
    b = Vector::Normalized(b - a * (a * b), 0.0);
    return {a, b, a ^ b};
}

IndexedMesh Turned(IndexedMesh mesh, const std::array<Vec3d, 3>& frame, const Vec3d& shift)
{
    for (Vec3d& p : mesh.points) {
        p = frame[0] * p.x() + frame[1] * p.y() + frame[2] * p.z() + shift;
    }
    return mesh;
}

// --- real parts
// ------------------------------------------------------------------------------------

class SectionsOfPart : public testing::TestWithParam<const char*> {
protected:
    struct Reference {
        double z;
        double area;
        double length;
        std::size_t triangles;
    };
    std::vector<Reference> References() const
    {
        std::ifstream stream(Support::SharedData("reference_figures.json"));
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        const Support::JsonValue json = Support::JsonReader(text).Value();
        std::vector<Reference> references;
        for (const auto& slice : json["meshes"][GetParam()]["slices_z"].items) {
            references.push_back({slice["z"].number, slice["signed_area"].number,
                                  slice["length"].number,
                                  static_cast<std::size_t>(slice["cut_triangles"].number)});
        }
        return references;
    }
};

TEST_P(SectionsOfPart, HaveTheFiguresOfTheReference)
{
    const auto file = Support::SharedData(GetParam());
    SORVANE_NEED_DATA(file);
    SORVANE_NEED_DATA(Support::SharedData("reference_figures.json"));
    const IndexedMesh part = PartOf(file);
    const auto references = References();
    ASSERT_EQ(references.size(), 10U);
    std::vector<double> heights;
    for (const Reference& reference : references) {
        heights.push_back(reference.z);
    }
    const std::vector<MeshSection> sections = MeshSections(part, kUp, heights, {});
    ASSERT_EQ(sections.size(), heights.size());
    for (std::size_t i = 0; i < sections.size(); ++i) {
        SCOPED_TRACE(heights[i]);
        const MeshSection& section = sections[i];
        const ChordSums sums = SumChords(part, heights[i]);
        EXPECT_EQ(section.height, heights[i]);
        const double length = section.length + section.openLength;
        EXPECT_NEAR(length, references[i].length, 1e-9 * references[i].length);
        EXPECT_NEAR(length, sums.length, 1e-12 * length);
        EXPECT_EQ(sums.chords, references[i].triangles);
        EXPECT_EQ(static_cast<int>(section.loops.size()), sums.loops);
        EXPECT_EQ(static_cast<int>(section.chains.size()), sums.chains);
        if (sums.chains == 0) {
            EXPECT_EQ(PointCount(section), sums.chords);
            EXPECT_EQ(section.openLength, 0);
            EXPECT_NEAR(section.area, references[i].area, 1e-9 * references[i].area);
            EXPECT_NEAR(section.area, sums.area, 1e-11 * length * length);
        }
    }
}

TEST_P(SectionsOfPart, HaveTheSameBitsHoweverTheyAreAskedFor)
{
    const auto file = Support::SharedData(GetParam());
    SORVANE_NEED_DATA(file);
    const IndexedMesh part = PartOf(file);
    std::vector<double> heights;
    for (std::size_t i = 0; i < part.points.size(); i += part.points.size() / 7) {
        heights.push_back(part.points[i].z());        // through corners
        heights.push_back(part.points[i].z() + 1e-3); // and through others
    }
    heights.push_back(heights.front());
    for (const Vec3d& normal : {kUp, Vec3d(1, -2, 0.5)}) {
        for (const SectionSide side : {SectionSide::Above, SectionSide::Below}) {
            const SectionOptions options{side, 1e-7};
            const auto expected = MeshSections(part, normal, heights, options);
            auto shuffled = heights;
            std::reverse(shuffled.begin(), shuffled.end());
            std::rotate(shuffled.begin(), shuffled.begin() + 3, shuffled.end());
            auto inThatOrder = expected;
            std::reverse(inThatOrder.begin(), inThatOrder.end());
            std::rotate(inThatOrder.begin(), inThatOrder.begin() + 3, inThatOrder.end());
            EXPECT_TRUE(MeshSections(part, normal, shuffled, options) == inThatOrder);
            const PlaneSlicer slicer(part, normal);
            EXPECT_TRUE(slicer.Sections(heights, options) == expected);
            EXPECT_TRUE(MeshSectionAt(part, normal, heights[4], options) == expected[4]);
            EXPECT_TRUE(slicer.Section(heights[5], options) == expected[5]);
            EXPECT_TRUE(expected.back() == expected.front());
            for (const int threads : {1, 2, 4}) {
                Support::WithThreads(threads, [&] {
                    EXPECT_TRUE(MeshSections(part, normal, heights, options) == expected);
                    EXPECT_TRUE(PlaneSlicer(part, normal).Sections(heights, options) == expected);
                });
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shared, SectionsOfPart,
    testing::Values("meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ctc_03_asme1_rc.stl",
                    "meshes_nist/nist_ctc_05_asme1_rd.stl", "meshes_nist/nist_ftc_06_asme1_rd.stl",
                    "meshes_nist/nist_ftc_09_asme1_rd.stl", "meshes_nist/nist_ftc_11_asme1_rb.stl",
                    "meshes_cad/1002_tray_bottom.STL", "meshes_cad/ADIS16480.STL",
                    "meshes_cad/angle_block.STL", "meshes_cad/idler_riser.STL",
                    "meshes_cad/octagonal_pocket.stl", "meshes_cad/plate_holes.STL",
                    "meshes_cad/prusa_extruder_idler.stl", "meshes_cad/prusa_x_end_idler.stl",
                    "meshes_cad/round.stl", "meshes_cad/voron_z_joint_upper_x4.stl",
                    "meshes_organic/fish.stl", "meshes_organic/koala.stl",
                    "meshes_organic/nefertiti_lowres.stl", "meshes_organic/spot.stl"),
    [](const auto& test) {
        std::string name(test.param);
        name = name.substr(name.find('/') + 1);
        name = name.substr(0, name.find('.'));
        return name;
    });

TEST(MeshSections, TrianglesWithoutAreaChangeNothing)
{
    for (const char* name : {"nist_ctc_05", "nist_ftc_06"}) {
        const auto dirty = Support::SharedData(std::string("with_degenerate/") + name + ".stl");
        const auto clean =
            Support::SharedData(std::string("meshes_nist/") + name + "_asme1_rd.stl");
        SORVANE_NEED_DATA(dirty);
        SORVANE_NEED_DATA(clean);
        const IndexedMesh dirtyPart = PartOf(dirty);
        const IndexedMesh cleanPart = PartOf(clean);
        const auto [low, high] = PlaneSlicer(cleanPart, kUp).HeightRange();
        std::vector<double> heights;
        for (int i = 0; i < 40; ++i) {
            heights.push_back(low + (high - low) * i / 40);
        }
        const auto sections = MeshSections(dirtyPart, kUp, heights, {});
        const auto expected = MeshSections(cleanPart, kUp, heights, {});
        for (std::size_t i = 0; i < heights.size(); ++i) {
            EXPECT_EQ(sections[i].loops.size(), expected[i].loops.size()) << heights[i];
            EXPECT_EQ(sections[i].chains.size(), expected[i].chains.size()) << heights[i];
            EXPECT_NEAR(sections[i].area, expected[i].area, 1e-9 * std::fabs(expected[i].area));
            EXPECT_NEAR(sections[i].length, expected[i].length, 1e-9 * expected[i].length);
        }
    }
}

TEST(MeshSections, LinesOfDefectivePartsHaveTheLengthOfTheirChords)
{
    int sections = 0;
    for (const char* name :
         {"7_8ths_cube.stl", "busted.STL", "conveyor_fill-holes-bad.stl",
          "conveyor_fill-holes-good.stl", "conveyor_nearby-bad.stl",
          "conveyor_remove-unconnected-bad.stl", "self_intersectA.stl", "soup.stl"}) {
        const auto file = Support::SharedData(std::string("meshes_defective/") + name);
        SORVANE_NEED_DATA(file);
        const IndexedMesh part = PartOf(file);
        const auto [low, high] = PlaneSlicer(part, kUp).HeightRange();
        for (int i = 0; i < 10; ++i) {
            const double height = low + (high - low) * (i + 0.4567) / 10;
            const MeshSection section = MeshSectionAt(part, kUp, height, {});
            const ChordSums sums = SumChords(part, height);
            EXPECT_NEAR(section.length + section.openLength, sums.length, 1e-9 * sums.length)
                << name << " " << height;
            EXPECT_GE(section.loops.size() + section.chains.size(),
                      static_cast<std::size_t>(sums.loops + sums.chains));
            ++sections;
        }
    }
    EXPECT_EQ(sections, 80);
}

// --- the volume, by both limits
// --------------------------------------------------------------------

/// Between neighboring heights of corners the area is a polynomial of degree two, of which
/// Simpson's rule gives the exact integral: with the limit from above at the lower end and the
/// limit from below at the upper one, since areas jump where faces are level.
double VolumeBySections(const IndexedMesh& mesh, const Vec3d& normal, double tolerance)
{
    const PlaneSlicer slicer(mesh, normal);
    const Vec3d unit = normal * (1 / std::sqrt(normal * normal));
    std::vector<double> corners;
    for (const Vec3d& p : mesh.points) {
        corners.push_back(unit * p);
    }
    std::sort(corners.begin(), corners.end());
    std::vector<double> heights; // of corners that are not one height within the tolerance
    for (const double h : corners) {
        if (heights.empty() || h - heights.back() > 4 * tolerance) {
            heights.push_back(h);
        }
    }
    std::vector<double> middles;
    for (std::size_t i = 1; i < heights.size(); ++i) {
        middles.push_back(heights[i - 1] + (heights[i] - heights[i - 1]) / 2);
    }
    const auto above = slicer.Sections(heights, {SectionSide::Above, tolerance});
    const auto below = slicer.Sections(heights, {SectionSide::Below, tolerance});
    const auto within = slicer.Sections(middles, {SectionSide::Above, tolerance});
    double volume = 0;
    for (std::size_t i = 0; i < middles.size(); ++i) {
        EXPECT_EQ(within[i].openLength, 0);
        volume += (heights[i + 1] - heights[i]) / 6 *
                  (above[i].area + 4 * within[i].area + below[i + 1].area);
    }
    return volume;
}

TEST(MeshSections, AreasAddUpToTheVolume)
{
    Random random(1);
    for (const IndexedMesh& body : {Support::Cube(), Support::Octahedron(), Support::Tetrahedron(),
                                    Support::Torus(24, 12), Support::Sphere(2)}) {
        for (int round = 0; round < Support::FullOr(12, 3); ++round) {
            const std::array<Vec3d, 3> frame = RandomFrame(random);
            const IndexedMesh turned = Turned(body, frame, random.Vector<3, double>(-3, 3));
            // Along a random axis, along one of the body's own, and with no turn at all.
            EXPECT_NEAR(VolumeBySections(turned, RandomFrame(random)[0], 1e-13),
                        Support::VolumeOf(body), 1e-10);
            EXPECT_NEAR(VolumeBySections(turned, frame[2], 1e-13), Support::VolumeOf(body), 1e-10);
        }
        for (const Vec3d& axis : {Vec3d(1, 0, 0), Vec3d(0, 1, 0), Vec3d(0, 0, 1), Vec3d(0, 0, -7),
                                  Vec3d(-1, 0, 0), Vec3d(0, -1, 0)}) {
            EXPECT_NEAR(VolumeBySections(body, axis, 0), Support::VolumeOf(body), 1e-12);
        }
    }
}

TEST(MeshSections, AreasOfAPartAddUpToItsVolume)
{
    for (const char* name :
         {"meshes_cad/plate_holes.STL", "meshes_nist/nist_ftc_11_asme1_rb.stl"}) {
        const auto file = Support::SharedData(name);
        SORVANE_NEED_DATA(file);
        const IndexedMesh part = PartOf(file);
        const double volume = Support::VolumeOf(part);
        EXPECT_NEAR(VolumeBySections(part, kUp, 0), volume, 1e-9 * volume) << name;
    }
}

// --- bodies of unit cubes
// --------------------------------------------------------------------------

/// Unit cubes on a grid of kSide cells a side.
class CubeBody {
public:
    static constexpr int kSide = 5;

    CubeBody(Random& random, int percent)
    {
        for (char& cell : cells_) {
            cell = random.Below(100) < percent ? 1 : 0;
        }
    }

    bool At(int x, int y, int z) const
    {
        return x >= 0 && y >= 0 && z >= 0 && x < kSide && y < kSide && z < kSide &&
               cells_[static_cast<std::size_t>((z * kSide + y) * kSide + x)] != 0;
    }

    /// The cells of a layer across an axis, in the plane of the two axes after it.
    bool InLayer(int axis, int layer, int u, int v) const
    {
        std::array<int, 3> cell{};
        cell[static_cast<std::size_t>(axis)] = layer;
        cell[static_cast<std::size_t>((axis + 1) % 3)] = u;
        cell[static_cast<std::size_t>((axis + 2) % 3)] = v;
        return At(cell[0], cell[1], cell[2]);
    }

    /// All faces of all cubes, or only those between inside and outside. Corners are shared.
    IndexedMesh Mesh(bool isEachClosed) const
    {
        IndexedMesh mesh;
        for (int z = 0; z <= kSide; ++z) {
            for (int y = 0; y <= kSide; ++y) {
                for (int x = 0; x <= kSide; ++x) {
                    mesh.points.push_back({x, y, z});
                }
            }
        }
        for (int z = 0; z < kSide; ++z) {
            for (int y = 0; y < kSide; ++y) {
                for (int x = 0; x < kSide; ++x) {
                    for (int axis = 0; axis < 3 && At(x, y, z); ++axis) {
                        for (const int side : {0, 1}) {
                            const int to = 2 * side - 1;
                            const bool isInner =
                                At(x + (axis == 0 ? to : 0), y + (axis == 1 ? to : 0),
                                   z + (axis == 2 ? to : 0));
                            if (isEachClosed || !isInner) {
                                AppendFace(mesh, {x, y, z}, axis, side);
                            }
                        }
                    }
                }
            }
        }
        return mesh;
    }

private:
    /// Cut from its first corner to the opposite one whichever way it faces, so that the faces of
    /// two cubes on each other have the same triangles.
    static void AppendFace(IndexedMesh& mesh, std::array<int, 3> low, int axis, int side)
    {
        const auto number = [&](int du, int dv) {
            std::array<int, 3> at = low;
            at[static_cast<std::size_t>(axis)] += side;
            at[static_cast<std::size_t>((axis + 1) % 3)] += du;
            at[static_cast<std::size_t>((axis + 2) % 3)] += dv;
            return (at[2] * (kSide + 1) + at[1]) * (kSide + 1) + at[0];
        };
        const int a = number(0, 0);
        const int b = number(1, 0);
        const int c = number(1, 1);
        const int d = number(0, 1);
        if (side == 1) {
            mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
        } else {
            mesh.indices.insert(mesh.indices.end(), {a, c, b, a, d, c});
        }
    }

    std::array<char, kSide * kSide * kSide> cells_{};
};

/// What can be counted of a layer of squares.
struct LayerCounts {
    int area = 0;
    int length = 0;
    int outer = 0; // bodies of squares that share edges
    int holes = 0; // gaps, where squares that share a corner are no way out
};

LayerCounts CountLayer(const CubeBody& body, int axis, int layer)
{
    constexpr int kSide = CubeBody::kSide;
    LayerCounts counts;
    const auto isIn = [&](int u, int v) { return body.InLayer(axis, layer, u, v); };
    std::set<std::pair<int, int>> seen;
    const auto flood = [&](int u, int v, bool inside) {
        std::vector<std::pair<int, int>> waiting{{u, v}};
        seen.insert({u, v});
        while (!waiting.empty()) {
            const auto [x, y] = waiting.back();
            waiting.pop_back();
            for (int dx = -1; dx <= 1; ++dx) {
                for (int dy = -1; dy <= 1; ++dy) {
                    const bool isWay = !inside || dx == 0 || dy == 0;
                    const std::pair<int, int> next{x + dx, y + dy};
                    if (isWay && std::min(next.first, next.second) >= -1 &&
                        std::max(next.first, next.second) <= kSide &&
                        isIn(next.first, next.second) == inside && seen.insert(next).second) {
                        waiting.push_back(next);
                    }
                }
            }
        }
    };
    flood(-1, -1, false);
    for (int u = 0; u < kSide; ++u) {
        for (int v = 0; v < kSide; ++v) {
            if (isIn(u, v)) {
                ++counts.area;
                counts.length +=
                    !isIn(u - 1, v) + !isIn(u + 1, v) + !isIn(u, v - 1) + !isIn(u, v + 1);
            }
            if (seen.count({u, v}) == 0) {
                ++(isIn(u, v) ? counts.outer : counts.holes);
                flood(u, v, isIn(u, v));
            }
        }
    }
    return counts;
}

void ExpectLayer(const MeshSection& section, const LayerCounts& counts)
{
    EXPECT_NEAR(section.area, counts.area, 1e-12);
    EXPECT_NEAR(section.length, counts.length, 1e-12);
    EXPECT_TRUE(section.chains.empty());
    int outer = 0;
    int holes = 0;
    for (const auto& loop : section.loops) {
        ++(Vector::SignedArea(loop) > 0 ? outer : holes);
    }
    EXPECT_EQ(outer, counts.outer);
    EXPECT_EQ(holes, counts.holes);
}

TEST(MeshSections, LayersOfCubesAreCounted)
{
    Random random(2);
    for (int round = 0; round < Support::FullOr(60, 8); ++round) {
        SCOPED_TRACE(round);
        const CubeBody body(random, 20 + round);
        for (const bool isEachClosed : {false, true}) {
            const IndexedMesh mesh = Support::Shuffled(body.Mesh(isEachClosed), random);
            for (int axis = 0; axis < 3; ++axis) {
                Vec3d normal;
                normal[axis] = 1;
                for (int layer = 0; layer <= CubeBody::kSide; ++layer) {
                    SCOPED_TRACE(testing::Message() << isEachClosed << axis << layer);
                    const LayerCounts up = CountLayer(body, axis, layer);
                    ExpectLayer(MeshSectionAt(mesh, normal, layer, {}), up);
                    ExpectLayer(MeshSectionAt(mesh, normal, layer + 0.375, {}), up);
                    ExpectLayer(MeshSectionAt(mesh, normal, layer, kBelow),
                                CountLayer(body, axis, layer - 1));
                    // The other way round: heights and sides change their signs.
                    ExpectLayer(MeshSectionAt(mesh, -normal, -layer, kBelow), up);
                }
            }
        }
    }
}

TEST(MeshSections, LayersOfObliqueCubesFarAwayAreCountedWithATolerance)
{
    Random random(3);
    for (int round = 0; round < Support::FullOr(20, 4); ++round) {
        SCOPED_TRACE(round);
        const CubeBody body(random, 55);
        const std::array<Vec3d, 3> frame = RandomFrame(random);
        const Vec3d shift(1e6, -2e6, 5e5);
        const IndexedMesh mesh = Turned(body.Mesh(true), frame, shift);
        const double base = frame[2] * shift;
        for (int layer = 0; layer <= CubeBody::kSide; ++layer) {
            for (const SectionSide side : {SectionSide::Above, SectionSide::Below}) {
                const MeshSection section =
                    MeshSectionAt(mesh, frame[2], base + layer, {side, 1e-7});
                const LayerCounts counts =
                    CountLayer(body, 2, side == SectionSide::Above ? layer : layer - 1);
                // Coordinates of 2e6 are known to 2e-10.
                EXPECT_NEAR(section.area, counts.area, 1e-7);
                EXPECT_NEAR(section.length, counts.length, 1e-7);
                EXPECT_TRUE(section.chains.empty());
            }
        }
    }
}

/// Ascending.
std::vector<double> AreasOfLoops(const MeshSection& section)
{
    std::vector<double> areas;
    for (const auto& loop : section.loops) {
        areas.push_back(Vector::SignedArea(loop));
    }
    std::sort(areas.begin(), areas.end());
    return areas;
}

TEST(MeshSections, CubesThatTouchInEdgesKeepTheirOwnLoopsInObliquePlanes)
{
    // Every second cube of a block: four triangles at each inner edge, which the planes meet
    // aslant.
    IndexedMesh apart;
    for (int z = 0; z < 3; ++z) {
        for (int y = 0; y < 3; ++y) {
            for (int x = (y + z) % 2; x < 3; x += 2) {
                AppendBox(apart, {x, y, z}, {x + 1, y + 1, z + 1});
            }
        }
    }
    IndexedMesh joined = apart;
    FilterForUniqueness(joined, 0.0);
    ASSERT_LT(joined.points.size(), apart.points.size());
    Random random(6);
    for (int round = 0; round < Support::Rounds(200, 30); ++round) {
        const Vec3d normal = RandomFrame(random)[0];
        const double height = normal * random.Vector<3, double>(0.5, 2.5);
        const std::vector<double> expected = AreasOfLoops(MeshSectionAt(apart, normal, height, {}));
        const std::vector<double> found = AreasOfLoops(MeshSectionAt(joined, normal, height, {}));
        ASSERT_EQ(found.size(), expected.size()) << round;
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_NEAR(found[i], expected[i], 1e-12) << round;
        }
    }
}

/// Each wall is cut from its corner of the least coordinates, or across that, whichever its number
/// of 0 to 5 has as bit: two for each axis, the lower one first.
void AppendBoxCut(IndexedMesh& mesh, const Vec3d& low, const Vec3d& high, int cuts)
{
    const int base = static_cast<int>(mesh.points.size());
    for (int i = 0; i < 8; ++i) {
        mesh.points.push_back({(i & 1) != 0 ? high.x() : low.x(), (i & 2) != 0 ? high.y() : low.y(),
                               (i & 4) != 0 ? high.z() : low.z()});
    }
    for (int wall = 0; wall < 6; ++wall) {
        const int axis = wall / 2;
        const int u = 1 << (axis + 1) % 3;
        const int v = 1 << (axis + 2) % 3;
        const int corner = base + (wall % 2 != 0 ? 1 << axis : 0);
        std::array<int, 4> ring{corner, corner + u, corner + u + v, corner + v};
        if (wall % 2 == 0) {
            std::swap(ring[1], ring[3]);
        }
        if ((cuts >> wall & 1) != 0) {
            std::rotate(ring.begin(), ring.begin() + 1, ring.end());
        }
        mesh.indices.insert(mesh.indices.end(),
                            {ring[0], ring[1], ring[2], ring[0], ring[2], ring[3]});
    }
}

TEST(MeshSections, BodiesWithWallsInCommonKeepTheirOwnLoopsInObliquePlanes)
{
    // Walls that meet are cut by different diagonals, so that no triangle has its mirror image and
    // each body keeps its outline. Rounding of the corners tilts the triangles of one wall against
    // those of the other by a hair, this way or that.
    Random random(7);
    for (const double shift : {0.0, 1e6}) {
        for (const bool isRounded : {false, true}) {
            for (int round = 0; round < Support::Rounds(60, 8); ++round) {
                SCOPED_TRACE(testing::Message() << shift << ' ' << isRounded << ' ' << round);
                std::array<std::array<double, 4>, 3> at{};
                for (auto& along : at) {
                    along = {0, random.Between(0.7, 1.3), random.Between(1.7, 2.3), 3};
                }
                IndexedMesh apart;
                for (std::size_t z = 0; z < 3; ++z) {
                    for (std::size_t y = 0; y < 3; ++y) {
                        for (std::size_t x = 0; x < 3; ++x) {
                            AppendBoxCut(apart, {at[0][x], at[1][y], at[2][z]},
                                         {at[0][x + 1], at[1][y + 1], at[2][z + 1]}, 0b010101);
                        }
                    }
                }
                apart = Turned(apart, RandomFrame(random), {shift, -shift, shift});
                if (isRounded) { // a float keeps 1e-7 of a coordinate near the origin
                    for (Vec3d& p : apart.points) {
                        p = p - Vec3d(shift, -shift, shift);
                        p = Vec3d(Vec3f(p)) + Vec3d(shift, -shift, shift);
                    }
                }
                IndexedMesh joined = apart;
                FilterForUniqueness(joined, 0.0);
                ASSERT_EQ(joined.points.size(), 64U);
                const Vec3d normal = RandomFrame(random)[0];
                const Vec3d middle =
                    std::accumulate(apart.points.begin(), apart.points.end(), Vec3d(0, 0, 0)) *
                    (1.0 / static_cast<double>(apart.points.size()));
                const double height = normal * middle + random.Between(-0.5, 0.5);
                const auto expected = AreasOfLoops(MeshSectionAt(apart, normal, height, {}));
                const auto found = AreasOfLoops(MeshSectionAt(joined, normal, height, {}));
                ASSERT_EQ(found.size(), expected.size());
                ASSERT_GT(found.size(), 5U);
                for (std::size_t i = 0; i < found.size(); ++i) {
                    EXPECT_NEAR(found[i], expected[i], 1e-12);
                }
            }
        }
    }
}

TEST(MeshSections, AWallInCommonAlongTheEndOfTheCircleOfDirections)
{
    // Two boxes whose common wall lies, seen from one of its upright edges, in the direction of -x,
    // where an angle is pi or, by a zero with a sign, -pi.
    IndexedMesh boxes;
    AppendBoxCut(boxes, {-2, -1, 0}, {0, 0, 1}, 0b010101);
    AppendBoxCut(boxes, {-2, 0, 0}, {0, 1, 1}, 0b010101);
    FilterForUniqueness(boxes, 0.0);
    ASSERT_EQ(boxes.points.size(), 12U);
    for (unsigned signs = 0; signs < 16; ++signs) {
        unsigned bit = 1;
        for (Vec3d& p : boxes.points) {
            if (p.y() == 0) {
                p.y() = (signs & bit) != 0 ? -0.0 : 0.0;
                bit *= 2;
            }
        }
        const std::vector<double> areas = AreasOfLoops(MeshSectionAt(boxes, kUp, 0.5, {}));
        EXPECT_EQ(areas, (std::vector<double>{2, 2})) << signs;
    }
}

// --- planes through faces, edges and corners, by hand
// ------------------------------------------------

TEST(MeshSections, ABoxBelongsToHeightsFromItsBottomToBelowItsTop)
{
    const IndexedMesh box = Box({1, 2, 3}, {4, 7, 5});
    for (const auto& [height, above, below] : std::initializer_list<std::array<double, 3>>{
             {2.9, 0, 0}, {3, 15, 0}, {4, 15, 15}, {5, 0, 15}, {5.1, 0, 0}}) {
        const MeshSection up = MeshSectionAt(box, kUp, height, {});
        const MeshSection down = MeshSectionAt(box, kUp, height, kBelow);
        EXPECT_EQ(up.area, above) << height;
        EXPECT_EQ(up.length, above > 0 ? 16 : 0) << height;
        EXPECT_EQ(up.loops.size(), above > 0 ? 1U : 0U) << height;
        EXPECT_EQ(down.area, below) << height;
        EXPECT_EQ(down.loops.size(), below > 0 ? 1U : 0U) << height;
    }
    // The walls' diagonals end in corners: four points and no fifth.
    EXPECT_EQ(PointCount(MeshSectionAt(box, kUp, 3, {})), 4U);
    EXPECT_EQ(PointCount(MeshSectionAt(box, kUp, 5, kBelow)), 4U);
    EXPECT_EQ(PointCount(MeshSectionAt(box, kUp, 4, {})), 8U);
}

TEST(MeshSections, TheEquatorOfAnOctahedronIsOneLoopFromBothSides)
{
    for (const SectionOptions& options : {SectionOptions{}, kBelow}) {
        const MeshSection equator = MeshSectionAt(Support::Octahedron(), kUp, 0, options);
        ASSERT_EQ(equator.loops.size(), 1U);
        EXPECT_EQ(equator.loops[0].size(), 4U);
        EXPECT_EQ(equator.area, 2);
        EXPECT_DOUBLE_EQ(equator.length, 4 * std::sqrt(2.0));
        for (const double tip : {-1.0, 1.0}) {
            const MeshSection point = MeshSectionAt(Support::Octahedron(), kUp, tip, options);
            EXPECT_TRUE(point.loops.empty() && point.chains.empty()) << "a point is no line";
        }
    }
}

/// Along y, of the section (x, z) that is given clockwise seen along y; closed by two fans.
IndexedMesh Prism(const std::vector<Vec2d>& section, const std::vector<int>& cap)
{
    IndexedMesh mesh;
    const int n = static_cast<int>(section.size());
    for (const double y : {0.0, 3.0}) {
        for (const Vec2d& p : section) {
            mesh.points.push_back({p.x(), y, p.y()});
        }
    }
    for (int i = 0; i < n; ++i) {
        const int j = (i + 1) % n;
        mesh.indices.insert(mesh.indices.end(), {i, j, n + j, i, n + j, n + i});
    }
    for (std::size_t t = 0; t < cap.size(); t += 3) {
        mesh.indices.insert(mesh.indices.end(), {cap[t], cap[t + 2], cap[t + 1], n + cap[t],
                                                 n + cap[t + 1], n + cap[t + 2]});
    }
    return mesh;
}

TEST(MeshSections, AGrooveHasNoWidthAtItsBottom)
{
    // A block of 4 x 3 with a groove across it that is as deep as height 1. Counter-clockwise in
    // (x, z), which runs its walls inward: turned below.
    IndexedMesh block = Prism({{0, 0}, {4, 0}, {4, 2}, {3, 2}, {2, 1}, {1, 2}, {0, 2}},
                              {0, 1, 4, 1, 2, 3, 1, 3, 4, 0, 4, 5, 0, 5, 6});
    if (Support::VolumeOf(block) < 0) {
        for (std::size_t i = 0; i < block.indices.size(); i += 3) {
            std::swap(block.indices[i], block.indices[i + 1]);
        }
    }
    ASSERT_NEAR(Support::VolumeOf(block), 21, 1e-12);
    ASSERT_EQ(Support::FaultsOf(block), Support::EdgeFaults{});
    // Just above the bottom of the groove there are two rectangles with a common side: the side is
    // run up by one and down by the other, and is no outline.
    const MeshSection above = MeshSectionAt(block, kUp, 1, {});
    ASSERT_EQ(above.loops.size(), 1U);
    EXPECT_NEAR(above.area, 12, 1e-12);
    EXPECT_NEAR(above.length, 14, 1e-12);
    EXPECT_NEAR(MeshSectionAt(block, kUp, 1, kBelow).area, 12, 1e-12);
    const MeshSection higher = MeshSectionAt(block, kUp, 1.5, {});
    EXPECT_EQ(higher.loops.size(), 2U);
    EXPECT_NEAR(higher.area, 9, 1e-12);
    // Upside down the groove is a gap between two feet, from below.
    const MeshSection flipped = MeshSectionAt(block, {0, 0, -1}, -1, kBelow);
    EXPECT_EQ(flipped.loops.size(), 1U);
    EXPECT_NEAR(flipped.length, 14, 1e-12);
}

TEST(MeshSections, ABodyThatStandsOnAnEdgeHasNoSectionThere)
{
    IndexedMesh wedge = Prism({{0, 1}, {1, 0}, {2, 1}}, {0, 1, 2});
    if (Support::VolumeOf(wedge) < 0) {
        for (std::size_t i = 0; i < wedge.indices.size(); i += 3) {
            std::swap(wedge.indices[i], wedge.indices[i + 1]);
        }
    }
    ASSERT_NEAR(Support::VolumeOf(wedge), 3, 1e-12);
    const MeshSection edge = MeshSectionAt(wedge, kUp, 0, {});
    EXPECT_TRUE(edge.loops.empty() && edge.chains.empty());
    EXPECT_EQ(edge.length, 0);
    EXPECT_NEAR(MeshSectionAt(wedge, kUp, 1, kBelow).area, 6, 1e-12);
}

TEST(MeshSections, ACornerAtAPlaneStaysWhereItIsWithinTheTolerance)
{
    IndexedMesh box = Box({0, 0, 0}, {2, 2, 1});
    box.points[0].z() = 3e-7; // one corner of the bottom is a little high
    EXPECT_EQ(MeshSectionAt(box, kUp, 0, {SectionSide::Above, 1e-6}).area, 4);
    EXPECT_EQ(MeshSectionAt(box, kUp, 2e-7, {SectionSide::Above, 1e-6}).area, 4);
    EXPECT_EQ(PointCount(MeshSectionAt(box, kUp, 0, {SectionSide::Above, 1e-6})), 4U);
    EXPECT_EQ(MeshSectionAt(box, kUp, 1, {SectionSide::Above, 1e-6}).loops.size(), 0U);
    // The tolerance is inclusive; a corner just beyond it is cut off.
    EXPECT_EQ(MeshSectionAt(box, kUp, 0, {SectionSide::Above, 3e-7}).area, 4);
    EXPECT_LT(MeshSectionAt(box, kUp, 0, {SectionSide::Above, 2.9e-7}).area, 4);
}

// --- defects
// -----------------------------------------------------------------------------------------

TEST(MeshSections, ATurnedTriangleDoesNotSpoilTheSection)
{
    const IndexedMesh torus = Support::Torus(12, 8);
    const double height = 0.3;
    const MeshSection sound = MeshSectionAt(torus, kUp, height, {});
    ASSERT_EQ(sound.loops.size(), 2U);
    for (std::size_t t = 0; t < torus.indices.size(); t += 3) {
        IndexedMesh turned = torus;
        std::swap(turned.indices[t], turned.indices[t + 1]);
        const MeshSection section = MeshSectionAt(turned, kUp, height, {});
        EXPECT_EQ(section.loops.size(), 2U) << t;
        EXPECT_TRUE(section.chains.empty()) << t;
        EXPECT_NEAR(section.area, sound.area, 1e-12) << t;
        EXPECT_NEAR(section.length, sound.length, 1e-12) << t;
    }
    IndexedMesh inverted = torus;
    for (std::size_t t = 0; t < torus.indices.size(); t += 3) {
        std::swap(inverted.indices[t], inverted.indices[t + 1]);
    }
    EXPECT_NEAR(MeshSectionAt(inverted, kUp, height, {}).area, -sound.area, 1e-12);
}

TEST(MeshSections, LoopsBeginAtTheirLowestTriangleAndComeInThatOrder)
{
    Random random(8);
    const IndexedMesh torus = Support::Torus(12, 8);
    const double height = 0.3;
    for (int round = 0; round < 20; ++round) {
        IndexedMesh mesh = Support::Shuffled(torus, random);
        // Where each triangle is cut, between corners on different sides.
        const auto cutsOf = [&](std::size_t t) {
            std::vector<Vec2d> cuts;
            for (std::size_t k = 0; k < 3; ++k) {
                const Vec3d& p = mesh.points[static_cast<std::size_t>(mesh.indices[t + k])];
                const Vec3d& q =
                    mesh.points[static_cast<std::size_t>(mesh.indices[t + (k + 1) % 3])];
                if ((p.z() > height) != (q.z() > height)) {
                    const double s = (height - p.z()) / (q.z() - p.z());
                    cuts.push_back({p.x() + s * (q.x() - p.x()), p.y() + s * (q.y() - p.y())});
                }
            }
            return cuts;
        };
        const auto isNear = [](const Vec2d& a, const Vec2d& b) {
            return Vector::Length(a - b) < 1e-9;
        };
        for (const bool isFirstTurned : {false, true}) {
            if (isFirstTurned) { // the loop runs against its first triangle
                std::size_t t = 0;
                while (cutsOf(t).empty()) {
                    t += 3;
                }
                std::swap(mesh.indices[t], mesh.indices[t + 1]);
            }
            const MeshSection section = MeshSectionAt(mesh, kUp, height, {});
            ASSERT_EQ(section.loops.size(), 2U);
            std::vector<std::size_t> order;
            for (std::size_t t = 0; t < mesh.indices.size() && order.size() < 2; t += 3) {
                const std::vector<Vec2d> cuts = cutsOf(t);
                for (std::size_t i = 0; i < 2 && !cuts.empty(); ++i) {
                    const auto& loop = section.loops[i];
                    const bool isOfLoop = std::any_of(loop.begin(), loop.end(), [&](const auto& p) {
                        return isNear(p, cuts[0]);
                    });
                    if (isOfLoop && std::find(order.begin(), order.end(), i) == order.end()) {
                        order.push_back(i);
                        EXPECT_TRUE(isNear(loop.front(), cuts[0]) || isNear(loop.front(), cuts[1]));
                    }
                }
            }
            EXPECT_EQ(order, (std::vector<std::size_t>{0, 1}));
        }
    }
}

TEST(MeshSections, ChainsComeInTheOrderOfTheirLowerEnds)
{
    // Three upright strips of three triangles each, beside each other along y. Numbers of the
    // triangles along each strip: the lowest of all is in the middle of its strip.
    const std::array<std::array<int, 3>, 3> numbers{{{8, 0, 5}, {3, 1, 7}, {6, 2, 4}}};
    IndexedMesh mesh;
    mesh.indices.resize(27);
    for (int strip = 0; strip < 3; ++strip) {
        const int base = static_cast<int>(mesh.points.size());
        for (int i = 0; i < 5; ++i) {
            mesh.points.push_back({0.5 * i, static_cast<double>(strip), i % 2 == 0 ? 0.0 : 1.0});
        }
        for (int i = 0; i < 3; ++i) {
            const int number =
                numbers[static_cast<std::size_t>(strip)][static_cast<std::size_t>(i)];
            for (int k = 0; k < 3; ++k) {
                // All of one sense.
                const int corner = base + i + (i % 2 == 0 ? k : 2 - k);
                mesh.indices[static_cast<std::size_t>(3 * number + k)] = corner;
            }
        }
    }
    const MeshSection section = MeshSectionAt(mesh, kUp, 0.5, {});
    ASSERT_EQ(section.chains.size(), 3U);
    EXPECT_EQ(section.chains[0][0].y(), 1); // lower end 3
    EXPECT_EQ(section.chains[1][0].y(), 2); // 4
    EXPECT_EQ(section.chains[2][0].y(), 0); // 5
}

TEST(MeshSections, AnOpenMeshGivesChainsFromRimToRim)
{
    // A box without its wall at x = 4 and without its lid.
    const IndexedMesh box = Box({0, 0, 0}, {4, 3, 2});
    const IndexedMesh open = Support::Without(box, {2, 3, 10, 11});
    const MeshSection section = MeshSectionAt(open, kUp, 1, {});
    EXPECT_TRUE(section.loops.empty());
    ASSERT_EQ(section.chains.size(), 1U);
    EXPECT_EQ(section.area, 0);
    EXPECT_EQ(section.length, 0);
    EXPECT_NEAR(section.openLength, 11, 1e-12);
    // The material is on the left: from the upper end of the missing wall, back along y = 3.
    EXPECT_EQ(section.chains[0].front(), Vec2d(4, 3));
    EXPECT_EQ(section.chains[0].back(), Vec2d(4, 0));
    // One turned triangle changes nothing.
    IndexedMesh turned = open;
    std::swap(turned.indices[6], turned.indices[7]);
    EXPECT_EQ(MeshSectionAt(turned, kUp, 1, {}).chains, section.chains);
    // A plane of the rim itself.
    EXPECT_NEAR(MeshSectionAt(open, kUp, 2, kBelow).openLength, 11, 1e-12);
    EXPECT_EQ(MeshSectionAt(open, kUp, 2, {}).chains.size(), 0U);
}

TEST(MeshSections, ATriangleGivenTwiceLeavesTheLoopAsItIs)
{
    const IndexedMesh torus = Support::Torus(9, 7);
    for (const double height : {-0.41, 0.0, 0.3}) {
        const MeshSection sound = MeshSectionAt(torus, kUp, height, {});
        for (std::size_t t = 0; t < torus.indices.size(); t += 3) {
            IndexedMesh doubled = torus;
            for (std::size_t k = 0; k < 3; ++k) {
                doubled.indices.push_back(torus.indices[t + k]);
            }
            const MeshSection section = MeshSectionAt(doubled, kUp, height, {});
            EXPECT_EQ(section.loops, sound.loops) << t;
            EXPECT_LE(section.chains.size(), 1U) << t;
            // With its mirror image beside it, it is not there and the loop opens, unless it stood
            // on the plane with a corner.
            IndexedMesh mirrored = torus;
            for (const std::size_t k : {1U, 0U, 2U}) {
                mirrored.indices.push_back(torus.indices[t + k]);
            }
            int atPlane = 0;
            int above = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                const double z = torus.points[static_cast<std::size_t>(torus.indices[t + k])].z();
                atPlane += z == height ? 1 : 0;
                above += z > height ? 1 : 0;
            }
            const MeshSection without =
                atPlane == 1 && above == 2
                    ? sound
                    : MeshSectionAt(Support::Without(torus, {static_cast<int>(t / 3)}), kUp, height,
                                    {});
            const MeshSection canceled = MeshSectionAt(mirrored, kUp, height, {});
            EXPECT_NEAR(canceled.area, without.area, 1e-12) << height << " " << t / 3;
            EXPECT_NEAR(canceled.length, without.length, 1e-12);
            EXPECT_NEAR(canceled.openLength, without.openLength, 1e-12);
        }
    }
}

TEST(MeshSections, ASheetOfBothFacesHasNoSection)
{
    const IndexedMesh leaf{{{0, 0, 0}, {2, 1, 0}, {1, 3, 4}}, {0, 1, 2, 1, 0, 2}};
    EXPECT_TRUE(MeshSectionAt(leaf, kUp, 1, {}).loops.empty());
    EXPECT_EQ(MeshSectionAt(leaf, kUp, 1, {}).length, 0);
    EXPECT_TRUE(MeshSectionAt(leaf, kUp, 1, {}).chains.empty());
    IndexedMesh sheet = Support::Grid(4, 4);
    for (Vec3d& p : sheet.points) {
        p = {p.x(), 0, p.y()};
    }
    const std::size_t count = sheet.indices.size();
    for (std::size_t t = 0; t < count; t += 3) {
        sheet.indices.insert(sheet.indices.end(),
                             {sheet.indices[t + 1], sheet.indices[t], sheet.indices[t + 2]});
    }
    IndexedMesh thrice = sheet;
    for (int i = 0; i < 2; ++i) {
        thrice.indices.insert(thrice.indices.end(), sheet.indices.begin(), sheet.indices.end());
    }
    for (const double height : {0.0, 0.5, 1.0, 2.25, 4.0}) {
        for (const SectionOptions& options : {SectionOptions{}, kBelow}) {
            for (const IndexedMesh& leaves : {sheet, thrice}) {
                const MeshSection section = MeshSectionAt(leaves, kUp, height, options);
                EXPECT_TRUE(section.loops.empty() && section.chains.empty()) << height;
            }
        }
    }
    // With one face once more than the other the rest is a line of single triangles.
    thrice.indices.insert(thrice.indices.end(), sheet.indices.begin(),
                          sheet.indices.begin() + static_cast<std::ptrdiff_t>(count));
    const MeshSection rest = MeshSectionAt(thrice, kUp, 0.5, {});
    EXPECT_TRUE(rest.loops.empty());
    EXPECT_NEAR(rest.openLength, 4, 1e-12);
}

TEST(MeshSections, TetrahedraThatShareCornersHaveClosedSections)
{
    // On the points of a small grid: they overlap, share edges, faces and single corners, and each
    // plane through grid points meets some of their corners. Their surfaces balance at every edge.
    Random random(9);
    int loops = 0;
    for (int round = 0; round < Support::Rounds(2000, 200); ++round) {
        IndexedMesh mesh;
        for (int i = 0; i < 27; ++i) {
            mesh.points.push_back(Vec3d(i % 3, i / 3 % 3, i / 9));
        }
        for (int k = random.Below(10); k >= 0; --k) {
            std::array<int, 4> c{};
            for (int& corner : c) {
                corner = random.Below(27);
            }
            const auto at = [&](std::size_t i) -> const Vec3d& {
                return mesh.points[static_cast<std::size_t>(c[i])];
            };
            const double volume = ((at(1) - at(0)) ^ (at(2) - at(0))) * (at(3) - at(0));
            if (volume < 0) {
                std::swap(c[0], c[1]);
            }
            if (volume != 0) {
                mesh.indices.insert(mesh.indices.end(), {c[0], c[2], c[1], c[0], c[1], c[3], c[1],
                                                         c[2], c[3], c[2], c[0], c[3]});
            }
        }
        for (const double height : {0.0, 0.5, 1.0, 1.75, 2.0}) {
            for (const SectionOptions& options : {SectionOptions{}, kBelow}) {
                // A plane by a hair beside that meets no corner.
                const double hair = options.side == SectionSide::Above ? 1e-9 : -1e-9;
                const MeshSection section = MeshSectionAt(mesh, kUp, height, options);
                EXPECT_TRUE(section.chains.empty()) << round << ' ' << height;
                EXPECT_NEAR(section.area, SumChords(mesh, height + hair).area, 1e-7)
                    << round << ' ' << height;
                loops += static_cast<int>(section.loops.size());
            }
        }
    }
    EXPECT_GT(loops, 1000);
}

TEST(MeshSections, BlocksThatShareAnEdgeTouchThereAndDoNotCross)
{
    for (const bool isSwapped : {false, true}) {
        IndexedMesh blocks = Box({0, 0, 0}, {1, 1, 1});
        AppendBox(blocks, {1, 1, 0}, {3, 3, 1});
        if (isSwapped) { // the other pair of corners
            for (Vec3d& p : blocks.points) {
                p = {-p.y(), p.x(), p.z()};
            }
        }
        FilterForUniqueness(blocks, 0.0);
        for (const double height : {0.0, 0.5}) {
            const MeshSection section = MeshSectionAt(blocks, kUp, height, {});
            ASSERT_EQ(section.loops.size(), 2U);
            std::array<double, 2> areas{Vector::SignedArea(section.loops[0]),
                                        Vector::SignedArea(section.loops[1])};
            std::sort(areas.begin(), areas.end());
            EXPECT_EQ(areas[0], 1);
            EXPECT_EQ(areas[1], 4);
        }
    }
}

TEST(MeshSections, TriplesThatAreNoTrianglesAreLeftOut)
{
    IndexedMesh mesh = Support::Torus(12, 8);
    const double height = 0.3;
    const MeshSection sound = MeshSectionAt(mesh, kUp, height, {});
    const int n = static_cast<int>(mesh.points.size());
    mesh.points.push_back({kNan, 0, 0});
    mesh.points.push_back({0, 0, kInfinity});
    mesh.points.push_back({0, 1e200, 1});
    const IndexedMesh torus = mesh;
    for (const auto& bad :
         std::initializer_list<std::array<int, 3>>{{0, 2, 2},
                                                   {2, 0, 2},
                                                   {2, 2, 0},
                                                   {0, 2, n},
                                                   {n + 1, 0, 2},
                                                   {0, n + 2, 2},
                                                   {0, 2, n + 3},
                                                   {-1, 0, 2},
                                                   {0, std::numeric_limits<int>::max(), 2}}) {
        mesh.indices.insert(mesh.indices.begin(), bad.begin(), bad.end());
    }
    EXPECT_EQ(MeshSectionAt(mesh, kUp, height, {}), sound);
    EXPECT_EQ(PlaneSlicer(mesh, kUp).Section(height, {}), sound);
    mesh.indices.push_back(0);
    EXPECT_TRUE(MeshSectionAt(mesh, kUp, height, {}).loops.empty()) << "indices not in threes";
    EXPECT_TRUE(PlaneSlicer(mesh, kUp).Section(height, {}).loops.empty());
    // A point that is not a number takes its triangles with it, and opens the lines.
    IndexedMesh hurt = torus;
    hurt.points[8].x() = kNan;
    const MeshSection open = MeshSectionAt(hurt, kUp, height, {});
    EXPECT_TRUE(std::isfinite(open.area) && std::isfinite(open.openLength));
    EXPECT_GT(open.chains.size(), 0U);
    // Corners in one line are triangles like others.
    IndexedMesh flat = Box({0, 0, 0}, {4, 3, 2});
    flat.points.push_back({2, 0, 2}); // on an edge of the lid, which the lid does not know
    const int middle = static_cast<int>(flat.points.size()) - 1;
    std::vector<int> indices;
    for (std::size_t t = 0; t < flat.indices.size(); t += 3) {
        const std::array<int, 3> c{flat.indices[t], flat.indices[t + 1], flat.indices[t + 2]};
        if (c == std::array<int, 3>{0, 5, 4}) {
            indices.insert(indices.end(), {0, 5, middle, 0, middle, 4, 4, middle, 5});
        } else {
            indices.insert(indices.end(), c.begin(), c.end());
        }
    }
    ASSERT_NE(indices.size(), flat.indices.size());
    flat.indices = indices;
    for (const Vec3d& normal : {Vec3d(0, 0, 1), Vec3d(1, 0, 0), Vec3d(1, 0, 0.25)}) {
        const MeshSection section = MeshSectionAt(flat, normal, 1.5, {});
        EXPECT_EQ(section.loops.size(), 1U);
        EXPECT_TRUE(section.chains.empty());
        EXPECT_NEAR(section.area, MeshSectionAt(Box({0, 0, 0}, {4, 3, 2}), normal, 1.5, {}).area,
                    1e-12);
    }
}

TEST(MeshSections, CrowdedEdgesEndNoLineThatBalances)
{
    // Fins that all run one way: pairs of them become lines, an odd one is left over.
    for (const int count : {1, 2, 3, 4, 7, 20'001}) {
        const MeshSection fins = MeshSectionAt(Support::Fins(count), kUp, 0.25, {});
        EXPECT_TRUE(fins.loops.empty());
        EXPECT_EQ(static_cast<int>(fins.chains.size()), (count + 1) / 2);
        // At a quarter of the height a chord is half of a fin's width.
        EXPECT_NEAR(fins.openLength, 0.5 * count, 1e-9 * count);
    }
    const MeshSection strip = MeshSectionAt(Support::MoebiusStrip(9), {1, 0, 0}, 0.3, {});
    EXPECT_EQ(strip.chains.size(), 2U);
    // Through the middles of two of six triangles that have a corner in common: a line in each,
    // which end there.
    const MeshSection bundle = MeshSectionAt(Support::TrianglesAtOnePoint(6),
                                             {-std::sin(0.05), std::cos(0.05), 0}, 0.0, {});
    EXPECT_TRUE(bundle.loops.empty());
    EXPECT_EQ(bundle.chains.size(), 2U);
    EXPECT_NEAR(bundle.openLength, 2 * std::cos(0.05), 1e-12);
}

// --- arguments
// ---------------------------------------------------------------------------------------

TEST(MeshSections, WhatIsNoPlaneGivesNothing)
{
    const IndexedMesh cube = Support::Cube();
    const std::vector<double> heights{0.5, kNan, kInfinity, -kInfinity, 0.5, 1e308, -1e308};
    const std::vector<MeshSection> sections = MeshSections(cube, kUp, heights, {});
    ASSERT_EQ(sections.size(), heights.size());
    for (std::size_t i = 0; i < heights.size(); ++i) {
        EXPECT_EQ(sections[i].loops.size(), heights[i] == 0.5 ? 1U : 0U);
        EXPECT_TRUE(sections[i].height == heights[i] || std::isnan(heights[i]));
        EXPECT_EQ(PlaneSlicer(cube, kUp).Section(heights[i], {}).loops, sections[i].loops);
        // Without a plane there is no frame of it.
        EXPECT_EQ(sections[i].toSpace == TransformBase<3>(), !std::isfinite(heights[i]));
        EXPECT_EQ(PlaneSlicer(cube, kUp).Section(heights[i], {}).toSpace, sections[i].toSpace);
    }
    for (const Vec3d& normal : {Vec3d(0, 0, 0), Vec3d(kNan, 0, 1), Vec3d(0, kInfinity, 0)}) {
        EXPECT_TRUE(MeshSectionAt(cube, normal, 0.5, {}).loops.empty());
        EXPECT_EQ(MeshSectionAt(cube, normal, 0.5, {}).toSpace, TransformBase<3>());
        EXPECT_TRUE(PlaneSlicer(cube, normal).Section(0.5, {}).loops.empty());
        EXPECT_GT(PlaneSlicer(cube, normal).HeightRange()[0],
                  PlaneSlicer(cube, normal).HeightRange()[1]);
    }
    EXPECT_TRUE(MeshSections(cube, kUp, {}, {}).empty());
    EXPECT_TRUE(PlaneSlicer(cube, kUp).Sections({}, {}).empty());
    EXPECT_TRUE(MeshSectionAt(IndexedMesh(), kUp, 0, {}).loops.empty());
    EXPECT_TRUE(PlaneSlicer(IndexedMesh(), kUp).Section(0, {}).loops.empty());
    // No tolerance, and one that takes everything into the plane.
    for (const double tolerance : {-1.0, kNan, -kInfinity}) {
        EXPECT_EQ(MeshSectionAt(cube, kUp, 0, {SectionSide::Above, tolerance}).area, 1);
        EXPECT_EQ(MeshSectionAt(cube, kUp, 1, {SectionSide::Above, tolerance}).area, 0);
    }
    for (const double tolerance : {1.0, kInfinity}) {
        for (const SectionSide side : {SectionSide::Above, SectionSide::Below}) {
            EXPECT_EQ(MeshSectionAt(cube, kUp, 0.5, {side, tolerance}).area, 0);
        }
    }
}

TEST(MeshSections, TheLengthOfTheNormalDoesNotMatter)
{
    const IndexedMesh torus = Support::Torus(12, 8);
    const Vec3d unit = Vector::Normalized(Vec3d(1, 2, 3), 0.0);
    for (const double length : {1e-200, 1e-3, 7.0, 1e200}) {
        const MeshSection section = MeshSectionAt(torus, unit * length, 0.25, {});
        EXPECT_NEAR(section.area, MeshSectionAt(torus, unit, 0.25, {}).area, 1e-9) << length;
        for (const auto& loop : SectionInSpace(section, section.loops)) {
            for (const Vec3d& p : loop) {
                EXPECT_NEAR(unit * p, 0.25, 1e-12);
                EXPECT_LT(Support::DistanceToMesh(p, torus), 1e-12);
            }
        }
    }
}

TEST(MeshSections, PlaneCoordinatesAreThoseOfSpaceAlongAxes)
{
    const IndexedMesh box = Box({0.1, 0.2, 0.3}, {1.7, 2.9, 3.1});
    const MeshSection section = MeshSectionAt(box, {0, 0, 2}, 1.3, {});
    for (const Vec2d& p : section.loops.at(0)) {
        EXPECT_TRUE(p.x() == 0.1 || p.x() == 1.7 || p.y() == 0.2 || p.y() == 2.9);
    }
    // To the sign of a zero, for both ways of asking.
    const IndexedMesh atZero = Box({-0.0, -0.0, 0}, {2, 3, 1});
    for (const MeshSection& bottom :
         {MeshSectionAt(atZero, kUp, 0, {}), PlaneSlicer(atZero, kUp).Section(0, {})}) {
        ASSERT_EQ(PointCount(bottom), 4U);
        for (const Vec2d& p : bottom.loops[0]) {
            EXPECT_EQ(std::signbit(p.x()), p.x() == 0);
            EXPECT_EQ(std::signbit(p.y()), p.y() == 0);
        }
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (const double sign : {-1.0, 1.0}) {
            Vec3d normal;
            normal[axis] = sign;
            const MeshSection cut = MeshSectionAt(box, normal, sign * 1.3, {});
            EXPECT_GT(cut.area, 0);
            const auto loops = SectionInSpace(cut, cut.loops);
            ASSERT_EQ(loops.size(), 1U);
            for (const Vec3d& p : loops[0]) {
                EXPECT_EQ(p[axis], 1.3);
                const Vec3d low(0.1, 0.2, 0.3);
                const Vec3d high(1.7, 2.9, 3.1);
                const int a = (axis + 1) % 3;
                const int b = (axis + 2) % 3;
                EXPECT_TRUE(p[a] == low[a] || p[a] == high[a] || p[b] == low[b] || p[b] == high[b]);
            }
        }
    }
}

TEST(MeshSections, AFloatMeshIsCutInDouble)
{
    const IndexedMesh torus = Support::Torus(30, 20);
    IndexedPointsBase<3, float> coarse;
    IndexedMesh widened;
    coarse.indices = widened.indices = torus.indices;
    for (const Vec3d& p : torus.points) {
        coarse.points.push_back(Vec3f(p));
        widened.points.push_back(Vec3d(coarse.points.back()));
    }
    const std::vector<double> heights{-0.5, 0.0, 0.123};
    for (const Vec3d& normal : {kUp, Vec3d(1, 1, 0)}) {
        const auto expected = MeshSections(widened, normal, heights, {});
        EXPECT_EQ(MeshSections(coarse, normal, heights, {}), expected);
        EXPECT_EQ(MeshSectionAt(coarse, normal, 0.123, {}), expected[2]);
        EXPECT_EQ(PlaneSlicer(coarse, normal).Sections(heights, {}), expected);
    }
}

TEST(MeshSections, APreparedMeshKnowsItsHeights)
{
    IndexedMesh box = Box({1, 2, 3}, {4, 7, 5});
    box.points.push_back({0, 0, 100}); // of no triangle
    EXPECT_EQ(PlaneSlicer(box, {0, 0, 9}).HeightRange(), (std::array<double, 2>{3, 5}));
    EXPECT_EQ(PlaneSlicer(box, {-1, 0, 0}).HeightRange(), (std::array<double, 2>{-4, -1}));
    // A copy is a slicer of its own.
    PlaneSlicer first(box, kUp);
    const PlaneSlicer copy = first;
    first = PlaneSlicer(IndexedMesh(), kUp);
    EXPECT_EQ(copy.Section(4, {}).area, 15);
}

// --- convex bodies
// -----------------------------------------------------------------------------------

TEST(MeshSections, ASectionOfAHullIsTheHullOfAllCutsBetweenItsPoints)
{
    Random random(4);
    for (int round = 0; round < Support::FullOr(30, 6); ++round) {
        std::vector<Vec3d> points;
        for (int i = 0; i < 40; ++i) {
            points.push_back(random.Vector<3, double>(-1, 1));
        }
        IndexedMesh hull;
        ASSERT_TRUE(Velk::Math::Sorvane::Bounding::ConvexHull(points, hull.points, hull.indices,
                                                              false, false));
        const double height = random.Between(-0.8, 0.8);
        std::vector<Vec2d> cuts;
        for (const Vec3d& p : points) {
            for (const Vec3d& q : points) {
                if (p.z() <= height && q.z() > height) {
                    const double t = (height - p.z()) / (q.z() - p.z());
                    cuts.push_back({p.x() + t * (q.x() - p.x()), p.y() + t * (q.y() - p.y())});
                }
            }
        }
        // Area of the hull of the cuts by its support in many directions would be inexact: gift
        // wrapping instead.
        std::vector<Vec2d> outline{
            *std::min_element(cuts.begin(), cuts.end(),
                              [](const Vec2d& a, const Vec2d& b) { return a.x() < b.x(); })};
        do {
            Vec2d next = cuts.front();
            for (const Vec2d& candidate : cuts) {
                const double turn = (next - outline.back()) ^ (candidate - outline.back());
                if (next == outline.back() || turn < 0) {
                    next = candidate;
                }
            }
            outline.push_back(next);
        } while (!(outline.back() == outline.front()) && outline.size() < cuts.size());
        const MeshSection section = MeshSectionAt(hull, kUp, height, {});
        ASSERT_EQ(section.loops.size(), 1U);
        EXPECT_NEAR(section.area, Vector::SignedArea(outline), 1e-12);
        EXPECT_NEAR(section.length, Vector::Length(outline), 1e-12);
    }
}

// --- far away, and without memory
// --------------------------------------------------------------------

TEST(MeshSections, FarFromTheOriginDigitsAreThoseOfTheCoordinates)
{
    // Multiples of 1/1024 are exact there, heights and corners alike.
    const Vec3d shift(1e6, -3e6, 2e6);
    IndexedMesh torus = Support::Torus(40, 24);
    for (Vec3d& p : torus.points) {
        for (double& x : p) {
            x = std::round(x * 1024) / 1024;
        }
    }
    IndexedMesh far = torus;
    for (Vec3d& p : far.points) {
        p = p + shift;
    }
    for (const double height : {-0.5, 0.0, 0.25, 0.33}) {
        const MeshSection here = MeshSectionAt(torus, kUp, height, {});
        const MeshSection there = MeshSectionAt(far, kUp, height + shift.z(), {});
        EXPECT_EQ(there.loops.size(), here.loops.size());
        EXPECT_NEAR(there.area, here.area, 1e-7) << height;
        EXPECT_NEAR(there.length, here.length, 1e-7) << height;
    }
}

TEST(MeshSections, HugeAndTinyBodiesAreCutAlike)
{
    for (const int exponent : {-400, -60, 60, 400}) {
        const double scale = std::ldexp(1.0, exponent);
        IndexedMesh torus = Support::Torus(12, 8);
        const MeshSection expected = MeshSectionAt(torus, kUp, 0.25, {});
        for (Vec3d& p : torus.points) {
            p = p * scale;
        }
        const MeshSection section = MeshSectionAt(torus, kUp, 0.25 * scale, {});
        ASSERT_EQ(section.loops.size(), expected.loops.size());
        for (std::size_t i = 0; i < section.loops.size(); ++i) {
            ASSERT_EQ(section.loops[i].size(), expected.loops[i].size());
            for (std::size_t k = 0; k < section.loops[i].size(); ++k) {
                EXPECT_EQ(section.loops[i][k], expected.loops[i][k] * scale);
            }
        }
    }
}

TEST(MeshSections, WithoutMemoryNothingIsChanged)
{
    Random random(5);
    const IndexedMesh cubes = CubeBody(random, 60).Mesh(true);
    const std::vector<double> heights{1, 1.5};
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return MeshSections(cubes, kUp, heights, {}); }),
                  20U);
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return MeshSections(cubes, Vec3d(1, 2, 3), heights, {}); }),
                  20U);
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return PlaneSlicer(cubes, kUp).Sections(heights, {}); }),
                  20U);
    });
}

} // namespace
