// Earlier neighbors along the Z-order curve (G. M. Morton, 1966).

#include "triangulation/InsertionHints_Impl.h"

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/RadixSort_Impl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

struct Place {
    std::uint64_t key;
    int point;
};

/// Points to cells of a square grid of 2^32 cells a side over their box.
class CurveKeys {
public:
    template <class T>
    explicit CurveKeys(const std::vector<VecBase<2, T>>& points)
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        Vec2d high(-kInfinity, -kInfinity);
        low_ = Vec2d(kInfinity, kInfinity);
        for (const VecBase<2, T>& p : points) {
            for (int axis = 0; axis < 2; ++axis) {
                low_[axis] = std::min(low_[axis], static_cast<double>(p[axis]));
                high[axis] = std::max(high[axis], static_cast<double>(p[axis]));
            }
        }
        const double extent = std::max(high.x() - low_.x(), high.y() - low_.y());
        scale_ = extent > 0 ? kCells / extent : 0;
    }

    template <class T>
    std::uint64_t Key(const VecBase<2, T>& p) const
    {
        const auto cell = [&](int axis) {
            const double place = (static_cast<double>(p[axis]) - low_[axis]) * scale_;
            return static_cast<std::uint32_t>(std::clamp(place, 0.0, kCells));
        };
        using Math::Impl::SpreadBits;
        return SpreadBits<2>(cell(0)) | (SpreadBits<2>(cell(1)) << 1U);
    }

private:
    static constexpr double kCells = 4294967295.0;
    Vec2d low_;
    double scale_ = 0;
};

} // namespace

template <class T>
std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, T>>& points)
{
    const int count = static_cast<int>(points.size());
    std::vector<int> neighbors(points.size(), -1);
    if (count == 0) {
        return neighbors;
    }
    const CurveKeys keys(points);
    std::vector<Place> curve(points.size());
    for (int i = 0; i < count; ++i) {
        const auto slot = static_cast<std::size_t>(i);
        curve[slot] = {keys.Key(points[slot]), i};
    }
    Math::Impl::StableSortByKey(curve, [](const Place& place) { return place.key; });

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
        return SquaredLength(Vec2d(p.x(), p.y()) - Vec2d(q.x(), q.y()));
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
