// The walls of round holes: is there a surface between two circles that faces their axis?
#pragma once

#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/TriangleTree_E.h>

#include "features/SoundTriples_Impl.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Points of a sampled circle, and circles between the two ends of a hole.
inline constexpr int kCirclePoints = 8;
inline constexpr int kWallCircles = 4;

/// `kCirclePoints` unit vectors in the plane square to `axis`, at equal angles.
std::array<Vec3d, kCirclePoints> CircleDirections(const Vec3d& axis);

/// The surface of a mesh, to be asked for its nearest point. Triangles without area, which face
/// nowhere, are left out. Must not outlive the mesh.
class WallSurface {
public:
    explicit WallSurface(const IndexedMesh& mesh);

    /// Of the nearest point to `from` within `reach` the distance, and whether its triangle faces
    /// `watcher`; false for none.
    struct Nearest {
        bool isFound = false;
        bool facesWatcher = false;
        double distance = 0;
        Vec3d point;
        Vec3d normal; ///< of the triangle, as long as its area
        Mesh::Triangle<3, double> triangle;
    };
    Nearest NearestTo(const Vec3d& from, double reach, const Vec3d& watcher) const;

    /// A place at which a line meets the surface.
    struct Crossing {
        double distance = 0;     ///< from the line's origin, negative behind it
        bool facesStart = false; ///< does its triangle face against the line's direction?
    };
    /// Those at a distance of `from` to `to`, by distance. `direction` is a unit vector.
    std::vector<Crossing> Crossings(const Vec3d& origin, const Vec3d& direction, double from,
                                    double to) const;

private:
    const IndexedMesh* mesh_;
    Tree::QOFTriangleTree<3, double> tree_;
};

/// Finds the arcs that an axis meets.
class ArcAxes {
public:
    explicit ArcAxes(const std::vector<MeshArc>& arcs);

    /// Numbers of the arcs round which the square of side twice the radius, in the arc's plane, is
    /// met by the line through the center of arc i along its normal; ascending, i included.
    std::vector<int> MetByAxisOf(int i) const;

private:
    const std::vector<MeshArc>* arcs_;
    Tree::QOFTriangleTree<3, double> squares_;
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
