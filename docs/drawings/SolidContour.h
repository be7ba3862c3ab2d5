// The surface of a solid that is given by a function, by dual contouring on `IsoSurface::DCNode`: a
// host of these nodes, from the first sample to the last triangle.
#pragma once

#include <Sorvane/DualContouring_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/QuadricErrorFunction_E.h>
#include <Velk/Math/Vector_E.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace SolidContour {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using IsoSurface::DCNode;
using Part = Mesh::IndexedPointsBase<3, double>;

/// A solid at a point: negative inside, nowhere more than the distance from its surface, and the
/// outward normal of the face that tells it.
struct FieldSample {
    double distance = 0;
    Vec3d normal;
};
using Field = std::function<FieldSample(const Vec3d&)>;

/// Contours a field inside a cube. The solid must not reach the cube's faces.
class Contour {
public:
    /// Splits the cells that the surface may pass through down to `level` (15 at most), and samples
    /// them.
    Contour(const Field& field, const DCNode::Cell& cube, unsigned int level);

    /// Lets one cell stand for eight as long as the planes of the surface's crossings with the
    /// edges lie no farther than `tolerance` from its vertex, taken together.
    void Merge(double tolerance) { MergeBelow(root_, tolerance); }

    /// Triangles of the cells as they are now, wound outward.
    Part Surface() const;

    /// Number of cells with a vertex.
    std::size_t CellCount() const;
    /// Cells that two sheets of the surface pass through: one vertex would pinch them together, and
    /// a finer level is called for.
    std::size_t CrowdedCellCount() const { return crowded_; }

private:
    using Quadric = HalfEdge::Decorations::QuadricErrorFunction;

    /// A point of the finest grid, counted in its cells from the cube's low corner.
    struct GridPoint {
        std::uint64_t x = 0;
        std::uint64_t y = 0;
        std::uint64_t z = 0;
        std::uint64_t Key() const { return x | y << 21U | z << 42U; }
    };
    /// Vertex of a cell, and the planes of the crossings that it was placed by. All relative to the
    /// cube's center, as the quadrics are: digits are kept wherever the cube lies.
    struct Vertex {
        Quadric planes;
        Vec3d point;
    };
    struct Crossing {
        Vec3d point;
        Vec3d normal;
    };

    GridPoint LowCorner(const DCNode& node) const;
    std::uint64_t SizeOf(const DCNode& node) const
    {
        return std::uint64_t{1} << (level_ - node.GetLevel());
    }
    int SampleAt(const GridPoint& place);
    const Crossing& CrossingBetween(int inside, int outside);
    void Refine(DCNode& node);
    void SampleCorners(DCNode& node);
    void AddVertices(DCNode& node);
    void AddVertex(const DCNode& node, Quadric planes);
    void MergeBelow(DCNode& node, double tolerance);
    bool MayStandForChildren(const DCNode& node);
    const DCNode* LeafAt(const GridPoint& place) const;
    void AddFacesAround(const GridPoint& place, Part& part) const;
    bool IsBetterFromSecond(const std::vector<int>& face, const Vec3d& direction) const;
    void AddFace(const std::vector<DCNode::OctantEdge>& around, const Vec3d& direction,
                 Part& part) const;

    Field field_;
    unsigned int level_ = 0;
    DCNode root_;
    std::unordered_map<std::uint64_t, int> sampleNumbers_; // by place
    std::vector<Vec3d> samplePoints_;
    std::vector<int> sampleValues_;                         // 0 or -1, for inside
    std::unordered_map<std::uint64_t, Crossing> crossings_; // by the numbers of the two samples
    std::vector<Vertex> vertices_;
    std::size_t crowded_ = 0;
};

} // namespace SolidContour
