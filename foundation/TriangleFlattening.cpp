// Triangles laid into the plane from their edge lengths alone: one, two about an edge, and one with
// all three neighbors.

#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>

namespace Velk::Math::Sorvane::Mesh {
namespace {

template <int D, class T>
T Distance(const VecBase<D, T>& p, const VecBase<D, T>& q)
{
    return Length(q - p);
}

/// The point above the X axis at distance `fromFirst` of the origin and `fromSecond` of (base, 0).
/// The root is not guarded: no such point is NaN.
template <class T>
VecBase<2, T> Apex(T base, T fromFirst, T fromSecond)
{
    const T x = (fromFirst * fromFirst - fromSecond * fromSecond + base * base) / (2 * base);
    return {x, std::sqrt(fromFirst * fromFirst - x * x)};
}

template <class T>
VecBase<2, T> TurnedBy(T angle, const VecBase<2, T>& v)
{
    VecBase<2, T> polar = Vector::CartesianToPolar(v);
    polar[1] += angle;
    return Vector::PolarToCartesian(polar);
}

/// Upside down: the mirror along +Y.
template <class T>
VecBase<2, T> Flipped(const VecBase<2, T>& v)
{
    return Vector::Reflect(v, VecBase<2, T>{0, 1});
}

} // namespace

template <class T>
std::array<VecBase<2, T>, 3> FlattenTriangle(T a, T b, T c)
{
    return {VecBase<2, T>{0, 0}, VecBase<2, T>{a, T{0}}, Apex(a, c, b)};
}

template <class T>
std::array<VecBase<2, T>, 3> FlattenTriangle(const VecBase<3, T>& p0, const VecBase<3, T>& p1,
                                             const VecBase<3, T>& p2)
{
    return FlattenTriangle(Distance(p0, p1), Distance(p1, p2), Distance(p2, p0));
}

template <class T>
std::array<VecBase<2, T>, 3> FlattenTriangle(const Triangle<3, T>& triangle)
{
    return FlattenTriangle(triangle[0], triangle[1], triangle[2]);
}

template <class T>
std::array<VecBase<2, T>, 3> AlignTriangle(const Triangle<2, T>& triangle)
{
    return FlattenTriangle(Distance(triangle[0], triangle[1]), Distance(triangle[1], triangle[2]),
                           Distance(triangle[2], triangle[0]));
}

template <class T>
std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(T a, T b, T c, T d, T e)
{
    const auto [p0, p1, p2] = FlattenTriangle(a, b, c);
    const VecBase<2, T> mirrored = Apex(a, d, e);
    return {p0, p1, p2, VecBase<2, T>{mirrored[0], -mirrored[1]}};
}

template <class T>
std::array<VecBase<2, T>, 4>
FlattenTriangleNeighbors(const VecBase<3, T>& p0, const VecBase<3, T>& p1, const VecBase<3, T>& p2,
                         const VecBase<3, T>& p3)
{
    return FlattenTriangleNeighbors(Distance(p0, p1), Distance(p1, p2), Distance(p2, p0),
                                    Distance(p0, p3), Distance(p3, p1));
}

template <class T>
std::array<VecBase<2, T>, 6> FlattenTriangleStar(T a, T b, T c, T d, T e, T f, T g, T h, T i)
{
    const auto [p0, p1, p2, p3] = FlattenTriangleNeighbors(a, b, c, d, e);

    // Across p2p0: the neighbor flattened with p0 at the origin and p2 on the X axis lies to the
    // left of p0p2, and so it does when p2 has been turned to its place; the triangle itself lies
    // to the right.
    const VecBase<2, T> fromOrigin = FlattenTriangle(c, h, i)[2];
    const VecBase<2, T> p5 = TurnedBy(Vector::AngleSweep(p2, kLengthFloor<T>), fromOrigin);

    // Across p1p2: flattened with p2 at the origin and p1 on the X axis. The edge runs backwards
    // there, so the way from p1 to the outer point is turned in the mirror, where angles count from
    // p1 to p2.
    const std::array<VecBase<2, T>, 3> neighbor = FlattenTriangle(b, f, g);
    const VecBase<2, T> inMirror = -Flipped(neighbor[2] - neighbor[1]);
    const T edgeAngle = Vector::AngleSweep(-Flipped(p2 - p1), kLengthFloor<T>);
    const VecBase<2, T> p4 = p1 - Flipped(TurnedBy(edgeAngle, inMirror));

    return {p0, p1, p2, p3, p4, p5};
}

template <class T>
std::array<VecBase<2, T>, 6> FlattenTriangleStar(const VecBase<3, T>& p0, const VecBase<3, T>& p1,
                                                 const VecBase<3, T>& p2, const VecBase<3, T>& p3,
                                                 const VecBase<3, T>& p4, const VecBase<3, T>& p5)
{
    return FlattenTriangleStar(Distance(p0, p1), Distance(p1, p2), Distance(p2, p0),
                               Distance(p0, p3), Distance(p3, p1), Distance(p1, p4),
                               Distance(p4, p2), Distance(p2, p5), Distance(p5, p0));
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template std::array<VecBase<2, T>, 3> FlattenTriangle(T, T, T); \
    template std::array<VecBase<2, T>, 3> FlattenTriangle(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&); \
    template std::array<VecBase<2, T>, 3> FlattenTriangle(const Triangle<3, T>&); \
    template std::array<VecBase<2, T>, 3> AlignTriangle(const Triangle<2, T>&); \
    template std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(T, T, T, T, T); \
    template std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&); \
    template std::array<VecBase<2, T>, 6> FlattenTriangleStar(T, T, T, T, T, T, T, T, T); \
    template std::array<VecBase<2, T>, 6> FlattenTriangleStar(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
