// Unions and differences of loops on an integer grid: the exact core of all regions.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

using GridPoint = VecBase<2, long long>;
/// Closed by repeating its first point.
using GridLoop = std::vector<GridPoint>;

/// Largest difference of two coordinates on one axis that `GridBoolean` takes: those of a point fit
/// 64 bits together, and the search for crossings of Boost.Polygon compares slopes by 64-bit
/// products without a sign, also for points one cell beyond.
inline constexpr long long kLargestGridSpan = (1LL << 32) - 2;

/// Who cuts edges where they cross: this library, or the search for crossings of Boost.Polygon,
/// which compares all edges side by side.
enum class Cutting { Own, ByLibrary };

/// An edge between two grid points, the lower (by x, then y) first, with how often each of two sets
/// of loops runs it from `low` to `high`, minus how often it runs it back.
struct GridEdge {
    GridPoint low;
    GridPoint high;
    std::array<int, 2> runs{};
};

/// The edge from `from` to `to`, run `runs` times, of set number `set`; nothing when both are one point.
void AppendEdge(const GridPoint& from, const GridPoint& to, int runs, int set,
                std::vector<GridEdge>& edges);

/// Edges of `loops`, as set number `set` (0 or 1), turned so that their signed areas sum up to no
/// less than 0. Points behind the last of a loop that is not closed are not invented: its ends are
/// joined.
void AppendEdges(const std::vector<GridLoop>& loops, int set, std::vector<GridEdge>& edges);

/// Which part of the plane a boolean keeps: W is the winding number.
enum class Keep {
    FirstSet,              // W of the first set is positive
    FirstSetWithoutSecond, // and that of the second is not
    EitherSet,             // W of one of the sets is positive, or of both
    BothSets,              // W of both is positive
    OneSetOnly             // W of one of the sets is positive, and that of the other is not
};

/// The loops around what is kept, which is on their left: outer loops run counter-clockwise, holes
/// clockwise. A loop repeats its first point. Loops that touch in a point may be one loop that
/// passes it twice.
///
/// Crossings are rounded to the grid; nothing moves by more than the rounding of the crossings on
/// it. False, with `loops` empty, when a span is beyond `kLargestGridSpan`. O((n + k) log n) for k
/// crossings.
bool GridBoolean(std::vector<GridEdge> edges, Keep keep, Cutting cutting,
                 std::vector<GridLoop>& loops);

} // namespace Velk::Math::Sorvane::Planar::Impl
