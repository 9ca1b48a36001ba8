// The lexer, through the loaders: tokens and values, number and string
// scanning, UTF-8 validation, positions and every lexer message. Each input
// goes through the string source and the stream source, which must agree.
#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::JsonRoot;

namespace {

// The single value of a document that must parse through `source`.
struct Value {
    Loaded r;
    explicit Value(const std::string &text, Source source = Source::String)
    {
        load(source, text, 0, r);
        EXPECT_NE(r.root.json, nullptr) << "input: " << text << " error: " << r.err.message();
    }
    KelJson *operator->() const { return r.root.json; }
    std::string type() const { return r.root.json ? kel_json_type_string(r.root.json, TRUE) : "<failed>"; }
};

std::string in_quotes(const std::string &body) { return "\"" + body + "\""; }

std::string stream_outcome(const std::string &text, int flags = 0, long *offset = nullptr)
{
    return outcome(Source::Stream, text, flags, offset);
}

// The kind and exact dump of a document's value (or the newest message),
// alike through both sources.
std::string typed(const std::string &text)
{
    std::string first;
    for (Source source : {Source::String, Source::Stream}) {
        Loaded r;
        load(source, text, 0, r);
        const std::string out = r.root.json ? kel_json_type_string(r.root.json, TRUE) + (" " + kel_test::dump(r.root.json, KEL_JSON_DUMP_REAL_ROUNDTRIP))
                                            : r.err.message();
        EXPECT_TRUE(first.empty() || out == first) << text;
        first = out;
    }
    return first;
}

}  // namespace

TEST(LexNumbers, IntegersAndReals)
{
    // Below int64 or beyond 128 bits: refused, never wrapped.
    const std::pair<const char *, const char *> cases[] = {
        {"0", "int64 0"}, {"-0", "int64 0"}, {"-123", "int64 -123"}, {"999999999999999999", "int64 999999999999999999"},
        {"-999999999999999999", "int64 -999999999999999999"}, {"1000000000000000000", "int64 1000000000000000000"},
        {"9223372036854775807", "int64 9223372036854775807"}, {"-9223372036854775808", "int64 -9223372036854775808"},
        {"9223372036854775808", "uint128 9223372036854775808"}, {"18446744073709551616", "uint128 18446744073709551616"},
        {"340282366920938463463374607431768211455", "uint128 340282366920938463463374607431768211455"},
        {"1.0", "double 1.0"}, {"-0.0", "double -0.0"}, {"1E+2", "double 100.0"}, {"1e-2", "double 0.01"}, {"0e0", "double 0.0"},
        {"-1.25E-1", "double -0.125"}, {"123.456e-78", "double 1.23456e-76"}, {"0.30000000000000004", "double 0.30000000000000004"},
        {"-9223372036854775809", "Not a valid uint128 value: -9223372036854775809"},
        {"340282366920938463463374607431768211456", "Not a valid uint128 value: 340282366920938463463374607431768211456"},
        {"1000000000000000000000000000000000000000", "Not a valid uint128 value: 1000000000000000000000000000000000000000"}};
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(typed(text), expected);
}

TEST(LexNumbers, FailuresAreReportedAtTheRevealingByte)
{
    const std::pair<const char *, Expected> cases[] = {
        {"01", {"Invalid number: 01", {1, 2, 2}}},          {"-01", {"Invalid number: -01", {1, 3, 3}}},
        {"-", {"Invalid number: -", {1, 1, 1}}},            {"-a", {"Invalid number: -a", {1, 2, 2}}},
        {"--1", {"Invalid number: --", {1, 2, 2}}},         {"1.", {"Invalid double: 1.", {1, 2, 2}}},
        {"1.x", {"Invalid double: 1.", {1, 3, 3}}},         {"1.e5", {"Invalid double: 1.", {1, 3, 3}}},
        {"1e", {"Invalid double: 1e", {1, 2, 2}}},          {"1E+", {"Invalid double: 1E+", {1, 3, 3}}},
        {"1ex", {"Invalid double: 1ex", {1, 3, 3}}},        {"1e400", {"Invalid double: 1e400", {1, 5, 5}}},
        {"-1e400", {"Invalid double: -1e400", {1, 6, 6}}}, {".5", {"Unexpected character in input stream: '.'", {1, 1, 1}}},
        {"+1", {"Unexpected character in input stream: '+'", {1, 1, 1}}},
    };
    for (const auto &[text, error] : cases)
        expect_failure(text, {error});
    // The parser reports from where the lexer stands: the ending byte is un-read
    // (a newline too, restoring line and column).
    expect_failure("[1.x]", {{"Syntax error: unexpected token: <invalid>", {1, 3, 3}}, {"Invalid double: 1.", {1, 4, 4}}});
    expect_failure("[22.\n]", {{"Syntax error: unexpected token: <invalid>", {1, 4, 4}}, {"Invalid double: 22.", {2, 0, 5}}});
    expect_failure("[-\n]", {{"Syntax error: unexpected token: <invalid>", {1, 2, 2}}, {"Invalid number: -\n", {2, 0, 3}}});
    expect_failure("12x", {{"Expected EOF, got <invalid>", {1, 3, 3}}, {"Invalid JSON identifier: x", {1, 3, 3}}});
}

TEST(LexWords, LiteralsAndFailures)
{
    EXPECT_EQ(parsed("[true,false,null]"), "[true,false,null]");
    EXPECT_EQ(typed("null"), "null null");
    expect_failure("true1", {{"Expected EOF, got integer", {1, 5, 5}}});  // digits end a word
    expect_failure("True", {{"Invalid JSON identifier: True", {1, 4, 4}}});
    expect_failure("nul", {{"Invalid JSON identifier: nul", {1, 3, 3}}});
    expect_failure("nullnull", {{"Invalid JSON identifier: nullnull", {1, 8, 8}}});
    expect_failure("[truex]", {{"Syntax error: unexpected token: <invalid>", {1, 6, 6}}, {"Invalid JSON identifier: truex", {1, 6, 6}}});
    expect_failure("tru\xC3", {{"Error decoding UTF-8 sequence", {1, 3, 3}}});
    expect_failure("[true\xFF]", {{"Syntax error: unexpected token: <invalid>", {1, 5, 5}}, {"Error decoding UTF-8 sequence", {1, 5, 5}}});
}

TEST(LexPositions, LinesColumnsAndBytes)
{
    expect_failure("[1,\n  #", {{"Syntax error: unexpected token: <invalid>", {2, 3, 7}},
                                {"Unexpected character in input stream: '#'", {2, 3, 7}}});
    // Columns count characters, positions count bytes.
    expect_failure("\"\xC3\xA9\"x", {{"Expected EOF, got <invalid>", {1, 4, 5}}, {"Invalid JSON identifier: x", {1, 4, 5}}});
    expect_failure("\"\xF0\x9F\x98\x80\" #", {{"Expected EOF, got <invalid>", {1, 5, 8}},
                                              {"Unexpected character in input stream: '#'", {1, 5, 8}}});
    // Carriage returns are white space but start no line.
    expect_failure("\r\n\r\n\t[ \r}", {{"Syntax error: unexpected token: '}'", {3, 5, 9}}});
    expect_failure("\n\n[", {{"Syntax error: expected ']', got EOF", {3, 1, 3}}});
    // Only four bytes are white space; a multi-byte character is reported by its first byte.
    for (const char *c : {"\f", "\v", "'", "\xC3"})
        expect_failure(c + std::string(c[0] == '\xC3' ? "\xA9" : "1"),
                       {{std::string("Unexpected character in input stream: '") + c + "'", {1, 1, 1}}});
}

TEST(LexStrings, Decoding)
{
    const std::pair<const char *, std::string> cases[] = {
        {"", ""}, {"abc", "abc"}, {"a\\nb", "a\nb"}, {"\\\\", "\\"}, {"\\\"", "\""}, {"\\/", "/"},
        {"\\b\\f\\n\\r\\t", "\b\f\n\r\t"}, {"\\u0041", "A"}, {"\\u00e9", "\xC3\xA9"}, {"\\u00E9", "\xC3\xA9"},
        {"\\u07FF", "\xDF\xBF"}, {"\\u0800", "\xE0\xA0\x80"}, {"\\u20AC", "\xE2\x82\xAC"}, {"\\uFFFF", "\xEF\xBF\xBF"},
        {"\\uD83D\\uDE00", "\xF0\x9F\x98\x80"}, {"\\uDBFF\\uDFFF", "\xF4\x8F\xBF\xBF"}, {"\\uD800\\uDC00", "\xF0\x90\x80\x80"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F"},  // raw UTF-8 and DEL
        {"x\\u00e9y\\\\z\xC3\xA9", "x\xC3\xA9y\\z\xC3\xA9"},
        {"\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF"},  // largest of each length
        {"\xC2\x80\xE0\xA0\x80\xE1\x80\x80\xF0\x90\x80\x80\xF1\x80\x80\x80", "\xC2\x80\xE0\xA0\x80\xE1\x80\x80\xF0\x90\x80\x80\xF1\x80\x80\x80"},  // smallest
    };
    for (const auto &[raw, decoded] : cases)
        for (Source source : {Source::String, Source::Stream}) {
            Value v(in_quotes(raw), source);
            EXPECT_EQ(v.type(), "string");
            EXPECT_EQ(v->str ? std::string(v->str) : "<none>", decoded) << raw;
        }
}

TEST(LexStrings, Failures)
{
    const std::pair<std::string, Expected> cases[] = {
        // Found by the second pass, once the closing quote has been read.
        {in_quotes("\\u0000"), {"Invalid UTF-8 escape sequence: \\u0000", {1, 8, 8}}},
        {in_quotes("ab\\uDE00"), {"Invalid UTF-8 escape sequence value: 0xDE00", {1, 10, 10}}},
        {in_quotes("\\udc00"), {"Invalid UTF-8 escape sequence value: 0xDC00", {1, 8, 8}}},
        {in_quotes("\\uD83Dx"), {"Expected surrogate pair for UTF-8 escape sequence: \\x\"", {1, 9, 9}}},
        {in_quotes("\\uD83D"), {"Expected surrogate pair for UTF-8 escape sequence: \\\"", {1, 8, 8}}},
        {in_quotes("\\uD83Dabcdefg"), {"Expected surrogate pair for UTF-8 escape sequence: \\abcde", {1, 15, 15}}},
        {in_quotes("\\uD83D\\n"), {"Expected surrogate pair for UTF-8 escape sequence: \\\\n\"", {1, 10, 10}}},
        {in_quotes("\\uD83D\\u0041"), {"Invalid surrogate pair UTF-8 escape sequences: \\\\u0041\"", {1, 14, 14}}},
        {in_quotes("\\uD83D\\uD83Dxyzw"), {"Invalid surrogate pair UTF-8 escape sequences: \\\\uD83Dxyzw", {1, 18, 18}}},
        {in_quotes("\\uD83D\\u0000"), {"Invalid UTF-8 escape sequence: \\u0000", {1, 14, 14}}},
        // Found by the first pass.
        {in_quotes("\\u12G4"), {"Invalid UTF-8 escape sequence: u12G", {1, 6, 6}}},
        {in_quotes("\\u\"12"), {"Invalid UTF-8 escape sequence: u\"", {1, 4, 4}}},
        {in_quotes("\\x"), {"Unrecognized escape sequence: x", {1, 3, 3}}},
        {in_quotes("\\U0041"), {"Unrecognized escape sequence: U", {1, 3, 3}}},
        {in_quotes("a\t"), {"Encountered unexpected control char: 0x9", {1, 3, 3}}},
        {in_quotes("a\n"), {"Encountered unexpected control char: 0xa", {2, 0, 3}}},
        {in_quotes("\x1f"), {"Encountered unexpected control char: 0x1f", {1, 2, 2}}},
        {"\"abc", {"Reached end of input unexpectedly.", {1, 4, 4}}}, {"\"\\\"", {"Reached end of input unexpectedly.", {1, 3, 3}}},
        {"\"\\", {"Reached end of input unexpectedly.", {1, 2, 2}}}, {"\"\\u12", {"Reached end of input unexpectedly.", {1, 5, 5}}},
        {"\"\xC3(\"", {"UTF-8 decoding failed.", {1, 1, 1}}}, {"\"ab\\\xFF\"", {"UTF-8 decoding failed.", {1, 4, 4}}},
        {"\"\\u1\xFF\"", {"UTF-8 decoding failed.", {1, 4, 4}}},
    };
    for (const auto &[text, error] : cases)
        expect_failure(text, {error});
    expect_failure("{\"\\u0000\":1}", {{"Syntax error: expected string, got <invalid>", {1, 9, 9}},
                                       {"Invalid UTF-8 escape sequence: \\u0000", {1, 9, 9}}});
}

TEST(LexStrings, InvalidUtf8IsRejectedInAndBetweenTokens)
{
    for (const char *seq : {"\xC0\x80", "\xC1\xBF", "\xF5\x80\x80\x80", "\xFF", "\x80", "\xBF", "\xE2\x82", "\xED\xA0\x80",
                            "\xED\xBF\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF",
                            "\xF4\x90\x80\x80", "\xC3", "\xE2\x28\xA1"}) {
        expect_failure("\"ab" + std::string(seq) + "\"", {{"UTF-8 decoding failed.", {1, 3, 3}}});
        expect_failure("[" + std::string(seq) + "]",
                       {{"Syntax error: unexpected token: <invalid>", {1, 1, 1}}, {"Error decoding UTF-8 sequence", {1, 1, 1}}});
    }
}

TEST(LexStrings, LongStringsKeepCountingPositions)
{
    std::string raw, decoded;
    for (int i = 0; i < 500; i++) {
        raw += "plain text \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \\n\\u00e9 ";
        decoded += "plain text \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \n\xC3\xA9 ";
    }
    EXPECT_EQ(std::string(Value(in_quotes(raw))->str), decoded);
    // Per round 24 characters, 30 bytes.
    expect_failure(in_quotes(raw) + "#", {{"Expected EOF, got <invalid>", {1, 500 * 24 + 3, 500 * 30 + 3}},
                                       {"Unexpected character in input stream: '#'", {1, 500 * 24 + 3, 500 * 30 + 3}}});
}

TEST(LexSources, NulBytes)
{
    // The string source ends at the first NUL; a stream delivers it (its %c
    // ends the message text there), and a NUL ending a number or word is read
    // again as the next token.
    EXPECT_EQ(kel_test::dump(JsonRoot(kel_json_loads("[1]\0garbage", 0, nullptr))), "[1]");
    using S = std::string;
    const std::pair<S, S> cases[] = {
        {S("\"a\0b\"", 5), " | Encountered unexpected control char: 0x0 @1:3:3"},
        {S("[1,\0]", 5), " | Syntax error: unexpected token: <invalid> @1:4:4 | Unexpected character in input stream: ' @1:4:4"},
        {S("123\0", 4), " | Expected EOF, got <invalid> @1:4:4 | Unexpected character in input stream: ' @1:4:4"},
        {S("[true\0]", 7), " | Syntax error: expected ']', got <invalid> @1:6:6 | Unexpected character in input stream: ' @1:6:6"},
        {S("[1.\0]", 5), " | Syntax error: unexpected token: <invalid> @1:3:3 | Invalid double: 1. @1:4:4"},
        {S("\"\xE2\0\x82\"", 5), " | UTF-8 decoding failed. @1:1:1"},
    };
    for (const auto &[text, outcome] : cases)
        EXPECT_EQ(stream_outcome(text), outcome) << text;
    long offset = 0;
    EXPECT_EQ(stream_outcome(S("-7\0", 3), KEL_JSON_LOAD_ALLOW_TRAILING, &offset), "value -7");
    EXPECT_EQ(offset, 3);
    stream_outcome(S("\"\xE2\0\x82\"", 5), 0, &offset);
    EXPECT_EQ(offset, 3);
}

TEST(LexSources, BadSequencesStayConsumed)
{
    // A bad character consumes the bytes its first byte announced (fewer at
    // the end or a NUL); a byte that starts no character consumes itself.
    const std::pair<std::string, long> cases[] = {
        {"\xE2()rest", 3}, {"\xF0\x80\x80\x80rest", 4}, {"\xF4\x90\x80\x80rest", 4}, {"\xED\xA0\x80rest", 3}, {"\xC3(rest", 2},
        {std::string("\xE2\x82\0rest", 7), 3}, {"\xFFrest", 1}, {"\x80rest", 1}, {"\xE2\x82", 2}};
    for (const auto &[text, consumed] : cases) {
        long offset = 0;
        EXPECT_EQ(stream_outcome(text, 0, &offset), " | Error decoding UTF-8 sequence @1:0:0");
        EXPECT_EQ(offset, consumed) << text;
    }
}
