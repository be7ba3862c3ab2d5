// Sheets of known curvature, cut into triangles as finely as one likes.
#pragma once

#include "tests/support/MeshGenerators.h"

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace Support {

/// A surface over the square [0, 1]^2 of its parameters, with its curvatures from the textbook.
struct CurvedSheet {
    std::string name;
    std::function<Velk::Math::Vec3d(double, double)> pointAt;
    std::function<double(double, double)> gaussianAt;
    std::function<double(double, double)> meanAt; ///< in magnitude
};

/// Curvatures of the graph z = f(x, y) from the derivatives of f.
inline double GraphGaussian(double fx, double fy, double fxx, double fxy, double fyy)
{
    const double w = 1 + fx * fx + fy * fy;
    return (fxx * fyy - fxy * fxy) / (w * w);
}
inline double GraphMean(double fx, double fy, double fxx, double fxy, double fyy)
{
    const double w = 1 + fx * fx + fy * fy;
    const double h = (1 + fy * fy) * fxx - 2 * fx * fy * fxy + (1 + fx * fx) * fyy;
    return std::fabs(h) / (2 * w * std::sqrt(w));
}

/// A piece each of a sphere of radius 2, a cylinder of radius 2, a torus of radii 3 and 1 (its
/// inner and its outer half), a saddle x y, and a freeform wave.
inline std::vector<CurvedSheet> CurvedSheets()
{
    using Velk::Math::Vec3d;
    std::vector<CurvedSheet> sheets;
    sheets.push_back({"sphere",
                      [](double u, double v) {
                          const double longitude = 0.3 + u;
                          const double latitude = 0.2 + 0.8 * v;
                          return Vec3d(2 * std::cos(longitude) * std::cos(latitude),
                                       2 * std::sin(longitude) * std::cos(latitude),
                                       2 * std::sin(latitude));
                      },
                      [](double, double) { return 0.25; }, [](double, double) { return 0.5; }});
    sheets.push_back(
        {"cylinder",
         [](double u, double v) { return Vec3d(2 * std::cos(u), 2 * std::sin(u), 1.5 * v); },
         [](double, double) { return 0.0; }, [](double, double) { return 0.25; }});
    for (const bool outer : {true, false}) {
        const double tube = outer ? 0.3 : 2.4;
        sheets.push_back(
            {outer ? "torus, outer half" : "torus, inner half",
             [tube](double u, double v) {
                 const double r = 3 + std::cos(tube + v);
                 return Vec3d(r * std::cos(u / 2), r * std::sin(u / 2), std::sin(tube + v));
             },
             [tube](double, double v) { return std::cos(tube + v) / (3 + std::cos(tube + v)); },
             [tube](double, double v) {
                 const double c = std::cos(tube + v);
                 return (3 + 2 * c) / (2 * (3 + c));
             }});
    }
    // Of nearly equilateral triangles: of those with nearly right angles some are cut up one way
    // and their neighbors the other way (see `MeshUtils::MixedAreas`), and the errors no longer
    // cancel.
    const auto saddleX = [](double u, double v) { return u - v / 2 - 0.2; };
    const auto saddleY = [](double v) { return std::sqrt(0.75) * v - 0.35; };
    sheets.push_back(
        {"saddle",
         [=](double u, double v) {
             const double x = saddleX(u, v);
             const double y = saddleY(v);
             return Vec3d(x, y, x * y);
         },
         [=](double u, double v) { return GraphGaussian(saddleY(v), saddleX(u, v), 0, 1, 0); },
         [=](double u, double v) { return GraphMean(saddleY(v), saddleX(u, v), 0, 1, 0); }});
    sheets.push_back(
        {"freeform",
         [](double u, double v) {
             return Vec3d(2 * u, 2 * v, 0.4 * std::sin(2 * u + 0.3) * std::cos(3 * v));
         },
         [](double u, double v) {
             const double x = 2 * u + 0.3;
             const double y = 3 * v; // 1.5 times the coordinate
             return GraphGaussian(0.4 * std::cos(x) * std::cos(y), -0.6 * std::sin(x) * std::sin(y),
                                  -0.4 * std::sin(x) * std::cos(y),
                                  -0.6 * std::cos(x) * std::sin(y),
                                  -0.9 * std::sin(x) * std::cos(y));
         },
         [](double u, double v) {
             const double x = 2 * u + 0.3;
             const double y = 3 * v;
             return GraphMean(0.4 * std::cos(x) * std::cos(y), -0.6 * std::sin(x) * std::sin(y),
                              -0.4 * std::sin(x) * std::cos(y), -0.6 * std::cos(x) * std::sin(y),
                              -0.9 * std::sin(x) * std::cos(y));
         }});
    return sheets;
}

/// The parameters of the sheet's vertices, cells x cells squares row by row as in
/// `Support::GridIndices`; `jitter` moves inner vertices at random by up to that part of a cell.
inline std::vector<std::array<double, 2>> SheetParameters(int cells, double jitter)
{
    Random random(17);
    std::vector<std::array<double, 2>> parameters;
    for (int y = 0; y <= cells; ++y) {
        for (int x = 0; x <= cells; ++x) {
            const bool isInner = x > 0 && y > 0 && x < cells && y < cells;
            const double reach = isInner ? jitter : 0;
            parameters.push_back({(x + random.Between(-reach, reach)) / cells,
                                  (y + random.Between(-reach, reach)) / cells});
        }
    }
    return parameters;
}

inline IndexedMesh SheetMesh(const CurvedSheet& sheet, int cells,
                             const std::vector<std::array<double, 2>>& parameters)
{
    IndexedMesh mesh;
    for (const auto& [u, v] : parameters) {
        mesh.points.push_back(sheet.pointAt(u, v));
    }
    mesh.indices = GridIndices(cells, cells);
    return mesh;
}

} // namespace Support
