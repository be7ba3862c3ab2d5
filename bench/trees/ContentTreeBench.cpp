// Content trees: building over boxes and over the triangles of a sheet, the three queries, and the
// nearest triangle, at ten thousand to a million contents.
//
// The sheet is made here unless SORVANE_BENCH_STL names a binary STL file.

#include "bench/support/Meshes.h"
#include "trees/ContentTree_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

struct Wrap : Tree::QOFTreeContent<3, double, 0> {
    int id = 0;
    Vec3d a, b, c;
};

class BenchTree : public Tree::QOFTree<3, double, 0, Tree::QOFNode<3, double, 0>> {
public:
    using QOFTree::GetPossibleBallCollisions;
    using QOFTree::GetPossibleBoxCollisions;
    using QOFTree::GetPossibleRayCollisions;
    using QOFTree::VisitNearest;

    Tree::QOFStorage<Wrap> storage;

    explicit BenchTree(const std::vector<Wrap>& items)
    {
        storage.SetBlockSize(static_cast<std::uint32_t>(items.size()));
        for (const Wrap& item : items) {
            storage.Add(item);
        }
        PrepareRoot(storage);
    }
};

;

/// Boxes in a cube of edge 100, of a size at which each meets about three others.
std::vector<Wrap> Boxes(int count)
{
    const double size = 100 / std::cbrt(static_cast<double>(count));
    Support::Random random(5489);
    std::vector<Wrap> items(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        Wrap& item = items[static_cast<std::size_t>(i)];
        item.id = i;
        item.min = random.Vector<3, double>(0, 100);
        item.max = item.min + random.Vector<3, double>(0.2, 1) * size;
    }
    return items;
}

Wrap TriangleItem(int id, const Vec3d& a, const Vec3d& b, const Vec3d& c)
{
    Wrap item;
    item.id = id;
    item.a = a;
    item.b = b;
    item.c = c;
    Bounding::AxisAlignedBoundingBox<3, double> box;
    for (const Vec3d& corner : {a, b, c}) {
        box.Grow(corner);
    }
    const Vec3d margin{1e-10, 1e-10, 1e-10};
    item.min = box.min - margin;
    item.max = box.max + margin;
    return item;
}

/// A wavy sheet of about `count` triangles over a square of edge 100, or the file's triangles.
std::vector<Wrap> Triangles(int count)
{
    Bench::IndexedMesh mesh = Bench::NamedMesh();
    if (mesh.indices.empty()) {
        mesh = Bench::WavySheet(count);
    }
    std::vector<Wrap> items;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
        };
        items.push_back(TriangleItem(static_cast<int>(i / 3), corner(0), corner(1), corner(2)));
    }
    return items;
}

constexpr int kQueries = 1000;

void BM_Build(benchmark::State& state)
{
    const std::vector<Wrap> items = Boxes(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const BenchTree tree(items);
        benchmark::DoNotOptimize(&tree);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

/// A thousand queries of about the size of a few contents.
template <class Query> void RunQueries(benchmark::State& state, const Query& query)
{
    const BenchTree tree(Boxes(static_cast<int>(state.range(0))));
    const double size = 100 / std::cbrt(static_cast<double>(state.range(0)));
    std::size_t found = 0;
    for (auto _ : state) {
        Support::Random random(5489);
        found = 0;
        for (int i = 0; i < kQueries; ++i) {
            found += query(tree, random, size);
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found) / kQueries;
    state.SetItemsProcessed(state.iterations() * kQueries);
    state.SetComplexityN(state.range(0));
}

void BM_BallQuery(benchmark::State& state)
{
    RunQueries(state, [](const BenchTree& tree, Support::Random& random, double size) {
        return tree.GetPossibleBallCollisions({random.Vector<3, double>(0, 100), size}).size();
    });
}

void BM_BoxQuery(benchmark::State& state)
{
    RunQueries(state, [](const BenchTree& tree, Support::Random& random, double size) {
        const Vec3d corner = random.Vector<3, double>(0, 100);
        return tree.GetPossibleBoxCollisions({corner, corner + Vec3d{size, size, size}}).size();
    });
}

void BM_LineQuery(benchmark::State& state)
{
    RunQueries(state, [](const BenchTree& tree, Support::Random& random, double) {
        const Vec3d origin = random.Vector<3, double>(0, 100);
        const Vec3d direction = Vector::Normalized(random.Vector<3, double>(-1, 1), 1e-12);
        return tree.GetPossibleRayCollisions(origin, direction, true).size();
    });
}

/// The tree built, and a hundred thousand times the nearest triangle to a point in the box.
void BM_NearestTriangle(benchmark::State& state)
{
    const std::vector<Wrap> items = Triangles(static_cast<int>(state.range(0)));
    constexpr int kPoints = 100'000;
    double sum = 0;
    std::int64_t tested = 0;
    for (auto _ : state) {
        const BenchTree tree(items);
        const auto& box = tree.Root().contentBox;
        Support::Random random(5489);
        sum = 0;
        tested = 0;
        for (int i = 0; i < kPoints; ++i) {
            Vec3d point = random.Vector<3, double>(0, 1);
            for (int axis = 0; axis < 3; ++axis) {
                point[axis] = box.min[axis] + point[axis] * (box.max[axis] - box.min[axis]);
            }
            double least = std::numeric_limits<double>::infinity();
            tree.VisitNearest(point, least, [&](const auto* content) {
                const Wrap& triangle = *static_cast<const Wrap*>(content);
                const Vec3d nearest = Intersect::ClosestPointOnTriangle(triangle.a, triangle.b,
                                                                        triangle.c, point);
                ++tested;
                return least = std::min(least, SquaredLength(nearest - point));
            });
            sum += std::sqrt(least);
        }
    }
    state.counters["triangles"] = static_cast<double>(items.size());
    state.counters["mean"] = sum / kPoints;
    state.counters["tested"] = static_cast<double>(tested) / kPoints;
    state.SetItemsProcessed(state.iterations() * kPoints);
}

#define SORVANE_SIZES(function) \
    BENCHMARK(function)         \
        ->Arg(10'000)           \
        ->Arg(100'000)          \
        ->Arg(1'000'000)        \
        ->Unit(benchmark::kMillisecond)
SORVANE_SIZES(BM_Build)->Complexity(benchmark::oN);
SORVANE_SIZES(BM_BallQuery);
SORVANE_SIZES(BM_BoxQuery);
SORVANE_SIZES(BM_LineQuery);
BENCHMARK(BM_NearestTriangle)
    ->Arg(10'000)
    ->Arg(246'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
#undef SORVANE_SIZES

} // namespace
