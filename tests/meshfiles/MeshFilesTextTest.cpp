// What came of reading or writing a mesh file, in words.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/TestSupport.h"

#include <set>
#include <string>

namespace {

using namespace Velk::Math::Sorvane::MeshUtils;

MeshFileResult Result(MeshFileError error, MeshFileForm form, std::uint64_t place)
{
    MeshFileResult result;
    result.error = error;
    result.form = form;
    result.place = place;
    return result;
}

TEST(MeshFileText, EveryErrorHasWordsOfItsOwn)
{
    std::set<std::string> texts;
    for (int error = 0; error <= static_cast<int>(MeshFileError::Flattened); ++error) {
        const std::string text =
            MeshFileText(Result(static_cast<MeshFileError>(error), MeshFileForm::BinaryStl, 0));
        EXPECT_GT(text.size(), 5U);
        EXPECT_NE(text, "unknown error");
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
    EXPECT_EQ(texts.size(), 21U);
}

TEST(MeshFileText, NamesTheFormAndThePlace)
{
    EXPECT_EQ(MeshFileText(Result(MeshFileError::None, MeshFileForm::BinaryStl, 0)), "binary STL");
    EXPECT_EQ(MeshFileText(Result(MeshFileError::Malformed, MeshFileForm::AsciiStl, 12)),
              "ASCII STL with an error in line 12");
    EXPECT_EQ(MeshFileText(Result(MeshFileError::CutShort, MeshFileForm::AsciiStl, 9)),
              "ASCII STL ends within a solid, in line 9");
    EXPECT_EQ(MeshFileText(Result(MeshFileError::IndexOutOfRange, MeshFileForm::Tipc, 3)),
              "TIPC with an index out of range in triangle 3");
    MeshFileResult cut = Result(MeshFileError::CutShort, MeshFileForm::BinaryStl, 0);
    EXPECT_EQ(MeshFileText(cut), "binary STL cut short while it was read");
    cut.announcedBytes = 5084;
    cut.actualBytes = 3000;
    EXPECT_EQ(MeshFileText(cut), "binary STL cut short: 5084 bytes announced, 3000 there");
}

TEST(MeshFileText, RepeatsWhatTheSystemSaid)
{
    MeshFileResult failed = Result(MeshFileError::WriteFailed, MeshFileForm::BinaryStl, 0);
    EXPECT_EQ(MeshFileText(failed), "can't be written");
    failed.system = std::make_error_code(std::errc::no_space_on_device);
    EXPECT_EQ(MeshFileText(failed), "can't be written (" + failed.system.message() + ")");
}

TEST(MeshFileResult, IsTrueForASuccessOnly)
{
    EXPECT_TRUE(MeshFileResult());
    for (int error = 1; error <= static_cast<int>(MeshFileError::Flattened); ++error) {
        EXPECT_FALSE(Result(static_cast<MeshFileError>(error), MeshFileForm::Tipc, 0));
    }
}

} // namespace
