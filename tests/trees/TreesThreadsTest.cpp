// Codes, sweeps, voxel meshes, nearest triangles and the order of a mesh along the curve, with any
// number of threads: the same result.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>
#include <Sorvane/TriangleTree_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/trees/AddressReference.h"

#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;
namespace Mesh = Sorvane::Mesh;

/// make() with 1, 2, 3 and 8 threads gives equal results.
template <class Make>
void ExpectSameOnAnyThreads(const Make& make)
{
    const auto expected = make();
    for (const int threads : {1, 2, 3, 8}) {
        auto found = expected;
        found.clear();
        Support::WithThreads(threads, [&] { found = make(); });
        EXPECT_TRUE(found == expected) << threads;
    }
}

std::vector<Vec3d> Cloud(int count)
{
    Support::Random random(1);
    std::vector<Vec3d> points;
    for (int i = 0; i < count; ++i) {
        // Rounded, so that some codes are equal and their order counts.
        points.push_back(Vec3d(random.Below(20), random.Below(20), random.Below(20)) * 0.05);
    }
    return points;
}

TEST(TreesThreads, VectorsOfCodes)
{
    const std::vector<Vec3d> points = Cloud(20'000);
    ExpectSameOnAnyThreads([&] { return MortonCurve::Encode3D(points); });
    ExpectSameOnAnyThreads([&] { return MortonCurve::MapToCurve(points, 17); });
    const std::vector<unsigned long long> codes = MortonCurve::Encode3D(points);
    ExpectSameOnAnyThreads([&] { return MortonCurve::Decode3D(codes, 12); });
}

template <int D>
void ExpectSameSweeps()
{
    Support::Random random(2);
    const auto list = Support::RandomAddresses<D>(random, 20'000, {}, 3, D == 2 ? 9 : 6);
    for (int mode = 0; mode < 6; ++mode) {
        ExpectSameOnAnyThreads([&] { return Support::Swept<D>(list, mode); });
    }
}

TEST(TreesThreads, Sweeps)
{
    ExpectSameSweeps<2>();
    ExpectSameSweeps<3>();
}

TEST(TreesThreads, VoxelMesh)
{
    const std::vector<unsigned long long> codes = MortonCurve::Encode3D(Cloud(20'000));
    ExpectSameOnAnyThreads([&] {
        std::vector<Vec3d> points;
        std::vector<int> triangles;
        BuildVoxelMesh(codes, {1, 2, 3}, {4, 5, 6}, 5, points, triangles);
        std::vector<double> all;
        for (const Vec3d& point : points) {
            all.insert(all.end(), point.begin(), point.end());
        }
        all.insert(all.end(), triangles.begin(), triangles.end());
        return all;
    });
}

TEST(TreesThreads, NearestTrianglesOfABatch)
{
    const std::vector<Vec3d> corners = Cloud(3'000);
    std::vector<int> triples;
    for (int i = 0; i < 3'000; ++i) {
        triples.push_back(i);
    }
    const QOFTriangleTree<3, double> tree(corners, triples);
    const std::vector<Vec3d> points = Cloud(Support::FullOr(40'000, 10'000));
    ExpectSameOnAnyThreads([&] { return tree.ClosestPoints(points, 9, {}); });
}

TEST(TreesThreads, MeshAlongTheCurve)
{
    Mesh::IndexedPointsBase<3, double> mesh{Cloud(20'000), {}};
    Support::Random random(3);
    for (int i = 0; i < 30'000; ++i) {
        mesh.indices.push_back(random.Below(20'000));
    }
    ExpectSameOnAnyThreads([&] {
        std::vector<int> newToOld;
        std::vector<int> all = Mesh::MapMeshToMortonCurve(mesh, &newToOld, nullptr).indices;
        all.insert(all.end(), newToOld.begin(), newToOld.end());
        return all;
    });
}

} // namespace
