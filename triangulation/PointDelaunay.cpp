// Divide and conquer (L. Guibas and J. Stolfi, "Primitives for the manipulation of general
// subdivisions and the computation of Voronoi diagrams", 1985), with cuts that go across and
// upright in turn (R. A. Dwyer, "A faster divide-and-conquer algorithm for constructing Delaunay
// triangulations", 1987).
//
//   1. Points are sorted along the Z-order curve. Where the codes of a stretch of it first differ a
//      line parallel to an axis cuts the stretch in two.
//   2. Up to three points are joined at once. Points that share a code are cut at halves of their
//      order by x, then y.
//   3. Two parts are merged from the lower common tangent of their hulls to the upper one.
//
// A part is a sphere at all times: a triangle with the node outside stands on each edge of its
// hull. Merging first joins two spheres by an edge, which brings two triangles, and from then on it
// flips edges: those to the node outside to fill the gap between the parts, those of the hulls to
// take away what the points beyond the gap spoil. So no triangle ever goes, and n points have
// 2 n - 2 of them in the end.
//
// Cuts in both directions keep parts compact and their hulls short. That a cut leaves parts of any
// two sizes costs at most one merge for each bit of a code.

#include "triangulation/PointDelaunay_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "triangulation/CurveOrder_Impl.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

using Math::Impl::Orientation;

constexpr int kNone = -1;

/// By x, then y.
bool IsBefore(const Vec2d& a, const Vec2d& b)
{
    return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
}

/// The same order for a plane that is turned by a quarter clockwise: by y, then falling x.
bool IsBelow(const Vec2d& a, const Vec2d& b)
{
    return a.y() != b.y() ? a.y() < b.y() : a.x() > b.x();
}

/// Coordinates below this are as good as zero: beside the largest they are too small for answers
/// without error.
double LeastMagnitude(const std::vector<Vec2d>& points)
{
    constexpr double kSmallestShare = 1e-140;
    double largest = 0;
    for (const Vec2d& p : points) {
        largest = std::max(largest, Math::Impl::LargestMagnitude(p));
    }
    return kSmallestShare * largest;
}

/// The table in the making. Triangles outside have the node outside as their last corner: their
/// first edge is one of the hull's, seen from outside.
class Merger {
public:
    Merger(const std::vector<Vec2d>& points, TriangleTable& table) : table_(table)
    {
        const auto places = PlacesAlongCurve<std::uint32_t>(points);
        const double least = LeastMagnitude(points);
        table.positions.reserve(points.size());
        table.numbers.reserve(points.size());
        codes_.reserve(points.size());
        for (const CurvePlace<std::uint32_t>& place : places) {
            const Vec2d& p = points[static_cast<std::size_t>(place.point)];
            table.positions.push_back(
                {std::fabs(p.x()) < least ? 0 : p.x(), std::fabs(p.y()) < least ? 0 : p.y()});
            table.numbers.push_back(place.point);
            codes_.push_back(place.code);
        }
    }

    /// False, with nothing built, when points repeat each other.
    bool Build()
    {
        if (SortWithinCells()) {
            return false;
        }
        const int count = table_.NodeCount();
        if (count > 1) {
            table_.triangles.reserve(2 * static_cast<std::size_t>(count) - 2);
            BuildByCode(0, count);
        }
        return true;
    }

    std::size_t Work() const { return work_; }

private:
    /// A part by its hull: a node there, and the triangle outside whose first edge leaves the node,
    /// clockwise round the part. `kNone` for a node alone.
    struct Hull {
        int node = kNone;
        int triangle = kNone;
    };

    using Triangle = TriangleTable::Triangle;

    /// From so many on a part is worth a look at the progress scope.
    static constexpr int kManyNodes = 1024;

    Triangle& At(int triangle) { return table_.At(triangle); }
    const Vec2d& Position(int node) const { return table_.Position(node); }
    int Turn(int a, int b, int c) const
    {
        return Orientation(Position(a), Position(b), Position(c));
    }

    // Of triangles outside: where their first edge starts and ends, and their neighbors, clockwise
    // round the part and back.
    int Start(int triangle) const { return table_.At(triangle).nodes[0]; }
    int End(int triangle) const { return table_.At(triangle).nodes[1]; }
    int After(int triangle) const
    {
        return TriangleTable::TriangleOf(table_.At(triangle).twins[1]);
    }
    int Before(int triangle) const
    {
        return TriangleTable::TriangleOf(table_.At(triangle).twins[2]);
    }

    int AddTriangle(int a, int b, int c)
    {
        table_.triangles.push_back({{a, b, c}, 0, {}, 0});
        return table_.TriangleCount() - 1;
    }
    int AddOutside(int start, int end) { return AddTriangle(start, end, table_.Outside()); }
    /// Makes `after` the neighbor of `before` clockwise round the part.
    void FollowUp(int before, int after)
    {
        table_.Join(TriangleTable::Half(before, 1), TriangleTable::Half(after, 2));
    }

    // --- parts ----------------------------------------------------------------------------------

    Hull BuildByCode(int first, int last);
    Hull BuildByOrder(int first, int last);
    Hull JoinFew(int first, int last);
    bool SortWithinCells();
    void SortByPosition(int first, int last);

    /// The node of a hull that comes last by the order, which rises and falls once round it.
    template <class IsEarlier>
    Hull Last(const Hull& hull, const IsEarlier& isEarlier)
    {
        if (hull.triangle == kNone) {
            return hull;
        }
        const auto rises = [&](int from, int to) {
            ++work_;
            return isEarlier(Position(from), Position(to));
        };
        int triangle = hull.triangle;
        while (rises(Start(triangle), End(triangle))) {
            triangle = After(triangle);
        }
        if (triangle == hull.triangle) {
            while (rises(Start(triangle), Start(Before(triangle)))) {
                triangle = Before(triangle);
            }
        }
        return {Start(triangle), triangle};
    }

    /// Of two parts the one that is earlier by the order, and the other.
    template <class IsEarlier>
    Hull MergeInOrder(const Hull& left, const Hull& right, const IsEarlier& isEarlier)
    {
        return Merge(Last(left, isEarlier),
                     Last(right, [&](const Vec2d& a, const Vec2d& b) { return isEarlier(b, a); }));
    }

    Hull Merge(const Hull& left, const Hull& right);
    int JoinByLowerTangent(const Hull& left, const Hull& right);
    void UncoverLeft(int outside);
    void UncoverRight(int outside);
    void FillLeft(int top, int outside);
    void FillRight(int top, int outside);

    TriangleTable& table_;
    std::vector<std::uint32_t> codes_; // by node
    std::size_t work_ = 0;
};

// --- parts --------------------------------------------------------------------------------------

Merger::Hull Merger::BuildByCode(int first, int last)
{
    if (last - first <= 3) {
        return JoinFew(first, last);
    }
    const auto code = [&](int node) { return codes_[static_cast<std::size_t>(node)]; };
    const std::uint32_t difference = code(first) ^ code(last - 1);
    if (difference == 0) {
        return BuildByOrder(first, last);
    }
    if (last - first >= kManyNodes) {
        Progress::Impl::Check();
    }
    const int bit = 31 - std::countl_zero(difference);
    const std::uint32_t cut = code(last - 1) >> bit << bit;
    const auto middle = std::lower_bound(codes_.begin() + first, codes_.begin() + last, cut);
    const int behind = static_cast<int>(middle - codes_.begin());
    const Hull low = BuildByCode(first, behind);
    const Hull high = BuildByCode(behind, last);
    // Bits of x and y alternate. Merging knows left and right; a plane turned by a quarter
    // clockwise has what was below on the left.
    return bit % 2 == 0 ? MergeInOrder(low, high, IsBefore) : MergeInOrder(low, high, IsBelow);
}

/// For points sorted by x, then y.
Merger::Hull Merger::BuildByOrder(int first, int last)
{
    if (last - first <= 3) {
        return JoinFew(first, last);
    }
    if (last - first >= kManyNodes) {
        Progress::Impl::Check();
    }
    const int middle = first + (last - first) / 2;
    const Hull left = BuildByOrder(first, middle);
    return MergeInOrder(left, BuildByOrder(middle, last), IsBefore);
}

Merger::Hull Merger::JoinFew(int first, int last)
{
    using Table = TriangleTable;
    SortByPosition(first, last);
    if (last - first == 1) {
        return {first, kNone};
    }
    const int a = first;
    const int b = first + 1;
    if (last - first == 2) {
        const int above = AddOutside(a, b);
        const int below = AddOutside(b, a);
        table_.Join(Table::Half(above, 0), Table::Half(below, 0));
        FollowUp(above, below);
        FollowUp(below, above);
        return {a, above};
    }
    int c = first + 2;
    const int turn = Turn(a, b, c);
    if (turn == 0) {
        // There along one side of the line and back along the other.
        const std::array<int, 4> round{AddOutside(a, b), AddOutside(b, c), AddOutside(c, b),
                                       AddOutside(b, a)};
        table_.Join(Table::Half(round[0], 0), Table::Half(round[3], 0));
        table_.Join(Table::Half(round[1], 0), Table::Half(round[2], 0));
        for (std::size_t k = 0; k < 4; ++k) {
            FollowUp(round[k], round[(k + 1) % 4]);
        }
        return {a, round[0]};
    }
    const int second = turn > 0 ? b : c;
    const int third = turn > 0 ? c : b;
    const int inside = AddTriangle(a, second, third);
    const std::array<int, 3> round{AddOutside(second, a), AddOutside(a, third),
                                   AddOutside(third, second)};
    for (std::size_t k = 0; k < 3; ++k) {
        FollowUp(round[k], round[(k + 1) % 3]);
    }
    table_.Join(Table::Half(inside, 0), Table::Half(round[0], 0));
    table_.Join(Table::Half(inside, 1), Table::Half(round[2], 0));
    table_.Join(Table::Half(inside, 2), Table::Half(round[1], 0));
    return {second, round[0]};
}

/// By x, then y.
void Merger::SortByPosition(int first, int last)
{
    const auto position = [&](int node) {
        return table_.positions[static_cast<std::size_t>(node)];
    };
    const auto exchange = [&](int node, int other) {
        std::swap(table_.positions[static_cast<std::size_t>(node)],
                  table_.positions[static_cast<std::size_t>(other)]);
        std::swap(table_.numbers[static_cast<std::size_t>(node)],
                  table_.numbers[static_cast<std::size_t>(other)]);
    };
    if (last - first <= 3) {
        for (int end = last; end - first > 1; --end) {
            for (int node = first; node + 1 < end; ++node) {
                if (IsBefore(position(node + 1), position(node))) {
                    exchange(node, node + 1);
                }
            }
        }
        return;
    }
    std::vector<std::pair<Vec2d, int>> sorted;
    for (int node = first; node < last; ++node) {
        sorted.emplace_back(position(node), table_.NumberOf(node));
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& a, const auto& b) { return IsBefore(a.first, b.first); });
    for (int node = first; node < last; ++node) {
        const auto place = static_cast<std::size_t>(node);
        std::tie(table_.positions[place], table_.numbers[place]) =
            sorted[static_cast<std::size_t>(node - first)];
    }
}

/// Sorts what shares a code. True when there are points that repeat each other.
bool Merger::SortWithinCells()
{
    const int count = static_cast<int>(codes_.size());
    const auto code = [&](int node) { return codes_[static_cast<std::size_t>(node)]; };
    bool hasRepeats = false;
    for (int first = 0, last = 1; first < count; first = last, ++last) {
        while (last < count && code(last) == code(first)) {
            ++last;
        }
        if (last - first > 1) {
            SortByPosition(first, last);
            const auto begin = table_.positions.begin();
            hasRepeats =
                hasRepeats || std::adjacent_find(begin + first, begin + last) != begin + last;
        }
    }
    return hasRepeats;
}

// --- merging ------------------------------------------------------------------------------------

/// From the last node of the left part, clockwise, and the first of the right one,
/// counter-clockwise, to where no node of either is below. An edge joins them there; the triangle
/// outside above it, from the left to the right.
int Merger::JoinByLowerTangent(const Hull& left, const Hull& right)
{
    const bool isLeftAlone = left.triangle == kNone;
    const bool isRightAlone = right.triangle == kNone;
    int leftNode = left.node;
    int rightNode = right.node;
    int fromLeft = left.triangle;                                // leaves the left node
    int toRight = isRightAlone ? kNone : Before(right.triangle); // arrives at the right node
    for (;;) {
        ++work_;
        if (!isLeftAlone && Turn(leftNode, End(fromLeft), rightNode) > 0) {
            fromLeft = After(fromLeft);
            leftNode = Start(fromLeft);
        } else if (!isRightAlone && Turn(rightNode, Start(toRight), leftNode) < 0) {
            rightNode = Start(toRight);
            toRight = Before(toRight);
        } else {
            break;
        }
    }
    const int toLeft = isLeftAlone ? kNone : Before(fromLeft);
    const int fromRight = isRightAlone ? kNone : After(toRight);
    const int above = AddOutside(leftNode, rightNode);
    const int below = AddOutside(rightNode, leftNode);
    table_.Join(TriangleTable::Half(above, 0), TriangleTable::Half(below, 0));
    FollowUp(isLeftAlone ? below : toLeft, above);
    FollowUp(above, isRightAlone ? below : fromRight);
    if (!isRightAlone) {
        FollowUp(toRight, below);
    }
    if (!isLeftAlone) {
        FollowUp(below, fromLeft);
    }
    return above;
}

/// Upwards from edge to edge across the gap. Beside the topmost one, on either side, triangles of
/// that part go as long as their far corner lies in the circle of the edge and the part's next
/// corner up; of the two corners left the one whose circle holds not the other makes the next
/// triangle.
Merger::Hull Merger::Merge(const Hull& left, const Hull& right)
{
    const int top = JoinByLowerTangent(left, right);
    const int outside = table_.Outside();
    for (;;) {
        const Vec2d leftPoint = Position(Start(top));
        const Vec2d rightPoint = Position(End(top));
        // The node beyond an edge of the hull, inside the part, when it lies in the circle.
        const auto isSpoiled = [&](int triangle, const Vec2d& corner) {
            const int beyond = At(triangle).twins[0];
            const int node = table_.Origin(TriangleTable::Prev(beyond));
            return node != outside && IsInCircle(leftPoint, rightPoint, corner, Position(node));
        };
        const int onLeft = Before(top);
        Vec2d leftCorner = Position(Start(onLeft));
        const bool leftRises = Orientation(leftCorner, leftPoint, rightPoint) > 0;
        while (leftRises && isSpoiled(onLeft, leftCorner)) {
            UncoverLeft(onLeft);
            leftCorner = Position(Start(onLeft));
        }
        const int onRight = After(top);
        Vec2d rightCorner = Position(End(onRight));
        const bool rightRises = Orientation(rightCorner, leftPoint, rightPoint) > 0;
        while (rightRises && isSpoiled(onRight, rightCorner)) {
            UncoverRight(onRight);
            rightCorner = Position(End(onRight));
        }
        if (!leftRises && !rightRises) {
            return {Start(top), top};
        }
        if (!leftRises ||
            (rightRises && IsInCircle(leftCorner, leftPoint, rightPoint, rightCorner))) {
            FillRight(top, onRight);
        } else {
            FillLeft(top, onLeft);
        }
    }
}

/// Flips the edge from the left corner t to the left end l of the topmost edge: of the triangle l,
/// t, x inside and the one outside there become two outside, t to x and x to l; the latter keeps
/// its place.
void Merger::UncoverLeft(int outside)
{
    using Table = TriangleTable;
    ++work_;
    const int half = At(outside).twins[0]; // from l to t
    const int next = table_.Twin(Table::Next(half));
    const int last = table_.Twin(Table::Prev(half));
    const int t = Start(outside);
    const int x = table_.Origin(Table::Prev(half));
    const int freed = Table::TriangleOf(half);
    const int before = Before(outside);
    At(freed) = {{t, x, table_.Outside()}, 0, {}, 0};
    table_.Join(Table::Half(freed, 0), next);
    FollowUp(before, freed);
    FollowUp(freed, outside);
    At(outside).nodes[0] = x;
    table_.Join(Table::Half(outside, 0), last);
}

/// The same for the edge from the right end r to the right corner q: r to x, and x to q.
void Merger::UncoverRight(int outside)
{
    using Table = TriangleTable;
    ++work_;
    const int half = At(outside).twins[0]; // from q to r
    const int next = table_.Twin(Table::Next(half));
    const int last = table_.Twin(Table::Prev(half));
    const int q = End(outside);
    const int x = table_.Origin(Table::Prev(half));
    const int freed = Table::TriangleOf(half);
    const int after = After(outside);
    At(freed) = {{x, q, table_.Outside()}, 0, {}, 0};
    table_.Join(Table::Half(freed, 0), last);
    FollowUp(outside, freed);
    FollowUp(freed, after);
    At(outside).nodes[1] = x;
    table_.Join(Table::Half(outside, 0), next);
}

/// Flips the edge from the left end to the node outside: the triangle outside on the left becomes
/// one inside, and the topmost edge starts at the left corner.
void Merger::FillLeft(int top, int outside)
{
    using Table = TriangleTable;
    ++work_;
    const int below = At(top).twins[0];
    const int inside = At(outside).twins[0];
    const int before = Before(outside);
    const int corner = Start(outside);
    At(outside).nodes = {Start(top), End(top), corner};
    table_.Join(Table::Half(outside, 0), below);
    table_.Join(Table::Half(outside, 1), Table::Half(top, 0));
    table_.Join(Table::Half(outside, 2), inside);
    At(top).nodes[0] = corner;
    FollowUp(before, top);
}

void Merger::FillRight(int top, int outside)
{
    using Table = TriangleTable;
    ++work_;
    const int below = At(top).twins[0];
    const int inside = At(outside).twins[0];
    const int after = After(outside);
    const int corner = End(outside);
    At(outside).nodes = {Start(top), End(top), corner};
    table_.Join(Table::Half(outside, 0), below);
    table_.Join(Table::Half(outside, 1), inside);
    table_.Join(Table::Half(outside, 2), Table::Half(top, 0));
    At(top).nodes[1] = corner;
    FollowUp(top, after);
}

} // namespace

// With the last of the four lifted off by as little as one likes, the test has the sign of the turn
// of the other three in its row.
bool IsInCircleByTie(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const Vec2d* last = &a;
    for (const Vec2d* point : {&b, &c, &d}) {
        last = IsBefore(*last, *point) ? point : last;
    }
    if (last == &d) {
        return false;
    }
    if (last == &a) {
        return Orientation(d, b, c) > 0;
    }
    return last == &b ? Orientation(a, d, c) > 0 : Orientation(a, b, d) > 0;
}

PointDelaunay DelaunayOfPoints(const std::vector<Vec2d>& points)
{
    PointDelaunay result;
    Merger merger(points, result.table);
    const bool isBuilt = merger.Build();
    result.work = merger.Work();
    TriangleTable& table = result.table;
    bool hasTriangles = false;
    table.leaving.resize(points.size());
    for (int t = 0; isBuilt && t < table.TriangleCount(); ++t) {
        const bool isReal = table.IsReal(t);
        hasTriangles = hasTriangles || isReal;
        for (int k = 0; k < (isReal ? 3 : 2); ++k) {
            const int half = TriangleTable::Half(t, k);
            table.leaving[static_cast<std::size_t>(table.Origin(half))] = half;
        }
    }
    if (!isBuilt) {
        result.outcome = PointDelaunay::Outcome::Repeats;
        table = {};
    } else if (hasTriangles) {
        result.outcome = PointDelaunay::Outcome::Done;
    } else {
        table = {};
    }
    return result;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
