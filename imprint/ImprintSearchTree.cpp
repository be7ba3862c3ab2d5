// The search tree over the facets of an imprintable mesh.

#include "imprint/ImprintSearchTree_Impl.h"

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Velk::Math::Sorvane::Mesh::Impl {

namespace {

/// By how much the box of a facet exceeds it on every side of every axis.
constexpr double kBoxMargin = 5e-12;
/// Looseness of the cells as a fraction of their half size.
constexpr double kSlack = 0.1;

} // namespace

SearchTree::SearchTree(std::size_t facets)
{
    constexpr std::size_t kLargestBlock = 1U << 20U;
    wraps_.SetBlockSize(static_cast<std::uint32_t>(std::min(facets, kLargestBlock)));
}

int SearchTree::Add(int facet, const Corners& corners)
{
    TriWrap wrap;
    wrap.facet = facet;
    for (int axis = 0; axis < 3; ++axis) {
        const auto [low, high] =
            std::minmax({corners[0][axis], corners[1][axis], corners[2][axis]});
        wrap.min[axis] = low - kBoxMargin;
        wrap.max[axis] = high + kBoxMargin;
    }
    const bool isUsable = std::all_of(corners.begin(), corners.end(), [](const Vec3d& corner) {
        return Velk::Math::Impl::IsUsable(corner);
    });
    return isUsable ? wraps_.Add(wrap) : -1;
}

bool SearchTree::Enter(int handle)
{
    return Insert(MutableRoot(), wraps_.Find(handle), true, Capacity());
}

void SearchTree::Remove(int handle)
{
    // The box is that with which the facet came, whatever its corners are by now: the way down the
    // tree is the same.
    if (const TriWrap* wrap = wraps_.Find(handle)) {
        Insert(MutableRoot(), wrap, false, Capacity());
        wraps_.Remove(handle);
    }
}

void SearchTree::Rebuild()
{
    Box whole;
    double largest = 0.0;
    for (const TriWrap& wrap : wraps_) {
        whole.Grow(wrap.min);
        whole.Grow(wrap.max);
        largest = std::max({largest, Velk::Math::Impl::LargestMagnitude(wrap.min),
                            Velk::Math::Impl::LargestMagnitude(wrap.max)});
    }
    Cell root;
    if (FacetCount() > 0) {
        root.center = (whole.min + whole.max) * 0.5;
        const Vec3d extent = whole.max - whole.min;
        // Far from the origin the margin of a box is lost, and a single facet may be flat or a mere
        // point: a few units in the last place let the root hold it all the same.
        root.halfSize = 0.5 * Velk::Math::Impl::LargestMagnitude(extent) +
                        4 * std::numeric_limits<double>::epsilon() * largest;
    }
    root.slack = kSlack;
    SetRoot(root);
    SetCapacity(LeafCapacity(FacetCount()));
    builtFor_ = FacetCount();
    InsertAll(wraps_);
}

std::vector<int> SearchTree::FacetsInBox(const Vec3d& min, const Vec3d& max) const
{
    std::vector<int> facets;
    const auto found = GetPossibleBoxCollisions({min, max});
    facets.reserve(found.size());
    for (const Content* content : found) {
        facets.push_back(static_cast<const TriWrap*>(content)->facet);
    }
    std::sort(facets.begin(), facets.end());
    return facets;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
