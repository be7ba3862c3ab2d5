// The report and the gap check when memory runs out: the exception passes, nothing is left behind,
// and the next call gives what it always gives.

#include <Sorvane/MeshReport_E.h>

#include "tests/meshreport/MeshReportTwin.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::CheckGaps;
using Sorvane::MeshUtils::CheckMesh;

template <class T>
class MeshReportWithoutMemory : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(MeshReportWithoutMemory, Scalars);

TYPED_TEST(MeshReportWithoutMemory, CheckMeshPassesTheExceptionOn)
{
    // With a hole, a turned triangle and a doubled one, so that every list takes memory. On one
    // thread, the one whose allocations fail.
    auto soup = Support::SoupOf<TypeParam>(Support::Sphere(2));
    soup.erase(soup.begin() + 5);
    std::swap(soup[9][0], soup[9][1]);
    soup.push_back(soup[20]);
    soup.push_back({soup[0][0], soup[0][0], soup[0][1]});
    Support::WithThreads(1, [&] {
        const auto expected = CheckMesh(soup, TypeParam(1e-6));
        EXPECT_FALSE(expected.openSlots.empty() || expected.nonManifoldSlots.empty() ||
                     expected.misorientedTriangles.empty() || expected.degenerateTriangles.empty());
        const std::size_t failures = Support::FailEachAllocation(
            [] { return 0; }, [&](int) { (void)CheckMesh(soup, TypeParam(1e-6)); },
            [&](int) { EXPECT_EQ(CheckMesh(soup, TypeParam(1e-6)), expected); });
        EXPECT_GT(failures, 10U);
    });
}

TEST(GapCheckWithoutMemory, PassesTheExceptionOn)
{
    const std::vector<Vec3d> points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0},
                                    {3, 0, 0}, {4, 0, 0}, {3, 1, 0}};
    const std::vector<int> indices{0, 1, 2, 3, 4, 5};
    const auto expected = CheckGaps(points, indices);
    EXPECT_FALSE(expected.invalidMesh);
    const std::size_t failures = Support::FailEachAllocation(
        [] { return 0; }, [&](int) { (void)CheckGaps(points, indices); },
        [&](int) { EXPECT_EQ(CheckGaps(points, indices), expected); });
    EXPECT_GT(failures, 10U);
}

} // namespace
