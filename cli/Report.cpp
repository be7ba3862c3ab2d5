// sorvane report: whether a part is fit to be machined from, in plain words, figures and pictures.

#include "Commands.h"
#include "ReportPictures.h"
#include "Session.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Report = MeshUtils::MeshReport<double>;

/// The triangles by value; other than `Mesh::SoupFromIndexedPoints` also of a file with fewer than
/// three points.
Mesh::TriangleSoup<3, double> SoupOf(const Part& part)
{
    Mesh::TriangleSoup<3, double> soup(part.indices.size() / 3);
    for (std::size_t i = 0; i < 3 * soup.size(); ++i) {
        soup[i / 3][i % 3] = part.points[static_cast<std::size_t>(part.indices[i])];
    }
    return soup;
}

Findings FindingsOf(Part mesh, const Report& report)
{
    Findings findings;
    findings.mesh = std::move(mesh);
    const auto edgeOf = [&](int slot) {
        const int* const corner = findings.Corners(slot / 3);
        return Findings::Edge(std::minmax(corner[slot % 3], corner[(slot + 1) % 3]));
    };
    findings.turned = report.misorientedTriangles;
    findings.folded = report.foldedTriangles;
    findings.slivers = report.degenerateTriangles;
    std::set<Findings::Edge> crowded;
    for (const int slot : report.nonManifoldSlots) {
        crowded.insert(edgeOf(slot));
    }
    for (const int slot : report.openSlots) {
        const Findings::Edge edge = edgeOf(slot);
        (crowded.contains(edge) ? findings.crowdedEdges : findings.boundaryEdges).push_back(edge);
    }
    return findings;
}

/// Number of chains that the edges form.
std::size_t ChainCount(const std::vector<Findings::Edge>& edges)
{
    std::map<int, int> above; // toward the chain's representative
    const auto top = [&](int point) {
        int at = above.try_emplace(point, point).first->first;
        while (above[at] != at) {
            at = above[at] = above[above[at]];
        }
        return at;
    };
    for (const auto& [a, b] : edges) {
        above[top(a)] = top(b);
    }
    return static_cast<std::size_t>(std::count_if(
        above.begin(), above.end(), [](const auto& entry) { return entry.first == entry.second; }));
}

void PrintPlaces(Session& session, const char* what, std::size_t count,
                 const std::function<Vec3d(std::size_t)>& place)
{
    constexpr std::size_t kMostPlaces = 4;
    for (std::size_t i = 0; i < std::min(count, kMostPlaces); ++i) {
        const Vec3d p = place(i);
        session.Print("              %s (%.6g, %.6g, %.6g)\n", what, p.x(), p.y(), p.z());
    }
    if (count > kMostPlaces) {
        session.Print("              and %zu more\n", count - kMostPlaces);
    }
}

void PrintEdges(Session& session, const Findings& findings,
                const std::vector<Findings::Edge>& edges)
{
    PrintPlaces(session, "edge near", edges.size(), [&](std::size_t i) {
        return (findings.Point(edges[i].first) + findings.Point(edges[i].second)) / 2;
    });
}

void PrintTriangles(Session& session, const Findings& findings, const std::vector<int>& triangles)
{
    PrintPlaces(session, "triangle near", triangles.size(), [&](std::size_t i) {
        const int* const corner = findings.Corners(triangles[i]);
        return (findings.Point(corner[0]) + findings.Point(corner[1]) + findings.Point(corner[2])) /
               3;
    });
}

const char* Plural(std::size_t count) { return count == 1 ? "" : "s"; }

void PrintMeasures(Session& session, const Findings& findings, const Report& report,
                   std::size_t components)
{
    const std::size_t count = findings.mesh.indices.size() / 3;
    const auto [low, high] = findings.Box();
    session.Print("mesh          %zu triangles on %zu points, corners joined within %g\n", count,
                  findings.mesh.points.size(), report.tolerance);
    session.Print("components    %zu\n", components);
    session.Print("box           (%.6g, %.6g, %.6g) to (%.6g, %.6g, %.6g)\n", low.x(), low.y(),
                  low.z(), high.x(), high.y(), high.z());
    session.Print("surface       area %.8g, mean edge %.6g\n",
                  report.meanTriangleArea * static_cast<double>(count), report.meanEdgeLength);
    session.Print("volume        %.8g, center (%.6g, %.6g, %.6g)\n", report.volume,
                  report.centroid.x(), report.centroid.y(), report.centroid.z());
}

/// One paragraph for each kind of defect.
void TellDefects(Session& session, const Findings& findings, const Report& report,
                 const MeshUtils::GapReport& gaps)
{
    if (!std::isfinite(report.meanEdgeLength)) {
        session.Defect("not_finite");
        session.Print("NUMBERS       some coordinates are no numbers, or far too large\n");
    }
    if (const std::size_t count = findings.boundaryEdges.size(); count > 0) {
        session.Defect("open");
        const std::size_t chains = ChainCount(findings.boundaryEdges);
        session.Print("OPEN          %zu edge%s only one triangle: %zu hole%s or crack%s; the "
                      "volume means nothing\n",
                      count, count == 1 ? " has" : "s have", chains, Plural(chains),
                      Plural(chains));
        PrintEdges(session, findings, findings.boundaryEdges);
        if (!gaps.invalidMesh && gaps.gap > 0 && gaps.gap < 1e154) {
            session.Print("              the open components lie up to %.6g apart\n", gaps.gap);
        }
    }
    if (const std::size_t count = findings.crowdedEdges.size(); count > 0) {
        session.Defect("crowded");
        session.Print("CROWDED       %zu edge%s shared by three or more triangles: walls without "
                      "thickness, or bodies that touch\n",
                      count, count == 1 ? " is" : "s are");
        PrintEdges(session, findings, findings.crowdedEdges);
    }
    if (const std::size_t count = findings.turned.size(); count > 0) {
        session.Defect("turned");
        session.Print(
            "TURNED        %zu triangle%s wound against a neighbor: one of each pair has its "
            "outside inside\n",
            count, count == 1 ? " is" : "s are");
        PrintTriangles(session, findings, findings.turned);
    }
    if (const std::size_t count = findings.slivers.size(); count > 0) {
        session.Defect("slivers");
        session.Print("SLIVERS       %zu triangle%s no higher than %g\n", count,
                      count == 1 ? " is" : "s are", 2 * report.tolerance);
        PrintTriangles(session, findings, findings.slivers);
    }
    if (const std::size_t count = findings.folded.size(); count > 0) {
        session.Defect("folded");
        session.Print(
            "FOLDED        %zu triangle%s against a neighbor: folded back onto it, or turned "
            "over\n",
            count, count == 1 ? " faces" : "s face");
        PrintTriangles(session, findings, findings.folded);
    }
    if (report.openSlots.empty() && report.volume < 0) {
        session.Defect("inside_out");
        session.Print(
            "INSIDE OUT    the volume is negative: all triangles face into the material\n");
    }
}

void FillResult(Json& result, const Findings& findings, const Report& report,
                const MeshUtils::GapReport& gaps, std::size_t components)
{
    const auto [low, high] = findings.Box();
    const std::size_t count = findings.mesh.indices.size() / 3;
    result["triangles"] = count;
    result["points"] = findings.mesh.points.size();
    result["components"] = components;
    result["bodies"] =
        Mesh::ConnectedComponents(findings.mesh, Mesh::Connection::SharedPoint).size();
    result["tolerance"] = report.tolerance;
    result["box"]["min"] = low;
    result["box"]["max"] = high;
    result["area"] = report.meanTriangleArea * static_cast<double>(count);
    result["mean_edge_length"] = report.meanEdgeLength;
    result["mean_triangle_area"] = report.meanTriangleArea;
    result["volume"] = report.volume;
    result["centroid"] = report.centroid;
    result["closed"] = report.openSlots.empty();
    result["open_edges"] = findings.boundaryEdges.size();
    result["holes"] = ChainCount(findings.boundaryEdges);
    result["crowded_edges"] = findings.crowdedEdges.size();
    result["open_slots"] = report.openSlots;
    result["non_manifold_slots"] = report.nonManifoldSlots;
    result["misoriented_triangles"] = report.misorientedTriangles;
    result["degenerate_triangles"] = report.degenerateTriangles;
    result["folded_triangles"] = report.foldedTriangles;
    result["gap"] = gaps.gap;
    result["gap_location"] = gaps.location;
    result["gap_invalid_mesh"] = gaps.invalidMesh;
}

void RunReport(Session& session)
{
    MeshUtils::MeshFileForm form = MeshUtils::MeshFileForm::Unknown;
    const Mesh::TriangleSoup<3, double> soup = SoupOf(session.ReadPart(session.Input(), &form));
    const Report report = MeshUtils::CheckMesh(soup, session.Tolerance());
    Session::CheckStopped();
    const Findings findings =
        FindingsOf(Mesh::IndexedPointsFromSoup(soup, true, session.Tolerance()), report);
    const std::size_t components =
        Mesh::ConnectedComponents(findings.mesh, Mesh::Connection::SharedEdge).size();
    MeshUtils::GapReport gaps;
    if (session.WantsJson() || !findings.boundaryEdges.empty()) {
        gaps = MeshUtils::CheckGaps(findings.mesh.points, findings.mesh.indices);
    }
    Session::CheckStopped();

    MeshUtils::MeshFileResult asRead;
    asRead.form = form;
    session.Result()["file"] = session.Input();
    session.Result()["form"] = MeshFileText(asRead);
    if (session.WantsJson()) {
        FillResult(session.Result(), findings, report, gaps, components);
    }
    session.Print("part          %s, %s\n", session.Input().c_str(), MeshFileText(asRead).c_str());
    PrintMeasures(session, findings, report, components);
    TellDefects(session, findings, report, gaps);
    session.Result()["sound"] = !session.HasDefects();
    session.Print("%s\n", session.HasDefects()
                              ? "verdict       DEFECTIVE"
                              : "verdict       sound: closed, wound outward, no slivers, no folds");
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(findings, session.Input()));
    }
    if (session.HasOutput()) {
        const Part faults = FaultMesh(findings);
        if (faults.indices.empty()) {
            session.Print("not written   %s: there is no fault to show\n",
                          session.Output().c_str());
        } else {
            session.WritePart(faults);
        }
    }
}

} // namespace

Command ReportCommand()
{
    Command command;
    command.name = "report";
    command.summary = "Tells whether a part is fit to be machined from";
    command.description = "Counts what is wrong with a mesh: open edges, edges of three or more "
                          "triangles, triangles wound "
                          "against their neighbors, slivers, folds; and measures it: box, area, "
                          "volume, center, components.\n\n"
                          "With --json all figures and the numbers of all triangles and edges in "
                          "question. Edge k of triangle t "
                          "has the number 3 t + k (a slot). The greatest distance between open "
                          "components is \"gap\"; of a single "
                          "one it is 1.34e154.";
    command.output =
        "write the faults alone as a mesh, to lay over the part in a viewer; without faults "
        "nothing is written";
    command.tolerance =
        "join corners within this length on every axis first; triangles no higher than twice of "
        "it are slivers";
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the part with its faults in colors";
    command.defects = "the part has defects";
    command.examples = {
        {"sorvane report bracket.stl", "is this part sound?"},
        {"sorvane report damaged_box.stl --svg damage.svg -o damage.stl",
         "what is wrong, as a picture and as a mesh"},
    };
    command.run = RunReport;
    return command;
}

} // namespace Cli
