// The flat hierarchy of boxes: building it by surface area and in the order of the list, and asking
// it for the boxes that meet a box, lie within a radius of a point, or come next to one.

#include "tests/support/Random.h"
#include "trees/BoxHierarchy_Impl.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Velk::Math::Sorvane::Tree::Impl::HierarchyCut;
template <class T>
using Hierarchy = Velk::Math::Sorvane::Tree::Impl::BoxHierarchy<3, T>;

constexpr int kQueries = 1000;

/// Edge of boxes of which a few meet each other, whatever their number.
double UsualSize(std::int64_t count) { return 100 / std::cbrt(static_cast<double>(count)); }

template <class T>
std::vector<typename Hierarchy<T>::Box> Boxes(std::int64_t count)
{
    Support::Random random(5489);
    std::vector<typename Hierarchy<T>::Box> boxes(static_cast<std::size_t>(count));
    for (auto& box : boxes) {
        box.min = random.Vector<3, T>(0, 100);
        box.max = box.min + random.Vector<3, T>(0.2, 1) * static_cast<T>(UsualSize(count));
    }
    return boxes;
}

template <class T>
std::vector<VecBase<3, T>> Points()
{
    Support::Random random(21);
    std::vector<VecBase<3, T>> points(kQueries);
    for (VecBase<3, T>& point : points) {
        point = random.Vector<3, T>(0, 100);
    }
    return points;
}

template <class T, HierarchyCut kCut>
void BM_Build(benchmark::State& state)
{
    const auto boxes = Boxes<T>(state.range(0));
    for (auto _ : state) {
        const Hierarchy<T> hierarchy(boxes, kCut);
        benchmark::DoNotOptimize(&hierarchy);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// `query(hierarchy, point, size)` for each of the points gives how many items it came to.
template <class T, class Query>
void Ask(benchmark::State& state, const Query& query)
{
    const Hierarchy<T> hierarchy(Boxes<T>(state.range(0)), HierarchyCut::Area);
    const auto points = Points<T>();
    const T size = static_cast<T>(UsualSize(state.range(0)));
    std::size_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (const VecBase<3, T>& point : points) {
            found += query(hierarchy, point, size);
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found) / kQueries;
    state.SetItemsProcessed(state.iterations() * kQueries);
}

template <class T>
void BM_VisitMeeting(benchmark::State& state)
{
    Ask<T>(state, [](const Hierarchy<T>& hierarchy, const VecBase<3, T>& point, T size) {
        std::size_t found = 0;
        hierarchy.VisitMeeting({point, point + VecBase<3, T>(size, size, size)},
                               [&](std::int32_t) { ++found; });
        return found;
    });
}

template <class T>
void BM_VisitWithin(benchmark::State& state)
{
    Ask<T>(state, [](const Hierarchy<T>& hierarchy, const VecBase<3, T>& point, T size) {
        std::size_t found = 0;
        hierarchy.VisitWithin(point, size * size, [&](std::int32_t) { ++found; });
        return found;
    });
}

/// Until the first item, whose box is the nearest as far as the hierarchy tells.
template <class T>
void BM_VisitNearest(benchmark::State& state)
{
    Ask<T>(state, [](const Hierarchy<T>& hierarchy, const VecBase<3, T>& point, T) {
        return static_cast<std::size_t>(hierarchy.VisitNearest(
            point, [](T) { return true; }, [](std::int32_t) { return true; }));
    });
}

#define SORVANE_SIZES(...)          \
    BENCHMARK_TEMPLATE(__VA_ARGS__) \
        ->Arg(10'000)               \
        ->Arg(100'000)              \
        ->Arg(1'000'000)            \
        ->Unit(benchmark::kMillisecond)
SORVANE_SIZES(BM_Build, double, HierarchyCut::Area);
SORVANE_SIZES(BM_Build, float, HierarchyCut::Area);
SORVANE_SIZES(BM_Build, double, HierarchyCut::Order);
SORVANE_SIZES(BM_VisitMeeting, double);
SORVANE_SIZES(BM_VisitMeeting, float);
SORVANE_SIZES(BM_VisitWithin, double);
SORVANE_SIZES(BM_VisitNearest, double);
#undef SORVANE_SIZES

} // namespace
