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

/// The values of every d="..." of the drawing, each on its own, with absolute coordinates: M, L, z
/// and A with its radii, three flags and end.
std::vector<std::string> Paths(const std::string& text)
{
    std::vector<std::string> paths;
    for (auto at = text.find(" d=\""); at != std::string::npos; at = text.find(" d=\"", at + 1)) {
        const std::string data = text.substr(at + 4, text.find('"', at + 4) - at - 4);
        std::ostringstream absolute;
        const char* rest = data.c_str();
        const auto number = [&rest] {
            char* end = nullptr;
            const double value = std::strtod(rest, &end);
            EXPECT_NE(rest, end) << rest;
            rest = end != rest ? end : rest + 1;
            return value;
        };
        double x = 0, y = 0, beginX = 0, beginY = 0;
        for (char command = ' '; *rest != '\0';) {
            if (std::isalpha(static_cast<unsigned char>(*rest)) != 0) {
                command = *rest++;
            }
            if (command == 'z') {
                absolute << 'z';
                x = beginX;
                y = beginY;
                continue;
            }
            absolute << static_cast<char>(std::toupper(command));
            for (int i = 0; i < 5 && command == 'a'; ++i) {
                absolute << number() << ' ';
            }
            x = number() + (command == 'M' ? 0 : x);
            y = number() + (command == 'M' ? 0 : y);
            beginX = command == 'M' ? x : beginX;
            beginY = command == 'M' ? y : beginY;
            absolute << std::round(100 * x) / 100 << ' ' << std::round(100 * y) / 100;
        }
        paths.push_back(absolute.str());
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

// A line, a half circle to the left, a line: the arc in two parts, counter-clockwise (sweep 0 once
// y is turned), the box of the circle and not only of its ends.
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
    // By thirds: an arc of half a turn is as good on either side of its chord.
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{
                  "M114 64A50 50 0 0 1 39 107.3A50 50 0 0 1 39 20.7A50 50 0 0 1 114 64"}));
}

// Viewers lose the center of an arc of a radius of 10^8 pixels. Its chord, 500 long, is as good.
TEST(SvgWriter, ArcsTooFlatToSeeAreLines)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    chain.AppendArc({0, 1e6}, {0, 0}, 10);
    SvgWriter writer(500);
    writer.AddChain(chain, {});
    EXPECT_EQ(Paths(writer.Text()), (std::vector<std::string>{"M14 14L514 14"}));
}

// Each step is rounded, and their sum is not off by more than one of them.
TEST(SvgWriter, RoundingsOfManyStepsDoNotAddUp)
{
    std::vector<Vec2d> points;
    for (int i = 0; i <= 70'000; ++i) {
        points.push_back({i / 700.0, std::fmod(i, 2) * 0.004});
    }
    SvgWriter writer(100);
    writer.AddPolyline(points, {});
    const std::string path = Paths(writer.Text()).front();
    EXPECT_EQ(path.substr(path.rfind('L')), "L114 14");
    EXPECT_LT(writer.Text().size(), 100'000U); // 10,000 of the steps can be seen
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

// One triangle turned, and lying over the other: both are filled.
TEST(SvgWriter, OverlappingTrianglesDoNotCancel)
{
    Sorvane::Mesh::IndexedPointsBase<2, double> mesh;
    mesh.points = {{0, 0}, {4, 0}, {0, 4}};
    mesh.indices = {0, 1, 2, 0, 2, 1};
    SvgWriter writer(100);
    writer.AddTriangles(mesh, Style("none", "tan"));
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{"M14 114L114 114L14 14zM14 114L114 114L14 14z"}));
    EXPECT_EQ(Count(writer.Text(), "fill-rule=\"nonzero\""), 1);
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

// The lower of two triangles that face the eye has a line on it and its own color; a line on one
// that faces away is not seen, nor are lines of no triangle or style.
TEST(SvgWriter, MarksOfAMeshArePaintedWithTheirTriangles)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    mesh.points = {{0, 0, 5}, {4, 0, 5}, {0, 4, 5}, {0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    mesh.indices = {0, 1, 2, 3, 4, 5, 3, 5, 4};
    SvgMeshMarks marks;
    marks.styles = {Style("red", "none"), Style("none", "#123456")};
    marks.triangles = {7, 1};
    marks.lines = {{2, {0, 0, 0}, {3, 1, 0}, 0},  {1, {0, 0, 0}, {2, 2, 0}, 0},
                   {-1, {0, 0, 0}, {3, 1, 0}, 0}, {9, {0, 0, 0}, {3, 1, 0}, 0},
                   {1, {0, 0, 0}, {3, 1, 0}, 2},  {1, {0, 0, 0}, {std::nan(""), 1, 0}, 0}};
    SvgWriter writer(100);
    writer.AddMesh(mesh, {{0, 0, 1}, {0, 1, 0}}, Style("none", "#c8c8c8"), marks);
    const std::string text = writer.Text();
    EXPECT_EQ(Paths(text), (std::vector<std::string>{"M14 114L114 114L14 14z", "M14 114L64 64",
                                                     "M14 114L114 114L14 14z"}));
    EXPECT_LT(text.find("#123456"), text.find("stroke=\"red\""));
    EXPECT_LT(text.find("stroke=\"red\""), text.find("#c8c8c8"));
}

// Two triangles that face the eye alike and a third one that is tilted, all without edges.
TEST(SvgWriter, SmoothTrianglesOfOneShadeAreOnePath)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    mesh.points = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {2, 2, 0}, {4, 0, 3}, {4, 2, 3}};
    mesh.indices = {0, 1, 2, 1, 3, 2, 1, 4, 3};
    SvgWriter writer(100);
    writer.AddMesh(mesh, {{0, 0, 1}, {0, 1, 0}}, Style("#c8c8c8", "#c8c8c8"));
    const std::string text = writer.Text();
    EXPECT_EQ(Paths(text), (std::vector<std::string>{"M14 64L64 64L14 14zM64 64L64 14L14 14z",
                                                     "M64 64L114 64L64 14z"}));
    EXPECT_EQ(Count(text, "fill=\"#c8c8c8\" stroke=\"#c8c8c8\""), 1);
    EXPECT_EQ(Count(text, "fill=\"#"), 2);
    EXPECT_EQ(Count(text, "stroke=\"#"), 2);
    EXPECT_EQ(Count(text, "stroke=\"#c8c8c8\""), 1);
}

TEST(SvgWriter, ViewsSideBySide)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    mesh.points = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    mesh.indices = {0, 1, 2};
    SvgView view{{0, 0, 1}, {0, 1, 0}};
    SvgWriter writer(100);
    writer.AddMesh(mesh, view, {});
    view.shift = {4, 0};
    writer.AddMesh(mesh, view, {});
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{"M14 64L64 64L14 14z", "M64 64L114 64L64 14z"}));
    EXPECT_EQ(SvgWriter::Projected({1, 2, 3}, view), Vec2d(5, 2));
    view.shift = {std::nan(""), 0};
    EXPECT_EQ(SvgWriter::Projected({1, 2, 3}, view), Vec2d(1, 2));
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

/// Width and height that the picture tells.
Vec2d SizeOf(const std::string& text)
{
    const auto after = [&](const char* name) {
        return std::stod(text.substr(text.find(name) + std::string(name).size()));
    };
    return {after(" width=\""), after(" height=\"")};
}

// A letter of 14 pixels is some 8 wide.
TEST(SvgWriter, LabelsAndLegendHaveRoom)
{
    SvgWriter writer(100);
    writer.AddPolyline({{0, 0}, {4, 0}}, {});
    EXPECT_EQ(SizeOf(writer.Text()), Vec2d(128, 28));
    writer.AddLabel({4, 0}, "ends here", {});
    EXPECT_GT(SizeOf(writer.Text()).x(), 114 + 9 * 7.5);
    EXPECT_LT(SizeOf(writer.Text()).x(), 114 + 9 * 12);
    EXPECT_GT(SizeOf(writer.Text()).y(), 28);
    writer.AddLegend(std::string(60, 'x'), {});
    EXPECT_GT(SizeOf(writer.Text()).x(), 60 * 7.5);
    SvgWriter disc(100);
    SvgStyle large;
    large.width = 20;
    disc.AddPoints({{0, 0}, {4, 0}}, large); // of radius 40
    EXPECT_GE(SizeOf(disc.Text()).x(), 180);
    EXPECT_GE(SizeOf(disc.Text()).y(), 80);
    EXPECT_EQ(Count(disc.Text(), "cx=\"44\" cy=\"44\""), 1);
}

TEST(SvgWriter, TextThatIsNoUtf8IsReplaced)
{
    const std::string replaced = "\xEF\xBF\xBD";
    const auto written = [](const std::string& text) {
        SvgWriter writer(100);
        writer.SetTitle(text);
        const std::string all = writer.Text();
        const auto begin = all.find("<title>") + 7;
        return all.substr(begin, all.find("</title>") - begin);
    };
    EXPECT_EQ(written("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\xA7"),
              "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\xA7");
    EXPECT_EQ(written("a\xE4z"), "a" + replaced + "z"); // Latin-1
    EXPECT_EQ(written("a\xC3"), "a" + replaced);
    EXPECT_EQ(written("\xC0\xAF"), replaced + replaced);                // a slash, too long
    EXPECT_EQ(written("\xE0\x80\xAF"), replaced + replaced + replaced); // longer still
    EXPECT_EQ(written("\xED\xA0\x80"), replaced + replaced + replaced); // half of a pair
    EXPECT_EQ(written("\xEF\xBF\xBF"), replaced + replaced + replaced); // no character of XML
    EXPECT_EQ(written("\xF4\x90\x80\x80").size(), 12U);                 // beyond the last one
    EXPECT_EQ(written(std::string("a\0b\x1B", 4)), "ab");
}

TEST(SvgWriter, SizesStayWithinWhatCanBeShown)
{
    const auto widthAt = [](double size) {
        SvgWriter writer(size);
        writer.AddPolyline({{0, 0}, {4, 0}}, {});
        return SizeOf(writer.Text()).x();
    };
    EXPECT_EQ(widthAt(1e300), 16384 + 28);
    EXPECT_EQ(widthAt(1e-300), 1 + 28);
    EXPECT_EQ(widthAt(std::nan("")), 640 + 28);
    SvgWriter writer(100);
    SvgStyle style = Style("none", "tan");
    style.opacity = 0.5;
    writer.AddRegion({{{0, 0}, {1e100, 0}, {1e100, 1e100}}, {{0, -1e101}, {1e101, 0}, {0, 1e101}}},
                     style);
    EXPECT_EQ(Paths(writer.Text()), (std::vector<std::string>{"M14 114L114 114L114 14z"}));
    EXPECT_EQ(Count(writer.Text(), "fill-opacity=\"0.5\""), 1);
    style.width = 1e300;
    style.stroke = "tan";
    writer.AddPolyline({{0, 0}, {1, 1e100}}, style);
    EXPECT_LT(SizeOf(writer.Text()).x(), 1200);
}

// A path of no visible length is left out; a second loop begins where it is.
TEST(SvgWriter, WhatIsTooSmallToSeeIsLeftOut)
{
    SvgWriter writer(100);
    writer.AddPolyline({{0, 0}, {1e-9, 0}, {0, 1e-9}}, {});
    writer.AddRegion({{{0, 0}, {4, 0}, {4, 4}}, {{1, 1}, {2, 1}, {2, 2}}}, {});
    EXPECT_EQ(Paths(writer.Text()),
              (std::vector<std::string>{"M14 114L114 114L114 14zM39 89L64 89L64 64z"}));
}

// Round ends would fill the gaps of wide dashes.
TEST(SvgWriter, DashesHaveFlatEnds)
{
    SvgWriter writer(100);
    SvgStyle dashed;
    dashed.width = 5;
    dashed.isDashed = true;
    writer.AddPolyline({{0, 0}, {4, 0}}, dashed);
    EXPECT_EQ(Count(writer.Text(), "stroke-dasharray=\"20\" stroke-linecap=\"butt\""), 1);
    dashed.isDashed = false;
    SvgWriter plain(100);
    plain.AddPolyline({{0, 0}, {4, 0}}, dashed);
    EXPECT_EQ(Count(plain.Text(), "dash"), 0);
}

// Lines of one style stand in a group that tells it once; what lies between them in another style
// keeps its place.
TEST(SvgWriter, NeighborsOfOneStyleShareIt)
{
    SvgStyle wide = Style("red", "none");
    wide.width = 9;
    SvgStyle clear = Style("red", "tan");
    clear.opacity = 0.5;
    SvgWriter writer(100);
    SvgStyle dashed = Style("red", "tan");
    dashed.isDashed = true;
    for (const SvgStyle& style : {Style("red", "none"), Style("red", "tan"), clear, wide, wide,
                                  Style("tan", "tan"), Style("red", "tan"), dashed}) {
        writer.AddPolyline({{0, 0}, {4, 0}}, style);
    }
    const std::string text = writer.Text();
    EXPECT_EQ(Count(text, "<g"), 2);
    EXPECT_EQ(Count(text, "</g>"), 2);
    EXPECT_EQ(Count(text, "stroke=\"red\""), 5);
    EXPECT_EQ(Count(text, "stroke=\"tan\""), 1);
    EXPECT_EQ(Count(text, "stroke-width=\"9\""), 1);
    EXPECT_EQ(Count(text, "fill-opacity=\"0.5\""), 1);
    EXPECT_EQ(Count(text, "stroke-dasharray"), 1);
    EXPECT_EQ(Paths(text).size(), 8U);
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
