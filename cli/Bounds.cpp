// sorvane hull, box: what surrounds a part, and the stock to cut it from.

#include "Commands.h"
#include "Drawing.h"
#include "Measures.h"
#include "Session.h"
#include "Stock.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Velk/Math/Vector_E.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

// --- hull
// -----------------------------------------------------------------------------------------

void RunHull(Session& session)
{
    const Part part = session.ReadWeldedPart(session.Input(), 0.0);
    Part hull;
    const bool isSolid = Bounding::ConvexHull(part.points, hull.points, hull.indices, false, false);
    session.Result()["solid"] = isSolid;
    const Measures is = MeasuresOf(part);
    session.Result()["part"] = JsonOf(is);
    PrintMeasures(session, "part", is);
    if (!isSolid) {
        session.Print("hull          none\n");
        session.Defect("flat", NameOf(session.Input()) +
                                   ": the part is flat and has no hull; nothing is written");
        return;
    }
    const Measures round = MeasuresOf(hull);
    session.Result()["hull"] = JsonOf(round);
    PrintMeasures(session, "hull", round);
    if (is.openEdges == 0) {
        const double share = 100 * is.volume / round.volume;
        session.Result()["filled_percent"] = share;
        session.Print("filled        %.3f %% of the hull are the part\n", share);
    }
    if (session.HasOutput()) {
        session.WritePart(hull);
    }
    if (session.WantsPicture()) {
        session.WritePicture(ComparisonOf(part, hull));
    }
}

// --- box
// ------------------------------------------------------------------------------------------

std::array<double, 9> Rotation(const TransformBase<3>& place)
{
    std::array<double, 9> rows{};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            rows[static_cast<std::size_t>(3 * r + c)] = place(r, c);
        }
    }
    return rows;
}

Json JsonOf(const TransformBase<3>& place)
{
    const auto rotation = Rotation(place);
    Json rows = Json::List();
    for (std::size_t r = 0; r < 3; ++r) {
        rows.Add(std::vector<double>{rotation[3 * r], rotation[3 * r + 1], rotation[3 * r + 2],
                                     place(static_cast<int>(r), 3)});
    }
    return rows;
}

/// Without the sign of a zero and the noise of a rounding.
double Plain(double value) { return std::fabs(value) < 5e-13 ? 0 : value; }

/// The rotation as turns about X, then Y, then Z, in degrees.
Vec3d TurnsOf(const TransformBase<3>& place)
{
    const double degrees = 180 / std::numbers::pi;
    const double aboutY = std::asin(std::fmax(-1.0, std::fmin(-place(2, 0), 1.0)));
    // Straight up or down, turns about X and Z are the same: all of it goes to Z.
    const bool isUpright = std::hypot(place(0, 0), place(1, 0)) < 1e-9;
    const double aboutX = isUpright ? 0 : std::atan2(place(2, 1), place(2, 2));
    const double aboutZ =
        isUpright ? std::atan2(-place(0, 1), place(1, 1)) : std::atan2(place(1, 0), place(0, 0));
    return {Plain(aboutX * degrees), Plain(aboutY * degrees), Plain(aboutZ * degrees)};
}

void PrintFlat(Session& session, const char* name, const Vec3d& size, double partVolume)
{
    const double volume = size[0] * size[1] * size[2];
    session.Print("%-13s %.6g x %.6g x %.6g, volume %.6g", name, size[0], size[1], size[2], volume);
    if (partVolume > 0 && volume > 0) {
        session.Print(", utilization %.2f %%", 100 * partVolume / volume);
    }
    session.Print("\n");
}

void TellStock(Session& session, StockKind kind, const Stock& stock, double partVolume)
{
    Json& json = session.Result()["stock"][StockName(kind)];
    json["volume"] = stock.volume;
    json["from_part"] = JsonOf(stock.place);
    json["turn"] = TurnsOf(stock.place);
    if (kind != StockKind::Round) {
        json["size"] = stock.size;
        PrintFlat(session, StockName(kind), stock.size, partVolume);
        return;
    }
    json["diameter"] = stock.size[0];
    json["length"] = stock.size[2];
    session.Print("round         diameter %.6g, length %.6g, volume %.6g", stock.size[0],
                  stock.size[2], stock.volume);
    if (partVolume > 0 && stock.volume > 0) {
        session.Print(", utilization %.2f %%", 100 * partVolume / stock.volume);
    }
    session.Print("\n");
}

/// The sizes in a list like "20x10,30x15".
std::vector<std::array<double, 2>> BarsOf(const Session& session)
{
    std::vector<std::array<double, 2>> bars;
    if (!session.Has("--bar")) {
        return bars;
    }
    std::string list = session.Text("--bar") + ',';
    for (std::size_t at = 0; at < list.size();) {
        const std::size_t end = list.find(',', at);
        const std::string item = list.substr(at, end - at);
        const std::size_t cross = item.find('x');
        const auto width = NumberOf(item.substr(0, cross));
        const auto height =
            cross == std::string::npos ? std::nullopt : NumberOf(item.substr(cross + 1));
        if (!width || !height || !(*width > 0) || !(*height > 0)) {
            session.RefuseUse("--bar wants widths and heights such as 20x10,30x15, not \"" +
                              session.Text("--bar") + "\"");
        }
        bars.push_back({*width, *height});
        at = end + 1;
    }
    return bars;
}

void RunBox(Session& session)
{
    StockSizes sizes;
    sizes.allowance = session.Number("--allowance");
    sizes.bars = BarsOf(session);
    if (session.Has("--plate")) {
        sizes.plates = session.Numbers("--plate");
    }
    if (session.Has("--round")) {
        sizes.rounds = session.Numbers("--round");
    }
    std::optional<StockKind> chosen;
    for (const StockKind kind : kStockKinds) {
        if (session.Has("--as") && session.Text("--as") == StockName(kind)) {
            chosen = kind;
        }
    }
    const bool isAsked = chosen.has_value();

    Part part = session.ReadWeldedPart(session.Input(), 0.0);
    const bool isClosed = Mesh::BoundaryEdges(part).empty();
    const double volume = isClosed ? VolumeOf(part) : 0;
    session.Print("part          %zu triangles, ", part.indices.size() / 3);
    if (isClosed) {
        session.Print("volume %.6g\n", volume);
    } else {
        session.Print("open: its volume says nothing\n");
    }
    Json& result = session.Result();
    result["triangles"] = part.indices.size() / 3;
    result["part_volume"] = isClosed ? Json(volume) : Json();

    const auto box = Bounding::BoxOfPoints(part.points);
    result["box"]["min"] = box.min;
    result["box"]["max"] = box.max;
    result["box"]["size"] = box.max - box.min;
    PrintFlat(session, "box", box.max - box.min, volume);
    session.Print("              (%.9g, %.9g, %.9g) to (%.9g, %.9g, %.9g)\n", box.min.x(),
                  box.min.y(), box.min.z(), box.max.x(), box.max.y(), box.max.z());
    const auto sphere = Bounding::EnclosingBall(part.points);
    result["sphere"]["center"] = sphere.center;
    result["sphere"]["radius"] = sphere.radius;
    session.Print("sphere        radius %.9g about (%.9g, %.9g, %.9g)\n", sphere.radius,
                  sphere.center.x(), sphere.center.y(), sphere.center.z());

    TransformBase<3> turned;
    Vec3d turnedSize;
    if (!Bounding::MinimalOrientedBox(part.points, turned, turnedSize)) {
        result["oriented_box"] = Json();
        session.Defect("line", NameOf(session.Input()) +
                                   ": the part is no more than a line; nothing is written");
        return;
    }
    result["oriented_box"]["size"] = turnedSize;
    result["oriented_box"]["to_part"] = JsonOf(turned);
    PrintFlat(session, "oriented box", turnedSize, volume);
    Session::CheckStopped();

    StockSearch search(part.points, turned, sizes);
    bool isAnyNamed = false;
    bool isAnyLargeEnough = false;
    for (const StockKind kind : kStockKinds) {
        const auto& stock = search.Best(kind);
        isAnyNamed = isAnyNamed || sizes.Names(kind);
        isAnyLargeEnough = isAnyLargeEnough || (sizes.Names(kind) && stock);
        if (stock) {
            TellStock(session, kind, *stock, volume);
            if (!isAsked && (!chosen || stock->volume < search.Best(*chosen)->volume)) {
                chosen = kind;
            }
        } else if (sizes.Names(kind) || chosen == kind) {
            session.Print("%-13s none of the sizes is large enough\n", StockName(kind));
        }
    }
    if (!chosen || !search.Best(*chosen)) {
        session.Defect("too_small", "no size is large enough for the part; nothing is written");
        return;
    }
    if (!isAsked && isAnyNamed && !isAnyLargeEnough) {
        session.Defect("too_small", "none of the sizes is large enough for the part");
    }
    const Stock& stock = *search.Best(*chosen);
    const Vec3d turns = TurnsOf(stock.place);
    result["laid_into"] = StockName(*chosen);
    session.Print("laid into     %s: turned by %.6f about X, then %.6f about Y, then %.6f about Z, "
                  "then moved by "
                  "(%.9g, %.9g, %.9g)\n",
                  StockName(*chosen), turns[0], turns[1], turns[2], stock.place(0, 3),
                  stock.place(1, 3), stock.place(2, 3));
    for (Vec3d& p : part.points) {
        p = stock.place * p;
    }
    if (session.HasOutput()) {
        session.WritePart(part);
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(part, *chosen, stock.size));
    }
}

} // namespace

Command HullCommand()
{
    Command command;
    command.name = "hull";
    command.summary = "Makes the convex hull of a part";
    command.output = "the file to write";
    command.picture = "write a picture of the part and its hull";
    command.defects = "the part is flat and has no hull";
    command.examples = {{"sorvane hull bracket.stl -o hull.stl", "the hull as a mesh"}};
    command.run = RunHull;
    return command;
}

Command BoxCommand()
{
    Command command;
    command.name = "box";
    command.summary = "Tells the box and the sphere of a part, and chooses stock for it";
    command.description =
        "The stock is the smallest block, plate, bar or round bar that the part fits into when it "
        "may be turned. "
        "Plates and bars are chosen from the sizes that are given, sawn to length; a round bar has "
        "the diameter that "
        "is needed unless sizes are given.\n\n"
        "-o writes the part laid into the stock of least volume, or the kind of --as: a corner of "
        "the stock at the "
        "origin, its length along X and its thickness along Z; a round bar about Z, from z = 0.";
    command.output = "write the part laid into the stock";
    command.picture = "write a picture of the part in the stock";
    command.options = {
        Opt::Number("--allowance", "LENGTH", "leave so much over on every side of the stock")
            .From(0)
            .Default("0"),
        Opt::Numbers("--plate", "T,T,...", "thicknesses of plates to choose from").Positive(),
        Opt::Text("--bar", "WxH,WxH,...", "widths and heights of bars to choose from"),
        Opt::Numbers("--round", "D,D,...", "diameters of round bars to choose from").Positive(),
        Opt::Choice("--as", "KIND", {"block", "plate", "bar", "round"},
                    "lay the part into this kind of stock"),
    };
    command.defects = "none of the sizes is large enough, or the part is no more than a line";
    command.examples = {
        {"sorvane box bracket.stl", "how large is it?"},
        {"sorvane box bracket.stl --plate 60,70 --allowance 2 --as plate -o laid.stl --svg "
         "laid.svg",
         "out of which plate, and how does it lie in it?"},
    };
    command.run = RunBox;
    return command;
}

} // namespace Cli
