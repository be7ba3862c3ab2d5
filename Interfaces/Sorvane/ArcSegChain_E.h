// Chains of straight segments and circular arcs in the plane: the element, the chain, and the chain
// flattened to points. Operations on chains are declared in PolyArcSeg_E.h.
//
// The end of an arc is derived from center, start and length, never stored, and carries the rounding of
// `Geometry::EndPoint`. What has to join an arc's end should therefore start from `EndPoint()` itself.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Supported_E.h>

#include <utility>
#include <variant>
#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// One element of a chain: a straight segment or a circular arc, directed.
///
/// A value; by default the segment from the origin to itself. `float` elements are evaluated in
/// `double` and rounded once. Results for coordinates that are not finite are not finite or zero, never
/// a fault.
template <class T> class SORVANE_API ArcSegBase {
    static_assert(SupportedReal<T>, "elements of chains are compiled for float and double");

public:
    /// What an element can be.
    using Segment = Geometry::SegBase<T>;
    using Arc = Geometry::ArcBase<T>;

    ArcSegBase() = default;
    /// Takes a segment or an arc as it is. Implicit, so that either can stand where an element is asked for.
    ArcSegBase(const Segment& segment) : geometry_(segment) {}
    ArcSegBase(const Arc& arc) : geometry_(arc), alternative_(1) {}
    ArcSegBase(const ArcSegBase&) = default;
    ArcSegBase(ArcSegBase&&) noexcept = default;
    ArcSegBase& operator=(const ArcSegBase&) = default;
    ArcSegBase& operator=(ArcSegBase&&) noexcept = default;
    virtual ~ArcSegBase();

    /// 0: a segment, 1: an arc.
    int Alternative() const { return alternative_; }

    /// The segment, or null when the element is an arc. A coordinate may be changed through it.
    const Segment* AsSegment() const { return std::get_if<0>(&geometry_); }
    Segment* AsSegment() { return std::get_if<0>(&geometry_); }
    /// The arc, or null when the element is a segment.
    const Arc* AsArc() const { return std::get_if<1>(&geometry_); }
    Arc* AsArc() { return std::get_if<1>(&geometry_); }

    /// visitor(segment) or visitor(arc), and what it returns.
    template <class Visitor> decltype(auto) Visit(Visitor&& visitor) const
    {
        const Segment* const segment = AsSegment();
        return segment != nullptr ? std::forward<Visitor>(visitor)(*segment)
                                  : std::forward<Visitor>(visitor)(*AsArc());
    }

    /// The start of the segment or arc, as it is stored.
    const VecBase<2, T>& StartPoint() const
    {
        return Visit([](const auto& e) -> const VecBase<2, T>& { return e.start; });
    }
    /// The segment's end, or the arc's end by `Geometry::EndPoint`.
    VecBase<2, T> EndPoint() const;
    /// Euclidean length of the segment, |length| of the arc.
    T Length() const;

    /// Turns the direction of travel round, in place. An arc starts at its derived end then and keeps
    /// its center, so that turning it round twice may differ from the original in the last digits.
    void Reverse();

    /// Unit direction of travel at the start. Zero for a segment no longer than the length floor, and
    /// for an arc whose radius isn't.
    VecBase<2, T> StartTangent() const;
    /// Unit direction of travel at the end; of an arc taken from the end's polar angle, so that it is a
    /// unit vector for any radius. That angle is 0 where center and start are the same point.
    VecBase<2, T> EndTangent() const;

    /// Of the same kind, and equal in every field.
    friend bool operator==(const ArcSegBase& a, const ArcSegBase& b)
    {
        return a.geometry_ == b.geometry_;
    }

private:
    std::variant<Segment, Arc> geometry_;
    unsigned char alternative_ = 0; // always the variant's index
};

/// Elements laid head to tail: the library's planar curve, for tools, offsets and files alike.
///
/// The end of each element and the start of the next lie within `tolerance` of each other; the append
/// operations keep it so, and code that writes to `elements` itself has to.
template <class T> class SORVANE_API PolyArcSegBase {
    static_assert(SupportedReal<T>, "chains are compiled for float and double");

public:
    std::vector<ArcSegBase<T>> elements; ///< in the order of travel
    /// Distance (Euclidean) within which two element ends count as joined; 1e-12 for `float` too, where
    /// it means equal coordinates.
    T tolerance = static_cast<T>(1e-12);

    PolyArcSegBase() = default;
    PolyArcSegBase(const PolyArcSegBase&) = default;
    PolyArcSegBase(PolyArcSegBase&&) noexcept = default;
    PolyArcSegBase& operator=(const PolyArcSegBase&) = default;
    PolyArcSegBase& operator=(PolyArcSegBase&&) noexcept = default;
    virtual ~PolyArcSegBase();

    /// Does every element end within the tolerance of where the next one starts, the last one's next
    /// being the first? O(n); false for an empty chain.
    ///
    /// Ends of arcs are derived: a full circle closes up to the rounding of its end, some 1e-15 of
    /// its radius or of its coordinates, and counts as open under a tolerance below that.
    bool IsClosed() const;

    /// Appends the segment from the chain's end to `to`. False, and nothing changes, when `from` is
    /// farther than the tolerance from the chain's end, or `to` is not. So the start snaps to the end of
    /// what stands before it. An empty chain takes any segment as it is, one of length 0 included.
    bool AppendSegment(const VecBase<2, T>& from, const VecBase<2, T>& to);

    /// Appends an arc with its own start, which does not snap. False, and nothing changes, when `start`
    /// is farther than the tolerance from the chain's end. An empty chain takes any arc.
    bool AppendArc(const VecBase<2, T>& center, const VecBase<2, T>& start, T length);

    /// The same elements in the same order, and the same tolerance.
    friend bool operator==(const PolyArcSegBase& a, const PolyArcSegBase& b)
    {
        return a.elements == b.elements && a.tolerance == b.tolerance;
    }
};

/// A chain flattened to points, and which of them each element gave.
template <class T> struct SORVANE_API PolylineDataBase {
    std::vector<VecBase<2, T>> points; ///< the polyline, a closed one with its first point again at the end
    /// For each element of the chain the half-open range [first, second) of `points` that it gave. The
    /// ranges follow each other without gaps; a point where two elements meet belongs to the earlier.
    std::vector<std::pair<unsigned int, unsigned int>> spans;

    friend bool operator==(const PolylineDataBase&, const PolylineDataBase&) = default;
};

extern template class SORVANE_API ArcSegBase<float>;
extern template class SORVANE_API ArcSegBase<double>;
extern template class SORVANE_API PolyArcSegBase<float>;
extern template class SORVANE_API PolyArcSegBase<double>;

} // namespace Velk::Math::Sorvane::Planar
