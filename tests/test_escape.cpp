// Escaping of UTF-8 text into JSON string bodies, against a byte-by-byte model.
#include <random>

#include "test_util.h"

namespace {

// Escapes into a GString holding `prefix`; the result code and the text.
std::pair<int, std::string> escape(const std::string &in, const std::string &prefix = "")
{
    GString *out = g_string_new(prefix.c_str());
    const int r = kel_json_escape_str_ext(in.c_str(), out);
    std::pair<int, std::string> e{r, std::string(out->str, out->len)};
    g_string_free(out, TRUE);
    return e;
}

// The model the word-at-a-time scanner is held to.
std::string model_escape(const std::string &in)
{
    std::string out;
    for (unsigned char c : in) {
        const char *named = c == '"' ? "\\\"" : c == '\\' ? "\\\\" : c == '\b' ? "\\b" : c == '\t' ? "\\t" : c == '\n' ? "\\n"
                          : c == '\f' ? "\\f" : c == '\r' ? "\\r" : nullptr;
        if (named) {
            out += named;
        } else if (c < 0x20) {
            char buf[8];
            g_snprintf(buf, sizeof buf, "\\u%04X", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

}  // namespace

TEST(Escape, TextsAndResults)
{
    // The result is the whole length of `out`.
    EXPECT_EQ(escape(""), (std::pair<int, std::string>{0, ""}));
    EXPECT_EQ(escape("", "abc"), (std::pair<int, std::string>{3, "abc"}));
    EXPECT_EQ(escape("a\tb", "12"), (std::pair<int, std::string>{6, "12a\\tb"}));
    const std::pair<const char *, const char *> cases[] = {
        {"a\"b\\c", "a\\\"b\\\\c"}, {"\t\n\r\b\f", "\\t\\n\\r\\b\\f"}, {"\x01", "\\u0001"}, {"\x1b", "\\u001B"},
        {"\x0b\x1f", "\\u000B\\u001F"}, {"/\x7f", "/\x7f"}, {"\xc3\xa9\xe2\x82\xac", "\xc3\xa9\xe2\x82\xac"},
        {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},  // no surrogate pair
        {"\xc2\x80\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf",  // valid boundaries
         "\xc2\x80\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"}};
    for (const auto &[in, out] : cases)
        EXPECT_EQ(escape(in).second, out) << in;
    for (int c = 1; c < 0x20; c++)
        EXPECT_EQ(escape(std::string(1, static_cast<char>(c))).second, model_escape(std::string(1, static_cast<char>(c)))) << c;
    for (const char *in : {"say \"hi\"\n", ""}) {
        g_autofree char *s = kel_json_escape_str(in);
        EXPECT_EQ(std::string(s), model_escape(in));
    }
}

TEST(Escape, InvalidUtf8FailsWithPartialOutput)
{
    for (const char *bad : {"\xc3\x28", "\x80", "\xc0\xaf", "\xc1\xbf", "\xe0\x80\xaf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
                            "\xed\xa0\x80", "\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "\xc3", "\xe2\x82",
                            "\xf0\x9f\x98", "\xe2\x28\xa1", "\xe2\x82\x28", "abcdefgh\xc3"}) {
        EXPECT_EQ(escape(bad).first, -1) << model_escape(bad);
        EXPECT_EQ(kel_json_escape_str(bad), nullptr);
    }
    // The pending run is not appended; escapes and runs before it stay.
    EXPECT_EQ(escape("x\xff", "pre"), (std::pair<int, std::string>{-1, "pre"}));
    EXPECT_EQ(escape("\"\xff"), (std::pair<int, std::string>{-1, "\\\""}));
    EXPECT_EQ(escape("long clean run\nmore text\xc3\x28"), (std::pair<int, std::string>{-1, "long clean run\\n"}));
}

// Eight bytes at a time: every special byte is found wherever it sits.
TEST(Escape, SpecialBytesAtEveryOffsetAndRandomText)
{
    for (const std::string sp : {"\"", "\\", "\n", "\x01", "\x1f", "\xc3\xa9", "\xf0\x9f\x98\x80", " ", "\x7f", "~", "\xff"})
        for (size_t at = 0; at < 20; at++) {
            const std::string in = std::string(at, 'a') + sp + std::string(19 - at, 'b');
            const auto [r, text] = escape(in);
            EXPECT_EQ(r, sp == "\xff" ? -1 : static_cast<int>(text.size())) << at;
            EXPECT_TRUE(r < 0 || text == model_escape(in)) << at;
        }
    std::mt19937 rng(12345);
    const unsigned char pool[] = {'a', 'Z', ' ', '/', '"', '\\', '\n', 0x01, 0x1f, 0x7f, 0x80, 0xbf, 0xc2, 0xc3, 0xe0, 0xed, 0xf0, 0xf4, 0xff};
    for (int round = 0; round < 20000; round++) {
        std::string in;
        for (int i = static_cast<int>(rng() % 40); i > 0; i--)
            in += static_cast<char>(pool[rng() % sizeof pool]);
        const auto [r, text] = escape(in);
        const char *end = nullptr;
        if (g_utf8_validate(in.data(), static_cast<gssize>(in.size()), &end)) {
            ASSERT_EQ(text, model_escape(in)) << round;
            ASSERT_EQ(r, static_cast<int>(text.size()));
        } else {  // whatever was appended is a prefix of the escaped valid part
            ASSERT_EQ(r, -1) << round;
            ASSERT_EQ(model_escape(std::string(in.c_str(), end)).compare(0, text.size(), text), 0) << round;
        }
    }
}
