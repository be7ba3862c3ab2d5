#include <Sorvane/Version_E.h>

#include <gtest/gtest.h>

namespace {

TEST(Version, OfTheLoadedLibraryIsThatOfTheHeaders)
{
    const Velk::Math::Sorvane::VersionNumber loaded = Velk::Math::Sorvane::Version();
    EXPECT_EQ(loaded.major, SORVANE_VERSION_MAJOR);
    EXPECT_EQ(loaded.minor, SORVANE_VERSION_MINOR);
    EXPECT_EQ(loaded.patch, SORVANE_VERSION_PATCH);
}

} // namespace
