// A mesh prepared for tools: many drops at once, and the gouges of a whole tool with shank and
// holder.
//
//     const Mill::ContactSurface part(mesh.points, mesh.indices);
//     const Mill::ConvexToolContact ball({.lowerCornerRadius = 5, .lowerCornerAngle = pi / 2});
//     const auto drops = part.DropOnRaster(ball, {.origin = low, .step = {0.5, 0.5}, .columns =
//     100, .rows = 100}, {});
//     // drops.heights[row * 100 + column]
//
// Triangles lie in a hierarchy of boxes. Under a tool whole boxes are passed over: those beside it,
// and those of which no triangle can hold it higher than it stands already. A few triangles are
// left for each position, whatever the size of the mesh.
#pragma once

#include <Sorvane/ClosestPoint_E.h>
#include <Sorvane/ToolContact_E.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Mill {

/// Positions on a regular grid, row by row: that of `column` and `row` is
/// origin + (column * step.x, row * step.y), and has the number row * columns + column.
struct SORVANE_API DropRaster {
    VecBase<2, double> origin; ///< the first position
    VecBase<2, double> step;   ///< from one column, and from one row, to the next; of any sign
    int columns = 0;           ///< positions of a row; none when not positive
    int rows = 0;              ///< rows; none when not positive

    friend constexpr bool operator==(const DropRaster&, const DropRaster&) = default;
};

/// Where a tool stops at each of many positions, by the number of the position.
struct SORVANE_API SurfaceDrops {
    std::vector<double>
        heights; ///< of the tip; the most negative finite value where nothing is touched
    std::vector<int> triangles; ///< the one that stops the tool; -1: none

    friend bool operator==(const SurfaceDrops&, const SurfaceDrops&) = default;
};

/// One of the bodies that make up a tool: cutter, shank, collet, holder.
struct SORVANE_API ToolPart {
    ConvexStandardToolBase<double> shape; ///< its half profile, up to where the part ends
    double height = 0;                    ///< of the shape's tip above the tip of the whole tool

    friend constexpr bool operator==(const ToolPart&, const ToolPart&) = default;
};

/// How a tool stands at one position.
struct SORVANE_API GougeReport {
    bool isClear = true; ///< no part of the tool is in the mesh by more than was allowed
    double depth =
        0; ///< of the deepest offence: how far the part would have to be lifted; 0 when clear
    int triangle = -1; ///< the one that reaches in so far; -1 when clear
    int part = -1;     ///< the number of the part; -1 when clear

    friend constexpr bool operator==(const GougeReport&, const GougeReport&) = default;
};

/// Triangles in a flat hierarchy of boxes, for tools that come from above.
///
/// Triangles are numbered as in the list they come from. Those with a coordinate that is not finite
/// or beyond 1e70, or with a subscript out of range, stay out and are never touched. What is asked
/// of a surface changes nothing in it: one serves many threads.
///
/// Batches run in parallel, with the same bits for any number of threads. They call `progress` now
/// and then, on the thread that called them, with the share done; when it returns false they end,
/// with an empty result. An empty function is not called.
class SORVANE_API ContactSurface {
public:
    /// Without triangles.
    ContactSurface();
    /// Of a soup, three points to the triangle; without triangles when the size is no multiple
    /// of 3. O(n log n).
    explicit ContactSurface(const std::vector<VecBase<3, double>>& soup);
    /// Of an indexed mesh, three subscripts to the triangle. O(n log n).
    ContactSurface(const std::vector<VecBase<3, double>>& points, const std::vector<int>& triples);
    ContactSurface(ContactSurface&& other) noexcept;
    ContactSurface& operator=(ContactSurface&& other) noexcept;
    ContactSurface(const ContactSurface&) = delete;
    ContactSurface& operator=(const ContactSurface&) = delete;
    ~ContactSurface();

    /// Triangles that can be touched.
    std::size_t TriangleCount() const;

    /// Lowers the tool at each position. The heights have the bits of `ConvexToolContact::DropAt`;
    /// of triangles that stop the tool at exactly the same height any one is told, the same in
    /// every run. About O(log n) for each position of a tool that covers few triangles. Neighbors
    /// in space are dropped one after the other, whatever their order in the list.
    SurfaceDrops DropAtPoints(const ConvexToolContact& tool,
                              const std::vector<VecBase<2, double>>& positions,
                              const Tree::ProgressCallback& progress) const;
    /// The same for the positions of a raster.
    SurfaceDrops DropOnRaster(const ConvexToolContact& tool, const DropRaster& raster,
                              const Tree::ProgressCallback& progress) const;

    /// Does a tool made of `parts` gouge with its tip at each of `positions`?
    ///
    /// Each part is the solid of its profile, turned around the axis, and ends where the profile
    /// ends; what lies above that does not offend it, so that a cutter may stand below an overhang.
    /// Only the part whose end is highest goes on upward without end (of several the last), as the
    /// spindle does: a position deep inside a body is not clear, since the body's top is above it.
    /// Of a profile that turns back toward the axis what lies above its widest place counts as part
    /// of the solid.
    ///
    /// A part offends by as much as it would have to be lifted to stand on the triangles that are
    /// in its reach (up to its own end): depth 0 is a touch. A position is clear when no part
    /// offends by more than `allowance`; a negative one asks for as much clearance, upward. NaN
    /// counts as 0. Of offences of equal depth the one of the first part is told, and of its
    /// triangles any one, the same in every run. A position that is not finite is clear: nothing is
    /// there.
    std::vector<GougeReport> FindGouges(const std::vector<ToolPart>& parts,
                                        const std::vector<VecBase<3, double>>& positions,
                                        double allowance,
                                        const Tree::ProgressCallback& progress) const;

private:
    struct State;
    std::unique_ptr<const State> state_;
};

} // namespace Velk::Math::Sorvane::Mill
