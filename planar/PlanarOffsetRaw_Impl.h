// The raw parallel of a chain: the parallel of every element and an arc about every corner, without
// those that some part of the chain nearby is surely too near to.
#pragma once

#include "planar/PlanarOffsetSource_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

struct RawOffset {
    std::vector<SegBase<double>> segments;
    std::vector<ArcBase<double>> arcs;
    /// Only cut the others.
    std::vector<SegBase<double>> cuttingSegments;
    std::vector<ArcBase<double>> cuttingArcs;
};

/// `distance` > 0. What comes nearer to the chain than `limit` everywhere may be left out.
///
/// A point of the parallel at which it comes too near to the chain has to be a cut, or a piece is
/// partly good. Where the chain comes near, its own parallel is what cuts; where there is no
/// parallel (round the ends of an open chain and on its left side, round elements without a
/// parallel), others do that are no part of the result.
RawOffset BuildRawOffset(const OffsetSource& source, double distance, double limit);

} // namespace Velk::Math::Sorvane::Planar::Impl
