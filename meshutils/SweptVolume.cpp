// The shell that a body sweeps along a path of translations.
//
// In each step the triangles that face forward and those that face backward meet along the body's
// silhouette. There the step leaves walls. Where a triangle faces another way than in the step
// before, the shell of the one step does not go over into that of the other, and the triangle
// itself closes the gap. First all of that is listed, by the numbers of edges and triangles alone,
// then the result is taken in one piece and filled.

#include <Sorvane/SweptVolume_E.h>

#include <Sorvane/Triangle_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Body = Mesh::IndexedPointsBase<3, double>;

/// So many triangles have their sides taken by one task. Of smaller ones it takes longer to start
/// the task, and a body of no more is done by the caller's thread.
constexpr std::size_t kTaskOfSides = 8192;

/// In lists of numbers, for none.
constexpr int kNone = -1;

/// The mesh without the triangles that name a point twice, or one that is not there.
Body SoundBody(const Body& mesh)
{
    Body body;
    body.points = mesh.points;
    if (IsEmpty(mesh)) {
        return body;
    }
    const auto isThere = [&](int point) {
        return point >= 0 && static_cast<std::size_t>(point) < mesh.points.size();
    };
    body.indices.reserve(mesh.indices.size());
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const int a = mesh.indices[i];
        const int b = mesh.indices[i + 1];
        const int c = mesh.indices[i + 2];
        if (a != b && b != c && c != a && isThere(a) && isThere(b) && isThere(c)) {
            body.indices.insert(body.indices.end(), {a, b, c});
        }
    }
    return body;
}

/// The two places of each edge of exactly two triangles, in the order of the first of them.
std::vector<std::array<int, 2>> PairsOfPlaces(const std::vector<int>& indices)
{
    std::vector<int> partner(indices.size(), kNone); // at the first place the second one
    std::size_t count = 0;
    const Impl::EdgeUses edges(indices);
    for (std::size_t bucket = 0; bucket < edges.BucketCount(); ++bucket) {
        Progress::Impl::CheckStep(bucket);
        edges.ForEachEdge(bucket, [&](const Impl::EdgeUse* first, const Impl::EdgeUse* last) {
            if (last - first == 2) {
                partner[static_cast<std::size_t>(first->place)] = first[1].place;
                ++count;
            }
        });
    }
    std::vector<std::array<int, 2>> pairs;
    pairs.reserve(count);
    for (std::size_t place = 0; place < partner.size(); ++place) {
        if (partner[place] != kNone) {
            pairs.push_back({static_cast<int>(place), partner[place]});
        }
    }
    return pairs;
}

/// +1 for each triangle that faces along `step` or across it, -1 for one that faces against it.
void TakeSides(const std::vector<VecBase<3, double>>& normals, const VecBase<3, double>& step,
               std::vector<signed char>& sides)
{
    const VecBase<3, double>* const normal = normals.data();
    signed char* const side = sides.data();
    const std::size_t count = normals.size();
    Parallel::Impl::ApplyParallel(
        std::size_t{0}, (count + kTaskOfSides - 1) / kTaskOfSides, [&](std::size_t task) {
            const VecBase<3, double> direction = step; // here no store to a side can change it
            const std::size_t to = std::min((task + 1) * kTaskOfSides, count);
            for (std::size_t t = task * kTaskOfSides; t < to; ++t) {
                side[t] = normal[t] * direction >= 0 ? 1 : -1;
            }
        });
}

/// Calls fn(t) for each triangle with another side now than before, ascending. Most steps turn few
/// of them: runs that are the same are compared as blocks of memory.
template <class Fn>
void ForEachTurned(const std::vector<signed char>& now, const std::vector<signed char>& before,
                   const Fn& fn)
{
    constexpr std::size_t kBlock = 64;
    for (std::size_t from = 0; from < now.size(); from += kBlock) {
        const std::size_t to = std::min(from + kBlock, now.size());
        if (std::memcmp(&now[from], &before[from], to - from) == 0) {
            continue;
        }
        for (std::size_t t = from; t < to; ++t) {
            if (now[t] * before[t] < 0) {
                fn(static_cast<int>(t));
            }
        }
    }
}

/// What one step adds: ranges of the lists of walls and caps, and where its triangles begin.
struct Step {
    std::size_t firstWall = 0;
    std::size_t lastWall = 0;
    std::size_t firstCap = 0;
    std::size_t lastCap = 0;
    std::size_t firstTriangle = 0;

    std::size_t TriangleCount() const { return 2 * (lastWall - firstWall) + (lastCap - firstCap); }
};

/// Everything that a path adds, by numbers of the body.
struct SweepList {
    std::vector<Step> steps;
    std::vector<int> walls;   // the place of the edge in the triangle that faces forward
    std::vector<int> caps;    // t as it is, ~t turned over
    std::vector<int> ends;    // the triangles at the last point
    std::size_t firstEnd = 0; // where these begin in the result
};

/// Which edges have a forward and a backward triangle: a bit for each, so that the few of them are
/// found in ascending order without a look at all triangles.
class Silhouette {
public:
    explicit Silhouette(std::size_t edgeCount) : words_((edgeCount + kBits - 1) / kBits) {}

    void Change(std::size_t edge) { words_[edge / kBits] ^= std::uint64_t{1} << (edge % kBits); }

    template <class Fn>
    void ForEach(const Fn& fn) const
    {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            for (std::uint64_t left = words_[i]; left != 0; left &= left - 1) {
                fn(i * kBits + static_cast<std::size_t>(std::countr_zero(left)));
            }
        }
    }

private:
    static constexpr std::size_t kBits = 64;
    std::vector<std::uint64_t> words_;
};

/// The place behind `place` in its triangle.
int NextPlace(int place) { return place % 3 == 2 ? place - 2 : place + 1; }

} // namespace

/// What is known of a body before any path is, and the sides of its triangles along one.
struct DirtySweptVolume::SweepState {
    explicit SweepState(const Body& body)
        : shape(&body), triangles(body.indices.data(), body.indices.size()),
          normals(Mesh::AreaNormals(body)), sides{std::vector<signed char>(normals.size(), 1),
                                                  std::vector<signed char>(normals.size(), 1)},
          edgePairs(PairsOfPlaces(body.indices)), pairAt(body.indices.size(), kNone)
    {
        for (std::size_t pair = 0; pair < edgePairs.size(); ++pair) {
            for (const int place : edgePairs[pair]) {
                pairAt[static_cast<std::size_t>(place)] = static_cast<int>(pair);
            }
        }
    }

    /// A copy that serves a copy of the body, of which it borrows the triangles.
    SweepState(const SweepState& other, const Body& body)
        : shape(&body), triangles(body.indices.data(), body.indices.size()), normals(other.normals),
          sides(other.sides), current(other.current), edgePairs(other.edgePairs),
          pairAt(other.pairAt)
    {
    }

    SweepState(const SweepState&) = delete;
    SweepState& operator=(const SweepState&) = delete;
    virtual ~SweepState() = default;

    const std::vector<signed char>& Sides() const
    {
        return sides[static_cast<std::size_t>(current)];
    }

    const VecBase<3, double>& Corner(int place) const
    {
        return shape->points[static_cast<std::size_t>(triangles.begin().indices[place])];
    }

    void AppendCaps(Silhouette& silhouette, SweepList& list) const;
    void AppendWalls(const Silhouette& silhouette, SweepList& list) const;
    SweepList ListOf(const std::vector<VecBase<3, double>>& path);
    void WriteStep(const SweepList& list, const Step& step, const VecBase<3, double>& p,
                   const VecBase<3, double>& q, VecBase<3, double>* out) const;

    const Body* shape;
    Mesh::TripleIndexWrapper triangles;
    std::vector<VecBase<3, double>> normals; // of each triangle, as long as its area
    std::array<std::vector<signed char>, 2> sides;
    int current = 1;                           // which of the two is that of this step
    std::vector<std::array<int, 2>> edgePairs; // places 3 t + k of the edge from corner k on
    std::vector<int> pairAt;                   // number of the pair at each place, or kNone
};

/// The triangles that face another way than in the step before. With each of them its edges change
/// between being part of the silhouette and not: those between two of them change twice.
void DirtySweptVolume::SweepState::AppendCaps(Silhouette& silhouette, SweepList& list) const
{
    const std::vector<signed char>& now = Sides();
    const std::vector<signed char>& before = sides[static_cast<std::size_t>(1 - current)];
    ForEachTurned(now, before, [&](int t) {
        list.caps.push_back(now[static_cast<std::size_t>(t)] > 0 ? ~t : t);
        for (int place = 3 * t; place < 3 * t + 3; ++place) {
            const int pair = pairAt[static_cast<std::size_t>(place)];
            if (pair != kNone) {
                silhouette.Change(static_cast<std::size_t>(pair));
            }
        }
    });
}

/// The edges between forward and backward, each in the triangle that faces forward.
void DirtySweptVolume::SweepState::AppendWalls(const Silhouette& silhouette, SweepList& list) const
{
    const std::vector<signed char>& now = Sides();
    silhouette.ForEach([&](std::size_t pair) {
        const auto [first, second] = edgePairs[pair];
        list.walls.push_back(now[static_cast<std::size_t>(second / 3)] >= 1 ? second : first);
    });
}

SweepList DirtySweptVolume::SweepState::ListOf(const std::vector<VecBase<3, double>>& path)
{
    for (std::vector<signed char>& each : sides) {
        std::fill(each.begin(), each.end(), static_cast<signed char>(1));
    }
    Silhouette silhouette(edgePairs.size());
    SweepList list;
    list.steps.resize(path.size() - 1);
    for (std::size_t s = 0; s < list.steps.size(); ++s) {
        Progress::Impl::Check(0.5 * static_cast<double>(s) /
                              static_cast<double>(list.steps.size()));
        current = 1 - current;
        TakeSides(normals, path[s + 1] - path[s], sides[static_cast<std::size_t>(current)]);

        Step& step = list.steps[s];
        step.firstCap = list.caps.size();
        AppendCaps(silhouette, list);
        step.lastCap = list.caps.size();
        if (s > 0 && step.firstCap == step.lastCap) {
            // All face the same way as before: so the silhouette is the same.
            step.firstWall = list.steps[s - 1].firstWall;
            step.lastWall = list.steps[s - 1].lastWall;
        } else {
            step.firstWall = list.walls.size();
            AppendWalls(silhouette, list);
            step.lastWall = list.walls.size();
        }
        step.firstTriangle = list.firstEnd;
        list.firstEnd += step.TriangleCount();
        // As early as it is known: the lists of what can't be numbered may not fit into memory.
        HalfEdge::Impl::RequireSubscripts(3 * list.firstEnd);
    }
    const std::vector<signed char>& now = Sides();
    for (std::size_t t = 0; t < now.size(); ++t) {
        if (now[t] > 0) {
            list.ends.push_back(static_cast<int>(t));
        }
    }
    return list;
}

/// The triangles of the step from p to q, from `out` on.
void DirtySweptVolume::SweepState::WriteStep(const SweepList& list, const Step& step,
                                             const VecBase<3, double>& p,
                                             const VecBase<3, double>& q,
                                             VecBase<3, double>* out) const
{
    for (std::size_t i = step.firstWall; i < step.lastWall; ++i) {
        const VecBase<3, double>& a = Corner(list.walls[i]);
        const VecBase<3, double>& b = Corner(NextPlace(list.walls[i]));
        const VecBase<3, double> wall[] = {p + a, p + b, q + a, p + b, q + b, q + a};
        out = std::copy(std::begin(wall), std::end(wall), out);
    }
    for (std::size_t i = step.firstCap; i < step.lastCap; ++i) {
        const bool isTurnedOver = list.caps[i] < 0;
        const int place = 3 * (isTurnedOver ? ~list.caps[i] : list.caps[i]);
        *out++ = p + Corner(isTurnedOver ? place + 1 : place);
        *out++ = p + Corner(isTurnedOver ? place : place + 1);
        *out++ = p + Corner(place + 2);
    }
}

DirtySweptVolume::DirtySweptVolume(const Mesh::IndexedPointsBase<3, double>& shape)
{
    Progress::Impl::Stoppable(
        [&] {
            shape_ = SoundBody(shape);
            if (!IsEmpty(shape_)) {
                state_ = std::make_unique<SweepState>(shape_);
            }
        },
        [&] { shape_ = {}; });
}

DirtySweptVolume::DirtySweptVolume(const DirtySweptVolume& other) : shape_(other.shape_)
{
    if (other.state_ != nullptr) {
        state_ = std::make_unique<SweepState>(*other.state_, shape_);
    }
}

DirtySweptVolume& DirtySweptVolume::operator=(const DirtySweptVolume& other)
{
    if (this != &other) {
        // All memory first. The lists go over with their elements where they are, so that the
        // triangles that the state borrows stay; the record that they belong to is another one.
        DirtySweptVolume copy(other);
        std::swap(shape_, copy.shape_);
        std::swap(state_, copy.state_);
        if (state_ != nullptr) {
            state_->shape = &shape_;
        }
    }
    return *this;
}

DirtySweptVolume::~DirtySweptVolume() = default;

Mesh::IndexedPointsBase<3, double>
DirtySweptVolume::operator()(const std::vector<VecBase<3, double>>& path)
{
    return Progress::Impl::Stoppable([&]() -> Body {
        Body shell;
        if (state_ == nullptr || state_->edgePairs.empty() || path.empty()) {
            return shell;
        }
        const SweepList list = state_->ListOf(path);
        const std::size_t pointCount = 3 * (list.firstEnd + list.ends.size());
        HalfEdge::Impl::RequireSubscripts(pointCount);
        shell.points.reserve(pointCount);
        Progress::Impl::InBlocks(pointCount,
                                 [&](std::size_t, std::size_t to) { shell.points.resize(to); });
        VecBase<3, double>* const points = shell.points.data();
        const SweepState& state = *state_;
        const Progress::Impl::Phase phase(0.5, 1);
        Progress::Impl::Share share(list.steps.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, list.steps.size(), [&](std::size_t s) {
            share.Done();
            const Step& step = list.steps[s];
            state.WriteStep(list, step, path[s], path[s + 1], points + 3 * step.firstTriangle);
        });
        VecBase<3, double>* out = points + 3 * list.firstEnd;
        Progress::Impl::Steps steps;
        for (const int t : list.ends) {
            steps.Next();
            for (int k = 0; k < 3; ++k) {
                *out++ = path.back() + state.Corner(3 * t + k);
            }
        }
        shell.indices.reserve(pointCount);
        Progress::Impl::InBlocks(pointCount, [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                shell.indices.push_back(static_cast<int>(i));
            }
        });
        return shell;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
