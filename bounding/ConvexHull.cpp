// The convex hull in the plane, and the hull of two hulls.

#include <Sorvane/ConvexHull_E.h>

#include "bounding/InnerPoints_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace Velk::Math::Sorvane::Bounding {

namespace {

template <class T>
using Points = std::vector<VecBase<2, T>>;

/// The two of three collinear points that lie farthest apart, ascending by x, then y; coordinates
/// within the tolerance count as equal.
template <class T>
Points<T> FarthestTwo(const Points<T>& three)
{
    const T d01 = Vector::SquaredLength(three[1] - three[0]);
    const T d12 = Vector::SquaredLength(three[2] - three[1]);
    const T d02 = Vector::SquaredLength(three[2] - three[0]);
    Points<T> ends{three[0], three[1]};
    if (d02 >= d01 && d02 >= d12) {
        ends = {three[0], three[2]};
    } else if (d12 >= d01 && d12 >= d02) {
        ends = {three[1], three[2]};
    }
    for (int i = 0; i < 2; ++i) {
        const T difference = ends[1][i] - ends[0][i];
        if (!(std::abs(difference) <= kLengthFloor<T>)) {
            if (difference < 0) {
                std::swap(ends[0], ends[1]);
            }
            break;
        }
    }
    return ends;
}

/// Is the doubled area no more than the floor, as an area, and does none of the points lie farther
/// than the floor from the line through the other two that are farthest apart? From a length of 1
/// on the first says it all; of a shorter triangle it says nothing about its angles. False for NaN.
template <class T>
bool AreOnALine(const Points<T>& three)
{
    const VecBase<2, double> origin(three[2]);
    const VecBase<2, double> u = VecBase<2, double>(three[0]) - origin;
    const VecBase<2, double> v = VecBase<2, double>(three[1]) - origin;
    const double longest = std::max({Length(u), Length(v), Length(v - u)});
    return std::abs(u ^ v) <= static_cast<double>(kLengthFloor<T>) * std::min(longest, 1.0);
}

template <class T>
Points<T> HullOfThree(const Points<T>& three)
{
    if (AreOnALine(three)) {
        return FarthestTwo(three);
    }
    if (Vector::SignedArea(three) < 0) {
        return {three[0], three[2], three[1]};
    }
    return three;
}

/// False where rounding has left a dent: a vertex sees the third next one inside the one after it.
template <class T>
bool IsConvex(const Points<T>& hull)
{
    const std::size_t count = hull.size();
    if (count < 5) {
        return true;
    }
    const auto isDent = [&](std::size_t i, std::size_t next, std::size_t third) {
        return ((hull[i] - hull[next]) ^ (hull[third] - hull[next])) > 0;
    };
    for (std::size_t i = 0; i + 3 < count; ++i) {
        if (isDent(i, i + 1, i + 3)) {
            return false;
        }
    }
    return !isDent(count - 3, count - 2, 0) && !isDent(count - 2, count - 1, 1) &&
           !isDent(count - 1, 0, 2);
}

template <class T>
Points<T> Hull(const Points<T>& points, bool sortedUnique, int turnsLeft);

/// Another order of the points has another rounding: turns the hull and makes it anew. The vertices
/// are turned back by looking up where they came from, which loses no bit.
template <class T>
Points<T> HullOfTurned(const Points<T>& hull, int turnsLeft)
{
    const TransformBase<2> turn = Transform::BuildRotationFromAngle(0.1234);
    Points<T> turned;
    std::unordered_map<VecBase<2, T>, VecBase<2, T>> origin;
    for (const VecBase<2, T>& vertex : hull) {
        turned.push_back(turn * vertex);
        origin.try_emplace(turned.back(), vertex);
    }
    Points<T> result = Hull(turned, false, turnsLeft - 1);
    for (VecBase<2, T>& vertex : result) {
        const auto found = origin.find(vertex); // NaN is never found and stays
        vertex = found != origin.end() ? found->second : vertex;
    }
    return result;
}

/// Are there coordinates so large that a product of two differences overflows in T?
template <class T>
bool AreTooLargeForProducts(const Points<T>& points)
{
    constexpr double kLargest = std::is_same_v<T, float> ? 1e18 : Math::Impl::kLargestCoordinate;
    return std::any_of(points.begin(), points.end(), [](const VecBase<2, T>& p) {
        return static_cast<double>(Math::Impl::LargestMagnitude(p)) > kLargest;
    });
}

template <class T>
Points<T> HullOfUnique(const Points<T>& points, int turnsLeft)
{
    if (points.size() < 3) {
        return points;
    }
    if (AreTooLargeForProducts(points)) {
        Points<T> sorted = points;
        std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
            return a[0] < b[0] || (a[0] == b[0] && a[1] < b[1]);
        });
        return Impl::ExactChain(sorted);
    }
    if (points.size() == 3) {
        return HullOfThree(points);
    }
    Points<T> hull = Impl::MonotoneChain(points);
    if (!IsConvex(hull) && turnsLeft > 0) {
        return HullOfTurned(hull, turnsLeft);
    }
    return hull;
}

template <class T>
Points<T> Hull(const Points<T>& points, bool sortedUnique, int turnsLeft)
{
    auto outer = Impl::WithoutInnerPoints(points);
    if (sortedUnique) {
        return HullOfUnique(outer ? *outer : points, turnsLeft);
    }
    Points<T> unique = outer ? std::move(*outer) : points;
    Vector::FilterForUniqueness(unique, kLengthFloor<T>);
    const bool areTwo = unique.size() == 2 && points.size() == 2;
    return areTwo ? points : HullOfUnique(unique, turnsLeft);
}

} // namespace

template <class T>
std::vector<VecBase<2, T>> ConvexHull(const std::vector<VecBase<2, T>>& points, bool sortedUnique)
{
    constexpr int kTurns = 16; // far more than rounding has ever asked for
    return Hull(points, sortedUnique, kTurns);
}

template <class T>
std::vector<VecBase<2, T>> MergeConvexHulls(const std::vector<VecBase<2, T>>& a,
                                            const std::vector<VecBase<2, T>>& b)
{
    if (a.empty() || b.empty()) {
        return a.empty() ? b : a;
    }
    const bool bIsLeft = a[0][0] > b[0][0];
    const Points<T>& left = bIsLeft ? b : a;
    const Points<T>& right = bIsLeft ? a : b;
    // Of vertices that coincide the filter keeps the earlier: those of the left hull.
    Points<T> both = left;
    both.insert(both.end(), right.begin(), right.end());
    Points<T> hull = ConvexHull(both, false);
    const auto first = std::find(hull.begin(), hull.end(), left[0]);
    if (first != hull.end()) {
        std::rotate(hull.begin(), first, hull.end());
    }
    return hull;
}

#define SORVANE_INSTANTIATE(T)                                                               \
    template std::vector<VecBase<2, T>> ConvexHull(const std::vector<VecBase<2, T>>&, bool); \
    template std::vector<VecBase<2, T>> MergeConvexHulls(const std::vector<VecBase<2, T>>&,  \
                                                         const std::vector<VecBase<2, T>>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Bounding
