// A flat hierarchy of boxes over triangles, made once to find the nearest one fast.
//
// A loose octree is filled in any order and puts each item where its middle lies; its boxes overlap
// more than they need. For the one query that is asked a hundred thousand times a second hierarchy
// stands beside it, with the same triangles: nodes of four boxes that lie in one array, and the
// corners of the triangles packed leaf by leaf.
#pragma once

#include "trees/BoundTests_Impl.h"

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

/// A triangle with its number, and its rank among equals.
struct RankedTriangle {
    std::array<Vec3d, 3> corner;
    int id = -1;
    int rank = std::numeric_limits<int>::max();
};

/// The nearest triangle so far: none has number -1 and lies at infinity.
struct NearestTriangle {
    Vec3d point;
    double squaredDistance = std::numeric_limits<double>::infinity();
    int id = -1;
    int rank = std::numeric_limits<int>::max();
};

class TriangleHierarchy {
public:
    /// Over triangles with coordinates up to 1e150. O(n log n).
    void Build(std::vector<RankedTriangle> triangles);

    /// The triangle with the least pair (squared distance, rank) of those that the closed ball
    /// meets
    /// (`Intersect::SphereTriangle`) and whose box, with its margin, is nearer than the radius,
    /// strictly. Without memory of its own, from any number of threads.
    NearestTriangle Nearest(const Vec3d& point, double radius) const;

private:
    static constexpr int kWidth = 4;

    /// Up to four subtrees side by side, their boxes axis by axis.
    struct Node {
        std::array<std::array<double, kWidth>, 3> min;
        std::array<std::array<double, kWidth>, 3> max;
        /// Of a subtree the number of its node; of a leaf its first triangle.
        std::array<std::int32_t, kWidth> first;
        /// Triangles of a leaf; 0 for a subtree. Where nothing is, the box is inverted.
        std::array<std::int32_t, kWidth> count;
    };

    class Builder;

    std::vector<Node> nodes_; // the first is the root
    std::vector<RankedTriangle> triangles_;
};

} // namespace Velk::Math::Sorvane::Tree::Impl
