// Extra nodes on an ascending polyline where it passes given heights (its component y).

#include <Sorvane/IndexedMesh_E.h>

#include <algorithm>

namespace Velk::Math::Sorvane {
namespace {

template <class V>
bool DescendsSomewhere(const std::vector<V>& polyline)
{
    return std::adjacent_find(polyline.begin(), polyline.end(), [](const V& a, const V& b) {
               return b.y() < a.y();
           }) != polyline.end();
}

/// The point at `height` between two nodes; x is interpolated, any further component is 0.
template <int N, class T>
VecBase<N, T> NodeAtHeight(const VecBase<N, T>& from, const VecBase<N, T>& to, T height)
{
    VecBase<N, T> node;
    const T rise = to.y() - from.y();
    node.x() = rise <= kLengthFloor<T>
                   ? to.x()
                   : from.x() + (to.x() - from.x()) / rise * (height - from.y());
    node.y() = height;
    return node;
}

} // namespace

template <class T, class V>
std::pair<std::vector<V>, std::vector<int>> SplitByHeight(const std::vector<V>& polyline,
                                                          const std::set<T>& heights, T tolerance)
{
    if (heights.empty() || polyline.empty() || DescendsSomewhere(polyline)) {
        return {polyline, {}};
    }
    std::vector<V> nodes;
    nodes.reserve(polyline.size() + heights.size());
    std::vector<int> nodesOnHeights;
    // Both loops end because each round takes a height; that is why the end is asked of the
    // iterator and not of a largest height, which a node at infinity would reach again and again.
    auto height = heights.lower_bound(polyline.front().y());
    V last = polyline.front();
    for (const V& node : polyline) {
        while (height != heights.end() && *height >= last.y() &&
               node.y() >= *height + tolerance / 2) {
            if (Matches(node, last, kLengthFloor<T>)) {
                break; // the node itself stands on this height, as the next loop finds
            }
            last = NodeAtHeight(last, node, *height);
            nodesOnHeights.push_back(static_cast<int>(nodes.size()));
            nodes.push_back(last);
            ++height;
        }
        const auto number = static_cast<int>(nodes.size());
        for (; height != heights.end() && node.y() >= *height; ++height) {
            if (nodesOnHeights.empty() || nodesOnHeights.back() != number) {
                nodesOnHeights.push_back(number);
            }
        }
        nodes.push_back(node);
        last = node;
    }
    return {std::move(nodes), std::move(nodesOnHeights)};
}

// clang-format off
#define SORVANE_INSTANTIATE(T, N) \
    template std::pair<std::vector<VecBase<N, T>>, std::vector<int>> SplitByHeight(const std::vector<VecBase<N, T>>&, const std::set<T>&, T);
SORVANE_INSTANTIATE(float, 2)
SORVANE_INSTANTIATE(double, 2)
SORVANE_INSTANTIATE(double, 3)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane
