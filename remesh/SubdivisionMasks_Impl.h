// The weights of smooth subdivision, written once: the steps on a half-edge mesh and Loop's step on
// plain arrays come to the same bits by them.
#pragma once

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cmath>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// The middle of an edge: where a feature edge is split.
inline Vec3d EdgeMiddle(const Vec3d& a, const Vec3d& b) { return (a + b) / 2.0; }

/// Loop's new node on the edge a b between the apexes c and d.
inline Vec3d LoopEdgePoint(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    return 0.375 * (a + b) + 0.125 * (c + d);
}

/// Loop's rule for an old node with `count` neighbors whose sum is `ring`, in the simpler form of
/// the weights (J. Warren, "Subdivision methods for geometric design", 1995).
inline Vec3d LoopNode(const Vec3d& p, const Vec3d& ring, int count)
{
    if (count == 0) {
        return p; // a node without edges has nothing to be drawn to
    }
    const double beta = count == 3 ? 0.1875 : 3.0 / (8.0 * count);
    return (1.0 - count * beta) * p + beta * ring;
}

/// The sqrt(3) rule for an old node.
inline Vec3d Sqrt3Node(const Vec3d& p, const Vec3d& ring, int count)
{
    if (count < 3) {
        return p;
    }
    const double alpha = (4.0 - 2.0 * std::cos(kTwoPi<double> / count)) / (9.0 * count);
    return (1.0 - count * alpha) * p + alpha * ring;
}

/// The rule for an old node on a feature line whose two neighbors there have the sum `ends`: that
/// of a cubic B-spline.
inline Vec3d CurveNode(const Vec3d& p, const Vec3d& ends) { return 0.75 * p + 0.125 * ends; }

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
