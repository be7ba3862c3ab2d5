// How the hierarchy of boxes is divided.
//
// From the top down where the surface areas of the two parts, weighted with their numbers, are
// least, found by bins along one axis (I. Wald, "On fast Construction of SAH-based Bounding Volume
// Hierarchies", 2007); several such cuts after each other make a node of four. Boxes and middles
// are summed up bin by bin, so that a cut goes over its boxes twice: into the bins, and to their
// side.

#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Tree::Impl {

template <int D, class T>
class HierarchyBuilder {
public:
    using Hierarchy = BoxHierarchy<D, T>;
    using Box = BoxOf<D, T>;
    using Point = VecBase<D, T>;

    HierarchyBuilder(Hierarchy& hierarchy, int leafSize)
        : hierarchy_(hierarchy), leafSize_(static_cast<std::size_t>(std::clamp(leafSize, 1, 255)))
    {
    }

    void Run(const std::vector<Box>& boxes, HierarchyCut cut)
    {
        entries_.reserve(boxes.size());
        Range whole;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            if (IsUsable(boxes[i])) {
                entries_.push_back({boxes[i], static_cast<std::int32_t>(i)});
                whole.extent.Join(boxes[i]);
            }
        }
        whole.last = entries_.size();
        hierarchy_.whole_ = whole.extent.box;
        if (entries_.empty()) {
            return;
        }
        hierarchy_.nodes_.reserve(entries_.size() / (2 * leafSize_) + 1);
        if (cut == HierarchyCut::Area) {
            MakeAreaNode(whole, 0);
        } else {
            MakeOrderNode(0, entries_.size());
        }
        hierarchy_.order_.reserve(entries_.size());
        for (const Entry& entry : entries_) {
            hierarchy_.order_.push_back(entry.number);
        }
    }

private:
    using Node = typename Hierarchy::Node;
    static constexpr std::size_t kWidth = Hierarchy::kWidth;
    static constexpr std::size_t kBinCount = 16;
    /// Cuts by area end here; below it halves by number keep the depth logarithmic for any input.
    static constexpr int kDeepestAreaCut = 24;

    /// A box on its way to its leaf.
    struct Entry {
        Box box;
        std::int32_t number;
    };

    /// Box around boxes, and around their middles.
    struct Extent {
        Box box;
        Box middles;

        void Join(const Box& other)
        {
            JoinBox(box, other);
            const Point middle = Middle(other);
            JoinBox(middles, {middle, middle});
        }
        void Join(const Extent& other)
        {
            JoinBox(box, other.box);
            JoinBox(middles, other.middles);
        }
    };

    struct Range {
        std::size_t first = 0;
        std::size_t last = 0;
        Extent extent;

        std::size_t Count() const { return last - first; }
    };

    struct Bin {
        Extent extent;
        std::size_t count = 0;
    };
    using Bins = std::array<Bin, kBinCount>;

    static bool IsUsable(const Box& box)
    {
        bool isUsable = true;
        for (int axis = 0; axis < D; ++axis) {
            isUsable &= box.min[axis] <= box.max[axis];
        }
        return isUsable;
    }

    static void JoinBox(Box& box, const Box& other)
    {
        for (int axis = 0; axis < D; ++axis) {
            box.min[axis] = std::min(box.min[axis], other.min[axis]);
            box.max[axis] = std::max(box.max[axis], other.max[axis]);
        }
    }

    /// Somewhere about half the middle of an axis: finite also for boxes that are not.
    static T MiddleOn(const Box& box, int axis)
    {
        constexpr T kMost = std::numeric_limits<T>::max() / 4;
        return std::max(box.min[axis], -kMost) * T(0.25) + std::min(box.max[axis], kMost) * T(0.25);
    }

    static Point Middle(const Box& box)
    {
        Point middle;
        for (int axis = 0; axis < D; ++axis) {
            middle[axis] = MiddleOn(box, axis);
        }
        return middle;
    }

    /// Half the surface of a box; half the circumference in the plane.
    static T HalfArea(const Box& box)
    {
        const Point extent = box.max - box.min;
        if constexpr (D == 2) {
            return extent[0] + extent[1];
        } else {
            return extent[0] * extent[1] + extent[1] * extent[2] + extent[2] * extent[0];
        }
    }

    // --- cuts by area
    // -----------------------------------------------------------------------------

    std::int32_t MakeAreaNode(const Range& whole, int depth)
    {
        std::array<Range, kWidth> ranges{whole};
        std::size_t count = 1;
        while (count < kWidth) {
            // The largest of those that aren't leaves yet.
            Range* widest = nullptr;
            for (std::size_t i = 0; i < count; ++i) {
                if (ranges[i].Count() > leafSize_ &&
                    (widest == nullptr ||
                     HalfArea(ranges[i].extent.box) > HalfArea(widest->extent.box))) {
                    widest = &ranges[i];
                }
            }
            if (widest == nullptr) {
                break;
            }
            std::tie(*widest, ranges[count]) = Divided(*widest, depth);
            ++count;
        }
        // From left to right, so that visits go through `order_` in its order.
        std::sort(ranges.begin(), ranges.begin() + static_cast<std::ptrdiff_t>(count),
                  [](const Range& a, const Range& b) { return a.first < b.first; });
        const std::size_t number = AddNode();
        for (std::size_t slot = 0; slot < count; ++slot) {
            SetSlot(number, slot, ranges[slot].extent.box, ranges[slot].first, ranges[slot].Count(),
                    [&] { return MakeAreaNode(ranges[slot], depth + 1); });
        }
        return static_cast<std::int32_t>(number);
    }

    auto EntryAt(std::size_t i) { return entries_.begin() + static_cast<std::ptrdiff_t>(i); }

    std::pair<Range, Range> Divided(const Range& range, int depth)
    {
        const Point spread = range.extent.middles.max - range.extent.middles.min;
        const int axis =
            static_cast<int>(std::max_element(spread.begin(), spread.end()) - spread.begin());
        if (depth < kDeepestAreaCut && spread[axis] > 0) {
            const T low = range.extent.middles.min[axis];
            const T scale = T{kBinCount} / spread[axis];
            const auto binOf = [=](const Entry& entry) {
                const T place = (MiddleOn(entry.box, axis) - low) * scale;
                return std::min(static_cast<std::size_t>(place), kBinCount - 1);
            };
            if (std::isfinite(scale)) {
                Bins bins;
                for (std::size_t i = range.first; i < range.last; ++i) {
                    Bin& bin = bins[binOf(entries_[i])];
                    bin.extent.Join(entries_[i].box);
                    ++bin.count;
                }
                const std::size_t cut = CheapestCut(bins);
                if (cut > 0) {
                    return DividedAt(range, bins, cut, binOf);
                }
            }
        }
        return Halved(range, axis);
    }

    template <class BinOf>
    std::pair<Range, Range> DividedAt(const Range& range, const Bins& bins, std::size_t cut,
                                      const BinOf& binOf)
    {
        Range low;
        Range high;
        for (std::size_t i = 0; i < kBinCount; ++i) {
            (i < cut ? low : high).extent.Join(bins[i].extent);
        }
        const auto middle = std::partition(EntryAt(range.first), EntryAt(range.last),
                                           [&](const Entry& entry) { return binOf(entry) < cut; });
        low.first = range.first;
        low.last = static_cast<std::size_t>(middle - entries_.begin());
        high.first = low.last;
        high.last = range.last;
        return {low, high};
    }

    std::pair<Range, Range> Halved(const Range& range, int axis)
    {
        const std::size_t middle = range.first + range.Count() / 2;
        std::nth_element(EntryAt(range.first), EntryAt(middle), EntryAt(range.last),
                         [axis](const Entry& a, const Entry& b) {
                             return MiddleOn(a.box, axis) < MiddleOn(b.box, axis);
                         });
        return {Measured(range.first, middle), Measured(middle, range.last)};
    }

    Range Measured(std::size_t first, std::size_t last) const
    {
        Range range{first, last, {}};
        for (std::size_t i = first; i < last; ++i) {
            range.extent.Join(entries_[i].box);
        }
        return range;
    }

    /// First bin of the upper side of the cheapest cut; 0 when none has a finite cost.
    static std::size_t CheapestCut(const Bins& bins)
    {
        constexpr T kInfinity = std::numeric_limits<T>::infinity();
        const auto costOf = [](const Box& box, std::size_t count) {
            return count == 0 ? std::numeric_limits<T>::infinity()
                              : static_cast<T>(count) * HalfArea(box);
        };
        // Cost of everything below bin i, then with that of the bins from i on.
        std::array<T, kBinCount> cost{};
        Box box;
        std::size_t count = 0;
        for (std::size_t i = 1; i < kBinCount; ++i) {
            JoinBox(box, bins[i - 1].extent.box);
            count += bins[i - 1].count;
            cost[i] = costOf(box, count);
        }
        box = {};
        count = 0;
        std::size_t best = 0;
        T least = kInfinity;
        for (std::size_t i = kBinCount - 1; i > 0; --i) {
            JoinBox(box, bins[i].extent.box);
            count += bins[i].count;
            const T sum = cost[i] + costOf(box, count);
            if (sum < least) {
                least = sum;
                best = i;
            }
        }
        return best;
    }

    // --- cuts that keep the order
    // -----------------------------------------------------------------

    std::int32_t MakeOrderNode(std::size_t first, std::size_t last)
    {
        std::size_t share = leafSize_;
        while (share * kWidth < last - first) {
            share *= kWidth;
        }
        const std::size_t number = AddNode();
        for (std::size_t slot = 0; first < last; ++slot, first += share) {
            const Range range = Measured(first, std::min(first + share, last));
            SetSlot(number, slot, range.extent.box, range.first, range.Count(),
                    [&] { return MakeOrderNode(range.first, range.last); });
        }
        return static_cast<std::int32_t>(number);
    }

    // --- nodes
    // ------------------------------------------------------------------------------------

    std::size_t AddNode()
    {
        Node node{};
        for (std::size_t axis = 0; axis < D; ++axis) {
            for (int slot = 0; slot < static_cast<int>(kWidth); ++slot) {
                node.min[axis].Set(slot, std::numeric_limits<T>::quiet_NaN());
                node.max[axis].Set(slot, std::numeric_limits<T>::quiet_NaN());
            }
        }
        hierarchy_.nodes_.push_back(node);
        return hierarchy_.nodes_.size() - 1;
    }

    template <class MakeChild>
    void SetSlot(std::size_t number, std::size_t slot, const Box& box, std::size_t first,
                 std::size_t count, const MakeChild& makeChild)
    {
        const bool isLeaf = count <= leafSize_;
        const std::int32_t child = isLeaf ? static_cast<std::int32_t>(first) : makeChild();
        Node& node = hierarchy_.nodes_[number]; // only now: the array may have moved
        for (std::size_t axis = 0; axis < D; ++axis) {
            node.min[axis].Set(static_cast<int>(slot), box.min[static_cast<int>(axis)]);
            node.max[axis].Set(static_cast<int>(slot), box.max[static_cast<int>(axis)]);
        }
        node.child[slot] = child;
        node.leafCount[slot] = static_cast<std::uint8_t>(isLeaf ? count : 0);
        node.count = static_cast<std::int8_t>(slot + 1);
    }

    Hierarchy& hierarchy_;
    std::size_t leafSize_;
    std::vector<Entry> entries_;
};

template <int D, class T>
BoxHierarchy<D, T>::BoxHierarchy(const std::vector<Box>& boxes, HierarchyCut cut, int leafSize)
{
    HierarchyBuilder<D, T>(*this, leafSize).Run(boxes, cut);
}

template class BoxHierarchy<2, float>;
template class BoxHierarchy<2, double>;
template class BoxHierarchy<3, float>;
template class BoxHierarchy<3, double>;

} // namespace Velk::Math::Sorvane::Tree::Impl
