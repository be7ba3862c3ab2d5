// Milling tools of revolution: two parametric half profiles, their chains, and tools fitted to drawn outlines.
//
// A half profile lies in the plane, x the radius from the spindle axis and y the height above the tip: the axis
// is x = 0 and the tip y = 0. Angles are in radians, lengths in the caller's unit.
//
//     const auto report = Mill::ConvexToolFromPolyline(outline, 0.01);
//     const auto profile = Mill::PolyArcSegFromTool(report.tool);     // segments and arcs, from the axis upward
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Mill {

/// A convex tool: flat tip, lower corner, cone, upper corner and straight shank, each of which may be missing
/// (its radius, height or length is 0).
///
/// A ball of radius R has `lowerCornerRadius` R and `lowerCornerAngle` pi/2. A plain cylinder is fitted as a
/// `tipRadius` and a wall that is a cone of angle 0.
template <class T> struct SORVANE_API ConvexStandardToolBase {
    static_assert(SupportedReal<T>, "tools are compiled for float and double");

    T tipRadius{0};         ///< half-width of the flat at the tip, on the line y = 0
    T lowerCornerRadius{0}; ///< of the arc that leaves the flat
    T lowerCornerAngle{0};  ///< A: that arc starts at polar angle -A about its center
    T taperHeight{0};       ///< of the straight cone; a negative one is taken as it is
    T taperAngle{0};        ///< B, of the cone from the axis: the lower corner ends and the upper starts at -B
    T upperCornerRadius{0}; ///< of the arc that leaves the cone and ends parallel to the axis
    T shankLength{0};       ///< straight part above all the rest, parallel to the axis

    friend constexpr bool operator==(const ConvexStandardToolBase&, const ConvexStandardToolBase&) = default;
};

/// A cylindrical tool: flat tip, a quarter turn, straight shank.
///
/// The quarter turn begins at the rim of the flat: the cylinder's radius is `tipRadius` + `cornerRadius`.
template <class T> struct SORVANE_API CylindricalToolBase {
    static_assert(SupportedReal<T>, "tools are compiled for float and double");

    T tipRadius{0};    ///< half-width of the flat at the tip
    T cornerRadius{0}; ///< of the quarter turn that leaves the flat
    T shankLength{0};  ///< straight part above it, parallel to the axis

    friend constexpr bool operator==(const CylindricalToolBase&, const CylindricalToolBase&) = default;
};

/// What a fit found, and how far it is off. All deviations start as the largest finite T, which means that
/// there was nothing to measure.
///
/// Distances are those from the points of one polyline to the segments of the other, both ways. The tool's
/// polyline is its profile flattened at `tolerance`; input and hull are meant as the fit has put them, with the
/// tip at the origin.
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
/// What belongs to a tool record; nothing does to other types, so that templates over tools leave them to others.
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
/// `Tool` is one of the two records and T its coordinate type, which need not be named. Elements whose radius or
/// length is 0 (or negative, but for the taper's height) are left out, and what follows starts at the end of what
/// stands before it, or at the origin. So a tool of all zeros gives the empty chain, and a shank alone starts at the
/// origin. A corner over no angle (the angles A and B are the same, or the upper corner's B is 0) is an arc
/// of length 0. A record with a field that is not finite gives the empty chain. O(1).
template <class Tool, class T = typename Impl::ToolRecord<Tool>::Real>
Planar::PolyArcSegBase<T> PolyArcSegFromTool(const Tool& tool);

} // namespace Velk::Math::Sorvane::Mill

namespace Velk::Math::Sorvane::Planar {

/// The half profile of a tool, one of the two records of `Mill`, as a polyline: `Mill::PolyArcSegFromTool`, and its
/// chain by the `ToPolyline` of chains.
template <class Tool, class T>
typename Mill::Impl::ToolPolyline<Tool, T>::Type ToPolyline(const Tool& tool, T tol);

} // namespace Velk::Math::Sorvane::Planar

namespace Velk::Math::Sorvane::Mill {

// clang-format off
extern template SORVANE_API Planar::PolyArcSegBase<float>  PolyArcSegFromTool<ConvexStandardToolBase<float>,  float>(const ConvexStandardToolBase<float>&);
extern template SORVANE_API Planar::PolyArcSegBase<double> PolyArcSegFromTool<ConvexStandardToolBase<double>, double>(const ConvexStandardToolBase<double>&);
extern template SORVANE_API Planar::PolyArcSegBase<float>  PolyArcSegFromTool<CylindricalToolBase<float>,  float>(const CylindricalToolBase<float>&);
extern template SORVANE_API Planar::PolyArcSegBase<double> PolyArcSegFromTool<CylindricalToolBase<double>, double>(const CylindricalToolBase<double>&);
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
