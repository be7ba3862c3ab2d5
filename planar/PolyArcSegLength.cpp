// Length parameters along a chain: at the joints, of points, and back; the area of a chain.

#include <Sorvane/PolyArcSeg_E.h>

#include "mathbase/Parallel_Impl.h"
#include "planar/ChainElement_Impl.h"
#include "planar/ElementBoxes_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

constexpr int kMiss = -1;

/// Whether `point` is on an element, and then its `place`, a length from the element's start.
template <class T>
bool PlaceOn(const SegBase<T>& segment, const VecBase<2, T>& point, T tol, double& place)
{
    if (!Matches(NearestOn(segment, point), point, tol)) {
        return false;
    }
    place = Distance(segment.start, point);
    return true;
}

template <class T>
bool PlaceOn(const ArcBase<T>& arc, const VecBase<2, T>& point, T tol, double& place)
{
    // Points that match are within the square's half diagonal.
    constexpr double kBeyondDiagonal = 1.5;
    if (LeastDistance(arc, point) > kBeyondDiagonal * static_cast<double>(tol)) {
        return false;
    }
    T fraction{0};
    if (!Matches(NearestOn(arc, point, fraction), point, tol)) {
        return false;
    }
    place = WideLength(arc) * static_cast<double>(fraction);
    return true;
}

/// Parameter of `point` if it is on `element`, which starts at `lengthBefore`.
template <class T>
bool ParameterOn(const ArcSegBase<T>& element, double lengthBefore, const VecBase<2, T>& point,
                 T tol, T& parameter)
{
    double place = 0.0;
    if (!element.Visit([&](const auto& e) { return PlaceOn(e, point, tol, place); })) {
        return false;
    }
    parameter = static_cast<T>(lengthBefore + place);
    return true;
}

/// Where on its element a parameter falls: at an end, within the floor, or where it takes a split.
enum class Place { Start, Inside, End };

template <class T>
Place PlaceByLength(T parameter, T first, T last)
{
    if (std::fabs(first - parameter) <= kLengthFloor<T>) {
        return Place::Start;
    }
    return std::fabs(last - parameter) <= kLengthFloor<T> ? Place::End : Place::Inside;
}

template <class T>
Place PlaceByFraction(T fraction)
{
    return PlaceByLength(fraction, T{0}, T{1});
}

} // namespace

template <class T>
std::vector<T> PolyArcSegParameters(const PolyArcSegBase<T>& chain, bool normalized)
{
    const std::vector<double> lengths = RunningLengths(chain);
    const double unit = normalized && lengths.back() != 0.0 ? lengths.back() : 1.0;
    std::vector<T> parameters(lengths.size());
    std::transform(lengths.begin(), lengths.end(), parameters.begin(),
                   [unit](double length) { return static_cast<T>(length / unit); });
    return parameters;
}

template <class T>
T PointParameterOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point, T tol)
{
    T parameter{kMiss};
    double lengthBefore = 0.0;
    for (const ArcSegBase<T>& element : chain.elements) {
        if (ParameterOn(element, lengthBefore, point, tol, parameter)) {
            return parameter;
        }
        lengthBefore += WideLength(element);
    }
    return T{kMiss};
}

template <class T>
std::vector<T> PointParametersOnPolyArcSeg(const PolyArcSegBase<T>& chain,
                                           const std::vector<VecBase<2, T>>& points, T tol)
{
    std::vector<T> parameters(points.size(), T{kMiss});
    if (chain.elements.empty() || points.empty() || !(tol >= T{0})) {
        return parameters; // no point matches within a negative tolerance, or NaN
    }
    const std::vector<double> lengths = RunningLengths(chain);
    const ElementBoxes<T> boxes(chain.elements, tol);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                boxes.VisitInOrder(points[i], [&](std::size_t element) {
                    return ParameterOn(chain.elements[element], lengths[element], points[i], tol,
                                       parameters[i]);
                });
            }
        });
    return parameters;
}

namespace {

/// `PointAtParameterOnPolyArcSeg` for a chain with these parameters of its joints.
template <class T>
bool PointAtParameter(const PolyArcSegBase<T>& chain, const std::vector<T>& joints, T parameter,
                      bool normalized, VecBase<2, T>& point)
{
    point = {};
    if (chain.elements.empty() || !(parameter >= joints.front() && parameter <= joints.back())) {
        return false;
    }
    // A joint belongs to the element that ends there.
    const auto reached = std::lower_bound(joints.begin() + 1, joints.end(), parameter);
    const T first = *(reached - 1);
    const T last = *reached;
    const auto number = static_cast<std::size_t>(reached - joints.begin() - 1);
    const ArcSegBase<T>& element = chain.elements[number];

    // Only an element without length has no fractions, and then it is the first.
    const bool hasFractions = normalized && last > first;
    const T local = hasFractions ? (parameter - first) / (last - first) : parameter - first;
    const Place place =
        hasFractions ? PlaceByFraction(local) : PlaceByLength(parameter, first, last);
    if (place == Place::Start) {
        point = element.StartPoint();
        return true;
    }
    if (place == Place::End) {
        point = element.EndPoint();
        return true;
    }
    return element.Visit([&](const auto& e) {
        const auto pieces = Geometry::Split(e, local, normalized, kLengthFloor<T>);
        if (pieces.size() != 2) {
            return false;
        }
        point = pieces.back().start;
        return true;
    });
}

} // namespace

template <class T>
bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<T>& chain, T parameter, bool normalized,
                                  VecBase<2, T>& point)
{
    return PointAtParameter(chain, PolyArcSegParameters(chain, normalized), parameter, normalized,
                            point);
}

template <class T>
std::vector<bool> PointsAtParametersOnPolyArcSeg(const PolyArcSegBase<T>& chain,
                                                 const std::vector<T>& parameters, bool normalized,
                                                 std::vector<VecBase<2, T>>& points)
{
    const std::vector<T> joints = PolyArcSegParameters(chain, normalized);
    std::vector<bool> areOnChain(parameters.size());
    points.assign(parameters.size(), {});
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        areOnChain[i] = PointAtParameter(chain, joints, parameters[i], normalized, points[i]);
    }
    return areOnChain;
}

template <class T>
T PolyArcSegArea(const PolyArcSegBase<T>& chain)
{
    if (chain.elements.empty()) {
        return T{0};
    }
    const Vec2d base = Widened(chain.elements.front().StartPoint());
    const auto at = [&](const VecBase<2, T>& point) { return Widened(point) - base; };
    double area = 0.0;
    Vec2d before = at(chain.elements.back().EndPoint());
    for (const ArcSegBase<T>& element : chain.elements) {
        const Vec2d start = at(element.StartPoint());
        const Vec2d end = at(element.EndPoint());
        area += 0.5 * ((before ^ start) + (start ^ end));
        before = end;
        if (const ArcBase<T>* const arc = element.AsArc()) {
            // Between the arc and its chord, by the angle.
            const double radius = Distance(arc->center, arc->start);
            const double sweep = radius > 0 ? static_cast<double>(arc->length) / radius : 0.0;
            area += 0.5 * radius * radius * (sweep - std::sin(sweep));
        }
    }
    return static_cast<T>(area);
}

#define SORVANE_INSTANTIATE(T)                                                                     \
    template std::vector<T> PolyArcSegParameters(const PolyArcSegBase<T>&, bool);                  \
    template T PolyArcSegArea(const PolyArcSegBase<T>&);                                           \
    template T PointParameterOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&, T);      \
    template std::vector<T> PointParametersOnPolyArcSeg(const PolyArcSegBase<T>&,                  \
                                                        const std::vector<VecBase<2, T>>&, T);     \
    template bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<T>&, T, bool, VecBase<2, T>&); \
    template std::vector<bool> PointsAtParametersOnPolyArcSeg(                                     \
        const PolyArcSegBase<T>&, const std::vector<T>&, bool, std::vector<VecBase<2, T>>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
