// The operations that take part in progress scopes, each with an input of any size: what the tests
// stop everywhere, and what the benchmark of gaps measures.
#pragma once

#include "tests/support/Digest.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Polygons.h"
#include "tests/support/Random.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/ContactSurface_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/Curvature_E.h>
#include <Sorvane/Decimation_E.h>
#include <Sorvane/DualContouring_E.h>
#include <Sorvane/Lathe_E.h>
#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshImprint_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Sorvane/MeshSections_E.h>
#include <Sorvane/Minkowski_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Silhouette_E.h>
#include <Sorvane/Subdivision_E.h>
#include <Sorvane/SweptVolume_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Sorvane/TriangleSlicer_E.h>
#include <Sorvane/TriangleTree_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

namespace Support {

/// What an operation gave: the bits of its results, and whether they are those of input that it
/// can't serve; where it consists of several calls, whether those of the last one are.
struct Outcome {
    std::uint64_t bits = 0;
    bool isNeutral = false;
};

/// Called when the results of the last call are there, before anything is made of them.
inline std::function<void()>& WhenResultsAreThere()
{
    static std::function<void()> call;
    return call;
}

struct LongOperation {
    const char* family;
    const char* name;
    const char* input;
    /// For an input of about so many triangles (points, corners): the call, which may be repeated.
    std::function<std::function<Outcome()>(std::int64_t size)> prepare;
    int calls = 1; ///< how many operations it consists of
};

inline void PrintTo(const LongOperation& operation, std::ostream* out) { *out << operation.name; }

namespace LongOperationInputs {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Loops = std::vector<std::vector<Vec2d>>;

/// A wavy sheet over a square of edge 100.
inline IndexedMesh Sheet(std::int64_t triangles, double lift = 0)
{
    const int side = GridSide(triangles);
    return GridMesh<double>(side, side, [&](int i, int j) {
        const double x = 100.0 * i / side;
        const double y = 100.0 * j / side;
        return Vec3d(x, y, lift + 10 * std::sin(0.2 * x) * std::cos(0.1 * y + lift));
    });
}

/// Triangles of a mesh one by one, with points of their own.
inline IndexedMesh Loose(const IndexedMesh& mesh)
{
    IndexedMesh loose;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        loose.points.push_back(mesh.points[static_cast<std::size_t>(mesh.indices[i])]);
        loose.indices.push_back(static_cast<int>(i));
    }
    return loose;
}

inline IndexedMesh Ring(std::int64_t triangles)
{
    const int across = std::max(3, static_cast<int>(std::sqrt(static_cast<double>(triangles) / 8)));
    return Torus(4 * across, across);
}

/// Points above the sheet, one for ten triangles.
inline std::vector<Vec3d> CloudOver(std::int64_t triangles)
{
    Random random(7);
    std::vector<Vec3d> cloud;
    for (std::int64_t i = 0; i < std::max<std::int64_t>(triangles / 10, 8); ++i) {
        const double x = random.Between(1, 99);
        const double y = random.Between(1, 99);
        cloud.push_back({x, y, random.Between(-12, 12)});
    }
    return cloud;
}

/// A plate with bores of 64 sides, of about so many triangles: an extruded outline with holes is
/// made of rings side by side.
inline IndexedMesh BoredPlate(std::int64_t triangles)
{
    IndexedMesh plate;
    const std::int64_t count = std::max<std::int64_t>(1, triangles / (8 * 64));
    const auto side = static_cast<std::int64_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    const IndexedMesh bush = TurnedBody({{2, 0}, {5, 0}, {5, 4}, {2, 4}}, 64);
    for (std::int64_t i = 0; i < count; ++i) {
        const int shift = static_cast<int>(plate.points.size());
        for (const Vec3d& p : bush.points) {
            plate.points.push_back(p + Vec3d(static_cast<double>(i % side) * 12,
                                             static_cast<double>(i / side) * 12, 0));
        }
        for (const int index : bush.indices) {
            plate.indices.push_back(index + shift);
        }
    }
    return plate;
}

/// Stars that overlap, of about `corners` corners together.
inline Loops Stars(std::int64_t corners, std::uint64_t seed)
{
    Random random(seed);
    const auto count = std::max<std::int64_t>(2, corners / 12);
    const double size = std::sqrt(static_cast<double>(count));
    Loops stars;
    for (std::int64_t i = 0; i < count; ++i) {
        const double x = random.Between(0, size);
        const Vec2d center(x, random.Between(0, size));
        const double radius = random.Between(0.5, 1.5);
        stars.emplace_back();
        for (int k = 0; k < 12; ++k) {
            const double angle = kTwoPi<double> * k / 12;
            stars.back().push_back(center + Vec2d(std::cos(angle), std::sin(angle)) *
                                                (radius * (k % 2 == 0 ? 1 : 0.6)));
        }
    }
    return stars;
}

/// Closed, counter-clockwise and wavy.
inline std::vector<Vec2d> WavyRing(std::int64_t count)
{
    std::vector<Vec2d> ring;
    for (std::int64_t i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * static_cast<double>(i) / static_cast<double>(count);
        const double radius = 100 + 8 * std::sin(37 * angle) + 2 * std::sin(411 * angle);
        ring.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    ring.push_back(ring.front());
    return ring;
}

inline std::vector<Vec2d> RoundTool(int corners)
{
    std::vector<Vec2d> tool;
    for (int i = 0; i < corners; ++i) {
        const double angle = kTwoPi<double> * i / corners;
        tool.push_back({std::cos(angle), std::sin(angle)});
    }
    return tool;
}

inline Planar::PolyArcSegBase<double> ChainOf(const std::vector<Vec2d>& points)
{
    Planar::PolyArcSegBase<double> chain;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        chain.AppendSegment(points[i], points[i + 1]);
    }
    return chain;
}

/// A turned shaft with waves and grooves.
inline std::vector<Vec2d> Shaft(std::int64_t count)
{
    std::vector<Vec2d> shaft{{100, 0}, {0, 0}};
    for (std::int64_t i = 0; i <= count; ++i) {
        const double x = 200.0 * static_cast<double>(i) / static_cast<double>(count);
        shaft.push_back({x, std::fmod(x, 40.0) > 32 ? 12.0 : 20 + 3 * std::sin(x / 7)});
    }
    shaft.push_back({200, 0});
    shaft.push_back({100, 0});
    return shaft;
}

inline std::vector<Vec2d> Insert()
{
    std::vector<Vec2d> insert;
    for (int i = 0; i <= 32; ++i) {
        const double angle = kTwoPi<double> * i / 32;
        insert.push_back({2 * std::sin(angle), 2 - 2 * std::cos(angle)});
    }
    insert.back() = insert.front();
    return insert;
}

inline const std::vector<Vec2d>& Holder()
{
    static const std::vector<Vec2d> holder{{-1, 3},  {1, 3},   {4, 12}, {4, 60},
                                           {-4, 60}, {-4, 12}, {-1, 3}};
    return holder;
}

/// A circle over the sheet of edge 100.
inline std::vector<Vec3d> LoopOnSheet(const Mesh::IndexedPointsBase<3, double>& sheet, int count)
{
    std::vector<Vec3d> loop;
    for (int i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * i / count;
        loop.push_back({50 + 40 * std::cos(angle), 50 + 40 * std::sin(angle), 20});
    }
    return MeshUtils::ProjectCloudOnMesh(sheet.points, sheet.indices, loop, false);
}

inline const Mill::ConvexToolContact& Ball()
{
    static const Mill::ConvexToolContact ball(
        {.lowerCornerRadius = 2.5, .lowerCornerAngle = kPi<double> / 2});
    return ball;
}

} // namespace LongOperationInputs

namespace LongOperationOutcomes {

using namespace LongOperationInputs;

/// Of results.
struct ResultDigest : Digest {
    ResultDigest()
    {
        if (WhenResultsAreThere()) {
            WhenResultsAreThere()();
        }
    }
};

inline void Add(Digest& digest, const IndexedMesh& mesh)
{
    digest.Add(mesh.points).Add(mesh.indices);
}
inline void Add(Digest& digest, const MeshUtils::MeshArc& arc)
{
    digest.Add(arc.center).Add(arc.normal).Add(arc.radius).Add(arc.length);
}
inline void Add(Digest& digest, const std::vector<Mesh::MeshSection>& sections)
{
    for (const auto& section : sections) {
        digest.Add(section.height).Add(section.loops).Add(section.chains);
    }
}
inline void Add(Digest& digest, const Mill::SurfaceDrops& drops)
{
    digest.Add(drops.heights).Add(drops.triangles);
}
inline void Add(Digest& digest, const MeshUtils::HausdorffBound& bound)
{
    digest.Add(bound.lower).Add(bound.upper).Add(bound.triangle).Add(bound.point);
}
inline void Add(Digest& digest, const Planar::PolyArcSegBase<double>& chain)
{
    for (const auto& element : chain.elements) {
        digest.Add(element.Alternative()).Add(element.StartPoint()).Add(element.EndPoint());
    }
}
template <class T>
requires requires(Digest digest, const T& value) { digest.Add(value); }
void Add(Digest& digest, const T& value) { digest.Add(value); }

/// The results, and whether they are neutral.
template <class... Values>
Outcome Of(bool isNeutral, const Values&... values)
{
    ResultDigest digest;
    (Add(digest, values), ...);
    return {digest.Value(), isNeutral};
}

inline bool HasNothing(const std::vector<Mesh::MeshSection>& sections)
{
    return std::all_of(sections.begin(), sections.end(), [](const Mesh::MeshSection& section) {
        return section.loops.empty() && section.chains.empty();
    });
}
inline bool IsEmptyMesh(const IndexedMesh& mesh)
{
    return mesh.points.empty() && mesh.indices.empty();
}

} // namespace LongOperationOutcomes

/// All of them.
inline std::vector<LongOperation> LongOperations()
{
    using namespace LongOperationOutcomes;
    using std::int64_t;
    std::vector<LongOperation> all;
    const auto add = [&](const char* family, const char* name, const char* input, auto prepare,
                         int calls = 1) {
        all.push_back(
            {family, name, input,
             [prepare](int64_t size) -> std::function<Outcome()> { return prepare(size); }, calls});
    };

    // --- remeshing
    add("remesh", "IsotropicRemesh", "sheet", [](int64_t size) {
        return [mesh = Sheet(size), length = 180.0 / GridSide(size)] {
            IndexedMesh out;
            const unsigned passes = Mesh::IsotropicRemesh(mesh, out, 40.0, length, 2, false);
            return Of(passes == 0 && IsEmptyMesh(out), passes, out);
        };
    });
    add("remesh", "AnisotropicRemesh", "sheet", [](int64_t size) {
        return [mesh = Sheet(size), length = 200.0 / GridSide(size)] {
            IndexedMesh out;
            const unsigned passes =
                Mesh::AnisotropicRemesh(mesh, out, 40.0, length, 1.0, 0.01, 1, false);
            return Of(passes == 0 && IsEmptyMesh(out), passes, out);
        };
    });
    add("remesh", "DecimateMesh", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            IndexedMesh out;
            const double percent = Mesh::DecimateMesh(mesh, out, 40.0, 20.0, 10.0, false);
            return Of(IsEmptyMesh(out), percent, out);
        };
    });
    add("remesh", "DecimateInBatches", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            IndexedMesh out;
            Mesh::DecimationReport report;
            const double percent = Mesh::DecimateInBatches(mesh, out, 40.0, 10.0, 0.5, report);
            return Of(IsEmptyMesh(out), percent, out);
        };
    });
    add("remesh", "SubdivideMesh", "sheet", [](int64_t size) {
        return [mesh = Sheet(size / 4)] {
            IndexedMesh out;
            Mesh::SubdivideMesh(mesh, out, 30.0, 1, Mesh::SubdivisionMethod::Loop);
            return Of(IsEmptyMesh(out), out);
        };
    });
    add("remesh", "SplitLongMeshEdges", "sheet", [](int64_t size) {
        return [mesh = Sheet(size / 2), length = 120.0 / GridSide(size / 2)] {
            IndexedMesh out;
            Mesh::SplitLongMeshEdges(mesh, out, length, true, 2);
            return Of(IsEmptyMesh(out), out);
        };
    });
    add("remesh", "SimpleRefine", "sheet", [](int64_t size) {
        return [mesh = Sheet(size / 4)] {
            IndexedMesh out;
            Mesh::SimpleRefine(mesh, out, Mesh::SimpleRefineMethod{}, 1);
            return Of(IsEmptyMesh(out), out);
        };
    });
    add("remesh", "RemoveTriangleStars", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            IndexedMesh out;
            const bool has = Mesh::RemoveTriangleStars(mesh, out, 10.0);
            return Of(!has && IsEmptyMesh(out), out);
        };
    });
    add("remesh", "MaximizeAspectRatio", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            const IndexedMesh out = MeshUtils::MaximizeAspectRatio(mesh, 10.0, 0.01);
            return Of(IsEmptyMesh(out), out);
        };
    });

    // --- distances
    add("distances", "CloudDistancesToMesh", "sheet, a point for ten triangles", [](int64_t size) {
        return [mesh = Sheet(size), cloud = CloudOver(size)] {
            const auto d = MeshUtils::CloudDistancesToMesh(mesh.points, mesh.indices, cloud, false);
            return Of(std::count(d.begin(), d.end(), 0.0) == static_cast<std::ptrdiff_t>(d.size()),
                      d);
        };
    });
    for (const bool closest : {false, true}) {
        add("distances", closest ? "ProjectCloudOnMesh, nearest" : "ProjectCloudOnMesh, down",
            "sheet, a point for ten triangles", [closest](int64_t size) {
                return [closest, mesh = Sheet(size), cloud = CloudOver(size)] {
                    const auto out =
                        MeshUtils::ProjectCloudOnMesh(mesh.points, mesh.indices, cloud, closest);
                    return Of(out.empty(), out);
                };
            });
    }
    add("distances", "ClipPolyPointStreamAgainstMesh", "sheet, a polyline through it",
        [](int64_t size) {
            return [mesh = Sheet(size), cloud = CloudOver(size / 10)] {
                const auto clips =
                    MeshUtils::ClipPolyPointStreamAgainstMesh(mesh, {cloud, {cloud[0]}}, 1.0);
                ResultDigest digest;
                bool isNeutral = clips.size() == 2;
                for (const auto& list : clips) {
                    isNeutral = isNeutral && list.empty();
                    for (const auto& clip : list) {
                        digest.Add(clip.point).Add(clip.parameter).Add(clip.facet);
                    }
                }
                return Outcome{digest.Value(), isNeutral};
            };
        });
    add("distances", "HausdorffDistances", "two sheets", [](int64_t size) {
        return [a = Sheet(size / 2), b = Sheet(size / 2, 0.5)] {
            const auto report =
                MeshUtils::HausdorffDistances(a.points, a.indices, b.points, b.indices);
            return Of(report == MeshUtils::HausdorffReport{}, report.firstIndex,
                      report.firstDistance, report.secondIndex, report.secondDistance);
        };
    });
    add("distances", "HausdorffBounds", "two sheets", [](int64_t size) {
        return [a = Sheet(size / 2), b = Sheet(size / 2, 0.5)] {
            const auto report = MeshUtils::HausdorffBounds(a, b, 0.01);
            return Of(report == MeshUtils::HausdorffBoundsReport{}, report.first, report.second);
        };
    });
    add(
        "distances", "QOFTriangleTree", "sheet",
        [](int64_t size) {
            return [mesh = Sheet(size), cloud = CloudOver(size)] {
                const Tree::QOFTriangleTree<3, double> tree(mesh.points, mesh.indices);
                ResultDigest digest;
                const auto closest = tree.ClosestPoints(cloud, 20.0, {});
                for (const auto& record : closest) {
                    digest.Add(record.id).Add(record.point);
                }
                return Outcome{digest.Value(), closest.empty()};
            };
        },
        2);

    // --- slices
    add("slices", "MeshSections", "sheet, 100 heights", [](int64_t size) {
        return [mesh = Sheet(size)] {
            std::vector<double> heights;
            for (int i = 0; i < 100; ++i) {
                heights.push_back(-9.95 + 0.2 * i);
            }
            const auto sections = Mesh::MeshSections(mesh, {0, 0, 1}, heights, {});
            return Of(sections.size() == 100 && HasNothing(sections), sections);
        };
    });
    add("slices", "MeshSections, askew", "sheet, 20 heights", [](int64_t size) {
        return [mesh = Sheet(size)] {
            std::vector<double> heights;
            for (int i = 0; i < 20; ++i) {
                heights.push_back(2.5 + 5 * i);
            }
            const auto sections = Mesh::MeshSections(mesh, {1, 0.2, 0.3}, heights, {});
            return Of(sections.size() == 20 && HasNothing(sections), sections);
        };
    });
    add(
        "slices", "PlaneSlicer", "sheet, 20 heights",
        [](int64_t size) {
            return [mesh = Sheet(size)] {
                const Mesh::PlaneSlicer slicer(mesh, {0, 0, 1});
                std::vector<double> heights;
                for (int i = 0; i < 20; ++i) {
                    heights.push_back(-9.5 + i);
                }
                const auto sections = slicer.Sections(heights, {});
                return Of(sections.size() == 20 && HasNothing(sections), sections);
            };
        },
        2);
    const auto slicerOf = [](int64_t size) {
        return std::make_shared<const Mesh::TriangleSlicer>(
            Mesh::SoupFromIndexedPoints(Ring(size)));
    };
    add("slices", "TriangleSlicer::SliceTriangles, plane", "ring", [=](int64_t size) {
        return [slicer = slicerOf(size)] {
            const auto half = slicer->SliceTriangles({1, 2, 3}, {0.1, 0, 0}, false, 1e-9);
            ResultDigest digest;
            digest.Add(half.triangles);
            for (const auto& section : half.sections) {
                digest.Add(section.polyline);
                Add(digest, section.cap);
            }
            return Outcome{digest.Value(), half.triangles.empty() && half.sections.empty()};
        };
    });
    add("slices", "TriangleSlicer::SliceTriangles, soup", "two rings", [=](int64_t size) {
        auto cutter = Mesh::SoupFromIndexedPoints(Ring(size / 2));
        for (auto& triangle : cutter) {
            for (Vec3d& p : triangle) {
                p = p + Vec3d(0.51, 0.33, 0.21);
            }
        }
        return [slicer = slicerOf(size / 2), cutter] {
            const auto cut = slicer->SliceTriangles(cutter);
            return Of(cut.first.empty() && cut.uncut.empty() && cut.curves.empty(), cut.first,
                      cut.second, cut.uncut, cut.curves);
        };
    });
    add("slices", "TriangleSlicer::SelfIntersections", "ring", [=](int64_t size) {
        return [slicer = slicerOf(size)] {
            const auto cut = slicer->SelfIntersections();
            return Of(cut.first.empty() && cut.uncut.empty() && cut.curves.empty(), cut.first,
                      cut.second, cut.uncut, cut.curves);
        };
    });

    // --- heights
    add("heights", "ContactSurface", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            const Mill::ContactSurface surface(mesh.points, mesh.indices);
            return Of(surface.TriangleCount() == 0, surface.TriangleCount());
        };
    });
    const auto surfaceOf = [](int64_t size) {
        const IndexedMesh mesh = Sheet(size);
        return std::make_shared<const Mill::ContactSurface>(mesh.points, mesh.indices);
    };
    add("heights", "ContactSurface::DropOnRaster", "sheet, a position for 20 triangles",
        [=](int64_t size) {
            return [size, surface = surfaceOf(size)] {
                const int side = GridSide(size / 10);
                const auto drops = surface->DropOnRaster(
                    Ball(), {{0.5, 0.5}, {99.0 / side, 99.0 / side}, side, side}, {});
                return Of(drops == Mill::SurfaceDrops{}, drops);
            };
        });
    add("heights", "ContactSurface::DropAtPoints", "sheet, a position for 20 triangles",
        [=](int64_t size) {
            std::vector<Vec2d> places;
            for (const Vec3d& p : CloudOver(size / 2)) {
                places.push_back({p.x(), p.y()});
            }
            return [surface = surfaceOf(size), places] {
                const auto drops = surface->DropAtPoints(Ball(), places, {});
                return Of(drops == Mill::SurfaceDrops{}, drops);
            };
        });
    add("heights", "ContactSurface::FindGouges", "sheet, a position for 20 triangles",
        [=](int64_t size) {
            return [surface = surfaceOf(size), tips = CloudOver(size / 2)] {
                const std::vector<Mill::ToolPart> parts{
                    {{.lowerCornerRadius = 2.5, .lowerCornerAngle = kPi<double> / 2}, 0},
                    {{.tipRadius = 5, .shankLength = 20}, 10}};
                const auto gouges = surface->FindGouges(parts, tips, 0.0, {});
                ResultDigest digest;
                for (const auto& gouge : gouges) {
                    digest.Add(gouge.depth).Add(gouge.triangle).Add(gouge.part);
                }
                return Outcome{digest.Value(), gouges.empty()};
            };
        });

    // --- imprint
    add(
        "imprint", "MeshImprint", "sheet",
        [](int64_t size) {
            return [mesh = Sheet(size)] {
                const Mesh::MeshImprint imprint(mesh, 1e-6);
                IndexedMesh out;
                std::vector<unsigned char> flags;
                imprint.Export(out, flags);
                return Of(IsEmptyMesh(out) && flags.empty(), out, flags);
            };
        },
        2);
    add(
        "imprint", "MeshImprint::ImprintPath", "sheet, loop of 1,000 points",
        [](int64_t size) {
            auto mesh = std::make_shared<const IndexedMesh>(Sheet(size));
            return [mesh, loop = LoopOnSheet(*mesh, size < 10000 ? 30 : 1000)] {
                Mesh::MeshImprint imprint(*mesh, 1e-6);
                auto path = loop;
                const bool isImprinted = imprint.ImprintPath(path, true, true);
                const bool isPainted = imprint.PaintInsideOutside();
                IndexedMesh out;
                const bool has = imprint.Export(out, true);
                return Of(!has && IsEmptyMesh(out), isImprinted, isPainted, out);
            };
        },
        4);
    add(
        "imprint", "MeshTracer::CollectPath", "sheet, a line across it",
        [](int64_t size) {
            auto mesh = std::make_shared<const IndexedMesh>(Sheet(size));
            return [mesh, start = LoopOnSheet(*mesh, 4)[2]] {
                Mesh::MeshTracer tracer(*mesh, 1e-6);
                const auto line = tracer.CollectPath(start, {1, 0.3, 0}, 300);
                return Of(line.empty(), line);
            };
        },
        2);
    add("imprint", "EmbedPolylines", "sheet, loop of 1,000 points", [](int64_t size) {
        auto mesh = std::make_shared<const IndexedMesh>(Sheet(size));
        return [mesh, loop = LoopOnSheet(*mesh, size < 10000 ? 30 : 1000)] {
            IndexedMesh out = *mesh;
            const auto nodes = MeshUtils::EmbedPolylines(out, {loop}, 1e-6, 0.5);
            return Of(nodes.empty() && out == *mesh, nodes, out);
        };
    });

    // --- regions
    add("regions", "Union", "stars", [](int64_t size) {
        return [stars = Stars(size, 1)] {
            const auto loops = Planar::Union<double>(stars, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add("regions", "Difference", "stars", [](int64_t size) {
        return [a = Stars(size / 2, 1), b = Stars(size / 2, 2)] {
            const auto loops = Planar::Difference<double>(a, b, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add(
        "regions", "BufferredUnion", "stars, in ten batches",
        [](int64_t size) {
            return [size] {
                const double width = std::sqrt(static_cast<double>(size));
                Planar::BufferredUnion waiting({-2, -2}, {width, width}, 3);
                for (std::uint64_t batch = 0; batch < 10; ++batch) {
                    Loops stars = Stars(size / 10, batch);
                    for (auto& star : stars) {
                        star.push_back(star.front());
                    }
                    waiting.Append(stars);
                }
                const auto loops = waiting.Process();
                return Of(loops.empty(), loops);
            };
        },
        11);
    add("regions", "DilatePaths", "wavy ring", [](int64_t size) {
        return [path = WavyRing(size / 10)] {
            const auto loops = Planar::DilatePaths<double>(RoundTool(32), {path}, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add("regions", "DilateMultipleAreas", "stars", [](int64_t size) {
        return [areas = Stars(size / 20, 1)] {
            const auto loops = Planar::DilateMultipleAreas<double>(RoundTool(16), areas, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add("regions", "ContractMultipleAreas", "wavy ring", [](int64_t size) {
        return [path = WavyRing(size / 10)] {
            const auto loops =
                Planar::ContractMultipleAreas<double>(RoundTool(16), {path}, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add("regions", "OuterOffsetLoop", "wavy ring", [](int64_t size) {
        return [path = WavyRing(size / 10)] {
            const auto loop = Planar::OuterOffsetLoop<double>(path, RoundTool(16), 1e-6);
            return Of(loop.empty(), loop);
        };
    });
    add("regions", "PlanarOffset", "wavy ring", [](int64_t size) {
        return [chain = ChainOf(WavyRing(size / 10))] {
            const auto offsets = Planar::PlanarOffset(chain, 1.5, 1e-6);
            ResultDigest digest;
            for (const auto& offset : offsets) {
                Add(digest, offset);
            }
            return Outcome{digest.Value(), offsets.empty()};
        };
    });

    add("regions", "WallOffset", "wavy ring in a square", [](int64_t size) {
        const std::vector<Vec2d> square{
            {-150, -150}, {150, -150}, {150, 150}, {-150, 150}, {-150, -150}};
        return [walls = std::vector{ChainOf(square), ChainOf(WavyRing(size / 10))}] {
            const auto offsets = Planar::WallOffset<double>(walls, 1.5, 1e-6);
            ResultDigest digest;
            for (const auto& offset : offsets) {
                Add(digest, offset);
            }
            return Outcome{digest.Value(), offsets.empty()};
        };
    });
    add("regions", "PocketRings", "wavy ring, 20 rings", [](int64_t size) {
        return [wall = ChainOf(WavyRing(size / 100 + 40))] {
            const auto plan = Planar::PocketRings<double>(wall, {}, {1.5, 1.5, 20}, 1e-6);
            ResultDigest digest;
            for (const auto& ring : plan.rings) {
                for (const auto& curve : ring.curves) {
                    Add(digest, curve);
                }
            }
            return Outcome{digest.Value(),
                           plan.end == Planar::PocketEnd::Stopped && plan.rings.empty()};
        };
    });

    // --- files and cells
    using MeshUtils::MeshFileForm;
    struct FileNames {
        MeshFileForm form;
        const char* read;
        const char* write;
    };
    for (const FileNames& names :
         {FileNames{MeshFileForm::AsciiStl, "ReadMesh, text", "WriteMesh, text"},
          FileNames{MeshFileForm::BinaryStl, "ReadMesh, binary STL", "WriteMesh, binary STL"},
          FileNames{MeshFileForm::Tipc, "ReadMesh, TIPC", "WriteMesh, TIPC"}}) {
        add("files", names.read, "sheet", [form = names.form](int64_t size) {
            auto bytes = std::make_shared<std::vector<std::byte>>();
            (void)MeshUtils::WriteMesh(Sheet(size), *bytes, form);
            return [bytes] {
                IndexedMesh mesh{{{1, 2, 3}}, {0, 0, 0}};
                const auto result = MeshUtils::ReadMesh(mesh, std::span<const std::byte>(*bytes));
                return Of(!result && result.system == std::errc::operation_canceled &&
                              IsEmptyMesh(mesh),
                          mesh);
            };
        });
        add("files", names.write, "sheet", [form = names.form](int64_t size) {
            return [mesh = Sheet(size), form] {
                std::vector<std::byte> bytes(7);
                const auto result = MeshUtils::WriteMesh(mesh, bytes, form);
                ResultDigest digest;
                std::vector<unsigned char> written;
                for (const std::byte byte : bytes) {
                    written.push_back(std::to_integer<unsigned char>(byte));
                }
                digest.Add(written);
                return Outcome{digest.Value(), !result &&
                                                   result.system == std::errc::operation_canceled &&
                                                   bytes.empty()};
            };
        });
    }
    add("cells", "DCNode::SubdivideToLevel", "a cube", [](int64_t size) {
        return [level = size < 10000 ? 3U : 6U] {
            IsoSurface::DCNode root;
            root.SubdivideToLevel(level, 0);
            ResultDigest digest;
            // Its leaves in order: a stop leaves some of them above the level.
            bool isComplete = true;
            std::vector<int> levels;
            std::vector<const IsoSurface::DCNode*> waiting{&root};
            while (!waiting.empty()) {
                const IsoSurface::DCNode* const node = waiting.back();
                waiting.pop_back();
                if (node->children.empty()) {
                    levels.push_back(static_cast<int>(node->GetLevel()));
                    isComplete = isComplete && node->GetLevel() == level;
                }
                for (std::size_t i = 0; i < node->children.size(); ++i) {
                    waiting.push_back(node->GetChild(static_cast<int>(i)));
                }
            }
            digest.Add(levels);
            return Outcome{digest.Value(), !isComplete};
        };
    });

    // --- swept volume, features, lathe, silhouettes
    add(
        "sweep", "DirtySweptVolume", "ring along a path of 50 points",
        [](int64_t size) {
            return [mesh = Ring(size)] {
                std::vector<Vec3d> path;
                for (int i = 0; i <= 50; ++i) {
                    path.push_back({10 * std::cos(0.1 * i), 10 * std::sin(0.1 * i), 0.1 * i});
                }
                MeshUtils::DirtySweptVolume sweep(mesh);
                const IndexedMesh shell = sweep(path);
                return Of(IsEmptyMesh(shell), shell);
            };
        },
        2);
    add("features", "DetectDrillHoles", "plate of bores", [](int64_t size) {
        return [mesh = BoredPlate(size)] {
            const auto holes = MeshUtils::DetectDrillHoles(mesh, 0.4, 0.02, 0.8, 0.02);
            ResultDigest digest;
            for (const auto& hole : holes) {
                Add(digest, hole.top);
                digest.Add(hole.depth);
            }
            return Outcome{digest.Value(), holes.empty()};
        };
    });
    add("features", "DrillHoleStacks", "plate of bores", [](int64_t size) {
        return [mesh = BoredPlate(size)] {
            const auto stacks = MeshUtils::DrillHoleStacks(mesh, 0.4, 0.02, 0.8, 0.02);
            ResultDigest digest;
            for (const auto& stack : stacks) {
                digest.Add(stack.entry).Add(stack.axis).Add(stack.tipDepth);
            }
            return Outcome{digest.Value(), stacks.empty()};
        };
    });
    add("features", "DetectArcs", "plate of bores", [](int64_t size) {
        return [mesh = BoredPlate(size)] {
            const auto arcs = MeshUtils::DetectArcs(mesh, 0.4, 0.02, 0.8);
            ResultDigest digest;
            for (const auto& arc : arcs) {
                Add(digest, arc);
            }
            return Outcome{digest.Value(), arcs.empty()};
        };
    });
    add("features", "ClusterFacets", "plate of bores", [](int64_t size) {
        return [soup = Mesh::SoupFromIndexedPoints(BoredPlate(size))] {
            const auto clusters = MeshUtils::ClusterFacets(soup, 0.01, 1e-6);
            ResultDigest digest;
            for (const auto& cluster : clusters) {
                digest.Add(cluster.normal).Add(cluster.facets);
            }
            return Outcome{digest.Value(), clusters.empty()};
        };
    });
    add("features", "DiscreteCurvaturesAtNodes", "sheet", [](int64_t size) {
        return [mesh = Sheet(size)] {
            const auto curvatures = MeshUtils::DiscreteCurvaturesAtNodes(mesh, 1e-12);
            ResultDigest digest;
            for (const auto& curvature : curvatures) {
                digest.Add(curvature.maxCurvature).Add(curvature.normal);
            }
            return Outcome{digest.Value(), curvatures.empty()};
        };
    });
    add("lathe", "OuterOffsetRegions", "shaft", [](int64_t size) {
        return [shaft = Shaft(std::max<int64_t>(20, size / 50))] {
            Loops tool;
            Loops holder;
            const bool isDone =
                Lathe::OuterOffsetRegions(Insert(), Holder(), shaft, {}, tool, holder);
            return Of(!isDone && tool.empty() && holder.empty(), tool, holder);
        };
    });
    add("lathe", "BAxisAngleSweep", "shaft, 37 tilts", [](int64_t size) {
        return [shaft = Shaft(std::max<int64_t>(20, size / 500))] {
            std::vector<double> tilts;
            for (int i = -90; i <= 90; i += 5) {
                tilts.push_back(i);
            }
            const auto reports =
                Lathe::BAxisAngleSweep(tilts, Insert(), Holder(), {0, 0}, shaft, {});
            ResultDigest digest;
            for (const auto& report : reports) {
                digest.Add(report.toolRegions).Add(report.reachable);
            }
            return Outcome{digest.Value(), reports.empty()};
        };
    });
    add("silhouettes", "SilhouetteBoundaries", "ring", [](int64_t size) {
        return [mesh = Ring(size)] {
            const auto loops = Planar::SilhouetteBoundaries<double>(mesh, nullptr);
            return Of(loops.empty(), loops);
        };
    });
    add("silhouettes", "SpinBoundary", "ring", [](int64_t size) {
        return [mesh = Ring(size)] {
            const auto loop = Planar::SpinBoundary<double>(mesh, 0.01);
            return Of(loop.empty(), loop);
        };
    });

    // --- hulls and triangulations
    add("hulls", "ConvexHull, space", "ring", [](int64_t size) {
        return [points = Ring(2 * size).points] {
            std::vector<Vec3d> hullPoints;
            std::vector<int> indices;
            const bool has = Bounding::ConvexHull(points, hullPoints, indices, false, false);
            return Of(!has && hullPoints.empty() && indices.empty(), hullPoints, indices);
        };
    });
    add("hulls", "ConvexHull, space, all on it", "sphere", [](int64_t size) {
        Random random(5);
        std::vector<Vec3d> points;
        for (int64_t i = 0; i < std::max<int64_t>(20, size / 4); ++i) {
            points.push_back(Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0));
        }
        return [points] {
            std::vector<Vec3d> hullPoints;
            std::vector<int> indices;
            const bool has = Bounding::ConvexHull(points, hullPoints, indices, false, false);
            return Of(!has && hullPoints.empty() && indices.empty(), hullPoints, indices);
        };
    });
    add("hulls", "MinimalOrientedBox", "ring", [](int64_t size) {
        return [points = Ring(size).points] {
            TransformBase<3> transform;
            Vec3d extent;
            const bool has = Bounding::MinimalOrientedBox(points, transform, extent);
            return Of(!has && extent == Vec3d{}, extent);
        };
    });
    add("triangulation", "TessellateFlatBoundaries", "points in a square", [](int64_t size) {
        Random random(3);
        std::vector<Vec2d> inside;
        for (int64_t i = 0; i < size / 2; ++i) {
            const double x = random.Between(0, 1000);
            inside.push_back({x, random.Between(0, 1000)});
        }
        return [inside] {
            const auto out = Mesh::TessellateFlatBoundaries<2, double>(
                {{{-1, -1}, {1001, -1}, {1001, 1001}, {-1, 1001}}}, inside, 1e-6);
            return Of(out.points.empty() && out.indices.empty(), out.points, out.indices);
        };
    });
    add("triangulation", "TessellateFlatBoundaries, outlines", "wavy ring", [](int64_t size) {
        return [ring = WavyRing(size / 4)] {
            const auto out = Mesh::TessellateFlatBoundaries<2, double>({ring});
            return Of(out.points.empty() && out.indices.empty(), out.points, out.indices);
        };
    });
    add("triangulation", "TessellateSimpleBoundary", "star", [](int64_t size) {
        Random random(1);
        return [outline = StarPolygon(static_cast<int>(size), random)] {
            const auto out = Mesh::TessellateSimpleBoundary(outline);
            return Of(out.empty(), out);
        };
    });

    // --- what every part goes through
    add("meshes", "FilterForUniqueness", "sheet of loose triangles", [](int64_t size) {
        return [mesh = Loose(Sheet(size))] {
            IndexedMesh out = mesh;
            Mesh::FilterForUniqueness(out, 1e-6);
            return Of(out == mesh, out);
        };
    });
    add("meshes", "IndexedPointsFromSoup", "sheet", [](int64_t size) {
        return [soup = Mesh::SoupFromIndexedPoints(Sheet(size))] {
            const auto out = Mesh::IndexedPointsFromSoup(soup, true, 0.0);
            return Of(IsEmptyMesh(out), out);
        };
    });
    add("meshes", "CheckMesh", "sheet", [](int64_t size) {
        return [soup = Mesh::SoupFromIndexedPoints(Sheet(size))] {
            const auto report = MeshUtils::CheckMesh(soup, 1e-6);
            return Of(report == MeshUtils::MeshReport<double>{}, report.openSlots,
                      report.meanEdgeLength, report.centroid);
        };
    });
    add("meshes", "CheckGaps", "plate of bores", [](int64_t size) {
        return [mesh = Sheet(size)] {
            const auto report = MeshUtils::CheckGaps(mesh.points, mesh.indices);
            return Of(report == MeshUtils::GapReport{}, report.location, report.gap);
        };
    });
    return all;
}

} // namespace Support
