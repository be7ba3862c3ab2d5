// Shapes that a convex tool can be tried with, made from the hull of a drawn outline alone.
//
// The profile of a tool is a flat, an arc, a cone, an arc and a wall, each tangent to the next but
// for the flat. So one slanted edge of the hull, taken for the cone, says all the rest: the lower
// corner is the circle through the end of the flat that touches the cone where the edge begins, the
// upper one the circle that touches the cone where the edge ends and then runs to the foot of the
// wall. For a profile that was flattened these are the very circles. For scanned ones the best of
// them are adjusted by least squares of the vertices' signed distances (K. Levenberg, 1944; D.
// Marquardt, 1963), all fields at once.

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "machining/ToolsFit_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

/// Fields that are adjusted: tip radius, lower radius, A, length along the cone, B, upper radius.
constexpr int kFieldCount = 6;
enum Field { kTip, kLowerRadius, kLowerAngle, kConeLength, kConeAngle, kUpperRadius };
using Fields = std::array<double, kFieldCount>;

/// Vertices that are measured, edges that are taken for the cone, joints of two arcs that are
/// tried, and shapes that are adjusted: enough for any profile, and few enough that a fit does not
/// grow with the hull.
constexpr std::size_t kMostVertices = 160;
constexpr std::size_t kMostCones = 12;
constexpr std::size_t kMostJoints = 40;
constexpr std::size_t kMostAdjustedOfAKind = 3;
constexpr std::size_t kMostShapes = 16;
/// Steps of an adjustment, which as a rule ends after five.
constexpr int kMostSteps = 40;
/// Rises, as fractions of the run, up to which edges from the tip can be a scanned flat; and
/// likewise leans of edges up to the top that can be a scanned wall.
constexpr std::array<double, 3> kLeans{1e-9, 0.02, 0.1};

/// Where between the edges at a joint its tangent is tried.
constexpr std::array<double, 3> kTangentShares{0.5, 0.25, 0.75};

constexpr double kQuarterTurn = kPi<double> / 2;

/// Angle of a direction from the axis: 0 upward, a quarter turn outward.
double FromAxis(const Vec2d& direction) { return std::atan2(direction.x(), direction.y()); }

/// The profile of a tool as elements to measure from.
class ExactProfile {
public:
    ExactProfile(const Fields& fields, double height) : fields_(fields), height_(height)
    {
        const double a = fields[kLowerAngle];
        const double b = fields[kConeAngle];
        lowerStart_ = {std::sin(a), std::cos(a)}; // tangents
        cone_ = {std::sin(b), std::cos(b)};
        rim_ = {fields[kTip], 0};
        lowerCenter_ = rim_ - Outward(lowerStart_) * fields[kLowerRadius];
        coneStart_ = lowerCenter_ + Outward(cone_) * fields[kLowerRadius];
        coneEnd_ = coneStart_ + cone_ * fields[kConeLength];
        upperCenter_ = coneEnd_ - Outward(cone_) * fields[kUpperRadius];
        wallFoot_ = upperCenter_ + Vec2d{fields[kUpperRadius], 0};
    }

    const Vec2d& WallFoot() const { return wallFoot_; }
    WideTool Tool() const
    {
        return {fields_[kTip],
                fields_[kLowerRadius],
                fields_[kLowerRadius] > 0 ? fields_[kLowerAngle] : 0,
                fields_[kConeLength] * cone_.y(),
                fields_[kConeAngle],
                fields_[kUpperRadius],
                std::max(height_ - wallFoot_.y(), 0.0)};
    }

    /// Signed distance of a point from the profile, whose flat goes on inward and whose wall goes
    /// on upward; positive outside. `rates`, unless null, receives by how much the profile moves
    /// outward there for each field.
    double operator()(const Vec2d& point, Fields* rates) const
    {
        Nearest nearest;
        // The flat, as a ray inward.
        if (point.x() <= rim_.x()) {
            Consider(nearest, point, {point.x(), 0}, {0, -1}, kFlat);
        }
        Consider(nearest, point, rim_, Outward(lowerStart_), kRim);
        ConsiderArc(nearest, point, lowerCenter_, fields_[kLowerRadius], lowerStart_, cone_,
                    kLower);
        ConsiderSegment(nearest, point);
        ConsiderArc(nearest, point, upperCenter_, fields_[kUpperRadius], cone_, {0, 1}, kUpper);
        Consider(nearest, point, {wallFoot_.x(), std::max(point.y(), wallFoot_.y())}, {1, 0},
                 kWall);
        if (rates != nullptr) {
            *rates = RatesAt(nearest);
        }
        return nearest.distance;
    }

    /// By how much the profile is taller than the outline, with its rates.
    double Excess(Fields& rates) const
    {
        const double excess = wallFoot_.y() - height_;
        rates = Fields{};
        if (excess <= 0) {
            return 0;
        }
        for (int field = 0; field < kFieldCount; ++field) {
            rates[static_cast<std::size_t>(field)] = WallFootRate(field).y();
        }
        return excess;
    }

private:
    enum Element { kNone, kFlat, kRim, kLower, kCone, kUpper, kWall };
    struct Nearest {
        double distance = std::numeric_limits<double>::max();
        Vec2d normal; ///< from the profile to outside
        Vec2d place;
        Element element = kNone;
    };

    /// The normal to the right of travel, away from the material.
    static Vec2d Outward(const Vec2d& tangent) { return {tangent.y(), -tangent.x()}; }

    static void Consider(Nearest& nearest, const Vec2d& point, const Vec2d& place,
                         const Vec2d& normal, Element element)
    {
        const Vec2d away = point - place;
        const double distance = Length(away);
        if (distance >= std::fabs(nearest.distance)) {
            return;
        }
        const bool isInside = away * normal < 0;
        nearest.distance = isInside ? -distance : distance;
        // At a corner the profile moves along the line to the point.
        const double along = away * normal;
        nearest.normal = std::fabs(along) < 0.999999 * distance ? away / nearest.distance : normal;
        nearest.place = place;
        nearest.element = element;
    }

    static void ConsiderArc(Nearest& nearest, const Vec2d& point, const Vec2d& center,
                            double radius, const Vec2d& from, const Vec2d& to, Element element)
    {
        const Vec2d spoke = point - center;
        const double distance = Length(spoke);
        if (radius <= 0 || distance <= 0 || spoke * from < 0 || spoke * to > 0) {
            return;
        }
        const Vec2d normal = spoke / distance;
        const double signedDistance = distance - radius;
        if (std::fabs(signedDistance) < std::fabs(nearest.distance)) {
            nearest = {signedDistance, normal, center + normal * radius, element};
        }
    }

    void ConsiderSegment(Nearest& nearest, const Vec2d& point) const
    {
        const Vec2d place =
            Math::Impl::NearestPlace(coneStart_, coneEnd_, point, Math::Impl::kPointsAreShort)
                .point;
        Consider(nearest, point, place, Outward(cone_), kCone);
    }

    /// Rates of the points that the elements stand on.
    Vec2d LowerCenterRate(int field) const
    {
        switch (field) {
        case kTip:
            return {1, 0};
        case kLowerRadius:
            return -Outward(lowerStart_);
        case kLowerAngle:
            return lowerStart_ * fields_[kLowerRadius];
        default:
            return {};
        }
    }
    Vec2d ConeStartRate(int field) const
    {
        Vec2d rate = LowerCenterRate(field);
        if (field == kLowerRadius) {
            rate += Outward(cone_);
        } else if (field == kConeAngle) {
            rate -= cone_ * fields_[kLowerRadius];
        }
        return rate;
    }
    Vec2d ConeEndRate(int field) const
    {
        Vec2d rate = ConeStartRate(field);
        if (field == kConeLength) {
            rate += cone_;
        } else if (field == kConeAngle) {
            rate += Outward(cone_) * fields_[kConeLength];
        }
        return rate;
    }
    Vec2d UpperCenterRate(int field) const
    {
        Vec2d rate = ConeEndRate(field);
        if (field == kUpperRadius) {
            rate -= Outward(cone_);
        } else if (field == kConeAngle) {
            rate += cone_ * fields_[kUpperRadius];
        }
        return rate;
    }
    Vec2d WallFootRate(int field) const
    {
        return UpperCenterRate(field) + (field == kUpperRadius ? Vec2d{1, 0} : Vec2d{});
    }

    Fields RatesAt(const Nearest& nearest) const
    {
        Fields rates{};
        const Vec2d& normal = nearest.normal;
        for (int field = 0; field < kFieldCount; ++field) {
            double rate = 0;
            switch (nearest.element) {
            case kRim:
                rate = field == kTip ? normal.x() : 0;
                break;
            case kLower:
                rate = normal * LowerCenterRate(field) + (field == kLowerRadius ? 1 : 0);
                break;
            case kCone:
                rate = normal * ConeStartRate(field);
                if (field == kConeAngle) {
                    rate += (nearest.place - coneStart_) * cone_ * (normal * Outward(cone_));
                } else if (field == kConeLength && nearest.place == coneEnd_) {
                    rate += normal * cone_;
                }
                break;
            case kUpper:
                rate = normal * UpperCenterRate(field) + (field == kUpperRadius ? 1 : 0);
                break;
            case kWall:
                rate = normal * WallFootRate(field);
                break;
            default:
                break;
            }
            rates[static_cast<std::size_t>(field)] = rate;
        }
        return rates;
    }

    Fields fields_;
    double height_ = 0;
    Vec2d lowerStart_;
    Vec2d cone_;
    Vec2d rim_;
    Vec2d lowerCenter_;
    Vec2d coneStart_;
    Vec2d coneEnd_;
    Vec2d upperCenter_;
    Vec2d wallFoot_;
};

/// Solves the symmetric positive definite system by Cholesky's factors; false where it isn't one.
bool SolveDefinite(std::array<Fields, kFieldCount> matrix, Fields& right)
{
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            double sum = matrix[i][j];
            for (std::size_t k = 0; k < j; ++k) {
                sum -= matrix[i][k] * matrix[j][k];
            }
            if (i != j) {
                matrix[i][j] = sum / matrix[j][j];
            } else if (sum > 0) {
                matrix[i][i] = std::sqrt(sum);
            } else {
                return false;
            }
        }
    }
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            right[i] -= matrix[i][k] * right[k];
        }
        right[i] /= matrix[i][i];
    }
    for (std::size_t i = kFieldCount; i-- > 0;) {
        for (std::size_t k = i + 1; k < kFieldCount; ++k) {
            right[i] -= matrix[k][i] * right[k];
        }
        right[i] /= matrix[i][i];
    }
    return true;
}

/// A shape and how well it follows the vertices.
struct Shape {
    Fields fields{};
    double squares = std::numeric_limits<double>::max();
};

/// Shapes on the vertices of one hull. The unit of length is the hull's own size.
class ShapeSearch {
public:
    explicit ShapeSearch(const std::vector<Vec2d>& profile)
    {
        const Vec2d corner = profile.back();
        scale_ = std::max(corner.x(), corner.y());
        hull_.reserve(profile.size());
        for (const Vec2d& vertex : profile) {
            hull_.push_back(vertex / scale_);
        }
        height_ = corner.y() / scale_;
        const std::size_t count = hull_.size();
        const std::size_t kept = std::min(count, kMostVertices);
        for (std::size_t i = 0; i < kept; ++i) {
            vertices_.push_back(hull_[i * (count - 1) / std::max<std::size_t>(kept - 1, 1)]);
        }
        FindRimsAndFeet();
    }

    std::vector<WideTool> Shapes()
    {
        TryCones();
        TryWithoutCone();
        AdjustBestOfEachKind();
        std::stable_sort(shapes_.begin(), shapes_.end(), IsBetter);
        shapes_.resize(std::min(shapes_.size(), kMostShapes));
        std::vector<WideTool> tools;
        for (const Shape& shape : shapes_) {
            tools.push_back(Scaled(ExactProfile(shape.fields, height_).Tool()));
        }
        return tools;
    }

private:
    static bool IsBetter(const Shape& a, const Shape& b) { return a.squares < b.squares; }

    WideTool Scaled(WideTool tool) const
    {
        for (double* field : {&tool.tipRadius, &tool.lowerCornerRadius, &tool.taperHeight,
                              &tool.upperCornerRadius, &tool.shankLength}) {
            *field *= scale_;
        }
        return tool;
    }

    /// Where the flat may end and where the wall may begin.
    void FindRimsAndFeet()
    {
        rims_.push_back({0, 0});
        const std::size_t last = hull_.size() - 1;
        for (const double lean : kLeans) {
            std::size_t rim = 0;
            while (rim < last && hull_[rim + 1].y() - hull_[rim].y() <=
                                     lean * (hull_[rim + 1].x() - hull_[rim].x())) {
                ++rim;
            }
            if (hull_[rim].x() > rims_.back().x()) {
                rims_.push_back({hull_[rim].x(), 0});
            }
            std::size_t foot = last;
            while (foot > 1 && hull_[foot].x() - hull_[foot - 1].x() <=
                                   lean * (hull_[foot].y() - hull_[foot - 1].y())) {
                --foot;
            }
            if (feet_.empty() || feet_.back() != foot) {
                feet_.push_back(foot);
            }
        }
    }

    void AdjustBestOfEachKind()
    {
        std::stable_sort(shapes_.begin(), shapes_.end(), IsBetter);
        std::array<std::size_t, 4> taken{};
        std::vector<Shape> adjusted;
        for (const Shape& shape : shapes_) {
            const std::size_t kind = (shape.fields[kLowerRadius] > 0 ? 1U : 0U) +
                                     (shape.fields[kUpperRadius] > 0 ? 2U : 0U);
            if (taken[kind]++ < kMostAdjustedOfAKind) {
                adjusted.push_back(Adjusted(shape));
            }
        }
        shapes_.insert(shapes_.end(), adjusted.begin(), adjusted.end());
    }

    double Squares(const Fields& fields) const
    {
        const ExactProfile profile(fields, height_);
        Fields rates;
        const double excess = profile.Excess(rates);
        double sum = excess * excess;
        for (const Vec2d& vertex : vertices_) {
            const double distance = profile(vertex, nullptr);
            sum += distance * distance;
        }
        return sum;
    }

    static Fields Bounded(Fields fields)
    {
        for (const Field field : {kTip, kLowerRadius, kConeLength, kUpperRadius}) {
            fields[field] = std::max(fields[field], 0.0);
        }
        fields[kConeAngle] = std::clamp(fields[kConeAngle], 0.0, kQuarterTurn);
        fields[kLowerAngle] = std::clamp(fields[kLowerAngle], fields[kConeAngle], kQuarterTurn);
        return fields;
    }

    void Try(const Fields& fields)
    {
        const Fields bounded = Bounded(fields);
        const double squares = Squares(bounded);
        if (Math::Impl::IsFinite(squares)) {
            shapes_.push_back({bounded, squares});
        }
    }

    /// A cone from `from` to `to`, with a lower corner from the rim and an upper one to the foot of
    /// the wall where these are asked for; without, the cone goes down to the height of the tip,
    /// and ends where it ends.
    void TryCone(const Vec2d* rim, const Vec2d& from, const Vec2d& to, double angle,
                 const Vec2d* foot)
    {
        Fields fields{};
        fields[kConeAngle] = angle;
        fields[kLowerAngle] = angle;
        fields[kConeLength] = Length(to - from);
        if (rim != nullptr) {
            // The angle between a chord and the tangent at its end is half the arc's.
            const Vec2d chord = from - *rim;
            const double half = FromAxis(chord) - angle;
            if (!(half > 0)) {
                return;
            }
            fields[kTip] = rim->x();
            fields[kLowerRadius] = Length(chord) / (2 * std::sin(half));
            fields[kLowerAngle] = angle + 2 * half;
        } else {
            const double further = from.y() / std::cos(angle);
            fields[kTip] = std::max(from.x() - further * std::sin(angle), 0.0);
            fields[kConeLength] += further;
        }
        if (foot != nullptr) {
            const Vec2d chord = *foot - to;
            if (!(angle > 0) || !(chord.y() > 0)) {
                return;
            }
            fields[kUpperRadius] = Length(chord) / (2 * std::sin(angle / 2));
        }
        Try(fields);
    }

    void TryCones()
    {
        std::vector<std::size_t> edges; // by their ends
        for (std::size_t i = 1; i < hull_.size(); ++i) {
            if (hull_[i].y() > hull_[i - 1].y()) {
                edges.push_back(i);
            }
        }
        const auto length = [&](std::size_t i) {
            return Vector::SquaredLength(hull_[i] - hull_[i - 1]);
        };
        const std::size_t count = std::min(edges.size(), kMostCones);
        std::partial_sort(edges.begin(), edges.begin() + static_cast<std::ptrdiff_t>(count),
                          edges.end(), [&](std::size_t a, std::size_t b) {
                              return length(a) != length(b) ? length(a) > length(b) : a < b;
                          });
        std::vector<std::pair<std::size_t, std::size_t>> runs; // first and last vertex
        for (std::size_t n = 0; n < count; ++n) {
            for (const double lean : kLeans) {
                runs.push_back(RunAround(edges[n], lean));
            }
        }
        std::sort(runs.begin(), runs.end());
        runs.erase(std::unique(runs.begin(), runs.end()), runs.end());
        for (const auto& [first, last] : runs) {
            const Vec2d& from = hull_[first];
            const Vec2d& to = hull_[last];
            const double angle = std::max(FromAxis(to - from), 0.0);
            const auto tryWithFoot = [&](const Vec2d* foot) {
                TryCone(nullptr, from, to, angle, foot);
                for (const Vec2d& rim : rims_) {
                    TryCone(&rim, from, to, angle, foot);
                }
            };
            tryWithFoot(nullptr);
            for (const std::size_t foot : feet_) {
                tryWithFoot(&hull_[foot]);
            }
        }
    }

    /// The edge that ends at a vertex, and its neighbors as long as they turn away from it by no
    /// more than an angle: a scanned line has many edges.
    std::pair<std::size_t, std::size_t> RunAround(std::size_t edge, double lean) const
    {
        const auto angle = [&](std::size_t i) { return FromAxis(hull_[i] - hull_[i - 1]); };
        const double middle = angle(edge);
        std::size_t first = edge - 1;
        while (first > 0 && angle(first) - middle <= lean) {
            --first;
        }
        std::size_t last = edge;
        while (last + 1 < hull_.size() && middle - angle(last + 1) <= lean) {
            ++last;
        }
        return {first, last};
    }

    void TryWithoutCone()
    {
        std::vector<std::size_t> joints = feet_;
        const std::size_t count = hull_.size();
        const std::size_t most = std::min(count - 1, kMostJoints);
        for (std::size_t n = 1; n <= most; ++n) {
            joints.push_back(n * (count - 1) / most);
        }
        for (const Vec2d& rim : rims_) {
            for (const std::size_t foot : feet_) {
                // One arc to the wall, in its direction.
                TryCone(&rim, hull_[foot], hull_[foot], 0, nullptr);
            }
            // Two arcs that meet, or one that ends on a slant and may go on as a corner.
            for (const std::size_t joint : joints) {
                const double before = FromAxis(hull_[joint] - hull_[joint - 1]);
                const double after =
                    joint + 1 < count ? FromAxis(hull_[joint + 1] - hull_[joint]) : before;
                for (const double share : kTangentShares) {
                    TryCone(&rim, hull_[joint], hull_[joint], before + (after - before) * share,
                            &hull_[feet_.front()]);
                }
                TryThroughMiddle(rim, joint);
                TryUpperThroughMiddle(rim, joint);
            }
        }
    }

    /// The arc through the rim, a vertex midway and the joint.
    void TryThroughMiddle(const Vec2d& rim, std::size_t joint)
    {
        const Vec2d& end = hull_[joint];
        const auto arc = Geometry::ArcThroughPoints(rim, hull_[(joint + 1) / 2], end);
        const double radius = Geometry::Radius(arc);
        if (!(radius > 0) || !(arc.length > 0)) {
            return;
        }
        Fields fields{};
        fields[kTip] = rim.x();
        fields[kLowerRadius] = radius;
        const Vec2d startSpoke = rim - arc.center;
        const Vec2d endSpoke = end - arc.center;
        fields[kLowerAngle] = std::atan2(-startSpoke.y(), startSpoke.x());
        fields[kConeAngle] = std::atan2(-endSpoke.y(), endSpoke.x());
        Try(fields);
        const Vec2d chord = hull_[feet_.front()] - end;
        if (fields[kConeAngle] > 0 && chord.y() > 0) {
            fields[kUpperRadius] = Length(chord) / (2 * std::sin(fields[kConeAngle] / 2));
            Try(fields);
        }
    }

    /// The upper corner as the arc from the joint through a vertex midway to the foot of the wall,
    /// and the lower one tangent to it, which may have too few vertices to tell its radius.
    void TryUpperThroughMiddle(const Vec2d& rim, std::size_t joint)
    {
        const std::size_t foot = feet_.front();
        if (joint + 1 >= foot) {
            return;
        }
        const auto arc =
            Geometry::ArcThroughPoints(hull_[joint], hull_[(joint + foot) / 2], hull_[foot]);
        const Vec2d spoke = hull_[joint] - arc.center;
        if (arc.length > 0) {
            TryCone(&rim, hull_[joint], hull_[joint], std::atan2(-spoke.y(), spoke.x()),
                    &hull_[foot]);
        }
    }

    /// The shape with all fields adjusted but for corners that it doesn't have.
    Shape Adjusted(Shape shape) const
    {
        double damping = 1e-3;
        std::array<bool, kFieldCount> isFree;
        isFree.fill(true);
        isFree[kLowerRadius] = isFree[kLowerAngle] = shape.fields[kLowerRadius] > 0;
        isFree[kUpperRadius] = shape.fields[kUpperRadius] > 0;
        for (int step = 0; step < kMostSteps && shape.squares > 1e-32; ++step) {
            std::array<Fields, kFieldCount> normal{};
            Fields gradient{};
            Assemble(shape.fields, isFree, normal, gradient);
            bool hasMoved = false;
            for (int attempt = 0; attempt < 8 && !hasMoved; ++attempt) {
                std::array<Fields, kFieldCount> damped = normal;
                for (std::size_t i = 0; i < kFieldCount; ++i) {
                    damped[i][i] += damping * normal[i][i] + 1e-300;
                    damped[i][i] = isFree[i] && normal[i][i] > 0 ? damped[i][i] : 1;
                }
                Fields move = gradient;
                if (!SolveDefinite(damped, move)) {
                    damping *= 10;
                    continue;
                }
                Fields moved = shape.fields;
                for (std::size_t i = 0; i < kFieldCount; ++i) {
                    moved[i] += move[i];
                }
                moved = Bounded(moved);
                const double squares = Squares(moved);
                if (squares < shape.squares) {
                    hasMoved = true;
                    const bool isDone = squares > (1 - 1e-9) * shape.squares;
                    shape = {moved, squares};
                    damping = std::max(damping / 10, 1e-15);
                    if (isDone) {
                        return shape;
                    }
                } else {
                    damping *= 10;
                }
            }
            if (!hasMoved) {
                return shape;
            }
        }
        return shape;
    }

    void Assemble(const Fields& fields, const std::array<bool, kFieldCount>& isFree,
                  std::array<Fields, kFieldCount>& normal, Fields& gradient) const
    {
        const ExactProfile profile(fields, height_);
        const auto add = [&](double residual, const Fields& rates) {
            for (std::size_t i = 0; i < kFieldCount; ++i) {
                if (!isFree[i]) {
                    continue;
                }
                gradient[i] += rates[i] * residual;
                for (std::size_t j = 0; j < kFieldCount; ++j) {
                    normal[i][j] += isFree[j] ? rates[i] * rates[j] : 0;
                }
            }
        };
        Fields rates;
        for (const Vec2d& vertex : vertices_) {
            const double distance = profile(vertex, &rates);
            add(distance, rates);
        }
        const double excess = profile.Excess(rates);
        add(-excess, rates);
    }

    std::vector<Vec2d> hull_;     ///< in units of `scale_`
    std::vector<Vec2d> vertices_; ///< of them, those that are measured
    std::vector<Vec2d> rims_;     ///< where the flat may end
    double scale_ = 1;
    double height_ = 0;
    std::vector<std::size_t> feet_; ///< where the wall may begin, by the vertex
    std::vector<Shape> shapes_;
};

} // namespace

double ContainmentMargin(const Vec2d& corner, double epsilon)
{
    constexpr double kMargin = 1e-10;
    constexpr double kRoundings = 8;
    return std::max(kMargin, kRoundings * epsilon * std::max(corner.x(), corner.y()));
}

bool ContainsHull(const WideTool& tool, const std::vector<Vec2d>& hull, double margin)
{
    const double cosine = std::cos(tool.taperAngle);
    const Fields fields{tool.tipRadius,
                        tool.lowerCornerRadius,
                        tool.lowerCornerRadius > 0 ? tool.lowerCornerAngle : tool.taperAngle,
                        tool.taperHeight / cosine,
                        tool.taperAngle,
                        tool.upperCornerRadius};
    const double top = hull.back().y();
    const ExactProfile profile(fields, top);
    // The wall of the measure has no end, that of the tool has.
    const double height = profile.WallFoot().y() + tool.shankLength;
    for (std::size_t i = 1; i + 1 < hull.size(); ++i) {
        if (!(profile(hull[i], nullptr) <= margin && hull[i].y() <= height + margin)) {
            return false;
        }
    }
    return true;
}

std::vector<WideTool> ShapesOf(const std::vector<Vec2d>& profile)
{
    const bool isFlat =
        profile.size() < 3 || !(profile.back().x() > 0) || !(profile.back().y() > 0);
    return isFlat ? std::vector<WideTool>{} : ShapeSearch(profile).Shapes();
}

} // namespace Velk::Math::Sorvane::Mill::Impl
