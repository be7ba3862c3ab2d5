// Morton codes: the exported forms over the inline bit operations.

#include <Sorvane/MortonCurve_E.h>

#include "mathbase/Parallel_Impl.h"
#include "trees/MortonBits_Impl.h"

#include <Sorvane/BoundingVolumes_E.h>

namespace Velk::Math::Sorvane::Tree::MortonCurve {
namespace {

using Impl::AxisValues;
using Impl::Code;

/// fn(element) for each element, side by side.
template <class Result, class Source, class Fn>
std::vector<Result> Mapped(const std::vector<Source>& sources, const Fn& fn)
{
    std::vector<Result> results(sources.size());
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, sources.size(),
                                        [&](std::size_t from, std::size_t to) {
                                            for (std::size_t i = from; i < to; ++i) {
                                                results[i] = fn(sources[i]);
                                            }
                                        });
    return results;
}

/// `depth` outside 0 to kMaxDepth - 1 means no truncation.
template <int D>
VecBase<D, double> DecodeAt(Code code, int depth)
{
    const bool truncates = depth >= 0 && depth < static_cast<int>(Impl::kMaxDepth<D>);
    return Impl::DecodePoint<D>(
        truncates ? Impl::Truncated<D>(code, static_cast<unsigned int>(depth)) : code);
}

template <int D>
std::vector<VecBase<D, double>> DecodeAll(const std::vector<Code>& codes, int depth)
{
    return Mapped<VecBase<D, double>>(codes,
                                      [depth](Code code) { return DecodeAt<D>(code, depth); });
}

template <int D>
MatBase<1 << D, D, double> DecodeCorners(const VecBase<1 << D, Code>& codes)
{
    MatBase<1 << D, D, double> corners;
    for (int row = 0; row < corners.rows(); ++row) {
        const VecBase<D, double> corner = Impl::DecodePoint<D>(codes[row]);
        for (int axis = 0; axis < D; ++axis) {
            corners(row, axis) = corner[axis];
        }
    }
    return corners;
}

template <int D>
std::vector<Code> CodeGrid(unsigned int depth)
{
    if (depth > Impl::kMaxDepth<D>) {
        return {};
    }
    // The count is a 32-bit number: deeper grids have 2^32 cells or a multiple and come out empty.
    const auto count = static_cast<unsigned int>(Code{1} << static_cast<unsigned int>(D) * depth);
    std::vector<Code> codes(count);
    for (std::size_t cell = 0; cell < codes.size(); ++cell) {
        codes[cell] = static_cast<Code>(cell) << Impl::BitsBelow<D>(depth);
    }
    return codes;
}

/// Axis values of corner `corner` of a cell, from those of its lower corner.
template <int D>
AxisValues<D> CornerValues(AxisValues<D> values, unsigned int edge, int corner)
{
    for (std::size_t axis = 0; axis < values.size(); ++axis) {
        if (((corner >> axis) & 1) != 0) {
            values[axis] += edge;
        }
    }
    return values;
}

template <int D>
bool GetCell(Code code, unsigned int depth, VecBase<1 << D, Code>& corners, bool truncate)
{
    if (depth > Impl::kMaxDepth<D>) {
        return false;
    }
    if (truncate) {
        code = Impl::Truncated<D>(code, depth);
    }
    const unsigned int edge = Impl::CellEdges<D>::kInteger[depth];
    const AxisValues<D> lower = Impl::AllAxisValues<D>(code);
    for (const unsigned int value : lower) {
        if (value + edge >= Impl::kAxisCells<D>) {
            return false;
        }
    }
    corners[0] = code;
    for (int corner = 1; corner < corners.size(); ++corner) {
        corners[corner] = Impl::EncodeClamped<D>(CornerValues<D>(lower, edge, corner));
    }
    return true;
}

template <int D>
MatBase<1 << D, D, double> SampleCell(Code code, unsigned int depth)
{
    const unsigned int level = std::min(depth, Impl::kMaxDepth<D>);
    const VecBase<D, double> lower = Impl::DecodePoint<D>(Impl::Truncated<D>(code, level));
    const double edge = Impl::CellEdges<D>::kUnit[level];
    MatBase<1 << D, D, double> corners;
    for (int row = 0; row < corners.rows(); ++row) {
        for (int axis = 0; axis < D; ++axis) {
            corners(row, axis) = lower[axis] + (((row >> axis) & 1) != 0 ? edge : 0.0);
        }
    }
    return corners;
}

} // namespace

unsigned long long Encode2D(unsigned int x, unsigned int y)
{
    return Impl::EncodeClamped<2>({x, y});
}

unsigned long long Encode3D(unsigned int x, unsigned int y, unsigned int z)
{
    return Impl::EncodeClamped<3>({x, y, z});
}

unsigned long long Encode2D(const VecBase<2, double>& point) { return Impl::EncodePoint<2>(point); }

unsigned long long Encode3D(const VecBase<3, double>& point) { return Impl::EncodePoint<3>(point); }

std::vector<unsigned long long> Encode2D(const std::vector<VecBase<2, double>>& points)
{
    return Mapped<Code>(points, Impl::EncodePoint<2>);
}

std::vector<unsigned long long> Encode3D(const std::vector<VecBase<3, double>>& points)
{
    return Mapped<Code>(points, Impl::EncodePoint<3>);
}

template <int D, int A>
unsigned long long Encode(unsigned int value)
{
    return Impl::Spread<D>(value) << static_cast<unsigned int>(A);
}

template <int D, int A>
unsigned int Decode(unsigned long long code)
{
    return Impl::AxisValue<D, A>(code);
}

VecBase<2, double> Decode2D(unsigned long long code, int depth) { return DecodeAt<2>(code, depth); }

VecBase<3, double> Decode3D(unsigned long long code, int depth) { return DecodeAt<3>(code, depth); }

std::vector<VecBase<2, double>> Decode2D(const std::vector<unsigned long long>& codes, int depth)
{
    return DecodeAll<2>(codes, depth);
}

std::vector<VecBase<3, double>> Decode3D(const std::vector<unsigned long long>& codes, int depth)
{
    return DecodeAll<3>(codes, depth);
}

MatBase<4, 2, double> Decode2D(const VecBase<4, unsigned long long>& codes)
{
    return DecodeCorners<2>(codes);
}

MatBase<8, 3, double> Decode3D(const VecBase<8, unsigned long long>& codes)
{
    return DecodeCorners<3>(codes);
}

template <int D>
unsigned long long Truncate(unsigned long long code, unsigned int depth)
{
    return Impl::Truncated<D>(code, depth);
}

// An axis value has 31 bits in the plane and 21 in space.
constexpr unsigned int kAxisBitsLost = Impl::kMaxDepth<2> - Impl::kMaxDepth<3>;

unsigned long long Convert2Dto3D(unsigned long long code, double z)
{
    constexpr double kTop = 1.0 - 0x1p-21;
    const double height = z > 0.0 ? std::min(z, kTop) : 0.0;
    return Encode3D(Decode<2, 0>(code) >> kAxisBitsLost, Decode<2, 1>(code) >> kAxisBitsLost,
                    Impl::LowBitsOf(height * static_cast<double>(Impl::kAxisCells<3>)));
}

unsigned long long Convert3Dto2D(unsigned long long code, unsigned int* z)
{
    if (z != nullptr) {
        *z = Decode<3, 2>(code);
    }
    return Encode2D(Decode<3, 0>(code) << kAxisBitsLost, Decode<3, 1>(code) << kAxisBitsLost);
}

std::vector<unsigned long long> CodeGridAtDepth2D(unsigned int depth) { return CodeGrid<2>(depth); }

std::vector<unsigned long long> CodeGridAtDepth3D(unsigned int depth) { return CodeGrid<3>(depth); }

bool GetCell2D(unsigned long long code, unsigned int depth, VecBase<4, unsigned long long>& corners,
               bool truncate)
{
    return GetCell<2>(code, depth, corners, truncate);
}

bool GetCell3D(unsigned long long code, unsigned int depth, VecBase<8, unsigned long long>& corners,
               bool truncate)
{
    return GetCell<3>(code, depth, corners, truncate);
}

MatBase<4, 2, double> SampleCell2D(unsigned long long code, unsigned int depth)
{
    return SampleCell<2>(code, depth);
}

MatBase<8, 3, double> SampleCell3D(unsigned long long code, unsigned int depth)
{
    return SampleCell<3>(code, depth);
}

bool StepOver2D(unsigned long long& code, unsigned int depth, int stepX, int stepY)
{
    return Impl::StepOver<2>(code, depth, {stepX, stepY});
}

bool StepOver3D(unsigned long long& code, unsigned int depth, int stepX, int stepY, int stepZ)
{
    return Impl::StepOver<3>(code, depth, {stepX, stepY, stepZ});
}

template <int D>
std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<D, double>>& points,
                                           unsigned int depth)
{
    if (points.empty()) {
        return {}; // the box would be inverted
    }
    const TransformBase<D> toUnitSpace =
        Bounding::UnitSpaceMapping(Bounding::BoxOfPoints(points), 0.1, false);
    return Mapped<Code>(points, [&](const VecBase<D, double>& point) {
        return Impl::Truncated<D>(Impl::EncodePoint<D>(toUnitSpace * point), depth);
    });
}

template unsigned long long Encode<2, 0>(unsigned int);
template unsigned long long Encode<2, 1>(unsigned int);
template unsigned long long Encode<3, 0>(unsigned int);
template unsigned long long Encode<3, 1>(unsigned int);
template unsigned long long Encode<3, 2>(unsigned int);
template unsigned int Decode<2, 0>(unsigned long long);
template unsigned int Decode<2, 1>(unsigned long long);
template unsigned int Decode<3, 0>(unsigned long long);
template unsigned int Decode<3, 1>(unsigned long long);
template unsigned int Decode<3, 2>(unsigned long long);
template unsigned long long Truncate<2>(unsigned long long, unsigned int);
template unsigned long long Truncate<3>(unsigned long long, unsigned int);
template std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<2, double>>&,
                                                    unsigned int);
template std::vector<unsigned long long> MapToCurve(const std::vector<VecBase<3, double>>&,
                                                    unsigned int);

} // namespace Velk::Math::Sorvane::Tree::MortonCurve
