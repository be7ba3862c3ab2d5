// A flat hierarchy of boxes, made once from a whole list: which of them meet a box, a ball or a
// line, which come next to a point, or whatever else can be told from a box around several.
//
// It knows numbers and boxes alone: whoever builds one keeps what is in the boxes, and measures it.
//
//     BoxHierarchy<3, double> hierarchy(boxes, HierarchyCut::Area);
//     hierarchy.VisitMeeting(box, [&](int number) { ... });
//
//     double least = infinity;                       // nearest of what is in the boxes
//     hierarchy.VisitNearest(point, [&](double squaredDistance) { return squaredDistance < least;
//     },
//                            [&](int number) { least = std::min(least, Measure(number)); });
//
// A node holds up to four boxes side by side, axis by axis, so that one instruction compares four
// of them; each belongs to a further node or to one item. Nodes lie in one array, the items of a
// subtree next to each other in another one.
#pragma once

#include "mathbase/RayBox_Impl.h"
#include "trees/BoundTests_Impl.h"
#include "trees/TraversalStack_Impl.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

/// Numbers that are calculated with at once, lane by lane: a vector type of g++ and clang++, which
/// becomes the instructions of any processor. Of 16 bytes, so that no register is too small.
template <class T>
struct LanesOf;
template <>
struct LanesOf<float> {
    using Type = float __attribute__((vector_size(16)));
};
template <>
struct LanesOf<double> {
    using Type = double __attribute__((vector_size(16)));
};

/// How a list of boxes is divided.
enum class HierarchyCut {
    /// Where the surface areas of the two boxes, weighted with what they hold, are least: for
    /// queries that are many.
    Area,
    /// By halves, in the order of the list, which visits keep: for lists whose neighbors are
    /// neighbors in space, and where the first of several is asked for.
    Order
};

/// The items that one leaf holds: `count` of them from `first` on in `BoxHierarchy::Order`.
struct HierarchyLeaf {
    std::size_t number;
    std::size_t first;
    std::size_t count;
};

/// Boxes are numbered by their place in the list. One with a NaN, or with `min` above `max` on an
/// axis, is left out and never found; infinite ones are found like others. At most 2^31 - 1 boxes.
///
/// Queries keep no state in the hierarchy and run in many threads at once, without memory of their
/// own. Comparisons with a box round like those with a larger one: subtraction, squares and sums of
/// squares in the same order are monotonic. So a box that a query selects is never lost because the
/// box of its subtree was not selected.
template <int D, class T>
class BoxHierarchy {
public:
    using Box = BoxOf<D, T>;
    using Point = VecBase<D, T>;

    /// Boxes of a node.
    static constexpr int kWidth = 4;

    /// Without boxes: nothing is found.
    BoxHierarchy() = default;
    /// O(n log n), whatever the boxes.
    BoxHierarchy(const std::vector<Box>& boxes, HierarchyCut cut) : BoxHierarchy(boxes, cut, 1) {}
    /// The same with up to `leafSize` items where otherwise there is one: for whoever tests several
    /// at once, and for less memory. Items then come although their own box is not selected, when
    /// that of their leaf is.
    BoxHierarchy(const std::vector<Box>& boxes, HierarchyCut cut, int leafSize);

    bool IsEmpty() const { return order_.empty(); }
    /// The numbers, leaf by leaf; those of a subtree stand together.
    const std::vector<std::int32_t>& Order() const { return order_; }
    /// Leaves, numbered from left to right.
    std::size_t LeafCount() const
    {
        return leafBegins_.empty() ? order_.size() : leafBegins_.size() - 1;
    }
    HierarchyLeaf Leaf(std::size_t number) const
    {
        if (leafBegins_.empty()) {
            return {number, number, 1};
        }
        const auto first = static_cast<std::size_t>(leafBegins_[number]);
        return {number, first, static_cast<std::size_t>(leafBegins_[number + 1]) - first};
    }
    /// Around all boxes; the default (inverted) box when there is none.
    const Box& Whole() const { return whole_; }

    // --- what is known of a subtree -------------------------------------------------------------

    /// Subtrees are numbered from 0 to this; a leaf is one, too. Some numbers are those of none.
    std::size_t SubtreeCount() const { return kWidth * nodes_.size(); }

    /// For each subtree `of` its items, joined: `of(number)` of a box, `join(Payload, Payload)` of
    /// two parts of a subtree, from left to right. Subscripts are those that predicates are told;
    /// `none` stands where no subtree is.
    template <class Payload, class Of, class Join>
    std::vector<Payload> Folded(const Payload& none, const Of& of, const Join& join) const;

    // --- queries --------------------------------------------------------------------------------
    //
    // `sink(number)` is called for items, in the order of the leaves if nothing else is said. A
    // sink that returns a bool ends the visit by returning true; the visit then returns true as
    // well. Predicates may take the number of the subtree, from `SubtreeCount`, as second argument.

    /// Items whose box, and all boxes around it, fulfill `isWanted(box)` or `isWanted(box,
    /// subtree)`.
    template <class IsWanted, class Sink>
    bool Visit(const IsWanted& isWanted, const Sink& sink) const;

    /// Items whose box meets the closed `box`, touching included.
    template <class Sink>
    bool VisitMeeting(const Box& box, const Sink& sink) const;

    /// Items whose box a line meets.
    template <class Scalar, class Sink>
    bool VisitOnLine(const Intersect::Impl::LineBoxTest<D, Scalar>& line, const Sink& sink) const;

    /// Items whose box has a squared distance (`SquaredDistance`) below `squaredRadius` from
    /// `point`. None for a point with a NaN.
    template <class Scalar, class Sink>
    bool VisitWithin(const VecBase<D, Scalar>& point, std::type_identity_t<Scalar> squaredRadius,
                     const Sink& sink) const;

    /// Items near `point`, the near boxes first as far as the hierarchy tells.
    ///
    /// `isOpen(squaredDistance)` or `isOpen(squaredDistance, subtree)` is asked whether anything at
    /// that distance or beyond may still be wanted. It may turn false in the course of the visit,
    /// as better results are found, and never true again. None for a point with a NaN.
    template <class Scalar, class IsOpen, class Sink>
    bool VisitNearest(const VecBase<D, Scalar>& point, const IsOpen& isOpen,
                      const Sink& sink) const;

private:
    using Lanes = typename LanesOf<T>::Type;
    static constexpr std::size_t kLanes = 16 / sizeof(T);
    static constexpr std::size_t kParts = kWidth / kLanes;
    /// Of each box a number.
    struct Row {
        std::array<Lanes, kParts> part;

        T operator[](int slot) const
        {
            const auto i = static_cast<std::size_t>(slot);
            return part[i / kLanes][i % kLanes];
        }
        void Set(int slot, T value)
        {
            const auto i = static_cast<std::size_t>(slot);
            part[i / kLanes][i % kLanes] = value;
        }
    };

    /// Up to four subtrees; NaN is the box of none.
    struct Node {
        std::array<Row, D> min;
        std::array<Row, D> max;
        /// Number of a node, or of a leaf with all bits turned over.
        std::array<std::int32_t, kWidth> child;
        std::int32_t count; // of subtrees, which come first
    };

    /// Squared distances of a point to the boxes of a node, the same numbers as `SquaredDistance`;
    /// anything where no box is.
    template <class Scalar>
    static std::array<Scalar, kWidth> SquaredDistances(const Node& node,
                                                       const VecBase<D, Scalar>& point);

    static Box BoxAt(const Node& node, int slot)
    {
        Box box;
        for (int axis = 0; axis < D; ++axis) {
            box.min[axis] = node.min[static_cast<std::size_t>(axis)][slot];
            box.max[axis] = node.max[static_cast<std::size_t>(axis)][slot];
        }
        return box;
    }

    template <class Predicate, class Value>
    static bool Ask(const Predicate& predicate, const Value& value, std::size_t subtree)
    {
        if constexpr (std::is_invocable_v<Predicate, Value, std::size_t>) {
            return predicate(value, subtree);
        } else {
            return predicate(value);
        }
    }

    /// True when the sink ends the visit.
    template <class Sink>
    bool Show(std::int32_t leaf, const Sink& sink) const
    {
        const HierarchyLeaf items = Leaf(static_cast<std::size_t>(leaf));
        if constexpr (std::is_invocable_v<Sink, HierarchyLeaf>) {
            return Told(sink, items);
        } else {
            for (std::size_t i = 0; i < items.count; ++i) {
                if (Told(sink, order_[items.first + i])) {
                    return true;
                }
            }
            return false;
        }
    }

    template <class Sink, class Value>
    static bool Told(const Sink& sink, const Value& value)
    {
        if constexpr (std::is_same_v<std::invoke_result_t<Sink, Value>, bool>) {
            return sink(value);
        } else {
            sink(value);
            return false;
        }
    }

    /// Fetches what a visit of the child begins with: a node, or what the sink keeps of a leaf and
    /// fetches by `sink.Prefetch(number)`, if it can.
    template <class Sink>
    void Prefetch(std::int32_t child, const Sink& sink) const
    {
        if (child >= 0) {
            const auto* node =
                reinterpret_cast<const char*>(&nodes_[static_cast<std::size_t>(child)]);
            for (std::size_t line = 0; line < sizeof(Node); line += 64) {
                __builtin_prefetch(node + line);
            }
        } else if constexpr (requires { sink.Prefetch(std::size_t{}); }) {
            sink.Prefetch(static_cast<std::size_t>(~child));
        }
    }

    /// Goes down wherever `select(node, number)` sets the bit of a slot, from left to right.
    template <class Select, class Sink>
    bool VisitSelected(const Select& select, const Sink& sink) const;

    template <int, class>
    friend class HierarchyBuilder;

    std::vector<Node> nodes_; // the first is the root
    std::vector<std::int32_t> order_;
    std::vector<std::int32_t> leafBegins_; // in `order_`, and its end; none for leaves of one
    Box whole_;
};

// --- bodies -------------------------------------------------------------------------------------

template <int D, class T>
template <class Payload, class Of, class Join>
std::vector<Payload> BoxHierarchy<D, T>::Folded(const Payload& none, const Of& of,
                                                const Join& join) const
{
    std::vector<Payload> folded(SubtreeCount(), none);
    // Children come behind their parents.
    for (std::size_t n = nodes_.size(); n-- > 0;) {
        const Node& node = nodes_[n];
        for (std::size_t slot = 0; slot < static_cast<std::size_t>(node.count); ++slot) {
            Payload& payload = folded[kWidth * n + slot];
            if (node.child[slot] < 0) {
                const HierarchyLeaf leaf = Leaf(static_cast<std::size_t>(~node.child[slot]));
                payload = of(order_[leaf.first]);
                for (std::size_t i = 1; i < leaf.count; ++i) {
                    payload = join(payload, of(order_[leaf.first + i]));
                }
            } else {
                const auto child = static_cast<std::size_t>(node.child[slot]);
                payload = folded[kWidth * child];
                for (std::size_t i = 1; i < static_cast<std::size_t>(nodes_[child].count); ++i) {
                    payload = join(payload, folded[kWidth * child + i]);
                }
            }
        }
    }
    return folded;
}

template <int D, class T>
template <class Select, class Sink>
bool BoxHierarchy<D, T>::VisitSelected(const Select& select, const Sink& sink) const
{
    // Slots of a node that are still to be visited, lowest bit first.
    struct Step {
        std::int32_t node;
        unsigned slots;
    };
    if (nodes_.empty()) {
        return false;
    }
    TraversalStack<Step> stack;
    std::size_t number = 0;
    unsigned slots = select(nodes_[0], number);
    for (;;) {
        while (slots == 0) {
            if (stack.IsEmpty()) {
                return false;
            }
            const Step step = stack.Pop();
            number = static_cast<std::size_t>(step.node);
            slots = step.slots;
        }
        const Node& node = nodes_[number];
        const auto slot = static_cast<std::size_t>(__builtin_ctz(slots));
        slots &= slots - 1;
        const std::int32_t child = node.child[slot];
        if (child < 0) {
            if (Show(~child, sink)) {
                return true;
            }
            continue;
        }
        if (slots != 0) {
            stack.Push({static_cast<std::int32_t>(number), slots});
        }
        number = static_cast<std::size_t>(child);
        slots = select(nodes_[number], number);
    }
}

template <int D, class T>
template <class IsWanted, class Sink>
bool BoxHierarchy<D, T>::Visit(const IsWanted& isWanted, const Sink& sink) const
{
    return VisitSelected(
        [&](const Node& node, std::size_t number) {
            unsigned slots = 0;
            for (int slot = 0; slot < node.count; ++slot) {
                const std::size_t subtree = kWidth * number + static_cast<std::size_t>(slot);
                slots |= static_cast<unsigned>(Ask(isWanted, BoxAt(node, slot), subtree)) << slot;
            }
            return slots;
        },
        sink);
}

template <int D, class T>
template <class Sink>
bool BoxHierarchy<D, T>::VisitMeeting(const Box& box, const Sink& sink) const
{
    return VisitSelected(
        [&](const Node& node, std::size_t) {
            unsigned slots = 0;
            for (std::size_t part = 0; part < kParts; ++part) {
                auto meets = node.min[0].part[part] <= box.max[0];
                meets &= node.max[0].part[part] >= box.min[0];
                for (int axis = 1; axis < D; ++axis) {
                    const auto i = static_cast<std::size_t>(axis);
                    meets &= node.min[i].part[part] <= box.max[axis];
                    meets &= node.max[i].part[part] >= box.min[axis];
                }
                for (std::size_t lane = 0; lane < kLanes; ++lane) {
                    slots |= (meets[lane] != 0 ? 1U : 0U) << (part * kLanes + lane);
                }
            }
            return slots;
        },
        sink);
}

template <int D, class T>
template <class Scalar, class Sink>
bool BoxHierarchy<D, T>::VisitOnLine(const Intersect::Impl::LineBoxTest<D, Scalar>& line,
                                     const Sink& sink) const
{
    return Visit(
        [&](const Box& box) {
            return line.Meets(VecBase<D, Scalar>(box.min), VecBase<D, Scalar>(box.max));
        },
        sink);
}

template <int D, class T>
template <class Scalar>
std::array<Scalar, BoxHierarchy<D, T>::kWidth>
BoxHierarchy<D, T>::SquaredDistances(const Node& node, const VecBase<D, Scalar>& point)
{
    // As many at once as come in one vector of the scalars to be calculated with.
    using Wide = typename LanesOf<Scalar>::Type;
    constexpr std::size_t kWideLanes = sizeof(Wide) / sizeof(Scalar);
    std::array<Scalar, kWidth> squaredDistances;
    for (std::size_t first = 0; first < kWidth; first += kWideLanes) {
        Wide sum{};
        for (int axis = 0; axis < D; ++axis) {
            const auto i = static_cast<std::size_t>(axis);
            Wide min;
            Wide max;
            if constexpr (std::is_same_v<Scalar, T>) {
                min = node.min[i].part[first / kLanes];
                max = node.max[i].part[first / kLanes];
            } else {
                for (std::size_t lane = 0; lane < kWideLanes; ++lane) {
                    min[lane] = node.min[i][static_cast<int>(first + lane)];
                    max[lane] = node.max[i][static_cast<int>(first + lane)];
                }
            }
            const Wide below = min - point[axis];
            const Wide above = point[axis] - max;
            const Wide beyond = below > above ? below : above;
            const Wide zero{};
            // No gap also where infinite ends meet and their difference is no number.
            const Wide gap = beyond > zero ? beyond : zero;
            sum += gap * gap;
        }
        for (std::size_t lane = 0; lane < kWideLanes; ++lane) {
            squaredDistances[first + lane] = sum[lane];
        }
    }
    return squaredDistances;
}

template <int D, class T>
template <class Scalar, class Sink>
bool BoxHierarchy<D, T>::VisitWithin(const VecBase<D, Scalar>& point,
                                     std::type_identity_t<Scalar> squaredRadius,
                                     const Sink& sink) const
{
    if (HasNaN(point)) {
        return false;
    }
    return VisitSelected(
        [&](const Node& node, std::size_t) {
            const std::array<Scalar, kWidth> squaredDistances = SquaredDistances(node, point);
            unsigned slots = 0;
            for (std::size_t slot = 0; slot < static_cast<std::size_t>(node.count); ++slot) {
                slots |= (squaredDistances[slot] < squaredRadius ? 1U : 0U) << slot;
            }
            return slots;
        },
        sink);
}

template <int D, class T>
template <class Scalar, class IsOpen, class Sink>
bool BoxHierarchy<D, T>::VisitNearest(const VecBase<D, Scalar>& point, const IsOpen& isOpen,
                                      const Sink& sink) const
{
    struct Step {
        Scalar squaredDistance;
        std::int32_t child; // as in a node
        std::uint32_t subtree;
    };
    if (nodes_.empty() || HasNaN(point)) {
        return false;
    }
    TraversalStack<Step> stack;
    const auto offerSlotsOf = [&](std::size_t number) {
        const Node& node = nodes_[number];
        const std::array<Scalar, kWidth> squaredDistances = SquaredDistances(node, point);
        // The farthest goes to the stack first, so that the nearest is taken next.
        std::array<Step, kWidth> steps;
        std::size_t count = 0;
        for (std::size_t slot = 0; slot < static_cast<std::size_t>(node.count); ++slot) {
            const std::size_t subtree = kWidth * number + slot;
            if (!Ask(isOpen, squaredDistances[slot], subtree)) {
                continue;
            }
            std::size_t place = count++;
            for (; place > 0 && steps[place - 1].squaredDistance < squaredDistances[slot];
                 --place) {
                steps[place] = steps[place - 1];
            }
            steps[place] = {squaredDistances[slot], node.child[slot],
                            static_cast<std::uint32_t>(subtree)};
        }
        for (std::size_t i = 0; i < count; ++i) {
            Prefetch(steps[i].child, sink);
            stack.Push(steps[i]);
        }
    };
    offerSlotsOf(0);
    while (!stack.IsEmpty()) {
        const Step step = stack.Pop();
        if (!Ask(isOpen, step.squaredDistance, static_cast<std::size_t>(step.subtree))) {
            continue;
        }
        if (step.child >= 0) {
            offerSlotsOf(static_cast<std::size_t>(step.child));
        } else if (Show(~step.child, sink)) {
            return true;
        }
    }
    return false;
}

extern template class BoxHierarchy<2, float>;
extern template class BoxHierarchy<2, double>;
extern template class BoxHierarchy<3, float>;
extern template class BoxHierarchy<3, double>;

} // namespace Velk::Math::Sorvane::Tree::Impl
