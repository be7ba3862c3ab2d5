// What a host cannot see: that tags of either width stay with the pieces of their triangles, and
// which edges are imprinted.

#include "imprint/MeshImprint_Impl.h"

#include "tests/imprint/ImprintChecks.h"
#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Polygons.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;
using Support::Path;
using Support::Random;

template <class Tag>
using Imprintable = Mesh::Impl::ImprintableMesh<Tag>;

// The triangle of a sheet of unit squares in which a point lies.
std::size_t TriangleAt(const Vec3d& point, int squares)
{
    const double x = std::floor(point.x());
    const double y = std::floor(point.y());
    const bool isUpper = point.y() - y > point.x() - x;
    return static_cast<std::size_t>(2 * (y * squares + x)) + (isUpper ? 1U : 0U);
}

template <class Tag>
void ExpectTagsToStay(std::uint64_t seed)
{
    constexpr int kSquares = 8;
    const IndexedMesh sheet = Support::Grid(kSquares, kSquares);
    Random random(seed);
    std::vector<Tag> tags(sheet.indices.size() / 3);
    for (Tag& tag : tags) {
        tag = static_cast<Tag>(random.Bits()); // all bits of the wide ones
    }
    Imprintable<Tag> mesh(sheet.points, sheet.indices, tags, 1e-9);
    for (int i = 0; i < 6; ++i) {
        Path loop;
        for (const Vec2d& p : Support::StarPolygon(9, random)) {
            loop.push_back({4 + 3.9 * p.x(), 4 + 3.9 * p.y(), 0});
        }
        ASSERT_TRUE(Mesh::Impl::ImprintPath(mesh, loop, i % 2 == 0, false));
        EXPECT_EQ(Support::CheckTopology(mesh), "");
    }
    int facets = 0;
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        if (!mesh.IsValidFace(f)) {
            continue;
        }
        ++facets;
        const std::vector<int> nodes = mesh.FaceNodes(f);
        const Vec3d center =
            (mesh.GetVertex(nodes[0]) + mesh.GetVertex(nodes[1]) + mesh.GetVertex(nodes[2])) / 3.0;
        const Tag expected = tags[TriangleAt(center, kSquares)];
        EXPECT_EQ(mesh.FaceRecord(f)->tag, expected) << center;
        EXPECT_EQ(mesh.FaceRecord(f)->paint, expected != 0 ? 2 : 0);
    }
    EXPECT_GT(facets, 4 * kSquares * kSquares);
}

TEST(MeshImprintTags, StayWithThePiecesOfTheirTriangles)
{
    ExpectTagsToStay<unsigned char>(1);
    ExpectTagsToStay<unsigned long long>(2);
}

TEST(MeshImprintTags, ExactlyThePathIsImprinted)
{
    // The edges that are imprinted are those of the path, each once, and on both sides.
    const IndexedMesh torus = Support::Torus(24, 11);
    Imprintable<unsigned char> mesh(torus.points, torus.indices, {}, 1e-9);
    Random random(3);
    Path path = Support::PathOverTriangles(torus, 12, random);
    ASSERT_TRUE(Mesh::Impl::ImprintPath(mesh, path, false, true));
    double imprinted = 0;
    for (int e = 0; e < mesh.EdgeCount(); e += 2) {
        if (mesh.IsValidEdge(e)) {
            EXPECT_EQ(mesh.EdgeRecord(e)->imprinted, mesh.EdgeRecord(e + 1)->imprinted);
            const std::vector<int> ends = mesh.EdgeNodes(e);
            imprinted += mesh.EdgeRecord(e)->imprinted *
                         Vector::Length(mesh.GetVertex(ends[0]) - mesh.GetVertex(ends[1]));
        }
    }
    EXPECT_NEAR(imprinted, Support::LengthOfPath(path), 1e-12);
}

TEST(MeshImprintTags, APathOverAnotherLeavesItsImprint)
{
    const IndexedMesh sheet = Support::Grid(10, 10);
    Imprintable<unsigned char> mesh(sheet.points, sheet.indices, {}, 1e-9);
    const auto imprintedLength = [&] {
        double sum = 0;
        for (int e = 0; e < mesh.EdgeCount(); e += 2) {
            if (mesh.IsValidEdge(e) && mesh.EdgeRecord(e)->imprinted == 1) {
                const std::vector<int> ends = mesh.EdgeNodes(e);
                sum += Vector::Length(mesh.GetVertex(ends[0]) - mesh.GetVertex(ends[1]));
            }
        }
        return sum;
    };
    Path first{{1.13, 5.27, 0}, {4.4, 5.27, 0}, {8.8, 5.27, 0}};
    Path second{{5.27, 1.13, 0}, {5.27, 4.4, 0}, {5.27, 8.8, 0}};
    ASSERT_TRUE(Mesh::Impl::ImprintPath(mesh, first, false, false));
    EXPECT_NEAR(imprintedLength(), 7.67, 1e-12);
    ASSERT_TRUE(Mesh::Impl::ImprintPath(mesh, second, false, false));
    EXPECT_NEAR(imprintedLength(), 2 * 7.67, 1e-12);
}

} // namespace
