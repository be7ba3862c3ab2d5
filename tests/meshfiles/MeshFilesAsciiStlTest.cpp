// ASCII STL as a host reads and writes it. What single numbers become is tested against the streams
// in AsciiStlParserTest and NumberTextTest.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <limits>
#include <numeric>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::ReadFromASCIISTL;
using Sorvane::MeshUtils::WriteToASCIISTL;
using Support::Bits;

template <class T>
struct ReadResult {
    bool success = false;
    std::vector<VecBase<3, T>> points{{9, 9, 9}}; // what a caller left in the outputs must go
    std::vector<int> indices{7, 7};
};

template <class T>
class AsciiStl : public testing::Test {
protected:
    ReadResult<T> Read(const std::string& text)
    {
        const auto path = folder_ / "in.stl";
        Support::WriteBytes(path, text);
        return ReadFile(path);
    }

    ReadResult<T> ReadFile(const std::filesystem::path& path)
    {
        ReadResult<T> result;
        result.success = ReadFromASCIISTL(result.points, result.indices, path);
        std::vector<int> numbers(result.points.size());
        std::iota(numbers.begin(), numbers.end(), 0);
        EXPECT_EQ(result.indices, numbers) << "0, 1, 2, ... in every case";
        return result;
    }

    std::string Write(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices)
    {
        const auto path = folder_ / "out.stl";
        EXPECT_TRUE(WriteToASCIISTL(points, indices, path));
        return Support::ReadBytes(path);
    }

    Support::TemporaryFolder folder_;
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(AsciiStl, Scalars);

const std::string kFacet = "facet normal 0 0 1\n"
                           "outer loop\n"
                           "vertex 1 2 3\n"
                           "vertex 4 5 6\n"
                           "vertex 7 8 9.5\n"
                           "endloop\n"
                           "endfacet\n";

template <class T>
std::vector<VecBase<3, T>> FacetPoints()
{
    return {{1, 2, 3}, {4, 5, 6}, {7, 8, 9.5}};
}

TYPED_TEST(AsciiStl, ReadsFacetsWithoutMerging)
{
    const auto result = this->Read("solid\n" + kFacet + kFacet + "endsolid\n");
    EXPECT_TRUE(result.success);
    auto twice = FacetPoints<TypeParam>();
    const auto once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(result.points, twice);
}

TYPED_TEST(AsciiStl, NoFacetsAtAll)
{
    const auto result = this->Read("solid\nendsolid\n");
    EXPECT_TRUE(result.success);
    EXPECT_TRUE(result.points.empty());
}

TYPED_TEST(AsciiStl, AnyFirstLineIsAccepted)
{
    for (const std::string first : {"", "facet normal 0 0 1", "\x80\xff binary ", "endsolid"}) {
        const auto result = this->Read(first + "\n" + kFacet + "endsolid\n");
        EXPECT_TRUE(result.success) << first;
        EXPECT_EQ(result.points.size(), 3U) << first;
    }
}

TYPED_TEST(AsciiStl, SingleLineWithoutLineEndFails)
{
    EXPECT_FALSE(this->Read("").success);
    EXPECT_FALSE(this->Read("solid").success);
    EXPECT_FALSE(this->Read("endsolid").success);
    EXPECT_FALSE(this->Read("\n").success);
    EXPECT_FALSE(this->Read("solid\n").success);
}

TYPED_TEST(AsciiStl, EndKeywordInAnySpelling)
{
    for (const std::string end :
         {"endsolid", "endsolid\n", "END SOLID", "EndSolid name", "end solid\n",
          " \tend\v solid\r\n", "endsolid\nanything after it\nis left unread",
          "end solid more words"}) {
        const auto result = this->Read("solid\n" + kFacet + end);
        EXPECT_TRUE(result.success) << end;
        EXPECT_EQ(result.points.size(), 3U) << end;
    }
    for (const std::string end :
         {"", "end", "end solidly", "endsolids", "end\nsolid", "solid", "end sol id",
          "\xA0"
          "endsolid",
          "ends olid"}) {
        const auto result = this->Read("solid\n" + kFacet + end);
        EXPECT_FALSE(result.success) << end;
        EXPECT_EQ(result.points, FacetPoints<TypeParam>()) << end;
    }
}

TYPED_TEST(AsciiStl, NothingBehindTheFirstEndIsRead)
{
    const auto result =
        this->Read("solid\n" + kFacet + "endsolid\nsolid\n" + kFacet + "endsolid\n");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points.size(), 3U);
}

TYPED_TEST(AsciiStl, MissingEndKeepsTheTriangles)
{
    const auto result = this->Read("solid\n" + kFacet + kFacet);
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.points.size(), 6U);
}

TYPED_TEST(AsciiStl, EmptyLineBetweenFacetsEndsTheLoop)
{
    const auto result = this->Read("solid\n" + kFacet + "\n" + kFacet + "endsolid\n");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

TYPED_TEST(AsciiStl, FourthVertexFails)
{
    std::string text = "solid\n" + kFacet + "endsolid\n";
    text.insert(text.find("endloop"), "vertex 0 0 0\n");
    const auto result = this->Read(text);
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

TYPED_TEST(AsciiStl, FileCutAfterItsFirstVertexHasNoPhantoms)
{
    const std::string start = "solid\nfacet normal 0 0 1\nouter loop\nvertex 1 2 3";
    for (const std::string end : {"", "\n"}) {
        const auto result = this->Read(start + end);
        EXPECT_FALSE(result.success);
        EXPECT_EQ(result.points, (std::vector<VecBase<3, TypeParam>>{{1, 2, 3}}));
    }
}

TYPED_TEST(AsciiStl, EveryStatementIsChecked)
{
    // Each keyword in turn is spelled wrong; the points of the lines before it stay.
    struct {
        const char* right;
        const char* wrong;
        std::size_t pointCount;
    } const cases[] = {
        {"facet normal", "face normal", 0},
        {"facet normal", "facet", 0},
        {"facet normal", "facetnormal", 0},
        {"facet normal", "facet normals", 0},
        {"outer loop", "outer", 0},
        {"outer loop", "outer\nloop", 0},
        {"outer loop", "outer loops", 0},
        {"vertex 1", "vertices 1", 0},
        {"vertex 1", "vertex1", 0},
        {"vertex 4", "point 4", 1},
        {"vertex 7", "\n", 2},
        {"endloop", "end loop", 3},
        {"endfacet", "end facet", 3},
        {"endfacet", "facet normal 0 0 1", 3},
    };
    for (const auto& [right, wrong, pointCount] : cases) {
        std::string text = "solid\n" + kFacet + "endsolid\n";
        text.replace(text.find(right), std::string_view(right).size(), wrong);
        const auto result = this->Read(text);
        EXPECT_FALSE(result.success) << wrong;
        EXPECT_EQ(result.points.size(), pointCount) << wrong;
    }
}

TYPED_TEST(AsciiStl, CaseBlanksAndTrailingWordsDoNotMatter)
{
    const auto result = this->Read("solid\r\n"
                                   "\t FACET\v Normal nothing is read here\r\n"
                                   "OUTER LOOP and more\r\n"
                                   "\fVeRtEx\t1\v2\f3 4 5\r\n"
                                   "   vertex +4. 5e0 .6E1\r\n"
                                   "vertex 7 8 9.5\r\n"
                                   "EndLoop ignored\r\n"
                                   "ENDFACET\r\n"
                                   "ENDSOLID\r\n");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

TYPED_TEST(AsciiStl, WhatIsNoNumberIsZeroAndEndsTheLine)
{
    using T = TypeParam;
    constexpr T kLargest = std::numeric_limits<T>::max();
    struct {
        const char* text;
        VecBase<3, T> point;
    } const cases[] = {
        {"1 abc 3", {1, 0, 0}},
        {"1 nan 3", {1, 0, 0}},
        {"inf 2 3", {0, 0, 0}},
        {"1 2", {1, 2, 0}},
        {"", {0, 0, 0}},
        {"1 1e400 3", {1, kLargest, 0}},
        {"1 -1e400 3", {1, -kLargest, 0}},
        {"1 1e-400 3", {1, 0, 3}},
        {"1,5 2 3", {1, 0, 0}},
        {"1.5.25 3", {1.5, 0.25, 3}},
        {"1-2+3", {1, -2, 3}},
        {"0x10 2 3", {0, 0, 0}},
        {"1e 2 3", {0, 0, 0}},
        {"--1 2 3", {0, 0, 0}},
        {"1abc 2 3", {1, 0, 0}},
        {"\xA0"
         "1 2 3",
         {0, 0, 0}},
    };
    for (const auto& [text, point] : cases) {
        std::string file = "solid\n" + kFacet + "endsolid\n";
        file.replace(file.find("1 2 3"), 5, text);
        const auto result = this->Read(file);
        EXPECT_TRUE(result.success) << text;
        ASSERT_EQ(result.points.size(), 3U) << text;
        EXPECT_EQ(result.points[0], point) << text;
    }
}

TYPED_TEST(AsciiStl, EmbeddedNulIsAnOrdinaryCharacter)
{
    std::string text = "solid\n" + kFacet + "endsolid\n";
    text.replace(text.find("1 2 3"), 5,
                 std::string("1 2\0"
                             "3 4",
                             7));
    const auto result = this->Read(text);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points[0], (VecBase<3, TypeParam>(1, 2, 0)));
}

TYPED_TEST(AsciiStl, BinaryFileFailsWithoutHarm)
{
    std::string bytes(80, '\x9f');
    for (int i = 0; i < 2000; ++i) {
        bytes += static_cast<char>(37 * i);
    }
    EXPECT_FALSE(this->Read(bytes).success);
}

TYPED_TEST(AsciiStl, LinesLongerThanAnyBlock)
{
    const std::string blanks(3'000'000, ' ');
    std::string text = "solid" + blanks + "\n" + kFacet + "endsolid\n";
    text.replace(text.find("vertex 4 5 6"), 12, "vertex" + blanks + "4" + blanks + "5 6 " + blanks);
    const auto result = this->Read(text);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

TYPED_TEST(AsciiStl, OutputsKeepTheirRoom)
{
    Support::WriteBytes(this->folder_ / "in.stl", "solid\n" + kFacet + "endsolid\n");
    std::vector<VecBase<3, TypeParam>> points(100);
    std::vector<int> indices(100);
    const auto* const pointsAt = points.data();
    const int* const indicesAt = indices.data();
    for (const std::string name : {"missing.stl", "in.stl"}) {
        ReadFromASCIISTL(points, indices, this->folder_ / name);
        EXPECT_EQ(points.data(), pointsAt) << name;
        EXPECT_EQ(points.capacity(), 100U) << name;
        EXPECT_EQ(indices.data(), indicesAt) << name;
        EXPECT_EQ(indices.capacity(), 100U) << name;
    }
    EXPECT_EQ(points.size(), 3U);
}

TYPED_TEST(AsciiStl, WhatCannotBeOpenedFailsWithEmptyOutputs)
{
    for (const std::string name : {"", "missing.stl", "no_folder/x.stl"}) {
        const auto result = this->ReadFile(this->folder_ / name); // "" is the folder itself
        EXPECT_FALSE(result.success) << name;
        EXPECT_TRUE(result.points.empty()) << name;
    }
}

TYPED_TEST(AsciiStl, UnreadableFileFails)
{
    const auto path = this->folder_ / "secret.stl";
    Support::WriteBytes(path, "solid\nendsolid\n");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    const bool isRoot = geteuid() == 0; // who may read everything, unless it steps back
    if (isRoot) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const auto result = this->ReadFile(path);
    if (isRoot) {
        ASSERT_EQ(seteuid(0), 0);
    }
    EXPECT_FALSE(result.success);
}

TYPED_TEST(AsciiStl, ReadsFromAPipe)
{
    const auto path = this->folder_ / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        Support::WriteBytes(path, "solid\n" + kFacet + "endsolid\n");
        _exit(0);
    }
    ASSERT_GT(writer, 0);
    const auto result = this->ReadFile(path);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

TYPED_TEST(AsciiStl, WritesExactlyTheseBytes)
{
    // Coordinates of more than seven digits, of exponents that change the form, and a negative
    // zero. The edges are (1000000, 0, 0) and (0, 0.0001, 0) exactly enough for the normal to be 0
    // 0 1.
    EXPECT_EQ(
        this->Write({{0, 0, -0.0}, {1000000, 0, 0}, {0, 0.0001, 0}, {12345678, -0.00001, 0.5}},
                    {0, 1, 2}),
        "solid ascii\n"
        "    facet normal 0 0 1\n"
        "        outer loop\n"
        "            vertex 0 0 -0\n"
        "            vertex 1000000 0 0\n"
        "            vertex 0 0.0001 0\n"
        "        endloop\n"
        "    endfacet\n"
        "endsolid ascii\n");
    EXPECT_EQ(this->Write({{12345678, -0.00001, 0.5}, {1.0 / 3, 1e10, -1e-10}}, {0, 1, 0}),
              "solid ascii\n"
              "    facet normal 0 0 0\n"
              "        outer loop\n"
              "            vertex 1.234568e+07 -1e-05 0.5\n"
              "            vertex 0.3333333 1e+10 -1e-10\n"
              "            vertex 1.234568e+07 -1e-05 0.5\n"
              "        endloop\n"
              "    endfacet\n"
              "endsolid ascii\n");
}

TYPED_TEST(AsciiStl, AnIncompleteLastTripleIsLeftOut)
{
    const std::string empty = "solid ascii\nendsolid ascii\n";
    EXPECT_EQ(this->Write({}, {}), empty);
    EXPECT_EQ(this->Write({{1, 2, 3}}, {0, 0}), empty);
    EXPECT_EQ(this->Write({{1, 2, 3}}, {0, 0, 0, 0, 0}), this->Write({{1, 2, 3}}, {0, 0, 0}));
}

std::string FirstNormal(const std::string& text)
{
    const std::size_t begin = text.find("normal ") + 7;
    return text.substr(begin,
                       text.find('\n') == std::string::npos ? 0 : text.find('\n', begin) - begin);
}

TYPED_TEST(AsciiStl, DegenerateFacetsHaveAZeroNormal)
{
    constexpr auto kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr auto kInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(FirstNormal(this->Write({{0, 0, 0}, {1, 1, 1}, {3, 3, 3}}, {0, 1, 2})), "0 0 0");
    EXPECT_EQ(FirstNormal(this->Write({{0, 0, 0}, {kNaN, 1, 1}, {0, 3, 3}}, {0, 1, 2})), "0 0 0");
    EXPECT_EQ(FirstNormal(this->Write({{0, 0, 0}, {kInfinity, 1, 1}, {0, 3, 3}}, {0, 1, 2})),
              "0 0 0");
}

TEST(AsciiStlNormal, DoubleComparesTheAreaWithItsFloor)
{
    // Legs 1 and h span a triangle of area h / 2: zero normal as long as h / 2 <= 1e-12.
    Support::TemporaryFolder folder;
    const auto normal = [&](double h) {
        EXPECT_TRUE(
            WriteToASCIISTL<double>({{0, 0, 0}, {1, 0, 0}, {0, h, 0}}, {0, 1, 2}, folder / "x"));
        return FirstNormal(Support::ReadBytes(folder / "x"));
    };
    EXPECT_EQ(normal(2e-12), "0 0 0"); // exactly the floor is not more than it
    EXPECT_EQ(normal(2.0000001e-12), "0 0 1");
    EXPECT_EQ(normal(1.5e-12), "0 0 0");
}

TEST(AsciiStlNormal, FloatComparesTwiceTheAreaWithItsFloor)
{
    Support::TemporaryFolder folder;
    const auto normal = [&](float h) {
        EXPECT_TRUE(
            WriteToASCIISTL<float>({{0, 0, 0}, {1, 0, 0}, {0, h, 0}}, {0, 1, 2}, folder / "x"));
        return FirstNormal(Support::ReadBytes(folder / "x"));
    };
    EXPECT_EQ(normal(1e-8F), "0 0 0"); // exactly the floor is not more than it
    EXPECT_NE(normal(std::nextafter(1e-8F, 1.0F)), "0 0 0");
    EXPECT_EQ(normal(0x1p-26F), "0 0 1"); // 1.5e-8
}

TYPED_TEST(AsciiStl, WritingIsTrueInEveryCase)
{
    const std::vector<VecBase<3, TypeParam>> points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    EXPECT_TRUE(WriteToASCIISTL(points, {0, 1, 2}, this->folder_ / "no_folder/x.stl"));
    EXPECT_TRUE(WriteToASCIISTL(points, {0, 1, 2}, this->folder_ / ""));
    EXPECT_TRUE(WriteToASCIISTL(points, {0, 1, 2}, "/dev/full"));
}

TYPED_TEST(AsciiStl, TheHostsLocaleHasNoInfluence)
{
    const std::vector<VecBase<3, TypeParam>> points{{1234567.5, 0.25, -1e-7}, {2, 0, 0}, {0, 3, 0}};
    const std::string expected = this->Write(points, {0, 1, 2});
    const Support::CommaLocale comma;
    ASSERT_EQ((std::ostringstream() << 1234.5).str(), "1.234,5") << "the locale of this test works";
    EXPECT_EQ(this->Write(points, {0, 1, 2}), expected);
    const auto result = this->Read("solid\n" + kFacet + "endsolid\n");
    EXPECT_EQ(result.points, FacetPoints<TypeParam>());
}

/// Wavy sheet whose coordinates have at most seven digits, so that text keeps them.
template <class T>
std::vector<VecBase<3, T>> ShortDecimals(int count)
{
    Support::Random random(11);
    std::vector<VecBase<3, T>> points;
    for (int i = 0; i < count; ++i) {
        const auto coordinate = [&] {
            return static_cast<T>((random.Below(1'999'999) - 1'000'000) / 1024.0);
        };
        points.push_back({coordinate(), coordinate(), coordinate()});
    }
    return points;
}

TYPED_TEST(AsciiStl, ManyFacetsOverSeveralBlocks)
{
    // 20,000 facets are about 4 MB: several blocks of 1 MiB, each in several pieces.
    auto points = ShortDecimals<TypeParam>(60'000);
    for (auto& point : points) {
        for (auto& component : point) {
            component = std::round(component); // at most 977: text holds it
        }
    }
    std::vector<int> indices(points.size());
    std::iota(indices.begin(), indices.end(), 0);
    const std::string text = this->Write(points, indices);
    EXPECT_GT(text.size(), 3U << 20U);
    const auto result = this->Read(text);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(Bits(result.points), Bits(points));

    // A spoilt word far inside keeps exactly what comes before it.
    const std::size_t spoilt = text.find("endloop", text.size() * 3 / 4);
    const auto countVertices = [](std::string_view part) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = part.find("vertex", at)) != part.npos; ++at) {
            ++count;
        }
        return count;
    };
    std::string broken = text;
    broken[spoilt] = 'x';
    const auto partial = this->Read(broken);
    EXPECT_FALSE(partial.success);
    ASSERT_EQ(partial.points.size(), countVertices(std::string_view(text).substr(0, spoilt)));
    EXPECT_TRUE(std::equal(partial.points.begin(), partial.points.end(), points.begin()));
}

struct SharedFile {
    const char* name;
    std::size_t triangleCount; // from the table beside the files
};

TYPED_TEST(AsciiStl, RealFiles)
{
    for (const auto& [name, triangleCount] : {
             SharedFile{"meshes_cad/1002_tray_bottom.STL", 4520},
             SharedFile{"meshes_cad/ADIS16480.STL", 7436},
             SharedFile{"meshes_cad/prusa_x_end_idler.stl", 5944},
             SharedFile{"meshes_defective/conveyor_fill-holes-bad.stl", 855},
             SharedFile{"meshes_defective/conveyor_fill-holes-good.stl", 856},
             SharedFile{"meshes_defective/conveyor_nearby-bad.stl", 856},
             SharedFile{"meshes_defective/conveyor_remove-unconnected-bad.stl", 857},
         }) {
        const auto path = Support::SharedData(name);
        SORVANE_NEED_DATA(path);
        const auto result = this->ReadFile(path);
        EXPECT_TRUE(result.success) << name;
        EXPECT_EQ(result.points.size(), 3 * triangleCount) << name;

        // Written with seven digits and read back: half a unit of the seventh digit.
        const auto again = this->Read(this->Write(result.points, result.indices));
        EXPECT_TRUE(again.success);
        ASSERT_EQ(again.points.size(), result.points.size());
        for (std::size_t i = 0; i < again.points.size(); ++i) {
            for (int axis = 0; axis < 3; ++axis) {
                const double value = result.points[i][axis];
                // 5e-7 of the value is the text's share, 1e-7 that of rounding to float again.
                EXPECT_NEAR(again.points[i][axis], value, 6e-7 * std::abs(value)) << name;
            }
        }
    }
}

TYPED_TEST(AsciiStl, RealBinaryFilesAreRefused)
{
    for (const char* name : {"meshes_cad/round.stl", "meshes_defective/soup.stl"}) {
        const auto path = Support::SharedData(name);
        SORVANE_NEED_DATA(path);
        EXPECT_FALSE(this->ReadFile(path).success) << name;
    }
}

} // namespace
