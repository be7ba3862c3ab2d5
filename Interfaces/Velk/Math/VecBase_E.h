// VecBase: the fixed-size vector that every coordinate, direction and index tuple of the library is
// made of, with its inline arithmetic. Operations on vectors are declared in Vector_E.h.
#pragma once

#include <Velk/Export_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <type_traits>
#include <vector> // std::hash

namespace Velk::Math::Vector {

namespace Impl {

/// `value` as a T, by a cast.
///
/// g++ 12 takes (double)(float)x for x when it packs two such conversions into one vector
/// instruction, from -O2 on: a float result would be used further with digits that it does not have.
/// The empty instruction, which the compiler can't look into, keeps every rounding to float.
template <class T, class U> constexpr T Cast(U value)
{
    T result = static_cast<T>(value);
#if defined(__GNUC__) && !defined(__clang__) && defined(__SSE2__)
    if constexpr (std::same_as<T, float> && std::same_as<U, double>) {
        if (!std::is_constant_evaluated()) {
            __asm__("" : "+x"(result));
        }
    }
#endif
    return result;
}

} // namespace Impl

/// N values of T, contiguous and nothing else; all zero by default.
///
/// A plain value: trivially copyable, no invariant, no heap. The library uses N = 2, 3, 4 and 8 over
/// `float`, `double`, `int`, `unsigned int`, `long long` and `unsigned long long`.
template <int N, class T> struct SORVANE_API VecBase {
    static_assert(N >= 2, "a single value is not a vector");

    using value_type = T; ///< type of a component

    T component[N] = {}; ///< the values in order

    constexpr VecBase() = default;

    /// From exactly N values; each is converted to T as by a cast.
    template <class... U>
        requires(sizeof...(U) == static_cast<std::size_t>(N) && (std::is_arithmetic_v<U> && ...))
    constexpr VecBase(U... values) : component{Impl::Cast<T>(values)...}
    {
    }

    /// From a vector of another component type; each component is converted as by a cast.
    template <class U>
        requires(!std::same_as<U, T>)
    explicit constexpr VecBase(const VecBase<N, U>& other)
    {
        for (int i = 0; i < N; ++i) {
            component[i] = Impl::Cast<T>(other.component[i]);
        }
    }

    // clang-format off
    /// Component `i`, counted from 0 and not checked.
    constexpr T& operator[](int i) { return component[i]; }
    constexpr const T& operator[](int i) const { return component[i]; }
    /// The first four components by name, as far as N goes.
    constexpr T& x() { return component[0]; }
    constexpr const T& x() const { return component[0]; }
    constexpr T& y() { return component[1]; }
    constexpr const T& y() const { return component[1]; }
    constexpr T& z() requires(N >= 3) { return component[2]; }
    constexpr const T& z() const requires(N >= 3) { return component[2]; }
    constexpr T& w() requires(N >= 4) { return component[3]; }
    constexpr const T& w() const requires(N >= 4) { return component[3]; }
    /// The components as a plain run of N values.
    constexpr T* data() { return component; }
    constexpr const T* data() const { return component; }
    constexpr T* begin() { return component; }
    constexpr T* end() { return component + N; }
    constexpr const T* begin() const { return component; }
    constexpr const T* end() const { return component + N; }
    /// N.
    static constexpr int size() { return N; }
    // clang-format on

    /// Component by component.
    constexpr VecBase& operator+=(const VecBase& b)
    {
        for (int i = 0; i < N; ++i) {
            component[i] += b.component[i];
        }
        return *this;
    }

    /// Component by component.
    constexpr VecBase& operator-=(const VecBase& b)
    {
        for (int i = 0; i < N; ++i) {
            component[i] -= b.component[i];
        }
        return *this;
    }

    /// Every component times the factor.
    constexpr VecBase& operator*=(T factor)
    {
        for (int i = 0; i < N; ++i) {
            component[i] *= factor;
        }
        return *this;
    }

    /// Every component divided by the divisor. One that equals 0 makes them all quiet NaN, or 0 for
    /// integers, which have none: nothing traps, and no component looks usable.
    constexpr VecBase& operator/=(T divisor)
    {
        if (divisor == T{0}) {
            for (int i = 0; i < N; ++i) {
                component[i] = std::numeric_limits<T>::quiet_NaN();
            }
            return *this;
        }
        for (int i = 0; i < N; ++i) {
            component[i] /= divisor;
        }
        return *this;
    }

    /// Sum, difference and multiples, component by component; division as by `operator/=`.
    friend constexpr VecBase operator+(VecBase a, const VecBase& b) { return a += b; }
    friend constexpr VecBase operator-(VecBase a, const VecBase& b) { return a -= b; }
    friend constexpr VecBase operator*(VecBase a, T factor) { return a *= factor; }
    friend constexpr VecBase operator*(T factor, VecBase a) { return a *= factor; }
    friend constexpr VecBase operator/(VecBase a, T divisor) { return a /= divisor; }

    /// Every component with the other sign.
    friend constexpr VecBase operator-(VecBase a)
    {
        for (int i = 0; i < N; ++i) {
            a.component[i] = -a.component[i];
        }
        return a;
    }

    /// Dot product, accumulated from 0 in component order.
    friend constexpr T operator*(const VecBase& a, const VecBase& b)
    {
        T sum{0};
        for (int i = 0; i < N; ++i) {
            sum += a.component[i] * b.component[i];
        }
        return sum;
    }

    /// Exact comparison, component by component: NaN equals nothing, -0 equals 0.
    friend constexpr bool operator==(const VecBase& a, const VecBase& b) = default;
};

/// Cross product in the plane: a.x b.y - a.y b.x, twice the signed area of the triangle 0 a b.
template <class T> constexpr T operator^(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return a[0] * b[1] - a[1] * b[0];
}

/// Cross product in space: right-handed, exactly antisymmetric.
template <class T>
constexpr VecBase<3, T> operator^(const VecBase<3, T>& a, const VecBase<3, T>& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// v * v: overflows to infinity beyond about 1e154 (`float` 1e19), underflows to 0.
template <int N, class T> constexpr T SquaredLength(const VecBase<N, T>& v)
{
    return v * v;
}

/// Plain square root of the squared length: overflows to infinity, underflows to 0.
template <int N, std::floating_point T> T Length(const VecBase<N, T>& v)
{
    return std::sqrt(v * v);
}

/// `v` times 1 / |v| when |v| is strictly greater than `tolerance`, otherwise the zero vector.
///
/// Never NaN: a vector with a non-finite component, or one so long that its squared length
/// overflows, has no direction that could be told and gives the zero vector too; so does one of
/// length 0, whatever the tolerance.
template <int N, std::floating_point T> VecBase<N, T> Normalized(const VecBase<N, T>& v, T tolerance)
{
    const T length = Length(v);
    if (length > tolerance && length > T{0} && length <= std::numeric_limits<T>::max()) {
        return v * (T{1} / length);
    }
    return {};
}

/// True when every coordinate differs by at most `tolerance`: the library's meaning of "the same
/// point". NaN matches nothing.
template <int N, class T>
constexpr bool Matches(const VecBase<N, T>& a, const VecBase<N, T>& b, T tolerance)
{
    for (int i = 0; i < N; ++i) {
        const T difference = a[i] - b[i];
        if (!(difference <= tolerance && -difference <= tolerance)) {
            return false;
        }
    }
    return true;
}

/// Right-hand normal (d.y, -d.x) of a direction in the plane; its negative is the left-hand one.
template <class T> constexpr VecBase<2, T> RightNormal(const VecBase<2, T>& d)
{
    return {d[1], -d[0]};
}

/// "(x, y, z)" in the stream's own number format.
template <int N, class T, class Char, class Traits>
std::basic_ostream<Char, Traits>& operator<<(std::basic_ostream<Char, Traits>& stream,
                                             const VecBase<N, T>& v)
{
    stream << '(';
    for (int i = 0; i < N; ++i) {
        if (i > 0) {
            stream << ", ";
        }
        stream << v[i];
    }
    return stream << ')';
}

// clang-format off
extern template SORVANE_API float  operator^(const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API double operator^(const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API VecBase<3, float>  operator^(const VecBase<3, float>&,  const VecBase<3, float>&);
extern template SORVANE_API VecBase<3, double> operator^(const VecBase<3, double>&, const VecBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Vector

namespace Velk::Math {
using Vector::VecBase;
/// Points and directions of the plane and of space.
using Vec2f = VecBase<2, float>;
using Vec3f = VecBase<3, float>;
using Vec2d = VecBase<2, double>;
using Vec3d = VecBase<3, double>;
} // namespace Velk::Math

/// Hash of the component values; vectors that compare equal (0 and -0) hash alike.
template <int N, class T> struct std::hash<Velk::Math::Vector::VecBase<N, T>> {
    /// The same in every run and on every thread.
    std::size_t operator()(const Velk::Math::Vector::VecBase<N, T>& v) const noexcept
    {
        std::uint64_t state = 0;
        for (int i = 0; i < N; ++i) {
            std::uint64_t bits = 0;
            if constexpr (std::floating_point<T>) {
                const T value = v[i] + T{0}; // -0 becomes 0
                bits = std::bit_cast<std::uint64_t>(static_cast<double>(value));
            } else {
                bits = static_cast<std::uint64_t>(v[i]);
            }
            // Multiply and fold after each component: the high bits, where doubles differ, must reach
            // the low ones that a table looks at.
            state = (state ^ bits) * 0x9e3779b97f4a7c15U;
            state ^= state >> 32U;
        }
        // Once more, for short binary fractions and whole numbers, whose lower bits are all 0.
        state *= 0xbf58476d1ce4e5b9U;
        return static_cast<std::size_t>(state ^ (state >> 32U));
    }
};
