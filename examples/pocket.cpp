// Clears a pocket with islands by rings: all offsets of its walls, from the first that a round tool
// fits along until nothing is left, drawn as an SVG.
//
//   pocket picture.svg [--radius LENGTH] [--step LENGTH] [--rings PREFIX] [outline.txt [island.txt
//   ...]]
//
// The files hold one closed chain each; islands may overlap each other and the outline. Without
// files a bearing seat with a web and two bosses. The first ring lies at the radius of the tool
// (default 2) from the walls, the others at a step more each (default the radius, which is also the
// most: a wider step leaves material between rings). --rings writes each curve as a chain file
// PREFIX-<ring>-<curve>.txt, both counted from 1.
//
// Exit codes: 0 done, 1 a file can't be read, holds no closed chain, or can't be written, 2 wrong
// use, 3 the tool does not fit in.

#include "Arguments.h"

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Chain = Planar::PolyArcSegBase<double>;
using Element = Planar::ArcSegBase<double>;

struct Settings {
    std::string picture;
    double radius = 2;
    std::optional<double> step;
    std::string rings;
    std::vector<std::string> files;
};

/// The walls: the pocket lies to the left of all of them.
struct Pocket {
    Chain outline;
    std::vector<Chain> islands;
};

/// The curves at one distance from the walls.
struct Ring {
    double distance = 0;
    std::vector<Chain> curves;
};

// --- input --------------------------------------------------------------------------------------

std::optional<Settings> SettingsOf(int argc, char** argv)
{
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "--radius") == 0 && hasValue) {
            settings.radius = LengthOf(argv[++i]).value_or(0);
        } else if (std::strcmp(argv[i], "--step") == 0 && hasValue) {
            settings.step = LengthOf(argv[++i]).value_or(0);
        } else if (std::strcmp(argv[i], "--rings") == 0 && hasValue) {
            settings.rings = argv[++i];
        } else if (std::strncmp(argv[i], "--", 2) == 0) {
            return std::nullopt;
        } else if (settings.picture.empty()) {
            settings.picture = argv[i];
        } else {
            settings.files.emplace_back(argv[i]);
        }
    }
    const double step = settings.step.value_or(settings.radius);
    const bool isGood =
        !settings.picture.empty() && settings.radius > 0 && step > 0 && step <= settings.radius;
    return isGood ? std::optional(settings) : std::nullopt;
}

Chain Circle(const Vec2d& center, double radius)
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendArc(center, center + Vec2d(radius, 0), 2 * kPi<double> * radius);
    return chain;
}

/// A seat with a round end, a web that stands out from its wall, and two bosses.
Pocket Seat()
{
    Pocket pocket;
    Chain& outline = pocket.outline;
    outline.tolerance = 1e-9;
    const auto end = [&] { return outline.elements.back().EndPoint(); };
    outline.AppendSegment({0, 0}, {70, 0});
    outline.AppendArc({70, 30}, {70, 0}, kPi<double> * 30);
    outline.AppendSegment(end(), {40, 60});
    outline.AppendSegment({40, 60}, {38, 42});
    outline.AppendSegment({38, 42}, {34, 42});
    outline.AppendSegment({34, 42}, {32, 60});
    outline.AppendSegment({32, 60}, {12, 60});
    outline.AppendArc({12, 48}, {12, 60}, 0.5 * kPi<double> * 12);
    outline.AppendSegment(end(), {0, 0});
    pocket.islands.push_back(Circle({72, 31}, 11));
    Chain boss;
    boss.tolerance = 1e-9;
    boss.AppendSegment({18, 17}, {36, 14});
    boss.AppendSegment({36, 14}, {30, 25});
    boss.AppendSegment({30, 25}, {18, 17});
    pocket.islands.push_back(boss);
    return pocket;
}

double AreaOf(const Chain& chain)
{
    const std::vector<Vec2d> points = Planar::Tessellate(chain, 1e-3);
    double area = 0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        area += 0.5 * ((points[i - 1] - points[0]) ^ (points[i] - points[0]));
    }
    return area;
}

/// Turned round unless its area has the sign that is wanted.
Chain Oriented(Chain chain, double sign)
{
    if (AreaOf(chain) * sign < 0) {
        std::reverse(chain.elements.begin(), chain.elements.end());
        for (Element& element : chain.elements) {
            element.Reverse();
        }
    }
    return chain;
}

/// Nothing, and said so, when a file holds no closed chain.
std::optional<Pocket> PocketOf(const std::vector<std::string>& files)
{
    Pocket pocket = files.empty() ? Seat() : Pocket{};
    for (std::size_t i = 0; i < files.size(); ++i) {
        Chain chain = Planar::ReadPolySegArcFromFile(files[i]);
        if (chain.elements.empty() || !chain.IsClosed()) {
            std::fprintf(stderr, "%s: holds no closed chain, or can't be read\n", files[i].c_str());
            return std::nullopt;
        }
        (i == 0 ? pocket.outline : pocket.islands.emplace_back()) = std::move(chain);
    }
    pocket.outline = Oriented(std::move(pocket.outline), 1);
    for (Chain& island : pocket.islands) {
        island = Oriented(std::move(island), -1);
    }
    return pocket;
}

// --- rings --------------------------------------------------------------------------------------

std::vector<Element> Halves(const Element& element)
{
    return element.Visit([](const auto& e) {
        const auto halves = Geometry::Split(e, 0.5, true, 1e-12);
        return std::vector<Element>(halves.begin(), halves.end());
    });
}

/// All walls as one chain with a gap from each to the next: then every offset is trimmed by all of
/// them at once, and comes out whole where the offsets of two walls meet.
///
/// A chain has no corner at a gap, so each wall begins and ends in the middle of an element.
/// Elements are halved `halvings` times, which changes no curve, only where its joints are.
Chain JoinedWalls(const Pocket& pocket, int halvings)
{
    Chain joined;
    const auto append = [&](const Chain& wall) {
        joined.tolerance = std::max(joined.tolerance, wall.tolerance);
        std::vector<Element> elements = wall.elements;
        for (int i = 0; i < halvings; ++i) {
            std::vector<Element> halves;
            for (const Element& element : elements) {
                const std::vector<Element> both = Halves(element);
                halves.insert(halves.end(), both.begin(), both.end());
            }
            elements = std::move(halves);
        }
        const std::vector<Element> first = Halves(elements.front());
        joined.elements.push_back(first.back());
        joined.elements.insert(joined.elements.end(), elements.begin() + 1, elements.end());
        if (first.size() == 2) {
            joined.elements.push_back(first.front());
        }
    };
    append(pocket.outline);
    std::for_each(pocket.islands.begin(), pocket.islands.end(), append);
    return joined;
}

/// Where islands and walls overlap, walls have offsets where there is no pocket.
bool IsInPocket(const Chain& curve, const Pocket& pocket)
{
    const auto isLeftOf = [&](const Chain& wall) {
        Vec2d nearest;
        return Planar::PointInPolyArcSegSpace(wall, curve.elements.front().StartPoint(), true,
                                              &nearest);
    };
    return isLeftOf(pocket.outline) &&
           std::all_of(pocket.islands.begin(), pocket.islands.end(), isLeftOf);
}

std::vector<Chain> CurvesInPocket(std::vector<Chain> curves, const Pocket& pocket)
{
    std::erase_if(curves, [&](const Chain& curve) { return !IsInPocket(curve, pocket); });
    return curves;
}

bool AreClosed(const std::vector<Chain>& curves)
{
    return std::all_of(curves.begin(), curves.end(),
                       [](const Chain& curve) { return curve.IsClosed(); });
}

/// No point of a pocket is farther from its outline than that.
double FarthestFromWalls(const Chain& outline, double tolerance)
{
    Vec2d low(1e300, 1e300);
    Vec2d high(-1e300, -1e300);
    for (const Vec2d& p : Planar::Tessellate(outline, tolerance)) {
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
    }
    return 0.5 * std::max(high.x() - low.x(), high.y() - low.y()) + tolerance;
}

/// Rings at the radius, a step more, and so on until one is empty.
std::vector<Ring> RingsOf(const Pocket& pocket, double radius, double step)
{
    constexpr double kTolerance = 1e-6;
    constexpr int kAtOnce = 8;   // distances that are worked on side by side
    constexpr int kHalvings = 2; // full circles need three elements
    constexpr int kMostHalvings = 8;

    const Chain walls = JoinedWalls(pocket, kHalvings);
    const double farthest = FarthestFromWalls(pocket.outline, 0.1 * radius);
    std::vector<Ring> rings;
    while (radius + step * static_cast<double>(rings.size()) <= farthest) {
        std::set<double> distances; // to the left, so negative: the farthest comes first
        const auto next = static_cast<double>(rings.size());
        for (int i = 0; i < kAtOnce; ++i) {
            distances.insert(-(radius + step * (next + i)));
        }
        auto offsets = Planar::PlanarOffsets(walls, distances, kTolerance);
        auto distance = distances.rbegin();
        for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset, ++distance) {
            std::vector<Chain> curves = CurvesInPocket(std::move(*offset), pocket);
            if (curves.empty()) {
                return rings;
            }
            // Walls are closed, and so is what a tool runs along them. Two elements that connect
            // the same two points lose one (a lens, the last of a pocket, for instance); with more
            // joints there are more than two. What stays open is a line that the tool fits along
            // exactly.
            for (int halvings = kHalvings + 1; halvings <= kMostHalvings && !AreClosed(curves);
                 ++halvings) {
                curves = CurvesInPocket(
                    Planar::PlanarOffset(JoinedWalls(pocket, halvings), *distance, kTolerance),
                    pocket);
            }
            rings.push_back({-*distance, std::move(curves)});
        }
    }
    return rings;
}

// --- output -------------------------------------------------------------------------------------

double LengthOfAll(const std::vector<Chain>& curves)
{
    double length = 0;
    for (const Chain& curve : curves) {
        length += Planar::PolyArcSegParameters(curve, false).back();
    }
    return length;
}

bool WriteRings(const std::vector<Ring>& rings, const std::string& prefix)
{
    for (std::size_t ring = 0; ring < rings.size(); ++ring) {
        for (std::size_t i = 0; i < rings[ring].curves.size(); ++i) {
            const std::string name =
                prefix + "-" + std::to_string(ring + 1) + "-" + std::to_string(i + 1) + ".txt";
            if (!Planar::WritePolySegArcToFile(rings[ring].curves[i], name)) {
                std::fprintf(stderr, "%s: can't be written\n", name.c_str());
                return false;
            }
        }
    }
    return true;
}

bool Draw(const Pocket& pocket, const std::vector<Ring>& rings, const std::string& path)
{
    constexpr double kFlat = 1e-3; // of the picture's size, what a fill may leave an arc by
    const auto fillOf = [&](const Chain& chain) {
        const std::vector<Vec2d> rough = Planar::Tessellate(chain, 1.0);
        double size = 0;
        for (const Vec2d& point : rough) {
            size = std::max(size, Vector::Length(point - rough.front()));
        }
        return Planar::Tessellate(chain, kFlat * size);
    };
    const Drawing::SvgStyle floor{"none", "#eef2f6", 1, false};
    const Drawing::SvgStyle island{"none", "#c9d1d9", 1, false};
    const Drawing::SvgStyle wall{"#1f4e79", "none", 3, false};
    const Drawing::SvgStyle first{"#d1491b", "none", 1.6, false};
    const Drawing::SvgStyle others{"#2e8b57", "none", 1.2, false};

    Drawing::SvgWriter picture(800);
    picture.AddRegion({fillOf(pocket.outline)}, floor);
    for (const Chain& chain : pocket.islands) {
        picture.AddRegion({fillOf(chain)}, island);
    }
    for (const Ring& ring : rings) {
        for (const Chain& curve : ring.curves) {
            picture.AddChain(curve, &ring == rings.data() ? first : others);
        }
    }
    picture.AddChain(pocket.outline, wall);
    for (const Chain& chain : pocket.islands) {
        picture.AddChain(chain, wall);
    }
    picture.AddLegend("walls", wall);
    picture.AddLegend("first ring, at the radius of the tool", first);
    picture.AddLegend(std::to_string(rings.size() - 1) + " rings more, a step each", others);
    if (!picture.Write(path)) {
        std::fprintf(stderr, "%s: can't be written\n", path.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Settings> settings = SettingsOf(argc, argv);
    if (!settings) {
        std::fprintf(stderr, "usage: pocket picture.svg [--radius LENGTH] [--step LENGTH, at most "
                             "the radius] [--rings PREFIX] [outline.txt [island.txt ...]]\n");
        return 2;
    }
    const std::optional<Pocket> pocket = PocketOf(settings->files);
    if (!pocket) {
        return 1;
    }
    const double step = settings->step.value_or(settings->radius);
    const std::vector<Ring> rings = RingsOf(*pocket, settings->radius, step);
    if (rings.empty()) {
        std::printf("a tool of radius %g does not fit in\n", settings->radius);
        return 3;
    }
    double length = 0;
    std::size_t curves = 0;
    for (std::size_t i = 0; i < rings.size(); ++i) {
        const double own = LengthOfAll(rings[i].curves);
        std::printf("ring %zu at %g: %zu curve%s, length %.6g\n", i + 1, rings[i].distance,
                    rings[i].curves.size(), rings[i].curves.size() == 1 ? "" : "s", own);
        length += own;
        curves += rings[i].curves.size();
    }
    std::printf("%zu rings, %zu curves, length %.6g\n", rings.size(), curves, length);
    const bool isWritten = settings->rings.empty() || WriteRings(rings, settings->rings);
    return Draw(*pocket, rings, settings->picture) && isWritten ? 0 : 1;
}
