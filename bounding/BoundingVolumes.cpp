// Boxes: growing, containment, the map onto the unit square or cube, and regular grids of points.

#include <Sorvane/BoundingVolumes_E.h>
#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Velk::Math::Sorvane::Bounding {

namespace {

template <int D>
TransformBase<D> Translation(const VecBase<D, double>& offset)
{
    TransformBase<D> translation;
    for (int i = 0; i < D; ++i) {
        translation(i, D) = offset[i];
    }
    return translation;
}

/// Scale about the origin; the identity where the factors can't be undone or change nothing.
template <int D>
TransformBase<D> ScaleOrIdentity(const VecBase<D, double>& factors, double tolerance)
{
    MatBase<D, D, double> inverse;
    bool changesNothing = true;
    for (int i = 0; i < D; ++i) {
        if (std::abs(factors[i]) <= tolerance) {
            return {};
        }
        changesNothing = changesNothing && std::abs(factors[i] - 1.0) <= tolerance;
        inverse(i, i) = factors[i];
    }
    TransformBase<D> scale;
    if (changesNothing || !Matrix::Invert(inverse, kInversionFloor)) {
        return scale;
    }
    for (int i = 0; i < D; ++i) {
        scale(i, i) = factors[i];
    }
    return scale;
}

/// Edge lengths that the unit edge stands for, axis by axis.
template <int D>
VecBase<D, double> TargetSizes(const VecBase<D, double>& extent, double marginPercent, bool perAxis,
                               double tolerance)
{
    const VecBase<D, double> sizes =
        extent * (100.0 / (100.0 - std::clamp(marginPercent, -99.9, 99.9)));
    if (perAxis) {
        return sizes;
    }
    const double largest = *std::max_element(sizes.begin(), sizes.end());
    return Impl::Uniform<D, double>(std::abs(largest) <= tolerance ? tolerance : largest);
}

} // namespace

template <int D, class T>
bool AxisAlignedBoundingBox<D, T>::ContainsPoint(const VecBase<D, T>& point, T tolerance) const
{
    return tolerance >= std::abs(Intersect::DistanceToAABB(min, max, point, false));
}

template <int D, class T>
AxisAlignedBoundingBox<D, T> BoxOfPoints(const std::vector<VecBase<D, T>>& points)
{
    AxisAlignedBoundingBox<D, T> box;
    for (const VecBase<D, T>& point : points) {
        box.Grow(point);
    }
    return box;
}

template <int D, class T>
TransformBase<D> UnitSpaceMapping(const AxisAlignedBoundingBox<D, T>& box, T marginPercent,
                                  bool perAxis)
{
    const VecBase<D, double> low(box.min);
    const VecBase<D, double> extent = VecBase<D, double>(box.max) - low;
    const auto tolerance = static_cast<double>(kLengthFloor<T>);
    const VecBase<D, double> target =
        TargetSizes<D>(extent, static_cast<double>(marginPercent), perAxis, tolerance);
    VecBase<D, double> factors;
    for (int i = 0; i < D; ++i) {
        // A size of 0 has no factor; NaN makes the whole scale refused.
        factors[i] = target[i] == 0.0 ? std::numeric_limits<double>::quiet_NaN() : 1.0 / target[i];
    }
    const TransformBase<D> scale = ScaleOrIdentity<D>(factors, tolerance);
    VecBase<D, double> centring;
    for (int i = 0; i < D; ++i) {
        centring[i] = (1.0 - scale(i, i) * extent[i]) / 2.0;
    }
    return Translation<D>(centring) * scale * Translation<D>(-low);
}

template <int D, class T>
std::vector<VecBase<D, T>>
GridOfPoints(const AxisAlignedBoundingBox<D, T>& box,
             const std::array<unsigned int, static_cast<std::size_t>(D)>& counts)
{
    std::array<std::uint64_t, D> samples;
    VecBase<D, T> step;
    std::vector<VecBase<D, T>> points;
    std::size_t total = 1;
    for (std::size_t i = 0; i < D; ++i) {
        const int axis = static_cast<int>(i);
        samples[i] = std::uint64_t{counts[i]} + 2;
        step[axis] = (box.max[axis] - box.min[axis]) / static_cast<T>(samples[i] - 1);
        // A number that overflows is certainly more than the vector can hold.
        total = total > points.max_size() / samples[i] ? points.max_size() + 1 : total * samples[i];
    }
    points.reserve(total);
    std::array<std::uint64_t, D> k{};
    for (std::size_t n = 0; n < total; ++n) {
        VecBase<D, T> point;
        for (std::size_t i = 0; i < D; ++i) {
            const int axis = static_cast<int>(i);
            point[axis] = box.min[axis] + static_cast<T>(k[i]) * step[axis];
        }
        points.push_back(point);
        for (std::size_t i = 0; i < D && ++k[i] == samples[i]; ++i) {
            k[i] = 0;
        }
    }
    return points;
}

#define SORVANE_INSTANTIATE(D, T)                                                             \
    template bool AxisAlignedBoundingBox<D, T>::ContainsPoint(const VecBase<D, T>&, T) const; \
    template AxisAlignedBoundingBox<D, T> BoxOfPoints(const std::vector<VecBase<D, T>>&);     \
    template TransformBase<D> UnitSpaceMapping(const AxisAlignedBoundingBox<D, T>&, T, bool); \
    template std::vector<VecBase<D, T>> GridOfPoints(                                         \
        const AxisAlignedBoundingBox<D, T>&, const std::array<unsigned int, std::size_t{D}>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Bounding
