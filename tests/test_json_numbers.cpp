// Doubles in and out against the C library: the parser must read every real
// exactly as g_ascii_strtod does (errors included) and the compact dump must
// write exactly what printf's "%f" writes, whatever fast paths they take.
#include <cerrno>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_util.h"

namespace {

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

double from_bits(std::uint64_t bits)
{
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

std::uint64_t to_bits(double d)
{
    std::uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return bits;
}

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
    std::string expected = "[";
    for (std::size_t i = 0; i < values.size(); i++) {
        ASSERT_NE(kel_json_array_push_double_base(array, values[i], nullptr), nullptr);
        if (i > 0)
            expected += ',';
        expected += printf_f(values[i]);
    }
    expected += ']';
    const std::string got = kel_test::dump(array, 0);
    if (got == expected)
        return;
    for (double d : values) {
        JsonRoot one(kel_json_double_new_base(d));
        ASSERT_EQ(kel_test::dump(one, 0), printf_f(d)) << "bits " << std::hex << to_bits(d);
    }
    FAIL() << "array dump differs";
}

// Finite doubles only: infinities and NaN have no JSON spelling to read back.
std::vector<double> random_finite(std::mt19937_64 &rng, std::size_t n)
{
    std::vector<double> out;
    out.reserve(n);
    while (out.size() < n) {
        const double d = from_bits(rng());
        if (std::isfinite(d))
            out.push_back(d);
    }
    return out;
}

TEST(DumpDouble, SpecialValuesMatchPrintf)
{
    std::vector<double> v = {0.0,      -0.0,        1.0,          -1.0,       0.5,
                             1e-7,     -1e-7,       5e-7,         4.9999999e-7, 0.0000005,
                             DBL_MAX,  -DBL_MAX,    DBL_MIN,      -DBL_MIN,   DBL_TRUE_MIN,
                             9007199254740993.0,    1e15 + 0.3,   123456789.123456789,
                             0.1,      0.7,         2.5,          1e22,       1e23};
    for (int e = -330; e <= 308; e++)
        v.push_back(std::pow(10.0, e));
    // Exact halfway cases: k / 2^7 has seven decimals ending in 5, so the
    // sixth decimal is a tie that printf rounds to even.
    for (int k = -2000; k <= 2000; k++)
        v.push_back(k / 128.0);
    for (int k = 0; k < 2000; k++)
        v.push_back(1e6 + k / 128.0);
    // Near the tie, one unit in the last place either way.
    for (int k = 1; k < 2000; k += 2) {
        const double tie = k / 128.0;
        v.push_back(std::nextafter(tie, 0.0));
        v.push_back(std::nextafter(tie, 1e9));
    }
    expect_dumped_like_printf(v);
}

TEST(DumpDouble, RandomValuesMatchPrintf)
{
    std::mt19937_64 rng(20261123);
    // Random bit patterns: every exponent alike, so mostly huge or tiny.
    for (int round = 0; round < 4; round++)
        expect_dumped_like_printf(random_finite(rng, 50000));
    // Magnitudes documents actually hold, with all their fraction bits.
    std::uniform_int_distribution<int> exp(-30, 60);
    for (int round = 0; round < 10; round++) {
        std::vector<double> v;
        for (int i = 0; i < 100000; i++) {
            double d = std::ldexp(1.0 + static_cast<double>(rng() >> 12) / 4503599627370496.0, exp(rng));
            v.push_back((rng() & 1) ? -d : d);
        }
        expect_dumped_like_printf(v);
    }
    // Subnormals.
    std::vector<double> sub;
    for (int i = 0; i < 20000; i++)
        sub.push_back(from_bits(rng() & 0x800FFFFFFFFFFFFFULL));
    expect_dumped_like_printf(sub);
}

TEST(DumpDouble, CommaLocaleWritesThePoint)
{
    // A locale whose decimal separator is a comma; generated with localedef
    // into a private directory when the system has none installed.
    const char *names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"};
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    bool set = false;
    for (const char *name : names)
        if ((set = std::setlocale(LC_NUMERIC, name) != nullptr))
            break;
    char dir[] = "/tmp/kel_locale_XXXXXX";
    const bool made = !set && mkdtemp(dir) != nullptr;
    if (made) {
        const std::string cmd = std::string("localedef -i de_DE -f UTF-8 ") + dir + "/de_DE.UTF-8 >/dev/null 2>&1";
        if (std::system(cmd.c_str()) == 0) {
            g_setenv("LOCPATH", dir, TRUE);
            set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
        }
    }
    const bool comma = set && printf_f(1.25) == "1,250000";
    JsonRoot doc(kel_json_loads("[1.25,-1234.5,1e-7,0.1,{\"d\":2.5}]", 0, nullptr));
    std::string got[3];
    for (guint32 flags : {0u, 1u})
        got[flags] = kel_test::dump(doc, flags ? KEL_JSON_DUMP_REAL_ROUNDTRIP : 0);
    FILE *fh = std::tmpfile();
    EXPECT_TRUE(kel_json_fdump(doc, fh, 0, 0));
    got[2].resize(static_cast<std::size_t>(std::ftell(fh)));
    std::rewind(fh);
    got[2].resize(std::fread(got[2].data(), 1, got[2].size(), fh));
    std::fclose(fh);
    JsonRoot nan(kel_json_double_new_base(NAN));
    char *out = nullptr;
    const gboolean nan_ok = kel_json_sdump(nan, &out, 0);
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (made) {
        g_unsetenv("LOCPATH");
        std::system((std::string("rm -rf ") + dir).c_str());
    }
    EXPECT_EQ(got[0], "[1.250000,-1234.500000,0.000000,0.100000,{\"d\":2.500000}]");
    EXPECT_EQ(got[1], "[1.25,-1234.5,1e-07,0.1,{\"d\":2.5}]");
    EXPECT_EQ(got[2], got[0]);
    EXPECT_FALSE(nan_ok);
    if (!comma)
        GTEST_SKIP() << "no locale with a decimal comma could be installed or made";
}

// ---- Reading -------------------------------------------------------------------

// g_ascii_strtod's verdict on a real's text: the value, or an error when it
// overflows (an underflow keeps the rounded subnormal or zero).
struct Reference {
    double value;
    bool error;
};

Reference reference(const std::string &text)
{
    char *end = nullptr;
    errno = 0;
    const double d = g_ascii_strtod(text.c_str(), &end);
    return {d, (errno != 0 && std::isinf(d)) || *end != '\0'};
}

// A text the lexer takes as a real (it needs a point or an exponent).
std::string as_real(std::string text)
{
    if (text.find_first_of(".eE") == std::string::npos)
        text += "e0";
    return text;
}

// Parses the texts as one array when all convert, else one by one; every
// value must have the bits g_ascii_strtod gives and every refused text the
// "Invalid double" message.
void expect_read_like_strtod(const std::vector<std::string> &texts)
{
    std::string doc = "[";
    std::vector<Reference> refs;
    bool any_error = false;
    for (const std::string &t : texts) {
        refs.push_back(reference(t));
        any_error |= refs.back().error;
        if (doc.size() > 1)
            doc += ',';
        doc += t;
    }
    doc += ']';
    if (!any_error) {
        ErrorSlot err;
        JsonRoot root(kel_json_loads(doc.c_str(), 0, &err));
        ASSERT_NE(root.get(), nullptr) << err.message();
        ASSERT_EQ(kel_json_array_size(root), static_cast<int>(texts.size()));
        for (std::size_t i = 0; i < texts.size(); i++) {
            KelJson *v = kel_json_array_get_base(root, static_cast<int>(i), 0, nullptr);
            ASSERT_EQ(v->type, KEL_JSON_DOUBLE) << texts[i];
            ASSERT_EQ(to_bits(kel_json_double_get(v)), to_bits(refs[i].value)) << texts[i];
        }
        return;
    }
    for (std::size_t i = 0; i < texts.size(); i++) {
        ErrorSlot err;
        JsonRoot root(kel_json_loads(texts[i].c_str(), 0, &err));
        if (refs[i].error) {
            ASSERT_EQ(root.get(), nullptr) << texts[i];
            ASSERT_EQ(err.message().rfind("Invalid double: " + texts[i], 0), 0u)
                << texts[i] << ": " << err.message();
        } else {
            ASSERT_NE(root.get(), nullptr) << texts[i] << ": " << err.message();
            ASSERT_EQ(to_bits(kel_json_double_get(root)), to_bits(refs[i].value)) << texts[i];
        }
    }
}

TEST(ReadDouble, BoundariesReadLikeStrtod)
{
    expect_read_like_strtod({
        "0.0", "-0.0", "0e0", "-0e-5", "0.000e999", "1.0", "-1.5", "1e308", "1.7976931348623157e308",
        "1.7976931348623158e308", "2.2250738585072014e-308", "2.2250738585072011e-308",
        "9007199254740993.0", "9007199254740992.5", "1e22", "1e23", "123456789012345678901234567890.0",
        "0.1", "3.141592653589793238462643383279", "1E+2", "1e-2", "4.9406564584124654e-324",
    });
    // Out of range on either side, and subnormal results: strtod's errno
    // decides, one document each.
    expect_read_like_strtod({"1.7976931348623159e308", "1e309", "-1e400", "1e-400",
                             "2.4703282292062327e-324", "2.4703282292062328e-324",
                             "4.9406564584124654e-324", "1e-310", "-2.2250738585072011e-308",
                             "2.2250738585072014e-308", "0.0e-999999", "1e99999999999999999999"});
    // Just below DBL_MIN, rounding up to it: strtod's underflow, kept.
    expect_read_like_strtod({"2.2250738585072012e-308", "-2.2250738585072012e-308",
                             "2.22507385850720138e-308"});
}

TEST(ReadDouble, RandomTextsReadLikeStrtod)
{
    std::mt19937_64 rng(42);
    const char *formats[] = {"%.17g", "%.16g", "%.15g", "%.6g", "%.3g", "%.20e"};
    char buf[64];
    for (const char *format : formats) {
        std::vector<std::string> texts;
        for (double d : random_finite(rng, 20000)) {
            if (d != 0 && std::fabs(d) < DBL_MIN)
                continue;  // subnormals are covered one by one below
            std::snprintf(buf, sizeof buf, format, d);
            texts.push_back(as_real(buf));
        }
        expect_read_like_strtod(texts);
    }
    // Decimal mantissas of up to 25 digits with any exponent a normal
    // double reaches; ties and near-ties of long mantissas are the cases a
    // short-cut conversion gets wrong.
    std::uniform_int_distribution<int> ndigits(1, 25);
    std::uniform_int_distribution<int> exp10(-300, 290);
    for (int round = 0; round < 10; round++) {
        std::vector<std::string> texts;
        for (int i = 0; i < 20000; i++) {
            std::string t = (rng() & 1) ? "-" : "";
            const int n = ndigits(rng);
            t += static_cast<char>('1' + rng() % 9);
            for (int k = 1; k < n; k++)
                t += static_cast<char>('0' + rng() % 10);
            t += (rng() & 1) ? ".5" : ".0";
            t += "e" + std::to_string(exp10(rng));
            texts.push_back(t);
        }
        expect_read_like_strtod(texts);
    }
    // Subnormal and near-limit texts, each read alone.
    std::vector<std::string> edge;
    for (int i = 0; i < 300; i++) {
        std::snprintf(buf, sizeof buf, "%.17g", from_bits(rng() & 0x000FFFFFFFFFFFFFULL));
        edge.push_back(as_real(buf));
        std::snprintf(buf, sizeof buf, "%.17g", from_bits(0x7FE0000000000000ULL | (rng() >> 12)));
        edge.push_back(as_real(buf));
    }
    expect_read_like_strtod(edge);
}

TEST(ReadDouble, StreamReadsLikeMemory)
{
    const char text[] = "[1.5e3, -0.25, 12345678901234567890.5, 2.2250738585072014e-308]";
    FILE *fh = std::tmpfile();
    ASSERT_NE(fh, nullptr);
    std::fputs(text, fh);
    std::rewind(fh);
    ErrorSlot err;
    JsonRoot from_file(kel_json_loadf(fh, 0, &err));
    std::fclose(fh);
    ASSERT_NE(from_file.get(), nullptr) << err.message();
    JsonRoot from_memory(kel_json_loads(text, 0, nullptr));
    EXPECT_EQ(kel_test::dump(from_file, 0), kel_test::dump(from_memory, 0));
}

}  // namespace
