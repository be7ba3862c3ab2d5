// An index that a host makes from the public headers alone, linked with the shared library.

#include <Sorvane/ContentTree_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

struct Part : Tree::QOFTreeContent<3, double, 0> {
    int id = -1;
};

class Index : Tree::QOFTree<3, double, 0, Tree::QOFNode<3, double, 0>> {
public:
    void Add(const Part& part) { parts_.Add(part); }
    void Build() { PrepareRoot(parts_); }

    std::vector<int> Meeting(const Box& box) const
    {
        std::vector<int> ids;
        for (const Content* content : GetPossibleBoxCollisions(box)) {
            ids.push_back(static_cast<const Part*>(content)->id);
        }
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    /// Number of the part nearest to the point, by the squared distance to its box; of equals the
    /// least number. -1 when none is nearer than the radius.
    int Nearest(const Vec3d& point, double radius) const
    {
        int nearest = -1;
        double least = std::numeric_limits<double>::infinity();
        VisitNearest(point, radius * radius, [&](const Content* content) {
            const auto& part = static_cast<const Part&>(*content);
            const double squared = SquaredDistanceTo(part, point);
            if (squared < least || (squared == least && part.id < nearest)) {
                nearest = part.id;
                least = squared;
            }
            return least;
        });
        return nearest;
    }

    /// Parts right of x, by predicates of the host's own.
    std::vector<int> RightOf(double x) const
    {
        std::vector<int> ids;
        VisitCandidates(
            [x](const Box& box) { return box.max[0] > x; },
            [x](const Bound& bound) { return bound.min[0] > x; },
            [&](const Content* content) { ids.push_back(static_cast<const Part*>(content)->id); });
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    /// Do the visits without a list show what the lists hold, in their order?
    bool VisitsAgreeWithLists(const Vec3d& point, double radius, const Vec3d& direction) const
    {
        std::vector<const Content*> near;
        std::vector<const Content*> onLine;
        VisitBallCollisions({point, radius}, [&](const Content* c) { near.push_back(c); });
        VisitRayCollisions(point, direction, [&](const Content* c) { onLine.push_back(c); });
        return near == GetPossibleBallCollisions({point, radius}) &&
               onLine == GetPossibleRayCollisions(point, direction, true);
    }

    static double SquaredDistanceTo(const Part& part, const Vec3d& point)
    {
        double squared = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const double beyond =
                point[axis] - std::clamp(point[axis], part.min[axis], part.max[axis]);
            squared += beyond * beyond;
        }
        return squared;
    }

private:
    Tree::QOFStorage<Part> parts_;
};

struct HostIndex : testing::Test {
    std::vector<Part> parts;
    Index index;
    Support::Random random{5};

    HostIndex() : parts(500)
    {
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const Vec3d corner = Place();
            parts[i].id = static_cast<int>(i);
            parts[i].min = corner;
            parts[i].max = corner + Vec3d(random.Between(0.0, 2.0), random.Between(0.0, 2.0), 1.0);
            index.Add(parts[i]);
        }
        index.Build();
    }

    Vec3d Place()
    {
        const double x = random.Between(-10.0, 10.0);
        const double y = random.Between(-10.0, 10.0);
        return {x, y, random.Between(-10.0, 10.0)};
    }
};

TEST_F(HostIndex, FindsTheNearestBoxThatALoopOverAllFinds)
{
    int misses = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const Vec3d point = Place() * 1.2;
        const double radius = trial % 3 == 0 ? 0.4 : 100.0;
        int expected = -1;
        double least = radius * radius;
        for (const Part& part : parts) {
            const double squared = Index::SquaredDistanceTo(part, point);
            if (squared < least) {
                expected = part.id;
                least = squared;
            }
        }
        misses += expected < 0 ? 1 : 0;
        ASSERT_EQ(index.Nearest(point, radius), expected) << trial;
    }
    EXPECT_GT(misses, 0);
}

TEST_F(HostIndex, VisitsWithPredicatesOfItsOwn)
{
    for (int trial = 0; trial < 50; ++trial) {
        const double x = random.Between(-11, 11);
        std::vector<int> expected;
        for (const Part& part : parts) {
            if (part.min[0] > x) {
                expected.push_back(part.id);
            }
        }
        ASSERT_EQ(index.RightOf(x), expected) << x;
    }
}

TEST_F(HostIndex, VisitsShowWhatTheListsHold)
{
    for (int trial = 0; trial < 50; ++trial) {
        ASSERT_TRUE(index.VisitsAgreeWithLists(Place(), random.Between(0, 5), Place()));
    }
}

TEST_F(HostIndex, FindsTheBoxesThatALoopOverAllFinds)
{
    for (int trial = 0; trial < 200; ++trial) {
        const Vec3d corner = Place();
        const Bounding::AxisAlignedBoundingBox<3, double> box{corner, corner + Vec3d(1, 2, 3)};
        std::vector<int> expected;
        for (const Part& part : parts) {
            bool meets = true;
            for (int axis = 0; axis < 3; ++axis) {
                meets = meets && part.min[axis] <= box.max[axis] && box.min[axis] <= part.max[axis];
            }
            if (meets) {
                expected.push_back(part.id);
            }
        }
        EXPECT_EQ(index.Meeting(box), expected) << "trial " << trial;
    }
}

} // namespace
