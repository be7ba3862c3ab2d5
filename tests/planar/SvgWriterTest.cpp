// Pictures as SVG, read back from their text.

#include <Sorvane/SvgWriter_E.h>

#include "tests/planar/ChainSupport.h"

#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Drawing;
using namespace Support;
using Planar::PolyArcSegBase;

/// How often `part` stands in `text`.
int Count(const std::string& text, const std::string& part)
{
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// The values of every d="..." in the text, each on its own.
std::vector<std::string> Paths(const std::string& text)
{
    std::vector<std::string> paths;
    for (auto at = text.find(" d=\""); at != std::string::npos; at = text.find(" d=\"", at + 1)) {
        paths.push_back(text.substr(at + 4, text.find('"', at + 4) - at - 4));
    }
    return paths;
}

SvgStyle Style(const char* stroke, const char* fill)
{
    SvgStyle style;
    style.stroke = stroke;
    style.fill = fill;
    return style;
}

// The margin is 14 and y turned round: (0, 0) of a 4 by 2 drawing lies 50 below its top.
TEST(SvgWriter, FitsTheDrawingToItsSize)
{
    SvgWriter writer(100);
    writer.AddPolyline({{0, 0}, {4, 0}, {4, 2}}, {});
    const std::string text = writer.Text();
    EXPECT_EQ(Paths(text), (std::vector<std::string>{"M14 64L114 64L114 14"}));
    EXPECT_NE(text.find("width=\"128\" height=\"78\""), std::string::npos);
}

TEST(SvgWriter, PicturesFarAwayAreTheSame)
{
    SvgWriter near(100);
    near.AddPolyline({{0, 0}, {4, 0}, {4, 2}}, {});
    SvgWriter far(100);
    far.AddPolyline({{1e6, -1e6}, {1e6 + 4, -1e6}, {1e6 + 4, -1e6 + 2}}, {});
    EXPECT_EQ(near.Text(), far.Text());
}

// A line, a half circle to the left, a line: arcs in halves, counter-clockwise (sweep 0 once y is
// turned), the box of the circle and not only of its ends.
TEST(SvgWriter, ChainsKeepTheirArcs)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({0, 0}, {9, 0});
    chain.AppendArc({9, 1}, {9, 0}, kHalfTurn);
    chain.AppendSegment({9, 2}, {0, 2});
    SvgWriter writer(100);
    writer.AddChain(chain, {});
    EXPECT_EQ(
        Paths(writer.Text()),
        (std::vector<std::string>{"M14 34L104 34A10 10 0 0 0 114 24A10 10 0 0 0 104 14L14 14"}));
}

TEST(SvgWriter, FullCirclesAndClockwiseArcs)
{
    SvgWriter writer(100);
    PolyArcSegBase<double> circle;
    circle.AppendArc({0, 0}, {5, 0}, -10 * kHalfTurn);
    writer.AddChain(circle, {});
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{"M114 64A50 50 0 0 1 14 64A50 50 0 0 1 114 64"}));
}

TEST(SvgWriter, ChainWithAGapIsBroken)
{
    PolyArcSegBase<double> chain;
    chain.elements = {SegBase<double>{{0, 0}, {1, 0}}, SegBase<double>{{2, 0}, {4, 0}}};
    SvgWriter writer(100);
    writer.AddChain(chain, {});
    EXPECT_EQ(Paths(writer.Text()), (std::vector<std::string>{"M14 14L39 14M64 14L114 14"}));
}

TEST(SvgWriter, RegionsAreFilledByParity)
{
    SvgWriter writer(100);
    writer.AddRegion({{{0, 0}, {4, 0}, {4, 4}, {0, 4}}, {{1, 1}, {1, 3}, {3, 3}, {3, 1}}},
                     Style("none", "#00ff00"));
    const std::string text = writer.Text();
    EXPECT_EQ(Paths(text),
              (std::vector<std::string>{"M14 114L114 114L114 14L14 14zM39 89L39 39L89 39L89 89z"}));
    EXPECT_NE(text.find("fill-rule=\"evenodd\""), std::string::npos);
    EXPECT_NE(text.find("fill=\"#00ff00\""), std::string::npos);
}

TEST(SvgWriter, TrianglesOutOfRangeAreLeftOut)
{
    Sorvane::Mesh::IndexedPointsBase<2, double> mesh;
    mesh.points = {{0, 0}, {1, 0}, {0, 1}};
    mesh.indices = {0, 1, 2, 0, 1, 3, 0, -1, 2, 0, 1};
    SvgWriter writer(100);
    writer.AddTriangles(mesh, {});
    EXPECT_EQ(Paths(writer.Text()), (std::vector<std::string>{"M14 114L114 114L14 14z"}));
}

// A unit cube from straight above shows its top alone; from a corner three faces, each of its
// shade.
TEST(SvgWriter, MeshesShowWhatFacesTheEye)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> cube;
    for (int i = 0; i < 8; ++i) {
        cube.points.push_back({double(i & 1), double(i >> 1 & 1), double(i >> 2)});
    }
    cube.indices = {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                    2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5};
    SvgWriter top(100);
    top.AddMesh(cube, {{0, 0, 3}, {0, 9, 0}}, Style("none", "#c8c8c8"));
    EXPECT_EQ(Paths(top.Text()).size(), 2U);
    EXPECT_EQ(Count(top.Text(), "fill=\"#c8c8c8\""), 2); // full face: not darkened
    SvgWriter corner(100);
    corner.AddMesh(cube, {{3, 2, 1}, {0, 0, 1}}, Style("none", "#c8c8c8"));
    EXPECT_EQ(Paths(corner.Text()).size(), 6U);
    EXPECT_EQ(Count(corner.Text(), "fill=\"#c8c8c8\""), 0);
    // A color that is no number is kept.
    SvgWriter named(100);
    named.AddMesh(cube, {{3, 2, 1}, {0, 0, 1}}, Style("none", "tan"));
    EXPECT_EQ(Count(named.Text(), "fill=\"tan\""), 6);
}

// Two triangles that face the eye, the nearer first in the mesh: painted last.
TEST(SvgWriter, NearerTrianglesAreOverFartherOnes)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    mesh.points = {{0, 0, 5}, {1, 0, 5}, {0, 1, 5}, {0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    mesh.indices = {0, 1, 2, 3, 4, 5};
    SvgWriter writer(100);
    writer.AddMesh(mesh, {{0, 0, 1}, {0, 1, 0}}, {});
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{"M14 114L114 114L14 14z", "M14 114L39 114L14 89z"}));
}

TEST(SvgWriter, ProjectionIsOrthogonalToTheView)
{
    const SvgView view{{1, 2, 1.5}, {0, 0, 1}};
    EXPECT_NEAR(Vector::Length(SvgWriter::Projected({1, 2, 1.5}, view)), 0, 1e-12);
    EXPECT_GT(SvgWriter::Projected({0, 0, 1}, view).y(), 0);
    EXPECT_NEAR(SvgWriter::Projected({0, 0, 1}, view).x(), 0, 1e-12);
    // Without directions: from above.
    for (const SvgView& none : {SvgView{{0, 0, 0}, {0, 0, 1}}, SvgView{{0, 0, 1}, {0, 0, 2}},
                                SvgView{{std::nan(""), 0, 1}, {0, 0, 1}}}) {
        EXPECT_EQ(SvgWriter::Projected({3, 4, 5}, none), Vec2d(3, 4));
    }
    EXPECT_EQ(SvgWriter::Projected({3, 4, 5}, {{0, 0, 1e-300}, {0, 1e300, 0}}), Vec2d(3, 4));
}

TEST(SvgWriter, PointsLabelsAndLegend)
{
    SvgWriter writer(100);
    SvgStyle dots = Style("red", "none");
    dots.width = 3;
    writer.AddPoints({{0, 0}, {1, 1}}, dots);
    writer.AddLabel({1, 0}, "a < b & \"c\"\n", {});
    writer.AddLegend("what's <drawn>", Style("x\"y", "none"));
    const std::string text = writer.Text();
    EXPECT_EQ(Count(text, "<circle"), 2);
    EXPECT_EQ(Count(text, " r=\"6\" fill=\"red\""), 2);
    EXPECT_EQ(Count(text, "a &lt; b &amp; &quot;c&quot;</text>"), 1);
    EXPECT_EQ(Count(text, "what&apos;s &lt;drawn&gt;"), 1);
    EXPECT_EQ(Count(text, "stroke=\"x&quot;y\""), 1);
    EXPECT_EQ(Count(text, "<text"), Count(text, "</text>"));
}

TEST(SvgWriter, BadInputIsLeftOut)
{
    const double nan = std::nan("");
    const double infinity = std::numeric_limits<double>::infinity();
    SvgWriter writer(-1);
    writer.AddPolyline({}, {});
    writer.AddPolyline({{0, 0}, {nan, 1}, {4, 2}}, {});
    writer.AddPoints({{infinity, 0}}, {});
    writer.AddLabel({nan, nan}, "no", {});
    writer.AddRegion({{}, {{nan, 0}}}, {});
    PolyArcSegBase<double> chain;
    chain.AppendArc({nan, 0}, {1, 0}, 1);
    writer.AddChain(chain, {});
    SvgStyle style;
    style.width = nan;
    writer.AddPolyline({{0, 0}, {4, 0}}, style);
    const std::string text = writer.Text();
    EXPECT_EQ(Paths(text), (std::vector<std::string>{"M14 334L654 14", "M14 334L654 334"}));
    EXPECT_EQ(Count(text, "nan"), 0);
    EXPECT_EQ(Count(text, "inf"), 0);
    EXPECT_EQ(Count(SvgWriter(100).Text(), "<svg"), 1);
    SvgWriter dot(100);
    dot.AddPoints({{7, 7}}, {});
    EXPECT_EQ(Count(dot.Text(), "cx=\"14\""), 1);
}

TEST(SvgWriter, WritesWhatTextGives)
{
    SvgWriter writer(100);
    writer.AddPolyline({{0, 0}, {4, 0}, {4, 2}}, {});
    TemporaryFolder folder;
    const std::string path = (folder / "picture.svg").string();
    EXPECT_TRUE(writer.Write(path));
    std::ifstream file(path, std::ios::binary);
    const std::string read{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(read, writer.Text());
    EXPECT_FALSE(writer.Write((folder / "none" / "picture.svg").string()));
}

} // namespace
