// How far the open boundaries of a mesh's components lie apart.
//
// Each component becomes a half-edge mesh of its own, so that where components touch in a point
// their boundaries stay apart, and its boundary is cut into closed polylines. Every point of those
// is then measured against the segments of all other components. Only the greatest of these
// distances is asked for, so the search for a point ends as soon as something is found that is no
// farther than the greatest so far.

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/MeshReport_E.h>

#include "halfedge/FaceComponents_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "meshreport/BoundaryTree_Impl.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using ComponentMesh =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;

/// A boundary loop of a component; its last point is its first once more.
struct BoundaryLine {
    int component;
    std::vector<Vec3d> points;
};

bool HasBoundary(const ComponentMesh& mesh, const std::vector<int>& faces)
{
    return std::any_of(faces.begin(), faces.end(), [&](int face) {
        const std::array<int, 3> halfEdges = HalfEdge::Impl::FaceEdges(mesh, face);
        return std::any_of(halfEdges.begin(), halfEdges.end(),
                           [&](int halfEdge) { return mesh.IsBoundaryEdge(halfEdge ^ 1, false); });
    });
}

/// Some faces as a mesh of their own. Nodes are numbered as they come; `newNumber` is -1 for every
/// node before and after.
ComponentMesh Extracted(const ComponentMesh& mesh, const std::vector<int>& faces,
                        std::vector<int>& newNumber)
{
    std::vector<int> nodes;
    std::vector<Vec3d> points;
    std::vector<int> indices;
    indices.reserve(3 * faces.size());
    for (const int face : faces) {
        for (const int halfEdge : HalfEdge::Impl::FaceEdges(mesh, face)) {
            const int node = mesh.Edges()[static_cast<std::size_t>(halfEdge)].node;
            int& number = newNumber[static_cast<std::size_t>(node)];
            if (number < 0) {
                number = static_cast<int>(nodes.size());
                nodes.push_back(node);
                points.push_back(mesh.Nodes()[static_cast<std::size_t>(node)].position);
            }
            indices.push_back(number);
        }
    }
    for (const int node : nodes) {
        newNumber[static_cast<std::size_t>(node)] = -1;
    }
    ComponentMesh component;
    component.LoadIndexedPoints(points, indices, [](int, int) {});
    return component;
}

/// The half-edges without a face, in the order of their edges. Twins are neighbors, and it is the
/// second one as a rule: a face takes the first.
std::vector<int> BoundaryEdges(const ComponentMesh& component)
{
    std::vector<int> boundary;
    for (int e = 0; e < component.EdgeCount(); e += 2) {
        for (const int halfEdge : {e, e + 1}) {
            if (component.IsBoundaryEdge(halfEdge, false)) {
                boundary.push_back(halfEdge);
                break;
            }
        }
    }
    return boundary;
}

void AppendBoundaryLines(const ComponentMesh& mesh, int component, std::vector<BoundaryLine>& lines)
{
    std::vector<char> isVisited(mesh.Edges().size());
    for (const int start : BoundaryEdges(mesh)) {
        if (isVisited[static_cast<std::size_t>(start)] != 0) {
            continue;
        }
        BoundaryLine& line = lines.emplace_back(BoundaryLine{component, {}});
        for (const int halfEdge : mesh.EdgeLoop(start)) {
            isVisited[static_cast<std::size_t>(halfEdge)] = 1;
            line.points.push_back(
                mesh.GetVertex(mesh.Edges()[static_cast<std::size_t>(halfEdge)].node));
        }
        line.points.push_back(line.points.front());
    }
}

/// The boundaries of all components, one after the other.
std::vector<BoundaryLine> BoundaryLines(const ComponentMesh& mesh)
{
    std::vector<BoundaryLine> lines;
    std::vector<int> newNumber(mesh.Nodes().size(), -1);
    const std::vector<std::vector<int>> components = HalfEdge::Impl::FaceComponents(mesh);
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (HasBoundary(mesh, components[i])) {
            AppendBoundaryLines(Extracted(mesh, components[i], newNumber), static_cast<int>(i),
                                lines);
        }
    }
    return lines;
}

Impl::BoundaryTree TreeOf(const std::vector<BoundaryLine>& lines)
{
    std::vector<Impl::BoundarySegment> segments;
    for (const BoundaryLine& line : lines) {
        for (std::size_t i = 1; i < line.points.size(); ++i) {
            segments.push_back({line.points[i - 1], line.points[i], line.component});
        }
    }
    return Impl::BoundaryTree(segments);
}

} // namespace

GapReport CheckGaps(const std::vector<VecBase<3, double>>& points, const std::vector<int>& indices)
{
    return Progress::Impl::Stoppable([&]() -> GapReport {
        GapReport report;
        ComponentMesh mesh;
        if (indices.size() % 3 != 0 || !mesh.LoadIndexedPoints(points, indices, [](int, int) {})) {
            report.invalidMesh = true;
            return report;
        }
        const std::vector<BoundaryLine> lines = BoundaryLines(mesh);
        const Impl::BoundaryTree tree = TreeOf(lines);
        double largest = 0;
        std::size_t hint = 0;
        for (const BoundaryLine& line : lines) {
            for (const Vec3d& point : line.points) {
                largest = std::max(
                    largest, tree.SquaredDistanceToOthers(point, line.component, largest, hint));
                report.location = point;
            }
        }
        report.gap = std::sqrt(largest);
        return report;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
