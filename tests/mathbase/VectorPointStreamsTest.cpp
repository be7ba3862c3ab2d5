// Streams of points: repeats, samples at a fixed step, arc lengths, segments.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::Random;
using Stream = std::vector<Vec3d>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// Points on the x axis.
Stream Line(std::initializer_list<double> xs)
{
    Stream stream;
    for (const double x : xs) {
        stream.push_back({x, 0.0, 0.0});
    }
    return stream;
}

Stream RandomWalk(Random& random, int count, double stride)
{
    Stream stream{random.Vector<3, double>(-1, 1)};
    while (static_cast<int>(stream.size()) < count) {
        stream.push_back(stream.back() + random.Vector<3, double>(-stride, stride));
    }
    return stream;
}

// --- RemoveRepeats ------------------------------------------------------------------------------

struct RepeatsCase {
    const char* name;
    Stream stream;
    double tolerance;
    Stream expected;
};
void PrintTo(const RepeatsCase& c, std::ostream* os) { *os << c.name; }

class RemoveRepeatsTable : public testing::TestWithParam<RepeatsCase> {};

TEST_P(RemoveRepeatsTable, Keeps)
{
    const auto& [name, stream, tolerance, expected] = GetParam();
    EXPECT_EQ(Vector::RemoveRepeats(stream, tolerance), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, RemoveRepeatsTable,
    testing::Values(
        RepeatsCase{"Empty", {}, 1.0, {}}, //
        RepeatsCase{"One", Line({5}), 1.0, Line({5})},
        RepeatsCase{"NoRepeats", Line({0, 2, 4}), 1.0, Line({0, 2, 4})},
        RepeatsCase{"ExactRepeats", Line({0, 0, 2, 2, 2, 4}), 1e-12, Line({0, 2, 4})},
        RepeatsCase{"AtTheToleranceStays", Line({0, 1, 2}), 1.0, Line({0, 1, 2})},
        // Measured from the last point kept, so that slow streams advance.
        RepeatsCase{"SlowStream", Line({0, 0.6, 1.2, 1.8, 2.4}), 1.0, Line({0, 1.2, 2.4})},
        RepeatsCase{"EndDisplacesItsNeighbor", Line({0, 2, 4, 4.5}), 1.0, Line({0, 2, 4.5})},
        RepeatsCase{"EndDisplacesSeveral", Line({0, 5, 6, 5.5}), 1.0, Line({0, 5.5})},
        RepeatsCase{"EndGivesWayToTheStart", Line({0, 0.25, 0.5}), 1.0, Line({0})},
        RepeatsCase{"EndFoldsBackOnTheStart", Line({0, 1, 0.25}), 1.0, Line({0})},
        RepeatsCase{"AllEqual", Line({3, 3, 3}), 1.0, Line({3})},
        RepeatsCase{"ClosedStaysClosed", Line({0, 4, 8, 4, 0.5, 0}), 1.0, Line({0, 4, 8, 4, 0})},
        RepeatsCase{"ZeroToleranceDropsNothing", Line({1, 1, 2}), 0.0, Line({1, 1, 2})},
        RepeatsCase{"NegativeToleranceDropsNothing", Line({1, 1, 2}), -1.0, Line({1, 1, 2})},
        RepeatsCase{"NanToleranceDropsNothing", Line({1, 1, 2}), kNan, Line({1, 1, 2})},
        RepeatsCase{"InfiniteToleranceLeavesTheStart", Line({1, 7, 2}), kInfinity, Line({1})}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(RemoveRepeats, DistanceIsEuclidean)
{
    // 0.9 in each coordinate is 1.56 away, though every coordinate is within 1.
    const Stream diagonal{{0, 0, 0}, {0.9, 0.9, 0.9}};
    EXPECT_EQ(Vector::RemoveRepeats(diagonal, 1.0), diagonal);
}

TEST(RemoveRepeats, PointsWithNanStay)
{
    const auto kept = Vector::RemoveRepeats(Line({0, kNan, kNan, 0.1, 0.2}), 1.0);
    ASSERT_EQ(kept.size(), 4U);
    EXPECT_TRUE(std::isnan(kept[1].x()));
    EXPECT_TRUE(std::isnan(kept[2].x()));
    EXPECT_EQ(kept[3].x(), 0.2); // the end, in place of 0.1
}

TEST(RemoveRepeats, NeighborsAreNeverCloserThanTheTolerance)
{
    Random random(21);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const Stream stream = RandomWalk(random, 1 + random.Below(60), 0.7);
        const Stream kept = Vector::RemoveRepeats(stream, 0.5);
        ASSERT_FALSE(kept.empty());
        EXPECT_EQ(kept.front(), stream.front());
        EXPECT_TRUE(kept.back() == stream.back() || kept.size() == 1U);
        for (std::size_t i = 1; i < kept.size(); ++i) {
            EXPECT_GE(Vector::Length(kept[i] - kept[i - 1]), 0.5);
        }
        auto from = stream.begin(); // a subsequence of the stream
        for (const Vec3d& p : kept) {
            from = std::find(from, stream.end(), p);
            ASSERT_NE(from, stream.end());
        }
        EXPECT_EQ(Vector::RemoveRepeats(kept, 0.5), kept);
    }
}

// --- ResampleStream -----------------------------------------------------------------------------

TEST(ResampleStream, StraightLine)
{
    EXPECT_EQ(Vector::ResampleStream(Line({0, 4}), 1.0), Line({0, 1, 2, 3, 4}));
    EXPECT_EQ(Vector::ResampleStream(Line({0, 4}), 1.5), Line({0, 1.5, 3, 4}));
    EXPECT_EQ(Vector::ResampleStream(Line({0, 4}), 4.0), Line({0, 4}));
    EXPECT_EQ(Vector::ResampleStream(Line({0, 4}), 9.0), Line({0, 4}));
}

TEST(ResampleStream, StepsRunAlongTheLengthAndPassVertices)
{
    const Stream corner{{0, 0, 0}, {3, 0, 0}, {3, 3, 0}};
    EXPECT_EQ(Vector::ResampleStream(corner, 2.0),
              (Stream{{0, 0, 0}, {2, 0, 0}, {3, 1, 0}, {3, 3, 0}})); // 0, 2, 4, end at 6
    EXPECT_EQ(Vector::ResampleStream(corner, 1.5),
              (Stream{{0, 0, 0}, {1.5, 0, 0}, {3, 0, 0}, {3, 1.5, 0}, {3, 3, 0}}));
    EXPECT_EQ(Vector::ResampleStream({{0, 0, 0}, {0, 0, 0}, {2, 0, 0}, {2, 0, 0}, {4, 0, 0}}, 2.0),
              Line({0, 2, 4})); // repeated points are no obstacle
}

TEST(ResampleStream, ASampleNextToTheEndGivesWay)
{
    // Ten times 0.1 in `double` is 1 exactly, but 3 * 0.1 is above 0.3: no tiny last stretch either
    // way.
    EXPECT_EQ(Vector::ResampleStream(Line({0, 1}), 0.1).size(), 11U);
    EXPECT_EQ(Vector::ResampleStream(Line({0, 0.3}), 0.1).size(), 4U);
    EXPECT_EQ(Vector::ResampleStream(Line({0, 1 + 1e-13}), 0.5), Line({0, 0.5, 1 + 1e-13}));
    EXPECT_EQ(Vector::ResampleStream(Line({0, 1 + 1e-11}), 0.5).size(), 4U);
}

TEST(ResampleStream, SamplesAreMultiplesNotSums)
{
    // A million added steps of 1e-6 would have drifted by 1e-11.
    const Stream samples = Vector::ResampleStream(Line({0, 1}), 1e-6);
    ASSERT_EQ(samples.size(), 1'000'001U);
    for (std::size_t k = 0; k < samples.size(); ++k) {
        ASSERT_NEAR(samples[k].x(), static_cast<double>(k) * 1e-6, 2.3e-16);
    }
}

TEST(ResampleStream, NothingToSampleGivesTheInputBack)
{
    const Stream stream = Line({0, 1, 5});
    for (const double step : {0.0, -0.0, -1.0, kNan, kInfinity, -kInfinity}) {
        EXPECT_EQ(Vector::ResampleStream(stream, step), stream) << step;
    }
    EXPECT_TRUE(Vector::ResampleStream({}, 1.0).empty());
    EXPECT_EQ(Vector::ResampleStream(Line({3}), 1.0), Line({3}));
    EXPECT_EQ(Vector::ResampleStream(Line({3, 3, 3}), 1.0), Line({3})); // length 0: the end alone
}

TEST(ResampleStream, NonFiniteStreamsComeBackUnchanged)
{
    EXPECT_EQ(Vector::ResampleStream(Line({0, kNan, 5}), 1.0).size(), 3U);
    EXPECT_EQ(Vector::ResampleStream(Line({kNan, kNan}), 1.0).size(), 2U);
    EXPECT_EQ(Vector::ResampleStream(Line({0, kInfinity}), 1.0), Line({0, kInfinity}));
    const double huge = std::numeric_limits<double>::max();
    EXPECT_EQ(Vector::ResampleStream(Line({-huge, huge}), 1e300), Line({-huge, huge}));
}

TEST(ResampleStream, AStepTooFineForMemoryThrowsTheLengthErrorAtOnce)
{
    EXPECT_THROW(Vector::ResampleStream(Line({0, 1}), 1e-300), std::length_error);
    EXPECT_THROW(Vector::ResampleStream(Line({0, 1e150}), 1e-300), std::length_error);
    EXPECT_THROW(Vector::ResampleStream(Line({0, 1}), std::numeric_limits<double>::denorm_min()),
                 std::length_error);
    EXPECT_THROW(Vector::ResampleStream(Line({0, 1}), 0x1p-60), std::length_error);
}

TEST(ResampleStream, LengthsThatVanishWhenSquaredCountAsZero)
{
    const double tiny = std::numeric_limits<double>::denorm_min();
    EXPECT_EQ(Vector::ResampleStream(Line({0, 3 * tiny}), 2 * tiny), Line({3 * tiny}));
    EXPECT_EQ(Vector::ResampleStream(Line({0, 3e-163}), tiny).size(), 1U);
    EXPECT_EQ(Vector::ResampleStream(Line({0, 0x1p-500}), 0x1p-501).size(), 3U);
}

TEST(ResampleStream, SamplesLieOnTheStreamAtTheirArcLength)
{
    Random random(22);
    for (int trial = 0; trial < 50; ++trial) {
        SCOPED_TRACE(trial);
        const Stream stream = RandomWalk(random, 2 + random.Below(40), 1.0);
        const double step = random.Between(0.05, 1.5);
        const Stream samples = Vector::ResampleStream(stream, step);
        ASSERT_GE(samples.size(), 2U);
        EXPECT_EQ(samples.front(), stream.front());
        EXPECT_EQ(samples.back(), stream.back());
        // The slow way to each place: walk from the start.
        for (std::size_t k = 0; k + 1 < samples.size(); ++k) {
            double left = static_cast<double>(k) * step;
            std::size_t i = 0;
            while (left > Vector::Length(stream[i + 1] - stream[i]) && i + 2 < stream.size()) {
                left -= Vector::Length(stream[i + 1] - stream[i]);
                ++i;
            }
            const Vec3d direction = Vector::Normalized(stream[i + 1] - stream[i], 0.0);
            EXPECT_LE(Vector::Length(stream[i] + direction * left - samples[k]), 1e-13);
        }
    }
}

// --- PointStreamParameters ----------------------------------------------------------------------

TEST(PointStreamParameters, RunningLength)
{
    const std::vector<Vec2d> stream{{0, 0}, {3, 4}, {3, 4}, {3, 7}};
    EXPECT_EQ(Vector::PointStreamParameters(stream, false), (std::vector<double>{0, 5, 5, 8}));
    EXPECT_EQ(Vector::PointStreamParameters(stream, true),
              (std::vector<double>{0, 0.625, 0.625, 1}));
    const Stream inSpace{{0, 0, 0}, {1, 2, 2}, {1, 2, 3}};
    EXPECT_EQ(Vector::PointStreamParameters(inSpace, false), (std::vector<double>{0, 3, 4}));
    EXPECT_EQ(Vector::PointStreamParameters(inSpace, true), (std::vector<double>{0, 0.75, 1}));
}

TEST(PointStreamParameters, ShortAndDegenerateStreams)
{
    for (const bool normalize : {false, true}) {
        EXPECT_TRUE(Vector::PointStreamParameters(Stream{}, normalize).empty());
        EXPECT_EQ(Vector::PointStreamParameters(Line({7}), normalize), (std::vector<double>{0}));
        EXPECT_EQ(Vector::PointStreamParameters(Line({7, 7, 7}), normalize),
                  (std::vector<double>{0, 0, 0}));
    }
    const auto infinite = Vector::PointStreamParameters(Line({0, 2, kInfinity, 3}), true);
    EXPECT_EQ(infinite, (std::vector<double>{0, 2, kInfinity, kInfinity}));
    const auto nan = Vector::PointStreamParameters(Line({0, 2, kNan, 3}), true);
    EXPECT_EQ(nan[1], 2.0);
    EXPECT_TRUE(std::isnan(nan[2]) && std::isnan(nan[3]));
}

TEST(PointStreamParameters, NeverFallAndEndAtTheLength)
{
    Random random(23);
    for (int trial = 0; trial < 20; ++trial) {
        std::vector<Vec2d> stream;
        for (int i = 0; i < 2000; ++i) {
            stream.push_back(random.Vector<2, double>(-1, 1) * std::exp2(random.Between(-60, 10)));
        }
        const auto parameters = Vector::PointStreamParameters(stream, false);
        EXPECT_TRUE(std::is_sorted(parameters.begin(), parameters.end()));
        EXPECT_EQ(parameters.back(), Vector::Length(stream));
        const auto shares = Vector::PointStreamParameters(stream, true);
        EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
        EXPECT_EQ(shares.front(), 0.0);
        EXPECT_EQ(shares.back(), 1.0);
    }
}

// --- segments -----------------------------------------------------------------------------------

template <class T>
class SegmentsOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(SegmentsOf, Scalars);

TYPED_TEST(SegmentsOf, OneForEachConsecutivePair)
{
    using Segment = Geometry::SegBase<TypeParam>;
    using Points = std::vector<VecBase<2, TypeParam>>;
    EXPECT_TRUE(Vector::PointStreamToSegments(Points{}).empty());
    EXPECT_TRUE(Vector::PointStreamToSegments(Points{{1, 2}}).empty());
    EXPECT_EQ(Vector::PointStreamToSegments(Points{{1, 2}, {3, 4}, {3, 4}, {5, 6}}),
              (std::vector<Segment>{{{1, 2}, {3, 4}}, {{3, 4}, {3, 4}}, {{3, 4}, {5, 6}}}));
}

TYPED_TEST(SegmentsOf, PolylinesAreNotJoined)
{
    using Segment = Geometry::SegBase<TypeParam>;
    using Polylines = std::vector<std::vector<VecBase<2, TypeParam>>>;
    EXPECT_TRUE(Vector::PolyPointStreamToSegments(Polylines{}).empty());
    EXPECT_TRUE(Vector::PolyPointStreamToSegments(Polylines{{}, {{1, 1}}, {}}).empty());
    EXPECT_EQ(Vector::PolyPointStreamToSegments(
                  Polylines{{{0, 0}, {1, 0}}, {}, {{9, 9}}, {{2, 2}, {3, 3}, {2, 2}}}),
              (std::vector<Segment>{{{0, 0}, {1, 0}}, {{2, 2}, {3, 3}}, {{3, 3}, {2, 2}}}));
}

TEST(PointStreamToLineSegments, TwoPointForm)
{
    EXPECT_TRUE(Vector::PointStreamToLineSegments({}).empty());
    EXPECT_TRUE(Vector::PointStreamToLineSegments({{1, 2}}).empty());
    const auto segments = Vector::PointStreamToLineSegments({{1, 2}, {3, 4}, {5, 6}});
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_EQ(segments[0], (std::array<Vec2d, 2>{Vec2d{1, 2}, Vec2d{3, 4}}));
    EXPECT_EQ(segments[1], (std::array<Vec2d, 2>{Vec2d{3, 4}, Vec2d{5, 6}}));
}

} // namespace
