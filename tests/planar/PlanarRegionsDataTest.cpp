// Polygon booleans of other projects' test sets, with exact areas and expected regions.

#include <Sorvane/PlanarRegions_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/FileSupport.h"
#include "tests/support/JsonText.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

Loops Joined(Loops a, const Loops& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Loops United(const Loops& a, const Loops& b) { return Union<double>(Joined(a, b), nullptr); }
Loops Less(const Loops& a, const Loops& b) { return Difference<double>(a, b, nullptr); }
Loops Common(const Loops& a, const Loops& b) { return Less(a, Less(a, b)); }

Loops AllReversed(Loops loops)
{
    for (auto& loop : loops) {
        std::reverse(loop.begin(), loop.end());
    }
    return loops;
}

/// A rectangle so far around loops that its area is more than all of theirs.
std::vector<Vec2d> FrameAround(const Loops& loops)
{
    Vec2d low = loops[0][0];
    Vec2d high = low;
    double area = 0;
    for (const auto& loop : loops) {
        area += std::fabs(AreaUnder<double>({loop}));
        for (const Vec2d& p : loop) {
            low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
            high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
        }
    }
    const double margin = 0.1 * std::max(high.x() - low.x(), high.y() - low.y()) + std::sqrt(area);
    return Rectangle(low.x() - margin, low.y() - margin, high.x() + margin, high.y() + margin);
}

/// Where, within a frame around, loops wind less than `level` times. With that many clockwise frames,
/// which outweigh the loops, their union is where the winding less the level is negative.
Loops WoundLess(Loops loops, int level)
{
    const auto frame = FrameAround(loops);
    loops.insert(loops.end(), static_cast<std::size_t>(level), Reversed(frame));
    return Union<double>(loops, nullptr);
}

/// Where loops wind once or more.
Loops Wound(const Loops& loops)
{
    return Less({FrameAround(loops)}, WoundLess(loops, 1));
}

/// The region of loops by a fill rule.
Loops Filled(const Loops& loops, const std::string& rule)
{
    if (loops.empty()) {
        return {};
    }
    if (rule == "POSITIVE") {
        return Wound(loops);
    }
    const Loops reversed = AllReversed(loops);
    if (rule == "NEGATIVE") {
        return Wound(reversed);
    }
    if (rule == "NONZERO") {
        return United(Wound(loops), Wound(reversed));
    }
    // Odd: what is wound less than twice and not less than once, less than four times and not less than
    // three, and so on. In each place these loops add up to one or to nothing.
    Loops odd;
    for (const Loops* sense : {&loops, &reversed}) {
        const double whole = AreaUnder<double>({FrameAround(*sense)});
        for (int level = 1;; ++level) {
            const Loops less = WoundLess(*sense, level);
            odd = Joined(std::move(odd), level % 2 == 1 ? AllReversed(less) : less);
            if (level % 2 == 0 && AreaUnder(less) > whole * (1 - 1e-12)) {
                break;
            }
        }
    }
    return Union<double>(odd, nullptr);
}

struct BooleanCase {
    std::string name;
    std::string operation;
    std::string fillRule;
    Loops subjects;
    Loops clips;
};

std::vector<Vec2d> ReadPath(const std::string& line)
{
    std::vector<Vec2d> path;
    std::string text = line;
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream numbers(text);
    double x = 0;
    double y = 0;
    while (numbers >> x >> y) {
        path.push_back({x, y});
    }
    return path;
}

std::vector<BooleanCase> ReadCases(const std::filesystem::path& file)
{
    std::vector<BooleanCase> cases;
    std::ifstream input(file);
    std::string line;
    std::string section;
    const auto valueOf = [&](const char* key, std::string& value) {
        const std::string start = std::string(key) + ": ";
        if (line.rfind(start, 0) != 0) {
            return false;
        }
        value = line.substr(start.size());
        value.erase(value.find_last_not_of(" .\r") + 1);
        return true;
    };
    while (std::getline(input, line)) {
        std::string value;
        if (valueOf("CAPTION", value)) {
            cases.push_back({value.substr(0, value.find('.')), "", "", {}, {}});
            section.clear();
        } else if (cases.empty() || line.empty()) {
            continue;
        } else if (valueOf("CLIPTYPE", value)) {
            cases.back().operation = value;
        } else if (valueOf("FILLRULE", value)) {
            cases.back().fillRule = value;
        } else if (std::isalpha(static_cast<unsigned char>(line[0])) != 0) {
            section = line.substr(0, line.find_last_not_of(" \r") + 1);
        } else if (section == "SUBJECTS" || section == "CLIPS") {
            (section == "SUBJECTS" ? cases.back().subjects : cases.back().clips)
                .push_back(ReadPath(line));
        }
    }
    return cases;
}

Loops Result(const std::string& operation, const Loops& a, const Loops& b)
{
    if (operation == "UNION") {
        return United(a, b);
    }
    if (operation == "INTERSECTION") {
        return Common(a, b);
    }
    if (operation == "DIFFERENCE") {
        return Less(a, b);
    }
    return United(Less(a, b), Less(b, a));
}

TEST(RegionsOfOtherProjects, HaveTheExactAreas)
{
    const auto casesFile = SharedData("polygon_booleans/clipper2_polygons_odd.txt");
    const auto areasFile = SharedData("polygon_booleans/exact_areas_odd.json");
    SORVANE_NEED_DATA(casesFile);
    SORVANE_NEED_DATA(areasFile);
    const std::string text = ReadBytes(areasFile);
    const JsonValue areas = JsonReader(text).Value();
    int compared = 0;
    for (const BooleanCase& item : ReadCases(casesFile)) {
        SCOPED_TRACE("case " + item.name);
        const auto& known = areas["cases"].fields;
        ASSERT_TRUE(known.count(item.name) != 0);
        const double exact = known.at(item.name)["exact_area"].number;
        const Loops region = Result(item.operation, Filled(item.subjects, item.fillRule),
                                    Filled(item.clips, item.fillRule));
        EXPECT_NEAR(AreaUnder(region), exact, 1e-5 * exact + 1e-3);
        ++compared;
    }
    EXPECT_EQ(compared, 98);
}

/// Regions of all features of a file: outlines without their holes.
std::vector<Loops> ReadFeatures(const std::filesystem::path& file)
{
    const std::string text = ReadBytes(file);
    const JsonValue root = JsonReader(text).Value();
    const auto rings = [](const JsonValue& polygon) {
        Loops loops;
        for (const JsonValue& ring : polygon.items) {
            auto& loop = loops.emplace_back();
            for (const JsonValue& point : ring.items) {
                loop.push_back({point[0].number, point[1].number});
            }
        }
        return loops;
    };
    const auto filled = [&](const JsonValue& polygon) {
        const Loops loops = rings(polygon);
        if (loops.empty()) {
            return Loops{};
        }
        Loops region = Filled({loops[0]}, "EVENODD");
        for (std::size_t i = 1; i < loops.size(); ++i) {
            region = Less(region, Filled({loops[i]}, "EVENODD"));
        }
        return region;
    };
    std::vector<Loops> regions;
    const auto append = [&](const JsonValue& feature) {
        const JsonValue& geometry = feature["geometry"];
        const JsonValue& coordinates = geometry["coordinates"];
        Loops region;
        if (geometry["type"].text == "Polygon") {
            region = filled(coordinates);
        } else {
            for (const JsonValue& polygon : coordinates.items) {
                region = United(region, filled(polygon));
            }
        }
        regions.push_back(region);
    };
    if (root["type"].text == "FeatureCollection") {
        for (const JsonValue& feature : root["features"].items) {
            append(feature);
        }
    } else {
        append(root);
    }
    return regions;
}

TEST(RegionsOfOtherProjects, AreTheExpectedRegions)
{
    const auto folder = SharedData("polygon_booleans/geojson");
    SORVANE_NEED_DATA(folder);
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::vector<Loops> inputs = ReadFeatures(entry.path() / "args.geojson");
        ASSERT_FALSE(inputs.empty());
        double extent = 0;
        double perimeter = 0;
        for (const Loops& input : inputs) {
            for (const auto& loop : input) {
                for (std::size_t i = 0; i < loop.size(); ++i) {
                    const Vec2d edge = loop[i] - loop[(i + 1) % loop.size()];
                    perimeter += std::hypot(edge.x(), edge.y());
                    const Vec2d across = loop[i] - inputs[0].front().front();
                    extent = std::max({extent, std::fabs(across.x()), std::fabs(across.y())});
                }
            }
        }
        for (const std::string operation : {"union", "intersection", "difference", "xor"}) {
            auto file = entry.path() / (operation + ".geojson");
            if (!std::filesystem::exists(file)) {
                file = entry.path() / "all.geojson";
            }
            if (!std::filesystem::exists(file)) {
                continue;
            }
            SCOPED_TRACE(entry.path().filename().string() + " " + operation);
            std::string name = operation;
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            Loops region = inputs[0];
            for (std::size_t i = 1; i < inputs.size(); ++i) {
                region = Result(name, region, inputs[i]);
            }
            Loops expected;
            for (const Loops& part : ReadFeatures(file)) {
                expected = United(expected, part);
            }
            // Each edge is off by a few cells of grids that are up to some six times as wide.
            const double allowed = 2e-8 * extent * perimeter;
            EXPECT_NEAR(AreaUnder(region), AreaUnder(expected), allowed);
            EXPECT_LE(AreaUnder(Less(region, expected)), allowed);
            EXPECT_LE(AreaUnder(Less(expected, region)), allowed);
            ++compared;
        }
    }
    EXPECT_GE(compared, 40);
}

TEST(RegionsOfOtherProjects, AreFoundWhereNoAreaIsKnown)
{
    for (const char* name : {"clipper2_offsets.txt", "clipper2_lines.txt"}) {
        const auto file = SharedData(std::string("polygon_booleans/") + name);
        SORVANE_NEED_DATA(file);
        for (const BooleanCase& item : ReadCases(file)) {
            const Loops region = United(item.subjects, item.clips);
            EXPECT_NEAR(AreaUnder(United(region, {})), AreaUnder(region),
                        1e-6 * AreaUnder(region) + 1e-6);
        }
    }
}

} // namespace
