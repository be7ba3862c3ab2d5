// Counts that ask for more memory than there is: the standard allocation error, before a page of it
// is touched.

#include <Sorvane/MeshFiles_E.h>

#include "meshfiles/AvailableMemory_Impl.h"

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <limits>
#include <new>
#include <stdexcept>

#include <sys/resource.h>

namespace {

using namespace Velk::Math;
namespace Files = Sorvane::MeshUtils;
namespace Impl = Sorvane::MeshUtils::Impl;

constexpr auto kUnlimited = std::numeric_limits<std::uint64_t>::max();

/// Largest memory the process ever had in use, in bytes.
std::int64_t PeakMemory()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss * std::int64_t{1024};
}

/// `read` throws one of the two standard errors and touches no more than a few blocks.
template <class Read>
void ExpectAllocationError(Read&& read)
{
    constexpr std::int64_t kFewBlocks = 64 << 20;
    const std::int64_t before = PeakMemory();
    try {
        read();
        ADD_FAILURE() << "no exception";
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    EXPECT_LT(PeakMemory() - before, kFewBlocks);
}

/// On a machine that has so much memory, a count is no error and would really be filled.
#define SORVANE_NEED_LESS_MEMORY_THAN(bytes) \
    if (Impl::AvailableMemory() >= (bytes))  \
    GTEST_SKIP() << "this machine has the memory that the file asks for"

template <class T>
class HugeCount : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(HugeCount, Scalars);

TYPED_TEST(HugeCount, BinaryStl)
{
    // 0x55555556 is the first count whose threefold does not fit 32 bits: it wraps to 2.
    for (const std::uint32_t count : {0x55555556U, 0x80000000U, 0xFFFFFFFFU}) {
        SORVANE_NEED_LESS_MEMORY_THAN(std::uint64_t{3} * count * sizeof(VecBase<3, TypeParam>));
        Support::TemporaryFolder folder;
        const auto path = folder / "lying.stl";
        Support::WriteBytes(path, std::string(80, ' ') + Support::LittleEndianBytes(count) +
                                      std::string(120, '\x01'));
        std::vector<VecBase<3, TypeParam>> points;
        std::vector<int> indices;
        ExpectAllocationError([&] { Files::ReadFromBinarySTL(points, indices, path); });
    }
}

struct TipcCase {
    const char* name;
    std::uint32_t vertexCount, triangleCount;
    int tagFlag;
};
void PrintTo(const TipcCase& c, std::ostream* stream) { *stream << c.name; }

class HugeCountTipc : public testing::TestWithParam<TipcCase> {};

TEST_P(HugeCountTipc, IsAnAllocationError)
{
    const auto& [name, vertexCount, triangleCount, tagFlag] = GetParam();
    const std::uint64_t tagBytes = tagFlag > 0 ? 8 : 0;
    SORVANE_NEED_LESS_MEMORY_THAN((24 + tagBytes) * vertexCount + (12 + tagBytes) * triangleCount);
    Support::TemporaryFolder folder;
    const auto path = folder / "lying.tipc";
    Support::WriteBytes(
        path, Support::LittleEndianBytes(vertexCount) + Support::LittleEndianBytes(triangleCount) +
                  std::string(2, static_cast<char>(tagFlag)) + std::string(48, '\x02'));
    std::vector<VecBase<3, double>> points;
    std::vector<int> indices;
    ExpectAllocationError([&] { Files::ReadFromTIPC(points, indices, path.string()); });
}

INSTANTIATE_TEST_SUITE_P(Headers, HugeCountTipc,
                         testing::Values(TipcCase{"Points", 0xFFFFFFFF, 1, 0},
                                         TipcCase{"Triangles", 1, 0xFFFFFFFF, 0},
                                         // 3 * 0x55555556 wraps to 2 in 32 bits
                                         TipcCase{"ThreefoldThatWraps", 1, 0x55555556, 1},
                                         TipcCase{"Both", 0xFFFFFFFF, 0xFFFFFFFF, 1}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(AvailableMemory, IsRequired)
{
    EXPECT_NO_THROW(Impl::RequireMemory(0));
    EXPECT_NO_THROW(Impl::RequireMemory(1 << 20));
    EXPECT_THROW(Impl::RequireMemory(kUnlimited - 1), std::bad_alloc);
    EXPECT_FALSE(Impl::HasMemory(kUnlimited - 1));
    EXPECT_GT(Impl::AvailableMemory(), 0U);
}

TEST(AvailableMemory, OfTheMachine)
{
    EXPECT_EQ(Impl::AvailableInMachine("MemTotal:       24659532 kB\n"
                                       "MemFree:        20000000 kB\n"
                                       "MemAvailable:   22000000 kB\n"
                                       "SwapTotal:             9 kB\n"
                                       "SwapFree:        1000000 kB\n"),
              23'000'000ULL * 1024);
    EXPECT_EQ(Impl::AvailableInMachine("MemAvailable: 5 kB"), 5U * 1024); // no swap, no line end
    EXPECT_EQ(Impl::AvailableInMachine(""), kUnlimited);
    EXPECT_EQ(Impl::AvailableInMachine("MemAvailable: lots\n"), kUnlimited);
    EXPECT_EQ(Impl::AvailableInMachine("MemTotal: 100 kB\n"), kUnlimited);
}

TEST(AvailableMemory, OfAControlGroup)
{
    const char* const statistics = "anon 300\nfile 700\ninactive_file 500\nactive_file 100\n";
    EXPECT_EQ(Impl::AvailableInGroup("max\n", "1000\n", statistics), kUnlimited);
    EXPECT_EQ(Impl::AvailableInGroup("", "", ""), kUnlimited); // no such files
    EXPECT_EQ(Impl::AvailableInGroup("2000\n", "1000\n", statistics), 2000U - (1000U - 600U));
    EXPECT_EQ(Impl::AvailableInGroup("2000\n", "500\n", statistics), 2000U); // all of it is cache
    EXPECT_EQ(Impl::AvailableInGroup("2000\n", "9000\n", statistics), 0U);
}

} // namespace
