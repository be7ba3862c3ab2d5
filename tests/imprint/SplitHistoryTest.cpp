// The split history of edges, against going over all pieces.

#include "imprint/SplitHistory_Impl.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::Impl::SplitHistory;

std::vector<int> Near(const SplitHistory& history, int pair, const Vec3d& point)
{
    std::vector<int> pairs;
    history.VisitNear(pair, point, [&](int p) { pairs.push_back(p); });
    return pairs;
}

TEST(SplitHistory, OfAnEdgeThatWasNotSplitThereIsNone)
{
    SplitHistory history;
    EXPECT_TRUE(Near(history, 4, {0, 0, 0}).empty());
    history.Record(4, 10, {0, 0, 0}, {0.5, 0, 0}, {1, 0, 0});
    EXPECT_TRUE(Near(history, 6, {0, 0, 0}).empty());
    EXPECT_EQ(Near(history, 4, {0.2, 0, 0}), (std::vector<int>{4, 10}));
    EXPECT_EQ(Near(history, 10, {0.2, 0, 0}), (std::vector<int>{4, 10})) << "by either piece";
    history.Clear();
    EXPECT_TRUE(Near(history, 4, {0.2, 0, 0}).empty());
}

TEST(SplitHistory, APairThatIsGoneIsNoPiece)
{
    SplitHistory history;
    history.Record(4, 10, {0, 0, 0}, {0.5, 0, 0}, {1, 0, 0});
    history.Record(10, 12, {0.5, 0, 0}, {0.75, 0, 0}, {1, 0, 0});
    history.Forget(10);
    history.Forget(99);
    EXPECT_EQ(Near(history, 4, {0.6, 0, 0}), (std::vector<int>{4, 12}));
    EXPECT_TRUE(Near(history, 10, {0.6, 0, 0}).empty());
    // Its number comes again as a piece of another edge.
    history.Record(20, 10, {0, 3, 0}, {0.5, 3, 0}, {1, 3, 0});
    EXPECT_EQ(Near(history, 10, {0.2, 3, 0}), (std::vector<int>{20, 10}));
    EXPECT_EQ(Near(history, 4, {0.6, 0, 0}), (std::vector<int>{4, 12}));
    // The same without having been forgotten first.
    history.Record(30, 12, {0, 5, 0}, {0.5, 5, 0}, {1, 5, 0});
    EXPECT_EQ(Near(history, 4, {0.6, 0, 0}), (std::vector<int>{4}));
    EXPECT_EQ(Near(history, 30, {0.6, 5, 0}), (std::vector<int>{30, 12}));
}

TEST(SplitHistory, AnEdgeWithoutLengthIsKeptToo)
{
    SplitHistory history;
    history.Record(0, 2, {1, 1, 1}, {1, 1, 1}, {1, 1, 1});
    EXPECT_EQ(Near(history, 0, {1, 1, 1}).size(), 2U);
}

// Random splits, the kept half on either side: the piece under a point is among those visited, and
// they are few.
TEST(SplitHistory, AgreesWithGoingOverAllPieces)
{
    for (const double offset : {0.0, 1e6}) {
        Support::Random random(3);
        const Vec3d start = Vec3d{1, 2, 3} + Vec3d{offset, offset, -offset};
        const Vec3d along = {3, -4, 12};
        const auto at = [&](double t) { return start + along * t; };
        SplitHistory history;
        std::map<int, std::pair<double, double>> pieces = {{0, {0.0, 1.0}}};
        for (int made = 2; made < 400; made += 2) {
            const double cut = random.Unit();
            const auto whole = std::find_if(pieces.begin(), pieces.end(), [&](const auto& piece) {
                return piece.second.first < cut && cut < piece.second.second;
            });
            ASSERT_NE(whole, pieces.end());
            const auto [low, high] = whole->second;
            // The pair runs upward or downward: what it keeps is the half at its start.
            if (random.Below(2) == 0) {
                history.Record(whole->first, made, at(low), at(cut), at(high));
                whole->second = {low, cut};
                pieces[made] = {cut, high};
            } else {
                history.Record(whole->first, made, at(high), at(cut), at(low));
                whole->second = {cut, high};
                pieces[made] = {low, cut};
            }
        }
        for (int i = 0; i < 500; ++i) {
            const double t = random.Unit();
            const auto under = std::find_if(pieces.begin(), pieces.end(), [&](const auto& piece) {
                return piece.second.first <= t && t <= piece.second.second;
            });
            const int anyPiece = 2 * random.Below(200);
            const std::vector<int> found = Near(history, anyPiece, at(t));
            EXPECT_EQ(std::count(found.begin(), found.end(), under->first), 1);
            EXPECT_LE(found.size(), 5U);
        }
    }
}

} // namespace
