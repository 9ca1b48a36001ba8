// The serializer: compact and pretty text, number forms, references,
// failures and the two sinks (deep documents are covered by test_deep).
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "test_util.h"

using kel_test::dump;
using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

constexpr guint32 kSorted = KEL_JSON_DUMP_SORTED;
constexpr guint32 kPretty = KEL_JSON_DUMP_PRETTY | KEL_JSON_DUMP_SORTED;
constexpr guint32 kRoundtrip = KEL_JSON_DUMP_REAL_ROUNDTRIP;

// kel_json_sdump_ext into a GString that already holds `prefix`.
std::string sdump_ext(KelJson *root, guint32 flags, gint32 indent, gboolean *ok,
                      const std::string &prefix = "")
{
    GString *out = g_string_new(prefix.c_str());
    *ok = kel_json_sdump_ext(root, out, flags, indent);
    std::string s(out->str, out->len);
    g_string_free(out, TRUE);
    return s;
}

std::string sdump_ext(KelJson *root, guint32 flags, gint32 indent)
{
    gboolean ok;
    std::string s = sdump_ext(root, flags, indent, &ok);
    EXPECT_TRUE(ok);
    return s;
}

// kel_json_fdump into a temporary file, read back.
std::string fdump(KelJson *root, guint32 flags, gint32 indent, gboolean *ok)
{
    FILE *f = tmpfile();
    EXPECT_NE(f, nullptr);
    if (f == nullptr)
        return "";
    *ok = kel_json_fdump(root, f, flags, indent);
    std::string s;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    std::fclose(f);
    return s;
}

std::string printf_text(const char *fmt, double v)
{
    char *s = g_strdup_printf(fmt, v);
    std::string r(s);
    g_free(s);
    return r;
}

// Values owned by the test, dumped alone.
std::string dump_double(double v, guint32 flags = kSorted)
{
    JsonRoot d(kel_json_double_new_base(v));
    return dump(d, flags);
}

// {"b": [1, true, null], "a": "x"}
KelJson *small_doc()
{
    KelJson *root = kel_json_obj_new_base(FALSE);
    KelJson *b = kel_json_obj_put_array_base(root, "b", nullptr);
    kel_json_array_push_i64_base(b, 1, nullptr);
    kel_json_array_push_bool_base(b, TRUE, nullptr);
    kel_json_array_push_base(b, kel_json_null_new_base(), nullptr);
    kel_json_obj_put_str_base(root, "a", "x", nullptr);
    return root;
}

// A document with every kind, extreme numbers, escapes, empty and nested
// containers and references, to compare the two sinks on.
KelJson *mixed_doc()
{
    KelJson *root = kel_json_obj_new_base(FALSE);
    kel_json_obj_put_i64_base(root, "min", std::numeric_limits<gint64>::min(), nullptr);
    kel_json_obj_put_i64_base(root, "max", std::numeric_limits<gint64>::max(), nullptr);
    kel_json_obj_put_i64_base(root, "zero", 0, nullptr);
    kel_json_obj_put_u64_base(root, "umax", std::numeric_limits<guint64>::max(), nullptr);
    kel_json_obj_put_u128_base(root, "big", KelUint128{~0ULL, ~0ULL}, nullptr);
    kel_json_obj_put_u128_base(root, "small", KelUint128{5, 0}, nullptr);
    kel_json_obj_put_double_base(root, "d", -1234.5678, nullptr);
    kel_json_obj_put_str_base(root, "esc\"key\n", "tab\there \"q\" \\ \x01 \xc3\xa9", nullptr);
    kel_json_obj_put_jref_base(root, "ref", "#/list/0", nullptr);
    kel_json_obj_put_obj_base(root, "empty_obj", nullptr);
    KelJson *list = kel_json_obj_put_array_base(root, "list", nullptr);
    kel_json_array_push_array_base(list, nullptr);
    KelJson *inner = kel_json_array_push_obj_base(list, nullptr);
    kel_json_obj_put_bool_base(inner, "f", FALSE, nullptr);
    kel_json_obj_put_null_base(inner, "n", nullptr);
    kel_json_obj_put_jref_base(inner, "r", "#", nullptr);
    KelJson *deeper = kel_json_obj_put_array_base(inner, "deeper", nullptr);
    kel_json_array_push_double_base(deeper, 0.1, nullptr);
    kel_json_array_push_str_base(deeper, "", nullptr);
    return root;
}

}  // namespace

// ---- Text shape ----------------------------------------------------------------------

TEST(DumpShape, CompactSorted)
{
    JsonRoot root(small_doc());
    EXPECT_EQ(dump(root, kSorted), "{\"a\":\"x\",\"b\":[1,true,null]}");
}

TEST(DumpShape, PrettyEightLines)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_obj_base(root, "a", nullptr);
    KelJson *b = kel_json_obj_put_array_base(root, "b", nullptr);
    kel_json_array_push_i64_base(b, 1, nullptr);
    kel_json_array_push_i64_base(b, 2, nullptr);
    EXPECT_EQ(dump(root, kPretty),
              "{\n"
              "  \"a\": {\n"
              "  },\n"
              "  \"b\": [\n"
              "    1,\n"
              "    2\n"
              "  ]\n"
              "}");
}

TEST(DumpShape, EmptyContainers)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(dump(obj, 0), "{}");
    EXPECT_EQ(dump(arr, 0), "[]");
    EXPECT_EQ(dump(obj, KEL_JSON_DUMP_PRETTY), "{\n}");
    EXPECT_EQ(dump(arr, KEL_JSON_DUMP_PRETTY), "[\n]");
}

TEST(DumpShape, InitialIndentationIndentsFollowingLines)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    kel_json_array_push_i64_base(arr, 1, nullptr);
    EXPECT_EQ(sdump_ext(arr, KEL_JSON_DUMP_PRETTY, 4), "[\n      1\n    ]");
    // Without pretty mode the indentation changes nothing.
    EXPECT_EQ(sdump_ext(arr, 0, 4), "[1]");
    // A negative indentation is what printf's "%*s" makes of it (left
    // justification in a field of that width: still blanks).
    char *want = g_strdup_printf("[\n%*s1\n%*s]", -2, "", -4, "");
    EXPECT_EQ(sdump_ext(arr, KEL_JSON_DUMP_PRETTY, -4), want);
    g_free(want);
}

TEST(DumpShape, AppendsToExistingText)
{
    JsonRoot root(small_doc());
    gboolean ok;
    EXPECT_EQ(sdump_ext(root, kSorted, 0, &ok, "x = "), "x = {\"a\":\"x\",\"b\":[1,true,null]}");
    EXPECT_TRUE(ok);
}

TEST(DumpShape, StringsAndKeysAreEscaped)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_str_base(root, "k\"1", "line\nbreak\t/\\", nullptr);
    EXPECT_EQ(dump(root), "{\"k\\\"1\":\"line\\nbreak\\t/\\\\\"}");
}

TEST(DumpShape, UnsortedHoldsEveryMemberOnce)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    for (int i = 0; i < 20; i++)
        kel_json_obj_put_i64_base(root, ("k" + std::to_string(i)).c_str(), i, nullptr);
    const std::string s = dump(root, 0);
    EXPECT_EQ(s.front(), '{');
    EXPECT_EQ(s.back(), '}');
    for (int i = 0; i < 20; i++)
        EXPECT_NE(s.find("\"k" + std::to_string(i) + "\":" + std::to_string(i)), std::string::npos);
    EXPECT_EQ(std::count(s.begin(), s.end(), ','), 19);
}


// The dump walks objects in place; the order must stay that of the key lists
// (kel_json_obj_keys unsorted, kel_json_alpha_keys sorted), removals included.
TEST(DumpShape, MemberOrderIsThatOfTheKeyLists)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    std::mt19937 rng(7);
    for (int i = 0; i < 500; i++)
        kel_json_obj_put_i64_base(root, ("m" + std::to_string(rng() % 100000)).c_str(), i, nullptr);
    for (int i = 0; i < 100; i++)
        kel_json_obj_remove(root, ("m" + std::to_string(rng() % 100000)).c_str());
    for (KelStrArray *(*list)(KelJson *) : {kel_json_obj_keys, kel_json_alpha_keys}) {
        KelStrArray *keys = list(root);
        std::string expected = "{";
        for (guint i = 0; i < keys->len; i++) {
            const char *key = g_array_index(keys, char *, i);
            if (i > 0)
                expected += ',';
            expected += std::string("\"") + key + "\":" +
                        std::to_string(kel_json_i64_get(kel_json_obj_get_base(root, key, 0, nullptr)));
        }
        expected += '}';
        kel_str_array_free(keys, TRUE);
        EXPECT_EQ(dump(root, list == kel_json_obj_keys ? 0 : KEL_JSON_DUMP_SORTED), expected);
    }
}
// ---- Numbers ---------------------------------------------------------------------------

TEST(DumpNumbers, Integers)
{
    JsonRoot m1(kel_json_i64_new_base(-1));
    EXPECT_EQ(dump(m1), "-1");
    JsonRoot lo(kel_json_i64_new_base(std::numeric_limits<gint64>::min()));
    EXPECT_EQ(dump(lo), "-9223372036854775808");
    JsonRoot umax(kel_json_u64_new_base(std::numeric_limits<guint64>::max()));
    EXPECT_EQ(dump(umax), "18446744073709551615");
    JsonRoot zero(kel_json_u64_new_base(0));
    EXPECT_EQ(dump(zero), "0");
}

TEST(DumpNumbers, Uint128PlainAndQuoted)
{
    JsonRoot two64(kel_json_u128_new_base(KelUint128{0, 1}));
    EXPECT_EQ(dump(two64, 0), "18446744073709551616");
    EXPECT_EQ(dump(two64, KEL_JSON_DUMP_U128_STR), "\"18446744073709551616\"");
    JsonRoot max(kel_json_u128_new_base(KelUint128{~0ULL, ~0ULL}));
    EXPECT_EQ(dump(max, 0), "340282366920938463463374607431768211455");
    EXPECT_EQ(dump(max, 0).size(), 39u);
    JsonRoot zero(kel_json_u128_new_base(KelUint128{0, 0}));
    EXPECT_EQ(dump(zero, KEL_JSON_DUMP_U128_STR), "\"0\"");
}

TEST(DumpNumbers, DoublesInFixedNotation)
{
    EXPECT_EQ(dump_double(0.1), "0.100000");
    EXPECT_EQ(dump_double(0.5), "0.500000");
    EXPECT_EQ(dump_double(1e-7), "0.000000");
    EXPECT_EQ(dump_double(1e20), "100000000000000000000.000000");
    EXPECT_EQ(dump_double(-0.0), "-0.000000");
    // Not JSON, but what printf writes.
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(dump_double(inf), printf_text("%f", inf));
    EXPECT_EQ(dump_double(-inf), printf_text("%f", -inf));
    EXPECT_EQ(dump_double(nan), printf_text("%f", nan));
    EXPECT_EQ(dump_double(1e300), printf_text("%f", 1e300));
}

TEST(DumpNumbers, RoundtripShortestForm)
{
    EXPECT_EQ(dump_double(0.1, kRoundtrip), "0.1");
    EXPECT_EQ(dump_double(1.0, kRoundtrip), "1.0");
    EXPECT_EQ(dump_double(-0.0, kRoundtrip), "-0.0");
    EXPECT_EQ(dump_double(0.0, kRoundtrip), "0.0");
    EXPECT_EQ(dump_double(-2.5, kRoundtrip), "-2.5");
    EXPECT_EQ(dump_double(100.0, kRoundtrip), "100.0");
    EXPECT_EQ(dump_double(123.456, kRoundtrip), "123.456");
    EXPECT_EQ(dump_double(1e300, kRoundtrip), "1e+300");
    EXPECT_EQ(dump_double(5e-324, kRoundtrip), "5e-324");
    EXPECT_EQ(dump_double(0.30000000000000004, kRoundtrip), "0.30000000000000004");
    EXPECT_EQ(dump_double(std::numeric_limits<double>::max(), kRoundtrip), "1.7976931348623157e+308");
    // Other flags leave doubles alone.
    EXPECT_EQ(dump_double(2.0, kRoundtrip | kPretty | KEL_JSON_DUMP_U128_STR), "2.0");
}

TEST(DumpNumbers, RoundtripReadsBackAsTheSameDouble)
{
    std::mt19937_64 rng(99);
    for (int i = 0; i < 20000; i++) {
        guint64 bits = rng();
        if (i % 4 == 0)
            bits &= 0xFFFFFFFF00000000ULL;  // short mantissas: integral and round values
        double v;
        std::memcpy(&v, &bits, sizeof v);
        if (i % 8 == 1)
            v = std::trunc(static_cast<double>(static_cast<gint64>(rng() >> (rng() % 64))));
        if (!std::isfinite(v))
            continue;
        const std::string s = dump_double(v, kRoundtrip);
        ASSERT_TRUE(s.find('.') != std::string::npos || s.find('e') != std::string::npos) << s;
        double back;
        // Reads back exactly; compare bits so that -0.0 counts.
        back = g_ascii_strtod(s.c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&back, &v, sizeof v), 0) << s;
        // And as a double token: the parser makes an int64 of "1", not of "1.0".
        if (i % 50 == 0) {
            JsonRoot parsed(kel_json_loads(s.c_str(), 0, nullptr));
            ASSERT_NE(parsed.get(), nullptr) << s;
            EXPECT_EQ(parsed->type, KEL_JSON_DOUBLE) << s;
        }
    }
}

TEST(DumpNumbers, RoundtripRefusesNanAndInfinities)
{
    const double bad[] = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                          std::numeric_limits<double>::quiet_NaN()};
    for (double v : bad) {
        JsonRoot arr(kel_json_array_new_base(0, FALSE));
        kel_json_array_push_i64_base(arr, 1, nullptr);
        kel_json_array_push_double_base(arr, v, nullptr);
        char *out = reinterpret_cast<char *>(1);
        EXPECT_FALSE(kel_json_sdump(arr, &out, kRoundtrip));
        EXPECT_EQ(out, nullptr);
        gboolean ok;
        EXPECT_EQ(sdump_ext(arr, kRoundtrip, 0, &ok), "[1,");
        EXPECT_FALSE(ok);
    }
}

// ---- References ------------------------------------------------------------------------

TEST(DumpRef, CompactAndPretty)
{
    JsonRoot ref(kel_json_jref_new_base("#/a/0", nullptr));
    EXPECT_EQ(dump(ref, 0), "{\"$ref\":\"#/a/0\"}");
    EXPECT_EQ(dump(ref, KEL_JSON_DUMP_PRETTY), "{\n  \"$ref\": \"#/a/0\"\n}");

    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    kel_json_array_push_base(arr, kel_json_jref_new_base("#", nullptr), nullptr);
    kel_json_array_push_i64_base(arr, 3, nullptr);
    EXPECT_EQ(dump(arr, KEL_JSON_DUMP_PRETTY), "[\n  {\n    \"$ref\": \"#\"\n  },\n  3\n]");
}

TEST(DumpRef, InvalidUriStillGetsItsClosingBrace)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    kel_json_array_push_base(arr, kel_json_jref_new_base("#/\xff", nullptr), nullptr);
    kel_json_array_push_i64_base(arr, 3, nullptr);
    gboolean ok;
    // The string sink frames even a failed escape in quotes.
    EXPECT_EQ(sdump_ext(arr, 0, 0, &ok), "[{\"$ref\":\"\"}");
    EXPECT_FALSE(ok);
    EXPECT_EQ(sdump_ext(arr, KEL_JSON_DUMP_PRETTY, 0, &ok), "[\n  {\n    \"$ref\": \"\"\n  }");
    EXPECT_FALSE(ok);
    // The file sink writes nothing for the failed string.
    EXPECT_EQ(fdump(arr, 0, 0, &ok), "[{\"$ref\":}");
    EXPECT_FALSE(ok);
    char *out = reinterpret_cast<char *>(1);
    EXPECT_FALSE(kel_json_sdump(arr, &out, 0));
    EXPECT_EQ(out, nullptr);
}

// ---- Failures ---------------------------------------------------------------------------

TEST(DumpFail, InvalidMemberNameLeavesPartialTextWithoutClosing)
{
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    kel_json_array_push_i64_base(root, 1, nullptr);
    KelJson *obj = kel_json_array_push_obj_base(root, nullptr);
    ASSERT_TRUE(kel_json_obj_put_i64_base(obj, "bad\xc3\x28", 2, nullptr) != nullptr);

    char *out = reinterpret_cast<char *>(1);
    EXPECT_FALSE(kel_json_sdump(root, &out, 0));
    EXPECT_EQ(out, nullptr);

    gboolean ok;
    EXPECT_EQ(sdump_ext(root, 0, 0, &ok, "pre:"), "pre:[1,{\"\"");
    EXPECT_FALSE(ok);
    EXPECT_EQ(fdump(root, 0, 0, &ok), "[1,{");
    EXPECT_FALSE(ok);
}

TEST(DumpFail, NullArgumentsWarnAndWriteNothing)
{
    JsonRoot root(kel_json_null_new_base());
    GString *s = g_string_new("keep");
    char *out = reinterpret_cast<char *>(1);
    LogCapture log;

    EXPECT_FALSE(kel_json_sdump_ext(nullptr, s, 0, 0));
    EXPECT_EQ(log.last(), "kel_json_sdump_ext: assertion 'root' failed");
    EXPECT_FALSE(kel_json_sdump_ext(root, nullptr, 0, 0));
    EXPECT_EQ(log.last(), "kel_json_sdump_ext: assertion 'out' failed");
    EXPECT_STREQ(s->str, "keep");

    EXPECT_FALSE(kel_json_sdump(nullptr, &out, 0));
    EXPECT_EQ(log.last(), "kel_json_sdump: assertion 'root' failed");
    EXPECT_EQ(out, reinterpret_cast<char *>(1));
    EXPECT_FALSE(kel_json_sdump(root, nullptr, 0));
    EXPECT_EQ(log.last(), "kel_json_sdump: assertion 'out' failed");

    EXPECT_FALSE(kel_json_fdump(nullptr, stdout, 0, 0));
    EXPECT_EQ(log.last(), "kel_json_fdump: assertion 'root' failed");
    EXPECT_FALSE(kel_json_fdump(root, nullptr, 0, 0));
    EXPECT_EQ(log.last(), "kel_json_fdump: assertion 'out' failed");
    EXPECT_EQ(log.messages().size(), 6u);
    g_string_free(s, TRUE);
}

TEST(DumpFail, StreamWhoseWritesFail)
{
    JsonRoot root(small_doc());
    FILE *full = std::fopen("/dev/full", "w");
    if (full != nullptr) {
        std::setvbuf(full, nullptr, _IONBF, 0);
        EXPECT_FALSE(kel_json_fdump(root, full, kSorted, 0));
        EXPECT_FALSE(kel_json_fdump(root, full, kPretty, 0));
        // Scalars fail through print, strings through write_str.
        JsonRoot s(kel_json_str_new_base("x", nullptr));
        EXPECT_FALSE(kel_json_fdump(s, full, 0, 0));
        JsonRoot n(kel_json_u128_new_base(KelUint128{1, 0}));
        EXPECT_FALSE(kel_json_fdump(n, full, 0, 0));
        std::fclose(full);
    }
    // A stream opened for reading only.
    char path[] = "/tmp/kel_dump_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    FILE *ro = std::fopen(path, "r");
    ASSERT_NE(ro, nullptr);
    EXPECT_FALSE(kel_json_fdump(root, ro, kSorted, 0));
    std::fclose(ro);
    std::remove(path);
}

// ---- The two sinks -------------------------------------------------------------------------

TEST(DumpSinks, FileMatchesStringForEveryFlagAndIndentation)
{
    JsonRoot root(mixed_doc());
    const guint32 flag_sets[] = {kSorted,
                                 kPretty,
                                 kPretty | KEL_JSON_DUMP_U128_STR,
                                 kSorted | KEL_JSON_DUMP_U128_STR | kRoundtrip,
                                 kPretty | kRoundtrip};
    for (guint32 flags : flag_sets) {
        for (gint32 indent : {0, 3, -5}) {
            gboolean sok, fok;
            const std::string s = sdump_ext(root, flags, indent, &sok);
            const std::string f = fdump(root, flags, indent, &fok);
            EXPECT_TRUE(sok);
            EXPECT_TRUE(fok);
            EXPECT_EQ(s, f) << "flags " << flags << " indent " << indent;
        }
    }
    // Spot checks of the sorted compact text.
    const std::string s = dump(root, kSorted | KEL_JSON_DUMP_U128_STR);
    EXPECT_NE(s.find("\"big\":\"340282366920938463463374607431768211455\""), std::string::npos) << s;
    EXPECT_NE(s.find("\"min\":-9223372036854775808"), std::string::npos) << s;
    EXPECT_NE(s.find("\"d\":-1234.567800"), std::string::npos) << s;
    EXPECT_NE(s.find("\"esc\\\"key\\n\":\"tab\\there \\\"q\\\" \\\\ \\u0001 \xc3\xa9\""),
              std::string::npos) << s;
    EXPECT_NE(s.find("\"ref\":{\"$ref\":\"#/list/0\"}"), std::string::npos) << s;
    EXPECT_NE(s.find("\"list\":[[],{\"deeper\":[0.100000,\"\"],\"f\":false,\"n\":null,\"r\":{\"$ref\":\"#\"}}]"),
              std::string::npos) << s;
}

TEST(DumpSinks, ParsedBackEqualsTheDocument)
{
    JsonRoot root(mixed_doc());
    const std::string s = dump(root, kPretty | kRoundtrip);
    JsonRoot back(kel_json_loads(s.c_str(), 0, nullptr));
    ASSERT_NE(back.get(), nullptr) << s;
    EXPECT_EQ(dump(back, kSorted | kRoundtrip), dump(root, kSorted | kRoundtrip));
}
