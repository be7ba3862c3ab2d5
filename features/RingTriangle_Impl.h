// One triangle round a node, as curvature and mixed areas see it: its angles, and which part of it
// is the node's.
#pragma once

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Which share of a triangle belongs to one of its corners: the part nearer to it than to the
/// others, unless an angle of at least 90 degrees takes the circumcenter out of the triangle.
enum class Share {
    Nearest, ///< no such angle
    Half,    ///< the angle is at the corner itself
    Quarter  ///< the angle is elsewhere, or there is no telling
};

/// The triangle x q r with the node x.
template <int N, class T>
struct RingTriangle {
    VecBase<N, T> xq;
    VecBase<N, T> qr;
    VecBase<N, T> rx;
    T cotangentAtQ;
    T cotangentAtR;
    T angleAtX;
    Share share;

    RingTriangle(const VecBase<N, T>& x, const VecBase<N, T>& q, const VecBase<N, T>& r,
                 T tolerance)
        : xq(q - x), qr(r - q), rx(x - r), cotangentAtQ(Vector::Cotangent(-xq, qr, tolerance)),
          cotangentAtR(Vector::Cotangent(rx, -qr, tolerance))
    {
        // Magnitudes: in the plane an angle has the sign of the ring's sense.
        const T angleAtQ = std::fabs(Vector::AngleBetween(-xq, qr, tolerance));
        const T angleAtR = std::fabs(Vector::AngleBetween(rx, -qr, tolerance));
        angleAtX = kPi<T> - angleAtQ - angleAtR;
        constexpr T kRight = kPi<T> / 2;
        if (angleAtX < kRight && angleAtQ < kRight && angleAtR < kRight) {
            share = Share::Nearest;
        } else {
            share = angleAtX >= kRight ? Share::Half : Share::Quarter;
        }
        if (qr == VecBase<N, T>{}) {
            // Two ring points in one place: there is no angle at either of them, which leaves half
            // a turn for the node, and the node sees them under none.
            angleAtX = 0;
        }
    }
};

/// The share that `RingTriangle` finds for the triangle x q r, without its angles where the cosines
/// are too far from that of a right angle for rounding to matter.
template <int N, class T>
Share ShareOf(const VecBase<N, T>& x, const VecBase<N, T>& q, const VecBase<N, T>& r, T tolerance)
{
    const VecBase<N, T> xq = q - x;
    const VecBase<N, T> qr = r - q;
    const VecBase<N, T> rx = x - r;
    // -1, 1 or, too near to tell, 0: the sign of the cosine between two edges.
    const auto signOf = [](const VecBase<N, T>& a, const VecBase<N, T>& b) {
        constexpr T kMargin = 4096 * std::numeric_limits<T>::epsilon();
        constexpr T kSmallest = static_cast<T>(1e-25);
        constexpr T kLargest = static_cast<T>(1e25);
        const T dot = a * b;
        const T squares = SquaredLength(a) * SquaredLength(b);
        if (!(squares > kSmallest && squares < kLargest) ||
            !(dot * dot > kMargin * kMargin * squares)) {
            return 0;
        }
        return dot > 0 ? 1 : -1;
    };
    const int atX = -signOf(rx, xq);
    const int atQ = -signOf(xq, qr);
    const int atR = -signOf(qr, rx);
    if (atX == 0 || atQ == 0 || atR == 0) {
        return RingTriangle<N, T>(x, q, r, tolerance).share;
    }
    if (atX > 0 && atQ > 0 && atR > 0) {
        return Share::Nearest;
    }
    return atX < 0 ? Share::Half : Share::Quarter;
}

/// Twice the area of the triangle between two of its edges.
template <class T>
T DoubledArea(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return std::fabs(a ^ b);
}
template <class T>
T DoubledArea(const VecBase<3, T>& a, const VecBase<3, T>& b)
{
    return Length(a ^ b);
}

/// The point after ring[i], after the last one the first.
template <class Point>
const Point& NextInRing(const std::vector<Point>& ring, std::size_t i)
{
    return ring[i + 1 < ring.size() ? i + 1 : 0];
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
