// Numbers points in the order in which they first appear, by exact coordinates.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <boost/unordered/unordered_flat_map.hpp>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Points told apart by `==`: 0 and -0 are the same, and a point with NaN is new each time.
template <int N, class T>
class FilterData {
public:
    virtual ~FilterData() = default;

    /// Number of the point, which is added when it is new. Expected O(1).
    int Index(const VecBase<N, T>& point)
    {
        const auto [entry, isNew] = numbers_.try_emplace(point, static_cast<int>(points_.size()));
        if (isNew) {
            points_.push_back(point);
        }
        return entry->second;
    }

    /// By their numbers.
    const std::vector<VecBase<N, T>>& Points() const { return points_; }

private:
    boost::unordered_flat_map<VecBase<N, T>, int, std::hash<VecBase<N, T>>> numbers_;
    std::vector<VecBase<N, T>> points_;
};

} // namespace Velk::Math::Sorvane::Planar::Impl
