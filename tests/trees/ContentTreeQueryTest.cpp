// The queries against a loop over all contents: nothing missed that the definition selects, nothing
// twice, and the definitions at their edges.

#include "tests/support/Rounds.h"
#include "tests/trees/ContentTreeSupport.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

namespace {

using namespace Support;

// --- inputs -------------------------------------------------------------------------------------

enum class Shape { Small, Needles, Points, Coincident, Clusters, Scales };
constexpr Shape kShapes[] = {Shape::Small,      Shape::Needles,  Shape::Points,
                             Shape::Coincident, Shape::Clusters, Shape::Scales};

/// A position and an extent (not negative) of a content of that shape, within about 100.
template <int D, class T>
std::pair<VecBase<D, T>, VecBase<D, T>> MakePlace(Shape shape, Random& random)
{
    using V = VecBase<D, T>;
    switch (shape) {
    case Shape::Small:
        return {random.Vector<D, T>(-100, 100), random.Vector<D, T>(0, 1)};
    case Shape::Needles: {
        V extent = random.Vector<D, T>(0, 0.1);
        extent[random.Below(D)] = static_cast<T>(random.Between(0, 90));
        return {random.Vector<D, T>(-100, 100), extent};
    }
    case Shape::Points:
        return {random.Vector<D, T>(-100, 100), V{}};
    case Shape::Coincident: { // twenty places, boxes of three sizes
        V place;
        for (T& coordinate : place) {
            coordinate = static_cast<T>(random.Below(3));
        }
        return {place, Velk::Math::Sorvane::Bounding::Impl::Uniform<D, T>(
                           static_cast<T>(random.Below(3)))};
    }
    case Shape::Clusters: {
        V place = random.Vector<D, T>(-1e-3, 1e-3);
        place[0] += static_cast<T>(10 * random.Below(5));
        return {place, random.Vector<D, T>(0, 1e-4)};
    }
    case Shape::Scales: {
        const double scale = std::pow(10.0, random.Between(-9, 2));
        return {random.Vector<D, T>(-scale, scale), random.Vector<D, T>(0, scale)};
    }
    }
    return {};
}

template <int D, class T, int K>
void Fill(OpenTree<D, T, K>& tree, Shape shape, int count, Random& random)
{
    tree.storage.SetBlockSize(static_cast<std::uint32_t>(count));
    for (int i = 0; i < count; ++i) {
        const auto [place, extent] = MakePlace<D, T>(shape, random);
        if constexpr (K == 0) {
            tree.storage.Add({place, place + extent, i});
        } else {
            tree.storage.Add({place, extent[0], i});
        }
    }
}

/// At a content exactly, so that distances of 0 and touching come up.
template <int D, class T, int K>
VecBase<D, T> ContentPoint(const OpenTree<D, T, K>& tree, Random& random)
{
    const auto* item = tree.storage.Find(random.Below(tree.storage.LastIndex() + 1));
    if constexpr (K == 0) {
        return random.Unit() < 0.5 ? item->min : item->max;
    } else {
        return item->center;
    }
}

/// Somewhere in the data, or at a content exactly.
template <int D, class T, int K>
VecBase<D, T> QueryPoint(const OpenTree<D, T, K>& tree, Random& random)
{
    return random.Unit() < 0.5 ? random.Vector<D, T>(-120, 120) : ContentPoint(tree, random);
}

// --- definitions --------------------------------------------------------------------------------

template <int D, class T, int K>
bool BallSelects(const BoundingBall<D, T>& ball, const Item<D, T, K>& item)
{
    if constexpr (K == 0) {
        return ball.radius * ball.radius >
               Intersect::DistanceToAABB(item.min, item.max, ball.center, true);
    } else {
        const T reach = std::fabs(ball.radius) + std::fabs(item.radius) + T(1e-12);
        return reach * reach >= SquaredLength(ball.center - item.center);
    }
}

template <int K>
bool BoxSelects(const AxisAlignedBoundingBox<3, double>& box, const Item<3, double, K>& item)
{
    if constexpr (K == 0) {
        return Intersect::AABBAABB(box.min, box.max, item.min, item.max, false);
    } else {
        return item.radius * item.radius >
               Intersect::DistanceToAABB(box.min, box.max, item.center, true);
    }
}

template <class Tree, class Selects>
std::vector<int> BruteForce(const Tree& tree, const Selects& selects)
{
    std::vector<int> ids;
    for (const auto& item : tree.storage) {
        if (selects(item)) {
            ids.push_back(item.id);
        }
    }
    return ids;
}

// --- a hundred thousand contents ----------------------------------------------------------------

template <class Tree>
class ContentTreeProperty : public testing::Test {
};

template <int Dimension, class Scalar, int Kind>
struct Case {
    static constexpr int D = Dimension;
    static constexpr int K = Kind;
    using T = Scalar;
    using Tree = OpenTree<D, T, K>;
};
using Cases = testing::Types<Case<2, double, 0>, Case<2, float, 0>, Case<3, double, 0>,
                             Case<2, double, 1>, Case<3, double, 1>>;
TYPED_TEST_SUITE(ContentTreeProperty, Cases);

/// Few queries of many contents, and many queries of few.
constexpr std::pair<int, int> kContentsAndQueries[] = {
    {Support::Rounds(100'000), Support::FullOr(12, 30)}, {3'000, Support::Rounds(150)}};

template <class Tree, class Check>
void ForEachInput(const Check& check)
{
    for (const Shape shape : kShapes) {
        for (const auto& [contents, queries] : kContentsAndQueries) {
            SCOPED_TRACE("shape " + std::to_string(static_cast<int>(shape)) + ", contents " +
                         std::to_string(contents));
            Random random(1);
            Tree tree;
            Fill(tree, shape, contents, random);
            tree.Build();
            ASSERT_EQ(CountContents(tree.AnyRoot()), static_cast<std::size_t>(contents));
            check(tree, shape, queries, random);
        }
    }
}

TYPED_TEST(ContentTreeProperty, BallQueriesMissNothing)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using Tree = typename TypeParam::Tree;
    ForEachInput<Tree>([](const Tree& tree, Shape, int queries, Random& random) {
        for (int query = 0; query < queries; ++query) {
            const T radius =
                query % 5 == 0 ? T{0} : static_cast<T>(std::pow(10.0, random.Between(-4, 2)));
            const bool isAtContent = query % 2 == 0;
            const BoundingBall<D, T> ball{isAtContent ? ContentPoint(tree, random)
                                                      : QueryPoint(tree, random),
                                          query % 7 == 0 ? -radius : radius};
            const std::vector<int> expected =
                BruteForce(tree, [&](const auto& item) { return BallSelects(ball, item); });
            ASSERT_EQ(Ids(tree.GetPossibleBallCollisions(ball)), expected) << query;
            // Around a point of a content there is that one.
            ASSERT_TRUE(!expected.empty() || !isAtContent || radius == 0) << query;
        }
    });
}

/// Of the ball that asks and of a ball that is a content.
TYPED_TEST(ContentTreeProperty, ARadiusCountsByItsMagnitude)
{
    using T = typename TypeParam::T;
    constexpr int D = TypeParam::D;
    Random random(18);
    for (const Shape shape : kShapes) {
        typename TypeParam::Tree tree;
        Fill(tree, shape, 500, random);
        typename TypeParam::Tree turned;
        for (auto item : tree.storage) {
            if constexpr (TypeParam::K == 1) {
                item.radius = -item.radius;
            }
            turned.storage.Add(item);
        }
        tree.Build();
        turned.Build();
        std::size_t found = 0;
        for (int i = 0; i < Support::Rounds(100); ++i) {
            const VecBase<D, T> center = QueryPoint(tree, random);
            const T radius = static_cast<T>(std::exp2(random.Between(-8, 6)));
            const std::vector<int> expected = BruteForce(tree, [&](const auto& item) {
                return BallSelects(BoundingBall<D, T>{center, radius}, item);
            });
            found += expected.size();
            ASSERT_EQ(Ids(tree.GetPossibleBallCollisions({center, -radius})), expected);
            ASSERT_EQ(Ids(turned.GetPossibleBallCollisions({center, radius})), expected);
            ASSERT_EQ(Ids(turned.GetPossibleBallCollisions({center, -radius})), expected);
        }
        EXPECT_GT(found, 0U);
    }
}

TYPED_TEST(ContentTreeProperty, RemovedContentsAreGoneAndInsertedOnesAreThere)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Random random(2);
    typename TypeParam::Tree tree;
    Fill(tree, Shape::Needles, 5000, random);
    tree.Build();
    std::vector<char> isIn(5000, 1);
    for (int step = 0; step < 20'000; ++step) {
        const int i = random.Below(5000);
        char& state = isIn[static_cast<std::size_t>(i)];
        state = random.Unit() < 0.5 ? 1 : 0;
        ASSERT_TRUE(state != 0 ? tree.Put(tree.storage.Find(i)) : tree.Take(tree.storage.Find(i)));
    }
    for (int query = 0; query < 50; ++query) {
        if (query == 25) {
            tree.ArrangeContents();
        }
        const BoundingBall<D, T> ball{QueryPoint(tree, random),
                                      static_cast<T>(random.Between(0, 30))};
        const std::vector<int> expected = BruteForce(tree, [&](const auto& item) {
            return isIn[static_cast<std::size_t>(item.id)] != 0 && BallSelects(ball, item);
        });
        ASSERT_EQ(Ids(tree.GetPossibleBallCollisions(ball)), expected) << query;
    }
}

template <int K>
void CheckBoxQueries()
{
    using Tree = OpenTree<3, double, K>;
    ForEachInput<Tree>([](const Tree& tree, Shape shape, int queries, Random& random) {
        for (int query = 0; query < queries; ++query) {
            // Every fourth box has a point of a content well inside, and so meets that content.
            const bool isAround = query % 4 == 0;
            const Vec3d at = isAround ? ContentPoint(tree, random) : QueryPoint(tree, random);
            const double size = query % 5 == 0 ? 0 : std::pow(10.0, random.Between(-4, 2.3));
            const Vec3d down = isAround ? random.Vector<3, double>(size / 10, size) : Vec3d{};
            const Vec3d up = random.Vector<3, double>(isAround ? size / 10 : 0, size);
            const AxisAlignedBoundingBox<3, double> box{at - down, at + up};
            const std::vector<int> expected =
                BruteForce(tree, [&](const auto& item) { return BoxSelects(box, item); });
            ASSERT_EQ(Ids(tree.GetPossibleBoxCollisions(box)), expected) << query;
            if (K == 1 && shape == Shape::Points) {
                ASSERT_TRUE(expected.empty()) << query; // a ball without radius is never met
            } else {
                ASSERT_TRUE(!expected.empty() || !isAround || size == 0) << query;
            }
        }
    });
}

TEST(ContentTreeQuery, BoxQueriesMissNoBox) { CheckBoxQueries<0>(); }
TEST(ContentTreeQuery, BoxQueriesMissNoBall) { CheckBoxQueries<1>(); }

/// Does the line, both ways, come into the box grown by `margin`? Separating axes of a line and a
/// box in long double, no slabs.
bool LineMeets(const Vec3d& origin, const Vec3d& direction, const Vec3d& min, const Vec3d& max,
               long double margin)
{
    for (int axis = 0; axis < 3; ++axis) {
        // The box seen along `direction`, against the normal made of it and a coordinate axis.
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        const long double du = direction[u];
        const long double dv = direction[v];
        const long double cu = (static_cast<long double>(min[u]) + max[u]) / 2 - origin[u];
        const long double cv = (static_cast<long double>(min[v]) + max[v]) / 2 - origin[v];
        const long double hu = (static_cast<long double>(max[u]) - min[u]) / 2 + margin;
        const long double hv = (static_cast<long double>(max[v]) - min[v]) / 2 + margin;
        if (std::fabs(cu * dv - cv * du) > hu * std::fabs(dv) + hv * std::fabs(du)) {
            return false;
        }
    }
    return true;
}

TEST(ContentTreeQuery, LineQueriesMissNothing)
{
    using Tree = OpenTree<3, double, 0>;
    ForEachInput<Tree>([](const Tree& tree, Shape, int queries, Random& random) {
        std::size_t hits = 0;
        for (int query = 0; query < queries; ++query) {
            const Vec3d through = QueryPoint(tree, random);
            Vec3d direction = random.Vector<3, double>(-1, 1);
            if (query % 3 == 0) {
                direction = {};
                direction[random.Below(3)] = query % 2 == 0 ? 1 : -1;
            }
            direction = Vector::Normalized(direction, 1e-12);
            // From before, amid and behind the data: a line has no beginning.
            const Vec3d origin = through + direction * random.Between(-500, 500);
            const auto found =
                Ids(tree.GetPossibleRayCollisions(origin, direction, query % 2 == 0));
            // Far contents must be out, near ones in; in between rounding may decide.
            constexpr long double kRoom = 1e-9L;
            std::vector<int> surely;
            std::vector<int> perhaps;
            for (const auto& item : tree.storage) {
                if (LineMeets(origin, direction, item.min, item.max, kRoom)) {
                    perhaps.push_back(item.id);
                    if (LineMeets(origin, direction, item.min, item.max, -kRoom)) {
                        surely.push_back(item.id);
                    }
                }
            }
            ASSERT_TRUE(std::includes(found.begin(), found.end(), surely.begin(), surely.end()))
                << query;
            ASSERT_TRUE(std::includes(perhaps.begin(), perhaps.end(), found.begin(), found.end()))
                << query;
            ASSERT_EQ(std::adjacent_find(found.begin(), found.end()), found.end());
            hits += perhaps.size();
        }
        EXPECT_GT(hits, 0U);
    });
}

TEST(ContentTreeQuery, LineQueriesAreTheRayTestFromOutsideTheTree)
{
    Random random(6);
    OpenTree<3, double, 0> tree;
    Fill(tree, Shape::Small, 20'000, random);
    tree.Build();
    const auto& root = tree.Root();
    const double back = 4 * std::sqrt(3.0) * root.halfSize * (1 + root.slack);
    for (int query = 0; query < 100; ++query) {
        Vec3d direction{};
        direction[query % 3] = 1; // of length 1 exactly
        const Vec3d origin = QueryPoint(tree, random);
        const Vec3d start =
            origin + direction * ((root.center - origin) * direction) - direction * back;
        const std::vector<int> expected = BruteForce(tree, [&](const auto& item) {
            Vec3d hit;
            double distance = 0;
            return Intersect::RayAABB(start, direction, item.min, item.max, hit, distance);
        });
        EXPECT_EQ(Ids(tree.GetPossibleRayCollisions(origin, direction, true)), expected);
    }
}

/// Unit boxes side by side far from the origin, and lines through their centers. All coordinates
/// are halves of whole numbers, exact in `float` as well, so that it is known without rounding
/// which boxes a line goes through: moved along itself by rounded steps it would miss some.
template <int D, class T>
void CheckLinesFarFromTheOrigin()
{
    using V = VecBase<D, T>;
    constexpr int kFar = 2'000'000;
    constexpr int kSide = 24;
    OpenTree<D, T, 0> tree;
    tree.storage.SetBlockSize(kSide * kSide);
    for (int i = 0; i < kSide * kSide; ++i) {
        V min = Velk::Math::Sorvane::Bounding::Impl::Uniform<D, T>(T(kFar));
        min[0] += static_cast<T>(i % kSide);
        min[1] += static_cast<T>(i / kSide);
        V max = min;
        for (T& coordinate : max) {
            coordinate += T(1);
        }
        tree.storage.Add({min, max, i});
    }
    tree.Build();
    Random random(17);
    for (int query = 0; query < Support::Rounds(2000); ++query) {
        const int target = random.Below(kSide * kSide);
        const auto* box = tree.storage.Find(target);
        std::array<int, 3> direction{};
        for (int axis = 0; axis < D; ++axis) {
            direction[static_cast<std::size_t>(axis)] = random.Below(19) - 9;
        }
        direction[D - 1] = direction[D - 1] == 0 ? 5 : direction[D - 1];
        const int steps = random.Below(2001) - 1000;
        V origin;
        V along;
        for (int axis = 0; axis < D; ++axis) {
            const int step = direction[static_cast<std::size_t>(axis)];
            along[axis] = static_cast<T>(step);
            origin[axis] = box->min[axis] + T(0.5) + static_cast<T>(steps * step);
        }
        const std::vector<int> found = Ids(tree.GetPossibleRayCollisions(origin, along, true));
        ASSERT_TRUE(std::binary_search(found.begin(), found.end(), target)) << query;
        // In whole numbers of half units: the areas between the line and a box, seen along each
        // axis. Beyond three units there is no doubt.
        for (const auto& item : tree.storage) {
            bool isMet = true;
            bool isFar = false;
            for (int u = 0; u < D; ++u) {
                for (int v = u + 1; v < D; ++v) {
                    const auto away = [&](int axis) {
                        return static_cast<long long>(
                            2 * (item.min[axis] - box->min[axis])); // to the target's center
                    };
                    const long long du = direction[static_cast<std::size_t>(u)];
                    const long long dv = direction[static_cast<std::size_t>(v)];
                    const long long area = std::abs(away(u) * dv - away(v) * du);
                    const long long reach = std::abs(du) + std::abs(dv);
                    isMet = isMet && area < reach;
                    isFar = isFar || area > 7 * reach;
                }
            }
            const bool isFound = std::binary_search(found.begin(), found.end(), item.id);
            ASSERT_TRUE(!isMet || isFound) << query;
            ASSERT_FALSE(isFar && isFound) << query;
        }
    }
}

TEST(ContentTreeQuery, LinesFarFromTheOriginMissNothing)
{
    CheckLinesFarFromTheOrigin<3, double>();
    CheckLinesFarFromTheOrigin<2, double>();
    CheckLinesFarFromTheOrigin<2, float>();
}

TEST(ContentTreeQuery, DirectionsOfAnyLengthTellTheSameLine)
{
    Random random(7);
    OpenTree<3, double, 0> tree;
    Fill(tree, Shape::Small, 5000, random);
    tree.Build();
    for (int query = 0; query < 50; ++query) {
        const Vec3d origin = random.Vector<3, double>(-100, 100);
        const Vec3d direction = Vector::Normalized(random.Vector<3, double>(-1, 1), 1e-12);
        const auto expected = Ids(tree.GetPossibleRayCollisions(origin, direction, true));
        for (const double length : {0.125, -1.0, 1024.0}) { // exact products
            EXPECT_EQ(Ids(tree.GetPossibleRayCollisions(origin, direction * length, false)),
                      expected);
        }
    }
    for (const double bad : {0.0, kNaN, kInfinity}) {
        EXPECT_TRUE(tree.GetPossibleRayCollisions({0, 0, 0}, {0, bad, 0}, true).empty());
    }
    EXPECT_TRUE(tree.GetPossibleRayCollisions({kNaN, 0, 0}, {0, 1, 0}, true).empty());
    EXPECT_TRUE(tree.GetPossibleRayCollisions({kInfinity, 0, 0}, {0, 1, 0}, true).empty());
}

// --- edges of the definitions -------------------------------------------------------------------

TEST(ContentTreeQuery, ABoxThatOnlyTouchesTheBallIsNotSelected)
{
    OpenTree<2, double, 0> tree;
    tree.storage.Add({Vec2d{3, 0}, Vec2d{4, 1}, 0});
    tree.storage.Add({Vec2d{-4, 0}, Vec2d{-3, 1}, 1});
    tree.Build();
    EXPECT_TRUE(tree.GetPossibleBallCollisions({{0, 0}, 3}).empty());
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{0, 0}, std::nextafter(3.0, 4.0)})),
              (std::vector<int>{0, 1}));
    EXPECT_TRUE(tree.GetPossibleBallCollisions({{3.5, 0.5}, 0}).empty()) << "radius 0 inside a box";
}

TEST(ContentTreeQuery, ABallThatOnlyTouchesTheBallIsSelected)
{
    OpenTree<2, double, 1> tree;
    tree.storage.Add({Vec2d{3, 0}, 1.0, 0});
    tree.storage.Add({Vec2d{-3, 0}, 1.0, 1});
    tree.storage.Add({Vec2d{0, 50}, 0.0, 2});
    tree.Build();
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{0, 0}, 2})), (std::vector<int>{0, 1}));
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{0, 0}, 2 - 0.9e-12})), (std::vector<int>{0, 1}));
    EXPECT_TRUE(tree.GetPossibleBallCollisions({{0, 0}, 2 - 1.2e-12}).empty());
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{3.5, 0}, 0})), std::vector<int>{0})
        << "radius 0 inside";
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{4, 0}, 0})), std::vector<int>{0})
        << "radius 0 on the rim";
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{0, 50}, 0})), std::vector<int>{2})
        << "both of radius 0";
    // Just at the tolerance: 0 + 0 + 1e-12 away, and the next number after it.
    EXPECT_EQ(Ids(tree.GetPossibleBallCollisions({{1e-12, 50}, 0})), std::vector<int>{2});
    EXPECT_TRUE(tree.GetPossibleBallCollisions({{std::nextafter(1e-12, 1.0), 50}, 0}).empty());
}

TEST(ContentTreeQuery, TouchingBallsAreFoundWhereverTheyLie)
{
    // Balls that touch by the rounded test, at coordinates where 1e-12 is less than the rounding.
    Random random(12);
    int touching = 0;
    for (int round = 0; round < 300; ++round) {
        const double far = std::pow(10.0, random.Between(0, 8));
        OpenTree<2, double, 1> tree;
        tree.SetCapacity(2);
        tree.SetRoot({{far, far}, 400, 0});
        std::vector<Item<2, double, 1>> items;
        for (int i = 0; i < 20; ++i) {
            items.emplace_back(Vec2d{far, far} + random.Vector<2, double>(-100, 100),
                               random.Between(0, 40), i);
        }
        for (const auto& item : items) {
            ASSERT_TRUE(tree.Put(&item));
        }
        for (const auto& item : items) {
            const Vec2d center = item.center + Vec2d{item.radius * 2, 0};
            const BoundingBall<2, double> ball{center, item.radius};
            std::vector<int> expected;
            for (const auto& other : items) {
                if (BallSelects(ball, other)) {
                    expected.push_back(other.id);
                }
            }
            touching += BallSelects(ball, item) ? 1 : 0;
            ASSERT_EQ(Ids(tree.GetPossibleBallCollisions(ball)), expected);
        }
    }
    EXPECT_GT(touching, 2000);
}

TEST(ContentTreeQuery, BoxesThatTouchAreSelected)
{
    OpenTree<3, double, 0> tree;
    tree.storage.Add({Vec3d{0, 0, 0}, Vec3d{1, 1, 1}, 0});
    tree.storage.Add({Vec3d{2, 0, 0}, Vec3d{3, 1, 1}, 1});
    tree.Build();
    EXPECT_EQ(Ids(tree.GetPossibleBoxCollisions({{1, 1, 1}, {2, 2, 2}})), (std::vector<int>{0, 1}));
    EXPECT_EQ(Ids(tree.GetPossibleBoxCollisions({{1, 1, 1}, {1, 1, 1}})), std::vector<int>{0});
    EXPECT_TRUE(tree.GetPossibleBoxCollisions({{1, 1, kNaN}, {2, 2, 2}}).empty());
    EXPECT_TRUE(tree.GetPossibleBoxCollisions({{1.25, 0, 0}, {1.75, 1, 1}}).empty());
}

TEST(ContentTreeQuery, CentersThatAreNoNumberSelectNothing)
{
    Random random(13);
    OpenTree<2, double, 0> boxes;
    OpenTree<2, double, 1> balls;
    Fill(boxes, Shape::Small, 1000, random);
    Fill(balls, Shape::Small, 1000, random);
    boxes.Build();
    balls.Build();
    for (const BoundingBall<2, double>& ball : {BoundingBall<2, double>{{kNaN, 0}, 1e9},
                                                {{0, kNaN}, 1e9},
                                                {{0, 0}, kNaN},
                                                {{kInfinity, 0}, 1e9}}) {
        EXPECT_TRUE(boxes.GetPossibleBallCollisions(ball).empty());
        EXPECT_TRUE(balls.GetPossibleBallCollisions(ball).empty());
    }
    EXPECT_EQ(boxes.GetPossibleBallCollisions({{0, 0}, kInfinity}).size(), 1000U);
    EXPECT_EQ(balls.GetPossibleBallCollisions({{0, 0}, kInfinity}).size(), 1000U);
}

// --- order, threads, visitors -------------------------------------------------------------------

TEST(ContentTreeQuery, TheOrderIsChildrenThenOwnContentsAndTheSameInEachTree)
{
    Random random(14);
    OpenTree<2, double, 0> first;
    Fill(first, Shape::Needles, 3000, random);
    first.Build();
    OpenTree<2, double, 0> second;
    for (const auto& item : first.storage) {
        second.storage.Add({item.min, item.max, item.id});
    }
    second.Build();
    const auto order = [](const OpenTree<2, double, 0>& tree) {
        std::vector<int> ids;
        for (const auto* content : tree.GetPossibleBallCollisions({{0, 0}, 1000})) {
            ids.push_back(static_cast<const Item<2, double, 0>*>(content)->id);
        }
        return ids;
    };
    std::vector<int> walked;
    const auto walk = [&](const auto& self, const QOFNode<2, double, 0>& node) -> void {
        for (const auto& child : node.children) {
            self(self, *child);
        }
        for (const auto* content : node.content) {
            walked.push_back(static_cast<const Item<2, double, 0>*>(content)->id);
        }
    };
    walk(walk, first.Root());
    EXPECT_EQ(walked.size(), 3000U);
    EXPECT_EQ(order(first), walked);
    EXPECT_EQ(order(second), walked);
}

TEST(ContentTreeQuery, ManyThreadsMayAskOneTree)
{
    Random random(15);
    OpenTree<3, double, 0> tree;
    Fill(tree, Shape::Small, 20'000, random);
    tree.Build();
    std::vector<BoundingBall<3, double>> balls;
    std::vector<std::vector<int>> expected;
    for (int i = 0; i < 200; ++i) {
        balls.push_back({random.Vector<3, double>(-100, 100), random.Between(0, 20)});
        expected.push_back(Ids(tree.GetPossibleBallCollisions(balls.back())));
    }
    std::vector<std::thread> threads;
    std::vector<int> agreeing(4, 0);
    for (std::size_t t = 0; t < agreeing.size(); ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = 0; i < balls.size(); ++i) {
                agreeing[t] += Ids(tree.GetPossibleBallCollisions(balls[i])) == expected[i] ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(agreeing, std::vector<int>(4, 200));
}

TEST(ContentTreeQuery, DeepTreesAreWalkedWhole)
{
    // A chain of cells far deeper than the store for waiting nodes: every level has a content of
    // its own.
    OpenTree<3, double, 0> tree;
    tree.SetCapacity(1);
    tree.SetRoot({{0, 0, 0}, 1, 0});
    int id = 0;
    for (int level = 1; level < 600; ++level) {
        const double at = std::ldexp(1.0, -level);
        for (const double sign : {1.0, -1.0}) {
            const Vec3d place{sign * at, sign * at, sign * at};
            tree.storage.Add({place, place, id++});
        }
    }
    tree.InsertAll(tree.storage);
    EXPECT_GT(DeepestLevel(tree.AnyRoot()), 500);
    EXPECT_EQ(tree.GetPossibleBallCollisions({{0, 0, 0}, 5}).size(), static_cast<std::size_t>(id));
    std::size_t shown = 0;
    tree.VisitNearest({1, 1, 1}, kInfinity, [&](const auto*) {
        ++shown;
        return kInfinity;
    });
    EXPECT_EQ(shown, static_cast<std::size_t>(id));
}

template <class T>
T SquaredGap(const Item<2, T, 0>& item, const VecBase<2, T>& point)
{
    return Intersect::DistanceToAABB(item.min, item.max, point, true);
}

TEST(ContentTreeNearest, FindsWhatALoopOverAllFindsTiesIncluded)
{
    constexpr int kContents = Support::FullOr(20'000, 5'000);
    for (const Shape shape : kShapes) {
        SCOPED_TRACE(static_cast<int>(shape));
        Random random(16);
        OpenTree<2, double, 0> tree;
        Fill(tree, shape, kContents, random);
        tree.Build();
        for (int query = 0; query < Support::Rounds(100); ++query) {
            const Vec2d point = QueryPoint(tree, random);
            const double squaredRadius = query % 4 == 0 ? random.Between(0, 4) : kInfinity;
            double nearest = kInfinity;
            std::vector<int> nearestIds;
            int shown = 0;
            std::map<int, int> times;
            tree.VisitNearest(point, squaredRadius, [&](const auto* content) {
                const auto& item = *static_cast<const Item<2, double, 0>*>(content);
                EXPECT_EQ(++times[item.id], 1);
                ++shown;
                const double squared = SquaredGap(item, point);
                EXPECT_LT(squared, squaredRadius);
                if (squared < nearest) {
                    nearest = squared;
                    nearestIds.clear();
                }
                if (squared == nearest) {
                    nearestIds.push_back(item.id);
                }
                return nearest;
            });
            std::sort(nearestIds.begin(), nearestIds.end());
            double least = kInfinity;
            for (const auto& item : tree.storage) {
                const double squared = SquaredGap(item, point);
                least = squared < squaredRadius ? std::min(least, squared) : least;
            }
            ASSERT_EQ(nearest, least);
            const std::vector<int> ties = BruteForce(tree, [&](const auto& item) {
                return SquaredGap(item, point) == least && least < squaredRadius;
            });
            ASSERT_EQ(nearestIds, ties) << "all at the least distance are shown";
            if (shape == Shape::Small && nearest > 0) {
                EXPECT_LT(shown, kContents / 20) << "most are never touched";
            }
        }
    }
}

TEST(ContentTreeNearest, HostilePointsAndRadii)
{
    Random random(17);
    OpenTree<2, double, 0> tree;
    Fill(tree, Shape::Small, 500, random);
    tree.Build();
    const auto shown = [&](const Vec2d& point, double squaredRadius) {
        int count = 0;
        tree.VisitNearest(point, squaredRadius, [&](const auto*) {
            ++count;
            return kInfinity;
        });
        return count;
    };
    EXPECT_EQ(shown({0, 0}, kInfinity), 500);
    EXPECT_EQ(shown({0, 0}, 0), 0);
    EXPECT_EQ(shown({0, 0}, -1), 0);
    EXPECT_EQ(shown({0, 0}, kNaN), 0);
    EXPECT_EQ(shown({kNaN, 0}, kInfinity), 0);
    EXPECT_EQ(shown({kInfinity, 0}, kInfinity), 0);
}

TEST(ContentTreeVisit, BoxesThatAreDeniedHideWhatTheyHold)
{
    Random random(18);
    OpenTree<2, double, 0> tree;
    Fill(tree, Shape::Small, 2000, random);
    tree.Build();
    int shown = 0;
    int asked = 0;
    const AxisAlignedBoundingBox<2, double> lowerHalf{{-200, -200}, {200, 0}};
    tree.VisitCandidates(
        [&](const auto& box) { return Velk::Math::Sorvane::Tree::Impl::Overlaps(box, lowerHalf); },
        [&](const auto& bound) {
            ++asked;
            return Velk::Math::Sorvane::Tree::Impl::Overlaps(bound, lowerHalf);
        },
        [&](const auto*) { ++shown; });
    const std::size_t expected =
        BruteForce(tree, [](const auto& item) { return item.min[1] <= 0; }).size();
    EXPECT_EQ(static_cast<std::size_t>(shown), expected);
    EXPECT_LT(asked, shown + 400) << "most of the upper half is never looked at";
    tree.VisitCandidates([](const auto&) { return false; }, [](const auto&) { return true; },
                         [](const auto*) { FAIL(); });
}

} // namespace
