// Milling tools of revolution: two parametric half profiles, their chains, and tools fitted to drawn
// outlines.
//
// A half profile lies in the plane, x the radius from the spindle axis and y the height above the tip: the
// axis is x = 0 and the tip y = 0. Angles are in radians, lengths in the caller's unit.
//
//     const auto report = Mill::ConvexToolFromPolyline(outline, 0.01);
//     const auto profile = Mill::PolyArcSegFromTool(report.tool);     // segments and arcs from the axis upward
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Mill {

/// A convex tool: flat tip, lower corner, cone, upper corner and straight shank, each of which may be
/// missing (its radius, height or length is 0).
///
/// A ball of radius R has `lowerCornerRadius` R and `lowerCornerAngle` pi/2. A plain cylinder is fitted
/// as a `tipRadius` and a wall that is a cone of angle 0.
template <class T> struct SORVANE_API ConvexStandardToolBase {
    static_assert(SupportedReal<T>, "tools are compiled for float and double");

    T tipRadius{0};         ///< half-width of the flat at the tip, on the line y = 0
    T lowerCornerRadius{0}; ///< of the arc that leaves the flat
    T lowerCornerAngle{0};  ///< A: that arc starts at polar angle -A about its center
    T taperHeight{0};       ///< of the straight cone; a negative one is taken as it is
    T taperAngle{0};        ///< B, of the cone from the axis, where one corner ends and the other starts
    T upperCornerRadius{0}; ///< of the arc that leaves the cone and ends parallel to the axis
    T shankLength{0};       ///< straight part above all the rest, parallel to the axis

    friend constexpr bool operator==(const ConvexStandardToolBase&, const ConvexStandardToolBase&) = default;
};

/// A cylindrical tool: flat tip, a quarter turn, straight shank.
///
/// The quarter turn begins at the rim of the flat: the cylinder's radius is `tipRadius` +
/// `cornerRadius`.
template <class T> struct SORVANE_API CylindricalToolBase {
    static_assert(SupportedReal<T>, "tools are compiled for float and double");

    T tipRadius{0};    ///< half-width of the flat at the tip
    T cornerRadius{0}; ///< of the quarter turn that leaves the flat
    T shankLength{0};  ///< straight part above it, parallel to the axis

    friend constexpr bool operator==(const CylindricalToolBase&, const CylindricalToolBase&) = default;
};

/// What a fit found, and how far it is off. All deviations start as the largest finite T, which means
/// that there was nothing to measure.
///
/// Distances are those from the points of one polyline to the segments of the other, both ways. The
/// tool's polyline is its profile flattened at `tolerance`; input and hull are meant as the fit has put
/// them, with the tip at the origin.
template <class Tool, class T> struct SORVANE_API GenericToolFitReport {
    Tool tool{};    ///< all fields 0 when there was nothing to fit
    T tolerance{0}; ///< that was asked for
    T pointDeviation = std::numeric_limits<T>::max(); ///< largest distance between tool and input polyline
    T hullDeviation = std::numeric_limits<T>::max();  ///< largest distance between tool and the input's hull
    T meanDeviation = std::numeric_limits<T>::max();  ///< mean over the points of both tool and hull

    friend constexpr bool operator==(const GenericToolFitReport&, const GenericToolFitReport&) = default;
};

/// @cond
namespace Impl {
/// What belongs to a tool record; nothing does to other types, so that templates over tools leave them
/// to others.
template <class Tool> struct ToolRecord {};
template <class T> struct ToolRecord<ConvexStandardToolBase<T>> {
    using Real = T;
};
template <class T> struct ToolRecord<CylindricalToolBase<T>> {
    using Real = T;
};
/// `PolylineDataBase<T>` when `Tool` is a tool record over T, and no type otherwise.
template <class Tool, class T> struct ToolPolyline {};
template <class T> struct ToolPolyline<ConvexStandardToolBase<T>, T> {
    using Type = Planar::PolylineDataBase<T>;
};
template <class T> struct ToolPolyline<CylindricalToolBase<T>, T> {
    using Type = Planar::PolylineDataBase<T>;
};
} // namespace Impl
/// @endcond

/// The half profile of a tool as a chain of tolerance 1e-12, from the axis outward and upward.
///
/// `Tool` is one of the two records and T its coordinate type, which need not be named. Elements whose
/// radius or length is 0 (or negative, but for the taper's height) are left out, and what follows
/// starts at the end of what stands before it, or at the origin. So a tool of all zeros gives the empty
/// chain, and a shank alone starts at the origin. A corner over no angle (the angles A and B are the
/// same, or the upper corner's B is 0) is an arc of length 0. A record with a field that is not finite
/// gives the empty chain. O(1).
template <class Tool, class T = typename Impl::ToolRecord<Tool>::Real>
Planar::PolyArcSegBase<T> PolyArcSegFromTool(const Tool& tool);

} // namespace Velk::Math::Sorvane::Mill

namespace Velk::Math::Sorvane::Planar {

/// The half profile of a tool, one of the two records of `Mill`, as a polyline:
/// `Mill::PolyArcSegFromTool`, and its chain by the `ToPolyline` of chains.
template <class Tool, class T>
typename Mill::Impl::ToolPolyline<Tool, T>::Type ToPolyline(const Tool& tool, T tol);

} // namespace Velk::Math::Sorvane::Planar

namespace Velk::Math::Sorvane::Mill {

/// The convex tool that a drawn outline describes, within `tolerance` if one is found.
///
/// `polyline` runs from the tip on the axis, outward and upward; it may be noisy, need not be convex,
/// and may go on over the top to the axis. It is moved so that its box stands on the origin; its first
/// point is put on the box's lower corner and its last one on the upper corner. The tool follows the
/// lower right of its convex hull.
///
/// A plain cylinder as large as the box is taken when the hull is within the tolerance of it. Otherwise
/// the hull is turned into a chain of arcs and segments, neighbors are merged while it has more of them
/// than a tool, and the chain is read as a tool. When no corner has been found, shapes made from the
/// edges of the hull are tried, of which those count that contain the hull (within 1e-10, or the
/// rounding of the coordinates where that is more). A candidate replaces another one when its mean
/// deviation is lower, its hull deviation lower or within a hundredth of the tolerance of the other's,
/// and its point deviation lower or within half of it.
///
/// When nothing is within the tolerance then, all shapes are tried, by the same rule or when their hull
/// deviation is less than half as large: corners of few points, and noise, are found this way. The part
/// of an outline that goes on over the top counts in the deviations only, so that it can spoil these (a
/// closed rectangle misses by the lesser of width and height) but not the tool.
///
/// Where rounding or noise would have the tool turn right, at the start of the lower corner or along a
/// wall that leans inward, this is taken out as long as it moves the profile by no more than a hundredth
/// of the tolerance. Where it leans more, the tool that does not is tried, and then the shapes, all of
/// which are convex. Only when none of them is within the tolerance the reading itself counts: rarely,
/// and mostly in scans, the angle A of the result is above pi/2.
///
/// A fit never fails: the deviations of the report tell how good it is. An empty polyline, coordinates
/// that are not finite or whose squares overflow give a tool of all zeros and the largest finite T as
/// deviations; a single point, of which no tool has a profile, gives these deviations too. Without
/// tolerance (0, negative, NaN) the tool is the cylinder, unless it is 0 and the filter of arcs finds a
/// chain.
///
/// O(n log n) for n points, and for the points of tools flattened at the tolerance, which grow with 1 /
/// sqrt(tolerance). Chords get no finer than 1e-11 of the outline's diagonal.
template <class T>
GenericToolFitReport<ConvexStandardToolBase<T>, T>
ConvexToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T tolerance);

/// The cylindrical tool that fits a drawn outline best, of those that contain its hull.
///
/// The outline is taken as by `ConvexToolFromPolyline`, and candidates are compared by the same rule:
/// the flat cylinder as large as the box, then the ball or the greatest corner that the box has room
/// for, the greatest corner that leaves no vertex of the hull out, and corners whose radius is the
/// height of a vertex, 64 at most. So the result contains the hull (within 1e-10, or the rounding of
/// the coordinates), whatever the tolerance. Candidates are measured side by side; the result is the
/// same for any number of threads. O(n log n).
template <class T>
GenericToolFitReport<CylindricalToolBase<T>, T>
CylindricalToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T tolerance);

/// The best of the convex tools fitted at many tolerances between two bounds, given in either order.
///
/// A lower bound of 0 (no larger than 1e-12, `float` 1e-8) means 1e-5, and an upper one that is not
/// above it 100 times the lower: both 0 search from 1e-5 to 1e-3. There are (high - low) / low + 1
/// fits, but no fewer than 200 and no more than 2^20, at equal steps from the lower bound. The one of
/// least hull deviation is the best, of equals that of least point deviation, of equals again that of
/// the smallest tolerance. Negative bounds are tolerances that nothing is within. Bounds that are not
/// finite give a report without a tool.
///
/// Fits run side by side; the result is the same for any number of threads. As long as 200 fits or more
/// take.
template <class T>
GenericToolFitReport<ConvexStandardToolBase<T>, T>
BestConvexToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T oneBound, T otherBound);

// clang-format off
extern template SORVANE_API Planar::PolyArcSegBase<float>  PolyArcSegFromTool<ConvexStandardToolBase<float>,  float>(const ConvexStandardToolBase<float>&);
extern template SORVANE_API Planar::PolyArcSegBase<double> PolyArcSegFromTool<ConvexStandardToolBase<double>, double>(const ConvexStandardToolBase<double>&);
extern template SORVANE_API Planar::PolyArcSegBase<float>  PolyArcSegFromTool<CylindricalToolBase<float>,  float>(const CylindricalToolBase<float>&);
extern template SORVANE_API Planar::PolyArcSegBase<double> PolyArcSegFromTool<CylindricalToolBase<double>, double>(const CylindricalToolBase<double>&);
extern template SORVANE_API GenericToolFitReport<ConvexStandardToolBase<float>,  float>  ConvexToolFromPolyline(const std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API GenericToolFitReport<ConvexStandardToolBase<double>, double> ConvexToolFromPolyline(const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API GenericToolFitReport<CylindricalToolBase<float>,  float>  CylindricalToolFromPolyline(const std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API GenericToolFitReport<CylindricalToolBase<double>, double> CylindricalToolFromPolyline(const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API GenericToolFitReport<ConvexStandardToolBase<float>,  float>  BestConvexToolFromPolyline(const std::vector<VecBase<2, float>>&,  float,  float);
extern template SORVANE_API GenericToolFitReport<ConvexStandardToolBase<double>, double> BestConvexToolFromPolyline(const std::vector<VecBase<2, double>>&, double, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Mill

// clang-format off
namespace Velk::Math::Sorvane::Planar {
extern template SORVANE_API PolylineDataBase<float>  ToPolyline<Mill::ConvexStandardToolBase<float>,  float>(const Mill::ConvexStandardToolBase<float>&,  float);
extern template SORVANE_API PolylineDataBase<double> ToPolyline<Mill::ConvexStandardToolBase<double>, double>(const Mill::ConvexStandardToolBase<double>&, double);
extern template SORVANE_API PolylineDataBase<float>  ToPolyline<Mill::CylindricalToolBase<float>,  float>(const Mill::CylindricalToolBase<float>&,  float);
extern template SORVANE_API PolylineDataBase<double> ToPolyline<Mill::CylindricalToolBase<double>, double>(const Mill::CylindricalToolBase<double>&, double);
} // namespace Velk::Math::Sorvane::Planar
// clang-format on

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) void ToPolyline(const Mill::ConvexStandardToolBase<T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) void ToPolyline(const Mill::CylindricalToolBase<T>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
namespace Velk::Math::Sorvane::Mill {
template <class T> requires(!SupportedReal<T>) void PolyArcSegFromTool(const ConvexStandardToolBase<T>&) = delete;
template <class T> requires(!SupportedReal<T>) void PolyArcSegFromTool(const CylindricalToolBase<T>&) = delete;
template <class T> requires(!SupportedReal<T>) void ConvexToolFromPolyline(const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) void CylindricalToolFromPolyline(const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) void BestConvexToolFromPolyline(const std::vector<VecBase<2, T>>&, T, T) = delete;
} // namespace Velk::Math::Sorvane::Mill
// clang-format on
/// @endcond
