// What the commands that change a mesh tell about it.

#include "Measures.h"

#include "Drawing.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/MeshMeasures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace Cli {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

double VolumeOf(const Part& part) { return Mesh::MeasureMesh(part).volume; }

Measures MeasuresOf(const Part& part)
{
    Measures measures;
    measures.triangles = part.indices.size() / 3;
    measures.points = part.points.size();
    if (measures.triangles == 0) {
        return measures;
    }
    measures.openEdges = Mesh::BoundaryEdges(part).size();
    const Mesh::MeshMeasures whole = Mesh::MeasureMesh(part);
    measures.area = whole.area;
    measures.volume = whole.volume;
    double ratios = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const double edge = Length(CornerOf(part, i + (k + 1) % 3) - CornerOf(part, i + k));
            measures.meanEdge += edge;
            measures.longestEdge = std::max(measures.longestEdge, edge);
        }
        const double ratio =
            Mesh::AspectRatio(CornerOf(part, i), CornerOf(part, i + 1), CornerOf(part, i + 2));
        measures.worstAspectRatio = std::min(measures.worstAspectRatio, ratio);
        ratios += ratio;
    }
    measures.meanEdge /= static_cast<double>(part.indices.size());
    measures.meanAspectRatio = ratios / static_cast<double>(measures.triangles);
    return measures;
}

Json JsonOf(const Measures& measures)
{
    Json json;
    json["triangles"] = measures.triangles;
    json["points"] = measures.points;
    json["open_edges"] = measures.openEdges;
    json["area"] = measures.area;
    json["volume"] = measures.volume;
    json["mean_edge_length"] = measures.meanEdge;
    json["longest_edge"] = measures.longestEdge;
    json["worst_aspect_ratio"] = measures.worstAspectRatio;
    json["mean_aspect_ratio"] = measures.meanAspectRatio;
    return json;
}

void PrintMeasures(Session& session, const char* when, const Measures& measures)
{
    session.Print("%-13s %zu triangles on %zu points, %zu open edges, area %.9g, volume %.9g\n",
                  when, measures.triangles, measures.points, measures.openEdges, measures.area,
                  measures.volume);
    session.Print(
        "              edges: mean %.6g, longest %.6g; aspect ratio: worst %.4g, mean %.4f\n",
        measures.meanEdge, measures.longestEdge, measures.worstAspectRatio,
        measures.meanAspectRatio);
}

Part PartOfTriangles(const Part& part, const std::vector<int>& triangles, std::vector<int>& scratch)
{
    scratch.resize(part.points.size(), -1);
    Part chosen;
    std::vector<int> used;
    for (const int triangle : triangles) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int point = part.indices[3 * static_cast<std::size_t>(triangle) + k];
            int& number = scratch[static_cast<std::size_t>(point)];
            if (number < 0) {
                number = static_cast<int>(chosen.points.size());
                chosen.points.push_back(part.points[static_cast<std::size_t>(point)]);
                used.push_back(point);
            }
            chosen.indices.push_back(number);
        }
    }
    for (const int point : used) {
        scratch[static_cast<std::size_t>(point)] = -1;
    }
    return chosen;
}

namespace {

/// Bounds of the distance of all points of each surface from the other, to two digits: made finer
/// step by step, since a fine one takes long where surfaces lie far apart.
MeshUtils::HausdorffBoundsReport DistanceOf(const Part& before, const Part& after)
{
    const auto box = Bounding::BoxOfPoints(before.points);
    const double diagonal = Length(box.max - box.min);
    const auto isVague = [](const MeshUtils::HausdorffBound& bound) {
        constexpr double kTwoDigits = 0.02;
        return bound.upper - bound.lower > kTwoDigits * bound.upper;
    };
    MeshUtils::HausdorffBoundsReport bounds;
    for (const double share : {1e-3, 3e-5, 1e-6, 3e-8, 1e-9}) {
        bounds = MeshUtils::HausdorffBounds(before, after, share * diagonal);
        Session::CheckStopped();
        if (!isVague(bounds.first) && !isVague(bounds.second)) {
            break;
        }
    }
    return bounds;
}

} // namespace

void EndChange(Session& session, const Part& before, const Part& after, double driftPercent,
               const char* hint)
{
    Session::CheckStopped();
    const Measures was = MeasuresOf(before);
    const Measures is = MeasuresOf(after);
    session.Result()["before"] = JsonOf(was);
    session.Result()["after"] = JsonOf(is);
    PrintMeasures(session, "before", was);
    PrintMeasures(session, "after", is);
    if (is.triangles == 0) {
        session.Defect("empty", NameOf(session.Input()) +
                                    ": nothing is left of the part; nothing is written");
        return;
    }

    const MeshUtils::HausdorffBoundsReport bounds = DistanceOf(before, after);
    Session::CheckStopped();
    Json& apart = session.Result()["deviation"];
    apart["part_off_result"]["at_least"] = bounds.first.lower;
    apart["part_off_result"]["at_most"] = bounds.first.upper;
    apart["result_off_part"]["at_least"] = bounds.second.lower;
    apart["result_off_part"]["at_most"] = bounds.second.upper;
    session.Print(
        "deviation     the result lies off the part by %.4g at most, the part off the result by "
        "%.4g\n",
        bounds.second.upper, bounds.first.upper);

    if (session.HasOutput()) {
        session.WritePart(after);
    }
    if (session.WantsPicture()) {
        session.WritePicture(ComparisonOf(before, after));
    }

    // An open part has no volume that would not depend on the place it is seen from.
    if (was.openEdges > 0) {
        session.Result()["volume_drift_percent"] = Json();
        session.Print("volume        the part is open: its volume says nothing\n");
        return;
    }
    const double drift = was.volume == 0 ? 0 : 100 * (is.volume / was.volume - 1);
    session.Result()["volume_drift_percent"] = drift;
    session.Print("volume        it has drifted by %.4f %%\n", drift);
    if (is.openEdges > 0) {
        session.Defect("opened", "the part was closed, the result is open");
    }
    if (!(std::fabs(drift) <= driftPercent)) {
        session.Defect("drift",
                       "the volume has drifted by more than --drift allows: " + std::string(hint));
    }
}

Option DriftOption(const char* byDefault)
{
    return Opt::Number("--drift", "PERCENT",
                       "end with 1 when the volume of a closed part has changed by more than this "
                       "many percent")
        .From(0)
        .Default(byDefault);
}

} // namespace Cli
