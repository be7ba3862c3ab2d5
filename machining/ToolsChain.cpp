// A tool read from the chain of arcs and segments through the hull of a drawn outline.
//
// The hull goes through the arc filter. Where the chain has more elements than a tool, the
// neighbors that one element replaces best are merged, again and again. Then the elements are read
// in their order.

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "machining/ToolsFit_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "planar/ArcFitting_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <queue>
#include <utility>

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

using Element = Planar::ArcSegBase<double>;

/// Vertices that a merged element is measured at: a merge then costs the same however long it is.
constexpr int kMostMeasured = 24;

/// Part of the tolerance by which a tool may be moved to make it convex.
constexpr double kSlightShare = 0.01;

/// An element and the vertices of the hull that it stands for.
struct Stretch {
    Element element;
    int first = 0;
    int last = 0;
};

bool IsFlat(const Element& element, double tolerance)
{
    return element.AsArc() == nullptr && std::fabs(element.StartTangent().y()) <= tolerance;
}

/// Elements merged until a tool can have as many.
class Merging {
public:
    Merging(const std::vector<Vec2d>& vertices, const Planar::PolyArcSegBase<double>& chain,
            double tolerance)
        : vertices_(vertices), tolerance_(tolerance)
    {
        int last = 0;
        for (const Element& element : chain.elements) {
            const int first = last;
            last = VertexAt(element.EndPoint(), first);
            stretches_.push_back({element, first, last});
            (element.AsArc() != nullptr ? arcs_ : segments_) += 1;
        }
    }

    std::vector<Element> Merge()
    {
        const int count = static_cast<int>(stretches_.size());
        next_.resize(stretches_.size());
        previous_.resize(stretches_.size());
        versions_.assign(stretches_.size(), 0);
        for (int i = 0; i < count; ++i) {
            next_[At(i)] = i + 1 < count ? i + 1 : -1;
            previous_[At(i)] = i - 1;
        }
        if (HoldsTooMuch()) {
            for (int i = 0; i + 1 < count; ++i) {
                Offer(i);
            }
        }
        // The first element stays the first one in the list: the later of two gives way.
        while (HoldsTooMuch() && !offers_.empty()) {
            const MergeOffer offer = offers_.top();
            offers_.pop();
            if (offer.version == versions_[At(offer.first)] && next_[At(offer.first)] >= 0 &&
                offer.nextVersion == versions_[At(next_[At(offer.first)])]) {
                Accept(offer.first);
            }
        }
        std::vector<Element> elements;
        for (int i = count > 0 ? 0 : -1; i >= 0; i = next_[At(i)]) {
            elements.push_back(stretches_[At(i)].element);
        }
        return elements;
    }

private:
    struct MergeOffer {
        double deviation;
        int first;
        int version;
        int nextVersion;
        /// The least deviation is taken first, and of equals the first pair.
        bool operator<(const MergeOffer& other) const
        {
            return deviation != other.deviation ? deviation > other.deviation : first > other.first;
        }
    };

    static std::size_t At(int i) { return static_cast<std::size_t>(i); }

    /// The vertex from `first` on at which an element ends: vertices come nearer until then.
    int VertexAt(const Vec2d& end, int first) const
    {
        int best = first;
        while (best + 1 < static_cast<int>(vertices_.size()) &&
               Vector::SquaredLength(vertices_[At(best + 1)] - end) <=
                   Vector::SquaredLength(vertices_[At(best)] - end)) {
            ++best;
        }
        return best;
    }

    bool HoldsTooMuch() const
    {
        const Element& first = stretches_.front().element;
        const bool isSlanted = first.AsArc() == nullptr && !IsFlat(first, tolerance_);
        return isSlanted ? arcs_ > 1 || segments_ > 2 : arcs_ > 2 || segments_ > 3;
    }

    double DeviationOf(const Element& element, int first, int last) const
    {
        const int step = std::max(1, (last - first) / kMostMeasured);
        double largest = 0;
        for (int i = first; i <= last; i += step) {
            const Vec2d& vertex = vertices_[At(i)];
            double deviation = 0;
            if (const auto* arc = element.AsArc()) {
                deviation = std::fabs(Planar::Impl::OffCircle(*arc, vertex));
            } else {
                deviation = std::sqrt(Math::Impl::SquaredDistanceToSegment(
                    element.AsSegment()->start, element.AsSegment()->end, vertex,
                    Math::Impl::kPointsAreShort));
            }
            largest = std::max(largest, deviation);
        }
        return largest;
    }

    /// What two stretches become: the arc or the segment, whichever is nearer to their vertices.
    std::pair<Stretch, double> Merged(const Stretch& a, const Stretch& b) const
    {
        const Vec2d start = vertices_[At(a.first)];
        const Vec2d end = vertices_[At(b.last)];
        Stretch merged{Geometry::SegBase<double>{start, end}, a.first, b.last};
        double deviation = DeviationOf(merged.element, a.first, b.last);
        const auto arc = Planar::Impl::ArcThrough(start, vertices_[At((a.first + b.last) / 2)], end,
                                                  kLengthFloor<double>);
        // Three vertices have a circle whatever they are; a corner is no arc.
        if (b.last - a.first > 2 && Geometry::Radius(arc) > 0 && arc.length > 0) {
            const double ofArc = DeviationOf(arc, a.first, b.last);
            if (ofArc < deviation) {
                merged.element = arc;
                deviation = ofArc;
            }
        }
        return {merged, deviation};
    }

    void Offer(int first)
    {
        const int second = next_[At(first)];
        offers_.push({Merged(stretches_[At(first)], stretches_[At(second)]).second, first,
                      versions_[At(first)], versions_[At(second)]});
    }

    void Count(const Element& element, int by)
    {
        (element.AsArc() != nullptr ? arcs_ : segments_) += by;
    }

    void Accept(int first)
    {
        const int second = next_[At(first)];
        Count(stretches_[At(first)].element, -1);
        Count(stretches_[At(second)].element, -1);
        stretches_[At(first)] = Merged(stretches_[At(first)], stretches_[At(second)]).first;
        Count(stretches_[At(first)].element, 1);
        ++versions_[At(first)];
        next_[At(first)] = next_[At(second)];
        next_[At(second)] = -1;
        ++versions_[At(second)];
        if (next_[At(first)] >= 0) {
            previous_[At(next_[At(first)])] = first;
            Offer(first);
        }
        if (previous_[At(first)] >= 0) {
            Offer(previous_[At(first)]);
        }
    }

    const std::vector<Vec2d>& vertices_;
    double tolerance_;
    std::vector<Stretch> stretches_;
    std::vector<int> next_;
    std::vector<int> previous_;
    std::vector<int> versions_;
    std::priority_queue<MergeOffer> offers_;
    int arcs_ = 0;
    int segments_ = 0;
};

/// Reads a chain's elements in their order into the fields of a tool.
class ToolReader {
public:
    explicit ToolReader(double tolerance) : tolerance_(tolerance) {}

    WideTool Read(const std::vector<Element>& elements)
    {
        for (const Element& element : elements) {
            if (!(element.AsArc() != nullptr ? ReadArc(element) : ReadSegment(element))) {
                break;
            }
            lastTangent_ = element.EndTangent();
        }
        TurnBackToConvex();
        return tool_;
    }

private:
    /// What has been read last.
    enum State { kNothing, kLowerCorner, kTaper, kUpperCorner, kShank };

    static double FromAxis(const Vec2d& direction)
    {
        return std::atan2(direction.x(), direction.y());
    }

    /// Rounding and noise of the points leave the start of a corner below the level, or a wall
    /// leaning inward: a right turn, which makes the profile none of a convex tool. Where it is so
    /// slight that a hundredth of the tolerance can't tell, it is taken out.
    void TurnBackToConvex()
    {
        const double slight = kSlightShare * tolerance_;
        const double dip = tool_.lowerCornerAngle - kPi<double> / 2;
        if (dip > 0 && dip * tool_.lowerCornerRadius <= slight) {
            tool_.lowerCornerAngle = kPi<double> / 2;
        }
        const double lean = -tool_.taperAngle;
        if (lean > 0 && lean * (tool_.lowerCornerRadius + tool_.taperHeight) <= slight) {
            tool_.taperAngle = 0;
        }
    }

    bool AreEqual(const Vec2d& a, const Vec2d& b) const { return Matches(a, b, tolerance_); }

    bool ReadSegment(const Element& element)
    {
        const Vec2d direction = element.StartTangent();
        if (state_ == kNothing && IsFlat(element, tolerance_)) {
            tool_.tipRadius = element.Length();
            return true;
        }
        if (state_ == kNothing) {
            const Vec2d step = element.EndPoint() - element.StartPoint();
            tool_.taperHeight = step.y();
            tool_.taperAngle = FromAxis(direction);
            state_ = kTaper;
            return true;
        }
        if (state_ == kLowerCorner) {
            // The cone runs as the corner ends, whatever the segment does.
            tool_.taperHeight = element.EndPoint().y() - element.StartPoint().y();
            if (!AreEqual(direction, lastTangent_)) {
                const Vec2d reached =
                    element.StartPoint() + Vec2d{std::tan(tool_.taperAngle), 1} * tool_.taperHeight;
                remainder_ = reached - element.EndPoint();
            }
            state_ = kTaper;
            return true;
        }
        if (state_ == kTaper || state_ == kUpperCorner) {
            tool_.shankLength = Length(element.EndPoint() - (element.StartPoint() + remainder_));
            state_ = kShank;
            return true;
        }
        return false;
    }

    bool ReadArc(const Element& element)
    {
        const Geometry::ArcBase<double>& arc = *element.AsArc();
        if (!(arc.length > 0)) {
            return false;
        }
        if (state_ == kNothing) {
            tool_.lowerCornerRadius = Geometry::Radius(arc);
            tool_.lowerCornerAngle = FromAxis(element.StartTangent());
            tool_.taperAngle = FromAxis(element.EndTangent());
            state_ = kLowerCorner;
            return true;
        }
        if ((state_ == kLowerCorner || state_ == kTaper) &&
            AreEqual(element.StartTangent(), lastTangent_) &&
            AreEqual(element.EndTangent(), {0, 1})) {
            tool_.upperCornerRadius = Geometry::Radius(arc);
            state_ = kUpperCorner;
            return true;
        }
        return false;
    }

    double tolerance_;
    State state_ = kNothing;
    Vec2d lastTangent_;
    Vec2d remainder_;
    WideTool tool_;
};

} // namespace

bool ToolFromChain(const std::vector<Vec2d>& profile, double diagonal, double tolerance,
                   WideTool& tool)
{
    const auto chain = Planar::Impl::FitArcsAndSegs(profile, diagonal, tolerance);
    if (chain.elements.empty()) {
        return false;
    }
    const std::vector<Element> elements = Merging(profile, chain, tolerance).Merge();
    tool = ToolReader(tolerance).Read(elements);
    return true;
}

} // namespace Velk::Math::Sorvane::Mill::Impl
