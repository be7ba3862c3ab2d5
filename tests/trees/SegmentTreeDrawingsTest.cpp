// The trees in the plane over outlines of real parts: what lies near a point, and the nearest
// segment, against distances of all elements by plain formulas; `float` and `double`.

#include <Sorvane/QuadtreeArcSegTree_E.h>
#include <Sorvane/SegmentTree_E.h>

#include "tests/planar/Drawings.h"
#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree::Quadtree;
using Support::ArcSegBase;
using Support::PolyArcSegBase;
using Support::Random;

template <class T>
double PlainDistance(const Geometry::SegBase<T>& segment, const Vec2d& q)
{
    const Vec2d start(segment.start);
    const Vec2d along = Vec2d(segment.end) - start;
    const double length = along * along;
    const double place = length > 0 ? std::clamp(((q - start) * along) / length, 0.0, 1.0) : 0.0;
    return Vector::Length(start + along * place - q);
}

/// To the circle where the spoke through `q` is swept, else to the nearer end.
template <class T>
double PlainDistance(const Geometry::ArcBase<T>& arc, const Vec2d& q)
{
    const Vec2d center(arc.center);
    const Vec2d spoke = Vec2d(arc.start) - center;
    const Vec2d outward = q - center;
    const double radius = Vector::Length(spoke);
    const double sense = arc.length < 0 ? -1 : 1;
    const double sweep = std::fabs(static_cast<double>(arc.length)) / radius;
    double turn = sense * std::atan2(spoke ^ outward, spoke * outward);
    turn += turn < 0 ? 2 * Support::kHalfTurn : 0;
    if (turn <= sweep) {
        return std::fabs(Vector::Length(outward) - radius);
    }
    const ArcSegBase<T> element(arc);
    return std::min(Vector::Length(Support::PointOf(element, 0) - q),
                    Vector::Length(Support::PointOf(element, 1) - q));
}

template <class T>
PolyArcSegBase<T> ChainOf(const std::vector<ArcSegBase<double>>& elements)
{
    PolyArcSegBase<T> chain;
    for (const ArcSegBase<double>& element : elements) {
        if (const auto* segment = element.AsSegment()) {
            chain.elements.emplace_back(
                Geometry::SegBase<T>{VecBase<2, T>(segment->start), VecBase<2, T>(segment->end)});
        } else {
            const auto& arc = *element.AsArc();
            chain.elements.emplace_back(Geometry::ArcBase<T>{
                VecBase<2, T>(arc.center), VecBase<2, T>(arc.start), static_cast<T>(arc.length)});
        }
    }
    return chain;
}

class DrawingTrees : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        const auto path = Support::SharedData(std::string("arc_chains/") + GetParam());
        SORVANE_NEED_DATA(path);
        elements_ =
            Support::ElementsOfDrawing(Support::JsonReader(Support::ReadBytes(path)).Value());
        ASSERT_GE(elements_.size(), 30U);
        low_ = high_ = elements_[0].StartPoint();
        for (const ArcSegBase<double>& element : elements_) {
            const Vec2d& p = element.StartPoint();
            low_ = {std::min(low_[0], p[0]), std::min(low_[1], p[1])};
            high_ = {std::max(high_[0], p[0]), std::max(high_[1], p[1])};
        }
        size_ = Vector::Length(high_ - low_);
    }

    template <class T>
    VecBase<2, T> RandomPoint()
    {
        return VecBase<2, T>(Vec2d(random_.Between(low_[0] - 0.2 * size_, high_[0] + 0.2 * size_),
                                   random_.Between(low_[1] - 0.2 * size_, high_[1] + 0.2 * size_)));
    }

    /// Every element that is surely nearer than the radius comes, none that is surely farther.
    template <class T>
    void ExpectItemsWithinOfBruteForce()
    {
        const auto chain = ChainOf<T>(elements_);
        const ArcSegTree<T> tree(chain);
        std::size_t found = 0;
        for (int i = 0; i < Support::Rounds(500); ++i) {
            const auto q = RandomPoint<T>();
            const T r = static_cast<T>(size_ * std::exp2(random_.Between(-7, -1)));
            std::vector<int> ids = tree.ItemsWithin(q, r);
            std::sort(ids.begin(), ids.end());
            found += ids.size();
            for (std::size_t e = 0; e < chain.elements.size(); ++e) {
                const double distance = chain.elements[e].Visit(
                    [&](const auto& shape) { return PlainDistance(shape, Vec2d(q)); });
                if (std::fabs(distance - static_cast<double>(r)) > size_ * Support::kNear<T>) {
                    ASSERT_EQ(std::binary_search(ids.begin(), ids.end(), static_cast<int>(e)),
                              distance < static_cast<double>(r))
                        << e << " from " << q << " radius " << r;
                }
            }
        }
        EXPECT_GT(found, Support::Rounds(500U));
    }

    /// The outlines as many short segments.
    template <class T>
    void ExpectClosestPointOfBruteForce()
    {
        std::vector<Geometry::SegBase<T>> segments;
        for (const ArcSegBase<double>& element : elements_) {
            for (int i = 0; i < 25; ++i) {
                segments.push_back({VecBase<2, T>(Support::PointOf(element, i / 25.0)),
                                    VecBase<2, T>(Support::PointOf(element, (i + 1) / 25.0))});
            }
        }
        const SegmentTree<T> tree(segments);
        for (int i = 0; i < Support::Rounds(300); ++i) {
            const auto q = RandomPoint<T>();
            double least = std::numeric_limits<double>::infinity();
            for (const auto& segment : segments) {
                least = std::min(least, PlainDistance(segment, Vec2d(q)));
            }
            const auto closest = tree.ClosestPoint(q, static_cast<T>(2 * size_));
            ASSERT_GE(closest.id, 0);
            const double near = size_ * Support::kNear<T>;
            EXPECT_NEAR(Vector::Length(Vec2d(closest.point) - Vec2d(q)), least, near);
            const auto& segment = segments[static_cast<std::size_t>(closest.id)];
            EXPECT_NEAR(PlainDistance(segment, Vec2d(closest.point)), 0, near);
            const auto beyond = tree.ClosestPoint(q, static_cast<T>(least + 2 * near));
            EXPECT_EQ(beyond, closest); // all ties are within this radius too
        }
    }

    std::vector<ArcSegBase<double>> elements_;
    Vec2d low_;
    Vec2d high_;
    double size_ = 0;
    Random random_{71};
};

TEST_P(DrawingTrees, ItemsWithinAreThoseOfBruteForce)
{
    ASSERT_NO_FATAL_FAILURE(ExpectItemsWithinOfBruteForce<float>());
    ASSERT_NO_FATAL_FAILURE(ExpectItemsWithinOfBruteForce<double>());
}

TEST_P(DrawingTrees, ClosestPointIsThatOfBruteForce)
{
    ASSERT_NO_FATAL_FAILURE(ExpectClosestPointOfBruteForce<float>());
    ASSERT_NO_FATAL_FAILURE(ExpectClosestPointOfBruteForce<double>());
}

INSTANTIATE_TEST_SUITE_P(
    Drawings, DrawingTrees,
    testing::Values("1002_tray_bottom.json", "125_cycloidal.json", "apu-mount.json", "wrench.json"),
    [](const auto& drawing) {
        std::string name = drawing.param;
        std::replace_if(
            name.begin(), name.end(),
            [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
        return name;
    });

} // namespace
