// 128-bit arithmetic and text conversion (the compiler's own 128-bit type is
// the oracle, in the tests only), packed 24/48-bit values and strict number
// parsing.
#include <cerrno>
#include <random>

#include "test_util.h"

namespace {

using u128 = unsigned __int128;
constexpr KelUint128 U(guint64 lo, guint64 hi = 0) { return {lo, hi}; }
constexpr KelUint128 kMax = {G_MAXUINT64, G_MAXUINT64};
u128 native(KelUint128 v) { return (static_cast<u128>(v.hi) << 64) | v.lo; }

std::string to_str(KelUint128 v, int radix)
{
    char buf[130];
    const int n = kel_uint128_to_str(v, radix, buf, sizeof buf);  // the length with the NUL
    return n > 0 && n == static_cast<int>(std::string(buf).size()) + 1 ? std::string(buf) : "<returned " + std::to_string(n) + ">";
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
            ASSERT_TRUE(native(kel_uint128_lshift(a, n)) == (n < 128 ? na << n : 0) && native(kel_uint128_rshift(a, n)) == (n < 128 ? na >> n : 0)) << n;
        ASSERT_TRUE(native(kel_uint128_neg(a)) == 0 - na && native(kel_uint128_rshift(a, G_MAXUINT64)) == 0);
        for (size_t j = 0; j < values.size(); j += j < 12 ? 1 : 7) {  // every edge value, some random ones
            const KelUint128 b = values[j];
            const u128 nb = native(b);
            ASSERT_TRUE(native(kel_uint128_add(a, b)) == na + nb && native(kel_uint128_sub(a, b)) == na - nb && native(kel_uint128_mul(a, b)) == na * nb);
            ASSERT_TRUE(kel_uint128_lt(a, b) == (na < nb) && kel_uint128_le(a, b) == (na <= nb) && kel_uint128_le(a, a) && !kel_uint128_lt(a, a));
            KelUint128 q = U(99), r = U(98);
            const int rc = kel_uint128_div(a, b, &q, &r);
            ASSERT_TRUE(nb == 0 ? rc == -1 && native(q) == 99 && native(r) == 98 : rc == 0 && native(q) == na / nb && native(r) == na % nb);
        }
    }
    KelUint128 v = U(100);  // results may land in the dividend; either pointer may be NULL
    EXPECT_TRUE(kel_uint128_div(v, U(7), &v, nullptr) == 0 && native(v) == 14 && kel_uint128_div(v, U(4), nullptr, &v) == 0 && native(v) == 2);
}

TEST(Uint128, TextConversions)
{
    for (const auto &[value, radix, text] : {std::tuple<KelUint128, int, std::string>{U(0), 10, "0"}, {U(255), 16, "FF"}, {U(35), 36, "Z"},
                                             {kMax, 10, "340282366920938463463374607431768211455"}, {kMax, 2, std::string(128, '1')}})
        EXPECT_EQ(to_str(value, radix), text);
    // Exactly digits + 1 fits (the NUL is counted); a refusal leaves the buffer
    // alone; the buffer is checked before the radix.
    char buf[8] = "#######";
    for (const auto &[radix, size, status] : {std::tuple{10, 5, KEL_BUFFER_INSUFFICIENT}, {1, 8, KEL_RADIX_INVALID}, {37, 8, KEL_RADIX_INVALID},
                                              {99, 0, KEL_ARG_INVALID}, {10, 6, KelStatus(6)}})
        EXPECT_TRUE(kel_uint128_to_str(U(12345), radix, buf, size) == status && buf[0] == (status > 0 ? '1' : '#')) << radix << "/" << size;

    // What was read is stored also on failure; 9 is no octal digit, 'z' no hex
    // one; 2^128 wraps; "" stores nothing (the sentinel stays).
    const KelUint128 sentinel = U(0xdead, 0xbeef);
    const std::tuple<const char *, int, KelUint128> cases[] = {{"  42", 0, U(42)}, {"\t0x1f", 0, U(31)}, {"017", 0, U(15)},
        {"019", KEL_ARG_CONVERSION, U(1)}, {"12 ", KEL_ARG_CONVERSION, U(12)}, {"-1", 0, kMax}, {"+5", KEL_ARG_CONVERSION, U(0)}, {"0x", 0, U(0)},
        {"-", 0, U(0)}, {"   ", 0, U(0)}, {"0xg", KEL_ARG_CONVERSION, U(0)}, {"", KEL_ARG_CONVERSION, sentinel}, {"0xfz", KEL_ARG_CONVERSION, U(15)},
        {"0XFZ", KEL_ARG_CONVERSION, U(15)}, {"340282366920938463463374607431768211456", 0, U(0)}, {"0XFFFFFFFFFFFFFFFFffffffffffffffff", 0, kMax}};
    for (const auto &[text, status, value] : cases) {
        KelUint128 out = sentinel;
        EXPECT_TRUE(kel_uint128_from_str(text, &out) == status && native(out) == native(value)) << text;
    }
    for (KelUint128 v : sample_values())  // round trip through both radixes the reader detects
        for (const std::string &text : {to_str(v, 10), "0x" + to_str(v, 16)}) {
            KelUint128 out;
            ASSERT_TRUE(kel_uint128_from_str(text.c_str(), &out) == 0 && native(out) == native(v)) << text;
        }
}

TEST(Uint128, PackedIntsKeepLowBytesInOrder)
{
    const KelUint24 a = kel_uint24_init(0x12345678u);
    const KelUint48 b = kel_uint48_init(0x1122334455667788ull);
    EXPECT_TRUE(a.b0 == 0x78 && a.b1 == 0x56 && a.b2 == 0x34);
    EXPECT_EQ(std::vector<guint8>(b.bytes, b.bytes + 6), (std::vector<guint8>{0x88, 0x77, 0x66, 0x55, 0x44, 0x33}));
}

// 'i' kel_strtoll, 'u' kel_strtoull, 'd' kel_strtod; the value, or an error
// pushed on top of an earlier one (in the base domain).
std::string strto(char kind, const char *text, guint32 base = 10)
{
    kel_test::ErrorSlot slot;
    kel_set_error(&slot, kel_error_domain(), KEL_IO_FAIL, "earlier");
    errno = ERANGE;  // a stale errno must not count
    const std::string value = kind == 'i' ? std::to_string(kel_strtoll(text, base, &slot))
                              : kind == 'u' ? std::to_string(kel_strtoull(text, base, &slot)) : std::to_string(kel_strtod(text, &slot));
    const std::string pushed = slot.length() < 2 ? "" : (slot.domain() == kel_error_domain() ? " " : " <other domain> ") + slot.pop();
    return value + pushed + (slot.length() == 1 ? "" : " <chain broken>");
}

TEST(Strto, WholeTextMustConvert)
{
    // "" has nothing to consume; only "." is a decimal point.
    const std::tuple<char, const char *, guint32, std::string> cases[] = {{'i', "  42", 10, "42"}, {'i', "", 10, "0"},
        {'i', "-9223372036854775808", 10, "-9223372036854775808"}, {'i', "0x1F", 16, "31"}, {'i', "017", 0, "15"},
        {'u', "9223372036854775808", 10, "9223372036854775808"}, {'u', "-1", 10, "18446744073709551615"}, {'d', " -2.5e3", 0, "-2500.000000"},
        {'d', "0x1p4", 0, "16.000000"}, {'d', "inf", 0, "inf"}, {'i', "42 ", 10, "0 -4 Could not convert \"42 \" to int64_t"},
        {'i', "0x1F", 10, "0 -4 Could not convert \"0x1F\" to int64_t"}, {'i', "  ", 10, "0 -4 Could not convert \"  \" to int64_t"},
        {'u', "7x", 10, "0 -4 Could not convert \"7x\" to uint64_t"},
        {'i', "9223372036854775808", 10, "0 -4 Could not convert \"9223372036854775808\" to int64_t; out of range"},
        {'u', "18446744073709551616", 10, "0 -4 Could not convert \"18446744073709551616\" to uint64_t; out of range"},
        {'i', "12", 1, "0 -2 Base value (1) is invalid for string conversion"}, {'u', "12", 37, "0 -2 Base value (37) is invalid for string conversion"},
        {'d', "1e999", 0, "0.000000 -4 Could not convert \"1e999\" to double; out of range"},
        {'d', "1.5x", 0, "0.000000 -4 Could not convert \"1.5x\" to double"}, {'d', "1,5", 0, "0.000000 -4 Could not convert \"1,5\" to double"}};
    for (const auto &[kind, text, base, expected] : cases)
        EXPECT_EQ(strto(kind, text, base), expected) << kind << " " << text;
}
