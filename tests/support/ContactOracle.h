// How high a tool stands over triangles, found by search instead of by geometry: tests of drops
// share no kernel with what they check.
#pragma once

#include "tests/support/Random.h"

#include <Sorvane/Tools_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace Support {

/// A tool as a record, and its half profile as a formula of r.
struct ShapedTool {
    std::string name;
    Velk::Math::Sorvane::Mill::ConvexStandardToolBase<double> record;
    double radius;
    std::function<double(double r)> profile; // r in [0, radius]
};

inline double Circle(double radius, double beside)
{
    return radius - std::sqrt(std::max(radius * radius - beside * beside, 0.0));
}

inline ShapedTool BallTool(double radius)
{
    return {"ball",
            {.lowerCornerRadius = radius, .lowerCornerAngle = M_PI / 2},
            radius,
            [=](double r) { return Circle(radius, r); }};
}

inline ShapedTool FlatTool(double radius)
{
    return {"flat", {.tipRadius = radius, .shankLength = 10}, radius, [](double) { return 0.0; }};
}

inline ShapedTool BullTool(double flat, double corner)
{
    return {"bull",
            {.tipRadius = flat,
             .lowerCornerRadius = corner,
             .lowerCornerAngle = M_PI / 2,
             .shankLength = 10},
            flat + corner,
            [=](double r) { return r <= flat ? 0.0 : Circle(corner, r - flat); }};
}

/// `angle` from the axis.
inline ShapedTool ConeTool(double radius, double angle)
{
    const double slope = 1 / std::tan(angle);
    return {"cone",
            {.taperHeight = radius * slope, .taperAngle = angle, .shankLength = 10},
            radius,
            [=](double r) { return slope * r; }};
}

/// A ball on a cone that widens by `angle` on each side, to twice the ball's radius.
inline ShapedTool TaperedBallTool(double ball, double angle)
{
    const double r0 = ball * std::cos(angle);
    const double z0 = ball - ball * std::sin(angle);
    const double slope = 1 / std::tan(angle);
    const double radius = 2 * ball;
    return {"tapered ball",
            {.lowerCornerRadius = ball,
             .lowerCornerAngle = M_PI / 2,
             .taperHeight = (radius - r0) * slope,
             .taperAngle = angle,
             .shankLength = 10},
            radius,
            [=](double r) { return r <= r0 ? Circle(ball, r) : z0 + slope * (r - r0); }};
}

/// Everything at once: flat, lower corner, taper of `angle` from the axis, upper corner.
inline ShapedTool TaperedTool(double flat, double corner, double angle, double upper)
{
    // The lower corner begins level and ends with the slope of the cone.
    const double r1 = flat + corner * std::cos(angle);
    const double z1 = corner - corner * std::sin(angle);
    const double slope = 1 / std::tan(angle);
    const double taper = 2.0;
    const double r2 = r1 + taper * std::tan(angle);
    const double z2 = z1 + taper;
    const double center = r2 - upper * std::cos(angle);
    const double centerZ = z2 + upper * std::sin(angle);
    return {"tapered",
            {.tipRadius = flat,
             .lowerCornerRadius = corner,
             .lowerCornerAngle = M_PI / 2,
             .taperHeight = taper,
             .taperAngle = angle,
             .upperCornerRadius = upper,
             .shankLength = 10},
            center + upper,
            [=](double r) {
                if (r <= flat) {
                    return 0.0;
                }
                if (r <= r1) {
                    return Circle(corner, r - flat);
                }
                return r <= r2 ? z1 + slope * (r - r1)
                               : centerZ - upper + Circle(upper, r - center);
            }};
}

/// The kinds of tools above, in a common size.
inline std::vector<ShapedTool> ToolsOfAllKinds()
{
    return {BallTool(5),
            FlatTool(5),
            BullTool(3.5, 1.5),
            ConeTool(5, M_PI / 6),
            ConeTool(5, 1.4),
            TaperedBallTool(2, 0.2),
            TaperedTool(1.5, 1, 0.35, 2)};
}

using TriangleCorners = std::array<Velk::Math::Vec3d, 3>;

namespace Oracle {

constexpr double kNothing = -std::numeric_limits<double>::max();

/// Greatest value of a concave function on [low, high], ends included, by golden sections.
template <class Function>
double GreatestOf(const Function& function, double low, double high)
{
    constexpr double kGolden = 0.61803398874989485;
    constexpr int kRounds = 42;
    double greatest = std::max(function(low), function(high));
    double a = high - kGolden * (high - low);
    double b = low + kGolden * (high - low);
    double atA = function(a);
    double atB = function(b);
    for (int round = 0; round < kRounds; ++round) {
        if (atA < atB) {
            low = a;
            a = b;
            atA = atB;
            b = low + kGolden * (high - low);
            atB = function(b);
        } else {
            high = b;
            b = a;
            atB = atA;
            a = high - kGolden * (high - low);
            atA = function(a);
        }
    }
    return std::max({greatest, atA, atB});
}

} // namespace Oracle

/// A height of the tip over one triangle, corners relative to the axis, that the tool does not get
/// below: that of some point of the triangle, all but the one that stops it. Most negative when the
/// triangle is out of reach.
///
/// The height over a point, its z less the profile, is concave over the triangle: golden sections
/// along chords of the triangle within the tool's circle, and over the chords.
inline double LowestTipOver(const TriangleCorners& corner, const ShapedTool& tool)
{
    using Velk::Math::Vec3d;
    for (int axis = 0; axis < 2; ++axis) {
        const auto [low, high] = std::minmax({corner[0][axis], corner[1][axis], corner[2][axis]});
        if (low > tool.radius || high < -tool.radius) {
            return Oracle::kNothing;
        }
    }
    const auto overChord = [&](double s) {
        const Vec3d p = corner[0] + (corner[1] - corner[0]) * s;
        const Vec3d q = corner[0] + (corner[2] - corner[0]) * s;
        // Where the chord is within the circle.
        const double dx = q.x() - p.x();
        const double dy = q.y() - p.y();
        const double squared = dx * dx + dy * dy;
        const double foot =
            squared > 0 ? std::clamp(-(p.x() * dx + p.y() * dy) / squared, 0.0, 1.0) : 0.0;
        const double nearest = std::hypot(p.x() + dx * foot, p.y() + dy * foot);
        if (nearest > tool.radius) {
            return -1e30 *
                   (1 + nearest - tool.radius); // so that the search goes where chords meet it
        }
        const auto atPlace = [&](double t) {
            const Vec3d point = p + (q - p) * t;
            return point.z() -
                   tool.profile(std::min(std::hypot(point.x(), point.y()), tool.radius));
        };
        if (squared == 0) {
            return std::max(atPlace(0), atPlace(1));
        }
        const double middle = -(p.x() * dx + p.y() * dy) / squared;
        const double across = std::fabs(p.x() * dy - p.y() * dx) / std::sqrt(squared);
        const double half =
            std::sqrt(std::max(tool.radius * tool.radius - across * across, 0.0) / squared);
        const double low = std::clamp(middle - half, 0.0, 1.0);
        const double high = std::clamp(middle + half, 0.0, 1.0);
        return Oracle::GreatestOf(atPlace, low, high);
    };
    const double greatest = Oracle::GreatestOf(overChord, 0.0, 1.0);
    return greatest < -1e29 ? Oracle::kNothing : greatest;
}

/// Greatest z of the triangle at distance r from the axis; most negative where it has no point
/// there.
inline double TopAtRadius(const TriangleCorners& corner, double r)
{
    using Velk::Math::Vec3d;
    double top = Oracle::kNothing;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d p = corner[i];
        const Vec3d d = corner[(i + 1) % 3] - p;
        const double a = d.x() * d.x() + d.y() * d.y();
        const double b = p.x() * d.x() + p.y() * d.y();
        const double c = p.x() * p.x() + p.y() * p.y() - r * r;
        // A circle that all but touches the edge touches it.
        const double root = std::sqrt(std::max(b * b - a * c, 0.0));
        for (const double t : {a > 0 ? (-b - root) / a : 0.0, a > 0 ? (-b + root) / a : 1.0}) {
            const Vec3d point = p + d * std::clamp(t, 0.0, 1.0);
            if (std::fabs(std::hypot(point.x(), point.y()) - r) <= 1e-9) {
                top = std::max(top, point.z());
            }
        }
        if (std::fabs(std::hypot(p.x(), p.y()) - r) <= 1e-9) {
            top = std::max(top, p.z());
        }
    }
    // Uphill of the axis by r, if that is on the triangle.
    const Vec3d u = corner[1] - corner[0];
    const Vec3d v = corner[2] - corner[0];
    const double area = u.x() * v.y() - u.y() * v.x();
    if (area != 0) {
        const double gx = (u.z() * v.y() - v.z() * u.y()) / area;
        const double gy = (v.z() * u.x() - u.z() * v.x()) / area;
        const double steepness = std::hypot(gx, gy);
        const double x = steepness > 0 ? r * gx / steepness : r;
        const double y = steepness > 0 ? r * gy / steepness : 0.0;
        const double s = ((x - corner[0].x()) * v.y() - (y - corner[0].y()) * v.x()) / area;
        const double t = (u.x() * (y - corner[0].y()) - u.y() * (x - corner[0].x())) / area;
        if (s >= -1e-9 && t >= -1e-9 && s + t <= 1 + 1e-9) {
            top = std::max(top, corner[0].z() + s * u.z() + t * v.z());
        }
    }
    return top;
}

/// The corners of triangle `number` of a soup, relative to the axis.
inline TriangleCorners RelativeCorners(const std::vector<Velk::Math::Vec3d>& soup, int number,
                                       const Velk::Math::Vec2d& axis)
{
    TriangleCorners corner;
    for (std::size_t i = 0; i < 3; ++i) {
        corner[i] = soup[3 * static_cast<std::size_t>(number) + i] -
                    Velk::Math::Vec3d{axis.x(), axis.y(), 0.0};
    }
    return corner;
}

/// Triangles of random sizes and slopes round the origin, some of them upright, level or without
/// area.
inline std::vector<Velk::Math::Vec3d> RandomSoup(Random& random, int count, double extent)
{
    using Velk::Math::Vec3d;
    std::vector<Vec3d> soup;
    for (int i = 0; i < count; ++i) {
        const Vec3d middle = random.Vector<3, double>(-extent, extent);
        const double size = extent * std::exp(random.Between(-4, 0.5));
        std::array<Vec3d, 3> corner;
        for (Vec3d& p : corner) {
            p = middle + random.Vector<3, double>(-size, size);
        }
        switch (random.Below(12)) {
        case 0:
            corner[1][2] = corner[2][2] = corner[0][2]; // level
            break;
        case 1:
            corner[2][0] = corner[0][0]; // one edge upright
            corner[2][1] = corner[0][1];
            break;
        case 2:
            corner[2] = corner[0] + (corner[1] - corner[0]) * 0.5; // no area
            break;
        case 3:
            corner[1] = corner[2];
            break;
        default:
            break;
        }
        soup.insert(soup.end(), corner.begin(), corner.end());
    }
    return soup;
}

} // namespace Support
