// Indexed meshes and soups: the emptiness rule, conversions, welding, appending, transforms, and
// the views of index triples.

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::Triangle;
using Sorvane::Mesh::TriangleSoup;
namespace Mesh = Sorvane::Mesh;

/// One dimension and coordinate type, with the shapes that the tests share.
template <int Dimension, class Scalar>
struct Form {
    static constexpr int D = Dimension;
    using T = Scalar;
    using V = VecBase<D, T>;
    using Indexed = IndexedPointsBase<D, T>;
    using Soup = TriangleSoup<D, T>;

    /// A point (x, y) of the plane, in space at z = x + 2 y.
    static V P(double x, double y)
    {
        if constexpr (D == 2) {
            return V{x, y};
        } else {
            return V{x, y, x + 2 * y};
        }
    }

    /// Two triangles of a square, split along the diagonal from (0, 0).
    static Soup Square() { return {{P(0, 0), P(1, 0), P(1, 1)}, {P(0, 0), P(1, 1), P(0, 1)}}; }

    /// `count` triangles with corners on a grid of 20 positions a coordinate: many coincide.
    static Soup GridSoup(Support::Random& random, int count)
    {
        Soup soup;
        for (int t = 0; t < count; ++t) {
            Triangle<D, T> triangle;
            for (V& corner : triangle) {
                corner = P(random.Below(20), random.Below(20));
            }
            soup.push_back(triangle);
        }
        return soup;
    }

    static TransformBase<D> SomeTransform()
    {
        TransformBase<D> transform;
        for (int r = 0; r < D; ++r) {
            for (int c = 0; c <= D; ++c) {
                transform(r, c) = 0.3 * r - 0.7 * c + (r == c ? 1.25 : 0.1);
            }
        }
        return transform;
    }
};

template <class F>
class IndexedMeshOf : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(IndexedMeshOf, Forms);

#define SORVANE_FORM                                              \
    using T [[maybe_unused]] = typename TypeParam::T;             \
    using V [[maybe_unused]] = typename TypeParam::V;             \
    using Indexed [[maybe_unused]] = typename TypeParam::Indexed; \
    using Soup [[maybe_unused]] = typename TypeParam::Soup;       \
    constexpr int D [[maybe_unused]] = TypeParam::D;              \
    [[maybe_unused]] const auto P = [](double x, double y) { return TypeParam::P(x, y); }

static_assert(std::is_copy_constructible_v<IndexedPointsBase<2, long long>>);
static_assert(sizeof(Mesh::TaggedTriangle<void>) == 3 * sizeof(int));
static_assert(sizeof(Mesh::TaggedTriangle<int>) == 4 * sizeof(int));

// --- emptiness ----------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, IsEmptyInAllThreeCases)
{
    SORVANE_FORM;
    Indexed mesh{{P(0, 0), P(1, 0), P(0, 1)}, {0, 1, 2}};
    EXPECT_FALSE(IsEmpty(mesh));
    EXPECT_TRUE(IsEmpty(Indexed{mesh.points, {}}));
    EXPECT_TRUE(IsEmpty(Indexed{mesh.points, {0, 1, 2, 0}}));
    EXPECT_TRUE(IsEmpty(Indexed{{P(0, 0), P(1, 0)}, {0, 1, 0}}));
    EXPECT_TRUE(IsEmpty(Indexed{}));
}

TYPED_TEST(IndexedMeshOf, FourIndicesOrTwoPointsYieldAnEmptySoup)
{
    SORVANE_FORM;
    const Indexed fourIndices{{P(0, 0), P(1, 0), P(0, 1)}, {0, 1, 2, 0}};
    const Indexed twoPoints{{P(0, 0), P(1, 0)}, {0, 1, 0}};
    for (const Indexed& mesh : {fourIndices, twoPoints, Indexed{}}) {
        EXPECT_TRUE(SoupFromIndexedPoints(mesh).empty());
        EXPECT_TRUE(SoupFromIndexedPoints(mesh, {0}).empty());
    }
}

// --- soup to mesh -------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, FromSoupWithoutUniqueNumbersTheCornersInOrder)
{
    SORVANE_FORM;
    const Soup soup = TypeParam::Square();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(soup, false, nan); // not looked at
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(mesh.points, (std::vector<V>{P(0, 0), P(1, 0), P(1, 1), P(0, 0), P(1, 1), P(0, 1)}));
}

TYPED_TEST(IndexedMeshOf, FromEmptySoupIsAnEmptyMesh)
{
    SORVANE_FORM;
    EXPECT_EQ((Mesh::IndexedPointsFromSoup<D, T>({}, false, T{0})), Indexed{});
    EXPECT_EQ((Mesh::IndexedPointsFromSoup<D, T>({}, true, T{0})), Indexed{});
}

TYPED_TEST(IndexedMeshOf, FromSoupWithUniqueMergesIntoSortedPoints)
{
    SORVANE_FORM;
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T(0.25));
    // Lexicographic: x first, then y.
    EXPECT_EQ(mesh.points, (std::vector<V>{P(0, 0), P(0, 1), P(1, 0), P(1, 1)}));
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 2, 3, 0, 3, 1}));
}

TYPED_TEST(IndexedMeshOf, TrianglesThatDegenerateByMergingStay)
{
    SORVANE_FORM;
    const Soup soup{{P(0, 0), P(0.125, 0), P(1, 1)}, {P(0, 0), P(0.125, 0), P(0, 0.0625)}};
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(soup, true, T(0.25));
    EXPECT_EQ(mesh.points, (std::vector<V>{P(0, 0), P(1, 1)}));
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 0, 1, 0, 0, 0}));
}

// --- mesh to soup -------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, ListedTrianglesComeInListOrderAndRepeat)
{
    SORVANE_FORM;
    const Soup soup = TypeParam::Square();
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(soup, true, T{0});
    EXPECT_EQ(SoupFromIndexedPoints(mesh), soup);
    EXPECT_EQ(SoupFromIndexedPoints(mesh, {1, 0, 1}), (Soup{soup[1], soup[0], soup[1]}));
    EXPECT_TRUE(SoupFromIndexedPoints(mesh, {}).empty());
}

TYPED_TEST(IndexedMeshOf, ListedNumberOutOfRangeOmitsOnlyThatEntry)
{
    SORVANE_FORM;
    const Soup soup = TypeParam::Square();
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(soup, true, T{0});
    EXPECT_EQ(SoupFromIndexedPoints(mesh, {-1, 1, 2, 0, INT_MAX, INT_MIN}),
              (Soup{soup[1], soup[0]}));
}

TYPED_TEST(IndexedMeshOf, TripleOfANumberDoesNotWrapIntoTheList)
{
    SORVANE_FORM;
    const Soup soup = TypeParam::Square();
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(soup, true, T{0});
    // 3 * 1431655766 = 2^32 + 2 and 3 * 715827883 = 2^31 + 1: in 32 bits the first is entry 2, in
    // the middle of triangle 0, the second negative; 3 * -1431655765 = -2^32 + 1 wraps to entry 1.
    EXPECT_TRUE(SoupFromIndexedPoints(mesh, {1431655766, 715827883, -1431655765}).empty());
}

// --- welding ------------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, FilterForUniquenessDropsUnusedPoints)
{
    SORVANE_FORM;
    Indexed mesh{{P(5, 5), P(1, 1), P(1, 0), P(9, 9), P(0, 0), P(1, 1)}, {4, 2, 1, 4, 5, 2}};
    FilterForUniqueness(mesh, T{0});
    EXPECT_EQ(mesh.points, (std::vector<V>{P(0, 0), P(1, 0), P(1, 1)}));
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 1, 2, 0, 2, 1}));
}

TYPED_TEST(IndexedMeshOf, FilterForUniquenessEmptiesBothFieldsOfAnEmptyMesh)
{
    SORVANE_FORM;
    Indexed fourIndices{{P(0, 0), P(1, 0), P(0, 1)}, {0, 1, 2, 0}};
    FilterForUniqueness(fourIndices, T{0});
    EXPECT_EQ(fourIndices, Indexed{});
    Indexed pointsOnly{{P(0, 0), P(1, 0), P(0, 1)}, {}};
    FilterForUniqueness(pointsOnly, T{0});
    EXPECT_EQ(pointsOnly, Indexed{});
}

/// The definition itself: to a soup and back.
template <int D, class T>
IndexedPointsBase<D, T> WeldedBySoup(const IndexedPointsBase<D, T>& mesh, T tolerance)
{
    return Mesh::IndexedPointsFromSoup(SoupFromIndexedPoints(mesh), true, tolerance);
}

TYPED_TEST(IndexedMeshOf, FilterForUniquenessIsTheWayThroughASoup)
{
    SORVANE_FORM;
    for (int trial = 0; trial < 50; ++trial) {
        SCOPED_TRACE(trial);
        Support::Random random(static_cast<std::uint64_t>(trial) + 100);
        Indexed mesh;
        for (int i = 0; i < 60; ++i) {
            mesh.points.push_back(P(random.Below(6) * 0.25, random.Below(6) * 0.25));
        }
        for (int i = 0; i < 3 * 40; ++i) {
            mesh.indices.push_back(random.Below(50)); // the last ten are unused
        }
        // 0.5 makes chains of points in which the first come decides.
        for (const T tolerance : {T{0}, T(0.3125), T(0.5), T(-1)}) {
            const Indexed expected = WeldedBySoup(mesh, tolerance);
            Indexed welded = mesh;
            FilterForUniqueness(welded, tolerance);
            EXPECT_EQ(welded, expected) << "tolerance " << tolerance;
        }
    }
}

TYPED_TEST(IndexedMeshOf, FilterForUniquenessOfALargeMeshIsTheWayThroughASoup)
{
    SORVANE_FORM;
    Support::Random random(31);
    Indexed mesh;
    for (int i = 0; i < 20'000; ++i) {
        mesh.points.push_back(P(random.Below(400) * 0.25, random.Below(40) * 0.25));
    }
    for (int i = 0; i < 3 * 20'000; ++i) {
        mesh.indices.push_back(random.Below(19'000));
    }
    for (const T tolerance : {T{0}, T(0.25)}) {
        Indexed welded = mesh;
        FilterForUniqueness(welded, tolerance);
        EXPECT_TRUE(welded == WeldedBySoup(mesh, tolerance)) << "tolerance " << tolerance;
    }
}

TYPED_TEST(IndexedMeshOf, PointsThatMatchNothingStayApartAsInASoup)
{
    SORVANE_FORM;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    Indexed mesh{{P(0, 0), P(1, 0), P(0, 1), P(1, 1)}, {0, 1, 3, 3, 2, 0}};
    mesh.points[3][0] = nan;
    const Indexed expected = WeldedBySoup(mesh, T(0.125));
    FilterForUniqueness(mesh, T(0.125));
    ASSERT_EQ(mesh.points.size(), 5U); // three finite ones, and one for each corner on the NaN
    EXPECT_EQ(mesh.indices.size(), 6U);
    EXPECT_NE(mesh.indices[2], mesh.indices[3]);
    EXPECT_EQ(mesh.indices, expected.indices);

    // A NaN or negative tolerance merges nothing: six corners, six points.
    Indexed square = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    FilterForUniqueness(square, nan);
    EXPECT_EQ(square.points.size(), 6U);
}

TYPED_TEST(IndexedMeshOf, WeldKeepsTheTrianglesWithinTolerance)
{
    SORVANE_FORM;
    Support::Random random(7);
    const Soup soup = TypeParam::GridSoup(random, 300);
    Soup noisy = soup;
    for (auto& triangle : noisy) {
        for (V& corner : triangle) {
            corner += random.Vector<D, T>(-0.01, 0.01);
        }
    }
    const Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(noisy, true, T(0.125));
    const std::set<std::array<T, 2>> positions = [&] {
        std::set<std::array<T, 2>> all;
        for (const auto& triangle : soup) {
            for (const V& corner : triangle) {
                all.insert({corner[0], corner[1]});
            }
        }
        return all;
    }();
    EXPECT_EQ(mesh.points.size(),
              positions.size()); // noise 0.01 under tolerance 0.1 under spacing 1
    const Soup back = SoupFromIndexedPoints(mesh);
    ASSERT_EQ(back.size(), noisy.size());
    for (std::size_t t = 0; t < back.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_TRUE(Matches(back[t][k], noisy[t][k], T(0.125)));
        }
    }
}

// --- appending ----------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, AppendSoup)
{
    SORVANE_FORM;
    Soup soup = TypeParam::Square();
    const Soup square = soup;
    Mesh::Append(soup, Soup{});
    EXPECT_EQ(soup, square);
    Mesh::Append(soup, Soup{square[1]});
    EXPECT_EQ(soup, (Soup{square[0], square[1], square[1]}));
}

TYPED_TEST(IndexedMeshOf, AppendSoupToItselfDoublesIt)
{
    SORVANE_FORM;
    Soup soup = TypeParam::Square();
    const Soup square = soup;
    Mesh::Append(soup, soup);
    EXPECT_EQ(soup, (Soup{square[0], square[1], square[0], square[1]}));
    soup.reserve(100); // room enough that nothing moves
    Mesh::Append(soup, soup);
    EXPECT_EQ(soup.size(), 8U);
    EXPECT_EQ(soup[7], square[1]);
}

TYPED_TEST(IndexedMeshOf, AppendMeshOffsetsTheIndices)
{
    SORVANE_FORM;
    const Indexed square = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    Indexed mesh{{P(7, 7), P(8, 7), P(7, 8)}, {0, 1, 2}};
    Mesh::Append(mesh, square);
    ASSERT_EQ(mesh.points.size(), 7U); // no merging
    EXPECT_EQ(mesh.points[0], P(7, 7));
    EXPECT_EQ(mesh.points[3], square.points[0]);
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 1, 2, 3, 5, 6, 3, 6, 4}));
}

TYPED_TEST(IndexedMeshOf, AppendMeshToItselfChangesNothing)
{
    SORVANE_FORM;
    Indexed mesh = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    const Indexed before = mesh;
    Mesh::Append(mesh, mesh);
    EXPECT_EQ(mesh, before);
}

TYPED_TEST(IndexedMeshOf, AppendToAnEmptyMeshCopiesWithoutOffset)
{
    SORVANE_FORM;
    const Indexed square = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    Indexed mesh;
    Mesh::Append(mesh, square);
    EXPECT_EQ(mesh, square);
}

TYPED_TEST(IndexedMeshOf, AppendDoesNotAskWhetherAMeshIsEmpty)
{
    SORVANE_FORM;
    const Indexed square = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    // Points without indices in the first: they count for the offset.
    Indexed pointsOnly{{P(9, 9)}, {}};
    Mesh::Append(pointsOnly, square);
    EXPECT_EQ(pointsOnly.points.size(), 5U);
    EXPECT_EQ(pointsOnly.indices, (std::vector<int>{1, 3, 4, 1, 4, 2}));
    // Indices without points in the first: they stay, offset 0.
    Indexed indicesOnly{{}, {8}};
    Mesh::Append(indicesOnly, square);
    EXPECT_EQ(indicesOnly.indices, (std::vector<int>{8, 0, 2, 3, 0, 3, 1}));
    // A second without indices, or without points, adds nothing.
    Indexed mesh = square;
    Mesh::Append(mesh, Indexed{{P(9, 9), P(8, 8), P(7, 7)}, {}});
    Mesh::Append(mesh, Indexed{{}, {0, 1, 2}});
    EXPECT_EQ(mesh, square);
    // An incomplete triple is appended as it is.
    Mesh::Append(mesh, Indexed{{P(9, 9)}, {0}});
    EXPECT_EQ(mesh.points.size(), 5U);
    EXPECT_EQ(mesh.indices.size(), 7U);
    EXPECT_EQ(mesh.indices.back(), 4);
}

TYPED_TEST(IndexedMeshOf, ManyAppendsGrowGeometrically)
{
    SORVANE_FORM;
    const Indexed square = Mesh::IndexedPointsFromSoup<D, T>(TypeParam::Square(), true, T{0});
    Indexed mesh;
    int moves = 0;
    const void* pointsAt = nullptr;
    const void* indicesAt = nullptr;
    for (int i = 0; i < 1000; ++i) {
        Mesh::Append(mesh, square);
        moves += pointsAt != mesh.points.data();
        moves += indicesAt != mesh.indices.data();
        pointsAt = mesh.points.data();
        indicesAt = mesh.indices.data();
    }
    EXPECT_EQ(mesh.points.size(), 4000U);
    EXPECT_LT(moves, 40); // two vectors, a thousand-fold growth by doubling: about 10 moves each
}

// --- transforms ---------------------------------------------------------------------------------

TYPED_TEST(IndexedMeshOf, TransformedSoupIsMappedCornerByCorner)
{
    SORVANE_FORM;
    const TransformBase<D> transform = TypeParam::SomeTransform();
    // Around the chunk size of the parallel loop: the last chunk of an exact multiple is empty.
    for (const int count : {0, 1, 511, 512, 513, 1024, 1500}) {
        SCOPED_TRACE(count);
        Support::Random random(static_cast<std::uint64_t>(count) + 1);
        Soup soup = TypeParam::GridSoup(random, count);
        Soup expected = soup;
        for (auto& triangle : expected) {
            for (V& corner : triangle) {
                corner = transform * corner;
            }
        }
        const Soup before = soup;
        EXPECT_EQ(transform * soup, expected);
        EXPECT_EQ(soup, before);
        Soup& result = (soup *= transform);
        EXPECT_EQ(&result, &soup);
        EXPECT_EQ(soup, expected);
    }
}

TYPED_TEST(IndexedMeshOf, TranslationMovesEveryCorner)
{
    SORVANE_FORM;
    TransformBase<D> translation;
    translation(0, D) = 4;
    translation(1, D) = -2;
    V offset;
    offset[0] = 4;
    offset[1] = -2;
    const Soup moved = translation * TypeParam::Square();
    EXPECT_EQ(moved[1][2], P(0, 1) + offset);
    EXPECT_EQ(moved[0][0], P(0, 0) + offset);
}

// --- views of triples ---------------------------------------------------------------------------

template <class F>
class TripleViewOf : public testing::Test {
};
using ViewForms = testing::Types<Form<3, double>, Form<2, long long>>;
TYPED_TEST_SUITE(TripleViewOf, ViewForms);

TYPED_TEST(TripleViewOf, RunsOverTheTriplesOfItsMesh)
{
    IndexedPointsBase<TypeParam::D, typename TypeParam::T> mesh;
    mesh.points.resize(4);
    mesh.indices = {0, 1, 2, 2, 1, 3};
    const Mesh::TriangleIndexWrapper<TypeParam::D, typename TypeParam::T> view(mesh);
    EXPECT_EQ(&view.Mesh(), &mesh);
    EXPECT_EQ(view.size(), 2U);
    const Mesh::TripleIndexWrapper& base = view;
    const std::vector<std::array<int, 3>> triples(base.begin(), base.end());
    EXPECT_EQ(triples, (std::vector<std::array<int, 3>>{{0, 1, 2}, {2, 1, 3}}));
}

TYPED_TEST(TripleViewOf, LeavesAnIncompleteTripleOut)
{
    IndexedPointsBase<TypeParam::D, typename TypeParam::T> mesh;
    mesh.indices = {0, 1, 2, 7};
    const Mesh::TriangleIndexWrapper<TypeParam::D, typename TypeParam::T> view(mesh);
    EXPECT_EQ(view.size(), 1U);
    EXPECT_EQ(std::distance(view.begin(), view.end()), 1);
    mesh.indices.clear();
    EXPECT_EQ((Mesh::TriangleIndexWrapper<TypeParam::D, typename TypeParam::T>(mesh).size()), 0U);
}

TYPED_TEST(TripleViewOf, CopiesReferToTheSameMesh)
{
    using View = Mesh::TriangleIndexWrapper<TypeParam::D, typename TypeParam::T>;
    IndexedPointsBase<TypeParam::D, typename TypeParam::T> mesh;
    mesh.indices = {0, 1, 2};
    IndexedPointsBase<TypeParam::D, typename TypeParam::T> otherMesh;
    const View view(mesh);
    View copy(otherMesh);
    EXPECT_EQ(copy.size(), 0U);
    copy = view;
    EXPECT_EQ(&copy.Mesh(), &mesh);
    EXPECT_EQ(copy.begin(), view.begin());
    EXPECT_EQ(copy.size(), 1U);
}

TEST(TripleView, DefaultAndDestructionThroughTheBase)
{
    const Mesh::TripleIndexWrapper empty;
    EXPECT_EQ(empty.size(), 0U);
    EXPECT_EQ(empty.begin(), empty.end());
    static_assert(std::has_virtual_destructor_v<Mesh::TripleIndexWrapper>);
    static_assert(std::has_virtual_destructor_v<Mesh::TriangleConstIterator>);
    const IndexedPointsBase<3, double> mesh;
    const std::unique_ptr<Mesh::TripleIndexWrapper> owned =
        std::make_unique<Mesh::TriangleIndexWrapper<3, double>>(mesh);
    EXPECT_EQ(owned->size(), 0U);
}

TEST(TripleView, IteratorSteps)
{
    const std::vector<int> indices{5, 6, 7, 8, 9, 10};
    Mesh::TriangleConstIterator at(indices.data());
    EXPECT_EQ(*at, (std::array<int, 3>{5, 6, 7}));
    const Mesh::TriangleConstIterator before = at++;
    EXPECT_EQ(*before, (std::array<int, 3>{5, 6, 7}));
    EXPECT_EQ(*at, (std::array<int, 3>{8, 9, 10}));
    ++at;
    EXPECT_EQ(at.indices, indices.data() + 6);
}

} // namespace
