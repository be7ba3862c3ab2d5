// Tools fitted to drawn outlines.
//
// 1. The outline is put with its tip at the origin, and its convex hull taken (ToolsOutline.cpp).
// 2. A plain cylinder as large as the box. When it is within the tolerance of the hull, that is
// all.
// 3. The tool that the chain of arcs and segments through the hull says (ToolsChain.cpp).
// 4. Shapes made from the edges of the hull (ToolsShapes.cpp): those that contain the hull when no
// corner has been
//    found so far, and all of them when nothing is within the tolerance.
// Each candidate is flattened, measured against hull and input, and has to be the better one by
// three measures.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/Tools_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "machining/ToolsFit_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Values_Impl.h"
#include "planar/ArcFitting_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Mill {

namespace {

using namespace Impl;
using Math::Impl::IsFinite;
using Math::Impl::IsUsable;
using Planar::Impl::WidenedPoints;

/// Part of the hull's deviation of a tool that is not within the tolerance at which another is
/// preferred whatever its mean.
constexpr double kFarNearer = 0.5;
/// Part of the diagonal of an outline below which a tolerance makes no finer chords.
constexpr double kLeastChordShare = 1e-11;
/// Heights of the hull's vertices that are tried as radii of a cylindrical tool's corner.
constexpr std::size_t kMostRadii = 64;
/// Bounds of the number of fits among which the best is chosen, and the lower bound that stands for
/// 0.
constexpr int kFewestFits = 200;
constexpr int kMostFits = 1 << 20;
constexpr double kLeastBound = 1e-5;
/// By which the upper bound exceeds the lower one where it is not above it.
constexpr int kBoundRatio = 100;

/// Nothing for an empty outline and for one with coordinates that can't be reckoned with.
template <class T>
std::optional<Outline> OutlineFrom(const std::vector<VecBase<2, T>>& polyline)
{
    if (polyline.empty() || !Math::Impl::AreUsable(polyline)) {
        return std::nullopt;
    }
    std::vector<Vec2d> points = WidenedPoints(polyline);
    Vec2d low = points.front();
    Vec2d high = low;
    for (const Vec2d& point : points) {
        low = {std::min(low.x(), point.x()), std::min(low.y(), point.y())};
        high = {std::max(high.x(), point.x()), std::max(high.y(), point.y())};
    }
    if (!IsUsable(high - low)) {
        return std::nullopt;
    }
    return OutlineOf(std::move(points), low, high);
}

/// Never NaN nor infinite, so that deviations can be sorted.
template <class T>
T AsDeviation(double value)
{
    constexpr T kMost = std::numeric_limits<T>::max();
    return value < static_cast<double>(kMost) ? static_cast<T>(value) : kMost;
}

ConvexStandardToolBase<float> ToolAs(const WideTool& tool, float)
{
    const auto f = [](double value) { return static_cast<float>(value); };
    return {f(tool.tipRadius),   f(tool.lowerCornerRadius), f(tool.lowerCornerAngle),
            f(tool.taperHeight), f(tool.taperAngle),        f(tool.upperCornerRadius),
            f(tool.shankLength)};
}
ConvexStandardToolBase<double> ToolAs(const WideTool& tool, double) { return tool; }

template <class T>
WideTool Wide(const ConvexStandardToolBase<T>& tool)
{
    return {tool.tipRadius,  tool.lowerCornerRadius, tool.lowerCornerAngle, tool.taperHeight,
            tool.taperAngle, tool.upperCornerRadius, tool.shankLength};
}
template <class T>
WideTool Wide(const CylindricalToolBase<T>& tool)
{
    return {tool.tipRadius, tool.cornerRadius, kPi<double> / 2, 0, 0, 0, tool.shankLength};
}

/// A tool that is measured against the outline, the input last and only when someone asks.
template <class Tool, class T>
class Candidate {
public:
    using Report = GenericToolFitReport<Tool, T>;

    Candidate(const Outline& outline, const Tool& tool, T tolerance) : outline_(&outline)
    {
        report_.tool = tool;
        report_.tolerance = tolerance;
        const std::vector<Vec2d> points = Flattened(tool, tolerance);
        if (!points.empty()) {
            polyline_.emplace(points);
            const Deviations deviations = DeviationsOf(*polyline_, outline.hull);
            report_.hullDeviation = AsDeviation<T>(deviations.largest);
            report_.meanDeviation = AsDeviation<T>(deviations.mean);
        }
    }

    bool IsWithinTolerance() const { return std::fabs(report_.hullDeviation) <= report_.tolerance; }

    /// The same without the part of the hull that goes on over the top, which no tool follows.
    bool FollowsProfile() const
    {
        if (IsWithinTolerance() || !outline_->IsClosedOverTop()) {
            return IsWithinTolerance();
        }
        const std::vector<Vec2d> points = Flattened(report_.tool, report_.tolerance);
        return !points.empty() && LargestDistance(PolylineDistance(points), outline_->profile) <=
                                      static_cast<double>(report_.tolerance);
    }

    T HullDeviation() const { return report_.hullDeviation; }
    T MeanDeviation() const { return report_.meanDeviation; }
    T PointDeviation()
    {
        if (polyline_) {
            report_.pointDeviation = AsDeviation<T>(LargestDistance(*polyline_, outline_->input));
            polyline_.reset();
        }
        return report_.pointDeviation;
    }
    const Report& Measured()
    {
        PointDeviation();
        return report_;
    }

    /// Is this candidate to be taken instead of the best so far? The input is measured only where
    /// the rest speaks for the candidate.
    bool Replaces(Candidate& best)
    {
        const double tolerance = report_.tolerance;
        const FitMeasures mine{0, HullDeviation(), MeanDeviation()};
        const FitMeasures others{0, best.HullDeviation(), best.MeanDeviation()};
        return IsBetterFit(mine, others, tolerance) &&
               IsBetterFit({PointDeviation(), mine.hull, mine.mean},
                           {best.PointDeviation(), others.hull, others.mean}, tolerance);
    }

private:
    /// Points of the tool's polyline. A positive tolerance below what the outline's own size can
    /// tell would take millions of them.
    std::vector<Vec2d> Flattened(const Tool& tool, T tolerance) const
    {
        const T least = static_cast<T>(kLeastChordShare * Length(outline_->corner));
        const T chords = tolerance > T{0} ? std::max(tolerance, least) : tolerance;
        return WidenedPoints(Planar::ToPolyline(tool, chords).points);
    }

    const Outline* outline_;
    Report report_;
    std::optional<PolylineDistance> polyline_; ///< as long as the input has not been measured
};

/// Fits of a convex tool to one outline, at any tolerance.
template <class T>
class ConvexFit {
public:
    using Tool = ConvexStandardToolBase<T>;
    using Report = GenericToolFitReport<Tool, T>;

    explicit ConvexFit(const Outline& outline)
        : outline_(outline),
          margin_(ContainmentMargin(outline.corner, std::numeric_limits<T>::epsilon()))
    {
    }

    /// Makes the shapes beforehand, for many fits side by side.
    void MakeShapes() { shapes_ = ShapesOf(outline_.profile.Points()); }

    Report Fit(T tolerance) const
    {
        const Vec2d& corner = outline_.corner;
        const WideTool cylinder{corner.x(), 0, kPi<double> / 2, corner.y(), 0, 0, 0};
        FitCandidate best(outline_, ToolAs(cylinder, T{}), tolerance);
        if (best.IsWithinTolerance()) {
            return best.Measured();
        }
        WideTool fromChain;
        if (ToolFromChain(outline_.profile.Points(), Length(corner), tolerance, fromChain)) {
            Consider(best, Convex(fromChain), tolerance);
        } else if (!(tolerance > T{0})) {
            return best.Measured();
        } // else the filter gave a long drift up, which says nothing of the tool
        const Tool& found = best.Measured().tool;
        const bool hasNoCorner = found.lowerCornerRadius == T{0} && found.upperCornerRadius == T{0};
        if (best.FollowsProfile() && !hasNoCorner) {
            return best.Measured();
        }
        const std::vector<WideTool> made =
            shapes_ ? std::vector<WideTool>{} : ShapesOf(outline_.profile.Points());
        const std::vector<WideTool>& shapes = shapes_ ? *shapes_ : made;
        if (hasNoCorner) {
            for (const int arcs : {1, 2}) {
                for (const WideTool& shape : shapes) {
                    const bool isOfThisPass =
                        (shape.lowerCornerRadius > 0 && shape.upperCornerRadius > 0) == (arcs == 2);
                    if (isOfThisPass &&
                        ContainsHull(Wide(ToolAs(shape, T{})), outline_.hull.Points(), margin_)) {
                        Consider(best, shape, tolerance);
                    }
                }
            }
        }
        if (!best.FollowsProfile()) {
            for (const WideTool& shape : shapes) {
                FitCandidate candidate(outline_, ToolAs(shape, T{}), tolerance);
                const bool isFarNearer = static_cast<double>(candidate.HullDeviation()) <
                                         kFarNearer * best.HullDeviation();
                if (isFarNearer || candidate.Replaces(best)) {
                    best = std::move(candidate);
                }
            }
        }
        // A profile that is not convex, for want of anything else.
        if (!best.FollowsProfile()) {
            Consider(best, fromChain, tolerance);
        }
        return best.Measured();
    }

private:
    using FitCandidate = Candidate<Tool, T>;

    /// The arcs of a chain may dip below the tip or lean inward where they end, as far as the
    /// tolerance leaves that open. Neither does a convex tool, and such a one would have no offset.
    static WideTool Convex(const WideTool& tool)
    {
        WideTool convex = tool;
        convex.taperAngle = std::max(tool.taperAngle, 0.0);
        if (tool.lowerCornerRadius > 0) {
            convex.lowerCornerAngle =
                std::clamp(tool.lowerCornerAngle, convex.taperAngle, kPi<double> / 2);
        }
        return convex;
    }

    void Consider(FitCandidate& best, const WideTool& tool, T tolerance) const
    {
        FitCandidate candidate(outline_, ToolAs(tool, T{}), tolerance);
        if (candidate.Replaces(best)) {
            best = std::move(candidate);
        }
    }

    const Outline& outline_;
    double margin_;
    std::optional<std::vector<WideTool>> shapes_;
};

/// Greatest radius of a corner that leaves no vertex of the hull out: the circle that touches wall
/// and bottom goes through the vertex at (a, y) from them when radius = a + y + sqrt(2 a y).
double GreatestCornerRadius(const Outline& outline)
{
    double radius = std::min(outline.corner.x(), outline.corner.y());
    for (const Vec2d& vertex : outline.profile.Points()) {
        const double a = outline.corner.x() - vertex.x();
        radius = std::min(radius, a + vertex.y() + std::sqrt(2 * a * vertex.y()));
    }
    return radius;
}

/// Radii of the corner to try: the ball's, the greatest that contains the hull, and heights of
/// vertices.
std::vector<double> CornerRadii(const Outline& outline)
{
    const double most = std::min(outline.corner.x(), outline.corner.y());
    std::vector<double> radii{most, GreatestCornerRadius(outline)};
    const std::vector<Vec2d>& vertices = outline.profile.Points();
    const std::size_t count = std::min(vertices.size(), kMostRadii);
    for (std::size_t i = 0; i < count; ++i) {
        const double height = vertices[(i + 1) * vertices.size() / count - 1].y();
        if (height > 0 && height <= most) {
            radii.push_back(height);
        }
    }
    return radii;
}

template <class T>
GenericToolFitReport<CylindricalToolBase<T>, T> FitCylindrical(const Outline& outline, T tolerance)
{
    using Tool = CylindricalToolBase<T>;
    const double width = outline.corner.x();
    const double height = outline.corner.y();
    const double margin = ContainmentMargin(outline.corner, std::numeric_limits<T>::epsilon());
    Candidate<Tool, T> best(outline, {static_cast<T>(width), T{0}, static_cast<T>(height)},
                            tolerance);

    const std::vector<double> radii = CornerRadii(outline);
    std::vector<std::optional<Candidate<Tool, T>>> candidates(radii.size());
    Parallel::Impl::ApplyParallel(std::size_t{0}, radii.size(), [&](std::size_t i) {
        const Tool tool{static_cast<T>(width - radii[i]), static_cast<T>(radii[i]),
                        static_cast<T>(height - radii[i])};
        if (ContainsHull(Wide(tool), outline.hull.Points(), margin)) {
            candidates[i].emplace(outline, tool, tolerance);
        }
    });
    std::vector<Candidate<Tool, T>*> containing;
    for (auto& candidate : candidates) {
        if (candidate) {
            containing.push_back(&*candidate);
        }
    }
    std::stable_sort(containing.begin(), containing.end(), [](const auto* a, const auto* b) {
        return a->HullDeviation() < b->HullDeviation();
    });
    for (Candidate<Tool, T>* const candidate : containing) {
        if (candidate->Replaces(best)) {
            best = std::move(*candidate);
        }
    }
    return best.Measured();
}

/// Bounds of the tolerance, and the number of fits between them.
template <class T>
struct Sweep {
    T low{0};
    T step{0};
    int count = 0;
};

template <class T>
Sweep<T> SweepBetween(T oneBound, T otherBound)
{
    T low = std::min(oneBound, otherBound);
    T high = std::max(oneBound, otherBound);
    if (std::fabs(low) <= kLengthFloor<T>) {
        low = static_cast<T>(kLeastBound);
    }
    if (low >= high) {
        high = low * static_cast<T>(kBoundRatio);
    }
    // Clamped before it becomes an integer.
    const T steps = std::clamp((high - low) / low, T{0}, static_cast<T>(kMostFits - 1));
    const int count = std::max(static_cast<int>(steps) + 1, kFewestFits);
    return {low, (high - low) / static_cast<T>(count - 1), count};
}

} // namespace

template <class T>
GenericToolFitReport<ConvexStandardToolBase<T>, T>
ConvexToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T tolerance)
{
    const std::optional<Outline> outline = OutlineFrom(polyline);
    if (!outline) {
        return {{}, tolerance};
    }
    return ConvexFit<T>(*outline).Fit(tolerance);
}

template <class T>
GenericToolFitReport<CylindricalToolBase<T>, T>
CylindricalToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T tolerance)
{
    const std::optional<Outline> outline = OutlineFrom(polyline);
    if (!outline) {
        return {{}, tolerance};
    }
    return FitCylindrical(*outline, tolerance);
}

template <class T>
GenericToolFitReport<ConvexStandardToolBase<T>, T>
BestConvexToolFromPolyline(const std::vector<VecBase<2, T>>& polyline, T oneBound, T otherBound)
{
    using Report = GenericToolFitReport<ConvexStandardToolBase<T>, T>;
    if (!IsFinite(oneBound) || !IsFinite(otherBound)) {
        return {};
    }
    const Sweep<T> sweep = SweepBetween(oneBound, otherBound);
    const std::optional<Outline> outline = OutlineFrom(polyline);
    if (!outline || !IsFinite(sweep.step)) {
        return {{}, sweep.low};
    }
    ConvexFit<T> fit(*outline);
    fit.MakeShapes();
    std::vector<Report> reports(static_cast<std::size_t>(sweep.count));
    Parallel::Impl::ApplyParallel(0, sweep.count, [&](int i) {
        reports[static_cast<std::size_t>(i)] = fit.Fit(sweep.low + static_cast<T>(i) * sweep.step);
    });
    // The first of the equals, that is the one of the smallest tolerance.
    return *std::min_element(reports.begin(), reports.end(), [](const Report& a, const Report& b) {
        return std::tie(a.hullDeviation, a.pointDeviation) <
               std::tie(b.hullDeviation, b.pointDeviation);
    });
}

#define SORVANE_INSTANTIATE(T)                                                              \
    template GenericToolFitReport<ConvexStandardToolBase<T>, T> ConvexToolFromPolyline(     \
        const std::vector<VecBase<2, T>>&, T);                                              \
    template GenericToolFitReport<CylindricalToolBase<T>, T> CylindricalToolFromPolyline(   \
        const std::vector<VecBase<2, T>>&, T);                                              \
    template GenericToolFitReport<ConvexStandardToolBase<T>, T> BestConvexToolFromPolyline( \
        const std::vector<VecBase<2, T>>&, T, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Mill
