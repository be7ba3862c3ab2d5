// The surface of a set of octree cells.
//
// Corners lie on a lattice, and a corner's place in lexicographic order is one integer. When the
// cells' lower corners are sorted by it, so are their corners 1 to 7, each list being the first
// plus a constant: one merge of the eight lists numbers all points and meets, at the lowest corner
// of every face, the one or two cells that have the face. What would otherwise be a search for each
// corner and a sort of all faces is a single pass.

#include <Sorvane/TreeAddress_E.h>

#include "mathbase/Parallel_Impl.h"
#include "trees/MortonBits_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <limits>

namespace Velk::Math::Sorvane::Tree {
namespace {

using MortonCurve::Impl::Code;

constexpr std::size_t kCorners = 8;

/// The corners of each face in winding order, counter-clockwise from outside: bit 0 of a corner is
/// x, bit 1 y, bit 2 z. Below, above, front, back, left, right.
constexpr std::array<std::array<std::size_t, 4>, 6> kFaceCorners{
    {{2, 3, 1, 0}, {4, 5, 7, 6}, {0, 1, 5, 4}, {3, 2, 6, 7}, {2, 0, 4, 6}, {1, 3, 7, 5}}};

/// Two faces of a cell that face each other, perpendicular to one axis. Seen from the lowest corner
/// of a face, which is corner 0 of the cell on its upper side, the cell on its lower side has
/// corner `upperCorner` there.
struct FacePair {
    std::size_t lower;
    std::size_t upper;
    std::size_t upperCorner;
};

/// x, y, z: the order of the faces at a common lowest corner by their sorted corner numbers.
constexpr std::array<FacePair, 3> kFacePairs{{{4, 5, 1}, {2, 3, 2}, {0, 1, 4}}};

/// Lattice of the corners of all cells of one depth: 2^depth + 1 on each axis, with a place for
/// each that ascends with x, then y, then z. At most (2^21 + 1)^3 places, which 64 bits hold.
class CornerLattice {
public:
    explicit CornerLattice(unsigned int depth)
        : depth_(depth), line_((Code{1} << depth) + 1), slab_(line_ * line_)
    {
    }

    /// Of the cell that holds the code. Bits above the levels don't matter.
    Code PlaceOfCell(Code code) const
    {
        const auto finest = MortonCurve::Impl::AllAxisValues<3>(code);
        const unsigned int shift = MortonCurve::Impl::kMaxDepth<3> - depth_;
        return (finest[0] >> shift) * slab_ + (finest[1] >> shift) * line_ + (finest[2] >> shift);
    }

    /// What a corner's place is ahead of the cell's.
    Code Offset(std::size_t corner) const
    {
        return (corner & 1U) * slab_ + (corner >> 1U & 1U) * line_ + (corner >> 2U & 1U);
    }

    VecBase<3, double> UnitSpacePoint(Code place) const
    {
        const double edge = MortonCurve::Impl::CellEdges<3>::kUnit[depth_];
        return {static_cast<double>(place / slab_) * edge,
                static_cast<double>(place / line_ % line_) * edge,
                static_cast<double>(place % line_) * edge};
    }

private:
    unsigned int depth_;
    Code line_;
    Code slab_;
};

/// Places of the distinct cells, ascending. A cell whose code comes with and without the bit above
/// its levels counts as two.
std::vector<Code> PlacesOfCells(const std::vector<Code>& codes, const CornerLattice& lattice)
{
    std::vector<Code> places;
    places.reserve(codes.size());
    std::ptrdiff_t withoutBit = 0;
    for (const Code highestBit : {0U, 1U}) {
        withoutBit = static_cast<std::ptrdiff_t>(places.size());
        for (const Code code : codes) {
            if (code >> 63U == highestBit) {
                places.push_back(lattice.PlaceOfCell(code));
            }
        }
        const auto first = places.begin() + withoutBit;
        Parallel::Impl::ParallelSort(first, places.end(), std::less<>{});
        places.erase(std::unique(first, places.end()), places.end());
    }
    std::inplace_merge(places.begin(), places.begin() + withoutBit, places.end());
    return places;
}

struct Surface {
    std::vector<Code> pointPlaces;  ///< place of each point, ascending
    std::vector<int> cornerNumbers; ///< eight point numbers for each cell
    std::vector<std::size_t>
        faces; ///< 8 * cell + face of the outer faces, in the order of their corners
};

/// Merges the eight lists of corners of the sorted cells.
Surface MergeCorners(const std::vector<Code>& cells, const CornerLattice& lattice)
{
    Surface surface;
    surface.cornerNumbers.resize(kCorners * cells.size());
    std::array<std::size_t, kCorners>
        next{}; // of each list, the first cell whose corner is to come
    std::array<Code, kCorners> offsets{};
    for (std::size_t corner = 0; corner < kCorners; ++corner) {
        offsets[corner] = lattice.Offset(corner);
    }
    // Above every place: corner 7 of the last cell is below 2^64 - 1.
    constexpr Code kEnd = std::numeric_limits<Code>::max();
    std::array<Code, kCorners> heads = offsets;
    for (Code& head : heads) {
        head = cells.empty() ? kEnd : head + cells.front();
    }
    for (Code place = cells.empty() ? kEnd : cells.front(); place != kEnd;
         place = *std::min_element(heads.begin(), heads.end())) {
        const std::array<std::size_t, kCorners> first = next;
        const auto number = static_cast<int>(surface.pointPlaces.size());
        surface.pointPlaces.push_back(place);
        for (std::size_t corner = 0; corner < kCorners; ++corner) {
            while (heads[corner] == place) {
                surface.cornerNumbers[kCorners * next[corner] + corner] = number;
                ++next[corner];
                heads[corner] =
                    next[corner] < cells.size() ? cells[next[corner]] + offsets[corner] : kEnd;
            }
        }
        for (const FacePair& pair : kFacePairs) {
            const std::size_t onUpperSide = next[0] - first[0];
            const std::size_t onLowerSide = next[pair.upperCorner] - first[pair.upperCorner];
            if (onUpperSide + onLowerSide == 1) {
                surface.faces.push_back(onUpperSide == 1
                                            ? kCorners * first[0] + pair.lower
                                            : kCorners * first[pair.upperCorner] + pair.upper);
            }
        }
    }
    return surface;
}

} // namespace

void BuildVoxelMesh(const std::vector<unsigned long long>& codes, const VecBase<3, double>& scale,
                    const VecBase<3, double>& offset, unsigned int depth,
                    std::vector<VecBase<3, double>>& points, std::vector<int>& triangles)
{
    points.clear();
    triangles.clear();
    const unsigned int level = std::min(depth, MortonCurve::Impl::kMaxDepth<3>);
    const CornerLattice lattice(level);
    const Surface surface = MergeCorners(PlacesOfCells(codes, lattice), lattice);

    constexpr std::array<std::size_t, 6> kCutOfSquare{0, 1, 2, 0, 2, 3};
    // Room for both before either is filled: where memory ends both are empty.
    points.reserve(surface.pointPlaces.size());
    triangles.reserve(kCutOfSquare.size() * surface.faces.size());
    points.resize(surface.pointPlaces.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const VecBase<3, double> point = lattice.UnitSpacePoint(surface.pointPlaces[i]);
                for (int axis = 0; axis < 3; ++axis) {
                    points[i][axis] = point[axis] * scale[axis] + offset[axis];
                }
            }
        });

    triangles.resize(kCutOfSquare.size() * surface.faces.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, surface.faces.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const std::size_t cell = surface.faces[i] / kCorners;
                const auto& square = kFaceCorners[surface.faces[i] % kCorners];
                for (std::size_t k = 0; k < kCutOfSquare.size(); ++k) {
                    triangles[kCutOfSquare.size() * i + k] =
                        surface.cornerNumbers[kCorners * cell + square[kCutOfSquare[k]]];
                }
            }
        });
}

} // namespace Velk::Math::Sorvane::Tree
