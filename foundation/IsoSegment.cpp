// The level line of a linear field on one triangle: marching triangles with the greatest corner
// first.

#include <Sorvane/MeshQueries_E.h>

namespace Velk::Math::Sorvane::Mesh {
namespace {

template <int D, class T>
struct FieldCorner {
    T value;
    VecBase<D, T> point;
};

/// Always from the smaller value to the greater, so that the two triangles of an edge agree on the
/// bits.
template <int D, class T>
VecBase<D, T> Crossing(const FieldCorner<D, T>& p, const FieldCorner<D, T>& q, T level)
{
    const FieldCorner<D, T>& low = q.value < p.value ? q : p;
    const FieldCorner<D, T>& high = q.value < p.value ? p : q;
    const T t = (level - low.value) / (high.value - low.value);
    return low.point * (1 - t) + high.point * t;
}

} // namespace

template <int D, class T>
bool IsoSegmentFromTriangle(const VecBase<D, T>& p0, const VecBase<D, T>& p1,
                            const VecBase<D, T>& p2, T s0, T s1, T s2, T level,
                            std::array<VecBase<D, T>, 2>& segment)
{
    const std::array<FieldCorner<D, T>, 3> corners{{{s0, p0}, {s1, p1}, {s2, p2}}};
    const std::size_t greatest = s2 > (s1 > s0 ? s1 : s0) ? 2 : (s1 > s0 ? 1 : 0);
    const FieldCorner<D, T>& a = corners[greatest];
    const FieldCorner<D, T>& b = corners[(greatest + 1) % 3];
    const FieldCorner<D, T>& c = corners[(greatest + 2) % 3];

    // An edge is crossed when one end is at or below the level and the other above it.
    const auto crosses = [&](const FieldCorner<D, T>& low, const FieldCorner<D, T>& high) {
        return level >= low.value && high.value > level;
    };
    const bool ab = crosses(b, a);
    const bool bc = crosses(b, c) || crosses(c, b);
    const bool ca = crosses(c, a);
    if (ab && bc && !ca) {
        segment = {Crossing(a, b, level), Crossing(b, c, level)};
    } else if (ab && !bc && ca) {
        segment = {Crossing(a, b, level), Crossing(a, c, level)};
    } else if (!ab && bc && ca) {
        segment = {Crossing(b, c, level), Crossing(c, a, level)};
    } else {
        return false;
    }
    return true;
}

// clang-format off
#define SORVANE_INSTANTIATE(D, T) \
    template bool IsoSegmentFromTriangle(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&, T, T, T, T, std::array<VecBase<D, T>, 2>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
