// A stable sort of pairs of ints by a 64-bit key, linear in their number.
//
// Radix sort from the least significant digit up. Digits that all keys share are passed over, so
// that node numbers of ordinary meshes cost four rounds or so; a short list goes to the comparison
// sort.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Impl {

/// Key that orders by (first, second) as signed numbers. Through unsigned casts: a sign must not
/// smear over the high half.
inline std::uint64_t PairKey(int first, int second)
{
    constexpr std::uint32_t kSign = 0x80000000U;
    return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(first) ^ kSign) << 32U) |
           (static_cast<std::uint32_t>(second) ^ kSign);
}

inline constexpr int kDigitBits = 11;
inline constexpr std::size_t kDigitCount = (64 + kDigitBits - 1) / kDigitBits;
inline constexpr std::size_t kDigitValues = std::size_t{1} << kDigitBits;

inline std::size_t Digit(std::uint64_t key, std::size_t digit)
{
    return static_cast<std::size_t>(key >> (digit * kDigitBits)) & (kDigitValues - 1);
}

/// Sorts `elements` ascending by `keyOf(element)`; elements of equal key keep their order.
template <class Element, class KeyOf>
void StableSortByKey(std::vector<Element>& elements, const KeyOf& keyOf)
{
    if (elements.size() < kDigitValues) {
        std::stable_sort(elements.begin(), elements.end(),
                         [&](const Element& a, const Element& b) { return keyOf(a) < keyOf(b); });
        return;
    }
    std::vector<std::array<std::size_t, kDigitValues>> counts(kDigitCount);
    for (const Element& element : elements) {
        const std::uint64_t key = keyOf(element);
        for (std::size_t digit = 0; digit < kDigitCount; ++digit) {
            ++counts[digit][Digit(key, digit)];
        }
    }
    std::vector<Element> scattered(elements.size());
    for (std::size_t digit = 0; digit < kDigitCount; ++digit) {
        std::array<std::size_t, kDigitValues>& slot = counts[digit];
        if (slot[Digit(keyOf(elements.front()), digit)] == elements.size()) {
            continue;
        }
        std::size_t start = 0;
        for (std::size_t& count : slot) {
            start += std::exchange(count, start);
        }
        for (const Element& element : elements) {
            scattered[slot[Digit(keyOf(element), digit)]++] = element;
        }
        elements.swap(scattered);
    }
}

} // namespace Velk::Math::Sorvane::Impl
