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
    std::printf("surface,mesh,squares an edge,error of H,order,error of K,order,"
                "error of principal curvatures,order\n");
    for (const double jitter : {0.0, kJitter}) {
        for (const Support::CurvedSheet& sheet : Support::CurvedSheets()) {
            std::array<double, 3> before{};
            for (const int cells : {16, 32, 64, 128, 256}) {
                const std::array<double, 3> errors = ErrorsOn(sheet, cells, jitter);
                std::printf("\"%s\",%s,%d", sheet.name.c_str(),
                            jitter == 0 ? "regular" : "irregular", cells);
                for (std::size_t k = 0; k < 3; ++k) {
                    if (errors[k] == kNone) {
                        std::printf(",-,");
                    } else if (errors[k] < kExact) {
                        std::printf(",exact,");
                    } else if (before[k] < kExact) {
                        std::printf(",%.2g,", errors[k]);
                    } else {
                        std::printf(",%.2g,%.1f", errors[k], std::log2(before[k] / errors[k]));
                    }
                }
                std::printf("\n");
                before = errors;
            }
        }
    }
    return 0;
}
