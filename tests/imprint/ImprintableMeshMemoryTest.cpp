// The imprintable mesh when memory runs out: it is sound, the surface is the same, and its tree
// knows all facets or is gone and can be built again.

#include "tests/imprint/ImprintSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TestSupport.h"

#include <memory>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::ImprintMesh;
using Support::IndexedMesh;
using Support::MeshLocation;
using Support::NodeReplacements;

constexpr double kTolerance = 1e-6;

struct State {
    std::unique_ptr<ImprintMesh> mesh;
    std::vector<MeshLocation> places;
    NodeReplacements replaced;
};

// Three points on a coarse sphere: on an edge, inside a facet, on a node.
State FreshState()
{
    const IndexedMesh sphere = Support::Sphere(1);
    State state;
    state.mesh = std::make_unique<ImprintMesh>(sphere.points, sphere.indices,
                                               std::vector<unsigned char>{3, 0, 1}, kTolerance);
    const Vec3d a = Support::PointOf(sphere, 0);
    const Vec3d b = Support::PointOf(sphere, 1);
    const Vec3d c = Support::PointOf(sphere, 2);
    const auto t = 3 * static_cast<std::size_t>(20);
    const Vec3d inside = (Support::PointOf(sphere, t) + Support::PointOf(sphere, t + 1) +
                          Support::PointOf(sphere, t + 2)) *
                         (1.0 / 3);
    state.places = state.mesh->LocatePath({a * 0.7 + b * 0.3, inside, c});
    return state;
}

void ExpectUnharmed(State& state)
{
    static const Support::SurfaceMeasures before = Support::MeasuresOf(*FreshState().mesh);
    Support::ExpectSound(*state.mesh);
    Support::ExpectSameMeasures(*state.mesh, before);
    state.mesh->BuildSearchTree();
    Support::ExpectSound(*state.mesh);
    // What failed can be done afterwards.
    const std::vector<MeshLocation> traced =
        state.mesh->TracePath(state.mesh->LocatePath({state.places[0].point, state.places[1].point,
                                                      state.places[2].point}),
                              true);
    EXPECT_EQ(Support::Breaks(*state.mesh, traced, true), 0);
    Support::ExpectSound(*state.mesh);
}

TEST(ImprintableMeshMemory, BuildingThrows)
{
    const IndexedMesh sphere = Support::Sphere(1);
    const std::size_t failures = Support::FailEachAllocation(
        [] { return 0; },
        [&](int) {
            const ImprintMesh mesh(sphere.points, sphere.indices, {1, 2}, kTolerance);
        },
        [](int) {});
    EXPECT_GT(failures, 10U);
}

TEST(ImprintableMeshMemory, SplittingAnEdge)
{
    const std::size_t failures = Support::FailEachAllocationOfEither(
        FreshState, [](State& state) { state.mesh->SplitAtLocation(state.places[0]); },
        [](State& state, bool) { ExpectUnharmed(state); });
    EXPECT_GT(failures, 5U);
}

TEST(ImprintableMeshMemory, SplittingAFacet)
{
    const std::size_t failures = Support::FailEachAllocationOfEither(
        FreshState, [](State& state) { state.mesh->SplitFacetAtLocation(state.places[1]); },
        [](State& state, bool) { ExpectUnharmed(state); });
    EXPECT_GT(failures, 3U);
}

TEST(ImprintableMeshMemory, TracingAPath)
{
    const std::size_t failures = Support::FailEachAllocationOfEither(
        FreshState, [](State& state) { state.mesh->TracePath(state.places, true); },
        [](State& state, bool) { ExpectUnharmed(state); });
    EXPECT_GT(failures, 40U);
}

TEST(ImprintableMeshMemory, TheTree)
{
    const std::size_t failures = Support::FailEachAllocationOfEither(
        [] {
            State state = FreshState();
            state.mesh->DropSearchTree();
            return state;
        },
        [](State& state) { state.mesh->BuildSearchTree(); },
        [](State& state, bool) { ExpectUnharmed(state); });
    EXPECT_GT(failures, 3U);
}

TEST(ImprintableMeshMemory, Collapsing)
{
    // Half of the sphere's edges are short enough. The surface changes; the mesh stays sound, and
    // what was not looked at yet has its turn in the next call.
    const auto prepare = [] {
        State state = FreshState();
        const std::vector<int> ends = state.mesh->EdgeNodes(state.places[0].edge);
        const Vec3d start = Support::NodePoint(*state.mesh, ends[0]);
        const Vec3d end = Support::NodePoint(*state.mesh, ends[1]);
        for (const double t : {0.5, 0.51, 0.52}) {
            MeshLocation place = state.places[0];
            place.point = start * (1 - t) + end * t;
            state.mesh->SplitAtLocation(place);
        }
        return state;
    };
    State whole = prepare();
    whole.mesh->CollapseShortEdges(0.05, whole.replaced);
    ASSERT_EQ(whole.replaced.size(), 2U);
    const std::size_t failures = Support::FailEachAllocationOfEither(
        prepare, [](State& state) { state.mesh->CollapseShortEdges(0.05, state.replaced); },
        [&](State& state, bool) {
            Support::ExpectSound(*state.mesh);
            state.mesh->BuildSearchTree();
            state.mesh->CollapseShortEdges(0.05, state.replaced);
            Support::ExpectSound(*state.mesh);
            EXPECT_EQ(Support::CountTopology(*state.mesh), Support::CountTopology(*whole.mesh));
        });
    EXPECT_GT(failures, 5U);
}

} // namespace
