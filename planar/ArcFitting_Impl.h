// The steps of arc fitting that the public filters and tool fitting share. All but the last work on
// `double`, whatever type the caller's points have.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// The caller's points in `double`.
template <class T>
std::vector<Vec2d> WidenedPoints(const std::vector<VecBase<2, T>>& points)
{
    std::vector<Vec2d> wide(points.size());
    std::transform(points.begin(), points.end(), wide.begin(),
                   [](const VecBase<2, T>& point) { return Vec2d(point); });
    return wide;
}

/// What the caller's coordinate type and the size of his coordinates do to the points.
struct PointAccuracy {
    double floor = 0;    ///< within which two points are the same, per coordinate
    double rounding = 0; ///< of a coordinate

    /// What rounding may add to the curvature at `b`. Curvature is twice the distance of `b` from
    /// the chord a-c over the product of the lengths of a-b and b-c, and the three roundings shift
    /// that distance by no more than twice the rounding of a coordinate.
    double CurvatureRounding(const Vec2d& a, const Vec2d& b, const Vec2d& c) const;
};

/// Does `b` lie beyond `a` or beyond `c` as seen along the line through them, or match one of them?
/// Then there is no circle by which to tell how much a polyline bends there.
bool IsWithoutBend(const Vec2d& a, const Vec2d& b, const Vec2d& c, double floor);

/// Numbers of the points that `FilterZeroCurvature` keeps.
std::vector<int> KeptPoints(const std::vector<Vec2d>& points, double curvatureTolerance,
                            double pointTolerance, const PointAccuracy& accuracy);

/// Points [first, last] of a thinned polyline that make one element.
struct Run {
    int first = 0;
    int last = 0;
};

/// Signed curvature at each of the points, 0 at both ends.
std::vector<double> Curvatures(const std::vector<Vec2d>& points);

/// Runs of points on one circle, and the segments between them; in order, each beginning where the
/// one before ends or inside of it.
std::vector<Run> RunsOfOneCurvature(const std::vector<Vec2d>& points,
                                    const std::vector<double>& curvatures, double tol,
                                    const PointAccuracy& accuracy);

/// The arc through three points, of radius 0 when two of them match within the floor or all are
/// collinear.
Geometry::ArcBase<double> ArcThrough(const Vec2d& first, const Vec2d& middle, const Vec2d& last,
                                     double floor);

/// By how much `point` is off the circle of `arc`, outward positive. From the start point on the
/// circle, so that no digits are lost where center and radius are large.
double OffCircle(const Geometry::ArcBase<double>& arc, const Vec2d& point);

/// `FilterArcsAndSegs` for points in a box of the given diagonal, which decides what counts as
/// straight. For parts of a larger drawing, and for points that stand for others.
template <class T>
PolyArcSegBase<T> FitArcsAndSegs(const std::vector<VecBase<2, T>>& points, double diagonal, T tol);

extern template PolyArcSegBase<float> FitArcsAndSegs(const std::vector<VecBase<2, float>>&, double,
                                                     float);
extern template PolyArcSegBase<double> FitArcsAndSegs(const std::vector<VecBase<2, double>>&,
                                                      double, double);

} // namespace Velk::Math::Sorvane::Planar::Impl
