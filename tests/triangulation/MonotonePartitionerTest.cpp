// MonotonePartitioner by itself: order of sweep, classes, faces after the partition, flips.

#include "triangulation/MonotonePartitioner_Impl.h"

#include "tests/support/CheckTopology.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"

#include <Sorvane/Tessellation_E.h>

#include <algorithm>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::MonotonePartitioner;
using Sorvane::Mesh::OutlineTurn;
using Sorvane::Mesh::Impl::SweepClass;
using Support::Polygon;
using Support::Random;

std::vector<int> SweepOrder(const Polygon& outline)
{
    const MonotonePartitioner<double> partitioner(outline, OutlineTurn::TakeAsGiven);
    std::vector<int> order;
    for (const auto& entry : partitioner.SweepEntries()) {
        order.push_back(static_cast<int>(entry.node));
    }
    return order;
}

TEST(MonotonePartitioner, SweepsByXThenY)
{
    EXPECT_EQ(SweepOrder({{1, 0}, {2, 0}, {2, 1}, {0, 5}}), (std::vector<int>{3, 0, 1, 2}));
    // An x that differs by the floor or less is equal: y decides.
    EXPECT_EQ(SweepOrder({{0, 2}, {9e-13, 1}, {3, 0}, {3, 3}}), (std::vector<int>{1, 0, 2, 3}));
    EXPECT_EQ(SweepOrder({{0, 2}, {1.1e-12, 1}, {3, 0}, {3, 3}}), (std::vector<int>{0, 1, 2, 3}));
}

TEST(MonotonePartitioner, NodeNumbersAreIntegersAsWideAsCoordinates)
{
    using Float = Sorvane::Mesh::SweepEntry<float>;
    using Double = Sorvane::Mesh::SweepEntry<double>;
    static_assert(std::is_same_v<decltype(Float::node), std::int32_t>);
    static_assert(std::is_same_v<decltype(Double::node), std::int64_t>);
    EXPECT_EQ(sizeof(Float), 3 * sizeof(float));
    EXPECT_EQ(sizeof(Double), 3 * sizeof(double));
}

TEST(MonotonePartitioner, ClassifiesByNeighborsAndTurn)
{
    // An arrowhead pointing left with a notch on either side.
    const Polygon outline{{0, 0}, {5, -3}, {3, 0}, {5, 3}};
    const MonotonePartitioner<double> merge(outline);
    EXPECT_EQ(merge.Classify(0, 0), SweepClass::Start);
    EXPECT_EQ(merge.Classify(1, 0), SweepClass::End);
    EXPECT_EQ(merge.Classify(2, 0), SweepClass::Split);
    EXPECT_EQ(merge.Classify(3, 0), SweepClass::End);
    const MonotonePartitioner<double> split({{5, 0}, {0, 3}, {2, 0}, {0, -3}});
    EXPECT_EQ(split.Classify(2, 0), SweepClass::Merge);
    const MonotonePartitioner<double> regular({{0, 0}, {2, -1}, {4, 0}, {2, 1}});
    EXPECT_EQ(regular.Classify(1, 0), SweepClass::Regular);
    EXPECT_EQ(regular.Classify(3, 0), SweepClass::Regular);
    EXPECT_EQ(regular.Classify(1, 7), SweepClass::Invalid);
    EXPECT_EQ(regular.Classify(9, 0), SweepClass::Invalid);
}

TEST(MonotonePartitioner, ANodeEqualToANeighborIsNotAboveIt)
{
    const Polygon outline{{0, 0}, {2, -1}, {4, 0}, {4, 0}, {2, 1}};
    const MonotonePartitioner<double> partitioner(outline);
    // Nodes 2 and 3 are one point: each comes after its other neighbor only.
    EXPECT_EQ(partitioner.Classify(2, 0), SweepClass::Regular);
    EXPECT_EQ(partitioner.Classify(3, 0), SweepClass::Regular);
}

TEST(MonotonePartitioner, ANeedleThatFoldsBackIsNoNotch)
{
    // Collinear with both neighbors, which lie on one side of it: not reflex.
    const MonotonePartitioner<double> end({{0, 0}, {2, 0}, {1, 0}, {1, 1}});
    EXPECT_EQ(end.Classify(1, 0), SweepClass::End);
    const MonotonePartitioner<double> start({{1, 0}, {0, 0}, {2, 0}, {2, 1}});
    EXPECT_EQ(start.Classify(1, 0), SweepClass::Start);
}

TEST(MonotonePartitioner, TheExactOrderKnowsNoFloor)
{
    const Polygon outline{{0, 2}, {9e-13, 1}, {3, 0}, {3, 3}};
    const MonotonePartitioner<double> partitioner(outline, OutlineTurn::TakeAsGiven,
                                                  Sorvane::Mesh::SweepOrder::Exact);
    for (std::size_t i = 0; i < outline.size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(partitioner.SweepEntries()[i].node), i);
    }
}

TEST(MonotonePartitioner, SimpleBoundariesAreImprovedTwice)
{
    Random random(8);
    int changed = 0;
    for (int round = 0; round < 50; ++round) {
        const Polygon polygon = Support::StarPolygon(30, random);
        MonotonePartitioner<double> partitioner(polygon);
        partitioner.Partition();
        ASSERT_TRUE(partitioner.TriangulateFaces());
        std::vector<int> once;
        std::vector<int> twice;
        partitioner.ImproveDelaunay();
        partitioner.WriteIndices(once);
        partitioner.ImproveDelaunay();
        partitioner.WriteIndices(twice);
        EXPECT_EQ(Sorvane::Mesh::TessellateSimpleBoundary(polygon), twice);
        changed += once != twice ? 1 : 0;
    }
    EXPECT_GT(changed, 0);
}

TEST(MonotonePartitioner, LeavesMonotoneFacesOnly)
{
    Random random(11);
    for (int round = 0; round < 200; ++round) {
        const Polygon polygon =
            round % 2 == 0 ? Support::MazePolygon(5, random) : Support::StarPolygon(40, random);
        MonotonePartitioner<double> partitioner(polygon);
        partitioner.Partition();
        ASSERT_EQ(Support::CheckTopology(partitioner), "");
        for (int face = 0; face < partitioner.FaceCount(); ++face) {
            int splits = 0;
            partitioner.VisitEdgeLoop(partitioner.FaceRecord(face)->edge, [&](int e) {
                const SweepClass kind = partitioner.Classify(partitioner.EdgeRecord(e)->node, face);
                splits += kind == SweepClass::Split || kind == SweepClass::Merge ? 1 : 0;
                EXPECT_NE(kind, SweepClass::Invalid);
            });
            EXPECT_EQ(splits, 0) << "round " << round << ", face " << face;
        }
        ASSERT_TRUE(partitioner.TriangulateFaces());
        ASSERT_EQ(Support::CheckTopology(partitioner), "");
        for (int pass = 0; pass < 2; ++pass) {
            partitioner.ImproveDelaunay();
            ASSERT_EQ(Support::CheckTopology(partitioner), "");
        }
        std::vector<int> indices;
        partitioner.WriteIndices(indices);
        ASSERT_EQ(Support::CheckPolygonTriangles(polygon, indices), "");
    }
}

TEST(MonotonePartitioner, ServesAgainForAnotherOutline)
{
    Random random(2);
    MonotonePartitioner<double> reused;
    for (int round = 0; round < 20; ++round) {
        const Polygon polygon = Support::StarPolygon(5 + random.Below(30), random);
        reused.Load(polygon, OutlineTurn::MakeCounterClockwise);
        MonotonePartitioner<double> fresh(polygon);
        std::vector<int> indices[2];
        MonotonePartitioner<double>* const both[2] = {&reused, &fresh};
        for (int k = 0; k < 2; ++k) {
            both[k]->Partition();
            EXPECT_TRUE(both[k]->TriangulateFaces());
            both[k]->WriteIndices(indices[k]);
        }
        EXPECT_EQ(indices[0], indices[1]);
    }
}

TEST(MonotonePartitioner, FlipsFourPointsOfACircleThereAndBack)
{
    const Polygon square{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    MonotonePartitioner<double> partitioner(square);
    partitioner.Partition();
    ASSERT_TRUE(partitioner.TriangulateFaces());
    const auto diagonal = [&] { return partitioner.FindEdge(0, 2) >= 0; };
    const bool before = diagonal();
    partitioner.ImproveDelaunay();
    EXPECT_NE(diagonal(), before);
    partitioner.ImproveDelaunay();
    EXPECT_EQ(diagonal(), before);
}

TEST(MonotonePartitioner, FlipsTowardsTheShorterDiagonalOfAKite)
{
    // The far corners 1 and 3 lie in each other's circles; only the upright diagonal is Delaunay.
    const Polygon kite{{-2, 0}, {0, -1}, {2, 0}, {0, 1}};
    MonotonePartitioner<double> partitioner(kite);
    partitioner.Partition();
    ASSERT_TRUE(partitioner.TriangulateFaces());
    partitioner.ImproveDelaunay();
    EXPECT_GE(partitioner.FindEdge(1, 3), 0);
    partitioner.ImproveDelaunay();
    EXPECT_GE(partitioner.FindEdge(1, 3), 0);
}

TEST(MonotonePartitioner, EndsOnOutlinesThatAreNotSimple)
{
    Random random(23);
    for (int round = 0; round < 500; ++round) {
        Polygon tangle;
        const int count = 3 + random.Below(40);
        for (int i = 0; i < count; ++i) {
            tangle.push_back({std::floor(random.Between(0, 8)), std::floor(random.Between(0, 8))});
        }
        MonotonePartitioner<double> partitioner(
            tangle, round % 2 == 0 ? OutlineTurn::TakeAsGiven : OutlineTurn::MakeCounterClockwise);
        partitioner.Partition();
        partitioner.TriangulateFaces();
        partitioner.ImproveDelaunay();
        EXPECT_EQ(Support::CheckTopology(partitioner), "");
        EXPECT_LE(partitioner.FaceCount(), count - 2);
    }
}

} // namespace
