// What the commands that change a mesh tell about it, before and after.
#pragma once

#include "Session.h"

#include <cstddef>
#include <vector>

namespace Cli {

/// The point at a place of the index list.
inline const Velk::Math::Vec3d& CornerOf(const Part& part, std::size_t place)
{
    return part.points[static_cast<std::size_t>(part.indices[place])];
}

/// Signed volume, see `MeasureMesh`. That of an open part means nothing.
double VolumeOf(const Part& part);

struct Measures {
    std::size_t triangles = 0;
    std::size_t points = 0;
    std::size_t openEdges = 0;
    double area = 0;
    double volume = 0;
    double meanEdge = 0;    ///< of the edges of all triangles, so that an inner edge counts twice
    double longestEdge = 0; ///< 0 without triangles, like the mean
    double worstAspectRatio = 1;
    double meanAspectRatio = 1;
};

Measures MeasuresOf(const Part& part);

/// As a member of the result: {"triangles": ..., "open_edges": ..., ...}.
Json JsonOf(const Measures& measures);

/// A line of triangles, open edges, area and volume, and one of edges and shapes.
void PrintMeasures(Session& session, const char* when, const Measures& measures);

/// The listed triangles with the points that they use, in the order of their first use. `scratch`
/// serves one call after another for the same part; empty at first.
Part PartOfTriangles(const Part& part, const std::vector<int>& triangles,
                     std::vector<int>& scratch);

/// What the end of all commands is that make a mesh of another one: tells both and how far they lie
/// apart, writes the result and the picture, and finds the defects "empty" (nothing is left),
/// "opened" (it was closed) and "drift" (the volume of a closed part has changed by more than so
/// many percent). `hint` is what may be the cause of a drift.
void EndChange(Session& session, const Part& before, const Part& after, double driftPercent,
               const char* hint);

/// The option of that limit.
Option DriftOption(const char* byDefault);

} // namespace Cli
