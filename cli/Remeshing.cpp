// sorvane decimate, remesh, subdivide: other triangles for the same surface.

#include "Commands.h"
#include "Drawing.h"
#include "Measures.h"
#include "Session.h"

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/Decimation_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Subdivision_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

/// Joined as the results of the operations are, so that part and result have the same topology.
constexpr double kJoin = 1e-12;

const std::string kDeviation = "It tells how far the part and the result lie apart, all points of "
                               "both surfaces counted, and how the volume "
                               "of a closed part has changed. Corners at the same place are joined "
                               "first; a part with gaps wants sorvane "
                               "weld before.";

// --- decimate
// -------------------------------------------------------------------------------------

struct StopWords {
    const char* name;
    const char* words;
};

StopWords WordsOf(Mesh::DecimationStop stop)
{
    switch (stop) {
    case Mesh::DecimationStop::Target:
        return {"target", "the target is reached"};
    case Mesh::DecimationStop::Tolerance:
        return {"tolerance", "the rest would exceed the tolerance"};
    case Mesh::DecimationStop::Locked:
        return {"locked", "the rest is on or beside edges that are kept"};
    case Mesh::DecimationStop::TooLong:
        return {"too_long", "the rest is longer than a tenth of the part"};
    case Mesh::DecimationStop::Folds:
        return {"folds", "the rest would fold"};
    case Mesh::DecimationStop::Empty:
        break;
    }
    return {"empty", "there was nothing to do"};
}

void RunDecimate(Session& session)
{
    if (!session.Has("--keep") && !session.Has("--tolerance")) {
        session.RefuseUse("say how far: --keep PERCENT of the triangles, or --tolerance LENGTH off "
                          "the part, or both");
    }
    const Part part = session.ReadWeldedPart(session.Input(), kJoin);
    const double keep = session.Has("--keep") ? session.Number("--keep") : 0;
    const double tolerance =
        session.Has("--tolerance") ? session.Tolerance() : std::numeric_limits<double>::infinity();
    Part result;
    Mesh::DecimationReport report;
    if (session.Has("--one-by-one")) {
        std::vector<unsigned char> tags;
        Mesh::DecimateMesh(part, {}, result, tags, session.Number("--angle"), keep, tolerance, true,
                           report);
    } else {
        Mesh::DecimateInBatches(part, result, session.Number("--angle"), keep, tolerance, report);
    }
    Session::CheckStopped();
    const StopWords why = WordsOf(report.stop);
    session.Print("decimated     %.3f %% of the triangles are left: %s\n", report.percentLeft,
                  why.words);
    if (report.stop != Mesh::DecimationStop::Target) {
        session.Print("              edges left: %d would exceed the tolerance, %d are kept, %d "
                      "too long, %d would "
                      "fold\n",
                      report.deviatingEdges, report.lockedEdges, report.longEdges,
                      report.foldingEdges);
    }
    Json& json = session.Result();
    json["percent_left"] = report.percentLeft;
    json["stop"] = why.name;
    json["greatest_error"] = report.greatestError;
    json["locked_edges"] = report.lockedEdges;
    json["long_edges"] = report.longEdges;
    json["deviating_edges"] = report.deviatingEdges;
    json["folding_edges"] = report.foldingEdges;
    EndChange(session, part, result, session.Number("--drift"),
              "are walls or bores of the part smaller than the tolerance?");
}

// --- remesh
// ---------------------------------------------------------------------------------------

/// Edges in classes of the length that was asked for.
void TellEdgeClasses(Session& session, const Part& part, double length)
{
    constexpr std::array<double, 6> kBounds{0.25, 0.5, 0.8, 4.0 / 3, 2.0, 4.0};
    constexpr std::array<const char*, 7> kNames{"below 1/4", "to 1/2", "to 4/5", "to 4/3",
                                                "to 2",      "to 4",   "above"};
    std::array<std::size_t, 7> counts{};
    for (std::size_t i = 0; i < part.indices.size(); ++i) {
        const double edge = Length(CornerOf(part, i / 3 * 3 + (i + 1) % 3) - CornerOf(part, i));
        const auto bound = std::upper_bound(kBounds.begin(), kBounds.end(), edge / length);
        ++counts[static_cast<std::size_t>(bound - kBounds.begin())];
    }
    session.Print("edges         by their length over %.6g:", length);
    Json shares = Json::List();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const double share = part.indices.empty() ? 0
                                                  : 100 * static_cast<double>(counts[i]) /
                                                        static_cast<double>(part.indices.size());
        session.Print("  %s %.1f %%", kNames[i], share);
        shares.Add(share);
    }
    session.Print("\n");
    session.Result()["length"] = length;
    session.Result()["edge_class_bounds"] = std::vector<double>(kBounds.begin(), kBounds.end());
    session.Result()["edge_class_percents"] = std::move(shares);
}

void RunRemesh(Session& session)
{
    if (session.Has("--flips-only") && (session.Has("--chord") || session.Has("--length"))) {
        session.RefuseUse("--flips-only moves no point: it takes neither --length nor --chord");
    }
    const char* const hint = "are walls or bores of the part smaller than an edge is long?";
    if (session.Has("--flips-only")) {
        // A negative bound makes no flip, and leaves out the same triples as the flips do.
        const Part part =
            MeshUtils::MaximizeAspectRatio(session.ReadWeldedPart(session.Input(), 0.0), 0.0, -1.0);
        const Part result = MeshUtils::MaximizeAspectRatio(
            part, session.Has("--angle") ? session.Number("--angle") : 1.0,
            session.Number("--flip-drift"));
        std::size_t changed = 0;
        for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
            changed +=
                std::equal(&part.indices[i], &part.indices[i] + 3, &result.indices[i]) ? 0U : 1U;
        }
        session.Print("remeshed      %zu triangles changed\n", changed);
        session.Result()["changed_triangles"] = changed;
        EndChange(session, part, result, session.Number("--drift"), "is --flip-drift too large?");
        return;
    }
    const Part part = session.ReadWeldedPart(session.Input(), kJoin);
    Part result;
    const double length = session.Number("--length");
    const double angle = session.Number("--angle");
    const auto iterations = static_cast<unsigned>(session.Count("--iterations"));
    const bool keepBoundary = !session.Has("--split-boundary");
    const unsigned run =
        session.Has("--chord")
            ? Mesh::AnisotropicRemesh(part, result, angle, length, session.Number("--exponent"),
                                      session.Number("--chord"), iterations, keepBoundary)
            : Mesh::IsotropicRemesh(part, result, angle, length, iterations, keepBoundary);
    Session::CheckStopped();
    session.Print("remeshed      %u iterations\n", run);
    session.Result()["iterations"] = run;
    const double meanEdge = MeasuresOf(part).meanEdge;
    TellEdgeClasses(session, result,
                    length > 0   ? length
                    : length < 0 ? -length * meanEdge
                                 : meanEdge);
    EndChange(session, part, result, session.Number("--drift"), hint);
}

// --- subdivide
// ------------------------------------------------------------------------------------

void RunSubdivide(Session& session)
{
    const std::string method = session.Text("--method");
    if (session.Has("--length") != (method == "split")) {
        session.RefuseUse(method == "split"
                              ? "--method split wants --length: edges longer than it are split"
                              : "--length is for --method split");
    }
    if (session.Has("--angle") && method != "loop" && method != "sqrt3") {
        session.RefuseUse("--angle is for --method loop and sqrt3: " + method +
                          " knows no creases");
    }
    const Part part = session.ReadWeldedPart(session.Input(), kJoin);
    const auto iterations = static_cast<unsigned>(
        session.Has("--iterations") ? session.Count("--iterations") : (method == "split" ? 50 : 1));
    Part finer;
    if (method == "split") {
        Mesh::SplitLongMeshEdges(part, finer, session.Number("--length"), true, iterations);
    } else if (method == "loop" || method == "sqrt3") {
        Mesh::SubdivideMesh(part, finer, session.Number("--angle"), iterations,
                            method == "loop" ? Mesh::SubdivisionMethod::Loop
                                             : Mesh::SubdivisionMethod::Sqrt3);
    } else {
        Mesh::SimpleRefine(part, finer,
                           method == "midpoints"  ? Mesh::SimpleRefineMethod::Midpoints
                           : method == "centroid" ? Mesh::SimpleRefineMethod::Centroid
                                                  : Mesh::SimpleRefineMethod::CentroidAndMidpoints,
                           iterations);
    }
    EndChange(session, part, finer, session.Number("--drift"),
              "is the part tessellated too coarsely, or the angle above that of its creases?");
}

} // namespace

Command DecimateCommand()
{
    Command command;
    command.name = "decimate";
    command.summary = "Makes fewer triangles of a part, within a tolerance";
    command.description = kDeviation;
    command.output = "the file to write";
    command.tolerance =
        "stay within this distance of the part; with --one-by-one it is a distance times an area";
    command.picture = "write a picture of the triangles before and after";
    command.options = {
        Opt::Number("--keep", "PERCENT", "end when this many percent of the triangles are left")
            .Within(0, 100),
        Opt::Number("--angle", "DEGREES", "keep edges that turn by so many degrees or more")
            .Default("40"),
        Opt::Flag("--one-by-one",
                  "collapse the cheapest edge each time, instead of many at a time"),
        DriftOption("1"),
    };
    command.defects =
        "the volume has drifted too far, a closed part is open now, or nothing is left";
    command.examples = {
        {"sorvane decimate bracket.stl --tolerance 0.05 -o light.stl",
         "as few triangles as 0.05 allows"},
    };
    command.run = RunDecimate;
    return command;
}

Command RemeshCommand()
{
    Command command;
    command.name = "remesh";
    command.summary = "Makes triangles of one edge length, or within a chord error";
    command.description = kDeviation;
    command.output = "the file to write";
    command.picture = "write a picture of the triangles before and after";
    command.options = {
        Opt::Number("--length", "LENGTH",
                    "edge length to aim at; 0 is the mean of the part, and -2 twice that mean")
            .Default("0"),
        Opt::Number("--chord", "LENGTH",
                    "let edges follow the bend of the surface: as long as they stay within "
                    "this distance of it, and from 1/4 to 5 times the length")
            .Positive(),
        Opt::Number("--exponent", "E",
                    "with --chord: above 1 it spares triangles where the surface bends little")
            .Default("1")
            .With({"--chord"}),
        Opt::Number(
            "--angle", "DEGREES",
            "keep edges that turn by so many degrees or more; 1 by default with --flips-only")
            .Default("40"),
        Opt::Count("--iterations", "N", "at most so many")
            .Within(0, 1000)
            .Default("10")
            .Without({"--flips-only"}),
        Opt::Flag("--split-boundary", "split long edges of an open part's boundary too")
            .Without({"--flips-only"}),
        Opt::Flag("--flips-only", "move no point: only exchange diagonals for better shapes"),
        Opt::Number("--flip-drift", "LENGTH",
                    "with --flips-only: how far a triangle's diagonals may lie off each "
                    "other, all added up")
            .From(0)
            .Default("0.01")
            .With({"--flips-only"}),
        DriftOption("1"),
    };
    command.defects =
        "the volume has drifted too far, a closed part is open now, or nothing is left";
    command.examples = {
        {"sorvane remesh bracket.stl --length 3 -o even.stl --svg even.svg", "triangles of 3 mm"},
    };
    command.run = RunRemesh;
    return command;
}

Command SubdivideCommand()
{
    Command command;
    command.name = "subdivide";
    command.summary = "Makes a part finer: smoothed, or without moving anything";
    command.description =
        "loop and sqrt3 smooth the surface between its creases; midpoints, centroid and six cut "
        "every "
        "triangle in 4, 3 or 6 and move nothing; split cuts edges longer than --length.\n\n" +
        kDeviation;
    command.output = "the file to write";
    command.picture = "write a picture of the triangles before and after";
    command.options = {
        Opt::Choice("--method", "METHOD",
                    {"loop", "sqrt3", "midpoints", "centroid", "six", "split"},
                    "how triangles are cut")
            .Default("loop"),
        Opt::Count("--iterations", "N",
                   "so many times; at most so many passes for split: 50 without it")
            .Within(0, 50)
            .Default("1"),
        Opt::Number("--angle", "DEGREES",
                    "with loop and sqrt3: creases are edges that turn by so much or more")
            .Default("30"),
        Opt::Number("--length", "LENGTH", "with split: the longest edge that stays").Positive(),
        DriftOption("5"),
    };
    command.defects =
        "the volume has drifted too far, a closed part is open now, or nothing is left";
    command.examples = {
        {"sorvane subdivide bracket.stl --method split --length 10 -o fine.stl",
         "no edge longer than 10"},
    };
    command.run = RunSubdivide;
    return command;
}

} // namespace Cli
