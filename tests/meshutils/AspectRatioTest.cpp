// Edge flips by hand: which are made and what they write, and input that nobody should send.

#include <Sorvane/AspectRatio_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::MaximizeAspectRatio;
using Support::IndexedMesh;

template <int D, class T>
using MeshOf = Mesh::IndexedPointsBase<D, T>;

constexpr double kUnbounded = 1e30;

template <class Form>
class AspectRatioForms : public testing::Test {
};
template <int Dimension, class Real>
struct Form {
    static constexpr int D = Dimension;
    using T = Real;
    using Mesh = MeshOf<D, T>;
    static VecBase<D, T> At(double x, double y, double z = 0)
    {
        if constexpr (D == 2) {
            return {x, y};
        } else {
            return {x, y, z};
        }
    }
    static Mesh Improved(const Mesh& mesh, double creaseAngle = 1, double maxDrift = kUnbounded)
    {
        return MaximizeAspectRatio(mesh, static_cast<T>(creaseAngle), static_cast<T>(maxDrift));
    }
    /// Half axes 2 s and s / 2, cut along the long one.
    static Mesh Rhombus(double s)
    {
        return {{At(-2 * s, 0), At(2 * s, 0), At(0, s / 2), At(0, -s / 2)}, {0, 1, 2, 1, 0, 3}};
    }
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(AspectRatioForms, Forms);

// The first triangle becomes (previous, first, second) and the second one (first, next, second),
// seen from the corner `first` of the first triangle that is not on the edge.
TYPED_TEST(AspectRatioForms, AThinRhombusGetsItsShortDiagonal)
{
    const auto mesh = TypeParam::Rhombus(1);
    const auto result = TypeParam::Improved(mesh);
    EXPECT_EQ(result.points, mesh.points);
    EXPECT_EQ(result.indices, (std::vector<int>{1, 2, 3, 2, 0, 3}));
    // Wherever the triples begin, and for both turns.
    auto turned = mesh;
    turned.indices = {2, 0, 1, 3, 1, 0};
    EXPECT_EQ(TypeParam::Improved(turned).indices, (std::vector<int>{1, 2, 3, 2, 0, 3}));
    turned.indices = {1, 0, 2, 0, 1, 3};
    EXPECT_EQ(TypeParam::Improved(turned).indices, (std::vector<int>{0, 2, 3, 2, 1, 3}));
}

TYPED_TEST(AspectRatioForms, WithoutTwoTrianglesThereIsNothingToFlip)
{
    EXPECT_EQ(TypeParam::Improved({}), typename TypeParam::Mesh{});
    auto mesh = TypeParam::Rhombus(1);
    mesh.indices = {0, 1, 2};
    EXPECT_EQ(TypeParam::Improved(mesh), mesh);
}

// Points stay, triples that are no triangles go, with or without a flip.
TYPED_TEST(AspectRatioForms, OnlyTriplesThatAreTrianglesAreLeft)
{
    auto mesh = TypeParam::Rhombus(1);
    mesh.points.push_back(TypeParam::At(9, 9)); // used by nobody
    mesh.indices = {0, 0, 2, 0, 1, 2, 1, 2, 1, 1, 0, 3, 3, 3, 3, 0, 1, -1, 5, 0, 1, 2, 1};
    const auto result = TypeParam::Improved(mesh);
    EXPECT_EQ(result.points, mesh.points);
    EXPECT_EQ(result.indices, (std::vector<int>{1, 2, 3, 2, 0, 3}));
    const int least = std::numeric_limits<int>::min();
    const int greatest = std::numeric_limits<int>::max();
    mesh.indices = {0, 1, greatest, least, 1, 2, 0, 1};
    EXPECT_EQ(TypeParam::Improved(mesh).indices, std::vector<int>{});
    mesh.points.resize(2);
    mesh.indices = {0, 1, 2, 0, 1};
    EXPECT_EQ(TypeParam::Improved(mesh).points, mesh.points);
    mesh.points.clear();
    EXPECT_EQ(TypeParam::Improved(mesh), typename TypeParam::Mesh{});
}

// At the end of the long edge the quadrilateral goes inward.
TYPED_TEST(AspectRatioForms, AQuadrilateralThatIsNotConvexStays)
{
    typename TypeParam::Mesh dart{
        {TypeParam::At(0, 0), TypeParam::At(10, 0), TypeParam::At(-8, 1), TypeParam::At(-8, -1)},
        {0, 1, 2, 1, 0, 3}};
    EXPECT_EQ(TypeParam::Improved(dart, 180), dart);
    dart.points[0] = TypeParam::At(-8, 0); // straight at this end
    EXPECT_EQ(TypeParam::Improved(dart, 180), dart);
    dart.points[0] = TypeParam::At(-9, 0);
    EXPECT_NE(TypeParam::Improved(dart, 180), dart);
}

// A square has no better diagonal, and neither has what is within the tolerance of one.
TYPED_TEST(AspectRatioForms, AnEqualDiagonalIsNoBetter)
{
    using T = typename TypeParam::T;
    typename TypeParam::Mesh square{
        {TypeParam::At(0, 0), TypeParam::At(1, 0), TypeParam::At(1, 1), TypeParam::At(0, 1)},
        {0, 1, 2, 0, 2, 3}};
    EXPECT_EQ(TypeParam::Improved(square), square);
    const T nudge = 100 * std::numeric_limits<T>::epsilon();
    square.points[2][0] += nudge; // the diagonal 0-2 is longer than 1-3 by this much
    EXPECT_EQ(TypeParam::Improved(square) == square, sizeof(T) == sizeof(double));
    square.points[2][0] += T(1e-3);
    EXPECT_NE(TypeParam::Improved(square), square);
}

// A rhombus so thin that to the last digit its edges are as long as half of its long axis: cut
// along this one the ratios are 0, cut along the short axis they are twice the short axis by the
// edge.
TYPED_TEST(AspectRatioForms, TheLeastGainOfTheLesserRatio)
{
    const double least = sizeof(typename TypeParam::T) == sizeof(float) ? 1e-8 : 1e-12;
    constexpr double kHalfAxis = 1e6;
    for (const double gain : {0.5 * least, 2 * least}) {
        auto thin = TypeParam::Rhombus(kHalfAxis / 2);
        thin.points[2][1] = static_cast<typename TypeParam::T>(gain / 4 * kHalfAxis);
        thin.points[3][1] = -thin.points[2][1];
        EXPECT_EQ(TypeParam::Improved(thin) == thin, gain < least) << gain;
    }
}

// The new edge on the z-axis, its triangles in two planes at nearly a right angle.
TYPED_TEST(AspectRatioForms, NewTrianglesAtARightAngleAreFolded)
{
    if constexpr (TypeParam::D == 3) {
        const double least = sizeof(typename TypeParam::T) == sizeof(float) ? 1e-8 : 1e-12;
        for (const double cosine : {-2 * least, 0.0, 0.5 * least, 2 * least, 0.5}) {
            const typename TypeParam::Mesh bent{{TypeParam::At(4, 0, 0),
                                                 TypeParam::At(-4 * cosine, 4, 0),
                                                 TypeParam::At(0, 0, 2), TypeParam::At(0, 0, -2)},
                                                {0, 1, 2, 1, 0, 3}};
            EXPECT_EQ(TypeParam::Improved(bent, 180) == bent, cosine <= least) << cosine;
        }
    }
}

// All four quadrilaterals of a tetrahedron have their other diagonal in the mesh. Flat, its outline
// is convex at none or at one pair of edges.
TYPED_TEST(AspectRatioForms, NoEdgeIsMadeTwice)
{
    const typename TypeParam::Mesh flat{{TypeParam::At(-20, 0, 0.1), TypeParam::At(20, 0, 0.1),
                                         TypeParam::At(0, 1), TypeParam::At(0, -1)},
                                        {0, 1, 2, 1, 0, 3, 0, 2, 3, 1, 3, 2}};
    EXPECT_EQ(TypeParam::Improved(flat, 180), flat);
    // Without the two triangles that run the other diagonal the pair would be flipped.
    auto open = flat;
    open.indices.resize(6);
    EXPECT_NE(TypeParam::Improved(open, 180), open);
}

// The edge 0-1 is tried first, and 2-3 is in the way. Its flip would have cost 1, after which the
// edge 0-2 couldn't pay for its own.
TYPED_TEST(AspectRatioForms, AFlipThatIsNotMadeCostsNothing)
{
    typename TypeParam::Mesh mesh{{TypeParam::At(-8, 0), TypeParam::At(8, 0),
                                   TypeParam::At(0, 4, 1), TypeParam::At(0, -4, 1),
                                   TypeParam::At(3, 0, 8), TypeParam::At(-4.2, 2.4, 1)},
                                  {0, 1, 2, 1, 0, 3, 0, 2, 5}};
    EXPECT_TRUE(Support::EdgeUses(TypeParam::Improved(mesh, 180, 1.01)).contains({2, 3}));
    EXPECT_EQ(TypeParam::Improved(mesh, 180, 0.01) == mesh, TypeParam::D == 3);
    mesh.indices.insert(mesh.indices.end(), {2, 3, 4});
    const auto result = TypeParam::Improved(mesh, 180, 1.01);
    EXPECT_FALSE(Support::EdgeUses(result).contains({0, 2}));
    EXPECT_TRUE(Support::EdgeUses(result).contains({1, 5}));
}

TYPED_TEST(AspectRatioForms, AnEdgeOfThreeTrianglesStays)
{
    auto mesh = TypeParam::Rhombus(1);
    mesh.points.push_back(TypeParam::At(0, 0.1, 0.1));
    mesh.indices.insert(mesh.indices.end(), {0, 1, 4});
    EXPECT_EQ(TypeParam::Improved(mesh, 180), mesh);
    // Beside it flips are made, and it keeps its three triangles.
    mesh.points.push_back(TypeParam::At(1, -0.4));
    mesh.indices.insert(mesh.indices.end(), {1, 3, 5});
    const auto result = TypeParam::Improved(mesh, 180);
    EXPECT_EQ(Support::EdgeUses(result).at({0, 1}), 3);
}

// Three equal triangles have three edges of three, two have edges of two without a quadrilateral.
TYPED_TEST(AspectRatioForms, RepeatedTrianglesStay)
{
    for (const std::vector<int>& indices :
         {std::vector<int>{0, 1, 2, 0, 1, 2}, {0, 1, 2, 1, 0, 2}, {0, 1, 2, 2, 1, 0, 1, 2, 0}}) {
        auto mesh = TypeParam::Rhombus(1);
        mesh.indices = indices;
        EXPECT_EQ(TypeParam::Improved(mesh, 180), mesh);
    }
}

// A negative one forbids all, also in the plane, and one that is not a number nothing.
TYPED_TEST(AspectRatioForms, TheBoundOfTheDrift)
{
    const auto mesh = TypeParam::Rhombus(1);
    EXPECT_EQ(TypeParam::Improved(mesh, 1, -1e-30), mesh);
    EXPECT_EQ(TypeParam::Improved(mesh, 1, -std::numeric_limits<double>::infinity()), mesh);
    EXPECT_NE(TypeParam::Improved(mesh, 1, 0), mesh);
    EXPECT_NE(TypeParam::Improved(mesh, 1, std::numeric_limits<double>::quiet_NaN()), mesh);
    EXPECT_NE(TypeParam::Improved(mesh, 1, std::numeric_limits<double>::infinity()), mesh);
    if (TypeParam::D == 3) {
        auto skew = mesh; // the diagonals are a quarter apart
        skew.points[2] = TypeParam::At(0, 0.5, 0.25);
        skew.points[3] = TypeParam::At(0, -0.5, 0.25);
        EXPECT_EQ(TypeParam::Improved(skew, 180, 0.24), skew);
        EXPECT_NE(TypeParam::Improved(skew, 180, 0.25), skew);
        EXPECT_NE(TypeParam::Improved(skew, 180, std::numeric_limits<double>::quiet_NaN()), skew);
    }
}

// The plane has no angles; in space an angle that is not a number makes no crease.
TYPED_TEST(AspectRatioForms, TheAngleOfACrease)
{
    for (const double angle : {0.0, 44.0, 46.0, 180.0, -180.0, 1e30}) {
        auto bent = TypeParam::Rhombus(1);
        // Turned about the edge by 22.5 degrees on both sides.
        const double height = 0.5 * std::sin(kPi<double> / 8);
        const double width = 0.5 * std::cos(kPi<double> / 8);
        bent.points[2] = TypeParam::At(0, width, height);
        bent.points[3] = TypeParam::At(0, -width, height);
        const bool isCrease =
            TypeParam::D == 3 && std::cos(angle * kPi<double> / 180) > std::cos(kPi<double> / 4);
        EXPECT_EQ(TypeParam::Improved(bent, angle) == bent, isCrease) << angle;
        EXPECT_NE(TypeParam::Improved(bent, std::numeric_limits<double>::quiet_NaN()), bent);
        EXPECT_NE(TypeParam::Improved(bent, std::numeric_limits<double>::infinity()), bent);
    }
    EXPECT_NE(TypeParam::Improved(TypeParam::Rhombus(1), 0), TypeParam::Rhombus(1))
        << "along the axes a flat mesh is treated with 0 as well";
}

// In the plane the product of two doubled areas has an absolute bound, in space a cosine.
TYPED_TEST(AspectRatioForms, SmallQuadrilateralsOfThePlaneStay)
{
    const bool isFloat = sizeof(typename TypeParam::T) == sizeof(float);
    const double large = isFloat ? 1e-2 : 1e-3;
    const double small = isFloat ? 5e-3 : 5e-4;
    EXPECT_NE(TypeParam::Improved(TypeParam::Rhombus(large)), TypeParam::Rhombus(large));
    EXPECT_EQ(TypeParam::Improved(TypeParam::Rhombus(small)) == TypeParam::Rhombus(small),
              TypeParam::D == 2);
    // Two triangles of area s^2: of their area, and not of the doubled one, 1e-12 is asked.
    EXPECT_EQ(TypeParam::Improved(TypeParam::Rhombus(0.9e-6)), TypeParam::Rhombus(0.9e-6));
    EXPECT_EQ(TypeParam::Improved(TypeParam::Rhombus(1.1e-6)) == TypeParam::Rhombus(1.1e-6),
              TypeParam::D == 2);
    // Areas of 1e-10 give a normal, of either type, and areas of 1e-14 don't.
    EXPECT_EQ(TypeParam::Improved(TypeParam::Rhombus(1e-5)) == TypeParam::Rhombus(1e-5),
              TypeParam::D == 2);
    EXPECT_EQ(TypeParam::Improved(TypeParam::Rhombus(1e-7)), TypeParam::Rhombus(1e-7));
}

// A cap whose third corner is in the middle of its longest edge, as T-joints are filled.
TYPED_TEST(AspectRatioForms, CapsWithoutAreaGoAboveARightAngleOnly)
{
    const typename TypeParam::Mesh mesh{
        {TypeParam::At(-1, 0), TypeParam::At(1, 0), TypeParam::At(0, 0), TypeParam::At(0, 2)},
        {0, 2, 1, 0, 1, 3}};
    for (const double angle : {1.0, 89.0, 90.0, 90.1, 180.0}) {
        const auto result = TypeParam::Improved(mesh, angle);
        const bool stays = TypeParam::D == 3 && angle <= 90;
        EXPECT_EQ(result == mesh, stays) << angle;
        if (!stays) {
            EXPECT_EQ(result.indices, (std::vector<int>{0, 2, 3, 2, 1, 3})) << angle;
        }
    }
}

TYPED_TEST(AspectRatioForms, NothingFlipsAtPointsThatAreNotFinite)
{
    using T = typename TypeParam::T;
    for (const T bad : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                        -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::max()}) {
        for (std::size_t point = 0; point < 4; ++point) {
            for (int axis = 0; axis < TypeParam::D; ++axis) {
                auto mesh = TypeParam::Rhombus(1);
                mesh.points[point][axis] = bad;
                EXPECT_EQ(TypeParam::Improved(mesh, 180).indices, mesh.indices);
                EXPECT_EQ(TypeParam::Improved(mesh, 0, 0).indices, mesh.indices);
            }
        }
    }
    // All points in one place, and everything too large to square.
    auto mesh = TypeParam::Rhombus(0);
    EXPECT_EQ(TypeParam::Improved(mesh, 180), mesh);
    mesh = TypeParam::Rhombus(sizeof(T) == sizeof(float) ? 1e30 : 1e200);
    EXPECT_EQ(TypeParam::Improved(mesh, 180), mesh);
}

TEST(AspectRatio, OneSidedAndTurnedTrianglesAreFoldedBackInSpace)
{
    const IndexedMesh strip = Support::MoebiusStrip(40);
    const IndexedMesh result = MaximizeAspectRatio(strip, 30.0, 1.0);
    EXPECT_EQ(Support::FaultsOf(result), Support::FaultsOf(strip));
    IndexedMesh turned = Form<3, double>::Rhombus(1);
    turned.indices = {0, 1, 2, 0, 1, 3};
    EXPECT_EQ(MaximizeAspectRatio(turned, 179.0, 1.0), turned);
}

// --- arrangements on which a search would take forever
// ----------------------------------------------

constexpr int kMany = 100'000;

TEST(AspectRatioHubs, AFanOfManyTriangles)
{
    for (const bool isClosed : {false, true}) {
        const IndexedMesh fan = Support::Fan(kMany, isClosed);
        const IndexedMesh result = MaximizeAspectRatio(fan, 10.0, 1.0);
        EXPECT_EQ(result.indices.size(), fan.indices.size());
    }
    // Every second point of the rim stands out, so that every second spoke is flipped into the rim.
    MeshOf<2, double> spikes;
    spikes.points.push_back({0, 0});
    for (int i = 0; i < kMany; ++i) {
        const double a = kTwoPi<double> * i / kMany;
        const double r = i % 2 == 0 ? kMany : kMany + 12;
        spikes.points.push_back({r * std::cos(a), r * std::sin(a)});
        spikes.indices.insert(spikes.indices.end(), {0, 1 + i, 1 + (i + 1) % kMany});
    }
    const auto result = MaximizeAspectRatio(spikes, 0.0, 0.0);
    EXPECT_EQ(std::count(result.indices.begin(), result.indices.end(), 0), kMany / 2);
}

TEST(AspectRatioHubs, AStripAndEqualTriangles)
{
    const IndexedMesh strip = Support::Strip(kMany / 2);
    EXPECT_EQ(MaximizeAspectRatio(strip, 10.0, 1.0), strip);
    IndexedMesh equal = Form<3, double>::Rhombus(1);
    for (int i = 0; i < kMany; ++i) {
        equal.indices.insert(equal.indices.end(), {0, 1, 2});
    }
    EXPECT_EQ(MaximizeAspectRatio(equal, 10.0, 1.0), equal);
}

// Fins of two triangles each, cut the wrong way, all on one edge: each flip changes a triangle of
// it.
TEST(AspectRatioHubs, AnEdgeOfManyTrianglesThatAreFlipped)
{
    IndexedMesh mesh;
    mesh.points = {{0, 0, 0}, {4, 0, 0}};
    for (int i = 0; i < kMany / 2; ++i) {
        const double a = kPi<double> * i / kMany;
        const int n = static_cast<int>(mesh.points.size());
        // A quadrilateral over the edge that is cut along its longer diagonal.
        mesh.points.push_back({4, std::cos(a), std::sin(a)});
        mesh.points.push_back({2, std::cos(a), std::sin(a)});
        mesh.indices.insert(mesh.indices.end(), {0, 1, n, 0, n, n + 1});
    }
    const IndexedMesh result = MaximizeAspectRatio(mesh, 10.0, 1.0);
    for (std::size_t i = 0; i < result.indices.size(); i += 6) {
        const int n = static_cast<int>(2 + i / 3);
        const std::set<int> one(result.indices.begin() + static_cast<long>(i),
                                result.indices.begin() + static_cast<long>(i) + 3);
        ASSERT_TRUE(one == (std::set<int>{0, 1, n + 1}) || one == (std::set<int>{1, n, n + 1}))
            << i;
    }
}

TEST(AspectRatioWithoutMemory, PassesTheExceptionOn)
{
    Support::Random random(31);
    IndexedMesh sheet = Support::GridMesh<double>(
        9, 9, [&](int x, int y) { return Vec3d(4 * x, y, 0.01 * random.Unit()); });
    const IndexedMesh hub = Support::Together(Support::Sphere(1), sheet);
    Support::WithThreads(1, [&] {
        EXPECT_NE(MaximizeAspectRatio(hub, 60.0, 1.0), hub);
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return MaximizeAspectRatio(hub, 60.0, 1.0); }),
                  8U);
    });
}

} // namespace
