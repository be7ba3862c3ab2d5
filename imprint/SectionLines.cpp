// One plane through a mesh: a chord for each triangle that it cuts, and the lines that chords make.
//
// 1. Each chord runs from one edge of its triangle to another. Edges that are cut become places,
//    found by their two corners; a place has its point, calculated once.
// 2. Ends of chords are partnered at their places: two of them by themselves, more of them in
//    wedges of material around the edge.
// 3. In planes through corners chords may run along each other. Those of opposite sense are spliced
//    out: the neighbors before and behind become partners. Others have shrunk to a corner; they
//    pass lines on and have no point of their own.
// 4. Lines are walked from partner to partner, chains first.
//
// Up to the third step the plane is one between the corners and those just beyond it, so that lines
// are whole where the mesh is, whatever lies in the plane.

#include "imprint/SectionLines_Impl.h"

#include "mathbase/Values_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <tuple>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

constexpr int kNone = -1;

/// Edges of a triangle that a plane cuts, edge k from corner k to the next: the one that leads down
/// through it and the one that leads up. By which corners are above, corner k as bit k.
struct CutEdges {
    std::size_t down;
    std::size_t up;
};
constexpr std::array<CutEdges, 8> kCutEdges{
    {{0, 0}, {0, 2}, {1, 0}, {1, 2}, {2, 1}, {0, 1}, {2, 0}, {0, 0}}};

/// Where the plane cuts an edge. `corner` is the end of the edge that lies in the plane, if one
/// does.
struct Place {
    int below;
    int above;
    int corner;
    std::array<int, 2> ends; // of chords, the first two that came here
    Vec2d point;

    /// Equal for places of one point: an edge, or a corner in the plane.
    std::uint64_t Key() const
    {
        const auto of = [](int a, int b) {
            return static_cast<std::uint64_t>(static_cast<std::uint32_t>(a)) << 32U |
                   static_cast<std::uint32_t>(b);
        };
        return corner == kNone ? of(below, above) : of(corner, corner);
    }
};

/// Chord c has the ends 2c, where its triangle's boundary leads down through the plane, and 2c + 1,
/// where it leads up. From the first to the second the material is on the left.
int ChordOf(int end) { return end / 2; }
int OtherEnd(int end) { return end ^ 1; }
bool IsStart(int end) { return end % 2 == 0; }

class SectionLinker {
public:
    SectionLinker(std::span<const Vec3d> points, std::span<const int> indices,
                  std::span<const int> triangles, const SectionPlane& plane)
        : points_(points), indices_(indices), triangles_(triangles), plane_(plane)
    {
    }

    void Link(MeshSection& section)
    {
        FindPlaces();
        PartnerAtCrowdedPlaces();
        if (hasCorners_ || !extraEnds_.empty()) {
            CancelOppositeChords();
        }
        WalkLines(section);
    }

private:
    struct ExtraEnd {
        int place;
        int end;
    };
    struct Spoke {
        double angle;
        double doubt; // how far from it the direction may be, by the rounding of coordinates
        int end;
    };
    struct Stretch {
        std::uint64_t low;
        std::uint64_t high;
        bool isBackward;
        int chord;
    };
    struct Line {
        std::vector<Vec2d> points;
        double forward = 0;  // length of chords that are run from start to end
        double backward = 0; // and of those that are run from end to start
    };

    const Vec3d& Point(int number) const { return points_[static_cast<std::size_t>(number)]; }
    const int* Corners(int chord) const
    {
        return &indices_[3 * static_cast<std::size_t>(triangles_[static_cast<std::size_t>(chord)])];
    }
    int& Partner(int end) { return partner_[static_cast<std::size_t>(end)]; }
    const Place& PlaceOf(int end) const
    {
        return places_[static_cast<std::size_t>(placeOf_[static_cast<std::size_t>(end)])];
    }
    int ChordCount() const { return static_cast<int>(triangles_.size()); }

    /// In a table of open addressing, which for the few edges of one plane stays in the fastest
    /// cache.
    void FindPlaces()
    {
        const std::size_t count = triangles_.size();
        const std::size_t slots = std::bit_ceil(3 * count + 1); // at most two places for each chord
        slotShift_ = 64U - static_cast<unsigned>(std::bit_width(slots - 1));
        slots_.assign(slots, kNone);
        places_.reserve(count + count / 8);
        placeOf_.resize(2 * count);
        partner_.assign(2 * count, kNone);
        for (int chord = 0; chord < ChordCount(); ++chord) {
            FetchAhead(chord);
            const int* corners = Corners(chord);
            std::size_t above = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                above |= std::size_t{plane_.IsAbove(Point(corners[k]).z())} << k;
            }
            const auto [down, up] = kCutEdges[above];
            Arrive(2 * chord, corners[(down + 1) % 3], corners[down]);
            Arrive(2 * chord + 1, corners[up], corners[(up + 1) % 3]);
        }
    }

    /// Triangles of a plane lie all over the mesh: what is soon to be read is on its way meanwhile.
    void FetchAhead(int chord) const
    {
        constexpr int kIndicesAhead = 16;
        constexpr int kPointsAhead = 8;
        if (chord + kIndicesAhead < ChordCount()) {
            __builtin_prefetch(Corners(chord + kIndicesAhead));
            const int* corners = Corners(chord + kPointsAhead);
            for (std::size_t k = 0; k < 3; ++k) {
                __builtin_prefetch(&Point(corners[k]));
            }
        }
    }

    void Arrive(int end, int below, int above)
    {
        const int number = PlaceOn(below, above);
        placeOf_[static_cast<std::size_t>(end)] = number;
        std::array<int, 2>& ends = places_[static_cast<std::size_t>(number)].ends;
        if (ends[0] == kNone) {
            ends[0] = end;
        } else if (ends[1] == kNone) {
            ends[1] = end;
            Partner(end) = ends[0];
            Partner(ends[0]) = end;
        } else {
            extraEnds_.push_back({number, end});
        }
    }

    int PlaceOn(int below, int above)
    {
        std::uint64_t hash = static_cast<std::uint64_t>(static_cast<std::uint32_t>(below)) << 32U |
                             static_cast<std::uint32_t>(above);
        hash *= 0x9e3779b97f4a7c15U;
        hash ^= hash >> 32U;
        hash *= 0xd6e8feb86659fd93U;
        for (std::size_t slot = hash >> slotShift_;; slot = (slot + 1) & (slots_.size() - 1)) {
            int& number = slots_[slot];
            if (number == kNone) {
                number = static_cast<int>(places_.size());
                places_.push_back(NewPlace(below, above));
                return number;
            }
            const Place& place = places_[static_cast<std::size_t>(number)];
            if (place.below == below && place.above == above) {
                return number;
            }
        }
    }

    Place NewPlace(int below, int above)
    {
        const int limit = plane_.isLimitFromBelow ? above : below;
        if (plane_.IsOn(Point(limit).z())) {
            hasCorners_ = true;
            return {below, above, limit, {kNone, kNone}, Vec2d(Point(limit).x(), Point(limit).y())};
        }
        const Vec3d& low = Point(below);
        const Vec3d along = Point(above) - low;
        const double t = (plane_.height - low.z()) / along.z();
        return {below,
                above,
                kNone,
                {kNone, kNone},
                Vec2d(low.x() + t * along.x(), low.y() + t * along.y())};
    }

    void PartnerAtCrowdedPlaces()
    {
        std::stable_sort(extraEnds_.begin(), extraEnds_.end(),
                         [](const ExtraEnd& a, const ExtraEnd& b) { return a.place < b.place; });
        std::vector<Spoke> spokes;
        for (std::size_t i = 0; i < extraEnds_.size();) {
            const Place& place = places_[static_cast<std::size_t>(extraEnds_[i].place)];
            spokes.clear();
            for (const int end : place.ends) {
                spokes.push_back(SpokeOf(place, end));
            }
            for (const int number = extraEnds_[i].place;
                 i < extraEnds_.size() && extraEnds_[i].place == number; ++i) {
                spokes.push_back(SpokeOf(place, extraEnds_[i].end));
            }
            PartnerAround(spokes);
        }
    }

    /// Direction, seen along the edge, in which the triangle of the chord lies from the edge.
    /// Unlike the direction of the chord it is the same for every plane through the edge.
    Spoke SpokeOf(const Place& place, int end) const
    {
        const int* corners = Corners(ChordOf(end));
        int third = corners[0];
        for (std::size_t k = 1; third == place.below || third == place.above; ++k) {
            third = corners[k];
        }
        const Vec3d& low = Point(place.below);
        const Vec3d along = Point(place.above) - low;
        const Vec3d aside = Point(third) - low;
        const double t = aside.z() / along.z();
        const double x = aside.x() - t * along.x();
        const double y = aside.y() - t * along.y();
        // Coordinates are known to a rounding of the largest of them, of `float` as many files have
        // it. Along the edge it counts as the height and the slope of the edge have it.
        constexpr double kRounding = 0x1p-23;
        constexpr double kMostDoubt = 1e-4;
        const double size = std::max({LargestOf(low), LargestOf(along), LargestOf(aside)});
        const double slope = (std::fabs(along.x()) + std::fabs(along.y())) / std::fabs(along.z());
        const double doubt = kRounding * size * (1 + std::fabs(t)) * (1 + slope) / std::hypot(x, y);
        const double angle = std::atan2(y, x);
        return {Math::Impl::IsFinite(angle) ? angle : 0.0, doubt < kMostDoubt ? doubt : kMostDoubt,
                end}; // NaN too
    }
    static double LargestOf(const Vec3d& v)
    {
        return std::max({std::fabs(v.x()), std::fabs(v.y()), std::fabs(v.z())});
    }

    /// Material lies counter-clockwise from a chord that starts here, up to one that ends here.
    /// These nest like brackets around the place. Of triangles on top of each other the first ones
    /// are partnered, at both of their ends.
    void PartnerAround(std::vector<Spoke>& spokes)
    {
        SortAround(spokes);
        for (const Spoke& spoke : spokes) {
            Partner(spoke.end) = kNone;
        }
        std::vector<int> open;
        for (const bool isSecondRound : {false, true}) {
            for (const Spoke& spoke : spokes) {
                if (IsStart(spoke.end)) {
                    if (!isSecondRound) {
                        open.push_back(spoke.end);
                    }
                } else if (Partner(spoke.end) == kNone && !open.empty()) {
                    Join(open.back(), spoke.end);
                    open.pop_back();
                }
            }
        }
        // What is left is of one sense.
        int waiting = kNone;
        for (const Spoke& spoke : spokes) {
            if (Partner(spoke.end) != kNone) {
                continue;
            }
            if (waiting == kNone) {
                waiting = spoke.end;
            } else {
                Join(waiting, spoke.end);
                waiting = kNone;
            }
        }
    }

    /// By direction, from behind the widest gap on, and in one direction ends before starts. There
    /// bodies touch that have a wall in common: the material of one ends where that of the other
    /// starts, and between the two is none, even if rounding of their corners tells that they
    /// overlap by a hair. What starts and ends within a hair is still whole, as the brackets of all
    /// others are closed first.
    static void SortAround(std::vector<Spoke>& spokes)
    {
        std::sort(spokes.begin(), spokes.end(), [](const Spoke& a, const Spoke& b) {
            return std::tie(a.angle, a.end) < std::tie(b.angle, b.end);
        });
        const auto gapBehind = [&](std::size_t i) {
            return i + 1 < spokes.size()
                       ? spokes[i + 1].angle - spokes[i].angle
                       : spokes.front().angle + 2 * std::numbers::pi - spokes[i].angle;
        };
        std::size_t widest = 0;
        for (std::size_t i = 1; i < spokes.size(); ++i) {
            if (gapBehind(i) > gapBehind(widest)) {
                widest = i;
            }
        }
        std::rotate(spokes.begin(), spokes.begin() + static_cast<std::ptrdiff_t>(widest) + 1,
                    spokes.end());
        const auto isOneDirection = [](const Spoke& a, const Spoke& b) {
            const double turn = b.angle - a.angle;
            return (turn < 0 ? turn + 2 * std::numbers::pi : turn) <= a.doubt + b.doubt;
        };
        for (auto first = spokes.begin(); first != spokes.end();) {
            auto last = first + 1;
            while (last != spokes.end() && isOneDirection(*(last - 1), *last)) {
                ++last;
            }
            // Stable: within ends, and within starts, by direction. Those of equal direction are in
            // ascending order; starts are to be in descending order, so that the first is closed
            // first.
            const auto starts = std::stable_partition(
                first, last, [](const Spoke& spoke) { return !IsStart(spoke.end); });
            for (auto same = starts; same != last;) {
                const auto next = std::find_if(
                    same, last, [&](const Spoke& spoke) { return spoke.angle != same->angle; });
                std::reverse(same, next);
                same = next;
            }
            first = last;
        }
    }

    /// Makes two ends partners; where one is missing the other is open.
    void Join(int a, int b)
    {
        if (a != kNone) {
            Partner(a) = b;
        }
        if (b != kNone) {
            Partner(b) = a;
        }
    }

    /// Takes the ends `a` and `b`, which are at one point, out of the lines that go through them.
    void SpliceOut(int a, int b)
    {
        Join(Partner(a), Partner(b)); // of each other: nothing goes through them
        Partner(a) = Partner(b) = kNone;
    }

    bool IsDropped(int chord) const
    {
        return placeOf_[static_cast<std::size_t>(2 * chord)] == kNone;
    }
    void Drop(int chord) { placeOf_[static_cast<std::size_t>(2 * chord)] = kNone; }

    /// Two chords between the same two points belong to triangles on one edge in the plane, or to
    /// triangles on the same three corners, and then both places are crowded, or the two chords
    /// make a loop of their own.
    void CancelOppositeChords()
    {
        std::vector<Stretch> stretches;
        for (int chord = 0; chord < ChordCount(); ++chord) {
            if (IsDropped(chord)) {
                continue;
            }
            const Place& from = PlaceOf(2 * chord);
            const Place& to = PlaceOf(2 * chord + 1);
            if (!extraEnds_.empty() || (from.corner != kNone && to.corner != kNone)) {
                const std::uint64_t a = from.Key();
                const std::uint64_t b = to.Key();
                stretches.push_back({std::min(a, b), std::max(a, b), b < a, chord});
            }
        }
        std::sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) {
            return std::tie(a.low, a.high, a.isBackward, a.chord) <
                   std::tie(b.low, b.high, b.isBackward, b.chord);
        });
        for (std::size_t first = 0; first < stretches.size();) {
            std::size_t backward = first;
            std::size_t last = first;
            for (; last < stretches.size() && stretches[last].low == stretches[first].low &&
                   stretches[last].high == stretches[first].high;
                 ++last) {
                backward += stretches[last].isBackward ? 0 : 1;
            }
            for (std::size_t i = first, j = backward; i < backward && j < last; ++i, ++j) {
                const int a = stretches[i].chord;
                const int b = stretches[j].chord;
                SpliceOut(2 * a, 2 * b + 1);
                SpliceOut(2 * a + 1, 2 * b);
                Drop(a);
                Drop(b);
            }
            first = last;
        }
    }

    void WalkLines(MeshSection& section)
    {
        Line line;
        for (int end = 0; end < 2 * ChordCount(); ++end) {
            if (!IsDropped(ChordOf(end)) && Partner(end) == kNone) {
                Walk(end, line);
                if (line.points.size() >= 2) {
                    if (line.backward > line.forward) {
                        std::reverse(line.points.begin(), line.points.end());
                    }
                    section.chains.push_back(line.points);
                    section.openLength += line.forward + line.backward;
                }
            }
        }
        for (int chord = 0; chord < ChordCount(); ++chord) {
            if (!IsDropped(chord)) {
                Walk(2 * chord, line);
                if (line.points.size() > 1 && line.points.back() == line.points.front()) {
                    line.points.pop_back();
                }
                if (line.points.size() >= 3) { // two points are a stretch that is run out and back
                    if (line.backward > line.forward) {
                        std::reverse(line.points.begin() + 1, line.points.end());
                    }
                    section.area += Vector::SignedArea(line.points);
                    section.length += line.forward + line.backward;
                    section.loops.push_back(line.points);
                }
            }
        }
    }

    /// Follows the line that comes in at an end, to where it is open or comes in again. Ends: every
    /// chord is dropped as it is passed.
    void Walk(int end, Line& line)
    {
        line.points.assign(1, PlaceOf(end).point);
        line.forward = line.backward = 0;
        while (end != kNone && !IsDropped(ChordOf(end))) {
            const Vec2d& from = PlaceOf(end).point;
            const Vec2d& to = PlaceOf(OtherEnd(end)).point;
            if (!(to == line.points.back())) {
                (IsStart(end) ? line.forward : line.backward) += Vector::Length(to - from);
                line.points.push_back(to);
            }
            Drop(ChordOf(end));
            end = Partner(OtherEnd(end));
        }
    }

    std::span<const Vec3d> points_;
    std::span<const int> indices_;
    std::span<const int> triangles_;
    SectionPlane plane_;
    unsigned slotShift_ = 0;
    bool hasCorners_ = false;
    std::vector<int> slots_;          // numbers of places
    std::vector<Place> places_;       // in the order in which chords come to them
    std::vector<int> placeOf_;        // of each end; of a chord that is dropped its start has none
    std::vector<int> partner_;        // of each end
    std::vector<ExtraEnd> extraEnds_; // beyond two at a place
};

} // namespace

void LinkSection(std::span<const Vec3d> points, std::span<const int> indices,
                 std::span<const int> triangles, const SectionPlane& plane, MeshSection& section)
{
    if (!triangles.empty()) {
        SectionLinker(points, indices, triangles, plane).Link(section);
    }
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
