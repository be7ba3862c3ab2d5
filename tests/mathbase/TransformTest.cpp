// Affine maps: what they do to points, and every way to build them.

#include <Velk/Math/Transform_E.h>

#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::Random;
using namespace Velk::Math::Transform;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kHalfPi = kPi<double> / 2;

static_assert(std::is_trivially_copyable_v<TransformBase<3>>);
static_assert(sizeof(TransformBase<2>) == 9 * sizeof(double));

template <int N>
void ExpectNear(const VecBase<N, double>& actual, const VecBase<N, double>& expected,
                double accuracy)
{
    EXPECT_LE(Vector::Length(actual - expected), accuracy) << actual << " for " << expected;
}

template <int N>
void ExpectNear(const TransformBase<N>& actual, const TransformBase<N>& expected, double accuracy)
{
    for (int i = 0; i < (N + 1) * (N + 1); ++i) {
        EXPECT_NEAR(actual.matrix.value[i], expected.matrix.value[i], accuracy) << "entry " << i;
    }
}

template <int N>
void ExpectOrthonormal(const TransformBase<N>& t, double accuracy)
{
    for (int r = 0; r < N; ++r) {
        for (int c = 0; c < N; ++c) {
            double product = 0.0;
            for (int i = 0; i < N; ++i) {
                product += t(i, r) * t(i, c);
            }
            EXPECT_NEAR(product, r == c ? 1.0 : 0.0, accuracy);
        }
    }
}

TransformBase<3> Inverse(const TransformBase<3>& t)
{
    MatBase<4, 4, double> m(t);
    EXPECT_TRUE(Matrix::Invert(m, kInversionFloor));
    return TransformBase<3>(m);
}

TransformBase<3> RandomFrame(Random& random)
{
    return BuildTranslationTransform(random.Vector<3, double>(-5, 5)) *
           BuildRotationFromAxisAngle(random.Vector<3, double>(-1, 1), random.Between(-3, 3));
}

// --- the value type and maps of points ----------------------------------------------------------

TEST(TransformBase, DefaultIsTheIdentity)
{
    EXPECT_EQ((TransformBase<2>{}.matrix), (Matrix::Identity<3, double>()));
    EXPECT_EQ((TransformBase<3>{}.matrix), (Matrix::Identity<4, double>()));
    EXPECT_EQ((TransformBase<3>{} * Vec3d{1, 2, 3}), (Vec3d{1, 2, 3}));
}

TEST(TransformBase, CopiesToAMatrixAndBack)
{
    const auto t = BuildTransform({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {10, 11, 12}, 1.0);
    const MatBase<4, 4, double> m(t);
    EXPECT_EQ(m,
              (MatBase<4, 4, double>{{1, 2, 3, 10}, {4, 5, 6, 11}, {7, 8, 9, 12}, {0, 0, 0, 1}}));
    EXPECT_EQ(TransformBase<3>(m), t);
    const auto plane = BuildTransform2D({{1, 2}, {3, 4}}, {5, 6}, 1.0);
    const MatBase<3, 3, double> n(plane);
    EXPECT_EQ(n, (MatBase<3, 3, double>{{1, 2, 5}, {3, 4, 6}, {0, 0, 1}}));
    EXPECT_EQ(TransformBase<2>(n), plane);
}

TEST(TransformBase, ProductAppliesTheRightOneFirst)
{
    const auto turn = BuildRotationFromAxisAngle({0, 0, 1}, kHalfPi);
    const auto shift = BuildTranslationTransform({10, 0, 0});
    ExpectNear((turn * shift) * Vec3d{1, 0, 0}, {0, 11, 0}, 1e-14);
    ExpectNear((shift * turn) * Vec3d{1, 0, 0}, {10, 1, 0}, 1e-14);
}

template <class T>
class PointMapOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(PointMapOf, Scalars);

TYPED_TEST(PointMapOf, MapsPointsOfThePlaneAndOfSpace)
{
    using T = TypeParam;
    const auto plane = BuildTransform2D({{1, 2}, {3, 4}}, {10, 20}, 1.0);
    EXPECT_EQ((plane * VecBase<2, T>{5, 6}), (VecBase<2, T>{27, 59})); // 5 + 12 + 10, 15 + 24 + 20
    const auto space = BuildTransform({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {10, 20, 30}, 1.0);
    EXPECT_EQ((space * VecBase<3, T>{1, 0, -1}), (VecBase<3, T>{8, 18, 28}));
}

TYPED_TEST(PointMapOf, InPlaceFormAppliesFromTheLeftToo)
{
    using T = TypeParam;
    const auto plane = BuildTransform2D({{1, 2}, {3, 4}}, {10, 20}, 1.0);
    VecBase<2, T> p{5, 6};
    VecBase<2, T>& result = (p *= plane);
    EXPECT_EQ(&result, &p);
    EXPECT_EQ(p, (VecBase<2, T>{27, 59}));
    const auto space = BuildTransform({{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}, {1, 2, 3}, 2.0);
    VecBase<3, T> q{4, 5, 6};
    EXPECT_EQ(&(q *= space), &q);
    EXPECT_EQ(q, (VecBase<3, T>{11, 14, 11}));
}

TEST(PointMap, FloatPointsAreMappedInDoubleAndRoundedOnce)
{
    // 1 + 2^-30 is lost in float arithmetic; minus 1 it must come out whole.
    const auto t = BuildTransform2D({{1, 1}, {0, 1}}, {-1, 0}, 1.0);
    EXPECT_EQ((t * Vec2f{1.0F, 0x1p-30F}), (Vec2f{0x1p-30F, 0x1p-30F}));
}

TEST(PointMap, TheLastRowIsNotLookedAt)
{
    TransformBase<3> t;
    t(3, 0) = 5;
    t(3, 3) = 9;
    EXPECT_EQ((t * Vec3d{1, 2, 3}), (Vec3d{1, 2, 3}));
    TransformBase<2> p;
    p(2, 1) = kNan;
    EXPECT_EQ((p * Vec2d{1, 2}), (Vec2d{1, 2}));
}

TEST(PointMap, ListsAreMappedPointByPoint)
{
    Random random(41);
    const auto t = RandomFrame(random);
    std::vector<Vec3d> points;
    for (int i = 0; i < 1000; ++i) {
        points.push_back(random.Vector<3, double>(-10, 10));
    }
    const auto mapped = t * points;
    ASSERT_EQ(mapped.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(mapped[i], t * points[i]);
    }
    EXPECT_TRUE((t * std::vector<Vec3d>{}).empty());
}

TEST(PointMap, ProductOfTransformsIsTheMapAfterTheMap)
{
    Random random(42);
    for (int trial = 0; trial < 500; ++trial) {
        const auto a = RandomFrame(random);
        const auto b = RandomFrame(random);
        const auto p = random.Vector<3, double>(-1, 1);
        ExpectNear((a * b) * p, a * (b * p), 1e-14);
        ExpectNear(Inverse(a) * (a * p), p, 1e-14);
    }
}

// --- simple builders ----------------------------------------------------------------------------

TEST(Build, Translation)
{
    EXPECT_EQ((BuildTranslationTransform({1, 2, 3}) * Vec3d{10, 20, 30}), (Vec3d{11, 22, 33}));
    EXPECT_EQ((BuildTranslationTransform2D({1, 2}) * Vec2d{10, 20}), (Vec2d{11, 22}));
    EXPECT_EQ(BuildTranslationTransform({}), TransformBase<3>{});
    EXPECT_EQ(BuildTranslationTransform2D({}), TransformBase<2>{});
}

TEST(Build, RotationTakesTheMatrixAsItIs)
{
    const auto t = BuildRotationTransform({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    EXPECT_EQ(t.matrix,
              (MatBase<4, 4, double>{{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {0, 0, 0, 1}}));
}

TEST(Build, RotationFromAngleIsCounterClockwise)
{
    EXPECT_EQ(BuildRotationFromAngle(0.0), TransformBase<2>{});
    ExpectNear(BuildRotationFromAngle(kHalfPi) * Vec2d{1, 0}, {0, 1}, 1e-15);
    ExpectNear(BuildRotationFromAngle(kHalfPi) * Vec2d{0, 1}, {-1, 0}, 1e-15);
    ExpectNear(BuildRotationFromAngle(-kPi<double> / 6) * Vec2d{2, 0}, {std::sqrt(3.0), -1}, 1e-15);
    Random random(43);
    for (int trial = 0; trial < 500; ++trial) {
        const auto t = BuildRotationFromAngle(random.Between(-10, 10));
        ExpectOrthonormal(t, 4 * kEpsilon);
        EXPECT_EQ(t(0, 2), 0.0);
        EXPECT_EQ(t(1, 2), 0.0);
    }
}

TEST(Build, RotationFromAxisAngleIsRightHanded)
{
    const Vec3d x{1, 0, 0};
    const Vec3d y{0, 1, 0};
    const Vec3d z{0, 0, 1};
    ExpectNear(BuildRotationFromAxisAngle(z * 7.0, kHalfPi) * x, y, 1e-15);
    ExpectNear(BuildRotationFromAxisAngle(x * 0.5, kHalfPi) * y, z, 1e-15);
    ExpectNear(BuildRotationFromAxisAngle(y, kHalfPi) * z, x, 1e-15);
    ExpectNear(BuildRotationFromAxisAngle(z, -kHalfPi) * x, -y, 1e-15);
    // A third of a turn about the diagonal permutes the axes.
    ExpectNear(BuildRotationFromAxisAngle({1, 1, 1}, kTwoPi<double> / 3) * Vec3d{1, 2, 3},
               {3, 1, 2}, 4e-15);
    EXPECT_EQ(BuildRotationFromAxisAngle({3, -4, 5}, 0.0), TransformBase<3>{});
}

TEST(Build, RotationFromAxisAngleWithoutAnAxisIsTheIdentity)
{
    for (const Vec3d& axis : {Vec3d{}, Vec3d{1e-12, 0, 0}, Vec3d{0, 0.9e-12, 0}, Vec3d{kNan, 0, 1},
                              Vec3d{kInfinity, 0, 1}}) {
        EXPECT_EQ(BuildRotationFromAxisAngle(axis, 1.0), TransformBase<3>{}) << axis;
    }
    EXPECT_NE(BuildRotationFromAxisAngle({1.1e-12, 0, 0}, 1.0), TransformBase<3>{});
    // The length of a long axis overflows when squared; its direction is as good as any.
    EXPECT_EQ(BuildRotationFromAxisAngle({1e200, 0, 0}, 1.0),
              BuildRotationFromAxisAngle({1, 0, 0}, 1.0));
}

TEST(Build, RotationFromAxisAngleKeepsLengthsAndItsAxis)
{
    Random random(44);
    for (int trial = 0; trial < 5000; ++trial) {
        const auto axis = random.Vector<3, double>(-1, 1) * std::exp2(random.Between(-30, 300));
        const double angle = random.Between(-7, 7) * std::exp2(random.Between(-40, 0));
        const auto t = BuildRotationFromAxisAngle(axis, angle);
        // In roundings, half an epsilon: the axis is too long or short by up to 2.5 and each of its
        // components off by one more, so that its squares times 1 - cos have 13, and 4/3 of that as
        // a matrix; its sin fold has 5.5, and 1.2 of that; the sums and the product with a point 7.
        const double versine = 2 * std::pow(std::sin(angle / 2), 2);
        const double once = (18 * versine + 7 * std::fabs(std::sin(angle)) + 7) * kEpsilon / 2;
        ExpectOrthonormal(t, 2 * once);
        const auto p = random.Vector<3, double>(-1, 1);
        const double size = Vector::Length(p);
        EXPECT_NEAR(Vector::Length(t * p), size, (once + 3 * kEpsilon) * size);
        const Vec3d unit = axis / axis[0] * 1e-3; // any length will do to tell the axis
        ExpectNear(t * unit, unit, (once + kEpsilon) * Vector::Length(unit));
        // Back by the opposite angle, which is the transpose.
        ExpectNear(BuildRotationFromAxisAngle(axis, -angle) * (t * p), p, 2 * once * size);
        // Of the squares each counts twice, and the sums and the cosine take 12.
        EXPECT_NEAR(t(0, 0) + t(1, 1) + t(2, 2), 1 + 2 * std::cos(angle),
                    (26 * versine + 12) * kEpsilon / 2);
    }
}

TEST(Build, Scale)
{
    EXPECT_EQ((BuildScaleTransform(2.5) * Vec3d{1, -2, 4}), (Vec3d{2.5, -5, 10}));
    EXPECT_EQ(BuildScaleTransform(1.0), TransformBase<3>{});
    EXPECT_EQ(BuildScaleTransform(2.5)(3, 3), 1.0);
}

TEST(Build, TransformScalesTheLinearPartOnly)
{
    const auto space = BuildTransform({{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}, {1, 1, 1}, 2.0);
    EXPECT_EQ(space.matrix,
              (MatBase<4, 4, double>{{2, 4, 6, 1}, {8, 10, 12, 1}, {14, 16, 20, 1}, {0, 0, 0, 1}}));
    const auto plane = BuildTransform2D({{1, 2}, {3, 4}}, {5, 6}, 3.0);
    EXPECT_EQ(plane.matrix, (MatBase<3, 3, double>{{3, 6, 5}, {9, 12, 6}, {0, 0, 1}}));
}

// --- frames -------------------------------------------------------------------------------------

TEST(BuildTransformAxisOrigin, TakesZToTheAxisAndZeroToTheOrigin)
{
    Random random(45);
    for (int trial = 0; trial < 1000; ++trial) {
        const auto axis = random.Vector<3, double>(-3, 3);
        const auto origin = random.Vector<3, double>(-100, 100);
        const auto t = BuildTransformAxisOrigin(axis, origin);
        EXPECT_EQ((t * Vec3d{}), origin);
        ExpectOrthonormal(t, 2e-15);
        ExpectNear(t * Vec3d{0, 0, 1} - origin, Vector::Normalized(axis, 0.0), 1e-13);
        // The inverse takes the plane through the origin to z = 0.
        const Vec3d inPlane = axis ^ random.Vector<3, double>(-1, 1);
        EXPECT_NEAR((Inverse(t) * (origin + inPlane)).z(), 0.0, 1e-13);
    }
}

TEST(BuildTransformAxisOrigin, SpecialAxes)
{
    const Vec3d origin{1, 2, 3};
    EXPECT_EQ(BuildTransformAxisOrigin({}, origin), BuildTranslationTransform(origin));
    EXPECT_EQ(BuildTransformAxisOrigin({0, 0, 9}, origin), BuildTranslationTransform(origin));
    const auto down = BuildTransformAxisOrigin({0, 0, -9}, origin);
    EXPECT_EQ((down * Vec3d{0, 0, 1}), (Vec3d{1, 2, 2}));
    EXPECT_EQ((down * Vec3d{1, 1, 0}), (Vec3d{2, 1, 3})); // half a turn about X
}

TEST(BuildTransformThreePoints, ClosedForm)
{
    const auto t = BuildTransformThreePoints({1, 1, 1}, {1, 5, 1}, {1, 7, 4});
    EXPECT_EQ((t * Vec3d{0, 0, 0}), (Vec3d{1, 1, 1}));
    EXPECT_EQ((t * Vec3d{1, 0, 0}), (Vec3d{1, 2, 1})); // X along +y
    EXPECT_EQ((t * Vec3d{0, 1, 0}), (Vec3d{1, 1, 2})); // Y along +z
    EXPECT_EQ((t * Vec3d{0, 0, 1}), (Vec3d{2, 1, 1})); // Z along +x
}

TEST(BuildTransformThreePoints, PutsTheTriangleInItsPlane)
{
    Random random(46);
    for (int trial = 0; trial < 5000; ++trial) {
        SCOPED_TRACE(trial);
        const double size = std::exp2(random.Between(-40, 40));
        const Vec3d p0 = random.Vector<3, double>(-1, 1) * size;
        const Vec3d p1 = random.Vector<3, double>(-1, 1) * size;
        const Vec3d p2 = random.Vector<3, double>(-1, 1) * size;
        const auto t = BuildTransformThreePoints(p0, p1, p2);
        ExpectOrthonormal(t, 2e-15);
        const auto toLocal = Inverse(t);
        const double accuracy = 1e-14 * size;
        ExpectNear(toLocal * p0, {}, accuracy);
        ExpectNear(toLocal * p1, {Vector::Length(p1 - p0), 0, 0}, accuracy);
        const Vec3d third = toLocal * p2;
        EXPECT_NEAR(third.z(), 0.0, accuracy);
        EXPECT_GT(third.y(), 0.0);
        EXPECT_NEAR(Vector::Length(third), Vector::Length(p2 - p0), accuracy);
    }
}

/// Sine of the angle between two vectors, with more digits than `double` has.
long double SineBetween(const Vec3d& a, const Vec3d& b)
{
    using Wide = std::array<long double, 3>;
    const Wide u{a.x(), a.y(), a.z()};
    const Wide v{b.x(), b.y(), b.z()};
    const auto length = [](const Wide& w) {
        return std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    };
    const Wide normal{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                      u[0] * v[1] - u[1] * v[0]};
    return length(normal) / (length(u) * length(v));
}

TEST(BuildTransformThreePoints, ThinTrianglesHaveOrthonormalFrames)
{
    // Collinear is a sine of at most 4 epsilon. It is computed to 2 epsilon: half an epsilon for
    // the direction of each edge, and at most sqrt(2) halves for the products of their components.
    Random random(47);
    for (int exponent = 1; exponent <= 16; ++exponent) {
        SCOPED_TRACE(exponent);
        for (int trial = 0; trial < 100; ++trial) {
            const Vec3d edge = random.Vector<3, double>(-1, 1);
            const Vec3d aside =
                (edge ^ random.Vector<3, double>(-1, 1)) * std::pow(10.0, -exponent);
            const Vec3d third = edge * 0.7 + aside;
            const auto t = BuildTransformThreePoints({}, edge, third);
            const long double sine = SineBetween(edge, third);
            const bool isFrame = t != BuildTransform({}, {}, 1.0);
            if (sine > 6 * kEpsilon) {
                EXPECT_TRUE(isFrame) << trial;
            } else if (sine < 2 * kEpsilon) {
                EXPECT_FALSE(isFrame) << trial;
            }
            if (isFrame) {
                ExpectOrthonormal(t, 2e-15);
                // Half an epsilon for the direction of X, as much for that of Y and sqrt(2) halves
                // for the product that Y is made of, which is across X.
                long double off = 0;
                for (int i = 0; i < 3; ++i) {
                    off += static_cast<long double>(t(i, 1)) * edge[i];
                }
                EXPECT_LE(std::fabs(off), 2 * kEpsilon * Vector::Length(edge));
            }
        }
    }
}

TEST(BuildTransformThreePoints, WithoutAPlaneIsSingular)
{
    Random random(48);
    std::vector<std::array<Vec3d, 3>> degenerate{
        {Vec3d{1, 2, 3}, Vec3d{1, 2, 3}, Vec3d{4, 5, 7}},
        {Vec3d{1, 2, 3}, Vec3d{4, 5, 7}, Vec3d{1, 2, 3}},
        {Vec3d{1, 2, 3}, Vec3d{4, 5, 7}, Vec3d{4, 5, 7}},
        {Vec3d{1, 2, 3}, Vec3d{1, 2, 3}, Vec3d{1, 2, 3}},
        {Vec3d{0, 0, 0}, Vec3d{1, 1, 1}, Vec3d{-3, -3, -3}},
        {Vec3d{0, 0, 0}, Vec3d{kNan, 1, 1}, Vec3d{1, 0, 0}},
        {Vec3d{0, 0, 0}, Vec3d{kInfinity, 1, 1}, Vec3d{1, 0, 0}},
    };
    for (int i = 0; i < 5000; ++i) { // collinear up to the rounding of the multiples
        const Vec3d d = random.Vector<3, double>(-1, 1);
        degenerate.push_back({Vec3d{}, d * random.Between(0.1, 9), d * random.Between(-9, 9)});
    }
    for (const auto& [p0, p1, p2] : degenerate) {
        const auto t = BuildTransformThreePoints(p0, p1, p2);
        EXPECT_EQ((t * Vec3d{1, 1, 1}), p0); // linear part zero
        MatBase<4, 4, double> m(t);
        EXPECT_FALSE(Matrix::Invert(m, kInversionFloor));
    }
}

TEST(BuildRelativeTransform, LeadsFromFirstToSecond)
{
    Random random(49);
    for (int trial = 0; trial < 1000; ++trial) {
        const auto a = RandomFrame(random) * BuildScaleTransform(random.Between(0.1, 10));
        const auto b = RandomFrame(random);
        const auto r = BuildRelativeTransform(a, b);
        ExpectNear(r * a, b, 1e-13);
        ExpectNear(BuildRelativeTransform(b, a) * r, TransformBase<3>{}, 1e-12);
    }
    const auto shift = BuildTranslationTransform({1, 2, 3});
    EXPECT_EQ(BuildRelativeTransform({}, shift), shift);
    EXPECT_EQ(BuildRelativeTransform(shift, shift), TransformBase<3>{});
}

TEST(BuildRelativeTransform, FromASingularFrameIsTheIdentity)
{
    const auto flat = BuildTransformThreePoints({}, {}, {});
    EXPECT_EQ(BuildRelativeTransform(flat, BuildTranslationTransform({1, 2, 3})),
              TransformBase<3>{});
    EXPECT_EQ(BuildRelativeTransform(BuildScaleTransform(1e-6), {}), TransformBase<3>{}); // 1e-18
}

TEST(BuildMirrorAboutLine, ClosedForms)
{
    const Vec2d p{3, 4};
    EXPECT_EQ((BuildMirrorAboutLine({0, 0}, {1, 0}) * p), (Vec2d{3, -4}));
    EXPECT_EQ((BuildMirrorAboutLine({0, 0}, {0, -5}) * p), (Vec2d{-3, 4}));
    EXPECT_EQ((BuildMirrorAboutLine({7, 1}, {2, 0}) * p), (Vec2d{3, -2}));
    ExpectNear(BuildMirrorAboutLine({0, 0}, {1, 1}) * p, {4, 3}, 2e-15);
    ExpectNear(BuildMirrorAboutLine({0, 2}, {1, 1}) * p, {2, 5}, 2e-15);
    // Both axes together are the half turn about the origin.
    EXPECT_EQ((BuildMirrorAboutLine({}, {1, 0}) * BuildMirrorAboutLine({}, {0, 1}) * p), -p);
}

TEST(BuildMirrorAboutLine, WithoutALineIsTheIdentity)
{
    for (const Vec2d& direction : {Vec2d{}, Vec2d{1e-12, 0}, Vec2d{kNan, 1}, Vec2d{kInfinity, 1}}) {
        EXPECT_EQ(BuildMirrorAboutLine({5, 6}, direction), TransformBase<2>{}) << direction;
    }
    EXPECT_EQ(BuildMirrorAboutLine({}, {1e200, 0}), BuildMirrorAboutLine({}, {1, 0}));
}

TEST(BuildMirrorAboutLine, IsItsOwnInverseAndFixesTheLine)
{
    Random random(50);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto point = random.Vector<2, double>(-10, 10);
        const auto direction = random.Vector<2, double>(-1, 1);
        const auto mirror = BuildMirrorAboutLine(point, direction);
        const auto p = random.Vector<2, double>(-10, 10);
        ExpectNear(mirror * (mirror * p), p, 4e-14);
        ExpectNear(mirror * (point + direction * 3.0), point + direction * 3.0, 2e-14);
        ExpectOrthonormal(mirror, 4 * kEpsilon);
        EXPECT_NEAR(direction ^ (mirror * p - point), -(direction ^ (p - point)), 4e-14);
    }
}

TEST(InflateDimension, KeepsTheMapInThePlaneAndLeavesZAlone)
{
    EXPECT_EQ(InflateDimension({}), TransformBase<3>{});
    const auto plane = BuildTransform2D({{1, 2}, {3, 4}}, {5, 6}, 1.0);
    EXPECT_EQ(InflateDimension(plane).matrix,
              (MatBase<4, 4, double>{{1, 2, 0, 5}, {3, 4, 0, 6}, {0, 0, 1, 0}, {0, 0, 0, 1}}));
    TransformBase<2> projective;
    projective.matrix = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    EXPECT_EQ(InflateDimension(projective).matrix,
              (MatBase<4, 4, double>{{1, 2, 0, 3}, {4, 5, 0, 6}, {0, 0, 1, 0}, {7, 8, 0, 9}}));
    Random random(51);
    for (int trial = 0; trial < 200; ++trial) {
        const auto t =
            BuildTransform2D({random.Vector<2, double>(-1, 1), random.Vector<2, double>(-1, 1)},
                             random.Vector<2, double>(-5, 5), 2.0);
        const auto p = random.Vector<2, double>(-1, 1);
        const Vec2d mapped = t * p;
        EXPECT_EQ((InflateDimension(t) * Vec3d{p.x(), p.y(), 7}),
                  (Vec3d{mapped.x(), mapped.y(), 7}));
    }
}

TEST(BuildRotationFromAxisAngle, CoordinateAxisKeepsItsCoordinateToTheBit)
{
    Support::Random random(77);
    for (int trial = 0; trial < 1000; ++trial) {
        const auto p = random.Vector<3, double>(-1e3, 1e3);
        const double radians = random.Between(-10, 10);
        for (int axis = 0; axis < 3; ++axis) {
            Vec3d direction;
            direction[axis] = random.Between(0.1, 10);
            EXPECT_EQ((BuildRotationFromAxisAngle(direction, radians) * p)[axis], p[axis]);
        }
    }
}

} // namespace
