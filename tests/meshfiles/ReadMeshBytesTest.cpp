// Behind the opening of the file: files that change while they are read, texts cut into blocks and
// pieces, and any number of threads.

#include "meshfiles/MeshFiles_Impl.h"

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

namespace {

using namespace Velk::Math;
using namespace Sorvane::MeshUtils;
using Mesh = Sorvane::Mesh::IndexedPointsBase<3, double>;

/// So many triangles that every form takes several blocks.
Support::SmallMesh LargeMesh()
{
    Support::SmallMesh mesh;
    for (int i = 0; i < 90'000; ++i) {
        const auto x = static_cast<float>(i);
        mesh.points.push_back({x, 0.37F * x, 1 / (x + 1)});
        mesh.indices.push_back(i);
    }
    return mesh;
}

MeshFileResult Read(Impl::ByteReader& file, Mesh& mesh)
{
    return Impl::ReadMeshBytes(file, mesh, nullptr, nullptr);
}

TEST(ReadMeshBytes, AFileThatIsCutWhileItIsReadIsNotWhole)
{
    const Support::TemporaryFolder folder;
    const Support::SmallMesh large = LargeMesh();
    for (const std::string& bytes :
         {Support::BinaryStlBytes(large, "x"), Support::TipcBytes(large, {}, {}),
          Support::SolidText(large, "x")}) {
        for (const double share : {0.0001, 0.3, 0.7, 0.9999}) {
            const auto path = folder / "part";
            Support::WriteBytes(path, bytes);
            Impl::ByteReader file(path); // knows the size that the file has now
            std::filesystem::resize_file(
                path, static_cast<std::uintmax_t>(share * static_cast<double>(bytes.size())));
            Mesh mesh;
            const MeshFileResult result = Read(file, mesh);
            EXPECT_EQ(result.error, MeshFileError::CutShort) << MeshFileText(result);
        }
    }
}

TEST(ReadMeshBytes, AFileThatIsReplacedIsReadAsItWasWhenItWasOpened)
{
    const Support::TemporaryFolder folder;
    const auto path = folder / "part";
    const Support::SmallMesh large = LargeMesh();
    Support::WriteBytes(path, Support::BinaryStlBytes(large, "x"));
    Impl::ByteReader file(path);
    ASSERT_TRUE(WriteMesh(Mesh{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}}, path,
                          MeshFileForm::BinaryStl));
    Mesh mesh;
    EXPECT_TRUE(Read(file, mesh));
    EXPECT_EQ(Support::Bits(mesh.points), Support::Bits(Support::CornersOf<double>(large)));
}

TEST(ReadMeshBytes, TheSameOnAnyNumberOfThreads)
{
    const Support::SmallMesh large = LargeMesh();
    for (const std::string& bytes :
         {Support::BinaryStlBytes(large, "x"), Support::TipcBytes(large, {}, {}),
          Support::SolidText(large, "x")}) {
        for (const int threads : {1, 2, 4}) {
            Support::WithThreads(threads, [&] {
                Impl::ByteReader file(std::as_bytes(std::span(bytes)));
                Mesh mesh;
                EXPECT_TRUE(Read(file, mesh));
                EXPECT_EQ(Support::Bits(mesh.points),
                          Support::Bits(Support::CornersOf<double>(large)));
                EXPECT_EQ(mesh.indices, large.indices);
            });
        }
    }
}

TEST(ReadMeshBytes, ATextIsTheSameHoweverItIsCut)
{
    // Sound and with an error in every line in turn: the same points, the same reason, the same
    // line.
    Support::SmallMesh small = Support::TetrahedronAndFin();
    small.indices.resize(6);
    const std::string sound =
        Support::SolidText(small, "a") + "\n" + Support::SolidText(small, "b");
    std::vector<std::string> texts{sound};
    for (std::size_t begin = 0; begin < sound.size(); begin = sound.find('\n', begin) + 1) {
        std::string bad = sound;
        bad.insert(begin, "?");
        texts.push_back(bad);
    }
    for (const std::string& text : texts) {
        Mesh whole;
        Impl::ByteReader file(std::as_bytes(std::span(text)));
        const MeshFileResult expected = Impl::ReadAsciiSolids(
            file, whole.points, whole.indices, Impl::kAsciiBlockBytes, Impl::kAsciiPieceBytes);
        EXPECT_EQ(static_cast<bool>(expected), text == sound);
        for (const std::size_t blockBytes : {1U, 17U, 64U, 333U}) {
            for (const std::size_t pieceBytes : {1U, 30U, 200U}) {
                Mesh pieces;
                Impl::ByteReader again(std::as_bytes(std::span(text)));
                EXPECT_EQ(Impl::ReadAsciiSolids(again, pieces.points, pieces.indices, blockBytes,
                                                pieceBytes),
                          expected);
                EXPECT_TRUE(!expected || pieces == whole);
            }
        }
    }
    // The line of an error is that where the mark was put in.
    const std::string& bad = texts[12];
    const auto line = 1 + std::count(bad.begin(), std::find(bad.begin(), bad.end(), '?'), '\n');
    Mesh mesh;
    Impl::ByteReader file(std::as_bytes(std::span(bad)));
    EXPECT_EQ(Read(file, mesh).place, static_cast<std::uint64_t>(line));
}

} // namespace
