// 128-bit arithmetic and text conversion, and the packed 24/48-bit values.
// The compiler's own 128-bit type serves as the oracle, in the tests only.
#include <cstring>
#include <random>
#include <string>

#include "test_util.h"

namespace {

using u128 = unsigned __int128;

constexpr KelUint128 U(guint64 lo, guint64 hi = 0) { return {lo, hi}; }
constexpr KelUint128 kMax = {G_MAXUINT64, G_MAXUINT64};

u128 native(KelUint128 v) { return (static_cast<u128>(v.hi) << 64) | v.lo; }

::testing::AssertionResult Same(KelUint128 got, KelUint128 want)
{
    if (got.lo == want.lo && got.hi == want.hi)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got {" << got.lo << ", " << got.hi << "} want {"
                                         << want.lo << ", " << want.hi << "}";
}

::testing::AssertionResult Same(KelUint128 got, u128 want)
{
    return Same(got, U(static_cast<guint64>(want), static_cast<guint64>(want >> 64)));
}

std::string to_str(KelUint128 v, int radix)
{
    char buf[130];
    int n = kel_uint128_to_str(v, radix, buf, sizeof buf);
    return n > 0 ? std::string(buf) : "<error " + std::to_string(n) + ">";
}

// Values that stress carries and borrows, plus random ones of all widths.
std::vector<KelUint128> sample_values()
{
    std::vector<KelUint128> v = {U(0),           U(1),          U(G_MAXUINT64),
                                 U(0, 1),        U(1, G_MAXUINT64), kMax,
                                 U(0, 1ull << 63), U(3, 0x8000'0000'0000'0001ull)};
    std::mt19937_64 rng(20240611);
    for (int i = 0; i < 200; i++)
        v.push_back(kel_uint128_rshift(U(rng(), rng()), rng() % 128));
    return v;
}

}  // namespace

TEST(Uint128, EdgeCases)
{
    EXPECT_TRUE(Same(kel_uint128_add(U(G_MAXUINT64), U(1)), U(0, 1)));
    EXPECT_TRUE(Same(kel_uint128_neg(U(1)), kMax));
    EXPECT_TRUE(Same(kel_uint128_neg(U(0)), U(0)));
    EXPECT_TRUE(Same(kel_uint128_sub(U(0), U(1)), kMax));
    EXPECT_TRUE(kel_uint128_lt(U(G_MAXUINT64, 0), U(0, 1)));  // high half decides
    EXPECT_TRUE(kel_uint128_le(U(5, 5), U(5, 5)));
    EXPECT_FALSE(kel_uint128_lt(U(5, 5), U(5, 5)));

    EXPECT_TRUE(Same(kel_uint128_lshift(U(0xabc), 64), U(0, 0xabc)));
    EXPECT_TRUE(Same(kel_uint128_rshift(U(0, 1ull << 63), 127), U(1)));
    EXPECT_TRUE(Same(kel_uint128_lshift(kMax, 128), U(0)));
    EXPECT_TRUE(Same(kel_uint128_rshift(kMax, G_MAXUINT64), U(0)));
    EXPECT_TRUE(Same(kel_uint128_lshift(U(7, 9), 0), U(7, 9)));

    EXPECT_TRUE(Same(kel_uint128_mul(U(0, 1), U(0, 1)), U(0)));  // wraps
    EXPECT_TRUE(Same(kel_uint128_mul(kMax, U(0)), U(0)));
    EXPECT_TRUE(Same(kel_uint128_mul(kMax, kMax), U(1)));
}

TEST(Uint128, ArithmeticMatchesNative)
{
    const auto values = sample_values();
    for (KelUint128 a : values) {
        const u128 na = native(a);
        for (guint64 n : {1u, 13u, 63u, 64u, 65u, 127u}) {
            ASSERT_TRUE(Same(kel_uint128_lshift(a, n), na << n)) << n;
            ASSERT_TRUE(Same(kel_uint128_rshift(a, n), na >> n)) << n;
        }
        for (size_t j = 0; j < values.size(); j += 7) {
            const KelUint128 b = values[j];
            const u128 nb = native(b);
            ASSERT_TRUE(Same(kel_uint128_add(a, b), na + nb));
            ASSERT_TRUE(Same(kel_uint128_sub(a, b), na - nb));
            ASSERT_TRUE(Same(kel_uint128_mul(a, b), na * nb));
            ASSERT_EQ(kel_uint128_lt(a, b), na < nb);
            ASSERT_EQ(kel_uint128_le(a, b), na <= nb);
            if (nb != 0) {
                KelUint128 q, r;
                ASSERT_EQ(kel_uint128_div(a, b, &q, &r), 0);
                ASSERT_TRUE(Same(q, na / nb));
                ASSERT_TRUE(Same(r, na % nb));
            }
        }
    }
}

TEST(Uint128, Divide)
{
    KelUint128 q = U(99, 99), r = U(98, 98);
    EXPECT_EQ(kel_uint128_div(U(7), U(0), &q, &r), -1);
    EXPECT_TRUE(Same(q, U(99, 99)));  // untouched
    EXPECT_TRUE(Same(r, U(98, 98)));
    ASSERT_EQ(kel_uint128_div(kMax, U(1), &q, &r), 0);
    EXPECT_TRUE(Same(q, kMax));
    EXPECT_TRUE(Same(r, U(0)));

    // Results may land in the dividend's storage; either pointer may be NULL.
    KelUint128 v = U(100);
    ASSERT_EQ(kel_uint128_div(v, U(7), &v, nullptr), 0);
    EXPECT_TRUE(Same(v, U(14)));
    ASSERT_EQ(kel_uint128_div(v, U(4), nullptr, &v), 0);
    EXPECT_TRUE(Same(v, U(2)));
}

TEST(Uint128, ToString)
{
    char buf[8];
    EXPECT_EQ(kel_uint128_to_str(U(0), 10, buf, sizeof buf), 2);
    EXPECT_STREQ(buf, "0");
    EXPECT_EQ(kel_uint128_to_str(U(255), 16, buf, sizeof buf), 3);
    EXPECT_STREQ(buf, "FF");
    EXPECT_EQ(to_str(U(35), 36), "Z");
    EXPECT_EQ(to_str(kMax, 10), "340282366920938463463374607431768211455");
    EXPECT_EQ(to_str(kMax, 2), std::string(128, '1'));

    // Exactly digits + 1 fits; one byte less is refused and leaves buf alone.
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 6), 6);
    EXPECT_STREQ(buf, "12345");
    memset(buf, '#', sizeof buf);
    EXPECT_EQ(kel_uint128_to_str(U(12345), 10, buf, 5), KEL_BUFFER_INSUFFICIENT);
    EXPECT_EQ(buf[0], '#');
    char big[129];
    EXPECT_EQ(kel_uint128_to_str(kMax, 2, big, 129), 129);

    EXPECT_EQ(kel_uint128_to_str(U(1), 1, buf, sizeof buf), KEL_RADIX_INVALID);
    EXPECT_EQ(kel_uint128_to_str(U(1), 37, buf, sizeof buf), KEL_RADIX_INVALID);
    EXPECT_EQ(kel_uint128_to_str(U(1), 10, nullptr, 10), KEL_ARG_INVALID);
    EXPECT_EQ(kel_uint128_to_str(U(1), 99, buf, 0), KEL_ARG_INVALID);  // buffer checked first
}

TEST(Uint128, FromString)
{
    struct Case {
        const char *text;
        int status;
        KelUint128 value;
    };
    const Case cases[] = {
        {"  42", 0, U(42)},
        {"\t0x1f", 0, U(31)},
        {"017", 0, U(15)},
        {"019", KEL_ARG_CONVERSION, U(1)},  // 9 is no octal digit
        {"12 ", KEL_ARG_CONVERSION, U(12)},
        {"-1", 0, kMax},
        {"+5", KEL_ARG_CONVERSION, U(0)},
        {"0x", 0, U(0)},
        {"-", 0, U(0)},
        {"   ", 0, U(0)},
        {"0xg", KEL_ARG_CONVERSION, U(0)},
        {"340282366920938463463374607431768211456", 0, U(0)},  // 2^128 wraps
        {"0XFFFFFFFFFFFFFFFFffffffffffffffff", 0, kMax},
    };
    for (const Case &c : cases) {
        KelUint128 out = U(0xdead, 0xbeef);
        EXPECT_EQ(kel_uint128_from_str(c.text, &out), c.status) << c.text;
        EXPECT_TRUE(Same(out, c.value)) << c.text;
    }

    KelUint128 out = U(5, 6);
    EXPECT_EQ(kel_uint128_from_str("", &out), KEL_ARG_CONVERSION);
    EXPECT_EQ(kel_uint128_from_str(nullptr, &out), KEL_ARG_INVALID);
    EXPECT_EQ(kel_uint128_from_str("1", nullptr), KEL_ARG_INVALID);
    EXPECT_TRUE(Same(out, U(5, 6)));

    // Round trip through both radixes the reader detects.
    for (KelUint128 v : sample_values()) {
        for (const std::string &text : {to_str(v, 10), "0x" + to_str(v, 16)}) {
            ASSERT_EQ(kel_uint128_from_str(text.c_str(), &out), 0) << text;
            ASSERT_TRUE(Same(out, v)) << text;
        }
    }
}

TEST(PackedInts, KeepLowBytesInOrder)
{
    KelUint24 a = kel_uint24_init(0x12345678u);
    EXPECT_EQ(a.b0, 0x78);
    EXPECT_EQ(a.b1, 0x56);
    EXPECT_EQ(a.b2, 0x34);
    KelUint48 b = kel_uint48_init(0x1122334455667788ull);
    const guint8 expected[] = {0x88, 0x77, 0x66, 0x55, 0x44, 0x33};
    EXPECT_EQ(memcmp(b.bytes, expected, 6), 0);
}
