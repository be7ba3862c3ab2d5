// sorvane convert, weld, components: a part in another form, with its corners joined, and in its
// components.

#include "Commands.h"
#include "Drawing.h"
#include "Measures.h"
#include "Session.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <numbers>
#include <string>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::MeshFileForm;

// --- convert
// --------------------------------------------------------------------------------------

/// One point a line, with digits enough for the same bits.
std::string PointsText(const std::vector<Vec3d>& points)
{
    std::string text;
    for (const Vec3d& p : points) {
        std::array<char, 96> line{};
        std::snprintf(line.data(), line.size(), "%.17g %.17g %.17g\n", p.x(), p.y(), p.z());
        text += line.data();
    }
    return text;
}

/// The form's word, from the option or from the extension.
std::string FormWord(const Session& session)
{
    if (session.Has("--form")) {
        return session.Text("--form");
    }
    std::string extension = std::filesystem::path(session.Output()).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    static const std::map<std::string, std::string> words{
        {".stl", "stl"}, {".tipc", "tipc"}, {".txt", "points"}, {".xyz", "points"}};
    const auto found = words.find(extension);
    if (found != words.end()) {
        return found->second;
    }
    if (session.Output() != "-") {
        session.RefuseUse(session.Output() +
                          ": the extension names no form; end it with .stl, .tipc or "
                          ".txt, or give --form");
    }
    return "stl";
}

/// About X, then about Y, then about Z, in degrees; quarter turns without rounding.
TransformBase<3> TurnOf(const Vec3d& degrees)
{
    TransformBase<3> turn;
    for (int axis = 0; axis < 3; ++axis) {
        const double quarters = std::remainder(degrees[axis], 360.0) / 90;
        const bool isRound = quarters == std::round(quarters);
        const double angle = quarters * std::numbers::pi / 2;
        const double cosine = isRound ? std::round(std::cos(angle)) : std::cos(angle);
        const double sine = isRound ? std::round(std::sin(angle)) : std::sin(angle);
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        TransformBase<3> one;
        one(u, u) = cosine;
        one(v, v) = cosine;
        one(u, v) = -sine;
        one(v, u) = sine;
        turn = one * turn;
    }
    return turn;
}

void PrintBox(Session& session, const char* when, const Part& part)
{
    const auto box = Bounding::BoxOfPoints(part.points);
    session.Print("%-13s box (%.6g, %.6g, %.6g) to (%.6g, %.6g, %.6g)\n", when, box.min.x(),
                  box.min.y(), box.min.z(), box.max.x(), box.max.y(), box.max.z());
    session.Result()["box"]["min"] = box.min;
    session.Result()["box"]["max"] = box.max;
}

/// Leaves out the triangles that name a point twice, and then the points of no triangle; how many
/// triangles there were.
std::size_t DropCollapsed(Part& part)
{
    std::vector<int> kept;
    kept.reserve(part.indices.size() / 3);
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const int a = part.indices[i];
        const int b = part.indices[i + 1];
        const int c = part.indices[i + 2];
        if (a != b && b != c && c != a) {
            kept.push_back(static_cast<int>(i / 3));
        }
    }
    const std::size_t dropped = part.indices.size() / 3 - kept.size();
    if (dropped > 0) {
        std::vector<int> scratch;
        part = PartOfTriangles(part, kept, scratch);
    }
    return dropped;
}

/// Says that no triangle of the part is left.
void TellCollapsed(Session& session)
{
    session.Defect("empty", NameOf(session.Input()) +
                                ": all triangles have collapsed; give a smaller --tolerance");
}

void RunConvert(Session& session)
{
    if (!session.HasOutput()) {
        session.RefuseUse("give the file to write with -o");
    }
    const std::string form = FormWord(session);
    MeshFileForm formRead = MeshFileForm::Unknown;
    Part part = session.ReadPart(session.Input(), &formRead);
    MeshUtils::MeshFileResult asRead;
    asRead.form = formRead;
    session.Print("read          %s, %zu triangles on %zu points\n", MeshFileText(asRead).c_str(),
                  part.indices.size() / 3, part.points.size());
    session.Result()["form_read"] = MeshFileText(asRead);
    if (session.Has("--tolerance")) {
        Mesh::FilterForUniqueness(part, session.Tolerance());
        // Points alone are all written, also those whose triangles have become nothing.
        const std::size_t dropped = form == "points" ? 0 : DropCollapsed(part);
        session.Print("joined        %zu points are left", part.points.size());
        session.Print(dropped > 0 ? ", %zu collapsed triangles left out\n" : "\n", dropped);
        session.Result()["collapsed_triangles"] = dropped;
        if (dropped > 0 && part.indices.empty()) {
            TellCollapsed(session);
            return;
        }
    }
    PrintBox(session, "as it was", part);
    if (session.Has("--scale") || session.Has("--turn") || session.Has("--move")) {
        const auto place = Transform::BuildTranslationTransform(session.Vector("--move")) *
                           TurnOf(session.Vector("--turn")) *
                           Transform::BuildScaleTransform(session.Number("--scale"));
        part.points = place * part.points;
        PrintBox(session, "now", part);
    }
    session.Result()["triangles"] = part.indices.size() / 3;
    session.Result()["points"] = part.points.size();
    session.Result()["form"] = form;
    if (form == "points") {
        session.WriteText(PointsText(part.points), session.Output());
    } else {
        session.WritePart(part, session.Output(),
                          form == "stl"     ? MeshFileForm::BinaryStl
                          : form == "ascii" ? MeshFileForm::AsciiStl
                                            : MeshFileForm::Tipc);
    }
}

// --- weld
// -----------------------------------------------------------------------------------------

/// Makes the triangles of each component run alike, and all of them outward when the volume was
/// negative then; how many were turned.
std::size_t Orient(Part& part)
{
    const std::vector<int> before = part.indices;
    std::vector<int> scratch;
    for (const auto& triangles : Mesh::ConnectedComponents(part, Mesh::Connection::SharedEdge)) {
        Part component = PartOfTriangles(part, triangles, scratch);
        if (!Mesh::MatchNormals(component)) {
            continue;
        }
        // A triangle that was turned has its second and third index exchanged.
        const Part asItWas = PartOfTriangles(part, triangles, scratch);
        for (std::size_t t = 0; t < triangles.size(); ++t) {
            if (component.indices[3 * t + 1] != asItWas.indices[3 * t + 1]) {
                const auto at = 3 * static_cast<std::size_t>(triangles[t]);
                std::swap(part.indices[at + 1], part.indices[at + 2]);
            }
        }
    }
    if (Mesh::BoundaryEdges(part).empty() && VolumeOf(part) < 0) {
        for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
            std::swap(part.indices[i + 1], part.indices[i + 2]);
        }
    }
    std::size_t turned = 0;
    for (std::size_t i = 1; i < before.size(); i += 3) {
        turned += before[i] != part.indices[i] ? 1U : 0U;
    }
    return turned;
}

void RunWeld(Session& session)
{
    Part part = session.ReadPart(session.Input());
    const std::size_t pointsRead = part.points.size();
    Part asItWas = part;
    Mesh::FilterForUniqueness(asItWas, 0.0);
    const std::size_t openBefore = Mesh::BoundaryEdges(asItWas).size();
    Mesh::FilterForUniqueness(part, session.Tolerance());
    const std::size_t dropped = session.Has("--keep-collapsed") ? 0 : DropCollapsed(part);
    const std::size_t turned = session.Has("--orient") ? Orient(part) : 0;
    const std::size_t open = Mesh::BoundaryEdges(part).size();

    session.Print("read          %zu triangles on %zu points; %zu open edges where equal corners "
                  "are joined\n",
                  asItWas.indices.size() / 3, pointsRead, openBefore);
    session.Print(
        "joined        %zu triangles on %zu points within %g, %zu collapsed ones left out\n",
        part.indices.size() / 3, part.points.size(), session.Tolerance(), dropped);
    if (session.Has("--orient")) {
        session.Print("turned        %zu triangles\n", turned);
    }
    session.Print("open edges    %zu\n", open);
    Json& result = session.Result();
    result["tolerance"] = session.Tolerance();
    result["points_read"] = pointsRead;
    result["open_edges_read"] = openBefore;
    result["triangles"] = part.indices.size() / 3;
    result["points"] = part.points.size();
    result["collapsed_triangles"] = dropped;
    result["turned_triangles"] = turned;
    result["open_edges"] = open;
    if (part.indices.empty()) {
        TellCollapsed(session);
        return;
    }
    if (session.HasOutput()) {
        session.WritePart(part);
    }
    if (open > 0) {
        session.Defect("open");
    }
}

// --- components
// -----------------------------------------------------------------------------------

void RunComponents(Session& session)
{
    const std::string pattern = session.HasOutput() ? session.Output() : "";
    const std::size_t place = pattern.find("{}");
    if (session.HasOutput() && place == std::string::npos) {
        session.RefuseUse("-o wants a name with {} in it for the number, such as part_{}.stl");
    }
    const Part part = session.ReadWeldedPart(session.Input(), session.Tolerance());
    auto components = Mesh::ConnectedComponents(part, session.Text("--by") == "edge"
                                                          ? Mesh::Connection::SharedEdge
                                                          : Mesh::Connection::SharedPoint);
    const auto least = static_cast<std::size_t>(session.Count("--least"));
    const std::size_t all = components.size();
    std::erase_if(components, [&](const auto& triangles) { return triangles.size() < least; });
    session.Result()["components"] = all;
    session.Result()["listed"] = Json::List();
    session.Print("components    %zu", all);
    session.Print(components.size() < all ? ", %zu of them listed\n" : "\n", components.size());

    std::vector<int> scratch;
    std::size_t open = 0;
    for (std::size_t i = 0; i < components.size(); ++i) {
        Session::CheckStopped();
        const Part component = PartOfTriangles(part, components[i], scratch);
        const Measures measures = MeasuresOf(component);
        const auto box = Bounding::BoxOfPoints(component.points);
        Json entry = JsonOf(measures);
        entry["number"] = i + 1;
        entry["closed"] = measures.openEdges == 0;
        entry["box"]["min"] = box.min;
        entry["box"]["max"] = box.max;
        entry["first_triangle"] = components[i].front();
        session.Result()["listed"].Add(std::move(entry));
        session.Print("%-4zu %8zu triangles, area %.6g, ", i + 1, measures.triangles,
                      measures.area);
        if (measures.openEdges == 0) {
            session.Print("volume %.6g", measures.volume);
        } else {
            ++open;
            session.Print("%zu open edges", measures.openEdges);
        }
        session.Print(", box (%.6g, %.6g, %.6g) to (%.6g, %.6g, %.6g)\n", box.min.x(), box.min.y(),
                      box.min.z(), box.max.x(), box.max.y(), box.max.z());
        if (session.HasOutput()) {
            std::string name = pattern;
            name.replace(place, 2, std::to_string(i + 1));
            session.WritePart(component, name);
        }
    }
    if (session.WantsPicture()) {
        constexpr std::array<const char*, 8> kColors{"#8fb8de", "#f4a582", "#a6d96a", "#d9b3e6",
                                                     "#ffd966", "#8dd3c7", "#e6a0b0", "#c4c4a0"};
        Drawing::SvgMeshMarks marks;
        for (const char* color : kColors) {
            marks.styles.push_back({color, color, 0.5});
        }
        marks.styles.push_back({"#3b4252", "none", 1});
        marks.triangles.assign(part.indices.size() / 3, -1);
        for (std::size_t i = 0; i < components.size(); ++i) {
            for (const int t : components[i]) {
                marks.triangles[static_cast<std::size_t>(t)] = static_cast<int>(i % kColors.size());
            }
        }
        MarkCreases(part, std::numbers::pi / 6, static_cast<int>(kColors.size()), marks);
        Drawing::SvgWriter picture(kPictureSize);
        picture.AddMesh(part, kView, FacetStyle(), marks);
        session.WritePicture(picture);
    }
    if (open > 0) {
        session.Defect("open");
    }
}

} // namespace

Command ConvertCommand()
{
    Command command;
    command.name = "convert";
    command.summary = "Writes a part in another form, scaled, turned and moved";
    command.description =
        "The form is told by the extension: .stl is binary STL, .tipc is TIPC (coordinates bit for "
        "bit), .txt or "
        ".xyz the points alone, one a line. First it is scaled, then turned, then moved.";
    command.output = "the file to write";
    command.tolerance =
        "join corners within this length on every axis first and leave out triangles that "
        "collapse by it; without it points stay as they are, three for each triangle of an STL";
    command.options = {
        Opt::Choice("--form", "FORM", {"stl", "ascii", "tipc", "points"},
                    "the form whatever the extension: binary STL, STL as text, TIPC, points alone"),
        Opt::Number("--scale", "FACTOR",
                    "multiply all coordinates; 25.4 makes millimeters of inches")
            .Positive()
            .Default("1"),
        Opt::Numbers("--turn", "X,Y,Z", "turn about X, then about Y, then about Z, in degrees")
            .Exactly(3)
            .Default("0,0,0"),
        Opt::Numbers("--move", "X,Y,Z", "move by this vector").Exactly(3).Default("0,0,0"),
    };
    command.defects = "no triangle is left; nothing was written";
    command.examples = {
        {"sorvane convert bracket.stl -o bracket.tipc --tolerance 1e-6",
         "an STL as points and triangles"},
        {"sorvane convert bracket.stl -o inches.stl --scale 0.0393700787401575 --turn 0,0,90",
         "millimeters to inches, turned by a quarter"},
    };
    command.run = RunConvert;
    return command;
}

Command WeldCommand()
{
    Command command;
    command.name = "weld";
    command.summary = "Joins the corners of a part and leaves out what collapses";
    command.description =
        "Corners join where they lie within the tolerance of each other on every axis. What is "
        "still open afterward has real gaps, or needs a larger tolerance: sorvane report tells "
        "how far the gaps reach.";
    command.output = "the file to write";
    command.tolerance = "join corners within this length on every axis";
    command.toleranceDefault = "1e-6";
    command.options = {
        Opt::Flag("--orient",
                  "make the triangles of each component run alike, most of them as they do, and a "
                  "closed part outward"),
        Opt::Flag("--keep-collapsed", "keep triangles that name a point twice"),
    };
    command.defects = "the part is open still, or nothing is left of it";
    command.examples = {
        {"sorvane weld bracket.stl --tolerance 1e-4 -o - | sorvane report -",
         "join, and look at the result"},
    };
    command.run = RunWeld;
    return command;
}

Command ComponentsCommand()
{
    Command command;
    command.name = "components";
    command.summary = "Lists the components of a part, and writes each to a file";
    command.output = "write each component; {} in the name stands for its number, from 1";
    command.tolerance = "join corners within this length on every axis first";
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the components in colors";
    command.options = {
        Opt::Choice("--by", "WHAT", {"edge", "point"}, "what holds a component together")
            .Default("edge"),
        Opt::Count("--least", "N", "leave out components of fewer triangles").Default("1"),
    };
    command.defects = "a component is open";
    command.examples = {
        {"sorvane components bracket.stl -o bracket_{}.stl", "every body of a file as a file"},
    };
    command.run = RunComponents;
    return command;
}

} // namespace Cli
