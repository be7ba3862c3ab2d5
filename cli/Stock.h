// Stock to cut a part from: the smallest block, plate, bar or round bar that it fits into when it
// may be turned.
#pragma once

#include "Session.h"

#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Transform_E.h>

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace Cli {

enum class StockKind { Block, Plate, Bar, Round };
inline constexpr std::array<StockKind, 4> kStockKinds{StockKind::Block, StockKind::Plate,
                                                      StockKind::Bar, StockKind::Round};
const char* StockName(StockKind kind);

/// What there is to choose from, and what is to be left over.
struct StockSizes {
    double allowance = 0;
    std::vector<double> plates;
    std::vector<std::array<double, 2>> bars;
    std::vector<double> rounds; ///< empty: whatever is needed

    /// Are there sizes of this kind?
    bool Names(StockKind kind) const;
};

/// Stock and the way the part lies in it. A round bar has its diameter twice.
struct Stock {
    Velk::Math::Vec3d size;
    double volume = 0;
    double likeness = 0; ///< trace of the rotation: the greater, the less of a turn
    Velk::Math::TransformBase<3> place;
};

/// Tries the directions of the smallest boxes and prisms and the part's own.
class StockSearch {
public:
    /// `box` as `MinimalOrientedBox` gives it for the points.
    StockSearch(const std::vector<Velk::Math::Vec3d>& points,
                const Velk::Math::TransformBase<3>& box, const StockSizes& sizes);

    const std::optional<Stock>& Best(StockKind kind) const
    {
        return best_[static_cast<std::size_t>(kind)];
    }

private:
    using Axes = std::array<Velk::Math::Vec3d, 3>;

    void TryAlong(const std::vector<Velk::Math::Vec3d>& points, const Velk::Math::Vec3d& axis);
    void TryFlat(const std::vector<Velk::Math::Vec3d>& points, const Axes& axes);
    void TryRound(const std::vector<Velk::Math::Vec3d>& points, const Velk::Math::Vec3d& middle,
                  double radius, const Axes& axes);
    void Try(StockKind kind, const Velk::Math::Vec3d& size, double volume, const Axes& axes,
             const Velk::Math::Vec3d& shift);

    const StockSizes& sizes_;
    std::array<std::optional<Stock>, 4> best_;
};

/// A part that lies in stock of that kind and size.
Velk::Math::Sorvane::Drawing::SvgWriter PictureOf(const Part& part, StockKind kind,
                                                  const Velk::Math::Vec3d& size);

} // namespace Cli
