// Grids of samples and their set operations.

#include <Sorvane/VolumetricData_E.h>

#include "mathbase/Parallel_Impl.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Velk::Math::Sorvane::IsoSurface {
namespace {

using Grid = VolumetricData<OrientedSample>;

/// The sign bit of a `double`, and no bit.
constexpr std::uint64_t kSign = std::uint64_t{1} << 63U;
constexpr std::uint64_t kPlain = 0;

/// a or b, without a branch: which of two solids is nearer changes from node to node, and a branch
/// that goes either way takes longer than to read and write the sample. `flip` is added to the bits
/// of b, sign by sign.
OrientedSample Chosen(bool isFirst, const OrientedSample& a, const OrientedSample& b,
                      std::uint64_t flip)
{
    const std::uint64_t ofFirst = std::uint64_t{0} - static_cast<std::uint64_t>(isFirst);
    const auto choose = [&](double first, double second) {
        const std::uint64_t bits = (std::bit_cast<std::uint64_t>(first) & ofFirst) |
                                   ((std::bit_cast<std::uint64_t>(second) ^ flip) & ~ofFirst);
        return std::bit_cast<double>(bits);
    };
    OrientedSample sample;
    sample.value = choose(a.value, b.value);
    for (int axis = 0; axis < 3; ++axis) {
        sample.direction[axis] = choose(a.direction[axis], b.direction[axis]);
    }
    return sample;
}

/// The rules node by node. Each comparison is false for NaN, which so chooses b.
struct Uniting {
    static OrientedSample Of(const OrientedSample& a, const OrientedSample& b)
    {
        return Chosen(b.value > a.value, a, b, kPlain);
    }
};
struct Intersecting {
    static OrientedSample Of(const OrientedSample& a, const OrientedSample& b)
    {
        return Chosen(a.value > b.value, a, b, kPlain);
    }
};
struct Subtracting {
    static OrientedSample Of(const OrientedSample& a, const OrientedSample& b)
    {
        return Chosen(a.value > -b.value, a, b, kSign);
    }
};

/// Calls fill(from, to) for ranges of samples, side by side.
template <class Fill>
void InChunks(std::size_t count, const Fill& fill)
{
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, count, fill);
}

/// Each sample of `result`, which may be one of the two grids.
template <class Rule>
void Combine(std::span<const OrientedSample> a, std::span<const OrientedSample> b,
             std::span<OrientedSample> result)
{
    InChunks(result.size(), [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            result[i] = Rule::Of(a[i], b[i]);
        }
    });
}

/// As many samples to another place, or to their own.
void CopySamples(std::span<const OrientedSample> source, std::span<OrientedSample> target)
{
    InChunks(target.size(), [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            target[i] = source[i];
        }
    });
}

/// What operations on grids of different dimensions give.
Grid OneFreshSample() { return {1, 1, 1}; }

} // namespace

namespace Impl {

struct GridAccess {
    /// A grid whose samples nobody has written yet.
    static Grid Unwritten(const VolumetricIndexer& indexer)
    {
        Grid grid;
        grid.samples_.resize(indexer.GetRange());
        grid.indexer_ = indexer;
        return grid;
    }
};

} // namespace Impl

namespace {

template <class Rule>
Grid Combined(const Grid& a, const Grid& b)
{
    if (!(a.Indexer() == b.Indexer())) {
        return OneFreshSample();
    }
    Grid result = Impl::GridAccess::Unwritten(a.Indexer());
    Combine<Rule>(a.Samples(), b.Samples(), result.Samples());
    return result;
}

template <class Rule>
Grid CombinedInto(Grid& a, const Grid& b)
{
    if (!(a.Indexer() == b.Indexer())) {
        return OneFreshSample();
    }
    Combine<Rule>(a.Samples(), b.Samples(), a.Samples());
    return std::move(a);
}

} // namespace

VolumetricIndexer::~VolumetricIndexer() = default;

template <class Sample>
VolumetricData<Sample>::VolumetricData(unsigned int x, unsigned int y, unsigned int z)
    : VolumetricData(VolumetricIndexer(x, y, z))
{
}

template <class Sample>
VolumetricData<Sample>::VolumetricData(const VolumetricIndexer& indexer)
    : samples_(indexer.GetRange()), indexer_(indexer)
{
    InChunks(samples_.size(), [this](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            samples_[i] = Sample();
        }
    });
}

template <class Sample>
VolumetricData<Sample>::VolumetricData(const VolumetricData& other)
    : samples_(other.samples_.size()), indexer_(other.indexer_)
{
    CopySamples(other.Samples(), Samples());
}

template <class Sample>
VolumetricData<Sample>::VolumetricData(VolumetricData&& other) noexcept
    : samples_(std::move(other.samples_)), indexer_(std::exchange(other.indexer_, {}))
{
    other.samples_.clear();
}

template <class Sample>
VolumetricData<Sample>& VolumetricData<Sample>::operator=(const VolumetricData& other)
{
    if (samples_.size() != other.samples_.size()) {
        return *this = VolumetricData(other);
    }
    CopySamples(other.Samples(), Samples());
    indexer_ = other.indexer_;
    return *this;
}

template <class Sample>
VolumetricData<Sample>& VolumetricData<Sample>::operator=(VolumetricData&& other) noexcept
{
    if (this != &other) {
        samples_ = std::move(other.samples_);
        other.samples_.clear();
        indexer_ = std::exchange(other.indexer_, {});
    }
    return *this;
}

template <class Sample>
VolumetricData<Sample>::~VolumetricData() = default;

template class VolumetricData<OrientedSample>;

Grid Union(const Grid& a, const Grid& b) { return Combined<Uniting>(a, b); }
Grid Union(Grid&& a, const Grid& b) { return CombinedInto<Uniting>(a, b); }
Grid Intersection(const Grid& a, const Grid& b) { return Combined<Intersecting>(a, b); }
Grid Intersection(Grid&& a, const Grid& b) { return CombinedInto<Intersecting>(a, b); }
Grid Difference(const Grid& a, const Grid& b) { return Combined<Subtracting>(a, b); }
Grid Difference(Grid&& a, const Grid& b) { return CombinedInto<Subtracting>(a, b); }

} // namespace Velk::Math::Sorvane::IsoSurface
