// Chains prepared for offsets: in `double`, about their own center, with an index that tells
// whether they come nearer to a point than a distance.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include "trees/BoxHierarchy_Impl.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// The elements of all chains, one after the other. Elements that aren't finite, or so short that
/// they have no direction, are left out.
class OffsetSource {
public:
    /// `tol`: how far apart ends may lie that are nevertheless one joint, if the chain's own
    /// tolerance isn't wider.
    template <class T>
    OffsetSource(std::span<const PolyArcSegBase<T>> chains, bool isReversed, T tol);

    std::size_t Count() const { return elements_.size(); }
    const ArcSegBase<double>& operator[](std::size_t i) const { return elements_[i]; }
    /// Is it one chain, and that closed?
    bool IsClosed() const { return isClosed_; }
    /// Is it closed and without places where it crosses or touches itself, joints included? Its two
    /// sides are the inside and the outside then.
    bool IsSimple() const { return isSimple_; }

    /// Elements `first` up to but not including `last`.
    struct Range {
        std::size_t first;
        std::size_t last;
    };
    /// The elements of each chain, none of them empty.
    const std::vector<Range>& ChainRanges() const { return chains_; }
    /// Does element i start where the one before ends? Of the first one of a chain: is that closed?
    bool IsJoined(std::size_t i) const { return shapes_[i].isJoined; }
    const Vec2d& Start(std::size_t i) const { return shapes_[i].start; }
    const Vec2d& End(std::size_t i) const { return shapes_[i].end; }

    /// Where the caller's chain has its origin, seen from here.
    const Vec2d& Center() const { return center_; }
    /// Largest coordinate, of centers of arcs too.
    double Size() const { return size_; }
    /// Widest gap of a joint.
    double JointGap() const { return jointGap_; }

    /// Is a point of the chain nearer than `distance` to the middle or one of the ends of a piece?
    /// The hint is the number of an element to begin with, and becomes that of the one found; the
    /// answer doesn't depend on it.
    bool IsNearerThan(double distance, const Vec2d& start, const Vec2d& middle, const Vec2d& end,
                      std::size_t& hint) const;

private:
    /// An element as distances are measured to it.
    struct Shape {
        Vec2d start;
        Vec2d end;
        Vec2d center;
        Vec2d fromSpoke; // to the end that comes first counter-clockwise
        Vec2d toSpoke;
        double radius = 0.0; // 0 for a segment
        bool isMoreThanHalf = false;
        bool isWhole = false;
        bool isJoined = false;

        bool Spans(const Vec2d& spoke) const;
        bool IsNearerThan(double distance, const Vec2d& p) const;
        Bounding::AxisAlignedBoundingBox<2, double> Bounds() const;
    };

    static Shape ShapeOf(const ArcSegBase<double>& element);
    Vec2d TangentAt(std::size_t i, const Vec2d& end) const;
    bool MeetsItself(const std::vector<Bounding::AxisAlignedBoundingBox<2, double>>& boxes) const;

    std::vector<ArcSegBase<double>> elements_;
    std::vector<Shape> shapes_;
    std::vector<Range> chains_;
    Tree::Impl::BoxHierarchy<2, double> boxes_;
    Vec2d center_;
    double size_ = 0.0;
    double jointGap_ = 0.0;
    bool isClosed_ = false;
    bool isSimple_ = false;
};

extern template OffsetSource::OffsetSource(std::span<const PolyArcSegBase<float>>, bool, float);
extern template OffsetSource::OffsetSource(std::span<const PolyArcSegBase<double>>, bool, double);

} // namespace Velk::Math::Sorvane::Planar::Impl
