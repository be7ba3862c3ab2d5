// The functions of Morton codes for one dimension under common names, random axis values, and the
// cell of a code by division.
#pragma once

#include <Sorvane/MortonCurve_E.h>

#include "tests/support/TestSupport.h"
#include "tests/trees/BitReference.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace Support {

namespace MortonCurve = Velk::Math::Sorvane::Tree::MortonCurve;
using Velk::Math::MatBase;
using Velk::Math::VecBase;
using Code = unsigned long long;

inline constexpr unsigned int kTop2 = 0x7FFFFFFFU;
inline constexpr unsigned int kTop3 = 0x1FFFFFU;

/// The functions for one dimension under common names.
template <int Dimension>
struct MortonForm;

template <>
struct MortonForm<2> {
    static constexpr int D = 2;
    static constexpr unsigned int kDepth = 31;
    static constexpr unsigned int kTop = kTop2;
    using Corners = VecBase<4, Code>;
    using Samples = MatBase<4, 2, double>;
    static Code EncodeAxes(const Axes<2>& v) { return MortonCurve::Encode2D(v[0], v[1]); }
    static Axes<2> DecodeAxes(Code c)
    {
        return {MortonCurve::Decode<2, 0>(c), MortonCurve::Decode<2, 1>(c)};
    }
    template <class Argument>
    static auto EncodePoints(const Argument& a)
    {
        return MortonCurve::Encode2D(a);
    }
    template <class Argument>
    static auto DecodePoints(const Argument& a, int depth)
    {
        return MortonCurve::Decode2D(a, depth);
    }
    static Samples DecodeCorners(const Corners& corners) { return MortonCurve::Decode2D(corners); }
    static auto Grid(unsigned int depth) { return MortonCurve::CodeGridAtDepth2D(depth); }
    static bool Cell(Code c, unsigned int depth, Corners& out, bool truncate)
    {
        return MortonCurve::GetCell2D(c, depth, out, truncate);
    }
    static Samples Sample(Code c, unsigned int depth)
    {
        return MortonCurve::SampleCell2D(c, depth);
    }
    static bool Step(Code& c, unsigned int depth, const std::array<int, 2>& s)
    {
        return MortonCurve::StepOver2D(c, depth, s[0], s[1]);
    }
};

template <>
struct MortonForm<3> {
    static constexpr int D = 3;
    static constexpr unsigned int kDepth = 21;
    static constexpr unsigned int kTop = kTop3;
    using Corners = VecBase<8, Code>;
    using Samples = MatBase<8, 3, double>;
    static Code EncodeAxes(const Axes<3>& v) { return MortonCurve::Encode3D(v[0], v[1], v[2]); }
    static Axes<3> DecodeAxes(Code c)
    {
        return {MortonCurve::Decode<3, 0>(c), MortonCurve::Decode<3, 1>(c),
                MortonCurve::Decode<3, 2>(c)};
    }
    template <class Argument>
    static auto EncodePoints(const Argument& a)
    {
        return MortonCurve::Encode3D(a);
    }
    template <class Argument>
    static auto DecodePoints(const Argument& a, int depth)
    {
        return MortonCurve::Decode3D(a, depth);
    }
    static Samples DecodeCorners(const Corners& corners) { return MortonCurve::Decode3D(corners); }
    static auto Grid(unsigned int depth) { return MortonCurve::CodeGridAtDepth3D(depth); }
    static bool Cell(Code c, unsigned int depth, Corners& out, bool truncate)
    {
        return MortonCurve::GetCell3D(c, depth, out, truncate);
    }
    static Samples Sample(Code c, unsigned int depth)
    {
        return MortonCurve::SampleCell3D(c, depth);
    }
    static bool Step(Code& c, unsigned int depth, const std::array<int, 3>& s)
    {
        return MortonCurve::StepOver3D(c, depth, s[0], s[1], s[2]);
    }
};

template <int D>
Axes<D> RandomAxes(Random& random, bool withinLevels)
{
    Axes<D> values{};
    for (unsigned int& value : values) {
        value = static_cast<unsigned int>(random.Bits());
        if (withinLevels) {
            value &= (1U << BitsPerAxis(D)) - 1;
        }
    }
    return values;
}

/// Lower corner of the cell of `depth` that holds the code, by division.
template <int D>
VecBase<D, double> LowerCorner(Code code, int depth)
{
    const Axes<D> values = Separated<D>(code);
    VecBase<D, double> corner;
    for (int axis = 0; axis < D; ++axis) {
        const double finest = std::ldexp(
            static_cast<double>(values[static_cast<std::size_t>(axis)]), -BitsPerAxis(D));
        corner[axis] = std::ldexp(std::floor(std::ldexp(finest, depth)), -depth);
    }
    return corner;
}

} // namespace Support
