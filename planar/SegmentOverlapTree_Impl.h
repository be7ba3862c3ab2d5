// Segments of a polyline, by their places in it, searched for one that another segment lies on.
#pragma once

#include <Sorvane/SegmentTree_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

template <class T>
class SegmentOverlapTree : public Tree::Quadtree::SegmentTree<T> {
public:
    explicit SegmentOverlapTree(const std::vector<Geometry::SegBase<T>>& segments)
        : Tree::Quadtree::SegmentTree<T>(segments)
    {
    }
    virtual ~SegmentOverlapTree() = default;
};

} // namespace Velk::Math::Sorvane::Planar::Impl
