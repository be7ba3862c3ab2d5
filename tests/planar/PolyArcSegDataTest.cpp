// Outlines of real parts, as segments and arcs in the order of a drawing, joined to chains.

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/planar/Drawings.h"
#include "tests/planar/SampledProfiles.h"
#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"

#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;
using Element = ArcSegBase<double>;

/// Distance within which the drawings' ends meet: they are written with ten decimals.
constexpr double kJoint = 1e-6;

double Gap(const Vec2d& a, const Vec2d& b) { return std::hypot(a[0] - b[0], a[1] - b[1]); }

bool Append(Chain& chain, const Element& element)
{
    if (const auto* segment = element.AsSegment()) {
        return chain.AppendSegment(segment->start, segment->end);
    }
    return chain.AppendArc(element.AsArc()->center, element.AsArc()->start,
                           element.AsArc()->length);
}

/// Chains of all elements: each goes on with whatever unused element starts or ends at its end.
std::vector<Chain> Joined(std::vector<Element> elements)
{
    std::vector<Chain> chains;
    while (!elements.empty()) {
        Chain& chain = chains.emplace_back();
        chain.tolerance = kJoint;
        std::size_t next = 0;
        while (next < elements.size()) {
            Element element = elements[next];
            elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(next));
            if (!chain.elements.empty() && Gap(element.StartPoint(), End(chain)) > kJoint) {
                element.Reverse();
            }
            EXPECT_TRUE(Append(chain, element));
            for (next = 0; next < elements.size(); ++next) {
                if (Gap(elements[next].StartPoint(), End(chain)) <= kJoint ||
                    Gap(elements[next].EndPoint(), End(chain)) <= kJoint) {
                    break;
                }
            }
        }
    }
    return chains;
}

class RealChains : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        const auto path = SharedData(std::string("arc_chains/") + GetParam());
        SORVANE_NEED_DATA(path);
        drawing_ = JsonReader(ReadBytes(path)).Value();
        chains_ = Joined(ElementsOfDrawing(drawing_));
        ASSERT_FALSE(chains_.empty());
    }

    JsonValue drawing_;
    std::vector<Chain> chains_;
};

// As points whose chords leave the arcs by half the tolerance, and back: no point is lost, and not many
// more elements are found than were drawn. Arcs of fewer than four points come back as segments.
TEST_P(RealChains, AreFittedFromTheirPoints)
{
    constexpr double kTol = 1e-3;
    std::size_t drawn = 0;
    std::size_t found = 0;
    for (const Chain& chain : chains_) {
        const auto points = Support::Sampled<double>(chain, 0.5 * kTol, 0.5);
        const Chain fitted = FilterArcsAndSegs(points, kTol);
        ASSERT_FALSE(fitted.elements.empty());
        drawn += chain.elements.size();
        found += fitted.elements.size();
        EXPECT_LE(Gap(End(fitted), points.back()), 2 * kTol);
        for (std::size_t i = 0; i < points.size(); i += 1 + points.size() / 2000) {
            EXPECT_LE(Support::DistanceToChain(points[i], fitted), kTol + 1e-9);
        }
    }
    EXPECT_LE(found, 2 * drawn);
}

TEST_P(RealChains, LengthIsThatOfTheDrawing)
{
    double length = 0;
    for (const Chain& chain : chains_) {
        length += PolyArcSegParameters(chain, false).back();
    }
    const double expected = drawing_["total_length"].number;
    EXPECT_NEAR(length, expected, 1e-6 * expected); // segments snap to the ends of arcs
}

TEST_P(RealChains, FilesBringThemBackBitForBit)
{
    const TemporaryFolder folder;
    for (const Chain& chain : chains_) {
        ASSERT_TRUE(WritePolySegArcToFile(chain, (folder / "chain").string()));
        EXPECT_EQ(ReadPolySegArcFromFile((folder / "chain").string()), chain);
    }
}

TEST_P(RealChains, PolylineStaysWithinTolerance)
{
    const double tol = 1e-3;
    for (const Chain& chain : chains_) {
        const auto polyline = Tessellate(chain, tol);
        for (const Vec2d& sample : Samples(chain, 0.02)) {
            EXPECT_LE(DistanceToPolyline(sample, polyline), tol + 1e-9);
        }
        for (const Vec2d& point : polyline) {
            EXPECT_LE(Gap(ClosestPointOnPolyArcSeg(chain, point), point), 1e-9);
        }
    }
}

TEST_P(RealChains, ParametersComeBack)
{
    for (const Chain& chain : chains_) {
        const double length = PolyArcSegParameters(chain, false).back();
        std::vector<Vec2d> points;
        for (int i = 1; i < 50; ++i) {
            ASSERT_TRUE(
                PointAtParameterOnPolyArcSeg(chain, length * i / 50, false, points.emplace_back()));
        }
        const auto parameters = PointParametersOnPolyArcSeg(chain, points, 1e-7);
        for (int i = 1; i < 50; ++i) {
            EXPECT_NEAR(parameters[static_cast<std::size_t>(i - 1)], length * i / 50, 1e-5);
        }
    }
}

TEST_P(RealChains, SideAgreesWithWinding)
{
    Random random(61);
    int closed = 0;
    for (const Chain& chain : chains_) {
        const auto loop = Tessellate(chain, 1e-5);
        const double area = Vector::SignedArea(loop);
        if (!chain.IsClosed() || std::fabs(area) < 1e-6) {
            continue;
        }
        ++closed;
        Vec2d low = loop[0];
        Vec2d high = loop[0];
        for (const Vec2d& p : loop) {
            low = {std::min(low[0], p[0]), std::min(low[1], p[1])};
            high = {std::max(high[0], p[0]), std::max(high[1], p[1])};
        }
        const auto samples = Samples(chain, 0.01);
        for (int i = 0; i < 100; ++i) {
            const Vec2d p(random.Between(low[0] - 0.5, high[0] + 0.5),
                          random.Between(low[1] - 0.5, high[1] + 0.5));
            Vec2d closest;
            const bool isLeft = PointInPolyArcSegSpace(chain, p, true, &closest);
            EXPECT_NEAR(Gap(p, closest), DistanceToPoints(p, samples), 0.005);
            if (DistanceToPolyline(p, loop) > 1e-4) {
                EXPECT_EQ(isLeft, IsInside(p, loop) == (area > 0)) << p;
            }
        }
    }
    EXPECT_GT(closed, 0);
}

/// A loop of chords of the chain's elements from the definitions of segment and arc, each no more
/// than 1e-6 from its arc.
std::vector<Vec2d> ChordsOf(const Chain& chain)
{
    std::vector<Vec2d> loop;
    for (const Element& element : chain.elements) {
        if (const auto* segment = element.AsSegment()) {
            loop.push_back(segment->start);
            continue;
        }
        const auto& arc = *element.AsArc();
        const Vec2d spoke = arc.start - arc.center;
        const double radius = std::hypot(spoke[0], spoke[1]);
        const double first = std::atan2(spoke[1], spoke[0]);
        const double sweep = arc.length / radius;
        const int count = 1 + static_cast<int>(std::fabs(sweep) / std::sqrt(8e-6 / radius));
        for (int i = 0; i < count; ++i) {
            const double angle = first + sweep * i / count;
            loop.push_back(arc.center + Vec2d(std::cos(angle), std::sin(angle)) * radius);
        }
    }
    loop.push_back(loop.front());
    return loop;
}

TEST(TornJoints, OfADrawingGiveEveryPointItsSide)
{
    // The drawing's ends are written with ten decimals, so that its arcs meet within 1e-8 and no
    // better. Of points spread over it one in a thousand would be misjudged by a torn corner.
    const auto path = SharedData("arc_chains/125_cycloidal.json");
    SORVANE_NEED_DATA(path);
    const auto chains = Joined(ElementsOfDrawing(JsonReader(ReadBytes(path)).Value()));
    Random random(62);
    int told = 0;
    for (const Chain& chain : chains) {
        if (!chain.IsClosed() || chain.elements.size() < 3) {
            continue;
        }
        const auto loop = ChordsOf(chain);
        const double area = Vector::SignedArea(loop);
        Vec2d low = loop[0];
        Vec2d high = loop[0];
        for (const Vec2d& p : loop) {
            low = {std::min(low[0], p[0]), std::min(low[1], p[1])};
            high = {std::max(high[0], p[0]), std::max(high[1], p[1])};
        }
        for (int i = 0; i < Support::Rounds(20000); ++i) {
            const Vec2d p(random.Between(low[0] - 0.5, high[0] + 0.5),
                          random.Between(low[1] - 0.5, high[1] + 0.5));
            if (DistanceToPolyline(p, loop) > 1e-5) {
                ++told;
                EXPECT_EQ(PointInPolyArcSegSpace<double>(chain, p, true, nullptr),
                          IsInside(p, loop) == (area > 0))
                    << p;
            }
        }
    }
    EXPECT_GT(told, Support::Rounds(1000, 1));
}

INSTANTIATE_TEST_SUITE_P(Drawings, RealChains,
                         testing::Values("1002_tray_bottom.json", "125_cycloidal.json",
                                         "apu-mount.json", "wrench.json"),
                         [](const auto& drawing) {
                             std::string name = drawing.param;
                             std::replace_if(
                                 name.begin(), name.end(), [](char c) { return !std::isalnum(c); },
                                 '_');
                             return name;
                         });

} // namespace
