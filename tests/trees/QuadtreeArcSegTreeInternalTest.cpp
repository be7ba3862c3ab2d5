// An element that is neither segment nor arc, which no host can make, is reported.

#include "tests/support/TestSupport.h"
#include "trees/QuadtreeArcSegTree_Impl.h"

#include <limits>
#include <string>
#include <type_traits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree::Quadtree;

template <class T>
class ArcSegTrees : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ArcSegTrees, Scalars);

TYPED_TEST(ArcSegTrees, ElementThatIsNeitherIsReported)
{
    using T = TypeParam;
    Support::ExpectAssertions(1);
    const VecBase<2, T> answer = Impl::ClosestPointOnContent<T>(nullptr, nullptr, {1, 2});
    constexpr T kLargest = std::numeric_limits<T>::max();
    EXPECT_EQ(answer, (VecBase<2, T>(kLargest, kLargest)));
    const std::string scalar = std::is_same_v<T, float> ? "float" : "double";
    EXPECT_EQ(Support::LastAssertion(),
              "QuadtreeArcSegTree_E:338 Velk::Math::Sorvane::Tree::Quadtree::ArcSegTree<" + scalar +
                  ">::ClosestPointOnContent");
}

} // namespace
