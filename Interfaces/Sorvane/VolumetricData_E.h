// Solids as dense grids of sampled distances, and their set operations node by node.
//
//     IsoSurface::VolumetricData<IsoSurface::OrientedSample> stock(256, 256, 128);
//     stock(x, y, z) = {distance, normal};            // for every node, by the host
//     stock = IsoSurface::Difference(std::move(stock), cutter);
//
// A sample is the signed distance of its node from a surface, negative inside, with the direction
// in which the distance grows. The node at (x, y, z) has the number (y + z ny) nx + x. Where the
// nodes lie in space is the host's affair.
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/VecBase_E.h>

#include <concepts>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::IsoSurface {

/// A distance and the direction in which it grows: the normal of the surface nearby.
struct SORVANE_API OrientedSample {
    /// negative inside; the largest finite value where there is no data
    double value = std::numeric_limits<double>::max();
    VecBase<3, double> direction; ///< zero where there is no data

    friend constexpr bool operator==(const OrientedSample&, const OrientedSample&) = default;
};

/// Numbers of the nodes of a grid: x runs fastest, z slowest.
///
/// All products are taken modulo 2^32, that of the three dimensions too: keep it below that.
class SORVANE_API VolumetricIndexer {
public:
    /// All dimensions and steps 0: a grid without nodes.
    VolumetricIndexer() = default;
    /// As `Initialize`.
    VolumetricIndexer(unsigned int x, unsigned int y, unsigned int z) { Initialize(x, y, z); }
    VolumetricIndexer(const VolumetricIndexer&) = default;
    VolumetricIndexer(VolumetricIndexer&&) noexcept = default;
    VolumetricIndexer& operator=(const VolumetricIndexer&) = default;
    VolumetricIndexer& operator=(VolumetricIndexer&&) noexcept = default;
    virtual ~VolumetricIndexer();

    /// Sets the dimensions, nodes along the axes; a 0 becomes 1.
    void Initialize(unsigned int x, unsigned int y, unsigned int z)
    {
        nx_ = x == 0 ? 1 : x;
        ny_ = y == 0 ? 1 : y;
        nz_ = z == 0 ? 1 : z;
        stepX_ = nx_;
        stepY_ = nx_ * ny_;
        stepZ_ = nx_ * ny_ * nz_;
    }

    /// (nx, ny, nz).
    VecBase<3, unsigned int> GetDimensions() const { return {nx_, ny_, nz_}; }
    /// (nx, nx ny, nx ny nz): the nodes of a row, of a layer, and of the grid.
    VecBase<3, unsigned int> GetSteps() const { return {stepX_, stepY_, stepZ_}; }
    /// nx ny nz, the number of nodes.
    unsigned int GetRange() const { return nx_ * ny_ * nz_; }

    /// Number of the node at (x, y, z), which is not checked.
    unsigned int Idx(unsigned int x, unsigned int y, unsigned int z) const
    {
        return (y + z * ny_) * nx_ + x;
    }

    /// (x, y, z) of the node of number `i`: the inverse of `Idx` below the range. (0, 0, 0) in a
    /// grid without nodes.
    VecBase<3, unsigned int> IndexStep(unsigned int i) const
    {
        if (nx_ == 0) {
            return {};
        }
        const unsigned int row = i / nx_;
        return {i % nx_, row % ny_, row / ny_};
    }

    /// The same dimensions.
    friend bool operator==(const VolumetricIndexer& a, const VolumetricIndexer& b)
    {
        return a.nx_ == b.nx_ && a.ny_ == b.ny_ && a.nz_ == b.nz_;
    }

private:
    unsigned int nx_ = 0;
    unsigned int ny_ = 0;
    unsigned int nz_ = 0;
    unsigned int stepX_ = 0;
    unsigned int stepY_ = 0;
    unsigned int stepZ_ = 0;
};

/// @cond
namespace Impl {

/// Memory for samples whose content somebody else writes: a vector with it leaves new elements as
/// the memory is, so that large grids are not written twice and their pages are first touched by
/// the threads that work on them.
template <class Sample>
struct SORVANE_API UnwrittenMemory : std::allocator<Sample> {
    template <class Other>
    struct rebind {
        using other = UnwrittenMemory<Other>;
    };

    UnwrittenMemory() = default;
    template <class Other>
    UnwrittenMemory(const UnwrittenMemory<Other>&) noexcept
    {
    }

    void construct(Sample*) noexcept {}
    template <class... Arguments>
    void construct(Sample* place, Arguments&&... arguments)
    {
        ::new (static_cast<void*>(place)) Sample(std::forward<Arguments>(arguments)...);
    }
};

struct GridAccess;

} // namespace Impl
/// @endcond

/// A grid of samples, as many as its indexer has numbers. Compiled for `OrientedSample`.
///
/// Reading is safe from many threads. What memory is lacking for throws, and changes nothing.
template <class Sample>
class VolumetricData {
    static_assert(std::same_as<Sample, OrientedSample>,
                  "volumetric data is compiled for OrientedSample");

public:
    /// A grid without nodes.
    VolumetricData() = default;
    /// Fresh samples at x y z nodes; a dimension of 0 counts as 1.
    VolumetricData(unsigned int x, unsigned int y, unsigned int z);
    /// Fresh samples at the nodes of `indexer`.
    explicit VolumetricData(const VolumetricIndexer& indexer);
    VolumetricData(const VolumetricData&);
    /// What is moved from is a grid without nodes.
    VolumetricData(VolumetricData&& other) noexcept;
    VolumetricData& operator=(const VolumetricData&);
    VolumetricData& operator=(VolumetricData&& other) noexcept;
    virtual ~VolumetricData();

    /// Dimensions and numbers of the nodes.
    const VolumetricIndexer& Indexer() const { return indexer_; }

    /// The samples by the numbers of their nodes.
    std::span<Sample> Samples() { return samples_; }
    std::span<const Sample> Samples() const { return samples_; }

    /// The sample at a node, which is not checked.
    Sample& operator()(unsigned int x, unsigned int y, unsigned int z)
    {
        return samples_[indexer_.Idx(x, y, z)];
    }
    const Sample& operator()(unsigned int x, unsigned int y, unsigned int z) const
    {
        return samples_[indexer_.Idx(x, y, z)];
    }

    /// The same dimensions and samples; NaN equals nothing.
    friend bool operator==(const VolumetricData& a, const VolumetricData& b)
    {
        return a.indexer_ == b.indexer_ && a.samples_ == b.samples_;
    }

private:
    friend struct Impl::GridAccess;

    std::vector<Sample, Impl::UnwrittenMemory<Sample>> samples_;
    VolumetricIndexer indexer_;
};

extern template class SORVANE_API VolumetricData<OrientedSample>;

// --- set operations -----------------------------------------------------------------------------
//
// Node by node, and the whole sample: the direction comes along with the value. Of equal values
// that of b counts, direction included, and so it does where one of the two is not a number. Where
// the dimensions differ the result is a single fresh sample, a grid of (1, 1, 1), and no grid is
// consumed. Two grids without nodes give one without nodes.
//
// Of true distances a result has the right signs, but not true distances: inside of a union, and
// outside of an intersection or a difference, it is too small in magnitude where the surface that
// is nearest has not become part of the result's; nowhere it is too large. Where surfaces of a and
// b lie on each other it is 0, though they may have vanished: between two solids that touch, say.
//
// O(n) for n nodes, in parallel, the same bits for any number of threads. The forms that are given
// one grid to consume write the result into its memory: they are as fast as memory is, where the
// plain forms wait for the system to hand out new memory. Both grids may be the same object.

/// What is inside of a or b: b where its value is not greater.
SORVANE_API VolumetricData<OrientedSample> Union(const VolumetricData<OrientedSample>& a,
                                                 const VolumetricData<OrientedSample>& b);
SORVANE_API VolumetricData<OrientedSample> Union(VolumetricData<OrientedSample>&& a,
                                                 const VolumetricData<OrientedSample>& b);

/// What is inside of a and b: a where its value is greater.
SORVANE_API VolumetricData<OrientedSample> Intersection(const VolumetricData<OrientedSample>& a,
                                                        const VolumetricData<OrientedSample>& b);
SORVANE_API VolumetricData<OrientedSample> Intersection(VolumetricData<OrientedSample>&& a,
                                                        const VolumetricData<OrientedSample>& b);

/// What is inside of a and not of b: a where its value is greater than that of b with the other
/// sign, otherwise b with value and direction turned about. A fresh b leaves a wherever its value
/// is greater than the most negative finite one.
SORVANE_API VolumetricData<OrientedSample> Difference(const VolumetricData<OrientedSample>& a,
                                                      const VolumetricData<OrientedSample>& b);
SORVANE_API VolumetricData<OrientedSample> Difference(VolumetricData<OrientedSample>&& a,
                                                      const VolumetricData<OrientedSample>& b);

} // namespace Velk::Math::Sorvane::IsoSurface
