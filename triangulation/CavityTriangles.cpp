// Nodes of a cavity one by one into a growing triangulation. While nodes are missing the chain
// takes short cuts past them, and triangles may then be upside down; with the last node in none is.

#include "triangulation/CavityTriangles_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "triangulation/PointDelaunay_Impl.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

using Math::Impl::Orientation;

constexpr int kNone = -1;

const Vec2d& Of(std::span<const Vec2d> chain, int node)
{
    return chain[static_cast<std::size_t>(node)];
}

/// Subscript of the edge `steps` behind the half-edge in its triangle.
std::size_t Slot(int half, int steps) { return static_cast<std::size_t>(((half & 3) + steps) % 3); }

} // namespace

std::span<const CavityTriangles::Triangle> CavityTriangles::Fill(std::span<const Vec2d> chain)
{
    chain_ = chain;
    triangles_.clear();
    freed_.clear();
    const int count = static_cast<int>(chain.size());
    links_.resize(chain.size());
    for (int node = 0; node < count; ++node) {
        At(node) = {node - 1, node + 1, kNone};
    }
    At(count - 1).behind = 0;
    ChooseOrder();
    AddFirst(order_[0]);
    for (std::size_t i = 1; i < order_.size(); ++i) {
        Insert(order_[i]);
    }
    if (!AreAllSound()) {
        triangles_.clear();
        FillByApexes();
    }
    return triangles_;
}

/// Backwards: which node is to go in last, which before that. It is taken out of the chain, so that
/// `before` and `behind` tell between which nodes it goes in later. What is nearer to the segment
/// than both its neighbors stays, or the short cut past it could leave the cavity.
void CavityTriangles::ChooseOrder()
{
    const int last = static_cast<int>(chain_.size()) - 1;
    const Vec2d& origin = Of(chain_, last);
    const Vec2d along = Of(chain_, 0) - origin;
    heights_.resize(chain_.size());
    for (std::size_t node = 0; node < chain_.size(); ++node) {
        heights_[node] = along ^ (chain_[node] - origin);
    }
    heights_.front() = heights_.back() = 0;
    const auto isPit = [&](int node) {
        const auto height = [&](int k) { return heights_[static_cast<std::size_t>(k)]; };
        return height(node) < height(At(node).before) && height(node) < height(At(node).behind);
    };

    order_.resize(chain_.size() - 2);
    std::iota(order_.begin(), order_.end(), 1);
    random_ = 1;
    for (std::size_t left = order_.size(); left > 1; --left) {
        // The neighbors of the ends are no pits, and a pit has none beside it: at least half of the
        // nodes will do.
        std::size_t chosen = NextRandom() % left;
        while (isPit(order_[chosen])) {
            chosen = NextRandom() % left;
        }
        std::swap(order_[chosen], order_[left - 1]);
        const Link& link = At(order_[left - 1]);
        At(link.before).behind = link.behind;
        At(link.behind).before = link.before;
    }
}

/// The upper bits of a linear congruential sequence, the same in every call.
unsigned CavityTriangles::NextRandom()
{
    random_ = random_ * 1664525U + 1013904223U;
    return random_ >> 8U;
}

int& CavityTriangles::TwinOf(int half)
{
    return TriangleAt(half >> 2).twins[static_cast<std::size_t>(half & 3)];
}

void CavityTriangles::AddFirst(int node)
{
    const int last = static_cast<int>(chain_.size()) - 1;
    NewTriangle({0, node, last});
    SetTwins(0, Boundary(0));
    SetTwins(1, Boundary(node));
    SetTwins(2, Boundary(last));
}

/// Does the triangle of a node and a half-edge seen from beyond not stand, because it is upside
/// down or because the node lies in the circle of the half-edge's triangle?
bool CavityTriangles::MustDig(int node, int half)
{
    const std::array<int, 3>& nodes = TriangleAt(half >> 2).nodes;
    const Vec2d& p = Of(chain_, node);
    const Vec2d& end = Of(chain_, nodes[Slot(half, 0)]);
    const Vec2d& start = Of(chain_, nodes[Slot(half, 1)]);
    return Orientation(p, start, end) <= 0 ||
           IsInCircle(p, start, end, Of(chain_, nodes[Slot(half, 2)]));
}

/// Digs from the short cut past the node on, and fans out from the node what was dug, from the node
/// behind round to the node before.
void CavityTriangles::Insert(int node)
{
    const int before = At(node).before;
    const int behind = At(node).behind;
    open_.assign(1, At(before).inner);
    At(before).behind = node;
    At(behind).before = node;
    int atStart = Boundary(node); // half-edge beyond the side where the next triangle begins
    int sideBefore = kNone;       // the last triangle's side to the node
    while (!open_.empty()) {
        const int half = open_.back();
        open_.pop_back();
        if (half >= 0 && MustDig(node, half)) {
            const Triangle& dug = TriangleAt(half >> 2);
            freed_.push_back(half >> 2);
            open_.push_back(dug.twins[Slot(half, 2)]);
            open_.push_back(dug.twins[Slot(half, 1)]);
            continue;
        }
        // The edge of the fan runs against a half-edge, and along a boundary.
        int from = 0;
        int to = 0;
        if (half >= 0) {
            from = TriangleAt(half >> 2).nodes[Slot(half, 1)];
            to = TriangleAt(half >> 2).nodes[Slot(half, 0)];
        } else {
            from = NodeOfBoundary(half);
            to = At(from).behind;
        }
        const int t = NewTriangle({node, from, to});
        SetTwins(4 * t, atStart);
        SetTwins(4 * t + 1, half);
        sideBefore = 4 * t + 2;
        atStart = sideBefore;
    }
    SetTwins(sideBefore, Boundary(before));
}

int CavityTriangles::NewTriangle(const std::array<int, 3>& nodes)
{
    ++work_;
    int t = static_cast<int>(triangles_.size());
    if (freed_.empty()) {
        triangles_.emplace_back();
    } else {
        t = freed_.back();
        freed_.pop_back();
    }
    TriangleAt(t).nodes = nodes;
    return t;
}

/// `other` is a half-edge or a boundary.
void CavityTriangles::SetTwins(int half, int other)
{
    TwinOf(half) = other;
    if (other >= 0) {
        TwinOf(other) = half;
    } else {
        At(NodeOfBoundary(other)).inner = half;
    }
}

bool CavityTriangles::AreAllSound() const
{
    return std::all_of(triangles_.begin(), triangles_.end(), [&](const Triangle& triangle) {
        const auto [a, b, c] = triangle.nodes;
        return Orientation(Of(chain_, a), Of(chain_, b), Of(chain_, c)) > 0;
    });
}

// --- the slow way -------------------------------------------------------------------------------

/// For what is no cavity as told: from the segment on, above each edge the node whose circle with
/// the edge holds no other (M. V. Anglada, "An improved incremental algorithm for constructing
/// restricted Delaunay triangulations", 1997). O(m^2).
void CavityTriangles::FillByApexes()
{
    struct Stretch {
        int first;
        int last;
        int base; // half-edge or boundary beyond the edge from `last` to `first`
    };
    const int end = static_cast<int>(chain_.size()) - 1;
    std::vector<Stretch> open{{0, end, Boundary(end)}};
    while (!open.empty()) {
        const Stretch stretch = open.back();
        open.pop_back();
        if (stretch.last - stretch.first == 1) {
            SetTwins(stretch.base, Boundary(stretch.first));
            continue;
        }
        const int apex = BestApex(stretch.first, stretch.last);
        const int t = NewTriangle({stretch.first, apex, stretch.last});
        SetTwins(4 * t + 2, stretch.base);
        open.push_back({stretch.first, apex, 4 * t});
        open.push_back({apex, stretch.last, 4 * t + 1});
    }
}

/// Of the nodes between. Where none lies on the inner side the one behind `first`.
int CavityTriangles::BestApex(int first, int last) const
{
    const Vec2d& start = Of(chain_, first);
    const Vec2d& end = Of(chain_, last);
    int best = kNone;
    for (int node = first + 1; node < last; ++node) {
        const Vec2d& p = Of(chain_, node);
        if (Orientation(start, p, end) > 0 &&
            (best == kNone || IsInCircle(start, Of(chain_, best), end, p))) {
            best = node;
        }
    }
    return best == kNone ? first + 1 : best;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
