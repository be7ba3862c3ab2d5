// Triangles and their half-edges on plain arrays: from an indexed mesh, its features, and the old
// nodes of a step.

#include "remesh/LinkArrays_Impl.h"

#include "foundation/EdgeUses_Impl.h"
#include "remesh/CreaseTest_Impl.h"
#include "remesh/SubdivisionMasks_Impl.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

using Parallel::Impl::ApplyParallelChunks;

bool LinkArrays::Load(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    const std::vector<int>& indices = mesh.indices;
    const auto isNode = [&](int n) { return At(n) < mesh.points.size(); };
    for (std::size_t i = 0; i < indices.size(); i += 3) {
        const int a = indices[i];
        const int b = indices[i + 1];
        const int c = indices[i + 2];
        if (!isNode(a) || !isNode(b) || !isNode(c) || a == b || b == c || c == a) {
            return false;
        }
    }

    // For each side the one that runs the same edge the other way.
    std::vector<int> mates(indices.size(), -1);
    const Sorvane::Impl::EdgeUses uses(indices);
    bool isManifold = true;
    for (std::size_t bucket = 0; bucket < uses.BucketCount() && isManifold; ++bucket) {
        uses.ForEachEdge(bucket, [&](const auto* first, const auto* last) {
            if (last - first == 2 && indices[At(first->place)] != indices[At(first[1].place)]) {
                mates[At(first->place)] = first[1].place;
                mates[At(first[1].place)] = first->place;
                // The apexes: two triangles back to back have one in common.
                isManifold = isManifold && indices[At(Before(first->place))] !=
                                               indices[At(Before(first[1].place))];
            } else if (last - first != 1) {
                isManifold = false;
            }
        });
    }
    if (!isManifold) {
        return false;
    }

    // An edge gets its number from the triangle that names it first, which runs its even half-edge.
    sides_.resize(indices.size());
    slots_.reserve(indices.size() + indices.size() / 8);
    outgoing_.assign(mesh.points.size(), -1);
    degrees_.assign(mesh.points.size(), 0);
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const int place = static_cast<int>(i);
        if (mates[i] >= 0 && mates[i] < place) {
            sides_[i] = sides_[At(mates[i])] ^ 1;
            slots_[At(sides_[i])] = place;
            continue;
        }
        const int halfEdge = static_cast<int>(slots_.size());
        const std::size_t a = At(indices[i]);
        const std::size_t b = At(indices[At(After(place))]);
        sides_[i] = halfEdge;
        slots_.push_back(place);
        slots_.push_back(-1);
        outgoing_[a] = halfEdge;
        outgoing_[b] = halfEdge + 1;
        ++degrees_[a];
        ++degrees_[b];
    }
    points_ = mesh.points;
    corners_ = indices;
    SetSpokes(corners_, [&](std::size_t place) { return mates[place]; });
    return true;
}

bool LinkArrays::DetectFeatures(double angle)
{
    isLockedNode_.assign(points_.size(), 0);
    isLockedPair_.assign(PairCount(), 0);
    double extent = 0;
    for (const Vec3d& p : points_) {
        extent = std::max({extent, std::fabs(p.x()), std::fabs(p.y()), std::fabs(p.z())});
    }
    const CreaseTest isCrease(angle);
    std::atomic<bool> isThin = false;
    ApplyParallelChunks(0, Pairs(), [&](int from, int to) {
        for (int pair = from; pair < to; ++pair) {
            const int left = slots_[At(2 * pair)];
            const int right = slots_[At(2 * pair + 1)];
            const auto at = [&](int place) -> const Vec3d& {
                return points_[At(corners_[At(place)])];
            };
            if (right < 0) {
                isLockedPair_[At(pair)] = 1;
                continue;
            }
            const std::array<Vec3d, 4> d{at(left), at(right), at(Before(left)), at(Before(right))};
            if (MayLackArea(d[0], d[1], d[2], extent) || MayLackArea(d[1], d[0], d[3], extent)) {
                isThin = true;
            }
            isLockedPair_[At(pair)] = isCrease(d[0], d[1], d[2], d[3]) ? 1 : 0;
        }
    });
    if (isThin) {
        return false;
    }
    for (int pair = 0; pair < Pairs(); ++pair) {
        if (isLockedPair_[At(pair)] != 0) {
            isLockedNode_[At(Origin(2 * pair))] = 1;
            isLockedNode_[At(Destination(2 * pair))] = 1;
        }
    }
    return true;
}

// Edges in the fan of the node's half-edge: on from it, and if that ends at a boundary, back from
// it.
int LinkArrays::FanSize(int node) const
{
    const int first = outgoing_[At(node)];
    int size = 1;
    int current = first;
    for (; slots_[At(current)] >= 0; ++size) {
        current = Around(current);
        if (current == first) {
            return size;
        }
    }
    for (current = first; slots_[At(current ^ 1)] >= 0; ++size) {
        current = AroundBack(current);
    }
    return size;
}

bool LinkArrays::HasNoLockedPinch() const
{
    for (int n = 0; n < Nodes(); ++n) {
        if (isLockedNode_[At(n)] != 0 && FanSize(n) != degrees_[At(n)]) {
            return false;
        }
    }
    return true;
}

bool LinkArrays::SmoothNodes(Vec3d (*smoothed)(const Vec3d&, const Vec3d&, int),
                             std::vector<Vec3d>& finer) const
{
    // Where feature lines run through a node: two neighbors on them at most matter.
    std::vector<Vec3d> lineSums(points_.size());
    std::vector<int> lineCounts(points_.size(), 0);
    for (int pair = 0; pair < Pairs(); ++pair) {
        if (isLockedPair_[At(pair)] != 0) {
            const std::size_t a = At(Origin(2 * pair));
            const std::size_t b = At(Destination(2 * pair));
            lineSums[a] += points_[b];
            lineSums[b] += points_[a];
            ++lineCounts[a];
            ++lineCounts[b];
        }
    }
    std::atomic<bool> hasPinch = false;
    ApplyParallelChunks(std::size_t{0}, points_.size(), [&](std::size_t from, std::size_t to) {
        for (std::size_t n = from; n < to; ++n) {
            const Vec3d& p = points_[n];
            if (outgoing_[n] < 0 || (isLockedNode_[n] != 0 && lineCounts[n] != 2)) {
                finer[n] = p;
            } else if (isLockedNode_[n] != 0) {
                finer[n] = CurveNode(p, lineSums[n]);
            } else {
                Vec3d ring;
                int count = 0;
                const int first = slots_[At(outgoing_[n])];
                int place = first;
                do {
                    const RingSpoke& spoke = spokes_[At(place)];
                    ring += points_[At(spoke.neighbor)];
                    ++count;
                    place = spoke.next;
                } while (place != first);
                finer[n] = smoothed(p, ring, count);
                if (!degrees_.empty() && count != degrees_[n]) {
                    hasPinch = true;
                }
            }
        }
    });
    return !hasPinch;
}

void LinkArrays::MoveUsed(Mesh::IndexedPointsBase<3, double>& mesh)
{
    mesh.points.swap(points_);
    mesh.indices.swap(corners_);
    std::vector<int> places(mesh.points.size(), -1);
    for (const int n : mesh.indices) {
        places[At(n)] = 0;
    }
    if (std::find(places.begin(), places.end(), -1) == places.end()) {
        return;
    }
    int count = 0;
    for (std::size_t n = 0; n < places.size(); ++n) {
        if (places[n] == 0) {
            mesh.points[At(count)] = mesh.points[n];
            places[n] = count++;
        }
    }
    mesh.points.resize(At(count));
    for (int& n : mesh.indices) {
        n = places[At(n)];
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
