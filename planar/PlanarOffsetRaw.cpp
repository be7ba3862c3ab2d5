// Parallels of elements, arcs about corners, and which of them are surely too near to the chain.
//
// A disc holds the whole of a segment whose two ends it holds, and the whole of an arc likewise
// unless the arc passes the point of its circle that is farthest from the disc's center. So one
// point of the chain, the witness, can rule an element out. Witnesses are looked for among the near
// neighbors: on the inner side of a bend the parallels run through one another, and there are many
// more of them than what is left.

#include "planar/PlanarOffsetRaw_Impl.h"

#include "planar/ChainElement_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

/// How far away along the chain, in elements, witnesses are looked for, on both sides.
constexpr std::array<std::size_t, 14> kWitnessSteps{1,  2,  3,  4,  5,  6,  8,
                                                    10, 13, 17, 22, 28, 36, 48};

bool IsWithin(const Vec2d& witness, double reach, const Vec2d& point)
{
    return Vector::SquaredLength(point - witness) < reach * reach;
}

class RawOffsetBuilder {
public:
    RawOffsetBuilder(const OffsetSource& source, double distance, double limit)
        : source_(source), distance_(distance),
          reach_(limit - RoundingAt<double>(source.Size() + distance)),
          samePoint_(std::max(kLengthFloor<double>, RoundingAt<double>(source.Size() + distance)))
    {
        raw_.segments.reserve(source.Count());
        raw_.arcs.reserve(source.Count());
    }

    RawOffset Build()
    {
        for (const OffsetSource::Range& chain : source_.ChainRanges()) {
            AddChain(chain);
        }
        return std::move(raw_);
    }

private:
    /// The ends of a parallel element. An arc whose radius would not be positive has none, but the
    /// corners at its ends are rounded as if it had: their arcs meet where the arc is bridged.
    struct Parallel {
        Vec2d start;
        Vec2d end;
    };

    void AddChain(const OffsetSource::Range& chain)
    {
        Parallel first;
        Parallel previous;
        bool isClosed = source_.IsJoined(chain.first);
        for (std::size_t i = chain.first; i < chain.last; ++i) {
            const Parallel own = AddParallel(i, distance_, raw_.segments, raw_.arcs);
            if (i > chain.first && source_.IsJoined(i)) {
                AddCorner(i, i - 1, previous, own);
            } else if (i > chain.first) {
                AddTurn(source_.End(i - 1), source_[i - 1].EndTangent(), i - 1);
                AddTurn(source_.Start(i), source_[i].StartTangent(), i);
                isClosed = false;
            }
            if (!source_.IsSimple()) {
                AddParallel(i, -distance_, raw_.cuttingSegments, raw_.cuttingArcs);
            }
            previous = own;
            first = i == chain.first ? own : first;
        }
        if (isClosed) {
            AddCorner(chain.first, chain.last - 1, previous, first);
        } else {
            AddTurn(source_.Start(chain.first), source_[chain.first].StartTangent(), chain.first);
            AddTurn(source_.End(chain.last - 1), source_[chain.last - 1].EndTangent(),
                    chain.last - 1);
        }
    }

    /// The parallel of element i, put into one of the lists unless it is ruled out.
    Parallel AddParallel(std::size_t i, double distance, std::vector<SegBase<double>>& segments,
                         std::vector<ArcBase<double>>& arcs)
    {
        if (const auto* segment = source_[i].AsSegment()) {
            SegBase<double> parallel;
            Geometry::Offset(*segment, distance, parallel, kLengthFloor<double>);
            const auto isRuledOut = [&](const Vec2d& witness) {
                return IsWithin(witness, reach_, parallel.start) &&
                       IsWithin(witness, reach_, parallel.end);
            };
            if (!HasWitness(i, i, parallel.start, isRuledOut)) {
                segments.push_back(parallel);
            }
            return {parallel.start, parallel.end};
        }
        const ArcBase<double>& arc = *source_[i].AsArc();
        ArcBase<double> parallel;
        if (!Geometry::Offset(arc, distance, parallel, kLengthFloor<double>)) {
            const double outward = arc.length < 0 ? -distance : distance;
            const double radius = Vector::Length(arc.start - arc.center);
            return {source_.Start(i) + (source_.Start(i) - arc.center) * (outward / radius),
                    source_.End(i) + (source_.End(i) - arc.center) * (outward / radius)};
        }
        const Vec2d end = Geometry::EndPoint(parallel);
        if (!IsArcRuledOut(parallel, end, i, i)) {
            arcs.push_back(parallel);
        }
        return {parallel.start, end};
    }

    /// The arc about the start of element i from the parallel of element `last` before it to its
    /// own. It is made on the inner side too, unless it can be told that the chain comes too near
    /// all along it.
    void AddCorner(std::size_t i, std::size_t last, const Parallel& before, const Parallel& own)
    {
        if (Matches(before.end, own.start, samePoint_)) {
            return;
        }
        const Vec2d corner = source_.Start(i);
        const Vec2d from = before.end - corner;
        const Vec2d to = own.start - corner;
        double angle = Vector::AngleBetween(from, to, kLengthFloor<double>);
        if (kPi<double> - std::fabs(angle) <= kLengthFloor<double>) {
            angle = std::fabs(angle); // round the tip: the parallel lies on the right of travel
        }
        const double length = angle * Vector::Length(from);
        if (angle < 0) {
            if (!source_.IsSimple()) {
                raw_.cuttingArcs.push_back({corner, corner - from, length});
            }
            if (IsInnerCornerRuledOut(i, last, corner, from, to)) {
                return;
            }
        }
        const ArcBase<double> arc{corner, before.end, length};
        if (!IsArcRuledOut(arc, own.start, last, i)) {
            raw_.arcs.push_back(arc);
        }
    }

    /// Every half of an inner corner's arc is too near to a point of the element across.
    bool IsInnerCornerRuledOut(std::size_t after, std::size_t before, const Vec2d& corner,
                               const Vec2d& from, const Vec2d& to) const
    {
        const Vec2d sum = from + to;
        const double length = Vector::Length(sum);
        if (!(length > distance_ * 1e-3)) {
            return false;
        }
        const Vec2d middle = sum * (distance_ / length);
        // How far along an element its point is that is nearest to the middle, of a straight one.
        const double along =
            std::sqrt(std::max(distance_ * distance_ - 0.25 * length * length, 0.0));
        const Vec2d ahead = PointOf(after, along, false) - corner;
        const Vec2d behind = PointOf(before, along, true) - corner;
        return IsWithin(ahead, reach_, from) && IsWithin(ahead, reach_, middle) &&
               IsWithin(behind, reach_, middle) && IsWithin(behind, reach_, to);
    }

    /// Point of an element at a length from its start, or from its end, or its other end where it
    /// is shorter.
    Vec2d PointOf(std::size_t i, double length, bool fromEnd) const
    {
        const ArcSegBase<double>& element = source_[i];
        const Vec2d& near = fromEnd ? source_.End(i) : source_.Start(i);
        const Vec2d& far = fromEnd ? source_.Start(i) : source_.End(i);
        const double whole = WideLength(element);
        if (length >= whole) {
            return far;
        }
        const ArcBase<double>* const arc = element.AsArc();
        if (arc == nullptr) {
            return near + (far - near) * (length / whole);
        }
        const Vec2d spoke = near - arc->center;
        const double sense = (arc->length < 0) != fromEnd ? -1.0 : 1.0;
        const double angle = sense * length / Vector::Length(spoke);
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        return arc->center + Vec2d(c * spoke.x() - s * spoke.y(), s * spoke.x() + c * spoke.y());
    }

    /// `before` and `after`: the elements of the chain that it belongs to.
    bool IsArcRuledOut(const ArcBase<double>& arc, const Vec2d& end, std::size_t before,
                       std::size_t after) const
    {
        const Vec2d fromSpoke = (arc.length < 0 ? end : arc.start) - arc.center;
        const Vec2d toSpoke = (arc.length < 0 ? arc.start : end) - arc.center;
        const double radius = Vector::Length(fromSpoke);
        if (!(std::fabs(arc.length) < 3.0 * radius)) {
            return false; // less than half a turn, so that two cross products tell what it spans
        }
        return HasWitness(before, after, arc.start, [&](const Vec2d& witness) {
            if (!IsWithin(witness, reach_, arc.start) || !IsWithin(witness, reach_, end)) {
                return false;
            }
            const Vec2d away = arc.center - witness;
            return (fromSpoke ^ away) < 0 || (away ^ toSpoke) < 0 ||
                   (reach_ > radius &&
                    Vector::SquaredLength(away) < (reach_ - radius) * (reach_ - radius));
        });
    }

    /// `near`: a point of the element in question. Neighbors that are both far from it end the
    /// search, which only saves time.
    template <class IsRuledOut>
    bool HasWitness(std::size_t before, std::size_t after, const Vec2d& near,
                    const IsRuledOut& isRuledOut) const
    {
        constexpr double kFarAway = 12.0;
        const std::size_t count = source_.Count();
        if (!(reach_ > 0)) {
            return false;
        }
        for (const std::size_t step : kWitnessSteps) {
            if (step >= count) {
                return false;
            }
            // Ends of elements: of one step back the start, of one step on the end.
            bool isFar = true;
            if (before >= step || source_.IsClosed()) {
                const Vec2d& witness = source_.Start((before + count - step) % count);
                if (isRuledOut(witness)) {
                    return true;
                }
                isFar = !IsWithin(witness, kFarAway * reach_, near);
            }
            if (after + step < count || source_.IsClosed()) {
                const Vec2d& witness = source_.End((after + step) % count);
                if (isRuledOut(witness)) {
                    return true;
                }
                isFar = isFar && !IsWithin(witness, kFarAway * reach_, near);
            }
            if (isFar) {
                return false;
            }
        }
        return false;
    }

    /// The circle about a loose end of the chain, in quarters, to cut with.
    void AddTurn(const Vec2d& center, const Vec2d& tangent, std::size_t element)
    {
        const double length = 0.5 * kPi<double> * distance_;
        Vec2d spoke = -tangent * distance_;
        for (int quarter = 0; quarter < 4; ++quarter) {
            const Vec2d next(-spoke.y(), spoke.x());
            const ArcBase<double> arc{center, center + spoke, length};
            if (!IsArcRuledOut(arc, center + next, element, element)) {
                raw_.cuttingArcs.push_back(arc);
            }
            spoke = next;
        }
    }

    const OffsetSource& source_;
    double distance_;
    double reach_;
    double samePoint_;
    RawOffset raw_;
};

} // namespace

RawOffset BuildRawOffset(const OffsetSource& source, double distance, double limit)
{
    return RawOffsetBuilder(source, distance, limit).Build();
}

} // namespace Velk::Math::Sorvane::Planar::Impl
