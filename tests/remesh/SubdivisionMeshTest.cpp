// The steps of subdivision on a half-edge mesh: topology, masks from first principles, features, corners,
// and the same results by the free functions, which for Loop's rule make no half-edge mesh at all.

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/SubdivisionMesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using HalfEdge::Impl::SubdivisionMesh;
using Mesh::SubdivisionMethod;
using Support::IndexedMesh;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Everything of a mesh that a host can see, NaN and signs of zeros too.
std::vector<std::uint64_t> BitsOf(const IndexedMesh& mesh)
{
    std::vector<std::uint64_t> bits{mesh.points.size()};
    for (const Vec3d& p : mesh.points) {
        for (int k = 0; k < 3; ++k) {
            bits.push_back(std::bit_cast<std::uint64_t>(p[k]));
        }
    }
    for (const int n : mesh.indices) {
        bits.push_back(static_cast<std::uint64_t>(n));
    }
    return bits;
}

/// A mesh with features from 30 degrees on.
SubdivisionMesh Detected(const IndexedMesh& mesh, double degrees = 30.0)
{
    SubdivisionMesh work(mesh);
    work.DetectFeatures(degrees);
    return work;
}

IndexedMesh Exported(const SubdivisionMesh& mesh)
{
    IndexedMesh out;
    mesh.ExportIndexedPoints(out, 1e-12);
    return out;
}

/// Points moved at random by up to `size`: no two triangles are alike then.
IndexedMesh Shaken(IndexedMesh mesh, Support::Random& random, double size)
{
    for (Vec3d& p : mesh.points) {
        p += random.Vector<3, double>(-size, size);
    }
    return mesh;
}

/// Closed, open, with handles and holes, of several components, and with unused points.
std::vector<IndexedMesh> SoundMeshes(Support::Random& random)
{
    std::vector<IndexedMesh> meshes{Support::Tetrahedron(),
                                    Support::Octahedron(),
                                    Support::Cube(),
                                    Support::Sphere(2),
                                    Support::Torus(7, 5),
                                    Support::Grid(1, 1),
                                    Support::Grid(6, 5),
                                    Support::Fan(5, true),
                                    Support::Fan(4, false),
                                    Support::Together(Support::Cube(), Support::Grid(3, 3)),
                                    Support::Without(Support::Sphere(2), {3, 40, 41, 90})};
    const std::size_t plain = meshes.size();
    for (std::size_t i = 0; i < plain; ++i) {
        meshes.push_back(Support::Shuffled(Shaken(meshes[i], random, 0.05), random));
        meshes.back().points.push_back({9, 9, 9}); // in no triangle
    }
    return meshes;
}

// --- the free function and the class -----------------------------------------------------------

TEST(SubdivisionMesh, LoopOfTheFreeFunctionIsThatOfTheClassBitForBit)
{
    Support::Random random(11);
    int number = 0;
    for (const IndexedMesh& mesh : SoundMeshes(random)) {
        for (const double angle : {0.0, 1.0, 30.0, 89.9, 90.0, 180.0, 200.0, kNaN, -5.0}) {
            SubdivisionMesh work = Detected(mesh, angle);
            for (unsigned steps = 0; steps <= 3; ++steps) {
                SCOPED_TRACE(testing::Message() << "mesh " << number << ", angle " << angle << ", "
                                                << steps << " steps");
                IndexedMesh out;
                Mesh::SubdivideMesh(mesh, out, angle, steps, SubdivisionMethod::Loop);
                ASSERT_EQ(BitsOf(out), BitsOf(Exported(work)));
                work.LoopStep();
            }
        }
        ++number;
    }
}

TEST(SubdivisionMesh, TheOtherFreeFunctionsAreTheClassToo)
{
    Support::Random random(12);
    for (const IndexedMesh& mesh : SoundMeshes(random)) {
        SubdivisionMesh roots = Detected(mesh);
        SubdivisionMesh splits(mesh);
        for (unsigned steps = 1; steps <= 3; ++steps) {
            roots.Sqrt3Step(steps - 1);
            splits.SplitPass(0.4, false);
            IndexedMesh out;
            Mesh::SubdivideMesh(mesh, out, 30.0, steps, SubdivisionMethod::Sqrt3);
            EXPECT_EQ(BitsOf(out), BitsOf(Exported(roots)));
            Mesh::SplitLongMeshEdges(mesh, out, 0.4, false, steps);
            EXPECT_EQ(BitsOf(out), BitsOf(Exported(splits)));
        }
    }
}

TEST(SubdivisionMesh, StepsKeepTheTopologySound)
{
    Support::Random random(13);
    std::vector<IndexedMesh> meshes = SoundMeshes(random);
    meshes.push_back(Support::TrianglesAtOnePoint(2));
    meshes.push_back(Support::TrianglesAtOnePoint(5));
    meshes.push_back(Support::Fins(3));
    meshes.push_back(Support::MoebiusStrip(5));
    for (int i = 0; i < 30; ++i) {
        meshes.push_back(Support::GarbageMesh<3, double>(random, 4 + i, 2 * i));
    }
    for (const IndexedMesh& mesh : meshes) {
        SubdivisionMesh loop = Detected(mesh);
        SubdivisionMesh roots = Detected(mesh);
        SubdivisionMesh splits(mesh);
        for (unsigned step = 0; step < 2; ++step) {
            loop.LoopStep();
            roots.Sqrt3Step(step);
            splits.SplitPass(0.3, step == 0);
            EXPECT_EQ(Support::CheckTopology(loop), "");
            EXPECT_EQ(Support::CheckTopology(roots), "");
            EXPECT_EQ(Support::CheckTopology(splits), "");
        }
    }
}

} // namespace
