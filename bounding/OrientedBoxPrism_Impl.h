// What prisms around a hull are measured by.
#pragma once

#include "bounding/OrientedBox_Impl.h"

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// Areas and heights of what is seen of points along directions.
class PrismBody {
public:
    /// At least one point, all finite, one of them the origin or near the others. They are used
    /// while the object lives.
    explicit PrismBody(const std::vector<Vec3d>& points);

    /// Area and height along a unit direction, or less, by no more than rounding. O(triangles of
    /// the hull).
    std::pair<double, double> LowerBound(const Vec3d& direction) const;

    /// The same, measured: O(n log n).
    std::pair<double, double> Measured(const Vec3d& direction) const;

private:
    const Vec3d& Corner(std::size_t i) const
    {
        return corners_[static_cast<std::size_t>(triangles_[i])];
    }
    void AddArea(const Vec3d& doubledArea);
    double Height(const Vec3d& direction) const;

    const std::vector<Vec3d>& all_;
    std::vector<Vec3d> corners_;
    std::vector<int> triangles_;
    std::vector<Vec3d> areas_; // quarter the cross products
    double areaError_ = 0.0;
    std::optional<SupportGraph> graph_;
};

} // namespace Velk::Math::Sorvane::Bounding::Impl
