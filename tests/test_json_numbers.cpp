// Doubles in and out against the C library: the parser must read every real
// exactly as g_ascii_strtod does (errors included) and the compact dump must
// write exactly what printf's "%f" writes, whatever fast paths they take.
#include <bit>
#include <cerrno>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "test_util.h"

namespace {

using kel_test::JsonRoot;

guint64 bits(double d) { return std::bit_cast<guint64>(d); }
double real(guint64 b) { return std::bit_cast<double>(b); }

std::string printf_f(double d)
{
    char buf[400];
    std::snprintf(buf, sizeof buf, "%f", d);
    return buf;
}

// Dumps the doubles as one array and compares with the "%f" texts joined
// the same way; on a mismatch names the first value that differs.
void expect_dumped_like_printf(const std::vector<double> &values)
{
    JsonRoot array(kel_json_array_new_base(0, FALSE));
    std::string expected;
    for (double d : values) {
        ASSERT_NE(kel_json_array_push_double_base(array, d, nullptr), nullptr);
        expected += (expected.empty() ? "[" : ",") + printf_f(d);
    }
    if (kel_test::dump(array, 0) == expected + "]")
        return;
    for (double d : values)
        ASSERT_EQ(kel_test::dump(JsonRoot(kel_json_double_new_base(d)), 0), printf_f(d)) << "bits " << std::hex << bits(d);
    FAIL() << "array dump differs";
}

// Finite doubles only: infinities and NaN have no JSON spelling to read back.
std::vector<double> random_finite(std::mt19937_64 &rng, std::size_t n)
{
    std::vector<double> out;
    while (out.size() < n)
        if (const double d = real(rng()); std::isfinite(d))
            out.push_back(d);
    return out;
}

TEST(DumpDouble, MatchesPrintf)
{
    std::vector<double> v = {0.0, -0.0, 1.0, -1.0, 0.5, 1e-7, -1e-7, 5e-7, 4.9999999e-7, 0.0000005, DBL_MAX, -DBL_MAX, DBL_MIN,
                             -DBL_MIN, DBL_TRUE_MIN, 9007199254740993.0, 1e15 + 0.3, 123456789.123456789, 0.1, 0.7, 2.5, 1e22, 1e23};
    for (int e = -330; e <= 308; e++)
        v.push_back(std::pow(10.0, e));
    // Exact halfway cases: k / 2^7 has seven decimals ending in 5, so the
    // sixth decimal is a tie that printf rounds to even; also one unit in the
    // last place either way, and the ties above a million.
    for (int k = -2000; k <= 2000; k++)
        v.insert(v.end(), {k / 128.0, std::nextafter(k / 128.0, 0.0), std::nextafter(k / 128.0, 1e9), 1e6 + k / 128.0});
    expect_dumped_like_printf(v);
    std::mt19937_64 rng(20261123);
    // Random bit patterns: every exponent alike, so mostly huge or tiny.
    expect_dumped_like_printf(random_finite(rng, 200000));
    // Magnitudes documents actually hold, with all their fraction bits.
    std::uniform_int_distribution<int> exp(-30, 60);
    v.clear();
    for (int i = 0; i < 1000000; i++) {
        const double d = std::ldexp(1.0 + static_cast<double>(rng() >> 12) / 4503599627370496.0, exp(rng));
        v.push_back((rng() & 1) ? -d : d);
    }
    expect_dumped_like_printf(v);
}

// A program in a locale whose decimal separator is a comma still gets JSON
// numbers, in both forms and from both sinks. The locale is generated with
// localedef into a private directory when the system has none installed.
TEST(DumpDouble, CommaLocaleWritesThePoint)
{
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    bool set = false;
    for (const char *name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"})
        set = set || std::setlocale(LC_NUMERIC, name) != nullptr;
    char dir[] = "/tmp/kel_locale_XXXXXX";
    const bool made = !set && mkdtemp(dir) != nullptr;
    if (made && std::system(("localedef -i de_DE -f UTF-8 " + std::string(dir) + "/de_DE.UTF-8 >/dev/null 2>&1").c_str()) == 0) {
        g_setenv("LOCPATH", dir, TRUE);
        set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
    }
    const bool comma = set && printf_f(1.25) == "1,250000";
    JsonRoot doc(kel_json_loads("[1.25,-1234.5,1e-7,0.1,{\"d\":2.5}]", 0, nullptr));
    const std::string fixed = "[1.250000,-1234.500000,0.000000,0.100000,{\"d\":2.500000}]";
    EXPECT_EQ(kel_test::dump(doc, 0), fixed);
    EXPECT_EQ(kel_test::dump(doc, KEL_JSON_DUMP_REAL_ROUNDTRIP), "[1.25,-1234.5,1e-07,0.1,{\"d\":2.5}]");
    EXPECT_EQ(kel_test::fdump(doc, 0), fixed);  // the stream sink goes through printf
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (made) {
        g_unsetenv("LOCPATH");
        std::system(("rm -rf " + std::string(dir)).c_str());
    }
    if (!comma)
        GTEST_SKIP() << "no locale with a decimal comma could be installed or made";
}

// ---- Reading -------------------------------------------------------------------

// Every text must read as g_ascii_strtod reads it: the same bits, or where
// it overflows (an underflow keeps the rounded subnormal or zero) the
// "Invalid double" message. Each is read alone (ended by the end of the
// input), and those that convert together as one array (ended by ',' or ']').
void expect_read_like_strtod(const std::vector<std::string> &texts)
{
    JsonRoot converted(kel_json_array_new_base(0, FALSE));
    std::string doc = "[";
    for (const std::string &t : texts) {
        errno = 0;
        const double want = g_ascii_strtod(t.c_str(), nullptr);
        kel_test::ErrorSlot err;
        JsonRoot alone(kel_json_loads(t.c_str(), 0, &err));
        if (errno != 0 && std::isinf(want)) {
            ASSERT_TRUE(!alone.get() && err.message().starts_with("Invalid double: " + t)) << t << ": " << err.message();
            continue;
        }
        ASSERT_TRUE(alone.get() && alone->type == KEL_JSON_DOUBLE && bits(kel_json_double_get(alone)) == bits(want))
            << t << ": " << err.message();
        kel_json_array_push_double_base(converted, want, nullptr);
        doc += (doc.size() > 1 ? "," : "") + t;
    }
    kel_test::ErrorSlot err;
    JsonRoot all(kel_json_loads((doc + "]").c_str(), 0, &err));
    ASSERT_NE(all.get(), nullptr) << err.message();
    // The shortest exact form shows every bit and tells a double from an integer.
    EXPECT_TRUE(kel_test::dump(all, KEL_JSON_DUMP_REAL_ROUNDTRIP) == kel_test::dump(converted, KEL_JSON_DUMP_REAL_ROUNDTRIP))
        << "the texts read differently inside an array";
}

TEST(ReadDouble, BoundariesReadLikeStrtod)
{
    // In range; then out of range on either side and subnormal results,
    // where strtod's errno decides; then just below DBL_MIN, rounding up to
    // it: strtod's underflow, kept.
    expect_read_like_strtod({"0.0", "-0.0", "0e0", "-0e-5", "0.000e999", "1.0", "-1.5", "1e308", "1.7976931348623157e308",
                             "1.7976931348623158e308", "2.2250738585072014e-308", "2.2250738585072011e-308", "9007199254740993.0",
                             "9007199254740992.5", "1e22", "1e23", "123456789012345678901234567890.0", "0.1", "1E+2", "1e-2",
                             "3.141592653589793238462643383279", "4.9406564584124654e-324", "1.7976931348623159e308", "1e309",
                             "-1e400", "1e-400", "2.4703282292062327e-324", "2.4703282292062328e-324", "1e-310",
                             "-2.2250738585072011e-308", "0.0e-999999", "1e99999999999999999999", "2.2250738585072012e-308",
                             "-2.2250738585072012e-308", "2.22507385850720138e-308"});
}

TEST(ReadDouble, RandomTextsReadLikeStrtod)
{
    std::mt19937_64 rng(42);
    // printf's text of `d`, given an exponent when it has no point (the lexer takes that as an integer).
    auto text = [](const char *format, double d) {
        char buf[64];
        std::snprintf(buf, sizeof buf, format, d);
        return std::string(buf) + (std::strpbrk(buf, ".eE") ? "" : "e0");
    };
    std::vector<std::string> texts;
    for (const char *format : {"%.17g", "%.16g", "%.15g", "%.6g", "%.3g", "%.20e"})
        for (double d : random_finite(rng, 20000))
            if (d == 0 || std::fabs(d) >= DBL_MIN)  // subnormals are covered below
                texts.push_back(text(format, d));
    // Decimal mantissas of up to 25 digits with any exponent a normal
    // double reaches; ties and near-ties of long mantissas are the cases a
    // short-cut conversion gets wrong.
    std::uniform_int_distribution<int> ndigits(1, 25), exp10(-300, 290);
    for (int i = 0; i < 200000; i++) {
        std::string t = std::string((rng() & 1) ? "-" : "") + static_cast<char>('1' + rng() % 9);
        for (int k = ndigits(rng); k > 1; k--)
            t += static_cast<char>('0' + rng() % 10);
        texts.push_back(t + ((rng() & 1) ? ".5" : ".0") + "e" + std::to_string(exp10(rng)));
    }
    // Subnormals and the top binade.
    for (int i = 0; i < 300; i++)
        texts.insert(texts.end(), {text("%.17g", real(rng() & 0x000FFFFFFFFFFFFFULL)), text("%.17g", real(0x7FE0000000000000ULL | (rng() >> 12)))});
    expect_read_like_strtod(texts);
}

}  // namespace
