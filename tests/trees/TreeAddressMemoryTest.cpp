// Codes, addresses, voxel meshes and the tree over the elements of a chain with every allocation
// refused once: the exception passes, and the next call gives what it always gives.

#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/QuadtreeArcSegTree_E.h>
#include <Sorvane/TreeAddress_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::FailEachAllocationOfEither;
using Support::FailEachAllocationOfResult;

template <int D>
std::vector<VecBase<D, double>> UnitPoints(int count)
{
    Support::Random random(11);
    std::vector<VecBase<D, double>> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(random.Vector<D, double>(0, 1));
    }
    return points;
}

TEST(MortonCodesWithoutMemory, PassTheExceptionOn)
{
    namespace MortonCurve = Tree::MortonCurve;
    const auto points = UnitPoints<3>(50);
    Support::WithThreads(1, [&] {
        const auto codes = MortonCurve::Encode3D(points);
        EXPECT_GT(FailEachAllocationOfResult([&] { return MortonCurve::Encode3D(points); }), 0U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return MortonCurve::Decode3D(codes, 21); }), 0U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return MortonCurve::MapToCurve(points, 9); }),
                  0U);
        EXPECT_GT(FailEachAllocationOfResult([] { return MortonCurve::CodeGridAtDepth2D(3); }), 0U);
    });
}

template <int D>
void ExpectAddressesPassTheExceptionOn()
{
    std::vector<Tree::QOFAddress<D>> addresses;
    for (const auto& point : UnitPoints<D>(20)) {
        addresses.push_back(Tree::QOFAddress<D>::AtPoint(point));
        addresses.back().depth = 5;
        addresses.back().path >>= D * 20U;
    }
    Support::WithThreads(1, [&] {
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return addresses.front().NeighborAddresses(false); }),
            0U);
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return Tree::BalanceAddresses(addresses, true); }),
            2U);
        for (const bool balance : {false, true}) {
            EXPECT_GT(FailEachAllocationOfResult(
                          [&] { return Tree::CompleteTree(addresses, true, balance); }),
                      2U);
        }
    });
}

TEST(TreeAddressesWithoutMemory, PassTheExceptionOn)
{
    ExpectAddressesPassTheExceptionOn<2>();
    ExpectAddressesPassTheExceptionOn<3>();
}

TEST(VoxelMeshWithoutMemory, IsEmpty)
{
    struct State {
        std::vector<Vec3d> points{{1, 2, 3}};
        std::vector<int> triangles{4, 5, 6};
    };
    const auto codes = Tree::MortonCurve::Encode3D(UnitPoints<3>(30));
    Support::WithThreads(1, [&] {
        // A sort that gets no memory for a buffer goes on without it.
        EXPECT_GT(FailEachAllocationOfEither([] { return State(); },
                                             [&](State& state) {
                                                 Tree::BuildVoxelMesh(codes, {1, 1, 1}, {0, 0, 0},
                                                                      3, state.points,
                                                                      state.triangles);
                                             },
                                             [](const State& left, bool hasThrown) {
                                                 EXPECT_EQ(left.points.empty(), hasThrown);
                                                 EXPECT_EQ(left.triangles.empty(), hasThrown);
                                             }),
                  2U);
    });
}

TEST(ArcSegTreeWithoutMemory, PassesTheExceptionOn)
{
    Planar::PolyArcSegBase<double> chain;
    for (int i = 0; i < 60; ++i) {
        chain.AppendSegment({i + 0.0, i % 3 + 0.0}, {i + 1.0, (i + 1) % 3 + 0.0});
    }
    Support::WithThreads(1, [&] {
        const auto near = [&] {
            return Tree::Quadtree::ArcSegTree<double>(chain).ItemsWithin({20, 1}, 5);
        };
        EXPECT_GT(near().size(), 8U);
        EXPECT_GT(FailEachAllocationOfResult(near), 3U);
    });
}

} // namespace
