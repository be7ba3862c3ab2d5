// The readers and writers of one form when memory runs out: the exception passes, and no reader
// leaves half of a mesh behind.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

namespace {

using namespace Velk::Math;
using namespace Sorvane::MeshUtils;

/// Outputs that hold something before.
template <class T>
struct Outputs {
    std::vector<VecBase<3, T>> points{{1, 2, 3}};
    std::vector<int> indices{4};
    std::vector<unsigned long long> vertexTags{5};
    std::vector<unsigned long long> triangleTags{6};
};

template <class T>
class FilesWithoutMemory : public testing::Test {
protected:
    template <class Read>
    void ExpectNothingIsLeft(const std::string& bytes, const Read& read)
    {
        const auto path = folder_ / "in";
        Support::WriteBytes(path, bytes);
        const std::size_t failures = Support::FailEachAllocation(
            [] { return Outputs<T>(); }, [&](Outputs<T>& outputs) { read(outputs, path); },
            [](const Outputs<T>& outputs) {
                // The name of a file that is passed by value is copied before the call begins.
                const Outputs<T> before;
                const bool isUntouched =
                    outputs.points == before.points && outputs.indices == before.indices;
                EXPECT_TRUE(isUntouched || (outputs.points.empty() && outputs.indices.empty() &&
                                            (outputs.vertexTags.empty() ||
                                             outputs.vertexTags == before.vertexTags)));
            });
        EXPECT_GT(failures, 0U);
    }

    Support::TemporaryFolder folder_;
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(FilesWithoutMemory, Scalars);

TYPED_TEST(FilesWithoutMemory, ReadersLeaveNothing)
{
    using Result = Outputs<TypeParam>;
    const Support::SmallMesh small = Support::TetrahedronAndFin();
    this->ExpectNothingIsLeft(Support::SolidText(small, "x"), [](Result& r, const auto& path) {
        EXPECT_TRUE(ReadFromASCIISTL(r.points, r.indices, path));
    });
    this->ExpectNothingIsLeft(Support::BinaryStlBytes(small, "x"), [](Result& r, const auto& path) {
        EXPECT_TRUE(ReadFromBinarySTL(r.points, r.indices, path));
    });
    if constexpr (std::is_same_v<TypeParam, double>) {
        this->ExpectNothingIsLeft(Support::TipcBytes(small, {1, 2, 3, 4, 5}, {1, 2, 3, 4, 5}),
                                  [](Result& r, const auto& path) {
                                      EXPECT_TRUE(ReadFromTIPC(r.points, r.indices, r.vertexTags,
                                                               r.triangleTags, path.string()));
                                  });
    }
}

TYPED_TEST(FilesWithoutMemory, AFileWithAnErrorStillGivesWhatWasRead)
{
    // What an exception does not leave, a false result does.
    Support::WriteBytes(this->folder_ / "in",
                        Support::SolidText(Support::TetrahedronAndFin(), "x").substr(0, 300));
    Outputs<TypeParam> outputs;
    EXPECT_FALSE(ReadFromASCIISTL(outputs.points, outputs.indices, this->folder_ / "in"));
    EXPECT_FALSE(outputs.points.empty());
}

TYPED_TEST(FilesWithoutMemory, WritersPassTheExceptionOn)
{
    const auto corners = Support::CornersOf<TypeParam>(Support::TetrahedronAndFin());
    std::vector<int> indices;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        indices.push_back(static_cast<int>(i));
    }
    const auto path = this->folder_ / "out";
    // Once before: the task library does not recover when its own first allocations fail.
    EXPECT_TRUE(WriteToBinarySTL(corners, indices, path));
    const auto failures = [](const auto& write) {
        return Support::FailEachAllocation([] { return 0; }, [&](int) { write(); }, [](int) {});
    };
    EXPECT_GT(failures([&] { (void)WriteToASCIISTL(corners, indices, path); }), 0U);
    EXPECT_GT(failures([&] { (void)WriteToBinarySTL(corners, indices, path); }), 0U);
    EXPECT_TRUE(WriteToBinarySTL(corners, indices, path));
    EXPECT_EQ(Support::ReadBytes(path).size(), 84U + 50U * (corners.size() / 3));
}

} // namespace
