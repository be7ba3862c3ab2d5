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
//   4. Faces become the triangles of a table.
//
// Cuts in both directions keep parts compact and their hulls short. That a cut leaves parts of any
// two sizes costs at most one merge for each bit of a code.

#include "triangulation/PointDelaunay_Impl.h"

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/Predicates_Impl.h"
#include "mathbase/RadixSort_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
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

/// Answer of `IsInCircle` for four points on one circle. With the last of them lifted off by as
/// little as one likes, the test has the sign of the turn of the other three in its row.
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

struct CurvePlace {
    std::uint64_t code;
    int point;
};

/// Places of points along the Z-order curve over a square grid of 2^32 cells a side.
std::vector<CurvePlace> PlacesAlongCurve(const std::vector<Vec2d>& points)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kCells = 4294967295.0;
    Vec2d low(kInfinity, kInfinity);
    Vec2d high(-kInfinity, -kInfinity);
    for (const Vec2d& p : points) {
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
    }
    const double extent = std::max(high.x() - low.x(), high.y() - low.y());
    // Each step from a coordinate to its cell keeps the order of coordinates, rounding included:
    // points in different cells are where the cells are.
    const double cellsPerUnit = extent > 0 ? std::min(kCells / extent, 1e300) : 0;
    const auto cell = [&](double coordinate, double least) {
        return static_cast<std::uint32_t>(std::min((coordinate - least) * cellsPerUnit, kCells));
    };
    std::vector<CurvePlace> places(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        using Math::Impl::SpreadBits;
        const std::uint64_t across = SpreadBits<2>(cell(points[i].x(), low.x()));
        const std::uint64_t upwards = SpreadBits<2>(cell(points[i].y(), low.y()));
        places[i] = {across | (upwards << 1U), static_cast<int>(i)};
    }
    Math::Impl::StableSortByKey(places, [](const CurvePlace& place) { return place.code; });
    return places;
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

/// The triangulation in the making: edges between points, each as two darts, and round each point
/// the ring of darts that leave it.
class EdgeRings {
public:
    explicit EdgeRings(const std::vector<Vec2d>& points)
    {
        const std::vector<CurvePlace> places = PlacesAlongCurve(points);
        const double least = LeastMagnitude(points);
        nodes_.reserve(points.size());
        codes_.reserve(points.size());
        for (const CurvePlace& place : places) {
            const Vec2d& p = points[static_cast<std::size_t>(place.point)];
            nodes_.push_back(
                {{std::fabs(p.x()) < least ? 0 : p.x(), std::fabs(p.y()) < least ? 0 : p.y()},
                 place.point});
            codes_.push_back(place.code);
        }
        // Three edges a point in the end, and some that come and go.
        darts_.reserve(6 * points.size() + 64);
    }

    /// False, with nothing built, when points repeat each other.
    bool Build()
    {
        if (SortWithinCells()) {
            return false;
        }
        outer_ = nodes_.empty() ? Hull{} : BuildByCode(0, static_cast<int>(nodes_.size()));
        return true;
    }

    std::size_t Work() const { return work_; }

    /// False when there is no triangle.
    bool WriteTriangles(TriangleTable& table);

private:
    struct Node {
        Vec2d position;
        int number;
    };

    /// Dart e and its twin e ^ 1 are an edge.
    struct Dart {
        int origin;
        int next; ///< in the ring, counter-clockwise
        int prev;
    };

    /// A part by its hull: a node there, and the dart that leaves it with the outside on its left,
    /// or `kNone` for a node alone.
    struct Hull {
        int node = kNone;
        int dart = kNone;
    };

    Dart& At(int dart) { return darts_[static_cast<std::size_t>(dart)]; }
    const Dart& At(int dart) const { return darts_[static_cast<std::size_t>(dart)]; }
    const Vec2d& Position(int node) const
    {
        return nodes_[static_cast<std::size_t>(node)].position;
    }
    int Origin(int dart) const { return At(dart).origin; }
    int Destination(int dart) const { return At(dart ^ 1).origin; }
    /// Along the face on the left.
    int After(int dart) const { return At(dart ^ 1).prev; }
    int Before(int dart) const { return At(dart).next ^ 1; }

    int Turn(int a, int b, int c) const
    {
        return Orientation(Position(a), Position(b), Position(c));
    }
    bool IsInCircleOf(int a, int b, int c, int d) const
    {
        return IsInCircle(Position(a), Position(b), Position(c), Position(d));
    }

    // --- edges ----------------------------------------------------------------------------------

    /// An edge from `origin` to `destination`, behind the given darts of their rings; `kNone` for a
    /// node without darts. The dart from the origin.
    int AddEdge(int origin, int behindAtOrigin, int destination, int behindAtDestination)
    {
        ++work_;
        int dart = freeDart_;
        if (dart != kNone) {
            freeDart_ = At(dart).next;
        } else {
            dart = static_cast<int>(darts_.size());
            darts_.resize(darts_.size() + 2);
        }
        At(dart).origin = origin;
        At(dart ^ 1).origin = destination;
        EnterRing(dart, behindAtOrigin);
        EnterRing(dart ^ 1, behindAtDestination);
        return dart;
    }

    void EnterRing(int dart, int behind)
    {
        if (behind == kNone) {
            At(dart).next = dart;
            At(dart).prev = dart;
            return;
        }
        const int next = At(behind).next;
        At(dart).next = next;
        At(dart).prev = behind;
        At(behind).next = dart;
        At(next).prev = dart;
    }

    void RemoveEdge(int dart)
    {
        for (const int side : {dart, dart ^ 1}) {
            At(At(side).prev).next = At(side).next;
            At(At(side).next).prev = At(side).prev;
            At(side).origin = kNone;
        }
        At(dart & ~1).next = freeDart_;
        freeDart_ = dart & ~1;
    }

    // --- parts ----------------------------------------------------------------------------------

    Hull BuildByCode(int first, int last);
    Hull BuildByOrder(int first, int last);
    Hull JoinFew(int first, int last);
    bool SortWithinCells();
    void SortByPosition(int first, int last);

    /// The node of a hull that comes last by the order, which rises and falls once round it.
    template <class IsEarlier>
    Hull Last(Hull hull, const IsEarlier& isEarlier)
    {
        if (hull.dart == kNone) {
            return hull;
        }
        const auto rises = [&](int from, int to) {
            ++work_;
            return isEarlier(Position(from), Position(to));
        };
        int dart = hull.dart;
        while (rises(Origin(dart), Destination(dart))) {
            dart = After(dart);
        }
        if (dart == hull.dart) {
            while (rises(Origin(dart), Origin(Before(dart)))) {
                dart = Before(dart);
            }
        }
        return {Origin(dart), dart};
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

    std::vector<Node> nodes_; // along the curve
    std::vector<std::uint64_t> codes_;
    std::vector<Dart> darts_;
    int freeDart_ = kNone; // first of a list along `next`
    Hull outer_;
    std::size_t work_ = 0;
};

// --- parts --------------------------------------------------------------------------------------

EdgeRings::Hull EdgeRings::BuildByCode(int first, int last)
{
    if (last - first <= 3) {
        return JoinFew(first, last);
    }
    const auto code = [&](int node) { return codes_[static_cast<std::size_t>(node)]; };
    const std::uint64_t difference = code(first) ^ code(last - 1);
    if (difference == 0) {
        return BuildByOrder(first, last);
    }
    const int bit = 63 - std::countl_zero(difference);
    const std::uint64_t cut = code(last - 1) >> bit << bit;
    const auto middle = std::lower_bound(codes_.begin() + first, codes_.begin() + last, cut);
    const int behind = static_cast<int>(middle - codes_.begin());
    const Hull low = BuildByCode(first, behind);
    const Hull high = BuildByCode(behind, last);
    // Bits of x and y alternate. Merging knows left and right; a plane turned by a quarter
    // clockwise has what was below on the left.
    return bit % 2 == 0 ? MergeInOrder(low, high, IsBefore) : MergeInOrder(low, high, IsBelow);
}

/// For points sorted by x, then y.
EdgeRings::Hull EdgeRings::BuildByOrder(int first, int last)
{
    if (last - first <= 3) {
        return JoinFew(first, last);
    }
    const int middle = first + (last - first) / 2;
    const Hull left = BuildByOrder(first, middle);
    return MergeInOrder(left, BuildByOrder(middle, last), IsBefore);
}

EdgeRings::Hull EdgeRings::JoinFew(int first, int last)
{
    SortByPosition(first, last);
    if (last - first == 1) {
        return {first, kNone};
    }
    const int a = first;
    const int b = first + 1;
    const int ab = AddEdge(a, kNone, b, kNone);
    if (last - first == 2) {
        return {a, ab};
    }
    const int c = first + 2;
    const int bc = AddEdge(b, ab ^ 1, c, kNone);
    const int turn = Turn(a, b, c);
    if (turn == 0) {
        return {a, ab};
    }
    AddEdge(c, bc ^ 1, a, ab);
    return turn > 0 ? Hull{b, ab ^ 1} : Hull{a, ab};
}

/// By x, then y.
void EdgeRings::SortByPosition(int first, int last)
{
    std::sort(nodes_.begin() + first, nodes_.begin() + last,
              [](const Node& a, const Node& b) { return IsBefore(a.position, b.position); });
}

/// Sorts what shares a code. True when there are points that repeat each other.
bool EdgeRings::SortWithinCells()
{
    const int count = static_cast<int>(nodes_.size());
    bool hasRepeats = false;
    for (int first = 0, last = 1; last <= count; ++last) {
        if (last < count &&
            codes_[static_cast<std::size_t>(last)] == codes_[static_cast<std::size_t>(first)]) {
            continue;
        }
        if (last - first > 1) {
            SortByPosition(first, last);
            const auto isSame = [](const Node& a, const Node& b) {
                return a.position == b.position;
            };
            hasRepeats =
                hasRepeats || std::adjacent_find(nodes_.begin() + first, nodes_.begin() + last,
                                                 isSame) != nodes_.begin() + last;
        }
        first = last;
    }
    return hasRepeats;
}

// --- merging ------------------------------------------------------------------------------------

/// From the last node of the left part, clockwise, and the first of the right one,
/// counter-clockwise, to where no node of either is below. The edge from right to left.
int EdgeRings::JoinByLowerTangent(const Hull& left, const Hull& right)
{
    int leftNode = left.node;
    int rightNode = right.node;
    int leftDart = left.dart;                                          // outside on its left
    int rightDart = right.dart == kNone ? kNone : At(right.dart).next; // outside on its right
    for (;;) {
        ++work_;
        if (leftDart != kNone && Turn(leftNode, Destination(leftDart), rightNode) > 0) {
            leftDart = After(leftDart);
            leftNode = Origin(leftDart);
        } else if (rightDart != kNone && Turn(rightNode, Destination(rightDart), leftNode) < 0) {
            rightDart = At(rightDart ^ 1).next;
            rightNode = Origin(rightDart);
        } else {
            break;
        }
    }
    return AddEdge(rightNode, rightDart == kNone ? kNone : At(rightDart).prev, leftNode, leftDart);
}

/// Upwards from edge to edge across the cut. Beyond the last one, on either side, edges of that
/// side go as long as the next node up lies in the circle of the edge across and the end of the
/// side's edge; of the ends left the one whose circle holds not the other gives the next edge.
EdgeRings::Hull EdgeRings::Merge(const Hull& left, const Hull& right)
{
    int across = JoinByLowerTangent(left, right);
    for (;;) {
        const int rightNode = Origin(across);
        const int leftNode = Destination(across);
        int leftDart = At(across ^ 1).next;
        int rightDart = At(across).prev;
        const bool leftRises = Turn(Destination(leftDart), leftNode, rightNode) > 0;
        if (leftRises) {
            for (int next = At(leftDart).next;
                 next != (across ^ 1) &&
                 IsInCircleOf(leftNode, rightNode, Destination(leftDart), Destination(next));
                 next = At(leftDart).next) {
                RemoveEdge(leftDart);
                leftDart = next;
            }
        }
        const bool rightRises = Turn(Destination(rightDart), leftNode, rightNode) > 0;
        if (rightRises) {
            for (int next = At(rightDart).prev;
                 next != across &&
                 IsInCircleOf(leftNode, rightNode, Destination(rightDart), Destination(next));
                 next = At(rightDart).prev) {
                RemoveEdge(rightDart);
                rightDart = next;
            }
        }
        if (!leftRises && !rightRises) {
            return {leftNode, across ^ 1};
        }
        const int leftEnd = Destination(leftDart);
        const int rightEnd = Destination(rightDart);
        if (!leftRises || (rightRises && IsInCircleOf(leftEnd, leftNode, rightNode, rightEnd))) {
            across = AddEdge(rightEnd, After(rightDart), leftNode, across ^ 1);
        } else {
            across = AddEdge(rightNode, After(across ^ 1), leftEnd, leftDart ^ 1);
        }
    }
}

// --- triangles ----------------------------------------------------------------------------------

/// Every face but the one outside has three darts.
bool EdgeRings::WriteTriangles(TriangleTable& table)
{
    if (outer_.dart == kNone) {
        return false;
    }
    const int outside = static_cast<int>(nodes_.size());
    table.triangles.reserve(2 * nodes_.size());
    table.leaving.resize(nodes_.size());
    std::vector<int> halves(darts_.size(), kNone); // by dart

    const auto enter = [&](int dart, int half) {
        halves[static_cast<std::size_t>(dart)] = half;
        const int beyond = halves[static_cast<std::size_t>(dart ^ 1)];
        if (beyond != kNone) {
            table.Join(half, beyond);
        }
        table.leaving[static_cast<std::size_t>(Origin(dart))] = half;
    };
    int dart = outer_.dart;
    int beforeHere = kNone; // from the node outside to where the next of the outer darts starts
    do {
        const int triangle = table.TriangleCount();
        table.triangles.push_back({{Origin(dart), Destination(dart), outside}, 0, {}, 0});
        enter(dart, TriangleTable::Half(triangle, 0));
        if (beforeHere != kNone) {
            table.Join(beforeHere, TriangleTable::Half(triangle, 2));
        }
        beforeHere = TriangleTable::Half(triangle, 1);
        dart = After(dart);
    } while (dart != outer_.dart);
    table.Join(beforeHere, TriangleTable::Half(0, 2));

    const int outerCount = table.TriangleCount();
    for (int first = 0; first < static_cast<int>(darts_.size()); ++first) {
        if (Origin(first) == kNone || halves[static_cast<std::size_t>(first)] != kNone) {
            continue;
        }
        const int second = After(first);
        const int third = After(second);
        const int triangle = table.TriangleCount();
        table.triangles.push_back({{Origin(first), Origin(second), Origin(third)}, 0, {}, 0});
        enter(first, TriangleTable::Half(triangle, 0));
        enter(second, TriangleTable::Half(triangle, 1));
        enter(third, TriangleTable::Half(triangle, 2));
    }
    table.positions.reserve(nodes_.size());
    table.numbers.reserve(nodes_.size());
    for (const Node& node : nodes_) {
        table.positions.push_back(node.position);
        table.numbers.push_back(node.number);
    }
    return table.TriangleCount() > outerCount;
}

} // namespace

bool IsInCircle(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const int side = Math::Impl::InCircle(a, b, c, d);
    return side != 0 ? side > 0 : IsInCircleByTie(a, b, c, d);
}

PointDelaunay DelaunayOfPoints(const std::vector<Vec2d>& points)
{
    PointDelaunay result;
    EdgeRings rings(points);
    if (!rings.Build()) {
        result.outcome = PointDelaunay::Outcome::Repeats;
    } else if (rings.WriteTriangles(result.table)) {
        result.outcome = PointDelaunay::Outcome::Done;
    } else {
        result.table = {};
    }
    result.work = rings.Work();
    return result;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
