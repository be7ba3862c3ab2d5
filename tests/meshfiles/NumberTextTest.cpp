// Numbers of text files against the streams of the standard library, which define them.

#include "meshfiles/NumberText_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <cstring>
#include <sstream>

namespace {

using namespace Velk::Math::Sorvane::MeshUtils::Impl;

template <class T>
auto BitsOf(T value)
{
    return std::bit_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(value);
}

/// Reads numbers from the line until one fails, as a stream of the classic locale does and as we
/// do.
template <class T>
class LineTwin {
public:
    LineTwin() { stream_.imbue(std::locale::classic()); }

    void ExpectSame(const std::string& line)
    {
        stream_.clear();
        stream_.str(line);
        const std::string ended = line + '\n';
        const char* at = ended.data();
        for (int number = 0; number < 8; ++number) {
            T expected{};
            T actual{};
            const bool expectedSuccess = static_cast<bool>(stream_ >> expected);
            const bool success = ReadNumber(at, actual);
            ASSERT_EQ(success, expectedSuccess) << "number " << number << " of: " << line;
            ASSERT_EQ(BitsOf(actual), BitsOf(expected)) << "number " << number << " of: " << line;
            if (!success) {
                break;
            }
        }
    }

private:
    std::istringstream stream_;
};

template <class T>
class NumberText : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(NumberText, Scalars);

TYPED_TEST(NumberText, OddTokensReadLikeAStream)
{
    LineTwin<TypeParam> twin;
    for (const std::string token : {"",
                                    " ",
                                    "1",
                                    "+1",
                                    "-1",
                                    "--1",
                                    "+-1",
                                    "-+1",
                                    "- 1",
                                    "1.",
                                    ".5",
                                    "-.5",
                                    "+.5",
                                    ".",
                                    "-.",
                                    "+",
                                    "-",
                                    "e5",
                                    ".e5",
                                    "1e5",
                                    "1E5",
                                    "1e+5",
                                    "1e-5",
                                    "1e",
                                    "1e+",
                                    "1e-",
                                    "1e+-5",
                                    "1e5e5",
                                    "1e5.5",
                                    "1.e5",
                                    "1..5",
                                    "1.5.5",
                                    "1.5e",
                                    "00012",
                                    "-00.00",
                                    "0",
                                    "-0",
                                    "-0.0",
                                    "0e5",
                                    "-0e-5",
                                    "0x10",
                                    "0X1p3",
                                    "1p3",
                                    "nan",
                                    "NAN",
                                    "-nan",
                                    "inf",
                                    "-inf",
                                    "infinity",
                                    "1abc",
                                    "abc",
                                    "1,5",
                                    "1'000",
                                    "1_000",
                                    "1f",
                                    "1d5",
                                    "1e400",
                                    "-1e400",
                                    "1e-400",
                                    "-1e-400",
                                    "1e39",
                                    "3.4028235e38",
                                    "3.4028236e38",
                                    "3.40282356779733661637e38",
                                    "3.40282356779733661638e38",
                                    "1e-45",
                                    "7e-46",
                                    "7.1e-46",
                                    "1.17549435e-38",
                                    "1.1754942e-38",
                                    "1.1754943508e-38",
                                    "1e-310",
                                    "4.9e-324",
                                    "2.4703282292062327e-324",
                                    "2.4703282292062328e-324",
                                    "2.2250738585072011e-308",
                                    "1.7976931348623157e308",
                                    "1.7976931348623158e308",
                                    "1.7976931348623159e308",
                                    "1e99999999999999999999",
                                    "1e-99999999999999999999",
                                    "0e99999999999999999999",
                                    "0.0000001e99999999999",
                                    "1e2147483648",
                                    "1e-2147483648",
                                    "1e4294967296",
                                    "9007199254740993",
                                    "9007199254740992",
                                    "9007199254740991e22",
                                    "9007199254740993e1",
                                    "16777217",
                                    "16777216.5",
                                    "1.00000017881393432617187499",
                                    "1.00000017881393432617187500",
                                    "1.00000017881393432617187501",
                                    "18446744073709551615",
                                    "18446744073709551616",
                                    "99999999999999999999",
                                    "123456789012345678901234567890",
                                    "1\t2\v3\f4\r5",
                                    "\r",
                                    "1 \r"}) {
        SCOPED_TRACE(token);
        twin.ExpectSame(token);
        twin.ExpectSame(" " + token + " 7 ");
        twin.ExpectSame("-" + token + "8");
    }
    twin.ExpectSame(std::string("1\0 2", 4));
    twin.ExpectSame(std::string("\0"
                                "1",
                                2));
    twin.ExpectSame("1\xA0 2");
    twin.ExpectSame("\x85 2");
    twin.ExpectSame(std::string(400, '0') + "1");
    twin.ExpectSame("0." + std::string(400, '0') + "1e401");
    twin.ExpectSame("1" + std::string(400, '0') + "e-400");
    twin.ExpectSame("1" + std::string(400, '0') + "e-800");
    twin.ExpectSame("1." + std::string(2000, '3'));
}

/// Characters that numbers are made of, with odd ones now and then.
std::string RandomLine(Support::Random& random)
{
    constexpr std::string_view kLikely = "0123456789012345678901234567890123456789..eE+-- ";
    constexpr std::string_view kOdd = "xXnaifp,_'\t\v\f\r\0\x80\xff/:gGdD";
    std::string line;
    const int length = 1 + random.Below(random.Below(10) == 0 ? 60 : 14);
    for (int i = 0; i < length; ++i) {
        const bool isOdd = random.Below(60) == 0;
        const std::string_view from = isOdd ? kOdd : kLikely;
        line += from[static_cast<std::size_t>(random.Below(static_cast<int>(from.size())))];
    }
    return line;
}

/// A value of any magnitude with 1 to 20 digits, sometimes near the limits of the types.
std::string RandomNumber(Support::Random& random)
{
    std::string text = random.Below(2) == 0 ? "-" : "";
    const int digits = 1 + random.Below(20);
    for (int i = 0; i < digits; ++i) {
        text += static_cast<char>('0' + random.Below(10));
    }
    if (random.Below(2) == 0) {
        text.insert(text.size() - static_cast<std::size_t>(random.Below(digits)), ".");
    }
    switch (random.Below(4)) {
    case 0:
        text += "e" + std::to_string(random.Below(800) - 400);
        break;
    case 1:
        text += "e" + std::to_string(random.Below(120) - 60);
        break;
    case 2:
        text += "e" + std::to_string(random.Below(20) - 10);
        break;
    default:
        break;
    }
    return text;
}

TYPED_TEST(NumberText, RandomTokensReadLikeAStream)
{
    Support::Random random(1);
    LineTwin<TypeParam> twin;
    for (int trial = 0; trial < Support::Rounds(300'000) && !this->HasFatalFailure(); ++trial) {
        twin.ExpectSame(RandomLine(random));
        twin.ExpectSame(RandomNumber(random));
    }
}

TYPED_TEST(NumberText, HalfwayBetweenFloatsReadsLikeAStream)
{
    // Decimal expansions of midpoints of neighboring floats, cut to 9 to 20 digits: where rounding
    // to double first and to float then goes wrong.
    Support::Random random(2);
    LineTwin<TypeParam> twin;
    for (int trial = 0; trial < Support::Rounds(100'000) && !this->HasFatalFailure(); ++trial) {
        const float low =
            std::bit_cast<float>(static_cast<std::uint32_t>(random.Below(0x7f000000)));
        const double middle =
            (double{low} + double{std::nextafter(low, std::numeric_limits<float>::max())}) / 2;
        char text[80];
        std::snprintf(text, sizeof(text), "%.*e", 8 + random.Below(12), middle);
        twin.ExpectSame(text);
    }
}

std::string Streamed(double value, int precision)
{
    static std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.str("");
    stream.precision(precision);
    stream << value;
    return stream.str();
}

void ExpectWrittenLikeAStream(double value)
{
    char text[kLongestNumber];
    ASSERT_EQ(std::string(text, WriteNumber7(text, value)), Streamed(value, 7)) << BitsOf(value);
    ASSERT_EQ(std::string(text, WriteNumber17(text, value)), Streamed(value, 17)) << BitsOf(value);
}

TEST(NumberTextWriting, SpecialValuesLikeAStream)
{
    using Limits = std::numeric_limits<double>;
    for (const double value : {0.0,
                               1.0,
                               0.5,
                               1234567.0,
                               1234567.5,
                               1234568.5,
                               9999999.0,
                               9999999.5,
                               9999999.49999,
                               10000000.0,
                               999999.95,
                               0.0001,
                               0.00012345678,
                               0.00009999999,
                               0.000099999995,
                               0.00001,
                               1e-15,
                               9.9e-16,
                               1e21,
                               9.999999e21,
                               1e22,
                               1e23,
                               1e100,
                               Limits::max(),
                               Limits::min(),
                               Limits::denorm_min(),
                               Limits::infinity(),
                               Limits::quiet_NaN(),
                               Limits::signaling_NaN(),
                               double{FLT_MAX},
                               double{FLT_MIN},
                               0.1,
                               1.0 / 3,
                               2.0 / 3,
                               123456.7,
                               1e6,
                               1e7,
                               1e5 - 1e-9,
                               4503599627370497.5}) {
        ExpectWrittenLikeAStream(value);
        ExpectWrittenLikeAStream(-value);
    }
    for (int power = -330; power <= 310; ++power) {
        const double value = std::pow(10.0, power);
        ExpectWrittenLikeAStream(value);
        ExpectWrittenLikeAStream(std::nextafter(value, 0.0));
        ExpectWrittenLikeAStream(std::nextafter(value, Limits::infinity()));
    }
}

TEST(NumberTextWriting, RandomValuesLikeAStream)
{
    Support::Random random(3);
    for (int trial = 0; trial < Support::Rounds(100'000) && !testing::Test::HasFatalFailure();
         ++trial) {
        const auto bits = random.Bits();
        ExpectWrittenLikeAStream(std::bit_cast<double>(bits)); // any magnitude
        ExpectWrittenLikeAStream(std::ldexp(random.Unit() - 0.5, random.Below(120) - 60));
        ExpectWrittenLikeAStream(double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))});
        // Ties and near ties of the seventh digit.
        const double tie = (random.Below(9'000'000) + 1'000'000) + 0.5;
        ExpectWrittenLikeAStream(tie * kPowersOfTen[static_cast<std::size_t>(random.Below(14))]);
        ExpectWrittenLikeAStream(tie / kPowersOfTen[static_cast<std::size_t>(random.Below(20))]);
        ExpectWrittenLikeAStream(std::nextafter(tie, tie * (random.Below(2) * 2.0)));
    }
}

} // namespace
