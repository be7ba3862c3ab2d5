// Binary STL, byte by byte.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::ReadFromBinarySTL;
using Sorvane::MeshUtils::WriteToBinarySTL;
using Support::Bits;
using Support::FloatBytes;
using Support::LittleEndianBytes;

template <class T>
struct ReadResult {
    bool success = false;
    std::vector<VecBase<3, T>> points{{9, 9, 9}};
    std::vector<int> indices{7, 7};
};

template <class T>
class BinaryStl : public testing::Test {
protected:
    ReadResult<T> Read(const std::string& bytes)
    {
        const auto path = folder_ / "in.stl";
        Support::WriteBytes(path, bytes);
        return ReadFile(path);
    }

    ReadResult<T> ReadFile(const std::filesystem::path& path)
    {
        ReadResult<T> result;
        result.success = ReadFromBinarySTL(result.points, result.indices, path);
        EXPECT_TRUE(result.indices.empty()) << "a soup has no indices";
        return result;
    }

    std::string Write(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices)
    {
        const auto path = folder_ / "out.stl";
        EXPECT_TRUE(WriteToBinarySTL(points, indices, path));
        return Support::ReadBytes(path);
    }

    Support::TemporaryFolder folder_;
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(BinaryStl, Scalars);

std::string Header() { return "ARDENWICK STL DATA" + std::string(62, ' '); }

std::string Floats(std::initializer_list<float> values)
{
    std::string bytes;
    for (const float value : values) {
        bytes += FloatBytes(value);
    }
    return bytes;
}

std::string AttributeZero() { return std::string(2, '\0'); }

TYPED_TEST(BinaryStl, WritesExactlyTheseBytes)
{
    const std::string bytes = this->Write({{0, 0, 0}, {2, 0, 0}, {0, 0, 3}, {1.5, -2.25, 1e10}}, //
                                          {0, 1, 2, 3, 3, 3});
    // (2, 0, 0) x (0, 0, 3) = (0, -6, 0).
    const std::string first = Floats({0, -1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3}) + AttributeZero();
    const std::string point = Floats({1.5F, -2.25F, 1e10F});
    const std::string second = Floats({0, 0, 0}) + point + point + point + AttributeZero();
    EXPECT_EQ(bytes, Header() + LittleEndianBytes(std::uint32_t{2}) + first + second);
    EXPECT_EQ(bytes.size(), 84U + 2 * 50U);
    EXPECT_EQ(bytes.substr(80, 4), std::string("\2\0\0\0", 4));
    EXPECT_EQ(bytes.substr(84 + 24, 4), std::string("\0\0\0\x40", 4)) << "2.0F is 0x40000000";
}

TYPED_TEST(BinaryStl, WritesAnEmptyMesh)
{
    EXPECT_EQ(this->Write({}, {}), Header() + std::string(4, '\0'));
}

TEST(BinaryStlRounding, NormalsComeFromTheRoundedCorners)
{
    // In double the corners are 1e-9 apart and span an area; as floats they are one point.
    Support::TemporaryFolder folder;
    ASSERT_TRUE(WriteToBinarySTL<double>({{1, 1, 1}, {1 + 1e-9, 1, 1}, {1, 1 + 1e-9, 1}}, {0, 1, 2},
                                         folder / "x"));
    EXPECT_EQ(Support::ReadBytes(folder / "x").substr(84, 48),
              Floats({0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1}));

    // Rounding to float tilts this one: z = 2^-26 beside 1 is kept, y = 1 + 2^-26 is not.
    ASSERT_TRUE(WriteToBinarySTL<double>({{0, 1, 0}, {1, 1 + 0x1p-26, 0}, {0, 1, 1}}, {0, 1, 2},
                                         folder / "x"));
    EXPECT_EQ(Support::ReadBytes(folder / "x").substr(84, 12), Floats({0, -1, 0}));
}

TYPED_TEST(BinaryStl, TheNormalsFloorIsThatOfADoubledArea)
{
    const auto normal = [&](float h) {
        return this->Write({{0, 0, 0}, {1, 0, 0}, {0, h, 0}}, {0, 1, 2}).substr(84, 12);
    };
    EXPECT_EQ(normal(1e-8F), Floats({0, 0, 0})); // exactly the floor is not more than it
    EXPECT_NE(normal(std::nextafter(1e-8F, 1.0F)), Floats({0, 0, 0}));
    EXPECT_EQ(normal(0x1p-26F), Floats({0, 0, 1})); // 1.5e-8
}

TYPED_TEST(BinaryStl, DegenerateFacetsHaveAZeroNormal)
{
    constexpr auto kNaN = std::numeric_limits<TypeParam>::quiet_NaN();
    constexpr auto kInfinity = std::numeric_limits<TypeParam>::infinity();
    constexpr auto kLargest =
        std::numeric_limits<TypeParam>::max(); // as a float, infinite for double
    for (const TypeParam odd : {TypeParam{1}, kNaN, kInfinity, -kInfinity, kLargest}) {
        const std::string bytes = this->Write({{0, 0, 0}, {odd, odd, odd}, {3, 3, 3}}, {0, 1, 2});
        EXPECT_EQ(bytes.substr(84, 12), Floats({0, 0, 0})) << odd;
    }
}

TYPED_TEST(BinaryStl, IncompleteTripleFailsBeforeTheFileIsTouched)
{
    const auto path = this->folder_ / "kept.stl";
    Support::WriteBytes(path, "precious");
    const std::vector<VecBase<3, TypeParam>> points{{0, 0, 0}};
    EXPECT_FALSE(WriteToBinarySTL(points, {0, 0}, path));
    EXPECT_FALSE(WriteToBinarySTL(points, {0, 0, 0, 0}, path));
    EXPECT_EQ(Support::ReadBytes(path), "precious");
    EXPECT_FALSE(WriteToBinarySTL(points, {0, 0}, this->folder_ / "new.stl"));
    EXPECT_FALSE(std::filesystem::exists(this->folder_ / "new.stl"));
}

TYPED_TEST(BinaryStl, OnlyOpeningCanFail)
{
    const std::vector<VecBase<3, TypeParam>> points{{0, 0, 0}};
    EXPECT_FALSE(WriteToBinarySTL(points, {0, 0, 0}, this->folder_ / "no_folder/x.stl"));
    EXPECT_FALSE(WriteToBinarySTL(points, {0, 0, 0}, this->folder_ / ""));
    EXPECT_TRUE(WriteToBinarySTL(points, {0, 0, 0}, "/dev/full"));
}

TYPED_TEST(BinaryStl, ReadsASoupWhateverTheHeader)
{
    for (const std::string& header : {std::string(80, '\0'), "solid" + std::string(75, ' ')}) {
        const auto result = this->Read(header + LittleEndianBytes(std::uint32_t{1}) +
                                       Floats({9, 9, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9.5F}) + "ab");
        EXPECT_TRUE(result.success);
        EXPECT_EQ(result.points,
                  (std::vector<VecBase<3, TypeParam>>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9.5}}));
    }
}

TYPED_TEST(BinaryStl, BytesBehindTheLastTriangleAreLeftUnread)
{
    const auto result = this->Read(Header() + LittleEndianBytes(std::uint32_t{1}) +
                                   std::string(50, '\0') + std::string(500, '\xff'));
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points, (std::vector<VecBase<3, TypeParam>>(3)));
}

TYPED_TEST(BinaryStl, CountZeroFails)
{
    const auto result = this->Read(Header() + std::string(4, '\0'));
    EXPECT_FALSE(result.success);
    EXPECT_TRUE(result.points.empty());
}

TYPED_TEST(BinaryStl, EndWithinTheFirst84BytesFails)
{
    for (std::size_t size = 0; size < 84; ++size) {
        const auto result = this->Read((Header() + std::string(4, '\1')).substr(0, size));
        EXPECT_FALSE(result.success) << size;
        EXPECT_TRUE(result.points.empty()) << size;
    }
}

TYPED_TEST(BinaryStl, EveryTruncationKeepsTheBytesThatArrived)
{
    // Two triangles, cut at every length. The expectation is built on bytes: those missing are
    // zero.
    std::string records;
    for (int i = 0; i < 100; ++i) {
        records += static_cast<char>(i + 1); // every float of these is a normal number
    }
    for (std::size_t size = 0; size <= records.size(); ++size) {
        std::string padded = records.substr(0, size);
        padded.resize(100, '\0');
        std::vector<VecBase<3, TypeParam>> expected;
        for (const std::size_t corner : {12U, 24U, 36U, 62U, 74U, 86U}) {
            std::array<float, 3> floats{};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                std::uint32_t bits = 0;
                for (std::size_t byte = 0; byte < 4; ++byte) {
                    bits |= static_cast<std::uint32_t>(
                                static_cast<unsigned char>(padded[corner + 4 * axis + byte]))
                            << (8 * byte);
                }
                floats[axis] = std::bit_cast<float>(bits);
            }
            expected.push_back(VecBase<3, TypeParam>(floats[0], floats[1], floats[2]));
        }
        const auto result =
            this->Read(Header() + LittleEndianBytes(std::uint32_t{2}) + records.substr(0, size));
        EXPECT_TRUE(result.success) << size;
        EXPECT_EQ(Bits(result.points), Bits(expected)) << size;
    }
}

TYPED_TEST(BinaryStl, ARecordThatBreaksOffTakesNothingFromTheBlockBefore)
{
    // 6,000 records of 50 bytes are more than one block; the last but one ends after its normal.
    constexpr std::size_t kRecords = 6'000;
    const auto result =
        this->Read(Header() + LittleEndianBytes(static_cast<std::uint32_t>(kRecords)) +
                   std::string(50 * (kRecords - 2) + 12, '\x3f'));
    EXPECT_TRUE(result.success);
    const float whole = std::bit_cast<float>(std::uint32_t{0x3f3f3f3f});
    std::vector<VecBase<3, TypeParam>> expected(3 * (kRecords - 2), {whole, whole, whole});
    expected.resize(3 * kRecords);
    EXPECT_TRUE(result.points == expected);
}

TYPED_TEST(BinaryStl, ALyingCountIsFilledWithZeros)
{
    const auto result = this->Read(Header() + LittleEndianBytes(std::uint32_t{100'000}) +
                                   Floats({0, 0, 0, 1, 2, 3}));
    EXPECT_TRUE(result.success);
    ASSERT_EQ(result.points.size(), 300'000U);
    std::vector<VecBase<3, TypeParam>> expected(300'000);
    expected[0] = {1, 2, 3};
    EXPECT_EQ(Bits(result.points), Bits(expected));
}

TYPED_TEST(BinaryStl, OutputsKeepTheirRoom)
{
    Support::WriteBytes(this->folder_ / "in.stl",
                        Header() + LittleEndianBytes(std::uint32_t{1}) + std::string(50, '\0'));
    std::vector<VecBase<3, TypeParam>> points(100);
    std::vector<int> indices(100);
    const auto* const pointsAt = points.data();
    const int* const indicesAt = indices.data();
    for (const std::string name : {"missing.stl", "in.stl"}) {
        ReadFromBinarySTL(points, indices, this->folder_ / name);
        EXPECT_EQ(points.data(), pointsAt) << name;
        EXPECT_EQ(points.capacity(), 100U) << name;
        EXPECT_EQ(indices.data(), indicesAt) << name;
        EXPECT_EQ(indices.capacity(), 100U) << name;
    }
    EXPECT_EQ(points.size(), 3U);
}

TYPED_TEST(BinaryStl, WhatCannotBeOpenedFailsWithEmptyOutputs)
{
    for (const std::string name : {"", "missing.stl", "no_folder/x.stl"}) {
        const auto result = this->ReadFile(this->folder_ / name); // "" is the folder itself
        EXPECT_FALSE(result.success) << name;
        EXPECT_TRUE(result.points.empty()) << name;
    }
}

TYPED_TEST(BinaryStl, ManyTrianglesKeepEveryFloat)
{
    // 30,000 triangles are 1.5 MB: several blocks, the last one broken.
    Support::Random random(5);
    std::vector<VecBase<3, TypeParam>> points;
    for (int i = 0; i < 90'000; ++i) {
        points.push_back({static_cast<float>(random.Between(-1e6, 1e6)),
                          static_cast<float>(random.Unit()),
                          std::ldexp(1.0F, random.Below(250) - 140)});
    }
    std::vector<int> indices(points.size());
    std::iota(indices.begin(), indices.end(), 0);
    const std::string bytes = this->Write(points, indices);
    EXPECT_EQ(bytes.size(), 84U + 50U * 30'000U);
    const auto result = this->Read(bytes);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(Bits(result.points), Bits(points));
}

TYPED_TEST(BinaryStl, TheHostsLocaleHasNoInfluence)
{
    const std::string expected = this->Write({{0, 0, 0}, {2, 0, 0}, {0, 3, 0.5}}, {0, 1, 2});
    const Support::CommaLocale comma;
    EXPECT_EQ(this->Write({{0, 0, 0}, {2, 0, 0}, {0, 3, 0.5}}, {0, 1, 2}), expected);
    EXPECT_EQ(this->Read(expected).points[2], (VecBase<3, TypeParam>(0, 3, 0.5)));
}

struct SharedFile {
    const char* name;
    std::size_t triangleCount; // from the table beside the files
};

TYPED_TEST(BinaryStl, RealFiles)
{
    for (const auto& [name, triangleCount] : {
             SharedFile{"meshes_cad/plate_holes.STL", 1252},
             SharedFile{"meshes_cad/octagonal_pocket.stl", 3262},
             SharedFile{"meshes_cad/angle_block.STL", 704},
             SharedFile{"meshes_cad/idler_riser.STL", 1572},
             SharedFile{"meshes_cad/round.stl", 1120},
             SharedFile{"meshes_cad/voron_z_joint_upper_x4.stl", 26442},
             SharedFile{"meshes_cad/prusa_extruder_idler.stl", 4834},
             SharedFile{"meshes_organic/nefertiti_lowres.stl", 70000},
             SharedFile{"meshes_organic/koala.stl", 99994},
             SharedFile{"meshes_organic/fish.stl", 21568},
             SharedFile{"meshes_organic/spot.stl", 23062},
             SharedFile{"meshes_defective/busted.STL", 3878},
             SharedFile{"meshes_defective/soup.stl", 100},
             SharedFile{"meshes_defective/7_8ths_cube.stl", 24},
             SharedFile{"meshes_defective/self_intersectA.stl", 17160},
             SharedFile{"meshes_nist/nist_ctc_01_asme1_rd.stl", 4420},
             SharedFile{"meshes_nist/nist_ctc_03_asme1_rc.stl", 4362},
             SharedFile{"meshes_nist/nist_ctc_05_asme1_rd.stl", 15674},
             SharedFile{"meshes_nist/nist_ftc_06_asme1_rd.stl", 15802},
             SharedFile{"meshes_nist/nist_ftc_09_asme1_rd.stl", 6628},
             SharedFile{"meshes_nist/nist_ftc_11_asme1_rb.stl", 4996},
         }) {
        if (triangleCount > Support::FullOr<std::size_t>(1'000'000, 50'000)) {
            continue; // there are fish and spot, of the same kind
        }
        const auto path = Support::SharedData(name);
        SORVANE_NEED_DATA(path);
        const auto result = this->ReadFile(path);
        EXPECT_TRUE(result.success) << name;
        ASSERT_EQ(result.points.size(), 3 * triangleCount) << name;

        // Corners are floats already, so writing keeps them to the bit.
        std::vector<int> indices(result.points.size());
        std::iota(indices.begin(), indices.end(), 0);
        const auto again = this->Read(this->Write(result.points, indices));
        EXPECT_EQ(Bits(again.points), Bits(result.points)) << name;
    }
}

TYPED_TEST(BinaryStl, TheVolumeOfARealFile)
{
    // 767362.1 is the table's figure for the plate, from a computation of its own on the same
    // floats.
    const auto path = Support::SharedData("meshes_cad/plate_holes.STL");
    SORVANE_NEED_DATA(path);
    const auto points = this->ReadFile(path).points;
    double volume = 0;
    for (std::size_t i = 0; i < points.size(); i += 3) {
        const VecBase<3, double> p0(points[i][0], points[i][1], points[i][2]);
        const VecBase<3, double> p1(points[i + 1][0], points[i + 1][1], points[i + 1][2]);
        const VecBase<3, double> p2(points[i + 2][0], points[i + 2][1], points[i + 2][2]);
        volume += p0 * (p1 ^ p2) / 6;
    }
    EXPECT_NEAR(volume, 767362.1, 0.05 + 0.05); // the figure is rounded to one decimal
}

} // namespace
