// Cutting and the uniting of crossings, with any number of threads: the same bits.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace {

using namespace Velk::Math;
using Geometry::ArcBase;
using Geometry::SegBase;

template <class T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

template <class T>
struct Elements {
    std::vector<SegBase<T>> segments;
    std::vector<ArcBase<T>> arcs;
};

/// Several thousand elements, of many chunks of 512: scattered ones, a crowd that the grid splits,
/// lattice lines whose crossings are common to many, repetitions, and arcs over all of it.
template <class T>
Elements<T> Thicket()
{
    Support::Random random(31);
    Elements<T> elements;
    for (int i = 0; i < 3000; ++i) {
        const double scale = i % 3 == 0 ? 0.2 : 5;
        const VecBase<2, T> p = random.Vector<2, T>(-scale * 10, scale * 10);
        elements.segments.push_back({p, p + random.Vector<2, T>(-scale, scale)});
    }
    for (int i = 0; i < 600; ++i) {
        const auto lattice = [&] {
            return VecBase<2, T>(static_cast<T>(random.Below(9)), static_cast<T>(random.Below(9)));
        };
        elements.segments.push_back({lattice(), lattice()});
    }
    for (int i = 0; i < 700; ++i) {
        const VecBase<2, T> center = random.Vector<2, T>(-40, 40);
        const VecBase<2, T> start = center + random.Vector<2, T>(-4, 4);
        elements.arcs.push_back({center, start, static_cast<T>(random.Between(-12, 12))});
    }
    for (std::size_t i = 0; i < 100; ++i) {
        elements.arcs.push_back(elements.arcs[3 * i]);
    }
    // Crowds that no line parts: nested circles, and a fan.
    for (int i = 1; i <= 300; ++i) {
        const double angle = 0.02 * i;
        const VecBase<2, T> hub(3, 7);
        const VecBase<2, T> rim(static_cast<T>(3 + 9 * std::cos(angle)),
                                static_cast<T>(7 + 9 * std::sin(angle)));
        elements.segments.push_back({hub, rim});
        const T radius = static_cast<T>(20 + 0.01 * i);
        elements.arcs.push_back({{0, 0}, {radius, 0}, kTwoPi<T> * radius});
    }
    return elements;
}

template <class T>
class CutThreads : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(CutThreads, Coordinates);

TYPED_TEST(CutThreads, SegmentsAndArcsAreCutAlikeForAnyNumberOfThreads)
{
    using T = TypeParam;
    const Elements<T> input = Thicket<T>();
    // The wide one unites whole rows of crossings, which is where an order could show.
    for (const T tolerance : {T(1e-6), T(0.02)}) {
        SCOPED_TRACE(tolerance);
        Elements<T> reference;
        for (const int threads : {1, 2, 4}) {
            for (int repetition = 0; repetition < (threads == 1 ? 1 : Support::FullOr(2, 1));
                 ++repetition) {
                Elements<T> cut = input;
                bool anyCut = false;
                Support::WithThreads(threads, [&] {
                    anyCut = Intersect::CutAtIntersections(cut.segments, cut.arcs, tolerance);
                });
                EXPECT_TRUE(anyCut);
                EXPECT_GT(cut.segments.size(), 3 * input.segments.size() / 2);
                EXPECT_GT(cut.arcs.size(), 3 * input.arcs.size() / 2);
                if (threads == 1) {
                    reference = cut;
                }
                EXPECT_TRUE(SameBits(cut.segments, reference.segments)) << threads << " threads";
                EXPECT_TRUE(SameBits(cut.arcs, reference.arcs)) << threads << " threads";
            }
        }
    }
}

TYPED_TEST(CutThreads, SegmentsAloneAreCutAlikeForAnyNumberOfThreads)
{
    using T = TypeParam;
    const Elements<T> input = Thicket<T>();
    std::vector<SegBase<T>> reference;
    for (const int threads : {1, 2, 4}) {
        std::vector<SegBase<T>> cut = input.segments;
        Support::WithThreads(threads,
                             [&] { EXPECT_TRUE(Intersect::CutAtIntersections(cut, T(1e-6))); });
        if (threads == 1) {
            reference = cut;
        }
        EXPECT_TRUE(SameBits(cut, reference)) << threads << " threads";
    }
}

} // namespace
