// Free positions of a turning tool against tools that move straight at the work until something
// touches: where that is follows from rays of the corners alone.

#include <Sorvane/Lathe_E.h>

#include "tests/machining/LatheOutlines.h"
#include "tests/support/FileSupport.h"
#include "tests/support/JsonText.h"
#include "tests/support/Random.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;
constexpr double kNever = std::numeric_limits<double>::infinity();

double Cross(const Vec2d& a, const Vec2d& b) { return a.x() * b.y() - a.y() * b.x(); }

Outline Turned(Outline outline, double degrees)
{
    const double c = std::cos(degrees * 3.14159265358979323846 / 180);
    const double s = std::sin(degrees * 3.14159265358979323846 / 180);
    for (Vec2d& p : outline) {
        p = Vec2d(c * p.x() - s * p.y(), s * p.x() + c * p.y());
    }
    return outline;
}

double DistanceToLines(const Outlines& lines, const Vec2d& p)
{
    double least = kNever;
    for (const Outline& line : lines) {
        least = std::min(least, DistanceToLine(line, p));
    }
    return least;
}

bool IsInside(const Outline& outline, const Vec2d& p)
{
    bool isInside = false;
    for (std::size_t i = 1; i < outline.size(); ++i) {
        const Vec2d& a = outline[i - 1];
        const Vec2d& b = outline[i];
        if ((a.y() > p.y()) != (b.y() > p.y()) &&
            p.x() < a.x() + (p.y() - a.y()) / (b.y() - a.y()) * (b.x() - a.x())) {
            isInside = !isInside;
        }
    }
    return isInside;
}

/// How deep the boundary of `a` runs inside `b`, at the middle of each stretch of an edge of `a`
/// from one edge of `b` to the next, and at its corners.
double DepthOfBoundary(const Outline& a, const Outline& b)
{
    double deepest = 0;
    for (std::size_t i = 1; i < a.size(); ++i) {
        const Vec2d along = a[i] - a[i - 1];
        std::vector<double> cuts{0, 1};
        for (std::size_t k = 1; k < b.size(); ++k) {
            const Vec2d across = b[k] - b[k - 1];
            const double turn = Cross(along, across);
            const double t = Cross(b[k - 1] - a[i - 1], across) / turn;
            const double s = Cross(b[k - 1] - a[i - 1], along) / turn;
            if (turn != 0 && t > 0 && t < 1 && s >= 0 && s <= 1) {
                cuts.push_back(t);
            }
        }
        std::sort(cuts.begin(), cuts.end());
        for (std::size_t k = 1; k < cuts.size(); ++k) {
            for (const double t : {cuts[k - 1], 0.5 * (cuts[k - 1] + cuts[k])}) {
                const Vec2d p(a[i - 1].x() + t * along.x(), a[i - 1].y() + t * along.y());
                deepest = IsInside(b, p) ? std::max(deepest, DistanceToLine(b, p)) : deepest;
            }
        }
    }
    return deepest;
}

/// An open line has no inside.
double Depth(const Outline& body, const Outline& fixed)
{
    const double depth = DepthOfBoundary(fixed, body);
    return fixed.front() == fixed.back() ? std::max(depth, DepthOfBoundary(body, fixed)) : depth;
}

/// Along `way` from `p`, how far to the edge from `a` to `b`?
double RayToEdge(const Vec2d& p, const Vec2d& way, const Vec2d& a, const Vec2d& b)
{
    const Vec2d edge = b - a;
    const double turn = Cross(way, edge);
    const double far = Cross(a - p, edge) / turn;
    const double place = Cross(a - p, way) / turn;
    return turn != 0 && place >= 0 && place <= 1 && far >= 0 ? far : kNever;
}

struct Contact {
    double far = kNever;
    Vec2d place;                // where the two touch
    bool isCornerOfBody = true; // and not one of what it moves against
};

/// A body moves along the unit vector `way`: where does it first touch?
Contact FirstContact(const Outline& body, const Vec2d& way, const Outline& fixed)
{
    Contact contact;
    for (const Vec2d& p : body) {
        for (std::size_t i = 1; i < fixed.size(); ++i) {
            const double far = RayToEdge(p, way, fixed[i - 1], fixed[i]);
            if (far < contact.far) {
                contact = {far, p + way * far, true};
            }
        }
    }
    for (const Vec2d& p : fixed) {
        for (std::size_t i = 1; i < body.size(); ++i) {
            const double far = RayToEdge(p, way * -1.0, body[i - 1], body[i]);
            if (far < contact.far) {
                contact = {far, p, false};
            }
        }
    }
    return contact;
}

Contact FirstOf(const Outline& body, const Vec2d& way, const Outlines& fixed)
{
    Contact contact;
    for (const Outline& outline : fixed) {
        const Contact other = FirstContact(body, way, outline);
        contact = other.far < contact.far ? other : contact;
    }
    return contact;
}

struct Job {
    Outline tool;
    Outline holder;
    Outline target;
    Outlines obstacles;
};

struct Counts {
    int freeMoves = 0;
    int stopped = 0;
};

/// From far outside, straight at a random place of the box of the target: when the tool's touch is
/// the first of all, it is in the tool regions; when the holder stops at the target first, that is
/// in the holder regions, unless nothing
/// is: then positions of the holder at the target are nowhere near those of the tool.
void ExpectMoves(const Job& job, const Lathe::BAngleReport& report, Random& random, int moves,
                 double bearable, Counts& counts)
{
    Vec2d low = job.target.front();
    Vec2d high = low;
    for (const Vec2d& p : job.target) {
        low = Vec2d(std::min(low.x(), p.x()), std::min(low.y(), p.y()));
        high = Vec2d(std::max(high.x(), p.x()), std::max(high.y(), p.y()));
    }
    for (int i = 0; i < moves; ++i) {
        const double angle = random.Between(0, 6.283185);
        const Vec2d way(std::cos(angle), std::sin(angle));
        const Vec2d goal(random.Between(low.x(), high.x()), random.Between(low.y(), high.y()));
        const Vec2d start = goal - way * 500.0;
        const Outline tool = MovedBy(job.tool, start);
        const Outline holder = MovedBy(job.holder, start);
        const Contact touch = FirstContact(tool, way, job.target);
        const Contact stop = FirstContact(holder, way, job.target);
        const double obstacle = std::min(FirstOf(tool, way, job.obstacles).far,
                                         FirstOf(holder, way, job.obstacles).far);
        const double margin = 100 * bearable;
        if (touch.far < stop.far - margin && touch.far < obstacle - margin) {
            ++counts.freeMoves;
            const Vec2d position = start + way * touch.far;
            ASSERT_LT(DistanceToLines(report.toolRegions, position), bearable)
                << report.angle << " at " << position.x() << ' ' << position.y() << " along "
                << angle;
            double toCorner = kNever;
            for (const Vec2d& p : job.target) {
                toCorner = std::min(toCorner,
                                    std::hypot(p.x() - touch.place.x(), p.y() - touch.place.y()));
            }
            if (touch.isCornerOfBody && toCorner > margin) {
                ASSERT_LT(DistanceToLines(report.reachable, touch.place), bearable)
                    << report.angle << " at " << touch.place.x() << ' ' << touch.place.y();
            }
        } else if (!report.holderRegions.empty() && stop.far < touch.far - margin &&
                   stop.far < obstacle - margin) {
            ++counts.stopped;
            const Vec2d position = start + way * stop.far;
            ASSERT_LT(DistanceToLines(report.holderRegions, position), bearable)
                << report.angle << " at " << position.x() << ' ' << position.y();
        }
    }
}

/// At points along the tool regions the tool touches the target and nothing is in anything else.
void ExpectFree(const Job& job, const Lathe::BAngleReport& report, double step, double bearable)
{
    for (const Outline& line : report.toolRegions) {
        for (std::size_t i = 1; i < line.size(); ++i) {
            const Vec2d d = line[i] - line[i - 1];
            const int count = 1 + static_cast<int>(std::hypot(d.x(), d.y()) / step);
            for (int k = 0; k < count; ++k) {
                const Vec2d p = line[i - 1] + d * ((k + 0.4) / count);
                const Outline tool = MovedBy(job.tool, p);
                const Outline holder = MovedBy(job.holder, p);
                ASSERT_LT(Depth(tool, job.target), bearable) << p.x() << ' ' << p.y();
                ASSERT_LT(Depth(holder, job.target), bearable)
                    << report.angle << " at " << p.x() << ' ' << p.y();
                for (const Outline& obstacle : job.obstacles) {
                    ASSERT_LT(Depth(tool, obstacle), bearable) << p.x() << ' ' << p.y();
                    ASSERT_LT(Depth(holder, obstacle), bearable) << p.x() << ' ' << p.y();
                }
            }
        }
    }
    for (const Outline& line : report.reachable) {
        for (const Vec2d& p : line) {
            ASSERT_LT(DistanceToLine(job.target, p), bearable);
        }
    }
}

void ExpectSweep(const Job& upright, const std::vector<double>& angles, Random& random, int moves,
                 double step, double bearable, Counts& counts)
{
    const auto reports = Lathe::BAxisAngleSweep(angles, upright.tool, upright.holder, {0, 0},
                                                upright.target, upright.obstacles);
    for (const Lathe::BAngleReport& report : reports) {
        EXPECT_FALSE(report.failed) << report.angle;
        Job job = upright;
        job.tool = Turned(job.tool, report.angle);
        job.holder = Turned(job.holder, report.angle);
        ASSERT_NO_FATAL_FAILURE(ExpectFree(job, report, step, bearable));
        ASSERT_NO_FATAL_FAILURE(ExpectMoves(job, report, random, moves, bearable, counts));
    }
}

/// Around a center without a hole, with bays and spikes.
Outline RandomStar(Random& random, const Vec2d& center, double radius, int corners)
{
    Outline outline;
    for (int i = 0; i < corners; ++i) {
        const double angle = 6.283185307179586 * (i + random.Between(0, 0.9)) / corners;
        const double r = radius * random.Between(0.3, 1);
        outline.push_back(center + Vec2d(std::cos(angle), std::sin(angle)) * r);
    }
    outline.push_back(outline.front());
    return outline;
}

/// Bars of width 1 and whole heights from y = 0, from x = 0 on.
Outline BarChart(Random& random, int bars, int highest)
{
    Outline outline{{0, 0}, {static_cast<double>(bars), 0}};
    for (int i = bars; i-- > 0;) {
        const double height = 1 + random.Below(highest);
        if (height != outline.back().y()) {
            outline.push_back({i + 1.0, height});
        }
        outline.push_back({static_cast<double>(i), height});
    }
    outline.push_back({0, 0});
    return outline;
}

/// Points of a program's lines and arcs, in facets of up to `facet`.
Outline Path(const JsonValue& moves, std::size_t first, std::size_t last, double facet)
{
    const auto at = [](const JsonValue& pair) {
        return Vec2d(pair.items[0].number, pair.items[1].number);
    };
    Outline path{at(moves[first]["start"])};
    for (std::size_t i = first; i <= last; ++i) {
        const JsonValue& move = moves[i];
        const Vec2d start = at(move["start"]);
        const Vec2d end = at(move["end"]);
        if (move["kind"].text == "arc") {
            const Vec2d center = at(move["center"]);
            const Vec2d from = start - center;
            const Vec2d to = end - center;
            // Programs of a lathe look from the other side: what runs clockwise there turns to the
            // left on paper with the spindle to the right and the radius upward.
            double turn = std::atan2(Cross(from, to), from.x() * to.x() + from.y() * to.y());
            const double radius = std::hypot(from.x(), from.y());
            const int count = 1 + static_cast<int>(std::fabs(turn) * radius / facet);
            for (int k = 1; k < count; ++k) {
                const double angle = std::atan2(from.y(), from.x()) + turn * k / count;
                path.push_back(center + Vec2d(std::cos(angle), std::sin(angle)) * radius);
            }
        }
        path.push_back(end);
    }
    return path;
}

/// (z, radius) of a pawn of chess with its stock, from the middle of the axis.
Outline Pawn(const JsonValue& program, double facet)
{
    // The finishing pass is what follows the last rapid but two.
    std::size_t last = program.items.size() - 1;
    while (program[last]["kind"].text == "rapid") {
        --last;
    }
    std::size_t first = last;
    while (program[first - 1]["kind"].text != "rapid") {
        --first;
    }
    const Outline path = Path(program, first + 1, last, facet);
    Outline pawn{{-15, 0}, {path.front().x(), 0}};
    pawn.insert(pawn.end(), path.begin(), path.end());
    pawn.insert(pawn.end(), {{path.back().x(), 0}, {-15, 0}});
    return pawn;
}

const Outline kRhombicInsert{{0, 0}, {0.9, 1.9}, {0, 3.8}, {-0.9, 1.9}, {0, 0}};
const Outline kShank{{-0.8, 2.4}, {0.8, 2.4}, {3, 7}, {3, 40}, {-3, 40}, {-3, 7}, {-0.8, 2.4}};

Outline RoundInsert(double radius, int corners)
{
    Outline insert;
    for (int i = 0; i < corners; ++i) {
        const double angle = 6.283185307179586 * i / corners;
        insert.push_back({radius * std::sin(angle), radius - radius * std::cos(angle)});
    }
    insert.push_back(insert.front());
    return insert;
}

} // namespace

TEST(LatheMoves, StarsAgainstStars)
{
    Random random(31);
    Counts counts;
    for (int round = 0; round < Rounds(60); ++round) {
        SCOPED_TRACE(round);
        Job job;
        job.tool = RandomStar(random, {0, 0}, 1.5, 3 + random.Below(6));
        job.holder = RandomStar(random, {0, 3}, 2.5, 3 + random.Below(8));
        job.target = RandomStar(random, {0, 0}, 8, 5 + random.Below(16));
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {0}, random, 100, 0.3, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 10 * Rounds(60));
    EXPECT_GT(counts.stopped, 10 * Rounds(60));
}

TEST(LatheMoves, StarsAmongObstacles)
{
    Random random(32);
    Counts counts;
    for (int round = 0; round < Rounds(60); ++round) {
        SCOPED_TRACE(round);
        Job job;
        job.tool = RandomStar(random, {0, 0}, 1, 3 + random.Below(5));
        job.holder = RandomStar(random, {0, 3}, 2, 3 + random.Below(5));
        job.target = RandomStar(random, {0, 0}, 6, 5 + random.Below(8));
        for (int i = 0; i < 1 + random.Below(4); ++i) {
            job.obstacles.push_back(RandomStar(random,
                                               {random.Between(-14, 14), random.Between(-14, 14)},
                                               random.Between(1, 4), 3 + random.Below(6)));
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {0}, random, 100, 0.3, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 10 * Rounds(60));
}

// Everything on a lattice, so that corners and edges of all that moves meet exactly: a bar chart of
// a shaft, a grooving tool and a holder made of steps, with many edges that coincide.
TEST(LatheMoves, StepsOnALattice)
{
    Random random(35);
    Counts counts;
    for (const double offset : {0.0, 1e6}) {
        for (int round = 0; round < Rounds(30); ++round) {
            SCOPED_TRACE(round);
            Job job;
            job.target = BarChart(random, 4 + random.Below(12), 7);
            job.tool = BarChart(random, 1 + random.Below(3), 2);
            for (Vec2d& p : job.tool) { // hanging down from y = 3
                p = Vec2d(p.x(), 3 - p.y());
            }
            std::reverse(job.tool.begin(), job.tool.end());
            job.holder = MovedBy(BarChart(random, 1 + random.Below(5), 4), {-2, 3});
            job.target = MovedBy(job.target, {offset, -offset});
            if (random.Below(2) == 0) {
                job.obstacles.push_back(
                    MovedBy(BarChart(random, 1 + random.Below(4), 9), {offset - 4, -offset}));
            }
            ASSERT_NO_FATAL_FAILURE(
                ExpectSweep(job, {0, 90}, random, 100, 0.3, offset == 0 ? 1e-8 : 1e-6, counts));
        }
    }
    EXPECT_GT(counts.freeMoves, 10 * Rounds(30));
}

// The tool far larger than the bays of the work, the holder around the work on three sides.
TEST(LatheMoves, AForkAroundTheWork)
{
    Random random(36);
    Counts counts;
    for (int round = 0; round < Rounds(60); ++round) {
        SCOPED_TRACE(round);
        Job job;
        job.tool = RandomStar(random, {0, 0}, random.Between(1, 6), 3 + random.Below(6));
        const double inner = random.Between(4, 20);
        job.holder = {{-inner, -10},    {-inner, 8},       {inner, 8},
                      {inner, -10},     {inner + 2, -10},  {inner + 2, 10},
                      {-inner - 2, 10}, {-inner - 2, -10}, {-inner, -10}};
        job.target = RandomStar(random, {0, 0}, 6, 5 + random.Below(16));
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {0, 33}, random, 100, 0.3, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 5 * Rounds(60));
}

// Not a body but a wall, which the tool can also touch from below.
TEST(LatheMoves, AnOpenProfile)
{
    Random random(37);
    Counts counts;
    for (int round = 0; round < Rounds(60); ++round) {
        SCOPED_TRACE(round);
        Job job;
        job.tool = RandomStar(random, {0, 0}, 1, 5);
        job.holder = RandomStar(random, {0, 3}, 2.5, 3 + random.Below(8));
        for (int i = 0; i <= 12; ++i) {
            job.target.push_back({i * 1.5 + random.Between(0, 1), random.Between(0, 5)});
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {0}, random, 100, 0.3, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 10 * Rounds(60));
}

TEST(LatheMoves, ATipAlone)
{
    Random random(38);
    Counts counts;
    for (int round = 0; round < Rounds(60); ++round) {
        SCOPED_TRACE(round);
        const Job job{{{0, 0}, {0, 0}},
                      RandomStar(random, {0, 3}, 2.5, 3 + random.Below(8)),
                      RandomStar(random, {0, 0}, 8, 5 + random.Below(16)),
                      {}};
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {0}, random, 100, 0.3, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 10 * Rounds(60));
}

TEST(LatheMoves, FinishesARealPawn)
{
    const auto file = SharedData("lathe_profiles/lathe_moves.json");
    SORVANE_NEED_DATA(file);
    const JsonValue data = JsonReader(ReadBytes(file)).Value();
    Random random(33);
    for (const Outline& insert : {kRhombicInsert, RoundInsert(1.5, 24)}) {
        Counts counts;
        Job job{insert, kShank, Pawn(data["pawn_program"], 0.7), {}};
        // The jaws of the chuck, at the thick end.
        job.obstacles = {{{-50, 0}, {-38.1, 0}, {-38.1, 16}, {-44, 22}, {-50, 22}, {-50, 0}}};
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {-50, -20, 0, 20, 50}, random, FullOr(300, 30),
                                            FullOr(1, 4) * 1.0, 1e-8, counts));
        EXPECT_GT(counts.freeMoves, 10);
    }
}

TEST(LatheMoves, TurnsRealProfilesFromAllFourSides)
{
    const auto file = SharedData("lathe_profiles/lathe_moves.json");
    SORVANE_NEED_DATA(file);
    const JsonValue data = JsonReader(ReadBytes(file)).Value();
    Random random(34);
    Counts counts;
    for (const char* name : {"100", "101", "102", "103"}) {
        SCOPED_TRACE(name);
        const JsonValue& moves = data["quadrant_profiles"][name];
        Outline target = Path(moves, 0, moves.items.size() - 1, 0.5);
        // The material is under it, down to beyond the axis.
        target.push_back({target.back().x(), -5});
        target.push_back({target.front().x(), -5});
        target.push_back(target.front());
        const Job job{RoundInsert(0.8, 16), kShank, target, {}};
        ASSERT_NO_FATAL_FAILURE(ExpectSweep(job, {-45, 0, 45}, random, FullOr(300, 30),
                                            FullOr(1, 4) * 0.5, 1e-8, counts));
    }
    EXPECT_GT(counts.freeMoves, 50);
}
