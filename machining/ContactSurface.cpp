// Drops on a prepared mesh.
//
// Three bounds tell that a triangle cannot hold the tool higher than it stands: the top of a box
// less the profile at the box's distance from the axis, the triangle against a cone that touches
// the profile, and the top of an edge. Each holds for the numbers as they are computed, so that no
// bit of a height depends on the order in which triangles are tried, nor on the one that comes
// first: that which stopped the tool at the position before.

#include <Sorvane/ContactSurface_E.h>

#include "machining/ProfileContact_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"
#include "triangulation/CurveOrder_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Velk::Math::Sorvane::Mill {

namespace {

using Impl::ContactReport;
using Impl::ProfileContact;
using Corners = std::array<Vec3d, 3>;
using Box = Tree::Impl::BoxOf<3, double>;
using Hierarchy = Tree::Impl::BoxHierarchy<3, double>;

constexpr double kNothing = -std::numeric_limits<double>::max();
/// Positions of a batch between two reports: some hundredths of a second on one thread.
constexpr std::size_t kPositionsPerReport = 8192;
/// By what share bounds are rounded up: more than a few roundings.
constexpr double kRounding = 1e-12;

Box BoxOf(const Corners& corner)
{
    Box box;
    for (const Vec3d& p : corner) {
        box.Grow(p);
    }
    return box;
}

/// A triangle in the order of the leaves.
struct Facet {
    Corners corner;
    int number;
};

/// The lowest point of a profile at a distance from the axis or beyond, or somewhat lower: by the
/// squared distance, from a table.
class BottomTable {
public:
    /// `rounding`: of the radii at which triangles of the surface are touched.
    BottomTable(const ProfileContact& profile, double rounding)
    {
        const double reach = profile.Radius() * (1 + kRounding) + rounding;
        squaredReach_ = profile.IsEmpty() ? -1.0 : reach * reach;
        const double scale = kCells / squaredReach_;
        scale_ = scale > 0.0 && std::isfinite(scale) ? scale : 0.0;
        for (std::size_t i = 0; i < bottom_.size(); ++i) {
            const double squared = scale_ > 0.0 ? static_cast<double>(i) / scale_ : 0.0;
            bottom_[i] = profile.BottomBeyond(
                std::clamp(std::sqrt(squared) * (1 - kRounding) - rounding, 0.0, profile.Radius()));
        }
    }

    /// Infinite out of reach.
    double At(double squaredDistance) const
    {
        if (!(squaredDistance <= squaredReach_)) {
            return std::numeric_limits<double>::infinity();
        }
        return bottom_[static_cast<std::size_t>(squaredDistance * scale_)];
    }

private:
    static constexpr std::size_t kCells = 512;

    double squaredReach_;
    double scale_;
    std::array<double, kCells + 1> bottom_;
};

/// Squared distance in plan from a position to a box.
double SquaredPlanDistance(const Box& box, const Vec2d& xy)
{
    const double dx = std::max({box.min.x() - xy.x(), xy.x() - box.max.x(), 0.0});
    const double dy = std::max({box.min.y() - xy.y(), xy.y() - box.max.y(), 0.0});
    return dx * dx + dy * dy;
}

/// A tool with its table.
struct PreparedTool {
    ProfileContact profile;
    BottomTable bottoms;

    PreparedTool(const Planar::PolyArcSegBase<double>& chain, double rounding)
        : profile(chain, Impl::RangesOf(chain)), bottoms(profile, rounding)
    {
    }
};

/// A part of a tool for the search for gouges.
struct PreparedPart {
    PreparedTool tool;
    double height; // of its tip above that of the tool
    double top;    // of its end, likewise; infinite for the uppermost part
    int number;
};

std::vector<PreparedPart> PreparedParts(const std::vector<ToolPart>& parts, double rounding)
{
    std::vector<PreparedPart> prepared;
    prepared.reserve(parts.size());
    double uppermost = kNothing;
    std::size_t last = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Planar::PolyArcSegBase<double> chain = PolyArcSegFromTool(parts[i].shape);
        if (chain.elements.empty() || !Math::Impl::IsFinite(parts[i].height)) {
            continue; // it is nowhere
        }
        double top = kNothing;
        for (const Planar::ArcSegBase<double>& element : chain.elements) {
            top = std::max({top, element.StartPoint().y(), element.EndPoint().y()});
        }
        top += parts[i].height;
        prepared.push_back(
            {PreparedTool(chain, rounding), parts[i].height, top, static_cast<int>(i)});
        if (top >= uppermost) {
            uppermost = top;
            last = prepared.size() - 1;
        }
    }
    if (!prepared.empty()) {
        prepared[last].top = std::numeric_limits<double>::infinity();
    }
    return prepared;
}

Corners RelativeTo(const Vec2d& xy, const Corners& corner)
{
    const Vec3d origin{xy.x(), xy.y(), 0.0};
    return {corner[0] - origin, corner[1] - origin, corner[2] - origin};
}

/// Lowers the tool on what of the triangle is not above `top`.
void DropOnPartBelow(double top, const Corners& corner, int number, const ProfileContact& profile,
                     ContactReport& report)
{
    std::array<Vec3d, 4> kept;
    std::size_t count = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& p = corner[i];
        const Vec3d& q = corner[(i + 1) % 3];
        if (p.z() <= top) {
            kept[count++] = p;
        }
        if ((p.z() < top && q.z() > top) || (p.z() > top && q.z() < top)) {
            Vec3d cut = p + (q - p) * ((top - p.z()) / (q.z() - p.z()));
            cut[2] = top;
            kept[count++] = cut;
        }
    }
    if (count == 1 || count == 2) { // it touches `top` from above
        profile.DropOnTriangle({kept[0], kept[count - 1], kept[0]}, number, report);
    }
    for (std::size_t i = 2; i < count; ++i) {
        profile.DropOnTriangle({kept[0], kept[i - 1], kept[i]}, number, report);
    }
}

void AddUsable(const Corners& corner, std::size_t number, std::vector<Corners>& triangles,
               std::vector<int>& numbers)
{
    if (Impl::IsWithinReach(corner[0]) && Impl::IsWithinReach(corner[1]) &&
        Impl::IsWithinReach(corner[2])) {
        triangles.push_back(corner);
        numbers.push_back(static_cast<int>(number));
    }
}

} // namespace

struct ContactSurface::State {
    std::vector<Facet> facets; // in the order of the leaves
    Hierarchy boxes;
    double slack = 0; // what bounds may be off by, for a surface of this size

    /// Of a soup, and of an indexed mesh.
    SORVANE_LOCAL static std::unique_ptr<const State>
    Of(const std::vector<VecBase<3, double>>& soup);
    SORVANE_LOCAL static std::unique_ptr<const State>
    Of(const std::vector<VecBase<3, double>>& points, const std::vector<int>& triples);

    State(const std::vector<Corners>& triangles, const std::vector<int>& numbers)
    {
        std::vector<Box> boxOf;
        boxOf.reserve(triangles.size());
        for (const Corners& corner : triangles) {
            Progress::Impl::CheckStep(boxOf.size());
            boxOf.push_back(BoxOf(corner));
        }
        boxes = Hierarchy(boxOf, Tree::Impl::HierarchyCut::Area);
        if (boxes.IsEmpty()) {
            return;
        }
        slack = kRounding * Math::Impl::LargestMagnitude(boxes.Whole().max - boxes.Whole().min);
        facets.reserve(triangles.size());
        for (const std::int32_t place : boxes.Order()) {
            Progress::Impl::CheckStep(facets.size());
            const auto i = static_cast<std::size_t>(place);
            facets.push_back({triangles[i], numbers[i]});
        }
    }

    /// Lowers the tool at `report.position`, from the height that the report tells. `guess` is the
    /// place of a facet to begin with, and becomes that of the one that stopped it.
    void Drop(const PreparedTool& tool, std::size_t& guess, ContactReport& report) const
    {
        const Vec2d xy = report.position;
        const auto dropOn = [&](std::size_t place) {
            const Facet& facet = facets[place];
            const double before = report.height;
            const Corners corner = RelativeTo(xy, facet.corner);
            if (before == kNothing || !tool.profile.IsBelowCone(corner, before, slack)) {
                tool.profile.DropOnTriangle(corner, facet.number, report);
                guess = report.height > before ? place : guess;
            }
        };
        if (guess < facets.size()) {
            dropOn(guess);
        }
        const std::size_t first = guess;
        boxes.Visit(
            [&](const Box& box) {
                return box.max.z() - tool.bottoms.At(SquaredPlanDistance(box, xy)) > report.height;
            },
            [&](const Tree::Impl::HierarchyLeaf& leaf) {
                if (leaf.first != first) {
                    dropOn(leaf.first);
                }
            });
    }

    /// The deepest offense of the parts with the tip at a position, if it is deeper than
    /// `allowance`.
    GougeReport Gouge(const std::vector<PreparedPart>& parts, const Vec3d& tip,
                      double allowance) const
    {
        GougeReport gouge;
        if (!Math::Impl::IsFinite(tip)) {
            return gouge;
        }
        double deepest = allowance;
        ContactReport report;
        report.position = {tip.x(), tip.y()};
        for (const PreparedPart& part : parts) {
            const double partTip = tip.z() + part.height;
            const double top = tip.z() + part.top;
            report.height = partTip + deepest;
            report.triangle = -1;
            boxes.Visit(
                [&](const Box& box) {
                    const double highest = std::min(box.max.z(), top);
                    return highest -
                                   part.tool.bottoms.At(SquaredPlanDistance(box, report.position)) >
                               report.height &&
                           box.min.z() <= top;
                },
                [&](const Tree::Impl::HierarchyLeaf& leaf) {
                    const Facet& facet = facets[leaf.first];
                    const Corners corner = RelativeTo(report.position, facet.corner);
                    if (!part.tool.profile.IsBelowCone(corner, report.height, slack)) {
                        DropOnPartBelow(top, corner, facet.number, part.tool.profile, report);
                    }
                });
            if (report.triangle >= 0) {
                deepest = report.height - partTip;
                gouge = {false, deepest, report.triangle, part.number};
            }
        }
        return gouge;
    }
};

namespace {

/// Runs `answer(number of a position, guess)` in parallel, neighbors in the plane one after the
/// other. Positions out of reach of any triangle, and those that are not finite, are passed over.
/// False when canceled.
template <class Answer>
bool RunBatch(const std::vector<Vec2d>& positions, const Tree::ProgressCallback& progress,
              const Answer& answer)
{
    std::vector<Vec2d> usable;
    std::vector<std::size_t> numbers;
    usable.reserve(positions.size());
    numbers.reserve(positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i) {
        if (Impl::IsWithinReach(positions[i])) {
            usable.push_back(positions[i]);
            numbers.push_back(i);
        }
    }
    const auto batch = HalfEdge::Impl::PlacesAlongCurve<std::uint32_t>(usable);
    for (std::size_t first = 0; first < batch.size(); first += kPositionsPerReport) {
        const std::size_t last = std::min(first + kPositionsPerReport, batch.size());
        Progress::Impl::Check(static_cast<double>(first) / static_cast<double>(batch.size()));
        Parallel::Impl::ApplyParallelChunks(first, last, [&](std::size_t from, std::size_t to) {
            std::size_t guess = std::numeric_limits<std::size_t>::max();
            for (std::size_t i = from; i < to; ++i) {
                answer(numbers[static_cast<std::size_t>(batch[i].point)], guess);
            }
        });
        if (progress && !progress(static_cast<double>(last) / static_cast<double>(batch.size()))) {
            return false;
        }
    }
    return true;
}

} // namespace

ContactSurface::ContactSurface() = default;
ContactSurface::ContactSurface(ContactSurface&& other) noexcept = default;
ContactSurface& ContactSurface::operator=(ContactSurface&& other) noexcept = default;
ContactSurface::~ContactSurface() = default;

ContactSurface::ContactSurface(const std::vector<VecBase<3, double>>& soup)
{
    const auto prepare = [&] { state_ = State::Of(soup); };
    Progress::Impl::Stoppable(prepare);
}

ContactSurface::ContactSurface(const std::vector<VecBase<3, double>>& points,
                               const std::vector<int>& triples)
{
    const auto prepare = [&] { state_ = State::Of(points, triples); };
    Progress::Impl::Stoppable(prepare);
}

std::unique_ptr<const ContactSurface::State>
ContactSurface::State::Of(const std::vector<VecBase<3, double>>& soup)
{
    std::vector<Corners> triangles;
    std::vector<int> numbers;
    if (soup.size() % 3 == 0) {
        triangles.reserve(soup.size() / 3);
        numbers.reserve(soup.size() / 3);
        for (std::size_t i = 0; i < soup.size(); i += 3) {
            Progress::Impl::CheckStep(i / 3);
            AddUsable({soup[i], soup[i + 1], soup[i + 2]}, i / 3, triangles, numbers);
        }
    }
    return std::make_unique<const State>(triangles, numbers);
}

std::unique_ptr<const ContactSurface::State>
ContactSurface::State::Of(const std::vector<VecBase<3, double>>& points,
                          const std::vector<int>& triples)
{
    std::vector<Corners> triangles;
    std::vector<int> numbers;
    triangles.reserve(triples.size() / 3);
    numbers.reserve(triples.size() / 3);
    const auto isPoint = [&](int number) {
        return number >= 0 && static_cast<std::size_t>(number) < points.size();
    };
    for (std::size_t i = 0; i + 2 < triples.size(); i += 3) {
        Progress::Impl::CheckStep(i / 3);
        if (isPoint(triples[i]) && isPoint(triples[i + 1]) && isPoint(triples[i + 2])) {
            AddUsable({points[static_cast<std::size_t>(triples[i])],
                       points[static_cast<std::size_t>(triples[i + 1])],
                       points[static_cast<std::size_t>(triples[i + 2])]},
                      i / 3, triangles, numbers);
        }
    }
    return std::make_unique<const State>(triangles, numbers);
}

std::size_t ContactSurface::TriangleCount() const { return state_ ? state_->facets.size() : 0; }

SurfaceDrops ContactSurface::DropAtPoints(const ConvexToolContact& tool,
                                          const std::vector<VecBase<2, double>>& positions,
                                          const Tree::ProgressCallback& progress) const
{
    return Progress::Impl::Stoppable([&]() -> SurfaceDrops {
        SurfaceDrops drops;
        drops.heights.assign(positions.size(), kNothing);
        drops.triangles.assign(positions.size(), -1);
        if (!state_) {
            return drops;
        }
        const PreparedTool prepared(tool.Profile(), state_->slack);
        const bool isDone =
            RunBatch(positions, progress, [&](std::size_t number, std::size_t& guess) {
                ContactReport report;
                report.position = positions[number];
                state_->Drop(prepared, guess, report);
                drops.heights[number] = report.height;
                drops.triangles[number] = report.triangle;
            });
        return isDone ? drops : SurfaceDrops{};
    });
}

SurfaceDrops ContactSurface::DropOnRaster(const ConvexToolContact& tool, const DropRaster& raster,
                                          const Tree::ProgressCallback& progress) const
{
    return Progress::Impl::Stoppable([&]() -> SurfaceDrops {
        std::vector<Vec2d> positions;
        if (raster.columns > 0 && raster.rows > 0) {
            positions.reserve(static_cast<std::size_t>(raster.columns) *
                              static_cast<std::size_t>(raster.rows));
            for (int row = 0; row < raster.rows; ++row) {
                for (int column = 0; column < raster.columns; ++column) {
                    positions.push_back(raster.origin +
                                        Vec2d{column * raster.step.x(), row * raster.step.y()});
                }
            }
        }
        return DropAtPoints(tool, positions, progress);
    });
}

std::vector<GougeReport>
ContactSurface::FindGouges(const std::vector<ToolPart>& parts,
                           const std::vector<VecBase<3, double>>& positions, double allowance,
                           const Tree::ProgressCallback& progress) const
{
    return Progress::Impl::Stoppable([&]() -> std::vector<GougeReport> {
        std::vector<GougeReport> gouges(positions.size());
        if (!state_) {
            return gouges;
        }
        const std::vector<PreparedPart> prepared = PreparedParts(parts, state_->slack);
        const double allowed = std::isnan(allowance) ? 0.0 : allowance;
        std::vector<Vec2d> inPlan;
        inPlan.reserve(positions.size());
        for (const Vec3d& position : positions) {
            inPlan.push_back({position.x(), position.y()});
        }
        const bool isDone = RunBatch(inPlan, progress, [&](std::size_t number, std::size_t&) {
            gouges[number] = state_->Gouge(prepared, positions[number], allowed);
        });
        return isDone ? gouges : std::vector<GougeReport>{};
    });
}

} // namespace Velk::Math::Sorvane::Mill
