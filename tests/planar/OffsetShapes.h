// What the tests of offsets start from: coordinate types, the tolerance of calls, and outlines.
#pragma once

#include "tests/planar/ChainSupport.h"

#include <initializer_list>

namespace Support {

using OffsetCoordinates = testing::Types<float, double>;

/// For shapes of size 10 or so.
template <class T>
inline constexpr T kTol = static_cast<T>(std::is_same_v<T, float> ? 1e-4 : 1e-7);

/// A closed chain whose joints match but for the rounding of arcs of that size.
template <class T>
PolyArcSegBase<T> ChainOf(std::initializer_list<ArcSegBase<T>> elements)
{
    PolyArcSegBase<T> chain;
    chain.tolerance = static_cast<T>(std::is_same_v<T, float> ? 1e-5 : 1e-9);
    chain.elements = elements;
    EXPECT_TRUE(chain.IsClosed());
    return chain;
}

/// A counter-clockwise circle in equal arcs, the first of which starts straight to the right.
template <class T>
PolyArcSegBase<T> CircleOfArcs(const Vec2d& center, double radius, int count)
{
    PolyArcSegBase<T> chain;
    chain.tolerance = kTol<T>;
    const double sweep = 2 * kHalfTurn / count;
    for (int i = 0; i < count; ++i) {
        const Vec2d spoke(radius * std::cos(i * sweep), radius * std::sin(i * sweep));
        chain.elements.emplace_back(Velk::Math::Geometry::ArcBase<T>{
            VecBase<2, T>(center), VecBase<2, T>(center + spoke), static_cast<T>(sweep * radius)});
    }
    EXPECT_TRUE(chain.IsClosed());
    return chain;
}

/// The right half of a disc of radius 5 about the origin: arc and chord, counter-clockwise.
template <class T>
PolyArcSegBase<T> HalfDisc()
{
    using namespace Velk::Math::Geometry;
    return ChainOf<T>(
        {ArcBase<T>{{0, 0}, {0, -5}, static_cast<T>(5 * kHalfTurn)}, SegBase<T>{{0, 5}, {0, -5}}});
}

/// Two square rooms with sides of `room`, joined in the middle by a slot of length 4 and width 2;
/// counter-clockwise from the origin.
template <class T>
PolyArcSegBase<T> Bone(double room)
{
    const T in = static_cast<T>(room);
    const T out = in + 4;
    const T end = out + in;
    const T low = in / 2 - 1;
    const T high = in / 2 + 1;
    return Lines<T>({{0, 0},
                     {in, 0},
                     {in, low},
                     {out, low},
                     {out, 0},
                     {end, 0},
                     {end, in},
                     {out, in},
                     {out, high},
                     {in, high},
                     {in, in},
                     {0, in},
                     {0, 0}});
}

} // namespace Support
