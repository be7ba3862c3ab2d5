// Bodies of the content tree: the set-up of its root and the traversals of its queries.
#pragma once

#include <Sorvane/ContentTree_E.h>

#include "mathbase/Progress_Impl.h"
#include "mathbase/RayBox_Impl.h"
#include "trees/ContentNode_Impl.h"
#include "trees/TraversalStack_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Tree {

namespace Impl {

/// Narrowed to T; beyond its range infinite.
template <class T>
T Narrowed(double value)
{
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<T>::max())) {
        return static_cast<T>(std::copysign(std::numeric_limits<double>::infinity(), value));
    }
    return static_cast<T>(value);
}

template <class To, int D, class From>
VecBase<D, To> Converted(const VecBase<D, From>& point)
{
    VecBase<D, To> result;
    for (int i = 0; i < D; ++i) {
        result[i] = Narrowed<To>(static_cast<double>(point[i]));
    }
    return result;
}

/// Grows the cell by a few units in the last place.
template <int D, class T>
void MakeRoomForRounding(Bounding::RegularBoundingBox<D, T>& cell)
{
    constexpr T kRounding = 4 * std::numeric_limits<T>::epsilon();
    const BoxOf<D, T> loose = LooseBoxOf(cell);
    T largest = cell.halfSize;
    for (int i = 0; i < D; ++i) {
        largest = std::max({largest, std::fabs(loose.min[i]), std::fabs(loose.max[i])});
    }
    cell.halfSize += kRounding * largest;
}

/// Passes those of the contents [first, last) on whose box `isWanted` at its squared distance from
/// `point`: the nearest of each run first, so that the limit behind `isWanted` falls early.
///
/// Contents of a tree of balls have no box, and such a tree has no such query; clang 14 compiles
/// its body all the same.
template <int D, class T, int K, class IsWanted, class Sink>
void VisitNearestContents(const QOFContentSet<D, T, K>& contents, std::size_t first,
                          std::size_t last, const VecBase<D, T>& point, const IsWanted& isWanted,
                          const Sink& sink)
{
    if constexpr (K == 0) {
        constexpr std::size_t kRun = 64;
        std::array<T, kRun> squaredDistances;
        for (; first < last; first += kRun) {
            const std::size_t count = std::min(kRun, last - first);
            std::size_t nearest = 0;
            for (std::size_t i = 0; i < count; ++i) {
                squaredDistances[i] = SquaredDistance(contents.BoundAt(first + i), point);
                nearest = squaredDistances[i] < squaredDistances[nearest] ? i : nearest;
            }
            if (!isWanted(squaredDistances[nearest])) {
                continue;
            }
            sink(contents[first + nearest]);
            for (std::size_t i = 0; i < count; ++i) {
                if (i != nearest && isWanted(squaredDistances[i])) {
                    sink(contents[first + i]);
                }
            }
        }
    }
}

/// Passes on the contents of one set that fulfill `contentPredicate`, in groups that fulfill
/// `boxPredicate`.
template <class Set, class BoxPredicate, class ContentPredicate, class Sink>
class SetVisit {
public:
    SetVisit(const Set& set, const BoxPredicate& boxPredicate,
             const ContentPredicate& contentPredicate, const Sink& sink)
        : set_(set), boxPredicate_(boxPredicate), contentPredicate_(contentPredicate), sink_(sink)
    {
    }

    void Run() const
    {
        if (set_.LevelCount() > 0) {
            const int top = set_.LevelCount() - 1;
            VisitGroups(top, 0, set_.GroupCount(top));
        }
        VisitContents(set_.GroupedCount(), set_.size());
    }

private:
    void VisitGroups(int level, std::size_t first, std::size_t last) const
    {
        for (std::size_t group = first; group < last; ++group) {
            if (!boxPredicate_(set_.GroupBox(level, group))) {
                continue;
            }
            const std::size_t begin = group * Set::kGroupSize;
            const std::size_t end = begin + Set::kGroupSize;
            if (level > 0) {
                VisitGroups(level - 1, begin, std::min(end, set_.GroupCount(level - 1)));
            } else {
                VisitContents(begin, std::min(end, set_.GroupedCount()));
            }
        }
    }

    void VisitContents(std::size_t first, std::size_t last) const
    {
        for (std::size_t i = first; i < last; ++i) {
            if (contentPredicate_(set_.BoundAt(i))) {
                sink_(set_[i]);
            }
        }
    }

    const Set& set_;
    const BoxPredicate& boxPredicate_;
    const ContentPredicate& contentPredicate_;
    const Sink& sink_;
};

/// Adds a candidate to the answer of a query, which mostly has few of them or none.
template <class Content>
auto CollectInto(std::vector<const Content*>& found)
{
    constexpr std::size_t kUsual = 32;
    return [&found](const Content* content) {
        if (found.empty()) {
            found.reserve(kUsual);
        }
        found.push_back(content);
    };
}

} // namespace Impl

// --- building -----------------------------------------------------------------------------------

template <int D, class T, int K, class Node>
unsigned int QOFTree<D, T, K, Node>::LeafCapacity(std::size_t count)
{
    unsigned int capacity = count == 0 ? 0 : 1;
    while (capacity != 0 && 4 * static_cast<std::size_t>(capacity) * capacity <= count) {
        capacity *= 2;
    }
    return capacity;
}

template <int D, class T, int K, class Node>
bool QOFTree<D, T, K, Node>::Insert(Node& node, const Content* content, bool insert,
                                    unsigned int capacity)
{
    return QOFNode<D, T, K>::Insert(node, content, insert, capacity);
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::SetRoot(const Cell& cell)
{
    root_.content.clear();
    root_.children.clear();
    root_.contentBox = {};
    root_.parent = nullptr;
    root_.center = cell.center;
    root_.halfSize = cell.halfSize;
    root_.slack = cell.slack;
    slack_ = cell.slack;
}

template <int D, class T, int K, class Node>
typename QOFTree<D, T, K, Node>::Cell
QOFTree<D, T, K, Node>::FittedRoot(const std::vector<const Content*>& contents, std::size_t count)
{
    // In double, so that a sum over a million floats keeps its digits.
    Bounding::AxisAlignedBoundingBox<D, double> whole;
    double diagonals = 0.0;
    for (const Content* content : contents) {
        const Box box = Impl::Around(content->GetBound());
        const VecBase<D, double> min = Impl::Converted<double>(box.min);
        const VecBase<D, double> max = Impl::Converted<double>(box.max);
        for (int i = 0; i < D; ++i) {
            whole.min[i] = std::min(whole.min[i], min[i]);
            whole.max[i] = std::max(whole.max[i], max[i]);
        }
        diagonals += Vector::Length(max - min);
    }
    const double meanDiagonal = count < 1 ? diagonals : diagonals / static_cast<double>(count);
    const VecBase<D, double> center = (whole.min + whole.max) * 0.5;
    const double half = Vector::Length(whole.min - center);

    Cell cell{Impl::Converted<T>(center), Impl::Narrowed<T>(half),
              Impl::Narrowed<T>(meanDiagonal * 0.5 / half)};
    // Only when all contents lie on one line along an axis does rounding matter: the half diagonal
    // is half the extent then, and the outermost content may miss the loose box by a unit in the
    // last place. It is worth a cell that is larger by as much.
    const Box loose = Impl::LooseBoxOf(cell);
    const bool isFinite = std::isfinite(cell.halfSize) && std::isfinite(cell.slack);
    if (isFinite && !std::all_of(contents.begin(), contents.end(), [&](const Content* content) {
            return Impl::LiesWithin(content->GetBound(), loose);
        })) {
        Impl::MakeRoomForRounding(cell);
    }
    return cell;
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::InsertAll(const std::vector<const Content*>& contents)
{
    Progress::Impl::Steps steps;
    for (const Content* content : contents) {
        steps.Next();
        const Bound bound = content->GetBound();
        if (root_.Holds(bound)) {
            QOFNode<D, T, K>::Place(root_, content, bound, capacity_, true);
        }
    }
    ArrangeContents();
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::ArrangeContents()
{
    Progress::Impl::Steps steps;
    Impl::TraversalStack<QOFNode<D, T, K>*> stack;
    stack.Push(&root_);
    while (!stack.IsEmpty()) {
        steps.Next();
        QOFNode<D, T, K>* node = stack.Pop();
        node->content.Arrange();
        for (const auto& child : node->children) {
            if (child) {
                stack.Push(child.get());
            }
        }
    }
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::PrepareRoot(const std::vector<const Content*>& contents,
                                         std::size_t count)
{
    // The tree as it is now is kept until the new one stands: memory may run out.
    Node before;
    const unsigned int capacityBefore = capacity_;
    const T slackBefore = slack_;
    root_.TransferTo(before, true);
    try {
        SetCapacity(LeafCapacity(count));
        SetRoot(FittedRoot(contents, count));
        InsertAll(contents);
    } catch (...) {
        SetRoot({});
        before.TransferTo(root_, true);
        capacity_ = capacityBefore;
        slack_ = slackBefore;
        throw;
    }
}

// --- traversals ---------------------------------------------------------------------------------

template <int D, class T, int K, class Node>
template <class IsBoxWanted, class IsContentWanted, class Show>
void QOFTree<D, T, K, Node>::Walk(const IsBoxWanted& isBoxWanted,
                                  const IsContentWanted& isContentWanted, const Show& show) const
{
    struct Step {
        const QOFNode<D, T, K>* node;
        bool childrenDone;
    };
    Impl::TraversalStack<Step> stack;
    if (isBoxWanted(root_.contentBox)) {
        stack.Push({&root_, false});
    }
    while (!stack.IsEmpty()) {
        const auto [node, childrenDone] = stack.Pop();
        if (childrenDone || node->children.empty()) {
            Impl::SetVisit(node->content, isBoxWanted, isContentWanted, show).Run();
            continue;
        }
        if (!node->content.empty()) {
            stack.Push({node, true});
        }
        for (auto child = node->children.rbegin(); child != node->children.rend(); ++child) {
            if (*child && isBoxWanted((*child)->contentBox)) {
                stack.Push({child->get(), false});
            }
        }
    }
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::VisitNearest(const VecBase<D, T>& point, T squaredRadius,
                                          const NearestSink& sink) const requires(K == 0)
{
    // A node, or with a level that isn't negative a group of its contents.
    struct Step {
        const QOFNode<D, T, K>* node;
        int level;
        std::size_t group;
        T squaredDistance;
    };
    if (Impl::HasNaN(point)) {
        return;
    }
    T limit = std::numeric_limits<T>::infinity();
    const auto isWanted = [&](T squaredDistance) {
        return squaredDistance < squaredRadius && squaredDistance <= limit;
    };
    const auto show = [&](const Content* content) { limit = sink(content); };

    // What lies directly below a step, sorted: the farthest goes to the stack first, so that the
    // nearest is taken next.
    constexpr std::size_t kGroupSize = QOFContentSet<D, T, K>::kGroupSize;
    std::array<Step, QOFNode<D, T, K>::kChildCount + kGroupSize> below;
    std::size_t count = 0;
    const auto offer = [&](const QOFNode<D, T, K>* node, int level, std::size_t group,
                           const Box& box) {
        const T squaredDistance = Impl::SquaredDistance(box, point);
        if (isWanted(squaredDistance)) {
            std::size_t place = count++;
            for (; place > 0 && below[place - 1].squaredDistance < squaredDistance; --place) {
                below[place] = below[place - 1];
            }
            below[place] = {node, level, group, squaredDistance};
        }
    };
    const auto offerGroups = [&](const QOFNode<D, T, K>* node, int level, std::size_t first) {
        const std::size_t last = std::min(first + kGroupSize, node->content.GroupCount(level));
        for (std::size_t group = first; group < last; ++group) {
            offer(node, level, group, node->content.GroupBox(level, group));
        }
    };

    Impl::TraversalStack<Step> stack;
    stack.Push({&root_, -1, 0, Impl::SquaredDistance(root_.contentBox, point)});
    while (!stack.IsEmpty()) {
        const auto [node, level, group, squaredDistance] = stack.Pop();
        if (!isWanted(squaredDistance)) {
            continue;
        }
        const QOFContentSet<D, T, K>& contents = node->content;
        count = 0;
        if (level > 0) {
            offerGroups(node, level - 1, group * kGroupSize);
        } else if (level == 0) {
            const std::size_t first = group * kGroupSize;
            Impl::VisitNearestContents(contents, first,
                                       std::min(first + kGroupSize, contents.GroupedCount()), point,
                                       isWanted, show);
        } else {
            Impl::VisitNearestContents(contents, contents.GroupedCount(), contents.size(), point,
                                       isWanted, show);
            if (contents.LevelCount() > 0) {
                offerGroups(node, contents.LevelCount() - 1, 0);
            }
            for (const auto& child : node->children) {
                if (child) {
                    offer(child.get(), -1, 0, child->contentBox);
                }
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            stack.Push(below[i]);
        }
    }
}

// --- queries ------------------------------------------------------------------------------------

template <int D, class T, int K, class Node>
template <class Show>
void QOFTree<D, T, K, Node>::WalkInBall(const Bounding::BoundingBall<D, T>& ball,
                                        const Show& show) const
{
    if (Impl::HasNaN(ball.center)) {
        return;
    }
    Walk(
        [&](const Box& around) {
            if constexpr (K == 0) {
                return Impl::BallReaches(ball, around);
            } else {
                return Impl::BallMayReachBalls(ball, around);
            }
        },
        [&](const Bound& bound) { return Impl::BallReaches(ball, bound); }, show);
}

template <int D, class T, int K, class Node>
std::vector<const QOFTreeContent<D, T, K>*>
QOFTree<D, T, K, Node>::GetPossibleBallCollisions(const Bounding::BoundingBall<D, T>& ball) const
{
    std::vector<const Content*> found;
    WalkInBall(ball, Impl::CollectInto<Content>(found));
    return found;
}

template <int D, class T, int K, class Node>
std::vector<const QOFTreeContent<D, T, K>*>
QOFTree<D, T, K, Node>::GetPossibleBoxCollisions(const Box& box) const
{
    std::vector<const Content*> found;
    Walk(
        [&](const Box& around) {
            if constexpr (K == 0) {
                return Impl::BoxMeets(box, around);
            } else {
                return Impl::BoxMayMeetBalls(box, around);
            }
        },
        [&](const Bound& bound) { return Impl::BoxMeets(box, bound); },
        Impl::CollectInto<Content>(found));
    return found;
}

template <int D, class T, int K, class Node>
template <class Show>
void QOFTree<D, T, K, Node>::WalkOnLine(const VecBase<D, T>& origin, const VecBase<D, T>& direction,
                                        const Show& show) const
{
    if (!Intersect::Impl::IsRayDirection(direction)) {
        return;
    }
    const Intersect::Impl::LineBoxTest<D, T> line(origin, direction, root_.contentBox.min,
                                                  root_.contentBox.max, T{0});
    const auto meets = [&](const Box& box) { return line.Meets(box.min, box.max); };
    Walk(
        meets, [&](const Bound& bound) { return meets(Impl::Around(bound)); }, show);
}

template <int D, class T, int K, class Node>
std::vector<const QOFTreeContent<D, T, K>*> QOFTree<D, T, K, Node>::GetPossibleRayCollisions(
    const VecBase<D, T>& origin, const VecBase<D, T>& direction, bool /*flag*/) const
{
    std::vector<const Content*> found;
    WalkOnLine(origin, direction, Impl::CollectInto<Content>(found));
    return found;
}

// --- the same for a host's functions -------------------------------------------------------------

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::VisitCandidates(const BoxPredicate& boxPredicate,
                                             const ContentPredicate& contentPredicate,
                                             const Sink& sink) const
{
    Walk(boxPredicate, contentPredicate, sink);
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::VisitBallCollisions(const Bounding::BoundingBall<D, T>& ball,
                                                 const Sink& sink) const
{
    WalkInBall(ball, sink);
}

template <int D, class T, int K, class Node>
void QOFTree<D, T, K, Node>::VisitRayCollisions(const VecBase<D, T>& origin,
                                                const VecBase<D, T>& direction,
                                                const Sink& sink) const
{
    WalkOnLine(origin, direction, sink);
}

} // namespace Velk::Math::Sorvane::Tree
