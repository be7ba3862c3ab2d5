// Regions of the plane and turning: `union` and `lathe`.

#include "Commands.h"
#include "Drawing.h"
#include "PlaneFiles.h"
#include "Session.h"

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/Lathe_E.h>
#include <Sorvane/Minkowski_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Drawing::SvgWriter;

struct Box {
    Vec2d low;
    Vec2d high;

    explicit Box(const Loops& loops) : low(loops.front().front()), high(low)
    {
        for (const Polyline& loop : loops) {
            for (const Vec2d& p : loop) {
                low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
                high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
            }
        }
    }

    double Size() const { return std::max(high.x() - low.x(), high.y() - low.y()); }
};

// --- union --------------------------------------------------------------------------------------

/// Each by itself first: which of its loops are holes is told by its own sum of areas.
Loops RegionOf(Session& session, const std::string& input)
{
    const Loops loops = ReadLoops(session, input, session.Tolerance(), session.Number("--chord"));
    Loops region = Planar::Union<double>(loops, nullptr);
    Session::CheckStopped();
    if (region.empty()) {
        throw Failure(Exit::Files,
                      NameOf(input) + ": holds no region with an area; check its loops");
    }
    return region;
}

/// The outline of a tool, counter-clockwise.
Polyline ToolOutlineOf(Session& session, const std::string& input)
{
    const Loops region = RegionOf(session, input);
    if (region.size() != 1) {
        throw Failure(Exit::Files, NameOf(input) + ": a tool is a single loop without holes");
    }
    return region.front();
}

Loops Combined(Session& session, const std::string& operation, const Loops& first,
               double& resolution)
{
    const auto& inputs = session.Inputs();
    if (operation == "union") {
        Loops all = first;
        for (std::size_t i = 1; i < inputs.size(); ++i) {
            const Loops next = RegionOf(session, inputs[i]);
            all.insert(all.end(), next.begin(), next.end());
        }
        return Planar::Union(all, &resolution);
    }
    if (operation == "difference" || operation == "intersection") {
        const Loops second = RegionOf(session, inputs[1]);
        session.Result()["second_area"] = AreaOf(second);
        return operation == "difference" ? Planar::Difference(first, second, &resolution)
                                         : Planar::Intersection(first, second, &resolution);
    }
    const Polyline tool = ToolOutlineOf(session, inputs[1]);
    session.Result()["second_area"] = AreaOf(Loops{tool});
    if (operation == "dilate") {
        return Planar::DilateMultipleAreas(tool, first, &resolution);
    }
    if (operation == "contract") {
        return Planar::ContractMultipleAreas(tool, first, &resolution);
    }
    // What leads back from a dilation is a contraction by the reflected tool.
    Polyline reflected;
    for (const Vec2d& point : tool) {
        reflected.push_back(-point);
    }
    return Planar::MinkowskiFilterMultipleAreas(tool, reflected, first, &resolution);
}

void DrawRegions(Session& session, const std::string& operation, const Loops& result,
                 const std::vector<Loops>& inputs)
{
    const std::array<SvgStyle, 2> styles{SvgStyle{"#555555", "none", 1.5, true},
                                         SvgStyle{"#d1491b", "none", 1.5, true}};
    const SvgStyle resultStyle{"#1f4e79", "#cfe0ee", 1.5};
    SvgWriter picture(kPictureSize);
    picture.AddRegion(result, resultStyle);
    picture.AddLegend(operation, resultStyle);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const SvgStyle& style = styles[std::min<std::size_t>(i, 1)];
        for (const Polyline& line : inputs[i]) {
            picture.AddPolyline(line, style);
        }
        if (i < 2) {
            picture.AddLegend(session.Input(i), style);
        }
    }
    session.WritePicture(picture);
}

/// The inputs as they are to be drawn, closed but for open paths.
std::vector<Loops> DrawnInputs(Session& session, bool isFirstOpen)
{
    std::vector<Loops> drawn;
    for (std::size_t i = 0; i < session.Inputs().size(); ++i) {
        const std::string& input = session.Input(i);
        if (isFirstOpen && i == 0) {
            drawn.push_back(ReadPolylines(session, input));
            continue;
        }
        drawn.push_back(ReadLoops(session, input, session.Tolerance(), session.Number("--chord")));
        for (Polyline& loop : drawn.back()) {
            loop.push_back(loop.front());
        }
    }
    return drawn;
}

// --- joining chains of arcs ---

/// Counter-clockwise, so that what an outline encloses is to its left.
Chain CounterClockwise(Chain outline)
{
    if (AreaOf(outline) < 0) {
        std::reverse(outline.elements.begin(), outline.elements.end());
        for (auto& element : outline.elements) {
            element.Reverse();
        }
    }
    return outline;
}

/// Is a component part of the joint outline? What both outlines share is taken from the first, and
/// only where the outlines have their insides on one side of it.
bool IsKept(const Chain& component, bool isOfFirst, const Chain& other, double tolerance)
{
    Vec2d middle;
    Planar::PointAtParameterOnPolyArcSeg(component, 0.5, true, middle);
    const auto [nearest, normal] = Planar::ClosestPointAndNormalOnPolyArcSeg(other, middle, true);
    if (Vector::Length(nearest - middle) <= tolerance) {
        const auto own = Planar::ClosestPointAndNormalOnPolyArcSeg(component, middle, true);
        return isOfFirst && own.second * normal > 0;
    }
    return !Planar::PointInPolyArcSegSpace<double>(other, middle, true, nullptr);
}

Chain OutlineOf(Session& session, const std::string& input)
{
    std::vector<Chain> chains = ReadChains(session, input, session.Tolerance());
    if (chains.size() != 1 || !chains.front().IsClosed()) {
        throw Failure(Exit::Files,
                      NameOf(input) + ": --op join takes one closed chain from each file");
    }
    return CounterClockwise(std::move(chains.front()));
}

void RunJoin(Session& session)
{
    const double tolerance = session.Tolerance();
    const std::array<Chain, 2> outlines{OutlineOf(session, session.Input(0)),
                                        OutlineOf(session, session.Input(1))};
    std::array<std::vector<Chain>, 2> components;
    if (!Planar::SplitAtIntersections(outlines[0], outlines[1], components[0], components[1],
                                      tolerance)) {
        components = {std::vector<Chain>{outlines[0]}, std::vector<Chain>{outlines[1]}};
    }
    const std::array<SvgStyle, 2> kept{SvgStyle{"#1f4e79", "none", 3},
                                       SvgStyle{"#d1491b", "none", 3}};
    const SvgStyle dropped{"#999999", "none", 1.5, true};
    const SvgStyle meeting{"#222222", "#222222", 2.5};
    SvgWriter picture(800);
    std::vector<Planar::ArcSegBase<double>> elements;
    for (std::size_t i = 0; i < 2; ++i) {
        for (const Chain& component : components[i]) {
            const bool isKept = IsKept(component, i == 0, outlines[1 - i], tolerance);
            picture.AddChain(component, isKept ? kept[i] : dropped);
            if (isKept) {
                elements.insert(elements.end(), component.elements.begin(),
                                component.elements.end());
            }
        }
    }
    const auto meetings = Planar::IntersectionPoints(outlines[0], outlines[1], tolerance);
    std::vector<Chain> joined = Planar::CombineArcsSegs(elements, tolerance);
    Session::CheckStopped();
    std::size_t open = 0;
    Json list = Json::List();
    for (const Chain& chain : joined) {
        session.Print("%zu elements, length %.9g, %s\n", chain.elements.size(), LengthOf(chain),
                      chain.IsClosed() ? "closed" : "open");
        open += chain.IsClosed() ? 0 : 1;
        Json item;
        item["elements"] = chain.elements.size();
        item["length"] = LengthOf(chain);
        item["is_closed"] = chain.IsClosed();
        list.Add(std::move(item));
    }
    session.Result()["meetings"] = meetings;
    session.Result()["chains"] = std::move(list);
    if (session.HasOutput()) {
        session.WriteText(ChainText(joined), session.Output());
    }
    if (session.WantsPicture()) {
        picture.AddPoints(meetings, meeting);
        picture.AddLegend("kept of the first outline", kept[0]);
        picture.AddLegend("kept of the second outline", kept[1]);
        picture.AddLegend("dropped", dropped);
        picture.AddLegend(std::to_string(meetings.size()) + " places at which they meet", meeting);
        session.WritePicture(picture);
    }
    if (open > 0 || joined.empty()) {
        session.Defect("open_outline", "the joint outline does not close; raise --tolerance above "
                                       "the gaps of the outlines");
    }
}

void RunUnion(Session& session)
{
    const std::string operation = session.Text("--op");
    session.Result()["op"] = operation;
    const std::size_t count = session.Inputs().size();
    if (operation != "union" && count != 2) {
        session.RefuseUse("--op " + operation + " takes two inputs");
    }
    if (operation == "join") {
        if (session.Has("--chord")) {
            session.RefuseUse("--chord is not for --op join: arcs stay arcs");
        }
        RunJoin(session);
        return;
    }
    const bool isSweep = operation == "sweep";
    double resolution = 0;
    Loops result;
    if (isSweep) {
        const Loops paths = ReadPolylines(session, session.Input(0));
        result = Planar::DilatePaths(ToolOutlineOf(session, session.Input(1)), paths, &resolution);
    } else {
        const Loops first = RegionOf(session, session.Input(0));
        session.Result()["first_area"] = AreaOf(first);
        result = Combined(session, operation, first, resolution);
    }
    Session::CheckStopped();
    session.Print("%s: %zu loops, area %.9g, exact to %.2g\n", operation.c_str(), result.size(),
                  AreaOf(result), resolution);
    session.Result()["loops"] = result;
    session.Result()["area"] = AreaOf(result);
    session.Result()["resolution"] = resolution;
    if (session.HasOutput()) {
        session.WriteText(PolylineText(result, true), session.Output());
    }
    if (session.WantsPicture()) {
        DrawRegions(session, operation, result, DrawnInputs(session, isSweep));
    }
}

// --- lathe --------------------------------------------------------------------------------------

/// An outline that repeats its first point.
Polyline ClosedOutline(Session& session, const std::string& input)
{
    Loops loops = ReadLoops(session, input, 1e-12, session.Number("--chord"));
    if (loops.size() != 1) {
        throw Failure(Exit::Files, NameOf(input) + ": holds several outlines; one is asked for");
    }
    loops.front().push_back(loops.front().front());
    return loops.front();
}

std::vector<double> AnglesOf(const Session& session)
{
    if (session.Has("--angles") && session.Has("--range")) {
        session.RefuseUse("give one of --angles and --range");
    }
    if (!session.Has("--range")) {
        return session.Numbers("--angles");
    }
    const std::vector<double> range = session.Numbers("--range");
    const double steps = std::floor((range[1] - range[0]) / range[2] + 1e-9);
    if (!(range[2] > 0 && steps >= 0 && steps <= 3600)) {
        session.RefuseUse("--range FIRST,LAST,STEP: the step has to lead from FIRST to LAST in at "
                          "most 3600 steps");
    }
    std::vector<double> angles;
    for (double i = 0; i <= steps; ++i) {
        angles.push_back(range[0] + i * range[2]);
    }
    return angles;
}

std::vector<Lathe::BAngleArcRegion> ArcRegionsOf(const Session& session)
{
    std::vector<Lathe::BAngleArcRegion> regions;
    if (session.Has("--bridge")) {
        const std::vector<double> numbers = session.Numbers("--bridge");
        if (numbers.size() % 3 != 0) {
            session.RefuseUse("--bridge takes three numbers for each arc: START,END,GAP");
        }
        for (std::size_t i = 0; i < numbers.size(); i += 3) {
            regions.push_back({numbers[i], numbers[i + 1], numbers[i + 2]});
        }
    }
    return regions;
}

/// The profile from one arc length to another.
Polyline Stretch(const Polyline& profile, const std::vector<double>& lengths, double from,
                 double to)
{
    const auto at = [&](double length) {
        const auto next = std::upper_bound(lengths.begin(), lengths.end(), length);
        const auto i = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(
            next - lengths.begin() - 1, 0, static_cast<std::ptrdiff_t>(lengths.size()) - 2));
        const double span = lengths[i + 1] - lengths[i];
        const double place = span > 0 ? (length - lengths[i]) / span : 0;
        return profile[i] + (profile[i + 1] - profile[i]) * place;
    };
    Polyline stretch{at(from)};
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        if (from < lengths[i] && lengths[i] < to) {
            stretch.push_back(profile[i]);
        }
    }
    stretch.push_back(at(to));
    return stretch;
}

/// "-60..-15 5..20": neighbors in the list of angles as one.
std::string RangesText(const std::vector<double>& angles, const std::vector<bool>& valid)
{
    std::string text;
    for (std::size_t i = 0; i < angles.size(); ++i) {
        if (!valid[i] || (i > 0 && valid[i - 1])) {
            continue;
        }
        std::size_t last = i;
        while (last + 1 < angles.size() && valid[last + 1]) {
            ++last;
        }
        text += (text.empty() ? "" : " ") + NumberText(angles[i]) +
                (last > i ? ".." + NumberText(angles[last]) : "");
    }
    return text.empty() ? "none" : text;
}

Polyline Placed(const Polyline& outline, double degrees, const Vec2d& pivot, const Vec2d& at)
{
    const double c = std::cos(degrees * kPi<double> / 180);
    const double s = std::sin(degrees * kPi<double> / 180);
    Polyline placed;
    for (const Vec2d& p : outline) {
        const Vec2d arm = p - pivot;
        placed.push_back(at + Vec2d(c * arm.x() - s * arm.y(), s * arm.x() + c * arm.y()));
    }
    return placed;
}

/// A stretch of the profile and what reaches it.
struct Reach {
    double from = 0;
    double to = 0;
    std::vector<bool> valid;

    bool IsReached() const { return std::find(valid.begin(), valid.end(), true) != valid.end(); }
};

/// The whole profile, from step to step.
std::vector<Reach> ReachesOf(const Lathe::BAngleSequence& sequence, std::size_t angles,
                             double length)
{
    std::vector<Reach> reaches;
    Reach reach{0, 0, std::vector<bool>(angles, false)};
    const auto end = [&](double place) {
        if (place > reach.from) {
            reach.to = place;
            reaches.push_back(reach);
            reach.from = place;
        }
    };
    for (const auto& step : sequence.steps) {
        end(step.parameter);
        reach.valid = step.valid;
    }
    end(length);
    return reaches;
}

struct Turning {
    Polyline profile;
    Polyline tool;
    Polyline holder; // empty: none
    Vec2d pivot;
    Loops obstacles;
    std::vector<double> angles;
};

SvgWriter PictureOf(const Turning& turning, const std::vector<Lathe::BAngleReport>& reports,
                    const std::vector<Reach>& reaches, const std::vector<double>& lengths)
{
    const SvgStyle body{"none", "#e8e8e8", 1};
    const SvgStyle reached{"#2e7d32", "none", 3};
    const SvgStyle missed{"#c62828", "none", 3};
    const SvgStyle insert{"#1f4e79", "#9fc3e6", 1};
    const SvgStyle shank{"#777777", "#cccccc", 1, false, 0.5};
    const SvgStyle obstacle{"#555555", "#bbbbbb", 1};
    const SvgStyle free{"#1f4e79", "none", 1, true};
    SvgWriter picture(900);
    picture.SetTitle("What a turning tool reaches of a profile");
    picture.AddRegion({turning.profile}, body);
    for (const Polyline& line : turning.obstacles) {
        picture.AddPolyline(line, obstacle);
    }
    for (const Reach& reach : reaches) {
        picture.AddPolyline(Stretch(turning.profile, lengths, reach.from, reach.to),
                            reach.IsReached() ? reached : missed);
    }
    if (reports.size() == 1) {
        for (const Polyline& line : reports.front().toolRegions) {
            picture.AddPolyline(line, free);
        }
        picture.AddLegend("free positions of the tool's reference point", free);
    }
    // The tool at the middle of its longest region, for some tilts.
    for (const std::size_t i : {std::size_t{0}, reports.size() / 2, reports.size() - 1}) {
        const Loops& regions = reports[i].toolRegions;
        const auto longest = std::max_element(
            regions.begin(), regions.end(),
            [](const Polyline& a, const Polyline& b) { return a.size() < b.size(); });
        if (longest != regions.end() && !longest->empty()) {
            const Vec2d at = (*longest)[longest->size() / 2];
            const double angle = reports[i].angle;
            picture.AddRegion({Placed(turning.holder, angle, turning.pivot, at)}, shank);
            picture.AddRegion({Placed(turning.tool, angle, turning.pivot, at)}, insert);
        }
    }
    picture.AddLegend("reached", reached);
    picture.AddLegend("not reached", missed);
    picture.AddLegend("the tool, at the first, the middle and the last tilt", insert);
    return picture;
}

Turning TurningOf(Session& session)
{
    Turning turning;
    Loops profile = ReadPolylines(session, session.Input(0));
    if (profile.size() != 1 || profile.front().size() < 2) {
        throw Failure(Exit::Files,
                      NameOf(session.Input(0)) + ": holds no profile; give one polyline");
    }
    turning.profile = std::move(profile.front());
    turning.tool = ClosedOutline(session, session.Input(1));
    if (session.Inputs().size() > 2) {
        turning.holder = ClosedOutline(session, session.Input(2));
    }
    const std::vector<double> pivot = session.Numbers("--pivot");
    turning.pivot = {pivot[0], pivot[1]};
    if (session.Has("--obstacles")) {
        turning.obstacles = ReadPolylines(session, session.Text("--obstacles"));
    }
    turning.angles = AnglesOf(session);
    return turning;
}

std::vector<Lathe::BAngleReport> Sweep(const Turning& turning)
{
    return turning.holder.empty()
               ? Lathe::BAxisAngleSweep(turning.angles, turning.tool, turning.pivot,
                                        turning.profile, turning.obstacles)
               : Lathe::BAxisAngleSweep(turning.angles, turning.tool, turning.holder, turning.pivot,
                                        turning.profile, turning.obstacles);
}

std::string PositionsText(const std::vector<Lathe::BAngleReport>& reports)
{
    std::string text;
    for (const Lathe::BAngleReport& report : reports) {
        if (!report.toolRegions.empty()) {
            text += (text.empty() ? "# " : "\n# ") + NumberText(report.angle) + " degrees\n" +
                    PolylineText(report.toolRegions, false);
        }
    }
    return text;
}

double LengthOfAll(const Loops& lines)
{
    double length = 0;
    for (const Polyline& line : lines) {
        length += Vector::Length(line);
    }
    return length;
}

void RunLathe(Session& session)
{
    RefuseStandardOutput(session, {"--positions"});
    const Turning turning = TurningOf(session);
    const std::vector<Lathe::BAngleReport> reports = Sweep(turning);
    Session::CheckStopped();
    const std::vector<double> lengths = Vector::PointStreamParameters(turning.profile, false);
    const auto sequence =
        Lathe::SequenceBAxisAngleSweepAround(turning.profile, reports, ArcRegionsOf(session));
    const std::vector<Reach> reaches = ReachesOf(sequence, turning.angles.size(), lengths.back());

    Json& result = session.Result();
    result["angles"] = turning.angles;
    result["length"] = lengths.back();
    std::size_t failed = 0;
    Json positions = Json::List();
    for (const Lathe::BAngleReport& report : reports) {
        failed += report.failed ? 1 : 0;
        session.Print("%g degrees: positions free over %.9g, holder or obstacle in the way over "
                      "%.9g%s\n",
                      report.angle, LengthOfAll(report.toolRegions),
                      LengthOfAll(report.holderRegions),
                      report.failed ? "; not bounded, don't rely on it" : "");
        Json item;
        item["angle"] = report.angle;
        item["failed"] = report.failed;
        item["free_length"] = LengthOfAll(report.toolRegions);
        item["blocked_length"] = LengthOfAll(report.holderRegions);
        positions.Add(std::move(item));
    }
    result["reports"] = std::move(positions);
    double reached = 0;
    Json stretches = Json::List();
    std::string table = "from,to,angles\n";
    for (const Reach& reach : reaches) {
        reached += reach.IsReached() ? reach.to - reach.from : 0;
        const std::string text = RangesText(turning.angles, reach.valid);
        session.Print("%10.4f to %10.4f: %s\n", reach.from, reach.to, text.c_str());
        table += NumberText(reach.from) + ',' + NumberText(reach.to) + ',' + text + '\n';
        Json item;
        item["from"] = reach.from;
        item["to"] = reach.to;
        std::vector<double> angles;
        for (std::size_t i = 0; i < turning.angles.size(); ++i) {
            if (reach.valid[i]) {
                angles.push_back(turning.angles[i]);
            }
        }
        item["angles"] = angles;
        stretches.Add(std::move(item));
    }
    session.Print("reached %.9g of %.9g\n", reached, lengths.back());
    result["stretches"] = std::move(stretches);
    result["reached"] = reached;
    if (session.HasOutput()) {
        session.WriteText(table, session.Output());
    }
    if (session.Has("--positions")) {
        session.WriteText(PositionsText(reports), session.Text("--positions"));
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(turning, reports, reaches, lengths));
    }
    if (failed > 0) {
        session.Defect("not_bounded", "the positions at " + std::to_string(failed) +
                                          " tilts are not bounded: check that tool and holder are "
                                          "outlines with an area");
    }
}

} // namespace

Command UnionCommand()
{
    Command command;
    command.name = "union";
    command.summary = "Unites, subtracts and intersects regions, and moves tools along them";
    command.description =
        "Files hold loops of points, x and y to a line, with an empty line between loops, or "
        "closed "
        "chains, which are flattened to --chord. Loops need not repeat their first point; those "
        "that run against the others are holes. Results have outer loops counter-clockwise and "
        "holes clockwise.\n\n"
        "union: what is in any of the inputs, one file or more. difference: what is in the first "
        "and "
        "not in the second. intersection: what is in both. join: the outline of two closed chains "
        "together, on which arcs stay arcs. In the other four the second file is a tool, a loop "
        "about the origin. sweep: what the tool covers when it moves along the open polylines of "
        "the first file. dilate: what it covers with its origin anywhere in the region. contract: "
        "the region without what the tool covers from outside of it. close: dilated, and led back, "
        "which closes gaps that the tool can't enter.";
    command.inputs = {"REGION", "OTHER"};
    command.leastInputs = 1;
    command.mostInputs = 1000;
    command.output = "write the loops as points, x and y to a line, an empty line between loops; "
                     "with --op join a file of chains";
    command.tolerance =
        "ends of chains, and first and last points of loops, within this length are "
        "joined; with --op join also what both outlines share";
    command.toleranceDefault = "1e-6";
    command.picture = "write a picture of the result and the inputs";
    command.options = {
        Opt::Choice(
            "--op", "OPERATION",
            {"union", "difference", "intersection", "join", "sweep", "dilate", "contract", "close"},
            "what to do")
            .Default("union"),
        Opt::Number("--chord", "LENGTH", "how far flattened arcs of chains may lie from the arcs")
            .Positive()
            .Default("0.001")};
    command.defects = "a joined outline does not close";
    command.examples = {
        {"sorvane union gear_region.txt slots_region.txt --op difference --svg region.svg",
         "take one region from another and draw that"},
        {"sorvane union cutter_path.txt cutter_region.txt --op sweep -o swept.txt",
         "what a cutter covers along a path"}};
    command.run = RunUnion;
    return command;
}

Command LatheCommand()
{
    Command command;
    command.name = "lathe";
    command.summary = "Tells what a turning tool reaches of a profile, at one tilt or many";
    command.description =
        "Files hold points, two numbers to a line: along the spindle and across it. PROFILE is a "
        "polyline, closed or open; TOOL and HOLDER are closed outlines as they stand at 0 degrees. "
        "At each tilt of a B axis the positions are told at which the tool touches the profile "
        "while everything else is clear, and along the profile the tilts that reach it. Lengths "
        "along the profile count from its first point.";
    command.inputs = {"PROFILE", "TOOL", "HOLDER"};
    command.leastInputs = 2;
    command.mostInputs = 3;
    command.output = "write a table (CSV) of the stretches of the profile and their tilts";
    command.picture = "write a picture of the profile, what is reached of it, and the tool";
    command.options = {
        Opt::Numbers("--angles", "DEGREES,...", "tilts, counter-clockwise").Default("0"),
        Opt::Numbers("--range", "FIRST,LAST,STEP", "tilts from one to another, in degrees")
            .Exactly(3),
        Opt::Numbers("--pivot", "X,Y",
                     "the point of tool and holder that they tilt about, and "
                     "whose positions are told")
            .Exactly(2)
            .Default("0,0"),
        Opt::File("--obstacles", "FILE", "polylines that neither tool nor holder may touch").Read(),
        Opt::Numbers(
            "--bridge", "START,END,GAP,...",
            "from one length along the profile to another, close gaps up to GAP: facets of "
            "an arc that are missed between two that are reached; over the start of a closed "
            "profile END is below START"),
        Opt::File("--positions", "FILE",
                  "write the free positions of the pivot as polylines, tilt by tilt"),
        Opt::Number("--chord", "LENGTH", "how far flattened arcs of chains may lie from the arcs")
            .Positive()
            .Default("0.001")};
    command.defects = "positions are not bounded at some tilt";
    command.examples = {{"sorvane lathe lathe_profile.txt lathe_tool.txt lathe_holder.txt --range "
                         "-60,60,5 -o tilts.csv --svg lathe.svg",
                         "which tilts of a B axis reach which stretch of a shaft"}};
    command.run = RunLathe;
    return command;
}

} // namespace Cli
