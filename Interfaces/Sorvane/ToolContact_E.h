// A milling tool of revolution lowered on triangles: how high its tip stands when it first touches.
//
//     const Mill::ConvexToolContact ball({.lowerCornerRadius = 5, .lowerCornerAngle = pi / 2});
//     const auto report = ball.DropAt({x, y}, soup);              // three points to the triangle
//     if (report.triangle >= 0) { ... }                           // the tip stands at
//     report.height
//
// The tool hangs above (x, y) with its axis along +Z. Every triangle that it is shown is tested, so
// that one drop takes time in proportion to the soup: for many positions over a mesh see
// ContactSurface_E.h, which finds the few triangles that matter.
//
// Heights are those of the first touch, up to rounding: tools are convex, so that facets count
// along their line of steepest slope through the axis, whether or not the axis pierces them, edges
// as the hyperbolas that they sweep around the axis, and corners as the ends of edges. The greatest
// height wins everywhere. A soup is a set of triangles without inside: only what lies below the
// tool stops it, and a wall that is upright stops it by its edges.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/SpunHyperbola_E.h>
#include <Sorvane/Tools_E.h>

#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Mill {

/// A convex tool that is dropped on triangles and edges.
///
/// A value; drops read it only, so that one object serves many threads. Triangles and edges are passed over
/// when a coordinate is not finite or beyond 1e70, and at such a position nothing is touched. A tool without
/// a profile touches nothing.
///
/// Of a profile that turns back toward the axis above its widest place (a taper angle below 0) the part
/// below that place counts: what comes down from above meets nothing else.
///
/// A lower corner angle above pi / 2 makes a tool that is hollow at its tip and not convex. Of an edge
/// that falls outward, into the part of the corner that falls too, only the higher end counts, and
/// the tip may come out too low.
class SORVANE_API ConvexToolContact {
public:
    /// Where the tool stopped.
    struct SORVANE_API ContactReport {
        VecBase<2, double> position; ///< (x, y) of the drop
        /// of the tip; the most negative finite value when nothing was touched
        double height = -std::numeric_limits<double>::max();
        VecBase<2, double> contact; ///< the place of touch: r from the axis, and z in space
        int triangle =
            -1; ///< number of the triangle, or of the edge, that stopped the tool; -1: none
        int element = -1; ///< number of the profile's element that touches; -1: none

        friend constexpr bool operator==(const ContactReport&, const ContactReport&) = default;
    };

    /// Keeps the record and its profile, `PolyArcSegFromTool`.
    explicit ConvexToolContact(const ConvexStandardToolBase<double>& tool);
    ConvexToolContact(const ConvexToolContact&) = default;
    ConvexToolContact(ConvexToolContact&&) noexcept = default;
    ConvexToolContact& operator=(const ConvexToolContact&) = default;
    ConvexToolContact& operator=(ConvexToolContact&&) noexcept = default;
    virtual ~ConvexToolContact();

    /// Largest x of the profile, 0 for an empty one.
    double Radius() const { return radius_; }
    /// The record it was made of.
    const ConvexStandardToolBase<double>& Tool() const { return tool_; }
    /// The half profile, from the axis outward and upward.
    const Planar::PolyArcSegBase<double>& Profile() const { return profile_; }

    /// Lowers the tool at `xy` until it touches. Of triangles that stop it at the same height, the
    /// one with the highest top, and of those the first. Nothing is touched in a soup whose size is
    /// no multiple of 3. O(n) and, for k triangles that reach up to the tool, k log n.
    ContactReport DropAt(const VecBase<2, double>& xy,
                         const std::vector<VecBase<3, double>>& soup) const;

    /// Can the tip stand at `point`, with the soup nowhere above the profile? True when the point's
    /// z is at least the height of the drop there, and where nothing is touched. Ends at the first
    /// triangle that holds the tool above the point; one that holds it at the point's very height
    /// leaves the others to be asked. A z of NaN gives false.
    bool DropTo(const VecBase<3, double>& point, const std::vector<VecBase<3, double>>& soup) const;

    /// The same for the facets alone, without their edges, in the order of the soup. Ends with the
    /// first triangle after which the tool stands at `limit` or higher.
    ///
    /// A facet's edges count where the line of steepest slope below the axis ends on them.
    ContactReport DropFacesToHeight(double limit, const VecBase<2, double>& xy,
                                    const std::vector<VecBase<3, double>>& soup) const;

    /// The same for edges, two points to the edge, in their order; the number of an edge is told as
    /// that of a triangle. Nothing is touched when the count of points is odd.
    ContactReport DropEdgesToHeight(double limit, const VecBase<2, double>& xy,
                                    const std::vector<VecBase<3, double>>& pairs) const;

protected:
    /// `DropAt` that ends as soon as the tool stands at `limit` or higher: from the triangle with
    /// the highest top on down. A triangle whose top lies below the height found, strictly, is
    /// passed over.
    ContactReport DropToHeight(double limit, const VecBase<2, double>& xy,
                               const std::vector<VecBase<3, double>>& soup) const;

    /// Offers a spun edge to the report. With b2 = 0 the edge is straight from its point nearest to
    /// the axis to either end. With b2 above that the hyperbola is taken, however flat, and so it is
    /// where an edge passes the axis within 1e-6, for which `SpinSegment` tells a b2 of 0: a needle
    /// would stand too high on it by that times the slope of its tip.
    void DropOnHyperbola(const SpunHyperbola& hyperbola, int triangle, ContactReport& report) const;
    /// Offers the two straight stretches from `foot` to p and to q, all three relative to the axis.
    /// Ends that match within 1e-12 in r and z are no stretch.
    void DropOnSeg(const VecBase<3, double>& foot, const VecBase<3, double>& p,
                   const VecBase<3, double>& q, int triangle, ContactReport& report) const;

    /// Offers a straight stretch a b of the half plane, or a spun edge, to one element of the
    /// profile. The report changes when the tool stands higher there than it tells, strictly.
    /// Nothing is offered where the ranges of r don't overlap.
    void UpdateContact(int element, const Geometry::SegBase<double>& segment,
                       const VecBase<2, double>& a, const VecBase<2, double>& b, int triangle,
                       ContactReport& report) const;
    void UpdateContact(int element, const Geometry::ArcBase<double>& arc,
                       const VecBase<2, double>& a, const VecBase<2, double>& b, int triangle,
                       ContactReport& report) const;
    void UpdateContact(int element, const Geometry::SegBase<double>& segment,
                       const SpunHyperbola& hyperbola, int triangle, ContactReport& report) const;
    void UpdateContact(int element, const Geometry::ArcBase<double>& arc,
                       const SpunHyperbola& hyperbola, int triangle, ContactReport& report) const;

    /// The record, the largest x, the chain, and of each of its elements the x of start and end; of
    /// an arc that goes on above its center the x of its widest place instead of that of its end.
    ConvexStandardToolBase<double> tool_;
    double radius_ = 0;
    Planar::PolyArcSegBase<double> profile_;
    std::vector<VecBase<2, double>> ranges_;
};

} // namespace Velk::Math::Sorvane::Mill
