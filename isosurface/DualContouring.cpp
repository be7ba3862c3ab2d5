// Cells of dual contouring: children of their own class, the crossings of their edges, and the test
// by which eight children become one.

#include <Sorvane/DualContouring_E.h>

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstddef>
#include <typeinfo>

namespace Velk::Math::Sorvane::IsoSurface {

namespace {

using SampleData = DCNode::SampleData;

constexpr int kEdgeCount = 12;
constexpr int kCornerCount = 8;

/// Of the eight children at least so many must have samples.
constexpr int kFewestChildrenWithSamples = 4;
/// One sheet of surface cuts off one corner (3 edges) at least; more than 6 are more than one
/// sheet.
constexpr int kFewestCrossings = 3;
constexpr int kMostCrossings = 6;

// The points of the 3 x 3 x 3 grid that eight children have in common are numbered 0 to 26 in a
// scheme of their own: layer z = 0 from 0 to 8, z = 1 from 9 to 17, z = 2 from 18 to 26, and in
// each layer first its four corners, then its middles. The node's corners are 0 to 3 and 18 to 21,
// its center is 15.

/// Which point is corner k of child c.
constexpr int kGridPoint[kCornerCount][kCornerCount] = {
    {0, 4, 5, 6, 9, 13, 14, 15},      {4, 1, 6, 7, 13, 10, 15, 16},
    {5, 6, 2, 8, 14, 15, 11, 17},     {6, 7, 8, 3, 15, 16, 17, 12},
    {9, 13, 14, 15, 18, 22, 23, 24},  {13, 10, 15, 16, 22, 19, 24, 25},
    {14, 15, 11, 17, 23, 24, 20, 26}, {15, 16, 17, 12, 24, 25, 26, 21}};
constexpr int kGridPoints = 27;
constexpr int kCenter = 15;

/// Each edge of the node: its middle, and its two ends.
constexpr int kEdgeMiddles[][3] = {{4, 0, 1},    {7, 1, 3},    {8, 2, 3},    {5, 0, 2},
                                   {22, 18, 19}, {25, 19, 21}, {26, 20, 21}, {23, 18, 20},
                                   {9, 0, 18},   {10, 1, 19},  {12, 3, 21},  {11, 2, 20}};

/// Each face of the node: its middle, and its four corners. The face y = 0 has the middle of an
/// edge in the place of its own, which would be 13. Hosts rely on what is merged by this table, and
/// so it stays.
constexpr int kFaceMiddles[][5] = {{4, 0, 1, 18, 19},  {16, 1, 3, 19, 21}, {17, 2, 3, 20, 21},
                                   {14, 0, 2, 18, 20}, {6, 0, 1, 2, 3},    {24, 18, 19, 20, 21}};

/// The corners that the center is compared with. The eighth, 21, is not among them, for the same
/// reason.
constexpr int kCornersForCenter[] = {0, 1, 2, 3, 18, 19, 20};

/// The four cells around each spindle with the numbers of their edges.
struct CellEdge {
    int cell;
    int edge;
};
constexpr CellEdge kSpindleEdges[6][4] = {
    {{2, 8}, {0, 11}, {4, 5}, {6, 0}}, {{3, 8}, {7, 0}, {5, 5}, {1, 11}},
    {{1, 9}, {5, 1}, {4, 3}, {0, 10}}, {{2, 10}, {6, 3}, {7, 1}, {3, 9}},
    {{2, 4}, {3, 2}, {1, 6}, {0, 7}},  {{4, 7}, {5, 6}, {7, 2}, {6, 4}}};

constexpr bool IsEdge(int edge) { return edge >= 0 && edge < kEdgeCount; }

/// Does the value at the middle occur among the others?
template <std::size_t N>
bool OccursAmong(const std::array<int, kGridPoints>& grid, int middle, const int (&others)[N])
{
    const auto at = [&](int point) { return grid[static_cast<std::size_t>(point)]; };
    return std::any_of(std::begin(others), std::end(others),
                       [&](int other) { return at(other) == at(middle); });
}

/// The same for rows of a middle and its neighbors, all of which must pass.
template <std::size_t Rows, std::size_t N>
bool AllOccur(const std::array<int, kGridPoints>& grid, const int (&rows)[Rows][N])
{
    const auto at = [&](int point) { return grid[static_cast<std::size_t>(point)]; };
    return std::all_of(std::begin(rows), std::end(rows), [&](const auto& row) {
        return std::any_of(std::begin(row) + 1, std::end(row),
                           [&](int other) { return at(other) == at(row[0]); });
    });
}

/// The samples of eight children, and the number of the last one that has any.
struct ChildSamples {
    std::array<std::shared_ptr<const SampleData>, kCornerCount> of;
    std::size_t last = 0;
    int count = 0;

    /// The sample at corner k of child c, for a child without samples the one at the center.
    template <class Member>
    int At(Member member, std::size_t c, std::size_t k) const
    {
        return of[c] ? ((*of[c]).*member)[k] : ((*of[last]).*member)[kCornerCount - 1 - last];
    }
};

/// The value at each point of the grid: the least that children tell, in the order in which they
/// come. An unset value counts for what it is, -3, until another one takes its place.
std::array<int, kGridPoints> GridValues(const ChildSamples& samples)
{
    std::array<int, kGridPoints> grid{};
    grid.fill(SampleData::kUnset);
    for (std::size_t c = 0; c < kCornerCount; ++c) {
        for (std::size_t k = 0; k < kCornerCount; ++k) {
            const int value = samples.At(&SampleData::sampleValue, c, k);
            int& entry = grid[static_cast<std::size_t>(kGridPoint[c][k])];
            entry = entry == SampleData::kUnset ? value : std::min(entry, value);
        }
    }
    return grid;
}

bool KeepsTopology(const std::array<int, kGridPoints>& grid)
{
    return AllOccur(grid, kEdgeMiddles) && AllOccur(grid, kFaceMiddles) &&
           OccursAmong(grid, kCenter, kCornersForCenter);
}

/// Splits the node and what is below it, which is the share from `begin` to `end` of the whole.
void SubdivideBelow(DCNode& node, unsigned int level, int flag, double begin, double end)
{
    if (node.GetLevel() >= level) {
        return;
    }
    Progress::Impl::Check(begin);
    const double share = (end - begin) / kCornerCount;
    for (int i = 0; i < kCornerCount; ++i) {
        DCNode* child = node.EnsureChild(i, static_cast<unsigned int>(flag));
        // Levels grow at each step, so that this ends: children below level 21 have level 0.
        if (child != nullptr && child->GetLevel() > node.GetLevel()) {
            SubdivideBelow(*child, level, flag, begin + i * share, begin + (i + 1) * share);
        }
    }
}

} // namespace

constinit const MatBase<12, 2, int> DCNode::s_EdgeNodeIdx{
    {0, 1}, {0, 2}, {0, 4}, {1, 3}, {1, 5}, {2, 3}, {2, 6}, {3, 7}, {4, 5}, {4, 6}, {5, 7}, {6, 7}};

// --- the node -----------------------------------------------------------------------------------

DCNode::DCNode(DCNode* parentNode, const Cell& cell, unsigned int index)
    : QOFAddressableNode(parentNode, cell, index)
{
}

DCNode::~DCNode() = default;

DCNode* DCNode::GetChild(int index) const
{
    // A vector of children may have been made by hand.
    if (index < 0 || index >= kChildCount || static_cast<std::size_t>(index) >= children.size()) {
        return nullptr;
    }
    Tree::QOFNode<3, double, 1>* child = children[static_cast<std::size_t>(index)].get();
    if (child == nullptr) {
        return nullptr;
    }
    // Nearly always of this very class, which is told faster than by a cast.
    return typeid(*child) == typeid(DCNode) ? static_cast<DCNode*>(child)
                                            : dynamic_cast<DCNode*>(child);
}

void DCNode::AllocateChild(unsigned int index, const Cell& cell)
{
    if (index < static_cast<unsigned int>(kChildCount)) {
        // The child first: a node whose list of children is there but empty would be no leaf.
        auto child = std::make_shared<DCNode>(this, cell, index);
        children.resize(kChildCount);
        children[index] = std::move(child);
    }
}

DCNode* DCNode::EnsureChild(int index, unsigned int flag)
{
    Propagate(flag);
    return GetChild(index);
}

bool DCNode::IsMeshable() const { return children.empty() && sampleData != nullptr; }

void DCNode::DeleteChildren() { children.clear(); }

void DCNode::Propagate(unsigned int flag)
{
    Split(*this, flag); // does nothing unless this is a leaf
}

void DCNode::SubdivideToLevel(unsigned int level, int flag)
{
    Progress::Impl::Stoppable([&] { SubdivideBelow(*this, level, flag, 0.0, 1.0); }, [] {});
}

unsigned int DCNode::GetLevel() const { return address.depth; }

// --- samples ------------------------------------------------------------------------------------

void DCNode::AllocateDataSpace()
{
    if (!sampleData) {
        sampleData = std::make_shared<SampleData>();
    }
}

void DCNode::ReleaseDataSpace() { sampleData.reset(); }

bool DCNode::Crossing(int edge) const
{
    if (!sampleData || !IsEdge(edge)) {
        return false;
    }
    const auto valueAt = [&](int end) {
        return sampleData->sampleValue[static_cast<std::size_t>(s_EdgeNodeIdx(edge, end))];
    };
    const int first = valueAt(0);
    const int second = valueAt(1);
    return (first < 0) != (second < 0) && first != SampleData::kUnset &&
           second != SampleData::kUnset;
}

int DCNode::CrossingCount() const
{
    int count = 0;
    for (int edge = 0; edge < kEdgeCount; ++edge) {
        count += Crossing(edge) ? 1 : 0;
    }
    return count;
}

std::pair<int, int> DCNode::GetEdgeSampleIndices(int edge) const
{
    if (!sampleData || !IsEdge(edge)) {
        return {SampleData::kNoSample, SampleData::kNoSample};
    }
    const auto indexAt = [&](int end) {
        return sampleData->sampleIndex[static_cast<std::size_t>(s_EdgeNodeIdx(edge, end))];
    };
    return {indexAt(0), indexAt(1)};
}

bool DCNode::TakeSamplesFromChildren()
{
    if (children.empty()) {
        return false;
    }
    ChildSamples samples;
    for (std::size_t i = 0; i < kCornerCount; ++i) {
        const DCNode* child = GetChild(static_cast<int>(i));
        if (child == nullptr) {
            return false;
        }
        samples.of[i] = child->sampleData;
        if (child->sampleData) {
            samples.last = i;
            ++samples.count;
        }
    }
    if (samples.count < kFewestChildrenWithSamples || !KeepsTopology(GridValues(samples))) {
        return false;
    }
    SampleData outer; // first, since a host may have let a child share the samples of this node
    for (std::size_t i = 0; i < kCornerCount; ++i) {
        outer.sampleIndex[i] = samples.At(&SampleData::sampleIndex, i, i);
        outer.sampleValue[i] = samples.At(&SampleData::sampleValue, i, i);
    }
    AllocateDataSpace();
    sampleData->sampleIndex = outer.sampleIndex;
    sampleData->sampleValue = outer.sampleValue;
    const int crossings = CrossingCount();
    if (crossings >= kFewestCrossings && crossings <= kMostCrossings) {
        return true;
    }
    ReleaseDataSpace();
    return false;
}

// --- around a grid point ------------------------------------------------------------------------

std::vector<DCNode::OctantEdge>
GetRelativeSpindleNeighbors(const DCNode* n0, const DCNode* n1, const DCNode* n2, const DCNode* n3,
                            const DCNode* n4, const DCNode* n5, const DCNode* n6, const DCNode* n7,
                            VecBase<3, double>& direction, int spindle)
{
    constexpr int kSpindleCount = 6;
    std::vector<DCNode::OctantEdge> edges(4);
    if (spindle < 0 || spindle >= kSpindleCount) {
        return edges;
    }
    direction = {0, 0, 0};
    direction[spindle / 2] = spindle % 2 == 0 ? -1 : 1;
    const std::array<const DCNode*, kCornerCount> cells{n0, n1, n2, n3, n4, n5, n6, n7};
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const CellEdge& around = kSpindleEdges[spindle][i];
        edges[i] = {cells[static_cast<std::size_t>(around.cell)], around.edge};
    }
    return edges;
}

} // namespace Velk::Math::Sorvane::IsoSurface
