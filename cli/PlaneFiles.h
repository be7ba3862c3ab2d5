// Text files of points, polylines, loops and chains, as the commands read and write them.
//
// A file of numbers holds one point to a line, its coordinates apart by blanks, commas or
// semicolons. What follows on the coordinates is not looked at, nor is what follows on a '#', nor a
// first line of words. An empty line ends a polyline. A file of chains holds one chain or more,
// each as the library writes it: the number of elements and the tolerance, and a line for each
// element, L with start and end or A with start, center and signed length.
#pragma once

#include "Session.h"

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/VecBase_E.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace Cli {

using Velk::Math::Vec2d;
using Velk::Math::Vec3d;
using Chain = Velk::Math::Sorvane::Planar::PolyArcSegBase<double>;
using Polyline = std::vector<Vec2d>;
using Loops = std::vector<Polyline>;

/// The points of all polylines of a file in the plane, or in space. In space a line whose third
/// field is empty is left out: a position at which a tool touches nothing. All three end the
/// command when the file can't be read, or is not of that form.
std::vector<Vec2d> ReadPlanePoints(Session& session, const std::string& path);
std::vector<Vec3d> ReadSpacePoints(Session& session, const std::string& path);

/// The polylines of a file, one at least.
Loops ReadPolylines(Session& session, const std::string& path);

/// The chains of a file, one at least; of a file of numbers each polyline is a chain of segments,
/// closed when it ends where it begins. What is closed within the tolerance counts as closed.
std::vector<Chain> ReadChains(Session& session, const std::string& path, double tolerance);

/// The closed polylines of a file of numbers, whether or not they repeat their first point, or of
/// chains, which have to be closed and are flattened to `chord`. The first point is not repeated.
Loops ReadLoops(Session& session, const std::string& path, double tolerance, double chord);

/// A chain of segments through the points.
Chain ChainOf(const Polyline& points, bool isClosed, double tolerance);

/// Ends the command when one of these options, which name files beside the output, names the
/// standard output: words go there.
void RefuseStandardOutput(const Session& session, std::initializer_list<const char*> options);

/// Polylines as text, an empty line between them; closed ones repeat their first point.
std::string PolylineText(const Loops& lines, bool isClosed);
std::string PolylineText(const std::vector<std::vector<Vec3d>>& lines, bool isClosed);

/// Chains as text, one after the other.
std::string ChainText(const std::vector<Chain>& chains);

double AreaOf(const Loops& loops);
/// Signed area that a closed chain encloses, positive when it runs counter-clockwise.
double AreaOf(const Chain& chain);
double LengthOf(const Chain& chain);

/// A number with as many digits as tell it from its neighbors.
std::string NumberText(double number);

} // namespace Cli
