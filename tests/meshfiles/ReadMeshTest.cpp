// Reading mesh files of any form: what is read, what is refused, and for which reason. The files
// are made byte by byte here, without the library's writers.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <map>
#include <numeric>
#include <span>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Velk::Math;
namespace fs = std::filesystem;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::TriangleSoup;
using Sorvane::MeshUtils::MeshFileError;
using Sorvane::MeshUtils::MeshFileForm;
using Sorvane::MeshUtils::MeshFileResult;
using Sorvane::MeshUtils::MeshFileText;
using Sorvane::MeshUtils::ReadMesh;
using Support::BinaryStlBytes;
using Support::Bits;
using Support::CornersOf;
using Support::LittleEndianBytes;
using Support::SmallMesh;
using Support::SolidText;
using Support::TetrahedronAndFin;
using Support::TipcBytes;

using Tags = std::vector<unsigned long long>;

std::vector<int> Counting(std::size_t count)
{
    std::vector<int> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

template <class T>
class ReadMeshOf : public testing::Test {
protected:
    using Mesh = IndexedPointsBase<3, T>;

    /// Outputs hold something before, which must go.
    static Mesh Filled() { return {{{9, 9, 9}, {8, 8, 8}, {7, 7, 7}}, {0, 1, 2}}; }

    MeshFileResult Read(const std::string& bytes, const std::string& name = "part.xyz")
    {
        fs::remove(folder_ /
                   name); // some file systems bring a file that is overwritten to the disk
        Support::WriteBytes(folder_ / name, bytes);
        const MeshFileResult result = ReadPath(folder_ / name);
        ExpectTheSameFromMemory(result, bytes);
        return result;
    }

    /// Whatever a file gives, its bytes give, wherever they lie.
    void ExpectTheSameFromMemory(const MeshFileResult& result, const std::string& bytes)
    {
        const std::string shifted = "x" + bytes;
        const auto memory = std::as_bytes(std::span(shifted)).subspan(1);
        Mesh mesh = Filled();
        EXPECT_EQ(ReadMesh(mesh, memory), result);
        EXPECT_EQ(Bits(mesh.points), Bits(mesh_.points));
        EXPECT_EQ(mesh.indices, mesh_.indices);
        TriangleSoup<3, T> soup(2);
        EXPECT_EQ(ReadMesh(soup, memory), result);
        EXPECT_EQ(3 * soup.size(), mesh.indices.size());
        Mesh tagged = Filled();
        Tags ofPoints{1, 2};
        Tags ofTriangles{3};
        EXPECT_EQ(ReadMesh(tagged, ofPoints, ofTriangles, memory), result);
        EXPECT_EQ(Bits(tagged.points), Bits(mesh_.points));
        EXPECT_EQ(tagged.indices, mesh_.indices);
        EXPECT_TRUE(ofPoints.empty() || ofPoints.size() == mesh.points.size());
        EXPECT_TRUE(ofTriangles.empty() || 3 * ofTriangles.size() == mesh.indices.size());
    }

    MeshFileResult ReadPath(const fs::path& path)
    {
        mesh_ = Filled();
        const MeshFileResult result = ReadMesh(mesh_, path);
        if (!result) {
            EXPECT_TRUE(mesh_.points.empty() && mesh_.indices.empty())
                << "a refusal leaves nothing";
        }
        ExpectTheSameAsASoup(result, path);
        return result;
    }

    void ExpectTheSameAsASoup(const MeshFileResult& result, const fs::path& path)
    {
        TriangleSoup<3, T> soup(2);
        const MeshFileResult answer = ReadMesh(soup, path);
        EXPECT_EQ(answer, result);
        std::vector<VecBase<3, T>> corners;
        for (const auto& triangle : soup) {
            corners.insert(corners.end(), triangle.begin(), triangle.end());
        }
        std::vector<VecBase<3, T>> expected;
        for (const int index : mesh_.indices) {
            expected.push_back(mesh_.points[static_cast<std::size_t>(index)]);
        }
        EXPECT_EQ(Bits(corners), Bits(expected));
    }

    void ExpectCorners(const std::vector<VecBase<3, T>>& corners)
    {
        EXPECT_EQ(Bits(mesh_.points), Bits(corners));
        EXPECT_EQ(mesh_.indices, Counting(corners.size()));
    }

    Support::TemporaryFolder folder_;
    Mesh mesh_;
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ReadMeshOf, Scalars);

MeshFileResult Refusal(MeshFileError error, MeshFileForm form, std::uint64_t place = 0)
{
    MeshFileResult result;
    result.error = error;
    result.form = form;
    result.place = place;
    return result;
}

MeshFileResult WrongSize(MeshFileError error, MeshFileForm form, std::uint64_t announced,
                         std::uint64_t actual)
{
    MeshFileResult result = Refusal(error, form);
    result.announcedBytes = announced;
    result.actualBytes = actual;
    return result;
}

MeshFileResult Success(MeshFileForm form) { return Refusal(MeshFileError::None, form); }

// --- the forms
// ------------------------------------------------------------------------------------

TYPED_TEST(ReadMeshOf, TellsTheFormsApartByContentAndNotByName)
{
    const SmallMesh small = TetrahedronAndFin();
    const auto corners = CornersOf<TypeParam>(small);
    for (const char* name : {"a.stl", "a.STL", "a.tipc", "a.txt", "a", "a.obj"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(this->Read(SolidText(small, "part"), name), Success(MeshFileForm::AsciiStl));
        this->ExpectCorners(corners);
        EXPECT_EQ(this->Read(BinaryStlBytes(small, "made by hand"), name),
                  Success(MeshFileForm::BinaryStl));
        this->ExpectCorners(corners);
        EXPECT_EQ(this->Read(TipcBytes(small, {}, {}), name), Success(MeshFileForm::Tipc));
        EXPECT_EQ(this->mesh_.indices, small.indices);
        ASSERT_EQ(this->mesh_.points.size(), 5U);
        EXPECT_EQ(this->mesh_.points[3], corners[5]);
        EXPECT_TRUE(std::signbit(this->mesh_.points[2].z())) << "-0 stays -0";
    }
}

TYPED_TEST(ReadMeshOf, ABinaryStlMayBeginWithSolid)
{
    const SmallMesh small = TetrahedronAndFin();
    for (const char* header :
         {"solid", "solid part", "solid part\nfacet normal 0 0 1\nouter loop\n", "  SOLID\n"}) {
        SCOPED_TRACE(header);
        EXPECT_EQ(this->Read(BinaryStlBytes(small, header)), Success(MeshFileForm::BinaryStl));
        this->ExpectCorners(CornersOf<TypeParam>(small));
    }
    const std::string zeros(80, '\0');
    EXPECT_EQ(this->Read(BinaryStlBytes(small, zeros)), Success(MeshFileForm::BinaryStl));
    this->ExpectCorners(CornersOf<TypeParam>(small));
}

TYPED_TEST(ReadMeshOf, TagsOfATipcFile)
{
    const SmallMesh small = TetrahedronAndFin();
    const Tags ofPoints{1, 2, 3, 4, 0xFFFFFFFFFFFFFFFF};
    const Tags ofTriangles{10, 20, 30, 40, 0x0123456789ABCDEF};
    for (const bool hasPointTags : {false, true}) {
        for (const bool hasTriangleTags : {false, true}) {
            const Tags first = hasPointTags ? ofPoints : Tags{};
            const Tags second = hasTriangleTags ? ofTriangles : Tags{};
            EXPECT_EQ(this->Read(TipcBytes(small, first, second)), Success(MeshFileForm::Tipc));
            Tags vertexTags{7};
            Tags triangleTags{7, 7};
            EXPECT_TRUE(
                ReadMesh(this->mesh_, vertexTags, triangleTags, this->folder_ / "part.xyz"));
            EXPECT_EQ(vertexTags, first);
            EXPECT_EQ(triangleTags, second);
        }
    }
    // An STL has none, and a refusal leaves none.
    for (const std::string& bytes : {SolidText(small, ""), std::string("nothing")}) {
        Support::WriteBytes(this->folder_ / "b", bytes);
        Tags vertexTags{7};
        Tags triangleTags{7, 7};
        (void)ReadMesh(this->mesh_, vertexTags, triangleTags, this->folder_ / "b");
        EXPECT_TRUE(vertexTags.empty() && triangleTags.empty());
    }
}

TYPED_TEST(ReadMeshOf, AFileThatFitsBothBinaryFormsIsTipcOnlyIfItsIndicesAreInRange)
{
    // 4 points and 19 triangles are 10 + 96 + 228 = 334 = 84 + 5 * 50 bytes. Bytes 80 to 83, the
    // count of a binary STL, are the upper two of the third z and the lower two of the fourth x.
    SmallMesh small;
    small.points = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
    for (int i = 0; i < 57; ++i) {
        small.indices.push_back(i % 4);
    }
    std::string bytes = TipcBytes(small, {}, {});
    bytes[80] = 5;
    bytes[81] = 0;
    bytes[82] = 0;
    bytes[83] = 0;
    ASSERT_EQ(bytes.size(), 334U);
    EXPECT_EQ(this->Read(bytes), Success(MeshFileForm::Tipc));
    EXPECT_EQ(this->mesh_.indices, small.indices);

    for (const int outside : {4, -1}) {
        const std::string index = LittleEndianBytes(static_cast<std::uint32_t>(outside));
        std::copy(index.begin(), index.end(), bytes.begin() + 10 + 96 + 4 * 50);
        MeshFileResult result = this->Read(bytes);
        EXPECT_EQ(result.form, MeshFileForm::BinaryStl) << MeshFileText(result);
    }
    // As an STL it is one whose floats are 0, denormal or halves of the numbers above.
    const std::string index = LittleEndianBytes(std::uint32_t{4});
    std::copy(index.begin(), index.end(), bytes.begin() + 10 + 96 + 4 * 50);
    EXPECT_EQ(this->Read(bytes), Success(MeshFileForm::BinaryStl));
    EXPECT_EQ(this->mesh_.points.size(), 15U);
}

// --- ASCII
// ----------------------------------------------------------------------------------------

TYPED_TEST(ReadMeshOf, AllSolidsOfAnAsciiFileAreJoined)
{
    SmallMesh first = TetrahedronAndFin();
    SmallMesh second = first;
    first.indices.resize(6);
    second.indices.erase(second.indices.begin(), second.indices.begin() + 6);
    const std::string text = SolidText(first, "one") + "\n" +
                             SolidText(SmallMesh{}, "nothing in it") + SolidText(second, "two");
    EXPECT_EQ(this->Read(text), Success(MeshFileForm::AsciiStl));
    this->ExpectCorners(CornersOf<TypeParam>(TetrahedronAndFin()));

    // The reader of this form alone stops at the first end.
    std::vector<VecBase<3, TypeParam>> points;
    std::vector<int> indices;
    EXPECT_TRUE(Sorvane::MeshUtils::ReadFromASCIISTL(points, indices, this->folder_ / "part.xyz"));
    EXPECT_EQ(points.size(), 6U);
}

struct AsciiCase {
    const char* name;
    const char* text;
};

/// All of these are the triangle (0 0 0) (1 0 0) (0 2.5 0).
const AsciiCase kGoodTexts[] = {
    {"Plain", "solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 2.5 0\n"
              "endloop\nendfacet\nendsolid\n"},
    {"NoLineEndAtTheEnd",
     "solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex "
     "0 2.5 0\nendloop\nendfacet\nendsolid"},
    {"AnyCase",
     "SOLID Part\nFacet Normal 0 0 1\nOUTER LOOP\nVertex 0 0 0\nVERTEX 1 0 0\nvertex 0 2.5 "
     "0\nEndLoop\nENDFACET\nEndSolid Part\n"},
    {"LineEndsOfTwoBytes",
     "solid\r\nfacet normal 0 0 1\r\nouter loop\r\nvertex 0 0 0\r\nvertex 1 0 0\r\nvertex 0 2.5 "
     "0\r\nendloop\r\nendfacet\r\nendsolid\r\n"},
    {"BlankLinesAnywhere", "\n \nsolid\n\nfacet normal 0 0 1\n\t\nouter loop\n\nvertex 0 0 "
                           "0\n\r\nvertex 1 0 0\n\nvertex 0 "
                           "2.5 0\n\nendloop\n\nendfacet\n\nendsolid\n\n \n"},
    {"TabsAndManyBlanks",
     "\tsolid\t\n  facet\t normal 0 0 1\nouter \t loop \nvertex\t0\t0  0\nvertex  1 "
     "0 0 \nvertex 0 2.5 0\t\nendloop \nendfacet\t\nendsolid\n"},
    {"EndInTwoWords",
     "solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 2.5 "
     "0\nendloop\nendfacet\nend solid part\n"},
    {"NamesOfAnything",
     "solid facet vertex 1 2 3 endsolid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 "
     "0\nvertex 0 2.5 0\nendloop\nendfacet\nendsolid facet \xC3\xA4 (c) 50 %\n"},
    {"NormalsAreNotRead",
     "solid\nfacet normal nan -inf here\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 2.5 "
     "0\nendloop\nendfacet\nendsolid\n"},
    {"NoNormalAtAll", "solid\nfacet normal\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 2.5 "
                      "0\nendloop\nendfacet\nendsolid\n"},
    {"NumbersOfAllKinds",
     "solid\nfacet normal 0 0 1\nouter loop\nvertex -0 +0e5 .0\nvertex 1. 0.000 0E-400\nvertex "
     "0 25000000000000000000000e-22 0\nendloop\nendfacet\nendsolid\n"},
    {"ByteOrderMark",
     "\xEF\xBB\xBFsolid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 2.5 "
     "0\nendloop\nendfacet\nendsolid\n"},
};

TYPED_TEST(ReadMeshOf, AsciiVariantsOfOneTriangle)
{
    for (const AsciiCase& good : kGoodTexts) {
        SCOPED_TRACE(good.name);
        const MeshFileResult result = this->Read(good.text);
        EXPECT_EQ(result, Success(MeshFileForm::AsciiStl)) << MeshFileText(result);
        const std::vector<VecBase<3, TypeParam>> corners{{0, 0, 0}, {1, 0, 0}, {0, 2.5, 0}};
        EXPECT_EQ(this->mesh_.points, corners);
    }
}

struct BadLine {
    const char* name;
    std::size_t line; ///< which line of the plain text is replaced, from 1
    const char* replacement;
    std::size_t errorLine; ///< in the new text
};

const char* const kPlainLines[] = {
    "solid",   "facet normal 0 0 1", "outer loop", "vertex 0 0 0", "vertex 1 0 0", "vertex 0 2.5 0",
    "endloop", "endfacet",           "endsolid",
};

const BadLine kBadLines[] = {
    {"FacetWithoutNormal", 2, "facet", 2},
    {"FacetInOneWord", 2, "facetnormal 0 0 1", 2},
    {"NoFacet", 2, "outer loop", 2},
    {"TextBetween", 2, "hello\nfacet normal 0 0 1", 2},
    {"LoopWithSomethingBehind", 3, "outer loop 1", 3},
    {"NoOuterLoop", 3, "vertex 0 0 0", 3},
    {"OneNumberMissing", 5, "vertex 1 0", 5},
    {"NoNumbers", 5, "vertex", 5},
    {"FourNumbers", 5, "vertex 1 0 0 0", 5},
    {"CommasForPoints", 5, "vertex 1,5 0,0 0,0", 5},
    {"CommasBetween", 5, "vertex 1,0,0", 5},
    {"NoNumber", 5, "vertex 1 zero 0", 5},
    {"NumberWithAUnit", 5, "vertex 1mm 0 0", 5},
    {"Nan", 5, "vertex nan 0 0", 5},
    {"Infinity", 5, "vertex 1 inf 0", 5},
    {"Hexadecimal", 5, "vertex 0x10 0 0", 5},
    {"HalfAnExponent", 5, "vertex 1e 0 0", 5},
    {"MinusAlone", 5, "vertex - 0 0", 5},
    {"VertexTwice", 6, "vertex 0 2.5 0\nvertex 1 1 1", 7},
    {"VertexMissing", 6, "", 7},
    {"EndLoopWithSomethingBehind", 7, "endloop vertex", 7},
    {"NoEndLoop", 7, "endfacet", 7},
    {"NoEndFacet", 8, "facet normal 0 0 1", 8},
    {"EndFacetWithSomethingBehind", 8, "endfacet 8", 8},
    {"SolidInASolid", 8, "endfacet\nsolid", 9},
    {"FacetBehindTheEnd", 9, "endsolid\nfacet normal 0 0 1", 10},
    {"TextBehindTheEnd", 9, "endsolid\n\nthe end", 11},
    {"EndSolidWithoutABlank", 9, "endsolidpart", 9},
};

TYPED_TEST(ReadMeshOf, RefusesAsciiWithALineThatDoesNotBelongThere)
{
    for (const BadLine& bad : kBadLines) {
        SCOPED_TRACE(bad.name);
        std::string text;
        for (std::size_t line = 1; line <= std::size(kPlainLines); ++line) {
            text += line == bad.line ? bad.replacement : kPlainLines[line - 1];
            text += '\n';
        }
        const MeshFileResult result = this->Read(text);
        EXPECT_EQ(result, Refusal(MeshFileError::Malformed, MeshFileForm::AsciiStl, bad.errorLine))
            << MeshFileText(result);
    }
}

TYPED_TEST(ReadMeshOf, TheLineOfAnErrorIsRightInALargeFileToo)
{
    // Of several blocks that are parsed in several pieces: 7 lines a facet, after the first.
    std::string text = SolidText(TetrahedronAndFin(), "x");
    const std::string facets = text.substr(8, text.size() - 8 - 11);
    std::string large = "solid x\n";
    constexpr std::size_t kRepeats = 6000; // of 5 facets
    for (std::size_t i = 0; i < kRepeats; ++i) {
        large += facets;
    }
    ASSERT_GT(large.size(), std::size_t{4} << 20U);
    EXPECT_EQ(this->Read(large + "endsolid x\n"), Success(MeshFileForm::AsciiStl));
    EXPECT_EQ(this->mesh_.points.size(), 15 * kRepeats);
    EXPECT_EQ(this->mesh_.indices, Counting(15 * kRepeats));

    for (const std::size_t repeat : {std::size_t{0}, kRepeats / 3, kRepeats - 1}) {
        std::string bad = large + "endsolid x\n";
        const std::size_t vertex = bad.find("vertex", 8 + repeat * facets.size());
        bad[vertex] = 'w';
        EXPECT_EQ(this->Read(bad),
                  Refusal(MeshFileError::Malformed, MeshFileForm::AsciiStl, 1 + 35 * repeat + 3));
    }
}

TYPED_TEST(ReadMeshOf, RefusesAnAsciiFileWithAnEndlessLine)
{
    const std::string endless(3U << 20U, 'x');
    EXPECT_EQ(this->Read("solid " + endless),
              Refusal(MeshFileError::Malformed, MeshFileForm::AsciiStl, 1));
    EXPECT_EQ(this->Read("solid\nfacet normal " + endless),
              Refusal(MeshFileError::Malformed, MeshFileForm::AsciiStl, 2));
    // A long name is none.
    const std::string name(5000, 'n');
    EXPECT_TRUE(this->Read(SolidText(TetrahedronAndFin(), name)));
}

TYPED_TEST(ReadMeshOf, AsciiWithoutTriangles)
{
    for (const char* text :
         {"solid\nendsolid\n", "solid a\nendsolid", "solid\nend solid\n\nsolid b\nendsolid b\n"}) {
        EXPECT_EQ(this->Read(text), Refusal(MeshFileError::NoTriangles, MeshFileForm::AsciiStl));
    }
}

// --- numbers
// --------------------------------------------------------------------------------------

TYPED_TEST(ReadMeshOf, RefusesAsciiNumbersThatAreTooLarge)
{
    const auto withNumber = [](const std::string& number) {
        return "solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 " + number +
               "\nvertex 0 2.5 0\nendloop\nendfacet\nendsolid\n";
    };
    for (const char* tooLarge : {"1e400", "-1e400", "1e999999999999"}) {
        EXPECT_EQ(this->Read(withNumber(tooLarge)),
                  Refusal(MeshFileError::NotFinite, MeshFileForm::AsciiStl, 1));
    }
    const MeshFileResult beyondFloat = this->Read(withNumber("1e39"));
    if (std::is_same_v<TypeParam, float>) {
        EXPECT_EQ(beyondFloat, Refusal(MeshFileError::NotFinite, MeshFileForm::AsciiStl, 1));
    } else {
        EXPECT_TRUE(beyondFloat);
    }
    EXPECT_TRUE(this->Read(withNumber("1e-999")));
    EXPECT_TRUE(this->Read(withNumber("3.4028234e38")));
}

TYPED_TEST(ReadMeshOf, RefusesBinaryNumbersThatAreNotFinite)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    for (const float bad : {kInfinity, -kInfinity, kNaN, -kNaN}) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            SmallMesh small = TetrahedronAndFin();
            small.points[4][axis] = bad; // corner 2 of triangle 4
            EXPECT_EQ(this->Read(BinaryStlBytes(small, "x")),
                      Refusal(MeshFileError::NotFinite, MeshFileForm::BinaryStl, 14));
            EXPECT_EQ(this->Read(TipcBytes(small, {}, {})),
                      Refusal(MeshFileError::NotFinite, MeshFileForm::Tipc, 4));
        }
    }
    constexpr float kLargest = std::numeric_limits<float>::max();
    constexpr float kSmallest = std::numeric_limits<float>::denorm_min();
    SmallMesh extreme = TetrahedronAndFin();
    extreme.points[0] = {kLargest, -kLargest, kSmallest};
    EXPECT_TRUE(this->Read(BinaryStlBytes(extreme, "x")));
    EXPECT_EQ(this->mesh_.points[0], CornersOf<TypeParam>(extreme)[0]);
    EXPECT_TRUE(this->Read(TipcBytes(extreme, {}, {})));
}

TYPED_TEST(ReadMeshOf, ADoubleOfATipcFileMayBeTooLargeForFloat)
{
    std::string bytes = TipcBytes(TetrahedronAndFin(), {}, {});
    const std::string large = Support::DoubleBytes(1e39);
    std::copy(large.begin(), large.end(), bytes.begin() + 10 + 2 * 24 + 8);
    const MeshFileResult result = this->Read(bytes);
    if (std::is_same_v<TypeParam, float>) {
        EXPECT_EQ(result, Refusal(MeshFileError::NotFinite, MeshFileForm::Tipc, 2));
    } else {
        EXPECT_EQ(result, Success(MeshFileForm::Tipc));
    }
}

TYPED_TEST(ReadMeshOf, RefusesATipcFileWithAnIndexThatIsNoPoint)
{
    for (const int outside :
         {5, 6, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        for (std::size_t at = 0; at < 15; ++at) {
            SmallMesh small = TetrahedronAndFin();
            small.indices[at] = outside;
            EXPECT_EQ(this->Read(TipcBytes(small, {}, {})),
                      Refusal(MeshFileError::IndexOutOfRange, MeshFileForm::Tipc, at / 3));
        }
    }
}

TYPED_TEST(ReadMeshOf, ErrorsFarIntoALargeFile)
{
    // More triangles than any block holds, with two errors of which the first is told.
    SmallMesh large;
    constexpr int kCount = 40'000;
    for (int i = 0; i < 3 * kCount; ++i) {
        const auto x = static_cast<float>(i);
        large.points.push_back({x, 0.5F * x, -x});
        large.indices.push_back(i);
    }
    ASSERT_TRUE(this->Read(BinaryStlBytes(large, "x")));
    this->ExpectCorners(CornersOf<TypeParam>(large));
    ASSERT_TRUE(this->Read(TipcBytes(large, {}, {})));
    this->ExpectCorners(CornersOf<TypeParam>(large));

    for (const std::size_t first : {std::size_t{3}, std::size_t{50'000}, std::size_t{119'999}}) {
        SmallMesh bad = large;
        bad.points[first][1] = std::numeric_limits<float>::infinity();
        bad.points[119'999][2] = std::numeric_limits<float>::quiet_NaN();
        EXPECT_EQ(this->Read(BinaryStlBytes(bad, "x")),
                  Refusal(MeshFileError::NotFinite, MeshFileForm::BinaryStl, first));
        EXPECT_EQ(this->Read(TipcBytes(bad, {}, {})),
                  Refusal(MeshFileError::NotFinite, MeshFileForm::Tipc, first));
        bad = large;
        bad.indices[first] = 3 * kCount;
        bad.indices[119'999] = -7;
        EXPECT_EQ(this->Read(TipcBytes(bad, {}, {})),
                  Refusal(MeshFileError::IndexOutOfRange, MeshFileForm::Tipc, first / 3));
    }
}

// --- files that are not whole, and no mesh files
// --------------------------------------------------

/// The lengths at which cutting a text of solids leaves nothing out but blanks and a name: behind
/// an "endsolid" and before the next "solid".
std::vector<bool> WholeLengths(const std::string& text)
{
    std::vector<bool> isWhole(text.size() + 1, false);
    for (std::size_t end = text.find("endsolid"); end != std::string::npos;) {
        end += 8;
        const std::size_t next = text.find("\nsolid", end);
        const std::size_t last = next == std::string::npos ? text.size() : next + 1;
        for (std::size_t length = end; length <= last; ++length) {
            isWhole[length] = true;
        }
        end = text.find("endsolid", end);
    }
    return isWhole;
}

TYPED_TEST(ReadMeshOf, NoFormIsTakenForWholeWhenItIsCutAtAnyByte)
{
    const SmallMesh small = TetrahedronAndFin();
    SmallMesh one = small;
    one.indices.resize(3);
    const std::vector<std::pair<const char*, std::string>> files{
        {"ascii", SolidText(one, "a part") + SolidText(one, "another")},
        {"binary", BinaryStlBytes(small, "made by hand")},
        {"binary that begins with solid", BinaryStlBytes(small, "solid part")},
        {"binary of one triangle", BinaryStlBytes(one, "")},
        {"tipc", TipcBytes(small, {}, {})},
        {"tipc with tags", TipcBytes(one, {1, 2, 3, 4, 5}, {6})},
    };
    for (const auto& [name, bytes] : files) {
        SCOPED_TRACE(name);
        const bool isAscii = std::string(name) == "ascii";
        const std::vector<bool> isWhole = WholeLengths(bytes);
        EXPECT_TRUE(this->Read(bytes));
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const MeshFileResult result = this->Read(bytes.substr(0, length));
            if (isAscii && isWhole[length]) {
                EXPECT_TRUE(result) << "cut to " << length;
                continue;
            }
            EXPECT_FALSE(result) << "cut to " << length;
            // In the beginning nothing tells the forms. "solid" and the fronts of the others do.
            const std::size_t front = isAscii ? 5 : std::string(name).starts_with("tipc") ? 10 : 84;
            const MeshFileError expected = length == 0      ? MeshFileError::EmptyFile
                                           : length < front ? MeshFileError::UnknownForm
                                                            : MeshFileError::CutShort;
            // Before its count a binary file that begins with "solid" is a text that ends too
            // early.
            if (std::string(name) != "binary that begins with solid" || length >= 84) {
                EXPECT_EQ(result.error, expected)
                    << "cut to " << length << ": " << MeshFileText(result);
            }
        }
    }
}

TYPED_TEST(ReadMeshOf, NoBinaryFileIsTakenForWholeWithBytesBehindIt)
{
    const SmallMesh small = TetrahedronAndFin();
    for (const std::string& more :
         {std::string(1, '\0'), std::string("\n"), std::string(50, ' ')}) {
        const std::string stl = BinaryStlBytes(small, "x");
        EXPECT_EQ(this->Read(stl + more), WrongSize(MeshFileError::TooLong, MeshFileForm::BinaryStl,
                                                    stl.size(), stl.size() + more.size()));
        const std::string tipc = TipcBytes(small, {}, {});
        EXPECT_EQ(this->Read(tipc + more), WrongSize(MeshFileError::TooLong, MeshFileForm::Tipc,
                                                     tipc.size(), tipc.size() + more.size()));
    }
    // Blanks behind the last solid of a text are none of its content.
    EXPECT_TRUE(this->Read(SolidText(small, "x") + " \n\t\r\n"));
}

TYPED_TEST(ReadMeshOf, ALyingCountIsNotBelievedAndTakesNoMemory)
{
    const SmallMesh small = TetrahedronAndFin();
    for (const std::uint32_t count : {6U, 1000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(this->Read(BinaryStlBytes(small, "x", count)),
                  WrongSize(MeshFileError::CutShort, MeshFileForm::BinaryStl,
                            84 + std::uint64_t{50} * count, 84 + 250));
    }
    for (const std::uint32_t count : {0U, 4U}) {
        EXPECT_EQ(
            this->Read(BinaryStlBytes(small, "x", count)),
            WrongSize(MeshFileError::TooLong, MeshFileForm::BinaryStl, 84 + 50 * count, 84 + 250));
    }
    for (const std::uint32_t count : {6U, 0x10000000U}) {
        for (const std::size_t at : {std::size_t{0}, std::size_t{4}}) {
            std::string bytes = TipcBytes(small, {}, {});
            const std::uint64_t announced = at == 0 ? 10 + std::uint64_t{24} * count + 60
                                                    : 10 + 120 + std::uint64_t{12} * count;
            const std::string lie = LittleEndianBytes(count);
            std::copy(lie.begin(), lie.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
            EXPECT_EQ(this->Read(bytes), WrongSize(MeshFileError::CutShort, MeshFileForm::Tipc,
                                                   announced, bytes.size()));
        }
    }
}

TYPED_TEST(ReadMeshOf, ABinaryStlOfNoTriangles)
{
    EXPECT_EQ(this->Read(BinaryStlBytes(SmallMesh{}, "x")),
              Refusal(MeshFileError::NoTriangles, MeshFileForm::BinaryStl));
}

TYPED_TEST(ReadMeshOf, RefusesWhatIsNoMeshFile)
{
    const auto unknown = Refusal(MeshFileError::UnknownForm, MeshFileForm::Unknown);
    const std::string png(
        "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\1\0\0\0\1\0\x08\6\0\0\0\x5c\x72\xa8\x66", 33);
    const std::string zip("PK\3\4\x14\0\0\0\x08\0", 10);
    for (const std::string& bytes :
         {std::string("hello"), std::string("solidity\n"), std::string("\n\n  \n"),
          std::string("<html><body>404 not found</body></html>\n") + std::string(400, '.'),
          std::string("# a mesh\nv 0 0 0\nv 1 0 0\nf 1 2 3\n") + std::string(200, ' '),
          std::string("ply\nformat ascii 1.0\n") + std::string(200, 'x'), png, zip,
          std::string(1000, '\xFF'), std::string(79, '\0'), std::string("s\0o\0l\0i\0d\0 \0", 12),
          std::string("\xFF\xFEs\0o\0l\0i\0d\0", 12)}) {
        SCOPED_TRACE(bytes.substr(0, 20));
        EXPECT_EQ(this->Read(bytes), unknown);
    }
    // Noise of any kind is refused as one or the other.
    Support::Random random(7);
    for (int trial = 0; trial < 500; ++trial) {
        std::string noise(static_cast<std::size_t>(random.Below(700)), '\0');
        for (char& c : noise) {
            c = static_cast<char>(random.Below(256));
        }
        EXPECT_FALSE(this->Read(noise));
    }
}

TYPED_TEST(ReadMeshOf, DamagedFilesAreRefusedOrReadAsMeshes)
{
    const SmallMesh small = TetrahedronAndFin();
    const std::string files[] = {SolidText(small, "a"), BinaryStlBytes(small, "solid"),
                                 TipcBytes(small, {1, 2, 3, 4, 5}, {})};
    Support::Random random(11);
    for (int trial = 0; trial < 3000; ++trial) {
        std::string bytes = files[trial % 3];
        for (int damage = random.Below(3); damage >= 0; --damage) {
            bytes[static_cast<std::size_t>(random.Below(static_cast<int>(bytes.size())))] =
                static_cast<char>(random.Below(256));
        }
        if (this->Read(bytes)) {
            EXPECT_FALSE(this->mesh_.indices.empty());
            const auto count = static_cast<int>(this->mesh_.points.size());
            for (const int index : this->mesh_.indices) {
                ASSERT_TRUE(index >= 0 && index < count);
            }
            for (const auto& point : this->mesh_.points) {
                ASSERT_TRUE(std::isfinite(point.x()) && std::isfinite(point.y()) &&
                            std::isfinite(point.z()));
            }
        }
    }
}

TYPED_TEST(ReadMeshOf, MoreCornersThanIndicesCanCount)
{
    // A file of holes, as long as its count says, that is never read.
    constexpr std::uint64_t kTriangles = 715'827'883; // three times that is 2^31 + 1
    const auto path = this->folder_ / "huge.stl";
    Support::WriteBytes(path, std::string(80, ' ') +
                                  LittleEndianBytes(static_cast<std::uint32_t>(kTriangles)));
    std::error_code error;
    fs::resize_file(path, 84 + 50 * kTriangles, error);
    if (error) {
        GTEST_SKIP() << "no file of that size here: " << error.message();
    }
    typename TestFixture::Mesh mesh = this->Filled();
    EXPECT_EQ(ReadMesh(mesh, path), Refusal(MeshFileError::TooLarge, MeshFileForm::BinaryStl));
    EXPECT_TRUE(mesh.points.empty() && mesh.indices.empty());
}

// --- the system
// -----------------------------------------------------------------------------------

TYPED_TEST(ReadMeshOf, SaysWhyAFileIsNotOpened)
{
    EXPECT_EQ(this->ReadPath(this->folder_ / "missing.stl").error, MeshFileError::NoSuchFile);
    EXPECT_EQ(this->ReadPath(this->folder_ / "no_folder/part.stl").error,
              MeshFileError::NoSuchFile);
    EXPECT_EQ(this->ReadPath("").error, MeshFileError::NoSuchFile);
    EXPECT_EQ(this->ReadPath(this->folder_ / "").error, MeshFileError::IsFolder);
    Support::WriteBytes(this->folder_ / "file", "x");
    EXPECT_EQ(this->ReadPath(this->folder_ / "file/part.stl").error, MeshFileError::NoSuchFile);

    fs::create_symlink("b", this->folder_ / "a");
    fs::create_symlink("a", this->folder_ / "b");
    const MeshFileResult circle = this->ReadPath(this->folder_ / "a");
    EXPECT_EQ(circle.error, MeshFileError::NotOpened);
    EXPECT_EQ(circle.system, std::errc::too_many_symbolic_link_levels);
}

TYPED_TEST(ReadMeshOf, SaysWhenAFileMayNotBeRead)
{
    const auto path = this->folder_ / "closed.stl";
    Support::WriteBytes(path, SolidText(TetrahedronAndFin(), "x"));
    fs::permissions(path, fs::perms::none);
    const Support::WithoutPrivileges nobody;
    const MeshFileResult result = this->ReadPath(path);
    EXPECT_EQ(result.error, MeshFileError::NotOpened);
    EXPECT_EQ(result.system, std::errc::permission_denied);
}

TYPED_TEST(ReadMeshOf, SaysWhenTheSystemFailsToRead)
{
    // The memory of this process: nothing lies at its beginning.
    if (!fs::exists("/proc/self/mem")) {
        GTEST_SKIP() << "no such file on this system";
    }
    const MeshFileResult result = this->ReadPath("/proc/self/mem");
    EXPECT_EQ(result.error, MeshFileError::ReadFailed);
    EXPECT_EQ(result.system, std::errc::io_error);
}

TYPED_TEST(ReadMeshOf, FollowsSymbolicLinks)
{
    Support::WriteBytes(this->folder_ / "part.stl", SolidText(TetrahedronAndFin(), "x"));
    fs::create_symlink("part.stl", this->folder_ / "link");
    EXPECT_TRUE(this->ReadPath(this->folder_ / "link"));
}

TYPED_TEST(ReadMeshOf, ReadsFromPipes)
{
    const SmallMesh small = TetrahedronAndFin();
    SmallMesh large = small;
    for (int i = 0; i < 12; ++i) { // more than a pipe holds
        large.indices.insert(large.indices.end(), large.indices.begin(), large.indices.end());
    }
    const std::vector<std::pair<std::string, MeshFileResult>> cases{
        {SolidText(large, "x"), Success(MeshFileForm::AsciiStl)},
        {BinaryStlBytes(large, "solid"), Success(MeshFileForm::BinaryStl)},
        {TipcBytes(large, {}, {}), Success(MeshFileForm::Tipc)},
        {BinaryStlBytes(small, "x"), Success(MeshFileForm::BinaryStl)},
        {"", Refusal(MeshFileError::EmptyFile, MeshFileForm::Unknown)},
        {"hello", Refusal(MeshFileError::UnknownForm, MeshFileForm::Unknown)},
        {BinaryStlBytes(small, "x", 6),
         WrongSize(MeshFileError::CutShort, MeshFileForm::BinaryStl, 84 + 300, 84 + 250)},
        {BinaryStlBytes(large, "x", 3000),
         WrongSize(MeshFileError::TooLong, MeshFileForm::BinaryStl, 84 + 150'000, 84 + 150'001)},
    };
    for (const auto& [bytes, expected] : cases) {
        int ends[2] = {};
        ASSERT_EQ(::pipe(ends), 0);
        std::thread writer([&bytes = bytes, end = ends[1]] {
            std::size_t written = 0;
            while (written < bytes.size()) {
                const auto count = ::write(end, bytes.data() + written, bytes.size() - written);
                if (count <= 0) {
                    break;
                }
                written += static_cast<std::size_t>(count);
            }
            ::close(end);
        });
        this->mesh_ = this->Filled();
        const MeshFileResult result =
            ReadMesh(this->mesh_, "/proc/self/fd/" + std::to_string(ends[0]));
        // Whatever the reader has left, so that the writer comes to its end.
        char rest[4096];
        while (::read(ends[0], rest, sizeof rest) > 0) {
        }
        writer.join();
        ::close(ends[0]);
        EXPECT_EQ(result, expected) << MeshFileText(result);
        if (result) {
            EXPECT_EQ(this->mesh_.indices.size(),
                      bytes.size() > 1000 ? large.indices.size() : small.indices.size());
        }
    }
}

TYPED_TEST(ReadMeshOf, EndlessDevicesThatAreNoMeshAreNotReadToTheirEnd)
{
    EXPECT_EQ(this->ReadPath("/dev/zero").error, MeshFileError::UnknownForm);
    EXPECT_EQ(this->ReadPath("/dev/null").error, MeshFileError::EmptyFile);
}

/// Writes `front` and then `again` for ever into a pipe, reads a mesh from it and returns what
/// comes of it with the number of bytes that were taken out of the pipe, as far as the writer can
/// tell.
template <class Mesh>
std::pair<MeshFileResult, std::size_t> ReadEndlessPipe(Mesh& mesh, const std::string& front,
                                                       const std::string& again)
{
    int ends[2] = {};
    EXPECT_EQ(::pipe(ends), 0);
    EXPECT_EQ(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    std::atomic<bool> isRead{false};
    std::size_t written = 0;
    std::thread writer([&, end = ends[1]] {
        std::string bytes = front;
        while (!isRead) {
            const auto count = ::write(end, bytes.data(), std::min<std::size_t>(bytes.size(), 512));
            if (count > 0) {
                written += static_cast<std::size_t>(count);
                bytes.erase(0, static_cast<std::size_t>(count));
                bytes += bytes.size() < 4096 ? again : "";
            } else {
                std::this_thread::yield();
            }
            if (written > std::size_t{64} << 20U) {
                break; // an end after all, for a reader that waits for one
            }
        }
        ::close(end);
    });
    const MeshFileResult result = ReadMesh(mesh, "/proc/self/fd/" + std::to_string(ends[0]));
    isRead = true;
    writer.join();
    ::close(ends[0]);
    return {result, written};
}

TYPED_TEST(ReadMeshOf, EndlessTextsWithAWrongLineAreNotReadToTheirEnd)
{
    struct Case {
        std::string front;
        std::string again;
        std::uint64_t line;
    };
    const std::string lines(4096, 'y');
    const std::string good = SolidText(TetrahedronAndFin(), "x");
    const std::uint64_t linesOfGood =
        static_cast<std::uint64_t>(std::count(good.begin(), good.end(), '\n'));
    const std::vector<Case> cases{
        {"solid x\n", "y\n", 2},                                 // wrong in its first bytes
        {"solid ", lines, 1},                                    // a single line without an end
        {good + good + good + good, "y\n", 4 * linesOfGood + 1}, // wrong after whole solids
    };
    for (const Case& c : cases) {
        std::string again = c.again;
        while (again.size() < 4096) {
            again += again;
        }
        const auto [result, written] = ReadEndlessPipe(this->mesh_, c.front, again);
        EXPECT_EQ(result.error, MeshFileError::Malformed) << MeshFileText(result);
        EXPECT_EQ(result.place, c.line);
        EXPECT_LT(written, std::size_t{4} << 20U) << "bytes were read before it was refused";
        EXPECT_TRUE(this->mesh_.points.empty());
    }
}

// --- from memory
// ----------------------------------------------------------------------------------

// Every file that the tests above read through `Read` is read from memory, too.

TYPED_TEST(ReadMeshOf, NoBytesAreAnEmptyFile)
{
    typename TestFixture::Mesh mesh = this->Filled();
    EXPECT_EQ(ReadMesh(mesh, std::span<const std::byte>()),
              Refusal(MeshFileError::EmptyFile, MeshFileForm::Unknown));
    EXPECT_TRUE(mesh.points.empty() && mesh.indices.empty());
}

TYPED_TEST(ReadMeshOf, TagsFromMemory)
{
    const SmallMesh small = TetrahedronAndFin();
    const Tags ofPoints{5, 6, 7, 8, 9};
    const Tags ofTriangles{1, 2, 3, 4, 0xFFFFFFFFFFFFFFFF};
    const std::string bytes = TipcBytes(small, ofPoints, ofTriangles);
    typename TestFixture::Mesh mesh;
    Tags pointTags;
    Tags triangleTags;
    EXPECT_EQ(ReadMesh(mesh, pointTags, triangleTags, std::as_bytes(std::span(bytes))),
              Success(MeshFileForm::Tipc));
    EXPECT_EQ(pointTags, ofPoints);
    EXPECT_EQ(triangleTags, ofTriangles);
}

TYPED_TEST(ReadMeshOf, AVectorOfBytesIsNoPath)
{
    // The name of a file in the bytes is text that is no mesh, and not opened.
    const std::string text = "part.stl";
    const auto* const first = reinterpret_cast<const std::byte*>(text.data());
    const std::vector<std::byte> bytes(first, first + text.size());
    typename TestFixture::Mesh mesh;
    EXPECT_EQ(ReadMesh(mesh, bytes), Refusal(MeshFileError::UnknownForm, MeshFileForm::Unknown));
}

// --- real parts
// -----------------------------------------------------------------------------------

TYPED_TEST(ReadMeshOf, RealPartsComeAsTheReadersOfTheirFormGiveThem)
{
    // Triangles and form of each, from the list that comes with the files.
    const std::map<std::string, std::pair<std::size_t, MeshFileForm>> parts{
        {"meshes_cad/ADIS16480.STL", {7436, MeshFileForm::AsciiStl}},
        {"meshes_cad/prusa_x_end_idler.stl", {5944, MeshFileForm::AsciiStl}},
        {"meshes_cad/voron_z_joint_upper_x4.stl", {26442, MeshFileForm::BinaryStl}},
        {"meshes_organic/koala.stl", {99994, MeshFileForm::BinaryStl}},
        {"meshes_defective/conveyor_nearby-bad.stl", {856, MeshFileForm::AsciiStl}},
        {"meshes_defective/soup.stl", {100, MeshFileForm::BinaryStl}},
        {"meshes_nist/nist_ctc_05_asme1_rd.stl", {15674, MeshFileForm::BinaryStl}},
        {"with_degenerate/nist_ftc_06.stl", {15810, MeshFileForm::BinaryStl}},
    };
    for (const auto& [name, expected] : parts) {
        SCOPED_TRACE(name);
        const fs::path path = Support::SharedData(name);
        SORVANE_NEED_DATA(path);
        EXPECT_EQ(this->ReadPath(path), Success(expected.second));
        EXPECT_EQ(this->mesh_.indices.size(), 3 * expected.first);
        std::vector<VecBase<3, TypeParam>> points;
        std::vector<int> indices;
        EXPECT_TRUE(expected.second == MeshFileForm::AsciiStl
                        ? Sorvane::MeshUtils::ReadFromASCIISTL(points, indices, path)
                        : Sorvane::MeshUtils::ReadFromBinarySTL(points, indices, path));
        this->ExpectCorners(points);
    }
}

} // namespace
