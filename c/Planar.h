// What stands behind the handles of chains, regions and groups of lines, shared by the files that make them.
#pragma once

#include "Checks.h"
#include "Guard.h"
#include "Handles.h"
#include "sorvane_c/chains.h"
#include "sorvane_c/regions.h"

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

struct sorvane_chain {
    Velk::Math::Sorvane::Planar::PolyArcSegBase<double> chain;
    // What the accessors show.
    std::vector<int> kinds;
    std::vector<double> elements;
    std::vector<double> ends;
    double length = 0;
    double area = 0;
    bool isClosed = false;
};

struct sorvane_chains {
    std::vector<std::unique_ptr<const sorvane_chain>> chains;
    std::vector<int> groups = {0};
};

struct sorvane_line_groups {
    sorvane_lines lines;
    std::vector<int> starts = {0};
};

struct sorvane_region {
    sorvane_lines loops;
    double resolution = 0;
    bool isUnited = false; // no two loops cross, and outer ones run counter-clockwise
};

namespace SorvaneC {

using Velk::Math::Vec2d;
using Chain = Velk::Math::Sorvane::Planar::PolyArcSegBase<double>;
using Polyline = std::vector<Vec2d>;
using Polylines = std::vector<Polyline>;

/// A negative tolerance and NaN are refused.
void CheckLength(double value, const char* name);
/// So are 0 and infinity.
void CheckPositive(double value, const char* name);
/// Refuses numbers that are not finite or beyond 1e150, with the place divided by `size`.
void CheckFinite(const double* values, std::size_t count, std::size_t size, const char* name);
/// Copies of points all of which are finite.
Polyline FinitePoints(const double* points, std::size_t count, const char* name);
/// The lines that two arrays tell of, checked; `name` is what messages call one of them.
Polylines PolylinesOf(const double* points, std::size_t pointCount, const int* starts, std::size_t count,
                      const char* name);

std::unique_ptr<sorvane_chain> NewChain(Chain chain);

/// Line `index` as points.
Polyline PolylineOf(const sorvane_lines& lines, std::size_t index);
/// Adds a line, closed when it ends with its first point, which then is left out.
void AddPolyline(sorvane_lines& lines, const Polyline& polyline);
/// Ends a group of lines.
void EndGroup(sorvane_line_groups& groups);

/// A region of loops that repeat their first points, as operations give it.
std::unique_ptr<sorvane_region> NewRegion(const Polylines& loops, double resolution);

} // namespace SorvaneC
