// Parts of segments and arcs that are monotone in both coordinates, and which of two lies below.
//
// Such a part is a function of its first coordinate, its height, and after an exchange of the
// coordinates a function of the other. A part has a pad: the square of that half side about each of
// its points is its surroundings, and the surroundings over one place are an interval of heights.
// Two parts whose intervals are disjoint over a common stretch of places come nowhere near each
// other there. `CurveOrder` decides that exactly but for rounding, which the pads outweigh, so that
// "below" is transitive and a row of parts can be searched like a sorted list.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include "arrangement/ElementCrossings_Impl.h"

#include <array>
#include <cmath>
#include <vector>

namespace Velk::Math::Intersect::Impl {

/// A part of the plane.
using Region = Sorvane::Bounding::AxisAlignedBoundingBox<2, double>;

struct MonotoneCurve {
    static constexpr int kNoJoint = -1;

    /// The end of smaller first coordinate and the other one.
    std::array<Vec2d, 2> ends;
    /// Straight ones.
    double slope = 0;
    /// The circle of the others, 0 for the radius of straight ones, and the quadrant as signs.
    Vec2d center;
    double radius = 0;
    Vec2d quadrant;

    /// The stretch of places that is asked about; the curve may go on beyond.
    double from = 0;
    double to = 0;

    /// Bound on the error of a height that is asked for, measured across the curve.
    double rounding = 0;

    int element = 0;
    /// The common point of several elements that an end is, as a number; kNoJoint for none.
    std::array<int, 2> joint{kNoJoint, kNoJoint};
    /// Is the end one of the whole element, rather than a place where an arc was divided?
    std::array<bool, 2> isEnd{false, false};

    double Left() const { return ends[0].x(); }
    double Right() const { return ends[1].x(); }
    bool Rises() const { return ends[1].y() >= ends[0].y(); }
    bool IsStraight() const { return radius == 0; }

    /// Height over a place, that of the nearer end beyond an end. An upright one has the height of
    /// the left end with the first form, that of the right end with the second.
    double HeightFromLeft(double place) const
    {
        return place <= Left() ? ends[0].y() : place >= Right() ? ends[1].y() : HeightWithin(place);
    }
    double HeightFromRight(double place) const
    {
        return place >= Right() ? ends[1].y() : place <= Left() ? ends[0].y() : HeightWithin(place);
    }

    /// The same with the two coordinates exchanged.
    MonotoneCurve Turned() const;

    /// Restricts the stretch that is asked about to what lies in the region. False when nothing
    /// does.
    bool RestrictTo(const Region& region);

private:
    double HeightWithin(double place) const
    {
        if (IsStraight()) { // from the nearer end, whose bits the sum then keeps best
            const double fromLeft = place - Left();
            const double fromRight = Right() - place;
            return fromLeft <= fromRight ? ends[0].y() + slope * fromLeft
                                         : ends[1].y() - slope * fromRight;
        }
        const double away = std::fabs(place - center.x());
        const double squared = (radius - away) * (radius + away);
        return center.y() + quadrant.y() * (squared > 0 ? std::sqrt(squared) : 0.0);
    }
};

/// Appends the parts of an element that reach into the region. `joints` are those of its start and
/// its end. The points where an arc is divided get numbers from `nextJoint` on.
void AppendCurvesOf(const Element& element, int number, const std::array<int, 2>& joints,
                    const Region& region, int& nextJoint, std::vector<MonotoneCurve>& curves);

/// Decides which curves are below which, over a stretch of places that both reach at least with
/// their pads.
class CurveOrder {
public:
    /// `slack`: how far curves from a common joint may seem to be out of order.
    CurveOrder(double pad, double slack) : pad_(pad), slack_(slack) {}

    /// The usual pad.
    double Pad() const { return pad_; }
    double Slack() const { return slack_; }

    /// Upper and lower limit of the surroundings over a place.
    static double Top(const MonotoneCurve& c, double pad, double place)
    {
        return pad + (c.Rises() ? c.HeightFromRight(place + pad) : c.HeightFromLeft(place - pad));
    }
    static double Bottom(const MonotoneCurve& c, double pad, double place)
    {
        return (c.Rises() ? c.HeightFromLeft(place - pad) : c.HeightFromRight(place + pad)) - pad;
    }

    /// Are the surroundings of `a` below those of `b` all over [from, to]?
    static bool IsBelow(const MonotoneCurve& a, double padOfA, const MonotoneCurve& b,
                        double padOfB, double from, double to);

    /// Are the surroundings of `inner` within those of `outer` all over [from, to]? Both curves
    /// go on beyond it.
    static bool IsWithin(const MonotoneCurve& inner, double innerPad, const MonotoneCurve& outer,
                         double outerPad, double from, double to);

    /// Both curves have the same joint on one side (0 left, 1 right). Does `a` run below `b` from
    /// there on as far as `to`, so that whatever they have in common by then is one stretch about
    /// the joint? With `mustPart` their surroundings have to be apart about `to`. `dip` receives by
    /// how much more than rounding they seem out of order; it is within the slack.
    bool RunsBelowFromJoint(const MonotoneCurve& a, const MonotoneCurve& b, int side, double to,
                            bool mustPart, double& dip) const;

private:
    double pad_;
    double slack_;
};

} // namespace Velk::Math::Intersect::Impl
