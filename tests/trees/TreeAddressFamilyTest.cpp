// Parents and children of tree addresses, and paths to codes and back.

#include "trees/TreeAddress_Impl.h"

#include "tests/support/TestSupport.h"

namespace {

using namespace Velk::Math::Sorvane::Tree;

template <class Form>
class AddressFamily : public testing::Test {
};
template <int Dimension>
struct Form {
    static constexpr int D = Dimension;
};
using Forms = testing::Types<Form<2>, Form<3>>;
TYPED_TEST_SUITE(AddressFamily, Forms);

TYPED_TEST(AddressFamily, ChildrenComeBackToTheirParent)
{
    constexpr int D = TypeParam::D;
    Support::Random random(1);
    for (unsigned int depth = 0; depth < Impl::kMaxDepth<D>; ++depth) {
        const unsigned int bits = D * depth;
        const QOFAddress<D> address{depth, bits == 0 ? 0 : random.Bits() >> (64 - bits)};
        for (int child = 0; child < 1 << D; ++child) {
            const QOFAddress<D> below = Impl::ChildAddress<D>(address, child);
            EXPECT_EQ(below.depth, depth + 1);
            EXPECT_EQ(below.path, address.path * (1U << D) + static_cast<unsigned int>(child));
            EXPECT_EQ(Impl::ParentAddress<D>(below), address);
            EXPECT_FALSE(Impl::IsNull<D>(below));
        }
    }
}

TYPED_TEST(AddressFamily, RootHasNoParentAndFullDepthNoChildren)
{
    constexpr int D = TypeParam::D;
    EXPECT_TRUE(Impl::IsNull<D>({}));
    EXPECT_TRUE(Impl::IsNull<D>(Impl::ParentAddress<D>({})));
    EXPECT_TRUE(Impl::IsNull<D>(Impl::ParentAddress<D>({0, 5})));
    EXPECT_TRUE(Impl::IsNull<D>(Impl::ChildAddress<D>({Impl::kMaxDepth<D>, 5}, 1)));
    EXPECT_TRUE(Impl::IsNull<D>(Impl::ChildAddress<D>({~0U, 5}, 1)));
    EXPECT_EQ(Impl::ChildAddress<D>({}, 1), (QOFAddress<D>{1, 1})); // (0, 0) is the root here
}

TYPED_TEST(AddressFamily, PathIsTheCodeWithoutTheBitsBelow)
{
    constexpr int D = TypeParam::D;
    for (unsigned int depth = 0; depth <= Impl::kMaxDepth<D>; ++depth) {
        const unsigned long long last = (1ULL << (D * depth)) - 1;
        const unsigned long long all = (1ULL << (D * Impl::kMaxDepth<D>)) - 1;
        EXPECT_EQ(Impl::PathOfCode<D>(all, depth), last);
        EXPECT_EQ(Impl::PathOfCode<D>(Impl::CodeOfPath<D>(last, depth), depth), last);
    }
    EXPECT_EQ(Impl::CodeOfPath<D>(77, Impl::kMaxDepth<D>),
              77U); // path and code are one at full depth
}

} // namespace
