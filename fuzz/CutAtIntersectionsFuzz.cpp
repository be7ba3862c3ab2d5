// Arbitrary segments and arcs through cutting, tracing, linking and matching: no crash, no hang,
// and the promises that hold for any input whatever.
//
// Layout of an input: a byte of flags (1 float, 2 raw coordinates, 4 repeat everything), a byte
// that picks the tolerance, a byte for how many of the numbers that follow belong to arcs; then the
// numbers, five to an arc and four to a segment: small integers of one byte, or with raw
// coordinates the bits of doubles.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Geometry::ArcBase;
using Geometry::SegBase;

/// More would only make the all-pairs cases slow.
constexpr std::size_t kMostNumbers = 1200;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

std::vector<double> Numbers(const std::uint8_t* data, std::size_t size, bool raw)
{
    std::vector<double> numbers;
    const std::size_t step = raw ? sizeof(double) : 1;
    for (std::size_t at = 0; at + step <= size && numbers.size() < kMostNumbers; at += step) {
        double number = static_cast<std::int8_t>(data[at]);
        if (raw) {
            std::memcpy(&number, data + at, sizeof number);
        }
        numbers.push_back(number);
    }
    return numbers;
}

template <class T>
T ToCoordinate(double x)
{
    // A cast of a finite double beyond the range of float is undefined.
    return std::fabs(x) <= static_cast<double>(std::numeric_limits<T>::max())
               ? static_cast<T>(x)
               : (x < 0 ? -1 : (x > 0 ? 1 : std::numeric_limits<T>::quiet_NaN())) *
                     std::numeric_limits<T>::infinity();
}

template <class T>
void Exercise(const std::vector<double>& numbers, std::size_t arcNumbers, T tolerance, bool repeat)
{
    std::vector<SegBase<T>> segments;
    std::vector<ArcBase<T>> arcs;
    std::size_t at = 0;
    const auto next = [&] { return ToCoordinate<T>(numbers[at++]); };
    const auto point = [&] {
        const T x = next();
        return VecBase<2, T>(x, next());
    };
    while (at + 5 <= numbers.size() && at < arcNumbers) {
        ArcBase<T> arc;
        arc.center = point();
        arc.start = point();
        arc.length = next();
        arcs.push_back(arc);
    }
    while (at + 4 <= numbers.size()) {
        SegBase<T> segment;
        segment.start = point();
        segment.end = point();
        segments.push_back(segment);
    }
    if (repeat) {
        segments.insert(segments.end(), segments.begin(), segments.end());
        arcs.insert(arcs.end(), arcs.begin(), arcs.end());
    }
    const std::size_t before = segments.size() + arcs.size();
    const std::vector<SegBase<T>> uncut = segments;
    const bool cut = Intersect::CutAtIntersections(segments, arcs, tolerance);
    Require(segments.size() + arcs.size() >= before);
    Require(cut == (segments.size() + arcs.size() > before));

    std::vector<VecBase<2, T>> loop;
    const bool closed = Intersect::TraceOuterLoop(segments, loop, tolerance);
    Require(loop.size() != 1 && loop.size() <= 2 * segments.size() + 1);
    Require(!closed || (loop.size() >= 4 && loop.front() == loop.back()));
    Intersect::TraceOuterLoop(uncut, loop, tolerance);

    const auto chains = Vector::SegmentsToPolyPointStream(segments, tolerance);
    std::size_t linked = 0;
    for (const auto& chain : chains) {
        Require(chain.size() >= 2);
        linked += chain.size() - 1;
    }
    std::size_t longEnough = 0;
    for (const auto& segment : segments) {
        longEnough += Vector::Matches(segment.start, segment.end, tolerance) ? 0 : 1;
    }
    Require(linked == longEnough);

    Intersect::IntersectPolylines(chains, {loop}, tolerance);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    constexpr std::array<double, 8> kTolerances{1e-12, 1e-8, 0, 0.01, 0.7, 5, -1, 1e300};
    const double tolerance = kTolerances[data[1] % kTolerances.size()];
    const std::vector<double> numbers = Numbers(data + 3, size - 3, (data[0] & 2) != 0);
    const std::size_t arcNumbers = numbers.size() * data[2] / 255;
    const bool repeat = (data[0] & 4) != 0;
    if ((data[0] & 1) != 0) {
        Exercise<float>(numbers, arcNumbers, ToCoordinate<float>(tolerance), repeat);
    } else {
        Exercise<double>(numbers, arcNumbers, tolerance, repeat);
    }
    return 0;
}
