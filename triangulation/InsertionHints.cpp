// Earlier neighbors along the Z-order curve (G. M. Morton, 1966).

#include "triangulation/InsertionHints_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

struct Place {
    std::uint64_t key;
    int point;
};

std::uint64_t Spread(std::uint32_t bits)
{
    std::uint64_t spread = bits;
    spread = (spread | (spread << 16U)) & 0x0000ffff0000ffffU;
    spread = (spread | (spread << 8U)) & 0x00ff00ff00ff00ffU;
    spread = (spread | (spread << 4U)) & 0x0f0f0f0f0f0f0f0fU;
    spread = (spread | (spread << 2U)) & 0x3333333333333333U;
    return (spread | (spread << 1U)) & 0x5555555555555555U;
}

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
        return Spread(cell(0)) | (Spread(cell(1)) << 1U);
    }

private:
    static constexpr double kCells = 4294967295.0;
    Vec2d low_;
    double scale_ = 0;
};

/// Stable, digit by digit from the lowest (H. H. Seward, 1954).
void SortByKey(std::vector<Place>& places)
{
    constexpr unsigned kDigitBits = 11;
    constexpr std::size_t kDigits = 6;
    constexpr std::uint64_t kMask = (std::uint64_t{1} << kDigitBits) - 1;
    std::array<std::array<int, kMask + 1>, kDigits> counts{};
    const auto digit = [&](const Place& place, std::size_t d) {
        return static_cast<std::size_t>((place.key >> (kDigitBits * d)) & kMask);
    };
    for (const Place& place : places) {
        for (std::size_t d = 0; d < kDigits; ++d) {
            ++counts[d][digit(place, d)];
        }
    }
    std::vector<Place> sorted(places.size());
    for (std::size_t d = 0; d < kDigits; ++d) {
        std::exclusive_scan(counts[d].begin(), counts[d].end(), counts[d].begin(), 0);
        for (const Place& place : places) {
            sorted[static_cast<std::size_t>(counts[d][digit(place, d)]++)] = place;
        }
        places.swap(sorted);
    }
}

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
    SortByKey(curve);

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
