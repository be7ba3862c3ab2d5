// TIPC, byte by byte.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::ReadFromTIPC;
using Sorvane::MeshUtils::WriteToTIPC;
using Support::Bits;
using Support::DoubleBytes;
using Support::LittleEndianBytes;

using Tags = std::vector<unsigned long long>;

struct Model {
    std::vector<Vec3d> points;
    std::vector<int> indices;
    Tags vertexTags;
    Tags triangleTags;
};

Model Quad()
{
    return {{{0, 0, 0}, {1, 0, 0}, {1, 2, 0}, {0, 2, -0.5}},
            {0, 1, 2, 0, 2, 3},
            {1, 2, 3, 0xFFFFFFFFFFFFFFFF},
            {0x0123456789ABCDEF, 0}};
}

class Tipc : public testing::Test {
protected:
    std::string Write(const Model& model)
    {
        EXPECT_TRUE(WriteToTIPC(model.points, model.indices, model.vertexTags, model.triangleTags,
                                (folder_ / "out.tipc").string()));
        return Support::ReadBytes(folder_ / "out.tipc");
    }

    /// Outputs hold something before, which must go.
    static bool ReadFile(Model& model, const std::filesystem::path& path)
    {
        model = Quad();
        return ReadFromTIPC(model.points, model.indices, model.vertexTags, model.triangleTags,
                            path.string());
    }

    bool Read(Model& model, const std::string& bytes)
    {
        Support::WriteBytes(folder_ / "in.tipc", bytes);
        return ReadFile(model, folder_ / "in.tipc");
    }

    Support::TemporaryFolder folder_;
};

std::string Header(std::uint32_t vertexCount, std::uint32_t triangleCount, int vertexFlag,
                   int triangleFlag)
{
    return LittleEndianBytes(vertexCount) + LittleEndianBytes(triangleCount) +
           static_cast<char>(vertexFlag) + static_cast<char>(triangleFlag);
}

void ExpectEmpty(const Model& model)
{
    EXPECT_TRUE(model.points.empty());
    EXPECT_TRUE(model.indices.empty());
    EXPECT_TRUE(model.vertexTags.empty());
    EXPECT_TRUE(model.triangleTags.empty());
}

TEST_F(Tipc, WritesExactlyTheseBytes)
{
    const Model model = Quad();
    std::string expected = Header(4, 2, 1, 1);
    for (const Vec3d& point : model.points) {
        for (const double component : point) {
            expected += DoubleBytes(component);
        }
    }
    for (const int index : model.indices) {
        expected += LittleEndianBytes(index);
    }
    for (const Tags& tags : {model.vertexTags, model.triangleTags}) {
        for (const unsigned long long tag : tags) {
            expected += LittleEndianBytes(tag);
        }
    }
    const std::string bytes = Write(model);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(bytes.size(), 10U + 24 * 4 + 12 * 2 + 8 * 4 + 8 * 2);
    // 1.0 is 0x3FF0000000000000; the second point's x begins at 10 + 24.
    EXPECT_EQ(bytes.substr(34, 8), std::string("\0\0\0\0\0\0\xF0\x3F", 8));
    EXPECT_EQ(bytes.substr(10 + 96 + 24 + 32, 8), "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
}

TEST_F(Tipc, TheShortFormHasNoTags)
{
    const Model model = Quad();
    ASSERT_TRUE(WriteToTIPC(model.points, model.indices, (folder_ / "x").string()));
    const std::string bytes = Support::ReadBytes(folder_ / "x");
    EXPECT_EQ(bytes.substr(0, 10), Header(4, 2, 0, 0));
    EXPECT_EQ(bytes.size(), 10U + 96 + 24);
    EXPECT_EQ(bytes.substr(10), Write(model).substr(10, 96 + 24));
}

TEST_F(Tipc, TheShortFormOfAnEmptyMeshFlagsItsEmptyTags)
{
    // No tags are as many as no points or no triangles.
    ASSERT_TRUE(WriteToTIPC({}, {}, (folder_ / "x").string()));
    EXPECT_EQ(Support::ReadBytes(folder_ / "x"), Header(0, 0, 1, 1));
    ASSERT_TRUE(WriteToTIPC({{1, 2, 3}}, {}, (folder_ / "x").string()));
    EXPECT_EQ(Support::ReadBytes(folder_ / "x").substr(0, 10), Header(1, 0, 0, 1));
}

TEST_F(Tipc, TagsOfAnyOtherNumberAreLeftOut)
{
    Model model = Quad();
    model.vertexTags = {1, 2, 3, 4, 5}; // five tags, four vertices
    EXPECT_EQ(Write(model).substr(0, 10), Header(4, 2, 0, 1));
    EXPECT_EQ(Write(model).size(), 10U + 96 + 24 + 16);
    model.triangleTags = {1, 2, 3}; // three tags, two triangles
    EXPECT_EQ(Write(model).substr(0, 10), Header(4, 2, 0, 0));
    EXPECT_EQ(Write(model).size(), 10U + 96 + 24);
    model.triangleTags.clear();
    EXPECT_EQ(Write(model).substr(0, 10), Header(4, 2, 0, 0));
    model.vertexTags.resize(4);
    EXPECT_EQ(Write(model).substr(0, 10), Header(4, 2, 1, 0));
    EXPECT_EQ(Write(model).size(), 10U + 96 + 24 + 32);
}

TEST_F(Tipc, AnEmptyMeshHasBothFlagsAndCannotBeReadBack)
{
    EXPECT_EQ(Write({}), Header(0, 0, 1, 1));
    Model model;
    EXPECT_FALSE(Read(model, Header(0, 0, 1, 1)));
    ExpectEmpty(model);
}

TEST_F(Tipc, PointsWithoutTriangles)
{
    EXPECT_EQ(Write({{{1, 2, 3}}, {}, {}, {}}).substr(0, 10), Header(1, 0, 0, 1));
}

TEST_F(Tipc, IncompleteTripleFailsBeforeTheFileIsTouched)
{
    Support::WriteBytes(folder_ / "kept", "precious");
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0}, (folder_ / "kept").string()));
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0, 0, 0}, {}, {}, (folder_ / "kept").string()));
    EXPECT_EQ(Support::ReadBytes(folder_ / "kept"), "precious");
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0}, (folder_ / "new").string()));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "new"));
}

TEST_F(Tipc, OnlyOpeningCanFail)
{
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0, 0}, (folder_ / "no_folder/x").string()));
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0, 0}, (folder_ / "").string()));
    EXPECT_FALSE(WriteToTIPC({{0, 0, 0}}, {0, 0, 0}, ""));
    EXPECT_TRUE(WriteToTIPC({{0, 0, 0}}, {0, 0, 0}, "/dev/full"));
}

TEST_F(Tipc, RoundTripKeepsEveryBit)
{
    using Limits = std::numeric_limits<double>;
    const double payload = std::bit_cast<double>(0x7FF4DEADBEEF0001); // signaling, with a payload
    Model model = Quad();
    model.points = {{payload, -payload, Limits::quiet_NaN()},
                    {Limits::infinity(), -Limits::infinity(), -0.0},
                    {Limits::denorm_min(), Limits::max(), 0.1},
                    {1, 2, 3}};
    model.indices = {0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 5, 6};
    Model back;
    EXPECT_TRUE(Read(back, Write(model)));
    EXPECT_EQ(Bits(back.points), Bits(model.points));
    EXPECT_EQ(back.indices, model.indices);
    EXPECT_EQ(back.vertexTags, model.vertexTags);
    EXPECT_EQ(back.triangleTags, model.triangleTags);
}

TEST_F(Tipc, LargeRoundTrip)
{
    // More than one block of each array.
    Support::Random random(9);
    Model model;
    for (int i = 0; i < 100'000; ++i) {
        model.points.push_back(
            {std::bit_cast<double>(random.Bits()), random.Unit(), -random.Unit()});
        model.indices.insert(model.indices.end(),
                             {random.Below(100'000), random.Below(100'000), random.Below(100'000)});
        model.vertexTags.push_back(random.Bits());
        model.triangleTags.push_back(random.Bits());
    }
    Model back;
    EXPECT_TRUE(Read(back, Write(model)));
    EXPECT_EQ(Bits(back.points), Bits(model.points));
    EXPECT_EQ(back.indices, model.indices);
    EXPECT_EQ(back.vertexTags, model.vertexTags);
    EXPECT_EQ(back.triangleTags, model.triangleTags);
}

TEST_F(Tipc, TheShortReaderDropsTheTags)
{
    const Model model = Quad();
    Write(model);
    std::vector<Vec3d> points{{9, 9, 9}};
    std::vector<int> indices{9};
    EXPECT_TRUE(ReadFromTIPC(points, indices, (folder_ / "out.tipc").string()));
    EXPECT_EQ(points, model.points);
    EXPECT_EQ(indices, model.indices);
}

TEST_F(Tipc, AnyFlagAboveZeroMeansTags)
{
    std::string bytes = Write(Quad());
    for (const int flag : {1, 2, 0x7F, 0x80, 0xFF}) {
        bytes[8] = bytes[9] = static_cast<char>(flag);
        Model model;
        EXPECT_TRUE(Read(model, bytes));
        EXPECT_EQ(model.vertexTags, Quad().vertexTags) << flag;
        EXPECT_EQ(model.triangleTags, Quad().triangleTags) << flag;
    }
    bytes[8] = 0; // without vertex tags, the triangles' come where those were
    Model model;
    EXPECT_TRUE(Read(model, bytes));
    EXPECT_TRUE(model.vertexTags.empty());
    EXPECT_EQ(model.triangleTags, (Tags{1, 2}));
}

TEST_F(Tipc, NoPointsOrNoTrianglesFailWhateverTheFlags)
{
    for (const int flag : {0, 1}) {
        Model model;
        EXPECT_FALSE(Read(model, Header(0, 1, flag, flag) + std::string(100, '\1')));
        ExpectEmpty(model);
        EXPECT_FALSE(Read(model, Header(1, 0, flag, flag) + std::string(100, '\1')));
        ExpectEmpty(model);
    }
}

TEST_F(Tipc, EndWithinTheHeaderFails)
{
    for (std::size_t size = 0; size < 10; ++size) {
        Model model;
        EXPECT_FALSE(Read(model, Header(1, 1, 1, 1).substr(0, size))) << size;
        ExpectEmpty(model);
    }
}

TEST_F(Tipc, EveryTruncationIsFilledWithZeros)
{
    const std::string bytes = Write(Quad());
    for (std::size_t size = 10; size <= bytes.size(); ++size) {
        std::string padded = bytes.substr(0, size);
        padded.resize(bytes.size(), '\0');
        Model expected;
        Model model;
        ASSERT_TRUE(Read(model, bytes.substr(0, size))) << size;
        ASSERT_EQ(model.points.size(), 4U);
        ASSERT_EQ(model.indices.size(), 6U);
        ASSERT_EQ(model.vertexTags.size(), 4U);
        ASSERT_EQ(model.triangleTags.size(), 2U);
        // Written again, the model gives the padded bytes.
        EXPECT_EQ(Write(model), padded) << size;
    }
}

TEST_F(Tipc, OutputsKeepTheirRoom)
{
    Write(Quad());
    Model model{std::vector<Vec3d>(100), std::vector<int>(100), Tags(100), Tags(100)};
    const Vec3d* const pointsAt = model.points.data();
    const int* const indicesAt = model.indices.data();
    const auto* const vertexTagsAt = model.vertexTags.data();
    const auto* const triangleTagsAt = model.triangleTags.data();
    for (const std::string name : {"missing", "out.tipc"}) {
        ReadFromTIPC(model.points, model.indices, model.vertexTags, model.triangleTags,
                     (folder_ / name).string());
        EXPECT_EQ(model.points.data(), pointsAt) << name;
        EXPECT_EQ(model.indices.data(), indicesAt) << name;
        EXPECT_EQ(model.vertexTags.data(), vertexTagsAt) << name;
        EXPECT_EQ(model.triangleTags.data(), triangleTagsAt) << name;
        EXPECT_EQ(model.points.capacity(), 100U) << name;
        EXPECT_EQ(model.indices.capacity(), 100U) << name;
        EXPECT_EQ(model.vertexTags.capacity(), 100U) << name;
        EXPECT_EQ(model.triangleTags.capacity(), 100U) << name;
    }
    EXPECT_EQ(model.points, Quad().points);
}

TEST_F(Tipc, TheShortReaderFailsWithEmptyOutputs)
{
    Support::WriteBytes(folder_ / "lying", Header(0, 1, 0, 0));
    for (const std::string name : {"missing", "lying"}) {
        std::vector<Vec3d> points{{9, 9, 9}};
        std::vector<int> indices{9};
        EXPECT_FALSE(ReadFromTIPC(points, indices, (folder_ / name).string())) << name;
        EXPECT_TRUE(points.empty()) << name;
        EXPECT_TRUE(indices.empty()) << name;
    }
}

TEST_F(Tipc, WhatCannotBeOpenedFailsWithEmptyOutputs)
{
    for (const std::string name : {"", "missing", "no_folder/x"}) {
        Model model;
        EXPECT_FALSE(ReadFile(model, folder_ / name)) << name; // "" is the folder itself
        ExpectEmpty(model);
    }
}

TEST_F(Tipc, TheHostsLocaleHasNoInfluence)
{
    const std::string expected = Write(Quad());
    const Support::CommaLocale comma;
    EXPECT_EQ(Write(Quad()), expected);
    Model model;
    EXPECT_TRUE(Read(model, expected));
    EXPECT_EQ(model.points, Quad().points);
}

} // namespace
