// Single tree addresses: order, corner, neighbors, the directions of children.

#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>

#include "tests/support/TestSupport.h"
#include "tests/trees/AddressReference.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;
using Support::AddressOf;
using Support::CellOf;

using Square = QOFAddress<2>;
using Cube = QOFAddress<3>;

template <int D>
constexpr unsigned int kFullDepth = D == 2 ? 31 : 21;

template <int D>
QOFAddress<D> RandomCell(Support::Random& random, unsigned int depth)
{
    const unsigned int bits = static_cast<unsigned int>(D) * depth;
    return {depth, bits == 0 ? 0 : random.Bits() >> (64 - bits)};
}

template <class Form>
class TreeAddresses : public testing::Test {
};
template <int Dimension>
struct Form {
    static constexpr int D = Dimension;
};
using Forms = testing::Types<Form<2>, Form<3>>;
TYPED_TEST_SUITE(TreeAddresses, Forms);

TYPED_TEST(TreeAddresses, OrderIsDepthThenPathUnsigned)
{
    using Address = QOFAddress<TypeParam::D>;
    const std::vector<Address> ascending{
        {0, 0}, {0, 1}, {1, 0}, {1, 3}, {2, 0}, {2, 0x8000000000000000U}, {0x80000000U, 0}};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t k = 0; k < ascending.size(); ++k) {
            EXPECT_EQ(ascending[i] < ascending[k], i < k);
            EXPECT_EQ(ascending[i] == ascending[k], i == k);
        }
    }
    EXPECT_EQ(Address{}, (Address{0, 0}));
}

TYPED_TEST(TreeAddresses, CellOfAPointIsItsCodeAtFullDepth)
{
    constexpr int D = TypeParam::D;
    Support::Random random(1);
    for (int i = 0; i < 1000; ++i) {
        const auto point = random.Vector<D, double>(-0.5, 2.5);
        const auto address = QOFAddress<D>::AtPoint(point);
        EXPECT_EQ(address.depth, kFullDepth<D>);
        if constexpr (D == 2) {
            EXPECT_EQ(address.path, MortonCurve::Encode2D(point));
        } else {
            EXPECT_EQ(address.path, MortonCurve::Encode3D(point));
        }
    }
}

TYPED_TEST(TreeAddresses, PointIsTheLowerCornerFromTheOwnDepthOn)
{
    constexpr int D = TypeParam::D;
    Support::Random random(2);
    for (int i = 0; i < 20'000; ++i) {
        const auto depth = static_cast<unsigned int>(random.Below(kFullDepth<D> + 1));
        const QOFAddress<D> address = RandomCell<D>(random, depth);
        const auto cell = CellOf<D>(address);
        VecBase<D, double> corner;
        for (int axis = 0; axis < D; ++axis) {
            corner[axis] = std::ldexp(static_cast<double>(cell[static_cast<std::size_t>(axis)]),
                                      -static_cast<int>(depth));
        }
        ASSERT_EQ(address.UnitSpacePoint(depth), corner);
        ASSERT_EQ(address.UnitSpacePoint(depth + 1), corner);
        ASSERT_EQ(address.UnitSpacePoint(UINT_MAX), corner);
    }
}

TYPED_TEST(TreeAddresses, PointOfAFullDepthAddressIsThatOfItsAncestor)
{
    constexpr int D = TypeParam::D;
    Support::Random random(3);
    for (int i = 0; i < 5000; ++i) {
        const QOFAddress<D> address = RandomCell<D>(random, kFullDepth<D>);
        const auto level = static_cast<unsigned int>(random.Below(kFullDepth<D> + 1));
        const QOFAddress<D> ancestor{level, address.path >> (D * (kFullDepth<D> - level))};
        ASSERT_EQ(address.UnitSpacePoint(level), ancestor.UnitSpacePoint(level));
    }
}

TEST(TreeAddressPoint, CoarserLevelShiftsTheWholePath)
{
    // Path 01 11 at level 1: the group 11 stands at the first level, 01 is lost above it.
    EXPECT_EQ((Square{2, 7}.UnitSpacePoint(1)), Vec2d(0.5, 0.5));
    EXPECT_EQ((Square{2, 7}.UnitSpacePoint(2)), Vec2d(0.75, 0.25));
    // 010 101: x and z at level 1.
    EXPECT_EQ((Cube{2, 0b010101}.UnitSpacePoint(1)), Vec3d(0.5, 0.0, 0.5));
    EXPECT_EQ((Cube{2, 0b010101}.UnitSpacePoint(0)), Vec3d(0.0, 0.0, 0.0));
}

TEST(TreeAddressPoint, DepthBeyondTheLastIsTakenForIt)
{
    EXPECT_EQ((Square{40, 1}.UnitSpacePoint(UINT_MAX)), Vec2d(0x1p-31, 0.0));
    EXPECT_EQ((Cube{22, 4}.UnitSpacePoint(22)), Vec3d(0.0, 0.0, 0x1p-21));
}

TYPED_TEST(TreeAddresses, NeighborsMatchWholeCoordinates)
{
    constexpr int D = TypeParam::D;
    Support::Random random(4);
    for (int i = 0; i < 5000; ++i) {
        // Half of them in the first levels, where most cells touch the boundary.
        const int deepest = i % 2 == 0 ? 3 : static_cast<int>(kFullDepth<D>);
        const QOFAddress<D> address =
            RandomCell<D>(random, static_cast<unsigned int>(random.Below(deepest + 1)));
        for (const bool facesOnly : {true, false}) {
            const auto neighbors = address.NeighborAddresses(facesOnly);
            const std::set<QOFAddress<D>> found(neighbors.begin(), neighbors.end());
            ASSERT_EQ(found.size(), neighbors.size());
            ASSERT_EQ(found, Support::NeighborsOf<D>(address, facesOnly));
        }
    }
}

/// Steps from the cell to each of its neighbors, in the order in which they come.
template <int D>
std::vector<std::array<long long, D>> Steps(const QOFAddress<D>& address, bool facesOnly)
{
    std::vector<std::array<long long, D>> steps;
    for (const QOFAddress<D>& neighbor : address.NeighborAddresses(facesOnly)) {
        auto step = CellOf<D>(neighbor);
        for (std::size_t axis = 0; axis < step.size(); ++axis) {
            step[axis] -= CellOf<D>(address)[axis];
        }
        steps.push_back(step);
    }
    return steps;
}

TEST(TreeAddressNeighbors, OrderOfTheSquare)
{
    using Step = std::array<long long, 2>;
    const Square inner = AddressOf<2>({5, 6}, 4);
    EXPECT_EQ(Steps(inner, true), (std::vector<Step>{{-1, 0}, {0, -1}, {1, 0}, {0, 1}}));
    EXPECT_EQ(
        Steps(inner, false),
        (std::vector<Step>{{-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}}));
}

TEST(TreeAddressNeighbors, OrderOfTheCube)
{
    using Step = std::array<long long, 3>;
    const Cube inner = AddressOf<3>({5, 6, 7}, 4);
    EXPECT_EQ(
        Steps(inner, true),
        (std::vector<Step>{{-1, 0, 0}, {0, -1, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}}));
    const std::vector<Step> all = Steps(inner, false);
    ASSERT_EQ(all.size(), 26U);
    const std::vector<std::array<long long, 2>> ring = Steps(AddressOf<2>({5, 6}, 4), false);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i][2], i < 9 ? -1 : i < 17 ? 0 : 1); // nine below, eight around, nine above
        if (i >= 9 && i < 17) {
            EXPECT_EQ((std::array<long long, 2>{all[i][0], all[i][1]}), ring[i - 9]);
        }
    }
}

TEST(TreeAddressNeighbors, CornerCellsAtDepthOne)
{
    for (unsigned long long path = 0; path < 4; ++path) {
        EXPECT_EQ((Square{1, path}.NeighborAddresses(true).size()), 2U);
        EXPECT_EQ((Square{1, path}.NeighborAddresses(false).size()), 3U);
    }
    for (unsigned long long path = 0; path < 8; ++path) {
        EXPECT_EQ((Cube{1, path}.NeighborAddresses(true).size()), 3U);
        EXPECT_EQ((Cube{1, path}.NeighborAddresses(false).size()), 7U);
    }
}

TYPED_TEST(TreeAddresses, RootAndDepthsBeyondTheLastHaveNoNeighbors)
{
    constexpr int D = TypeParam::D;
    for (const bool facesOnly : {true, false}) {
        EXPECT_TRUE(QOFAddress<D>{}.NeighborAddresses(facesOnly).empty());
        EXPECT_TRUE((QOFAddress<D>{0, 5}.NeighborAddresses(facesOnly).empty()));
        EXPECT_TRUE((QOFAddress<D>{kFullDepth<D> + 1, 5}.NeighborAddresses(facesOnly).empty()));
        EXPECT_TRUE((QOFAddress<D>{UINT_MAX, 5}.NeighborAddresses(facesOnly).empty()));
        EXPECT_EQ((QOFAddress<D>{kFullDepth<D>, 0}.NeighborAddresses(facesOnly).size()),
                  facesOnly ? std::size_t{D} : (std::size_t{1} << D) - 1);
    }
}

template <int D, class T>
void CheckChildOffsets()
{
    // Bit 0 of the child is x, bit 1 y, bit 2 z; rows by hand.
    constexpr int kRows[8][3] = {{-1, -1, -1}, {1, -1, -1}, {-1, 1, -1}, {1, 1, -1},
                                 {-1, -1, 1},  {1, -1, 1},  {-1, 1, 1},  {1, 1, 1}};
    for (int child = 0; child < 1 << D; ++child) {
        const VecBase<D, T> offset = QOFChildOffset<D, T>(child);
        for (int axis = 0; axis < D; ++axis) {
            EXPECT_EQ(offset[axis], static_cast<T>(kRows[child][axis])) << child;
        }
    }
}

TYPED_TEST(TreeAddresses, ChildOffsetsPointToTheChildren)
{
    CheckChildOffsets<TypeParam::D, float>();
    CheckChildOffsets<TypeParam::D, double>();
}

} // namespace
