// A stable sort by whole-number keys, linear in the number of elements.
//
// Radix sort from the least significant digit up (H. H. Seward, 1954). Digits that all keys share
// are passed over, so that node numbers of ordinary meshes cost four rounds or so; a short list
// goes to the comparison sort.
#pragma once

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Impl {

/// Key that orders by (first, second) as signed numbers. Through unsigned casts: a sign must not
/// smear over the high half.
inline std::uint64_t PairKey(int first, int second)
{
    constexpr std::uint32_t kSign = 0x80000000U;
    return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(first) ^ kSign) << 32U) |
           (static_cast<std::uint32_t>(second) ^ kSign);
}

/// Sorts `elements` ascending by `keyOf(element)`, an unsigned number of any width; elements of
/// equal key keep their order. `keyOf` is asked several times for each element. O(n) for each digit
/// of 11 bits in which keys differ; takes memory for a second list.
template <class Element, class KeyOf>
void StableSortByKey(std::vector<Element>& elements, const KeyOf& keyOf)
{
    using Key = std::remove_cvref_t<std::invoke_result_t<const KeyOf&, const Element&>>;
    static_assert(std::is_unsigned_v<Key>, "keys are unsigned; see PairKey for signed numbers");
    constexpr int kDigitBits = 11;
    constexpr std::size_t kDigitCount =
        (std::numeric_limits<Key>::digits + kDigitBits - 1) / kDigitBits;
    constexpr std::size_t kDigitValues = std::size_t{1} << kDigitBits;
    const auto digitOf = [](Key key, std::size_t digit) {
        return static_cast<std::size_t>(key >> (digit * kDigitBits)) & (kDigitValues - 1);
    };

    if (elements.size() < kDigitValues) {
        std::stable_sort(elements.begin(), elements.end(),
                         [&](const Element& a, const Element& b) { return keyOf(a) < keyOf(b); });
        return;
    }
    std::vector<std::array<std::size_t, kDigitValues>> counts(kDigitCount);
    Progress::Impl::InBlocks(elements.size(), [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            const Key key = keyOf(elements[i]);
            for (std::size_t digit = 0; digit < kDigitCount; ++digit) {
                ++counts[digit][digitOf(key, digit)];
            }
        }
    });
    std::vector<Element> scattered(elements.size());
    for (std::size_t digit = 0; digit < kDigitCount; ++digit) {
        std::array<std::size_t, kDigitValues>& slot = counts[digit];
        if (slot[digitOf(keyOf(elements.front()), digit)] == elements.size()) {
            continue;
        }
        std::size_t start = 0;
        for (std::size_t& count : slot) {
            start += std::exchange(count, start);
        }
        Progress::Impl::InBlocks(elements.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                scattered[slot[digitOf(keyOf(elements[i]), digit)]++] = elements[i];
            }
        });
        elements.swap(scattered);
    }
}

} // namespace Velk::Math::Impl
