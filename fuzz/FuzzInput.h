// Numbers out of the bytes of a fuzzer, one after the other.
#pragma once

#include "fuzz/FuzzPoints.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Fuzz {

/// Gives zeros when the bytes have come to an end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    std::size_t Left() const { return left_; }

    int Byte()
    {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return static_cast<std::int8_t>(*data_++);
    }

    /// A small integer of one byte times 1/4, of which 127 and -128 stand for NaN and infinity; or, raw,
    /// the bits of a double.
    double Coordinate(bool isRaw)
    {
        if (isRaw) {
            double value = 0;
            const std::size_t count = std::min(left_, sizeof value);
            std::memcpy(&value, data_, count);
            data_ += count;
            left_ -= count;
            return value;
        }
        const int value = Byte();
        return value == 127    ? std::numeric_limits<double>::quiet_NaN()
               : value == -128 ? std::numeric_limits<double>::infinity()
                               : value * 0.25;
    }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

} // namespace Fuzz
