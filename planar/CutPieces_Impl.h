// Which pieces belong to which element after `Intersect::CutAtIntersections`. Pieces stand where
// their element stood, in its direction.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Tells the last piece of an element that was cut from the ones before it.
class LastPiece {
public:
    explicit LastPiece(const Geometry::SegBase<double>& segment) : end_(segment.end) {}
    explicit LastPiece(const Geometry::ArcBase<double>& arc)
        : left_(arc.length), length_(arc.length)
    {
    }

    bool operator()(const Geometry::SegBase<double>& piece) const { return piece.end == end_; }
    /// The lengths of the pieces add up to the arc's, the last one being what the others leave.
    bool operator()(const Geometry::ArcBase<double>& piece)
    {
        if (piece.length == left_) {
            return true;
        }
        used_ += piece.length;
        left_ = length_ - used_;
        return false;
    }

private:
    Vec2d end_;
    double left_ = 0.0;
    double length_ = 0.0;
    double used_ = 0.0;
};

/// Calls visit(element, piece number, number behind its last piece) for each element in order.
template <class Element, class Visit>
void ForPiecesOf(const std::vector<Element>& elements, const std::vector<Element>& pieces,
                 const Visit& visit)
{
    std::size_t first = 0;
    for (const Element& element : elements) {
        std::size_t last = first;
        // One that is NaN, which equals nothing, isn't cut.
        const bool isNumber = element == element;
        if (isNumber && pieces.size() > elements.size() && !(pieces[first] == element)) {
            LastPiece isLast(element);
            const std::size_t most = first + (pieces.size() - elements.size());
            while (last < most && !isLast(pieces[last])) {
                ++last;
            }
        }
        visit(element, first, last + 1);
        first = last + 1;
    }
}

} // namespace Velk::Math::Sorvane::Planar::Impl
