// The hull P of a sample lies inside the hull of all points. Its area is covered with boxes, one
// for each of many equal stretches of x, so that one look-up tells whether a point lies in a box;
// the boxes keep a margin m from the boundary of P. Points in a box are thrown away.
//
// Why the hull of the rest is that of all points, in every bit, although the uniqueness filter and
// the chain both decide in floating point:
//
// - The filter. What becomes of a point depends on those it is linked with by steps within the
//   tolerance. A link from a thrown away point, m inside, to one less than m / 2 inside leads over
//   points that were not thrown away, at most all of them, by steps of at most sqrt(2) tolerances.
//   When all such steps together are shorter than m / 2, there is no link, and the filter keeps the
//   same points in the outer half of the margin. So the two lists differ only in points more than
//   m / 2 inside the hull.
//
// - The chain. It asks whether q lies left of the way from a to p, by the cross product of q - a
//   and p - a. The differences have a relative error of one rounding each, so that the answer can
//   be wrong only when the sine of the angle at a is a few epsilon. Seen from any point of the
//   chain, though, a point m / 2 inside lies at a sine of at least m / (2 size) off the final
//   chain, which is far more (the test below sees to that). So an inner point never survives:
//   points of the final chain to its right pop it with certainty. And it makes no difference before
//   it goes: a point q that it popped was right of, or within a few epsilon on, the way from a to
//   the inner point, and so with certainty right of the way from a to the point that pops the inner
//   one; one that it shielded from being popped by a third point is, for the same reason, popped by
//   that one. What remains are the questions between outer points, and these are asked with the
//   same operands.

#include "bounding/InnerPoints_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::Bounding::Impl {

namespace {

using Math::Impl::IsFinite;

template <class T>
using Points = std::vector<VecBase<2, T>>;

template <class T>
bool Less(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return a[0] < b[0] || (a[0] == b[0] && a[1] < b[1]);
}

/// Boxes inside a convex polygon.
template <class T>
class InnerBoxes {
public:
    /// Of a counter-clockwise polygon that begins at its lexicographically least vertex.
    explicit InnerBoxes(const Points<T>& polygon)
    {
        const auto last = std::max_element(polygon.begin(), polygon.end(), Less<T>);
        left_ = polygon.front()[0];
        width_ = ((*last)[0] - left_) / static_cast<T>(kCount);
        perWidth_ = T{1} / width_;
        const auto [bottom, top] = std::minmax_element(
            polygon.begin(), polygon.end(),
            [](const VecBase<2, T>& a, const VecBase<2, T>& b) { return a[1] < b[1]; });
        const T height = ((*top)[1] - (*bottom)[1]) / static_cast<T>(kCount);
        margin_ = std::min(width_, height);
        if (!(margin_ > 0) || !(perWidth_ <= std::numeric_limits<T>::max())) {
            margin_ = 0;
            return;
        }
        std::array<T, kCount + 1> lower;
        std::array<T, kCount + 1> upper;
        FindHeights(Points<T>(polygon.begin(), last + 1), lower);
        Points<T> back(last, polygon.end());
        back.push_back(polygon.front());
        std::reverse(back.begin(), back.end());
        FindHeights(back, upper);
        // The lower boundary is convex and the upper one concave, so that each box lies inside when
        // its corners do. A box is made to lie inside with its neighbors on both sides, which
        // keeps it one width from the boundary in x; the first and the last one have only one
        // neighbor.
        for (std::size_t i = 1; i + 1 < kCount; ++i) {
            boxes_[i] = {std::max(lower[i - 1], lower[i + 2]) + height,
                         std::min(upper[i - 1], upper[i + 2]) - height};
        }
    }

    bool Hold(const VecBase<2, T>& point) const
    {
        const T place = (point[0] - left_) * perWidth_;
        if (!(place >= 0 && place < static_cast<T>(kCount))) {
            return false;
        }
        const Heights& box = boxes_[static_cast<std::size_t>(place)];
        return point[1] > box.low && point[1] < box.high;
    }

    /// Least distance of a point in a box from the polygon's boundary, about; 0 when there are no
    /// boxes.
    T Margin() const { return margin_; }

private:
    static constexpr std::size_t kCount = 1024;

    /// Of a box only its heights: all are of one width, and the number tells the place. Half the
    /// size of an `AxisAlignedBoundingBox`, in the loop over all points.
    struct Heights {
        T low = 1; // empty
        T high = 0;
    };

    /// Height of a boundary, given from left to right, at both ends of every box.
    void FindHeights(const Points<T>& boundary, std::array<T, kCount + 1>& heights) const
    {
        std::size_t next = 1;
        for (std::size_t i = 0; i <= kCount; ++i) {
            const T x = left_ + static_cast<T>(i) * width_;
            while (next + 1 < boundary.size() && boundary[next][0] < x) {
                ++next;
            }
            const VecBase<2, T>& a = boundary[next - 1];
            const VecBase<2, T>& b = boundary[next];
            const T run = b[0] - a[0];
            const T part = run > 0 ? std::clamp((x - a[0]) / run, T{0}, T{1}) : T{0};
            heights[i] = a[1] + part * (b[1] - a[1]);
        }
    }

    T left_;
    T width_;
    T perWidth_;
    T margin_;
    std::array<Heights, kCount> boxes_;
};

/// One point of every few, in order; none when one of them is not finite.
template <class T>
Points<T> SortedSample(const Points<T>& points)
{
    Points<T> sample(std::min(points.size() / 8, std::size_t{4096}));
    for (std::size_t i = 0; i < sample.size(); ++i) {
        sample[i] = points[i * (points.size() / sample.size())];
        if (!IsFinite(sample[i])) {
            return {};
        }
    }
    std::sort(sample.begin(), sample.end(), Less<T>);
    return sample;
}

/// None when that would be more than half of the points: then nothing is won.
template <class T>
Points<T> Outside(const InnerBoxes<T>& boxes, const Points<T>& points)
{
    constexpr std::size_t kBlock = 512;
    std::array<VecBase<2, T>, kBlock> block; // filled without a branch at each point
    Points<T> outside;
    for (std::size_t begin = 0; begin < points.size(); begin += kBlock) {
        if (outside.size() > points.size() / 2) {
            return {};
        }
        std::size_t count = 0;
        for (std::size_t i = begin; i < std::min(begin + kBlock, points.size()); ++i) {
            block[count] = points[i];
            count += boxes.Hold(points[i]) ? 0 : 1;
        }
        outside.insert(outside.end(), block.begin(), block.begin() + count);
    }
    return outside;
}

} // namespace

template <class T>
std::vector<VecBase<2, T>> MonotoneChain(const std::vector<VecBase<2, T>>& sorted)
{
    Points<T> chain;
    chain.reserve(sorted.size() + 1); // more only while points that go in the end are in it
    std::size_t kept = 0;             // leading vertices that can't be popped any more
    const auto push = [&](const VecBase<2, T>& p) {
        while (chain.size() >= kept + 2) {
            const VecBase<2, T>& before = chain[chain.size() - 2];
            if (((chain.back() - before) ^ (p - before)) > 0) {
                break;
            }
            chain.pop_back();
        }
        chain.push_back(p);
    };
    for (const VecBase<2, T>& p : sorted) {
        push(p);
    }
    kept = chain.size() - 1;
    for (std::size_t i = sorted.size() - 1; i-- > 0;) {
        push(sorted[i]);
    }
    chain.pop_back(); // the first again
    return chain;
}

template <class T>
std::vector<VecBase<2, T>> ExactChain(const std::vector<VecBase<2, T>>& sorted)
{
    std::vector<VecBase<2, T>> chain;
    const auto addHalf = [&chain](auto first, auto last) {
        const std::size_t kept = chain.size();
        for (; first != last; ++first) {
            while (chain.size() >= kept + 2 &&
                   Math::Impl::Orientation(chain[chain.size() - 2], chain.back(), *first) <= 0) {
                chain.pop_back();
            }
            chain.push_back(*first);
        }
        chain.pop_back(); // the other half begins with it
    };
    addHalf(sorted.begin(), sorted.end());
    addHalf(sorted.rbegin(), sorted.rend());
    return chain;
}

template <class T>
std::optional<std::vector<VecBase<2, T>>>
WithoutInnerPoints(const std::vector<VecBase<2, T>>& points)
{
    if (points.size() < kWorthThinning) {
        return std::nullopt;
    }
    const Points<T> sample = SortedSample(points);
    const Points<T> polygon = sample.empty() ? Points<T>() : MonotoneChain(sample);
    if (polygon.size() < 3) {
        return std::nullopt;
    }
    const InnerBoxes<T> boxes(polygon);
    if (!(boxes.Margin() > 0)) {
        return std::nullopt;
    }
    // Where the sample has hardly anything inside the points have not either.
    const auto inside = std::count_if(sample.begin(), sample.end(),
                                      [&](const VecBase<2, T>& p) { return boxes.Hold(p); });
    if (4 * static_cast<std::size_t>(inside) < sample.size()) {
        return std::nullopt;
    }
    Points<T> outside = Outside(boxes, points);
    if (outside.empty()) {
        return std::nullopt;
    }
    VecBase<2, T> low = outside.front();
    VecBase<2, T> high = low;
    for (const VecBase<2, T>& point : outside) {
        if (!IsFinite(point)) {
            return std::nullopt;
        }
        low = {std::min(low[0], point[0]), std::min(low[1], point[1])};
        high = {std::max(high[0], point[0]), std::max(high[1], point[1])};
    }
    const T size = std::max(high[0] - low[0], high[1] - low[1]);
    const T links = T{1.5} * kLengthFloor<T> * static_cast<T>(outside.size() + 1);
    const bool isCertain = boxes.Margin() > T{2.5} * links &&
                           boxes.Margin() > 256 * std::numeric_limits<T>::epsilon() * size &&
                           size * size < std::numeric_limits<T>::max() / 4; // no product overflows
    return isCertain ? std::optional(std::move(outside)) : std::nullopt;
}

#define SORVANE_INSTANTIATE(T)                                                            \
    template std::vector<VecBase<2, T>> MonotoneChain(const std::vector<VecBase<2, T>>&); \
    template std::vector<VecBase<2, T>> ExactChain(const std::vector<VecBase<2, T>>&);    \
    template std::optional<std::vector<VecBase<2, T>>> WithoutInnerPoints(                \
        const std::vector<VecBase<2, T>>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Bounding::Impl
