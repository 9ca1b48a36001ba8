// Escaping of UTF-8 text into JSON string bodies.
#include <random>
#include <string>

#include "test_util.h"

namespace {

// Escapes into a fresh GString; returns the result code and the text.
struct Escaped {
    int result;
    std::string text;
};

Escaped escape(const std::string &in, const std::string &prefix = "")
{
    GString *out = g_string_new(prefix.c_str());
    const int r = kel_json_escape_str_ext(in.c_str(), out);
    Escaped e{r, std::string(out->str, out->len)};
    g_string_free(out, TRUE);
    return e;
}

// Straightforward byte-by-byte model of the escaping, used to cross-check
// the word-at-a-time scanner on random input.
std::string model_escape(const std::string &in)
{
    std::string out;
    for (unsigned char c : in) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\f': out += "\\f"; break;
        case '\r': out += "\\r"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                g_snprintf(buf, sizeof buf, "\\u%04X", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out;
}

}  // namespace

TEST(Escape, EmptyTextAppendsNothing)
{
    EXPECT_EQ(escape("").result, 0);
    Escaped e = escape("", "abc");
    EXPECT_EQ(e.result, 3);
    EXPECT_EQ(e.text, "abc");

    char *s = kel_json_escape_str("");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "");
    g_free(s);
}

TEST(Escape, ResultIsWholeLengthOfOut)
{
    Escaped e = escape("x", "abc");
    EXPECT_EQ(e.result, 4);
    EXPECT_EQ(e.text, "abcx");
    e = escape("a\tb", "12");
    EXPECT_EQ(e.result, 6);
    EXPECT_EQ(e.text, "12a\\tb");
}

TEST(Escape, QuoteBackslashAndNamedControls)
{
    EXPECT_EQ(escape("a\"b\\c").text, "a\\\"b\\\\c");
    EXPECT_EQ(escape("\t\n\r").text, "\\t\\n\\r");
    EXPECT_EQ(escape("\b\f").text, "\\b\\f");
    EXPECT_EQ(escape("\"").text, "\\\"");
    EXPECT_EQ(escape("\\\\").text, "\\\\\\\\");
}

TEST(Escape, EveryOtherControlUsesUpperCaseUnicodeEscape)
{
    EXPECT_EQ(escape("\x01").text, "\\u0001");
    EXPECT_EQ(escape("\x1b").text, "\\u001B");
    EXPECT_EQ(escape("\x1f").text, "\\u001F");
    EXPECT_EQ(escape("\x0b").text, "\\u000B");
    for (int c = 1; c < 0x20; c++) {
        const std::string in(1, static_cast<char>(c));
        EXPECT_EQ(escape(in).text, model_escape(in)) << "control " << c;
    }
}

TEST(Escape, CopiedUnchanged)
{
    EXPECT_EQ(escape("/").text, "/");
    EXPECT_EQ(escape("\x7f").text, "\x7f");
    EXPECT_EQ(escape("\xc3\xa9").text, "\xc3\xa9");               // é
    EXPECT_EQ(escape("\xf0\x9f\x98\x80").text, "\xf0\x9f\x98\x80");  // U+1F600, no surrogate pair
    EXPECT_EQ(escape("\xe2\x82\xac").text, "\xe2\x82\xac");        // €
    // Boundary characters that are valid.
    EXPECT_EQ(escape("\xc2\x80").result, 2);          // U+0080
    EXPECT_EQ(escape("\xe0\xa0\x80").result, 3);      // U+0800
    EXPECT_EQ(escape("\xed\x9f\xbf").result, 3);      // U+D7FF
    EXPECT_EQ(escape("\xee\x80\x80").result, 3);      // U+E000
    EXPECT_EQ(escape("\xef\xbf\xbf").result, 3);      // U+FFFF
    EXPECT_EQ(escape("\xf0\x90\x80\x80").result, 4);  // U+10000
    EXPECT_EQ(escape("\xf4\x8f\xbf\xbf").result, 4);  // U+10FFFF
}

TEST(Escape, InvalidUtf8Fails)
{
    const char *const bad[] = {
        "\xc3\x28",          // bad continuation
        "\x80",              // lone continuation byte
        "\xc0\xaf",          // overlong lead
        "\xc1\xbf",          // overlong lead
        "\xe0\x80\xaf",      // overlong three-byte
        "\xe0\x9f\xbf",      // overlong three-byte, highest
        "\xf0\x8f\xbf\xbf",  // overlong four-byte
        "\xed\xa0\x80",      // encoded surrogate
        "\xed\xbf\xbf",      // encoded surrogate, last
        "\xf4\x90\x80\x80",  // above U+10FFFF
        "\xf5\x80\x80\x80",  // invalid lead
        "\xff",
        "\xc3",              // cut short by the end
        "\xe2\x82",
        "\xf0\x9f\x98",
        "\xe2\x28\xa1",      // bad second byte
        "\xe2\x82\x28",      // bad third byte
        "abcdefgh\xc3",      // cut short after a clean word
    };
    for (const char *s : bad) {
        EXPECT_EQ(escape(s).result, -1) << "input " << model_escape(s);
        EXPECT_EQ(kel_json_escape_str(s), nullptr);
    }
}

TEST(Escape, PartialOutputOnFailure)
{
    // The pending run is not appended.
    Escaped e = escape("x\xff", "pre");
    EXPECT_EQ(e.result, -1);
    EXPECT_EQ(e.text, "pre");
    // An escape already appended stays.
    e = escape("\"\xff");
    EXPECT_EQ(e.result, -1);
    EXPECT_EQ(e.text, "\\\"");
    // Earlier runs and escapes stay, the run after the last escape does not.
    e = escape("long clean run\nmore text\xc3\x28");
    EXPECT_EQ(e.result, -1);
    EXPECT_EQ(e.text, "long clean run\\n");
}

TEST(Escape, NullArguments)
{
    GString *out = g_string_new("keep");
    EXPECT_EQ(kel_json_escape_str_ext(nullptr, out), -1);
    EXPECT_STREQ(out->str, "keep");
    g_string_free(out, TRUE);
    kel_test::LogCapture log;
    EXPECT_EQ(kel_json_escape_str_ext("x", nullptr), -1);
    EXPECT_EQ(kel_json_escape_str(nullptr), nullptr);
    EXPECT_TRUE(log.messages().empty());
}

TEST(Escape, EscapeStrReturnsOwnedText)
{
    char *s = kel_json_escape_str("say \"hi\"\n");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "say \\\"hi\\\"\\n");
    g_free(s);
}

// The scanner takes eight bytes at a time; every special byte must be found
// wherever it sits in a word and whatever surrounds it.
TEST(Escape, SpecialBytesAtEveryOffset)
{
    const std::string specials[] = {"\"", "\\", "\n", "\x01", "\x1f", "\xc3\xa9", "\xf0\x9f\x98\x80",
                                    " ", "\x7f", "~"};
    for (const std::string &sp : specials) {
        for (size_t at = 0; at < 20; at++) {
            const std::string in = std::string(at, 'a') + sp + std::string(19 - at, 'b');
            const Escaped e = escape(in);
            EXPECT_EQ(e.text, model_escape(in)) << "offset " << at;
            EXPECT_EQ(e.result, static_cast<int>(e.text.size()));
        }
    }
    for (size_t at = 0; at < 20; at++) {
        const std::string in = std::string(at, 'a') + "\xff" + std::string(19 - at, 'b');
        EXPECT_EQ(escape(in).result, -1) << "offset " << at;
    }
}

TEST(Escape, RandomTextMatchesModel)
{
    std::mt19937 rng(12345);
    const unsigned char pool[] = {'a', 'Z', ' ', '/', '"', '\\', '\n', 0x01, 0x1f, 0x7f,
                                  0x80, 0xbf, 0xc2, 0xc3, 0xe0, 0xed, 0xf0, 0xf4, 0xff};
    for (int round = 0; round < 20000; round++) {
        std::string in;
        const int len = static_cast<int>(rng() % 40);
        for (int i = 0; i < len; i++)
            in += static_cast<char>(pool[rng() % sizeof pool]);
        const Escaped e = escape(in);
        if (g_utf8_validate(in.data(), static_cast<gssize>(in.size()), nullptr)) {
            ASSERT_EQ(e.text, model_escape(in)) << "round " << round;
            ASSERT_EQ(e.result, static_cast<int>(e.text.size()));
        } else {
            ASSERT_EQ(e.result, -1) << "round " << round;
            // Whatever was appended is a prefix of the escaped valid part.
            const char *end = nullptr;
            g_utf8_validate(in.data(), static_cast<gssize>(in.size()), &end);
            const std::string valid = model_escape(std::string(in.c_str(), end));
            ASSERT_EQ(valid.compare(0, e.text.size(), e.text), 0) << "round " << round;
        }
    }
}
