// Segments forced into the triangulation of points, and what they enclose.

#include "triangulation/ConstrainedDelaunay_Impl.h"

#include "mathbase/RadixSort_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "triangulation/CrossingLevels_Impl.h"
#include "triangulation/PointDelaunay_Impl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

constexpr int kNone = -1;
constexpr std::uint32_t kCleared = 1; // stamp of triangles that a segment clears
/// Triangles made in cavities, for each node, that tell that the order of segments is a bad one.
constexpr std::size_t kManyTriangles = 32;

/// The same order in every run.
void Shuffle(std::span<std::pair<int, int>> segments)
{
    std::uint64_t random = 1;
    for (std::size_t left = segments.size(); left > 1; --left) {
        random = random * 6364136223846793005U + 1442695040888963407U;
        std::swap(segments[left - 1], segments[(random >> 33U) % left]);
    }
}

} // namespace

ConstrainedDelaunay::ConstrainedDelaunay(const std::vector<Vec2d>& points, double floor)
    : floor_(floor)
{
    PointDelaunay delaunay = DelaunayOfPoints(points);
    work_ = delaunay.work;
    if (delaunay.outcome != PointDelaunay::Outcome::Done) {
        return; // without triangles there is nothing to insert a segment into
    }
    table_ = std::move(delaunay.table);
    nodes_.resize(points.size());
    for (int node = 0; node < table_.NodeCount(); ++node) {
        nodes_[static_cast<std::size_t>(table_.NumberOf(node))] = node;
    }
}

// --- segments -----------------------------------------------------------------------------------

void ConstrainedDelaunay::InsertSegment(int start, int end)
{
    hasSegments_ = true;
    if (!nodes_.empty()) {
        InsertBetween({NodeOf(start), NodeOf(end)});
    }
}

void ConstrainedDelaunay::InsertSegments(std::span<const std::pair<int, int>> segments)
{
    hasSegments_ = hasSegments_ || !segments.empty();
    if (nodes_.empty()) {
        return;
    }
    std::vector<Segment> sorted; // nodes are numbered along a space-filling curve
    sorted.reserve(segments.size());
    for (const auto& [start, end] : segments) {
        sorted.emplace_back(std::minmax(NodeOf(start), NodeOf(end)));
    }
    Math::Impl::StableSortByKey(
        sorted, [](const Segment& segment) { return static_cast<unsigned>(segment.first); });
    // Segments that run askew through a whole channel side by side cross most of its triangles, and
    // those that come back on the far side of each are crossed by the next one. In random order
    // they halve the channel first. The triangles are the same in any order.
    std::size_t most = cavity_.Work() + kManyTriangles * nodes_.size();
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const auto due = std::span<Segment>(sorted).subspan(i + 1);
        PrefetchAhead(due);
        InsertBetween(sorted[i]);
        if (cavity_.Work() > most) {
            Shuffle(due);
            most = std::numeric_limits<std::size_t>::max();
        }
    }
}

/// Asks the memory for the triangles where segments that are soon due begin: first for one
/// triangle, then for those beside it. Few of them have ever been looked at.
void ConstrainedDelaunay::PrefetchAhead(std::span<const Segment> due) const
{
    constexpr std::size_t kFirstTriangle = 8;
    constexpr std::size_t kNeighbors = 4;
    const auto triangleAt = [&](const Segment& segment) {
        return &table_.At(TriangleTable::TriangleOf(table_.Leaving(segment.first)));
    };
    if (due.size() > kFirstTriangle) {
        __builtin_prefetch(triangleAt(due[kFirstTriangle]));
    }
    if (due.size() > kNeighbors) {
        for (const int twin : triangleAt(due[kNeighbors])->twins) {
            __builtin_prefetch(&table_.At(TriangleTable::TriangleOf(twin)));
        }
    }
}

void ConstrainedDelaunay::InsertBetween(const Segment& segment)
{
    open_.assign(1, segment);
    // Each joint brings a chain nearer to edges that exist; should rounding ever lead it round in a
    // circle, this ends it.
    for (int left = 1000 + 4 * table_.NodeCount(); left > 0 && !open_.empty(); --left) {
        const Segment next = open_.back();
        open_.pop_back();
        InsertOpen(next);
    }
}

void ConstrainedDelaunay::InsertOpen(const Segment& segment)
{
    const auto [a, b] = segment;
    if (a == b) {
        return;
    }
    const View view{table_};
    const ChannelEnd end =
        FollowSegment(view, a, b, WithinFloorOfSegment(view, a, b, floor_), channel_);
    if (end.kind == ChannelEnd::Kind::Edge) {
        table_.SetConstrained(end.index, true);
    } else if (end.kind == ChannelEnd::Kind::Node) {
        open_.push_back({end.index, b});
        open_.push_back({a, end.index});
    } else if (end.kind == ChannelEnd::Kind::Crossed && !GiveWay(segment)) {
        Rebuild();
    }
}

double ConstrainedDelaunay::SquaredDistance(const Segment& segment, int node) const
{
    return Math::Impl::SquaredDistanceToSegment(table_.Position(segment.first),
                                                table_.Position(segment.second),
                                                table_.Position(node), Math::Impl::kPointsAreShort);
}

/// Where the segment crosses a constraint, of the four ends the one nearest to the other of the two
/// becomes a joint of that. Input was cut where it met: what crosses now was moved over an end by
/// rounding, and that end is within rounding of it. False when the segment crosses none.
bool ConstrainedDelaunay::GiveWay(const Segment& segment)
{
    const auto constraint = std::find_if(channel_.crossed.begin(), channel_.crossed.end(),
                                         [&](int half) { return table_.IsConstrained(half); });
    if (constraint == channel_.crossed.end()) {
        return false;
    }
    const auto [a, b] = segment;
    const Segment other{table_.Origin(*constraint), table_.Destination(*constraint)};
    const auto [c, d] = other;
    const std::array<std::pair<double, int>, 4> ends{
        std::pair(SquaredDistance(segment, c), c), std::pair(SquaredDistance(segment, d), d),
        std::pair(SquaredDistance(other, a), a), std::pair(SquaredDistance(other, b), b)};
    const int joint = std::min_element(ends.begin(), ends.end(), [](const auto& x, const auto& y) {
                          return x.first < y.first;
                      })->second;
    if (joint == c || joint == d) {
        open_.push_back({joint, b});
        open_.push_back({a, joint});
    } else {
        table_.SetConstrained(*constraint, false);
        open_.push_back(segment);
        open_.push_back({joint, d});
        open_.push_back({c, joint});
    }
    return true;
}

// --- the channel of a segment -------------------------------------------------------------------

/// The triangles that the segment crosses become those of the two cavities beside it.
void ConstrainedDelaunay::Rebuild()
{
    slots_.assign(1, TriangleTable::TriangleOf(channel_.crossed.front()));
    for (const int half : channel_.crossed) {
        slots_.push_back(TriangleTable::TriangleOf(table_.Twin(half)));
    }
    std::reverse(channel_.left.begin(), channel_.left.end()); // counter-clockwise, from b to a
    boundary_.clear();
    for (const std::vector<int>* side : {&channel_.left, &channel_.right}) {
        for (const int half : *side) {
            boundary_.push_back(
                {half, table_.Twin(half), table_.Origin(half), table_.IsConstrained(half), kNone});
        }
    }
    FindHangingEdges();

    const std::size_t leftCount = channel_.left.size();
    const std::span<const int> slots(slots_);
    const std::span<BoundaryEdge> boundary(boundary_);
    const int b = boundary[0].node;
    const int a = boundary[leftCount].node;
    const int leftBase = FillSide(boundary.first(leftCount), a, slots.first(leftCount - 1));
    const int rightBase = FillSide(boundary.subspan(leftCount), b, slots.subspan(leftCount - 1));
    table_.Join(leftBase, rightBase);
    table_.SetConstrained(leftBase, true);
    for (const BoundaryEdge& edge : boundary_) {
        table_.Join(edge.half, edge.partner == kNone
                                   ? edge.beyond
                                   : boundary_[static_cast<std::size_t>(edge.partner)].half);
        if (edge.isConstrained) {
            table_.SetConstrained(edge.half, true);
        }
    }
}

/// An edge that hangs into the channel has triangles of it on both sides, and is twice in its
/// boundary. Each of the two learns where the other is.
void ConstrainedDelaunay::FindHangingEdges()
{
    for (const int slot : slots_) {
        table_.At(slot).stamp = kCleared;
    }
    // The triangles go; in place of their neighbors they may hold where their edges are listed.
    for (std::size_t i = 0; i < boundary_.size(); ++i) {
        table_.SetTwin(boundary_[i].half, static_cast<int>(i));
    }
    for (BoundaryEdge& edge : boundary_) {
        if (table_.At(TriangleTable::TriangleOf(edge.beyond)).stamp == kCleared) {
            edge.partner = table_.Twin(edge.beyond);
        }
    }
}

/// Triangulates the cavity on one side, whose boundary begins and ends at the segment, into the
/// slots; `last` is the node where it ends. Each entry of the boundary learns its new half-edge.
/// The half-edge along the segment.
int ConstrainedDelaunay::FillSide(std::span<BoundaryEdge> boundary, int last,
                                  std::span<const int> slots)
{
    chain_.clear();
    for (const BoundaryEdge& edge : boundary) {
        chain_.push_back(table_.Position(edge.node));
    }
    chain_.push_back(table_.Position(last));
    const std::span<const CavityTriangles::Triangle> triangles = cavity_.Fill(chain_);

    int base = kNone;
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        TriangleTable::Triangle& triangle = table_.At(slots[t]);
        triangle.marks = 0;
        triangle.stamp = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const int half = TriangleTable::Half(slots[t], static_cast<int>(k));
            const auto place = static_cast<std::size_t>(triangles[t].nodes[k]);
            const int node = place < boundary.size() ? boundary[place].node : last;
            const int twin = triangles[t].twins[k];
            triangle.nodes[k] = node;
            table_.leaving[static_cast<std::size_t>(node)] = half;
            if (twin >= 0) {
                triangle.twins[k] = TriangleTable::Half(slots[static_cast<std::size_t>(twin >> 2)],
                                                        TriangleTable::PlaceOf(twin));
            } else if (place < boundary.size()) {
                boundary[place].half = half;
            } else {
                base = half;
            }
        }
    }
    return base;
}

// --- inside and outside -------------------------------------------------------------------------

std::vector<int> ConstrainedDelaunay::InsideTriangles() &&
{
    return TrianglesOfLevel([](int level) { return level % 2 == 1; });
}

std::vector<int> ConstrainedDelaunay::EnclosedTriangles() &&
{
    return TrianglesOfLevel([](int level) { return level > 0; });
}

/// The triangles whose number of constraints around them is wanted; without any segment all.
template <class IsWanted>
std::vector<int> ConstrainedDelaunay::TrianglesOfLevel(const IsWanted& isWanted)
{
    // What only insertion needs goes before the result is made: less memory at a time.
    table_.positions = {};
    table_.leaving = {};
    nodes_ = {};
    const int count = table_.TriangleCount();
    std::vector<int> indices(3 * table_.triangles.size());
    std::size_t written = 0;
    const auto write = [&](int t) {
        for (const int node : table_.At(t).nodes) {
            indices[written++] = table_.NumberOf(node);
        }
    };
    if (!hasSegments_) {
        for (int t = 0; t < count; ++t) {
            if (table_.IsReal(t)) {
                write(t);
            }
        }
        indices.resize(written);
        return indices;
    }
    const auto visitEdges = [&](const auto& visit) {
        for (int t = 0; t < count; ++t) {
            const TriangleTable::Triangle& triangle = table_.At(t);
            for (std::size_t k = 0; k < 3; ++k) {
                const int other = TriangleTable::TriangleOf(triangle.twins[k]);
                if (other < t) {
                    visit(t, other, ((triangle.marks >> k) & 1U) != 0);
                }
            }
        }
    };
    const auto visitOutside = [&](const auto& visit) {
        for (int t = 0; t < count; ++t) {
            if (!table_.IsReal(t)) {
                visit(t);
            }
        }
    };
    CrossingLevels levels(table_.triangles.size(), visitEdges, visitOutside);
    for (int t = 0; t < count; ++t) {
        if (isWanted(levels.Of(t))) {
            write(t);
        }
    }
    indices.resize(written);
    return indices;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
