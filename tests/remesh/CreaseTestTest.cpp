// Whether normals turn by an angle or more, told from cosines where those can be trusted.

#include "remesh/CreaseTest_Impl.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace Velk::Math;
using Sorvane::HalfEdge::Impl::CreaseTest;

TEST(CreaseTest, TinyAndHugeTrianglesTurnByTheirAngle)
{
    // The square of one normal is too small for all its digits, that of the other makes up for it
    // in their product.
    for (const double tiny : {1.0, 1e-160, 3e-161}) {
        for (double turn = 20.0; turn < 170.0; turn += 10.0) {
            const double t = turn / 180 * kPi<double>;
            const double far = tiny == 1.0 ? 1.0 : 1e110;
            const Vec3d d(0.3, -far * std::cos(t), far * std::sin(t));
            for (const bool isCrease : {false, true}) {
                const double angle = isCrease ? turn - 1e-3 : turn + 1e-3;
                const CreaseTest test(angle / 180 * kPi<double>);
                EXPECT_EQ(test({0, 0, 0}, {1, 0, 0}, {0.3, tiny, 0}, d), isCrease)
                    << turn << " degrees, height " << tiny;
            }
        }
    }
}

} // namespace
