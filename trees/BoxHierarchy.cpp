// How the hierarchy of boxes is divided.
//
// From the top down where the surface areas of the two parts, weighted with their numbers, are
// least, found by bins along one axis (I. Wald, "On fast Construction of SAH-based Bounding Volume
// Hierarchies", 2007); several such cuts after each other make a node of four. What is known of the
// two parts is summed up in the bins, so that a cut goes over its boxes twice: into the bins, and
// to their side. A few boxes are sorted instead and cut at the best of all places.

#include "trees/BoxHierarchy_Impl.h"

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

namespace Velk::Math::Sorvane::Tree::Impl {

namespace {

/// The coordinates of a point, filled up to whole vectors; what fills up is never looked at.
template <int D, class T>
class Padded {
    using LanesOfT = typename LanesOf<T>::Type;

public:
    static constexpr std::size_t kCount = D == 2 ? 2 : 4;

    T operator[](int axis) const { return value_[static_cast<std::size_t>(axis)]; }
    T& operator[](int axis) { return value_[static_cast<std::size_t>(axis)]; }

    void Lower(const Padded& other)
    {
        *this = Combined(*this, other, [](auto a, auto b) { return b < a ? b : a; });
    }
    void Raise(const Padded& other)
    {
        *this = Combined(*this, other, [](auto a, auto b) { return a < b ? b : a; });
    }

    /// Half the middle of two points: finite also for those that are infinite.
    static Padded HalfMiddle(const Padded& low, const Padded& high)
    {
        return Combined(low, high, [](auto a, auto b) {
            using Part = decltype(a);
            const Part most = Part{} + std::numeric_limits<T>::max();
            const Part least = -most;
            a = a < least ? least : a;
            b = most < b ? most : b;
            return a * T(0.25) + b * T(0.25);
        });
    }

private:
    /// `combine` of vectors of several coordinates, or of single ones where they fill none.
    template <class Combine>
    static Padded Combined(const Padded& p, const Padded& q, const Combine& combine)
    {
        using Part = std::conditional_t<sizeof(Padded) % sizeof(LanesOfT) == 0, LanesOfT, T>;
        Padded result;
        for (std::size_t i = 0; i < kCount; i += sizeof(Part) / sizeof(T)) {
            Part a;
            Part b;
            std::memcpy(&a, &p.value_[i], sizeof a);
            std::memcpy(&b, &q.value_[i], sizeof b);
            a = combine(a, b);
            std::memcpy(&result.value_[i], &a, sizeof a);
        }
        return result;
    }

    std::array<T, kCount> value_{};
};

} // namespace

template <int D, class T>
class HierarchyBuilder {
public:
    using Hierarchy = BoxHierarchy<D, T>;
    using Box = BoxOf<D, T>;
    using Point = Padded<D, T>;

    HierarchyBuilder(Hierarchy& hierarchy, int leafSize)
        : hierarchy_(hierarchy), leafSize_(static_cast<std::size_t>(std::max(leafSize, 1)))
    {
    }

    void Run(const std::vector<Box>& boxes, HierarchyCut cut)
    {
        entries_[0].reserve(boxes.size());
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            Progress::Impl::CheckStep(i);
            if (IsUsable(boxes[i])) {
                entries_[0].push_back(EntryOf(boxes[i], static_cast<std::int32_t>(i)));
            }
        }
        if (entries_[0].empty()) {
            return;
        }
        const Range whole = Measured(0, entries_[0].size(), 0);
        for (int axis = 0; axis < D; ++axis) {
            hierarchy_.whole_.min[axis] = whole.extent.box.min[axis];
            hierarchy_.whole_.max[axis] = whole.extent.box.max[axis];
        }
        hierarchy_.order_.resize(entries_[0].size());
        hierarchy_.nodes_.reserve(entries_[0].size() / (2 * leafSize_) + 1);
        if (leafSize_ > 1) {
            hierarchy_.leafBegins_.reserve(entries_[0].size() / leafSize_ + 2);
            hierarchy_.leafBegins_.push_back(0);
        }
        if (cut == HierarchyCut::Area) {
            entries_[1].resize(entries_[0].size());
            MakeAreaNode(whole, 0);
        } else {
            MakeOrderNode(0, entries_[0].size());
        }
    }

private:
    using Node = typename Hierarchy::Node;
    static constexpr std::size_t kWidth = Hierarchy::kWidth;
    static constexpr std::size_t kBinCount = 16;
    /// Up to so many boxes are sorted for a cut.
    static constexpr std::size_t kFew = 16;
    /// From so many on a cut is worth a look at the progress scope.
    static constexpr std::size_t kManyBoxes = 1024;
    /// Cuts by area end here; below it halves by number keep the depth logarithmic for any input.
    static constexpr int kDeepestAreaCut = 24;
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();

    struct Bounds {
        Point min;
        Point max;

        Bounds()
        {
            for (int axis = 0; axis < static_cast<int>(Point::kCount); ++axis) {
                min[axis] = kInfinity;
                max[axis] = -kInfinity;
            }
        }
        void Join(const Bounds& other)
        {
            min.Lower(other.min);
            max.Raise(other.max);
        }
    };

    /// A box on its way to its leaf.
    struct Entry {
        Bounds box;
        std::int32_t number;
    };

    /// Box around boxes, and around their middles.
    struct Extent {
        Bounds box;
        Bounds middles;

        void Join(const Entry& entry)
        {
            box.Join(entry.box);
            const Point middle = Point::HalfMiddle(entry.box.min, entry.box.max);
            middles.min.Lower(middle);
            middles.max.Raise(middle);
        }
        void Join(const Extent& other)
        {
            box.Join(other.box);
            middles.Join(other.middles);
        }
    };

    /// Entries that stand together, in one of the two lists.
    struct Range {
        std::size_t first = 0;
        std::size_t last = 0;
        std::size_t list = 0;
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

    static Entry EntryOf(const Box& box, std::int32_t number)
    {
        Entry entry;
        for (int axis = 0; axis < D; ++axis) {
            entry.box.min[axis] = box.min[axis];
            entry.box.max[axis] = box.max[axis];
        }
        entry.number = number;
        return entry;
    }

    /// Half the middle along an axis.
    static T MiddleOn(const Bounds& box, int axis)
    {
        return Point::HalfMiddle(box.min, box.max)[axis];
    }

    /// Half the surface of a box; half the circumference in the plane.
    static T HalfArea(const Bounds& box)
    {
        const T width = box.max[0] - box.min[0];
        const T depth = box.max[1] - box.min[1];
        if constexpr (D == 2) {
            return width + depth;
        } else {
            return width * depth + (width + depth) * (box.max[2] - box.min[2]);
        }
    }

    /// Cost of a part, infinite for none.
    static T CostOf(const Bounds& box, std::size_t count)
    {
        return count == 0 ? kInfinity : static_cast<T>(count) * HalfArea(box);
    }

    Entry* EntriesOf(const Range& range) { return entries_[range.list].data() + range.first; }

    Range Measured(std::size_t first, std::size_t last, std::size_t list) const
    {
        Range range{first, last, list, {}};
        for (std::size_t i = first; i < last; ++i) {
            range.extent.Join(entries_[list][i]);
        }
        return range;
    }

    // --- cuts by area
    // -----------------------------------------------------------------------------

    std::int32_t MakeAreaNode(const Range& whole, int depth)
    {
        std::array<Range, kWidth> ranges{whole};
        std::size_t count = 1;
        if (leafSize_ == 1 && whole.Count() <= kWidth) {
            for (count = 0; count < whole.Count(); ++count) {
                const std::size_t place = whole.first + count;
                ranges[count] = {place, place + 1, whole.list, {}};
                ranges[count].extent.box = entries_[whole.list][place].box;
            }
        }
        while (count < kWidth) {
            // The largest of those that aren't leaves yet.
            std::size_t widest = kWidth;
            T largest = -1;
            for (std::size_t i = 0; i < count; ++i) {
                const T area = HalfArea(ranges[i].extent.box);
                if (ranges[i].Count() > leafSize_ && !(area <= largest)) {
                    widest = i;
                    largest = area;
                }
            }
            if (widest == kWidth) {
                break;
            }
            // From left to right, so that visits go through `order_` in its order.
            for (std::size_t i = count++; i > widest + 1; --i) {
                ranges[i] = ranges[i - 1];
            }
            Divide(ranges[widest], ranges[widest + 1], depth);
        }
        if (whole.Count() >= kManyBoxes) {
            Progress::Impl::Check(static_cast<double>(whole.first) /
                                  static_cast<double>(hierarchy_.order_.size()));
        }
        const std::size_t number = AddNode();
        for (std::size_t slot = 0; slot < count; ++slot) {
            SetSlot(number, slot, ranges[slot],
                    [&] { return MakeAreaNode(ranges[slot], depth + 1); });
        }
        return static_cast<std::int32_t>(number);
    }

    /// Cuts a range in two; the first part takes its place.
    void Divide(Range& range, Range& upper, int depth)
    {
        int axis = 0;
        T spread = -1;
        for (int i = 0; i < D; ++i) {
            const T extent = range.extent.middles.max[i] - range.extent.middles.min[i];
            if (extent > spread) {
                spread = extent;
                axis = i;
            }
        }
        if (range.Count() >= kManyBoxes) {
            Progress::Impl::Check();
        }
        if (range.Count() <= kFew) {
            CutSorted(range, upper, axis);
            return;
        }
        const T scale = T{kBinCount} / spread;
        if (!(depth < kDeepestAreaCut && spread > 0 && std::isfinite(scale))) {
            Halve(range, upper, axis);
            return;
        }
        const T low = range.extent.middles.min[axis];
        const auto binOf = [=](const Entry& entry) {
            const auto bin = static_cast<std::size_t>(
                static_cast<int>((MiddleOn(entry.box, axis) - low) * scale));
            return std::min(bin, kBinCount - 1);
        };
        Bins bins;
        const Entry* entries = EntriesOf(range);
        for (std::size_t i = 0; i < range.Count(); ++i) {
            Bin& bin = bins[binOf(entries[i])];
            bin.extent.Join(entries[i]);
            ++bin.count;
        }
        const std::size_t cut = CheapestCut(bins);
        if (cut == 0) {
            Halve(range, upper, axis);
        } else {
            CutAtBin(range, upper, bins, cut, binOf);
        }
    }

    /// Into the other list, the lower part from the front, the upper one from the back. Each entry
    /// is written to both places, and the next one overwrites the wrong one: a branch would be
    /// mispredicted half of the time.
    template <class BinOf>
    void CutAtBin(Range& range, Range& upper, const Bins& bins, std::size_t cut, const BinOf& binOf)
    {
        const Entry* from = EntriesOf(range);
        const std::size_t count = range.Count();
        range.list = 1 - range.list;
        Entry* to = EntriesOf(range);
        std::size_t lowCount = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Entry entry = from[i];
            to[lowCount] = entry;
            to[count - 1 - (i - lowCount)] = entry;
            lowCount += static_cast<std::size_t>(binOf(entry) < cut);
        }
        upper = {range.first + lowCount, range.last, range.list, {}};
        range = {range.first, upper.first, range.list, {}};
        for (std::size_t i = 0; i < kBinCount; ++i) {
            (i < cut ? range : upper).extent.Join(bins[i].extent);
        }
    }

    void SplitAt(Range& range, Range& upper, std::size_t lowCount)
    {
        upper = Measured(range.first + lowCount, range.last, range.list);
        range = Measured(range.first, range.first + lowCount, range.list);
    }

    void Halve(Range& range, Range& upper, int axis)
    {
        Entry* entries = EntriesOf(range);
        const std::size_t half = range.Count() / 2;
        std::nth_element(entries, entries + half, entries + range.Count(),
                         [axis](const Entry& a, const Entry& b) {
                             return MiddleOn(a.box, axis) < MiddleOn(b.box, axis);
                         });
        SplitAt(range, upper, half);
    }

    /// A few boxes, in the order of their middles, at the place of least cost.
    void CutSorted(Range& range, Range& upper, int axis)
    {
        Entry* entries = EntriesOf(range);
        const std::size_t count = range.Count();
        std::array<T, kFew> middle;
        for (std::size_t i = 0; i < count; ++i) {
            const Entry entry = entries[i];
            const T key = MiddleOn(entry.box, axis);
            std::size_t place = i;
            for (; place > 0 && middle[place - 1] > key; --place) {
                middle[place] = middle[place - 1];
                entries[place] = entries[place - 1];
            }
            middle[place] = key;
            entries[place] = entry;
        }
        std::array<T, kFew> cost;
        Bounds box;
        for (std::size_t i = 1; i < count; ++i) {
            box.Join(entries[i - 1].box);
            cost[i] = CostOf(box, i);
        }
        box = {};
        std::size_t best = count / 2;
        T least = kInfinity;
        for (std::size_t i = count - 1; i > 0; --i) {
            box.Join(entries[i].box);
            const T sum = cost[i] + CostOf(box, count - i);
            if (sum < least) {
                least = sum;
                best = i;
            }
        }
        SplitAt(range, upper, best);
    }

    /// First bin of the upper side of the cheapest cut; 0 when none has a finite cost.
    static std::size_t CheapestCut(const Bins& bins)
    {
        // Cost of everything below bin i, then with that of the bins from i on.
        std::array<T, kBinCount> cost;
        Bounds box;
        std::size_t count = 0;
        for (std::size_t i = 1; i < kBinCount; ++i) {
            box.Join(bins[i - 1].extent.box);
            count += bins[i - 1].count;
            cost[i] = CostOf(box, count);
        }
        box = {};
        count = 0;
        std::size_t best = 0;
        T least = kInfinity;
        for (std::size_t i = kBinCount - 1; i > 0; --i) {
            box.Join(bins[i].extent.box);
            count += bins[i].count;
            const T sum = cost[i] + CostOf(box, count);
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
        if (last - first >= kManyBoxes) {
            Progress::Impl::Check();
        }
        const std::size_t number = AddNode();
        for (std::size_t slot = 0; first < last; ++slot, first += share) {
            const Range range = Measured(first, std::min(first + share, last), 0);
            SetSlot(number, slot, range, [&] { return MakeOrderNode(range.first, range.last); });
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
    void SetSlot(std::size_t number, std::size_t slot, const Range& range,
                 const MakeChild& makeChild)
    {
        const std::int32_t child = range.Count() <= leafSize_ ? ~AddLeaf(range) : makeChild();
        Node& node = hierarchy_.nodes_[number]; // only now: the array may have moved
        for (int axis = 0; axis < D; ++axis) {
            const auto i = static_cast<std::size_t>(axis);
            node.min[i].Set(static_cast<int>(slot), range.extent.box.min[axis]);
            node.max[i].Set(static_cast<int>(slot), range.extent.box.max[axis]);
        }
        node.child[slot] = child;
        node.count = static_cast<std::int32_t>(slot + 1);
    }

    /// From left to right, so that its items come behind those of the leaf before.
    std::int32_t AddLeaf(const Range& range)
    {
        for (std::size_t i = range.first; i < range.last; ++i) {
            hierarchy_.order_[i] = entries_[range.list][i].number;
        }
        if (leafSize_ == 1) {
            return static_cast<std::int32_t>(range.first);
        }
        hierarchy_.leafBegins_.push_back(static_cast<std::int32_t>(range.last));
        return static_cast<std::int32_t>(hierarchy_.leafBegins_.size()) - 2;
    }

    Hierarchy& hierarchy_;
    std::size_t leafSize_;
    std::array<std::vector<Entry>, 2> entries_; // cuts go from one to the other
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
