// Earlier neighbors along the Z-order curve.

#include "triangulation/InsertionHints_Impl.h"

#include "mathbase/Values_Impl.h"
#include "triangulation/CurveOrder_Impl.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

template <class T>
std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, T>>& points)
{
    const int count = static_cast<int>(points.size());
    std::vector<int> neighbors(points.size(), -1);
    if (count == 0) {
        return neighbors;
    }
    // The finest cells there are: points may crowd together in a small part of their box.
    const std::vector<CurvePlace<std::uint64_t>> curve = PlacesAlongCurve<std::uint64_t>(points);

    // The curve as a list. Taken out from the last point to the first, a point has exactly the
    // earlier ones beside it.
    struct Link {
        int before = -1;
        int behind = -1;
    };
    std::vector<Link> links(points.size());
    const auto link = [&](int i) -> Link& { return links[static_cast<std::size_t>(i)]; };
    for (std::size_t k = 0; k + 1 < curve.size(); ++k) {
        link(curve[k].point).behind = curve[k + 1].point;
        link(curve[k + 1].point).before = curve[k].point;
    }
    const auto squaredDistance = [&](int i, int j) {
        const auto& p = points[static_cast<std::size_t>(i)];
        const auto& q = points[static_cast<std::size_t>(j)];
        return SquaredLength(Math::Impl::Widened(p) - Math::Impl::Widened(q));
    };
    for (int i = count - 1; i > 0; --i) {
        const auto [before, behind] = link(i);
        int nearest = i - 1;
        for (const int candidate : {before, behind}) {
            if (candidate >= 0 && squaredDistance(i, candidate) < squaredDistance(i, nearest)) {
                nearest = candidate;
            }
        }
        neighbors[static_cast<std::size_t>(i)] = nearest;
        if (before >= 0) {
            link(before).behind = behind;
        }
        if (behind >= 0) {
            link(behind).before = before;
        }
    }
    return neighbors;
}

template std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, float>>&);
template std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, double>>&);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
