// The search for the nearest triangle.

#include "trees/TriangleHierarchy_Impl.h"

#include "mathbase/NearestOnTriangle_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Tree::Impl {

namespace {

using Float4 = LanesOf<float>::Type;

/// Sine of a triangle's least angle below which its nearest point may be far off.
constexpr double kNeedleSine = 1e-6;
/// What a distance calculated in `float` may be off by, as a fraction of the largest coordinate of
/// the point (at least 1) in the frame. By counting some 100 units of 2^-24: 7 for the coordinates,
/// 55 for a distance to a side, 20 for the decision that the point lies over the triangle; that to
/// a box has 7.
constexpr double kFloatError = 256 * 0x1p-24;
/// The same in `double`, for the distance to a box.
constexpr double kDoubleError = 64 * 0x1p-53;
/// What coordinates far from the origin are off by themselves, as a fraction of the largest.
constexpr double kCoordinateError = 64 * std::numeric_limits<double>::epsilon();
/// Beyond this distance in the frame `float` tells too little.
constexpr double kFarthest = 4;
/// More than the rounding of the last few operations on a limit.
constexpr double kRoundUp = 1 + 0x1p-20;
/// Extent in the frame at which a triangle is hardly larger than what `float` is off by; a mesh
/// with more than one in so many of them is kept in `double`.
constexpr double kSmallExtent = 0x1p-14;
constexpr std::size_t kSmallOnesAmong = 8;

void Join(BoxOf<3, double>& box, const BoxOf<3, double>& other)
{
    for (int i = 0; i < 3; ++i) {
        box.min[i] = std::min(box.min[i], other.min[i]);
        box.max[i] = std::max(box.max[i], other.max[i]);
    }
}

} // namespace

// --- building -----------------------------------------------------------------------------------

TriangleHierarchy::TriangleHierarchy(const std::vector<RankedTriangle>& triangles)
{
    if (triangles.empty()) {
        return;
    }
    BoxOf<3, double>& whole = whole_;
    Progress::Impl::Steps steps;
    for (const RankedTriangle& triangle : triangles) {
        steps.Next();
        Join(whole, MarginBox(triangle.corner));
    }
    frame_.origin = (whole.min + whole.max) * 0.5;
    double half = 0;
    for (int axis = 0; axis < 3; ++axis) {
        half = std::max(
            {half, whole.max[axis] - frame_.origin[axis], frame_.origin[axis] - whole.min[axis]});
        frame_.largest =
            std::max({frame_.largest, std::fabs(whole.min[axis]), std::fabs(whole.max[axis])});
    }
    frame_.scale = half > 0 ? std::ldexp(1.0, std::min(-std::ilogb(half) - 1, 1000)) : 1.0;
    isFine_ = IsTooFineForFloat(triangles);
    if (isFine_) {
        BuildBoxes(triangles, fine_);
    } else {
        BuildBoxes(triangles, coarse_);
        FillBlocks();
    }
}

bool TriangleHierarchy::IsTooFineForFloat(const std::vector<RankedTriangle>& triangles) const
{
    std::size_t smallCount = 0;
    const double small = kSmallExtent / frame_.scale;
    Progress::Impl::Steps steps;
    for (const RankedTriangle& triangle : triangles) {
        steps.Next();
        const BoxOf<3, double> box = MarginBox(triangle.corner);
        const Vec3d extent = box.max - box.min;
        smallCount += std::max({extent[0], extent[1], extent[2]}) < small ? 1 : 0;
    }
    return smallCount > triangles.size() / kSmallOnesAmong;
}

template <class T>
void TriangleHierarchy::BuildBoxes(const std::vector<RankedTriangle>& triangles,
                                   BoxHierarchy<3, T>& boxes)
{
    std::vector<BoxOf<3, T>> mapped;
    mapped.reserve(triangles.size());
    for (const RankedTriangle& triangle : triangles) {
        Progress::Impl::CheckStep(mapped.size());
        mapped.push_back(MappedBox(boxes, MarginBox(triangle.corner)));
    }
    boxes = BoxHierarchy<3, T>(mapped, HierarchyCut::Area, kLeafSize);
    triangles_.reserve(triangles.size());
    for (const std::int32_t number : boxes.Order()) {
        Progress::Impl::CheckStep(triangles_.size());
        triangles_.push_back(triangles[static_cast<std::size_t>(number)]);
    }
}

void TriangleHierarchy::FillBlocks()
{
    blocks_.resize(coarse_.LeafCount());
    for (std::size_t number = 0; number < blocks_.size(); ++number) {
        Progress::Impl::CheckStep(number);
        const HierarchyLeaf leaf = coarse_.Leaf(number);
        Block& block = blocks_[number];
        for (std::size_t slot = 0; slot < leaf.count; ++slot) {
            const RankedTriangle& triangle = triangles_[leaf.first + slot];
            std::array<Vec3d, 3> corner;
            for (std::size_t k = 0; k < 3; ++k) {
                corner[k] = frame_(triangle.corner[k]);
            }
            std::array<double, 3> squaredSides{SquaredLength(corner[1] - corner[0]),
                                               SquaredLength(corner[2] - corner[1]),
                                               SquaredLength(corner[0] - corner[2])};
            std::sort(squaredSides.begin(), squaredSides.end());
            Vec3d normal = Intersect::Impl::NormalOf(corner[1] - corner[0], corner[2] - corner[0]);
            const bool isNeedle = !(normal * normal > kNeedleSine * kNeedleSine *
                                                          (squaredSides[1] * squaredSides[2]));
            normal = isNeedle ? Vec3d{} : normal / std::sqrt(normal * normal);
            block.trust[slot] = isNeedle ? 0.0F : 1.0F;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const int i = static_cast<int>(axis);
                block.normal[axis][slot] = static_cast<float>(normal[i]);
                for (std::size_t k = 0; k < 3; ++k) {
                    block.corner[k][axis][slot] = static_cast<float>(corner[k][i]);
                }
            }
        }
    }
}

// --- search -------------------------------------------------------------------------------------

namespace {

/// Vectors of four triangles.
struct Vec3x4 {
    Float4 x, y, z;

    friend Vec3x4 operator-(const Vec3x4& a, const Vec3x4& b)
    {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend Float4 operator*(const Vec3x4& a, const Vec3x4& b)
    {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    }
    friend Vec3x4 operator^(const Vec3x4& a, const Vec3x4& b)
    {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
};

Float4 Lesser(Float4 a, Float4 b) { return a < b ? a : b; }

Float4 Greater(Float4 a, Float4 b) { return a > b ? a : b; }

/// Squared distance of the origin to the segment from `a` along `ab`.
Float4 SquaredDistanceToSide(const Vec3x4& a, const Vec3x4& ab)
{
    constexpr Float4 kZero{0, 0, 0, 0};
    constexpr Float4 kOne{1, 1, 1, 1};
    constexpr Float4 kTiny{1e-30F, 1e-30F, 1e-30F, 1e-30F}; // of sides without length
    const Float4 place = -(a * ab) / Greater(ab * ab, kTiny);
    const Float4 t = Lesser(Greater(place, kZero), kOne);
    const Vec3x4 nearest{a.x + t * ab.x, a.y + t * ab.y, a.z + t * ab.z};
    return nearest * nearest;
}

} // namespace

/// Without branches. Over the triangle the distance is that to its plane, elsewhere that to the
/// nearest side. The sides alone give too much where a point over the triangle is taken for one
/// beside it; that happens only within rounding of a side, as the normal was made in `double`.
Float4 TriangleHierarchy::SquaredDistances(const Block& block, const VecBase<3, float>& point)
{
    const auto fromPoint = [&](std::size_t k) {
        const auto& [x, y, z] = block.corner[k];
        return Vec3x4{x - point[0], y - point[1], z - point[2]};
    };
    const Vec3x4 normal{block.normal[0], block.normal[1], block.normal[2]};
    const Vec3x4 a = fromPoint(0);
    const Vec3x4 b = fromPoint(1);
    const Vec3x4 c = fromPoint(2);
    const Vec3x4 ab = b - a;
    const Vec3x4 bc = c - b;
    const Vec3x4 ca = a - c;
    const Float4 sides = Lesser(SquaredDistanceToSide(a, ab),
                                Lesser(SquaredDistanceToSide(b, bc), SquaredDistanceToSide(c, ca)));
    // Of the three signed distances to the sides the outermost, times the length of that side.
    const Float4 outward =
        Greater((normal ^ ab) * a, Greater((normal ^ bc) * b, (normal ^ ca) * c));
    const Float4 height = normal * a;
    constexpr Float4 kZero{0, 0, 0, 0};
    return block.trust * (outward < kZero ? height * height : sides);
}

/// One search, with distances to boxes calculated in a Scalar.
///
/// A box or a triangle of a leaf is passed over only where its distance in the frame exceeds the
/// best by more than what that distance, and the exact one, may be off by. So nothing that could be
/// the answer is passed over, and the least rank decides between equals in whatever order they are
/// met. What is left is measured in the caller's coordinates. Before that its box is asked there: a
/// triangle's nearest point lies in the box of its corners, exactly, and subtraction, squaring and
/// the sum over the axes, in the same order everywhere, are monotonic also when they are rounded,
/// so that the rounded squared distance of the point is never below that of the box.
template <class Boxes, class Scalar>
class TriangleHierarchy::Search {
public:
    Search(const TriangleHierarchy& hierarchy, const Boxes& boxes, const Vec3d& point,
           double squaredRadius, double error)
        : hierarchy_(hierarchy), boxes_(boxes), point_(point), local_(hierarchy.frame_(point)),
          squaredRadius_(squaredRadius), error_(error)
    {
        UpdateLimit();
    }

    NearestTriangle Run(std::size_t guess)
    {
        Measure(guess);
        boxes_.VisitNearest(
            local_, [this](Scalar squaredDistance) { return squaredDistance <= limit_; },
            LeafSink{this});
        return best_;
    }

private:
    struct LeafSink {
        Search* search;

        void operator()(const HierarchyLeaf& leaf) const { search->VisitLeaf(leaf); }
        void Prefetch(std::size_t leaf) const
        {
            if constexpr (std::is_same_v<Scalar, float>) {
                const auto* block =
                    reinterpret_cast<const char*>(&search->hierarchy_.blocks_[leaf]);
                for (std::size_t line = 0; line < sizeof(Block); line += 64) {
                    __builtin_prefetch(block + line);
                }
            }
        }
    };

    void VisitLeaf(const HierarchyLeaf& leaf)
    {
        if constexpr (std::is_same_v<Scalar, float>) {
            const Float4 squared = SquaredDistances(hierarchy_.blocks_[leaf.number], local_);
            for (std::size_t lane = 0; lane < leaf.count; ++lane) {
                if (squared[lane] <= limit_) {
                    Measure(leaf.first + lane);
                }
            }
        } else {
            for (std::size_t i = 0; i < leaf.count; ++i) {
                Measure(leaf.first + i);
            }
        }
    }

    void Measure(std::size_t place)
    {
        const RankedTriangle& triangle = hierarchy_.triangles_[place];
        const double squaredToBox = SquaredDistance(MarginBox(triangle.corner), point_);
        if (!(squaredToBox < squaredRadius_ && squaredToBox <= best_.squaredDistance)) {
            return;
        }
        const Vec3d nearest = Intersect::Impl::NearestOnTriangle(triangle.corner, point_);
        const double squared = SquaredLength(nearest - point_);
        if (squared <= squaredRadius_ &&
            (squared < best_.squaredDistance ||
             (squared == best_.squaredDistance && triangle.rank < best_.rank))) {
            best_ = {nearest, squared, triangle.id, triangle.rank, place};
            UpdateLimit();
        }
    }

    /// Squared distance in the frame beyond which a triangle is surely farther than the best.
    void UpdateLimit()
    {
        constexpr double kMost = std::numeric_limits<Scalar>::max();
        const double squared = std::min(best_.squaredDistance, squaredRadius_);
        const double limit = std::sqrt(squared) * hierarchy_.frame_.scale * kRoundUp + error_;
        const double squaredLimit = limit * limit * kRoundUp;
        limit_ = squaredLimit < kMost ? static_cast<Scalar>(squaredLimit)
                                      : std::numeric_limits<Scalar>::infinity();
    }

    const TriangleHierarchy& hierarchy_;
    const Boxes& boxes_;
    Vec3d point_;
    VecBase<3, Scalar> local_;
    double squaredRadius_;
    double error_; // of a distance in the frame
    Scalar limit_ = 0;
    NearestTriangle best_;
};

NearestTriangle TriangleHierarchy::Nearest(const Vec3d& point, double radius,
                                           std::size_t guess) const
{
    const double squaredRadius = SquaredReach(radius);
    if (triangles_.empty() || !(squaredRadius > 0) || HasNaN(point)) {
        return {};
    }
    const double reach = std::max(1.0, Math::Impl::LargestMagnitude(frame_(point)));
    const double largest =
        std::max(frame_.largest, Math::Impl::LargestMagnitude(point)) * frame_.scale;
    const bool isFar = !(reach <= kFarthest);
    const double error =
        reach * (isFine_ || isFar ? kDoubleError : kFloatError) + largest * kCoordinateError;
    if (isFine_) {
        return Search<BoxHierarchy<3, double>, double>(*this, fine_, point, squaredRadius, error)
            .Run(guess);
    }
    if (isFar) {
        return Search<BoxHierarchy<3, float>, double>(*this, coarse_, point, squaredRadius, error)
            .Run(guess);
    }
    return Search<BoxHierarchy<3, float>, float>(*this, coarse_, point, squaredRadius, error)
        .Run(guess);
}

} // namespace Velk::Math::Sorvane::Tree::Impl
