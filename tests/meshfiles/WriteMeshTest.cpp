// Writing mesh files: what comes back, what is refused before anything is touched, and that an old
// file survives whatever goes wrong.

#include <Sorvane/MeshFiles_E.h>
#include <Velk/Progress_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <sstream>
#include <thread>

#include <sys/resource.h>
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
using Sorvane::MeshUtils::WriteMesh;
using Support::Bits;
using Support::ReadBytes;

using Tags = std::vector<unsigned long long>;

constexpr MeshFileForm kForms[] = {MeshFileForm::AsciiStl, MeshFileForm::BinaryStl,
                                   MeshFileForm::Tipc};

template <class T>
IndexedPointsBase<3, T> Tetrahedron()
{
    return {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3}};
}

/// A strip of `count` triangles.
template <class T>
IndexedPointsBase<3, T> Strip(int count)
{
    IndexedPointsBase<3, T> mesh;
    for (int i = 0; i < count + 2; ++i) {
        mesh.points.push_back(
            {static_cast<T>(0.1 * i), static_cast<T>(i % 2), static_cast<T>(0.3)});
    }
    for (int i = 0; i < count; ++i) {
        mesh.indices.insert(mesh.indices.end(), {i, i + 1 + i % 2, i + 2 - i % 2});
    }
    return mesh;
}

/// Names in a folder, to see that nothing is left behind.
std::vector<std::string> NamesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

template <class T>
class WriteMeshOf : public testing::Test {
protected:
    fs::path Folder() const { return folder_ / ""; }

    /// What ReadMesh gives of it, corner by corner.
    std::vector<VecBase<3, T>> CornersIn(const fs::path& path)
    {
        TriangleSoup<3, T> soup;
        const MeshFileResult result = ReadMesh(soup, path);
        EXPECT_TRUE(result) << MeshFileText(result);
        std::vector<VecBase<3, T>> corners;
        for (const auto& triangle : soup) {
            corners.insert(corners.end(), triangle.begin(), triangle.end());
        }
        return corners;
    }

    static std::vector<VecBase<3, T>> CornersOf(const IndexedPointsBase<3, T>& mesh)
    {
        std::vector<VecBase<3, T>> corners;
        for (const int index : mesh.indices) {
            corners.push_back(mesh.points[static_cast<std::size_t>(index)]);
        }
        return corners;
    }

    Support::TemporaryFolder folder_;
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(WriteMeshOf, Scalars);

MeshFileResult Refusal(MeshFileError error, MeshFileForm form, std::uint64_t place = 0)
{
    MeshFileResult result;
    result.error = error;
    result.form = form;
    result.place = place;
    return result;
}

// --- what comes back
// ------------------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, WhatIsWrittenComesBack)
{
    // Numbers of all magnitudes that the type has, with all their digits.
    using T = TypeParam;
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    Support::Random random(3);
    IndexedPointsBase<3, T> mesh;
    while (mesh.points.size() < 3000) {
        VecBase<3, T> point;
        for (int axis = 0; axis < 3; ++axis) {
            do {
                point[axis] = std::bit_cast<T>(static_cast<Bits>(random.Bits()));
            } while (!std::isfinite(point[axis]));
        }
        mesh.points.push_back(point);
    }
    mesh.points.push_back({T(0), -T(0), std::numeric_limits<T>::denorm_min()});
    mesh.points.push_back({std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest(),
                           std::numeric_limits<T>::min()});
    mesh.points.push_back({T(0.1), T(1) / 3, T(1e22)});
    for (int i = 0; i < 5000 * 3; ++i) {
        mesh.indices.push_back(random.Below(static_cast<int>(mesh.points.size())));
    }
    mesh.indices.insert(mesh.indices.end(), {3000, 3001, 3002});

    const fs::path path = this->folder_ / "mesh";
    ASSERT_TRUE(WriteMesh(mesh, path, MeshFileForm::AsciiStl));
    EXPECT_EQ(Support::Bits(this->CornersIn(path)), Support::Bits(this->CornersOf(mesh)));

    ASSERT_TRUE(WriteMesh(mesh, path, MeshFileForm::Tipc));
    IndexedPointsBase<3, T> read;
    ASSERT_TRUE(ReadMesh(read, path));
    EXPECT_EQ(Support::Bits(read.points), Support::Bits(mesh.points));
    EXPECT_EQ(read.indices, mesh.indices);

    // A binary STL holds the nearest floats.
    for (VecBase<3, T>& point : mesh.points) {
        for (T& x : point) {
            x = std::fabs(x) < T(1e38) ? x : T(0.1);
        }
    }
    ASSERT_TRUE(WriteMesh(mesh, path, MeshFileForm::BinaryStl));
    const auto corners = this->CornersIn(path);
    const auto expected = this->CornersOf(mesh);
    ASSERT_EQ(corners.size(), expected.size());
    for (std::size_t i = 0; i < corners.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            ASSERT_EQ(corners[i][axis], static_cast<T>(static_cast<float>(expected[i][axis])));
        }
    }
}

TYPED_TEST(WriteMeshOf, EveryWriterMakesTheSameBytes)
{
    const auto mesh = Strip<TypeParam>(3000);
    const fs::path ours = this->folder_ / "ours.stl";
    const fs::path theirs = this->folder_ / "theirs.stl";
    ASSERT_TRUE(WriteMesh(mesh, ours));
    ASSERT_TRUE(Sorvane::MeshUtils::WriteToBinarySTL(mesh.points, mesh.indices, theirs));
    EXPECT_EQ(ReadBytes(ours), ReadBytes(theirs));
    if constexpr (std::is_same_v<TypeParam, double>) {
        const Tags vertexTags(mesh.points.size(), 17);
        const Tags triangleTags(mesh.indices.size() / 3, 0xFFFFFFFFFFFFFFFF);
        ASSERT_TRUE(WriteMesh(mesh, vertexTags, triangleTags, ours));
        ASSERT_TRUE(Sorvane::MeshUtils::WriteToTIPC(mesh.points, mesh.indices, vertexTags,
                                                    triangleTags, theirs.string()));
        EXPECT_EQ(ReadBytes(ours), ReadBytes(theirs));
    }
}

TYPED_TEST(WriteMeshOf, AnAsciiFileHasNoMoreDigitsThanItNeeds)
{
    const IndexedPointsBase<3, TypeParam> mesh{
        {{0, 0, 0}, {TypeParam(0.1), 0, 0}, {0, TypeParam(2.5e7), 0}}, {0, 1, 2}};
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / "a", MeshFileForm::AsciiStl));
    EXPECT_EQ(ReadBytes(this->folder_ / "a"), "solid ascii\n"
                                              "    facet normal 0 0 1\n"
                                              "        outer loop\n"
                                              "            vertex 0 0 0\n"
                                              "            vertex 0.1 0 0\n"
                                              "            vertex 0 2.5e+07 0\n"
                                              "        endloop\n"
                                              "    endfacet\n"
                                              "endsolid ascii\n");
}

TYPED_TEST(WriteMeshOf, TheFormIsThatOfTheExtension)
{
    const auto mesh = Tetrahedron<TypeParam>();
    const std::pair<const char*, MeshFileForm> cases[] = {{"a.stl", MeshFileForm::BinaryStl},
                                                          {"a.STL", MeshFileForm::BinaryStl},
                                                          {"a.b.Stl", MeshFileForm::BinaryStl},
                                                          {"a.tipc", MeshFileForm::Tipc},
                                                          {"a.TIPC", MeshFileForm::Tipc}};
    for (const auto& [name, form] : cases) {
        EXPECT_EQ(WriteMesh(mesh, this->folder_ / name), Refusal(MeshFileError::None, form));
        IndexedPointsBase<3, TypeParam> read;
        EXPECT_EQ(ReadMesh(read, this->folder_ / name), Refusal(MeshFileError::None, form));
    }
    const std::vector<std::string> before = NamesIn(this->Folder());
    for (const char* name : {"b", "b.obj", "b.stl.txt", "b.", ".stl", "stl", "b.stlx"}) {
        EXPECT_EQ(WriteMesh(mesh, this->folder_ / name),
                  Refusal(MeshFileError::UnknownExtension, MeshFileForm::Unknown));
    }
    EXPECT_EQ(NamesIn(this->Folder()), before);
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "b.stl", MeshFileForm::Unknown).error,
              MeshFileError::UnknownExtension);
}

/// The normal of the first facet in the bytes of an STL, binary or text.
VecBase<3, double> FirstNormal(const std::string& bytes, MeshFileForm form)
{
    VecBase<3, double> normal(9, 9, 9);
    if (form == MeshFileForm::BinaryStl) {
        std::array<float, 3> numbers{};
        std::memcpy(numbers.data(), bytes.data() + 84, sizeof(numbers));
        return {numbers[0], numbers[1], numbers[2]};
    }
    const std::size_t at = bytes.find("facet normal ");
    std::istringstream(bytes.substr(at + 13)) >> normal[0] >> normal[1] >> normal[2];
    return normal;
}

// Powers of two scale a triangle without rounding, so that its normal is the same at any size.
TYPED_TEST(WriteMeshOf, NormalsAreUnitVectorsAtEverySize)
{
    const auto farthest = std::numeric_limits<TypeParam>::max();
    for (const MeshFileForm form : {MeshFileForm::AsciiStl, MeshFileForm::BinaryStl}) {
        const int most = form == MeshFileForm::BinaryStl
                             ? std::numeric_limits<float>::max_exponent
                             : std::numeric_limits<TypeParam>::max_exponent;
        for (const int exponent : {0, 30, 32, 34, 63, 64, 65, 100, most / 2, most - 3}) {
            const auto unit = static_cast<TypeParam>(std::ldexp(1.0, exponent));
            IndexedPointsBase<3, TypeParam> mesh;
            mesh.points = {{0, 0, 0}, {3 * unit, 0, -4 * unit}, {0, 2 * unit, 0}};
            mesh.indices = {0, 1, 2};
            std::vector<std::byte> bytes;
            ASSERT_TRUE(WriteMesh(mesh, bytes, form)) << exponent;
            const auto normal =
                FirstNormal({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, form);
            // (3, 0, -4) x (0, 2, 0) = (8, 0, 6).
            EXPECT_NEAR(normal[0], 0.8, 1e-6) << exponent;
            EXPECT_NEAR(normal[1], 0.0, 1e-6) << exponent;
            EXPECT_NEAR(normal[2], 0.6, 1e-6) << exponent;
        }
    }
    // Differences of such corners are no numbers of the type any more.
    IndexedPointsBase<3, TypeParam> wide{
        {{-farthest, 0, -farthest}, {farthest, 0, -farthest}, {farthest, 0, farthest}}, {0, 1, 2}};
    std::vector<std::byte> bytes;
    ASSERT_TRUE(WriteMesh(wide, bytes, MeshFileForm::AsciiStl));
    const auto normal = FirstNormal({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                    MeshFileForm::AsciiStl);
    EXPECT_EQ(normal, (VecBase<3, double>(0, -1, 0)));
}

TYPED_TEST(WriteMeshOf, WritersOfOneFormGiveTheSameNormalsToFarParts)
{
    using namespace Sorvane::MeshUtils;
    const auto unit = static_cast<TypeParam>(1e30);
    const std::vector<VecBase<3, TypeParam>> points{{unit, 0, 0}, {0, unit, 0}, {0, 0, unit}};
    const fs::path path = this->Folder() / "far.stl";
    for (const MeshFileForm form : {MeshFileForm::AsciiStl, MeshFileForm::BinaryStl}) {
        ASSERT_TRUE(form == MeshFileForm::AsciiStl ? WriteToASCIISTL(points, {0, 1, 2}, path)
                                                   : WriteToBinarySTL(points, {0, 1, 2}, path));
        const auto normal = FirstNormal(ReadBytes(path), form);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(normal[axis], std::sqrt(1.0 / 3), 1e-6);
        }
        // Three times the same corner and corners on a line have none.
        for (const auto& corners :
             {std::vector{points[0], points[0], points[0]},
              std::vector{points[0], points[0] * TypeParam(2), points[0] * TypeParam(4)}}) {
            ASSERT_TRUE(form == MeshFileForm::AsciiStl
                            ? WriteToASCIISTL(corners, {0, 1, 2}, path)
                            : WriteToBinarySTL(corners, {0, 1, 2}, path));
            EXPECT_EQ(FirstNormal(ReadBytes(path), form), (VecBase<3, double>()));
        }
    }
}

TYPED_TEST(WriteMeshOf, TagsAreKept)
{
    const auto mesh = Tetrahedron<TypeParam>();
    const fs::path path = this->folder_ / "a.tipc";
    for (const Tags& vertexTags : {Tags{}, Tags{1, 2, 3, 4}}) {
        for (const Tags& triangleTags : {Tags{}, Tags{9, 8, 7, 0xFFFFFFFFFFFFFFFF}}) {
            ASSERT_TRUE(WriteMesh(mesh, vertexTags, triangleTags, path));
            IndexedPointsBase<3, TypeParam> read;
            Tags vertexTagsRead;
            Tags triangleTagsRead;
            ASSERT_TRUE(ReadMesh(read, vertexTagsRead, triangleTagsRead, path));
            EXPECT_EQ(read, mesh);
            EXPECT_EQ(vertexTagsRead, vertexTags);
            EXPECT_EQ(triangleTagsRead, triangleTags);
        }
    }
    const std::string before = ReadBytes(path);
    const auto doNotFit = Refusal(MeshFileError::TagsDoNotFit, MeshFileForm::Tipc);
    EXPECT_EQ(WriteMesh(mesh, Tags{1, 2, 3}, Tags{}, path), doNotFit);
    EXPECT_EQ(WriteMesh(mesh, Tags{1, 2, 3, 4, 5}, Tags{}, path), doNotFit);
    EXPECT_EQ(WriteMesh(mesh, Tags{}, Tags{1}, path), doNotFit);
    EXPECT_EQ(ReadBytes(path), before);
}

// --- into memory
// ----------------------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, MemoryGetsTheBytesOfTheFile)
{
    const fs::path path = this->folder_ / "mesh";
    const auto text = [](const std::vector<std::byte>& bytes) {
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    for (const int count : {1, 4, 30000}) {
        const auto mesh = Strip<TypeParam>(count);
        for (const MeshFileForm form : kForms) {
            std::vector<std::byte> bytes(7);
            EXPECT_EQ(WriteMesh(mesh, bytes, form), Refusal(MeshFileError::None, form));
            ASSERT_TRUE(WriteMesh(mesh, path, form));
            EXPECT_EQ(text(bytes), ReadBytes(path));
        }
        const Tags ofPoints(mesh.points.size(), 3);
        const Tags ofTriangles(mesh.indices.size() / 3, 4);
        std::vector<std::byte> bytes(7);
        EXPECT_EQ(WriteMesh(mesh, ofPoints, ofTriangles, bytes),
                  Refusal(MeshFileError::None, MeshFileForm::Tipc));
        ASSERT_TRUE(WriteMesh(mesh, ofPoints, ofTriangles, path));
        EXPECT_EQ(text(bytes), ReadBytes(path));
    }
}

TYPED_TEST(WriteMeshOf, MemoryIsEmptyAfterARefusal)
{
    const auto mesh = Tetrahedron<TypeParam>();
    std::vector<std::byte> bytes(7);
    EXPECT_EQ(WriteMesh(mesh, bytes, MeshFileForm::Unknown),
              Refusal(MeshFileError::UnknownExtension, MeshFileForm::Unknown));
    EXPECT_TRUE(bytes.empty());
    bytes.resize(7);
    EXPECT_EQ(WriteMesh(mesh, Tags{1}, Tags{}, bytes),
              Refusal(MeshFileError::TagsDoNotFit, MeshFileForm::Tipc));
    EXPECT_TRUE(bytes.empty());
    bytes.resize(7);
    auto outside = mesh;
    outside.indices[4] = 4;
    EXPECT_EQ(WriteMesh(outside, bytes, MeshFileForm::BinaryStl),
              Refusal(MeshFileError::IndexOutOfRange, MeshFileForm::BinaryStl, 1));
    EXPECT_TRUE(bytes.empty());
}

// --- what is refused
// ------------------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, RefusesAMeshThatCouldNotBeReadAndTouchesNothing)
{
    using T = TypeParam;
    const fs::path path = this->folder_ / "old";
    Support::WriteBytes(path, "old");
    for (const MeshFileForm form : kForms) {
        const auto refused = [&](const IndexedPointsBase<3, T>& mesh, MeshFileError error,
                                 std::uint64_t place) {
            EXPECT_EQ(WriteMesh(mesh, path, form), Refusal(error, form, place));
            EXPECT_EQ(ReadBytes(path), "old");
            EXPECT_EQ(WriteMesh(mesh, this->folder_ / "new", form), Refusal(error, form, place));
            EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"old"});
        };
        refused({}, MeshFileError::NoTriangles, 0);
        refused({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {}}, MeshFileError::NoTriangles, 0);
        auto mesh = Tetrahedron<T>();
        mesh.indices.pop_back();
        refused(mesh, MeshFileError::IncompleteTriangle, 0);
        for (const int outside : {4, -1, std::numeric_limits<int>::max()}) {
            for (std::size_t i = 0; i < 12; ++i) {
                mesh = Tetrahedron<T>();
                mesh.indices[i] = outside;
                refused(mesh, MeshFileError::IndexOutOfRange, i / 3);
            }
        }
        for (const T bad : {std::numeric_limits<T>::infinity(), -std::numeric_limits<T>::infinity(),
                            std::numeric_limits<T>::quiet_NaN()}) {
            for (int axis = 0; axis < 3; ++axis) {
                mesh = Tetrahedron<T>();
                mesh.points[2][axis] = bad;
                refused(mesh, MeshFileError::NotFinite, 2);
            }
        }
    }
}

TEST(WriteMeshTooLarge, ADoubleThatIsNoFloatFitsIntoTwoFormsOnly)
{
    Support::TemporaryFolder folder;
    auto mesh = Tetrahedron<double>();
    mesh.points[1].x() = 3.5e38;
    EXPECT_EQ(WriteMesh(mesh, folder / "a.stl"),
              Refusal(MeshFileError::NotFinite, MeshFileForm::BinaryStl, 1));
    EXPECT_FALSE(fs::exists(folder / "a.stl"));
    EXPECT_TRUE(WriteMesh(mesh, folder / "a.tipc"));
    EXPECT_TRUE(WriteMesh(mesh, folder / "a.stl", MeshFileForm::AsciiStl));
    // The largest double that rounds to a float is a little above the largest float.
    mesh.points[1].x() = 0x1.fffffe8p127;
    EXPECT_TRUE(WriteMesh(mesh, folder / "a.stl"));
}

/// The box from `low` to `low` + `size`.
IndexedPointsBase<3, double> Box(const Vec3d& low, const Vec3d& size)
{
    IndexedPointsBase<3, double> box;
    for (int i = 0; i < 8; ++i) {
        box.points.push_back(
            low + Vec3d((i & 1) * size.x(), (i >> 1 & 1) * size.y(), (i >> 2 & 1) * size.z()));
    }
    box.indices = {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                   2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5};
    return box;
}

TEST(WriteMeshFlattened, APartThatFloatsCanNotTellFromNothingIsRefused)
{
    Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "a.stl", "old");
    const Vec3d one(1, 1, 1);
    const std::pair<Vec3d, Vec3d> cases[] = {
        {{}, one * 1e-300},          // all of it is the origin
        {one * 1e-300, one * 1e-46}, // below the least float
        {one * 1e9, one},            // floats are 64 apart there
        {{0, 0, 1e9}, {3, 3, 1}},    // no height left: the first faces are whole, the walls gone
    };
    for (const auto& [low, size] : cases) {
        const auto box = Box(low, size);
        const std::uint64_t first = size.x() == 3 ? 4 : 0;
        EXPECT_EQ(WriteMesh(box, folder / "a.stl"),
                  Refusal(MeshFileError::Flattened, MeshFileForm::BinaryStl, first));
        EXPECT_EQ(ReadBytes(folder / "a.stl"), "old");
        std::vector<std::byte> bytes;
        EXPECT_EQ(WriteMesh(box, bytes, MeshFileForm::BinaryStl).error, MeshFileError::Flattened);
        for (const MeshFileForm form : {MeshFileForm::AsciiStl, MeshFileForm::Tipc}) {
            EXPECT_TRUE(WriteMesh(box, folder / "c", form));
            IndexedPointsBase<3, double> back;
            EXPECT_TRUE(ReadMesh(back, folder / "c"));
        }
    }
}

TEST(WriteMeshFlattened, WhatIsAPartInFloatsIsWritten)
{
    Support::TemporaryFolder folder;
    const Vec3d one(1, 1, 1);
    for (const auto& box : {Box({}, one * 1e-40), Box(one * 1e6, one), Box({}, one * 1e30),
                            Box({1e9, 0, 0}, {1000, 1000, 1000})}) {
        EXPECT_TRUE(WriteMesh(box, folder / "a.stl"));
    }
    // Slivers that rounding takes are no part.
    auto withSlivers = Box({1000, 1000, 1000}, one);
    for (int i = 0; i < 100; ++i) {
        const int n = static_cast<int>(withSlivers.points.size());
        const Vec3d at(1000, 1000 + i * 0.01, 1000);
        withSlivers.points.insert(withSlivers.points.end(),
                                  {at, at + Vec3d(1e-9, 0, 0), at + Vec3d(0, 1, 0)});
        withSlivers.indices.insert(withSlivers.indices.end(), {n, n + 1, n + 2});
    }
    EXPECT_TRUE(WriteMesh(withSlivers, folder / "a.stl"));
    // Nor is what has no area of its own: one point, and a line with the rounding of its points.
    EXPECT_TRUE(WriteMesh(IndexedPointsBase<3, double>{{{7, 7, 7}}, {0, 0, 0}}, folder / "a.stl"));
    const IndexedPointsBase<3, double> line{
        {{0.1, 0.3, 0.7}, {0.1 * 3, 0.3 * 3, 0.7 * 3}, {0.1 * 7, 0.3 * 7, 0.7 * 7}}, {0, 1, 2}};
    EXPECT_TRUE(WriteMesh(line, folder / "a.stl"));
}

TEST(WriteMeshFlattened, AHundredthOfTheAreaIsTheLimitAndTheFirstLossIsTold)
{
    // A sheet of area 500 - 5 or 490, and one of area 5 where floats are 64 apart.
    std::vector<std::byte> bytes;
    for (const double width : {99.0, 98.0}) {
        IndexedPointsBase<3, double> mesh{
            {{0, 0, 0}, {width, 0, 0}, {0, 10, 0}, {1e9, 0, 0}, {1e9 + 1, 0, 0}, {1e9, 10, 0}},
            {0, 1, 2, 3, 4, 5}};
        const auto result = WriteMesh(mesh, bytes, MeshFileForm::BinaryStl);
        if (width == 99.0) {
            EXPECT_TRUE(result);
        } else {
            EXPECT_EQ(result, Refusal(MeshFileError::Flattened, MeshFileForm::BinaryStl, 1));
        }
        for (int i = 0; i < 5000; ++i) {
            mesh.indices.insert(mesh.indices.end(), {3, 4, 5});
        }
        EXPECT_EQ(WriteMesh(mesh, bytes, MeshFileForm::BinaryStl),
                  Refusal(MeshFileError::Flattened, MeshFileForm::BinaryStl, 1));
    }
    // The last digit of a coordinate is no area that could be lost.
    const IndexedPointsBase<3, double> line{
        {{0, 1, 0}, {1, std::nextafter(1.0, 2.0), 0}, {2, 1, 0}}, {0, 1, 2}};
    EXPECT_TRUE(WriteMesh(line, bytes, MeshFileForm::BinaryStl));
}

TEST(WriteMeshFlattened, AMeshOfFloatsLosesNothing)
{
    Support::TemporaryFolder folder;
    IndexedPointsBase<3, float> mesh = Tetrahedron<float>();
    for (VecBase<3, float>& point : mesh.points) {
        point = point * 1e-38F;
    }
    EXPECT_TRUE(WriteMesh(mesh, folder / "a.stl"));
}

TYPED_TEST(WriteMeshOf, TheFirstErrorIsToldInALargeMesh)
{
    auto mesh = Strip<TypeParam>(100'000);
    mesh.indices[250'001] = -1;
    mesh.indices[150'000] = 100'002;
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "a.stl"),
              Refusal(MeshFileError::IndexOutOfRange, MeshFileForm::BinaryStl, 50'000));
    mesh = Strip<TypeParam>(100'000);
    mesh.points[99'999].x() = std::numeric_limits<TypeParam>::quiet_NaN();
    mesh.points[40'000].z() = std::numeric_limits<TypeParam>::infinity();
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "a.tipc"),
              Refusal(MeshFileError::NotFinite, MeshFileForm::Tipc, 40'000));
}

// --- the system fails
// -----------------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, AFullDeviceIsAnError)
{
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no such device on this system";
    }
    fs::create_symlink("/dev/full", this->folder_ / "full.stl");
    for (const int count : {1, 20'000}) {
        const auto mesh = Strip<TypeParam>(count);
        for (const MeshFileForm form : kForms) {
            const MeshFileResult result = WriteMesh(mesh, "/dev/full", form);
            EXPECT_EQ(result.error, MeshFileError::WriteFailed);
            EXPECT_EQ(result.system, std::errc::no_space_on_device);
        }
        const MeshFileResult result = WriteMesh(mesh, this->folder_ / "full.stl");
        EXPECT_EQ(result.error, MeshFileError::WriteFailed);
        EXPECT_EQ(result.system, std::errc::no_space_on_device);
    }
    EXPECT_TRUE(fs::is_symlink(this->folder_ / "full.stl"));
    EXPECT_TRUE(fs::exists("/dev/full"));
    EXPECT_EQ(NamesIn(this->Folder()).size(), 1U);
}

/// While it lives, this process may not make files longer than `bytes`: a disk that is full, for
/// whoever writes to it.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes)
    {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit limit{bytes, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~SmallDisk() { EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    rlimit before_{};
};

TYPED_TEST(WriteMeshOf, AFullDiskLeavesTheOldFileAndNothingElse)
{
    const fs::path path = this->folder_ / "part.stl";
    ASSERT_TRUE(WriteMesh(Tetrahedron<TypeParam>(), path));
    const std::string before = ReadBytes(path);
    const auto large = Strip<TypeParam>(50'000);
    for (const MeshFileForm form : kForms) {
        for (const rlim_t room : {rlim_t{0}, rlim_t{10}, rlim_t{100'000}, rlim_t{1'000'000}}) {
            MeshFileResult result;
            {
                const SmallDisk disk(room); // the signal that comes with it would end this program
                result = WriteMesh(large, path, form);
            }
            EXPECT_EQ(result.error, MeshFileError::WriteFailed) << MeshFileText(result);
            EXPECT_EQ(result.system, std::errc::file_too_large);
            EXPECT_EQ(ReadBytes(path), before);
            EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"part.stl"});
        }
    }
    ASSERT_TRUE(WriteMesh(large, path));
    EXPECT_EQ(this->CornersIn(path).size(), 150'000U);
}

TYPED_TEST(WriteMeshOf, APipeThatNobodyReadsIsAnErrorAndNotTheEndOfTheHost)
{
    struct sigaction asUsual {};
    ASSERT_EQ(::sigaction(SIGPIPE, nullptr, &asUsual), 0);
    ASSERT_EQ(asUsual.sa_handler, SIG_DFL)
        << "this test is for hosts that do nothing about signals";
    const auto large = Strip<TypeParam>(100'000);
    for (const MeshFileForm form : kForms) {
        int ends[2] = {};
        ASSERT_EQ(::pipe(ends), 0);
        std::thread reader([end = ends[0]] {
            char some[1000];
            EXPECT_GT(::read(end, some, sizeof some), 0);
            ::close(end);
        });
        const MeshFileResult result =
            WriteMesh(large, "/proc/self/fd/" + std::to_string(ends[1]), form);
        reader.join();
        ::close(ends[1]);
        EXPECT_EQ(result.error, MeshFileError::WriteFailed) << MeshFileText(result);
        EXPECT_EQ(result.system, std::errc::broken_pipe);
    }
    sigset_t pending;
    sigset_t blocked;
    ASSERT_EQ(::sigpending(&pending), 0);
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, nullptr, &blocked), 0);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "no signal is left for later";
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0) << "the host's signals come as before";
}

TYPED_TEST(WriteMeshOf, WritesIntoAPipe)
{
    const auto mesh = Strip<TypeParam>(20'000);
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / "a.stl"));
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    std::string bytes;
    std::thread reader([&bytes, end = ends[0]] {
        char some[5000];
        for (auto count = ::read(end, some, sizeof some); count > 0;
             count = ::read(end, some, sizeof some)) {
            bytes.append(some, static_cast<std::size_t>(count));
        }
    });
    EXPECT_TRUE(
        WriteMesh(mesh, "/proc/self/fd/" + std::to_string(ends[1]), MeshFileForm::BinaryStl));
    ::close(ends[1]);
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(bytes, ReadBytes(this->folder_ / "a.stl"));
}

TYPED_TEST(WriteMeshOf, SaysWhyNoFileCanBeMade)
{
    const auto mesh = Tetrahedron<TypeParam>();
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "no_folder/part.stl").error,
              MeshFileError::NoSuchFolder);
    Support::WriteBytes(this->folder_ / "file", "x");
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "file/part.stl").error, MeshFileError::NoSuchFolder);
    fs::create_directory(this->folder_ / "folder.stl");
    EXPECT_EQ(WriteMesh(mesh, this->folder_ / "folder.stl").error, MeshFileError::IsFolder);
    EXPECT_EQ(WriteMesh(mesh, "").error, MeshFileError::UnknownExtension);
    const std::string tooLong(300, 'n');
    const MeshFileResult nameTooLong = WriteMesh(mesh, this->folder_ / (tooLong + ".stl"));
    EXPECT_EQ(nameTooLong.error, MeshFileError::NotOpened);
    EXPECT_EQ(nameTooLong.system, std::errc::filename_too_long);
    EXPECT_EQ(NamesIn(this->Folder()), (std::vector<std::string>{"file", "folder.stl"}));
}

TYPED_TEST(WriteMeshOf, SaysWhenItMayNotWrite)
{
    const auto mesh = Tetrahedron<TypeParam>();
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / "old.stl"));
    const std::string before = ReadBytes(this->folder_ / "old.stl");
    fs::permissions(this->Folder(),
                    fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    if (::geteuid() != 0) {
        fs::permissions(this->Folder(), fs::perms::owner_read | fs::perms::owner_exec);
    }
    {
        const Support::WithoutPrivileges nobody;
        for (const char* name : {"old.stl", "new.stl"}) {
            const MeshFileResult result = WriteMesh(mesh, this->folder_ / name);
            EXPECT_EQ(result.error, MeshFileError::NotOpened);
            EXPECT_EQ(result.system, std::errc::permission_denied);
        }
    }
    fs::permissions(this->Folder(), fs::perms::owner_all);
    EXPECT_EQ(ReadBytes(this->folder_ / "old.stl"), before);
    EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"old.stl"});
}

TYPED_TEST(WriteMeshOf, AProtectedFileIsNotReplaced)
{
    // Renaming over it would need no leave of the file, only of the folder.
    const fs::path path = this->folder_ / "protected.stl";
    Support::WriteBytes(path, "keep me");
    fs::permissions(path, fs::perms::owner_read | fs::perms::others_read);
    fs::permissions(this->Folder(), fs::perms::all);
    MeshFileResult result;
    {
        const Support::WithoutPrivileges nobody;
        result = WriteMesh(Tetrahedron<TypeParam>(), path);
    }
    EXPECT_EQ(result.error, MeshFileError::NotOpened);
    EXPECT_EQ(result.system, std::errc::permission_denied);
    EXPECT_EQ(ReadBytes(path), "keep me");
}

// --- what surrounds the file
// ----------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, SymbolicLinksStay)
{
    const auto mesh = Tetrahedron<TypeParam>();
    fs::create_directory(this->folder_ / "store");
    Support::WriteBytes(this->folder_ / "store/part.bin", "old");
    fs::create_symlink("store/part.bin", this->folder_ / "one.stl");
    fs::create_symlink("one.stl", this->folder_ / "two.stl");
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / "two.stl"));
    EXPECT_TRUE(fs::is_symlink(this->folder_ / "one.stl"));
    EXPECT_TRUE(fs::is_symlink(this->folder_ / "two.stl"));
    EXPECT_FALSE(fs::is_symlink(this->folder_ / "store/part.bin"));
    EXPECT_EQ(this->CornersIn(this->folder_ / "store/part.bin").size(), 12U);

    // One that leads nowhere yet makes the file it names.
    fs::create_symlink(this->folder_ / "store/new.bin", this->folder_ / "three.stl");
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / "three.stl"));
    EXPECT_TRUE(fs::is_symlink(this->folder_ / "three.stl"));
    EXPECT_EQ(this->CornersIn(this->folder_ / "store/new.bin").size(), 12U);
    EXPECT_EQ(NamesIn(this->folder_ / "store"), (std::vector<std::string>{"new.bin", "part.bin"}));

    fs::create_symlink("circle.stl", this->folder_ / "circle.stl");
    const MeshFileResult circle = WriteMesh(mesh, this->folder_ / "circle.stl");
    EXPECT_EQ(circle.error, MeshFileError::NotOpened);
    EXPECT_EQ(circle.system, std::errc::too_many_symbolic_link_levels);
}

TYPED_TEST(WriteMeshOf, PermissionsOfTheOldFileAreKept)
{
    const fs::path path = this->folder_ / "part.stl";
    const auto mesh = Tetrahedron<TypeParam>();
    const auto permissions = [&] { return fs::status(path).permissions(); };
    const mode_t maskBefore = ::umask(027);
    ASSERT_TRUE(WriteMesh(mesh, path));
    EXPECT_EQ(permissions(), fs::perms{0640}) << "a new file has what the process masks";
    for (const unsigned int mode : {0600U, 0664U, 0777U, 0200U}) {
        fs::permissions(path, fs::perms{mode});
        ASSERT_TRUE(WriteMesh(mesh, path));
        EXPECT_EQ(permissions(), fs::perms{mode});
    }
    ::umask(maskBefore);
}

TYPED_TEST(WriteMeshOf, WhoeverHasTheOldFileKeepsIt)
{
    const fs::path path = this->folder_ / "part.stl";
    Support::WriteBytes(path, "old");
    fs::create_hard_link(path, this->folder_ / "other name");
    std::ifstream open(path, std::ios::binary);
    ASSERT_TRUE(WriteMesh(Tetrahedron<TypeParam>(), path));
    EXPECT_EQ(ReadBytes(this->folder_ / "other name"), "old");
    std::string content;
    std::getline(open, content);
    EXPECT_EQ(content, "old");
    EXPECT_EQ(this->CornersIn(path).size(), 12U);
}

TYPED_TEST(WriteMeshOf, LongestNamesAndNamesWithoutAFolder)
{
    const auto mesh = Tetrahedron<TypeParam>();
    const std::string longest = std::string(251, 'n') + ".stl"; // 255 bytes, as long as names are
    ASSERT_TRUE(WriteMesh(mesh, this->folder_ / longest));
    const fs::path before = fs::current_path();
    fs::current_path(this->Folder());
    const MeshFileResult result = WriteMesh(mesh, "here.stl");
    const MeshFileResult again = WriteMesh(mesh, "here.stl");
    fs::current_path(before);
    EXPECT_TRUE(result && again);
    EXPECT_EQ(NamesIn(this->Folder()), (std::vector<std::string>{"here.stl", longest}));
}

TYPED_TEST(WriteMeshOf, ReadersSeeTheOldFileOrTheNewOneAndNeverAHalf)
{
    const fs::path path = this->folder_ / "part.stl";
    const auto small = Strip<TypeParam>(2'000);
    const auto large = Strip<TypeParam>(30'000);
    ASSERT_TRUE(WriteMesh(small, path));
    std::atomic<bool> isDone{false};
    std::atomic<int> reads{0};
    const auto read = [&] {
        while (!isDone || reads < 20) {
            IndexedPointsBase<3, TypeParam> mesh;
            const MeshFileResult result = ReadMesh(mesh, path);
            EXPECT_TRUE(result) << MeshFileText(result);
            EXPECT_TRUE(mesh.indices.size() == small.indices.size() ||
                        mesh.indices.size() == large.indices.size())
                << mesh.indices.size();
            ++reads;
        }
    };
    std::thread first(read);
    std::thread second(read);
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(WriteMesh(i % 2 == 0 ? large : small, path));
    }
    isDone = true;
    first.join();
    second.join();
    EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"part.stl"});
}

TYPED_TEST(WriteMeshOf, WritersOfOneFileDoNotMixTheirs)
{
    const fs::path path = this->folder_ / "part.tipc";
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&path, writer] {
            const auto mesh = Strip<TypeParam>(1000 * (writer + 1));
            for (int i = 0; i < 10; ++i) {
                EXPECT_TRUE(WriteMesh(mesh, path));
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    IndexedPointsBase<3, TypeParam> mesh;
    ASSERT_TRUE(ReadMesh(mesh, path));
    EXPECT_EQ(mesh, Strip<TypeParam>(static_cast<int>(mesh.indices.size()) / 3));
    EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"part.tipc"});
}

// --- lack of memory
// -------------------------------------------------------------------------------

TYPED_TEST(WriteMeshOf, LackOfMemoryLeavesTheOldFileAndNothingElse)
{
    const fs::path path = this->folder_ / "part.stl";
    ASSERT_TRUE(WriteMesh(Tetrahedron<TypeParam>(), path));
    const std::string before = ReadBytes(path);
    const auto mesh = Strip<TypeParam>(100);
    for (const MeshFileForm form : kForms) {
        const std::size_t failures = Support::FailEachAllocation(
            [&] {
                Support::WriteBytes(path, before);
                return 0;
            },
            [&](int) { (void)WriteMesh(mesh, path, form); },
            [&](int) {
                EXPECT_EQ(ReadBytes(path), before);
                EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"part.stl"});
            });
        EXPECT_GT(failures, 0U);
    }
}

TYPED_TEST(WriteMeshOf, AStopLeavesTheOldFileAndNothingElse)
{
    const fs::path path = this->Folder() / "part.stl";
    const auto mesh = Strip<TypeParam>(40'000); // several batches of any form
    for (const MeshFileForm form : kForms) {
        Support::WriteBytes(path, "old");
        int stops = 0;
        for (int place = 1; place < 40; ++place) {
            int reports = 0;
            const Velk::ProgressScope scope([&](double) { return ++reports != place; },
                                            std::chrono::milliseconds(0));
            const MeshFileResult result = WriteMesh(mesh, path, form);
            ASSERT_EQ(!result, scope.WasStopped());
            if (result) {
                break; // there are no more places
            }
            ++stops;
            EXPECT_EQ(result.error, MeshFileError::WriteFailed);
            EXPECT_EQ(result.system, std::errc::operation_canceled);
            EXPECT_EQ(result.form, form);
            EXPECT_EQ(ReadBytes(path), "old");
            EXPECT_EQ(NamesIn(this->Folder()), std::vector<std::string>{"part.stl"});
        }
        EXPECT_GT(stops, 2);
        IndexedPointsBase<3, TypeParam> back;
        EXPECT_TRUE(WriteMesh(mesh, path, form) && ReadMesh(back, path));
        EXPECT_EQ(back.indices.size(), mesh.indices.size());
        {
            const Velk::ProgressScope scope([](double) { return false; },
                                            std::chrono::milliseconds(0));
            const MeshFileResult result = ReadMesh(back, path);
            EXPECT_EQ(result.error, MeshFileError::ReadFailed);
            EXPECT_EQ(result.system, std::errc::operation_canceled);
            EXPECT_TRUE(back.points.empty() && back.indices.empty());
        }
    }
}

TYPED_TEST(WriteMeshOf, LackOfMemoryLeavesNoBytes)
{
    const auto mesh = Strip<TypeParam>(100);
    for (const MeshFileForm form : kForms) {
        EXPECT_GT(Support::FailEachAllocation(
                      [] { return std::vector<std::byte>(7); },
                      [&](std::vector<std::byte>& bytes) { (void)WriteMesh(mesh, bytes, form); },
                      [](const std::vector<std::byte>& bytes) { EXPECT_TRUE(bytes.empty()); }),
                  0U);
    }
}

TYPED_TEST(WriteMeshOf, LackOfMemoryWhileReadingLeavesNothing)
{
    const fs::path path = this->folder_ / "part";
    struct State {
        IndexedPointsBase<3, TypeParam> mesh = Tetrahedron<TypeParam>();
        Tags vertexTags{1};
        Tags triangleTags{2};
        TriangleSoup<3, TypeParam> soup{1};
    };
    for (const MeshFileForm form : kForms) {
        const auto mesh = Strip<TypeParam>(100);
        const Tags tags(102, 5);
        ASSERT_TRUE(form == MeshFileForm::Tipc ? WriteMesh(mesh, tags, Tags(100, 6), path)
                                               : WriteMesh(mesh, path, form));
        const auto fresh = [] { return State(); };
        EXPECT_GT(Support::FailEachAllocation(
                      fresh, [&](State& s) { (void)ReadMesh(s.mesh, path); },
                      [](const State& s) {
                          EXPECT_TRUE(s.mesh.points.empty() && s.mesh.indices.empty());
                      }),
                  0U);
        EXPECT_GT(Support::FailEachAllocation(
                      fresh,
                      [&](State& s) { (void)ReadMesh(s.mesh, s.vertexTags, s.triangleTags, path); },
                      [](const State& s) {
                          EXPECT_TRUE(s.mesh.points.empty() && s.mesh.indices.empty() &&
                                      s.vertexTags.empty() && s.triangleTags.empty());
                      }),
                  0U);
        const std::string text = ReadBytes(path);
        const auto bytes = std::as_bytes(std::span(text));
        EXPECT_GT(
            Support::FailEachAllocation(
                fresh,
                [&](State& s) { (void)ReadMesh(s.mesh, s.vertexTags, s.triangleTags, bytes); },
                [](const State& s) {
                    EXPECT_TRUE(s.mesh.points.empty() && s.mesh.indices.empty() &&
                                s.vertexTags.empty() && s.triangleTags.empty());
                }),
            0U);
        EXPECT_GT(Support::FailEachAllocation(
                      fresh, [&](State& s) { (void)ReadMesh(s.soup, path); },
                      [](const State& s) { EXPECT_TRUE(s.soup.empty()); }),
                  0U);
    }
}

} // namespace
