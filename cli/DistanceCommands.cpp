// What lies where on a part: `nearest`, `distance`, `holes` and `imprint`.

#include "Commands.h"
#include "Drawing.h"
#include "Measures.h"
#include "PlaneFiles.h"
#include "Session.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshImprint_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <map>
#include <numeric>
#include <set>
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
using Path = std::vector<Vec3d>;

constexpr double kFarAway = 1e100;
constexpr double kDegree = kPi<double> / 180;

std::string PointText(const Vec3d& p)
{
    return NumberText(p[0]) + ',' + NumberText(p[1]) + ',' + NumberText(p[2]);
}

/// Files with a triangle are read; but the farthest coordinates that they can have are of no use.
[[noreturn]] void EndUnusable(const std::string& files)
{
    throw Failure(Exit::Files, NameOf(files) +
                                   ": no triangle has coordinates that can be calculated with; "
                                   "scale the part down");
}

// --- nearest ------------------------------------------------------------------------------------

void RunNearest(Session& session)
{
    if (session.Input(0) == "-" && session.Input(1) == "-") {
        session.RefuseUse("part and points can't both come from the standard input");
    }
    const Part part = session.ReadPart(session.Input(0));
    const std::vector<Vec3d> points = ReadSpacePoints(session, session.Input(1));
    const Tree::QOFTriangleTree<3, double> tree(part.points, part.indices);
    if (tree.TriangleCount() == 0) {
        EndUnusable(session.Input(0));
    }
    const auto nearest = tree.ClosestPoints(points, kFarAway, {});
    Session::CheckStopped();
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (nearest[i].id < 0) {
            throw Failure(Exit::Files,
                          NameOf(session.Input(1)) + ": point " + std::to_string(i + 1) + " (" +
                              PointText(points[i]) +
                              ") is too far away to be calculated with; mind its unit");
        }
    }
    std::vector<double> distances;
    if (session.Has("--signed")) {
        distances = MeshUtils::CloudDistancesToMesh(part.points, part.indices, points, false);
        Session::CheckStopped();
    } else {
        for (std::size_t i = 0; i < points.size(); ++i) {
            distances.push_back(Length(nearest[i].point - points[i]));
        }
    }
    std::size_t farthest = 0;
    std::size_t beyond = 0;
    const double limit = session.Has("--within") ? session.Number("--within") : HUGE_VAL;
    std::string table = "x,y,z,nearest x,nearest y,nearest z,triangle,distance\n";
    std::vector<Vec3d> places;
    std::vector<int> triangles;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double distance = std::fabs(distances[i]);
        farthest = distance > std::fabs(distances[farthest]) ? i : farthest;
        beyond += distance <= limit ? 0 : 1; // NaN is beyond
        places.push_back(nearest[i].point);
        triangles.push_back(nearest[i].id);
        if (!session.WantsJson() || session.HasOutput()) {
            table += PointText(points[i]) + ',' + PointText(nearest[i].point) + ',' +
                     std::to_string(nearest[i].id) + ',' + NumberText(distances[i]) + '\n';
        }
    }
    Json& result = session.Result();
    result["points"] = places;
    result["triangles"] = triangles;
    result["distances"] = distances;
    result["farthest"] = farthest;
    result["greatest_distance"] = distances[farthest];
    if (session.HasOutput()) {
        session.WriteText(table, session.Output());
        session.Print("%zu points, the farthest %.9g away\n", points.size(), distances[farthest]);
    } else {
        session.Print("%s", table.c_str());
    }
    if (beyond > 0) {
        session.Defect("beyond_limit", std::to_string(beyond) + " of " +
                                           std::to_string(points.size()) +
                                           " points are farther than --within from the part");
    }
}

// --- distance -----------------------------------------------------------------------------------

/// From the deepest within the reference to the farthest out of it.
constexpr std::array<const char*, 7> kColors{"#2166ac", "#67a9cf", "#d1e5f0", "#eeeeee",
                                             "#fddbc7", "#ef8a62", "#b2182b"};
constexpr int kBands = static_cast<int>(kColors.size());

/// The band of a signed deviation; the middle one is that around 0.
int BandOf(double deviation, double greatest)
{
    const double place = greatest > 0 ? deviation / greatest : 0; // in [-1, 1]
    return std::clamp(static_cast<int>(std::floor((place + 1) / 2 * kBands)), 0, kBands - 1);
}

double BandStart(int band, double greatest) { return greatest * (2.0 * band / kBands - 1); }

std::string BandText(int band, double greatest)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%+.3g to %+.3g", BandStart(band, greatest),
                  BandStart(band + 1, greatest));
    return text.data();
}

/// Of each triangle the signed deviation of the largest magnitude, at its corners and its centroid.
std::vector<double> DeviationsOf(const Part& part, const Part& reference)
{
    std::vector<Vec3d> samples = part.points;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        samples.push_back((CornerOf(part, i) + CornerOf(part, i + 1) + CornerOf(part, i + 2)) / 3);
    }
    const auto distances =
        MeshUtils::CloudDistancesToMesh(reference.points, reference.indices, samples, false);
    Session::CheckStopped();
    std::vector<double> deviations;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        double largest = distances[part.points.size() + i / 3];
        for (std::size_t k = i; k < i + 3; ++k) {
            const double there = distances[static_cast<std::size_t>(part.indices[k])];
            largest = std::fabs(there) > std::fabs(largest) ? there : largest;
        }
        deviations.push_back(largest);
    }
    return deviations;
}

Json BoundJson(const MeshUtils::HausdorffBound& bound)
{
    Json json;
    json["lower"] = bound.lower;
    json["upper"] = bound.upper;
    json["triangle"] = bound.triangle;
    json["point"] = bound.point;
    json["nearest_triangle"] = bound.nearestTriangle;
    json["nearest"] = bound.nearest;
    return json;
}

void TellBound(Session& session, const char* from, const char* to,
               const MeshUtils::HausdorffBound& bound)
{
    session.Print("%-9s -> %-9s  %.6g to %.6g, triangle %d at (%.6g, %.6g, %.6g)\n", from, to,
                  bound.lower, bound.upper, bound.triangle, bound.point[0], bound.point[1],
                  bound.point[2]);
}

/// How the deviations are spread, as text, in the result and as a picture.
void TellDeviations(Session& session, const Part& part, const std::vector<double>& deviations)
{
    double greatest = 0;
    for (const double deviation : deviations) {
        greatest = std::max(greatest, std::fabs(deviation));
    }
    SvgMeshMarks marks;
    std::array<std::size_t, kBands> counts{};
    for (const double deviation : deviations) {
        marks.triangles.push_back(BandOf(deviation, greatest));
        ++counts[static_cast<std::size_t>(marks.triangles.back())];
    }
    SvgWriter picture(kPictureSize);
    Json bands = Json::List();
    for (int band = 0; band < kBands; ++band) {
        const auto i = static_cast<std::size_t>(band);
        const std::string text = BandText(band, greatest);
        session.Print("%-22s %8zu triangles, %5.1f %%\n", text.c_str(), counts[i],
                      100 * static_cast<double>(counts[i]) /
                          static_cast<double>(deviations.size()));
        Json item;
        item["from"] = BandStart(band, greatest);
        item["to"] = BandStart(band + 1, greatest);
        item["triangles"] = counts[i];
        bands.Add(std::move(item));
        marks.styles.push_back({kColors[i], kColors[i], 0.5});
        picture.AddLegend(text, {"#999", kColors[i], 0.5});
    }
    session.Result()["deviations"] = std::move(bands);
    if (session.WantsPicture()) {
        marks.styles.push_back({"#444", "none", 0.6});
        MarkCreases(part, 0.6, kBands, marks);
        picture.AddMesh(part, kView, FacetStyle(), marks);
        session.WritePicture(picture);
    }
}

void RunDistance(Session& session)
{
    const Part part = session.ReadWeldedPart(session.Input(0), 0);
    const Part reference = session.ReadWeldedPart(session.Input(1), 0);
    const auto bounds = MeshUtils::HausdorffBounds(part, reference, session.Number("--accuracy"));
    Session::CheckStopped();
    if (bounds.first.triangle < 0) {
        EndUnusable(session.Input(0) + ", " + session.Input(1));
    }
    Json& result = session.Result();
    result["lower"] = bounds.lower;
    result["upper"] = bounds.upper;
    result["first"] = BoundJson(bounds.first);
    result["second"] = BoundJson(bounds.second);
    TellBound(session, "part", "reference", bounds.first);
    TellBound(session, "reference", "part", bounds.second);
    session.Print("Hausdorff distance       %.6g to %.6g\n", bounds.lower, bounds.upper);

    const std::vector<double> deviations = DeviationsOf(part, reference);
    TellDeviations(session, part, deviations);
    if (session.HasOutput()) {
        std::string table = "triangle,deviation\n";
        for (std::size_t i = 0; i < deviations.size(); ++i) {
            table += std::to_string(i) + ',' + NumberText(deviations[i]) + '\n';
        }
        session.WriteText(table, session.Output());
    }
    if (session.Has("--within") && !(bounds.upper <= session.Number("--within"))) {
        session.Defect("beyond_limit", "the surfaces are, or may be, farther apart than " +
                                           NumberText(session.Number("--within")));
    }
}

// --- holes --------------------------------------------------------------------------------------

const char* EndText(MeshUtils::HoleEnd end)
{
    switch (end) {
    case MeshUtils::HoleEnd::Through:
        return "through";
    case MeshUtils::HoleEnd::Flat:
        return "flat";
    case MeshUtils::HoleEnd::Pointed:
        break;
    }
    return "pointed";
}

void TellHole(Session& session, const MeshUtils::DrillHoleStack& hole)
{
    const Vec3d& e = hole.entry;
    session.Print("hole at %.3f %.3f %.3f along %.4f %.4f %.4f%s%s:", e[0], e[1], e[2],
                  hole.axis[0] + 0.0, hole.axis[1] + 0.0, hole.axis[2] + 0.0,
                  hole.isCounterbored ? ", counterbored" : "",
                  hole.isCountersunk ? ", countersunk" : "");
    for (const MeshUtils::HoleStep& step : hole.steps) {
        if (step.isCone) {
            session.Print(" [%.3f to %.3f,", step.diameter, step.endDiameter);
        } else {
            session.Print(" [%.3f,", step.diameter);
        }
        session.Print(" %.3f to %.3f deep]", step.from, step.to);
    }
    switch (hole.end) {
    case MeshUtils::HoleEnd::Through:
        session.Print(" through\n");
        break;
    case MeshUtils::HoleEnd::Flat:
        session.Print(" flat floor\n");
        break;
    case MeshUtils::HoleEnd::Pointed:
        session.Print(" point at %.3f\n", hole.tipDepth);
        break;
    }
}

Json HoleJson(const MeshUtils::DrillHoleStack& hole)
{
    Json json;
    json["entry"] = hole.entry;
    json["axis"] = hole.axis;
    json["depth"] = hole.tipDepth;
    json["end"] = EndText(hole.end);
    json["is_counterbored"] = hole.isCounterbored;
    json["is_countersunk"] = hole.isCountersunk;
    Json steps = Json::List();
    for (const MeshUtils::HoleStep& step : hole.steps) {
        Json item;
        item["diameter"] = step.diameter;
        item["end_diameter"] = step.endDiameter;
        item["start"] = step.from;
        item["stop"] = step.to;
        item["is_cone"] = step.isCone;
        steps.Add(std::move(item));
    }
    json["steps"] = std::move(steps);
    return json;
}

std::string TableOf(const std::vector<MeshUtils::DrillHoleStack>& holes)
{
    std::string table = "hole,x,y,z,axis x,axis y,axis z,step,diameter,end diameter,from,to,end,"
                        "depth\n";
    for (std::size_t i = 0; i < holes.size(); ++i) {
        const MeshUtils::DrillHoleStack& hole = holes[i];
        for (std::size_t k = 0; k < hole.steps.size(); ++k) {
            const MeshUtils::HoleStep& step = hole.steps[k];
            table += std::to_string(i) + ',' + PointText(hole.entry) + ',' + PointText(hole.axis) +
                     ',' + std::to_string(k) + ',' + NumberText(step.diameter) + ',' +
                     NumberText(step.endDiameter) + ',' + NumberText(step.from) + ',' +
                     NumberText(step.to) + ',' + EndText(hole.end) + ',' +
                     NumberText(hole.tipDepth) + '\n';
        }
    }
    return table;
}

/// A circle of the hole, as the view shows it.
Polyline CircleOf(const MeshUtils::DrillHoleStack& hole, double depth, double diameter)
{
    constexpr int kCorners = 36;
    const TransformBase<3> frame =
        Transform::BuildTransformAxisOrigin(hole.axis, hole.entry + depth * hole.axis);
    Polyline circle;
    for (int k = 0; k < kCorners; ++k) {
        const double angle = kTwoPi<double> * k / kCorners;
        const Vec3d point =
            frame * Vec3d(diameter / 2 * std::cos(angle), diameter / 2 * std::sin(angle), 0);
        circle.push_back(SvgWriter::Projected(point, kView));
    }
    return circle;
}

SvgWriter PictureOf(const Part& part, const std::vector<MeshUtils::DrillHoleStack>& holes)
{
    const SvgStyle through{"#06c", "none", 1.6};
    const SvgStyle blind{"#d22", "none", 1.6};
    const SvgStyle axis{"#0a0", "none", 1, true};
    SvgWriter picture(kPictureSize);
    picture.AddMesh(part, kView, FacetStyle());
    for (const MeshUtils::DrillHoleStack& hole : holes) {
        const SvgStyle& style = hole.end == MeshUtils::HoleEnd::Through ? through : blind;
        picture.AddPolyline({SvgWriter::Projected(hole.entry, kView),
                             SvgWriter::Projected(hole.entry + hole.tipDepth * hole.axis, kView)},
                            axis);
        picture.AddRegion({CircleOf(hole, 0, hole.steps.front().diameter)}, style);
        for (const MeshUtils::HoleStep& step : hole.steps) {
            picture.AddRegion({CircleOf(hole, step.to, step.endDiameter)}, style);
        }
    }
    picture.AddLegend("through", through);
    picture.AddLegend("blind", blind);
    picture.AddLegend("axis, as deep as the hole", axis);
    return picture;
}

void RunHoles(Session& session)
{
    const Part part = session.ReadWeldedPart(session.Input(), 0);
    const auto holes = MeshUtils::DrillHoleStacks(part, session.Number("--crease") * kDegree,
                                                  session.Tolerance(), session.Number("--fraction"),
                                                  session.Number("--axis-tolerance") * kDegree);
    Session::CheckStopped();
    Json list = Json::List();
    for (const MeshUtils::DrillHoleStack& hole : holes) {
        TellHole(session, hole);
        list.Add(HoleJson(hole));
    }
    session.Print("%zu holes\n", holes.size());
    session.Result()["holes"] = std::move(list);
    if (session.HasOutput()) {
        session.WriteText(TableOf(holes), session.Output());
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(part, holes));
    }
}

// --- imprint ------------------------------------------------------------------------------------

constexpr int kLines = 360;               // around a center, of which every 24th is drawn
constexpr double kAroundTolerance = 1e-7; // of the radius: rounding, and no more

/// Radius over the size of the part above which the lines wind round and round, for hours maybe.
constexpr double kMostAround = 100;

/// Straightest lines of one length from the point of the part nearest to `point`.
std::vector<Path> LinesAround(const Part& part, const Vec3d& point, double length, double tolerance)
{
    const Tree::QOFTriangleTree<3, double> tree(part.points, part.indices);
    const auto nearest = tree.ClosestPoint(point, kFarAway);
    std::vector<Path> lines;
    if (nearest.id < 0) {
        return lines;
    }
    const auto corner = 3 * static_cast<std::size_t>(nearest.id);
    const Vec3d& a = CornerOf(part, corner);
    const Vec3d& b = CornerOf(part, corner + 1);
    const Vec3d& c = CornerOf(part, corner + 2);
    const TransformBase<3> frame = Transform::BuildTransformThreePoints(a, b, c);
    // A little inside the triangle: at a corner of the part not all directions lead along it.
    const Vec3d start = nearest.point * 0.999 + (a + b + c) * (0.001 / 3);
    Mesh::MeshTracer tracer(part, tolerance);
    for (int i = 0; i < kLines; ++i) {
        const double angle = kTwoPi<double> * i / kLines;
        const Vec3d ahead = frame * Vec3d(std::cos(angle), std::sin(angle), 0);
        lines.push_back(tracer.CollectPath(start, ahead - a, length));
        Session::CheckStopped();
    }
    return lines;
}

using Place = std::array<double, 3>;
using Edge = std::pair<Place, Place>;

Edge EdgeOf(const Vec3d& a, const Vec3d& b)
{
    return std::minmax(Place{a[0], a[1], a[2]}, Place{b[0], b[1], b[2]});
}

/// Stretches of a path that are no edges of the mesh: no way was found there.
std::size_t BreaksOf(const Path& path, const Part& mesh)
{
    std::set<Edge> edges;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        edges.insert(EdgeOf(CornerOf(mesh, i), CornerOf(mesh, i % 3 == 2 ? i - 2 : i + 1)));
    }
    std::size_t breaks = 0;
    for (std::size_t i = 1; i < path.size(); ++i) {
        breaks += edges.contains(EdgeOf(path[i - 1], path[i])) ? 0 : 1;
    }
    return breaks;
}

SvgWriter PictureOf(Mesh::MeshImprint& imprint, const Path& curve, const std::vector<Path>& lines)
{
    // The lines are imprinted, too, after the painting: pieces keep the color of their triangle.
    std::vector<Path> drawn;
    for (std::size_t i = 0; i < lines.size(); i += 24) {
        drawn.push_back(lines[i]);
        imprint.ImprintPath(drawn.back(), false, true);
    }
    Part mesh;
    std::vector<unsigned char> flags;
    imprint.Export(mesh, flags);
    SvgMeshMarks marks;
    marks.styles = {{"#fc6", "#fc6", 0.5}, {"#d22", "none", 2}, {"#06c", "none", 1.2}};
    for (const unsigned char flag : flags) {
        marks.triangles.push_back(flag == 0 ? 0 : -1);
    }
    std::map<Edge, int> styles;
    const auto add = [&](const Path& path, int style) {
        for (std::size_t i = 1; i < path.size(); ++i) {
            styles[EdgeOf(path[i - 1], path[i])] = style;
        }
    };
    for (const Path& line : drawn) {
        add(line, 2);
    }
    add(curve, 1);
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const Vec3d& from = CornerOf(mesh, i);
        const Vec3d& to = CornerOf(mesh, i % 3 == 2 ? i - 2 : i + 1);
        const auto found = styles.find(EdgeOf(from, to));
        if (found != styles.end()) {
            marks.lines.push_back({static_cast<int>(i / 3), from, to, found->second});
        }
    }
    SvgWriter picture(kPictureSize);
    picture.AddMesh(mesh, kView, FacetStyle(), marks);
    picture.AddLegend("imprinted curve", marks.styles[1]);
    if (!lines.empty()) {
        picture.AddLegend("straightest lines", marks.styles[2]);
    }
    return picture;
}

/// Points moved to the nearest places of the part; those farther than the tolerance are told.
std::size_t PointsOff(const Part& part, Path& path, bool isMoved, double tolerance)
{
    const Tree::QOFTriangleTree<3, double> tree(part.points, part.indices);
    const auto nearest = tree.ClosestPoints(path, kFarAway, {});
    Session::CheckStopped();
    std::size_t off = 0;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (isMoved) {
            path[i] = nearest[i].point;
        } else {
            off += Length(nearest[i].point - path[i]) <= tolerance ? 0 : 1;
        }
    }
    return off;
}

double AreaOf(const Part& part)
{
    const auto areas = Mesh::Areas(part);
    return std::accumulate(areas.begin(), areas.end(), 0.0);
}

void RunImprint(Session& session)
{
    RefuseStandardOutput(session, {"--path"});
    const bool isAround = session.Has("--around");
    if (isAround == (session.Inputs().size() == 2) || isAround != session.Has("--radius")) {
        session.RefuseUse("give a file of the path's points behind the part, or --around with "
                          "--radius");
    }
    const std::string keep = session.Text("--keep");
    const Part part = session.ReadWeldedPart(session.Input(0), 0);
    const double radius = isAround ? session.Number("--radius") : 0;
    const double tolerance =
        session.Has("--tolerance") || !isAround ? session.Tolerance() : kAroundTolerance * radius;
    std::vector<Path> lines;
    Path curve;
    std::size_t off = 0;
    if (isAround) {
        const auto box = Bounding::BoxOfPoints(part.points);
        const double size = Length(box.max - box.min);
        if (radius > kMostAround * size) {
            session.RefuseUse("--radius: more than a hundred times round a part of the size " +
                              NumberText(size) + " leads nowhere; mind the unit");
        }
        lines = LinesAround(part, session.Vector("--around"), radius, tolerance);
        if (lines.empty()) {
            session.RefuseUse("--around: no place of the part is near that point");
        }
        for (const Path& line : lines) {
            curve.push_back(line.back());
        }
    } else {
        curve = ReadSpacePoints(session, session.Input(1));
        off = PointsOff(part, curve, session.Has("--project"), tolerance);
    }
    const bool isClosed = isAround || session.Has("--closed");
    if (isClosed && curve.size() > 1 && curve.front() == curve.back()) {
        curve.pop_back(); // the imprint leads back by itself
    }
    const std::size_t given = curve.size();
    if (given < 3) {
        session.RefuseUse("a path has three points at least");
    }

    Mesh::MeshImprint imprint(part, tolerance);
    imprint.ImprintPath(curve, isClosed, true);
    Session::CheckStopped();
    Part whole;
    std::vector<unsigned char> flags;
    imprint.Export(whole, flags);
    const std::size_t breaks = off == given ? 0 : BreaksOf(curve, whole);
    const bool isRegion = imprint.PaintInsideOutside() && isClosed;
    Part inside;
    const bool hasInside = imprint.Export(inside, true) && isRegion;

    Json& result = session.Result();
    result["points"] = given;
    result["points_off"] = off;
    result["breaks"] = breaks;
    result["path_edges"] = curve.size() - 1;
    result["triangles"] = whole.indices.size() / 3;
    result["region"] = hasInside;
    session.Print("curve of %zu edges, mesh of %zu triangles\n", curve.size() - 1,
                  whole.indices.size() / 3);
    if (hasInside) {
        result["inside_triangles"] = inside.indices.size() / 3;
        result["inside_area"] = AreaOf(inside);
        session.Print("%zu triangles inside, area %.9g\n", inside.indices.size() / 3,
                      AreaOf(inside));
    }
    if (session.Has("--path")) {
        session.WriteText(PolylineText(std::vector<Path>{curve}, false), session.Text("--path"));
    }
    if (session.HasOutput() && (keep == "all" || hasInside)) {
        Part kept = std::move(whole);
        if (keep != "all") {
            imprint.Export(kept, keep == "inside");
        }
        session.WritePart(kept);
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(imprint, curve, lines));
    }
    if (off > 0) {
        session.Defect("points_off", std::to_string(off) +
                                         " points are farther than --tolerance from the part and "
                                         "were left out; --project moves them there");
    }
    if (breaks > 0) {
        session.Defect("broken_path", "the path finds no way at " + std::to_string(breaks) +
                                          " places; give points on both sides of sharp edges");
    }
    if (!hasInside && (isClosed || keep != "all")) {
        session.Defect("no_region", "the curve does not bound a region" +
                                        std::string(keep == "all" ? "" : "; no mesh was written"));
    }
}

} // namespace

Command NearestCommand()
{
    Command command;
    command.name = "nearest";
    command.summary = "Tells the nearest place of a part to each of many points";
    command.description =
        "Points come from a file or the standard input, x, y and z to a line, apart by blanks, "
        "commas or semicolons. Without --output the table is printed.";
    command.inputs = {"PART", "POINTS"};
    command.leastInputs = 2;
    command.mostInputs = 2;
    command.output =
        "write a table (CSV) of each point, its nearest place, the number of that triangle from "
        "0, and the distance";
    command.options = {
        Opt::Flag("--signed", "give negative distances to points behind their nearest triangle, so "
                              "inside of a closed part"),
        Opt::Number("--within", "LENGTH", "end with 1 when a point is farther away").From(0)};
    command.defects = "a point is farther away than --within";
    command.examples = {{"sorvane nearest bracket.stl - <<< '10 10 30'",
                         "the place of the part nearest to (10, 10, 30)"}};
    command.run = RunNearest;
    return command;
}

Command DistanceCommand()
{
    Command command;
    command.name = "distance";
    command.summary = "Tells how far two parts are apart at most: bounds both ways, and where";
    command.description =
        "The Hausdorff distance of the two surfaces, all of their points counted, lies between the "
        "two bounds that are told. Besides, the deviation of the part from the reference is told "
        "in "
        "seven bands, of each triangle the largest at its corners and its centroid: positive ones "
        "stand out of the reference, negative ones lie within it.";
    command.inputs = {"PART", "REFERENCE"};
    command.leastInputs = 2;
    command.mostInputs = 2;
    command.output = "write a table (CSV) of the deviation of each triangle of PART";
    command.picture = "write a picture of PART in the colors of its deviations, red out of the "
                      "reference, blue within";
    command.options = {
        Opt::Number("--accuracy", "LENGTH",
                    "how far the bounds may be apart; 0 is the least there is, a thousandth of the "
                    "expected distance is fast")
            .From(0)
            .Default("0"),
        Opt::Number("--within", "LENGTH", "end with 1 when the upper bound is above that").From(0)};
    command.defects = "the parts are, or may be, farther apart than --within";
    command.examples = {{"sorvane distance bracket.stl bracket_ascii.stl --within 0.001",
                         "check that both files hold the same part"}};
    command.run = RunDistance;
    return command;
}

Command HolesCommand()
{
    Command command;
    command.name = "holes";
    command.summary = "Lists the drilled holes of a part: axis, diameters, depths";
    command.description =
        "Each hole is told once for its axis and mouth, with its steps from the mouth down. The "
        "defaults suit parts in millimeters whose chords are as long as is usual.";
    command.output = "write a table (CSV) of all steps of all holes";
    command.tolerance = "how far corners may lie off a circle or a wall, in the unit of the part";
    command.toleranceDefault = "0.02";
    command.picture = "write a picture of the part with mouths and steps, red where holes end "
                      "blind and blue where "
                      "they go through, and axes as deep as the holes";
    command.options = {
        Opt::Number("--crease", "DEGREES", "edges sharper than this may bound a circle")
            .Within(0, 180)
            .Default("23"),
        Opt::Number("--fraction", "SHARE", "how much of a rim and of a wall has to be there")
            .Within(0, 1)
            .Default("0.8"),
        Opt::Number("--axis-tolerance", "DEGREES", "how far axes of one hole may differ")
            .Within(0, 90)
            .Default("1.15")};
    command.examples = {
        {"sorvane holes bracket.stl --svg holes.svg", "list the holes of the part and draw them"}};
    command.run = RunHoles;
    return command;
}

Command ImprintCommand()
{
    Command command;
    command.name = "imprint";
    command.summary = "Cuts a curve into a mesh, and takes out what lies inside of it";
    command.description =
        "The curve runs through the points of a file, x, y and z to a line, which lie on the part; "
        "or, with --around, it is made of all places that are --radius from a point along the "
        "surface. Afterwards it runs along edges of the mesh. Give points on both sides of sharp "
        "edges.";
    command.inputs = {"PART", "PATH"};
    command.leastInputs = 1;
    command.mostInputs = 2;
    command.output = "write the mesh with the curve in it, or the part of it that --keep names";
    command.tolerance =
        "how far points may lie from the surface, and from the corners and edges that "
        "they snap to; with --around 1e-7 of the radius unless told";
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the mesh with the curve in red, its inside yellow, and "
                      "the lines of --around "
                      "in blue";
    command.options = {
        Opt::Flag("--closed", "lead the path from its last point back to the first")
            .Without({"--around"}),
        Opt::Flag("--project", "move the points to the nearest places of the part")
            .Without({"--around"}),
        Opt::Numbers("--around", "X,Y,Z", "a curve around the place nearest to this point")
            .Exactly(3),
        Opt::Number("--radius", "LENGTH", "length of the lines from there to the curve").Positive(),
        Opt::Choice("--keep", "WHAT", {"all", "inside", "outside"},
                    "the triangles that --output gets")
            .Default("all")
            .With({"--output"}),
        Opt::File("--path", "FILE",
                  "write the curve as it runs in the mesh, x, y and z to a line")};
    command.defects =
        "a point is off the part, the path is broken, or a closed one bounds no region";
    command.examples = {{"sorvane imprint bracket.stl --around 20,0,10 --radius 8 --keep inside -o "
                         "region.stl",
                         "cut out what is within 8 of a point along the surface"}};
    command.run = RunImprint;
    return command;
}

} // namespace Cli
