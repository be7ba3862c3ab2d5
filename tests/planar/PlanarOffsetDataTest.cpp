// Offsets of outlines from public collections: areas and lengths that others found, and the
// distance from the source.

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PlanarOffset_E.h>

#include "tests/planar/Drawings.h"
#include "tests/planar/OffsetMeasures.h"
#include "tests/support/FileSupport.h"

#include <algorithm>
#include <set>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;

/// A closed polyline whose vertices are x, y and the bulge of the side that follows.
Chain ChainOf(const JsonValue& vertices)
{
    Chain chain;
    chain.tolerance = 1e-9;
    const std::size_t count = vertices.items.size();
    for (std::size_t i = 0; i < count; ++i) {
        const Vec2d from(vertices[i][0].number, vertices[i][1].number);
        const JsonValue& next = vertices[(i + 1) % count];
        const Vec2d to(next[0].number, next[1].number);
        const double bulge = vertices[i][2].number;
        if (bulge == 0) {
            EXPECT_TRUE(chain.AppendSegment(from, to));
            continue;
        }
        const Vec2d along = to - from;
        const Vec2d top = (from + to) * 0.5 + Vec2d(along[1], -along[0]) * (0.5 * bulge);
        const auto arc = Geometry::ArcThroughPoints(from, top, to);
        EXPECT_TRUE(chain.AppendArc(arc.center, from, arc.length));
    }
    EXPECT_TRUE(chain.IsClosed());
    return chain;
}

struct Measure {
    double area;
    double length;
};

void Sort(std::vector<Measure>& measures)
{
    std::sort(measures.begin(), measures.end(),
              [](const Measure& a, const Measure& b) { return a.length < b.length; });
}

TEST(PlanarOffsetData, HasTheAreasAndLengthsThatOthersFound)
{
    const auto path = SharedData("arc_offsets/arc_offset_cases.json");
    SORVANE_NEED_DATA(path);
    const JsonValue file = JsonReader(ReadBytes(path)).Value();
    for (const JsonValue& c : file["cases"].items) {
        // An open polyline there that ends where it starts is a closed chain here.
        if (c["closed"].number == 0) {
            continue;
        }
        SCOPED_TRACE(c["name"].text);
        const Chain source = ChainOf(c["vertices"]);
        // There a positive distance is to the left, and the curves run with the source.
        const double distance = -c["offset"].number;
        const auto offset = PlanarOffset(source, distance, 1e-7);
        std::vector<Measure> found;
        for (const Chain& chain : offset) {
            const double sign = distance < 0 ? -1 : 1;
            found.push_back({chain.IsClosed() ? sign * AreaOf(chain) : 0.0,
                             PolyArcSegParameters(chain, false).back()});
        }
        std::vector<Measure> expected;
        for (const JsonValue& e : c["expected"].items) {
            // A slot exactly as wide as the tool leaves a way there and back over the same two
            // vertices: one connection, one way.
            const double ways = e["area"].number == 0 ? 2 : 1;
            expected.push_back({e["area"].number, e["path_length"].number / ways});
        }
        Sort(found);
        Sort(expected);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_NEAR(found[i].area, expected[i].area, 1e-4);
            EXPECT_NEAR(found[i].length, expected[i].length, 1e-4);
        }
        ExpectAtDistance(offset, source, std::fabs(distance), 1e-7);
    }
}

// Whatever the distance: closed outlines have closed offsets, which lie at the distance.
TEST(PlanarOffsetData, OfPartOutlinesAreClosedAndAtTheDistance)
{
    for (const char* name : {"wrench", "apu-mount"}) {
        const auto path = SharedData("arc_chains/" + std::string(name) + ".json");
        SORVANE_NEED_DATA(path);
        SCOPED_TRACE(name);
        const JsonValue drawing = JsonReader(ReadBytes(path)).Value();
        const auto chains = CombineArcsSegs(ElementsOfDrawing(drawing), 1e-4);
        ASSERT_FALSE(chains.empty());
        for (const Chain& chain : chains) {
            if (!chain.IsClosed() || chain.elements.size() < 3) {
                continue;
            }
            const double length = PolyArcSegParameters(chain, false).back();
            for (const double part : {-0.1, -0.02, -0.005, 0.005, 0.02, 0.1}) {
                SCOPED_TRACE(part);
                const double distance = part * length;
                const auto offset = PlanarOffset(chain, distance, 1e-5);
                for (const Chain& curve : offset) {
                    EXPECT_TRUE(curve.IsClosed() || curve.elements.size() == 1);
                }
                ExpectAtDistance(offset, chain, std::fabs(distance), 2e-4, 3);
            }
        }
    }
}

// The trimmed pocket: offsets grow smaller until nothing is left, and never come back.
TEST(PlanarOffsetData, PocketEndsWhereNothingIsLeft)
{
    const auto path = SharedData("arc_chains/wrench.json");
    SORVANE_NEED_DATA(path);
    const auto chains =
        CombineArcsSegs(ElementsOfDrawing(JsonReader(ReadBytes(path)).Value()), 1e-4);
    const auto largest = std::max_element(chains.begin(), chains.end(), [](auto& a, auto& b) {
        return std::fabs(AreaOf(a)) < std::fabs(AreaOf(b));
    });
    const double inward = AreaOf(*largest) > 0 ? -1 : 1;
    std::set<double> distances;
    for (int i = 1; i <= 40; ++i) {
        distances.insert(inward * 0.02 * i);
    }
    auto offsets = PlanarOffsets(*largest, distances, 1e-5);
    if (inward < 0) {
        std::reverse(offsets.begin(), offsets.end());
    }
    double before = std::fabs(AreaOf(*largest));
    for (const auto& offset : offsets) {
        double area = 0;
        for (const Chain& chain : offset) {
            area += std::fabs(AreaOf(chain));
        }
        EXPECT_LE(area, before);
        before = area;
    }
    EXPECT_TRUE(offsets.back().empty());
}

} // namespace
