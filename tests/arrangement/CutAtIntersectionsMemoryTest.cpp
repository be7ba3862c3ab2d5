// Cutting, tracing and intersecting with every allocation refused once: lists that are cut in place
// are then there as they were, both of them.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/PlanarSets.h"
#include "tests/support/ThreadLimit.h"

#include <vector>

namespace {

using namespace Velk::Math;
using Support::FailEachAllocation;
using Support::FailEachAllocationOfEither;
using Support::FailEachAllocationOfResult;

template <class T>
struct Lists {
    std::vector<Geometry::SegBase<T>> segments;
    std::vector<Geometry::ArcBase<T>> arcs;

    friend bool operator==(const Lists&, const Lists&) = default;
};

// Segments and arcs that cut each other, with repeats.
template <class T>
Lists<T> Crossing()
{
    const Support::PlanarSet set = Support::ArcsAndSegments(80);
    Lists<T> lists;
    const auto point = [](const Vec2d& p) {
        return VecBase<2, T>(static_cast<T>(p.x()), static_cast<T>(p.y()));
    };
    for (const auto& segment : set.segments) {
        lists.segments.push_back({point(segment.start), point(segment.end)});
    }
    for (const auto& arc : set.arcs) {
        lists.arcs.push_back({point(arc.center), point(arc.start), static_cast<T>(arc.length)});
    }
    lists.segments.push_back(lists.segments.front());
    lists.arcs.push_back(lists.arcs.front());
    return lists;
}

template <class T>
class CuttingWithoutMemory : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(CuttingWithoutMemory, Scalars);

TYPED_TEST(CuttingWithoutMemory, LeavesBothListsAsTheyWere)
{
    using T = TypeParam;
    const Lists<T> before = Crossing<T>();
    Lists<T> cut = before;
    Intersect::CutAtIntersections(cut.segments, cut.arcs, T(1e-6));
    ASSERT_GT(cut.segments.size(), before.segments.size());
    ASSERT_GT(cut.arcs.size(), before.arcs.size());
    // A sort that gets no memory for a buffer goes on without it: then the lists are cut.
    const auto failures = [](const Lists<T>& all, const Lists<T>& whenDone, const auto& call) {
        std::size_t thrown = 0;
        FailEachAllocationOfEither([&] { return Lists<T>(all); }, call,
                                   [&](const Lists<T>& left, bool hasThrown) {
                                       EXPECT_TRUE(left == (hasThrown ? all : whenDone));
                                       thrown += hasThrown ? 1U : 0U;
                                   });
        return thrown;
    };
    Support::WithThreads(1, [&] {
        EXPECT_GT(failures(before, cut,
                           [](Lists<T>& lists) {
                               Intersect::CutAtIntersections(lists.segments, lists.arcs, T(1e-6));
                           }),
                  20U);
        Lists<T> cutSegments = before;
        Intersect::CutAtIntersections(cutSegments.segments, T(1e-6));
        EXPECT_GT(failures(before, cutSegments,
                           [](Lists<T>& lists) {
                               Intersect::CutAtIntersections(lists.segments, T(1e-6));
                           }),
                  10U);
    });
}

TYPED_TEST(CuttingWithoutMemory, ATracedLoopIsEmptyOrAsItWas)
{
    using T = TypeParam;
    using Loop = std::vector<VecBase<2, T>>;
    std::vector<Geometry::SegBase<T>> segments = Crossing<T>().segments;
    Intersect::CutAtIntersections(segments, T(1e-6));
    const Loop before{{T(1), T(2)}};
    EXPECT_GT(
        FailEachAllocation([&] { return Loop(before); },
                           [&](Loop& loop) { Intersect::TraceOuterLoop(segments, loop, T(1e-6)); },
                           [&](const Loop& left) { EXPECT_TRUE(left.empty() || left == before); }),
        5U);
}

TYPED_TEST(CuttingWithoutMemory, IntersectedPolylinesPassTheExceptionOn)
{
    using T = TypeParam;
    using Polylines = std::vector<std::vector<VecBase<2, T>>>;
    const Polylines first{{{0, 0}, {4, 4}}, {{0, 4}, {4, 0}, {8, 4}}};
    const Polylines second{{{0, 2}, {4, 4}, {8, 4}}};
    ASSERT_FALSE(Intersect::IntersectPolylines(first, second, T(1e-6)).empty());
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return Intersect::IntersectPolylines(first, second, T(1e-6)); }),
                  3U);
    });
}

} // namespace
