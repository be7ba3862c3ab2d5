// One number for the bits of many values, to compare results across machines and thread counts.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace Support {

/// FNV-1a over the bytes of the values, low byte first, lengths of lists included. -0 and 0 differ, and so do
/// NaNs of different bits.
class Digest {
public:
    template <class T>
        requires(std::is_arithmetic_v<T> || std::is_enum_v<T>)
    Digest& Add(T value)
    {
        if constexpr (std::is_same_v<T, float>) {
            Word(std::bit_cast<std::uint32_t>(value), 4);
        } else if constexpr (std::is_same_v<T, double>) {
            Word(std::bit_cast<std::uint64_t>(value), 8);
        } else {
            Word(static_cast<std::uint64_t>(value), 8);
        }
        return *this;
    }
    template <int N, class T>
    Digest& Add(const Velk::Math::VecBase<N, T>& v)
    {
        for (const T x : v) {
            Add(x);
        }
        return *this;
    }
    template <class T, std::size_t N>
    Digest& Add(const std::array<T, N>& values)
    {
        for (const T& value : values) {
            Add(value);
        }
        return *this;
    }
    template <class T>
    Digest& Add(const std::vector<T>& values)
    {
        Add(values.size());
        for (const T& value : values) {
            Add(value);
        }
        return *this;
    }

    std::uint64_t Value() const { return hash_; }
    std::string Text() const
    {
        std::string text;
        for (int shift = 60; shift >= 0; shift -= 4) {
            text += "0123456789abcdef"[(hash_ >> static_cast<unsigned>(shift)) & 15U];
        }
        return text;
    }

private:
    void Word(std::uint64_t word, int bytes)
    {
        for (int i = 0; i < bytes; ++i, word >>= 8U) {
            hash_ = (hash_ ^ (word & 0xffU)) * 0x100000001b3U;
        }
    }

    std::uint64_t hash_ = 0xcbf29ce484222325U;
};

} // namespace Support
