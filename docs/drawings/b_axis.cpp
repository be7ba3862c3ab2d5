// Which tilts of a B axis reach which stretch of a turned profile: the table along the profile, and
// a picture.
//
//   b_axis PICTURE.svg [PROFILE.txt TOOL.txt HOLDER.txt [FIRST LAST STEP]]
//
// The files hold two numbers to a line: along the spindle and across it. Tool and holder are closed
// outlines as they stand at 0 degrees, the pivot is their origin; the profile is closed too, as a
// rule along the spindle. Tilts in degrees, counter-clockwise, -60 to 60 by 5 unless told. Without
// files a shaft with a groove, a ball, an undercut and a taper, and a slender insert.
//
// Exit codes: 0 done, 1 a file can't be read, holds no outline, or the picture can't be written, 2
// wrong use.

#include "Arguments.h"
#include "PictureOutput.h"
#include "PointsFile.h"

#include <Sorvane/Lathe_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Outline = std::vector<Vec2d>;

/// The upper half of a shaft, from the middle of the spindle's axis.
Outline Shaft()
{
    Outline shaft{{30, 0}, {0, 0}, {0, 8}, {12, 8}, {12, 5}, {17, 5}, {17, 8}, {24, 8}};
    constexpr int kFacets = 24; // of three quarters of a half circle about (32, 0)
    for (int i = 0; i <= kFacets; ++i) {
        const double angle = kPi<double> - kPi<double> * 0.75 * i / kFacets;
        const Vec2d point(34 + 10 * std::cos(angle), 10 * std::sin(angle));
        if (point.y() >= 8 || point.x() > 34) {
            shaft.push_back(point);
        }
    }
    shaft.insert(shaft.end(), {{44, 5}, {52, 9}, {60, 9}, {60, 0}, {30, 0}});
    return shaft;
}

const Outline kInsert{{0, 0}, {0.8, 3}, {-0.8, 3}, {0, 0}};
const Outline kHolder{{-0.7, 2.8}, {0.7, 2.8}, {3, 14}, {-3, 14}, {-0.7, 2.8}};

/// The profile from one arc length to another.
Outline Stretch(const Outline& profile, const std::vector<double>& lengths, double from, double to)
{
    const auto at = [&](double length) {
        const auto next = std::upper_bound(lengths.begin(), lengths.end(), length);
        const auto i = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(
            next - lengths.begin() - 1, 0, static_cast<std::ptrdiff_t>(lengths.size()) - 2));
        const double span = lengths[i + 1] - lengths[i];
        const double place = span > 0 ? (length - lengths[i]) / span : 0;
        return profile[i] + (profile[i + 1] - profile[i]) * place;
    };
    Outline stretch{at(from)};
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        if (from < lengths[i] && lengths[i] < to) {
            stretch.push_back(profile[i]);
        }
    }
    stretch.push_back(at(to));
    return stretch;
}

/// "-60..-15 5..20": neighbors in the list of angles as one.
std::string Ranges(const std::vector<double>& angles, const std::vector<bool>& valid)
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
        std::array<char, 64> range{};
        std::snprintf(range.data(), range.size(), last > i ? "%s%g..%g" : "%s%g",
                      text.empty() ? "" : " ", angles[i], angles[last]);
        text += range.data();
    }
    return text.empty() ? "none" : text;
}

Outline Placed(const Outline& outline, double degrees, const Vec2d& at)
{
    const double c = std::cos(degrees * kPi<double> / 180);
    const double s = std::sin(degrees * kPi<double> / 180);
    Outline placed;
    for (const Vec2d& p : outline) {
        placed.push_back(at + Vec2d(c * p.x() - s * p.y(), s * p.x() + c * p.y()));
    }
    return placed;
}

} // namespace

int main(int argc, char** argv)
{
    std::array<std::optional<double>, 3> range{-60.0, 60.0, 5.0};
    for (std::size_t i = 0; argc == 8 && i < 3; ++i) {
        range[i] = NumberOf(argv[5 + i]);
    }
    const bool isRange = range[0] && range[1] && range[2] && *range[2] > 0 &&
                         *range[0] <= *range[1] && (*range[1] - *range[0]) / *range[2] <= 3600;
    if ((argc != 2 && argc != 5 && argc != 8) || !isRange) {
        std::fprintf(
            stderr,
            "usage: b_axis PICTURE.svg [PROFILE.txt TOOL.txt HOLDER.txt [FIRST LAST STEP]]\n");
        return 2;
    }
    std::array<Outline, 3> outlines{Shaft(), kInsert, kHolder};
    for (int i = 0; argc > 2 && i < 3; ++i) {
        outlines[static_cast<std::size_t>(i)] = PointsOfFile(argv[2 + i]);
        if (outlines[static_cast<std::size_t>(i)].size() < 3) {
            std::fprintf(stderr, "%s: holds no outline, or can't be read\n", argv[2 + i]);
            return 1;
        }
    }
    const Outline& profile = outlines[0];
    const Outline& tool = outlines[1];
    const Outline& holder = outlines[2];
    std::vector<double> angles;
    for (int i = 0; *range[0] + i * *range[2] <= *range[1] + 1e-9; ++i) {
        angles.push_back(*range[0] + i * *range[2]);
    }

    const auto reports = Lathe::BAxisAngleSweep(angles, tool, holder, {0, 0}, profile, {});
    const auto sequence = Lathe::SequenceBAxisAngleSweepAround(profile, reports, {});
    for (const auto& report : reports) {
        if (report.failed) {
            std::printf("%g degrees: outlines are not closed, or positions are not bounded\n",
                        report.angle);
        }
    }

    const Drawing::SvgStyle body{"none", "#e8e8e8", 1};
    const Drawing::SvgStyle reached{"#2e7d32", "none", 3};
    const Drawing::SvgStyle missed{"#c62828", "none", 3};
    const Drawing::SvgStyle insert{"#1f4e79", "#9fc3e6", 1};
    const Drawing::SvgStyle shank{"#777777", "#cccccc", 1, false, 0.5};
    Drawing::SvgWriter picture(900);
    picture.SetTitle("What a tilting tool reaches of a profile");
    picture.AddRegion({profile}, body);
    const std::vector<double> lengths = Vector::PointStreamParameters(profile, false);
    double from = 0;
    std::vector<bool> valid(angles.size(), false);
    const auto tell = [&](double to) {
        if (to > from) {
            const bool isReached = std::find(valid.begin(), valid.end(), true) != valid.end();
            std::printf("%10.4f to %10.4f: %s\n", from, to, Ranges(angles, valid).c_str());
            picture.AddPolyline(Stretch(profile, lengths, from, to), isReached ? reached : missed);
        }
        from = to;
    };
    for (const auto& step : sequence.steps) {
        tell(step.parameter);
        valid = step.valid;
    }
    tell(lengths.back());

    // The tool at the middle of its widest region, for some tilts.
    for (const std::size_t i : {std::size_t{0}, angles.size() / 2, angles.size() - 1}) {
        const auto& regions = reports[i].toolRegions;
        const auto longest = std::max_element(
            regions.begin(), regions.end(),
            [](const Outline& a, const Outline& b) { return a.size() < b.size(); });
        if (longest != regions.end() && !longest->empty()) {
            const Vec2d at = (*longest)[longest->size() / 2];
            picture.AddRegion({Placed(holder, angles[i], at)}, shank);
            picture.AddRegion({Placed(tool, angles[i], at)}, insert);
        }
    }
    picture.AddLegend("reached at some tilt", reached);
    picture.AddLegend("reached at none", missed);
    picture.AddLegend("the tool, at the first, the middle and the last tilt", insert);
    return SavePicture(picture, argv[1]) ? 0 : 1;
}
