// Rings of a pocket: offsets of all its walls to the inside, one step after the other.

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "mathbase/Progress_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// Distances that are worked on side by side.
constexpr int kAtOnce = 8;
/// A pocket of less area than this part of the disc of the first distance has no ring. It has to be
/// some way below 1 because areas round; a little less saves no time.
constexpr double kDisc = 0.999;

/// The chain as it is when its area has this sign, else turned round.
template <class T>
PolyArcSegBase<T> Oriented(PolyArcSegBase<T> chain, double sign)
{
    if (static_cast<double>(PolyArcSegArea(chain)) * sign < 0) {
        std::reverse(chain.elements.begin(), chain.elements.end());
        for (ArcSegBase<T>& element : chain.elements) {
            element.Reverse();
        }
    }
    return chain;
}

/// Does every element end where the next one starts, within the tolerance or, far from the origin,
/// the rounding of coordinates, as `WallOffsets` takes them?
template <class T>
bool IsClosed(const PolyArcSegBase<T>& chain)
{
    double size = 0.0;
    for (const ArcSegBase<T>& element : chain.elements) {
        size = std::max(size, SizeOf(element));
    }
    PolyArcSegBase<T> joined = chain;
    joined.tolerance = std::max(AtLeastZero(chain.tolerance), static_cast<T>(RoundingAt<T>(size)));
    return size <= Math::Impl::kLargestCoordinate && joined.IsClosed();
}

/// Half the lesser extent of the chain's box, within which every disc inside the chain has its
/// radius.
template <class T>
double WidestDisc(const PolyArcSegBase<T>& chain)
{
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Vec2d low(kFar, kFar);
    Vec2d high(-kFar, -kFar);
    const auto include = [&](const VecBase<2, T>& point) {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], static_cast<double>(point[axis]));
            high[axis] = std::max(high[axis], static_cast<double>(point[axis]));
        }
    };
    for (const ArcSegBase<T>& element : chain.elements) {
        include(element.StartPoint());
        include(element.EndPoint());
        if (const ArcBase<T>* const arc = element.AsArc()) {
            for (const VecBase<2, T>& corner : arc->Bounds()) {
                include(corner);
            }
        }
    }
    return 0.5 * std::min(high.x() - low.x(), high.y() - low.y());
}

/// The walls of a pocket, which lies to the left of all of them, the outline first.
template <class T>
class PocketWalls {
public:
    PocketWalls(const PolyArcSegBase<T>& outline, const std::vector<PolyArcSegBase<T>>& islands)
    {
        walls_.push_back(Oriented(outline, 1.0));
        for (const PolyArcSegBase<T>& island : islands) {
            walls_.push_back(Oriented(island, -1.0));
        }
        for (const ArcSegBase<T>& element : walls_.front().elements) {
            size_ = std::max(size_, SizeOf(element));
        }
        // Rounding may make the outline wider than it is.
        widest_ = WidestDisc(walls_.front()) + RoundingAt<T>(size_);
    }

    bool AreClosed() const { return std::all_of(walls_.begin(), walls_.end(), IsClosed<T>); }
    double Rounding() const { return RoundingAt<T>(size_); }
    /// No point of the pocket is farther from the walls.
    double WidestDistance() const { return widest_; }
    /// Has the outline less area than the disc? A line there and back has none.
    bool IsLessThanDisc(double radius) const
    {
        const auto area = static_cast<double>(PolyArcSegArea(walls_.front()));
        return !(area >= kDisc * kPi<double> * radius * radius);
    }

    /// Where islands and walls overlap, walls have offsets where there is no pocket: without those.
    /// No curve crosses a wall, so that one of its points tells for all of it.
    std::vector<std::vector<PolyArcSegBase<T>>> CurvesInPocket(const std::set<T>& distances,
                                                               T tol) const
    {
        auto offsets = WallOffsets(walls_, distances, tol);
        for (std::vector<PolyArcSegBase<T>>& curves : offsets) {
            std::erase_if(curves, [&](const PolyArcSegBase<T>& curve) {
                return !std::all_of(walls_.begin(), walls_.end(), [&](const auto& wall) {
                    return PointInPolyArcSegSpace<T>(wall, curve.elements.front().StartPoint(),
                                                     true, nullptr);
                });
            });
        }
        return offsets;
    }

private:
    std::vector<PolyArcSegBase<T>> walls_;
    double size_ = 0.0;
    double widest_ = 0.0;
};

} // namespace

template <class T>
PocketPlan<T> PocketRings(const PolyArcSegBase<T>& outline,
                          const std::vector<PolyArcSegBase<T>>& islands,
                          const PocketSteps<T>& steps, T tol)
{
    return Progress::Impl::Stoppable([&]() -> PocketPlan<T> {
        const PocketWalls<T> walls(outline, islands);
        if (!walls.AreClosed()) {
            return {PocketEnd::OpenWall, {}};
        }
        const auto first = static_cast<double>(steps.first);
        const auto step = static_cast<double>(steps.step);
        const double widest = walls.WidestDistance();
        const double rounding = walls.Rounding() + RoundingAt<T>(first);
        if (!(steps.first > AtLeastZero(tol)) || !std::isfinite(first) || !(step > rounding) ||
            !std::isfinite(step)) {
            return {PocketEnd::BadSteps, {}};
        }
        PocketPlan<T> plan{PocketEnd::Cleared, {}};
        if (walls.IsLessThanDisc(first)) {
            return plan;
        }
        const auto distanceOf = [&](std::size_t ring) {
            return first + step * static_cast<double>(ring);
        };
        const auto most = static_cast<std::size_t>(std::max(steps.mostRings, 0));
        while (distanceOf(plan.rings.size()) <= widest) {
            Progress::Impl::Check(distanceOf(plan.rings.size()) / widest);
            std::set<T> distances; // to the left, so negative: the farthest comes first
            for (std::size_t ring = plan.rings.size();
                 ring < most && distances.size() < kAtOnce && distanceOf(ring) <= widest; ++ring) {
                distances.insert(-static_cast<T>(distanceOf(ring)));
            }
            if (distances.empty()) {
                plan.end = PocketEnd::MostRings;
                break;
            }
            auto offsets = walls.CurvesInPocket(distances, tol);
            auto distance = distances.rbegin();
            for (auto curves = offsets.rbegin(); curves != offsets.rend(); ++curves, ++distance) {
                if (curves->empty()) {
                    return plan;
                }
                plan.rings.push_back({-*distance, std::move(*curves)});
            }
        }
        return plan;
    });
}

// clang-format off
template PocketPlan<float>  PocketRings(const PolyArcSegBase<float>&,  const std::vector<PolyArcSegBase<float>>&,  const PocketSteps<float>&,  float);
template PocketPlan<double> PocketRings(const PolyArcSegBase<double>&, const std::vector<PolyArcSegBase<double>>&, const PocketSteps<double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
