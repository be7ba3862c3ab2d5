// Spreading and gathering of bits, one bit at a time.

#include "mathbase/BitSpread_Impl.h"

#include "tests/support/TestSupport.h"

#include <cstdint>

using namespace Velk::Math::Impl;

namespace {

template <int D>
void ExpectBitByBit()
{
    Support::Random random(1);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto value =
            trial == 0 ? ~std::uint32_t{0} : static_cast<std::uint32_t>(random.Bits());
        std::uint64_t expected = 0;
        std::uint32_t kept = 0;
        for (unsigned bit = 0; bit < kSpreadBits<D>; ++bit) {
            const std::uint32_t one = (value >> bit) & 1U;
            expected |= static_cast<std::uint64_t>(one) << (static_cast<unsigned>(D) * bit);
            kept |= one << bit;
        }
        ASSERT_EQ(SpreadBits<D>(value), expected);
        ASSERT_EQ(GatherBits<D>(expected), kept);
        // Bits of other axes are ignored.
        std::uint64_t others = random.Bits();
        for (unsigned bit = 0; bit < kSpreadBits<D>; ++bit) {
            others &= ~(std::uint64_t{1} << (static_cast<unsigned>(D) * bit));
        }
        if (D == 3) {
            others &= ~(std::uint64_t{1} << 63U); // bit 21 of an axis, of which there is none
        }
        ASSERT_EQ(GatherBits<D>(expected | others), kept);
    }
    EXPECT_EQ(kSpreadBits<2>, 32U);
    EXPECT_EQ(kSpreadBits<3>, 21U);
}

} // namespace

TEST(BitSpread, InThePlane) { ExpectBitByBit<2>(); }
TEST(BitSpread, InSpace) { ExpectBitByBit<3>(); }
