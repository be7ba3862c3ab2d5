// Chains of arcs and segments with every allocation refused once: one that is appended to is then
// as it was, and what only asks passes the exception on.

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Support::FailEachAllocation;
using Support::FailEachAllocationOfResult;

template <class T>
class ChainsWithoutMemory : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainsWithoutMemory, Scalars);

TYPED_TEST(ChainsWithoutMemory, AppendLeavesTheChainAsItWas)
{
    using T = TypeParam;
    Support::Random random(4);
    const PolyArcSegBase<T> chain = Support::RandomChain<T>(random, 8);
    const VecBase<2, T> end = chain.elements.back().EndPoint();
    const auto failures = [&](const auto& append) {
        return FailEachAllocation(
            [&] { return PolyArcSegBase<T>(chain); }, append,
            [&](const PolyArcSegBase<T>& left) { EXPECT_TRUE(left.elements == chain.elements); });
    };
    EXPECT_GT(failures([&](auto& c) { c.AppendSegment(end, end + VecBase<2, T>(1, 0)); }), 0U);
    EXPECT_GT(failures([&](auto& c) { c.AppendArc(end + VecBase<2, T>(1, 0), end, T(1)); }), 0U);
}

TYPED_TEST(ChainsWithoutMemory, QuestionsPassTheExceptionOn)
{
    using T = TypeParam;
    Support::Random random(4);
    const PolyArcSegBase<T> chain = Support::RandomChain<T>(random, 40);
    std::vector<VecBase<2, T>> points;
    for (const auto& element : chain.elements) {
        points.push_back(element.StartPoint());
    }
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] { return PolyArcSegParameters(chain, true); }),
                  0U);
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return PointParametersOnPolyArcSeg(chain, points, T(1e-6)); }),
                  2U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return ToPolyline(chain, T(0.01)); }), 0U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return FilterArcsAndSegs(points, T(0.01)); }),
                  5U);
    });
}

} // namespace
