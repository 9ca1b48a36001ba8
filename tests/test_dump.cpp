// The serializer: compact and pretty text, number forms, references, failures
// and the two sinks. Deep documents are in test_deep; the "%f" form against
// printf in test_json_numbers, integers against printf in test_fast_paths.
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "test_util.h"

using namespace kel_test;

namespace {

constexpr guint32 kSorted = KEL_JSON_DUMP_SORTED;
constexpr guint32 kPretty = KEL_JSON_DUMP_PRETTY | KEL_JSON_DUMP_SORTED;
constexpr guint32 kRoundtrip = KEL_JSON_DUMP_REAL_ROUNDTRIP;

// Every sink refuses `root`: kel_json_sdump returns no text, the string sink
// keeps `partial` after what its GString held, the file sink has written `written`.
void expect_dump_fails(KelJson *root, guint32 flags, const std::string &partial, const std::string &written)
{
    char *out = reinterpret_cast<char *>(1);
    EXPECT_FALSE(kel_json_sdump(root, &out, flags));
    EXPECT_EQ(out, nullptr);
    gboolean ok;
    EXPECT_EQ(sdump_ext(root, flags, 0, &ok, "pre:"), "pre:" + partial);
    EXPECT_FALSE(ok);
    EXPECT_EQ(fdump(root, flags, 0, &ok), written);
    EXPECT_FALSE(ok);
}

}  // namespace

TEST(DumpShape, CompactAndPrettyForms)
{
    const std::tuple<const char *, guint32, std::string> cases[] = {
        {R"({"b": [1, true, null], "a": "x"})", kSorted, "{\"a\":\"x\",\"b\":[1,true,null]}"}, {"{}", 0, "{}"}, {"[]", 0, "[]"},
        {R"({"b": [1, 2], "a": {}})", kPretty, "{\n  \"a\": {\n  },\n  \"b\": [\n    1,\n    2\n  ]\n}"}, {"{}", KEL_JSON_DUMP_PRETTY, "{\n}"},
        {"[]", KEL_JSON_DUMP_PRETTY, "[\n]"}, {"[18446744073709551616]", 0, "[18446744073709551616]"},
        {"{\"k\\\"1\": \"line\\nbreak\\t/\\\\\"}", 0, "{\"k\\\"1\":\"line\\nbreak\\t/\\\\\"}"},
        {"{\"k\\\"1\": [\"v\"]}", KEL_JSON_DUMP_PRETTY, "{\n  \"k\\\"1\": [\n    \"v\"\n  ]\n}"},  // an escaped name
        {"[{\"$ref\": \"#\"}, 3]", KEL_JSON_DUMP_PRETTY, "[\n  {\n    \"$ref\": \"#\"\n  },\n  3\n]"},
        {"[340282366920938463463374607431768211455]", KEL_JSON_DUMP_U128_STR, "[\"340282366920938463463374607431768211455\"]"}};
    for (const auto &[text, flags, expected] : cases)
        EXPECT_EQ(dump(JsonRoot(parse(text)), flags), expected) << text;
}

// The initial indentation shifts the following lines; a negative one is what
// printf's "%*s" makes of it; without pretty mode it changes nothing. The
// text is appended to what the GString holds.
TEST(DumpShape, InitialIndentation)
{
    JsonRoot one(parse("[1]"));
    EXPECT_EQ(sdump_ext(one, KEL_JSON_DUMP_PRETTY, 4, nullptr, "x = "), "x = [\n      1\n    ]");
    EXPECT_EQ(sdump_ext(one, 0, 4), "[1]");
    char *want = g_strdup_printf("[\n%*s1\n%*s]", -2, "", -4, "");
    EXPECT_EQ(sdump_ext(one, KEL_JSON_DUMP_PRETTY, -4), want);
    g_free(want);
}

TEST(DumpNumbers, RoundtripFormIsShortestAndAlwaysAReal)
{
    const std::pair<double, const char *> shortest[] = {
        {0.1, "0.1"}, {1.0, "1.0"}, {-0.0, "-0.0"}, {0.0, "0.0"}, {-2.5, "-2.5"}, {100.0, "100.0"}, {123.456, "123.456"},
        {1e300, "1e+300"}, {5e-324, "5e-324"}, {0.30000000000000004, "0.30000000000000004"},
        {std::numeric_limits<double>::max(), "1.7976931348623157e+308"}};
    for (const auto &[v, text] : shortest)
        EXPECT_EQ(dump(JsonRoot(kel_json_double_new_base(v)), kRoundtrip), text);
    // Other flags change nothing.
    EXPECT_EQ(dump(JsonRoot(kel_json_double_new_base(2.0)), kRoundtrip | kPretty | KEL_JSON_DUMP_U128_STR), "2.0");
}

// Zeros, subnormals, the normal limits, integral values beyond 2^53, short
// mantissas and random bit patterns: each must come back from the library's
// own parser as a double with the same bits (so -0.0 counts).
TEST(DumpNumbers, RoundtripTextLoadsBackBitForBit)
{
    std::vector<double> v = {0.0, -0.0, 5e-324, -5e-324, std::numeric_limits<double>::denorm_min() * 12345,
                             2.2250738585072009e-308, std::numeric_limits<double>::min(), std::numeric_limits<double>::max(),
                             -std::numeric_limits<double>::max(), 9007199254740993.0, 1e23, 0.1, 1.0};
    std::mt19937_64 rng(7);
    while (v.size() < 20000) {
        const std::size_t kind = v.size() % 4;  // short mantissas (round values), subnormals, integral, any
        double d = std::bit_cast<double>(rng() & (kind == 0 ? 0xFFFFFFFF00000000ULL : kind == 1 ? 0x800FFFFFFFFFFFFFULL : ~0ULL));
        if (kind == 2)  // "12345.0", not an integer token
            d = std::trunc(static_cast<double>(static_cast<gint64>(rng() >> (rng() % 64))));
        if (std::isfinite(d))
            v.push_back(d);
    }
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    for (double d : v)
        kel_json_array_push_double_base(arr, d, nullptr);
    ErrorSlot err;
    JsonRoot back(kel_json_loads(dump(arr, kRoundtrip).c_str(), 0, &err));
    ASSERT_NE(back.get(), nullptr) << err.message();
    for (std::size_t i = 0; i < v.size(); i++) {
        KelJson *e = at(back, static_cast<int>(i));
        ASSERT_TRUE(e->type == KEL_JSON_DOUBLE && std::bit_cast<guint64>(kel_json_double_get(e)) == std::bit_cast<guint64>(v[i]))
            << dump(JsonRoot(kel_json_double_new_base(v[i])), kRoundtrip);
    }
}

// JSON has no spelling for NaN and infinities: refused in either form, with
// the text so far and no closing.
TEST(DumpFail, NonFiniteDoubles)
{
    for (double v : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), std::nan("")})
        for (guint32 flags : {0u, kRoundtrip}) {
            JsonRoot arr(parse("[1]"));
            kel_json_array_push_double_base(arr, v, nullptr);
            expect_dump_fails(arr, flags, "[1,", "[1,");
        }
}

// A URI that cannot be escaped: the reference still gets its closing brace;
// the string sink frames the failed text in quotes, the file sink writes
// nothing for it.
TEST(DumpFail, UnescapableUriStillClosesItsReference)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    kel_json_array_push_base(arr, kel_json_jref_new_base("#/\xff", nullptr), nullptr);
    kel_json_array_push_i64_base(arr, 3, nullptr);
    expect_dump_fails(arr, 0, "[{\"$ref\":\"\"}", "[{\"$ref\":}");
    gboolean ok;
    EXPECT_EQ(sdump_ext(arr, KEL_JSON_DUMP_PRETTY, 0, &ok), "[\n  {\n    \"$ref\": \"\"\n  }");
    EXPECT_FALSE(ok);
}

TEST(DumpFail, InvalidMemberNameLeavesPartialTextWithoutClosing)
{
    JsonRoot root(parse("[1]"));
    KelJson *obj = kel_json_array_push_obj_base(root, nullptr);
    ASSERT_NE(kel_json_obj_put_i64_base(obj, "bad\xc3\x28", 2, nullptr), nullptr);
    expect_dump_fails(root, 0, "[1,{\"\"", "[1,{");
}

TEST(DumpFail, StreamWhoseWritesFail)
{
    FILE *full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    setvbuf(full, nullptr, _IONBF, 0);
    // A string goes through the string writer, a number through print.
    for (const char *text : {R"({"b": [1, true, null], "a": "x"})", "\"x\"", "1"})
        for (guint32 flags : {kSorted, kPretty})
            EXPECT_FALSE(kel_json_fdump(JsonRoot(parse(text)), full, flags, 0)) << text;
    fclose(full);
}

// The string sink has a walk and fast paths of its own: the file sink must
// write the same bytes, whatever the flags and indentation. The document holds
// every kind, extreme numbers, escapes, empty and nested containers and
// references, built through the API (uint64 values come only from there).
TEST(DumpSinks, FileMatchesStringAndTextParsesBack)
{
    JsonRoot root(parse(R"({"min": -9223372036854775808, "max": 9223372036854775807, "zero": 0,
        "big": 340282366920938463463374607431768211455, "d": -1234.5678, "esc\"key\n": "tab\there \"q\" \\ \u0001 é",
        "ref": {"$ref": "#/list/0"}, "empty_obj": {},
        "list": [[], {"f": false, "n": null, "r": {"$ref": "#"}, "deeper": [0.1, ""]}]})"));
    kel_json_obj_put_u64_base(root, "umax", G_MAXUINT64, nullptr);
    kel_json_obj_put_u128_base(root, "small", KelUint128{0, 0}, nullptr);
    for (guint32 flags : {kSorted, kPretty, kPretty | KEL_JSON_DUMP_U128_STR, kSorted | KEL_JSON_DUMP_U128_STR | kRoundtrip,
                          kPretty | kRoundtrip})
        for (gint32 indent : {0, 3, -5}) {
            gboolean sok, fok;
            EXPECT_EQ(sdump_ext(root, flags, indent, &sok), fdump(root, flags, indent, &fok)) << flags << " " << indent;
            EXPECT_TRUE(sok && fok);
        }
    EXPECT_EQ(dump(root, kSorted | KEL_JSON_DUMP_U128_STR),
              R"({"big":"340282366920938463463374607431768211455","d":-1234.567800,"empty_obj":{},)"
              R"("esc\"key\n":"tab\there \"q\" \\ \u0001 é","list":[[],{"deeper":[0.100000,""],"f":false,"n":null,"r":{"$ref":"#"}}],)"
              R"("max":9223372036854775807,"min":-9223372036854775808,"ref":{"$ref":"#/list/0"},"small":"0",)"
              R"("umax":18446744073709551615,"zero":0})");
    JsonRoot back(parse(dump(root, kPretty | kRoundtrip).c_str()));
    EXPECT_EQ(dump(back, kSorted | kRoundtrip), dump(root, kSorted | kRoundtrip));
}
