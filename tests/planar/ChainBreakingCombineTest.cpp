// Chains out of loose elements.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/planar/Drawings.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FileSupport.h"

#include <limits>
#include <map>
#include <set>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
using Elements = std::vector<ArcSegBase<T>>;

template <class T>
class CombineArcsSegsTest : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(CombineArcsSegsTest, Coordinates);

template <class T>
ArcSegBase<T> Line(T x0, T y0, T x1, T y1)
{
    return SegBase<T>{{x0, y0}, {x1, y1}};
}

template <class T>
ArcSegBase<T> Turned(ArcSegBase<T> element)
{
    element.Reverse();
    return element;
}

/// The method by the book, slowly: sets of neighbors, starts searched from the beginning each time,
/// chains turned round element by element.
bool Append(PolyArcSegBase<double>& chain, const ArcSegBase<double>& element)
{
    if (const auto* arc = element.AsArc()) {
        return chain.AppendArc(arc->center, arc->start, arc->length);
    }
    return chain.AppendSegment(element.AsSegment()->start, element.AsSegment()->end);
}

std::vector<PolyArcSegBase<double>> CombineSlowly(const Elements<double>& elements, double tol)
{
    std::vector<Vec2d> vertices;
    const auto number = [&](const Vec2d& p) {
        for (std::size_t i = 0; i < vertices.size(); ++i) {
            if (std::fabs(vertices[i][0] - p[0]) <= tol &&
                std::fabs(vertices[i][1] - p[1]) <= tol) {
                return static_cast<int>(i);
            }
        }
        vertices.push_back(p);
        return static_cast<int>(vertices.size()) - 1;
    };
    std::map<int, std::set<int>> neighbors;
    std::map<std::pair<int, int>, int> lowest;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const int from = number(elements[i].StartPoint());
        const int to = number(elements[i].EndPoint());
        if (from != to) {
            neighbors[from].insert(to);
            neighbors[to].insert(from);
            lowest.try_emplace(std::minmax(from, to), static_cast<int>(i));
        }
    }
    std::vector<PolyArcSegBase<double>> chains;
    for (;;) {
        int at = -1;
        for (const auto& [vertex, own] : neighbors) {
            if (own.size() % 2 == 1) {
                at = vertex;
                break;
            }
        }
        for (auto i = neighbors.begin(); at < 0 && i != neighbors.end(); ++i) {
            at = i->second.empty() ? -1 : i->first;
        }
        if (at < 0) {
            return chains;
        }
        PolyArcSegBase<double> chain;
        chain.tolerance = tol;
        while (!neighbors[at].empty()) {
            const int next = *neighbors[at].begin();
            neighbors[at].erase(next);
            neighbors[next].erase(at);
            const auto& element = elements[static_cast<std::size_t>(lowest[std::minmax(at, next)])];
            if (!Append(chain, element) && !Append(chain, Turned(element))) {
                chain = TurnedRound(chain);
                if (!Append(chain, element) && !Append(chain, Turned(element))) {
                    chain = TurnedRound(chain);
                }
            }
            at = next;
        }
        chains.push_back(chain);
    }
}

void ExpectNear(const PolyArcSegBase<double>& a, const PolyArcSegBase<double>& b)
{
    ASSERT_EQ(a.elements.size(), b.elements.size());
    EXPECT_EQ(a.tolerance, b.tolerance);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        ASSERT_EQ(a.elements[i].Alternative(), b.elements[i].Alternative());
        for (const double place : {0.0, 0.5, 1.0}) {
            const Vec2d gap = PointOf(a.elements[i], place) - PointOf(b.elements[i], place);
            EXPECT_LT(std::hypot(gap[0], gap[1]), 1e-9);
        }
    }
}

TYPED_TEST(CombineArcsSegsTest, TriangleInAnyOrderAndDirectionIsOneClosedChain)
{
    using T = TypeParam;
    const Elements<T> sides{Line<T>(0, 0, 4, 0), Line<T>(4, 0, 1, 3), Line<T>(1, 3, 0, 0)};
    std::vector<std::size_t> order{0, 1, 2};
    do {
        for (int turned = 0; turned < 8; ++turned) {
            Elements<T> loose;
            for (std::size_t i = 0; i < 3; ++i) {
                loose.push_back((turned >> i & 1) != 0 ? Turned(sides[order[i]]) : sides[order[i]]);
            }
            const auto chains = CombineArcsSegs(loose, T(1e-6));
            ASSERT_EQ(chains.size(), 1U);
            EXPECT_EQ(chains[0].elements.size(), 3U);
            EXPECT_TRUE(chains[0].IsClosed());
            EXPECT_EQ(chains[0].tolerance, T(1e-6));
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TYPED_TEST(CombineArcsSegsTest, DisjointCurvesComeByTheirLowestVertex)
{
    using T = TypeParam;
    const Elements<T> loose{Line<T>(0, 0, 1, 0), Line<T>(5, 5, 6, 5), Line<T>(1, 0, 2, 0),
                            Line<T>(6, 5, 7, 5)};
    const auto chains = CombineArcsSegs(loose, T(1e-6));
    ASSERT_EQ(chains.size(), 2U);
    EXPECT_EQ(chains[0], [&] {
        auto chain = Lines<T>({{0, 0}, {1, 0}, {2, 0}});
        chain.tolerance = T(1e-6);
        return chain;
    }());
    EXPECT_EQ(chains[1].elements.front().StartPoint(), (VecBase<2, T>(5, 5)));
}

// Open paths come before closed ones: they begin at their dangling ends.
TYPED_TEST(CombineArcsSegsTest, OpenPathsComeFirst)
{
    using T = TypeParam;
    Elements<T> loose;
    for (const auto& side : Square<T>().elements) {
        loose.push_back(side);
    }
    loose.push_back(Line<T>(9, 9, 10, 9));
    const auto chains = CombineArcsSegs(loose, T(1e-6));
    ASSERT_EQ(chains.size(), 2U);
    EXPECT_EQ(chains[0].elements.size(), 1U);
    EXPECT_TRUE(chains[1].IsClosed());
}

TYPED_TEST(CombineArcsSegsTest, SecondHalfCircleIsLost)
{
    using T = TypeParam;
    const T half = static_cast<T>(kHalfTurn * 2);
    const ArcSegBase<T> upper(ArcBase<T>{{0, 0}, {2, 0}, half});
    const ArcSegBase<T> lower(ArcBase<T>{{0, 0}, {-2, 0}, half});
    const auto chains = CombineArcsSegs(Elements<T>{lower, upper}, T(1e-5));
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].elements, Elements<T>{lower});
    EXPECT_FALSE(chains[0].IsClosed());
    // The way round it: one half in two.
    auto pieces = Split(upper, std::vector<T>{T(0.5)}, true, T(1e-5));
    pieces.push_back(lower);
    const auto whole = CombineArcsSegs(pieces, T(1e-5));
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0].elements.size(), 3U);
    EXPECT_TRUE(whole[0].IsClosed());
}

TYPED_TEST(CombineArcsSegsTest, OfADTheElementThatComesFirstStays)
{
    using T = TypeParam;
    const ArcSegBase<T> arc(ArcBase<T>{{0, 0}, {0, -2}, static_cast<T>(kHalfTurn * 2)});
    const auto chord = Line<T>(0, 2, 0, -2);
    EXPECT_EQ(CombineArcsSegs(Elements<T>{chord, arc}, T(1e-5))[0].elements, Elements<T>{chord});
    EXPECT_EQ(CombineArcsSegs(Elements<T>{arc, chord}, T(1e-5))[0].elements, Elements<T>{arc});
}

TYPED_TEST(CombineArcsSegsTest, ElementsWhoseEndsMatchAreLost)
{
    using T = TypeParam;
    Elements<T> loose = Circle<T>(3, 1).elements;
    loose.push_back(Line<T>(5, 5, 5, T(5.000001)));
    EXPECT_TRUE(CombineArcsSegs(loose, T(1e-5)).empty());
    EXPECT_TRUE(CombineArcsSegs(Elements<T>(), T(1e-5)).empty());
    EXPECT_TRUE(CombineArcsSegs(Square<T>().elements, std::numeric_limits<T>::infinity()).empty());
}

TYPED_TEST(CombineArcsSegsTest, WhatIsNotFiniteIsLeftOut)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    Elements<T> loose = Square<T>().elements;
    loose.insert(loose.begin(), Line<T>(nan, 0, 1, 0));
    loose.push_back(Line<T>(0, 0, inf, 0));
    loose.push_back(ArcSegBase<T>(ArcBase<T>{{0, 0}, {2, 0}, nan}));
    for (const T tol : {T(1e-6), T(0), T(-1), nan}) {
        const auto chains = CombineArcsSegs(loose, tol);
        ASSERT_EQ(chains.size(), 1U);
        EXPECT_TRUE(chains[0].IsClosed());
    }
}

// Vertices are numbered as they come: a closed loop starts with its first element and keeps the
// direction of that.
TYPED_TEST(CombineArcsSegsTest, LoopsKeepTheDirectionOfTheirFirstElement)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const auto chains = CombineArcsSegs(square.elements, T(1e-6));
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].elements[0], square.elements[0]);
    EXPECT_GT(Vector::SignedArea(Tessellate(chains[0], T(0.1))), T{0});
}

// Vertices match per coordinate, ends join by their distance: a diagonal gap of 1.2 tolerances is
// one vertex and no joint, and the path behind it is lost with the element.
TYPED_TEST(CombineArcsSegsTest, DiagonalGapsLoseTheRestOfThePath)
{
    using T = TypeParam;
    const T tol = T(0.01);
    const T off = T(0.009);
    const Elements<T> loose{Line<T>(0, 0, 5, 0), Line<T>(5 + off, off, 9, 0), Line<T>(9, 0, 9, 5)};
    const auto chains = CombineArcsSegs(loose, tol);
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].elements.size(), 1U);
}

// A chain that has turned round to take an element stays so.
TYPED_TEST(CombineArcsSegsTest, TurnedChainsStayTurned)
{
    using T = TypeParam;
    // The path starts at (0, 0), the lowest of the two dangling ends, whose element runs towards
    // it.
    const Elements<T> loose{Line<T>(5, 0, 0, 0), Line<T>(5, 0, 9, 0), Line<T>(9, 0, 9, 5)};
    const auto chains = CombineArcsSegs(loose, T(1e-6));
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].elements.front().StartPoint(), (VecBase<2, T>(0, 0)));
    EXPECT_EQ(chains[0].elements.back().EndPoint(), (VecBase<2, T>(9, 5)));
}

TEST(CombineArcsSegs, IsTheSlowMethod)
{
    Random random(77);
    for (int trial = 0; trial < 300; ++trial) {
        // Few places, so that degrees are high, elements parallel and ends repeated.
        const int places = 2 + random.Below(9);
        const auto place = [&] {
            const int i = random.Below(places);
            return Vec2d(i % 3, i / 3);
        };
        Elements<double> loose;
        for (int i = random.Below(25); i >= 0; --i) {
            const Vec2d from = place();
            const Vec2d to = place();
            const double bulge = random.Between(-0.3, 0.3);
            const Vec2d across((to - from).y(), -(to - from).x());
            const auto arc =
                Geometry::ArcThroughPoints(from, (from + to) * 0.5 + across * bulge, to);
            if (random.Below(2) == 0 || arc.length == 0) {
                loose.emplace_back(SegBase<double>{from, to});
            } else {
                loose.emplace_back(arc);
            }
        }
        const auto expected = CombineSlowly(loose, 1e-7);
        const auto chains = CombineArcsSegs(loose, 1e-7);
        ASSERT_EQ(chains.size(), expected.size());
        for (std::size_t i = 0; i < chains.size(); ++i) {
            ExpectNear(chains[i], expected[i]);
        }
    }
}

// Diagonal gaps make elements fit nowhere or at the other end only: each of the ways to append.
TEST(CombineArcsSegs, IsTheSlowMethodOnLooseJointsToo)
{
    Random random(78);
    for (int trial = 0; trial < 300; ++trial) {
        Elements<double> loose;
        const int places = 2 + random.Below(5);
        for (int i = random.Below(12); i >= 0; --i) {
            const auto near = [&] {
                return Vec2d(random.Below(places), 0) + random.Vector<2, double>(0, 0.0099);
            };
            loose.emplace_back(SegBase<double>{near(), near()});
        }
        const auto expected = CombineSlowly(loose, 0.01);
        const auto chains = CombineArcsSegs(loose, 0.01);
        ASSERT_EQ(chains.size(), expected.size());
        for (std::size_t i = 0; i < chains.size(); ++i) {
            ExpectNear(chains[i], expected[i]);
        }
    }
}

// Ends of arcs are derived: far out they miss the next start by more than many a tolerance.
TYPED_TEST(CombineArcsSegsTest, LoopsCloseAnywhereAtAnyTolerance)
{
    using T = TypeParam;
    const std::vector<double> positions =
        std::is_same_v<T, float> ? std::vector<double>{0, 100} : std::vector<double>{0, 1e5, 1e6};
    Random random(15);
    for (const double far : positions) {
        for (const double size : {1e-3, 1.0, 1e3}) {
            if (std::is_same_v<T, float> && size < 1e-3 * far) {
                continue; // no digits are left
            }
            for (const T tol : {T(0), T(1e-12), T(1e-9), T(-1)}) {
                Elements<T> loose;
                const Vec2d center(far, -far);
                for (int i = 0; i < 5; ++i) {
                    const double angle = 2 * kHalfTurn * i / 5;
                    const Vec2d spoke(std::cos(angle), std::sin(angle));
                    loose.emplace_back(ArcBase<T>{VecBase<2, T>(center),
                                                  VecBase<2, T>(center + spoke * size),
                                                  static_cast<T>(size * kHalfTurn * 2 / 5)});
                    if (random.Below(2) == 0) {
                        loose.back().Reverse();
                    }
                }
                const auto chains = CombineArcsSegs(loose, tol);
                ASSERT_EQ(chains.size(), 1U) << far << " " << size << " " << tol;
                EXPECT_EQ(chains[0].elements.size(), 5U);
                EXPECT_TRUE(chains[0].IsClosed()) << far << " " << size << " " << tol;
            }
        }
    }
}

TYPED_TEST(CombineArcsSegsTest, AStrayElementDoesNotCoarsenTheOthers)
{
    using T = TypeParam;
    Elements<T> loose = Square<T>().elements;
    loose.push_back(Line<T>(T(1e18), 0, T(1e18), T(1e15)));
    const auto chains = CombineArcsSegs(loose, T(1e-4));
    ASSERT_EQ(chains.size(), 2U);
    EXPECT_EQ(chains[1].elements, Square<T>().elements);
    EXPECT_EQ(chains[1].tolerance, T(1e-4));
}

// Sizes at which anything but linear steps would take minutes.
TEST(CombineArcsSegs, LargeSetsOfEveryArrangement)
{
    constexpr int kCount = 50'000;
    Elements<double> row;
    Elements<double> hub;
    Elements<double> same(kCount, Line<double>(0, 0, 1, 0));
    Elements<double> loops;
    for (int i = 0; i < kCount; ++i) {
        const double x = static_cast<double>(i * 7919LL % kCount) * 0.01;
        row.push_back(Line<double>(x, 0, x + 0.01, 0));
        const double angle = 2 * kHalfTurn * i / kCount;
        hub.push_back(Line<double>(100 * std::cos(angle), 100 * std::sin(angle), 0, 0));
        const double side = 1 + i / 4;
        const double sides[5][2] = {{0, 0}, {side, 0}, {side, side}, {0, side}, {0, 0}};
        const double low = -0.5 * side;
        const auto& a = sides[i % 4];
        const auto& b = sides[i % 4 + 1];
        loops.push_back(Line<double>(low + a[0], low + a[1], low + b[0], low + b[1]));
    }
    EXPECT_EQ(CombineArcsSegs(row, 1e-6).size(), 1U);
    EXPECT_EQ(CombineArcsSegs(hub, 1e-6).size(), static_cast<std::size_t>(kCount / 2));
    EXPECT_EQ(CombineArcsSegs(same, 1e-6).size(), 1U);
    EXPECT_EQ(CombineArcsSegs(loops, 1e-6).size(), static_cast<std::size_t>(kCount / 4));
}

TEST(CombineArcsSegs, OutlinesOfRealPartsClose)
{
    const auto path = SharedData("arc_chains/wrench.json");
    SORVANE_NEED_DATA(path);
    const auto elements = ElementsOfDrawing(JsonReader(ReadBytes(path)).Value());
    double drawn = 0;
    for (const auto& element : elements) {
        drawn += LengthOf(element);
    }
    double linked = 0;
    for (const auto& chain : CombineArcsSegs(elements, 1e-4)) {
        EXPECT_TRUE(chain.IsClosed());
        linked += PolyArcSegParameters(chain, false).back();
    }
    EXPECT_NEAR(linked, drawn, 1e-3);
}

TEST(CombineArcsSegs, PassesTheExceptionOn)
{
    Elements<double> loose = Square<double>().elements;
    std::reverse(loose.begin(), loose.end());
    EXPECT_GT(FailEachAllocationOfResult([&] { return CombineArcsSegs(loose, 1e-6); }), 8U);
}

} // namespace
