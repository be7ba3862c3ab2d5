// Imprint and tracer with every allocation refused once: the surface stays what it was, and the
// object goes on working.

#include "tests/imprint/ImprintChecks.h"

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"

#include <Sorvane/MeshImprint_E.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::IndexedMesh;
using Support::Path;
using Velk::Math::Sorvane::Mesh::MeshImprint;
using Velk::Math::Sorvane::Mesh::MeshTracer;
using Flags = std::vector<unsigned char>;

constexpr double kTolerance = 1e-9;

// Across itself, so that a stretch has to be mended.
const Path kBow{{0.6, 0.7, 0}, {2.4, 2.4, 0}, {2.4, 0.7, 0}, {0.6, 2.4, 0}};

std::unique_ptr<MeshImprint> NewImprint()
{
    return std::make_unique<MeshImprint>(Support::Grid(3, 3), kTolerance);
}

double InsideOf(const MeshImprint& imprint)
{
    IndexedMesh mesh;
    Flags flags;
    EXPECT_TRUE(imprint.Export(mesh, flags));
    EXPECT_NEAR(Support::SurfaceOf(mesh), 9, 1e-13);
    return Support::AreaOfFlag(mesh, flags, Flags::value_type{0});
}

TEST(MeshImprintMemory, AnImprintThatFailsLeavesTheSurfaceAndCanBeRepeated)
{
    const std::size_t failures = Support::FailEachAllocationOfEither(
        NewImprint,
        [](std::unique_ptr<MeshImprint>& imprint) {
            Path path = kBow;
            imprint->ImprintPath(path, true, true);
        },
        [](std::unique_ptr<MeshImprint>& imprint, bool) {
            EXPECT_EQ(InsideOf(*imprint), 0);
            Path path = kBow;
            EXPECT_TRUE(imprint->ImprintPath(path, true, true));
            IndexedMesh mesh;
            Flags flags;
            imprint->Export(mesh, flags);
            EXPECT_EQ(Support::LinksWithoutEdge(mesh, path), 0);
            EXPECT_TRUE(imprint->PaintInsideOutside());
            // Two triangles of base 1.7 and heights that add up to 1.8.
            EXPECT_NEAR(InsideOf(*imprint), 1.7 * 1.8 / 2, 1e-12);
        });
    EXPECT_GT(failures, 40U);
}

TEST(MeshImprintMemory, PaintingIsAllOrNothing)
{
    const std::size_t failures = Support::FailEachAllocation(
        [] {
            auto imprint = NewImprint();
            Path path = kBow;
            imprint->ImprintPath(path, true, false);
            return imprint;
        },
        [](std::unique_ptr<MeshImprint>& imprint) { imprint->PaintInsideOutside(); },
        [](std::unique_ptr<MeshImprint>& imprint) {
            EXPECT_EQ(InsideOf(*imprint), 0);
            EXPECT_TRUE(imprint->PaintInsideOutside());
            EXPECT_NEAR(InsideOf(*imprint), 1.7 * 1.8 / 2, 1e-12);
        });
    EXPECT_EQ(failures, 6U) << "all room is taken before the mesh is touched";
}

TEST(MeshImprintMemory, WhatCannotBeMadeOrExportedThrows)
{
    EXPECT_GT(Support::FailEachAllocationOfEither(
                  [] { return std::unique_ptr<MeshImprint>(); },
                  [](std::unique_ptr<MeshImprint>& imprint) { imprint = NewImprint(); },
                  [](std::unique_ptr<MeshImprint>& imprint, bool hasThrown) {
                      EXPECT_TRUE(hasThrown ? imprint == nullptr : InsideOf(*imprint) == 0);
                  }),
              10U);
    const auto imprint = NewImprint();
    EXPECT_GT(Support::FailEachAllocation([] { return IndexedMesh(); },
                                          [&](IndexedMesh& mesh) {
                                              Flags flags;
                                              imprint->Export(mesh, flags);
                                          },
                                          [](const IndexedMesh& mesh) {
                                              EXPECT_TRUE(mesh.points.empty());
                                              EXPECT_TRUE(mesh.indices.empty());
                                          }),
              3U);
}

TEST(MeshImprintMemory, ALineThatFailsCanBeCollectedAgain)
{
    MeshTracer tracer(Support::Sphere(1), kTolerance);
    const auto collect = [&] { return tracer.CollectPath({1, 0, 0}, {0, 1, 0.3}, 7.0); };
    EXPECT_GT(Support::FailEachAllocationOfResult(collect), 5U);
}

} // namespace
