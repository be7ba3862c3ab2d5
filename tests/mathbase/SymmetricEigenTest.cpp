// Eigenvalues of symmetric 3 x 3 matrices: those that a matrix was made of, at every scale.

#include "mathbase/SymmetricEigen_Impl.h"

#include "tests/support/Random.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using Velk::Math::Impl::Eigen3;
using Velk::Math::Impl::EigenOf;
using Velk::Math::Impl::Matrix3;

/// The matrix with these eigenvalues, whose eigenvectors are the axes turned about a random one.
Matrix3 WithEigenvalues(const std::array<double, 3>& values, Support::Random& random)
{
    // The rotation of a unit quaternion.
    double w = random.Between(-1, 1), x = random.Between(-1, 1), y = random.Between(-1, 1),
           z = random.Between(-1, 1);
    const double length = std::sqrt(w * w + x * x + y * y + z * z);
    w /= length, x /= length, y /= length, z /= length;
    const double axes[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y + w * z), 2 * (x * z - w * y)},
                               {2 * (x * y - w * z), 1 - 2 * (x * x + z * z), 2 * (y * z + w * x)},
                               {2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)}};
    Matrix3 m{};
    for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                m[i][j] += values[k] * (axes[k][i] * axes[k][j]);
            }
        }
    }
    return m;
}

TEST(SymmetricEigen, FindsTheValuesAMatrixWasMadeOf)
{
    Support::Random random(41);
    // The square of the ratio of entries overflows at the last scales.
    for (const double scale : {1.0, 1e-12, 1e12, 1e-290, 1e290}) {
        for (int trial = 0; trial < 50; ++trial) {
            std::array<double, 3> expected{random.Between(-1, 1) * scale,
                                           random.Between(-1, 1) * scale,
                                           trial % 3 == 0 ? 0.0 : random.Between(-1, 1) * scale};
            const Matrix3 m = WithEigenvalues(expected, random);
            const Eigen3 eigen = EigenOf(m);
            std::array<double, 3> found = eigen.values;
            std::sort(expected.begin(), expected.end());
            std::sort(found.begin(), found.end());
            for (int i = 0; i < 3; ++i) {
                EXPECT_NEAR(found[i], expected[i], 1e-14 * scale);
                for (int j = 0; j < 3; ++j) {
                    EXPECT_NEAR(eigen.vectors[i] * eigen.vectors[j], i == j ? 1.0 : 0.0, 1e-14);
                }
                const Vec3d v = eigen.vectors[i];
                const Vec3d image{m[i][0], m[i][1], m[i][2]};
                EXPECT_NEAR(image * v, eigen.values[i] * v[i], 1e-14 * scale);
            }
        }
    }
}

// Without off-diagonal entries the axes are the eigenvectors; with one that is next to nothing
// beside the difference of the diagonal, whose square would not be finite, they are so still.
TEST(SymmetricEigen, LeavesADiagonalMatrixAlone)
{
    for (const double beside : {0.0, 1e-200}) {
        const Eigen3 eigen =
            EigenOf({{{3.0, beside, beside}, {beside, -2.0, beside}, {beside, beside, 7.0}}});
        EXPECT_EQ(eigen.values, (std::array<double, 3>{3.0, -2.0, 7.0}));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(eigen.vectors[i][i], 1.0);
        }
    }
}

TEST(SymmetricEigen, EndsWithValuesThatAreNotFinite)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, infinity}) {
        const Eigen3 eigen = EigenOf({{{1.0, bad, 0.0}, {bad, 2.0, 0.0}, {0.0, 0.0, 3.0}}});
        EXPECT_FALSE(std::isfinite(eigen.values[0]) && std::isfinite(eigen.values[1]));
    }
}

} // namespace
