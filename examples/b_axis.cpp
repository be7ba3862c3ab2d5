// Tells from where to where along a turned bar which tilts of the tool reach it.
//
//   b_axis TILT...
//
// Tilts are in degrees, counter-clockwise. The bar has radius 8 and length 60, its profile runs
// from the middle of the axis to the left, over the bar and back. Exit codes: 0 done, 2 wrong use.

#include <Sorvane/Lathe_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    std::vector<double> tilts;
    for (int i = 1; i < argc; ++i) {
        char* end = nullptr;
        tilts.push_back(std::strtod(argv[i], &end));
        if (end == argv[i] || *end != '\0' || !(std::fabs(tilts.back()) <= 180)) {
            tilts.clear();
            break;
        }
    }
    if (tilts.empty()) {
        std::fprintf(stderr, "usage: b_axis TILT...   (degrees from -180 to 180)\n");
        return 2;
    }
    const std::vector<Vec2d> bar{{30, 0}, {0, 0}, {0, 8}, {60, 8}, {60, 0}, {30, 0}};
    const std::vector<Vec2d> insert{{0, 0}, {0.8, 3}, {-0.8, 3}, {0, 0}};
    const std::vector<Vec2d> holder{{-0.7, 2.8}, {0.7, 2.8}, {3, 14}, {-3, 14}, {-0.7, 2.8}};

    // The tip of the insert is the pivot of the tilts.
    const auto reports = Lathe::BAxisAngleSweep(tilts, insert, holder, {0, 0}, bar, {});
    const Lathe::BAngleSequence table = Lathe::SequenceBAxisAngleSweepAround(bar, reports, {});
    for (const Lathe::BAngleSequence::Step& step : table.steps) {
        std::printf("from %.6g on:", step.parameter);
        for (std::size_t i = 0; i < tilts.size(); ++i) {
            if (step.valid[i]) {
                std::printf(" %g", table.angles[i]);
            }
        }
        std::printf("\n");
    }
    return 0;
}
