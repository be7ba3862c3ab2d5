// Candidate pairs: none that meets is missing, and their number and the work of finding them stay
// near linear on what defeats grids, box trees and comparing all with all.

#include "arrangement/CandidatePairs_Impl.h"
#include "arrangement/CurveSlabs_Impl.h"

#include "tests/support/PlanarSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

using Support::AtPolar;
using Support::NamedPlanarSet;
using Support::PlanarSet;
using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::VecBase;
using Velk::Math::Geometry::ArcBase;
using Velk::Math::Geometry::SegBase;
using namespace Velk::Math::Intersect::Impl;

template <class T>
std::vector<Element> ElementsOf(const std::vector<SegBase<T>>& segments,
                                const std::vector<ArcBase<T>>& arcs, T tolerance)
{
    std::vector<Element> elements;
    for (const SegBase<T>& segment : segments) {
        elements.push_back(MakeElement(segment, tolerance));
    }
    for (const ArcBase<T>& arc : arcs) {
        elements.push_back(MakeElement(arc, tolerance));
    }
    return elements;
}

/// Everything that the elements reach, and more.
Region RegionOf(const std::vector<Element>& elements)
{
    double reach = 0;
    for (const Element& element : elements) {
        if (element.active) {
            reach = std::max({reach, LargestMagnitude(element.start), LargestMagnitude(element.end),
                              LargestMagnitude(element.center) + element.radius});
        }
    }
    return {Vec2d(-reach, -reach), Vec2d(reach, reach)};
}

/// Expects every pair that meets among the pairs of the crowd of all; returns how many meet. What
/// meets is told by `MeetingsOf`, which looks at two elements alone: the search of pairs has no
/// part in it, and it has none in the search.
int ExpectNoMeetingMissing(const std::vector<Element>& elements)
{
    std::vector<int> crowd;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i].active) {
            crowd.push_back(static_cast<int>(i));
        }
    }
    ElementPairs found;
    FindPairsOfCrowd(elements, crowd, RegionOf(elements), found);
    std::sort(found.pairs.begin(), found.pairs.end());
    int meeting = 0;
    for (std::size_t i = 0; i < crowd.size(); ++i) {
        for (std::size_t j = i + 1; j < crowd.size(); ++j) {
            const Element& a = elements[static_cast<std::size_t>(crowd[i])];
            const Element& b = elements[static_cast<std::size_t>(crowd[j])];
            if (MeetingsOf(a, b).count > 0) {
                ++meeting;
                EXPECT_TRUE(std::binary_search(found.pairs.begin(), found.pairs.end(),
                                               std::pair(crowd[i], crowd[j])))
                    << crowd[i] << " and " << crowd[j];
            }
        }
    }
    return meeting;
}

// --- work ------------------------------------------------------------------------------------

class CandidatePairsOf : public testing::TestWithParam<NamedPlanarSet> {};

/// Pairs to look at and comparisons of curves, for each element.
double WorkPerElement(const PlanarSet& set)
{
    const CandidatePairs pairs(ElementsOf(set.segments, set.arcs, 1e-12));
    return static_cast<double>(pairs.PairCount() + pairs.Comparisons()) /
           static_cast<double>(set.Size());
}

TEST_P(CandidatePairsOf, WorkGrowsHardlyFasterThanTheirNumber)
{
    // All pairs would be half the number for each element, and sixteen times that at the last size.
    const double few = WorkPerElement(GetParam().make(Support::FullOr(1000, 300)));
    const double more = WorkPerElement(GetParam().make(Support::FullOr(4000, 1200)));
    const double many = WorkPerElement(GetParam().make(Support::FullOr(16'000, 4800)));
    EXPECT_LT(more, 1.7 * few + 10);
    EXPECT_LT(many, 1.5 * more + 10);
    // A circle is four curves in each of several cells, which makes it the dearest of all.
    EXPECT_LT(many, 700);
}

TEST_P(CandidatePairsOf, AreFewBesideThePairsThatMeet)
{
    const PlanarSet set = GetParam().make(2000);
    const std::vector<Element> elements = ElementsOf(set.segments, set.arcs, 1e-12);
    const CandidatePairs pairs(elements);
    std::vector<int> candidates;
    std::size_t examined = 0;
    std::size_t meeting = 0;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        pairs.Of(static_cast<int>(i), candidates);
        EXPECT_TRUE(std::is_sorted(candidates.begin(), candidates.end()));
        examined += candidates.size();
        meeting += static_cast<std::size_t>(
            std::count_if(candidates.begin(), candidates.end(), [&](int j) {
                return MeetingsOf(elements[i], elements[static_cast<std::size_t>(j)]).count > 0;
            }));
    }
    EXPECT_LT(examined, 2 * meeting + 10 * elements.size());
}

TEST_P(CandidatePairsOf, MissNoneThatMeets)
{
    const PlanarSet set = GetParam().make(400);
    const std::vector<Element> elements = ElementsOf(set.segments, set.arcs, 1e-12);
    ExpectNoMeetingMissing(elements);
    const CandidatePairs pairs(elements);
    std::vector<int> candidates;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        pairs.Of(static_cast<int>(i), candidates);
        for (std::size_t j = i + 1; j < elements.size(); ++j) {
            if (MeetingsOf(elements[i], elements[j]).count > 0) {
                EXPECT_TRUE(
                    std::binary_search(candidates.begin(), candidates.end(), static_cast<int>(j)))
                    << i << " and " << j;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, CandidatePairsOf, testing::ValuesIn(Support::kPlanarSets),
                         [](const auto& set) { return set.param.name; });

TEST(CandidatePairs, EmptyAndSingle)
{
    std::vector<int> candidates{7};
    const CandidatePairs none{std::vector<Element>{}};
    EXPECT_EQ(none.PairCount(), 0);
    const CandidatePairs one(ElementsOf<double>({{{0, 0}, {1, 1}}}, {}, 1e-12));
    one.Of(0, candidates);
    EXPECT_TRUE(candidates.empty());
}

TEST(CandidatePairs, InactiveElementsHaveNone)
{
    const double nan = std::nan("");
    const CandidatePairs pairs(ElementsOf<double>(
        {{{0, 0}, {1, 1}}, {{nan, 0}, {1, 1}}, {{0, 1}, {1, 0}}, {{0, 1e200}, {1, 0}}}, {}, 1e-12));
    std::vector<int> candidates;
    pairs.Of(0, candidates);
    EXPECT_EQ(candidates, std::vector<int>{2});
    pairs.Of(1, candidates);
    EXPECT_TRUE(candidates.empty());
}

// --- crowds of everything that makes trouble ----------------------------------------------------

/// Random elements that share ends, all but share them, lie on each other, touch each other and
/// have ends on each other, with a tolerance that may be next to nothing or rather coarse.
template <class T>
class Tangle {
public:
    explicit Tangle(std::uint64_t seed) : random_(seed)
    {
        constexpr std::array<double, 6> kTolerances{1e-12, 1e-9, 1e-6, 1e-3, 0.02, 0};
        scale_ = std::pow(10.0, random_.Below(5) - 2);
        tolerance_ = scale_ * kTolerances[static_cast<std::size_t>(random_.Below(6))];
        if (random_.Below(5) == 0) {
            points_.push_back(scale_ * Vec2d(1000, -500));
        }
        const double arcShare = random_.Below(3) == 0 ? 0 : random_.Unit();
        const int count = random_.Below(10) == 0 ? 250 : 20 + random_.Below(60);
        for (int i = 0; i < count; ++i) {
            if (random_.Unit() < arcShare) {
                AddArc();
            } else {
                AddSegment();
            }
        }
    }

    std::vector<Element> Elements() const
    {
        return ElementsOf(segments_, arcs_, static_cast<T>(tolerance_));
    }

private:
    template <class Item>
    const Item& AnyOf(const std::vector<Item>& items)
    {
        return items[static_cast<std::size_t>(random_.Below(static_cast<int>(items.size())))];
    }

    /// Beside a point by a hundredth to a hundred tolerances.
    Vec2d Beside(const Vec2d& p)
    {
        const double reach = tolerance_ * std::pow(10.0, random_.Between(-2, 2));
        return p + random_.Vector<2, double>(-reach, reach);
    }

    Vec2d Point()
    {
        const int kind = random_.Below(20);
        if (!points_.empty() && kind < 10) {
            const Vec2d& p = AnyOf(points_);
            return kind < 7 ? p : Beside(p);
        }
        points_.push_back(kind < 14 ? scale_ / 4 * Vec2d(random_.Below(5), random_.Below(5))
                                    : random_.Vector<2, double>(0, scale_));
        return points_.back();
    }

    void AddSegment()
    {
        Vec2d start = Point();
        Vec2d end = Point();
        const int kind = random_.Below(20);
        if (!segments_.empty() && kind < 6) { // along another
            const SegBase<T>& other = AnyOf(segments_);
            const Vec2d along = Vec2d(other.end) - Vec2d(other.start);
            start = Vec2d(other.start) + along * (kind < 3 ? 0 : random_.Between(-0.5, 1));
            end = Vec2d(other.start) + along * random_.Between(0.2, 1.8);
            end = kind % 2 == 0 ? end : Beside(end);
        }
        segments_.push_back({VecBase<2, T>(start), VecBase<2, T>(end)});
    }

    void AddArc()
    {
        Vec2d center = Point();
        Vec2d start = Point();
        double turn = random_.Between(-7, 7);
        const int kind = random_.Below(20);
        if (!arcs_.empty() && kind < 4) { // on the circle of another, or concentric
            const ArcBase<T>& other = AnyOf(arcs_);
            center = Vec2d(other.center);
            const double grown = tolerance_ * std::pow(10.0, random_.Between(-2, 2)) / scale_;
            start = center + (Vec2d(other.start) - center) * (kind < 2 ? 1 : 1 + grown);
        } else if (!arcs_.empty() && kind < 8) { // from the start of another, in its direction
            const ArcBase<T>& other = AnyOf(arcs_);
            start = Vec2d(other.start);
            center = start + (Vec2d(other.center) - start) * random_.Between(-2, 3);
        } else if (!segments_.empty() && kind < 11) { // from a segment, smoothly
            const SegBase<T>& other = AnyOf(segments_);
            const Vec2d along = Vec2d(other.end) - Vec2d(other.start);
            start = kind == 8 ? Vec2d(other.end) : Vec2d(other.start) + along * random_.Unit();
            center = start + Vec2d(-along.y(), along.x()) * random_.Between(-2, 2);
        } else if (kind < 14) { // through two points, perhaps almost straight
            const Vec2d end = Point();
            const double height = random_.Between(-2, 2) * std::pow(10.0, random_.Between(-1, 3));
            const Vec2d along = end - start;
            center = (start + end) * 0.5 + Vec2d(-along.y(), along.x()) * height;
            turn = std::copysign(2 * std::atan2(0.5, std::fabs(height)), height);
        } else if (kind < 18) {
            turn = std::copysign(kTwoPi<double>, turn);
        }
        const VecBase<2, T> c(center);
        const VecBase<2, T> s(start);
        arcs_.push_back({c, s, static_cast<T>(turn * Length(Vec2d(s) - Vec2d(c)))});
    }

    Support::Random random_;
    double scale_ = 1;
    double tolerance_ = 0;
    std::vector<Vec2d> points_;
    std::vector<SegBase<T>> segments_;
    std::vector<ArcBase<T>> arcs_;
};

template <class T>
class CrowdPairs : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(CrowdPairs, Coordinates);

TYPED_TEST(CrowdPairs, OfATangleMissNoneThatMeets)
{
    int meeting = 0;
    for (std::uint64_t seed = 0; seed < Support::Rounds(400U); ++seed) {
        SCOPED_TRACE(seed);
        meeting += ExpectNoMeetingMissing(Tangle<TypeParam>(seed).Elements());
    }
    EXPECT_GT(meeting, Support::Rounds(50'000, 1));
}

// --- what is special about common ends ---------------------------------------------------------

/// Elements that keep the crowd from being compared all with all, far from everything else.
std::vector<SegBase<double>> Bystanders()
{
    std::vector<SegBase<double>> segments;
    for (int i = 0; i < 60; ++i) {
        segments.push_back({{0.1 * i, -50.0 - i}, {0.1 * i + 3, -51.0 - i}});
    }
    return segments;
}

TEST(CrowdPairsAboutACommonEnd, AnEndThatTouchesANeighborBesideItsPlaceIsFound)
{
    // Four steep spokes that overlap. The end of a short one lies 0.8 tolerances beside a long one,
    // which is five tolerances above it.
    std::vector<SegBase<double>> segments = Bystanders();
    const double tolerance = 1e-5;
    const Vec2d hub(8e-3, 3e-3);
    const Vec2d along = AtPolar(1, 1.41);
    const Vec2d across(-along.y(), along.x());
    for (const double length : {2.6e-3, 6.2e-3, 9e-3, 1.02e-2}) {
        const double aside = length < 7e-3 ? -0.8 * tolerance : 0.0;
        segments.push_back({hub, hub + along * length + across * aside});
    }
    EXPECT_GE(ExpectNoMeetingMissing(ElementsOf(segments, {}, tolerance)), 4);
}

TEST(CrowdPairsAboutACommonEnd, ATouchBesideANearlyLevelLineIsFound)
{
    // Spokes end in one point on the inside of a line that is level but for rounding.
    std::vector<SegBase<double>> segments = Bystanders();
    for (int i = 0; i < 40; ++i) {
        segments.push_back({{0.1, 0.1}, Vec2d(0.1, 0.1) + AtPolar(0.05 + 0.001 * i, 4 + 0.02 * i)});
    }
    segments.push_back({{2.5e-12, 0.1 - 2.8e-12}, {0.109, 0.1 + 1.6e-11}});
    segments.push_back({{0.058, 0.1 + 6e-12}, {0.134, 0.1 + 1.8e-11}});
    // Each spoke meets both lines, and these each other.
    EXPECT_EQ(ExpectNoMeetingMissing(ElementsOf(segments, {}, 1e-10)), 81);
}

TEST(CrowdPairsAboutACommonEnd, ACircleNotQuiteClosedTouchesOthersWithItsSecondEnd)
{
    // All start in one point. The circle stops 1.2 tolerances before it comes back, where the
    // others have just left: its end touches each of them beside the common start.
    const double tolerance = 1e-5;
    std::vector<ArcBase<double>> arcs;
    for (int i = 0; i < 40; ++i) {
        arcs.push_back({AtPolar(2, 2.5 + kTwoPi<double> / 2 + 0.02 * (i - 20)), {0, 0}, 0.5});
    }
    arcs.push_back({AtPolar(2, 2.5), {0, 0}, 2 * kTwoPi<double> - 1.2 * tolerance});
    EXPECT_EQ(ExpectNoMeetingMissing(ElementsOf(Bystanders(), arcs, tolerance)), 40);
}

TEST(CrowdPairsAboutACommonEnd, SecondCrossingsOfCirclesFromOnePointAreFound)
{
    // Circles through two points, both common to all: at the second every pair crosses.
    std::vector<ArcBase<double>> arcs;
    for (int i = 0; i < 60; ++i) {
        const Vec2d center(0.5, -1 + 0.0331 * i);
        arcs.push_back({center, {0, 0}, kTwoPi<double> * Length(center)});
    }
    EXPECT_EQ(ExpectNoMeetingMissing(ElementsOf<double>({}, arcs, 1e-12)), 60 * 59 / 2);
}

} // namespace
