// 128-bit arithmetic and text conversion (the compiler's own 128-bit type is
// the oracle, in the tests only), packed 24/48-bit values and strict number
// parsing.
#include <cerrno>
#include <cstring>
#include <random>

#include "test_util.h"

using kel_test::ErrorSlot;

namespace {

using u128 = unsigned __int128;
constexpr KelUint128 U(guint64 lo, guint64 hi = 0) { return {lo, hi}; }
constexpr KelUint128 kMax = {G_MAXUINT64, G_MAXUINT64};
u128 native(KelUint128 v) { return (static_cast<u128>(v.hi) << 64) | v.lo; }

bool Same(KelUint128 got, u128 want) { return native(got) == want; }
bool Same(KelUint128 got, KelUint128 want) { return native(got) == native(want); }

std::string to_str(KelUint128 v, int radix)
{
    char buf[130];
    const int n = kel_uint128_to_str(v, radix, buf, sizeof buf);  // the length with the NUL
    return n > 0 && n == static_cast<int>(strlen(buf)) + 1 ? std::string(buf) : "<returned " + std::to_string(n) + ">";
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
        for (guint64 n : {0u, 1u, 13u, 63u, 64u, 65u, 127u, 128u, 200u})
            ASSERT_TRUE(Same(kel_uint128_lshift(a, n), n < 128 ? na << n : 0) && Same(kel_uint128_rshift(a, n), n < 128 ? na >> n : 0)) << n;
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
    EXPECT_TRUE(kel_uint128_div(v, U(7), &v, nullptr) == 0 && Same(v, U(14)));
    EXPECT_TRUE(kel_uint128_div(v, U(4), nullptr, &v) == 0 && Same(v, U(2)));
}

TEST(Uint128, TextConversions)
{
    const std::tuple<KelUint128, int, std::string> written[] = {
        {U(0), 10, "0"}, {U(255), 16, "FF"}, {U(35), 36, "Z"}, {kMax, 10, "340282366920938463463374607431768211455"}, {kMax, 2, std::string(128, '1')}};
    for (const auto &[value, radix, text] : written)
        EXPECT_EQ(to_str(value, radix), text);
    char buf[8] = "#######";
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 5), KEL_BUFFER_INSUFFICIENT);
    EXPECT_EQ(buf[0], '#');  // untouched
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 6), 6);  // exactly digits + 1 fits; the NUL is counted
    EXPECT_TRUE(kel_uint128_to_str(U(1), 1, buf, sizeof buf) == KEL_RADIX_INVALID && kel_uint128_to_str(U(1), 37, buf, sizeof buf) == KEL_RADIX_INVALID);
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

// 'i' kel_strtoll, 'u' kel_strtoull, 'd' kel_strtod; the value, or an error
// pushed on top of an earlier one.
std::string strto(char kind, const char *text, guint32 base = 10)
{
    ErrorSlot slot;
    kel_set_error(&slot, kel_error_domain(), KEL_IO_FAIL, "earlier");
    const std::string value = kind == 'i' ? std::to_string(kel_strtoll(text, base, &slot))
                              : kind == 'u' ? std::to_string(kel_strtoull(text, base, &slot)) : std::to_string(kel_strtod(text, &slot));
    EXPECT_EQ(slot.domain(), kel_error_domain());
    if (slot.length() == 1)
        return value;
    const std::string pushed = slot.pop();
    return value + " " + pushed + (slot.length() == 1 ? "" : " <chain broken>");
}

TEST(Strto, WholeTextMustConvert)
{
    const std::tuple<char, const char *, guint32, std::string> cases[] = {
        {'i', "  42", 10, "42"}, {'i', "-9223372036854775808", 10, "-9223372036854775808"}, {'i', "0x1F", 16, "31"}, {'i', "017", 0, "15"},
        {'i', "", 10, "0"}, {'u', "9223372036854775808", 10, "9223372036854775808"}, {'u', "-1", 10, "18446744073709551615"},  // "" has nothing to consume
        {'d', " -2.5e3", 0, "-2500.000000"}, {'d', "0x1p4", 0, "16.000000"}, {'d', "inf", 0, "inf"},
        {'i', "42 ", 10, "0 -4 Could not convert \"42 \" to int64_t"}, {'i', "0x1F", 10, "0 -4 Could not convert \"0x1F\" to int64_t"},
        {'i', "  ", 10, "0 -4 Could not convert \"  \" to int64_t"}, {'u', "7x", 10, "0 -4 Could not convert \"7x\" to uint64_t"},
        {'i', "9223372036854775808", 10, "0 -4 Could not convert \"9223372036854775808\" to int64_t; out of range"},
        {'u', "18446744073709551616", 10, "0 -4 Could not convert \"18446744073709551616\" to uint64_t; out of range"},
        {'i', "12", 1, "0 -2 Base value (1) is invalid for string conversion"}, {'u', "12", 37, "0 -2 Base value (37) is invalid for string conversion"},
        {'d', "1e999", 0, "0.000000 -4 Could not convert \"1e999\" to double; out of range"},
        {'d', "1.5x", 0, "0.000000 -4 Could not convert \"1.5x\" to double"}, {'d', "1,5", 0, "0.000000 -4 Could not convert \"1,5\" to double"}};  // "." only
    for (const auto &[kind, text, base, expected] : cases)
        EXPECT_EQ(strto(kind, text, base), expected) << kind << " " << text;
    errno = ERANGE;  // a stale errno must not count
    EXPECT_EQ(kel_strtoll("5", 10, nullptr), 5);
}
