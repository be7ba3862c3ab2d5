// Near pairs of a crowd, by slabs with staircases; the method is told in the header.

#include "arrangement/CurveSlabs_Impl.h"

#include "mathbase/PointCells_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace Velk::Math::Intersect::Impl {
namespace {

/// Half side of the squares about the points of a curve, in tolerances. Half a tolerance would do
/// for two elements to share a point of their squares wherever they are within a tolerance of each
/// other; the rest outweighs all rounding.
constexpr double kPad = 2;
/// Ends within this share of the smallest tolerance are one joint, and so much may rounding disturb
/// the order of curves about it.
constexpr double kSlack = 0.25;

/// In pads. The ends of slabs lie on a lattice, so that ends that differ by rounding do not make a
/// slab each. About the end of a curve nothing is asked of its order.
constexpr double kLatticeStep = 4;
constexpr double kAboutEnd = 1.5;
/// A curve that runs along a step, with its surroundings all within this many pads of it,
/// accompanies it. Thus a bundle of curves that overlap for long, side by side, is one step with
/// wider surroundings.
constexpr double kBundle = 3;
/// How far the slabs' limits are moved outwards when curves are compared.
constexpr double kOverlap = 0.125;
/// Size of a box in which all curves are near each other: two lattice steps and the surroundings
/// about them, diagonally.
constexpr double kBox = 16;

/// As few curves as this are compared with each other.
constexpr std::size_t kFew = 16;

/// Tolerances beyond this multiple of the usual one, and beyond this share of the region, would
/// spoil the lattice for all others: such elements are paired with all.
constexpr double kUnusualTolerance = 16;
constexpr double kWideTolerance = 0x1p-16;

struct Slab {
    double low;
    double high;
};

class CurveSlabs {
public:
    /// `strip`: the curves come from this narrow slab across the slabs here; null for others.
    CurveSlabs(const std::vector<MonotoneCurve>& curves, const CurveOrder& order, const Slab* strip,
               ElementPairs& found)
        : curves_(curves), order_(order), strip_(strip), found_(found)
    {
        double leftmost = std::numeric_limits<double>::infinity();
        for (const MonotoneCurve& curve : curves) {
            leftmost = std::min(leftmost, curve.from);
        }
        origin_ = leftmost - kLatticeStep * order.Pad();
        spans_.reserve(curves.size());
        std::vector<Span> onLattice;
        for (const MonotoneCurve& curve : curves) {
            const double about = kAboutEnd * order.Pad();
            const std::int64_t begin = Lattice(curve.from - about);
            const std::int64_t end = Lattice(curve.to + about) + 1;
            const Span span{begin, std::max(begin, Lattice(curve.Left() + about) + 1),
                            std::min(end, Lattice(curve.Right() - about)), end};
            onLattice.push_back(span);
            limits_.insert(limits_.end(), span.begin(), span.end());
        }
        std::sort(limits_.begin(), limits_.end());
        limits_.erase(std::unique(limits_.begin(), limits_.end()), limits_.end());
        for (const Span& span : onLattice) {
            std::array<int, 4> ranks{};
            std::transform(span.begin(), span.end(), ranks.begin(), [this](std::int64_t limit) {
                return static_cast<int>(std::lower_bound(limits_.begin(), limits_.end(), limit) -
                                        limits_.begin());
            });
            spans_.push_back(ranks);
        }
    }

    void FindPairs()
    {
        stack_.resize(curves_.size());
        for (std::size_t i = 0; i < stack_.size(); ++i) {
            stack_[i] = static_cast<int>(i);
        }
        FindPairsBetween(0, static_cast<int>(limits_.size()) - 1, 0);
    }

private:
    /// On the lattice: where a curve begins, where it runs right across, where it ceases to, where
    /// it ends.
    using Span = std::array<std::int64_t, 4>;

    static constexpr int kNone = -1;

    enum class Relation { Apart, FromLeftJoint, FromRightJoint, None };

    /// A curve of the staircase, and how it is known to be above the one before. Steps about a
    /// common joint make runs: the first and last step of the run on either side, and by how much
    /// the steps of the run so far seem out of order. Those that accompany the curve are a list.
    struct Step {
        int curve;
        double pad;
        int companion;
        Relation relation;
        std::array<int, 2> runFirst;
        std::array<int, 2> runLast;
        double dip;
    };

    const MonotoneCurve& Curve(int number) const
    {
        return curves_[static_cast<std::size_t>(number)];
    }
    const Step& StepAt(int number) const { return steps_[static_cast<std::size_t>(number)]; }

    std::int64_t Lattice(double place) const
    {
        const double step = kLatticeStep * order_.Pad();
        return static_cast<std::int64_t>(std::floor((place - origin_) / step));
    }
    double PlaceOf(int limit) const
    {
        return origin_ + kLatticeStep * order_.Pad() *
                             static_cast<double>(limits_[static_cast<std::size_t>(limit)]);
    }

    bool Reaches(int curve, int first, int last) const
    {
        const std::array<int, 4>& span = spans_[static_cast<std::size_t>(curve)];
        return span[0] < last && span[3] > first;
    }
    bool RunsAcross(int curve, int first, int last) const
    {
        const std::array<int, 4>& span = spans_[static_cast<std::size_t>(curve)];
        return span[1] <= first && span[2] >= last;
    }

    void AddPair(int a, int b)
    {
        const int first = Curve(a).element;
        const int second = Curve(b).element;
        if (first != second) {
            found_.pairs.emplace_back(std::min(first, second), std::max(first, second));
        }
    }

    /// Pairs a curve with a step and all that accompany it.
    void AddPairs(const Step& step, int curve)
    {
        AddPair(step.curve, curve);
        for (int i = step.companion; i != kNone;) {
            const auto& [companion, next] = companions_[static_cast<std::size_t>(i)];
            AddPair(companion, curve);
            i = next;
        }
    }

    bool IsBelow(int a, double padOfA, int b, double padOfB, double from, double to)
    {
        ++found_.comparisons;
        return CurveOrder::IsBelow(Curve(a), padOfA, Curve(b), padOfB, from, to);
    }
    bool IsBelow(const Step& step, int curve, double from, double to)
    {
        return IsBelow(step.curve, step.pad, curve, order_.Pad(), from, to);
    }
    bool IsBelow(int curve, const Step& step, double from, double to)
    {
        return IsBelow(curve, order_.Pad(), step.curve, step.pad, from, to);
    }

    /// Finds the pairs between two limits among the curves from stack_[begin] on, and takes these
    /// off the stack. Each call halves the limits, or loses at least the first step of a staircase.
    void FindPairsBetween(int first, int last, std::size_t begin)
    {
        for (;;) {
            if (stack_.size() - begin < 2) {
                stack_.resize(begin);
                return;
            }
            const double overlap = kOverlap * order_.Pad();
            const Slab slab{PlaceOf(first) - overlap, PlaceOf(last) + overlap};
            if (stack_.size() - begin <= kFew) {
                PairFew(slab, begin);
                stack_.resize(begin);
                return;
            }
            across_.clear();
            others_.clear();
            for (std::size_t i = begin; i < stack_.size(); ++i) {
                (RunsAcross(stack_[i], first, last) ? across_ : others_).push_back(stack_[i]);
            }
            stack_.resize(begin);
            const bool hasEnds = !others_.empty();
            BuildStaircase(slab);
            for (const int curve : others_) {
                LookUp(curve, slab);
            }
            stack_.insert(stack_.end(), others_.begin(), others_.end());
            if (last - first > 1) {
                break;
            }
            if (hasEnds) {
                PairInNarrowSlab(slab, begin);
                stack_.resize(begin);
                return;
            }
        }
        const int middle = first + (last - first) / 2;
        const std::size_t end = stack_.size();
        for (const auto& [from, to] : {std::pair(first, middle), std::pair(middle, last)}) {
            for (std::size_t i = begin; i < end; ++i) {
                if (Reaches(stack_[i], from, to)) {
                    stack_.push_back(stack_[i]);
                }
            }
            FindPairsBetween(from, to, end);
        }
        stack_.resize(begin);
    }

    /// Makes a staircase of the curves in across_, the lowest first; those that do not fit go to
    /// others_.
    void BuildStaircase(const Slab& slab)
    {
        steps_.clear();
        companions_.clear();
        if (across_.empty()) {
            return;
        }
        const double middle = 0.5 * slab.low + 0.5 * slab.high;
        byHeight_.clear();
        for (const int curve : across_) {
            byHeight_.emplace_back(Curve(curve).HeightFromLeft(middle), curve);
        }
        std::sort(byHeight_.begin(), byHeight_.end());
        for (const auto& [height, curve] : byHeight_) {
            AddStep(curve, slab);
        }
        for (int i = static_cast<int>(steps_.size()) - 2; i >= 0; --i) {
            Step& step = steps_[static_cast<std::size_t>(i)];
            const Step& above = StepAt(i + 1);
            for (const int side : {0, 1}) {
                const auto s = static_cast<std::size_t>(side);
                if (above.runFirst[s] <= i) {
                    step.runLast[s] = above.runLast[s];
                }
            }
        }
    }

    void AddStep(int curve, const Slab& slab)
    {
        const int number = static_cast<int>(steps_.size());
        Step step{curve, order_.Pad(), kNone, Relation::Apart, {number, number}, {number, number},
                  0};
        if (number > 0) {
            Step& top = steps_.back();
            double dip = 0;
            step.relation = RelationOf(top, curve, slab, dip);
            if (step.relation == Relation::None) {
                if (!Accompany(top, curve, slab)) {
                    others_.push_back(curve);
                }
                return;
            }
            if (step.relation != Relation::Apart) {
                // Where the common joint changes, only the one before is known to be so related.
                const bool continues = top.relation == step.relation;
                step.dip = dip + (continues ? top.dip : 0.0);
                if ((!continues && top.relation != Relation::Apart &&
                     !IsBelow(StepAt(number - 2), curve, slab.low, slab.high)) ||
                    step.dip > order_.Slack()) {
                    others_.push_back(curve);
                    return;
                }
                const std::size_t side = step.relation == Relation::FromLeftJoint ? 0 : 1;
                step.runFirst[side] = continues ? top.runFirst[side] : number - 1;
            }
        }
        steps_.push_back(step);
    }

    /// How a curve is known to be above a step; both run across the slab.
    Relation RelationOf(const Step& lower, int upper, const Slab& slab, double& dip)
    {
        if (IsBelow(lower, upper, slab.low, slab.high)) {
            return Relation::Apart;
        }
        for (const int side : {0, 1}) {
            if (HaveCommonJoint(lower, upper, side) &&
                order_.RunsBelowFromJoint(Curve(lower.curve), Curve(upper), side,
                                          side == 0 ? slab.high : slab.low, false, dip)) {
                return side == 0 ? Relation::FromLeftJoint : Relation::FromRightJoint;
            }
        }
        return Relation::None;
    }

    /// Lets a curve accompany the top of the staircase if it runs along it. The step becomes wider
    /// by that and has to be apart from the one below all the same.
    bool Accompany(Step& top, int curve, const Slab& slab)
    {
        const double bundle = kBundle * order_.Pad();
        if (!CurveOrder::IsWithin(Curve(curve), order_.Pad(), Curve(top.curve), bundle, slab.low,
                                  slab.high)) {
            return false;
        }
        if (top.companion == kNone) {
            if (steps_.size() > 1) {
                const Step& below = steps_[steps_.size() - 2];
                if (!IsBelow(below.curve, below.pad, top.curve, bundle, slab.low, slab.high)) {
                    return false;
                }
            }
            top.relation = Relation::Apart;
            top.runFirst = {static_cast<int>(steps_.size()) - 1,
                            static_cast<int>(steps_.size()) - 1};
            top.pad = bundle;
        }
        AddPairs(top, curve);
        companions_.emplace_back(curve, top.companion);
        top.companion = static_cast<int>(companions_.size()) - 1;
        return true;
    }

    /// A bundle has no joints.
    bool HaveCommonJoint(const Step& step, int curve, int side) const
    {
        const auto s = static_cast<std::size_t>(side);
        const int joint = Curve(curve).joint[s];
        return joint != MonotoneCurve::kNoJoint && step.companion == kNone &&
               joint == Curve(step.curve).joint[s];
    }

    /// Pairs a curve with all steps that it is not known to be apart from. A step that it is apart
    /// from hides all beyond.
    void LookUp(int curve, const Slab& slab)
    {
        if (steps_.empty()) {
            return;
        }
        const MonotoneCurve& own = Curve(curve);
        const double from = std::max(slab.low, own.Left() - order_.Pad());
        const double to = std::min(slab.high, own.Right() + order_.Pad());
        const double middle = 0.5 * from + 0.5 * to;
        const double height = own.HeightFromLeft(middle);
        const auto place = std::partition_point(steps_.begin(), steps_.end(), [&](const Step& s) {
            return Curve(s.curve).HeightFromLeft(middle) < height;
        });
        const int above = static_cast<int>(place - steps_.begin());
        for (int i = above - 1; i >= 0;) {
            const Step& step = StepAt(i);
            if (IsBelow(step, curve, from, to)) {
                break;
            }
            const int side = SideOfJoint(step, curve, true, from, to);
            if (side < 0) {
                AddPairs(step, curve);
            }
            i = side < 0 ? i - 1 : step.runFirst[static_cast<std::size_t>(side)] - 1;
        }
        for (int i = above; i < static_cast<int>(steps_.size());) {
            const Step& step = StepAt(i);
            if (IsBelow(curve, step, from, to)) {
                break;
            }
            const int side = SideOfJoint(step, curve, false, from, to);
            if (side < 0) {
                AddPairs(step, curve);
            }
            i = side < 0 ? i + 1 : step.runLast[static_cast<std::size_t>(side)] + 1;
        }
    }

    /// The side on which a step and a curve have a common joint and are in order from there on
    /// within [from, to], so that the joint is all they have in common; -1 for none.
    int SideOfJoint(const Step& step, int curve, bool stepIsLower, double from, double to) const
    {
        for (const int side : {0, 1}) {
            if (HaveCommonJoint(step, curve, side)) {
                // An end of the curve that lies here may touch the step.
                const auto other = static_cast<std::size_t>(1 - side);
                const double place = Curve(curve).ends[other].x();
                const double about = kPad * order_.Pad();
                const bool mustPart =
                    Curve(curve).isEnd[other] && place > from - about && place < to + about;
                const MonotoneCurve& lower = Curve(stepIsLower ? step.curve : curve);
                const MonotoneCurve& upper = Curve(stepIsLower ? curve : step.curve);
                double dip = 0;
                if (order_.RunsBelowFromJoint(lower, upper, side, side == 0 ? to : from, mustPart,
                                              dip)) {
                    return side;
                }
            }
        }
        return -1;
    }

    /// The box of what a curve has of its surroundings in a slab: an interval of places along the
    /// sweep and one of heights, which are asked separately. Not a box of points: where the slab
    /// lies beyond the curve, its interval of places is empty and its heights mean nothing.
    struct Box {
        double from, to, bottom, top;
    };
    Box SurroundingsIn(const Slab& slab, const MonotoneCurve& curve) const
    {
        const double pad = order_.Pad();
        const double from = std::max(slab.low, curve.Left() - pad);
        const double to = std::min(slab.high, curve.Right() + pad);
        return {from, to,
                std::min(CurveOrder::Bottom(curve, pad, from), CurveOrder::Bottom(curve, pad, to)),
                std::max(CurveOrder::Top(curve, pad, from), CurveOrder::Top(curve, pad, to))};
    }

    /// Compares all of the curves from stack_[begin] on whose boxes in the slab overlap.
    void PairFew(const Slab& slab, std::size_t begin)
    {
        std::array<Box, kFew> boxes{};
        std::size_t count = 0;
        for (std::size_t i = begin; i < stack_.size(); ++i) {
            boxes[count++] = SurroundingsIn(slab, Curve(stack_[i]));
        }
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t j = i + 1; j < count; ++j) {
                const Box& a = boxes[i];
                const Box& b = boxes[j];
                const double from = std::max(a.from, b.from);
                const double to = std::min(a.to, b.to);
                ++found_.comparisons;
                if (from > to || a.bottom > b.top || b.bottom > a.top) {
                    continue;
                }
                const double middle = 0.5 * from + 0.5 * to;
                int lower = stack_[begin + i];
                int upper = stack_[begin + j];
                if (Curve(upper).HeightFromLeft(middle) < Curve(lower).HeightFromLeft(middle)) {
                    std::swap(lower, upper);
                }
                if (!IsBelow(lower, order_.Pad(), upper, order_.Pad(), from, to)) {
                    AddPair(lower, upper);
                }
            }
        }
    }

    /// Goes on the other way with the curves from stack_[begin] on, which end in a slab as narrow
    /// as the lattice, or come near such.
    void PairInNarrowSlab(const Slab& slab, std::size_t begin)
    {
        if (strip_ != nullptr) {
            PairInBox(slab, begin);
            return;
        }
        const double margin = kPad * order_.Pad();
        constexpr double kFar = std::numeric_limits<double>::infinity();
        const Region strip{{slab.low - margin, -kFar}, {slab.high + margin, kFar}};
        std::vector<MonotoneCurve> turned;
        for (std::size_t i = begin; i < stack_.size(); ++i) {
            MonotoneCurve curve = Curve(stack_[i]);
            if (curve.RestrictTo(strip)) {
                turned.push_back(curve.Turned());
            }
        }
        CurveSlabs(turned, order_, &slab, found_).FindPairs();
    }

    /// Pairs all that reach into the box of a slab and the strip with each other, except those with
    /// a joint in the box in common, of which nearly all may be.
    void PairInBox(const Slab& slab, std::size_t begin)
    {
        const double margin = kPad * order_.Pad();
        const Region box{{slab.low - margin, strip_->low - margin},
                         {slab.high + margin, strip_->high + margin}};
        const auto isInBox = [&](const Vec2d& p) {
            return p.x() >= box.min.x() && p.x() <= box.max.x() && p.y() >= box.min.y() &&
                   p.y() <= box.max.y();
        };
        struct Member {
            int joint;
            int curve;
        };
        std::vector<Member> members;
        std::vector<int> joints;
        for (std::size_t i = begin; i < stack_.size(); ++i) {
            const MonotoneCurve& curve = Curve(stack_[i]);
            const Box surroundings = SurroundingsIn(slab, curve);
            if (surroundings.bottom > box.max.y() || surroundings.top < box.min.y()) {
                continue;
            }
            members.push_back({MonotoneCurve::kNoJoint, stack_[i]});
            for (std::size_t side = 0; side < 2; ++side) {
                if (curve.joint[side] != MonotoneCurve::kNoJoint && isInBox(curve.ends[side])) {
                    joints.push_back(curve.joint[side]);
                }
            }
        }
        // Each belongs to the more frequent of its joints here.
        std::sort(joints.begin(), joints.end());
        const auto frequency = [&](int joint) {
            const auto [first, last] = std::equal_range(joints.begin(), joints.end(), joint);
            return last - first;
        };
        for (Member& member : members) {
            std::ptrdiff_t highest = 1;
            for (const int joint : Curve(member.curve).joint) {
                const std::ptrdiff_t count = frequency(joint);
                if (count > highest) {
                    highest = count;
                    member.joint = joint;
                }
            }
        }
        std::sort(members.begin(), members.end(), [](const Member& a, const Member& b) {
            return a.joint != b.joint ? a.joint > b.joint : a.curve < b.curve;
        });
        std::size_t groupEnd = 0;
        for (std::size_t i = 0; i < members.size(); ++i) {
            while (groupEnd < members.size() && members[groupEnd].joint == members[i].joint) {
                ++groupEnd;
            }
            const bool hasJoint = members[i].joint != MonotoneCurve::kNoJoint;
            for (std::size_t j = hasJoint ? groupEnd : i + 1; j < members.size(); ++j) {
                ++found_.comparisons;
                AddPair(members[i].curve, members[j].curve);
            }
        }
    }

    const std::vector<MonotoneCurve>& curves_;
    const CurveOrder& order_;
    const Slab* strip_;
    ElementPairs& found_;
    double origin_ = 0;
    std::vector<std::int64_t> limits_;
    /// The spans of the curves, as ranks among the limits.
    std::vector<std::array<int, 4>> spans_;
    /// The curves of all calls that have begun.
    std::vector<int> stack_;
    // Of the current call, before it calls itself.
    std::vector<int> across_;
    std::vector<int> others_;
    std::vector<std::pair<double, int>> byHeight_;
    std::vector<Step> steps_;
    /// Lists of curves that accompany a step: a curve, and the place of the next.
    std::vector<std::pair<int, int>> companions_;
};

/// The pad that suits the tolerances of a crowd; elements of unusually wide ones are taken out of
/// it and paired with all.
struct Tolerances {
    double least = std::numeric_limits<double>::infinity();
    double most = 0;
};

Tolerances SetWideOnesApart(const std::vector<Element>& elements, const Region& region,
                            std::vector<int>& crowd, ElementPairs& found)
{
    const auto toleranceOf = [&](int number) {
        return elements[static_cast<std::size_t>(number)].tolerance;
    };
    std::vector<double> sorted;
    sorted.reserve(crowd.size());
    for (const int number : crowd) {
        sorted.push_back(toleranceOf(number));
    }
    const auto usual = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 4);
    std::nth_element(sorted.begin(), usual, sorted.end());
    const Vec2d extent = region.max - region.min;
    const double widest =
        std::max(kUnusualTolerance * *usual, kWideTolerance * std::max(extent.x(), extent.y()));
    std::vector<int> kept;
    kept.reserve(crowd.size());
    Tolerances tolerances;
    for (std::size_t i = 0; i < crowd.size(); ++i) {
        const double tolerance = toleranceOf(crowd[i]);
        if (tolerance <= widest) {
            kept.push_back(crowd[i]);
            tolerances.least = std::min(tolerances.least, tolerance);
            tolerances.most = std::max(tolerances.most, tolerance);
            continue;
        }
        for (std::size_t j = 0; j < crowd.size(); ++j) {
            if (j != i && (j > i || toleranceOf(crowd[j]) <= widest)) {
                found.pairs.emplace_back(std::min(crowd[i], crowd[j]),
                                         std::max(crowd[i], crowd[j]));
            }
        }
    }
    crowd = std::move(kept);
    return tolerances;
}

/// Numbers the ends of elements so that those in one place have the same number.
class Joints {
public:
    Joints(std::size_t capacity, double reach) : reach_(reach), near_(capacity, reach) {}

    int NumberOf(const Vec2d& end)
    {
        int found = MonotoneCurve::kNoJoint;
        near_.VisitNear(end, [&](int number) {
            if (!Vector::Matches(positions_[static_cast<std::size_t>(number)], end, reach_)) {
                return Vector::Impl::Visiting::GoOn;
            }
            found = number;
            return Vector::Impl::Visiting::Stop;
        });
        if (found == MonotoneCurve::kNoJoint) {
            found = static_cast<int>(positions_.size());
            positions_.push_back(end);
            near_.Add(end, found);
        }
        return found;
    }

    int Count() const { return static_cast<int>(positions_.size()); }

private:
    double reach_;
    std::vector<Vec2d> positions_;
    Vector::Impl::NearPoints<2, double> near_;
};

/// Is all that two such elements can have in common within a box about a common end the stretch
/// about that end? Their other ends have to be farther off, but for those of a circle, and arcs so
/// flat that they don't leave a chord in the box by as much as a tolerance. An arc of more than a
/// turn ends on itself.
bool HasPlainEnds(const Element& element, double box, double leastTolerance)
{
    if (element.length <= 2 * box) {
        return false;
    }
    if (!element.isArc) {
        return true;
    }
    const double opening = Vector::Length(element.end - element.start);
    return 2 * leastTolerance * element.radius > box * box &&
           (opening > 2 * box || opening <= 0.5 * element.tolerance) &&
           element.length <= kTwoPi<double> * element.radius + leastTolerance;
}

} // namespace

void FindPairsOfCrowd(const std::vector<Element>& elements, const std::vector<int>& crowd,
                      const Region& region, ElementPairs& found)
{
    std::vector<int> members = crowd;
    const Tolerances tolerances = SetWideOnesApart(elements, region, members, found);
    if (members.size() < 2) {
        return;
    }
    // Elements of no size at the origin have no tolerance.
    const double pad = std::max(kPad * tolerances.most, 1e-300);
    const double slack = kSlack * tolerances.least;

    Joints joints(2 * members.size(), slack);
    std::vector<std::array<int, 2>> jointsOf;
    jointsOf.reserve(members.size());
    for (const int number : members) {
        const Element& element = elements[static_cast<std::size_t>(number)];
        jointsOf.push_back({MonotoneCurve::kNoJoint, MonotoneCurve::kNoJoint});
        if (HasPlainEnds(element, kBox * pad, tolerances.least)) {
            jointsOf.back() = {joints.NumberOf(element.start), joints.NumberOf(element.end)};
        }
    }
    std::vector<MonotoneCurve> curves;
    curves.reserve(members.size());
    int nextJoint = joints.Count();
    const Vec2d margin(kPad * pad, kPad * pad);
    const Region reach{region.min - margin, region.max + margin};
    for (std::size_t i = 0; i < members.size(); ++i) {
        const Element& element = elements[static_cast<std::size_t>(members[i])];
        AppendCurvesOf(element, members[i], jointsOf[i], reach, nextJoint, curves);
    }
    const CurveOrder order(pad, slack);
    CurveSlabs(curves, order, nullptr, found).FindPairs();
}

} // namespace Velk::Math::Intersect::Impl
