// The partition of a polygon into monotone faces, and of those into triangles.

#include "triangulation/MonotonePartitioner_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "mathbase/WatchedSort_Impl.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace Velk::Math::Sorvane::Mesh {

using Impl::SweepClass;
using Impl::SweepHelper;
using Math::Impl::Orientation;

namespace {

/// Events of the sweep for a look at the progress scope: where many edges are open at a time an
/// event takes tens of microseconds.
constexpr unsigned kStepsPerCheck = 32;

} // namespace

template <class T>
MonotonePartitioner<T>::MonotonePartitioner() = default;

template <class T>
MonotonePartitioner<T>::MonotonePartitioner(const std::vector<VecBase<2, T>>& outline,
                                            OutlineTurn turn, SweepOrder order)
{
    Load(outline, turn, order);
}

template <class T>
MonotonePartitioner<T>::~MonotonePartitioner() = default;

// --- the polygon as a mesh of one face ----------------------------------------------------------

template <class T>
void MonotonePartitioner<T>::Load(const std::vector<VecBase<2, T>>& outline, OutlineTurn turn,
                                  SweepOrder order)
{
    const std::size_t count = outline.size();
    this->Clear();
    this->Reserve(count, 6 * count, 2 * count);
    positions_.clear();
    positions_.reserve(count);
    reversed_ = IsReversed(outline, turn);
    for (std::size_t i = 0; i < count; ++i) {
        const VecBase<2, T>& point = outline[reversed_ ? count - 1 - i : i];
        this->AddNode(HalfEdge::HVertex<2, T>(point));
        positions_.push_back(Math::Impl::Widened(point));
    }
    MakeRing();
    SortEntries(order);
}

template <class T>
bool MonotonePartitioner<T>::IsReversed(const std::vector<VecBase<2, T>>& outline,
                                        OutlineTurn turn) const
{
    if (turn == OutlineTurn::TakeAsGiven) {
        return false;
    }
    std::vector<Vec2d> loop;
    loop.reserve(outline.size());
    for (const VecBase<2, T>& point : outline) {
        loop.push_back(Math::Impl::Widened(point));
    }
    return Vector::SignedArea(loop) < 0;
}

// The face on the inner side and the linked boundary on the outer one. The triangle form of
// `AddFace` takes no polygons, so the ring is made edge by edge.
template <class T>
void MonotonePartitioner<T>::MakeRing()
{
    const int count = this->NodeCount();
    std::vector<int> ring;
    ring.reserve(static_cast<std::size_t>(count));
    for (int n = 0; n < count; ++n) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(n));
        ring.push_back(this->FindOrAddEdge(n, n + 1 == count ? 0 : n + 1));
    }
    if (HalfEdge::HMesh<HalfEdge::HVertex<2, T>, HalfEdge::HEdge,
                        HalfEdge::HFace>::AddFaceFromEdges(ring) < 0) {
        return;
    }
    for (std::size_t i = 0; i < ring.size(); ++i) {
        Progress::Impl::CheckStep(i);
        const int after = ring[i + 1 == ring.size() ? 0 : i + 1];
        this->Link(Twin(after), Twin(ring[i]));
    }
}

// "Equal within the floor, then the next axis" is no order that a sort could be given: it is not
// transitive. The points are sorted exactly, and each run whose x differ by no more than the floor
// from one to the next is sorted again by y.
template <class T>
void MonotonePartitioner<T>::SortEntries(SweepOrder order)
{
    entries_.clear();
    for (int n = 0; n < this->NodeCount(); ++n) {
        const VecBase<2, T>& p = NodeAt(n).position;
        entries_.push_back({p.x(), p.y(), n});
    }
    Parallel::Impl::WatchedSort(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
        return std::tie(a.x, a.y, a.node) < std::tie(b.x, b.y, b.node);
    });
    const auto isApart = [](const auto& a, const auto& b) {
        return static_cast<double>(b.x) - static_cast<double>(a.x) > kLengthFloor<T>;
    };
    for (auto first = entries_.begin(); first != entries_.end() && order == SweepOrder::ByFloor;) {
        const auto apart = std::adjacent_find(first, entries_.end(), isApart);
        const auto last = apart == entries_.end() ? apart : apart + 1;
        if (first->x != (last - 1)->x) {
            std::sort(first, last, [](const auto& a, const auto& b) {
                return std::tie(a.y, a.x, a.node) < std::tie(b.y, b.x, b.node);
            });
        }
        first = last;
    }
    ranks_.resize(entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        Progress::Impl::CheckStep(i);
        ranks_[static_cast<std::size_t>(entries_[i].node)] = static_cast<int>(i);
    }
}

// --- partition ----------------------------------------------------------------------------------

template <class T>
bool MonotonePartitioner<T>::IsLater(int node, int than) const
{
    return Rank(node) > Rank(than) &&
           !Vector::Matches(At(node), At(than), static_cast<double>(kLengthFloor<T>));
}

template <class T>
SweepClass MonotonePartitioner<T>::ClassifyBetween(int before, int node, int after) const
{
    const bool afterBefore = IsLater(node, before);
    const bool afterAfter = IsLater(node, after);
    if (afterBefore != afterAfter) {
        return SweepClass::Regular;
    }
    const bool isReflex = Orientation(At(node), At(after), At(before)) < 0;
    if (afterBefore) {
        return isReflex ? SweepClass::Merge : SweepClass::End;
    }
    return isReflex ? SweepClass::Split : SweepClass::Start;
}

template <class T>
SweepClass MonotonePartitioner<T>::Classify(int node, int face) const
{
    int leaving = -1;
    int onFace = 0;
    this->VisitNodeEdges(node, [&](int e) {
        if (this->IsValidEdge(e) && EdgeAt(e).face == face) {
            leaving = e;
            ++onFace;
        }
    });
    if (onFace != 1 || !this->IsValidEdge(EdgeAt(leaving).prev)) {
        return SweepClass::Invalid;
    }
    return ClassifyBetween(EdgeAt(EdgeAt(leaving).prev).node, node, EdgeAt(Twin(leaving)).node);
}

template <class T>
void MonotonePartitioner<T>::Partition()
{
    const auto nodeCount = static_cast<std::size_t>(this->NodeCount());
    outOf_.assign(nodeCount, 0);
    arrivedBy_.assign(nodeCount, 0);
    facesToSweep_.clear();
    if (this->FaceCount() > 0) {
        facesToSweep_.push_back(0);
    }
    // Every face on the stack came with a diagonal, and no polygon has more than n - 3.
    while (!facesToSweep_.empty()) {
        const int face = facesToSweep_.back();
        facesToSweep_.pop_back();
        SweepFace(face);
    }
}

template <class T>
void MonotonePartitioner<T>::SweepFace(int face)
{
    face_ = face;
    faceNodes_.clear();
    this->VisitEdgeLoop(FaceAt(face).edge, [&](int e) {
        const int node = EdgeAt(e).node;
        faceNodes_.push_back(node);
        OutOf(node) = e;
        arrivedBy_[static_cast<std::size_t>(node)] = EdgeAt(e).prev;
    });
    if (faceNodes_.size() <= 3) {
        return;
    }
    Parallel::Impl::WatchedSort(faceNodes_.begin(), faceNodes_.end(),
                                [&](int a, int b) { return Rank(a) < Rank(b); });
    unsigned steps = 0;
    for (const int node : faceNodes_) {
        if (steps++ % kStepsPerCheck == 0) {
            Progress::Impl::Check();
        }
        if (IsOnFace(node)) {
            HandleVertex(node);
        } else {
            // Split off together with the edge that ends here, which the line is about to leave.
            status_.Remove(arrivedBy_[static_cast<std::size_t>(node)]);
        }
    }
    status_.Clear();
}

template <class T>
void MonotonePartitioner<T>::HandleVertex(int node)
{
    const int leaving = OutOf(node);
    const int arriving = EdgeAt(leaving).prev;
    const int before = EdgeAt(arriving).node;
    const SweepClass kind = ClassifyBetween(before, node, EdgeAt(Twin(leaving)).node);
    // On a run of the outline that follows the sweep the interior lies above, on one against it
    // below. The order of sweep decides that, also along upright walls, where the side of a normal
    // drowns in rounding.
    const bool interiorAbove = kind == SweepClass::Regular && IsLater(node, before);

    if (kind == SweepClass::End || kind == SweepClass::Merge || interiorAbove) {
        ConnectToMerge(status_.Helper(arriving), node);
        status_.Remove(arriving);
    }
    if (kind == SweepClass::Split || kind == SweepClass::Merge ||
        (kind == SweepClass::Regular && !interiorAbove)) {
        HandleEdgeBelow(node, kind);
    }
    if (kind == SweepClass::Start || kind == SweepClass::Split || interiorAbove) {
        EnterEdge(leaving, node, kind);
    }
}

template <class T>
void MonotonePartitioner<T>::ConnectToMerge(const SweepHelper& helper, int node)
{
    if (helper.vertex >= 0 && helper.kind == SweepClass::Merge) {
        Connect(helper.vertex, node);
    }
}

template <class T>
void MonotonePartitioner<T>::HandleEdgeBelow(int node, SweepClass kind)
{
    const int below = status_.EdgeBelow(At(node));
    if (below < 0) {
        return;
    }
    if (kind == SweepClass::Split) {
        Connect(status_.Helper(below).vertex, node);
    } else {
        ConnectToMerge(status_.Helper(below), node);
    }
    status_.SetHelper(below, {node, kind});
}

template <class T>
void MonotonePartitioner<T>::EnterEdge(int halfEdge, int helper, SweepClass kind)
{
    status_.Enter(halfEdge, At(EdgeAt(halfEdge).node), At(EdgeAt(Twin(halfEdge)).node),
                  {helper, kind});
}

template <class T>
void MonotonePartitioner<T>::Connect(int from, int to)
{
    const int face = AddDiagonal(from, to);
    if (face >= 0) {
        facesToSweep_.push_back(face);
    }
}

// Splits the face at hand; the number of the new face, which is the shorter part, or -1 when a node
// is no longer on the face, the two are neighbors there, or they have an edge elsewhere.
template <class T>
int MonotonePartitioner<T>::AddDiagonal(int from, int to)
{
    if (from == to || !IsOnFace(from) || !IsOnFace(to) || this->FindEdge(from, to) >= 0) {
        return -1;
    }
    const int outOfFrom = OutOf(from);
    const int outOfTo = OutOf(to);
    const int diagonal = this->FindOrAddEdge(from, to);
    const int back = Twin(diagonal);
    this->Link(EdgeAt(outOfFrom).prev, diagonal);
    this->Link(EdgeAt(outOfTo).prev, back);
    this->Link(diagonal, outOfTo);
    this->Link(back, outOfFrom);

    int alongDiagonal = outOfTo;
    int alongBack = outOfFrom;
    while (alongDiagonal != diagonal && alongBack != back) {
        alongDiagonal = EdgeAt(alongDiagonal).next;
        alongBack = EdgeAt(alongBack).next;
    }
    const bool keepDiagonal = alongBack == back;
    const int kept = keepDiagonal ? diagonal : back;
    EdgeAt(kept).face = face_;
    FaceAt(face_).edge = kept;
    OutOf(from) = keepDiagonal ? diagonal : outOfFrom;
    OutOf(to) = keepDiagonal ? outOfTo : back;

    const int face = this->NewFace(Twin(kept));
    int e = Twin(kept);
    do {
        EdgeAt(e).face = face;
        e = EdgeAt(e).next;
    } while (e != Twin(kept));
    return face;
}

// --- triangles ----------------------------------------------------------------------------------

template <class T>
bool MonotonePartitioner<T>::TriangulateFaces()
{
    outOf_.resize(static_cast<std::size_t>(this->NodeCount()));
    const int faceCount = this->FaceCount();
    for (int face = 0; face < faceCount; ++face) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(face));
        if (!TriangulateFace(face)) {
            return false;
        }
    }
    return true;
}

// The nodes of the face in sweep order, each with its chain; false when the chains do not both run
// from the first node to the last without turning back.
template <class T>
bool MonotonePartitioner<T>::ReadChains(int face)
{
    std::vector<int> ring;
    ring.swap(stack_); // its room
    ring.clear();
    this->VisitEdgeLoop(FaceAt(face).edge, [&](int e) {
        ring.push_back(EdgeAt(e).node);
        OutOf(EdgeAt(e).node) = e;
    });
    const auto isEarlier = [&](int a, int b) { return Rank(a) < Rank(b); };
    std::rotate(ring.begin(), std::min_element(ring.begin(), ring.end(), isEarlier), ring.end());
    const auto last = std::max_element(ring.begin(), ring.end(), isEarlier);

    const bool isMonotone =
        std::is_sorted(ring.begin(), last, isEarlier) &&
        std::is_sorted(last, ring.end(), [&](int a, int b) { return isEarlier(b, a); });
    faceNodes_.clear();
    isUpper_.clear();
    auto lower = ring.begin();
    auto upper = ring.end();
    Progress::Impl::Steps steps;
    while (isMonotone && (lower != last || upper - 1 != last)) {
        steps.Next();
        const bool takesUpper =
            lower == last || (upper - 1 != last && isEarlier(*(upper - 1), *lower));
        faceNodes_.push_back(takesUpper ? *--upper : *lower++);
        isUpper_.push_back(takesUpper);
    }
    faceNodes_.push_back(*last);
    isUpper_.push_back(false);
    ring.clear();
    stack_.swap(ring);
    return isMonotone;
}

template <class T>
bool MonotonePartitioner<T>::TriangulateFace(int face)
{
    if (this->Sides(face)[0] < 0) {
        return false;
    }
    const auto [first, second, third] = this->Sides(face);
    if (EdgeAt(second).next == third) {
        const auto [a, b, c] = this->Corners(face);
        return !TurnsOver(a, b, c);
    }
    if (!ReadChains(face)) {
        return false;
    }
    face_ = face;
    nodesLeft_ = static_cast<int>(faceNodes_.size());
    const auto nodeAt = [&](int place) { return faceNodes_[static_cast<std::size_t>(place)]; };
    const int lastPlace = nodesLeft_ - 1;
    for (int place = 0; place <= lastPlace; ++place) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(place));
        const bool isUpper = isUpper_[static_cast<std::size_t>(place)];
        const bool changesChain =
            place > 1 &&
            (place == lastPlace || isUpper != isUpper_[static_cast<std::size_t>(stack_.back())]);
        if (changesChain) {
            // All on the stack see the vertex; what lies before the top is cut off.
            for (std::size_t i = 0; i + 1 < stack_.size() && nodesLeft_ > 3; ++i) {
                if (!CutEar(nodeAt(stack_[i]))) {
                    return false;
                }
            }
            stack_.assign(1, stack_.back());
        }
        while (!changesChain && stack_.size() > 1 && nodesLeft_ > 3) {
            const int top = nodeAt(stack_.back());
            const int under = nodeAt(stack_[stack_.size() - 2]);
            const int turn = Orientation(At(under), At(top), At(nodeAt(place)));
            if (turn == 0 || (turn > 0) == isUpper) {
                break;
            }
            if (!CutEar(top)) {
                return false;
            }
            stack_.pop_back();
        }
        stack_.push_back(place);
    }
    const auto [a, b, c] = this->Corners(face);
    return nodesLeft_ == 3 && !TurnsOver(a, b, c);
}

// Clockwise by more than rounding?
template <class T>
bool MonotonePartitioner<T>::TurnsOver(int a, int b, int c) const
{
    const Vec2d in = At(b) - At(a);
    const Vec2d out = At(c) - At(b);
    const double rounding = kLengthFloor<T> * (Length(in) + Length(out));
    return (in ^ out) < -rounding && Orientation(At(a), At(b), At(c)) < 0;
}

// Makes a triangle of a node of the face at hand and its two neighbors; the face goes on without
// the node.
template <class T>
bool MonotonePartitioner<T>::CutEar(int node)
{
    const int leaving = OutOf(node);
    const int arriving = EdgeAt(leaving).prev;
    const int before = EdgeAt(arriving).node;
    const int after = EdgeAt(Twin(leaving)).node;
    if (TurnsOver(before, node, after) || this->FindEdge(before, after) >= 0) {
        return false;
    }
    const int side = this->FindOrAddEdge(before, after);
    this->Link(EdgeAt(arriving).prev, side);
    this->Link(side, EdgeAt(leaving).next);
    EdgeAt(side).face = face_;
    FaceAt(face_).edge = side;
    OutOf(before) = side;
    --nodesLeft_;
    return this->LinkFace(std::array{arriving, leaving, Twin(side)}) >= 0;
}

// --- flips --------------------------------------------------------------------------------------

template <class T>
void MonotonePartitioner<T>::ImproveDelaunay()
{
    std::vector<int> inner;
    for (int e = 0; e < this->EdgeCount(); e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (this->IsValidEdge(e) && EdgeAt(e).face >= 0 && EdgeAt(Twin(e)).face >= 0) {
            inner.push_back(e);
        }
    }
    Progress::Impl::Steps steps;
    for (const int e : inner) {
        steps.Next();
        if (IsWorthFlipping(e)) {
            this->FlipEdge(e, true);
        }
    }
}

template <class T>
bool MonotonePartitioner<T>::IsWorthFlipping(int halfEdge) const
{
    const auto [a, b, c, d] = this->Diamond(halfEdge);
    if (c < 0 || d < 0 || c == d || this->FindEdge(c, d) >= 0) {
        return false;
    }
    // Positive when d lies inside the circle of the counter-clockwise triangle a, b, c.
    const Vec2d origin = At(d);
    const auto lifted = [&](int node) {
        const Vec2d v = At(node) - origin;
        return Vec3d(v.x(), v.y(), v * v);
    };
    const double inCircle = lifted(a) * (lifted(b) ^ lifted(c));
    return inCircle >= 0 && Orientation(At(d), At(c), At(a)) > 0 &&
           Orientation(At(c), At(d), At(b)) > 0;
}

template <class T>
void MonotonePartitioner<T>::WriteIndices(std::vector<int>& indices) const
{
    indices.clear();
    indices.reserve(3 * this->faces_.size());
    const int last = this->NodeCount() - 1;
    for (int face = 0; face < this->FaceCount(); ++face) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(face));
        const std::array<int, 3> corners = this->Corners(face);
        if (corners[0] >= 0) {
            for (const int node : corners) {
                indices.push_back(reversed_ ? last - node : node);
            }
        }
    }
}

template class MonotonePartitioner<float>;
template class MonotonePartitioner<double>;

} // namespace Velk::Math::Sorvane::Mesh
