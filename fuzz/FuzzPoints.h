// Points in the plane out of the bytes of a fuzzer.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Fuzz {

inline void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Two numbers to a point: small integers of one byte times `scale`, or with `raw` the bits of
/// floats, which may be anything. At most `most` points.
template <class T>
std::vector<Velk::Math::VecBase<2, T>> ReadPoints(const std::uint8_t* data, std::size_t size,
                                                  bool raw, double scale, std::size_t most)
{
    const std::size_t step = raw ? sizeof(float) : 1;
    std::vector<Velk::Math::VecBase<2, T>> points;
    for (std::size_t at = 0; at + 2 * step <= size && points.size() < most; at += 2 * step) {
        const auto number = [&](std::size_t place) {
            if (!raw) {
                return static_cast<T>(scale * static_cast<std::int8_t>(data[place]));
            }
            float bits = 0;
            std::memcpy(&bits, data + place, sizeof bits);
            return static_cast<T>(bits);
        };
        const T x = number(at);
        points.push_back({x, number(at + step)});
    }
    return points;
}

/// Triples of numbers of points.
inline void RequireTriples(const std::vector<int>& indices, std::size_t points)
{
    Require(indices.size() % 3 == 0);
    for (const int index : indices) {
        Require(index >= 0 && static_cast<std::size_t>(index) < points);
    }
}

} // namespace Fuzz
