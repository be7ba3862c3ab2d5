// Finite tests, limits and the passage between coordinate types.

#include "mathbase/Values_Impl.h"

#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

using namespace Velk::Math;

namespace {

template <class T>
class Values : public testing::Test {
protected:
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();
    static constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
    static constexpr T kLargest = std::numeric_limits<T>::max();
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(Values, Scalars);

} // namespace

TYPED_TEST(Values, FiniteIsNeitherInfiniteNorNaN)
{
    using T = TypeParam;
    const T least = std::numeric_limits<T>::denorm_min();
    for (const T good : {T{0}, T{-1}, this->kLargest, -this->kLargest, least}) {
        EXPECT_TRUE(Impl::IsFinite(good));
        for (int i = 0; i < 3; ++i) {
            VecBase<3, T> v(this->kLargest, this->kLargest, this->kLargest);
            v[i] = good;
            EXPECT_TRUE(Impl::IsFinite(v));
        }
    }
    for (const T bad : {this->kInfinity, -this->kInfinity, this->kNaN}) {
        EXPECT_FALSE(Impl::IsFinite(bad));
        for (int i = 0; i < 3; ++i) {
            VecBase<3, T> v;
            v[i] = bad;
            EXPECT_FALSE(Impl::IsFinite(v));
        }
    }
    // Infinities of both signs do not make up for each other.
    EXPECT_FALSE(Impl::IsFinite(VecBase<2, T>(this->kInfinity, -this->kInfinity)));
    EXPECT_TRUE(Impl::IsFinite(VecBase<3, int>(1, 2, 3)));
    EXPECT_TRUE(Impl::IsFinite(std::numeric_limits<int>::max()));
}

TYPED_TEST(Values, LargestMagnitude)
{
    using T = TypeParam;
    EXPECT_EQ(Impl::LargestMagnitude(VecBase<3, T>()), T{0});
    EXPECT_EQ(Impl::LargestMagnitude(VecBase<3, T>(1, -7, 3)), T{7});
    EXPECT_EQ(Impl::LargestMagnitude(VecBase<2, T>(-this->kInfinity, 3)), this->kInfinity);
    EXPECT_EQ(Impl::LargestMagnitude(VecBase<3, T>(1, this->kNaN, -2)), T{2});
}

TYPED_TEST(Values, UsableUpToTheLimitOfProducts)
{
    using T = TypeParam;
    EXPECT_TRUE(Impl::IsUsable(VecBase<2, T>(0, -1)));
    EXPECT_FALSE(Impl::IsUsable(VecBase<2, T>(0, this->kInfinity)));
    EXPECT_FALSE(Impl::IsUsable(VecBase<3, T>(0, 0, this->kNaN)));
    EXPECT_EQ(Impl::IsUsable(VecBase<3, T>(0, -this->kLargest, 0)), (std::is_same_v<T, float>));
    if constexpr (std::is_same_v<T, double>) {
        EXPECT_TRUE(Impl::IsUsable(Vec2d(1e150, -1e150)));
        EXPECT_FALSE(Impl::IsUsable(Vec2d(1, std::nextafter(1e150, 1e151))));
        // What the limit is for: the squared length of a difference stays finite.
        const Vec3d corner(1e150, 1e150, 1e150);
        EXPECT_TRUE(std::isfinite(Vector::SquaredLength(corner - -corner)));
    }
    EXPECT_TRUE(Impl::AreUsable(std::vector<VecBase<2, T>>{}));
    EXPECT_TRUE(Impl::AreUsable(std::vector<VecBase<2, T>>{{1, 2}, {3, 4}}));
    EXPECT_FALSE(Impl::AreUsable(std::vector<VecBase<2, T>>{{1, 2}, {3, this->kNaN}, {5, 6}}));
}

TEST(ScaleToOne, BringsEverySizeNearOne)
{
    for (const double size : {1.0, 1.999, 2.0, 3e-300, 1e300, 1.7e308, 0x1p1023}) {
        const double scale = Impl::ScaleToOne(size);
        EXPECT_GE(size * scale, 1.0) << size;
        EXPECT_LT(size * scale, 2.0) << size;
        EXPECT_EQ(size * scale / scale, size);
    }
    EXPECT_TRUE(std::isfinite(1.0 / Impl::ScaleToOne(1.7e308)));
    EXPECT_EQ(Impl::ScaleToOne(std::numeric_limits<double>::denorm_min()), 0x1p1000);
    for (const double none : {0.0, -1.0, std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(Impl::ScaleToOne(none), 1.0);
    }
}

TYPED_TEST(Values, WideningAndBackChangesNothing)
{
    using T = TypeParam;
    Support::Random random(1);
    for (int trial = 0; trial < 100; ++trial) {
        const auto v = random.Vector<3, T>(-1e6, 1e6);
        EXPECT_EQ(Impl::Narrowed<T>(Impl::Widened(v)), v);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(Impl::Widened(v)[i], static_cast<double>(v[i]));
        }
    }
}

// Some compilers take a conversion to float and back for no conversion at all when they handle two
// components at once, which vectors keep them from.
TEST(NarrowedValues, AreRoundedAlsoWhenTheyAreWidenedAgain)
{
    Support::Random random(2);
    int rounded = 0;
    for (int trial = 0; trial < 100; ++trial) {
        const auto v = random.Vector<2, double>(-1e6, 1e6);
        const auto w = random.Vector<3, double>(-1e6, 1e6);
        const Vec2d back = Impl::Widened(Impl::Narrowed<float>(v));
        const Vec3d backInSpace = Impl::Widened(Impl::Narrowed<float>(w));
        for (int i = 0; i < 2; ++i) {
            // A float has 24 digits: those of the double below them are gone.
            EXPECT_EQ(std::remainder(back[i], std::ldexp(1.0, std::ilogb(back[i]) - 23)), 0.0);
            rounded += back[i] != v[i] ? 1 : 0;
        }
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(
                std::remainder(backInSpace[i], std::ldexp(1.0, std::ilogb(backInSpace[i]) - 23)),
                0.0);
        }
    }
    EXPECT_GT(rounded, 190);
}
