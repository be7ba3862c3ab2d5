// One operation of each family on inputs of thousands of elements, with any number of threads: the
// result has the same bits as ever. A change that alters results on purpose records the new ones
// with scripts/record-hashes, and the difference in result_hashes.txt is looked at like any other.
//
// The inputs are made by integer arithmetic, so that they are the same on every machine, and the
// operations take nothing from the mathematical library but square roots, which are exact in the
// last digit everywhere. There are five exceptions: the points of the chain come from sines and
// cosines, the lengths of fitted arcs from arc tangents, the ends of the arcs of offsets from sines
// and cosines, edge flips compare with the cosine of an
// angle, which no angle of the sheet comes near, and the eigenvalues that decimation falls back on
// take a hypotenuse.

#include "tests/support/Digest.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/Decimation_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MaterialTree_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Sorvane/MeshSections_E.h>
#include <Sorvane/Minkowski_E.h>
#include <Sorvane/OrderedPairs_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SegmentLinking_E.h>
#include <Sorvane/Subdivision_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::Digest;
using Support::Random;
namespace Sorvane = Velk::Math::Sorvane;

template <class T>
using Indexed = Sorvane::Mesh::IndexedPointsBase<3, T>;

// --- inputs: multiples of 1/64, exact in float
// ----------------------------------------------------

/// In [-8, 8).
template <int D, class T>
VecBase<D, T> LatticePoint(Random& random)
{
    VecBase<D, T> p;
    for (T& x : p) {
        x = static_cast<T>(random.Below(1024) - 512) / T{64};
    }
    return p;
}

template <int D, class T>
std::vector<VecBase<D, T>> LatticePoints(std::uint64_t seed, int count)
{
    Random random(seed);
    std::vector<VecBase<D, T>> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(LatticePoint<D, T>(random));
    }
    return points;
}

/// A rough sheet of 2 * 60 * 60 triangles with a hole, some turned, one repeated.
template <class T>
Indexed<T> RoughSheet()
{
    constexpr int kSide = 60;
    Random random(1);
    Indexed<T> mesh;
    for (int y = 0; y <= kSide; ++y) {
        for (int x = 0; x <= kSide; ++x) {
            mesh.points.push_back(
                {static_cast<T>(x), static_cast<T>(y), static_cast<T>(random.Below(64)) / T{64}});
        }
    }
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            if (x > 20 && x < 30 && y > 10 && y < 50) {
                continue;
            }
            const int a = y * (kSide + 1) + x;
            const int c = a + kSide + 1;
            mesh.indices.insert(mesh.indices.end(), {a, a + 1, c + 1, a, c + 1, c});
            if (random.Below(7) == 0) {
                std::swap(mesh.indices.back(), mesh.indices[mesh.indices.size() - 2]);
            }
        }
    }
    return mesh;
}

template <class T>
Digest DigestOf(const Indexed<T>& mesh)
{
    return Digest().Add(mesh.points).Add(mesh.indices);
}

// --- the operations
// -------------------------------------------------------------------------------

template <class T>
Digest Weld()
{
    auto points = LatticePoints<3, T>(2, 20'000);
    for (std::size_t i = 0; i < points.size(); i += 2) {
        points[i] = points[i / 4];
        points[i][0] += T(1) / T(1024);
    }
    const std::vector<int> numbers = Vector::FilterForUniquenessAndIndex(points, T(1) / T(256));
    return Digest().Add(points).Add(numbers);
}

template <class T>
Digest Cut()
{
    Random random(3);
    std::vector<Geometry::SegBase<T>> segments;
    for (int i = 0; i < 3000; ++i) {
        const auto start = LatticePoint<2, T>(random);
        segments.push_back({start, start + LatticePoint<2, T>(random) * T(0.125)});
    }
    Intersect::CutAtIntersections(segments, static_cast<T>(kLengthFloor<T>));
    Digest digest;
    for (const auto& segment : segments) {
        digest.Add(segment.start).Add(segment.end);
    }
    return digest;
}

template <class T>
Digest OrientAndNormals()
{
    Indexed<T> mesh = RoughSheet<T>();
    Digest digest;
    digest.Add(Sorvane::Mesh::MatchNormals(mesh)).Add(mesh.indices);
    digest.Add(Sorvane::Mesh::NeighborFacets(mesh));
    return digest.Add(Sorvane::Mesh::AreaWeightedVertexNormals(mesh));
}

template <class T>
Digest EditHalfEdges()
{
    using namespace Sorvane::HalfEdge;
    TriangleMesh<HVertex<3, T>, HEdge, HFace> mesh;
    Indexed<T> input = RoughSheet<T>();
    Sorvane::Mesh::MatchNormals(input);
    mesh.LoadIndexedPoints(input);
    Random random(4);
    for (int i = 0; i < 3000; ++i) {
        const int edge = random.Below(mesh.EdgeCount());
        int node = -1;
        if (i % 3 == 0 && mesh.SplitEdge(edge, node, false, false)) {
            mesh.NodeRecord(node)->position = LatticePoint<3, T>(random);
        } else if (i % 3 == 1) {
            mesh.FlipEdge(edge, false);
        } else {
            mesh.CollapseEdge(edge, false, true);
        }
    }
    Indexed<T> result;
    mesh.ExportIndexedPoints(result, T{0});
    return DigestOf(result);
}

template <class T>
Digest HullAndBall()
{
    const auto points = LatticePoints<3, T>(5, 5000);
    Indexed<T> hull;
    Digest digest;
    digest.Add(Sorvane::Bounding::ConvexHull(points, hull.points, hull.indices, false, false));
    digest.Add(hull.points).Add(hull.indices);
    const auto sphere = Sorvane::Bounding::BoundingSphereOfPoints(points, false);
    const auto outline = Sorvane::Bounding::ConvexHull(LatticePoints<2, T>(6, 5000), false);
    return digest.Add(sphere.center).Add(sphere.radius).Add(outline);
}

/// There is no form for `float`. The other searches for boxes, and that for prisms, take sines and
/// cosines.
Digest OrientedBoxes()
{
    std::vector<Vec3d> shell = LatticePoints<3, double>(8, 20'000);
    std::erase_if(shell, [](const Vec3d& p) { return p * p < 7.5 * 7.5 || p * p > 8 * 8; });
    TransformBase<3> transform;
    Vec3d size;
    Digest digest;
    digest.Add(Sorvane::Bounding::OrientedBoundingBox(shell, transform, size)).Add(size);
    for (const Vec3d& corner : {Vec3d{0, 0, 0}, Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}}) {
        digest.Add(transform * corner);
    }
    TransformBase<2> inPlane;
    Vec2d edges;
    const auto outline = LatticePoints<2, double>(9, 300);
    digest.Add(Sorvane::Bounding::OrientedBoundingBox(outline, inPlane, edges)).Add(edges);
    return digest.Add(inPlane * Vec2d{0, 0}).Add(inPlane * Vec2d{1, 0});
}

/// There is no form for `float`.
Digest AlongTheCurve()
{
    std::vector<int> newToOld;
    const auto mesh = Sorvane::Mesh::MapMeshToMortonCurve(RoughSheet<double>(), &newToOld, nullptr);
    return DigestOf(mesh).Add(newToOld);
}

/// Addresses have no coordinates. The shell of a box of 12 cells and cells anywhere.
Digest Flood()
{
    namespace Tree = Sorvane::Tree;
    const auto path = [](int x, int y, int z) {
        unsigned long long code = 0;
        for (unsigned int level = 0; level < 5; ++level) {
            for (const int axis : {2, 1, 0}) {
                const int number = axis == 0 ? x : axis == 1 ? y : z;
                code |= static_cast<unsigned long long>((number >> level) & 1)
                        << (3 * level + static_cast<unsigned int>(axis));
            }
        }
        return code;
    };
    Random random(8);
    std::vector<Tree::QOFAddress<3>> cells;
    for (int i = 0; i < 12; ++i) {
        for (int j = 0; j < 12; ++j) {
            for (const int k : {0, 11}) {
                cells.push_back({5, path(9 + i, 8 + j, 7 + k)});
                cells.push_back({5, path(9 + i, 8 + k, 7 + j)});
                cells.push_back({5, path(9 + k, 8 + i, 7 + j)});
            }
        }
        cells.push_back({4, random.Bits() % 4096});
    }
    Digest digest;
    for (const auto& node : Tree::MaterialTree::SolidVoxelizationFromLeaves<3>(cells, false)) {
        digest.Add(node.address.depth).Add(node.address.path).Add(node.state);
    }
    return digest;
}

template <class T>
Digest LinkLooseSegments()
{
    Random random(9);
    std::vector<Geometry::SegBase<T>> segments;
    for (int i = 0; i < 3000; ++i) {
        const auto start = LatticePoint<2, T>(random);
        segments.push_back({start, start + LatticePoint<2, T>(random) * T(0.125)});
    }
    Digest digest;
    for (const T tolerance : {T(0), T(0.0625), T(2)}) {
        for (const auto& chain : Sorvane::Tree::LinkSegments(segments, tolerance)) {
            digest.Add(chain);
        }
    }
    return digest;
}

template <class T>
Digest Triangulate()
{
    const std::vector<std::vector<VecBase<2, T>>> boundaries{{{-9, -9}, {9, -9}, {9, 9}, {-9, 9}},
                                                             {{-3, -2}, {-3, 2}, {3, 2}, {3, -2}}};
    const auto mesh = Sorvane::Mesh::TessellateFlatBoundaries(
        boundaries, LatticePoints<2, T>(7, 3000), static_cast<T>(kLengthFloor<T>));
    return Digest().Add(mesh.points).Add(mesh.indices);
}

/// There is no form for `float`. The other smooth rule takes a cosine.
Digest Subdivide()
{
    Indexed<double> input = RoughSheet<double>();
    Sorvane::Mesh::MatchNormals(input);
    Indexed<double> smooth;
    Indexed<double> split;
    Sorvane::Mesh::SubdivideMesh(input, smooth, 170.0, 2, Sorvane::Mesh::SubdivisionMethod::Loop);
    Sorvane::Mesh::SplitLongMeshEdges(input, split, 1.25, false, 2);
    return Digest().Add(smooth.points).Add(smooth.indices).Add(split.points).Add(split.indices);
}

template <class T>
Digest FlattenAChain()
{
    Sorvane::Planar::PolyArcSegBase<T> chain;
    chain.tolerance = T(1) / T(1024);
    VecBase<2, T> end{0, 0};
    for (int i = 0; i < 200; ++i) {
        chain.AppendSegment(end, end + VecBase<2, T>{1, 0});
        end = chain.elements.back().EndPoint();
        chain.AppendArc(end + VecBase<2, T>{0, 1}, end, i % 2 == 0 ? T(1.5) : T(0.75));
        end = chain.elements.back().EndPoint();
    }
    return Digest()
        .Add(Sorvane::Planar::PolyArcSegParameters(chain, false))
        .Add(Sorvane::Planar::Tessellate(chain, T(1) / T(512)));
}

/// A staircase of quarter circles with lines between them, of the rational points of the circle.
template <class T>
Digest FitArcs()
{
    std::vector<VecBase<2, T>> points{{0, 0}};
    for (int step = 0; step < 200; ++step) {
        const bool isLeft = step % 2 == 0;
        const VecBase<2, T> along = isLeft ? VecBase<2, T>{1, 0} : VecBase<2, T>{0, 1};
        const VecBase<2, T> across = isLeft ? VecBase<2, T>{0, 1} : VecBase<2, T>{1, 0};
        const VecBase<2, T> center = points.back() + T(2) * along + T(4) * across;
        for (int i = 0; i <= 8; ++i) {
            const T t = T(i) / T(8);
            const T scale = T(4) / (1 + t * t);
            points.push_back(center - (scale * (1 - t * t)) * across + (scale * 2 * t) * along);
        }
    }
    Digest digest;
    const auto chain = Sorvane::Planar::FilterArcsAndSegs(points, T(1) / T(16));
    EXPECT_GE(chain.elements.size(), 300U);
    for (const auto& element : chain.elements) {
        digest.Add(element.StartPoint()).Add(element.EndPoint());
        digest.Add(element.AsArc() != nullptr ? element.AsArc()->length : T(0));
    }
    return digest.Add(Sorvane::Planar::FilterZeroCurvature(points, T(0.125), T(0.125)));
}

/// Stars of 9 corners across each other, united, one half taken from the other, swept by a kite and
/// contracted.
template <class T>
Digest UniteRegions()
{
    using Points = std::vector<VecBase<2, T>>;
    const Points star{{0, 0},    {64, 16}, {80, 80},   {16, 64}, {-40, 96},
                      {-24, 32}, {-80, 0}, {-16, -16}, {8, -72}};
    std::vector<Points> stars;
    for (int i = 0; i < 40; ++i) {
        Points moved = star;
        for (VecBase<2, T>& point : moved) {
            point = point / T(16) + VecBase<2, T>(T(i % 7 * 5), T(i / 7 * 4 + i % 3));
        }
        stars.push_back(moved);
    }
    const auto united = Sorvane::Planar::Union<T>(stars, nullptr);
    EXPECT_FALSE(united.empty());
    const std::vector<Points> some(stars.begin(), stars.begin() + 20);
    const Points kite{{0, -1}, {2, 0}, {0, 3}, {-2, 0}};
    return Digest()
        .Add(united)
        .Add(Sorvane::Planar::Difference<T>(united, some, nullptr))
        .Add(Sorvane::Planar::DilateMultipleAreas<T>(kite, united, nullptr))
        .Add(Sorvane::Planar::ContractMultipleAreas<T>(kite, united, nullptr));
}

/// A comb, offset to both sides: its corners become arcs.
template <class T>
Digest OffsetAChain()
{
    Sorvane::Planar::PolyArcSegBase<T> comb;
    comb.tolerance = T(1) / T(4096);
    VecBase<2, T> at{0, 0};
    const auto lineTo = [&](T x, T y) {
        comb.AppendSegment(at, {x, y});
        at = {x, y};
    };
    for (int i = 0; i < 60; ++i) {
        lineTo(T(4 * i + 1), T(8 + i % 5));
        lineTo(T(4 * i + 3), T(i % 3));
    }
    lineTo(240, -10);
    lineTo(0, -10);
    lineTo(0, 0);
    Digest digest;
    for (const T distance : {T(0.25), T(-0.5), T(2)}) {
        for (const auto& chain : Sorvane::Planar::PlanarOffset<T>(comb, distance, comb.tolerance)) {
            digest.Add(chain.elements.size());
            for (const auto& element : chain.elements) {
                digest.Add(element.StartPoint());
            }
        }
    }
    return digest;
}

template <class T>
Digest WriteFiles()
{
    const Support::TemporaryFolder folder;
    const Indexed<T> mesh = RoughSheet<T>();
    Digest digest;
    EXPECT_TRUE(
        Sorvane::MeshUtils::WriteToASCIISTL(mesh.points, mesh.indices, folder / "ascii.stl"));
    EXPECT_TRUE(
        Sorvane::MeshUtils::WriteToBinarySTL(mesh.points, mesh.indices, folder / "binary.stl"));
    for (const char* name : {"ascii.stl", "binary.stl"}) {
        std::ifstream file(folder / name, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        digest.Add(bytes);
    }
    return digest;
}

template <class T>
Digest Report()
{
    const auto report = Sorvane::MeshUtils::CheckMesh(
        Sorvane::Mesh::SoupFromIndexedPoints(RoughSheet<T>()), T(1) / T(256));
    return Digest()
        .Add(report.openSlots)
        .Add(report.nonManifoldSlots)
        .Add(report.misorientedTriangles)
        .Add(report.degenerateTriangles)
        .Add(report.foldedTriangles)
        .Add(report.meanEdgeLength)
        .Add(report.meanTriangleArea)
        .Add(report.volume)
        .Add(report.centroid);
}

template <class T>
Digest ChainPairs()
{
    const Indexed<T> mesh = RoughSheet<T>();
    const auto pairs =
        Sorvane::MeshUtils::RemoveCancelledPairs(Sorvane::MeshUtils::OrderedPairsFromTriangles(
            Sorvane::Mesh::TripleIndexWrapper(mesh.indices.data(), mesh.indices.size())));
    return Digest().Add(pairs).Add(Sorvane::MeshUtils::ConcatenateOderedPairs(pairs));
}

/// Cells three times as long as high, in space and seen from above.
template <class T>
Digest FlipEdges()
{
    Indexed<T> sheet = RoughSheet<T>();
    Sorvane::Mesh::IndexedPointsBase<2, T> plane;
    plane.indices = sheet.indices;
    for (auto& p : sheet.points) {
        p = {3 * p[0] + p[2], p[1], p[2]};
        plane.points.push_back({p[0], p[1]});
    }
    const auto inSpace = Sorvane::MeshUtils::MaximizeAspectRatio(sheet, T(40), T(0.25));
    const auto inPlane = Sorvane::MeshUtils::MaximizeAspectRatio(plane, T(0), T(0));
    EXPECT_NE(inSpace.indices, sheet.indices);
    EXPECT_NE(inPlane.indices, plane.indices);
    EXPECT_NE(inPlane.indices, inSpace.indices);
    return DigestOf(inSpace).Add(inPlane.points).Add(inPlane.indices);
}

/// Both forms; there are none for `float`.
Digest Decimate()
{
    Indexed<double> sheet = RoughSheet<double>();
    Sorvane::Mesh::MatchNormals(sheet);
    std::vector<unsigned char> tags;
    for (std::size_t t = 0; t < sheet.indices.size() / 3; ++t) {
        tags.push_back(static_cast<unsigned char>(t / 2000));
    }
    Indexed<double> result;
    std::vector<unsigned char> resultTags;
    Sorvane::Mesh::DecimationReport report;
    Digest digest;
    Sorvane::Mesh::DecimateMesh(sheet, tags, result, resultTags, 180.5, 60, 4, true, report);
    digest.Add(result.points).Add(result.indices).Add(resultTags).Add(report.greatestError);
    Sorvane::Mesh::DecimateInBatches(sheet, tags, result, resultTags, 180.5, 30, 0.5, report);
    digest.Add(result.points).Add(result.indices).Add(resultTags).Add(report.greatestError);
    return digest.Add(report.deviation);
}

/// A rough sheet with a hole, at heights of its points and between them: chains, turned triangles.
template <class T>
Digest SlicePlanes()
{
    Digest digest;
    std::size_t lines = 0;
    for (const Vec3d& normal : {Vec3d(0, 0, 1), Vec3d(1, 2, 4)}) {
        for (const auto& section : Sorvane::Mesh::MeshSections(
                 RoughSheet<T>(), normal, {0.25, 0.2578125, 0.75, 40.0, 61.5},
                 {Sorvane::Mesh::SectionSide::Above, 0x1p-10})) {
            digest.Add(section.loops).Add(section.chains).Add(section.area).Add(section.length);
            lines += section.loops.size() + section.chains.size();
        }
    }
    EXPECT_GT(lines, 100U);
    return digest;
}

// --- the list
// -------------------------------------------------------------------------------------

struct Operation {
    const char* name;
    std::function<Digest()> inFloat;
    std::function<Digest()> inDouble;
};

const std::vector<Operation>& Operations()
{
#define SORVANE_OPERATION(name, function)         \
    {                                             \
        name, &function<float>, &function<double> \
    }
    static const std::vector<Operation> operations{
        SORVANE_OPERATION("mathbase.weld", Weld),
        SORVANE_OPERATION("arrangement.cut", Cut),
        SORVANE_OPERATION("foundation.orient_and_normals", OrientAndNormals),
        SORVANE_OPERATION("halfedge.edits", EditHalfEdges),
        SORVANE_OPERATION("bounding.hull_and_ball", HullAndBall),
        {"bounding.oriented_boxes", nullptr, &OrientedBoxes},
        {"trees.along_the_curve", nullptr, &AlongTheCurve},
        {"trees.flood", nullptr, &Flood},
        SORVANE_OPERATION("trees.link", LinkLooseSegments),
        SORVANE_OPERATION("triangulation.tessellate", Triangulate),
        SORVANE_OPERATION("planar.flatten", FlattenAChain),
        SORVANE_OPERATION("planar.fit_arcs", FitArcs),
        SORVANE_OPERATION("planar.regions", UniteRegions),
        SORVANE_OPERATION("planar.offset", OffsetAChain),
        {"remesh.subdivide", nullptr, &Subdivide},
        SORVANE_OPERATION("meshfiles.write", WriteFiles),
        SORVANE_OPERATION("meshreport.check", Report),
        SORVANE_OPERATION("meshutils.chain_pairs", ChainPairs),
        SORVANE_OPERATION("meshutils.flip_edges", FlipEdges),
        {"remesh.decimate", nullptr, &Decimate},
        SORVANE_OPERATION("imprint.slice_planes", SlicePlanes),
    };
#undef SORVANE_OPERATION
    return operations;
}

/// "operation type" -> hash, from the file.
std::map<std::string, std::string> RecordedHashes()
{
    std::map<std::string, std::string> hashes;
    std::ifstream file(SORVANE_RESULT_HASHES);
    std::string operation;
    std::string type;
    std::string hash;
    while (file >> operation >> type >> hash) {
        hashes[operation + " " + type] = hash;
    }
    return hashes;
}

TEST(ResultHashes, OfEveryFamilyAreThoseRecordedForAnyNumberOfThreads)
{
    const auto recorded = RecordedHashes();
    std::map<std::string, std::string> found;
    for (const Operation& operation : Operations()) {
        for (const bool isFloat : {true, false}) {
            const auto& run = isFloat ? operation.inFloat : operation.inDouble;
            if (!run) {
                continue;
            }
            const std::string name = std::string(operation.name) + (isFloat ? " float" : " double");
            for (const int threads : {1, 2, 4}) {
                std::string hash;
                Support::WithThreads(threads, [&] { hash = run().Text(); });
                const auto [first, isNew] = found.try_emplace(name, hash);
                EXPECT_EQ(hash, first->second) << name << ": " << threads << " threads";
            }
        }
    }
    if (std::getenv("SORVANE_RECORD_HASHES") != nullptr) {
        std::ofstream file(SORVANE_RESULT_HASHES);
        for (const auto& [name, hash] : found) {
            file << name << ' ' << hash << '\n';
        }
        ASSERT_TRUE(file.flush());
        return;
    }
    EXPECT_EQ(found, recorded) << "When results change on purpose: scripts/record-hashes";
}

} // namespace
