// Box queries: the content tree and the flat hierarchy beside Boost.Geometry's R-tree, all over the
// same boxes in space and with the same answers, at ten thousand to a million boxes.

#include "tests/support/Random.h"
#include "trees/BoxHierarchy_Impl.h"
#include "trees/ContentTree_Impl.h"

#include <benchmark/benchmark.h>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Box = Bounding::AxisAlignedBoundingBox<3, double>;

constexpr int kQueries = 1000;

double UsualSize(std::int64_t count) { return 100 / std::cbrt(static_cast<double>(count)); }

std::vector<Box> Boxes(std::int64_t count)
{
    Support::Random random(5489);
    std::vector<Box> boxes(static_cast<std::size_t>(count));
    for (Box& box : boxes) {
        box.min = random.Vector<3, double>(0, 100);
        box.max = box.min + random.Vector<3, double>(0.2, 1) * UsualSize(count);
    }
    return boxes;
}

std::vector<Box> Queries(std::int64_t count)
{
    Support::Random random(5489);
    std::vector<Box> boxes(kQueries);
    const double size = UsualSize(count);
    for (Box& box : boxes) {
        box.min = random.Vector<3, double>(0, 100);
        box.max = box.min + Vec3d{size, size, size};
    }
    return boxes;
}

// --- this library -----------------------------------------------------------------------------

struct Wrap : Tree::QOFTreeContent<3, double, 0> {
    int id = 0;
};

class OurTree : public Tree::QOFTree<3, double, 0, Tree::QOFNode<3, double, 0>> {
public:
    explicit OurTree(const std::vector<Box>& boxes)
    {
        storage_.SetBlockSize(static_cast<std::uint32_t>(boxes.size()));
        Wrap wrap;
        for (const Box& box : boxes) {
            wrap.min = box.min;
            wrap.max = box.max;
            wrap.id = static_cast<int>(&box - boxes.data());
            storage_.Add(wrap);
        }
        PrepareRoot(storage_);
    }

    std::size_t Query(const Box& box, std::vector<int>& ids) const
    {
        ids.clear();
        for (const Content* content : GetPossibleBoxCollisions(box)) {
            ids.push_back(static_cast<const Wrap*>(content)->id);
        }
        return ids.size();
    }

private:
    Tree::QOFStorage<Wrap> storage_;
};

/// Boxes that do not move, as the R-tree has them.
class FlatHierarchy {
public:
    explicit FlatHierarchy(const std::vector<Box>& boxes)
        : boxes_(boxes, Tree::Impl::HierarchyCut::Area)
    {
    }

    std::size_t Query(const Box& box, std::vector<int>& ids) const
    {
        ids.clear();
        boxes_.VisitMeeting(box, [&](std::int32_t number) { ids.push_back(number); });
        return ids.size();
    }

private:
    Tree::Impl::BoxHierarchy<3, double> boxes_;
};

// --- Boost.Geometry -----------------------------------------------------------------------------

namespace bg = boost::geometry;
using BoostPoint = bg::model::point<double, 3, bg::cs::cartesian>;
using BoostBox = bg::model::box<BoostPoint>;
using BoostValue = std::pair<BoostBox, int>;

BoostBox ToBoost(const Box& box)
{
    return {BoostPoint(box.min[0], box.min[1], box.min[2]),
            BoostPoint(box.max[0], box.max[1], box.max[2])};
}

/// Built at once by packing, which is its fastest way and gives its best tree.
template <class Parameters> class BoostTree {
public:
    explicit BoostTree(const std::vector<Box>& boxes) : tree_(Values(boxes)) {}

    std::size_t Query(const Box& box, std::vector<int>& ids) const
    {
        ids.clear();
        found_.clear();
        tree_.query(bg::index::intersects(ToBoost(box)), std::back_inserter(found_));
        for (const BoostValue& value : found_) {
            ids.push_back(value.second);
        }
        return ids.size();
    }

private:
    static std::vector<BoostValue> Values(const std::vector<Box>& boxes)
    {
        std::vector<BoostValue> values;
        for (const Box& box : boxes) {
            values.emplace_back(ToBoost(box), static_cast<int>(&box - boxes.data()));
        }
        return values;
    }

    bg::index::rtree<BoostValue, Parameters> tree_;
    mutable std::vector<BoostValue> found_;
};

// --- measurement ----------------------------------------------------------------------------------

template <class Tree> void BM_Build(benchmark::State& state)
{
    const std::vector<Box> boxes = Boxes(state.range(0));
    for (auto _ : state) {
        const Tree tree(boxes);
        benchmark::DoNotOptimize(&tree);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Tree> void BM_BoxQuery(benchmark::State& state)
{
    const Tree tree(Boxes(state.range(0)));
    const std::vector<Box> queries = Queries(state.range(0));
    std::vector<int> ids;
    std::size_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (const Box& query : queries) {
            found += tree.Query(query, ids);
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found); // the same for all
    state.SetItemsProcessed(state.iterations() * kQueries);
}

using BoostStar16 = BoostTree<bg::index::rstar<16>>;
using BoostQuadratic16 = BoostTree<bg::index::quadratic<16>>;

#define SORVANE_PEERS(Tree)                     \
    BENCHMARK_TEMPLATE(BM_Build, Tree)          \
        ->Arg(10'000)                           \
        ->Arg(100'000)                          \
        ->Arg(1'000'000)                        \
        ->Unit(benchmark::kMillisecond);        \
    BENCHMARK_TEMPLATE(BM_BoxQuery, Tree)       \
        ->Arg(10'000)                           \
        ->Arg(100'000)                          \
        ->Arg(1'000'000)                        \
        ->Unit(benchmark::kMillisecond)
SORVANE_PEERS(OurTree);
SORVANE_PEERS(FlatHierarchy);
SORVANE_PEERS(BoostStar16);
SORVANE_PEERS(BoostQuadratic16);
#undef SORVANE_PEERS

} // namespace
