// The sort by whole-number keys, against the standard library's.

#include "mathbase/RadixSort_Impl.h"

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

using namespace Velk::Math::Impl;

namespace {

template <class Key>
void ExpectStable(std::size_t count, std::uint64_t mask, std::uint64_t seed)
{
    using Element = std::pair<Key, std::size_t>;
    Support::Random random(seed);
    std::vector<Element> elements(count);
    for (std::size_t i = 0; i < count; ++i) {
        elements[i] = {static_cast<Key>(random.Bits() & mask), i};
    }
    std::vector<Element> expected = elements;
    std::stable_sort(expected.begin(), expected.end(),
                     [](const Element& a, const Element& b) { return a.first < b.first; });
    StableSortByKey(elements, [](const Element& element) { return element.first; });
    EXPECT_EQ(elements, expected) << count << ' ' << mask;
}

} // namespace

TEST(RadixSort, IsStableForEveryWidthOfKeys)
{
    for (const std::size_t count : {0U, 1U, 2U, 2047U, 2048U, 2049U, 20'000U}) {
        for (const std::uint64_t mask :
             {~std::uint64_t{0}, std::uint64_t{0}, std::uint64_t{0xFF}, std::uint64_t{1} << 63U,
              std::uint64_t{0xF0000000F0000000U}}) {
            ExpectStable<std::uint64_t>(count, mask, 1);
            ExpectStable<std::uint32_t>(count, mask, 2);
            ExpectStable<std::uint16_t>(count, mask, 3);
        }
    }
}

TEST(RadixSort, PairKeyOrdersSignedPairs)
{
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kLargest = std::numeric_limits<int>::max();
    std::vector<std::pair<int, int>> pairs;
    for (const int a : {kLeast, -2, -1, 0, 1, 7, kLargest}) {
        for (const int b : {kLeast, -2, -1, 0, 1, 7, kLargest}) {
            pairs.emplace_back(a, b);
        }
    }
    for (const auto& p : pairs) {
        for (const auto& q : pairs) {
            EXPECT_EQ(PairKey(p.first, p.second) < PairKey(q.first, q.second), p < q);
            EXPECT_EQ(PairKey(p.first, p.second) == PairKey(q.first, q.second), p == q);
        }
    }
}
