// Bodies of the set of a node's contents: how it is arranged into groups and kept so.
#pragma once

#include <Sorvane/TreeContent_E.h>

#include "mathbase/RoomForMore_Impl.h"
#include "trees/BoundTests_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

namespace Velk::Math::Sorvane::Tree {

namespace Impl {

template <int D, class T>
VecBase<D, T> Middle(const BoxOf<D, T>& bound)
{
    return (bound.min + bound.max) * T(0.5);
}

template <int D, class T>
const VecBase<D, T>& Middle(const BallOf<D, T>& bound)
{
    return bound.center;
}

/// Where a content lies, and its place before the set was arranged.
template <int D, class T>
struct Placed {
    VecBase<D, T> middle;
    std::size_t position;
};

/// Axis along which the middles of [first, last) spread most.
template <class Iterator>
int WidestAxis(Iterator first, Iterator last)
{
    auto low = first->middle;
    auto high = first->middle;
    for (Iterator i = first; i != last; ++i) {
        for (int axis = 0; axis < low.size(); ++axis) {
            low[axis] = std::min(low[axis], i->middle[axis]);
            high[axis] = std::max(high[axis], i->middle[axis]);
        }
    }
    const auto extent = high - low;
    return static_cast<int>(std::max_element(extent.begin(), extent.end()) - extent.begin());
}

/// Orders [first, last) so that each run of 8, 64, 512, ... from the first on lies together: halves
/// along the widest axis, cut at a multiple of the largest such run.
template <class Iterator>
void SortIntoRuns(Iterator first, Iterator last, std::ptrdiff_t runLength)
{
    while (last - first > runLength) {
        std::ptrdiff_t largestRun = runLength;
        while (largestRun * runLength < last - first) {
            largestRun *= runLength;
        }
        const std::ptrdiff_t runs = (last - first + largestRun - 1) / largestRun;
        const Iterator cut = first + runs / 2 * largestRun;
        const int axis = WidestAxis(first, last);
        std::nth_element(first, cut, last, [axis](const auto& a, const auto& b) {
            return a.middle[axis] < b.middle[axis];
        });
        SortIntoRuns(first, cut, runLength);
        first = cut;
    }
}

} // namespace Impl

// --- a set --------------------------------------------------------------------------------------

template <int D, class T, int K>
std::size_t QOFContentSet<D, T, K>::FindPosition(const Content* content) const
{
    if (positions_) {
        const auto found = positions_->find(content);
        return found == positions_->end() ? size() : found->second;
    }
    return static_cast<std::size_t>(std::find(items_.begin(), items_.end(), content) -
                                    items_.begin());
}

/// Makes the table for look-ups when the set is large enough for it. Without memory for a table the
/// set is scanned, and the next look-up tries again.
template <int D, class T, int K>
std::size_t QOFContentSet<D, T, K>::Position(const Content* content)
{
    if (!positions_ && size() > kLargestScan) {
        try {
            auto positions = std::make_unique<std::unordered_map<const Content*, std::size_t>>();
            positions->reserve(2 * size());
            for (std::size_t i = 0; i < size(); ++i) {
                positions->emplace(items_[i], i);
            }
            positions_ = std::move(positions);
        } catch (const std::bad_alloc&) {
        }
    }
    return FindPosition(content);
}

template <int D, class T, int K>
void QOFContentSet<D, T, K>::append(const Content* content, const Bound& bound)
{
    // All that can run out of memory comes first: the three lists change together or not at all.
    Velk::Math::Impl::MakeRoomForOneMore(items_, bounds_);
    if (positions_) {
        positions_->emplace(content, size());
    }
    items_.push_back(content);
    bounds_.push_back(bound);
    ++changes_;
}

template <int D, class T, int K>
bool QOFContentSet<D, T, K>::insert(const Content* content)
{
    if (content == nullptr) {
        return false;
    }
    const Bound bound = content->GetBound();
    const std::size_t position = Position(content);
    if (position != size()) {
        RenewBound(position, bound);
        return false;
    }
    append(content, bound);
    ArrangeWhenStale();
    return true;
}

template <int D, class T, int K>
void QOFContentSet<D, T, K>::RenewBound(std::size_t position, const Bound& bound)
{
    if (bounds_[position] == bound) {
        return;
    }
    bounds_[position] = bound;
    if (position < groupedCount_) {
        GrowGroupsOf(position);
    }
    ++changes_;
    ArrangeWhenStale();
}

template <int D, class T, int K>
bool QOFContentSet<D, T, K>::erase(const Content* content)
{
    const std::size_t position = Position(content);
    if (position == size()) {
        return false;
    }
    if (positions_) {
        positions_->erase(content);
        if (position + 1 != size()) {
            (*positions_)[items_.back()] = position;
        }
    }
    items_[position] = items_.back();
    bounds_[position] = bounds_.back();
    items_.pop_back();
    bounds_.pop_back();
    groupedCount_ = std::min(groupedCount_, size());
    if (position < groupedCount_) {
        GrowGroupsOf(position);
    }
    ++changes_;
    ArrangeWhenStale();
    return true;
}

// --- groups -------------------------------------------------------------------------------------

/// So seldom that arranging costs no more than a logarithm for each change. The contents are found
/// in any arrangement: without memory for a new one the set keeps its old one until the next
/// change.
template <int D, class T, int K>
void QOFContentSet<D, T, K>::ArrangeWhenStale()
{
    if (changes_ > std::max(2 * kLargestUngrouped, size() / 2)) {
        try {
            Arrange();
        } catch (const std::bad_alloc&) {
        }
    }
}

template <int D, class T, int K>
void QOFContentSet<D, T, K>::Arrange()
{
    if (changes_ == 0) {
        return;
    }
    if (size() > kLargestUngrouped) {
        SortIntoGroups();
    } else {
        groupedCount_ = 0;
        groupBoxes_.clear();
        levelCount_ = 0;
    }
    changes_ = 0;
}

/// Makes the new order and its groups beside the old ones, and exchanges them when all is there.
template <int D, class T, int K>
void QOFContentSet<D, T, K>::SortIntoGroups()
{
    std::vector<Impl::Placed<D, T>> order(size());
    for (std::size_t i = 0; i < size(); ++i) {
        order[i] = {Impl::Middle(bounds_[i]), i};
        for (T& coordinate : order[i].middle) {
            coordinate = std::isnan(coordinate) ? T{0} : coordinate; // of a box without ends
        }
    }
    Impl::SortIntoRuns(order.begin(), order.end(), static_cast<std::ptrdiff_t>(kGroupSize));

    std::vector<const Content*> items(size());
    std::vector<Bound> bounds(size());
    for (std::size_t i = 0; i < size(); ++i) {
        items[i] = items_[order[i].position];
        bounds[i] = bounds_[order[i].position];
    }

    std::vector<Box> boxes;
    std::array<std::uint32_t, kMaxLevels> levelBegins{};
    std::size_t levelCount = 0;
    std::size_t below = size(); // members of the groups of this level
    do {
        const std::size_t begin = boxes.size();
        const std::size_t count = (below + kGroupSize - 1) / kGroupSize;
        boxes.resize(begin + count);
        for (std::size_t i = 0; i < below; ++i) {
            const Box member =
                levelCount == 0 ? Impl::Around(bounds[i]) : boxes[levelBegins[levelCount - 1] + i];
            boxes[begin + i / kGroupSize].Grow(member.min);
            boxes[begin + i / kGroupSize].Grow(member.max);
        }
        levelBegins[levelCount++] = static_cast<std::uint32_t>(begin);
        below = count;
    } while (below > kGroupSize);

    items_.swap(items);
    bounds_.swap(bounds);
    groupBoxes_.swap(boxes);
    levelBegins_ = levelBegins;
    levelCount_ = static_cast<int>(levelCount);
    groupedCount_ = size();
    positions_.reset(); // made again when it is needed
}

/// The groups around a place that another content has come to still hold what they held: larger
/// than need be, until the set is arranged again.
template <int D, class T, int K>
void QOFContentSet<D, T, K>::GrowGroupsOf(std::size_t position)
{
    const Box box = Impl::Around(bounds_[position]);
    for (int level = 0; level < levelCount_; ++level) {
        position /= kGroupSize;
        Box& group = groupBoxes_[LevelBegin(level) + position];
        group.Grow(box.min);
        group.Grow(box.max);
    }
}

} // namespace Velk::Math::Sorvane::Tree
