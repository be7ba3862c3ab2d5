// Streams of points: repeats, arc lengths, samples at a fixed step, and segments.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/ErrorFree_Impl.h"

#include <algorithm>
#include <limits>

namespace Velk::Math::Vector {
namespace {

/// Share of a stream's length within which a sample gives way to the stream's end.
constexpr double kEndShare = 1e-12;

/// Elements to reserve for `count` of them and one more; what no vector can hold becomes a number
/// that `reserve` refuses.
std::size_t RoomFor(double count)
{
    constexpr double kCountable = 0x1p62;
    return count < kCountable ? static_cast<std::size_t>(count) + 2
                              : std::numeric_limits<std::size_t>::max();
}

template <class T>
void AppendSegments(const std::vector<VecBase<2, T>>& points,
                    std::vector<Geometry::SegBase<T>>& segments)
{
    for (std::size_t i = 1; i < points.size(); ++i) {
        segments.push_back({points[i - 1], points[i]});
    }
}

std::size_t SegmentCount(std::size_t pointCount) { return pointCount < 2 ? 0 : pointCount - 1; }

} // namespace

std::vector<VecBase<3, double>> RemoveRepeats(const std::vector<VecBase<3, double>>& stream,
                                              double tolerance)
{
    if (stream.empty()) {
        return {};
    }
    const auto repeats = [&](const VecBase<3, double>& point, const VecBase<3, double>& kept) {
        return Length(point - kept) < tolerance;
    };
    std::vector<VecBase<3, double>> kept{stream.front()};
    bool lastIsKept = true;
    for (std::size_t i = 1; i < stream.size(); ++i) {
        lastIsKept = !repeats(stream[i], kept.back());
        if (lastIsKept) {
            kept.push_back(stream[i]);
        }
    }
    if (!lastIsKept) {
        // The end must not move: it displaces what was kept too close to it, but never the start.
        const VecBase<3, double>& last = stream.back();
        while (kept.size() > 1 && repeats(last, kept.back())) {
            kept.pop_back();
        }
        if (!repeats(last, kept.back())) {
            kept.push_back(last);
        }
    }
    return kept;
}

std::vector<VecBase<3, double>> ResampleStream(const std::vector<VecBase<3, double>>& stream,
                                               double step)
{
    constexpr double kLargest = std::numeric_limits<double>::max();
    if (!(step > 0.0 && step <= kLargest) || stream.size() < 2) {
        return stream;
    }
    const std::vector<double> arcLength = PointStreamParameters(stream, false);
    if (!(arcLength.back() <= kLargest)) {
        return stream;
    }
    const double sampledLength = arcLength.back() * (1.0 - kEndShare);

    // Reserved in one go, before any sample is taken: a step too fine for the memory fails here.
    std::vector<VecBase<3, double>> samples;
    samples.reserve(RoomFor(sampledLength / step));

    // Ends because k step grows up to sampledLength; k is exact as far as memory reaches.
    // Multiplied, not accumulated: the thousandth sample is as well placed as the first.
    std::size_t segment = 0;
    for (double k = 0.0; k * step < sampledLength; k += 1.0) {
        const double sample = k * step;
        while (arcLength[segment + 1] <= sample) { // the last arc length is beyond every sample
            ++segment;
        }
        const double share =
            (sample - arcLength[segment]) / (arcLength[segment + 1] - arcLength[segment]);
        const VecBase<3, double>& from = stream[segment];
        samples.push_back(from + (stream[segment + 1] - from) * share);
    }
    samples.push_back(stream.back());
    return samples;
}

template <int N>
std::vector<double> PointStreamParameters(const std::vector<VecBase<N, double>>& stream,
                                          bool normalize)
{
    std::vector<double> parameters(stream.size(), 0.0);
    Math::Impl::CompensatedSum length;
    for (std::size_t i = 1; i < stream.size(); ++i) {
        length.Add(Length(stream[i] - stream[i - 1]));
        // Never backwards, not even by the rounding of the compensation; NaN passes.
        const double value = length.Value();
        parameters[i] = value < parameters[i - 1] ? parameters[i - 1] : value;
    }
    if (!normalize || parameters.empty()) {
        return parameters;
    }
    const double total = parameters.back();
    if (total > 0.0 && total <= std::numeric_limits<double>::max()) {
        for (double& parameter : parameters) {
            parameter /= total;
        }
    }
    return parameters;
}

template <class T>
std::vector<Geometry::SegBase<T>> PointStreamToSegments(const std::vector<VecBase<2, T>>& points)
{
    std::vector<Geometry::SegBase<T>> segments;
    segments.reserve(SegmentCount(points.size()));
    AppendSegments(points, segments);
    return segments;
}

template <class T>
std::vector<Geometry::SegBase<T>>
PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, T>>>& polylines)
{
    std::size_t count = 0;
    for (const auto& polyline : polylines) {
        count += SegmentCount(polyline.size());
    }
    std::vector<Geometry::SegBase<T>> segments;
    segments.reserve(count);
    for (const auto& polyline : polylines) {
        AppendSegments(polyline, segments);
    }
    return segments;
}

std::vector<std::array<VecBase<2, double>, 2>>
PointStreamToLineSegments(const std::vector<VecBase<2, double>>& points)
{
    std::vector<std::array<VecBase<2, double>, 2>> segments;
    segments.reserve(SegmentCount(points.size()));
    for (std::size_t i = 1; i < points.size(); ++i) {
        segments.push_back({points[i - 1], points[i]});
    }
    return segments;
}

// clang-format off
template std::vector<double> PointStreamParameters(const std::vector<VecBase<2, double>>&, bool);
template std::vector<double> PointStreamParameters(const std::vector<VecBase<3, double>>&, bool);
template std::vector<Geometry::SegBase<float>>  PointStreamToSegments(const std::vector<VecBase<2, float>>&);
template std::vector<Geometry::SegBase<double>> PointStreamToSegments(const std::vector<VecBase<2, double>>&);
template std::vector<Geometry::SegBase<float>>  PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, float>>>&);
template std::vector<Geometry::SegBase<double>> PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, double>>>&);
// clang-format on

} // namespace Velk::Math::Vector
