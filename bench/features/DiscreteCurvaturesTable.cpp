// How fast discrete curvatures come near the true ones as a mesh gets finer: writes the lines of
// DiscreteCurvatures.csv.
//
//   discrete_curvatures_table > bench/features/DiscreteCurvatures.csv
//
// Each surface is cut into n x n squares of two triangles, in rows ("regular") and with its
// vertices moved at random by up to a quarter of a square ("irregular"). Errors are the largest
// over the middle half of the piece, of the mean curvature H, the Gaussian curvature K, and of the
// principal curvatures where these are 0.05 apart at least. The order is that of the error from the
// sheet of half as many squares an edge: 2 when halving the edges quarters it.

#include <Sorvane/Curvature_E.h>

#include "tests/support/CurvedSheets.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane;

constexpr double kTolerance = 1e-12;
constexpr double kApart = 0.05;
/// An error of no more than that is rounding, and is shown as 0.
constexpr double kExact = 1e-9;
constexpr double kNone = -1; // no curvatures that are apart
constexpr double kJitter = 0.25;

/// Largest errors of H, of K, and of the principal curvatures.
std::array<double, 3> ErrorsOn(const Support::CurvedSheet& sheet, int cells, double jitter)
{
    const auto parameters = Support::SheetParameters(cells, jitter);
    const auto curvatures = MeshUtils::DiscreteCurvaturesAtNodes(
        Support::SheetMesh(sheet, cells, parameters), kTolerance);
    std::array<double, 3> errors{0, 0, kNone};
    for (int y = cells / 4; y <= 3 * cells / 4; ++y) {
        for (int x = cells / 4; x <= 3 * cells / 4; ++x) {
            const auto node = static_cast<std::size_t>(y * (cells + 1) + x);
            const auto [u, v] = parameters[node];
            const double largest = curvatures[node].maxCurvature;
            const double least = curvatures[node].minCurvature;
            const double mean = sheet.meanAt(u, v);
            const double gaussian = sheet.gaussianAt(u, v);
            const double spread = std::sqrt(std::max(0.0, mean * mean - gaussian));
            errors[0] = std::max(errors[0], std::fabs((largest + least) / 2 - mean));
            errors[1] = std::max(errors[1], std::fabs(largest * least - gaussian));
            if (spread >= kApart) {
                errors[2] = std::max({errors[2], std::fabs(largest - mean - spread),
                                      std::fabs(least - mean + spread)});
            }
        }
    }
    return errors;
}

} // namespace

int main()
{
    constexpr std::array<const char*, 3> kMeasures{"H", "K", "principal curvatures"};
    std::printf("date,machine,program,library,operation,input,size,value,unit\n");
    for (const double jitter : {0.0, kJitter}) {
        const char* const kind = jitter == 0 ? "regular" : "irregular";
        for (const Support::CurvedSheet& sheet : Support::CurvedSheets()) {
            std::array<double, 3> before{};
            for (const int cells : {16, 32, 64, 128, 256}) {
                const std::array<double, 3> errors = ErrorsOn(sheet, cells, jitter);
                for (std::size_t k = 0; k < 3; ++k) {
                    const auto print = [&](const char* what, double value, const char* unit) {
                        std::printf("2026-11-22,any,discrete_curvatures_table,Sorvane,"
                                    "\"%s of %s, %s\",\"%s\",%d,%.*f,%s\n",
                                    what, kMeasures[k], kind, sheet.name.c_str(), cells,
                                    value < 10 ? 1 : 0, value, unit);
                    };
                    if (errors[k] == kNone) {
                        continue;
                    }
                    print("error", errors[k] < kExact ? 0.0 : 1e6 * errors[k], "1e-6");
                    if (jitter == 0 && errors[k] >= kExact && before[k] >= kExact) {
                        print("order", std::log2(before[k] / errors[k]), "1");
                    }
                }
                before = errors;
            }
        }
    }
    return 0;
}
