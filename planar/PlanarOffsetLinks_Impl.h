// Chains out of the pieces of an offset that are left.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Pieces, and where each ends.
struct KeptPieces {
    std::vector<ArcSegBase<double>> elements;
    std::vector<VecBase<2, double>> ends;
};

/// The chains of the pieces, each in their direction: the profile lies on the left of all.
///
/// `CombineWithEnds` knows no directions, and begins with either neighbor of a piece that is too
/// short to connect two vertices. Here a chain is never turned round. Where more than two pieces
/// meet, a curve goes on with the piece that bounds the same side, and one that comes back to a
/// vertex parts there: so curves that touch in a point are two, from whichever side they do.
/// Pieces that run along each other in opposite directions, as in a slot of exactly the width of
/// the tool, are center lines: one of them stays, as a chain of its own. Two different pieces
/// between the same two ends make a closed curve, and so does a piece that leads away from a vertex
/// and back to it; those come last. Chains of such places that are no longer than `crumb` are left
/// out. Expected O(n log n).
std::vector<PolyArcSegBase<double>> LinkedPieces(const KeptPieces& pieces, double tol,
                                                 double bridge, double crumb);

} // namespace Velk::Math::Sorvane::Planar::Impl
