// A triangle cut at its centroid and at midpoints of its edges. Order and first corner of the
// pieces are part of the contract: callers write them into fixed places.

#include <Sorvane/Triangle_E.h>

namespace Velk::Math::Sorvane::Mesh {
namespace {

template <int D, class T>
VecBase<D, T> Midpoint(const VecBase<D, T>& p, const VecBase<D, T>& q)
{
    return (p + q) / T{2};
}

} // namespace

template <int D, class T>
TriangleSoup<D, T> SplitTriangle(const Triangle<D, T>& triangle, bool center, bool midpoints)
{
    if (!center && !midpoints) {
        return {triangle};
    }
    const auto& [a, b, c] = triangle;
    const VecBase<D, T> o = (a + b + c) / T{3};
    const VecBase<D, T> ab = Midpoint(a, b);
    const VecBase<D, T> bc = Midpoint(b, c);
    const VecBase<D, T> ca = Midpoint(c, a);
    if (center && midpoints) {
        return {{a, ab, o}, {b, o, ab}, {b, bc, o}, {c, o, bc}, {c, ca, o}, {a, o, ca}};
    }
    if (center) {
        return {{a, b, o}, {b, c, o}, {c, a, o}};
    }
    return {{a, ab, ca}, {b, bc, ab}, {c, ca, bc}, {ab, bc, ca}};
}

template <int D, class T>
TriangleSoup<D, T> SplitTriangleEdge(const Triangle<D, T>& triangle, bool first, bool second,
                                     bool third)
{
    if (first == second && second == third) {
        return SplitTriangle(triangle, false, first);
    }
    const auto& [a, b, c] = triangle;
    const VecBase<D, T> ab = Midpoint(a, b);
    const VecBase<D, T> bc = Midpoint(b, c);
    const VecBase<D, T> ca = Midpoint(c, a);
    if (first && second) {
        return {{a, ab, c}, {ab, bc, c}, {ab, b, bc}};
    }
    if (first && third) {
        return {{a, ab, ca}, {ab, b, ca}, {b, c, ca}};
    }
    if (second && third) {
        return {{a, b, bc}, {a, bc, ca}, {bc, c, ca}};
    }
    if (first) {
        return {{a, ab, c}, {ab, b, c}};
    }
    if (second) {
        return {{a, b, bc}, {bc, c, a}};
    }
    return {{a, b, ca}, {ca, b, c}};
}

// clang-format off
#define SORVANE_INSTANTIATE(D, T) \
    template TriangleSoup<D, T> SplitTriangle(const Triangle<D, T>&, bool, bool); \
    template TriangleSoup<D, T> SplitTriangleEdge(const Triangle<D, T>&, bool, bool, bool);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
