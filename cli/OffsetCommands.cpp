// Chains of arcs and segments: `offset` and `pocket`.

#include "Commands.h"
#include "PlaneFiles.h"
#include "Session.h"

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/MeshSections_E.h>
#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Drawing::SvgWriter;
using Element = Planar::ArcSegBase<double>;

/// Rings that are a pocket's, and not an error of the units.
constexpr double kMostRings = 1e5;

const SvgStyle kSegment{"#1f4e79", "none", 3};
const SvgStyle kArc{"#d1491b", "none", 3};

const char* const kLinkHelp = "ends of elements within this length are joined";

Chain Turned(Chain chain)
{
    std::reverse(chain.elements.begin(), chain.elements.end());
    for (Element& element : chain.elements) {
        element.Reverse();
    }
    return chain;
}

Json ChainJson(const Chain& chain)
{
    const auto arcs = static_cast<std::size_t>(
        std::count_if(chain.elements.begin(), chain.elements.end(),
                      [](const Element& element) { return element.AsArc() != nullptr; }));
    Json json;
    json["segments"] = chain.elements.size() - arcs;
    json["arcs"] = arcs;
    json["length"] = LengthOf(chain);
    json["is_closed"] = chain.IsClosed();
    if (chain.IsClosed()) {
        json["area"] = AreaOf(chain);
    }
    return json;
}

/// Chains as a file of theirs, or flattened with --chord.
std::string TextOf(Session& session, const std::vector<Chain>& chains)
{
    if (!session.Has("--chord")) {
        return ChainText(chains);
    }
    Loops lines;
    for (const Chain& chain : chains) {
        lines.push_back(Planar::Tessellate(chain, session.Number("--chord")));
    }
    return PolylineText(lines, false);
}

/// `uses` are the options that it changes something for.
Option ChordOption(std::vector<std::string> uses)
{
    return Opt::Number("--chord", "LENGTH",
                       "write --output as points, x and y to a line, no chord farther than this "
                       "from the curve")
        .Positive()
        .With(std::move(uses));
}

// --- offset -------------------------------------------------------------------------------------

std::vector<Chain> InputChains(Session& session, std::vector<Polyline>& points)
{
    const double tolerance = session.Tolerance();
    if (!session.Has("--fit")) {
        std::vector<Chain> chains = ReadChains(session, session.Input(), tolerance);
        for (Chain& chain : chains) {
            if (session.Has("--closed") && !chain.IsClosed()) {
                chain.AppendSegment(chain.elements.back().EndPoint(),
                                    chain.elements.front().StartPoint());
            }
        }
        return chains;
    }
    std::vector<Chain> chains;
    points = ReadPolylines(session, session.Input());
    for (Polyline& line : points) {
        if (session.Has("--closed") && !(line.front() == line.back())) {
            line.push_back(line.front());
        }
        Chain chain = Planar::FilterArcsAndSegs(line, session.Number("--fit"));
        Session::CheckStopped();
        if (chain.elements.empty()) {
            throw Failure(Exit::Files,
                          NameOf(session.Input()) + ": holds a polyline of a single point");
        }
        chain.tolerance = std::max(chain.tolerance, tolerance);
        chains.push_back(std::move(chain));
    }
    return chains;
}

SvgWriter PictureOf(Session& session, const std::vector<Chain>& chains,
                    const std::vector<Chain>& offsets, const std::vector<Polyline>& points)
{
    const SvgStyle joint{"#222222", "#222222", 2};
    const SvgStyle point{"#888888", "#888888", 1.2};
    const SvgStyle polyline{"#d1491b", "none", 1.5};
    const SvgStyle offset{"#2e8b57", "none", 2};
    SvgWriter picture(800);
    for (const Chain& curve : offsets) {
        picture.AddChain(curve, offset);
    }
    Polyline joints;
    for (const Chain& chain : chains) {
        for (const Element& element : chain.elements) {
            Chain one;
            one.elements = {element};
            picture.AddChain(one, element.AsArc() != nullptr ? kArc : kSegment);
            joints.push_back(element.StartPoint());
            joints.push_back(element.EndPoint());
        }
        if (session.Has("--chord")) {
            const Polyline flat = Planar::Tessellate(chain, session.Number("--chord"));
            picture.AddPolyline(flat, polyline);
        }
    }
    for (const Polyline& line : points) {
        picture.AddPoints(line, point);
    }
    picture.AddPoints(joints, joint);
    picture.AddLegend("segments", kSegment);
    picture.AddLegend("arcs", kArc);
    if (!points.empty()) {
        picture.AddLegend("points that came in", point);
    }
    if (!offsets.empty()) {
        picture.AddLegend("offsets", offset);
    }
    return picture;
}

void RunOffset(Session& session)
{
    std::vector<Polyline> points;
    const std::vector<Chain> chains = InputChains(session, points);
    Json list = Json::List();
    for (const Chain& chain : chains) {
        const Json json = ChainJson(chain);
        session.Print("chain: %zu elements, length %.9g, %s\n", chain.elements.size(),
                      LengthOf(chain), chain.IsClosed() ? "closed" : "open");
        list.Add(json);
    }
    session.Result()["chains"] = std::move(list);

    std::vector<Chain> all;
    Json offsets = Json::List();
    std::vector<double> distances;
    if (session.Has("--distance")) {
        distances = session.Numbers("--distance");
    }
    for (const double distance : distances) {
        Json item;
        item["distance"] = distance;
        item["curves"] = Json::List();
        double length = 0;
        std::size_t count = 0;
        for (const Chain& chain : chains) {
            auto curves = Planar::WallOffset<double>({chain}, distance, session.Tolerance());
            Session::CheckStopped();
            for (Chain& curve : curves) {
                length += LengthOf(curve);
                ++count;
                item["curves"].Add(ChainJson(curve));
                all.push_back(std::move(curve));
            }
        }
        item["length"] = length;
        session.Print("offset %.9g: %zu curves, length %.9g\n", distance, count, length);
        offsets.Add(std::move(item));
    }
    session.Result()["offsets"] = std::move(offsets);
    if (session.HasOutput()) {
        session.WriteText(TextOf(session, distances.empty() ? chains : all), session.Output());
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(session, chains, all, points));
    }
    if (!distances.empty() && all.empty()) {
        session.Defect("no_offset", "nothing is left at that distance");
    }
}

// --- pocket -------------------------------------------------------------------------------------

/// The walls of a pocket.
struct Pocket {
    Chain outline;
    std::vector<Chain> islands;
};

using Ring = Planar::PocketRing<double>;

/// Does the chain, which runs counter-clockwise, hold the point?
bool Holds(const Chain& outline, const Vec2d& point)
{
    return Planar::PointInPolyArcSegSpace<double>(outline, point, true, nullptr);
}

Vec2d MiddleOf(const Chain& chain)
{
    Vec2d middle;
    Planar::PointAtParameterOnPolyArcSeg(chain, 0.5, true, middle);
    return middle;
}

/// Chains that don't cross, by how they are nested: those inside an even number of others are
/// outlines, the next ones inside are their islands.
std::vector<Pocket> PocketsOf(std::vector<Chain> chains)
{
    for (Chain& chain : chains) {
        if (AreaOf(chain) < 0) {
            chain = Turned(std::move(chain));
        }
    }
    std::vector<double> areas;
    for (const Chain& chain : chains) {
        areas.push_back(AreaOf(chain));
    }
    std::vector<std::vector<std::size_t>> around(chains.size()); // the chains that hold each
    for (std::size_t i = 0; i < chains.size(); ++i) {
        for (std::size_t k = 0; k < chains.size(); ++k) {
            if (k != i && areas[k] > areas[i] && Holds(chains[k], MiddleOf(chains[i]))) {
                around[i].push_back(k);
            }
        }
    }
    std::vector<Pocket> pockets;
    for (std::size_t i = 0; i < chains.size(); ++i) {
        if (around[i].size() % 2 == 1) {
            continue;
        }
        Pocket pocket{chains[i], {}};
        for (std::size_t k = 0; k < chains.size(); ++k) {
            const bool isInside =
                std::find(around[k].begin(), around[k].end(), i) != around[k].end();
            if (isInside && around[k].size() == around[i].size() + 1) {
                pocket.islands.push_back(chains[k]);
            }
        }
        pockets.push_back(std::move(pocket));
    }
    return pockets;
}

/// Rings at the radius, a step more, and so on until one is empty.
std::vector<Ring> RingsOf(Session& session, const Pocket& pocket, double radius, double step)
{
    const auto most = static_cast<int>(kMostRings);
    auto plan = Planar::PocketRings<double>(pocket.outline, pocket.islands, {radius, step, most},
                                            session.Tolerance());
    Session::CheckStopped();
    if (plan.end == Planar::PocketEnd::BadSteps) {
        session.RefuseUse("--radius has to be above --tolerance, and --step above the last digit "
                          "of the coordinates");
    }
    return std::move(plan.rings);
}

std::vector<Chain> ClosedChains(Session& session, const std::string& input)
{
    std::vector<Chain> chains = ReadChains(session, input, session.Tolerance());
    for (Chain& chain : chains) {
        if (chain.IsClosed()) {
            continue;
        }
        const bool isPolyline =
            std::all_of(chain.elements.begin(), chain.elements.end(),
                        [](const Element& element) { return element.AsSegment() != nullptr; });
        if (!isPolyline || !chain.AppendSegment(chain.elements.back().EndPoint(),
                                                chain.elements.front().StartPoint())) {
            throw Failure(Exit::Files, NameOf(input) + ": holds an open chain; close it, or raise "
                                                       "--tolerance above its gap");
        }
    }
    return chains;
}

/// The pockets of the section of a mesh.
std::vector<Pocket> PocketsOfSection(Session& session)
{
    if (session.Inputs().size() > 1) {
        session.RefuseUse("with --height there is one input, a mesh");
    }
    const double weld = std::min(session.Tolerance(), 1e-6);
    const Part part = session.ReadWeldedPart(session.Input(), weld);
    const Mesh::MeshSection section = Mesh::MeshSectionAt(
        part, {0, 0, 1}, session.Number("--height"), {Mesh::SectionSide::Above, weld});
    Session::CheckStopped();
    if (section.loops.empty() && section.chains.empty()) {
        session.RefuseUse("nothing of the part lies just above that height; see `sorvane section`");
    }
    if (!section.chains.empty()) {
        session.Defect("open_outlines", std::to_string(section.chains.size()) +
                                            " outlines of the section are open and left out; see "
                                            "`sorvane report` for the gaps");
    }
    std::vector<Chain> chains;
    for (Polyline loop : section.loops) {
        loop.push_back(loop.front());
        chains.push_back(session.Has("--fit")
                             ? Planar::FilterArcsAndSegs(loop, session.Number("--fit"))
                             : ChainOf(loop, false, session.Tolerance()));
        chains.back().tolerance = std::max(chains.back().tolerance, session.Tolerance());
        Session::CheckStopped();
        if (chains.back().elements.empty()) {
            chains.pop_back(); // an outline no longer than the tolerances
        }
    }
    return PocketsOf(std::move(chains));
}

/// The pockets of files: of one file by how its chains are nested, otherwise the first one's chain
/// and the islands of all others.
std::vector<Pocket> PocketsOfFiles(Session& session)
{
    std::vector<Chain> first = ClosedChains(session, session.Input(0));
    if (session.Inputs().size() == 1) {
        return PocketsOf(std::move(first));
    }
    if (first.size() > 1) {
        session.RefuseUse(session.Input(0) + " holds several chains; with files of islands the "
                                             "first one holds the outline alone");
    }
    Pocket pocket{std::move(first.front()), {}};
    for (std::size_t i = 1; i < session.Inputs().size(); ++i) {
        for (Chain& island : ClosedChains(session, session.Input(i))) {
            pocket.islands.push_back(std::move(island));
        }
    }
    return {std::move(pocket)};
}

SvgWriter PictureOf(const std::vector<Pocket>& pockets, const std::vector<Ring>& rings)
{
    constexpr double kFlat = 1e-4; // of its length, what a fill may leave an arc by
    const auto fillOf = [&](const Chain& chain) {
        return Planar::Tessellate(chain, kFlat * LengthOf(chain));
    };
    const SvgStyle floor{"none", "#eef2f6", 1, false};
    const SvgStyle island{"none", "#c9d1d9", 1, false};
    const SvgStyle wall{"#1f4e79", "none", 3, false};
    const SvgStyle first{"#d1491b", "none", 1.6, false};
    const SvgStyle others{"#2e8b57", "none", 1.2, false};
    SvgWriter picture(800);
    for (const Pocket& pocket : pockets) {
        picture.AddRegion({fillOf(pocket.outline)}, floor);
        for (const Chain& chain : pocket.islands) {
            picture.AddRegion({fillOf(chain)}, island);
        }
    }
    for (std::size_t i = 0; i < rings.size(); ++i) {
        for (const Chain& curve : rings[i].curves) {
            picture.AddChain(curve, i == 0 ? first : others);
        }
    }
    for (const Pocket& pocket : pockets) {
        picture.AddChain(pocket.outline, wall);
        for (const Chain& chain : pocket.islands) {
            picture.AddChain(chain, wall);
        }
    }
    picture.AddLegend("walls", wall);
    picture.AddLegend("first ring, at the radius of the tool", first);
    picture.AddLegend(
        std::to_string(rings.empty() ? 0 : rings.size() - 1) + " rings more, a step each", others);
    return picture;
}

void TellRings(Session& session, const std::vector<Ring>& rings)
{
    double length = 0;
    std::size_t curves = 0;
    Json list = Json::List();
    for (std::size_t i = 0; i < rings.size(); ++i) {
        double own = 0;
        for (const Chain& curve : rings[i].curves) {
            own += LengthOf(curve);
        }
        session.Print("ring %zu at %g: %zu curve%s, length %.9g\n", i + 1, rings[i].distance,
                      rings[i].curves.size(), rings[i].curves.size() == 1 ? "" : "s", own);
        Json item;
        item["distance"] = rings[i].distance;
        item["curves"] = rings[i].curves.size();
        item["length"] = own;
        list.Add(std::move(item));
        length += own;
        curves += rings[i].curves.size();
    }
    session.Print("%zu rings, %zu curves, length %.9g\n", rings.size(), curves, length);
    Json& result = session.Result();
    result["curves"] = curves;
    result["length"] = length;
    result["rings"] = std::move(list);
}

void RunPocket(Session& session)
{
    if (!session.Has("--radius")) {
        session.RefuseUse("give --radius, that of the tool");
    }
    const double radius = session.Number("--radius");
    const double step = session.Has("--step") ? session.Number("--step") : radius;
    if (step > radius) {
        session.RefuseUse("--step above --radius leaves material between the rings");
    }
    const std::vector<Pocket> pockets =
        session.Has("--height") ? PocketsOfSection(session) : PocketsOfFiles(session);
    std::vector<Ring> rings;
    std::size_t narrow = 0;
    for (const Pocket& pocket : pockets) {
        // The disc of the outline's length holds more rings than anything with that outline.
        if (LengthOf(pocket.outline) / (2 * kPi<double>) > kMostRings * step) {
            session.RefuseUse("--step: this may make more than " + NumberText(kMostRings) +
                              " rings; mind its unit and that of --radius");
        }
        std::vector<Ring> own = RingsOf(session, pocket, radius, step);
        rings.resize(std::max(rings.size(), own.size()));
        for (std::size_t i = 0; i < own.size(); ++i) {
            rings[i].distance = own[i].distance;
            for (Chain& curve : own[i].curves) {
                rings[i].curves.push_back(std::move(curve));
            }
        }
        narrow += own.empty() ? 1 : 0;
    }
    if (narrow > 0) {
        session.Defect("does_not_fit", "a tool of radius " + NumberText(radius) +
                                           " does not fit into " + std::to_string(narrow) + " of " +
                                           std::to_string(pockets.size()) + " pockets");
    }
    session.Result()["pockets"] = pockets.size();
    TellRings(session, rings);
    if (session.HasOutput()) {
        std::vector<Chain> all;
        for (const Ring& ring : rings) {
            all.insert(all.end(), ring.curves.begin(), ring.curves.end());
        }
        session.WriteText(TextOf(session, all), session.Output());
    }
    if (session.Has("--rings")) {
        for (std::size_t ring = 0; ring < rings.size(); ++ring) {
            for (std::size_t i = 0; i < rings[ring].curves.size(); ++i) {
                session.WriteText(TextOf(session, {rings[ring].curves[i]}),
                                  session.Text("--rings") + "-" + std::to_string(ring + 1) + "-" +
                                      std::to_string(i + 1) + ".txt");
            }
        }
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(pockets, rings));
    }
}

} // namespace

Command OffsetCommand()
{
    Command command;
    command.name = "offset";
    command.summary = "Measures chains of arcs and segments, offsets them, and fits them to points";
    command.description =
        "A positive distance lies to the right of travel, so that a counter-clockwise outline "
        "grows, and a negative one to the left. Corners on the outside are rounded by arcs. "
        "Without "
        "--distance the chains themselves are told, drawn and written.\n\n"
        "The file holds points, x and y to a line, with an empty line between polylines: each of "
        "them is a chain of segments, or, with --fit, of arcs and segments. Or it holds chains, "
        "each "
        "with a line of the number of elements and the tolerance, and a line for each element: L "
        "with start and end, A with start, center and length, which is negative clockwise.";
    command.inputs = {"CHAINS"};
    command.output = "write the offsets, or without --distance the chains, as a file of chains";
    command.tolerance = kLinkHelp;
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the chains, their arcs, joints and offsets";
    command.options = {
        Opt::Numbers("--distance", "LENGTH,...", "offset by each of these distances"),
        Opt::Number("--fit", "LENGTH",
                    "the file holds points: turn them into arcs and segments within this length")
            .Positive(),
        Opt::Flag("--closed", "close open chains by a segment"),
        ChordOption({"--output", "--svg"})};
    command.defects = "nothing is left at any of the distances";
    command.examples = {
        {"sorvane offset gear_region.txt --closed --fit 0.1 --distance 1,2 --svg offsets.svg",
         "fit arcs to an outline, offset it twice and draw that"}};
    command.run = RunOffset;
    return command;
}

Command PocketCommand()
{
    Command command;
    command.name = "pocket";
    command.summary = "Clears a pocket with islands by rings along its walls";
    command.description =
        "The first ring lies at the radius of the tool from the walls, the others at a step more "
        "each, until nothing is left. Rings are told, drawn and written from the walls inward, and "
        "run against the walls: clockwise along the outline.\n\n"
        "One file holds the closed chains, or loops of points, of one pocket or more: what lies in "
        "an odd number of them is pocket, and they must not cross. With several files the first "
        "one "
        "holds the outline and the others islands, which may overlap each other and the outline. "
        "With --height the input is a mesh, and its section at that height is the pocket.";
    command.inputs = {"REGION", "ISLAND"};
    command.leastInputs = 1;
    command.mostInputs = 1000;
    command.output = "write all rings as a file of chains";
    command.tolerance = kLinkHelp;
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of walls and rings";
    command.options = {
        Opt::Number("--radius", "LENGTH", "radius of the tool; has to be given").Positive(),
        Opt::Number("--step", "LENGTH",
                    "distance from ring to ring, the radius unless told, which is also the most")
            .Positive(),
        Opt::Number("--height", "LENGTH", "the input is a mesh, cut at this height"),
        Opt::Number("--fit", "LENGTH",
                    "with --height: turn the section into arcs and segments within this length")
            .Positive()
            .With({"--height"}),
        Opt::Text("--rings", "PREFIX",
                  "write each curve to a file of its own, PREFIX-<ring>-<curve>.txt, both counted "
                  "from 1"),
        ChordOption({"--output", "--rings"})};
    command.defects = "the tool does not fit in, or the section is open";
    command.examples = {{"sorvane pocket slots_region.txt --radius 0.5 --svg pocket.svg",
                         "clear a region with a tool of diameter 1"},
                        {"sorvane pocket bracket.stl --height 4 --radius 2 --step 1.5 -o rings.txt",
                         "clear the section of a part"}};
    command.run = RunPocket;
    return command;
}

} // namespace Cli
