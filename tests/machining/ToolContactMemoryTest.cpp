// Drops and gouges with every allocation refused once.

#include "tests/support/ContactOracle.h"
#include "tests/support/FailingAllocation.h"

#include <Sorvane/ContactSurface_E.h>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ContactSurface;
using Mill::ConvexToolContact;

// Few enough of everything that the work stays on the calling thread.
std::vector<Vec3d> FewTriangles()
{
    Support::Random random(121);
    return Support::RandomSoup(random, 20, 10.0);
}

TEST(ToolContactMemory, ADropThrowsOrAnswers)
{
    const std::vector<Vec3d> soup = FewTriangles();
    const auto record = Support::BullTool(2, 3).record;
    EXPECT_GT(Support::FailEachAllocationOfResult([&] {
                  return ConvexToolContact(record).DropAt({0, 0}, soup);
              }),
              2U);
}

TEST(ContactSurfaceMemory, ABatchThrowsOrAnswers)
{
    const std::vector<Vec3d> soup = FewTriangles();
    const ConvexToolContact tool(Support::BullTool(2, 3).record);
    EXPECT_GT(Support::FailEachAllocationOfResult([&] {
                  return ContactSurface(soup).DropOnRaster(tool, {{-10, -10}, {4, 4}, 6, 6}, {});
              }),
              8U);
    const std::vector<Mill::ToolPart> parts{{Support::BullTool(2, 3).record, 0},
                                            {Support::FlatTool(6).record, 3}};
    EXPECT_GT(Support::FailEachAllocationOfResult([&] {
                  return ContactSurface(soup).FindGouges(parts, {{0, 0, 0}, {1, 2, -9}}, 0.0, {});
              }),
              8U);
}

TEST(ContactSurfaceMemory, ASurfaceIsReplacedOrLeftAsItWas)
{
    const std::vector<Vec3d> soup = FewTriangles();
    const std::vector<Vec3d> level{{-9, -9, 4}, {9, -9, 4}, {0, 9, 4}};
    EXPECT_GT(Support::FailEachAllocation(
                  [&] { return ContactSurface(level); },
                  [&](ContactSurface& surface) { surface = ContactSurface(soup); },
                  [&](const ContactSurface& surface) { EXPECT_EQ(surface.TriangleCount(), 1U); }),
              5U);
}

} // namespace
