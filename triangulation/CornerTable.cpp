// A triangle of the node that was inserted last has it as corner 0: `Legalize` then knows the side
// to test without a search.

#include "triangulation/CornerTable_Impl.h"

#include <algorithm>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

CornerTable::CornerTable(const std::array<Vec2d, 3>& outer, const Limits& limits,
                         std::size_t nodeCount)
    : limits_(limits)
{
    positions_.reserve(nodeCount);
    incident_.reserve(nodeCount);
    triangles_.reserve(2 * nodeCount);
    triangles_.push_back({{0, 1, 2}, 0, {kNone, kNone, kNone}});
    for (int k = 0; k < 3; ++k) {
        positions_.push_back(outer[static_cast<std::size_t>(k)]);
        incident_.push_back(Corner(0, k));
    }
}

bool CornerTable::Insert(const Vec2d& p)
{
    const int t = FindTriangle(p);
    if (t < 0) {
        return false;
    }
    const int first = TriangleAt(t).first;
    const std::array<Vec2d, 3> at = CornersFrom(TriangleAt(t), first);
    PlaceInTriangle place = Classify(at, p, limits_.floor);
    if (place.kind == PlaceInTriangle::Kind::Inside) {
        place = InsertionPlace(at, p, limits_.minDoubleArea, limits_.floor);
    }
    if (place.kind == PlaceInTriangle::Kind::Inside) {
        SplitTriangle(t, p);
        return true;
    }
    // Side k runs from corner k and lies opposite the one before it, counted from the first.
    return place.kind == PlaceInTriangle::Kind::Side &&
           SplitSide(Corner(t, (first + place.number + 2) % 3), p);
}

std::array<Vec2d, 3> CornerTable::CornersFrom(const Triangle& triangle, int k) const
{
    return {At(NodeOf(triangle, k)), At(NodeOf(triangle, After(k))),
            At(NodeOf(triangle, Before(k)))};
}

// --- location -----------------------------------------------------------------------------------

bool CornerTable::IsBeyond(const Triangle& triangle, int corner, const Vec2d& p) const
{
    return Side(At(NodeOf(triangle, After(corner))), At(NodeOf(triangle, Before(corner))), p) < 0;
}

// The walk of `DelaunayMesher::WalkStraight`.
int CornerTable::FindTriangle(const Vec2d& p) const
{
    const Triangle& start = TriangleAt(hint_);
    int leaveBy = kNone;
    for (int k = 0, opposite = Before(start.first); k < 3 && leaveBy < 0;
         ++k, opposite = After(opposite)) {
        leaveBy = IsBeyond(start, opposite, p) ? Corner(hint_, opposite) : kNone;
    }
    if (leaveBy < 0) {
        return hint_;
    }
    const int count = static_cast<int>(triangles_.size());
    for (int step = 0; step <= count; ++step) {
        const int entered = Across(TriangleAt(TriangleOf(leaveBy)), PlaceOf(leaveBy));
        if (entered < 0) {
            break;
        }
        const Triangle& triangle = TriangleAt(TriangleOf(entered));
        // The side after the entered one lies opposite its start, the one before opposite its end.
        int second = Before(PlaceOf(entered));
        int first = After(PlaceOf(entered));
        if (step % 2 != 0) {
            std::swap(first, second);
        }
        if (IsBeyond(triangle, first, p)) {
            leaveBy = Corner(TriangleOf(entered), first);
        } else if (IsBeyond(triangle, second, p)) {
            leaveBy = Corner(TriangleOf(entered), second);
        } else {
            return TriangleOf(entered);
        }
    }
    return kNone;
}

// --- edits --------------------------------------------------------------------------------------

int CornerTable::AddNode(const Vec2d& p)
{
    positions_.push_back(p);
    incident_.push_back(kNone);
    return NodeCount() - 1;
}

void CornerTable::Set(int t, const std::array<int, 3>& nodes, int first,
                      const std::array<int, 3>& across)
{
    TriangleAt(t) = {nodes, first, across};
    SetAcross(across[0], Corner(t, 0));
}

void CornerTable::SetAcross(int corner, int across)
{
    if (corner >= 0) {
        TriangleAt(TriangleOf(corner)).across[static_cast<std::size_t>(PlaceOf(corner))] = across;
    }
}

void CornerTable::SplitTriangle(int t, const Vec2d& p)
{
    const int node = AddNode(p);
    const int added = static_cast<int>(triangles_.size());
    triangles_.resize(triangles_.size() + 2);
    const Triangle whole = TriangleAt(t);
    const std::array<int, 3> parts{t, added, added + 1};
    int corner = whole.first;
    for (std::size_t k = 0; k < 3; ++k, corner = After(corner)) {
        const int part = parts[k];
        const int before = parts[(k + 2) % 3];
        const int start = NodeOf(whole, corner);
        Set(part, {node, start, NodeOf(whole, After(corner))}, 1,
            {Across(whole, Before(corner)), Corner(parts[(k + 1) % 3], 2), Corner(before, 1)});
        SetIncident(start, Corner(before, 2));
    }
    SetIncident(node, Corner(parts[2], 0));
    hint_ = parts[2];
    const std::array<int, 3> star{parts[2], parts[0], parts[1]};
    Legalize(star.data(), star.size());
}

// The side opposite `corner`, from a to b; c is the corner, d the one beyond.
bool CornerTable::SplitSide(int corner, const Vec2d& p)
{
    const int left = TriangleOf(corner);
    const Triangle leftWhole = TriangleAt(left);
    const int beyond = Across(leftWhole, PlaceOf(corner));
    if (beyond < 0) {
        return false;
    }
    const int right = TriangleOf(beyond);
    const Triangle rightWhole = TriangleAt(right);
    const int atA = After(PlaceOf(corner));
    const int atB = Before(PlaceOf(corner));
    const int a = NodeOf(leftWhole, atA);
    const int b = NodeOf(leftWhole, atB);
    const int c = NodeOf(leftWhole, PlaceOf(corner));
    const int d = NodeOf(rightWhole, PlaceOf(beyond));
    if (c == d || !FillsQuad(At(a), At(b), At(c), At(d), p)) {
        return false;
    }
    const int node = AddNode(p);
    const int rightHalf = static_cast<int>(triangles_.size()); // at b, as is the left one
    const int leftHalf = rightHalf + 1;
    triangles_.resize(triangles_.size() + 2);
    Set(left, {node, c, a}, 2, {Across(leftWhole, atB), Corner(right, 2), Corner(leftHalf, 1)});
    Set(right, {node, a, d}, 0,
        {Across(rightWhole, After(PlaceOf(beyond))), Corner(rightHalf, 2), Corner(left, 1)});
    Set(rightHalf, {node, d, b}, 2,
        {Across(rightWhole, Before(PlaceOf(beyond))), Corner(leftHalf, 2), Corner(right, 1)});
    Set(leftHalf, {node, b, c}, 0, {Across(leftWhole, atA), Corner(left, 2), Corner(rightHalf, 1)});

    SetIncident(node, Corner(left, 0));
    SetIncident(b, Corner(rightHalf, 2));
    SetIncident(c, Corner(leftHalf, 2));
    SetIncident(d, Corner(right, 2));
    if (TriangleOf(Incident(a)) == left) {
        SetIncident(a, Corner(left, 2));
    } else if (TriangleOf(Incident(a)) == right) {
        SetIncident(a, Corner(right, 1));
    }
    hint_ = left;
    const std::array<int, 4> star{left, right, rightHalf, leftHalf};
    Legalize(star.data(), star.size());
    return true;
}

// --- flips --------------------------------------------------------------------------------------

// A side is tested when it comes to face the node, not when its turn comes: the two tests after a
// flip then run side by side, and only sides that flip wait. Nothing changes for a side that waits,
// except that the triangle beyond it may have become one of the node's own. Such a side has the
// node on both sides, which is no convex quad.
void CornerTable::Legalize(const int* star, std::size_t count)
{
    // Each flip leaves at most one triangle more to wait, and each gives the node an edge more.
    open_.resize(std::max(open_.size(), count + 2));
    std::size_t size = 0;
    for (std::size_t k = 0; k < count; ++k) {
        open_[size] = star[k];
        size += MustFlip(TriangleAt(star[k])) ? 1U : 0U;
    }
    while (size > 0) {
        const int t = open_[--size];
        const int other = TriangleOf(TriangleAt(t).across[0]);
        if (!Flip(t)) {
            continue;
        }
        if (size + 2 > open_.size()) {
            open_.resize(2 * open_.size());
        }
        const bool first = MustFlip(TriangleAt(t));
        const bool second = MustFlip(TriangleAt(other));
        open_[size] = t;
        size += first ? 1U : 0U;
        open_[size] = other;
        size += second ? 1U : 0U;
    }
}

// Is the far side of corner 0 to be flipped, if its quad is convex?
[[gnu::always_inline]] inline bool CornerTable::MustFlip(const Triangle& triangle) const
{
    const int beyond = triangle.across[0];
    if (beyond < 0) {
        return false;
    }
    const auto [p, a, b] = triangle.nodes;
    const int d = NodeOf(TriangleAt(TriangleOf(beyond)), PlaceOf(beyond));
    if (std::min(std::min(a, b), d) < 3) {
        return MustFlipBesideOuter(triangle, d);
    }
    const CircleTest test(At(a), At(b), At(p), At(d));
    if (!test.IsClear() || limits_.flipTolerance != 0) [[unlikely]] {
        return !IsLocallyDelaunay(At(a), At(b), At(p), At(d), limits_.flipTolerance);
    }
    return test.sine < 0;
}

bool CornerTable::MustFlipBesideOuter(const Triangle& triangle, int beyond) const
{
    const auto [p, a, b] = triangle.nodes;
    const bool isBeside = a < 3 || b < 3;
    if ((a < 3 ? 1 : 0) + (b < 3 ? 1 : 0) + (beyond < 3 ? 1 : 0) == 1) {
        return isBeside;
    }
    return !IsLocallyDelaunay(At(a), At(b), At(p), At(beyond), limits_.flipTolerance);
}

// (p, a, b) and (d, b, a) become (p, a, d) and (p, d, b).
[[gnu::always_inline]] inline bool CornerTable::Flip(int t)
{
    Triangle& near = TriangleAt(t);
    const int corner = near.across[0];
    const int u = TriangleOf(corner);
    Triangle& far = TriangleAt(u);
    const int k = PlaceOf(corner);
    const auto [p, a, b] = near.nodes;
    const int d = NodeOf(far, k);
    if (!IsConvexQuad(At(a), At(b), At(p), At(d))) {
        return false;
    }
    const int beyondA = Across(far, After(k));
    const int beyondB = Across(far, Before(k));
    const int besideB = near.across[1];
    near = {{p, a, d}, 2, {beyondA, Corner(u, 2), near.across[2]}};
    far = {{p, d, b}, 0, {beyondB, besideB, Corner(t, 1)}};
    SetAcross(beyondA, Corner(t, 0));
    SetAcross(beyondB, Corner(u, 0));
    SetAcross(besideB, Corner(u, 1));
    SetIncident(a, Corner(t, 1));
    SetIncident(b, Corner(u, 2));
    SetIncident(d, Corner(u, 1));
    SetIncident(p, Corner(t, 0));
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
