// What the tests of the content trees share: a tree with its queries laid open, contents with a
// number, and a walk over all nodes.
#pragma once

#include "tests/support/TestSupport.h"
#include "trees/ContentTree_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace Support {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;
using Velk::Math::Sorvane::Bounding::AxisAlignedBoundingBox;
using Velk::Math::Sorvane::Bounding::BoundingBall;
using Velk::Math::Sorvane::Bounding::RegularBoundingBox;

/// A content that knows its place in the list.
template <int D, class T, int K>
struct Item : QOFTreeContent<D, T, K> {
    using Base = QOFTreeContent<D, T, K>;

    int id = -1;

    Item() = default;
    template <class First, class Second>
    Item(const First& first, const Second& second, int number) : Base(first, second), id(number)
    {
    }
};

template <int D, class T, int K>
class OpenTree : public QOFTree<D, T, K, QOFNode<D, T, K>> {
public:
    using Base = QOFTree<D, T, K, QOFNode<D, T, K>>;
    using Wrap = Item<D, T, K>;

    using Base::ArrangeContents;
    using Base::FittedRoot;
    using Base::GetPossibleBallCollisions;
    using Base::GetPossibleBoxCollisions;
    using Base::GetPossibleRayCollisions;
    using Base::InsertAll;
    using Base::MutableRoot;
    using Base::SetCapacity;
    using Base::SetRoot;
    using Base::VisitCandidates;
    using Base::VisitNearest;

    QOFStorage<Wrap> storage;

    const QOFNode<D, T, K>& AnyRoot() const { return Base::Root(); }
    void Build() { Base::PrepareRoot(storage); }
    bool Put(const QOFTreeContent<D, T, K>* content)
    {
        return Base::Insert(Base::MutableRoot(), content, true, Base::Capacity());
    }
    bool Take(const QOFTreeContent<D, T, K>* content)
    {
        return Base::Insert(Base::MutableRoot(), content, false, Base::Capacity());
    }
};

/// Calls `visit(node, depth)` for all nodes, without recursion.
template <int D, class T, int K, class Visit>
void ForEachNode(const QOFNode<D, T, K>& root, const Visit& visit)
{
    std::vector<std::pair<const QOFNode<D, T, K>*, int>> open{{&root, 0}};
    while (!open.empty()) {
        const auto [node, depth] = open.back();
        open.pop_back();
        visit(*node, depth);
        for (const auto& child : node->children) {
            if (child) {
                open.push_back({child.get(), depth + 1});
            }
        }
    }
}

template <int D, class T, int K>
std::size_t CountContents(const QOFNode<D, T, K>& root)
{
    std::size_t count = 0;
    ForEachNode(root, [&](const auto& node, int) { count += node.content.size(); });
    return count;
}

template <int D, class T, int K>
int DeepestLevel(const QOFNode<D, T, K>& root)
{
    int deepest = 0;
    ForEachNode(root, [&](const auto&, int depth) { deepest = std::max(deepest, depth); });
    return deepest;
}

/// The numbers of the contents, ascending. Repeats stay, so that a content met twice shows.
template <int D, class T, int K>
std::vector<int> Ids(const std::vector<const QOFTreeContent<D, T, K>*>& contents)
{
    std::vector<int> ids;
    for (const QOFTreeContent<D, T, K>* content : contents) {
        ids.push_back(static_cast<const Item<D, T, K>*>(content)->id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

} // namespace Support
