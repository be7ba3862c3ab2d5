// Quadric error functions: sums, merges, and solutions compared with a full decomposition of
// another library.

#include <Sorvane/QuadricErrorFunction_E.h>

#include "tests/support/Random.h"
#include "tests/support/TestSupport.h"

#include <Eigen/SVD>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge::Decorations;

constexpr double kGreatest = std::numeric_limits<double>::max();

Vec3d RandomDirection(Support::Random& random)
{
    for (;;) {
        const Vec3d d(random.Between(-1, 1), random.Between(-1, 1), random.Between(-1, 1));
        if (Length(d) > 0.1 && Length(d) < 1) {
            return d / Length(d);
        }
    }
}

/// A quadric of planes near `spread` apart in direction, so that ranks 1 to 3 all occur.
QuadricErrorFunction RandomQuadric(Support::Random& random, double spread, double scale)
{
    QuadricErrorFunction q;
    const Vec3d axis = RandomDirection(random);
    for (int i = 0; i < 6; ++i) {
        const Vec3d n = axis + RandomDirection(random) * spread;
        AddPlane(q, RandomDirection(random) * scale, n * (scale * scale * random.Between(0.5, 2)));
    }
    return q;
}

Eigen::Matrix3d Matrix(const QuadricErrorFunction& q)
{
    Eigen::Matrix3d m;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            m(r, c) = q.A(r, c);
        }
    }
    return m;
}

TEST(QuadricErrorFunction, ErrorIsTheSumOfSquaredDistancesTimesSquaredNormals)
{
    Support::Random random(1);
    for (int trial = 0; trial < 100; ++trial) {
        QuadricErrorFunction q;
        const Vec3d x = RandomDirection(random) * 3.0;
        double expected = 0;
        for (int i = 0; i < 5; ++i) {
            const Vec3d p = RandomDirection(random);
            const Vec3d n = RandomDirection(random) * random.Between(0.1, 2);
            AddPlane(q, p, n);
            expected += std::pow(n * (x - p), 2);
        }
        EXPECT_NEAR(ErrorAt(q, x), expected, 1e-12 * (1 + expected));
        EXPECT_EQ(q.count, 5);
    }
}

TEST(QuadricErrorFunction, SolvesAsAFullDecompositionDoes)
{
    Support::Random random(2);
    std::array<int, 4> ranks{};
    int solved = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        const double spread = std::pow(10.0, random.Between(-4, 0.5));
        const double scale = std::pow(10.0, random.Between(-2, 3));
        const double tolerance = trial % 2 == 0 ? 0.005 : 0.1;
        QuadricErrorFunction q = RandomQuadric(random, spread, scale);
        const Eigen::JacobiSVD<Eigen::Matrix3d> svd(Matrix(q),
                                                    Eigen::ComputeFullU | Eigen::ComputeFullV);
        const Eigen::Vector3d s = svd.singularValues();
        Eigen::Vector3d mass;
        Eigen::Vector3d b;
        for (int i = 0; i < 3; ++i) {
            mass(i) = q.massPoint[i] / q.count;
            b(i) = q.b[i];
        }
        const Eigen::Vector3d r = svd.matrixU().transpose() * (b - Matrix(q) * mass);
        Eigen::Vector3d y = Eigen::Vector3d::Zero();
        int rank = 0;
        double least = s(0);
        for (int i = 0; i < 3; ++i) {
            if (s(i) / s(0) > tolerance) {
                y += svd.matrixV().col(i) * r(i) / s(i);
                least = s(i);
                ++rank;
            }
            if (std::fabs(s(i) / s(0) / tolerance - 1) < 1e-5) {
                rank = -1; // either is right there
                break;
            }
        }
        if (rank < 0) {
            continue;
        }
        Vec3d x;
        double error = 0;
        Solve(q, x, error, tolerance);
        ASSERT_EQ(q.rank, rank) << trial << ": " << s.transpose() / s(0);
        // What the singular value next to the limit does to its vectors is no one's fault.
        const double gap = rank == 3 ? 1 : std::max(1e-3, (least - s(rank)) / s(0));
        const double size = scale + y.norm();
        for (int i = 0; i < 3; ++i) {
            ASSERT_NEAR(x[i], mass(i) + y(i), 1e-8 * size / gap) << trial << " rank " << rank;
        }
        EXPECT_EQ(error, ErrorAt(q, x));
        ++ranks[static_cast<std::size_t>(rank)];
        ++solved;
    }
    EXPECT_GT(solved, 19000);
    for (int rank = 1; rank <= 3; ++rank) {
        EXPECT_GT(ranks[static_cast<std::size_t>(rank)], 1000) << rank;
    }
}

TEST(QuadricErrorFunction, DoubleAndZeroSingularValues)
{
    // One plane, two at a right angle, three: the point of least error next to the mass point.
    QuadricErrorFunction q;
    AddPlane(q, {1, 5, 6}, {2, 0, 0});
    Vec3d x;
    double error = 1;
    Solve(q, x, error, 0.005);
    EXPECT_EQ(q.rank, 1);
    EXPECT_EQ(x, Vec3d(1, 5, 6)) << "count 1: the sample is the mass point";
    EXPECT_EQ(error, 0);
    q.rank = 0;
    AddPlane(q, {3, 7, 8}, {0, 2, 0});
    Solve(q, x, error, 0.005);
    EXPECT_EQ(q.rank, 2);
    EXPECT_NEAR(x[0], 1, 1e-14);
    EXPECT_NEAR(x[1], 7, 1e-14);
    EXPECT_NEAR(x[2], 7, 1e-14) << "as the mean of the samples";
    q.rank = 0;
    AddPlane(q, {0, 0, 9}, {0, 0, 2});
    Solve(q, x, error, 0.005);
    EXPECT_EQ(q.rank, 3);
    EXPECT_NEAR(Length(x - Vec3d(1, 7, 9)), 0, 1e-13);
    QuadricErrorFunction none;
    AddPlane(none, {1, 2, 3}, {0, 0, 0});
    Solve(none, x, error, 0.005);
    EXPECT_EQ(none.rank, 0);
    EXPECT_EQ(x, Vec3d(1, 2, 3));
    EXPECT_EQ(error, 0);
}

TEST(QuadricErrorFunction, TheErrorIsNeverNegative)
{
    Support::Random random(3);
    int clamped = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        // One tilted plane, many samples, away from the origin: 0 but for roundings.
        const Vec3d n = RandomDirection(random);
        QuadricErrorFunction q;
        for (int i = 0; i < 6; ++i) {
            const Vec3d p = RandomDirection(random) * 10.0;
            AddPlane(q, n * 7.0 + p - n * (n * p), n);
        }
        Vec3d x;
        double error = -1;
        Solve(q, x, error, 0.005);
        ASSERT_GE(error, 0);
        ASSERT_GE(ErrorAt(q, x), 0);
        clamped += error == 0 ? 1 : 0;
    }
    EXPECT_GT(clamped, 200) << "half of the roundings go below";
}

TEST(QuadricErrorFunction, EmptyOnes)
{
    QuadricErrorFunction q;
    q.rank = 2;
    Vec3d x;
    double error = 0;
    Solve(q, x, error, 0.005);
    EXPECT_EQ(error, kGreatest);
    EXPECT_EQ(x, Vec3d(kGreatest, kGreatest, kGreatest));
    EXPECT_EQ(q.rank, 2);
    EXPECT_EQ(ErrorAt(q, {1, 2, 3}), kGreatest);
    QuadricErrorFunction full;
    AddPlane(full, {1, 2, 3}, {0, 0, 1});
    EXPECT_EQ(Merge(full, QuadricErrorFunction{}), QuadricErrorFunction{});
    EXPECT_EQ(Merge(QuadricErrorFunction{}, full), QuadricErrorFunction{});
}

TEST(QuadricErrorFunction, MergeKeepsTheSamplesOfTheHigherRank)
{
    QuadricErrorFunction a;
    AddPlane(a, {1, 0, 0}, {1, 0, 0});
    QuadricErrorFunction b;
    AddPlane(b, {0, 2, 0}, {0, 1, 0});
    AddPlane(b, {0, 4, 0}, {0, 1, 0});
    QuadricErrorFunction sum = Merge(a, b);
    EXPECT_EQ(sum.count, 3);
    EXPECT_EQ(sum.massPoint, Vec3d(1, 6, 0));
    EXPECT_EQ(sum.rank, 0);
    EXPECT_EQ(sum.c, 1 + 4 + 16);
    EXPECT_EQ(sum.b, Vec3d(1, 6, 0));
    b.rank = 1;
    for (const QuadricErrorFunction& merged : {Merge(a, b), Merge(b, a)}) {
        EXPECT_EQ(merged.count, 2);
        EXPECT_EQ(merged.massPoint, Vec3d(0, 6, 0));
        EXPECT_EQ(merged.rank, 1);
        EXPECT_EQ(merged.c, 21) << "planes of both, whatever the rank";
    }
    // A solved quadric takes planes and no samples.
    AddPlane(b, {9, 9, 9}, {0, 0, 1});
    EXPECT_EQ(b.count, 2);
    EXPECT_EQ(b.massPoint, Vec3d(0, 6, 0));
    EXPECT_EQ(b.A(2, 2), 1);
}

TEST(QuadricErrorFunction, PseudoInverseHasTheFourPropertiesOfOne)
{
    Support::Random random(4);
    for (int trial = 0; trial < 3000; ++trial) {
        const QuadricErrorFunction q =
            RandomQuadric(random, std::pow(10.0, random.Between(-1, 0.5)), 1);
        int deficient = -1;
        const MatBase<3, 3, double> inverse = PseudoInverse(q.A, 1e-9, deficient);
        ASSERT_EQ(deficient, 0);
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                double entry = 0;
                for (int k = 0; k < 3; ++k) {
                    entry += q.A(r, k) * inverse(k, c);
                }
                ASSERT_NEAR(entry, r == c ? 1 : 0, 1e-7);
            }
        }
    }
    int deficient = -1;
    EXPECT_EQ(PseudoInverse({}, 0.1, deficient), (MatBase<3, 3, double>{}));
    EXPECT_EQ(deficient, 3);
    const MatBase<3, 3, double> diagonal{{4, 0, 0}, {0, 0.4, 0}, {0, 0, 0.2}};
    const MatBase<3, 3, double> inverse = PseudoInverse(diagonal, 0.1, deficient);
    EXPECT_EQ(deficient, 2) << "a share equal to the tolerance counts as zero";
    EXPECT_EQ(inverse, (MatBase<3, 3, double>{{0.25, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
    // The greatest singular value counts as 1e-24 where it is smaller.
    EXPECT_EQ(PseudoInverse({{1e-26, 0, 0}, {0, 0, 0}, {0, 0, 0}}, 0.1, deficient),
              (MatBase<3, 3, double>{}));
    EXPECT_EQ(deficient, 3);
}

TEST(QuadricErrorFunction, WhatIsNotFiniteEndsAndHasNoRank)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, infinity, -infinity, 1e200}) {
        QuadricErrorFunction q;
        AddPlane(q, {bad, 0, 0}, {1, bad, 0});
        AddPlane(q, {1, 0, 0}, {1, 1, 1});
        Vec3d x;
        double error = 0;
        Solve(q, x, error, 0.005);
        EXPECT_FALSE(error < infinity) << bad;
    }
    QuadricErrorFunction q;
    AddPlane(q, {1, 2, 3}, {1, 0, 0});
    AddPlane(q, {1, 2, 3}, {0, 1, 0});
    Vec3d x;
    double error = 0;
    Solve(q, x, error, nan);
    EXPECT_EQ(q.rank, 0) << "with a NaN limit none is beyond it";
}

TEST(QuadricErrorFunction, ScalingByTwoChangesNoDigit)
{
    Support::Random random(5);
    for (int trial = 0; trial < 1000; ++trial) {
        QuadricErrorFunction q;
        QuadricErrorFunction twice;
        for (int i = 0; i < 6; ++i) {
            const Vec3d p = RandomDirection(random);
            const Vec3d n = RandomDirection(random) * random.Between(0.1, 1);
            AddPlane(q, p, n);
            AddPlane(twice, p * 2.0, n * 4.0);
        }
        Vec3d x;
        Vec3d y;
        double error = 0;
        double scaled = 0;
        Solve(q, x, error, 0.1);
        Solve(twice, y, scaled, 0.1);
        ASSERT_EQ(y, x * 2.0);
        ASSERT_EQ(scaled, error * 64.0);
    }
}

} // namespace
