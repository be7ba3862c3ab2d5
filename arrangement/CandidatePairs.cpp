// Candidate pairs: spans for the grid, pairs of the crowds that it leaves.

#include "arrangement/CandidatePairs_Impl.h"

#include "arrangement/CurveSlabs_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace Velk::Math::Intersect::Impl {
namespace {

/// Sweep of one span of an arc, in radians, and its largest height over the chord as a share of the
/// mean length of the elements.
constexpr double kSpanSweep = 0.5;
constexpr double kSpanHeight = 1.0 / 16;

double MeanLength(const std::vector<Element>& elements)
{
    double sum = 0;
    for (const Element& element : elements) {
        if (element.active) {
            const double wholeTurn = kTwoPi<double> * element.radius;
            sum += element.isArc ? std::min(element.length, wholeTurn) : element.length;
        }
    }
    return sum / static_cast<double>(elements.size());
}

/// Covers an arc by chords padded by their height, each so short that the padding stays small
/// beside the mean length: then even a giant arc enters few cells of the grid.
void AddSpansOfArc(const Element& arc, int number, double meanLength, double padding,
                   std::vector<PaddedSpan>& spans)
{
    const double sweep = std::min(arc.length / arc.radius, kTwoPi<double>);
    const double finest = sweep / 1e6; // a bound on the work for a giant among tiny ones
    const double step = std::max(
        finest, std::min(kSpanSweep, std::sqrt(8 * kSpanHeight * (meanLength / arc.radius))));
    const int count = std::max(1, static_cast<int>(std::ceil(sweep / step)));
    const double turn = arc.sense * sweep / count;
    const double quarter = std::sin(0.25 * turn);
    const double height = 2 * arc.radius * quarter * quarter;
    const Vec2d radial = arc.start - arc.center;
    Vec2d from = arc.start;
    for (int i = 1; i <= count; ++i) {
        const double cosine = std::cos(i * turn);
        const double sine = std::sin(i * turn);
        const Vec2d to = arc.center + Vec2d(radial.x() * cosine - radial.y() * sine,
                                            radial.x() * sine + radial.y() * cosine);
        spans.push_back({from, to, height + padding, number});
        from = to;
    }
}

std::vector<PaddedSpan> SpansOf(const std::vector<Element>& elements)
{
    const double meanLength = MeanLength(elements);
    std::vector<PaddedSpan> spans;
    spans.reserve(elements.size());
    for (std::size_t e = 0; e < elements.size(); ++e) {
        Progress::Impl::CheckStep(e);
        const Element& element = elements[e];
        if (!element.active) {
            continue;
        }
        const int number = static_cast<int>(e);
        const double padding = 2 * element.tolerance;
        if (!element.isArc || element.IsPoint()) {
            spans.push_back({element.start, element.end, padding, number});
        } else {
            AddSpansOfArc(element, number, meanLength, padding, spans);
        }
    }
    return spans;
}

std::vector<Region> BoxesOf(const std::vector<PaddedSpan>& spans, std::size_t elementCount)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const Vec2d far(kInfinity, kInfinity);
    std::vector<Region> boxes(elementCount, Region{far, -far});
    for (const PaddedSpan& span : spans) {
        Region& box = boxes[static_cast<std::size_t>(span.element)];
        for (int axis = 0; axis < 2; ++axis) {
            const auto [least, most] = std::minmax(span.first[axis], span.last[axis]);
            box.min[axis] = std::min(box.min[axis], least - span.padding);
            box.max[axis] = std::max(box.max[axis], most + span.padding);
        }
    }
    return boxes;
}

bool Overlap(const Region& a, const Region& b)
{
    return a.min.x() <= b.max.x() && b.min.x() <= a.max.x() && a.min.y() <= b.max.y() &&
           b.min.y() <= a.max.y();
}

} // namespace

CandidatePairs::CandidatePairs(const std::vector<Element>& elements)
    : CandidatePairs(elements, SpansOf(elements))
{
}

CandidatePairs::CandidatePairs(const std::vector<Element>& elements,
                               const std::vector<PaddedSpan>& spans)
    : grid_(spans, static_cast<int>(elements.size())), boxes_(BoxesOf(spans, elements.size()))
{
    const std::vector<Crowd>& crowds = grid_.Crowds();
    std::vector<ElementPairs> found(crowds.size());
    Parallel::Impl::ApplyParallel(std::size_t{0}, crowds.size(), [&](std::size_t i) {
        FindPairsOfCrowd(elements, crowds[i].elements, crowds[i].region, found[i]);
    });
    for (const ElementPairs& part : found) {
        comparisons_ += part.comparisons;
    }
    partners_ = {elements.size(), [&](const auto& put) {
                     for (const ElementPairs& part : found) {
                         for (const auto& [first, second] : part.pairs) {
                             put(first, second);
                         }
                     }
                 }};
}

void CandidatePairs::Of(int element, std::vector<int>& candidates) const
{
    grid_.Sharers(element, candidates);
    const std::span<const int> partners = partners_[element];
    if (!partners.empty()) {
        candidates.insert(candidates.end(), partners.begin(), partners.end());
        std::sort(candidates.begin(), candidates.end());
        candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    }
    std::erase_if(candidates, [&](int other) {
        return !Overlap(boxes_[static_cast<std::size_t>(element)],
                        boxes_[static_cast<std::size_t>(other)]);
    });
}

long long CandidatePairs::PairCount() const
{
    return grid_.PairCount() + static_cast<long long>(partners_.Items().size());
}

} // namespace Velk::Math::Intersect::Impl
