// Each side of the hull gets the corner that is farthest out from it. Round the hull these corners
// follow each other, as the sides turn; where the corner changes a triangle of two corners and the
// node between the sides fills the gap.

#include "triangulation/OuterTriangle_Impl.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

/// Of the corners the one farthest left of the line.
int FarthestLeft(const std::array<Vec2d, 3>& corners, const Vec2d& from, const Vec2d& to)
{
    const auto height = [&](int k) {
        return (to - from) ^ (corners[static_cast<std::size_t>(k)] - from);
    };
    int farthest = 0;
    for (int k = 1; k < kOuterNodes; ++k) {
        farthest = height(k) > height(farthest) ? k : farthest;
    }
    return farthest;
}

} // namespace

bool HasEdgeWithin(const TriangleTable& table, double length)
{
    for (int t = 0; t < table.TriangleCount(); ++t) {
        for (int k = 0; k < 3; ++k) {
            const int half = TriangleTable::Half(t, k);
            const int start = table.Origin(half);
            const int end = table.Destination(half);
            if (!table.IsOutside(start) && !table.IsOutside(end) &&
                SquaredLength(table.Position(end) - table.Position(start)) <= length * length) {
                return true;
            }
        }
    }
    return false;
}

bool EncloseInTriangle(TriangleTable& table, const std::array<Vec2d, 3>& outer)
{
    using Table = TriangleTable;
    const int insideCount = table.TriangleCount();
    // Outer triangles have the node outside as their last corner; edge 1 leads to the next of them,
    // clockwise round the hull.
    std::vector<int> outside;
    std::vector<int> corners(static_cast<std::size_t>(insideCount), -1);
    for (int t = 0; t < insideCount; ++t) {
        if (!table.IsReal(t)) {
            const std::array<int, 3>& nodes = table.At(t).nodes;
            outside.push_back(t);
            corners[static_cast<std::size_t>(t)] =
                FarthestLeft(outer, table.Position(nodes[0]), table.Position(nodes[1]));
        }
    }
    std::vector<int> next;
    for (const int t : outside) {
        next.push_back(Table::TriangleOf(table.Twin(Table::Half(t, 1))));
    }
    for (int t = 0; t < insideCount; ++t) {
        for (int& node : table.At(t).nodes) {
            node = table.IsOutside(node) ? corners[static_cast<std::size_t>(t)]
                                         : table.NumberOf(node) + kOuterNodes;
        }
    }
    for (std::size_t i = 0; i < outside.size(); ++i) {
        const int shared = table.At(outside[i]).nodes[1];
        const int last = corners[static_cast<std::size_t>(next[i])];
        int half = Table::Half(outside[i], 1); // from the shared node to `corner`
        for (int corner = corners[static_cast<std::size_t>(outside[i])]; corner != last;) {
            const int behind = (corner + 2) % 3; // clockwise
            const int added = table.TriangleCount();
            if (added == insideCount + kOuterNodes) {
                return false;
            }
            table.triangles.push_back({{shared, behind, corner}, 0, {-1, -1, -1}, 0});
            table.Join(half, Table::Half(added, 2));
            half = Table::Half(added, 0);
            corner = behind;
        }
        table.Join(half, Table::Half(next[i], 2));
    }
    return table.TriangleCount() == insideCount + kOuterNodes;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
