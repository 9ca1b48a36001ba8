// The lexer, seen through the loaders: tokens and their values, number and
// string scanning, UTF-8 validation, positions and every lexer message.
// Each input goes through the string source and the stream source, which
// must agree byte for byte.
#include <math.h>

#include <cstring>
#include <string>

#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::JsonRoot;

namespace {

int never_called(void *) { return -1; }

// The single value of a document that must parse.
struct Value {
    Loaded r;
    explicit Value(const std::string &text, Source source = Source::String)
    {
        load(source, text, 0, r);
        EXPECT_NE(r.root.json, nullptr) << "input: " << text << " error: " << r.err.message();
    }
    KelJson *operator->() const { return r.root.json; }
    KelJson *get() const { return r.root.json; }
    std::string type() const { return kel_json_type_string(r.root.json, TRUE); }
};

std::string in_quotes(const std::string &body) { return "\"" + body + "\""; }

}  // namespace

TEST(LexInit, StartsAFreshLexer)
{
    KelJsonLexer lex;
    memset(&lex, 0xA5, sizeof lex);
    KelJsonStrSource src = {"1", 0};
    KelError *err = nullptr;
    lex_init(&lex, never_called, &src, &err);
    EXPECT_EQ(lex.get, never_called);
    EXPECT_EQ(lex.data, &src);
    EXPECT_EQ(lex.error, &err);
    ASSERT_NE(lex.text, nullptr);
    EXPECT_EQ(lex.text->len, 0u);
    EXPECT_EQ(lex.buffer[0], '\0');
    EXPECT_EQ(lex.buffer_pos, 0u);
    EXPECT_EQ(lex.eof, 0);
    EXPECT_EQ(lex.line, 1u);
    EXPECT_EQ(lex.column, 0u);
    EXPECT_EQ(lex.position, 0u);
    EXPECT_EQ(lex.token, KEL_JSON_TOKEN_INVALID);
    EXPECT_EQ(src.pos, 0);  // nothing is read yet
    g_string_free(lex.text, TRUE);
}

TEST(LexInit, StructuralTokenNames)
{
    const char *expected[] = {"'{'", "'}'", "'['", "']'", "':'", "','"};
    for (int i = 0; i < 6; i++)
        EXPECT_STREQ(chr_strs[i], expected[i]);
    EXPECT_EQ(chr_strs[6], nullptr);
}

// ---- Numbers -----------------------------------------------------------------

TEST(LexNumbers, IntegersWithinInt64)
{
    const struct {
        const char *text;
        gint64 value;
    } cases[] = {
        {"0", 0},
        {"-0", 0},
        {"7", 7},
        {"-123", -123},
        {"999999999999999999", 999999999999999999LL},    // 18 digits
        {"-999999999999999999", -999999999999999999LL},
        {"1000000000000000000", 1000000000000000000LL},  // 19 digits
        {"9223372036854775807", G_MAXINT64},
        {"-9223372036854775808", G_MININT64},
    };
    for (const auto &c : cases) {
        for (Source source : {Source::String, Source::Stream}) {
            Value v(c.text, source);
            ASSERT_NE(v.get(), nullptr);
            EXPECT_EQ(v.type(), "int64") << c.text;
            EXPECT_EQ(v->i64, c.value) << c.text;
        }
    }
}

TEST(LexNumbers, IntegersOutsideInt64AreUint128)
{
    const guint64 max = G_MAXUINT64;
    const struct {
        const char *text;
        KelUint128 value;
    } cases[] = {
        {"9223372036854775808", {1ULL << 63, 0}},
        {"18446744073709551615", {max, 0}},
        {"18446744073709551616", {0, 1}},
        {"340282366920938463463374607431768211455", {max, max}},
    };
    for (const auto &c : cases) {
        Value v(c.text);
        ASSERT_NE(v.get(), nullptr);
        EXPECT_EQ(v.type(), "uint128") << c.text;
        EXPECT_EQ(v->u128.lo, c.value.lo) << c.text;
        EXPECT_EQ(v->u128.hi, c.value.hi) << c.text;
    }
}

TEST(LexNumbers, IntegersNoKindHoldsAreRefused)
{
    // Below int64 or beyond 128 bits: refused, never wrapped modulo 2^128.
    for (const char *text : {"-9223372036854775809", "-18446744073709551616",
                             "340282366920938463463374607431768211456",
                             "1000000000000000000000000000000000000000"}) {
        kel_test::ErrorSlot err;
        EXPECT_EQ(kel_json_loads(text, 0, &err), nullptr) << text;
        EXPECT_KEL_ERROR(err, KEL_JSON_PARSE_ERROR, std::string("Not a valid uint128 value: ") + text);
    }
}

TEST(LexNumbers, Reals)
{
    const struct {
        const char *text;
        double value;
    } cases[] = {
        {"1.0", 1.0},     {"-0.0", -0.0},   {"1E+2", 100.0},  {"1e-2", 0.01},
        {"2.5e3", 2500.0}, {"0e0", 0.0},    {"-1.25E-1", -0.125},
        {"123.456e-78", 123.456e-78},
        {"0.30000000000000004", 0.30000000000000004},
    };
    for (const auto &c : cases) {
        for (Source source : {Source::String, Source::Stream}) {
            Value v(c.text, source);
            ASSERT_NE(v.get(), nullptr);
            EXPECT_EQ(v.type(), "double") << c.text;
            EXPECT_EQ(v->d, c.value) << c.text;
            EXPECT_EQ(signbit(v->d), signbit(c.value)) << c.text;
        }
    }
}

TEST(LexNumbers, Failures)
{
    // The position is taken at the byte that revealed the failure, before
    // that byte is un-read.
    expect_failure("01", {{"Invalid number: 01", {1, 2, 2}}});
    expect_failure("-01", {{"Invalid number: -01", {1, 3, 3}}});
    expect_failure("-", {{"Invalid number: -", {1, 1, 1}}});
    expect_failure("-a", {{"Invalid number: -a", {1, 2, 2}}});
    expect_failure("--1", {{"Invalid number: --", {1, 2, 2}}});
    expect_failure("1.", {{"Invalid double: 1.", {1, 2, 2}}});
    expect_failure("1.x", {{"Invalid double: 1.", {1, 3, 3}}});
    expect_failure("1.e5", {{"Invalid double: 1.", {1, 3, 3}}});
    expect_failure("1e", {{"Invalid double: 1e", {1, 2, 2}}});
    expect_failure("1E+", {{"Invalid double: 1E+", {1, 3, 3}}});
    expect_failure("1ex", {{"Invalid double: 1ex", {1, 3, 3}}});
    expect_failure(".5", {{"Unexpected character in input stream: '.'", {1, 1, 1}}});
    expect_failure("+1", {{"Unexpected character in input stream: '+'", {1, 1, 1}}});
    // Range errors of the conversion.
    expect_failure("1e400", {{"Invalid double: 1e400", {1, 5, 5}}});
    expect_failure("-1e400", {{"Invalid double: -1e400", {1, 6, 6}}});
    expect_failure("1e-400", {{"Invalid double: 1e-400", {1, 6, 6}}});
}

TEST(LexNumbers, TheEndingByteIsUnread)
{
    // After a failure inside an array the parser reports from where the
    // lexer stands: the byte after the point has been un-read again.
    expect_failure("[1.x]", {{"Syntax error: unexpected token: <invalid>", {1, 3, 3}},
                             {"Invalid double: 1.", {1, 4, 4}}});
    // Un-reading a newline restores the line and the column.
    expect_failure("[22.\n]", {{"Syntax error: unexpected token: <invalid>", {1, 4, 4}},
                               {"Invalid double: 22.", {2, 0, 5}}});
    expect_failure("[-\n]", {{"Syntax error: unexpected token: <invalid>", {1, 2, 2}},
                             {"Invalid number: -\n", {2, 0, 3}}});
    // A number ends at any non-number byte, which starts the next token.
    EXPECT_EQ(parsed("[1,2]"), "[1,2]");
    expect_failure("12x", {{"Expected EOF, got <invalid>", {1, 3, 3}},
                           {"Invalid JSON identifier: x", {1, 3, 3}}});
}

// ---- Words -------------------------------------------------------------------

TEST(LexWords, Literals)
{
    EXPECT_EQ(Value("true").type(), "true");
    EXPECT_EQ(Value("false").type(), "false");
    EXPECT_EQ(Value("null").type(), "null");
    EXPECT_EQ(parsed("[true,false,null]"), "[true,false,null]");
    // Digits end a word: true1 is two tokens.
    expect_failure("true1", {{"Expected EOF, got integer", {1, 5, 5}}});
}

TEST(LexWords, Failures)
{
    expect_failure("True", {{"Invalid JSON identifier: True", {1, 4, 4}}});
    expect_failure("nul", {{"Invalid JSON identifier: nul", {1, 3, 3}}});
    expect_failure("nullnull", {{"Invalid JSON identifier: nullnull", {1, 8, 8}}});
    // The byte after the word is un-read before the word is judged.
    expect_failure("[truex]", {{"Syntax error: unexpected token: <invalid>", {1, 6, 6}},
                               {"Invalid JSON identifier: truex", {1, 6, 6}}});
    // Bad UTF-8 right after a word.
    expect_failure("tru\xC3", {{"Error decoding UTF-8 sequence", {1, 3, 3}}});
    expect_failure("[true\xFF]", {{"Syntax error: unexpected token: <invalid>", {1, 5, 5}},
                                  {"Error decoding UTF-8 sequence", {1, 5, 5}}});
}

// ---- Positions ---------------------------------------------------------------

TEST(LexPositions, LinesColumnsAndBytes)
{
    expect_failure("[1,\n  #", {{"Syntax error: unexpected token: <invalid>", {2, 3, 7}},
                                {"Unexpected character in input stream: '#'", {2, 3, 7}}});
    // Columns count characters, positions count bytes.
    expect_failure("\"\xC3\xA9\"x", {{"Expected EOF, got <invalid>", {1, 4, 5}},
                                     {"Invalid JSON identifier: x", {1, 4, 5}}});
    expect_failure("\"\xF0\x9F\x98\x80\" #", {{"Expected EOF, got <invalid>", {1, 5, 8}},
                                              {"Unexpected character in input stream: '#'",
                                               {1, 5, 8}}});
    // Carriage returns are white space but start no line.
    expect_failure("\r\n\r\n\t[ \r}", {{"Syntax error: unexpected token: '}'", {3, 5, 9}}});
    // The position item of a failure at the end of input.
    expect_failure("\n\n[", {{"Syntax error: expected ']', got EOF", {3, 1, 3}}});
}

TEST(LexPositions, StartOfToken)
{
    // Only four bytes count as white space.
    expect_failure("\f1", {{"Unexpected character in input stream: '\f'", {1, 1, 1}}});
    expect_failure("\v1", {{"Unexpected character in input stream: '\v'", {1, 1, 1}}});
    expect_failure("'a'", {{"Unexpected character in input stream: '''", {1, 1, 1}}});
    // A multi-byte character outside a string is reported by its first byte.
    expect_failure("\xC3\xA9", {{"Unexpected character in input stream: '\xC3'", {1, 1, 1}}});
}

// ---- Strings -----------------------------------------------------------------

TEST(LexStrings, Decoding)
{
    const struct {
        const char *raw;
        std::string decoded;
    } cases[] = {
        {"", ""},
        {"abc", "abc"},
        {"a\\nb", "a\nb"},
        {"\\n", "\n"},
        {"\\\\", "\\"},
        {"\\\"", "\""},
        {"\\/", "/"},
        {"\\b\\f\\n\\r\\t", "\b\f\n\r\t"},
        {"\\u0041", "A"},
        {"\\u00e9", "\xC3\xA9"},
        {"\\u00E9", "\xC3\xA9"},
        {"\\u07FF", "\xDF\xBF"},
        {"\\u0800", "\xE0\xA0\x80"},
        {"\\u20AC", "\xE2\x82\xAC"},
        {"\\uFFFF", "\xEF\xBF\xBF"},
        {"\\uD83D\\uDE00", "\xF0\x9F\x98\x80"},
        {"\\uDBFF\\uDFFF", "\xF4\x8F\xBF\xBF"},
        {"\\uD800\\uDC00", "\xF0\x90\x80\x80"},
        // Raw UTF-8 and DEL are copied unchanged.
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F"},
        {"x\\u00e9y\\\\z\xC3\xA9", "x\xC3\xA9y\\z\xC3\xA9"},
    };
    for (const auto &c : cases) {
        for (Source source : {Source::String, Source::Stream}) {
            Value v(in_quotes(c.raw), source);
            ASSERT_NE(v.get(), nullptr) << c.raw;
            EXPECT_EQ(v.type(), "string");
            EXPECT_EQ(std::string(v->str), c.decoded) << c.raw;
        }
    }
}

TEST(LexStrings, SecondPassFailures)
{
    // Reported once the closing quote has been read.
    expect_failure(in_quotes("\\u0000"), {{"Invalid UTF-8 escape sequence: \\u0000", {1, 8, 8}}});
    expect_failure(in_quotes("ab\\uDE00"),
                   {{"Invalid UTF-8 escape sequence value: 0xDE00", {1, 10, 10}}});
    expect_failure(in_quotes("\\udc00"), {{"Invalid UTF-8 escape sequence value: 0xDC00", {1, 8, 8}}});
    expect_failure(in_quotes("\\uD83Dx"),
                   {{"Expected surrogate pair for UTF-8 escape sequence: \\x\"", {1, 9, 9}}});
    expect_failure(in_quotes("\\uD83D"),
                   {{"Expected surrogate pair for UTF-8 escape sequence: \\\"", {1, 8, 8}}});
    expect_failure(in_quotes("\\uD83Dabcdefg"),
                   {{"Expected surrogate pair for UTF-8 escape sequence: \\abcde", {1, 15, 15}}});
    expect_failure(in_quotes("\\uD83D\\n"),
                   {{"Expected surrogate pair for UTF-8 escape sequence: \\\\n\"", {1, 10, 10}}});
    expect_failure(in_quotes("\\uD83D\\u0041"),
                   {{"Invalid surrogate pair UTF-8 escape sequences: \\\\u0041\"", {1, 14, 14}}});
    expect_failure(in_quotes("\\uD83D\\uD83Dxyzw"),
                   {{"Invalid surrogate pair UTF-8 escape sequences: \\\\uD83Dxyzw", {1, 18, 18}}});
    expect_failure(in_quotes("\\uD83D\\u0000"),
                   {{"Invalid UTF-8 escape sequence: \\u0000", {1, 14, 14}}});
    // A failure in a member name inside an object.
    expect_failure("{\"\\u0000\":1}",
                   {{"Syntax error: expected string, got <invalid>", {1, 9, 9}},
                    {"Invalid UTF-8 escape sequence: \\u0000", {1, 9, 9}}});
}

TEST(LexStrings, FirstPassFailures)
{
    expect_failure(in_quotes("\\u12G4"), {{"Invalid UTF-8 escape sequence: u12G", {1, 6, 6}}});
    expect_failure(in_quotes("\\u\"12"), {{"Invalid UTF-8 escape sequence: u\"", {1, 4, 4}}});
    expect_failure(in_quotes("\\x"), {{"Unrecognized escape sequence: x", {1, 3, 3}}});
    expect_failure(in_quotes("\\U0041"), {{"Unrecognized escape sequence: U", {1, 3, 3}}});
    expect_failure(in_quotes("a\t"), {{"Encountered unexpected control char: 0x9", {1, 3, 3}}});
    expect_failure(in_quotes("a\n"), {{"Encountered unexpected control char: 0xa", {2, 0, 3}}});
    expect_failure(in_quotes("\x1f"), {{"Encountered unexpected control char: 0x1f", {1, 2, 2}}});
    // The end of input, also inside an escape.
    expect_failure("\"abc", {{"Reached end of input unexpectedly.", {1, 4, 4}}});
    expect_failure("\"\\\"", {{"Reached end of input unexpectedly.", {1, 3, 3}}});
    expect_failure("\"\\", {{"Reached end of input unexpectedly.", {1, 2, 2}}});
    expect_failure("\"\\u12", {{"Reached end of input unexpectedly.", {1, 5, 5}}});
    // Invalid UTF-8, also inside an escape.
    expect_failure("\"\xC3(\"", {{"UTF-8 decoding failed.", {1, 1, 1}}});
    expect_failure("\"ab\\\xFF\"", {{"UTF-8 decoding failed.", {1, 4, 4}}});
    expect_failure("\"\\u1\xFF\"", {{"UTF-8 decoding failed.", {1, 4, 4}}});
}

TEST(LexStrings, InvalidUtf8IsRejected)
{
    const char *bad[] = {
        "\xC0\x80",         "\xC1\xBF",         "\xF5\x80\x80\x80", "\xFF",
        "\x80",             "\xBF",             "\xE2\x82",         "\xED\xA0\x80",
        "\xED\xBF\xBF",     "\xE0\x80\x80",     "\xE0\x9F\xBF",     "\xF0\x80\x80\x80",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xC3",             "\xE2\x28\xA1",
    };
    for (const char *seq : bad) {
        SCOPED_TRACE(seq);
        // Inside a string, after some plain text.
        expect_failure("\"ab" + std::string(seq) + "\"", {{"UTF-8 decoding failed.", {1, 3, 3}}});
        // Between tokens.
        expect_failure("[" + std::string(seq) + "]",
                       {{"Syntax error: unexpected token: <invalid>", {1, 1, 1}},
                        {"Error decoding UTF-8 sequence", {1, 1, 1}}});
    }
    // The largest valid characters of each length pass.
    EXPECT_EQ(std::string(Value("\"\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF\"")->str),
              "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF");
}

TEST(LexStrings, LongStringsWithEverything)
{
    // Long runs of plain text around escapes and multi-byte characters, so
    // that the positions after them are checked as well.
    std::string raw, decoded;
    for (int i = 0; i < 500; i++) {
        raw += "plain text \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \\n\\u00e9 ";
        decoded += "plain text \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \n\xC3\xA9 ";
    }
    Value v(in_quotes(raw));
    ASSERT_NE(v.get(), nullptr);
    EXPECT_EQ(std::string(v->str), decoded);
    // Characters per round: 11 + 3 + 1 + 2 + 6 + 1 = 24; bytes: 11 + 9 + 1 + 2 + 6 + 1 = 30.
    expect_failure(in_quotes(raw) + "#",
                   {{"Expected EOF, got <invalid>", {1, 500 * 24 + 3, 500 * 30 + 3}},
                    {"Unexpected character in input stream: '#'", {1, 500 * 24 + 3, 500 * 30 + 3}}});
}

// ---- Sources -----------------------------------------------------------------

TEST(LexSources, NulBytes)
{
    // The string source ends at the first NUL byte.
    EXPECT_EQ(kel_test::dump(JsonRoot(kel_json_loads("[1]\0garbage", 0, nullptr))), "[1]");
    // A stream delivers it: a control character in a string, an unexpected
    // character between tokens (its %c ends the message text there).
    Loaded r;
    load(Source::Stream, std::string("\"a\0b\"", 5), 0, r);
    auto chain = r.chain();
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain[0].message, "Encountered unexpected control char: 0x0");
    EXPECT_EQ(chain[0].at, (Position{1, 3, 3}));

    Loaded r2;
    load(Source::Stream, std::string("[1,\0]", 5), 0, r2);
    chain = r2.chain();
    ASSERT_EQ(chain.size(), 2u);
    EXPECT_EQ(chain[0].message, "Syntax error: unexpected token: <invalid>");
    EXPECT_EQ(chain[1].message, "Unexpected character in input stream: '");
    EXPECT_EQ(chain[1].at, (Position{1, 4, 4}));

    // A NUL byte that ends a number or a word is read again as the next
    // token, so it is not swallowed.
    for (const std::string &text : {std::string("123\0", 4), std::string("[true\0]", 7)}) {
        Loaded r4;
        load(Source::Stream, text, 0, r4);
        chain = r4.chain();
        ASSERT_EQ(chain.size(), 2u) << text;
        EXPECT_EQ(chain[1].message, "Unexpected character in input stream: '");
        EXPECT_EQ(chain[1].at.position, text.size() - (text[0] == '[' ? 1 : 0));
    }
    {
        // The byte after a decimal point is un-read even when it is a NUL.
        Loaded r6;
        load(Source::Stream, std::string("[1.\0]", 5), 0, r6);
        chain = r6.chain();
        ASSERT_EQ(chain.size(), 2u);
        EXPECT_EQ(chain[0].message, "Syntax error: unexpected token: <invalid>");
        EXPECT_EQ(chain[0].at, (Position{1, 3, 3}));
        EXPECT_EQ(chain[1].message, "Invalid double: 1.");
        EXPECT_EQ(chain[1].at, (Position{1, 4, 4}));
    }
    {
        Loaded r5;
        load(Source::Stream, std::string("-7\0", 3), KEL_JSON_LOAD_ALLOW_TRAILING, r5);
        ASSERT_NE(r5.root.json, nullptr);
        EXPECT_EQ(r5.root->i64, -7);
        EXPECT_EQ(r5.stream_offset, 3);
    }

    // A NUL byte inside a multi-byte sequence ends it early.
    Loaded r3;
    load(Source::Stream, std::string("\"\xE2\0\x82\"", 5), 0, r3);
    chain = r3.chain();
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain[0].message, "UTF-8 decoding failed.");
    EXPECT_EQ(r3.stream_offset, 3);
}

TEST(LexSources, BadSequencesStayConsumed)
{
    // A bad character consumes as many bytes as its first byte announced
    // (fewer when the input ends or a NUL byte comes first); a byte that
    // starts no character consumes only itself. The stream shows how far
    // the lexer read.
    const struct {
        std::string text;
        long offset;
    } cases[] = {
        {"\xE2()rest", 3},
        {"\xF0\x80\x80\x80rest", 4},
        {"\xF4\x90\x80\x80rest", 4},
        {"\xED\xA0\x80rest", 3},
        {"\xC3(rest", 2},
        {std::string("\xE2\x82\0rest", 7), 3},
        {"\xFFrest", 1},
        {"\x80rest", 1},
        {"\xE2\x82", 2},
    };
    for (const auto &c : cases) {
        Loaded r;
        load(Source::Stream, c.text, 0, r);
        const auto chain = r.chain();
        ASSERT_EQ(chain.size(), 1u);
        EXPECT_EQ(chain[0].message, "Error decoding UTF-8 sequence");
        EXPECT_EQ(chain[0].at, (Position{1, 0, 0}));
        EXPECT_EQ(r.stream_offset, c.offset) << c.text;
    }
}

TEST(LexSources, StringAndStreamAgreeOnMutations)
{
    // The string source is read in place and in runs, the stream byte by
    // byte; every counter and message must come out the same. Each seed is
    // mutated at every byte with bytes that start, end or break tokens.
    const std::string seeds[] = {
        "{\"key\": [1, -2.5e+3, true, null],\n  \"t\xC3\xA9xt\": \"a\\n\\u00e9\xE2\x82\xAC\\uD83D\\uDE00 b\"}",
        "[\r\n\t\"\xF0\x9F\x98\x80\xF0\x9F\x98\x80\", 123456789012345678901234567890, 0.5, false ]\n",
        "  \"plain words and more plain words \\\" \\\\ \\/ \xC3\xA9\xC3\xA9\"  ",
    };
    const char replacements[] = {'\n', ' ', '"', '\\', '\x80', '\xC3', '\xE2', 'x', '1', '.',
                                 'e', '-', ',', ']', '}', '\x7F', '\x1F', 'u', '0'};
    auto outcome = [](Source source, const std::string &text) {
        Loaded r;
        load(source, text, 0, r);
        std::string out = r.root.json != nullptr ? "value " + kel_test::dump(r.root.json) : "";
        for (const auto &e : r.chain()) {
            out += " | " + e.message + " @" + std::to_string(e.at.line) + ":" +
                   std::to_string(e.at.column) + ":" + std::to_string(e.at.position);
        }
        return out;
    };
    int compared = 0;
    for (const std::string &seed : seeds) {
        for (size_t i = 0; i <= seed.size(); i++) {
            std::vector<std::string> variants = {seed.substr(0, i)};
            for (char r : replacements) {
                if (i < seed.size())
                    variants.push_back(seed.substr(0, i) + r + seed.substr(i + 1));
            }
            for (const std::string &text : variants) {
                ASSERT_EQ(outcome(Source::String, text), outcome(Source::Stream, text)) << text;
                compared++;
            }
        }
    }
    EXPECT_GT(compared, 3000);
}
