// An index that a host makes from the public headers alone, linked with the shared library.

#include <Sorvane/ContentTree_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
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

private:
    Tree::QOFStorage<Part> parts_;
};

TEST(HostIndex, FindsTheBoxesThatALoopOverAllFinds)
{
    ::Test::Random random(5);
    const auto place = [&] { return random.Between(-10.0, 10.0); };
    std::vector<Part> parts(500);
    Index index;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Vec3d corner(place(), place(), place());
        parts[i].id = static_cast<int>(i);
        parts[i].min = corner;
        parts[i].max = corner + Vec3d(random.Between(0.0, 2.0), random.Between(0.0, 2.0), 1.0);
        index.Add(parts[i]);
    }
    index.Build();
    for (int trial = 0; trial < 200; ++trial) {
        const Vec3d corner(place(), place(), place());
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
