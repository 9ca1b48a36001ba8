// 128-bit arithmetic and text conversion (the compiler's own 128-bit type is
// the oracle, in the tests only), packed 24/48-bit values and strict number
// parsing.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "test_util.h"

using kel_test::ErrorSlot;

namespace {

using u128 = unsigned __int128;
constexpr KelUint128 U(guint64 lo, guint64 hi = 0) { return {lo, hi}; }
constexpr KelUint128 kMax = {G_MAXUINT64, G_MAXUINT64};
u128 native(KelUint128 v) { return (static_cast<u128>(v.hi) << 64) | v.lo; }

::testing::AssertionResult Same(KelUint128 got, u128 want)
{
    if (native(got) == want)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got {" << got.lo << ", " << got.hi << "} want {" << static_cast<guint64>(want) << ", "
                                         << static_cast<guint64>(want >> 64) << "}";
}
::testing::AssertionResult Same(KelUint128 got, KelUint128 want) { return Same(got, native(want)); }

std::string to_str(KelUint128 v, int radix)
{
    char buf[130];
    const int n = kel_uint128_to_str(v, radix, buf, sizeof buf);
    return n > 0 ? std::string(buf) : "<error " + std::to_string(n) + ">";
}

// Values that stress carries and borrows, and random ones of all widths.
std::vector<KelUint128> sample_values()
{
    std::vector<KelUint128> v = {U(0), U(1), U(G_MAXUINT64), U(0, 1), U(1, G_MAXUINT64), kMax, U(0, 1ull << 63), U(3, 0x8000'0000'0000'0001ull),
                                 U(G_MAXUINT64, 0), U(5, 5), U(0xabc), U(0, G_MAXUINT64)};
    std::mt19937_64 rng(20240611);
    for (int i = 0; i < 200; i++)
        v.push_back(kel_uint128_rshift(U(rng(), rng()), rng() % 128));
    return v;
}

}  // namespace

// Shifts by 0 to beyond 128 bits, carries, borrows and wrapping, against the
// native type; a division by zero leaves both results alone.
TEST(Uint128, ArithmeticMatchesNative)
{
    const auto values = sample_values();
    for (KelUint128 a : values) {
        const u128 na = native(a);
        for (guint64 n : {0u, 1u, 13u, 63u, 64u, 65u, 127u, 128u, 200u}) {
            ASSERT_TRUE(Same(kel_uint128_lshift(a, n), n < 128 ? na << n : 0) && Same(kel_uint128_rshift(a, n), n < 128 ? na >> n : 0)) << n;
        }
        ASSERT_TRUE(Same(kel_uint128_neg(a), 0 - na) && Same(kel_uint128_rshift(a, G_MAXUINT64), U(0)));
        for (size_t j = 0; j < values.size(); j += j < 12 ? 1 : 7) {  // every edge value, some random ones
            const KelUint128 b = values[j];
            const u128 nb = native(b);
            ASSERT_TRUE(Same(kel_uint128_add(a, b), na + nb) && Same(kel_uint128_sub(a, b), na - nb) && Same(kel_uint128_mul(a, b), na * nb));
            ASSERT_TRUE(kel_uint128_lt(a, b) == (na < nb) && kel_uint128_le(a, b) == (na <= nb) && kel_uint128_le(a, a) && !kel_uint128_lt(a, a));
            KelUint128 q = U(99, 99), r = U(98, 98);
            const int rc = kel_uint128_div(a, b, &q, &r);
            ASSERT_TRUE(nb == 0 ? rc == -1 && Same(q, U(99, 99)) && Same(r, U(98, 98)) : rc == 0 && Same(q, na / nb) && Same(r, na % nb));
        }
    }
    KelUint128 v = U(100);  // results may land in the dividend; either pointer may be NULL
    ASSERT_EQ(kel_uint128_div(v, U(7), &v, nullptr), 0);
    EXPECT_TRUE(Same(v, U(14)));
    ASSERT_EQ(kel_uint128_div(v, U(4), nullptr, &v), 0);
    EXPECT_TRUE(Same(v, U(2)));
}

TEST(Uint128, TextConversions)
{
    char buf[8];
    EXPECT_EQ(kel_uint128_to_str(U(0), 10, buf, sizeof buf), 2);
    EXPECT_STREQ(buf, "0");
    EXPECT_EQ(kel_uint128_to_str(U(255), 16, buf, sizeof buf), 3);
    EXPECT_STREQ(buf, "FF");
    EXPECT_EQ(to_str(U(35), 36), "Z");
    EXPECT_EQ(to_str(kMax, 10), "340282366920938463463374607431768211455");
    EXPECT_EQ(to_str(kMax, 2), std::string(128, '1'));
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 6), 6);  // exactly digits + 1 fits
    memset(buf, '#', sizeof buf);
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 5), KEL_BUFFER_INSUFFICIENT);
    EXPECT_EQ(buf[0], '#');
    EXPECT_EQ(kel_uint128_to_str(U(1), 1, buf, sizeof buf), KEL_RADIX_INVALID);
    EXPECT_EQ(kel_uint128_to_str(U(1), 37, buf, sizeof buf), KEL_RADIX_INVALID);
    EXPECT_EQ(kel_uint128_to_str(U(1), 99, buf, 0), KEL_ARG_INVALID);  // the buffer is checked first

    const std::tuple<const char *, int, KelUint128> cases[] = {
        {"  42", 0, U(42)}, {"\t0x1f", 0, U(31)}, {"017", 0, U(15)}, {"019", KEL_ARG_CONVERSION, U(1)},  // 9 is no octal digit
        {"12 ", KEL_ARG_CONVERSION, U(12)}, {"-1", 0, kMax}, {"+5", KEL_ARG_CONVERSION, U(0)}, {"0x", 0, U(0)}, {"-", 0, U(0)},
        {"   ", 0, U(0)}, {"0xg", KEL_ARG_CONVERSION, U(0)}, {"", KEL_ARG_CONVERSION, U(0)},
        {"340282366920938463463374607431768211456", 0, U(0)},  // 2^128 wraps
        {"0XFFFFFFFFFFFFFFFFffffffffffffffff", 0, kMax}};
    for (const auto &[text, status, value] : cases) {
        KelUint128 out = U(0xdead, 0xbeef);
        EXPECT_EQ(kel_uint128_from_str(text, &out), status) << text;
        EXPECT_TRUE(Same(out, value) || (text[0] == '\0' && Same(out, U(0xdead, 0xbeef)))) << text;
    }
    for (KelUint128 v : sample_values())  // round trip through both radixes the reader detects
        for (const std::string &text : {to_str(v, 10), "0x" + to_str(v, 16)}) {
            KelUint128 out;
            ASSERT_TRUE(kel_uint128_from_str(text.c_str(), &out) == 0 && Same(out, v)) << text;
        }
}

TEST(Uint128, PackedIntsKeepLowBytesInOrder)
{
    KelUint24 a = kel_uint24_init(0x12345678u);
    EXPECT_TRUE(a.b0 == 0x78 && a.b1 == 0x56 && a.b2 == 0x34);
    KelUint48 b = kel_uint48_init(0x1122334455667788ull);
    const guint8 expected[] = {0x88, 0x77, 0x66, 0x55, 0x44, 0x33};
    EXPECT_EQ(memcmp(b.bytes, expected, 6), 0);
}

TEST(Strto, WholeTextMustConvert)
{
    ErrorSlot slot;
    EXPECT_EQ(kel_strtoll("  42", 10, &slot), 42);
    EXPECT_EQ(kel_strtoll("-9223372036854775808", 10, &slot), G_MININT64);
    EXPECT_EQ(kel_strtoll("0x1F", 16, &slot), 31);
    EXPECT_EQ(kel_strtoll("017", 0, &slot), 15);
    EXPECT_EQ(kel_strtoll("", 10, &slot), 0);  // nothing to consume
    EXPECT_EQ(kel_strtoull("9223372036854775808", 10, &slot), 9223372036854775808ull);
    EXPECT_EQ(kel_strtoull("-1", 10, &slot), G_MAXUINT64);
    EXPECT_DOUBLE_EQ(kel_strtod(" -2.5e3", &slot), -2500.0);
    EXPECT_DOUBLE_EQ(kel_strtod("0x1p4", &slot), 16.0);
    EXPECT_TRUE(std::isinf(kel_strtod("inf", &slot)));
    errno = ERANGE;  // a stale errno must not count
    EXPECT_EQ(kel_strtoll("5", 10, &slot), 5);
    EXPECT_FALSE(slot);

    const std::tuple<std::function<double(KelError **)>, int, const char *> refusals[] = {
        {[](KelError **e) { return kel_strtoll("42 ", 10, e); }, KEL_ARG_CONVERSION, "Could not convert \"42 \" to int64_t"},
        {[](KelError **e) { return kel_strtoll("0x1F", 10, e); }, KEL_ARG_CONVERSION, "Could not convert \"0x1F\" to int64_t"},
        {[](KelError **e) { return kel_strtoll("  ", 10, e); }, KEL_ARG_CONVERSION, "Could not convert \"  \" to int64_t"},
        {[](KelError **e) { return kel_strtoll("9223372036854775808", 10, e); }, KEL_ARG_CONVERSION,
         "Could not convert \"9223372036854775808\" to int64_t; out of range"},
        {[](KelError **e) { return kel_strtoull("7x", 10, e); }, KEL_ARG_CONVERSION, "Could not convert \"7x\" to uint64_t"},
        {[](KelError **e) { return kel_strtoull("18446744073709551616", 10, e); }, KEL_ARG_CONVERSION,
         "Could not convert \"18446744073709551616\" to uint64_t; out of range"},
        {[](KelError **e) { return kel_strtoll("12", 1, e); }, KEL_RADIX_INVALID, "Base value (1) is invalid for string conversion"},
        {[](KelError **e) { return kel_strtoull("12", 37, e); }, KEL_RADIX_INVALID, "Base value (37) is invalid for string conversion"},
        {[](KelError **e) { return kel_strtod("1e999", e); }, KEL_ARG_CONVERSION, "Could not convert \"1e999\" to double; out of range"},
        {[](KelError **e) { return kel_strtod("1.5x", e); }, KEL_ARG_CONVERSION, "Could not convert \"1.5x\" to double"},
        {[](KelError **e) { return kel_strtod("1,5", e); }, KEL_ARG_CONVERSION, "Could not convert \"1,5\" to double"}};  // "." only
    kel_set_error(&slot, kel_error_domain(), KEL_IO_FAIL, "earlier");
    for (const auto &[convert, code, message] : refusals) {
        EXPECT_EQ(convert(&slot), 0) << message;
        EXPECT_KEL_ERROR(slot, code, message);
        EXPECT_EQ(slot.domain(), kel_error_domain());
        EXPECT_EQ(slot.length(), 2);  // pushed on top of the earlier error
        slot.pop();
    }
}
