// The elementary intersections that searches and sweeps call most, on arrays of ready inputs: a mix
// of hits, near misses and far misses as such loops meet them.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Intersect = Velk::Math::Intersect;

using Triangle = std::array<Vec3d, 3>;

template <class T, class Make>
std::vector<T> Inputs(const benchmark::State& state, Make make)
{
    Support::Random random(1);
    std::vector<T> inputs(static_cast<std::size_t>(state.range(0)));
    for (T& input : inputs) {
        input = make(random);
    }
    return inputs;
}

/// Runs `test` on every input and counts what it finds, so that nothing is optimized away.
template <class Input, class Run>
void RunAll(benchmark::State& state, const std::vector<Input>& inputs, Run test)
{
    std::int64_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (const Input& input : inputs) {
            found += test(input);
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["share_found"] = double(found) / double(inputs.size());
}

Triangle SmallTriangle(Support::Random& random, double size)
{
    const auto place = random.Vector<3, double>(-1, 1);
    return {place + random.Vector<3, double>(-size, size),
            place + random.Vector<3, double>(-size, size),
            place + random.Vector<3, double>(-size, size)};
}

void BM_SegmentSegment(benchmark::State& state)
{
    using Input = std::array<Vec2d, 4>;
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        Input input;
        for (Vec2d& p : input) {
            p = random.template Vector<2, double>(-1, 1);
        }
        return input;
    });
    RunAll(state, inputs, [](const Input& p) {
        Vec2d hit;
        bool overlap = false;
        return Intersect::SegmentSegment(p[0], p[1], p[2], p[3], hit, overlap, false, 1e-12);
    });
}

void BM_ArcSegment(benchmark::State& state)
{
    struct Input {
        ArcBase<double> arc;
        SegBase<double> segment;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        Input input;
        input.arc.center = random.template Vector<2, double>(-1, 1);
        input.arc.start = random.template Vector<2, double>(-1, 1);
        input.arc.length = random.Between(-6, 6) * Geometry::Radius(input.arc);
        input.segment = {random.template Vector<2, double>(-1, 1),
                         random.template Vector<2, double>(-1, 1)};
        return input;
    });
    RunAll(state, inputs, [](const Input& i) {
        Vec2d hit0;
        Vec2d hit1;
        double parameter0 = 0;
        double parameter1 = 0;
        return Intersect::ArcSegment(i.arc.center, i.arc.start, i.arc.length, i.segment.start,
                                     i.segment.end, hit0, parameter0, hit1, parameter1, true,
                                     1e-12) > 0;
    });
}

void BM_ClosestPointOnTriangle(benchmark::State& state)
{
    struct Input {
        Triangle triangle;
        Vec3d point;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        return Input{SmallTriangle(random, 0.5), random.template Vector<3, double>(-1, 1)};
    });
    RunAll(state, inputs, [](const Input& i) {
        const auto& [a, b, c] = i.triangle;
        const Vec3d q = Intersect::ClosestPointOnTriangle(a, b, c, i.point);
        return Vector::SquaredLength(q - i.point) < 0.25;
    });
}

void BM_RayTriangle(benchmark::State& state)
{
    struct Input {
        Triangle triangle;
        Vec3d origin;
        Vec3d direction;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        const Triangle t = SmallTriangle(random, 0.5);
        const Vec3d origin = random.template Vector<3, double>(-1, 1);
        const Vec3d target = t[0] + random.template Vector<3, double>(-0.5, 0.5);
        return Input{t, origin, target - origin};
    });
    RunAll(state, inputs, [](const Input& i) {
        const auto& [a, b, c] = i.triangle;
        Vec3d hit;
        double distance = 0;
        return Intersect::RayTriangleHitPoint(a, b, c, i.origin, i.direction, &hit, &distance, true,
                                              1e-12);
    });
}

void BM_TriangleTriangle(benchmark::State& state)
{
    using Input = std::array<Triangle, 2>;
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        return Input{SmallTriangle(random, 1), SmallTriangle(random, 1)};
    });
    RunAll(state, inputs, [](const Input& i) {
        const auto& [a, b] = i;
        return Intersect::TriangleTriangle(a[0], a[1], a[2], b[0], b[1], b[2], 1e-12);
    });
}

/// Neighbors of a mesh, which share a side: the careful way through.
void BM_TriangleTriangleTouching(benchmark::State& state)
{
    using Input = std::array<Triangle, 2>;
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        const Triangle t = SmallTriangle(random, 1);
        return Input{t, Triangle{t[1], t[0], random.template Vector<3, double>(-1, 1)}};
    });
    RunAll(state, inputs, [](const Input& i) {
        const auto& [a, b] = i;
        return Intersect::TriangleTriangle(a[0], a[1], a[2], b[0], b[1], b[2], 1e-12);
    });
}

struct Box {
    Vec3d min;
    Vec3d max;
};

Box SmallBox(Support::Random& random)
{
    const auto place = random.Vector<3, double>(-1, 1);
    return {place - random.Vector<3, double>(0, 0.5), place + random.Vector<3, double>(0, 0.5)};
}

void BM_TriangleAABB(benchmark::State& state)
{
    struct Input {
        Triangle triangle;
        Box box;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        return Input{SmallTriangle(random, 1), SmallBox(random)};
    });
    RunAll(state, inputs, [](const Input& i) {
        const auto& [a, b, c] = i.triangle;
        return Intersect::TriangleAABB(a, b, c, i.box.min, i.box.max);
    });
}

void BM_RayAABB(benchmark::State& state)
{
    struct Input {
        Vec3d origin;
        Vec3d direction;
        Box box;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        const Vec3d origin = random.template Vector<3, double>(-2, 2);
        return Input{origin, random.template Vector<3, double>(-1, 1) - origin, SmallBox(random)};
    });
    RunAll(state, inputs, [](const Input& i) {
        Vec3d hit;
        double distance = 0;
        return Intersect::RayAABB(i.origin, i.direction, i.box.min, i.box.max, hit, distance);
    });
}

void BM_DistanceToAABB(benchmark::State& state)
{
    struct Input {
        Box box;
        Vec3d point;
    };
    const auto inputs = Inputs<Input>(state, [](auto& random) {
        return Input{SmallBox(random), random.template Vector<3, double>(-1, 1)};
    });
    RunAll(state, inputs, [](const Input& i) {
        return Intersect::DistanceToAABB(i.box.min, i.box.max, i.point, true) < 0.1;
    });
}

void Sizes(benchmark::internal::Benchmark* bench) { bench->Arg(1'000)->Arg(10'000)->Arg(100'000); }

BENCHMARK(BM_SegmentSegment)->Apply(Sizes);
BENCHMARK(BM_ArcSegment)->Apply(Sizes);
BENCHMARK(BM_ClosestPointOnTriangle)->Apply(Sizes);
BENCHMARK(BM_RayTriangle)->Apply(Sizes);
BENCHMARK(BM_TriangleTriangle)->Apply(Sizes);
BENCHMARK(BM_TriangleTriangleTouching)->Apply(Sizes);
BENCHMARK(BM_TriangleAABB)->Apply(Sizes);
BENCHMARK(BM_RayAABB)->Apply(Sizes);
BENCHMARK(BM_DistanceToAABB)->Apply(Sizes);

} // namespace
