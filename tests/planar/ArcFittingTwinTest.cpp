// Arc fitting against a slow twin: the method as it is told step by step, with its own circles
// through three points, and without the measuring of elements that comes after it. Wherever the
// twin's chain reaches the end and keeps within the tolerance of all points, it is the answer.

#include <Sorvane/ArcFitting_E.h>

#include "tests/planar/SampledProfiles.h"

#include <optional>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;
using Points = std::vector<Vec2d>;

struct Circle {
    Vec2d center;
    double radius = 0;
};

double Gap(const Vec2d& a, const Vec2d& b) { return std::hypot(b[0] - a[0], b[1] - a[1]); }

bool IsSame(const Vec2d& a, const Vec2d& b, double within)
{
    return std::fabs(a[0] - b[0]) <= within && std::fabs(a[1] - b[1]) <= within;
}

/// Circumscribed circle by the determinants of its linear equations; none for a straight triple.
std::optional<Circle> CircleThrough(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    const long double bx = static_cast<long double>(b[0]) - a[0];
    const long double by = static_cast<long double>(b[1]) - a[1];
    const long double cx = static_cast<long double>(c[0]) - a[0];
    const long double cy = static_cast<long double>(c[1]) - a[1];
    const long double d = 2 * (bx * cy - by * cx);
    if (std::fabs(d) < 1e-13L * (std::hypot(bx, by) * std::hypot(cx, cy) + 1e-30L)) {
        return {};
    }
    const long double b2 = bx * bx + by * by;
    const long double c2 = cx * cx + cy * cy;
    const long double x = (cy * b2 - by * c2) / d;
    const long double y = (bx * c2 - cx * b2) / d;
    return Circle{{static_cast<double>(a[0] + x), static_cast<double>(a[1] + y)},
                  static_cast<double>(std::hypot(x, y))};
}

double CurvatureOf(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    const auto circle = CircleThrough(a, b, c);
    const double turn = (b - a) ^ (c - b);
    return circle ? (turn < 0 ? -1 : 1) / circle->radius : 0;
}

/// Height of the longer chord's segment of the circle.
double ChordHeight(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    const auto circle = CircleThrough(a, b, c);
    if (!circle) {
        return 0;
    }
    const double half = std::max(Gap(a, b), Gap(b, c)) / 2;
    return circle->radius - std::sqrt(std::max(circle->radius * circle->radius - half * half, 0.0));
}

Points Thinned(const Points& points, double curvature, double near)
{
    Points kept;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const bool isEnd = i == 0 || i + 1 == points.size();
        if (!isEnd &&
            !(std::fabs(CurvatureOf(points[i - 1], points[i], points[i + 1])) > curvature)) {
            continue;
        }
        if (kept.empty() || !IsSame(kept.back(), points[i], near)) {
            kept.push_back(points[i]);
        }
    }
    if (IsSame(points.front(), points.back(), 1e-12) && !IsSame(kept.front(), kept.back(), 1e-12)) {
        kept.push_back(points.back());
    }
    return kept;
}

/// The chain under construction, with the joining rules of chains.
struct TwinChain {
    Chain chain;
    double tol = 0;

    void Segment(const Vec2d& from, const Vec2d& to)
    {
        if (chain.elements.empty()) {
            chain.elements.emplace_back(Geometry::SegBase<double>{from, to});
            return;
        }
        const Vec2d end = PointOf(chain.elements.back(), 1);
        if (Gap(from, end) <= tol && Gap(to, end) > tol) {
            chain.elements.emplace_back(Geometry::SegBase<double>{end, to});
        }
    }
    void Arc(const Circle& circle, const Vec2d& start, double length)
    {
        if (chain.elements.empty() || Gap(start, PointOf(chain.elements.back(), 1)) <= tol) {
            chain.elements.emplace_back(Geometry::ArcBase<double>{circle.center, start, length});
        }
    }
};

/// Signed length from `a` to `c` on the circle in the sense of a, b, c.
double ArcLength(const Circle& circle, const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    const auto angle = [&](const Vec2d& p) {
        return std::atan2(p[1] - circle.center[1], p[0] - circle.center[0]);
    };
    const double sense = ((b - a) ^ (c - b)) < 0 ? -1 : 1;
    double sweep = sense * (angle(c) - angle(a));
    sweep -= 2 * kHalfTurn * std::floor(sweep / (2 * kHalfTurn));
    return sense * sweep * circle.radius;
}

Chain Twin(const Points& points, double tol)
{
    Vec2d low = points[0], high = points[0];
    for (const Vec2d& p : points) {
        low = {std::min(low[0], p[0]), std::min(low[1], p[1])};
        high = {std::max(high[0], p[0]), std::max(high[1], p[1])};
    }
    const double diagonal = Gap(low, high);
    const double flattest = diagonal * diagonal / (8 * tol) + tol / 2;
    const Points q = Thinned(points, flattest <= tol ? tol : 1 / flattest, tol);
    const int m = static_cast<int>(q.size());
    const auto at = [&](int i) { return q[static_cast<std::size_t>(i)]; };

    std::vector<double> k(q.size(), 0.0);
    for (std::size_t i = 1; i + 1 < q.size(); ++i) {
        k[i] = CurvatureOf(q[i - 1], q[i], q[i + 1]);
    }
    const auto curvature = [&](int i) { return k[static_cast<std::size_t>(i)]; };
    std::vector<bool> same(q.size(), false);
    for (int i = 0; i + 1 < m; ++i) {
        same[static_cast<std::size_t>(i)] =
            std::fabs(curvature(i) * tol) >= std::fabs(curvature(i) - curvature(i + 1)) &&
            (i == 0 || ChordHeight(at(i - 1), at(i), at(i + 1)) <= tol * 10 / 9);
    }
    std::vector<std::pair<int, int>> spans;
    bool state = false;
    for (int j = 0, s = 0; j < m; ++j) {
        const bool flag = same[static_cast<std::size_t>(j)];
        if (!(state && flag)) {
            spans.emplace_back(s, j);
            s = j;
            state = flag;
        }
    }
    const auto accepts = [&](int a, int c, int other, int at1, int at2, int at3, int bent) {
        const auto circle =
            a + 1 == c ? std::optional<Circle>() : CircleThrough(at(a), at((a + c) / 2), at(c));
        if (circle && std::fabs(Gap(at(other), circle->center) - circle->radius) <= tol) {
            return true;
        }
        const auto wider = CircleThrough(at(at1), at(at2), at(at3));
        return a + 1 == c && std::fabs(curvature(bent)) > 1e-12 && wider &&
               std::fabs(wider->radius - 1 / std::fabs(curvature(bent))) <= tol;
    };
    for (std::size_t n = 0; n < spans.size(); ++n) {
        auto& [a, c] = spans[n];
        if (a == c || (a + 1 == c && !same[static_cast<std::size_t>(a)])) {
            continue;
        }
        if (a >= 1 && n > 0 && accepts(a, c, a - 1, a - 1, a, c, a) &&
            ChordHeight(at(a - 1), at(a), at(a + 1)) <= tol) {
            spans[n - 1].second = --a;
        }
        if (c + 1 < m && n + 1 < spans.size() && accepts(a, c, c + 1, a, c, c + 1, c) &&
            ChordHeight(at(c - 1), at(c), at(c + 1)) <= tol) {
            spans[n + 1].first = ++c;
        }
    }
    std::erase_if(spans, [](const auto& span) { return span.second <= span.first; });
    for (std::size_t n = 1; n < spans.size(); ++n) {
        spans[n].first = std::max(spans[n].first, spans[n - 1].second);
    }

    TwinChain result;
    result.tol = tol;
    for (const auto& [a, c] : spans) {
        if (c <= a) {
            continue;
        }
        if (a + 1 == c) {
            result.Segment(at(a), at(c));
            continue;
        }
        const bool isLoop = a == 0 && c == m - 1 && IsSame(at(a), at(c), 1e-12);
        // The points of a loop lie on one circle here, so that any three of them give the fitted
        // one.
        const auto circle = isLoop ? CircleThrough(at(0), at(m / 3), at(2 * m / 3))
                                   : CircleThrough(at(a), at((a + c) / 2), at(c));
        double mean = 0;
        for (int i = a + 1; i < c; ++i) {
            mean += curvature(i) / (c - a - 1);
        }
        if (!circle || std::fabs(circle->radius - std::fabs(1 / mean)) > 0.1 * circle->radius) {
            continue;
        }
        double length = 0;
        for (int i = a; i < c; ++i) {
            length += Gap(at(i), at(i + 1));
        }
        const double turn = 2 * kHalfTurn * circle->radius;
        const bool isFull = isLoop && 0.1 * turn >= std::fabs(turn - length);
        const double step = 2 * std::acos(std::max(1 - tol / circle->radius, -1.0));
        if (isFull) {
            result.Arc(*circle, at(a), mean < 0 ? -turn : turn);
        } else if (std::sin(step) * circle->radius < Gap(at(a), at(c))) {
            result.Arc(*circle, at(a), ArcLength(*circle, at(a), at((a + c) / 2), at(c)));
        } else {
            auto* last =
                result.chain.elements.empty() ? nullptr : result.chain.elements.back().AsSegment();
            if (last != nullptr && Geometry::IsTangent(*last, {at(a), at(c)}, tol)) {
                last->end = at(c);
            } else {
                result.Segment(at(a), at(c));
            }
        }
    }
    return result.chain;
}

/// Compares, and tells whether the twin's chain was good enough to compare with.
bool AgreesWhereTheTwinIsRight(const Points& points, double tol)
{
    const Chain twin = Twin(points, tol);
    if (twin.elements.empty() || !(FarthestFromChain(points, twin) <= tol)) {
        return false;
    }
    const Chain chain = FilterArcsAndSegs(points, tol);
    EXPECT_EQ(Kinds(chain), Kinds(twin));
    for (std::size_t i = 0; i < std::min(chain.elements.size(), twin.elements.size()); ++i) {
        for (const double place : {0.0, 0.5, 1.0}) {
            EXPECT_LE(Gap(PointOf(chain.elements[i], place), PointOf(twin.elements[i], place)),
                      1e-7)
                << "element " << i;
        }
    }
    return true;
}

TEST(ArcFittingTwin, TangentProfiles)
{
    Random random(21);
    int compared = 0;
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const double tol = std::pow(10, random.Between(-4, -1.5));
        const Chain drawn = TangentProfile(random, 1 + random.Below(5));
        const auto points =
            Sampled<double>(drawn, random.Between(0.1, 1.05) * tol, random.Between(0.2, 3));
        compared += AgreesWhereTheTwinIsRight(points, tol) ? 1 : 0;
    }
    EXPECT_GT(compared, 150);
}

TEST(ArcFittingTwin, PolylinesWithCorners)
{
    Random random(22);
    int compared = 0;
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        Points points{random.Vector<2, double>(0, 10)};
        for (int i = 1 + random.Below(30); i >= 0; --i) {
            points.push_back(random.Vector<2, double>(0, 10));
        }
        compared += AgreesWhereTheTwinIsRight(points, 1e-3) ? 1 : 0;
    }
    EXPECT_GT(compared, 150);
}

// Paths that nowhere turn back and have no point twice, so that every point has a circle.
TEST(ArcFittingTwin, ThinnedPolylines)
{
    Random random(25);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        Points points{{0, 0}};
        for (int i = random.Below(100); i >= 0; --i) {
            points.push_back(points.back() + Vec2d(random.Between(0.5, 1), random.Between(-1, 1)));
        }
        const double curvature = random.Between(0, 2);
        const double near = random.Below(2) * random.Between(0, 2);
        EXPECT_EQ(FilterZeroCurvature(points, curvature, near), Thinned(points, curvature, near));
    }
}

// Gentle curves: runs of drifting curvature, shallow arcs, chords in their place.
TEST(ArcFittingTwin, WavyCurves)
{
    Random random(23);
    int compared = 0;
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const double tol = std::pow(10, random.Between(-3, -1));
        const double step = random.Between(0.02, 0.5);
        const double wave = random.Between(0.05, 1);
        const double height = random.Between(0.01, 1);
        Points points;
        for (int i = 0; i < 10 + random.Below(200); ++i) {
            points.push_back({step * i, height * std::sin(wave * step * i)});
        }
        compared += AgreesWhereTheTwinIsRight(points, tol) ? 1 : 0;
    }
    EXPECT_GT(compared, 30);
}

// Few points on a circle, some of their chords longer than the tolerance allows, between corners.
TEST(ArcFittingTwin, UnevenChordsBetweenCorners)
{
    Random random(26);
    int compared = 0;
    for (int trial = 0; trial < 400; ++trial) {
        SCOPED_TRACE(trial);
        constexpr double kRadius = 10;
        constexpr double kTol = 1e-2;
        Points points{{kRadius + 5, -1}};
        double angle = 0;
        for (int i = 3 + random.Below(4); i >= 0; --i) {
            points.push_back({kRadius * std::cos(angle), kRadius * std::sin(angle)});
            const double sagitta = kTol * random.Between(0.7, 1.15);
            angle += 2 * std::acos(1 - sagitta / kRadius);
        }
        points.push_back(points.back() + Vec2d(4, 1));
        if (random.Below(2) == 0) {
            std::reverse(points.begin(), points.end());
        }
        compared += AgreesWhereTheTwinIsRight(points, kTol) ? 1 : 0;
    }
    EXPECT_GT(compared, 300);
}

// Radii that grow up to sixfold along the run. Where the twin's one arc is too far off the mean
// radius of curvature it loses the run; the filter divides it.
TEST(ArcFittingTwin, RunsThatTheTwinLosesAreDivided)
{
    int lost = 0;
    for (int growth = 1; growth <= 90; ++growth) {
        SCOPED_TRACE(growth);
        Points points;
        for (int i = 0; i <= 1000; ++i) {
            const double place = i / 1000.0;
            const double radius = 10 * (1 + 0.055 * growth * place);
            points.push_back({radius * std::cos(5 * place), radius * std::sin(5 * place)});
        }
        const auto reachesEnd = [&](const Chain& chain) {
            return !chain.elements.empty() &&
                   Gap(PointOf(chain.elements.back(), 1), points.back()) <= 0.02;
        };
        lost += reachesEnd(Twin(points, 0.02)) ? 0 : 1;
        const Chain chain = FilterArcsAndSegs(points, 0.02);
        EXPECT_TRUE(reachesEnd(chain));
        EXPECT_LE(FarthestFromChain(points, chain), 0.02 + 1e-12);
    }
    EXPECT_GT(lost, 10);
}

TEST(ArcFittingTwin, ArcsAndCircles)
{
    Random random(24);
    int compared = 0;
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const double radius = random.Between(1, 20);
        const double sense = random.Below(2) == 0 ? -1 : 1;
        const bool isWhole = random.Below(3) == 0;
        const double sweep = isWhole ? 2 * kHalfTurn : random.Between(0.05, 6);
        auto points = OnArc<double>(random.Vector<2, double>(-9, 9), radius, random.Between(0, 6),
                                    sense * sweep, 3 + random.Below(300));
        if (isWhole) {
            points.back() = points.front();
        }
        compared += AgreesWhereTheTwinIsRight(points, std::pow(10, random.Between(-3, -1))) ? 1 : 0;
    }
    EXPECT_GT(compared, 150);
}

} // namespace
