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

/// Four numbers that are calculated with at once, lane by lane: a vector type of g++ and clang++,
/// which becomes the instructions of any processor. Two of `double`, so that no register is too
/// small.
using Float4 = float __attribute__((vector_size(16)));
using Double2 = double __attribute__((vector_size(16)));

class TriangleHierarchy {
public:
    /// Over triangles with coordinates up to 1e150. O(n log n).
    void Build(std::vector<RankedTriangle> triangles);

    /// The triangle with the least pair (squared distance, rank) of those that the closed ball
    /// meets (`Intersect::SphereTriangle`) and whose box, with its margin, is nearer than the radius,
    /// strictly. Without memory of its own, from any number of threads.
    NearestTriangle Nearest(const Vec3d& point, double radius) const;

private:
    static constexpr int kWidth = 4;

    /// Up to four subtrees side by side, their boxes axis by axis.
    struct Node {
        std::array<std::array<Double2, kWidth / 2>, 3> min;
        std::array<std::array<Double2, kWidth / 2>, 3> max;
        /// Number of a node, or of a leaf with all bits turned over. Where nothing is, the box is
        /// inverted.
        std::array<std::int32_t, kWidth> child;
    };

    /// Up to four triangles side by side, in the coordinates of `frame_`.
    struct Leaf {
        std::array<std::array<Float4, 3>, 3> corner; // of each corner each axis
        std::array<Float4, 3> normal;                // of length 1, or 0
        Float4 trust;                                // 1, or 0: the distance is anything from 0 on
        std::int32_t first;                          // triangle
        std::int32_t count;
    };

    /// Map of the whole into the cube from -1 to 1, by a power of 2.
    struct Frame {
        Vec3d origin;
        double scale = 1;
        double largest = 0; // coordinate of the whole

        Vec3d operator()(const Vec3d& point) const { return (point - origin) * scale; }
    };

    class Builder;
    class Search;

    static Frame FrameOf(const std::vector<RankedTriangle>& triangles);
    void FillLeaf(Leaf& leaf) const;
    static Float4 SquaredDistances(const Leaf& leaf, const VecBase<3, float>& point);

    std::vector<Leaf> leaves_;
    std::vector<RankedTriangle> triangles_; // in the order of the leaves
    Frame frame_;
    std::vector<Node> nodes_; // the first is the root
};

} // namespace Velk::Math::Sorvane::Tree::Impl
