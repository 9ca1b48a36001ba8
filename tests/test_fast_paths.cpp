// The parser's and serializer's fast paths against the general ones.
//
// kel_json_loads reads whole tokens in place (white space, punctuation, plain
// strings, short numbers, words); kel_json_loadf reads the same bytes one at
// a time through the general lexer. The string sink of the dump writes plain
// member names and integers itself; the stream sink goes through printf and
// the escaper. Each pair must agree byte for byte, errors and positions
// included.
#include <cinttypes>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "parse_check.h"

namespace {

using kel_parse_test::outcome;
using kel_parse_test::Source;
using kel_test::JsonRoot;

TEST(FastLexer, TokensInPlaceMatchByteWiseReading)
{
    // Every prefix of each seed and every one-byte mutation of it must load
    // the same through both sources. The seeds: numbers and words against
    // every kind of terminator (the end of input, letters, bytes of 0x80 and
    // above, bad sequences), indentation of eight blanks and more, plain
    // strings of one to many characters, multi-byte characters at the edges
    // of strings.
    const std::vector<std::string> seeds = {
        "{\n        \"id\": 205705993,\n        \"n\": -0,\n\t\"r\": 1.5e-3}",
        "[0,-12,123456789012345678,1234567890123456789,9.75,1E+2,true,false,null]",
        "[7\xC3\xA9, 8\xE2\x82\xAC, 9\x80, null\xC3\xA9, true\x80, -\xC3\xA9]",
        "                \"\xC3\xA9t\xC3\xA9\"          :  \"plain text of some length\"",
        "[\"\", \"a\", \"\xF0\x9F\x98\x80\", \"x\\ty\", \"\x7F\"]\r\n   ",
        "[1e400, 1e-400, 0.0, -0.0, 2.2250738585072014e-308, 4.9e-324, 12345678901234567890.5]",
        "{\"key\": [1, -2.5e+3, true, null],\n  \"t\xC3\xA9xt\": \"a\\n\\u00e9\xE2\x82\xAC\\uD83D\\uDE00 b\"}",
        "[\r\n\t\"\xF0\x9F\x98\x80\xF0\x9F\x98\x80\", 123456789012345678901234567890, 0.5, false ]\n",
        "  \"plain words and more plain words \\\" \\\\ \\/ \xC3\xA9\xC3\xA9\"  ",
    };
    const std::string replacements = {' ', '\n', '"', '\\', '\x80', '\xC3', '\xE2', 'x', '1',
                                      '.', 'e', '-', '+', '0', ',', ']', '}', '\x1F', 'u', 'l', '\x7F'};
    int compared = 0;
    for (const std::string &seed : seeds)
        for (size_t i = 0; i <= seed.size(); i++) {
            std::vector<std::string> variants = {seed.substr(0, i)};
            for (char r : replacements)
                if (i < seed.size())
                    variants.push_back(seed.substr(0, i) + r + seed.substr(i + 1));
            for (const std::string &text : variants)
                EXPECT_EQ(outcome(Source::String, text), outcome(Source::Stream, text)) << text;
            compared += static_cast<int>(variants.size());
        }
    EXPECT_GT(compared, 8000);
}

TEST(FastLexer, RandomDocumentsMatchByteWiseReading)
{
    // Random sequences of token pieces, most of them invalid documents.
    const char *const pieces[] = {"{", "}", "[", "]", ":", ",", " ", "        ", "\n", "\t",
                                  "\"k\"", "\"\xC3\xA9\"", "\"a\\n\"", "\"", "1", "-", "0",
                                  "12345", ".5", "e7", "E-", "true", "fals", "null", "nul",
                                  "\xC3", "\x80", "\xE2\x82\xAC", "x"};
    std::mt19937 rng(20261123);
    std::uniform_int_distribution<size_t> pick(0, std::size(pieces) - 1);
    std::uniform_int_distribution<int> length(1, 12);
    for (int i = 0; i < 4000; i++) {
        std::string text;
        for (int n = length(rng); n > 0; n--)
            text += pieces[pick(rng)];
        ASSERT_EQ(outcome(Source::String, text), outcome(Source::Stream, text)) << text;
    }
}

// The compact and pretty dumps of `json` through the string sink and the
// stream sink, which must both succeed and agree.
void expect_sinks_agree(KelJson *json, guint32 flags)
{
    for (guint32 pretty : {0u, static_cast<guint32>(KEL_JSON_DUMP_PRETTY)})
        EXPECT_EQ(kel_test::sdump_ext(json, flags | pretty), kel_test::fdump(json, flags | pretty));
}

TEST(FastDump, IntegersAsPrintfWritesThem)
{
    // Powers of ten and their neighbours, the type limits, random widths; each
    // as int64 (both signs) and as uint64.
    std::vector<guint64> values = {G_MAXUINT32, G_MAXUINT64, G_MAXUINT64 - 1, 1ULL << 63, (1ULL << 63) + 1};
    for (guint64 p = 1; p != 0; p = p > G_MAXUINT64 / 10 ? 0 : p * 10)  // up to 10^19
        values.insert(values.end(), {p - 1, p, p + 1});
    std::mt19937_64 rng(7);
    for (int i = 0; i < 2000; i++)
        values.push_back(rng() >> (rng() % 64));
    JsonRoot all(kel_json_array_new_base(0, FALSE));
    std::string expected;
    char buf[32];
    for (guint64 v : values) {
        for (gint64 i : {static_cast<gint64>(v), static_cast<gint64>(0 - v)}) {
            std::snprintf(buf, sizeof buf, "%" G_GINT64_FORMAT, i);
            ASSERT_EQ(kel_test::dump(JsonRoot(kel_json_i64_new_base(i)), 0), buf);
            expected += std::string(expected.empty() ? "" : ",") + buf;
            kel_json_array_push_i64_base(all, i, nullptr);
        }
        std::snprintf(buf, sizeof buf, "%" G_GUINT64_FORMAT, v);
        ASSERT_EQ(kel_test::dump(JsonRoot(kel_json_u64_new_base(v)), 0), buf);
    }
    EXPECT_EQ(kel_test::dump(all, 0), "[" + expected + "]");
    expect_sinks_agree(all, 0);
}

TEST(FastDump, MemberNamesAsTheEscaperWritesThem)
{
    // Names around the length limit of the fast path, names that need
    // escaping or are not ASCII (short ones made only of such bytes too, so
    // that every byte's class counts), and the empty name, in objects of one
    // and of many members, nested, sorted and not.
    std::vector<std::string> names = {"", "a", "id", "205705993", "with space", "\x7F", "\"", "\\", "\"\"", "\\\"", "\x1F",
                                      "quote\"d", "back\\slash", "tab\there", "\x01", "\xC3\xA9t\xC3\xA9", "\xC3\xA9",
                                      "\xE2\x82\xAC sign", std::string(7, 'x'), std::string(8, 'y'), std::string(7, '"')};
    for (size_t n : {15u, 16u, 17u, 63u, 64u, 65u, 200u}) {
        names.push_back(std::string(n, 'k'));
        names.push_back(std::string(n - 1, 'k') + "\"");
        names.push_back("\\" + std::string(n - 1, 'k'));
    }
    JsonRoot all(kel_json_obj_new_base(FALSE));
    for (const std::string &name : names) {
        JsonRoot single(kel_json_obj_new_base(FALSE));
        ASSERT_TRUE(kel_json_obj_put_base(single.json, name.c_str(), kel_json_i64_new_base(1), nullptr));
        expect_sinks_agree(single.json, 0);
        char *escaped = kel_json_escape_str(name.c_str());
        EXPECT_EQ(kel_test::dump(single.json, 0), "{\"" + std::string(escaped ? escaped : "<escape failed>") + "\":1}");
        g_free(escaped);
        KelJson *inner = kel_json_obj_put_obj_base(all.json, name.c_str(), nullptr);
        ASSERT_TRUE(inner && kel_json_obj_put_null_base(inner, name.c_str(), nullptr) && kel_json_obj_put_i64_base(inner, "z", -5, nullptr));
    }
    expect_sinks_agree(all.json, 0);
    expect_sinks_agree(all.json, KEL_JSON_DUMP_SORTED);
}

// The dump walks objects in place; the order must stay that of the key lists
// (kel_json_obj_keys unsorted, kel_json_alpha_keys sorted), removals included,
// also inside an object with members after a nested one.
TEST(FastDump, MembersFollowTheKeyLists)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    std::mt19937 rng(7);
    for (int i = 0; i < 500; i++) {
        kel_json_obj_put_i64_base(root, ("m" + std::to_string(rng() % 100000)).c_str(), i, nullptr);
        if (i == 250)
            kel_json_obj_put_base(root, "inner", kel_json_copy(root), nullptr);
    }
    for (int i = 0; i < 100; i++)
        kel_json_obj_remove(root, ("m" + std::to_string(rng() % 100000)).c_str());
    auto expected_of = [](KelJson *obj, KelStrArray *(*list)(KelJson *), auto &&self) -> std::string {
        KelStrArray *keys = list(obj);
        std::string out;
        for (guint i = 0; i < keys->len; i++) {
            const char *key = kel_str_array_index(keys, static_cast<gint32>(i));
            KelJson *m = kel_test::member(obj, key);
            out += (i ? ",\"" : "\"") + std::string(key) + "\":" +
                   (m->type == KEL_JSON_OBJECT ? self(m, list, self) : std::to_string(kel_json_i64_get(m)));
        }
        kel_str_array_free(keys, TRUE);
        return "{" + out + "}";
    };
    for (KelStrArray *(*list)(KelJson *) : {kel_json_obj_keys, kel_json_alpha_keys})
        EXPECT_EQ(kel_test::dump(root, list == kel_json_obj_keys ? 0 : KEL_JSON_DUMP_SORTED), expected_of(root, list, expected_of));
}

}  // namespace
