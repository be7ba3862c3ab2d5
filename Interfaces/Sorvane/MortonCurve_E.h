// Morton codes: points of the unit square or cube as single 64-bit integers whose order follows the
// Z-order curve, and back (G. M. Morton, 1966).
//
// Bit i of x is bit 2i of a 2D code and bit 3i of a 3D code; y stands one bit higher, z two. A 2D code has
// 31 levels of 2 bits, a 3D code 21 levels of 3 bits; the highest group is the first level under the
// root. The bits above (62 and 63, or 63) are 0 in every code made here from coordinates.
//
// The cell of depth d is the square or cube of edge 2^-d whose code, that of its lower corner, has only 0
// below the top d groups. Unit space is half open, [0, 1) on each axis; nothing checks that a point lies
// in it. A coordinate is multiplied by 2^31 (2^21), truncated, cut to 32 bits and then limited to the
// largest axis value. So 1 gives the last cell; a negative coordinate that does not truncate to 0 wraps
// before it is limited, and -0.25 gives the last cell as well; 2 in 2D and 2048 in 3D wrap to 0. NaN,
// infinities and what no 64-bit integer holds give axis value 0.
//
// All functions are pure. The forms for vectors run in parallel and keep length and order.
#pragma once

#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Tree::MortonCurve {

// --- to codes -------------------------------------------------------------------------------------

/// Code of axis values, each first limited to the largest: 0x7FFFFFFF in 2D, 0x1FFFFF in 3D.
SORVANE_API unsigned long long Encode2D(unsigned int x, unsigned int y);
SORVANE_API unsigned long long Encode3D(unsigned int x, unsigned int y, unsigned int z);

/// Code of the finest cell that holds a point of unit space.
SORVANE_API unsigned long long Encode2D(const VecBase<2, double>& point);
SORVANE_API unsigned long long Encode3D(const VecBase<3, double>& point);
SORVANE_API std::vector<unsigned long long> Encode2D(const std::vector<VecBase<2, double>>& points);
SORVANE_API std::vector<unsigned long long> Encode3D(const std::vector<VecBase<3, double>>& points);

/// The bits of axis A alone (0 is x), spread to their places. Not limited: bits above the 31st (2D) or
/// 21st (3D) fall away.
template <int D, int A> unsigned long long Encode(unsigned int value);

/// The points' codes at `depth` in their own bounding box, same order as the points.
///
/// The box is mapped into unit space with a margin of 0.1 percent and its proportions kept
/// (`Bounding::UnitSpaceMapping`). That does not scale a box whose largest extent is beyond about 1e5 in
/// space (3.2e7 in the plane): its points wrap as described above, and the codes still keep neighbors
/// together for the most part. Coincident points lie in the middle of unit space. A depth at or beyond
/// 31 (21) leaves the codes whole. Empty for no points. O(n), parallel.
template <int D>
std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<D, double>>& points,
                                           unsigned int depth);

// --- from codes -----------------------------------------------------------------------------------

/// Value of axis A (0 is x).
template <int D, int A> unsigned int Decode(unsigned long long code);

/// Lower corner, in unit space, of the cell of `depth` that holds the code. A depth outside 0 to 30 (2D)
/// or 0 to 20 (3D) means the finest cell. Exact.
SORVANE_API VecBase<2, double> Decode2D(unsigned long long code, int depth);
SORVANE_API VecBase<3, double> Decode3D(unsigned long long code, int depth);
SORVANE_API std::vector<VecBase<2, double>> Decode2D(const std::vector<unsigned long long>& codes,
                                                     int depth);
SORVANE_API std::vector<VecBase<3, double>> Decode3D(const std::vector<unsigned long long>& codes,
                                                     int depth);

/// Row i is the lower corner of the finest cell of code i.
SORVANE_API MatBase<4, 2, double> Decode2D(const VecBase<4, unsigned long long>& codes);
SORVANE_API MatBase<8, 3, double> Decode3D(const VecBase<8, unsigned long long>& codes);

/// The code without the bits below the top `depth` groups; unchanged for a depth of 31 (21) or more.
/// Bits above the first group stay.
template <int D> unsigned long long Truncate(unsigned long long code, unsigned int depth);

// --- between plane and space ----------------------------------------------------------------------

/// 3D code of the same x and y, cut to 21 bits, at the height `z` of unit space. `z` is limited to
/// [0, 1 - 2^-21]; NaN counts as 0.
SORVANE_API unsigned long long Convert2Dto3D(unsigned long long code, double z);

/// 2D code of the same x and y, the low 10 bits of each 0. Unless `z` is null it receives the height as
/// an axis value of 21 bits, not as a coordinate.
SORVANE_API unsigned long long Convert3Dto2D(unsigned long long code, unsigned int* z);

// --- cells ----------------------------------------------------------------------------------------

/// All cells of `depth`, ascending. The number of cells is cut to 32 bits: empty for a depth of 16 (2D)
/// or 11 (3D) and beyond. Depth 15 in 2D asks for 8 GiB; allocation errors pass through.
SORVANE_API std::vector<unsigned long long> CodeGridAtDepth2D(unsigned int depth);
SORVANE_API std::vector<unsigned long long> CodeGridAtDepth3D(unsigned int depth);

/// Codes of the corners of the code's cell at `depth`: corner 0 is the code, bit 0 of a corner's number
/// adds the edge to x, bit 1 to y, bit 2 to z, which is also the order of a cell's children.
///
/// With `truncate` the code is first cut to `depth`; otherwise what lies below is kept in all corners.
/// False, with `corners` left alone, for a depth beyond 31 (21), and when a corner reaches 1 on an axis,
/// where no code is: at depth 0 always.
SORVANE_API bool GetCell2D(unsigned long long code, unsigned int depth,
                           VecBase<4, unsigned long long>& corners, bool truncate);
SORVANE_API bool GetCell3D(unsigned long long code, unsigned int depth,
                           VecBase<8, unsigned long long>& corners, bool truncate);

/// The corners, in unit space, of the cell of `depth` that holds the code, one a row in the order of
/// `GetCell2D` and `GetCell3D`. Works up to the far side. A depth beyond 31 (21) counts as that.
SORVANE_API MatBase<4, 2, double> SampleCell2D(unsigned long long code, unsigned int depth);
SORVANE_API MatBase<8, 3, double> SampleCell3D(unsigned long long code, unsigned int depth);

/// Moves the code by whole cells of `depth` along the axes; bits below the depth stay as they are.
///
/// False, with the code left alone, for a depth beyond 31 (21), or when an axis would leave unit space.
/// Axes step in 32-bit arithmetic: a step of 2^32 over the integer edge of the cell comes round to where
/// it began (at depth 0 that is +2 in 2D and +2048 in 3D). Bits above the first level are lost.
SORVANE_API bool StepOver2D(unsigned long long& code, unsigned int depth, int stepX, int stepY);
SORVANE_API bool StepOver3D(unsigned long long& code, unsigned int depth, int stepX, int stepY,
                            int stepZ);

// clang-format off
extern template SORVANE_API unsigned long long Encode<2, 0>(unsigned int);
extern template SORVANE_API unsigned long long Encode<2, 1>(unsigned int);
extern template SORVANE_API unsigned long long Encode<3, 0>(unsigned int);
extern template SORVANE_API unsigned long long Encode<3, 1>(unsigned int);
extern template SORVANE_API unsigned long long Encode<3, 2>(unsigned int);
extern template SORVANE_API unsigned int Decode<2, 0>(unsigned long long);
extern template SORVANE_API unsigned int Decode<2, 1>(unsigned long long);
extern template SORVANE_API unsigned int Decode<3, 0>(unsigned long long);
extern template SORVANE_API unsigned int Decode<3, 1>(unsigned long long);
extern template SORVANE_API unsigned int Decode<3, 2>(unsigned long long);
extern template SORVANE_API unsigned long long Truncate<2>(unsigned long long, unsigned int);
extern template SORVANE_API unsigned long long Truncate<3>(unsigned long long, unsigned int);
extern template SORVANE_API std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<2, double>>&, unsigned int);
extern template SORVANE_API std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<3, double>>&, unsigned int);
// clang-format on

} // namespace Velk::Math::Sorvane::Tree::MortonCurve
