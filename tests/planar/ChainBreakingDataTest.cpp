// Outlines of real parts, split where they cross each other, trimmed, and combined again: the same
// curve, by its length and by the area that it encloses.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/planar/Drawings.h"
#include "tests/support/FileSupport.h"

#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;

/// Joints of the drawings gape by up to 2e-8.
constexpr double kJoints = 1e-6;

double LengthOf(const Chain& chain)
{
    double length = 0;
    for (const auto& element : chain.elements) {
        length += Support::LengthOf(element);
    }
    return length;
}

/// Area between a closed chain and `from`: triangles to its joints, and the caps of its arcs.
double AreaOf(const Chain& chain, const Vec2d& from)
{
    double area = 0;
    for (const auto& element : chain.elements) {
        const Vec2d a = PointOf(element, 0) - from;
        const Vec2d b = PointOf(element, 1) - from;
        area += 0.5 * (a[0] * b[1] - a[1] * b[0]);
        if (const auto* arc = element.AsArc()) {
            const Vec2d spoke = arc->start - arc->center;
            const double radius = std::hypot(spoke[0], spoke[1]);
            const double sweep = arc->length / radius;
            area += 0.5 * radius * radius * (sweep - std::sin(sweep));
        }
    }
    return area;
}

Chain Turned(Chain chain, const Vec2d& about, double angle)
{
    const auto turned = [&](const Vec2d& p) {
        const Vec2d v = p - about;
        return about + Vec2d(v[0] * std::cos(angle) - v[1] * std::sin(angle),
                             v[0] * std::sin(angle) + v[1] * std::cos(angle));
    };
    for (auto& element : chain.elements) {
        if (const auto* segment = element.AsSegment()) {
            element = Geometry::SegBase<double>{turned(segment->start), turned(segment->end)};
        } else {
            const auto arc = *element.AsArc();
            element = Geometry::ArcBase<double>{turned(arc.center), turned(arc.start), arc.length};
        }
    }
    return chain;
}

Vec2d MiddleOf(const Chain& chain)
{
    Vec2d sum;
    for (const auto& element : chain.elements) {
        sum += element.StartPoint();
    }
    return sum * (1.0 / static_cast<double>(chain.elements.size()));
}

/// The elements of `parts`, one behind the other, make the closed chain `whole` again.
void ExpectWhole(const std::vector<Chain>& parts, const Chain& whole)
{
    std::vector<ArcSegBase<double>> elements;
    for (const Chain& part : parts) {
        elements.insert(elements.end(), part.elements.begin(), part.elements.end());
    }
    const Vec2d middle = MiddleOf(whole);
    const auto joined = CombineArcsSegs(elements, kJoints);
    ASSERT_EQ(joined.size(), 1U);
    EXPECT_TRUE(joined[0].IsClosed());
    EXPECT_NEAR(LengthOf(joined[0]), LengthOf(whole), 1e-6);
    EXPECT_NEAR(std::fabs(AreaOf(joined[0], middle)), std::fabs(AreaOf(whole, middle)), 1e-6);
}

class ChainBreakingData : public testing::TestWithParam<const char*> {
protected:
    /// The closed outlines of more than two elements, joints as the drawing has them.
    static std::vector<Chain> Outlines()
    {
        const auto path = SharedData(std::string("arc_chains/") + GetParam() + ".json");
        const auto elements = ElementsOfDrawing(JsonReader(ReadBytes(path)).Value());
        std::vector<Chain> outlines = CombineArcsSegs(elements, kJoints);
        std::erase_if(outlines, [](const Chain& c) { return c.elements.size() < 3; });
        for (const Chain& outline : outlines) {
            EXPECT_TRUE(outline.IsClosed());
        }
        EXPECT_FALSE(outlines.empty());
        return outlines;
    }
};

TEST_P(ChainBreakingData, SplitWhereTurnedOutlinesCrossAndCombinedAgain)
{
    SORVANE_NEED_DATA(SharedData(std::string("arc_chains/") + GetParam() + ".json"));
    for (const Chain& outline : Outlines()) {
        for (const double far : {0.0, 1e6}) {
            SCOPED_TRACE(far);
            const Chain a = Moved(outline, Vec2d(far, -far));
            // A small and a large turn, and one that leaves the outline nearly on itself.
            for (const double angle : {0.3, 2.0, 1e-3}) {
                const Chain b = Turned(a, MiddleOf(a), angle);
                std::vector<Chain> ofA;
                std::vector<Chain> ofB;
                ASSERT_TRUE(SplitAtIntersections(a, b, ofA, ofB, kJoints)) << angle;
                EXPECT_GT(ofA.size(), 2U);
                EXPECT_GT(ofB.size(), 2U);
                ExpectWhole(ofA, a);
                ExpectWhole(ofB, b);
            }
        }
    }
}

TEST_P(ChainBreakingData, TrimmedPartsMakeTheWhole)
{
    SORVANE_NEED_DATA(SharedData(std::string("arc_chains/") + GetParam() + ".json"));
    Random random(21);
    for (const Chain& outline : Outlines()) {
        const auto count = static_cast<int>(outline.elements.size());
        for (int trial = 0; trial < 20; ++trial) {
            const Chain chain = Moved(outline, Vec2d(trial % 2 * 1e6, 0));
            const int first = random.Below(count);
            const int last = (first + 1 + random.Below(count - 1)) % count;
            const auto pointOn = [&](int element) {
                return PointOf(chain.elements[static_cast<std::size_t>(element)],
                               random.Between(0.1, 0.9));
            };
            const Vec2d a = pointOn(first);
            const Vec2d b = pointOn(last);
            ExpectWhole({TrimToPoints(chain, a, b, 1e-9), TrimToPoints(chain, b, a, 1e-9)}, chain);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Drawings, ChainBreakingData,
                         testing::Values("1002_tray_bottom", "125_cycloidal", "apu-mount",
                                         "wrench"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::erase(name, '-');
                             return name;
                         });

} // namespace
