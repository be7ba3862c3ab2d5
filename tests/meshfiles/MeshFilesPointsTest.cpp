// Points files, byte by byte.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::WriteArdenwickPointsFile;

class PointsFile : public testing::Test {
protected:
    template <int N>
    std::string Write(const std::vector<VecBase<N, double>>& points)
    {
        EXPECT_TRUE(WriteArdenwickPointsFile<N>(points, (folder_ / "out.txt").string()));
        return Support::ReadBytes(folder_ / "out.txt");
    }

    Support::TemporaryFolder folder_;
};

TEST_F(PointsFile, WritesExactlyTheseBytes)
{
    // 0.1 is 0.1000000000000000055511151...: seventeen digits end in ...01.
    EXPECT_EQ(Write<3>({{0, 1, -2.5}, {0.1, 1e17, 123456789012345678.0}}),
              "0 1 -2.5\n"
              "0.10000000000000001 1e+17 1.2345678901234568e+17\n");
    EXPECT_EQ(Write<2>({{0, -0.0}, {1e-5, 3}}), "0 -0\n"
                                                "1.0000000000000001e-05 3\n");
}

TEST_F(PointsFile, NonFiniteValuesAsAStreamWritesThem)
{
    using Limits = std::numeric_limits<double>;
    EXPECT_EQ(Write<3>({{Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}}),
              "inf -inf nan\n");
    EXPECT_EQ(Write<2>({{-Limits::quiet_NaN(), Limits::max()}}), "-nan 1.7976931348623157e+308\n");
}

TEST_F(PointsFile, NoPointsMakeNoFile)
{
    const std::string path = (folder_ / "new.txt").string();
    EXPECT_FALSE(WriteArdenwickPointsFile<3>({}, path));
    EXPECT_FALSE(WriteArdenwickPointsFile<2>({}, path));
    EXPECT_FALSE(std::filesystem::exists(path));
    Support::WriteBytes(path, "precious");
    EXPECT_FALSE(WriteArdenwickPointsFile<3>({}, path));
    EXPECT_EQ(Support::ReadBytes(path), "precious");
}

TEST_F(PointsFile, OnlyOpeningCanFail)
{
    EXPECT_FALSE(WriteArdenwickPointsFile<3>({{1, 2, 3}}, (folder_ / "no_folder/x").string()));
    EXPECT_FALSE(WriteArdenwickPointsFile<3>({{1, 2, 3}}, (folder_ / "").string()));
    EXPECT_FALSE(WriteArdenwickPointsFile<2>({{1, 2}}, ""));
    EXPECT_TRUE(WriteArdenwickPointsFile<3>({{1, 2, 3}}, "/dev/full"));
}

TEST_F(PointsFile, ManyPointsLikeAStream)
{
    Support::Random random(4);
    std::vector<Vec3d> points;
    std::ostringstream expected;
    expected.imbue(std::locale::classic());
    expected.precision(17);
    for (int i = 0; i < 50'000; ++i) {
        points.push_back({std::bit_cast<double>(random.Bits()), random.Between(-1000, 1000),
                          random.Below(1000) / 8.0});
        const Vec3d& point = points.back();
        expected << point.x() << ' ' << point.y() << ' ' << point.z() << std::endl;
    }
    EXPECT_EQ(Write<3>(points), expected.str());
}

TEST_F(PointsFile, TheHostsLocaleHasNoInfluence)
{
    const Support::CommaLocale comma;
    EXPECT_EQ(Write<2>({{1234567.5, 0.25}}), "1234567.5 0.25\n");
}

} // namespace
