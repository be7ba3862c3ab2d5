// Directed pairs: edges of triangles, canceling, chaining, each against its slow and literal twin.

#include <Sorvane/OrderedPairs_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <map>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::ConcatenateOderedPairs;
using Sorvane::MeshUtils::OrderedPairsFromTriangles;
using Sorvane::MeshUtils::RemoveCancelledPairs;
namespace Mesh = Sorvane::Mesh;

using Pair = std::array<int, 2>;
using Pairs = std::vector<Pair>;
using Chains = std::vector<std::vector<int>>;

Pairs EdgesOf(const std::vector<int>& indices)
{
    return OrderedPairsFromTriangles(Mesh::TripleIndexWrapper(indices.data(), indices.size()));
}

/// Net counts in an ordered map, the pairs written out one by one.
Pairs RemoveCancelledPairsTwin(const Pairs& pairs)
{
    std::map<Pair, int> net;
    for (const auto& [a, b] : pairs) {
        if (a != b) {
            net[{std::min(a, b), std::max(a, b)}] += a < b ? 1 : -1;
        }
    }
    Pairs result;
    for (const auto& [pair, count] : net) {
        for (int i = 0; i < std::abs(count); ++i) {
            result.push_back(count > 0 ? pair : Pair{pair[1], pair[0]});
        }
    }
    return result;
}

/// The multimap walk as it is defined, with pairs out of negative numbers left out.
Chains ConcatenateTwin(const Pairs& pairs)
{
    std::multimap<int, int> outgoing;
    for (const auto& [a, b] : pairs) {
        if (a != b && a >= 0) {
            outgoing.emplace(a, b); // behind equal keys
        }
    }
    Chains chains;
    while (!outgoing.empty()) {
        std::vector<int> chain;
        int v = outgoing.begin()->first;
        while (v >= 0) {
            chain.push_back(v);
            const auto first = outgoing.lower_bound(v);
            if (first == outgoing.end() || first->first != v) {
                break;
            }
            v = first->second;
            outgoing.erase(first);
        }
        if (!chain.empty()) {
            chains.push_back(chain);
        }
    }
    return chains;
}

Pairs RandomPairs(Support::Random& random, int count, int low, int high)
{
    Pairs pairs;
    for (int i = 0; i < count; ++i) {
        pairs.push_back({low + random.Below(high - low), low + random.Below(high - low)});
    }
    return pairs;
}

// --- edges of triangles -------------------------------------------------------------------------

TEST(OrderedPairsFromTriangles, ThreeDirectedEdgesEachInOrder)
{
    EXPECT_EQ(EdgesOf({0, 1, 2, 5, 5, 3}), (Pairs{{0, 1}, {1, 2}, {2, 0}, {5, 5}, {5, 3}, {3, 5}}));
}

TEST(OrderedPairsFromTriangles, EmptyRange)
{
    EXPECT_TRUE(OrderedPairsFromTriangles(Mesh::TripleIndexWrapper()).empty());
    EXPECT_TRUE(EdgesOf({}).empty());
}

TEST(OrderedPairsFromTriangles, TakesTheViewsOfMeshes)
{
    Mesh::IndexedPointsBase<3, double> part;
    part.indices = {0, 1, 2};
    Mesh::IndexedPointsBase<2, long long> grid;
    grid.indices = {7, 8, 9};
    EXPECT_EQ(OrderedPairsFromTriangles(Mesh::TriangleIndexWrapper<3, double>(part)),
              (Pairs{{0, 1}, {1, 2}, {2, 0}}));
    EXPECT_EQ(OrderedPairsFromTriangles(Mesh::TriangleIndexWrapper<2, long long>(grid)),
              (Pairs{{7, 8}, {8, 9}, {9, 7}}));
}

// --- canceling ----------------------------------------------------------------------------------

TEST(RemoveCancelledPairs, SharedEdgeOfTwoTrianglesGoes)
{
    // A square of two triangles keeps its four sides, ascending by (smaller, larger).
    EXPECT_EQ(RemoveCancelledPairs(EdgesOf({0, 1, 2, 0, 2, 3})),
              (Pairs{{0, 1}, {3, 0}, {1, 2}, {2, 3}}));
}

TEST(RemoveCancelledPairs, ClosedTetrahedronLeavesNothing)
{
    EXPECT_TRUE(RemoveCancelledPairs(EdgesOf({0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3})).empty());
}

TEST(RemoveCancelledPairs, SameDirectedPairTwiceGivesTwoCopies)
{
    EXPECT_EQ(RemoveCancelledPairs({{4, 2}, {4, 2}}), (Pairs{{4, 2}, {4, 2}}));
    EXPECT_EQ(RemoveCancelledPairs({{4, 2}, {2, 4}, {4, 2}, {4, 2}}), (Pairs{{4, 2}, {4, 2}}));
}

TEST(RemoveCancelledPairs, EqualNumbersVanish)
{
    EXPECT_TRUE(RemoveCancelledPairs({{3, 3}, {-1, -1}}).empty());
    EXPECT_TRUE(RemoveCancelledPairs({}).empty());
}

TEST(RemoveCancelledPairs, NegativeAndExtremeNumbersSortAsSigned)
{
    EXPECT_EQ(RemoveCancelledPairs({{5, 6}, {INT_MAX, INT_MIN}, {-1, 0}, {2, -1}, {-2, -7}}),
              (Pairs{{INT_MAX, INT_MIN}, {-2, -7}, {-1, 0}, {2, -1}, {5, 6}}));
}

TEST(RemoveCancelledPairs, AgreesWithTheLiteralTwin)
{
    // Short and long lists take different sorts; narrow ranges cancel, wide ones hardly do.
    for (const int count : {10, 100, 2047, 2048, 20'000}) {
        for (const int range : {3, 40, 5000, 1'000'000'000}) {
            SCOPED_TRACE(testing::Message() << count << " pairs within " << range);
            Support::Random random(static_cast<std::uint64_t>(count) * 31 +
                                   static_cast<std::uint64_t>(range));
            const Pairs pairs = RandomPairs(random, count, -range / 3, range);
            EXPECT_EQ(RemoveCancelledPairs(pairs), RemoveCancelledPairsTwin(pairs));
        }
    }
}

// --- chaining -----------------------------------------------------------------------------------

TEST(ConcatenateOderedPairs, OpenChainRunsHeadToTail)
{
    EXPECT_EQ(ConcatenateOderedPairs({{1, 2}, {2, 3}, {0, 1}}), (Chains{{0, 1, 2, 3}}));
}

TEST(ConcatenateOderedPairs, ClosedLoopRepeatsItsFirstNumber)
{
    EXPECT_EQ(ConcatenateOderedPairs({{5, 3}, {9, 5}, {3, 9}}), (Chains{{3, 9, 5, 3}}));
}

TEST(ConcatenateOderedPairs, ChainStartsAtTheSmallestOutgoingNumberEvenInTheMiddle)
{
    // 1 is the smallest number with a pair, though 7 leads to it.
    EXPECT_EQ(ConcatenateOderedPairs({{7, 1}, {1, 4}}), (Chains{{1, 4}, {7, 1}}));
}

TEST(ConcatenateOderedPairs, EarlierPairIsFollowedFirst)
{
    EXPECT_EQ(ConcatenateOderedPairs({{0, 5}, {0, 2}, {5, 6}}), (Chains{{0, 5, 6}, {0, 2}}));
    EXPECT_EQ(ConcatenateOderedPairs({{0, 2}, {0, 5}, {5, 6}}), (Chains{{0, 2}, {0, 5, 6}}));
}

TEST(ConcatenateOderedPairs, FigureEightThroughTheStartIsOneChain)
{
    EXPECT_EQ(ConcatenateOderedPairs({{0, 1}, {1, 0}, {0, 2}, {2, 0}}), (Chains{{0, 1, 0, 2, 0}}));
}

TEST(ConcatenateOderedPairs, PinchElsewhereFollowsTheOrderOfTheList)
{
    // Loop 0-1-0 and loop 1-2-1 meet at 1. Where the way home comes first, the other loop is left
    // over.
    EXPECT_EQ(ConcatenateOderedPairs({{0, 1}, {1, 0}, {1, 2}, {2, 1}}),
              (Chains{{0, 1, 0}, {1, 2, 1}}));
    EXPECT_EQ(ConcatenateOderedPairs({{0, 1}, {1, 2}, {1, 0}, {2, 1}}), (Chains{{0, 1, 2, 1, 0}}));
}

TEST(ConcatenateOderedPairs, EqualNumbersVanish)
{
    EXPECT_TRUE(ConcatenateOderedPairs({{3, 3}}).empty());
    EXPECT_TRUE(ConcatenateOderedPairs({}).empty());
    EXPECT_EQ(ConcatenateOderedPairs({{3, 3}, {3, 4}}), (Chains{{3, 4}}));
}

TEST(ConcatenateOderedPairs, NegativeSecondNumberEndsTheChainUnlisted)
{
    EXPECT_EQ(ConcatenateOderedPairs({{0, 1}, {1, -1}, {1, 2}}), (Chains{{0, 1}, {1, 2}}));
    EXPECT_EQ(ConcatenateOderedPairs({{4, -7}}), (Chains{{4}}));
}

TEST(ConcatenateOderedPairs, PairOutOfANegativeNumberIsDropped)
{
    EXPECT_TRUE(ConcatenateOderedPairs({{-1, 5}, {INT_MIN, -1}}).empty());
    EXPECT_EQ(ConcatenateOderedPairs({{-1, 0}, {0, 1}}), (Chains{{0, 1}}));
}

TEST(ConcatenateOderedPairs, AgreesWithTheLiteralTwin)
{
    for (const int count : {10, 100, 2048, 20'000}) {
        for (const int high : {4, 50, 5000, 1'000'000'000}) {
            SCOPED_TRACE(testing::Message() << count << " pairs up to " << high);
            Support::Random random(static_cast<std::uint64_t>(count) * 17 +
                                   static_cast<std::uint64_t>(high));
            Pairs pairs = RandomPairs(random, count, -1 - high / 50, high);
            // Chains need pairs that meet also where numbers are spread widely.
            for (std::size_t i = 1; i < pairs.size(); i += 2) {
                pairs[i][0] = pairs[i - 1][1];
            }
            EXPECT_EQ(ConcatenateOderedPairs(pairs), ConcatenateTwin(pairs));
        }
    }
}

TEST(ConcatenateOderedPairs, BoundaryOfAGridIsOneLoop)
{
    // n x n squares: the boundary has 4 n edges, and the loop starts and ends at node 0.
    const int n = 40;
    std::vector<int> indices;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const int a = i * (n + 1) + j;
            const int b = a + n + 1;
            indices.insert(indices.end(), {a, b, b + 1, a, b + 1, a + 1});
        }
    }
    const Chains loops = ConcatenateOderedPairs(RemoveCancelledPairs(EdgesOf(indices)));
    ASSERT_EQ(loops.size(), 1U);
    EXPECT_EQ(loops[0].size(), 4U * n + 1);
    EXPECT_EQ(loops[0].front(), 0);
    EXPECT_EQ(loops[0].back(), 0);
    EXPECT_EQ(std::set<int>(loops[0].begin(), loops[0].end()).size(), 4U * n);
}

} // namespace
