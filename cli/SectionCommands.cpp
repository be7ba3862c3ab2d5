// From a solid to the plane: `section`, `slices` and `silhouette`.

#include "Commands.h"
#include "Drawing.h"
#include "Measures.h"

#include "PlaneFiles.h"
#include "Session.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshSections_E.h>
#include <Sorvane/Silhouette_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Sorvane/TriangleSlicer_E.h>
#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgMeshMarks;
using Drawing::SvgStyle;
using Drawing::SvgWriter;
using Fill = Mesh::IndexedPointsBase<2, double>;
using Mesh::MeshSection;

constexpr double kMostPlanes = 1e6;

const SvgStyle kOpen{"#d22", "none", 2};

const char* const kWeldHelp =
    "corners within this of each other on every axis are one, and corners within it of a plane lie "
    "in the plane; in the unit of the part";

Option NormalOption(const char* what)
{
    return Opt::Numbers("--normal", "X,Y,Z", what).Exactly(3).Default("0,0,1");
}

Option SideOption()
{
    return Opt::Choice("--side", "SIDE", {"above", "below"},
                       "where faces lie in the plane: the section of what lies just above them, "
                       "toward the normal, or just below")
        .Default("above");
}

/// Of unit length. Its largest coordinate is made 1 first: the squares of what was typed may be
/// more or less than a number can hold.
Vec3d NormalOf(const Session& session)
{
    const Vec3d typed = session.Vector("--normal");
    const double largest =
        std::max({std::fabs(typed[0]), std::fabs(typed[1]), std::fabs(typed[2])});
    const Vec3d normal =
        Vector::Normalized(Vec3d(typed[0] / largest, typed[1] / largest, typed[2] / largest), 0.0);
    if (!(SquaredLength(normal) > 0)) {
        session.RefuseUse("--normal 0,0,0 has no direction");
    }
    return normal;
}

Mesh::SectionOptions SectionOptionsOf(const Session& session)
{
    return {session.Text("--side") == "above" ? Mesh::SectionSide::Above : Mesh::SectionSide::Below,
            session.Tolerance()};
}

std::string RangeText(const std::array<double, 2>& range)
{
    return NumberText(range[0]) + " to " + NumberText(range[1]);
}

/// Least and greatest height of the part along the normal.
std::array<double, 2> RangeOf(const Session& session, const Mesh::PlaneSlicer& slicer)
{
    const std::array<double, 2> range = slicer.HeightRange();
    if (!(range[1] > range[0])) {
        session.RefuseUse("the part has no height along --normal; choose another one");
    }
    return range;
}

// --- section ------------------------------------------------------------------------------------

double AreaOfFill(const Fill& fill)
{
    double doubled = 0;
    for (std::size_t i = 0; i + 2 < fill.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) -> const Vec2d& {
            return fill.points[static_cast<std::size_t>(fill.indices[i + k])];
        };
        doubled += (corner(1) - corner(0)) ^ (corner(2) - corner(0));
    }
    return doubled / 2;
}

// Filling moves corners by rounding only, which changes the area by rounding times the length of
// the outlines. What is wrong with a section is wrong by whole triangles.
bool IsAreaOf(double fill, const MeshSection& section)
{
    constexpr double kRounding = 1e-9; // of the size of the section
    std::vector<Vec2d> points;
    for (const Polyline& loop : section.loops) {
        points.insert(points.end(), loop.begin(), loop.end());
    }
    const auto box = Bounding::BoxOfPoints(points);
    const double size = points.empty() ? 0 : Vector::Length(box.max - box.min);
    return std::fabs(fill - section.area) <= kRounding * size * section.length;
}

double HeightOf(const Session& session, const Vec3d& normal, const std::array<double, 2>& range)
{
    const int given =
        int(session.Has("--height")) + int(session.Has("--share")) + int(session.Has("--through"));
    if (given > 1) {
        session.RefuseUse("give one of --height, --share and --through");
    }
    if (session.Has("--height")) {
        return session.Number("--height");
    }
    if (session.Has("--through")) {
        return session.Vector("--through") * normal;
    }
    return range[0] + (range[1] - range[0]) * session.Number("--share") / 100;
}

SvgWriter PictureOf(const Fill& fill, const MeshSection& section)
{
    SvgWriter picture(kPictureSize);
    picture.AddTriangles(fill, {"#79b", "#cde", 1});
    for (Polyline loop : section.loops) {
        loop.push_back(loop.front());
        picture.AddPolyline(loop, {"#222", "none", 2});
    }
    for (const Polyline& chain : section.chains) {
        picture.AddPolyline(chain, kOpen);
    }
    if (!section.chains.empty()) {
        picture.AddLegend("outlines that do not close", kOpen);
    }
    return picture;
}

void TellSection(Session& session, const MeshSection& section, const Vec3d& normal)
{
    const std::size_t count = section.loops.size() + section.chains.size();
    session.Print("%zu outlines at height %.9g, %zu of them open\n", count, section.height,
                  section.chains.size());
    session.Print("area %.9g, length %.9g\n", section.area, section.length + section.openLength);
    Json& result = session.Result();
    result["normal"] = normal;
    result["height"] = section.height;
    result["loop_count"] = section.loops.size();
    result["chain_count"] = section.chains.size();
    result["area"] = section.area;
    result["length"] = section.length;
    result["open_length"] = section.openLength;
    result["loops"] = section.loops;
    result["chains"] = section.chains;
}

/// An extension in small letters, with its dot.
std::string ExtensionOf(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& letter : extension) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return extension;
}

bool IsMeshName(const std::string& path)
{
    const std::string extension = ExtensionOf(path);
    return extension == ".stl" || extension == ".tipc";
}

template <class Line>
std::vector<Line> Joined(std::vector<Line> loops, std::vector<Line> chains)
{
    for (Line& loop : loops) {
        loop.push_back(loop.front());
    }
    loops.insert(loops.end(), chains.begin(), chains.end());
    return loops;
}

std::vector<std::vector<Vec3d>> InSpace(const MeshSection& section)
{
    return Joined(Mesh::SectionInSpace(section, section.loops),
                  Mesh::SectionInSpace(section, section.chains));
}

void WriteSection(Session& session, const MeshSection& section, const Fill& fill)
{
    if (IsMeshName(session.Output())) {
        Part lid;
        for (const Vec2d& p : fill.points) {
            lid.points.push_back(section.toSpace * Vec3d(p.x(), p.y(), 0));
        }
        lid.indices = fill.indices;
        session.WritePart(lid);
    } else if (session.Has("--space")) {
        session.WriteText(PolylineText(InSpace(section), false), session.Output());
    } else {
        session.WriteText(PolylineText(Joined(section.loops, section.chains), false),
                          session.Output());
    }
}

/// What the plane leaves, with its lid, whose triangles are the last ones.
struct ClosedHalf {
    Part part;
    std::size_t lid = 0;
    double volume = 0;
    std::size_t open = 0;
};

ClosedHalf HalfOf(const Mesh::TriangleSlicer& slicer, const Vec3d& normal, double height)
{
    constexpr double kTolerance = 1e-9;
    auto half = slicer.SliceTriangles(normal, normal * height, false, kTolerance);
    if (half.triangles.empty()) {
        return {}; // curves on a face of the part that lies in the plane close nothing
    }
    const auto lid = Mesh::SoupFromIndexedPoints(Mesh::CapOfSections(half));
    Mesh::Append(half.triangles, lid);
    ClosedHalf closed{Mesh::IndexedPointsFromSoup(half.triangles, true, 0.0), lid.size(), 0, 0};
    closed.volume = VolumeOf(closed.part);
    closed.open = Mesh::BoundaryEdges(closed.part).size();
    return closed;
}

SvgWriter PictureOf(const ClosedHalf& below, const ClosedHalf& above, const Vec3d& gap)
{
    constexpr double kCreaseAngle = 0.3;
    const SvgStyle cut{"#d97706", "#f2b45c", 0.4};
    Part both = above.part;
    for (Vec3d& point : both.points) {
        point += gap;
    }
    Mesh::Append(both, below.part);
    SvgMeshMarks marks;
    marks.styles = {cut, {"#667", "none", 0.5}};
    for (const ClosedHalf* half : {&above, &below}) {
        const std::size_t count = half->part.indices.size() / 3;
        marks.triangles.insert(marks.triangles.end(), count - std::min(count, half->lid), -1);
        marks.triangles.insert(marks.triangles.end(), std::min(count, half->lid), 0);
    }
    MarkCreases(both, kCreaseAngle, 1, marks);
    SvgWriter picture(kPictureSize);
    picture.AddMesh(both, kView, FacetStyle(), marks);
    picture.AddLegend("the lids", cut);
    return picture;
}

void Split(Session& session, const Part& part, const Vec3d& normal, double height,
           const std::array<double, 2>& range)
{
    const Mesh::TriangleSlicer slicer(Mesh::SoupFromIndexedPoints(part));
    const ClosedHalf below = HalfOf(slicer, normal, height);
    const ClosedHalf above = HalfOf(slicer, -normal, -height);
    Session::CheckStopped();
    const std::array<std::pair<const char*, const ClosedHalf*>, 2> halves{
        {{"below", &below}, {"above", &above}}};
    for (const auto& [name, half] : halves) {
        if (session.Has(std::string("--") + name) && half->part.indices.empty()) {
            session.RefuseUse("nothing of the part lies " + std::string(name) +
                              " the plane; it reaches from " + RangeText(range));
        }
    }
    for (const auto& [name, half] : halves) {
        session.Print("%s: %zu triangles, %zu open edges, volume %.9g\n", name,
                      half->part.indices.size() / 3, half->open, half->volume);
        Json& result = session.Result()[name];
        result["triangles"] = half->part.indices.size() / 3;
        result["open_edges"] = half->open;
        result["volume"] = half->volume;
        if (session.Has(std::string("--") + name)) {
            session.WritePart(half->part, session.Text(std::string("--") + name));
        }
    }
    if (session.WantsPicture()) {
        constexpr double kGap = 0.6; // of the extent
        session.WritePicture(PictureOf(below, above, normal * (kGap * (range[1] - range[0]))));
    }
    constexpr double kRounding = 1e-9;
    const double size = std::fabs(below.volume) + std::fabs(above.volume);
    if (below.open + above.open > 0 ||
        std::fabs(below.volume + above.volume - VolumeOf(part)) > kRounding * size) {
        session.Defect("open_halves",
                       "the halves are not closed, or don't make up the part: it is open, or cuts "
                       "itself; see `sorvane report`");
    }
}

void RunSection(Session& session)
{
    RefuseStandardOutput(session, {"--below", "--above"});
    if (session.Has("--space") && IsMeshName(session.Output())) {
        session.RefuseUse("--space is for outlines: triangles of a section lie in space anyway");
    }
    const Vec3d normal = NormalOf(session);
    const Part part = session.ReadWeldedPart(session.Input(), session.Tolerance());
    const Mesh::PlaneSlicer slicer(part, normal);
    Session::CheckStopped();
    const std::array<double, 2> range = slicer.HeightRange();
    const double height = HeightOf(session, normal, range);
    const MeshSection section = slicer.Section(height, SectionOptionsOf(session));
    Session::CheckStopped();
    if (section.loops.empty() && section.chains.empty()) {
        session.RefuseUse("nothing lies just " + session.Text("--side") + " height " +
                          NumberText(height) + "; along --normal the part reaches from " +
                          RangeText(range));
    }
    TellSection(session, section, normal);
    const Fill fill = Mesh::TessellateFlatBoundaries(Joined(section.loops, section.chains));
    const double fillArea = AreaOfFill(fill);
    session.Result()["fill_triangles"] = fill.indices.size() / 3;
    session.Result()["fill_area"] = fillArea;
    if (session.Has("--below") || session.Has("--above")) {
        Split(session, part, normal, height, range);
    } else if (session.WantsPicture()) {
        session.WritePicture(PictureOf(fill, section));
    }
    if (session.HasOutput()) {
        WriteSection(session, section, fill);
    }
    if (!section.chains.empty()) {
        session.Defect("open_outlines", std::to_string(section.chains.size()) +
                                            " outlines are open, so the area can't be trusted; see "
                                            "`sorvane report` for the gaps");
    } else if (!IsAreaOf(fillArea, section)) {
        session.Defect("overlap", "the outlines enclose an area of " + NumberText(section.area) +
                                      " and not that of the fill, " + NumberText(fillArea) +
                                      ": the part cuts itself, or triangles are turned");
    }
}

// --- slices -------------------------------------------------------------------------------------

std::vector<double> HeightsOf(Session& session, const std::array<double, 2>& range,
                              double& thickness)
{
    if (int(session.Has("--count")) + int(session.Has("--heights")) + int(session.Has("--range")) >
        1) {
        session.RefuseUse("give one of --count, --heights and --range");
    }
    if (session.Has("--heights")) {
        return session.Numbers("--heights");
    }
    std::vector<double> heights;
    if (session.Has("--range")) {
        const std::vector<double> given = session.Numbers("--range");
        const double steps = std::floor((given[1] - given[0]) / given[2] * (1 + 1e-12) + 1e-9);
        if (!(given[2] != 0 && steps >= 0 && steps < kMostPlanes)) {
            session.RefuseUse("--range FROM,TO,STEP: the step has to lead from FROM to TO in at "
                              "most a million steps");
        }
        for (double i = 0; i <= steps; ++i) {
            heights.push_back(given[0] + i * given[2]);
        }
        return heights;
    }
    const auto count = static_cast<double>(session.Count("--count"));
    thickness = (range[1] - range[0]) / count;
    for (double i = 0; i < count; ++i) {
        heights.push_back(range[0] + (i + 0.5) * thickness);
    }
    return heights;
}

std::string TableOf(const std::vector<MeshSection>& layers)
{
    std::string text = "height,loops,chains,area,length,open length\n";
    for (const MeshSection& layer : layers) {
        text += NumberText(layer.height) + ',' + std::to_string(layer.loops.size()) + ',' +
                std::to_string(layer.chains.size()) + ',' + NumberText(layer.area) + ',' +
                NumberText(layer.length) + ',' + NumberText(layer.openLength) + '\n';
    }
    return text;
}

/// The layers as sheets, seen from the front and above: each hides what lies under it.
SvgWriter StackOf(std::vector<MeshSection> layers, const Vec3d& normal)
{
    const SvgStyle sheet{"#1f4e79", "#c9dcef", 0.6, false, 0.9};
    const bool isUpward = kView.toward * normal > 0;
    std::stable_sort(layers.begin(), layers.end(), [&](const auto& a, const auto& b) {
        return isUpward ? a.height < b.height : a.height > b.height;
    });
    SvgWriter picture(kPictureSize);
    for (const MeshSection& layer : layers) {
        const auto seen = [&](Loops lines) {
            for (Polyline& line : lines) {
                for (Vec2d& point : line) {
                    point =
                        SvgWriter::Projected(layer.toSpace * Vec3d(point.x(), point.y(), 0), kView);
                }
            }
            return lines;
        };
        picture.AddRegion(seen(layer.loops), sheet);
        for (const Polyline& chain : seen(layer.chains)) {
            picture.AddPolyline(chain, kOpen);
        }
    }
    return picture;
}

void TellSlices(Session& session, const std::vector<MeshSection>& layers, double thickness)
{
    std::size_t loops = 0;
    std::size_t chains = 0;
    double area = 0;
    Json list = Json::List();
    for (const MeshSection& layer : layers) {
        loops += layer.loops.size();
        chains += layer.chains.size();
        area += layer.area;
        Json item;
        item["height"] = layer.height;
        item["loop_count"] = layer.loops.size();
        item["chain_count"] = layer.chains.size();
        item["area"] = layer.area;
        item["length"] = layer.length;
        item["open_length"] = layer.openLength;
        list.Add(std::move(item));
    }
    session.Print("%zu sections from %.9g to %.9g: %zu outlines, %zu of them open\n", layers.size(),
                  layers.front().height, layers.back().height, loops + chains, chains);
    Json& result = session.Result();
    if (thickness > 0) {
        session.Print("layers of %.9g, volume %.9g\n", thickness, area * thickness);
        result["thickness"] = thickness;
        result["volume"] = area * thickness;
    }
    result["loop_count"] = loops;
    result["chain_count"] = chains;
    result["sections"] = std::move(list);
    if (chains > 0) {
        session.Defect("open_outlines",
                       std::to_string(chains) +
                           " outlines are open, so the areas can't be trusted; see "
                           "`sorvane report` for the gaps");
    }
}

void RunSlices(Session& session)
{
    RefuseStandardOutput(session, {"--outlines"});
    const Vec3d normal = NormalOf(session);
    const Part part = session.ReadWeldedPart(session.Input(), session.Tolerance());
    const Mesh::PlaneSlicer slicer(part, normal);
    Session::CheckStopped();
    double thickness = 0;
    const std::vector<double> heights = HeightsOf(session, RangeOf(session, slicer), thickness);
    const std::vector<MeshSection> layers = slicer.Sections(heights, SectionOptionsOf(session));
    Session::CheckStopped();
    if (session.HasOutput()) {
        session.WriteText(TableOf(layers), session.Output());
    }
    if (session.Has("--outlines")) {
        std::vector<std::vector<Vec3d>> lines;
        for (const MeshSection& layer : layers) {
            const auto own = InSpace(layer);
            lines.insert(lines.end(), own.begin(), own.end());
        }
        session.WriteText(PolylineText(lines, false), session.Text("--outlines"));
    }
    if (session.WantsPicture()) {
        session.WritePicture(StackOf(layers, normal));
    }
    TellSlices(session, layers, thickness);
}

// --- silhouette ---------------------------------------------------------------------------------

SvgWriter ShadowPicture(const Loops& shadow, const Polyline& spun)
{
    const SvgStyle dark{"#1f4e79", "#c9dcef", 1.5};
    const SvgStyle turned{"#a04000", "#f6ddcc", 1.5};
    SvgWriter picture(900);
    picture.SetTitle("Shadow and spun outline");
    picture.AddRegion(shadow, dark);
    picture.AddLegend("shadow", dark);
    if (spun.empty()) {
        return picture;
    }
    // Beside the shadow, about an axis of its own.
    Vec2d corner(std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max());
    for (const Polyline& loop : shadow) {
        for (const Vec2d& p : loop) {
            corner = {std::max(corner.x(), p.x()), std::min(corner.y(), p.y())};
        }
    }
    double radius = 0;
    double low = spun.front().y();
    double high = low;
    for (const Vec2d& p : spun) {
        radius = std::max(radius, p.x());
        low = std::min(low, p.y());
        high = std::max(high, p.y());
    }
    const Vec2d axis(corner.x() + radius + 0.1 * (radius + high - low), corner.y() - low);
    Polyline both;
    for (const Vec2d& p : spun) {
        both.push_back(axis + p);
    }
    for (std::size_t i = spun.size(); i-- > 0;) {
        both.push_back(axis + Vec2d(-spun[i].x(), spun[i].y()));
    }
    picture.AddRegion({both}, turned);
    picture.AddPolyline({axis + Vec2d(0, low), axis + Vec2d(0, high)},
                        {"#a04000", "none", 1, true});
    picture.AddLegend("spun about the axis", turned);
    return picture;
}

Polyline Spin(Session& session, const Part& part)
{
    const auto box = Bounding::BoxOfPoints(part.points);
    const double height = box.max.z() - box.min.z();
    const double step = session.Has("--step") ? session.Number("--step") : height / 500;
    if (height > kMostPlanes * step) {
        session.RefuseUse("--step: more than a million steps along the axis; mind its unit");
    }
    const Polyline spun = Planar::SpinBoundary(part, step);
    Session::CheckStopped();
    if (spun.empty()) {
        session.RefuseUse("the part is no higher along --normal than --step; choose a smaller one");
    }
    double radius = 0;
    for (const Vec2d& p : spun) {
        radius = std::max(radius, p.x());
    }
    session.Print("spun: radius %.9g, height %.9g, %zu points\n", radius, height, spun.size());
    Json& result = session.Result()["spun"];
    result["radius"] = radius;
    result["height"] = height;
    result["step"] = step;
    result["points"] = spun;
    if (session.Has("--spun")) {
        session.WriteText(PolylineText(Loops{spun}, false), session.Text("--spun"));
    }
    return spun;
}

void RunSilhouette(Session& session)
{
    RefuseStandardOutput(session, {"--spun"});
    const Vec3d normal = NormalOf(session);
    Part part = session.ReadPart(session.Input());
    if (!(normal == Vec3d(0, 0, 1))) {
        const auto toPlane = Matrix::Transposed(Matrix::RotationFromZ(normal));
        for (Vec3d& point : part.points) {
            point = toPlane * point;
        }
    }
    double resolution = 0;
    const Loops shadow = Planar::SilhouetteBoundaries(part, &resolution);
    Session::CheckStopped();
    const double area = AreaOf(shadow);
    session.Print("shadow: %zu loops, area %.9g, exact to %.2g\n", shadow.size(), area, resolution);
    Json& result = session.Result();
    result["normal"] = normal;
    result["loops"] = shadow;
    result["area"] = area;
    result["resolution"] = resolution;
    const bool isSpun = session.Has("--spin") || session.Has("--step") || session.Has("--spun");
    const Polyline spun = isSpun ? Spin(session, part) : Polyline{};
    if (session.HasOutput()) {
        session.WriteText(PolylineText(shadow, true), session.Output());
    }
    if (session.WantsPicture()) {
        session.WritePicture(ShadowPicture(shadow, spun));
    }
    if (shadow.empty()) {
        session.Defect("no_shadow", "the part is upright in this direction and has no shadow");
    }
}

} // namespace

Command SectionCommand()
{
    Command command;
    command.name = "section";
    command.summary = "Cuts a part by a plane: outlines, area, closed halves";
    command.description =
        "The plane has a normal and lies at a height, its distance from the origin along the "
        "normal; by default it is level and halves the part. Outlines run with the material to "
        "their left, outer ones counter-clockwise and those of holes clockwise, as seen against "
        "the "
        "normal. Areas and lengths have the part's unit.\n\n"
        "A height at which the plane meets nothing is wrong use: the message tells from where to "
        "where the part reaches.";
    command.output =
        "write the outlines as points of the plane, x and y to a line, an empty line between "
        "outlines; or, with the extension .stl or .tipc, the section as triangles";
    command.tolerance = kWeldHelp;
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the section with its outlines, open ones in red; with "
                      "--below or --above "
                      "the two halves apart";
    command.options = {
        NormalOption("direction of the plane's normal, of any length"),
        Opt::Number("--height", "LENGTH", "distance of the plane from the origin along the normal"),
        Opt::Number("--share", "PERCENT",
                    "the plane lies at this share of the part's height along the normal")
            .Default("50"),
        Opt::Numbers("--through", "X,Y,Z", "a point in the plane").Exactly(3),
        SideOption(),
        Opt::Flag("--space",
                  "write the outlines of --output as points of space, x, y and z to a line")
            .With({"--output"}),
        Opt::File("--below", "MESH", "write what lies below the plane, closed by a lid"),
        Opt::File("--above", "MESH", "write what lies above the plane, closed by a lid")};
    command.defects = "an outline is open, the section overlaps itself, or a half is not closed";
    command.examples = {{"sorvane section bracket.stl --height 4 --svg section.svg",
                         "outlines and area at the height 4, and a picture"},
                        {"sorvane section bracket.stl --normal 1,0,0 --below left.stl --above "
                         "right.stl",
                         "split the part into two closed halves"}};
    command.run = RunSection;
    return command;
}

Command SlicesCommand()
{
    Command command;
    command.name = "slices";
    command.summary = "Cuts a part by a stack of parallel planes: areas, outlines, volume";
    command.description =
        "Heights are distances from the origin along the normal. With --count the part is divided "
        "into layers of one thickness, each cut at its middle, and their areas times the thickness "
        "tell the volume.";
    command.output =
        "write a table (CSV) of height, closed and open outlines, area, length of the closed "
        "and of the open ones";
    command.tolerance = kWeldHelp;
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the sections as a stack of sheets, open outlines in red";
    command.options = {
        NormalOption("direction of the planes' normal, of any length"),
        Opt::Count("--count", "N", "number of layers").Within(1, kMostPlanes).Default("20"),
        Opt::Numbers("--range", "FROM,TO,STEP", "planes from one height to another, a step apart")
            .Exactly(3),
        Opt::Numbers("--heights", "H,H,...", "planes at these heights"),
        SideOption(),
        Opt::File("--outlines", "FILE",
                  "write all outlines as points of space, x, y and z to a line, an empty line "
                  "between outlines")};
    command.defects = "an outline is open";
    command.examples = {{"sorvane slices bracket.stl --count 24 -o layers.csv --svg stack.svg",
                         "cut 24 layers, write their areas and draw the stack"}};
    command.run = RunSlices;
    return command;
}

Command SilhouetteCommand()
{
    Command command;
    command.name = "silhouette";
    command.summary = "Draws the shadow of a part, and the outline that it sweeps when it spins";
    command.description =
        "The shadow is what is seen of the part along the normal, as closed loops in the plane "
        "square to it, outer ones counter-clockwise. With --spin the part turns about the axis "
        "through the origin along the normal, and the half outline of what it sweeps is told as "
        "(radius, height): what it needs of room in a lathe.";
    command.output =
        "write the loops of the shadow as points, x and y to a line, an empty line between loops";
    command.picture = "write a picture of the shadow, and beside it the spun outline";
    command.options = {
        NormalOption("direction in which the part is seen, of any length"),
        Opt::Flag("--spin", "spin the part about the axis through the origin along the normal"),
        Opt::Number("--step", "LENGTH",
                    "distance of the spun outline's samples along the axis; a five-hundredth of "
                    "the height unless told; implies --spin")
            .Positive(),
        Opt::File("--spun", "FILE",
                  "write the half outline, radius and height to a line; implies --spin")};
    command.defects = "the part has no shadow in that direction";
    command.examples = {{"sorvane silhouette bracket.stl --spin --svg shadow.svg",
                         "area and radius, and a picture of shadow and spun outline"}};
    command.run = RunSilhouette;
    return command;
}

} // namespace Cli
