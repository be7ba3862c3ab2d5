// The surface of a solid that is given by a function, by dual contouring on `IsoSurface::DCNode`: a
// host of these nodes, from the first sample to the last triangle.
//
//  1. Cells that the surface may pass through are split down to the finest level, and the solid is
//     sampled at their corners.
//  2. Where an edge of a cell crosses the surface the place and the normal are searched for, once
//     for the four cells around the edge.
//  3. Each cell with crossings gets a vertex, or one for each sheet of surface in it, where the
//     planes through its crossings come nearest to meeting: on edges and in corners of the solid,
//     where it has some.
//  4. Cells are merged from below where that keeps the topology and the planes.
//  5. Around each crossing edge the vertices of its four cells make two triangles, or one where a
//     larger cell lies on two of the four sides.

#include "SolidContour.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace SolidContour {

namespace {

/// A singular value below this fraction of the greatest tells no plane of its own: of a curved
/// face, or of an edge as blunt as 145 degrees.
constexpr double kPlaneTolerance = 0.1;

/// How far a vertex may lie from the center of its cell, in half edges of the cell. Where an edge
/// of the solid only grazes a cell its planes meet a little outside. To keep the vertex within
/// would notch the edge; so a few slivers beside it may fold over.
constexpr double kReach = 1.5;

/// Of the cells with samples those that no surface passes through have no vertex.
bool HasVertex(const DCNode& node) { return node.IsMeshable() && node.sampleData->meshVertex >= 0; }

/// The sheets of surface that pass through a cell: its crossed edges in groups, each of which gets
/// a vertex. Nearly always there is one. Where two corners inside lie across a face from each
/// other, and the face's other two are outside, it is the outside that goes through between them;
/// so both cells beside the face have it, whatever the rest of them looks like.
struct Sheets {
    std::array<int, 12> ofEdge{};
    int count = 0;
    bool hasTwistedFace = false; // of two corners inside across from each other, and two outside

    /// One sheet, however its faces are looked at. Both sides hang together along edges then.
    bool IsSimple() const { return count == 1 && !hasTwistedFace; }

    explicit Sheets(const DCNode& node)
    {
        const auto& value = node.sampleData->sampleValue;
        std::array<std::size_t, 8> part{0, 1, 2, 3, 4, 5, 6, 7}; // corners that hang together
        const auto join = [&](std::size_t a, std::size_t b) {
            std::replace(part.begin(), part.end(), std::size_t{part[a]}, std::size_t{part[b]});
        };
        for (int edge = 0; edge < 12; ++edge) {
            if (!node.Crossing(edge)) {
                join(Corner(edge, 0), Corner(edge, 1));
            }
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t u = std::size_t{1} << (axis + 1) % 3;
            const std::size_t v = std::size_t{1} << (axis + 2) % 3;
            for (const std::size_t low : {std::size_t{0}, std::size_t{1} << axis}) {
                for (const std::size_t a : {low, low + u}) {
                    const std::size_t b = a ^ u ^ v; // across the face
                    if (value[a] == 0 && value[b] == 0) {
                        join(a, b);
                        hasTwistedFace = hasTwistedFace || (value[a ^ u] < 0 && value[a ^ v] < 0);
                    }
                }
            }
        }
        std::array<std::pair<std::size_t, std::size_t>, 12> sides; // of each sheet
        for (int edge = 0; edge < 12; ++edge) {
            if (!node.Crossing(edge)) {
                continue;
            }
            std::pair<std::size_t, std::size_t> side = {Corner(edge, 0), Corner(edge, 1)};
            if (value[side.first] == 0) {
                std::swap(side.first, side.second);
            }
            side = {part[side.first], part[side.second]};
            const auto end = sides.begin() + count;
            const auto place = std::find(sides.begin(), end, side);
            ofEdge[static_cast<std::size_t>(edge)] = static_cast<int>(place - sides.begin());
            if (place == end) {
                *place = side;
                ++count;
            }
        }
    }

    static std::size_t Corner(int edge, int end)
    {
        return static_cast<std::size_t>(DCNode::s_EdgeNodeIdx(edge, end));
    }
};

} // namespace

Contour::Contour(const Field& field, const DCNode::Cell& cube, unsigned int level)
    : field_(field), level_(std::min(level, 15U)), root_(nullptr, cube, 0)
{
    Refine(root_);
}

// --- sampling -----------------------------------------------------------------------------------

Contour::GridPoint Contour::LowCorner(const DCNode& node) const
{
    const Vec3d corner = node.address.UnitSpacePoint(node.GetLevel()) *
                         static_cast<double>(std::uint64_t{1} << level_);
    return {static_cast<std::uint64_t>(corner.x()), static_cast<std::uint64_t>(corner.y()),
            static_cast<std::uint64_t>(corner.z())};
}

int Contour::SampleAt(const GridPoint& place)
{
    const auto [entry, isNew] =
        sampleNumbers_.try_emplace(place.Key(), static_cast<int>(samplePoints_.size()));
    if (isNew) {
        const double step = root_.halfSize / static_cast<double>(std::uint64_t{1} << level_) * 2;
        const Vec3d low = root_.center - Vec3d(root_.halfSize, root_.halfSize, root_.halfSize);
        samplePoints_.push_back(low + step * Vec3d(static_cast<double>(place.x),
                                                   static_cast<double>(place.y),
                                                   static_cast<double>(place.z)));
        sampleValues_.push_back(field_(samplePoints_.back()).distance < 0 ? -1 : 0);
    }
    return entry->second;
}

const Contour::Crossing& Contour::CrossingBetween(int inside, int outside)
{
    const auto key =
        static_cast<std::uint64_t>(inside) << 32U | static_cast<std::uint64_t>(outside);
    const auto [entry, isNew] = crossings_.try_emplace(key);
    if (isNew) {
        Vec3d in = samplePoints_[static_cast<std::size_t>(inside)];
        Vec3d out = samplePoints_[static_cast<std::size_t>(outside)];
        for (int halving = 0; halving < 50; ++halving) {
            const Vec3d middle = (in + out) * 0.5;
            (field_(middle).distance < 0 ? in : out) = middle;
        }
        entry->second = {out - root_.center, field_(out).normal};
    }
    return entry->second;
}

void Contour::Refine(DCNode& node)
{
    const double reach = std::sqrt(3.0) * node.halfSize;
    if (std::fabs(field_(node.center).distance) > reach) {
        return; // the surface is farther than the cell's corners
    }
    if (node.GetLevel() == level_) {
        AddVertices(node);
        return;
    }
    for (int i = 0; i < 8; ++i) {
        Refine(*node.EnsureChild(i, 1));
    }
}

void Contour::SampleCorners(DCNode& node)
{
    const GridPoint low = LowCorner(node);
    const std::uint64_t size = SizeOf(node);
    node.AllocateDataSpace();
    DCNode::SampleData& data = *node.sampleData;
    for (unsigned int k = 0; k < 8; ++k) {
        const int sample = SampleAt(
            {low.x + size * (k & 1U), low.y + size * (k >> 1U & 1U), low.z + size * (k >> 2U)});
        data.sampleIndex[k] = sample;
        data.sampleValue[k] = sampleValues_[static_cast<std::size_t>(sample)];
    }
}

/// A vertex for each sheet of surface that passes through a cell of the finest level.
void Contour::AddVertices(DCNode& node)
{
    SampleCorners(node);
    if (node.CrossingCount() == 0) {
        node.ReleaseDataSpace();
        return;
    }
    const Sheets sheets(node);
    crowded_ += sheets.count == 1 ? 0 : 1;
    node.sampleData->meshVertex = static_cast<int>(vertices_.size());
    for (int sheet = 0; sheet < sheets.count; ++sheet) {
        Quadric planes;
        for (int edge = 0; edge < 12; ++edge) {
            if (node.Crossing(edge) && sheets.ofEdge[static_cast<std::size_t>(edge)] == sheet) {
                auto [inside, outside] = node.GetEdgeSampleIndices(edge);
                if (sampleValues_[static_cast<std::size_t>(inside)] == 0) {
                    std::swap(inside, outside);
                }
                const Crossing& crossing = CrossingBetween(inside, outside);
                AddPlane(planes, crossing.point, crossing.normal);
            }
        }
        AddVertex(node, planes);
    }
}

/// Where the planes come nearest to meeting, in the cell or not far outside.
void Contour::AddVertex(const DCNode& node, Quadric planes)
{
    Vec3d best;
    double error = 0;
    const Vec3d mean = planes.massPoint / static_cast<double>(planes.count);
    Solve(planes, best, error, kPlaneTolerance);
    const Vec3d center = node.center - root_.center;
    const double reach = kReach * node.halfSize;
    for (int axis = 0; axis < 3; ++axis) {
        best[axis] = std::clamp(best[axis], center[axis] - reach, center[axis] + reach);
    }
    vertices_.push_back({planes, ErrorAt(planes, mean) < ErrorAt(planes, best) ? mean : best});
}

// --- merging ------------------------------------------------------------------------------------

void Contour::MergeBelow(DCNode& node, double tolerance)
{
    if (node.children.empty()) {
        return;
    }
    Quadric planes;
    bool areLeaves = true;
    bool areSimple = true;
    for (int i = 0; i < 8; ++i) {
        DCNode& child = *node.GetChild(i);
        MergeBelow(child, tolerance);
        areLeaves = areLeaves && child.children.empty();
        if (HasVertex(child)) {
            const Quadric& more =
                vertices_[static_cast<std::size_t>(child.sampleData->meshVertex)].planes;
            planes = planes.count == 0 ? more : HalfEdge::Decorations::Merge(planes, more);
            areSimple = areSimple && Sheets(child).IsSimple();
        }
    }
    if (!areLeaves || !areSimple) {
        return;
    }
    if (planes.count == 0) {
        node.DeleteChildren(); // the surface passes elsewhere
        return;
    }
    // A node doesn't take samples from fewer than four children, so the others are given some too.
    for (int i = 0; i < 8; ++i) {
        if (!node.GetChild(i)->sampleData) {
            SampleCorners(*node.GetChild(i));
        }
    }
    if (!node.TakeSamplesFromChildren()) {
        return;
    }
    if (MayStandForChildren(node)) {
        AddVertex(node, planes);
        const Vertex& vertex = vertices_.back();
        if (ErrorAt(vertex.planes, vertex.point) <= tolerance * tolerance) {
            node.sampleData->meshVertex = static_cast<int>(vertices_.size()) - 1;
            node.DeleteChildren();
            return;
        }
        vertices_.pop_back();
    }
    // Without samples a node with children tells the one above that it can't be merged.
    node.ReleaseDataSpace();
}

/// What the node itself does not look at: the middle of its face y = 0, and a second sheet.
bool Contour::MayStandForChildren(const DCNode& node)
{
    const GridPoint low = LowCorner(node);
    const std::uint64_t half = SizeOf(node) / 2;
    const int middle = SampleAt({low.x + half, low.y, low.z + half});
    const auto& corners = node.sampleData->sampleValue;
    const int value = sampleValues_[static_cast<std::size_t>(middle)];
    return (value == corners[0] || value == corners[1] || value == corners[4] ||
            value == corners[5]) &&
           Sheets(node).IsSimple();
}

// --- the surface --------------------------------------------------------------------------------

/// The leaf over the finest cell whose low corner this is; null outside the cube. (Below 0 the
/// numbers wrap.)
const DCNode* Contour::LeafAt(const GridPoint& place) const
{
    const std::uint64_t end = std::uint64_t{1} << level_;
    if (place.x >= end || place.y >= end || place.z >= end) {
        return nullptr;
    }
    const DCNode* node = &root_;
    while (!node->children.empty()) {
        const unsigned int shift = level_ - node->GetLevel() - 1;
        node = node->GetChild(static_cast<int>((place.x >> shift & 1U) |
                                               (place.y >> shift & 1U) << 1U |
                                               (place.z >> shift & 1U) << 2U));
    }
    return node;
}

/// Faces across the edges that leave a corner inside the solid: so each edge has its turn once, and
/// the cells around it follow each other counter-clockwise seen from outside.
void Contour::AddFacesAround(const GridPoint& place, Part& part) const
{
    std::array<const DCNode*, 8> cells{};
    for (unsigned int k = 0; k < 8; ++k) {
        cells[k] =
            LeafAt({place.x - 1 + (k & 1U), place.y - 1 + (k >> 1U & 1U), place.z - 1 + (k >> 2U)});
        if (cells[k] == nullptr) {
            return; // on the cube's faces, where no corner of a solid should be
        }
    }
    for (int spindle = 0; spindle < 6; ++spindle) {
        Vec3d direction;
        const std::vector<DCNode::OctantEdge> around = IsoSurface::GetRelativeSpindleNeighbors(
            cells[0], cells[1], cells[2], cells[3], cells[4], cells[5], cells[6], cells[7],
            direction, spindle);
        // The edge is that of the smallest cell, and it begins here if that cell has a corner here.
        const DCNode::OctantEdge smallest =
            *std::max_element(around.begin(), around.end(), [](const auto& a, const auto& b) {
                return a.node->GetLevel() < b.node->GetLevel();
            });
        const bool isCorner = ((place.x | place.y | place.z) & (SizeOf(*smallest.node) - 1)) == 0;
        if (isCorner && smallest.node->Crossing(smallest.edge)) {
            AddFace(around, direction, part);
        }
    }
}

/// Shall a face of four vertices be cut from its second to its last one? Seen along the edge it may
/// have a notch, and must be cut there, or else a triangle folds back. If not, it is cut along an
/// edge of the solid, where more planes meet, or by the shorter way.
bool Contour::IsBetterFromSecond(const std::vector<int>& face, const Vec3d& direction) const
{
    const auto at = [&](std::size_t i) -> const Vertex& {
        return vertices_[static_cast<std::size_t>(face[i % 4])];
    };
    // Of the two triangles of a cut the one that is thinner, seen along the edge.
    const auto least = [&](std::size_t from) {
        const auto area = [&](std::size_t i) {
            return (at(i + 1).point - at(i).point) ^ (at(i + 2).point - at(i).point);
        };
        return std::min(area(from) * direction, area(from + 2) * direction);
    };
    const double thinnest = 1e-3 * std::max(least(0), least(1));
    if (least(0) <= thinnest || least(1) <= thinnest) {
        return least(1) > least(0);
    }
    const int planes02 = at(0).planes.rank + at(2).planes.rank;
    const int planes13 = at(1).planes.rank + at(3).planes.rank;
    return planes13 > planes02 || (planes13 == planes02 && Length(at(1).point - at(3).point) <
                                                               Length(at(0).point - at(2).point));
}

void Contour::AddFace(const std::vector<DCNode::OctantEdge>& around, const Vec3d& direction,
                      Part& part) const
{
    std::vector<int> face; // a larger cell may lie on two sides of the edge
    for (const DCNode::OctantEdge& cell : around) {
        if (!HasVertex(*cell.node)) {
            return; // the surface crosses the middle of an edge of a cell that has not noticed it
        }
        // Merged cells have one sheet. Of those that share the edge as it is the number is theirs.
        const int sheet = Sheets(*cell.node).ofEdge[static_cast<std::size_t>(cell.edge)];
        const int vertex = cell.node->sampleData->meshVertex + sheet;
        if (face.empty() || (vertex != face.back() && vertex != face.front())) {
            face.push_back(vertex);
        }
    }
    if (face.size() == 4 && IsBetterFromSecond(face, direction)) {
        std::rotate(face.begin(), face.begin() + 1, face.end());
    }
    if (face.size() == 4) {
        part.indices.insert(part.indices.end(), {face[0], face[2], face[3]});
    }
    if (face.size() >= 3) {
        part.indices.insert(part.indices.end(), {face[0], face[1], face[2]});
    }
}

Part Contour::Surface() const
{
    Part part;
    std::unordered_set<std::uint64_t> done; // corners
    std::vector<const DCNode*> open{&root_};
    while (!open.empty()) {
        const DCNode& node = *open.back();
        open.pop_back();
        for (int i = 0; i < 8 && !node.children.empty(); ++i) {
            open.push_back(node.GetChild(i));
        }
        const GridPoint low = LowCorner(node);
        const std::uint64_t size = SizeOf(node);
        for (unsigned int k = 0; k < 8 && HasVertex(node); ++k) {
            const GridPoint corner{low.x + size * (k & 1U), low.y + size * (k >> 1U & 1U),
                                   low.z + size * (k >> 2U)};
            // By their places: in a merged cell several corners may have the sample of its center.
            if (node.sampleData->sampleValue[k] < 0 && done.insert(corner.Key()).second) {
                AddFacesAround(corner, part);
            }
        }
    }
    std::vector<int> numbers(vertices_.size(), -1); // merged cells have left theirs behind
    for (int& index : part.indices) {
        int& number = numbers[static_cast<std::size_t>(index)];
        if (number < 0) {
            number = static_cast<int>(part.points.size());
            part.points.push_back(vertices_[static_cast<std::size_t>(index)].point + root_.center);
        }
        index = number;
    }
    return part;
}

std::size_t Contour::CellCount() const
{
    std::size_t count = 0;
    std::vector<const DCNode*> open{&root_};
    while (!open.empty()) {
        const DCNode& node = *open.back();
        open.pop_back();
        count += HasVertex(node) ? 1 : 0;
        for (int i = 0; i < 8 && !node.children.empty(); ++i) {
            open.push_back(node.GetChild(i));
        }
    }
    return count;
}

} // namespace SolidContour
