// Arbitrary outlines through the fits of tools: no crash, no hang, deviations that are numbers, and
// a tool that has a profile wherever something was measured, by which points are offset.
//
// Layout of an input: a byte of flags (1 float, 2 raw coordinates, 4 cylindrical, 8 a tolerance of
// 0, 16 one below 0), a byte for the size of a unit, one for the tolerance; then the points.

#include "fuzz/FuzzPoints.h"

#include <Sorvane/ToolOffset_E.h>
#include <Sorvane/Tools_E.h>

#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math::Sorvane;

constexpr std::size_t kMostPoints = 100;

template <class Report, class T>
void Check(const Report& report, T tolerance)
{
    Fuzz::Require(report.tolerance == tolerance);
    for (const T deviation : {report.pointDeviation, report.hullDeviation, report.meanDeviation}) {
        Fuzz::Require(deviation >= T{0} && deviation <= std::numeric_limits<T>::max());
    }
    if (report.hullDeviation < std::numeric_limits<T>::max()) {
        Fuzz::Require(!Mill::PolyArcSegFromTool(report.tool).elements.empty());
    }
}

template <class T>
void Exercise(const std::uint8_t* data, std::size_t size)
{
    const int flags = data[0];
    const double unit = std::pow(10.0, data[1] % 16 - 8);
    const T positive = static_cast<T>(unit * std::pow(10.0, data[2] % 6 - 4));
    const T tolerance = (flags & 8) != 0 ? T{0} : (flags & 16) != 0 ? -positive : positive;
    const auto outline =
        Fuzz::ReadPoints<T>(data + 3, size - 3, (flags & 2) != 0, unit, kMostPoints);
    if ((flags & 4) != 0) {
        Check(Mill::CylindricalToolFromPolyline(outline, tolerance), tolerance);
        return;
    }
    const auto report = Mill::ConvexToolFromPolyline(outline, tolerance);
    Check(report, tolerance);
    if constexpr (std::is_same_v<T, double>) {
        const Mill::ConvexToolOffset offset(report.tool);
        (void)offset.OffsetFrom({1, 2, 3}, {0.6, 0, 0.8});
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    if ((data[0] & 1) != 0) {
        Exercise<float>(data, size);
    } else {
        Exercise<double>(data, size);
    }
    return 0;
}
